#include "tool/reporter.h"

#include <algorithm>
#include <cmath>

#include "qz/time.h"
#include "tool/console.h"
#include "tool/text.h"

namespace tool {
namespace {

using std::chrono::duration;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr auto kBarInterval = milliseconds(100);
constexpr auto kLineInterval = seconds(5);
constexpr auto kSampleInterval = milliseconds(500);
constexpr double kNewestSampleWeight = 0.3;
// The last column makes some terminals wrap, and Ctrl-C is echoed as "^C" behind the bar.
constexpr std::size_t kReservedColumns = 3;
constexpr std::size_t kShortestBar = 10;
constexpr std::size_t kLongestBar = 20;
constexpr std::size_t kLongestBarName = 24;
constexpr std::size_t kNameShareOfLine = 3;  // at most a third
constexpr const char* kBarColour = "\x1b[36m";
constexpr const char* kPlainColour = "\x1b[0m";

ProgressKind ResolvedKind(const Options& options) {
  if (options.quiet) return ProgressKind::None;
  if (options.progress != ProgressKind::Automatic) return options.progress;
  return console::IsTerminal(console::Channel::Messages) ? ProgressKind::Bar : ProgressKind::Lines;
}

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

// Characters of a text that holds no control characters: UTF-8 continuation bytes have no width.
std::size_t Width(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0u) != 0x80u; }));
}

std::string CutToWidth(const std::string& text, std::size_t width) {
  std::size_t end = 0, characters = 0;
  while (end < text.size()) {
    const bool continuation = (static_cast<unsigned char>(text[end]) & 0xC0u) == 0x80u;
    if (!continuation && characters++ == width) break;
    end++;
  }
  return text.substr(0, end);
}

std::string Joined(const std::string& first, const std::string& second) {
  return second.empty() ? first : first + "  " + second;
}

}  // namespace

ProgressMeter::ProgressMeter(std::uint64_t position, std::optional<std::uint64_t> total,
                             Clock::time_point now)
    : position_(position), total_(total), sampleTime_(now), samplePosition_(position) {}

void ProgressMeter::MoveTo(std::uint64_t position, Clock::time_point now) {
  position_ = position;
  const auto elapsed = now - sampleTime_;
  if (elapsed < kSampleInterval) return;
  const double speed = static_cast<double>(position - samplePosition_) / duration<double>(elapsed).count();
  const bool first = bytesPerSecond_ == 0;
  bytesPerSecond_ = first ? speed : speed * kNewestSampleWeight + bytesPerSecond_ * (1 - kNewestSampleWeight);
  sampleTime_ = now;
  samplePosition_ = position;
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

std::string BarLine(const std::string& name, const ProgressMeter& meter, unsigned columns) {
  const std::string numbers = Joined(Joined(meter.AmountText(), meter.SpeedText()), meter.TimeLeftText());
  const std::size_t wanted = columns > kReservedColumns ? columns - kReservedColumns : 1;
  std::string line = CutToWidth(name, std::min(kLongestBarName, wanted / kNameShareOfLine));
  if (const auto share = meter.Share()) {
    line += " " + PercentText(*share) + " ";
    const std::size_t taken = Width(line) + 2 + 1 + Width(numbers);
    const std::size_t room = wanted > taken ? std::min(wanted - taken, kLongestBar) : 0;
    if (room >= kShortestBar) line += Bar(*share, room) + " ";
  } else {
    line += " ";
  }
  line = CutToWidth(line + numbers, wanted);
  return line + std::string(wanted - Width(line), ' ');
}

Reporter::Reporter(const Options& options)
    : quiet_(options.quiet),
      verbose_(options.verbose),
      colour_(console::HasColour(console::Channel::Messages)),
      kind_(ResolvedKind(options)) {}

void Reporter::Say(const std::string& text) {
  if (!quiet_) PrintLine("qz: " + text);
}

void Reporter::ReportError(const std::string& text) {
  PrintLine("qz: " + text);
}

void Reporter::Sent(const std::string& line) {
  if (verbose_) PrintLine("> " + line);
}

void Reporter::Received(int code, const std::string& text) {
  if (verbose_ && code != 0) PrintLine("< " + std::to_string(code) + " " + text);
}

void Reporter::BeginProgress(const std::string& name, std::uint64_t position,
                             std::optional<std::uint64_t> total) {
  name_ = Printable(name);
  meter_.emplace(position, total, Clock::now());
  lastShown_ = Clock::now();
  if (kind_ == ProgressKind::Bar) DrawBar();
  if (kind_ == ProgressKind::Lines) PrintProgressLine();
}

void Reporter::MoveProgress(std::uint64_t position) {
  if (kind_ == ProgressKind::None || !meter_) return;
  const auto now = Clock::now();
  meter_->MoveTo(position, now);
  const bool bar = kind_ == ProgressKind::Bar;
  if (now - lastShown_ < (bar ? Clock::duration(kBarInterval) : Clock::duration(kLineInterval))) return;
  lastShown_ = now;
  if (bar) {
    DrawBar();
  } else {
    PrintProgressLine();
  }
}

void Reporter::EndProgress() {
  if (meter_ && barShown_) {
    DrawBar();
    console::Write(console::Channel::Messages, "\n", 1);
    barShown_ = false;
  }
  meter_.reset();
}

void Reporter::PrintLine(const std::string& text) {
  ClearBar();
  const std::string line = Printable(text) + "\n";
  console::Write(console::Channel::Messages, line.data(), line.size());
}

void Reporter::ClearBar() {
  if (!barShown_) return;
  const std::string spaces = "\r" + std::string(console::Columns() - 1, ' ') + "\r";
  console::Write(console::Channel::Messages, spaces.data(), spaces.size());
  barShown_ = false;
}

void Reporter::DrawBar() {
  const std::string line = BarLine(name_, *meter_, console::Columns());
  const std::string shown = colour_ ? "\r" + std::string(kBarColour) + line + kPlainColour : "\r" + line;
  console::Write(console::Channel::Messages, shown.data(), shown.size());
  barShown_ = true;
}

void Reporter::PrintProgressLine() {
  std::string text = name_ + ": ";
  if (const auto share = meter_->Share()) text += PercentText(*share) + "  ";
  PrintLine(Joined(Joined(text + meter_->AmountText(), meter_->SpeedText()), meter_->TimeLeftText()));
}

}  // namespace tool
