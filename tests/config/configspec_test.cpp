// ConfigSpec: defaults, setters, and who frees what.
#include "qz/configspec.h"

#include <gtest/gtest.h>

#include <string>

#include "config/configspec_internal.h"
#include "tests/support/fail_allocation.h"

namespace {

class OwnedSpec {
 public:
  explicit OwnedSpec(ConfigSpec* spec = ConfigSpec_Start()) : spec_(spec) {}
  ~OwnedSpec() { ConfigSpec_Delete(spec_); }
  OwnedSpec(const OwnedSpec&) = delete;
  OwnedSpec& operator=(const OwnedSpec&) = delete;

  ConfigSpec* get() const { return spec_; }
  ConfigSpec* operator->() const { return spec_; }

 private:
  ConfigSpec* spec_;
};

void ExpectDefaultSettings(const ConfigSpec& spec) {
  EXPECT_STREQ(spec.lineComment, "#");
  EXPECT_STREQ(spec.notField, "\t \n\r");
  EXPECT_EQ(spec.delimiter, 0);
  EXPECT_EQ(spec.tabSize, 4u);
  EXPECT_EQ(spec.minFields, 1u);
  EXPECT_EQ(spec.maxFields, 1u);
  EXPECT_EQ(spec.flags, 2u);
  EXPECT_FALSE(spec.StripsComments());
  EXPECT_TRUE(spec.HasUniqueLines());
  EXPECT_FALSE(spec.IsCaseSensitive());
  EXPECT_FALSE(spec.GrabsLastField());
  EXPECT_EQ(spec.sectionMethod, nullptr);
}

int32_t IsBracketed(uint32_t fieldCount, const char* const* fields) {
  return fieldCount != 0 && fields[0][0] == '[' ? 1 : 0;
}

int32_t sectionResult;
int32_t GiveSectionResult(uint32_t, const char* const*) {
  return sectionResult;
}

TEST(ConfigSpecGetDefault, HasTheDefaultsAndIsEnded) {
  ExpectDefaultSettings(*ConfigSpec_GetDefault());
  EXPECT_EQ(ConfigSpec_GetDefault()->ended, 1);
  EXPECT_EQ(ConfigSpec_GetDefault()->references, 1);
}

TEST(ConfigSpecGetDefault, IsTheSameEveryTimeAndNeedsNoMemory) {
  const int64_t before = iMemory_CountLive();
  iMemory_FailAllocation(1);
  ConfigSpec* spec = ConfigSpec_GetDefault();
  iMemory_FailAllocation(0);
  EXPECT_EQ(ConfigSpec_GetDefault(), spec);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(ConfigSpecGetDefault, IsNeverFreed) {
  for (int i = 0; i < 3; ++i) ConfigSpec_Delete(ConfigSpec_GetDefault());
  ExpectDefaultSettings(*ConfigSpec_GetDefault());
  EXPECT_EQ(ConfigSpec_GetDefault()->references, 1);
}

TEST(ConfigSpecGetDefault, DoesNotCountReferences) {
  EXPECT_EQ(iConfigSpec_Reference(ConfigSpec_GetDefault()), ConfigSpec_GetDefault());
  EXPECT_EQ(ConfigSpec_GetDefault()->references, 1);
  OwnedSpec spec;
  EXPECT_EQ(spec->references, 1);
}

TEST(ConfigSpecStart, CopiesTheDefaultAndIsOpen) {
  const int64_t before = iMemory_CountLive();
  {
    OwnedSpec spec;
    ASSERT_NE(spec.get(), nullptr);
    EXPECT_NE(spec.get(), ConfigSpec_GetDefault());
    ExpectDefaultSettings(*spec.get());
    EXPECT_EQ(spec->ended, 0);
    EXPECT_EQ(spec->references, 1);
  }
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(ConfigSpecStart, GivesNull_WithoutMemory) {
  FailEveryAllocation([] { ConfigSpec_Delete(ConfigSpec_Start()); });
  iMemory_FailAllocation(1);
  EXPECT_EQ(ConfigSpec_Start(), nullptr);
  iMemory_FailAllocation(0);
}

TEST(ConfigSpecStartFrom, CopiesEverySetting) {
  OwnedSpec original;
  ConfigSpec_SetLineComment(original.get(), "//");
  ConfigSpec_SetNotField(original.get(), " ");
  ConfigSpec_SetFieldDelimiter(original.get(), ';');
  ConfigSpec_SetTabSize(original.get(), 8);
  ConfigSpec_SetMinFields(original.get(), 2);
  ConfigSpec_SetMaxFields(original.get(), 30);
  ConfigSpec_SetStripComments(original.get(), 1);
  ConfigSpec_SetUniqueLines(original.get(), 0);
  ConfigSpec_SetCaseSensitive(original.get(), 1);
  ConfigSpec_SetLastFieldGrab(original.get(), 1);
  ConfigSpec_SetSectionMethod(original.get(), IsBracketed);
  ConfigSpec_End(original.get());

  OwnedSpec copy(ConfigSpec_StartFrom(original.get()));
  ASSERT_NE(copy.get(), nullptr);
  EXPECT_EQ(copy->ended, 0);
  EXPECT_EQ(copy->references, 1);
  EXPECT_STREQ(copy->lineComment, "//");
  EXPECT_STREQ(copy->notField, " ");
  EXPECT_EQ(copy->delimiter, ';');
  EXPECT_EQ(copy->tabSize, 8u);
  EXPECT_EQ(copy->minFields, 2u);
  EXPECT_EQ(copy->maxFields, 30u);
  EXPECT_EQ(copy->flags, 25u);
  EXPECT_EQ(copy->sectionMethod, &IsBracketed);
}

TEST(ConfigSpecStartFrom, LeavesTheOriginalAlone) {
  OwnedSpec original;
  ConfigSpec_End(original.get());
  OwnedSpec copy(ConfigSpec_StartFrom(original.get()));
  ConfigSpec_SetLineComment(copy.get(), ";");
  ConfigSpec_SetTabSize(copy.get(), 2);
  ExpectDefaultSettings(*original.get());
  EXPECT_EQ(original->ended, 1);
}

TEST(ConfigSpecStartFrom, CopiesTheReferencesToo) {
  const int64_t before = iMemory_CountLive();
  ConfigSpec* original = ConfigSpec_Start();
  iConfigSpec_Reference(original);
  ConfigSpec* copy = ConfigSpec_StartFrom(original);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->references, 2);
  ConfigSpec_Delete(copy);
  EXPECT_EQ(iMemory_CountLive(), before + 2);  // one reference is left
  EXPECT_EQ(copy->references, 1);
  ConfigSpec_Delete(copy);
  EXPECT_EQ(iMemory_CountLive(), before + 1);
  ConfigSpec_Delete(original);
  ConfigSpec_Delete(original);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(ConfigSpecStartFrom, GivesNull_ForNullAndWithoutMemory) {
  OwnedSpec original;
  EXPECT_EQ(ConfigSpec_StartFrom(nullptr), nullptr);
  iMemory_FailAllocation(1);
  EXPECT_EQ(ConfigSpec_StartFrom(original.get()), nullptr);
  iMemory_FailAllocation(0);
}

TEST(ConfigSpecSetLineComment, CopiesTheText) {
  OwnedSpec spec;
  char text[] = "rem";
  ConfigSpec_SetLineComment(spec.get(), text);
  text[0] = 'x';
  EXPECT_STREQ(spec->lineComment, "rem");
  EXPECT_TRUE(spec->HasLineComment());
}

TEST(ConfigSpecSetLineComment, EmptiesItForNullAndForAnEmptyText) {
  OwnedSpec spec;
  ConfigSpec_SetLineComment(spec.get(), nullptr);
  EXPECT_STREQ(spec->lineComment, "");
  EXPECT_FALSE(spec->HasLineComment());
  EXPECT_FALSE(spec->KeepsComments());
  ConfigSpec_SetLineComment(spec.get(), "!");
  EXPECT_TRUE(spec->KeepsComments());
  ConfigSpec_SetLineComment(spec.get(), "");
  EXPECT_FALSE(spec->HasLineComment());
}

TEST(ConfigSpecSetLineComment, CutsAtFifteenCharacters) {
  OwnedSpec spec;
  ConfigSpec_SetLineComment(spec.get(), "123456789012345");
  EXPECT_STREQ(spec->lineComment, "123456789012345");
  ConfigSpec_SetLineComment(spec.get(), "abcdefghijklmnop");
  EXPECT_STREQ(spec->lineComment, "abcdefghijklmno");
  EXPECT_STREQ(spec->notField, "\t \n\r");
}

TEST(ConfigSpecSetNotField, CopiesTheText) {
  OwnedSpec spec;
  char text[] = " \t";
  ConfigSpec_SetNotField(spec.get(), text);
  text[0] = 'x';
  EXPECT_STREQ(spec->notField, " \t");
  EXPECT_TRUE(spec->HasNotField());
}

TEST(ConfigSpecSetNotField, EmptiesItForNullAndForAnEmptyText) {
  OwnedSpec spec;
  ConfigSpec_SetNotField(spec.get(), nullptr);
  EXPECT_STREQ(spec->notField, "");
  EXPECT_FALSE(spec->HasNotField());
  ConfigSpec_SetNotField(spec.get(), " ");
  ConfigSpec_SetNotField(spec.get(), "");
  EXPECT_FALSE(spec->HasNotField());
}

TEST(ConfigSpecSetNotField, CutsAtThirtyOneCharacters) {
  OwnedSpec spec;
  ConfigSpec_SetFieldDelimiter(spec.get(), ':');
  ConfigSpec_SetNotField(spec.get(), "1234567890123456789012345678901");
  EXPECT_STREQ(spec->notField, "1234567890123456789012345678901");
  ConfigSpec_SetNotField(spec.get(), "abcdefghijklmnopqrstuvwxyzABCDEF");
  EXPECT_STREQ(spec->notField, "abcdefghijklmnopqrstuvwxyzABCDE");
  EXPECT_EQ(spec->delimiter, ':');
}

TEST(ConfigSpecSetFieldDelimiter, TakesAnyByteAndZeroForNone) {
  OwnedSpec spec;
  EXPECT_FALSE(spec->HasDelimiter());
  ConfigSpec_SetFieldDelimiter(spec.get(), ',');
  EXPECT_EQ(spec->delimiter, ',');
  EXPECT_TRUE(spec->HasDelimiter());
  ConfigSpec_SetFieldDelimiter(spec.get(), '\xFF');
  EXPECT_EQ(spec->delimiter, '\xFF');
  EXPECT_TRUE(spec->HasDelimiter());
  ConfigSpec_SetFieldDelimiter(spec.get(), 0);
  EXPECT_FALSE(spec->HasDelimiter());
}

TEST(ConfigSpecSetFields, SetsTheMinimumAndTheMaximum) {
  OwnedSpec spec;
  ConfigSpec_SetMinFields(spec.get(), 0);
  ConfigSpec_SetMaxFields(spec.get(), 4294967295u);
  EXPECT_EQ(spec->minFields, 0u);
  EXPECT_EQ(spec->maxFields, 4294967295u);
  ConfigSpec_SetMinFields(spec.get(), 7);
  ConfigSpec_SetMaxFields(spec.get(), 3);
  EXPECT_EQ(spec->minFields, 7u);
  EXPECT_EQ(spec->maxFields, 3u);
}

TEST(ConfigSpecSetTabSize, TakesZeroForOne) {
  OwnedSpec spec;
  ConfigSpec_SetTabSize(spec.get(), 8);
  EXPECT_EQ(spec->tabSize, 8u);
  ConfigSpec_SetTabSize(spec.get(), 0);
  EXPECT_EQ(spec->tabSize, 1u);
  ConfigSpec_SetTabSize(spec.get(), 1);
  EXPECT_EQ(spec->tabSize, 1u);
}

TEST(ConfigSpecSetSectionMethod, IsAskedWithTheFields) {
  OwnedSpec spec;
  const char* const header[] = {"[a]", "b"};
  const char* const line[] = {"a", "b"};
  EXPECT_FALSE(spec->IsSectionHeader(2, header));
  ConfigSpec_SetSectionMethod(spec.get(), IsBracketed);
  EXPECT_TRUE(spec->IsSectionHeader(2, header));
  EXPECT_FALSE(spec->IsSectionHeader(2, line));
  EXPECT_FALSE(spec->IsSectionHeader(0, header));
  ConfigSpec_SetSectionMethod(spec.get(), nullptr);
  EXPECT_FALSE(spec->IsSectionHeader(2, header));
}

TEST(ConfigSpecSetSectionMethod, TakesOnlyTheResultOneForASection) {
  OwnedSpec spec;
  ConfigSpec_SetSectionMethod(spec.get(), GiveSectionResult);
  const char* const fields[] = {"a"};
  for (const int32_t result : {-1, 0, 2, 3, 256, 257}) {
    sectionResult = result;
    EXPECT_FALSE(spec->IsSectionHeader(1, fields)) << result;
  }
  sectionResult = 1;
  EXPECT_TRUE(spec->IsSectionHeader(1, fields));
}

// Each setter changes one bit: not 0 sets it, 0 clears it, the others stay.
TEST(ConfigSpecFlags, AreSetAndClearedOneByOne) {
  struct Row {
    void (*set)(ConfigSpec*, int32_t);
    uint32_t alone;
    uint32_t others;
  };
  const Row rows[] = {{ConfigSpec_SetStripComments, 1, 26},
                      {ConfigSpec_SetUniqueLines, 2, 25},
                      {ConfigSpec_SetCaseSensitive, 8, 19},
                      {ConfigSpec_SetLastFieldGrab, 16, 11}};
  for (const Row& row : rows) {
    OwnedSpec spec;
    for (const Row& each : rows) each.set(spec.get(), 0);
    EXPECT_EQ(spec->flags, 0u);
    row.set(spec.get(), 1);
    EXPECT_EQ(spec->flags, row.alone);
    row.set(spec.get(), 0);
    EXPECT_EQ(spec->flags, 0u);
    row.set(spec.get(), -2);
    EXPECT_EQ(spec->flags, row.alone);
    for (const Row& each : rows) each.set(spec.get(), 1);
    EXPECT_EQ(spec->flags, 27u);
    row.set(spec.get(), 0);
    EXPECT_EQ(spec->flags, row.others);
  }
}

TEST(ConfigSpecFlags, AreReadByName) {
  OwnedSpec spec;
  ConfigSpec_SetUniqueLines(spec.get(), 0);
  EXPECT_FALSE(spec->HasUniqueLines());
  ConfigSpec_SetStripComments(spec.get(), 1);
  EXPECT_TRUE(spec->StripsComments());
  EXPECT_FALSE(spec->KeepsComments());
  EXPECT_FALSE(spec->IsCaseSensitive());
  ConfigSpec_SetCaseSensitive(spec.get(), 1);
  EXPECT_TRUE(spec->IsCaseSensitive());
  EXPECT_FALSE(spec->GrabsLastField());
  ConfigSpec_SetLastFieldGrab(spec.get(), 1);
  EXPECT_TRUE(spec->GrabsLastField());
}

TEST(ConfigSpecEnd, MarksTheSpecification) {
  OwnedSpec spec;
  ConfigSpec_End(spec.get());
  EXPECT_EQ(spec->ended, 1);
  ConfigSpec_End(spec.get());
  EXPECT_EQ(spec->ended, 1);
  EXPECT_EQ(spec->references, 1);
}

TEST(ConfigSpecEnd, DoesNotStopTheSetters) {
  OwnedSpec spec;
  ConfigSpec_End(spec.get());
  ConfigSpec_SetTabSize(spec.get(), 3);
  ConfigSpec_SetLineComment(spec.get(), ";");
  EXPECT_EQ(spec->tabSize, 3u);
  EXPECT_STREQ(spec->lineComment, ";");
}

TEST(ConfigSpecDelete, FreesWithTheLastReference) {
  const int64_t before = iMemory_CountLive();
  ConfigSpec* spec = ConfigSpec_Start();
  EXPECT_EQ(iConfigSpec_Reference(spec), spec);
  EXPECT_EQ(spec->references, 2);
  ConfigSpec_Delete(spec);
  EXPECT_EQ(spec->references, 1);
  EXPECT_EQ(iMemory_CountLive(), before + 1);
  ConfigSpec_Delete(spec);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(ConfigSpec, IgnoresNull) {
  ConfigSpec_SetLineComment(nullptr, "#");
  ConfigSpec_SetNotField(nullptr, " ");
  ConfigSpec_SetFieldDelimiter(nullptr, ',');
  ConfigSpec_SetMinFields(nullptr, 1);
  ConfigSpec_SetMaxFields(nullptr, 1);
  ConfigSpec_SetTabSize(nullptr, 1);
  ConfigSpec_SetSectionMethod(nullptr, IsBracketed);
  ConfigSpec_SetStripComments(nullptr, 1);
  ConfigSpec_SetUniqueLines(nullptr, 1);
  ConfigSpec_SetCaseSensitive(nullptr, 1);
  ConfigSpec_SetLastFieldGrab(nullptr, 1);
  ConfigSpec_End(nullptr);
  ConfigSpec_Delete(nullptr);
  EXPECT_EQ(iConfigSpec_Reference(nullptr), nullptr);
}

}  // namespace
