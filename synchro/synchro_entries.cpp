// The entries of a directory: a vector, and beside it a table of positions by the hash of the name.
#include <cstring>

#include "os/core/memory_internal.h"
#include "os/file/file_internal.h"
#include "os/text/characterclass_internal.h"
#include "os/text/texthash_internal.h"
#include "qz/memory.h"
#include "synchro/synchro_entries_internal.h"

namespace {

constexpr uint32_t kFirstRoom = 16;
constexpr uint32_t kFirstSlots = 32;
constexpr uint32_t kMostEntries = 1u << 28;
constexpr uint32_t kLookAlike = SynchroEntryFlag_Unclear | SynchroEntryFlag_LookAlike;

bool FoldCase(const char* name, char (&folded)[kFileNameSize]) {
  size_t length = 0;
  for (; name[length] != '\0' && length < sizeof folded - 1; ++length)
    folded[length] = static_cast<char>(iCharacter_ToLower(static_cast<uint8_t>(name[length])));
  folded[length] = '\0';
  return name[length] == '\0';
}

}  // namespace

uint32_t SynchroEntries::HashOf(const char* name) {
  TextHash hash;
  hash.AddText(name);
  return hash.Value();
}

SynchroEntry* SynchroEntries::Find(const char* name) {
  if (slotCount_ == 0) return nullptr;
  const uint32_t mask = slotCount_ - 1;
  for (uint32_t slot = HashOf(name) & mask; slots_[slot] != 0; slot = (slot + 1) & mask) {
    SynchroEntry& entry = entries_[slots_[slot] - 1];
    if (strcmp(entry.name, name) == 0) return &entry;
  }
  return nullptr;
}

SynchroEntry* SynchroEntries::Add(const char* name) {
  if (!MakeRoom()) return nullptr;
  const size_t size = strlen(name) + 1;
  auto* const copy = static_cast<char*>(Memory_New(size));
  if (copy == nullptr) return nullptr;
  memcpy(copy, name, size);
  SynchroEntry& entry = entries_[count_];
  entry = {};
  entry.name = copy;
  Enter(count_);
  ++count_;
  return &entry;
}

void SynchroEntries::RemoveIf(bool (*mustGo)(void* context, SynchroEntry* entry), void* context) {
  uint32_t kept = 0;
  for (uint32_t i = 0; i < count_; ++i) {
    if (mustGo(context, &entries_[i])) {
      Memory_Delete(entries_[i].name);
    } else {
      entries_[kept++] = entries_[i];
    }
  }
  if (kept == count_) return;
  count_ = kept;
  FillSlots();
}

void SynchroEntries::Free() {
  for (uint32_t i = 0; i < count_; ++i) Memory_Delete(entries_[i].name);
  Memory_Delete(entries_);
  Memory_Delete(slots_);
  entries_ = nullptr;
  slots_ = nullptr;
  count_ = room_ = slotCount_ = 0;
}

bool SynchroEntries::MakeRoom() {
  if (count_ < room_) return true;
  if (room_ >= kMostEntries) return false;
  const uint32_t room = room_ == 0 ? kFirstRoom : room_ * 2;
  void* const grown = Memory_Realloc(entries_, sizeof(SynchroEntry) * room);
  if (grown == nullptr) return false;
  entries_ = static_cast<SynchroEntry*>(grown);
  room_ = room;
  if (GrowSlots()) return true;
  room_ = count_;  // asked again the next time
  return false;
}

bool SynchroEntries::GrowSlots() {
  const uint32_t slotCount = room_ * 2 > kFirstSlots ? room_ * 2 : kFirstSlots;
  if (slotCount <= slotCount_) return true;
  auto* const slots = static_cast<uint32_t*>(Memory_New(sizeof(uint32_t) * slotCount));
  if (slots == nullptr) return false;
  Memory_Delete(slots_);
  slots_ = slots;
  slotCount_ = slotCount;
  FillSlots();
  return true;
}

void SynchroEntries::FillSlots() {
  memset(slots_, 0, sizeof(uint32_t) * slotCount_);
  for (uint32_t i = 0; i < count_; ++i) Enter(i);
}

void SynchroEntries::Enter(uint32_t position) {
  const uint32_t mask = slotCount_ - 1;
  uint32_t slot = HashOf(entries_[position].name) & mask;
  while (slots_[slot] != 0) slot = (slot + 1) & mask;
  slots_[slot] = position + 1;
}

ErrorCode iSynchro_MarkLookAlikes(SynchroEntries* entries) {
  SynchroEntries seen;  // by folded names; the state is the position of the first entry
  for (uint32_t i = 0; i < entries->Count(); ++i) {
    SynchroEntry& entry = entries->At(i);
    char folded[kFileNameSize];
    const bool isListed = entry.IsAt(SynchroEnd_Source) || entry.IsAt(SynchroEnd_Destination);
    if (!isListed || !FoldCase(entry.name, folded)) continue;
    if (const SynchroEntry* const first = seen.Find(folded); first != nullptr) {
      entries->At(first->state).flags |= kLookAlike;
      entry.flags |= kLookAlike;
      continue;
    }
    SynchroEntry* const added = seen.Add(folded);
    if (added == nullptr) return Error_Memory;
    added->state = i;
  }
  return Error_None;
}
