/* Sock: TCP sockets with bounded waits; a socket is a stream. */
#ifndef QZ_SOCK_H
#define QZ_SOCK_H

#include "qz/stream.h"

QZ_BEGIN_C

typedef struct Sock Sock;

/* Kinds of receive buffer. */
enum SockBuffer { SockBuffer_System = 0, SockBuffer_Small = 1, SockBuffer_Large = 2 };

QZ_API ErrorCode Sock_NewCreate(Sock** sock);
QZ_API ErrorCode Sock_Bind(Sock* sock, const char* host, uint16_t port);
QZ_API ErrorCode Sock_Listen(Sock* sock, int32_t backlog);
QZ_API ErrorCode Sock_Accept(Sock* listener, Sock** sock);
QZ_API ErrorCode Sock_Connect(Sock* sock, const char* host, uint16_t port);
QZ_API ErrorCode Sock_Shutdown(Sock* sock, int32_t how);
QZ_API ErrorCode Sock_GetSockName(Sock* sock, uint8_t* address, uint8_t* port);
QZ_API ErrorCode Sock_GetPeerName(Sock* sock, uint8_t* address, uint8_t* port);
QZ_API ErrorCode Sock_ReadAvail(Sock* sock, uint32_t* count);
QZ_API uint32_t Sock_Read(Sock* sock, uint32_t count, void* buffer);
QZ_API uint32_t Sock_Write(Sock* sock, uint32_t count, const void* buffer);
QZ_API ErrorCode Sock_SelectRead(Sock* sock, uint32_t seconds, uint32_t microseconds);
QZ_API ErrorCode Sock_SelectWrite(Sock* sock, uint32_t seconds, uint32_t microseconds);
QZ_API ErrorCode Sock_SetAsync(Sock* sock, int32_t flag);
QZ_API ErrorCode Sock_SetOpt(Sock* sock, int32_t level, int32_t option, const void* value, int32_t length);
QZ_API ErrorCode Sock_GetOpt(Sock* sock, int32_t level, int32_t option, void* value, int32_t* length);
QZ_API ErrorCode Sock_SetKeepAlive(Sock* sock, int32_t flag);
QZ_API ErrorCode Sock_GetError(Sock* sock);
QZ_API uint32_t Sock_GetDescriptor(Sock* sock);
QZ_API ErrorCode Sock_Close(Sock* sock);
QZ_API ErrorCode Sock_Delete(Sock* sock);
QZ_API ErrorCode Sock_NewBuffer(Sock* sock, uint32_t bufferKind, uint32_t bufferSize, Sock** out);
QZ_API ErrorCode Sock_OpenConnectBuffer(uint32_t bufferKind, const char* host, uint16_t port, Sock** sock);
QZ_API ErrorCode Sock_OpenListen(uint16_t port, Sock** sock);
QZ_API ErrorCode Sock_AcceptBuffer(Sock* listener, uint32_t bufferKind, Sock** sock);
QZ_API ErrorCode Sock_SetRemoteAccess(const char* entry, int32_t hangUpWhenIdle);
QZ_API void Sock_CloseRemoteAccess(void);

QZ_END_C

#endif
