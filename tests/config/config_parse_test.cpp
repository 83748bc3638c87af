// What becomes of one line: fields, comments, headers, rejected lines. Every row is read from a file and
// added by Config_Print; both must agree.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/config/config_fixture.h"

namespace {

std::string WithComment(const char* comment) {
  return comment != nullptr ? std::string(" #<") + comment + ">" : "";
}

// What a document that took one line holds: "line <a><b> #< comment>", "section <a>", "kept ...", "nothing".
std::string Describe(Document& document) {
  Config* config = document.get();
  ConfigSection* first = Config_NextSection(config, nullptr);
  if (Config_CountSectionFields(config, first) != 0) return "section " + document.Header(first);
  if (const ConfigLine* line = Config_FirstLine(config, nullptr); line != nullptr) {
    return "line " + document.Fields(line) + WithComment(Config_GetComment(config, line));
  }
  const std::string bytes = document.Written();
  if (bytes.empty()) return "nothing";
  const std::string end = LineEnds("\n");
  EXPECT_EQ(bytes.substr(bytes.size() - end.size()), end);
  return "kept " + bytes.substr(0, bytes.size() - end.size());
}

std::string TakenByRead(const Syntax& syntax, const std::string& text) {
  Document document(syntax, text + "\n");
  return Describe(document);
}

std::string TakenByPrint(const Syntax& syntax, const std::string& text) {
  Document document(syntax);
  ConfigLine* line = document.Print(text);
  EXPECT_EQ(line, Config_FirstLine(document.get(), nullptr)) << text;
  return Describe(document);
}

struct Row {
  const char* text;
  const char* taken;
};

void ExpectTaken(const Syntax& syntax, const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    EXPECT_EQ(TakenByRead(syntax, row.text), row.taken) << "reading '" << row.text << "'";
    EXPECT_EQ(TakenByPrint(syntax, row.text), row.taken) << "printing '" << row.text << "'";
  }
}

// ---- comments and blank lines ------------------------------------------------------------------

TEST(ConfigParseComment, IsKeptAsItStands_AtTheBeginningOnly) {
  ExpectTaken(Pairs(), {{"# a b", "kept # a b"},
                        {"#", "kept #"},
                        {"##", "kept ##"},
                        {"#a b  ", "kept #a b  "},
                        {" # a b", "kept  # a b"},
                        {"\t#", "kept \t#"},
                        {"", "kept "},
                        {"   ", "kept    "},
                        {" \t ", "kept  \t "}});
}

TEST(ConfigParseComment, FollowsTheFieldsUntrimmed) {
  ExpectTaken(Pairs(), {{"a 1 # b", "line <a><1> #< b>"},
                        {"a 1#b", "line <a><1> #<b>"},
                        {"a 1 #  b\t ", "line <a><1> #<  b\t >"},
                        {"a 1 #", "line <a><1> #<>"},
                        {"a 1", "line <a><1>"},
                        {" a\t1 ## b # c", "line <a><1> #<# b # c>"}});
}

TEST(ConfigParseComment, BeginsAtTheFirstMarkerAnywhere) {
  ExpectTaken(
      Pairs(),
      {{"a x#y", "line <a><x> #<y>"}, {"a \"#1\" b", "line <a><\"> #<1\" b>"}, {"a# 1", "kept # MIN a# 1"}});
}

TEST(ConfigParseComment, HasAMarkerOfSeveralCharacters) {
  Syntax syntax = Pairs();
  syntax.lineComment = "//";
  ExpectTaken(syntax, {{"// a b", "kept // a b"},
                       {"/ b", "line </><b>"},
                       {"a /b", "line <a></b>"},
                       {"a /b/c//d", "line <a></b/c> #<d>"},
                       {"a b///c", "line <a><b> #</c>"},
                       {"a // b", "kept // MIN a // b"},
                       {"a # b", "kept // MAX a # b"}});
}

TEST(ConfigParseComment, HasAMarkerOfFifteenCharacters) {
  Syntax syntax = Pairs();
  syntax.lineComment = "<!-- comment ->";
  ExpectTaken(syntax, {{"<!-- comment -> a", "kept <!-- comment -> a"},
                       {"a 1 <!-- comment ->b", "line <a><1> #<b>"},
                       {"a <!-- comment ", "kept <!-- comment -> MAX a <!-- comment "},
                       {"a", "kept <!-- comment -> MIN a"}});
}

