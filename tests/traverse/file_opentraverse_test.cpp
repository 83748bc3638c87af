// File_OpenTraverse: a record file in one call, its read buffer and its gathered writes.
#include <gtest/gtest.h>

#include <string>

#include "qz/file.h"
#include "qz/memory.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/temp_dir.h"
#include "tests/traverse/example_record.h"
#include "tests/traverse/formats_page_table.h"
#include "tests/traverse/traverse_fixture.h"
#include "traverse/traverse_internal.h"

namespace {

class FileOpenTraverse : public testing::Test {
 protected:
  TempDir folder_;
  File* file_ = nullptr;
  Traverse* traverse_ = nullptr;

  ErrorCode Open(uint32_t mode) {
    return File_OpenTraverse(folder_.Name("record").c_str(), mode, &file_, &traverse_);
  }
  std::string Stored() const { return Hex(folder_.Read("record")); }
};

TEST_F(FileOpenTraverse, WritesAndReadsARecord) {
  ASSERT_EQ(Open(FileMode_Write), Error_None);
  ExampleRecord record = NewExample();
  EXPECT_EQ(Traverse_DataWrite(traverse_, DescribeExample, &record), Error_None);
  Traverse_Delete(traverse_);
  EXPECT_EQ(Stored().substr(0, 23), "65 78 61 6D 02 00 00 00") << "little-endian";
  Traverse_DataDelete(nullptr, DescribeExample, &record);

  ASSERT_EQ(Open(FileMode_Read), Error_None);
  EXPECT_EQ(Traverse_DataRead(traverse_, DescribeExample, &record), Error_None);
  EXPECT_STREQ(record.list[1], "gh");
  EXPECT_EQ(*static_cast<uint16_t*>(record.part), 7);
  Traverse_DataDelete(traverse_, DescribeExample, &record);
  Traverse_Delete(traverse_);
}

TEST_F(FileOpenTraverse, GivesTheFileOnRequest) {
  EXPECT_EQ(File_OpenTraverse(folder_.Name("record").c_str(), FileMode_Write, nullptr, &traverse_),
            Error_None);
  Traverse_Delete(traverse_);
  ASSERT_EQ(Open(FileMode_Write), Error_None);
  EXPECT_EQ(Traverse_GetStream(traverse_), File_GetStream(file_));
  Traverse_Delete(traverse_);
}

TEST_F(FileOpenTraverse, ReadsThroughABuffer) {
  folder_.Write("record", Bytes("01 02 03 04"));
  for (const uint32_t mode : {uint32_t{FileMode_Read}, uint32_t{FileMode_Read | FileMode_Text}}) {
    ASSERT_EQ(Open(mode), Error_None);
    Stream* stream = Traverse_GetStream(traverse_);
    EXPECT_NE(Stream_GetType(stream, StreamType_ReadBuffer), nullptr);
    EXPECT_EQ(Stream_FindType(stream, StreamType_File), File_GetStream(file_));
    uint8_t number = 0;
    Traverse_SetMode(traverse_, TraverseMode_Read);
    EXPECT_EQ(Traverse_Uns8(traverse_, &number), Error_None);
    EXPECT_EQ(number, 1);
    EXPECT_EQ(Stream_ReadAvail(File_GetStream(file_)), 0u) << "the whole file lies in the buffer";
    Traverse_Delete(traverse_);
  }
}

TEST_F(FileOpenTraverse, GathersWritesUntilTheOutermostEnd) {
  for (const uint32_t mode : {uint32_t{FileMode_Write}, uint32_t{FileMode_Write | FileMode_Text}}) {
    ASSERT_EQ(Open(mode), Error_None);
    uint32_t number = 0x01020304;
    Traverse_SetMode(traverse_, TraverseMode_Write);
    Traverse_Start(traverse_);
    Traverse_Start(traverse_);
    EXPECT_EQ(Traverse_Uns32(traverse_, &number), Error_None);
    Traverse_End(traverse_);
    EXPECT_EQ(folder_.Size("record"), 0u);
    EXPECT_EQ(Traverse_Uns32(traverse_, &number), Error_None);
    Traverse_End(traverse_);
    EXPECT_EQ(folder_.Size("record"), 8u);
    EXPECT_EQ(Traverse_Uns32(traverse_, &number), Error_None);
    EXPECT_EQ(folder_.Size("record"), 12u) << "outside Start and End nothing waits";
    Traverse_Delete(traverse_);
    EXPECT_EQ(Stored(), "04 03 02 01 04 03 02 01 04 03 02 01");
  }
}

TEST_F(FileOpenTraverse, GathersAppendedWrites) {
  folder_.Write("record", "A");
  ASSERT_EQ(Open(FileMode_Append), Error_None);
  uint8_t number = 'B';
  Traverse_SetMode(traverse_, TraverseMode_Write);
  Traverse_Start(traverse_);
  EXPECT_EQ(Traverse_Uns8(traverse_, &number), Error_None);
  EXPECT_EQ(folder_.Size("record"), 1u);
  Traverse_End(traverse_);
  EXPECT_EQ(folder_.Size("record"), 2u);
  Traverse_Delete(traverse_);
  EXPECT_EQ(folder_.Read("record"), "AB");
}

TEST_F(FileOpenTraverse, GathersAtMostFourKibibytes) {
  ASSERT_EQ(Open(FileMode_Write), Error_None);
  Traverse_SetMode(traverse_, TraverseMode_Write);
  Traverse_Start(traverse_);
  std::string bytes(4095, 'a');
  EXPECT_EQ(Traverse_Raw(traverse_, 4095, bytes.data()), 4095);
  EXPECT_EQ(Traverse_Raw(traverse_, 1, bytes.data()), 1);
  EXPECT_EQ(folder_.Size("record"), 0u);
  char next[] = "bc";
  EXPECT_EQ(Traverse_Raw(traverse_, 1, next), 1);
  EXPECT_EQ(folder_.Size("record"), 4096u);
  std::string large(5000, 'd');
  EXPECT_EQ(Traverse_Raw(traverse_, 5000, large.data()), 5000);
  EXPECT_EQ(folder_.Size("record"), 9097u) << "what is larger goes out at once, behind what waited";
  EXPECT_EQ(Traverse_Raw(traverse_, 1, next + 1), 1);
  Traverse_End(traverse_);
  Traverse_Delete(traverse_);
  EXPECT_EQ(folder_.Read("record"), std::string(4096, 'a') + "b" + large + "c");
}

TEST_F(FileOpenTraverse, WritesWhatWaits_BeforeItGivesTheStream) {
  ASSERT_EQ(Open(FileMode_Write), Error_None);
  Traverse_SetMode(traverse_, TraverseMode_Write);
  Traverse_Start(traverse_);
  char letters[] = "ab";
  EXPECT_EQ(Traverse_Raw(traverse_, 1, letters), 1);
  EXPECT_EQ(Stream_Write(Traverse_GetStream(traverse_), 1, letters + 1), 1u);
  Traverse_End(traverse_);
  Traverse_Delete(traverse_);
  EXPECT_EQ(folder_.Read("record"), "ab");
}

TEST_F(FileOpenTraverse, WritesWhatWaits_WhenTheRecordHasNotEnded) {
  ASSERT_EQ(Open(FileMode_Write), Error_None);
  Traverse_SetMode(traverse_, TraverseMode_Write);
  Traverse_Start(traverse_);
  char letter[] = "a";
  EXPECT_EQ(Traverse_Raw(traverse_, 1, letter), 1);
  Traverse_Delete(traverse_);
  EXPECT_EQ(folder_.Read("record"), "a");
}

TEST_F(FileOpenTraverse, DoesNotBufferAFileForUpdate) {
  for (const uint32_t mode : {3u, 4u, 5u, 6u, 11u, 12u, 15u}) {
    folder_.Write("record", "");
    ASSERT_EQ(Open(mode), Error_None) << mode;
    EXPECT_EQ(Traverse_GetStream(traverse_), File_GetStream(file_));
    Traverse_SetMode(traverse_, TraverseMode_Write);
    Traverse_Start(traverse_);
    uint16_t number = 0x0102;
    EXPECT_EQ(Traverse_Uns16(traverse_, &number), Error_None);
    EXPECT_EQ(folder_.Size("record"), 2u) << mode;
    Traverse_End(traverse_);
    EXPECT_EQ(File_Seek(file_, FileSeek_Start, 0), 0);
    number = 0;
    Traverse_SetMode(traverse_, TraverseMode_Read);
    EXPECT_EQ(Traverse_Uns16(traverse_, &number), Error_None) << mode;
    EXPECT_EQ(number, 0x0102);
    Traverse_Delete(traverse_);
  }
}

TEST_F(FileOpenTraverse, GivesTheStatusOfAFileThatCannotBeOpened) {
  file_ = reinterpret_cast<File*>(this);
  traverse_ = reinterpret_cast<Traverse*>(this);
  EXPECT_EQ(Open(FileMode_Read), Error_Fail) << "there is none";
  EXPECT_EQ(file_, nullptr);
  EXPECT_EQ(traverse_, nullptr);
  EXPECT_EQ(Open(7), Error_Fail) << "no such mode";
  EXPECT_EQ(File_OpenTraverse(nullptr, FileMode_Read, &file_, &traverse_), Error_Invalid);
  file_ = reinterpret_cast<File*>(this);
  EXPECT_EQ(File_OpenTraverse(folder_.Name("record").c_str(), FileMode_Write, &file_, nullptr),
            Error_Invalid);
  EXPECT_EQ(file_, nullptr);
  EXPECT_FALSE(folder_.Exists("record"));
}

TEST_F(FileOpenTraverse, ReadsARecordOfFourKibibytes) {
  folder_.Write("record", std::string(4096, 'x'));
  ASSERT_EQ(Open(FileMode_Read), Error_None);
  uint32_t numbers[1024] = {};
  EXPECT_EQ(DataRead(traverse_,
                     [&](Traverse* traverse) {
                       for (uint32_t& number : numbers) Traverse_Uns32(traverse, &number);
                     }),
            Error_None);
  Traverse_Delete(traverse_);
  EXPECT_EQ(numbers[0], 0x78787878u);
  EXPECT_EQ(numbers[1023], 0x78787878u);
}

TEST_F(FileOpenTraverse, HasAFileOfFourKibibytesInItsBufferAfterTheFirstField) {
  folder_.Write("record", std::string(4096, 'x'));
  ASSERT_EQ(Open(FileMode_Read), Error_None);
  uint8_t byte = 0;
  Traverse_SetMode(traverse_, TraverseMode_Read);
  EXPECT_EQ(Traverse_Uns8(traverse_, &byte), Error_None);
  EXPECT_EQ(Stream_ReadAvail(File_GetStream(file_)), 0u);
  Traverse_Delete(traverse_);
}

TEST_F(FileOpenTraverse, GivesEnded_WhereverTheFileIsCut) {
  const std::string whole = Bytes(ExampleColumn(kPlainColumn, Side::Reader));
  ExampleRecord record;
  const int64_t before = iMemory_CountLive();
  for (size_t length = 0; length < whole.size(); length += 3) {
    folder_.Write("record", whole.substr(0, length));
    Traverse_DataInit(nullptr, DescribeExample, &record);
    ASSERT_EQ(Open(FileMode_Read), Error_None);
    EXPECT_EQ(Traverse_DataRead(traverse_, DescribeExample, &record), Error_Ended) << "cut at " << length;
    Traverse_Delete(traverse_);
    ASSERT_EQ(iMemory_CountLive(), before) << "cut at " << length;
  }
  folder_.Write("record", whole);
  Traverse_DataInit(nullptr, DescribeExample, &record);
  ASSERT_EQ(Open(FileMode_Read), Error_None);
  EXPECT_EQ(Traverse_DataRead(traverse_, DescribeExample, &record), Error_None);
  Traverse_DataDelete(nullptr, DescribeExample, &record);
  Traverse_Delete(traverse_);
}

TEST_F(FileOpenTraverse, GivesMemory_WhicheverAllocationFailsWhileARecordIsWrittenAndRead) {
  int succeeded = 0;
  FailEveryAllocation([&] {
    ExampleRecord record = {};
    record.version = kExampleVersion;
    uint16_t numbers[2] = {5, 6};
    char text[] = "text";
    char* texts[1] = {text};
    record.blockCount = 2;
    record.block = numbers;
    record.allocatedText = text;
    record.textCount = 1;
    record.texts[0] = text;
    record.listCount = 1;
    record.list = texts;
    record.part = numbers;
    ErrorCode status = Open(FileMode_Write);
    if (status == Error_None) status = Traverse_DataWrite(traverse_, DescribeExample, &record);
    Traverse_Delete(traverse_);
    if (status == Error_None) {
      Traverse_DataInit(nullptr, DescribeExample, &record);
      status = Open(FileMode_Read);
      if (status == Error_None) status = Traverse_DataRead(traverse_, DescribeExample, &record);
      if (status == Error_None) {
        ++succeeded;
        EXPECT_STREQ(record.list[0], "text");
        Traverse_DataDelete(nullptr, DescribeExample, &record);
      }
      Traverse_Delete(traverse_);
    }
    EXPECT_TRUE(status == Error_None || status == Error_Memory) << status;
  });
  EXPECT_EQ(succeeded, 1);
}

TEST_F(FileOpenTraverse, ClosesTheFile_WhenMemoryRunsOut) {
  for (const uint32_t mode : {FileMode_Read, FileMode_Write, FileMode_Update}) {
    folder_.Write("record", "abc");
    FailEveryAllocation([&] {
      const ErrorCode status = Open(mode);
      if (status == Error_None) {
        Traverse_Delete(traverse_);
        return;
      }
      EXPECT_EQ(status, Error_Memory);
      EXPECT_EQ(file_, nullptr);
      EXPECT_EQ(traverse_, nullptr);
    });
  }
  // Windows removes no file that is still open.
  EXPECT_EQ(File_Unlink(folder_.Name("record").c_str()), Error_None);
}

// ---- gathered writes that fail -------------------------------------------------------------------

class TraverseGathering : public testing::Test {
 protected:
  TraverseGathering() {
    EXPECT_EQ(iTraverse_GatherWrites(*context_.traverse()), Error_None);
    context_.bytes().LimitWrites(3, Error_Exceed);
  }
  Context context_;
  uint32_t number_ = 5;
};

TEST_F(TraverseGathering, GivesEndedAtTheOutermostEnd_WhenItCannotBeWritten) {
  EXPECT_EQ(DataWrite(context_.traverse(),
                      [&](Traverse* traverse) { EXPECT_EQ(Traverse_Uns32(traverse, &number_), Error_None); }),
            Error_Ended);
  EXPECT_EQ(context_.Written(), "05 00 00");
}

TEST_F(TraverseGathering, GivesEnded_AfterExceedToo) {
  EXPECT_EQ(DataWrite(context_.traverse(),
                      [&](Traverse* traverse) {
                        Traverse_Uns32(traverse, &number_);
                        Traverse_SetError(traverse, Error_Exceed);
                      }),
            Error_Ended);
}

TEST_F(TraverseGathering, KeepsTheErrorOfTheRecord) {
  EXPECT_EQ(DataWrite(context_.traverse(),
                      [&](Traverse* traverse) {
                        Traverse_Uns32(traverse, &number_);
                        Traverse_Validate(traverse, 0);
                      }),
            Error_Invalid);
  EXPECT_EQ(context_.Written(), "05 00 00") << "what came before the failure is written as without gathering";
}

TEST_F(TraverseGathering, GivesEndedFromTheFieldThatFindsItFull) {
  std::string bytes(4096, 'a');
  EXPECT_EQ(DataWrite(context_.traverse(),
                      [&](Traverse* traverse) {
                        EXPECT_EQ(Traverse_Raw(traverse, 4096, bytes.data()), 4096);
                        EXPECT_EQ(Traverse_Uns32(traverse, &number_), Error_Ended);
                      }),
            Error_Ended);
  EXPECT_EQ(context_.Written(), "61 61 61") << "what could not be written is not tried again";
}

TEST_F(TraverseGathering, FreesTheBlocksOfARecord_WhenItCannotBeWritten) {
  const int64_t before = iMemory_CountLive();
  void* block = nullptr;
  EXPECT_EQ(DataWrite(context_.traverse(),
                      [&](Traverse* traverse) {
                        Traverse_Uns32(traverse, &number_);
                        Traverse_SetMode(traverse, TraverseMode_New);
                        Traverse_MemoryStart(traverse, 4, &block);
                      }),
            Error_Ended);
  EXPECT_EQ(iMemory_CountLive(), before);
}

}  // namespace
