// Tokens, trimming and integers, against plain references written without the library.
//
// Input: delimiters, a zero byte, text (up to the next zero byte or the end).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "qz/string.h"

namespace {

void Require(bool holds) {
  if (!holds) abort();
}

std::vector<std::string> ReferenceTokens(const std::string& text, const std::string& delimiters) {
  std::vector<std::string> tokens(1);
  for (char c : text) {
    if (delimiters.find(c) == std::string::npos) {
      tokens.back() += c;
    } else if (!tokens.back().empty()) {
      tokens.emplace_back();
    }
  }
  if (tokens.back().empty()) tokens.pop_back();
  return tokens;
}

std::string ReferenceStrip(const std::string& text, const std::string& set) {
  const size_t first = text.find_first_not_of(set);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(set) - first + 1);
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

int32_t ReferenceInteger(const std::string& text) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (!IsDigit(text[i])) continue;
    uint64_t value = 0;
    for (size_t k = i; k < text.size() && IsDigit(text[k]); ++k) {
      value = (value * 10 + static_cast<uint64_t>(text[k] - '0')) % 0x100000000u;
    }
    const bool negative = i > 0 && text[i - 1] == '-';
    return static_cast<int32_t>(static_cast<uint32_t>(negative ? 0x100000000u - value : value));
  }
  return 0;
}

// Walks the text once by the returned index and once by letting the rest replace the text.
void CheckTokens(const std::string& text, const std::string& delimiters) {
  std::vector<char> token(text.size() + 1);
  std::vector<char> walked(text.c_str(), text.c_str() + text.size() + 1);
  const char* at = text.c_str();
  for (const std::string& expected : ReferenceTokens(text, delimiters)) {
    const int32_t next = String_GrabToken(at, delimiters.c_str(), token.data(), nullptr);
    Require(next > 0 && expected == token.data());
    Require(String_GrabToken(walked.data(), delimiters.c_str(), token.data(), walked.data()) == next);
    Require(expected == token.data());
    at += next;
    Require(strcmp(at, walked.data()) == 0);
  }
  Require(String_GrabToken(at, delimiters.c_str(), token.data(), walked.data()) == -1);
  Require(strcmp(at, walked.data()) == 0);
}

void CheckTokenInPlace(const std::string& text, const std::string& delimiters) {
  const std::vector<std::string> tokens = ReferenceTokens(text, delimiters);
  if (tokens.empty()) return;
  std::vector<char> buffer(text.c_str(), text.c_str() + text.size() + 1);
  std::vector<char> rest(text.size() + 1);
  const int32_t next = String_GrabToken(buffer.data(), delimiters.c_str(), buffer.data(), rest.data());
  Require(tokens[0] == buffer.data());
  Require(text.substr(static_cast<size_t>(next)) == rest.data());
}

void CheckStrip(const std::string& text, const std::string& set) {
  const std::string expected = ReferenceStrip(text, set);
  std::vector<char> stripped(text.c_str(), text.c_str() + text.size() + 1);
  const int32_t length = String_StripEnds(text.c_str(), set.c_str(), stripped.data());
  Require(expected == stripped.data() && length == static_cast<int32_t>(expected.size()));
  std::vector<char> inPlace(text.c_str(), text.c_str() + text.size() + 1);
  Require(String_StripEnds(inPlace.data(), set.c_str(), inPlace.data()) == length);
  Require(expected == inPlace.data());
}

void CheckIntegers(const std::string& text) {
  const int32_t value = String_ToInteger(text.c_str());
  Require(value == ReferenceInteger(text));
  char printed[12];
  char expected[12];
  const int32_t length = String_FromInteger(value, printed);
  Require(length == snprintf(expected, sizeof expected, "%d", value));
  Require(strcmp(printed, expected) == 0);
  Require(String_ToInteger(printed) == value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const size_t split = input.find('\0');
  if (split == std::string::npos) return 0;
  const std::string delimiters(input.c_str());
  const std::string text(input.c_str() + split + 1);
  CheckTokens(text, delimiters);
  CheckTokenInPlace(text, delimiters);
  CheckStrip(text, delimiters);
  CheckIntegers(text);
  return 0;
}
