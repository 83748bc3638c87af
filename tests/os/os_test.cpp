// OS_Init and OS_Exit: the list of codes, the order of the steps, what is undone.
#include "qz/os.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <vector>

#include "os/core/os_internal.h"
#include "os/core/os_testing.h"
#include "os/file/sysdir_internal.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/thread.h"
#include "qz/winosregistry.h"
#include "tests/support/environment.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/module.h"
#include "tests/support/os_session.h"

namespace {

constexpr uint8_t kGuid[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
constexpr uint8_t kOtherGuid[16] = {9};

using Lines = std::vector<std::string>;

class OSInit : public testing::Test {
 protected:
  void TearDown() override {
    iOS_SetSocketStart(nullptr);
    OS_Exit(0);
    iSysDir_Exit();
    // The services of a failed start stay; the next start, be it one that fails at once, forgets the
    // instance.
    EXPECT_EQ(OS_Init(nullptr, 99), Error_Fail);
    for (uint32_t slot = 0; slot < 3; ++slot) WinOSRegistry_SetID(slot, nullptr);
  }

  const char* Name() const { return places_.ApplicationName().c_str(); }
  std::string NameOf(int32_t directory) {
    char buffer[1024];
    EXPECT_EQ(File_GetSysDir(directory, buffer), Error_None) << directory;
    return buffer;
  }

  OSPlaces places_{"qzinit" + std::to_string(ProgramNumber())};
  // A module that is there, because window classes are registered with it.
  const Word instance_ = FindSystemModule().instance;
  ErrorCapture errors_;
};

TEST_F(OSInit, NamesTheApplicationAfterTheProcess_WhenNoNameIsGiven) {
  const std::string name = "app" + std::to_string(ProgramNumber());
  places_.AlsoRemove(name);
  ASSERT_EQ(OS_Init(nullptr, 0), Error_None);
  EXPECT_EQ(OS_GetApplicationName(), name);
  EXPECT_STREQ(OS_GetCompanyName(), "");
  EXPECT_EQ(errors_.Lines(), Lines{});
}

TEST_F(OSInit, CopiesTheNames) {
  std::string application = Name();
  std::string company = "Company";
  ASSERT_EQ(OS_Init(application.c_str(), OSInitCode_CompanyName, company.c_str(), 0), Error_None);
  application.assign(application.size(), '#');
  company.assign(company.size(), '#');
  EXPECT_STREQ(OS_GetApplicationName(), Name());
  EXPECT_STREQ(OS_GetCompanyName(), "Company");
}

TEST_F(OSInit, TakesTheNameThatItHolds) {
  ASSERT_EQ(OS_Init(Name(), 0), Error_None);
  OS_Exit(0);
  ASSERT_EQ(OS_Init(OS_GetApplicationName(), 0), Error_None);
  EXPECT_STREQ(OS_GetApplicationName(), Name());
}

TEST_F(OSInit, TakesPercentSignsInNamesForThemselves) {
  const std::string name = places_.ApplicationName() + "%s%n%d";
  places_.AlsoRemove(name);
  ASSERT_EQ(OS_Init(name.c_str(), 3, "%s%n", 0), Error_None);
  EXPECT_EQ(OS_GetApplicationName(), name);
  EXPECT_STREQ(OS_GetCompanyName(), "%s%n");
  const std::string cache = NameOf(SysDir_Cache);
  ASSERT_GT(cache.size(), 11u);
  EXPECT_EQ(cache.substr(cache.size() - 11), "%s%n%dCache");
}

TEST_F(OSInit, SeedsTheRandomNumbers) {
  const auto eightNumbers = [] {
    std::vector<int32_t> numbers;
    for (int i = 0; i < 8; ++i) numbers.push_back(OS_Random());
    return numbers;
  };
  // The sequence of a seed that the time since the system started is not.
  srand(1);
  const std::vector<int32_t> unseeded = eightNumbers();
  srand(1);
  ASSERT_EQ(OS_Init(Name(), 0), Error_None);
  EXPECT_NE(eightNumbers(), unseeded);
}

TEST_F(OSInit, HasALittleEndianProcessor) {
  ASSERT_EQ(OS_Init(Name(), 0), Error_None);
  EXPECT_EQ(OS_GetProcessorEndian(), 0);
}

TEST_F(OSInit, ReportsACodeGivenTwice_AndTakesTheLaterValue) {
  ASSERT_EQ(OS_Init(Name(), 3, "A", 3, "B", 0), Error_None);
  EXPECT_STREQ(OS_GetCompanyName(), "B");
  EXPECT_EQ(errors_.Lines(), Lines{"#### Error: OS_Init: Initialized same variable twice!\n"});
}

TEST_F(OSInit, ReportsEachRepetition) {
  ASSERT_EQ(OS_Init(Name(), 2, 2, 2, 0), Error_None);
  const std::string line = "#### Error: OS_Init: Initialized same variable twice!\n";
  EXPECT_EQ(errors_.Lines(), (Lines{line, line}));
}

TEST_F(OSInit, TakesANullCompanyForAnEmptyOne) {
  ASSERT_EQ(OS_Init(Name(), 3, "A", 3, static_cast<const char*>(nullptr), 0), Error_None);
  EXPECT_STREQ(OS_GetCompanyName(), "");
}

TEST_F(OSInit, FailsAtOnce_ForACodeThatIsNone) {
  EXPECT_EQ(OS_Init(Name(), 9, 0), Error_Fail);
  EXPECT_EQ(errors_.Lines(), Lines{"#### Error: OS_Init: Error parsing init code 9, last good code was 0\n"});
  EXPECT_FALSE(iOS_IsInited());
  char buffer[1024] = "as was";
  EXPECT_EQ(File_GetSysDir(SysDir_App, buffer), Error_NotInited);
}

TEST_F(OSInit, NamesTheLastGoodCode) {
  EXPECT_EQ(OS_Init(Name(), 2, 3, "A", 7, 0), Error_Fail);
  EXPECT_EQ(OS_Init(Name(), 5, -1, 0), Error_Fail);
  EXPECT_EQ(errors_.Lines(),
            (Lines{"#### Error: OS_Init: Error parsing init code 7, last good code was 3\n",
                   "#### Error: OS_Init: Error parsing init code -1, last good code was 5\n"}));
}

TEST_F(OSInit, TestsTheMarkBeforeTheCode) {
  // 33 has the mark of 1; 32 that of the terminating 0, which has not been seen yet.
  EXPECT_EQ(OS_Init(Name(), 1, "/nowhere/x.log", 33, 0), Error_Fail);
  EXPECT_EQ(OS_Init(Name(), 32, 0), Error_Fail);
  EXPECT_EQ(errors_.Lines(),
            (Lines{"#### Error: OS_Init: Initialized same variable twice!\n",
                   "#### Error: OS_Init: Error parsing init code 33, last good code was 1\n",
                   "#### Error: OS_Init: Error parsing init code 32, last good code was 0\n"}));
}

TEST_F(OSInit, GivesInitedWhileUp_AndChangesNothing) {
  ASSERT_EQ(OS_Init(Name(), 3, "A", 0), Error_None);
  EXPECT_EQ(OS_Init("other", 3, "B", 9, 0), Error_Inited);
  EXPECT_STREQ(OS_GetApplicationName(), Name());
  EXPECT_STREQ(OS_GetCompanyName(), "A");
  EXPECT_EQ(errors_.Lines(), Lines{});
}

TEST_F(OSInit, EmptiesTheCompanyName) {
  ASSERT_EQ(OS_Init(Name(), 3, "A", 0), Error_None);
  OS_Exit(0);
  ASSERT_EQ(OS_Init(Name(), 0), Error_None);
  EXPECT_STREQ(OS_GetCompanyName(), "");
}

// ---- platform services --------------------------------------------------------------------------

TEST_F(OSInit, IgnoresTheServices_WithoutThePlatformCode) {
  ASSERT_EQ(OS_Init(Name(), 4, Word{0x1234}, Word{0x5678}, 5, 6, kGuid, 3, "behind", 0), Error_None);
  EXPECT_EQ(iOS_GetInstance(), 0u);
  EXPECT_EQ(WinOSRegistry_GetID(0), nullptr);
  EXPECT_STREQ(OS_GetCompanyName(), "behind") << "their arguments are read all the same";
}

TEST_F(OSInit, AppliesTheServices_WhereverThePlatformCodeStands) {
  ASSERT_EQ(OS_Init(Name(), 6, kGuid, 5, 4, instance_, Word{0x5678}, 2, 0), Error_None);
  EXPECT_EQ(iOS_GetInstance(), instance_);
  EXPECT_EQ(WinOSRegistry_GetID(0), kGuid);
  EXPECT_EQ(errors_.Lines(), Lines{});
}

TEST_F(OSInit, EmptiesTheIdentifierTable_WhenItSetsItsOwn) {
  WinOSRegistry_SetID(0, kOtherGuid);
  WinOSRegistry_SetID(2, kOtherGuid);
  ASSERT_EQ(OS_Init(Name(), 2, 6, kGuid, 0), Error_None);
  EXPECT_EQ(WinOSRegistry_GetID(0), kGuid);
  EXPECT_EQ(WinOSRegistry_GetID(2), nullptr);
}

TEST_F(OSInit, ExitLeavesTheServices_WithoutThePlatformCode) {
  ASSERT_EQ(OS_Init(Name(), 4, instance_, Word{0}, 5, 6, kGuid, 0), Error_None);
  WinOSRegistry_SetID(1, kOtherGuid);
  OS_Exit(0);
  EXPECT_EQ(WinOSRegistry_GetID(1), kOtherGuid);
}

TEST_F(OSInit, ExitUndoesWhatTheListAskedFor) {
  ASSERT_EQ(OS_Init(Name(), 2, 4, instance_, Word{0}, 5, 6, kGuid, 0), Error_None);
  ASSERT_EQ(iOS_GetInstance(), instance_);
  WinOSRegistry_SetID(1, kOtherGuid);
  OS_Exit(77);
  EXPECT_EQ(iOS_GetInstance(), 0u);
  EXPECT_EQ(WinOSRegistry_GetID(0), nullptr);
  EXPECT_EQ(WinOSRegistry_GetID(1), nullptr);
  EXPECT_FALSE(iOS_IsInited());
}

TEST_F(OSInit, ExitLeavesTheIdentifiersThatTheListDidNotSet) {
  ASSERT_EQ(OS_Init(Name(), 2, 0), Error_None);
  WinOSRegistry_SetID(1, kOtherGuid);
  OS_Exit(0);
  EXPECT_EQ(WinOSRegistry_GetID(1), kOtherGuid);
}

TEST_F(OSInit, AppliesNothing_WhenACodeIsNone) {
  const std::string nameBefore = OS_GetApplicationName();
  EXPECT_EQ(OS_Init("other", 2, 4, Word{0x1234}, Word{0}, 6, kGuid, 3, "A", 9, 0), Error_Fail);
  EXPECT_EQ(iOS_GetInstance(), 0u);
  EXPECT_EQ(WinOSRegistry_GetID(0), nullptr);
  EXPECT_EQ(OS_GetApplicationName(), nameBefore);
  EXPECT_STREQ(OS_GetCompanyName(), "A") << "it is copied as it is read";
}

// ---- failures and cycles ------------------------------------------------------------------------

// What the socket layer found when it was started.
struct {
  int starts = 0;
  bool libraryIsUp = false;
  std::string applicationName;
  ErrorCode directories = 0;
  const void* identifier = nullptr;
} seenByTheSockets;

ErrorCode LookAroundAndFail() {
  char buffer[1024];
  seenByTheSockets = {seenByTheSockets.starts + 1, iOS_IsInited(), OS_GetApplicationName(),
                      File_GetSysDir(SysDir_Programs, buffer), WinOSRegistry_GetID(0)};
  File* log = File_GetSysFile(0, 2);
  if (log != nullptr) File_SetTemporary(log, 1);
  return Error_Retry;
}

TEST_F(OSInit, StartsTheSocketLayerWhenAllElseIsReady_AndClosesTheLogWhenThatFails) {
  const std::filesystem::path log = places_.Folder().Path() / "x.log";
  seenByTheSockets = {};
  iOS_SetSocketStart(LookAroundAndFail);
  EXPECT_EQ(OS_Init(Name(), 2, 6, kGuid, 1, places_.Folder().Name("x.log").c_str(), 0), Error_Retry);
  EXPECT_EQ(seenByTheSockets.starts, 1);
  EXPECT_FALSE(seenByTheSockets.libraryIsUp);
  EXPECT_EQ(seenByTheSockets.applicationName, Name());
  EXPECT_EQ(seenByTheSockets.directories, 0);
  EXPECT_EQ(seenByTheSockets.identifier, kGuid);
  EXPECT_FALSE(std::filesystem::exists(log)) << "closing it removes it, because it is temporary";
}

TEST_F(OSInit, DoesNotStartTheSocketLayer_WhenAnEarlierStepFails) {
  seenByTheSockets = {};
  iOS_SetSocketStart(LookAroundAndFail);
  EXPECT_EQ(OS_Init(Name(), 1, std::string(1024, 'x').c_str(), 0), Error_Exceed);
  EXPECT_EQ(OS_Init(Name(), 7, 0), Error_Fail);
  EXPECT_EQ(seenByTheSockets.starts, 0);
}

TEST_F(OSInit, GivesTheStatusOfTheSocketLayer_AndLeavesTheServicesAndDirectoriesAsTheyAre) {
  iOS_SetSocketStart([]() -> ErrorCode { return Error_System; });
  EXPECT_EQ(OS_Init(Name(), 2, 4, Word{0x1234}, Word{0}, 6, kGuid, 0), Error_System);
  EXPECT_FALSE(iOS_IsInited());
  OS_Exit(0);
  EXPECT_EQ(WinOSRegistry_GetID(0), kGuid) << "services of a failed start are not undone";
  EXPECT_EQ(iOS_GetInstance(), 0x1234u);

  iOS_SetSocketStart(nullptr);
  EXPECT_EQ(OS_Init(Name(), 0), Error_Inited) << "the directories are still marked as ready";
}

TEST_F(OSInit, ExitWhileDownDoesNothing) {
  WinOSRegistry_SetID(0, kGuid);
  OS_Exit(0);
  OS_Exit(1);
  EXPECT_EQ(WinOSRegistry_GetID(0), kGuid);
}

TEST_F(OSInit, CanBeRepeated) {
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(OS_Init(Name(), 2, 5, 6, kGuid, 0), Error_None) << i;
    EXPECT_TRUE(iOS_IsInited());
    EXPECT_EQ(WinOSRegistry_GetID(0), kGuid);
    OS_Exit(0);
    EXPECT_FALSE(iOS_IsInited());
  }
  EXPECT_EQ(errors_.Lines(), Lines{});
}

TEST_F(OSInit, LeavesNothingOpen) {
  const auto cycle = [&] {
    ASSERT_EQ(OS_Init(Name(), 2, 5, 6, kGuid, 1, places_.Folder().Name("x.log").c_str(), 0), Error_None);
    EXPECT_NE(File_GetSysFile(0, 2), nullptr);
    OS_Exit(0);
  };
  cycle();
  const int before = CountOpenHandles();
  for (int i = 0; i < 20; ++i) cycle();
  EXPECT_LT(CountOpenHandles(), before + 10);
}

TEST_F(OSInit, ComesUpOrGivesMemory_WhenMemoryRunsOut) {
  const std::string log = places_.Folder().Name("x.log");
  FailEveryAllocation([&] {
    const ErrorCode status = OS_Init(Name(), 1, log.c_str(), 2, 5, 6, kGuid, 0);
    if (status == 0) {
      File* file = File_GetSysFile(0, 2);
      if (file != nullptr) {
        EXPECT_EQ(File_Write(file, 1, "x"), 1u);
      }
    } else {
      EXPECT_EQ(status, 1);
    }
    OS_Exit(0);
    iSysDir_Exit();
    WinOSRegistry_SetID(0, nullptr);
  });
}

TEST_F(OSInit, CutsALongCompanyName) {
  ASSERT_EQ(OS_Init(Name(), 3, std::string(3000, 'c').c_str(), 0), Error_None);
  EXPECT_EQ(OS_GetCompanyName(), std::string(1023, 'c'));
}

TEST_F(OSInit, CutsALongApplicationName_AndRefusesDirectoriesThatDoNotFit) {
  EXPECT_EQ(OS_Init(std::string(3000, 'a').c_str(), 0), Error_Exceed);
  EXPECT_EQ(OS_GetApplicationName(), std::string(1023, 'a'));
  EXPECT_EQ(errors_.Lines(),
            (Lines{"#### Error: OS_Init: File: Can't update system directory 2\n",
                   "#### Error: OS_Init: Couldn't initialize default file system directories!\n"}));
}

// ---- the log file -------------------------------------------------------------------------------

TEST_F(OSInit, TakesTheLogPath_AndDoesNotCreateTheFile) {
  const std::string log = places_.Folder().Name("given.log");
  ASSERT_EQ(OS_Init(Name(), 1, log.c_str(), 0), Error_None);
  EXPECT_FALSE(std::filesystem::exists(places_.Folder().Path() / "given.log"));
  File* file = File_GetSysFile(0, 2);
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(std::filesystem::exists(places_.Folder().Path() / "given.log"));
}

TEST_F(OSInit, PutsTheLogBesideTheProgram_WhenNoPathIsGiven) {
  const std::filesystem::path log = ProgramPath().parent_path() / (places_.ApplicationName() + ".log");
  for (const char* notGiven : {"", static_cast<const char*>(nullptr)}) {
    ASSERT_EQ(OS_Init(Name(), 1, notGiven, 0), Error_None);
    EXPECT_FALSE(std::filesystem::exists(log));
    ASSERT_NE(File_GetSysFile(0, 2), nullptr);
    EXPECT_TRUE(std::filesystem::exists(log));
    OS_Exit(0);
    std::filesystem::remove(log);
  }
}

TEST_F(OSInit, ForgetsTheInstanceOfAStartThatFailed) {
  const std::string tooLong(1024, 'x');
  EXPECT_EQ(OS_Init(Name(), 2, 4, Word{0x1234}, Word{0}, 1, tooLong.c_str(), 0), Error_Exceed);
  EXPECT_EQ(iOS_GetInstance(), Word{0x1234}) << "what the services did stays done";
  ASSERT_EQ(OS_Init(Name(), 0), Error_None);
  EXPECT_EQ(iOS_GetInstance(), Word{0});
}

TEST_F(OSInit, RefusesALogPathThatDoesNotFit) {
  EXPECT_EQ(OS_Init(Name(), 1, ("/" + std::string(1023, 'x')).c_str(), 0), Error_Exceed);
  EXPECT_EQ(errors_.Lines(), Lines{"#### Error: OS_Init: Couldn't initialize log file!\n"});
  EXPECT_FALSE(iOS_IsInited());
  EXPECT_EQ(OS_Init(Name(), 1, ("/" + std::string(1022, 'x')).c_str(), 0), Error_None)
      << "nothing was marked as ready";
}

class LogFile : public OSInit {
 protected:
  void SetUp() override { ASSERT_EQ(OS_Init(Name(), 1, name_.c_str(), 0), Error_None); }
  bool Exists() const { return std::filesystem::exists(path_); }

