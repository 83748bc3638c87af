// Stack: blocks, the fields that callers read, and the order of deletion.
#include "qz/stack.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/fail_allocation.h"

namespace {

std::vector<uint32_t>& Deleted() {
  static std::vector<uint32_t> values;
  return values;
}

void RecordDeleted(void* element) {
  Deleted().push_back(*static_cast<uint32_t*>(element));
}

struct OwnedStack {
  explicit OwnedStack(Stack* stack) : get(stack) { Deleted().clear(); }
  ~OwnedStack() { Stack_Delete(get, nullptr); }
  Stack* get;
};

void PushNumbers(Stack* stack, uint32_t first, uint32_t last) {
  for (uint32_t i = first; i <= last; ++i) ASSERT_EQ(Stack_PushCopy(stack, &i), 1);
}

uint32_t TopOf(const Stack* stack) {
  return *static_cast<const uint32_t*>(stack->top);
}

uint8_t* FirstSlot(Stack* stack) {
  return reinterpret_cast<uint8_t*>(&stack->firstBlock + 1);
}

TEST(StackNew, ChoosesTheBlockByTheElementSize) {
  const uint32_t rows[][2] = {{1, 64}, {2, 32}, {3, 32}, {4, 16},  {7, 16},   {8, 8},   {16, 4},
                              {24, 4}, {32, 2}, {63, 2}, {64, 1},  {100, 1},  {128, 1}, {1000, 1},
                              {0, 64}, {5, 16}, {12, 8}, {127, 1}, {65536, 1}};
  for (auto& row : rows) {
    OwnedStack stack(Stack_New(row[0]));
    ASSERT_NE(stack.get, nullptr);
    EXPECT_EQ(stack.get->elementsPerBlock, row[1]) << row[0];
    EXPECT_EQ(stack.get->elementSize, row[0]);
  }
}

TEST(StackNew, StartsEmptyInOneAllocation) {
  const int64_t before = iMemory_CountLive();
  OwnedStack stack(Stack_SizedNew(5, 4));
  EXPECT_EQ(iMemory_CountLive() - before, 1);
  EXPECT_EQ(stack.get->top, nullptr);
  EXPECT_EQ(stack.get->next, nullptr);
  EXPECT_EQ(stack.get->blocks, nullptr);
  EXPECT_EQ(stack.get->freeInBlock, 0);
  EXPECT_EQ(stack.get->elementsPerBlock, 5);
}

TEST(StackNew, TakesNoElementsPerBlockForOne) {
  OwnedStack stack(Stack_SizedNew(0, 4));
  EXPECT_EQ(stack.get->elementsPerBlock, 1);
  PushNumbers(stack.get, 1, 3);
  EXPECT_EQ(TopOf(stack.get), 3u);
}

TEST(StackPush, UpdatesTheFields) {
  OwnedStack stack(Stack_SizedNew(3, 4));
  void* first = Stack_Push(stack.get);
  EXPECT_EQ(first, FirstSlot(stack.get));
  EXPECT_EQ(stack.get->top, first);
  EXPECT_EQ(stack.get->next, FirstSlot(stack.get) + 4);
  EXPECT_EQ(stack.get->blocks, &stack.get->firstBlock);
  EXPECT_EQ(stack.get->firstBlock.older, nullptr);
  EXPECT_EQ(stack.get->freeInBlock, 2);
}

TEST(StackPush, AllocatesABlockOnlyWhenOneIsFull) {
  OwnedStack stack(Stack_New(4));
  const int64_t before = iMemory_CountLive();
  PushNumbers(stack.get, 1, 16);
  EXPECT_EQ(iMemory_CountLive(), before);
  EXPECT_EQ(stack.get->freeInBlock, 0);
  PushNumbers(stack.get, 17, 17);
  EXPECT_EQ(iMemory_CountLive(), before + 1);
  EXPECT_EQ(stack.get->blocks->older, &stack.get->firstBlock);
  EXPECT_EQ(stack.get->freeInBlock, 15);

  Stack_Pop(stack.get);
  EXPECT_EQ(iMemory_CountLive(), before);
  EXPECT_EQ(TopOf(stack.get), 16u);
  EXPECT_EQ(stack.get->top, FirstSlot(stack.get) + 60);
}

TEST(StackPush, StartsANewBlockAfterOneWasPopped) {
  OwnedStack stack(Stack_SizedNew(2, 4));
  PushNumbers(stack.get, 1, 3);
  Stack_Pop(stack.get);
  EXPECT_EQ(stack.get->next, nullptr);
  EXPECT_EQ(stack.get->freeInBlock, 0);
  const int64_t before = iMemory_CountLive();
  PushNumbers(stack.get, 4, 4);
  EXPECT_EQ(iMemory_CountLive(), before + 1);
  EXPECT_EQ(TopOf(stack.get), 4u);
}

TEST(StackPush, ReusesTheFirstBlock_WhenTheStackWasEmptied) {
  OwnedStack stack(Stack_SizedNew(2, 4));
  const int64_t before = iMemory_CountLive();
  PushNumbers(stack.get, 1, 1);
  Stack_Pop(stack.get);
  EXPECT_EQ(stack.get->top, nullptr);
  EXPECT_EQ(stack.get->next, nullptr);
  EXPECT_EQ(stack.get->blocks, nullptr);
  EXPECT_EQ(stack.get->freeInBlock, 0);
  PushNumbers(stack.get, 2, 2);
  EXPECT_EQ(stack.get->top, FirstSlot(stack.get));
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(StackPush, NeverMovesElements) {
  OwnedStack stack(Stack_New(4));
  std::vector<uint32_t*> slots;
  for (uint32_t i = 0; i < 1000; ++i) {
    slots.push_back(static_cast<uint32_t*>(Stack_Push(stack.get)));
    *slots.back() = i;
  }
  for (uint32_t i = 0; i < 1000; ++i) EXPECT_EQ(*slots[i], i);
  for (uint32_t i = 1000; i-- > 0;) {
    EXPECT_EQ(stack.get->top, slots[i]);
    Stack_Pop(stack.get);
  }
  EXPECT_EQ(stack.get->top, nullptr);
}

TEST(StackPush, LeavesTheFieldsAsTheyWere_WhenMemoryRunsOut) {
  OwnedStack stack(Stack_SizedNew(2, 4));
  PushNumbers(stack.get, 1, 2);
  const Stack before = *stack.get;
  const uint32_t number = 3;
  const auto expectUnchanged = [&] {
    EXPECT_EQ(stack.get->top, before.top);
    EXPECT_EQ(stack.get->next, before.next);
    EXPECT_EQ(stack.get->blocks, before.blocks);
    EXPECT_EQ(stack.get->freeInBlock, 0);
  };
  iMemory_FailAllocation(1);
  EXPECT_EQ(Stack_Push(stack.get), nullptr);
  expectUnchanged();
  iMemory_FailAllocation(1);
  EXPECT_EQ(_Stack_Push(stack.get), nullptr);
  expectUnchanged();
  iMemory_FailAllocation(1);
  EXPECT_EQ(Stack_PushCopy(stack.get, &number), 0);
  expectUnchanged();
  iMemory_FailAllocation(0);
  PushNumbers(stack.get, 3, 3);
  EXPECT_EQ(TopOf(stack.get), 3u);
}

TEST(StackPush, StartsABlockWithoutPushing_WhenOnlyTheOuterPartIsCalled) {
  OwnedStack stack(Stack_SizedNew(3, 4));
  EXPECT_EQ(_Stack_Push(stack.get), FirstSlot(stack.get));
  EXPECT_EQ(stack.get->top, nullptr);
  EXPECT_EQ(stack.get->next, FirstSlot(stack.get));
  EXPECT_EQ(stack.get->freeInBlock, 3);
}

TEST(StackPush, CountsElementsOfNoBytes) {
  OwnedStack stack(Stack_SizedNew(2, 0));
  const int64_t before = iMemory_CountLive();
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Stack_PushCopy(stack.get, ""), 1);
  EXPECT_EQ(iMemory_CountLive(), before + 2);
  EXPECT_EQ(stack.get->freeInBlock, 1);
  for (int i = 0; i < 5; ++i) {
    EXPECT_NE(stack.get->top, nullptr) << i;
    Stack_Pop(stack.get);
  }
  EXPECT_EQ(stack.get->top, nullptr);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(StackPop, UpdatesTheFieldsInsideABlock) {
  OwnedStack stack(Stack_SizedNew(3, 4));
  PushNumbers(stack.get, 1, 3);
  Stack_Pop(stack.get);
  EXPECT_EQ(stack.get->top, FirstSlot(stack.get) + 4);
  EXPECT_EQ(stack.get->next, FirstSlot(stack.get) + 8);
  EXPECT_EQ(stack.get->freeInBlock, 1);
  PushNumbers(stack.get, 9, 9);
  EXPECT_EQ(TopOf(stack.get), 9u);
  EXPECT_EQ(stack.get->freeInBlock, 0);
}

TEST(StackPop, DoesNothingOnAnEmptyStack) {
  OwnedStack stack(Stack_New(4));
  uint32_t number = 77;
  Stack_Pop(stack.get);
  _Stack_Pop(stack.get);
  Stack_PopCopy(stack.get, &number);
  Stack_PopDelete(stack.get, RecordDeleted);
  EXPECT_EQ(number, 77u);
  EXPECT_TRUE(Deleted().empty());
  EXPECT_EQ(stack.get->freeInBlock, 0);
  EXPECT_EQ(stack.get->blocks, nullptr);
}

TEST(StackPopCopy, CopiesTheTopAndPops) {
  OwnedStack stack(Stack_New(4));
  PushNumbers(stack.get, 1, 40);
  for (uint32_t i = 40; i >= 1; --i) {
    uint32_t number = 0;
    Stack_PopCopy(stack.get, &number);
    EXPECT_EQ(number, i);
  }
  EXPECT_EQ(stack.get->top, nullptr);
}

TEST(StackPopDelete, CallsTheDeleterOnTheTop) {
  OwnedStack stack(Stack_New(4));
  PushNumbers(stack.get, 1, 2);
  Stack_PopDelete(stack.get, RecordDeleted);
  EXPECT_EQ(Deleted(), (std::vector<uint32_t>{2}));
  EXPECT_EQ(TopOf(stack.get), 1u);
  Stack_PopDelete(stack.get, nullptr);
  EXPECT_EQ(stack.get->top, nullptr);
}

// The only element of a later block: its memory goes with the pop.
TEST(StackPopDelete, CallsTheDeleterBeforeItPops) {
  static Stack* seen;
  static int calls;
  OwnedStack stack(Stack_SizedNew(2, 4));
  seen = stack.get;
  calls = 0;
  const int64_t oneBlock = iMemory_CountLive();
  PushNumbers(stack.get, 1, 3);
  ASSERT_EQ(iMemory_CountLive(), oneBlock + 1);
  static int64_t liveInDeleter;
  liveInDeleter = 0;
  Stack_PopDelete(stack.get, [](void* element) {
    ++calls;
    liveInDeleter = iMemory_CountLive();
    EXPECT_EQ(element, seen->top);
    EXPECT_EQ(*static_cast<uint32_t*>(element), 3u);
    EXPECT_EQ(seen->freeInBlock, 1);
  });
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(liveInDeleter, oneBlock + 1) << "the block was freed before its element was deleted";
  EXPECT_EQ(iMemory_CountLive(), oneBlock);
  EXPECT_EQ(TopOf(stack.get), 2u);
}

TEST(StackEmpty, VisitsTheNewestBlockFirstAndEachUpward) {
  OwnedStack stack(Stack_New(4));
  PushNumbers(stack.get, 1, 20);
  Stack_Empty(stack.get, RecordDeleted);
  EXPECT_EQ(Deleted(),
            (std::vector<uint32_t>{17, 18, 19, 20, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
  EXPECT_EQ(stack.get->top, nullptr);
  EXPECT_EQ(stack.get->next, nullptr);
  EXPECT_EQ(stack.get->blocks, nullptr);
  EXPECT_EQ(stack.get->freeInBlock, 0);
}

TEST(StackEmpty, VisitsThreeBlocksAfterAPoppedOne) {
  OwnedStack stack(Stack_SizedNew(2, 4));
  PushNumbers(stack.get, 1, 7);
  Stack_Pop(stack.get);  // the block of 7 is gone, those of 5 6, 3 4 and 1 2 are full
  Stack_Empty(stack.get, RecordDeleted);
  EXPECT_EQ(Deleted(), (std::vector<uint32_t>{5, 6, 3, 4, 1, 2}));
}

TEST(StackEmpty, FreesTheBlocksWithoutADeleter) {
  const int64_t before = iMemory_CountLive();
  OwnedStack stack(Stack_SizedNew(1, 4));
  PushNumbers(stack.get, 1, 9);
  EXPECT_EQ(iMemory_CountLive() - before, 9);
  Stack_Empty(stack.get, nullptr);
  EXPECT_EQ(iMemory_CountLive() - before, 1);
  Stack_Empty(stack.get, RecordDeleted);
  EXPECT_TRUE(Deleted().empty());
  PushNumbers(stack.get, 5, 5);
  EXPECT_EQ(TopOf(stack.get), 5u);
}

TEST(StackDelete, CallsTheDeleterAndFreesEverything) {
  const int64_t before = iMemory_CountLive();
  Deleted().clear();
  Stack* stack = Stack_SizedNew(2, 4);
  PushNumbers(stack, 1, 3);
  Stack_Delete(stack, RecordDeleted);
  EXPECT_EQ(Deleted(), (std::vector<uint32_t>{3, 1, 2}));
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(Stack, HasTheSameOperationsAsFunctions) {
  void* (*push)(Stack*) = &Stack_Push;
  void (*pop)(Stack*) = &Stack_Pop;
  OwnedStack stack(Stack_SizedNew(2, 4));
  *static_cast<uint32_t*>(push(stack.get)) = 5;
  *static_cast<uint32_t*>((Stack_Push)(stack.get)) = 6;
  EXPECT_EQ(TopOf(stack.get), 6u);
  pop(stack.get);
  EXPECT_EQ(TopOf(stack.get), 5u);
  EXPECT_EQ(stack.get->freeInBlock, 1);
}

TEST(Stack, HoldsTheLargestBlock) {
  OwnedStack stack(Stack_SizedNew(65535, 1));
  for (int i = 0; i < 65536; ++i) *static_cast<uint8_t*>(Stack_Push(stack.get)) = static_cast<uint8_t>(i);
  EXPECT_EQ(stack.get->freeInBlock, 65534);
  for (int i = 65535; i >= 0; --i) {
    uint8_t byte = 1;
    Stack_PopCopy(stack.get, &byte);
    ASSERT_EQ(byte, static_cast<uint8_t>(i));
  }
  EXPECT_EQ(stack.get->top, nullptr);
}

TEST(Stack, RefusesNullPointers) {
  const uint32_t number = 1;
  EXPECT_EQ(Stack_Push(nullptr), nullptr);
  EXPECT_EQ(_Stack_Push(nullptr), nullptr);
  EXPECT_EQ(Stack_PushCopy(nullptr, &number), 0);
  Stack_Pop(nullptr);
  _Stack_Pop(nullptr);
  uint32_t untouched = 77;
  Stack_PopCopy(nullptr, &untouched);
  EXPECT_EQ(untouched, 77u);
  Stack_PopDelete(nullptr, RecordDeleted);
  Stack_Empty(nullptr, RecordDeleted);
  Stack_Delete(nullptr, nullptr);

  OwnedStack stack(Stack_New(4));
  EXPECT_EQ(Stack_PushCopy(stack.get, nullptr), 0);
  EXPECT_EQ(stack.get->blocks, nullptr);
  PushNumbers(stack.get, 1, 1);
  Stack_PopCopy(stack.get, nullptr);
  EXPECT_EQ(stack.get->top, nullptr);
}

TEST(StackMemory, GivesNullOrZero_WhenMemoryRunsOut) {
  FailEveryAllocation([] {
    OwnedStack stack(Stack_SizedNew(2, 4));
    if (stack.get == nullptr) return;
    uint32_t pushed = 0;
    for (uint32_t i = 1; i <= 9; ++i) pushed += static_cast<uint32_t>(Stack_PushCopy(stack.get, &i));
    ASSERT_GE(pushed, 8u);
    Stack_Empty(stack.get, RecordDeleted);
    EXPECT_EQ(Deleted().size(), pushed);
  });
}

}  // namespace
