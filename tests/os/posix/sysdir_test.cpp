// The folders of a desktop session, and what stands in when variables or folders are missing.
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "os/file/sysdir_internal.h"
#include "os/platform/error.h"
#include "os/platform/posix/program_posix.h"
#include "os/platform/sysdirs.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/process.h"
#include "qz/startup.h"
#include "tests/support/child_program.h"
#include "tests/support/environment.h"
#include "tests/support/error_capture.h"
#include "tests/support/file_system.h"
#include "tests/support/os_session.h"

namespace {

namespace fs = std::filesystem;
using platform::FindFallbackParent;
using platform::FindSystemFolder;
using platform::ParentSearch;
using platform::SystemFolder;

class UserFolders : public testing::Test {
 protected:
  void TearDown() override {
    OS_Exit(0);
    iSysDir_Exit();
  }
  static std::string Find(SystemFolder folder) {
    char name[1024] = "";
    return FindSystemFolder(folder, name) ? name : "(none)";
  }
  static std::string FallbackParent(const std::string& applicationFolder) {
    char name[1024] = "";
    switch (FindFallbackParent(applicationFolder.c_str(), name)) {
      case ParentSearch::kFound:
        return name;
      case ParentSearch::kTooLong:
        return "(too long)";
      case ParentSearch::kFailed:
        break;
    }
    return "(error " + std::to_string(platform::LastSystemError()) + ")";
  }
  // The temporary directory is a folder of this test's own, and there is no cache folder.
  std::string PrivateFolder() const { return Below("tmp/qz-" + std::to_string(geteuid())); }
  void LeaveOnlyTheTemporaryDirectory() {
    fs::create_directory(Below("tmp"));
    std::ofstream(Below("plain")) << "x";
    setenv("TMPDIR", Below("tmp").c_str(), 1);
    setenv("XDG_CACHE_HOME", Below("plain/cache").c_str(), 1);
  }
  std::string Below(const std::string& name) const { return (home_.Path() / name).string(); }

  TemporaryFolder home_;
  ScopedVariable homeVariable_{"HOME", home_.Path().c_str()};
  ScopedVariable config_{"XDG_CONFIG_HOME", nullptr};
  ScopedVariable data_{"XDG_DATA_HOME", nullptr};
  ScopedVariable cache_{"XDG_CACHE_HOME", nullptr};
  ScopedVariable temporary_{"TMPDIR", nullptr};
};

TEST_F(UserFolders, StandBelowTheHomeFolder_AndAreNotMade) {
  EXPECT_EQ(Find(SystemFolder::kStartup), Below(".config/autostart"));
  EXPECT_EQ(Find(SystemFolder::kPrograms), Below(".local/share/applications"));
  EXPECT_TRUE(fs::is_empty(home_.Path()));
}

TEST_F(UserFolders, FollowTheirVariables) {
  const ScopedVariable config("XDG_CONFIG_HOME", Below("deep/er/config").c_str());
  const ScopedVariable data("XDG_DATA_HOME", (Below("data") + "/").c_str());
  EXPECT_EQ(Find(SystemFolder::kStartup), Below("deep/er/config/autostart"));
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

TEST_F(UserFolders, AreNone_WithoutAHomeFolder) {
  std::ofstream(Below("plain")) << "x";
  for (const std::string& home : {std::string("/nonexistent"), Below("plain")}) {
    const ScopedVariable variable("HOME", home.c_str());
    EXPECT_EQ(Find(SystemFolder::kStartup), "(none)");
    EXPECT_EQ(Find(SystemFolder::kPrograms), "(none)");
    EXPECT_EQ(Find(SystemFolder::kDesktop), "(none)");
  }
}

TEST_F(UserFolders, TakeTheProgramsOwnFolders_WhereTheProgramsFolderCannotBeWritten) {
  EXPECT_EQ(FallbackParent(home_.Path().string()), home_.Path().string());
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), Below(".cache"));
  EXPECT_TRUE(fs::is_directory(Below(".cache")));
  fs::create_directory(Below("a"));
  const ScopedVariable cache("XDG_CACHE_HOME", Below("a/b").c_str());
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), Below("a/b"));
  EXPECT_TRUE(fs::is_directory(Below("a/b")));
}

