// The system's semaphores as they are: a SystemSemaphore is the system's handle.
#include "os/platform/semaphore.h"

#include <windows.h>

namespace platform {
namespace {
HANDLE HandleOf(SystemSemaphore* semaphore) {
  return reinterpret_cast<HANDLE>(semaphore);
}
}  // namespace

SystemSemaphore* NewSemaphore(int32_t initialCount, int32_t maximumCount) {
  return reinterpret_cast<SystemSemaphore*>(CreateSemaphoreA(nullptr, initialCount, maximumCount, nullptr));
}

WaitResult WaitSemaphore(SystemSemaphore* semaphore, uint32_t timeoutMilliseconds) {
  static_assert(kWaitForever == INFINITE);
  switch (WaitForSingleObject(HandleOf(semaphore), timeoutMilliseconds)) {
    case WAIT_OBJECT_0:
    case WAIT_ABANDONED:
      return WaitResult::kAcquired;
    case WAIT_TIMEOUT:
      return WaitResult::kTimedOut;
    default:
      return WaitResult::kFailed;
  }
}

bool SignalSemaphore(SystemSemaphore* semaphore) {
  return ReleaseSemaphore(HandleOf(semaphore), 1, nullptr) != 0;
}

void DeleteSemaphore(SystemSemaphore* semaphore) {
  CloseHandle(HandleOf(semaphore));
}

}  // namespace platform
