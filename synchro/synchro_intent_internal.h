// What a run was about to put on a side when it ended without noting that it was done. The next run looks at
// that side: what stands there as it was intended is the run's own work, not somebody's edit.
//
//   the journal says   the side shows                     the entry is taken
//   begun              what was intended                  as done
//   begun              something else                     as it was before
//   begun on a server  what the table has                 as it was before (guarded): only the size was known
//   begun in place     something else                     as it was before, with what is shown as known: half
//                                                         a file that the run itself has written
#pragma once

#include "synchro/synchro_entries_internal.h"

struct SynchroIntent {
  SynchroEnd at;         // the side that is written
  SynchroSide expected;  // what it is to show; a time of all ones: not known beforehand
  bool isInPlace;        // the file there is written as the bytes come; else it is replaced at one stroke
};

inline constexpr Time kSynchroUnknownTime = {UINT32_MAX, UINT32_MAX};

// The open intents of a directory, by the names of the entries. Each is an entry: `sides` has what both sides
// are to have, `state` and `before` what the table says as long as it is not done; New: the table has none.
class SynchroIntents {
 public:
  // Error_None or Error_Memory. after: the entry with what is expected. known: what the table has of it; null
  // for nothing. Of two intents of one name the later one counts.
  ErrorCode Keep(const SynchroEntry& after, const SynchroEntry* known, const SynchroIntent& intent);
  // Nothing is open under the name any more.
  void Close(const char* name);

  // Null when none is open under the name.
  const SynchroEntry* Find(const char* name);
  static SynchroIntent IntentOf(const SynchroEntry& kept);

  bool HasAny();
  // Calls the method for each.
  template <typename Method>
  void ForEach(Method method) {
    for (uint32_t i = 0; i < list_.Count(); ++i) {
      if (!list_.At(i).Has(SynchroEntryFlag_Settled)) method(list_.At(i));
    }
  }

 private:
  SynchroEntries list_;
};

// Whether a side shows what was intended. Where the time was not known the size decides.
bool iSynchro_IsAsIntended(const SynchroIntent& intent, const SynchroSide& shown);

// The entries have what the journal says, as if all were done. What is not done is taken back, and nothing is
// open any more, but for entries of which the listings do not tell enough.

// Before a line of a side's listing is entered.
void iSynchro_JudgeListed(SynchroEnd end, const SynchroSide& listed, SynchroIntents* intents,
                          SynchroEntry* entry);
// Behind both listings: for the entries that none of their lines has judged.
void iSynchro_JudgeUnlisted(SynchroIntents* intents, SynchroEntries* entries);
// The same for a guarded run, once the entries have the values of both sides. isWhole: what these do not show
// is not there.
void iSynchro_JudgeGuarded(bool isWhole, SynchroIntents* intents, SynchroEntries* entries);
