/* MemoryStream: collects written bytes in chunks and hands them back as one block. */
#ifndef QZ_MEMORYSTREAM_H
#define QZ_MEMORYSTREAM_H

#include "qz/stream.h"

QZ_BEGIN_C

QZ_API Stream* MemoryStream_New(void* data, uint32_t length);
QZ_API ErrorCode MemoryStream_Delete(Stream* stream, void** dataOut, uint32_t* lengthOut);

QZ_END_C

#endif
