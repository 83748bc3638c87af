// Drives as names, shortcuts, and what other programs inherit.
#include "qz/file.h"

#include <gtest/gtest.h>
#include <io.h>
#include <windows.h>

#include <string>

#include "os/file_internal.h"
#include "os/owned.h"
#include "qz/directory.h"
#include "qz/os.h"
#include "qz/volume.h"
#include "tests/support/environment.h"
#include "tests/support/os_session.h"
#include "tests/support/temp_dir.h"

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

TEST(FileOnWindows, IsNotInheritedByOtherPrograms) {
  TempDir directory;
  for (uint32_t mode : {2u, 8u, 4u, 1u}) {
    Owned<File, File_Close> file;
    ASSERT_EQ(File_Open(directory.Name("f").c_str(), mode, file.out()), 0);
    DWORD flags = HANDLE_FLAG_INHERIT;
    EXPECT_NE(GetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(file->descriptor)), &flags), 0);
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u) << mode;
  }
}

TEST(FileOnWindows, ListsNoLongLinesOfDrives) {
  TempDir directory;
  EXPECT_EQ(Directory_GetList("/", 2, directory.Name("list").c_str()), -7);
  EXPECT_FALSE(directory.Exists("list"));
}

TEST(FileOnWindows, ListsDrivesWithoutADirectoryBeforeThem) {
  TempDir directory;
  for (int32_t mode : {0, 1}) {
    EXPECT_EQ(Directory_GetList("/", mode, directory.Name("list").c_str()), 0);
    EXPECT_NE(directory.Read("list").find("/C|/\r\n"), std::string::npos) << mode;
  }
}

TEST(FileOnWindows, MakesShortcutsFromLibraryNames) {
  TempDir directory;
  OSPlaces places("qz-test-filelink-" + std::to_string(ProgramNumber()));
  const std::string log = directory.Name("x.log");
  ASSERT_EQ(OS_Init(places.ApplicationName().c_str(), 1, log.c_str(), 2, 5, 0), 0);
  EXPECT_EQ(File_Link("/C|/windows/notepad.exe", "one", directory.Name("made.lnk").c_str(), "What it is",
                      "/C|/windows/notepad.exe", 0),
            0);
  EXPECT_TRUE(directory.Exists("made.lnk"));
  EXPECT_NE(directory.Read("made.lnk").find("notepad.exe"), std::string::npos);
  EXPECT_EQ(
      File_Link("/C|/windows/notepad.exe", nullptr, directory.Name("plain.lnk").c_str(), nullptr, nullptr, 0),
      0);
  EXPECT_TRUE(directory.Exists("plain.lnk"));
  OS_Exit(0);
}

}  // namespace
