// The character class table, against classes typed by hand.
#include <gtest/gtest.h>

#include <cstring>

#include "os/text/characterclass_internal.h"

namespace {

// The class of every byte below 128, sixteen to a row; all others have 64.
constexpr uint8_t kClasses[128] = {
    64, 64, 64, 64, 64, 64, 64, 64, 64, 65, 65, 64, 64, 65, 64, 64,  // control; tab, LF, CR
    64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64, 64,  //
    65, 32, 32, 32, 32, 32, 64, 32, 32, 32, 32, 32, 32, 32, 32, 64,  // space!"#$%&'()*+,-./
    18, 18, 18, 18, 18, 18, 18, 18, 18, 18, 64, 64, 32, 64, 32, 64,  // 0-9:;<=>?
    64, 20, 20, 20, 20, 20, 20, 4,  4,  4,  4,  4,  4,  4,  4,  4,   // @A-O
    4,  4,  4,  4,  4,  4,  4,  4,  4,  4,  4,  0,  32, 0,  0,  32,  // P-Z[\]^_
    0,  28, 28, 28, 28, 28, 28, 12, 12, 12, 12, 12, 12, 12, 12, 12,  // `a-o
    12, 12, 12, 12, 12, 12, 12, 12, 12, 12, 12, 0,  0,  0,  0,  0,   // p-z{|}~DEL
};

TEST(CharacterClass, GivesTheClassOfEveryByte) {
  for (int byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(iCharacter_Class(static_cast<uint8_t>(byte)), byte < 128 ? kClasses[byte] : 64) << byte;
  }
}

TEST(CharacterClass, TakesTheSpecialBitFromReservedCharactersOnly) {
  for (const char* c = ";/?:@&="; *c != 0; ++c)
    EXPECT_EQ(iCharacter_Class(static_cast<uint8_t>(*c)), 64) << *c;
  for (const char* c = "$-_.+!*'(),<>#%\"\\"; *c != 0; ++c) {
    EXPECT_EQ(iCharacter_Class(static_cast<uint8_t>(*c)), 32) << *c;
  }
}

TEST(CharacterClass, MapsAsciiLettersBetweenTheCases) {
  const char upper[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const char lower[] = "abcdefghijklmnopqrstuvwxyz";
  for (int byte = 0; byte < 256; ++byte) {
    const uint8_t b = static_cast<uint8_t>(byte);
    const char* inUpper = byte != 0 ? strchr(upper, byte) : nullptr;
    const char* inLower = byte != 0 ? strchr(lower, byte) : nullptr;
    EXPECT_EQ(iCharacter_ToLower(b), inUpper != nullptr ? lower[inUpper - upper] : byte) << byte;
    EXPECT_EQ(iCharacter_ToUpper(b), inLower != nullptr ? upper[inLower - lower] : byte) << byte;
  }
}

TEST(CharacterClass, ComparesTextsWithoutRegardToTheCaseOfAsciiLetters) {
  EXPECT_TRUE(iCharacter_EqualsWithoutCase("", ""));
  EXPECT_TRUE(iCharacter_EqualsWithoutCase("Content-Length", "cONTENT-lENGTH"));
  EXPECT_FALSE(iCharacter_EqualsWithoutCase("date", "dat"));
  EXPECT_FALSE(iCharacter_EqualsWithoutCase("dat", "date"));
  EXPECT_FALSE(iCharacter_EqualsWithoutCase("[", "{"));
  EXPECT_FALSE(iCharacter_EqualsWithoutCase("@", "`"));
  EXPECT_FALSE(iCharacter_EqualsWithoutCase("\xc4", "\xe4"));
}

TEST(CharacterClass, GivesTheValueOfHexadecimalDigits) {
  const char digits[] = "0123456789ABCDEF";
  for (int value = 0; value < 16; ++value) {
    EXPECT_EQ(iCharacter_HexValue(static_cast<uint8_t>(digits[value])), value);
  }
  for (uint8_t byte : {'g', 'G', '/', ':', '@', '`'}) EXPECT_EQ(iCharacter_HexValue(byte), 0);
  EXPECT_EQ(iCharacter_HexValue(0xFF), 0);
}

TEST(CharacterClass, GivesLowerCaseHexadecimalDigitsTheValueZero) {
  for (uint8_t byte = 'a'; byte <= 'f'; ++byte) {
    EXPECT_NE(iCharacter_Class(byte) & CharacterClass_Hex, 0) << byte;
    EXPECT_EQ(iCharacter_HexValue(byte), 0) << byte;
  }
}

}  // namespace
