// A transfer as its application sees it: creation, accessors, life.
#include "qz/vrxclient.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "net/url_internal.h"
#include "os/core/lock_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "qz/memory.h"
#include "qz/sock.h"
#include "transfer/statistics_internal.h"
#include "transfer/vrxclient_machine_internal.h"
#include "transfer/vrxclientsystem_internal.h"
#include "transfer/vrxprefs_internal.h"

namespace {

// ---- texts -----------------------------------------------------------------------------------------------

// A longer text than capacity - 2 bytes could be written, but its reader would skip the rest of the file.
template <size_t Size>
bool Fits(const char* text, const char (&)[Size]) {
  return text == nullptr || strlen(text) <= Size - 2;
}

template <size_t Size>
void Store(const char* text, char (&field)[Size]) {
  snprintf(field, Size, "%s", text != nullptr ? text : "");
}

// A name that the application gives for one of the fields; null is an empty one.
template <size_t Size>
ErrorCode SetText(VRXClient* client, const char* text, char (&field)[Size]) {
  if (!Fits(text, field)) return Error_Exceed;
  Store(text, field);
  client->isChanged = true;
  return Error_None;
}

ErrorCode GiveText(const char* text, char* buffer) {
  snprintf(buffer, kPathSize, "%s", text);
  return Error_None;
}

// The text behind the last "/": unlike File_SplitDir it tells a path without a name from one with one.
const char* NameOf(const char* path) {
  const char* separator = strrchr(path, '/');
  return separator != nullptr ? separator + 1 : path;
}

// ---- life ------------------------------------------------------------------------------------------------

void Free(VRXClient* client) {
  iVRXClient_FreeRecord(&client->data, 0);
  File_CopyAbort(&client->copy);
  Memory_Delete(client->server);
  Memory_Delete(client->buffer);
  Memory_Delete(client->logText);
  Memory_Delete(client->waitingLog);
  Semaphore_Delete(client->semaphore);
  client->~VRXClient();
  Memory_Delete(client);
}

using OwnedTransfer = Owned<VRXClient, Free>;

ErrorCode Allocate(Word userData, const VRXClientMethods* methods, OwnedTransfer* transfer) {
  void* memory = Memory_New(sizeof(VRXClient));
  if (memory == nullptr) return Error_Memory;
  transfer->reset(new (memory) VRXClient{});
  VRXClient* client = transfer->get();
  iVRXClient_InitRecord(&client->data);
  client->userData = userData;
  client->methods = methods;
  client->connectionKind = kNoConnection;
  client->dataFileSize = kSizeUnknown;
  client->remaining = kSizeUnknown;
  client->semaphore = Semaphore_New(1, 1);
  return client->semaphore != nullptr ? Error_None : Error_Memory;
}

void RemoveLogFile(const VRXClient* client) {
  if (!client->isLogPathOwn || iVRXClientList_HasPath(client->data.logPath, client)) return;
  File_Unlink(client->data.logPath);
}

// The transfer is gone afterwards. What is said on the way may call back, so a call of it is under way.
void End(VRXClient* client, AfterStep how) {
  ++client->callDepth;
  iVRXClientList_MarkEnding(client);
  if (how == AfterStep::Delete) iAgentList_DeleteAll(&client->data.agents, 1);
  iVRXClient_CloseConnection(client, Closing::Politely);
  // Told of the end, the application may have asked for more.
  how = std::max(how, client->afterStep);
  if (how == AfterStep::Delete) iAgentList_DeleteAll(&client->data.agents, 1);
  iVRXClientList_Unlink(client);
  File_CopyAbort(&client->copy);
  if (how == AfterStep::Delete) {
    iVRXClient_ForgetDataFile(client);
    iVRXClient_RemoveEmptyDataFile(client);
    RemoveLogFile(client);
  }
  Free(client);
  iVRXClient_HangUpIfIdle();
}

ErrorCode EndOrDefer(VRXClient* client, AfterStep how) {
  if (client == nullptr) return Error_Invalid;
  if (client->callDepth == 0) {
    End(client, how);
    return Error_None;
  }
  if (client->afterStep < how) client->afterStep = how;
  iVRXClientList_MarkEnding(client);
  client->methods = nullptr;
  client->methods64 = nullptr;
  return Error_None;
}

// ---- creation --------------------------------------------------------------------------------------------

ErrorCode CheckDirection(const char* url, bool isUpload) {
  URLData* parsed = nullptr;
  const ErrorCode status = URL_NewData(url, &parsed);
  if (status != Error_None) return status;
  const int32_t type = URL_GetProtocolType(parsed->protocol);
  Memory_Delete(parsed);
  const bool isHTTP = type == URLProtocol_HTTP || type == URLProtocol_HTTPS;
  const bool isOneWay = isUpload ? isHTTP : type == URLProtocol_FTPU;
  return isOneWay ? Error_Invalid : Error_None;
}

ErrorCode CheckDuplicate(const char* url) {
  URLData* parsed = nullptr;
  const ErrorCode status = URL_NewData(url, &parsed);
  if (status != Error_None) return status == Error_Memory ? Error_Memory : Error_None;
  const bool isThere = iVRXClientList_HasURL(*parsed);
  Memory_Delete(parsed);
  return isThere ? Error_Exists : Error_None;
}

ErrorCode SetFirstServer(VRXClient* client) {
  return iVRXClient_SetServer(client, client->data.servers.first);
}

ErrorCode SetUpServers(VRXClient* client, const char* url, bool isUpload) {
  ErrorCode status = VRXClient_CheckURL(url, nullptr);
  if (status == Error_None) status = CheckDirection(url, isUpload);
  if (status == Error_None) status = iServerList_New(url, &client->data.servers);
  return status == Error_None ? SetFirstServer(client) : status;
}

ErrorCode SetUpLocalPath(VRXClient* client, const char* path) {
  if (path != nullptr && path[0] != '\0') return iVRXClient_ApplyLocalPath(client, path);
  return client->data.isUpload != 0 ? Error_Invalid : iVRXClient_ApplyDefaultLocalPath(client);
}

ErrorCode Create(const char* url, const char* localPath, bool isUpload, Word userData,
                 const VRXClientMethods* methods, VRXClient** client) {
  if (url == nullptr) return Error_Invalid;
  if (!iVRXClientSystem_IsStarted()) return Error_NotInited;
  ErrorCode status = CheckDuplicate(url);
  if (status != Error_None) return status;
  OwnedTransfer transfer;
  status = Allocate(userData, methods, &transfer);
  if (status != Error_None) return status;
  VRXClientData& data = transfer->data;
  data.isUpload = isUpload ? 1 : 0;
  data.editFlags = isUpload ? kUploadEditFlags : kDownloadEditFlags;
  Time_Get(&data.created);
  transfer->isChanged = true;
  status = SetUpServers(transfer.get(), url, isUpload);
  if (status == Error_None) status = SetUpLocalPath(transfer.get(), localPath);
  if (status == Error_None) status = iVRXClientList_Link(transfer.get(), true);
  if (status == Error_None) *client = transfer.release();
  return status;
}

// ---- reading ---------------------------------------------------------------------------------------------

// What a step did without its end is done again; complete data stays complete while it is there.
void SetUpStateRead(VRXClient* client, bool hadDataFile) {
  iVRXClient_AdoptDataFile(client);
  // The servers before it had failed: this one sent the bytes, and told their time.
  if (client->offset > 0) client->timeEntry = iServerList_Select(client->data.servers);
  const bool isDataLost = client->data.dataPath[0] == '\0' && (hadDataFile || client->data.isUpload == 0);
  const TransferState state = client->data.state;
  client->isEmptyCopySent = state == TransferState::Finish && isDataLost;
  const bool beginsAgain = state < TransferState::Finish || (state == TransferState::Finish && isDataLost);
  iVRXClient_ChangeState(client, beginsAgain ? TransferState::SelectServer : state);
}

// Of two transfers that are read from one record the first one has its data file.
void LinkRead(VRXClient* client) {
  const LibraryLock lock;
  const char* path = client->data.dataPath;
  if (path[0] != '\0' && iVRXClientList_HasPath(path, client)) iVRXClient_SetDataPath(client, "");
  iVRXClientList_Link(client, false);
}

ErrorCode SetUpRead(Traverse* traverse, VRXClient* client) {
  ErrorCode status = iVRXClient_ReadRecord(traverse, &client->data);
  if (status == Error_None) status = SetFirstServer(client);
  if (status != Error_None) return status;
  client->isLogPathOwn = iVRXClient_IsOwnName(client->data.logPath, kLogPrefix);
  const bool hadDataFile = client->data.dataPath[0] != '\0';
  if (!iVRXClient_HasOwnDataPath(client)) iVRXClient_SetDataPath(client, "");
  LinkRead(client);
  SetUpStateRead(client, hadDataFile);
  return Error_None;
}

void ReportAll(VRXClient* client) {
  const TransferCall call(client);
  iVRXClient_ReportSize(client);
  const uint64_t total = VRXClient_GetSize64(client);
  iVRXClient_ReportProgress(client, client->offset, total);
  iVRXClient_ReportProgress64(client, client->offset, total);
  iVRXClient_ReportTime(client);
}

// ---- servers ---------------------------------------------------------------------------------------------

ErrorCode NoteAdded(VRXClient* client, ErrorCode status, bool isGrown, bool* isAdded) {
  if (isGrown) client->isChanged = true;
  if (isAdded != nullptr) *isAdded = isGrown;
  return status;
}

// Begins with "/", and holds no byte that would end it in a request.
bool IsRequestTarget(std::string_view text) {
  return text.starts_with('/') &&
         std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) <= ' '; });
}

