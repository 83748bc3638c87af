// Copying between streams: chunks, limits, and what each failure gives.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "net/copy_internal.h"
#include "net/sock_testing.h"
#include "qz/error.h"
#include "tests/support/test_stream.h"

namespace {

using Sizes = std::vector<uint32_t>;

// Ends the waits of a test early.
struct ShortWait {
  explicit ShortWait(uint32_t milliseconds) { iSock_SetWaitMilliseconds(milliseconds); }
  ~ShortWait() { iSock_SetWaitMilliseconds(0); }
};

TEST(CopyStream, MovesEverythingInChunksOf4096) {
  const std::string bytes(10000, 'x');
  TestStream source(bytes);
  TestStream destination;
  uint64_t count = 0;
  EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), kNet_NoLimit, &count), Error_None);
  EXPECT_EQ(count, 10000u);
  EXPECT_EQ(destination.written(), bytes);
  EXPECT_EQ(source.readSizes(), (Sizes{4096, 4096, 4096, 4096}));
  EXPECT_EQ(destination.writeSizes(), (Sizes{4096, 4096, 1808}));
}

TEST(CopyStream, StopsAtTheLimit) {
  TestStream source(std::string(10000, 'x'));
  TestStream destination;
  uint64_t count = 0;
  EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), 5000, &count), Error_None);
  EXPECT_EQ(count, 5000u);
  EXPECT_EQ(source.readSizes(), (Sizes{4096, 904}));
}

TEST(CopyStream, MovesNothingForALimitOf0) {
  TestStream source("abc");
  TestStream destination;
  uint64_t count = 7;
  EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), 0, &count), Error_None);
  EXPECT_EQ(count, 0u);
  EXPECT_TRUE(source.readSizes().empty());
}

TEST(CopyStream, GivesEnded_WhenTheSourceStopsBeforeTheLimit) {
  for (ErrorCode end : {Error_Ended, Error_None}) {
    TestStream source("abc");
    source.Gives(end);
    TestStream destination;
    uint64_t count = 0;
    EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), 4, &count), Error_Ended) << end;
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(destination.written(), "abc");
  }
}

TEST(CopyStream, GivesTheStatusOfAFailedRead) {
  for (ErrorCode status : {Error_Retry, Error_Timeout, Error_Cancel, Error_Fail}) {
    for (uint64_t limit : {kNet_NoLimit, uint64_t{10}}) {
      TestStream source("abc");
      source.Gives(status);
      TestStream destination;
      uint64_t count = 0;
      EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), limit, &count), status);
      EXPECT_EQ(count, 3u);
    }
  }
}

TEST(CopyStream, ReadsAgain_WhenTheSourceWouldBlock) {
  TestStream source("abc");
  source.Gives(Error_Block).Gives(Error_Block).Gives("def");
  TestStream destination;
  uint64_t count = 0;
  EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), kNet_NoLimit, &count), Error_None);
  EXPECT_EQ(destination.written(), "abcdef");
}

TEST(CopyStream, GivesTimeout_WhenTheSourceBlocksForTooLong) {
  ShortWait wait(60);
  TestStream source("abc");
  for (int i = 0; i < 1000; ++i) source.Gives(Error_Block);
  TestStream destination;
  uint64_t count = 0;
  EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), kNet_NoLimit, &count), Error_Timeout);
  EXPECT_EQ(count, 3u);
  // It pauses between the attempts.
  EXPECT_LT(source.readSizes().size(), 20u);
}

TEST(CopyStream, WritesOnUntilAChunkIsGone) {
  TestStream source("abcdef");
  TestStream destination;
  destination.Takes(1).Takes(2).Takes(0, Error_Block).Takes(1);
  uint64_t count = 0;
  EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), kNet_NoLimit, &count), Error_None);
  EXPECT_EQ(count, 6u);
  EXPECT_EQ(destination.written(), "abcdef");
  EXPECT_EQ(destination.writeSizes(), (Sizes{6, 5, 3, 3, 2}));
}

TEST(CopyStream, GivesExceed_WhenTheDestinationEnds) {
  TestStream source("abcdef");
  TestStream destination;
  destination.Takes(4).Takes(0, Error_Ended);
  uint64_t count = 0;
  EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), kNet_NoLimit, &count), Error_Exceed);
  EXPECT_EQ(count, 4u);
}

TEST(CopyStream, GivesUpADestinationThatTakesNothing) {
  struct Row {
    ErrorCode status;
    ErrorCode result;
  };
  // A destination that takes nothing and says nothing must not look like success.
  for (const Row& row : {Row{Error_Block, Error_Block}, Row{Error_None, Error_Timeout}}) {
    ShortWait wait(60);
    TestStream source("abcdef");
    TestStream destination;
    destination.Takes(4).TakesNoMore(row.status);
    uint64_t count = 0;
    EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), kNet_NoLimit, &count), row.result);
    EXPECT_EQ(count, 4u);
    EXPECT_GT(destination.writeSizes().size(), 3u);
    EXPECT_LT(destination.writeSizes().size(), 20u);
  }
}

