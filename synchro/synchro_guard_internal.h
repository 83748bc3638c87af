// What a guarded run does with an entry. Pure: values in, values out.
#pragma once

#include "synchro/synchro_decide_internal.h"

// What is done, and the SynchroReason for it.
struct SynchroVerdict {
  SynchroAction action;
  int32_t reason;
};

// The copy in place of a conflict that the caller has settled: answer, one of SynchroAnswer_CopyToSource and
// SynchroAnswer_CopyToDestination. Anything else leaves the entry.
SynchroVerdict iSynchro_SettleConflict(uint32_t flags, int32_t answer, const SynchroEntry& entry,
                                       const SynchroVerdict& verdict);

// Whether the line of an earlier run shows the file on both sides, with nothing left to do.
bool iSynchro_WasInStep(const SynchroEntry& entry);

// Whether the files of both sides are to be compared before anything is decided.
bool iSynchro_MustCompare(const SynchroEntry& entry);

// isWhole: both listings of the directory can be trusted in what they do not show. areAlike: what comparing
// has told, where it was to be done.
SynchroVerdict iSynchro_DecideGuarded(uint32_t flags, const SynchroEntry& entry, bool isWhole, bool areAlike);

// Whether the entry is in step, or a directory, whose line says what the sides have.
bool iSynchro_IsSettledBy(const SynchroVerdict& verdict);

// Whether the line of an entry that is settled now has to change. Of a directory only its presence counts.
bool iSynchro_DiffersFromLine(const SynchroEntry& entry);

// Gives an entry the values that its line is to have: those of the last time that it was in step. False for
// none.
bool iSynchro_TakeLine(SynchroEntry* entry);

// Whether a listing that shows nothing can be trusted: where files were known on that side, only when the
// directory has gone and the listing of its parent says so too.
bool iSynchro_IsTrusted(uint32_t listedEntries, bool isKnownThere, bool isGone, bool isRoot);
