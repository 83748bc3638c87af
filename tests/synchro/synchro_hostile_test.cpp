// Listings from a server that means harm, or is broken.
#include <string>

#include "synchro/synchro_lines_internal.h"
#include "tests/support/error_capture.h"
#include "tests/synchro/synchro_fixture.h"
#include "tests/synchro/synchro_ftp_fixture.h"

namespace {

using ftp::Join;
using ftp::Quit;
using synchro::FileLine;
using synchro::FolderLine;
using synchro::Lines;
using synchro::List;
using synchro::Login;
using synchro::Outcome;

class SynchroHostileTest : public synchro::Test {
 protected:
  void SetUp() override {
    synchro::Test::SetUp();
    // One tree in the other's neighbourhood, where names that lead out would arrive.
    Put("outside", "mine");
    Put("dst/a", "a");
  }
  void TearDown() override {
    EXPECT_EQ(root_.Read("outside"), "mine");
    synchro::Test::TearDown();
  }
  Outcome Download(uint32_t flags, const Script& script) {
    ScriptedServer server({script}, 60000);
    const Outcome outcome = Run(flags, FTPURL(server), FileURL("dst"));
    server.Finish();
    return outcome;
  }
};

TEST_F(SynchroHostileTest, JoinsNoNameThatLeadsElsewhere) {
  std::string listing;
  for (const char* const name : {"../outside", "..", ".", "/etc/passwd", "..\\outside", "C:\\x", "C|/x",
                                 "a/../b", "//server/share", "x:y", "~/x/", "sub/../../outside"}) {
    listing += FileLine(name) + FolderLine(name);
  }
  const Outcome outcome =
      Download(SynchroFlag_Recurse | 1, Join({Login(), List("/pub/", listing + FileLine("a", "1")), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"ftp = file:  a  -> None"});
  EXPECT_EQ(Tree("dst"), "a=a");
  EXPECT_EQ(std::count_if(outcome.lines.begin(), outcome.lines.end(),
                          [](const std::string& line) { return line.starts_with("Pushed"); }),
            1);
}

TEST_F(SynchroHostileTest, LeavesOutLinesThatAreTooLong) {
  const std::string front = "-rw-r--r--   1 owner group 5 Jan  5 1997 09:03 ";
  const std::string longName(4096 - front.size() + 1, 'n');
  const std::string megabyte = front + std::string(1 << 20, 'x') + " b\r\n";
  const Outcome outcome = Download(
      8 | 2,
      Join({Login(), List("/pub/", megabyte + front + longName + "\r\n" + FileLine("a", "1") + megabyte),
            Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"ftp = file:  a  -> None"});
}

TEST_F(SynchroHostileTest, LeavesOutLinesWithAZeroByte) {
  std::string zero = FileLine("zero");
  zero[zero.size() - 4] = '\0';
  const Outcome outcome = Download(2, Join({Login(), List("/pub/", zero + FileLine("a", "1")), Quit()}));
  EXPECT_EQ(FileLines(outcome), Lines{"ftp = file:  a  -> None"});
}

TEST_F(SynchroHostileTest, DeletesNothing_WhenTheListingIsCut) {
  WriteTable("a:0:True:False:5:852454980.0:True:False:1:1000000000.0\n");
  using namespace script;
  const std::string half = FileLine("other");
  const Outcome reset = Download(9, Join({Login(),
                                          ftp::Exchange("CWD /pub/", "250 ok"),
                                          ftp::Passive(),
                                          ftp::Started("LIST"),
                                          {DataSend(half), DataClose(), SendLine("426 broken")},
                                          Quit()}));
  EXPECT_EQ(reset.lines.back(), "* Retrieval failed: Invalid");
  const Outcome lost = Download(9, Join({Login(),
                                         ftp::Exchange("CWD /pub/", "250 ok"),
                                         ftp::Passive(),
                                         ftp::Started("LIST"),
                                         {DataSend(half), DataClose(), Close()}}));
  EXPECT_EQ(lost.lines.back(), "* Retrieval failed: Ended");
  EXPECT_EQ(Tree("dst"), "a=a");
}

TEST_F(SynchroHostileTest, DoesAsListed_WhenAListingIsEmpty) {
  // What the flags demand of a listing that came whole.
  WriteTable("a:0:True:False:5:852454980.0:True:False:1:1000000000.0\n");
  EXPECT_EQ(FileLines(Download(9, Join({Login(), List("/pub/", ""), Quit()}))),
            Lines{"ftp > file:  a DELETE -> None"});
}

TEST_F(SynchroHostileTest, ShowsTextsOfTheServerAsTheyAre) {
  const std::string name = "%n%s%5000d";
  const Outcome outcome =
      Download(2, Join({Login(), List("/pub/", FileLine(name) + FileLine("a", "1")), Quit()}));
  EXPECT_EQ(FileLines(outcome), (Lines{"ftp = file:  %n%s%5000d  -> None", "ftp = file:  a  -> None"}));
}

// The lines of a file, through a block that is smaller than they are.
TEST_F(SynchroHostileTest, FindsTheLinesOfAFile) {
  const std::string longest(4096, 'l');
  const std::string bytes = "first\r\n\n" + longest + "\r\r\n" + longest + "x\n" + std::string("z\0z\n", 4) +
                            std::string(100000, 'y') + "\nafter\nlast";
  root_.Write("lines", bytes);
  File* file = nullptr;
  ASSERT_EQ(File_Open(root_.Name("lines").c_str(), FileMode_Read, &file), Error_None);
  Lines found;
  std::string ended;
  SynchroLines lines(file);
  while (lines.Next()) {
    found.emplace_back(lines.Text());
    EXPECT_EQ(found.back().size(), lines.Length());
    ended += lines.IsEnded() ? '+' : '-';
  }
  EXPECT_EQ(lines.Status(), Error_None);
  EXPECT_EQ(found, (Lines{"first", "", longest, "after", "last"}));
  EXPECT_EQ(ended, "++++-");
  File_Close(file);
}

// Blocks end anywhere in the longest line and its end.
TEST_F(SynchroHostileTest, FindsTheLongestLine_WhereverABlockEnds) {
  const std::string longest(4096, 'l');
  for (const char* const end : {"\r\n", "\r\r\n"}) {
    for (size_t before = 4090; before <= 4100; ++before) {
      root_.Write("lines", std::string(before - 1, 'b') + "\n" + longest + end + "after\n");
      File* file = nullptr;
      ASSERT_EQ(File_Open(root_.Name("lines").c_str(), FileMode_Read, &file), Error_None);
      Lines found;
      SynchroLines lines(file);
      while (lines.Next()) found.emplace_back(lines.Text());
      EXPECT_EQ(std::count(found.begin(), found.end(), longest), 1) << before << " " << end;
      EXPECT_EQ(found.back(), "after");
      File_Close(file);
    }
  }
}

TEST_F(SynchroHostileTest, KeepsManyEntriesInOrder) {
  Remove("dst/a");
  std::string listing;
  for (int i = 0; i < 20000; ++i) listing += FileLine("name" + std::to_string(i));
  const Script script = Join({Login(), List("/pub/", listing), Quit()});
  EXPECT_EQ(Download(2, script).lines.size(), 20000u + 7);
  const std::string table = Table("/");
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 20000);
  EXPECT_TRUE(table.starts_with("name0    :0:True:")) << table.substr(0, 100);
  const Outcome again = Download(2, script);
  EXPECT_EQ(again.lines.size(), 20000u + 7);
  EXPECT_EQ(again.lines[6], "ftp = file:  name0  -> None");
  EXPECT_EQ(again.lines[20005], "ftp = file:  name19999  -> None");
}

}  // namespace
