// Text: copying, joining, changing and reading.
#include "qz/string.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qz/memory.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/standard_input.h"

namespace {

// A buffer filled with a byte that no test writes, so that an untouched one is seen.
struct Buffer {
  char text[64];
  Buffer() {
    memset(text, '#', sizeof text - 1);
    text[sizeof text - 1] = 0;
  }
  explicit Buffer(const char* content) : Buffer() { strcpy(text, content); }
  bool IsUntouched() const { return std::string(text) == std::string(63, '#'); }
};

TEST(StringLength, CountsTheBytesBeforeTheTerminator) {
  EXPECT_EQ(String_Length(""), 0);
  EXPECT_EQ(String_Length("abc"), 3);
  EXPECT_EQ(String_Length("a\xE4\xFF"), 3);
  EXPECT_EQ(String_Length(nullptr), 0);
}

TEST(StringDuplicate, GivesACopyOfItsOwn) {
  const char source[] = "abc";
  char* copy = String_Duplicate(source);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, source);
  EXPECT_STREQ(copy, "abc");
  Memory_Delete(copy);
}

TEST(StringDuplicate, HasNoCopyOfNothing) {
  EXPECT_EQ(String_Duplicate(nullptr), nullptr);
}

TEST(StringDuplicateCat, JoinsBoth) {
  char* joined = String_DuplicateCat("ab", "cde");
  EXPECT_STREQ(joined, "abcde");
  Memory_Delete(joined);
  joined = String_DuplicateCat("", "");
  EXPECT_STREQ(joined, "");
  Memory_Delete(joined);
  joined = String_DuplicateCat(nullptr, "x");
  EXPECT_STREQ(joined, "x");
  Memory_Delete(joined);
}

TEST(StringDuplicate, GivesNullWhenMemoryRunsOut) {
  FailEveryAllocation([] {
    const bool mustFail = iMemory_AllocationsUntilFailure() == 1;
    char* copy = String_Duplicate("abc");
    EXPECT_EQ(copy == nullptr, mustFail);
    Memory_Delete(copy);
  });
  FailEveryAllocation([] {
    const bool mustFail = iMemory_AllocationsUntilFailure() == 1;
    char* copy = String_DuplicateCat("abc", "def");
    EXPECT_EQ(copy == nullptr, mustFail);
    Memory_Delete(copy);
  });
}

TEST(StringCopy, TakesTheSourceFirst) {
  Buffer buffer;
  EXPECT_EQ(String_Copy("abc", buffer.text), 3);
  EXPECT_STREQ(buffer.text, "abc");
  EXPECT_EQ(String_Copy("", buffer.text), 0);
  EXPECT_STREQ(buffer.text, "");
}

TEST(StringCopy, AllowsOverlapInBothDirections) {
  Buffer up("abcdef");
  EXPECT_EQ(String_Copy(up.text, up.text + 2), 6);
  EXPECT_STREQ(up.text, "ababcdef");
  Buffer down("abcdef");
  EXPECT_EQ(String_Copy(down.text + 2, down.text), 4);
  EXPECT_STREQ(down.text, "cdef");
}

TEST(StringCopy, TakesNothingForEmpty) {
  Buffer buffer;
  EXPECT_EQ(String_Copy(nullptr, buffer.text), 0);
  EXPECT_STREQ(buffer.text, "");
  EXPECT_EQ(String_Copy("abc", nullptr), 0);
}

TEST(StringCopyMax, CopiesAtMostOneLessAndTerminates) {
  Buffer buffer;
  EXPECT_EQ(String_CopyMax("abcdef", 4, buffer.text), 3);
  EXPECT_STREQ(buffer.text, "abc");
  EXPECT_EQ(buffer.text[4], '#');
}

TEST(StringCopyMax, StopsAtTheTerminator) {
  Buffer buffer;
  EXPECT_EQ(String_CopyMax("abc", 4, buffer.text), 3);
  EXPECT_STREQ(buffer.text, "abc");
  EXPECT_EQ(String_CopyMax("abc", 60, buffer.text), 3);
  EXPECT_STREQ(buffer.text, "abc");
  EXPECT_EQ(buffer.text[4], '#');
}

