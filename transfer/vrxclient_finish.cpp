// The end of a transfer: space on the disk, the move of a download to its place, and the agents.
//
// A download has no server file name of its own. The record keeps there what the end of one needs.
//
// Between volumes the bytes are copied to NAME.part beside the destination, which gets its name when it is
// whole. While that runs the record holds the name of the copy, so that the next attempt removes what a
// killed program left.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/filesystem.h"
#include "qz/string.h"
#include "transfer/vrxclient_machine_internal.h"
#include "transfer/vrxclient_machine_testing.h"

namespace {

std::atomic<FreeBytesMethod> freeBytesMethod{iVolume_FreeBytes64};
std::atomic<bool> copiesAlways{false};

constexpr std::string_view kCopyEnding = ".part";

// Stands for the name of the copy when no file came. Names have no "/".
constexpr char kWebPageMark[] = "/web page";

bool IsDirectory(const char* path) {
  int32_t isDirectory = 0;
  return File_Exists(path, &isDirectory) != 0 && isDirectory != 0;
}

ErrorCode DirectoryOf(const char* path, char (&directory)[kPathSize]) {
  return File_SplitDir(path, directory, nullptr);
}

// ---- the record --------------------------------------------------------------------------------

void SetLocalPath(VRXClient* client, const char* path) {
  if (strcmp(client->data.localPath, path) == 0) return;
  String_CopyMax(path, sizeof client->data.localPath, client->data.localPath);
  client->isChanged = true;
}

void KeepCopyName(VRXClient* client, const char* path) {
  char name[kPathSize] = "";
  if (path[0] != '\0') File_SplitDir(path, nullptr, name);
  if (strcmp(client->data.serverFileName, name) == 0) return;
  String_CopyMax(name, sizeof client->data.serverFileName, client->data.serverFileName);
  client->isChanged = true;
}

// ---- what an interrupted attempt left ----------------------------------------------------------

// Whether a name can be one that this transfer gave to a copy: that of the destination, a number at most, and
// the ending.
bool IsCopyName(std::string_view name, std::string_view destination) {
  if (name.size() <= kCopyEnding.size() || !name.ends_with(kCopyEnding) || !name.starts_with(destination))
    return false;
  const std::string_view number =
      name.substr(destination.size(), name.size() - destination.size() - kCopyEnding.size());
  if (number.empty()) return true;
  return number.size() > 2 && number.front() == '(' && number.back() == ')' &&
         number.find_first_not_of("0123456789", 1) == number.size() - 1;
}

bool IsDataFile(const VRXClient* client, const char* path) {
  return iVRXClient_IsSamePath(client->data.dataPath, path) || iVRXClientList_HasPath(path, client);
}

bool IsRemoved(const char* path) {
  const ErrorCode status = File_Unlink(path);
  return status == Error_None || status == Error_NotFound;
}

// What cannot be removed now is tried again with the next attempt.
void RemoveLeftOver(VRXClient* client) {
  const char* left = client->data.serverFileName;
  char directory[kPathSize];
  char name[kPathSize] = "";
  if (left[0] == '\0') return;
  const bool isSplit = File_SplitDir(client->data.localPath, directory, name) == Error_None;
  char path[kPathSize];
  const bool isCopy = isSplit && IsCopyName(left, name) && iFile_Join(directory, left, path) == Error_None &&
                      !IsDataFile(client, path);
  if (!isCopy || IsRemoved(path)) KeepCopyName(client, "");
}

// ---- the destination ---------------------------------------------------------------------------

StepEvent RefuseDestination(VRXClient* client, const char* directory) {
  iVRXClient_Message(client, TransferMessage_NoDestination, directory);
  iVRXClient_SetReason(client, VRXClientReason_NoDestination);
  return FailedWithoutStatus();
}

StepEvent RefuseMove(VRXClient* client, const char* path) {
  iVRXClient_Message(client, TransferMessage_CannotMove, path);
  return FailedWithoutStatus();
}

StepEvent ResolveDestination(VRXClient* client) {
  char path[kPathSize];
  if (IsDirectory(client->data.localPath)) {
    iVRXClient_SafeFileName(client, path);
    if (iFile_Join(client->data.localPath, path, path) != Error_None)
      return RefuseMove(client, client->data.localPath);
    SetLocalPath(client, path);
    return Advance();
  }
  if (DirectoryOf(client->data.localPath, path) != Error_None)
    return RefuseMove(client, client->data.localPath);
  // A name without a directory lies in the current one.
  return path[0] == '\0' || IsDirectory(path) ? Advance() : RefuseDestination(client, path);
}

StepEvent NumberDestination(VRXClient* client) {
  char path[kPathSize];
  client->replacedPath[0] = '\0';
  const char* wanted = client->data.localPath;
  if (iFile_NumberLastPart(wanted, path) != Error_None) return RefuseMove(client, wanted);
  // It gets the name of what it replaces when the agents are content with it.
  if (client->replacesTarget && strcmp(wanted, path) != 0)
    String_CopyMax(wanted, sizeof client->replacedPath, client->replacedPath);
  SetLocalPath(client, path);
  return Advance();
}

// ---- moving ------------------------------------------------------------------------------------

bool IsBesideDestination(const VRXClient* client) {
  char data[kPathSize];
  char destination[kPathSize];
  return DirectoryOf(client->data.dataPath, data) == Error_None &&
         DirectoryOf(client->data.localPath, destination) == Error_None &&
         iVRXClient_IsSamePath(data, destination);
}

// A rename across drives would copy everything in one call.
bool HaveOneDrive(const char* a, const char* b) {
  if (copiesAlways) return false;
  if (!platform::UsesDriveLetters()) return true;
  char rootA[kPathSize];
  char rootB[kPathSize];
  return File_StripRoot(a, rootA, nullptr) >= 0 && File_StripRoot(b, rootB, nullptr) >= 0 &&
         String_CompareInsensitive(rootA, rootB) == 0;
}

StepEvent EndMove(VRXClient* client) {
  iVRXClient_SetDataPath(client, "");
  KeepCopyName(client, "");
  client->dataFileSize = 0;
  client->isChanged = true;
  return Advance();
}

ErrorCode StartCopy(VRXClient* client) {
  char wanted[kPathSize];
  const int length = snprintf(wanted, sizeof wanted, "%s%s", client->data.localPath, kCopyEnding.data());
  if (length >= static_cast<int>(sizeof wanted)) return Error_Exceed;
  ErrorCode status = iFile_NumberLastPart(wanted, client->copyPath);
  if (status != Error_None) return status;
  status = File_CopyStart(client->data.dataPath, client->copyPath, 0, client, iVRXClient_CopyProgress,
                          &client->copy);
  if (status == Error_None) KeepCopyName(client, client->copyPath);
  return status;
}

StepEvent TellOfMove(VRXClient* client) {
  iVRXClient_Message(client, TransferMessage_Moving, client->data.localPath);
  return EndMove(client);
}

struct RenameResult {
  ErrorCode status;
  bool isOtherVolume;
};

RenameResult Rename(const VRXClient* client) {
  RenameResult result = {Error_None, !HaveOneDrive(client->data.dataPath, client->data.localPath)};
  if (!result.isOtherVolume)
    result.status = iFile_Rename(client->data.dataPath, client->data.localPath, &result.isOtherVolume);
  return result;
}

StepEvent Move(VRXClient* client) {
  const char* destination = client->data.localPath;
  const RenameResult renamed = Rename(client);
  const ErrorCode status = renamed.isOtherVolume ? StartCopy(client) : renamed.status;
  if (status != Error_None) return RefuseMove(client, destination);
  if (!renamed.isOtherVolume) return TellOfMove(client);
  iVRXClient_Message(client, TransferMessage_Moving, destination);
  return Stay();
}

// Looks at the destination first: it may be a directory, or be taken.
StepEvent LookAndMove(VRXClient* client) {
  StepEvent event = ResolveDestination(client);
  if (event.kind == StepEvent::Kind::Advance) event = NumberDestination(client);
  return event.kind == StepEvent::Kind::Advance ? Move(client) : event;
}

// Mostly nothing stands under the name, and one call to the system tells so and moves the file. When it fails
// the destination is looked at; a name that turns out to be free is not tried again.
StepEvent MoveBeside(VRXClient* client) {
  char tried[kPathSize];
  String_CopyMax(client->data.localPath, sizeof tried, tried);
  const RenameResult renamed = Rename(client);
  if (renamed.status == Error_None && !renamed.isOtherVolume) {
    client->replacedPath[0] = '\0';
    return TellOfMove(client);
  }
  if (renamed.isOtherVolume || File_Exists(tried, nullptr) != 0) return LookAndMove(client);
  const StepEvent event = ResolveDestination(client);
  return event.kind == StepEvent::Kind::Advance ? RefuseMove(client, tried) : event;
}

StepEvent StartMove(VRXClient* client) {
  client->reason = VRXClientReason_None;
  RemoveLeftOver(client);
  // An earlier attempt has numbered the name of what is to be replaced.
  if (client->replacedPath[0] != '\0') SetLocalPath(client, client->replacedPath);
  if (iVRXClient_ApplyDefaultLocalPath(client) != Error_None)
    return RefuseMove(client, client->data.localPath);
  const bool isBeside = IsBesideDestination(client);
  const bool isSpaceNeeded = client->data.size != kSizeUnknown && !isBeside;
  if (isSpaceNeeded && !iVRXClient_HasSpace(client, client->data.localPath, client->data.size))
    return FailedWithoutStatus();
  // What is to be replaced stands there, most likely.
  const bool mayBeFree =
      !client->replacesTarget && !iVRXClient_IsSamePath(client->data.dataPath, client->data.localPath);
  return isBeside && mayBeFree ? MoveBeside(client) : LookAndMove(client);
}

// Another program may have taken the name since it was found free.
ErrorCode NameCopy(VRXClient* client) {
  bool isOtherVolume = false;
  if (iFile_Rename(client->copyPath, client->data.localPath, &isOtherVolume) == Error_None) return Error_None;
  char path[kPathSize];
  ErrorCode status = iFile_NumberLastPart(client->data.localPath, path);
  if (status == Error_None) status = iFile_Rename(client->copyPath, path, &isOtherVolume);
  if (status == Error_None) SetLocalPath(client, path);
  return status;
}

StepEvent FailCopy(VRXClient* client) {
  File_CopyAbort(&client->copy);
  if (IsRemoved(client->copyPath)) KeepCopyName(client, "");
  iVRXClient_Message(client, TransferMessage_CopyFailed, client->data.localPath);
  return FailedWithoutStatus();
}

// The data file was on the disk; its copy need not be.
ErrorCode FlushCopy(const VRXClient* client) {
  Owned<File, File_Close> copy;
  const ErrorCode status = File_Open(client->copyPath, FileMode_Append, copy.out());
  if (status != Error_None) return status;
  return File_FlushToDisk(copy.get()) == 0 ? Error_None : Error_Fail;
}

StepEvent ContinueMove(VRXClient* client) {
  ErrorCode status = iVRXClient_ContinueCopy(client);
  if (status == Error_None && client->copy != nullptr) return Stay();
  if (status == Error_None && client->syncsDataFile) status = FlushCopy(client);
  if (status == Error_None) status = NameCopy(client);
  if (status != Error_None) return FailCopy(client);
  iVRXClient_Message(client, TransferMessage_Copied, client->data.localPath);
  iVRXClient_ForgetDataFile(client);
  return EndMove(client);
}

StepEvent FinishUpload(VRXClient* client) {
  iVRXClient_ForgetDataFile(client);
  client->isChanged = true;
  return Advance();
}

// ---- agents ------------------------------------------------------------------------------------

// The agents are content with the file: it takes the place of what it replaces.
void ReplaceTarget(VRXClient* client) {
  if (client->replacedPath[0] == '\0' || client->reason != VRXClientReason_None) return;
  if (File_Replace(client->data.localPath, client->replacedPath) == Error_None)
    SetLocalPath(client, client->replacedPath);
  client->replacedPath[0] = '\0';
}

}  // namespace

