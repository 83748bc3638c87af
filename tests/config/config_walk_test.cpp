// Finding lines and sections, and walking over them.
#include <gtest/gtest.h>

#include <string>

#include "tests/config/config_fixture.h"
#include "tests/support/fail_allocation.h"

namespace {

Syntax Repeating() {
  Syntax syntax = PairsInSections();
  syntax.uniqueLines = false;
  return syntax;
}

// ---- by key ------------------------------------------------------------------------------------

TEST(ConfigFindLine, GivesTheFirstLineOfTheKey) {
  Document document(Repeating(), "b 1\na 2\nB 3\nb 4\n");
  EXPECT_EQ(document.Fields(document.Find("b")), "<b><1>");
  EXPECT_EQ(document.Fields(document.Find("B")), "<b><1>");
  EXPECT_EQ(document.Fields(document.Find("a")), "<a><2>");
}

TEST(ConfigFindLine, ComparesWholeKeys) {
  Document document(Pairs(), "abc 1\n");
  for (const char* key : {"", "a", "ab", "abcd", "bc", "abc ", "1"})
    EXPECT_EQ(document.Find(key), nullptr) << key;
  EXPECT_NE(document.Find("aBc"), nullptr);
}

TEST(ConfigFindLine, TellsCaseApart_WhereItMatters) {
  Syntax syntax = Pairs();
  syntax.caseSensitive = true;
  Document document(syntax, "Key 1\nkey 2\n");
  EXPECT_EQ(document.Fields(document.Find("Key")), "<Key><1>");
  EXPECT_EQ(document.Fields(document.Find("key")), "<key><2>");
  EXPECT_EQ(document.Find("KEY"), nullptr);
}

TEST(ConfigFindLine, IgnoresTheCaseOfAsciiLettersOnly) {
  Document document(Pairs(), "\xC4 1\n");
  EXPECT_NE(document.Find("\xC4"), nullptr);
  EXPECT_EQ(document.Find("\xE4"), nullptr);
  Document brackets(Pairs(), "@[` 1\n");
  EXPECT_EQ(brackets.Find("`{`"), nullptr);
  EXPECT_EQ(brackets.Find("@[@"), nullptr);
}

TEST(ConfigFindLine, LooksInOneSection) {
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n");
  EXPECT_EQ(document.Find("b"), nullptr);
  EXPECT_EQ(document.Find("a", document.Section("[s]")), nullptr);
  EXPECT_NE(document.Find("b", document.Section("[s]")), nullptr);
  EXPECT_EQ(document.Find("[s]"), nullptr);
}

TEST(ConfigFindLine, FindsAnEmptyKey) {
  Syntax syntax;
  syntax.delimiter = ';';
  syntax.maxFields = 2;
  Document document(syntax, ";x\n");
  EXPECT_EQ(document.Fields(document.Find("")), "<><x>");
}

TEST(ConfigFindLine, FindsTheLongestKey) {
  const std::string key(4096, 'x');
  Document document({}, key + "\n" + key.substr(1) + "\n");
  EXPECT_EQ(document.Fields(document.Find(key.c_str())), "<" + key + ">");
  EXPECT_EQ(document.Fields(document.Find(key.c_str() + 1)), "<" + key.substr(1) + ">");
  for (const size_t length : {size_t{4097}, size_t{65536}, size_t{65536 + 4096}, size_t{65536 + 4095}}) {
    EXPECT_EQ(document.Find(std::string(length, 'x').c_str()), nullptr) << length;
  }
}

TEST(ConfigFindLine, TakesNoTooLongKeyForTheEmptyOne) {
  Syntax syntax;
  syntax.delimiter = ';';
  syntax.maxFields = 2;
  Document document(syntax, ";x\n");
  EXPECT_EQ(document.Find(std::string(4097, 'x').c_str()), nullptr);
}

TEST(ConfigFindLine, GivesNull_ForNull) {
  Document document(Pairs(), "a 1\n");
  EXPECT_EQ(Config_FindLine(document.get(), nullptr, nullptr), nullptr);
  EXPECT_EQ(Config_FindLine(nullptr, nullptr, "a"), nullptr);
}

TEST(ConfigNextLineGroup, GivesTheLinesOfTheKeyInTheirOrder) {
  Document document(Repeating(), "a 1\nb 2\na 3\n[s]\na 4\n");
  document.Print("A 5");
  EXPECT_EQ(document.Group("a"), "<a><1> <a><3> <A><5>");
  EXPECT_EQ(document.Group("b"), "<b><2>");
  EXPECT_EQ(document.Group("a", document.Section("[s]")), "<a><4>");
}

TEST(ConfigNextLineGroup, GivesNullBehindTheLast) {
  Document document(Repeating(), "a 1\na 2\n");
  ConfigLine* last = Config_NextLineGroup(document.get(), document.Find("a"));
  EXPECT_EQ(Config_NextLineGroup(document.get(), last), nullptr);
  EXPECT_EQ(Config_NextLineGroup(document.get(), nullptr), nullptr);
  EXPECT_EQ(Config_NextLineGroup(nullptr, last), nullptr);
}

// ---- in the order of the file ------------------------------------------------------------------

TEST(ConfigFirstLine, PassesOverComments) {
  Document document(PairsInSections(), "# x\n\nb\na 1\n[s]\n# y\nc 2\n");
  EXPECT_EQ(document.Fields(Config_FirstLine(document.get(), nullptr)), "<a><1>");
  EXPECT_EQ(document.Fields(Config_FirstLine(document.get(), document.Section("[s]"))), "<c><2>");
}

TEST(ConfigFirstLine, StopsAtTheNextSection) {
  Document document(PairsInSections(), "# x\n[s]\n# y\n[t]\na 1\n[u]\n");
  EXPECT_EQ(Config_FirstLine(document.get(), nullptr), nullptr);
  EXPECT_EQ(Config_FirstLine(document.get(), document.Section("[s]")), nullptr);
  EXPECT_EQ(document.Fields(Config_FirstLine(document.get(), document.Section("[t]"))), "<a><1>");
  EXPECT_EQ(Config_FirstLine(document.get(), document.Section("[u]")), nullptr);
  EXPECT_EQ(Config_FirstLine(nullptr, nullptr), nullptr);
}

TEST(ConfigNextLine, GoesOnIntoTheNextSections) {
  Document document(PairsInSections(), "a 1\n# x\nb 2\n# y\n[s]\n[t]\n# z\n\nc 3\n[u]\n");
  ConfigLine* line = Config_FirstLine(document.get(), nullptr);
  EXPECT_EQ(document.Fields(line), "<a><1>");
  line = Config_NextLine(document.get(), line);
  EXPECT_EQ(document.Fields(line), "<b><2>");
  line = Config_NextLine(document.get(), line);
  EXPECT_EQ(document.Fields(line), "<c><3>");
  EXPECT_EQ(Config_GetLineSection(document.get(), line), document.Section("[t]"));
  EXPECT_EQ(Config_NextLine(document.get(), line), nullptr);
  EXPECT_EQ(Config_NextLine(document.get(), nullptr), nullptr);
  EXPECT_EQ(Config_NextLine(nullptr, line), nullptr);
}

TEST(ConfigNextSection, FollowsTheFile) {
  Document document(PairsInSections(), "a 1\n[t]\n# x\n[s] y\nb 2\n[u]\n");
  EXPECT_EQ(document.Sections(), "<> <[t]> <[s]><y> <[u]>");
}

TEST(ConfigNextSection, EndsAtASectionWithoutRecords) {
  Document document(PairsInSections(), "[s]\na 1\n[t]\n[u]\nb 2\n");
  EXPECT_EQ(Config_NextSection(document.get(), document.Section("[s]")), document.Section("[t]"));
  EXPECT_EQ(Config_NextSection(document.get(), document.Section("[t]")), nullptr);
  EXPECT_EQ(document.Sections(), "<[s]> <[t]>");
  EXPECT_EQ(Config_NextSection(document.get(), document.Section("[u]")), nullptr);
}

TEST(ConfigNextSection, PassesASectionWithCommentsOnly) {
  Document document(PairsInSections(), "[s]\n\n[t]\n# x\n[u]\nb 2\n");
  EXPECT_EQ(document.Sections(), "<[s]> <[t]> <[u]>");
}

TEST(ConfigNextSection, BeginsAnew_ForNull) {
  Document document(PairsInSections(), "[s]\na 1\n[t]\n");
  EXPECT_EQ(Config_NextSection(document.get(), nullptr), document.Section("[s]"));
  EXPECT_EQ(Config_NextSection(nullptr, nullptr), nullptr);
}

// ---- in alphabetical order ---------------------------------------------------------------------

TEST(ConfigAlphaLine, GoesByTheKeysInLowerCase) {
  Document document(Pairs(), "b 1\nC 2\na 3\nAB 4\nba 5\n10 6\n9 7\n");
  EXPECT_EQ(document.AlphaLines(), "<10><6> <9><7> <a><3> <AB><4> <b><1> <ba><5> <C><2>");
}

TEST(ConfigAlphaLine, GoesByTheKeysAsTheyAre_WhereCaseMatters) {
  Syntax syntax = Pairs();
  syntax.caseSensitive = true;
  Document document(syntax, "b 1\nC 2\na 3\nAB 4\nA 5\n");
  EXPECT_EQ(document.AlphaLines(), "<A><5> <AB><4> <C><2> <a><3> <b><1>");
}

TEST(ConfigAlphaLine, BeginsWithTheFirstKeyAsItIs_WhereCaseMatters) {
  Syntax syntax = Pairs();
  syntax.caseSensitive = true;
  Document document(syntax, "a 1\nB 2\n");
  EXPECT_EQ(document.Fields(Config_FirstAlphaLine(document.get(), nullptr)), "<B><2>");
}

TEST(ConfigAlphaLine, ContinuesByTheKeyAsItIs_WhereCaseMatters) {
  Syntax syntax = Pairs();
  syntax.caseSensitive = true;
  Document document(syntax, "a 1\nB 2\nc 3\n");
  EXPECT_EQ(document.Fields(Config_NextAlphaLine(document.get(), document.Find("B"))), "<a><1>");
}

TEST(ConfigAlphaLine, TakesBytesAsSignedCharacters) {
  Document document(Pairs(), "a 1\n\xE4 2\n\x01 3\n\x80 4\n");
  EXPECT_EQ(document.AlphaLines(), "<\x80><4> <\xE4><2> <\x01><3> <a><1>");
}

TEST(ConfigAlphaLine, GivesOneLineAKey_TheLatest) {
  Document document(Repeating(), "b 1\na 2\nB 3\na 4\nc 5\n");
  EXPECT_EQ(document.AlphaLines(), "<a><4> <B><3> <c><5>");
}

TEST(ConfigAlphaLine, GoesOnFromAnyLineOfAKey) {
  Document document(Repeating(), "b 1\na 2\na 3\n");
  ConfigLine* first = document.Find("a");
  EXPECT_EQ(document.Fields(Config_NextAlphaLine(document.get(), first)), "<b><1>");
  EXPECT_EQ(
      document.Fields(Config_NextAlphaLine(document.get(), Config_NextLineGroup(document.get(), first))),
      "<b><1>");
}

TEST(ConfigAlphaLine, StaysInItsSection) {
  Document document(PairsInSections(), "c 1\na 2\n[s]\nb 3\n");
  EXPECT_EQ(document.AlphaLines(), "<a><2> <c><1>");
  EXPECT_EQ(document.AlphaLines(document.Section("[s]")), "<b><3>");
}

TEST(ConfigAlphaLine, HasKeysOfAnyLength) {
  const std::string b1023 = std::string(1023, 'b');
  const std::string b1024 = std::string(1024, 'b');
  const std::string b4096 = std::string(4096, 'b');
  Document document({}, "c\n" + b4096 + "\n" + b1024 + "\na\n" + b1023 + "\n");
  EXPECT_EQ(document.AlphaLines(), "<a> <" + b1023 + "> <" + b1024 + "> <" + b4096 + "> <c>");
}

TEST(ConfigAlphaLine, EndsAtOnce_WithoutLines) {
  Document document(PairsInSections(), "# x\n[s]\na 1\n");
  EXPECT_EQ(Config_FirstAlphaLine(document.get(), nullptr), nullptr);
  EXPECT_EQ(Config_FirstAlphaLine(nullptr, nullptr), nullptr);
  EXPECT_EQ(Config_NextAlphaLine(document.get(), nullptr), nullptr);
  EXPECT_EQ(Config_NextAlphaLine(nullptr, document.Find("a", document.Section("[s]"))), nullptr);
}

TEST(ConfigAlphaLine, MayBeFollowedByChanges) {
  Document document(Pairs(), "d 1\nb 2\nc 3\n");
  ConfigLine* line = Config_FirstAlphaLine(document.get(), nullptr);
  document.Print("a 4");
  document.Print("bb 5");
  line = Config_NextAlphaLine(document.get(), line);
  EXPECT_EQ(document.Fields(line), "<bb><5>");
}

TEST(ConfigAlphaLine, FollowsEveryChange) {
  Document document(Repeating(), "b 1\na 2\nB 3\nc 4\nb 5\n");
  EXPECT_EQ(document.AlphaLines(), "<a><2> <b><5> <c><4>");
  Config_UniqueLine(document.get(), Config_NextLineGroup(document.get(), document.Find("b")));
  EXPECT_EQ(document.AlphaLines(), "<a><2> <B><3> <c><4>");
  document.Print("b 6");
  EXPECT_EQ(document.AlphaLines(), "<a><2> <b><6> <c><4>");
  Config_RemoveLine(document.get(), Config_NextLineGroup(document.get(), document.Find("b")));
  EXPECT_EQ(document.AlphaLines(), "<a><2> <B><3> <c><4>");
  Config_RemoveLine(document.get(), document.Find("a"));
  EXPECT_EQ(document.AlphaLines(), "<B><3> <c><4>");
  ConfigSpec_SetUniqueLines(document.spec(), 1);
  document.Print("C 7");
  EXPECT_EQ(document.AlphaLines(), "<B><3> <C><7>");
  Config_Empty(document.get());
  document.Print("d 8");
  EXPECT_EQ(document.AlphaLines(), "<d><8>");
}

TEST(ConfigAlphaSection, FollowsEveryChange) {
  Document document(PairsInSections(), "[b]\n[a]\nx 1\n[c]\n");
  EXPECT_EQ(document.AlphaSections(), "<[a]> <[b]> <[c]>");
  Config_RemoveSection(document.get(), document.Section("[a]"));
  EXPECT_EQ(document.AlphaSections(), "<[b]> <[c]>");
  document.Print("[bb]");
  EXPECT_EQ(document.AlphaSections(), "<[b]> <[bb]> <[c]>");
  Config_RemoveSection(document.get(), document.Section("[b]"));
  EXPECT_EQ(document.AlphaSections(), "<[bb]> <[c]>");
  Config_Empty(document.get());
  document.Print("[d]");
  EXPECT_EQ(document.AlphaSections(), "<[d]>");
}

// A walk that takes its next step before it removes what it stands on.
TEST(ConfigWalk, MayRemoveWhatItLeaves) {
  const std::string text = "b 1\na 2\nb 3\n# x\n[s]\nc 4\nb 5\nc 6\n[t]\nd 7\n";
  using Step = ConfigLine* (*)(const Config*, const ConfigLine*);
  const struct {
    Step step;
    const char* left;
  } rows[] = {
      {Config_NextLine, "# x\n[s]\n[t]\n"},
      {Config_NextLineGroup, "a\t2\n# x\n[s]\nc\t4\nb\t5\nc\t6\n[t]\nd\t7\n"},
      {Config_NextAlphaLine, "b\t1\n# x\n[s]\nc\t4\nb\t5\nc\t6\n[t]\nd\t7\n"},
  };
  for (const auto& row : rows) {
    Document document(Repeating(), text);
    ConfigLine* line = Config_FirstLine(document.get(), nullptr);
    if (row.step == Config_NextAlphaLine) line = Config_FirstAlphaLine(document.get(), nullptr);
    while (line != nullptr) {
      ConfigLine* const next = row.step(document.get(), line);
      Config_RemoveLine(document.get(), line);
      line = next;
    }
    EXPECT_EQ(document.Written(), LineEnds(row.left));
  }
}

TEST(ConfigWalk, MayRemoveTheSectionThatItLeaves) {
  for (const auto step : {Config_NextSection, Config_NextAlphaSection}) {
    Document document(PairsInSections(), "[c]\na 1\n[b]\na 2\n[d]\na 3\n[a]\na 4\n");
    int count = 0;
    for (ConfigSection* section = step(document.get(), nullptr); section != nullptr; ++count) {
      ConfigSection* const next = step(document.get(), section);
      Config_RemoveSection(document.get(), section);
      section = next;
    }
    EXPECT_EQ(count, 4);
    EXPECT_EQ(document.Sections(), "<>");
    EXPECT_EQ(document.Written(), "");
  }
}

TEST(ConfigAlphaSection, GoesByTheNamesAsTheyAre) {
  Document document(PairsInSections(), "x 1\n[b]\n[C] y\n[a]\n[A]\n[ab]\n");
  EXPECT_EQ(document.AlphaSections(), "<[A]> <[C]><y> <[a]> <[ab]> <[b]>");
}

TEST(ConfigAlphaSection, BeginsWithTheFirstName_ForASectionWithoutOne) {
  Document document(PairsInSections(), "x 1\n[b]\n[a]\n");
  ConfigSection* first = Config_NextSection(document.get(), nullptr);
  EXPECT_EQ(Config_NextAlphaSection(document.get(), first), document.Section("[a]"));
  EXPECT_EQ(Config_NextAlphaSection(document.get(), document.Section("[b]")), nullptr);
}

TEST(ConfigAlphaSection, HasNamesOfAnyLength) {
  const std::string b1024 = "[" + std::string(1023, 'b');
  const std::string b4096 = "[" + std::string(4095, 'b');
  Document document(PairsInSections(), "[c\n" + b4096 + "\n" + b1024 + "\n[a\n");
  EXPECT_EQ(document.AlphaSections(), "<[a> <" + b1024 + "> <" + b4096 + "> <[c>");
}

TEST(ConfigAlphaSection, EndsAtOnce_WithoutNames) {
  Document document(PairsInSections(), "a 1\n");
  EXPECT_EQ(Config_NextAlphaSection(document.get(), nullptr), nullptr);
  EXPECT_EQ(Config_NextAlphaSection(nullptr, nullptr), nullptr);
}

// Only the order of keys is made when it is asked for. Where there is no memory for it, it is the same.
TEST(ConfigWalk, IsTheSameWithoutMemory) {
  for (int64_t failing = 1; failing <= 16; ++failing) {
    Document document(Repeating(), "b 1\na 2\nb 3\n[s]\nc 4\n[r]\n[\xC3]\n\xC3 5\n[S]\n");
    iMemory_FailAllocation(failing);
    const std::string lines = document.Lines();
    const std::string group = document.Group("b");
    const std::string alpha = document.AlphaLines();
    const std::string sections = document.Sections();
    const std::string alphaSections = document.AlphaSections();
    iMemory_FailAllocation(0);
    EXPECT_EQ(lines, "<b><1> <a><2> <b><3>");
    EXPECT_EQ(group, "<b><1> <b><3>");
    EXPECT_EQ(alpha, "<a><2> <b><3>");
    EXPECT_EQ(sections, "<> <[s]> <[r]>");
    EXPECT_EQ(alphaSections, "<[\xC3]> <[S]> <[r]> <[s]>");
  }
}

// ---- what a section and a line have ------------------------------------------------------------

TEST(ConfigAccessors, GiveWhatALineHas) {
  Syntax syntax;
  syntax.maxFields = 3;
  syntax.sectionMethod = IsBracketed;
  Document document(syntax, "a 1 x # y\n[s]\nb\n");
  ConfigLine* a = document.Find("a");
  EXPECT_EQ(Config_CountFields(document.get(), a), 3u);
  EXPECT_STREQ(Config_GetFields(document.get(), a)[0], "a");
  EXPECT_STREQ(Config_GetFields(document.get(), a)[1], "1");
  EXPECT_STREQ(Config_GetFields(document.get(), a)[2], "x");
  EXPECT_STREQ(Config_GetComment(document.get(), a), " y");
  EXPECT_EQ(Config_GetLineSection(document.get(), a), Config_NextSection(document.get(), nullptr));
  ConfigSection* section = document.Section("[s]");
  ConfigLine* b = document.Find("b", section);
  EXPECT_EQ(Config_CountFields(document.get(), b), 1u);
  EXPECT_EQ(Config_GetComment(document.get(), b), nullptr);
  EXPECT_EQ(Config_GetLineSection(document.get(), b), section);
}

TEST(ConfigAccessors, GiveWhatASectionHas) {
  Document document(PairsInSections(), "# x\na 1\nb 2\na\n[s] t # u\nc 3\n[v]\n");
  EXPECT_EQ(Config_CountSectionLines(document.get(), nullptr), 2u);
  EXPECT_EQ(Config_CountSectionFields(document.get(), nullptr), 0u);
  EXPECT_EQ(Config_GetSectionFields(document.get(), nullptr), nullptr);
  ConfigSection* section = document.Section("[s]");
  EXPECT_EQ(Config_CountSectionLines(document.get(), section), 1u);
  EXPECT_EQ(Config_CountSectionFields(document.get(), section), 2u);
  EXPECT_STREQ(Config_GetSectionFields(document.get(), section)[0], "[s]");
  EXPECT_STREQ(Config_GetSectionFields(document.get(), section)[1], "t");
  EXPECT_EQ(Config_CountSectionLines(document.get(), document.Section("[v]")), 0u);
}

TEST(ConfigAccessors, GiveNoFieldsOfAHeaderThatHasNone) {
  Syntax syntax = Pairs();
  syntax.sectionMethod = IsBracketedOrBlank;
  Document document(syntax, "a 1\n  \nb 2\n");
  ConfigSection* second = Config_NextSection(document.get(), Config_NextSection(document.get(), nullptr));
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(Config_CountSectionFields(document.get(), second), 0u);
  EXPECT_EQ(Config_GetSectionFields(document.get(), second), nullptr);
  EXPECT_EQ(Config_CountSectionLines(document.get(), second), 1u);
}

TEST(ConfigAccessors, TakeNullForTheFirstSection) {
  Document document(PairsInSections(), "[s] t\na 1\n");
  EXPECT_EQ(Config_CountSectionLines(document.get(), nullptr), 1u);
  EXPECT_EQ(Config_CountSectionFields(document.get(), nullptr), 2u);
  EXPECT_STREQ(Config_GetSectionFields(document.get(), nullptr)[1], "t");
}

TEST(ConfigAccessors, GiveNothingForNull) {
  Document document(Pairs(), "a 1 # x\n");
  ConfigLine* line = document.Find("a");
  EXPECT_EQ(Config_CountFields(document.get(), nullptr), 0u);
  EXPECT_EQ(Config_GetFields(document.get(), nullptr), nullptr);
  EXPECT_EQ(Config_GetComment(document.get(), nullptr), nullptr);
  EXPECT_EQ(Config_GetLineSection(document.get(), nullptr), nullptr);
  EXPECT_EQ(Config_CountSectionLines(nullptr, nullptr), 0u);
  EXPECT_EQ(Config_CountSectionFields(nullptr, nullptr), 0u);
  EXPECT_EQ(Config_GetSectionFields(nullptr, nullptr), nullptr);
  EXPECT_EQ(Config_CountFields(nullptr, line), 0u);
  EXPECT_EQ(Config_GetFields(nullptr, line), nullptr);
  EXPECT_EQ(Config_GetComment(nullptr, line), nullptr);
  EXPECT_EQ(Config_GetLineSection(nullptr, line), nullptr);
}

}  // namespace
