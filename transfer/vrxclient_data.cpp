// The data of a transfer: its data file, the size of the buffer, one step of movement, and the end.
//
//   download   read from the network, write to the data file; nothing left or nothing comes: the end
//   upload     read from the data file, write to the network; nothing left: the server drains, then the end
//   the end    HTTP: at once. FTP: the data connection is shut down and the final reply awaited
#include <algorithm>
#include <cmath>
#include <utility>

#include "net/ftpc_internal.h"
#include "net/sock_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/clock.h"
#include "qz/memory.h"
#include "transfer/vrxclient_machine_internal.h"
#include "transfer/vrxclient_resume_internal.h"

namespace {

// ---- opening the data file ---------------------------------------------------------------------

StepEvent FailToOpen(VRXClient* client, uint32_t reason) {
  iVRXClient_SetReason(client, reason);
  return FailedWithoutStatus();
}

ErrorCode CreateDataFile(VRXClient* client) {
  const char* path = client->data.dataPath;
  if (client->isDataFileNew) return iVRXClient_MakeDataFile(client, &client->dataFile);
  const ErrorCode status = iFile_OpenNew(path, FileMode_Write, false, &client->dataFile);
  // The file of an application, or an empty one of this transfer.
  return status == Error_Exists ? File_Open(path, FileMode_Write, &client->dataFile) : status;
}

// There is nothing to cut.
void ForgetToCut(VRXClient* client) {
  client->cutsDataFile = false;
  client->discardsData = false;
}

StepEvent OpenForDownload(VRXClient* client) {
  client->offset = 0;
  if (client->isDataFileNew) client->dataFileSize = 0;
  if (client->dataFileSize == 0) {
    ForgetToCut(client);
    return CreateDataFile(client) == Error_None ? Advance() : FailToOpen(client, VRXClientReason_DataFile);
  }
  if (File_Open(client->data.dataPath, FileMode_Append, &client->dataFile) != Error_None)
    return FailToOpen(client, VRXClientReason_OpenDataFile);
  if (client->cutsDataFile) return Advance();
  client->offset = iResume_DownloadOffset(client->dataFileSize, client->data.size);
  const bool isAtOffset = client->offset > 0 && File_Seek64(client->dataFile, FileSeek_End, 0) >= 0;
  if (isAtOffset || iVRXClient_CutDataFile(client)) return Advance();
  return FailToOpen(client, VRXClientReason_DataFile);
}

StepEvent OpenForUpload(VRXClient* client) {
  if (File_Exists(client->data.dataPath, nullptr) == 0) return FailToOpen(client, VRXClientReason_NoSource);
  if (client->dataFileSize == 0 && !client->acceptsEmptyFiles)
    return FailToOpen(client, VRXClientReason_EmptySource);
  if (File_Open(client->data.dataPath, FileMode_Read, &client->dataFile) != Error_None)
    return FailToOpen(client, VRXClientReason_OpenDataFile);
  client->offset = iResume_UploadOffset(client->data.size, client->dataFileSize);
  if (File_Seek64(client->dataFile, FileSeek_Start, static_cast<int64_t>(client->offset)) < 0) {
    client->offset = 0;
    File_Seek64(client->dataFile, FileSeek_Start, 0);
  }
  return Advance();
}

// ---- starting ----------------------------------------------------------------------------------

// A smaller buffer than the best one still moves the data.
constexpr uint32_t kSmallestBuffer = 1024;

bool ReplaceBuffer(VRXClient* client, uint32_t size) {
  auto* buffer = static_cast<uint8_t*>(Memory_New(size));
  if (buffer == nullptr) return false;
  Memory_Delete(std::exchange(client->buffer, buffer));
  client->bufferSize = size;
  return true;
}

ErrorCode SizeBuffer(VRXClient* client) {
  // Bytes that the network has not taken yet stand in it.
  if (client->pendingCount > 0) return Error_None;
  const uint32_t size = iVRXClient_BufferSizeFor(client->speed);
  if (client->buffer != nullptr && client->bufferSize == size) return Error_None;
  if (ReplaceBuffer(client, size) || client->buffer != nullptr) return Error_None;
  return ReplaceBuffer(client, kSmallestBuffer) ? Error_None : Error_Memory;
}

void SetUpData(VRXClient* client) {
  const uint64_t whole = client->data.isUpload != 0 ? client->dataFileSize : client->data.size;
  client->remaining = whole == kSizeUnknown ? kSizeUnknown : whole - client->offset;
  client->pendingStart = 0;
  client->pendingCount = 0;
  client->dataEnd = DataEnd::NotReached;
  iVRXClient_BeginProgress(client);
  iVRXClient_ReportSize(client);
  iVRXClient_ReportTime(client);
}

uint64_t BytesToStore(const VRXClient* client) {
  if (client->data.size == kSizeUnknown) return 0;
  // What the file holds already has its place, also when it is about to be overwritten.
  const uint64_t held = std::max(client->offset, client->dataFileSize);
  return client->data.size > held ? client->data.size - held : 0;
}

// The first step that is to move data; a probe ends before it.
StepEvent BeginWork(VRXClient* client) {
  iVRXClient_Message(client, TransferMessage_Downloading);
  iVRXClient_BeginElapsed(client);
  if (client->data.isUpload != 0) return Advance();
  const bool hasSpace = iVRXClient_HasSpace(client, client->data.dataPath, BytesToStore(client));
  return hasSpace ? Advance() : Ends(VRXClientResult_Failed);
}

// ---- how a data step ends ----------------------------------------------------------------------

StepEvent FailData(VRXClient* client, ErrorCode status) {
  if (status == Error_Block) return Stay();
  const int32_t result = iVRXClient_MapStatus(client, status);
  if (result == VRXClientResult_Cancelled)
    Error("iVRXClient_EndTransfer returned invalid status %d", static_cast<int>(result));
  return Ends(result);
}

ErrorCode ControlError(const VRXClient* client) {
  return client->ftp != nullptr ? iFTPc_ControlError(client->ftp) : Error_None;
}

// Nothing was moved: the data connection tells why, or the control connection.
StepEvent FailConnection(VRXClient* client, ErrorCode status) {
  if (status == Error_None) status = ControlError(client);
  return FailData(client, status != Error_None ? status : Error_Fail);
}

StepEvent FailDataFile(VRXClient* client, uint32_t reason) {
  iVRXClient_Message(client, TransferMessage_WriteFailed);
  iVRXClient_SetReason(client, reason);
  iVRXClient_CloseConnection(client, Closing::Politely);
  return Ends(VRXClientResult_Failed);
}

// Old bytes go once the first new one is there, or it is known that there is none.
bool CutOldBytes(VRXClient* client) {
  if (!client->cutsDataFile) return true;
  // From now on the record tells of the new file.
  const bool isSameFile =
      client->data.size == client->oldSize && Time_Compare(&client->data.sourceTime, &client->oldTime) == 0;
  if (!isSameFile) client->isChanged = true;
  return iVRXClient_CutDataFile(client);
}

// The old bytes stay: no new one came. What a server told of the new ones does not hold for them.
void RestoreWhatIsKnown(VRXClient* client) {
  client->data.size = client->oldSize;
  client->data.sourceTime = client->oldTime;
  client->timeEntry = client->oldTimeEntry;
  client->isChanged = true;
}

// An application may want more than the system's word that the bytes will come to the disk.
bool IsOnDisk(VRXClient* client) {
  return client->data.isUpload != 0 || !client->syncsDataFile || File_FlushToDisk(client->dataFile) == 0;
}

StepEvent Complete(VRXClient* client) {
  if (!CutOldBytes(client)) return FailDataFile(client, VRXClientReason_DataFile);
  // Only a file that was closed well is whole.
  if (!IsOnDisk(client) || !iVRXClient_CloseDataFile(client))
    return FailDataFile(client, VRXClientReason_DiskFull);
  client->reason = VRXClientReason_None;
  Time now;
  char text[32];
  Time_Get(&now);
  iVRXClient_Message(client, TransferMessage_Completed, Time_ToString(&now, text));
  iVRXClient_CloseConnection(client, Closing::Politely);
  client->isChanged = true;
  return Advance();
}

// ---- the end of the data -----------------------------------------------------------------------

// How long a step waits for the server at the end of the data.
constexpr uint32_t kEndSliceMilliseconds = 100;

Sock* DataSocket(VRXClient* client) {
  return reinterpret_cast<Sock*>(Stream_FindType(client->dataStream, StreamType_Sock));
}

StepEvent AwaitFinalReply(VRXClient* client) {
  // The caller may ask again at once, and must not spin.
  iFTPc_AwaitReply(client->ftp, kEndSliceMilliseconds);
  const ErrorCode status = FTPc_EndTransfer(client->ftp, &client->lastReply);
  if (status == Error_Block) return Stay();
  iVRXClient_DeleteDataStream(client);
  if (status == Error_None) return Complete(client);
  if (status != Error_Invalid) return FailData(client, status);
  client->lastFailure = status;
  iVRXClient_CloseConnection(client, Closing::Politely);
  return Ends(VRXClientResult_Postponed);
}

// Whether bytes come behind the size that the server told. One that keeps the connection open without a byte
// is not waited for.
bool SendsMore(VRXClient* client) {
  if (!client->refusesSurplus || client->remaining != 0) return false;
  Sock* data = DataSocket(client);
  Sock_ClearError(data);
  char surplus = 0;
  return Sock_SelectRead(data, 0, kEndSliceMilliseconds * 1000) == Error_None &&
         Stream_Read(client->dataStream, sizeof surplus, &surplus) > 0;
}

StepEvent EndData(VRXClient* client) {
  if (client->ftp == nullptr) return Complete(client);
  if (SendsMore(client)) return FailData(client, Error_Invalid);
  // Deleted later: closing meanwhile is to abort the transfer.
  Sock_Shutdown(DataSocket(client), SockShutdown_Both);
  client->dataEnd = DataEnd::AwaitingReply;
  return AwaitFinalReply(client);
}

// Whether the server has ended the data connection; what it sends over it is of no interest.
bool HasServerEnded(Sock* data) {
  Sock_ClearError(data);
  const ErrorCode status = Sock_SelectRead(data, 0, kEndSliceMilliseconds * 1000);
  if (status != Error_None) return status != Error_Timeout;
  char dropped[512];
  return Sock_Read(data, sizeof dropped, dropped) == 0 && Sock_GetError(data) != Error_Block;
}

// An upload's last bytes may still be under way, and deleting the socket would drop them.
StepEvent Drain(VRXClient* client) {
  const bool isOver = HasServerEnded(DataSocket(client)) || iFTPc_AwaitReply(client->ftp, 0) ||
                      platform::MonotonicMilliseconds() >= client->drainDeadlineMilliseconds;
  if (!isOver) return Stay();
  if (iVRXClient_IsStopRequested(client)) return FailData(client, Error_Cancel);
  iVRXClient_DeleteDataStream(client);
  client->dataEnd = DataEnd::AwaitingReply;
  return AwaitFinalReply(client);
}

StepEvent EndUpload(VRXClient* client) {
  Sock_Shutdown(DataSocket(client), SockShutdown_Send);
  client->dataEnd = DataEnd::Draining;
  client->drainDeadlineMilliseconds = platform::MonotonicMilliseconds() + iSock_GetWaitMilliseconds();
  return Drain(client);
}

// ---- one step ----------------------------------------------------------------------------------

uint32_t AmountToMove(const VRXClient* client) {
  const uint64_t answered = client->responseEnd - std::min(client->offset, client->responseEnd);
  return static_cast<uint32_t>(std::min({client->remaining, answered, uint64_t{client->bufferSize}}));
}

// The network and the data file have both had these bytes.
void CountBytes(VRXClient* client, uint32_t count) {
  client->offset += count;
  if (client->remaining != kSizeUnknown) client->remaining -= count;
  client->redirectCount = 0;
  client->retryCount = 0;
}

StepEvent NothingRead(VRXClient* client) {
  const ErrorCode status = Stream_Error(client->dataStream);
  const bool isEnd = status == Error_None || status == Error_Ended;
  if (isEnd && client->remaining == kSizeUnknown && ControlError(client) == Error_None)
    return EndData(client);
  return FailConnection(client, status);
}

StepEvent Store(VRXClient* client, uint32_t count) {
  constexpr uint64_t kLargestOffset = INT64_MAX;
  if (client->offset > kLargestOffset - count) return FailDataFile(client, VRXClientReason_DiskFull);
  if (!CutOldBytes(client)) return FailDataFile(client, VRXClientReason_DataFile);
  if (File_Write(client->dataFile, count, client->buffer) != count)
    return FailDataFile(client, VRXClientReason_DiskFull);
  client->dataFileSize = client->offset + count;
  iVRXClient_CountProgress(client, client->offset, client->dataFileSize);
  CountBytes(client, count);
  return Stay();
}

StepEvent ReceiveSome(VRXClient* client) {
  const uint32_t amount = AmountToMove(client);
  // The server gave less than was asked for.
  if (amount == 0 && client->remaining > 0) return FailData(client, Error_Ended);
  if (amount == 0) return EndData(client);
  const uint32_t count = Stream_Read(client->dataStream, amount, client->buffer);
  return count > 0 ? Store(client, count) : NothingRead(client);
}

bool FillBuffer(VRXClient* client) {
  if (client->pendingCount > 0) return true;
  client->pendingStart = 0;
  client->pendingCount = File_Read(client->dataFile, AmountToMove(client), client->buffer);
  iVRXClient_CountProgress(client, client->offset, client->offset + client->pendingCount);
  return client->pendingCount > 0;
}

StepEvent SendSome(VRXClient* client) {
  // An empty file.
  if (client->remaining == 0 && client->pendingCount == 0) return EndUpload(client);
  if (!FillBuffer(client)) return FailDataFile(client, VRXClientReason_DataFile);
  const uint32_t count =
      Stream_Write(client->dataStream, client->pendingCount, client->buffer + client->pendingStart);
  client->pendingStart += count;
  client->pendingCount -= count;
  if (count > 0) CountBytes(client, count);
  if (client->pendingCount > 0) return FailConnection(client, Stream_Error(client->dataStream));
  return client->remaining == 0 ? EndUpload(client) : Stay();
}

}  // namespace

