// The console of Windows: what stands on it is read back.
#include "tool/console.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>

#include "tool/reporter.h"

namespace {

using tool::Options;
using tool::ProgressLine;
using tool::Reporter;
using Texts = std::vector<std::wstring>;

// Standard error is a screen buffer of the test's own.
class ConsoleTest : public testing::Test {
 protected:
  void SetUp() override {
    savedErrors_ = GetStdHandle(STD_ERROR_HANDLE);
    screen_ = CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, CONSOLE_TEXTMODE_BUFFER, nullptr);
    ASSERT_NE(screen_, INVALID_HANDLE_VALUE) << GetLastError();
    SetStdHandle(STD_ERROR_HANDLE, screen_);
  }

  void TearDown() override {
    SetStdHandle(STD_ERROR_HANDLE, savedErrors_);
    CloseHandle(screen_);
  }

  // The rows of the screen without spaces at their ends, and without empty rows at the end.
  Texts Lines() const {
    CONSOLE_SCREEN_BUFFER_INFO information;
    EXPECT_TRUE(GetConsoleScreenBufferInfo(screen_, &information));
    Texts lines;
    for (SHORT row = 0; row <= information.dwCursorPosition.Y; row++) {
      std::wstring line(static_cast<std::size_t>(information.dwSize.X), L' ');
      DWORD count = 0;
      ReadConsoleOutputCharacterW(screen_, line.data(), static_cast<DWORD>(line.size()), COORD{0, row},
                                  &count);
      line.resize(line.find_last_not_of(L' ') + 1);
      lines.push_back(line);
    }
    while (!lines.empty() && lines.back().empty()) lines.pop_back();
    return lines;
  }

  HANDLE savedErrors_ = nullptr;
  HANDLE screen_ = INVALID_HANDLE_VALUE;
};

TEST_F(ConsoleTest, ShowsUTF8AsItIs) {
  Reporter reporter{Options{}};
  reporter.Say("stored \"\u00e9\u20ac\"");
  EXPECT_EQ(Lines(), Texts{L"qz: stored \"\u00e9\u20ac\""});
}

TEST_F(ConsoleTest, WritesMoreThanTheConsoleTakesAtOnce) {
  const std::string lines(50000, '\n');
  EXPECT_TRUE(tool::console::Write(tool::console::Channel::Messages, lines.data(), lines.size()));
  EXPECT_TRUE(tool::console::Write(tool::console::Channel::Messages, "end", 3));
  EXPECT_EQ(Lines().back(), L"end");
}

TEST_F(ConsoleTest, ShowsABarForEachTransferAndMessagesAboveThem) {
  Reporter reporter{Options{}};
  ProgressLine first(&reporter, "a"), second(&reporter, "b"), third(&reporter, "c");
  first.Begin(0, std::nullopt);
  second.Begin(0, std::nullopt);
  third.Begin(0, std::nullopt);
  reporter.Tick();
  first.MoveTo(7);
  reporter.Say("hello");
  first.End();
  reporter.Say("saved a");
  Sleep(110);
  second.MoveTo(8);
  reporter.Tick();
  EXPECT_EQ(Lines(), (Texts{L"qz: hello", L"a 7 bytes", L"qz: saved a", L"b 8 bytes", L"c 0 bytes"}));
  second.End();
  third.End();
  EXPECT_EQ(Lines(), (Texts{L"qz: hello", L"a 7 bytes", L"qz: saved a", L"b 8 bytes", L"c 0 bytes"}));
}

}  // namespace
