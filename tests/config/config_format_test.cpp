// How records are written: the columns, typed by hand.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/config/config_fixture.h"

namespace {

struct Row {
  const char* read;
  const char* written;
};

void ExpectWritten(const Syntax& syntax, const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    Document document(syntax, row.read);
    EXPECT_EQ(document.Written(), LineEnds(row.written)) << row.read;
  }
}

Syntax UpTo(uint32_t maxFields, const char* notField = "\t \n\r", char delimiter = 0) {
  Syntax syntax;
  syntax.maxFields = maxFields;
  syntax.notField = notField;
  syntax.delimiter = delimiter;
  return syntax;
}

// ---- tabs --------------------------------------------------------------------------------------

// The width of the column is that of its longest field. Behind a column of 1, 2 ... 9 characters the next one
// begins at 2, 4, 6, 8, 6, 8, 10, 12, 10 with tabs of 4; tabs count what is missing, rounded up.
TEST(ConfigFormatTabs, FillUpToTheTargetOfTheWidth) {
  ExpectWritten(UpTo(2), {
                             {"a 1\n", "a\t1\n"},
                             {"aa 1\nb 2\n", "aa\t1\nb\t2\n"},
                             {"aaa 1\nbb 2\nc 3\n", "aaa\t1\nbb\t2\nc\t\t3\n"},
                             {"aaaa 1\nbbb 2\ncc 3\nd 4\n", "aaaa\t1\nbbb\t\t2\ncc\t\t3\nd\t\t4\n"},
                             {"aaaaa 1\nbbbb 2\ncc 3\nd 4\n", "aaaaa\t1\nbbbb\t2\ncc\t3\nd\t\t4\n"},
                             {"aaaaaa 1\nbbbb 2\nccc 3\nd 4\n", "aaaaaa\t1\nbbbb\t2\nccc\t\t3\nd\t\t4\n"},
                             {"aaaaaaa 1\nbbbbbb 2\nccccc 3\ndd 4\ne 5\n",
                              "aaaaaaa\t1\nbbbbbb\t2\nccccc\t\t3\ndd\t\t4\ne\t\t\t5\n"},
                             {"aaaaaaaa 1\nbbbbbbb 2\ncccc 3\nddd 4\ne 5\n",
                              "aaaaaaaa\t1\nbbbbbbb\t\t2\ncccc\t\t3\nddd\t\t\t4\ne\t\t\t5\n"},
                             {"aaaaaaaaa 1\nb 2\n", "aaaaaaaaa\t1\nb\t\t\t2\n"},
                         });
}

TEST(ConfigFormatTabs, HaveTheSizeOfTheSpec) {
  Syntax syntax = UpTo(2);
  syntax.tabSize = 8;  // 10 -> 12; 8 -> 16
  ExpectWritten(syntax, {{"aaaaaaaaaa 1\nbbbb 2\nccc 3\n", "aaaaaaaaaa\t1\nbbbb\t2\nccc\t\t3\n"},
                         {"aaaaaaaa 1\nbbbbbbb 2\nc 3\n", "aaaaaaaa\t1\nbbbbbbb\t\t2\nc\t\t3\n"}});
  syntax.tabSize = 3;  // 4 -> 5; 3 -> 6
  ExpectWritten(
      syntax, {{"aaaa 1\nbb 2\nc 3\n", "aaaa\t1\nbb\t2\nc\t\t3\n"}, {"aaa 1\nbb 2\n", "aaa\t1\nbb\t\t2\n"}});
  for (const uint32_t tabSize : {1u, 0u}) {  // 3 -> 4
    syntax.tabSize = tabSize;
    ExpectWritten(syntax, {{"aaa 1\nb 2\n", "aaa\t1\nb\t\t\t2\n"}});
  }
  syntax.tabSize = 4294967295u;  // 3 -> 6: one tab
  ExpectWritten(syntax, {{"aaa 1\nb 2\n", "aaa\t1\nb\t2\n"}});
}

