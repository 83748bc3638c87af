// Open files: modes, bytes, positions, lines, and what happens when they are mixed.
#include "qz/file.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/file/file_testing.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"

namespace {

using OwnedFile = Owned<File, File_Close>;

class FileTest : public testing::Test {
 protected:
  OwnedFile Open(const std::string& name, uint32_t mode) {
    OwnedFile file;
    EXPECT_EQ(File_Open(directory_.Name(name).c_str(), mode, file.out()), Error_None) << name << " " << mode;
    return file;
  }

  ErrorCode OpenStatus(const std::string& name, uint32_t mode) {
    File* file = reinterpret_cast<File*>(1);
    const ErrorCode status = File_Open(directory_.Name(name).c_str(), mode, &file);
    EXPECT_EQ(file != nullptr, status == Error_None);
    if (file != nullptr) File_Close(file);
    return status;
  }

  std::string ReadAll(File* file, uint32_t count) {
    std::string bytes(count, '?');
    bytes.resize(File_Read(file, count, bytes.data()));
    return bytes;
  }

  TempDir directory_;
};

#if INTPTR_MAX == INT32_MAX
static_assert(sizeof(Stream) == 28);
static_assert(offsetof(File, name) == 28 && offsetof(File, mode) == 32);
static_assert(offsetof(File, cStream) == 36 && offsetof(File, descriptor) == 40);
#endif

static_assert(FileMode_Read == 1 && FileMode_Write == 2 && FileMode_ReadWriteNew == 3);
static_assert(FileMode_Update == 4 && FileMode_Append == 8 && FileMode_ReadAppend == 11);
static_assert(FileMode_Text == 16);
static_assert(FileSeek_Start == 0 && FileSeek_Current == 1 && FileSeek_End == 2);

// ---- modes -------------------------------------------------------------------------------------

TEST_F(FileTest, NormalisesTheModes) {
  const uint32_t rows[][2] = {{1, 1},   {2, 2},   {3, 7},   {4, 7},   {5, 7},     {6, 7},
                              {8, 10},  {11, 15}, {12, 15}, {15, 15}, {17, 17},   {18, 18},
                              {19, 23}, {20, 23}, {24, 10}, {27, 31}, {0xFFE1, 1}};
  for (auto& row : rows) {
    directory_.Write("f", "abc");
    EXPECT_EQ(Open("f", row[0])->mode, row[1]) << row[0];
  }
}

TEST_F(FileTest, RefusesOtherModes) {
  directory_.Write("f", "abc");
  for (uint32_t mode : {0u, 7u, 9u, 10u, 13u, 14u, 16u, 23u})
    EXPECT_EQ(OpenStatus("f", mode), Error_Fail) << mode;
  EXPECT_EQ(directory_.Read("f"), "abc");
}

TEST_F(FileTest, CutsCreatesOrKeepsByMode) {
  for (uint32_t mode : {2u, 3u, 6u}) {
    directory_.Write("f", "abc");
    EXPECT_EQ(OpenStatus("f", mode), Error_None);
    EXPECT_EQ(directory_.Read("f"), "") << mode;
    EXPECT_EQ(OpenStatus("new" + std::to_string(mode), mode), Error_None);
    EXPECT_TRUE(directory_.Exists("new" + std::to_string(mode)));
  }
  for (uint32_t mode : {1u, 4u, 5u}) {
    directory_.Write("f", "abc");
    EXPECT_EQ(OpenStatus("f", mode), Error_None);
    EXPECT_EQ(directory_.Read("f"), "abc") << mode;
    EXPECT_EQ(OpenStatus("missing", mode), Error_Fail);
    EXPECT_FALSE(directory_.Exists("missing"));
  }
  for (uint32_t mode : {8u, 11u, 12u, 15u}) {
    directory_.Write("f", "abc");
    EXPECT_EQ(File_Write(Open("f", mode).get(), 2, "de"), 2u);
    EXPECT_EQ(directory_.Read("f"), "abcde") << mode;
  }
}

TEST_F(FileTest, RefusesADirectory) {
  directory_.MakeDirectory("d");
  for (uint32_t mode : {1u, 2u, 4u, 8u, 11u}) EXPECT_EQ(OpenStatus("d", mode), Error_Fail) << mode;
}

TEST_F(FileTest, RefusesNullAndNamesThatCannotBe) {
  File* file = reinterpret_cast<File*>(1);
  EXPECT_EQ(File_Open(nullptr, 1, &file), Error_Invalid);
  EXPECT_EQ(file, nullptr);
  EXPECT_EQ(File_Open("x", 1, nullptr), Error_Invalid);
  EXPECT_EQ(File_Open(std::string(2000, 'a').c_str(), 2, &file), Error_Fail);
  EXPECT_EQ(OpenStatus(std::string(300, 'a'), 2), Error_Fail);
  EXPECT_EQ(File_Open("", 1, &file), Error_Fail);
}

TEST_F(FileTest, OpensNothingOverANameThatIsTaken) {
  directory_.Write("f", "abc");
  File* file = nullptr;
  EXPECT_EQ(iFile_OpenNew(directory_.Name("f").c_str(), 2, false, &file), Error_Exists);
  EXPECT_EQ(file, nullptr);
  EXPECT_EQ(directory_.Read("f"), "abc");
  ASSERT_EQ(iFile_OpenNew(directory_.Name("g").c_str(), 2, false, &file), Error_None);
  File_Close(file);
  EXPECT_EQ(iFile_OpenNew(directory_.Name("missing/g").c_str(), 2, false, &file), Error_Fail);
}

TEST_F(FileTest, TakesOneAllocation) {
  const int64_t before = iMemory_CountLive();
  OwnedFile file = Open("f", 2);
  EXPECT_EQ(iMemory_CountLive(), before + 1);
  EXPECT_EQ(file->name, directory_.Name("f"));
  file.reset();
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST_F(FileTest, FailsCleanlyWithoutMemory) {
  directory_.Write("f", "abc");
  FailEveryAllocation([&] {
    File* file = nullptr;
    const ErrorCode status = File_Open(directory_.Name("f").c_str(), 1, &file);
    EXPECT_TRUE(status == Error_None || (status == Error_Memory && file == nullptr));
    if (file != nullptr) File_Close(file);
  });
}

// ---- bytes and positions -----------------------------------------------------------------------

TEST_F(FileTest, ReadsAndWritesBytes) {
  OwnedFile file = Open("f", 3);
  EXPECT_EQ(File_Write(file.get(), 6, "ab\ncd\r"), 6u);
  EXPECT_EQ(File_Seek(file.get(), 0, 1), 0);
  EXPECT_EQ(ReadAll(file.get(), 3), "b\nc");
  EXPECT_EQ(ReadAll(file.get(), 10), "d\r");
  EXPECT_EQ(ReadAll(file.get(), 10), "");
  file.reset();
  EXPECT_EQ(directory_.Read("f"), "ab\ncd\r");
}

TEST_F(FileTest, SeeksFromThreeOrigins) {
  directory_.Write("f", "0123456789");
  OwnedFile file = Open("f", 1);
  EXPECT_EQ(File_Seek(file.get(), 0, 4), 0);
  EXPECT_EQ(File_Tell(file.get()), 4);
  EXPECT_EQ(File_Seek(file.get(), 1, -1), 0);
  EXPECT_EQ(File_Tell(file.get()), 3);
  EXPECT_EQ(File_Seek(file.get(), 2, -2), 0);
  EXPECT_EQ(ReadAll(file.get(), 5), "89");
  EXPECT_EQ(File_Seek(file.get(), 0, -1), -1);
  EXPECT_EQ(File_Tell(file.get()), 10);
}

TEST_F(FileTest, ReportsAnotherSeekMode) {
  OwnedFile file = Open("f", 2);
  ErrorCapture capture;
  EXPECT_EQ(File_Seek(file.get(), 3, 0), Error_Fail);
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: Invalid seekMode 3\n");
  EXPECT_EQ(File_Seek(file.get(), -1, 0), Error_Fail);
  EXPECT_EQ(capture.Lines()[1], "#### Error: Invalid seekMode -1\n");
}

TEST_F(FileTest, SeeksBeyondFourGigabytesFromThreeOrigins) {
  MakeSparseFile(directory_.SystemName("big"), 0x100000006);  // 4 GiB + 6
  OwnedFile file = Open("big", FileMode_Update);
  EXPECT_EQ(File_Seek64(file.get(), FileSeek_Start, 0x100000005), 0);
  EXPECT_EQ(File_Tell64(file.get()), 0x100000005);
  EXPECT_EQ(ReadAll(file.get(), 5), "x");
  EXPECT_EQ(File_Seek64(file.get(), FileSeek_Current, -0x100000004), 0);
  EXPECT_EQ(File_Tell64(file.get()), 2);
  EXPECT_EQ(File_Seek64(file.get(), FileSeek_End, -0x100000001), 0);
  EXPECT_EQ(File_Tell64(file.get()), 5);
  EXPECT_EQ(File_Seek64(file.get(), FileSeek_Start, -1), -1);
  EXPECT_EQ(File_Seek64(file.get(), FileSeek_End, -0x100000007), -1);
  EXPECT_EQ(File_Tell64(file.get()), 5);
  // Written as text and as bytes, the position counts what is held back.
  EXPECT_EQ(File_Seek64(file.get(), FileSeek_Start, 0x100000006), 0);
  EXPECT_EQ(File_Print(file.get(), "%s", "abc"), 3);
  EXPECT_EQ(File_Tell64(file.get()), 0x100000009);
}

TEST_F(FileTest, RefusesWhatItCannotSeekTo) {
  OwnedFile file = Open("f", FileMode_Write);
  EXPECT_EQ(File_Seek64(nullptr, FileSeek_Start, 0), -1);
  EXPECT_EQ(File_Tell64(nullptr), -1);
  EXPECT_EQ(File_Tell(nullptr), -1);
  ErrorCapture capture;
  EXPECT_EQ(File_Seek64(file.get(), 3, 0), Error_Fail);
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: Invalid seekMode 3\n");
}

TEST_F(FileTest, WritesWhatIsHeldBack_BeforeItWaitsForTheDisk) {
  OwnedFile file = Open("f", FileMode_Write);
  EXPECT_EQ(File_Write(file.get(), 2, "ab"), 2u);
  EXPECT_EQ(File_Print(file.get(), "%s", "cd"), 2);
  EXPECT_EQ(File_FlushToDisk(file.get()), 0);
  EXPECT_EQ(directory_.Read("f"), "abcd");
  EXPECT_EQ(File_FlushToDisk(nullptr), -1);
}

// More than the C library of Windows gives out at first.
TEST_F(FileTest, OpensAThousandFiles) {
  std::vector<OwnedFile> files;
  for (int i = 0; i < 1000; ++i) {
    files.push_back(Open(std::to_string(i), FileMode_ReadWriteNew));
    ASSERT_NE(files.back().get(), nullptr) << i;
    EXPECT_EQ(File_Print(files.back().get(), "%d", i), i < 10 ? 1 : i < 100 ? 2 : 3);
  }
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(File_Seek(files[static_cast<size_t>(i)].get(), FileSeek_Start, 0), 0);
    EXPECT_EQ(ReadAll(files[static_cast<size_t>(i)].get(), 10), std::to_string(i));
    EXPECT_EQ(File_Close(files[static_cast<size_t>(i)].release()), Error_None);
  }
  EXPECT_EQ(directory_.Read("999"), "999");
}

TEST_F(FileTest, WritesBeyondTwoGigabytes) {
  MakeSparseFile(directory_.SystemName("big"), 0x140000000);  // 5 GiB
  OwnedFile file = Open("big", 4);
  EXPECT_EQ(iFile_Size64(file.get()), 0x140000000);
  EXPECT_EQ(File_Seek64(file.get(), FileSeek_Start, 0x13FFFFFFF), 0);
  EXPECT_EQ(File_Tell(file.get()), -1);
  EXPECT_EQ(File_Tell64(file.get()), 0x13FFFFFFF);
  EXPECT_EQ(ReadAll(file.get(), 5), "x");
  EXPECT_EQ(File_Seek(file.get(), 1, -1), 0);
  EXPECT_EQ(File_Write(file.get(), 2, "yz"), 2u);
  EXPECT_EQ(iFile_Size64(file.get()), 0x140000001);
  FileState state;
  EXPECT_EQ(File_GetStateOpenFile(file.get(), &state), 0);
  EXPECT_EQ(state.size, 0x40000001u);
}

TEST_F(FileTest, CutsToLengthZero) {
  directory_.Write("f", "0123456789");
  OwnedFile file = Open("f", 4);
  EXPECT_EQ(File_Truncate(file.get()), 0);
  EXPECT_EQ(directory_.Size("f"), 0u);
  EXPECT_EQ(File_Write(file.get(), 1, "x"), 1u);
  file.reset();
  EXPECT_EQ(directory_.Read("f"), "x");
  EXPECT_EQ(File_Truncate(Open("f", 1).get()), -1);
  EXPECT_EQ(directory_.Read("f"), "x");
}

TEST_F(FileTest, WritesNothingToAFileOpenedForReading) {
  directory_.Write("f", "abc");
  OwnedFile file = Open("f", 1);
  EXPECT_EQ(File_Write(file.get(), 3, "xyz"), 0u);
  EXPECT_LT(Stream_Error(File_GetStream(file.get())), Error_None);
  EXPECT_EQ(ReadAll(file.get(), 3), "abc");
  EXPECT_EQ(Stream_Error(File_GetStream(file.get())), Error_None);
}

TEST_F(FileTest, ReadsNothingFromAFileOpenedForWriting) {
  OwnedFile file = Open("f", 2);
  EXPECT_EQ(ReadAll(file.get(), 3), "");
  EXPECT_LT(Stream_Error(File_GetStream(file.get())), Error_None);
  char line[16] = "unset";
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), -1);
  EXPECT_STREQ(line, "");
  EXPECT_LT(Stream_Error(File_GetStream(file.get())), Error_None);
}

