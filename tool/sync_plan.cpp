#include "tool/sync_plan.h"

#include <algorithm>

namespace tool {
namespace {

bool IsFolderThere(const SynchroValues& values) {
  return values.isPresent != 0 && values.isDirectory != 0;
}

// What a side that does not have it shows is what it had.
bool AreSame(const SynchroValues& planned, const SynchroValues& now) {
  if (planned.isPresent != now.isPresent) return false;
  if (now.isPresent == 0) return true;
  if (planned.isDirectory != now.isDirectory) return false;
  if (now.isDirectory != 0) return true;
  return planned.size == now.size && planned.time.seconds == now.time.seconds &&
         planned.time.milliseconds == now.time.milliseconds;
}

bool IsChanged(const SynchroValues& before, const SynchroValues& now) {
  return !AreSame(before, now);
}

SyncKind KeptKind(const SynchroEntryInfo& entry) {
  if (entry.now[1].isPresent == 0) return SyncKind::KeptAtSource;
  if (entry.now[0].isPresent == 0) return SyncKind::KeptAtDestination;
  return IsChanged(entry.before[0], entry.now[0]) ? SyncKind::ChangedAtSource
                                                  : SyncKind::ChangedAtDestination;
}

SyncKind LeftKind(const SynchroEntryInfo& entry) {
  switch (entry.reason) {
    case SynchroReason_Conflict:
      return IsFolder(entry) ? SyncKind::FolderConflict : SyncKind::Conflict;
    case SynchroReason_Kept:
      return KeptKind(entry);
    case SynchroReason_NotWhole:
      return SyncKind::NotWhole;
    case SynchroReason_Ambiguous:
      return SyncKind::Ambiguous;
    case SynchroReason_Unclear:
      return SyncKind::Unclear;
    case SynchroReason_Directory:
      return SyncKind::Folder;
    default:
      return SyncKind::Equal;
  }
}

bool ComesBefore(const PlannedEntry& entry, const char* name) {
  return entry.name < name;
}

}  // namespace

bool IsCopy(SyncKind kind) {
  return kind == SyncKind::CopyToSource || kind == SyncKind::CopyToDestination;
}

bool IsDeletion(SyncKind kind) {
  return kind == SyncKind::DeleteAtSource || kind == SyncKind::DeleteAtDestination;
}

bool IsKept(SyncKind kind) {
  return kind >= SyncKind::KeptAtSource;
}

SyncKind KindOf(const SynchroEntryInfo& entry) {
  switch (entry.decision) {
    case SynchroDecision_CopyToSource:
      return SyncKind::CopyToSource;
    case SynchroDecision_CopyToDestination:
      return SyncKind::CopyToDestination;
    case SynchroDecision_DeleteAtSource:
      return SyncKind::DeleteAtSource;
    case SynchroDecision_DeleteAtDestination:
      return SyncKind::DeleteAtDestination;
    case SynchroDecision_Enter:
      return SyncKind::Folder;
    default:
      return LeftKind(entry);
  }
}

bool IsFolder(const SynchroEntryInfo& entry) {
  return IsFolderThere(entry.now[0]) || IsFolderThere(entry.now[1]);
}

bool IsAdopted(const SynchroEntryInfo& entry) {
  if (entry.reason == SynchroReason_Alike || entry.reason == SynchroReason_Forgotten) return true;
  if (entry.reason != SynchroReason_Directory) return false;
  return IsChanged(entry.before[0], entry.now[0]) || IsChanged(entry.before[1], entry.now[1]);
}

std::string PathOf(const SynchroEntryInfo& entry) {
  const std::string folder = entry.directory;
  if (folder.empty()) return entry.name;
  return *entry.name == '\0' ? folder : folder + "/" + entry.name;
}

bool HasBlanks(const std::string& name) {
  return name.find_first_of(" \t") != std::string::npos || name.find("->") != std::string::npos;
}

void ShownFolders::Take(const SynchroEntryInfo& entry) {
  if (last_ == nullptr || lastPath_ != entry.directory) {
    lastPath_ = entry.directory;
    last_ = &folders_[lastPath_];
  }
  for (const std::size_t side : {0u, 1u}) last_->at[side] |= entry.now[side].isPresent != 0;
}

SyncKind ShownFolders::KindIn(const std::string& folder) const {
  const auto found = folders_.find(folder);
  if (found == folders_.end()) return SyncKind::NotWhole;
  if (!found->second.at[0]) return SyncKind::EmptyAtSource;
  return found->second.at[1] ? SyncKind::NotWhole : SyncKind::EmptyAtDestination;
}

void SyncPlan::Add(const SynchroEntryInfo& entry, SyncKind kind) {
  if (last_ == nullptr || lastPath_ != entry.directory) {
    lastPath_ = entry.directory;
    last_ = &folders_[lastPath_];
  }
  last_->push_back({entry.name, kind, {entry.now[0], entry.now[1]}});
}

void SyncPlan::Seal() {
  for (auto& [path, entries] : folders_) {
    std::sort(entries.begin(), entries.end(),
              [](const PlannedEntry& one, const PlannedEntry& other) { return one.name < other.name; });
  }
}

bool SyncPlan::Has(const SynchroEntryInfo& entry, SyncKind kind) const {
  const auto folder = folders_.find(entry.directory);
  if (folder == folders_.end()) return false;
  const Folder& entries = folder->second;
  const auto found = std::lower_bound(entries.begin(), entries.end(), entry.name, ComesBefore);
  if (found == entries.end() || found->name != entry.name || found->kind != kind) return false;
  return AreSame(found->now[0], entry.now[0]) && AreSame(found->now[1], entry.now[1]);
}

void SyncPlan::ForEach(const std::function<void(const std::string& path, SyncKind kind)>& show) const {
  for (const auto& [path, entries] : folders_) {
    for (const PlannedEntry& entry : entries)
      show(path.empty() ? entry.name : path + "/" + entry.name, entry.kind);
  }
}

}  // namespace tool
