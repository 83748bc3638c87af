// Names that are not taken yet.
#include <gtest/gtest.h>

#include <string>

#include "os/core/os_testing.h"
#include "os/file/file_internal.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "tests/support/os_session.h"
#include "tests/support/system_folders.h"
#include "tests/support/temp_dir.h"

namespace {

class FileNewNameTest : public testing::Test {
 protected:
  // The status, and the result without the directory.
  ErrorCode Number(const std::string& name) {
    char result[1024] = "unset";
    const ErrorCode status = File_NumberName(directory_.Name(name).c_str(), result);
    const std::string prefix = directory_.Name() + "/";
    result_ = result;
    if (result_.compare(0, prefix.size(), prefix) == 0) result_.erase(0, prefix.size());
    return status;
  }

  TempDir directory_;
  std::string result_;
};

TEST_F(FileNewNameTest, GivesAFreeNameAsItIs) {
  EXPECT_EQ(Number("a.txt"), Error_None);
  EXPECT_EQ(result_, "a.txt");
  EXPECT_FALSE(directory_.Exists("a.txt"));
}

TEST_F(FileNewNameTest, NumbersFromZero) {
  directory_.Write("a.txt", "");
  EXPECT_EQ(Number("a.txt"), Error_None);
  EXPECT_EQ(result_, "a(0).txt");
  directory_.Write("a(0).txt", "");
  EXPECT_EQ(Number("a.txt"), Error_None);
  EXPECT_EQ(result_, "a(1).txt");
  directory_.Write("a(2).txt", "");
  EXPECT_EQ(Number("a.txt"), Error_None);
  EXPECT_EQ(result_, "a(1).txt");
}

TEST_F(FileNewNameTest, NumbersDirectoriesToo) {
  directory_.MakeDirectory("d");
  EXPECT_EQ(Number("d"), Error_None);
  EXPECT_EQ(result_, "d(0)");
}

TEST_F(FileNewNameTest, TakesTheLastDotOfTheName) {
  directory_.Write("a.tar.gz", "");
  EXPECT_EQ(Number("a.tar.gz"), Error_None);
  EXPECT_EQ(result_, "a.tar(0).gz");
  directory_.Write(".rc", "");
  EXPECT_EQ(Number(".rc"), Error_None);
  EXPECT_EQ(result_, "(0).rc");
  directory_.Write("100%n", "");
  EXPECT_EQ(Number("100%n"), Error_None);
  EXPECT_EQ(result_, "100%n(0)");
}

TEST_F(FileNewNameTest, TakesTheDotOfADirectory) {
  directory_.MakeDirectory("x.d");
  directory_.MakeDirectory("x(0).d");
  directory_.Write("x.d/name", "");
  EXPECT_EQ(Number("x.d/name"), Error_None);
  EXPECT_EQ(result_, "x(0).d/name");
}

TEST_F(FileNewNameTest, NumbersTheLastPartAlone) {
  struct Row {
    const char* name;
    const char* numbered;
  };
  directory_.MakeDirectory("x.d");
  for (const Row& row : {Row{"x.d/name", "x.d/name(0)"}, Row{"x.d/a.tar.gz", "x.d/a.tar(0).gz"},
                         Row{"x.d/.rc", "x.d/(0).rc"}, Row{"a.txt", "a(0).txt"}, Row{"b", "b(0)"}}) {
    const std::string name = directory_.Name(row.name);
    char result[1024] = "unset";
    EXPECT_EQ(iFile_NumberLastPart(name.c_str(), result), Error_None);
    EXPECT_EQ(result, name);
    directory_.Write(row.name, "");
    EXPECT_EQ(iFile_NumberLastPart(name.c_str(), result), Error_None);
    EXPECT_EQ(result, directory_.Name(row.numbered));
  }
  char result[1024] = "unset";
  EXPECT_EQ(iFile_NumberLastPart(directory_.Name("missing/a").c_str(), result), Error_Invalid);
  EXPECT_STREQ(result, "");
}

TEST_F(FileNewNameTest, NeedsTheDirectory) {
  directory_.Write("f", "");
  EXPECT_EQ(Number("missing/a.txt"), Error_Invalid);
  EXPECT_EQ(result_, "");
  EXPECT_EQ(Number("f/a.txt"), Error_Invalid);
}

TEST_F(FileNewNameTest, TriesFiveHundredAndTwelveNames) {
  directory_.Write("a", "");
  for (int n = 0; n < 510; ++n) directory_.Write("a(" + std::to_string(n) + ")", "");
  EXPECT_EQ(Number("a"), Error_None);
  EXPECT_EQ(result_, "a(510)");
  directory_.Write("a(510)", "");
  // The next one is formed and given, but it is not looked at: it is free.
  EXPECT_EQ(Number("a"), Error_Invalid);
  EXPECT_EQ(result_, "a(511)");
}

TEST_F(FileNewNameTest, TakesTheCurrentDirectoryForABareName) {
  directory_.Write("a.txt", "");
  char original[1024];
  char result[1024];
  ASSERT_EQ(Directory_GetCurrent(original), Error_None);
  ASSERT_EQ(Directory_SetCurrent(directory_.Name().c_str()), 0);
  EXPECT_EQ(File_NumberName("a.txt", result), Error_None);
  ASSERT_EQ(Directory_SetCurrent(original), 0);
  EXPECT_STREQ(result, "a(0).txt");
}

TEST_F(FileNewNameTest, AcceptsTheNameAsTheResult) {
  directory_.Write("a.txt", "");
  char name[1024];
  directory_.Name("a.txt").copy(name, sizeof name);
  name[directory_.Name("a.txt").size()] = '\0';
  EXPECT_EQ(File_NumberName(name, name), Error_None);
  EXPECT_EQ(name, directory_.Name("a(0).txt"));
}

TEST_F(FileNewNameTest, RefusesNullAndWhatDoesNotFit) {
  char result[1024] = "unset";
  EXPECT_EQ(File_NumberName(nullptr, result), Error_Invalid);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(File_NumberName("a", nullptr), Error_Invalid);
  EXPECT_EQ(File_NumberName(std::string(1024, 'a').c_str(), result), Error_Exceed);
  EXPECT_STREQ(result, "");
}

// ---- random names ------------------------------------------------------------------------------

int32_t nextRandom = 0;

class FileUniqueNameTest : public FileNewNameTest {
 protected:
  FileUniqueNameTest() {
    EXPECT_EQ(session_.Status(), Error_None);
    nextRandom = 40;
    iOS_SetRandomSource([] { return ++nextRandom; });
  }
  ~FileUniqueNameTest() override { iOS_SetRandomSource(nullptr); }

