// Waiting on sockets, connecting, accepting, and moving bytes. The system's sockets never block: whatever the
// socket's mode, a call first tries, and when the system refuses it waits in slices. Every wait ends: at the
// time limit, or after the slice in which another thread closes the socket.
#include <cstring>
#include <span>

#include "net/sock_internal.h"
#include "net/sock_testing.h"
#include "os/core/error_internal.h"
#include "os/core/largebuffer_internal.h"
#include "os/platform/clock.h"
#include "os/platform/error.h"

namespace {

constexpr uint32_t kUsualWaitMilliseconds = 61000;
constexpr uint64_t kTrickleWaits = 10;
constexpr uint64_t kSliceMilliseconds = 200;
constexpr uint32_t kMillisecondsPerSecond = 1000;
constexpr uint32_t kMicrosecondsPerMillisecond = 1000;
constexpr uint8_t kNoAddress[4] = {255, 255, 255, 255};

std::atomic<uint32_t> waitMilliseconds{kUsualWaitMilliseconds};

// ---- waiting ---------------------------------------------------------------------------------------------

// The end of a wait.
class Deadline {
 public:
  explicit Deadline(uint64_t milliseconds) : end_(platform::MonotonicMilliseconds() + milliseconds) {}

  bool HasPassed() const { return LeftMilliseconds() == 0; }
  // What is left of the wait, at most one slice.
  uint32_t SliceMilliseconds() const {
    const uint64_t left = LeftMilliseconds();
    return static_cast<uint32_t>(left < kSliceMilliseconds ? left : kSliceMilliseconds);
  }

 private:
  uint64_t LeftMilliseconds() const {
    const uint64_t now = platform::MonotonicMilliseconds();
    return now < end_ ? end_ - now : 0;
  }

