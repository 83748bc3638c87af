// Points in time: the wall clock, comparing and adding.
#include "qz/time.h"

#include <algorithm>
#include <atomic>

#include "os/platform/walltime.h"
#include "os/time/clock_testing.h"

namespace {

constexpr int32_t kMillisecondsPerSecond = 1000;

// Seconds above, milliseconds below; this value means that the system's clock goes.
constexpr uint64_t kNotSet = UINT64_MAX;
std::atomic<uint64_t> setWallClock{kNotSet};

// The sign is right at any distance.
int32_t Difference(uint32_t a, uint32_t b) {
  const int64_t difference = int64_t{a} - int64_t{b};
  return static_cast<int32_t>(std::clamp<int64_t>(difference, INT32_MIN, INT32_MAX));
}

}  // namespace

void iClock_SetWallClock(const Time* time) {
  setWallClock.store(time != nullptr ? uint64_t{time->seconds} << 32 | time->milliseconds : kNotSet);
}

void Time_Get(Time* time) {
  if (time == nullptr) return;
  const uint64_t set = setWallClock.load();
  if (set != kNotSet) {
    *time = {static_cast<uint32_t>(set >> 32), static_cast<uint32_t>(set)};
    return;
  }
  const platform::WallTime now = platform::ReadWallClock();
  *time = {static_cast<uint32_t>(now.seconds), now.milliseconds};
}

void Time_Zero(Time* time) {
  if (time != nullptr) *time = {};
}

int32_t Time_Compare(const Time* a, const Time* b) {
  constexpr Time kNoTime = {};
  if (a == nullptr) a = &kNoTime;
  if (b == nullptr) b = &kNoTime;
  if (a->seconds != b->seconds) return Difference(a->seconds, b->seconds);
  return Difference(a->milliseconds, b->milliseconds);
}

double Time_DiffMilliseconds(const Time* a, const Time* b) {
  if (a == nullptr || b == nullptr) return 0;
  const double seconds = static_cast<double>(b->seconds) - static_cast<double>(a->seconds);
  const double milliseconds = static_cast<double>(b->milliseconds) - static_cast<double>(a->milliseconds);
  return seconds * kMillisecondsPerSecond + milliseconds;
}

double Time_DiffSeconds(const Time* a, const Time* b) {
  return Time_DiffMilliseconds(a, b) * 0.001;
}

void Time_Add(const Time* time, int32_t seconds, int32_t milliseconds, Time* result) {
  if (time == nullptr || result == nullptr) return;
  int32_t left = static_cast<int32_t>(time->milliseconds + static_cast<uint32_t>(milliseconds));
  int32_t carrySeconds = 0;
  if (left >= kMillisecondsPerSecond) {
    carrySeconds = left / kMillisecondsPerSecond;
    left %= kMillisecondsPerSecond;
  } else if (left < 0) {
    // Kept: an exact negative multiple of 1000 gives 1000 milliseconds and one second fewer; stored times
    // that were computed so compare equal only that way.
    carrySeconds = left / kMillisecondsPerSecond - 1;
    left = left % kMillisecondsPerSecond + kMillisecondsPerSecond;
  }
  result->seconds = time->seconds + static_cast<uint32_t>(seconds) + static_cast<uint32_t>(carrySeconds);
  result->milliseconds = static_cast<uint32_t>(left);
}
