/* ReadBufferStream: a fixed read buffer in front of another stream. */
#ifndef QZ_READBUFFERSTREAM_H
#define QZ_READBUFFERSTREAM_H

#include "qz/stream.h"

QZ_BEGIN_C

QZ_API Stream* ReadBufferStream_New(uint32_t bufferSize, Stream* underlying, int32_t deleteUnderlying);
QZ_API ErrorCode ReadBufferStream_SetDeleteStream(Stream* stream, int32_t flag);

QZ_END_C

#endif
