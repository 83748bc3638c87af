// The folders of a desktop session, and what stands in when variables or folders are missing.
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

#include "os/file/sysdir_internal.h"
#include "os/platform/sysdirs.h"
#include "qz/file.h"
#include "qz/os.h"
#include "tests/support/environment.h"
#include "tests/support/error_capture.h"
#include "tests/support/os_session.h"

namespace {

namespace fs = std::filesystem;
using platform::FindFallbackParent;
using platform::FindSystemFolder;
using platform::SystemFolder;

class UserFolders : public testing::Test {
 protected:
  void TearDown() override {
    OS_Exit(0);
    iSysDir_Exit();
  }
  static std::string Find(SystemFolder folder, const char* applicationFolder = nullptr) {
    char name[1024] = "";
    return FindSystemFolder(folder, applicationFolder, name) ? name : "(none)";
  }
  static std::string FallbackParent(const std::string& applicationFolder) {
    char name[1024] = "";
    return FindFallbackParent(applicationFolder.c_str(), name) ? name : "(none)";
  }
  std::string Below(const char* name) const { return (home_.Path() / name).string(); }

  TemporaryFolder home_;
  ScopedVariable homeVariable_{"HOME", home_.Path().c_str()};
  ScopedVariable config_{"XDG_CONFIG_HOME", nullptr};
  ScopedVariable data_{"XDG_DATA_HOME", nullptr};
  ScopedVariable cache_{"XDG_CACHE_HOME", nullptr};
  ScopedVariable temporary_{"TMPDIR", nullptr};
};

TEST_F(UserFolders, StandBelowTheHomeFolder_WithMissingParentsCreated) {
  EXPECT_EQ(Find(SystemFolder::kStartup), Below(".config/autostart"));
  EXPECT_EQ(Find(SystemFolder::kPrograms), Below(".local/share/applications"));
  EXPECT_TRUE(fs::is_directory(Below(".config")));
  EXPECT_TRUE(fs::is_directory(Below(".local/share")));
}

TEST_F(UserFolders, FollowTheirVariables) {
  const ScopedVariable config("XDG_CONFIG_HOME", Below("deep/er/config").c_str());
  const ScopedVariable data("XDG_DATA_HOME", (Below("data") + "/").c_str());
  EXPECT_EQ(Find(SystemFolder::kStartup), Below("deep/er/config/autostart"));
  EXPECT_TRUE(fs::is_directory(Below("deep/er/config")));
  EXPECT_EQ(Find(SystemFolder::kPrograms), Below("data/applications"));
}

TEST_F(UserFolders, TakeNoRelativeVariable) {
  const ScopedVariable config("XDG_CONFIG_HOME", "relative");
  const ScopedVariable temporary("TMPDIR", "relative");
  EXPECT_EQ(Find(SystemFolder::kStartup), Below(".config/autostart"));
  EXPECT_EQ(Find(SystemFolder::kTemporary), "/tmp");
}

TEST_F(UserFolders, ComeFromTheUsersEntry_WhenNoVariableNamesTheHomeFolder) {
  const ScopedVariable home("HOME", nullptr);
  const passwd* entry = getpwuid(getuid());
  ASSERT_NE(entry, nullptr);
  const ScopedVariable config("XDG_CONFIG_HOME", Below("config").c_str());
  const std::string desktop = std::string(entry->pw_dir) + "/Desktop";
  EXPECT_EQ(Find(SystemFolder::kDesktop), fs::is_directory(desktop) ? desktop : "(none)");
}

TEST_F(UserFolders, HaveADesktop_OnlyWhenItExists) {
  EXPECT_EQ(Find(SystemFolder::kDesktop), "(none)");
  fs::create_directory(Below("Desktop"));
  EXPECT_EQ(Find(SystemFolder::kDesktop), Below("Desktop"));
}

TEST_F(UserFolders, AreTheTemporaryFolderOfTheVariable) {
  EXPECT_EQ(Find(SystemFolder::kTemporary), "/tmp");
  const ScopedVariable temporary("TMPDIR", (Below("t") + "//").c_str());
  EXPECT_EQ(Find(SystemFolder::kTemporary), Below("t"));
}

TEST_F(UserFolders, AreNone_WhenTheNameDoesNotFit) {
  const ScopedVariable config("XDG_CONFIG_HOME", ("/" + std::string(1020, 'x')).c_str());
  EXPECT_EQ(Find(SystemFolder::kStartup), "(none)");
}

TEST_F(UserFolders, TakeTheProgramsOwnFolders_WhereTheProgramsFolderCannotBeWritten) {
  EXPECT_EQ(FallbackParent(home_.Path().string()), home_.Path().string());
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), Below(".cache"));
  EXPECT_TRUE(fs::is_directory(Below(".cache")));
  const ScopedVariable cache("XDG_CACHE_HOME", Below("a/b/c").c_str());
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), Below("a/b/c"));
  EXPECT_TRUE(fs::is_directory(Below("a/b/c")));
}

TEST_F(UserFolders, LeaveTheProgramsFolder_WhenTheCacheCannotBeMadeEither) {
  std::ofstream(Below("plain")) << "x";
  const ScopedVariable cache("XDG_CACHE_HOME", Below("plain/cache").c_str());
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), "/nonexistent/folder");
}

TEST_F(UserFolders, AreTheDesktopOfOSInit) {
  const OSPlaces places("qzdesktop" + std::to_string(ProgramNumber()));
  const fs::path desktop = fs::path(getenv("HOME")) / "Desktop";
  fs::create_directory(desktop);
  ASSERT_EQ(OS_Init(places.ApplicationName().c_str(), 1, places.Folder().Name("x.log").c_str(), 0), 0);
  char name[1024] = "";
  EXPECT_EQ(File_GetSysDir(SysDir_Desk, name), 0);
  EXPECT_EQ(name, desktop.string());
  EXPECT_FALSE(fs::exists(ProgramPath().parent_path() / (places.ApplicationName() + "Desk")));
}

// The status of the lookup, "exists", is not passed on for a folder without a fallback.
TEST_F(UserFolders, FailTheStartWithNotFound_WhenAFileStandsInTheirPlace) {
  const OSPlaces places("qzplain" + std::to_string(ProgramNumber()));
  ErrorCapture errors;
  for (const auto& [variable, folder, id] :
       {std::tuple{"XDG_CONFIG_HOME", "autostart", "5"}, std::tuple{"XDG_DATA_HOME", "applications", "7"}}) {
    const ScopedVariable parent(variable, home_.Path().c_str());
    std::ofstream(Below(folder)) << "x";
    EXPECT_EQ(OS_Init(places.ApplicationName().c_str(), 1, places.Folder().Name("x.log").c_str(), 0), -3);
    EXPECT_EQ(errors.Lines()[errors.Lines().size() - 2],
              std::string("#### Error: OS_Init: File: Can't update system directory ") + id + "\n");
  }
}

}  // namespace
