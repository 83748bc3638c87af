// Decimal numbers in texts from outside.
#include <gtest/gtest.h>

#include <string_view>

#include "os/text/decimal_internal.h"

namespace {

TEST(Decimal, TakesTheDigitsAtTheFront) {
  std::string_view text = "0120:7";
  EXPECT_EQ(iDecimal_TakeDigits(&text), 120u);
  EXPECT_EQ(text, ":7");
}

TEST(Decimal, TakesNothing_WhenTheTextDoesNotBeginWithADigit) {
  for (const std::string_view given : {"", " 1", "+1", "-1", "x1", ":", "/", "\xB2"}) {
    std::string_view text = given;
    EXPECT_EQ(iDecimal_TakeDigits(&text), std::nullopt) << given;
    EXPECT_EQ(text, given);
  }
}

TEST(Decimal, StaysAtTheLargestValue) {
  const struct {
    std::string_view text;
    uint32_t value;
  } kCases[] = {{"4294967294", 4294967294u},
                {"4294967295", 4294967295u},
                {"4294967296", 4294967295u},
                {"42949672960", 4294967295u},
                {"18446744073709551616", 4294967295u},
                {"99999999999999999999999999999999", 4294967295u},
                {"00000000000000000000000000000012", 12u}};
  for (const auto& row : kCases) {
    std::string_view text = row.text;
    EXPECT_EQ(iDecimal_TakeDigits(&text), row.value) << row.text;
    EXPECT_TRUE(text.empty());
  }
}

TEST(Decimal, StopsAtTheEndOfTheView) {
  std::string_view text("12345", 3);
  EXPECT_EQ(iDecimal_TakeDigits(&text), 123u);
  EXPECT_TRUE(text.empty());
}

TEST(DecimalSigned, PassesOverWhiteSpaceAndOneSign) {
  const struct {
    std::string_view text;
    bool isNegative;
    uint32_t magnitude;
  } kCases[] = {{"12", false, 12},
                {" \t\n\v\f\r12", false, 12},
                {"+12", false, 12},
                {"  -12", true, 12},
                {"-0", true, 0},
                {"-4294967296", true, 4294967295u},
                {"-2147483648", true, 2147483648u}};
  for (const auto& row : kCases) {
    std::string_view text = row.text;
    const std::optional<SignedDecimal> number = iDecimal_TakeSigned(&text);
    ASSERT_TRUE(number.has_value()) << row.text;
    EXPECT_EQ(number->isNegative, row.isNegative) << row.text;
    EXPECT_EQ(number->magnitude, row.magnitude) << row.text;
    EXPECT_TRUE(text.empty()) << row.text;
  }
}

TEST(DecimalSigned, LeavesTheTextAsItWas_WithoutANumber) {
  for (const std::string_view given : {"", "   ", "+", "-", "+-1", "-+1", "- 1", "--1",
                                       "\xA0"
                                       "1",
                                       "x"}) {
    std::string_view text = given;
    EXPECT_FALSE(iDecimal_TakeSigned(&text).has_value()) << given;
    EXPECT_EQ(text, given);
  }
}

TEST(DecimalUnsigned, ReadsWhatIsNotNegative) {
  struct Row {
    const char* text;
    uint32_t number;
    const char* rest;
  };
  for (const Row& row : {Row{" \t+12x", 12, "x"}, Row{"0", 0, ""}, Row{"4294967296 ", 4294967295u, " "}}) {
    std::string_view text = row.text;
    EXPECT_EQ(iDecimal_TakeUnsigned(&text).value_or(7), row.number) << row.text;
    EXPECT_EQ(text, row.rest);
  }
}

TEST(DecimalUnsigned, LeavesTheTextAsItWas_WithoutSuchANumber) {
  for (const std::string_view given : {"", " x", "-1", " -7 ", "-0", "+-1"}) {
    std::string_view text = given;
    EXPECT_FALSE(iDecimal_TakeUnsigned(&text).has_value()) << given;
    EXPECT_EQ(text, given);
  }
}

TEST(DecimalUnsigned64, ReadsWhatIsNotNegative) {
  struct Row {
    const char* text;
    uint64_t number;
    const char* rest;
  };
  for (const Row& row : {
           Row{" \t+12x", 12, "x"},
           Row{"0", 0, ""},
           Row{"4294967295", 4294967295u, ""},
           Row{"4294967296 ", 4294967296u, " "},
           Row{"18446744073709551609", 18446744073709551609u, ""},
           Row{"18446744073709551614", 18446744073709551614u, ""},
           Row{"18446744073709551615", 18446744073709551615u, ""},
           Row{"18446744073709551616", 18446744073709551615u, ""},
           Row{"18446744073709551620", 18446744073709551615u, ""},
           Row{"184467440737095516150", 18446744073709551615u, ""},
           Row{"36893488147419103232x", 18446744073709551615u, "x"},
           Row{"000000000000000000000000000007", 7, ""},
       }) {
    std::string_view text = row.text;
    EXPECT_EQ(iDecimal_TakeUnsigned64(&text).value_or(7000), row.number) << row.text;
    EXPECT_EQ(text, row.rest);
  }
}

TEST(DecimalUnsigned64, LeavesTheTextAsItWas_WithoutSuchANumber) {
  for (const std::string_view given : {"", " x", "-1", " -7 ", "-0", "+-1", "-18446744073709551616"}) {
    std::string_view text = given;
    EXPECT_FALSE(iDecimal_TakeUnsigned64(&text).has_value()) << given;
    EXPECT_EQ(text, given);
  }
}

}  // namespace