  std::filesystem::path path_ = places_.Folder().Path() / "app.log";
  std::string name_ = places_.Folder().Name("app.log");
};

TEST_F(LogFile, IsOpenedOnceAndKept) {
  File* file = File_GetSysFile(0, 2);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(File_Write(file, 3, "abc"), 3u);
  EXPECT_EQ(File_GetSysFile(0, 2), file);
  EXPECT_EQ(File_Write(file, 3, "def"), 3u);
  OS_Exit(0);
  EXPECT_EQ(std::filesystem::file_size(path_), 6u);
}

// What eight threads got, all asking at once.
struct Askers {
  static constexpr int kCount = 8;
  std::atomic<int> next{0};
  std::atomic<bool> mayGo{false};
  std::atomic<int> done{0};
  File* files[kCount] = {};

  static int32_t Run(void* argument) {
    auto* askers = static_cast<Askers*>(argument);
    const int slot = askers->next++;
    while (!askers->mayGo) OS_Delay(0);
    askers->files[slot] = File_GetSysFile(0, 2);
    ++askers->done;
    return 0;
  }
};

TEST_F(LogFile, IsOpenedOnce_WhenManyThreadsAskAtOnce) {
  Askers askers;
  for (int i = 0; i < Askers::kCount; ++i) Thread_Delete(Thread_New(Askers::Run, &askers));
  askers.mayGo = true;
  for (int i = 0; i < 10000 && askers.done != Askers::kCount; ++i) OS_Delay(0.001f);
  ASSERT_EQ(askers.done, 8);
  EXPECT_NE(askers.files[0], nullptr);
  for (File* file : askers.files) EXPECT_EQ(file, askers.files[0]);
}

TEST_F(LogFile, IsNotClosedByFileClose) {
  File* file = File_GetSysFile(0, 2);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(File_Close(file), Error_None);
  EXPECT_EQ(File_Write(file, 4, "more"), 4u);
  EXPECT_EQ(File_GetSysFile(0, 2), file);
}

TEST_F(LogFile, IsClosedByExit_AndDeletedWhenTemporary) {
  File* file = File_GetSysFile(0, 2);
  ASSERT_NE(file, nullptr);
  OS_Exit(0);
  EXPECT_TRUE(Exists());
  ASSERT_EQ(OS_Init(Name(), 1, name_.c_str(), 0), Error_None);
  file = File_GetSysFile(0, 2);
  ASSERT_NE(file, nullptr);
  File_SetTemporary(file, 1);
  OS_Exit(0);
  EXPECT_FALSE(Exists());
}

TEST_F(LogFile, IsTriedAgain_WhenItCouldNotBeOpened) {
  EXPECT_EQ(File_GetSysFile(0, 1), nullptr) << "mode 1 reads, and there is no file";
  EXPECT_EQ(File_GetSysFile(0, 7), nullptr) << "mode 7 is refused";
  EXPECT_NE(File_GetSysFile(0, 2), nullptr);
}

TEST_F(LogFile, IsTheOnlySystemFile) {
  EXPECT_EQ(File_GetSysFile(1, 2), nullptr);
  EXPECT_EQ(File_GetSysFile(-1, 2), nullptr);
}

TEST_F(LogFile, IsNotThereWhileTheLibraryIsDown) {
  OS_Exit(0);
  EXPECT_EQ(File_GetSysFile(0, 2), nullptr);
  EXPECT_FALSE(Exists());
}

}  // namespace
