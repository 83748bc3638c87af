// Listings, and reading them line by line.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "os/core/os_testing.h"
#include "os/file/directory_testing.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/failing_close.h"
#include "tests/support/file_system.h"
#include "tests/support/os_session.h"
#include "tests/support/system_folders.h"
#include "tests/support/temp_dir.h"

namespace {

using Lines = std::vector<std::string>;

class DirectoryListTest : public testing::Test {
 protected:
  DirectoryListTest() {
    directory_.MakeDirectory("d/sub");
    directory_.Write("d/file", "abcde");
    directory_.Write("d/b c", "");
    directory_.SetModified("d/file", 852454987);
    directory_.SetModified("d/sub", 852454987);
    directory_.SetModified("d/b c", 852454987);
  }

  std::string Name(const std::string& name) { return directory_.Name(name); }

  // The lines of the listing file, sorted: the system gives entries in any order.
  Lines Listed() {
    std::istringstream text(directory_.Read("list"));
    Lines lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    return lines;
  }

  ErrorCode List(const std::string& name, int32_t mode) {
    return Directory_GetList(Name(name).c_str(), mode, Name("list").c_str());
  }

  // The system's line end in text mode.
  const std::string end_ = kIsWindows ? "\r" : "";
  TempDir directory_;
};

TEST_F(DirectoryListTest, ListsNames) {
  EXPECT_EQ(List("d", 0), Error_None);
  EXPECT_EQ(Listed(), (Lines{"b c" + end_, "file" + end_, "sub" + end_}));
}

TEST_F(DirectoryListTest, ListsPaths) {
  EXPECT_EQ(List("d", 1), Error_None);
  EXPECT_EQ(Listed(), (Lines{Name("d/b c") + end_, Name("d/file") + end_, Name("d/sub/") + end_}));
}

TEST_F(DirectoryListTest, ListsLongLines) {
  EXPECT_EQ(List("d", 2), Error_None);
  EXPECT_EQ(Listed(),
            (Lines{"----------    1    nobody     nobody        0 Sun Jan  5 09:03:07 1997 b c" + end_,
                   "----------    1    nobody     nobody        5 Sun Jan  5 09:03:07 1997 file" + end_,
                   "d---------    1    nobody     nobody        0 Sun Jan  5 09:03:07 1997 sub/" + end_}));
}

TEST_F(DirectoryListTest, ListsATimeThatATimeCannotHoldAsNone) {
  directory_.MakeDirectory("one");
  directory_.Write("one/file", "abc");
  directory_.SetModified("one/file", 5000000000);  // after 2106
  ErrorCapture capture;                            // the time is also reported
  EXPECT_EQ(List("one", 2), Error_None);
  EXPECT_EQ(Listed(),
            Lines{"----------    1    nobody     nobody        3 Thu Jan  1 00:00:00 1970 file" + end_});
}

TEST_F(DirectoryListTest, TakesNoNameForAFormat) {
  directory_.MakeDirectory("one");
  directory_.Write("one/50%s%n", "");
  EXPECT_EQ(List("one", 0), Error_None);
  EXPECT_EQ(Listed(), Lines{"50%s%n" + end_});
  EXPECT_EQ(List("one", 1), Error_None);
  EXPECT_EQ(Listed(), Lines{Name("one/50%s%n") + end_});
}

TEST_F(DirectoryListTest, EndsEveryLine) {
  directory_.MakeDirectory("one");
  directory_.Write("one/file", "");
  EXPECT_EQ(List("one", 0), Error_None);
  EXPECT_EQ(directory_.Read("list"), kIsWindows ? "file\r\n" : "file\n");
}

TEST_F(DirectoryListTest, ListsTheSizeModuloFourGigabytes) {
  directory_.MakeDirectory("one");
  MakeSparseFile(directory_.SystemName("one/big"), 0x140000005);  // 5 GiB + 5
  directory_.SetModified("one/big", 852454987);
  EXPECT_EQ(List("one", 2), Error_None);
  EXPECT_EQ(Listed(),
            Lines{"----------    1    nobody     nobody 1073741829 Sun Jan  5 09:03:07 1997 big" + end_});
}

TEST_F(DirectoryListTest, GivesAnEmptyFileForAnEmptyDirectory) {
  for (int32_t mode : {0, 1, 2}) {
    EXPECT_EQ(List("d/sub", mode), Error_None);
    EXPECT_TRUE(directory_.Exists("list"));
    EXPECT_EQ(directory_.Size("list"), 0u);
  }
}

TEST_F(DirectoryListTest, GivesAnEmptyFileForADirectoryThatCannotBeSearched) {
  for (const char* name : {"missing", "d/file"}) {
    EXPECT_EQ(List(name, 0), Error_None) << name;
    EXPECT_TRUE(directory_.Exists("list")) << name;
    EXPECT_EQ(directory_.Size("list"), 0u) << name;
  }
}

TEST_F(DirectoryListTest, RefusesAnotherModeBeforeTheFileIsTouched) {
  directory_.Write("list", "mine");
  for (int32_t mode : {-1, 3}) {
    ErrorCapture capture;
    EXPECT_EQ(List("d", mode), Error_Fail);
    ASSERT_EQ(capture.Lines().size(), 1u);
    EXPECT_EQ(capture.Lines()[0], "#### Error: inListMode not implemented in Windows\n");
  }
  EXPECT_EQ(directory_.Read("list"), "mine");
}

TEST_F(DirectoryListTest, ReplacesAnOldListing) {
  directory_.Write("list", std::string(1000, 'x'));
  EXPECT_EQ(List("d/sub", 0), Error_None);
  EXPECT_EQ(directory_.Read("list"), "");
}

TEST_F(DirectoryListTest, SaysThatTheListingCannotBeOpened) {
  EXPECT_EQ(Directory_GetList(Name("d").c_str(), 0, Name("missing/list").c_str()), Error_Fail);
  EXPECT_EQ(Directory_GetList(nullptr, 0, Name("list").c_str()), Error_Invalid);
  EXPECT_EQ(Directory_GetList(Name("d").c_str(), 0, nullptr), Error_Invalid);
}

TEST_F(DirectoryListTest, ListsTheTop) {
  EXPECT_EQ(Directory_GetList("/", 1, Name("list").c_str()), Error_None);
  const Lines lines = Listed();
  const std::string expected = kIsWindows ? "/C|/\r" : "/tmp/";
  EXPECT_NE(std::find(lines.begin(), lines.end(), expected), lines.end());
}

TEST_F(DirectoryListTest, TakesNoNameForTheCurrentDirectory) {
  char original[1024];
  ASSERT_EQ(Directory_GetCurrent(original), Error_None);
  ASSERT_EQ(Directory_SetCurrent(Name("d").c_str()), 0);
  EXPECT_EQ(Directory_GetList("", 1, Name("list").c_str()), Error_None);
  ASSERT_EQ(Directory_SetCurrent(original), 0);
  EXPECT_EQ(Listed(), (Lines{"b c" + end_, "file" + end_, "sub/" + end_}));
}

TEST_F(DirectoryListTest, LeavesNoListingThatCannotBeClosedWell) {
  ErrorCode status;
  {
    const FailingClose failing;
    status = Directory_GetList(Name("d").c_str(), 0, Name("list").c_str());
  }
  EXPECT_EQ(status, Error_Ended);
  EXPECT_FALSE(directory_.Exists("list"));
}

TEST_F(DirectoryListTest, LeavesNoListingWithoutMemory) {
  FailEveryAllocation([&] {
    const ErrorCode status = List("d", 0);
    EXPECT_TRUE(status == Error_None || status == Error_Memory) << status;
    EXPECT_EQ(directory_.Exists("list"), status == Error_None);
    std::filesystem::remove(directory_.SystemName("list"));
  });
}

TEST(DirectoryListKind, HasTheStatedNumbers) {
  EXPECT_EQ(DirectoryListKind_Names, 0);
  EXPECT_EQ(DirectoryListKind_Paths, 1);
  EXPECT_EQ(DirectoryListKind_LongLines, 2);
}

// ---- searches that fail ------------------------------------------------------------------------

// A search that gives one entry and then cannot be continued.
bool FailAfterOneEntry(platform::DirectorySearch* search, platform::DirectoryEntry* entry) {
  static bool isFirst = true;
  if (isFirst && !platform::NextEntry(search, entry)) return false;
  isFirst = !isFirst;
  if (!isFirst) return true;
  SetReadError();
  return false;
}

class FailingSearchTest : public DirectoryListTest {
 protected:
  FailingSearchTest() { iDirectory_SetNextEntry(FailAfterOneEntry); }
  ~FailingSearchTest() override { iDirectory_SetNextEntry(nullptr); }
};

TEST_F(FailingSearchTest, LeavesNoListing) {
  for (int32_t mode : {0, 1, 2}) {
    EXPECT_EQ(List("d", mode), Error_Fail) << mode;
    EXPECT_FALSE(directory_.Exists("list")) << mode;
  }
}

TEST_F(FailingSearchTest, StartsNoList) {
  OSSession session;
  ASSERT_EQ(session.Status(), Error_None);
  auto* list = reinterpret_cast<DirectoryList*>(1);
  EXPECT_EQ(Directory_StartList(Name("d").c_str(), 0, &list), Error_Fail);
  EXPECT_EQ(list, nullptr);
}

// ---- reading -----------------------------------------------------------------------------------

class DirectoryIterationTest : public DirectoryListTest {
 protected:
  DirectoryIterationTest() { EXPECT_EQ(session_.Status(), Error_None); }
  ~DirectoryIterationTest() override {
    if (list_ != nullptr) Directory_EndList(list_);
  }

