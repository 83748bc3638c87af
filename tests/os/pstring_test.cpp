// Pascal text.
#include "qz/pstring.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "qz/memory.h"
#include "qz/string.h"
#include "tests/support/fail_allocation.h"

namespace {

// A Pascal text in exactly `size` bytes of its own, so that the sanitizer sees any byte beyond.
std::vector<uint8_t> Pascal(const std::string& text, size_t size = 0) {
  std::vector<uint8_t> p(std::max(size, text.size() + 1));
  p[0] = static_cast<uint8_t>(text.size());
  std::copy(text.begin(), text.end(), p.begin() + 1);
  return p;
}

TEST(PStringDuplicate, CopiesLengthAndBytes) {
  const std::vector<uint8_t> source = Pascal("abc");
  uint8_t* copy = PString_Duplicate(source.data());
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(memcmp(copy, "\3abc", 4), 0);
  Memory_Delete(copy);
  EXPECT_EQ(PString_Duplicate(nullptr), nullptr);
  // The first byte is not a length.
  copy = PString_Duplicate(Pascal("\1bc").data());
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(memcmp(copy, "\3\1bc", 4), 0);
  Memory_Delete(copy);
}

TEST(PStringDuplicate, GivesNullWhenMemoryRunsOut) {
  FailEveryAllocation([] {
    const bool mustFail = iMemory_AllocationsUntilFailure() == 1;
    uint8_t* copy = PString_Duplicate(Pascal("abc").data());
    EXPECT_EQ(copy == nullptr, mustFail);
    Memory_Delete(copy);
  });
}

TEST(PStringCopy, TakesTheSourceFirst) {
  uint8_t destination[8] = {9, 9, 9, 9, 9};
  EXPECT_EQ(PString_Copy(Pascal("abc").data(), destination), 3);
  EXPECT_EQ(memcmp(destination, "\3abc\x9", 5), 0);
  EXPECT_EQ(PString_Copy(nullptr, destination), 0);
  EXPECT_EQ(destination[0], 0);
  EXPECT_EQ(PString_Copy(destination, nullptr), 0);
}

TEST(PStringCopy, AllowsOverlapInBothDirections) {
  std::vector<uint8_t> up = Pascal("abcd", 8);
  EXPECT_EQ(PString_Copy(up.data(), up.data() + 2), 4);
  EXPECT_EQ(memcmp(up.data() + 2, "\4abcd", 5), 0);
  // "\2cd" stands within.
  std::vector<uint8_t> down = Pascal("ab\2cd");
  EXPECT_EQ(PString_Copy(down.data() + 3, down.data() + 2), 2);
  EXPECT_EQ(memcmp(down.data(), "\5a\2cdd", 6), 0);
}

TEST(PStringCat, AppendsToTheFirst) {
  std::vector<uint8_t> p = Pascal("ab", 6);
  EXPECT_EQ(PString_Cat(p.data(), Pascal("cde").data()), 5);
  EXPECT_EQ(memcmp(p.data(), "\5abcde", 6), 0);
  EXPECT_EQ(PString_Cat(p.data(), nullptr), 5);
}

TEST(PStringCat, AppendsATextToItself) {
  std::vector<uint8_t> p = Pascal("ab", 5);
  EXPECT_EQ(PString_Cat(p.data(), p.data()), 4);
  EXPECT_EQ(memcmp(p.data(), "\4abab", 5), 0);
}

TEST(PStringCat, WrapsTheLengthByteButWritesEveryByte) {
  std::vector<uint8_t> p = Pascal(std::string(200, 'a'), 301);
  EXPECT_EQ(PString_Cat(p.data(), Pascal(std::string(100, 'b')).data()), 44);
  EXPECT_EQ(p[0], 44);
  EXPECT_EQ(std::string(p.begin() + 1, p.end()), std::string(200, 'a') + std::string(100, 'b'));
}

TEST(PStringCatString, AppendsZeroTerminatedText) {
  std::vector<uint8_t> p = Pascal("ab", 6);
  EXPECT_EQ(PString_CatString(p.data(), "cde"), 5);
  EXPECT_EQ(memcmp(p.data(), "\5abcde", 6), 0);
  EXPECT_EQ(PString_CatString(p.data(), nullptr), 5);
}

TEST(PStringCatString, WrapsTheLengthByteButWritesEveryByte) {
  std::vector<uint8_t> p = Pascal("x", 302);
  EXPECT_EQ(PString_CatString(p.data(), std::string(300, 'y').c_str()), 45);
  EXPECT_EQ(std::string(p.begin() + 1, p.end()), "x" + std::string(300, 'y'));
}

TEST(StringToPString, CopiesAtMost255Bytes) {
  std::vector<uint8_t> p(256);
  EXPECT_EQ(String_ToPString("abc", p.data()), 3);
  EXPECT_EQ(memcmp(p.data(), "\3abc", 4), 0);
  EXPECT_EQ(String_ToPString(std::string(1000, 'z').c_str(), p.data()), 255);
  EXPECT_EQ(p[0], 255);
  EXPECT_EQ(std::string(p.begin() + 1, p.end()), std::string(255, 'z'));
  EXPECT_EQ(String_ToPString(nullptr, p.data()), 0);
  EXPECT_EQ(p[0], 0);
}

TEST(PStringToString, CopiesAndTerminates) {
  char text[8] = "#######";
  EXPECT_EQ(PString_ToString(Pascal("abc").data(), text), 3);
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(text[4], '#');
  EXPECT_EQ(PString_ToString(Pascal("").data(), text), 0);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(PString_ToString(nullptr, text), 0);
}

TEST(PString, ConvertsInPlaceBothWays) {
  char bytes[8] = "abc";
  EXPECT_EQ(String_ToPString(bytes, reinterpret_cast<uint8_t*>(bytes)), 3);
  EXPECT_EQ(memcmp(bytes, "\3abc", 4), 0);
  EXPECT_EQ(PString_ToString(reinterpret_cast<uint8_t*>(bytes), bytes), 3);
  EXPECT_STREQ(bytes, "abc");
}

TEST(PString, WritesNothingWithoutADestination) {
  EXPECT_EQ(PString_Cat(nullptr, Pascal("abc").data()), 0);
  EXPECT_EQ(PString_CatString(nullptr, "abc"), 0);
  EXPECT_EQ(PString_ToString(Pascal("abc").data(), nullptr), 0);
  EXPECT_EQ(String_ToPString("abc", nullptr), 0);
}

TEST(PStringCompare, ComparesFirstBytesAndLengthsOnly) {
  EXPECT_EQ(PString_Compare(Pascal("ab").data(), Pascal("ax").data()), 0);
  EXPECT_EQ(PString_Compare(Pascal("b").data(), Pascal("a").data()), 1);
  EXPECT_EQ(PString_Compare(Pascal("a").data(), Pascal("b").data()), 255);
  EXPECT_EQ(PString_Compare(Pascal("abc").data(), Pascal("a").data()), 2);
  EXPECT_EQ(PString_Compare(Pascal("a").data(), Pascal("abc").data()), -2);
}

TEST(PStringCompare, ComparesLengthsWhenEitherIsEmpty) {
  EXPECT_EQ(PString_Compare(Pascal("").data(), Pascal("abc").data()), -3);
  EXPECT_EQ(PString_Compare(Pascal("abc").data(), Pascal("").data()), 3);
  EXPECT_EQ(PString_Compare(Pascal("").data(), Pascal("").data()), 0);
  EXPECT_EQ(PString_Compare(nullptr, Pascal("abc").data()), -3);
}

}  // namespace
