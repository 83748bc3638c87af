/* Telnet: lines ended by CR LF over a stream, with an optional log. */
#ifndef QZ_TELNET_H
#define QZ_TELNET_H

#include "qz/sock.h"

QZ_BEGIN_C

typedef struct Telnet Telnet;

QZ_API Telnet* Telnet_Open(Stream* stream, Word userValue);
QZ_API ErrorCode Telnet_SetLog(Telnet* telnet, const char* fileName);
QZ_API ErrorCode Telnet_Log(Telnet* telnet, const char* format, ...) QZ_PRINTF(2, 3);
QZ_API Sock* Telnet_GetSocket(Telnet* telnet);
QZ_API ErrorCode Telnet_ReceiveLine(Telnet* telnet, uint32_t bufferSize, uint32_t* lengthOut, char* buffer);
QZ_API ErrorCode Telnet_PrintLine(Telnet* telnet, const char* format, ...) QZ_PRINTF(2, 3);
QZ_API ErrorCode Telnet_SendLine(Telnet* telnet, const char* text);
QZ_API void Telnet_Close(Telnet* telnet);
QZ_API void Telnet_Delete(Telnet* telnet);

QZ_END_C

#endif