TEST_F(UserFolders, MakeNoHomeAndNoParents) {
  LeaveOnlyTheTemporaryDirectory();
  setenv("XDG_CACHE_HOME", Below("missing/cache").c_str(), 1);
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), PrivateFolder());
  unsetenv("XDG_CACHE_HOME");
  const ScopedVariable home("HOME", Below("missing").c_str());
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), PrivateFolder());
  EXPECT_FALSE(fs::exists(Below("missing")));
}

TEST_F(UserFolders, LieInAPrivateFolder_WhenTheCacheCannotBeMadeEither) {
  LeaveOnlyTheTemporaryDirectory();
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), PrivateFolder());
  EXPECT_EQ(fs::status(PrivateFolder()).permissions(), fs::perms::owner_all);
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), PrivateFolder()) << "and is found there again";
}

TEST_F(UserFolders, LieInAPrivateFolder_WhenTheCacheCannotBeWritten) {
  LeaveOnlyTheTemporaryDirectory();
  fs::create_directory(Below("cache"));
  setenv("XDG_CACHE_HOME", Below("cache").c_str(), 1);
  fs::permissions(home_.Path(), fs::perms::all);
  fs::permissions(Below("tmp"), fs::perms::all);
  const WriteProtection protection(Below("cache"));
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), PrivateFolder());
}

TEST_F(UserFolders, LieElsewhere_WhenTheProgramsFolderCannotBeEntered) {
  LeaveOnlyTheTemporaryDirectory();
  fs::create_directory(Below("program"));
  fs::permissions(home_.Path(), fs::perms::all);
  fs::permissions(Below("tmp"), fs::perms::all);
  const Unenterable unenterable(Below("program"));
  EXPECT_EQ(FallbackParent(Below("program")), PrivateFolder());
}

TEST_F(UserFolders, AreRefused_WhenThePrivateFolderIsSomebodyElses) {
  LeaveOnlyTheTemporaryDirectory();
  const std::string elsewhere = Below("elsewhere");
  fs::create_directory(elsewhere);
  fs::permissions(elsewhere, fs::perms::owner_all);
  fs::create_directory_symlink(elsewhere, PrivateFolder());
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), "(error 5)") << "a link";
  fs::remove(PrivateFolder());
  std::ofstream(PrivateFolder()) << "x";
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), "(error 5)") << "a file";
  fs::remove(PrivateFolder());
  fs::create_directory(PrivateFolder());
  for (const fs::perms others : {fs::perms::group_exec, fs::perms::others_write, fs::perms::others_read}) {
    fs::permissions(PrivateFolder(), fs::perms::owner_all | others);
    EXPECT_EQ(FallbackParent("/nonexistent/folder"), "(error 5)") << static_cast<int>(others);
  }
  fs::permissions(PrivateFolder(), fs::perms::owner_all);
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), PrivateFolder());
}

// Only root can give a folder away.
TEST_F(UserFolders, AreRefused_WhenAnotherUserOwnsThePrivateFolder) {
  LeaveOnlyTheTemporaryDirectory();
  if (geteuid() != 0) return;
  fs::create_directory(PrivateFolder());
  fs::permissions(PrivateFolder(), fs::perms::owner_all);
  ASSERT_EQ(chown(PrivateFolder().c_str(), 65534, 65534), 0);
  EXPECT_EQ(FallbackParent("/nonexistent/folder"), "(error 5)");
}

// ---- starts ------------------------------------------------------------------------------------

