// Modes, names, paths and --force of qz sync.
#include "tool/sync_pair.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

using tool::DefaultSyncName;
using tool::SyncMode;
using tool::SyncSideName;

namespace {

constexpr SyncMode kModes[] = {SyncMode::Copy, SyncMode::Delete, SyncMode::Reverse, SyncMode::ReverseDelete,
                               SyncMode::TwoWay};

TEST(SyncMode, HasTheFlagsThatLoseNothing) {
  EXPECT_EQ(tool::FlagsOf(SyncMode::Copy, false), 1u);
  EXPECT_EQ(tool::FlagsOf(SyncMode::Delete, false), 9u);
  EXPECT_EQ(tool::FlagsOf(SyncMode::Reverse, false), 2u);
  EXPECT_EQ(tool::FlagsOf(SyncMode::ReverseDelete, false), 6u);
  EXPECT_EQ(tool::FlagsOf(SyncMode::TwoWay, false), 3u);
  EXPECT_EQ(tool::FlagsOf(SyncMode::Copy, true), 0x80000001u);
}

TEST(SyncMode, FollowsTheOptions) {
  EXPECT_EQ(tool::SyncModeOf(false, false, false), SyncMode::Copy);
  EXPECT_EQ(tool::SyncModeOf(true, false, false), SyncMode::Delete);
  EXPECT_EQ(tool::SyncModeOf(false, true, false), SyncMode::Reverse);
  EXPECT_EQ(tool::SyncModeOf(true, true, false), SyncMode::ReverseDelete);
  EXPECT_EQ(tool::SyncModeOf(false, false, true), SyncMode::TwoWay);
}

TEST(SyncName, IsTheSameForTheSamePair) {
  EXPECT_EQ(DefaultSyncName("/home/me/photos", "ftp://me@host/My Photos", SyncMode::Delete),
            "photos-My_Photos-delete-216a6033dac1c0da");
  EXPECT_EQ(DefaultSyncName("/", "/x", SyncMode::Copy).substr(0, 12), "root-x-copy-");
}

TEST(SyncName, DiffersForEveryOtherPair) {
  const std::vector<std::string> sides = {"/a", "/a/b", "/a b", "/b", "ftp://h/a", "ftp://me@h/a", "/a /b"};
  std::set<std::string> names;
  std::size_t count = 0;
  for (const std::string& source : sides) {
    for (const std::string& destination : sides) {
      for (const SyncMode mode : kModes) {
        const std::string name = DefaultSyncName(source, destination, mode);
        EXPECT_TRUE(tool::IsSyncName(name)) << name;
        names.insert(name);
        count++;
      }
    }
  }
  EXPECT_EQ(names.size(), count);
}

TEST(SyncName, IsSafeForAnyPath) {
  for (const char* path : {"/", "//", "/CON", "/x.", "/\xC3\xB6\xFF", "/a:b|c", "/..", "ftp://h/", "/-x"}) {
    const std::string name = DefaultSyncName(path, path, SyncMode::TwoWay);
    EXPECT_TRUE(tool::IsSyncName("x" + name)) << name;
    EXPECT_EQ(name.find('.'), std::string::npos) << name;
    EXPECT_LE(name.size(), 75u) << name;
  }
}

TEST(SyncName, OfTheUserIsAFileName) {
  for (const char* name : {"photos", "a.b-c_1", "9"}) EXPECT_TRUE(tool::IsSyncName(name)) << name;
  for (const char* name : {"", ".x", "-x", "a/b", "a\\b", "a b", "con", "NUL.txt", "x.", "\xC3\xB6", "a:b"})
    EXPECT_FALSE(tool::IsSyncName(name)) << name;
  EXPECT_TRUE(tool::IsSyncName(std::string(100, 'x')));
  EXPECT_FALSE(tool::IsSyncName(std::string(101, 'x')));
}

TEST(SyncPath, IsMadePlain) {
  EXPECT_EQ(tool::PlainPath("/a/b/", 0), "/a/b");
  EXPECT_EQ(tool::PlainPath("/a//./b/../c", 0), "/a/c");
  EXPECT_EQ(tool::PlainPath("/..", 0), "/");
  EXPECT_EQ(tool::PlainPath("/", 0), "/");
  EXPECT_EQ(tool::PlainPath("/C|/x/", 0), "/C|/x");
}

TEST(SyncPath, KnowsWhatIsInAFolder) {
  EXPECT_EQ(tool::PathBelow("/a", "/a/b/c"), "b/c");
  EXPECT_EQ(tool::PathBelow("/", "/a"), "a");
  EXPECT_FALSE(tool::PathBelow("/a", "/ab"));
  EXPECT_FALSE(tool::PathBelow("/a", "/a"));
  EXPECT_FALSE(tool::PathBelow("/", "/"));
  EXPECT_TRUE(tool::Overlap("/a", "/a"));
  EXPECT_TRUE(tool::Overlap("/a", "/a/b"));
  EXPECT_TRUE(tool::Overlap("/a/b", "/a"));
  EXPECT_TRUE(tool::Overlap("/", "/a"));
  EXPECT_FALSE(tool::Overlap("/a/b", "/a/c"));
  EXPECT_FALSE(tool::Overlap("/a", "/ab"));
}

// "path winner": source, destination, or none when it is not clear.
std::string Forced(const std::string& text, SyncMode mode) {
  const tool::ForcedName forced = tool::ParseForced(text);
  const auto winner = tool::WinnerOf(forced, mode);
  return forced.path + (!winner ? " none" : *winner == SyncSideName::Source ? " source" : " destination");
}

TEST(Force, KeepsTheSideThatTheModeCopiesFrom) {
  EXPECT_EQ(Forced("s/x", SyncMode::Copy), "s/x source");
  EXPECT_EQ(Forced("s/x", SyncMode::Delete), "s/x source");
  EXPECT_EQ(Forced("s/x", SyncMode::Reverse), "s/x destination");
  EXPECT_EQ(Forced("s/x", SyncMode::ReverseDelete), "s/x destination");
  EXPECT_EQ(Forced("s/x", SyncMode::TwoWay), "s/x none");
  EXPECT_EQ(Forced("source:s/x", SyncMode::TwoWay), "s/x source");
  EXPECT_EQ(Forced("destination:s/x", SyncMode::TwoWay), "s/x destination");
  EXPECT_EQ(Forced("source:x", SyncMode::Copy), "x source");
  EXPECT_EQ(Forced("destination:x", SyncMode::Copy), "x none");
  EXPECT_EQ(Forced("source:x", SyncMode::Reverse), "x none");
  EXPECT_EQ(Forced("other:x", SyncMode::Copy), "other:x source");
}

}  // namespace
