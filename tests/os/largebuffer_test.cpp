// The large buffers of streams.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "os/core/largebuffer_internal.h"
#include "os/core/memory_testing.h"

namespace {

TEST(LargeBuffer, IsGivenSixteenTimes) {
  const int64_t before = iMemory_CountLive();
  std::vector<uint8_t*> taken;
  for (int i = 0; i < 16; ++i) {
    taken.push_back(iLargeBuffer_Take());
    ASSERT_NE(taken.back(), nullptr) << i;
    memset(taken.back(), i, 131072);
  }
  EXPECT_EQ(iLargeBuffer_Take(), nullptr);
  EXPECT_EQ(iMemory_CountLive(), before + 16);
  iLargeBuffer_GiveBack(nullptr);
  EXPECT_EQ(iLargeBuffer_Take(), nullptr);
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(taken[static_cast<size_t>(i)][131071], i);
    iLargeBuffer_GiveBack(taken[static_cast<size_t>(i)]);
  }
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(LargeBuffer, IsNotUsedUpByAFailedAllocation) {
  for (int i = 0; i < 100; ++i) {
    iMemory_FailAllocation(1);
    EXPECT_EQ(iLargeBuffer_Take(), nullptr);
    iMemory_FailAllocation(0);
  }
  uint8_t* buffer = iLargeBuffer_Take();
  EXPECT_NE(buffer, nullptr);
  iLargeBuffer_GiveBack(buffer);
}

TEST(LargeBuffer, IsNeverGivenMoreThanSixteenTimes_ToManyThreads) {
  std::atomic<int> held{0};
  std::atomic<int> most{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        std::vector<uint8_t*> mine;
        for (int i = 0; i < 6; ++i) {
          uint8_t* buffer = iLargeBuffer_Take();
          if (buffer == nullptr) continue;
          mine.push_back(buffer);
          const int now = ++held;
          int seen = most.load();
          while (now > seen && !most.compare_exchange_weak(seen, now)) {
          }
        }
        for (uint8_t* buffer : mine) {
          --held;
          iLargeBuffer_GiveBack(buffer);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(most.load(), 16);
  EXPECT_GE(most.load(), 6);
}

}  // namespace
