// TCP sockets: making, naming, setting up and closing them. Waiting and moving bytes: sock_transfer.cpp.
#include "qz/sock.h"

#include <climits>
#include <cstring>
#include <new>

#include "net/sock_internal.h"
#include "net/sock_testing.h"
#include "os/core/error_internal.h"
#include "os/core/largebuffer_internal.h"
#include "os/core/owned.h"
#include "os/platform/clock.h"
#include "os/platform/error.h"
#include "qz/memory.h"

namespace {

constexpr int32_t kDefaultBacklog = 5;
constexpr uint32_t kSmallBufferBytes = 1024;
constexpr uint32_t kLargeBufferBytes = 4096;
constexpr uint32_t kLongestHostName = 255;

std::atomic<SockLookUp> lookUpHost{nullptr};

void SetPort(uint16_t port, platform::SocketAddress* address) {
  address->port[0] = static_cast<uint8_t>(port >> 8);
  address->port[1] = static_cast<uint8_t>(port & 0xFF);
}

// False for texts that are neither a name nor an address. The system is not asked for them: some take the
// empty one for an address, and others answer it with this machine.
bool CanBeHost(const char* text) {
  const size_t length = strlen(text);
  return length != 0 && length <= kLongestHostName;
}

bool LookUp(const char* host, uint8_t* address, uint32_t* error) {
  const SockLookUp replacement = lookUpHost.load();
  return replacement != nullptr ? replacement(host, address, error)
                                : platform::LookUpHost(host, address, error);
}

void CopyAddress(const platform::SocketAddress& from, uint8_t* address, uint8_t* port) {
  if (address != nullptr) memcpy(address, from.address, sizeof from.address);
  if (port != nullptr) memcpy(port, from.port, sizeof from.port);
}

void CloseQuietly(Sock* sock) {
  Sock_Delete(sock);
}

using OwnedSock = Owned<Sock, CloseQuietly>;

}  // namespace

ErrorCode iSock_StoreResult(Sock* sock, bool succeeded, const char* context) {
  if (succeeded) return iSock_StoreStatus(sock, Error_None);
  return iSock_StoreStatus(sock, iError_FromLastSocket(context, nullptr));
}

void iSock_SetLookUp(SockLookUp lookUp) {
  lookUpHost.store(lookUp);
}

ErrorCode iSock_Resolve(const char* host, uint16_t port, platform::SocketAddress* address) {
  iSock_EnsureDialUp();
  *address = {};
  SetPort(port, address);
  if (!CanBeHost(host)) return Error_FromSocket("Sock_Connect", host, platform::SocketError_HostNotFound);
  // Kept: 255.255.255.255 is looked up as a name, as the dotted parser gives all ones for it and for what it
  // cannot parse; a connection to it ends with Invalid.
  if (platform::ParseHostAddress(host, address->address)) return Error_None;
  uint32_t error = 0;
  if (LookUp(host, address->address, &error)) return Error_None;
  const ErrorCode status = Error_FromSocket("Sock_Connect", host, error);
  return status != Error_None ? status : iError_Record(Error_Invalid, "Sock_Connect", host);
}

Sock* iSock_NewRecord(platform::SocketDescriptor descriptor) {
  void* memory = Memory_New(sizeof(Sock));
  if (memory == nullptr) return nullptr;
  Sock* sock = new (memory) Sock;
  Stream_Init(StreamType_Sock, &kSockOperations, &sock->stream);
  sock->descriptor.store(descriptor);
  iSock_LiveStarted();
  return sock;
}

ErrorCode Sock_NewCreate(Sock** sock) {
  if (sock == nullptr) return Error_Invalid;
  *sock = nullptr;
  OwnedSock created(iSock_NewRecord(platform::kNoSocket));
  if (!created) return Error_Memory;
  created->descriptor.store(platform::SocketCreate());
  if (created->descriptor.load() == platform::kNoSocket) {
    return iError_FromLastSocket("Sock_NewCreate", nullptr);
  }
  *sock = created.release();
  return Error_None;
}

ErrorCode Sock_Bind(Sock* sock, const char* host, uint16_t port) {
  if (sock == nullptr) return Error_Invalid;
  platform::SocketAddress address{};
  SetPort(port, &address);
  if (host == nullptr) {
    iSock_EnsureDialUp();
  } else if (ErrorCode status = iSock_Resolve(host, port, &address); status != Error_None) {
    return iSock_StoreStatus(sock, status);
  }
  SockUse use(sock);
  return iSock_StoreResult(sock, platform::SocketBind(use.descriptor(), address), "Sock_Bind");
}

