// Counting semaphores with time-outs. The handle that callers hold is the system's own.
#include "qz/semaphore.h"

#include "os/platform/semaphore.h"
#include "qz/error.h"

namespace {

platform::SystemSemaphore* SystemOf(Semaphore* semaphore) {
  return reinterpret_cast<platform::SystemSemaphore*>(semaphore);
}

}  // namespace

Semaphore* Semaphore_New(int32_t initialCount, int32_t maximumCount) {
  return reinterpret_cast<Semaphore*>(platform::NewSemaphore(initialCount, maximumCount));
}

ErrorCode Semaphore_Wait(Semaphore* semaphore, uint32_t timeoutMilliseconds) {
  if (semaphore == nullptr) return Error_Invalid;
  switch (platform::WaitSemaphore(SystemOf(semaphore), timeoutMilliseconds)) {
    case platform::WaitResult::kAcquired:
      return Error_None;
    case platform::WaitResult::kTimedOut:
      return Error_Timeout;
    case platform::WaitResult::kFailed:
      break;
  }
  return Error_Fail;
}

ErrorCode Semaphore_Signal(Semaphore* semaphore) {
  if (semaphore == nullptr) return Error_Invalid;
  return platform::SignalSemaphore(SystemOf(semaphore)) ? Error_None : Error_Fail;
}

void Semaphore_Delete(Semaphore* semaphore) {
  if (semaphore != nullptr) platform::DeleteSemaphore(SystemOf(semaphore));
}