uint32_t iVRXClient_BufferSizeFor(float bytesPerSecond) {
  constexpr uint32_t kUnknownSpeedSize = 4096;
  constexpr float kSmallest = 1024;
  constexpr float kLargest = 12288;
  if (bytesPerSecond == 0) return kUnknownSpeedSize;
  const float above = bytesPerSecond - kSmallest;
  if (above <= kSmallest) return static_cast<uint32_t>(kSmallest);
  if (above >= kLargest) return static_cast<uint32_t>(kLargest);
  const auto power = std::clamp(10 + static_cast<int>(2 * (above / kLargest)), 10, 12);
  const auto unit = static_cast<float>(1 << power);
  return static_cast<uint32_t>(std::min(std::ceil(above / unit) * unit, kLargest));
}

void iVRXClient_FreeBuffer(VRXClient* client) {
  Memory_Delete(std::exchange(client->buffer, nullptr));
  client->bufferSize = 0;
  client->pendingCount = 0;
}

bool iVRXClient_CutDataFile(VRXClient* client) {
  Owned<File, File_Close> opened;
  File* file = client->dataFile;
  if (file == nullptr) {
    if (File_Open(client->data.dataPath, FileMode_Update, opened.out()) != Error_None) return false;
    file = opened.get();
  }
  // A file that is open for appending has no other way to its start.
  if (File_Truncate(file) != 0 || File_Seek64(file, FileSeek_Start, 0) < 0) return false;
  client->dataFileSize = 0;
  client->offset = 0;
  ForgetToCut(client);
  return true;
}

