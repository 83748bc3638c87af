// What Stack_Delete leaves in the record at the moment when it is freed. The linker sends every call of
// Memory_Delete in this program through the function below.
#include <gtest/gtest.h>

#include "qz/memory.h"
#include "qz/stack.h"

namespace {

const Stack* watched = nullptr;
Stack freedRecord;

}  // namespace

extern "C" void __real_Memory_Delete(void* pointer);
extern "C" void __wrap_Memory_Delete(void* pointer) {
  if (pointer != nullptr && pointer == watched) {
    freedRecord = *watched;
    watched = nullptr;
  }
  __real_Memory_Delete(pointer);
}

namespace {

TEST(StackDelete, LeavesARecordThatFailsVisibly) {
  Stack* stack = Stack_SizedNew(3, 8);
  Stack_Push(stack);
  watched = stack;
  freedRecord = {};
  Stack_Delete(stack, nullptr);
  ASSERT_EQ(watched, nullptr) << "the record was not freed";
  EXPECT_EQ(freedRecord.elementSize, 4294967295u);
  EXPECT_EQ(freedRecord.elementsPerBlock, 1);
  EXPECT_EQ(freedRecord.top, nullptr);
  EXPECT_EQ(freedRecord.next, nullptr);
  EXPECT_EQ(freedRecord.blocks, nullptr);
  EXPECT_EQ(freedRecord.freeInBlock, 0);
}

}  // namespace
