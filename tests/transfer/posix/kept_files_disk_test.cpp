// The files of preferences and statistics on a disk that fills up.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_system.h"
#include "tests/transfer/transfer_fixture.h"
#include "transfer/statistics_internal.h"
#include "transfer/vrxprefs_internal.h"

namespace {

constexpr uint8_t kAddress[4] = {10, 0, 0, 1};

using KeptFilesDiskTest = KeptFilesTest;

TEST_F(KeptFilesDiskTest, KeepsTheOldStatistics) {
  Write("names.qzc", "a:21 10.0.0.2\n");
  ASSERT_EQ(iStatistics_Start(), Error_None);
  {
    const DiskLimit limit(4);
    iStatistics_RecordAddress("b", 21, kAddress);
  }
  EXPECT_EQ(Read("names.qzc"), "a:21 10.0.0.2\n");
  EXPECT_EQ(Names(), "names.qzc qz.lock ") << "nothing is left over";
  iStatistics_End();
  EXPECT_EQ(Read("names.qzc"), "a:21\t10.0.0.2\nb:21\t10.0.0.1\n");
}

TEST_F(KeptFilesDiskTest, KeepsTheOldPreferences) {
  ASSERT_EQ(iVRXPrefs_Start(), Error_None);
  const std::string file = ApplicationName() + "VRXPrefs";
  const std::string before = Read(file);
  {
    const PreferencesAccess access;
    access->number1 = 99;
  }
  {
    const DiskLimit limit(40);
    EXPECT_EQ(VRXPrefs_Changed(), Error_Exceed);
  }
  EXPECT_EQ(Read(file), before);
  EXPECT_EQ(Names(), "qz.lock " + file + " ") << "nothing is left over";
  EXPECT_EQ(VRXPrefs_Changed(), Error_None);
  EXPECT_NE(Read(file), before);
  iVRXPrefs_End();
}

TEST_F(KeptFilesDiskTest, StartsNoPreferences_WhenTheFirstFileDoesNotFit) {
  {
    const DiskLimit limit(40);
    EXPECT_EQ(iVRXPrefs_Start(), Error_Exceed);
  }
  EXPECT_EQ(Names(), "qz.lock ");
  EXPECT_EQ(iVRXPrefs_Start(), Error_None);
  iVRXPrefs_End();
}

TEST_F(KeptFilesDiskTest, KeepsWhatMayNotBeWritten) {
  ASSERT_EQ(iVRXPrefs_Start(), Error_None);
  const std::string file = ApplicationName() + "VRXPrefs";
  const std::string before = Read(file);
  {
    const WriteProtection protection(Path(""));
    const PreferencesAccess access;
    access->number1 = 99;
    EXPECT_NE(VRXPrefs_Changed(), Error_None);
  }
  EXPECT_EQ(Read(file), before);
  iVRXPrefs_End();
}

}  // namespace
