// ConfigLabel: the built-in tables, tables of one's own, and who frees what.
#include "qz/configlabel.h"

#include <gtest/gtest.h>

#include <string>

#include "qz/error.h"
#include "tests/support/fail_allocation.h"

namespace {

class OwnedLabel {
 public:
  explicit OwnedLabel(ConfigLabel* label) : label_(label) {}
  ~OwnedLabel() { ConfigLabel_Delete(label_); }
  OwnedLabel(const OwnedLabel&) = delete;
  OwnedLabel& operator=(const OwnedLabel&) = delete;

  ConfigLabel* get() const { return label_; }

 private:
  ConfigLabel* label_;
};

constexpr StringLookup kSizes[] = {{5, "small"}, {9, "Large"}, {5, "little"}, {-3, "LARGE"}};

TEST(ConfigLabelYesNo, PrintsItsWords) {
  OwnedLabel label(ConfigLabel_GetYesNo());
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 0), "No");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 1), "Yes");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 7), "No");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), -1), "No");
}

TEST(ConfigLabelYesNo, ScansWordsAndLettersInAnyCase) {
  OwnedLabel label(ConfigLabel_GetYesNo());
  const struct {
    const char* text;
    int32_t value;
  } rows[] = {{"No", 0}, {"Yes", 1}, {"N", 0},  {"Y", 1},   {"y", 1},     {"n", 0},     {"YES", 1},
              {"nO", 0}, {"", -1},   {"1", -1}, {"ye", -1}, {"yess", -1}, {" yes", -1}, {"true", -1}};
  for (const auto& row : rows) EXPECT_EQ(ConfigLabel_Scan(label.get(), row.text), row.value) << row.text;
}

TEST(ConfigLabelTrueFalse, PrintsItsWords) {
  OwnedLabel label(ConfigLabel_GetTrueFalse());
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 0), "False");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 1), "True");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 2), "False");
}

TEST(ConfigLabelTrueFalse, ScansWordsAndLettersInAnyCase) {
  OwnedLabel label(ConfigLabel_GetTrueFalse());
  const struct {
    const char* text;
    int32_t value;
  } rows[] = {{"False", 0}, {"True", 1}, {"F", 0},  {"T", 1},   {"FALSE", 0},
              {"tRUE", 1},  {"f", 0},    {"t", 1},  {"", -1},   {"0", -1},
              {"tru", -1},  {"no", -1},  {"y", -1}, {"tt", -1}, {"True ", -1}};
  for (const auto& row : rows) EXPECT_EQ(ConfigLabel_Scan(label.get(), row.text), row.value) << row.text;
}

TEST(ConfigLabelBuiltIn, IsSharedAndNeedsNoMemory) {
  const int64_t before = iMemory_CountLive();
  iMemory_FailAllocation(1);
  ConfigLabel* yesNo = ConfigLabel_GetYesNo();
  ConfigLabel* trueFalse = ConfigLabel_GetTrueFalse();
  iMemory_FailAllocation(0);
  EXPECT_EQ(ConfigLabel_GetYesNo(), yesNo);
  EXPECT_EQ(ConfigLabel_GetTrueFalse(), trueFalse);
  EXPECT_NE(yesNo, trueFalse);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(ConfigLabelBuiltIn, IsNeverFreed) {
  for (int i = 0; i < 5; ++i) {
    ConfigLabel_Delete(ConfigLabel_GetYesNo());
    ConfigLabel_Delete(ConfigLabel_GetTrueFalse());
  }
  ConfigLabel* yesNo = ConfigLabel_GetYesNo();
  ConfigLabel* trueFalse = ConfigLabel_GetTrueFalse();
  for (int i = 0; i < 5; ++i) {
    ConfigLabel_Delete(yesNo);
    ConfigLabel_Delete(trueFalse);
  }
  EXPECT_STREQ(ConfigLabel_Print(ConfigLabel_GetYesNo(), 1), "Yes");
  EXPECT_STREQ(ConfigLabel_Print(ConfigLabel_GetTrueFalse(), 1), "True");
}

TEST(ConfigLabelBuiltIn, CannotBeExtended) {
  EXPECT_EQ(ConfigLabel_Add(ConfigLabel_GetYesNo(), 2, "Maybe"), Error_Invalid);
  EXPECT_EQ(ConfigLabel_Add(ConfigLabel_GetTrueFalse(), 0, "No"), Error_Invalid);
  EXPECT_STREQ(ConfigLabel_Print(ConfigLabel_GetYesNo(), 2), "No");
}

TEST(ConfigLabelNewStatic, WrapsTheCallersPairs) {
  StringLookup pairs[] = {{5, "small"}, {9, "large"}};
  OwnedLabel label(ConfigLabel_NewStatic(2, pairs));
  ASSERT_NE(label.get(), nullptr);
  EXPECT_EQ(ConfigLabel_Print(label.get(), 9), pairs[1].text);
  pairs[1].text = "huge";
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 9), "huge");
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "large"), -1);
}