  Lines Iterate() {
    Lines lines;
    char line[1024];
    while (Directory_IterateList(list_, line) == 0) lines.emplace_back(line);
    EXPECT_STREQ(line, "");
    return lines;
  }

  ErrorCode End() {
    DirectoryList* list = list_;
    list_ = nullptr;
    return Directory_EndList(list);
  }

  // The listings that are in the temporary directory.
  static Lines Temporaries() {
    Lines names;
    char folder[1024];
    EXPECT_EQ(File_GetSysDir(1, folder), Error_None);
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::temp_directory_path())) {
      const std::string name = entry.path().filename().string();
      if (name.compare(0, 7, "dirList") == 0) names.push_back(name);
    }
    return names;
  }

  TempDir temporaries_;
  ScopedTemporaryVariable temporary_{temporaries_.SystemName().string().c_str()};  // read by the start
  OSSession session_;
  DirectoryList* list_ = nullptr;
};

TEST_F(DirectoryIterationTest, GivesTheLinesOfADirectory) {
  ASSERT_EQ(Directory_StartList(Name("d").c_str(), 1, &list_), Error_None);
  Lines lines = Iterate();
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ(lines, (Lines{Name("d/b c"), Name("d/file"), Name("d/sub/")}));
  char line[1024] = "unset";
  EXPECT_EQ(Directory_IterateList(list_, line), Error_Ended);
  EXPECT_STREQ(line, "");
  EXPECT_EQ(End(), Error_None);
}

