// Uploads of guarded runs:
//
//   STOR xfer1                  beside the target
//   SIZE xfer1                  it must be as long as what was sent
//   MLST target                 or SIZE: what has come to its place meanwhile stays
//   RNFR xfer1, RNTO target     at one stroke, where the server replaces files so
//
// A server that refuses the last step while the old file stands there gets the old one moved aside first:
//
//   RNFR target, RNTO xfer2     from here on the record says that xfer2 is the target
//   RNFR xfer1, RNTO target     refused again: RNFR xfer2, RNTO target
//   DELE xfer2
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "net/ftpc_internal.h"
#include "qz/error.h"
#include "qz/os.h"
#include "synchro/synchro_intent_internal.h"
#include "synchro/synchro_kind_internal.h"
#include "synchro/synchro_listing_internal.h"
#include "synchro/synchro_upload_internal.h"
#include "synchro/synchro_upload_testing.h"

namespace {

constexpr uint32_t kMostTries = 8;
constexpr uint32_t kNumbers = 900000000;

// When a run is stopped: for the replies that are under way, and for each command behind them.
constexpr uint32_t kLastWordMilliseconds = 250;

std::atomic<uint32_t> nextNumber{0};

// Two machines may copy into one folder at the same time: they begin at different numbers.
uint32_t TakeNumber() {
  if (nextNumber.load() == 0) {
    Time now;
    Time_Get(&now);
    nextNumber.store((now.seconds * 1000u + now.milliseconds) % kNumbers + 1);
  }
  return nextNumber.fetch_add(1);
}

bool IsStopped(const SynchroConnection& side) {
  return side.interrupt != nullptr && side.interrupt->IsSet();
}

std::string_view FolderOf(std::string_view path) {
  return path.substr(0, path.rfind('/') + 1);
}

const char* LastPart(const char* path) {
  const char* const separator = strrchr(path, '/');
  return separator != nullptr ? separator + 1 : path;
}

// ---- temporary names ---------------------------------------------------------------------------

// Error_None when the server says that nothing has the name; Error_Exists.
ErrorCode CheckFree(SynchroConnection* side, const char* path) {
  char folder[kFileNameSize];
  SynchroSide now;
  snprintf(folder, sizeof folder, "%s", path);
  folder[FolderOf(path).size()] = '\0';
  const SynchroQuestion question = {folder, path, LastPart(path), {}, false, false, false, SysDir_Temp};
  const ErrorCode status = iSynchro_KindOf(*side)->ask(side, question, &now);
  if (status != Error_None) return status;
  return now.present == 0 ? Error_None : Error_Exists;
}

ErrorCode FindFreeName(SynchroConnection* side, const char* target, char (&path)[kFileNameSize]) {
  const std::string_view folder = FolderOf(target);
  ErrorCode status = Error_Exists;
  for (uint32_t i = 0; i < kMostTries && status == Error_Exists; ++i) {
    const int length =
        snprintf(path, sizeof path, "%.*s%s%lu", static_cast<int>(folder.size()), folder.data(),
                 kSynchro_TemporaryPrefix, static_cast<unsigned long>(TakeNumber()));
    if (length < 0 || static_cast<size_t>(length) >= sizeof path) return Error_Exceed;
    status = CheckFree(side, path);
  }
  return status;
}

void Forget(SynchroTemporary* temporary) {
  temporary->folder[0] = '\0';
  temporary->path[0] = '\0';
}

// The name that the folder's uploads have; it is free again behind each of them.
ErrorCode ChooseName(const SynchroCopy& copy, char (&path)[kFileNameSize]) {
  SynchroTemporary* const temporary = copy.temporary;
  char folder[kFileNameSize];
  char folderName[kFileNameSize];
  snprintf(folder, sizeof folder, "%s", copy.toPath);
  folder[FolderOf(copy.toPath).size()] = '\0';
  ErrorCode status = iSynchro_ServerName(*copy.to, folder, folderName);
  if (status != Error_None) return status;
  if (temporary->path[0] != '\0' && strcmp(temporary->folder, folderName) == 0) {
    snprintf(path, sizeof path, "%s%s", folder, LastPart(temporary->path));
    return Error_None;
  }
  Forget(temporary);
  status = FindFreeName(copy.to, copy.toPath, path);
  if (status == Error_None) status = iSynchro_ServerName(*copy.to, path, temporary->path);
  if (status == Error_None) status = iFile_CopyName(folderName, temporary->folder);
  if (status == Error_None) status = iSynchro_WriteRecord(*temporary);
  if (status != Error_None) Forget(temporary);
  return status;
}

// ---- removing ----------------------------------------------------------------------------------

// True when the server says that nothing is there any more.
bool Remove(SynchroConnection* side, const char* path) {
  Reply reply;
  if (!side->isOpen) return false;
  if (FTPc_DeleteFile(side->ftp, path, &reply) == Error_None) return true;
  return side->isOpen && CheckFree(side, path) == Error_None;
}

// The same for a run that is stopped: the server gets no more than a moment.
bool RemoveSoon(SynchroConnection* side, const char* path) {
  if (!side->isOpen) return false;
  Reply reply;
  iFTPc_SetInterrupt(side->ftp, nullptr);
  iFTPc_DropReplies(side->ftp, kLastWordMilliseconds);
  const ErrorCode status = iFTPc_ExchangeSoon(side->ftp, "DELE", path, kLastWordMilliseconds, &reply);
  iFTPc_SetInterrupt(side->ftp, side->interrupt);
  return status == Error_None && reply.replyClass == kFTPClass_Completed;
}

void RemoveStored(const SynchroCopy& copy, const char* path) {
  const bool isRemoved = IsStopped(*copy.to) ? RemoveSoon(copy.to, path) : Remove(copy.to, path);
  if (isRemoved) return;
  iSynchro_AddLeftover(copy.temporary->path, copy.temporary);
  Forget(copy.temporary);
}

// ---- storing -----------------------------------------------------------------------------------

// By MLST, where the server does not know SIZE; else it is believed.
ErrorCode CheckStoredByFacts(const SynchroCopy& copy, const char* path, uint64_t length) {
  if (copy.to->features != SynchroFeatures::Facts) return Error_None;
  const SynchroQuestion question = {"", path, LastPart(path), {}, false, false, false, SysDir_Temp};
  SynchroSide stored;
  const ErrorCode status = iSynchro_KindOf(*copy.to)->ask(copy.to, question, &stored);
  if (status != Error_None) return status == Error_Invalid ? ErrorCode{Error_None} : status;
  const bool isWhole = stored.present != 0 && stored.size == iSynchro_LocalValues(false, length, {}).size;
  return isWhole ? Error_None : Error_Ended;
}

ErrorCode CheckStored(const SynchroCopy& copy, const char* path, uint64_t length) {
  Reply reply;
  uint64_t stored = 0;
  const ErrorCode status = FTPc_FileSize64(copy.to->ftp, path, &stored, &reply);
  if (status == Error_Invalid) return CheckStoredByFacts(copy, path, length);
  if (status != Error_None) return status;
  copy.to->isSizeTold = true;
  return stored == length ? Error_None : Error_Ended;
}

ErrorCode Store(const SynchroCopy& copy, const char* path, File* file, uint64_t length) {
  Reply reply;
  uint64_t sent = 0;
  const ErrorCode status = FTPc_Store64(copy.to->ftp, path, File_GetStream(file), length, &sent, &reply);
  if (status != Error_None) return status;
  if (sent != length) return Error_Ended;
  return CheckStored(copy, path, length);
}

// ---- taking the place --------------------------------------------------------------------------

// Tells what is about to be there, and whether it still may be.
ErrorCode Tell(const SynchroCopy& copy, const SynchroSide& expected) {
  return copy.note != nullptr ? copy.note->method(copy.note->context, expected, false) : Error_None;
}

// The old file is there, under its own name.
void TakeBack(const SynchroCopy& copy) {
  if (copy.note != nullptr && copy.note->takeBack != nullptr) copy.note->takeBack(copy.note->context);
}

// An old file that stands under another name. The line says which is its own.
struct Aside {
  char path[kFileNameSize];
  char line[kFileNameSize];
};

ErrorCode NoteAside(const SynchroCopy& copy, Aside* aside) {
  char name[kFileNameSize];
  ErrorCode status = FindFreeName(copy.to, copy.toPath, aside->path);
  if (status == Error_None) status = iSynchro_ServerName(*copy.to, aside->path, name);
  if (status != Error_None) return status;
  const int length = snprintf(aside->line, sizeof aside->line, "%s%c%s", name, kSynchro_OwnNameSeparator,
                              LastPart(copy.toPath));
  if (length < 0 || static_cast<size_t>(length) >= sizeof aside->line) return Error_Exceed;
  if (!iSynchro_AddLeftover(aside->line, copy.temporary)) return Error_Memory;
  status = iSynchro_WriteRecord(*copy.temporary);
  if (status != Error_None) iSynchro_DropLeftover(aside->line, copy.temporary);
  return status;
}

void DropAside(const SynchroCopy& copy, const Aside& aside) {
  iSynchro_DropLeftover(aside.line, copy.temporary);
  iSynchro_WriteRecord(*copy.temporary);
}

bool RenameSoon(FTPc* ftp, const char* path, const char* newPath) {
  Reply reply;
  iFTPc_DropReplies(ftp, kLastWordMilliseconds);
  ErrorCode status = iFTPc_ExchangeSoon(ftp, "RNFR", path, kLastWordMilliseconds, &reply);
  if (status != Error_None || reply.replyClass != kFTPClass_Intermediate) return false;
  status = iFTPc_ExchangeSoon(ftp, "RNTO", newPath, kLastWordMilliseconds, &reply);
  return status == Error_None && reply.replyClass == kFTPClass_Completed;
}

// Gives the old file its name back; what cannot be done now is done by the next run.
void Restore(const SynchroCopy& copy, const Aside& aside) {
  Reply reply;
  bool isRestored = false;
  if (IsStopped(*copy.to)) {
    iFTPc_SetInterrupt(copy.to->ftp, nullptr);
    isRestored = RenameSoon(copy.to->ftp, aside.path, copy.toPath);
    iFTPc_SetInterrupt(copy.to->ftp, copy.to->interrupt);
  } else {
    isRestored = FTPc_RenameFile(copy.to->ftp, aside.path, copy.toPath, &reply) == Error_None;
  }
  if (!isRestored) return;
  DropAside(copy, aside);
  TakeBack(copy);
}

ErrorCode ReplaceByWayOfAside(const SynchroCopy& copy, const char* path) {
  Aside aside;
  Reply reply;
  ErrorCode status = NoteAside(copy, &aside);
  if (status != Error_None) return status;
  status = FTPc_RenameFile(copy.to->ftp, copy.toPath, aside.path, &reply);
  if (status != Error_None) {
    // Refused, and nothing has moved; after anything else nobody knows.
    if (reply.replyClass == kFTPClass_Refused) DropAside(copy, aside);
    return status;
  }
  status = FTPc_RenameFile(copy.to->ftp, path, copy.toPath, &reply);
  if (status != Error_None) {
    Restore(copy, aside);
    return status;
  }
  if (Remove(copy.to, aside.path)) DropAside(copy, aside);
  return Error_None;
}

ErrorCode PutInPlace(const SynchroCopy& copy, const char* path) {
  Reply reply;
  const ErrorCode status = FTPc_RenameFile(copy.to->ftp, path, copy.toPath, &reply);
  const bool isRefused = status != Error_None && reply.replyClass == kFTPClass_Refused;
  if (isRefused && copy.replaces) return ReplaceByWayOfAside(copy, path);
  if (isRefused) TakeBack(copy);
  return status;
}

// ---- what earlier runs have left ---------------------------------------------------------------

// True when nothing is to be remembered any more.
bool CleanAside(SynchroConnection* side, const char* path, const char* ownName) {
  char target[kFileNameSize];
  const std::string_view folder = FolderOf(path);
  if (!iSynchro_IsUsableName(ownName, false)) return false;
  const int length =
      snprintf(target, sizeof target, "%.*s%s", static_cast<int>(folder.size()), folder.data(), ownName);
  if (length < 0 || static_cast<size_t>(length) >= sizeof target) return false;
  const ErrorCode status = CheckFree(side, target);
  if (status == Error_Exists) return Remove(side, path);
  if (status != Error_None || !side->isOpen) return false;
  Reply reply;
  if (FTPc_RenameFile(side->ftp, path, target, &reply) == Error_None) return true;
  return CheckFree(side, path) == Error_None;
}

// file: from the path on; is cut in two.
bool Clean(SynchroConnection* side, char* file) {
  char* const separator = strchr(file, kSynchro_OwnNameSeparator);
  if (separator == nullptr) return Remove(side, file);
  *separator = '\0';
  return CleanAside(side, file, separator + 1);
}

// The line at a place, and the place behind it; false at the end.
bool TakeLine(const char* lines, size_t* at, char (&line)[kFileNameSize]) {
  const char* const begin = lines + *at;
  const size_t length = strcspn(begin, "\n");
  if (*begin == '\0') return false;
  *at += length + 1;
  snprintf(line, sizeof line, "%.*s", static_cast<int>(length), begin);
  return true;
}

}  // namespace

