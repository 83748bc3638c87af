/* Memory: allocation and raw bytes.
 *
 * Every block that the library returns as owned, and that no function of its own frees, is freed with
 * Memory_Delete; blocks of the program's own C library must not be mixed with these. Any thread; needs no
 * OS_Init; nothing blocks. */
#ifndef QZ_MEMORY_H
#define QZ_MEMORY_H

#include "qz/types.h"

QZ_BEGIN_C

/* Returns an owned block of `size` bytes (free with Memory_Delete), or null when memory runs out. The content
 * is undefined; a block of 0 bytes is a block. */
QZ_API void* Memory_New(size_t size);

/* Changes the size of a block, by the rules of the C library's realloc: takes over `pointer` (null for a new
 * block) and returns the block, owned, with its content up to the smaller size. Null when memory runs out:
 * then the old block is untouched and still the caller's. With size 0 the block is freed, and null may be
 * returned. */
QZ_API void* Memory_Realloc(void* pointer, size_t size);

/* Frees a block of Memory_New, Memory_Realloc or a function that returns owned text. Null is ignored. */
QZ_API void Memory_Delete(void* pointer);

/* Copies `count` bytes; the blocks may overlap. The source comes first. With a null block nothing happens. */
QZ_API void Memory_Copy(const void* source, void* destination, size_t count);

/* Sets `count` bytes to the low 8 bits of `byte`. The count comes before the value. Null is ignored. */
QZ_API void Memory_Set(void* pointer, size_t count, int byte);

/* Returns 0 when the first `count` bytes are equal (or count is 0), otherwise the difference of the first
 * differing bytes, a's minus b's, both taken as signed characters: -255 to 255. A null block comes before any
 * other: -1, 0 or 1. */
QZ_API int32_t Memory_Compare(const void* a, const void* b, size_t count);

QZ_END_C

#endif
