/* PString: text of at most 255 bytes behind a length byte. */
#ifndef QZ_PSTRING_H
#define QZ_PSTRING_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_API uint8_t* PString_Duplicate(const uint8_t* p);
QZ_API int32_t PString_Copy(const uint8_t* source, uint8_t* destination);
QZ_API int32_t PString_Cat(uint8_t* p, const uint8_t* q);
QZ_API int32_t PString_CatString(uint8_t* p, const char* text);
QZ_API int32_t PString_ToString(const uint8_t* p, char* text);
QZ_API int32_t PString_Compare(const uint8_t* a, const uint8_t* b);

QZ_END_C

#endif
