// Random operations on a hash table beside a literal model: same statuses, sizes and slots.
//
// Input: byte 0 chooses hash functions and size, then two bytes per operation: what and how large, key.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <utility>
#include <vector>

#include "containers/hash_testing.h"
#include "qz/hash.h"
#include "tests/support/container_models.h"

namespace {

uint32_t Zero(Word) {
  return 0;
}
uint32_t Identity(Word key) {
  return static_cast<uint32_t>(key);
}
uint32_t Scramble(Word key) {
  return static_cast<uint32_t>(key) * 2654435761u;
}
uint32_t High(Word key) {
  return static_cast<uint32_t>(key) >> 3;
}

const std::vector<HashFunction> kChoices[] = {{},
                                              {Identity},
                                              {Scramble},
                                              {Zero},
                                              {Identity, Scramble},
                                              {Zero, Identity},
                                              {High, Zero},
                                              {Scramble, High, Identity}};

void Require(bool condition) {
  if (!condition) abort();
}

struct Check {
  std::vector<std::pair<Word, Word>> expected;
  size_t next = 0;

  static int32_t Node(Word key, Word value, void* context) {
    auto* self = static_cast<Check*>(context);
    Require(self->next < self->expected.size());
    Require(self->expected[self->next++] == std::make_pair(key, value));
    return 0;
  }
};

void CompareSlots(const Hash* table, const HashModel& model) {
  Check check{model.Nodes()};
  Require(Hash_ForEachNode(table, Check::Node, &check) == 0);
  Require(check.next == check.expected.size());
  Require(iHash_CountBuckets(table) == model.CountBuckets());
  Require(Hash_CountNodes(table) == model.CountNodes());
}

void Operate(Hash* table, HashModel& model, uint8_t operation, Word key) {
  const Word value = operation >> 3;
  switch (operation & 7) {
    case 0:
    case 1:
    case 2:
      Require(Hash_InsertNode(table, key, value) == model.Insert(key, value));
      break;
    case 3:  // many at once, so that the table grows
      for (Word i = 0; i < value; ++i)
        Require(Hash_InsertNode(table, key + i, i + 1) == model.Insert(key + i, i + 1));
      break;
    case 4:
    case 5:
      Require(Hash_RemoveNode(table, key) == model.Remove(key));
      break;
    case 6:  // and shrinks
      for (Word i = 0; i < value; ++i) Require(Hash_RemoveNode(table, key + i) == model.Remove(key + i));
      break;
    default:
      Require(Hash_ReplaceNode(table, key, value) == model.Replace(key, value));
  }
  Require(Hash_QueryNode(table, key) == model.Query(key));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::vector<HashFunction>& functions = kChoices[data[0] % std::size(kChoices)];
  constexpr uint32_t kHints[] = {0, 1, 13, 43};
  constexpr size_t kIndexes[] = {4, 0, 6, 14};
  const size_t choice = data[0] / std::size(kChoices) % std::size(kHints);
  Hash* table = Hash_New(kHints[choice], static_cast<uint32_t>(functions.size()), functions.data(), nullptr);
  HashModel model(kIndexes[choice], functions);
  for (size_t i = 1; i + 1 < size && i < 2000; i += 2) {
    Operate(table, model, data[i], data[i + 1]);
    CompareSlots(table, model);
  }
  Hash_Delete(table);
  return 0;
}
