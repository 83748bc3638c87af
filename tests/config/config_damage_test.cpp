// Files that are no configuration.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/config/config_fixture.h"

namespace {

std::string Repeated(size_t count, char c) {
  return std::string(count, c);
}

std::vector<Syntax> Syntaxes() {
  std::vector<Syntax> all(6, PairsInSections());
  all[1].delimiter = ';';
  all[1].maxFields = 1000000;
  all[1].minFields = 1;
  all[2].stripsComments = true;
  all[2].sectionMethod = IsBracketedOrBlank;
  all[3].lineComment = "";
  all[3].uniqueLines = false;
  all[3].grabsLastField = true;
  all[4].notField = "";
  all[4].minFields = 1;
  all[4].lineComment = "\n";
  all[5].notField = " ";
  all[5].delimiter = '=';
  all[5].uniqueLines = false;
  all[5].maxFields = 0;
  return all;
}

// Reads, walks everything, writes, and reads what was written.
void Use(const Syntax& syntax, const std::string& bytes) {
  Document document(syntax, bytes);
  document.Sections();
  document.AlphaSections();
  document.AlphaLines();
  for (ConfigLine* line = Config_FirstLine(document.get(), nullptr); line != nullptr;
       line = Config_NextLine(document.get(), line)) {
    ASSERT_GT(Config_CountFields(document.get(), line), 0u);
    ASSERT_NE(Config_GetFields(document.get(), line), nullptr);
  }
  Document again(syntax, document.Written());
  again.Written();
}

TEST(ConfigDamage, TakesManyOfAnyByte) {
  for (const Syntax& syntax : Syntaxes()) {
    for (const char byte : {'\n', '\r', '\0', '#', ' ', '\t', ';', '=', '[', 'x', '\x1A', '\xFF'}) {
      Use(syntax, Repeated(131072, byte));
    }
  }
}

TEST(ConfigDamage, TakesEveryByte) {
  std::string bytes;
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      bytes += static_cast<char>(first);
      bytes += static_cast<char>(second);
    }
  }
  for (const Syntax& syntax : Syntaxes()) Use(syntax, bytes);
}

TEST(ConfigDamage, TakesARecordOfAnotherKind) {
  uint32_t state = 12345;
  std::string bytes;
  for (int i = 0; i < 100000; ++i) {
    state = state * 1664525u + 1013904223u;
    bytes += static_cast<char>(state >> 24);
  }
  for (const Syntax& syntax : Syntaxes()) Use(syntax, bytes);
}

// Carriage returns that no line end follows are text, and come in pieces of 4,096.
TEST(ConfigDamage, KeepsManyCarriageReturns) {
  const struct {
    size_t count;
    int pieces;
  } rows[] = {{1, 0}, {4093, 0}, {4096, 1}, {4097, 1}, {8189, 1}, {8192, 2}, {10000, 2}, {20000, 4}};
  for (const auto& row : rows) {
    Document document(Pairs(), Repeated(row.count, '\r') + "x 1\ny 2\n");
    EXPECT_EQ(document.Lines(), "<x><1> <y><2>") << row.count;
    std::string expected;
    for (int i = 0; i < row.pieces; ++i) expected += Repeated(4096, '\r') + "\n";
    EXPECT_EQ(document.Written(), LineEnds(expected + "x\t1\ny\t2\n")) << row.count;
  }
}

TEST(ConfigDamage, KeepsWhatFollowsManyEmptyLines) {
  Document document(Pairs(), Repeated(100000, '\n') + "x 1\n");
  EXPECT_EQ(document.Lines(), "<x><1>");
  EXPECT_TRUE(document.Written() == LineEnds(Repeated(100000, '\n') + "x\t1\n"));
}

TEST(ConfigDamage, KeepsWhatFollowsManyZeroes) {
  Document document(Pairs(), Repeated(10000, '\0') + "\nx 1\n");
  EXPECT_EQ(document.Lines(), "<x><1>");
}

TEST(ConfigDamage, KeepsOneOfAHundredThousandEqualLines) {
  std::string text;
  for (int i = 0; i < 100000; ++i) text += "key value\n";
  Document document(Pairs(), text);
  EXPECT_EQ(Config_CountSectionLines(document.get(), nullptr), 1u);
  EXPECT_EQ(document.Group("key"), "<key><value>");
}

TEST(ConfigDamage, KeepsAHundredThousandLinesWithOneKey) {
  Syntax syntax = Pairs();
  syntax.uniqueLines = false;
  std::string text;
  for (int i = 0; i < 100000; ++i) text += "key value\n";
  Document document(syntax, text);
  uint32_t count = 0;
  for (ConfigLine* line = document.Find("key"); line != nullptr;
       line = Config_NextLineGroup(document.get(), line)) {
    ++count;
  }
  EXPECT_EQ(count, 100000u);
  Config_UniqueLine(document.get(), document.Find("key"));
  EXPECT_EQ(document.Group("key"), "<key><value>");
  EXPECT_EQ(document.Written(), LineEnds("key\tvalue\n"));
}

TEST(ConfigDamage, RetiresTenThousandLinesWithOneKey) {
  Syntax syntax = Pairs();
  syntax.uniqueLines = false;
  std::string text;
  for (int i = 0; i < 10000; ++i) text += "key value\n";
  Document document(syntax, text);
  ConfigSpec_SetUniqueLines(document.spec(), 1);
  document.Print("key new");
  EXPECT_EQ(document.Group("key"), "<key><new>");
  std::string expected;
  for (int i = 0; i < 10000; ++i) expected += "# UNIQUE key\tvalue\n\n";
  EXPECT_TRUE(document.Written() == LineEnds(expected + "key\tnew\n"));
}

}  // namespace
