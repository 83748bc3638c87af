// Keys of 64 bits.
#include <gtest/gtest.h>

#include <vector>

#include "qz/error.h"
#include "qz/hash.h"

namespace {

TEST(Hash, TakesTheWholeKeyForItsSlot) {
  // 2^32 + 3 is 0 modulo 7; its lower 32 bits alone are 3.
  constexpr Word kLargeKey = 4294967299u;
  Hash* table = Hash_New(0, 0, nullptr, nullptr);
  for (const Word key : {Word{1}, Word{2}, kLargeKey}) ASSERT_EQ(Hash_InsertNode(table, key, 9), Error_None);
  std::vector<Word> keys;  // in slot order
  Hash_ForEachNode(
      table,
      [](Word key, Word, void* context) {
        static_cast<std::vector<Word>*>(context)->push_back(key);
        return 0;
      },
      &keys);
  EXPECT_EQ(keys, (std::vector<Word>{kLargeKey, 1, 2}));
  Hash_Delete(table);
}

}  // namespace
