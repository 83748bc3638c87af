// The entries of a directory in memory: in order, and found by name. Cost per entry does not grow with their
// number.
#pragma once

#include <cstdint>

#include "qz/error.h"
#include "synchro/synchro_entry_internal.h"

class SynchroEntries {
 public:
  SynchroEntries() = default;
  ~SynchroEntries() { Free(); }
  SynchroEntries(const SynchroEntries&) = delete;
  SynchroEntries& operator=(const SynchroEntries&) = delete;

  uint32_t Count() const { return count_; }
  // Valid until an entry is added or removed.
  SynchroEntry& At(uint32_t position) { return entries_[position]; }
  const SynchroEntry& At(uint32_t position) const { return entries_[position]; }

  // Null when there is none.
  SynchroEntry* Find(const char* name);
  // Adds one behind the others, all its values 0. name: copied; no entry has it. Null when memory runs out.
  SynchroEntry* Add(const char* name);

  // Removes the entries for which the method returns true, which may change those that stay; the order stays.
  void RemoveIf(bool (*mustGo)(void* context, SynchroEntry* entry), void* context);

  void Free();

 private:
  static uint32_t HashOf(const char* name);
  bool MakeRoom();
  bool GrowSlots();
  void FillSlots();
  void Enter(uint32_t position);

  SynchroEntry* entries_ = nullptr;
  uint32_t count_ = 0;
  uint32_t room_ = 0;
  // Open addressing: positions plus 1, 0 for a free slot. A power of two, at least twice the count.
  uint32_t* slots_ = nullptr;
  uint32_t slotCount_ = 0;
};

// Marks the entries that a side has and whose names differ only in case, of ASCII letters: all of them, for
// where case is ignored they are one file. Error_None or Error_Memory.
ErrorCode iSynchro_MarkLookAlikes(SynchroEntries* entries);