ErrorCode iSynchro_ServerName(const SynchroConnection& side, const char* path, char (&name)[kFileNameSize]) {
  if (strpbrk(path, "\t\r\n") != nullptr) return Error_Invalid;
  const char* const user = side.url.user != nullptr ? side.url.user : kSynchro_AnonymousUser;
  const int length = snprintf(name, sizeof name, "ftp://%s@%s:%ld%s", user, side.url.host,
                              static_cast<long>(side.url.port), path);
  return length >= 0 && static_cast<size_t>(length) < sizeof name ? Error_None : Error_Exceed;
}

void iSynchro_SetNextTemporaryNumber(uint32_t number) {
  nextNumber.store(number);
}

ErrorCode iSynchro_Upload(const SynchroCopy& copy, File* file, uint64_t length, SynchroSide* made) {
  char path[kFileNameSize];
  ErrorCode status = ChooseName(copy, path);
  if (status != Error_None) return status;
  *made = iSynchro_LocalValues(false, length, {});
  made->time = kSynchroUnknownTime;
  status = Store(copy, path, file, length);
  if (status == Error_None) status = Tell(copy, *made);
  if (status == Error_None) status = PutInPlace(copy, path);
  if (status != Error_None) RemoveStored(copy, path);
  return status;
}

void iSynchro_CleanServer(SynchroConnection* side, SynchroTemporary* temporary) {
  char server[kFileNameSize];
  if (side->isCleaned || side->ftp == nullptr) return;
  side->isCleaned = true;
  if (temporary->leftovers == nullptr || iSynchro_ServerName(*side, "", server) != Error_None) return;
  size_t at = 0;
  char line[kFileNameSize];
  while (side->isOpen && temporary->leftovers != nullptr) {
    const size_t begin = at;
    if (!TakeLine(temporary->leftovers, &at, line)) break;
    const size_t length = strlen(server);
    if (strncmp(line, server, length) != 0 || line[length] != '/') continue;
    char file[kFileNameSize];
    snprintf(file, sizeof file, "%s", line + length);
    if (!Clean(side, file)) continue;
    iSynchro_DropLeftover(line, temporary);
    at = begin;
  }
  iSynchro_WriteRecord(*temporary);
}
