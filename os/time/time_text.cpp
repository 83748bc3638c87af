// Times as text: the fixed English form, the loose date texts of listings and replies, and durations in
// words.
#include <cstdio>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>

#include "os/text/characterclass_internal.h"
#include "os/text/decimal_internal.h"
#include "os/time/time_internal.h"
#include "qz/error.h"
#include "qz/time.h"

namespace {

// Bounds the texts as if every number had all of 32 bits; no real one fills 32 bytes.
constexpr size_t kMaximumText = 64;

constexpr const char* kDayNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

constexpr char kDelimiters[] = " \t\r\n,";
constexpr std::string_view kDayParts[] = {"mo", "tu", "we", "th", "fr", "sa", "su"};
// Kept: March and May share "ma", so that May is read as March; dates stored from listings rely on it.
constexpr std::string_view kMonthParts[] = {"ja",  "fe", "ma", "ap", "ma", "jun",
                                            "jul", "au", "se", "oc", "no", "de"};
constexpr std::string_view kHalfDayParts[] = {"am", "pm"};
constexpr uint32_t kHalfDayPm = 1;

struct ParsedDate {
  bool hasWeekday = false;
  std::optional<uint32_t> year, month, day, hour, minute;
  uint32_t second = 0;
  bool isPm = false;
};

uint8_t ClassOf(char c) {
  return iCharacter_Class(static_cast<uint8_t>(c));
}

bool IsDigit(char c) {
  return (ClassOf(c) & CharacterClass_Digit) != 0;
}

bool Contains(std::string_view token, std::string_view lowerPart) {
  for (; token.size() >= lowerPart.size(); token.remove_prefix(1)) {
    size_t same = 0;
    while (same < lowerPart.size() &&
           iCharacter_ToLower(static_cast<uint8_t>(token[same])) == static_cast<uint8_t>(lowerPart[same])) {
      ++same;
    }
    if (same == lowerPart.size()) return true;
  }
  return false;
}

// The index of the first part that the token contains anywhere.
template <size_t count>
std::optional<uint32_t> FindPart(std::string_view token, const std::string_view (&parts)[count]) {
  for (uint32_t i = 0; i < count; ++i) {
    if (Contains(token, parts[i])) return i;
  }
  return std::nullopt;
}

void ReadWord(std::string_view token, ParsedDate* date) {
  if (!date->hasWeekday && FindPart(token, kDayParts)) {
    date->hasWeekday = true;
    return;
  }
  if (!date->month) {
    if (const std::optional<uint32_t> index = FindPart(token, kMonthParts)) {
      date->month = *index + 1;
      return;
    }
  }
  if (FindPart(token, kHalfDayParts) == kHalfDayPm) date->isPm = true;
}

bool TakeColon(std::string_view* text) {
  if (text->empty() || text->front() != ':') return false;
  text->remove_prefix(1);
  return true;
}

void ReadTimeOfDay(std::string_view token, ParsedDate* date) {
  date->hour = iDecimal_TakeDigits(&token);
  if (!TakeColon(&token)) return;
  const std::optional<uint32_t> minute = iDecimal_TakeDigits(&token);
  if (!minute) return;
  date->minute = minute;
  if (!TakeColon(&token)) return;
  if (const std::optional<uint32_t> second = iDecimal_TakeDigits(&token)) date->second = *second;
}

void ReadNumber(std::string_view token, ParsedDate* date) {
  // Kept: four characters are a year before anything else, so "9:03" is the year 9; only "09:03" is a time.
  const bool isYear = token.size() == 4;
  if (!isYear && token.find(':') != std::string_view::npos) {
    ReadTimeOfDay(token, date);
    return;
  }
  const uint32_t number = iDecimal_TakeDigits(&token).value_or(0);
  if (isYear || number > 1900) {
    date->year = number;
  } else if (number < 32) {
    date->day = number;
  } else if (number > 80) {
    date->year = number + 1900;
  }
}

ParsedDate ReadTokens(const char* text) {
  ParsedDate date;
  for (;;) {
    text += strspn(text, kDelimiters);
    const std::string_view token(text, strcspn(text, kDelimiters));
    if (token.empty()) return date;
    if ((ClassOf(token.front()) & CharacterClass_Letter) != 0) ReadWord(token, &date);
    if (IsDigit(token.front())) ReadNumber(token, &date);
    text += token.size();
  }
}

// A listing date without a year lies in the past twelve months.
uint32_t YearOfPastMonth(uint32_t month) {
  TimeData now;
  Time_GetData(&now);
  return month > now.month ? now.year - 1 : now.year;
}

const char* PluralSuffix(uint32_t number) {
  return number == 1 ? "" : "s";
}

int32_t PrintOne(uint32_t number, const char* unit, char* buffer) {
  return snprintf(buffer, kMaximumText, "%lu %s%s", static_cast<unsigned long>(number), unit,
                  PluralSuffix(number));
}

int32_t PrintTwo(uint32_t large, const char* largeUnit, uint32_t small, const char* smallUnit, char* buffer) {
  return snprintf(buffer, kMaximumText, "%lu %s%s %lu %s%s", static_cast<unsigned long>(large), largeUnit,
                  PluralSuffix(large), static_cast<unsigned long>(small), smallUnit, PluralSuffix(small));
}

}  // namespace

