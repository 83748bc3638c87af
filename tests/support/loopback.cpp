#include "tests/support/loopback.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include "tests/support/environment.h"

#ifdef _WIN32
#  include <winsock.h>
using Length = int;
#else
#  include <arpa/inet.h>
#  include <fcntl.h>
#  include <netinet/in.h>
#  include <netinet/tcp.h>
#  include <poll.h>
#  include <sys/ioctl.h>
#  include <sys/socket.h>
#  include <unistd.h>

#  include <cerrno>
using Length = socklen_t;
#endif

namespace loopback {
namespace {

using Clock = std::chrono::steady_clock;

#ifdef _WIN32
using Native = SOCKET;
constexpr int kSendFlags = 0;
void CloseNative(Native socket) {
  closesocket(socket);
}
int LastError() {
  return WSAGetLastError();
}
bool IsWouldBlock(int error) {
  return error == WSAEWOULDBLOCK;
}
void SetNonBlocking(Native socket) {
  u_long on = 1;
  ioctlsocket(socket, static_cast<long>(FIONBIO), &on);
}
// The tests may run before or without the library's start.
void Start() {
  static const bool started = [] {
    WSADATA data;
    return WSAStartup(0x0101, &data) == 0;
  }();
  (void)started;
}
bool WaitFor(Native socket, bool toWrite, int milliseconds) {
  fd_set set;
  fd_set failed;
  FD_ZERO(&set);
  FD_ZERO(&failed);
  FD_SET(socket, &set);
  FD_SET(socket, &failed);
  timeval limit{milliseconds / 1000, (milliseconds % 1000) * 1000};
  return select(0, toWrite ? nullptr : &set, toWrite ? &set : nullptr, toWrite ? &failed : nullptr, &limit) >
         0;
}
#else
using Native = int;
constexpr int kSendFlags = MSG_NOSIGNAL;
void CloseNative(Native socket) {
  close(socket);
}
int LastError() {
  return errno;
}
bool IsWouldBlock(int error) {
  return error == EAGAIN || error == EINPROGRESS || error == EINTR;
}
void SetNonBlocking(Native socket) {
  int on = 1;
  ioctl(socket, FIONBIO, &on);
}
void Start() {}
bool WaitFor(Native socket, bool toWrite, int milliseconds) {
  pollfd entry{socket, static_cast<short>(toWrite ? POLLOUT : POLLIN), 0};
  return poll(&entry, 1, milliseconds) > 0;
}
#endif

Native ToNative(uintptr_t socket) {
  return static_cast<Native>(socket);
}

bool Failed(Native socket) {
  return static_cast<uintptr_t>(socket) == Connection::kNone || static_cast<intptr_t>(socket) < 0;
}

// The child programs of a test must not keep its connections open.
uintptr_t Adopt(Native socket) {
  if (Failed(socket)) return Connection::kNone;
#ifndef _WIN32
  fcntl(socket, F_SETFD, FD_CLOEXEC);
#endif
  SetNonBlocking(socket);
  return static_cast<uintptr_t>(socket);
}

sockaddr_in Address(uint16_t port, uint32_t host = INADDR_LOOPBACK) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(host);
  address.sin_port = htons(port);
  return address;
}

uint16_t PortOf(Native socket) {
  sockaddr_in address{};
  Length length = sizeof address;
  getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
  return ntohs(address.sin_port);
}

// Listens at the port, also where earlier connections are still in the system's memory; kNone when it is
// taken.
uintptr_t ListenAt(uint16_t port, uint32_t host, int backlog) {
  const Native created = socket(AF_INET, SOCK_STREAM, 0);
  if (Failed(created)) return Connection::kNone;
  const int on = 1;
  setsockopt(created, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&on), sizeof on);
  const sockaddr_in address = Address(port, host);
  if (bind(created, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
      listen(created, backlog) == 0)
    return Adopt(created);
  CloseNative(created);
  return Connection::kNone;
}

bool IsFree(uint16_t port) {
  const uintptr_t probe = ListenAt(port, INADDR_ANY, 1);
  if (probe == Connection::kNone) return false;
  CloseNative(ToNative(probe));
  return true;
}

// A range of ports that belongs to the process which listens at the first of them. tests/tool/ports.py takes
// its blocks in the same way; the servers of tests/support/servers_* stay below all blocks.
class PortBlock {
 public:
  PortBlock() {
    Start();
    for (uint32_t i = 0; i < kBlocks; ++i) {
      first_ = static_cast<uint16_t>(kFirst + (ProgramNumber() + i) % kBlocks * kPorts);
      if (ListenAt(first_, INADDR_ANY, 1) != Connection::kNone) return;
    }
    fprintf(stderr, "loopback: every block of ports is taken\n");
    abort();
  }