TEST(ConfigFormatTabs, FillEveryColumnButTheLast) {
  ExpectWritten(UpTo(3), {{"a bbbb c\naaaa b cc\nx\n", "a\t\tbbbb\tc\naaaa\tb\t\tcc\nx\n"},
                          {"a b\na b c\naaaa\n", "a\t\tb\n# DUP a b c\naaaa\n"}});
}

TEST(ConfigFormatTabs, FillTheLastColumnBeforeAComment) {
  ExpectWritten(UpTo(2), {{"a 1 # x\n", "a\t1\t# x\n"},
                          {"a 1#x\nb 2222\n", "a\t1\t\t#x\nb\t2222\n"},
                          {"a 1111#x\nb 2#\n", "a\t1111\t#x\nb\t2\t\t#\n"},
                          {"a # x\nbb 11\n", "a\t# x\nbb\t11\n"}});
}

// A delimiter adds one to the target of every field but the last.
TEST(ConfigFormatTabs, StandBeforeTheDelimiter) {
  ExpectWritten(UpTo(3, "\t ", ';'), {{"a;b\n", "a\t;b\n"},
                                      {"aaaa;1\n", "aaaa\t\t;1\n"},
                                      {"aaaaa;1\nbb;2\nc;3\n", "aaaaa\t;1\nbb\t\t;2\nc\t\t;3\n"},
                                      {"aaaaaaaa;1\nbbbbb;2\n", "aaaaaaaa\t\t;1\nbbbbb\t\t;2\n"},
                                      {"a;1111#x\nb;2;3\n", "a\t;1111\t#x\nb\t;2\t\t;3\n"},
                                      {";;\n", "\t\t;\t\t;\n"},
                                      {"a;\n", "a\t;\n"}});
}

TEST(ConfigFormatTabs, StandBeforeTheCommentOfALastFieldWithoutADelimiter) {
  // 4 -> 8, 1 -> 2, and no more though there is a delimiter.
  ExpectWritten(UpTo(2, "\t ", ';'), {{"a;1111#x\nb;22#y\n", "a\t;1111\t#x\nb\t;22\t\t#y\n"},
                                      {"a#x\n", "a\t#x\n"},
                                      {"aaaa#x\nb;1\n", "aaaa\t#x\nb\t\t;1\n"}});
}

TEST(ConfigFormatTabs, AreUsedWhenTheyComeFirst) {
  ExpectWritten(UpTo(2, "\t"), {{"a\t1\n", "a\t1\n"}});
  ExpectWritten(UpTo(2, "\t,"), {{"a,1\n", "a\t1\n"}});
  ExpectWritten(UpTo(2, " \t"), {{"a\t1\n", "a 1\n"}});
}

// ---- other characters --------------------------------------------------------------------------

TEST(ConfigFormatBlanks, FillUpToTheWidthAndOneMore) {
  ExpectWritten(UpTo(3, " \t"), {{"a 1\n", "a 1\n"},
                                 {"a 1\nbbbb 2\n", "a    1\nbbbb 2\n"},
                                 {"a 11 x\nbb 2 y\n", "a  11 x\nbb 2  y\n"},
                                 {"a 1#x\nbb 222 # y\n", "a  1   #x\nbb 222 # y\n"}});
}

TEST(ConfigFormatBlanks, FillUpToTheWidth_BeforeADelimiter) {
  ExpectWritten(UpTo(3, " ", ';'), {{"a;1\n", "a;1\n"},
                                    {"a;1\nbbbb;2\n", "a   ;1\nbbbb;2\n"},
                                    {"a;11;x\nbb;2;y\n", "a ;11;x\nbb;2 ;y\n"},
                                    {"a;1#x\nbb;222#y\n", "a ;1  #x\nbb;222#y\n"},
                                    {";;\na;bb;\n", " ;  ;\na;bb;\n"}});
}

