// Writing a document where the disk is full, the target is a link, or the user may not write.
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/config/config_fixture.h"

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

class ConfigWriteOnPosix : public testing::Test {
 protected:
  ConfigWriteOnPosix() { document_.Print("a 1"); }

  ErrorCode Write(const std::string& name) {
    return Config_Write(document_.get(), directory_.Name(name).c_str());
  }

  // Some 40,000 bytes.
  void MakeLong() {
    for (int i = 0; i < 10; ++i) document_.Print("# " + std::string(4000, 'x'));
  }

  mode_t ModeOf(const std::string& name) {
    struct stat status = {};
    EXPECT_EQ(stat(directory_.SystemName(name).c_str(), &status), 0);
    return status.st_mode & 07777;
  }

  TempDir directory_;
  Document document_{Pairs()};
};

// ---- a full disk -------------------------------------------------------------------------------

TEST_F(ConfigWriteOnPosix, KeepsTheOldFile_WhenTheDiskIsFull) {
  MakeLong();
  directory_.MakeDirectory("disk");
  const SmallVolume volume(directory_.SystemName("disk"), 32768);
  ASSERT_TRUE(volume.IsMounted());
  directory_.Write("disk/file", "old bytes");
  EXPECT_EQ(Write("disk/file"), Error_Fail);
  EXPECT_EQ(Write("disk/new"), Error_Fail);
  EXPECT_EQ(directory_.List("disk"), Names{"file"});
  EXPECT_EQ(directory_.Read("disk/file"), "old bytes");
}

TEST_F(ConfigWriteOnPosix, KeepsTheOldFile_AtWhicheverByteTheDiskIsFull) {
  MakeLong();
  directory_.Write("file", "old bytes");
  // "a", tab, "1", line end, then ten comments of 4,002 characters: 40,034 bytes.
  for (const uint64_t bytes : {0, 1, 3, 4, 5, 4095, 4096, 4097, 8192, 20000, 36864, 40032, 40033}) {
    {
      const DiskLimit full(bytes);
      EXPECT_EQ(Write("file"), Error_Fail) << bytes;
    }
    EXPECT_EQ(directory_.List(), Names{"file"}) << bytes;
    EXPECT_EQ(directory_.Read("file"), "old bytes") << bytes;
  }
  const DiskLimit enough(40034);
  EXPECT_EQ(Write("file"), Error_None);
  EXPECT_EQ(directory_.Size("file"), 40034u);
}

// ---- links -------------------------------------------------------------------------------------

TEST_F(ConfigWriteOnPosix, FollowsALink) {
  directory_.MakeDirectory("folder");
  directory_.Write("folder/file", "old");
  fs::create_symlink("folder/file", directory_.SystemName("relative"));
  fs::create_symlink(directory_.SystemName("folder/file"), directory_.SystemName("absolute"));
  fs::create_symlink("../relative", directory_.SystemName("folder/link"));
  for (const char* name : {"relative", "absolute", "folder/link"}) {
    directory_.Write("folder/file", "old");
    EXPECT_EQ(Write(name), Error_None) << name;
    EXPECT_TRUE(fs::is_symlink(directory_.SystemName(name))) << name;
    EXPECT_FALSE(fs::is_symlink(directory_.SystemName("folder/file"))) << name;
    EXPECT_EQ(directory_.Read("folder/file"), "a\t1\n") << name;
  }
  EXPECT_EQ(directory_.List(), (Names{"absolute", "folder", "relative"}));
  EXPECT_EQ(directory_.List("folder"), (Names{"file", "link"}));
}

TEST_F(ConfigWriteOnPosix, MakesTheFileThatADanglingLinkNames) {
  directory_.MakeDirectory("folder");
  fs::create_symlink("folder/file", directory_.SystemName("link"));
  EXPECT_EQ(Write("link"), Error_None);
  EXPECT_TRUE(fs::is_symlink(directory_.SystemName("link")));
  EXPECT_EQ(directory_.Read("folder/file"), "a\t1\n");
  EXPECT_EQ(directory_.List("folder"), Names{"file"});
}

TEST_F(ConfigWriteOnPosix, RefusesLinksInACircle) {
  fs::create_symlink("two", directory_.SystemName("one"));
  fs::create_symlink("one", directory_.SystemName("two"));
  EXPECT_EQ(Write("one"), Error_Fail);
  EXPECT_EQ(directory_.List(), (Names{"one", "two"}));
}

