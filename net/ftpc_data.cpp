// Data connections: setting one up, starting a transfer on it, moving a whole file, and ending the transfer.
//
// What the server sees, in this order:
//
//   passive   PASV, [REST], the command, connection from here, reply
//   active    PORT, [REST], the command, reply, connection to here
#include <atomic>
#include <cstdio>
#include <cstring>

#include "net/copy_internal.h"
#include "net/ftpc_internal.h"
#include "net/sock_internal.h"
#include "net/telnet_internal.h"
#include "os/core/owned.h"
#include "os/platform/clock.h"
#include "qz/error.h"

namespace {

constexpr FTPCommand kPassive = {"PASV", kFTPClass_Completed, Error_Invalid};
constexpr FTPCommand kPort = {"PORT", kFTPClass_Completed, Error_Invalid};
constexpr FTPCommand kRestart = {"REST", kFTPClass_Intermediate, Error_Invalid};
constexpr const char* kRetrieve = "RETR";
constexpr const char* kStore = "STOR";
constexpr const char* kStoreUnique = "STOU";

constexpr uint32_t kDefaultPortBase = 3000;
constexpr uint32_t kDefaultPortCount = 1000;

// At most: a preliminary one and a final one.
constexpr int kRepliesToACommand = 2;

constexpr int32_t kShutdownSending = 1;
constexpr int32_t kShutdownBoth = 2;
constexpr int32_t kSeekFromStart = 0;

// How often an upload's end looks at the control connection while it waits for the data connection.
constexpr uint32_t kDrainSliceMicroseconds = 50000;

std::atomic<uint32_t> portBase{kDefaultPortBase};
std::atomic<uint32_t> portCount{kDefaultPortCount};
std::atomic<uint32_t> portCounter{0};

uint32_t ChooseActivePort() {
  const uint32_t base = portBase.load();
  const uint64_t end = static_cast<uint64_t>(base) + portCount.load();
  const uint32_t counter = portCounter.load();
  const bool inRange = counter >= base && counter < end && counter <= kFTPPort_Maximum;
  const uint32_t port = inRange ? counter : base;
  portCounter.store(port + 1);
  return port;
}

// ---- opening the data connection -------------------------------------------------------------------------

// Replies that have already come belong to the command that failed, and must not be taken for the next one's:
// the final one, and before it the preliminary one of a server that saw too late that the connection failed.
void TakePendingReplies(FTPc* connection, Reply* reply) {
  for (int i = 0; i < kRepliesToACommand; ++i) {
    uint32_t available = 0;
    if (Sock_ReadAvail(connection->socket, &available) != Error_None || available == 0) return;
    if (iFTPc_ReadReply(connection, reply) != Error_None) return;
    if (reply->replyClass != kFTPClass_Preliminary) return;
  }
}

// Kept: the two modes give different statuses for "no such file"; callers tell them apart.
ErrorCode JudgeReply(const Reply& reply, ErrorCode whenUnavailable) {
  if (reply.replyClass == kFTPClass_Preliminary) return Error_None;
  return reply.code == kFTPReply_ErrorNoAccess ? whenUnavailable : Error_Invalid;
}

ErrorCode StartPassive(FTPc* connection, const char* name, const char* argument, Sock** sock, Reply* reply) {
  *reply = Reply{};
  ErrorCode status = iFTPc_Send(connection, name, argument);
  if (status != Error_None) return status;

  char host[16];
  const uint8_t* address = connection->localAddress;
  snprintf(host, sizeof host, "%d.%d.%d.%d", address[0], address[1], address[2], address[3]);
  Owned<Sock, Sock_Delete> data;
  status = Sock_OpenConnectBuffer(SockBuffer_System, host, static_cast<uint16_t>(connection->dataPort),
                                  data.out());
  if (status != Error_None) {
    TakePendingReplies(connection, reply);
    return status;
  }
  status = iFTPc_ReadReply(connection, reply);
  if (status == Error_None) status = JudgeReply(*reply, Error_NotFound);
  if (status == Error_None) *sock = data.release();
  return status;
}

ErrorCode StartActive(FTPc* connection, const char* name, const char* argument, Sock** sock, Reply* reply) {
  Owned<Sock, Sock_Delete> listener;
  ErrorCode status = Sock_OpenListen(static_cast<uint16_t>(connection->dataPort), listener.out());
  if (status != Error_None) return status;
  status = iFTPc_Exchange(connection, name, argument, reply);
  if (status == Error_None) status = JudgeReply(*reply, Error_NoAccess);
  if (status != Error_None) return status;
  status = Sock_AcceptBuffer(listener.get(), SockBuffer_System, sock);
  if (status != Error_None) TakePendingReplies(connection, reply);
  return status;
}

// ---- starting transfers ----------------------------------------------------------------------------------

// The checks that every transfer begins with; nothing is sent before them.
ErrorCode Prepare(const FTPc* connection, const char* name, const char* path, Stream** stream, Reply* reply) {
  if (stream != nullptr) *stream = nullptr;
  const ErrorCode status = iFTPc_Begin(connection, reply);
  if (status != Error_None) return status;
  if (stream == nullptr || !iFTPc_IsArgument(path)) return Error_Invalid;
  // Seen only after REST, a command that is too long would leave the offset to the next transfer.
  return strlen(name) + 1 + strlen(path) <= kTelnet_LongestSentText ? Error_None : Error_Exceed;
}

ErrorCode Start(FTPc* connection, const char* name, const char* path, Stream** stream, Reply* reply) {
  ErrorCode status = Prepare(connection, name, path, stream, reply);
  if (status == Error_None) status = iFTPc_SetUpData(connection, reply);
  return status != Error_None ? status : iFTPc_StartData(connection, name, path, stream, reply);
}

ErrorCode Restart(FTPc* connection, uint32_t offset, Reply* reply) {
  char argument[16];
  snprintf(argument, sizeof argument, "%lu", static_cast<unsigned long>(offset));
  return iFTPc_Command(connection, kRestart, argument, reply);
}

// A server that cannot restart sends or takes the whole file; *fromStart says so.
ErrorCode StartRestart(FTPc* connection, const char* name, const char* path, uint32_t* offset,
                       bool* fromStart, Stream** stream, Reply* reply) {
  *fromStart = false;
  ErrorCode status = Prepare(connection, name, path, stream, reply);
  if (status == Error_None && offset == nullptr) status = Error_Invalid;
  if (status == Error_None) status = iFTPc_SetUpData(connection, reply);
  if (status != Error_None) return status;

  status = Restart(connection, *offset, reply);
  if (status != Error_None && status != Error_Invalid) return status;
  *fromStart = status == Error_Invalid;
  if (*fromStart) *offset = 0;
  status = iFTPc_StartData(connection, name, path, stream, reply);
  // The reply to REST is still the last one: the command was never sent, and the server would start the next
  // transfer at the offset.
  if (status != Error_None && reply->replyClass == kFTPClass_Intermediate) Restart(connection, 0, reply);
  return status;
}

// ---- moving and ending -----------------------------------------------------------------------------------

Sock* SocketOf(Stream* stream) {
  return reinterpret_cast<Sock*>(Stream_FindType(stream, StreamType_Sock));
}

// True when the peer ended the data connection, or it failed; bytes that nobody asked for are dropped. Asking
// for the bytes first clears the socket's last status, which the wait would give back otherwise.
bool HasPeerEnded(Sock* sock) {
  uint32_t available = 0;
  if (Sock_ReadAvail(sock, &available) != Error_None) return true;
  const ErrorCode status = Sock_SelectRead(sock, 0, kDrainSliceMicroseconds);
  if (status == Error_Timeout) return false;
  char dropped[512];
  return status != Error_None ||
         (Sock_Read(sock, sizeof dropped, dropped) == 0 && Sock_GetError(sock) != Error_Block);
}

// After the last byte of an upload: deleting the socket at once would drop what is still under way. The
// server ends the data connection, or replies, when it has everything.
void Drain(FTPc* connection, Sock* sock) {
  if (Sock_Shutdown(sock, kShutdownSending) != Error_None) return;
  const uint64_t start = platform::MonotonicMilliseconds();
  while (platform::MonotonicMilliseconds() - start < iSock_GetWaitMilliseconds()) {
    uint32_t replyBytes = 0;
    if (HasPeerEnded(sock)) return;
    if (Sock_ReadAvail(connection->socket, &replyBytes) != Error_None || replyBytes > 0) return;
  }
}

void CloseData(Stream* data) {
  Sock_Shutdown(SocketOf(data), kShutdownBoth);
  Stream_Delete(data);
}

// Waits for the final reply; gives up after the time that every read waits.
ErrorCode WaitForEnd(FTPc* connection, Reply* reply) {
  const uint32_t milliseconds = iSock_GetWaitMilliseconds();
  for (;;) {
    ErrorCode status = FTPc_EndTransfer(connection, reply);
    if (status != Error_Block) return status;
    uint32_t available = 0;
    status = Sock_ReadAvail(connection->socket, &available);
    if (status == Error_None && available == 0) {
      status = Sock_SelectRead(connection->socket, milliseconds / 1000, milliseconds % 1000 * 1000);
    }
    if (status != Error_None) {
      connection->flags &= ~kFTPFlag_Transfer;
      return status;
    }
  }
}

ErrorCode Finish(FTPc* connection, Stream* data, ErrorCode copyStatus, Reply* reply) {
  CloseData(data);
  const ErrorCode status = WaitForEnd(connection, reply);
  return status != Error_None ? status : copyStatus;
}

ErrorCode Send(FTPc* connection, Stream* data, Stream* source, uint32_t limit, uint32_t* count,
               Reply* reply) {
  const ErrorCode copyStatus = iNet_CopyStream(source, data, limit, count);
  Drain(connection, SocketOf(data));
  return Finish(connection, data, copyStatus, reply);
}

void SeekToStart(Stream* stream) {
  Stream* file = Stream_FindType(stream, StreamType_File);
  if (file != nullptr) File_Seek(reinterpret_cast<File*>(file), kSeekFromStart, 0);
}

ErrorCode PrepareWhole(const Stream* stream, uint32_t* count, Reply* reply) {
  if (count != nullptr) *count = 0;
  return stream == nullptr ? iFTPc_Refuse(reply) : Error_None;
}

ErrorCode StoreWhole(FTPc* connection, const char* name, const char* path, Stream* stream, uint32_t limit,
                     uint32_t* count, Reply* reply) {
  Stream* data = nullptr;
  ErrorCode status = PrepareWhole(stream, count, reply);
  if (status == Error_None) status = Start(connection, name, path, &data, reply);
  return status != Error_None ? status : Send(connection, data, stream, limit, count, reply);
}

// Starts a whole transfer with an offset. When it starts at 0 all the same, the local file must too.
ErrorCode StartWholeRestart(FTPc* connection, const char* name, const char* path, uint32_t* offset,
                            Stream* stream, Stream** data, uint32_t* count, Reply* reply) {
  bool fromStart = false;
  ErrorCode status = PrepareWhole(stream, count, reply);
  if (status == Error_None) status = StartRestart(connection, name, path, offset, &fromStart, data, reply);
  if (status == Error_None && fromStart) SeekToStart(stream);
  return status;
}

}  // namespace

