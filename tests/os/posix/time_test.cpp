// File times in time zones with daylight saving, which this system takes from the TZ variable.
#include "qz/time.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "os/time/time_internal.h"
#include "qz/error.h"
#include "tests/support/time_zone.h"

namespace {

constexpr uint64_t kFileTime1970 = 116444736000000000;
constexpr uint64_t kUnitsPerSecond = 10000000;
constexpr char kNewYork[] = "EST5EDT,M3.2.0,M11.1.0";

// The seconds that a file time made local becomes, or 0 after a failure.
uint32_t SecondsOf(uint64_t seconds) {
  Time time = {7, 7};
  const ErrorCode status = iTime_FromFileTime(kFileTime1970 + seconds * kUnitsPerSecond, true, &time);
  EXPECT_EQ(status, Error_None);
  EXPECT_EQ(time.milliseconds, 0u);
  return status == 0 ? time.seconds : 0;
}

TEST(FileTimeOnPosix, BecomesTheSameMoment_InSummerAndInWinter) {
  TimeZone zone(kNewYork);
  EXPECT_EQ(SecondsOf(1294574400), 1294574400u);  // 2011-01-09 12:00:00 UTC
  EXPECT_EQ(SecondsOf(1310212800), 1310212800u);  // 2011-07-09 12:00:00 UTC
}

TEST(FileTimeOnPosix, BecomesTheSameMoment_InARepeatedHour) {
  TimeZone zone(kNewYork);
  // 2010-11-07 05:30:00 UTC and an hour later: 01:30 local time both.
  EXPECT_EQ(SecondsOf(1289107800), 1289107800u);
  EXPECT_EQ(SecondsOf(1289111400), 1289111400u);
  // Neither depends on what was converted before.
  EXPECT_EQ(SecondsOf(1294574400), 1294574400u);
  EXPECT_EQ(SecondsOf(1289107800), 1289107800u);
  EXPECT_EQ(SecondsOf(1310212800), 1310212800u);
  EXPECT_EQ(SecondsOf(1289111400), 1289111400u);
}

TEST(FileTimeOnPosix, BecomesTheSameMoment_AroundADaylightSavingGap) {
  TimeZone zone(kNewYork);
  EXPECT_EQ(SecondsOf(1300003199), 1300003199u);  // 2011-03-13 07:59:59 UTC, 03:59:59 local time
  EXPECT_EQ(SecondsOf(1299999599), 1299999599u);  // 06:59:59 UTC, 01:59:59 local time
  EXPECT_EQ(SecondsOf(1299999600), 1299999600u);  // 07:00:00 UTC, 03:00:00 local time
}

// The seconds that a calendar record of November 2010 or later becomes.
uint32_t SecondsOf(const TimeData& data) {
  Time time = {7, 7};
  EXPECT_EQ(Time_DataToTime(&data, &time), Error_None);
  return time.seconds;
}

constexpr TimeData kWinterNoon = {2011, 1, 0, 9, 12, 0, 0, 0};
constexpr TimeData kSummerNoon = {2011, 7, 0, 9, 12, 0, 0, 0};

TEST(TimeDataToTimeOnPosix, TakesTheLaterMoment_InARepeatedHour) {
  TimeZone zone(kNewYork);
  // Whatever was converted before: one text must not be read as two times.
  constexpr TimeData kRepeated = {2010, 11, 0, 7, 1, 30, 0, 0};
  EXPECT_EQ(SecondsOf(kWinterNoon), 1294592400u);
  EXPECT_EQ(SecondsOf(kRepeated), 1289111400u);
  EXPECT_EQ(SecondsOf(kSummerNoon), 1310227200u);
  EXPECT_EQ(SecondsOf(kRepeated), 1289111400u);
  EXPECT_EQ(SecondsOf(TimeData{2010, 11, 0, 7, 0, 59, 59, 0}), 1289105999u);  // 04:59:59 UTC
  EXPECT_EQ(SecondsOf(TimeData{2010, 11, 0, 7, 2, 0, 0, 0}), 1289113200u);    // 07:00:00 UTC
}

TEST(TimeDataToTimeOnPosix, TakesTheHourBefore_InADaylightSavingGap) {
  TimeZone zone(kNewYork);
  constexpr TimeData kInGap = {2011, 3, 0, 13, 2, 30, 0, 0};
  EXPECT_EQ(SecondsOf(kWinterNoon), 1294592400u);
  EXPECT_EQ(SecondsOf(kInGap), 1299997800u);  // 06:30:00 UTC, 01:30 local time
  EXPECT_EQ(SecondsOf(kSummerNoon), 1310227200u);
  EXPECT_EQ(SecondsOf(kInGap), 1299997800u);
  EXPECT_EQ(SecondsOf(TimeData{2011, 3, 0, 13, 1, 59, 59, 0}), 1299999599u);  // 06:59:59 UTC
  EXPECT_EQ(SecondsOf(TimeData{2011, 3, 0, 13, 3, 0, 0, 0}), 1299999600u);    // 07:00:00 UTC
}

TEST(TimeDataToTimeOnPosix, KnowsZonesFarFromUtc) {
  {
    TimeZone zone("EAST-14");
    EXPECT_EQ(SecondsOf(kWinterNoon), 1294524000u);  // 22:00 UTC of the day before
  }
  TimeZone zone("WEST12");
  EXPECT_EQ(SecondsOf(kWinterNoon), 1294617600u);  // 00:00 UTC of the day after
}

TEST(FileTimeOnPosix, ReachesBothEnds_EastAndWestOfUtc) {
  for (const char* name : {"EAST-14", "WEST12"}) {
    TimeZone zone(name);
    EXPECT_EQ(SecondsOf(0), 0u) << name;
    EXPECT_EQ(SecondsOf(4294967295), 4294967295u) << name;
  }
}

}  // namespace
