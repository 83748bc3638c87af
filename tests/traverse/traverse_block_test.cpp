// The blocks that a read allocates: what the outermost End keeps and what it frees.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "os/core/memory_testing.h"
#include "qz/memory.h"
#include "tests/support/fail_allocation.h"
#include "tests/traverse/example_record.h"
#include "tests/traverse/traverse_fixture.h"
#include "traverse/traverse_internal.h"

namespace {

// Blocks that live now beyond those of before.
class Blocks {
 public:
  int64_t Count() const { return iMemory_CountLive() - before_; }

 private:
  int64_t before_ = iMemory_CountLive();
};

TEST(TraverseBlocks, StayWithTheRecord_WhenItWasRead) {
  Context context("02 00 00 00 61 00 02 00 00 00 62 00");
  const Blocks blocks;
  char* a = nullptr;
  char* b = nullptr;
  EXPECT_EQ(DataRead(context.traverse(),
                     [&](Traverse* traverse) {
                       Traverse_BString(traverse, &a);
                       Traverse_BString(traverse, &b);
                     }),
            Error_None);
  EXPECT_EQ(blocks.Count(), 2);
  Memory_Delete(a);
  Memory_Delete(b);
}

TEST(TraverseBlocks, StayWithTheRecord_AfterExceed) {
  Context context("02 00 00 00 61 00 02 00 00 00 62 00");
  char* a = nullptr;
  char buffer[3] = "";
  EXPECT_EQ(DataRead(context.traverse(),
                     [&](Traverse* traverse) {
                       Traverse_BString(traverse, &a);
                       Traverse_String(traverse, 2, buffer);
                     }),
            Error_Exceed);
  EXPECT_STREQ(a, "a");
  EXPECT_STREQ(buffer, "b");
  Memory_Delete(a);
}

TEST(TraverseBlocks, AreFreedAtTheOutermostEndOnly) {
  Context context("02 00 00 00 61 00 02 00 00 00 62 00");
  const Blocks blocks;
  char* a = nullptr;
  char* b = nullptr;
  EXPECT_EQ(DataRead(context.traverse(),
                     [&](Traverse* traverse) {
                       Traverse_BString(traverse, &a);
                       const ErrorCode inner = DataRead(traverse, [&](Traverse* nested) {
                         Traverse_BString(nested, &b);
                         Traverse_Validate(nested, 0);
                       });
                       EXPECT_EQ(inner, Error_Invalid);
                       EXPECT_EQ(Traverse_GetError(traverse), Error_None);
                       EXPECT_EQ(blocks.Count(), 2) << "a nested failure frees nothing";
                       EXPECT_STREQ(b, "b");
                       Traverse_SetError(traverse, inner);
                     }),
            Error_Invalid);
  EXPECT_EQ(blocks.Count(), 0);
}

TEST(TraverseBlocks, OfANestedReadAreFreedWithTheirCallers) {
  Context context("02 00 00 00 61 00 02 00 00 00 62 00");
  const Blocks blocks;
  char* a = nullptr;
  char* b = nullptr;
  EXPECT_EQ(DataRead(context.traverse(),
                     [&](Traverse* traverse) {
                       EXPECT_EQ(DataRead(traverse, [&](Traverse* nested) { Traverse_BString(nested, &a); }),
                                 Error_None);
                       Traverse_BString(traverse, &b);
                       Traverse_SetError(traverse, Error_Fail);
                     }),
            Error_Fail);
  EXPECT_EQ(blocks.Count(), 0);
}

TEST(TraverseBlocks, OutsideStartAndEndStayRecordedUntilTheNextEnd) {
  Context context("02 00 00 00 61 00 02 00 00 00 62 00");
  const Blocks blocks;
  char* a = nullptr;
  EXPECT_EQ(Traverse_BString(context.In(TraverseMode_Read), &a), Error_None);
  Traverse_Start(context.traverse());
  Traverse_SetError(context.traverse(), Error_Fail);
  EXPECT_EQ(blocks.Count(), 1);
  Traverse_End(context.traverse());
  EXPECT_EQ(blocks.Count(), 0);

  Traverse_SetError(context.traverse(), Error_None);
  EXPECT_EQ(Traverse_BString(context.traverse(), &a), Error_None);
  Traverse_Start(context.traverse());
  Traverse_End(context.traverse());
  EXPECT_EQ(blocks.Count(), 1);
  Memory_Delete(a);
}

TEST(TraverseBlocks, AreFreedWithTheTraverse_WhenNothingHasEnded) {
  const Blocks blocks;
  {
    Context context("02 00 00 00 61 00 02 00 00 00 62 00");
    char* a = nullptr;
    char* b = nullptr;
    Traverse_BString(context.In(TraverseMode_Read), &a);
    Traverse_Start(context.traverse());
    Traverse_BString(context.traverse(), &b);
    Traverse_BString(context.In(TraverseMode_Delete), &a);
  }
  EXPECT_EQ(blocks.Count(), 0);
}

TEST(TraverseBlocks, AreFreedOnce_WhenTheyWereDeletedInsideAFailingRead) {
  Context context("02 00 00 00 61 00 02 00 00 00 62 00 02 00 00 00 63 00");
  const Blocks blocks;
  char* texts[3] = {};
  char* older = NewText("older");
  EXPECT_EQ(DataRead(context.traverse(),
                     [&](Traverse* traverse) {
                       Traverse_BString(traverse, &texts[0]);
                       Traverse_BString(traverse, &texts[1]);
                       DataDelete(traverse, [&](Traverse* nested) {
                         Traverse_BString(nested, &texts[0]);
                         Traverse_BString(nested, &older);
                       });
                       EXPECT_EQ(texts[0], nullptr);
                       EXPECT_EQ(older, nullptr);
                       Traverse_BString(traverse, &texts[2]);
                       EXPECT_STREQ(texts[2], "c");
                       Traverse_SetError(traverse, Error_Fail);
                     }),
            Error_Fail);
  EXPECT_EQ(blocks.Count(), 0);
}

TEST(TraverseBlocks, StayRecorded_WhenAStartIsLeftOpen) {
  const Blocks blocks;
  char* text = nullptr;
  {
    Context context("02 00 00 00 61 00");
    EXPECT_EQ(DataRead(context.traverse(),
                       [&](Traverse* traverse) {
                         Traverse_Start(traverse);
                         Traverse_BString(traverse, &text);
                       }),
              Error_None);
    EXPECT_EQ(context.traverse()->depth, 1u);
    EXPECT_STREQ(text, "a");
  }
  EXPECT_EQ(blocks.Count(), 0) << "the traverse took them with it";

  Context context("02 00 00 00 61 00");
  EXPECT_EQ(DataRead(context.traverse(),
                     [&](Traverse* traverse) {
                       Traverse_Start(traverse);
                       Traverse_BString(traverse, &text);
                     }),
            Error_None);
  Traverse_End(context.traverse());
  EXPECT_EQ(context.traverse()->allocations->top, nullptr) << "the End that was missing gives them away";
  Memory_Delete(text);
}

TEST(TraverseBlocks, StayWithTheRecord_WhenAnEndComesTooEarly) {
  const Blocks blocks;
  char* a = nullptr;
  char* b = nullptr;
  {
    Context context("02 00 00 00 61 00 02 00 00 00 62 00");
    EXPECT_EQ(DataRead(context.traverse(),
                       [&](Traverse* traverse) {
                         Traverse_BString(traverse, &a);
                         Traverse_End(traverse);
                         Traverse_BString(traverse, &b);
                         Traverse_SetError(traverse, Error_Fail);
                       }),
              Error_Fail);
    EXPECT_EQ(context.traverse()->depth, 0u);
    EXPECT_STREQ(a, "a");
    EXPECT_STREQ(b, "b") << "what came behind that End waits for the next one";
  }
  EXPECT_EQ(blocks.Count(), 1);
  Memory_Delete(a);
}

// Read, deleted and read again a thousand levels deep, and given up: each block is freed once.
TEST(TraverseBlocks, AreFreedOnce_WhenReadsAreNestedDeeply) {
  constexpr int kLevels = 1000;
  std::string hex;
  for (int i = 0; i < kLevels; ++i) hex += "02 00 00 00 61 00 ";
  struct Level {
    std::vector<char*> texts = std::vector<char*>(kLevels);
    size_t depth = 0;
    static void Describe(Traverse* traverse, void* argument) {
      auto* level = static_cast<Level*>(argument);
      const size_t depth = level->depth++;
      Traverse_BString(traverse, &level->texts[depth]);
      if (depth + 1 == kLevels) {
        Traverse_SetError(traverse, Error_Cancel);
        return;
      }
      const ErrorCode status = Traverse_DataRead(traverse, Describe, argument);
      DataDelete(traverse, [&](Traverse* nested) { Traverse_BString(nested, &level->texts[depth]); });
      Traverse_SetError(traverse, status);
    }
  } level;
  Context context(hex);
  const Blocks blocks;
  EXPECT_EQ(Traverse_DataRead(context.traverse(), Level::Describe, &level), Error_Cancel);
  EXPECT_EQ(level.depth, 1000u);
  EXPECT_EQ(blocks.Count(), 0);
}

TEST(TraverseBlocks, AreFreed_WhenTheyWereDeletedInsideAReadThatSucceeds) {
  Context context("02 00 00 00 61 00 02 00 00 00 62 00");
  const Blocks blocks;
  char* a = nullptr;
  char* b = nullptr;
  char* older = NewText("older");
  EXPECT_EQ(DataRead(context.traverse(),
                     [&](Traverse* traverse) {
                       Traverse_BString(traverse, &a);
                       DataDelete(traverse, [&](Traverse* nested) {
                         Traverse_BString(nested, &a);
                         Traverse_BString(nested, &older);
                       });
                       Traverse_BString(traverse, &b);
                     }),
            Error_None);
  EXPECT_EQ(blocks.Count(), 1);
  EXPECT_STREQ(b, "b");
  Memory_Delete(b);
}

TEST(TraverseBlocks, AreFreedAtOnce_WhenNothingIsRecorded) {
  Context context;
  char* text = NewText("text");
  Traverse_Start(context.In(TraverseMode_Delete));
  const Blocks blocks;
  Traverse_BString(context.traverse(), &text);
  EXPECT_EQ(blocks.Count(), -1);
  Traverse_End(context.traverse());
}

TEST(TraverseBlocks, OfEveryKindAreFreedOnce_WhenTheyWereDeletedInsideAFailingRead) {
  Context writer;
  ExampleRecord example = NewExample();
  ASSERT_EQ(Traverse_DataWrite(writer.traverse(), DescribeExample, &example), Error_None);
  Traverse_DataDelete(nullptr, DescribeExample, &example);

  Context context(writer.Written());
  const Blocks blocks;
  ExampleRecord record;
  Traverse_DataInit(nullptr, DescribeExample, &record);
  EXPECT_EQ(DataRead(context.traverse(),
                     [&](Traverse* traverse) {
                       EXPECT_EQ(Traverse_DataRead(traverse, DescribeExample, &record), Error_None);
                       void* part = nullptr;
                       Traverse_MemoryStart(traverse, 4, &part);
                       EXPECT_EQ(DataDelete(traverse,
                                            [&](Traverse* nested) {
                                              DescribeExample(nested, &record);
                                              Traverse_ObjectPtr(nested, nullptr, &part);
                                            }),
                                 Error_None);
                       Traverse_SetError(traverse, Error_Cancel);
                     }),
            Error_Cancel);
  EXPECT_EQ(blocks.Count(), 0);
}

// Thousands of blocks, half of them deleted in an order of their own: each is freed once, and quickly.
TEST(TraverseBlocks, AreFreedOnce_WhenThereAreMany) {
  constexpr uint32_t kCount = 20000;
  const Blocks blocks;
  for (const ErrorCode end : {Error_None, Error_Fail}) {
    Context context;
    std::vector<void*> all(kCount);
    Traverse_Start(context.In(TraverseMode_New));
    for (void*& block : all) ASSERT_EQ(Traverse_MemoryStart(context.traverse(), 1, &block), Error_None);
    std::vector<void*> shuffled = all;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
    Traverse_SetMode(context.traverse(), TraverseMode_Delete);
    for (uint32_t i = 0; i < kCount / 2; ++i) Traverse_MemoryEnd(context.traverse(), &shuffled[i]);
    Traverse_SetError(context.traverse(), end);
    Traverse_End(context.traverse());
    if (end == Error_Fail) continue;
    for (uint32_t i = kCount / 2; i < kCount; ++i) Memory_Delete(shuffled[i]);
  }
  EXPECT_EQ(blocks.Count(), 0);
}

TEST(TraverseBlocks, LeaveNoEntryBehind_WhenTheyCannotBeAllocated) {
  Context context;
  void* block = nullptr;
  Traverse_SetMode(context.traverse(), TraverseMode_New);
  iMemory_FailAllocation(1);
  EXPECT_EQ(Traverse_MemoryStart(context.traverse(), 8, &block), Error_Memory);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(context.traverse()->allocations->top, nullptr);
}

TEST(TraverseBlocks, AreFreedOnce_WhicheverAllocationFails) {
  FailEveryAllocation([] {
    TestStream bytes;
    Traverse* traverse = Traverse_New(0, bytes.stream());
    if (traverse == nullptr) return;
    std::vector<void*> blocks(40, nullptr);
    const ErrorCode status = DataNew(traverse, [&](Traverse* nested) {
      for (void*& block : blocks) Traverse_MemoryStart(nested, 3, &block);
      Traverse_SetMode(nested, TraverseMode_Delete);
      for (size_t i = 0; i < blocks.size(); i += 2) Traverse_MemoryEnd(nested, &blocks[i]);
      if (Traverse_GetError(nested) == Error_None) Traverse_SetError(nested, Error_Cancel);
    });
    EXPECT_TRUE(status == Error_Cancel || status == Error_Memory) << status;
    Traverse_Delete(traverse);
  });
}

TEST(TraverseBlocks, AreFreedOrKept_WhicheverAllocationFailsInASuccessfulRead) {
  FailEveryAllocation([] {
    TestStream bytes;
    Traverse* traverse = Traverse_New(0, bytes.stream());
    if (traverse == nullptr) return;
    std::vector<void*> blocks(40, nullptr);
    const ErrorCode status = DataNew(traverse, [&](Traverse* nested) {
      for (void*& block : blocks) Traverse_MemoryStart(nested, 3, &block);
      Traverse_SetMode(nested, TraverseMode_Delete);
      for (size_t i = 0; i < blocks.size(); i += 2) Traverse_MemoryEnd(nested, &blocks[i]);
    });
    if (status == Error_None) {
      for (void* block : blocks) Memory_Delete(block);
    } else {
      EXPECT_EQ(status, Error_Memory);
    }
    Traverse_Delete(traverse);
  });
}

}  // namespace