TEST_F(DirectoryIterationTest, GivesNothingForAnEmptyDirectory) {
  ASSERT_EQ(Directory_StartList(Name("d/sub").c_str(), 0, &list_), Error_None);
  EXPECT_TRUE(Iterate().empty());
}

TEST_F(DirectoryIterationTest, KeepsTheListingInATemporaryFile) {
  const Lines before = Temporaries();
  ASSERT_EQ(Directory_StartList(Name("d").c_str(), 0, &list_), Error_None);
  EXPECT_GE(Temporaries().size(), 1u);
  Lines during = Temporaries();
  EXPECT_EQ(End(), Error_None);
  Lines after = Temporaries();
  for (const std::string& name : before) {
    during.erase(std::remove(during.begin(), during.end(), name), during.end());
  }
  ASSERT_GE(during.size(), 1u);
  EXPECT_EQ(std::find(after.begin(), after.end(), during[0]), after.end());
}

TEST_F(DirectoryIterationTest, RefusesAnotherMode) {
  ErrorCapture capture;
  list_ = reinterpret_cast<DirectoryList*>(1);
  EXPECT_EQ(Directory_StartList(Name("d").c_str(), 3, &list_), Error_Fail);
  EXPECT_EQ(list_, nullptr);
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: inListMode not implemented in Windows\n");
}