  ErrorCode Unique(const std::string& prefix) {
    char result[1024] = "unset";
    const ErrorCode status = File_UniquifyName(directory_.Name().c_str(), prefix.c_str(), result);
    result_ = result;
    return status;
  }

  OSSession session_;
};

TEST_F(FileUniqueNameTest, PutsARandomNumberBehindThePrefix) {
  EXPECT_EQ(Unique("list"), Error_None);
  EXPECT_EQ(result_, directory_.Name("list41"));
  EXPECT_FALSE(directory_.Exists("list41"));
}

TEST_F(FileUniqueNameTest, AddsTheNextRandomNumberWhenTheNameIsTaken) {
  directory_.Write("list41", "");
  directory_.MakeDirectory("list83");  // 41 + 42
  EXPECT_EQ(Unique("list"), Error_None);
  EXPECT_EQ(result_, directory_.Name("list126"));  // 41 + 42 + 43
}

TEST_F(FileUniqueNameTest, GivesUpAfterAHundredNames) {
  iOS_SetRandomSource([] { return 1; });
  for (int n = 1; n <= 99; ++n) directory_.Write("list" + std::to_string(n), "");
  EXPECT_EQ(Unique("list"), Error_None);
  EXPECT_EQ(result_, directory_.Name("list100"));
  directory_.Write("list100", "");
  EXPECT_EQ(Unique("list"), Error_Fail);
  EXPECT_EQ(result_, "");
}

TEST_F(FileUniqueNameTest, GivesANameThatJustFits) {
  iOS_SetRandomSource([] { return 7; });
  char result[1024];
  EXPECT_EQ(File_UniquifyName(std::string(1017, 'a').c_str(), "list", result), Error_None);
  EXPECT_EQ(result, std::string(1017, 'a') + "/list7");
  EXPECT_EQ(File_UniquifyName(std::string(1018, 'a').c_str(), "list", result), Error_Exceed);
  EXPECT_STREQ(result, "");
}

TEST_F(FileUniqueNameTest, RefusesNullAndWhatDoesNotFit) {
  char result[1024] = "unset";
  EXPECT_EQ(File_UniquifyName(nullptr, "a", result), Error_Invalid);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(File_UniquifyName("/", nullptr, result), Error_Invalid);
  EXPECT_EQ(File_UniquifyName("/", "a", nullptr), Error_Invalid);
  EXPECT_EQ(File_UniquifyName(std::string(1020, 'a').c_str(), "abc", result), Error_Exceed);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(File_UniquifyName("/", std::string(2000, 'a').c_str(), result), Error_Exceed);
}

// ---- temporary files ---------------------------------------------------------------------------

class FileTemporaryTest : public testing::Test {
 protected:
  FileTemporaryTest() : temporary_(directory_.SystemName().string().c_str()) {
    EXPECT_EQ(session_.Status(), Error_None);
    nextRandom = 40;
    iOS_SetRandomSource([] { return ++nextRandom; });
  }
  ~FileTemporaryTest() override { iOS_SetRandomSource(nullptr); }