TEST(ConfigParseComment, HasAMarkerThatMayBeLongerThanTheLine) {
  Syntax syntax;
  syntax.lineComment = "###############";  // 15
  ExpectTaken(syntax, {{"a", "line <a>"},
                       {"##############", "line <##############>"},
                       {"###############", "kept ###############"},
                       {"a b", "kept ############### MAX a b"}});
}

TEST(ConfigParseComment, HasNone_WithoutAMarker) {
  Syntax syntax = Pairs();
  syntax.lineComment = "";
  ExpectTaken(syntax, {{"a #1", "line <a><#1>"},
                       {"# 1", "line <#><1>"},
                       {"", "nothing"},
                       {"  ", "nothing"},
                       {"a", "nothing"},
                       {"a b c", "nothing"}});
}

TEST(ConfigParseComment, IsDropped_WhereCommentsAreStripped) {
  Syntax syntax = Pairs();
  syntax.stripsComments = true;
  ExpectTaken(syntax, {{"# a", "nothing"},
                       {"#", "nothing"},
                       {"", "nothing"},
                       {"  ", "nothing"},
                       {"  # a", "nothing"},
                       {"a 1 # b", "line <a><1>"},
                       {"a 1#", "line <a><1>"},
                       {"a # 1", "kept # MIN a # 1"},
                       {"a", "kept # MIN a"},
                       {"a b c # d", "kept # MAX a b c # d"}});
}

// ---- too few and too many ----------------------------------------------------------------------

TEST(ConfigParseCount, RejectsWithAReasonBeforeTheLineAsRead) {
  ExpectTaken(Pairs(), {{"key value extra", "kept # MAX key value extra"},
                        {"key", "kept # MIN key"},
                        {"  key  ", "kept # MIN   key  "},
                        {"\ta\tb\tc # d ", "kept # MAX \ta\tb\tc # d "},
                        {"a # b", "kept # MIN a # b"}});
}

TEST(ConfigParseCount, TakesWhatLiesBetweenTheMinimumAndTheMaximum) {
  Syntax syntax;
  syntax.minFields = 2;
  syntax.maxFields = 4;
  ExpectTaken(syntax, {{"a", "kept # MIN a"},
                       {"a b", "line <a><b>"},
                       {"a b c", "line <a><b><c>"},
                       {"a b c d", "line <a><b><c><d>"},
                       {"a b c d ", "line <a><b><c><d>"},
                       {"a b c d e", "kept # MAX a b c d e"}});
}

TEST(ConfigParseCount, HasOneFieldByDefault) {
  ExpectTaken({}, {{"a", "line <a>"}, {" a ", "line <a>"}, {"a b", "kept # MAX a b"}, {"  ", "kept   "}});
}

TEST(ConfigParseCount, HasNoDataLineWithoutFields_EvenWhenNoneIsDemanded) {
  Syntax syntax;
  syntax.minFields = 0;
  ExpectTaken(syntax, {{"  ", "kept   "}, {"  # a", "kept   # a"}, {"a", "line <a>"}});
}

TEST(ConfigParseCount, RejectsEveryField_WhenNoneIsAllowed) {
  Syntax syntax;
  syntax.maxFields = 0;
  ExpectTaken(syntax, {{"a", "kept # MAX a"}, {"  ", "kept   "}, {"#", "kept #"}});
  syntax.grabsLastField = true;
  ExpectTaken(syntax, {{"a", "kept # MAX a"}, {" a b", "kept # MAX  a b"}});
  syntax.delimiter = ';';
  ExpectTaken(syntax, {{"a", "kept # MAX a"}, {"  ", "kept # MAX   "}});
}

TEST(ConfigParseCount, RejectsWhatHasMoreFieldsThanItMustHaveAtMost) {
  Syntax syntax;
  syntax.minFields = 3;
  syntax.maxFields = 2;
  ExpectTaken(syntax, {{"a", "kept # MIN a"}, {"a b", "kept # MIN a b"}, {"a b c", "kept # MAX a b c"}});
}

