// Waiting on sockets and moving bytes through them. Every wait has an end: the time limit, or the close of
// the socket by another thread, which is looked for between slices of the wait.
#include <cstring>

#include "net/sock_internal.h"
#include "os/core/error_internal.h"
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

// Waits until one of `events` is seen (*seen): None then, Timeout when the time is over, Cancel when another
// thread closes the socket, or the system's reason, labelled with the context.
ErrorCode Wait(const SockUse& use, uint32_t events, uint64_t milliseconds, const char* context,
               uint32_t* seen) {
  const uint64_t deadline = platform::MonotonicMilliseconds() + milliseconds;
  uint64_t left = milliseconds;
  for (;;) {
    const uint64_t slice = left < kSliceMilliseconds ? left : kSliceMilliseconds;
    *seen = platform::SocketWait(use.descriptor(), events, static_cast<uint32_t>(slice));
    if (*seen == platform::SocketEvents_None) {
      const uint64_t now = platform::MonotonicMilliseconds();
      if (now >= deadline) return Error_Timeout;
      left = deadline - now;
    }
    if (!use.isOpen()) return Error_Cancel;
    if (*seen == platform::SocketEvents_Failed) return iError_FromLastSocket(context, nullptr, Error_Ended);
    if (*seen != platform::SocketEvents_None) return Error_None;
  }
}

// The contexts that failures of one kind of wait are labelled with.
struct WaitLabels {
  const char* failed;
  const char* exception;
};
constexpr WaitLabels kReadLabels = {"Sock_Read", "Sock_Read: select except"};
constexpr WaitLabels kWriteLabels = {"Sock_Write", "Sock_Write: select except"};
constexpr WaitLabels kAcceptLabels = {"Sock_Accept", "Sock_Accept"};

// Waits up to the time limit for `event`: None when it came.
ErrorCode Await(const SockUse& use, uint32_t event, const WaitLabels& labels) {
  uint32_t events = event | platform::SocketEvents_Exception;
  for (;;) {
    uint32_t seen = 0;
    ErrorCode status = Wait(use, events, iSock_GetWaitMilliseconds(), labels.failed, &seen);
    if (status != Error_None) return status;
    if ((seen & platform::SocketEvents_Exception) != 0) {
      const uint32_t error = platform::SocketPendingError(use.descriptor());
      status = Error_FromSocket(labels.exception, nullptr, error);
      if (status != Error_None) return status;
      // Urgent data is no failure: a transfer that ended here would take a part for the whole.
      events = event;
    }
    if ((seen & event) != 0) return Error_None;
  }
}

// What reading and writing begin with: the status of the call before is forgotten. False when no byte is to
// be moved.
bool BeginTransfer(Sock* sock, uint32_t count, const void* buffer) {
  const bool isRefused = count != 0 && buffer == nullptr;
  iSock_Store(sock, isRefused ? Error_Invalid : Error_None);
  return count != 0 && !isRefused;
}

uint32_t TakeAhead(Sock* sock, uint32_t count, uint8_t* buffer) {
  const uint32_t held = sock->aheadCount.load();
  const uint32_t taken = count < held ? count : held;
  memcpy(buffer, sock->ahead + sock->aheadStart, taken);
  sock->aheadStart += taken;
  sock->aheadCount.store(held - taken);
  return taken;
}

// Receives up to `count` bytes, small requests by way of the bytes read ahead. As SocketReceive.
int64_t Receive(const SockUse& use, uint32_t count, uint8_t* buffer) {
  Sock* sock = use.sock();
  const bool small = count < kSockReadAheadBytes;
  const uint32_t asked = small ? kSockReadAheadBytes : count;
  const int64_t received = platform::SocketReceive(use.descriptor(), asked, small ? sock->ahead : buffer);
  if (received >= 0) sock->isConnecting.store(false);
  // What filled its room has likely left more behind.
  sock->expectsData = received == asked;
  if (!small || received <= 0) return received;
  sock->aheadStart = 0;
  sock->aheadCount.store(static_cast<uint32_t>(received));
  return TakeAhead(sock, count, buffer);
}

