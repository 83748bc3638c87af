// --exclude.
#include "tool/sync_exclude.h"

#include <gtest/gtest.h>

using tool::IsExcluded;

namespace {

struct Row {
  const char* pattern;
  const char* path;
  bool isFolder;
  bool isExcluded;
};

constexpr Row kRows[] = {
    // names, wherever they are
    {"*.tmp", "x.tmp", false, true},
    {"*.tmp", "s/x.tmp", false, true},
    {"*.tmp", "x.tmp.txt", false, false},
    {"*.tmp", "tmp", false, false},
    {"*.tmp", "x.tmp", true, true},
    {"x", "x", false, true},
    {"x", "s/x", true, true},
    {"x", "x/s", false, false},
    {"x", "xx", false, false},
    {"*", "any", false, true},
    {"a*b*c", "aXbbYc", false, true},
    {"a*b*c", "aXbbYcd", false, false},
    {"?.txt", "a.txt", false, true},
    {"?.txt", "ab.txt", false, false},
    {"?.txt", "\xC3\xB6.txt", false, true},
    {"*?", "\xC3\xB6", false, true},
    {"*??", "\xC3\xB6", false, false},
    {"*??", "\xE2\x82\xAC", false, false},
    {"?", "\xFF", false, true},
    {"[a-c]x", "bx", false, true},
    {"[a-c]x", "dx", false, false},
    {"[!a-c]x", "dx", false, true},
    {"[!a-c]x", "bx", false, false},
    {"[]]", "]", false, true},
    {"[\xC3\xA4-\xC3\xBC]", "\xC3\xB6", false, true},
    {"[a-]", "-", false, true},
    {"[ab", "[ab", false, true},
    {"[ab", "a", false, false},
    // folders only
    {"cache/", "cache", true, true},
    {"cache/", "s/cache", true, true},
    {"cache/", "cache", false, false},
    // paths from the roots
    {"/x", "x", false, true},
    {"/x", "s/x", false, false},
    {"s/x", "s/x", false, true},
    {"s/x", "r/s/x", false, false},
    {"s/*", "s/x", false, true},
    {"s/*", "s/t/x", false, false},
    {"s/**", "s/t/x", false, true},
    {"s/**/x", "s/t/u/x", false, true},
    {"s/**/x", "s/t/u/y", false, false},
    {"**/x", "a/b/x", false, true},
    {"s?x/y", "s/x/y", false, false},
    {"s[/]x/y", "s/x/y", false, false},
    {"a/*b/**/c*d", "a/xb/y/z/c1d", false, true},
    {"/s/t/", "s/t", true, true},
    {"/s/t/", "s/t", false, false},
};

TEST(Exclude, FollowsTheTable) {
  for (const Row& row : kRows) {
    EXPECT_EQ(IsExcluded(row.pattern, row.path, row.isFolder, false), row.isExcluded)
        << row.pattern << " " << row.path;
  }
}

TEST(Exclude, MindsCaseUnlessTold) {
  EXPECT_FALSE(IsExcluded("*.TMP", "x.tmp", false, false));
  EXPECT_TRUE(IsExcluded("*.TMP", "x.tmp", false, true));
  EXPECT_TRUE(IsExcluded("/S/x", "s/X", false, true));
}

TEST(Exclude, TakesWhatAnyPatternTakes) {
  const tool::Excludes excludes({"*.tmp", "cache/"}, false);
  EXPECT_TRUE(excludes.Take("s/cache", true));
  EXPECT_TRUE(excludes.Take("x.tmp", false));
  EXPECT_FALSE(excludes.Take("x", false));
  EXPECT_FALSE(tool::Excludes({}, false).Take("x", false));
}

TEST(Exclude, IsQuickWithManyStars) {
  const std::string name(2000, 'a');
  std::string pattern;
  for (int i = 0; i < 500; i++) pattern += "*a";
  EXPECT_FALSE(IsExcluded(pattern + "b", name, false, false));
  EXPECT_TRUE(IsExcluded(pattern, name, false, false));
}

}  // namespace
