// Record files on a full disk, which the Windows build finds where its host has one.
#include <gtest/gtest.h>

#include "qz/error.h"
#include "qz/file.h"
#include "tests/traverse/example_record.h"

namespace {

TEST(FileOpenTraverseOnWindows, GivesEnded_WhenTheDiskIsFull) {
  Traverse* traverse = nullptr;
  ASSERT_EQ(File_OpenTraverse("/Z|/dev/full", FileMode_Write, nullptr, &traverse), Error_None);
  ExampleRecord record = NewExample();
  EXPECT_EQ(Traverse_DataWrite(traverse, DescribeExample, &record), Error_Ended);
  Traverse_DataDelete(nullptr, DescribeExample, &record);
  Traverse_Delete(traverse);
}

}  // namespace
