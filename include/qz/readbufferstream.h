/* ReadBufferStream: a fixed read buffer in front of another stream.
 *
 * The stream is used through Stream_* (type "bfss"). A read takes what is buffered. When more is wanted it
 * refills the buffer until the request is satisfied or nothing comes; once no less than the buffer's size is
 * wanted it makes one direct read beneath instead and gives what that brought, which may be short of the
 * request before the end. A read of 0 bytes fills an empty buffer; a read without a buffer gives 0 and takes
 * nothing. Writing passes through unbuffered; Stream_FindType looks into the stream beneath.
 * Stream_ReadAvail is the number of bytes readable beneath plus those buffered, modulo 2^32: one too few
 * where the type beneath cannot say (0xFFFFFFFF). Stream_Error is the error beneath, but an end beneath shows
 * as Error_None while the last refill brought a part of the buffer. Blocks where the stream beneath does. One
 * thread uses a stream at a time. */
#ifndef QZ_READBUFFERSTREAM_H
#define QZ_READBUFFERSTREAM_H

#include "qz/stream.h"

QZ_BEGIN_C

/* Returns a new read-buffer stream (free with Stream_Delete), or null when memory runs out or underlying is
 * null. bufferSize: bytes; 0 buffers nothing. underlying: the stream read from and written to; it must
 * outlive this one. deleteUnderlying: not 0 takes it over, so that Stream_Delete deletes it too; 0 borrows
 * it. After null it remains the caller's. */
QZ_API Stream* ReadBufferStream_New(uint32_t bufferSize, Stream* underlying, int32_t deleteUnderlying);

/* Sets whether deleting the stream deletes the stream beneath: not 0 for yes. Error_Invalid when stream is
 * null or is itself no read-buffer stream; wrapped ones are not looked for. */
QZ_API ErrorCode ReadBufferStream_SetDeleteStream(Stream* stream, int32_t flag);

QZ_END_C

#endif