void iVRXClient_SetFreeBytes(FreeBytesMethod method) {
  freeBytesMethod.store(method != nullptr ? method : iVolume_FreeBytes64);
}

void iVRXClient_SetCopiesAlways(bool always) {
  copiesAlways.store(always);
}

bool iVRXClient_HasSpace(VRXClient* client, const char* path, uint64_t neededBytes) {
  uint64_t freeBytes = 0;
  if (freeBytesMethod.load()(path, &freeBytes) != Error_None || freeBytes >= neededBytes) return true;
  iVRXClient_Message(client, TransferMessage_NoSpace);
  iVRXClient_SetReason(client, VRXClientReason_DiskFull);
  iVRXClient_CloseConnection(client, Closing::Politely);
  return false;
}

void iVRXClient_MarkWebPage(VRXClient* client) {
  String_CopyMax(kWebPageMark, sizeof client->data.serverFileName, client->data.serverFileName);
  client->isChanged = true;
}

int32_t VRXClient_IsWebPage(const VRXClient* client) {
  if (client == nullptr || client->data.isUpload != 0 || client->data.state < TransferState::Agents) return 0;
  return strcmp(client->data.serverFileName, kWebPageMark) == 0 ? 1 : 0;
}

ErrorCode VRXClient_GetReplacedPath(const VRXClient* client, char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  buffer[0] = '\0';
  if (client == nullptr) return Error_Invalid;
  String_Copy(client->replacedPath, buffer);
  return Error_None;
}

StepEvent iVRXClient_Finish(VRXClient* client, StepMode) {
  if (client->data.isUpload != 0) return FinishUpload(client);
  return client->copy != nullptr ? ContinueMove(client) : StartMove(client);
}

StepEvent iVRXClient_TellAgents(VRXClient* client, StepMode) {
  bool isChanged = false;
  const int32_t result = iAgentList_Complete(client, &client->data.agents, &isChanged);
  if (isChanged) client->isChanged = true;
  if (result == VRXClientResult_Completed) {
    ReplaceTarget(client);
    client->isChanged = true;
    return Advance(result);
  }
  if (result == VRXClientResult_Postponed || result == VRXClientResult_Failed)
    iVRXClient_SetReason(client, VRXClientReason_Agent);
  if (result < VRXClientResult_None || result > VRXClientResult_Completed)
    Error("iVRXClient_Agent returned invalid status %d", static_cast<int>(result));
  return Stay(result);
}
