// Sizes that leave no room for a record beside them: in 64 bits there are none.
#include <gtest/gtest.h>

#include "qz/memorystream.h"
#include "qz/readbufferstream.h"
#include "tests/support/test_stream.h"

namespace {

TEST(ReadBufferStreamMemory, GivesNull_WhenTheBufferCannotBeExpressed) {
  TestStream wrapped;
  for (uint32_t size : {0xFFFFFFFFu, 0xFFFFFFFFu - 16}) {
    EXPECT_EQ(ReadBufferStream_New(size, wrapped.stream(), 1), nullptr) << size;
  }
  EXPECT_EQ(wrapped.deletions(), 0);
}

TEST(MemoryStreamMemory, WritesZero_WhenAChunkCannotBeExpressed) {
  Stream* stream = MemoryStream_New(nullptr, 0);
  for (uint32_t count : {0xFFFFFFFFu, 0xFFFFFFFDu})
    EXPECT_EQ(Stream_Write(stream, count, "abc"), 0u) << count;
  char byte = 0;
  EXPECT_EQ(Stream_Read(stream, 1, &byte), 0u);
  void* data = &data;
  uint32_t length = 5;
  EXPECT_EQ(MemoryStream_Delete(stream, &data, &length), Error_None);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(length, 0u);
  Stream_Delete(stream);
}

}  // namespace