const ServerEntry* EntryAt(const ServerList& servers, uint32_t index) {
  const ServerEntry* entry = servers.first;
  for (; entry != nullptr && index > 0; --index) entry = entry->next;
  return entry;
}

URLData WithoutUser(const URLData& url) {
  URLData shown = url;
  shown.user = nullptr;
  shown.password = nullptr;
  return shown;
}

void FillStatistics(const URLData& url, VRXClientServer* server) {
  ServerStatistics statistics = {0, -1.0f, 0, 0.5f};
  if (url.host != nullptr) iStatistics_Get(url.host, url.port, &statistics);
  server->speedSamples = statistics.speedSamples;
  server->averageSpeed = statistics.averageSpeed;
  server->outcomeSamples = statistics.outcomeSamples;
  server->successRatio = statistics.successRatio;
}

// Too late for another data file.
bool HasBegun(const VRXClient* client) {
  return client->data.state != TransferState::SelectServer || client->connectionKind != kNoConnection;
}

bool IsHangUpWanted() {
  const PreferencesAccess preferences;
  return preferences && preferences->isDialUpEnabled != 0 && preferences->hangsUpWhenDone != 0;
}

}  // namespace

TransferCall::~TransferCall() {
  if (--client_->callDepth != 0 || client_->afterStep < AfterStep::Close) return;
  End(client_, client_->afterStep);
}