// ---- lines and formatted text ------------------------------------------------------------------

TEST_F(FileTest, PrintsFormattedText) {
  OwnedFile file = Open("f", 2);
  EXPECT_EQ(File_Print(file.get(), "%s-%d\n", "a", 5), 4);
  EXPECT_EQ(File_Flush(file.get()), 0);
  EXPECT_EQ(directory_.Read("f"), "a-5\n");
  EXPECT_EQ(File_Print(file.get(), "%s", "%n%s"), 4);
  EXPECT_EQ(File_Sync(file.get()), 0);
  EXPECT_EQ(directory_.Read("f"), "a-5\n%n%s");
}

TEST_F(FileTest, ScansLinesWithoutTheirEnds) {
  directory_.Write("f", "one\r\ntwo\n\r\n\nlast\r\r\n  \nend");
  OwnedFile file = Open("f", 1);
  char line[64];
  for (const char* expected : {"one", "two", "", "", "last", "  ", "end"}) {
    EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), static_cast<int32_t>(strlen(expected)));
    EXPECT_STREQ(line, expected);
  }
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), -1);
  EXPECT_STREQ(line, "");
  EXPECT_EQ(Stream_Error(File_GetStream(file.get())), Error_Ended);
}

TEST_F(FileTest, ScansALongLineInPieces) {
  directory_.Write("f", "abcdefgh\n");
  OwnedFile file = Open("f", 1);
  char line[5] = "????";
  EXPECT_EQ(File_ScanLine(file.get(), 5, line), 4);
  EXPECT_STREQ(line, "abcd");
  EXPECT_EQ(File_ScanLine(file.get(), 5, line), 4);
  EXPECT_STREQ(line, "efgh");
  EXPECT_EQ(File_ScanLine(file.get(), 5, line), 0);
  EXPECT_EQ(File_ScanLine(file.get(), 5, line), -1);
}

