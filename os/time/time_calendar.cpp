// Calendar records and file times. The C library knows the local time zone; all else is counted here, in the
// Gregorian calendar from 1601, where its cycle of 400 years begins.
#include <algorithm>
#include <cstddef>

#include "os/platform/walltime.h"
#include "os/time/time_internal.h"
#include "qz/error.h"
#include "qz/time.h"

namespace {

constexpr uint64_t kUnitsPerMillisecond = 10000;
constexpr uint64_t kMillisecondsPerDay = 86400000;

constexpr uint32_t kFirstYear = 1601;
constexpr uint32_t kLastYear = 30827;
constexpr uint32_t kDaysPerYear = 365;
constexpr uint32_t kDaysPer4Years = 4 * kDaysPerYear + 1;
constexpr uint32_t kDaysPer100Years = 25 * kDaysPer4Years - 1;
constexpr uint32_t kDaysPer400Years = 4 * kDaysPer100Years + 1;
constexpr uint32_t kDaysPerMonth[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

static_assert(offsetof(Time, milliseconds) == 4 && sizeof(Time) == 8);
static_assert(offsetof(TimeData, month) == 4 && offsetof(TimeData, dayOfWeek) == 8 &&
              offsetof(TimeData, day) == 12 && offsetof(TimeData, hour) == 16 &&
              offsetof(TimeData, minute) == 20 && offsetof(TimeData, second) == 24 &&
              offsetof(TimeData, milliseconds) == 28 && sizeof(TimeData) == 32);

constexpr char kBadCalendar[] = "FileTimeToSystemTime failed!";
constexpr char kBadFileTime[] = "FileTimeToLocalFileTime failed!";

bool IsLeapYear(uint32_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// The month is 1 to 12.
uint32_t DaysInMonth(uint32_t year, uint32_t month) {
  return kDaysPerMonth[month - 1] + (month == 2 && IsLeapYear(year) ? 1 : 0);
}

bool IsValid(const TimeData& data) {
  if (data.year < kFirstYear || data.year > kLastYear) return false;
  if (data.month < 1 || data.month > 12) return false;
  if (data.day < 1 || data.day > DaysInMonth(data.year, data.month)) return false;
  return data.hour < 24 && data.minute < 60 && data.second < 60 && data.milliseconds < 1000;
}

// Days since 1601-01-01, of a valid date.
uint64_t DaysFromDate(const TimeData& data) {
  const uint32_t years = data.year - kFirstYear;
  uint64_t days = uint64_t{years} * kDaysPerYear + years / 4 - years / 100 + years / 400;
  for (uint32_t month = 1; month < data.month; ++month) days += DaysInMonth(data.year, month);
  return days + data.day - 1;
}

// Sets year, month and day.
void SetDate(uint64_t days, TimeData* data) {
  uint32_t left = static_cast<uint32_t>(days % kDaysPer400Years);
  // The last century and the last year of a cycle have one day more: they must not count as a fifth one.
  const uint32_t centuries = std::min(left / kDaysPer100Years, 3u);
  left -= centuries * kDaysPer100Years;
  const uint32_t fourYears = left / kDaysPer4Years;
  left %= kDaysPer4Years;
  const uint32_t years = std::min(left / kDaysPerYear, 3u);
  left -= years * kDaysPerYear;

  data->year = kFirstYear + static_cast<uint32_t>(days / kDaysPer400Years) * 400 + centuries * 100 +
               fourYears * 4 + years;
  data->month = 1;
  for (; left >= DaysInMonth(data->year, data->month); ++data->month) {
    left -= DaysInMonth(data->year, data->month);
  }
  data->day = left + 1;
}

uint64_t FileTimeFromData(const TimeData& data) {
  const uint64_t seconds = (uint64_t{data.hour} * 60 + data.minute) * 60 + data.second;
  const uint64_t milliseconds = DaysFromDate(data) * kMillisecondsPerDay + seconds * 1000 + data.milliseconds;
  return milliseconds * kUnitsPerMillisecond;
}

TimeData DataFromFileTime(uint64_t fileTime) {
  const uint64_t milliseconds = fileTime / kUnitsPerMillisecond;
  const uint32_t ofDay = static_cast<uint32_t>(milliseconds % kMillisecondsPerDay);
  TimeData data = {};
  SetDate(milliseconds / kMillisecondsPerDay, &data);
  data.hour = ofDay / 3600000;
  data.minute = ofDay / 60000 % 60;
  data.second = ofDay / 1000 % 60;
  data.milliseconds = ofDay % 1000;
  return data;
}

ErrorCode Refuse(const char* message) {
  Error("%s", message);
  return Error_Fail;
}

bool IsFileTime(uint64_t fileTime) {
  return fileTime <= INT64_MAX;
}

// Takes the moment of a file time (in UTC) as it is when `local` holds its local fields. The fields alone do
// not suffice: in a repeated hour they stand for two moments.
bool TakeMoment(uint64_t fileTime, const TimeData& local, Time* time) {
  const int64_t seconds =
      static_cast<int64_t>(fileTime) / platform::kFileTimeUnitsPerSecond - platform::kSecondsFrom1601To1970;
  if (seconds < 0 || seconds > UINT32_MAX) return false;
  const Time moment = {static_cast<uint32_t>(seconds), local.milliseconds};
  TimeData fields;
  if (!iTime_ToLocalData(&moment, &fields)) return false;
  if (FileTimeFromData(fields) != FileTimeFromData(local)) return false;
  *time = moment;
  return true;
}

}  // namespace

bool iTime_ToLocalData(const Time* time, TimeData* data) {
  *data = {};
  platform::CalendarFields fields;
  if (time == nullptr || !platform::LocalFromSeconds(time->seconds, &fields)) return false;
  data->year = static_cast<uint32_t>(fields.year);
  data->month = static_cast<uint32_t>(fields.month);
  data->dayOfWeek = static_cast<uint32_t>(fields.dayOfWeek);
  data->day = static_cast<uint32_t>(fields.day);
  data->hour = static_cast<uint32_t>(fields.hour);
  data->minute = static_cast<uint32_t>(fields.minute);
  data->second = static_cast<uint32_t>(fields.second);
  data->milliseconds = time->milliseconds;
  return true;
}

void Time_GetData(TimeData* data) {
  Time now;
  Time_Get(&now);
  Time_TimeToData(&now, data);
}

void Time_TimeToData(const Time* time, TimeData* data) {
  if (data != nullptr) iTime_ToLocalData(time, data);
}

ErrorCode Time_DataToTime(const TimeData* data, Time* time) {
  if (time == nullptr) return Error_Invalid;
  *time = {};
  if (data == nullptr) return Error_Invalid;
  if (!IsValid(*data)) return Refuse(kBadCalendar);
  const platform::CalendarFields fields = {
      static_cast<int32_t>(data->year),      static_cast<int32_t>(data->month),
      static_cast<int32_t>(data->dayOfWeek), static_cast<int32_t>(data->day),
      static_cast<int32_t>(data->hour),      static_cast<int32_t>(data->minute),
      static_cast<int32_t>(data->second)};
  int64_t seconds = 0;
  const bool known = platform::SecondsFromLocal(fields, &seconds);
  if (!known || seconds < 0 || seconds > UINT32_MAX) return Refuse(kBadCalendar);
  *time = {static_cast<uint32_t>(seconds), data->milliseconds};
  return Error_None;
}

ErrorCode iTime_FromFileTime(uint64_t hundredNanoseconds, bool toLocal, Time* time) {
  if (time == nullptr) return Error_Invalid;
  *time = {};
  uint64_t fileTime = hundredNanoseconds;
  if (toLocal && (!IsFileTime(fileTime) || !platform::LocalFileTime(hundredNanoseconds, &fileTime))) {
    return Refuse(kBadFileTime);
  }
  if (!IsFileTime(fileTime)) return Refuse(kBadCalendar);
  // Kept: without toLocal the fields in UTC are taken for local ones; stored file dates carry that distance.
  const TimeData data = DataFromFileTime(fileTime);
  if (toLocal && TakeMoment(hundredNanoseconds, data, time)) return Error_None;
  return Time_DataToTime(&data, time);
}

ErrorCode iTime_ToFileTime(const Time* time, uint64_t* hundredNanoseconds) {
  if (hundredNanoseconds == nullptr) return Error_Invalid;
  *hundredNanoseconds = 0;
  TimeData data;
  if (!iTime_ToLocalData(time, &data)) return Error_Fail;
  // Kept: the fields stay local ones; what is written so is read back without toLocal.
  *hundredNanoseconds = FileTimeFromData(data);
  return Error_None;
}
