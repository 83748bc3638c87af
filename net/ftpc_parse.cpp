// From the texts of replies to values.
#include <algorithm>
#include <climits>
#include <cstring>

#include "net/ftpc_internal.h"
#include "qz/error.h"

namespace {

constexpr std::string_view kScanWhiteSpace = " \t\n\v\f\r";
constexpr uint32_t kMaximumOctet = 255;

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

bool iFTPc_ScanNumber(std::string_view* text, uint32_t* number) {
  std::string_view rest = *text;
  rest.remove_prefix(std::min(rest.find_first_not_of(kScanWhiteSpace), rest.size()));
  const bool negative = !rest.empty() && rest[0] == '-';
  if (!rest.empty() && (rest[0] == '-' || rest[0] == '+')) rest.remove_prefix(1);
  if (rest.empty() || !IsDigit(rest[0])) return false;

  uint64_t value = 0;
  for (; !rest.empty() && IsDigit(rest[0]); rest.remove_prefix(1)) {
    value = value * 10 + static_cast<uint64_t>(rest[0] - '0');
    if (value > UINT32_MAX) value = UINT32_MAX;
  }
  *number = negative && value != 0 ? UINT32_MAX : static_cast<uint32_t>(value);
  *text = rest;
  return true;
}

// The last "(" counts: servers write texts of their own before it.
ErrorCode iFTPc_ParsePassive(const char* text, uint8_t address[4], int32_t* port) {
  const char* bracket = strrchr(text, '(');
  if (bracket == nullptr) return Error_Invalid;
  std::string_view rest = bracket + 1;
  uint32_t numbers[6];
  for (uint32_t i = 0; i < 6; ++i) {
    if (i > 0) {
      if (rest.empty() || rest[0] != ',') return Error_Invalid;
      rest.remove_prefix(1);
    }
    if (!iFTPc_ScanNumber(&rest, &numbers[i]) || numbers[i] > kMaximumOctet) return Error_Invalid;
  }
  const uint32_t number = numbers[4] * 256 + numbers[5];
  if (number == 0) return Error_Invalid;
  for (uint32_t i = 0; i < 4; ++i) address[i] = static_cast<uint8_t>(numbers[i]);
  *port = static_cast<int32_t>(number);
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
    if (!iFTPc_ScanNumber(&digits, field.value)) return Error_Invalid;
    rest.remove_prefix(std::min(field.width, rest.size()));
  }
  if (Time_DataToTime(&data, time) == Error_None) return Error_None;
  Time_Zero(time);
  return Error_Invalid;
}

ErrorCode iFTPc_ParseSize(const char* text, uint32_t* size) {
  std::string_view rest = text;
  *size = 0;
  return iFTPc_ScanNumber(&rest, size) ? Error_None : Error_Invalid;
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
