// From the texts of replies to values.
#include <algorithm>
#include <cstring>

#include "net/ftpc_internal.h"
#include "os/text/decimal_internal.h"
#include "qz/error.h"

namespace {

constexpr uint32_t kMaximumOctet = 255;

bool TakeComma(std::string_view* text) {
  if (text->empty() || text->front() != ',') return false;
  text->remove_prefix(1);
  return true;
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
