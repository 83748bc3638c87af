// Opening, listing and closing a side.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "net/ftpc_internal.h"
#include "net/httpc_internal.h"
#include "os/core/error_internal.h"
#include "os/platform/error.h"
#include "os/platform/filesystem.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "synchro/synchro_side_internal.h"

namespace {

constexpr char kSameFolder[] = ".";
constexpr int32_t kCodeUnavailable = 550;

int32_t ProtocolOf(const SynchroConnection& side) {
  return URL_GetProtocolType(side.url.protocol);
}

// ---- opening -----------------------------------------------------------------------------------

// A URL without a path means the folder that the login leads to. It is listed before any other is entered;
// later paths begin with its name, for the current folder is another one by then.
ErrorCode FindLoginFolder(SynchroConnection* side, Reply* reply) {
  if (side->url.path != nullptr) return Error_None;
  return FTPc_CurrentDirectory(side->ftp, side->loginFolder, reply);
}

ErrorCode LogIn(SynchroConnection* side) {
  Reply reply;
  const char* const user = side->url.user != nullptr ? side->url.user : kSynchro_AnonymousUser;
  const char* const password =
      side->url.password != nullptr ? side->url.password : kSynchro_AnonymousPassword;
  ErrorCode status = FTPc_Login(side->ftp, user, password, &reply);
  // Without it servers convert line ends on the way, and sizes say nothing.
  if (status == Error_None) status = FTPc_FileType(side->ftp, 'I', 'N', &reply);
  return status == Error_None ? FindLoginFolder(side, &reply) : status;
}

ErrorCode OpenFTP(SynchroConnection* side) {
  Reply reply;
  const uint32_t mode = side->isActive ? 0u : uint32_t{FTPcFlag_Passive};
  ErrorCode status = iFTPc_Open(side->url.host, static_cast<uint32_t>(side->url.port), mode, side->interrupt,
                                &side->ftp, &reply);
  if (status != Error_None) return status;
  status = LogIn(side);
  if (status == Error_None) return Error_None;
  iFTPc_CloseSoon(side->ftp);
  side->ftp = nullptr;
  return status;
}

ErrorCode OpenHTTP(SynchroConnection* side) {
  side->isHTTPUsed = false;
  return iHTTPc_Open(nullptr, side->url.host, static_cast<uint32_t>(side->url.port), side->interrupt,
                     &side->http);
}

ErrorCode Open(SynchroConnection* side) {
  switch (ProtocolOf(*side)) {
    case URLProtocol_HTTP:
      return OpenHTTP(side);
    case URLProtocol_FTP:
      return OpenFTP(side);
    case URLProtocol_File:
      return Error_None;
    default:
      return Error_Invalid;
  }
}

// ---- paths -------------------------------------------------------------------------------------

ErrorCode Join(const char* directory, const char* name, char* path) {
  char joined[kFileNameSize];
  const ErrorCode status = iFile_Join(directory, name, joined);
  iFile_CopyName(joined, path);
  return status;
}

// A local path without text would be the current folder.
bool HasPath(const SynchroConnection& side) {
  return side.url.path != nullptr && side.url.path[0] != '\0';
}

const char* RootOf(const SynchroConnection& side) {
  if (side.url.path != nullptr) return side.url.path;
  if (ProtocolOf(side) == URLProtocol_HTTP) return "/";
  return side.loginFolder;
}

// ---- listing -----------------------------------------------------------------------------------

// A folder that cannot be listed counts as empty only when nothing shows that it is there: an empty listing
// says that all that was in it has gone.
ErrorCode TakeUnlisted(bool isShown, bool* isEmpty) {
  *isEmpty = !isShown;
  return isShown ? Error_NoAccess : Error_None;
}

ErrorCode MakeAndEnter(FTPc* ftp, const char* path, Reply* reply) {
  const ErrorCode status = iFTPc_MakeDirectory(ftp, path, reply);
  return status == Error_None ? FTPc_ChangeDirectory(ftp, path, reply) : status;
}

// A server that is busy or closing tells nothing about the folder.
bool IsRefusedForNow(const Reply& reply) {
  return reply.replyClass == '4';
}

ErrorCode EnterFolder(SynchroConnection* side, const char* directory, bool mayCreate, bool* isMade,
                      bool* isRefused) {
  *isMade = *isRefused = false;
  if (iSynchro_IsLoginFolder(*side, directory)) return Error_None;
  char path[kFileNameSize];
  Reply reply = {};
  ErrorCode status = iSynchro_FolderPath(*side, directory, path);
  if (status == Error_None) status = FTPc_ChangeDirectory(side->ftp, path, &reply);
  if (status != Error_NoAccess || IsRefusedForNow(reply)) return status;
  *isMade = mayCreate;
  *isRefused = !mayCreate;
  return mayCreate ? MakeAndEnter(side->ftp, path, &reply) : Error_None;
}

ErrorCode ListFTP(SynchroConnection* side, const char* directory, bool mayCreate, bool isShown,
                  const char* listFile, bool* isEmpty) {
  bool isMade;
  bool isRefused;
  ErrorCode status = EnterFolder(side, directory, mayCreate, &isMade, &isRefused);
  if (status != Error_None) return status;
  if (isRefused) return TakeUnlisted(isShown, isEmpty);
  Reply reply = {};
  status = FTPc_GetDirectoryList(side->ftp, nullptr, FTPcList_Long, listFile, &reply);
  // Some servers also say so of an empty folder: a new one is. A refused data connection has the same status.
  const bool isUnlisted = status != Error_None && reply.code == kCodeUnavailable;
  return isUnlisted ? TakeUnlisted(isShown && !isMade, isEmpty) : status;
}

// A network that is gone, or a name that the system does not take, says nothing about the folder.
bool IsMissing(uint32_t systemError) {
  return systemError == platform::SystemError_None || systemError == platform::SystemError_FileNotFound ||
         systemError == platform::SystemError_PathNotFound ||
         systemError == platform::SystemError_NoMoreFiles;
}

// Failed: descriptors or memory ran out, or the disk cannot be read.
enum class Searched { Possible, Missing, Refused, Failed };

Searched JudgeSearch(uint32_t systemError) {
  if (IsMissing(systemError)) return Searched::Missing;
  const bool isRefused =
      systemError == platform::SystemError_AccessDenied || systemError == platform::SystemError_NotADirectory;
  return isRefused ? Searched::Refused : Searched::Failed;
}

// Directory_GetList does not tell an empty folder from one that may not be read.
Searched CanBeSearched(const char* path) {
  char systemName[kFileNameSize];
  if (iFile_ToSystemName(path, systemName) != Error_None) return Searched::Refused;
  platform::DirectorySearch* const search = platform::BeginSearch(systemName);
  if (search == nullptr) return JudgeSearch(platform::LastSystemError());
  platform::EndSearch(search);
  return Searched::Possible;
}

ErrorCode SearchFailure(const char* path, uint32_t systemError) {
  const bool isShortage = systemError == platform::SystemError_OutOfMemory ||
                          systemError == platform::SystemError_TooManyOpenFiles;
  if (isShortage) return iError_Record(Error_Memory, "Synchro_Go", path, systemError);
  return Error_FromSystem("Synchro_Go", path, systemError);
}

// mayGo: the folder may be missing, whatever is known of it.
ErrorCode ListLocal(const char* path, bool mayCreate, bool isShown, bool mayGo, const char* listFile,
                    bool* isEmpty) {
  const bool creates = mayCreate && (mayGo || !isShown);
  const ErrorCode status = Directory_Find(path, creates ? 1 : 0, nullptr, nullptr);
  if (status != Error_None && status != Error_NotFound) return status;
  switch (CanBeSearched(path)) {
    case Searched::Possible:
      return Directory_GetList(path, DirectoryListKind_LongLines, listFile);
    case Searched::Missing:
      return TakeUnlisted(isShown && !mayGo, isEmpty);
    case Searched::Failed:
      return SearchFailure(path, platform::LastSystemError());
    default:
      return TakeUnlisted(isShown, isEmpty);
  }
}

ErrorCode DeleteLocal(const char* path) {
  FileState state;
  const ErrorCode status = File_GetState(path, &state);
  if (status != Error_None) return status;
  // An empty directory would be removed too.
  return state.isDirectory != 0 ? Error_Invalid : File_Unlink(path);
}

}  // namespace

