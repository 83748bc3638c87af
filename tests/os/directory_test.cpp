// Directories: making, finding, the current one, and removing a whole tree.
#include "qz/directory.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "os/file/directory_testing.h"
#include "qz/error.h"
#include "qz/file.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

class DirectoryTest : public testing::Test {
 protected:
  std::string Name(const std::string& name) { return directory_.Name(name); }

  TempDir directory_;
};

TEST_F(DirectoryTest, CreatesOneDirectory) {
  EXPECT_EQ(Directory_New(Name("d").c_str()), Error_None);
  EXPECT_TRUE(fs::is_directory(directory_.SystemName("d")));
  EXPECT_EQ(Directory_New(Name("d").c_str()), Error_Fail);
  EXPECT_EQ(Directory_New(Name("missing/d").c_str()), Error_NotFound);
  EXPECT_EQ(Directory_New(nullptr), Error_Invalid);
  EXPECT_EQ(Directory_New(std::string(1024, 'a').c_str()), Error_Exceed);
}

TEST_F(DirectoryTest, FindsADirectory) {
  directory_.MakeDirectory("d");
  char result[1024] = "unset";
  int32_t isFile = 9;
  EXPECT_EQ(Directory_Find(Name("d").c_str(), 0, &isFile, result), Error_None);
  EXPECT_EQ(result, Name("d"));
  EXPECT_EQ(isFile, 0);
  EXPECT_EQ(Directory_Find(Name("d").c_str(), 1, nullptr, nullptr), Error_None);
}

TEST_F(DirectoryTest, FindsAFileInstead) {
  directory_.Write("f", "abc");
  char result[1024] = "unset";
  int32_t isFile = 9;
  EXPECT_EQ(Directory_Find(Name("f").c_str(), 1, &isFile, result), Error_Exists);
  EXPECT_EQ(isFile, 1);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(directory_.Read("f"), "abc");
}

TEST_F(DirectoryTest, CreatesWhatItDoesNotFindWhenAsked) {
  char result[1024] = "unset";
  int32_t isFile = 9;
  EXPECT_EQ(Directory_Find(Name("d").c_str(), 0, &isFile, result), Error_NotFound);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(isFile, 0);
  EXPECT_FALSE(directory_.Exists("d"));
  EXPECT_EQ(Directory_Find(Name("d").c_str(), 1, &isFile, result), Error_None);
  EXPECT_EQ(result, Name("d"));
  EXPECT_TRUE(fs::is_directory(directory_.SystemName("d")));
  EXPECT_EQ(Directory_Find(Name("missing/d").c_str(), 1, &isFile, result), Error_NotFound);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(Directory_Find(nullptr, 1, &isFile, result), Error_Invalid);
}

TEST_F(DirectoryTest, SetsAndGivesTheCurrentDirectory) {
  char original[1024];
  char current[1024];
  ASSERT_EQ(Directory_GetCurrent(original), Error_None);
  EXPECT_EQ(original[0], '/');
  EXPECT_EQ(strchr(original, '\\'), nullptr);
  EXPECT_EQ(Directory_SetCurrent(directory_.Name().c_str()), 0);
  EXPECT_EQ(Directory_GetCurrent(current), Error_None);
  EXPECT_EQ(Directory_New("below"), Error_None);
  EXPECT_EQ(Directory_SetCurrent("missing"), -1);
  EXPECT_EQ(Directory_SetCurrent(nullptr), -1);
  ASSERT_EQ(Directory_SetCurrent(original), 0);
  EXPECT_EQ(std::string(current), LibraryName(fs::canonical(directory_.SystemName())));
  EXPECT_TRUE(directory_.Exists("below"));
  EXPECT_EQ(Directory_GetCurrent(nullptr), Error_Invalid);
}

// ---- removing a tree ---------------------------------------------------------------------------

TEST_F(DirectoryTest, RemovesATree) {
  directory_.MakeDirectory("d/e/f");
  directory_.MakeDirectory("d/empty");
  directory_.Write("d/x", "1");
  directory_.Write("d/e/y", "2");
  directory_.Write("d/e/f/z", "3");
  directory_.Write("kept", "4");
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_None);
  EXPECT_EQ(directory_.List(), std::vector<std::string>{"kept"});
}

