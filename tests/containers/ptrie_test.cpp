// PTrie: look-up, insertion, removal and ordered iteration.
#include "qz/ptrie.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "containers/ptrie_internal.h"
#include "os/core/owned.h"
#include "os/platform/clock.h"
#include "os/platform/thread.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "tests/support/container_models.h"
#include "tests/support/fail_allocation.h"

namespace {

using OwnedTrie = Owned<PTrie, PTrie_Delete>;
using Keys = std::vector<std::string>;

std::vector<void*>& Deleted() {
  static std::vector<void*> values;
  return values;
}

void RecordDeleted(void* value) {
  Deleted().push_back(value);
}

void* Number(uintptr_t number) {
  return reinterpret_cast<void*>(number);
}

int32_t Insert(PTrie* trie, const std::string& key, void* value) {
  return PTrie_InsertElement(trie, key.data(), static_cast<uint16_t>(key.size()), value);
}

int32_t Replace(PTrie* trie, const std::string& key, void* value) {
  return PTrie_ReplaceElement(trie, key.data(), static_cast<uint16_t>(key.size()), value);
}

int32_t Delete(PTrie* trie, const std::string& key) {
  return PTrie_DeleteElement(trie, key.data(), static_cast<uint16_t>(key.size()));
}

int32_t Find(const PTrie* trie, const std::string& key, void** value) {
  return PTrie_FindElement(trie, key.data(), static_cast<uint16_t>(key.size()), value);
}

// The value of a key that must be there.
void* At(const PTrie* trie, const std::string& key) {
  void* value = nullptr;
  EXPECT_EQ(Find(trie, key, &value), 1) << key;
  return value;
}

bool Has(const PTrie* trie, const std::string& key) {
  return Find(trie, key, nullptr) == 1;
}

// A trie of these keys with the values 1, 2, 3 ...
OwnedTrie NewTrie(const Keys& keys) {
  Deleted().clear();
  OwnedTrie trie(PTrie_New(RecordDeleted));
  uintptr_t number = 0;
  for (const std::string& key : keys) EXPECT_EQ(Insert(trie.get(), key, Number(++number)), Error_None) << key;
  return trie;
}

struct Iteration {
  explicit Iteration(uint32_t size) : buffer(size + 1, 0xEE) {
    state.keyBuffer = buffer.data();
    state.keyBufferSize = size;
  }
  int32_t Next(const PTrie* trie, const std::string& prefix = "") {
    return PTrie_Iterate(trie, prefix.data(), static_cast<uint16_t>(prefix.size()), &state);
  }
  std::string Key() const { return std::string(buffer.begin(), buffer.begin() + state.keyLength); }

