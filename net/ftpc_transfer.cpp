// Transfers: starting one, with an offset or without, moving a whole file, and ending the transfer.
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "net/copy_internal.h"
#include "net/ftpc_internal.h"
#include "net/sock_internal.h"
#include "net/telnet_internal.h"
#include "os/platform/clock.h"
#include "qz/error.h"

namespace {

constexpr FTPCommand kRestart = {"REST", kFTPClass_Intermediate, Error_Invalid};
constexpr const char* kRetrieve = "RETR";
constexpr const char* kStore = "STOR";
constexpr const char* kStoreUnique = "STOU";

// How often an upload's end looks at the control connection while it waits for the data connection.
constexpr uint32_t kDrainSliceMicroseconds = 50000;

// ---- starting --------------------------------------------------------------------------------------------

// The checks that every transfer begins with; nothing is sent before them.
ErrorCode Prepare(const FTPc* connection, const char* name, const char* path, Stream** stream, Reply* reply) {
  if (stream != nullptr) *stream = nullptr;
  const ErrorCode status = iFTPc_Begin(connection, reply);
  if (status != Error_None) return status;
  // Seen only after REST, a command that is too long would leave the offset to the next transfer.
  return stream == nullptr ? Error_Invalid : iFTPc_CheckArgument(name, path);
}

ErrorCode Start(FTPc* connection, const char* name, const char* path, Stream** stream, Reply* reply) {
  ErrorCode status = Prepare(connection, name, path, stream, reply);
  if (status == Error_None) status = iFTPc_SetUpData(connection, reply);
  return status != Error_None ? status : iFTPc_StartData(connection, name, path, stream, reply);
}

ErrorCode SendOffset(FTPc* connection, uint64_t offset, Reply* reply) {
  char argument[24];
  snprintf(argument, sizeof argument, "%" PRIu64, offset);
  return iFTPc_Command(connection, kRestart, argument, reply);
}

// Asks the server to begin at *offset. A server that refuses begins with the first byte: *offset becomes 0,
// and *isRefused says so.
ErrorCode SetOffset(FTPc* connection, uint64_t* offset, bool* isRefused, Reply* reply) {
  const ErrorCode status = SendOffset(connection, *offset, reply);
  *isRefused = status == Error_Invalid;
  if (!*isRefused) return status;
  *offset = 0;
  return Error_None;
}

// From REST on the command always follows at once: an offset that no transfer used would hold for the next.
ErrorCode StartRestart(FTPc* connection, const char* name, const char* path, uint64_t* offset,
                       bool* isRefused, Stream** stream, Reply* reply) {
  *isRefused = false;
  ErrorCode status = Prepare(connection, name, path, stream, reply);
  if (status == Error_None && offset == nullptr) status = Error_Invalid;
  if (status == Error_None) status = iFTPc_SetUpData(connection, reply);
  if (status == Error_None) status = SetOffset(connection, offset, isRefused, reply);
  if (status == Error_None) status = iFTPc_StartData(connection, name, path, stream, reply);
  iFTPc_StopListening(connection);
  return status;
}

// ---- ending ----------------------------------------------------------------------------------------------

Sock* SocketOf(Stream* stream) {
  return reinterpret_cast<Sock*>(Stream_FindType(stream, StreamType_Sock));
}

// Waits a moment for the peer to end the data connection, or for its failure; bytes that nobody asked for are
// dropped.
bool HasPeerEnded(Sock* data) {
  // The wait would give the status of the one before again.
  iSock_StoreStatus(data, Error_None);
  const ErrorCode status = Sock_SelectRead(data, 0, kDrainSliceMicroseconds);
  if (status != Error_None) return status != Error_Timeout;
  char dropped[512];
  return Sock_Read(data, sizeof dropped, dropped) == 0 && Sock_GetError(data) != Error_Block;
}

// After the last byte of an upload: deleting the socket at once would drop what is still under way. The
// server ends the data connection, or replies, when it has everything.
void Drain(FTPc* connection, Sock* data) {
  if (Sock_Shutdown(data, SockShutdown_Send) != Error_None) return;
  const uint64_t start = platform::MonotonicMilliseconds();
  while (platform::MonotonicMilliseconds() - start < iSock_GetWaitMilliseconds()) {
    if (HasPeerEnded(data) || iFTPc_AwaitReply(connection, 0)) return;
  }
}

void CloseData(Stream* data) {
  Sock_Shutdown(SocketOf(data), SockShutdown_Both);
  Stream_Delete(data);
}

// The final reply has not come in time. One that comes too late must not be taken for the next command's.
ErrorCode GiveFinalReplyUp(FTPc* connection) {
  connection->flags &= ~kFTPFlag_Transfer;
  connection->isOutOfStep = true;
  return iSock_StoreStatus(connection->socket, Error_Timeout);
}

// Reads the final reply.
ErrorCode AwaitFinalReply(FTPc* connection, uint32_t milliseconds, uint64_t giveUpAtMilliseconds,
                          Reply* reply) {
  if (iFTPc_AwaitReply(connection, milliseconds))
    return iFTPc_EndTransferUntil(connection, giveUpAtMilliseconds, reply);
  return GiveFinalReplyUp(connection);
}

// Ends a transfer whose bytes were copied. The server's final reply decides; but when the local stream failed
// the server had no part in it, and is not waited for long.
ErrorCode Finish(FTPc* connection, Stream* data, ErrorCode copyStatus, bool hasLocalFailed, Reply* reply) {
  CloseData(data);
  if (hasLocalFailed) {
    const uint32_t milliseconds = iFTPc_LateReplyMilliseconds();
    AwaitFinalReply(connection, milliseconds, platform::MonotonicMilliseconds() + milliseconds, reply);
    return copyStatus;
  }
  const ErrorCode status =
      AwaitFinalReply(connection, iSock_GetWaitMilliseconds(), iSock_TrickleDeadlineMilliseconds(), reply);
  return status == Error_None ? copyStatus : status;
}

ErrorCode Send(FTPc* connection, Stream* data, Stream* source, uint64_t limit, uint64_t* count,
               Reply* reply) {
  NetCopySide failed = NetCopySide::None;
  const ErrorCode status = iNet_CopyStream(source, data, limit, count, NetCopyStall::Retried, &failed);
  if (status == Error_None) Drain(connection, SocketOf(data));
  return Finish(connection, data, status, failed == NetCopySide::Source, reply);
}

// ---- whole transfers -------------------------------------------------------------------------------------

void SeekToStart(Stream* stream) {
  Stream* file = Stream_FindType(stream, StreamType_File);
  if (file != nullptr) File_Seek(reinterpret_cast<File*>(file), FileSeek_Start, 0);
}

ErrorCode PrepareWhole(const Stream* stream, uint64_t* count, Reply* reply) {
  if (count != nullptr) *count = 0;
  return stream == nullptr ? iFTPc_Refuse(reply) : Error_None;
}

ErrorCode StoreWhole(FTPc* connection, const char* name, const char* path, Stream* stream, uint64_t limit,
                     uint64_t* count, Reply* reply) {
  Stream* data = nullptr;
  ErrorCode status = PrepareWhole(stream, count, reply);
  if (status == Error_None) status = Start(connection, name, path, &data, reply);
  return status != Error_None ? status : Send(connection, data, stream, limit, count, reply);
}

// Starts a whole transfer with an offset. When the server refuses it, the local file too begins anew.
ErrorCode StartWholeRestart(FTPc* connection, const char* name, const char* path, uint64_t* offset,
                            Stream* stream, Stream** data, uint64_t* count, Reply* reply) {
  bool isRefused = false;
  ErrorCode status = PrepareWhole(stream, count, reply);
  if (status == Error_None) status = StartRestart(connection, name, path, offset, &isRefused, data, reply);
  if (status == Error_None && isRefused) SeekToStart(stream);
  return status;
}

// A 32-bit variable of the caller as one of 64 bits, for a call; it gets the low bits of the result. Null
// stays null.
class Wide {
 public:
  Wide(uint32_t* narrow, uint32_t initial) : narrow_(narrow), wide_(initial) {}
  ~Wide() {
    if (narrow_ != nullptr) *narrow_ = static_cast<uint32_t>(wide_);
  }
  Wide(const Wide&) = delete;
  Wide& operator=(const Wide&) = delete;

