// The steps of a transfer that are FTP's own: login, directory, mirrors, representation type, size, and the
// start of the data.
#include <algorithm>
#include <cstring>
#include <string_view>

#include "net/ftpc_internal.h"
#include "os/core/owned.h"
#include "qz/memory.h"
#include "qz/string.h"
#include "qz/vrxprefs.h"
#include "transfer/vrxclient_machine_internal.h"
#include "transfer/vrxclient_resume_internal.h"
#include "transfer/vrxprefs_internal.h"

namespace {

// ---- logging in --------------------------------------------------------------------------------

// Tried in this order when neither the transfer nor the URL names a user.
constexpr const char* kAnonymousUsers[] = {"ftp", "anonymous", "public", "guest"};

bool IsLetterOrDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Some servers repeat the password. A short one is hidden as a whole word only: the gaps in other words would
// tell it.
void HidePassword(std::string_view password, char* line) {
  constexpr size_t kLongPassword = 8;
  const std::string_view text = line;
  if (password.empty()) return;
  for (size_t begin = text.find(password); begin != text.npos; begin = text.find(password, begin + 1)) {
    const size_t end = begin + password.size();
    const bool isInWord =
        (begin > 0 && IsLetterOrDigit(text[begin - 1])) || (end < text.size() && IsLetterOrDigit(text[end]));
    if (password.size() >= kLongPassword || !isInWord) memset(line + begin, '*', password.size());
  }
}

// The server's greeting and login replies go to the log.
void LogBanner(VRXClient* client, const char* password) {
  char name[kPathSize];
  if (FTPc_InfoFile(client->ftp, name) != Error_None) return;
  Owned<File, File_Close> file;
  if (File_Open(name, FileMode_Read | FileMode_Text, file.out()) != Error_None) return;
  File_SetTemporary(file.get(), 1);
  char line[kPathSize];
  while (File_ScanLine(file.get(), sizeof line, line) >= 0) {
    HidePassword(password, line);
    iVRXClient_AppendToLog(client, line);
  }
}

ErrorCode TryLogin(VRXClient* client, const char* user, const char* password) {
  iVRXClient_Message(client, TransferMessage_LoggingIn, user);
  const ErrorCode status = FTPc_Login(client->ftp, user, password, &client->lastReply);
  LogBanner(client, password);
  if (status == Error_NoAccess) iVRXClient_Message(client, TransferMessage_LoginRefused, user);
  return status;
}

ErrorCode LogInAnonymously(VRXClient* client) {
  char password[VRXPrefsSize_Name + 1];
  iVRXPrefs_GetAnonymousPassword(password);
  ErrorCode status = Error_NoAccess;
  for (const char* user : kAnonymousUsers) {
    status = TryLogin(client, user, password);
    if (status != Error_NoAccess) return status;
  }
  return status;
}

ErrorCode LogInAsKnown(VRXClient* client) {
  const VRXClientData& data = client->data;
  if (data.user[0] != '\0') return TryLogin(client, data.user, data.password);
  const URLData* server = client->server;
  if (server->user == nullptr) return LogInAnonymously(client);
  return TryLogin(client, server->user, server->password != nullptr ? server->password : "");
}

// ---- directory ---------------------------------------------------------------------------------

// The path of the URL.
const char* URLPath(const VRXClient* client) {
  return client->server->path != nullptr ? client->server->path : "/";
}

// The path as the server is told it. The "/" behind the host is no part of it when it begins at the folder in
// which the login ends.
const char* RemotePath(const VRXClient* client) {
  const char* path = URLPath(client);
  return client->usesRelativePaths && path[0] == '/' ? path + 1 : path;
}

// What an empty path names.
constexpr char kLoginFolder[] = ".";

// A path and what stands behind its last "/". File_SplitDir would drop a "/" at the end, which says that
// there is no name.
struct RemoteName {
  char directory[kURLSize];  // "/" for "/name", "" for "name"
  const char* name;
};

void SplitRemotePath(const char* path, RemoteName* split) {
  const std::string_view whole = path;
  const size_t slash = whole.rfind('/');
  const size_t length = slash == std::string_view::npos ? 0 : slash == 0 ? 1 : slash;
  split->directory[whole.copy(split->directory, std::min(length, sizeof split->directory - 1))] = '\0';
  split->name = slash == std::string_view::npos ? path : path + slash + 1;
}

// From now on this transfer's URL names the directory. The list keeps the URL as it was given.
void AppendSlash(VRXClient* client) {
  char path[kURLSize];
  const std::string_view whole = URLPath(client);
  if (whole.ends_with('/') || whole.size() + 2 > sizeof path) return;
  whole.copy(path, whole.size());
  path[whole.size()] = '/';
  path[whole.size() + 1] = '\0';
  URLData changed = *client->server;
  changed.path = path;
  URLData* copy = URL_CopyData(&changed);
  if (copy == nullptr) return;
  Memory_Delete(client->server);
  client->server = copy;
}

StepEvent RefuseDirectory(VRXClient* client) {
  const StepEvent event =
      iVRXClient_FailWith(client, VRXClientReason_IsDirectory, TransferMessage_IsDirectory);
  AppendSlash(client);
  return event;
}

StepEvent FailDirectory(VRXClient* client, ErrorCode status) {
  if (status != Error_NoAccess) return Failed(status);
  client->lastFailure = status;
  iVRXClient_DropServer(client, VRXClientReason_Directory);
  return Restart();
}

// A name that can be entered is no file.
StepEvent TryName(VRXClient* client, const char* name) {
  if (name[0] == '\0') return RefuseDirectory(client);
  const ErrorCode status = FTPc_ChangeDirectory(client->ftp, name, &client->lastReply);
  if (status == Error_None) return RefuseDirectory(client);
  return status == Error_NoAccess ? Advance() : Failed(status);
}

// ---- size --------------------------------------------------------------------------------------

// A server that does not tell the size leaves one that was known for the bytes on the disk.
void ForgetSize(VRXClient* client) {
  const bool isOfBytes = client->data.isUpload == 0 && client->dataFileSize > 0 && !client->cutsDataFile;
  if (isOfBytes || client->data.size == kSizeUnknown) return;
  client->data.size = kSizeUnknown;
  client->isChanged = true;
}

void TakeSize(VRXClient* client, uint64_t size) {
  client->data.size = size;
  client->isChanged = true;
}

StepEvent KeepSize(VRXClient* client, ErrorCode status, uint64_t told) {
  const bool isKnown = status == Error_None;
  iVRXClient_MessageSize(client, isKnown ? told : kSizeUnknown);
  if (!isKnown) {
    ForgetSize(client);
    client->isChanged = true;
    return Failed(status);
  }
  const bool isOther =
      client->data.isUpload == 0 && iResume_IsOtherFile(told, client->data.size, client->dataFileSize);
  // A size beside bytes of another file would have the next attempt continue them.
  if (isOther && !iVRXClient_CutDataFile(client))
    return iVRXClient_FailWith(client, VRXClientReason_DataFile, TransferMessage_NoDataFile);
  TakeSize(client, told);
  return Advance();
}

// What a probe told holds for its own connection. Before bytes are continued over another one, the file may
// have become another.
bool IsSizeKnown(const VRXClient* client) {
  return client->isProbed && (client->isProbedConnection || client->dataFileSize == 0);
}

StepEvent AskServerForSize(VRXClient* client) {
  char name[kPathSize];
  iVRXClient_ServerFileName(client, name);
  uint64_t told = kSizeUnknown;
  const ErrorCode status = FTPc_FileSize64(client->ftp, name, &told, &client->lastReply);
  if (status != Error_Invalid) return KeepSize(client, status, told);
  ForgetSize(client);
  iVRXClient_Message(client, TransferMessage_SizeUnknown);
  return Advance();
}

// ---- start -------------------------------------------------------------------------------------

// A server that refuses the data connection is asked again this often.
constexpr uint32_t kStartRetries = 10;

constexpr uint32_t kPassiveFlag = FTPcFlag_Passive;

bool IsDataConnectionRefused(const Reply& reply) {
  return reply.code == kFTPReply_DamnData || reply.code == kFTPReply_DamnConnection ||
         reply.code == kFTPReply_ErrorUnimplemented;
}

ErrorCode StartWithOffset(VRXClient* client, const char* name, uint64_t* offset) {
  const auto start = client->data.isUpload != 0 ? FTPc_StartStoreRestart64 : FTPc_StartRetrieveRestart64;
  return start(client->ftp, name, offset, &client->dataStream, &client->lastReply);
}

ErrorCode Resume(VRXClient* client, const char* name) {
  uint64_t offset = client->offset;
  ErrorCode status = StartWithOffset(client, name, &offset);
  for (uint32_t i = 0;
       i < kStartRetries && status != Error_None && IsDataConnectionRefused(client->lastReply); ++i) {
    iVRXClient_Message(client, TransferMessage_ReverseMode);
    // Kept: the flag is not among those that can be set, so the mode stays; a server that refuses now and
    // then is what this helps with.
    FTPc_SetFlags(client->ftp, FTPc_GetFlags(client->ftp) ^ kPassiveFlag);
    offset = client->offset;
    status = StartWithOffset(client, name, &offset);
  }
  if (status != Error_None) return status;
  client->canResume = offset != 0;
  if (!client->canResume) client->isMirrorServer = false;
  return client->canResume || iVRXClient_BeginAnew(client) ? Error_None : Error_Fail;
}

ErrorCode StartFromBeginning(VRXClient* client, const char* name) {
  int32_t isSupported = 0;
  ErrorCode status = FTPc_RestartSupported(client->ftp, &isSupported);
  client->canResume = isSupported != 0;
  if (status != Error_None) return status;
  const auto start = client->data.isUpload != 0 ? FTPc_StartStore : FTPc_StartRetrieve;
  return start(client->ftp, name, &client->dataStream, &client->lastReply);
}

}  // namespace

