// Threads: the life of the record beside the life of the thread.
#include "qz/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <vector>

#include "os/core/lock_internal.h"
#include "os/core/memory_testing.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/os.h"
#include "qz/semaphore.h"
#include "tests/support/fail_allocation.h"

namespace {

constexpr uint32_t kForever = 0xFFFFFFFFu;

// A thread function that says when it has begun and ends when it is told to.
struct Gate {
  Semaphore* begun = Semaphore_New(0, 1000);
  Semaphore* mayEnd = Semaphore_New(0, 1000);
  std::atomic<int> calls{0};
  std::atomic<uint32_t> identifier{0};

  ~Gate() {
    Semaphore_Delete(begun);
    Semaphore_Delete(mayEnd);
  }

  static int32_t Run(void* argument) {
    auto* gate = static_cast<Gate*>(argument);
    gate->identifier = Thread_GetCurrentID();
    ++gate->calls;
    Semaphore_Signal(gate->begun);
    Semaphore_Wait(gate->mayEnd, kForever);
    return 41;
  }
};

// Waits, for ten seconds at most, until condition() holds.
template <typename Condition>
bool Eventually(Condition condition) {
  for (int i = 0; i < 10000; ++i) {
    if (condition()) return true;
    OS_Delay(0.001f);
  }
  return condition();
}

int32_t ReturnMinusFive(void*) {
  return -5;
}

TEST(Thread, RunsTheFunctionWithItsArgument_AndKeepsTheExitCode) {
  Gate gate;
  Thread* thread = Thread_New(Gate::Run, &gate);
  ASSERT_NE(thread, nullptr);
  ASSERT_EQ(Semaphore_Wait(gate.begun, 10000), Error_None);
  EXPECT_EQ(Thread_IsRunning(thread), 1);
  EXPECT_EQ(Thread_ExitCode(thread), -2);
  Semaphore_Signal(gate.mayEnd);
  ASSERT_TRUE(Eventually([&] { return Thread_IsRunning(thread) == 0; }));
  EXPECT_EQ(Thread_ExitCode(thread), 41);
  EXPECT_EQ(gate.calls, 1);
  Thread_Delete(thread);
}

TEST(Thread, HasItsExitCodeBeforeItStopsRunning) {
  for (int i = 0; i < 300; ++i) {
    Thread* thread = Thread_New(ReturnMinusFive, nullptr);
    ASSERT_NE(thread, nullptr);
    // Once the code is there the thread may still be seen running, never the other way round.
    bool wasRunning = false;
    ASSERT_TRUE(Eventually([&] {
      if (Thread_IsRunning(thread) == 1) wasRunning = true;
      return Thread_IsRunning(thread) == 0 && (wasRunning || Thread_ExitCode(thread) == -5);
    }));
    EXPECT_EQ(Thread_ExitCode(thread), -5);
    Thread_Delete(thread);
  }
}

TEST(Thread, IsNotRunningAndHasNoExitCode_BeforeItsBodyBegins) {
  // The body takes the library's lock before it sets the mark, so it cannot begin while this thread holds it.
  Gate gate;
  Thread* thread = nullptr;
  {
    LibraryLock lock;
    thread = Thread_New(Gate::Run, &gate);
    ASSERT_NE(thread, nullptr);
    OS_Delay(0.02f);
    EXPECT_EQ(Thread_IsRunning(thread), 0);
    EXPECT_EQ(Thread_ExitCode(thread), -2);
    EXPECT_EQ(gate.calls, 0);
  }
  ASSERT_EQ(Semaphore_Wait(gate.begun, 10000), Error_None);
  Semaphore_Signal(gate.mayEnd);
  EXPECT_TRUE(Eventually([&] { return Thread_ExitCode(thread) == 41 && Thread_IsRunning(thread) == 0; }));
  Thread_Delete(thread);
}

TEST(ThreadDelete, LetsTheThreadRunAndFreeTheRecord_WhenItHasNotBegun) {
  const int64_t blocksBefore = iMemory_CountLive();
  {
    Gate gate;
    const int64_t blocksWithGate = iMemory_CountLive();
    {
      LibraryLock lock;
      Thread* thread = Thread_New(Gate::Run, &gate);
      ASSERT_NE(thread, nullptr);
      Thread_Delete(thread);
      EXPECT_EQ(iMemory_CountLive(), blocksWithGate + 1);
    }
    ASSERT_EQ(Semaphore_Wait(gate.begun, 10000), Error_None);
    Semaphore_Signal(gate.mayEnd);
    EXPECT_TRUE(Eventually([&] { return iMemory_CountLive() == blocksWithGate; }));
  }
  EXPECT_EQ(iMemory_CountLive(), blocksBefore);
}

TEST(ThreadDelete, ReturnsAtOnce_AndTheThreadFreesTheRecord_WhenItIsRunning) {
  Gate gate;
  const int64_t blocksBefore = iMemory_CountLive();
  Thread* thread = Thread_New(Gate::Run, &gate);
  ASSERT_NE(thread, nullptr);
  ASSERT_EQ(Semaphore_Wait(gate.begun, 10000), Error_None);
  Thread_Delete(thread);
  OS_Delay(0.02f);
  EXPECT_EQ(iMemory_CountLive(), blocksBefore + 1) << "the record belongs to the thread while it runs";
  Semaphore_Signal(gate.mayEnd);
  EXPECT_TRUE(Eventually([&] { return iMemory_CountLive() == blocksBefore; }));
}

// The function deletes its own record, and runs on for a while.
struct SelfDeleter {
  std::atomic<Thread*> thread{nullptr};
  std::atomic<int64_t> blocksAfterDelete{-1};
  Semaphore* deleted = Semaphore_New(0, 1);

