// The state machine of a transfer: one row a state, one step a call, and the one place that changes the
// state.
//
//   FTP    0 - 1 - 2 - 3 - 4 - 6 - 5 - 8 - 9 - 7 - 10 - 11 - 12 - 13 - 14
//   HTTP   0 - 1 - 2 - 3 ------------------- 7 - 10 - 11 - 12 - 13 - 14
//
// Whatever ends a connection sends a state below 12 back to 0. From 12 on the data is complete, and only the
// final move and the agents remain.
#include <array>

#include "net/url_internal.h"
#include "os/platform/thread.h"
#include "transfer/vrxclient_machine_internal.h"
#include "transfer/vrxclientsystem_internal.h"

namespace {

// ---- the first states --------------------------------------------------------------------------

// No server is left: the marks go with the next call, and the list is tried again from its head.
StepEvent GiveUp(VRXClient* client) {
  iVRXClient_Message(client, TransferMessage_NoServer);
  iVRXClient_SetReason(client, VRXClientReason_NoServer);
  TransferControl expected = TransferControl::InStep;
  client->control.compare_exchange_strong(expected, TransferControl::ReconnectRequested);
  return Ends(VRXClientResult_Failed);
}

StepEvent TakeServer(VRXClient* client, StepMode mode) {
  client->canResume = false;
  const bool isProbing = mode == StepMode::Probing;
  iVRXClient_Message(client, isProbing ? TransferMessage_LocatingServer : TransferMessage_SelectingServer);
  const ServerList& servers = client->data.servers;
  ServerEntry* entry = isProbing ? servers.first : iServerList_Select(servers);
  if (entry == nullptr) return GiveUp(client);
  if (iVRXClient_SetServer(client, entry) == Error_None) return Advance();
  iVRXClient_Message(client, TransferMessage_MemoryLow);
  iVRXClient_SetReason(client, VRXClientReason_Memory);
  return Ends(VRXClientResult_Postponed);
}

StepEvent StartAgents(VRXClient* client) {
  char url[kURLSize];
  iURL_Format(client->server, sizeof url, url);
  iAgentList_Start(client, &client->data.agents, client->data.localPath, url);
  return client->reason == VRXClientReason_None ? Advance() : Ends(VRXClientResult_Failed);
}

StepEvent SelectServerStep(VRXClient* client, StepMode mode) {
  // What an earlier server failed with must not end the attempt with the next one.
  client->reason = VRXClientReason_None;
  client->remaining = kSizeUnknown;
  if (client->server == nullptr) {
    const StepEvent taken = TakeServer(client, mode);
    if (taken.kind != StepEvent::Kind::Advance) return taken;
  }
  return StartAgents(client);
}

StepEvent PrepareDataFileStep(VRXClient* client, StepMode) {
  if (client->copy != nullptr) return iVRXClient_PrepareUploadCopy(client);
  const ErrorCode named = iVRXClient_NameDataFile(client);
  if (named != Error_None) {
    iVRXClient_SetReason(client, VRXClientReason_DataFile);
    return Failed(named);
  }
  if (iVRXClient_MeasureDataFile(client) != Error_None)
    return iVRXClient_FailWith(client, VRXClientReason_DataFile, TransferMessage_NoDataFile);
  if (client->data.isUpload != 0) return iVRXClient_PrepareUploadCopy(client);
  // From now on what a server tells is of the new bytes.
  if (client->discardsData) iVRXClient_BeginAnew(client);
  return Advance();
}

StepEvent ChooseProtocolStep(VRXClient* client, StepMode) {
  return iVRXClient_IsOverHTTP(client->connectionKind) ? Detour() : Advance();
}

StepEvent CompletedStep(VRXClient*, StepMode) {
  return Stay(VRXClientResult_Completed);
}

void HangUp(VRXClient*) {
  iVRXClient_HangUpIfIdle();
}

// ---- the table ---------------------------------------------------------------------------------

using enum TransferState;

constexpr std::array<TransferStateRow, kTransferStateCount> kRows = {{
    {SelectServer, "select server", SelectServerStep, PrepareDataFile, SelectServer, nullptr},
    // The other way: the copy of an upload's source has just been made, and is looked at again.
    {PrepareDataFile, "prepare data file", PrepareDataFileStep, Connect, SelectServer, nullptr},
    {Connect, "connect", iVRXClient_Connect, Branch, Connect, nullptr},
    // The other way: HTTP, which has no login, directory, mirrors, mode or size of its own.
    {Branch, "choose protocol", ChooseProtocolStep, Login, OpenDataFile, nullptr},
    {Login, "log in", iVRXClient_LogIn, Mirrors, Login, nullptr},
    {Directory, "enter directory", iVRXClient_EnterDirectory, TransferMode, Directory, nullptr},
    {Mirrors, "locate mirrors", iVRXClient_AskForMirrors, Directory, Mirrors, nullptr},
    {OpenDataFile, "open data file", iVRXClient_OpenDataFile, StartTransfer, OpenDataFile, nullptr},
    {TransferMode, "set transfer mode", iVRXClient_SetTransferMode, FileSize, TransferMode, nullptr},
    {FileSize, "ask for size", iVRXClient_AskForSize, OpenDataFile, FileSize, nullptr},
    // The other way: the content is a web page, of which the agents are told.
    {StartTransfer, "start transfer", iVRXClient_StartTransfer, Data, Agents, nullptr},
    {Data, "move data", iVRXClient_MoveData, Finish, Data, nullptr},
    {Finish, "finish", iVRXClient_Finish, Agents, Finish, iVRXClient_ReportTime},
    {Agents, "tell agents", iVRXClient_TellAgents, Completed, Agents, nullptr},
    {Completed, "completed", CompletedStep, Completed, Completed, HangUp},
}};

constexpr bool AreRowsInOrder() {
  for (size_t i = 0; i < kRows.size(); ++i) {
    if (static_cast<size_t>(kRows[i].state) != i) return false;
  }
  return true;
}
static_assert(AreRowsInOrder());

const TransferStateRow& RowOf(TransferState state) {
  return kRows[static_cast<size_t>(state)];
}

void Enter(VRXClient* client, TransferState state) {
  const bool isAnother = client->data.state != state;
  iVRXClient_ChangeState(client, state);
  if (isAnother && RowOf(state).entered != nullptr) RowOf(state).entered(client);
}

// The result of what happened, and the state that follows.
int32_t Conclude(VRXClient* client, const TransferStateRow& row, const StepEvent& event) {
  using Kind = StepEvent::Kind;
  int32_t result = event.value;
  if (event.kind == Kind::Stay) return result;
  if (event.kind == Kind::Advance || event.kind == Kind::Detour) {
    Enter(client, event.kind == Kind::Advance ? row.next : row.other);
    return result;
  }
  if (event.kind == Kind::Failed || event.kind == Kind::FailedWithoutStatus)
    result = iVRXClient_ConcludeFailure(client, event);
  iVRXClient_FallBack(client);
  return result;
}

// ---- one step ----------------------------------------------------------------------------------

bool IsCompleted(const VRXClient* client) {
  return client->data.state == Completed;
}

// Ends what a stop asks for. A completed transfer has nothing to be stopped.
int32_t Stopped(VRXClient* client, int32_t result) {
  if (IsCompleted(client)) return result;
  iVRXClient_CloseConnection(client, Closing::Politely);
  return VRXClientResult_Cancelled;
}

// A stop that another thread asked for is taken. A reconnect that was due before stays due.
void ClearStop(VRXClient* client) {
  TransferControl expected = TransferControl::StopThenReconnect;
  if (client->control.compare_exchange_strong(expected, TransferControl::ReconnectRequested)) return;
  expected = TransferControl::StopRequested;
  if (!client->control.compare_exchange_strong(expected, TransferControl::Idle)) return;
  client->interrupt.Clear();
}

int32_t TakeStop(VRXClient* client) {
  ClearStop(client);
  return Stopped(client, VRXClientResult_Cancelled);
}

// The control flag is free again, unless another thread wants a stop.
int32_t FreeControl(VRXClient* client, int32_t result) {
  TransferControl expected = TransferControl::InStep;
  if (client->control.compare_exchange_strong(expected, TransferControl::Idle)) return result;
  if (expected == TransferControl::ReconnectRequested) return result;
  if (!IsCompleted(client) && result != VRXClientResult_Cancelled)
    iVRXClient_Message(client, TransferMessage_Cancelled);
  result = Stopped(client, result);
  ClearStop(client);
  return result;
}

// What calls back while the step ends is still within it.
int32_t EndStep(VRXClient* client, int32_t result) {
  // To be closed or deleted is more than to be stopped, and follows when the call ends.
  if (client->afterStep != AfterStep::Nothing) result = Stopped(client, result);
  result = FreeControl(client, result);
  client->isInStep = false;
  if (client->afterStep == AfterStep::Stop) client->afterStep = AfterStep::Nothing;
  return result;
}

int32_t RunStep(VRXClient* client, StepMode mode) {
  TransferControl expected = TransferControl::Idle;
  // Another thread may have asked for a stop just now.
  if (!client->control.compare_exchange_strong(expected, TransferControl::InStep)) return TakeStop(client);
  client->isInStep = true;
  client->isReasonOfStep = false;
  const TransferStateRow& row = RowOf(client->data.state);
  const int32_t result = Conclude(client, row, row.step(client, mode));
  return EndStep(client, result);
}

// ---- what a call looks at before its step ------------------------------------------------------

int32_t Reconnect(VRXClient* client) {
  iVRXClient_Message(client, TransferMessage_Reestablishing);
  if (iServerList_ClearMarks(&client->data.servers)) client->isChanged = true;
  TransferControl expected = TransferControl::ReconnectRequested;
  client->control.compare_exchange_strong(expected, TransferControl::Idle);
  return VRXClientResult_None;
}

// A Poll that has nothing left to find out: size and resume support are known.
bool IsProbed(const VRXClient* client) {
  return client->isProbed && client->connectionKind != kNoConnection;
}

int32_t Call(VRXClient* client, StepMode mode) {
  if (IsCompleted(client)) return VRXClientResult_Completed;
  client->drivingThread = platform::CurrentThreadIdentifier();
  const TransferControl control = client->control;
  if (control == TransferControl::StopRequested || control == TransferControl::StopThenReconnect)
    return TakeStop(client);
  if (control == TransferControl::ReconnectRequested) return Reconnect(client);
  if (mode == StepMode::Probing && IsProbed(client)) return VRXClientResult_Completed;
  const int32_t result = RunStep(client, mode);
  if (mode == StepMode::Probing) return result;
  if (result == VRXClientResult_Failed) iVRXClient_HangUpIfIdle();
  if (result != VRXClientResult_None || !client->isChanged) return result;
  client->isChanged = false;
  return VRXClientResult_Changed;
}

int32_t CallFromOutside(VRXClient* client, StepMode mode) {
  if (client == nullptr) return Error_Invalid;
  if (!iVRXClientSystem_IsStarted()) return Error_NotInited;
  // Also what calls back outside a step, at a stop or while the callbacks are set, finds it half done.
  if (client->callDepth != 0) return VRXClientResult_None;
  const TransferCall call(client);
  return Call(client, mode);
}

// ---- stopping ----------------------------------------------------------------------------------

bool IsDriver(const VRXClient* client) {
  return client->drivingThread == platform::CurrentThreadIdentifier();
}

void StopFromDriver(VRXClient* client) {
  if (client->isInStep) {
    if (client->afterStep == AfterStep::Nothing) client->afterStep = AfterStep::Stop;
    return;
  }
  const TransferCall call(client);
  ClearStop(client);
  iVRXClient_CloseConnection(client, Closing::Politely);
}

TransferControl WithStop(TransferControl control) {
  const bool isReconnectDue =
      control == TransferControl::ReconnectRequested || control == TransferControl::StopThenReconnect;
  return isReconnectDue ? TransferControl::StopThenReconnect : TransferControl::StopRequested;
}

void StopFromOutside(VRXClient* client) {
  TransferControl before = client->control;
  while (!client->control.compare_exchange_weak(before, WithStop(before))) {
  }
  if (before != TransferControl::InStep) return;
  client->interrupt.Set();
  // The step may have ended meanwhile, and the next one must not find the switch set.
  if (client->control != TransferControl::StopRequested) client->interrupt.Clear();
}

}  // namespace

