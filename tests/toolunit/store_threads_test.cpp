// The folder of saved transfers, used by several threads of a program.
#include <atomic>
#include <thread>

#include "tests/toolunit/store_fixture.h"

namespace {

using tool::SavedTransfer;
using tool::Store;

constexpr char kURL[] = "http://a.example/1";
constexpr int kThreads = 4;

template <typename Action>
void RunInThreads(Action action) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back([&action, i] { action(i); });
  for (std::thread& thread : threads) thread.join();
}

using StoreThreads = StoreTest;

TEST_F(StoreThreads, CreateEachTransferOnce) {
  Store store;
  std::atomic<int> found = 0;
  RunInThreads([&](int) {
    for (int k = 0; k < 20; ++k) found += Save(&store, kURL, "/" + std::to_string(k)) == 0 ? 1 : 0;
    store.List();
  });
  EXPECT_EQ(found, 60);
  EXPECT_EQ(store.List().transfers.size(), 20u);
  EXPECT_EQ(Read("next"), "21\n");
}

TEST_F(StoreThreads, DriveTransfersOfTheirOwn) {
  Store store;
  RunInThreads([&](int thread) {
    for (int k = 0; k < 10; ++k) {
      const std::string path = "/" + std::to_string(thread) + "-" + std::to_string(k);
      std::optional<SavedTransfer> found;
      const auto claim = store.Create(false, kURL, path, &found);
      SavedTransfer transfer = Download(claim->Number(), kURL, path);
      store.Save(transfer, "1");
      transfer.doneBytes = 5;
      store.Save(transfer, "2");
      EXPECT_EQ(store.Find(false, kURL, path), transfer);
      if (k % 2 == 0) store.Remove(claim->Number());
    }
  });
  const tool::StoreListing listing = store.List();
  EXPECT_EQ(listing.transfers.size(), 20u);
  EXPECT_TRUE(listing.damaged.empty());
  EXPECT_EQ(Names().size(), 40u);
}

TEST_F(StoreThreads, TakeEachTransferOnce) {
  Store store;
  for (int k = 0; k < 50; ++k) Save(&store, kURL, "/" + std::to_string(k));
  std::vector<std::vector<std::unique_ptr<tool::Claim>>> claims(kThreads);
  RunInThreads([&](int thread) {
    for (unsigned number = 1; number <= 50; ++number) {
      if (auto claim = store.Take(number))
        claims[static_cast<std::size_t>(thread)].push_back(std::move(claim));
    }
  });
  std::size_t taken = 0;
  for (const auto& own : claims) taken += own.size();
  EXPECT_EQ(taken, 50u);
}

}  // namespace