TEST_F(FileTest, ScansNothingIntoNoRoom) {
  directory_.Write("f", "abc\n");
  OwnedFile file = Open("f", 1);
  char line[4] = "?";
  for (int32_t size : {1, 0, -1}) EXPECT_EQ(File_ScanLine(file.get(), size, line), -1) << size;
  EXPECT_EQ(File_ScanLine(file.get(), 4, line), 3);
}

TEST_F(FileTest, ScansWhatWasAddedAfterTheEnd) {
  directory_.Write("f", "one\n");
  OwnedFile file = Open("f", 1);
  char line[16];
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), -1);
  File_Write(Open("f", 8).get(), 4, "two\n");
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_STREQ(line, "two");
}

// In text mode CR LF is one character, so that a line fits one byte more of the file.
TEST_F(FileTest, ScansALineThatJustFits) {
  directory_.Write("f", "abc\r\nde\r\n\r\nf\rg\r\n");
  for (uint32_t mode : {1u, 17u}) {
    const bool isOneCharacter = kIsWindows && mode == 17;
    OwnedFile file = Open("f", mode);
    char line[5];
    EXPECT_EQ(File_ScanLine(file.get(), 5, line), 3);
    EXPECT_STREQ(line, "abc");
    // The LF alone that is left over.
    if (!isOneCharacter) {
      EXPECT_EQ(File_ScanLine(file.get(), 5, line), 0);
    }
    EXPECT_EQ(File_Tell(file.get()), 5) << mode;
    EXPECT_EQ(File_ScanLine(file.get(), 5, line), 2);
    EXPECT_EQ(File_ScanLine(file.get(), 5, line), 0);
    EXPECT_EQ(File_Tell(file.get()), 11) << mode;
    EXPECT_EQ(File_ScanLine(file.get(), 5, line), 3);
    EXPECT_STREQ(line, "f\rg");
  }
}