bool iVRXClient_PrefersText(bool isUpload) {
  const VRXPrefs* prefs = VRXPrefs_BeginAccess();
  if (prefs == nullptr) return false;
  const uint8_t type = isUpload ? prefs->uploadType : prefs->downloadType;
  VRXPrefs_EndAccess();
  return type == VRXTransferType_Text;
}

StepEvent iVRXClient_LogIn(VRXClient* client, StepMode) {
  const ErrorCode status = LogInAsKnown(client);
  if (status == Error_None) return Advance();
  if (status != Error_NoAccess) return Failed(status);
  client->lastFailure = status;
  iVRXClient_DropServer(client, VRXClientReason_Login);
  return Restart();
}

StepEvent iVRXClient_EnterDirectory(VRXClient* client, StepMode) {
  RemoteName remote;
  SplitRemotePath(RemotePath(client), &remote);
  iVRXClient_Message(client, TransferMessage_ChangingDirectory);
  ErrorCode status = Error_None;
  if (remote.directory[0] != '\0')
    status = FTPc_ChangeDirectory(client->ftp, remote.directory, &client->lastReply);
  if (status != Error_None) return FailDirectory(client, status);
  return client->data.isUpload != 0 ? Advance() : TryName(client, remote.name);
}

StepEvent iVRXClient_AskForMirrors(VRXClient* client, StepMode mode) {
  if (mode == StepMode::Working && client->isProbed) return Advance();
  iVRXClient_Message(client, TransferMessage_LocatingMirrors);
  const char* path = RemotePath(client);
  ErrorCode status = FTPc_Mirrors(client->ftp, path[0] != '\0' ? path : kLoginFolder, &client->lastReply);
  if (status == Error_Invalid) {
    iVRXClient_Message(client, TransferMessage_NotMirrorServer);
    client->isMirrorServer = false;
    return Advance();
  }
  if (status != Error_None) return Failed(status);
  client->isMirrorServer = true;
  iVRXClient_Message(client, TransferMessage_MirrorsLocated);
  status = iVRXClient_AddServers(client, client->lastReply.text, nullptr);
  return status == Error_None ? Advance() : Failed(status);
}

