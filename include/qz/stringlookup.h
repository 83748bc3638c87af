/* StringLookup: constant tables of (number, text) pairs.
 *
 * A table is an array of rows and their count; it is borrowed for the call and not changed. It needs no order
 * and is searched from the front: the first match wins. A null table has no rows; a null text counts as an
 * empty one. Any thread; needs no OS_Init; nothing blocks or allocates. */
#ifndef QZ_STRINGLOOKUP_H
#define QZ_STRINGLOOKUP_H

#include "qz/types.h"

QZ_BEGIN_C

/* One row. */
typedef struct StringLookup {
  int32_t key;
  const char* text;
} StringLookup;

/* Returns the text of the first row with this key (still the table's), or null when there is none. */
QZ_API const char* StringLookup_ByIndex(const StringLookup* table, uint32_t count, int32_t key);

/* Returns the key of the first row with this text, or -1 when there is none. */
QZ_API int32_t StringLookup_ByString(const StringLookup* table, uint32_t count, const char* text);

/* The same, ignoring the case of A to Z. */
QZ_API int32_t StringLookup_ByStringInsensitive(const StringLookup* table, uint32_t count, const char* text);

QZ_END_C

#endif
