// The stream core: dispatch, progress, formatted writing and reading to a delimiter.
#include "qz/stream.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "qz/error.h"
#include "qz/readbufferstream.h"
#include "qz/sizestream.h"
#include "tests/support/test_stream.h"

namespace {

using Reports = std::vector<std::pair<uint32_t, uint32_t>>;  // position, total

void Record(void* context, uint32_t position, uint32_t total) {
  static_cast<Reports*>(context)->emplace_back(position, total);
}

// A size stream, which reads and writes any count, with the reports of its progress.
struct ProgressStream {
  ProgressStream(uint32_t steps, uint32_t total) {
    Stream_SetIdleMethod(stream, steps, Record, &reports);
    Stream_SetProgress(stream, 0, total);
  }
  ~ProgressStream() { Stream_Delete(stream); }

  // The reports of one read.
  Reports Read(uint32_t count) {
    reports.clear();
    EXPECT_EQ(Stream_Read(stream, count, nullptr), count);
    return reports;
  }

  Stream* stream = SizeStream_New();
  Reports reports;
};

struct Line {
  ErrorCode status;
  uint32_t count;
  std::string bytes;
};

Line ReadTo(Stream* stream, const std::string& delimiter, uint32_t bufferSize) {
  std::string buffer(bufferSize + 1, '#');
  uint32_t count = 12345;
  const ErrorCode status = Stream_ReadTo(stream, static_cast<uint32_t>(delimiter.size()), delimiter.data(),
                                         bufferSize, buffer.data(), &count);
  EXPECT_EQ(buffer[count], '#') << "something was stored behind the counted bytes";
  return {status, count, buffer.substr(0, count)};
}

// ---- header and dispatch -------------------------------------------------------------------------

TEST(StreamInit, StoresTheTypeAndClearsTheProgress) {
  static constexpr StreamOperations operations{};
  Stream stream;
  memset(&stream, 0xAA, sizeof stream);
  Stream_Init(0x61626364, &operations, &stream);
  EXPECT_EQ(stream.operations, &operations);
  EXPECT_EQ(stream.type, 0x61626364u);
  EXPECT_EQ(stream.progressMethod, nullptr);
  EXPECT_EQ(stream.progressContext, nullptr);
  EXPECT_EQ(stream.progressSteps, 0u);
  EXPECT_EQ(stream.progressPosition, 0u);
  EXPECT_EQ(stream.progressTotal, 0u);
}

TEST(Stream, HasItsTypeCodes) {
  EXPECT_EQ(StreamType_File, 0x66696C65u);
  EXPECT_EQ(StreamType_Sock, 0x736F636Bu);
  EXPECT_EQ(StreamType_Memory, 0x6D6D7374u);
  EXPECT_EQ(StreamType_ReadBuffer, 0x62667373u);
  EXPECT_EQ(StreamType_Size, 0x737A7374u);
}

TEST(Stream, AnswersForEmptySlots) {
  static constexpr StreamOperations operations{};
  Stream stream;
  Stream_Init(0x61626364, &operations, &stream);
  EXPECT_EQ(Stream_ReadAvail(&stream), 0xFFFFFFFFu);
  EXPECT_EQ(Stream_Error(&stream), Error_None);
  EXPECT_EQ(Stream_Delete(&stream), Error_None);
  EXPECT_EQ(Stream_FindType(&stream, StreamType_File), nullptr);
  EXPECT_EQ(Stream_FindType(&stream, 0x61626364), &stream);
}

TEST(Stream, PassesEverythingToTheOperations) {
  TestStream script({"abc"});
  script.SetError(Error_Timeout);
  script.SetAvailable(17);
  script.SetDeleteStatus(Error_Cancel);
  char buffer[8] = {};
  EXPECT_EQ(Stream_Read(script.stream(), 8, buffer), 3u);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(script.readSizes(), (std::vector<uint32_t>{8}));
  EXPECT_EQ(Stream_Write(script.stream(), 2, "xyz"), 2u);
  EXPECT_EQ(script.WrittenPieces(), (std::vector<std::string>{"xy"}));
  EXPECT_EQ(Stream_ReadAvail(script.stream()), 17u);
  EXPECT_EQ(Stream_Error(script.stream()), Error_Timeout);
  EXPECT_EQ(Stream_Delete(script.stream()), Error_Cancel);
  EXPECT_EQ(script.deletions(), 1);
}

TEST(StreamGetType, DoesNotLookAtAWrappedStream) {
  TestStream script;
  Stream* wrapper = ReadBufferStream_New(16, script.stream(), 0);
  EXPECT_EQ(Stream_GetType(wrapper, StreamType_ReadBuffer), wrapper);
  EXPECT_EQ(Stream_GetType(wrapper, kTestStreamType), nullptr);
  EXPECT_EQ(Stream_FindType(wrapper, kTestStreamType), script.stream());
  EXPECT_EQ(Stream_FindType(wrapper, StreamType_ReadBuffer), wrapper);
  EXPECT_EQ(Stream_FindType(wrapper, StreamType_Sock), nullptr);
  Stream_Delete(wrapper);
}

TEST(Stream, RefusesNullPointers) {
  char byte = 0;
  uint32_t count = 5;
  Stream_Init(1, nullptr, nullptr);
  Stream_SetIdleMethod(nullptr, 1, nullptr, nullptr);
  Stream_SetProgress(nullptr, 1, 2);
  EXPECT_EQ(Stream_Write(nullptr, 1, &byte), 0u);
  EXPECT_EQ(Stream_Read(nullptr, 1, &byte), 0u);
  EXPECT_EQ(Stream_ReadAvail(nullptr), 0xFFFFFFFFu);
  EXPECT_EQ(Stream_Error(nullptr), Error_Invalid);
  EXPECT_EQ(Stream_GetType(nullptr, 1), nullptr);
  EXPECT_EQ(Stream_FindType(nullptr, 1), nullptr);
  EXPECT_EQ(Stream_Delete(nullptr), Error_Invalid);
  EXPECT_EQ(Stream_WriteF(nullptr, "%d", 1), Error_Invalid);
  EXPECT_EQ(Stream_WriteFLine(nullptr, "%d", 1), Error_Invalid);
  EXPECT_EQ(Stream_ReadTo(nullptr, 1, "\n", 1, &byte, &count), Error_Invalid);
  EXPECT_EQ(count, 0u);

  TestStream script({"a"});
  const char* noFormat = nullptr;
  EXPECT_EQ(Stream_WriteF(script.stream(), noFormat), Error_Invalid);
  EXPECT_EQ(Stream_WriteFLine(script.stream(), noFormat), Error_Invalid);
  EXPECT_TRUE(script.WrittenPieces().empty());
  EXPECT_EQ(Stream_ReadTo(script.stream(), 1, nullptr, 1, &byte, nullptr), Error_Invalid);
  EXPECT_EQ(Stream_ReadTo(script.stream(), 1, "\n", 1, nullptr, nullptr), Error_Invalid);
  EXPECT_TRUE(script.readSizes().empty());
}

// ---- progress ------------------------------------------------------------------------------------

TEST(StreamProgress, TakesTheSmallerForThePosition) {
  ProgressStream progress(10, 0);
  Stream_SetProgress(progress.stream, 500, 100);
  EXPECT_EQ(progress.stream->progressPosition, 100u);
  EXPECT_EQ(progress.stream->progressTotal, 500u);
  Stream_SetProgress(progress.stream, 7, 9);
  EXPECT_EQ(progress.stream->progressPosition, 7u);
  EXPECT_EQ(progress.stream->progressTotal, 9u);
}

TEST(StreamProgress, ReportsTheStartOfTheStepBefore) {
  ProgressStream progress(10, 1000);
  EXPECT_EQ(progress.Read(250), (Reports{{0, 1000}, {100, 1000}}));
  EXPECT_EQ(progress.Read(50), (Reports{{200, 1000}}));
  EXPECT_EQ(progress.Read(99), Reports{});
  EXPECT_EQ(progress.Read(1), (Reports{{300, 1000}}));
  EXPECT_EQ(progress.Read(0), Reports{});
  EXPECT_EQ(progress.Read(600),
            (Reports{{400, 1000}, {500, 1000}, {600, 1000}, {700, 1000}, {800, 1000}, {900, 1000}}));
}

TEST(StreamProgress, CountsWritesToo) {
  ProgressStream progress(10, 1000);
  EXPECT_EQ(Stream_Write(progress.stream, 250, nullptr), 250u);
  EXPECT_EQ(progress.reports, (Reports{{0, 1000}, {100, 1000}}));
}

TEST(StreamProgress, CountsWhatWasWrittenAndNotWhatWasAsked) {
  TestStream script;
  script.LimitEachWrite(100);
  Reports reports;
  Stream_SetIdleMethod(script.stream(), 10, Record, &reports);
  Stream_SetProgress(script.stream(), 0, 1000);
  EXPECT_EQ(Stream_Write(script.stream(), 500, std::string(500, 'x').data()), 100u);
  EXPECT_EQ(reports, (Reports{{0, 1000}}));
  EXPECT_EQ(script.stream()->progressPosition, 100u);
}

TEST(StreamProgress, RaisesTheTotalBeforeTheStepIsComputed) {
  ProgressStream progress(10, 100);
  // 2000 become the total, so a step is 200.
  EXPECT_EQ(progress.Read(2000), (Reports{{0, 2000},
                                          {200, 2000},
                                          {400, 2000},
                                          {600, 2000},
                                          {800, 2000},
                                          {1000, 2000},
                                          {1200, 2000},
                                          {1400, 2000},
                                          {1600, 2000},
                                          {1800, 2000}}));
  EXPECT_EQ(progress.stream->progressTotal, 2000u);
  EXPECT_EQ(progress.stream->progressPosition, 2000u);
}

TEST(StreamProgress, ComputesTheStepInSinglePrecision) {
  // 1000 / 3 is 333.33334 in single precision, so 1000 lies just below the third boundary.
  ProgressStream progress(3, 1000);
  EXPECT_EQ(progress.Read(333), Reports{});
  EXPECT_EQ(progress.Read(1), (Reports{{0, 1000}}));
  EXPECT_EQ(progress.Read(666), (Reports{{333, 1000}}));
}

TEST(StreamProgress, ComputesBoundariesInDoublePrecision) {
  // A step is 571428544. In single precision 1142857087 would already be two steps, and three steps
  // 1714285568.
  ProgressStream progress(7, 4000000000u);
  EXPECT_EQ(progress.Read(1142857087), (Reports{{0, 4000000000u}}));
  EXPECT_EQ(progress.Read(1), (Reports{{571428544, 4000000000u}}));
  EXPECT_EQ(progress.Read(2857142912u), (Reports{{1142857088, 4000000000u},
                                                 {1714285632, 4000000000u},
                                                 {2285714176u, 4000000000u},
                                                 {2857142720u, 4000000000u},
                                                 {3428571264u, 4000000000u}}));
}

// One byte is read at a position where the precision shows; each row gives the only report. The rows were
// worked out in exact fractions. In single precision none of them reports; with the 64 bits of an x87
// register the first reports nothing and the others a position one lower.
TEST(StreamProgress, ComputesAllButTheStepInExactlyDoublePrecision) {
  const struct {
    uint32_t steps, total, before, report;
  } rows[] = {
      // A step is 1 + 2^-23. 2139095296 / step lies 2^-23 below 2139095041 and is rounded to it.
      {2147483648u, 2147483904u, 2139095295u, 2139095295u},
      // (2^31 - 1) * step lies 2^-23 below 2147483903 and is rounded to it.
      {2147483648u, 2147483904u, 2147483903u, 2147483903u},
      // total / steps lies 2^-56 above 1 + 2^-24; rounded twice it gives a step of 1, rounded once 1 + 2^-23.
      {3238002687u, 3238002880u, 3238002000u, 3238002000u},
      {3238002687u, 3238002880u, 16777300u, 16777300u},
  };
  for (const auto& row : rows) {
    ProgressStream progress(row.steps, row.total);
    Stream_SetProgress(progress.stream, row.before, row.total);
    EXPECT_EQ(progress.Read(1), (Reports{{row.report, row.total}})) << row.before;
  }
}

TEST(StreamProgress, ReportsSeveralTimesAByte_WhenThereAreMoreStepsThanBytes) {
  ProgressStream progress(8, 2);
  EXPECT_EQ(progress.Read(1), (Reports{{0, 2}, {0, 2}, {0, 2}, {0, 2}}));
  EXPECT_EQ(progress.Read(1), (Reports{{1, 2}, {1, 2}, {1, 2}, {1, 2}}));
}

TEST(StreamProgress, WrapsThePositionAtThirtyTwoBits) {
  ProgressStream progress(4, 0xFFFFFFFFu);
  Stream_SetProgress(progress.stream, 0xFFFFFFF0u, 0xFFFFFFFFu);
  EXPECT_EQ(progress.Read(0x20), Reports{});
  EXPECT_EQ(progress.stream->progressPosition, 0x10u);
  EXPECT_EQ(progress.stream->progressTotal, 0xFFFFFFFFu);
}

TEST(StreamProgress, DoesNotMoveThePosition_UnlessAllIsSet) {
  Reports reports;
  Stream* stream = SizeStream_New();
  Stream_SetProgress(stream, 5, 100);
  Stream_Read(stream, 50, nullptr);
  EXPECT_EQ(stream->progressPosition, 5u);

  Stream_SetIdleMethod(stream, 0, Record, &reports);
  Stream_Read(stream, 50, nullptr);
  EXPECT_EQ(stream->progressPosition, 5u);

  Stream_SetIdleMethod(stream, 10, nullptr, &reports);
  Stream_Read(stream, 50, nullptr);
  EXPECT_EQ(stream->progressPosition, 5u);

  Stream_SetIdleMethod(stream, 10, Record, &reports);
  Stream_SetProgress(stream, 0, 0);
  Stream_Read(stream, 50, nullptr);
  EXPECT_EQ(stream->progressPosition, 0u);
  EXPECT_EQ(stream->progressTotal, 0u);
  EXPECT_TRUE(reports.empty());
  Stream_Delete(stream);
}

TEST(StreamProgress, StoresThePositionBeforeItReportsAndFinishesTheRound) {
  struct Changing {
    Stream* stream;
    Reports reports;
    uint32_t positionSeen = 0;
    static void Report(void* context, uint32_t position, uint32_t total) {
      auto* self = static_cast<Changing*>(context);
      self->positionSeen = self->stream->progressPosition;
      self->reports.emplace_back(position, total);
      Stream_SetIdleMethod(self->stream, 0, nullptr, nullptr);
      Stream_SetProgress(self->stream, 1, 3);
    }
  } changing{SizeStream_New(), {}};
  Stream_SetIdleMethod(changing.stream, 10, Changing::Report, &changing);
  Stream_SetProgress(changing.stream, 0, 1000);
  Stream_Read(changing.stream, 250, nullptr);
  EXPECT_EQ(changing.reports, (Reports{{0, 1000}, {100, 1000}}));
  EXPECT_EQ(changing.stream->progressPosition, 1u);
  Stream_Delete(changing.stream);
}

// ---- formatted writing ---------------------------------------------------------------------------

TEST(StreamWriteF, WritesTheTextInOneCall) {
  TestStream script;
  EXPECT_EQ(Stream_WriteF(script.stream(), "%s %d%%", "RETR", 42), Error_None);
  EXPECT_EQ(script.WrittenPieces(), (std::vector<std::string>{"RETR 42%"}));
}

TEST(StreamWriteF, AllowsFourThousandNinetySixCharacters) {
  TestStream script;
  const std::string text(4096, 'x');
  EXPECT_EQ(Stream_WriteF(script.stream(), "%s", text.c_str()), Error_None);
  EXPECT_EQ(script.WrittenPieces(), (std::vector<std::string>{text}));
  EXPECT_EQ(Stream_WriteF(script.stream(), "%sy", text.c_str()), Error_Exceed);
  EXPECT_EQ(Stream_WriteF(script.stream(), "%s", std::string(100000, 'x').c_str()), Error_Exceed);
  EXPECT_EQ(script.WrittenPieces().size(), 1u);
}

TEST(StreamWriteF, CallsTheStreamForAnEmptyText) {
  TestStream script;
  EXPECT_EQ(Stream_WriteF(script.stream(), "%s", ""), Error_None);
  EXPECT_EQ(script.WrittenPieces(), (std::vector<std::string>{""}));
}

TEST(StreamWriteF, GivesTheStreamsError_WhenTheWriteIsShort) {
  TestStream script;
  script.LimitEachWrite(2);
  EXPECT_EQ(Stream_WriteF(script.stream(), "abc"), Error_Ended);
  script.SetError(Error_Timeout);
  EXPECT_EQ(Stream_WriteF(script.stream(), "abc"), Error_Timeout);
  EXPECT_EQ(Stream_WriteFLine(script.stream(), "abc"), Error_Timeout);
  EXPECT_EQ(script.WrittenPieces(), (std::vector<std::string>{"ab", "ab", "ab"}));
}

TEST(StreamWriteF, TakesATextThatIsNoFormat) {
  TestStream script;
  EXPECT_EQ(Stream_WriteF(script.stream(), "%s", "%n%s%d"), Error_None);
  EXPECT_EQ(Stream_WriteFLine(script.stream(), "%s", "100%"), Error_None);
  EXPECT_EQ(script.WrittenPieces(), (std::vector<std::string>{"%n%s%d", "100%\r\n"}));
}

TEST(StreamWriteFLine, AppendsCrLfInTheSameCall) {
  TestStream script;
  EXPECT_EQ(Stream_WriteFLine(script.stream(), "USER %s", "me"), Error_None);
  EXPECT_EQ(Stream_WriteFLine(script.stream(), "%s", ""), Error_None);
  EXPECT_EQ(script.WrittenPieces(), (std::vector<std::string>{"USER me\r\n", "\r\n"}));
}

TEST(StreamWriteFLine, AllowsFourThousandNinetyFourCharacters) {
  TestStream script;
  const std::string text(4094, 'x');
  EXPECT_EQ(Stream_WriteFLine(script.stream(), "%s", text.c_str()), Error_None);
  EXPECT_EQ(script.WrittenPieces(), (std::vector<std::string>{text + "\r\n"}));
  EXPECT_EQ(Stream_WriteFLine(script.stream(), "%sy", text.c_str()), Error_Exceed);
  EXPECT_EQ(Stream_WriteFLine(script.stream(), "%syz", text.c_str()), Error_Exceed);
  EXPECT_EQ(script.WrittenPieces().size(), 1u);
}

// ---- reading to a delimiter ----------------------------------------------------------------------

TEST(StreamReadTo, StoresTheDelimiterToo) {
  TestStream script({"ab\r\nrest"});
  const Line line = ReadTo(script.stream(), "\r\n", 100);
  EXPECT_EQ(line.status, Error_None);
  EXPECT_EQ(line.count, 4u);
  EXPECT_EQ(line.bytes, "ab\r\n");
}

TEST(StreamReadTo, TakesNothingBehindTheDelimiter) {
  TestStream script({"ab\r\nrest"});
  ReadTo(script.stream(), "\r\n", 100);
  EXPECT_EQ(script.readSizes(), (std::vector<uint32_t>{1, 1, 1, 1}));
  EXPECT_EQ(script.Rest(), "rest");
}

TEST(StreamReadTo, ReturnsExceed_WhenTheBufferIsFullBeforeTheDelimiter) {
  TestStream script({"ab\r\n"});
  const Line line = ReadTo(script.stream(), "\r\n", 3);
  EXPECT_EQ(line.status, Error_Exceed);
  EXPECT_EQ(line.count, 3u);
  EXPECT_EQ(line.bytes, "ab\r");
  EXPECT_EQ(script.readSizes().size(), 3u) << "the buffer is looked at before another byte is read";
}

TEST(StreamReadTo, FillsTheBufferWithTheDelimitersLastByte) {
  TestStream script({"ab\r\n"});
  EXPECT_EQ(ReadTo(script.stream(), "\r\n", 4).status, Error_None);
}

TEST(StreamReadTo, ReadsNothingIntoABufferOfNoBytes) {
  TestStream script({"ab"});
  EXPECT_EQ(ReadTo(script.stream(), "\n", 0).status, Error_Exceed);
  uint32_t count = 12345;
  EXPECT_EQ(Stream_ReadTo(script.stream(), 1, "\n", 0, nullptr, &count), Error_Exceed);
  EXPECT_EQ(count, 0u);
  char untouched[] = "old";
  EXPECT_EQ(Stream_ReadTo(script.stream(), 1, "\n", 0, untouched, nullptr), Error_Exceed);
  EXPECT_STREQ(untouched, "old");
  EXPECT_TRUE(script.readSizes().empty());
}

TEST(StreamReadTo, ReadsNothingForAnEmptyDelimiter) {
  TestStream script({"ab"});
  const Line line = ReadTo(script.stream(), "", 100);
  EXPECT_EQ(line.status, Error_None);
  EXPECT_EQ(line.count, 0u);
  EXPECT_TRUE(script.readSizes().empty());
  EXPECT_EQ(Stream_ReadTo(script.stream(), 0, nullptr, 0, nullptr, nullptr), Error_None);
}

TEST(StreamReadTo, ReturnsEndedWithWhatCame_WhenTheInputEnds) {
  TestStream script({"abc"});
  const Line line = ReadTo(script.stream(), "\n", 100);
  EXPECT_EQ(line.status, Error_Ended);
  EXPECT_EQ(line.bytes, "abc");
}

TEST(StreamReadTo, ReturnsTheStreamsError) {
  TestStream script({"abc"});
  script.SetError(Error_Timeout);
  const Line line = ReadTo(script.stream(), "\n", 100);
  EXPECT_EQ(line.status, Error_Timeout);
  EXPECT_EQ(line.count, 3u);
}

TEST(StreamReadTo, DoesNotCompareABreakingByteAgain) {
  // The second CR breaks the match and is not taken for a new beginning.
  TestStream script({"a\r\r\nb\r\n"});
  EXPECT_EQ(ReadTo(script.stream(), "\r\n", 100).bytes, "a\r\r\nb\r\n");
  TestStream tripled({"\r\r\r\n\r\n"});
  EXPECT_EQ(ReadTo(tripled.stream(), "\r\n", 100).bytes, "\r\r\r\n");
}

TEST(StreamReadTo, NeedsAllBytesInARow) {
  TestStream script({"\rx\n\r\n"});
  EXPECT_EQ(ReadTo(script.stream(), "\r\n", 100).bytes, "\rx\n\r\n");
}

TEST(StreamReadTo, FindsAZeroByte) {
  TestStream script({std::string("ab\0cd", 5)});
  EXPECT_EQ(ReadTo(script.stream(), std::string(1, '\0'), 100).bytes, std::string("ab\0", 3));
}

TEST(StreamReadTo, ComparesBytesAboveTheLetters) {
  TestStream script({"a\x7F\xFF\x80z"});
  EXPECT_EQ(ReadTo(script.stream(), "\xFF\x80", 100).bytes, "a\x7F\xFF\x80");
}

TEST(StreamReadTo, ReadsAcrossShortReads) {
  TestStream script({"a", "b\r", "\n"});
  EXPECT_EQ(ReadTo(script.stream(), "\r\n", 100).bytes, "ab\r\n");
}

TEST(StreamReadTo, CountsProgressByteByByte) {
  TestStream script({"abcd\n"});
  Reports reports;
  Stream_SetIdleMethod(script.stream(), 5, Record, &reports);
  Stream_SetProgress(script.stream(), 0, 5);
  ReadTo(script.stream(), "\n", 100);
  EXPECT_EQ(reports, (Reports{{0, 5}, {1, 5}, {2, 5}, {3, 5}, {4, 5}}));
}

TEST(StreamReadTo, ReadsThroughAStreamThatStoresNothing) {
  // A size stream stores no byte; what is compared is a zero and never what happened to lie there.
  Stream* stream = SizeStream_New();
  EXPECT_EQ(ReadTo(stream, std::string(2, '\0'), 10).bytes, std::string(2, '\0'));
  EXPECT_EQ(ReadTo(stream, "\n", 10).status, Error_Exceed);
  Stream_Delete(stream);
}

}  // namespace
