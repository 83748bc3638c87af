#include "tool/sync_summary.h"

#include "qz/error.h"
#include "tool/text.h"

namespace tool {
namespace {

struct KindRow {
  SyncKind kind;
  const char* planned;
  const char* done;
};

constexpr KindRow kKinds[] = {
    {SyncKind::Folder, "folder", "folder"},
    {SyncKind::Equal, "equal", "equal"},
    {SyncKind::CopyToSource, "copy to source", "copied to the source"},
    {SyncKind::CopyToDestination, "copy to destination", "copied to the destination"},
    {SyncKind::DeleteAtSource, "delete at source", "deleted at the source"},
    {SyncKind::DeleteAtDestination, "delete at destination", "deleted at the destination"},
    {SyncKind::Conflict, "conflict", "conflict, the sides differ"},
    {SyncKind::FolderConflict, "conflict", "conflict, a file on one side and a folder on the other"},
    {SyncKind::KeptAtSource, "kept at source", "kept, only at the source"},
    {SyncKind::KeptAtDestination, "kept at destination", "kept, only at the destination"},
    {SyncKind::ChangedAtSource, "kept at source", "kept, changed only at the source"},
    {SyncKind::ChangedAtDestination, "kept at destination", "kept, changed only at the destination"},
    {SyncKind::EmptyAtSource, "kept", "kept, its folder shows nothing at the source"},
    {SyncKind::EmptyAtDestination, "kept", "kept, its folder shows nothing at the destination"},
    {SyncKind::NotWhole, "kept", "kept, a listing of its folder cannot be trusted"},
    {SyncKind::BlankName, "kept", "kept, a name with blanks, and the server has no MLSD to list it surely"},
    {SyncKind::Ambiguous, "kept", "kept, the listing may mean another name"},
    {SyncKind::Unclear, "kept", "kept, a link, or a name or date that cannot be used"},
};

const KindRow& RowOf(SyncKind kind) {
  for (const KindRow& row : kKinds) {
    if (row.kind == kind) return row;
  }
  return kKinds[0];
}

std::string Amount(std::uint64_t number, const char* what) {
  return GroupedNumber(number) + " " + what;
}

std::string Rest(const SyncCounts& counts) {
  return ", " + Amount(counts.equal, "equal, ") +
         Amount(counts.conflicts, counts.conflicts == 1 ? "conflict, " : "conflicts, ") +
         Amount(counts.kept, "kept, ") + Amount(counts.failed, "failed");
}

}  // namespace

void SyncCounts::Count(SyncKind kind) {
  if (kind == SyncKind::Folder) return;
  if (IsCopy(kind)) {
    copied++;
  } else if (IsDeletion(kind)) {
    deleted++;
  } else if (kind == SyncKind::Equal) {
    equal++;
  } else if (IsKept(kind)) {
    kept++;
  } else {
    conflicts++;
    if (kind == SyncKind::Conflict) fileConflicts++;
  }
}

std::string SummaryText(const SyncCounts& counts) {
  return Amount(counts.copied, "copied, ") + Amount(counts.deleted, "deleted") + Rest(counts);
}

std::string PlanSummaryText(const SyncCounts& counts) {
  return Amount(counts.copied, "to copy, ") + Amount(counts.deleted, "to delete") + Rest(counts);
}

ExitCode ExitCodeOf(const SyncCounts& counts) {
  if (counts.failed != 0) return ExitCode::Incomplete;
  return counts.conflicts != 0 ? ExitCode::Conflict : ExitCode::Done;
}

std::string PlanLine(SyncKind kind, const std::string& path) {
  constexpr std::size_t kColumns = 23;
  std::string line = RowOf(kind).planned;
  line.resize(kColumns, ' ');
  return line + path;
}

std::string DoneText(SyncKind kind, const std::string& path) {
  return std::string(RowOf(kind).done) + ": " + path;
}

std::string LeftText(SyncKind kind, const std::string& path) {
  return DoneText(kind, path);
}

std::string SyncStatusText(ErrorCode status, bool hasServer) {
  switch (status) {
    case Error_Exists:
      return "something else has taken the place";
    case Error_Retry:
      return hasServer ? "it has changed meanwhile, or the connection was lost; run the command again"
                       : "it has changed meanwhile; run the command again";
    case Error_NotFound:
      return "it is not there any more";
    case Error_NoAccess:
      return "access denied";
    case Error_Ended:
      return hasServer ? "it came incomplete, or the connection was lost" : "it came incomplete";
    case Error_Timeout:
      return "timed out";
    case Error_Memory:
      return "out of memory";
    case Error_Invalid:
      if (hasServer) return "the server refused it";
      [[fallthrough]];
    default:
      return Error_ToLongString(status);
  }
}

std::string FailureText(SyncKind kind, const std::string& path, ErrorCode status, bool hasServer) {
  const char* verb = IsDeletion(kind) ? "cannot delete \"" : "cannot copy \"";
  const bool isAtSource = kind == SyncKind::DeleteAtSource || kind == SyncKind::CopyToSource;
  if (kind == SyncKind::Folder)
    return "cannot read the folder \"" + path + "\": " + SyncStatusText(status, hasServer);
  return verb + path + "\"" + (IsDeletion(kind) ? " at the " : " to the ") +
         (isAtSource ? "source: " : "destination: ") + SyncStatusText(status, hasServer);
}

}  // namespace tool
