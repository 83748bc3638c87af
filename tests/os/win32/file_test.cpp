// Drives as names, shortcuts, and what other programs inherit.
#include "qz/file.h"

#include <gtest/gtest.h>
#include <io.h>
#include <windows.h>

#include <string>
#include <vector>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "qz/os.h"
#include "qz/volume.h"
#include "tests/support/environment.h"
#include "tests/support/os_session.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(DirectoryOnWindows, RefusesEveryRootInTheSystemsForm) {
  for (const char* name : {"\\", "C:\\", "C:\\x\\..", "\\\\server\\share", "\\\\server\\share\\",
                           "\\\\?\\C:\\", "\\\\?\\UNC\\server\\share", "\\\\?\\UNC\\server\\share\\",
                           "\\\\.\\C:\\", "\\\\.\\UNC\\server\\share", "\\\\.\\UNC\\server\\share\\"}) {
    Error_ClearLast();
    EXPECT_EQ(Directory_Delete(name), Error_Invalid) << name;
    ErrorDetail detail;
    EXPECT_EQ(Error_GetLast(&detail), Error_NotFound) << name << " is refused before the system is asked";
  }
}

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
  EXPECT_EQ(File_GetState("/C|/", &state), Error_None);
  EXPECT_EQ(state.isDirectory, 1);
  EXPECT_EQ(state.modificationTime.seconds, 0u);
}

TEST(VolumeOnWindows, GivesNotFoundForAMissingDrive) {
  EXPECT_EQ(Volume_GetInformation("/Q|/x", nullptr, nullptr), Error_NotFound);
}

TEST(FileOnWindows, IsNotInheritedByOtherPrograms) {
  TempDir directory;
  for (uint32_t mode : {2u, 8u, 4u, 1u}) {
    Owned<File, File_Close> file;
    ASSERT_EQ(File_Open(directory.Name("f").c_str(), mode, file.out()), Error_None);
    DWORD flags = HANDLE_FLAG_INHERIT;
    EXPECT_NE(GetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(file->descriptor)), &flags), 0);
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u) << mode;
  }
}

TEST(FileOnWindows, ListsNoLongLinesOfDrives) {
  TempDir directory;
  EXPECT_EQ(Directory_GetList("/", 2, directory.Name("list").c_str()), Error_System);
  EXPECT_FALSE(directory.Exists("list"));
}

TEST(FileOnWindows, ListsExactlyTheDrivesThereAre) {
  TempDir directory;
  std::string expected;
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const std::string root = std::string(1, letter) + ":\\";
    if (GetDriveTypeA(root.c_str()) != DRIVE_NO_ROOT_DIR) expected += std::string("/") + letter + "|/\r\n";
  }
  ASSERT_NE(expected.find("/C|/\r\n"), std::string::npos);
  EXPECT_EQ(Directory_GetList("/", 0, directory.Name("list").c_str()), Error_None);
  EXPECT_EQ(directory.Read("list"), expected);
}

TEST(FileOnWindows, ListsDrivesWithoutADirectoryBeforeThem) {
  TempDir directory;
  for (int32_t mode : {0, 1}) {
    EXPECT_EQ(Directory_GetList("/", mode, directory.Name("list").c_str()), Error_None);
    EXPECT_NE(directory.Read("list").find("/C|/\r\n"), std::string::npos) << mode;
  }
}

TEST(FileOnWindows, MakesShortcutsFromLibraryNames) {
  TempDir directory;
  OSPlaces places("qz-test-filelink-" + std::to_string(ProgramNumber()));
  const std::string log = directory.Name("x.log");
  ASSERT_EQ(OS_Init(places.ApplicationName().c_str(), 1, log.c_str(), 2, 5, 0), Error_None);
  EXPECT_EQ(File_Link("/C|/windows/notepad.exe", "one", directory.Name("made.lnk").c_str(), "What it is",
                      "/C|/windows/notepad.exe", 0),
            Error_None);
  EXPECT_TRUE(directory.Exists("made.lnk"));
  EXPECT_NE(directory.Read("made.lnk").find("notepad.exe"), std::string::npos);
  EXPECT_EQ(
      File_Link("/C|/windows/notepad.exe", nullptr, directory.Name("plain.lnk").c_str(), nullptr, nullptr, 0),
      Error_None);
  EXPECT_TRUE(directory.Exists("plain.lnk"));
  OS_Exit(0);
}