  uint16_t Take(int count) {
    const std::lock_guard lock(mutex_);
    for (int tried = 0; tried < 2 * kPorts; ++tried) {
      if (next_ + count > kPorts) next_ = 1;
      const auto port = static_cast<uint16_t>(first_ + next_);
      int free = 0;
      while (free < count && IsFree(static_cast<uint16_t>(port + free))) ++free;
      next_ += free == count ? count : free + 1;
      if (free == count) return port;
    }
    return 0;
  }

 private:
  static constexpr int kFirst = 10240;
  static constexpr int kPorts = 512;
  static constexpr uint32_t kBlocks = 44;  // up to 32767

  std::mutex mutex_;
  uint16_t first_ = 0;
  int next_ = 1;
};

PortBlock& OwnPorts() {
  static PortBlock block;
  return block;
}

int Left(Clock::time_point end) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

// Some Windows systems show a reset to the reader as a plain end; a write of nothing tells.
bool WasReset(Native socket) {
#ifdef _WIN32
  return send(socket, "", 0, 0) != 0 && WSAGetLastError() == WSAECONNRESET;
#else
  (void)socket;
  return false;
#endif
}

int PendingError(Native socket) {
  int error = 0;
  Length length = sizeof error;
  getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &length);
  return error;
}

bool HasFailed(Native socket) {
#ifdef _WIN32
  return PendingError(socket) != 0;
#else
  // A connection that was refused has nothing to read but its error; one that was made and reset since has
  // had a peer all the same, and its error belongs to the reader.
  sockaddr_in peer{};
  Length length = sizeof peer;
  const bool isConnected = getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &length) == 0;
  return !isConnected && PendingError(socket) == ECONNREFUSED;
#endif
}

void SetLinger(Native socket, bool on) {
  linger value{};
  value.l_onoff = on ? 1 : 0;
  setsockopt(socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&value), sizeof value);
}

}  // namespace

Connection::Connection(Connection&& other) noexcept : native_(other.Release()) {}

Connection& Connection::operator=(Connection&& other) noexcept {
  if (this != &other) {
    Close();
    native_ = other.Release();
  }
  return *this;
}

uintptr_t Connection::Release() {
  return std::exchange(native_, kNone);
}

uint16_t Connection::LocalPort() const {
  return PortOf(ToNative(native_));
}

bool Connection::Send(std::string_view bytes, int milliseconds) {
  auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (!bytes.empty()) {
    if (!IsOpen()) return false;
    const auto sent = send(ToNative(native_), bytes.data(),
                           bytes.size() > 1 << 20 ? 1 << 20 : static_cast<int>(bytes.size()), kSendFlags);
    if (sent > 0) {
      bytes.remove_prefix(static_cast<size_t>(sent));
      end = Clock::now() + std::chrono::milliseconds(milliseconds);
      continue;
    }
    if (!IsWouldBlock(LastError())) return false;
    if (Left(end) == 0) return false;
    WaitFor(ToNative(native_), true, Left(end));
  }
  return true;
}

bool Connection::SendUrgent(char byte) {
  return send(ToNative(native_), &byte, 1, kSendFlags | MSG_OOB) == 1;
}

