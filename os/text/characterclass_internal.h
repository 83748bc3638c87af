// Classes of the 256 byte values and the maps between letter cases, for the C locale whatever the system's
// is. The tables are constants: they serve before the library is initialised and after it has ended.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

// Class bits.
enum CharacterClass : uint8_t {
  CharacterClass_Space = 1,
  CharacterClass_Digit = 2,
  CharacterClass_Letter = 4,
  CharacterClass_Lower = 8,
  CharacterClass_Hex = 16,
  CharacterClass_UrlSpecial = 32,
  CharacterClass_UrlEscape = 64,  // must be escaped in a URL
};

struct CharacterTables {
  uint8_t classes[256];
  uint8_t lower[256];
  uint8_t upper[256];
  uint8_t hexValues[256];
};

extern const CharacterTables kCharacterTables;

// The class bits of a byte.
inline uint8_t iCharacter_Class(uint8_t byte) {
  return kCharacterTables.classes[byte];
}

// ASCII letters change case; every other byte stays.
inline uint8_t iCharacter_ToLower(uint8_t byte) {
  return kCharacterTables.lower[byte];
}
inline uint8_t iCharacter_ToUpper(uint8_t byte) {
  return kCharacterTables.upper[byte];
}

// True for texts that differ at most in the case of their letters.
inline bool iCharacter_EqualsWithoutCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return iCharacter_ToLower(static_cast<uint8_t>(x)) == iCharacter_ToLower(static_cast<uint8_t>(y));
  });
}

// 0 to 15; 0 as well for "a" to "f" and for a byte that is not a hexadecimal digit.
inline uint8_t iCharacter_HexValue(uint8_t byte) {
  return kCharacterTables.hexValues[byte];
}
