// A prefix trie: look-up, insertion and emptying. Every operation walks the key from the root and goes by the
// kind of node it reaches.
#include "qz/ptrie.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "containers/ptrie_internal.h"
#include "os/core/owned.h"
#include "qz/error.h"
#include "qz/memory.h"

namespace {

constexpr uint32_t kTag = 0x70747265u;  // "ptre"

// Where the value of a key stands, or null.
void** FindValue(const PTrieReference& root, PTrieKey key) {
  auto* at = const_cast<PTrieReference*>(&root);
  while (true) {
    switch (at->kind) {
      case PTrieNode::Value:
        return key.length == 0 ? &at->pointer : nullptr;
      case PTrieNode::String: {
        PTrieString& string = *StringOf(*at);
        if (key.length < string.length || memcmp(key.bytes, string.Bytes(), string.length) != 0)
          return nullptr;
        key.Skip(string.length);
        at = &string.next;
        break;
      }
      case PTrieNode::Branch:
      case PTrieNode::BranchWithValue: {
        PTrieBranch& branch = *BranchOf(*at);
        if (key.length == 0) return at->kind == PTrieNode::BranchWithValue ? &branch.value : nullptr;
        at = iPTrie_FindChild(branch, *key.bytes);
        if (at == nullptr) return nullptr;
        key.Skip(1);
        break;
      }
      default:
        return nullptr;
    }
  }
}

// A reference to what bytes lead to: a string of them in front of `next`, or `next` itself when there are
// none. Frees the string again unless it was taken.
class Run {
 public:
  Run(const uint8_t* bytes, uint32_t length, const PTrieReference& next) : reference_(next) {
    if (length == 0) return;
    string_.reset(iPTrie_NewString(bytes, length, next));
    reference_ = {string_.get(), PTrieNode::String, 0};
  }

  bool IsMade() const { return reference_.kind != PTrieNode::String || reference_.pointer != nullptr; }

  PTrieReference TakeFor(uint8_t byte) {
    string_.release();
    return {reference_.pointer, reference_.kind, byte};
  }

