// Where the folder of saved transfers is on Windows.
#include "tests/toolunit/store_fixture.h"

namespace {

using StorePlace = StoreTest;

TEST_F(StorePlace, IsTheUsersApplicationData) {
  const ScopedVariable none("QZ_TRANSFERS", nullptr);
  const ScopedVariable data("LOCALAPPDATA", folder_.SystemName("data").string().c_str());
  EXPECT_EQ(std::filesystem::path(tool::Store().Folder()), folder_.SystemName("data\\qz\\transfers"));
}

TEST_F(StorePlace, GetsItsDrive) {
  const std::string whole = folder_.SystemName("here").string();
  const std::string path = whole.substr(2);  // without its drive
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.SystemName());
  {
    const ScopedVariable variable("QZ_TRANSFERS", path.c_str());
    EXPECT_EQ(tool::Store().Folder(), whole);
  }
  std::filesystem::current_path(before);
}

TEST_F(StorePlace, IsOnASystemPath) {
  tool::Store store;
  EXPECT_EQ(Save(&store, "http://a.example/1", "/C|/1"), 1u);
  EXPECT_EQ(store.Find(1)->localPath, "/C|/1");
}

}  // namespace
