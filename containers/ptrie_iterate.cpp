// Walking the keys of a prefix trie in order. The state holds no pointer into the trie, only the key
// delivered last, and every call looks for the first key behind it: the trie may change between the calls,
// and a call costs one walk down.
#include <cstring>

#include "containers/ptrie_internal.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/ptrie.h"

namespace {

// A part of the trie whose first key is the one to deliver, and the bytes that lead there: the first `depth`
// of a known key, then, below a branch, the byte of its reference.
struct Start {
  const PTrieReference* at = nullptr;  // null: there is no such part
  uint32_t depth = 0;
  bool isChild = false;
};

bool IsBranch(const PTrieReference& at) {
  return at.kind == PTrieNode::Branch || at.kind == PTrieNode::BranchWithValue;
}

// The part whose keys all begin with the prefix.
Start FindPrefix(const PTrieReference& root, PTrieKey prefix) {
  const PTrieReference* at = &root;
  uint32_t depth = 0;
  while (at->kind != PTrieNode::Empty) {
    if (prefix.length == 0) return {at, depth, false};
    if (at->kind == PTrieNode::Value) break;
    uint32_t passed = 1;
    if (at->kind == PTrieNode::String) {
      PTrieString& string = *StringOf(*at);
      passed = iPTrie_CountShared(string, prefix);
      if (passed == prefix.length) return {at, depth, false};
      if (passed != string.length) break;
      at = &string.next;
    } else {
      at = iPTrie_FindChild(*BranchOf(*at), *prefix.bytes);
      if (at == nullptr) break;
    }
    prefix.Skip(passed);
    depth += passed;
  }
  return {};
}

// Kept: bytes are signed, so names with bytes from 0x80 on come first; saved and shown lists have this order.
bool IsBelow(uint8_t a, uint8_t b) {
  return static_cast<int8_t>(a) < static_cast<int8_t>(b);
}

// The part that holds the keys next behind a given key and shares at least `prefixLength` bytes with it:
// where the key's own way ends or, failing that, the last turn to a greater child beside the way.
Start FindBehind(const PTrieReference& root, PTrieKey key, uint32_t prefixLength) {
  Start found;
  const PTrieReference* at = &root;
  uint32_t depth = 0;
  while (true) {
    if (at->kind == PTrieNode::String) {
      PTrieString& string = *StringOf(*at);
      const uint32_t shared = iPTrie_CountShared(string, key);
      if (shared != string.length) {
        const bool isBehind = shared == key.length || IsBelow(key.bytes[shared], string.Bytes()[shared]);
        return isBehind && depth + shared >= prefixLength ? Start{at, depth, false} : found;
      }
      key.Skip(shared);
      depth += shared;
      at = &string.next;
    } else if (IsBranch(*at)) {
      PTrieBranch& branch = *BranchOf(*at);
      const PTrieReference* children = branch.Children();
      if (key.length == 0) return {children, depth, true};
      uint32_t next = iPTrie_LowerBound(branch, *key.bytes);
      const bool isOnWay = next != branch.count && children[next].byte == *key.bytes;
      if (isOnWay) at = &children[next++];
      if (next != branch.count && depth >= prefixLength) found = {&children[next], depth, true};
      if (!isOnWay) return found;
      key.Skip(1);
      ++depth;
    } else {
      return found;
    }
  }
}

// Follows the first children down to the first value and returns where it stands. `take` sees the bytes on
// the way.
template <typename Take>
void* WalkToFirstValue(const PTrieReference* at, Take take) {
  while (true) {
    switch (at->kind) {
      case PTrieNode::String:
        take(StringOf(*at)->Bytes(), StringOf(*at)->length);
        at = &StringOf(*at)->next;
        break;
      case PTrieNode::Branch:
        at = BranchOf(*at)->Children();
        take(&at->byte, 1);
        break;
      case PTrieNode::BranchWithValue:
        return BranchOf(*at)->value;
      default:
        return at->pointer;
    }
  }
}

// The key is measured before it is stored: one that does not fit must not spoil the key that the walk resumes
// at.
int32_t Deliver(const Start& start, const PTrieKey& known, PTrieState& state) {
  uint32_t length = start.depth + (start.isChild ? 1 : 0);
  void* value = WalkToFirstValue(start.at, [&](const uint8_t*, uint32_t count) { length += count; });
  if (length > state.keyBufferSize) return Error_Exceed;

  uint8_t* out = state.keyBuffer;
  const auto store = [&](const uint8_t* bytes, uint32_t count) {
    Memory_Copy(bytes, out, count);
    out += count;
  };
  store(known.bytes, start.depth);
  if (start.isChild) store(&start.at->byte, 1);
  WalkToFirstValue(start.at, store);
  state.keyLength = length;
  state.value = value;
  state.started = 1;
  return 1;
}

bool IsSound(const PTrieState* state) {
  if (state == nullptr || (state->keyBuffer == nullptr && state->keyBufferSize != 0)) return false;
  return state->started == 0 || state->keyLength <= state->keyBufferSize;
}

}  // namespace

int32_t PTrie_Iterate(const PTrie* trie, const void* prefix, uint16_t prefixLength, PTrieState* state) {
  if (!iPTrie_IsUsable(trie, prefix, prefixLength) || !IsSound(state)) return Error_Invalid;
  state->value = nullptr;
  PTrieKey known = iPTrie_MakeKey(prefix, prefixLength);
  Start start;
  if (state->started == 0) {
    start = FindPrefix(trie->root, known);
  } else if (state->keyLength >= prefixLength &&
             (prefixLength == 0 || memcmp(state->keyBuffer, prefix, prefixLength) == 0)) {
    known = iPTrie_MakeKey(state->keyBuffer, state->keyLength);
    start = FindBehind(trie->root, known, prefixLength);
  }
  return start.at != nullptr ? Deliver(start, known, *state) : 0;
}
