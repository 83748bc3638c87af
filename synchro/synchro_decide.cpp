// Which side changed, and what follows.
//
//   flag                     mask          a change there, or an entry on one side only, means
//   1 to the destination     source 2      the source's goes to the destination
//   2 to the source          source 1      the destination's goes to the source
//   4 delete at the source   destination 1 what the destination has not is deleted at the source
//   8 delete at destination  destination 2 what the source has not is deleted at the destination
//
//   state   mark
//   0       =
//   1       <   from the destination to the source
//   2       >   from the source to the destination
//   3       >   with flag 8, else < with flag 4, else !
//
// Kept: "to" a side from which an entry has gone means to delete it there, and a new entry has gone from the
// other side as much as an old one: with the delete flags, files that never were on the other side are
// deleted.
#include "qz/error.h"
#include "qz/synchro.h"
#include "synchro/synchro_decide_internal.h"

namespace {

constexpr uint32_t BitIf(uint32_t flags, uint32_t flag, uint32_t bit) {
  return (flags & flag) != 0 ? bit : 0;
}

bool HasOtherTime(const SynchroSide& side, const Time& time) {
  return Time_Compare(&side.time, &time) != 0;
}

char MarkOfBothChanged(uint32_t flags) {
  if ((flags & SynchroFlag_DeleteAtDestination) != 0) return '>';
  return (flags & SynchroFlag_DeleteAtSource) != 0 ? '<' : '!';
}

}  // namespace

SynchroMasks iSynchro_Masks(uint32_t flags) {
  return {BitIf(flags, SynchroFlag_ToDestination, 2) | BitIf(flags, SynchroFlag_ToSource, 1),
          BitIf(flags, SynchroFlag_DeleteAtSource, 1) | BitIf(flags, SynchroFlag_DeleteAtDestination, 2)};
}

uint32_t iSynchro_ChangeBits(const SynchroMasks& masks, SynchroEnd end, bool isOtherPresent) {
  const uint32_t own =
      end == SynchroEnd_Source ? kSynchroState_SourceChanged : kSynchroState_DestinationChanged;
  const uint32_t whenAlone = kSynchroState_Both - own;
  return (masks.source & own) + (isOtherPresent ? 0 : masks.destination & whenAlone);
}

uint32_t iSynchro_Settle(const SynchroMasks& masks, uint32_t state, bool isAtSource, bool isAtDestination) {
  if (isAtSource == isAtDestination) return state;
  return isAtSource ? (masks.source & 2) | (masks.destination & 1)
                    : (masks.source & 1) | (masks.destination & 2);
}

SynchroTaken iSynchro_TakeListed(const SynchroMasks& masks, SynchroEnd end, const SynchroSide& listed,
                                 SynchroEntry* entry) {
  const uint32_t bits = iSynchro_ChangeBits(masks, end, entry->IsAt(iSynchro_Other(end)));
  const SynchroSide before = entry->sides[end];
  entry->sides[end] = listed;
  // Kept: a change that no flag follows is entered without a trace. The next run does not see it any more
  // when another change of the directory has stored it.
  if (bits == 0 || !HasOtherTime(before, listed.time)) return SynchroTaken::Values;
  entry->state |= bits;
  return Time_Compare(&before.time, &listed.time) > 0 ? SynchroTaken::BackInTime : SynchroTaken::Change;
}

char iSynchro_Mark(uint32_t flags, uint32_t state) {
  switch (state & kSynchroState_Both) {
    case 0:
      return '=';
    case kSynchroState_DestinationChanged:
      return '<';
    case kSynchroState_SourceChanged:
      return '>';
    case kSynchroState_Both:
      return MarkOfBothChanged(flags);
    default:
      Error("Kill the compiler!");
      return '=';
  }
}

SynchroAction iSynchro_Decide(uint32_t flags, const SynchroEntry& entry) {
  if (entry.Has(SynchroEntryFlag_LookAlike)) return {'=', SynchroStep::Leave, SynchroEnd_Source};
  const char mark = entry.Has(SynchroEntryFlag_Unclear) ? '=' : iSynchro_Mark(flags, entry.state);
  const SynchroEnd from = mark == '<' ? SynchroEnd_Destination : SynchroEnd_Source;
  if (entry.sides[from].directory != 0) {
    const bool recurses = (flags & SynchroFlag_Recurse) != 0;
    return {mark, recurses ? SynchroStep::Enter : SynchroStep::Pass, from};
  }
  if (mark != '<' && mark != '>') return {mark, SynchroStep::Leave, from};
  return {mark, entry.IsAt(from) ? SynchroStep::Copy : SynchroStep::Delete, from};
}

int32_t iSynchro_DecisionOf(const SynchroAction& action) {
  const bool isFromSource = action.from == SynchroEnd_Source;
  switch (action.step) {
    case SynchroStep::Enter:
      return SynchroDecision_Enter;
    case SynchroStep::Copy:
      return isFromSource ? SynchroDecision_CopyToDestination : SynchroDecision_CopyToSource;
    case SynchroStep::Delete:
      return isFromSource ? SynchroDecision_DeleteAtDestination : SynchroDecision_DeleteAtSource;
    default:
      return SynchroDecision_Leave;
  }
}

int32_t iSynchro_ReasonOf(const SynchroAction& action, const SynchroEntry& entry) {
  if (action.step == SynchroStep::Enter || action.step == SynchroStep::Pass) return SynchroReason_Directory;
  if (entry.Has(SynchroEntryFlag_Unclear)) return SynchroReason_Unclear;
  if (action.step == SynchroStep::Delete) return SynchroReason_Gone;
  if (action.step == SynchroStep::Leave)
    return action.mark == '!' ? SynchroReason_Conflict : SynchroReason_Unchanged;
  return entry.IsAt(iSynchro_Other(action.from)) ? SynchroReason_Changed : SynchroReason_Missing;
}

SynchroAction iSynchro_LeaveInstead(const SynchroAction& action) {
  const bool isDirectory = action.step == SynchroStep::Enter || action.step == SynchroStep::Pass;
  return {'=', isDirectory ? SynchroStep::Pass : SynchroStep::Leave, action.from};
}

ErrorCode iSynchro_Foresee(const SynchroAction& action, const SynchroEntry& entry) {
  const SynchroSide& target = entry.sides[iSynchro_Other(action.from)];
  if (target.present == 0 || target.directory == 0) return Error_None;
  return action.step == SynchroStep::Copy ? Error_Exists : Error_Invalid;
}

void iSynchro_TakeDone(const SynchroSide* made, SynchroEnd at, SynchroEntry* entry) {
  entry->state = 0;
  if (made != nullptr) {
    entry->sides[at] = *made;
  } else {
    entry->sides[at].present = 0;
  }
}
