// An open-addressing table. A slot whose value is 0 is empty. The probe sequence of a key: the slots of its
// hash functions, in their order, then the slots after the last of these, one by one. A search ends at the
// first empty slot, so a probe sequence never has a hole before its key, and a removal moves the keys whose
// probe sequence leads through the slot it emptied.
#include "qz/hash.h"

#include <algorithm>
#include <iterator>

#include "containers/hash_testing.h"
#include "os/core/memory_internal.h"
#include "qz/error.h"
#include "qz/memory.h"

namespace {

constexpr uint16_t kPrimes[] = {
    1,     2,     3,     5,     7,     11,    13,    17,    19,    23,    29,    31,    37,    41,
    43,    47,    53,    59,    67,    71,    79,    83,    89,    97,    103,   109,   127,   137,
    149,   163,   173,   191,   211,   227,   241,   257,   277,   307,   331,   353,   379,   409,
    439,   467,   499,   541,   577,   613,   653,   701,   751,   797,   853,   907,   967,   1031,
    1097,  1171,  1249,  1327,  1409,  1499,  1597,  1697,  1811,  1931,  2053,  2203,  2341,  2503,
    2659,  2833,  3011,  3203,  3407,  3623,  3851,  4091,  4349,  4621,  4909,  5227,  5557,  5923,
    6299,  6701,  7121,  7573,  8053,  8563,  9103,  9677,  10289, 10937, 11621, 12347, 13121, 13963,
    14843, 15773, 16759, 17807, 18919, 20101, 21377, 22717, 24137, 25657, 27271, 28979, 30803, 32749,
    34807, 36997, 39313, 41771, 44381, 47161, 50111, 53267, 56597, 60139, 63901};
constexpr uint32_t kPrimeCount = 123;
constexpr uint32_t kLargestPrime = 63901;
constexpr uint32_t kDefaultIndex = 4;  // 7 slots; the smallest size that a table shrinks to
static_assert(std::size(kPrimes) == kPrimeCount && kPrimes[kPrimeCount - 1] == kLargestPrime);
static_assert(kPrimes[kDefaultIndex] == 7 && std::is_sorted(std::begin(kPrimes), std::end(kPrimes)));

struct Slot {
  Word key;
  Word value;  // 0: empty, whatever the key says
};

}  // namespace

struct Hash {
  uint32_t sizeIndex;
  uint32_t bucketCount;  // kPrimes[sizeIndex]
  Slot* slots;
  uint32_t freeCount;
  HashDeleter valueDeleter;
  uint32_t functionCount;
  // functionCount functions follow in the same allocation.

  HashFunction* Functions() { return reinterpret_cast<HashFunction*>(this + 1); }
  const HashFunction* Functions() const { return reinterpret_cast<const HashFunction*>(this + 1); }
};

