// What a failing status means to a transfer: message, reason, what becomes of the connection, result of the
// step.
#include <algorithm>
#include <iterator>

#include "net/ftpc_internal.h"
#include "transfer/statistics_internal.h"
#include "transfer/vrxclient_machine_internal.h"

namespace {

enum class Action : uint8_t {
  None,
  ClosePolitely,
  CloseAbruptly,
  Drop,  // politely
  DropAbruptly
};

constexpr int32_t kNoMessage = -1;

struct Outcome {
  ErrorCode status;
  int32_t message;
  Action action;
  VRXClientReason reason;  // None: it stays
  VRXClientResult result;
};

constexpr Outcome kOutcomes[] = {
    {Error_None, kNoMessage, Action::None, VRXClientReason_None, VRXClientResult_None},
    {Error_Block, kNoMessage, Action::None, VRXClientReason_None, VRXClientResult_None},
    {Error_Memory, TransferMessage_OutOfMemory, Action::ClosePolitely, VRXClientReason_Memory,
     VRXClientResult_None},
    {Error_Ended, TransferMessage_Terminated, Action::Drop, VRXClientReason_ServerClosed,
     VRXClientResult_None},
    {Error_Cancel, TransferMessage_Cancelled, Action::ClosePolitely, VRXClientReason_None,
     VRXClientResult_Cancelled},
    {Error_Timeout, TransferMessage_TimedOut, Action::DropAbruptly, VRXClientReason_Timeout,
     VRXClientResult_Postponed},
    {Error_Retry, TransferMessage_Reconnecting, Action::ClosePolitely, VRXClientReason_None,
     VRXClientResult_None},
    {Error_System, TransferMessage_SystemProblem, Action::ClosePolitely, VRXClientReason_None,
     VRXClientResult_Postponed},
    {Error_NoAccess, TransferMessage_Denied, Action::Drop, VRXClientReason_Denied, VRXClientResult_None},
    {Error_Invalid, TransferMessage_InvalidAddress, Action::Drop, VRXClientReason_InvalidAddress,
     VRXClientResult_None},
    {Error_NotFound, TransferMessage_InvalidAddress, Action::Drop, VRXClientReason_InvalidAddress,
     VRXClientResult_None},
};

// Every other status; its message tells which.
constexpr Outcome kOtherOutcome = {Error_Fail, TransferMessage_ErrorOccurred, Action::CloseAbruptly,
                                   VRXClientReason_None, VRXClientResult_Postponed};

// A server that makes the transfer connect again more often, without a byte in between, is dropped.
constexpr uint32_t kRetryLimit = 10;

const Outcome& OutcomeOf(ErrorCode status) {
  const Outcome* end = std::end(kOutcomes);
  const Outcome* found =
      std::find_if(kOutcomes, end, [status](const Outcome& row) { return row.status == status; });
  return found != end ? *found : kOtherOutcome;
}

// The status that is acted upon. A redirect has dropped its server, and is counted by itself.
ErrorCode BoundRetries(VRXClient* client, ErrorCode status) {
  if (status != Error_Retry || client->server == nullptr) return status;
  if (++client->retryCount <= kRetryLimit) return status;
  client->retryCount = 0;
  return Error_Ended;
}

void Report(VRXClient* client, const Outcome& outcome, ErrorCode status) {
  if (outcome.message == kNoMessage) return;
  // Only one of the texts takes the argument.
  iVRXClient_Message(client, static_cast<uint32_t>(outcome.message), Error_ToString(status));
}

void Act(VRXClient* client, const Outcome& outcome) {
  switch (outcome.action) {
    case Action::None:
      return;
    case Action::ClosePolitely:
      iVRXClient_CloseConnection(client, Closing::Politely);
      break;
    case Action::CloseAbruptly:
      iVRXClient_CloseConnection(client, Closing::Abruptly);
      break;
    case Action::DropAbruptly:
      iVRXClient_CloseConnection(client, Closing::Abruptly);
      [[fallthrough]];
    case Action::Drop:
      iVRXClient_DropServer(client, outcome.reason);
      return;
  }
  if (outcome.reason != VRXClientReason_None) iVRXClient_SetReason(client, outcome.reason);
}

void MarkServer(VRXClient* client) {
  if (client->server == nullptr) return;
  if (client->entry != nullptr && !client->entry->isFailed) {
    client->entry->isFailed = true;
    client->isChanged = true;
  }
  if (client->server->host != nullptr) iStatistics_RecordFailure(client->server->host, client->server->port);
}

// The data is complete; no server can mend what failed.
int32_t FailFinished(VRXClient* client) {
  if (client->reason == VRXClientReason_None) iVRXClient_SetReason(client, VRXClientReason_Unknown);
  return VRXClientResult_Failed;
}

int32_t FailWithReason(VRXClient* client) {
  // The next attempt would log in twice on the same connection.
  iVRXClient_CloseConnection(client, Closing::Politely);
  return VRXClientResult_Failed;
}

int32_t FailWithoutStatus(VRXClient* client) {
  const ErrorCode status = client->ftp != nullptr ? iFTPc_ControlError(client->ftp) : Error_None;
  if (status != Error_None) return iVRXClient_MapStatus(client, status);
  if (client->isReasonOfStep) return FailWithReason(client);
  iVRXClient_DropServer(client, VRXClientReason_Unknown);
  return VRXClientResult_None;
}

}  // namespace

int32_t iVRXClient_MapStatus(VRXClient* client, ErrorCode status) {
  // Whatever a socket gives that another thread has closed, it is the stop that ended the step.
  if (iVRXClient_IsStopRequested(client)) status = Error_Cancel;
  const Outcome& outcome = OutcomeOf(BoundRetries(client, status));
  client->lastFailure = status;
  Report(client, outcome, status);
  Act(client, outcome);
  return outcome.result;
}

void iVRXClient_DropServer(VRXClient* client, uint32_t reason) {
  iVRXClient_CloseConnection(client, Closing::Politely);
  MarkServer(client);
  iVRXClient_SetServer(client, nullptr);
  client->reason = reason;
  client->lastReason = reason;
}

int32_t iVRXClient_ConcludeFailure(VRXClient* client, const StepEvent& event) {
  const bool hasStatus = event.kind == StepEvent::Kind::Failed;
  client->lastFailure = hasStatus ? event.value : Error_Fail;
  if (client->data.state >= TransferState::Finish) return FailFinished(client);
  if (iVRXClient_IsStopRequested(client)) return iVRXClient_MapStatus(client, Error_Cancel);
  if (!hasStatus) return FailWithoutStatus(client);
  return client->isReasonOfStep ? FailWithReason(client) : iVRXClient_MapStatus(client, event.value);
}
