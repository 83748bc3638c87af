// Counting semaphores with time-outs.
#include "qz/semaphore.h"

#include "os/core/memory_internal.h"
#include "os/platform/semaphore.h"
#include "qz/error.h"
#include "qz/memory.h"

struct Semaphore {
  platform::SystemSemaphore* system;
};

Semaphore* Semaphore_New(int32_t initialCount, int32_t maximumCount) {
  auto* semaphore = static_cast<Semaphore*>(iMemory_NewCleared(sizeof(Semaphore)));
  if (semaphore == nullptr) return nullptr;
  semaphore->system = platform::NewSemaphore(initialCount, maximumCount);
  if (semaphore->system != nullptr) return semaphore;
  Memory_Delete(semaphore);
  return nullptr;
}

ErrorCode Semaphore_Wait(Semaphore* semaphore, uint32_t timeoutMilliseconds) {
  if (semaphore == nullptr) return Error_Invalid;
  switch (platform::WaitSemaphore(semaphore->system, timeoutMilliseconds)) {
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
  return platform::SignalSemaphore(semaphore->system) ? Error_None : Error_Fail;
}

void Semaphore_Delete(Semaphore* semaphore) {
  if (semaphore == nullptr) return;
  platform::DeleteSemaphore(semaphore->system);
  Memory_Delete(semaphore);
}
