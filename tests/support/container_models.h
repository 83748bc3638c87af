// Plain models of the containers, for runs of random operations: each does what is promised in the most
// literal way.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "qz/error.h"
#include "qz/hash.h"

// The slots of a hash table and the rules by which nodes get into them.
class HashModel {
 public:
  HashModel(size_t sizeIndex, std::vector<HashFunction> functions)
      : index_(sizeIndex), functions_(std::move(functions)), slots_(Prime(sizeIndex)) {}

  ErrorCode Insert(Word key, Word value) {
    if (value == 0) return Error_Invalid;
    if (count_ == slots_.size() || (index_ >= 5 && count_ > Prime(index_ - 1))) {
      if (index_ == kLast) return Error_Exceed;
      Rehash(index_ + 1);
    }
    Slot& slot = slots_[Probe(key)];
    if (slot.second != 0) return Error_Exists;
    slot = {key, value};
    ++count_;
    return Error_None;
  }

  Word Query(Word key) const {
    for (const Slot& slot : slots_) {
      if (slot.second != 0 && slot.first == key) return slot.second;
    }
    return 0;
  }

  ErrorCode Replace(Word key, Word value) {
    if (value == 0) return Error_Invalid;
    for (Slot& slot : slots_) {
      if (slot.second == 0 || slot.first != key) continue;
      slot.second = value;
      return Error_None;
    }
    return Error_NotFound;
  }

  Word Remove(Word key) {
    const Word value = Query(key);
    if (value == 0) return 0;
    size_t hole = Probe(key);
    slots_[hole].second = 0;
    --count_;
    if (index_ > 4 && count_ < Prime(index_ - 3)) {
      Rehash(index_ - 1);
      return value;
    }
    for (size_t at = (hole + 1) % slots_.size(); at != hole; at = (at + 1) % slots_.size()) {
      if (slots_[at].second == 0) continue;
      const size_t better = Probe(slots_[at].first);
      if (better == at) continue;
      slots_[better] = slots_[at];
      slots_[at].second = 0;
      hole = at;
    }
    return value;
  }

  // The nodes in slot order.
  std::vector<std::pair<Word, Word>> Nodes() const {
    std::vector<Slot> nodes;
    for (const Slot& slot : slots_) {
      if (slot.second != 0) nodes.push_back(slot);
    }
    return nodes;
  }

  size_t CountBuckets() const { return slots_.size(); }
  size_t CountNodes() const { return count_; }

 private:
  using Slot = std::pair<Word, Word>;
  // The first sizes only: a run of random operations gets no further.
  static constexpr size_t kLast = 40;
  static size_t Prime(size_t index) {
    static const size_t primes[kLast + 1] = {
        1,  2,  3,  5,   7,   11,  13,  17,  19,  23,  29,  31,  37,  41,  43,  47,  53,  59,  67,  71, 79,
        83, 89, 97, 103, 109, 127, 137, 149, 163, 173, 191, 211, 227, 241, 257, 277, 307, 331, 353, 379};
    return primes[index];
  }

  size_t Probe(Word key) const {
    const auto stops = [&](size_t at) { return slots_[at].second == 0 || slots_[at].first == key; };
    size_t at = key % slots_.size();
    if (functions_.empty() && stops(at)) return at;
    for (HashFunction function : functions_) {
      at = function(key) % slots_.size();
      if (stops(at)) return at;
    }
    do at = (at + 1) % slots_.size();
    while (!stops(at));
    return at;
  }

  void Rehash(size_t index) {
    std::vector<Slot> old(Prime(index));
    old.swap(slots_);
    index_ = index;
    for (const Slot& slot : old) {
      if (slot.second != 0) slots_[Probe(slot.first)] = slot;
    }
  }

  size_t index_;
  std::vector<HashFunction> functions_;
  std::vector<Slot> slots_;
  size_t count_ = 0;
};

// Byte strings in the order of a trie: bytes as signed numbers, a key before those that extend it.
struct SignedByteOrder {
  bool operator()(const std::string& a, const std::string& b) const {
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
      const auto left = static_cast<int8_t>(a[i]), right = static_cast<int8_t>(b[i]);
      if (left != right) return left < right;
    }
    return a.size() < b.size();
  }
};

using PTrieModel = std::map<std::string, void*, SignedByteOrder>;
