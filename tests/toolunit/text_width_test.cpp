// Columns of texts on a terminal. The expected numbers are those of EastAsianWidth.txt and of what terminals
// do.
#include "tool/text_width.h"

#include <gtest/gtest.h>

namespace {

using tool::ColumnsOf;
using tool::CutToColumns;
using tool::FitToColumns;
using tool::TextColumns;

struct CodeCase {
  std::uint32_t code;
  unsigned columns;
  const char* what;
};

TEST(ColumnsOf, FollowsTheWidthClassOfTheCharacter) {
  const CodeCase cases[] = {
      {'a', 1, "ASCII"},
      {0xE9, 1, "e with acute"},
      {0xAD, 1, "soft hyphen"},
      {0x2FF, 1, "before the combining marks"},
      {0x300, 0, "combining grave accent, the first mark"},
      {0x36F, 0, "last of the combining diacritical marks"},
      {0x370, 1, "behind them"},
      {0x3B1, 1, "Greek alpha, ambiguous"},
      {0x5B4, 0, "Hebrew point"},
      {0x5D0, 1, "Hebrew alef"},
      {0x64B, 0, "Arabic fathatan"},
      {0x94D, 0, "Devanagari virama"},
      {0x93E, 1, "Devanagari vowel sign aa, a spacing mark"},
      {0xE31, 0, "Thai vowel above"},
      {0x10FF, 1, "before the Hangul letters"},
      {0x1100, 2, "Hangul initial consonant"},
      {0x115F, 2, "last of the initial consonants"},
      {0x1160, 0, "Hangul vowel, joined to the consonant"},
      {0x11FF, 0, "Hangul final consonant"},
      {0x1200, 1, "Ethiopic"},
      {0x200B, 0, "zero width space"},
      {0x200D, 0, "joiner"},
      {0x2026, 1, "ellipsis"},
      {0x20AC, 1, "euro sign"},
      {0x2122, 1, "trade mark sign"},
      {0x231A, 2, "watch"},
      {0x2500, 1, "box drawing"},
      {0x2764, 1, "heart, a text sign"},
      {0x2E80, 2, "CJK radical"},
      {0x3000, 2, "ideographic space"},
      {0x303F, 1, "ideographic half fill space"},
      {0x3042, 2, "hiragana a"},
      {0x302A, 0, "ideographic tone mark"},
      {0x3099, 0, "combining voiced sound mark"},
      {0x30A2, 2, "katakana a"},
      {0x3400, 2, "ideograph, extension A"},
      {0x4DC0, 1, "hexagram"},
      {0x4E00, 2, "ideograph one"},
      {0x9FFF, 2, "last ideograph"},
      {0xA4D0, 1, "Lisu"},
      {0xAC00, 2, "Hangul syllable ga"},
      {0xD7A3, 2, "last Hangul syllable"},
      {0xD7A4, 1, "behind the syllables"},
      {0xF900, 2, "compatibility ideograph"},
      {0xFB00, 1, "ligature"},
      {0xFE0F, 0, "variation selector"},
      {0xFE20, 0, "combining half mark"},
      {0xFE30, 2, "vertical form"},
      {0xFF01, 2, "fullwidth exclamation mark"},
      {0xFF21, 2, "fullwidth A"},
      {0xFF60, 2, "last fullwidth form"},
      {0xFF61, 1, "halfwidth full stop"},
      {0xFF71, 1, "halfwidth katakana"},
      {0xFFE5, 2, "fullwidth yen sign"},
      {0xFFFD, 1, "replacement character"},
      {0x1F004, 2, "mahjong tile, an emoji"},
      {0x1F005, 1, "mahjong tile, none"},
      {0x1F1E6, 1, "half of a flag"},
      {0x1F600, 2, "grinning face"},
      {0x1F680, 2, "rocket"},
      {0x1FAE0, 2, "melting face"},
      {0x20000, 2, "ideograph, extension B"},
      {0x3FFFD, 2, "last of the ideographic planes"},
      {0x40000, 1, "behind them"},
      {0xE0020, 0, "tag space"},
      {0xE0100, 0, "variation selector 17"},
      {0x10FFFF, 1, "the last code"},
  };
  for (const CodeCase& each : cases) EXPECT_EQ(ColumnsOf(each.code), each.columns) << each.what;
}

struct TextCase {
  const char* text;
  std::size_t columns;
};

TEST(TextColumns, AddsUpWhatIsSeen) {
  const TextCase cases[] = {
      {"", 0},
      {"disk.iso", 8},
      {"日本語.iso", 10},
      {"cafe\u0301", 4},                  // decomposed
      {"caf\u00e9", 4},                   // composed
      {"\u1112\u1161\u11ab", 2},          // decomposed Hangul syllable
      {"\u0301", 0},                      // a mark on nothing
      {"\U0001F600", 2},                  // one emoji
      {"\u2764", 1},                      // a text sign
      {"\u2764\uFE0F", 2},                // the same as an emoji
      {"1\uFE0F\u20E3", 2},               // keycap
      {"\U0001F1EB\U0001F1EE", 2},        // a flag of two halves
      {"\U0001F469\u200D\U0001F680", 4},  // two emoji joined: as wide as where they are not
      {"ab\xFF"
       "cd",
       5},              // a byte that is not UTF-8 is shown as one sign
      {"\xE6\x97", 2},  // a character that was cut
  };
  for (const TextCase& each : cases) EXPECT_EQ(TextColumns(each.text), each.columns) << each.text;
}

struct CutCase {
  const char* text;
  std::size_t columns;
  const char* cut;
};

TEST(CutToColumns, KeepsWholeCharactersWithTheirMarks) {
  const CutCase cases[] = {
      {"disk.iso", 8, "disk.iso"},
      {"disk.iso", 4, "disk"},
      {"disk.iso", 0, ""},
      {"", 3, ""},
      {"日本語", 6, "日本語"},
      {"日本語", 5, "日本"},
      {"日本語", 4, "日本"},
      {"日本語", 1, ""},
      {"a日", 2, "a"},
      {"e\u0301a\u0302", 1, "e\u0301"},
      {"e\u0301a\u0302", 2, "e\u0301a\u0302"},
      {"\u2764\uFE0F!", 1, ""},
      {"\u2764\uFE0F!", 2, "\u2764\uFE0F"},
      {"日\u0301\u0302x", 2, "日\u0301\u0302"},
  };
  for (const CutCase& each : cases) {
    EXPECT_EQ(CutToColumns(each.text, each.columns), each.cut) << each.text << " " << each.columns;
  }
}

// A hostile name could hold so many marks that each drawing takes a screenful of bytes.
TEST(CutToColumns, LeavesEightMarksOnACharacter) {
  std::string marks;
  for (int i = 0; i < 1000; i++) marks += "\u0301";
  const std::string eight = "\u0301\u0301\u0301\u0301\u0301\u0301\u0301\u0301";
  EXPECT_EQ(CutToColumns("a" + marks + "b" + eight + "c", 10), "a" + eight + "b" + eight + "c");
}

TEST(FitToColumns, FillsWithSpaces) {
  EXPECT_EQ(FitToColumns("ab", 4), "ab  ");
  EXPECT_EQ(FitToColumns("abcd", 4), "abcd");
  EXPECT_EQ(FitToColumns("abcde", 4), "abcd");
  EXPECT_EQ(FitToColumns("日本語", 5), "日本 ");
  EXPECT_EQ(FitToColumns("日本語", 7), "日本語 ");
  EXPECT_EQ(FitToColumns("", 2), "  ");
}

}  // namespace
