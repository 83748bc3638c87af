// Shell shortcuts, which this system does not have.
#include <gtest/gtest.h>

#include <string>

#include "qz/error.h"
#include "qz/file.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(FileShortcutOnPosix, GivesSystem) {
  TempDir directory;
  EXPECT_EQ(File_Link("/tmp", nullptr, directory.Name("s.lnk").c_str(), nullptr, nullptr, 0), Error_System);
  EXPECT_FALSE(directory.Exists("s.lnk"));
}

TEST(FileShortcutOnPosix, ReturnsANamesOwnError) {
  const std::string tooLong(1024, 'a');
  EXPECT_EQ(File_Link(tooLong.c_str(), nullptr, "/s.lnk", nullptr, nullptr, 0), Error_Exceed);
  EXPECT_EQ(File_Link("/tmp", nullptr, tooLong.c_str(), nullptr, nullptr, 0), Error_Exceed);
  EXPECT_EQ(File_Link("/tmp", nullptr, "/s.lnk", nullptr, tooLong.c_str(), 0), Error_Exceed);
  EXPECT_EQ(File_Link(nullptr, nullptr, "/s.lnk", nullptr, nullptr, 0), Error_Invalid);
}

}  // namespace
