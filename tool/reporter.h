// The program's output for people: messages, and the progress of transfers that run at the same time.
//
// All of it goes to standard error, one place makes every text printable, and a message never lands in the
// middle of a bar. Any thread may call every function, but Tick: only the thread that made the Reporter.
#ifndef TOOL_REPORTER_H
#define TOOL_REPORTER_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tool/options.h"
#include "tool/progress.h"
#include "tool/screen_block.h"

namespace tool {

struct TransferProgress;

// On a terminal the running transfers have a line each at its bottom, one below the other. A terminal that
// cannot move the cursor up has a bar for a single transfer; several print lines, like outputs that are no
// terminal.
class Reporter {
 public:
  explicit Reporter(const Options& options);
  ~Reporter();
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;

  void Say(const std::string& text);          // not with --quiet
  void ReportError(const std::string& text);  // always
  // A message of the library's, with --verbose.
  void ReportMessage(const std::string& text);
  // A line of the protocol exchange, with --verbose. Callers never pass a password.
  void Sent(const std::string& line);
  void Received(int code, const std::string& text);

  // Draws again what is due. Called every 100 milliseconds or more often, whether anything moved or not.
  void Tick();

 private:
  friend class ProgressLine;
  using Clock = ProgressMeter::Clock;

  void Print(const std::string& text);

  // The rest is called under the lock.
  void Show(TransferProgress* transfer, Clock::time_point now);
  void Hide(TransferProgress* transfer, bool leavesLastState);
  void Draw(const std::string& messages, Clock::time_point now);
  bool HasBars() const;
  bool HasPlainLines() const;
  std::vector<std::string> BlockLines(Clock::time_point now) const;
  std::string DuePlainLines(Clock::time_point now);
  std::string Coloured(const std::string& line) const;

  const bool quiet_;
  const bool verbose_;
  const bool colour_;
  const ProgressKind kind_;  // never Automatic
  const bool movesCursor_;
  std::mutex mutex_;
  ScreenBlock block_;
  std::vector<TransferProgress*> shown_;  // in the order in which they began
  Clock::time_point lastTick_;
};

// The progress of one transfer: a bar on a terminal, else a line every 5 seconds. Made, used and ended by the
// thread that runs the transfer. Nothing is shown before Begin or ShowState; after End both show it again.
class ProgressLine {
 public:
  ProgressLine(Reporter* reporter, const std::string& name);
  ~ProgressLine();  // removes the line; End leaves it
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // The speed is measured from here on.
  void Begin(std::uint64_t position, std::optional<std::uint64_t> total);
  void MoveTo(std::uint64_t position);  // for each data step: a store to an atomic, nothing is drawn here
  void SetTotal(std::optional<std::uint64_t> total);  // once it is known, after Begin
  void ShowState(const std::string& text);  // instead of the numbers until the next MoveTo: "next try in 8 s"
  void End();                               // the last state stays on the screen

 private:
  Reporter* const reporter_;
  const std::unique_ptr<TransferProgress> progress_;
};

}  // namespace tool

#endif
