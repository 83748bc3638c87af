#include "tool/sync_run.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <thread>

#include "qz/error.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/library_call.h"
#include "tool/text.h"

namespace tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr unsigned kPollMilliseconds = 10;
// Ctrl-C ends the program within a second, whatever the run waits for.
constexpr auto kLongestEnd = milliseconds(850);
// A short synchronisation shows no progress.
constexpr auto kFirstBar = milliseconds(300);
constexpr auto kFirstLine = milliseconds(5000);
constexpr std::size_t kMostShown = 20;      // of what is only kept
constexpr std::size_t kMostProblems = 100;  // of conflicts, and of failures

Word ValueOf(SyncRun* run) {
  return reinterpret_cast<Word>(run);
}

SyncRun* RunOf(Word value) {
  return reinterpret_cast<SyncRun*>(value);
}

ExitCode CodeOfRun(ErrorCode status) {
  switch (status) {
    case Error_NoAccess:
      return ExitCode::Login;
    case Error_Timeout:
    case Error_Ended:
    case Error_Retry:
    case Error_System:
      return ExitCode::Network;
    case Error_Memory:
      return ExitCode::Other;
    default:
      return ExitCode::Disk;
  }
}

}  // namespace

SyncRun::SyncRun(const SyncTask& task, const Options& options, Reporter* reporter)
    : task_(task), options_(options), reporter_(reporter), excludes_(task.excludes, console::HasDrives()) {
  const ErrorCode status = Synchro_NewIn(console::ToLibraryName(task.folder).c_str(), task.name.c_str(),
                                         FlagsOf(task.mode, !options.noRecursion), task.urls[0].c_str(),
                                         task.urls[1].c_str(), &synchro_);
  if (status == Error_Memory) throw Failure{ExitCode::Other, "out of memory"};
  if (synchro_ == nullptr)
    throw Failure{ExitCode::Disk, "\"" + task.indexPath + "\" cannot be read" + RecordedDetails()};
  Synchro_SetActive(synchro_, options.active ? 1 : 0);
  Synchro_SetEntryMethod(synchro_, ValueOf(this), OnEntry);
  Synchro_SetResultMethod(synchro_, ValueOf(this), OnResult);
  Synchro_SetStatusMethod(synchro_, ValueOf(this), OnStatus);
  if (Synchro_SetGuarded(synchro_, 1) == Error_None) return;
  Synchro_Delete(synchro_);
  throw Failure{ExitCode::Other, "only local folders and those of FTP servers can be synchronised"};
}

SyncRun::~SyncRun() {
  Synchro_Delete(synchro_);
}

void SyncRun::Plan() {
  Begin(true);
  Run();
  plan_.Seal();
  planned_ = counts_.copied + counts_.deleted;
}

void SyncRun::Execute() {
  Begin(false);
  Run();
}

std::vector<std::string> SyncRun::UnusedForced() const {
  std::vector<std::string> unused;
  for (const auto& [path, side] : task_.forced) {
    if (settled_.find(path) == settled_.end()) unused.push_back(path);
  }
  return unused;
}

// What NotWhole means is known once the whole folder was seen.
SyncKind SyncRun::CauseOf(const Left& left) const {
  if (left.kind != SyncKind::NotWhole) return left.kind;
  const std::size_t slash = left.path.rfind('/');
  return shown_.KindIn(slash == std::string::npos ? "" : left.path.substr(0, slash));
}

bool SyncRun::HasEmptyFolders() const {
  return std::any_of(left_.begin(), left_.end(), [this](const Left& left) {
    const SyncKind cause = CauseOf(left);
    return cause == SyncKind::EmptyAtSource || cause == SyncKind::EmptyAtDestination;
  });
}

