// The nodes of a prefix trie.
//
//   string   | next | length | bytes |           a run of bytes, then what next refers to
//   branch   | value | count | child child ... | children sorted by their byte; the value is there for one
//   kind only value    (no node: the reference's pointer is the value)
//
// No string has 0 bytes. A branch without value has two children or more, one with a value has one or more. A
// string leads to another string only where memory ran out while the two were to be joined.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qz/ptrie.h"

struct PTrieNode {
  enum Kind : uint8_t { Branch = 0, BranchWithValue = 1, String = 2, Value = 3, Empty = 5 };
};

struct PTrieReference {
  void* pointer;
  uint8_t kind;  // PTrieNode::Kind
  uint8_t byte;  // in a branch: the byte that leads here
};

struct PTrieString {
  PTrieReference next;
  uint16_t length;

  // The bytes begin where the length ends, in what would be padding.
  uint8_t* Bytes() { return reinterpret_cast<uint8_t*>(this) + kBytesOffset; }
  static constexpr size_t kBytesOffset = sizeof(PTrieReference) + sizeof(uint16_t);
};

struct PTrieBranch {
  void* value;
  uint16_t count;
  uint16_t visiting;  // while the trie is emptied: the child that is being emptied

  PTrieReference* Children() { return reinterpret_cast<PTrieReference*>(this + 1); }
};

struct PTrie {
  uint32_t tag;
  PTrieDeleter valueDeleter;
  PTrieReference root;
};

inline constexpr PTrieReference kPTrieNothing = {nullptr, PTrieNode::Empty, 0};

inline PTrieString* StringOf(const PTrieReference& reference) {
  return static_cast<PTrieString*>(reference.pointer);
}

inline PTrieBranch* BranchOf(const PTrieReference& reference) {
  return static_cast<PTrieBranch*>(reference.pointer);
}

// What of a key is not yet matched.
struct PTrieKey {
  const uint8_t* bytes;
  uint32_t length;

  void Skip(uint32_t count) {
    bytes += count;
    length -= count;
  }
};

// A key as callers give it; a null one is the empty key.
inline PTrieKey iPTrie_MakeKey(const void* key, uint32_t length) {
  static constexpr uint8_t kNoBytes[1] = {};
  return {key != nullptr ? static_cast<const uint8_t*>(key) : kNoBytes, length};
}

// A key may be null only when it is empty.
inline bool iPTrie_IsUsable(const PTrie* trie, const void* key, uint16_t length) {
  return trie != nullptr && (key != nullptr || length == 0);
}

inline void iPTrie_CallDeleter(const PTrie& trie, void* value) {
  if (trie.valueDeleter != nullptr) trie.valueDeleter(value);
}

// A string node of `length` bytes (at least one) that leads to next, or null. bytes: null leaves them to be
// filled.
PTrieString* iPTrie_NewString(const uint8_t* bytes, uint32_t length, PTrieReference next);

// The position of the first child whose byte is not below byte, as signed numbers; count when there is none.
uint32_t iPTrie_LowerBound(PTrieBranch& branch, uint8_t byte);

// The child that byte leads to, or null.
PTrieReference* iPTrie_FindChild(PTrieBranch& branch, uint8_t byte);

// The number of leading bytes that a string node shares with a key.
uint32_t iPTrie_CountShared(PTrieString& string, const PTrieKey& key);
