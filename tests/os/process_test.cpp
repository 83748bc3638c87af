// Child processes: starting, environments, watching, letting go. The children are this program itself.
#include "qz/process.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "os/core/memory_testing.h"
#include "os/core/os_testing.h"
#include "os/file/sysdir_internal.h"
#include "os/platform/process.h"
#include "qz/error.h"
#include "qz/os.h"
#include "tests/support/child_program.h"
#include "tests/support/environment.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/module.h"
#include "tests/support/os_session.h"

namespace {

using Words = std::vector<std::string>;

class ProcessLaunch : public testing::Test {
 protected:
  std::string Quoted(const std::string& text) const { return "\"" + text + "\""; }
  std::string ReportFile() const { return (folder_.Path() / "report file.txt").string(); }
  std::string ReportCommand(const std::string& words) const {
    return ChildCommand("report " + Quoted(ReportFile()) + " " + words);
  }

  // Starts the child, waits for its end and reads what it wrote.
  ChildReport RunAndRead(const char* pathname, const std::string& command, const char* const* environment) {
    std::filesystem::remove(ReportFile());
    Process* process = nullptr;
    EXPECT_EQ(Process_Launch(pathname, command.c_str(), environment, &process), Error_None);
    if (process == nullptr) return {};
    EXPECT_TRUE(EndsWithinTenSeconds(process));
    Process_Detach(process);
    return ReadChildReport(ReportFile());
  }