// ---- inside the library ----------------------------------------------------------------------------------

void iVRXClient_ServerFileName(const VRXClient* client, char (&name)[kPathSize]) {
  if (client->data.isUpload != 0 && client->data.serverFileName[0] != '\0') {
    Store(client->data.serverFileName, name);
  } else {
    VRXClient_GetFileName(client, name);
  }
}

ErrorCode iVRXClient_SetServer(VRXClient* client, ServerEntry* entry) {
  Memory_Delete(client->server);
  client->server = entry != nullptr ? URL_CopyData(entry->url) : nullptr;
  client->entry = client->server != nullptr ? entry : nullptr;
  return entry != nullptr && client->server == nullptr ? Error_Memory : Error_None;
}

ErrorCode iVRXClient_AddServer(VRXClient* client, const char* url, bool* isAdded) {
  const LibraryLock lock;
  bool isGrown = false;
  const ErrorCode status = iServerList_Add(&client->data.servers, url, &isGrown);
  return NoteAdded(client, status, isGrown, isAdded);
}

ErrorCode iVRXClient_AddServers(VRXClient* client, const char* urls, bool* isAdded) {
  const LibraryLock lock;
  bool isGrown = false;
  const ErrorCode status = iServerList_AddMirrors(&client->data.servers, urls, &isGrown);
  return NoteAdded(client, status, isGrown, isAdded);
}

