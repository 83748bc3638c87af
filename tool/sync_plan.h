// The plan of a synchronisation in memory: what is to be done with which values. Pure.
#ifndef TOOL_SYNC_PLAN_H
#define TOOL_SYNC_PLAN_H

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>

#include "qz/synchro.h"

namespace tool {

// What is shown of an entry.
enum class SyncKind : std::uint8_t {
  Folder,
  Equal,
  CopyToSource,
  CopyToDestination,
  DeleteAtSource,
  DeleteAtDestination,
  Conflict,
  FolderConflict,  // a file on one side, a folder on the other
  KeptAtSource,    // only there, or changed only there
  KeptAtDestination,
  ChangedAtSource,
  ChangedAtDestination,
  EmptyAtSource,  // the folder's listing there shows nothing, and cannot be trusted in that
  EmptyAtDestination,
  NotWhole,   // a listing of the folder cannot be trusted
  BlankName,  // a name with blanks or "->", which a server without MLSD does not list for sure
  Ambiguous,  // a listing may mean another name
  Unclear,    // a link, a name or a date that cannot be used
};

bool IsCopy(SyncKind kind);
bool IsDeletion(SyncKind kind);
bool IsKept(SyncKind kind);

// What the library says of an entry. SyncKind::Equal for one that needs nothing.
SyncKind KindOf(const SynchroEntryInfo& entry);
// Whether a side has a folder of the name.
bool IsFolder(const SynchroEntryInfo& entry);
// Whether the run would write the table for it, though nothing is copied or deleted.
bool IsAdopted(const SynchroEntryInfo& entry);
// "folder/name", from the roots.
std::string PathOf(const SynchroEntryInfo& entry);
// Whether the name has blanks or "->".
bool HasBlanks(const std::string& name);

struct PlannedEntry {
  std::string name;
  SyncKind kind;
  SynchroValues now[2];
};

// Which folders show anything, on each side.
class ShownFolders {
 public:
  void Take(const SynchroEntryInfo& entry);
  // What NotWhole means for an entry of a folder.
  SyncKind KindIn(const std::string& folder) const;

 private:
  struct Shown {
    bool at[2] = {};
  };

  std::map<std::string, Shown> folders_;
  Shown* last_ = nullptr;  // most entries are in the folder of the one before
  std::string lastPath_;
};

class SyncPlan {
 public:
  void Add(const SynchroEntryInfo& entry, SyncKind kind);
  // Once all are added.
  void Seal();

  // Whether the entry was planned like this: the same kind, and the same values on both sides. Of a folder
  // only where it is counts, for its size and time change with what is in it.
  bool Has(const SynchroEntryInfo& entry, SyncKind kind) const;

  // In the order of the folders' paths, then of the names.
  void ForEach(const std::function<void(const std::string& path, SyncKind kind)>& show) const;

 private:
  using Folder = std::deque<PlannedEntry>;

  std::map<std::string, Folder> folders_;
  Folder* last_ = nullptr;  // most entries are in the folder of the one before
  std::string lastPath_;
};

}  // namespace tool

#endif
