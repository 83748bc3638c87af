// Children where the system keeps those that have ended until it is asked for them.
#include "qz/process.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "os/platform/process.h"
#include "qz/error.h"
#include "qz/os.h"
#include "tests/support/child_program.h"
#include "tests/support/environment.h"
#include "tests/support/module.h"

namespace {

TEST(ProcessLaunchHere, LooksForTheProgramWhereTheSystemDoes) {
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch(nullptr, "true", nullptr, &process), Error_None);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
}

TEST(ProcessLaunchHere, NamesTheProgramItself_WhenThereIsNoCommandLine) {
  for (const char* none : {"", "  ", static_cast<const char*>(nullptr)}) {
    Process* process = nullptr;
    ASSERT_EQ(Process_Launch("/bin/true", none, nullptr, &process), Error_None);
    EXPECT_TRUE(EndsWithinTenSeconds(process));
    Process_Detach(process);
  }
}

TEST(ProcessLaunchHere, DropsTheDriveOfAName) {
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch("/C|/bin/true", "true", nullptr, &process), Error_None);
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
  EXPECT_EQ(Process_Launch(nullptr, ChildCommand("exit 5").c_str(), nullptr, &process), Error_None);
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
  EXPECT_EQ(Process_Launch(nullptr, ChildCommand("report " + report).c_str(), nullptr, &process), Error_None);
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
  EXPECT_EQ(Process_Launch(file.c_str(), "script", nullptr, &process), Error_Fail);
  EXPECT_EQ(Process_Launch(nullptr, file.c_str(), nullptr, &process), Error_Fail);
  EXPECT_EQ(process, nullptr);
}

// Each word of one letter: as many words as a line of that length can have.
TEST(ProcessLaunchHere, SplitsALineOfTheShortestWords) {
  const TemporaryFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  std::ofstream("a") << "echo \"$0 $1 $2\" > words\n";
  Process* process = nullptr;
  EXPECT_EQ(Process_Launch("/bin/sh", "s a b c", nullptr, &process), Error_None);
  std::filesystem::current_path(before);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
  std::ifstream words(folder.Path() / "words");
  std::string line;
  std::getline(words, line);
  EXPECT_EQ(line, "a b c");
  ASSERT_EQ(Process_Launch("/bin/true", "t", nullptr, &process), Error_None);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
}

// What the system tells of a process's signals, one bit each: "SigBlk" those blocked, "SigIgn" those ignored.
uint64_t SignalsOf(uint32_t number, const std::string& kind) {
  std::ifstream status("/proc/" + std::to_string(number) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, kind.size() + 1, kind + ":") == 0)
      return std::stoull(line.substr(kind.size() + 1), nullptr, 16);
  }
  ADD_FAILURE() << "no " << kind;
  return 0;
}

constexpr uint64_t BitOf(int signal) {
  return uint64_t{1} << (signal - 1);
}

// A broken pipe ends the child as usual, whatever a program with sockets has set for itself; an ignored
// hang-up (nohup) stays ignored.
TEST(ProcessLaunchHere, GivesTheChildNoBlockedSignal_AndDoesNotIgnoreABrokenPipe) {
  sigset_t blocked;
  sigset_t blockedBefore;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &blocked, &blockedBefore);
  const auto pipeBefore = signal(SIGPIPE, SIG_IGN);
  const auto hangUpBefore = signal(SIGHUP, SIG_IGN);
  Process* process = nullptr;
  EXPECT_EQ(Process_Launch("/bin/sleep", "sleep 60", nullptr, &process), Error_None);
  signal(SIGPIPE, pipeBefore);
  signal(SIGHUP, hangUpBefore);
  pthread_sigmask(SIG_SETMASK, &blockedBefore, nullptr);
  ASSERT_NE(process, nullptr);
  const uint32_t number = *reinterpret_cast<uint32_t*>(process);
  EXPECT_EQ(SignalsOf(number, "SigBlk"), 0u);
  EXPECT_EQ(SignalsOf(number, "SigIgn") & BitOf(SIGPIPE), 0u);
  EXPECT_EQ(SignalsOf(number, "SigIgn") & BitOf(SIGHUP), BitOf(SIGHUP));
  kill(static_cast<pid_t>(number), SIGKILL);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
}

// The system may give the number to another child at once, whose end is not this one's to take.
TEST(ProcessIsActive, ForgetsTheNumberOfAChildThatEnded) {
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch("/bin/true", "true", nullptr, &process), Error_None);
  const auto* record = reinterpret_cast<const platform::Process*>(process);
  EXPECT_EQ(record->process, static_cast<intptr_t>(record->identifier));
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  EXPECT_EQ(record->process, 0);
  Process_Detach(process);
}

// An exit code of 259 means "still running" on Windows only; here a code has eight bits.
TEST(ProcessIsActive, IsNotMisledByAnExitCode) {
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch(nullptr, ChildCommand("exit 259").c_str(), nullptr, &process), Error_None);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
}

// A name without a folder means the current one; only the command line is looked for along the path.
TEST(ProcessLaunchHere, LooksForAPathnameInTheCurrentFolderOnly) {
  const TemporaryFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  Process* process = nullptr;
  EXPECT_EQ(Process_Launch("true", "true", nullptr, &process), Error_Fail);
  EXPECT_EQ(process, nullptr);
  std::filesystem::create_symlink("/bin/true", folder.Path() / "true");
  EXPECT_EQ(Process_Launch("true", "true", nullptr, &process), Error_None);
  std::filesystem::current_path(before);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
}