const TransferStateRow& iVRXClient_StateRow(TransferState state) {
  return RowOf(state);
}

void iVRXClient_FallBack(VRXClient* client) {
  if (client->data.state < Finish) Enter(client, SelectServer);
}

bool iVRXClient_IsStopRequested(const VRXClient* client) {
  return client->control == TransferControl::StopRequested;
}

void iVRXClient_SetReason(VRXClient* client, uint32_t reason) {
  client->reason = reason;
  client->lastReason = reason;
  client->isReasonOfStep = true;
}

StepEvent iVRXClient_FailWith(VRXClient* client, uint32_t reason, TransferMessage message) {
  iVRXClient_Message(client, message);
  iVRXClient_SetReason(client, reason);
  return FailedWithoutStatus();
}

int32_t VRXClient_Poll(VRXClient* client) {
  return CallFromOutside(client, StepMode::Probing);
}

int32_t VRXClient_Idle(VRXClient* client) {
  return CallFromOutside(client, StepMode::Working);
}

int32_t VRXClient_Stop(VRXClient* client) {
  if (client == nullptr) return Error_Invalid;
  // A transfer that was never driven has nothing to end.
  if (client->drivingThread == 0) return Error_None;
  if (IsDriver(client)) {
    StopFromDriver(client);
  } else {
    StopFromOutside(client);
  }
  return Error_None;
}
