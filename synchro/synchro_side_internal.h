// One side of a synchroniser: an FTP or HTTP server, or the local file system.
#pragma once

#include "net/sock_internal.h"
#include "os/file/file_internal.h"
#include "qz/ftpc.h"
#include "qz/httpc.h"
#include "qz/url.h"
#include "synchro/synchro_entry_internal.h"

// What an anonymous login is sent with.
inline constexpr char kSynchro_AnonymousUser[] = "ftp";
inline constexpr char kSynchro_AnonymousPassword[] = "anonymous@";

enum class SynchroFeatures {
  Unknown,  // not asked yet
  None,
  Facts,  // MLSD and MLST
};

struct SynchroConnection {
  URLData url;                     // its texts are the synchroniser's
  const SockInterrupt* interrupt;  // ends every wait; borrowed
  bool isOpen;
  bool isActive;                    // FTP: the server opens the data connections
  HTTPc* http;                      // owned; null for another protocol
  FTPc* ftp;                        // owned; null for another protocol
  bool isHTTPUsed;                  // the connection has had its one request
  SynchroFeatures features;         // FTP, guarded
  bool isTimeUnknown;               // ... the server does not know MDTM
  bool isSizeTold;                  // ... it has told a size: one that it refuses is that of no file
  bool isCleaned;                   // ... what a killed run left was removed
  char loginFolder[kFileNameSize];  // FTP without a path in the URL: what its paths are relative to
};

// Error_None, also when it is open already; Error_Invalid for a protocol that cannot be opened; else what the
// connection gives.
ErrorCode iSynchro_OpenSide(SynchroConnection* side);
void iSynchro_CloseSide(SynchroConnection* side);

// The path of a directory on a side (path: kFileNameSize bytes). directory: relative to the roots; empty for
// them, and then the path ends with "/". Error_Exceed; Error_Invalid for a local side without a path.
ErrorCode iSynchro_FolderPath(const SynchroConnection& side, const char* directory, char* path);
// The path of one of its entries.
ErrorCode iSynchro_EntryPath(const SynchroConnection& side, const char* directory, const char* name,
                             char* path);

// Whether a directory is the root of a URL without a path: the current folder after the login.
inline bool iSynchro_IsLoginFolder(const SynchroConnection& side, const char* directory) {
  return side.url.path == nullptr && directory[0] == '\0';
}

// A local directory, told from every other. Nothing is known of one on a server.
struct SynchroIdentity {
  bool isKnown = false;
  uint64_t volume = 0;
  uint64_t number = 0;

  bool IsSame(const SynchroIdentity& other) const {
    return isKnown && other.isKnown && volume == other.volume && number == other.number;
  }
};
SynchroIdentity iSynchro_Identify(const SynchroConnection& side, const char* directory);

// The side's URL without its password, and the directory, for people.
void iSynchro_ShowFolder(const SynchroConnection& side, const char* directory, char (&text)[kFileNameSize]);

// Lists a directory into a file. mayCreate: makes a missing one. isShown: what is known says that the side
// has the directory. *isEmpty: there is nothing to list, and no file. Error_None; Error_NoAccess when the
// directory cannot be listed and is shown, or cannot be made; Error_NotInited for HTTP; else what the
// connection or the file system gives.
ErrorCode iSynchro_ListFolder(SynchroConnection* side, const char* directory, bool mayCreate, bool isShown,
                              const char* listFile, bool* isEmpty);

// What a local file or directory has: its size, all ones above 32 bits, and its time in whole seconds.
SynchroSide iSynchro_LocalValues(bool isDirectory, uint64_t sizeBytes, const Time& modified);
// The same of what stands at a path; not present for nothing.
ErrorCode iSynchro_ReadLocal(const char* path, SynchroSide* side);

// Deletes a file. Error_NotInited when the side is not open; Error_Fail for HTTP; Error_Invalid for a
// directory.
ErrorCode iSynchro_DeleteFile(SynchroConnection* side, const char* path);

// Whether a failure means that the connection has gone.
inline bool iSynchro_IsConnectionLost(ErrorCode status) {
  return status == Error_Ended || status == Error_Retry || status == Error_Timeout;
}