TEST_F(DirectoryIterationTest, ReadsAnExistingListing) {
  directory_.Write("list", "one\r\n\ntwo/\n three");
  ASSERT_EQ(Directory_StartFileList(nullptr, Name("list").c_str(), 0, 0, &list_), Error_None);
  EXPECT_EQ(Iterate(), (Lines{"one", "", "two/", " three"}));
  EXPECT_EQ(End(), Error_None);
  EXPECT_TRUE(directory_.Exists("list"));
}

TEST_F(DirectoryIterationTest, JoinsEachLineToTheDirectory) {
  directory_.Write("list", "one\ntwo/\n");
  std::string joined = "/a/b";
  ASSERT_EQ(Directory_StartFileList(joined.c_str(), Name("list").c_str(), 0, 1, &list_), Error_None);
  joined = "gone";
  EXPECT_EQ(Iterate(), (Lines{"/a/b/one", "/a/b/two/"}));
}

TEST_F(DirectoryIterationTest, RemovesATemporaryListing) {
  directory_.Write("list", "one\n");
  ASSERT_EQ(Directory_StartFileList("/a", Name("list").c_str(), 1, 0, &list_), Error_None);
  EXPECT_EQ(Iterate(), Lines{"one"});
  EXPECT_EQ(End(), Error_None);
  EXPECT_FALSE(directory_.Exists("list"));
}

TEST_F(DirectoryIterationTest, ContinuesBehindALineThatIsTooLongOnceJoined) {
  directory_.Write("list", std::string(1000, 'x') + "\nshort\n");
  ASSERT_EQ(Directory_StartFileList(std::string(100, 'd').c_str(), Name("list").c_str(), 0, 1, &list_),
            Error_None);
  char line[1024] = "unset";
  EXPECT_EQ(Directory_IterateList(list_, line), Error_Exceed);
  EXPECT_STREQ(line, "");
  EXPECT_EQ(Directory_IterateList(list_, line), Error_None);
  EXPECT_EQ(line, std::string(100, 'd') + "/short");
}

TEST_F(DirectoryIterationTest, JoinsForTheJoinModeOneOnly) {
  directory_.Write("list", "one\n");
  for (int32_t joinMode : {0, 2, -1}) {
    ASSERT_EQ(Directory_StartFileList("/a/b", Name("list").c_str(), 0, joinMode, &list_), Error_None);
    EXPECT_EQ(Iterate(), Lines{"one"}) << joinMode;
    EXPECT_EQ(End(), Error_None);
  }
}

TEST_F(DirectoryIterationTest, TellsAReadErrorFromTheEnd) {
  ASSERT_EQ(Directory_StartFileList(nullptr, UnreadableFile().c_str(), 0, 0, &list_), Error_None);
  char line[1024] = "unset";
  EXPECT_LT(Directory_IterateList(list_, line), Error_None);
  EXPECT_STREQ(line, "");
}

TEST_F(DirectoryIterationTest, GivesALongLineInPieces) {
  directory_.Write("list", std::string(1023, 'x') + "yz\n");
  ASSERT_EQ(Directory_StartFileList(nullptr, Name("list").c_str(), 0, 0, &list_), Error_None);
  EXPECT_EQ(Iterate(), (Lines{std::string(1023, 'x'), "yz"}));
}

// A byte 0 ends the text of its line, and has no bearing on the next one.
TEST_F(DirectoryIterationTest, GivesTheEmptyLineBehindALineWithAZeroByte) {
  directory_.Write("list", std::string("a\0b\n\nc\n", 7));
  ASSERT_EQ(Directory_StartFileList(nullptr, Name("list").c_str(), 0, 0, &list_), Error_None);
  EXPECT_EQ(Iterate(), (Lines{"a", "", "c"}));
}

