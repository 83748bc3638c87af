// What stands under a name; removing, renaming and copying in one step.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "tests/support/error_capture.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

class FileStateTest : public testing::Test {
 protected:
  FileState StateOf(const std::string& name) {
    FileState state;
    EXPECT_EQ(File_GetState(directory_.Name(name).c_str(), &state), Error_None) << name;
    return state;
  }

  std::string Name(const std::string& name) { return directory_.Name(name); }

  TempDir directory_;
};

TEST_F(FileStateTest, TellsAFile) {
  directory_.Write("f", "abcde");
  directory_.SetModified("f", 852454987);
  const FileState state = StateOf("f");
  EXPECT_EQ(state.exists, 1);
  EXPECT_EQ(state.isDirectory, 0);
  EXPECT_EQ(state.size, 5u);
  EXPECT_EQ(state.modificationTime.seconds, 852454987u);
  EXPECT_EQ(state.modificationTime.milliseconds, 0u);
}

TEST_F(FileStateTest, TellsADirectoryWithSizeZero) {
  directory_.MakeDirectory("d");
  directory_.Write("d/f", "abc");
  for (const char* name : {"d", "d/", "d//"}) {
    const FileState state = StateOf(name);
    EXPECT_EQ(state.exists, 1) << name;
    EXPECT_EQ(state.isDirectory, 1) << name;
    EXPECT_EQ(state.size, 0u) << name;
    EXPECT_NE(state.modificationTime.seconds, 0u) << name;
  }
}

TEST_F(FileStateTest, TellsThatNothingStandsThere) {
  directory_.Write("f", "abc");
  for (const std::string& name :
       {std::string("missing"), std::string("missing/x"), std::string("f/x"), std::string(300, 'a')}) {
    const FileState state = StateOf(name);
    EXPECT_EQ(state.exists, 0) << name;
    EXPECT_EQ(state.isDirectory, 0) << name;
    EXPECT_EQ(state.size, 0u) << name;
    EXPECT_EQ(state.modificationTime.seconds, 0u) << name;
  }
  FileState state;
  EXPECT_EQ(File_GetState("", &state), Error_None);
  EXPECT_EQ(state.exists, 0);
  uint64_t size = 7;
  EXPECT_EQ(File_GetState64(Name("missing").c_str(), &state, &size), Error_None);
  EXPECT_EQ(size, 0u);
  size = 7;
  EXPECT_EQ(File_GetState64(nullptr, &state, &size), Error_Invalid);
  EXPECT_EQ(size, 0u);
}

TEST_F(FileStateTest, RefusesNullAndTooLongNames) {
  FileState state;
  state.exists = 9;
  EXPECT_EQ(File_GetState(nullptr, &state), Error_Invalid);
  EXPECT_EQ(state.exists, 0);
  EXPECT_EQ(File_GetState("x", nullptr), Error_Invalid);
  EXPECT_EQ(File_GetState(std::string(1024, 'a').c_str(), &state), Error_Exceed);
  EXPECT_EQ(state.exists, 0);
  EXPECT_EQ(File_Exists(nullptr, nullptr), 0);
}

TEST_F(FileStateTest, GivesTheLowHalfOfALargeSize) {
  MakeSparseFile(directory_.SystemName("big"), 0x140000005);  // 5 GiB + 5
  EXPECT_EQ(StateOf("big").size, 0x40000005u);
  FileState state;
  uint64_t size = 0;
  EXPECT_EQ(File_GetState64(Name("big").c_str(), &state, &size), Error_None);
  EXPECT_EQ(size, 0x140000005u);
}

TEST_F(FileStateTest, GivesTheWholeSizeOfAnOpenFile) {
  MakeSparseFile(directory_.SystemName("big"), 0x140000005);  // 5 GiB + 5
  Owned<File, File_Close> file;
  ASSERT_EQ(File_Open(Name("big").c_str(), FileMode_Read, file.out()), Error_None);
  FileState state = {9, 9, 9, {}};
  uint64_t size = 7;
  EXPECT_EQ(File_GetStateOpenFile64(file.get(), &state, &size), 0);
  EXPECT_EQ(size, 0x140000005u);
  EXPECT_EQ(state.size, 0x40000005u);
  EXPECT_EQ(state.exists, 1);
  EXPECT_EQ(state.isDirectory, 0);
  EXPECT_EQ(File_GetStateOpenFile64(file.get(), &state, nullptr), 0);
  EXPECT_EQ(File_GetStateOpenFile64(nullptr, &state, &size), -1);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(state.exists, 0);
  size = 7;
  EXPECT_EQ(File_GetStateOpenFile64(file.get(), nullptr, &size), -1);
  EXPECT_EQ(size, 0u);
}

