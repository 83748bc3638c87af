// Listings of odd names, links, and onto a disk that is full.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "os/platform/filesystem.h"
#include "os/platform/posix/filesystem_testing.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "tests/support/file_system.h"
#include "tests/support/os_session.h"
#include "tests/support/temp_dir.h"
#include "tests/support/time_zone.h"

namespace {

class DirectoryListOnPosixTest : public testing::Test {
 protected:
  DirectoryListOnPosixTest() { directory_.MakeDirectory("d"); }

  ErrorCode List(int32_t mode) {
    return Directory_GetList(directory_.Name("d").c_str(), mode, directory_.Name("list").c_str());
  }

  TempDir directory_;
};

TEST_F(DirectoryListOnPosixTest, LeavesOutNamesWithALineEnd) {
  directory_.Write("d/a\nb", "");
  directory_.Write("d/a\rb", "");
  directory_.Write("d/end\n", "");
  directory_.Write("d/kept\tname", "");
  for (int32_t mode : {0, 1, 2}) {
    EXPECT_EQ(List(mode), Error_None);
    const std::string text = directory_.Read("list");
    EXPECT_NE(text.find("kept\tname\n"), std::string::npos);
    EXPECT_EQ(text.find('\n'), text.size() - 1) << "one line only";
  }
}

TEST_F(DirectoryListOnPosixTest, LeavesOutLinesThatAreTooLong) {
  // The directory's name is made so long that one entry's path has 1023 bytes and the other's has 1024.
  std::string name = "d";
  while (directory_.Name(name).size() < 700) name += "/" + std::string(150, 'x');
  directory_.MakeDirectory(name);
  const size_t room = 1023 - directory_.Name(name).size() - 1;
  const size_t shorter = room < 200 ? room : 200;
  name += "/" + std::string(room - shorter - 1, 'y');
  directory_.MakeDirectory(name);
  directory_.Write(name + "/" + std::string(shorter, 'a'), "");
  directory_.Write(name + "/" + std::string(shorter + 1, 'b'), "");
  EXPECT_EQ(Directory_GetList(directory_.Name(name).c_str(), 1, directory_.Name("list").c_str()), Error_None);
  const std::string text = directory_.Read("list");
  EXPECT_EQ(text.size(), 1024u);
  const std::string longest = directory_.Name(name) + "/" + std::string(shorter, 'a');
  EXPECT_EQ(text, longest + "\n");

  OSSession session;
  DirectoryList* list = nullptr;
  ASSERT_EQ(Directory_StartList(directory_.Name(name).c_str(), 1, &list), Error_None);
  char line[1024];
  EXPECT_EQ(Directory_IterateList(list, line), Error_None);
  EXPECT_EQ(line, longest);
  EXPECT_EQ(Directory_IterateList(list, line), Error_Ended);
  EXPECT_EQ(Directory_EndList(list), Error_None);
}

TEST_F(DirectoryListOnPosixTest, ListsLocalTimes) {
  directory_.Write("d/file", "abcde");
  directory_.SetModified("d/file", 852454987);
  TimeZone zone("EST5EDT");
  EXPECT_EQ(List(2), Error_None);
  EXPECT_EQ(directory_.Read("list"),
            "----------    1    nobody     nobody        5 Sun Jan  5 04:03:07 1997 file\n");
}

TEST_F(DirectoryListOnPosixTest, ListsALinkAsWhatItLeadsTo) {
  directory_.MakeDirectory("target");
  std::filesystem::create_symlink("../target", directory_.SystemName("d/link"));
  EXPECT_EQ(List(1), Error_None);
  EXPECT_EQ(directory_.Read("list"), directory_.Name("d/link/") + "\n");
}

TEST_F(DirectoryListOnPosixTest, RemovesTheListingWhenTheDiskIsFull) {
  for (int i = 0; i < 2000; ++i) directory_.Write("d/file" + std::to_string(i), "");
  DiskLimit limit(100);
  EXPECT_EQ(List(0), Error_Ended);
  EXPECT_FALSE(directory_.Exists("list"));
}

TEST_F(DirectoryListOnPosixTest, RemovesTheListingWhenItsLastLinesDoNotFit) {
  directory_.Write("d/a long enough name", "");
  DiskLimit limit(10);
  EXPECT_EQ(List(0), Error_Ended);
  EXPECT_FALSE(directory_.Exists("list"));
}

TEST_F(DirectoryListOnPosixTest, SaysThatDescriptorsRanOut) {
  directory_.Write("d/file", "");
  const std::string listed = directory_.Name("d");
  const std::string listing = directory_.Name("list");
  struct rlimit original;
  getrlimit(RLIMIT_NOFILE, &original);
  const int nextDescriptor = dup(0);
  close(nextDescriptor);
  // Enough for the listing and not for the search: an empty listing would say that the directory is empty.
  const struct rlimit lowered = {static_cast<rlim_t>(nextDescriptor) + 1, original.rlim_max};
  setrlimit(RLIMIT_NOFILE, &lowered);
  const ErrorCode status = Directory_GetList(listed.c_str(), 0, listing.c_str());
  setrlimit(RLIMIT_NOFILE, &original);
  EXPECT_EQ(status, Error_Memory);
  EXPECT_FALSE(directory_.Exists("list"));
}

// A directory that may be read but not entered still tells which entries are directories.
TEST_F(DirectoryListOnPosixTest, ListsADirectoryThatCannotBeEnteredByKinds) {
  directory_.MakeDirectory("d/sub");
  directory_.Write("d/file", "abc");
  std::error_code ignored;
  std::filesystem::permissions(directory_.SystemName(), std::filesystem::perms::all, ignored);
  std::string names;
  {
    Unenterable unenterable(directory_.SystemName("d"));
    EXPECT_EQ(List(1), Error_None);
    names = directory_.Read("list");
    EXPECT_EQ(List(2), Error_None);
  }
  EXPECT_NE(names.find(directory_.Name("d/sub") + "/\n"), std::string::npos) << names;
  EXPECT_NE(names.find(directory_.Name("d/file") + "\n"), std::string::npos) << names;
  const std::string lines = directory_.Read("list");
  EXPECT_NE(lines.find("d---------    1    nobody     nobody        0 Thu Jan  1 00:00:00 1970 sub/\n"),
            std::string::npos)
      << lines;
}

TEST_F(DirectoryListOnPosixTest, GivesAnEmptyListForADirectoryThatMayNotBeListed) {
  directory_.Write("d/file", "abc");
  std::error_code ignored;
  std::filesystem::permissions(directory_.SystemName(), std::filesystem::perms::all, ignored);
  Unlistable unlistable(directory_.SystemName("d"));
  EXPECT_EQ(List(0), Error_None);
  EXPECT_EQ(directory_.Read("list"), "");
}

TEST_F(DirectoryListOnPosixTest, LeavesOutWhatIsRemovedMeanwhile) {
  static std::filesystem::path removed;
  removed = directory_.SystemName("d/removed");
  directory_.Write("d/removed", "");
  directory_.Write("d/stays", "");
  platform::readEntry = [](DIR* directory) {
    dirent* entry = readdir(directory);
    if (entry != nullptr && removed.filename() == entry->d_name) std::filesystem::remove(removed);
    return entry;
  };
  const ErrorCode status = List(0);
  platform::readEntry = readdir;
  EXPECT_EQ(status, Error_None);
  EXPECT_EQ(directory_.Read("list"), "stays\n");
}

// As on a file system that does not tell the kinds of a directory's entries.
class ListingWithoutKinds : public DirectoryListOnPosixTest {
 protected:
  ListingWithoutKinds() {
    platform::readEntry = [](DIR* directory) {
      dirent* entry = readdir(directory);
      if (entry != nullptr) entry->d_type = DT_UNKNOWN;
      return entry;
    };
  }
  ~ListingWithoutKinds() override { platform::readEntry = readdir; }
};

TEST_F(ListingWithoutKinds, TakesThemFromTheEntriesStates) {
  directory_.MakeDirectory("d/sub");
  directory_.Write("d/file", "abc");
  EXPECT_EQ(List(1), Error_None);
  const std::string names = directory_.Read("list");
  EXPECT_NE(names.find(directory_.Name("d/sub") + "/\n"), std::string::npos) << names;
  EXPECT_NE(names.find(directory_.Name("d/file") + "\n"), std::string::npos) << names;
}

// Taken for a file, a directory would look as if it had been replaced.
TEST_F(ListingWithoutKinds, FailsWhereAnEntrysStateCannotBeReadEither) {
  directory_.MakeDirectory("d/sub");
  std::error_code ignored;
  std::filesystem::permissions(directory_.SystemName(), std::filesystem::perms::all, ignored);
  ErrorCode status = Error_None;
  {
    Unenterable unenterable(directory_.SystemName("d"));
    status = List(0);
  }
  EXPECT_EQ(status, Error_NoAccess);
  EXPECT_FALSE(directory_.Exists("list"));
}

TEST_F(DirectoryListOnPosixTest, TellsEachKindOfADirectoryThatCannotBeEntered) {
  directory_.MakeDirectory("d/sub");
  directory_.Write("d/file", "abc");
  std::filesystem::create_directory_symlink("sub", directory_.SystemName("d/link"));
  std::map<std::string, std::string> kinds;
  {
    Unenterable unenterable(directory_.SystemName("d"));
    platform::DirectorySearch* search = platform::BeginSearch(directory_.SystemName("d").c_str());
    ASSERT_NE(search, nullptr);
    platform::DirectoryEntry entry;
    while (platform::NextEntry(search, &entry)) {
      const platform::FileInformation& information = entry.information;
      kinds[entry.name] = information.isDirectory ? "directory" : information.isLink ? "link" : "file";
      EXPECT_EQ(information.sizeBytes, 0u) << entry.name;
      EXPECT_EQ(information.modified, 0u) << entry.name;
    }
    platform::EndSearch(search);
  }
  EXPECT_EQ(kinds,
            (std::map<std::string, std::string>{{"sub", "directory"}, {"file", "file"}, {"link", "link"}}));
}

TEST_F(DirectoryListOnPosixTest, GivesAnEmptyListForLinksThatLeadToEachOther) {
  std::filesystem::create_symlink("loop", directory_.SystemName("loop"));
  EXPECT_EQ(Directory_GetList(directory_.Name("loop").c_str(), 0, directory_.Name("list").c_str()),
            Error_None);
  EXPECT_EQ(directory_.Read("list"), "");
}

}  // namespace
