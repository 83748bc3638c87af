#include "transfer/statistics_values.h"

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

#include "os/text/decimal_internal.h"

namespace {

constexpr char kCommentMarker = '#';
constexpr double kMillionths = 1e6;
// From here on a float has no fraction.
constexpr double kWholeFloats = 16777216.0;

// ---- numbers -----------------------------------------------------------------------------------

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// A whole field that is a count.
std::optional<uint32_t> ParseCount(std::string_view text) {
  const std::optional<uint32_t> count = iDecimal_TakeDigits(&text);
  return text.empty() ? count : std::nullopt;
}

// The digits from the front of the text as a number; how many there were.
size_t TakeDigits(std::string_view* text, double* number) {
  size_t count = 0;
  for (; count < text->size() && IsDigit((*text)[count]); ++count)
    *number = *number * 10 + ((*text)[count] - '0');
  text->remove_prefix(count);
  return count;
}

// A whole field that is a number as "%f" prints it: digits, "." and digits, with a "-" before a negative one.
std::optional<float> ParseFloat(std::string_view text) {
  const bool isNegative = !text.empty() && text.front() == '-';
  if (isNegative) text.remove_prefix(1);
  double number = 0;
  if (TakeDigits(&text, &number) == 0) return std::nullopt;
  if (!text.empty() && text.front() == '.') {
    text.remove_prefix(1);
    double scale = 1;
    for (size_t places = TakeDigits(&text, &number); places != 0; --places) scale *= 10;
    number /= scale;
  }
  if (!text.empty() || !(number <= FLT_MAX)) return std::nullopt;
  return static_cast<float>(isNegative ? -number : number);
}

// As "%f" with a "." whatever the locale has for it.
int FormatFloat(float value, size_t size, char* text) {
  const double magnitude = std::fabs(value);
  const char* const sign = std::signbit(value) ? "-" : "";
  if (magnitude >= kWholeFloats) return snprintf(text, size, "%s%.0f.000000", sign, magnitude);
  // 24 bits by a million are exact in a double, so this rounds once, as printing does.
  const auto millionths = static_cast<uint64_t>(std::nearbyint(magnitude * kMillionths));
  return snprintf(text, size, "%s%lu.%06lu", sign, static_cast<unsigned long>(millionths / 1000000),
                  static_cast<unsigned long>(millionths % 1000000));
}

// ---- samples -----------------------------------------------------------------------------------

void AddSample(float sample, uint32_t* count, float* average) {
  const double n = *count;
  *average = static_cast<float>((n * double{*average} + double{sample}) / (n + 1));
  if (*count != UINT32_MAX) ++*count;
}

// An average that samples can have, or none without them.
bool Settle(uint32_t count, float highest, float none, float* average) {
  if (count == 0) *average = none;
  return count == 0 || (*average >= 0 && *average <= highest);
}

}  // namespace

bool iStatistics_MakeServerKey(const char* host, int32_t port, char (&key)[kServerKeySize]) {
  if (host == nullptr) return false;
  size_t length = 0;
  for (; host[length] != 0; ++length) {
    const auto byte = static_cast<unsigned char>(host[length]);
    if (length == kServerHostLimit || byte <= ' ' || byte == 0x7F || byte == kCommentMarker) return false;
  }
  snprintf(key, sizeof key, "%s:%d", host, static_cast<int>(port));
  return true;
}

void iStatistics_FormatAddress(const ServerAddress& address, char (&text)[kAddressTextSize]) {
  const uint8_t* const bytes = address.bytes;
  snprintf(text, sizeof text, "%d.%d.%d.%d", bytes[0], bytes[1], bytes[2], bytes[3]);
}

bool iStatistics_ParseAddress(const char* text, ServerAddress* address) {
  std::string_view rest(text);
  for (uint8_t& byte : address->bytes) {
    if (&byte != address->bytes) {
      if (rest.empty() || rest.front() != '.') return false;
      rest.remove_prefix(1);
    }
    const std::optional<uint32_t> number = iDecimal_TakeDigits(&rest);
    if (!number || *number > 255) return false;
    byte = static_cast<uint8_t>(*number);
  }
  return rest.empty();
}

void iStatistics_FormatValues(const ServerStatistics& statistics, char (&text)[kStatisticsTextSize]) {
  char speed[64];
  char ratio[64];
  FormatFloat(statistics.averageSpeed, sizeof speed, speed);
  FormatFloat(statistics.successRatio, sizeof ratio, ratio);
  snprintf(text, sizeof text, "%lu %s %lu %s", static_cast<unsigned long>(statistics.speedSamples), speed,
           static_cast<unsigned long>(statistics.outcomeSamples), ratio);
}

bool iStatistics_ParseValues(const char* const* fields, ServerStatistics* statistics) {
  *statistics = kNoStatistics;
  const std::optional<uint32_t> speedSamples = ParseCount(fields[0]);
  const std::optional<float> averageSpeed = ParseFloat(fields[1]);
  const std::optional<uint32_t> outcomeSamples = ParseCount(fields[2]);
  const std::optional<float> successRatio = ParseFloat(fields[3]);
  if (!speedSamples || !averageSpeed || !outcomeSamples || !successRatio) return false;
  ServerStatistics parsed = {*speedSamples, *averageSpeed, *outcomeSamples, *successRatio};
  if (!Settle(parsed.speedSamples, FLT_MAX, kNoStatistics.averageSpeed, &parsed.averageSpeed)) return false;
  if (!Settle(parsed.outcomeSamples, 1.0f, kNoStatistics.successRatio, &parsed.successRatio)) return false;
  *statistics = parsed;
  return true;
}

void iStatistics_AddSpeed(float bytesPerSecond, ServerStatistics* statistics) {
  AddSample(bytesPerSecond, &statistics->speedSamples, &statistics->averageSpeed);
}

void iStatistics_AddOutcome(float outcome, ServerStatistics* statistics) {
  AddSample(outcome, &statistics->outcomeSamples, &statistics->successRatio);
}