StepEvent iVRXClient_SetTransferMode(VRXClient* client, StepMode) {
  iVRXClient_Message(client, TransferMessage_SettingMode);
  const bool isText = iVRXClient_PrefersText(client->data.isUpload != 0);
  ErrorCode status = FTPc_FileType(client->ftp, isText ? 'A' : 'I', 'N', &client->lastReply);
  if (status == Error_Invalid) status = FTPc_FileType(client->ftp, 'L', 'N', &client->lastReply);
  return status == Error_None ? Advance() : Failed(status);
}

StepEvent iVRXClient_AskForSize(VRXClient* client, StepMode mode) {
  if (mode == StepMode::Working && IsSizeKnown(client)) return Advance();
  const StepEvent event = AskServerForSize(client);
  if (event.kind != StepEvent::Kind::Advance) return event;
  iVRXClient_ReportSize(client);
  iVRXClient_ReportTime(client);
  if (mode == StepMode::Working) return event;
  client->isProbed = true;
  client->isProbedConnection = true;
  return Stay(VRXClientResult_Completed);
}

StepEvent iVRXClient_StartFTP(VRXClient* client) {
  char name[kPathSize];
  iVRXClient_ServerFileName(client, name);
  const ErrorCode status = client->offset > 0 ? Resume(client, name) : StartFromBeginning(client, name);
  if (status != Error_None) return Failed(status);
  if (client->data.isUpload != 0) iVRXClient_MakeBlocking(client->dataStream);
  return Advance();
}
