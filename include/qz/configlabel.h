/* ConfigLabel: tables of (value, text) pairs, to print and to scan keywords such as yes and no.
 *
 * A table is searched from the front: the first pair with a value is the one that is printed, all are
 * scanned. A dynamic table owns copies of its texts and can be extended, a static one is the caller's array.
 * Tables are reference-counted: ConfigLabel_Reference and the look-ups of the built-in ones add a reference,
 * ConfigLabel_Delete drops one, and the last one dropped frees. A table is used by one thread at a time or
 * under the caller's lock. The built-in ones belong to the library: their references are not counted, they
 * are never freed, and any thread may use them. Nothing blocks; no OS_Init is needed.
 */
#ifndef QZ_CONFIGLABEL_H
#define QZ_CONFIGLABEL_H

#include "qz/stringlookup.h"
#include "qz/types.h"

QZ_BEGIN_C

typedef struct ConfigLabel ConfigLabel;

/* Returns a new, empty table that can be extended, owned (free with ConfigLabel_Delete), or null when memory
 * runs out. */
QZ_API ConfigLabel* ConfigLabel_NewDynamic(void);

/* Returns a table over the caller's pairs, owned (free with ConfigLabel_Delete), or null when memory runs
 * out. pairs: count of them, borrowed as long as the table lives, with their texts; null only for none. */
QZ_API ConfigLabel* ConfigLabel_NewStatic(uint32_t count, const StringLookup* pairs);

/* Returns the table of 0 "No", 1 "Yes", 0 "N", 1 "Y" with a reference added (drop it with
 * ConfigLabel_Delete). */
QZ_API ConfigLabel* ConfigLabel_GetYesNo(void);

/* Returns the table of 0 "False", 1 "True", 0 "F", 1 "T" with a reference added (drop it with
 * ConfigLabel_Delete). */
QZ_API ConfigLabel* ConfigLabel_GetTrueFalse(void);

/* Adds a reference and returns the table; null for null. */
QZ_API ConfigLabel* ConfigLabel_Reference(ConfigLabel* label);

/* Appends a pair to a dynamic table. text: copied. Error_None; Error_Invalid for a static or built-in table,
 * a null one or a null text; Error_Exists when the table has the value, whatever its text; Error_Memory when
 * memory runs out. After a failure the table is as it was. */
QZ_API ErrorCode ConfigLabel_Add(ConfigLabel* label, int32_t value, const char* text);

/* Returns the text of the first pair with this value (still the table's), or that of the first pair of all
 * when there is none; "" when the table is empty or null. */
QZ_API const char* ConfigLabel_Print(const ConfigLabel* label, int32_t value);

/* Returns the value of the first pair with this text, ignoring the case of A to Z, or -1 when there is none.
 * text: borrowed; null counts as "". */
QZ_API int32_t ConfigLabel_Scan(const ConfigLabel* label, const char* text);

/* Drops one reference. With the last one a dynamic table is freed with its texts, a static one without its
 * pairs. Null and the built-in tables are ignored. */
QZ_API void ConfigLabel_Delete(ConfigLabel* label);

QZ_END_C

#endif