TEST(StringCopyMax, GivesAnEmptyTextForOne) {
  Buffer buffer;
  EXPECT_EQ(String_CopyMax("abc", 1, buffer.text), 0);
  EXPECT_STREQ(buffer.text, "");
}

TEST(StringCopyMax, WritesNothingForLessThanOne) {
  for (int32_t max : {0, -1, INT32_MIN}) {
    Buffer buffer;
    EXPECT_EQ(String_CopyMax("abc", max, buffer.text), 0);
    EXPECT_TRUE(buffer.IsUntouched());
  }
}

TEST(StringCopyMax, ReadsNoMoreOfTheSourceThanItCopies) {
  char* source = new char[3]{'a', 'b', 'c'};  // no terminator: the sanitizer sees any byte read behind it
  Buffer buffer;
  EXPECT_EQ(String_CopyMax(source, 4, buffer.text), 3);
  EXPECT_STREQ(buffer.text, "abc");
  delete[] source;
}

TEST(StringCopyMax, AllowsOverlapInBothDirections) {
  Buffer up("abcdef");
  EXPECT_EQ(String_CopyMax(up.text, 6, up.text + 2), 5);
  EXPECT_STREQ(up.text, "ababcde");
  Buffer down("abcdef");
  EXPECT_EQ(String_CopyMax(down.text + 2, 4, down.text), 3);
  EXPECT_STREQ(down.text, "cde");
}

TEST(StringCopyLength, AllowsOverlapInBothDirections) {
  Buffer up("abcdef");
  EXPECT_EQ(String_CopyLength(up.text, 5, up.text + 2), 5);
  EXPECT_STREQ(up.text, "ababcde");
  Buffer down("abcdef");
  EXPECT_EQ(String_CopyLength(down.text + 2, 3, down.text), 3);
  EXPECT_STREQ(down.text, "cde");
}

TEST(StringCopyLength, CopiesExactlyThatMany) {
  Buffer buffer;
  EXPECT_EQ(String_CopyLength("abcdef", 4, buffer.text), 4);
  EXPECT_STREQ(buffer.text, "abcd");
  EXPECT_EQ(String_CopyLength("abc", 0, buffer.text), 0);
  EXPECT_STREQ(buffer.text, "");
}

TEST(StringCopyLength, CopiesZeroBytesToo) {
  Buffer buffer;
  EXPECT_EQ(String_CopyLength("a\0b", 3, buffer.text), 3);
  EXPECT_EQ(memcmp(buffer.text, "a\0b\0#", 5), 0);
}

TEST(StringCopyLength, WritesNothingForANegativeCount) {
  Buffer buffer;
  EXPECT_EQ(String_CopyLength("abc", -1, buffer.text), 0);
  EXPECT_TRUE(buffer.IsUntouched());
}

TEST(StringCat, TakesTheDestinationFirst) {
  Buffer buffer("ab");
  EXPECT_EQ(String_Cat(buffer.text, "cde"), 5);
  EXPECT_STREQ(buffer.text, "abcde");
  EXPECT_EQ(String_Cat(buffer.text, ""), 5);
  EXPECT_EQ(String_Cat(buffer.text, nullptr), 5);
  EXPECT_STREQ(buffer.text, "abcde");
}

TEST(StringCat, AppendsATextToItself) {
  Buffer buffer("ab");
  EXPECT_EQ(String_Cat(buffer.text, buffer.text), 4);
  EXPECT_STREQ(buffer.text, "abab");
  EXPECT_EQ(String_Cat(buffer.text, buffer.text + 3), 5);
  EXPECT_STREQ(buffer.text, "ababb");
}

TEST(StringCatPString, AppendsAPascalText) {
  Buffer buffer("ab");
  EXPECT_EQ(String_CatPString(buffer.text, reinterpret_cast<const uint8_t*>("\3cde")), 5);
  EXPECT_STREQ(buffer.text, "abcde");
  EXPECT_EQ(String_CatPString(buffer.text, reinterpret_cast<const uint8_t*>("\0")), 5);
  EXPECT_STREQ(buffer.text, "abcde");
  EXPECT_EQ(String_CatPString(buffer.text, nullptr), 5);
}

