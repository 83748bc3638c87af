// Files that several programs of a user store at the same time, and the lock that they share.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "os/file/file_internal.h"
#include "os/platform/filelock.h"
#include "qz/process.h"
#include "tests/support/child_program.h"
#include "tests/transfer/transfer_fixture.h"
#include "transfer/statistics_internal.h"
#include "transfer/vrxprefs_internal.h"

namespace {

using platform::FileLockResult;

class SharedFilesTest : public KeptFilesTest {
 protected:
  std::string SystemNameOf(const std::string& name) const {
    char systemName[kFileNameSize] = "";
    EXPECT_EQ(iFile_ToSystemName(Name(name).c_str(), systemName), Error_None);
    return systemName;
  }
  FileLockResult Try(const std::string& name, platform::FileLock* lock) const {
    return platform::TryFileLock(SystemNameOf(name).c_str(), lock);
  }
  static std::string Quoted(const std::string& text) { return "\"" + text + "\" "; }
  static Process* Launch(const std::string& rest) {
    Process* process = nullptr;
    EXPECT_EQ(
        Process_Launch(LibraryName(ProgramPath()).c_str(), ChildCommand(rest).c_str(), nullptr, &process),
        Error_None);
    return process;
  }
};

// ---- the lock ----------------------------------------------------------------------------------

TEST_F(SharedFilesTest, HaveALockForOneAtATime) {
  platform::FileLock first = 0;
  platform::FileLock second = 0;
  ASSERT_EQ(Try("a.lock", &first), FileLockResult::Taken);
  EXPECT_EQ(Try("a.lock", &second), FileLockResult::Busy);
  ASSERT_EQ(Try("b.lock", &second), FileLockResult::Taken) << "another file's";
  platform::ReleaseFileLock(second);
  platform::ReleaseFileLock(first);
  ASSERT_EQ(Try("a.lock", &second), FileLockResult::Taken);
  platform::ReleaseFileLock(second);
  EXPECT_EQ(Names(), "a.lock b.lock ");
  EXPECT_EQ(Read("a.lock"), "");
}

TEST_F(SharedFilesTest, HaveNoLock_WhereItsFileCannotBe) {
  platform::FileLock lock = 0;
  EXPECT_EQ(Try("missing/a.lock", &lock), FileLockResult::Unavailable);
  std::filesystem::create_directory(Path("a.lock"));
  EXPECT_EQ(Try("a.lock", &lock), FileLockResult::Unavailable);
}

TEST_F(SharedFilesTest, GetTheirLockBack_WhenAProgramEnds) {
  const std::string report = Path("report").string();
  Process* process = Launch("hold " + Quoted(report) + Quoted(SystemNameOf("a.lock")));
  ASSERT_NE(process, nullptr);
  for (int i = 0; i < 1000 && !Exists("report"); ++i) OS_Delay(0.01f);
  ASSERT_TRUE(Exists("report"));
  platform::FileLock lock = 0;
  EXPECT_EQ(Try("a.lock", &lock), FileLockResult::Busy);
  Write("report.end", "");
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
  ASSERT_EQ(Try("a.lock", &lock), FileLockResult::Taken);
  platform::ReleaseFileLock(lock);
}

// ---- several programs --------------------------------------------------------------------------

TEST_F(SharedFilesTest, KeepWhatEveryProgramStores) {
  constexpr int kPrograms = 3;
  constexpr int kRounds = 20;
  ASSERT_EQ(iVRXPrefs_Start(), Error_None);
  iVRXPrefs_End();
  std::vector<Process*> processes;
  for (int i = 0; i < kPrograms; ++i) {
    const std::string number = std::to_string(i);
    processes.push_back(Launch("share " + Quoted(Path("report" + number).string()) +
                               Quoted(ApplicationName()) + number + " " + std::to_string(kRounds)));
    ASSERT_NE(processes.back(), nullptr);
  }
  for (Process* process : processes) {
    for (int i = 0; i < 5 && !EndsWithinTenSeconds(process);) ++i;
    Process_Detach(process);
  }
  for (int i = 0; i < kPrograms; ++i) {
    const ChildReport report = ReadChildReport(Path("report" + std::to_string(i)).string());
    EXPECT_TRUE(report.isComplete) << i;
    EXPECT_EQ(report.words, (std::vector<std::string>{"0", "0"})) << i;
  }
  ASSERT_EQ(iVRXPrefs_Start(), Error_None);
  for (int i = 0; i < kPrograms; ++i) {
    for (int round = 0; round < kRounds; ++round) {
      const std::string host = "p" + std::to_string(i) + "-" + std::to_string(round);
      EXPECT_EQ(iStatistics_AverageSpeed(host.c_str(), 21), static_cast<float>(round + 1)) << host;
    }
  }
  {
    const PreferencesAccess access;
    EXPECT_EQ(access->number1, kRounds);
    EXPECT_EQ(access->number3, static_cast<uint32_t>(kRounds));
    EXPECT_EQ(access->lastUpgradeCheckSeconds, static_cast<uint32_t>(kRounds));
  }
  iVRXPrefs_End();
}

}  // namespace
