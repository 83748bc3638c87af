// Finds the lines of a section by their keys, and the sections of a document by their names.
//
//   table   hashes   [ 0 | 7f01 | 0 | 3c22 | 90a3 | 0 | ... ]    0: free; the first place is the hash's own,
//           records  [ - |  b   | - |  a   |  c   | - | ... ]    the others follow it
//   order   trie     a, b, c                                     made when the order is first asked for
//
// A look-up, an insertion and a removal touch a few places, however large the table is. It holds no keys: the
// first field of a record is its key.
#pragma once

#include <cstdint>

#include "qz/ptrie.h"
#include "qz/types.h"

struct ConfigRecord;

// The longest key, in bytes: a whole line.
constexpr uint32_t kConfigKeyLength = 4096;

// A key as an index compares it.
struct ConfigKey {
  uint32_t hash;  // never 0
  uint16_t length;
  bool ignoresCase;  // then the bytes are in lower case
  char bytes[kConfigKeyLength + 1];

  // False, and an empty key, when the text is longer than any key.
  bool Set(const char* text, bool ignoreCase);
};

// All bytes 0 are an empty index; Free releases what it holds and makes it empty. Every key stands in it
// once.
class ConfigIndex {
 public:
  // The record with the key, or null.
  ConfigRecord* Find(const ConfigKey& key) const;
  // Brings the key's place near the processor, for a look-up soon.
  void Prefetch(const ConfigKey& key) const {
    if (slots_ != 0) __builtin_prefetch(&hashes_[key.hash & (slots_ - 1)]);
  }
  // Whether it is this record that stands in the index. hash: of its key, as others of that key were
  // inserted.
  bool Holds(uint32_t hash, const ConfigRecord* record) const;
  // Adds a record whose key is not there. Error_None or Error_Memory.
  ErrorCode Insert(const ConfigKey& key, ConfigRecord* record);
  // Puts a record with the same key in the place of another. hash: of the key, as it was inserted.
  void Replace(uint32_t hash, const ConfigRecord* old, ConfigRecord* record);
  void Remove(uint32_t hash, const ConfigRecord* record);
  // The record with the least key behind `after`, or with the least key of all when that is null, in the
  // order of PTrie_Iterate; null at the end.
  ConfigRecord* Next(const char* after, bool ignoreCase) const;
  void Free();

 private:
  uint32_t SlotOf(uint32_t hash, const ConfigRecord* record) const;
  void Place(uint32_t hash, ConfigRecord* record);
  ErrorCode Grow();
  void CloseGap(uint32_t gap);

  bool MakeOrder(bool ignoreCase) const;
  bool AddToOrder(ConfigRecord* record) const;
  void DropOrder() const;
  ConfigRecord* NextBySearch(const char* after, bool ignoreCase) const;

  uint32_t slots_;  // a power of two, or 0
  uint32_t count_;  // of records
  ConfigRecord** records_;
  uint32_t* hashes_;      // in the same block
  mutable PTrie* order_;  // null until it is asked for, and when memory ran out for it
  mutable bool orderIgnoresCase_;
};