TEST_F(FileStateTest, GivesSizeZero_WithoutAStateOrForADirectory) {
  directory_.MakeDirectory("d");
  FileState state;
  uint64_t size = 7;
  EXPECT_EQ(File_GetState64(Name("d").c_str(), &state, &size), Error_None);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(state.isDirectory, 1);
  size = 7;
  EXPECT_EQ(File_GetState64(Name("d").c_str(), nullptr, &size), Error_Invalid);
  EXPECT_EQ(size, 0u);
}

TEST_F(FileStateTest, GivesNoTimeThatATimeCannotHold) {
  directory_.Write("f", "abc");
  directory_.SetModified("f", 5000000000);  // after 2106
  ErrorCapture capture;                     // the time is also reported
  EXPECT_EQ(StateOf("f").modificationTime.seconds, 0u);
  EXPECT_EQ(StateOf("f").exists, 1);
}

TEST_F(FileStateTest, TellsTheTopAsADirectory) {
  FileState state;
  EXPECT_EQ(File_GetState("/", &state), Error_None);
  EXPECT_EQ(state.exists, 1);
  EXPECT_EQ(state.isDirectory, 1);
  int32_t isDirectory = 0;
  EXPECT_EQ(File_Exists("/C|", &isDirectory), 1);
  EXPECT_EQ(isDirectory, 1);
}

TEST_F(FileStateTest, TakesThePatternsFirstMatch) {
  directory_.Write("abc.txt", "12345");
  EXPECT_EQ(StateOf("a*.txt").exists, kIsWindows ? 1 : 0);
  EXPECT_EQ(StateOf("ab?.txt").size, kIsWindows ? 5u : 0u);
}

TEST_F(FileStateTest, NeverRemovesByAPattern) {
  directory_.Write("abc.txt", "12345");
  directory_.MakeDirectory("dir");
  const ErrorCode refused = kIsWindows ? Error_Invalid : Error_NotFound;
  EXPECT_EQ(File_Unlink(Name("a*.txt").c_str()), refused);
  EXPECT_EQ(File_Unlink(Name("di?").c_str()), refused);
  EXPECT_EQ(Directory_Delete(Name("di?").c_str()), refused);
  EXPECT_TRUE(directory_.Exists("abc.txt"));
  EXPECT_TRUE(directory_.Exists("dir"));
}

TEST_F(FileStateTest, SaysWhetherANameExists) {
  directory_.Write("f", "");
  directory_.MakeDirectory("d");
  int32_t isDirectory = 9;
  EXPECT_EQ(File_Exists(Name("f").c_str(), &isDirectory), 1);
  EXPECT_EQ(isDirectory, 0);
  EXPECT_EQ(File_Exists(Name("d").c_str(), &isDirectory), 1);
  EXPECT_EQ(isDirectory, 1);
  EXPECT_EQ(File_Exists(Name("missing").c_str(), &isDirectory), 0);
  EXPECT_EQ(isDirectory, 0);
  EXPECT_EQ(File_Exists(Name("f").c_str(), nullptr), 1);
}

// ---- removing ----------------------------------------------------------------------------------

