// What a guarded run asks of a side, whichever kind it is: local folders (synchro_kind_local.cpp) or an FTP
// server (synchro_kind_ftp.cpp).
#pragma once

#include "synchro/synchro_reading_internal.h"
#include "synchro/synchro_side_internal.h"

// What reading a folder has told, besides its entries.
struct SynchroFolder {
  bool isMissing;     // the side says that it is not there
  bool isWhole;       // every line was understood, and the last one was complete
  bool hasLongLines;  // names with blanks and arrows are ambiguous
};

struct SynchroReadRequest {
  const char* path;
  bool isLoginFolder;  // FTP: the folder that the login leads to, which has no path
  bool mayCreate;      // makes a missing one
  bool isShown;        // its parent's listing has it: refused, it is not missing
  int32_t listPlace;   // the system directory for listings on the way
  ErrorCode (*take)(void* context, const SynchroRead& found);  // a failure ends the reading
  void* context;
};

// How an entry is asked for again.
struct SynchroQuestion {
  const char* folder;
  const char* path;
  const char* name;
  SynchroSide listed;
  bool isUndated;      // its time came from a time stamp of its own
  bool mustKnowTime;   // it is to be replaced or deleted
  bool isLoginFolder;  // as above
  int32_t listPlace;
};

// A failure that means that the connection has gone has closed the side.
struct SynchroKind {
  ErrorCode (*read)(SynchroConnection* side, const SynchroReadRequest& request, SynchroFolder* folder);
  // What stands there now; not present for nothing, which a server must have said by code 550.
  ErrorCode (*ask)(SynchroConnection* side, const SynchroQuestion& question, SynchroSide* now);
  // The time stamp of a file whose line has none. Error_Invalid when there is none; null: all are dated.
  ErrorCode (*askTime)(SynchroConnection* side, const char* path, Time* time);
  ErrorCode (*askSize)(SynchroConnection* side, const char* path, uint64_t* sizeBytes);
};

// Null for a protocol that cannot be guarded.
const SynchroKind* iSynchro_KindOf(const SynchroConnection& side);

extern const SynchroKind kSynchroKind_Local;
extern const SynchroKind kSynchroKind_FTP;

// Closes a side whose connection has gone; the status is passed on.
ErrorCode iSynchro_CloseLost(SynchroConnection* side, ErrorCode status);

// A file for a listing, removed at the end.
class SynchroListFile {
 public:
  SynchroListFile() = default;
  ~SynchroListFile();
  SynchroListFile(const SynchroListFile&) = delete;
  SynchroListFile& operator=(const SynchroListFile&) = delete;

  ErrorCode Choose(int32_t systemDirectory);
  const char* Path() const { return path_; }

 private:
  char path_[kFileNameSize] = "";
};