TEST_F(ConfigWriteOnPosix, KeepsTheLinkAndTheOldFile_WhenWritingFails) {
  directory_.MakeDirectory("folder");
  directory_.Write("folder/file", "old");
  fs::create_symlink("folder/file", directory_.SystemName("link"));
  {
    const DiskLimit full(2);
    EXPECT_EQ(Write("link"), Error_Fail);
  }
  EXPECT_TRUE(fs::is_symlink(directory_.SystemName("link")));
  EXPECT_EQ(directory_.Read("folder/file"), "old");
  EXPECT_EQ(directory_.List("folder"), Names{"file"});
}

// ---- pipes -------------------------------------------------------------------------------------

TEST_F(ConfigWriteOnPosix, WritesIntoAPipeThatIsRead) {
  const std::string name = directory_.SystemName("pipe").string();
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  const int reader = open(name.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  EXPECT_EQ(Write("pipe"), Error_None);
  char bytes[16] = {};
  EXPECT_EQ(read(reader, bytes, sizeof bytes), 4);
  EXPECT_STREQ(bytes, "a\t1\n");
  close(reader);
  EXPECT_TRUE(fs::is_fifo(name));
  EXPECT_EQ(directory_.List(), Names{"pipe"});
}

// Bytes for nobody would end the program by a signal.
TEST_F(ConfigWriteOnPosix, RefusesAPipeThatNobodyReads) {
  ASSERT_EQ(mkfifo(directory_.SystemName("pipe").c_str(), 0600), 0);
  EXPECT_EQ(Write("pipe"), Error_Fail);
  EXPECT_TRUE(fs::is_fifo(directory_.SystemName("pipe")));
  EXPECT_EQ(directory_.List(), Names{"pipe"});
}

// The names of standard streams are such links.
TEST_F(ConfigWriteOnPosix, WritesIntoAnOpenPipeThatALinkNames) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const std::string name = "/proc/self/fd/" + std::to_string(ends[1]);
  fs::create_symlink(name, directory_.SystemName("link"));
  EXPECT_EQ(Config_Write(document_.get(), name.c_str()), Error_None);
  EXPECT_EQ(Write("link"), Error_None);
  close(ends[1]);
  char bytes[16] = {};
  EXPECT_EQ(read(ends[0], bytes, sizeof bytes), 8);
  EXPECT_STREQ(bytes, "a\t1\na\t1\n");
  close(ends[0]);
  EXPECT_EQ(directory_.List(), Names{"link"});
}

// ---- a program that is killed ------------------------------------------------------------------

// Writes the document over and over until it is killed, as a child process of its own.
pid_t StartWriting(const Document& document, const std::string& name) {
  const pid_t child = fork();
  if (child != 0) return child;
  while (Config_Write(document.get(), name.c_str()) == Error_None) {
  }
  _exit(1);
}

TEST_F(ConfigWriteOnPosix, LeavesTheOldFileOrTheNew_WhenTheProgramIsKilled) {
  MakeLong();
  const std::string written = document_.Written();
  for (int i = 0; i < 40; ++i) {
    directory_.Write("file", "old bytes");
    const pid_t child = StartWriting(document_, directory_.Name("file"));
    ASSERT_GT(child, 0);
    usleep(static_cast<useconds_t>(i) * 300);
    ASSERT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status)) << "it did not fail before";
    const std::string bytes = directory_.Read("file");
    EXPECT_TRUE(bytes == "old bytes" || bytes == written) << bytes.size() << " bytes";
  }
  EXPECT_EQ(Write("file"), Error_None) << "whatever the others left beside it";
}

// ---- permissions -------------------------------------------------------------------------------

TEST_F(ConfigWriteOnPosix, KeepsThePermissions) {
  directory_.Write("file", "old");
  for (const mode_t mode : {0600u, 0640u, 0755u, 0666u, 0604u, 0222u, 04755u, 02755u}) {
    ASSERT_EQ(chmod(directory_.SystemName("file").c_str(), mode), 0);
    EXPECT_EQ(Write("file"), Error_None);
    EXPECT_EQ(ModeOf("file"), mode);
  }
}

