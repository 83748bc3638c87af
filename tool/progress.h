// What the progress of transfers looks like: pure functions, the clock is passed in.
#ifndef TOOL_PROGRESS_H
#define TOOL_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

// Position and speed of one transfer as texts.
class ProgressMeter {
 public:
  using Clock = std::chrono::steady_clock;

  ProgressMeter(std::uint64_t position, std::optional<std::uint64_t> total, Clock::time_point now);

  // Called often, also while the position stays. A position before the last one begins anew there.
  void MoveTo(std::uint64_t position, Clock::time_point now);
  void SetTotal(std::optional<std::uint64_t> total) { total_ = total; }

  // Between 0 and 1; nothing while the total is unknown.
  std::optional<double> Share() const;
  // "45.2 MiB of 100.0 MiB", or "45.2 MiB" while the total is unknown.
  std::string AmountText() const;
  std::string SpeedText() const;
  // "1 minute 5 seconds left"; empty when it cannot be known.
  std::string TimeLeftText() const;
  // "no data for 12 s" from the third second on; empty before, and when nothing is missing.
  std::string NoDataText(Clock::time_point now) const;
  // The amount, and behind it speed and time left, or for how long no data came.
  std::string Text(Clock::time_point now) const;

 private:
  void TakeSample(Clock::time_point now);

  std::uint64_t position_;
  std::optional<std::uint64_t> total_;
  Clock::time_point lastDataTime_;
  Clock::time_point sampleTime_;
  std::uint64_t samplePosition_;
  double bytesPerSecond_ = 0;
};

// What a bar shows; the texts are printable.
struct BarContent {
  std::string name;
  std::optional<double> share;  // nothing: no percentage and no bar
  std::string text;
};

// One line for each, of exactly the width that a terminal of so many columns has room for: name, share, bar
// and text, as much as fits. The names take the same width.
std::vector<std::string> BarLines(const std::vector<BarContent>& contents, unsigned columns);

// "disk.iso:  45%  45.2 MiB of 100.0 MiB", for outputs without a bar.
std::string PlainLine(const BarContent& content);

// The lines that a terminal with so many rows has room for, with one row left for a message above them. The
// last one tells how many are missing.
std::vector<std::string> FitToRows(std::vector<std::string> lines, unsigned rows, unsigned columns);

}  // namespace tool

#endif
