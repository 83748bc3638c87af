// What is remembered between runs: index, tables, journals, byte for byte; and runs that are killed.
#include <filesystem>
#include <string>

#include "synchro/synchro_table_internal.h"
#include "tests/support/error_capture.h"
#include "tests/synchro/synchro_fixture.h"
#include "tests/synchro/synchro_ftp_fixture.h"
#include "tests/synchro/synchro_moment.h"

namespace {

using ftp::Join;
using ftp::Quit;
using synchro::FileLine;
using synchro::kRecurse;
using synchro::Lines;
using synchro::List;
using synchro::Login;
using synchro::Moment;
using synchro::Outcome;

class SynchroTableTest : public synchro::Test {
 protected:
  // A listing of the source with nothing to copy.
  Outcome RunFTP(uint32_t flags, const std::string& listing) {
    ScriptedServer server({Join({Login(), List("/pub/", listing), Quit()})});
    const Outcome outcome = Run(flags, FTPURL(server), FileURL("dst"));
    server.Finish();
    return outcome;
  }
  static bool Has(const Outcome& outcome, const std::string& line) {
    return std::find(outcome.lines.begin(), outcome.lines.end(), line) != outcome.lines.end();
  }
};

// ---- tables ------------------------------------------------------------------------------------

TEST_F(SynchroTableTest, WritesAnEntryOnALine) {
  RunFTP(2, FileLine("a.txt", "1234"));
  EXPECT_EQ(Table("/"), "a.txt:0:True:False:1234:852454980.0:False:False:0:0.0\n");
}

TEST_F(SynchroTableTest, PadsTheFieldsToColumns) {
  Put("dst/b", "xyz");
  RunFTP(2 | 8, FileLine("a.txt", "1234") + FileLine("b", "7"));
  EXPECT_EQ(Table("/"),
            "a.txt:0:True:False:1234:852454980.0:False:False:0:0.0\n"
            "b    :0:True:False:7   :852454980.0:True :False:3:1000000000.0\n");
}

TEST_F(SynchroTableTest, ReadsWhatItHasWritten) {
  Put("dst/b", "xyz");
  RunFTP(2 | 8, FileLine("a.txt", "1234") + FileLine("b", "7"));
  const std::string before = Table("/");
  EXPECT_EQ(FileLines(RunFTP(2 | 8, FileLine("a.txt", "1234") + FileLine("b", "7"))),
            (Lines{"ftp = file:  a.txt  -> None", "ftp = file:  b  -> None"}));
  EXPECT_EQ(Table("/"), before);
}

TEST_F(SynchroTableTest, KeepsTheTablesOrder_AndPutsNewEntriesBehind) {
  Put("dst/new", "x");
  WriteTable(
      "z:0:True:False:5:852454980.0:False:False:0:0.0\n"
      "m:0:True:False:5:852454980.0:False:False:0:0.0\n");
  RunFTP(2 | 8, FileLine("first") + FileLine("m") + FileLine("z"));
  std::string names;
  const std::string table = Table("/");
  for (size_t at = 0; at < table.size(); at = table.find('\n', at) + 1)
    names += table.substr(at, table.find_first_of(" :", at) - at) + " ";
  EXPECT_EQ(names, "z m first new ");
}

TEST_F(SynchroTableTest, DropsAnEntryThatHasGoneFromBothSides) {
  WriteTable(
      "gone:0:True:False:5:1.0:True:False:5:1.0\n"
      "here:0:True:False:5:852454980.0:False:False:0:0.0\n");
  const Outcome outcome = RunFTP(2, FileLine("here"));
  EXPECT_EQ(FileLines(outcome), Lines{"ftp = file:  here  -> None"});
  EXPECT_EQ(Table("/"), "here:0:True:False:5:852454980.0:False:False:0:0.0\n");
}

TEST_F(SynchroTableTest, KeepsTheValuesOfASideThatHasLostTheFile) {
  WriteTable("a:0:True:False:5:852454980.0:True:False:7:77.0\n");
  ScriptedServer server(
      {Join({Login(), List("/pub/", FileLine("a", "5", "09:04")), ftp::Exchange("SIZE /pub/a", "213 5"),
             ftp::Passive(), ftp::Exchange("RETR /pub/a", "550 no"), Quit()})});
  Run(1 | 2, FTPURL(server), FileURL("dst"));
  server.Finish();
  EXPECT_EQ(Table("/"), "a:2:True:False:5:852455040.0:False:False:7:77.0\n");
}

TEST_F(SynchroTableTest, ClearsThePresenceOfOneSideAtATime) {
  // What the table says of the destination holds while the source is entered: both bits only for a file that
  // was alone there before.
  Put("dst/a", "1234567", 77);
  WriteTable("a:0:True:False:5:852454980.0:True:False:7:77.0\n");
  RunFTP(2 | 4, FileLine("a", "5", "09:04"));
  EXPECT_EQ(Table("/").substr(0, 3), "a:0");
  ForgetTables();
  WriteTable("a:0:True:False:5:852454980.0:False:False:7:77.0\n");
  ScriptedServer server({Join({Login(), List("/pub/", FileLine("a", "5", "09:04")),
                               synchro::Store("/pub/a", "7", "19970105090300"), Quit()})});
  const Outcome outcome = Run(2 | 4, FTPURL(server), FileURL("dst"));
  server.Finish();
  EXPECT_EQ(FileLines(outcome), Lines{"ftp < file:  a  -> None"});
}

TEST_F(SynchroTableTest, RemovesNamesThatNoEntryCanHave) {
  Put("dst/a", "x");
  WriteTable(
      ".:2:True:False:5:1.0:True:False:5:1.0\n"
      "..:2:True:False:5:1.0:True:False:5:1.0\n"
      "../dst/a:1:False:False:5:1.0:True:False:5:1.0\n"
      ":2:True:False:5:1.0:True:False:5:1.0\n");
  const Outcome outcome = RunLocal(9);
  EXPECT_EQ(FileLines(outcome), Lines{"file > file:  a DELETE -> None"});
  EXPECT_EQ(Tree("src"), "");
}

TEST_F(SynchroTableTest, FailsTheDirectory_WhenALineIsNoneOfATable) {
  const char* const lines[] = {
      "a:x:True:False:5:1.0:True:False:5:1.0",  "a:0:Maybe:False:5:1.0:True:False:5:1.0",
      "a:0:True:2:5:1.0:True:False:5:1.0",      "a:0:True:False::1.0:True:False:5:1.0",
      "a:0:True:False:5:1:True:False:5:1.0",    "a:0:True:False:5:1.x:True:False:5:1.0",
      "a:0:True:False:5:.0:True:False:5:1.0",   "a:0:True:False:5:1.0::False:5:1.0",
      "a:0:True:False:5:1.0:True:False:-5:1.0", "a:0:True:False:5:1.0:True:False:5:"};
  Put("dst/b", "b");
  for (const char* const line : lines) {
    const std::string table = "ok:0:True:False:5:1.0:True:False:5:1.0\n" + std::string(line) + "\n";
    WriteTable(table);
    const Outcome outcome = RunFTP(9, FileLine("a"));
    EXPECT_EQ(outcome.state, SynchroState_Finished);
    ASSERT_GE(outcome.lines.size(), 2u);
    EXPECT_EQ(outcome.lines[outcome.lines.size() - 2], "Updating tables...") << line;
    EXPECT_EQ(outcome.lines.back(), "* Update failed: Invalid");
    EXPECT_EQ(Table("/"), table) << "untouched";
  }
  EXPECT_EQ(Tree("dst"), "b=b");
}

TEST_F(SynchroTableTest, ReadsWhatTheSyntaxAllows) {
  Put("dst/a", "12345", 77);
  // Labels of one letter and of any case, blanks around fields, a line with another number of fields, a name
  // for the second time.
  WriteTable(
      " a : 0 :t: F :5: 852454980.0 :TRUE:n o: 5 :77.0\n"
      "two:fields\n"
      "\n");
  EXPECT_TRUE(Has(RunFTP(3, FileLine("a")), "* Update failed: Invalid")) << "n o is no label";
  WriteTable(
      " a : 0 :t: F :5: 852454980.0 :TRUE:false: 5 :77.0\n"
      "two:fields\n"
      "\n"
      "a:2:True:False:5:1.0:True:False:5:1.0\n");
  EXPECT_EQ(FileLines(RunFTP(3, FileLine("a"))), Lines{"ftp = file:  a  -> None"});
}

// ---- the index ---------------------------------------------------------------------------------

TEST_F(SynchroTableTest, NamesTheTableOfEachDirectoryInTheIndex) {
  Put("src/sub/deep/a", "a");
  RunLocal(kRecurse | 1);
  const std::string root = TableName("/");
  const std::string sub = TableName("sub");
  const std::string deep = TableName("sub/deep");
  EXPECT_TRUE(root.starts_with("syncentry")) << root;
  EXPECT_EQ(synchro::WithoutReturns(synchro::ReadAll(CachePath("t.sync"))),
            "/       :" + root + "\nsub     :" + sub + "\nsub/deep:" + deep + "\n");
  Lines names = {root, sub, deep, "t.sync"};
  std::sort(names.begin(), names.end());
  EXPECT_EQ(CacheNames(), names) << "and nothing else is left";
}

TEST_F(SynchroTableTest, WritesAnIndexOfOneLineWithoutPadding) {
  Put("src/a", "a");
  RunLocal(1);
  EXPECT_EQ(synchro::WithoutReturns(synchro::ReadAll(CachePath("t.sync"))), "/:" + TableName("/") + "\n");
}

TEST_F(SynchroTableTest, WritesNoTable_WhenThereIsNothingToRemember) {
  RunLocal(kRecurse | 1);
  EXPECT_EQ(CacheNames(), Lines{});
}

TEST_F(SynchroTableTest, TakesAMissingTableForAnEmptyOne) {
  synchro::WriteAll(CachePath("t.sync"), "/:syncentry1\n");
  Put("src/a", "a");
  EXPECT_EQ(RunLocal(1).counters, "0 0 0 1 0");
  EXPECT_EQ(TableName("/"), "syncentry1");
  EXPECT_NE(Table("/"), "");
}

TEST_F(SynchroTableTest, FollowsNoIndexOutOfTheCacheDirectory) {
  Put("outside", "a:0:True:False:5:1.0:True:False:5:1.0\n");
  Put("src/a", "a");
  const std::string names[] = {"../x", "a/b", "..", "a..b", "x\\y", root_.Name("outside"), "c:d", ".", "/x"};
  for (const std::string& name : names) {
    const std::string index = "/:" + name + "\n";
    synchro::WriteAll(CachePath("t.sync"), index);
    const ErrorCapture capture;
    const Outcome outcome = RunLocal(9);
    EXPECT_EQ(outcome.lines, (Lines{"Go!", "Pushed \"\""})) << name;
    EXPECT_EQ(capture.Lines(), Lines{"#### Error: Synchro: the table of \"\" cannot be read: Invalid\n"});
    EXPECT_EQ(outcome.state, SynchroState_Finished);
    EXPECT_EQ(synchro::ReadAll(CachePath("t.sync")), index);
    EXPECT_EQ(CacheNames(), Lines{"t.sync"});
  }
  EXPECT_EQ(Tree("dst"), "");
}

TEST_F(SynchroTableTest, FailsTheRun_WhenATableCannotBeSaved) {
  Put("src/a", "a");
  onLine_ = [&](const std::string& line) {
    if (line == "Synchronizing...") std::filesystem::create_directory(CachePath("t.sync"));
  };
  const Outcome outcome = RunLocal(1);
  EXPECT_EQ(outcome.lines[5], "Updating tables...");
  EXPECT_EQ(outcome.lines[6], "* Update failed: Fail");
  EXPECT_EQ(outcome.lines.size(), 7u);
  EXPECT_EQ(outcome.state, SynchroState_Failed);
  EXPECT_EQ(outcome.counters, "-1 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "") << "nothing is done that could not be remembered";
  EXPECT_EQ(CacheNames(), Lines{"t.sync"});
}

// ---- journals ----------------------------------------------------------------------------------

TEST_F(SynchroTableTest, ReplaysAJournal_AndDropsIt) {
  Put("src/a", "12345", 852454980);
  Put("dst/a", "12345", 77);
  Put("src/b", "1", 5);
  WriteTable(
      "a:2:True:False:5:852454980.0:False:False:0:0.0\n"
      "b:2:True:False:1:5.0:False:False:0:0.0\n");
  synchro::WriteAll(CachePath("syncentry1.done"), "a:0:True:False:5:852454980.0:True:False:5:77.0\n");
  const Outcome outcome = RunLocal(1);
  EXPECT_EQ(FileLines(outcome), (Lines{"file = file:  a  -> None", "file > file:  b  -> None"}));
  EXPECT_EQ(CacheNames(), (Lines{"syncentry1", "t.sync"}));
}

TEST_F(SynchroTableTest, PassesOverWhatAJournalDoesNotTellWhole) {
  Put("src/a", "12345", 852454980);
  WriteTable("a:2:True:False:5:852454980.0:False:False:0:0.0\n");
  const std::string done = "a:0:True:False:5:852454980.0:True:False:5:77.0";
  for (const std::string& journal : {done, done.substr(0, 30) + "\n", std::string("junk\n"), std::string(),
                                     "other" + done + "\n", std::string(5000, 'x') + "\n"}) {
    Remove("dst/a");
    WriteTable("a:2:True:False:5:852454980.0:False:False:0:0.0\n");
    synchro::WriteAll(CachePath("syncentry1.done"), journal);
    EXPECT_EQ(FileLines(RunLocal(1)), Lines{"file > file:  a  -> None"}) << journal.substr(0, 60);
    EXPECT_EQ(CacheNames(), (Lines{"syncentry1", "t.sync"}));
  }
}

TEST_F(SynchroTableTest, LeavesTheJournalOfADamagedTable) {
  WriteTable("a:x:True:False:5:1.0:True:False:5:1.0\n");
  synchro::WriteAll(CachePath("syncentry1.done"), "a:0:True:False:5:852454980.0:True:False:5:77.0\n");
  EXPECT_TRUE(Has(RunLocal(1), "* Update failed: Invalid"));
  EXPECT_EQ(CacheNames(), (Lines{"syncentry1", "syncentry1.done", "t.sync"}));
}

TEST_F(SynchroTableTest, NotesEachActionBeforeItIsTold) {
  Put("src/a", "12345", 852454980);
  std::string journal;
  onLine_ = [&](const std::string& line) {
    if (line.find("->") != std::string::npos) journal = synchro::ReadAll(CachePath(TableName("/") + ".done"));
  };
  RunLocal(1);
  EXPECT_TRUE(journal.starts_with("a:0:True:False:5:852454980.0:True:False:5:")) << journal;
  EXPECT_TRUE(journal.ends_with(".0\n"));
}

// ---- kills -------------------------------------------------------------------------------------

TEST_F(SynchroTableTest, ComesToTheSameEnd_WhereverTheRunWasKilled) {
  Put("src/new", "new");
  Put("src/changed", "1");
  Put("src/gone", "g");
  Put("src/sub/inner", "i");
  RunLocal(kRecurse | 11);
  Put("src/changed", "22", 1200000000);
  Put("src/newer", "n");
  Put("dst/other", "o", 1200000000);
  Remove("src/gone");
  Put("src/sub/inner", "changed", 1200000000);
  const std::vector<std::filesystem::path> folders = {CachePath(), root_.SystemName("src"),
                                                      root_.SystemName("dst")};
  const Moment start(root_.SystemName("start"), folders);
  std::vector<Moment> moments;
  onLine_ = [&](const std::string&) {
    moments.emplace_back(root_.SystemName("moment" + std::to_string(moments.size())), folders);
  };
  EXPECT_EQ(RunLocal(kRecurse | 11).counters, "0 0 0 3 2");
  onLine_ = nullptr;
  const std::string source = Tree("src");
  const std::string destination = Tree("dst");
  EXPECT_EQ(destination, "changed=22 new=new newer=n sub/ sub/inner=changed");
  ASSERT_GE(moments.size(), 15u);
  for (size_t i = 0; i < moments.size(); ++i) {
    SCOPED_TRACE(i);
    moments[i].Restore();
    EXPECT_EQ(RunLocal(kRecurse | 11).state, SynchroState_Finished);
    EXPECT_EQ(Tree("src"), source);
    EXPECT_EQ(Tree("dst"), destination);
    EXPECT_EQ(RunLocal(kRecurse | 11).counters, "0 0 0 0 0") << "nothing is done twice";
    for (const std::string& name : CacheNames()) EXPECT_FALSE(name.ends_with(".done")) << name;
  }
}

}  // namespace