  std::vector<uint8_t> buffer;
  PTrieState state{};
};

Keys KeysOf(const PTrie* trie, const std::string& prefix = "") {
  Keys keys;
  Iteration iteration(1000);
  while (iteration.Next(trie, prefix) == 1) {
    keys.push_back(iteration.Key());
    EXPECT_EQ(iteration.state.value, At(trie, keys.back()));
  }
  return keys;
}

TEST(PTrieFind, ReturnsZeroOnAnEmptyTrie) {
  OwnedTrie trie = NewTrie({});
  void* value = Number(9);
  EXPECT_EQ(Find(trie.get(), "a", &value), 0);
  EXPECT_EQ(value, nullptr);
  EXPECT_EQ(Find(trie.get(), "", nullptr), 0);
}

TEST(PTrieFind, TellsAKeyFromItsPrefixesAndExtensions) {
  OwnedTrie trie = NewTrie({"ab", "abc"});
  EXPECT_EQ(At(trie.get(), "ab"), Number(1));
  EXPECT_EQ(At(trie.get(), "abc"), Number(2));
  for (const char* absent : {"", "a", "abd", "abcd", "b", "aB"})
    EXPECT_FALSE(Has(trie.get(), absent)) << absent;
}

TEST(PTrieFind, GivesNull_WhenAbsent) {
  OwnedTrie trie = NewTrie({"key"});
  void* value = Number(9);
  EXPECT_EQ(Find(trie.get(), "kex", &value), 0);
  EXPECT_EQ(value, nullptr);
}

TEST(PTrieFind, TellsBytesApartThatAreEqualAsText) {
  OwnedTrie trie =
      NewTrie({std::string("a\0b", 3), std::string("a\0", 2), "a", std::string("\xFF\x80\x7F", 3)});
  EXPECT_EQ(At(trie.get(), std::string("a\0b", 3)), Number(1));
  EXPECT_EQ(At(trie.get(), std::string("a\0", 2)), Number(2));
  EXPECT_EQ(At(trie.get(), "a"), Number(3));
  EXPECT_EQ(At(trie.get(), "\xFF\x80\x7F"), Number(4));
  EXPECT_FALSE(Has(trie.get(), std::string("a\0c", 3)));
}

TEST(PTrie, ReadsNoFurtherThanTheKeysLength) {
  // Blocks of just the key's bytes, so that a byte too many is noticed.
  for (uint16_t length : {1, 2, 5}) {
    OwnedTrie trie = NewTrie({"abcdef", "abxyz"});
    const Owned<uint8_t, Memory_Delete> key(static_cast<uint8_t*>(Memory_New(length)));
    Memory_Copy("abcde", key.get(), length);
    void* value = nullptr;
    EXPECT_EQ(PTrie_FindElement(trie.get(), key.get(), length, nullptr), 0);
    EXPECT_EQ(PTrie_ReplaceElement(trie.get(), key.get(), length, Number(9)), Error_NotFound);
    EXPECT_EQ(PTrie_DeleteElement(trie.get(), key.get(), length), 0);
    Iteration iteration(6);
    EXPECT_EQ(PTrie_Iterate(trie.get(), key.get(), length, &iteration.state), 1);
    EXPECT_EQ(iteration.Key(), "abcdef");
    EXPECT_EQ(PTrie_InsertElement(trie.get(), key.get(), length, Number(3)), Error_None);
    EXPECT_EQ(PTrie_FindElement(trie.get(), key.get(), length, &value), 1);
    EXPECT_EQ(value, Number(3));
  }
}

TEST(PTrie, BeginsWithItsTag) {
  OwnedTrie trie = NewTrie({});
  EXPECT_EQ(trie->tag, 0x70747265u);
  EXPECT_EQ(trie->root.kind, 5);
}

TEST(PTrieInsert, MakesTheRootAStringOfTheWholeKey) {
  OwnedTrie trie = NewTrie({"whole key"});
  ASSERT_EQ(trie->root.kind, 2);
  EXPECT_EQ(StringOf(trie->root)->length, 9);
  EXPECT_EQ(StringOf(trie->root)->next.kind, 3);
}

TEST(PTrieInsert, MakesTheRootTheValueOfTheEmptyKey) {
  OwnedTrie trie = NewTrie({""});
  EXPECT_EQ(trie->root.kind, 3);
  EXPECT_EQ(At(trie.get(), ""), Number(1));
  EXPECT_EQ(Insert(trie.get(), "", Number(2)), Error_Exists);
  EXPECT_EQ(Insert(trie.get(), "a", Number(2)), Error_None);
  EXPECT_EQ(trie->root.kind, 1);
  EXPECT_EQ(At(trie.get(), ""), Number(1));
  EXPECT_EQ(At(trie.get(), "a"), Number(2));
}

TEST(PTrieInsert, AddsTheEmptyKeyAboveAString) {
  OwnedTrie trie = NewTrie({"abc", ""});
  ASSERT_EQ(trie->root.kind, 1);
  EXPECT_EQ(BranchOf(trie->root)->count, 1);
  EXPECT_EQ(At(trie.get(), ""), Number(2));
  EXPECT_EQ(At(trie.get(), "abc"), Number(1));
}

TEST(PTrieInsert, CutsAStringWhereKeysPart) {
  OwnedTrie trie = NewTrie({"abcdef", "abcxyz"});
  ASSERT_EQ(trie->root.kind, 2);
  EXPECT_EQ(StringOf(trie->root)->length, 3);
  const PTrieReference next = StringOf(trie->root)->next;
  ASSERT_EQ(next.kind, 0);
  EXPECT_EQ(BranchOf(next)->count, 2);
  EXPECT_EQ(At(trie.get(), "abcdef"), Number(1));
  EXPECT_EQ(At(trie.get(), "abcxyz"), Number(2));
}

TEST(PTrieInsert, MakesABranchOfOneChild_WhenTheKeyEndsInsideAString) {
  OwnedTrie trie = NewTrie({"abcdef", "abc"});
  ASSERT_EQ(trie->root.kind, 2);
  const PTrieReference next = StringOf(trie->root)->next;
  ASSERT_EQ(next.kind, 1);
  EXPECT_EQ(BranchOf(next)->count, 1);
  EXPECT_EQ(At(trie.get(), "abc"), Number(2));
}

TEST(PTrieInsert, GivesABranchTheValueOfAKeyThatEndsThere) {
  OwnedTrie trie = NewTrie({"a", "b"});
  ASSERT_EQ(trie->root.kind, 0);
  EXPECT_EQ(Insert(trie.get(), "", Number(3)), Error_None);
  EXPECT_EQ(trie->root.kind, 1);
  EXPECT_EQ(At(trie.get(), ""), Number(3));
}

TEST(PTrieInsert, ReturnsExistsAndKeepsTheValue_WhenKeyIsPresent) {
  const Keys keys = {"", "a", "ab", "abc", "abcdef", "x", "xyz"};
  OwnedTrie trie = NewTrie(keys);
  for (size_t i = 0; i < keys.size(); ++i) {
    EXPECT_EQ(Insert(trie.get(), keys[i], Number(99)), Error_Exists) << keys[i];
    EXPECT_EQ(At(trie.get(), keys[i]), Number(i + 1)) << keys[i];
  }
  EXPECT_TRUE(Deleted().empty());
}

TEST(PTrieInsert, KeepsABranchOfAllBytesSorted) {
  OwnedTrie trie = NewTrie({});
  for (int i = 0; i < 256; ++i) {
    const int byte = i * 91 % 256;
    ASSERT_EQ(Insert(trie.get(), std::string(1, static_cast<char>(byte)), Number(1000 + byte)), Error_None);
  }
  ASSERT_EQ(trie->root.kind, 0);
  ASSERT_EQ(BranchOf(trie->root)->count, 256);
  EXPECT_EQ(BranchOf(trie->root)->Children()[0].byte, 0x80);
  EXPECT_EQ(BranchOf(trie->root)->Children()[127].byte, 0xFF);
  EXPECT_EQ(BranchOf(trie->root)->Children()[128].byte, 0x00);
  EXPECT_EQ(BranchOf(trie->root)->Children()[255].byte, 0x7F);
  for (int byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(At(trie.get(), std::string(1, static_cast<char>(byte))), Number(1000 + byte));
  }
}

TEST(PTrieInsert, StoresNullValues) {
  OwnedTrie trie = NewTrie({});
  for (const char* key : {"a", "ab", ""}) {
    EXPECT_EQ(Insert(trie.get(), key, nullptr), Error_None);
    EXPECT_EQ(Insert(trie.get(), key, Number(1)), Error_Exists);
    EXPECT_EQ(At(trie.get(), key), nullptr);
  }
  EXPECT_EQ(KeysOf(trie.get()), (Keys{"", "a", "ab"}));
}

TEST(PTrieInsert, StoresTheLongestKey) {
  const std::string longest(65535, 'k');
  OwnedTrie trie = NewTrie({longest});
  EXPECT_EQ(At(trie.get(), longest), Number(1));
  EXPECT_FALSE(Has(trie.get(), longest.substr(1)));
  std::string other = longest;
  other.back() = 'x';
  EXPECT_EQ(Insert(trie.get(), other, Number(2)), Error_None);
  EXPECT_EQ(At(trie.get(), other), Number(2));
}

TEST(PTrieReplace, DeletesTheOldValue) {
  OwnedTrie trie = NewTrie({"ab", "abc"});
  EXPECT_EQ(Replace(trie.get(), "ab", Number(7)), Error_None);
  EXPECT_EQ(Replace(trie.get(), "abc", Number(8)), Error_None);
  EXPECT_EQ(Replace(trie.get(), "abc", Number(8)), Error_None);
  EXPECT_EQ(Deleted(), (std::vector<void*>{Number(1), Number(2), Number(8)}));
  EXPECT_EQ(At(trie.get(), "ab"), Number(7));
}

TEST(PTrieReplace, ReturnsNotFound_WhenKeyIsAbsent) {
  OwnedTrie trie = NewTrie({});
  EXPECT_EQ(Replace(trie.get(), "a", Number(1)), Error_NotFound);
  Insert(trie.get(), "ab", Number(1));
  EXPECT_EQ(Replace(trie.get(), "a", Number(2)), Error_NotFound);
  EXPECT_FALSE(Has(trie.get(), "a"));
}

TEST(PTrieReplace, StoresTheNewValueBeforeTheDeleterRuns) {
  static PTrie* trie;
  static std::vector<void*> found;
  found.clear();
  trie = PTrie_New([](void*) {
    if (Has(trie, "ab")) found.push_back(At(trie, "ab"));
  });
  EXPECT_EQ(Insert(trie, "ab", Number(1)), Error_None);
  EXPECT_EQ(Replace(trie, "ab", Number(2)), Error_None);
  EXPECT_EQ(found, (std::vector<void*>{Number(2)}));
  PTrie_Delete(trie);
}

TEST(PTrieDelete, LeavesTheOtherKeys) {
  OwnedTrie trie = NewTrie({"ab", "abc"});
  EXPECT_EQ(Delete(trie.get(), "abc"), 1);
  EXPECT_EQ(Deleted(), (std::vector<void*>{Number(2)}));
  EXPECT_EQ(At(trie.get(), "ab"), Number(1));
  EXPECT_FALSE(Has(trie.get(), "abc"));
}

TEST(PTrieDelete, ReturnsZero_WhenKeyIsAbsent) {
  OwnedTrie trie = NewTrie({"abc", "abd"});
  for (const char* absent : {"", "a", "ab", "abe", "abcd", "x"})
    EXPECT_EQ(Delete(trie.get(), absent), 0) << absent;
  EXPECT_TRUE(Deleted().empty());
  EXPECT_EQ(Delete(NewTrie({}).get(), ""), 0);
}

TEST(PTrieDelete, LeavesTheTrieEmpty_WhenTheLastKeyGoes) {
  for (const Keys& keys :
       {Keys{""}, Keys{"abc"}, Keys{"a", "b"}, Keys{"", "a"}, Keys{"abc", "abd", "ab", "x"}}) {
    const int64_t before = iMemory_CountLive();
    OwnedTrie trie = NewTrie(keys);
    for (const std::string& key : keys) EXPECT_EQ(Delete(trie.get(), key), 1);
    EXPECT_EQ(trie->root.kind, 5);
    EXPECT_EQ(iMemory_CountLive(), before + 1);
    EXPECT_EQ(Insert(trie.get(), "again", Number(1)), Error_None);
  }
}

TEST(PTrieDelete, FoldsABranchOfOneChildIntoTheStringsAroundIt) {
  OwnedTrie trie = NewTrie({"abcdef", "abcxyz"});
  EXPECT_EQ(Delete(trie.get(), "abcdef"), 1);
  ASSERT_EQ(trie->root.kind, 2);
  EXPECT_EQ(StringOf(trie->root)->length, 6);
  EXPECT_EQ(StringOf(trie->root)->next.kind, 3);
  EXPECT_EQ(At(trie.get(), "abcxyz"), Number(2));
}

TEST(PTrieDelete, TurnsABranchWithoutChildrenIntoItsValue) {
  OwnedTrie trie = NewTrie({"a", "ab"});
  EXPECT_EQ(Delete(trie.get(), "ab"), 1);
  ASSERT_EQ(trie->root.kind, 2);
  EXPECT_EQ(StringOf(trie->root)->next.kind, 3);
}

TEST(PTrieDelete, MarksTheKeyGoneBeforeTheDeleterRuns) {
  static PTrie* trie;
  static std::vector<int32_t> found;
  found.clear();
  trie = PTrie_New([](void*) { found.push_back(PTrie_FindElement(trie, "ab", 2, nullptr)); });
  for (const char* key : {"ab", "abc", "x"}) ASSERT_EQ(Insert(trie, key, Number(1)), Error_None);
  EXPECT_EQ(Delete(trie, "ab"), 1);
  EXPECT_EQ(Insert(trie, "ab", Number(1)), Error_None);
  PTrie_Delete(trie);
  EXPECT_EQ(found, (std::vector<int32_t>{0, 0, 0, 0}));
}

TEST(PTrieDelete, CallsTheDeleterOnNullValuesToo) {
  OwnedTrie trie = NewTrie({});
  for (const char* key : {"a", "ab", "abc", "x"}) EXPECT_EQ(Insert(trie.get(), key, nullptr), Error_None);
  EXPECT_EQ(Delete(trie.get(), "x"), 1);
  EXPECT_EQ(Deleted().size(), 1u);
  EXPECT_EQ(Replace(trie.get(), "ab", Number(5)), Error_None);
  EXPECT_EQ(Deleted().size(), 2u);
  PTrie_Empty(trie.get());
  EXPECT_EQ(Deleted(), (std::vector<void*>{nullptr, nullptr, nullptr, Number(5), nullptr}));
}

TEST(PTrieEmpty, DeletesAllValuesInTheOrderOfTheKeys) {
  OwnedTrie trie = NewTrie({"b", "", "ab", "a", "\xC1", "abcd", "abce", "\xC1zz"});
  const int64_t before = iMemory_CountLive();
  PTrie_Empty(trie.get());
  EXPECT_EQ(Deleted(), (std::vector<void*>{Number(2), Number(5), Number(8), Number(4), Number(3), Number(6),
                                           Number(7), Number(1)}));
  EXPECT_EQ(trie->root.kind, 5);
  EXPECT_LT(iMemory_CountLive(), before);
  EXPECT_EQ(Insert(trie.get(), "b", Number(1)), Error_None);
}

TEST(PTrieEmpty, ShowsTheDeleterAnEmptyTrie) {
  static PTrie* trie;
  static std::vector<int32_t> kinds;
  kinds.clear();
  trie = PTrie_New([](void*) { kinds.push_back(trie->root.kind); });
  for (const char* key : {"b", "ab", "", "abc"}) ASSERT_EQ(Insert(trie, key, Number(1)), Error_None);
  PTrie_Empty(trie);
  EXPECT_EQ(kinds, (std::vector<int32_t>{5, 5, 5, 5}));
  PTrie_Delete(trie);
}

TEST(PTrieDeleteAll, FreesEverything) {
  const int64_t before = iMemory_CountLive();
  NewTrie({"b", "", "ab", "a", "abcd", "abce"}).reset();
  EXPECT_EQ(iMemory_CountLive(), before);
  EXPECT_EQ(Deleted().size(), 6u);
}

TEST(PTrieIterate, DeliversKeysInSignedOrder) {
  OwnedTrie trie = NewTrie({"\x41", "\xC1"});
  EXPECT_EQ(KeysOf(trie.get()), (Keys{"\xC1", "\x41"}));

  OwnedTrie more = NewTrie({"\x7F", std::string(1, '\0'), "\x80", "\xFF", "", "\x80\x01", "\x80\xFF"});
  EXPECT_EQ(KeysOf(more.get()),
            (Keys{"", "\x80", "\x80\xFF", "\x80\x01", "\xFF", std::string(1, '\0'), "\x7F"}));
}

TEST(PTrieIterate, DeliversAKeyBeforeItsExtensions) {
  OwnedTrie trie = NewTrie({"abc", "ab", "a", "abcd", "ac"});
  EXPECT_EQ(KeysOf(trie.get()), (Keys{"a", "ab", "abc", "abcd", "ac"}));
}

TEST(PTrieIterate, KeepsToThePrefix) {
  OwnedTrie trie = NewTrie({"apple", "apply", "app", "apricot", "banana", ""});
  EXPECT_EQ(KeysOf(trie.get(), "app"), (Keys{"app", "apple", "apply"}));
  EXPECT_EQ(KeysOf(trie.get(), "ap"), (Keys{"app", "apple", "apply", "apricot"}));
  EXPECT_EQ(KeysOf(trie.get(), "appl"), (Keys{"apple", "apply"}));
  EXPECT_EQ(KeysOf(trie.get(), "apr"), (Keys{"apricot"}));
  EXPECT_EQ(KeysOf(trie.get(), "ban"), (Keys{"banana"}));
  EXPECT_EQ(KeysOf(trie.get(), "banana"), (Keys{"banana"}));
  for (const char* none : {"bananas", "bax", "c", "appleX", "aq"})
    EXPECT_EQ(KeysOf(trie.get(), none), Keys{}) << none;
  EXPECT_EQ(KeysOf(trie.get()), (Keys{"", "app", "apple", "apply", "apricot", "banana"}));

  // "bas" leaves the shared bytes "banana" before the branch that "s" would lead on from.
  OwnedTrie branched = NewTrie({"bananas", "bananat"});
  EXPECT_EQ(KeysOf(branched.get(), "bas"), Keys{});
  EXPECT_EQ(KeysOf(branched.get(), "bananas"), (Keys{"bananas"}));
}

TEST(PTrieIterate, EndsAtOnceOnAnEmptyTrie) {
  OwnedTrie trie = NewTrie({});
  Iteration iteration(10);
  EXPECT_EQ(iteration.Next(trie.get()), 0);
  EXPECT_EQ(iteration.Next(trie.get(), "a"), 0);
}

TEST(PTrieIterate, DeliversTheEmptyKeyOnce) {
  OwnedTrie trie = NewTrie({""});
  Iteration iteration(0);
  EXPECT_EQ(iteration.Next(trie.get()), 1);
  EXPECT_EQ(iteration.state.keyLength, 0u);
  EXPECT_EQ(iteration.state.value, Number(1));
  EXPECT_EQ(iteration.Next(trie.get()), 0);
  EXPECT_EQ(iteration.state.value, nullptr);

  PTrieState bare{};
  EXPECT_EQ(PTrie_Iterate(trie.get(), nullptr, 0, &bare), 1);
}

TEST(PTrieIterate, FillsTheBufferToTheLastByte) {
  OwnedTrie trie = NewTrie({"abcd"});
  Iteration iteration(4);
  EXPECT_EQ(iteration.Next(trie.get()), 1);
  EXPECT_EQ(iteration.Key(), "abcd");
  EXPECT_EQ(iteration.buffer[4], 0xEE) << "a terminator or more was written behind the buffer";
}

TEST(PTrieIterate, ReturnsExceed_WhenAKeyIsLongerThanTheBuffer) {
  OwnedTrie trie = NewTrie({"ab", "abcde", "x"});
  Iteration iteration(4);
  EXPECT_EQ(iteration.Next(trie.get()), 1);
  for (int again = 0; again < 2; ++again) {
    EXPECT_EQ(iteration.Next(trie.get()), 5);
    EXPECT_EQ(iteration.Key(), "ab");
    EXPECT_EQ(iteration.state.value, nullptr);
  }
  Iteration first(3);
  EXPECT_EQ(first.Next(trie.get(), "abcd"), 5);
}

TEST(PTrieIterate, GoesOnBehindTheLastKey_WhenTheTrieChanges) {
  OwnedTrie trie = NewTrie({"b", "d", "f"});
  Iteration iteration(10);
  EXPECT_EQ(iteration.Next(trie.get()), 1);
  Delete(trie.get(), "b");
  Insert(trie.get(), "a", Number(8));
  Insert(trie.get(), "bb", Number(9));
  Insert(trie.get(), "c", Number(10));
  EXPECT_EQ(iteration.Next(trie.get()), 1);
  EXPECT_EQ(iteration.Key(), "bb");
  EXPECT_EQ(iteration.Next(trie.get()), 1);
  EXPECT_EQ(iteration.Key(), "c");
  Delete(trie.get(), "d");
  EXPECT_EQ(iteration.Next(trie.get()), 1);
  EXPECT_EQ(iteration.Key(), "f");
  PTrie_Empty(trie.get());
  EXPECT_EQ(iteration.Next(trie.get()), 0);
  Insert(trie.get(), "g", Number(1));
  EXPECT_EQ(iteration.Next(trie.get()), 1);
  EXPECT_EQ(iteration.Key(), "g");
}

TEST(PTrieIterate, ComparesSignedBytes_WhenTheLastKeyIsGone) {
  OwnedTrie trie = NewTrie({"b\x41", "b\xC1x"});
  Iteration iteration(10);
  EXPECT_EQ(iteration.Next(trie.get()), 1);
  EXPECT_EQ(iteration.Key(), "b\xC1x");
  EXPECT_EQ(Delete(trie.get(), "b\xC1x"), 1);
  // One string is left. Its 0x41 lies behind the 0xC1 of the key that was delivered ...
  EXPECT_EQ(iteration.Next(trie.get()), 1);
  EXPECT_EQ(iteration.Key(), "b\x41");
  // ... and the other way round it does not.
  EXPECT_EQ(Insert(trie.get(), "b\xC1y", Number(3)), Error_None);
  EXPECT_EQ(Delete(trie.get(), "b\x41"), 1);
  EXPECT_EQ(iteration.Next(trie.get()), 0);
}

TEST(PTrieIterate, KeepsToThePrefix_WhenItsKeyWasRemoved) {
  OwnedTrie extended = NewTrie({"xa1", "xbcd", "xbcdef", "xbd"});
  Iteration first(10);
  EXPECT_EQ(first.Next(extended.get(), "xbc"), 1);
  EXPECT_EQ(first.Key(), "xbcd");
  Delete(extended.get(), "xbcd");
  EXPECT_EQ(first.Next(extended.get(), "xbc"), 1);
  EXPECT_EQ(first.Key(), "xbcdef");
  EXPECT_EQ(first.Next(extended.get(), "xbc"), 0);

  OwnedTrie beside = NewTrie({"xa", "xbcz", "xbd"});
  Iteration second(10);
  EXPECT_EQ(second.Next(beside.get(), "xbcz"), 1);
  Delete(beside.get(), "xbcz");
  EXPECT_EQ(second.Next(beside.get(), "xbcz"), 0);
}

TEST(PTrieIterate, EndsWhenThePrefixIsNoLongerTheKeysOwn) {
  OwnedTrie trie = NewTrie({"ab", "ac", "acd"});
  Iteration iteration(2);
  EXPECT_EQ(iteration.Next(trie.get(), "a"), 1);
  EXPECT_EQ(iteration.Key(), "ab");
  EXPECT_EQ(iteration.Next(trie.get(), "ac"), 0);
  EXPECT_EQ(iteration.Next(trie.get(), std::string(65535, 'a')), 0) << "longer than the buffer";
  EXPECT_EQ(iteration.Next(trie.get(), "a"), 1);
  EXPECT_EQ(iteration.Key(), "ac");
}

TEST(PTrieIterate, AllowsEveryKeyToBeDeletedAsItComes) {
  OwnedTrie trie = NewTrie({"a", "ab", "abc", "b", "bcd", "bce", ""});
  Iteration iteration(10);
  int count = 0;
  for (; iteration.Next(trie.get()) == 1; ++count) EXPECT_EQ(Delete(trie.get(), iteration.Key()), 1);
  EXPECT_EQ(count, 7);
  EXPECT_EQ(trie->root.kind, 5);
}

TEST(PTrieIterate, RefusesAStateThatCannotBe) {
  OwnedTrie trie = NewTrie({"a"});
  PTrieState state{};
  state.keyBufferSize = 4;
  EXPECT_EQ(PTrie_Iterate(trie.get(), nullptr, 0, &state), Error_Invalid);
  EXPECT_EQ(PTrie_Iterate(trie.get(), nullptr, 0, nullptr), Error_Invalid);
  EXPECT_EQ(PTrie_Iterate(trie.get(), nullptr, 1, &state), Error_Invalid);
  EXPECT_EQ(PTrie_Iterate(nullptr, nullptr, 0, &state), Error_Invalid);
  Iteration iteration(4);
  iteration.state.started = 1;
  iteration.state.keyLength = 5;
  EXPECT_EQ(iteration.Next(trie.get()), Error_Invalid);
}

TEST(PTrie, RefusesNullPointers) {
  OwnedTrie trie = NewTrie({"a"});
  void* value = Number(5);
  EXPECT_EQ(PTrie_FindElement(nullptr, "a", 1, &value), 0);
  EXPECT_EQ(value, nullptr);
  EXPECT_EQ(PTrie_FindElement(trie.get(), nullptr, 1, nullptr), 0);
  EXPECT_EQ(PTrie_InsertElement(nullptr, "a", 1, nullptr), Error_Invalid);
  EXPECT_EQ(PTrie_InsertElement(trie.get(), nullptr, 1, nullptr), Error_Invalid);
  EXPECT_EQ(PTrie_ReplaceElement(nullptr, "a", 1, nullptr), Error_Invalid);
  EXPECT_EQ(PTrie_DeleteElement(nullptr, "a", 1), 0);
  EXPECT_EQ(PTrie_InsertElement(trie.get(), nullptr, 0, Number(2)), Error_None);
  EXPECT_EQ(PTrie_FindElement(trie.get(), nullptr, 0, nullptr), 1);
  EXPECT_EQ(PTrie_DeleteElement(trie.get(), nullptr, 0), 1);
  PTrie_Empty(nullptr);
  PTrie_Delete(nullptr);
}

TEST(PTrie, NeedsNoDeleter) {
  OwnedTrie trie(PTrie_New(nullptr));
  Insert(trie.get(), "a", Number(1));
  Insert(trie.get(), "ab", Number(2));
  EXPECT_EQ(Replace(trie.get(), "a", Number(3)), Error_None);
  EXPECT_EQ(Delete(trie.get(), "a"), 1);
}

// ---- memory --------------------------------------------------------------------------------------

// Inserts `key` beside `keys` with the n-th allocation of that step failing; gives the status.
int32_t InsertFailing(const Keys& keys, const std::string& key, int64_t n) {
  OwnedTrie trie = NewTrie(keys);
  const int64_t before = iMemory_CountLive();
  iMemory_FailAllocation(n);
  const int32_t status = Insert(trie.get(), key, Number(50));
  iMemory_FailAllocation(0);
  EXPECT_EQ(Has(trie.get(), key), status == 0);
  if (status != 0) {
    EXPECT_EQ(iMemory_CountLive(), before);
  }
  for (size_t i = 0; i < keys.size(); ++i) EXPECT_EQ(At(trie.get(), keys[i]), Number(i + 1)) << keys[i];
  EXPECT_TRUE(Deleted().empty());
  return status;
}

TEST(PTrieMemory, LeavesTheTrieUnchanged_WhenAnInsertFails) {
  EXPECT_EQ(InsertFailing({}, "abc", 1), 1);
  // A value in the way: the tail, the branch.
  EXPECT_EQ(InsertFailing({"a"}, "abc", 1), 1);
  EXPECT_EQ(InsertFailing({"a"}, "abc", 2), 1);
  EXPECT_EQ(InsertFailing({"a"}, "abc", 3), 0);
  // A branch without the byte: the tail is the node inside the branch, then the branch must grow.
  EXPECT_EQ(InsertFailing({"a", "b"}, "cde", 1), Error_Fail);
  EXPECT_EQ(InsertFailing({"a", "b"}, "cde", 2), 1);
  EXPECT_EQ(InsertFailing({"a", "b"}, "cde", 3), 0);
  // A string in the way: the branch, the shared bytes, the old rest, the tail.
  EXPECT_EQ(InsertFailing({"abcdef"}, "abcxyz", 1), 1);
  EXPECT_EQ(InsertFailing({"abcdef"}, "abcxyz", 2), 1);
  EXPECT_EQ(InsertFailing({"abcdef"}, "abcxyz", 3), 1);
  EXPECT_EQ(InsertFailing({"abcdef"}, "abcxyz", 4), Error_Fail);
  EXPECT_EQ(InsertFailing({"abcdef"}, "abcxyz", 5), 0);
  // The key ends in the string.
  EXPECT_EQ(InsertFailing({"abcdef"}, "abc", 1), 1);
  EXPECT_EQ(InsertFailing({"abcdef"}, "abc", 3), 1);
  EXPECT_EQ(InsertFailing({"abcdef"}, "abc", 4), 0);
}

TEST(PTrieMemory, DeletesEvenWithoutMemory) {
  const Keys keys = {"abcdef", "abcxyz", "abc", "ab", "q", "", "abcxy"};
  for (const std::string& first : keys) {
    OwnedTrie trie = NewTrie(keys);
    const auto deleteWithoutMemory = [&](const std::string& key) {
      iMemory_FailAllocation(1);
      EXPECT_EQ(Delete(trie.get(), key), 1) << key;
      iMemory_FailAllocation(0);
    };
    deleteWithoutMemory(first);
    for (const std::string& key : keys) EXPECT_EQ(Has(trie.get(), key), key != first) << key;
    EXPECT_EQ(Insert(trie.get(), first, Number(9)), Error_None);
    Keys sorted = {"", "ab", "abc", "abcdef", "abcxy", "abcxyz", "q"};
    EXPECT_EQ(KeysOf(trie.get()), sorted);
    for (const std::string& key : keys) deleteWithoutMemory(key);
    EXPECT_EQ(trie->root.kind, 5);
  }
}

TEST(PTrieMemory, SurvivesEveryFailure) {
  FailEveryAllocation([] {
    OwnedTrie trie(PTrie_New(nullptr));
    if (!trie) return;
    Keys stored;
    for (const char* key : {"abcdef", "abcxyz", "abc", "q", "", "qq", "qqa", "qqb", "qqc"}) {
      const int32_t status = Insert(trie.get(), key, Number(1));
      ASSERT_TRUE(status == 0 || status == 1 || status == -1) << status;
      if (status == 0) stored.push_back(key);
    }
    for (const std::string& key : stored) ASSERT_TRUE(Has(trie.get(), key)) << key;
    for (const std::string& key : stored) ASSERT_EQ(Delete(trie.get(), key), 1) << key;
    ASSERT_EQ(trie->root.kind, 5);
  });
}

// ---- depth ---------------------------------------------------------------------------------------

constexpr uint16_t kDepth = 65535;

// A trie with a key of every length up to kDepth, all bytes 'a': a level for every byte. Through the
// interface every insertion would go down all levels, so the nodes are put together here.
PTrie* NewDeepTrie() {
  PTrieReference below = {Number(kDepth), PTrieNode::Value, 'a'};
  for (uintptr_t length = kDepth; length-- > 0;) {
    auto* branch = static_cast<PTrieBranch*>(Memory_New(sizeof(PTrieBranch) + sizeof(PTrieReference)));
    *branch = {Number(length), 1, 0};
    branch->Children()[0] = below;
    below = {branch, PTrieNode::BranchWithValue, 'a'};
  }
  PTrie* trie = PTrie_New(nullptr);
  trie->root = below;
  return trie;
}

// Returns 100, or the number of the step that went wrong.
int32_t UseDeepTrie() {
  const std::string longest(kDepth, 'a');
  PTrie* trie = NewDeepTrie();
  if (At(trie, longest) != Number(65535) || At(trie, longest.substr(1)) != Number(65534)) return 1;

  Iteration iteration(kDepth);
  if (iteration.Next(trie, longest.substr(2)) != 1 || iteration.state.keyLength != 65533) return 2;
  if (iteration.Next(trie) != 1 || iteration.state.keyLength != 65534) return 3;
  if (iteration.Next(trie) != 1 || iteration.state.keyLength != 65535) return 4;
  if (iteration.Next(trie) != 0) return 5;

  const std::string beside = longest.substr(1) + "b";
  if (Insert(trie, beside, Number(7)) != 0 || At(trie, beside) != Number(7)) return 6;
  if (Replace(trie, longest, Number(8)) != 0 || At(trie, longest) != Number(8)) return 7;
  if (Delete(trie, beside) != 1 || Delete(trie, longest) != 1 || Has(trie, longest)) return 8;
  PTrie_Delete(trie);
  return 100;
}

TEST(PTrieDepth, NeedsNoStackForEveryLevel) {
  const int64_t before = iMemory_CountLive();
  static std::atomic<int32_t> result;
  result = 0;
  const platform::ThreadStart start = {[](void*) -> int32_t {
                                         result = UseDeepTrie();
                                         return 0;
                                       },
                                       nullptr};
  constexpr uint32_t kSmallStackBytes = 0x20000;
  ASSERT_TRUE(platform::StartThread(&start, kSmallStackBytes));
  while (result == 0) platform::SleepMilliseconds(1);
  EXPECT_EQ(result, 100);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(PTrieDepth, IsBuiltAndTakenDownByTheInterface) {
  OwnedTrie trie = NewTrie({});
  const std::string longest(2000, 'a');
  for (size_t length = 0; length <= 2000; ++length) {
    ASSERT_EQ(Insert(trie.get(), longest.substr(length), Number(length)), Error_None);
  }
  const Keys keys = KeysOf(trie.get(), std::string(990, 'a'));
  ASSERT_EQ(keys.size(), 11u);
  EXPECT_EQ(keys[0].size(), 990u);
  for (size_t length = 0; length <= 2000; length += 2)
    ASSERT_EQ(Delete(trie.get(), longest.substr(length)), 1);
  for (size_t length = 1; length <= 2000; length += 2)
    ASSERT_EQ(At(trie.get(), longest.substr(length)), Number(length));
}

// ---- against the model ---------------------------------------------------------------------------

TEST(PTrieRandom, AgreesWithAMap) {
  std::mt19937 random(20250102);
  const char alphabet[] = {'a', 'b', '\x00', '\xC1'};
  OwnedTrie trie = NewTrie({});
  PTrieModel model;
  for (int step = 0; step < 20000; ++step) {
    std::string key;
    for (uint32_t length = random() % 7; length > 0; --length) key += alphabet[random() % 4];
    const bool present = model.count(key) != 0;
    const bool filling = step / 3000 % 2 == 0;
    void* value = Number(random() % 1000);
    if ((random() % 4 != 0) == filling) {
      ASSERT_EQ(Insert(trie.get(), key, value), present ? 3 : 0);
      model.emplace(key, value);
    } else {
      ASSERT_EQ(Delete(trie.get(), key), present ? 1 : 0);
      model.erase(key);
    }
    Iteration iteration(10);
    std::copy(key.begin(), key.end(), iteration.buffer.begin());
    iteration.state.keyLength = static_cast<uint32_t>(key.size());
    iteration.state.started = 1;
    const auto next = model.upper_bound(key);
    ASSERT_EQ(iteration.Next(trie.get()), next != model.end() ? 1 : 0);
    if (next != model.end()) {
      ASSERT_EQ(iteration.Key(), next->first);
    }
    if (step % 200 != 0) continue;
    Keys expected;
    for (const auto& [name, stored] : model) {
      expected.push_back(name);
      ASSERT_EQ(At(trie.get(), name), stored);
    }
    ASSERT_EQ(KeysOf(trie.get()), expected);
  }
}

}  // namespace
