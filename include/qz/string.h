/* String: zero-terminated 8-bit text in the caller's buffers.
 *
 * Text is one byte a character; letters are those of ASCII. The functions do not know the size of a
 * destination (String_CopyMax excepted): the caller provides room for the result and its terminator,
 * customarily 1024 bytes for a path or a line. Copying functions take the source first and the destination
 * after it; appending functions take the destination first. All text is borrowed for the call only.
 *
 * A null text counts as an empty one. With a null destination nothing is written and the result is 0 (-1
 * where the result is an index). Source and destination may be the same, or overlap, where this is said.
 *
 * Any thread; needs no OS_Init; nothing blocks except String_Read. */
#ifndef QZ_STRING_H
#define QZ_STRING_H

#include "qz/types.h"

QZ_BEGIN_C

/* ---- copying and joining: the results are lengths in bytes, without the terminator, unless said otherwise
 */

/* Returns the number of bytes before the terminator. */
QZ_API int32_t String_Length(const char* text);

/* Returns an owned copy (free with Memory_Delete), or null when memory runs out or text is null. */
QZ_API char* String_Duplicate(const char* text);

/* Returns an owned text, a followed by b (free with Memory_Delete), or null when memory runs out. */
QZ_API char* String_DuplicateCat(const char* a, const char* b);

/* Copies with the terminator; the texts may overlap. */
QZ_API int32_t String_Copy(const char* source, char* destination);

/* Copies at most max - 1 bytes, always terminates, and returns the number of bytes copied; the texts may
 * overlap. max: size of the destination in bytes; below 1 nothing is written and the result is 0. At most
 * max - 1 bytes of the source are read. */
QZ_API int32_t String_CopyMax(const char* source, int32_t max, char* destination);

/* Copies exactly `count` bytes, zero bytes included, adds a terminator and returns count. The blocks may
 * overlap. A null source gives an empty text and 0; a negative count writes nothing and gives 0. */
QZ_API int32_t String_CopyLength(const char* source, int32_t count, char* destination);

/* Appends source to destination and returns the new length. source may be destination or a part of it. */
QZ_API int32_t String_Cat(char* destination, const char* source);

/* Appends the bytes of a Pascal text and returns the new length. */
QZ_API int32_t String_CatPString(char* destination, const uint8_t* pstring);

/* Writes first, the delimiter unless first is empty or already ends with it, then second as it is; returns
 * the length. The delimiter is written even when second is empty, and one that second begins with stays.
 * delimiter: one byte. Either text may be the destination itself. */
QZ_API int32_t String_DelimCat(const char* first, const char* second, int delimiter, char* destination);

/* Puts prefix in front of text, in text's own buffer, and returns the new length. */
QZ_API int32_t String_Insert(const char* prefix, char* text);

/* Writes the quote, text, the quote, and returns the length of all. quote: one byte. destination may be text.
 * Quotes inside text are not treated. */
QZ_API int32_t String_Quote(const char* text, int quote, char* destination);

/* Copies with the letters A to Z in lower case; bytes from 128 stay. The texts may overlap. */
QZ_API int32_t String_ToLower(const char* source, char* destination);

/* Copies source, replacing each byte that stands in fromChars (first match) by the byte at the same place of
 * toChars; bytes whose place lies beyond the end of toChars stay. Returns the number of replacements. The
 * destination may be the source. */
QZ_API int32_t String_Convert(const char* source, const char* fromChars, const char* toChars,
                              char* destination);

/* Writes text with the first occurrence of oldText replaced by newText, and returns the index of that
 * occurrence. Returns -1 with the destination untouched when oldText is empty or does not occur. destination
 * may be text. */
QZ_API int32_t String_ReplaceFirst(const char* text, const char* oldText, const char* newText,
                                   char* destination);

/* Reads one line from standard input, without its newline, and returns the length: 0 for an empty line and at
 * the end of the input. buffer: out, at least 1024 bytes; what a line holds beyond 1023 bytes is dropped.
 * Blocks until a line is there. */
QZ_API int32_t String_Read(char* buffer);

/* ---- searching: the results are indexes from 0; -1 means not found */

/* Finds the first byte equal to c. The terminator is never found. */
QZ_API int32_t String_FindFirstChar(const char* text, int c);

/* Finds the last byte equal to c. The terminator is never found. */
QZ_API int32_t String_FindLastChar(const char* text, int c);

/* Finds the first occurrence of sub. An empty sub is never found. */
QZ_API int32_t String_FindFirst(const char* text, const char* sub);

/* The same, ignoring case. */
QZ_API int32_t String_FindFirstInsensitive(const char* text, const char* sub);

/* When text begins with prefix, returns the index just behind it: the length of prefix, 0 for an empty one.
 */
QZ_API int32_t String_FindStart(const char* text, const char* prefix);

/* The same, ignoring case. */
QZ_API int32_t String_FindStartInsensitive(const char* text, const char* prefix);

/* When text ends with suffix, returns the index where suffix begins: the length of text for an empty one. */
QZ_API int32_t String_FindEnd(const char* text, const char* suffix);

/* The same, ignoring case. */
QZ_API int32_t String_FindEndInsensitive(const char* text, const char* suffix);

/* ---- comparing */

/* Returns 0 when the texts are equal, otherwise the difference of the first differing bytes, a's minus b's,
 * terminators included, both taken as signed characters: -255 to 255. */
QZ_API int32_t String_Compare(const char* a, const char* b);

/* The same over at most n bytes; 0 when n is 0 or below. */
QZ_API int32_t String_CompareN(const char* a, const char* b, int32_t n);

/* The same over all bytes, with A to Z in lower case. The difference is cut to a signed 8-bit value, so that
 * its sign turns when it lies beyond -128 to 127. */
QZ_API int32_t String_CompareInsensitive(const char* a, const char* b);

/* The same over at most n bytes; 0 when n is 0 or below. */
QZ_API int32_t String_CompareNInsensitive(const char* a, const char* b, int32_t n);

/* ---- tokens and trimming */

/* Skips leading bytes that are in delimiters and takes the token up to the next delimiter or the end.
 * token: out, null allowed. rest: out, null allowed; what follows the token, its delimiter first. One of the
 * two may be text itself. Returns the index in text of the byte behind the token, or -1, with nothing
 * written, when only delimiters are left. */
QZ_API int32_t String_GrabToken(const char* text, const char* delimiters, char* token, char* rest);

/* Writes text without the leading and trailing bytes that are in set, and returns the length of what is left;
 * an empty text and 0 when nothing is. destination may be text. */
QZ_API int32_t String_StripEnds(const char* text, const char* set, char* destination);

/* ---- integers */

/* Skips every byte until a decimal digit, or a "-" directly followed by one, and returns the number that
 * begins there; 0 when there is none. Numbers wrap at 32 bits. */
QZ_API int32_t String_ToInteger(const char* text);

/* Writes the decimal digits, with "-" in front of a negative number, and returns the length. destination:
 * out, at least 12 bytes. */
QZ_API int32_t String_FromInteger(int32_t value, char* destination);

/* Writes at most 255 bytes of text as a Pascal text and returns their number. p: out, at least 256 bytes or
 * one more than the text has; may be where text stands. */
QZ_API int32_t String_ToPString(const char* text, uint8_t* p);

QZ_END_C

#endif
