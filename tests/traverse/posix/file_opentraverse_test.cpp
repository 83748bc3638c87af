// Record files where a full disk can be arranged.
#include <gtest/gtest.h>

#include <string>

#include "os/core/memory_testing.h"
#include "qz/file.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"
#include "tests/traverse/example_record.h"
#include "tests/traverse/traverse_fixture.h"

namespace {

ErrorCode WriteExample(const std::string& name, uint32_t mode) {
  Traverse* traverse = nullptr;
  EXPECT_EQ(File_OpenTraverse(name.c_str(), mode, nullptr, &traverse), Error_None);
  ExampleRecord record = NewExample();
  const ErrorCode status = Traverse_DataWrite(traverse, DescribeExample, &record);
  Traverse_DataDelete(nullptr, DescribeExample, &record);
  Traverse_Delete(traverse);
  return status;
}

TEST(FileOpenTraverseOnPosix, GivesEnded_WhenTheDiskIsFull) {
  const int64_t before = iMemory_CountLive();
  for (const uint32_t mode : {FileMode_Write, FileMode_Append}) {
    EXPECT_EQ(WriteExample("/dev/full", mode), Error_Ended) << mode;
  }
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(FileOpenTraverseOnPosix, GivesEnded_WhereverTheDiskFillsUp) {
  TempDir folder;
  for (const uint32_t mode : {FileMode_Write, FileMode_ReadWriteNew}) {
    for (const uint64_t room : {0u, 1u, 100u, 136u}) {
      const DiskLimit limit(room);
      EXPECT_EQ(WriteExample(folder.Name("record"), mode), Error_Ended) << room;
      EXPECT_EQ(folder.Size("record"), room);
    }
    const DiskLimit limit(137);
    EXPECT_EQ(WriteExample(folder.Name("record"), mode), Error_None);
    EXPECT_EQ(folder.Size("record"), 137u);
  }
}

TEST(FileOpenTraverseOnPosix, StopsTheRecord_WhenTheDiskFillsUpBeforeItsEnd) {
  TempDir folder;
  Traverse* traverse = nullptr;
  ASSERT_EQ(File_OpenTraverse(folder.Name("record").c_str(), FileMode_Write, nullptr, &traverse), Error_None);
  const DiskLimit limit(5000);
  std::string bytes(3000, 'a');
  EXPECT_EQ(DataWrite(traverse,
                      [&](Traverse* nested) {
                        EXPECT_EQ(Traverse_Raw(nested, 3000, bytes.data()), 3000);
                        EXPECT_EQ(Traverse_Raw(nested, 3000, bytes.data()), 3000);
                        EXPECT_EQ(Traverse_Raw(nested, 3000, bytes.data()), 0) << "the second did not fit";
                        EXPECT_EQ(Traverse_Raw(nested, 3000, bytes.data()), Error_Ended);
                      }),
            Error_Ended);
  Traverse_Delete(traverse);
  EXPECT_EQ(folder.Size("record"), 5000u);
}

}  // namespace
