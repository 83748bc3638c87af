/* Basic types of the whole interface. */
#ifndef QZ_TYPES_H
#define QZ_TYPES_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include "qz/export.h"

/* A status: one of the values of enum Error (qz/error.h). 0 is success, negative values are failures,
 * positive values are soft outcomes. */
typedef int32_t ErrorCode;

/* A word that may carry a pointer: hash keys and values, user data. Exactly 32 bits in the Windows
 * library, as wide as a pointer elsewhere. */
typedef uintptr_t Word;

#endif
