#include "os/platform/clock.h"

#include <sched.h>
#include <time.h>

#include <cerrno>

namespace platform {

uint64_t MonotonicMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

void SleepMilliseconds(uint32_t milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  timespec left{};
  left.tv_sec = static_cast<time_t>(milliseconds / 1000);
  left.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000;
  // A signal ends the sleep early; what is left is slept too.
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

}  // namespace platform
