// Where the boot directory comes from.
#include "qz/winosfile.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "qz/error.h"
#include "qz/winosregistry.h"
#include "tests/support/environment.h"

namespace {

// This program sees an empty machine root, below a key of its own, until it is put back.
class BootDirectoryTest : public testing::Test {
 protected:
  BootDirectoryTest() {
    RegCreateKeyA(HKEY_CURRENT_USER, path_.c_str(), &machine_);
    RegCreateKeyA(machine_, "Software\\Microsoft\\Windows\\CurrentVersion\\Setup", &setup_);
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine_);
  }
  ~BootDirectoryTest() override {
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegCloseKey(setup_);
    RegCloseKey(machine_);
    WinOSRegistry_DeleteKey(("HKEY_CURRENT_USER\\" + path_).c_str());
  }

  void Put(DWORD type, const std::string& bytes) {
    RegSetValueExA(setup_, "BootDir", 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                   static_cast<DWORD>(bytes.size()));
  }

  static std::string SystemName(const std::string& name) {
    char systemName[1024] = "unset";
    WinOSFile_FileNameToDOSName(name.c_str(), systemName);
    return systemName;
  }

  const std::string path_ = "Software\\qz-test-boot-" + std::to_string(ProgramNumber());
  HKEY machine_ = nullptr;
  HKEY setup_ = nullptr;
};

TEST_F(BootDirectoryTest, ComesFromTheSetupKey) {
  Put(REG_SZ, std::string("D:\\boot") + '\0');
  EXPECT_EQ(SystemName("/x/y"), "D:\\boot\\x\\y");
  EXPECT_EQ(SystemName("/"), "D:\\boot\\");
  // A drive, a share and a relative name need none.
  EXPECT_EQ(SystemName("/C|/x"), "C:\\x");
  EXPECT_EQ(SystemName("//server/share"), "\\\\server\\share");
  EXPECT_EQ(SystemName("x/y"), "x\\y");
}

TEST_F(BootDirectoryTest, KeepsItsOwnSeparator) {
  Put(REG_SZ, std::string("D:\\") + '\0');
  EXPECT_EQ(SystemName("/x"), "D:\\\\x");
}

TEST_F(BootDirectoryTest, IsTheDriveOfTheWindowsDirectoryWithoutAValue) {
  EXPECT_EQ(SystemName("/x"), "C:\\x");
  Put(REG_SZ, std::string(1, '\0'));
  EXPECT_EQ(SystemName("/x"), "C:\\x");
  Put(REG_DWORD, "abcd");
  EXPECT_EQ(SystemName("/x"), "C:\\x");
  Put(REG_SZ, std::string(2000, 'a') + '\0');
  EXPECT_EQ(SystemName("/x"), "C:\\x");
}

TEST_F(BootDirectoryTest, CountsForTheLimit) {
  Put(REG_SZ, "D:" + std::string(998, 'a') + '\0');
  EXPECT_EQ(SystemName("/" + std::string(22, 'b')).size(), 1023u);
  char systemName[1024] = "unset";
  EXPECT_EQ(WinOSFile_FileNameToDOSName(("/" + std::string(23, 'b')).c_str(), systemName), Error_Exceed);
  EXPECT_STREQ(systemName, "");
}

}  // namespace