  TemporaryFolder folder_;
  std::string programName_ = LibraryName(ProgramPath());
};

TEST_F(ProcessLaunch, StartsTheProgramThatThePathnameNames) {
  const ChildReport report = RunAndRead(programName_.c_str(), ReportCommand("one two"), nullptr);
  EXPECT_TRUE(report.isComplete);
  EXPECT_EQ(report.words, (Words{"one", "two"}));
}

TEST_F(ProcessLaunch, StartsTheProgramThatTheCommandLineNames_WhenThereIsNoPathname) {
  const ChildReport report = RunAndRead(nullptr, ReportCommand("alone"), nullptr);
  EXPECT_TRUE(report.isComplete);
  EXPECT_EQ(report.words, Words{"alone"});
}

TEST_F(ProcessLaunch, SplitsTheCommandLineAtBlanks_AndKeepsQuotedBlanks) {
  const ChildReport report = RunAndRead(
      programName_.c_str(), ReportCommand("a  \"two words\"\tb\"c d\"e \"\" $HOME * ; last "), nullptr);
  EXPECT_EQ(report.words, (Words{"a", "two words", "bc de", "", "$HOME", "*", ";", "last"}));
}

TEST_F(ProcessLaunch, InheritsTheEnvironment_WithoutAListOrWithNothingInIt) {
  const ScopedVariable inherited("QZ_TEST_INHERITED", "yes");
  const char* const empty[] = {nullptr};
  const char* const allEmpty[] = {"", "", nullptr};
  for (const char* const* environment : {static_cast<const char* const*>(nullptr), empty + 0, allEmpty + 0}) {
    const ChildReport report = RunAndRead(programName_.c_str(), ReportCommand("x"), environment);
    EXPECT_TRUE(report.isComplete);
    EXPECT_EQ(report.variables.count("QZ_TEST_INHERITED"), 1u);
  }
}

TEST_F(ProcessLaunch, GivesTheChildTheEnvironmentOfTheList_AndSkipsEmptyTexts) {
  const ScopedVariable inherited("QZ_TEST_INHERITED", "yes");
  const char* const environment[] = {"", "QZ_TEST_ONE=1", "", "QZ_TEST_TWO=two words", "", nullptr};
  const ChildReport report = RunAndRead(programName_.c_str(), ReportCommand("x"), environment);
  EXPECT_TRUE(report.isComplete);
  const std::map<std::string, std::string> expected = {{"QZ_TEST_ONE", "1"}, {"QZ_TEST_TWO", "two words"}};
  EXPECT_EQ(report.variables, expected);
}

TEST_F(ProcessLaunch, GivesTheChildTheCurrentDirectory_AndNoOpenFile) {
  const OpenInheritableFile file((folder_.Path() / "held").string());
  const ChildReport report = RunAndRead(programName_.c_str(), ReportCommand("x"), nullptr);
  EXPECT_EQ(report.currentFolder, std::filesystem::current_path().string());
  EXPECT_EQ(report.openDescriptors, 0);
}

TEST_F(ProcessLaunch, Fails_WhenTheProgramCannotBeStarted) {
  const std::string missing = folder_.Name("missing.exe");
  auto* process = reinterpret_cast<Process*>(this);
  EXPECT_EQ(Process_Launch(missing.c_str(), "missing", nullptr, &process), Error_Fail);
  EXPECT_EQ(process, nullptr);
  process = reinterpret_cast<Process*>(this);
  EXPECT_EQ(Process_Launch(nullptr, "qz-test-no-such-program", nullptr, &process), Error_Fail);
  EXPECT_EQ(process, nullptr);
}

TEST_F(ProcessLaunch, Fails_WhenNothingNamesAProgram) {
  auto* process = reinterpret_cast<Process*>(this);
  // Known before anything is made.
  iMemory_FailAllocation(1);
  EXPECT_EQ(Process_Launch(nullptr, nullptr, nullptr, &process), Error_Fail);
  iMemory_FailAllocation(0);
  EXPECT_EQ(process, nullptr);
  EXPECT_EQ(Process_Launch(nullptr, "", nullptr, &process), Error_Fail);
  EXPECT_EQ(process, nullptr);
}

TEST_F(ProcessLaunch, GivesTheStatusOfTheName_WhenItDoesNotFit) {
  Process* process = nullptr;
  EXPECT_EQ(Process_Launch(("/" + std::string(2000, 'x')).c_str(), "x", nullptr, &process), Error_Exceed);
  EXPECT_EQ(process, nullptr);
}

TEST_F(ProcessLaunch, RefusesNowhereToPutTheRecord) {
  EXPECT_EQ(Process_Launch(programName_.c_str(), "x", nullptr, nullptr), Error_Invalid);
}

TEST_F(ProcessLaunch, GivesMemory_WhenMemoryRunsOut) {
  const char* const environment[] = {"QZ_TEST_ONE=1", nullptr};
  const std::string command = ChildCommand("exit 0");
  FailEveryAllocation([&] {
    Process* process = nullptr;
    const ErrorCode status = Process_Launch(programName_.c_str(), command.c_str(), environment, &process);
    if (status == 0) {
      EXPECT_TRUE(EndsWithinTenSeconds(process));
      Process_Detach(process);
      return;
    }
    EXPECT_EQ(status, 1);
    EXPECT_EQ(process, nullptr);
  });
}

// ---- watching and letting go --------------------------------------------------------------------

class RunningProcess : public ProcessLaunch {
 protected:
  void SetUp() override {
    const std::string command = ChildCommand("wait " + Quoted((folder_.Path() / "go").string()));
    ASSERT_EQ(Process_Launch(programName_.c_str(), command.c_str(), nullptr, &process_), Error_None);
    ASSERT_NE(process_, nullptr);
    number_ = *reinterpret_cast<uint32_t*>(process_);
  }
  void LetItEnd() const { std::ofstream(folder_.Path() / "go") << "now"; }

  Process* process_ = nullptr;
  // The record begins with the process's number.
  uint32_t number_ = 0;
};

TEST_F(RunningProcess, IsActiveUntilItEnds) {
  EXPECT_NE(number_, 0u);
  EXPECT_NE(number_, ProgramNumber());
  OS_Delay(0.05f);
  EXPECT_EQ(Process_IsActive(process_), 1);
  LetItEnd();
  EXPECT_TRUE(EndsWithinTenSeconds(process_));
  EXPECT_EQ(Process_IsActive(process_), 0) << "and stays so, whoever has the number now";
  Process_Detach(process_);
  EXPECT_FALSE(IsProcessListed(number_));
}

TEST_F(RunningProcess, RunsOnWhenLetGo_AndLeavesNothingBehind) {
  Process_Detach(process_);
  EXPECT_TRUE(IsProcessListed(number_));
  LetItEnd();
  // Any later call of the family is the occasion to ask the system for the child's end.
  const std::string command = ChildCommand("exit 0");
  bool isListed = true;
  for (int i = 0; i < 200 && isListed; ++i) {
    Process* other = nullptr;
    ASSERT_EQ(Process_Launch(programName_.c_str(), command.c_str(), nullptr, &other), Error_None);
    ASSERT_TRUE(EndsWithinTenSeconds(other));
    Process_Detach(other);
    isListed = IsProcessListed(number_);
  }
  EXPECT_FALSE(isListed);
}

TEST_F(ProcessLaunch, LeavesNoRecordBehind_WhenTheChildEndedBeforeItWasLetGo) {
  const int64_t blocksBefore = iMemory_CountLive();
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch(programName_.c_str(), ChildCommand("exit 3").c_str(), nullptr, &process),
            Error_None);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
  EXPECT_EQ(iMemory_CountLive(), blocksBefore);
}