TEST(StringDelimCat, PutsOneDelimiterBetween) {
  Buffer buffer;
  EXPECT_EQ(String_DelimCat("dir/", "file", '/', buffer.text), 8);
  EXPECT_STREQ(buffer.text, "dir/file");
  EXPECT_EQ(String_DelimCat("dir", "file", '/', buffer.text), 8);
  EXPECT_STREQ(buffer.text, "dir/file");
}

TEST(StringDelimCat, PutsNoneBehindAnEmptyFirstText) {
  Buffer buffer;
  EXPECT_EQ(String_DelimCat("", "file", '/', buffer.text), 4);
  EXPECT_STREQ(buffer.text, "file");
}

TEST(StringDelimCat, KeepsTheDelimiterThatTheSecondTextBeginsWith) {
  Buffer buffer;
  EXPECT_EQ(String_DelimCat("dir", "/file", '/', buffer.text), 9);
  EXPECT_STREQ(buffer.text, "dir//file");
  EXPECT_EQ(String_DelimCat("dir/", "/file", '/', buffer.text), 9);
  EXPECT_STREQ(buffer.text, "dir//file");
}

TEST(StringDelimCat, PutsTheDelimiterEvenWhenTheSecondTextIsEmpty) {
  Buffer buffer;
  EXPECT_EQ(String_DelimCat("dir", "", '/', buffer.text), 4);
  EXPECT_STREQ(buffer.text, "dir/");
  EXPECT_EQ(String_DelimCat("", "", '/', buffer.text), 0);
  EXPECT_STREQ(buffer.text, "");
}

TEST(StringDelimCat, WorksInPlaceForEitherText) {
  Buffer first("dir");
  EXPECT_EQ(String_DelimCat(first.text, "file", '/', first.text), 8);
  EXPECT_STREQ(first.text, "dir/file");
  Buffer second("file");
  EXPECT_EQ(String_DelimCat("dir", second.text, '/', second.text), 8);
  EXPECT_STREQ(second.text, "dir/file");
  Buffer ended("a-much-longer-file");
  EXPECT_EQ(String_DelimCat("d/", ended.text, '/', ended.text), 20);
  EXPECT_STREQ(ended.text, "d/a-much-longer-file");
  Buffer both("ab");
  EXPECT_EQ(String_DelimCat(both.text, both.text, '/', both.text), 5);
  EXPECT_STREQ(both.text, "ab/ab");
}

TEST(StringDelimCat, ComparesTheDelimiterAsAByte) {
  Buffer buffer;
  EXPECT_EQ(String_DelimCat("dir\xE4", "file", 0xE4, buffer.text), 8);
  EXPECT_STREQ(buffer.text,
               "dir\xE4"
               "file");
  EXPECT_EQ(String_DelimCat("dir", "file", 0xE4, buffer.text), 8);
  EXPECT_STREQ(buffer.text,
               "dir\xE4"
               "file");
}

TEST(String, WritesNothingWithoutADestination) {
  EXPECT_EQ(String_CopyMax("abc", 4, nullptr), 0);
  EXPECT_EQ(String_CopyLength("abc", 2, nullptr), 0);
  EXPECT_EQ(String_Cat(nullptr, "abc"), 0);
  EXPECT_EQ(String_CatPString(nullptr, reinterpret_cast<const uint8_t*>("\3abc")), 0);
  EXPECT_EQ(String_DelimCat("a", "b", '/', nullptr), 0);
  EXPECT_EQ(String_Insert("a", nullptr), 0);
  EXPECT_EQ(String_Quote("a", '"', nullptr), 0);
  EXPECT_EQ(String_ToLower("A", nullptr), 0);
  EXPECT_EQ(String_Convert("a", "a", "b", nullptr), 0);
  EXPECT_EQ(String_ReplaceFirst("abc", "b", "x", nullptr), -1);
  EXPECT_EQ(String_StripEnds(" a ", " ", nullptr), 0);
  EXPECT_EQ(String_Read(nullptr), 0);
}