namespace {

uint32_t IndexForHint(uint32_t hint) {
  if (hint == 0) return kDefaultIndex;
  hint = std::min(hint, kLargestPrime);
  uint32_t index = std::min(hint * kPrimeCount / kLargestPrime, kPrimeCount - 1);
  while (kPrimes[index] < hint) ++index;
  while (index > 0 && kPrimes[index - 1] >= hint) --index;
  return index;
}

uint32_t NodeCount(const Hash& table) {
  return table.bucketCount - table.freeCount;
}

uint32_t NextSlot(const Hash& table, uint32_t slot) {
  return slot + 1 == table.bucketCount ? 0 : slot + 1;
}

// The first slot of a key's probe sequence.
uint32_t HomeSlot(const Hash& table, Word key) {
  if (table.functionCount != 0) return table.Functions()[0](key) % table.bucketCount;
  return static_cast<uint32_t>(key % table.bucketCount);
}

bool EndsProbe(const Slot& slot, Word key) {
  return slot.value == 0 || slot.key == key;
}

// The slot that holds the key; or the empty slot that shows its absence and would take it; or, in a full
// table without the key, the slot where linear probing began, which holds another key.
uint32_t Probe(const Hash& table, Word key) {
  uint32_t slot = HomeSlot(table, key);
  if (EndsProbe(table.slots[slot], key)) return slot;
  for (uint32_t i = 1; i < table.functionCount; ++i) {
    slot = table.Functions()[i](key) % table.bucketCount;
    if (EndsProbe(table.slots[slot], key)) return slot;
  }
  const uint32_t begin = slot;
  do {
    slot = NextSlot(table, slot);
  } while (slot != begin && !EndsProbe(table.slots[slot], key));
  return slot;
}

// The slot that holds the key, or null.
Slot* Find(const Hash* table, Word key) {
  if (table == nullptr) return nullptr;
  Slot* slot = &table->slots[Probe(*table, key)];
  return slot->value != 0 && slot->key == key ? slot : nullptr;
}

Slot* NewSlots(uint32_t count) {
  return static_cast<Slot*>(iMemory_NewCleared(count * sizeof(Slot)));
}

// Moves the nodes, in slot order, to a table of another size. Without memory the table stays as it is.
ErrorCode Rehash(Hash& table, uint32_t sizeIndex) {
  Slot* slots = NewSlots(kPrimes[sizeIndex]);
  if (slots == nullptr) return Error_Memory;
  Slot* const old = table.slots;
  uint32_t left = NodeCount(table);
  table.slots = slots;
  table.sizeIndex = sizeIndex;
  table.bucketCount = kPrimes[sizeIndex];
  table.freeCount = table.bucketCount - left;
  for (const Slot* node = old; left != 0; ++node) {
    if (node->value == 0) continue;
    slots[Probe(table, node->key)] = *node;
    --left;
  }
  Memory_Delete(old);
  return Error_None;
}

// Kept: small tables fill completely, larger ones keep the load of two consecutive primes; the order in which
// nodes are visited follows from these sizes.
bool MustGrow(const Hash& table) {
  if (table.freeCount == 0) return true;
  return table.sizeIndex > kDefaultIndex && NodeCount(table) > kPrimes[table.sizeIndex - 1];
}

bool MayShrink(const Hash& table) {
  return table.sizeIndex > kDefaultIndex && NodeCount(table) < kPrimes[table.sizeIndex - 3];
}

// With at most one hash function a probe sequence is one run of slots, so only the keys up to the next empty
// slot can have the hole in theirs, and whether one has shows in its home slot.
void CloseGapInCluster(Hash& table, uint32_t hole) {
  uint32_t slot = NextSlot(table, hole);
  for (; slot != hole && table.slots[slot].value != 0; slot = NextSlot(table, slot)) {
    const uint32_t home = HomeSlot(table, table.slots[slot].key);
    const bool isHoleBefore = home <= slot ? home <= hole && hole < slot : home <= hole || hole < slot;
    if (!isHoleBefore) continue;
    table.slots[hole] = table.slots[slot];
    table.slots[slot].value = 0;
    hole = slot;
  }
}

// With several hash functions a probe sequence jumps, so that of every key in the table may have the hole.
void CloseGapInTable(Hash& table, uint32_t hole) {
  for (uint32_t slot = NextSlot(table, hole); slot != hole; slot = NextSlot(table, slot)) {
    if (table.slots[slot].value == 0) continue;
    const uint32_t better = Probe(table, table.slots[slot].key);
    if (better == slot) continue;
    table.slots[better] = table.slots[slot];
    table.slots[slot].value = 0;
    hole = slot;
  }
}

}  // namespace

uint32_t iHash_CountBuckets(const Hash* table) {
  return table->bucketCount;
}

