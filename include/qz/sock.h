/* Sock: TCP sockets over IPv4; every wait has a time-out, and a socket is a stream.
 *
 * Sock_NewCreate, Sock_Accept and the Open functions make a socket; Sock_Delete frees it. It is a stream of
 * type StreamType_Sock: a Sock* may be passed as a Stream*. Connect, Accept, Read and Write give
 * Error_Timeout after 61 seconds without progress, so a dead peer never hangs a thread. Looking a host name
 * up is the exception: it takes as long as the system's resolver does, and no time-out or Sock_Close ends it.
 * Before a host is looked up, or a port bound or listened on, the dial-up entry selected by
 * Sock_SetRemoteAccess is connected.
 *
 * Needs OS_Init. Every call that returns a status also stores it as the socket's last status (Sock_GetError),
 * unless said otherwise; Error_FromSocket translates system errors. A null socket, and any other null that is
 * not allowed, gives Error_Invalid, which only Read and Write store. After Sock_Close every call that needs
 * the connection gives Error_Cancel.
 *
 * Threads: any thread may use a socket. One thread at a time may read it, and one may write it; any number
 * may accept on one listener. Sock_Close from another thread ends a wait with Error_Cancel within a second.
 * Do not call Sock_Delete while another thread is inside a call.
 */
#ifndef QZ_SOCK_H
#define QZ_SOCK_H

#include "qz/stream.h"

QZ_BEGIN_C

typedef struct Sock Sock;

/* Kinds of receive buffer. */
enum SockBuffer {
  SockBuffer_System = 0, /* the system's own, which it tunes to the connection */
  SockBuffer_Small = 1,  /* 1024 bytes */
  SockBuffer_Large = 2   /* 4096 bytes; every other number means the same */
};

/* Creates a TCP socket, not bound and not connected; child programs do not inherit it.
 * sock: out, owned by the caller (free with Sock_Delete); null on failure.
 * Error_Memory, or the translated system error. */
QZ_API ErrorCode Sock_NewCreate(Sock** sock);

/* Binds to a local address.
 * host: dotted address or name; null for every address of this machine. port: host byte order, 0 for a free
 * one. Error_NotFound, Error_Retry or Error_Invalid when the name cannot be resolved (see Sock_Connect),
 * Error_Exists when the port is in use, ... */
QZ_API ErrorCode Sock_Bind(Sock* sock, const char* host, uint16_t port);

/* Listens for connections. backlog: how many may wait to be accepted; 0 means 5.
 * Returns a failure to connect the selected dial-up entry as it is. */
QZ_API ErrorCode Sock_Listen(Sock* sock, int32_t backlog);

/* Waits up to 61 seconds for a connection and accepts it. The new socket is in blocking mode.
 * sock: out, owned by the caller (free with Sock_Delete); null on failure.
 * Error_Timeout, also when other threads accepted every connection meanwhile; Error_Cancel; Error_Block in
 * non-blocking mode when no connection waits; Error_Memory, and the connection is closed; ... The status is
 * stored in the listener. */
QZ_API ErrorCode Sock_Accept(Sock* listener, Sock** sock);

/* Resolves the host and connects. The connection has a time-out of 61 seconds; the look-up has none.
 * host: dotted address or name, not null. port: host byte order.
 * Error_NotFound when the name does not exist, is empty or is longer than 255 bytes (the latter two are not
 * looked up), Error_Retry when the resolver has no answer now, Error_Invalid when it fails without a reason;
 * Error_NoAccess when the connection is refused; Error_Invalid for null and for a host at address
 * 255.255.255.255; Error_Timeout; Error_Cancel. Error_Block in non-blocking mode: the attempt is under way.
 * Sock_SelectWrite and Sock_SelectRead then report its failure; once connected, Sock_SelectWrite returns the
 * status of the call before, which is Error_Block after this one. Read and Write wait for the connection. */
QZ_API ErrorCode Sock_Connect(Sock* sock, const char* host, uint16_t port);

/* Shuts a direction of the connection down. how: enum SockShutdown. */
QZ_API ErrorCode Sock_Shutdown(Sock* sock, int32_t how);

/* Copies the local address in network byte order.
 * address: out, 4 bytes; port: out, 2 bytes; either may be null. Copies nothing on failure. */
QZ_API ErrorCode Sock_GetSockName(Sock* sock, uint8_t* address, uint8_t* port);

/* The same for the peer. Always Error_None; the bytes are 0 without a peer. */
QZ_API ErrorCode Sock_GetPeerName(Sock* sock, uint8_t* address, uint8_t* port);

/* Gives the number of bytes that can be read without waiting. count: out; 0 on failure. */
QZ_API ErrorCode Sock_ReadAvail(Sock* sock, uint32_t* count);

/* Reads up to `count` bytes into `buffer` and returns their number; Sock_GetError gives the status. Waits up
 * to 61 seconds for the first byte, and returns early, with Error_None, when nothing more is pending: a short
 * read is normal. With fewer bytes than asked the status may be Error_Ended (the peer closed the connection),
 * Error_Timeout, Error_Cancel (closed here), Error_Retry (reset by the peer), ... Counts progress as
 * Stream_Read does. 0 for a null socket. */
QZ_API uint32_t Sock_Read(Sock* sock, uint32_t count, void* buffer);

/* Writes `count` bytes from `buffer` and returns how many the system accepted: all of them, unless the status
 * (Sock_GetError) tells why not: Error_Timeout after 61 seconds in which the system accepted none,
 * Error_Cancel, Error_Retry (the connection is lost), ... Never raises SIGPIPE. 0 for a null socket. */
