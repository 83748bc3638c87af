// A table with linear probing, and beside it a trie for the order.
#include "config/config_index.h"

#include <cstring>

#include "config/config_internal.h"
#include "os/core/memory_internal.h"
#include "os/text/characterclass_internal.h"
#include "os/text/texthash_internal.h"
#include "qz/error.h"
#include "qz/memory.h"

namespace {

constexpr uint32_t kFirstSlots = 8;

char Fold(char c, bool ignoreCase) {
  return ignoreCase ? static_cast<char>(iCharacter_ToLower(static_cast<uint8_t>(c))) : c;
}

bool HasKey(const ConfigRecord& record, const ConfigKey& key) {
  const char* const text = iConfig_NameOf(record);
  for (uint32_t i = 0; i < key.length; ++i) {
    if (Fold(text[i], key.ignoresCase) != key.bytes[i]) return false;
  }
  return text[key.length] == '\0';
}

// The order of the trie: bytes are signed, a text comes before those that it begins. Less than 0 when a comes
// first.
int Compare(const char* a, const char* b, bool ignoreCase) {
  while (*a != '\0' && Fold(*a, ignoreCase) == Fold(*b, ignoreCase)) ++a, ++b;
  if (*a == '\0' || *b == '\0') return (*a != '\0') - (*b != '\0');
  return static_cast<signed char>(Fold(*a, ignoreCase)) - static_cast<signed char>(Fold(*b, ignoreCase));
}

}  // namespace

bool ConfigKey::Set(const char* text, bool ignoreCase) {
  TextHash mixed;
  uint32_t i = 0;
  for (; text[i] != '\0' && i < kConfigKeyLength; ++i) {
    bytes[i] = Fold(text[i], ignoreCase);
    mixed.Add(bytes[i]);
  }
  const bool fits = text[i] == '\0';
  hash = mixed.Value() != 0 ? mixed.Value() : 1;
  length = static_cast<uint16_t>(fits ? i : 0);
  ignoresCase = ignoreCase;
  return fits;
}

// ---- the table ---------------------------------------------------------------------------------

ConfigRecord* ConfigIndex::Find(const ConfigKey& key) const {
  if (slots_ == 0) return nullptr;
  for (uint32_t slot = key.hash & (slots_ - 1); hashes_[slot] != 0; slot = (slot + 1) & (slots_ - 1)) {
    if (hashes_[slot] == key.hash && HasKey(*records_[slot], key)) return records_[slot];
  }
  return nullptr;
}

// The slot of a record that is in the table.
uint32_t ConfigIndex::SlotOf(uint32_t hash, const ConfigRecord* record) const {
  uint32_t slot = hash & (slots_ - 1);
  while (records_[slot] != record) slot = (slot + 1) & (slots_ - 1);
  return slot;
}

bool ConfigIndex::Holds(uint32_t hash, const ConfigRecord* record) const {
  uint32_t slot = hash & (slots_ - 1);
  while (hashes_[slot] != 0 && records_[slot] != record) slot = (slot + 1) & (slots_ - 1);
  return records_[slot] == record;
}

void ConfigIndex::Place(uint32_t hash, ConfigRecord* record) {
  uint32_t slot = hash & (slots_ - 1);
  while (hashes_[slot] != 0) slot = (slot + 1) & (slots_ - 1);
  hashes_[slot] = hash;
  records_[slot] = record;
}

ErrorCode ConfigIndex::Grow() {
  const uint32_t slots = slots_ != 0 ? slots_ * 2 : kFirstSlots;
  auto** const records =
      static_cast<ConfigRecord**>(iMemory_NewCleared(size_t{slots} * (sizeof(void*) + sizeof(uint32_t))));
  if (records == nullptr) return Error_Memory;
  ConfigRecord** const oldRecords = records_;
  const uint32_t* const oldHashes = hashes_;
  const uint32_t oldSlots = slots_;
  records_ = records;
  hashes_ = reinterpret_cast<uint32_t*>(records + slots);
  slots_ = slots;
  for (uint32_t i = 0; i < oldSlots; ++i) {
    if (oldHashes[i] != 0) Place(oldHashes[i], oldRecords[i]);
  }
  Memory_Delete(oldRecords);
  return Error_None;
}

