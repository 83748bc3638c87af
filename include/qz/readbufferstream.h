/* ReadBufferStream: a fixed read buffer in front of another stream.
 *
 * The stream is used through Stream_* (type "bfss"). A read takes what is buffered. When more is missing it
 * refills the buffer until the request is satisfied or nothing comes; once no less than the buffer's size is
 * missing it makes one direct read from the wrapped stream instead and returns what that gave, which may be
 * short of the request before the end. A read of 0 bytes or without a buffer returns 0 and reads nothing from
 * the wrapped stream. When the wrapped stream claims more bytes than it was asked for, the excess is ignored.
 * Writing passes through unbuffered; Stream_FindType asks the wrapped stream. Stream_ReadAvail is the wrapped
 * stream's count plus the bytes buffered, modulo 2^32: one too few where its type cannot say (0xFFFFFFFF).
 * Stream_Error is the wrapped stream's, but its Error_Ended shows as Error_None while the last refill filled
 * only a part of the buffer. Blocks where the wrapped stream does. One thread uses a stream at a time. */
#ifndef QZ_READBUFFERSTREAM_H
#define QZ_READBUFFERSTREAM_H

#include "qz/stream.h"

QZ_BEGIN_C

/* Returns a new read-buffer stream (free with Stream_Delete), or null when memory runs out or underlying is
 * null. bufferSize: bytes; 0 buffers nothing. underlying: the stream read from and written to; it must
 * outlive this one. deleteUnderlying: not 0 takes it over, so that Stream_Delete deletes it too; 0 borrows
 * it. After null it remains the caller's. */
QZ_API Stream* ReadBufferStream_New(uint32_t bufferSize, Stream* underlying, int32_t deleteUnderlying);

/* Sets whether deleting the stream deletes the wrapped stream too: not 0 for yes. Error_Invalid when stream
 * is null or is not itself a read-buffer stream; a wrapped one is not looked for. */
QZ_API ErrorCode ReadBufferStream_SetDeleteStream(Stream* stream, int32_t flag);

QZ_END_C

#endif
