/* Stream: the common byte stream of the library.
 *
 * Every concrete stream (file, socket, memory, read buffer, size counter) begins with the header below and
 * is used through these functions, which dispatch through the type's operation table. A stream is created by
 * its type's own function and ends with Stream_Delete. A call blocks only where the concrete type does. One
 * thread uses a stream at a time. */
#ifndef QZ_STREAM_H
#define QZ_STREAM_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct Stream Stream;

/* Type codes: four characters, the first one most significant. */
#define StreamType_File 0x66696C65u       /* "file" */
#define StreamType_Sock 0x736F636Bu       /* "sock" */
#define StreamType_Memory 0x6D6D7374u     /* "mmst" */
#define StreamType_ReadBuffer 0x62667373u /* "bfss" */
#define StreamType_Size 0x737A7374u       /* "szst" */

/* The six operations of a stream type. Every slot but Read and Write may be null. The order is part of the
 * interface. */
typedef struct StreamOperations {
  ErrorCode (*Delete)(Stream* stream);                                   /* frees the record */
  uint32_t (*Read)(Stream* stream, uint32_t count, void* buffer);        /* bytes read; 0 at end or error */
  uint32_t (*ReadAvail)(Stream* stream);                                 /* bytes readable at once */
  uint32_t (*Write)(Stream* stream, uint32_t count, const void* buffer); /* bytes written */
  ErrorCode (*Error)(Stream* stream);                                    /* status of the last failure */
  Stream* (*FindType)(Stream* stream, uint32_t type);                    /* the wrapped stream of a type */
} StreamOperations;

/* Called with the position of the report and the expected total, both in bytes. It may change the stream's
 * progress settings, and must not delete the stream. */
typedef void (*StreamProgressMethod)(void* context, uint32_t position, uint32_t total);

/* The header; a concrete type's own fields follow it in the same allocation. */
struct Stream {
  const StreamOperations* operations; /* shared by all streams of the type, never owned */
  uint32_t type;
  StreamProgressMethod progressMethod; /* null: no reporting */
  void* progressContext;
  uint32_t progressSteps;    /* reports over the whole total; 0: no reporting */
  uint32_t progressPosition; /* bytes counted so far */
  uint32_t progressTotal;    /* bytes expected; 0: no reporting */
};

/* Fills a header for the constructor of a stream type: stores the table (borrowed, must outlive the stream)
 * and the type code, and clears the five progress fields. stream: null does nothing. */
QZ_API void Stream_Init(uint32_t type, const StreamOperations* operations, Stream* stream);

/* Sets the progress callback. The name misleads: the method is not called while the stream is idle, but from
 * within Stream_Read and Stream_Write, when their bytes cross a step boundary; a stream that waits for the
 * network calls nothing. steps: reports over the whole total, 0 for none. method: null for none. context:
 * passed back to the method unchanged. stream: null does nothing. Reports come only while a total is set
 * (Stream_SetProgress); more steps than bytes give several reports a byte. */
QZ_API void Stream_SetIdleMethod(Stream* stream, uint32_t steps, StreamProgressMethod method, void* context);

/* Sets the progress position and total, in bytes: the smaller of a and b becomes the position, the larger the
 * total, whatever their order. stream: null does nothing. */
QZ_API void Stream_SetProgress(Stream* stream, uint32_t a, uint32_t b);

/* Writes count bytes from buffer (borrowed) and returns how many were written; fewer mean a failure that
 * Stream_Error names. Returns 0 for a null stream. While a method, steps and a total are set, the position
 * advances by the result, the total grows to it if need be, and the method is called once for every step
 * boundary that was crossed, with the start of the step before the boundary: the first report of a transfer
 * carries position 0. The call returns after the reports. Boundaries
 * are computed in double precision from a step in single precision, on every platform. */
QZ_API uint32_t Stream_Write(Stream* stream, uint32_t count, const void* buffer);

/* Reads at most count bytes into buffer and returns how many were read; 0 means the end or a failure, which
 * Stream_Error tells apart. Returns 0 for a null stream. Counts progress as Stream_Write does. */
QZ_API uint32_t Stream_Read(Stream* stream, uint32_t count, void* buffer);

/* Returns the number of bytes that can be read without blocking, or 0xFFFFFFFF when the type cannot say or
 * the stream is null. */
QZ_API uint32_t Stream_ReadAvail(Stream* stream);

/* Returns the status of the stream's last failure: Error_None when there was none or the type keeps none,
 * Error_Ended at the end, Error_Invalid for a null stream, else what the type gives. */
QZ_API ErrorCode Stream_Error(Stream* stream);

/* Returns the stream itself (borrowed) when it is of the given type, else null; does not look at a wrapped
 * stream. A null stream gives null. */
QZ_API Stream* Stream_GetType(Stream* stream, uint32_t type);

/* Returns the stream itself, or the stream of the given type that it wraps (borrowed), or null. A null stream
 * gives null. */
QZ_API Stream* Stream_FindType(Stream* stream, uint32_t type);

/* Ends the stream and frees it. Returns the status of its type's deletion, Error_None for a type without one,
 * Error_Invalid for a null stream; the stream is gone whatever the status. */
QZ_API ErrorCode Stream_Delete(Stream* stream);

/* Writes a text formatted by printf rules, without terminator. At most 4096 characters: a longer text gives
 * Error_Exceed and writes nothing. A short write gives the stream's error, or Error_Ended when it names none.
 * An empty text still calls the stream's write operation, with 0 bytes. A null stream or format gives
 * Error_Invalid. */
QZ_API ErrorCode Stream_WriteF(Stream* stream, const char* format, ...) QZ_PRINTF(2, 3);

/* As Stream_WriteF, with CR LF behind the text, in one write. The text itself may have 4094 characters. */
QZ_API ErrorCode Stream_WriteFLine(Stream* stream, const char* format, ...) QZ_PRINTF(2, 3);

/* Reads up to and including a delimiter, byte by byte, so that nothing behind the delimiter is taken.
 * delimiter: delimiterLength bytes (borrowed); a length of 0 reads nothing and gives Error_None. buffer:
 * receives at most bufferSize bytes, the delimiter among them, no terminator; with a bufferSize of 0 it may
 * be null, nothing is read and the status is Error_Exceed. countOut: receives the number of bytes stored,
 * whatever the status; may be null. Error_None: the delimiter was read; Error_Exceed: the buffer is full
 * before it; Error_Ended or the stream's error: no further byte came; Error_Invalid: a null stream, delimiter
 * or buffer. A byte that breaks a partial match does not begin a new one: CR LF is not
 * found in CR CR LF. */
QZ_API ErrorCode Stream_ReadTo(Stream* stream, uint32_t delimiterLength, const void* delimiter,
                               uint32_t bufferSize, void* buffer, uint32_t* countOut);

QZ_END_C

#endif