ErrorCode Sock_Listen(Sock* sock, int32_t backlog) {
  if (sock == nullptr) return Error_Invalid;
  if (ErrorCode status = iSock_EnsureDialUp(); status != Error_None) return iSock_StoreStatus(sock, status);
  SockUse use(sock);
  const int32_t waiting = backlog != 0 ? backlog : kDefaultBacklog;
  return iSock_StoreResult(sock, platform::SocketListen(use.descriptor(), waiting), "Sock_Listen");
}

ErrorCode Sock_Shutdown(Sock* sock, int32_t how) {
  if (sock == nullptr) return Error_Invalid;
  SockUse use(sock);
  return iSock_StoreResult(sock, platform::SocketShutdown(use.descriptor(), how), "Sock_Shutdown");
}

ErrorCode Sock_GetSockName(Sock* sock, uint8_t* address, uint8_t* port) {
  if (sock == nullptr) return Error_Invalid;
  SockUse use(sock);
  platform::SocketAddress name{};
  const bool known = platform::SocketLocalAddress(use.descriptor(), &name);
  if (known) CopyAddress(name, address, port);
  return iSock_StoreResult(sock, known, "Sock_GetSockName");
}

// Kept: a failure is translated and then forgotten; callers ask unconnected sockets and count on None.
ErrorCode Sock_GetPeerName(Sock* sock, uint8_t* address, uint8_t* port) {
  if (sock == nullptr) return Error_Invalid;
  SockUse use(sock);
  platform::SocketAddress name{};
  if (!platform::SocketPeerAddress(use.descriptor(), &name))
    iSock_StoreResult(sock, false, "Sock_GetPeerName");
  CopyAddress(name, address, port);
  return iSock_StoreStatus(sock, Error_None);
}

ErrorCode Sock_ReadAvail(Sock* sock, uint32_t* count) {
  if (count != nullptr) *count = 0;
  if (sock == nullptr || count == nullptr) return Error_Invalid;
  SockUse use(sock);
  uint32_t pending = 0;
  const bool known = platform::SocketPending(use.descriptor(), &pending);
  if (known) *count = pending + sock->aheadCount.load();
  return iSock_StoreResult(sock, known, "Sock_ReadAvail");
}

uint32_t Sock_Read(Sock* sock, uint32_t count, void* buffer) {
  return sock != nullptr ? Stream_Read(&sock->stream, count, buffer) : 0;
}

uint32_t Sock_Write(Sock* sock, uint32_t count, const void* buffer) {
  return sock != nullptr ? Stream_Write(&sock->stream, count, buffer) : 0;
}

// Only the library's own mode: the system's sockets never block.
// Kept: every value but 1 turns the mode off, and a failure is labelled as Sock_ReadAvail's.
ErrorCode Sock_SetAsync(Sock* sock, int32_t flag) {
  if (sock == nullptr) return Error_Invalid;
  SockUse use(sock);
  if (!use.isOpen())
    return iSock_StoreStatus(sock,
                             Error_FromSocket("Sock_ReadAvail", nullptr, platform::SocketError_NotSocket));
  sock->nonBlocking.store(flag == 1);
  return iSock_StoreStatus(sock, Error_None);
}

ErrorCode Sock_SetOpt(Sock* sock, int32_t level, int32_t option, const void* value, int32_t length) {
  if (sock == nullptr || value == nullptr || length < 0) return Error_Invalid;
  SockUse use(sock);
  const bool set = platform::SocketSetOption(use.descriptor(), level, option, value, length);
  return iSock_StoreResult(sock, set, "Sock_SetOpt");
}

ErrorCode Sock_GetOpt(Sock* sock, int32_t level, int32_t option, void* value, int32_t* length) {
  if (sock == nullptr || value == nullptr || length == nullptr || *length < 0) return Error_Invalid;
  SockUse use(sock);
  const bool got = platform::SocketGetOption(use.descriptor(), level, option, value, length);
  return iSock_StoreResult(sock, got, "Sock_GetOpt");
}

// Kept: not supported; callers do without it.
ErrorCode Sock_SetKeepAlive(Sock* /*sock*/, int32_t /*flag*/) {
  return Error_Invalid;
}

ErrorCode Sock_GetError(Sock* sock) {
  return sock != nullptr ? sock->status.load() : Error_Invalid;
}

