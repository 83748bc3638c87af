// How much memory a document takes beside the file that it is read from.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstddef>
#include <string>
#include <vector>

#include "tests/config/config_fixture.h"

// Only the address sanitizer has this; its allocator does not answer mallinfo2.
extern "C" __attribute__((weak)) size_t __sanitizer_get_current_allocated_bytes();

namespace {

constexpr size_t kLineCount = 100000;

size_t AllocatedBytes() {
  if (__sanitizer_get_current_allocated_bytes != nullptr) return __sanitizer_get_current_allocated_bytes();
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// A text of four letters, another one for each number.
std::string Letters(size_t number) {
  std::string text;
  for (int i = 0; i < 4; ++i, number /= 26) text += static_cast<char>('a' + number % 26);
  return text;
}

int32_t IsAnything(uint32_t fieldCount, const char* const*) {
  return fieldCount != 0 ? 1 : 0;
}

struct Kind {
  const char* name;
  Syntax syntax;
  std::string (*line)(size_t number);
};

Syntax WithRepeatingKeys() {
  Syntax syntax;
  syntax.uniqueLines = false;
  return syntax;
}

Syntax OfHeaders() {
  Syntax syntax;
  syntax.sectionMethod = IsAnything;
  return syntax;
}

// What a document of 100,000 such lines takes, in the order of keys too.
size_t TakenBy(const Kind& kind, size_t* fileSize) {
  std::string text;
  for (size_t i = 0; i < kLineCount; ++i) text += kind.line(i) + "\n";
  *fileSize = text.size();
  Document document(kind.syntax);
  document.directory().Write("in", text);
  const std::string name = document.directory().Name("in");
  const size_t before = AllocatedBytes();
  EXPECT_EQ(Config_Read(document.get(), name.c_str()), Error_None);
  Config_FirstAlphaLine(document.get(), nullptr);
  Config_NextAlphaSection(document.get(), nullptr);
  const size_t taken = AllocatedBytes() - before;
  EXPECT_GT(taken, *fileSize) << "the lines were in memory when this was measured";
  return taken;
}

TEST(ConfigMemoryOnPosix, TakesNoMoreThanSixteenTimesAFileOfLinesThatSaySomething) {
  const Kind kinds[] = {
      {"lines", Pairs(), [](size_t i) { return Letters(i) + " value-1"; }},
      {"lines with one key", WithRepeatingKeys(), [](size_t) { return std::string("keyword"); }},
      {"comments", {}, [](size_t) { return std::string("# x"); }},
      {"rejected lines", {}, [](size_t) { return std::string("a b c"); }},
      {"headers", OfHeaders(), [](size_t i) { return "section-" + Letters(i); }},
  };
  for (const Kind& kind : kinds) {
    size_t fileSize = 0;
    const size_t taken = TakenBy(kind, &fileSize);
    EXPECT_LE(taken, 16 * fileSize + 1024 * 1024) << kind.name;
    RecordProperty(kind.name, std::to_string(taken * 10 / fileSize) + " tenths of the file");
  }
}

// The shortest lines are smaller than what holds them.
TEST(ConfigMemoryOnPosix, TakesNoMoreThanTwoHundredBytesForAShortLine) {
  const Kind kinds[] = {
      {"blank lines", {}, [](size_t) { return std::string(); }},
      {"lines with one key", WithRepeatingKeys(), [](size_t) { return std::string("a"); }},
      {"lines", {}, Letters},
      {"headers", OfHeaders(), Letters},
  };
  for (const Kind& kind : kinds) {
    size_t fileSize = 0;
    const size_t taken = TakenBy(kind, &fileSize);
    EXPECT_LE(taken, 200 * kLineCount) << kind.name;
    RecordProperty(kind.name, std::to_string(taken / kLineCount) + " bytes a line");
  }
}

}  // namespace
