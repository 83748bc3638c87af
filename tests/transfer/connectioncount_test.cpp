// The number of open connections.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "transfer/vrxclientsystem_internal.h"

namespace {

TEST(ConnectionCount, FollowsOpeningAndClosing) {
  iVRXClientSystem_ClearConnections();
  EXPECT_EQ(iVRXClientSystem_Connections(), 0u);
  iVRXClientSystem_RaiseConnections();
  iVRXClientSystem_RaiseConnections();
  EXPECT_EQ(iVRXClientSystem_Connections(), 2u);
  iVRXClientSystem_LowerConnections();
  EXPECT_EQ(iVRXClientSystem_Connections(), 1u);
  iVRXClientSystem_ClearConnections();
  EXPECT_EQ(iVRXClientSystem_Connections(), 0u);
}

TEST(ConnectionCount, IsNeverBelowZero) {
  iVRXClientSystem_ClearConnections();
  iVRXClientSystem_LowerConnections();
  EXPECT_EQ(iVRXClientSystem_Connections(), 0u);
  iVRXClientSystem_RaiseConnections();
  EXPECT_EQ(iVRXClientSystem_Connections(), 1u);
  iVRXClientSystem_LowerConnections();
}

TEST(ConnectionCount, CountsForEightThreads) {
  iVRXClientSystem_ClearConnections();
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      ++ready;
      while (ready.load() != 8) std::this_thread::yield();
      for (int round = 0; round < 100000; ++round) {
        iVRXClientSystem_RaiseConnections();
        iVRXClientSystem_RaiseConnections();
        iVRXClientSystem_LowerConnections();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(iVRXClientSystem_Connections(), 800000u);
  iVRXClientSystem_ClearConnections();
}

}  // namespace