TEST(String, TakesAMissingTextForAnEmptyOne) {
  Buffer buffer;
  EXPECT_EQ(String_CopyMax(nullptr, 4, buffer.text), 0);
  EXPECT_STREQ(buffer.text, "");
  EXPECT_EQ(String_DelimCat("dir", nullptr, '/', buffer.text), 4);
  EXPECT_STREQ(buffer.text, "dir/");
  EXPECT_EQ(String_CopyLength(nullptr, 3, buffer.text), 0);
  EXPECT_STREQ(buffer.text, "");
  EXPECT_EQ(String_DelimCat(nullptr, "file", '/', buffer.text), 4);
  EXPECT_STREQ(buffer.text, "file");
  EXPECT_EQ(String_Insert(nullptr, buffer.text), 4);
  EXPECT_STREQ(buffer.text, "file");
  EXPECT_EQ(String_Quote(nullptr, '|', buffer.text), 2);
  EXPECT_STREQ(buffer.text, "||");
  EXPECT_EQ(String_ToLower(nullptr, buffer.text), 0);
  EXPECT_STREQ(buffer.text, "");
  EXPECT_EQ(String_Convert("abc", nullptr, "x", buffer.text), 0);
  EXPECT_STREQ(buffer.text, "abc");
  EXPECT_EQ(String_Convert("abc", "b", nullptr, buffer.text), 0);
  EXPECT_STREQ(buffer.text, "abc");
  EXPECT_EQ(String_ReplaceFirst("abc", "b", nullptr, buffer.text), 1);
  EXPECT_STREQ(buffer.text, "ac");
  EXPECT_EQ(String_ReplaceFirst("abc", nullptr, "x", buffer.text), -1);
  EXPECT_STREQ(buffer.text, "ac");
}

TEST(StringInsert, PutsThePrefixInFront) {
  Buffer buffer("file");
  EXPECT_EQ(String_Insert("dir/", buffer.text), 8);
  EXPECT_STREQ(buffer.text, "dir/file");
  EXPECT_EQ(String_Insert("", buffer.text), 8);
  EXPECT_STREQ(buffer.text, "dir/file");
  Buffer empty("");
  EXPECT_EQ(String_Insert("x", empty.text), 1);
  EXPECT_STREQ(empty.text, "x");
}

TEST(StringQuote, PutsTheQuoteOnBothSides) {
  Buffer buffer;
  EXPECT_EQ(String_Quote("abc", '"', buffer.text), 5);
  EXPECT_STREQ(buffer.text, "\"abc\"");
  EXPECT_EQ(String_Quote("", '\'', buffer.text), 2);
  EXPECT_STREQ(buffer.text, "''");
  Buffer self("abc");
  EXPECT_EQ(String_Quote(self.text, '|', self.text), 5);
  EXPECT_STREQ(self.text, "|abc|");
}

TEST(StringToLower, ChangesAsciiLettersOnly) {
  Buffer buffer;
  EXPECT_EQ(String_ToLower("AbZ[@`{\xC4", buffer.text), 8);
  EXPECT_STREQ(buffer.text, "abz[@`{\xC4");
  Buffer self("QZ");
  EXPECT_EQ(String_ToLower(self.text, self.text), 2);
  EXPECT_STREQ(self.text, "qz");
  Buffer up("QZX");
  EXPECT_EQ(String_ToLower(up.text, up.text + 1), 3);
  EXPECT_STREQ(up.text, "Qqzx");
}

TEST(StringConvert, ReplacesByPositionAndCounts) {
  Buffer buffer;
  EXPECT_EQ(String_Convert("C:\\dir\\x", ":\\", "|/", buffer.text), 3);
  EXPECT_STREQ(buffer.text, "C|/dir/x");
  EXPECT_EQ(String_Convert("abc", "xyz", "123", buffer.text), 0);
  EXPECT_STREQ(buffer.text, "abc");
  EXPECT_EQ(String_Convert("abc", "", "", buffer.text), 0);
  EXPECT_STREQ(buffer.text, "abc");
}