void iVRXClient_HangUpIfIdle() {
  if (!iVRXClientSystem_IsStarted() || !IsHangUpWanted()) return;
  iVRXClientSystem_ApplyDialUp(true);
  if (!iVRXClientList_NeedsLine()) Sock_CloseRemoteAccess();
}

// ---- creating --------------------------------------------------------------------------------------------

ErrorCode VRXClient_CheckURL(const char* url, int32_t* upload) {
  if (upload != nullptr) *upload = 0;
  URLData* parsed = nullptr;
  const ErrorCode status = URL_NewData(url, &parsed);
  if (status != Error_None) return status;
  const int32_t type = URL_GetProtocolType(parsed->protocol);
  const bool hasPath = parsed->path != nullptr;
  Memory_Delete(parsed);
  if (type == URLProtocol_FTPU) {
    if (upload != nullptr) *upload = 1;
    return Error_None;
  }
  const bool isDownload = type == URLProtocol_HTTP || type == URLProtocol_HTTPS || type == URLProtocol_FTP;
  return isDownload && hasPath ? Error_None : Error_Invalid;
}

ErrorCode VRXClient_NewDownload(const char* url, const char* localPath, Word userData,
                                const VRXClientMethods* methods, VRXClient** client) {
  if (client == nullptr) return Error_Invalid;
  *client = nullptr;
  return Create(url, localPath, false, userData, methods, client);
}

ErrorCode VRXClient_NewUpload(const char* localFile, const char* serverURL, Word userData,
                              const VRXClientMethods* methods, VRXClient** client) {
  if (client == nullptr) return Error_Invalid;
  *client = nullptr;
  if (localFile == nullptr) return Error_Invalid;
  int32_t isDirectory = 0;
  if (File_Exists(localFile, &isDirectory) == 0) return Error_NotFound;
  if (isDirectory != 0) return Error_Invalid;
  return Create(serverURL, localFile, true, userData, methods, client);
}

ErrorCode VRXClient_New(const char* first, const char* second, VRXClient** client) {
  if (client == nullptr) return Error_Invalid;
  *client = nullptr;
  if (first == nullptr || second == nullptr) return Error_Invalid;
  Owned<URLData, Memory_Delete> source;
  ErrorCode status = URL_NewData(first, source.out());
  if (status != Error_None) return status;
  if (URL_GetProtocolType(source->protocol) == URLProtocol_File)
    return VRXClient_NewUpload(source->path, second, 0, nullptr, client);
  Owned<URLData, Memory_Delete> target;
  status = URL_NewData(second, target.out());
  if (status != Error_None) return status;
  if (URL_GetProtocolType(target->protocol) != URLProtocol_File) return Error_Invalid;
  // Kept: the two are not swapped, so the server's URL is looked for as a local file; callers rely on -3.
  return VRXClient_NewUpload(first, target->path, 0, nullptr, client);
}

// ---- configuring -----------------------------------------------------------------------------------------

ErrorCode VRXClient_SetMethods(VRXClient* client, Word userData, const VRXClientMethods* methods) {
  if (client == nullptr) return Error_Invalid;
  const TransferCall call(client);
  client->userData = userData;
  client->methods = methods;
  if (methods != nullptr && methods->size != nullptr)
    methods->size(userData, iVRXClient_Narrow(VRXClient_GetSize64(client)));
  if (client->methods == methods && methods != nullptr && methods->time != nullptr)
    methods->time(userData, iVRXClient_EstimateTime(client));
  return Error_None;
}

