// The one reader of decimal numbers for protocol replies, headers and dates.
#include <algorithm>

#include "os/text/decimal_internal.h"

namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Takes the digits; `most` for a number from there on.
std::optional<uint64_t> TakeDigits(std::string_view* text, uint64_t most) {
  if (text->empty() || !IsDigit(text->front())) return std::nullopt;
  uint64_t value = 0;
  for (; !text->empty() && IsDigit(text->front()); text->remove_prefix(1)) {
    const auto digit = static_cast<uint64_t>(text->front() - '0');
    value = value > (most - digit) / 10 ? most : value * 10 + digit;
  }
  return value;
}

// Takes white space and one sign. True for a "-".
bool TakeSign(std::string_view* text) {
  text->remove_prefix(std::min(text->find_first_not_of(kWhiteSpace), text->size()));
  const bool isNegative = !text->empty() && text->front() == '-';
  if (isNegative || (!text->empty() && text->front() == '+')) text->remove_prefix(1);
  return isNegative;
}

// Takes a number that is not negative.
std::optional<uint64_t> TakeUnsigned(std::string_view* text, uint64_t most) {
  std::string_view rest = *text;
  if (TakeSign(&rest)) return std::nullopt;
  const std::optional<uint64_t> number = TakeDigits(&rest, most);
  if (number) *text = rest;
  return number;
}

std::optional<uint32_t> Narrow(std::optional<uint64_t> number) {
  if (!number) return std::nullopt;
  return static_cast<uint32_t>(*number);
}

}  // namespace

std::optional<uint32_t> iDecimal_TakeDigits(std::string_view* text) {
  return Narrow(TakeDigits(text, UINT32_MAX));
}

std::optional<SignedDecimal> iDecimal_TakeSigned(std::string_view* text) {
  std::string_view rest = *text;
  const bool isNegative = TakeSign(&rest);
  const std::optional<uint32_t> magnitude = iDecimal_TakeDigits(&rest);
  if (!magnitude) return std::nullopt;
  *text = rest;
  return SignedDecimal{isNegative, *magnitude};
}

std::optional<uint32_t> iDecimal_TakeUnsigned(std::string_view* text) {
  return Narrow(TakeUnsigned(text, UINT32_MAX));
}

std::optional<uint64_t> iDecimal_TakeUnsigned64(std::string_view* text) {
  return TakeUnsigned(text, UINT64_MAX);
}
