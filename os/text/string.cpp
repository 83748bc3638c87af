// Zero-terminated text: copying, joining and changing. A null text counts as an empty one; where there is no
// destination, nothing is written. Text is moved, not copied, so that source and destination may overlap.
#include "qz/string.h"

#include <cstdio>
#include <cstring>

#include "os/text/characterclass_internal.h"
#include "os/text/string_internal.h"
#include "qz/memory.h"

namespace {

// A line from standard input, with its terminator, fills at most this much.
constexpr int32_t kMaximumLineBytes = 1024;

size_t Length(const char* text) {
  return text != nullptr ? strlen(text) : 0;
}

// The length of `text`, or `limit` when no terminator comes before it; nothing is read beyond `limit`.
size_t LengthUpTo(const char* text, size_t limit) {
  if (text == nullptr || limit == 0) return 0;
  const void* end = memchr(text, 0, limit);
  return end != nullptr ? static_cast<size_t>(static_cast<const char*>(end) - text) : limit;
}

uint8_t ToLower(char c) {
  return iCharacter_ToLower(static_cast<uint8_t>(c));
}

}  // namespace

int32_t String_Length(const char* text) {
  return static_cast<int32_t>(Length(text));
}

char* String_Duplicate(const char* text) {
  return text != nullptr ? String_DuplicateCat(text, nullptr) : nullptr;
}

char* String_DuplicateCat(const char* a, const char* b) {
  const size_t lengthA = Length(a);
  const size_t lengthB = Length(b);
  char* copy = static_cast<char*>(Memory_New(lengthA + lengthB + 1));
  if (copy == nullptr) return nullptr;
  iString_Place(a, lengthA, copy);
  iString_Place(b, lengthB, copy + lengthA);
  return copy;
}

int32_t String_Copy(const char* source, char* destination) {
  if (destination == nullptr) return 0;
  return iString_Place(source, Length(source), destination);
}

int32_t String_CopyMax(const char* source, int32_t max, char* destination) {
  if (destination == nullptr || max <= 0) return 0;
  return iString_Place(source, LengthUpTo(source, static_cast<size_t>(max) - 1), destination);
}

int32_t String_CopyLength(const char* source, int32_t count, char* destination) {
  if (destination == nullptr || count < 0) return 0;
  return iString_Place(source, source != nullptr ? static_cast<size_t>(count) : 0, destination);
}

int32_t String_Cat(char* destination, const char* source) {
  if (destination == nullptr) return 0;
  const size_t length = strlen(destination);
  const size_t added = Length(source);
  iString_Place(source, added, destination + length);
  return static_cast<int32_t>(length + added);
}

int32_t String_CatPString(char* destination, const uint8_t* pstring) {
  if (destination == nullptr) return 0;
  const size_t length = strlen(destination);
  if (pstring == nullptr) return static_cast<int32_t>(length);
  const size_t added = pstring[0];
  iString_Place(reinterpret_cast<const char*>(pstring + 1), added, destination + length);
  return static_cast<int32_t>(length + added);
}

int32_t String_DelimCat(const char* first, const char* second, int delimiter, char* destination) {
  if (destination == nullptr) return 0;
  const char delimiterByte = static_cast<char>(delimiter);
  const size_t firstLength = Length(first);
  const size_t secondLength = Length(second);
  const bool delimited = firstLength != 0 && first[firstLength - 1] != delimiterByte;
  const size_t secondStart = firstLength + (delimited ? 1 : 0);

  // The second text goes to its place first: it may stand where the first one is about to be written.
  iString_Place(second, secondLength, destination + secondStart);
  if (firstLength != 0) memmove(destination, first, firstLength);
  if (delimited) destination[firstLength] = delimiterByte;
  return static_cast<int32_t>(secondStart + secondLength);
}

int32_t String_Insert(const char* prefix, char* text) {
  if (text == nullptr) return 0;
  const size_t prefixLength = Length(prefix);
  const size_t textLength = strlen(text);
  memmove(text + prefixLength, text, textLength + 1);
  if (prefixLength != 0) memmove(text, prefix, prefixLength);
  return static_cast<int32_t>(prefixLength + textLength);
}

int32_t String_Quote(const char* text, int quote, char* destination) {
  if (destination == nullptr) return 0;
  const size_t length = Length(text);
  iString_Place(text, length, destination + 1);
  destination[0] = static_cast<char>(quote);
  destination[length + 1] = static_cast<char>(quote);
  destination[length + 2] = 0;
  return static_cast<int32_t>(length + 2);
}

int32_t String_ToLower(const char* source, char* destination) {
  if (destination == nullptr) return 0;
  const int32_t length = String_Copy(source, destination);
  for (int32_t i = 0; i < length; ++i) destination[i] = static_cast<char>(ToLower(destination[i]));
  return length;
}

int32_t String_Convert(const char* source, const char* fromChars, const char* toChars, char* destination) {
  if (destination == nullptr) return 0;
  const int32_t length = String_Copy(source, destination);
  const size_t fromCount = Length(fromChars);
  const size_t toCount = Length(toChars);
  int32_t replacements = 0;
  for (int32_t i = 0; fromCount != 0 && i < length; ++i) {
    const void* match = memchr(fromChars, static_cast<uint8_t>(destination[i]), fromCount);
    if (match == nullptr) continue;
    const size_t index = static_cast<size_t>(static_cast<const char*>(match) - fromChars);
    if (index >= toCount) continue;
    destination[i] = toChars[index];
    ++replacements;
  }
  return replacements;
}

int32_t String_ReplaceFirst(const char* text, const char* oldText, const char* newText, char* destination) {
  if (destination == nullptr) return -1;
  const int32_t found = String_FindFirst(text, oldText);
  if (found < 0) return -1;
  const size_t index = static_cast<size_t>(found);
  const size_t newLength = Length(newText);
  const char* tail = text + index + strlen(oldText);

  // The tail first, because the destination may be the text itself.
  iString_Place(tail, strlen(tail), destination + index + newLength);
  if (index != 0) memmove(destination, text, index);
  if (newLength != 0) memmove(destination + index, newText, newLength);
  return found;
}

int32_t String_Read(char* buffer) {
  if (buffer == nullptr) return 0;
  int32_t length = 0;
  for (int c = getc(stdin); c != EOF && c != '\n'; c = getc(stdin)) {
    if (length < kMaximumLineBytes - 1) buffer[length++] = static_cast<char>(c);
  }
  buffer[length] = 0;
  return String_Length(buffer);
}
