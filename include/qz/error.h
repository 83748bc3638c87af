/* Status codes, their texts, the translation of system error numbers, and the diagnostic channel.
 *
 * Nothing here allocates or needs OS_Init; every function may be called from any thread at any time. */
#ifndef QZ_ERROR_H
#define QZ_ERROR_H

#include "qz/types.h"

QZ_BEGIN_C

/* The values are fixed: callers compare against them. -6 is deliberately unassigned. */
enum Error {
  Error_System = -7,    /* a system or subsystem is not operational */
  Error_NoAccess = -5,  /* no access to a resource, file or network */
  Error_Invalid = -4,   /* invalid data, address or format */
  Error_NotFound = -3,  /* item, index, file or address not found */
  Error_NotInited = -2, /* the library or the object is not initialised */
  Error_Fail = -1,      /* generic failure; also a text lookup that finds nothing */
  Error_None = 0,       /* success */
  Error_Memory = 1,     /* out of memory */
  Error_Inited = 2,     /* already initialised */
  Error_Exists = 3,     /* already exists */
  Error_Ended = 4,      /* end of buffer, file or connection; not a failure */
  Error_Exceed = 5,     /* over the allowed size */
  Error_Block = 6,      /* the operation would block */
  Error_Cancel = 7,     /* interrupted */
  Error_Timeout = 8,    /* timed out */
  Error_Retry = 9       /* try again later */
};

/* Reports an unexpected fault in words: formats the message by printf rules and sends the line
 * "#### Error: <message>" and a newline to the debugger (Windows) or to standard error (elsewhere). A message
 * over 1010 bytes is cut there; a null format gives an empty message. Writes to no file. */
QZ_API void Error(const char* format, ...) QZ_PRINTF(1, 2);

/* Returns the short text of a status ("Not Found"), or "(no error string)" when it has none. The text is the
 * library's, constant, never freed. */
QZ_API const char* Error_ToString(ErrorCode code);

/* Returns the long text of a status ("NotFound: Item/index/..."), or "(no error string)". As above. */
QZ_API const char* Error_ToLongString(ErrorCode code);

/* Translates a file-system error number, as GetLastError numbers them, into a status; on every platform.
 * context, name: labels for the reader of the call; not used, may be null. */
QZ_API ErrorCode Error_FromSystem(const char* context, const char* name, uint32_t systemError);

/* Translates a socket error number, as WSAGetLastError numbers them, into a status; on every platform.
 * context, operation: labels; not used, may be null. 10093 (sockets not started) is also reported through
 * Error. */
QZ_API ErrorCode Error_FromSocket(const char* context, const char* operation, uint32_t socketError);

QZ_END_C

#endif
