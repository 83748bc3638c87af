/* Sock: TCP sockets with bounded waits; a socket is a stream.
 *
 * A socket is made by Sock_NewCreate, Sock_Accept or one of the Open functions, used, and released by
 * Sock_Delete. It is a stream of type StreamType_Sock: a Sock* may be passed as a Stream*. Connect, Accept,
 * Read and Write wait at most 61 seconds at a time and then give Error_Timeout, so that a dead peer never
 * hangs a thread. Before a host is looked up, or a port bound or listened on, the dial-up entry selected by
 * Sock_SetRemoteAccess is connected.
 *
 * Needs OS_Init. Every call that returns a status also leaves it with the socket as its last status
 * (Sock_GetError), unless said otherwise; system errors are translated by Error_FromSocket. A null socket
 * and other nulls that are not allowed give Error_Invalid, which only Read and Write leave with the socket.
 * After Sock_Close every call that needs the connection gives Error_Cancel.
 *
 * Threads: any thread may use a socket, one thread at a time in each direction. Sock_Close from another
 * thread ends a wait with Error_Cancel within a second; Sock_Delete while another thread is inside a call is
 * not allowed.
 */
#ifndef QZ_SOCK_H
#define QZ_SOCK_H

#include "qz/stream.h"

QZ_BEGIN_C

typedef struct Sock Sock;

/* Kinds of receive buffer. */
enum SockBuffer {
  SockBuffer_System = 0, /* as the system makes it */
  SockBuffer_Small = 1,  /* 1024 bytes */
  SockBuffer_Large = 2   /* 4096 bytes; every other number means the same */
};

/* Makes a TCP socket, not bound and not connected; child programs do not inherit it.
 * sock: out, owned by the caller (free with Sock_Delete); null on failure.
 * Error_Memory, or the translated system error. */
QZ_API ErrorCode Sock_NewCreate(Sock** sock);

/* Binds to a local address.
 * host: dotted address or name; null for every address of this machine. port: host byte order, 0 for a free
 * one. Error_NotFound or Error_Retry when the name is not found, Error_Exists when the port is taken, ... */
QZ_API ErrorCode Sock_Bind(Sock* sock, const char* host, uint16_t port);

/* Listens for connections. backlog: how many may wait to be accepted; 0 means 5.
 * A failure to connect the selected dial-up entry is returned as it is. */
QZ_API ErrorCode Sock_Listen(Sock* sock, int32_t backlog);

/* Waits up to 61 seconds for a connection and accepts it. The new socket is in blocking mode.
 * sock: out, owned by the caller (free with Sock_Delete); null on failure.
 * Error_Timeout, Error_Cancel, Error_Block (non-blocking mode and nobody waits), Error_Memory (the connection
 * is closed then), ...; the status stays with the listener. */
QZ_API ErrorCode Sock_Accept(Sock* listener, Sock** sock);

/* Connects, within 61 seconds of finding the host.
 * host: dotted address or name (at most 255 bytes), not null. port: host byte order.
 * Error_NotFound or Error_Retry when the name is not found, Error_NoAccess when refused, Error_Invalid for
 * null and for a host at address 255.255.255.255, Error_Timeout, Error_Cancel; Error_Block in non-blocking
 * mode: the attempt goes on. Sock_SelectWrite then tells its end: the failure, or when connected the status
 * that the call before it left, which is Error_Block after this one. Read and Write wait for it. */
QZ_API ErrorCode Sock_Connect(Sock* sock, const char* host, uint16_t port);

/* Ends a direction of the connection. how: the system's number, 0 receiving, 1 sending, 2 both. */
QZ_API ErrorCode Sock_Shutdown(Sock* sock, int32_t how);

/* Copies the local address as it goes over the wire: the most significant byte first.
 * address: out, 4 bytes; port: out, 2 bytes; either may be null. Nothing is copied on failure. */
QZ_API ErrorCode Sock_GetSockName(Sock* sock, uint8_t* address, uint8_t* port);

/* The same for the peer. Always Error_None; without a peer the bytes are 0. */
QZ_API ErrorCode Sock_GetPeerName(Sock* sock, uint8_t* address, uint8_t* port);

/* Gives the number of bytes that a read gives without waiting. count: out; 0 on failure. */
QZ_API ErrorCode Sock_ReadAvail(Sock* sock, uint32_t* count);

/* Reads up to `count` bytes into `buffer` and returns their number; the status is Sock_GetError's. Waits up
 * to 61 seconds for the first byte, and returns early, with Error_None, when nothing more is pending: a short
 * read is normal. With fewer bytes than asked the status may be Error_Ended (the peer has closed),
 * Error_Timeout, Error_Cancel (closed here), Error_Retry (reset by the peer), ... Counts progress as
 * Stream_Read does. 0 for a null socket. */