TEST(StringConvert, DoesNotConvertWhatItConverted) {
  Buffer buffer;
  EXPECT_EQ(String_Convert("ab", "ab", "ba", buffer.text), 2);
  EXPECT_STREQ(buffer.text, "ba");
}

TEST(StringConvert, TakesTheFirstOfTwoEqualBytes) {
  Buffer buffer;
  EXPECT_EQ(String_Convert("aa", "aa", "12", buffer.text), 2);
  EXPECT_STREQ(buffer.text, "11");
}

TEST(StringConvert, CopiesBytesThatHaveNoCounterpart) {
  Buffer buffer;
  EXPECT_EQ(String_Convert("abc", "abc", "1", buffer.text), 1);
  EXPECT_STREQ(buffer.text, "1bc");
}

TEST(StringConvert, WorksInPlace) {
  Buffer buffer("a/b");
  EXPECT_EQ(String_Convert(buffer.text, "/", "\\", buffer.text), 1);
  EXPECT_STREQ(buffer.text, "a\\b");
}

TEST(StringReplaceFirst, ReplacesOnlyTheFirst) {
  Buffer buffer;
  EXPECT_EQ(String_ReplaceFirst("one two two", "two", "three", buffer.text), 4);
  EXPECT_STREQ(buffer.text, "one three two");
  EXPECT_EQ(String_ReplaceFirst("one two", "one ", "", buffer.text), 0);
  EXPECT_STREQ(buffer.text, "two");
  EXPECT_EQ(String_ReplaceFirst("abc", "abc", "x", buffer.text), 0);
  EXPECT_STREQ(buffer.text, "x");
}

TEST(StringReplaceFirst, WorksInPlaceWhetherTheTextGrowsOrShrinks) {
  Buffer grows("a%b%");
  EXPECT_EQ(String_ReplaceFirst(grows.text, "%", "percent", grows.text), 1);
  EXPECT_STREQ(grows.text, "apercentb%");
  Buffer shrinks("a percent b");
  EXPECT_EQ(String_ReplaceFirst(shrinks.text, "percent", "%", shrinks.text), 2);
  EXPECT_STREQ(shrinks.text, "a % b");
}

TEST(StringReplaceFirst, LeavesTheDestinationWhenNothingIsFound) {
  Buffer buffer;
  EXPECT_EQ(String_ReplaceFirst("abc", "x", "y", buffer.text), -1);
  EXPECT_TRUE(buffer.IsUntouched());
  EXPECT_EQ(String_ReplaceFirst("abc", "", "y", buffer.text), -1);
  EXPECT_TRUE(buffer.IsUntouched());
  EXPECT_EQ(String_ReplaceFirst(nullptr, "x", "y", buffer.text), -1);
  EXPECT_TRUE(buffer.IsUntouched());
}

TEST(StringRead, ReadsLineByLine) {
  StandardInput input("first line\n\nlast");
  char line[1024];
  EXPECT_EQ(String_Read(line), 10);
  EXPECT_STREQ(line, "first line");
  EXPECT_EQ(String_Read(line), 0);
  EXPECT_STREQ(line, "");
  EXPECT_EQ(String_Read(line), 4);
  EXPECT_STREQ(line, "last");
}

TEST(StringRead, GivesAnEmptyTextAtTheEnd) {
  StandardInput input("");
  char line[1024] = "old";
  EXPECT_EQ(String_Read(line), 0);
  EXPECT_STREQ(line, "");
}

TEST(StringRead, CutsALongLineAndGoesOnWithTheNextOne) {
  StandardInput input(std::string(5000, 'x') + "\nnext\n");
  char line[1024];
  EXPECT_EQ(String_Read(line), 1023);
  EXPECT_EQ(std::string(line), std::string(1023, 'x'));
  EXPECT_EQ(String_Read(line), 4);
  EXPECT_STREQ(line, "next");
}

}  // namespace
