// Tables of numbers and texts.
#include "qz/stringlookup.h"

#include <gtest/gtest.h>

namespace {

// No order, a key and a text twice, a negative key, an empty text.
constexpr StringLookup kTable[] = {{5, "five"}, {-2, "minus two"}, {5, "again"}, {7, "five"}, {0, ""}};
constexpr uint32_t kCount = 5;

TEST(StringLookupByIndex, GivesTheTextOfTheFirstPair) {
  EXPECT_STREQ(StringLookup_ByIndex(kTable, kCount, 5), "five");
  EXPECT_STREQ(StringLookup_ByIndex(kTable, kCount, -2), "minus two");
  EXPECT_STREQ(StringLookup_ByIndex(kTable, kCount, 7), "five");
}

TEST(StringLookupByIndex, GivesNullWhenThereIsNone) {
  EXPECT_EQ(StringLookup_ByIndex(kTable, kCount, 6), nullptr);
  EXPECT_EQ(StringLookup_ByIndex(kTable, 0, 5), nullptr);
  EXPECT_EQ(StringLookup_ByIndex(kTable, 3, 7), nullptr);
  EXPECT_EQ(StringLookup_ByIndex(nullptr, kCount, 5), nullptr);
}

TEST(StringLookupByString, GivesTheKeyOfTheFirstPair) {
  EXPECT_EQ(StringLookup_ByString(kTable, kCount, "five"), 5);
  EXPECT_EQ(StringLookup_ByString(kTable, kCount, "minus two"), -2);
  EXPECT_EQ(StringLookup_ByString(kTable, kCount, ""), 0);
}

TEST(StringLookupByString, GivesMinusOneWhenThereIsNone) {
  EXPECT_EQ(StringLookup_ByString(kTable, kCount, "FIVE"), -1);
  EXPECT_EQ(StringLookup_ByString(kTable, kCount, "fiv"), -1);
  EXPECT_EQ(StringLookup_ByString(kTable, kCount, "missing"), -1);
  EXPECT_EQ(StringLookup_ByString(kTable, 0, "five"), -1);
  EXPECT_EQ(StringLookup_ByString(nullptr, kCount, "five"), -1);
}

TEST(StringLookupByString, TakesAMissingTextForAnEmptyOne) {
  constexpr StringLookup kNoText[] = {{3, "three"}, {4, nullptr}};
  EXPECT_EQ(StringLookup_ByString(kTable, kCount, nullptr), 0);
  EXPECT_EQ(StringLookup_ByStringInsensitive(kTable, kCount, nullptr), 0);
  EXPECT_EQ(StringLookup_ByString(kNoText, 2, ""), 4);
  EXPECT_EQ(StringLookup_ByIndex(kNoText, 2, 4), nullptr);
}

TEST(StringLookupByStringInsensitive, IgnoresCase) {
  EXPECT_EQ(StringLookup_ByStringInsensitive(kTable, kCount, "FIVE"), 5);
  EXPECT_EQ(StringLookup_ByStringInsensitive(kTable, kCount, "Minus Two"), -2);
  EXPECT_EQ(StringLookup_ByStringInsensitive(kTable, kCount, "six"), -1);
  EXPECT_EQ(StringLookup_ByStringInsensitive(kTable, 0, "five"), -1);
  EXPECT_EQ(StringLookup_ByStringInsensitive(nullptr, kCount, "five"), -1);
}

}  // namespace
