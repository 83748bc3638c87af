/* PTrie: a prefix trie from byte strings of explicit length to pointers. */
#ifndef QZ_PTRIE_H
#define QZ_PTRIE_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct PTrie PTrie;
typedef void (*PTrieDeleter)(void* value);

/* Where an iteration stands. The caller zeroes it, sets keyBuffer and keyBufferSize, and passes it to every
 * call of PTrie_Iterate. */
typedef struct PTrieState {
  uint8_t* keyBuffer;     /* receives the key's bytes, no terminator; must stay as it is between calls */
  uint32_t keyBufferSize; /* bytes */
  uint32_t keyLength;     /* out: bytes of the key just delivered */
  void* value;            /* out: its value */
  int32_t started;        /* the library's own; 0 before the first call */
} PTrieState;

QZ_API PTrie* PTrie_New(PTrieDeleter valueDeleter);
QZ_API int32_t PTrie_FindElement(const PTrie* trie, const void* key, uint16_t length, void** value);
QZ_API ErrorCode PTrie_InsertElement(PTrie* trie, const void* key, uint16_t length, void* value);
QZ_API ErrorCode PTrie_ReplaceElement(PTrie* trie, const void* key, uint16_t length, void* value);
QZ_API int32_t PTrie_DeleteElement(PTrie* trie, const void* key, uint16_t length);
QZ_API int32_t PTrie_Iterate(const PTrie* trie, const void* prefix, uint16_t prefixLength, PTrieState* state);
QZ_API void PTrie_Empty(PTrie* trie);
QZ_API void PTrie_Delete(PTrie* trie);

QZ_END_C

#endif
