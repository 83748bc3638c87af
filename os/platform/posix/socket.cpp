#include "os/platform/socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "os/platform/error.h"
#include "os/platform/posix/descriptor_posix.h"

namespace platform {

const int32_t kSocketLevel = SOL_SOCKET;
const int32_t kSocketReceiveBuffer = SO_RCVBUF;
const int32_t kSocketReuseAddress = SO_REUSEADDR;

namespace {

int Native(SocketDescriptor socket) {
  return static_cast<int>(socket);
}

SocketDescriptor Common(int socket) {
  return socket < 0 ? kNoSocket : static_cast<SocketDescriptor>(socket);
}

sockaddr_in ToNative(const SocketAddress& address) {
  sockaddr_in native{};
  native.sin_family = AF_INET;
  memcpy(&native.sin_addr, address.address, sizeof address.address);
  memcpy(&native.sin_port, address.port, sizeof address.port);
  return native;
}

void FromNative(const sockaddr_in& native, SocketAddress* address) {
  memcpy(address->address, &native.sin_addr, sizeof address->address);
  memcpy(address->port, &native.sin_port, sizeof address->port);
}

// Repeats a call that a signal interrupted.
template <typename Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// The common number of a look-up's failure.
uint32_t FromLookUp(int result) {
  switch (result) {
    case EAI_NONAME:
    case EAI_NODATA:
    case EAI_ADDRFAMILY:
      return SocketError_HostNotFound;
    case EAI_AGAIN:
      return SocketError_TryLookUpAgain;
    case EAI_MEMORY:
      return SocketError_NoBuffers;
    case EAI_SYSTEM:
      return LastSocketError();
    default:
      return SocketError_LookUpFailed;
  }
}

int PollOnce(SocketDescriptor socket, short wanted, int milliseconds, short* seen) {
  pollfd entry{Native(socket), wanted, 0};
  const int result = poll(&entry, 1, milliseconds);
  *seen = entry.revents;
  return result;
}

}  // namespace

SocketStart StartSockets() {
  return SocketStart::Started;
}

bool StopSockets() {
  return true;
}

SocketDescriptor SocketCreate() {
  return Common(AboveStandardStreams(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)));
}

bool SocketCloseAbortively(SocketDescriptor socket) {
  const linger dropUnsent{1, 0};
  setsockopt(Native(socket), SOL_SOCKET, SO_LINGER, &dropUnsent, sizeof dropUnsent);
  // An interrupted close has closed all the same; closing again could hit another thread's descriptor.
  return close(Native(socket)) == 0 || errno == EINTR;
}

bool SocketBind(SocketDescriptor socket, const SocketAddress& address) {
  const sockaddr_in native = ToNative(address);
  return bind(Native(socket), reinterpret_cast<const sockaddr*>(&native), sizeof native) == 0;
}

bool SocketListen(SocketDescriptor socket, int32_t backlog) {
  return listen(Native(socket), backlog) == 0;
}

SocketDescriptor SocketAccept(SocketDescriptor socket) {
  const int accepted = Uninterrupted(
      [socket] { return accept4(Native(socket), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK); });
  return Common(AboveStandardStreams(accepted));
}

bool SocketConnect(SocketDescriptor socket, const SocketAddress& address) {
  const sockaddr_in native = ToNative(address);
  return connect(Native(socket), reinterpret_cast<const sockaddr*>(&native), sizeof native) == 0;
}

bool SocketShutdown(SocketDescriptor socket, int32_t how) {
  return shutdown(Native(socket), how) == 0;
}

bool SocketLocalAddress(SocketDescriptor socket, SocketAddress* address) {
  sockaddr_in native{};
  socklen_t length = sizeof native;
  if (getsockname(Native(socket), reinterpret_cast<sockaddr*>(&native), &length) != 0) return false;
  FromNative(native, address);
  return true;
}