ErrorCode VRXClient_SetUser(VRXClient* client, const char* user, const char* password) {
  if (client == nullptr) return Error_Invalid;
  if ((client->data.editFlags & VRXClientEdit_User) == 0) return Error_NoAccess;
  if (client->data.state >= TransferState::Directory) {
    const TransferCall call(client);
    iVRXClient_Message(client, TransferMessage_AlreadyLoggedIn);
    return Error_Inited;
  }
  VRXClientData& data = client->data;
  if (!Fits(user, data.user) || !Fits(password, data.password)) return Error_Exceed;
  if (user != nullptr || data.user[0] != '\0') SetText(client, user, data.user);
  if (password != nullptr || data.password[0] != '\0') SetText(client, password, data.password);
  return Error_None;
}

ErrorCode VRXClient_SetSize(VRXClient* client, uint32_t size) {
  return VRXClient_SetSize64(client, iVRXClient_Widen(size));
}

ErrorCode VRXClient_AddMirrors(VRXClient* client, const char* mirrors) {
  if (client == nullptr || mirrors == nullptr) return Error_Invalid;
  if (client->data.servers.first == nullptr || client->server == nullptr) return Error_NotInited;
  return iVRXClient_AddServers(client, mirrors, nullptr);
}

ErrorCode VRXClient_SetLocalFilePath(VRXClient* client, const char* path) {
  if (client == nullptr || path == nullptr) return Error_Invalid;
  if (client->data.state == TransferState::Completed) return Error_Inited;
  if (client->data.isUpload != 0) return Error_NoAccess;
  if ((client->data.editFlags & VRXClientEdit_LocalFilePath) == 0) return Error_NoAccess;
  return iVRXClient_ApplyLocalPath(client, path);
}

ErrorCode VRXClient_SetTransferName(VRXClient* client, const char* name) {
  return client != nullptr ? SetText(client, name, client->data.name) : ErrorCode{Error_Invalid};
}

ErrorCode VRXClient_SetEditFlags(VRXClient* client, uint32_t flags) {
  if (client == nullptr) return Error_Invalid;
  client->data.editFlags = flags;
  client->isChanged = true;
  return Error_None;
}

// ---- what a transfer is and does -------------------------------------------------------------------------

int32_t VRXClient_IsUpload(const VRXClient* client) {
  return client != nullptr && client->data.isUpload != 0 ? 1 : 0;
}

int32_t VRXClient_IsVRXServer(const VRXClient* client) {
  return client != nullptr && client->isMirrorServer ? 1 : 0;
}

int32_t VRXClient_ServerSupportsResume(const VRXClient* client) {
  return client != nullptr && client->canResume ? 1 : 0;
}

int32_t VRXClient_IsCompleted(const VRXClient* client) {
  return client != nullptr && client->data.state == TransferState::Completed ? 1 : 0;
}

int32_t VRXClient_IsSecure(const VRXClient* client, int32_t* out) {
  if (out != nullptr) *out = 0;
  return client != nullptr && client->connectionKind == URLProtocol_HTTPS ? 1 : 0;
}

ErrorCode VRXClient_GetSourceURL(const VRXClient* client, char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  buffer[0] = '\0';
  if (client == nullptr) return Error_Invalid;
  return client->server != nullptr ? URL_FromData(client->server, buffer) : ErrorCode{Error_NoAccess};
}

ErrorCode VRXClient_GetServerName(const VRXClient* client, char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  buffer[0] = '\0';
  if (client == nullptr) return Error_Invalid;
  if (client->server == nullptr) return Error_NoAccess;
  URLData shown = WithoutUser(*client->server);
  shown.path = nullptr;
  return URL_FromData(&shown, buffer);
}

uint32_t VRXClient_GetSize(const VRXClient* client) {
  return client != nullptr ? iVRXClient_Narrow(VRXClient_GetSize64(client)) : 0;
}

