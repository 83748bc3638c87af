#include "os/platform/clock.h"

#include <windows.h>

#include <atomic>

namespace platform {

// The system's tick count has 32 bits and comes round after 49.7 days. The last value given out supplies the
// upper half; it suffices that someone asks once within that time.
uint64_t MonotonicMilliseconds() {
  static std::atomic<uint64_t> lastTicks{0};
  uint64_t last = lastTicks.load();
  for (;;) {
    // Asked after `last` was read, the tick count is never behind it, whatever other threads store meanwhile.
    const uint32_t passed = GetTickCount() - static_cast<uint32_t>(last);
    const uint64_t now = last + passed;
    if (lastTicks.compare_exchange_weak(last, now)) return now;
  }
}

void SleepMilliseconds(uint32_t milliseconds) {
  Sleep(milliseconds);
}

}  // namespace platform
