// Windows Sockets 1.1.
#include "os/platform/socket.h"

#include <winsock.h>

#include <climits>
#include <cstring>

namespace platform {

const int32_t kSocketLevel = SOL_SOCKET;
const int32_t kSocketReceiveBuffer = SO_RCVBUF;
const int32_t kSocketReuseAddress = SO_REUSEADDR;

namespace {

constexpr WORD kWantedVersion = 0x0101;

SOCKET Native(SocketDescriptor socket) {
  return static_cast<SOCKET>(socket);
}

// A count as the system's calls take it; cut, never turned into 0, which would read as the peer's end.
int ToLength(uint32_t count) {
  return count < INT_MAX ? static_cast<int>(count) : INT_MAX;
}

SocketDescriptor Common(SOCKET socket) {
  return socket == INVALID_SOCKET ? kNoSocket : static_cast<SocketDescriptor>(socket);
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

// What every socket of the library is: non-blocking and not inherited. kNoSocket, and the socket closed, when
// the system refuses the former.
SocketDescriptor Adopt(SOCKET socket) {
  u_long nonBlocking = 1;
  if (ioctlsocket(socket, static_cast<long>(FIONBIO), &nonBlocking) != 0) {
    const int error = WSAGetLastError();
    closesocket(socket);
    WSASetLastError(error);
    return kNoSocket;
  }
  SetHandleInformation(reinterpret_cast<HANDLE>(socket), HANDLE_FLAG_INHERIT, 0);
  return Common(socket);
}

// A set of one socket, or none.
struct OneSocket {
  fd_set set;
  fd_set* pointer;

  OneSocket(SocketDescriptor socket, bool wanted) : set{}, pointer(wanted ? &set : nullptr) {
    set.fd_count = 1;
    set.fd_array[0] = Native(socket);
  }
  bool seen() const { return pointer != nullptr && set.fd_count != 0; }
};

}  // namespace

SocketStart StartSockets() {
  WSADATA data{};
  if (WSAStartup(kWantedVersion, &data) != 0) return SocketStart::Failed;
  if (data.wVersion == kWantedVersion) return SocketStart::Started;
  WSACleanup();
  return SocketStart::WrongVersion;
}

bool StopSockets() {
  return WSACleanup() == 0;
}

SocketDescriptor SocketCreate() {
  const SOCKET created = socket(AF_INET, SOCK_STREAM, 0);
  return created != INVALID_SOCKET ? Adopt(created) : kNoSocket;
}

bool SocketCloseAbortively(SocketDescriptor socket) {
  const linger dropUnsent{1, 0};
  setsockopt(Native(socket), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&dropUnsent),
             sizeof dropUnsent);
  return closesocket(Native(socket)) == 0;
}

bool SocketBind(SocketDescriptor socket, const SocketAddress& address) {
  const sockaddr_in native = ToNative(address);
  return bind(Native(socket), reinterpret_cast<const sockaddr*>(&native), sizeof native) == 0;
}

bool SocketListen(SocketDescriptor socket, int32_t backlog) {
  return listen(Native(socket), backlog) == 0;
}

SocketDescriptor SocketAccept(SocketDescriptor socket) {
  const SOCKET accepted = accept(Native(socket), nullptr, nullptr);
  return accepted != INVALID_SOCKET ? Adopt(accepted) : kNoSocket;
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
  int length = sizeof native;
  if (getsockname(Native(socket), reinterpret_cast<sockaddr*>(&native), &length) != 0) return false;
  FromNative(native, address);
  return true;
}

bool SocketPeerAddress(SocketDescriptor socket, SocketAddress* address) {
  sockaddr_in native{};
  int length = sizeof native;
  if (getpeername(Native(socket), reinterpret_cast<sockaddr*>(&native), &length) != 0) return false;
  FromNative(native, address);
  return true;
}

int64_t SocketReceive(SocketDescriptor socket, uint32_t count, void* buffer) {
  const int received = recv(Native(socket), static_cast<char*>(buffer), ToLength(count), 0);
  if (received != 0) return received;
  // Some systems show a reset to the reader as a plain end; a cut transfer must not look whole. A send of no
  // bytes fails with the reset.
  if (send(Native(socket), "", 0, 0) == 0 || WSAGetLastError() != WSAECONNRESET) return 0;
  return -1;
}

int64_t SocketSend(SocketDescriptor socket, uint32_t count, const void* buffer) {
  return send(Native(socket), static_cast<const char*>(buffer), ToLength(count), 0);
}

// The system repeats it.
bool IsErrorToldOnce() {
  return false;
}

bool SocketPending(SocketDescriptor socket, uint32_t* count) {
  u_long pending = 0;
  if (ioctlsocket(Native(socket), FIONREAD, &pending) != 0) return false;
  *count = pending;
  return true;
}

bool SocketSetOption(SocketDescriptor socket, int32_t level, int32_t option, const void* value,
                     int32_t length) {
  return setsockopt(Native(socket), level, option, static_cast<const char*>(value), length) == 0;
}

bool SocketGetOption(SocketDescriptor socket, int32_t level, int32_t option, void* value, int32_t* length) {
  int size = *length;
  if (getsockopt(Native(socket), level, option, static_cast<char*>(value), &size) != 0) return false;
  *length = size;
  return true;
}

uint32_t SocketPendingError(SocketDescriptor socket) {
  int error = 0;
  int length = sizeof error;
  if (getsockopt(Native(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &length) != 0) {
    return static_cast<uint32_t>(WSAGetLastError());
  }
  return static_cast<uint32_t>(error);
}

uint32_t SocketWait(SocketDescriptor socket, uint32_t events, uint32_t milliseconds) {
  OneSocket read(socket, (events & SocketEvents_Read) != 0);
  OneSocket write(socket, (events & SocketEvents_Write) != 0);
  OneSocket exception(socket, (events & SocketEvents_Exception) != 0);
  timeval limit{static_cast<long>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000};
  const int result = select(0, read.pointer, write.pointer, exception.pointer, &limit);
  if (result < 0) return SocketEvents_Failed;
  if (result == 0) return SocketEvents_None;

  uint32_t found = SocketEvents_None;
  if (read.seen()) found |= SocketEvents_Read;
  if (write.seen()) found |= SocketEvents_Write;
  if (exception.seen()) found |= SocketEvents_Exception;
  return found;
}

bool ParseHostAddress(const char* text, uint8_t* address) {
  const unsigned long parsed = inet_addr(text);
  if (parsed == INADDR_NONE) return false;
  memcpy(address, &parsed, 4);
  return true;
}

bool LookUpHost(const char* host, uint8_t* address, uint32_t* error) {
  const hostent* found = gethostbyname(host);
  // A host without such an address is no failure of the call, which leaves no number then.
  *error = found == nullptr ? static_cast<uint32_t>(WSAGetLastError()) : 0;
  if (found == nullptr || found->h_addrtype != AF_INET || found->h_addr_list[0] == nullptr) return false;
  memcpy(address, found->h_addr_list[0], 4);
  return true;
}

}  // namespace platform