TEST_F(ConfigWriteOnPosix, KeepsTheOwner) {
  ASSERT_EQ(geteuid(), 0u);
  directory_.Write("file", "old");
  ASSERT_EQ(chown(directory_.SystemName("file").c_str(), 65534, 65533), 0);
  EXPECT_EQ(Write("file"), Error_None);
  struct stat status = {};
  ASSERT_EQ(stat(directory_.SystemName("file").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 65534u);
  EXPECT_EQ(status.st_gid, 65533u);
}

// A user and a group in the numbers of stat, and the bits.
std::string OwnerOf(const std::filesystem::path& file) {
  struct stat status = {};
  EXPECT_EQ(stat(file.c_str(), &status), 0);
  char text[64];
  snprintf(text, sizeof text, "%u:%u %04o", status.st_uid, status.st_gid, status.st_mode & 07777u);
  return text;
}

// The rest of the scope runs on as user 65534 of group 65534, and of one more group.
class AnotherUser {
 public:
  explicit AnotherUser(gid_t group) {
    EXPECT_EQ(setgroups(1, &group), 0);
    EXPECT_EQ(setegid(65534), 0);
    EXPECT_EQ(seteuid(65534), 0);
  }
  ~AnotherUser() {
    EXPECT_EQ(seteuid(0), 0);
    EXPECT_EQ(setegid(0), 0);
    EXPECT_EQ(setgroups(0, nullptr), 0);
  }
  AnotherUser(const AnotherUser&) = delete;
  AnotherUser& operator=(const AnotherUser&) = delete;
};

TEST_F(ConfigWriteOnPosix, KeepsTheGroup_WhereTheUserBelongsToIt) {
  ASSERT_EQ(geteuid(), 0u);
  ASSERT_EQ(chmod(directory_.SystemName().c_str(), 0777), 0);
  directory_.Write("file", "old");
  ASSERT_EQ(chown(directory_.SystemName("file").c_str(), 0, 65533), 0);
  ASSERT_EQ(chmod(directory_.SystemName("file").c_str(), 0660), 0);
  {
    const AnotherUser user(65533);
    EXPECT_EQ(Write("file"), Error_None);
  }
  EXPECT_EQ(OwnerOf(directory_.SystemName("file")), "65534:65533 0660");
}

// The group of the new file may be a larger one: it gets what everybody has, and no more.
TEST_F(ConfigWriteOnPosix, GivesAnotherGroupNoMoreThanEverybody) {
  ASSERT_EQ(geteuid(), 0u);
  ASSERT_EQ(chmod(directory_.SystemName().c_str(), 0777), 0);
  const struct {
    mode_t before;
    const char* after;
  } rows[] = {{0676, "65534:65534 0666"},
              {0662, "65534:65534 0622"},
              {0606, "65534:65534 0606"},
              {06777, "65534:65534 0777"}};
  for (const auto& row : rows) {
    directory_.Write("file", "old");
    ASSERT_EQ(chown(directory_.SystemName("file").c_str(), 0, 0), 0);
    ASSERT_EQ(chmod(directory_.SystemName("file").c_str(), row.before), 0);
    {
      const AnotherUser user(65534);
      EXPECT_EQ(Write("file"), Error_None) << row.after;
    }
    EXPECT_EQ(OwnerOf(directory_.SystemName("file")), row.after);
    fs::remove(directory_.SystemName("file"));
  }
}

// The system takes these bits off a file that another user writes to; here nothing is written.
TEST_F(ConfigWriteOnPosix, DropsTheSetUserBit_WhereTheUserIsAnother) {
  ASSERT_EQ(geteuid(), 0u);
  ASSERT_EQ(chmod(directory_.SystemName().c_str(), 0777), 0);
  directory_.Write("file", "old");
  ASSERT_EQ(chmod(directory_.SystemName("file").c_str(), 06777), 0);
  const Document empty(Pairs());
  {
    const AnotherUser user(65534);
    EXPECT_EQ(Config_Write(empty.get(), directory_.Name("file").c_str()), Error_None);
  }
  EXPECT_EQ(OwnerOf(directory_.SystemName("file")), "65534:65534 0777");
}

TEST_F(ConfigWriteOnPosix, LeavesOtherHardLinksTheOldBytes) {
  directory_.Write("file", "old");
  fs::create_hard_link(directory_.SystemName("file"), directory_.SystemName("other"));
  EXPECT_EQ(Write("file"), Error_None);
  EXPECT_EQ(directory_.Read("file"), "a\t1\n");
  EXPECT_EQ(directory_.Read("other"), "old");
}

TEST_F(ConfigWriteOnPosix, GivesANewFileThePermissionsOfAnyNewFile) {
  const mode_t before = umask(027);
  EXPECT_EQ(Write("file"), Error_None);
  umask(before);
  EXPECT_EQ(ModeOf("file"), 0640u);
}

TEST_F(ConfigWriteOnPosix, NeedsAFolderThatCanBeWritten) {
  directory_.MakeDirectory("folder");
  directory_.Write("folder/file", "old");
  ASSERT_EQ(chmod(directory_.SystemName().c_str(), 0755), 0);
  ASSERT_EQ(chmod(directory_.SystemName("folder/file").c_str(), 0666), 0);
  {
    const WriteProtection protection(directory_.SystemName("folder"));
    EXPECT_EQ(Write("folder/file"), Error_Fail);
    EXPECT_EQ(Write("folder/new"), Error_Fail);
  }
  EXPECT_EQ(directory_.Read("folder/file"), "old");
  EXPECT_EQ(directory_.List("folder"), Names{"file"});
}

TEST_F(ConfigWriteOnPosix, NeedsAFileThatCanBeWritten) {
  directory_.Write("file", "old");
  ASSERT_EQ(chmod(directory_.SystemName().c_str(), 0777), 0);
  {
    const WriteProtection protection(directory_.SystemName("file"));
    EXPECT_EQ(Write("file"), Error_Fail);
  }
  EXPECT_EQ(directory_.Read("file"), "old");
  EXPECT_EQ(directory_.List(), Names{"file"});
}

// Where a folder is shared, only the owner of a file may put another in its place.
TEST_F(ConfigWriteOnPosix, KeepsTheOldFile_WhenItMayNotBeReplaced) {
  ASSERT_EQ(geteuid(), 0u);
  directory_.MakeDirectory("shared");
  directory_.Write("shared/file", "old");
  ASSERT_EQ(chmod(directory_.SystemName("shared").c_str(), 01777), 0);
  ASSERT_EQ(chmod(directory_.SystemName("shared/file").c_str(), 0666), 0);
  ASSERT_EQ(seteuid(65534), 0);
  const ErrorCode status = Write("shared/file");
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(status, Error_Fail);
  EXPECT_EQ(directory_.Read("shared/file"), "old");
  EXPECT_EQ(directory_.List("shared"), Names{"file"});
}

// ---- reading -----------------------------------------------------------------------------------

TEST_F(ConfigWriteOnPosix, GivesTheStatusOfOpening_ForAFileThatCannotBeRead) {
  directory_.Write("file", "b 2\n");
  ASSERT_EQ(geteuid(), 0u);
  ASSERT_EQ(chmod(directory_.SystemName("file").c_str(), 0333), 0);
  ASSERT_EQ(seteuid(65534), 0);
  const ErrorCode status = Config_Read(document_.get(), directory_.Name("file").c_str());
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(status, Error_Fail);
  EXPECT_EQ(document_.Lines(), "<a><1>");
}

TEST_F(ConfigWriteOnPosix, GivesAStatus_ForAFileThatBreaksWhileItIsRead) {
  EXPECT_LT(Config_Read(document_.get(), UnreadableFile().c_str()), Error_None);
  EXPECT_EQ(document_.Lines(), "<a><1>");
}

TEST_F(ConfigWriteOnPosix, GivesTheStatusOfOpening_ForALinkThatLeadsNowhere) {
  fs::create_symlink("none", directory_.SystemName("link"));
  EXPECT_EQ(Config_Read(document_.get(), directory_.Name("link").c_str()), Error_Fail);
  EXPECT_EQ(directory_.List(), Names{"link"});
}

TEST_F(ConfigWriteOnPosix, ReadsAPipeLikeAFile) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], "b 2\nc 3", 7), 7);
  close(ends[1]);
  const std::string name = "/proc/self/fd/" + std::to_string(ends[0]);
  EXPECT_EQ(Config_Read(document_.get(), name.c_str()), Error_None);
  close(ends[0]);
  EXPECT_EQ(document_.Lines(), "<a><1> <b><2> <c><3>");
}

}  // namespace
