// qz sync: two folders kept in step. All is planned first; only what was planned is then done.
#include <algorithm>
#include <set>

#include "qz/synchro.h"
#include "tool/commands.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/folder_place.h"
#include "tool/output.h"
#include "tool/private_file.h"
#include "tool/proxy.h"
#include "tool/sync_run.h"
#include "tool/sync_side.h"
#include "tool/sync_tables.h"
#include "tool/text.h"
#include "tool/usage.h"

namespace tool {
namespace {

struct Pair {
  SyncSide source;
  SyncSide destination;
  SyncMode mode;
};

void CheckConnectionOptions(const Options& options, const Pair& pair) {
  for (const SyncSide* side : {&pair.source, &pair.destination}) {
    if (side->server) CheckProxyPort(*side->server, options);
  }
  if (pair.source.server || pair.destination.server) return;
  const char* given = options.proxyHost      ? "--proxy"
                      : options.user         ? "--user"
                      : options.passwordFile ? "--password-file"
                      : options.active       ? "--active"
                                             : nullptr;
  if (given != nullptr)
    UsageError("sync", std::string(given) + " is for FTP servers; both folders are local");
}

void CheckOverlap(const Pair& pair) {
  if (AreSameFolder(pair.source, pair.destination))
    throw Failure{ExitCode::Usage, "SOURCE and DESTINATION are the same folder"};
  if (AreNested(pair.source, pair.destination))
    throw Failure{ExitCode::Usage, "one of the two folders is in the other: \"" + pair.source.shown +
                                       "\", \"" + pair.destination.shown + "\""};
}

Pair TakePair(const Options& options) {
  Pair pair = {ParseSyncSide(options.operands[0]), ParseSyncSide(options.operands[1]),
               SyncModeOf(options.deleteGone, options.reverse, options.twoWay)};
  CheckConnectionOptions(options, pair);
  Passwords passwords(options);
  FindLogin(options, &passwords, &pair.source);
  FindLogin(options, &passwords, &pair.destination);
  return pair;
}

// A name that was mistyped must not make folders: the side that is copied from has to be there, and of the
// other one all but the last part. What is missing later may have been lost: the library sees to that.
void CheckFoldersExist(const Pair& pair) {
  const bool isReverse = !CopiesFromSource(pair.mode);
  const SyncSide& from = isReverse ? pair.destination : pair.source;
  const SyncSide& to = isReverse ? pair.source : pair.destination;
  const auto refuse = [](const std::string& path, const char* why) {
    throw Failure{ExitCode::NotFound, "\"" + path + "\" " + why};
  };
  if (PlaceOf(from) == SyncPlace::NoFolder) refuse(from.shown, "is no folder");
  if (PlaceOf(from) != SyncPlace::Folder && !from.server) refuse(from.shown, "does not exist");
  if (PlaceOf(to) == SyncPlace::NoFolder) refuse(to.shown, "is no folder");
  if (PlaceOf(to) == SyncPlace::Nowhere) refuse(to.shown, "cannot be made: the folder above does not exist");
}

// Of a server: what is copied from has to be there, unless something is known of it.
void FindFolders(const Options& options, bool areTablesKnown, Pair* pair) {
  const bool isReverse = !CopiesFromSource(pair->mode);
  FindFolder(options, !areTablesKnown && !isReverse, &pair->source);
  FindFolder(options, !areTablesKnown && isReverse, &pair->destination);
}

// The tables change while they are read: in a tree that is synchronised they are left alone.
std::set<std::string> PlacesOfTables(const Pair& pair, const std::string& folder) {
  std::set<std::string> places;
  for (const SyncSide* side : {&pair.source, &pair.destination}) {
    if (side->server) continue;
    const auto place = PlaceInFolder(side->shown, AbsolutePath(folder));
    if (place && !place->empty()) places.insert(console::HasDrives() ? LowerCase(*place) : *place);
  }
  return places;
}

std::string WithSlashes(std::string path) {
  if (console::HasDrives()) std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

SyncTask MakeTask(const Pair& pair, const SyncTables& tables, const std::string& name,
                  const Options& options) {
  SyncTask task;
  task.mode = pair.mode;
  task.name = name;
  task.folder = tables.Folder();
  task.indexPath = tables.IndexPath();
  task.areTablesKnown = tables.AreKnown();
  task.urls[0] = LibraryURL(pair.source);
  task.urls[1] = LibraryURL(pair.destination);
  task.shown[0] = pair.source.shown;
  task.shown[1] = pair.destination.shown;
  task.hasServer = pair.source.server || pair.destination.server;
  for (const std::string& pattern : options.excludes) task.excludes.push_back(WithSlashes(pattern));
  task.tablePlaces = PlacesOfTables(pair, tables.Folder());
  for (const std::string& text : options.forced) {
    const ForcedName forced = ParseForced(WithSlashes(text));
    task.forced[PlainPath(forced.path, 0).substr(1)] = *WinnerOf(forced, pair.mode);
  }
  return task;
}

void CheckForced(const SyncRun& run) {
  const std::vector<std::string> unused = run.UnusedForced();
  if (unused.empty()) return;
  throw Failure{
      ExitCode::NotFound,
      "--force " + unused.front() +
          ": there is no conflict of two files of this name; nothing was done. Names are relative to "
          "the two folders; --dry-run shows them"};
}

void ShowPlan(const SyncPlan& plan, bool showsEqual) {
  plan.ForEach([showsEqual](const std::string& path, SyncKind kind) {
    const bool isShown = kind != SyncKind::Folder && (kind != SyncKind::Equal || showsEqual);
    if (isShown) Print(Printable(PlanLine(kind, path)) + "\n");
  });
}

// More deletions than allowed: the plan is shown instead.
void CheckDeletions(const SyncRun& run, const Options& options) {
  const SyncCounts& counts = run.Counts();
  if (!ExceedsLimit(options.maxDelete, counts.deleted, counts.Files())) return;
  if (!options.dryRun) ShowPlan(run.Planned(), false);
  throw Failure{ExitCode::Unsafe, GroupedNumber(counts.deleted) + " files are to be deleted, more than " +
                                      LimitText(options.maxDelete, counts.Files()) +
                                      "; nothing was done. If that is right, raise --max-delete"};
}

const char* ForceHint(SyncMode mode) {
  if (mode == SyncMode::TwoWay)
    return "settle a conflict with --force source:NAME or --force destination:NAME: this side's file is "
           "copied to the other";
  return CopiesFromSource(mode)
             ? "settle a conflict with --force NAME: the source's file replaces the destination's"
             : "settle a conflict with --force NAME: the destination's file replaces the source's";
}

void Conclude(const SyncRun& run, SyncMode mode, Reporter* reporter, const std::string& summary) {
  run.ReportLeft();
  if (run.HasEmptyFolders() && DeletesGone(mode))
    reporter->Say(
        "of a folder that shows nothing no file is deleted on the other side; when that is to be, "
        "remove the empty folder as well");
  if (run.Counts().fileConflicts != 0) reporter->Say(ForceHint(mode));
  reporter->Say(summary);
  const ExitCode code = ExitCodeOf(run.Counts());
  if (code != ExitCode::Done) throw Failure{code, ""};
}

void ShowDryRun(const SyncRun& run, const Options& options, SyncMode mode, Reporter* reporter) {
  ShowPlan(run.Planned(), options.verbose);
  CheckDeletions(run, options);
  Conclude(run, mode, reporter, PlanSummaryText(run.Counts()) + "; nothing was changed");
}

}  // namespace

void RunSync(const Options& options, Reporter* reporter) {
  Pair pair = TakePair(options);
  const std::string& source = pair.source.identity;
  const std::string& destination = pair.destination.identity;
  const std::string name =
      options.syncName ? *options.syncName : DefaultSyncName(source, destination, pair.mode);
  const SyncTables tables(name, PairText(source, destination, pair.mode), !options.dryRun);
  if (!tables.AreKnown()) CheckFoldersExist(pair);
  FindFolders(options, tables.AreKnown(), &pair);
  CheckOverlap(pair);
  const SyncTask task = MakeTask(pair, tables, name, options);
  SyncRun run(task, options, reporter);
  run.Plan();
  CheckForced(run);
  if (options.dryRun) return ShowDryRun(run, options, pair.mode, reporter);
  CheckDeletions(run, options);
  if (!run.HasWork() && !tables.HasLeftovers()) {
    if (options.verbose) ShowPlan(run.Planned(), true);
    return Conclude(run, pair.mode, reporter, SummaryText(run.Counts()));
  }
  tables.Claim();
  run.Execute();
  Conclude(run, pair.mode, reporter, SummaryText(run.Counts()));
}

}  // namespace tool