TEST_F(UserFolders, AreNotMadeByAStart) {
  const OSPlaces places("qzhome" + std::to_string(ProgramNumber()));
  const ScopedVariable home("HOME", home_.Path().c_str());
  const ScopedVariable config("XDG_CONFIG_HOME", nullptr);
  const ScopedVariable data("XDG_DATA_HOME", nullptr);
  ASSERT_EQ(OS_Init(places.ApplicationName().c_str(), 1, places.Folder().Name("x.log").c_str(), 0),
            Error_None);
  char name[1024] = "";
  EXPECT_EQ(File_GetSysDir(SysDir_Startup, name), Error_None);
  EXPECT_EQ(name, Below(".config/autostart"));
  EXPECT_EQ(File_GetSysDir(SysDir_Programs, name), Error_None);
  EXPECT_EQ(name, Below(".local/share/applications"));
  EXPECT_EQ(Startup_InstallSelf(), Error_System);
  EXPECT_EQ(Startup_UninstallSelf(), Error_NotFound);
  EXPECT_TRUE(fs::is_empty(home_.Path()));
}

TEST_F(UserFolders, MayBeMissingAtAStart) {
  const OSPlaces places("qznohome" + std::to_string(ProgramNumber()));
  const ScopedVariable home("HOME", "/nonexistent");
  const ScopedVariable config("XDG_CONFIG_HOME", nullptr);
  const ScopedVariable data("XDG_DATA_HOME", nullptr);
  ErrorCapture errors;
  ASSERT_EQ(OS_Init(places.ApplicationName().c_str(), 1, places.Folder().Name("x.log").c_str(), 0),
            Error_None);
  EXPECT_TRUE(errors.Lines().empty());
  for (const int32_t id : {SysDir_Startup, SysDir_Programs}) {
    char name[1024] = "as was";
    EXPECT_EQ(File_GetSysDir(id, name), Error_NotFound);
    EXPECT_STREQ(name, "");
  }
  EXPECT_EQ(Startup_InstallSelf(), Error_NotFound);
}

TEST_F(UserFolders, AreTheDesktopOfOSInit) {
  const OSPlaces places("qzdesktop" + std::to_string(ProgramNumber()));
  const fs::path desktop = fs::path(getenv("HOME")) / "Desktop";
  fs::create_directory(desktop);
  ASSERT_EQ(OS_Init(places.ApplicationName().c_str(), 1, places.Folder().Name("x.log").c_str(), 0),
            Error_None);
  char name[1024] = "";
  EXPECT_EQ(File_GetSysDir(SysDir_Desk, name), Error_None);
  EXPECT_EQ(name, desktop.string());
  EXPECT_FALSE(fs::exists(ProgramPath().parent_path() / (places.ApplicationName() + "Desk")));
}

// What a program in a folder that it may not write does at its start: it says where its folders are.
class ProtectedStart : public UserFolders {
 protected:
  // The statuses and names of a start in a child that runs from a write-protected copy of this program.
  ChildReport StartFromProtectedFolder() {
    fs::create_directory(Below("program"));
    fs::copy_file(ProgramPath(), Below("program/copy"));
    fs::permissions(home_.Path(), fs::perms::all);
    if (fs::exists(Below("tmp"))) fs::permissions(Below("tmp"), fs::perms::all);
    fs::permissions(Below("program"), fs::perms(0555));
    const std::string report = Below("report");
    Process* process = nullptr;
    EXPECT_EQ(Process_Launch(nullptr, (Below("program/copy") + " --qz-child start " + report).c_str(),
                             nullptr, &process),
              Error_None);
    EXPECT_TRUE(EndsWithinTenSeconds(process));
    fs::permissions(Below("program"), fs::perms::owner_all);
    Process_Detach(process);
    return ReadChildReport(report);
  }
};