// ---- other people's children, and many of one's own -----------------------------------------------

pid_t StartForeignChild(int exitCode) {
  const pid_t child = fork();
  if (child == 0) _exit(exitCode);
  return child;
}

// Waits for the end of a child but leaves it in the system's table.
void AwaitEnd(pid_t child) {
  siginfo_t information = {};
  EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child), &information, WEXITED | WNOWAIT), 0);
}

void LaunchAndEnd() {
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch("/bin/true", "true", nullptr, &process), Error_None);
  AwaitEnd(static_cast<pid_t>(*reinterpret_cast<uint32_t*>(process)));
  EXPECT_EQ(Process_IsActive(process), 0);
  Process_Detach(process);
}

TEST(ProcessLaunchHere, LeavesTheApplicationsOwnChildrenAlone) {
  const pid_t foreign = StartForeignChild(7);
  AwaitEnd(foreign);
  for (int i = 0; i < 3; ++i) LaunchAndEnd();
  int status = 0;
  ASSERT_EQ(waitpid(foreign, &status, 0), foreign);
  EXPECT_EQ(WEXITSTATUS(status), 7);
}

// Children that run until they are told to end, and are let go of at once.
class DetachedChildren {
 public:
  explicit DetachedChildren(int count) {
    for (int i = 0; i < count; ++i) {
      Process* process = nullptr;
      const std::string command = ChildCommand("wait " + (folder_.Path() / "go").string());
      EXPECT_EQ(Process_Launch(nullptr, command.c_str(), nullptr, &process), Error_None);
      numbers_.push_back(static_cast<pid_t>(*reinterpret_cast<uint32_t*>(process)));
      Process_Detach(process);
    }
  }
  void End() {
    std::ofstream(folder_.Path() / "go") << "now";
    for (const pid_t number : numbers_) AwaitEnd(number);
  }
  int CountListed() const {
    int listed = 0;
    for (const pid_t number : numbers_) listed += IsProcessListed(static_cast<uint32_t>(number)) ? 1 : 0;
    return listed;
  }

 private:
  TemporaryFolder folder_;
  std::vector<pid_t> numbers_;
};

TEST(ProcessDetach, LeavesNothingBehind_AndNoCallAsksForAllAtOnce) {
  // Those of other tests first.
  for (int i = 0; i < 30; ++i) LaunchAndEnd();
  DetachedChildren children(6);
  children.End();
  EXPECT_EQ(children.CountListed(), 6);
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch("/bin/true", "true", nullptr, &process), Error_None);
  EXPECT_EQ(children.CountListed(), 4) << "a launch asks for two";
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  EXPECT_EQ(children.CountListed(), 4) << "looking at one child asks for that one only";
  Process_Detach(process);
  EXPECT_EQ(children.CountListed(), 2);
  LaunchAndEnd();
  EXPECT_EQ(children.CountListed(), 0);
}

// ---- files of the program and its modules ---------------------------------------------------------

std::string ModuleName(Word instance) {
  char name[1024] = "";
  return platform::FindModulePathname(instance, name) ? name : "(none)";
}

// A library of the system's that no test program uses, copied to a place of the test's own.
class CopiedModule {
 public:
  explicit CopiedModule(const std::filesystem::path& copy) {
    void* original = dlopen("libBrokenLocale.so.1", RTLD_LAZY);
    std::filesystem::copy_file(MapOf(original)->l_name, copy);
    dlclose(original);
  }
  ~CopiedModule() {
    if (handle_ != nullptr) dlclose(handle_);
  }
  void Load(const char* name) { handle_ = dlopen(name, RTLD_LAZY); }
  Word Instance() const { return handle_ != nullptr ? MapOf(handle_)->l_addr : 0; }

 private:
  static link_map* MapOf(void* handle) {
    link_map* map = nullptr;
    dlinfo(handle, RTLD_DI_LINKMAP, &map);
    return map;
  }
  void* handle_ = nullptr;
};

TEST(ModulePathname, IsFoundForAModuleThatWasLoadedByARelativeName) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.Path() / "sub");
  const std::filesystem::path file = folder.Path() / "sub" / "a module.so";
  CopiedModule module(file);
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  module.Load("sub/a module.so");
  std::filesystem::current_path(before);
  ASSERT_NE(module.Instance(), 0u);
  EXPECT_EQ(ModuleName(module.Instance()), file.string());
}

TEST(ModulePathname, IsTheNameThatAModuleWasLoadedBy) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.Path() / "module.so";
  CopiedModule module(file);
  module.Load(file.c_str());
  ASSERT_NE(module.Instance(), 0u);
  EXPECT_EQ(ModuleName(module.Instance()), file.string());
}

// What a program is called by is up to whoever starts it.
TEST(ModulePathname, IsTheProgramsFile_WhateverItWasCalledBy) {
  const TemporaryFolder folder;
  const std::string report = (folder.Path() / "report").string();
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch(ProgramPath().c_str(), ("/bin/other --qz-child place " + report).c_str(), nullptr,
                           &process),
            Error_None);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
  EXPECT_EQ(ReadChildReport(report).words,
            (std::vector<std::string>{ProgramPath().string(), ProgramPath().string()}));
}

}  // namespace
