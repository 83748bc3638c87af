// Semaphores: counting, the maximum, time-outs.
#include "qz/semaphore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

#include "os/core/memory_testing.h"
#include "qz/error.h"
#include "qz/os.h"
#include "qz/thread.h"
#include "tests/support/fail_allocation.h"

namespace {

int64_t MillisecondsNow() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

TEST(Semaphore, CountsFromItsInitialCount) {
  Semaphore* semaphore = Semaphore_New(2, 3);
  ASSERT_NE(semaphore, nullptr);
  EXPECT_EQ(Semaphore_Wait(semaphore, 0), Error_None);
  EXPECT_EQ(Semaphore_Wait(semaphore, 0), Error_None);
  EXPECT_EQ(Semaphore_Wait(semaphore, 0), Error_Timeout);
  EXPECT_EQ(Semaphore_Signal(semaphore), Error_None);
  EXPECT_EQ(Semaphore_Wait(semaphore, 0), Error_None);
  EXPECT_EQ(Semaphore_Wait(semaphore, 0), Error_Timeout);
  Semaphore_Delete(semaphore);
}

TEST(SemaphoreSignal, Fails_AboveTheMaximum) {
  Semaphore* semaphore = Semaphore_New(1, 2);
  EXPECT_EQ(Semaphore_Signal(semaphore), Error_None);
  EXPECT_EQ(Semaphore_Signal(semaphore), Error_Fail);
  EXPECT_EQ(Semaphore_Wait(semaphore, 0), Error_None);
  EXPECT_EQ(Semaphore_Wait(semaphore, 0), Error_None);
  EXPECT_EQ(Semaphore_Wait(semaphore, 0), Error_Timeout) << "the refused count must not have been added";
  Semaphore_Delete(semaphore);
}

TEST(SemaphoreNew, GivesNull_ForCountsThatCannotBe) {
  EXPECT_EQ(Semaphore_New(0, 0), nullptr);
  EXPECT_EQ(Semaphore_New(0, -1), nullptr);
  EXPECT_EQ(Semaphore_New(-1, 1), nullptr);
  EXPECT_EQ(Semaphore_New(2, 1), nullptr);
}

TEST(SemaphoreNew, TakesTheLargestCount) {
  Semaphore* semaphore = Semaphore_New(0x7FFFFFFF, 0x7FFFFFFF);
  ASSERT_NE(semaphore, nullptr);
  EXPECT_EQ(Semaphore_Signal(semaphore), Error_Fail);
  EXPECT_EQ(Semaphore_Wait(semaphore, 0), Error_None);
  EXPECT_EQ(Semaphore_Signal(semaphore), Error_None);
  Semaphore_Delete(semaphore);
}

TEST(SemaphoreWait, GivesTimeout_AfterTheTime) {
  Semaphore* semaphore = Semaphore_New(0, 1);
  const int64_t before = MillisecondsNow();
  EXPECT_EQ(Semaphore_Wait(semaphore, 120), Error_Timeout);
  const int64_t waited = MillisecondsNow() - before;
  EXPECT_GE(waited, 100);
  EXPECT_LT(waited, 5000);
  Semaphore_Delete(semaphore);
}

TEST(SemaphoreWait, TakesWholeSecondsIntoAccount) {
  Semaphore* semaphore = Semaphore_New(0, 1);
  const int64_t before = MillisecondsNow();
  EXPECT_EQ(Semaphore_Wait(semaphore, 1100), Error_Timeout);
  EXPECT_GE(MillisecondsNow() - before, 1080);
  Semaphore_Delete(semaphore);
}

struct Handover {
  Semaphore* semaphore;
  uint32_t timeoutMilliseconds;
  std::atomic<int32_t> status{-99};

  static int32_t Run(void* argument) {
    auto* handover = static_cast<Handover*>(argument);
    handover->status = Semaphore_Wait(handover->semaphore, handover->timeoutMilliseconds);
    return 0;
  }

  bool HasEnded() {
    for (int i = 0; i < 10000 && status == -99; ++i) OS_Delay(0.001f);
    return status != -99;
  }
};

// Whatever part of a second the wait begins in.
TEST(SemaphoreWait, IsWokenBySignal) {
  for (uint32_t timeout : {10000u, 999u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
    Handover handover{Semaphore_New(0, 1), timeout};
    Thread* thread = Thread_New(Handover::Run, &handover);
    OS_Delay(0.03f);
    EXPECT_EQ(handover.status, -99) << "nothing to take yet";
    EXPECT_EQ(Semaphore_Signal(handover.semaphore), Error_None);
    ASSERT_TRUE(handover.HasEnded());
    EXPECT_EQ(handover.status, 0);
    while (Thread_IsRunning(thread) == 1) OS_Delay(0.001f);
    Thread_Delete(thread);
    EXPECT_EQ(Semaphore_Wait(handover.semaphore, 0), Error_Timeout);
    Semaphore_Delete(handover.semaphore);
  }
}

TEST(Semaphore, GivesNull_WhenMemoryRunsOut) {
  FailEveryAllocation([] {
    Semaphore* semaphore = Semaphore_New(1, 1);
    if (semaphore == nullptr) return;
    EXPECT_EQ(Semaphore_Wait(semaphore, 0), Error_None);
    Semaphore_Delete(semaphore);
  });
}

TEST(Semaphore, TakesOneBlockAtMost) {
  const int64_t before = iMemory_CountLive();
  Semaphore* semaphore = Semaphore_New(1, 1);
  EXPECT_LE(iMemory_CountLive() - before, 1);
  Semaphore_Delete(semaphore);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(Semaphore, RefusesNull) {
  EXPECT_EQ(Semaphore_Wait(nullptr, 0), Error_Invalid);
  EXPECT_EQ(Semaphore_Signal(nullptr), Error_Invalid);
  Semaphore_Delete(nullptr);
}

}  // namespace
