// Copying and moving in steps.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/file/file_testing.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/stream.h"
#include "tests/support/copying_test.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/failing_close.h"
#include "tests/support/file_system.h"

namespace {

namespace fs = std::filesystem;

class FileCopyTest : public CopyingTest {};

TEST_F(FileCopyTest, CopiesInChunks) {
  const std::string bytes = Pattern(10000);
  directory_.Write("f", bytes);
  ASSERT_EQ(Start("f", "g"), Error_None);
  ASSERT_NE(copy_, nullptr);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  EXPECT_NE(copy_, nullptr);
  EXPECT_EQ(directory_.Size("g"), 4096u);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  EXPECT_EQ(directory_.Size("g"), 8192u);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_EQ(directory_.Read("g"), bytes);
  EXPECT_EQ(directory_.Read("f"), bytes);
}

TEST_F(FileCopyTest, EndsInTheCallThatMovesTheLastByte) {
  const std::pair<size_t, int> rows[] = {{0, 1}, {1, 1}, {4096, 1}, {4097, 2}, {8192, 2}};
  for (const auto& [size, expectedCalls] : rows) {
    directory_.Write("f", Pattern(size));
    ASSERT_EQ(Start("f", "g"), Error_None);
    int calls = 0;
    EXPECT_EQ(Run(&calls), Error_None);
    EXPECT_EQ(calls, expectedCalls) << size;
    EXPECT_EQ(directory_.Read("g"), Pattern(size)) << size;
    fs::remove(directory_.SystemName("g"));
  }
}

TEST_F(FileCopyTest, TakesLargeChunksOnlyAboveTwoMegabytesAndAByte) {
  const std::pair<size_t, uint64_t> rows[] = {{2097152, 4096}, {2097153, 4096}, {2097154, 1048576}};
  for (const auto& [size, firstChunk] : rows) {
    directory_.Write("f", Pattern(size));
    ASSERT_EQ(Start("f", "g"), Error_None);
    EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
    EXPECT_EQ(directory_.Size("g"), firstChunk) << size;
    EXPECT_EQ(Run(), Error_None);
    EXPECT_EQ(directory_.Read("g"), Pattern(size));
    fs::remove(directory_.SystemName("g"));
  }
}

TEST_F(FileCopyTest, HalvesTheChunkWithoutMemory) {
  directory_.Write("f", Pattern(3000000));
  // The first allocation of a start is the record with its chunk.
  iMemory_FailAllocation(1);
  ASSERT_EQ(Start("f", "g"), Error_None);
  iMemory_FailAllocation(0);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  EXPECT_EQ(directory_.Size("g"), 524288u);
  EXPECT_EQ(Run(), Error_None);
  EXPECT_EQ(directory_.Read("g"), Pattern(3000000));
}

TEST_F(FileCopyTest, FailsCleanlyWithoutMemory) {
  directory_.Write("f", Pattern(5000));
  FailEveryAllocation([&] {
    const ErrorCode status = Start("f", "g");
    EXPECT_TRUE(status == Error_None || (status == Error_Memory && copy_ == nullptr)) << status;
    EXPECT_EQ(Run(), Error_None);
    EXPECT_EQ(directory_.Exists("g"), status == Error_None);
    fs::remove(directory_.SystemName("g"));
  });
}

TEST_F(FileCopyTest, ReportsProgress) {
  directory_.Write("f", Pattern(4096 * 4));
  ASSERT_EQ(Start("f", "g"), Error_None);
  EXPECT_TRUE(reports_.empty());
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  // 100 steps of 163.84 bytes: a quarter of the file crosses 25 of them.
  ASSERT_EQ(reports_.size(), 25u);
  EXPECT_EQ(reports_[0], (std::pair<uint32_t, uint32_t>{0, 16384}));
  EXPECT_EQ(reports_[1], (std::pair<uint32_t, uint32_t>{163, 16384}));
  EXPECT_EQ(reports_[24], (std::pair<uint32_t, uint32_t>{3932, 16384}));
  EXPECT_EQ(Run(), Error_None);
  EXPECT_EQ(reports_.size(), 100u);
}

TEST_F(FileCopyTest, NeedsNoProgressMethod) {
  directory_.Write("f", Pattern(5000));
  EXPECT_EQ(
      File_CopyStart(directory_.Name("f").c_str(), directory_.Name("g").c_str(), 0, nullptr, nullptr, &copy_),
      Error_None);
  EXPECT_EQ(Run(), Error_None);
  EXPECT_EQ(directory_.Read("g"), Pattern(5000));
}

TEST_F(FileCopyTest, CopiesIntoADirectoryUnderTheSourcesName) {
  directory_.Write("f", "abc");
  directory_.MakeDirectory("d");
  ASSERT_EQ(Start("f", "d"), Error_None);
  EXPECT_EQ(Run(), Error_None);
  EXPECT_EQ(directory_.Read("d/f"), "abc");
}

TEST_F(FileCopyTest, ReplacesNothing) {
  directory_.Write("f", "abc");
  directory_.Write("g", "xyz");
  directory_.MakeDirectory("d");
  directory_.Write("d/f", "mine");
  EXPECT_EQ(Start("f", "g"), Error_Exists);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_EQ(Start("f", "d"), Error_Exists);
  EXPECT_EQ(Start("f", "f"), Error_Exists);
  // Into its own directory, the copy would be the source itself.
  EXPECT_EQ(
      File_CopyStart(directory_.Name("f").c_str(), directory_.Name().c_str(), 0, nullptr, nullptr, &copy_),
      Error_Exists);
  EXPECT_EQ(directory_.Read("f"), "abc");
  EXPECT_EQ(directory_.Read("g"), "xyz");
  EXPECT_EQ(directory_.Read("d/f"), "mine");
}

TEST_F(FileCopyTest, ReplacesNoDirectoryUnderTheSourcesName) {
  directory_.Write("f", "abc");
  directory_.MakeDirectory("d/f");
  EXPECT_EQ(Start("f", "d"), Error_Exists);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_TRUE(directory_.List("d/f").empty());
}

TEST_F(FileCopyTest, RefusesWhatCannotBeCopied) {
  directory_.MakeDirectory("d");
  directory_.Write("f", "abc");
  EXPECT_EQ(Start("missing", "g"), Error_NotFound);
  EXPECT_EQ(Start("d", "g"), Error_Invalid);
  EXPECT_EQ(Start("f", "missing/g"), Error_Fail);
  EXPECT_EQ(File_CopyStart(nullptr, "g", 0, nullptr, nullptr, &copy_), Error_Invalid);
  EXPECT_EQ(File_CopyStart("f", nullptr, 0, nullptr, nullptr, &copy_), Error_Invalid);
  EXPECT_EQ(File_CopyStart("f", "g", 0, nullptr, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(File_CopyStart(directory_.Name("f").c_str(), std::string(1024, 'a').c_str(), 0, nullptr, nullptr,
                           &copy_),
            Error_Exceed);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_FALSE(directory_.Exists("g"));
}

TEST_F(FileCopyTest, RemovesTheCopyWhenAborted) {
  directory_.Write("f", Pattern(10000));
  ASSERT_EQ(Start("f", "g"), Error_None);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  EXPECT_TRUE(directory_.Exists("g"));
  File_CopyAbort(&copy_);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_FALSE(directory_.Exists("g"));
  EXPECT_EQ(directory_.Size("f"), 10000u);
}

TEST_F(FileCopyTest, IgnoresNull) {
  FileCopy* none = nullptr;
  EXPECT_EQ(File_CopyEnd(&none), Error_None);
  EXPECT_EQ(File_CopyEnd(nullptr), Error_None);
  File_CopyAbort(&none);
  File_CopyAbort(nullptr);
}

TEST_F(FileCopyTest, EndsWhenTheSourceIsCut) {
  directory_.Write("f", Pattern(10000));
  ASSERT_EQ(Start("f", "g"), Error_None);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  fs::resize_file(directory_.SystemName("f"), 5000);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_Ended);
  ASSERT_NE(copy_, nullptr);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_Ended);
  File_CopyAbort(&copy_);
  EXPECT_FALSE(directory_.Exists("g"));
  EXPECT_TRUE(directory_.Exists("f"));
}

// ---- moving ------------------------------------------------------------------------------------

TEST_F(FileCopyTest, RenamesWithinOneRoot) {
  directory_.Write("f", "abc");
  EXPECT_EQ(Start("f", "g", 1), Error_None);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_FALSE(directory_.Exists("f"));
  EXPECT_EQ(directory_.Read("g"), "abc");
}

TEST_F(FileCopyTest, GivesTheRenamesStatus) {
  directory_.Write("f", "abc");
  directory_.Write("g", "xyz");
  EXPECT_EQ(Start("missing", "h", 1), Error_NotFound);
  EXPECT_EQ(Start("f", "g", 1), Error_Fail);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_EQ(directory_.Read("f"), "abc");
  EXPECT_EQ(directory_.Read("g"), "xyz");
}

TEST_F(FileCopyTest, RenamesIntoNoDirectory) {
  directory_.Write("f", "abc");
  directory_.MakeDirectory("d");
  EXPECT_LT(Start("f", "d", 1), Error_None);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_EQ(directory_.Read("f"), "abc");
  EXPECT_TRUE(directory_.List("d").empty());
}

TEST_F(FileCopyTest, ComparesRootsWithoutCase) {
  directory_.Write("f", "abc");
  // A rename finds no directory; a copy could not open its file.
  const std::string to = kIsWindows ? "/c|/qz-missing/g" : "/TMP/qz-missing/g";
  EXPECT_EQ(File_CopyStart(directory_.Name("f").c_str(), to.c_str(), 1, nullptr, nullptr, &copy_),
            Error_NotFound);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_EQ(directory_.Read("f"), "abc");
}

// The same place by a name with another root.
std::string UnderAnotherRoot(const std::string& name) {
  return kIsWindows ? name.substr(3) : "/." + name;
}

TEST_F(FileCopyTest, CopiesBetweenRootsAndThenRemovesTheSource) {
  directory_.Write("f", Pattern(5000));
  ASSERT_EQ(File_CopyStart(directory_.Name("f").c_str(), UnderAnotherRoot(directory_.Name("g")).c_str(), 1,
                           nullptr, nullptr, &copy_),
            Error_None);
  ASSERT_NE(copy_, nullptr);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  EXPECT_TRUE(directory_.Exists("f"));
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_FALSE(directory_.Exists("f"));
  EXPECT_EQ(directory_.Read("g"), Pattern(5000));
}

TEST_F(FileCopyTest, KeepsTheSourceOfAMoveThatIsAborted) {
  directory_.Write("f", Pattern(5000));
  ASSERT_EQ(File_CopyStart(directory_.Name("f").c_str(), UnderAnotherRoot(directory_.Name("g")).c_str(), 1,
                           nullptr, nullptr, &copy_),
            Error_None);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  File_CopyAbort(&copy_);
  EXPECT_EQ(directory_.Read("f"), Pattern(5000));
  EXPECT_FALSE(directory_.Exists("g"));
}

TEST_F(FileCopyTest, KeepsTheSourceOfAMoveWhoseTargetCannotBeClosedWell) {
  directory_.Write("f", Pattern(5000));
  ASSERT_EQ(File_CopyStart(directory_.Name("f").c_str(), UnderAnotherRoot(directory_.Name("g")).c_str(), 1,
                           nullptr, nullptr, &copy_),
            Error_None);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  ErrorCode status;
  {
    const FailingClose failing;
    status = File_CopyEnd(&copy_);
  }
  EXPECT_EQ(status, Error_Fail);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_EQ(directory_.Read("f"), Pattern(5000));
  EXPECT_FALSE(directory_.Exists("g"));
}

TEST_F(FileCopyTest, LeavesNoCopyThatCannotBeClosedWell) {
  directory_.Write("f", "abc");
  ASSERT_EQ(Start("f", "g"), Error_None);
  ErrorCode status;
  {
    const FailingClose failing;
    status = File_CopyEnd(&copy_);
  }
  EXPECT_EQ(status, Error_Fail);
  EXPECT_EQ(directory_.Read("f"), "abc");
  EXPECT_FALSE(directory_.Exists("g"));
}

TEST_F(FileCopyTest, RenamesDirectoriesToo) {
  directory_.MakeDirectory("d");
  directory_.Write("d/x", "abc");
  EXPECT_EQ(Start("d", "e", 1), Error_None);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_EQ(directory_.Read("e/x"), "abc");
}

TEST_F(FileCopyTest, TakesRelativeNamesFromTheCurrentDirectory) {
  directory_.Write("f", "abc");
  char original[1024];
  ASSERT_EQ(Directory_GetCurrent(original), Error_None);
  ASSERT_EQ(Directory_SetCurrent(directory_.Name().c_str()), 0);
  EXPECT_EQ(File_CopyStart("f", directory_.Name("g").c_str(), 1, nullptr, nullptr, &copy_), Error_None);
  ASSERT_EQ(Directory_SetCurrent(original), 0);
  EXPECT_EQ(copy_, nullptr);
  EXPECT_EQ(directory_.Read("g"), "abc");
}

TEST_F(FileCopyTest, CopiesForAnyOtherMoveFlag) {
  directory_.Write("f", "abc");
  ASSERT_EQ(Start("f", "g", 2), Error_None);
  ASSERT_NE(copy_, nullptr);
  EXPECT_EQ(Run(), Error_None);
  EXPECT_TRUE(directory_.Exists("f"));
}

TEST_F(FileCopyTest, CopiesAllOfAFileOverFourGigabytes) {
  MakeSparseFile(directory_.SystemName("big"), 0x100001388);  // 4 GiB + 5000
  ASSERT_EQ(Start("big", "copy"), Error_None);
  // By the low 32 bits of the size the copy would end after 5000 bytes, in small chunks.
  for (int i = 0; i < 3; ++i) ASSERT_EQ(File_CopyEnd(&copy_), Error_None);
  EXPECT_NE(copy_, nullptr);
  EXPECT_EQ(directory_.Size("copy"), 3145728u);
  File_CopyAbort(&copy_);
  EXPECT_FALSE(directory_.Exists("copy"));
  EXPECT_TRUE(directory_.Exists("big"));
}

TEST_F(FileCopyTest, TellsHowFarItIs) {
  uint64_t done = 7, total = 7;
  File_GetCopyProgress64(nullptr, &done, &total);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(total, 0u);
  directory_.Write("f", Pattern(5000));
  ASSERT_EQ(Start("f", "g"), Error_None);
  File_GetCopyProgress64(copy_, &done, &total);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(total, 5000u);
  EXPECT_EQ(File_CopyEnd(&copy_), Error_None);
  File_GetCopyProgress64(copy_, &done, nullptr);
  EXPECT_EQ(done, 4096u);
  File_GetCopyProgress64(copy_, nullptr, &total);
  EXPECT_EQ(total, 5000u);
}

// The counters of a stream would begin again at 4 GiB.
TEST_F(FileCopyTest, ReportsHundredthsOfAFileOverFourGigabytes) {
  MakeSparseFile(directory_.SystemName("big"), 0x100001388);  // 4 GiB + 5000
  ASSERT_EQ(Start("big", "copy"), Error_None);
  for (int i = 0; i < 40; ++i) ASSERT_EQ(File_CopyEnd(&copy_), Error_None);
  EXPECT_TRUE(reports_.empty());
  ASSERT_EQ(File_CopyEnd(&copy_), Error_None);  // past 42949722
  EXPECT_EQ(reports_, (Reports{{0, 4294967295u}}));
  uint64_t done = 0, total = 0;
  File_GetCopyProgress64(copy_, &done, &total);
  EXPECT_EQ(done, 42991616u);
  EXPECT_EQ(total, 0x100001388u);
}

TEST_F(FileCopyTest, ReportsAllOnesForAPositionThatDoesNotFit) {
  const struct {
    uint64_t total, before, after;
    Reports reports;
  } rows[] = {
      {5368709120, 0, 53687090, {}},
      {5368709120, 0, 53687092, {{0, 4294967295u}}},
      {5368709120, 53687091, 161061273, {{0, 4294967295u}, {53687091, 4294967295u}}},
      {5368709120, 0, 161061274, {{0, 4294967295u}, {53687091, 4294967295u}, {107374182, 4294967295u}}},
      // Hundredth 80 is 4 GiB.
      {5368709120, 4294967295, 4348654388, {{4241280204u, 4294967295u}, {4294967295u, 4294967295u}}},
      {5368709120, 5315022029, 5368709120, {{4294967295u, 4294967295u}}},
      {21474836480, 21474836479, 21474836480, {{4294967295u, 4294967295u}}},
      {4294967296, 4294967295, 4294967296, {{4252017623u, 4294967295u}}},
      {5368709120, 5368709120, 5368709120, {}},
  };
  for (const auto& row : rows) {
    reports_.clear();
    iFile_ReportCopied(row.total, row.before, row.after, RecordProgress, &reports_);
    EXPECT_EQ(reports_, row.reports) << row.total << " " << row.before;
  }
}

}  // namespace
