// Files whose writes are held back until there are many bytes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "os/core/largebuffer_internal.h"
#include "os/core/memory_testing.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/file/file_testing.h"
#include "qz/error.h"
#include "qz/file.h"
#include "tests/support/temp_dir.h"

namespace {

using OwnedFile = Owned<File, File_Close>;

constexpr uint32_t kDirect = 65536;
constexpr uint32_t kBuffer = 131072;

std::string Bytes(size_t size, char first = 'a') {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(first + i % 23);
  return bytes;
}

class FileGathering : public testing::Test {
 protected:
  // A file with 65,536 bytes, from which on writes are held back.
  void OpenGathering(uint32_t mode = FileMode_ReadWriteNew) {
    ASSERT_EQ(File_Open(directory_.Name("f").c_str(), mode, file_.out()), Error_None);
    iFile_SetGathering(file_.get(), true);
    Write(Bytes(kDirect));
    ASSERT_EQ(OnDisk(), kDirect);
  }
  void Write(const std::string& bytes) {
    EXPECT_EQ(File_Write(file_.get(), static_cast<uint32_t>(bytes.size()), bytes.data()), bytes.size());
    EXPECT_EQ(Stream_Error(File_GetStream(file_.get())), Error_None);
    written_ += bytes;
  }
  uint64_t OnDisk() { return directory_.Size("f"); }
  void ExpectAllOnDisk() { EXPECT_TRUE(directory_.Read("f") == written_) << OnDisk(); }

