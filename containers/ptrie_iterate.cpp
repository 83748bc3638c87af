// Walking the keys of a prefix trie in order. The state holds no pointer into the trie, only the key
// delivered last, and every call looks for the first key after it: the trie may change between the calls,
// and a call costs one walk down.
#include <cstring>

#include "containers/ptrie_internal.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/ptrie.h"

namespace {

// A part of the trie whose first key is the one to deliver, and the bytes that lead there: the first `depth`
// of a known key, then, when the part is a branch's child, the byte of its reference.
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

// Looks for the keys that come next after a given one. In a trie of "car", "card", "care", "cat" and "dog",
// after "card":
//
//   branch -+- c: "a", branch -+- r: branch, value of "car" -+- d: value of "card"   the walk follows the key
//           |                  |                             +- e: value of "care"   third turn: the result
//           |                  +- t: value of "cat"                                  second turn
//           +- d: "og", value of "dog"                                               first turn
//
// At every branch the walk notes the turn to the next greater child. A deeper turn replaces one above it: its
// keys come earlier. The walk ends where the key leaves the trie or ends in it:
//   at a branch, the key is used up       its children extend the key, so the first one is the result
//   in a string, the key ends or is less  the string is the result
//   anywhere else                         the last turn that was noted
// A part counts only when its keys share the first `prefixLength` bytes with the key.
class SuccessorSearch {
 public:
  SuccessorSearch(const PTrieReference& root, const PTrieKey& key, uint32_t prefixLength)
      : at_(&root), rest_(key), prefixLength_(prefixLength) {}

  Start Run() {
    bool isOnWay = true;
    while (isOnWay) {
      isOnWay = at_->kind == PTrieNode::String ? PassString() : IsBranch(*at_) && PassBranch();
    }
    return found_;
  }

 private:
  bool PassString() {
    PTrieString& string = *StringOf(*at_);
    const uint32_t shared = iPTrie_CountShared(string, rest_);
    if (shared == string.length) return GoTo(&string.next, shared);
    const bool isAfter = shared == rest_.length || IsBelow(rest_.bytes[shared], string.Bytes()[shared]);
    if (isAfter && depth_ + shared >= prefixLength_) found_ = {at_, depth_, false};
    return false;
  }

  bool PassBranch() {
    PTrieBranch& branch = *BranchOf(*at_);
    const PTrieReference* end = branch.Children() + branch.count;
    if (rest_.length == 0) {
      found_ = {branch.Children(), depth_, true};
      return false;
    }
    const PTrieReference* child = branch.Children() + iPTrie_LowerBound(branch, *rest_.bytes);
    const bool isOnWay = child != end && child->byte == *rest_.bytes;
    const PTrieReference* turn = isOnWay ? child + 1 : child;
    if (turn != end && depth_ >= prefixLength_) found_ = {turn, depth_, true};
    return isOnWay && GoTo(child, 1);
  }

  bool GoTo(const PTrieReference* next, uint32_t passed) {
    at_ = next;
    rest_.Skip(passed);
    depth_ += passed;
    return true;
  }

  const PTrieReference* at_;
  PTrieKey rest_;  // of the key, from here on
  uint32_t prefixLength_;
  uint32_t depth_ = 0;  // bytes of the key that lead here
  Start found_;         // the last turn, or the result
};

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
    start = SuccessorSearch(trie->root, known, prefixLength).Run();
  }
  return start.at != nullptr ? Deliver(start, known, *state) : 0;
}
