// The socket record, and what the files of the family and its tests share.
//
// A descriptor is closed only while no operation is inside it. Every operation enters through SockUse;
// Sock_Close first makes the descriptor unreachable, then waits until the last operation has left, which each
// one does within one slice of its wait, and closes it only then. So no number is closed that another thread
// still hands to the system, where it could by then belong to another file.
#pragma once

#include <atomic>
#include <cstdint>

#include "os/platform/socket.h"
#include "qz/error.h"
#include "qz/sock.h"

// Requests smaller than this are served from bytes read ahead, so that a line read byte by byte costs one
// call to the system and not one a byte.
inline constexpr uint32_t kSockReadAheadBytes = 1024;

struct Sock {
  Stream stream;
  std::atomic<platform::SocketDescriptor> descriptor{platform::kNoSocket};
  std::atomic<ErrorCode> status{Error_None};
  std::atomic<uint32_t> operationsInside{0};
  std::atomic<bool> nonBlocking{false};   // what Sock_SetAsync asked for
  std::atomic<bool> isConnecting{false};  // an attempt was begun, and its end was not seen
  bool expectsData = false;               // the last read suggests that the next one need not wait
  uint32_t aheadStart = 0;                // first byte read ahead and not handed out
  std::atomic<uint32_t> aheadCount{0};    // how many there are
  uint8_t ahead[kSockReadAheadBytes];
};

// One operation's stay inside the socket.
class SockUse {
 public:
  explicit SockUse(Sock* sock) : sock_(sock) {
    sock->operationsInside.fetch_add(1);
    descriptor_ = sock->descriptor.load();
  }
  ~SockUse() { sock_->operationsInside.fetch_sub(1); }
  SockUse(const SockUse&) = delete;
  SockUse& operator=(const SockUse&) = delete;

  Sock* sock() const { return sock_; }
  // Stays valid for the system as long as the operation is inside; kNoSocket when it came too late.
  platform::SocketDescriptor descriptor() const { return descriptor_; }
  // False from the moment another thread closes the socket.
  bool isOpen() const { return sock_->descriptor.load() != platform::kNoSocket; }

 private:
  Sock* sock_;
  platform::SocketDescriptor descriptor_;
};

// Keeps a status as the record's last one, and returns it.
inline ErrorCode iSock_Store(Sock* sock, ErrorCode status) {
  sock->status.store(status);
  return status;
}

// Stores and returns the status of an operation: None, or the translation of the system's last socket error.
ErrorCode iSock_Conclude(Sock* sock, bool succeeded, const char* context);

extern const StreamOperations kSockOperations;

// A new record for an open descriptor, counted as alive; null when memory runs out.
Sock* iSock_NewRecord(platform::SocketDescriptor descriptor);

// The time limit of every wait of Connect, Accept, Read and Write: 61,000 milliseconds.
uint32_t iSock_GetWaitMilliseconds();

// The moment of platform::MonotonicMilliseconds() at which an answer that begins to come now and trickles in
// is given up: ten such waits ahead, 610 seconds.
uint64_t iSock_TrickleDeadlineMilliseconds();

// Another limit, for tests; 0 restores the usual one.
void iSock_SetWaitMilliseconds(uint32_t milliseconds);

// The address of a host given in dotted form or by name. Dials first when an entry is selected; that this
// failed shows in the look-up.
ErrorCode iSock_Resolve(const char* host, uint16_t port, platform::SocketAddress* address);

// The look-up by name, so that tests can answer it: 0 and four address bytes, or a socket error number. Null
// restores the system's.
using SockLookUp = uint32_t (*)(const char* host, uint8_t* address);
void iSock_SetLookUp(SockLookUp lookUp);

// Brings the selected dial-up connection up; None when there is nothing to do.
ErrorCode iSock_GuardRemoteAccess();

// Records alive, and how they are counted. Ended counts down, never below 0.
uint32_t iSock_CountLive();
void iSock_LiveStarted();
void iSock_LiveEnded();
void iSock_LiveForgotten();
