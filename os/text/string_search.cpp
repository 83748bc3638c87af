// Zero-terminated text: searching and comparing. Bytes compare as signed characters on every platform, and
// letters fold as in the C locale. A null text counts as an empty one.
#include <cstring>

#include "os/text/characterclass_internal.h"
#include "qz/string.h"

namespace {

const char* OrEmpty(const char* text) {
  return text != nullptr ? text : "";
}

struct Exact {
  static int8_t Fold(char c) { return static_cast<int8_t>(c); }
  static int32_t Difference(int8_t a, int8_t b) { return a - b; }
};

struct Insensitive {
  static int8_t Fold(char c) { return static_cast<int8_t>(iCharacter_ToLower(static_cast<uint8_t>(c))); }
  // Kept: cut to 8 bits, so the sign turns where letters meet bytes from 128; sorted tables rely on the
  // order.
  static int32_t Difference(int8_t a, int8_t b) { return static_cast<int8_t>(a - b); }
};

template <typename Rule>
int32_t Compare(const char* a, const char* b, size_t limit) {
  a = OrEmpty(a);
  b = OrEmpty(b);
  for (size_t i = 0; i < limit; ++i) {
    const int8_t left = Rule::Fold(a[i]);
    const int8_t right = Rule::Fold(b[i]);
    if (left != right) return Rule::Difference(left, right);
    if (left == 0) return 0;
  }
  return 0;
}

template <typename Rule>
int32_t CompareN(const char* a, const char* b, int32_t n) {
  return n > 0 ? Compare<Rule>(a, b, static_cast<size_t>(n)) : 0;
}

// The length of `prefix` when `text` begins with it, -1 otherwise.
template <typename Rule>
int32_t FindStart(const char* text, const char* prefix) {
  text = OrEmpty(text);
  prefix = OrEmpty(prefix);
  int32_t length = 0;
  for (; prefix[length] != 0; ++length) {
    if (Rule::Fold(text[length]) != Rule::Fold(prefix[length])) return -1;
  }
  return length;
}

template <typename Rule>
int32_t FindEnd(const char* text, const char* suffix) {
  const int32_t start = String_Length(text) - String_Length(suffix);
  if (start < 0) return -1;
  return Compare<Rule>(OrEmpty(text) + start, suffix, SIZE_MAX) == 0 ? start : -1;
}

}  // namespace

int32_t String_FindFirstChar(const char* text, int c) {
  const char byte = static_cast<char>(c);
  if (text == nullptr || byte == 0) return -1;
  const char* found = strchr(text, byte);
  return found != nullptr ? static_cast<int32_t>(found - text) : -1;
}

int32_t String_FindLastChar(const char* text, int c) {
  const char byte = static_cast<char>(c);
  if (text == nullptr || byte == 0) return -1;
  const char* found = strrchr(text, byte);
  return found != nullptr ? static_cast<int32_t>(found - text) : -1;
}

int32_t String_FindFirst(const char* text, const char* sub) {
  if (text == nullptr || sub == nullptr || sub[0] == 0) return -1;
  const char* found = strstr(text, sub);
  return found != nullptr ? static_cast<int32_t>(found - text) : -1;
}

int32_t String_FindFirstInsensitive(const char* text, const char* sub) {
  if (text == nullptr || sub == nullptr || sub[0] == 0) return -1;
  const int8_t first = Insensitive::Fold(sub[0]);
  for (int32_t i = 0; text[i] != 0; ++i) {
    if (Insensitive::Fold(text[i]) == first && FindStart<Insensitive>(text + i, sub) >= 0) return i;
  }
  return -1;
}

int32_t String_FindStart(const char* text, const char* prefix) {
  return FindStart<Exact>(text, prefix);
}

int32_t String_FindStartInsensitive(const char* text, const char* prefix) {
  return FindStart<Insensitive>(text, prefix);
}

int32_t String_FindEnd(const char* text, const char* suffix) {
  return FindEnd<Exact>(text, suffix);
}

int32_t String_FindEndInsensitive(const char* text, const char* suffix) {
  return FindEnd<Insensitive>(text, suffix);
}

int32_t String_Compare(const char* a, const char* b) {
  return Compare<Exact>(a, b, SIZE_MAX);
}

int32_t String_CompareN(const char* a, const char* b, int32_t n) {
  return CompareN<Exact>(a, b, n);
}

int32_t String_CompareInsensitive(const char* a, const char* b) {
  return Compare<Insensitive>(a, b, SIZE_MAX);
}

int32_t String_CompareNInsensitive(const char* a, const char* b, int32_t n) {
  return CompareN<Insensitive>(a, b, n);
}
