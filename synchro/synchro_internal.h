// The synchroniser's record, and what its files share.
//
//   synchro_listing.cpp    a line of a listing to values (pure)
//   synchro_decide.cpp     flags, presence and changes to a state, a mark, an action (pure)
//   synchro_entries.cpp    the entries of a directory in memory
//   synchro_lines.cpp      lines out of a file
//   synchro_table.cpp      index and tables, synchro_journal.cpp what was done since a table was saved
//   synchro_intent.cpp     what was begun and not noted as done (pure)
//   synchro_frame.cpp      one directory of a walk: its table opened, updated by listings, saved
//   synchro_side.cpp       a side: opened, listed, closed
//   synchro_copy.cpp       one file from a side to a side
//   synchro_temporary.cpp  the names that local files are written under
//   synchro_flush.cpp      new files brought to the disk
//   synchro_guard.cpp      what a guarded run does with an entry (pure), synchro_guarded.cpp how
//   synchro_kind*.cpp      what it asks of a side, for each kind; synchro_reading.cpp a server's lines (pure)
//   synchro_upload.cpp     a file to a server, under a temporary name first
//   synchro_run.cpp        the walk
//   synchro.cpp            the object: made, started, asked, deleted
#pragma once

#include <atomic>

#include "qz/semaphore.h"
#include "qz/stack.h"
#include "qz/synchro.h"
#include "qz/thread.h"
#include "synchro/synchro_copy_internal.h"
#include "synchro/synchro_decide_internal.h"
#include "synchro/synchro_guard_internal.h"
#include "synchro/synchro_side_internal.h"
#include "synchro/synchro_table_internal.h"

// A directory that is being walked. An element of the stack of frames.
struct SynchroFrame {
  bool isOpened = false;                        // its table was read
  bool isBad = false;                           // ... and is damaged
  bool isWhole = true;                          // guarded: what the listings do not show is not there
  bool isProcessed = false;                     // both sides were listed, and the table is up to date
  bool isChanged = false;                       // the table differs from its file
  bool isShown[kSynchroEnds] = {};              // the parent's listing has the directory
  bool wasKnown[kSynchroEnds] = {};             // the parent's table had the directory
  bool isMade[kSynchroEnds] = {};               // guarded: this run has made the directory
  bool isTrusted[kSynchroEnds] = {true, true};  // guarded: what the side's listing does not show is not there
  bool hasLongLines = false;                    // guarded: a side has listed names that may be ambiguous
  bool mayHide[kSynchroEnds] = {};              // guarded: a side's listing may leave out dot files
  bool hasUploads[kSynchroEnds] = {};
  const SynchroFrame* parent = nullptr;  // null for the roots
  SynchroIdentity identities[kSynchroEnds] = {};
  uint32_t unflushed[kSynchroEnds] = {};  // guarded: new files that are not yet on the disk
  uint32_t flushedEntries = 0;            // those before this position are
  uint32_t cursor = 0;                    // of the next entry to act on
  char directory[kFileNameSize];          // relative to the roots; empty for them
  char tablePath[kFileNameSize];          // empty: it has none yet
  bool hasJournal = false;                // an earlier run ended before it could save the table
  SynchroJournal journal;
  SynchroEntries entries;
  SynchroIntents intents;
};

// Where a run is, for those who want to start another one or to free the record.
enum class SynchroPhase {
  None,  // the record is nobody's
  Running,
  Ending,  // its state is the last one; the record is still used
};

struct Synchro {
  const char* directory;  // of the tables; null: the cache directory
  const char* name;
  SynchroIndex index;
  uint32_t flags;
  SynchroMasks masks;
  Semaphore* lock;   // guards changes of the state
  Thread* thread;    // null: none was started
  Stack* frames;     // of SynchroFrame
  uint32_t depth;    // their number
  uint32_t entered;  // all directories of the run so far
  SynchroConnection sides[kSynchroEnds];
  SynchroTemporary temporary;
  Word statusValue;
  SynchroStatusMethod statusMethod;
  Word entryValue;
  SynchroEntryMethod entryMethod;
  Word resultValue;
  SynchroResultMethod resultMethod;
  bool isPlanOnly;
  bool isGuarded;
  ErrorCode failure;  // a table that could not be saved: the run ends with it
  std::atomic<int32_t> state{SynchroState_Created};
  std::atomic<uint32_t> counters[SynchroCounter_Count]{};
  SockInterrupt interrupt;  // set with the request to stop
  std::atomic<SynchroPhase> phase{SynchroPhase::None};
  std::atomic<uint32_t> runThread{0};  // the run's thread; 0: none
};

// ---- synchro.cpp -------------------------------------------------------------------------------

// Sends a status line.
void iSynchro_Report(Synchro* synchro, const char* format, ...) QZ_PRINTF(2, 3);

// False, and no change, once a stop was requested. error: for SynchroState_Failed.
bool iSynchro_SetState(Synchro* synchro, int32_t state, ErrorCode error);

