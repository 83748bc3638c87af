/* Hash: an open-addressing table from a word to a non-zero word.
 *
 * Keys are compared as words, never by what they point to. The table owns its record and slots; what keys and
 * values point to stays the caller's, but for the value deleter. It holds at most 60140 nodes and grows and
 * shrinks by itself. A table is used by one thread at a time or under the caller's lock. Nothing blocks.
 * Unless said otherwise a null table is ignored, or gives Error_Invalid. */
#ifndef QZ_HASH_H
#define QZ_HASH_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct Hash Hash;

/* Returns the hash of a key. Must give the same result for the same key, and must not use the table. */
typedef uint32_t (*HashFunction)(Word key);

/* Releases a value that the table discards. Must not use the table. */
typedef void (*HashDeleter)(Word value);

/* Sees one node; returns 0 to continue. Must not insert or remove. */
typedef int32_t (*HashVisitor)(Word key, Word value, void* context);

/* Returns a new, empty table (free with Hash_Delete), or null when memory runs out or a function is missing.
 * sizeHint: slots to begin with, taken up to the next of the table's primes; 0 means 7; more than 63901 means
 * 63901. hashFunctionCount, hashFunctions: the functions (copied) that are tried one after the other before
 * the slots behind the last one's; with 0 functions (null allowed) the key itself is the hash. valueDeleter:
 * null, or called on a value that the table discards. */
QZ_API Hash* Hash_New(uint32_t sizeHint, uint32_t hashFunctionCount, const HashFunction* hashFunctions,
                      HashDeleter valueDeleter);

/* Calls the value deleter on every value, in slot order, and frees the table. */
QZ_API void Hash_Delete(Hash* table);

/* Adds a node. Error_None; Error_Exists when the key is present (its value stays); Error_Exceed when the
 * table is at its largest and full, also for a key that is present; Error_Memory when it cannot grow;
 * Error_Invalid for the value 0, which cannot be stored. The table may have grown even if nothing was added.
 */
QZ_API ErrorCode Hash_InsertNode(Hash* table, Word key, Word value);

/* Calls the value deleter on the value of a present key, even when it is the same, and stores the new one.
 * Error_None; Error_NotFound when the key is absent; Error_Invalid for the value 0. */
QZ_API ErrorCode Hash_ReplaceNode(Hash* table, Word key, Word value);

/* Returns the value of a key (still the table's), or 0 when the key is absent or the table null. */
QZ_API Word Hash_QueryNode(const Hash* table, Word key);

/* Takes a node out and returns its value, now the caller's; the value deleter is not called. Returns 0 when
 * the key is absent or the table null. */
QZ_API Word Hash_RemoveNode(Hash* table, Word key);

/* Takes a node out and calls the value deleter on its value. Error_None; Error_NotFound when the key is
 * absent. */
QZ_API ErrorCode Hash_DeleteNode(Hash* table, Word key);

/* Calls visit with every node in slot order, which is not the order of insertion. A non-zero result ends the
 * walk and is returned; otherwise 0, also for a null table or visitor. context: passed on unchanged. */
QZ_API int32_t Hash_ForEachNode(const Hash* table, HashVisitor visit, void* context);

/* Returns the number of nodes; 0 for a null table. */
QZ_API uint32_t Hash_CountNodes(const Hash* table);

QZ_END_C

#endif