// Lines across the blocks in which a file is read.
TEST_F(FileTest, ScansLinesOfEveryLengthAroundABlock) {
  for (size_t length = 4088; length < 4100; ++length) {
    directory_.Write("f", std::string(length, 'x') + "\r\nnext\r\n");
    for (uint32_t mode : {1u, 17u}) {
      OwnedFile file = Open("f", mode);
      char line[5000];
      EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), static_cast<int32_t>(length));
      EXPECT_EQ(File_Tell(file.get()), static_cast<int32_t>(length + 2)) << mode;
      EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 4);
      EXPECT_STREQ(line, "next");
    }
  }
}

TEST_F(FileTest, ScansToTheEndMarkInTextModeOnly) {
  directory_.Write("f", "one\ntwo\x1Athree\n");
  OwnedFile file = Open("f", 17);
  char line[32];
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), kIsWindows ? 3 : 9);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), -1);
  EXPECT_EQ(Stream_Error(File_GetStream(file.get())), Error_Ended);
  EXPECT_EQ(File_Tell(file.get()), kIsWindows ? 7 : 14);
  file = Open("f", 1);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 9);
}

TEST_F(FileTest, TellsAReadErrorFromTheEnd) {
  OwnedFile file;
  ASSERT_EQ(File_Open(UnreadableFile().c_str(), 1, file.out()), Error_None);
  char line[16] = "unset";
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), -1);
  EXPECT_STREQ(line, "");
  EXPECT_LT(Stream_Error(File_GetStream(file.get())), Error_None);
  EXPECT_EQ(File_Read(file.get(), sizeof line, line), 0u);
  EXPECT_LT(Stream_Error(File_GetStream(file.get())), Error_None);
}

TEST_F(FileTest, WritesTheSystemsLineEndsInTextMode) {
  for (uint32_t mode : {18u, 19u, 27u}) {
    directory_.Write("f", "");
    OwnedFile file = Open("f", mode);
    File_Print(file.get(), "a\n");
    EXPECT_EQ(File_Write(file.get(), 2, "b\n"), 2u);
    file.reset();
    EXPECT_EQ(directory_.Read("f"), kIsWindows ? "a\r\nb\r\n" : "a\nb\n") << mode;
  }
}

TEST_F(FileTest, AppendsInBinaryEvenWhenTextIsAskedFor) {
  OwnedFile file = Open("f", 24);
  File_Print(file.get(), "a\n");
  EXPECT_EQ(File_Write(file.get(), 2, "b\n"), 2u);
  file.reset();
  EXPECT_EQ(directory_.Read("f"), "a\nb\n");
}