TEST_F(DirectoryTest, RemovesManyEntries) {
  directory_.MakeDirectory("d");
  for (int i = 0; i < 2000; ++i) directory_.Write("d/file" + std::to_string(i), "");
  EXPECT_EQ(Directory_Delete(Name("d/").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("d"));
}

TEST_F(DirectoryTest, RefusesAFileAndSaysWhenNothingIsThere) {
  directory_.Write("f", "abc");
  EXPECT_EQ(Directory_Delete(Name("f").c_str()), Error_Invalid);
  EXPECT_EQ(directory_.Read("f"), "abc");
  EXPECT_EQ(Directory_Delete(Name("missing").c_str()), Error_NotFound);
  EXPECT_EQ(Directory_Delete(nullptr), Error_Invalid);
  EXPECT_EQ(Directory_Delete(std::string(1024, 'a').c_str()), Error_Exceed);
}

TEST_F(DirectoryTest, RefusesEveryRoot) {
  for (const char* name : {"",
                           "/",
                           "//",
                           "/C|",
                           "/C|/",
                           "/c|//",
                           "//server",
                           "//server/share",
                           "//server/share/",
                           "/.",
                           "/..",
                           "/C|/.",
                           "/C|/x/..",
                           "//server/share/x/..",
                           "//server//share",
                           "//?/UNC/server/share",
                           "//?/UNC/server/share/",
                           "//?/unc/server/share/x/..",
                           "//?/UNC/server",
                           "//?/UNC",
                           "//?/",
                           "//?/C:",
                           "//?/C:/",
                           "//./C:/x/.."}) {
    EXPECT_EQ(Directory_Delete(name), Error_Invalid) << name;
  }
}

TEST_F(DirectoryTest, RefusesAPathThatEndsInAWayBackBeforeAnythingIsRemoved) {
  directory_.MakeDirectory("d/e");
  directory_.Write("d/f", "mine");
  for (const char* name : {"d/.", "d/./", "d/..", "d/e/..", "d/e/../"}) {
    EXPECT_EQ(Directory_Delete(Name(name).c_str()), Error_Invalid) << name;
  }
  char original[1024];
  ASSERT_EQ(Directory_GetCurrent(original), Error_None);
  ASSERT_EQ(Directory_SetCurrent(Name("d/e").c_str()), 0);
  EXPECT_EQ(Directory_Delete("."), Error_Invalid);
  EXPECT_EQ(Directory_Delete(".."), Error_Invalid);
  ASSERT_EQ(Directory_SetCurrent(original), 0);
  EXPECT_EQ(directory_.Read("d/f"), "mine");
  EXPECT_TRUE(directory_.Exists("d/e"));
}

TEST_F(DirectoryTest, FailsCleanlyWithoutMemory) {
  FailEveryAllocation([&] {
    directory_.MakeDirectory("d/e");
    const ErrorCode status = Directory_Delete(Name("d").c_str());
    // A directory that cannot be searched stays, and is not empty.
    EXPECT_TRUE(status == Error_None || status == Error_Memory) << status;
    EXPECT_EQ(directory_.Exists("d"), status != Error_None);
  });
}

TEST_F(DirectoryTest, RemovesOnlyTheLinkHoweverManySeparatorsFollow) {
  directory_.MakeDirectory("outside");
  directory_.Write("outside/kept", "mine");
  for (const char* name : {"link", "link/", "link//"}) {
    DirectoryLink link(directory_.SystemName("outside"), directory_.SystemName("link"));
    ASSERT_TRUE(directory_.Exists("link"));
    const ErrorCode status = Directory_Delete(Name(name).c_str());
    EXPECT_EQ(directory_.Exists("link"), status != Error_None) << name;
    EXPECT_EQ(directory_.Read("outside/kept"), "mine") << name;
  }
}

TEST_F(DirectoryTest, RemovesNoEmptyDirectoryThroughALink) {
  directory_.MakeDirectory("outside");
  for (const char* name : {"link", "link/", "link//"}) {
    DirectoryLink link(directory_.SystemName("outside"), directory_.SystemName("link"));
    const ErrorCode status = Directory_Delete(Name(name).c_str());
    EXPECT_EQ(directory_.Exists("link"), status != Error_None) << name;
    ASSERT_TRUE(directory_.Exists("outside")) << name;
    if (status != Error_None) File_Unlink(Name(name).c_str());
    ASSERT_TRUE(directory_.Exists("outside")) << name;
  }
}

TEST_F(DirectoryTest, EntersNoLink) {
  directory_.MakeDirectory("outside/below");
  directory_.Write("outside/kept", "mine");
  directory_.MakeDirectory("d/e");
  directory_.Write("d/e/f", "1");
  DirectoryLink link(directory_.SystemName("outside"), directory_.SystemName("d/e/link"));
  const ErrorCode status = Directory_Delete(Name("d").c_str());
  EXPECT_EQ(directory_.Exists("d"), status != Error_None);
  EXPECT_FALSE(directory_.Exists("d/e/f"));
  EXPECT_EQ(directory_.Read("outside/kept"), "mine");
  EXPECT_TRUE(directory_.Exists("outside/below"));
}

// ---- systems and neighbours that change a directory during its search --------------------------

class ChangingSearchTest : public DirectoryTest {
 protected:
  static constexpr int kMostAdded = 20000;

  ChangingSearchTest() {
    current_ = this;
    given_ = 0;
    added_ = 0;
  }
  ~ChangingSearchTest() override {
    iDirectory_SetNextEntry(nullptr);
    iDirectory_SetLongestPass(0);
  }

  // Gives two entries of every search and skips the rest.
  static bool SkipAfterTwo(platform::DirectorySearch* search, platform::DirectoryEntry* entry) {
    if (++given_ % 3 != 0) return platform::NextEntry(search, entry);
    SetNoError();
    return false;
  }

  // Adds ten entries whenever the last one was given.
  static bool AddAtTheEnd(platform::DirectorySearch* search, platform::DirectoryEntry* entry) {
    if (platform::NextEntry(search, entry)) return true;
    for (int i = 0; i < 10; ++i) Add();
    SetNoError();
    return false;
  }

  // Adds an entry for every one that it gives, and gives the added ones for as long as there are any.
  static bool AddAndGive(platform::DirectorySearch* search, platform::DirectoryEntry* entry) {
    const bool hasAdded = Add();
    if (platform::NextEntry(search, entry)) return true;
    if (!hasAdded) return false;
    *entry = {};
    snprintf(entry->name, sizeof entry->name, "added%d", added_);
    return true;
  }

  static bool Add() {
    SetNoError();
    if (added_ >= kMostAdded) return false;
    current_->directory_.Write("d/added" + std::to_string(++added_), "");
    return true;
  }

  static inline ChangingSearchTest* current_ = nullptr;
  static inline int given_ = 0;
  static inline int added_ = 0;
};

TEST_F(ChangingSearchTest, SearchesAgainWhereTheSystemSkipsEntries) {
  directory_.MakeDirectory("d");
  for (int i = 0; i < 50; ++i) directory_.Write("d/file" + std::to_string(i), "");
  iDirectory_SetNextEntry(SkipAfterTwo);
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("d"));
}

TEST_F(ChangingSearchTest, FailsWhileOthersKeepAddingEntries) {
  directory_.MakeDirectory("d");
  directory_.Write("d/first", "");
  iDirectory_SetNextEntry(AddAtTheEnd);
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_Fail);
  EXPECT_LT(added_, 1100);
  EXPECT_TRUE(directory_.Exists("d"));
}

TEST_F(ChangingSearchTest, EndsASearchThatGivesWhatOthersKeepAdding) {
  directory_.MakeDirectory("d");
  for (const char* name : {"d/one", "d/two", "d/three"}) directory_.Write(name, "");
  iDirectory_SetLongestPass(500);
  iDirectory_SetNextEntry(AddAndGive);
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_Fail);
  EXPECT_LT(added_, 2100);
  EXPECT_TRUE(directory_.Exists("d"));
}

TEST_F(ChangingSearchTest, SaysThatTheSearchFailed) {
  directory_.MakeDirectory("d");
  directory_.Write("d/f", "");
  iDirectory_SetNextEntry([](platform::DirectorySearch*, platform::DirectoryEntry*) {
    SetNoAccess();
    return false;
  });
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_NoAccess);
  EXPECT_TRUE(directory_.Exists("d/f"));
}

}  // namespace