TEST(ConfigLabelNewStatic, TakesCountPairs) {
  OwnedLabel label(ConfigLabel_NewStatic(1, kSizes));
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "small"), 5);
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "large"), -1);
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 9), "small");
}

TEST(ConfigLabelNewStatic, CannotBeExtended) {
  OwnedLabel label(ConfigLabel_NewStatic(4, kSizes));
  EXPECT_EQ(ConfigLabel_Add(label.get(), 12, "new"), Error_Invalid);
  EXPECT_EQ(ConfigLabel_Add(label.get(), 5, "small"), Error_Invalid);  // before Error_Exists
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "new"), -1);
}

TEST(ConfigLabelNewStatic, TakesNoPairsForAnEmptyTable) {
  OwnedLabel none(ConfigLabel_NewStatic(0, kSizes));
  EXPECT_STREQ(ConfigLabel_Print(none.get(), 5), "");
  EXPECT_EQ(ConfigLabel_Scan(none.get(), "small"), -1);
  OwnedLabel null(ConfigLabel_NewStatic(3, nullptr));
  EXPECT_STREQ(ConfigLabel_Print(null.get(), 5), "");
  EXPECT_EQ(ConfigLabel_Scan(null.get(), ""), -1);
}

TEST(ConfigLabelNewDynamic, StartsEmpty) {
  OwnedLabel label(ConfigLabel_NewDynamic());
  ASSERT_NE(label.get(), nullptr);
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 0), "");
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "a"), -1);
  EXPECT_EQ(ConfigLabel_Scan(label.get(), ""), -1);
}

TEST(ConfigLabelAdd, AppendsCopies) {
  OwnedLabel label(ConfigLabel_NewDynamic());
  char text[] = "one";
  EXPECT_EQ(ConfigLabel_Add(label.get(), 1, text), Error_None);
  text[0] = 'x';
  EXPECT_EQ(ConfigLabel_Add(label.get(), 2, "two"), Error_None);
  EXPECT_EQ(ConfigLabel_Add(label.get(), -7, ""), Error_None);
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 1), "one");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 2), "two");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), -7), "");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 3), "one");
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "TWO"), 2);
  EXPECT_EQ(ConfigLabel_Scan(label.get(), ""), -7);
}

TEST(ConfigLabelAdd, RefusesAValueThatIsThere) {
  OwnedLabel label(ConfigLabel_NewDynamic());
  EXPECT_EQ(ConfigLabel_Add(label.get(), 2, "two"), Error_None);
  EXPECT_EQ(ConfigLabel_Add(label.get(), 2, "two"), Error_Exists);
  EXPECT_EQ(ConfigLabel_Add(label.get(), 2, "zwei"), Error_Exists);
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 2), "two");
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "zwei"), -1);
}

TEST(ConfigLabelAdd, TakesATextThatIsThereWithAnotherValue) {
  OwnedLabel label(ConfigLabel_NewDynamic());
  EXPECT_EQ(ConfigLabel_Add(label.get(), 1, "same"), Error_None);
  EXPECT_EQ(ConfigLabel_Add(label.get(), 2, "same"), Error_None);
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 2), "same");
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "same"), 1);
}

TEST(ConfigLabelAdd, RefusesNull) {
  OwnedLabel label(ConfigLabel_NewDynamic());
  EXPECT_EQ(ConfigLabel_Add(label.get(), 1, nullptr), Error_Invalid);
  EXPECT_EQ(ConfigLabel_Add(nullptr, 1, "a"), Error_Invalid);
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 1), "");
}

TEST(ConfigLabelAdd, HoldsManyPairs) {
  OwnedLabel label(ConfigLabel_NewDynamic());
  for (int32_t i = 0; i < 1000; ++i) {
    ASSERT_EQ(ConfigLabel_Add(label.get(), i, ("text" + std::to_string(i)).c_str()), Error_None);
  }
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 0), "text0");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 999), "text999");
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "text500"), 500);
}