QZ_API uint32_t Sock_Read(Sock* sock, uint32_t count, void* buffer);

/* Writes `count` bytes from `buffer` and returns how many the system took over; all of them, unless the
 * status (Sock_GetError) tells why not: Error_Timeout after 61 seconds without room, Error_Cancel,
 * Error_Retry (the peer is gone), ... Gives no signal. 0 for a null socket. */
QZ_API uint32_t Sock_Write(Sock* sock, uint32_t count, const void* buffer);

/* Wait until there is something to read (the peer's end included), or room to write, for at most so many
 * seconds and microseconds (a million and more carry over).
 * Error_Timeout when the time passed, Error_Cancel; otherwise the socket's last status, which is not cleared
 * first: an earlier failure is returned again although the socket is ready. */
QZ_API ErrorCode Sock_SelectRead(Sock* sock, uint32_t seconds, uint32_t microseconds);
QZ_API ErrorCode Sock_SelectWrite(Sock* sock, uint32_t seconds, uint32_t microseconds);

/* Turns non-blocking mode on (flag 1) or off (every other value). In this mode Accept and Connect give
 * Error_Block and do not wait; Read and Write wait as ever. */
QZ_API ErrorCode Sock_SetAsync(Sock* sock, int32_t flag);

/* Set and get an option of the system, with the system's own numbers for level and option.
 * value: in or out, not null; length: its bytes, for GetOpt the room on the way in and the size on the way
 * out. */
QZ_API ErrorCode Sock_SetOpt(Sock* sock, int32_t level, int32_t option, const void* value, int32_t length);
QZ_API ErrorCode Sock_GetOpt(Sock* sock, int32_t level, int32_t option, void* value, int32_t* length);

/* Not supported: always Error_Invalid, and nothing changes. */
QZ_API ErrorCode Sock_SetKeepAlive(Sock* sock, int32_t flag);

/* Returns the status of the last operation on the socket. */
QZ_API ErrorCode Sock_GetError(Sock* sock);

/* Returns the system's descriptor, 0xFFFFFFFF when closed. The library may hold bytes read ahead of it. */
QZ_API uint32_t Sock_GetDescriptor(Sock* sock);

/* Closes the connection at once: unsent bytes are dropped and the peer sees a reset. Waits until other
 * threads have left the socket (well below a second). The record stays until Sock_Delete; closing again does
 * nothing and gives Error_None. */
QZ_API ErrorCode Sock_Close(Sock* sock);

/* Closes and frees the socket, and hangs an idle dial-up connection up (Sock_CloseRemoteAccess). Returns the
 * status of the close. */
QZ_API ErrorCode Sock_Delete(Sock* sock);

/* Sets the size of the receive buffer; before connecting, to have an effect on the connection's window.
 * bufferKind: enum SockBuffer; SockBuffer_System changes nothing. bufferSize: bytes, 0 for the kind's own
 * size. out: out, the same socket. Returns the status of Sock_SetOpt. */
QZ_API ErrorCode Sock_NewBuffer(Sock* sock, uint32_t bufferKind, uint32_t bufferSize, Sock** out);

/* Makes a socket with the kind's receive buffer and connects it; statuses of the three calls.
 * sock: out, owned by the caller (free with Sock_Delete); null on failure. */
QZ_API ErrorCode Sock_OpenConnectBuffer(uint32_t bufferKind, const char* host, uint16_t port, Sock** sock);

/* Makes a socket that listens on a port of every address of this machine, with a backlog of 5; the port may
 * have been in use a moment ago. sock: as above. */
QZ_API ErrorCode Sock_OpenListen(uint16_t port, Sock** sock);

/* Sock_Accept, and the kind's receive buffer for the new socket. sock: as above. */
QZ_API ErrorCode Sock_AcceptBuffer(Sock* listener, uint32_t bufferKind, Sock** sock);

/* Selects the dial-up entry that sockets use from now on; null or "" selects none, and leaves a connection
 * that is up as it is. entry: copied. hangUpWhenIdle: not 0 to hang up, when the last socket is deleted, a
 * connection that was dialled here. Error_Invalid when there is no such entry or no dial-up service;
 * Error_Inited, and nothing changes, while sockets are alive over a connection that was dialled here and is
 * to be hung up. Not to be called while another thread makes sockets. */
QZ_API ErrorCode Sock_SetRemoteAccess(const char* entry, int32_t hangUpWhenIdle);

/* Hangs the connection up if it was dialled here, is to be hung up when idle, and no socket is alive. */
QZ_API void Sock_CloseRemoteAccess(void);

QZ_END_C

#endif
