// Lines of listings to entries.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "config/config_parse.h"
#include "os/time/clock_testing.h"
#include "synchro/synchro_listing_internal.h"
#include "synchro/synchro_table_internal.h"

namespace {

// 1997-01-05 09:03:00 UTC.
constexpr uint32_t kJanuary = 852454980;

class SynchroListingTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(iSynchro_HoldSyntaxes(), 0); }
  void TearDown() override { iSynchro_ReleaseSyntaxes(); }

  // "name size kind seconds" with the kind "d" or "f", "name ?" for an unclear line, "" for one without
  // entry.
  std::string Parse(const std::string& line, bool isWindows = false) {
    iConfig_Parse(*iSynchro_Syntaxes().listing, line.c_str(), static_cast<uint32_t>(line.size()),
                  parsed_.get());
    if (parsed_->kind != ConfigLineKind::Line) return "";
    SynchroListed listed;
    const SynchroListing kind = iSynchro_ParseListing(parsed_->content.fields, isWindows, &listed);
    if (kind == SynchroListing::Skipped) return "";
    const std::string name = listed.name;
    EXPECT_EQ(listed.side.present, 1u);
    if (kind == SynchroListing::Unclear) return name + " ?";
    return name + " " + std::to_string(listed.side.size) + (listed.side.directory != 0 ? " d " : " f ") +
           std::to_string(listed.side.time.seconds) +
           (listed.side.time.milliseconds != 0 ? " with milliseconds" : "");
  }

 private:
  std::unique_ptr<ConfigParsed> parsed_ = std::make_unique<ConfigParsed>();
};

TEST_F(SynchroListingTest, TakesTheValuesFromTheirColumns) {
  const struct {
    const char* line;
    const char* entry;
  } rows[] = {
      {"-rw-r--r-- 1 owner group 1234 Jan  5 1997 09:03 a.txt", "a.txt 1234 f 852454980"},
      {"drwxr-xr-x 3 owner group 4096 Jan  5 1997 09:03 sub", "sub 3 d 852454980"},
      {"drwxr-xr-x 3 owner group 4096 Jan  5 1997 09:03 sub/", "sub 3 d 852454980"},
      {"drwxr-xr-x 3 owner group 4096 Jan  5 1997 09:03 sub//", ""},
      {"lrwxrwxrwx 1 owner group 11 Jan  5 1997 09:03 link -> /etc/passwd", "link 1 d 852454980"},
      {"lrwxrwxrwx 1 owner group 11 Jan  5 1997 09:03 link->x", "link 1 d 852454980"},
      {"-rw-r--r-- 1 owner group 1234 Jan  5 1997 09:03 a.txt/", ""},
      {"brw-r--r-- 1 owner group 8, 1 Jan  5 1997 09:03 disk", "disk 8 f 852454980"},
      {"?rw-r--r-- 1 owner group 5 Jan  5 1997 09:03 odd", "odd 5 f 852454980"},
      {"-rw-r--r-- 1 owner group 5 Sun Jan  5 09:03:00 1997 local.txt", "local.txt 5 f 852454980"},
      {"---------    1    nobody     nobody     1234 Sun Jan  5 09:03:00 1997 name", "name 1234 f 852454980"},
      {"-rw-r--r--\t1\towner\tgroup\t5\tJan 5 1997 09:03\ttabs", "tabs 5 f 852454980"},
      {"-rw-r--r-- 1 owner group 5 Jan  5 1997 09:03 a.txt \t\r", "a.txt 5 f 852454980"},
  };
  for (const auto& row : rows) EXPECT_EQ(Parse(row.line), row.entry) << row.line;
}

TEST_F(SynchroListingTest, KnowsANameByItsLastWord) {
  EXPECT_EQ(Parse("-rw-r--r-- 1 owner group 5 Jan  5 1997 09:03 my file.txt"), "file.txt 5 f 852454980");
  EXPECT_EQ(Parse("drwxr-xr-x 2 owner group 5 Jan  5 1997 09:03 my folder/"), "folder 2 d 852454980");
}

TEST_F(SynchroListingTest, TakesTheYearOfADateWithoutOneFromTheClock) {
  const Time march = {857779200, 0};  // 1997-03-08
  iClock_SetWallClock(&march);
  EXPECT_EQ(Parse("-rw-r--r-- 1 owner group 5 Jan  5 09:03 a"), "a 5 f " + std::to_string(kJanuary));
  EXPECT_EQ(Parse("-rw-r--r-- 1 owner group 5 Dec  5 09:03 a"), "a 5 f 849776580") << "1996";
  iClock_SetWallClock(nullptr);
}

