/* Proxy: the process-wide table that says whether a host is reached directly or through a proxy. */
#ifndef QZ_PROXY_H
#define QZ_PROXY_H

#include "qz/types.h"

QZ_BEGIN_C

/* Slots of the table. */
enum ProxyIndex { ProxyIndex_HTTP = 0, ProxyIndex_FTP = 1 };

QZ_API void Proxy_SetEnabled(int32_t flag);
QZ_API void Proxy_SetServer(uint32_t index, const char* host, uint32_t port);
QZ_API int32_t Proxy_SetBypassList(const char* text);
QZ_API int32_t Proxy_Resolve(uint32_t index, const char* host, uint32_t port, char* connectHost,
                             uint32_t* connectPort);
QZ_API int32_t Proxy_IsBypassed(const char* host);

QZ_END_C

#endif
