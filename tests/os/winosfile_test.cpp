// The two written forms of file names.
#include "qz/winosfile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qz/error.h"
#include "tests/support/file_system.h"

namespace {

std::string ToLibrary(const std::string& systemName) {
  char name[1024] = "unset";
  EXPECT_EQ(WinOSFile_DOSNameToFileName(systemName.c_str(), name), Error_None);
  return name;
}

std::string ToSystem(const std::string& name) {
  char systemName[1024] = "unset";
  EXPECT_EQ(WinOSFile_FileNameToDOSName(name.c_str(), systemName), Error_None);
  return systemName;
}

TEST(WinOSFile, WritesADriveAsLetterAndBar) {
  EXPECT_EQ(ToLibrary("C:\\a\\b"), "/C|/a/b");
  EXPECT_EQ(ToLibrary("c:"), "/c|");
  EXPECT_EQ(ToLibrary("Z:file"), "/Z|file");
}

TEST(WinOSFile, WritesANetworkNameWithSlashes) {
  EXPECT_EQ(ToLibrary("\\\\srv\\share\\x"), "//srv/share/x");
}

TEST(WinOSFile, LeavesOtherSystemNamesButTheirSeparators) {
  EXPECT_EQ(ToLibrary(""), "");
  EXPECT_EQ(ToLibrary("a\\b/c"), "a/b/c");
  EXPECT_EQ(ToLibrary("1:\\x"), "1:/x");
  EXPECT_EQ(ToLibrary("\xC4:\\x"), "\xC4:/x");
  EXPECT_EQ(ToLibrary("\\x"), "/x");
}

TEST(WinOSFile, GivesTheSystemFormBack) {
  EXPECT_EQ(ToSystem("/C|/a/b"), "C:\\a\\b");
  EXPECT_EQ(ToSystem("/c|"), "c:");
  EXPECT_EQ(ToSystem("//srv/share/x"), "\\\\srv\\share\\x");
  EXPECT_EQ(ToSystem("a/b"), "a\\b");
  EXPECT_EQ(ToSystem(""), "");
}

TEST(WinOSFile, PutsTheBootDirectoryBeforeANameWithoutADrive) {
  // The boot directory ends with a separator of its own, and the two are kept.
  EXPECT_EQ(ToSystem("/x/y"), kIsWindows ? "C:\\\\x\\y" : "\\x\\y");
  EXPECT_EQ(ToSystem("/1|/y"), kIsWindows ? "C:\\\\1|\\y" : "\\1|\\y");
}

TEST(WinOSFile, AcceptsOneBufferForBoth) {
  char name[1024] = "C:\\a\\b";
  EXPECT_EQ(WinOSFile_DOSNameToFileName(name, name), Error_None);
  EXPECT_STREQ(name, "/C|/a/b");
  EXPECT_EQ(WinOSFile_FileNameToDOSName(name, name), Error_None);
  EXPECT_STREQ(name, "C:\\a\\b");
}

TEST(WinOSFile, RefusesWhatDoesNotFit) {
  char name[1024] = "unset";
  const std::string longest = "C:" + std::string(1020, 'a');  // one more in the library's form
  EXPECT_EQ(WinOSFile_DOSNameToFileName(longest.c_str(), name), Error_None);
  EXPECT_EQ(strlen(name), 1023u);
  EXPECT_EQ(WinOSFile_DOSNameToFileName((longest + "a").c_str(), name), Error_Exceed);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(WinOSFile_FileNameToDOSName(std::string(1023, 'a').c_str(), name), Error_None);
  EXPECT_EQ(WinOSFile_FileNameToDOSName(std::string(1024, 'a').c_str(), name), Error_Exceed);
  EXPECT_STREQ(name, "");
}

TEST(WinOSFile, RefusesNull) {
  char name[1024] = "unset";
  EXPECT_EQ(WinOSFile_DOSNameToFileName(nullptr, name), Error_Invalid);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(WinOSFile_FileNameToDOSName(nullptr, name), Error_Invalid);
  EXPECT_EQ(WinOSFile_DOSNameToFileName("a", nullptr), Error_Invalid);
  EXPECT_EQ(WinOSFile_FileNameToDOSName("a", nullptr), Error_Invalid);
}

}  // namespace
