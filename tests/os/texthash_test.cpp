// TextHash: equal texts have equal hashes, and similar ones are spread.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "os/text/texthash_internal.h"

namespace {

uint32_t HashOf(const std::string& text) {
  TextHash hash;
  hash.AddText(text.c_str());
  return hash.Value();
}

TEST(TextHash, IsTheSameForTheSameText) {
  EXPECT_EQ(HashOf("key"), HashOf("key"));
  EXPECT_NE(HashOf("key"), HashOf("kez"));
  EXPECT_NE(HashOf(""), HashOf("k"));
}

TEST(TextHash, TellsWhereOneTextEndsAndTheNextBegins) {
  TextHash first;
  first.AddText("ab");
  first.AddText("c");
  TextHash second;
  second.AddText("a");
  second.AddText("bc");
  EXPECT_NE(first.Value(), second.Value());
}

// 4,096 places for 4,096 numbered keys: by chance 2,589 of them are taken.
TEST(TextHash, SpreadsSimilarTextsOverATable) {
  std::set<uint32_t> places;
  for (int i = 0; i < 4096; ++i) places.insert(HashOf("key" + std::to_string(i)) % 4096);
  EXPECT_GT(places.size(), 2400u);
}

}  // namespace
