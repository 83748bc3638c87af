// The upgrade check with the location and the installed version of the registry.
#include <gtest/gtest.h>

#include <string>

#include "qz/vrxupgrade.h"
#include "qz/winosregistry.h"
#include "tests/support/scripted_ftp.h"
#include "tests/transfer/transfer_fixture.h"
#include "transfer/vrxprefs_internal.h"
#include "transfer/vrxupgrade_internal.h"

namespace {

using namespace script;

class VRXUpgradeRegistryTest : public KeptFilesTest {
 protected:
  void SetUp() override {
    KeptFilesTest::SetUp();
    FTPc_SetPortRange(loopback::UnusedPorts(32), 32);
    ASSERT_EQ(iVRXPrefs_Start(), Error_None);
    ASSERT_EQ(iVRXUpgrade_Start(), Error_None);
    key_ = "HKEY_CURRENT_USER\\Software\\qztests\\" + ApplicationName();
  }
  void TearDown() override {
    VRXUpgrade_SetLocation(nullptr);
    VRXUpgrade_SetInstalledVersion(0);
    WinOSRegistry_DeleteKey(key_.c_str());
    iVRXUpgrade_End();
    iVRXPrefs_End();
    KeptFilesTest::TearDown();
  }

  void Set(const char* name, const std::string& text) {
    ASSERT_EQ(WinOSRegistry_SetStringEntry(key_.c_str(), name, text.c_str()), Error_None);
  }
  // What a check of this listing finds behind the location in the registry.
  std::string CheckListing(const std::string& listing, const std::string& afterPort = "/pub") {
    Script whole = ftp::Join({{SendLine("220 ready"), ExpectLine("USER ftp"), SendLine("331 who?"),
                               ReadUntil("\r\n"), SendLine("230 in")},
                              ftp::Exchange("CWD " + afterPort, "250 ok"),
                              ftp::Active(),
                              ftp::StartedActive("NLST"),
                              ftp::SendsFile(listing),
                              ftp::Quit()});
    ScriptedServer server({whole});
    const std::string location = "ftp://127.0.0.1:" + std::to_string(server.port()) + afterPort;
    Set("UpgradeURL", location);
    char buffer[1024];
    std::string result = std::to_string(VRXUpgrade_Check(buffer)) + " " + buffer;
    server.Finish();
    const size_t at = result.find(location);
    return at == std::string::npos ? result : result.erase(at, location.size());
  }

 private:
  std::string key_;
};

TEST_F(VRXUpgradeRegistryTest, TakesLocationAndVersionFromTheApplicationsKey) {
  EXPECT_EQ(CheckListing("a.26\r\n"), "1 /a.26") << "no version";
  Set("UpgradeVersion", "27");
  EXPECT_EQ(CheckListing("a.26\r\na.30\r\n"), "1 /a.30");
  Set("UpgradeVersion", "30");
  EXPECT_EQ(CheckListing("a.26\r\na.30\r\n"), "0 ");
}

TEST_F(VRXUpgradeRegistryTest, ReadsTheVersionAsADecimalNumber) {
  const struct {
    const char* text;
    const char* found;
  } rows[] = {{"", "1 /a.26"}, {"x", "1 /a.26"},    {"-1", "1 /a.26"},    {"24", "1 /a.26"},
              {"26", "0 "},    {" 26 or so", "0 "}, {"4294967296", "0 "}, {"0026", "0 "}};
  for (const auto& row : rows) {
    Set("UpgradeVersion", row.text);
    EXPECT_EQ(CheckListing("a.26\r\n"), row.found) << row.text;
  }
}

TEST_F(VRXUpgradeRegistryTest, TakesAVersionOfOver512BytesForNone) {
  Set("UpgradeVersion", std::string(509, '0') + "30");
  EXPECT_EQ(CheckListing("a.30\r\n"), "0 ") << "511 bytes and the terminator";
  Set("UpgradeVersion", std::string(510, '0') + "30");
  EXPECT_EQ(CheckListing("a.30\r\n"), "1 /a.30");
}

TEST_F(VRXUpgradeRegistryTest, TakesTheLocationForOneURL) {
  EXPECT_EQ(CheckListing("a.26\r\n", "/pub;x"), "1 /a.26");
}

TEST_F(VRXUpgradeRegistryTest, PrefersWhatTheProgramHasSet) {
  Set("UpgradeVersion", "30");
  VRXUpgrade_SetInstalledVersion(28);
  EXPECT_EQ(CheckListing("a.29\r\n"), "1 /a.29");
  VRXUpgrade_SetInstalledVersion(0);
  EXPECT_EQ(CheckListing("a.29\r\n"), "0 ");
  VRXUpgrade_SetLocation("nonsense");
  char buffer[1024];
  EXPECT_EQ(VRXUpgrade_Check(buffer), 0);
}

}  // namespace