TEST(ConfigParseCount, HasRoomForManyFields) {
  for (const uint32_t maxFields : {15u, 16u, 17u, 40u, 4294967295u}) {
    Syntax syntax;
    syntax.minFields = 15;
    syntax.maxFields = maxFields;
    ExpectTaken(syntax, {{"1 2 3 4 5 6 7 8 9 10 11 12 13 14 15",
                          "line <1><2><3><4><5><6><7><8><9><10><11><12><13><14><15>"}});
  }
  Syntax syntax;
  syntax.maxFields = 4294967295;
  ExpectTaken(syntax, {{"1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18",
                        "line <1><2><3><4><5><6><7><8><9><10><11><12><13><14><15><16><17><18>"}});
  syntax.maxFields = 17;
  ExpectTaken(syntax, {{"1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18",
                        "kept # MAX 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18"}});
}

TEST(ConfigParseCount, HasRoomForAsManyFieldsAsALineCanHold) {
  std::string text;
  std::string taken = "line ";
  for (int i = 0; i < 2048; ++i) {
    text += ",";
    taken += "<>";
  }
  taken += "<>";
  Syntax syntax;
  syntax.delimiter = ',';
  syntax.maxFields = 4294967295;
  EXPECT_EQ(TakenByRead(syntax, text), taken);
  EXPECT_EQ(TakenByPrint(syntax, text), taken);
}

// ---- separators without a delimiter ------------------------------------------------------------

TEST(ConfigParseRuns, AreSplitAtAnyNumberOfSeparators) {
  ExpectTaken(Pairs(), {{"a b", "line <a><b>"},
                        {"a\tb", "line <a><b>"},
                        {" \t a \t b \t ", "line <a><b>"},
                        {"a,b c;d", "line <a,b><c;d>"},
                        {"a\rb", "line <a><b>"}});
}

TEST(ConfigParseRuns, AreSplitAtTheCharactersOfTheSpecOnly) {
  Syntax syntax = Pairs();
  syntax.notField = ",;";
  ExpectTaken(syntax, {{"a b,c", "line <a b><c>"},
                       {",;a;;,b,", "line <a><b>"},
                       {"a b", "kept # MIN a b"},
                       {",;,", "kept ,;,"},
                       {"a, b", "line <a>< b>"}});
}

TEST(ConfigParseRuns, TakesBytesOverOneHundredTwentySeven) {
  ExpectTaken(Pairs(), {{"\xC3\xA4 \xFF", "line <\xC3\xA4><\xFF>"}});
  Syntax syntax = Pairs();
  syntax.notField = "\xFF";
  ExpectTaken(syntax, {{"a\xFF\xFF"
                        "b",
                        "line <a><b>"}});
}

TEST(ConfigParseRuns, LetsTheLastFieldTakeTheRest_WithTheSeparatorsBeforeIt) {
  Syntax syntax = Pairs();
  syntax.grabsLastField = true;
  ExpectTaken(syntax, {{"a b", "line <a>< b>"},
                       {"a b c", "line <a>< b c>"},
                       {"  a \t b  c ", "line <a>< \t b  c >"},
                       {"a", "kept # MIN a"},
                       {"a ", "line <a>< >"},
                       {"a b # c", "line <a>< b > #< c>"},
                       {"  ", "kept   "}});
}

TEST(ConfigParseRuns, LetsTheLastOfThreeTakeTheRest) {
  Syntax syntax;
  syntax.maxFields = 3;
  syntax.grabsLastField = true;
  ExpectTaken(syntax, {{"a b c d", "line <a><b>< c d>"}, {"a b", "line <a><b>"}, {"a", "line <a>"}});
}

TEST(ConfigParseRuns, LetsAnOnlyFieldTakeTheWholeLine) {
  Syntax syntax;
  syntax.grabsLastField = true;
  ExpectTaken(syntax, {{" a b ", "line < a b >"},
                       {"a", "line <a>"},
                       {"   ", "line <   >"},
                       {"  # a", "line <  > #< a>"},
                       {"# a", "kept # a"},
                       {"", "kept "}});
}

// ---- a delimiter -------------------------------------------------------------------------------

Syntax Delimited() {
  Syntax syntax;
  syntax.delimiter = ';';
  syntax.notField = " \t";
  syntax.maxFields = 3;
  return syntax;
}