// Gives at least one byte, or the reason why none comes.
ErrorCode ReadSome(const SockUse& use, uint32_t count, uint8_t* buffer, uint32_t* read) {
  Sock* sock = use.sock();
  if (!use.isOpen()) return Error_Cancel;
  *read = TakeAhead(sock, count, buffer);
  if (*read != 0) return Error_None;
  for (;;) {
    if (!sock->expectsData) {
      if (ErrorCode status = Await(use, platform::SocketEvents_Read, kReadLabels); status != Error_None)
        return status;
    }
    const int64_t received = Receive(use, count, buffer);
    // The end of the stream leaves no error number behind; an older one must not be taken for it.
    if (received == 0) return Error_Ended;
    if (received > 0) {
      *read = static_cast<uint32_t>(received);
      return Error_None;
    }
    if (platform::LastSocketError() != platform::SocketError_WouldBlock)
      return iError_FromLastSocket(kReadLabels.failed, nullptr, Error_Ended);
  }
}

// True when a read that is not full yet goes on: more is there, or only a wait can tell.
bool GoesOn(const SockUse& use) {
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
      sock->status.store(status);
      break;
    }
    done += read;
  } while (done < count && GoesOn(use));
  return done;
}

// True when room to write may come yet. Some systems say "not connected" of a connection that is still being
// made; said again after a wait, it is final.
bool IsWorthWaiting(uint32_t error, bool hasWaited) {
  return error == platform::SocketError_WouldBlock ||
         (error == platform::SocketError_NotConnected && !hasWaited);
}

uint32_t WriteMethod(Stream* stream, uint32_t count, const void* buffer) {
  auto* sock = reinterpret_cast<Sock*>(stream);
  if (!BeginTransfer(sock, count, buffer)) return 0;
  SockUse use(sock);
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  uint32_t done = 0;
  bool hasWaited = false;
  ErrorCode status = Error_None;
  while (done < count && status == Error_None) {
    // Mostly there is room, so the wait comes only after the system has refused.
    if (!use.isOpen()) {
      status = Error_Cancel;
      break;
    }
    const int64_t sent =
        platform::SocketSend(use.descriptor(), count - done, bytes + done, sock->nonBlocking.load());
    if (sent > 0) {
      sock->isConnecting.store(false);
      done += static_cast<uint32_t>(sent);
    } else if (sent < 0 && IsWorthWaiting(platform::LastSocketError(), hasWaited)) {
      status = Await(use, platform::SocketEvents_Write, kWriteLabels);
      hasWaited = true;
    } else {
      status = iError_FromLastSocket(kWriteLabels.failed, nullptr, Error_Ended);
    }
  }
  sock->status.store(status);
  return done;
}

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

uint64_t WholeMilliseconds(uint32_t seconds, uint32_t microseconds) {
  // Rounded up, so that the shortest wait is not a mere look.
  const uint64_t fraction =
      (static_cast<uint64_t>(microseconds) + kMicrosecondsPerMillisecond - 1) / kMicrosecondsPerMillisecond;
  return static_cast<uint64_t>(seconds) * kMillisecondsPerSecond + fraction;
}

// Kept: the status of an earlier operation is not cleared first, so a failure is given again although the
// socket is ready by now; pollers rely on seeing it.
ErrorCode Select(Sock* sock, uint32_t event, uint64_t milliseconds) {
  SockUse use(sock);
  if (!use.isOpen()) return iSock_Store(sock, Error_Cancel);
  uint32_t seen = 0;
  const uint32_t events = event | platform::SocketEvents_Exception;
  const ErrorCode waited = Wait(use, events, milliseconds, kWriteLabels.exception, &seen);
  if (waited != Error_None) return iSock_Store(sock, waited);
  // Some systems show a connection attempt that failed as room to write. Only then is the error asked for
  // without an exception, as asking clears it and a reader needs it.
  const bool endsAttempt = event == platform::SocketEvents_Write && sock->isConnecting.exchange(false);
  if ((seen & platform::SocketEvents_Exception) != 0 || endsAttempt) {
    const uint32_t error = platform::SocketPendingError(use.descriptor());
    if (error != 0) return iSock_Store(sock, Error_FromSocket(kWriteLabels.exception, nullptr, error));
  }
  return sock->status.load();
}

// Runs one call in non-blocking mode and goes back to the mode that is asked for by now; the error number of
// the call stays.
template <typename Call>
auto WithoutBlocking(const SockUse& use, uint32_t* error, Call call) {
  platform::SocketSetNonBlocking(use.descriptor(), true);
  const auto result = call(use.descriptor());
  *error = platform::LastSocketError();
  platform::SocketSetNonBlocking(use.descriptor(), use.sock()->nonBlocking.load());
  return result;
}