  uint64_t end_;
};

// A wait that times out has no system error; it is recorded as a failure all the same.
ErrorCode TimedOut(const char* operation, const char* name) {
  return iError_Record(Error_Timeout, operation, name);
}

// Waits until one of `events` is seen (*seen): None then, Timeout at the deadline, Cancel when another thread
// closes the socket, or the system's reason, labelled with the context.
ErrorCode Wait(const SockUse& use, uint32_t events, const Deadline& deadline, const char* context,
               uint32_t* seen) {
  for (;;) {
    *seen = platform::SocketWait(use.descriptor(), events, deadline.SliceMilliseconds());
    if (*seen == platform::SocketEvents_None && deadline.HasPassed()) return Error_Timeout;
    if (!use.isOpen()) return Error_Cancel;
    if (*seen == platform::SocketEvents_Failed) return iError_FromLastSocket(context, nullptr, Error_Ended);
    if (*seen != platform::SocketEvents_None) return Error_None;
  }
}

// Some systems tell only once why a connection failed: the pending error is cleared when it is asked for or
// given to a call, and a later read sees a plain end. The error is kept, so that no read takes that end for
// the peer's.
uint32_t TakePendingError(const SockUse& use) {
  const uint32_t error = platform::SocketPendingError(use.descriptor());
  if (error != 0) use.sock()->errorTaken.store(error);
  return error;
}

// The same for the error of a send or receive that just failed.
void KeepErrorToldOnce(Sock* sock) {
  if (platform::IsErrorToldOnce()) sock->errorTaken.store(platform::LastSocketError());
}

// The contexts that failures of one kind of wait are labelled with.
struct WaitLabels {
  const char* failed;
  const char* exception;
};
constexpr WaitLabels kReadLabels = {"Sock_Read", "Sock_Read: select except"};
constexpr WaitLabels kWriteLabels = {"Sock_Write", "Sock_Write: select except"};
constexpr WaitLabels kAcceptLabels = {"Sock_Accept", "Sock_Accept"};
constexpr char kConnectLabel[] = "Sock_Connect";

// Waits for `event`: None when it came, otherwise as Wait.
ErrorCode Await(const SockUse& use, uint32_t event, const Deadline& deadline, const WaitLabels& labels) {
  uint32_t events = event | platform::SocketEvents_Exception;
  for (;;) {
    uint32_t seen = 0;
    ErrorCode status = Wait(use, events, deadline, labels.failed, &seen);
    if (status != Error_None) return status;
    if ((seen & platform::SocketEvents_Exception) != 0) {
      status = Error_FromSocket(labels.exception, nullptr, TakePendingError(use));
      if (status != Error_None) return status;
      // Urgent data is no failure: a transfer that ended here would take a part for the whole.
      events = event;
    }
    if ((seen & event) != 0) return Error_None;
  }
}

uint64_t WholeMilliseconds(uint32_t seconds, uint32_t microseconds) {
  // Rounded up, so that the shortest wait is not a mere look.
  const uint64_t fraction =
      (static_cast<uint64_t>(microseconds) + kMicrosecondsPerMillisecond - 1) / kMicrosecondsPerMillisecond;
  return static_cast<uint64_t>(seconds) * kMillisecondsPerSecond + fraction;
}

// True when a socket that was connecting became ready and only its pending error tells whether it connected:
// some systems show a failed attempt as a readable and writable socket. Bytes to read tell as well.
bool EndsAttempt(const SockUse& use) {
  if (!use.sock()->isConnecting.exchange(false)) return false;
  uint32_t pending = 0;
  return !platform::SocketPending(use.descriptor(), &pending) || pending == 0;
}

// The failure that stands behind the events of a select; None when there is none. The pending error is asked
// for only where it is needed, as asking clears it, and a reader needs it too.
ErrorCode FailureBehind(const SockUse& use, uint32_t seen) {
  const bool endsAttempt = EndsAttempt(use);
  if ((seen & platform::SocketEvents_Exception) == 0 && !endsAttempt) return Error_None;
  return Error_FromSocket(kWriteLabels.exception, nullptr, TakePendingError(use));
}

// Kept: the status of an earlier operation is not cleared first, so a failure is given again although the
// socket is ready by now; pollers rely on seeing it.
ErrorCode Select(Sock* sock, uint32_t event, uint64_t milliseconds) {
  SockUse use(sock);
  if (!use.isOpen()) return iSock_StoreStatus(sock, Error_Cancel);
  uint32_t seen = 0;
  ErrorCode status = Wait(use, event | platform::SocketEvents_Exception, Deadline(milliseconds),
                          kWriteLabels.exception, &seen);
  if (status == Error_None) status = FailureBehind(use, seen);
  return status != Error_None ? iSock_StoreStatus(sock, status) : sock->status.load();
}

// ---- connecting and accepting ----------------------------------------------------------------------------

// Waits for a connection attempt that is under way.
ErrorCode AwaitConnection(const SockUse& use, const char* host) {
  uint32_t seen = 0;
  const uint32_t events = platform::SocketEvents_Write | platform::SocketEvents_Exception;
  const ErrorCode waited = Wait(use, events, Deadline(iSock_GetWaitMilliseconds()), kConnectLabel, &seen);
  if (waited == Error_Timeout) return TimedOut(kConnectLabel, host);
  if (waited != Error_None) return waited;
  const uint32_t error = TakePendingError(use);
  if (error == 0 && (seen & platform::SocketEvents_Write) == 0)
    return iError_Record(Error_Fail, kConnectLabel, host);
  return Error_FromSocket(kConnectLabel, host, error);
}

ErrorCode Connect(const SockUse& use, const char* host, const platform::SocketAddress& address) {
  if (!use.isOpen()) return Error_Cancel;
  if (platform::SocketConnect(use.descriptor(), address)) return Error_None;
  const bool isUnderWay = platform::LastSocketError() == platform::SocketError_WouldBlock;
  if (isUnderWay && !use.sock()->nonBlocking.load()) return AwaitConnection(use, host);
  return iError_FromLastSocket(kConnectLabel, host);
}

// The next connection's descriptor. The deadline holds for the whole call: another thread may accept the
// connection that ends a wait, again and again.
ErrorCode Accept(const SockUse& use, platform::SocketDescriptor* accepted) {
  const Deadline deadline(iSock_GetWaitMilliseconds());
  for (;;) {
    if (!use.isOpen()) return Error_Cancel;
    *accepted = platform::SocketAccept(use.descriptor());
    if (*accepted != platform::kNoSocket) return Error_None;
    const bool isNoneWaiting = platform::LastSocketError() == platform::SocketError_WouldBlock;
    if (!isNoneWaiting || use.sock()->nonBlocking.load())
      return iError_FromLastSocket("Sock_Accept", nullptr);
    if (deadline.HasPassed()) return TimedOut(kAcceptLabels.failed, nullptr);
    const ErrorCode waited = Await(use, platform::SocketEvents_Read, deadline, kAcceptLabels);
    if (waited != Error_None && waited != Error_Timeout) return waited;
  }
}

// ---- reading ---------------------------------------------------------------------------------------------

// What reading and writing begin with: the status of the call before is forgotten. False when no byte is to
// be moved.
bool BeginTransfer(Sock* sock, uint32_t count, const void* buffer) {
  const bool isRefused = count != 0 && buffer == nullptr;
  iSock_StoreStatus(sock, isRefused ? Error_Invalid : Error_None);
  return count != 0 && !isRefused;
}

uint32_t TakeAhead(Sock* sock, uint32_t count, uint8_t* buffer) {
  const uint32_t held = sock->aheadCount.load();
  const uint32_t taken = count < held ? count : held;
  if (taken != 0) memcpy(buffer, sock->ahead, taken);
  sock->ahead += taken;
  sock->aheadCount.store(held - taken);
  return taken;
}

// The buffer that a request goes through; empty when it goes straight to the caller's. A peer that fills
// requests sends fast: then fewer and larger calls pay, for the short remainder of a step as well.
std::span<uint8_t> AheadBuffer(Sock* sock, uint32_t count) {
  if (count >= kLargeBuffer_Bytes) return {};
  if (sock->largeBuffer == nullptr && sock->expectsData) sock->largeBuffer = iLargeBuffer_Take();
  if (sock->largeBuffer != nullptr) return {sock->largeBuffer, kLargeBuffer_Bytes};
  if (count < kSockSmallRequestBytes) return sock->smallBuffer;
  return {};
}

// Receives up to `count` bytes, and more into a buffer where that asks the system less often. As
// SocketReceive.
int64_t Receive(const SockUse& use, uint32_t count, uint8_t* buffer) {
  Sock* sock = use.sock();
  const std::span<uint8_t> through = AheadBuffer(sock, count);
  const bool isDirect = through.empty();
  const auto asked = isDirect ? count : static_cast<uint32_t>(through.size());
  const int64_t received =
      platform::SocketReceive(use.descriptor(), asked, isDirect ? buffer : through.data());
  if (received >= 0) sock->isConnecting.store(false);
  // A full buffer suggests that more is pending.
  sock->expectsData = received == asked;
  if (isDirect || received <= 0) return received;
  sock->ahead = through.data();
  sock->aheadCount.store(static_cast<uint32_t>(received));
  return TakeAhead(sock, count, buffer);
}

// Why the system has no more bytes: the peer closed, or the connection failed and an earlier call was told.
// The end itself sets no error number; the thread's last one must not be taken for it.
ErrorCode ReasonOfEnd(const Sock* sock) {
  const uint32_t error = sock->errorTaken.load();
  return error != 0 ? Error_FromSocket(kReadLabels.failed, nullptr, error) : Error_Ended;
}

// Gives at least one byte, or the reason why none comes.
ErrorCode ReadSome(const SockUse& use, uint32_t count, uint8_t* buffer, uint32_t* read) {
  Sock* sock = use.sock();
  if (!use.isOpen()) return Error_Cancel;
  *read = TakeAhead(sock, count, buffer);
  if (*read != 0) return Error_None;
  const Deadline deadline(iSock_GetWaitMilliseconds());
  for (;;) {
    if (!sock->expectsData) {
      const ErrorCode waited = Await(use, platform::SocketEvents_Read, deadline, kReadLabels);
      if (waited == Error_Timeout) return TimedOut(kReadLabels.failed, nullptr);
      if (waited != Error_None) return waited;
    }
    const int64_t received = Receive(use, count, buffer);
    if (received == 0) return ReasonOfEnd(sock);
    if (received > 0) {
      *read = static_cast<uint32_t>(received);
      return Error_None;
    }
    if (platform::LastSocketError() != platform::SocketError_WouldBlock) {
      KeepErrorToldOnce(sock);
      return iError_FromLastSocket(kReadLabels.failed, nullptr, Error_Ended);
    }
  }
}

// True when a read that is not full yet continues: more is there, or only a wait can tell.
bool HasMore(const SockUse& use) {
  uint32_t pending = 0;
  const bool known = platform::SocketPending(use.descriptor(), &pending);
  use.sock()->expectsData = known && pending != 0;
  return !known || pending != 0;
}

uint32_t ReadMethod(Stream* stream, uint32_t count, void* buffer) {
  auto* sock = reinterpret_cast<Sock*>(stream);
  if (!BeginTransfer(sock, count, buffer)) return 0;
  SockUse use(sock);
  auto* bytes = static_cast<uint8_t*>(buffer);
  uint32_t done = 0;
  do {
    uint32_t read = 0;
    if (ErrorCode status = ReadSome(use, count - done, bytes + done, &read); status != Error_None) {
      iSock_StoreStatus(sock, status);
      break;
    }
    done += read;
  } while (done < count && HasMore(use));
  sock->bytesRead += done;
  return done;
}

// ---- writing ---------------------------------------------------------------------------------------------

// True when a refused send may succeed later. Some systems say "not connected" of a connection that is still
// being made; said of a writable socket, it is final.
bool IsWorthWaiting(uint32_t error, bool isWritable) {
  return error == platform::SocketError_WouldBlock ||
         (error == platform::SocketError_NotConnected && !isWritable);
}

// Writes at least one byte, or gives the reason why none is accepted. Sends first, as the send buffer mostly
// has space, and again after every slice of the wait: some systems report a socket as writable only once a
// third of that buffer is free, and a peer that takes bytes slowly must not look dead.
ErrorCode WriteSome(const SockUse& use, uint32_t count, const uint8_t* bytes, uint32_t* written) {
  const Deadline deadline(iSock_GetWaitMilliseconds());
  bool isWritable = false;
  for (;;) {
    if (!use.isOpen()) return Error_Cancel;
    const int64_t sent = platform::SocketSend(use.descriptor(), count, bytes);
    if (sent == 0) return Error_Ended;
    if (sent > 0) {
      use.sock()->isConnecting.store(false);
      *written = static_cast<uint32_t>(sent);
      return Error_None;
    }
    if (!IsWorthWaiting(platform::LastSocketError(), isWritable)) {
      KeepErrorToldOnce(use.sock());
      return iError_FromLastSocket(kWriteLabels.failed, nullptr, Error_Ended);
    }
    if (deadline.HasPassed()) return TimedOut(kWriteLabels.failed, nullptr);
    const Deadline slice(deadline.SliceMilliseconds());
    const ErrorCode waited = Await(use, platform::SocketEvents_Write, slice, kWriteLabels);
    if (waited != Error_None && waited != Error_Timeout) return waited;
    isWritable = waited == Error_None;
  }
}

uint32_t WriteMethod(Stream* stream, uint32_t count, const void* buffer) {
  auto* sock = reinterpret_cast<Sock*>(stream);
  if (!BeginTransfer(sock, count, buffer)) return 0;
  SockUse use(sock);
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  uint32_t done = 0;
  while (done < count) {
    uint32_t written = 0;
    if (ErrorCode status = WriteSome(use, count - done, bytes + done, &written); status != Error_None) {
      iSock_StoreStatus(sock, status);
      break;
    }
    done += written;
  }
  return done;
}

// ---- the rest of the stream's operations -----------------------------------------------------------------

uint32_t ReadAvailMethod(Stream* stream) {
  uint32_t count = 0;
  return Sock_ReadAvail(reinterpret_cast<Sock*>(stream), &count) == Error_None ? count : 0;
}

ErrorCode DeleteMethod(Stream* stream) {
  return Sock_Delete(reinterpret_cast<Sock*>(stream));
}

ErrorCode ErrorMethod(Stream* stream) {
  return Sock_GetError(reinterpret_cast<Sock*>(stream));
}

}  // namespace

