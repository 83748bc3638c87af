// Data connections: choosing a port, setting a connection up and opening it.
//
// What the server sees, in this order:
//
//   passive   PASV, [REST], the command, connection from here, reply
//   active    PORT, [REST], the command, reply, connection to here
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <utility>

#include "net/ftpc_internal.h"
#include "net/ftpc_testing.h"
#include "net/sock_internal.h"
#include "os/core/owned.h"
#include "os/platform/clock.h"
#include "qz/error.h"

namespace {

constexpr FTPCommand kPassive = {"PASV", kFTPClass_Completed, Error_Invalid};
constexpr FTPCommand kPort = {"PORT", kFTPClass_Completed, Error_Invalid};

constexpr uint32_t kDefaultPortBase = 3000;
constexpr uint32_t kDefaultPortCount = 1000;

// How often the wait for the server's connection looks at the control connection.
constexpr uint32_t kAcceptSliceMicroseconds = 50000;

std::atomic<uint32_t> portBase{kDefaultPortBase};
std::atomic<uint32_t> portCount{kDefaultPortCount};
std::atomic<uint32_t> portCounter{0};

// ---- active ports ----------------------------------------------------------------------------------------

// The first port behind the range.
uint32_t PortEnd() {
  const uint64_t end = uint64_t{portBase.load()} + std::max(portCount.load(), 1u);
  return static_cast<uint32_t>(std::min<uint64_t>(end, kFTPPort_Maximum + 1));
}

// Windows reports a port that another program holds for itself as access denied, which has no status of its
// own.
bool IsPortTaken(ErrorCode status) {
  return status == Error_Exists || status == Error_Fail;
}

// Listens at the next port of the range that is free.
ErrorCode ListenAtNextPort(FTPc* connection) {
  iFTPc_StopListening(connection);
  // Dialled here, not by the loop: a dial that fails is not a port that is taken.
  ErrorCode status = iSock_EnsureDialUp();
  if (status != Error_None) return status;
  status = Error_Exists;
  for (uint32_t left = PortEnd() - portBase.load(); left > 0 && IsPortTaken(status); --left) {
    const uint32_t port = iFTPc_NextActivePort();
    connection->dataPort = static_cast<int32_t>(port);
    status = Sock_OpenListen(static_cast<uint16_t>(port), &connection->listener);
  }
  return status;
}

ErrorCode SetUpActive(FTPc* connection, Reply* reply) {
  ErrorCode status = ListenAtNextPort(connection);
  if (status == Error_None)
    status = iFTPc_SendPort(connection, connection->localAddress, connection->dataPort, reply);
  if (status != Error_None) iFTPc_StopListening(connection);
  return status;
}

// ---- opening the data connection -------------------------------------------------------------------------

// Kept: the two modes give different statuses for "no such file"; callers tell them apart.
ErrorCode JudgeReply(const Reply& reply, ErrorCode whenUnavailable) {
  if (reply.replyClass == kFTPClass_Preliminary) return Error_None;
  return reply.code == kFTPReply_ErrorNoAccess ? whenUnavailable : Error_Invalid;
}

// Takes the final reply of a transfer command whose data connection failed, and the preliminary ones before
// it: they must not be taken for the next command's. A server that sends preliminary ones without end is not
// listened to for longer either.
void TakeReplyOfFailure(FTPc* connection, Reply* reply) {
  const uint64_t start = platform::MonotonicMilliseconds();
  const uint64_t deadline = start + iFTPc_LateReplyMilliseconds();
  for (uint64_t now = start; now < deadline; now = platform::MonotonicMilliseconds()) {
    if (!iFTPc_AwaitReply(connection, static_cast<uint32_t>(deadline - now))) break;
    if (iFTPc_ReadReplyUntil(connection, deadline, reply) != Error_None) break;
    if (reply->replyClass != kFTPClass_Preliminary) return;
  }
  connection->isOutOfStep = true;
}

// Reads what a server that was to connect says instead: None when it is still about to.
ErrorCode ReadReplyOfServer(FTPc* connection, Reply* reply) {
  const ErrorCode status = iFTPc_ReadReply(connection, reply);
  if (status == Error_None) return JudgeReply(*reply, Error_NoAccess);
  // Whatever that was, the transfer's own reply may still come.
  connection->isOutOfStep = true;
  return status;
}

ErrorCode ConnectToServer(const FTPc* connection, Sock** sock) {
  char host[16];
  const uint8_t* address = connection->localAddress;
  snprintf(host, sizeof host, "%d.%d.%d.%d", address[0], address[1], address[2], address[3]);
  return iSock_OpenConnect(SockBuffer_System, host, static_cast<uint16_t>(connection->dataPort),
                           connection->interrupt, sock);
}

ErrorCode StartPassive(FTPc* connection, const char* name, const char* argument, Sock** sock, Reply* reply) {
  *reply = Reply{};
  ErrorCode status = iFTPc_Send(connection, name, argument);
  if (status != Error_None) return status;

  Owned<Sock, Sock_Delete> data;
  status = ConnectToServer(connection, data.out());
  if (status != Error_None) {
    TakeReplyOfFailure(connection, reply);
    return status;
  }
  status = iFTPc_ReadReply(connection, reply);
  if (status == Error_None) status = JudgeReply(*reply, Error_NotFound);
  if (status == Error_None) *sock = data.release();
  return status;
}

// Waits for one slice: None with the server's connection, Block when it has not come yet.
ErrorCode AcceptInSlice(Sock* listener, Sock** sock) {
  // The wait would give the status of the one before again.
  iSock_StoreStatus(listener, Error_None);
  const ErrorCode status = Sock_SelectRead(listener, 0, kAcceptSliceMicroseconds);
  if (status == Error_Timeout) return Error_Block;
  // The connection may have gone again meanwhile: then the next slice waits for another one.
  return status != Error_None ? status : Sock_AcceptBuffer(listener, SockBuffer_System, sock);
}

// Accepts the server's connection. A server that cannot connect says so over the control connection; one
// that connects and replies at once has its connection looked for once more before the reply is read.
ErrorCode AcceptFromServer(FTPc* connection, Sock* listener, Sock** sock, Reply* reply) {
  Sock_SetAsync(listener, 1);
  const uint64_t start = platform::MonotonicMilliseconds();
  ErrorCode status = Error_Block;
  bool hasReply = false;
  while (status == Error_Block && platform::MonotonicMilliseconds() - start < iSock_GetWaitMilliseconds()) {
    status = AcceptInSlice(listener, sock);
    if (status == Error_Block && hasReply) {
      const ErrorCode judged = ReadReplyOfServer(connection, reply);
      if (judged != Error_None) return judged;
    }
    hasReply = iFTPc_AwaitReply(connection, 0);
  }
  if (status == Error_None) return status;
  TakeReplyOfFailure(connection, reply);
  return status == Error_Block ? ErrorCode{Error_Timeout} : status;
}

ErrorCode StartActive(FTPc* connection, const char* name, const char* argument, Sock** sock, Reply* reply) {
  const Owned<Sock, Sock_Delete> listener(std::exchange(connection->listener, nullptr));
  ErrorCode status = iFTPc_Exchange(connection, name, argument, reply);
  if (status == Error_None) status = JudgeReply(*reply, Error_NoAccess);
  if (status == Error_None) status = AcceptFromServer(connection, listener.get(), sock, reply);
  if (status == Error_None) (*sock)->interrupt = connection->interrupt;
  return status;
}

}  // namespace

