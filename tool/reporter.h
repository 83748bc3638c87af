// The program's output for people: messages, the protocol exchange, and the progress of a transfer.
//
// All of it goes to standard error, one place makes every text printable, and a message never lands in the
// middle of the bar.
#ifndef TOOL_REPORTER_H
#define TOOL_REPORTER_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "tool/options.h"

namespace tool {

// Position and speed of one transfer as texts; the clock is passed in.
class ProgressMeter {
 public:
  using Clock = std::chrono::steady_clock;

  ProgressMeter(std::uint64_t position, std::optional<std::uint64_t> total, Clock::time_point now);

  void MoveTo(std::uint64_t position, Clock::time_point now);

  // Between 0 and 1; nothing while the total is unknown.
  std::optional<double> Share() const;
  // "45.2 MiB of 100.0 MiB", or "45.2 MiB" while the total is unknown.
  std::string AmountText() const;
  std::string SpeedText() const;
  // "1 minute 5 seconds left"; empty when it cannot be known.
  std::string TimeLeftText() const;

 private:
  std::uint64_t position_;
  std::optional<std::uint64_t> total_;
  Clock::time_point sampleTime_;
  std::uint64_t samplePosition_;
  double bytesPerSecond_ = 0;
};

// One line for a terminal of that width: name, share, bar, amount, speed and time left, as much as fits.
std::string BarLine(const std::string& name, const ProgressMeter& meter, unsigned columns);

class Reporter {
 public:
  explicit Reporter(const Options& options);

  void Say(const std::string& text);          // not with --quiet
  void ReportError(const std::string& text);  // always
  // A line of the protocol exchange, with --verbose. Callers never pass a password.
  void Sent(const std::string& line);
  void Received(int code, const std::string& text);

  void BeginProgress(const std::string& name, std::uint64_t position, std::optional<std::uint64_t> total);
  void MoveProgress(std::uint64_t position);
  void EndProgress();

 private:
  using Clock = ProgressMeter::Clock;

  void PrintLine(const std::string& text);
  void ClearBar();
  void DrawBar();
  void PrintProgressLine();

  bool quiet_;
  bool verbose_;
  bool colour_;
  ProgressKind kind_;  // never Automatic
  bool barShown_ = false;
  std::string name_;
  std::optional<ProgressMeter> meter_;
  Clock::time_point lastShown_;
};

}  // namespace tool

#endif
