/* The version of this interface. The library's own version stands in its version resource (Windows) or in
 * its file name (Linux). */
#ifndef QZ_VERSION_H
#define QZ_VERSION_H

#define QZ_VERSION_MAJOR 0
#define QZ_VERSION_MINOR 1
#define QZ_VERSION_PATCH 0
#define QZ_VERSION_STRING "0.1.0"
/* One number for comparisons: 0x00MMmmpp. */
#define QZ_VERSION ((QZ_VERSION_MAJOR << 16) | (QZ_VERSION_MINOR << 8) | QZ_VERSION_PATCH)

#endif
