// Text: searching and comparing.
#include <gtest/gtest.h>

#include "qz/string.h"

namespace {

TEST(StringFindFirstChar, GivesTheFirstIndex) {
  EXPECT_EQ(String_FindFirstChar("abcabc", 'b'), 1);
  EXPECT_EQ(String_FindFirstChar("abcabc", 'a'), 0);
  EXPECT_EQ(String_FindFirstChar("abcabc", 'x'), -1);
  EXPECT_EQ(String_FindFirstChar("", 'x'), -1);
  EXPECT_EQ(String_FindFirstChar(nullptr, 'x'), -1);
}

TEST(StringFindFirstChar, NeverFindsTheTerminator) {
  EXPECT_EQ(String_FindFirstChar("abc", 0), -1);
  EXPECT_EQ(String_FindLastChar("abc", 0), -1);
}

TEST(StringFindFirstChar, TakesTheCharacterAsAByte) {
  EXPECT_EQ(String_FindFirstChar("a\xE4", 0xE4), 1);
  EXPECT_EQ(String_FindFirstChar("a\xE4", static_cast<signed char>(0xE4)), 1);
  EXPECT_EQ(String_FindLastChar("\xE4"
                                "a\xE4"
                                "b",
                                0xE4),
            2);
}

TEST(StringFindLastChar, GivesTheLastIndex) {
  EXPECT_EQ(String_FindLastChar("abcabc", 'b'), 4);
  EXPECT_EQ(String_FindLastChar("abcabc", 'a'), 3);
  EXPECT_EQ(String_FindLastChar("abcabc", 'x'), -1);
  EXPECT_EQ(String_FindLastChar(nullptr, 'x'), -1);
}

TEST(StringFindFirst, GivesTheIndexOfTheFirstOccurrence) {
  EXPECT_EQ(String_FindFirst("abcabc", "bc"), 1);
  EXPECT_EQ(String_FindFirst("aaab", "aab"), 1);
  EXPECT_EQ(String_FindFirst("abc", "abc"), 0);
  EXPECT_EQ(String_FindFirst("abc", "abcd"), -1);
  EXPECT_EQ(String_FindFirst("abc", "BC"), -1);
  EXPECT_EQ(String_FindFirst("abc", "c"), 2);
}

TEST(StringFindFirst, FindsNoEmptyText) {
  EXPECT_EQ(String_FindFirst("abc", ""), -1);
  EXPECT_EQ(String_FindFirst("", ""), -1);
  EXPECT_EQ(String_FindFirstInsensitive("abc", ""), -1);
  EXPECT_EQ(String_FindFirst("abc", nullptr), -1);
  EXPECT_EQ(String_FindFirst(nullptr, "a"), -1);
  EXPECT_EQ(String_FindFirstInsensitive(nullptr, "a"), -1);
  EXPECT_EQ(String_FindFirstInsensitive("abc", nullptr), -1);
}

TEST(StringFindFirstInsensitive, IgnoresTheCaseOfAsciiLetters) {
  EXPECT_EQ(String_FindFirstInsensitive("www.InTraNet.org", "intranet"), 4);
  EXPECT_EQ(String_FindFirstInsensitive("aaAB", "AAb"), 1);
  EXPECT_EQ(String_FindFirstInsensitive("ab", "abc"), -1);
  EXPECT_EQ(String_FindFirstInsensitive("abc", "C"), 2);
  EXPECT_EQ(String_FindFirstInsensitive("a\xE4", "\xE4"), 1);
  EXPECT_EQ(String_FindFirstInsensitive("\xC4", "\xE4"), -1);
  EXPECT_EQ(String_FindFirstInsensitive("[", "{"), -1);
}

TEST(StringFindStart, GivesTheIndexBehindThePrefix) {
  EXPECT_EQ(String_FindStart("abc", "ab"), 2);
  EXPECT_EQ(String_FindStart("abc", ""), 0);
  EXPECT_EQ(String_FindStart("abc", "abc"), 3);
  EXPECT_EQ(String_FindStart("", ""), 0);
  EXPECT_EQ(String_FindStart("abc", nullptr), 0);
}

TEST(StringFindStart, GivesNotFoundForAnyOtherText) {
  EXPECT_EQ(String_FindStart("abc", "bc"), -1);
  EXPECT_EQ(String_FindStart("abc", "abcd"), -1);
  EXPECT_EQ(String_FindStart("abc", "AB"), -1);
  EXPECT_EQ(String_FindStart("", "a"), -1);
  EXPECT_EQ(String_FindStart(nullptr, "a"), -1);
}

TEST(StringFindStartInsensitive, IgnoresCase) {
  EXPECT_EQ(String_FindStartInsensitive("FTP://host", "ftp://"), 6);
  EXPECT_EQ(String_FindStartInsensitive("ftp", "FTP:"), -1);
  EXPECT_EQ(String_FindStartInsensitive("x", ""), 0);
}

TEST(StringFindEnd, GivesTheIndexWhereTheSuffixBegins) {
  EXPECT_EQ(String_FindEnd("abc", "bc"), 1);
  EXPECT_EQ(String_FindEnd("abc", "abc"), 0);
  EXPECT_EQ(String_FindEnd("abc", ""), 3);
  EXPECT_EQ(String_FindEnd("", ""), 0);
  EXPECT_EQ(String_FindEnd("abc", nullptr), 3);
}

TEST(StringFindEnd, GivesNotFoundForAnyOtherText) {
  EXPECT_EQ(String_FindEnd("abc", "ab"), -1);
  EXPECT_EQ(String_FindEnd("abc", "zabc"), -1);
  EXPECT_EQ(String_FindEnd("abc", "BC"), -1);
  EXPECT_EQ(String_FindEnd(nullptr, "a"), -1);
}

TEST(StringFindEndInsensitive, IgnoresCase) {
  EXPECT_EQ(String_FindEndInsensitive("plugin.axt", ".AXT"), 6);
  EXPECT_EQ(String_FindEndInsensitive("plugin.axt", ".AXE"), -1);
  EXPECT_EQ(String_FindEndInsensitive("abc", ""), 3);
}

TEST(StringCompare, GivesTheDifferenceOfTheFirstDifferingBytes) {
  EXPECT_EQ(String_Compare("abc", "abc"), 0);
  EXPECT_EQ(String_Compare("abc", "abf"), -3);
  EXPECT_EQ(String_Compare("b", "a"), 1);
  EXPECT_EQ(String_Compare("abc", "ab"), 99);
  EXPECT_EQ(String_Compare("ab", "abc"), -99);
  EXPECT_EQ(String_Compare("", ""), 0);
}

TEST(StringCompare, TakesBytesAsSignedCharacters) {
  EXPECT_EQ(String_Compare("\xFF", "a"), -98);
  EXPECT_EQ(String_Compare("\x80", "\x7F"), -255);
  EXPECT_EQ(String_Compare("\x7F", "\x80"), 255);
  EXPECT_EQ(String_Compare("\x80", ""), -128);
}

TEST(StringCompare, TakesNothingForEmpty) {
  EXPECT_EQ(String_Compare(nullptr, nullptr), 0);
  EXPECT_EQ(String_Compare(nullptr, "a"), -97);
  EXPECT_EQ(String_Compare("a", nullptr), 97);
}

TEST(StringCompareN, LooksAtNoMoreBytesThanAsked) {
  EXPECT_EQ(String_CompareN("abc", "abx", 2), 0);
  EXPECT_EQ(String_CompareN("abc", "abx", 3), -21);
  EXPECT_EQ(String_CompareN("abc", "xyz", 0), 0);
  EXPECT_EQ(String_CompareN("abc", "xyz", -1), 0);
  EXPECT_EQ(String_CompareN("ab", "ab", 100), 0);
  const char unterminated[2] = {'a', 'b'};
  EXPECT_EQ(String_CompareN(unterminated, "abc", 2), 0);
}

TEST(StringCompareInsensitive, FoldsAsciiLetters) {
  EXPECT_EQ(String_CompareInsensitive("ABC", "abc"), 0);
  EXPECT_EQ(String_CompareInsensitive("A", "b"), -1);
  EXPECT_EQ(String_CompareInsensitive("B", "a"), 1);
  EXPECT_EQ(String_CompareInsensitive("a", "["), 6);
  EXPECT_NE(String_CompareInsensitive("\xC4", "\xE4"), 0);
}

TEST(StringCompareInsensitive, CutsTheDifferenceToEightBits) {
  // 127 - (-128) is 255, which is -1 in eight bits: the sign turns.
  EXPECT_EQ(String_CompareInsensitive("\x7F", "\x80"), -1);
  EXPECT_EQ(String_CompareInsensitive("\x80", "\x7F"), 1);
  EXPECT_EQ(String_CompareInsensitive("a", "\x80"), -31);
  EXPECT_EQ(String_CompareInsensitive("\xFF", "a"), -98);
}

TEST(StringCompareNInsensitive, LooksAtNoMoreBytesThanAsked) {
  EXPECT_EQ(String_CompareNInsensitive("ABc", "abX", 2), 0);
  EXPECT_EQ(String_CompareNInsensitive("ABc", "abX", 3), -21);
  EXPECT_EQ(String_CompareNInsensitive("a", "b", 0), 0);
  EXPECT_EQ(String_CompareNInsensitive("\x7F", "\x80", 1), -1);
}

}  // namespace