TEST_F(FileTest, ReadsTheSystemsLineEndsInTextMode) {
  directory_.Write("f", "a\r\nb\r\n");
  EXPECT_EQ(ReadAll(Open("f", 17).get(), 100), kIsWindows ? "a\nb\n" : "a\r\nb\r\n");
}

TEST_F(FileTest, GetsCharactersInBlocks) {
  directory_.Write("f",
                   "\xFF"
                   "bcd");
  OwnedFile file = Open("f", 1);
  char buffer[3];
  uint32_t remaining = 99;
  char* next = nullptr;
  EXPECT_EQ(File_GetChar(file.get(), 3, buffer, &remaining, &next), 255);
  EXPECT_EQ(remaining, 2u);
  EXPECT_EQ(next, buffer + 1);
  EXPECT_EQ(std::string(next, 2), "bc");
  EXPECT_EQ(File_GetChar(file.get(), 3, buffer, &remaining, &next), 'd');
  EXPECT_EQ(remaining, 0u);
  EXPECT_EQ(File_GetChar(file.get(), 3, buffer, &remaining, nullptr), 0);
  EXPECT_EQ(remaining, 0u);
  EXPECT_EQ(File_GetChar(file.get(), 3, buffer, nullptr, &next), 0);
  EXPECT_EQ(next, buffer);
}

// ---- both ways into one file -------------------------------------------------------------------

TEST_F(FileTest, WritesPendingTextBeforeBytes) {
  OwnedFile file = Open("f", 2);
  File_Print(file.get(), "one ");
  EXPECT_EQ(File_Write(file.get(), 4, "two "), 4u);
  File_Print(file.get(), "three ");
  EXPECT_EQ(File_Tell(file.get()), 14);
  File_Print(file.get(), "four");
  EXPECT_EQ(File_Seek(file.get(), 0, 0), 0);
  EXPECT_EQ(File_Write(file.get(), 3, "ONE"), 3u);
  File_Print(file.get(), "-");
  file.reset();
  EXPECT_EQ(directory_.Read("f"), "ONE-two three four");
}

TEST_F(FileTest, ReadsBytesWhereTheLastLineEnded) {
  directory_.Write("f", "one\ntwo\nthree\n");
  OwnedFile file = Open("f", 1);
  char line[16];
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_EQ(File_Tell(file.get()), 4);
  EXPECT_EQ(ReadAll(file.get(), 2), "tw");
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 1);
  EXPECT_STREQ(line, "o");
  EXPECT_EQ(File_Seek(file.get(), 1, 2), 0);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_STREQ(line, "ree");
}

TEST_F(FileTest, ScansFromWhereASeekWent) {
  directory_.Write("f", "one\ntwo\n");
  OwnedFile file = Open("f", 1);
  char line[16];
  while (File_ScanLine(file.get(), sizeof line, line) >= 0) {
  }
  EXPECT_EQ(File_Seek(file.get(), 0, 0), 0);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_STREQ(line, "one");
}

TEST_F(FileTest, PrintsWhereTheLastLineEnded) {
  directory_.Write("f", "one\ntwo\nthree\n");
  OwnedFile file = Open("f", 4);
  char line[16];
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_EQ(File_Print(file.get(), "TWO"), 3);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 0);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 5);
  EXPECT_STREQ(line, "three");
  file.reset();
  EXPECT_EQ(directory_.Read("f"), "one\nTWO\nthree\n");
}

TEST_F(FileTest, LosesNoLineByAFlush) {
  directory_.Write("f", "one\ntwo\nthree\nfour\n");
  for (uint32_t mode : {1u, 4u}) {
    OwnedFile file = Open("f", mode);
    char line[16];
    EXPECT_EQ(File_Flush(file.get()), 0);
    EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
    EXPECT_EQ(File_Flush(file.get()), 0);
    EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
    EXPECT_STREQ(line, "two") << mode;
    EXPECT_EQ(File_Sync(file.get()), 0);
    EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 5);
    EXPECT_STREQ(line, "three") << mode;
    EXPECT_EQ(File_Flush(file.get()), 0);
    EXPECT_EQ(File_Read(file.get(), 4, line), 4u);
    EXPECT_EQ(std::string(line, 4), "four") << mode;
  }
}

TEST_F(FileTest, TellsTheTruePositionAfterEveryKindOfCall) {
  OwnedFile file = Open("f", 3);
  EXPECT_EQ(File_Tell(file.get()), 0);
  File_Write(file.get(), 5, "abcde");
  EXPECT_EQ(File_Tell(file.get()), 5);
  File_Print(file.get(), "fg\n");
  EXPECT_EQ(File_Tell(file.get()), 8);
  File_Seek(file.get(), 0, 2);
  EXPECT_EQ(File_Tell(file.get()), 2);
  char line[4];
  EXPECT_EQ(File_ScanLine(file.get(), 3, line), 2);
  EXPECT_EQ(File_Tell(file.get()), 4);
  File_Read(file.get(), 1, line);
  EXPECT_EQ(File_Tell(file.get()), 5);
}

TEST_F(FileTest, StandsAtTheEndWhenAppending) {
  directory_.Write("f", "abc");
  OwnedFile file = Open("f", 8);
  EXPECT_EQ(File_Tell(file.get()), 3);
  File_Print(file.get(), "d");
  EXPECT_EQ(File_Tell(file.get()), 4);
}

