// Copying a file, by the protocols of both sides:
//
//   from \ to   HTTP      FTP                                file
//   HTTP        refused   GET, STOR, then SIZE and MDTM      GET into a temporary file
//   FTP         refused   from server to server, then        SIZE, RETR into a temporary file
//                         SIZE and MDTM
//   file        refused   STOR, then SIZE and MDTM           a copy under a temporary name
//
// A temporary file replaces the local one when it is complete. In a guarded run a file on a server is
// replaced so too (synchro_upload.cpp), from a server through a local file.
#include <algorithm>

#include "net/copy_internal.h"
#include "net/ftpc_internal.h"
#include "net/httpc_internal.h"
#include "os/core/owned.h"
#include "os/platform/filesystem.h"
#include "qz/error.h"
#include "qz/os.h"
#include "synchro/synchro_copy_internal.h"
#include "synchro/synchro_copy_testing.h"
#include "synchro/synchro_intent_internal.h"
#include "synchro/synchro_upload_internal.h"

namespace {

constexpr uint64_t kUnknownLength = UINT64_MAX;
constexpr uint32_t kUnknownValue = UINT32_MAX;
constexpr float kPollSeconds = 0.02f;
constexpr uint32_t kCopyBytes = 32 * 1024;

// ---- values of the new file --------------------------------------------------------------------

// Both are asked for, so that the conversation is the same whatever the server knows.
ErrorCode ReadServerValues(const SynchroCopy& copy, SynchroSide* made) {
  Reply reply;
  *made = {1, 0, 0, {}};
  const ErrorCode sized = FTPc_FileSize(copy.to->ftp, copy.toPath, &made->size, &reply);
  if (sized != Error_None && sized != Error_Invalid) return sized;
  const ErrorCode dated = FTPc_ModTime(copy.to->ftp, copy.toPath, &made->time, &reply);
  if (dated != Error_None && dated != Error_Invalid) return dated;
  if (sized == Error_Invalid) made->size = kUnknownValue;
  if (dated == Error_Invalid) made->time = {kUnknownValue, kUnknownValue};
  return sized == Error_None ? dated : sized;
}

// A listing has no milliseconds, and May reads as March in it: with another time the next run would take the
// copy for a changed file.
Time AsListed(const Time& time) {
  char date[64];
  Time listed;
  Time_ToString(&time, date);
  return Time_FromString(date, &listed) == Error_None ? listed : Time{time.seconds, 0};
}

// ---- into a local file -------------------------------------------------------------------------

ErrorCode CheckLocalTarget(const char* path) {
  int32_t isDirectory = 0;
  return File_Exists(path, &isDirectory) != 0 && isDirectory != 0 ? Error_Exists : Error_None;
}

// Writes the file's bytes under the temporary name.
using WriteMethod = ErrorCode (*)(const SynchroCopy& copy);

ErrorCode Tell(const SynchroCopy& copy, const SynchroSide& expected, bool isInPlace) {
  return copy.note != nullptr ? copy.note->method(copy.note->context, expected, isInPlace) : Error_None;
}

// The file on the server is written as the bytes come: what a failure leaves of it is no change of that side.
ErrorCode TellInPlace(const SynchroCopy& copy, uint64_t sizeBytes) {
  SynchroSide expected = iSynchro_LocalValues(false, sizeBytes, {});
  expected.time = kSynchroUnknownTime;
  return Tell(copy, expected, true);
}

// A server that refuses the command has not touched the file.
void TakeBackIfRefused(const SynchroCopy& copy, ErrorCode status, uint64_t sent, const Reply& reply) {
  const bool isRefused = status != Error_None && sent == 0 && reply.replyClass == kFTPClass_Refused;
  if (isRefused && copy.note != nullptr && copy.note->takeBack != nullptr)
    copy.note->takeBack(copy.note->context);
}

// What the file under the temporary name will be under its own.
ErrorCode ReadTemporary(const SynchroCopy& copy, SynchroSide* made) {
  const char* const path = copy.temporary->path;
  return copy.isGuarded ? iSynchro_ReadLocal(path, made) : iSynchro_ReadLocalValues(path, made);
}

// The old file must be one that could be written; the new one gets its permissions.
ErrorCode KeepPermissions(const SynchroCopy& copy) {
  if (File_Exists(copy.toPath, nullptr) == 0) return Error_None;
  Owned<File, File_Close> old;
  Owned<File, File_Close> made;
  ErrorCode status = File_Open(copy.toPath, FileMode_Append, old.out());
  if (status == Error_None) status = File_Open(copy.temporary->path, FileMode_Append, made.out());
  if (status != Error_None) return status;
  return platform::KeepPermissions(old.get()->descriptor, made.get()->descriptor) ? Error_None : Error_Fail;
}

// Guarded, a free place that has been taken meanwhile is left.
ErrorCode TakePlace(const SynchroCopy& copy) {
  if (!copy.isGuarded || copy.replaces) return File_Replace(copy.temporary->path, copy.toPath);
  const ErrorCode status = File_Move(copy.temporary->path, copy.toPath);
  const bool isTaken = status != Error_None && File_Exists(copy.toPath, nullptr) != 0;
  return isTaken ? ErrorCode{Error_Exists} : status;
}

// The old file stays until the new one is complete.
ErrorCode ReplaceLocal(const SynchroCopy& copy, WriteMethod write, SynchroSide* made) {
  ErrorCode status = CheckLocalTarget(copy.toPath);
  if (status == Error_None) status = iSynchro_ChooseTemporary(copy.toPath, copy.temporary);
  if (status != Error_None) return status;
  status = write(copy);
  if (status == Error_None) status = KeepPermissions(copy);
  if (status == Error_None) status = ReadTemporary(copy, made);
  if (status == Error_None) status = Tell(copy, *made, false);
  if (status == Error_None) status = TakePlace(copy);
  if (status == Error_None) return Error_None;
  iSynchro_RemoveTemporary(copy.temporary);
  return status;
}

// Behind the rename a power cut would leave a file without its bytes.
ErrorCode FlushToDisk(File* file) {
  if (File_FlushToDisk(file) == 0) return Error_None;
  const ErrorCode status = Stream_Error(File_GetStream(file));
  return status != Error_None ? status : Error_Fail;
}

// Runs `transfer` on the temporary file, opened, and completes it. What replaces another file may be for few
// eyes.
template <typename Transfer>
ErrorCode WriteTemporary(const SynchroCopy& copy, Transfer transfer) {
  Owned<File, File_Close> file;
  const bool isPrivate = File_Exists(copy.toPath, nullptr) != 0;
  ErrorCode status = iFile_OpenNew(copy.temporary->path, FileMode_Write, isPrivate, file.out());
  if (status == Error_None) status = transfer(File_GetStream(file.get()));
  if (status == Error_None && !copy.mayFlushLater) status = FlushToDisk(file.get());
  if (status != Error_None) return status;
  return iFile_CloseComplete(file.release());
}

// ---- from HTTP ---------------------------------------------------------------------------------

// A connection has one request.
ErrorCode ReadyHTTP(SynchroConnection* side) {
  if (side->isHTTPUsed) iSynchro_CloseSide(side);
  const ErrorCode status = iSynchro_OpenSide(side);
  if (status == Error_None) side->isHTTPUsed = true;
  return status;
}

ErrorCode SendGet(SynchroConnection* side, const char* path, Reply* reply, Stream** body) {
  URLData url = side->url;
  char text[kFileNameSize];
  char ownPath[kFileNameSize];
  ErrorCode status = iFile_CopyName(path, ownPath);
  url.path = ownPath;
  if (status == Error_None) status = URL_FromData(&url, text);
  return status == Error_None ? HTTPc_Get(side->http, text, reply, body) : status;
}

// *length: all ones when the server does not tell it.
ErrorCode GetHTTP(const SynchroCopy& copy, Stream** body, uint64_t* length) {
  Reply reply;
  ErrorCode status = ReadyHTTP(copy.from);
  if (status == Error_None) status = SendGet(copy.from, copy.fromPath, &reply, body);
  if (status != Error_None) return status;
  if (reply.replyClass != '2') return Error_NotFound;
  status = HTTPc_GetContentLength64(copy.from->http, length);
  return status == Error_NotFound ? Error_None : status;
}

ErrorCode WriteHTTPBody(const SynchroCopy& copy) {
  Stream* body = nullptr;
  uint64_t length = kUnknownLength;
  const ErrorCode status = GetHTTP(copy, &body, &length);
  if (status != Error_None) return status;
  return WriteTemporary(copy, [&](Stream* file) { return iNet_CopyStream(body, file, length, nullptr); });
}

ErrorCode CopyHTTPToFTP(const SynchroCopy& copy, SynchroSide* made) {
  Stream* body = nullptr;
  uint64_t length = kUnknownLength;
  uint64_t sent = 0;
  Reply reply;
  ErrorCode status = GetHTTP(copy, &body, &length);
  if (status == Error_None) status = TellInPlace(copy, length);
  if (status == Error_None) {
    status = FTPc_Store64(copy.to->ftp, copy.toPath, body, length, &sent, &reply);
    TakeBackIfRefused(copy, status, sent, reply);
    if (status == Error_None && length != kUnknownLength && sent != length) status = Error_Ended;
  }
  return status == Error_None ? ReadServerValues(copy, made) : status;
}

ErrorCode CopyHTTPToFile(const SynchroCopy& copy, SynchroSide* made) {
  return ReplaceLocal(copy, WriteHTTPBody, made);
}

// ---- from FTP ----------------------------------------------------------------------------------

// All ones when the server does not tell it.
ErrorCode AskLength(const SynchroCopy& copy, uint64_t* length) {
  Reply reply;
  const ErrorCode status = FTPc_FileSize64(copy.from->ftp, copy.fromPath, length, &reply);
  if (status == Error_Invalid) *length = kUnknownLength;
  return status == Error_Invalid ? Error_None : status;
}

// Error_Ended for a file that is not as long as the server has just said.
ErrorCode WriteRetrieved(const SynchroCopy& copy) {
  Reply reply;
  uint64_t length = copy.length;
  const ErrorCode sized = length == kUnknownLength ? AskLength(copy, &length) : Error_None;
  if (sized != Error_None) return sized;
  return WriteTemporary(copy, [&](Stream* file) {
    uint64_t received = 0;
    const ErrorCode status = FTPc_Retrieve64(copy.from->ftp, copy.fromPath, file, &received, &reply);
    if (status != Error_None) return status;
    return static_cast<ErrorCode>(length == kUnknownLength || received == length ? Error_None : Error_Ended);
  });
}

ErrorCode CopyFTPToFile(const SynchroCopy& copy, SynchroSide* made) {
  return ReplaceLocal(copy, WriteRetrieved, made);
}

ErrorCode EndMove(const SynchroCopy& copy) {
  Reply reply;
  for (;;) {
    const ErrorCode status = FTPc_EndMoveServerFile(copy.from->ftp, copy.to->ftp, &reply);
    if (status != Error_Block) return status;
    if (copy.from->interrupt != nullptr && copy.from->interrupt->IsSet()) return Error_Cancel;
    OS_Delay(kPollSeconds);
  }
}

// Kept: where the servers accept PASV or PORT nothing is moved; whether the copy counts is decided by the
// size and time that the destination then tells.
ErrorCode CopyFTPToFTP(const SynchroCopy& copy, SynchroSide* made) {
  Reply reply;
  ErrorCode status =
      FTPc_StartMoveServerFile(copy.from->ftp, copy.to->ftp, copy.fromPath, copy.toPath, &reply);
  if (status == Error_None) status = EndMove(copy);
  return status == Error_None ? ReadServerValues(copy, made) : status;
}

// ---- from a local file -------------------------------------------------------------------------

ErrorCode OpenLocal(const char* path, File** file, uint64_t* sizeBytes) {
  FileState state;
  const ErrorCode status = File_GetState64(path, &state, sizeBytes);
  if (status != Error_None) return status;
  if (state.exists == 0 || state.isDirectory != 0) return Error_NotFound;
  return File_Open(path, FileMode_Read, file);
}

ErrorCode CopyFileToFTP(const SynchroCopy& copy, SynchroSide* made) {
  Owned<File, File_Close> file;
  uint64_t sizeBytes = 0;
  uint64_t sent = 0;
  Reply reply;
  ErrorCode status = OpenLocal(copy.fromPath, file.out(), &sizeBytes);
  if (status == Error_None) status = TellInPlace(copy, sizeBytes);
  if (status != Error_None) return status;
  status = FTPc_Store64(copy.to->ftp, copy.toPath, File_GetStream(file.get()), sizeBytes, &sent, &reply);
  TakeBackIfRefused(copy, status, sent, reply);
  return status == Error_None ? ReadServerValues(copy, made) : status;
}

// Error_Ended for a file that has become shorter meanwhile.
ErrorCode CopyBytes(const SynchroCopy& copy, Stream* from, uint64_t length, Stream* to) {
  char block[kCopyBytes];
  while (length != 0) {
    if (copy.from->interrupt != nullptr && copy.from->interrupt->IsSet()) return Error_Cancel;
    const auto wanted = static_cast<uint32_t>(std::min<uint64_t>(length, kCopyBytes));
    const uint32_t count = Stream_Read(from, wanted, block);
    if (count == 0) return Stream_Error(from) != Error_None ? Stream_Error(from) : Error_Ended;
    if (Stream_Write(to, count, block) != count) return Error_Exceed;
    length -= count;
  }
  return Error_None;
}

ErrorCode WriteCopied(const SynchroCopy& copy) {
  Owned<File, File_Close> file;
  uint64_t sizeBytes = 0;
  const ErrorCode status = OpenLocal(copy.fromPath, file.out(), &sizeBytes);
  if (status == Error_NotFound && File_Exists(copy.fromPath, nullptr) != 0) return Error_Invalid;
  if (status != Error_None) return status;
  Stream* const from = File_GetStream(file.get());
  return WriteTemporary(copy, [&](Stream* to) { return CopyBytes(copy, from, sizeBytes, to); });
}

ErrorCode CopyFileToFile(const SynchroCopy& copy, SynchroSide* made) {
  return ReplaceLocal(copy, WriteCopied, made);
}

// ---- the table ---------------------------------------------------------------------------------

ErrorCode Refuse(const SynchroCopy&, SynchroSide*) {
  return Error_Fail;
}

// ---- guarded, onto a server --------------------------------------------------------------------

ErrorCode UploadFile(const SynchroCopy& copy, SynchroSide* made) {
  Owned<File, File_Close> file;
  uint64_t sizeBytes = 0;
  const ErrorCode status = OpenLocal(copy.fromPath, file.out(), &sizeBytes);
  return status == Error_None ? iSynchro_Upload(copy, file.get(), sizeBytes, made) : status;
}

// Through a file of the temporary directory: the servers never talk to each other.
ErrorCode UploadRetrieved(const SynchroCopy& copy, SynchroSide* made) {
  char path[kFileNameSize];
  Owned<File, File_Close> file;
  Reply reply;
  uint64_t length = copy.length;
  uint64_t received = 0;
  ErrorCode status =
      iFile_OpenTemporary(SysDir_Temp, "syncfile", "", FileMode_ReadWriteNew, true, path, file.out());
  if (status == Error_None && length == kUnknownLength) status = AskLength(copy, &length);
  if (status == Error_None)
    status = FTPc_Retrieve64(copy.from->ftp, copy.fromPath, File_GetStream(file.get()), &received, &reply);
  if (status == Error_None && length != kUnknownLength && received != length) status = Error_Ended;
  if (status == Error_None && File_Seek64(file.get(), FileSeek_Start, 0) != 0) status = Error_Fail;
  return status == Error_None ? iSynchro_Upload(copy, file.get(), received, made) : status;
}

using CopyMethod = ErrorCode (*)(const SynchroCopy& copy, SynchroSide* made);

constexpr CopyMethod kMethods[3][3] = {
    {Refuse, CopyHTTPToFTP, CopyHTTPToFile},
    {Refuse, CopyFTPToFTP, CopyFTPToFile},
    {Refuse, CopyFileToFTP, CopyFileToFile},
};

constexpr CopyMethod kGuardedMethods[3][3] = {
    {Refuse, Refuse, Refuse},
    {Refuse, UploadRetrieved, CopyFTPToFile},
    {Refuse, UploadFile, CopyFileToFile},
};

// The row or column of an open side.
uint32_t PlaceOf(const SynchroConnection& side) {
  switch (URL_GetProtocolType(side.url.protocol)) {
    case URLProtocol_HTTP:
      return 0;
    case URLProtocol_FTP:
      return 1;
    default:
      return 2;
  }
}

}  // namespace

ErrorCode iSynchro_ReadLocalValues(const char* path, SynchroSide* made) {
  const ErrorCode status = iSynchro_ReadLocal(path, made);
  if (status != Error_None) return status;
  if (made->present == 0) return Error_NotFound;
  made->time = AsListed(made->time);
  return Error_None;
}

ErrorCode iSynchro_CopyFile(const SynchroCopy& copy, SynchroSide* made) {
  if (!copy.from->isOpen || !copy.to->isOpen) return Error_Invalid;
  const auto& methods = copy.isGuarded ? kGuardedMethods : kMethods;
  return methods[PlaceOf(*copy.from)][PlaceOf(*copy.to)](copy, made);
}
