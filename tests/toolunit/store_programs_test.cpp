// Several programs on the same saved transfers.
#include <set>

#include "tests/toolunit/store_fixture.h"

namespace {

using tool::SavedTransfer;
using tool::Store;

constexpr char kURL[] = "http://a.example/1";

using StorePrograms = StoreTest;

TEST_F(StorePrograms, KeepEachOtherOut) {
  Store store;
  Save(&store, kURL, "/1");
  StoreUser user("take 1");
  ASSERT_EQ(user.Says(), "taken");
  EXPECT_TRUE(store.IsTaken(1));
  EXPECT_FALSE(store.Take(1));
  EXPECT_EQ(StoreUser("take 1").Says(), "refused");
  user.Leave();
  EXPECT_FALSE(store.IsTaken(1));
  EXPECT_TRUE(store.Take(1));
}

TEST_F(StorePrograms, LoseTheirClaimsWhenTheyAreKilled) {
  Store store;
  Save(&store, kURL, "/1");
  StoreUser user("take 1");
  ASSERT_EQ(user.Says(), "taken");
  user.Die();
  EXPECT_FALSE(store.IsTaken(1));
  EXPECT_TRUE(store.Take(1));
}

TEST_F(StorePrograms, AreKeptOutByThisOne) {
  Store store;
  Save(&store, kURL, "/1");
  const auto claim = store.Take(1);
  EXPECT_EQ(StoreUser("take 1").Says(), "refused");
  EXPECT_EQ(StoreUser("take 2").Says(), "taken");
}

TEST_F(StorePrograms, FindWhatAnotherOneIsCreating) {
  Store store;
  StoreUser user(std::string("create ") + kURL + " /1");
  ASSERT_EQ(user.Says(), "created 1");
  std::optional<SavedTransfer> found;
  EXPECT_FALSE(store.Create(false, kURL, "/1", &found));
  EXPECT_EQ(found, Download(1, kURL, "/1"));
  EXPECT_EQ(StoreUser(std::string("save ") + kURL + " /1").Says(), "found 1");
  user.Die();
  EXPECT_EQ(Save(&store, kURL, "/1"), 2u);
  EXPECT_EQ(StoreUser(std::string("save ") + kURL + " /1").Says(), "found 2");
}

TEST_F(StorePrograms, CreateEachTransferOnce) {
  constexpr std::size_t kCount = 60;
  StoreUser first("many 60 same");
  StoreUser second("many 60 same");
  Store store;
  const tool::StoreListing during = store.List();
  EXPECT_TRUE(during.damaged.empty());
  EXPECT_EQ(first.Says(), "done");
  EXPECT_EQ(second.Says(), "done");
  std::set<std::string> paths;
  for (const SavedTransfer& transfer : store.List().transfers) paths.insert(transfer.localPath);
  EXPECT_EQ(paths.size(), kCount);
  EXPECT_EQ(store.List().transfers.size(), kCount);
  EXPECT_TRUE(store.List().damaged.empty());
  EXPECT_EQ(Read("next"), "61\n");
}

TEST_F(StorePrograms, ReadWhatAnotherOneWrites) {
  Store store;
  Save(&store, kURL, "/1");
  StoreUser writer("rewrite 1 300");
  int count = 0;
  while (!writer.HasSaid() && count < 100000) {
    const tool::StoreListing listing = store.List();
    ASSERT_EQ(listing.transfers.size(), 1u);
    ASSERT_TRUE(listing.damaged.empty()) << listing.damaged[0].why;
    const std::string record = store.ReadRecord(1).value_or("missing");
    ASSERT_TRUE(record == "a record" || record.starts_with("record ")) << record;
    ++count;
  }
  EXPECT_EQ(writer.Says(), "done");
  EXPECT_EQ(store.Find(1)->doneBytes, 299u);
  EXPECT_EQ(store.ReadRecord(1), "record 299");
}

TEST_F(StorePrograms, SeeTransfersComeAndGo) {
  Store store;
  StoreUser writer("many 200 more");
  std::size_t most = 0;
  while (!writer.HasSaid()) {
    const tool::StoreListing listing = store.List();
    ASSERT_TRUE(listing.damaged.empty()) << listing.damaged[0].path << ": " << listing.damaged[0].why;
    ASSERT_GE(listing.transfers.size(), most);
    most = listing.transfers.size();
  }
  EXPECT_EQ(store.List().transfers.size(), 200u);
}

}  // namespace