// Waits for a connection attempt that is under way.
ErrorCode AwaitConnection(const SockUse& use) {
  uint32_t seen = 0;
  const uint32_t events = platform::SocketEvents_Write | platform::SocketEvents_Exception;
  const ErrorCode waited = Wait(use, events, iSock_GetWaitMilliseconds(), "Sock_Connect", &seen);
  if (waited != Error_None) return waited;
  const uint32_t error = platform::SocketPendingError(use.descriptor());
  if (error == 0 && (seen & platform::SocketEvents_Write) == 0) return Error_Fail;
  return Error_FromSocket("Sock_Connect", nullptr, error);
}

ErrorCode Connect(const SockUse& use, const platform::SocketAddress& address) {
  if (!use.isOpen()) return Error_Cancel;
  if (use.sock()->nonBlocking.load()) {
    return platform::SocketConnect(use.descriptor(), address)
               ? Error_None
               : iError_FromLastSocket("Sock_Connect", nullptr, Error_Fail);
  }
  uint32_t error = 0;
  const bool connected = WithoutBlocking(use, &error, [&address](platform::SocketDescriptor descriptor) {
    return platform::SocketConnect(descriptor, address);
  });
  if (connected) return Error_None;
  if (error == platform::SocketError_WouldBlock) return AwaitConnection(use);
  const ErrorCode status = Error_FromSocket("Sock_Connect", nullptr, error);
  return status != Error_None ? status : Error_Fail;
}

// The next connection's descriptor.
ErrorCode Accept(const SockUse& use, platform::SocketDescriptor* accepted) {
  if (!use.isOpen()) return Error_Cancel;
  if (use.sock()->nonBlocking.load()) {
    *accepted = platform::SocketAccept(use.descriptor());
    return *accepted != platform::kNoSocket ? Error_None
                                            : iError_FromLastSocket("Sock_Accept", nullptr, Error_Fail);
  }
  for (;;) {
    if (ErrorCode status = Await(use, platform::SocketEvents_Read, kAcceptLabels); status != Error_None)
      return status;
    uint32_t error = 0;
    *accepted = WithoutBlocking(use, &error, platform::SocketAccept);
    if (*accepted != platform::kNoSocket) return Error_None;
    // A connection that went away again, or that another thread took, must not make this one wait for good.
    if (error == platform::SocketError_WouldBlock) continue;
    const ErrorCode status = Error_FromSocket("Sock_Accept", nullptr, error);
    return status != Error_None ? status : Error_Fail;
  }
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

void iSock_SetWaitMilliseconds(uint32_t milliseconds) {
  waitMilliseconds.store(milliseconds != 0 ? milliseconds : kUsualWaitMilliseconds);
}

ErrorCode Sock_Accept(Sock* listener, Sock** sock) {
  if (sock != nullptr) *sock = nullptr;
  if (listener == nullptr || sock == nullptr) return Error_Invalid;
  SockUse use(listener);
  platform::SocketDescriptor accepted = platform::kNoSocket;
  if (ErrorCode status = Accept(use, &accepted); status != Error_None) return iSock_Store(listener, status);
  *sock = iSock_NewRecord(accepted);
  if (*sock != nullptr) return iSock_Store(listener, Error_None);
  platform::SocketCloseAbortively(accepted);
  return iSock_Store(listener, Error_Memory);
}

ErrorCode Sock_Connect(Sock* sock, const char* host, uint16_t port) {
  if (sock == nullptr || host == nullptr) return Error_Invalid;
  platform::SocketAddress address{};
  if (ErrorCode status = iSock_Resolve(host, port, &address); status != Error_None)
    return iSock_Store(sock, status);
  if (memcmp(address.address, kNoAddress, sizeof kNoAddress) == 0) return iSock_Store(sock, Error_Invalid);
  SockUse use(sock);
  const ErrorCode status = Connect(use, address);
  // A refusal says nothing about an attempt that was begun before: that goes on.
  if (status == Error_Block || status == Error_Timeout) sock->isConnecting.store(true);
  if (status == Error_None) sock->isConnecting.store(false);
  return iSock_Store(sock, status);
}

ErrorCode Sock_SelectRead(Sock* sock, uint32_t seconds, uint32_t microseconds) {
  if (sock == nullptr) return Error_Invalid;
  if (sock->aheadCount.load() != 0 && sock->descriptor.load() != platform::kNoSocket)
    return sock->status.load();
  return Select(sock, platform::SocketEvents_Read, WholeMilliseconds(seconds, microseconds));
}

ErrorCode Sock_SelectWrite(Sock* sock, uint32_t seconds, uint32_t microseconds) {
  if (sock == nullptr) return Error_Invalid;
  return Select(sock, platform::SocketEvents_Write, WholeMilliseconds(seconds, microseconds));
}