// ---- shared with lists and moves -------------------------------------------------------------------------

ErrorCode iFTPc_SetPassive(FTPc* connection, Reply* reply) {
  const ErrorCode status = iFTPc_Command(connection, kPassive, nullptr, reply);
  if (status != Error_None) return status;
  // Kept: the server's address takes the place of this side's, and a PORT that follows names it; and the
  // address is used as the server sent it, whatever host the control connection goes to. Moves between
  // servers need both.
  return iFTPc_ParsePassive(reply->text, connection->localAddress, &connection->dataPort);
}

ErrorCode iFTPc_SendPort(FTPc* connection, const uint8_t address[4], int32_t port, Reply* reply) {
  char argument[32];
  const auto bits = static_cast<uint32_t>(port);
  snprintf(argument, sizeof argument, "%d,%d,%d,%d,%d,%d", address[0], address[1], address[2], address[3],
           static_cast<int>(bits >> 8 & 0xFF), static_cast<int>(bits & 0xFF));
  return iFTPc_Command(connection, kPort, argument, reply);
}

ErrorCode iFTPc_SetUpData(FTPc* connection, Reply* reply) {
  if ((connection->flags & FTPcFlag_Passive) != 0) return iFTPc_SetPassive(connection, reply);
  connection->dataPort = static_cast<int32_t>(ChooseActivePort());
  return iFTPc_SendPort(connection, connection->localAddress, connection->dataPort, reply);
}

