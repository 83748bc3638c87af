// One synchronisation: its plan, what the plan is judged by, and its run.
#ifndef TOOL_SYNC_RUN_H
#define TOOL_SYNC_RUN_H

#include <atomic>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "qz/synchro.h"
#include "tool/options.h"
#include "tool/reporter.h"
#include "tool/sync_exclude.h"
#include "tool/sync_pair.h"
#include "tool/sync_plan.h"
#include "tool/sync_summary.h"

namespace tool {

struct SyncTask {
  SyncMode mode = SyncMode::Copy;
  std::string name;
  std::string folder;     // of the tables, in the system's form
  std::string indexPath;  // for messages
  bool areTablesKnown = false;
  std::string urls[2];   // for the library
  std::string shown[2];  // for messages
  bool hasServer = false;
  std::vector<std::string> excludes;
  std::set<std::string> tablePlaces;           // of the tables' folder below the sides
  std::map<std::string, SyncSideName> forced;  // path: whose file is kept
};

class SyncRun {
 public:
  // Throws Failure when the tables cannot be read.
  SyncRun(const SyncTask& task, const Options& options, Reporter* reporter);
  ~SyncRun();
  SyncRun(const SyncRun&) = delete;
  SyncRun& operator=(const SyncRun&) = delete;

  // Lists and compares both folders. Throws Failure, Interruption.
  void Plan();
  // Does what was planned, as long as it is as it was then. Throws the same.
  void Execute();

  // Of the last one of both.
  const SyncCounts& Counts() const { return counts_; }
  const SyncPlan& Planned() const { return plan_; }
  // Whether a run would do or remember anything.
  bool HasWork() const { return hasWork_; }
  // Names of --force that are no conflict of two files.
  std::vector<std::string> UnusedForced() const;
  // Whether files were kept because their folder shows nothing on one side.
  bool HasEmptyFolders() const;
  // Tells by name what was left: conflicts and failures always.
  void ReportLeft() const;

 private:
  struct Left {
    SyncKind kind;
    std::string path;
  };

  SyncKind CauseOf(const Left& left) const;

  static int32_t OnEntry(Word value, const SynchroEntryInfo* entry);
  static void OnResult(Word value, const SynchroEntryInfo* entry, ErrorCode status);
  static void OnStatus(Word value, const char* line);

  // On the thread of the library's run.
  int32_t TakeEntry(const SynchroEntryInfo& entry);
  int32_t TakePlanned(const SynchroEntryInfo& entry, SyncKind kind, int32_t answer);
  int32_t TakeRun(const SynchroEntryInfo& entry, SyncKind kind, int32_t answer);
  void TakeResult(const SynchroEntryInfo& entry, ErrorCode status);
  SyncKind LeftKindOf(const SynchroEntryInfo& entry, SyncKind kind) const;
  bool IsLeftAlone(const std::string& path, bool isFolder) const;
  void TakeUnclear(const std::string& path);
  [[noreturn]] void FailTables(const std::string& rest) const;
  void CountLeft(SyncKind kind, const std::string& path);
  void CountFailure(const std::string& text);
  void ShowCurrent(const std::string& path);

  void Begin(bool isPlan);
  void Run();
  void WaitForEnd();
  std::string ProgressText();
  [[noreturn]] void EndInterrupted();
  [[noreturn]] void FailRun(ErrorCode status) const;

  const SyncTask& task_;
  const Options& options_;
  Reporter* const reporter_;
  const Excludes excludes_;
  Synchro* synchro_ = nullptr;

  bool isPlan_ = true;
  bool hasWork_ = false;
  int listedSide_ = 0;
  bool isListed_ = false;      // the folder at hand: its table was read, and a side listed
  bool areTablesBad_ = false;  // those of the root
  ShownFolders shown_;
  SyncPlan plan_;
  SyncCounts counts_;
  std::uint64_t planned_ = 0;  // copies and deletions
  std::set<std::string> settled_;
  std::set<std::string> unclear_;
  std::vector<Left> left_;
  std::vector<std::string> failures_;
  std::exception_ptr thrown_;

  std::atomic<std::uint64_t> seen_{0};
  std::atomic<std::uint64_t> done_{0};
  std::mutex currentMutex_;
  std::string current_;
};

}  // namespace tool

#endif
