/* StringLookup: constant tables of (number, text) pairs. */
#ifndef QZ_STRINGLOOKUP_H
#define QZ_STRINGLOOKUP_H

#include "qz/types.h"

QZ_BEGIN_C

/* One row. Tables need no order and are searched from the front. */
typedef struct StringLookup {
  int32_t key;
  const char* text;
} StringLookup;

QZ_API const char* StringLookup_ByIndex(const StringLookup* table, uint32_t count, int32_t key);
QZ_API int32_t StringLookup_ByString(const StringLookup* table, uint32_t count, const char* text);
QZ_API int32_t StringLookup_ByStringInsensitive(const StringLookup* table, uint32_t count, const char* text);

QZ_END_C

#endif
