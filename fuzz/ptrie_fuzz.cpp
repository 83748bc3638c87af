// Random operations on a prefix trie beside a map, some of them without memory.
//
// Input, per operation: what, the key's length, the key's bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "os/core/memory_testing.h"
#include "qz/error.h"
#include "qz/ptrie.h"
#include "tests/support/container_models.h"

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

std::vector<void*> deleted;

void RecordDeleted(void* value) {
  deleted.push_back(value);
}

// Walks the keys with this prefix in a buffer that holds them all.
void CompareKeys(const PTrie* trie, const PTrieModel& model, const std::string& prefix) {
  uint8_t buffer[64];
  PTrieState state{buffer, sizeof buffer, 0, nullptr, 0};
  for (const auto& [key, value] : model) {
    if (key.compare(0, prefix.size(), prefix) != 0) continue;
    Require(PTrie_Iterate(trie, prefix.data(), static_cast<uint16_t>(prefix.size()), &state) == 1);
    Require(std::string(buffer, buffer + state.keyLength) == key && state.value == value);
  }
  Require(PTrie_Iterate(trie, prefix.data(), static_cast<uint16_t>(prefix.size()), &state) == 0);
}

// One step from any key, present or not, into a buffer that may be too small.
void CompareNext(const PTrie* trie, const PTrieModel& model, const std::string& after, uint32_t bufferSize) {
  uint8_t buffer[64];
  std::copy(after.begin(), after.end(), buffer);
  if (bufferSize < after.size()) bufferSize = static_cast<uint32_t>(after.size());
  PTrieState state{buffer, bufferSize, static_cast<uint32_t>(after.size()), nullptr, 1};
  const auto next = model.upper_bound(after);
  const int32_t expected = next == model.end() ? 0 : next->first.size() > bufferSize ? 5 : 1;
  Require(PTrie_Iterate(trie, nullptr, 0, &state) == expected);
  Require(std::string(buffer, buffer + state.keyLength) == (expected == 1 ? next->first : after));
}

void Operate(PTrie* trie, PTrieModel& model, uint8_t operation, const std::string& key) {
  const auto length = static_cast<uint16_t>(key.size());
  auto* value = reinterpret_cast<void*>(uintptr_t{operation});
  const bool present = model.count(key) != 0;
  std::vector<void*> expectedDeleted;
  if (present && (operation & 7) >= 3 && (operation & 7) <= 5) expectedDeleted.push_back(model[key]);
  deleted.clear();
  const bool failing = (operation & 0xC0) == 0xC0;
  if (failing) iMemory_FailAllocation(1 + (operation >> 3 & 3));
  switch (operation & 7) {
    case 0:
    case 1:
    case 2: {
      const ErrorCode status = PTrie_InsertElement(trie, key.data(), length, value);
      const bool isOutOfMemory = status == Error_Memory || status == Error_Fail;
      Require(present ? status == Error_Exists : status == Error_None || (failing && isOutOfMemory));
      if (status == Error_None) model[key] = value;
      break;
    }
    case 3:
    case 4:
      Require(PTrie_DeleteElement(trie, key.data(), length) == (present ? 1 : 0));
      model.erase(key);
      break;
    case 5:
      Require(PTrie_ReplaceElement(trie, key.data(), length, value) == (present ? 0 : -3));
      if (present) model[key] = value;
      break;
    case 6:
      CompareKeys(trie, model, key);
      break;
    default:
      CompareNext(trie, model, key, operation >> 3);
  }
  iMemory_FailAllocation(0);
  Require(deleted == expectedDeleted);
  void* found = nullptr;
  const auto expected = model.find(key);
  Require(PTrie_FindElement(trie, key.data(), length, &found) == (expected != model.end() ? 1 : 0));
  Require(found == (expected != model.end() ? expected->second : nullptr));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const int64_t before = iMemory_CountLive();
  PTrie* trie = PTrie_New(RecordDeleted);
  PTrieModel model;
  for (size_t i = 0; i + 1 < size;) {
    const uint8_t operation = data[i];
    size_t length = data[i + 1] % 12;
    i += 2;
    if (length > size - i) length = size - i;
    Operate(trie, model, operation, std::string(reinterpret_cast<const char*>(data + i), length));
    i += length;
  }
  CompareKeys(trie, model, "");
  deleted.clear();
  if (size % 2 == 0) PTrie_Empty(trie);
  PTrie_Delete(trie);
  std::vector<void*> values;
  for (const auto& [key, value] : model) values.push_back(value);
  Require(deleted == values);
  Require(iMemory_CountLive() == before);
  return 0;
}