bool SocketPeerAddress(SocketDescriptor socket, SocketAddress* address) {
  sockaddr_in native{};
  socklen_t length = sizeof native;
  if (getpeername(Native(socket), reinterpret_cast<sockaddr*>(&native), &length) != 0) return false;
  FromNative(native, address);
  return true;
}

int64_t SocketReceive(SocketDescriptor socket, uint32_t count, void* buffer) {
  return Uninterrupted([=] { return recv(Native(socket), buffer, count, 0); });
}

int64_t SocketSend(SocketDescriptor socket, uint32_t count, const void* buffer) {
  return Uninterrupted([=] { return send(Native(socket), buffer, count, MSG_NOSIGNAL); });
}

bool IsErrorToldOnce() {
  // EPIPE is not among them: it stands for the own shutdown, and for a reset that came behind the peer's
  // close.
  return errno == ECONNRESET || errno == ECONNREFUSED || errno == ETIMEDOUT || errno == EHOSTUNREACH ||
         errno == ENETUNREACH;
}

bool SocketPending(SocketDescriptor socket, uint32_t* count) {
  int pending = 0;
  if (ioctl(Native(socket), FIONREAD, &pending) != 0) return false;
  *count = static_cast<uint32_t>(pending);
  return true;
}

bool SocketSetOption(SocketDescriptor socket, int32_t level, int32_t option, const void* value,
                     int32_t length) {
  return setsockopt(Native(socket), level, option, value, static_cast<socklen_t>(length)) == 0;
}

bool SocketGetOption(SocketDescriptor socket, int32_t level, int32_t option, void* value, int32_t* length) {
  auto size = static_cast<socklen_t>(*length);
  if (getsockopt(Native(socket), level, option, value, &size) != 0) return false;
  *length = static_cast<int32_t>(size);
  return true;
}

uint32_t SocketPendingError(SocketDescriptor socket) {
  int error = 0;
  socklen_t length = sizeof error;
  if (getsockopt(Native(socket), SOL_SOCKET, SO_ERROR, &error, &length) != 0) return LastSocketError();
  errno = error;
  return LastSocketError();
}

uint32_t SocketWait(SocketDescriptor socket, uint32_t events, uint32_t milliseconds) {
  short wanted = 0;
  if ((events & SocketEvents_Read) != 0) wanted |= POLLIN;
  if ((events & SocketEvents_Write) != 0) wanted |= POLLOUT;
  if ((events & SocketEvents_Exception) != 0) wanted |= POLLPRI;

  short seen = 0;
  const int result =
      PollOnce(socket, wanted, milliseconds > INT_MAX ? INT_MAX : static_cast<int>(milliseconds), &seen);
  if (result < 0) return errno == EINTR ? SocketEvents_None : SocketEvents_Failed;
  if (result == 0) return SocketEvents_None;
  if ((seen & POLLNVAL) != 0) {
    errno = EBADF;
    return SocketEvents_Failed;
  }
  uint32_t found = SocketEvents_None;
  if ((seen & POLLPRI) != 0) found |= SocketEvents_Exception;
  if ((seen & (POLLIN | POLLHUP | POLLERR)) != 0) found |= events & SocketEvents_Read;
  if ((seen & (POLLOUT | POLLHUP | POLLERR)) != 0) found |= events & SocketEvents_Write;
  return found;
}

bool ParseHostAddress(const char* text, uint8_t* address) {
  const in_addr_t parsed = inet_addr(text);
  if (parsed == INADDR_NONE) return false;
  memcpy(address, &parsed, sizeof parsed);
  return true;
}

bool LookUpHost(const char* host, uint8_t* address, uint32_t* error) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int result = getaddrinfo(host, nullptr, &hints, &found);
  if (result != 0) {
    *error = FromLookUp(result);
    return false;
  }
  sockaddr_in native{};
  memcpy(&native, found->ai_addr, sizeof native);
  memcpy(address, &native.sin_addr, sizeof native.sin_addr);
  freeaddrinfo(found);
  return true;
}

}  // namespace platform