  uint64_t* get() { return narrow_ != nullptr ? &wide_ : nullptr; }

 private:
  uint32_t* narrow_;
  uint64_t wide_;
};

class WideOffset : public Wide {
 public:
  explicit WideOffset(uint32_t* offset) : Wide(offset, offset != nullptr ? *offset : 0) {}
};

class WideCount : public Wide {
 public:
  explicit WideCount(uint32_t* count) : Wide(count, 0) {}
};

// Whether the final reply of a transfer has been waited for as long as any other.
bool IsFinalReplyOverdue(FTPc* connection) {
  if ((connection->flags & kFTPFlag_Transfer) == 0) return false;
  const uint64_t now = platform::MonotonicMilliseconds();
  if (!connection->isFinalReplyAwaited) connection->awaitedSinceMilliseconds = now;
  connection->isFinalReplyAwaited = true;
  return now - connection->awaitedSinceMilliseconds >= iSock_GetWaitMilliseconds();
}

}  // namespace

ErrorCode iFTPc_Receive(FTPc* connection, Stream* data, Stream* destination, uint64_t* count, Reply* reply) {
  NetCopySide failed = NetCopySide::None;
  const ErrorCode status =
      iNet_CopyStream(data, destination, kNet_NoLimit, count, NetCopyStall::Retried, &failed);
  return Finish(connection, data, status, failed == NetCopySide::Destination, reply);
}