ErrorCode VRXClient_GetLocalFilePath(const VRXClient* client, char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  buffer[0] = '\0';
  return client != nullptr ? GiveText(client->data.localPath, buffer) : ErrorCode{Error_Invalid};
}

ErrorCode VRXClient_GetTransferName(const VRXClient* client, char* buffer) {
  if (client == nullptr || buffer == nullptr || client->data.name[0] == '\0')
    return VRXClient_GetFileName(client, buffer);
  return GiveText(client->data.name, buffer);
}

ErrorCode VRXClient_GetRemoteFilePath(const VRXClient* client, char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  buffer[0] = '\0';
  if (client == nullptr) return Error_Invalid;
  if (client->server == nullptr || client->server->path == nullptr) return Error_None;
  return GiveText(client->server->path, buffer);
}

ErrorCode VRXClient_GetFileName(const VRXClient* client, char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  buffer[0] = '\0';
  if (client == nullptr) return Error_Invalid;
  if (client->data.isUpload != 0) return GiveText(NameOf(client->data.localPath), buffer);
  const URLData* url = client->server != nullptr ? client->server : client->data.servers.first->url;
  return url->path != nullptr ? GiveText(NameOf(url->path), buffer) : Error_None;
}

uint32_t VRXClient_GetError(const VRXClient* client) {
  return client != nullptr ? client->reason.load() : 0;
}

ErrorCode VRXClient_AgentError(VRXClient* client, uint32_t reason) {
  if (client == nullptr) return Error_Invalid;
  if (reason != VRXClientReason_None) {
    iVRXClient_SetReason(client, reason);
    return Error_None;
  }
  client->reason = VRXClientReason_None;
  client->isReasonOfStep = false;
  return Error_None;
}

uint32_t VRXClient_GetEditFlags(const VRXClient* client) {
  return client != nullptr ? client->data.editFlags : 0;
}

// ---- ending ----------------------------------------------------------------------------------------------

ErrorCode VRXClient_Close(VRXClient* client) {
  return EndOrDefer(client, AfterStep::Close);
}

ErrorCode VRXClient_Delete(VRXClient* client) {
  return EndOrDefer(client, AfterStep::Delete);
}

// ---- the record ------------------------------------------------------------------------------------------

namespace {

// Of the new file and of the one whose bytes stand on the disk.
void ExchangeWhatIsKnown(VRXClient* client) {
  std::swap(client->data.size, client->oldSize);
  std::swap(client->data.sourceTime, client->oldTime);
}

}  // namespace

ErrorCode VRXClient_Read(Traverse* traverse, Word userData, const VRXClientMethods* methods,
                         VRXClient** client) {
  if (client == nullptr) return Error_Invalid;
  *client = nullptr;
  if (traverse == nullptr) return Error_Invalid;
  if (!iVRXClientSystem_IsStarted()) return Error_NotInited;
  OwnedTransfer transfer;
  ErrorCode status = Allocate(userData, methods, &transfer);
  if (status == Error_None) status = SetUpRead(traverse, transfer.get());
  if (status != Error_None) return status;
  *client = transfer.release();
  ReportAll(*client);
  return Error_None;
}

ErrorCode VRXClient_Write(Traverse* traverse, VRXClient* client) {
  if (client == nullptr) return Error_Invalid;
  const TransferCall call(client);
  iVRXClient_KeepDataFileName(client);
  iVRXClient_EndLogDelay(client);
  // While old bytes stand on the disk, the record tells of their file.
  const bool tellsOfOldBytes = client->cutsDataFile;
  if (tellsOfOldBytes) ExchangeWhatIsKnown(client);
  const ErrorCode status = iVRXClient_WriteRecord(traverse, &client->data, client->isLeavingPasswordsOut);
  if (tellsOfOldBytes) ExchangeWhatIsKnown(client);
  return status;
}

// ---- additions -------------------------------------------------------------------------------------------

