/* Hash: an open-addressing table from a word to a non-zero word. */
#ifndef QZ_HASH_H
#define QZ_HASH_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct Hash Hash;
typedef uint32_t (*HashFunction)(Word key);
typedef void (*HashDeleter)(Word value);
typedef int32_t (*HashVisitor)(Word key, Word value, void* context);

QZ_API Hash* Hash_New(uint32_t sizeHint, uint32_t hashFunctionCount, const HashFunction* hashFunctions,
                      HashDeleter valueDeleter);
QZ_API void Hash_Delete(Hash* table);
QZ_API ErrorCode Hash_InsertNode(Hash* table, Word key, Word value);
QZ_API ErrorCode Hash_ReplaceNode(Hash* table, Word key, Word value);
QZ_API Word Hash_QueryNode(const Hash* table, Word key);
QZ_API Word Hash_RemoveNode(Hash* table, Word key);
QZ_API ErrorCode Hash_DeleteNode(Hash* table, Word key);
QZ_API int32_t Hash_ForEachNode(const Hash* table, HashVisitor visit, void* context);
QZ_API uint32_t Hash_CountNodes(const Hash* table);

QZ_END_C

#endif
