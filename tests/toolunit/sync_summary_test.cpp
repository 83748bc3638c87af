// What qz sync tells, and its exit code.
#include "tool/sync_summary.h"

#include <gtest/gtest.h>

#include "qz/error.h"

using tool::ExitCode;
using tool::SyncCounts;
using tool::SyncKind;

namespace {

TEST(SyncCounts, CountEachKindOnce) {
  SyncCounts counts;
  for (const SyncKind kind :
       {SyncKind::Folder, SyncKind::Equal, SyncKind::CopyToSource, SyncKind::CopyToDestination,
        SyncKind::DeleteAtSource, SyncKind::DeleteAtDestination, SyncKind::Conflict, SyncKind::FolderConflict,
        SyncKind::KeptAtSource, SyncKind::KeptAtDestination, SyncKind::ChangedAtSource,
        SyncKind::ChangedAtDestination, SyncKind::NotWhole, SyncKind::Ambiguous, SyncKind::Unclear})
    counts.Count(kind);
  EXPECT_EQ(tool::SummaryText(counts), "2 copied, 2 deleted, 1 equal, 2 conflicts, 7 kept, 0 failed");
  EXPECT_EQ(counts.Files(), 14u);
}

TEST(SyncCounts, AreToldWithTheirWords) {
  SyncCounts counts;
  counts.copied = 1234567;
  counts.conflicts = 1;
  counts.failed = 2;
  EXPECT_EQ(tool::SummaryText(counts), "1,234,567 copied, 0 deleted, 0 equal, 1 conflict, 0 kept, 2 failed");
  EXPECT_EQ(tool::PlanSummaryText(counts),
            "1,234,567 to copy, 0 to delete, 0 equal, 1 conflict, 0 kept, 2 failed");
}

TEST(SyncExitCode, TellsFailuresBeforeConflicts) {
  SyncCounts counts;
  counts.kept = 3;
  EXPECT_EQ(tool::ExitCodeOf(counts), ExitCode::Done);
  counts.conflicts = 1;
  EXPECT_EQ(tool::ExitCodeOf(counts), ExitCode::Conflict);
  counts.failed = 1;
  EXPECT_EQ(tool::ExitCodeOf(counts), ExitCode::Incomplete);
}

TEST(SyncText, OfAPlan) {
  EXPECT_EQ(tool::PlanLine(SyncKind::CopyToDestination, "s/x"), "copy to destination    s/x");
  EXPECT_EQ(tool::PlanLine(SyncKind::CopyToSource, "x"), "copy to source         x");
  EXPECT_EQ(tool::PlanLine(SyncKind::DeleteAtDestination, "x"), "delete at destination  x");
  EXPECT_EQ(tool::PlanLine(SyncKind::DeleteAtSource, "x"), "delete at source       x");
  EXPECT_EQ(tool::PlanLine(SyncKind::Conflict, "x"), "conflict               x");
  EXPECT_EQ(tool::PlanLine(SyncKind::KeptAtDestination, "x"), "kept at destination    x");
  EXPECT_EQ(tool::PlanLine(SyncKind::Equal, "x"), "equal                  x");
}

TEST(SyncText, OfWhatWasDone) {
  EXPECT_EQ(tool::DoneText(SyncKind::CopyToSource, "s/x"), "copied to the source: s/x");
  EXPECT_EQ(tool::DoneText(SyncKind::DeleteAtDestination, "x"), "deleted at the destination: x");
  EXPECT_EQ(tool::DoneText(SyncKind::ChangedAtDestination, "x"), "kept, changed only at the destination: x");
}

TEST(SyncText, OfFailures) {
  EXPECT_EQ(tool::FailureText(SyncKind::CopyToDestination, "x", Error_Retry, false),
            "cannot copy \"x\" to the destination: it has changed meanwhile; run the command again");
  EXPECT_EQ(tool::FailureText(SyncKind::CopyToSource, "x", Error_Exists, false),
            "cannot copy \"x\" to the source: something else has taken the place");
  EXPECT_EQ(tool::FailureText(SyncKind::DeleteAtSource, "x", Error_NoAccess, false),
            "cannot delete \"x\" at the source: access denied");
  EXPECT_EQ(tool::FailureText(SyncKind::DeleteAtDestination, "x", Error_NotFound, false),
            "cannot delete \"x\" at the destination: it is not there any more");
  EXPECT_EQ(tool::FailureText(SyncKind::Folder, "s", Error_NoAccess, false),
            "cannot read the folder \"s\": access denied");
}

TEST(SyncText, OfServersTellsMoreWaysToFail) {
  EXPECT_EQ(tool::SyncStatusText(Error_Retry, true),
            "it has changed meanwhile, or the connection was lost; run the command again");
  EXPECT_EQ(tool::SyncStatusText(Error_Ended, true), "it came incomplete, or the connection was lost");
  EXPECT_EQ(tool::SyncStatusText(Error_Invalid, true), "the server refused it");
  EXPECT_EQ(tool::SyncStatusText(Error_Ended, false), "it came incomplete");
  EXPECT_EQ(tool::SyncStatusText(Error_Invalid, false), "Invalid: Invalid data/address/format");
}

}  // namespace