ErrorCode VRXClient_SetMethods64(VRXClient* client, Word userData, const VRXClientMethods64* methods) {
  if (client == nullptr) return Error_Invalid;
  const TransferCall call(client);
  client->userData64 = userData;
  client->methods64 = methods;
  if (methods != nullptr && methods->size != nullptr) methods->size(userData, VRXClient_GetSize64(client));
  if (client->methods64 == methods && methods != nullptr && methods->time != nullptr)
    methods->time(userData, iVRXClient_EstimateTime(client));
  return Error_None;
}

uint32_t VRXClient_GetState(const VRXClient* client) {
  return client != nullptr ? static_cast<uint32_t>(client->data.state) : 0;
}

uint64_t VRXClient_GetSize64(const VRXClient* client) {
  if (client == nullptr) return 0;
  const uint64_t size = client->data.isUpload != 0 ? client->dataFileSize : client->data.size;
  // Kept: a size of 0 is an unknown one; displays take it so.
  if (size != 0 && size != kSizeUnknown) return size;
  return client->data.declaredSize != 0 ? client->data.declaredSize : kSizeUnknown;
}

ErrorCode VRXClient_SetSize64(VRXClient* client, uint64_t size) {
  if (client == nullptr) return Error_Invalid;
  if (client->data.state >= TransferState::FileSize) return Error_NoAccess;
  client->data.declaredSize = size;
  client->isChanged = true;
  return Error_None;
}

uint64_t VRXClient_GetOffset64(const VRXClient* client) {
  return client != nullptr ? client->offset : 0;
}

ErrorCode VRXClient_SetServerFileName(VRXClient* client, const char* name) {
  if (client == nullptr || client->data.isUpload == 0) return Error_Invalid;
  if ((client->data.editFlags & VRXClientEdit_KeepServerFileName) != 0) return Error_NoAccess;
  if (client->data.state >= TransferState::Data) return Error_Inited;
  return SetText(client, name, client->data.serverFileName);
}

ErrorCode VRXClient_SetDataFilePath(VRXClient* client, const char* path) {
  if (client == nullptr || client->data.isUpload != 0) return Error_Invalid;
  if (HasBegun(client)) return Error_Inited;
  if (!Fits(path, client->data.dataPath)) return Error_Exceed;
  const char* newPath = path != nullptr ? path : "";
  {
    const LibraryLock lock;
    if (newPath[0] != '\0' && iVRXClientList_HasPath(newPath, client)) return Error_Exists;
    iVRXClient_SetDataPath(client, newPath);
  }
  iVRXClient_LookAtDataFile(client);
  return Error_None;
}

ErrorCode VRXClient_DiscardData(VRXClient* client) {
  if (client == nullptr || client->data.isUpload != 0) return Error_Invalid;
  if (HasBegun(client)) return Error_Inited;
  client->discardsData = true;
  return Error_None;
}

ErrorCode VRXClient_GetDataFilePath(const VRXClient* client, char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  buffer[0] = '\0';
  return client != nullptr ? GiveText(client->data.dataPath, buffer) : ErrorCode{Error_Invalid};
}

ErrorCode VRXClient_GetServer(const VRXClient* client, uint32_t index, VRXClientServer* server) {
  if (server == nullptr) return Error_Invalid;
  *server = {};
  if (client == nullptr) return Error_Invalid;
  const ServerEntry* entry = EntryAt(client->data.servers, index);
  if (entry == nullptr) return Error_NotFound;
  const URLData shown = WithoutUser(*entry->url);
  URL_FromData(&shown, server->url);
  server->isFailed = entry->isFailed ? 1 : 0;
  server->isCurrent = entry == client->entry ? 1 : 0;
  FillStatistics(*entry->url, server);
  return Error_None;
}

ErrorCode VRXClient_GetLastReply(const VRXClient* client, VRXClientLastReply* reply) {
  if (reply == nullptr) return Error_Invalid;
  *reply = {};
  if (client == nullptr) return Error_Invalid;
  const bool hasReplied = client->lastReply.replyClass != 0;
  if (!hasReplied && client->lastFailure == Error_None && client->lastReason == 0) return Error_NotFound;
  reply->status = client->lastFailure;
  reply->reason = client->lastReason;
  if (!hasReplied) return Error_None;
  reply->code = client->lastReply.code;
  snprintf(reply->text, sizeof reply->text, "%s", client->lastReply.text);
  return Error_None;
}