ErrorCode iFTPc_EndTransferUntil(FTPc* connection, uint64_t giveUpAtMilliseconds, Reply* reply) {
  ErrorCode status = iFTPc_Begin(connection, reply);
  if (status != Error_None) return status;
  if (!connection->isOutOfStep && !iFTPc_AwaitReply(connection, 0)) return Error_Block;
  connection->flags &= ~kFTPFlag_Transfer;
  if (connection->isOutOfStep) return Error_Ended;
  status = iFTPc_ReadReplyUntil(connection, giveUpAtMilliseconds, reply);
  if (status != Error_None) return status;
  return reply->replyClass == kFTPClass_Completed ? Error_None : Error_Invalid;
}

// ---- exported functions ----------------------------------------------------------------------------------

ErrorCode FTPc_RestartSupported(FTPc* connection, int32_t* flag) {
  if (flag == nullptr) return Error_Invalid;
  *flag = 0;
  Reply reply;
  ErrorCode status = iFTPc_Begin(connection, &reply);
  if (status == Error_None) status = iFTPc_Exchange(connection, kRestart.name, "100", &reply);
  // A refusal is an answer: callers then transfer from the start.
  if (status != Error_None || reply.replyClass != kRestart.expectedClass) return status;
  *flag = 1;
  return SendOffset(connection, 0, &reply);
}

ErrorCode FTPc_StartRetrieve(FTPc* connection, const char* path, Stream** stream, Reply* reply) {
  return Start(connection, kRetrieve, path, stream, reply);
}

ErrorCode FTPc_StartRetrieveRestart(FTPc* connection, const char* path, uint32_t* offset, Stream** stream,
                                    Reply* reply) {
  return FTPc_StartRetrieveRestart64(connection, path, WideOffset(offset).get(), stream, reply);
}

ErrorCode FTPc_StartStore(FTPc* connection, const char* path, Stream** stream, Reply* reply) {
  return Start(connection, kStore, path, stream, reply);
}

ErrorCode FTPc_StartStoreUnique(FTPc* connection, const char* path, Stream** stream, Reply* reply) {
  return Start(connection, kStoreUnique, path, stream, reply);
}

ErrorCode FTPc_StartStoreRestart(FTPc* connection, const char* path, uint32_t* offset, Stream** stream,
                                 Reply* reply) {
  return FTPc_StartStoreRestart64(connection, path, WideOffset(offset).get(), stream, reply);
}

ErrorCode FTPc_Retrieve(FTPc* connection, const char* path, Stream* stream, uint32_t* count, Reply* reply) {
  return FTPc_Retrieve64(connection, path, stream, WideCount(count).get(), reply);
}

