// The copy in the cache that an upload is sent from: the source may change or go while it is sent.
#include <cstring>

#include "os/file/file_internal.h"
#include "qz/string.h"
#include "transfer/vrxclient_machine_internal.h"

namespace {

struct CopyState {
  FileState source;
  uint64_t sourceSize;
  FileState copy;
  uint64_t copySize;
};

ErrorCode Look(const VRXClient* client, CopyState* state) {
  const ErrorCode status = File_GetState64(client->data.localPath, &state->source, &state->sourceSize);
  if (status != Error_None) return status;
  return File_GetState64(client->data.dataPath, &state->copy, &state->copySize);
}

bool IsThere(const FileState& state) {
  return state.exists != 0 && state.isDirectory == 0;
}

StepEvent UseWhatIsThere(VRXClient* client, const CopyState& state) {
  if (IsThere(state.copy)) {
    iVRXClient_Message(client, TransferMessage_SourceGone);
    return Advance();
  }
  iVRXClient_Message(client, TransferMessage_NoSource, client->data.localPath);
  iVRXClient_SetReason(client, VRXClientReason_NoSource);
  return FailedWithoutStatus();
}

bool IsUnaltered(const VRXClient* client, const CopyState& state) {
  return IsThere(state.copy) && state.sourceSize == state.copySize &&
         Time_Compare(&state.source.modificationTime, &client->data.sourceTime) == 0;
}

// An agent has made the copy. Its size is another than the source's, so it is not compared again.
StepEvent UseFiltered(VRXClient* client, const char* className, const char* serverFileName) {
  iVRXClient_MessageText(client, "Agent \"%s\" invoked for upload filter. Server file name is \"%s\"",
                         className, serverFileName);
  VRXClient_SetServerFileName(client, serverFileName);
  client->isDataFileNew = false;
  if (iVRXClient_MeasureDataFile(client) == Error_None) return Advance();
  return iVRXClient_FailWith(client, VRXClientReason_DataFile, TransferMessage_NoDataFile);
}

StepEvent StartPlainCopy(VRXClient* client) {
  const ErrorCode status = File_CopyStart(client->data.localPath, client->data.dataPath, 0, client,
                                          iVRXClient_CopyProgress, &client->copy);
  if (status != Error_None)
    return iVRXClient_FailWith(client, VRXClientReason_DataFile, TransferMessage_NoDataFile);
  client->isDataFileNew = false;
  return Stay();
}

// Only a file of the library's making gives way to a new copy; beside any other one the copy gets a new name.
ErrorCode ClearCopy(VRXClient* client, const CopyState& state) {
  if (client->isDataFileNew) return iVRXClient_NameDataFile(client);
  if (!iVRXClient_OwnsDataFile(client)) {
    iVRXClient_SetDataPath(client, "");
    return iVRXClient_NameDataFile(client);
  }
  if (state.copy.exists != 0) File_Unlink(client->data.dataPath);
  return Error_None;
}

StepEvent CopyAnew(VRXClient* client, const CopyState& state) {
  client->data.sourceTime = state.source.modificationTime;
  client->isChanged = true;
  if (ClearCopy(client, state) != Error_None)
    return iVRXClient_FailWith(client, VRXClientReason_DataFile, TransferMessage_NoDataFile);
  client->dataFileSize = 0;
  iVRXClient_Message(client, TransferMessage_CopyingSource);
  char className[kPathSize] = "";
  char answer[kPathSize] = "";
  const ErrorCode status = iAgentList_StartCache(&client->data.agents, client->data.localPath,
                                                 client->data.dataPath, className, answer);
  if (status == Error_None) return UseFiltered(client, className, answer);
  if (status == Error_NotFound) return StartPlainCopy(client);
  if (status == Error_Cancel)
    iVRXClient_MessageText(client, "Agent \"%s\" cancelled the upload. Reason: %s", className, answer);
  // The agents are in use by another transfer: no server has a part in that.
  if (status == Error_Timeout) return Stay(VRXClientResult_Postponed);
  return Failed(status);
}

StepEvent ContinueCopy(VRXClient* client) {
  const ErrorCode status = iVRXClient_ContinueCopy(client);
  if (status == Error_None) return client->copy != nullptr ? Stay() : Detour();
  File_CopyAbort(&client->copy);
  const bool isDiskFull = status == Error_Exceed;
  return iVRXClient_FailWith(client, isDiskFull ? VRXClientReason_DiskFull : VRXClientReason_DataFile,
                             isDiskFull ? TransferMessage_WriteFailed : TransferMessage_NoDataFile);
}

}  // namespace

StepEvent iVRXClient_PrepareUploadCopy(VRXClient* client) {
  if (client->copy != nullptr) return ContinueCopy(client);
  CopyState state = {};
  if (Look(client, &state) != Error_None)
    return iVRXClient_FailWith(client, VRXClientReason_DataFile, TransferMessage_NoDataFile);
  if (!IsThere(state.source)) return UseWhatIsThere(client, state);
  if (!IsUnaltered(client, state)) return CopyAnew(client, state);
  iVRXClient_Message(client, TransferMessage_SourceUnchanged);
  return Advance();
}
