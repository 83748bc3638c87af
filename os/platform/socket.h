// TCP sockets over IPv4 as the system has them. No call here waits, SocketWait and LookUpHost excepted; a
// call that fails leaves its reason to LastSocketError(). Any thread may call any of them.
#pragma once

#include <cstdint>

namespace platform {

using SocketDescriptor = uint32_t;
inline constexpr SocketDescriptor kNoSocket = 0xFFFFFFFFu;

// Addresses and ports stand here exactly as they go over the wire: the most significant byte first.
struct SocketAddress {
  uint8_t address[4];
  uint8_t port[2];
};

// What to wait for, and what was seen.
enum SocketEvents : uint32_t {
  SocketEvents_None = 0,
  SocketEvents_Read = 1,       // data, the peer's close, or an error that the next read reports
  SocketEvents_Write = 2,      // room to write, or an error that the next write reports
  SocketEvents_Exception = 4,  // urgent data, or a connection attempt that failed
  SocketEvents_Failed = 8,     // the wait itself failed; only as a result
};

// Options for SocketSetOption, in this system's numbers.
extern const int32_t kSocketLevel;
extern const int32_t kSocketReceiveBuffer;  // int32_t, bytes
extern const int32_t kSocketReuseAddress;   // int32_t, 1 or 0

enum class SocketStart { Started, Failed, WrongVersion };

// Start and stop the system's socket service; every start that gave Started needs one stop.
SocketStart StartSockets();
bool StopSockets();

// A TCP socket in blocking mode that child programs do not inherit; kNoSocket on failure.
SocketDescriptor SocketCreate();

// Lets unsent data go, and closes. True when the system closed the socket.
bool SocketCloseAbortively(SocketDescriptor socket);

bool SocketBind(SocketDescriptor socket, const SocketAddress& address);
bool SocketListen(SocketDescriptor socket, int32_t backlog);

// These two may wait when the socket is in blocking mode. The accepted socket is in blocking mode.
SocketDescriptor SocketAccept(SocketDescriptor socket);
bool SocketConnect(SocketDescriptor socket, const SocketAddress& address);

bool SocketShutdown(SocketDescriptor socket, int32_t how);
bool SocketLocalAddress(SocketDescriptor socket, SocketAddress* address);
bool SocketPeerAddress(SocketDescriptor socket, SocketAddress* address);

// Bytes received, at most `count`; 0 when the peer has closed, below 0 on failure. Does not wait, whatever
// the socket's mode: with nothing to read it fails with 10035.
int64_t SocketReceive(SocketDescriptor socket, uint32_t count, void* buffer);

// Bytes taken over for sending, below 0 on failure. Does not wait, whatever the socket's mode: with no room
// it fails with 10035. Gives no signal when the peer is gone. nonBlocking: the mode that the socket is in.
int64_t SocketSend(SocketDescriptor socket, uint32_t count, const void* buffer, bool nonBlocking);

// The number of bytes that can be read at once.
bool SocketPending(SocketDescriptor socket, uint32_t* count);

bool SocketSetNonBlocking(SocketDescriptor socket, bool nonBlocking);
bool SocketSetOption(SocketDescriptor socket, int32_t level, int32_t option, const void* value,
                     int32_t length);
bool SocketGetOption(SocketDescriptor socket, int32_t level, int32_t option, void* value, int32_t* length);

// The error that waits on the socket, numbered as LastSocketError numbers it, and 0 when there is none.
// Asking clears it.
uint32_t SocketPendingError(SocketDescriptor socket);

// Waits until one of `events` (Read, Write, Exception, combined) is seen, at most this long, and gives those
// seen; None when the time passed or the wait was interrupted. Descriptors of any size are waited for.
uint32_t SocketWait(SocketDescriptor socket, uint32_t events, uint32_t milliseconds);

// Reads an address in dotted form; false when the text is none, and for 255.255.255.255, which the system's
// reader cannot tell from a failure.
bool ParseHostAddress(const char* text, uint8_t* address);

// Asks the system for a host's first address. 0, or the error, numbered as LastSocketError numbers it.
uint32_t LookUpHost(const char* host, uint8_t* address);

}  // namespace platform