TEST_F(FileStateTest, RemovesAFileOrAnEmptyDirectory) {
  directory_.Write("f", "abc");
  directory_.MakeDirectory("d");
  EXPECT_EQ(File_Unlink(Name("f").c_str()), Error_None);
  EXPECT_EQ(File_Unlink(Name("d").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("f"));
  EXPECT_FALSE(directory_.Exists("d"));
  EXPECT_EQ(File_Unlink(Name("f").c_str()), Error_NotFound);
}

TEST_F(FileStateTest, FindsNothingToRemove_WhereNothingCanStand) {
  directory_.Write("f", "abc");
  for (const std::string& name : {std::string("missing/x"), std::string("f/x"), std::string(300, 'a')}) {
    EXPECT_EQ(File_Unlink(Name(name).c_str()), Error_NotFound) << name;
  }
  EXPECT_TRUE(directory_.Exists("f"));
}

TEST_F(FileStateTest, KeepsAFullDirectory) {
  directory_.MakeDirectory("d");
  directory_.Write("d/f", "abc");
  EXPECT_EQ(File_Unlink(Name("d").c_str()), Error_Fail);
  EXPECT_TRUE(directory_.Exists("d/f"));
}

TEST_F(FileStateTest, RemovesNoRoot) {
  const ErrorCode refused = kIsWindows ? Error_Invalid : Error_System;
  EXPECT_EQ(File_Unlink("/"), refused);
  EXPECT_EQ(File_Unlink("/C|"), refused);
  EXPECT_EQ(File_Unlink(""), Error_NotFound);
  EXPECT_EQ(File_Unlink(nullptr), Error_Invalid);
}

// ---- renaming ----------------------------------------------------------------------------------

TEST_F(FileStateTest, RenamesFilesAndDirectories) {
  directory_.Write("f", "abc");
  directory_.MakeDirectory("d");
  directory_.Write("d/x", "xyz");
  EXPECT_EQ(File_Move(Name("f").c_str(), Name("d/g").c_str()), Error_None);
  EXPECT_EQ(File_Move(Name("d").c_str(), Name("e").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("f"));
  EXPECT_FALSE(directory_.Exists("d"));
  EXPECT_EQ(directory_.Read("e/g"), "abc");
  EXPECT_EQ(directory_.Read("e/x"), "xyz");
}

TEST_F(FileStateTest, RefusesToReplaceByRenaming) {
  directory_.Write("f", "abc");
  directory_.Write("g", "xyz");
  directory_.MakeDirectory("d");
  directory_.MakeDirectory("e");
  EXPECT_EQ(File_Move(Name("f").c_str(), Name("g").c_str()), Error_Fail);
  EXPECT_EQ(directory_.Read("f"), "abc");
  EXPECT_EQ(directory_.Read("g"), "xyz");
  EXPECT_LT(File_Move(Name("d").c_str(), Name("e").c_str()), Error_None);
  EXPECT_TRUE(directory_.Exists("d"));
}

TEST_F(FileStateTest, SaysWhyARenameFailed) {
  directory_.Write("f", "abc");
  EXPECT_EQ(File_Move(Name("missing").c_str(), Name("g").c_str()), Error_NotFound);
  EXPECT_EQ(File_Move(Name("f").c_str(), Name("missing/g").c_str()), Error_NotFound);
  EXPECT_EQ(File_Move(nullptr, Name("g").c_str()), Error_Invalid);
  EXPECT_EQ(File_Move(Name("f").c_str(), nullptr), Error_Invalid);
  EXPECT_EQ(File_Move(Name("f").c_str(), std::string(1024, 'a').c_str()), Error_Exceed);
  EXPECT_EQ(directory_.Read("f"), "abc");
}

// ---- replacing ---------------------------------------------------------------------------------

TEST_F(FileStateTest, ReplacesAFile) {
  directory_.Write("f", "abc");
  directory_.Write("g", "much longer");
  EXPECT_EQ(File_Replace(Name("f").c_str(), Name("g").c_str()), Error_None);
  EXPECT_EQ(directory_.Read("g"), "abc");
  EXPECT_EQ(directory_.List(), (std::vector<std::string>{"g"}));
}

TEST_F(FileStateTest, RenamesByReplacing_WhereNothingStands) {
  directory_.Write("f", "abc");
  directory_.MakeDirectory("d");
  EXPECT_EQ(File_Replace(Name("f").c_str(), Name("d/g").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("f"));
  EXPECT_EQ(directory_.Read("d/g"), "abc");
}

TEST_F(FileStateTest, ReplacesNoDirectoryAndByNone) {
  directory_.Write("f", "abc");
  directory_.MakeDirectory("d");
  directory_.MakeDirectory("e");
  EXPECT_EQ(File_Replace(Name("f").c_str(), Name("d").c_str()), Error_Fail);
  EXPECT_EQ(File_Replace(Name("d").c_str(), Name("f").c_str()), Error_Fail);
  EXPECT_EQ(File_Replace(Name("d").c_str(), Name("e").c_str()), Error_Fail);
  EXPECT_EQ(File_Replace(Name("d").c_str(), Name("new").c_str()), Error_Fail);
  EXPECT_EQ(directory_.List(), (std::vector<std::string>{"d", "e", "f"}));
  EXPECT_EQ(directory_.Read("f"), "abc");
}

TEST_F(FileStateTest, SaysWhyAFileWasNotReplaced) {
  directory_.Write("f", "abc");
  directory_.Write("g", "xyz");
  EXPECT_EQ(File_Replace(Name("missing").c_str(), Name("g").c_str()), Error_NotFound);
  EXPECT_EQ(File_Replace(Name("f").c_str(), Name("missing/g").c_str()), Error_NotFound);
  EXPECT_EQ(File_Replace(nullptr, Name("g").c_str()), Error_Invalid);
  EXPECT_EQ(File_Replace(Name("f").c_str(), nullptr), Error_Invalid);
  EXPECT_EQ(File_Replace(std::string(1024, 'a').c_str(), Name("g").c_str()), Error_Exceed);
  EXPECT_EQ(File_Replace(Name("f").c_str(), std::string(1024, 'a').c_str()), Error_Exceed);
  EXPECT_EQ(directory_.Read("f"), "abc");
  EXPECT_EQ(directory_.Read("g"), "xyz");
  ErrorDetail detail;
  Error_ClearLast();
  EXPECT_EQ(File_Replace(Name("missing").c_str(), Name("g").c_str()), Error_NotFound);
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_STREQ(detail.operation, "File_Replace");
  EXPECT_EQ(detail.status, Error_NotFound);
}

// Who reads the old file keeps it, or the system refuses.
TEST_F(FileStateTest, NeverMixesTheFiles_WhenTheOldOneIsBeingRead) {
  directory_.Write("f", "abc");
  directory_.Write("g", "xyz");
  Owned<File, File_Close> reader;
  ASSERT_EQ(File_Open(Name("g").c_str(), FileMode_Read, reader.out()), Error_None);
  const ErrorCode status = File_Replace(Name("f").c_str(), Name("g").c_str());
  EXPECT_EQ(status, kIsWindows ? Error_NoAccess : Error_None);
  char bytes[4] = "";
  EXPECT_EQ(File_Read(reader.get(), 3, bytes), 3u);
  EXPECT_STREQ(bytes, "xyz");
  EXPECT_EQ(directory_.Read("g"), status == Error_None ? "abc" : "xyz");
  EXPECT_EQ(directory_.Exists("f"), status != Error_None);
}

// ---- copying in one step -----------------------------------------------------------------------

TEST_F(FileStateTest, CopiesWithTimeAndGivesZero) {
  directory_.Write("f", std::string(100000, 'a'));
  directory_.SetModified("f", 852454987);
  EXPECT_EQ(File_Copy(Name("f").c_str(), Name("g").c_str()), Error_None);
  EXPECT_EQ(directory_.Read("g"), std::string(100000, 'a'));
  EXPECT_EQ(StateOf("g").modificationTime.seconds, 852454987u);
}

TEST_F(FileStateTest, GivesZeroForACopyThatFailed) {
  directory_.Write("f", "abc");
  directory_.Write("g", "xyz");
  directory_.MakeDirectory("d");
  EXPECT_EQ(File_Copy(Name("missing").c_str(), Name("h").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("h"));
  EXPECT_EQ(File_Copy(Name("f").c_str(), Name("g").c_str()), Error_None);
  EXPECT_EQ(directory_.Read("g"), "xyz");
  EXPECT_EQ(File_Copy(Name("d").c_str(), Name("h").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("h"));
  EXPECT_EQ(File_Copy(nullptr, Name("h").c_str()), Error_Invalid);
}

}  // namespace
