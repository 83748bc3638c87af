// An entry of a directory, as both sides have it: what a listing tells and what is remembered between runs.
#pragma once

#include <cstdint>

#include "qz/error.h"
#include "qz/time.h"

// The two sides. The order is that of every table with a column for each.
enum SynchroEnd : uint32_t { SynchroEnd_Source = 0, SynchroEnd_Destination = 1 };
inline constexpr uint32_t kSynchroEnds = 2;

constexpr SynchroEnd iSynchro_Other(SynchroEnd end) {
  return end == SynchroEnd_Source ? SynchroEnd_Destination : SynchroEnd_Source;
}

// One side's five values.
struct SynchroSide {
  uint32_t present;    // 1 or 0
  uint32_t directory;  // 1 or 0
  uint32_t size;       // bytes; of a directory, the number of links
  Time time;           // of the last modification
};

// What the listings of this run said of an entry. Not stored.
enum SynchroEntryFlag : uint32_t {
  SynchroEntryFlag_Listed = 1,    // a line that could be read showed it
  SynchroEntryFlag_New = 2,       // this run's listings made it
  SynchroEntryFlag_AtSource = 4,  // ... the source's one
  SynchroEntryFlag_Unclear = 8,   // a line showed its name and no usable values: nothing is done to it
  SynchroEntryFlag_Settled =
      16,  // guarded: what the sides have is what its line is to say; of an intent: closed
  SynchroEntryFlag_LookAlike =
      64,  // unclear: another name differs from it only in case, and a side knows no case
  SynchroEntryFlag_InPlace = 32,  // of an intent: see SynchroIntent
  // Guarded:
  SynchroEntryFlag_Ambiguous = 256,        // a listing may mean another name: nothing is done to it
  SynchroEntryFlag_UndatedAtSource = 512,  // the time came from a time stamp of its own
  SynchroEntryFlag_UndatedAtDestination = 1024,
  SynchroEntryFlag_UnflushedAtSource = 4096,  // copied to there, and not yet on the disk
  SynchroEntryFlag_UnflushedAtDestination = 8192,
  SynchroEntryFlag_AsideAtSource = 16384,  // a plan: shown under another name, that a run gives back first
  SynchroEntryFlag_AsideAtDestination = 32768,
  SynchroEntryFlag_Uploaded = 2048,  // what it is there is not known before the folder is listed again
};

struct SynchroEntry {
  char* name;      // owned by the table
  uint32_t state;  // the low two bits: 2, the source changed; 1, the destination changed
  uint32_t flags;  // SynchroEntryFlag
  SynchroSide sides[kSynchroEnds];
  SynchroSide before[kSynchroEnds] = {};  // as the table had them; all 0 for a new entry

  bool Has(SynchroEntryFlag flag) const { return (flags & flag) != 0; }
  bool IsAt(SynchroEnd end) const { return sides[end].present != 0; }
};