void SyncRun::ReportLeft() const {
  std::size_t kept = 0;
  std::size_t conflicts = 0;
  for (const Left& left : left_) {
    if (IsKept(left.kind)) {
      if (!options_.verbose && kept++ < kMostShown) reporter_->Say(DoneText(CauseOf(left), left.path));
    } else if (conflicts++ < kMostProblems) {
      reporter_->ReportError(DoneText(left.kind, left.path));
    }
  }
  const auto more = [this](std::uint64_t count, std::size_t most, const char* what) {
    if (count > most)
      reporter_->Say("... and " + GroupedNumber(count - most) + " more " + what + "; --dry-run shows all");
  };
  if (!options_.verbose) more(counts_.kept, kMostShown, "kept");
  more(counts_.conflicts, kMostProblems, "conflicts");
  for (const std::string& failure : failures_) reporter_->ReportError(failure);
  more(counts_.failed, kMostProblems, "failures");
}

// ---- on the thread of the library's run --------------------------------------------------------

// Nothing may be thrown through the library.
int32_t SyncRun::OnEntry(Word value, const SynchroEntryInfo* entry) {
  SyncRun* const run = RunOf(value);
  try {
    return run->TakeEntry(*entry);
  } catch (...) {
    run->thrown_ = std::current_exception();
    Synchro_Stop(run->synchro_);
    return SynchroAnswer_Leave;
  }
}

void SyncRun::OnResult(Word value, const SynchroEntryInfo* entry, ErrorCode status) {
  SyncRun* const run = RunOf(value);
  try {
    run->TakeResult(*entry, status);
  } catch (...) {
    run->thrown_ = std::current_exception();
    Synchro_Stop(run->synchro_);
  }
}

void SyncRun::OnStatus(Word value, const char* line) {
  const std::string_view text = line;
  SyncRun* const run = RunOf(value);
  if (text.substr(0, 8) == "Pushed \"") run->isListed_ = false;
  if (text.substr(0, 11) == "Retrieving ") run->isListed_ = true;
  if (text.substr(0, 17) == "Retrieving source") run->listedSide_ = 0;
  if (text.substr(0, 22) == "Retrieving destination") run->listedSide_ = 1;
}

int32_t SyncRun::TakeEntry(const SynchroEntryInfo& entry) {
  Error_ClearLast();
  if (entry.reason != SynchroReason_Compare) seen_++;
  if (entry.reason == SynchroReason_Forgotten) {
    hasWork_ = true;
    return SynchroAnswer_Proceed;
  }
  const std::string path = PathOf(entry);
  if (isPlan_) shown_.Take(entry);
  if (IsLeftAlone(path, IsFolder(entry))) return SynchroAnswer_Leave;
  ShowCurrent(path);
  if (entry.reason == SynchroReason_Compare) return SynchroAnswer_Proceed;
  SyncKind kind = KindOf(entry);
  int32_t answer = SynchroAnswer_Proceed;
  const auto forced = task_.forced.find(path);
  if (kind == SyncKind::Conflict && forced != task_.forced.end()) {
    settled_.insert(path);
    const bool isSource = forced->second == SyncSideName::Source;
    kind = isSource ? SyncKind::CopyToDestination : SyncKind::CopyToSource;
    answer = isSource ? SynchroAnswer_CopyToDestination : SynchroAnswer_CopyToSource;
  }
  if (kind == SyncKind::Unclear) return answer;  // told with its result
  return isPlan_ ? TakePlanned(entry, kind, answer) : TakeRun(entry, kind, answer);
}

int32_t SyncRun::TakePlanned(const SynchroEntryInfo& entry, SyncKind kind, int32_t answer) {
  if (IsAdopted(entry) || IsCopy(kind) || IsDeletion(kind)) hasWork_ = true;
  const bool isEntered = entry.decision == SynchroDecision_Enter;
  const bool isNeeded = kind == SyncKind::Folder ? isEntered : kind != SyncKind::Equal || options_.verbose;
  if (isNeeded) plan_.Add(entry, kind);
  CountLeft(LeftKindOf(entry, kind), PathOf(entry));
  return answer;
}

