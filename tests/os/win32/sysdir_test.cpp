// The system directories that the registry and the temporary path name.
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "os/file/sysdir_internal.h"
#include "os/platform/sysdirs.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/winosregistry.h"
#include "tests/support/environment.h"
#include "tests/support/error_capture.h"
#include "tests/support/os_session.h"
#include "tests/support/system_folders.h"

namespace {

namespace fs = std::filesystem;

// This process alone sees an empty key in the place of the current user's, and the shell folders in it.
class ShellFolders : public testing::Test {
 protected:
  ShellFolders() {
    RegCreateKeyA(HKEY_CURRENT_USER, key_.c_str(), &user_);
    RegOverridePredefKey(HKEY_CURRENT_USER, user_);
  }
  ~ShellFolders() override {
    OS_Exit(0);
    iSysDir_Exit();
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegCloseKey(user_);
    WinOSRegistry_DeleteKey(("HKEY_CURRENT_USER\\" + key_).c_str());
  }

  static void Put(const char* valueName, DWORD type, const std::string& text) {
    HKEY key = nullptr;
    RegCreateKeyA(HKEY_CURRENT_USER, "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders",
                  &key);
    EXPECT_EQ(RegSetValueExA(key, valueName, 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                             static_cast<DWORD>(text.size() + 1)),
              ERROR_SUCCESS);
    RegCloseKey(key);
  }
  std::string Below(const char* name) const { return (places_.Folder().Path() / name).string(); }
  ErrorCode Init() {
    return OS_Init(places_.ApplicationName().c_str(), 1, places_.Folder().Name("x.log").c_str(), 0);
  }
  std::string Directory(int32_t id) {
    char buffer[1024] = "";
    EXPECT_EQ(File_GetSysDir(id, buffer), Error_None) << id;
    return buffer;
  }
  // The first of the two lines that a failed start leaves behind.
  std::string FirstLine() const { return errors_.Lines().empty() ? "" : errors_.Lines().front(); }

  const std::string key_ = "Software\\qz-test-" + std::to_string(GetCurrentProcessId()) + "-shell";
  HKEY user_ = nullptr;
  OSPlaces places_{"qzshell" + std::to_string(ProgramNumber())};
  ErrorCapture errors_;
};

TEST_F(ShellFolders, AreTakenFromTheirValues_AndCreated) {
  Put("Startup", REG_SZ, Below("start"));
  Put("Programs", REG_SZ, Below("menu"));
  ASSERT_EQ(Init(), Error_None);
  EXPECT_EQ(Directory(SysDir_Startup), places_.Folder().Name("start"));
  EXPECT_EQ(Directory(SysDir_Programs), places_.Folder().Name("menu"));
  EXPECT_TRUE(fs::is_directory(Below("start")));
  EXPECT_TRUE(fs::is_directory(Below("menu")));
}

TEST_F(ShellFolders, FailTheStartWithNotFound_WhenNothingIsStartedAtLogOn) {
  EXPECT_EQ(Init(), Error_NotFound);
  EXPECT_EQ(errors_.Lines(),
            (std::vector<std::string>{
                "#### Error: OS_Init: File: Can't update system directory 5\n",
                "#### Error: OS_Init: Couldn't initialize default file system directories!\n"}));
}

TEST_F(ShellFolders, FailTheStartWithNotFound_WhenTheProgramsHaveNone) {
  Put("Startup", REG_SZ, Below("start"));
  EXPECT_EQ(Init(), Error_NotFound);
  EXPECT_EQ(FirstLine(), "#### Error: OS_Init: File: Can't update system directory 7\n");
}

TEST_F(ShellFolders, FailTheStartWithNotFound_WhenTheValueNamesNoFolder) {
  std::ofstream(Below("plain")) << "x";
  Put("Programs", REG_SZ, Below("menu"));
  for (const std::string& value : {std::string(), Below("plain"), Below("plain") + "\\start"}) {
    Put("Startup", REG_SZ, value);
    EXPECT_EQ(Init(), Error_NotFound) << value;
  }
  Put("Startup", REG_BINARY, Below("start"));
  EXPECT_EQ(Init(), Error_NotFound) << "no text";
  Put("Startup", REG_SZ, "C:\\" + std::string(1500, 'x'));
  EXPECT_EQ(Init(), Error_NotFound) << "too long";
  EXPECT_EQ(FirstLine(), "#### Error: OS_Init: File: Can't update system directory 5\n");
  EXPECT_EQ(errors_.Lines().size(), 10u);
}

TEST(TemporaryFolderHere, KeepsTheSeparatorOfADriveRootOnly) {
  const auto find = [](const char* folder) {
    const ScopedTemporaryVariable temporary(folder);
    char name[1024] = "";
    EXPECT_TRUE(platform::FindSystemFolder(platform::SystemFolder::kTemporary, name)) << folder;
    return std::string(name);
  };
  EXPECT_EQ(find("C:\\"), "C:\\");
  EXPECT_EQ(find("C:\\windows\\"), "C:\\windows");
  EXPECT_EQ(find("C:\\windows"), "C:\\windows");
}

TEST_F(ShellFolders, GoWithATemporaryFolderThatIsADriveRoot) {
  const ScopedTemporaryVariable temporary("C:\\");
  Put("Startup", REG_SZ, Below("start"));
  Put("Programs", REG_SZ, Below("menu"));
  ASSERT_EQ(Init(), Error_None);
  EXPECT_EQ(Directory(SysDir_Temp), "/C|/");
}

}  // namespace
