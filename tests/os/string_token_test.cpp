// Text: tokens, trimming and integers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qz/string.h"

namespace {

TEST(StringGrabToken, GivesTheTokenAndTheRestFromItsDelimiterOn) {
  char token[32];
  char rest[32];
  EXPECT_EQ(String_GrabToken("  ab,cd", " ,", token, rest), 4);
  EXPECT_STREQ(token, "ab");
  EXPECT_STREQ(rest, ",cd");
}

TEST(StringGrabToken, WalksALine) {
  char line[] = "one, two ,three";
  char token[32];
  EXPECT_EQ(String_GrabToken(line, " ,", token, line), 3);
  EXPECT_STREQ(token, "one");
  EXPECT_STREQ(line, ", two ,three");
  EXPECT_EQ(String_GrabToken(line, " ,", token, line), 5);
  EXPECT_STREQ(token, "two");
  EXPECT_STREQ(line, " ,three");
  EXPECT_EQ(String_GrabToken(line, " ,", token, line), 7);
  EXPECT_STREQ(token, "three");
  EXPECT_STREQ(line, "");
  EXPECT_EQ(String_GrabToken(line, " ,", token, line), -1);
  EXPECT_STREQ(token, "three");
}

TEST(StringGrabToken, WritesNothingWhenOnlyDelimitersAreLeft) {
  char token[8] = "token";
  char rest[8] = "rest";
  EXPECT_EQ(String_GrabToken(" ,, ", " ,", token, rest), -1);
  EXPECT_EQ(String_GrabToken("", " ,", token, rest), -1);
  EXPECT_EQ(String_GrabToken(nullptr, " ,", token, rest), -1);
  EXPECT_STREQ(token, "token");
  EXPECT_STREQ(rest, "rest");
}

TEST(StringGrabToken, AllowsEitherOutputToBeMissing) {
  char token[8];
  char rest[8];
  EXPECT_EQ(String_GrabToken(" ab c", " ", nullptr, rest), 3);
  EXPECT_STREQ(rest, " c");
  EXPECT_EQ(String_GrabToken(" ab c", " ", token, nullptr), 3);
  EXPECT_STREQ(token, "ab");
  EXPECT_EQ(String_GrabToken(" ab c", " ", nullptr, nullptr), 3);
}

TEST(StringGrabToken, AllowsTheTokenToReplaceTheText) {
  char text[] = "  ab,cd";
  char rest[32];
  EXPECT_EQ(String_GrabToken(text, " ,", text, rest), 4);
  EXPECT_STREQ(text, "ab");
  EXPECT_STREQ(rest, ",cd");
  char unpadded[] = "ab,cd";
  EXPECT_EQ(String_GrabToken(unpadded, " ,", unpadded, rest), 2);
  EXPECT_STREQ(unpadded, "ab");
  EXPECT_STREQ(rest, ",cd");
}

TEST(StringGrabToken, TakesTheWholeTextWithoutDelimiters) {
  char token[8];
  EXPECT_EQ(String_GrabToken("a b", "", token, nullptr), 3);
  EXPECT_STREQ(token, "a b");
  EXPECT_EQ(String_GrabToken("a b", nullptr, token, nullptr), 3);
}

TEST(StringGrabToken, TakesDelimitersAsBytes) {
  char token[8];
  EXPECT_EQ(String_GrabToken("\xFF"
                             "ab\x80"
                             "c",
                             "\x80\xFF", token, nullptr),
            3);
  EXPECT_STREQ(token, "ab");
}

TEST(StringStripEnds, RemovesFromBothEndsOnly) {
  char text[32];
  EXPECT_EQ(String_StripEnds(" \t a b\r\n", " \t\r\n", text), 3);
  EXPECT_STREQ(text, "a b");
  EXPECT_EQ(String_StripEnds("ab", " ", text), 2);
  EXPECT_STREQ(text, "ab");
  EXPECT_EQ(String_StripEnds("\"a\"", "\"", text), 1);
  EXPECT_STREQ(text, "a");
}

TEST(StringStripEnds, EmptiesTheDestinationWhenNothingIsLeft) {
  char text[32] = "old";
  EXPECT_EQ(String_StripEnds("   ", " ", text), 0);
  EXPECT_STREQ(text, "");
  strcpy(text, "old");
  EXPECT_EQ(String_StripEnds("", " ", text), 0);
  EXPECT_STREQ(text, "");
  strcpy(text, "old");
  EXPECT_EQ(String_StripEnds(nullptr, " ", text), 0);
  EXPECT_STREQ(text, "");
}

TEST(StringStripEnds, WorksInPlace) {
  char text[] = "  abc  ";
  EXPECT_EQ(String_StripEnds(text, " ", text), 3);
  EXPECT_STREQ(text, "abc");
}

TEST(StringToInteger, SkipsEverythingBeforeTheFirstNumber) {
  EXPECT_EQ(String_ToInteger("abc12x"), 12);
  EXPECT_EQ(String_ToInteger("x-7"), -7);
  EXPECT_EQ(String_ToInteger("--5"), -5);
  EXPECT_EQ(String_ToInteger("- 5"), 5);
  EXPECT_EQ(String_ToInteger("a-b-12"), -12);
  EXPECT_EQ(String_ToInteger("1-2"), 1);
  EXPECT_EQ(String_ToInteger("+3"), 3);
  EXPECT_EQ(String_ToInteger("\xFF\xB2 9"), 9);
  EXPECT_EQ(String_ToInteger("007"), 7);
  EXPECT_EQ(String_ToInteger("1,234"), 1);
}

TEST(StringToInteger, GivesZeroWhenThereIsNoNumber) {
  EXPECT_EQ(String_ToInteger(""), 0);
  EXPECT_EQ(String_ToInteger("abc"), 0);
  EXPECT_EQ(String_ToInteger("-"), 0);
  EXPECT_EQ(String_ToInteger("--"), 0);
  EXPECT_EQ(String_ToInteger(nullptr), 0);
}

TEST(StringToInteger, WrapsAtThirtyTwoBits) {
  EXPECT_EQ(String_ToInteger("2147483647"), INT32_MAX);
  EXPECT_EQ(String_ToInteger("2147483648"), INT32_MIN);
  EXPECT_EQ(String_ToInteger("-2147483648"), INT32_MIN);
  EXPECT_EQ(String_ToInteger("4294967295"), -1);
  EXPECT_EQ(String_ToInteger("4294967296"), 0);
  EXPECT_EQ(String_ToInteger("-4294967297"), -1);
  EXPECT_EQ(String_ToInteger("18446744073709551617"), 1);
}

TEST(StringFromInteger, PrintsSignedDecimals) {
  const struct {
    int32_t value;
    const char* text;
  } rows[] = {{0, "0"},
              {7, "7"},
              {10, "10"},
              {-1, "-1"},
              {-90, "-90"},
              {12345, "12345"},
              {INT32_MAX, "2147483647"},
              {INT32_MIN, "-2147483648"}};
  for (const auto& row : rows) {
    char text[12];
    EXPECT_EQ(String_FromInteger(row.value, text), static_cast<int32_t>(strlen(row.text)));
    EXPECT_STREQ(text, row.text);
  }
  EXPECT_EQ(String_FromInteger(5, nullptr), 0);
}

}  // namespace
