/* Memory: allocation and raw bytes. */
#ifndef QZ_MEMORY_H
#define QZ_MEMORY_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_API void* Memory_New(size_t size);
QZ_API void* Memory_Realloc(void* pointer, size_t size);
QZ_API void Memory_Delete(void* pointer);
QZ_API void Memory_Copy(const void* source, void* destination, size_t count);
QZ_API void Memory_Set(void* pointer, size_t count, int byte);
QZ_API int32_t Memory_Compare(const void* a, const void* b, size_t count);

QZ_END_C

#endif
