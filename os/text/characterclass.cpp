// The character class table, built by the compiler. The order of the steps matters: the last two assign where
// the earlier ones add.
#include "os/text/characterclass_internal.h"

namespace {

constexpr char kUrlSpecial[] = ";/?:@&=$-_.+!*'(),<>#%\"\\";
constexpr char kWhiteSpace[] = " \t\r\n";
constexpr char kUrlReserved[] = ";/?:@&=";

// From a letter in upper case to the same one in lower case.
constexpr int kLowerDistance = 32;

constexpr uint8_t Byte(char c) {
  return static_cast<uint8_t>(c);
}

constexpr void Add(CharacterTables& tables, int byte, int bits) {
  tables.classes[byte] = static_cast<uint8_t>(tables.classes[byte] | bits);
}

// Adds the letters from `first` to `last` in both cases.
constexpr void AddLetters(CharacterTables& tables, uint8_t first, uint8_t last, int bits) {
  for (int upper = first; upper <= last; ++upper) {
    const int lower = upper + kLowerDistance;
    Add(tables, upper, CharacterClass_Letter | bits);
    Add(tables, lower, CharacterClass_Letter | CharacterClass_Lower | bits);
    tables.lower[upper] = static_cast<uint8_t>(lower);
    tables.upper[lower] = static_cast<uint8_t>(upper);
  }
}

constexpr CharacterTables BuildTables() {
  CharacterTables tables{};
  for (int byte = 0; byte < 256; ++byte) {
    tables.lower[byte] = static_cast<uint8_t>(byte);
    tables.upper[byte] = static_cast<uint8_t>(byte);
    if (byte < 32 || byte >= 128) Add(tables, byte, CharacterClass_UrlEscape);
  }
  AddLetters(tables, 'A', 'F', CharacterClass_Hex);
  // Kept: "a" to "f" are hexadecimal digits of value 0, so the escape %2f in a URL gives a space.
  for (int digit = 10; digit < 16; ++digit) {
    tables.hexValues['A' + digit - 10] = static_cast<uint8_t>(digit);
  }
  AddLetters(tables, 'G', 'Z', 0);
  for (int digit = 0; digit < 10; ++digit) {
    Add(tables, '0' + digit, CharacterClass_Hex | CharacterClass_Digit);
    tables.hexValues['0' + digit] = static_cast<uint8_t>(digit);
  }
  for (const char* c = kUrlSpecial; *c != 0; ++c) Add(tables, Byte(*c), CharacterClass_UrlSpecial);
  for (const char* c = kWhiteSpace; *c != 0; ++c) {
    tables.classes[Byte(*c)] = CharacterClass_UrlEscape | CharacterClass_Space;
  }
  // Kept: the reserved characters lose the special bit here; URL escaping tells them from the others by it.
  for (const char* c = kUrlReserved; *c != 0; ++c) tables.classes[Byte(*c)] = CharacterClass_UrlEscape;
  return tables;
}

}  // namespace

constinit const CharacterTables kCharacterTables = BuildTables();
