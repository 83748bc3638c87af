// Elements by value in a chain of blocks:
//
//   record | link | slot slot slot |     the first block, in the record's own allocation
//             ^---- | link | slot slot slot |     every further one, newest first from record->blocks
#include "qz/stack.h"

#include <cstddef>

#include "qz/memory.h"

namespace {

constexpr uint32_t kCustomaryBlockBytes = 64;

static_assert(sizeof(void*) != 4 ||
              (offsetof(Stack, blocks) == 8 && offsetof(Stack, elementSize) == 12 &&
               offsetof(Stack, elementsPerBlock) == 16 && offsetof(Stack, freeInBlock) == 18 &&
               offsetof(Stack, firstBlock) == 20 && sizeof(Stack) == 24));

uint8_t* SlotsOf(StackBlock* block) {
  return reinterpret_cast<uint8_t*>(block + 1);
}

size_t SlotBytes(const Stack& stack) {
  return size_t{stack.elementsPerBlock} * stack.elementSize;
}

bool FitsInMemory(uint16_t elementsPerBlock, uint32_t elementSize) {
  return uint64_t{elementsPerBlock} * elementSize <= SIZE_MAX - sizeof(Stack);
}

void DeleteElements(const Stack& stack, StackBlock* block, uint32_t count, StackDeleter deleter) {
  uint8_t* slot = SlotsOf(block);
  for (uint32_t i = 0; i < count; ++i, slot += stack.elementSize) deleter(slot);
}

void FreeUnlessFirst(Stack& stack, StackBlock* block) {
  if (block != &stack.firstBlock) Memory_Delete(block);
}

}  // namespace

Stack* Stack_SizedNew(uint16_t elementsPerBlock, uint32_t elementSize) {
  if (elementsPerBlock == 0) elementsPerBlock = 1;
  if (!FitsInMemory(elementsPerBlock, elementSize)) return nullptr;
  auto* stack = static_cast<Stack*>(Memory_New(sizeof(Stack) + size_t{elementsPerBlock} * elementSize));
  if (stack == nullptr) return nullptr;
  *stack = Stack{};
  stack->elementSize = elementSize;
  stack->elementsPerBlock = elementsPerBlock;
  return stack;
}

Stack* Stack_New(uint32_t elementSize) {
  uint32_t elementsPerBlock = kCustomaryBlockBytes;
  for (uint32_t size = elementSize >> 1; size != 0; size >>= 1) elementsPerBlock >>= 1;
  return Stack_SizedNew(static_cast<uint16_t>(elementsPerBlock), elementSize);
}

// The names in parentheses are the exported functions, not the header's macros.
void*(Stack_Push)(Stack* stack) {
  return Stack_PushInline(stack);
}

void* _Stack_Push(Stack* stack) {
  if (stack == nullptr) return nullptr;
  StackBlock* block = &stack->firstBlock;
  if (stack->blocks != nullptr) {
    block = static_cast<StackBlock*>(Memory_New(sizeof(StackBlock) + SlotBytes(*stack)));
    if (block == nullptr) return nullptr;
  }
  block->older = stack->blocks;
  stack->blocks = block;
  stack->freeInBlock = stack->elementsPerBlock;
  stack->next = SlotsOf(block);
  return stack->next;
}

int32_t Stack_PushCopy(Stack* stack, const void* element) {
  if (element == nullptr) return 0;
  void* slot = Stack_Push(stack);
  if (slot == nullptr) return 0;
  Memory_Copy(element, slot, stack->elementSize);
  return 1;
}

void(Stack_Pop)(Stack* stack) {
  Stack_PopInline(stack);
}

// Kept: after a block was left, next is null and nothing is free, so the next push allocates a block again;
// callers read these fields.
void _Stack_Pop(Stack* stack) {
  if (stack == nullptr || stack->blocks == nullptr) return;
  StackBlock* popped = stack->blocks;
  stack->blocks = popped->older;
  stack->top = nullptr;
  if (stack->blocks != nullptr) stack->top = SlotsOf(stack->blocks) + SlotBytes(*stack) - stack->elementSize;
  stack->next = nullptr;
  stack->freeInBlock = 0;
  FreeUnlessFirst(*stack, popped);
}

void Stack_PopCopy(Stack* stack, void* destination) {
  if (stack == nullptr || stack->top == nullptr) return;
  if (destination != nullptr) Memory_Copy(stack->top, destination, stack->elementSize);
  Stack_Pop(stack);
}

void Stack_PopDelete(Stack* stack, StackDeleter deleter) {
  if (stack == nullptr || stack->top == nullptr) return;
  if (deleter != nullptr) deleter(stack->top);
  Stack_Pop(stack);
}

// Kept: the newest block comes first, but within a block the oldest element does; callers that release
// elements in order see it.
void Stack_Empty(Stack* stack, StackDeleter deleter) {
  if (stack == nullptr) return;
  uint32_t count = uint32_t{stack->elementsPerBlock} - stack->freeInBlock;
  while (stack->blocks != nullptr) {
    StackBlock* block = stack->blocks;
    stack->blocks = block->older;
    if (deleter != nullptr) DeleteElements(*stack, block, count, deleter);
    FreeUnlessFirst(*stack, block);
    count = stack->elementsPerBlock;
  }
  stack->top = nullptr;
  stack->next = nullptr;
  stack->freeInBlock = 0;
}

void Stack_Delete(Stack* stack, StackDeleter deleter) {
  if (stack == nullptr) return;
  Stack_Empty(stack, deleter);
  // A stale use fails visibly.
  stack->elementSize = UINT32_MAX;
  stack->elementsPerBlock = 1;
  Memory_Delete(stack);
}
