// Drives as names.
#include "qz/file.h"

#include <gtest/gtest.h>

#include "qz/volume.h"

namespace {

TEST(FileOnWindows, TellsAMissingDriveAsAnExistingFile) {
  for (const char* name : {"/Q|", "/Q|/"}) {
    int32_t isDirectory = 9;
    EXPECT_EQ(File_Exists(name, &isDirectory), 1);
    EXPECT_EQ(isDirectory, 0);
  }
  EXPECT_EQ(File_Exists("/Q|/x", nullptr), 0);
}

TEST(FileOnWindows, TellsADriveAsADirectoryWithoutATime) {
  FileState state;
  EXPECT_EQ(File_GetState("/C|/", &state), 0);
  EXPECT_EQ(state.isDirectory, 1);
  EXPECT_EQ(state.modificationTime.seconds, 0u);
}

TEST(VolumeOnWindows, GivesNotFoundForAMissingDrive) {
  EXPECT_EQ(Volume_GetInformation("/Q|/x", nullptr, nullptr), -3);
}

}  // namespace
