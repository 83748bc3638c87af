// What children are given here, and what their exit codes mean to Process_IsActive.
#include "qz/process.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "qz/error.h"
#include "qz/os.h"
#include "tests/support/child_program.h"
#include "tests/support/environment.h"
#include "tests/support/module.h"

namespace {

TEST(ProcessLaunchHere, NamesTheProgramItself_WhenThereIsNoCommandLine) {
  // Does nothing and ends when it is told nothing.
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch("/C|/windows/system32/rundll32.exe", nullptr, nullptr, &process), Error_None);
  EXPECT_NE(process, nullptr);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
}

TEST(ProcessIsActive, TakesTheExitCode259ForAChildThatRuns) {
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch(nullptr, ChildCommand("exit 259").c_str(), nullptr, &process), Error_None);
  // The record begins with the process's number.
  const uint32_t number = *reinterpret_cast<uint32_t*>(process);
  for (int i = 0; i < 10000 && IsProcessListed(number); ++i) OS_Delay(0.001f);
  ASSERT_FALSE(IsProcessListed(number));
  EXPECT_EQ(Process_IsActive(process), 1);
  Process_Detach(process);
}

// The record as programs see it: number, process handle, handle of the main thread.
struct RecordWords {
  uint32_t number;
  HANDLE process;
  HANDLE mainThread;
};
static_assert(sizeof(RecordWords) == 12);

class EndedProcess : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(Process_Launch(nullptr, ChildCommand("exit 7").c_str(), nullptr, &process_), Error_None);
    ASSERT_TRUE(EndsWithinTenSeconds(process_));
    words_ = reinterpret_cast<RecordWords*>(process_);
    own_ = *words_;
  }
  void TearDown() override {
    *words_ = own_;
    EXPECT_EQ(Process_IsActive(process_), 0);
    Process_Detach(process_);
  }

  Process* process_ = nullptr;
  RecordWords* words_ = nullptr;
  RecordWords own_ = {};
};

TEST_F(EndedProcess, HasARecordOfItsNumberAndHandles) {
  EXPECT_EQ(GetProcessId(own_.process), own_.number);
  DWORD exitCode = 0;
  EXPECT_NE(GetExitCodeThread(own_.mainThread, &exitCode), 0);
  EXPECT_EQ(exitCode, 7u);
}

TEST_F(EndedProcess, CountsAsActive_WhenItsExitCodeCannotBeRead) {
  words_->process = nullptr;
  EXPECT_EQ(Process_IsActive(process_), 1);
}

TEST_F(EndedProcess, CountsAsActive_WhileTheMainThreadRuns) {
  words_->mainThread = GetCurrentThread();
  EXPECT_EQ(Process_IsActive(process_), 1);
}

TEST_F(EndedProcess, IsNotActive_WithoutAThreadHandle) {
  words_->mainThread = nullptr;
  EXPECT_EQ(Process_IsActive(process_), 0);
  words_->process = GetCurrentProcess();
  EXPECT_EQ(Process_IsActive(process_), 1);
}

// A child of this program that runs until a file appears.
class WaitingChild {
 public:
  WaitingChild() {
    const std::string command = ChildCommand("wait " + Go().string());
    EXPECT_EQ(Process_Launch(nullptr, command.c_str(), nullptr, &process_), Error_None);
  }
  ~WaitingChild() {
    std::ofstream(Go()) << "now";
    EXPECT_TRUE(EndsWithinTenSeconds(process_));
    Process_Detach(process_);
  }
  WaitingChild(const WaitingChild&) = delete;
  WaitingChild& operator=(const WaitingChild&) = delete;

  bool IsActive() const { return Process_IsActive(process_) == 1; }

 private:
  std::filesystem::path Go() const { return folder_.Path() / "go"; }

  TemporaryFolder folder_;
  Process* process_ = nullptr;
};

TEST(ProcessLaunchHere, GivesTheChildNoHandle) {
  const TemporaryFolder folder;
  const std::string name = (folder.Path() / "held").string();
  auto file = std::make_unique<OpenInheritableFile>(name);
  const WaitingChild child;
  file.reset();
  // Nobody else may have the file open now, while the child runs.
  const HANDLE alone = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(alone, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(child.IsActive());
  CloseHandle(alone);
}

}  // namespace
