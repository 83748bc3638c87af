// Children where the system keeps those that have ended until it is asked for them.
#include "qz/process.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <string>

#include "qz/os.h"
#include "tests/support/environment.h"

namespace {

bool EndsWithinTenSeconds(Process* process) {
  for (int i = 0; i < 10000 && Process_IsActive(process) == 1; ++i) OS_Delay(0.001f);
  return Process_IsActive(process) == 0;
}

std::string Command(const char* rest) {
  std::string command = "\"";
  return command.append(ProgramPath().string()).append("\" --qz-child ").append(rest);
}

TEST(ProcessLaunchHere, LooksForTheProgramWhereTheSystemDoes) {
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch(nullptr, "true", nullptr, &process), 0);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
}

TEST(ProcessLaunchHere, NamesTheProgramItself_WhenThereIsNoCommandLine) {
  for (const char* none : {"", "  ", static_cast<const char*>(nullptr)}) {
    Process* process = nullptr;
    ASSERT_EQ(Process_Launch("/bin/true", none, nullptr, &process), 0);
    EXPECT_TRUE(EndsWithinTenSeconds(process));
    Process_Detach(process);
  }
}

TEST(ProcessLaunchHere, DropsTheDriveOfAName) {
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch("/C|/bin/true", "true", nullptr, &process), 0);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
}

// The application may have told the system to forget its children by itself.
TEST(ProcessIsActive, SeesTheEnd_WhenTheSystemForgetsChildrenAtOnce) {
  struct sigaction forget = {};
  struct sigaction before = {};
  forget.sa_handler = SIG_IGN;
  sigaction(SIGCHLD, &forget, &before);
  Process* process = nullptr;
  EXPECT_EQ(Process_Launch(nullptr, Command("exit 5").c_str(), nullptr, &process), 0);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
  sigaction(SIGCHLD, &before, nullptr);
}

// An exit code of 259 means "still running" on Windows only; here a code has eight bits.
TEST(ProcessIsActive, IsNotMisledByAnExitCode) {
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch(nullptr, Command("exit 259").c_str(), nullptr, &process), 0);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
}

}  // namespace