bool iVRXClient_BeginAnew(VRXClient* client) {
  client->offset = 0;
  if (client->data.isUpload == 0) {
    client->cutsDataFile = client->dataFileSize > 0;
    client->oldSize = client->data.size;
    client->oldTime = client->data.sourceTime;
    client->oldTimeEntry = client->timeEntry;
    return true;
  }
  if (File_Seek64(client->dataFile, FileSeek_Start, 0) >= 0) return true;
  iVRXClient_DeleteDataStream(client);
  iVRXClient_SetReason(client, VRXClientReason_DataFile);
  return false;
}

bool iVRXClient_CloseDataFile(VRXClient* client) {
  if (std::exchange(client->cutsDataFile, false)) RestoreWhatIsKnown(client);
  if (client->dataFile == nullptr) return true;
  return File_Close(std::exchange(client->dataFile, nullptr)) == Error_None;
}

void iVRXClient_MakeBlocking(Stream* stream) {
  Sock_SetAsync(reinterpret_cast<Sock*>(Stream_FindType(stream, StreamType_Sock)), 0);
}

StepEvent iVRXClient_OpenDataFile(VRXClient* client, StepMode) {
  if (client->dataFile != nullptr) File_Close(std::exchange(client->dataFile, nullptr));
  if (iVRXClient_MeasureDataFile(client) != Error_None)
    return iVRXClient_FailWith(client, VRXClientReason_DataFile, TransferMessage_NoDataFile);
  if (client->data.isUpload != 0) return OpenForUpload(client);
  const StepEvent opened = OpenForDownload(client);
  // Nobody else reads it: its bytes may be written in large blocks, whatever the size of a step.
  if (client->dataFile != nullptr) iFile_SetGathering(client->dataFile, true);
  return opened;
}

