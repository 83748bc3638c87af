// What a person at a terminal sees of several transfers at once.
#include "tool/reporter.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "tests/toolunit/screen.h"

namespace {

using tool::Options;
using tool::ProgressKind;
using tool::ProgressLine;
using tool::Reporter;
using Texts = std::vector<std::string>;

constexpr unsigned kRows = 6, kColumns = 50;
constexpr std::uint64_t kMebibyte = 1024 * 1024;

// Standard error is a terminal of the test's own, which a thread reads all the time.
class ReporterOnTerminal : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TERM", "xterm", 1);
    setenv("NO_COLOR", "1", 1);
    master_ = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master_, 0);
    ASSERT_EQ(grantpt(master_), 0);
    ASSERT_EQ(unlockpt(master_), 0);
    const int slave = open(ptsname(master_), O_RDWR | O_NOCTTY);
    ASSERT_GE(slave, 0);
    const winsize size{kRows, kColumns, 0, 0};
    ASSERT_EQ(ioctl(slave, TIOCSWINSZ, &size), 0);
    savedErrors_ = dup(STDERR_FILENO);
    dup2(slave, STDERR_FILENO);
    close(slave);
    reader_ = std::thread([this] { ReadAll(); });
  }

  void TearDown() override {
    EndOutput();
    dup2(savedErrors_, STDERR_FILENO);
    close(savedErrors_);
    close(master_);
  }

  // The last descriptor of the terminal is closed, which ends the reader. What follows is not seen.
  void EndOutput() {
    if (!reader_.joinable()) return;
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
    reader_.join();
  }

  void ReadAll() {
    char buffer[4096];
    for (ssize_t count; (count = read(master_, buffer, sizeof buffer)) > 0;) {
      bytes_.append(buffer, static_cast<std::size_t>(count));
    }
  }

  static void Tick(Reporter* reporter) {
    std::this_thread::sleep_for(std::chrono::milliseconds(105));
    reporter->Tick();
  }

  // What was on the screen in the end.
  Texts Lines() {
    EndOutput();
    Screen screen(kRows, kColumns);
    screen.Show(bytes_);
    EXPECT_EQ(screen.Unknown(), "");
    return screen.Lines();
  }

  int master_ = -1;
  int savedErrors_ = -1;
  std::thread reader_;
  std::string bytes_;
};

TEST_F(ReporterOnTerminal, ShowsABarForEachTransfer) {
  Reporter reporter{Options{}};
  ProgressLine first(&reporter, "a.iso"), second(&reporter, "long.iso");
  first.Begin(kMebibyte, 4 * kMebibyte);
  second.Begin(0, std::nullopt);
  second.MoveTo(3 * kMebibyte);
  Tick(&reporter);
  EXPECT_EQ(Lines(), (Texts{"a.iso     25% [===>        ] 1.0 MiB of 4.0 MiB", "long.iso 3.0 MiB"}));
}

TEST_F(ReporterOnTerminal, PrintsMessagesAboveTheBars) {
  Reporter reporter{Options{}};
  ProgressLine first(&reporter, "a"), second(&reporter, "b");
  first.Begin(0, 100);
  second.Begin(0, 200);
  Tick(&reporter);
  reporter.Say("hello");
  first.MoveTo(50);
  Tick(&reporter);
  reporter.ReportError("no answer\n\x1b[2J");
  EXPECT_EQ(Lines(),
            (Texts{"qz: hello", "qz: no answer??[2J", "a  50% [========>       ] 50 bytes of 100 bytes",
                   "b   0% [>                ] 0 bytes of 200 bytes"}));
}

TEST_F(ReporterOnTerminal, LeavesTheLastStateOfATransferAboveTheBars) {
  Reporter reporter{Options{}};
  ProgressLine first(&reporter, "a"), second(&reporter, "b");
  first.Begin(0, 100);
  second.Begin(0, 200);
  Tick(&reporter);
  first.MoveTo(100);
  first.End();
  reporter.Say("saved \"a\"");
  second.MoveTo(20);
  Tick(&reporter);
  second.End();
  second.End();
  EXPECT_EQ(Lines(), (Texts{"a 100% [===============] 100 bytes of 100 bytes", "qz: saved \"a\"",
                            "b  10% [=>              ] 20 bytes of 200 bytes"}));
}

TEST_F(ReporterOnTerminal, RemovesTheLineOfATransferThatWasNotEnded) {
  Reporter reporter{Options{}};
  ProgressLine first(&reporter, "a");
  first.Begin(0, std::nullopt);
  {
    ProgressLine second(&reporter, "b");
    second.Begin(0, std::nullopt);
    Tick(&reporter);
  }
  EXPECT_EQ(Lines(), Texts{"a 0 bytes"});
}

TEST_F(ReporterOnTerminal, ShowsAStateUntilTheNextByte) {
  Reporter reporter{Options{}};
  ProgressLine first(&reporter, "a"), second(&reporter, "b"), third(&reporter, "c");
  first.Begin(0, 100);
  first.MoveTo(50);
  first.ShowState("next try in 8 s\x1b[2J");
  second.Begin(0, 100);
  second.ShowState("next try in 8 s");
  Tick(&reporter);
  second.MoveTo(50);
  third.ShowState("connecting");
  Tick(&reporter);
  EXPECT_EQ(Lines(), (Texts{"a  50% [=========>        ] next try in 8 s?[2J",
                            "b  50% [========>       ] 50 bytes of 100 bytes", "c connecting"}));
}

