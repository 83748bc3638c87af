// Random numbers, waiting and formatting: the OS functions that work whether the library is up or down.
#include "qz/os.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "os/core/os_testing.h"
#include "os/platform/clock.h"
#include "qz/error.h"

namespace {

// The range is the same everywhere, whatever the C library gives.
constexpr int32_t kRandomMask = 0x7FFF;

constexpr double kMaximumDelayMilliseconds = 4294967294.0;

std::atomic<int32_t (*)()> randomSource{nullptr};

}  // namespace

void iOS_SetRandomSource(int32_t (*source)()) {
  randomSource.store(source);
}

int32_t OS_Random() {
  int32_t (*source)() = randomSource.load();
  return (source != nullptr ? source() : rand()) & kRandomMask;
}

uint32_t iOS_DelayMilliseconds(float seconds) {
  const double milliseconds = static_cast<double>(seconds) * 1000.0;
  // Written so that "not a number" falls through to 0 as well.
  if (!(milliseconds > 0.0)) return 0;
  if (milliseconds >= kMaximumDelayMilliseconds) return static_cast<uint32_t>(kMaximumDelayMilliseconds);
  return static_cast<uint32_t>(milliseconds);
}

void OS_Delay(float seconds) {
  platform::SleepMilliseconds(iOS_DelayMilliseconds(seconds));
}

int32_t OS_sprintf(char* buffer, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int32_t count = OS_vsprintf(buffer, format, arguments);
  va_end(arguments);
  return count;
}

int32_t OS_vsprintf(char* buffer, const char* format, va_list arguments) {
  if (buffer == nullptr || format == nullptr) return Error_Invalid;
  return vsprintf(buffer, format, arguments);
}