TEST_F(FileTest, CountsPendingTextInTheState) {
  OwnedFile file = Open("f", 2);
  File_Print(file.get(), "abc");
  FileState state;
  EXPECT_EQ(File_GetStateOpenFile(file.get(), &state), 0);
  EXPECT_EQ(state.exists, 1);
  EXPECT_EQ(state.isDirectory, 0);
  EXPECT_EQ(state.size, 3u);
}

TEST_F(FileTest, GivesTheTimeOfAnOpenFileInSeconds) {
  directory_.Write("f", "abc");
  directory_.SetModified("f", 852454987);
  FileState state;
  EXPECT_EQ(File_GetStateOpenFile(Open("f", 1).get(), &state), 0);
  EXPECT_EQ(state.modificationTime.seconds, 852454987u);
  EXPECT_EQ(state.modificationTime.milliseconds, 0u);
}

TEST_F(FileTest, StaysAtItsPositionWhenCut) {
  directory_.Write("f", "0123456789");
  OwnedFile file = Open("f", 4);
  EXPECT_EQ(File_Seek(file.get(), 0, 4), 0);
  EXPECT_EQ(File_Truncate(file.get()), 0);
  EXPECT_EQ(File_Tell(file.get()), 4);
  File_Print(file.get(), "x");
  file.reset();
  EXPECT_EQ(directory_.Read("f"), std::string(4, '\0') + "x");
}

TEST_F(FileTest, ReadsBytesWhereTheLastLineEndedInTextMode) {
  for (const char* text : {"one\ntwo\nthree\n", "one\r\ntwo\r\nthree\r\n", "one\ntwo\r\nthree\n"}) {
    directory_.Write("f", text);
    OwnedFile file = Open("f", 17);
    char line[16];
    EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
    EXPECT_EQ(ReadAll(file.get(), 2), "tw") << text;
    EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 1) << text;
    EXPECT_STREQ(line, "o");
    EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 5) << text;
  }
}

// Every way of stopping between lines and bytes leaves the true position, whatever the line ends.
TEST_F(FileTest, TellsTheTruePositionBehindEveryLineOfAText) {
  std::string text;
  std::vector<int32_t> ends;
  for (int i = 0; i < 400; ++i) {
    text += std::string(static_cast<size_t>(i * 7 % 60), 'x') + (i % 3 == 0 ? "\n" : "\r\n");
    ends.push_back(static_cast<int32_t>(text.size()));
  }
  directory_.Write("f", text);
  for (uint32_t mode : {1u, 17u, 20u}) {
    OwnedFile file = Open("f", mode);
    for (size_t i = 0; i < ends.size(); ++i) {
      char line[64];
      ASSERT_EQ(File_ScanLine(file.get(), sizeof line, line), static_cast<int32_t>(i * 7 % 60)) << i;
      if (i % 5 == 0) {
        ASSERT_EQ(File_Tell(file.get()), ends[i]) << mode << " " << i;
      }
    }
  }
}

TEST_F(FileTest, PrintsWhereTheLastLineEndedInTextMode) {
  directory_.Write("f", "one\r\ntwo\nthree\r\n");
  OwnedFile file = Open("f", 20);
  char line[16];
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 3);
  EXPECT_EQ(File_Print(file.get(), "TWO"), 3);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 0);
  EXPECT_EQ(File_ScanLine(file.get(), sizeof line, line), 5);
  file.reset();
  EXPECT_EQ(directory_.Read("f"), "one\r\nTWO\nthree\r\n");
}

// What a file should hold, and where it should stand, after each call.
struct FileModel {
  std::string bytes;
  size_t position = 0;
  bool appends = false;

  void Write(const std::string& text) {
    if (appends) position = bytes.size();
    if (bytes.size() < position + text.size()) bytes.resize(position + text.size());
    bytes.replace(position, text.size(), text);
    position += text.size();
  }
  std::string Read(size_t count) {
    if (position >= bytes.size()) return "";
    const std::string text = bytes.substr(position, count);
    position += text.size();
    return text;
  }
  // The line with its end, of at most `size` - 1 bytes.
  std::string ReadLine(size_t size) {
    if (position >= bytes.size()) return "";
    const size_t end = bytes.find('\n', position);
    const size_t length = end == std::string::npos ? bytes.size() - position : end + 1 - position;
    return Read(length < size - 1 ? length : size - 1);
  }
};

class FileMixTest : public FileTest, public testing::WithParamInterface<uint32_t> {
 protected:
  uint32_t Random(uint32_t below) {
    state_ = state_ * 1664525u + 1013904223u;
    return (state_ >> 8) % below;
  }

  std::string Text() {
    std::string text(1 + Random(40), 'a');
    for (char& c : text) c = Random(8) == 0 ? '\n' : static_cast<char>('a' + Random(26));
    return text;
  }

  void ScanLine() {
    char line[32];
    const std::string expected = model_.ReadLine(sizeof line);
    const int32_t length = File_ScanLine(file_.get(), sizeof line, line);
    if (expected.empty()) {
      EXPECT_EQ(length, -1);
    } else {
      EXPECT_STREQ(line, expected.substr(0, expected.find('\n')).c_str());
    }
  }