ErrorCode ConfigIndex::Insert(const ConfigKey& key, ConfigRecord* record) {
  // An eighth of the places stays free. A search then looks at a few dozen hashes until it comes to one, but
  // sixteen of them come from memory at once, and a larger table costs more.
  if (count_ >= slots_ - slots_ / 8) {
    const ErrorCode status = Grow();
    if (status != Error_None) return status;
  }
  Place(key.hash, record);
  ++count_;
  if (order_ != nullptr && !AddToOrder(record)) DropOrder();
  return Error_None;
}

void ConfigIndex::Replace(uint32_t hash, const ConfigRecord* old, ConfigRecord* record) {
  records_[SlotOf(hash, old)] = record;
  if (order_ == nullptr) return;
  ConfigKey key;
  key.Set(iConfig_NameOf(*record), orderIgnoresCase_);
  if (PTrie_ReplaceElement(order_, key.bytes, key.length, record) != Error_None) DropOrder();
}

void ConfigIndex::Remove(uint32_t hash, const ConfigRecord* record) {
  CloseGap(SlotOf(hash, record));
  --count_;
  if (order_ == nullptr) return;
  ConfigKey key;
  key.Set(iConfig_NameOf(*record), orderIgnoresCase_);
  if (PTrie_DeleteElement(order_, key.bytes, key.length) == 0) DropOrder();
}

// Frees a slot. A record behind it that stands there only because the slot was taken moves into it, which
// leaves the next gap.
void ConfigIndex::CloseGap(uint32_t gap) {
  const uint32_t mask = slots_ - 1;
  for (uint32_t slot = (gap + 1) & mask; hashes_[slot] != 0; slot = (slot + 1) & mask) {
    const uint32_t wayFromOwn = (slot - hashes_[slot]) & mask;
    const uint32_t wayFromGap = (slot - gap) & mask;
    if (wayFromOwn < wayFromGap) continue;
    hashes_[gap] = hashes_[slot];
    records_[gap] = records_[slot];
    gap = slot;
  }
  hashes_[gap] = 0;
  records_[gap] = nullptr;
}

void ConfigIndex::Free() {
  DropOrder();
  Memory_Delete(records_);
  *this = {};
}

// ---- the order ---------------------------------------------------------------------------------

bool ConfigIndex::AddToOrder(ConfigRecord* record) const {
  ConfigKey key;
  key.Set(iConfig_NameOf(*record), orderIgnoresCase_);
  return PTrie_InsertElement(order_, key.bytes, key.length, record) == Error_None;
}

bool ConfigIndex::MakeOrder(bool ignoreCase) const {
  orderIgnoresCase_ = ignoreCase;
  order_ = PTrie_New(nullptr);
  bool isComplete = order_ != nullptr;
  for (uint32_t i = 0; i < slots_ && isComplete; ++i) {
    if (hashes_[i] != 0) isComplete = AddToOrder(records_[i]);
  }
  if (!isComplete) DropOrder();
  return isComplete;
}

void ConfigIndex::DropOrder() const {
  PTrie_Delete(order_);
  order_ = nullptr;
}

// Slow, but needs no memory.
ConfigRecord* ConfigIndex::NextBySearch(const char* after, bool ignoreCase) const {
  ConfigRecord* next = nullptr;
  for (uint32_t i = 0; i < slots_; ++i) {
    if (hashes_[i] == 0) continue;
    const char* const key = iConfig_NameOf(*records_[i]);
    if (after != nullptr && Compare(key, after, ignoreCase) <= 0) continue;
    if (next == nullptr || Compare(key, iConfig_NameOf(*next), ignoreCase) < 0) next = records_[i];
  }
  return next;
}

ConfigRecord* ConfigIndex::Next(const char* after, bool ignoreCase) const {
  if (order_ == nullptr && !MakeOrder(ignoreCase)) return NextBySearch(after, ignoreCase);
  ConfigKey key;
  if (after != nullptr) key.Set(after, orderIgnoresCase_);
  PTrieState state{};
  state.keyBuffer = reinterpret_cast<uint8_t*>(key.bytes);
  state.keyBufferSize = sizeof key.bytes;
  state.keyLength = after != nullptr ? key.length : 0;
  state.started = after != nullptr ? 1 : 0;
  return PTrie_Iterate(order_, nullptr, 0, &state) == 1 ? static_cast<ConfigRecord*>(state.value) : nullptr;
}
