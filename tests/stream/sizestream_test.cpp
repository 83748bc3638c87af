// SizeStream: counts and touches nothing.
#include "qz/sizestream.h"

#include <gtest/gtest.h>

#include "qz/error.h"
#include "qz/memorystream.h"
#include "qz/readbufferstream.h"
#include "tests/support/fail_allocation.h"

namespace {

TEST(SizeStream, CountsBytesWithoutTouchingBuffers) {
  const int64_t before = iMemory_CountLive();
  Stream* stream = SizeStream_New();
  EXPECT_EQ(stream->type, 0x737A7374u);
  EXPECT_EQ(Stream_Write(stream, 10, nullptr), 10u);
  EXPECT_EQ(Stream_Write(stream, 20, nullptr), 20u);
  EXPECT_EQ(Stream_Read(stream, 5, nullptr), 5u);
  char untouched[4] = "abc";
  EXPECT_EQ(Stream_Read(stream, 0, untouched), 0u);
  uint32_t read = 77, written = 77;
  EXPECT_EQ(SizeStream_Delete(stream, &read, &written), Error_None);
  EXPECT_EQ(read, 5u);
  EXPECT_EQ(written, 30u);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(SizeStream, LeavesTheBufferAsItWasAfterARead) {
  Stream* stream = SizeStream_New();
  char buffer[4] = "abc";
  EXPECT_EQ(Stream_Read(stream, 3, buffer), 3u);
  EXPECT_STREQ(buffer, "abc");
  Stream_Delete(stream);
}

TEST(SizeStream, LeavesTheOtherSlotsEmpty) {
  Stream* stream = SizeStream_New();
  EXPECT_EQ(Stream_ReadAvail(stream), 0xFFFFFFFFu);
  EXPECT_EQ(Stream_Error(stream), Error_None);
  EXPECT_EQ(Stream_FindType(stream, StreamType_Memory), nullptr);
  EXPECT_EQ(stream->operations->FindType, nullptr);
  EXPECT_EQ(Stream_Delete(stream), Error_None);
}

TEST(SizeStream, CountsModuloThirtyTwoBits) {
  Stream* stream = SizeStream_New();
  Stream_Write(stream, 0xFFFFFFFFu, nullptr);
  Stream_Write(stream, 3, nullptr);
  uint32_t written = 0;
  SizeStream_Delete(stream, nullptr, &written);
  EXPECT_EQ(written, 2u);
}

TEST(SizeStream, MeasuresAFormattedText) {
  Stream* stream = SizeStream_New();
  EXPECT_EQ(Stream_WriteFLine(stream, "%s", "abc"), Error_None);
  uint32_t written = 0;
  SizeStream_Delete(stream, nullptr, &written);
  EXPECT_EQ(written, 5u);
}

TEST(SizeStreamDelete, NeedsNoOutputs) {
  const int64_t before = iMemory_CountLive();
  EXPECT_EQ(SizeStream_Delete(SizeStream_New(), nullptr, nullptr), Error_None);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(SizeStreamDelete, FindsTheStreamInAWrapper) {
  const int64_t before = iMemory_CountLive();
  Stream* wrapper = ReadBufferStream_New(8, SizeStream_New(), 1);
  Stream_Write(wrapper, 9, nullptr);
  uint32_t written = 0;
  EXPECT_EQ(SizeStream_Delete(wrapper, nullptr, &written), Error_None);
  EXPECT_EQ(written, 9u);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(SizeStreamDelete, RefusesAnotherStream) {
  Stream* other = MemoryStream_New(nullptr, 0);
  uint32_t read = 77, written = 77;
  EXPECT_EQ(SizeStream_Delete(other, &read, &written), Error_Invalid);
  EXPECT_EQ(read, 0u);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(SizeStream_Delete(nullptr, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(Stream_Delete(other), Error_None);
}

TEST(SizeStreamMemory, GivesNull_WhenMemoryRunsOut) {
  iMemory_FailAllocation(1);
  EXPECT_EQ(SizeStream_New(), nullptr);
  iMemory_FailAllocation(0);
}

}  // namespace
