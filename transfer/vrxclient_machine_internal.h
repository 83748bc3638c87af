// What the files of the state machine share.
//
//   vrxclient_state.cpp       the table of states; the one place that changes the state; Poll, Idle, Stop
//   vrxclient_outcome.cpp     status to message, reason, action, result; dropping a server
//   vrxclient_connection.cpp  opening and closing a connection
//   vrxclient_ftp.cpp         logging in, directory, mirrors, type, size, start
//   vrxclient_http.cpp        request, redirect, web page, range
//   vrxclient_resume.cpp      what disk and server say of an offset, to what is done (pure)
//   vrxclient_data.cpp        the data file, buffer size, one data step, end of data
//   vrxclient_speed.cpp       clock, progress, speed samples
//   vrxclient_finish.cpp      free space, final move, agents
//   vrxclient_upload.cpp      the copy that an upload is sent from
#pragma once

#include <cstdint>

#include "qz/error.h"
#include "transfer/vrxclient_internal.h"

enum class StepMode { Probing, Working };

// The numbers of the messages that the steps report; vrxclient_messages.cpp has their texts.
enum TransferMessage : uint32_t {
  TransferMessage_ErrorOccurred = 0,
  TransferMessage_Stopped = 1,
  TransferMessage_SystemProblem = 2,
  TransferMessage_Denied = 3,
  TransferMessage_OutOfMemory = 4,
  TransferMessage_InvalidAddress = 5,
  TransferMessage_TimedOut = 6,
  TransferMessage_Reconnecting = 7,
  TransferMessage_Terminated = 8,
  TransferMessage_Cancelled = 9,
  TransferMessage_Trying = 10,
  TransferMessage_Size = 11,
  TransferMessage_LocatingServer = 12,
  TransferMessage_SelectingServer = 13,
  TransferMessage_MemoryLow = 14,
  TransferMessage_NoServer = 15,
  TransferMessage_UnsupportedProtocol = 16,
  TransferMessage_ConnectionFailed = 17,
  TransferMessage_Connected = 18,
  TransferMessage_LoggingIn = 19,
  TransferMessage_LoginRefused = 20,
  TransferMessage_SettingMode = 21,
  TransferMessage_WriteFailed = 22,
  TransferMessage_Completed = 23,
  TransferMessage_LocatingMirrors = 24,
  TransferMessage_NotMirrorServer = 25,
  TransferMessage_MirrorsLocated = 26,
  TransferMessage_IsDirectory = 27,
  TransferMessage_ChangingDirectory = 28,
  TransferMessage_SizeUnknown = 29,
  TransferMessage_NoDataFile = 30,
  TransferMessage_Initiating = 31,
  TransferMessage_CanResume = 32,
  TransferMessage_CannotResume = 33,
  TransferMessage_Downloading = 34,
  TransferMessage_AlreadyLoggedIn = 35,
  TransferMessage_Reestablishing = 36,
  TransferMessage_WebPage = 37,
  TransferMessage_ReverseMode = 38,
  TransferMessage_NoSource = 39,
  TransferMessage_SourceGone = 40,
  TransferMessage_SourceUnchanged = 41,
  TransferMessage_CopyingSource = 42,
  TransferMessage_Moving = 43,
  TransferMessage_CannotMove = 44,
  TransferMessage_NoDestination = 45,
  TransferMessage_Copied = 46,
  TransferMessage_CopyFailed = 47,
  TransferMessage_NoSecureTransfer = 48,
  TransferMessage_NoSpace = 49
};

// What happened in a step. The state, the result and what is said of a failure follow from it in one place.
struct StepEvent {
  enum class Kind : uint8_t {
    Advance,              // the state's work is done: the next state of its row
    Detour,               // done in the other way: the other next state of its row
    Stay,                 // not done yet, or ends for this call only
    Restart,              // back to the first state; what had to be said and closed was
    Failed,               // with a status
    FailedWithoutStatus,  // what failed is told by the connection, or by a reason
    Ends                  // with a result; what had to be said and closed was
  };
  Kind kind;
  int32_t value;  // Failed: the status; else the result, of enum VRXClientResult
};

constexpr StepEvent Advance(int32_t result = VRXClientResult_None) {
  return {StepEvent::Kind::Advance, result};
}
constexpr StepEvent Detour(int32_t result = VRXClientResult_None) {
  return {StepEvent::Kind::Detour, result};
}
constexpr StepEvent Stay(int32_t result = VRXClientResult_None) {
  return {StepEvent::Kind::Stay, result};
}
constexpr StepEvent Restart() {
  return {StepEvent::Kind::Restart, VRXClientResult_None};
}
constexpr StepEvent Failed(ErrorCode status) {
  return {StepEvent::Kind::Failed, status};
}
constexpr StepEvent FailedWithoutStatus() {
  return {StepEvent::Kind::FailedWithoutStatus, 0};
}
constexpr StepEvent Ends(int32_t result) {
  return {StepEvent::Kind::Ends, result};
}

// A row of the table of states.
struct TransferStateRow {
  TransferState state;
  const char* name;
  StepEvent (*step)(VRXClient* client, StepMode mode);
  TransferState next;                  // after Advance
  TransferState other;                 // after Detour; the state itself where there is none
  void (*entered)(VRXClient* client);  // called when a step has led here; may be null
};
constexpr size_t kTransferStateCount = 15;