ErrorCode FTPc_RetrieveRestart(FTPc* connection, const char* path, uint32_t* offset, Stream* stream,
                               uint32_t* count, Reply* reply) {
  return FTPc_RetrieveRestart64(connection, path, WideOffset(offset).get(), stream, WideCount(count).get(),
                                reply);
}

ErrorCode FTPc_Store(FTPc* connection, const char* path, Stream* stream, uint32_t limit, uint32_t* count,
                     Reply* reply) {
  return FTPc_Store64(connection, path, stream, iNet_WidenLimit(limit), WideCount(count).get(), reply);
}

ErrorCode FTPc_StoreUnique(FTPc* connection, const char* path, Stream* stream, uint32_t limit,
                           uint32_t* count, Reply* reply) {
  return FTPc_StoreUnique64(connection, path, stream, iNet_WidenLimit(limit), WideCount(count).get(), reply);
}

ErrorCode FTPc_StoreRestart(FTPc* connection, const char* path, uint32_t* offset, Stream* stream,
                            uint32_t limit, uint32_t* count, Reply* reply) {
  return FTPc_StoreRestart64(connection, path, WideOffset(offset).get(), stream, iNet_WidenLimit(limit),
                             WideCount(count).get(), reply);
}

ErrorCode FTPc_EndTransfer(FTPc* connection, Reply* reply) {
  const ErrorCode status = iFTPc_EndTransferUntil(connection, iSock_TrickleDeadlineMilliseconds(), reply);
  if (status != Error_Block || !IsFinalReplyOverdue(connection)) return status;
  return GiveFinalReplyUp(connection);
}

ErrorCode FTPc_AbortTransfer(FTPc* connection, Reply* reply) {
  const ErrorCode status = iFTPc_Begin(connection, reply);
  return status != Error_None ? status : iFTPc_Exchange(connection, "ABOR", nullptr, reply);
}

// ---- additions -------------------------------------------------------------------------------------------

ErrorCode FTPc_StartRetrieveRestart64(FTPc* connection, const char* path, uint64_t* offset, Stream** stream,
                                      Reply* reply) {
  bool isRefused = false;
  return StartRestart(connection, kRetrieve, path, offset, &isRefused, stream, reply);
}

ErrorCode FTPc_StartStoreRestart64(FTPc* connection, const char* path, uint64_t* offset, Stream** stream,
                                   Reply* reply) {
  bool isRefused = false;
  return StartRestart(connection, kStore, path, offset, &isRefused, stream, reply);
}

ErrorCode FTPc_Retrieve64(FTPc* connection, const char* path, Stream* stream, uint64_t* count, Reply* reply) {
  Stream* data = nullptr;
  ErrorCode status = PrepareWhole(stream, count, reply);
  if (status == Error_None) status = FTPc_StartRetrieve(connection, path, &data, reply);
  return status != Error_None ? status : iFTPc_Receive(connection, data, stream, count, reply);
}

ErrorCode FTPc_RetrieveRestart64(FTPc* connection, const char* path, uint64_t* offset, Stream* stream,
                                 uint64_t* count, Reply* reply) {
  Stream* data = nullptr;
  const ErrorCode status =
      StartWholeRestart(connection, kRetrieve, path, offset, stream, &data, count, reply);
  return status != Error_None ? status : iFTPc_Receive(connection, data, stream, count, reply);
}

ErrorCode FTPc_Store64(FTPc* connection, const char* path, Stream* stream, uint64_t limit, uint64_t* count,
                       Reply* reply) {
  return StoreWhole(connection, kStore, path, stream, limit, count, reply);
}

ErrorCode FTPc_StoreUnique64(FTPc* connection, const char* path, Stream* stream, uint64_t limit,
                             uint64_t* count, Reply* reply) {
  return StoreWhole(connection, kStoreUnique, path, stream, limit, count, reply);
}

ErrorCode FTPc_StoreRestart64(FTPc* connection, const char* path, uint64_t* offset, Stream* stream,
                              uint64_t limit, uint64_t* count, Reply* reply) {
  Stream* data = nullptr;
  const ErrorCode status = StartWholeRestart(connection, kStore, path, offset, stream, &data, count, reply);
  return status != Error_None ? status : Send(connection, data, stream, limit, count, reply);
}