  void Write(bool prints) {
    const std::string text = Text();
    model_.Write(text);
    const auto size = static_cast<uint32_t>(text.size());
    const int32_t written = prints ? File_Print(file_.get(), "%s", text.c_str())
                                   : static_cast<int32_t>(File_Write(file_.get(), size, text.data()));
    EXPECT_EQ(written, static_cast<int32_t>(size));
  }

  // The position stays; what is written there has bytes 0 before it.
  void CutToNothing() {
    EXPECT_EQ(File_Truncate(file_.get()), 0);
    model_.bytes.clear();
  }

  void Seek() {
    const auto size = static_cast<int32_t>(model_.bytes.size());
    const auto position = static_cast<int32_t>(model_.position);
    const int32_t origins[] = {0, position, size};
    const auto target = static_cast<int32_t>(Random(static_cast<uint32_t>(size) + 1));
    const auto mode = static_cast<int32_t>(Random(3));
    EXPECT_EQ(File_Seek(file_.get(), mode, target - origins[mode]), 0);
    model_.position = static_cast<size_t>(target);
  }

  void GetChar() {
    char buffer[20];
    uint32_t remaining = 99;
    char* next = nullptr;
    const std::string expected = model_.Read(sizeof buffer);
    const int32_t first = File_GetChar(file_.get(), sizeof buffer, buffer, &remaining, &next);
    EXPECT_EQ(first, expected.empty() ? 0 : expected[0]);
    EXPECT_EQ(std::string(next, remaining), expected.empty() ? "" : expected.substr(1));
  }

  void Step() {
    if (Random(300) == 0) return CutToNothing();
    switch (Random(11)) {
      case 0:
      case 1:
        return Write(false);
      case 2:
      case 3:
        return Write(true);
      case 4:
      case 5:
        return ScanLine();
      case 6: {
        const uint32_t count = 1 + Random(30);
        EXPECT_EQ(ReadAll(file_.get(), count), model_.Read(count));
        return;
      }
      case 7:
        return Seek();
      case 8:
        EXPECT_EQ(File_Flush(file_.get()), 0);
        return;
      case 9:
        return GetChar();
      default:
        EXPECT_EQ(File_Tell(file_.get()), static_cast<int32_t>(model_.position));
        return;
    }
  }

  uint32_t state_ = 1;
  OwnedFile file_;
  FileModel model_;
};

TEST_P(FileMixTest, HoldsWhatEveryMixOfCallsShouldLeave) {
  file_ = Open("f", GetParam());
  model_.appends = GetParam() == 12;
  for (int i = 0; i < 20000 && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    Step();
  }
  EXPECT_EQ(iFile_Size64(file_.get()), static_cast<int64_t>(model_.bytes.size()));
  file_.reset();
  EXPECT_TRUE(directory_.Read("f") == model_.bytes);
}

INSTANTIATE_TEST_SUITE_P(Modes, FileMixTest, testing::Values(3u, 12u));

// ---- the stream --------------------------------------------------------------------------------

TEST_F(FileTest, IsAStream) {
  OwnedFile file = Open("f", 3);
  Stream* stream = File_GetStream(file.get());
  EXPECT_EQ(static_cast<void*>(stream), static_cast<void*>(file.get()));
  EXPECT_EQ(stream->type, 0x66696C65u);
  EXPECT_EQ(Stream_Write(stream, 5, "abcde"), 5u);
  EXPECT_EQ(Stream_WriteF(stream, "%d", 7), Error_None);
  File_Seek(file.get(), 0, 0);
  EXPECT_EQ(Stream_ReadAvail(stream), 6u);
  char buffer[8];
  EXPECT_EQ(Stream_Read(stream, 4, buffer), 4u);
  EXPECT_EQ(Stream_ReadAvail(stream), 2u);
  EXPECT_EQ(Stream_Error(stream), Error_None);
  EXPECT_EQ(Stream_Read(stream, 4, buffer), 2u);
  EXPECT_EQ(Stream_Error(stream), Error_None);
  EXPECT_EQ(Stream_Read(stream, 4, buffer), 0u);
  EXPECT_EQ(Stream_Error(stream), Error_Ended);
  EXPECT_EQ(Stream_Read(stream, 0, buffer), 0u);
  EXPECT_EQ(Stream_Error(stream), Error_None);
  EXPECT_EQ(Stream_FindType(stream, 0x66696C65u), stream);
  EXPECT_EQ(Stream_FindType(stream, 0x736F636Bu), nullptr);
}

TEST_F(FileTest, HasNothingToReadBehindItsEnd) {
  directory_.Write("f", "abc");
  OwnedFile file = Open("f", 1);
  for (int32_t position : {3, 4, 1000}) {
    ASSERT_EQ(File_Seek(file.get(), FileSeek_Start, position), 0);
    EXPECT_EQ(Stream_ReadAvail(File_GetStream(file.get())), 0u) << position;
  }
}

