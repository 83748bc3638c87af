// Counting semaphores.
#pragma once

#include <cstdint>

namespace platform {

struct SystemSemaphore;

enum class WaitResult { kAcquired, kTimedOut, kFailed };

// A time-out that never runs out.
constexpr uint32_t kWaitForever = 0xFFFFFFFFu;

// Makes a semaphore that counts from 0 to maximumCount, or returns null: when memory runs out, when
// maximumCount is not above 0, or when initialCount is below 0 or above it. Released by DeleteSemaphore.
SystemSemaphore* NewSemaphore(int32_t initialCount, int32_t maximumCount);

// Takes one count, waiting for one at most this long (kWaitForever: without limit). Setting the wall clock
// does not change the time waited.
WaitResult WaitSemaphore(SystemSemaphore* semaphore, uint32_t timeoutMilliseconds);

// Gives one count back and wakes one waiter. False when the count is at its maximum already.
bool SignalSemaphore(SystemSemaphore* semaphore);

void DeleteSemaphore(SystemSemaphore* semaphore);

}  // namespace platform
