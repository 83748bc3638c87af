// TCP sockets over IPv4 as the system has them. Every socket is non-blocking, so only SocketWait and
// LookUpHost wait: what cannot be done at once fails with 10035. A call that fails leaves its reason to
// LastSocketError(). Any thread may call any of them.
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
  SocketEvents_Write = 2,      // space in the send buffer, or an error that the next write reports
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

// A TCP socket that child programs do not inherit; kNoSocket on failure.
SocketDescriptor SocketCreate();

// Drops unsent data and closes. True when the system closed the socket.
bool SocketCloseAbortively(SocketDescriptor socket);

bool SocketBind(SocketDescriptor socket, const SocketAddress& address);
bool SocketListen(SocketDescriptor socket, int32_t backlog);

// The next connection that waits at a listener, as a socket that child programs do not inherit; kNoSocket on
// failure, with 10035 when none waits.
SocketDescriptor SocketAccept(SocketDescriptor socket);

// Starts to connect. True when connected already; with 10035 the attempt is under way.
bool SocketConnect(SocketDescriptor socket, const SocketAddress& address);

bool SocketShutdown(SocketDescriptor socket, int32_t how);
bool SocketLocalAddress(SocketDescriptor socket, SocketAddress* address);
bool SocketPeerAddress(SocketDescriptor socket, SocketAddress* address);

// Bytes received, at most `count`; 0 when the peer has closed, below 0 on failure.
int64_t SocketReceive(SocketDescriptor socket, uint32_t count, void* buffer);

// Bytes accepted for sending, below 0 on failure. Never raises SIGPIPE.
int64_t SocketSend(SocketDescriptor socket, uint32_t count, const void* buffer);

// After a SocketReceive or SocketSend that failed: true when LastSocketError() is why the connection failed,
// and the system will not tell it again, but show a plain end to the next receive. Never after the peer's own
// close: what it sent is whole then.
bool IsErrorToldOnce();

// The number of bytes that can be read at once.
bool SocketPending(SocketDescriptor socket, uint32_t* count);

bool SocketSetOption(SocketDescriptor socket, int32_t level, int32_t option, const void* value,
                     int32_t length);
bool SocketGetOption(SocketDescriptor socket, int32_t level, int32_t option, void* value, int32_t* length);

// The socket's pending error, numbered as LastSocketError numbers it; 0 when there is none. Asking clears it.
uint32_t SocketPendingError(SocketDescriptor socket);

// Waits until one of `events` (Read, Write, Exception, combined) is seen, at most this long, and gives those
// seen; None when the time passed or a signal interrupted the wait. Takes descriptors of any size.
uint32_t SocketWait(SocketDescriptor socket, uint32_t events, uint32_t milliseconds);

// Parses an address in dotted form; false for any other text, and for 255.255.255.255, which the system's
// parser cannot tell from a failure.
bool ParseHostAddress(const char* text, uint8_t* address);

// Asks the system for a host's first address, and waits as long as the system does. False when there is none;
// *error is then numbered as LastSocketError numbers it, 0 when the system gave no reason.
bool LookUpHost(const char* host, uint8_t* address, uint32_t* error);

}  // namespace platform