// Kept: setting a range does not move the counter; when it is in the new range the next port comes from
// there.
uint32_t iFTPc_NextActivePort() {
  const uint32_t counter = portCounter.load();
  const uint32_t port = counter >= portBase.load() && counter < PortEnd() ? counter : portBase.load();
  portCounter.store(port + 1);
  return port;
}

uint32_t iFTPc_LateReplyMilliseconds() {
  constexpr uint32_t kLateReplyMilliseconds = 2000;
  return std::min(kLateReplyMilliseconds, iSock_GetWaitMilliseconds());
}

bool iFTPc_AwaitReply(FTPc* connection, uint32_t milliseconds) {
  uint32_t available = 0;
  // A failure shows when the reply is read.
  if (Sock_ReadAvail(connection->socket, &available) != Error_None || available > 0) return true;
  const ErrorCode status =
      Sock_SelectRead(connection->socket, milliseconds / 1000, milliseconds % 1000 * 1000);
  if (status == Error_Timeout) Sock_ClearError(connection->socket);
  return status != Error_Timeout;
}

void iFTPc_StopListening(FTPc* connection) {
  if (connection->listener != nullptr) Sock_Delete(std::exchange(connection->listener, nullptr));
}

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
  const bool isPassive = (connection->flags & FTPcFlag_Passive) != 0;
  return isPassive ? iFTPc_SetPassive(connection, reply) : SetUpActive(connection, reply);
}

ErrorCode iFTPc_StartData(FTPc* connection, const char* name, const char* argument, Stream** stream,
                          Reply* reply) {
  const bool isPassive = (connection->flags & FTPcFlag_Passive) != 0;
  Sock* sock = nullptr;
  const ErrorCode status = isPassive ? StartPassive(connection, name, argument, &sock, reply)
                                     : StartActive(connection, name, argument, &sock, reply);
  if (status != Error_None) return status;
  connection->flags |= kFTPFlag_Transfer;
  Sock_SetAsync(sock, 1);
  *stream = reinterpret_cast<Stream*>(sock);
  return Error_None;
}

// ---- exported functions ----------------------------------------------------------------------------------

void FTPc_SetPortRange(uint32_t base, uint32_t count) {
  if (base == 0 || base > kFTPPort_Maximum) return;
  portBase.store(base);
  portCount.store(count);
}