TEST_F(ProcessLaunch, LeavesNoHandleBehind) {
  const auto startSome = [&] {
    for (int i = 0; i < 10; ++i) {
      Process* process = nullptr;
      ASSERT_EQ(Process_Launch(programName_.c_str(), ChildCommand("exit 0").c_str(), nullptr, &process),
                Error_None);
      if (i % 2 == 0) {
        EXPECT_TRUE(EndsWithinTenSeconds(process));
      }
      Process_Detach(process);
    }
  };
  startSome();
  const int before = CountOpenHandles();
  startSome();
  EXPECT_LT(CountOpenHandles(), before + 5);
}

TEST(Process, RefusesNull) {
  EXPECT_EQ(Process_IsActive(nullptr), 0);
  Process_Detach(nullptr);
  EXPECT_EQ(Process_GetPathname(nullptr), Error_Invalid);
}

TEST(Process, KnowsItself) {
  EXPECT_EQ(Process_GetCurrentID(), ProgramNumber());
  char name[1024] = "";
  EXPECT_EQ(Process_GetPathname(name), Error_None);
  EXPECT_EQ(name, LibraryName(ProgramPath()));
}

// The library up, with this instance.
class WithInstance {
 public:
  explicit WithInstance(Word instance) {
    const std::string log = places_.Folder().Name("x.log");
    status_ = OS_Init(places_.ApplicationName().c_str(), 1, log.c_str(), 2, 4, instance, Word{0}, 0);
  }
  ~WithInstance() { OS_Exit(0); }
  ErrorCode Status() const { return status_; }

 private:
  OSPlaces places_{"qzmodule" + std::to_string(ProgramNumber())};
  ErrorCode status_;
};

TEST(Process, NamesTheModuleOfTheInstance) {
  const SystemModule module = FindSystemModule();
  const WithInstance up(module.instance);
  ASSERT_EQ(up.Status(), 0);
  char name[1024] = "";
  EXPECT_EQ(Process_GetPathname(name), Error_None);
  EXPECT_TRUE(LeadsTo(name, module.path)) << name;
}

TEST(Process, NamesWhatTheSystemSays_ForAnInstanceThatIsNoModule) {
  char name[1024] = "";
  EXPECT_EQ(platform::FindModulePathname(16, name), kUnknownInstanceIsTheProgram);
  if (kUnknownInstanceIsTheProgram) {
    EXPECT_EQ(name, ProgramPath().string());
  }
}

TEST(Process, GivesFailAndNoName_WhenTheSystemKnowsNoSuchModule) {
  const OSPlaces places("qznomodule" + std::to_string(ProgramNumber()));
  // A start that fails late leaves the instance behind.
  iOS_SetSocketStart([]() -> ErrorCode { return Error_System; });
  EXPECT_EQ(OS_Init(places.ApplicationName().c_str(), 2, 4, Word{16}, Word{0}, 0), Error_System);
  iOS_SetSocketStart(nullptr);
  iSysDir_Exit();
  char name[1024] = "as was";
  EXPECT_EQ(Process_GetPathname(name), kUnknownInstanceIsTheProgram ? 0 : -1);
  EXPECT_EQ(name, kUnknownInstanceIsTheProgram ? ProgramPath().string() : "");
  // The next start, be it one that fails at once, forgets it.
  EXPECT_EQ(OS_Init(nullptr, 99), Error_Fail);
}

TEST(Process, HasNoNameOfItsOwn_WhereItDoesNotFit) {
  char name[4] = "";
  EXPECT_FALSE(platform::FindModulePathname(0, name));
}

}  // namespace
