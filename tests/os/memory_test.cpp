// Allocation and raw bytes.
#include "qz/memory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "os/core/memory_internal.h"
#include "os/core/memory_testing.h"

namespace {

TEST(Memory, CountsBlocksThatAreAlive) {
  const int64_t before = iMemory_CountLive();
  void* first = Memory_New(10);
  void* second = iMemory_NewCleared(10);
  void* third = Memory_Realloc(nullptr, 10);
  EXPECT_EQ(iMemory_CountLive(), before + 3);
  first = Memory_Realloc(first, 1000);
  EXPECT_EQ(iMemory_CountLive(), before + 3);
  Memory_Delete(first);
  Memory_Delete(second);
  Memory_Delete(third);
  Memory_Delete(nullptr);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(Memory, CountsInEveryThread) {
  const int64_t before = iMemory_CountLive();
  void* block = nullptr;
  std::thread([&block] { block = Memory_New(10); }).join();
  EXPECT_EQ(iMemory_CountLive(), before + 1);
  std::thread([block] { Memory_Delete(block); }).join();
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(Memory, CountsWhileAnAllocationIsToFailAndAfterThat) {
  const int64_t before = iMemory_CountLive();
  iMemory_FailAllocation(10);
  void* first = Memory_New(10);
  iMemory_FailAllocation(0);
  void* second = Memory_New(10);
  EXPECT_EQ(iMemory_CountLive(), before + 2);
  iMemory_FailAllocation(10);
  Memory_Delete(first);
  iMemory_FailAllocation(0);
  Memory_Delete(second);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(MemoryNew, GivesABlockForNoBytes) {
  void* block = Memory_New(0);
  EXPECT_NE(block, nullptr);
  Memory_Delete(block);
}

TEST(MemoryNew, GivesNullWhenMemoryRunsOut) {
  const int64_t before = iMemory_CountLive();
  iMemory_FailAllocation(1);
  EXPECT_EQ(Memory_New(10), nullptr);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(MemoryRealloc, KeepsTheContent) {
  char* block = static_cast<char*>(Memory_New(4));
  memcpy(block, "abc", 4);
  block = static_cast<char*>(Memory_Realloc(block, 4000));
  ASSERT_NE(block, nullptr);
  EXPECT_STREQ(block, "abc");
  Memory_Delete(block);
}

TEST(MemoryRealloc, KeepsTheOldBlockWhenItFails) {
  char* block = static_cast<char*>(Memory_New(4));
  memcpy(block, "abc", 4);
  iMemory_FailAllocation(1);
  EXPECT_EQ(Memory_Realloc(block, 4000), nullptr);
  EXPECT_EQ(iMemory_AllocationsUntilFailure(), 0);
  EXPECT_STREQ(block, "abc");
  Memory_Delete(block);
}

TEST(MemoryRealloc, FreesTheBlock_ForNoBytes) {
  const int64_t before = iMemory_CountLive();
  void* block = Memory_New(4);
  block = Memory_Realloc(block, 0);
  Memory_Delete(block);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(MemoryFailAllocation, FailsExactlyTheOneAskedFor) {
  iMemory_FailAllocation(2);
  void* first = Memory_New(1);
  void* second = iMemory_NewCleared(1);
  void* third = Memory_New(1);
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_NE(third, nullptr);
  Memory_Delete(first);
  Memory_Delete(third);
}

TEST(MemoryNewCleared, SetsEveryByteToZero) {
  uint8_t* block = static_cast<uint8_t*>(iMemory_NewCleared(100));
  ASSERT_NE(block, nullptr);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(block[i], 0);
  Memory_Delete(block);
}

TEST(MemoryCopy, TakesTheSourceFirst) {
  char destination[6] = "#####";
  Memory_Copy("abcde", destination, 3);
  EXPECT_STREQ(destination, "abc##");
  Memory_Copy("x", destination, 1);
  EXPECT_STREQ(destination, "xbc##");
}

TEST(MemoryCopy, AllowsOverlapInBothDirections) {
  char up[] = "abcdef";
  Memory_Copy(up, up + 2, 4);
  EXPECT_STREQ(up, "ababcd");
  char down[] = "abcdef";
  Memory_Copy(down + 2, down, 4);
  EXPECT_STREQ(down, "cdefef");
}

TEST(MemoryCopy, DoesNothingForNoBytesOrNoBlock) {
  char text[] = "abc";
  Memory_Copy("xyz", text, 0);
  Memory_Copy(nullptr, text, 0);
  Memory_Copy(nullptr, text, 2);
  Memory_Copy(text, nullptr, 2);
  EXPECT_STREQ(text, "abc");
}

TEST(MemorySet, TakesTheCountBeforeTheValue) {
  char text[] = "abcdef";
  Memory_Set(text, 3, 'x');
  EXPECT_STREQ(text, "xxxdef");
  Memory_Set(text, 0, 'y');
  Memory_Set(nullptr, 3, 'y');
  EXPECT_STREQ(text, "xxxdef");
  Memory_Set(text, 1, 0x1E4);
  EXPECT_EQ(static_cast<uint8_t>(text[0]), 0xE4);
}

TEST(MemoryCompare, GivesTheDifferenceOfTheFirstDifferingBytes) {
  EXPECT_EQ(Memory_Compare("abc", "abc", 3), 0);
  EXPECT_EQ(Memory_Compare("abc", "abf", 3), -3);
  EXPECT_EQ(Memory_Compare("abc", "abf", 2), 0);
  EXPECT_EQ(Memory_Compare("b", "a", 1), 1);
  EXPECT_EQ(Memory_Compare("a\0c", "a\0b", 3), 1);
  EXPECT_EQ(Memory_Compare("abc", "xyz", 0), 0);
}

TEST(MemoryCompare, TakesBytesAsSignedCharacters) {
  EXPECT_EQ(Memory_Compare("\xFF", "a", 1), -98);
  EXPECT_EQ(Memory_Compare("\x80", "\x7F", 1), -255);
  EXPECT_EQ(Memory_Compare("\x7F", "\x80", 1), 255);
}

TEST(MemoryCompare, PutsAMissingBlockFirst) {
  EXPECT_EQ(Memory_Compare(nullptr, nullptr, 0), 0);
  EXPECT_EQ(Memory_Compare(nullptr, "a", 0), 0);
  EXPECT_EQ(Memory_Compare(nullptr, nullptr, 1), 0);
  EXPECT_EQ(Memory_Compare(nullptr, "a", 1), -1);
  EXPECT_EQ(Memory_Compare("a", nullptr, 1), 1);
}

}  // namespace
