// Random numbers, waiting, formatting.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdarg>
#include <cstring>
#include <limits>

#include "os/core/os_testing.h"
#include "qz/os.h"

namespace {

TEST(OSRandom, StaysBetween0And7FFF_AndVaries) {
  bool varies = false;
  const int32_t first = OS_Random();
  for (int i = 0; i < 10000; ++i) {
    const int32_t value = OS_Random();
    ASSERT_GE(value, 0);
    ASSERT_LE(value, 0x7FFF);
    varies = varies || value != first;
  }
  EXPECT_TRUE(varies);
}

TEST(OSRandom, UsesTheSourceThatTestsGive) {
  iOS_SetRandomSource([]() -> int32_t { return 1234; });
  EXPECT_EQ(OS_Random(), 1234);
  iOS_SetRandomSource([]() -> int32_t { return -1; });
  EXPECT_EQ(OS_Random(), 0x7FFF);
  iOS_SetRandomSource(nullptr);
  bool varies = false;
  const int32_t first = OS_Random();
  for (int i = 0; i < 1000; ++i) varies = varies || OS_Random() != first;
  EXPECT_TRUE(varies);
}

TEST(OSDelay, CutsTheMillisecondsTowardZero) {
  EXPECT_EQ(iOS_DelayMilliseconds(1.0f), 1000u);
  EXPECT_EQ(iOS_DelayMilliseconds(0.5f), 500u);
  EXPECT_EQ(iOS_DelayMilliseconds(0.0019f), 1u);
  EXPECT_EQ(iOS_DelayMilliseconds(0.0009f), 0u);
  EXPECT_EQ(iOS_DelayMilliseconds(2.9999f), 2999u);
}

TEST(OSDelay, IsNothing_ForWhatIsNotAboveZero) {
  EXPECT_EQ(iOS_DelayMilliseconds(0.0f), 0u);
  EXPECT_EQ(iOS_DelayMilliseconds(-1.0f), 0u);
  EXPECT_EQ(iOS_DelayMilliseconds(std::numeric_limits<float>::quiet_NaN()), 0u);
  EXPECT_EQ(iOS_DelayMilliseconds(-std::numeric_limits<float>::infinity()), 0u);
}

TEST(OSDelay, NeverReachesTheValueThatMeansForEver) {
  EXPECT_EQ(iOS_DelayMilliseconds(1e20f), 4294967294u);
  EXPECT_EQ(iOS_DelayMilliseconds(std::numeric_limits<float>::infinity()), 4294967294u);
}

TEST(OSDelay, LetsTheTimePass) {
  const auto before = std::chrono::steady_clock::now();
  OS_Delay(0.06f);
  const auto waited = std::chrono::steady_clock::now() - before;
  EXPECT_GE(waited, std::chrono::milliseconds(45));
  EXPECT_LT(waited, std::chrono::seconds(5));
}

int32_t FormatThroughList(char* buffer, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int32_t count = OS_vsprintf(buffer, format, arguments);
  va_end(arguments);
  return count;
}

TEST(OSsprintf, FormatsAndCounts) {
  char buffer[64];
  EXPECT_EQ(OS_sprintf(buffer, "%s-%d-%04X", "ab", -7, 0xBEEFu), 10);
  EXPECT_STREQ(buffer, "ab--7-BEEF");
  EXPECT_EQ(FormatThroughList(buffer, "%c%5d|%-3s|", 'x', 42, "y"), 11);
  EXPECT_STREQ(buffer, "x   42|y  |");
  EXPECT_EQ(OS_sprintf(buffer, "%s", ""), 0);
  EXPECT_STREQ(buffer, "");
}

TEST(OSsprintf, HasNoBoundOfItsOwn) {
  static char buffer[5001];
  EXPECT_EQ(OS_sprintf(buffer, "%*s", 5000, "end"), 5000);
  EXPECT_EQ(strlen(buffer), 5000u);
  EXPECT_STREQ(buffer + 4997, "end");
}

TEST(OSsprintf, RefusesNull) {
  char buffer[8] = "as was";
  const char* none = nullptr;
  EXPECT_EQ(FormatThroughList(nullptr, "x"), -4);
  EXPECT_EQ(FormatThroughList(buffer, none), -4);
  EXPECT_STREQ(buffer, "as was");
}

}  // namespace