QZ_API uint32_t Sock_Write(Sock* sock, uint32_t count, const void* buffer);

/* Wait until there are bytes to read (or the peer closed the connection), or space in the send buffer, for at
 * most so many seconds and microseconds (a million and more carry over). Error_Timeout; Error_Cancel; the
 * failure of a connection attempt in non-blocking mode. Otherwise the socket's last status, which is not
 * cleared first: an earlier failure is returned again although the socket is ready (Sock_ClearError forgets
 * it). */
QZ_API ErrorCode Sock_SelectRead(Sock* sock, uint32_t seconds, uint32_t microseconds);
QZ_API ErrorCode Sock_SelectWrite(Sock* sock, uint32_t seconds, uint32_t microseconds);

/* Turns non-blocking mode on (flag 1) or off (every other value). In this mode Accept and Connect return
 * Error_Block instead of waiting; Read and Write still block. Any thread may change the mode at any time. */
QZ_API ErrorCode Sock_SetAsync(Sock* sock, int32_t flag);

/* Set and get a socket option, with the system's own numbers for level and option.
 * value: in or out, not null; length: its size in bytes, for GetOpt the buffer's on input and the value's on
 * output. */
QZ_API ErrorCode Sock_SetOpt(Sock* sock, int32_t level, int32_t option, const void* value, int32_t length);
QZ_API ErrorCode Sock_GetOpt(Sock* sock, int32_t level, int32_t option, void* value, int32_t* length);

/* Not supported: always Error_Invalid; changes nothing, the last status included. */
QZ_API ErrorCode Sock_SetKeepAlive(Sock* sock, int32_t flag);

/* Returns the status of the last operation on the socket. */
QZ_API ErrorCode Sock_GetError(Sock* sock);

/* Returns the system's descriptor, 0xFFFFFFFF when closed. It is non-blocking in either mode and must stay
 * so. The library may hold bytes that it read ahead. */
QZ_API uint32_t Sock_GetDescriptor(Sock* sock);

/* Closes the connection at once: unsent bytes are dropped and the peer sees a reset. Waits until other
 * threads have left the socket (well below a second). The socket stays allocated until Sock_Delete; closing
 * it again does nothing and gives Error_None. */
QZ_API ErrorCode Sock_Close(Sock* sock);

/* Closes and frees the socket, then hangs up an idle dial-up connection (Sock_CloseRemoteAccess). Returns the
 * status of the close. */
QZ_API ErrorCode Sock_Delete(Sock* sock);

/* Sets the size of the socket's receive buffer. In spite of its name it makes no new socket and no new
 * buffer: `out` is the socket that was passed. Call it before connecting; later it does not change the
 * connection's window. Any explicit size turns off the system's tuning of the buffer. bufferKind: enum
 * SockBuffer; SockBuffer_System changes nothing. bufferSize: bytes, 0 for the kind's own size. out: out,
 * `sock` also when setting the size fails. Returns the status of Sock_SetOpt. */
QZ_API ErrorCode Sock_NewBuffer(Sock* sock, uint32_t bufferKind, uint32_t bufferSize, Sock** out);

/* Creates a socket, sets the kind's receive buffer and connects; statuses of the three calls.
 * sock: out, owned by the caller (free with Sock_Delete); null on failure. */
QZ_API ErrorCode Sock_OpenConnectBuffer(uint32_t bufferKind, const char* host, uint16_t port, Sock** sock);

/* Creates a socket that listens on a port of every address of this machine, with a backlog of 5. Connections
 * of an earlier listener that are still closing do not keep the port. sock: as above. */
QZ_API ErrorCode Sock_OpenListen(uint16_t port, Sock** sock);

/* Sock_Accept, then the kind's receive buffer for the new socket. sock: as above. */
QZ_API ErrorCode Sock_AcceptBuffer(Sock* listener, uint32_t bufferKind, Sock** sock);

/* Selects the dial-up entry that sockets use from now on; null or "" selects none, and leaves a connection as
 * it is. entry: copied. hangUpWhenIdle: not 0 to hang up, when the last socket is deleted, a connection that
 * the library dialled for this entry. Error_Invalid when there is no such entry or no dial-up service;
 * Error_Inited, and nothing changes, while sockets are alive and the library dialled the connection and is to
 * hang it up. Any thread; a socket that is being connected meanwhile may use the old selection. */
QZ_API ErrorCode Sock_SetRemoteAccess(const char* entry, int32_t hangUpWhenIdle);

/* Hangs up the connection if the library dialled it, is to hang it up when idle, and no socket is alive. */
QZ_API void Sock_CloseRemoteAccess(void);

/* ---- Additions ---------------------------------------------------------------------------------------- */

/* The directions of Sock_Shutdown; the system's numbers. */
enum SockShutdown {
  SockShutdown_Receive = 0,
  SockShutdown_Send = 1, /* the peer sees the end of the stream */
  SockShutdown_Both = 2
};

/* Sets the socket's last status to Error_None, so that the next Sock_SelectRead or Sock_SelectWrite tells
 * only what happens from now on. Nothing happens for null. */
QZ_API void Sock_ClearError(Sock* sock);

/* Sets the time-out of every wait of Connect, Accept, Read and Write that begins from now on, of all sockets
 * of the process, those inside FTP and HTTP connections among them. What these say of 61 seconds is this
 * time then, what they say of 610 seconds ten times it; Sock_SelectRead and Sock_SelectWrite keep the time
 * that they are given. milliseconds: 0 for the usual 61,000. Any thread may call it at any time, also before
 * OS_Init; it stays over OS_Exit. */
QZ_API void Sock_SetTimeout(uint32_t milliseconds);

QZ_END_C

#endif
