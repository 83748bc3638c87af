/* PString: text of at most 255 bytes behind a length byte, without a terminator.
 *
 * The buffers are the caller's: 256 bytes hold any Pascal text. All text is borrowed for the call only. A
 * null text counts as an empty one; with a null destination nothing is written and the result is 0. Any
 * thread; needs no OS_Init; nothing blocks. String_ToPString and String_CatPString (qz/string.h) convert the
 * other way. */
#ifndef QZ_PSTRING_H
#define QZ_PSTRING_H

#include "qz/types.h"

QZ_BEGIN_C

/* Returns an owned copy, length + 1 bytes (free with Memory_Delete), or null when memory runs out or p is
 * null. */
QZ_API uint8_t* PString_Duplicate(const uint8_t* p);

/* Copies the length byte and the bytes, and returns the length. The texts may overlap. */
QZ_API int32_t PString_Copy(const uint8_t* source, uint8_t* destination);

/* Appends the bytes of q to p and returns the new length byte. Beyond 255 bytes the length byte wraps at 256
 * while every byte is still written: keep Pascal texts short. q may be p. */
QZ_API int32_t PString_Cat(uint8_t* p, const uint8_t* q);

/* Appends a zero-terminated text to p, with the same result and the same limit. */
QZ_API int32_t PString_CatString(uint8_t* p, const char* text);

/* Writes the bytes of p with a terminator behind them and returns the length. text: out, at least 256 bytes
 * or one more than the text has; may be where p stands. */
QZ_API int32_t PString_ToString(const uint8_t* p, char* text);

/* Compares shallowly. When neither is empty and the first bytes differ, returns their difference as an
 * unsigned byte, 1 to 255; otherwise the length of a minus the length of b. Texts of equal length that begin
 * with the same byte are equal. */
QZ_API int32_t PString_Compare(const uint8_t* a, const uint8_t* b);

QZ_END_C

#endif
