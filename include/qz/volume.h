/* Volume: space on a volume. */
#ifndef QZ_VOLUME_H
#define QZ_VOLUME_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_API ErrorCode Volume_GetInformation(const char* path, uint32_t* freeBytes, uint32_t* totalBytes);

QZ_END_C

#endif