uint32_t Sock_GetDescriptor(Sock* sock) {
  return sock != nullptr ? sock->descriptor.load() : platform::kNoSocket;
}

// Kept: the close is abortive and drops unsent bytes; an upload drains the connection first.
ErrorCode Sock_Close(Sock* sock) {
  if (sock == nullptr) return Error_Invalid;
  sock->status.store(Error_None);
  const platform::SocketDescriptor descriptor = sock->descriptor.exchange(platform::kNoSocket);
  if (descriptor == platform::kNoSocket) return Error_None;
  while (sock->operationsInside.load() != 0) platform::SleepMilliseconds(1);
  if (platform::SocketCloseAbortively(descriptor)) return Error_None;
  return iSock_StoreResult(sock, false, "closesocket");
}

ErrorCode Sock_Delete(Sock* sock) {
  if (sock == nullptr) return Error_Invalid;
  const ErrorCode status = Sock_Close(sock);
  iLargeBuffer_GiveBack(sock->largeBuffer);
  sock->~Sock();
  Memory_Delete(sock);
  iSock_LiveEnded();
  Sock_CloseRemoteAccess();
  return status;
}

ErrorCode Sock_NewBuffer(Sock* sock, uint32_t bufferKind, uint32_t bufferSize, Sock** out) {
  if (out != nullptr) *out = nullptr;
  if (sock == nullptr || out == nullptr) return Error_Invalid;
  *out = sock;
  if (bufferKind == SockBuffer_System) return Error_None;
  const uint32_t usualSize = bufferKind == SockBuffer_Small ? kSmallBufferBytes : kLargeBufferBytes;
  const uint32_t wanted = bufferSize != 0 ? bufferSize : usualSize;
  const auto size = static_cast<int32_t>(wanted < INT32_MAX ? wanted : INT32_MAX);
  return Sock_SetOpt(sock, platform::kSocketLevel, platform::kSocketReceiveBuffer, &size, sizeof size);
}

ErrorCode iSock_OpenConnect(uint32_t bufferKind, const char* host, uint16_t port,
                            const SockInterrupt* interrupt, Sock** sock) {
  if (sock == nullptr) return Error_Invalid;
  *sock = nullptr;
  OwnedSock opened;
  if (ErrorCode status = Sock_NewCreate(opened.out()); status != Error_None) return status;
  opened->interrupt = interrupt;
  Sock* buffered = nullptr;
  if (ErrorCode status = Sock_NewBuffer(opened.get(), bufferKind, 0, &buffered); status != Error_None)
    return status;
  if (ErrorCode status = Sock_Connect(opened.get(), host, port); status != Error_None) return status;
  *sock = opened.release();
  return Error_None;
}

ErrorCode Sock_OpenConnectBuffer(uint32_t bufferKind, const char* host, uint16_t port, Sock** sock) {
  return iSock_OpenConnect(bufferKind, host, port, nullptr, sock);
}

ErrorCode Sock_OpenListen(uint16_t port, Sock** sock) {
  if (sock == nullptr) return Error_Invalid;
  *sock = nullptr;
  OwnedSock opened;
  if (ErrorCode status = Sock_NewCreate(opened.out()); status != Error_None) return status;
  const int32_t reuse = 1;
  if (ErrorCode status = Sock_SetOpt(opened.get(), platform::kSocketLevel, platform::kSocketReuseAddress,
                                     &reuse, sizeof reuse);
      status != Error_None) {
    return status;
  }
  if (ErrorCode status = Sock_Bind(opened.get(), nullptr, port); status != Error_None) return status;
  if (ErrorCode status = Sock_Listen(opened.get(), kDefaultBacklog); status != Error_None) return status;
  *sock = opened.release();
  return Error_None;
}

ErrorCode Sock_AcceptBuffer(Sock* listener, uint32_t bufferKind, Sock** sock) {
  if (sock != nullptr) *sock = nullptr;
  if (listener == nullptr || sock == nullptr) return Error_Invalid;
  OwnedSock accepted;
  if (ErrorCode status = Sock_Accept(listener, accepted.out()); status != Error_None) return status;
  Sock* buffered = nullptr;
  if (ErrorCode status = Sock_NewBuffer(accepted.get(), bufferKind, 0, &buffered); status != Error_None)
    return status;
  *sock = accepted.release();
  return Error_None;
}

void Sock_ClearError(Sock* sock) {
  if (sock != nullptr) iSock_StoreStatus(sock, Error_None);
}
