// From the texts of replies to values.
#include <algorithm>
#include <cstring>

#include "net/ftpc_internal.h"
#include "os/text/decimal_internal.h"
#include "qz/error.h"

namespace {

constexpr uint32_t kMaximumOctet = 255;
constexpr size_t kTimeStampDigits = 14;
constexpr uint64_t kSecondsPerDay = 86400;
constexpr uint32_t kFirstYear = 1970;

bool TakeComma(std::string_view* text) {
  if (text->empty() || text->front() != ',') return false;
  text->remove_prefix(1);
  return true;
}

uint32_t NumberAt(std::string_view digits, size_t at, size_t width) {
  uint32_t number = 0;
  for (const char digit : digits.substr(at, width)) number = number * 10 + static_cast<uint32_t>(digit - '0');
  return number;
}

bool IsLeapYear(uint32_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

uint32_t DaysOfMonth(uint32_t year, uint32_t month) {
  constexpr uint32_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// Since the first of January 1970.
uint64_t DaysBefore(uint32_t year, uint32_t month, uint32_t day) {
  uint64_t days = day - 1;
  for (uint32_t before = kFirstYear; before < year; ++before) days += IsLeapYear(before) ? 366 : 365;
  for (uint32_t before = 1; before < month; ++before) days += DaysOfMonth(year, before);
  return days;
}

bool IsFraction(std::string_view text) {
  if (text.empty()) return true;
  return text.size() > 1 && text.front() == '.' &&
         text.find_first_not_of("0123456789", 1) == std::string_view::npos;
}

}  // namespace

// The last "(" counts: servers write texts of their own before it.
ErrorCode iFTPc_ParsePassive(const char* text, uint8_t address[4], int32_t* port) {
  const char* bracket = strrchr(text, '(');
  if (bracket == nullptr) return Error_Invalid;
  std::string_view rest = bracket + 1;
  uint8_t octets[6];
  for (uint32_t i = 0; i < 6; ++i) {
    if (i > 0 && !TakeComma(&rest)) return Error_Invalid;
    const std::optional<uint32_t> number = iDecimal_TakeUnsigned(&rest);
    if (!number || *number > kMaximumOctet) return Error_Invalid;
    octets[i] = static_cast<uint8_t>(*number);
  }
  const int32_t number = octets[4] * 256 + octets[5];
  if (number == 0) return Error_Invalid;
  memcpy(address, octets, 4);
  *port = number;
  return Error_None;
}

ErrorCode iFTPc_ParseModTime(const char* text, Time* time) {
  TimeData data = {};
  struct Field {
    uint32_t* value;
    size_t width;
  };
  const Field fields[] = {{&data.year, 4}, {&data.month, 2},  {&data.day, 2},
                          {&data.hour, 2}, {&data.minute, 2}, {&data.second, 2}};
  Time_Zero(time);
  std::string_view rest = text;
  for (const Field& field : fields) {
    std::string_view digits = rest.substr(0, field.width);
    const std::optional<uint32_t> number = iDecimal_TakeUnsigned(&digits);
    if (!number) return Error_Invalid;
    *field.value = *number;
    rest.remove_prefix(std::min(field.width, rest.size()));
  }
  if (Time_DataToTime(&data, time) == Error_None) return Error_None;
  Time_Zero(time);
  return Error_Invalid;
}

ErrorCode iFTPc_ParseTimeStamp(std::string_view text, Time* time) {
  Time_Zero(time);
  const std::string_view digits = text.substr(0, kTimeStampDigits);
  if (digits.size() < kTimeStampDigits || digits.find_first_not_of("0123456789") != std::string_view::npos)
    return Error_Invalid;
  if (!IsFraction(text.substr(kTimeStampDigits))) return Error_Invalid;
  const uint32_t year = NumberAt(digits, 0, 4);
  const uint32_t month = NumberAt(digits, 4, 2);
  const uint32_t day = NumberAt(digits, 6, 2);
  const uint32_t hour = NumberAt(digits, 8, 2);
  const uint32_t minute = NumberAt(digits, 10, 2);
  const uint32_t second = NumberAt(digits, 12, 2);
  if (year < kFirstYear || month < 1 || month > 12 || day < 1 || day > DaysOfMonth(year, month))
    return Error_Invalid;
  if (hour > 23 || minute > 59 || second > 60) return Error_Invalid;
  const uint64_t seconds =
      DaysBefore(year, month, day) * kSecondsPerDay + hour * 3600u + minute * 60u + second;
  if (seconds > UINT32_MAX) return Error_Invalid;
  time->seconds = static_cast<uint32_t>(seconds);
  return Error_None;
}

ErrorCode iFTPc_ParseSize(const char* text, uint64_t* size) {
  std::string_view rest = text;
  const std::optional<uint64_t> number = iDecimal_TakeUnsigned64(&rest);
  *size = number.value_or(0);
  return number ? Error_None : Error_Invalid;
}

// Kept: a quote doubled inside the name stays doubled; names are sent back to the server as they came.
ErrorCode iFTPc_ParseQuoted(const char* text, char* path) {
  path[0] = 0;
  const char* first = strchr(text, '"');
  const char* last = strrchr(text, '"');
  if (first == nullptr || last - first < 2) return Error_Invalid;
  const auto length = static_cast<size_t>(last - first - 1);
  if (length >= kFTPBuffer_Size) return Error_Exceed;
  memcpy(path, first + 1, length);
  path[length] = 0;
  return Error_None;
}