StepEvent iVRXClient_StartTransfer(VRXClient* client, StepMode mode) {
  const ErrorCode status = SizeBuffer(client);
  if (status != Error_None) return Failed(status);
  iVRXClient_Message(client, TransferMessage_Initiating);
  client->responseEnd = kSizeUnknown;
  const StepEvent started =
      client->http != nullptr ? iVRXClient_StartHTTP(client) : iVRXClient_StartFTP(client);
  if (started.kind != StepEvent::Kind::Advance) return started;
  SetUpData(client);
  iVRXClient_Message(client, client->canResume ? TransferMessage_CanResume : TransferMessage_CannotResume);
  if (mode == StepMode::Working) return BeginWork(client);
  client->isProbed = true;
  return Advance(VRXClientResult_Completed);
}

StepEvent iVRXClient_MoveData(VRXClient* client, StepMode) {
  if (!client->isDataRunning) {
    const StepEvent begun = BeginWork(client);
    if (begun.kind != StepEvent::Kind::Advance) return begun;
  }
  if (client->dataEnd == DataEnd::Draining) return Drain(client);
  if (client->dataEnd == DataEnd::AwaitingReply) return AwaitFinalReply(client);
  const ErrorCode status = SizeBuffer(client);
  if (status != Error_None) return FailData(client, status);
  return client->data.isUpload != 0 ? SendSome(client) : ReceiveSome(client);
}
