// The wall clock, and calendar fields in the local time zone.
#pragma once

#include <cstdint>

namespace platform {

// File times count units of 100 nanoseconds from 1601-01-01 00:00 on.
constexpr int64_t kFileTimeUnitsPerSecond = 10000000;
constexpr int64_t kSecondsFrom1601To1970 = 11644473600;

struct WallTime {
  int64_t seconds;        // since 1970-01-01 00:00 UTC
  uint32_t milliseconds;  // 0 to 999
};

struct CalendarFields {
  int32_t year;
  int32_t month;      // 1 to 12
  int32_t dayOfWeek;  // 0 Sunday to 6 Saturday; not read by SecondsFromLocal
  int32_t day;
  int32_t hour;
  int32_t minute;
  int32_t second;
};

WallTime ReadWallClock();

// False when the C library finds no local fields for it. Any thread.
bool LocalFromSeconds(int64_t seconds, CalendarFields* fields);

// The time zone decides whether daylight saving time applies. The same fields give the same moment whatever
// was converted before, in a repeated hour too. False when there is no time for them. Any thread.
bool SecondsFromLocal(const CalendarFields& fields, int64_t* seconds);

// A file time from UTC to local time. Any thread.
bool LocalFileTime(uint64_t utcFileTime, uint64_t* localFileTime);

}  // namespace platform