int32_t SyncRun::TakeRun(const SynchroEntryInfo& entry, SyncKind kind, int32_t answer) {
  const std::string path = PathOf(entry);
  const bool isAction = IsCopy(kind) || IsDeletion(kind);
  const bool isEntered = entry.decision == SynchroDecision_Enter;
  if ((isAction || isEntered) && !plan_.Has(entry, kind)) {
    if (isAction) CountFailure(FailureText(kind, path, Error_Retry, false));
    return SynchroAnswer_Leave;
  }
  if (isAction) return answer;
  const SyncKind left = LeftKindOf(entry, kind);
  if (options_.verbose && kind != SyncKind::Folder && kind != SyncKind::Conflict &&
      kind != SyncKind::FolderConflict)
    reporter_->Say(DoneText(left, path));
  CountLeft(left, path);
  return answer;
}

void SyncRun::TakeResult(const SynchroEntryInfo& entry, ErrorCode status) {
  const std::string path = PathOf(entry);
  const SyncKind kind = KindOf(entry);
  if (kind == SyncKind::Unclear && entry.decision == SynchroDecision_Leave) {
    if (isPlan_) shown_.Take(entry);
    if (!IsLeftAlone(path, false)) TakeUnclear(path);
    return;
  }
  if (kind == SyncKind::Folder && *entry.name == '\0') {
    // The root is told as the failure of the run.
    if (path.empty()) areTablesBad_ = !isListed_;
    if (!path.empty())
      CountFailure(FailureText(kind, path, status, task_.hasServer) + RecordedDetails(status));
    return;
  }
  if (isPlan_ || !(IsCopy(kind) || IsDeletion(kind)) || status == Error_Cancel) return;
  if (status != Error_None)
    return CountFailure(FailureText(kind, path, status, task_.hasServer) + RecordedDetails(status));
  counts_.Count(kind);
  done_++;
  if (options_.verbose) reporter_->Say(DoneText(kind, path));
}

// The cause of what is kept, as far as it is known.
SyncKind SyncRun::LeftKindOf(const SynchroEntryInfo& entry, SyncKind kind) const {
  if (kind == SyncKind::NotWhole && !isPlan_) return shown_.KindIn(entry.directory);
  if (kind == SyncKind::Ambiguous && task_.hasServer && HasBlanks(entry.name)) return SyncKind::BlankName;
  return kind;
}

bool SyncRun::IsLeftAlone(const std::string& path, bool isFolder) const {
  const std::string place = console::HasDrives() ? LowerCase(path) : path;
  return task_.tablePlaces.count(place) != 0 || excludes_.Take(path, isFolder);
}

// A name that both sides have is told twice.
void SyncRun::TakeUnclear(const std::string& path) {
  if (!unclear_.insert(path).second) return;
  if (options_.verbose && !isPlan_) reporter_->Say(DoneText(SyncKind::Unclear, path));
  CountLeft(SyncKind::Unclear, path);
}

void SyncRun::CountLeft(SyncKind kind, const std::string& path) {
  counts_.Count(kind);
  const bool isConflict = kind == SyncKind::Conflict || kind == SyncKind::FolderConflict;
  const std::uint64_t count = isConflict ? counts_.conflicts : counts_.kept;
  if ((isConflict || IsKept(kind)) && count <= (isConflict ? kMostProblems : kMostShown))
    left_.push_back({kind, path});
}

void SyncRun::CountFailure(const std::string& text) {
  counts_.failed++;
  if (failures_.size() < kMostProblems) failures_.push_back(text);
}

void SyncRun::ShowCurrent(const std::string& path) {
  const std::lock_guard<std::mutex> lock(currentMutex_);
  current_ = path;
}

// ---- on the program's thread -------------------------------------------------------------------

void SyncRun::Begin(bool isPlan) {
  isPlan_ = isPlan;
  counts_ = {};
  areTablesBad_ = false;
  isListed_ = false;
  seen_ = 0;
  done_ = 0;
  unclear_.clear();
  left_.clear();
  failures_.clear();
  Synchro_SetPlanOnly(synchro_, isPlan ? 1 : 0);
}

