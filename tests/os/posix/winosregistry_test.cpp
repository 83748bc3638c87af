// Without a registry, shell links and OLE: every access says so, and nothing crashes.
#include "qz/winosregistry.h"

#include <gtest/gtest.h>

#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/startup.h"
#include "qz/winosshortcut.h"
#include "tests/support/os_session.h"

namespace {

constexpr char kPath[] = "HKEY_CURRENT_USER\\Software\\qz-test";

TEST(WinOSRegistryWithoutRegistry, GivesSystem) {
  char buffer[16] = "as was";
  uint32_t number = 7;
  EXPECT_EQ(WinOSRegistry_SetStringEntry(kPath, "v", "x"), -7);
  EXPECT_EQ(WinOSRegistry_SetStringEntry(kPath, "v", nullptr), -7);
  EXPECT_EQ(WinOSRegistry_GetStringEntry(kPath, "v", sizeof buffer, buffer), -7);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(WinOSRegistry_GetUns32Entry(kPath, "v", &number), -7);
  EXPECT_EQ(number, 0u);
  EXPECT_EQ(WinOSRegistry_EntryExists(kPath, "v"), 0);
  EXPECT_EQ(WinOSRegistry_GetApplicationStringEntry("key", "v", sizeof buffer, buffer), -7);
  EXPECT_EQ(WinOSRegistry_SetSaveStringEntry(kPath, "HKEY_USERS\\x", "v", "x"), -7);
  EXPECT_EQ(WinOSRegistry_SetRestoreStringEntry(kPath, "HKEY_USERS\\x", "v"), -7);
  EXPECT_EQ(WinOSRegistry_DeleteKey(kPath), -7);
  EXPECT_EQ(WinOSRegistry_DeleteEntry("HKEY_CURRENT_USER\\Software\\qz-test\\value"), -7);
  EXPECT_EQ(WinOSRegistry_DeleteEntry("HKEY_CURRENT_USER\\Software\\qz-test\\"), -7);
}

TEST(WinOSShortcutWithoutShell, GivesSystem) {
  EXPECT_EQ(WinOSShortcut_Create("/bin/true", nullptr, "/tmp/qz-test.lnk", nullptr, nullptr, 0), -7);
  EXPECT_EQ(File_Link("/bin/true", nullptr, "/tmp/qz-test.lnk", nullptr, nullptr, 0), -7);
}

TEST(StartupWithoutShell, GivesSystem_AndHasNothingToUninstall) {
  EXPECT_EQ(Startup_InstallSelf(), -2) << "the library is down";
  const OSSession session;
  ASSERT_EQ(session.Status(), 0);
  EXPECT_EQ(Startup_InstallSelf(), -7);
  EXPECT_EQ(Startup_UninstallSelf(), -3);
}

}  // namespace
