// A counting semaphore with a maximum, which the system's own does not have.
#include "os/platform/semaphore.h"

#include <pthread.h>
#include <time.h>

#include <cerrno>

#include "os/core/memory_internal.h"
#include "qz/memory.h"

namespace platform {

struct SystemSemaphore {
  pthread_mutex_t mutex;
  pthread_cond_t countRose;
  int32_t count;
  int32_t maximumCount;
};

namespace {

class MutexGuard {
 public:
  explicit MutexGuard(pthread_mutex_t* mutex) : mutex_(mutex) { pthread_mutex_lock(mutex_); }
  ~MutexGuard() { pthread_mutex_unlock(mutex_); }
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;

 private:
  pthread_mutex_t* mutex_;
};

// A condition whose time-outs follow the clock that nobody sets.
bool PrepareCondition(pthread_cond_t* condition) {
  pthread_condattr_t attributes;
  if (pthread_condattr_init(&attributes) != 0) return false;
  const bool prepared = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC) == 0 &&
                        pthread_cond_init(condition, &attributes) == 0;
  pthread_condattr_destroy(&attributes);
  return prepared;
}

bool PrepareSystemObjects(SystemSemaphore* semaphore) {
  if (pthread_mutex_init(&semaphore->mutex, nullptr) != 0) return false;
  if (PrepareCondition(&semaphore->countRose)) return true;
  pthread_mutex_destroy(&semaphore->mutex);
  return false;
}

timespec MonotonicTimeAfter(uint32_t milliseconds) {
  constexpr long kNanosecondsInSecond = 1000000000L;
  timespec time = {};
  clock_gettime(CLOCK_MONOTONIC, &time);
  time.tv_sec += static_cast<time_t>(milliseconds / 1000);
  time.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
  if (time.tv_nsec >= kNanosecondsInSecond) {
    time.tv_nsec -= kNanosecondsInSecond;
    ++time.tv_sec;
  }
  return time;
}

}  // namespace

SystemSemaphore* NewSemaphore(int32_t initialCount, int32_t maximumCount) {
  if (maximumCount <= 0 || initialCount < 0 || initialCount > maximumCount) return nullptr;
  auto* semaphore = static_cast<SystemSemaphore*>(iMemory_NewCleared(sizeof(SystemSemaphore)));
  if (semaphore == nullptr) return nullptr;
  if (!PrepareSystemObjects(semaphore)) {
    Memory_Delete(semaphore);
    return nullptr;
  }
  semaphore->count = initialCount;
  semaphore->maximumCount = maximumCount;
  return semaphore;
}

WaitResult WaitSemaphore(SystemSemaphore* semaphore, uint32_t timeoutMilliseconds) {
  const timespec deadline = MonotonicTimeAfter(timeoutMilliseconds);
  MutexGuard guard(&semaphore->mutex);
  int result = 0;
  while (semaphore->count == 0 && result == 0) {
    result = timeoutMilliseconds == kWaitForever
                 ? pthread_cond_wait(&semaphore->countRose, &semaphore->mutex)
                 : pthread_cond_timedwait(&semaphore->countRose, &semaphore->mutex, &deadline);
  }
  // The count may have risen in the moment in which the time ran out.
  if (semaphore->count == 0) return result == ETIMEDOUT ? WaitResult::kTimedOut : WaitResult::kFailed;
  --semaphore->count;
  return WaitResult::kAcquired;
}

bool SignalSemaphore(SystemSemaphore* semaphore) {
  MutexGuard guard(&semaphore->mutex);
  if (semaphore->count == semaphore->maximumCount) return false;
  ++semaphore->count;
  pthread_cond_signal(&semaphore->countRose);
  return true;
}

void DeleteSemaphore(SystemSemaphore* semaphore) {
  pthread_cond_destroy(&semaphore->countRose);
  pthread_mutex_destroy(&semaphore->mutex);
  Memory_Delete(semaphore);
}

}  // namespace platform