void SyncRun::Run() {
  if (console::Interrupted()) EndInterrupted();
  if (Synchro_Go(synchro_) != Error_None) throw Failure{ExitCode::Other, "out of memory"};
  WaitForEnd();
  std::uint32_t counters[SynchroCounter_Count];
  const std::int32_t state = Synchro_Status(synchro_, counters);
  if (thrown_) std::rethrow_exception(thrown_);
  if (state == SynchroState_Failed) FailRun(static_cast<ErrorCode>(counters[SynchroCounter_Error]));
}

void SyncRun::WaitForEnd() {
  const auto begin = steady_clock::now();
  const bool hasBar = console::IsTerminal(console::Channel::Messages);
  ProgressLine progress(reporter_, isPlan_ ? "comparing" : "sync");
  auto next = begin + (hasBar ? kFirstBar : kFirstLine);
  while (Synchro_Status(synchro_, nullptr) == SynchroState_Running) {
    console::Pause(kPollMilliseconds);
    if (console::Interrupted()) EndInterrupted();
    const auto now = steady_clock::now();
    if (now < next) continue;
    next = now + milliseconds(100);
    progress.ShowState(ProgressText());
    reporter_->Tick();
  }
}

std::string SyncRun::ProgressText() {
  const std::lock_guard<std::mutex> lock(currentMutex_);
  if (isPlan_) return GroupedNumber(seen_) + " files and folders  " + current_;
  return GroupedNumber(done_) + " of " + GroupedNumber(planned_) + "  " + current_;
}

// The run ends on a thread of its own: what it waits for may last.
void SyncRun::EndInterrupted() {
  Synchro* const synchro = synchro_;
  Synchro_Stop(synchro);
  auto isEnded = std::make_shared<std::atomic<bool>>(false);
  std::thread ending([synchro, isEnded] {
    Synchro_Delete(synchro);
    *isEnded = true;
  });
  const auto deadline = steady_clock::now() + kLongestEnd;
  while (!*isEnded && steady_clock::now() < deadline) std::this_thread::sleep_for(milliseconds(5));
  if (!*isEnded) console::ExitInterrupted();
  ending.join();
  synchro_ = nullptr;
  reporter_->ReportError(isPlan_ ? "interrupted; nothing was changed"
                                 : "interrupted after " + GroupedNumber(counts_.copied) + " copied, " +
                                       GroupedNumber(counts_.deleted) +
                                       " deleted; run the same command to go on");
  throw Interruption{};
}

void SyncRun::FailTables(const std::string& rest) const {
  throw Failure{ExitCode::Disk, "what was remembered cannot be read" + RecordedDetails() + rest +
                                    ". Remove \"" + task_.indexPath +
                                    "\": qz then begins anew, and neither deletes nor overwrites anything"};
}

void SyncRun::FailRun(ErrorCode status) const {
  const std::string side =
      std::string(listedSide_ == 0 ? "source" : "destination") + " \"" + task_.shown[listedSide_] + "\"";
  const std::string rest = isPlan_ ? "; nothing was done" : "; the rest was not done";
  if (areTablesBad_) FailTables(rest);
  if (status == Error_Invalid) {
    throw Failure{ExitCode::Unsafe,
                  "the " + side +
                      " is not listed whole: its listing is cut, or has a line that is not understood" +
                      rest};
  }
  if (status == Error_NotFound && task_.areTablesKnown) {
    throw Failure{ExitCode::Unsafe, "the " + side + " shows nothing where files were" + rest +
                                        ". If all of it was deleted on purpose, remove \"" + task_.indexPath +
                                        "\": qz then begins anew, and deletes nothing"};
  }
  if (status == Error_NoAccess && task_.areTablesKnown)
    throw Failure{ExitCode::Unsafe, "the " + side + " cannot be read" + rest};
  if (status == Error_NoAccess)
    throw Failure{ExitCode::Login, "the " + side + " can be neither entered nor made: access denied, or " +
                                       "the folder above does not exist" + rest};
  throw Failure{CodeOfRun(status),
                "the " + side + " cannot be synchronised: " + SyncStatusText(status, task_.hasServer) + rest};
}

}  // namespace tool
