// What is done to an entry: flags, presence and changes to a state, a state to a mark, a mark to an action.
// Pure: values in, values out. What moves files asks here and decides nothing itself.
#pragma once

#include <cstdint>

#include "qz/error.h"
#include "qz/synchro.h"
#include "synchro/synchro_entry_internal.h"
#include "synchro/synchro_listing_internal.h"

// The flag that lets a side's files be written and its folders be made.
inline constexpr uint32_t kSynchroCopyTo[kSynchroEnds] = {SynchroFlag_ToSource, SynchroFlag_ToDestination};

// The bits of a state, and of the masks below.
inline constexpr uint32_t kSynchroState_DestinationChanged = 1;
inline constexpr uint32_t kSynchroState_SourceChanged = 2;
inline constexpr uint32_t kSynchroState_Both = 3;

// What a synchroniser's flags let a side's listing say.
struct SynchroMasks {
  uint32_t source;       // 2: copy to the destination; 1: copy to the source
  uint32_t destination;  // 1: delete at the source; 2: delete at the destination
};

SynchroMasks iSynchro_Masks(uint32_t flags);

// The bits that a changed time on one side means. isOtherPresent: what is known of the other side by then.
uint32_t iSynchro_ChangeBits(const SynchroMasks& masks, SynchroEnd end, bool isOtherPresent);

// The state of an entry once both sides were listed. At least one side has it.
uint32_t iSynchro_Settle(const SynchroMasks& masks, uint32_t state, bool isAtSource, bool isAtDestination);

enum class SynchroTaken {
  Values,      // the values alone were replaced
  Change,      // the state has got bits
  BackInTime,  // the same, and the time known so far was later than the listed one
};

// Gives one side of a known entry its listed values.
SynchroTaken iSynchro_TakeListed(const SynchroMasks& masks, SynchroEnd end, const SynchroSide& listed,
                                 SynchroEntry* entry);

// '=', '<', '>' or '!'. flags: the synchroniser's.
char iSynchro_Mark(uint32_t flags, uint32_t state);

enum class SynchroStep {
  Leave,  // a file stays as it is
  Pass,   // a directory is not entered
  Enter,  // a directory is
  Copy,
  Delete,  // on the side that is not copied from
};

// What to do with an entry.
struct SynchroAction {
  char mark;
  SynchroStep step;
  SynchroEnd from;  // of a copy or a deletion
};

SynchroAction iSynchro_Decide(uint32_t flags, const SynchroEntry& entry);

// What is told of an entry: the decision (SynchroDecision) and why (SynchroReason).
int32_t iSynchro_DecisionOf(const SynchroAction& action);
int32_t iSynchro_ReasonOf(const SynchroAction& action, const SynchroEntry& entry);

// The action in place of one that is not wanted.
SynchroAction iSynchro_LeaveInstead(const SynchroAction& action);

// What an action that is only planned would certainly give: Error_None; Error_Exists for a copy onto a
// directory, Error_Invalid for the deletion of one.
ErrorCode iSynchro_Foresee(const SynchroAction& action, const SynchroEntry& entry);

// Enters what a copy has put on a side, or a deletion taken from it. made: null for a deletion.
void iSynchro_TakeDone(const SynchroSide* made, SynchroEnd at, SynchroEntry* entry);
