// Blocks whose size cannot be expressed: in 64 bits there are none.
#include <gtest/gtest.h>

#include "qz/stack.h"

namespace {

TEST(StackNew, RefusesABlockThatCannotBeExpressed) {
  // 65535 elements of 65537 bytes leave no room for the record, and 16 of 2^28 bytes wrap to 0.
  EXPECT_EQ(Stack_SizedNew(65535, 65537), nullptr);
  EXPECT_EQ(Stack_SizedNew(16, 0x10000000), nullptr);
  EXPECT_EQ(Stack_SizedNew(1, 0xFFFFFFFFu), nullptr);
}

}  // namespace