TEST_F(SynchroListingTest, HasNoValuesForAFileWithoutATimeOfDay) {
  EXPECT_EQ(Parse("-rw-r--r-- 1 owner group 5 Jan  5 1996 old.txt"), "old.txt ?");
  EXPECT_EQ(Parse("-rw-r--r-- 1 owner group 5 Jan  5  9:03 short"), "short ?")
      << "four characters are a year";
  EXPECT_EQ(Parse("-rw-r--r-- 1 owner group 5 Foo  5 09:03 nomonth"), "nomonth ?");
  EXPECT_EQ(Parse("-rw-r--r-- 1 owner group 5 name"), "name ?");
}

TEST_F(SynchroListingTest, TakesAFolderWithoutATimeOfDayWithTimeZero) {
  EXPECT_EQ(Parse("drwxr-xr-x 3 owner group 4096 Jan  5 1996 old"), "old 3 d 0");
  EXPECT_EQ(Parse("drwxr-xr-x x owner group 4096 Jan  5 1997 09:03 nolinks"), "nolinks 0 d 852454980");
}

TEST_F(SynchroListingTest, HasNoValuesForAFileWithoutASize) {
  EXPECT_EQ(Parse("-rw-r--r-- 1 owner group many Jan  5 1997 09:03 a"), "a ?");
  EXPECT_EQ(Parse("-rw-r--r-- 1 owner group -5 Jan  5 1997 09:03 a"), "a ?");
}

TEST_F(SynchroListingTest, KeepsTheLargestSizeForALargerOne) {
  EXPECT_EQ(Parse("-rw-r--r-- 1 owner group 4294967296 Jan  5 1997 09:03 a"), "a 4294967295 f 852454980");
  EXPECT_EQ(Parse("-rw-r--r-- 1 owner group 18446744073709551616 Jan  5 1997 09:03 a"),
            "a 4294967295 f 852454980");
}

TEST_F(SynchroListingTest, HasNoEntryForLinesOfAnotherForm) {
  const char* const lines[] = {
      "",
      "   ",
      "total 12",
      "-rw-r--r-- 1 owner group 5",
      "-rw-r--r-- 1 owner group 5 ",
      "-rw-r--r-- 1 owner group 5 -> x",
      "-rw-r--r-- 1 owner group 5    -> x",
      "01-05-97  09:03AM       <DIR>          sub",
      "+i8388621.29609,m824255902,/,\tdev",
  };
  for (const char* const line : lines) EXPECT_EQ(Parse(line), "") << line;
}

TEST_F(SynchroListingTest, HasNoEntryForNamesThatLeadElsewhere) {
  const std::string front = "-rw-r--r-- 1 owner group 5 Jan  5 1997 09:03 ";
  const std::string folder = "drwxr-xr-x 2 owner group 5 Jan  5 1997 09:03 ";
  const char* const names[] = {".",     "..",  "/",    "../x", "a/b", "/etc/passwd", "..\\x",
                               "a\\b",  "C:x", "x:y",  "./",   "../", "..\\",        "\\\\server\\share",
                               "a/../", "//",  "/C|/x"};
  for (const char* const name : names) {
    EXPECT_EQ(Parse(front + name), "") << name;
    EXPECT_EQ(Parse(folder + name), "") << name;
  }
  EXPECT_EQ(Parse(front + std::string(1024, 'n')), "") << "longer than any path";
  EXPECT_EQ(Parse(front + "..."), "... 5 f 852454980") << "an ordinary name there";
}

TEST_F(SynchroListingTest, HasNoEntryOnWindowsForNamesThatItTakesForOthers) {
  const std::string front = "-rw-r--r-- 1 owner group 5 Jan  5 1997 09:03 ";
  for (const char* const name : {"x.", "...", "CON", "con.txt", "NUL", "nul.tar.gz", "COM1", "lpt9.x", "AUX",
                                 "PRN", "a*", "b?", "c|d", "<e>", "f\"g", "CLOCK$", "conin$"}) {
    EXPECT_EQ(Parse(front + name, true), "") << name;
    EXPECT_EQ(Parse(front + name, false), std::string(name) + " 5 f 852454980");
  }
  for (const char* const name : {"console", "com", "com10", "nul1", ".con", "x.con"}) {
    EXPECT_EQ(Parse(front + name, true), std::string(name) + " 5 f 852454980");
  }
}

TEST(SynchroUsableName, IsNeverEmpty) {
  EXPECT_FALSE(iSynchro_IsUsableName("", false));
  EXPECT_TRUE(iSynchro_IsUsableName("a b", false)) << "blanks come from tables only";
  EXPECT_FALSE(iSynchro_IsUsableName("a ", true));
}

}  // namespace