inline bool iSynchro_IsStopped(const Synchro* synchro) {
  return synchro->state.load() == SynchroState_StopRequested;
}

// ---- synchro_frame.cpp -------------------------------------------------------------------------

// Reads the table of the directory, and what was done since it was saved. A damaged one is told by isBad.
ErrorCode iSynchro_OpenFrame(Synchro* synchro, SynchroFrame* frame);

// Whether a side takes names that differ only in case for one.
bool iSynchro_IgnoresCase(const Synchro& synchro);

// Tells that a side is listed now.
void iSynchro_ReportListing(Synchro* synchro, const SynchroFrame& frame, SynchroEnd end);

// Nothing is present on the side any more, until its listing shows it again. Only the presence: what was
// known of a file that has gone is kept with it.
void iSynchro_ClearPresence(SynchroFrame* frame, SynchroEnd end);

// Whether an entry of a side is what an earlier run could not remove. ownName:
// of an old file that was moved aside, kFileNameSize bytes; empty for another
// one.
bool iSynchro_IsLeftoverEntry(const Synchro& synchro, const SynchroFrame& frame, SynchroEnd end,
                              const char* name, char* ownName);

// Brings the table up to date. lists: the files of both listings, null for an empty one.
ErrorCode iSynchro_UpdateFrame(Synchro* synchro, SynchroFrame* frame,
                               const char* const (&lists)[kSynchroEnds]);

// Writes the table when it has changed. A failure is told, and ends the run.
void iSynchro_SaveFrame(Synchro* synchro, SynchroFrame* frame);

// Notes what is about to be done to an entry. After a failure it must not be done.
ErrorCode iSynchro_NoteIntent(SynchroFrame* frame, const SynchroEntry& entry, const SynchroIntent& intent);
// What was noted has failed; the next run looks how far it came.
void iSynchro_KeepIntent(Synchro* synchro, SynchroFrame* frame, const SynchroEntry& entry,
                         const SynchroIntent& intent);
// Notes that an action on an entry was done. A failure is told.
void iSynchro_NoteDone(Synchro* synchro, SynchroFrame* frame, const SynchroEntry& entry);

// Saves and frees what the frame holds.
void iSynchro_CloseFrame(Synchro* synchro, SynchroFrame* frame);

// ---- synchro_flush.cpp -------------------------------------------------------------------------

// Whether the copy of an entry may come to the disk later.
bool iSynchro_MayFlushLater(const Synchro& synchro, const SynchroEntry& entry, SynchroEnd at);
// It was copied; what the journal has of it stays.
void iSynchro_FlushLater(SynchroFrame* frame, SynchroEnd at, SynchroEntry* entry);
// Flushes what was copied so far. What cannot be flushed, or is not once the run is to stop, is not
// remembered as done. A failure is told.
void iSynchro_FlushCopies(Synchro* synchro, SynchroFrame* frame);
inline constexpr uint32_t kSynchroMostUnflushed = 256;

// ---- synchro_guarded.cpp -----------------------------------------------------------------------

// Reads both folders, and tells the lines of a listing. A root that cannot be trusted fails the run.
ErrorCode iSynchro_PrepareGuarded(Synchro* synchro, SynchroFrame* frame);

// Whether the files of both sides have the same bytes; where one is on a server, the same size, and no line
// in step: both have changed then.
bool iSynchro_AreAlike(Synchro* synchro, const SynchroFrame& frame, const SynchroEntry& entry);

// Asks both sides again, target: the one that is written or deleted from. Error_None when they are as they
// were listed; Error_Exists for a file in a free place; Error_Retry for another change; else what the side
// gives.
ErrorCode iSynchro_Confirm(Synchro* synchro, const SynchroFrame& frame, const SynchroEntry& entry,
                           SynchroEnd target);
// The target alone, once its new file is complete: a copy may take hours.
ErrorCode iSynchro_ConfirmTarget(Synchro* synchro, const SynchroFrame& frame, const SynchroEntry& entry,
                                 SynchroEnd target);

// Enters what a copy has put on a side. A file on a server is settled when its folder is listed again.
void iSynchro_TakeCopied(SynchroFrame* frame, SynchroEnd at, const SynchroSide& made, SynchroEntry* entry);

// Lists the sides with uploads again: each file that has arrived as it was sent is in step.
void iSynchro_SettleUploads(Synchro* synchro, SynchroFrame* frame);

// ---- synchro_run.cpp ---------------------------------------------------------------------------

// Asks the caller about an entry; SynchroAnswer_Proceed without an entry method.
int32_t iSynchro_Ask(const Synchro& synchro, const SynchroFrame& frame, const SynchroEntry& entry,
                     const SynchroVerdict& verdict);

// Tells the caller that a name is left that cannot be synchronised.
void iSynchro_TellUnusable(const Synchro& synchro, const SynchroFrame& frame, SynchroEnd end,
                           const char* name);

// The whole run; sets the state at its end.
ErrorCode iSynchro_Run(Synchro* synchro);
