// The one reader of decimal numbers for protocol replies, headers and dates.
#include <algorithm>

#include "os/text/decimal_internal.h"

namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

std::optional<uint32_t> iDecimal_TakeDigits(std::string_view* text) {
  if (text->empty() || !IsDigit(text->front())) return std::nullopt;
  uint64_t value = 0;
  for (; !text->empty() && IsDigit(text->front()); text->remove_prefix(1)) {
    value = std::min<uint64_t>(value * 10 + static_cast<uint64_t>(text->front() - '0'), UINT32_MAX);
  }
  return static_cast<uint32_t>(value);
}

std::optional<SignedDecimal> iDecimal_TakeSigned(std::string_view* text) {
  std::string_view rest = *text;
  rest.remove_prefix(std::min(rest.find_first_not_of(kWhiteSpace), rest.size()));
  const bool isNegative = !rest.empty() && rest.front() == '-';
  if (isNegative || (!rest.empty() && rest.front() == '+')) rest.remove_prefix(1);
  const std::optional<uint32_t> magnitude = iDecimal_TakeDigits(&rest);
  if (!magnitude) return std::nullopt;
  *text = rest;
  return SignedDecimal{isNegative, *magnitude};
}

std::optional<uint32_t> iDecimal_TakeUnsigned(std::string_view* text) {
  std::string_view rest = *text;
  const std::optional<SignedDecimal> number = iDecimal_TakeSigned(&rest);
  if (!number || number->isNegative) return std::nullopt;
  *text = rest;
  return number->magnitude;
}
