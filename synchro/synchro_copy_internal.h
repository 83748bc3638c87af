// Copying one file from a side to a side.
#pragma once

#include "synchro/synchro_side_internal.h"

// The name under which a local file is written before it takes its place. It is kept in a file beside the
// tables as long as something may stand under it: what a killed run leaves, the next one removes.
inline constexpr char kSynchro_TemporaryPrefix[] = "xfer";
// In the record, behind a file of a server that was moved aside: its own name follows.
inline constexpr char kSynchro_OwnNameSeparator = '\t';

struct SynchroTemporary {
  char recordPath[kFileNameSize];  // NAME.xfer
  char folder[kFileNameSize];      // where `path` is; empty for none
  char path[kFileNameSize];
  char* leftovers;  // owned: names that could not be removed, each with a line end; may be null
};

// The name of a file on a server is noted as "ftp://user@host:port/folder/xfer1"; of an old file that was
// moved aside, with a tab and its own name behind it.

// Removes what the last run left. mayRemove false: everything is left as it is, and counts as a leftover.
// directory: as iSynchro_FindBeside.
// Fails, and leaves the record as it is, when that cannot be read: its files would be forgotten.
ErrorCode iSynchro_BeginTemporaries(const char* directory, const char* synchroName, bool mayRemove,
                                    SynchroTemporary* temporary);
// Forgets the names whose files are gone.
void iSynchro_EndTemporaries(SynchroTemporary* temporary);
// Whether a path, or a name on a server, is that of a leftover. ownName: as iSynchro_IsLeftoverEntry.
bool iSynchro_IsLeftover(const SynchroTemporary& temporary, const char* path, char* ownName);
// A free name beside `target`, noted. `path` holds it.
ErrorCode iSynchro_ChooseTemporary(const char* target, SynchroTemporary* temporary);
// Removes the file under the name, if there is one.
void iSynchro_RemoveTemporary(SynchroTemporary* temporary);

// For names on a server. Writes what is to be remembered.
ErrorCode iSynchro_WriteRecord(const SynchroTemporary& temporary);
// False when it cannot be remembered.
bool iSynchro_AddLeftover(const char* line, SynchroTemporary* temporary);
void iSynchro_DropLeftover(const char* line, SynchroTemporary* temporary);

// What is told before the target is touched: a file of these values is about to be there (a time of
// kSynchroUnknownTime is not known yet). isInPlace: the target is written as the bytes come; else it is
// replaced at one stroke. After a failure it must stay as it is.
struct SynchroCopyNote {
  ErrorCode (*method)(void* context, const SynchroSide& expected, bool isInPlace);
  void* context;
  void (*takeBack)(void* context) = nullptr;  // the target was not touched after all
};

struct SynchroCopy {
  SynchroConnection* from;
  SynchroConnection* to;
  const char* fromPath;
  const char* toPath;
  SynchroTemporary* temporary;
  bool isGuarded = false;  // a new local file's time is recorded as it is, not as a listing shows it; a file
                           // on a server is stored under a temporary name
  const SynchroCopyNote* note = nullptr;  // may be null
  bool replaces = false;                  // guarded: the target has the file
  uint64_t length = UINT64_MAX;           // guarded: of the file, in bytes; all ones: not known
  bool mayFlushLater = false;             // a local file need not be on the disk at once
};

// Copies a file; *made receives the values of the new one. Error_None; Error_Invalid when a side is not open,
// or when the server does not tell the new file's size or time; Error_Fail when nothing can be copied there;
// Error_NotFound without the file; Error_Exists when a folder is in its place; Error_Ended when it came
// incomplete; Error_Cancel when the sides were interrupted; else what the connections and the file system
// give.
ErrorCode iSynchro_CopyFile(const SynchroCopy& copy, SynchroSide* made);
