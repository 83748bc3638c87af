/* Volume: space on a volume. May be called from any thread. */
#ifndef QZ_VOLUME_H
#define QZ_VOLUME_H

#include "qz/types.h"

QZ_BEGIN_C

/* Returns the space on the volume that holds path (a name as in qz/file.h; null or not beginning with "/":
 * the current volume), in bytes modulo 2^32. On Windows that is the volume of the path's root, elsewhere of
 * the nearest directory above that exists. freeBytes, totalBytes: may be null; all ones and 0 after a
 * failure. Error_None; Error_Fail for an improper network name, after a report; others of Error_FromSystem.
 */
QZ_API ErrorCode Volume_GetInformation(const char* path, uint32_t* freeBytes, uint32_t* totalBytes);

QZ_END_C

#endif