// ---- vrxclient_state.cpp -----------------------------------------------------------------------

const TransferStateRow& iVRXClient_StateRow(TransferState state);

// A state below 12 becomes 0: nothing of it outlives its connection.
void iVRXClient_FallBack(VRXClient* client);

// Whether another thread, or a callback of this step, has asked for a stop.
bool iVRXClient_IsStopRequested(const VRXClient* client);

// Sets the reason of a failure of this step.
void iVRXClient_SetReason(VRXClient* client, uint32_t reason);

// Sets the reason, reports the message and fails.
StepEvent iVRXClient_FailWith(VRXClient* client, uint32_t reason, TransferMessage message);

// ---- vrxclient_outcome.cpp ---------------------------------------------------------------------

// Says and does what a failing status asks for, and returns the step's result.
int32_t iVRXClient_MapStatus(VRXClient* client, ErrorCode status);

// Closes politely, marks the server and forgets it.
void iVRXClient_DropServer(VRXClient* client, uint32_t reason);

// The result of a step that failed.
int32_t iVRXClient_ConcludeFailure(VRXClient* client, const StepEvent& event);

// ---- vrxclient_connection.cpp ------------------------------------------------------------------

bool iVRXClient_IsOverHTTP(int32_t kind);
bool iVRXClient_IsOverFTP(int32_t kind);
StepEvent iVRXClient_Connect(VRXClient* client, StepMode mode);
// Shuts the data connection down and deletes it.
void iVRXClient_DeleteDataStream(VRXClient* client);

// ---- vrxclient_ftp.cpp -------------------------------------------------------------------------

StepEvent iVRXClient_LogIn(VRXClient* client, StepMode mode);
StepEvent iVRXClient_EnterDirectory(VRXClient* client, StepMode mode);
StepEvent iVRXClient_AskForMirrors(VRXClient* client, StepMode mode);
StepEvent iVRXClient_SetTransferMode(VRXClient* client, StepMode mode);
StepEvent iVRXClient_AskForSize(VRXClient* client, StepMode mode);
// Opens the data connection and sets canResume.
StepEvent iVRXClient_StartFTP(VRXClient* client);
// What the preferences say of FTP.
bool iVRXClient_PrefersText(bool isUpload);

// ---- vrxclient_http.cpp ------------------------------------------------------------------------

// Sends the request, judges the response and sets canResume, size and offset.
StepEvent iVRXClient_StartHTTP(VRXClient* client);

// ---- vrxclient_data.cpp ------------------------------------------------------------------------

StepEvent iVRXClient_OpenDataFile(VRXClient* client, StepMode mode);
StepEvent iVRXClient_StartTransfer(VRXClient* client, StepMode mode);
StepEvent iVRXClient_MoveData(VRXClient* client, StepMode mode);
// The best size of the buffer for a speed, in bytes.
uint32_t iVRXClient_BufferSizeFor(float bytesPerSecond);
void iVRXClient_FreeBuffer(VRXClient* client);
// The server begins with byte 0. False, the reason set, when this side cannot.
bool iVRXClient_BeginAnew(VRXClient* client);
void iVRXClient_MakeBlocking(Stream* stream);
// Cuts the data file to nothing, open or not. False after a failure.
bool iVRXClient_CutDataFile(VRXClient* client);
// Closes the data file. False when its bytes may not all be in it.
bool iVRXClient_CloseDataFile(VRXClient* client);

// ---- vrxclient_speed.cpp -----------------------------------------------------------------------

// Milliseconds of a clock that never goes back.
uint64_t iVRXClient_Clock();
// The elapsed time of the data phase: noted at its begin, stored at its end.
void iVRXClient_BeginElapsed(VRXClient* client);
void iVRXClient_EndElapsed(VRXClient* client);
// Begins the reports of the data phase at the offset.
void iVRXClient_BeginProgress(VRXClient* client);
// The data file was read or written: from `before` on to `after`.
void iVRXClient_CountProgress(VRXClient* client, uint64_t before, uint64_t after);
// What a file copy reports, through the table with 32 bits. context: the transfer.
void iVRXClient_CopyProgress(void* context, uint32_t done, uint32_t total);
// File_CopyEnd for the copy that runs, and one report of it through the table with 64 bits.
ErrorCode iVRXClient_ContinueCopy(VRXClient* client);

// ---- vrxclient_finish.cpp ----------------------------------------------------------------------

// Whether the volume that holds the path has the bytes; when not, says so, sets the reason and closes.
bool iVRXClient_HasSpace(VRXClient* client, const char* path, uint64_t neededBytes);
// Notes in the record that a web page came in place of the file.
void iVRXClient_MarkWebPage(VRXClient* client);
StepEvent iVRXClient_Finish(VRXClient* client, StepMode mode);
StepEvent iVRXClient_TellAgents(VRXClient* client, StepMode mode);

// ---- vrxclient_upload.cpp ----------------------------------------------------------------------

// Readies the file that an upload is sent from.
StepEvent iVRXClient_PrepareUploadCopy(VRXClient* client);