TEST(ConfigLabelPrint, GivesTheFirstPairWithTheValue) {
  OwnedLabel label(ConfigLabel_NewStatic(4, kSizes));
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 5), "small");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 9), "Large");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), -3), "LARGE");
}

TEST(ConfigLabelPrint, GivesTheFirstPair_WhenNoneHasTheValue) {
  OwnedLabel label(ConfigLabel_NewStatic(4, kSizes));
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 0), "small");
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 2147483647), "small");
}

TEST(ConfigLabelScan, GivesTheFirstPairWithTheText) {
  OwnedLabel label(ConfigLabel_NewStatic(4, kSizes));
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "LARGE"), 9);
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "little"), 5);
  EXPECT_EQ(ConfigLabel_Scan(label.get(), "huge"), -1);
}

TEST(ConfigLabelReference, KeepsTheTableAlive) {
  const int64_t before = iMemory_CountLive();
  ConfigLabel* label = ConfigLabel_NewDynamic();
  ASSERT_EQ(ConfigLabel_Add(label, 1, "one"), Error_None);
  EXPECT_EQ(ConfigLabel_Reference(label), label);
  EXPECT_EQ(ConfigLabel_Reference(label), label);
  ConfigLabel_Delete(label);
  ConfigLabel_Delete(label);
  EXPECT_STREQ(ConfigLabel_Print(label, 1), "one");
  EXPECT_EQ(iMemory_CountLive(), before + 3);  // the record, the array, the text
  ConfigLabel_Delete(label);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(ConfigLabelDelete, FreesAStaticTableWithoutItsPairs) {
  const int64_t before = iMemory_CountLive();
  ConfigLabel* label = ConfigLabel_NewStatic(4, kSizes);
  ConfigLabel_Reference(label);
  EXPECT_EQ(iMemory_CountLive(), before + 1);
  ConfigLabel_Delete(label);
  EXPECT_EQ(iMemory_CountLive(), before + 1);
  ConfigLabel_Delete(label);
  EXPECT_EQ(iMemory_CountLive(), before);
  EXPECT_STREQ(kSizes[0].text, "small");
}

TEST(ConfigLabel, IgnoresNull) {
  ConfigLabel_Delete(nullptr);
  EXPECT_EQ(ConfigLabel_Reference(nullptr), nullptr);
  EXPECT_STREQ(ConfigLabel_Print(nullptr, 0), "");
  EXPECT_EQ(ConfigLabel_Scan(nullptr, "Yes"), -1);
  OwnedLabel label(ConfigLabel_GetYesNo());
  EXPECT_EQ(ConfigLabel_Scan(label.get(), nullptr), -1);
}

TEST(ConfigLabelMemory, GivesNull_WhenATableCannotBeMade) {
  iMemory_FailAllocation(1);
  EXPECT_EQ(ConfigLabel_NewDynamic(), nullptr);
  iMemory_FailAllocation(1);
  EXPECT_EQ(ConfigLabel_NewStatic(4, kSizes), nullptr);
  iMemory_FailAllocation(0);
}

TEST(ConfigLabelMemory, LeavesTheTableAsItWas_WhenAPairCannotBeAdded) {
  OwnedLabel label(ConfigLabel_NewDynamic());
  ASSERT_EQ(ConfigLabel_Add(label.get(), 1, "one"), Error_None);
  for (const int64_t n : {1, 2}) {  // the copy of the text, then the array
    const int64_t before = iMemory_CountLive();
    iMemory_FailAllocation(n);
    EXPECT_EQ(ConfigLabel_Add(label.get(), 2, "two"), Error_Memory) << n;
    iMemory_FailAllocation(0);
    EXPECT_EQ(iMemory_CountLive(), before);
    EXPECT_STREQ(ConfigLabel_Print(label.get(), 2), "one");
    EXPECT_EQ(ConfigLabel_Scan(label.get(), "two"), -1);
  }
  EXPECT_EQ(ConfigLabel_Add(label.get(), 2, "two"), Error_None);
  EXPECT_STREQ(ConfigLabel_Print(label.get(), 2), "two");
}

TEST(ConfigLabelMemory, LeaksNothing_WhateverAllocationFails) {
  FailEveryAllocation([] {
    OwnedLabel label(ConfigLabel_NewDynamic());
    if (label.get() == nullptr) return;
    for (int32_t i = 0; i < 4; ++i) {
      const ErrorCode status = ConfigLabel_Add(label.get(), i, "text");
      EXPECT_TRUE(status == Error_None || status == Error_Memory) << status;
    }
  });
}

}  // namespace