ErrorCode iFTPc_StartData(FTPc* connection, const char* name, const char* argument, Stream** stream,
                          Reply* reply) {
  const bool passive = (connection->flags & FTPcFlag_Passive) != 0;
  Sock* sock = nullptr;
  const ErrorCode status = passive ? StartPassive(connection, name, argument, &sock, reply)
                                   : StartActive(connection, name, argument, &sock, reply);
  if (status != Error_None) return status;
  connection->flags |= kFTPFlag_Transfer;
  Sock_SetAsync(sock, 1);
  Sock_SetKeepAlive(sock, 1);
  *stream = reinterpret_cast<Stream*>(sock);
  return Error_None;
}

ErrorCode iFTPc_Receive(FTPc* connection, Stream* data, Stream* destination, uint32_t* count, Reply* reply) {
  const ErrorCode copyStatus = iNet_CopyStream(data, destination, kNet_NoLimit, count);
  return Finish(connection, data, copyStatus, reply);
}

// ---- exported functions ----------------------------------------------------------------------------------

ErrorCode FTPc_RestartSupported(FTPc* connection, int32_t* flag) {
  if (flag == nullptr) return Error_Invalid;
  *flag = 0;
  Reply reply;
  ErrorCode status = iFTPc_Begin(connection, &reply);
  if (status == Error_None) status = iFTPc_Exchange(connection, kRestart.name, "100", &reply);
  // A refusal is an answer: callers go on with transfers from the start.
  if (status != Error_None || reply.replyClass != kRestart.expectedClass) return status;
  *flag = 1;
  return Restart(connection, 0, &reply);
}