Result Connection::ReceiveSome(std::string* bytes, size_t most, int milliseconds) {
  const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
  std::string room(most < 65536 ? most : 65536, '\0');
  for (;;) {
    if (!IsOpen()) return Result::Closed;
    const auto received = recv(ToNative(native_), room.data(), static_cast<int>(room.size()), 0);
    if (received > 0) {
      bytes->append(room.data(), static_cast<size_t>(received));
      return Result::Data;
    }
    if (received == 0) return WasReset(ToNative(native_)) ? Result::Reset : Result::Closed;
    if (!IsWouldBlock(LastError())) return Result::Reset;
    if (Left(end) == 0) return Result::Timeout;
    WaitFor(ToNative(native_), false, Left(end));
  }
}

Result Connection::ReceiveExactly(std::string* bytes, size_t count, int milliseconds) {
  const size_t wanted = bytes->size() + count;
  while (bytes->size() < wanted) {
    const Result result = ReceiveSome(bytes, wanted - bytes->size(), milliseconds);
    if (result != Result::Data) return result;
  }
  return Result::Data;
}

Result Connection::ReceiveAll(std::string* bytes, int milliseconds) {
  for (;;) {
    const Result result = ReceiveSome(bytes, 65536, milliseconds);
    if (result != Result::Data) return result;
  }
}

void Connection::SetReceiveBuffer(int bytes) {
  setsockopt(ToNative(native_), SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char*>(&bytes), sizeof bytes);
}

void Connection::SetSendBuffer(int bytes) {
  setsockopt(ToNative(native_), SOL_SOCKET, SO_SNDBUF, reinterpret_cast<const char*>(&bytes), sizeof bytes);
}

void Connection::SendAtOnce() {
  const int on = 1;
  setsockopt(ToNative(native_), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
}

void Connection::Finish() {
  if (IsOpen()) shutdown(ToNative(native_), 1);
}

void Connection::Close() {
  if (!IsOpen()) return;
  Finish();
  std::string unread;
  while (unread.size() < 1 << 20 && ReceiveSome(&unread, 65536, 0) == Result::Data) {
  }
  CloseNative(ToNative(Release()));
}

void Connection::Reset() {
  if (!IsOpen()) return;
  SetLinger(ToNative(native_), true);
  CloseNative(ToNative(Release()));
}

Listener::Listener(int backlog) {
  // Another thread of this process may come in between.
  for (int tried = 0; tried < 10 && !IsOpen(); ++tried) {
    port_ = OwnPorts().Take(1);
    native_ = ListenAt(port_, INADDR_LOOPBACK, backlog);
  }
}

Listener::Listener(Listener&& other) noexcept
    : native_(std::exchange(other.native_, Connection::kNone)), port_(other.port_) {}

Listener& Listener::operator=(Listener&& other) noexcept {
  if (this != &other) {
    Close();
    native_ = std::exchange(other.native_, Connection::kNone);
    port_ = other.port_;
  }
  return *this;
}

Connection Listener::Accept(int milliseconds) {
  if (!IsOpen()) return Connection();
  const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    const Native accepted = accept(ToNative(native_), nullptr, nullptr);
    if (!Failed(accepted)) return Connection(Adopt(accepted));
    if (Left(end) == 0) return Connection();
    WaitFor(ToNative(native_), false, Left(end));
  }
}

void Listener::Close() {
  if (IsOpen()) CloseNative(ToNative(std::exchange(native_, Connection::kNone)));
}

Connection Connect(uint16_t port, int milliseconds) {
  Start();
  Connection connection(Adopt(socket(AF_INET, SOCK_STREAM, 0)));
  if (!connection.IsOpen()) return connection;
  const Native native = ToNative(connection.native());
  const sockaddr_in address = Address(port);
  if (connect(native, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return connection;
  if (!IsWouldBlock(LastError()) || !WaitFor(native, true, milliseconds)) return Connection();
  // Asking for the error would take it from the first read, and a peer may already have reset.
  return HasFailed(native) ? Connection() : std::move(connection);
}

uint16_t UnusedPorts(int count) {
  return OwnPorts().Take(count);
}

uint16_t UnusedPort() {
  return UnusedPorts(1);
}

}  // namespace loopback