  TempDir directory_;
  OwnedFile file_;
  std::string written_;
};

TEST_F(FileGathering, WritesTheFirstBytesAtOnce) {
  ASSERT_EQ(File_Open(directory_.Name("f").c_str(), FileMode_Write, file_.out()), Error_None);
  iFile_SetGathering(file_.get(), true);
  for (int i = 0; i < 5; ++i) {
    Write(Bytes(12288));
    EXPECT_EQ(OnDisk(), written_.size());
  }
  Write(Bytes(12288));  // up to 73,728
  EXPECT_EQ(OnDisk(), 73728u);
  Write("x");
  EXPECT_EQ(OnDisk(), 73728u);
  EXPECT_EQ(File_Close(file_.release()), Error_None);
  ExpectAllOnDisk();
}

// Blocks begin at multiples of their size: the first one is shorter.
TEST_F(FileGathering, WritesABlockWhenItIsFull) {
  OpenGathering();
  for (int i = 0; i < 5; ++i) Write(Bytes(12288));  // 61,440
  EXPECT_EQ(OnDisk(), kDirect);
  Write(Bytes(4095));
  EXPECT_EQ(OnDisk(), kDirect);
  Write("x");
  EXPECT_EQ(OnDisk(), kBuffer);
  ExpectAllOnDisk();
  // A write may fill one block and begin the next.
  Write(Bytes(kBuffer - 1));
  EXPECT_EQ(OnDisk(), kBuffer);
  Write(Bytes(10));
  EXPECT_EQ(OnDisk(), 2 * kBuffer);
  EXPECT_EQ(File_Close(file_.release()), Error_None);
  ExpectAllOnDisk();
}

TEST_F(FileGathering, EndsABlockAtAMultipleOfItsSize_WhereverItBegins) {
  OpenGathering();
  Write(Bytes(1000));
  EXPECT_EQ(File_Flush(file_.get()), 0);
  Write(Bytes(kBuffer - kDirect - 1000));
  EXPECT_EQ(OnDisk(), kBuffer);
  ExpectAllOnDisk();
  EXPECT_EQ(File_Seek64(file_.get(), FileSeek_Start, 2 * kBuffer - 10), 0);
  EXPECT_EQ(File_Write(file_.get(), 25, Bytes(25).data()), 25u);
  EXPECT_EQ(OnDisk(), 2 * kBuffer);
  EXPECT_EQ(File_Close(file_.release()), Error_None);
  EXPECT_EQ(OnDisk(), 2 * kBuffer + 15);
}

// As large as the buffer, it gains nothing by it; what is held back goes first.
TEST_F(FileGathering, WritesALargeBlockAtOnce) {
  OpenGathering();
  Write("held");
  Write(Bytes(kBuffer));
  ExpectAllOnDisk();
  Write("held again");
  EXPECT_EQ(OnDisk(), written_.size() - 10);
}

TEST_F(FileGathering, WritesWhatIsHeldBack_BeforeAnyOtherCall) {
  OpenGathering();
  FileState state;
  uint64_t size = 0;
  Write("1");
  EXPECT_EQ(File_Flush(file_.get()), 0);
  ExpectAllOnDisk();
  Write("2");
  EXPECT_EQ(File_Tell64(file_.get()), 65538);
  ExpectAllOnDisk();
  Write("3");
  EXPECT_EQ(File_GetStateOpenFile64(file_.get(), &state, &size), 0);
  EXPECT_EQ(size, 65539u);
  Write("4");
  EXPECT_EQ(iFile_Size64(file_.get()), 65540);
  Write("5");
  EXPECT_EQ(File_Print(file_.get(), "%s", "printed"), 7);
  written_ += "printed";
  Write("6");
  EXPECT_EQ(OnDisk(), written_.size() - 1);
  EXPECT_EQ(File_FlushToDisk(file_.get()), 0);
  ExpectAllOnDisk();
  Write("7");
  EXPECT_EQ(Stream_ReadAvail(File_GetStream(file_.get())), 0u);
  ExpectAllOnDisk();
  Write("8");
  EXPECT_EQ(File_Seek64(file_.get(), FileSeek_Start, 2), 0);
  ExpectAllOnDisk();
  char byte = 0;
  EXPECT_EQ(File_Read(file_.get(), 1, &byte), 1u);
  EXPECT_EQ(byte, 'c');
  Write("Z");  // in place of the "d"
  EXPECT_EQ(File_Truncate(file_.get()), 0);
  EXPECT_EQ(OnDisk(), 0u);
}

TEST_F(FileGathering, PutsBytesWhereThePositionIs) {
  OpenGathering();
  EXPECT_EQ(File_Seek64(file_.get(), FileSeek_Start, 10), 0);
  Write("XY");
  EXPECT_EQ(File_Seek64(file_.get(), FileSeek_Start, 100), 0);
  Write("Z");
  EXPECT_EQ(File_Close(file_.release()), Error_None);
  std::string expected = Bytes(kDirect);
  expected.replace(10, 2, "XY").replace(100, 1, "Z");
  EXPECT_TRUE(directory_.Read("f") == expected);
}

TEST_F(FileGathering, AppendsWhereTheFileEnds) {
  directory_.Write("f", "before");
  ASSERT_EQ(File_Open(directory_.Name("f").c_str(), FileMode_Append, file_.out()), Error_None);
  iFile_SetGathering(file_.get(), true);
  written_ = "before";
  Write(Bytes(kDirect));
  Write("held");
  EXPECT_EQ(OnDisk(), 6u + kDirect);
  EXPECT_EQ(File_Close(file_.release()), Error_None);
  ExpectAllOnDisk();
}

TEST_F(FileGathering, CanBeEnded) {
  OpenGathering();
  Write("held");
  iFile_SetGathering(file_.get(), false);
  Write("not held");
  ExpectAllOnDisk();
}

TEST_F(FileGathering, IsNotBegunUnasked) {
  ASSERT_EQ(File_Open(directory_.Name("f").c_str(), FileMode_Write, file_.out()), Error_None);
  Write(Bytes(kDirect));
  Write("x");
  ExpectAllOnDisk();
  EXPECT_EQ(File_Close(file_.release()), Error_None);
}

TEST_F(FileGathering, WritesAtOnce_WithoutABuffer) {
  OpenGathering();
  iMemory_FailAllocation(1);
  Write("no memory");
  iMemory_FailAllocation(0);
  ExpectAllOnDisk();
  std::vector<uint8_t*> taken;
  while (uint8_t* buffer = iLargeBuffer_Take()) taken.push_back(buffer);
  Write("all in use");
  ExpectAllOnDisk();
  for (uint8_t* buffer : taken) iLargeBuffer_GiveBack(buffer);
  Write("held");
  EXPECT_EQ(OnDisk(), written_.size() - 4);
}

TEST_F(FileGathering, GivesItsBufferBack) {
  const int64_t before = iMemory_CountLive();
  OpenGathering();
  Write("held");
  EXPECT_EQ(iMemory_CountLive(), before + 2);
  EXPECT_EQ(File_Close(file_.release()), Error_None);
  EXPECT_EQ(iMemory_CountLive(), before);
}

}  // namespace