TEST(CopyStream, EndsAtOnce_WhenTheDestinationFails) {
  ShortWait wait(200);
  for (ErrorCode status :
       {Error_Exceed, Error_Retry, Error_Timeout, Error_Cancel, Error_Fail, Error_System}) {
    TestStream source("abcdef");
    TestStream destination;
    destination.Takes(4).TakesNoMore(status);
    uint64_t count = 0;
    EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), kNet_NoLimit, &count), status);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(destination.writeSizes(), (Sizes{6, 2})) << status;
  }
}

// Takes a byte, and would block for so long before it takes the next one.
class SlowTaker {
 public:
  explicit SlowTaker(std::chrono::milliseconds pause) : pause_(pause) {
    Stream_Init(0x74657374u, &kOperations, &record_.stream);
    record_.owner = this;
  }
  Stream* stream() { return &record_.stream; }
  const std::string& taken() const { return taken_; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Record {
    Stream stream;
    SlowTaker* owner;
  };

  static SlowTaker& Of(Stream* stream) { return *reinterpret_cast<Record*>(stream)->owner; }
  static uint32_t Read(Stream*, uint32_t, void*) { return 0; }
  static uint32_t Write(Stream* stream, uint32_t, const void* buffer) {
    SlowTaker& self = Of(stream);
    self.isBlocked_ = Clock::now() < self.next_;
    if (self.isBlocked_) return 0;
    self.taken_ += *static_cast<const char*>(buffer);
    self.next_ = Clock::now() + self.pause_;
    return 1;
  }
  static ErrorCode Status(Stream* stream) { return Of(stream).isBlocked_ ? Error_Block : Error_None; }
  static constexpr StreamOperations kOperations = {nullptr, Read, nullptr, Write, Status, nullptr};

  Record record_{};
  const std::chrono::milliseconds pause_;
  Clock::time_point next_;
  std::string taken_;
  bool isBlocked_ = false;
};

// Three pauses, each after a byte that was taken: longer than the limit in all, but never without a byte for
// so long.
TEST(CopyStream, CountsTheTimeFromTheLastByteThatWasTaken) {
  ShortWait wait(1500);
  TestStream source("abcd");
  SlowTaker destination(std::chrono::milliseconds(600));
  uint64_t count = 0;
  EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), kNet_NoLimit, &count), Error_None);
  EXPECT_EQ(destination.taken(), "abcd");
}

TEST(CopyStream, TellsWhichSideFailed) {
  struct Row {
    ErrorCode readStatus;
    ErrorCode writeStatus;
    uint64_t limit;
    NetCopySide failed;
  };
  for (const Row& row : {Row{Error_Ended, Error_None, kNet_NoLimit, NetCopySide::None},
                         Row{Error_Ended, Error_None, 3, NetCopySide::None},
                         Row{Error_Ended, Error_None, 4, NetCopySide::Source},
                         Row{Error_Retry, Error_None, kNet_NoLimit, NetCopySide::Source},
                         Row{Error_Ended, Error_Exceed, kNet_NoLimit, NetCopySide::Destination},
                         Row{Error_Ended, Error_Ended, 3, NetCopySide::Destination}}) {
    TestStream source("abc");
    source.Gives(row.readStatus);
    TestStream destination;
    if (row.writeStatus != Error_None) destination.TakesNoMore(row.writeStatus);
    NetCopySide failed = NetCopySide::Source;
    iNet_CopyStream(source.stream(), destination.stream(), row.limit, nullptr, NetCopyStall::Retried,
                    &failed);
    EXPECT_EQ(failed, row.failed);
  }
}

TEST(CopyStream, TriesNothingAgain_WhenAStallIsAFailure) {
  struct Row {
    ErrorCode status;
    ErrorCode result;
  };
  for (const Row& row :
       {Row{Error_Retry, 9}, Row{Error_Block, 6}, Row{Error_Exceed, 5}, Row{Error_Timeout, 8},
        Row{Error_Cancel, 7}, Row{Error_Ended, 5}, Row{Error_None, 4}}) {
    for (uint64_t limit : {kNet_NoLimit, uint64_t{6}}) {
      TestStream source("abcdef");
      TestStream destination;
      destination.Takes(4).TakesNoMore(row.status);
      uint64_t count = 0;
      EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), limit, &count, NetCopyStall::Failure),
                row.result);
      EXPECT_EQ(count, 4u);
      EXPECT_EQ(destination.writeSizes(), (Sizes{6, 2}));
    }
  }
  TestStream source("abc");
  source.Gives(Error_Block);
  TestStream destination;
  uint64_t count = 0;
  EXPECT_EQ(
      iNet_CopyStream(source.stream(), destination.stream(), kNet_NoLimit, &count, NetCopyStall::Failure),
      Error_Block);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(source.readSizes().size(), 2u);
}

TEST(CopyStream, NeedsNoCount) {
  TestStream source("abc");
  TestStream destination;
  EXPECT_EQ(iNet_CopyStream(source.stream(), destination.stream(), kNet_NoLimit, nullptr), Error_None);
}

}  // namespace
