// Text of at most 255 bytes behind a length byte, without a terminator. A null text counts as an empty one.
#include "qz/pstring.h"

#include <cstring>

#include "qz/memory.h"
#include "qz/string.h"

namespace {

constexpr size_t kMaximumLength = 255;

size_t Length(const uint8_t* p) {
  return p != nullptr ? p[0] : 0;
}

// Kept: every byte is written while the length byte wraps at 256, so callers keep their texts short.
int32_t Append(uint8_t* p, const void* bytes, size_t count) {
  const size_t length = p[0];
  if (count != 0) memmove(p + 1 + length, bytes, count);
  p[0] = static_cast<uint8_t>(length + count);
  return p[0];
}

}  // namespace

uint8_t* PString_Duplicate(const uint8_t* p) {
  if (p == nullptr) return nullptr;
  uint8_t* copy = static_cast<uint8_t*>(Memory_New(size_t{p[0]} + 1));
  if (copy != nullptr) PString_Copy(p, copy);
  return copy;
}

int32_t PString_Copy(const uint8_t* source, uint8_t* destination) {
  if (destination == nullptr) return 0;
  const size_t length = Length(source);
  if (length != 0) memmove(destination + 1, source + 1, length);
  destination[0] = static_cast<uint8_t>(length);
  return static_cast<int32_t>(length);
}

int32_t PString_Cat(uint8_t* p, const uint8_t* q) {
  if (p == nullptr) return 0;
  return Append(p, q != nullptr ? q + 1 : nullptr, Length(q));
}

int32_t PString_CatString(uint8_t* p, const char* text) {
  if (p == nullptr) return 0;
  return Append(p, text, text != nullptr ? strlen(text) : 0);
}

int32_t PString_ToString(const uint8_t* p, char* text) {
  if (text == nullptr) return 0;
  const size_t length = Length(p);
  if (length != 0) memmove(text, p + 1, length);
  text[length] = 0;
  return static_cast<int32_t>(length);
}

// Kept: compares the first bytes and the lengths only; sorted tables of Pascal texts rely on that order.
int32_t PString_Compare(const uint8_t* a, const uint8_t* b) {
  const size_t lengthA = Length(a);
  const size_t lengthB = Length(b);
  if (lengthA != 0 && lengthB != 0 && a[1] != b[1]) return static_cast<uint8_t>(a[1] - b[1]);
  return static_cast<int32_t>(lengthA) - static_cast<int32_t>(lengthB);
}

int32_t String_ToPString(const char* text, uint8_t* p) {
  if (p == nullptr) return 0;
  size_t length = 0;
  while (text != nullptr && length < kMaximumLength && text[length] != 0) ++length;
  if (length != 0) memmove(p + 1, text, length);
  p[0] = static_cast<uint8_t>(length);
  return p[0];
}