 private:
  PTrieReference reference_;
  Owned<PTrieString, Memory_Delete> string_;
};

// The rest of a key behind a branch's byte, with the key's value at its end.
Run NewTail(const PTrieKey& key, uint32_t branchByte, void* value) {
  return {key.bytes + branchByte + 1, key.length - branchByte - 1, {value, PTrieNode::Value, 0}};
}

constexpr size_t BranchSize(size_t count) {
  return sizeof(PTrieBranch) + count * sizeof(PTrieReference);
}

PTrieBranch* NewBranch(void* value) {
  // Room for two, the most that a new branch gets at once.
  auto* branch = static_cast<PTrieBranch*>(Memory_New(BranchSize(2)));
  if (branch != nullptr) *branch = {value, 0, 0};
  return branch;
}

// Puts a child at its sorted place; the room must be there.
void AddChild(PTrieBranch& branch, const PTrieReference& child) {
  PTrieReference* end = branch.Children() + branch.count;
  PTrieReference* place = branch.Children() + iPTrie_LowerBound(branch, child.byte);
  std::move_backward(place, end, end + 1);
  *place = child;
  ++branch.count;
}

ErrorCode InsertAtEmpty(PTrieReference& at, const PTrieKey& key, void* value) {
  Run whole(key.bytes, key.length, {value, PTrieNode::Value, 0});
  if (!whole.IsMade()) return Error_Memory;
  at = whole.TakeFor(at.byte);
  return Error_None;
}

// A value in the way becomes a branch that keeps it and has one child.
ErrorCode InsertAtValue(PTrieReference& at, const PTrieKey& key, void* value) {
  Run tail = NewTail(key, 0, value);
  PTrieBranch* branch = tail.IsMade() ? NewBranch(at.pointer) : nullptr;
  if (branch == nullptr) return Error_Memory;
  AddChild(*branch, tail.TakeFor(key.bytes[0]));
  at = {branch, PTrieNode::BranchWithValue, at.byte};
  return Error_None;
}

ErrorCode InsertAtBranchEnd(PTrieReference& at, void* value) {
  if (at.kind == PTrieNode::BranchWithValue) return Error_Exists;
  BranchOf(at)->value = value;
  at.kind = PTrieNode::BranchWithValue;
  return Error_None;
}

// Kept: without memory for the new node below a branch the status is Error_Fail; callers tell it from
// Error_Memory.
ErrorCode InsertChild(PTrieReference& at, const PTrieKey& key, void* value) {
  Run tail = NewTail(key, 0, value);
  if (!tail.IsMade()) return Error_Fail;
  void* grown = Memory_Realloc(at.pointer, BranchSize(BranchOf(at)->count + size_t{1}));
  if (grown == nullptr) return Error_Memory;
  at.pointer = grown;
  AddChild(*BranchOf(at), tail.TakeFor(key.bytes[0]));
  return Error_None;
}

// A key leaves a string after `shared` of its bytes. In the string's place come the shared bytes, if any,
// then a branch to the string's rest and, unless the key ends there, to the key's rest. All is made before
// anything is linked.
ErrorCode InsertInString(PTrieReference& at, const PTrieKey& key, uint32_t shared, void* value) {
  PTrieString& old = *StringOf(at);
  const bool keyEnds = key.length == shared;
  const auto kind = keyEnds ? PTrieNode::BranchWithValue : PTrieNode::Branch;
  Owned<PTrieBranch, Memory_Delete> branch(NewBranch(keyEnds ? value : nullptr));
  if (!branch) return Error_Memory;
  Run above(old.Bytes(), shared, {branch.get(), kind, 0});
  Run oldRest(old.Bytes() + shared + 1, old.length - shared - 1u, old.next);
  if (!above.IsMade() || !oldRest.IsMade()) return Error_Memory;
  if (!keyEnds) {
    Run tail = NewTail(key, shared, value);
    if (!tail.IsMade()) return Error_Fail;
    AddChild(*branch.get(), tail.TakeFor(key.bytes[shared]));
  }
  AddChild(*branch.get(), oldRest.TakeFor(old.Bytes()[shared]));
  branch.release();
  at = above.TakeFor(at.byte);
  Memory_Delete(&old);
  return Error_None;
}

// Freeing all nodes without recursion. Every reference that is followed down is turned around and refers to
// the node above, so the way up is in the trie itself: neither depth nor a lack of memory can stop the walk.
//
//   a string S, a branch B with two children, the values v and w
//   at the start   S.next = B         B[0] = v            B[1] = w   at = S, parent = nothing
//   at v           S.next = nothing   B[0] = S            B[1] = w   at = v, parent = B
//   at w           S.next = nothing   B[0] no longer used B[1] = S   at = w, parent = B
//
// A node is freed when the walk leaves its last child: here B, then S.

// The reference of a node that the walk has turned around.
PTrieReference& TurnedReference(const PTrieReference& node) {
  if (node.kind == PTrieNode::String) return StringOf(node)->next;
  return BranchOf(node)->Children()[BranchOf(node)->visiting];
}

// The next reference to follow down from a node, or null after its last one.
PTrieReference* NextReference(const PTrieReference& node) {
  if (node.kind == PTrieNode::String) return nullptr;
  PTrieBranch& branch = *BranchOf(node);
  if (branch.visiting + 1 == branch.count) return nullptr;
  return &branch.Children()[++branch.visiting];
}

// Goes down to the first value. A branch's own value comes before its children.
void GoDown(const PTrie& trie, PTrieReference& at, PTrieReference& parent) {
  while (at.kind != PTrieNode::Value) {
    if (at.kind != PTrieNode::String) BranchOf(at)->visiting = 0;
    if (at.kind == PTrieNode::BranchWithValue) iPTrie_CallDeleter(trie, BranchOf(at)->value);
    const PTrieReference below = std::exchange(TurnedReference(at), parent);
    parent = std::exchange(at, below);
  }
}

// Goes up to the first node that has another child, frees those that have none, and goes to that child. False
// when all nodes are freed.
bool GoUpToNextChild(PTrieReference& at, PTrieReference& parent) {
  while (parent.kind != PTrieNode::Empty) {
    const PTrieReference above = TurnedReference(parent);
    if (PTrieReference* next = NextReference(parent); next != nullptr) {
      at = std::exchange(*next, above);
      return true;
    }
    Memory_Delete(parent.pointer);
    parent = above;
  }
  return false;
}

// Frees everything below a reference and calls the deleter on all values, in the order of the keys.
void FreeNodes(const PTrie& trie, PTrieReference at) {
  if (at.kind == PTrieNode::Empty) return;
  PTrieReference parent = kPTrieNothing;
  do {
    GoDown(trie, at, parent);
    iPTrie_CallDeleter(trie, at.pointer);
  } while (GoUpToNextChild(at, parent));
}

}  // namespace

