// Removing trees with links, odd names, read-only directories and long paths.
#include "qz/directory.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "os/file/directory_testing.h"
#include "os/platform/filesystem.h"
#include "qz/error.h"
#include "tests/support/file_system.h"
#include "tests/support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

class DirectoryOnPosixTest : public testing::Test {
 protected:
  std::string Name(const std::string& name) { return directory_.Name(name); }

  TempDir directory_;
};

TEST_F(DirectoryOnPosixTest, RemovesANameWithALineEnd) {
  // Taken for two lines, the second part would be a name in the current directory.
  char original[1024];
  ASSERT_EQ(Directory_GetCurrent(original), Error_None);
  directory_.MakeDirectory("cwd");
  directory_.Write("cwd/victim", "mine");
  directory_.MakeDirectory("d/sub\nvictim");
  directory_.Write("d/a\nvictim", "1");
  ASSERT_EQ(Directory_SetCurrent(Name("cwd").c_str()), 0);
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_None);
  ASSERT_EQ(Directory_SetCurrent(original), 0);
  EXPECT_FALSE(directory_.Exists("d"));
  EXPECT_EQ(directory_.Read("cwd/victim"), "mine");
}

TEST_F(DirectoryOnPosixTest, RemovesLinksAndFollowsNone) {
  directory_.MakeDirectory("outside");
  directory_.Write("outside/kept", "mine");
  directory_.MakeDirectory("d");
  fs::create_symlink("../outside", directory_.SystemName("d/toDirectory"));
  fs::create_symlink("../outside/kept", directory_.SystemName("d/toFile"));
  fs::create_symlink("nowhere", directory_.SystemName("d/dangling"));
  fs::create_symlink(".", directory_.SystemName("d/self"));
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("d"));
  EXPECT_EQ(directory_.Read("outside/kept"), "mine");
}

TEST_F(DirectoryOnPosixTest, RemovesOnlyTheLinkWhenItIsOne) {
  directory_.MakeDirectory("outside");
  directory_.Write("outside/kept", "mine");
  fs::create_symlink("outside", directory_.SystemName("one"));
  fs::create_symlink("outside", directory_.SystemName("two"));
  EXPECT_EQ(Directory_Delete(Name("one").c_str()), Error_None);
  EXPECT_EQ(Directory_Delete(Name("two/").c_str()), Error_None);
  EXPECT_EQ(directory_.List(), std::vector<std::string>{"outside"});
  EXPECT_EQ(directory_.Read("outside/kept"), "mine");
}

TEST_F(DirectoryOnPosixTest, LooksThroughNoLinkByAWayBack) {
  directory_.MakeDirectory("outside/d");
  directory_.Write("outside/d/kept", "mine");
  fs::create_symlink("outside/d", directory_.SystemName("link"));
  EXPECT_EQ(Directory_Delete(Name("link/.").c_str()), Error_Invalid);
  EXPECT_EQ(Directory_Delete(Name("link/..").c_str()), Error_Invalid);
  EXPECT_EQ(directory_.Read("outside/d/kept"), "mine");
}

// ---- a link that takes the place of a directory meanwhile --------------------------------------

bool Exchange(const fs::path& one, const fs::path& other) {
  return renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0;
}

class ExchangedDirectoryTest : public DirectoryOnPosixTest {
 protected:
  static constexpr int kFiles = 200;

  ~ExchangedDirectoryTest() override { iDirectory_SetNextEntry(nullptr); }

  void Fill(const std::string& name) {
    directory_.MakeDirectory(name + "/below");
    for (int i = 0; i < kFiles; ++i) {
      directory_.Write(name + "/file" + std::to_string(i), "mine");
      directory_.Write(name + "/below/file" + std::to_string(i), "mine");
    }
  }

  // A tree to be removed, with a directory that a link to "outside", where the same names stand, may replace.
  void Prepare(const std::string& exchanged) {
    fs::remove_all(directory_.SystemName("d"));
    fs::remove_all(directory_.SystemName("link"));
    Fill(exchanged);
    fs::create_directory_symlink(directory_.SystemName("outside"), directory_.SystemName("link"));
    directory = directory_.SystemName(exchanged);
    link = directory_.SystemName("link");
  }

  void ExpectThatNothingOutsideIsLost() {
    EXPECT_EQ(directory_.List("outside").size(), kFiles + 1u);
    EXPECT_EQ(directory_.List("outside/below").size(), kFiles + 0u);
  }

  // Puts the link into the directory's place, or back, behind every entry from the `first` one on.
  static bool ExchangeBehindEntry(platform::DirectorySearch* search, platform::DirectoryEntry* entry) {
    const bool isFound = platform::NextEntry(search, entry);
    const int error = errno;
    if (++given >= first && Exchange(link, directory)) ++exchanges;
    errno = error;
    return isFound;
  }