  static int32_t Run(void* argument) {
    auto* self = static_cast<SelfDeleter*>(argument);
    while (self->thread == nullptr) OS_Delay(0.001f);
    Thread_Delete(self->thread);
    Thread_Delete(self->thread);
    self->blocksAfterDelete = iMemory_CountLive();
    Semaphore_Signal(self->deleted);
    return 0;
  }
};

TEST(ThreadDelete, MayBeCalledByTheFunctionItself_AndAgainBeforeItEnds) {
  SelfDeleter self;
  const int64_t blocksBefore = iMemory_CountLive();
  self.thread = Thread_New(SelfDeleter::Run, &self);
  ASSERT_NE(self.thread, nullptr);
  ASSERT_EQ(Semaphore_Wait(self.deleted, 10000), Error_None);
  EXPECT_EQ(self.blocksAfterDelete, blocksBefore + 1);
  EXPECT_TRUE(Eventually([&] { return iMemory_CountLive() == blocksBefore; }));
  Semaphore_Delete(self.deleted);
}

TEST(ThreadDelete, FreesTheRecord_WhenTheThreadHasEnded) {
  const int64_t blocksBefore = iMemory_CountLive();
  Thread* thread = Thread_New(ReturnMinusFive, nullptr);
  ASSERT_NE(thread, nullptr);
  ASSERT_TRUE(Eventually([&] { return Thread_ExitCode(thread) == -5 && Thread_IsRunning(thread) == 0; }));
  Thread_Delete(thread);
  EXPECT_EQ(iMemory_CountLive(), blocksBefore);
}

TEST(ThreadDelete, FreesEveryRecordExactlyOnce_AtWhateverMomentItComes) {
  const int64_t blocksBefore = iMemory_CountLive();
  for (int i = 0; i < 2000; ++i) {
    Thread* thread = Thread_New(ReturnMinusFive, nullptr);
    ASSERT_NE(thread, nullptr) << i;
    std::atomic<int> spin{(i % 40) * 200};
    while (spin.fetch_sub(1) > 0) {
    }
    Thread_Delete(thread);
  }
  EXPECT_TRUE(Eventually([&] { return iMemory_CountLive() == blocksBefore; }));
}

TEST(Thread, HasAnIdentifierOfItsOwn) {
  Gate first;
  Gate second;
  Thread* threads[] = {Thread_New(Gate::Run, &first), Thread_New(Gate::Run, &second)};
  Semaphore_Wait(first.begun, 10000);
  Semaphore_Wait(second.begun, 10000);
  const std::set<uint32_t> identifiers = {Thread_GetCurrentID(), first.identifier, second.identifier};
  EXPECT_EQ(identifiers.size(), 3u);
  EXPECT_EQ(identifiers.count(0), 0u);
  EXPECT_EQ(Thread_GetCurrentID(), Thread_GetCurrentID());
  for (Gate* gate : {&first, &second}) Semaphore_Signal(gate->mayEnd);
  for (Thread* thread : threads) {
    EXPECT_TRUE(Eventually([&] { return Thread_ExitCode(thread) == 41 && Thread_IsRunning(thread) == 0; }));
    Thread_Delete(thread);
  }
}

// Room for many path buffers and the name resolver, well over the figure that Windows reserves at first.
int32_t UseStack(void*) {
  volatile char buffers[300 * 1024];
  for (size_t i = 0; i < sizeof buffers; i += 512) buffers[i] = 1;
  return buffers[512];
}

TEST(Thread, HasAStackForManyPathBuffers) {
  Thread* thread = Thread_New(UseStack, nullptr);
  ASSERT_NE(thread, nullptr);
  EXPECT_TRUE(Eventually([&] { return Thread_ExitCode(thread) == 1 && Thread_IsRunning(thread) == 0; }));
  Thread_Delete(thread);
}

TEST(Thread, GivesNull_WhenMemoryRunsOut) {
  FailEveryAllocation([] {
    Thread* thread = Thread_New(ReturnMinusFive, nullptr);
    if (thread == nullptr) return;
    EXPECT_TRUE(Eventually([&] { return Thread_ExitCode(thread) == -5 && Thread_IsRunning(thread) == 0; }));
    Thread_Delete(thread);
  });
}

TEST(Thread, RefusesNull) {
  EXPECT_EQ(Thread_New(nullptr, nullptr), nullptr);
  EXPECT_EQ(Thread_IsRunning(nullptr), 0);
  EXPECT_EQ(Thread_ExitCode(nullptr), -4);
  Thread_Delete(nullptr);
}

TEST(ThreadYield, ReturnsAtOnce) {
  for (int i = 0; i < 1000; ++i) Thread_Yield();
}

// ---- the library-wide lock -------------------------------------------------------------------

struct Counter {
  int value = 0;
  Semaphore* done = Semaphore_New(0, 4);

  static int32_t Run(void* argument) {
    auto* counter = static_cast<Counter*>(argument);
    for (int i = 0; i < 20000; ++i) {
      LibraryLock outer;
      LibraryLock inner;
      counter->value = counter->value + 1;
    }
    Semaphore_Signal(counter->done);
    return 0;
  }
};

TEST(LibraryLock, KeepsThreadsApart_AndMayBeTakenAgainByItsHolder) {
  Counter counter;
  for (int i = 0; i < 4; ++i) Thread_Delete(Thread_New(Counter::Run, &counter));
  for (int i = 0; i < 4; ++i) ASSERT_EQ(Semaphore_Wait(counter.done, 60000), Error_None);
  EXPECT_EQ(counter.value, 80000);
  Semaphore_Delete(counter.done);
}

}  // namespace
