// Decimal numbers in texts from outside. A number too large for its type stays at the largest value, so that
// no length, offset or port ever wraps.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// A number with its sign: what a negative one means is for the caller to say.
struct SignedDecimal {
  bool isNegative;     // a "-" stands before the digits, also of "-0"
  uint32_t magnitude;  // 4294967295 for everything from there on
};

// Takes the decimal digits from the front of the text. Nothing, and the text as it was, when it does not
// begin with a digit.
std::optional<uint32_t> iDecimal_TakeDigits(std::string_view* text);

// The same behind white space (of the C locale) and one "+" or "-", as the C library's "%lu" and "%ld" read.
std::optional<SignedDecimal> iDecimal_TakeSigned(std::string_view* text);

// The same for sizes, lengths and offsets: nothing, and the text as it was, for a negative number too.
std::optional<uint32_t> iDecimal_TakeUnsigned(std::string_view* text);

// The same with 64 bits: 18446744073709551615 for everything from there on.
std::optional<uint64_t> iDecimal_TakeUnsigned64(std::string_view* text);