TEST(ConfigFormatBlanks, MayBeAnyCharacter) {
  ExpectWritten(UpTo(2, "."), {{"a.1\nbbb.2\n", "a...1\nbbb.2\n"}});
  ExpectWritten(UpTo(2, "\xB7"), {{"a\xB7"
                                   "1\nbbb\xB7"
                                   "2\n",
                                   "a\xB7\xB7\xB7"
                                   "1\nbbb\xB7"
                                   "2\n"}});
}

// ---- nothing to fill with ----------------------------------------------------------------------

TEST(ConfigFormatUnpadded, JoinsTheFieldsWithTheDelimiter) {
  ExpectWritten(UpTo(3, "", ';'),
                {{"a;1\nbbbb;2;\n", "a;1\nbbbb;2;\n"}, {" a ; b #c\n", " a ; b #c\n"}, {";;\n", ";;\n"}});
}

TEST(ConfigFormatUnpadded, RunsTheFieldsTogether_WithoutADelimiterToo) {
  Document document(UpTo(3), "a bb c # d\n");
  ConfigSpec_SetNotField(document.spec(), nullptr);
  EXPECT_EQ(document.Written(), LineEnds("abbc# d\n"));
}

TEST(ConfigFormatUnpadded, WritesAWholeLineBack) {
  ExpectWritten(UpTo(1, ""), {{"a b;c\n \n# d\nx #y\n", "a b;c\n \n# d\nx #y\n"}});
}

// ---- records that are no data ------------------------------------------------------------------

TEST(ConfigFormatComment, IsWrittenAsItStands) {
  ExpectWritten(Pairs(), {{"# a  b\t\n\n  \n\t# c\n", "# a  b\t\n\n  \n\t# c\n"},
                          {"key value extra\nkey\n", "# MAX key value extra\n# MIN key\n"}});
}

TEST(ConfigFormatComment, DoesNotWidenColumns) {
  ExpectWritten(Pairs(), {{"a 1\nlonger\nlongest of all\n", "a\t1\n# MIN longer\n# MAX longest of all\n"}});
}

TEST(ConfigFormatComment, HasTheMarkerOfTheSpec) {
  Syntax syntax = Pairs();
  syntax.lineComment = "//";
  ExpectWritten(syntax, {{"a 1 // b\nc\n", "a\t1\t// b\n// MIN c\n"}});
}

TEST(ConfigFormatComment, IsWrittenWithoutAMarker_WhenTheSpecHasLostIt) {
  Document document(Pairs(), "a 1 # b\n");
  ConfigSpec_SetLineComment(document.spec(), nullptr);
  EXPECT_EQ(document.Written(), LineEnds("a\t1\t b\n"));
}

// ---- section headers ---------------------------------------------------------------------------

TEST(ConfigFormatHeader, StandsInTheColumnsOfTheDataLines) {
  Syntax syntax = UpTo(3);
  syntax.sectionMethod = IsBracketed;
  ExpectWritten(syntax, {{"[s] x\naaaaa 1\n", "[s]\tx\naaaaa\t1\n"},
                         {"[s] x y # z\naaaaaaaa 1111 2\nb 2\n",
                          "[s]\t\t\tx\t\ty\t# z\naaaaaaaa\t1111\t2\nb\t\t\t2\n"}});
  syntax.notField = " ";
  ExpectWritten(syntax, {{"[s] x#y\naaaaa 1\n", "[s]   x #y\naaaaa 1\n"}});
  syntax.delimiter = ';';
  ExpectWritten(syntax, {{"[s];x#y\naaaaa;1\n", "[s]  ;x#y\naaaaa;1\n"}});
}