TEST(ConfigParseDelimiter, SplitsAndTrims) {
  ExpectTaken(Delimited(), {{"a;b;c", "line <a><b><c>"},
                            {" a ;\tb b ; c\t", "line <a><b b><c>"},
                            {"a", "line <a>"},
                            {" a b ", "line <a b>"},
                            {"a;b # c", "line <a><b> #< c>"},
                            {"a#;b", "line <a> #<;b>"},
                            {"# a;b", "kept # a;b"}});
}

TEST(ConfigParseDelimiter, KeepsEmptyFields) {
  ExpectTaken(Delimited(), {{"a;;c", "line <a><><c>"},
                            {";b", "line <><b>"},
                            {"a;", "line <a><>"},
                            {"a;b;", "line <a><b><>"},
                            {";", "line <><>"},
                            {" ; ; ", "line <><><>"},
                            {"   ", "line <>"},
                            {"  # a", "line <> #< a>"},
                            {"", "kept "}});
}

TEST(ConfigParseDelimiter, RejectsTooMany) {
  ExpectTaken(
      Delimited(),
      {{"a;b;c;d", "kept # MAX a;b;c;d"}, {"a;b;c;", "kept # MAX a;b;c;"}, {";;;", "kept # MAX ;;;"}});
}

TEST(ConfigParseDelimiter, RejectsTooFew) {
  Syntax syntax = Delimited();
  syntax.minFields = 2;
  ExpectTaken(
      syntax,
      {{"a", "kept # MIN a"}, {"  ", "kept # MIN   "}, {"  # a", "kept # MIN   # a"}, {"a;", "line <a><>"}});
}

TEST(ConfigParseDelimiter, TrimsNothing_WithoutSeparators) {
  Syntax syntax = Delimited();
  syntax.notField = "";
  ExpectTaken(syntax, {{" a ; b ", "line < a >< b >"}, {"  ", "line <  >"}, {"a; #b", "line <a>< > #<b>"}});
}

TEST(ConfigParseDelimiter, SplitsBeforeItTrims) {
  Syntax syntax = Delimited();
  syntax.delimiter = '\t';
  ExpectTaken(syntax, {{"a\t b\tc ", "line <a><b><c>"}, {"\ta", "line <><a>"}, {"a\t\tb", "line <a><><b>"}});
}

TEST(ConfigParseDelimiter, LetsTheLastFieldTakeTheRestTrimmed) {
  Syntax syntax = Delimited();
  syntax.grabsLastField = true;
  ExpectTaken(syntax, {{"a;b;c;d;e", "line <a><b><c;d;e>"},
                       {"a;b; c ; d ", "line <a><b><c ; d>"},
                       {"a;b;", "line <a><b><>"},
                       {"a;b;;", "line <a><b><;>"},
                       {"a;b", "line <a><b>"},
                       {"a;b;c # d", "line <a><b><c> #< d>"}});
  syntax.notField = "";
  ExpectTaken(syntax, {{"a;b; c ; d ", "line <a><b>< c ; d >"}});
  syntax.notField = " ";
  syntax.maxFields = 1;
  ExpectTaken(syntax, {{" a;b ", "line <a;b>"}, {"  ", "line <>"}});
}

TEST(ConfigParseDelimiter, CanBeAByteOverOneHundredTwentySeven) {
  Syntax syntax = Delimited();
  syntax.delimiter = '\xA7';
  ExpectTaken(syntax, {{"a \xA7 b", "line <a><b>"}, {"a;b", "line <a;b>"}});
}

TEST(ConfigParseDelimiter, MayBeOneOfTheSeparators) {
  Syntax syntax = Delimited();
  syntax.delimiter = ',';
  syntax.notField = ", ";
  syntax.maxFields = 4;
  ExpectTaken(syntax, {{" a , ,b,", "line <a><><b><>"}, {",,", "line <><><>"}, {" ", "line <>"}});
}

TEST(ConfigParseDelimiter, GivesWayToACommentMarkerThatIsTheSame) {
  Syntax syntax = Delimited();
  syntax.lineComment = ";";
  ExpectTaken(syntax, {{"a;b;c", "line <a> #<b;c>"}, {";a", "kept ;a"}, {"a", "line <a>"}});
}