ErrorCode VRXClient_SetSavePassword(VRXClient* client, int32_t flag) {
  if (client == nullptr) return Error_Invalid;
  client->isLeavingPasswordsOut = flag == 0;
  client->isChanged = true;
  return Error_None;
}

ErrorCode VRXClient_AcceptWebPages(VRXClient* client, int32_t flag) {
  if (client == nullptr) return Error_Invalid;
  client->acceptsWebPages = flag != 0;
  return Error_None;
}

ErrorCode VRXClient_AcceptEmptyFiles(VRXClient* client, int32_t flag) {
  if (client == nullptr) return Error_Invalid;
  client->acceptsEmptyFiles = flag != 0;
  if (flag == 0 || HasBegun(client) || !iVRXClient_AdoptEmptyCopy(client)) return Error_None;
  if (client->isEmptyCopySent) iVRXClient_ChangeState(client, TransferState::Finish);
  return Error_None;
}

ErrorCode VRXClient_RefuseSurplus(VRXClient* client, int32_t flag) {
  if (client == nullptr) return Error_Invalid;
  client->refusesSurplus = flag != 0;
  return Error_None;
}

ErrorCode VRXClient_SetOverwrite(VRXClient* client, int32_t flag) {
  if (client == nullptr) return Error_Invalid;
  client->replacesTarget = flag != 0;
  return Error_None;
}

ErrorCode VRXClient_SetSync(VRXClient* client, int32_t flag) {
  if (client == nullptr) return Error_Invalid;
  client->syncsDataFile = flag != 0;
  return Error_None;
}

ErrorCode VRXClient_SetPool(VRXClient* client, HTTPcPool* pool) {
  if (client == nullptr) return Error_Invalid;
  client->pool = pool;
  return Error_None;
}

ErrorCode VRXClient_SetActiveMode(VRXClient* client, int32_t flag) {
  if (client == nullptr) return Error_Invalid;
  client->usesActiveMode = flag != 0;
  return Error_None;
}

int32_t VRXClient_GetActiveMode(const VRXClient* client) {
  return client != nullptr && client->usesActiveMode ? 1 : 0;
}

int32_t VRXClient_GetRelativePaths(const VRXClient* client) {
  return client != nullptr && client->usesRelativePaths ? 1 : 0;
}

ErrorCode VRXClient_GetUser(const VRXClient* client, char* user, char* password) {
  if (user != nullptr) user[0] = '\0';
  if (password != nullptr) password[0] = '\0';
  if (client == nullptr) return Error_Invalid;
  if (user != nullptr) GiveText(client->data.user, user);
  if (password != nullptr) GiveText(client->data.password, password);
  return Error_None;
}

ErrorCode VRXClient_SetRequestTarget(VRXClient* client, const char* url, const char* target) {
  if (client == nullptr) return Error_Invalid;
  const std::string_view text = target != nullptr ? target : "";
  if (!text.empty() && !IsRequestTarget(text)) return Error_Invalid;
  if (text.size() > kServerTextLimit) return Error_Exceed;
  ServerEntry* entry = client->data.servers.first;
  if (url != nullptr) {
    URLData* data = nullptr;
    const ErrorCode status = URL_NewData(url, &data);
    if (status != Error_None) return status;
    entry = iServerList_Find(client->data.servers, *data);
    Memory_Delete(data);
  }
  return entry != nullptr ? iServerList_SetRequestTarget(entry, text) : ErrorCode{Error_NotFound};
}

ErrorCode VRXClient_SetRelativePaths(VRXClient* client, int32_t flag) {
  if (client == nullptr) return Error_Invalid;
  client->usesRelativePaths = flag != 0;
  return Error_None;
}