TEST_F(FileTest, IsClosedByStreamDelete) {
  OwnedFile file = Open("f", 2);
  File_SetTemporary(file.get(), 1);
  EXPECT_EQ(Stream_Delete(File_GetStream(file.release())), Error_None);
  EXPECT_FALSE(directory_.Exists("f"));
}

// ---- closing -----------------------------------------------------------------------------------

TEST_F(FileTest, RemovesATemporaryFileOnClosing) {
  OwnedFile file = Open("f", 2);
  File_SetTemporary(file.get(), 1);
  EXPECT_EQ(file->mode, 0x80000002u);
  EXPECT_TRUE(directory_.Exists("f"));
  EXPECT_EQ(File_Close(file.release()), Error_None);
  EXPECT_FALSE(directory_.Exists("f"));
}

// Another program may remove it in the last moment.
TEST_F(FileTest, ClosesATemporaryFileThatIsRemovedWhileItIsClosed) {
  static std::filesystem::path removed;
  removed = directory_.SystemName("f");
  OwnedFile file = Open("f", 2);
  File_SetTemporary(file.get(), 1);
  iFile_SetCloseMethod([](FILE* stream) {
    const int result = fclose(stream);
    std::filesystem::remove(removed);
    return result;
  });
  const ErrorCode status = File_Close(file.release());
  iFile_SetCloseMethod(nullptr);
  EXPECT_EQ(status, Error_None);
  EXPECT_FALSE(directory_.Exists("f"));
}

TEST_F(FileTest, KeepsAFileThatIsNoLongerTemporary) {
  OwnedFile file = Open("f", 2);
  File_SetTemporary(file.get(), 1);
  File_SetTemporary(file.get(), 0);
  EXPECT_EQ(file->mode, 2u);
  EXPECT_EQ(File_Close(file.release()), Error_None);
  EXPECT_TRUE(directory_.Exists("f"));
}

TEST_F(FileTest, RemovesATemporaryFileWhereItWasOpened) {
  directory_.MakeDirectory("one");
  directory_.MakeDirectory("two");
  directory_.Write("two/f", "mine");
  char original[1024];
  ASSERT_EQ(Directory_GetCurrent(original), Error_None);
  ASSERT_EQ(Directory_SetCurrent(directory_.Name("one").c_str()), 0);
  File* file = nullptr;
  EXPECT_EQ(File_Open("f", 2, &file), Error_None);
  File_SetTemporary(file, 1);
  EXPECT_EQ(Directory_SetCurrent(directory_.Name("two").c_str()), 0);
  EXPECT_EQ(File_Close(file), Error_None);
  ASSERT_EQ(Directory_SetCurrent(original), 0);
  EXPECT_FALSE(directory_.Exists("one/f"));
  EXPECT_EQ(directory_.Read("two/f"), "mine");
}

TEST_F(FileTest, LeavesTheSystemFileOpen) {
  OwnedFile file = Open("log", 8);
  iFile_SetSystemFile(file.get());
  EXPECT_EQ(File_Close(file.get()), Error_None);
  EXPECT_EQ(Stream_Delete(File_GetStream(file.get())), Error_None);
  EXPECT_EQ(File_Print(file.get(), "still open\n"), 11);
  file.release();
  EXPECT_EQ(iFile_CloseSystemFile(), Error_None);
  EXPECT_EQ(directory_.Read("log"), "still open\n");
  EXPECT_EQ(iFile_CloseSystemFile(), Error_None);
}

TEST_F(FileTest, RemovesATemporarySystemFileInTheEnd) {
  OwnedFile file = Open("log", 8);
  iFile_SetSystemFile(file.get());
  File_SetTemporary(file.release(), 1);
  EXPECT_EQ(iFile_CloseSystemFile(), Error_None);
  EXPECT_FALSE(directory_.Exists("log"));
}

TEST_F(FileTest, ReportsThatLocksAreNotThere) {
  OwnedFile file = Open("f", 2);
  ErrorCapture capture;
  EXPECT_EQ(File_SetLock(file.get()), Error_Fail);
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: Unimplemented in Windows.\n");
}

TEST(File, RefusesNull) {
  char buffer[4];
  FileState state;
  EXPECT_EQ(File_Close(nullptr), Error_Invalid);
  EXPECT_EQ(File_GetStream(nullptr), nullptr);
  File_SetTemporary(nullptr, 1);
  EXPECT_EQ(File_Read(nullptr, 4, buffer), 0u);
  EXPECT_EQ(File_Write(nullptr, 4, "abc"), 0u);
  EXPECT_EQ(File_Seek(nullptr, 0, 0), -1);
  EXPECT_EQ(File_Tell(nullptr), -1);
  EXPECT_EQ(File_Print(nullptr, "x"), -1);
  EXPECT_EQ(File_Flush(nullptr), -1);
  EXPECT_EQ(File_Sync(nullptr), -1);
  EXPECT_EQ(File_ScanLine(nullptr, 4, buffer), -1);
  EXPECT_EQ(File_GetChar(nullptr, 4, buffer, nullptr, nullptr), 0);
  EXPECT_EQ(File_Truncate(nullptr), -1);
  EXPECT_EQ(File_GetStateOpenFile(nullptr, &state), -1);
}

}  // namespace