ErrorCode iSynchro_OpenSide(SynchroConnection* side) {
  if (side->isOpen) return Error_None;
  side->features = SynchroFeatures::Unknown;
  side->isTimeUnknown = side->isSizeTold = side->isCleaned = false;
  const ErrorCode status = Open(side);
  side->isOpen = status == Error_None;
  return status;
}

void iSynchro_CloseSide(SynchroConnection* side) {
  if (side->http != nullptr) HTTPc_Close(side->http);
  if (side->ftp != nullptr) iFTPc_CloseSoon(side->ftp);
  side->http = nullptr;
  side->ftp = nullptr;
  side->isOpen = false;
}

ErrorCode iSynchro_FolderPath(const SynchroConnection& side, const char* directory, char* path) {
  path[0] = '\0';
  if (!HasPath(side) && ProtocolOf(side) == URLProtocol_File) return Error_Invalid;
  if (strcmp(directory, kSameFolder) == 0) return iFile_CopyName(RootOf(side), path);
  return Join(RootOf(side), directory, path);
}

ErrorCode iSynchro_EntryPath(const SynchroConnection& side, const char* directory, const char* name,
                             char* path) {
  const ErrorCode status = iSynchro_FolderPath(side, directory, path);
  return status == Error_None ? Join(path, name, path) : status;
}