// A drive's letter with dots means the drive's current directory.
TEST(FileOnWindows, RemovesNoCurrentDirectoryOfADrive) {
  TempDir directory;
  directory.MakeDirectory("below");
  directory.Write("below/kept", "mine");
  const std::string drive = directory.Name().substr(0, 3);
  char original[1024];
  ASSERT_EQ(Directory_GetCurrent(original), Error_None);
  ASSERT_EQ(Directory_SetCurrent(directory.Name("below").c_str()), 0);
  for (const char* rest : {".", "./", "..."})
    EXPECT_EQ(Directory_Delete((drive + rest).c_str()), Error_Invalid) << rest;
  ASSERT_EQ(Directory_SetCurrent(original), 0);
  EXPECT_EQ(directory.Read("below/kept"), "mine");
}

TEST(FileOnWindows, SaysThatAnOpenFileIsInUse) {
  TempDir directory;
  directory.MakeDirectory("d");
  directory.Write("d/other", "2");
  Owned<File, File_Close> file;
  ASSERT_EQ(File_Open(directory.Name("d/used").c_str(), 2, file.out()), Error_None);
  EXPECT_EQ(File_Unlink(directory.Name("d/used").c_str()), Error_System);
  EXPECT_EQ(File_Move(directory.Name("d/used").c_str(), directory.Name("moved").c_str()), Error_NoAccess);
  // The rest is removed all the same.
  EXPECT_EQ(Directory_Delete(directory.Name("d").c_str()), Error_System);
  EXPECT_EQ(directory.List("d"), std::vector<std::string>{"used"});
  file.reset();
  EXPECT_EQ(Directory_Delete(directory.Name("d").c_str()), Error_None);
  EXPECT_FALSE(directory.Exists("d"));
}

TEST(FileOnWindows, RemovesNoReadOnlyFile) {
  TempDir directory;
  directory.Write("f", "mine");
  SetFileAttributesW(directory.SystemName("f").c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(File_Unlink(directory.Name("f").c_str()), Error_NoAccess);
  SetFileAttributesW(directory.SystemName("f").c_str(), FILE_ATTRIBUTE_NORMAL);
  EXPECT_EQ(directory.Read("f"), "mine");
}

// A letter that this code page writes as a separator.
TEST(FileOnWindows, RemovesNothingOutsideByANameOfAnotherAlphabet) {
  TempDir directory;
  directory.MakeDirectory("d");
  directory.Write("victim", "mine");
  const std::wstring name = directory.SystemName("d").wstring() + L"\\..\xFF3Cvictim";
  const HANDLE file = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  CloseHandle(file);
  const ErrorCode status = Directory_Delete(directory.Name("d").c_str());
  EXPECT_EQ(directory.Read("victim"), "mine");
  EXPECT_NE(status, Error_None);
  EXPECT_TRUE(directory.Exists("d"));
}

TEST(FileOnWindows, CutsNoFileThatItCannotOpen) {
  TempDir directory;
  directory.Write("f", "mine");
  std::vector<File*> files;
  File* file = nullptr;
  while (files.size() < 5000 && File_Open(directory.Name("f").c_str(), 1, &file) == 0) files.push_back(file);
  EXPECT_EQ(File_Open(directory.Name("f").c_str(), 2, &file), Error_Fail);
  EXPECT_EQ(file, nullptr);
  EXPECT_EQ(iFile_OpenNew(directory.Name("new").c_str(), 2, false, &file), Error_Fail);
  for (File* opened : files) File_Close(opened);
  EXPECT_EQ(directory.Read("f"), "mine");
  EXPECT_FALSE(directory.Exists("new"));
}

TEST(FileOnWindows, SaysThatFormattedTextDoesNotFit) {
  Owned<File, File_Close> file;
  ASSERT_EQ(File_Open("/Z|/dev/full", 2, file.out()), Error_None);
  EXPECT_EQ(File_Print(file.get(), "%s", std::string(100000, 'x').c_str()), -1);
  EXPECT_EQ(Stream_Error(File_GetStream(file.get())), Error_Exceed);
  EXPECT_EQ(File_Close(file.release()), Error_Exceed);
}

}  // namespace