// The line's end is all that is left of it, and no line of its own.
TEST_F(DirectoryIterationTest, GivesALineThatJustFitsOnce) {
  for (const char* end : {"\n", "\r\n"}) {
    for (size_t length : {1021u, 1022u, 1023u}) {
      directory_.Write("list", std::string(length, 'x') + end + end + "next" + end);
      ASSERT_EQ(Directory_StartFileList(nullptr, Name("list").c_str(), 0, 0, &list_), Error_None);
      EXPECT_EQ(Iterate(), (Lines{std::string(length, 'x'), "", "next"})) << length;
      EXPECT_EQ(End(), Error_None);
    }
  }
}

TEST_F(DirectoryIterationTest, GivesALineWithoutAnEndThatJustFits) {
  directory_.Write("list", std::string(1023, 'x'));
  ASSERT_EQ(Directory_StartFileList(nullptr, Name("list").c_str(), 0, 0, &list_), Error_None);
  EXPECT_EQ(Iterate(), Lines{std::string(1023, 'x')});
}

TEST_F(DirectoryIterationTest, JoinsNothingToTheEndOfALongLine) {
  directory_.Write("list", std::string(1023, 'x') + "\nnext\n");
  ASSERT_EQ(Directory_StartFileList("d", Name("list").c_str(), 0, 1, &list_), Error_None);
  char line[1024] = "unset";
  EXPECT_EQ(Directory_IterateList(list_, line), Error_Exceed);
  EXPECT_EQ(Directory_IterateList(list_, line), Error_None);
  EXPECT_STREQ(line, "d/next");
}

TEST_F(DirectoryIterationTest, StartsInManyThreadsThatDrawTheSameNumbers) {
  iOS_SetRandomSource([] { return 1; });
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 400; ++n) {
        DirectoryList* list = nullptr;
        if (Directory_StartList(Name("d").c_str(), 0, &list) != 0) ++failures;
        if (list != nullptr) Directory_EndList(list);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  iOS_SetRandomSource(nullptr);
  EXPECT_EQ(failures, 0);
}

TEST_F(DirectoryIterationTest, RefusesNullAndAMissingListing) {
  char line[1024];
  list_ = reinterpret_cast<DirectoryList*>(1);
  EXPECT_EQ(Directory_StartFileList("d", Name("missing").c_str(), 0, 0, &list_), Error_Fail);
  EXPECT_EQ(list_, nullptr);
  EXPECT_EQ(Directory_StartFileList(nullptr, Name("list").c_str(), 0, 1, &list_), Error_Invalid);
  EXPECT_EQ(Directory_StartFileList("d", nullptr, 0, 0, &list_), Error_Invalid);
  EXPECT_EQ(Directory_StartFileList("d", "list", 0, 0, nullptr), Error_Invalid);
  EXPECT_EQ(Directory_StartList("d", 0, nullptr), Error_Invalid);
  EXPECT_EQ(Directory_StartList(nullptr, 0, &list_), Error_Invalid);
  EXPECT_EQ(Directory_IterateList(nullptr, line), Error_Invalid);
  EXPECT_EQ(Directory_EndList(nullptr), Error_Invalid);
}

TEST_F(DirectoryIterationTest, FailsCleanlyWithoutMemory) {
  FailEveryAllocation([&] {
    const ErrorCode status = Directory_StartList(Name("d").c_str(), 0, &list_);
    EXPECT_TRUE(status == Error_None || (status == Error_Memory && list_ == nullptr)) << status;
    if (list_ != nullptr) End();
  });
}

TEST(DirectoryIteration, NeedsTheLibrary) {
  DirectoryList* list = nullptr;
  EXPECT_EQ(Directory_StartList("/", 0, &list), Error_NotInited);
  EXPECT_EQ(list, nullptr);
}

}  // namespace
