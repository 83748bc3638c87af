// Time that passes: not the calendar, and not affected when the wall clock is set.
#pragma once

#include <cstdint>

namespace platform {

// Milliseconds since some fixed moment before the program began; never goes back. Any thread.
uint64_t MonotonicMilliseconds();

// Suspends the calling thread for at least this long; 0 yields the processor.
void SleepMilliseconds(uint32_t milliseconds);

}  // namespace platform
