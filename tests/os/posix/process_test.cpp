// Children where the system keeps those that have ended until it is asked for them.
#include "qz/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "qz/os.h"
#include "tests/support/child_program.h"
#include "tests/support/environment.h"

namespace {

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
  EXPECT_EQ(Process_Launch(nullptr, ChildCommand("exit 5").c_str(), nullptr, &process), 0);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
  sigaction(SIGCHLD, &before, nullptr);
}

TEST(ProcessLaunchHere, GivesTheChildNoDescriptor_HoweverManyAreOpen) {
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit raised = {limit.rlim_max, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &raised), 0);
  const int high = fcntl(STDIN_FILENO, F_DUPFD, 1500);
  const int low = fcntl(STDIN_FILENO, F_DUPFD, 3);
  ASSERT_GE(high, 1500);
  const TemporaryFolder folder;
  const std::string report = (folder.Path() / "report").string();
  Process* process = nullptr;
  EXPECT_EQ(Process_Launch(nullptr, ChildCommand("report " + report).c_str(), nullptr, &process), 0);
  close(high);
  close(low);
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
  EXPECT_TRUE(ReadChildReport(report).isComplete);
  EXPECT_EQ(ReadChildReport(report).openDescriptors, 0);
}

TEST(ProcessLaunchHere, RunsNoShell_ForAFileThatIsNoProgram) {
  const TemporaryFolder folder;
  const std::string file = (folder.Path() / "script").string();
  std::ofstream(file) << "exit 0\n";
  std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  Process* process = nullptr;
  EXPECT_EQ(Process_Launch(file.c_str(), "script", nullptr, &process), -1);
  EXPECT_EQ(Process_Launch(nullptr, file.c_str(), nullptr, &process), -1);
  EXPECT_EQ(process, nullptr);
}

// An exit code of 259 means "still running" on Windows only; here a code has eight bits.
TEST(ProcessIsActive, IsNotMisledByAnExitCode) {
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch(nullptr, ChildCommand("exit 259").c_str(), nullptr, &process), 0);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
}

}  // namespace
