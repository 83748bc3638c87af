// The guards:
//
//   file                                    is
//   on both sides, as the line has it       left
//   on both sides, no line in step          taken as in step when both are alike, else a conflict
//   ... changed on one side                 copied when the flags follow that side
//   ... changed on both                     as without a line; with a server always a conflict
//   on one side, was in step, unchanged     deleted when the flags say so and both listings are whole,
//                                           else copied back when the flags say so
//   ... changed since                       copied when the flags say so, never deleted
//   on one side, never in step              copied when the flags say so, never deleted
//
// A line is in step when its state is 0 and both sides had the file.
#include "qz/synchro.h"
#include "synchro/synchro_guard_internal.h"

namespace {

// The flag that lets a side's files be deleted.
constexpr uint32_t kDeleteAt[kSynchroEnds] = {SynchroFlag_DeleteAtSource, SynchroFlag_DeleteAtDestination};

SynchroVerdict Leave(int32_t reason) {
  const char mark = reason == SynchroReason_Conflict ? '!' : '=';
  return {{mark, SynchroStep::Leave, SynchroEnd_Source}, reason};
}

SynchroVerdict Act(SynchroStep step, SynchroEnd from, int32_t reason) {
  return {{from == SynchroEnd_Source ? '>' : '<', step, from}, reason};
}

bool HasChanged(const SynchroEntry& entry, SynchroEnd end) {
  const SynchroSide& now = entry.sides[end];
  const SynchroSide& before = entry.before[end];
  return now.size != before.size || Time_Compare(&now.time, &before.time) != 0;
}

SynchroVerdict DecideDirectory(uint32_t flags, const SynchroEntry& entry) {
  for (const SynchroSide& side : entry.sides) {
    if (side.present != 0 && side.directory == 0) return Leave(SynchroReason_Conflict);
  }
  const bool recurses = (flags & SynchroFlag_Recurse) != 0;
  const SynchroStep step = recurses ? SynchroStep::Enter : SynchroStep::Pass;
  return {{'=', step, SynchroEnd_Source}, SynchroReason_Directory};
}

SynchroVerdict CopyIfAsked(uint32_t flags, SynchroEnd from, int32_t reason) {
  const bool isAsked = (flags & kSynchroCopyTo[iSynchro_Other(from)]) != 0;
  return isAsked ? Act(SynchroStep::Copy, from, reason) : Leave(SynchroReason_Kept);
}

SynchroVerdict DecideOnBoth(uint32_t flags, const SynchroEntry& entry, bool areAlike) {
  if (iSynchro_MustCompare(entry)) return Leave(areAlike ? SynchroReason_Alike : SynchroReason_Conflict);
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) {
    if (HasChanged(entry, end)) return CopyIfAsked(flags, end, SynchroReason_Changed);
  }
  return Leave(SynchroReason_Unchanged);
}

// A folder that shows nothing is left as it is where deletions would follow: with a copy in it, the next run
// would trust it.
SynchroVerdict DecideOnOne(uint32_t flags, const SynchroEntry& entry, SynchroEnd at, bool isWhole) {
  const bool deletes = (flags & kDeleteAt[at]) != 0;
  if (deletes && !isWhole) return Leave(SynchroReason_NotWhole);
  if (deletes && iSynchro_WasInStep(entry) && !HasChanged(entry, at))
    return Act(SynchroStep::Delete, iSynchro_Other(at), SynchroReason_Gone);
  return CopyIfAsked(flags, at, SynchroReason_Missing);
}

}  // namespace

bool iSynchro_WasInStep(const SynchroEntry& entry) {
  if (entry.Has(SynchroEntryFlag_New) || (entry.state & kSynchroState_Both) != 0) return false;
  for (const SynchroSide& side : entry.before) {
    if (side.present == 0 || side.directory != 0) return false;
  }
  return true;
}

bool iSynchro_MustCompare(const SynchroEntry& entry) {
  for (const SynchroSide& side : entry.sides) {
    if (side.present == 0 || side.directory != 0) return false;
  }
  if (entry.Has(SynchroEntryFlag_Unclear) || entry.Has(SynchroEntryFlag_Ambiguous)) return false;
  if (!iSynchro_WasInStep(entry)) return true;
  return HasChanged(entry, SynchroEnd_Source) && HasChanged(entry, SynchroEnd_Destination);
}

SynchroVerdict iSynchro_DecideGuarded(uint32_t flags, const SynchroEntry& entry, bool isWhole,
                                      bool areAlike) {
  const bool isAtSource = entry.IsAt(SynchroEnd_Source);
  const bool isAtDestination = entry.IsAt(SynchroEnd_Destination);
  if (entry.Has(SynchroEntryFlag_Ambiguous) || entry.Has(SynchroEntryFlag_LookAlike))
    return Leave(SynchroReason_Ambiguous);
  if (entry.Has(SynchroEntryFlag_Unclear)) return Leave(SynchroReason_Unclear);
  if (!isAtSource && !isAtDestination) return Leave(SynchroReason_NotWhole);
  for (const SynchroSide& side : entry.sides) {
    if (side.present != 0 && side.directory != 0) return DecideDirectory(flags, entry);
  }
  if (isAtSource && isAtDestination) return DecideOnBoth(flags, entry, areAlike);
  return DecideOnOne(flags, entry, isAtSource ? SynchroEnd_Source : SynchroEnd_Destination, isWhole);
}

SynchroVerdict iSynchro_SettleConflict(uint32_t flags, int32_t answer, const SynchroEntry& entry,
                                       const SynchroVerdict& verdict) {
  const SynchroVerdict left = {iSynchro_LeaveInstead(verdict.action), SynchroReason_Kept};
  if (verdict.reason != SynchroReason_Conflict) return left;
  for (const SynchroSide& side : entry.sides) {
    if (side.present == 0 || side.directory != 0) return left;
  }
  if (answer != SynchroAnswer_CopyToSource && answer != SynchroAnswer_CopyToDestination) return left;
  const bool isToSource = answer == SynchroAnswer_CopyToSource;
  return CopyIfAsked(flags, isToSource ? SynchroEnd_Destination : SynchroEnd_Source, SynchroReason_Changed);
}

bool iSynchro_IsSettledBy(const SynchroVerdict& verdict) {
  return verdict.reason == SynchroReason_Unchanged || verdict.reason == SynchroReason_Alike ||
         verdict.reason == SynchroReason_Directory;
}

bool iSynchro_DiffersFromLine(const SynchroEntry& entry) {
  if (entry.Has(SynchroEntryFlag_New) || entry.state != 0) return true;
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) {
    const SynchroSide& now = entry.sides[end];
    const SynchroSide& before = entry.before[end];
    if (now.present != before.present || now.directory != before.directory) return true;
    if (now.directory == 0 && HasChanged(entry, end)) return true;
  }
  return false;
}

bool iSynchro_TakeLine(SynchroEntry* entry) {
  if (entry->Has(SynchroEntryFlag_Settled))
    return entry->IsAt(SynchroEnd_Source) || entry->IsAt(SynchroEnd_Destination);
  for (uint32_t end = 0; end < kSynchroEnds; ++end) entry->sides[end] = entry->before[end];
  return !entry->Has(SynchroEntryFlag_New);
}

bool iSynchro_IsTrusted(uint32_t listedEntries, bool isKnownThere, bool isGone, bool isRoot) {
  if (listedEntries != 0 || !isKnownThere) return true;
  return isGone && !isRoot;
}