Hash* Hash_New(uint32_t sizeHint, uint32_t hashFunctionCount, const HashFunction* hashFunctions,
               HashDeleter valueDeleter) {
  if (hashFunctionCount != 0 && hashFunctions == nullptr) return nullptr;
  if (std::count(hashFunctions, hashFunctions + hashFunctionCount, nullptr) != 0) return nullptr;
  const uint64_t functionsSize = uint64_t{hashFunctionCount} * sizeof(HashFunction);
  if (functionsSize > SIZE_MAX - sizeof(Hash)) return nullptr;
  auto* table = static_cast<Hash*>(Memory_New(sizeof(Hash) + static_cast<size_t>(functionsSize)));
  if (table == nullptr) return nullptr;
  table->sizeIndex = IndexForHint(sizeHint);
  table->bucketCount = kPrimes[table->sizeIndex];
  table->freeCount = table->bucketCount;
  table->valueDeleter = valueDeleter;
  table->functionCount = hashFunctionCount;
  Memory_Copy(hashFunctions, table->Functions(), static_cast<size_t>(functionsSize));
  table->slots = NewSlots(table->bucketCount);
  if (table->slots == nullptr) {
    Memory_Delete(table);
    return nullptr;
  }
  return table;
}

void Hash_Delete(Hash* table) {
  if (table == nullptr) return;
  for (uint32_t i = 0; table->valueDeleter != nullptr && i < table->bucketCount; ++i) {
    if (table->slots[i].value != 0) table->valueDeleter(table->slots[i].value);
  }
  Memory_Delete(table->slots);
  Memory_Delete(table);
}

// Kept: room is made before the key is looked for, so a key that is present can grow the table, and gives
// Error_Exceed at the largest size; the sizes, and with them the order of visits, depend on it.
ErrorCode Hash_InsertNode(Hash* table, Word key, Word value) {
  if (table == nullptr || value == 0) return Error_Invalid;
  if (MustGrow(*table)) {
    if (table->sizeIndex + 1 == kPrimeCount) return Error_Exceed;
    if (const ErrorCode status = Rehash(*table, table->sizeIndex + 1); status != Error_None) return status;
  }
  Slot& slot = table->slots[Probe(*table, key)];
  if (slot.value != 0) return Error_Exists;
  slot = {key, value};
  --table->freeCount;
  return Error_None;
}

// Kept: the deleter is called even when the new value is the old one; owners that count references rely on
// one call for each replacement.
ErrorCode Hash_ReplaceNode(Hash* table, Word key, Word value) {
  if (table == nullptr || value == 0) return Error_Invalid;
  Slot* slot = Find(table, key);
  if (slot == nullptr) return Error_NotFound;
  if (table->valueDeleter != nullptr) table->valueDeleter(slot->value);
  slot->value = value;
  return Error_None;
}

Word Hash_QueryNode(const Hash* table, Word key) {
  const Slot* slot = Find(table, key);
  return slot != nullptr ? slot->value : 0;
}

Word Hash_RemoveNode(Hash* table, Word key) {
  Slot* slot = Find(table, key);
  if (slot == nullptr) return 0;
  const Word value = slot->value;
  slot->value = 0;
  ++table->freeCount;
  if (MayShrink(*table) && Rehash(*table, table->sizeIndex - 1) == Error_None) return value;

  const auto hole = static_cast<uint32_t>(slot - table->slots);
  if (table->functionCount > 1) {
    CloseGapInTable(*table, hole);
  } else {
    CloseGapInCluster(*table, hole);
  }
  return value;
}

ErrorCode Hash_DeleteNode(Hash* table, Word key) {
  if (table == nullptr) return Error_Invalid;
  const Word value = Hash_RemoveNode(table, key);
  if (value == 0) return Error_NotFound;
  if (table->valueDeleter != nullptr) table->valueDeleter(value);
  return Error_None;
}

int32_t Hash_ForEachNode(const Hash* table, HashVisitor visit, void* context) {
  if (table == nullptr || visit == nullptr) return 0;
  for (uint32_t i = 0; i < table->bucketCount; ++i) {
    const Slot& slot = table->slots[i];
    if (slot.value == 0) continue;
    if (const int32_t result = visit(slot.key, slot.value, context); result != 0) return result;
  }
  return 0;
}

uint32_t Hash_CountNodes(const Hash* table) {
  return table != nullptr ? NodeCount(*table) : 0;
}
