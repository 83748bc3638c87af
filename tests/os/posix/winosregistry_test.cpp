// Without a registry, shell links and OLE: every access says so, and nothing crashes.
#include "qz/winosregistry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/startup.h"
#include "qz/winosshortcut.h"
#include "tests/support/environment.h"
#include "tests/support/os_session.h"

namespace {

constexpr char kPath[] = "HKEY_CURRENT_USER\\Software\\qz-test";

TEST(WinOSRegistryWithoutRegistry, GivesSystem) {
  char buffer[16] = "as was";
  uint32_t number = 7;
  EXPECT_EQ(WinOSRegistry_SetStringEntry(kPath, "v", "x"), Error_System);
  EXPECT_EQ(WinOSRegistry_SetStringEntry(kPath, "v", nullptr), Error_System);
  EXPECT_EQ(WinOSRegistry_GetStringEntry(kPath, "v", sizeof buffer, buffer), Error_System);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(WinOSRegistry_GetUns32Entry(kPath, "v", &number), Error_System);
  EXPECT_EQ(number, 0u);
  EXPECT_EQ(WinOSRegistry_EntryExists(kPath, "v"), 0);
  EXPECT_EQ(WinOSRegistry_GetApplicationStringEntry("key", "v", sizeof buffer, buffer), Error_System);
  EXPECT_EQ(WinOSRegistry_SetSaveStringEntry(kPath, "HKEY_USERS\\x", "v", "x"), Error_System);
  EXPECT_EQ(WinOSRegistry_SetRestoreStringEntry(kPath, "HKEY_USERS\\x", "v"), Error_System);
  EXPECT_EQ(WinOSRegistry_DeleteKey(kPath), Error_System);
  EXPECT_EQ(WinOSRegistry_DeleteEntry("HKEY_CURRENT_USER\\Software\\qz-test\\value"), Error_System);
  EXPECT_EQ(WinOSRegistry_DeleteEntry("HKEY_CURRENT_USER\\Software\\qz-test\\"), Error_System);
}

TEST(WinOSShortcutWithoutShell, GivesSystem) {
  const TemporaryFolder folder;
  const std::string link = folder.Name("a.lnk");
  EXPECT_EQ(WinOSShortcut_Create("/bin/true", nullptr, link.c_str(), nullptr, nullptr, 0), Error_System);
  EXPECT_EQ(File_Link("/bin/true", nullptr, link.c_str(), nullptr, nullptr, 0), Error_System);
}

TEST(StartupWithoutShell, GivesSystem_AndHasNothingToUninstall) {
  EXPECT_EQ(Startup_InstallSelf(), Error_NotInited) << "the library is down";
  const OSSession session;
  ASSERT_EQ(session.Status(), 0);
  EXPECT_EQ(Startup_InstallSelf(), Error_System);
  EXPECT_EQ(Startup_UninstallSelf(), Error_NotFound);
}

// The folder's name fits, that of the link in it does not.
TEST(StartupWithoutShell, GivesExceed_WhenTheNameOfTheLinkDoesNotFit) {
  const OSPlaces places("qzlongstartup" + std::to_string(ProgramNumber()));
  std::string folder = places.Folder().Path().string();
  while (folder.size() + 10 < 1000)
    folder += "/" + std::string(std::min<size_t>(200, 989 - folder.size()), 'd');
  const ScopedVariable config("XDG_CONFIG_HOME", folder.c_str());
  ASSERT_EQ(OS_Init(places.ApplicationName().c_str(), 1, places.Folder().Name("x.log").c_str(), 0),
            Error_None);
  EXPECT_EQ(Startup_InstallSelf(), Error_Exceed);
  EXPECT_EQ(Startup_UninstallSelf(), Error_Exceed);
  OS_Exit(0);
}

}  // namespace