  // The moment between looking at an entry and using its name is the one that counts, so each is hit.
  void ExchangeBehindEachEntry(const std::string& exchanged) {
    Fill("outside");
    for (first = 1; first <= 5; ++first) {
      SCOPED_TRACE(first);
      Prepare(exchanged);
      given = 0;
      exchanges = 0;
      iDirectory_SetNextEntry(ExchangeBehindEntry);
      Directory_Delete(Name("d").c_str());
      iDirectory_SetNextEntry(nullptr);
      EXPECT_GT(exchanges, 0);
      ExpectThatNothingOutsideIsLost();
    }
  }

  // The moments that no seam can hit: somebody else exchanges all the time.
  void ExchangeAllTheTime(const std::string& exchanged) {
    Fill("outside");
    for (int round = 0; round < 3; ++round) {
      SCOPED_TRACE(round);
      Prepare(exchanged);
      std::atomic<bool> isOver{false};
      std::promise<bool> isExchanging;
      std::thread exchanger([&] {
        isExchanging.set_value(Exchange(link, directory));
        while (!isOver) Exchange(link, directory);
      });
      EXPECT_TRUE(isExchanging.get_future().get());
      Directory_Delete(Name("d").c_str());
      isOver = true;
      exchanger.join();
      ExpectThatNothingOutsideIsLost();
    }
  }

  static inline fs::path directory;
  static inline fs::path link;
  static inline int first = 0;
  static inline int given = 0;
  static inline int exchanges = 0;
};

TEST_F(ExchangedDirectoryTest, LosesNothingOutsideWhenALinkTakesADirectorysPlace) {
  ExchangeBehindEachEntry("d/victim");
}

TEST_F(ExchangedDirectoryTest, LosesNothingOutsideWhenALinkTakesTheRemovedDirectorysPlace) {
  ExchangeBehindEachEntry("d");
}

TEST_F(ExchangedDirectoryTest, LosesNothingOutsideWhileALinkKeepsTakingADirectorysPlace) {
  ExchangeAllTheTime("d/victim");
}

TEST_F(ExchangedDirectoryTest, LosesNothingOutsideWhileALinkKeepsTakingTheRemovedDirectorysPlace) {
  ExchangeAllTheTime("d");
}

// ---- failures and long paths -------------------------------------------------------------------

TEST_F(DirectoryOnPosixTest, ContinuesAfterAFailureAndGivesTheFirst) {
  directory_.MakeDirectory("d/locked");
  directory_.Write("d/locked/f", "1");
  directory_.Write("d/other", "2");
  std::error_code ignored;
  fs::permissions(directory_.SystemName("d"), fs::perms::all, ignored);
  WriteProtection protection(directory_.SystemName("d/locked"));
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_NoAccess);
  EXPECT_TRUE(directory_.Exists("d/locked/f"));
  EXPECT_FALSE(directory_.Exists("d/other"));
}

TEST_F(DirectoryOnPosixTest, SaysThatAPathIsTooLong) {
  fs::path deep = directory_.SystemName("d");
  for (int i = 0; i < 6; ++i) deep /= std::string(200, 'x');
  fs::create_directories(deep);
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_Exceed);
  EXPECT_TRUE(fs::exists(deep));
}

TEST_F(DirectoryOnPosixTest, RemovesANearlyTooLongPath) {
  fs::path deep = directory_.SystemName("d");
  for (int i = 0; i < 4; ++i) deep /= std::string(200, 'x');
  const size_t left = 1023 - deep.string().size() - 1;
  deep /= std::string(left, 'y');
  ASSERT_EQ(deep.string().size(), 1023u);
  fs::create_directories(deep);
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("d"));
}

TEST_F(DirectoryOnPosixTest, RemovesADeepTree) {
  std::string deep = directory_.SystemName("d").string();
  while (deep.size() < 1021) deep += "/x";
  fs::create_directories(deep);
  EXPECT_EQ(Directory_Delete(Name("d").c_str()), Error_None);
  EXPECT_FALSE(directory_.Exists("d"));
}

TEST_F(DirectoryOnPosixTest, GivesACurrentDirectoryThatJustFits) {
  const fs::path original = fs::current_path();
  for (size_t length : {1023u, 1024u}) {
    std::string deep = directory_.SystemName("d").string();
    while (deep.size() < 800) deep += "/" + std::string(100, 'x');
    deep += "/" + std::string(length - deep.size() - 1, 'y');
    fs::create_directories(deep);
    fs::current_path(deep);
    char current[1024] = "unset";
    const ErrorCode status = Directory_GetCurrent(current);
    fs::current_path(original);
    EXPECT_EQ(status, length == 1023 ? Error_None : Error_Invalid);
    EXPECT_EQ(current, length == 1023 ? deep : "");
  }
}

}  // namespace
