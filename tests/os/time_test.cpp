// Points in time, calendar records and file times.
#include "qz/time.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "os/platform/clock.h"
#include "os/time/clock_testing.h"
#include "os/time/time_internal.h"
#include "qz/error.h"
#include "tests/support/error_capture.h"
#include "tests/support/time_zone.h"

namespace {

void ExpectTime(const Time& time, uint32_t seconds, uint32_t milliseconds) {
  EXPECT_EQ(time.seconds, seconds);
  EXPECT_EQ(time.milliseconds, milliseconds);
}

// 1996-02-29 12:34:56.789 UTC, a Thursday.
constexpr Time kLeapDay = {825597296, 789};

TEST(TimeGet, GivesTheSecondsOfTheSystemsClock) {
  const time_t before = time(nullptr);
  Time now = {};
  Time_Get(&now);
  const time_t after = time(nullptr);
  EXPECT_GE(now.seconds, static_cast<uint32_t>(before));
  EXPECT_LE(now.seconds, static_cast<uint32_t>(after));
  EXPECT_LT(now.milliseconds, 1000u);
  Time_Get(nullptr);
}

int64_t SystemMilliseconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

TEST(TimeGet, GivesTheMillisecondsOfTheSystemsClock) {
  // In the second half of a second there are many of them.
  while (SystemMilliseconds() % 1000 < 500) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  const int64_t before = SystemMilliseconds();
  Time now = {};
  Time_Get(&now);
  const int64_t after = SystemMilliseconds();
  const int64_t milliseconds = int64_t{now.seconds} * 1000 + now.milliseconds;
  // Systems may keep two clocks of different steps.
  EXPECT_GE(milliseconds, before - 20);
  EXPECT_LE(milliseconds, after + 20);
}

TEST(TimeGet, IsTheTrueMomentInAnyTimeZone) {
  TimeZone zone("EST5EDT");
  Time now = {};
  Time_Get(&now);
  EXPECT_NEAR(static_cast<double>(now.seconds), static_cast<double>(time(nullptr)), 1.0);
}

TEST(TimeGet, StandsWhereATestSetsIt) {
  iClock_SetWallClock(&kLeapDay);
  Time now = {};
  Time_Get(&now);
  TimeData data = {};
  Time_GetData(&data);
  iClock_SetWallClock(nullptr);
  ExpectTime(now, 825597296, 789);
  EXPECT_EQ(data.year, 1996u);
  EXPECT_EQ(data.milliseconds, 789u);
}

TEST(TimeZero, ClearsBothFields) {
  Time time = {5, 6};
  Time_Zero(&time);
  ExpectTime(time, 0, 0);
  Time_Zero(nullptr);
}

TEST(TimeTimeToData, FillsEveryField) {
  TimeData data = {};
  Time_TimeToData(&kLeapDay, &data);
  EXPECT_EQ(data.year, 1996u);
  EXPECT_EQ(data.month, 2u);
  EXPECT_EQ(data.dayOfWeek, 4u);
  EXPECT_EQ(data.day, 29u);
  EXPECT_EQ(data.hour, 12u);
  EXPECT_EQ(data.minute, 34u);
  EXPECT_EQ(data.second, 56u);
  EXPECT_EQ(data.milliseconds, 789u);
}

TEST(TimeTimeToData, ReachesTheLastSecond) {
  TimeData data = {};
  const Time last = {0xFFFFFFFFu, 0};
  Time_TimeToData(&last, &data);
  EXPECT_EQ(data.year, 2106u);
  EXPECT_EQ(data.month, 2u);
  EXPECT_EQ(data.day, 7u);
  EXPECT_EQ(data.hour, 6u);
  EXPECT_EQ(data.minute, 28u);
  EXPECT_EQ(data.second, 15u);
}

TEST(TimeTimeToData, GivesAnEmptyRecordForNoTime) {
  TimeData data = {1, 1, 1, 1, 1, 1, 1, 1};
  Time_TimeToData(nullptr, &data);
  EXPECT_EQ(data.year, 0u);
  EXPECT_EQ(data.day, 0u);
  Time_TimeToData(&kLeapDay, nullptr);
}

TEST(TimeDataToTime, GivesTheMomentAndIgnoresTheWeekday) {
  const TimeData data = {1996, 2, 6, 29, 12, 34, 56, 789};
  Time time = {};
  EXPECT_EQ(Time_DataToTime(&data, &time), Error_None);
  ExpectTime(time, 825597296, 789);
  const TimeData impossibleWeekday = {1970, 1, 77, 1, 0, 0, 0, 0};
  EXPECT_EQ(Time_DataToTime(&impossibleWeekday, &time), Error_None);
  ExpectTime(time, 0, 0);
}

TEST(TimeDataToTime, ReadsTheFieldsAsLocalTime) {
  TimeZone zone("EST5EDT");
  Time time = {};
  const TimeData winter = {2001, 1, 0, 15, 7, 0, 0, 0};
  EXPECT_EQ(Time_DataToTime(&winter, &time), Error_None);
  ExpectTime(time, 979560000, 0);  // 12:00 UTC
  const TimeData summer = {2001, 7, 0, 15, 8, 0, 0, 0};
  EXPECT_EQ(Time_DataToTime(&summer, &time), Error_None);
  ExpectTime(time, 995198400, 0);  // 12:00 UTC
  TimeData back = {};
  Time_TimeToData(&time, &back);
  EXPECT_EQ(back.hour, 8u);
}

TEST(TimeDataToTime, ReportsValuesThatNoCalendarHas) {
  const TimeData rows[] = {
      {1996, 0, 0, 1, 0, 0, 0, 0},
      {1996, 13, 0, 1, 0, 0, 0, 0},
      {1996, 1, 0, 0, 0, 0, 0, 0},
      {1996, 1, 0, 32, 0, 0, 0, 0},
      {1996, 4, 0, 31, 0, 0, 0, 0},
      {1996, 2, 0, 30, 0, 0, 0, 0},
      {1997, 2, 0, 29, 0, 0, 0, 0},
      {2100, 2, 0, 29, 0, 0, 0, 0},
      {1996, 1, 0, 1, 24, 0, 0, 0},
      {1996, 1, 0, 1, 0, 60, 0, 0},
      {1996, 1, 0, 1, 0, 0, 60, 0},
      {1996, 1, 0, 1, 0, 0, 0, 1000},
      {0, 1, 0, 1, 0, 0, 0, 0},
      {1600, 1, 0, 1, 0, 0, 0, 0},
      {30828, 1, 0, 1, 0, 0, 0, 0},
      {0xFFFFFFFFu, 1, 0, 1, 0, 0, 0, 0},
      // Dates that a time does not reach.
      {1969, 12, 0, 31, 23, 59, 59, 0},
      {2106, 2, 0, 7, 6, 28, 16, 0},
      {3001, 1, 0, 1, 0, 0, 0, 0},
  };
  for (const TimeData& data : rows) {
    ErrorCapture capture;
    Time time = {7, 7};
    EXPECT_EQ(Time_DataToTime(&data, &time), Error_Fail);
    ExpectTime(time, 0, 0);
    ASSERT_EQ(capture.Lines().size(), 1u) << data.year;
    EXPECT_EQ(capture.Lines()[0], "#### Error: FileTimeToSystemTime failed!\n");
  }
}

TEST(TimeDataToTime, AcceptsTheEndsOfTheRange) {
  Time time = {};
  const TimeData last = {2106, 2, 0, 7, 6, 28, 15, 999};
  EXPECT_EQ(Time_DataToTime(&last, &time), Error_None);
  ExpectTime(time, 4294967295, 999);
  const TimeData leap = {2000, 2, 0, 29, 23, 59, 59, 0};
  EXPECT_EQ(Time_DataToTime(&leap, &time), Error_None);
  ExpectTime(time, 951868799, 0);
}

TEST(TimeDataToTime, RefusesNullPointers) {
  Time time = {7, 7};
  const TimeData data = {};
  EXPECT_EQ(Time_DataToTime(nullptr, &time), Error_Invalid);
  ExpectTime(time, 0, 0);
  EXPECT_EQ(Time_DataToTime(&data, nullptr), Error_Invalid);
}

TEST(TimeCompare, ComparesSecondsThenMilliseconds) {
  const Time a = {100, 500};
  const Time later = {103, 100};
  const Time sameSecond = {100, 501};
  EXPECT_EQ(Time_Compare(&a, &a), 0);
  EXPECT_EQ(Time_Compare(&a, &later), -3);
  EXPECT_EQ(Time_Compare(&later, &a), 3);
  EXPECT_EQ(Time_Compare(&a, &sameSecond), -1);
  EXPECT_EQ(Time_Compare(&sameSecond, &a), 1);
}

TEST(TimeCompare, KeepsTheSignOverAnyDistance) {
  const Time first = {0, 0};
  const Time last = {0xFFFFFFFFu, 0};
  const Time middle = {0x80000000u, 0};
  EXPECT_EQ(Time_Compare(&last, &first), INT32_MAX);
  EXPECT_EQ(Time_Compare(&first, &last), INT32_MIN);
  EXPECT_EQ(Time_Compare(&middle, &first), INT32_MAX);
  EXPECT_EQ(Time_Compare(nullptr, &last), INT32_MIN);
  EXPECT_EQ(Time_Compare(nullptr, nullptr), 0);
}

TEST(TimeDiff, IsPositiveWhenTheSecondIsLater) {
  const Time a = {100, 900};
  const Time b = {102, 100};
  EXPECT_DOUBLE_EQ(Time_DiffMilliseconds(&a, &b), 1200.0);
  EXPECT_DOUBLE_EQ(Time_DiffMilliseconds(&b, &a), -1200.0);
  EXPECT_DOUBLE_EQ(Time_DiffSeconds(&a, &b), 1.2);
  EXPECT_DOUBLE_EQ(Time_DiffSeconds(&b, &a), -1.2);
}

TEST(TimeDiff, MultipliesMillisecondsByAThousandth) {
  const Time a = {100, 0};
  const Time b = {100, 9};
  EXPECT_EQ(Time_DiffSeconds(&a, &b), 0.009000000000000001) << "a division by 1000 gives 0.009";
  EXPECT_EQ(Time_DiffSeconds(&b, &a), -0.009000000000000001);
}

TEST(TimeDiff, DoesNotWrap) {
  const Time first = {0, 0};
  const Time last = {0xFFFFFFFFu, 999};
  EXPECT_DOUBLE_EQ(Time_DiffMilliseconds(&first, &last), 4294967295999.0);
  EXPECT_DOUBLE_EQ(Time_DiffMilliseconds(&last, &first), -4294967295999.0);
  EXPECT_DOUBLE_EQ(Time_DiffMilliseconds(nullptr, &last), 0.0);
}

struct AddRow {
  Time time;
  int32_t seconds;
  int32_t milliseconds;
  Time result;
};

TEST(TimeAdd, CarriesMillisecondsIntoSeconds) {
  const AddRow rows[] = {
      {{5, 200}, 0, 0, {5, 200}},
      {{5, 200}, 1, 799, {6, 999}},
      {{5, 200}, 0, 800, {6, 0}},
      {{5, 200}, -2, 2850, {6, 50}},
      {{5, 200}, 0, -200, {5, 0}},
      {{5, 200}, 0, -201, {4, 999}},
      {{5, 0}, 0, -1, {4, 999}},
      {{5, 0}, 0, -999, {4, 1}},
      {{5, 0}, 0, -1001, {3, 999}},
      {{0, 0}, -1, 0, {0xFFFFFFFFu, 0}},
      // The ends of 32 bits, and a sum beyond them, which comes out negative.
      {{5, 0}, 0, INT32_MAX, {2147488, 647}},
      {{2147489, 0}, 0, INT32_MIN, {5, 352}},
      {{2147488, 999}, 0, INT32_MAX, {5, 350}},
  };
  for (const AddRow& row : rows) {
    Time result = {};
    Time_Add(&row.time, row.seconds, row.milliseconds, &result);
    ExpectTime(result, row.result.seconds, row.result.milliseconds);
  }
}

TEST(TimeAdd, LeavesThousandMillisecondsForExactNegativeMultiples) {
  const AddRow rows[] = {
      {{5, 200}, 0, -1200, {3, 1000}}, {{5, 0}, 0, -1000, {3, 1000}}, {{5, 0}, 0, -2000, {2, 1000}}};
  for (const AddRow& row : rows) {
    Time result = {};
    Time_Add(&row.time, row.seconds, row.milliseconds, &result);
    ExpectTime(result, row.result.seconds, row.result.milliseconds);
  }
}

TEST(TimeAdd, WorksInPlace) {
  Time time = {5, 900};
  Time_Add(&time, 10, 200, &time);
  ExpectTime(time, 16, 100);
  Time_Add(nullptr, 1, 1, &time);
  Time_Add(&time, 1, 1, nullptr);
  ExpectTime(time, 16, 100);
}

// File times, counted by hand from the days between 1601 and the date.
constexpr uint64_t kFileTime1970 = 116444736000000000;
constexpr uint64_t kFileTimeLeapDay = kFileTime1970 + 8255972967890000;

TEST(FileTime, BecomesTheSameMoment) {
  Time time = {};
  EXPECT_EQ(iTime_FromFileTime(kFileTime1970, true, &time), Error_None);
  ExpectTime(time, 0, 0);
  EXPECT_EQ(iTime_FromFileTime(kFileTime1970 + 828000000000, true, &time), Error_None);
  ExpectTime(time, 82800, 0);  // 23:00:00.000
  EXPECT_EQ(iTime_FromFileTime(kFileTime1970 + 863999990000, true, &time), Error_None);
  ExpectTime(time, 86399, 999);  // 23:59:59.999
  EXPECT_EQ(iTime_FromFileTime(kFileTimeLeapDay + 9999, true, &time), Error_None);
  ExpectTime(time, 825597296, 789);
  EXPECT_EQ(iTime_FromFileTime(kFileTime1970 + 42949672959990000, false, &time), Error_None);
  ExpectTime(time, 4294967295, 999);
}

TEST(FileTime, CrossesLeapDaysAndTurnsOfCenturies) {
  const struct {
    uint32_t daysSince1970;
    uint32_t month, day, year, dayOfWeek;
  } rows[] = {{10956, 12, 31, 1999, 5}, {10957, 1, 1, 2000, 6},  {11015, 2, 28, 2000, 1},
              {11016, 2, 29, 2000, 2},  {11017, 3, 1, 2000, 3},  {11322, 12, 31, 2000, 0},
              {11323, 1, 1, 2001, 1},   {47540, 2, 28, 2100, 0}, {47541, 3, 1, 2100, 1},
              {789, 2, 29, 1972, 2},    {1095, 12, 31, 1972, 0}};
  for (const auto& row : rows) {
    Time time = {};
    EXPECT_EQ(iTime_FromFileTime(kFileTime1970 + row.daysSince1970 * uint64_t{864000000000}, false, &time),
              Error_None);
    ExpectTime(time, row.daysSince1970 * 86400, 0);
    TimeData data = {};
    Time_TimeToData(&time, &data);
    EXPECT_EQ(data.month, row.month);
    EXPECT_EQ(data.day, row.day);
    EXPECT_EQ(data.year, row.year);
    EXPECT_EQ(data.dayOfWeek, row.dayOfWeek);
    uint64_t back = 0;
    EXPECT_EQ(iTime_ToFileTime(&time, &back), Error_None);
    EXPECT_EQ(back, kFileTime1970 + row.daysSince1970 * uint64_t{864000000000});
  }
}

TEST(FileTime, WithoutLocalTakesUtcFieldsForLocalOnes) {
  TimeZone zone("EST5");
  Time time = {};
  EXPECT_EQ(iTime_FromFileTime(kFileTimeLeapDay, false, &time), Error_None);
  ExpectTime(time, 825597296 + 5 * 3600, 789);
}

TEST(FileTime, IsWrittenWithLocalFields) {
  TimeZone zone("EST5");
  uint64_t fileTime = 0;
  EXPECT_EQ(iTime_ToFileTime(&kLeapDay, &fileTime), Error_None);
  EXPECT_EQ(fileTime, kFileTimeLeapDay - 5 * uint64_t{36000000000});
  Time back = {};
  EXPECT_EQ(iTime_FromFileTime(fileTime, false, &back), Error_None);
  ExpectTime(back, 825597296, 789);
}

TEST(FileTime, CarriesAThousandMilliseconds) {
  const Time time = {825597296, 1000};
  uint64_t fileTime = 0;
  EXPECT_EQ(iTime_ToFileTime(&time, &fileTime), Error_None);
  EXPECT_EQ(fileTime, kFileTime1970 + 8255972970000000);
}

TEST(FileTime, ReportsValuesThatNoCalendarHas) {
  for (uint64_t fileTime : {uint64_t{1} << 63, UINT64_MAX}) {
    ErrorCapture capture;
    Time time = {7, 7};
    EXPECT_EQ(iTime_FromFileTime(fileTime, true, &time), Error_Fail);
    EXPECT_EQ(iTime_FromFileTime(fileTime, false, &time), Error_Fail);
    ExpectTime(time, 0, 0);
    ASSERT_EQ(capture.Lines().size(), 2u);
    EXPECT_EQ(capture.Lines()[0], "#### Error: FileTimeToLocalFileTime failed!\n");
    EXPECT_EQ(capture.Lines()[1], "#### Error: FileTimeToSystemTime failed!\n");
  }
}

TEST(FileTime, ReportsDatesThatATimeDoesNotReach) {
  for (uint64_t fileTime :
       {uint64_t{0}, kFileTime1970 - 10000, kFileTime1970 + 42949672960000000, uint64_t{INT64_MAX}}) {
    ErrorCapture capture;
    Time time = {7, 7};
    EXPECT_EQ(iTime_FromFileTime(fileTime, false, &time), Error_Fail);
    ExpectTime(time, 0, 0);
    ASSERT_EQ(capture.Lines().size(), 1u) << fileTime;
    EXPECT_EQ(capture.Lines()[0], "#### Error: FileTimeToSystemTime failed!\n");
  }
}

TEST(FileTime, RefusesNullPointers) {
  uint64_t fileTime = 7;
  EXPECT_EQ(iTime_FromFileTime(kFileTime1970, true, nullptr), Error_Invalid);
  EXPECT_EQ(iTime_ToFileTime(&kLeapDay, nullptr), Error_Invalid);
  EXPECT_EQ(iTime_ToFileTime(nullptr, &fileTime), Error_Fail);
  EXPECT_EQ(fileTime, 0u);
}

TEST(Clock, PassesWhileTheProgramSleeps) {
  const uint64_t before = platform::MonotonicMilliseconds();
  platform::SleepMilliseconds(200);
  const uint64_t passed = platform::MonotonicMilliseconds() - before;
  EXPECT_GE(passed, 160u);  // the tick count of Windows moves in steps of 16 milliseconds
  EXPECT_LT(passed, 5000u);
}

TEST(Clock, NeverGoesBack) {
  uint64_t last = platform::MonotonicMilliseconds();
  for (int i = 0; i < 10000; ++i) {
    const uint64_t now = platform::MonotonicMilliseconds();
    ASSERT_GE(now, last);
    last = now;
  }
}

TEST(Clock, IsNotAffectedByTheWallClock) {
  const uint64_t before = platform::MonotonicMilliseconds();
  const Time tenYearsOn = {825597296 + 10u * 365 * 86400, 0};
  iClock_SetWallClock(&tenYearsOn);
  const uint64_t passed = platform::MonotonicMilliseconds() - before;
  iClock_SetWallClock(nullptr);
  EXPECT_LT(passed, 5000u);
}

}  // namespace
