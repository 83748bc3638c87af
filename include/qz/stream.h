/* Stream: the common byte stream of the library.
 *
 * Every concrete stream (file, socket, memory, read buffer, size counter) begins with the header below and
 * is used through these functions, which dispatch through the type's operation table. A stream blocks only
 * where the type beneath it does. One thread uses a stream at a time. */
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

/* The six operations of a stream type. Every slot but Read and Write may be null. */
typedef struct StreamOperations {
  ErrorCode (*Delete)(Stream* stream);                                       /* frees the record */
  uint32_t (*Read)(Stream* stream, uint32_t count, void* buffer);            /* bytes read; 0 at end or error */
  uint32_t (*ReadAvail)(Stream* stream);                                     /* bytes readable at once */
  uint32_t (*Write)(Stream* stream, uint32_t count, const void* buffer);     /* bytes written */
  ErrorCode (*Error)(Stream* stream);                                        /* status of the last failure */
  Stream* (*FindType)(Stream* stream, uint32_t type);                        /* the stream beneath of a type */
} StreamOperations;

/* Called with the position just reached and the expected total, both in bytes. */
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

QZ_API void Stream_Init(uint32_t type, const StreamOperations* operations, Stream* stream);
QZ_API void Stream_SetIdleMethod(Stream* stream, uint32_t steps, StreamProgressMethod method, void* context);
QZ_API void Stream_SetProgress(Stream* stream, uint32_t a, uint32_t b);
QZ_API uint32_t Stream_Write(Stream* stream, uint32_t count, const void* buffer);
QZ_API uint32_t Stream_Read(Stream* stream, uint32_t count, void* buffer);
QZ_API uint32_t Stream_ReadAvail(Stream* stream);
QZ_API ErrorCode Stream_Error(Stream* stream);
QZ_API Stream* Stream_GetType(Stream* stream, uint32_t type);
QZ_API Stream* Stream_FindType(Stream* stream, uint32_t type);
QZ_API ErrorCode Stream_Delete(Stream* stream);
QZ_API ErrorCode Stream_WriteF(Stream* stream, const char* format, ...) QZ_PRINTF(2, 3);
QZ_API ErrorCode Stream_WriteFLine(Stream* stream, const char* format, ...) QZ_PRINTF(2, 3);
QZ_API ErrorCode Stream_ReadTo(Stream* stream, uint32_t delimiterLength, const void* delimiter,
                               uint32_t bufferSize, void* buffer, uint32_t* countOut);

QZ_END_C

#endif
