/* SizeStream: counts the bytes offered to it and keeps none. */
#ifndef QZ_SIZESTREAM_H
#define QZ_SIZESTREAM_H

#include "qz/stream.h"

QZ_BEGIN_C

QZ_API Stream* SizeStream_New(void);
QZ_API ErrorCode SizeStream_Delete(Stream* stream, uint32_t* readOut, uint32_t* writtenOut);

QZ_END_C

#endif
