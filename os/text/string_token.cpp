// Zero-terminated text: tokens, trimming and integers.
#include <cstring>

#include "os/text/byteset_internal.h"
#include "os/text/characterclass_internal.h"
#include "os/text/string_internal.h"
#include "qz/string.h"

namespace {

bool IsDigit(char c) {
  return (iCharacter_Class(static_cast<uint8_t>(c)) & CharacterClass_Digit) != 0;
}

}  // namespace

int32_t String_GrabToken(const char* text, const char* delimiters, char* token, char* rest) {
  if (text == nullptr) return -1;
  const ByteSet set(delimiters);
  size_t start = 0;
  while (set.Has(text[start])) ++start;
  if (text[start] == 0) return -1;
  size_t end = start;
  while (text[end] != 0 && !set.Has(text[end])) ++end;

  // Either output may be the text itself: the one that is not is written before the text changes.
  const size_t restLength = rest != nullptr ? strlen(text + end) : 0;
  if (rest != text) iString_Place(text + end, restLength, rest);
  iString_Place(text + start, end - start, token);
  if (rest == text) iString_Place(text + end, restLength, rest);
  return static_cast<int32_t>(end);
}

int32_t String_StripEnds(const char* text, const char* set, char* destination) {
  if (destination == nullptr) return 0;
  if (text == nullptr) text = "";
  const ByteSet stripped(set);
  size_t start = 0;
  while (stripped.Has(text[start])) ++start;
  size_t end = start + strlen(text + start);
  while (end > start && stripped.Has(text[end - 1])) --end;
  iString_Place(text + start, end - start, destination);
  return static_cast<int32_t>(end - start);
}

// Kept: any byte is passed over before the number, a sign apart from it too ("- 5" is 5); numbers are taken
// so out of the middle of replies and stored lines.
int32_t String_ToInteger(const char* text) {
  if (text == nullptr) return 0;
  while (*text != 0 && !IsDigit(*text) && !(*text == '-' && IsDigit(text[1]))) ++text;
  const bool negative = *text == '-';
  if (negative) ++text;
  // Kept: numbers wrap at 32 bits unchecked; values kept from earlier runs compare equal only that way.
  uint32_t value = 0;
  for (; IsDigit(*text); ++text) value = value * 10 + static_cast<uint32_t>(*text - '0');
  return static_cast<int32_t>(negative ? 0 - value : value);
}

int32_t String_FromInteger(int32_t value, char* destination) {
  if (destination == nullptr) return 0;
  constexpr char kDigits[] = "0123456789";
  const bool negative = value < 0;
  uint32_t left = negative ? 0 - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
  char reversed[10];
  int32_t count = 0;
  do {
    reversed[count++] = kDigits[left % 10];
    left /= 10;
  } while (left != 0);

  int32_t length = 0;
  if (negative) destination[length++] = '-';
  while (count > 0) destination[length++] = reversed[--count];
  destination[length] = 0;
  return length;
}
