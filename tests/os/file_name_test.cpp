// Names as text: joining, splitting, roots.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "os/file/file_internal.h"
#include "qz/error.h"
#include "qz/file.h"
#include "tests/support/error_capture.h"
#include "tests/support/file_system.h"

namespace {

struct SplitRow {
  const char* path;
  const char* directory;
  const char* name;
};

TEST(FileCatDir, PutsOneSlashBetween) {
  char result[1024];
  EXPECT_EQ(File_CatDir("dir", "file", result), 8);
  EXPECT_STREQ(result, "dir/file");
  EXPECT_EQ(File_CatDir("dir/", "file", result), 8);
  EXPECT_STREQ(result, "dir/file");
  EXPECT_EQ(File_CatDir("", "file", result), 4);
  EXPECT_STREQ(result, "file");
  EXPECT_EQ(File_CatDir("dir", "", result), 4);
  EXPECT_STREQ(result, "dir/");
  EXPECT_EQ(File_CatDir("dir", "/file", result), 9);
  EXPECT_STREQ(result, "dir//file");
}

TEST(FileCatDir, AcceptsTheResultAsAnArgument) {
  char result[1024] = "dir";
  EXPECT_EQ(File_CatDir(result, "file", result), 8);
  EXPECT_STREQ(result, "dir/file");
  char name[1024] = "file";
  EXPECT_EQ(File_CatDir("dir", name, name), 8);
  EXPECT_STREQ(name, "dir/file");
}

TEST(FileCatDir, RefusesWhatDoesNotFit) {
  char result[1024];
  EXPECT_EQ(File_CatDir(std::string(1000, 'd').c_str(), std::string(22, 'f').c_str(), result), 1023);
  EXPECT_EQ(File_CatDir(std::string(1000, 'd').c_str(), std::string(23, 'f').c_str(), result), Error_Exceed);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(File_CatDir(std::string(999, 'd').append("/").c_str(), std::string(23, 'f').c_str(), result),
            1023);
  EXPECT_EQ(File_CatDir(std::string(5000, 'd').c_str(), "f", result), Error_Exceed);
  EXPECT_STREQ(result, "");
}

TEST(FileSplitDir, SplitsAtTheLastSlash) {
  const SplitRow rows[] = {
      {"/a/b/c", "/a/b", "c"},
      {"/a/b/", "/a", "b"},
      {"/a/b//", "/a/b", ""},
      {"a//", "a", ""},
      {"//srv/share/x/", "//srv/share", "x"},
      {"a/b", "a", "b"},
      {"x", "", "x"},
      {"x/", "", "x"},
      {"", "", ""},
      {"/x", "/", "x"},
      {"/", "/", ""},
      {"/C|/dir/file", "/C|/dir", "file"},
      {"/C|/x", "/C|", "x"},
      {"/C|", "/", "C|"},
      {"/C|/", "/", "C|"},
      {"//srv/share/x", "//srv/share", "x"},
      {"//srv/share/d/x", "//srv/share/d", "x"},
  };
  for (const SplitRow& row : rows) {
    char directory[1024] = "unset";
    char name[1024] = "unset";
    EXPECT_EQ(File_SplitDir(row.path, directory, name), Error_None) << row.path;
    EXPECT_STREQ(directory, row.directory) << row.path;
    EXPECT_STREQ(name, row.name) << row.path;
  }
}

TEST(FileSplitDir, KeepsAShareWholeAndLeavesTheName) {
  for (const char* path : {"//srv/share", "//srv/share/"}) {
    char directory[1024] = "unset";
    char name[1024] = "untouched";
    EXPECT_EQ(File_SplitDir(path, directory, name), Error_None);
    EXPECT_STREQ(directory, "//srv/share");
    EXPECT_STREQ(name, "untouched");
  }
}

TEST(FileSplitDir, ReportsANetworkNameWithoutAShare) {
  ErrorCapture capture;
  char directory[1024] = "unset";
  char name[1024] = "unset";
  EXPECT_EQ(File_SplitDir("//server", directory, name), Error_Fail);
  EXPECT_STREQ(directory, "");
  EXPECT_STREQ(name, "");
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: Improperly formatted UNC name.\n");
}

TEST(FileSplitDir, AcceptsNullOutputsAndThePathAsOutput) {
  char path[1024] = "/a/b/c";
  EXPECT_EQ(File_SplitDir(path, nullptr, nullptr), Error_None);
  EXPECT_EQ(File_SplitDir(path, path, nullptr), Error_None);
  EXPECT_STREQ(path, "/a/b");
  EXPECT_EQ(File_SplitDir(path, nullptr, path), Error_None);
  EXPECT_STREQ(path, "b");
}

TEST(FileSplitDir, RefusesATooLongPathAndNull) {
  char directory[1024] = "unset";
  char name[1024] = "unset";
  EXPECT_EQ(File_SplitDir(std::string(1024, 'a').c_str(), directory, name), Error_Exceed);
  EXPECT_STREQ(directory, "");
  EXPECT_STREQ(name, "");
  EXPECT_EQ(File_SplitDir(nullptr, directory, name), Error_Invalid);
}

struct RootRow {
  const char* path;
  const char* root;
  const char* rest;
};

TEST(FileStripRoot, SplitsOffTheRootAndReturnsItsLength) {
  const RootRow rows[] = {
      {"//srv/share/d/x", "//srv/share", "/d/x"},
      {"//srv/share", "//srv/share", ""},
      {"/C|/d/x", "/C|", "/d/x"},
      {"/C|", "/C|", ""},
      {"/home/x/y", "/home", "/x/y"},
      {"/home", "/home", ""},
      {"a/b", "a", "/b"},
      {"/", "/", ""},
      {"", "", ""},
  };
  for (const RootRow& row : rows) {
    char root[1024] = "unset";
    char rest[1024] = "unset";
    EXPECT_EQ(File_StripRoot(row.path, root, rest), static_cast<int32_t>(strlen(row.root))) << row.path;
    EXPECT_STREQ(root, row.root) << row.path;
    EXPECT_STREQ(rest, row.rest) << row.path;
  }
}

TEST(FileStripRoot, GivesLengthOneForTheTop) {
  EXPECT_EQ(File_StripRoot("/", nullptr, nullptr), 1);
}

TEST(FileStripRoot, ReportsANetworkNameWithoutAShare) {
  ErrorCapture capture;
  char root[1024] = "unset";
  char rest[1024] = "unset";
  EXPECT_EQ(File_StripRoot("//server", root, rest), Error_Fail);
  EXPECT_STREQ(root, "");
  EXPECT_STREQ(rest, "");
  ASSERT_EQ(capture.Lines().size(), 1u);
  EXPECT_EQ(capture.Lines()[0], "#### Error: Improperly formatted UNC name.\n");
}

TEST(FileStripRoot, RefusesATooLongPathAndNull) {
  EXPECT_EQ(File_StripRoot(std::string(1024, 'a').c_str(), nullptr, nullptr), Error_Fail);
  EXPECT_EQ(File_StripRoot(nullptr, nullptr, nullptr), Error_Invalid);
}

TEST(FileSystemName, DropsADriveWhereThereAreNone) {
  char name[1024];
  EXPECT_EQ(iFile_ToSystemName("/C|/a/b", name), Error_None);
  EXPECT_STREQ(name, kIsWindows ? "C:\\a\\b" : "/a/b");
  EXPECT_EQ(iFile_ToSystemName("/C|", name), Error_None);
  EXPECT_STREQ(name, kIsWindows ? "C:" : "/");
  EXPECT_EQ(iFile_ToSystemName("a\\b/c", name), Error_None);
  EXPECT_STREQ(name, kIsWindows ? "a\\b\\c" : "a\\b/c");
  EXPECT_EQ(iFile_ToSystemName(std::string(1024, 'a').c_str(), name), Error_Exceed);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(iFile_ToSystemName(nullptr, name), Error_Invalid);
}

TEST(FileSystemName, ComesBackInTheLibrarysForm) {
  char name[1024] = "C:\\a b";
  EXPECT_EQ(iFile_FromSystemName(name, name), Error_None);
  EXPECT_STREQ(name, kIsWindows ? "/C|/a b" : "C:\\a b");
}

}  // namespace
