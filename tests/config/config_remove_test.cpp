// Removing lines and sections, emptying and deleting a document.
#include <gtest/gtest.h>

#include <string>

#include "config/configspec_internal.h"
#include "tests/config/config_fixture.h"
#include "tests/support/fail_allocation.h"

namespace {

// ---- lines -------------------------------------------------------------------------------------

TEST(ConfigRemoveLine, TakesTheLineOut) {
  Document document(Pairs(), "a 1\n# x\nb 2\nc 3\n");
  Config_RemoveLine(document.get(), document.Find("b"));
  EXPECT_EQ(document.Find("b"), nullptr);
  EXPECT_EQ(Config_CountSectionLines(document.get(), nullptr), 2u);
  EXPECT_EQ(document.AlphaLines(), "<a><1> <c><3>");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# x\nc\t3\n"));
}

TEST(ConfigRemoveLine, FreesTheLine) {
  Document document(Pairs(), "a 1\n");
  const int64_t before = iMemory_CountLive();
  document.Print("b 2");
  EXPECT_GT(iMemory_CountLive(), before);
  Config_RemoveLine(document.get(), document.Find("b"));
  document.Print("b 2");
  Config_RemoveLine(document.get(), document.Find("b"));
  document.Print("a 3");
  Config_RemoveLine(document.get(), document.Find("a"));
  EXPECT_EQ(document.Lines(), "");
}

TEST(ConfigRemoveLine, LetsTheSectionEndWithTheRecordBefore) {
  Document document(PairsInSections(), "a 1\n# x\nb 2\n[s]\nc 3\n");
  Config_RemoveLine(document.get(), document.Find("b"));
  document.Print("d 4");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# x\nd\t4\n[s]\nc\t3\n"));
}

TEST(ConfigRemoveLine, LeavesAnEmptySection) {
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n[t]\nc 3\n");
  ConfigSection* section = document.Section("[s]");
  Config_RemoveLine(document.get(), document.Find("b", section));
  EXPECT_EQ(Config_CountSectionLines(document.get(), section), 0u);
  EXPECT_EQ(Config_NextSection(document.get(), section), nullptr);
  document.Print(section, "d 4");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n[s]\nd\t4\n[t]\nc\t3\n"));
}

TEST(ConfigRemoveLine, LeavesAnEmptyFirstSection_WhosePlaceAHeaderDoesNotTake) {
  // Records follow the first section, so it is not an empty document's.
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n");
  Config_RemoveLine(document.get(), document.Find("a"));
  EXPECT_EQ(Config_FirstLine(document.get(), nullptr), nullptr);
  document.Print("c 3");
  EXPECT_EQ(document.Written(), LineEnds("c\t3\n[s]\nb\t2\n"));
}

Syntax Repeating() {
  Syntax syntax = Pairs();
  syntax.uniqueLines = false;
  return syntax;
}

TEST(ConfigRemoveLine, KeepsTheOthersOfItsKeyInOrder) {
  const struct {
    int removed;
    const char* left;
    const char* latest;
  } rows[] = {{1, "<a><2> <a><3>", "<a><3>"}, {2, "<a><1> <a><3>", "<a><3>"}, {3, "<a><1> <a><2>", "<a><2>"}};
  for (const auto& row : rows) {
    Document document(Repeating(), "a 1\nb 0\na 2\na 3\n");
    ConfigLine* line = document.Find("a");
    for (int i = 1; i < row.removed; ++i) line = Config_NextLineGroup(document.get(), line);
    Config_RemoveLine(document.get(), line);
    EXPECT_EQ(document.Group("a"), row.left);
    EXPECT_EQ(document.Fields(Config_FirstAlphaLine(document.get(), nullptr)), row.latest);
    document.Print("a 4");
    EXPECT_EQ(document.Group("a"), std::string(row.left) + " <a><4>");
  }
}

TEST(ConfigRemoveLine, RemovesAWholeGroupOneByOne) {
  Document document(Repeating(), "a 1\na 2\na 3\n");
  for (const char* left : {"<a><2> <a><3>", "<a><3>", ""}) {
    Config_RemoveLine(document.get(), document.Find("a"));
    EXPECT_EQ(document.Group("a"), left);
  }
  EXPECT_EQ(Config_FirstAlphaLine(document.get(), nullptr), nullptr);
  EXPECT_EQ(document.Written(), "");
}

TEST(ConfigRemoveLine, LeavesTheSameKeyOfOtherSections) {
  Document document(PairsInSections(), "a 1\n[s]\na 2\n");
  Config_RemoveLine(document.get(), document.Find("a"));
  EXPECT_EQ(document.Fields(document.Find("a", document.Section("[s]"))), "<a><2>");
}

TEST(ConfigRemoveLine, IgnoresNull) {
  Document document(Pairs(), "a 1\n");
  Config_RemoveLine(document.get(), nullptr);
  Config_RemoveLine(nullptr, document.Find("a"));
  Config_RemoveLine(nullptr, nullptr);
  EXPECT_EQ(document.Lines(), "<a><1>");
}

// ---- the others of a key -----------------------------------------------------------------------

TEST(ConfigUniqueLine, LeavesOnlyTheGivenLine) {
  for (int kept = 1; kept <= 3; ++kept) {
    Document document(Repeating(), "a 1\nb 0\nA 2\n# x\na 3\n");
    ConfigLine* line = document.Find("a");
    for (int i = 1; i < kept; ++i) line = Config_NextLineGroup(document.get(), line);
    Config_UniqueLine(document.get(), line);
    EXPECT_EQ(document.Find("a"), line);
    EXPECT_EQ(Config_NextLineGroup(document.get(), line), nullptr);
    EXPECT_EQ(Config_FirstAlphaLine(document.get(), nullptr), line);
    EXPECT_EQ(Config_CountSectionLines(document.get(), nullptr), 2u);
    const char* written[] = {"a\t1\nb\t0\n# x\n", "b\t0\nA\t2\n# x\n", "b\t0\n# x\na\t3\n"};
    EXPECT_EQ(document.Written(), LineEnds(written[kept - 1]));
  }
}

TEST(ConfigUniqueLine, ChangesNothing_WhenTheLineIsAlone) {
  Document document(PairsInSections(), "a 1\nb 2\n[s]\na 3\n");
  Config_UniqueLine(document.get(), document.Find("a"));
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nb\t2\n[s]\na\t3\n"));
}

TEST(ConfigUniqueLine, IgnoresNull) {
  Document document(Repeating(), "a 1\na 2\n");
  Config_UniqueLine(document.get(), nullptr);
  Config_UniqueLine(nullptr, document.Find("a"));
  EXPECT_EQ(document.Group("a"), "<a><1> <a><2>");
}

// ---- sections ----------------------------------------------------------------------------------

TEST(ConfigRemoveSection, TakesTheHeaderTheLinesAndTheComments) {
  Document document(PairsInSections(), "a 1\n[s] x # y\n\nb 2\n# z\nc\n[t]\nd 4\n");
  Config_RemoveSection(document.get(), document.Section("[s]"));
  EXPECT_EQ(document.Section("[s]"), nullptr);
  EXPECT_EQ(document.Sections(), "<> <[t]>");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n[t]\nd\t4\n"));
}

TEST(ConfigRemoveSection, TakesTheLast) {
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n");
  Config_RemoveSection(document.get(), document.Section("[s]"));
  EXPECT_EQ(document.Sections(), "<>");
  document.Print("[t]");
  document.Print(document.Section("[t]"), "c 3");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n[t]\nc\t3\n"));
}

TEST(ConfigRemoveSection, TakesAnEmptyOne) {
  Document document(PairsInSections(), "[s]\n[t]\n[u]\na 1\n");
  Config_RemoveSection(document.get(), document.Section("[t]"));
  EXPECT_EQ(document.Written(), LineEnds("[s]\n[u]\na\t1\n"));
  Config_RemoveSection(document.get(), document.Section("[s]"));
  EXPECT_EQ(document.Written(), LineEnds("[u]\na\t1\n"));
  EXPECT_EQ(document.Lines(), "<a><1>");
}

TEST(ConfigRemoveSection, LetsItsNameBeUsedAgain) {
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n[t]\nc 3\n");
  Config_RemoveSection(document.get(), document.Section("[s]"));
  document.Read("[s]\nd 4\n");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n[s]\nd\t4\n[t]\nc\t3\n"));
}

TEST(ConfigRemoveSection, LetsTheNextBeTheFirst) {
  Document document(PairsInSections(), "a 1\n# x\n[s]\nb 2\n[t]\nc 3\n");
  Config_RemoveSection(document.get(), Config_NextSection(document.get(), nullptr));
  EXPECT_EQ(document.Sections(), "<[s]> <[t]>");
  EXPECT_EQ(document.Lines(), "<b><2>");
  Config_RemoveSection(document.get(), document.Section("[s]"));
  EXPECT_EQ(document.Sections(), "<[t]>");
  EXPECT_EQ(document.Written(), LineEnds("[t]\nc\t3\n"));
}

TEST(ConfigRemoveSection, KeepsTheSectionsBehindAnEmptyFirstOne) {
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n");
  Config_RemoveLine(document.get(), document.Find("a"));
  Config_RemoveSection(document.get(), Config_NextSection(document.get(), nullptr));
  EXPECT_EQ(document.Sections(), "<[s]>");
  EXPECT_EQ(document.Written(), LineEnds("[s]\nb\t2\n"));
}

TEST(ConfigRemoveSection, LeavesAnEmptyDocument_WhenItWasTheOnlyOne) {
  for (const char* text : {"", "a 1\n# x\n", "[s]\n", "[s]\na 1\n# x\n"}) {
    Document document(PairsInSections(), text);
    Config_RemoveSection(document.get(), Config_NextSection(document.get(), nullptr));
    EXPECT_EQ(document.Sections(), "<>") << text;
    EXPECT_EQ(document.AlphaSections(), "") << text;
    EXPECT_EQ(document.Written(), "") << text;
    document.Read("[s]\na 2\n");
    EXPECT_EQ(document.Written(), LineEnds("[s]\na\t2\n")) << text;
  }
}

TEST(ConfigRemoveSection, RemovesNothingForNull) {
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n");
  Config_RemoveSection(document.get(), nullptr);
  Config_RemoveSection(nullptr, document.Section("[s]"));
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n[s]\nb\t2\n"));
}

TEST(ConfigRemoveSection, RemovesThousandsOneByOne) {
  std::string text;
  for (int i = 0; i < 20000; ++i) text += "[" + std::to_string(i) + "]\na 1\n";
  Document document(PairsInSections(), text);
  for (int i = 0; i < 20000; ++i) {
    Config_RemoveSection(document.get(), Config_NextSection(document.get(), nullptr));
  }
  EXPECT_EQ(document.Sections(), "<>");
  EXPECT_EQ(document.Written(), "");
}

// ---- the document ------------------------------------------------------------------------------

TEST(ConfigNew, HasOneSectionWithoutAHeader) {
  Document document(PairsInSections());
  ConfigSection* section = Config_NextSection(document.get(), nullptr);
  ASSERT_NE(section, nullptr);
  EXPECT_EQ(Config_CountSectionFields(document.get(), section), 0u);
  EXPECT_EQ(Config_GetSectionFields(document.get(), section), nullptr);
  EXPECT_EQ(Config_CountSectionLines(document.get(), section), 0u);
  EXPECT_EQ(Config_FirstLine(document.get(), section), nullptr);
  EXPECT_EQ(Config_FirstAlphaLine(document.get(), section), nullptr);
  EXPECT_EQ(Config_NextSection(document.get(), section), nullptr);
  EXPECT_EQ(Config_NextAlphaSection(document.get(), nullptr), nullptr);
}

TEST(ConfigNew, TakesAReferenceToTheSpec) {
  const int64_t before = iMemory_CountLive();
  ConfigSpec* spec = NewSpec(Pairs());
  Config* first = Config_New(spec);
  Config* second = Config_New(spec);
  EXPECT_EQ(spec->references, 3);
  ConfigSpec_Delete(spec);
  Config_Delete(first);
  EXPECT_EQ(spec->references, 1);
  ASSERT_EQ(Config_Print(second, nullptr, "a 1", nullptr), Error_None);
  Config_Delete(second);
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(ConfigNew, TakesTheDefaultSpec) {
  Config* config = Config_New(ConfigSpec_GetDefault());
  ASSERT_NE(config, nullptr);
  ConfigLine* line = nullptr;
  EXPECT_EQ(Config_Print(config, nullptr, "a", &line), Error_None);
  EXPECT_NE(line, nullptr);
  Config_Delete(config);
  EXPECT_EQ(ConfigSpec_GetDefault()->references, 1);
}

TEST(ConfigNew, GivesNull_ForNull) {
  EXPECT_EQ(Config_New(nullptr), nullptr);
}

TEST(ConfigNew, GivesNullAndLeavesTheSpec_WithoutMemory) {
  ConfigSpec* spec = NewSpec(Pairs());
  const int64_t before = iMemory_CountLive();
  for (int64_t n = 1;; ++n) {
    ASSERT_LT(n, 20);
    iMemory_FailAllocation(n);
    Config* config = Config_New(spec);
    iMemory_FailAllocation(0);
    if (config != nullptr) {
      EXPECT_GT(n, 1);
      Config_Delete(config);
      break;
    }
    EXPECT_EQ(spec->references, 1);
    EXPECT_EQ(iMemory_CountLive(), before);
  }
  EXPECT_EQ(spec->references, 1);
  ConfigSpec_Delete(spec);
}

TEST(ConfigEmpty, LeavesADocumentAsNew) {
  for (const char* text : {"a 1\n# x\n[s]\nb 2\n[t] u # v\nc 3\n", "[s] t # u\na 1\n"}) {
    Document document(PairsInSections(), text);
    Config_Empty(document.get());
    EXPECT_EQ(document.Sections(), "<>");
    EXPECT_EQ(document.AlphaSections(), "");
    EXPECT_EQ(document.AlphaLines(), "");
    EXPECT_EQ(document.Find("a"), nullptr);
    EXPECT_EQ(Config_CountSectionLines(document.get(), nullptr), 0u);
    EXPECT_EQ(document.Written(), "");
    document.Read("[s]\na 2\n");
    EXPECT_EQ(document.Sections(), "<[s]>");
    EXPECT_EQ(document.Written(), LineEnds("[s]\na\t2\n"));
  }
}

TEST(ConfigEmpty, LeavesAFirstSectionThatHasNoName) {
  Document document(PairsInSections(), "[s]\na 1\n");
  Config_Empty(document.get());
  document.Read("b 2\n[s]\nc 3\n");
  Config_RemoveSection(document.get(), Config_NextSection(document.get(), nullptr));
  EXPECT_EQ(document.AlphaSections(), "<[s]>");
  EXPECT_EQ(document.Written(), LineEnds("[s]\nc\t3\n"));
}

TEST(ConfigEmpty, FreesWhatTheDocumentHeld) {
  Document document(PairsInSections());
  const int64_t before = iMemory_CountLive();
  document.Read("a 1\n# x\n[s]\nb 2\n[t] u # v\nab 3\nabc 4\n");
  Config_Empty(document.get());
  EXPECT_EQ(iMemory_CountLive(), before);
  document.Read("[s]\na 1\n");
  Config_Empty(document.get());
  EXPECT_EQ(iMemory_CountLive(), before);
}

TEST(ConfigEmpty, NeedsNoMemory) {
  Document document(PairsInSections(), "[s] t\na 1\n[t]\nb 2\n");
  iMemory_FailAllocation(1);
  Config_Empty(document.get());
  iMemory_FailAllocation(0);
  EXPECT_EQ(document.Sections(), "<>");
}

TEST(ConfigRemove, NeedsNoMemory) {
  Document document(PairsInSections(), "[s]\nabc 1\nabd 2\n[t]\nb 3\n[tu]\nc 4\n");
  iMemory_FailAllocation(1);
  Config_RemoveLine(document.get(), document.Find("abc"));
  Config_RemoveSection(document.get(), Config_NextSection(document.get(), nullptr));
  iMemory_FailAllocation(0);
  EXPECT_EQ(document.Written(), LineEnds("[t]\nb\t3\n[tu]\nc\t4\n"));
}

TEST(ConfigDelete, IgnoresNull) {
  Config_Delete(nullptr);
  Config_Empty(nullptr);
}

}  // namespace
