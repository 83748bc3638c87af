// ReadBufferStream: which reads reach the wrapped stream, and what is said about its end.
#include "qz/readbufferstream.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "qz/error.h"
#include "qz/file.h"
#include "qz/memorystream.h"
#include "qz/sizestream.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_stream.h"

namespace {

using Counts = std::vector<uint32_t>;

struct Buffered {
  Buffered(uint32_t size, std::initializer_list<std::string> pieces)
      : script(pieces), stream(ReadBufferStream_New(size, script.stream(), 0)) {}
  ~Buffered() { Stream_Delete(stream); }

  std::string Read(uint32_t count) {
    std::string bytes(count, '#');
    bytes.resize(Stream_Read(stream, count, bytes.data()));
    return bytes;
  }

  TestStream script;
  Stream* stream;
};

TEST(ReadBufferStream, ReadsAWholeBufferForASmallRequest) {
  Buffered buffered(512, {std::string(600, 'a')});
  EXPECT_EQ(buffered.Read(100), std::string(100, 'a'));
  EXPECT_EQ(buffered.script.readSizes(), (Counts{512}));
  EXPECT_EQ(buffered.Read(412).size(), 412u);
  EXPECT_EQ(buffered.script.readSizes(), (Counts{512}));
}

TEST(ReadBufferStream, ReadsALargeRequestDirectly) {
  Buffered buffered(512, {std::string(2000, 'a')});
  EXPECT_EQ(buffered.Read(1000).size(), 1000u);
  EXPECT_EQ(buffered.script.readSizes(), (Counts{1000}));
  EXPECT_EQ(buffered.Read(512).size(), 512u);
  EXPECT_EQ(buffered.script.readSizes(), (Counts{1000, 512}));
}

TEST(ReadBufferStream, ReadsTheRestDirectly_WhenItIsABufferOrMore) {
  Buffered buffered(10, {"0123456789", "abcdefghijklmnop"});
  EXPECT_EQ(buffered.Read(4), "0123");
  EXPECT_EQ(buffered.Read(16), "456789abcdefghij");
  EXPECT_EQ(buffered.script.readSizes(), (Counts{10, 10}));
  EXPECT_EQ(buffered.Read(1), "k");
}

TEST(ReadBufferStream, MakesOneDirectReadOnly) {
  Buffered buffered(10, {"0123456789", "abc", "def"});
  EXPECT_EQ(buffered.Read(4), "0123");
  EXPECT_EQ(buffered.Read(20), "456789abc") << "a short direct read ends the request";
  EXPECT_EQ(buffered.script.readSizes(), (Counts{10, 14}));
}

TEST(ReadBufferStream, ReadsARequestOfExactlyTheBufferSizeDirectly) {
  Buffered buffered(4, {"ab", "cd", "ef"});
  EXPECT_EQ(buffered.Read(4), "ab") << "a direct read is not repeated";
  EXPECT_EQ(buffered.Read(3), "cde") << "a request below the size refills";
}

TEST(ReadBufferStream, RefillsUntilTheRequestIsSatisfied) {
  Buffered buffered(10, {"01", "23", "4567"});
  EXPECT_EQ(buffered.Read(6), "012345");
  EXPECT_EQ(buffered.script.readSizes(), (Counts{10, 10, 10}));
  EXPECT_EQ(buffered.Read(2), "67");
}

TEST(ReadBufferStream, GivesWhatCame_WhenARefillBringsNothing) {
  Buffered buffered(10, {"01", "23"});
  EXPECT_EQ(buffered.Read(6), "0123");
  EXPECT_EQ(buffered.script.readSizes(), (Counts{10, 10, 10}));
  EXPECT_EQ(buffered.Read(6), "");
}

TEST(ReadBufferStream, ReadsAgain_WhenMoreComesAfterNothing) {
  Buffered buffered(10, {});
  EXPECT_EQ(buffered.Read(2), "");
  buffered.script.Gives("abc");
  EXPECT_EQ(buffered.Read(2), "ab");
}

TEST(ReadBufferStream, BuffersNothing_WhenItsSizeIsZero) {
  Buffered buffered(0, {"abc"});
  EXPECT_EQ(buffered.Read(1), "a");
  EXPECT_EQ(buffered.Read(5), "bc");
  EXPECT_EQ(buffered.script.readSizes(), (Counts{1, 5}));
}

TEST(ReadBufferStream, ReadsNothingForARequestOfNoBytes) {
  for (const uint32_t size : {4u, 0u}) {
    Buffered buffered(size, {"abc"});
    EXPECT_EQ(buffered.Read(0), "");
    EXPECT_EQ(Stream_Read(buffered.stream, 0, nullptr), 0u);
    EXPECT_TRUE(buffered.script.readSizes().empty());
    EXPECT_EQ(buffered.Read(3), "abc");
    EXPECT_EQ(buffered.Read(0), "");
    EXPECT_EQ(buffered.script.readSizes().size(), 1u);
  }
}

TEST(ReadBufferStream, TakesNoMoreThanItAskedFor_WhenTheWrappedStreamClaimsMore) {
  Buffered refilled(4, {"abcd"});
  refilled.script.SetClaim(0xFFFFFFFFu);
  EXPECT_EQ(refilled.Read(3), "abc");
  EXPECT_EQ(refilled.Read(1), "d");
  EXPECT_EQ(refilled.script.readSizes(), (Counts{4})) << "four bytes are buffered, not more";

  Buffered direct(4, {"0123456789"});
  direct.script.SetClaim(11);
  EXPECT_EQ(direct.Read(10), "0123456789");

  Buffered buffered(4, {"abcd", "efghij"});
  EXPECT_EQ(buffered.Read(1), "a");
  buffered.script.SetClaim(100);
  EXPECT_EQ(buffered.Read(9), "bcdefghij") << "a part from the buffer, the rest directly";
}

TEST(ReadBufferStream, ReadsNothingWithoutABuffer) {
  Buffered buffered(4, {"abcdefgh"});
  EXPECT_EQ(Stream_Read(buffered.stream, 2, nullptr), 0u);
  EXPECT_EQ(Stream_Read(buffered.stream, 6, nullptr), 0u);
  EXPECT_TRUE(buffered.script.readSizes().empty());
  EXPECT_EQ(buffered.Read(1), "a");
  EXPECT_EQ(Stream_Read(buffered.stream, 6, nullptr), 0u);
  EXPECT_EQ(buffered.Read(7), "bcdefgh");
}

TEST(ReadBufferStream, WritesThrough) {
  Buffered buffered(10, {});
  EXPECT_EQ(Stream_Write(buffered.stream, 3, "abc"), 3u);
  EXPECT_EQ(buffered.script.WrittenPieces(), (std::vector<std::string>{"abc"}));
}

TEST(ReadBufferStream, AddsTheBufferedBytesToTheAvailableOnes) {
  Buffered buffered(10, {"abcdef"});
  buffered.script.SetAvailable(100);
  EXPECT_EQ(Stream_ReadAvail(buffered.stream), 100u);
  buffered.Read(2);
  EXPECT_EQ(Stream_ReadAvail(buffered.stream), 104u);
}

TEST(ReadBufferStream, AddsToAnUnknownCountInThirtyTwoBits) {
  Buffered buffered(10, {"abcd"});
  buffered.script.SetAvailable(0xFFFFFFFFu);
  EXPECT_EQ(Stream_ReadAvail(buffered.stream), 0xFFFFFFFFu);
  buffered.Read(1);
  EXPECT_EQ(Stream_ReadAvail(buffered.stream), 2u);
  buffered.Read(2);
  EXPECT_EQ(Stream_ReadAvail(buffered.stream), 0u) << "one byte is buffered";
}

TEST(ReadBufferStreamError, GivesAnyErrorButTheEnd) {
  Buffered buffered(10, {"abc"});
  for (int32_t error : {0, 8, 7, -1, -7}) {
    buffered.script.SetError(error);
    EXPECT_EQ(Stream_Error(buffered.stream), error);
  }
  buffered.Read(2);
  buffered.script.SetError(Error_Timeout);
  EXPECT_EQ(Stream_Error(buffered.stream), Error_Timeout);
}

TEST(ReadBufferStreamError, MasksTheEnd_AfterAPartialRefillOnly) {
  Buffered untouched(4, {});
  untouched.script.SetError(Error_Ended);
  EXPECT_EQ(Stream_Error(untouched.stream), Error_Ended);
  untouched.Read(1);
  EXPECT_EQ(Stream_Error(untouched.stream), Error_Ended);

  Buffered partial(4, {"abc"});
  partial.script.SetError(Error_Ended);
  partial.Read(1);
  EXPECT_EQ(Stream_Error(partial.stream), Error_None);
  partial.Read(2);
  EXPECT_EQ(Stream_Error(partial.stream), Error_None) << "masked even when all buffered bytes are read";
  partial.Read(1);
  EXPECT_EQ(Stream_Error(partial.stream), Error_Ended);

  Buffered full(4, {"abcd"});
  full.script.SetError(Error_Ended);
  full.Read(1);
  EXPECT_EQ(Stream_Error(full.stream), Error_Ended);
}

TEST(ReadBufferStreamError, IsNotChangedByADirectRead) {
  Buffered buffered(4, {"abc", "0123456789"});
  buffered.script.SetError(Error_Ended);
  buffered.Read(3);
  EXPECT_EQ(buffered.Read(10), "0123456789");
  EXPECT_EQ(Stream_Error(buffered.stream), Error_None);
  EXPECT_EQ(buffered.Read(10), "");
  EXPECT_EQ(Stream_Error(buffered.stream), Error_None);
}

TEST(ReadBufferStream, FindsWrappedStreams) {
  TestStream script;
  Stream* inner = ReadBufferStream_New(4, script.stream(), 0);
  Stream* outer = ReadBufferStream_New(4, inner, 1);
  EXPECT_EQ(Stream_FindType(outer, StreamType_ReadBuffer), outer);
  EXPECT_EQ(Stream_FindType(outer, kTestStreamType), script.stream());
  EXPECT_EQ(Stream_FindType(outer, StreamType_File), nullptr);
  EXPECT_EQ(Stream_Delete(outer), Error_None);
  EXPECT_EQ(script.deletions(), 0);
}

TEST(ReadBufferStream, DeletesTheWrappedStreamByItsFlag) {
  TestStream script;
  EXPECT_EQ(Stream_Delete(ReadBufferStream_New(4, script.stream(), 1)), Error_None);
  EXPECT_EQ(script.deletions(), 1);
  EXPECT_EQ(Stream_Delete(ReadBufferStream_New(4, script.stream(), 0)), Error_None);
  EXPECT_EQ(script.deletions(), 1);

  Stream* stream = ReadBufferStream_New(4, script.stream(), 0);
  EXPECT_EQ(ReadBufferStream_SetDeleteStream(stream, -1), Error_None);
  Stream_Delete(stream);
  EXPECT_EQ(script.deletions(), 2);

  stream = ReadBufferStream_New(4, script.stream(), 1);
  EXPECT_EQ(ReadBufferStream_SetDeleteStream(stream, 0), Error_None);
  Stream_Delete(stream);
  EXPECT_EQ(script.deletions(), 2);
}

TEST(ReadBufferStreamSetDeleteStream, RefusesAnyOtherStream) {
  TestStream script;
  Stream* memory = MemoryStream_New(nullptr, 0);
  EXPECT_EQ(ReadBufferStream_SetDeleteStream(script.stream(), 1), Error_Invalid);
  EXPECT_EQ(ReadBufferStream_SetDeleteStream(memory, 1), Error_Invalid);
  EXPECT_EQ(ReadBufferStream_SetDeleteStream(nullptr, 1), Error_Invalid);
  Stream_Delete(memory);
}

TEST(ReadBufferStreamSetDeleteStream, DoesNotLookIntoAWrapper) {
  TestStream script;
  static Stream* wrapped;
  wrapped = ReadBufferStream_New(4, script.stream(), 0);
  static constexpr StreamOperations operations = {
      nullptr, nullptr, nullptr,
      nullptr, nullptr, [](Stream*, uint32_t type) { return Stream_FindType(wrapped, type); }};
  Stream wrapper;
  Stream_Init(0x77726170, &operations, &wrapper);
  EXPECT_EQ(Stream_FindType(&wrapper, StreamType_ReadBuffer), wrapped);
  EXPECT_EQ(ReadBufferStream_SetDeleteStream(&wrapper, 1), Error_Invalid);
  Stream_Delete(wrapped);
  EXPECT_EQ(script.deletions(), 0);
}

TEST(ReadBufferStream, WrapsAFile) {
  TempDir directory;
  File* file = nullptr;
  ASSERT_EQ(File_Open(directory.Name("lines.txt").c_str(), 3, &file), Error_None);
  Stream* wrapped = File_GetStream(file);
  EXPECT_EQ(Stream_WriteFLine(wrapped, "%s", "first"), Error_None);
  EXPECT_EQ(Stream_WriteF(wrapped, "%s", "second"), Error_None);
  File_Seek(file, 0, 0);
  EXPECT_EQ(ReadBufferStream_SetDeleteStream(wrapped, 1), Error_Invalid);

  Stream* stream = ReadBufferStream_New(512, wrapped, 0);
  EXPECT_EQ(Stream_FindType(stream, StreamType_File), wrapped);
  EXPECT_EQ(Stream_GetType(stream, StreamType_File), nullptr);
  EXPECT_EQ(ReadBufferStream_SetDeleteStream(stream, 1), Error_None);
  char line[16];
  uint32_t count = 0;
  EXPECT_EQ(Stream_ReadTo(stream, 2, "\r\n", sizeof line, line, &count), Error_None);
  EXPECT_EQ(std::string(line, count), "first\r\n");
  EXPECT_EQ(Stream_ReadTo(stream, 2, "\r\n", sizeof line, line, &count), Error_Ended);
  EXPECT_EQ(std::string(line, count), "second");
  EXPECT_EQ(Stream_Delete(stream), Error_None);
}

TEST(ReadBufferStream, CountsProgressOnBothStreams) {
  Buffered buffered(10, {"0123456789"});
  static int outer, inner;
  outer = inner = 0;
  Stream_SetIdleMethod(
      buffered.stream, 10, [](void*, uint32_t, uint32_t) { ++outer; }, nullptr);
  Stream_SetProgress(buffered.stream, 0, 10);
  Stream_SetIdleMethod(
      buffered.script.stream(), 10, [](void*, uint32_t, uint32_t) { ++inner; }, nullptr);
  Stream_SetProgress(buffered.script.stream(), 0, 10);
  buffered.Read(3);
  EXPECT_EQ(outer, 3);
  EXPECT_EQ(inner, 10);
}

TEST(ReadBufferStream, GivesClearedBytes_WhenTheWrappedStreamStoresNone) {
  Stream* stream = ReadBufferStream_New(16, SizeStream_New(), 1);
  std::string bytes(5, '#');
  EXPECT_EQ(Stream_Read(stream, 5, bytes.data()), 5u);
  EXPECT_EQ(bytes, std::string(5, '\0'));
  Stream_Delete(stream);
}

TEST(ReadBufferStream, RefusesNoStream) {
  EXPECT_EQ(ReadBufferStream_New(16, nullptr, 0), nullptr);
}

TEST(ReadBufferStreamMemory, LeavesTheWrappedStreamAlone_WhenItCannotBeMade) {
  TestStream script;
  iMemory_FailAllocation(1);
  EXPECT_EQ(ReadBufferStream_New(16, script.stream(), 1), nullptr);
  iMemory_FailAllocation(0);
  EXPECT_EQ(script.deletions(), 0);
}

TEST(ReadBufferStreamMemory, NeedsOneAllocation) {
  TestStream script;
  const int64_t before = iMemory_CountLive();
  Stream* stream = ReadBufferStream_New(4096, script.stream(), 0);
  EXPECT_EQ(iMemory_CountLive(), before + 1);
  Stream_Delete(stream);
  EXPECT_EQ(iMemory_CountLive(), before);
}

}  // namespace
