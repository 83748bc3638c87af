// Threads whose record may be released while they still run. Exactly one party frees the record:
//
//   the thread ends first:      the body leaves the record, Thread_Delete frees it
//   Thread_Delete comes first:  it sets bit 31, the body frees the record when the function has returned
//
// Both decide under the library-wide lock. Before the body has begun counts as "not ended": the body still
// needs the record then.
#include "qz/thread.h"

#include <atomic>
#include <new>

#include "os/core/lock_internal.h"
#include "os/platform/thread.h"
#include "qz/error.h"
#include "qz/memory.h"

struct Thread {
  std::atomic<uint32_t> flags{0};
  ThreadFunction function = nullptr;
  void* argument = nullptr;
  std::atomic<int32_t> exitCode{Error_NotInited};
  platform::ThreadStart start{};
  bool ended = false;
};

namespace {

constexpr uint32_t kRunning = 1u;
constexpr uint32_t kFreeAtEnd = 0x80000000u;

constexpr uint32_t kStackBytes = 0x20000;

void FreeRecord(Thread* thread) {
  thread->~Thread();
  Memory_Delete(thread);
}

int32_t RunThread(void* argument) {
  auto* thread = static_cast<Thread*>(argument);
  {
    LibraryLock lock;
    thread->flags.fetch_or(kRunning);
  }
  const int32_t exitCode = thread->function(thread->argument);
  thread->exitCode.store(exitCode);

  LibraryLock lock;
  thread->ended = true;
  const uint32_t flags = thread->flags.fetch_and(~kRunning);
  if ((flags & kFreeAtEnd) != 0) FreeRecord(thread);
  return exitCode;
}

}  // namespace

Thread* Thread_New(ThreadFunction function, void* argument) {
  if (function == nullptr) return nullptr;
  void* block = Memory_New(sizeof(Thread));
  if (block == nullptr) return nullptr;
  auto* thread = new (block) Thread;
  thread->function = function;
  thread->argument = argument;
  thread->start = {RunThread, thread};
  if (platform::StartThread(&thread->start, kStackBytes)) return thread;
  FreeRecord(thread);
  return nullptr;
}

int32_t Thread_IsRunning(const Thread* thread) {
  if (thread == nullptr) return 0;
  return (thread->flags.load() & kRunning) != 0 ? 1 : 0;
}

int32_t Thread_ExitCode(const Thread* thread) {
  if (thread == nullptr) return Error_Invalid;
  return thread->exitCode.load();
}

void Thread_Delete(Thread* thread) {
  if (thread == nullptr) return;
  LibraryLock lock;
  if (thread->ended) {
    FreeRecord(thread);
  } else {
    thread->flags.fetch_or(kFreeAtEnd);
  }
}

uint32_t Thread_GetCurrentID() {
  return platform::CurrentThreadIdentifier();
}

// Kept: does nothing. It marks where a cooperative yield belongs, and polling loops rely on its costing
// nothing.
void Thread_Yield() {}