TEST(ConfigParseDelimiter, CanBeALineFeed_InTextsThatArePrinted) {
  Syntax syntax = Delimited();
  syntax.delimiter = '\n';
  EXPECT_EQ(TakenByPrint(syntax, "a\n b \n"), "line <a><b><>");
  EXPECT_EQ(TakenByPrint(syntax, "a\nb\nc\nd"), LineEnds("kept # MAX a\nb\nc\nd"));
  ExpectTaken(syntax, {{"a b", "line <a b>"}});
}

// ---- neither -----------------------------------------------------------------------------------

TEST(ConfigParseWhole, IsOneField_WithNeitherDelimiterNorSeparators) {
  Syntax syntax;
  syntax.notField = "";
  ExpectTaken(syntax, {{"a b;c\td ", "line <a b;c\td >"},
                       {"  ", "line <  >"},
                       {"a # b", "line <a > #< b>"},
                       {" # b", "line < > #< b>"},
                       {"# b", "kept # b"},
                       {"", "kept "}});
  syntax.grabsLastField = true;
  ExpectTaken(syntax, {{" a b ", "line < a b >"}});
  syntax.minFields = 2;
  ExpectTaken(syntax, {{"a b", "kept # MIN a b"}});
}

TEST(ConfigParseWhole, IsOneField_EvenWhenNoneIsAllowed) {
  Syntax syntax;
  syntax.notField = "";
  syntax.maxFields = 0;
  ExpectTaken(syntax, {{"a b", "line <a b>"}});
}

// ---- section headers ---------------------------------------------------------------------------

TEST(ConfigParseSection, IsAskedBetweenTheMaximumAndTheMinimum) {
  Syntax syntax = Pairs();
  syntax.sectionMethod = IsBracketed;
  ExpectTaken(syntax, {{"[a]", "section <[a]>"},
                       {" [a] b # c", "section <[a]><b>"},
                       {"[a] b c", "kept # MAX [a] b c"},
                       {"a [b]", "line <a><[b]>"},
                       {"#[a]", "kept #[a]"},
                       {"a", "kept # MIN a"}});
}

std::vector<std::string>* asked;
int32_t Record(uint32_t fieldCount, const char* const* fields) {
  asked->push_back(Join(fieldCount, fields));
  return 0;
}

TEST(ConfigParseSection, IsAskedWithTheFieldsOfEveryLineThatHasText) {
  std::vector<std::string> lines;
  asked = &lines;
  Syntax syntax = Pairs();
  syntax.sectionMethod = Record;
  Document document(syntax, "a 1 # x\n\n# b\n   \n  # c\nd\ne f g\n");
  EXPECT_EQ(lines, (std::vector<std::string>{"<a><1>", "", "", "<d>"}));
}

int32_t sectionResult;
int32_t GiveResult(uint32_t, const char* const*) {
  return sectionResult;
}

TEST(ConfigParseSection, IsOneForTheResultOneOnly) {
  Syntax syntax;
  syntax.sectionMethod = GiveResult;
  for (const int32_t result : {0, 2, -1, 257}) {
    sectionResult = result;
    ExpectTaken(syntax, {{"a", "line <a>"}});
  }
  sectionResult = 1;
  ExpectTaken(syntax, {{"a", "section <a>"}});
}

TEST(ConfigParseSection, IsNone_WithoutAMethod) {
  ExpectTaken({}, {{"[a]", "line <[a]>"}});
}

// ---- texts that are printed --------------------------------------------------------------------

TEST(ConfigParsePrint, LeavesItsTextAlone) {
  Document document(Pairs());
  char text[] = " a\t1 # b";
  ASSERT_EQ(Config_Print(document.get(), nullptr, text, nullptr), Error_None);
  EXPECT_STREQ(text, " a\t1 # b");
}

TEST(ConfigParsePrint, TakesALineFeedForASeparator_AndKeepsItInComments) {
  EXPECT_EQ(TakenByPrint(Pairs(), "a\n1"), "line <a><1>");
  EXPECT_EQ(TakenByPrint(Pairs(), "# a\nb"), LineEnds("kept # a\nb"));
  EXPECT_EQ(TakenByPrint(Pairs(), "a 1 # x\ny"), "line <a><1> #< x\ny>");
}

}  // namespace
