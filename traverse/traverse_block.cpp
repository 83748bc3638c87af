// The blocks of a record that is being read: recorded as they are allocated, so that a read that fails half
// way gives back all of them.
//
// An entry of the stack is the address of a block. Its lowest bit, which no address has, marks a block that a
// Delete has let go of meanwhile:
//
//   newest ->  | B | A+1 | C | A |      A was allocated, then C; A was deleted; then B was allocated
//
//   the record is kept:  A is freed, B and C stay with it
//   it is given up:      A, B and C are freed, each once
//
// A marked block is freed only here at the end, never at once: until then no other block can have its
// address, so an address means one block. Nothing is searched for when a block is deleted; duplicates are
// found once, by sorting.
#include <algorithm>
#include <iterator>

#include "os/core/memory_internal.h"
#include "qz/memory.h"
#include "traverse/traverse_internal.h"

namespace {

constexpr uintptr_t kDeletedMark = 1;

uintptr_t AddressOf(uintptr_t entry) {
  return entry & ~kDeletedMark;
}

// Walks the entries of a stack: the newest block of slots first, each from its first slot upward.
class EntryIterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = uintptr_t;
  using difference_type = std::ptrdiff_t;
  using pointer = uintptr_t*;
  using reference = uintptr_t&;

  EntryIterator() = default;  // the end
  explicit EntryIterator(const Stack& stack)
      : block_(stack.blocks),
        slotsOfABlock_(stack.elementsPerBlock),
        slotsHere_(uint32_t{stack.elementsPerBlock} - stack.freeInBlock) {
    SkipEmptyBlock();
  }

  reference operator*() const { return reinterpret_cast<uintptr_t*>(block_ + 1)[slot_]; }
  EntryIterator& operator++() {
    ++slot_;
    SkipEmptyBlock();
    return *this;
  }
  EntryIterator operator++(int) {
    const EntryIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const EntryIterator& other) const { return block_ == other.block_ && slot_ == other.slot_; }
  bool operator!=(const EntryIterator& other) const { return !(*this == other); }

 private:
  void SkipEmptyBlock() {
    if (block_ == nullptr || slot_ < slotsHere_) return;
    block_ = block_->older;
    slot_ = 0;
    slotsHere_ = slotsOfABlock_;
  }

  StackBlock* block_ = nullptr;
  uint32_t slot_ = 0;
  uint32_t slotsOfABlock_ = 0;
  uint32_t slotsHere_ = 0;
};

// Sorts by address, one bit after another from the highest: in place, without memory, in time that depends on
// no order.
void SortByAddress(EntryIterator first, EntryIterator last, uintptr_t bit) {
  if (bit == kDeletedMark || first == last || std::next(first) == last) return;
  const EntryIterator middle =
      std::partition(first, last, [bit](uintptr_t entry) { return (entry & bit) == 0; });
  SortByAddress(first, middle, bit >> 1);
  SortByAddress(middle, last, bit >> 1);
}

bool IsMarked(uintptr_t entry) {
  return (entry & kDeletedMark) != 0;
}

// A block that was allocated and deleted has two entries; one of them becomes empty.
void ClearDuplicates(const Stack& stack) {
  const EntryIterator first(stack);
  const EntryIterator last;
  if (std::none_of(first, last, IsMarked)) return;
  SortByAddress(first, last, ~(UINTPTR_MAX >> 1));
  uintptr_t previous = 0;
  for (EntryIterator entry = first; entry != last; ++entry) {
    if (AddressOf(*entry) == previous) {
      *entry = 0;
    } else {
      previous = AddressOf(*entry);
    }
  }
}

void FreeBlock(void* element) {
  Memory_Delete(reinterpret_cast<void*>(AddressOf(*static_cast<uintptr_t*>(element))));
}

void FreeMarkedBlock(void* element) {
  if (IsMarked(*static_cast<uintptr_t*>(element))) FreeBlock(element);
}

// Without memory for one more entry, the block's own entry is looked for and marked. False: it has none.
bool MarkOwnEntry(const Stack& stack, uintptr_t address) {
  const EntryIterator last;
  const EntryIterator found = std::find(EntryIterator(stack), last, address);
  if (found == last) return false;
  *found |= kDeletedMark;
  return true;
}

}  // namespace

void* iTraverse_NewBlock(Traverse& traverse, uint64_t size) {
  if (size > UINT32_MAX) return nullptr;
  if (traverse.allocations == nullptr) return iMemory_NewCleared(static_cast<size_t>(size));
  void* const slot = Stack_Push(traverse.allocations);
  if (slot == nullptr) return nullptr;
  void* const block = iMemory_NewCleared(static_cast<size_t>(size));
  if (block == nullptr) {
    Stack_Pop(traverse.allocations);
    return nullptr;
  }
  *static_cast<uintptr_t*>(slot) = reinterpret_cast<uintptr_t>(block);
  return block;
}

void iTraverse_DeleteBlock(Traverse& traverse, void* block) {
  if (block == nullptr) return;
  Stack* const allocations = traverse.allocations;
  if (allocations == nullptr || allocations->top == nullptr) {
    Memory_Delete(block);
    return;
  }
  const auto address = reinterpret_cast<uintptr_t>(block);
  if (void* const slot = Stack_Push(allocations); slot != nullptr) {
    *static_cast<uintptr_t*>(slot) = address | kDeletedMark;
  } else if (!MarkOwnEntry(*allocations, address)) {
    Memory_Delete(block);
  }
}

void iTraverse_KeepBlocks(Stack* allocations) {
  Stack_Empty(allocations, FreeMarkedBlock);
}

void iTraverse_FreeBlocks(Stack* allocations) {
  if (allocations == nullptr) return;
  ClearDuplicates(*allocations);
  Stack_Empty(allocations, FreeBlock);
}
