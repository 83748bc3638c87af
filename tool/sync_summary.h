// What a synchronisation tells of its files, and its exit code. Pure.
#ifndef TOOL_SYNC_SUMMARY_H
#define TOOL_SYNC_SUMMARY_H

#include <cstdint>
#include <string>

#include "qz/types.h"
#include "tool/failure.h"
#include "tool/sync_plan.h"

namespace tool {

struct SyncCounts {
  std::uint64_t copied = 0;
  std::uint64_t deleted = 0;
  std::uint64_t equal = 0;
  std::uint64_t conflicts = 0;
  std::uint64_t fileConflicts = 0;  // of them those of two files, which --force settles
  std::uint64_t kept = 0;
  std::uint64_t failed = 0;

  void Count(SyncKind kind);  // folders count for nothing
  std::uint64_t Files() const { return copied + deleted + equal + conflicts + kept; }
};

// "3 copied, 1 deleted, 120 equal, 0 conflicts, 2 kept, 0 failed".
std::string SummaryText(const SyncCounts& counts);
// "3 to copy, 1 to delete, ...".
std::string PlanSummaryText(const SyncCounts& counts);

// Failed files before conflicts.
ExitCode ExitCodeOf(const SyncCounts& counts);

// A line of a plan: "copy to destination    photos/a.jpg".
std::string PlanLine(SyncKind kind, const std::string& path);
// What was done: "copied to the destination: photos/a.jpg".
std::string DoneText(SyncKind kind, const std::string& path);
// What is left as it is, and why: "kept, only at the destination: photos/a.jpg".
std::string LeftText(SyncKind kind, const std::string& path);
// What could not be done: "cannot copy "photos/a.jpg" to the destination: it has changed meanwhile".
// hasServer: whether a side is a server, which has more ways to fail.
std::string FailureText(SyncKind kind, const std::string& path, ErrorCode status, bool hasServer);

// What a status means to somebody who synchronises: "access denied".
std::string SyncStatusText(ErrorCode status, bool hasServer);

}  // namespace tool

#endif
