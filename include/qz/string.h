/* String: zero-terminated 8-bit text in the caller's buffers. */
#ifndef QZ_STRING_H
#define QZ_STRING_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_API int32_t String_Length(const char* text);
QZ_API char* String_Duplicate(const char* text);
QZ_API char* String_DuplicateCat(const char* a, const char* b);
QZ_API int32_t String_Copy(const char* source, char* destination);
QZ_API int32_t String_CopyMax(const char* source, int32_t max, char* destination);
QZ_API int32_t String_CopyLength(const char* source, int32_t count, char* destination);
QZ_API int32_t String_Cat(char* destination, const char* source);
QZ_API int32_t String_CatPString(char* destination, const uint8_t* pstring);
QZ_API int32_t String_DelimCat(const char* first, const char* second, int delimiter, char* destination);
QZ_API int32_t String_Insert(const char* prefix, char* text);
QZ_API int32_t String_Quote(const char* text, int quote, char* destination);
QZ_API int32_t String_ToLower(const char* source, char* destination);
QZ_API int32_t String_Convert(const char* source, const char* fromChars, const char* toChars, char* destination);
QZ_API int32_t String_ReplaceFirst(const char* text, const char* oldText, const char* newText, char* destination);
QZ_API int32_t String_Read(char* buffer);
QZ_API int32_t String_FindFirstChar(const char* text, int c);
QZ_API int32_t String_FindLastChar(const char* text, int c);
QZ_API int32_t String_FindFirst(const char* text, const char* sub);
QZ_API int32_t String_FindFirstInsensitive(const char* text, const char* sub);
QZ_API int32_t String_FindStart(const char* text, const char* prefix);
QZ_API int32_t String_FindStartInsensitive(const char* text, const char* prefix);
QZ_API int32_t String_FindEnd(const char* text, const char* suffix);
QZ_API int32_t String_FindEndInsensitive(const char* text, const char* suffix);
QZ_API int32_t String_Compare(const char* a, const char* b);
QZ_API int32_t String_CompareN(const char* a, const char* b, int32_t n);
QZ_API int32_t String_CompareInsensitive(const char* a, const char* b);
QZ_API int32_t String_CompareNInsensitive(const char* a, const char* b, int32_t n);
QZ_API int32_t String_GrabToken(const char* text, const char* delimiters, char* token, char* rest);
QZ_API int32_t String_StripEnds(const char* text, const char* set, char* destination);
QZ_API int32_t String_ToInteger(const char* text);
QZ_API int32_t String_FromInteger(int32_t value, char* destination);
QZ_API int32_t String_ToPString(const char* text, uint8_t* p);

QZ_END_C

#endif
