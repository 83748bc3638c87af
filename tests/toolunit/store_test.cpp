// The folder of saved transfers, as one program sees it.
#include "tool/store.h"

#include "tests/toolunit/store_fixture.h"
#include "tool/failure.h"

namespace {

using tool::SavedTransfer;
using tool::Store;

TEST_F(StoreTest, MakesItsFolder) {
  const Store store;
  EXPECT_TRUE(folder_.Exists("transfers/lock"));
  EXPECT_EQ(std::filesystem::path(store.Folder()), folder_.SystemName("transfers"));
}

TEST_F(StoreTest, GivesNumbersFromOneOn) {
  Store store;
  EXPECT_EQ(Save(&store, "http://a.example/1", "/1"), 1u);
  EXPECT_EQ(Save(&store, "http://a.example/2", "/2"), 2u);
  EXPECT_EQ(Read("next"), "3\n");
}

TEST_F(StoreTest, ReadsBackWhatItSaved) {
  SavedTransfer saved = Download(0, "http://a.example/1", "/1");
  saved.lastReason = "none";
  {
    Store store;
    std::optional<SavedTransfer> found;
    const auto claim = store.Create(false, saved.url, saved.localPath, &found);
    ASSERT_TRUE(claim);
    saved.number = claim->Number();
    store.Save(saved, std::string("rec\0rd", 6));
  }
  Store store;
  EXPECT_EQ(store.Find(1), saved);
  EXPECT_EQ(store.ReadRecord(1), std::string("rec\0rd", 6));
  EXPECT_EQ(store.List().transfers, std::vector<SavedTransfer>{saved});
  EXPECT_EQ(Names(), (std::vector<std::string>{"1.conf", "1.vrx"}));
}

}  // namespace
