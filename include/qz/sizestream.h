/* SizeStream: counts the bytes offered to it and keeps none.
 *
 * The stream is used through Stream_* (type "szst"): a read or write of n bytes succeeds with n and never
 * touches the buffer, which may be null and stays as it was after a read. It measures what a serialization
 * would write. Counts are modulo 2^32. Never blocks. One thread uses a stream at a time. */
#ifndef QZ_SIZESTREAM_H
#define QZ_SIZESTREAM_H

#include "qz/stream.h"

QZ_BEGIN_C

/* Returns a new size stream with both counts 0 (free with SizeStream_Delete or Stream_Delete), or null when
 * memory runs out. */
QZ_API Stream* SizeStream_New(void);

/* Gives the counts and deletes the stream. stream: a size stream, or a stream that wraps one; the deletion
 * acts on the stream that was passed, and its status is returned. readOut, writtenOut: receive the bytes read
 * and written; each may be null. Error_Invalid, with both counts 0 and nothing deleted, when there is no size
 * stream. */
QZ_API ErrorCode SizeStream_Delete(Stream* stream, uint32_t* readOut, uint32_t* writtenOut);

QZ_END_C

#endif
