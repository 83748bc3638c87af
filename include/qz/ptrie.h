/* PTrie: a prefix trie from byte strings of explicit length to pointers.
 *
 * Keys are compared exactly, byte for byte, and may hold any byte, zero included; callers that want names
 * without regard to case lower-case them first. A key has at most 65535 bytes: a caller whose text may be
 * longer must refuse it, not cut its length to 16 bits. The trie copies keys and borrows values, but for the
 * value deleter. Any value may be stored, null too. A trie is used by one thread at a time or under the
 * caller's lock. Nothing blocks, and no function needs more stack for a deeper trie. A null key counts as the
 * empty key only with length 0; otherwise a null argument gives Error_Invalid, or "absent", or does nothing.
 */
#ifndef QZ_PTRIE_H
#define QZ_PTRIE_H

#include "qz/types.h"

QZ_BEGIN_C

typedef struct PTrie PTrie;

/* Releases a value that the trie discards. The trie no longer holds it then: its key is gone, or has the
 * value that replaced it. */
typedef void (*PTrieDeleter)(void* value);

/* Where an iteration stands. The caller zeroes it, sets keyBuffer and keyBufferSize, and passes it to every
 * call of PTrie_Iterate; between the calls it and the bytes in the buffer must stay as they are. */
typedef struct PTrieState {
  uint8_t* keyBuffer;     /* receives the key's bytes, no terminator */
  uint32_t keyBufferSize; /* bytes */
  uint32_t keyLength;     /* out: bytes of the key just delivered */
  void* value;            /* out: its value (the trie's); null when no key was delivered */
  int32_t started;        /* the library's own; 0 before the first call */
} PTrieState;

/* Returns a new, empty trie (free with PTrie_Delete), or null when memory runs out. valueDeleter: null, or
 * called on a value that the trie discards. */
QZ_API PTrie* PTrie_New(PTrieDeleter valueDeleter);

/* Looks a key of length bytes up. Returns 1 when it is present, else 0. value: receives its value (still the
 * trie's), or null when it is absent; may be null. */
QZ_API int32_t PTrie_FindElement(const PTrie* trie, const void* key, uint16_t length, void** value);

/* Adds a key of length bytes (copied) with a value. Error_None; Error_Exists when the key is present, whose
 * value stays; Error_Fail when memory runs out for the rest of the key below a branch, Error_Memory when it
 * runs out elsewhere: the trie is as it was. Unless Error_None is returned the value remains the caller's. */
QZ_API ErrorCode PTrie_InsertElement(PTrie* trie, const void* key, uint16_t length, void* value);

/* Replaces the value of a present key and calls the deleter on the old one, even when it is the same.
 * Error_None; Error_NotFound when the key is absent. */
QZ_API ErrorCode PTrie_ReplaceElement(PTrie* trie, const void* key, uint16_t length, void* value);

/* Removes a key and calls the deleter on its value. Returns 1 when it was there, else 0: no status. */
QZ_API int32_t PTrie_DeleteElement(PTrie* trie, const void* key, uint16_t length);

/* Delivers the next of the keys that begin with a prefix. prefix: prefixLength bytes, the same for every
 * call; 0 bytes mean all keys. state: see above; keyBuffer, keyBufferSize and what the last call left there
 * go in. Keys come in the order of their bytes as signed numbers (0x80 to 0xFF before
 * 0x00 to 0x7F), a key before those that extend it, the prefix itself first. Returns 1 with keyLength, value
 * and the key in the buffer; 0 at the end; Error_Exceed when the next key is longer than the buffer, and
 * again when called again; Error_Invalid for a null trie or state, or a state that cannot be. The trie may be
 * changed between the calls: the next key delivered is always the first that lies behind the last one. */
QZ_API int32_t PTrie_Iterate(const PTrie* trie, const void* prefix, uint16_t prefixLength, PTrieState* state);

/* Removes all keys and calls the deleter on all values, in the order of the keys. The deleter sees the trie
 * empty, and must not add to it. */
QZ_API void PTrie_Empty(PTrie* trie);

/* Empties the trie as above and frees it. */
QZ_API void PTrie_Delete(PTrie* trie);

QZ_END_C

#endif