PTrieString* iPTrie_NewString(const uint8_t* bytes, uint32_t length, PTrieReference next) {
  static_assert(offsetof(PTrieString, length) + sizeof(uint16_t) == PTrieString::kBytesOffset);
  const size_t size = std::max(sizeof(PTrieString), PTrieString::kBytesOffset + length);
  auto* string = static_cast<PTrieString*>(Memory_New(size));
  if (string == nullptr) return nullptr;
  *string = {next, static_cast<uint16_t>(length)};
  if (bytes != nullptr) Memory_Copy(bytes, string->Bytes(), length);
  return string;
}

// The halving has no branch to predict: which half comes next is as good as random.
uint32_t iPTrie_LowerBound(PTrieBranch& branch, uint8_t byte) {
  const PTrieReference* children = branch.Children();
  const auto wanted = static_cast<int8_t>(byte);
  uint32_t low = 0;
  for (uint32_t left = branch.count; left != 0;) {
    const uint32_t half = (left + 1) / 2;
    const bool isBelow = static_cast<int8_t>(children[low + half - 1].byte) < wanted;
    low += isBelow ? half : 0;
    left = isBelow ? left - half : half - 1;
  }
  return low;
}

PTrieReference* iPTrie_FindChild(PTrieBranch& branch, uint8_t byte) {
  PTrieReference* child = branch.Children() + iPTrie_LowerBound(branch, byte);
  return child != branch.Children() + branch.count && child->byte == byte ? child : nullptr;
}

uint32_t iPTrie_CountShared(PTrieString& string, const PTrieKey& key) {
  const uint32_t limit = std::min<uint32_t>(string.length, key.length);
  const uint8_t* bytes = string.Bytes();
  return static_cast<uint32_t>(std::mismatch(bytes, bytes + limit, key.bytes).first - bytes);
}

PTrie* PTrie_New(PTrieDeleter valueDeleter) {
  auto* trie = static_cast<PTrie*>(Memory_New(sizeof(PTrie)));
  if (trie != nullptr) *trie = {kTag, valueDeleter, kPTrieNothing};
  return trie;
}

int32_t PTrie_FindElement(const PTrie* trie, const void* key, uint16_t length, void** value) {
  void** found = nullptr;
  if (iPTrie_IsUsable(trie, key, length)) found = FindValue(trie->root, iPTrie_MakeKey(key, length));
  if (value != nullptr) *value = found != nullptr ? *found : nullptr;
  return found != nullptr ? 1 : 0;
}

ErrorCode PTrie_InsertElement(PTrie* trie, const void* key, uint16_t length, void* value) {
  if (!iPTrie_IsUsable(trie, key, length)) return Error_Invalid;
  PTrieReference* at = &trie->root;
  PTrieKey rest = iPTrie_MakeKey(key, length);
  while (true) {
    switch (at->kind) {
      case PTrieNode::Value:
        return rest.length == 0 ? Error_Exists : InsertAtValue(*at, rest, value);
      case PTrieNode::String: {
        PTrieString& string = *StringOf(*at);
        const uint32_t shared = iPTrie_CountShared(string, rest);
        if (shared != string.length) return InsertInString(*at, rest, shared, value);
        rest.Skip(shared);
        at = &string.next;
        break;
      }
      case PTrieNode::Branch:
      case PTrieNode::BranchWithValue: {
        if (rest.length == 0) return InsertAtBranchEnd(*at, value);
        PTrieReference* child = iPTrie_FindChild(*BranchOf(*at), *rest.bytes);
        if (child == nullptr) return InsertChild(*at, rest, value);
        rest.Skip(1);
        at = child;
        break;
      }
      default:
        return InsertAtEmpty(*at, rest, value);
    }
  }
}

ErrorCode PTrie_ReplaceElement(PTrie* trie, const void* key, uint16_t length, void* value) {
  if (!iPTrie_IsUsable(trie, key, length)) return Error_Invalid;
  void** found = FindValue(trie->root, iPTrie_MakeKey(key, length));
  if (found == nullptr) return Error_NotFound;
  iPTrie_CallDeleter(*trie, std::exchange(*found, value));
  return Error_None;
}

void PTrie_Empty(PTrie* trie) {
  if (trie != nullptr) FreeNodes(*trie, std::exchange(trie->root, kPTrieNothing));
}

void PTrie_Delete(PTrie* trie) {
  PTrie_Empty(trie);
  Memory_Delete(trie);
}