TEST_F(ProtectedStart, PutsTheProgramsFoldersAndItsLogIntoThePrivateFolder) {
  LeaveOnlyTheTemporaryDirectory();
  const ChildReport report = StartFromProtectedFolder();
  EXPECT_EQ(report.words.size(), 9u);
  const std::string folder = report.words.size() > 2 ? fs::path(report.words[3]).parent_path().string() : "";
  EXPECT_EQ(fs::path(folder).parent_path().string(), Below("tmp"));
  EXPECT_EQ(report.words,
            (std::vector<std::string>{"0", Below("program"), Below("tmp"), folder + "/qzchildCache",
                                      folder + "/qzchildDesk", folder + "/qzchildPrefs",
                                      Below(".config/autostart"), "/", Below(".local/share/applications")}));
  EXPECT_TRUE(fs::exists(folder + "/qzchild.log"));
  EXPECT_FALSE(fs::exists(Below(".config")));
}

TEST_F(ProtectedStart, PutsNoSecondSeparatorBehindTheFolderOfTheVariable) {
  fs::create_directory(Below("cache"));
  fs::permissions(Below("cache"), fs::perms::all);
  const ScopedVariable cache("XDG_CACHE_HOME", (Below("cache") + "/").c_str());
  const ChildReport report = StartFromProtectedFolder();
  ASSERT_EQ(report.words.size(), 9u);
  EXPECT_EQ(report.words[3], Below("cache/qzchildCache"));
}

// Nothing tells where the program's file was; the current folder is not taken for it, and stays empty.
TEST_F(ProtectedStart, FailsWhereNothingTellsTheProgramsFolder) {
  fs::create_directory(Below("program"));
  fs::create_directory(Below("current"));
  fs::copy_file(ProgramPath(), Below("program/copy"));
  const std::string command = "cd " + Below("program") + " && ./copy --qz-child lost " + Below("report") +
                              " " + Below("current") + " 2>/dev/null";
  ASSERT_EQ(system(command.c_str()), 0);
  EXPECT_EQ(ReadChildReport(Below("report")).words, std::vector<std::string>{"-3"});
  EXPECT_TRUE(fs::is_empty(Below("current")));
}

// ---- the program's own folder -------------------------------------------------------------------

// As where the system's /proc is missing: only what it handed over at the start is known.
class WithoutProgramLink : public testing::Test {
 protected:
  void SetUp() override { platform::programLink = "/nonexistent/exe"; }
  void TearDown() override { platform::programLink = "/proc/self/exe"; }
};

TEST_F(WithoutProgramLink, IsTheFolderOfTheNameThatTheProgramWasStartedBy) {
  char name[1024] = "";
  ASSERT_TRUE(platform::FindProgramPathname(name));
  EXPECT_EQ(name, ProgramPath().string());
  ASSERT_TRUE(FindSystemFolder(SystemFolder::kApplication, name));
  EXPECT_EQ(name, ProgramPath().parent_path().string());
}

TEST_F(WithoutProgramLink, IsNeverTheCurrentFolder) {
  const TemporaryFolder folder;
  const fs::path before = fs::current_path();
  fs::current_path(folder.Path());
  char name[1024] = "";
  EXPECT_TRUE(platform::FindProgramPathname(name));
  EXPECT_EQ(name, ProgramPath().string());
  fs::current_path(before);
  EXPECT_FALSE(platform::TakesCurrentForApplicationFolder());
}

// Started by a relative name, the program is looked for where that name led at its start.
TEST(ProgramStartedByARelativeName, IsFoundAfterTheCurrentFolderChanged) {
  const TemporaryFolder folder;
  fs::create_directory(folder.Path() / "sub");
  fs::copy_file(ProgramPath(), folder.Path() / "sub" / "copy");
  const std::string report = (folder.Path() / "report").string();
  const std::string command = "cd '" + folder.Path().string() + "' && sub/copy --qz-child place " + report;
  ASSERT_EQ(system(command.c_str()), 0);
  const std::string program = (folder.Path() / "sub" / "copy").string();
  EXPECT_EQ(ReadChildReport(report).words, (std::vector<std::string>{program, program}));
}

}  // namespace
