// Reading: sections, keys that repeat, line ends, and bytes that a text file should not have.
#include <gtest/gtest.h>

#include <string>

#include "tests/config/config_fixture.h"
#include "tests/support/fail_allocation.h"

namespace {

// ---- the file ----------------------------------------------------------------------------------

TEST(ConfigRead, GivesNotFound_ForAFileThatIsNotThere) {
  Document document(Pairs(), "a 1\n");
  EXPECT_EQ(Config_Read(document.get(), document.directory().Name("none").c_str()), Error_NotFound);
  EXPECT_EQ(Config_Read(document.get(), document.directory().Name("none/file").c_str()), Error_NotFound);
  EXPECT_EQ(document.Lines(), "<a><1>");
}

TEST(ConfigRead, GivesInvalid_ForADirectory) {
  Document document(Pairs(), "a 1\n");
  EXPECT_EQ(Config_Read(document.get(), document.directory().Name().c_str()), Error_Invalid);
  EXPECT_EQ(document.Lines(), "<a><1>");
}

TEST(ConfigRead, TakesAnEmptyFile) {
  Document document(Pairs(), "");
  EXPECT_EQ(document.Lines(), "");
  EXPECT_EQ(document.Sections(), "<>");
  EXPECT_EQ(document.Written(), "");
}

TEST(ConfigRead, LeavesTheFileAlone) {
  Document document(Pairs(), "a 1\nb    2");
  EXPECT_EQ(document.directory().Read("in"), "a 1\nb    2");
  EXPECT_EQ(document.directory().List(), std::vector<std::string>{"in"});
}

TEST(ConfigRead, KeepsEveryLineInItsPlace) {
  Document document(PairsInSections(),
                    "# head\n\na 1 # one\nb\n[s] # name\n\n# in s\nc 3\n[t]\nd 4\n# tail\n");
  EXPECT_EQ(document.Written(),
            LineEnds("# head\n\na\t1\t# one\n# MIN b\n[s]# name\n\n# in s\nc\t3\n[t]\nd\t4\n"
                     "# tail\n"));
}

TEST(ConfigRead, DropsCommentsAndBlankLines_WhereTheyAreStripped) {
  Syntax syntax = PairsInSections();
  syntax.stripsComments = true;
  Document document(syntax, "# head\n\na 1 # one\nb\n  \n[s] # name\n# in s\nc 3 4\nd 4\n");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# MIN b\n[s]\n# MAX c 3 4\nd\t4\n"));
}

// ---- lines -------------------------------------------------------------------------------------

TEST(ConfigReadLines, NeedNoFinalLineEnd) {
  Document document(Pairs(), "a 1\nb 2");
  EXPECT_EQ(document.Lines(), "<a><1> <b><2>");
  Document comment(Pairs(), "a 1\n# b");
  EXPECT_EQ(comment.Written(), LineEnds("a\t1\n# b\n"));
}

TEST(ConfigReadLines, EndWithLineFeedAloneOrBehindACarriageReturn) {
  Document document(Pairs(), "a 1\r\nb 2\nc 3 #x\r\n\r\n# d\r\n\ne 5\r");
  EXPECT_EQ(document.Lines(), "<a><1> <b><2> <c><3> <e><5>");
  EXPECT_STREQ(Config_GetComment(document.get(), document.Find("c")), "x");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nb\t2\nc\t3\t#x\n\n# d\n\ne\t5\n"));
}

TEST(ConfigReadLines, HaveACarriageReturnInTheMiddleForASeparator) {
  Document document(Pairs(), "a\r1\n# x\ry\n");
  EXPECT_EQ(document.Lines(), "<a><1>");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# x\ry\n"));
}

TEST(ConfigReadLines, KeepAByteOrderMarkAsText) {
  Document document(Pairs(),
                    "\xEF\xBB\xBF"
                    "a 1\nb 2\n");
  EXPECT_EQ(document.Lines(),
            "<\xEF\xBB\xBF"
            "a><1> <b><2>");
  EXPECT_EQ(document.Find("a"), nullptr);
  EXPECT_EQ(document.Written(), LineEnds("\xEF\xBB\xBF"
                                         "a\t1\nb\t\t2\n"));
}

TEST(ConfigReadLines, EndAtAByteZero) {
  Document document(Pairs(), std::string("a 1\0 2\nb 2\n\0\n# c\0d\n", 19));
  EXPECT_EQ(document.Lines(), "<a><1> <b><2>");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nb\t2\n\n# c\n"));
}

TEST(ConfigReadLines, GoOnBehindTheEndMarkOfOldTextFiles) {
  Document document(Pairs(), "a 1\n\x1A\nb 2\x1A\nc 3\n");
  EXPECT_EQ(document.Lines(), "<a><1> <b><2\x1A> <c><3>");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# MIN \x1A\nb\t2\x1A\nc\t3\n"));
}

TEST(ConfigReadLines, LoseEveryCarriageReturnBeforeTheirEnd) {
  Document document(Pairs(), "a 1\r\r\r\n\r\r\n# b\r\rc\r\r\nd 4\r\r");
  EXPECT_EQ(document.Lines(), "<a><1> <d><4>");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n\n# b\r\rc\nd\t4\n"));
}

// Eleven bytes a line: each byte of a line stands at some border of whatever blocks the file is read in.
TEST(ConfigReadLines, MayLieAcrossTheBlocksOfTheFile) {
  for (const char* end : {"\r\n", "\n"}) {
    for (int shift = 0; shift < 11; ++shift) {
      std::string text = "#" + std::string(static_cast<size_t>(shift), 'x') + end;
      std::string expected = "#" + std::string(static_cast<size_t>(shift), 'x') + "\n";
      for (int i = 10000; i < 17000; ++i) {
        text += "k" + std::to_string(i) + (end[0] == '\n' ? " vvv" : " vv") + end;
        expected += "k" + std::to_string(i) + (end[0] == '\n' ? "\tvvv\n" : "\tvv\n");
      }
      Document document(Pairs(), text);
      EXPECT_TRUE(document.Written() == LineEnds(expected)) << shift;
    }
  }
}

// ---- long lines --------------------------------------------------------------------------------

std::string Repeated(size_t count, char c = 'x') {
  return std::string(count, c);
}

TEST(ConfigReadLongLines, HaveAtMostFourThousandNinetySixCharacters) {
  for (const size_t length : {size_t{4095}, size_t{4096}}) {
    for (const char* end : {"\n", "\r\n", ""}) {
      const std::string field = Repeated(length - 2);
      Document document(Pairs(), "a " + field + end);
      EXPECT_EQ(document.Lines(), "<a><" + field + ">") << length;
      EXPECT_EQ(document.Written(), LineEnds("a\t" + field + "\n")) << length << " " << end;
    }
  }
}

TEST(ConfigReadLongLines, HaveNoEmptyLineBehindThem) {
  for (const char* end : {"\n", "\r\n"}) {
    Document document(Pairs(), "a " + Repeated(4094) + end + "b 2" + end + end + "c 3" + end);
    EXPECT_EQ(document.Written(), LineEnds("a\t" + Repeated(4094) + "\nb\t2\n\nc\t3\n"));
    Document blank(Pairs(), "a " + Repeated(4094) + end + end + "b 2" + end);
    EXPECT_EQ(blank.Written(), LineEnds("a\t" + Repeated(4094) + "\n\nb\t2\n"));
  }
}

TEST(ConfigReadLongLines, GoOnAsTheNextLine) {
  Document document(Pairs(), "a " + Repeated(4094) + "b 2\nc 3\n");
  EXPECT_EQ(document.Lines(), "<a><" + Repeated(4094) + "> <b><2> <c><3>");
  Document one(Pairs(), "a " + Repeated(4094) + "b");
  EXPECT_EQ(one.Written(), LineEnds("a\t" + Repeated(4094) + "\n# MIN b\n"));
}

TEST(ConfigReadLongLines, KeepACarriageReturnAtTheCut) {
  // The 4,096th byte is a carriage return in the middle of a line, then the first byte of the next piece is.
  Document last(Pairs(), "# " + Repeated(4093) + "\rb 2\n");
  EXPECT_EQ(last.Written(), LineEnds("# " + Repeated(4093) + "\r\nb\t2\n"));
  Document first(Pairs(), "# " + Repeated(4094) + "\r# b\n");
  EXPECT_EQ(first.Written(), LineEnds("# " + Repeated(4094) + "\n\r# b\n"));
}

TEST(ConfigReadLongLines, EndBeforeALineEndThatIsCutInTwo) {
  // The carriage return is the 4,096th byte, the line feed would be the 4,097th: one line of 4,095.
  Document document(Pairs(), "# " + Repeated(4093) + "\r\nb 2\n");
  EXPECT_EQ(document.Written(), LineEnds("# " + Repeated(4093) + "\nb\t2\n"));
}

TEST(ConfigReadLongLines, ComeBackAsACommentAndALine_WhenTheyAreCommentedOut) {
  const std::string line = "a " + Repeated(4094);
  Document document(Pairs(), "a 1\n" + line + "\n");
  const std::string written = "a\t1\n# DUP a " + Repeated(4094) + "\n";
  EXPECT_EQ(document.Written(), LineEnds(written));
  Document again(Pairs(), written);
  // 4,096 bytes are the comment, the other six the next line.
  EXPECT_EQ(again.Written(), LineEnds("a\t1\n# DUP a " + Repeated(4088) + "\n# MIN xxxxxx\n"));
}

TEST(ConfigReadLongLines, GoOnBehindAByteZeroAsTheNextLine) {
  // Three bytes of text, the zero, and 4,092 that go with it; 908 are left.
  Document document(Pairs(), "# a" + std::string(1, '\0') + Repeated(5000) + "\nb 2\n");
  EXPECT_EQ(document.Written(), LineEnds("# a\n# MIN " + Repeated(908) + "\nb\t2\n"));
}

TEST(ConfigReadLongLines, OfAMegabyteArePieces) {
  Document document({}, Repeated(1048576) + "\nb\n");
  EXPECT_EQ(document.Lines(), "<" + Repeated(4096) + "> <b>");
  EXPECT_EQ(Config_CountSectionLines(document.get(), nullptr), 2u);
  std::string expected = Repeated(4096) + "\n";
  for (int i = 0; i < 255; ++i) expected += "# DUP " + Repeated(4096) + "\n";
  EXPECT_EQ(document.Written(), LineEnds(expected + "b\n"));
}

TEST(ConfigReadLongLines, MayBeAllSeparators) {
  Document document({}, Repeated(10000, ' ') + "a\n");
  EXPECT_EQ(document.Lines(), "<a>");
  EXPECT_EQ(document.Written(), LineEnds(Repeated(4096, ' ') + "\n" + Repeated(4096, ' ') + "\n" + "a\n"));
}

// ---- keys that repeat --------------------------------------------------------------------------

TEST(ConfigReadUnique, KeepsTheFirstLineAndMakesTheOthersComments) {
  Document document(Pairs(), "a 1\nA 2\nb 3\na 4 # x\n");
  EXPECT_EQ(document.Group("a"), "<a><1>");
  EXPECT_EQ(Config_CountSectionLines(document.get(), nullptr), 2u);
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# DUP A 2\nb\t3\n# DUP a 4 # x\n"));
}

TEST(ConfigReadUnique, TellsCaseApart_WhereItMatters) {
  Syntax syntax = Pairs();
  syntax.caseSensitive = true;
  Document document(syntax, "a 1\nA 2\na 3\n");
  EXPECT_EQ(document.Lines(), "<a><1> <A><2>");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nA\t2\n# DUP a 3\n"));
}

TEST(ConfigReadUnique, IgnoresTheCaseOfAsciiLettersOnly) {
  Document document(Pairs(), "\xC4z 1\n\xE4Z 2\n\xC4Z 3\n");
  EXPECT_EQ(document.Lines(), "<\xC4z><1> <\xE4Z><2>");
}

TEST(ConfigReadUnique, ComparesWholeKeys) {
  Document document(Pairs(), "ab 1\na 2\nabc 3\n");
  EXPECT_EQ(document.Lines(), "<ab><1> <a><2> <abc><3>");
}

TEST(ConfigReadUnique, DropsDuplicates_WhereCommentsAreStripped) {
  Syntax syntax = Pairs();
  syntax.stripsComments = true;
  Document document(syntax, "a 1\nA 2\nb 3\n");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nb\t3\n"));
}

TEST(ConfigReadUnique, DropsDuplicates_WithoutAMarker) {
  Syntax syntax = Pairs();
  syntax.lineComment = nullptr;
  Document document(syntax, "a 1\nA 2\nb 3\n");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nb\t3\n"));
}

TEST(ConfigReadUnique, CountsEachSectionForItself) {
  Document document(PairsInSections(), "a 1\n[s]\na 2\n[t]\na 3\n[s]\na 4\nb 5\n");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n[s]\na\t2\n# DUP a 4\nb\t5\n[t]\na\t3\n"));
}

TEST(ConfigReadUnique, HoldsOverSeveralFiles) {
  Document document(Pairs(), "a 1\n");
  document.Read("a 2\nb 3\n");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# DUP a 2\nb\t3\n"));
}

TEST(ConfigReadUnique, LetsLinesRepeat_WhenItIsOff) {
  Syntax syntax = Pairs();
  syntax.uniqueLines = false;
  Document document(syntax, "a 1\nb 2\nA 3\na 4\n");
  EXPECT_EQ(document.Group("a"), "<a><1> <A><3> <a><4>");
  EXPECT_EQ(Config_CountSectionLines(document.get(), nullptr), 4u);
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nb\t2\nA\t3\na\t4\n"));
}

// ---- sections ----------------------------------------------------------------------------------

TEST(ConfigReadSections, TakeTheFirstPlace_WhenTheFileBeginsWithAHeader) {
  Document document(PairsInSections(), "[s]\na 1\n[t]\nb 2\n");
  EXPECT_EQ(document.Sections(), "<[s]> <[t]>");
  EXPECT_EQ(document.Lines(), "<a><1>");
  EXPECT_EQ(Config_NextSection(document.get(), nullptr), document.Section("[s]"));
}

TEST(ConfigReadSections, LeaveTheFirstPlaceToWhatStandsBeforeThem) {
  for (const char* head : {"a 1\n", "# x\n", "\n"}) {
    Document document(PairsInSections(), std::string(head) + "[s]\nb 2\n");
    EXPECT_EQ(document.Sections(), "<> <[s]>") << head;
  }
}

TEST(ConfigReadSections, TakeTheFirstPlace_WhenWhatStandsBeforeThemIsDropped) {
  Syntax syntax = PairsInSections();
  syntax.stripsComments = true;
  Document document(syntax, "# x\n\n  # y\n[s]\nb 2\n");
  EXPECT_EQ(document.Sections(), "<[s]>");
}

TEST(ConfigReadSections, ContinueWhenTheirHeaderComesAgain) {
  Document document(PairsInSections(), "[s] 1 # x\na 1\n[t]\nb 2\n[s] 2 # y\nc 3\n# z\n[u]\nd 4\n");
  EXPECT_EQ(document.Lines(), "<a><1> <c><3>");
  EXPECT_EQ(document.Header(document.Section("[s]")), "<[s]><1>");
  // A new header stands behind the section that is current, not at the end.
  EXPECT_EQ(document.Written(), LineEnds("[s]\t1\t# x\na\t1\nc\t3\n# z\n[u]\nd\t4\n[t]\nb\t2\n"));
  EXPECT_EQ(document.Sections(), "<[s]><1> <[u]> <[t]>");
}

TEST(ConfigReadSections, TellCaseApart) {
  Document document(PairsInSections(), "[s]\na 1\n[S]\na 2\n");
  EXPECT_EQ(document.Sections(), "<[s]> <[S]>");
  EXPECT_EQ(document.AlphaSections(), "<[S]> <[s]>");
}

TEST(ConfigReadSections, FollowTheCurrentOne_WhenThatIsEmpty) {
  Document document(PairsInSections(), "[s]\n[t]\n[s]\n[u]\na 1\n");
  EXPECT_EQ(document.Written(), LineEnds("[s]\n[u]\na\t1\n[t]\n"));
}

TEST(ConfigReadSections, AreNotMadeOfRejectedHeaders) {
  Document document(PairsInSections(), "a 1\n[s] b c\nd 2\n");
  EXPECT_EQ(document.Sections(), "<>");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n# MAX [s] b c\nd\t2\n"));
}

TEST(ConfigReadSections, StartAgainWithTheFirst_WhenAnotherFileIsRead) {
  Document document(PairsInSections(), "a 1\n[s]\nb 2\n");
  document.Read("c 3\n[s]\nd 4\n[t]\ne 5\n");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\nc\t3\n[s]\nb\t2\nd\t4\n[t]\ne\t5\n"));
  Document headed(PairsInSections(), "[s]\nb 2\n[t]\n");
  headed.Read("c 3\n");
  EXPECT_EQ(headed.Written(), LineEnds("[s]\nb\t2\nc\t3\n[t]\n"));
}

TEST(ConfigReadSections, WithoutFieldsAreSectionsToo) {
  Syntax syntax = Pairs();
  syntax.sectionMethod = IsBracketedOrBlank;
  Document document(syntax, "a 1\n  \na 2\n \n[s]\na 3\n");
  // The second blank line begins an empty section. Only the first section gives its place to a header.
  EXPECT_EQ(document.Sections(), "<> <> <>");
  EXPECT_EQ(document.AlphaSections(), "<[s]>");
  ConfigSection* second = Config_NextSection(document.get(), Config_NextSection(document.get(), nullptr));
  EXPECT_EQ(document.Lines(second), "<a><2>");
  EXPECT_EQ(document.Written(), LineEnds("a\t1\na\t2\n[s]\na\t3\n"));
}

TEST(ConfigReadSections, WithoutFieldsTakeTheFirstPlace) {
  Syntax syntax = Pairs();
  syntax.sectionMethod = IsBracketedOrBlank;
  Document document(syntax, "  # x\n[s]\na 1\n");
  EXPECT_EQ(document.Sections(), "<[s]>");
  EXPECT_EQ(document.Written(), LineEnds("[s]\na\t1\n"));
}

TEST(ConfigReadSections, AreAsManyAsTheFileHas) {
  std::string text;
  for (int i = 0; i < 100000; ++i) {
    const std::string number = std::to_string(i);
    text += "[" + number + "]\nkey " + number + "\n";
  }
  std::string expected = text;
  for (char& c : expected) c = c == ' ' ? '\t' : c;
  Document document(PairsInSections(), text);
  uint32_t count = 0;
  for (ConfigSection* at = Config_NextSection(document.get(), nullptr); at != nullptr;
       at = Config_NextSection(document.get(), at)) {
    ASSERT_EQ(Config_CountSectionLines(document.get(), at), 1u);
    ++count;
  }
  EXPECT_EQ(count, 100000u);
  count = 0;
  for (ConfigSection* at = Config_NextAlphaSection(document.get(), nullptr); at != nullptr;
       at = Config_NextAlphaSection(document.get(), at)) {
    ++count;
  }
  EXPECT_EQ(count, 100000u);
  EXPECT_TRUE(document.Written() == LineEnds(expected));
}

// ---- running out of memory ---------------------------------------------------------------------

TEST(ConfigReadMemory, GivesAStatusAndLeaksNothing) {
  const TempDir directory;
  const std::string path = directory.Name("in");
  directory.Write("in", "# x\na 1\nab 2\n\na 3 # y\n[s] t\nb 4\nbc\n[s]\nbd 5\n[t]\nabc 6\n");
  FailEveryAllocation([&] {
    ConfigSpec* spec = NewSpec(PairsInSections());
    Config* config = Config_New(spec);
    if (config != nullptr) {
      const ErrorCode status = Config_Read(config, path.c_str());
      EXPECT_TRUE(status == Error_None || status == Error_Memory || status == Error_Fail) << status;
      // What was read can be walked, whatever was lost.
      for (ConfigSection* at = Config_NextSection(config, nullptr); at != nullptr;
           at = Config_NextSection(config, at)) {
        for (ConfigLine* line = Config_FirstLine(config, at); line != nullptr;
             line = Config_NextLine(config, line)) {
          EXPECT_NE(Config_GetFields(config, line), nullptr);
        }
      }
    }
    Config_Delete(config);
    ConfigSpec_Delete(spec);
  });
}

TEST(ConfigReadMemory, StopsAtTheFirstLineThatCannotBeAdded) {
  Document document(Pairs());
  document.directory().Write("in", "a 1\nb 2\nc 3\n");
  const std::string path = document.directory().Name("in");
  bool hasStopped = false;
  for (int64_t n = 1; n <= 100; ++n) {
    Config_Empty(document.get());
    iMemory_FailAllocation(n);
    const ErrorCode status = Config_Read(document.get(), path.c_str());
    const bool untouched = iMemory_AllocationsUntilFailure() > 0;
    iMemory_FailAllocation(0);
    if (untouched) break;
    if (status == Error_None) continue;  // what failed was not needed
    const std::string lines = document.Lines();
    hasStopped = hasStopped || lines == "<a><1>";
    EXPECT_TRUE(lines.empty() || lines == "<a><1>" || lines == "<a><1> <b><2>") << lines;
  }
  EXPECT_TRUE(hasStopped);
}

}  // namespace
