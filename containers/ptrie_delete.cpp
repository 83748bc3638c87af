// Removing a key from a prefix trie. What remains has the shape it would have had without the key: a branch
// that is left with one child and no value becomes part of the string around it.
#include <algorithm>
#include <utility>

#include "containers/ptrie_internal.h"
#include "qz/memory.h"
#include "qz/ptrie.h"

namespace {

// A run is zero or more strings and the branch or value behind them; begin refers to its first node.
struct Place {
  PTrieReference* begin = nullptr;  // of the run that was reached
  PTrieReference* end = nullptr;    // refers to the branch or value behind the strings
};

// The run in which a key ends, and the run before it, whose branch has this run as a child.
struct Path {
  Place before;  // null when the key ends in the first run
  Place last;
};

// Leaves the path at the value of the key; false when the key is absent.
bool Walk(PTrie& trie, PTrieKey key, Path& path) {
  path.last = {&trie.root, &trie.root};
  while (true) {
    PTrieReference& at = *path.last.end;
    switch (at.kind) {
      case PTrieNode::Value:
        return key.length == 0;
      case PTrieNode::String: {
        PTrieString& string = *StringOf(at);
        if (iPTrie_CountShared(string, key) != string.length) return false;
        key.Skip(string.length);
        path.last.end = &string.next;
        break;
      }
      case PTrieNode::Branch:
      case PTrieNode::BranchWithValue: {
        if (key.length == 0) return at.kind == PTrieNode::BranchWithValue;
        PTrieReference* child = iPTrie_FindChild(*BranchOf(at), *key.bytes);
        if (child == nullptr) return false;
        key.Skip(1);
        path.before = path.last;
        path.last = {child, child};
        break;
      }
      default:
        return false;
    }
  }
}

// Frees the strings of a run; what is behind them stays.
void FreeStrings(PTrieReference at) {
  while (at.kind == PTrieNode::String) {
    const PTrieReference next = StringOf(at)->next;
    Memory_Delete(at.pointer);
    at = next;
  }
}

// Turns a branch with one child into a string of one byte, in its own memory, so that it cannot fail.
void TurnIntoString(PTrieReference& at) {
  static_assert(sizeof(PTrieString) + 1 <= sizeof(PTrieBranch) + sizeof(PTrieReference));
  const PTrieReference child = BranchOf(at)->Children()[0];
  PTrieString* string = StringOf(at);
  *string = {child, 1};
  *string->Bytes() = child.byte;
  at.kind = PTrieNode::String;
}

// Joins the strings of a run into one. Without memory they stay as they are, which no look-up notices.
void JoinStrings(PTrieReference& begin) {
  uint32_t length = 0;
  PTrieReference behind = begin;
  for (; behind.kind == PTrieNode::String; behind = StringOf(behind)->next)
    length += StringOf(behind)->length;
  if (StringOf(begin)->length == length) return;

  PTrieString* joined = iPTrie_NewString(nullptr, length, behind);
  if (joined == nullptr) return;
  uint8_t* bytes = joined->Bytes();
  for (PTrieReference at = begin; at.kind == PTrieNode::String; at = StringOf(at)->next) {
    bytes = std::copy_n(StringOf(at)->Bytes(), StringOf(at)->length, bytes);
  }
  FreeStrings(std::exchange(begin, {joined, PTrieNode::String, begin.byte}));
}

// Folds a branch that has lost what it was for into the strings around it.
void FoldBranch(const Place& run) {
  if (run.end->kind != PTrieNode::Branch || BranchOf(*run.end)->count != 1) return;
  TurnIntoString(*run.end);
  JoinStrings(*run.begin);
}

void RemoveChild(const Place& run, PTrieReference* child) {
  PTrieBranch& branch = *BranchOf(*run.end);
  std::move(child + 1, branch.Children() + branch.count, child);
  --branch.count;
  if (branch.count != 0) {
    FoldBranch(run);
    return;
  }
  // Only a branch with a value can have had a single child.
  *run.end = {branch.value, PTrieNode::Value, run.end->byte};
  Memory_Delete(&branch);
}

void* RemoveBranchValue(const Path& path) {
  path.last.end->kind = PTrieNode::Branch;
  void* value = BranchOf(*path.last.end)->value;
  FoldBranch(path.last);
  return value;
}

void* RemoveValue(const Path& path) {
  void* value = path.last.end->pointer;
  FreeStrings(*path.last.begin);
  if (path.before.begin == nullptr) {
    *path.last.begin = kPTrieNothing;
  } else {
    RemoveChild(path.before, path.last.begin);
  }
  return value;
}

}  // namespace

int32_t PTrie_DeleteElement(PTrie* trie, const void* key, uint16_t length) {
  if (!iPTrie_IsUsable(trie, key, length)) return 0;
  Path path;
  if (!Walk(*trie, iPTrie_MakeKey(key, length), path)) return 0;
  const bool atBranch = path.last.end->kind == PTrieNode::BranchWithValue;
  iPTrie_CallDeleter(*trie, atBranch ? RemoveBranchValue(path) : RemoveValue(path));
  return 1;
}