// Columns are those of data lines. A header that is wider keeps one separator.
TEST(ConfigFormatHeader, KeepsItsFieldsApart_WhenItIsWiderThanTheColumn) {
  Syntax syntax = UpTo(3);
  syntax.sectionMethod = IsBracketed;
  ExpectWritten(syntax, {{"[section] x # y\na 1\n", "[section]\tx\t# y\na\t1\n"},
                         {"[section] long#y\na 1\n", "[section]\tlong#y\na\t1\n"},
                         {"[s] x\n", "[s]\tx\n"},
                         {"[s] x#y\n", "[s]\tx\t#y\n"},
                         {"[section] second third\n", "[section]\tsecond\tthird\n"}});
  syntax.notField = " ";
  ExpectWritten(syntax, {{"[section] x#y\na 1\n", "[section] x #y\na 1\n"},
                         {"[s] long#y\na 1\n", "[s] long#y\na 1\n"},
                         {"[s] x y\n", "[s] x y\n"}});
}

TEST(ConfigFormatHeader, NeedsNoSeparator_WhereThereIsADelimiter) {
  Syntax syntax = UpTo(3, "\t ", ';');
  syntax.sectionMethod = IsBracketed;
  // Columns of 1: the second field begins at 3.
  ExpectWritten(syntax, {{"[section];long;x#y\na;1\n", "[section];long;x\t#y\na\t;1\n"}});
  syntax.notField = " ";
  ExpectWritten(syntax, {{"[section];long;x#y\na;1\n", "[section];long;x#y\na;1\n"}});
}

TEST(ConfigFormatHeader, OfNoFieldsIsNotWritten) {
  Syntax syntax = Pairs();
  syntax.sectionMethod = IsBracketedOrBlank;
  ExpectWritten(syntax, {{"a 1\n  # x\nb 2\n", "a\t1\nb\t2\n"}});
  ExpectWritten(Pairs(), {{"", ""}});
}

// ---- columns over the whole document -----------------------------------------------------------

TEST(ConfigFormatColumns, AreThoseOfAllSections) {
  Syntax syntax = PairsInSections();
  ExpectWritten(syntax,
                {{"a 1\n[s]\nbbbbbbbb 2\n[t]\nccc 3\n", "a\t\t\t1\n[s]\nbbbbbbbb\t2\n[t]\nccc\t\t\t3\n"}});
}

TEST(ConfigFormatColumns, ShrinkWhenTheirWidestLineIsRemoved) {
  Document document(Pairs(), "a 1\nbbbbbbbb 2\n");
  Config_RemoveLine(document.get(), document.Find("bbbbbbbb"));
  EXPECT_EQ(document.Written(), LineEnds("a\t1\n"));
}

TEST(ConfigFormatColumns, AreAsManyAsTheLinesHave_WhateverTheMaximum) {
  ExpectWritten(UpTo(4294967295u), {{"a b c d\naa b cccc\n", "a\tb\tc\t\td\naa\tb\tcccc\n"}});
  Document document(UpTo(40),
                    "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20\n"
                    "a b c d e f g h i j k l m n o p q r s ttttt # x\n");
  EXPECT_EQ(document.Written(),
            LineEnds("1\t2\t3\t4\t5\t6\t7\t8\t9\t10\t11\t12\t13\t14\t15\t16\t17\t18\t19\t20\n"
                     "a\tb\tc\td\te\tf\tg\th\ti\tj\tk\tl\tm\tn\to\tp\tq\tr\ts\tttttt\t# x\n"));
}

// The line's own texts are data, never a format.
TEST(ConfigFormat, WritesPercentSignsAsTheyAre) {
  ExpectWritten(Pairs(), {{"%s %n # %d\n# %s%s%s\n%x\n", "%s\t%n\t# %d\n# %s%s%s\n# MIN %x\n"}});
}

TEST(ConfigFormat, WritesTheSameWhenItIsReadAgain) {
  Syntax syntax;
  syntax.maxFields = 3;
  syntax.sectionMethod = IsBracketed;
  const std::string text = "x\n# c\n\n[s]\ty\t# z\naaaaa\tb\nc\t\td\te\t# f\n[t]\n";
  Document first(syntax, text);
  const std::string written = first.Written();
  Document second(syntax, written);
  EXPECT_EQ(second.Written(), written);
}

}  // namespace