char* Time_ToString(const Time* time, char* buffer) {
  if (buffer == nullptr) return nullptr;
  buffer[0] = 0;
  TimeData data;
  if (!iTime_ToLocalData(time, &data)) return buffer;
  snprintf(buffer, kMaximumText, "%s %s %2lu %.2lu:%.2lu:%.2lu %lu", kDayNames[data.dayOfWeek],
           kMonthNames[data.month - 1], static_cast<unsigned long>(data.day),
           static_cast<unsigned long>(data.hour), static_cast<unsigned long>(data.minute),
           static_cast<unsigned long>(data.second), static_cast<unsigned long>(data.year));
  return buffer;
}

ErrorCode Time_FromString(const char* text, Time* time) {
  if (time == nullptr) return Error_Invalid;
  Time_Zero(time);
  if (text == nullptr) return Error_Invalid;
  const ParsedDate date = ReadTokens(text);
  if (!date.month || !date.day || !date.hour || !date.minute) return Error_Invalid;

  TimeData data = {};
  data.year = date.year ? *date.year : YearOfPastMonth(*date.month);
  data.month = *date.month;
  data.day = *date.day;
  data.hour = *date.hour;
  // Kept: 12 am stays 12, and "10:00pm" in one word is 10:00; dates stored from listings rely on it.
  if (date.isPm && data.hour < 12) data.hour += 12;
  data.minute = *date.minute;
  data.second = date.second;
  // Kept: a date that does not exist is reported and leaves no time, but the status is success: listings
  // continue.
  Time_DataToTime(&data, time);
  return Error_None;
}

int32_t Time_CountdownString(uint32_t seconds, char* buffer) {
  constexpr uint32_t kUnknown = UINT32_MAX;
  constexpr uint32_t kMinute = 60;
  constexpr uint32_t kHour = 60 * kMinute;
  constexpr uint32_t kDay = 24 * kHour;
  if (buffer == nullptr) return 0;
  if (seconds == kUnknown) return snprintf(buffer, kMaximumText, "(Unknown)");
  if (seconds < kMinute) return PrintOne(seconds, "second", buffer);
  if (seconds < 10 * kMinute) {
    return PrintTwo(seconds / kMinute, "minute", seconds % kMinute, "second", buffer);
  }
  // Kept: the smaller number is rounded without a carry, up to 60 minutes or 24 hours; displays show it so.
  const uint32_t roundedMinute = (seconds % kMinute + 30) / 60;
  if (seconds < kHour) return PrintOne(seconds / kMinute + roundedMinute, "minute", buffer);
  const uint32_t minutes = seconds % kHour / kMinute;
  if (seconds < kDay) return PrintTwo(seconds / kHour, "hour", minutes + roundedMinute, "minute", buffer);
  const uint32_t roundedHour = (minutes + 30) / 60;
  return PrintTwo(seconds / kDay, "day", seconds % kDay / kHour + roundedHour, "hour", buffer);
}