ErrorCode FTPc_StartRetrieve(FTPc* connection, const char* path, Stream** stream, Reply* reply) {
  return Start(connection, kRetrieve, path, stream, reply);
}

ErrorCode FTPc_StartRetrieveRestart(FTPc* connection, const char* path, uint32_t* offset, Stream** stream,
                                    Reply* reply) {
  bool fromStart = false;
  return StartRestart(connection, kRetrieve, path, offset, &fromStart, stream, reply);
}

ErrorCode FTPc_StartStore(FTPc* connection, const char* path, Stream** stream, Reply* reply) {
  return Start(connection, kStore, path, stream, reply);
}

ErrorCode FTPc_StartStoreUnique(FTPc* connection, const char* path, Stream** stream, Reply* reply) {
  return Start(connection, kStoreUnique, path, stream, reply);
}

ErrorCode FTPc_StartStoreRestart(FTPc* connection, const char* path, uint32_t* offset, Stream** stream,
                                 Reply* reply) {
  bool fromStart = false;
  return StartRestart(connection, kStore, path, offset, &fromStart, stream, reply);
}

ErrorCode FTPc_Retrieve(FTPc* connection, const char* path, Stream* stream, uint32_t* count, Reply* reply) {
  Stream* data = nullptr;
  ErrorCode status = PrepareWhole(stream, count, reply);
  if (status == Error_None) status = FTPc_StartRetrieve(connection, path, &data, reply);
  return status != Error_None ? status : iFTPc_Receive(connection, data, stream, count, reply);
}

ErrorCode FTPc_RetrieveRestart(FTPc* connection, const char* path, uint32_t* offset, Stream* stream,
                               uint32_t* count, Reply* reply) {
  Stream* data = nullptr;
  const ErrorCode status =
      StartWholeRestart(connection, kRetrieve, path, offset, stream, &data, count, reply);
  return status != Error_None ? status : iFTPc_Receive(connection, data, stream, count, reply);
}

ErrorCode FTPc_Store(FTPc* connection, const char* path, Stream* stream, uint32_t limit, uint32_t* count,
                     Reply* reply) {
  return StoreWhole(connection, kStore, path, stream, limit, count, reply);
}

ErrorCode FTPc_StoreUnique(FTPc* connection, const char* path, Stream* stream, uint32_t limit,
                           uint32_t* count, Reply* reply) {
  return StoreWhole(connection, kStoreUnique, path, stream, limit, count, reply);
}

ErrorCode FTPc_StoreRestart(FTPc* connection, const char* path, uint32_t* offset, Stream* stream,
                            uint32_t limit, uint32_t* count, Reply* reply) {
  Stream* data = nullptr;
  const ErrorCode status = StartWholeRestart(connection, kStore, path, offset, stream, &data, count, reply);
  return status != Error_None ? status : Send(connection, data, stream, limit, count, reply);
}

// No byte and a connection that is readable all the same: it has ended.
ErrorCode FTPc_EndTransfer(FTPc* connection, Reply* reply) {
  ErrorCode status = iFTPc_Begin(connection, reply);
  if (status != Error_None) return status;
  uint32_t available = 0;
  status = Sock_ReadAvail(connection->socket, &available);
  if (status == Error_None && available == 0) {
    status = Sock_SelectRead(connection->socket, 0, 0);
    if (status == Error_Timeout) return Error_Block;
    if (status == Error_None) status = Sock_ReadAvail(connection->socket, &available);
    if (status == Error_None && available == 0) status = Error_Ended;
  }
  if (status == Error_None) status = iFTPc_ReadReply(connection, reply);
  connection->flags &= ~kFTPFlag_Transfer;
  if (status != Error_None) return status;
  return reply->replyClass == kFTPClass_Completed ? Error_None : Error_Invalid;
}

ErrorCode FTPc_AbortTransfer(FTPc* connection, Reply* reply) {
  const ErrorCode status = iFTPc_Begin(connection, reply);
  return status != Error_None ? status : iFTPc_Exchange(connection, "ABOR", nullptr, reply);
}

// Kept: setting a range does not move the counter; when it is in the new range it goes on from where it is.
void FTPc_SetPortRange(uint32_t base, uint32_t count) {
  if (base == 0 || base > kFTPPort_Maximum) return;
  portBase.store(base);
  portCount.store(count);
}
