// The socket record, and what the files of the family and its tests share.
//
// The system's sockets are non-blocking from their making to their end. Blocking mode is the library's own: a
// flag in the record, and waits in slices. So no thread is ever held inside the system by a mode that another
// thread set.
//
// A descriptor is closed only while no operation is inside it. Every operation enters through SockUse;
// Sock_Close first makes the descriptor unreachable, then waits until the last operation has left, at the end
// of its slice at the latest, and closes it only then. So no number is closed that another thread still hands
// to the system, where it could by then belong to another file.
#pragma once

#include <atomic>
#include <cstdint>

#include "os/platform/socket.h"
#include "qz/error.h"
#include "qz/sock.h"

// Bytes are read ahead into one of two buffers, so that many small reads cost few calls to the system:
// requests below kSockSmallRequestBytes go through the buffer in the record, into which the whole of a small
// response fits. While bytes come as fast as they are read, requests go through a large buffer, when there is
// one to be had.
inline constexpr uint32_t kSockSmallRequestBytes = 1024;
inline constexpr uint32_t kSockReadAheadBytes = 4096;

// A switch with which one thread ends the calls of another: while it is set, every call on a socket that was
// opened under it gives Error_Cancel, as after Sock_Close, and one that waits ends within 200 milliseconds.
// Looking a host name up alone is not ended, but what follows it. Whoever drives the sockets owns the switch;
// it outlives them and is cleared once they are deleted. Set may be called from any thread at any time.
class SockInterrupt {
 public:
  void Set() { isSet_.store(true); }
  void Clear() { isSet_.store(false); }
  bool IsSet() const { return isSet_.load(); }

 private:
  std::atomic<bool> isSet_{false};
};

struct Sock {
  Stream stream;
  std::atomic<platform::SocketDescriptor> descriptor{platform::kNoSocket};
  std::atomic<ErrorCode> status{Error_None};
  std::atomic<uint32_t> operationsInside{0};
  std::atomic<bool> nonBlocking{false};      // what Sock_SetAsync asked for
  std::atomic<bool> isConnecting{false};     // an attempt was begun, and its end was not seen
  std::atomic<uint32_t> errorTaken{0};       // why the connection failed, once the system has told it
  const SockInterrupt* interrupt = nullptr;  // borrowed; null: none. Set before the first wait
  bool expectsData = false;                  // the last read suggests that the next one need not wait
  const uint8_t* ahead = nullptr;            // the first byte read ahead and not handed out
  std::atomic<uint32_t> aheadCount{0};       // how many there are
  uint64_t bytesRead = 0;                    // handed out by reads since the record was made
  uint8_t* largeBuffer = nullptr;            // owned; null: none
  uint8_t smallBuffer[kSockReadAheadBytes];
};

// False from the moment another thread closes or interrupts the socket.
inline bool iSock_IsOpen(const Sock* sock) {
  if (sock->interrupt != nullptr && sock->interrupt->IsSet()) return false;
  return sock->descriptor.load() != platform::kNoSocket;
}

// The bytes that a read gives without asking the system: a part of what Sock_ReadAvail counts, which asks it.
inline uint32_t iSock_CountAhead(const Sock* sock) {
  return iSock_IsOpen(sock) ? sock->aheadCount.load() : 0;
}

// One operation's stay inside the socket.
class SockUse {
 public:
  explicit SockUse(Sock* sock) : sock_(sock) {
    // Calls on a closed socket are never counted: many of them would keep Sock_Close waiting.
    if (!isOpen()) return;
    sock->operationsInside.fetch_add(1);
    descriptor_ = sock->descriptor.load();
    // Closed in between.
    if (descriptor_ == platform::kNoSocket) sock->operationsInside.fetch_sub(1);
  }
  ~SockUse() {
    if (descriptor_ != platform::kNoSocket) sock_->operationsInside.fetch_sub(1);
  }
  SockUse(const SockUse&) = delete;
  SockUse& operator=(const SockUse&) = delete;

  Sock* sock() const { return sock_; }
  // Stays valid for the system as long as the operation is inside; kNoSocket when it came too late.
  platform::SocketDescriptor descriptor() const { return descriptor_; }
  bool isOpen() const { return iSock_IsOpen(sock_); }

 private:
  Sock* sock_;
  platform::SocketDescriptor descriptor_ = platform::kNoSocket;
};

// Keeps a status as the record's last one, and returns it.
inline ErrorCode iSock_StoreStatus(Sock* sock, ErrorCode status) {
  sock->status.store(status);
  return status;
}

// Stores and returns the status of an operation: None, or the translation of the system's last socket error.
ErrorCode iSock_StoreResult(Sock* sock, bool succeeded, const char* context);

extern const StreamOperations kSockOperations;

// Sock_OpenConnectBuffer for a socket under an interrupt, which may be null.
ErrorCode iSock_OpenConnect(uint32_t bufferKind, const char* host, uint16_t port,
                            const SockInterrupt* interrupt, Sock** sock);

// A new record for an open descriptor, counted as alive; null when memory runs out.
Sock* iSock_NewRecord(platform::SocketDescriptor descriptor);

// The time-out of every wait of Connect, Accept, Read and Write: that of Sock_SetTimeout.
uint32_t iSock_GetWaitMilliseconds();

// The moment of platform::MonotonicMilliseconds() at which a response that starts now and trickles in times
// out: ten such waits ahead, by default 610 seconds.
uint64_t iSock_TrickleDeadlineMilliseconds();

// The address of a host given in dotted form or by name. Dials first when an entry is selected; a failure of
// that shows in the look-up. The look-up takes as long as the system's: no time-out of the library ends it.
ErrorCode iSock_Resolve(const char* host, uint16_t port, platform::SocketAddress* address);

// Connects the selected dial-up entry; None when there is nothing to do.
ErrorCode iSock_EnsureDialUp();
// Whether Sock_SetRemoteAccess with these arguments would change nothing.
bool iSock_HasRemoteAccess(const char* entry, bool hangUpWhenIdle);

// Records alive, and how they are counted. Ended counts down, never below 0.
uint32_t iSock_CountLive();
void iSock_LiveStarted();
void iSock_LiveEnded();
void iSock_LiveForgotten();
