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

/* Translates a file-system error number, as GetLastError numbers them, into a status; on every platform. A
 * failure is recorded for Error_GetLast.
 * context, name: what failed, and on which file or key; in, copied into the record, may be null. */
QZ_API ErrorCode Error_FromSystem(const char* context, const char* name, uint32_t systemError);

/* Translates a socket error number, as WSAGetLastError numbers them, into a status; on every platform. A
 * failure is recorded for Error_GetLast; 10093 (sockets not started) is also reported through Error.
 * context, operation: what failed, and on which host or in which call; as above. */
QZ_API ErrorCode Error_FromSocket(const char* context, const char* operation, uint32_t socketError);

/* ---- additions ------------------------------------------------------------------------------------
 *
 * The last failure of each thread, in more detail than a status has room for. The library records failures of
 * the system; a success clears nothing, so look only after a function has failed, or call Error_ClearLast
 * before it. Error_Block and a look-up that finds nothing are not recorded. The record belongs to the thread
 * that the failure happened on, whoever started that thread. Nothing is allocated: the records of 256 threads
 * are kept, and a new thread's takes the place of the oldest. */

typedef struct ErrorDetail {
  ErrorCode status;      /* what the function gave, or would give */
  uint32_t systemNumber; /* as GetLastError or WSAGetLastError number it, on every platform; 0: none. The
                            highest bit is set in a number that has no equivalent there */
  uint32_t nativeNumber; /* the system's own number (errno on Linux); 0: none, or not known */
  char operation[64];    /* the function that failed ("File_Open"), cut to 63 bytes */
  char name[256];        /* the file, host or key, cut to 255 bytes; empty when there is none */
} ErrorDetail;

/* Gets the calling thread's last recorded failure.
 * detail: out; zeroed after a failure of this call.
 * Error_None; Error_NotFound when nothing is recorded; Error_Invalid for a null detail. */
QZ_API ErrorCode Error_GetLast(ErrorDetail* detail);

/* Forgets the calling thread's last failure. */
QZ_API void Error_ClearLast(void);

/* Writes the calling thread's last failure as a line for people, in the system's own words and without a line
 * end: File_Open "/x/y": No space left on device (28). Control characters are shown as "?". The number is the
 * system's own where it is known.
 * size: bytes of text, the terminator included; a longer line is cut. text: out; empty when nothing is
 * recorded.
 * Returns the length of the text; Error_Invalid for a null text or a size of 0. */
QZ_API int32_t Error_GetLastText(uint32_t size, char* text);

/* Receives a line of Error, with its newline. */
typedef void (*ErrorReporter)(const char* line);

/* Sets what receives every line of Error, on whatever thread it is reported, instead of the debugger or
 * standard error: a program with a display of its own writes it there, or drops it. reporter: must not call
 * Error; null for the system's channel again. From any thread. */
QZ_API void Error_SetReporter(ErrorReporter reporter);

QZ_END_C

#endif