SynchroIdentity iSynchro_Identify(const SynchroConnection& side, const char* directory) {
  char path[kFileNameSize];
  char systemName[kFileNameSize];
  platform::DirectoryIdentity identity;
  if (ProtocolOf(side) != URLProtocol_File) return {};
  if (iSynchro_FolderPath(side, directory, path) != Error_None) return {};
  if (iFile_ToSystemName(path, systemName) != Error_None) return {};
  if (!platform::IdentifyDirectory(systemName, &identity)) return {};
  return {true, identity.volume, identity.number};
}

void iSynchro_ShowFolder(const SynchroConnection& side, const char* directory, char (&text)[kFileNameSize]) {
  URLData shown = side.url;
  shown.password = nullptr;
  char url[kFileNameSize];
  URL_FromData(&shown, url);
  // A text that is too long is shown up to its end's place.
  if (Join(url, directory, text) != Error_None) snprintf(text, sizeof text, "%s", url);
}

ErrorCode iSynchro_ListFolder(SynchroConnection* side, const char* directory, bool mayCreate, bool isShown,
                              const char* listFile, bool* isEmpty) {
  *isEmpty = false;
  switch (ProtocolOf(*side)) {
    case URLProtocol_HTTP:
      return Error_NotInited;
    case URLProtocol_FTP:
      return ListFTP(side, directory, mayCreate, isShown, listFile, isEmpty);
    case URLProtocol_File: {
      char path[kFileNameSize];
      const ErrorCode status = iSynchro_FolderPath(*side, directory, path);
      const bool isRoot = directory[0] == '\0';
      return status == Error_None ? ListLocal(path, mayCreate, isShown, isRoot, listFile, isEmpty) : status;
    }
    default:
      return Error_Invalid;
  }
}

SynchroSide iSynchro_LocalValues(bool isDirectory, uint64_t sizeBytes, const Time& modified) {
  const uint64_t size = std::min<uint64_t>(sizeBytes, UINT32_MAX);
  return {1, isDirectory ? 1u : 0u, static_cast<uint32_t>(size), {modified.seconds, 0}};
}

ErrorCode iSynchro_ReadLocal(const char* path, SynchroSide* side) {
  FileState state;
  uint64_t sizeBytes = 0;
  *side = {};
  const ErrorCode status = File_GetState64(path, &state, &sizeBytes);
  if (status != Error_None || state.exists == 0) return status;
  *side = iSynchro_LocalValues(state.isDirectory != 0, sizeBytes, state.modificationTime);
  return Error_None;
}

ErrorCode iSynchro_DeleteFile(SynchroConnection* side, const char* path) {
  if (!side->isOpen) return Error_NotInited;
  Reply reply;
  switch (ProtocolOf(*side)) {
    case URLProtocol_FTP:
      return FTPc_DeleteFile(side->ftp, path, &reply);
    case URLProtocol_File:
      return DeleteLocal(path);
    default:
      return Error_Fail;
  }
}