  ErrorCode Open(const char* ending) {
    char name[1024] = "unset";
    const ErrorCode status = iFile_OpenTemporary(1, "list", ending, 18, true, name, &file_);
    result_ = name;
    return status;
  }

  TempDir directory_;
  ScopedTemporaryVariable temporary_;  // read when the library starts
  OSSession session_;
  std::string result_;
  File* file_ = nullptr;
};

TEST_F(FileTemporaryTest, IsRemovedWhenItIsClosed) {
  ASSERT_EQ(Open(""), 0);
  EXPECT_EQ(result_, directory_.Name("list41"));
  EXPECT_TRUE(directory_.Exists("list41"));
  EXPECT_EQ(File_Close(file_), Error_None);
  EXPECT_FALSE(directory_.Exists("list41"));
}

TEST_F(FileTemporaryTest, TriesAnotherNameWhenTheNameWithItsEndingIsTaken) {
  directory_.Write("list41.txt", "mine");
  ASSERT_EQ(Open(".txt"), 0);
  EXPECT_EQ(result_, directory_.Name("list42.txt"));
  EXPECT_GT(File_Print(file_, "%s", "text"), 0);
  EXPECT_EQ(File_Close(file_), Error_None);
  EXPECT_FALSE(directory_.Exists("list42.txt"));
  EXPECT_EQ(directory_.Read("list41.txt"), "mine");
}

TEST_F(FileTemporaryTest, GivesUpAfterAHundredNames) {
  iOS_SetRandomSource([] { return 7; });
  directory_.Write("list7.txt", "mine");
  EXPECT_EQ(Open(".txt"), 3);
  EXPECT_EQ(file_, nullptr);
  EXPECT_EQ(directory_.Read("list7.txt"), "mine");
}

TEST_F(FileTemporaryTest, RefusesAnEndingThatDoesNotFit) {
  EXPECT_EQ(Open(std::string(1024, 'x').c_str()), 5);
  EXPECT_EQ(file_, nullptr);
  EXPECT_FALSE(directory_.Exists("list41"));
}

TEST(FileUniqueName, NeedsTheLibrary) {
  char result[1024] = "unset";
  EXPECT_EQ(File_UniquifyName("/", "list", result), Error_NotInited);
  EXPECT_STREQ(result, "");
}

}  // namespace
