/* Proxy: the process-wide table that says whether a host is reached directly or through a proxy.
 *
 * The table is empty and switched off at start. Any thread may set and read it at any time; what belongs
 * together is set before connections begin, else one of them may go by the old host and the new bypass list.
 * Texts are copied. Needs no OS_Init; nothing blocks or allocates. */
#ifndef QZ_PROXY_H
#define QZ_PROXY_H

#include "qz/types.h"

QZ_BEGIN_C

/* Slots of the table. */
enum ProxyIndex { ProxyIndex_HTTP = 0, ProxyIndex_FTP = 1 };

/* Switches the whole table on (any other flag than 0) or off. */
QZ_API void Proxy_SetEnabled(int32_t flag);

/* Sets the proxy of a protocol. index: of enum ProxyIndex; any other is ignored. host: cut at 1023 bytes;
 * null or empty means no proxy. port: in host byte order. */
QZ_API void Proxy_SetServer(uint32_t index, const char* host, uint32_t port);

/* Sets the fragments of host names that are reached directly, separated by commas, semicolons, spaces, tabs
 * or newlines; there are no wildcards. text: cut at 1023 bytes; null empties the list. Returns the length
 * stored. */
QZ_API int32_t Proxy_SetBypassList(const char* text);

/* Says where to connect for a target. Returns 1, with the proxy's host and port in the outputs, when the
 * table is switched on, the slot has a host and the target is not bypassed; otherwise 0, with the target's
 * own. index: of enum ProxyIndex; any other gives 0. host: the target; null counts as empty. connectHost:
 * out, 1024 bytes, cut at 1023; may be host itself; null allowed. connectPort: out, null allowed. */
QZ_API int32_t Proxy_Resolve(uint32_t index, const char* host, uint32_t port, char* connectHost,
                             uint32_t* connectPort);

/* Returns 1 when the host contains one of the fragments of the bypass list anywhere, ignoring case; otherwise
 * 0, for a null host too. The switch does not matter. */
QZ_API int32_t Proxy_IsBypassed(const char* host);

QZ_END_C

#endif