TEST_F(ReporterOnTerminal, ShowsWhatFitsOnTheScreen) {
  Reporter reporter{Options{}};
  std::vector<std::unique_ptr<ProgressLine>> lines;
  for (int i = 1; i <= 16; i++) {
    lines.push_back(std::make_unique<ProgressLine>(&reporter, "f" + std::to_string(i)));
    lines.back()->Begin(0, std::nullopt);
  }
  Tick(&reporter);
  lines[15]->MoveTo(7);
  lines[15]->End();
  lines[0]->End();
  reporter.Say("hello");
  EXPECT_EQ(Lines(), (Texts{"f16 7 bytes", "f1 0 bytes", "qz: hello", "f2  0 bytes", "f3  0 bytes",
                            "f4  0 bytes", "f5  0 bytes", "... and 10 more"}));
}

TEST_F(ReporterOnTerminal, NeedsNoEscapeSequenceForOneTransfer) {
  Reporter reporter{Options{}};
  for (const char* name : {"a", "b"}) {
    ProgressLine line(&reporter, name);
    line.Begin(0, 100);
    Tick(&reporter);
    reporter.Say("hello");
    line.MoveTo(100);
    line.End();
  }
  EXPECT_EQ(Lines(), (Texts{"qz: hello", "a 100% [===============] 100 bytes of 100 bytes", "qz: hello",
                            "b 100% [===============] 100 bytes of 100 bytes"}));
  EXPECT_EQ(bytes_.find('\x1b'), std::string::npos);
}

TEST_F(ReporterOnTerminal, ColoursEachBarAndNothingElse) {
  unsetenv("NO_COLOR");
  {
    Reporter reporter{Options{}};
    ProgressLine first(&reporter, "a"), second(&reporter, "b");
    first.Begin(0, std::nullopt);
    second.Begin(0, std::nullopt);
    reporter.Say("hello");
    EndOutput();
  }
  const std::string spaces(36, ' ');
  EXPECT_EQ(bytes_, "qz: hello\r\n\x1b[36ma 0 bytes" + spaces + "  \x1b[0m\r\n\x1b[36mb 0 bytes" + spaces +
                        "  \x1b[0m");
}

// A terminal without cursor movement: one transfer has a bar if it is wanted, several have lines.
TEST_F(ReporterOnTerminal, PrintsLinesForSeveralTransfersWithoutCursorMovement) {
  setenv("TERM", "dumb", 1);
  Options options;
  options.progress = ProgressKind::Bar;
  Reporter reporter(options);
  ProgressLine first(&reporter, "a"), second(&reporter, "b");
  first.Begin(0, 100);
  Tick(&reporter);
  second.Begin(0, 200);
  first.MoveTo(100);
  Tick(&reporter);
  first.End();
  second.MoveTo(200);
  second.End();
  EXPECT_EQ(Lines(), (Texts{"a:   0%  0 bytes of 100 bytes", "b:   0%  0 bytes of 200 bytes",
                            "b 100% [===============] 200 bytes of 200 bytes"}));
  EXPECT_EQ(bytes_.find('\x1b'), std::string::npos);
}

TEST_F(ReporterOnTerminal, ShowsErrorsOnlyWhenQuiet) {
  Options options;
  options.quiet = options.verbose = true;
  options.progress = ProgressKind::Bar;
  Reporter reporter(options);
  ProgressLine line(&reporter, "a");
  line.Begin(0, 100);
  Tick(&reporter);
  reporter.Say("hello");
  reporter.ReportMessage("connecting");
  reporter.Sent("USER me");
  reporter.Received(331, "password");
  reporter.ReportError("no answer");
  line.End();
  EXPECT_EQ(Lines(), Texts{"qz: no answer"});
}

TEST_F(ReporterOnTerminal, ShowsMessagesOfTheLibraryWhenVerbose) {
  Options options;
  options.verbose = true;
  options.progress = ProgressKind::None;
  Reporter reporter(options);
  ProgressLine line(&reporter, "a");
  line.Begin(0, 100);
  Tick(&reporter);
  reporter.ReportMessage("connecting");
  reporter.Sent("USER me");
  reporter.Received(331, "password");
  line.End();
  EXPECT_EQ(Lines(), (Texts{"* connecting", "> USER me", "< 331 password"}));
}

// Every message is whole, and the bars leave nothing behind, whoever prints at which moment.
TEST_F(ReporterOnTerminal, KeepsThreadsApart) {
  constexpr int kThreads = 8, kTransfers = 20;
  {
    Reporter reporter{Options{}};
    std::atomic<int> running{kThreads};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
      threads.emplace_back([&reporter, &running, t] {
        for (int i = 0; i < kTransfers; i++) {
          ProgressLine line(&reporter, "file");
          line.Begin(0, std::nullopt);
          line.SetTotal(1000);
          for (int position = 0; position <= 1000; position++) line.MoveTo(position);
          line.ShowState("done");
          std::this_thread::sleep_for(std::chrono::milliseconds(5));
          reporter.Say("thread " + std::to_string(t) + " transfer " + std::to_string(i));
          if (i % 2 == 0) line.End();
        }
        running--;
      });
    }
    while (running > 0) {
      reporter.Tick();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    for (std::thread& thread : threads) thread.join();
  }
  Texts lines = Lines();
  Texts expected(kThreads * kTransfers / 2, "file 100% [====================] done");
  for (int t = 0; t < kThreads; t++) {
    for (int i = 0; i < kTransfers; i++) {
      expected.push_back("qz: thread " + std::to_string(t) + " transfer " + std::to_string(i));
    }
  }
  std::sort(lines.begin(), lines.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(lines, expected);
}

}  // namespace
