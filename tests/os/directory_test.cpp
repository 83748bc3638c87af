// Directories: making, finding, the current one, and removing a whole tree.
#include "qz/directory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qz/file.h"
#include "tests/support/error_capture.h"
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
  EXPECT_EQ(Directory_New(Name("d").c_str()), 0);
  EXPECT_TRUE(fs::is_directory(directory_.SystemName("d")));
  EXPECT_EQ(Directory_New(Name("d").c_str()), -1);
  EXPECT_EQ(Directory_New(Name("missing/d").c_str()), -3);
  EXPECT_EQ(Directory_New(nullptr), -4);
  EXPECT_EQ(Directory_New(std::string(1024, 'a').c_str()), 5);
}

TEST_F(DirectoryTest, FindsADirectory) {
  directory_.MakeDirectory("d");
  char result[1024] = "unset";
  int32_t isFile = 9;
  EXPECT_EQ(Directory_Find(Name("d").c_str(), 0, &isFile, result), 0);
  EXPECT_EQ(result, Name("d"));
  EXPECT_EQ(isFile, 0);
  EXPECT_EQ(Directory_Find(Name("d").c_str(), 1, nullptr, nullptr), 0);
}

TEST_F(DirectoryTest, FindsAFileInstead) {
  directory_.Write("f", "abc");
  char result[1024] = "unset";
  int32_t isFile = 9;
  EXPECT_EQ(Directory_Find(Name("f").c_str(), 1, &isFile, result), 3);
  EXPECT_EQ(isFile, 1);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(directory_.Read("f"), "abc");
}

TEST_F(DirectoryTest, CreatesWhatItDoesNotFindWhenAsked) {
  char result[1024] = "unset";
  int32_t isFile = 9;
  EXPECT_EQ(Directory_Find(Name("d").c_str(), 0, &isFile, result), -3);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(isFile, 0);
  EXPECT_FALSE(directory_.Exists("d"));
  EXPECT_EQ(Directory_Find(Name("d").c_str(), 1, &isFile, result), 0);
  EXPECT_EQ(result, Name("d"));
  EXPECT_TRUE(fs::is_directory(directory_.SystemName("d")));
  EXPECT_EQ(Directory_Find(Name("missing/d").c_str(), 1, &isFile, result), -3);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(Directory_Find(nullptr, 1, &isFile, result), -4);
}

TEST_F(DirectoryTest, SetsAndGivesTheCurrentDirectory) {
  char original[1024];
  char current[1024];
  ASSERT_EQ(Directory_GetCurrent(original), 0);
  EXPECT_EQ(original[0], '/');
  EXPECT_EQ(strchr(original, '\\'), nullptr);
  EXPECT_EQ(Directory_SetCurrent(directory_.Name().c_str()), 0);
  EXPECT_EQ(Directory_GetCurrent(current), 0);
  EXPECT_EQ(Directory_New("below"), 0);
  EXPECT_EQ(Directory_SetCurrent("missing"), -1);
  EXPECT_EQ(Directory_SetCurrent(nullptr), -1);
  ASSERT_EQ(Directory_SetCurrent(original), 0);
  EXPECT_EQ(std::string(current), LibraryName(fs::canonical(directory_.SystemName())));
  EXPECT_TRUE(directory_.Exists("below"));
  EXPECT_EQ(Directory_GetCurrent(nullptr), -4);
}

// ---- removing a tree ---------------------------------------------------------------------------

TEST_F(DirectoryTest, RemovesATree) {
  directory_.MakeDirectory("d/e/f");
  directory_.MakeDirectory("d/empty");
  directory_.Write("d/x", "1");
  directory_.Write("d/e/y", "2");
  directory_.Write("d/e/f/z", "3");
  directory_.Write("kept", "4");
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), 0);
  EXPECT_EQ(directory_.List(), std::vector<std::string>{"kept"});
}

TEST_F(DirectoryTest, RemovesManyEntries) {
  directory_.MakeDirectory("d");
  for (int i = 0; i < 2000; ++i) directory_.Write("d/file" + std::to_string(i), "");
  EXPECT_EQ(Directory_Delete(Name("d/").c_str()), 0);
  EXPECT_FALSE(directory_.Exists("d"));
}

TEST_F(DirectoryTest, RefusesAFileAndSaysWhenNothingIsThere) {
  directory_.Write("f", "abc");
  EXPECT_EQ(Directory_Delete(Name("f").c_str()), -4);
  EXPECT_EQ(directory_.Read("f"), "abc");
  EXPECT_EQ(Directory_Delete(Name("missing").c_str()), -3);
  EXPECT_EQ(Directory_Delete(nullptr), -4);
  EXPECT_EQ(Directory_Delete(std::string(1024, 'a').c_str()), 5);
}

TEST_F(DirectoryTest, RefusesEveryRoot) {
  ErrorCapture capture;  // a server alone is also reported
  for (const char* name : {"", "/", "//", "/C|", "/C|/", "/c|//", "//server", "//server/share",
                           "//server/share/", "/.", "/..", "/C|/.", "/C|/x/..", "//server/share/x/.."}) {
    EXPECT_EQ(Directory_Delete(name), -4) << name;
  }
}

TEST_F(DirectoryTest, RefusesAPathThatEndsInAWayBackBeforeAnythingIsRemoved) {
  directory_.MakeDirectory("d/e");
  directory_.Write("d/f", "mine");
  for (const char* name : {"d/.", "d/./", "d/..", "d/e/..", "d/e/../"}) {
    EXPECT_EQ(Directory_Delete(Name(name).c_str()), -4) << name;
  }
  char original[1024];
  ASSERT_EQ(Directory_GetCurrent(original), 0);
  ASSERT_EQ(Directory_SetCurrent(Name("d/e").c_str()), 0);
  EXPECT_EQ(Directory_Delete("."), -4);
  EXPECT_EQ(Directory_Delete(".."), -4);
  ASSERT_EQ(Directory_SetCurrent(original), 0);
  EXPECT_EQ(directory_.Read("d/f"), "mine");
  EXPECT_TRUE(directory_.Exists("d/e"));
}

TEST_F(DirectoryTest, FailsCleanlyWithoutMemory) {
  FailEveryAllocation([&] {
    directory_.MakeDirectory("d/e");
    const ErrorCode status = Directory_Delete(Name("d").c_str());
    // A directory that cannot be searched stays, and is not empty.
    EXPECT_TRUE(status == 0 || status == 1) << status;
    EXPECT_EQ(directory_.Exists("d"), status != 0);
  });
}

}  // namespace
