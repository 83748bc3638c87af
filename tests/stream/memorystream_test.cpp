// MemoryStream: what is written, what can be read, and the block that is handed back.
#include "qz/memorystream.h"

#include <gtest/gtest.h>

#include <string>

#include "qz/error.h"
#include "qz/memory.h"
#include "qz/readbufferstream.h"
#include "qz/sizestream.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"

namespace {

// A stream over a block that holds these bytes.
Stream* NewOver(const std::string& bytes) {
  void* block = Memory_New(bytes.size());
  Memory_Copy(bytes.data(), block, bytes.size());
  return MemoryStream_New(block, static_cast<uint32_t>(bytes.size()));
}

uint32_t Write(Stream* stream, const std::string& bytes) {
  return Stream_Write(stream, static_cast<uint32_t>(bytes.size()), bytes.data());
}

std::string Read(Stream* stream, uint32_t count) {
  std::string bytes(count, '#');
  bytes.resize(Stream_Read(stream, count, bytes.data()));
  return bytes;
}

struct Result {
  ErrorCode status;
  void* data;
  uint32_t length;
  std::string bytes;
};

Result Delete(Stream* stream) {
  Result result{0, &result, 12345, ""};
  result.status = MemoryStream_Delete(stream, &result.data, &result.length);
  if (result.data != nullptr) result.bytes.assign(static_cast<char*>(result.data), result.length);
  return result;
}

std::string Zeros(size_t count) {
  return std::string(count, '\0');
}

TEST(MemoryStream, StartsEmpty) {
  Stream* stream = MemoryStream_New(nullptr, 0);
  EXPECT_EQ(stream->type, 0x6D6D7374u);
  EXPECT_EQ(Read(stream, 10), "");
  EXPECT_EQ(Stream_Error(stream), Error_None);
  EXPECT_EQ(Stream_FindType(stream, StreamType_File), nullptr);
  EXPECT_EQ(Stream_Delete(stream), Error_None);
}

TEST(MemoryStream, HasNothingToRead_BeforeItsBlockIsWrittenTo) {
  Stream* stream = NewOver("initial");
  EXPECT_EQ(Read(stream, 10), "");
  Stream_Delete(stream);
}

TEST(MemoryStream, OverwritesItsBlockWhileTheSizeGrows) {
  Stream* stream = NewOver("0123456789");
  EXPECT_EQ(Write(stream, "abc"), 3u);
  EXPECT_EQ(Read(stream, 2), "ab");
  EXPECT_EQ(Write(stream, "de"), 2u);
  EXPECT_EQ(Read(stream, 100), "cde");
  EXPECT_EQ(Read(stream, 100), "");
  const Result result = Delete(stream);
  EXPECT_EQ(result.status, Error_None);
  EXPECT_EQ(result.length, 15u);
  EXPECT_EQ(result.bytes, "abcde56789" + Zeros(5));
  Memory_Delete(result.data);
}

TEST(MemoryStream, IgnoresALengthWithoutABlock) {
  Stream* stream = MemoryStream_New(nullptr, 50);
  EXPECT_EQ(Delete(stream).length, 0u);
  Stream_Delete(stream);
}

TEST(MemoryStream, ReadsNoFurtherThanItsBlock_WhenMoreWasWritten) {
  Stream* stream = NewOver("0123456789");
  EXPECT_EQ(Write(stream, "abcdefghijKLMN"), 14u);
  EXPECT_EQ(Read(stream, 4), "abcd");
  EXPECT_EQ(Read(stream, 100), "efghij");
  EXPECT_EQ(Read(stream, 100), "");
  EXPECT_EQ(Write(stream, std::string(2000, 'x')), 2000u);
  EXPECT_EQ(Read(stream, 100), "");
  const Result result = Delete(stream);
  EXPECT_EQ(result.length, 2024u);
  EXPECT_EQ(result.bytes, "abcdefghij" + Zeros(2014));
  Memory_Delete(result.data);
}

TEST(MemoryStream, FillsItsBlockExactly) {
  Stream* stream = NewOver("0123456789");
  EXPECT_EQ(Write(stream, "abcdefghij"), 10u);
  EXPECT_EQ(Read(stream, 100), "abcdefghij");
  EXPECT_EQ(Write(stream, ""), 0u);
  EXPECT_EQ(Write(stream, "k"), 1u);
  EXPECT_EQ(Read(stream, 100), "");
  Stream_Delete(stream);
}

TEST(MemoryStream, TakesABlockOfNoBytes) {
  Stream* stream = MemoryStream_New(Memory_New(1), 0);
  EXPECT_EQ(Read(stream, 5), "");
  EXPECT_EQ(Write(stream, "abc"), 3u);
  EXPECT_EQ(Read(stream, 5), "");
  const Result result = Delete(stream);
  EXPECT_EQ(result.length, 3u);
  EXPECT_EQ(result.bytes, Zeros(3));
  Memory_Delete(result.data);
}

TEST(MemoryStream, GivesAWholeChunkToRead_WhenItStartedEmpty) {
  Stream* stream = MemoryStream_New(nullptr, 0);
  EXPECT_EQ(Write(stream, "abc"), 3u);
  EXPECT_EQ(Read(stream, 5), "abc" + Zeros(2));
  EXPECT_EQ(Write(stream, "de"), 2u);
  EXPECT_EQ(Read(stream, 2000), Zeros(1019));
  EXPECT_EQ(Read(stream, 1), "");
  Stream_Delete(stream);
}

TEST(MemoryStream, GivesTheFirstChunkOnly_WhenItStartedEmpty) {
  Stream* stream = MemoryStream_New(nullptr, 0);
  EXPECT_EQ(Write(stream, std::string(1000, 'a')), 1000u);
  EXPECT_EQ(Write(stream, std::string(24 + 5000, 'b')), 5024u);
  EXPECT_EQ(Write(stream, std::string(3000, 'c')), 3000u);
  EXPECT_EQ(Read(stream, 10000), std::string(1000, 'a') + std::string(24, 'b'));
  EXPECT_EQ(Read(stream, 10000), "");
  Stream_Delete(stream);
}

TEST(MemoryStream, MakesAChunkAsLargeAsTheWrite) {
  Stream* stream = MemoryStream_New(nullptr, 0);
  EXPECT_EQ(Write(stream, std::string(5000, 'a')), 5000u);
  EXPECT_EQ(Read(stream, 10000), std::string(5000, 'a'));
  Stream_Delete(stream);
}

TEST(MemoryStreamReadAvail, ReportsThatItIsUnimplemented) {
  Stream* stream = NewOver("abc");
  ErrorCapture capture;
  EXPECT_EQ(Stream_ReadAvail(stream), 0u);
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: iMemoryStream_ReadAvail: Unimplemented\n");
  Stream_Delete(stream);
}

TEST(MemoryStreamDelete, HandsTheBlockBack) {
  const int64_t before = iMemory_CountLive();
  Stream* stream = NewOver(std::string(100, 'k'));
  const Result result = Delete(stream);
  EXPECT_EQ(result.status, Error_None);
  EXPECT_EQ(result.length, 100u);
  EXPECT_EQ(result.bytes, std::string(100, 'k'));
  EXPECT_EQ(iMemory_CountLive(), before + 1) << "the stream is gone, the block is not";
  Memory_Delete(result.data);
}

TEST(MemoryStreamDelete, LeavesAnEmptyStreamAlive) {
  Stream* stream = MemoryStream_New(nullptr, 0);
  const int64_t before = iMemory_CountLive();
  const Result result = Delete(stream);
  EXPECT_EQ(result.status, Error_None);
  EXPECT_EQ(result.data, nullptr);
  EXPECT_EQ(result.length, 0u);
  EXPECT_EQ(iMemory_CountLive(), before);
  EXPECT_EQ(Write(stream, "abc"), 3u);
  Stream_Delete(stream);
}

TEST(MemoryStreamDelete, GivesAClearedBlockAndLeavesTheStreamAlive_WhenItStartedEmpty) {
  Stream* stream = MemoryStream_New(nullptr, 0);
  Write(stream, std::string(1500, 'a'));
  Write(stream, "bcd");
  for (int again = 0; again < 2; ++again) {
    const Result result = Delete(stream);
    EXPECT_EQ(result.status, Error_None);
    EXPECT_EQ(result.length, 1503u);
    EXPECT_EQ(result.bytes, Zeros(1503));
    Memory_Delete(result.data);
  }
  EXPECT_EQ(Read(stream, 3), "aaa");
  Stream_Delete(stream);
}

TEST(MemoryStreamDelete, ReturnsFailAndDeletesTheStream_WhenThereIsNoBlockToBeHad) {
  const int64_t before = iMemory_CountLive();
  Stream* stream = MemoryStream_New(nullptr, 0);
  Write(stream, "abc");
  iMemory_FailAllocation(1);
  const Result result = Delete(stream);
  iMemory_FailAllocation(0);
  EXPECT_EQ(result.status, Error_Fail);
  EXPECT_EQ(result.data, nullptr);
  EXPECT_EQ(result.length, 0u);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(MemoryStreamDelete, DeletesTheWrapperThatWasPassed_WhenThereIsNoBlockToBeHad) {
  Stream* stream = MemoryStream_New(nullptr, 0);
  const int64_t before = iMemory_CountLive();
  Stream* wrapper = ReadBufferStream_New(64, stream, 0);
  Write(wrapper, "abc");
  EXPECT_EQ(iMemory_CountLive(), before + 2) << "the wrapper and a chunk";
  iMemory_FailAllocation(1);
  EXPECT_EQ(Delete(wrapper).status, Error_Fail);
  iMemory_FailAllocation(0);
  EXPECT_EQ(iMemory_CountLive(), before + 1) << "the wrapper is gone, the stream is not";
  EXPECT_EQ(Read(stream, 3), "abc");
  Stream_Delete(stream);
}

TEST(MemoryStream, FreesItsBlockAndItsChunks_WhenItIsDeletedAsAStream) {
  const int64_t before = iMemory_CountLive();
  Stream* stream = NewOver("abc");
  Write(stream, std::string(2000, 'x'));
  EXPECT_EQ(Stream_Delete(stream), Error_None);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(MemoryStreamDelete, HandsTheBlockBackAsItIs_WhenItCannotBeResized) {
  Stream* stream = NewOver("0123456789");
  Write(stream, "abc");
  iMemory_FailAllocation(1);
  const Result result = Delete(stream);
  iMemory_FailAllocation(0);
  EXPECT_EQ(result.status, Error_None);
  // 13 bytes were counted; the block has room for 10.
  EXPECT_EQ(result.length, 10u);
  EXPECT_EQ(result.bytes, "abc3456789");
  Memory_Delete(result.data);
}

TEST(MemoryStreamDelete, FindsTheStreamInAWrapper) {
  const int64_t before = iMemory_CountLive();
  Stream* wrapper = ReadBufferStream_New(64, NewOver("abc"), 1);
  const Result result = Delete(wrapper);
  EXPECT_EQ(result.bytes, "abc");
  EXPECT_EQ(iMemory_CountLive(), before + 1);
  Memory_Delete(result.data);
}

TEST(MemoryStreamDelete, LetsGoOfTheBlock_WhenOnlyTheWrapperIsDeleted) {
  Stream* stream = NewOver("abc");
  const Result result = Delete(ReadBufferStream_New(64, stream, 0));
  EXPECT_EQ(result.bytes, "abc");
  Memory_Delete(result.data);
  EXPECT_EQ(Read(stream, 10), "");
  EXPECT_EQ(Write(stream, "defg"), 4u);
  EXPECT_EQ(Read(stream, 4), "defg");
  // It behaves like one that started empty: asked for its bytes again, it stays alive.
  const Result again = Delete(stream);
  EXPECT_EQ(again.status, Error_None);
  EXPECT_EQ(again.bytes, Zeros(7));
  Memory_Delete(again.data);
  EXPECT_EQ(Read(stream, 1), Zeros(1));
  Stream_Delete(stream);
}

TEST(MemoryStream, ReadsAndWritesNothingWithoutABuffer) {
  Stream* stream = NewOver("0123456789");
  EXPECT_EQ(Stream_Write(stream, 20, nullptr), 0u);
  EXPECT_EQ(Write(stream, "abc"), 3u);
  EXPECT_EQ(Stream_Read(stream, 2, nullptr), 0u);
  EXPECT_EQ(Read(stream, 10), "abc");
  const Result result = Delete(stream);
  EXPECT_EQ(result.bytes, "abc3456789" + Zeros(3));
  Memory_Delete(result.data);
}

TEST(MemoryStreamDelete, RefusesAnotherStream) {
  Stream* other = SizeStream_New();
  const Result result = Delete(other);
  EXPECT_EQ(result.status, Error_Invalid);
  EXPECT_EQ(result.data, nullptr);
  EXPECT_EQ(result.length, 0u);
  EXPECT_EQ(Delete(nullptr).status, Error_Invalid);
  Stream_Delete(other);
}

TEST(MemoryStreamDelete, RefusesNullOutputs) {
  Stream* stream = NewOver("abc");
  void* data = &data;
  uint32_t length = 5;
  EXPECT_EQ(MemoryStream_Delete(stream, nullptr, &length), Error_Invalid);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(MemoryStream_Delete(stream, &data, nullptr), Error_Invalid);
  EXPECT_EQ(data, nullptr);
  const Result result = Delete(stream);
  EXPECT_EQ(result.bytes, "abc");
  Memory_Delete(result.data);
}

TEST(MemoryStreamMemory, LeavesTheBlockToTheCaller_WhenTheStreamCannotBeMade) {
  void* block = Memory_New(4);
  for (int64_t n = 1; n <= 2; ++n) {
    const int64_t before = iMemory_CountLive();
    iMemory_FailAllocation(n);
    EXPECT_EQ(MemoryStream_New(block, 4), nullptr);
    iMemory_FailAllocation(0);
    EXPECT_EQ(iMemory_CountLive(), before);
  }
  Memory_Delete(block);
}

TEST(MemoryStreamMemory, WritesZero_WhenAChunkCannotBeHad) {
  Stream* stream = NewOver("0123");
  iMemory_FailAllocation(1);
  EXPECT_EQ(Write(stream, "abcdef"), 0u);
  iMemory_FailAllocation(0);
  // What fitted was taken.
  EXPECT_EQ(Read(stream, 10), "abcd");
  EXPECT_EQ(Write(stream, "ef"), 2u);
  const Result result = Delete(stream);
  EXPECT_EQ(result.length, 10u);
  EXPECT_EQ(result.bytes, "abcd" + Zeros(6));
  Memory_Delete(result.data);
}

TEST(MemoryStreamMemory, SurvivesEveryFailure) {
  FailEveryAllocation([] {
    Stream* stream = MemoryStream_New(nullptr, 0);
    if (stream == nullptr) return;
    for (uint32_t count : {10u, 2000u, 5000u}) {
      const uint32_t written = Write(stream, std::string(count, 'x'));
      ASSERT_TRUE(written == count || written == 0);
    }
    const Result result = Delete(stream);
    ASSERT_TRUE(result.status == 0 || result.status == -1);
    Memory_Delete(result.data);
    if (result.status == 0) Stream_Delete(stream);
  });
}

}  // namespace
