/* MemoryStream: collects written bytes in chunks and hands them back as one block.
 *
 * The stream is used through Stream_* (type "mmst") and never blocks. It is of full use only over a block of
 * the caller's: bytes written there replace the block's, and what goes beyond its length is counted and not
 * given back. A stream that starts empty counts what is written, and MemoryStream_Delete gives a cleared
 * block of that size. Stream_ReadAvail gives 0 and reports through Error; Stream_Error is always Error_None.
 * Without a buffer a read or write moves nothing and gives 0. One thread uses a stream at a time. */
#ifndef QZ_MEMORYSTREAM_H
#define QZ_MEMORYSTREAM_H

#include "qz/stream.h"

QZ_BEGIN_C

/* Returns a new memory stream (free with MemoryStream_Delete or Stream_Delete), or null when memory runs out.
 * data: null for an empty stream; otherwise a block from Memory_New of length bytes, which the stream takes
 * over and which counts as its size from the start. Writing begins at its first byte; reading delivers the
 * bytes written there. When null is returned the block remains the caller's. Stream_Delete frees all the
 * stream holds. A write for which memory runs out returns 0, though the bytes that fitted were taken. */
QZ_API Stream* MemoryStream_New(void* data, uint32_t length);

/* Hands the stream's bytes over as one block.
 * stream: a memory stream, or a stream that wraps one; the deletions below act on the stream that was passed.
 * dataOut: receives the block, owned by the caller (free with Memory_Delete), or null.
 * lengthOut: receives the stream's size in bytes, which is the block's length.
 * - Size 0: dataOut null, Error_None; the stream lives on, end it with Stream_Delete.
 * - Made over a block: that block, resized to the size (cleared where it grew); the stream is deleted,
 *   Error_None. When it cannot grow, the block as it is and its own length.
 * - Started empty: a new cleared block of the size, Error_None; the stream lives on. When memory runs out the
 *   stream is deleted, dataOut null, lengthOut 0, Error_Fail.
 * - Not a memory stream, or a null argument: Error_Invalid, null and 0; nothing is deleted. */
QZ_API ErrorCode MemoryStream_Delete(Stream* stream, void** dataOut, uint32_t* lengthOut);

QZ_END_C

#endif