const StreamOperations kSockOperations = {DeleteMethod, ReadMethod,  ReadAvailMethod,
                                          WriteMethod,  ErrorMethod, nullptr};

uint32_t iSock_GetWaitMilliseconds() {
  return waitMilliseconds.load();
}

uint64_t iSock_TrickleDeadlineMilliseconds() {
  return platform::MonotonicMilliseconds() + kTrickleWaits * iSock_GetWaitMilliseconds();
}

ErrorCode Sock_Accept(Sock* listener, Sock** sock) {
  if (sock != nullptr) *sock = nullptr;
  if (listener == nullptr || sock == nullptr) return Error_Invalid;
  SockUse use(listener);
  platform::SocketDescriptor accepted = platform::kNoSocket;
  if (ErrorCode status = Accept(use, &accepted); status != Error_None)
    return iSock_StoreStatus(listener, status);
  *sock = iSock_NewRecord(accepted);
  if (*sock != nullptr) return iSock_StoreStatus(listener, Error_None);
  platform::SocketCloseAbortively(accepted);
  return iSock_StoreStatus(listener, Error_Memory);
}

ErrorCode Sock_Connect(Sock* sock, const char* host, uint16_t port) {
  if (sock == nullptr || host == nullptr) return Error_Invalid;
  // A look-up can take long, and nothing ends it.
  if (sock->interrupt != nullptr && sock->interrupt->IsSet()) return iSock_StoreStatus(sock, Error_Cancel);
  platform::SocketAddress address{};
  if (ErrorCode status = iSock_Resolve(host, port, &address); status != Error_None)
    return iSock_StoreStatus(sock, status);
  if (memcmp(address.address, kNoAddress, sizeof kNoAddress) == 0)
    return iSock_StoreStatus(sock, Error_Invalid);
  SockUse use(sock);
  sock->errorTaken.store(0);
  const ErrorCode status = Connect(use, host, address);
  // A refusal says nothing about an attempt that was begun before: that continues.
  if (status == Error_Block || status == Error_Timeout) sock->isConnecting.store(true);
  if (status == Error_None) sock->isConnecting.store(false);
  return iSock_StoreStatus(sock, status);
}

ErrorCode Sock_SelectRead(Sock* sock, uint32_t seconds, uint32_t microseconds) {
  if (sock == nullptr) return Error_Invalid;
  if (sock->aheadCount.load() != 0 && iSock_IsOpen(sock)) return sock->status.load();
  return Select(sock, platform::SocketEvents_Read, WholeMilliseconds(seconds, microseconds));
}

ErrorCode Sock_SelectWrite(Sock* sock, uint32_t seconds, uint32_t microseconds) {
  if (sock == nullptr) return Error_Invalid;
  return Select(sock, platform::SocketEvents_Write, WholeMilliseconds(seconds, microseconds));
}

void Sock_SetTimeout(uint32_t milliseconds) {
  waitMilliseconds.store(milliseconds != 0 ? milliseconds : kUsualWaitMilliseconds);
}
