#include "tool/progress.h"

#include <algorithm>
#include <cmath>

#include "qz/time.h"
#include "tool/text.h"
#include "tool/text_width.h"

namespace tool {
namespace {

using std::chrono::duration;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr auto kSampleInterval = milliseconds(500);
constexpr auto kLongestSilence = seconds(3);
constexpr double kNewestSampleWeight = 0.3;
// The last column makes some terminals wrap, and Ctrl-C is echoed as "^C" behind the bar.
constexpr std::size_t kReservedColumns = 3;
constexpr std::size_t kShortestBar = 10;
constexpr std::size_t kLongestBar = 20;
constexpr std::size_t kLongestBarName = 24;
constexpr std::size_t kNameShareOfLine = 3;  // at most a third
constexpr std::size_t kFewestLines = 2;

std::string PercentText(double share) {
  const std::string number = std::to_string(static_cast<int>(share * 100));
  return std::string(number.size() < 3 ? 3 - number.size() : 0, ' ') + number + "%";
}

std::string Bar(double share, std::size_t width) {
  const auto filled = static_cast<std::size_t>(share * static_cast<double>(width));
  std::string bar(width, ' ');
  std::fill_n(bar.begin(), std::min(filled, width), '=');
  if (filled < width) bar[filled] = '>';
  return "[" + bar + "]";
}

std::string Joined(const std::string& first, const std::string& second) {
  return second.empty() ? first : first + "  " + second;
}

std::size_t UsableColumns(unsigned columns) {
  return columns > kReservedColumns ? columns - kReservedColumns : 1;
}

// The text without the parts at its end that there is no room for; two blanks stand between parts.
std::string WholeParts(const std::string& text, std::size_t room) {
  std::size_t end = text.size();
  while (end > 0 && TextColumns(text.substr(0, end)) > room) {
    const std::size_t separator = text.rfind("  ", end - 1);
    end = separator == std::string::npos ? 0 : separator;
  }
  return text.substr(0, end);
}

std::string BarLine(const BarContent& content, std::size_t nameColumns, std::size_t wanted) {
  std::string line = FitToColumns(content.name, nameColumns) + " ";
  if (content.share) {
    line += PercentText(*content.share) + " ";
    const std::size_t taken = TextColumns(line) + 2 + 1 + TextColumns(content.text);
    const std::size_t room = wanted > taken ? std::min(wanted - taken, kLongestBar) : 0;
    if (room >= kShortestBar) line += Bar(*content.share, room) + " ";
  }
  // A number that is cut would be another one; a state in words is not.
  const std::size_t taken = TextColumns(line);
  const std::string text =
      content.share ? WholeParts(content.text, wanted > taken ? wanted - taken : 0) : content.text;
  return FitToColumns(line + text, wanted);
}

}  // namespace

ProgressMeter::ProgressMeter(std::uint64_t position, std::optional<std::uint64_t> total,
                             Clock::time_point now)
    : position_(position), total_(total), lastDataTime_(now), sampleTime_(now), samplePosition_(position) {}

void ProgressMeter::MoveTo(std::uint64_t position, Clock::time_point now) {
  if (position == position_) return;
  const bool back = position < position_;
  position_ = position;
  lastDataTime_ = now;
  if (back) {
    sampleTime_ = now;
    samplePosition_ = position;
  } else if (now - sampleTime_ >= kSampleInterval) {
    TakeSample(now);
  }
}

void ProgressMeter::TakeSample(Clock::time_point now) {
  const double elapsedSeconds = duration<double>(now - sampleTime_).count();
  const double speed = static_cast<double>(position_ - samplePosition_) / elapsedSeconds;
  const bool first = bytesPerSecond_ == 0;
  bytesPerSecond_ = first ? speed : speed * kNewestSampleWeight + bytesPerSecond_ * (1 - kNewestSampleWeight);
  sampleTime_ = now;
  samplePosition_ = position_;
}

std::optional<double> ProgressMeter::Share() const {
  if (!total_) return std::nullopt;
  if (*total_ == 0) return 1.0;
  return std::min(1.0, static_cast<double>(position_) / static_cast<double>(*total_));
}

std::string ProgressMeter::AmountText() const {
  return total_ ? SizeText(position_) + " of " + SizeText(*total_) : SizeText(position_);
}

std::string ProgressMeter::SpeedText() const {
  if (bytesPerSecond_ < 1) return "";
  return SizeText(static_cast<std::uint64_t>(bytesPerSecond_)) + "/s";
}

std::string ProgressMeter::TimeLeftText() const {
  if (!total_ || position_ >= *total_ || bytesPerSecond_ < 1) return "";
  constexpr double kLongest = 4294967294.0;  // the next number means an unknown time
  const double left = std::ceil(static_cast<double>(*total_ - position_) / bytesPerSecond_);
  char buffer[64];
  Time_CountdownString(static_cast<std::uint32_t>(std::min(left, kLongest)), buffer);
  return std::string(buffer) + " left";
}

std::string ProgressMeter::NoDataText(Clock::time_point now) const {
  const auto silence = now - lastDataTime_;
  if (silence < kLongestSilence || (total_ && position_ >= *total_)) return "";
  return "no data for " + std::to_string(duration_cast<seconds>(silence).count()) + " s";
}

std::string ProgressMeter::Text(Clock::time_point now) const {
  const std::string silence = NoDataText(now);
  if (!silence.empty()) return Joined(AmountText(), silence);
  return Joined(Joined(AmountText(), SpeedText()), TimeLeftText());
}

std::vector<std::string> BarLines(const std::vector<BarContent>& contents, unsigned columns) {
  const std::size_t wanted = UsableColumns(columns);
  const std::size_t longest = std::min(kLongestBarName, wanted / kNameShareOfLine);
  std::size_t nameColumns = 0;
  for (const BarContent& content : contents) {
    nameColumns = std::max(nameColumns, TextColumns(CutToColumns(content.name, longest)));
  }
  std::vector<std::string> lines;
  lines.reserve(contents.size());
  for (const BarContent& content : contents) lines.push_back(BarLine(content, nameColumns, wanted));
  return lines;
}

std::string PlainLine(const BarContent& content) {
  const std::string share = content.share ? PercentText(*content.share) + "  " : "";
  return content.name + ": " + share + content.text;
}

std::vector<std::string> FitToRows(std::vector<std::string> lines, unsigned rows, unsigned columns) {
  const std::size_t most = rows > kFewestLines ? rows - 1 : kFewestLines;
  if (lines.size() <= most) return lines;
  const std::size_t missing = lines.size() - (most - 1);
  lines.resize(most - 1);
  lines.push_back(FitToColumns("... and " + std::to_string(missing) + " more", UsableColumns(columns)));
  return lines;
}

}  // namespace tool
