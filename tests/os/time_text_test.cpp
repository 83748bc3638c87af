// Times as text.
#include <gtest/gtest.h>

#include <string>

#include "os/time/clock_testing.h"
#include "qz/error.h"
#include "qz/time.h"
#include "tests/support/error_capture.h"
#include "tests/support/time_zone.h"

namespace {

constexpr char kInvalid[] = "Error_Invalid";

// The date text that a parsed text stands for, or kInvalid for a refused one; the wall clock stands at
// 1997-03-15 10:20:30.
std::string Parse(const char* text) {
  ErrorCapture capture;
  const Time now = {858421230, 0};
  iClock_SetWallClock(&now);
  Time time = {7, 7};
  const int32_t status = Time_FromString(text, &time);
  iClock_SetWallClock(nullptr);
  if (status != Error_None) {
    EXPECT_EQ(status, Error_Invalid);
    EXPECT_EQ(time.seconds, 0u);
    EXPECT_EQ(time.milliseconds, 0u);
    return kInvalid;
  }
  char printed[64];
  return Time_ToString(&time, printed);
}

TEST(TimeToString, PrintsTheEnglishForm) {
  char text[64];
  const Time time = {852455047, 123};
  EXPECT_EQ(Time_ToString(&time, text), text);
  EXPECT_STREQ(text, "Sun Jan  5 09:04:07 1997");
  const Time twoDigits = {946684799, 0};
  EXPECT_STREQ(Time_ToString(&twoDigits, text), "Fri Dec 31 23:59:59 1999");
  const Time none = {0, 0};
  EXPECT_STREQ(Time_ToString(&none, text), "Thu Jan  1 00:00:00 1970");
}

TEST(TimeToString, NamesEveryDayAndMonth) {
  const char* texts[] = {"Mon Jan  1 00:00:00 2001", "Thu Feb  1 00:00:00 2001", "Thu Mar  1 00:00:00 2001",
                         "Sun Apr  1 00:00:00 2001", "Tue May  1 00:00:00 2001", "Fri Jun  1 00:00:00 2001",
                         "Sun Jul  1 00:00:00 2001", "Wed Aug  1 00:00:00 2001", "Sat Sep  1 00:00:00 2001",
                         "Mon Oct  1 00:00:00 2001", "Thu Nov  1 00:00:00 2001", "Sat Dec  1 00:00:00 2001"};
  for (uint32_t month = 1; month <= 12; ++month) {
    const TimeData data = {2001, month, 0, 1, 0, 0, 0, 0};
    Time time = {};
    ASSERT_EQ(Time_DataToTime(&data, &time), Error_None);
    char text[64];
    EXPECT_STREQ(Time_ToString(&time, text), texts[month - 1]);
  }
}

TEST(TimeToString, PrintsLocalTime) {
  TimeZone zone("EST5EDT");
  char text[64];
  const Time time = {995198400, 0};
  EXPECT_STREQ(Time_ToString(&time, text), "Sun Jul 15 08:00:00 2001");
}

TEST(TimeToString, GivesAnEmptyTextForNoTime) {
  char text[64] = "old";
  EXPECT_EQ(Time_ToString(nullptr, text), text);
  EXPECT_STREQ(text, "");
  const Time time = {0, 0};
  EXPECT_EQ(Time_ToString(&time, nullptr), nullptr);
}

TEST(TimeFromString, ReadsListingDates) {
  EXPECT_EQ(Parse("Jan  5 09:03"), "Sun Jan  5 09:03:00 1997");
  EXPECT_EQ(Parse("Mar 15 23:59"), "Sat Mar 15 23:59:00 1997");
  EXPECT_EQ(Parse("Apr 15 23:59"), "Mon Apr 15 23:59:00 1996");
  EXPECT_EQ(Parse("Dec 31 00:00"), "Tue Dec 31 00:00:00 1996");
}

TEST(TimeFromString, ReadsHeaderDates) {
  EXPECT_EQ(Parse("Sun, 06 Nov 1994 08:49:37 GMT"), "Sun Nov  6 08:49:37 1994");
  EXPECT_EQ(Parse("Sunday, 06-Nov-94 08:49:37 GMT"), kInvalid);  // one token, so there is no month
  EXPECT_EQ(Parse("Sun Nov  6 08:49:37 1994"), "Sun Nov  6 08:49:37 1994");
}

TEST(TimeFromString, GivesBackThePrintedSecond) {
  for (const char* text : {"Sun Jan  5 09:03:07 1997", "Thu Feb 29 23:59:59 1996", "Sat Mar  1 12:00:00 1997",
                           "Sun Apr  1 00:00:00 2001", "Fri Jun  1 00:00:00 2001", "Sun Jul  1 00:00:00 2001",
                           "Wed Aug  1 00:00:00 2001", "Sat Sep  1 00:00:00 2001", "Mon Oct  1 00:00:00 2001",
                           "Thu Nov  1 00:00:00 2001", "Tue Dec 31 23:59:59 2030"}) {
    EXPECT_EQ(Parse(text), text);
  }
}

TEST(TimeFromString, ReadsMayAsMarch) {
  EXPECT_EQ(Parse("5 May 10:00 pm"), "Wed Mar  5 22:00:00 1997");
  EXPECT_EQ(Parse("Mon May  5 10:00:00 1997"), "Wed Mar  5 10:00:00 1997");
}

TEST(TimeFromString, TakesMonthPartsAnywhereInAWord) {
  EXPECT_EQ(Parse("5 january 10:00"), "Sun Jan  5 10:00:00 1997");
  EXPECT_EQ(Parse("5 xJULx 10:00"), "Fri Jul  5 10:00:00 1996");
  EXPECT_EQ(Parse("5 ju 10:00"), kInvalid);
  EXPECT_EQ(Parse("5 DECEMBER 10:00"), "Thu Dec  5 10:00:00 1996");
}

TEST(TimeFromString, TakesTheFirstWeekdayAndTheFirstMonth) {
  // "Monthu" is a weekday; the next word may be a month although it also holds one of a weekday.
  EXPECT_EQ(Parse("Mon Satjan 5 10:00"), "Sun Jan  5 10:00:00 1997");
  EXPECT_EQ(Parse("Satjan 5 10:00"), kInvalid);
  EXPECT_EQ(Parse("Feb Jan 5 10:00"), "Wed Feb  5 10:00:00 1997");
}

TEST(TimeFromString, NeedsATimeOfDay) {
  EXPECT_EQ(Parse("Jan 5 1996"), kInvalid);
  EXPECT_EQ(Parse("Jan 5 1996 12:"), kInvalid);
  EXPECT_EQ(Parse("Jan 5 1996 12:x"), kInvalid);
  EXPECT_EQ(Parse("Jan 5 1996 123x:30"), kInvalid);
  EXPECT_EQ(Parse("Jan 5 1996 12x30:40"), kInvalid);
}

TEST(TimeFromString, NeedsMonthAndDay) {
  EXPECT_EQ(Parse("5 09:03"), kInvalid);
  EXPECT_EQ(Parse("Jan 09:03"), kInvalid);
  EXPECT_EQ(Parse(""), kInvalid);
  EXPECT_EQ(Parse(" ,\t\r\n"), kInvalid);
}

TEST(TimeFromString, TakesFourCharactersForAYearBeforeAnythingElse) {
  EXPECT_EQ(Parse("Jan 5 1996 10:00"), "Fri Jan  5 10:00:00 1996");
  EXPECT_EQ(Parse("Jan 5 9:03"), kInvalid);
  EXPECT_EQ(Parse("Jan 5 2001 10:30 20xx 2002"), "Sat Jan  5 10:30:00 2002");
}

TEST(TimeFromString, SortsOtherNumbersByTheirSize) {
  EXPECT_EQ(Parse("Jan 31 96 10:00"), "Wed Jan 31 10:00:00 1996");
  EXPECT_EQ(Parse("Jan 31 81 10:00"), "Sat Jan 31 10:00:00 1981");
  EXPECT_EQ(Parse("Jan 31 80 10:00"), "Fri Jan 31 10:00:00 1997");
  EXPECT_EQ(Parse("Jan 31 32 10:00"), "Fri Jan 31 10:00:00 1997");
  EXPECT_EQ(Parse("Jan 31 101 10:00"), "Wed Jan 31 10:00:00 2001");
  EXPECT_EQ(Parse("Jan 31 02001 10:00"), "Wed Jan 31 10:00:00 2001");
  EXPECT_EQ(Parse("Jan 005 10:00"), "Sun Jan  5 10:00:00 1997");
}

TEST(TimeFromString, ReadsSecondsWhenTheyAreThere) {
  EXPECT_EQ(Parse("Jan 5 10:20:30"), "Sun Jan  5 10:20:30 1997");
  EXPECT_EQ(Parse("Jan 5 10:20:"), "Sun Jan  5 10:20:00 1997");
  EXPECT_EQ(Parse("Jan 5 10:20x:30"), "Sun Jan  5 10:20:00 1997");
  EXPECT_EQ(Parse("Jan 5 10:20x30"), "Sun Jan  5 10:20:00 1997");
}

TEST(TimeFromString, AddsTwelveHoursAfterNoonOnly) {
  EXPECT_EQ(Parse("Jan 5 01:00 PM"), "Sun Jan  5 13:00:00 1997");
  EXPECT_EQ(Parse("pm Jan 5 01:00"), "Sun Jan  5 13:00:00 1997");
  EXPECT_EQ(Parse("Jan 5 12:00 pm"), "Sun Jan  5 12:00:00 1997");
  EXPECT_EQ(Parse("Jan 5 13:00 pm"), "Sun Jan  5 13:00:00 1997");
  EXPECT_EQ(Parse("Jan 5 12:00 am"), "Sun Jan  5 12:00:00 1997");
  EXPECT_EQ(Parse("Jan 5 01:00 ampm"), "Sun Jan  5 01:00:00 1997");
  EXPECT_EQ(Parse("Jan 5 10:00pm"), "Sun Jan  5 10:00:00 1997");
}

TEST(TimeFromString, KeepsThePmThatCameFirst) {
  EXPECT_EQ(Parse("Jan 5 01:00 pm am"), "Sun Jan  5 13:00:00 1997");
  EXPECT_EQ(Parse("pm Jan 5 am 01:00"), "Sun Jan  5 13:00:00 1997");
  EXPECT_EQ(Parse("Jan 5 01:00 am pm"), "Sun Jan  5 13:00:00 1997");
}

TEST(TimeFromString, SplitsAtEveryDelimiter) {
  EXPECT_EQ(Parse("Jan\t5\t10:00"), "Sun Jan  5 10:00:00 1997");
  EXPECT_EQ(Parse("Jan,5,10:00"), "Sun Jan  5 10:00:00 1997");
  EXPECT_EQ(Parse("Jan\r5\n10:00\r\n"), "Sun Jan  5 10:00:00 1997");
  EXPECT_EQ(Parse(",\tSun,\t5 Jan, 1996,10:00:07"), "Fri Jan  5 10:00:07 1996");
  EXPECT_EQ(Parse("Jan;5;10:00"), kInvalid);
  EXPECT_EQ(Parse("Jan\v5\v10:00"), kInvalid);
}

// Numbers of more than 32 bits are large, whatever their lower bits are.
TEST(TimeFromString, DoesNotWrapNumbers) {
  EXPECT_EQ(Parse("Jan 4294967301 10:00"), kInvalid) << "5 modulo 2^32 is no day";
  EXPECT_EQ(Parse("Jan 18446744073709551621 10:00"), kInvalid) << "5 modulo 2^64 is no day";
  EXPECT_EQ(Parse("Jan 5 4294967306:00"), "Thu Jan  1 00:00:00 1970") << "10 modulo 2^32 is no hour";
  EXPECT_EQ(Parse("Jan 5 10:4294967296"), "Thu Jan  1 00:00:00 1970");
  EXPECT_EQ(Parse("Jan 5 10:00:4294967296"), "Thu Jan  1 00:00:00 1970");
}

// A second time of day says what it says and no more.
TEST(TimeFromString, KeepsTheMinutesThatALaterTimeLacks) {
  EXPECT_EQ(Parse("Jan 5 10:20 12:"), "Sun Jan  5 12:20:00 1997");
}

TEST(TimeFromString, IgnoresAnythingElse) {
  EXPECT_EQ(Parse("-rw-r--r-- Jan 5 10:00 \xFF\xFE :30 _x"), "Sun Jan  5 10:00:00 1997");
}

TEST(TimeFromString, ReportsADateThatDoesNotExistButSucceeds) {
  for (const char* text :
       {"Feb 30 1996 10:00", "Jan 5 25:00", "Jan 0 10:00", "Jan 5 10:60", "Jan 5 10:00:60",
        "Jan 5 1969 10:00", "Jan 5 4294967295 10:00", "Jan 5 99999999999999999999:00", "Jan 5 9:03 10:00"}) {
    ErrorCapture capture;
    Time time = {7, 7};
    EXPECT_EQ(Time_FromString(text, &time), Error_None) << text;
    EXPECT_EQ(time.seconds, 0u);
    EXPECT_EQ(time.milliseconds, 0u);
    ASSERT_EQ(capture.Lines().size(), 1u) << text;
    EXPECT_EQ(capture.Lines()[0], "#### Error: FileTimeToSystemTime failed!\n");
  }
}

TEST(TimeFromString, ReadsAWordOfAMegabyte) {
  const std::string word(1 << 20, 'x');
  EXPECT_EQ(Parse((word + " Jan 5 10:00").c_str()), "Sun Jan  5 10:00:00 1997");
  EXPECT_EQ(Parse((word + "jan 5 10:00").c_str()), "Sun Jan  5 10:00:00 1997");
  EXPECT_EQ(Parse(("Jan 5 10:00 " + std::string(1 << 20, '9')).c_str()), "Thu Jan  1 00:00:00 1970");
}

TEST(TimeFromString, RefusesNullPointers) {
  Time time = {7, 7};
  EXPECT_EQ(Time_FromString(nullptr, &time), Error_Invalid);
  EXPECT_EQ(time.seconds, 0u);
  EXPECT_EQ(Time_FromString("Jan 5 10:00", nullptr), Error_Invalid);
}

TEST(TimeCountdownString, SpeaksInWords) {
  const struct {
    uint32_t seconds;
    const char* text;
  } rows[] = {
      {0, "0 seconds"},
      {1, "1 second"},
      {59, "59 seconds"},
      {60, "1 minute 0 seconds"},
      {61, "1 minute 1 second"},
      {599, "9 minutes 59 seconds"},
      {600, "10 minutes"},
      {629, "10 minutes"},
      {630, "11 minutes"},
      {3569, "59 minutes"},
      {3570, "60 minutes"},
      {3599, "60 minutes"},
      {3600, "1 hour 0 minutes"},
      {3629, "1 hour 0 minutes"},
      {3630, "1 hour 1 minute"},
      {3660, "1 hour 1 minute"},
      {7199, "1 hour 60 minutes"},
      {7200, "2 hours 0 minutes"},
      {86399, "23 hours 60 minutes"},
      {86400, "1 day 0 hours"},
      {88199, "1 day 0 hours"},
      {88200, "1 day 1 hour"},
      {90000, "1 day 1 hour"},
      {172799, "1 day 24 hours"},
      {172800, "2 days 0 hours"},
      {4294967294, "49710 days 6 hours"},
      {4294967295, "(Unknown)"},
  };
  for (const auto& row : rows) {
    char text[64];
    EXPECT_EQ(Time_CountdownString(row.seconds, text), static_cast<int32_t>(std::string(row.text).size()));
    EXPECT_STREQ(text, row.text) << row.seconds;
  }
  EXPECT_EQ(Time_CountdownString(5, nullptr), 0);
}

}  // namespace
