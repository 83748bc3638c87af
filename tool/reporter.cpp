#include "tool/reporter.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "tool/console.h"
#include "tool/text.h"

namespace tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr auto kDrawInterval = milliseconds(100);
constexpr auto kPlainLineInterval = seconds(5);
constexpr const char* kBarColour = "\x1b[36m";
constexpr const char* kPlainColour = "\x1b[0m";

ProgressKind ResolvedKind(const Options& options) {
  if (options.quiet) return ProgressKind::None;
  if (options.progress != ProgressKind::Automatic) return options.progress;
  return console::IsTerminal(console::Channel::Messages) ? ProgressKind::Bar : ProgressKind::Lines;
}

}  // namespace

// What a ProgressLine and the Reporter share. The transfer's thread moves the atomics at any time; the rest
// is under the reporter's lock.
struct TransferProgress {
  using Clock = ProgressMeter::Clock;

  explicit TransferProgress(std::string printableName) : name(std::move(printableName)) {}

  // Reads what the transfer's thread stored.
  void Update(Clock::time_point now) {
    if (meter) meter->MoveTo(position.load(std::memory_order_relaxed), now);
    if (!hasState.load(std::memory_order_relaxed)) state.clear();
  }

  BarContent Content(Clock::time_point now) const {
    BarContent content{name, meter ? meter->Share() : std::nullopt, state};
    if (state.empty() && meter) content.text = meter->Text(now);
    return content;
  }

  static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
  std::atomic<std::uint64_t> position{0};
  std::atomic<bool> hasState{false};

  const std::string name;
  std::string state;
  std::optional<ProgressMeter> meter;
  Clock::time_point lastPlainLine;
};

Reporter::Reporter(const Options& options)
    : quiet_(options.quiet),
      verbose_(options.verbose && !options.quiet),
      colour_(console::HasColour(console::Channel::Messages)),
      kind_(ResolvedKind(options)),
      movesCursor_(kind_ == ProgressKind::Bar && console::CanMoveCursor()) {}

Reporter::~Reporter() = default;

void Reporter::Say(const std::string& text) {
  if (!quiet_) Print("qz: " + text);
}

void Reporter::ReportError(const std::string& text) {
  Print("qz: " + text);
}

void Reporter::ReportMessage(const std::string& text) {
  if (verbose_) Print("* " + text);
}

void Reporter::Sent(const std::string& line) {
  if (verbose_) Print("> " + line);
}

void Reporter::Received(int code, const std::string& text) {
  if (verbose_ && code != 0) Print("< " + std::to_string(code) + " " + text);
}

void Reporter::Tick() {
  if (kind_ == ProgressKind::None) return;
  const auto now = Clock::now();
  const std::lock_guard<std::mutex> lock(mutex_);
  if (now - lastTick_ < kDrawInterval) return;
  lastTick_ = now;
  for (TransferProgress* transfer : shown_) transfer->Update(now);
  Draw(HasPlainLines() ? DuePlainLines(now) : "", now);
}

void Reporter::Print(const std::string& text) {
  const std::string line = Printable(text) + "\n";
  const std::lock_guard<std::mutex> lock(mutex_);
  Draw(line, Clock::now());
}

void Reporter::Show(TransferProgress* transfer, Clock::time_point now) {
  if (std::find(shown_.begin(), shown_.end(), transfer) != shown_.end()) return;
  shown_.push_back(transfer);
  transfer->lastPlainLine = now - kPlainLineInterval;
  // A bar is drawn by the next Tick: a small file is through before.
  if (HasPlainLines()) Draw(DuePlainLines(now), now);
}

void Reporter::Hide(TransferProgress* transfer, bool leavesLastState) {
  const auto place = std::find(shown_.begin(), shown_.end(), transfer);
  if (place == shown_.end()) return;
  const auto now = Clock::now();
  std::string lastState;
  if (leavesLastState && HasBars()) {
    transfer->Update(now);
    lastState = Coloured(BarLines({transfer->Content(now)}, console::Columns()).front()) + "\n";
  }
  shown_.erase(place);
  Draw(lastState, now);
}

void Reporter::Draw(const std::string& messages, Clock::time_point now) {
  if (messages.empty() && kind_ == ProgressKind::None) return;
  const ScreenUpdate update = block_.Replace(messages, BlockLines(now), console::Columns());
  if (update != ScreenUpdate()) console::Draw(update);
}

bool Reporter::HasBars() const {
  return kind_ == ProgressKind::Bar && (movesCursor_ || shown_.size() <= 1);
}

bool Reporter::HasPlainLines() const {
  return kind_ != ProgressKind::None && !HasBars();
}

std::vector<std::string> Reporter::BlockLines(Clock::time_point now) const {
  if (!HasBars()) return {};
  std::vector<BarContent> contents;
  for (const TransferProgress* transfer : shown_) contents.push_back(transfer->Content(now));
  const unsigned columns = console::Columns();
  std::vector<std::string> lines = FitToRows(BarLines(contents, columns), console::Rows(), columns);
  for (std::string& line : lines) line = Coloured(line);
  return lines;
}

std::string Reporter::DuePlainLines(Clock::time_point now) {
  std::string lines;
  for (TransferProgress* transfer : shown_) {
    if (now - transfer->lastPlainLine < kPlainLineInterval) continue;
    transfer->lastPlainLine = now;
    lines += PlainLine(transfer->Content(now)) + "\n";
  }
  return lines;
}

std::string Reporter::Coloured(const std::string& line) const {
  return colour_ ? kBarColour + line + kPlainColour : line;
}

ProgressLine::ProgressLine(Reporter* reporter, const std::string& name)
    : reporter_(reporter), progress_(std::make_unique<TransferProgress>(Printable(name))) {}

ProgressLine::~ProgressLine() {
  const std::lock_guard<std::mutex> lock(reporter_->mutex_);
  reporter_->Hide(progress_.get(), false);
}

void ProgressLine::Begin(std::uint64_t position, std::optional<std::uint64_t> total) {
  const auto now = ProgressMeter::Clock::now();
  const std::lock_guard<std::mutex> lock(reporter_->mutex_);
  progress_->position.store(position, std::memory_order_relaxed);
  progress_->hasState.store(false, std::memory_order_relaxed);
  progress_->state.clear();
  progress_->meter.emplace(position, total, now);
  reporter_->Show(progress_.get(), now);
}

void ProgressLine::MoveTo(std::uint64_t position) {
  progress_->position.store(position, std::memory_order_relaxed);
  progress_->hasState.store(false, std::memory_order_relaxed);
}

void ProgressLine::SetTotal(std::optional<std::uint64_t> total) {
  const std::lock_guard<std::mutex> lock(reporter_->mutex_);
  if (progress_->meter) progress_->meter->SetTotal(total);
}

void ProgressLine::ShowState(const std::string& text) {
  const std::string printable = Printable(text);
  const std::lock_guard<std::mutex> lock(reporter_->mutex_);
  progress_->state = printable;
  progress_->hasState.store(true, std::memory_order_relaxed);
  reporter_->Show(progress_.get(), ProgressMeter::Clock::now());
}

void ProgressLine::End() {
  const std::lock_guard<std::mutex> lock(reporter_->mutex_);
  reporter_->Hide(progress_.get(), true);
}

}  // namespace tool
