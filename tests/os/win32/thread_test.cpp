// Threads and semaphores as the system sees them here.
#include "qz/thread.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "qz/error.h"
#include "qz/os.h"
#include "qz/semaphore.h"
#include "tests/support/module.h"

namespace {

constexpr uint32_t kForever = 0xFFFFFFFFu;

struct Waiter {
  Semaphore* begun = Semaphore_New(0, 1);
  Semaphore* mayEnd = Semaphore_New(0, 1);
  DWORD identifier = 0;

  ~Waiter() {
    Semaphore_Delete(begun);
    Semaphore_Delete(mayEnd);
  }

  static int32_t Run(void* argument) {
    auto* waiter = static_cast<Waiter*>(argument);
    waiter->identifier = GetCurrentThreadId();
    EXPECT_EQ(Thread_GetCurrentID(), waiter->identifier);
    Semaphore_Signal(waiter->begun);
    Semaphore_Wait(waiter->mayEnd, kForever);
    return -41;
  }
};

TEST(ThreadHere, EndsWithWhatTheFunctionReturned) {
  Waiter waiter;
  Thread* thread = Thread_New(Waiter::Run, &waiter);
  ASSERT_EQ(Semaphore_Wait(waiter.begun, 10000), Error_None);
  const HANDLE handle = OpenThread(SYNCHRONIZE | THREAD_QUERY_INFORMATION, FALSE, waiter.identifier);
  ASSERT_NE(handle, nullptr);
  // The record is gone by then; the exit code is the thread's all the same.
  Thread_Delete(thread);
  Semaphore_Signal(waiter.mayEnd);
  EXPECT_EQ(WaitForSingleObject(handle, 10000), WAIT_OBJECT_0);
  DWORD exitCode = 0;
  EXPECT_NE(GetExitCodeThread(handle, &exitCode), 0);
  EXPECT_EQ(static_cast<int32_t>(exitCode), -41);
  CloseHandle(handle);
}

int32_t EndAtOnce(void*) {
  return 0;
}

TEST(ThreadHere, KeepsNoHandle) {
  const auto run = [] {
    for (int i = 0; i < 50; ++i) {
      Thread* thread = Thread_New(EndAtOnce, nullptr);
      while (Thread_ExitCode(thread) != 0) OS_Delay(0.001f);
      Thread_Delete(thread);
    }
  };
  run();
  const int before = CountOpenHandles();
  run();
  EXPECT_LT(CountOpenHandles(), before + 10);
}

TEST(SemaphoreHere, IsClosedByDelete) {
  const int before = CountOpenHandles();
  for (int i = 0; i < 50; ++i) Semaphore_Delete(Semaphore_New(1, 1));
  EXPECT_LT(CountOpenHandles(), before + 10);
}

}  // namespace
