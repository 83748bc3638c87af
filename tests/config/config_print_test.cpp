// Config_Print and Config_PrintF: adding a line, and taking the place of others.
#include <gtest/gtest.h>

#include <string>

#include "tests/config/config_fixture.h"
#include "tests/support/fail_allocation.h"

namespace {

// ---- adding ------------------------------------------------------------------------------------

TEST(ConfigPrint, AppendsToTheFirstSection_WhenNoneIsNamed) {
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n");
  ConfigLine* line = document.Print("c 3 # x");
  EXPECT_EQ(document.Fields(line), "<c><3>");
  EXPECT_STREQ(Config_GetComment(document.get(), line), " x");
  EXPECT_EQ(Config_GetLineSection(document.get(), line), Config_NextSection(document.get(), nullptr));
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nc\t3\t# x\n[s]\nb\t2\n"));
}

TEST(ConfigPrint, AppendsToTheNamedSection) {
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n[t]\nc 3\n");
  ConfigSection* section = document.Section("[s]");
  ConfigLine* line = document.Print(section, "d 4");
  EXPECT_EQ(Config_GetLineSection(document.get(), line), section);
  EXPECT_EQ(Config_CountSectionLines(document.get(), section), 2u);
  EXPECT_EQ(document.Find("d", section), line);
  EXPECT_EQ(document.Find("d"), nullptr);
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n[s]\nb\t2\nd\t4\n[t]\nc\t3\n"));
}

TEST(ConfigPrint, AppendsToAnEmptySection) {
  Document document(PairsInSections(), "[s]\n[t]\n[u]\nc 3\n");
  document.Print(document.Section("[t]"), "a 1");
  document.Print(document.Section("[t]"), "# x");
  document.Print("b 2");
  EXPECT_EQ(document.Written(), LineEnds("[s]\nb\t2\n[t]\na\t1\n# x\n[u]\nc\t3\n"));
}

TEST(ConfigPrint, GivesNoLine_ForWhatIsNoData) {
  Document document(PairsInSections());
  for (const char* text : {"# x", "", "  ", "a", "a b c", "[s]"}) {
    EXPECT_EQ(document.Print(text), nullptr) << text;
  }
  EXPECT_EQ(document.Written(), LineEnds("# x\n\n  \n# MIN a\n# MAX a b c\n[s]\n"));
}

TEST(ConfigPrint, NeedsNoPlaceForTheLine) {
  Document document(Pairs());
  EXPECT_EQ(Config_Print(document.get(), nullptr, "a 1", nullptr), Error_None);
  EXPECT_EQ(Config_Print(document.get(), nullptr, "# x", nullptr), Error_None);
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# x\n"));
}

TEST(ConfigPrint, BeginsASectionBehindTheNamedOne) {
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n[t]\nc 3\n");
  document.Print(document.Section("[s]"), "[new] x # y");
  document.Print("[first]");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n[first]\n[s]\nb\t2\n[new]\tx\t# y\n[t]\nc\t3\n"));
  document.Print(document.Section("[new]"), "d 4");
  EXPECT_EQ(document.Lines(document.Section("[new]")), "<d><4>");
}

TEST(ConfigPrint, BeginsTheFirstSection_OfAnEmptyDocument) {
  Document document(PairsInSections());
  document.Print("[s]");
  EXPECT_EQ(document.Sections(), "<[s]>");
  document.Print("a 1");
  EXPECT_EQ(document.Lines(document.Section("[s]")), "<a><1>");
}

TEST(ConfigPrint, AddsNoHeaderTwice) {
  Document document(PairsInSections(), "a 1\n[s] x\nb 2\n");
  document.Print("[s] y");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n[s]\tx\nb\t2\n"));
}

TEST(ConfigPrint, LetsLinesRepeat_WhereTheyMay) {
  Syntax syntax = Pairs();
  syntax.uniqueLines = false;
  Document document(syntax, "a 1\nb 2\n");
  ConfigLine* line = document.Print("A 3");
  EXPECT_EQ(document.Group("a"), "<a><1> <A><3>");
  EXPECT_EQ(Config_NextLineGroup(document.get(), document.Find("a")), line);
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nb\t2\nA\t3\n"));
}

// ---- replacing ---------------------------------------------------------------------------------

TEST(ConfigPrintUnique, TakesThePlaceOfTheLine_AndKeepsThatAsAComment) {
  Document document(Pairs(), "a 1\nA 2\n");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# DUP A 2\n"));
  ConfigLine* line = document.Print("a 3");
  EXPECT_EQ(document.Fields(line), "<a><3>");
  EXPECT_EQ(document.Find("a"), line);
  EXPECT_EQ(document.Group("a"), "<a><3>");
  EXPECT_EQ(Config_CountSectionLines(document.get(), nullptr), 1u);
  EXPECT_EQ(document.Written(), LineEnds("a\t3\n# DUP A 2\n# UNIQUE a\t1\n\n"));
}

TEST(ConfigPrintUnique, StandsBeforeWhatFollowedTheLine) {
  Document document(Pairs(), "# head\na 1\nb 2\nc 3\n");
  document.Print("A 4");
  EXPECT_EQ(document.Lines(), "<A><4> <b><2> <c><3>");
  EXPECT_EQ(document.Written(), LineEnds("# head\nA\t4\nb\t2\nc\t3\n# UNIQUE a\t1\n\n"));
  document.Print("b 5");
  EXPECT_EQ(document.Written(), LineEnds("# head\nA\t4\nb\t5\nc\t3\n# UNIQUE a\t1\n\n# UNIQUE b\t2\n\n"));
}

TEST(ConfigPrintUnique, StandsBehindTheComments_WhenTheLineWasTheLastRecord) {
  Document document(Pairs(), "a 1\nb 2\n");
  document.Print("b 3");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# UNIQUE b\t2\n\nb\t3\n"));
  document.Print("c 4");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# UNIQUE b\t2\n\nb\t3\nc\t4\n"));
}

TEST(ConfigPrintUnique, StaysInItsSection_WhenAnotherFollowed) {
  Document document(PairsInSections(), "a 1\nb 2\n[s]\nc 3\n");
  ConfigLine* line = document.Print("b 4");
  EXPECT_EQ(Config_GetLineSection(document.get(), line), Config_NextSection(document.get(), nullptr));
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# UNIQUE b\t2\n\nb\t4\n[s]\nc\t3\n"));
  EXPECT_EQ(document.Sections(), "<> <[s]>");
  document.Print("d 5");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# UNIQUE b\t2\n\nb\t4\nd\t5\n[s]\nc\t3\n"));
}

TEST(ConfigPrintUnique, ReplacesTheOnlyLineOfASection) {
  Document document(PairsInSections(), "[s]\na 1\n[t]\nb 2\n");
  document.Print("a 3");
  EXPECT_EQ(document.Written(), LineEnds("[s]\n# UNIQUE a\t1\n\na\t3\n[t]\nb\t2\n"));
  EXPECT_EQ(document.Sections(), "<[s]> <[t]>");
}

TEST(ConfigPrintUnique, PutsTheCommentsAtTheEndOfTheirSection) {
  Document document(PairsInSections(), "[s]\na 1\n# x\n[t]\nb 2\n");
  document.Print("a 3");
  EXPECT_EQ(document.Written(), LineEnds("[s]\na\t3\n# x\n# UNIQUE a\t1\n\n[t]\nb\t2\n"));
}

TEST(ConfigPrintUnique, LooksInItsOwnSectionOnly) {
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n");
  document.Print(document.Section("[s]"), "a 3");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n[s]\nb\t2\na\t3\n"));
}

TEST(ConfigPrintUnique, FormatsTheOldLineByItself) {
  Document document(Pairs(), "a 1 # x\nlonger 2\n");
  document.Print("a 3");
  // In the file "a" stands in a column of 6, in the comment in one of 1.
  EXPECT_EQ(document.Written(), LineEnds("a\t\t3\nlonger\t2\n# UNIQUE a\t1\t# x\n\n"));
}

TEST(ConfigPrintUnique, FormatsTheOldLineInColumnsOfItsOwnWidth) {
  Document document(Pairs(), "key value # x\n");
  document.Print("key 2");
  EXPECT_EQ(document.Written(), LineEnds("# UNIQUE key\tvalue\t# x\n\nkey\t2\n"));
  Syntax syntax = Pairs();
  syntax.delimiter = ';';
  Document delimited(syntax, "keys;1\n");
  delimited.Print("keys;2");
  EXPECT_EQ(delimited.Written(), LineEnds("# UNIQUE keys\t\t;1\n\nkeys\t\t;2\n"));
}

TEST(ConfigPrintUnique, FormatsTheOldLineByTheSpec) {
  Syntax syntax = Pairs();
  syntax.lineComment = "//";
  syntax.notField = " ";
  syntax.delimiter = '=';
  Document document(syntax, "key=value//x\nother=1\n");
  document.Print("key=2");
  EXPECT_EQ(document.Written(), LineEnds("key  =2\nother=1\n// UNIQUE key=value//x\n\n"));
}

TEST(ConfigPrintUnique, LeavesNoComment_WhereCommentsAreStripped) {
  Syntax syntax = Pairs();
  syntax.stripsComments = true;
  Document document(syntax, "a 1\nb 2\nc 3\n");
  document.Print("b 4");
  document.Print("c 5");
  document.Print("A 6");
  EXPECT_EQ(document.Written(), LineEnds("A\t6\nb\t4\nc\t5\n"));
}

TEST(ConfigPrintUnique, LeavesNoComment_WithoutAMarker) {
  Syntax syntax = Pairs();
  syntax.lineComment = "";
  Document document(syntax, "a 1\nb 2\n");
  document.Print("a 3");
  document.Print("b 4");
  EXPECT_EQ(document.Written(), LineEnds("a\t3\nb\t4\n"));
}

TEST(ConfigPrintUnique, TellsCaseApart_WhereItMatters) {
  Syntax syntax = Pairs();
  syntax.caseSensitive = true;
  Document document(syntax, "a 1\nb 2\n");
  document.Print("A 3");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nb\t2\nA\t3\n"));
}

TEST(ConfigPrintUnique, RetiresAllLinesWithTheKey_TheLatestFirst) {
  Syntax syntax = Pairs();
  syntax.uniqueLines = false;
  Document document(syntax, "a 1\nb 2\nA 3\na 4\nc 5\n");
  ConfigSpec_SetUniqueLines(document.spec(), 1);
  document.Print("a 6");
  EXPECT_EQ(document.Group("a"), "<a><6>");
  EXPECT_EQ(Config_CountSectionLines(document.get(), nullptr), 3u);
  EXPECT_EQ(document.Written(),
            LineEnds("b\t2\na\t6\nc\t5\n# UNIQUE a\t4\n\n# UNIQUE A\t3\n\n# UNIQUE a\t1\n\n"));
}

TEST(ConfigPrintUnique, RetiresLinesThatStandTogether) {
  Syntax syntax = Pairs();
  syntax.uniqueLines = false;
  Document document(syntax, "b 0\na 1\na 2\na 3\n");
  ConfigSpec_SetUniqueLines(document.spec(), 1);
  document.Print("a 4");
  EXPECT_EQ(document.Written(), LineEnds("b\t0\n# UNIQUE a\t3\n\n# UNIQUE a\t2\n\n# UNIQUE a\t1\n\na\t4\n"));
}

TEST(ConfigPrintUnique, LeavesTheOldLine_WhenTheNewOneIsRejected) {
  Document document(Pairs(), "a 1\n");
  EXPECT_EQ(document.Print("a"), nullptr);
  EXPECT_EQ(document.Print("a 2 3"), nullptr);
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# MIN a\n# MAX a 2 3\n"));
}

TEST(ConfigPrintUnique, MayTakeItsTextFromTheLineItReplaces) {
  Document document({}, "a\nb\n");
  ConfigLine* old = document.Find("a");
  const char* text = Config_GetFields(document.get(), old)[0];
  ConfigLine* line = nullptr;
  ASSERT_EQ(Config_Print(document.get(), nullptr, text, &line), Error_None);
  EXPECT_EQ(document.Fields(line), "<a>");
  EXPECT_EQ(document.Written(), LineEnds("a\nb\n# UNIQUE a\n\n"));
}

TEST(ConfigPrintUnique, ReplacesLinesOfManyFields) {
  Syntax syntax;
  syntax.maxFields = 40;
  Document document(syntax, "k 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20\n");
  document.Print("k 1");
  EXPECT_EQ(
      document.Written(),
      LineEnds("# UNIQUE k\t2\t3\t4\t5\t6\t7\t8\t9\t10\t11\t12\t13\t14\t15\t16\t17\t18\t19\t20\n\nk\t1\n"));
}

TEST(ConfigPrintUnique, ReplacesTheSameLineAgainAndAgain) {
  Syntax syntax = Pairs();
  syntax.stripsComments = true;
  Document document(syntax, "a 1\nb 2\nc 3\n");
  for (int i = 0; i < 1000; ++i) document.Print("b " + std::to_string(i));
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nb\t999\nc\t3\n"));
}

// ---- long texts --------------------------------------------------------------------------------

TEST(ConfigPrintLong, TakesFourThousandNinetySixBytes) {
  Document document(Pairs());
  const std::string field(4094, 'x');
  document.Print("a " + field);
  EXPECT_EQ(document.Lines(), "<a><" + field + ">");
  document.Print("a 1");
  EXPECT_EQ(document.Written(), LineEnds("# UNIQUE a\t" + field + "\n\na\t1\n"));
}

TEST(ConfigPrintLong, RefusesMore) {
  Document document(Pairs(), "a 1\n");
  for (const size_t length : {size_t{4095}, size_t{1048576}}) {
    auto* line = reinterpret_cast<ConfigLine*>(1);
    EXPECT_EQ(Config_Print(document.get(), nullptr, ("a " + std::string(length, 'x')).c_str(), &line),
              Error_Exceed);
    EXPECT_EQ(line, nullptr);
    EXPECT_EQ(Config_Print(document.get(), nullptr, ("# " + std::string(length, 'x')).c_str(), nullptr),
              Error_Exceed);
  }
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n"));
}

// ---- Config_PrintF -----------------------------------------------------------------------------

TEST(ConfigPrintF, FormatsAndAdds) {
  Document document(PairsInSections(), "[s]\na 1\n");
  ConfigLine* line = nullptr;
  EXPECT_EQ(Config_PrintF(document.get(), nullptr, "%s %d # %c", &line, "b", -7, 'x'), Error_None);
  EXPECT_EQ(document.Fields(line), "<b><-7>");
  EXPECT_STREQ(Config_GetComment(document.get(), line), " x");
  EXPECT_EQ(Config_PrintF(document.get(), document.Section("[s]"), "%s 3", nullptr, "a"), Error_None);
  EXPECT_EQ(document.Group("a"), "<a><3>");
}

TEST(ConfigPrintF, GivesNoLine_ForWhatIsNoData) {
  Document document(Pairs());
  auto* line = reinterpret_cast<ConfigLine*>(1);
  EXPECT_EQ(Config_PrintF(document.get(), nullptr, "# %s", &line, "x"), Error_None);
  EXPECT_EQ(line, nullptr);
  EXPECT_EQ(document.Written(), LineEnds("# x\n"));
}

TEST(ConfigPrintF, DoesNotFormatTwice) {
  Document document(Pairs());
  EXPECT_EQ(Config_PrintF(document.get(), nullptr, "a %s", nullptr, "%s%n%d"), Error_None);
  EXPECT_EQ(document.Lines(), "<a><%s%n%d>");
}

TEST(ConfigPrintF, RefusesWhatBecomesLongerThanALine) {
  Document document(Pairs());
  auto* line = reinterpret_cast<ConfigLine*>(1);
  const std::string field(4094, 'x');
  EXPECT_EQ(Config_PrintF(document.get(), nullptr, "ab %s", &line, field.c_str()), Error_Exceed);
  EXPECT_EQ(line, nullptr);
  EXPECT_EQ(Config_PrintF(document.get(), nullptr, "%*d", nullptr, 1000000, 1), Error_Exceed);
  EXPECT_EQ(document.Written(), "");
  EXPECT_EQ(Config_PrintF(document.get(), nullptr, "a %s", &line, field.c_str()), Error_None);
  EXPECT_EQ(document.Fields(line), "<a><" + field + ">");
}

// ---- null --------------------------------------------------------------------------------------

TEST(ConfigPrint, RefusesNull) {
  Document document(Pairs(), "a 1\n");
  auto* line = reinterpret_cast<ConfigLine*>(1);
  EXPECT_EQ(Config_Print(nullptr, nullptr, "b 2", &line), Error_Invalid);
  EXPECT_EQ(line, nullptr);
  line = reinterpret_cast<ConfigLine*>(1);
  EXPECT_EQ(Config_Print(document.get(), nullptr, nullptr, &line), Error_Invalid);
  EXPECT_EQ(line, nullptr);
  line = reinterpret_cast<ConfigLine*>(1);
  EXPECT_EQ(Config_PrintF(nullptr, nullptr, "b %d", &line, 2), Error_Invalid);
  EXPECT_EQ(line, nullptr);
  const char* none = nullptr;
  line = reinterpret_cast<ConfigLine*>(1);
  EXPECT_EQ(Config_PrintF(document.get(), nullptr, none, &line, 2), Error_Invalid);
  EXPECT_EQ(line, nullptr);
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n"));
}

// ---- running out of memory ---------------------------------------------------------------------

// Prints the text with its n-th allocation failing; false when there are fewer.
bool PrintWithoutMemory(const char* text, int64_t n) {
  Syntax syntax = PairsInSections();
  syntax.maxFields = 20;
  Document document(
      syntax, "a 1 # x\n# c\nabc 2\nb 3\n[s]\na 1\n[sy]\nc 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0\n[t]\ne 5\n");
  const std::string before = document.Written();
  const std::string alpha = document.AlphaLines();
  auto* line = reinterpret_cast<ConfigLine*>(1);
  const int64_t live = iMemory_CountLive();
  iMemory_FailAllocation(n);
  const ErrorCode status = Config_Print(document.get(), nullptr, text, &line);
  const bool hasFailed = iMemory_AllocationsUntilFailure() <= 0;
  iMemory_FailAllocation(0);
  if (status != Error_None) {
    EXPECT_TRUE(status == Error_Memory || status == Error_Fail) << status;
    EXPECT_EQ(line, nullptr);
    EXPECT_EQ(iMemory_CountLive(), live);
    EXPECT_EQ(document.Written(), before);
    EXPECT_EQ(document.AlphaLines(), alpha);
  }
  return hasFailed;
}

TEST(ConfigPrintMemory, LeavesTheDocumentAsItWas) {
  for (const char* text :
       {"a 9 # y", "ab 9", "abd 9", "b 9", "c 9", "e 9", "# z", "bad", "[t] x", "[s]", "[sz]", "[u]"}) {
    SCOPED_TRACE(text);
    int64_t n = 1;
    while (n < 100 && PrintWithoutMemory(text, n)) ++n;
    EXPECT_GT(n, 1);
    EXPECT_LT(n, 100);
  }
}

// The same with several lines to retire.
TEST(ConfigPrintMemory, LeavesAllLinesOfTheKeyAsTheyWere) {
  Syntax syntax = Pairs();
  syntax.uniqueLines = false;
  Document document(syntax, "a 1\nb 2\na 3\nA 4\n");
  ConfigSpec_SetUniqueLines(document.spec(), 1);
  const std::string before = document.Written();
  int64_t n = 1;
  for (;; ++n) {
    ASSERT_LT(n, 100);
    iMemory_FailAllocation(n);
    const ErrorCode status = Config_Print(document.get(), nullptr, "a 5", nullptr);
    iMemory_FailAllocation(0);
    if (status == Error_None) break;
    EXPECT_EQ(status, Error_Memory);
    EXPECT_EQ(document.Group("a"), "<a><1> <a><3> <A><4>") << n;
    EXPECT_EQ(document.Written(), before) << n;
  }
  EXPECT_GT(n, 3);
  EXPECT_EQ(document.Group("a"), "<a><5>");
}

}  // namespace
