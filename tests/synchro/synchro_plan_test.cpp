// What a run tells of each entry and is told to leave, and plans, which change nothing.
#include <map>
#include <string>

#include "tests/synchro/synchro_fixture.h"
#include "tests/synchro/synchro_ftp_fixture.h"

namespace {

using ftp::Join;
using synchro::FileLine;
using synchro::FolderLine;
using synchro::kRecurse;
using synchro::Lines;
using synchro::Login;
using synchro::Outcome;

// "present directory size seconds"
std::string Text(const SynchroValues& values) {
  return std::to_string(values.isPresent) + std::to_string(values.isDirectory) + " " +
         std::to_string(values.size) + " " + std::to_string(values.time.seconds);
}

class SynchroEntryMethodTest : public synchro::Test {
 protected:
  using Cache = std::map<std::string, std::string>;

  // A run, each of whose entries is told to `entries_` and answered as `answers_` says.
  Outcome RunAsked(uint32_t flags, const std::string& source, const std::string& destination, bool isPlan) {
    entries_.clear();
    Synchro* const synchro = New(flags, source, destination);
    if (synchro == nullptr) return {};
    EXPECT_EQ(Synchro_SetEntryMethod(synchro, reinterpret_cast<Word>(this), Take), synchro);
    EXPECT_EQ(Synchro_SetPlanOnly(synchro, isPlan ? 1 : 0), synchro);
    synchro_ = synchro;
    Outcome outcome = Go(synchro);
    Synchro_Delete(synchro);
    outcome.lines = AllLines();
    return outcome;
  }
  Outcome RunAsked(uint32_t flags) { return RunAsked(flags, FileURL("src"), FileURL("dst"), false); }
  Outcome Plan(uint32_t flags) { return RunAsked(flags, FileURL("src"), FileURL("dst"), true); }

  Cache CacheFiles() const {
    Cache files;
    for (const std::string& name : CacheNames()) files[name] = synchro::ReadAll(CachePath(name));
    return files;
  }

  Lines entries_;  // "directory/name decision reason known | now | now | before | before"
  std::map<std::string, int32_t> answers_;
  std::string stopAt_;

 private:
  static int32_t Take(Word value, const SynchroEntryInfo* entry) {
    auto* const test = reinterpret_cast<SynchroEntryMethodTest*>(value);
    const std::string path = std::string(entry->directory) + "/" + entry->name;
    test->entries_.push_back(path + " " + std::to_string(entry->decision) + " " +
                             std::to_string(entry->reason) + " " + std::to_string(entry->isKnown) + " | " +
                             Text(entry->now[0]) + " | " + Text(entry->now[1]) + " | " +
                             Text(entry->before[0]) + " | " + Text(entry->before[1]));
    if (path == test->stopAt_) Synchro_Stop(test->synchro_);
    const auto answer = test->answers_.find(path);
    return answer != test->answers_.end() ? answer->second : SynchroAnswer_Proceed;
  }

  Synchro* synchro_ = nullptr;
};

using SynchroPlanTest = SynchroEntryMethodTest;

// ---- what is told ------------------------------------------------------------------------------

TEST_F(SynchroEntryMethodTest, IsToldBothSidesValuesNowAndBefore) {
  WriteTable(
      "back:0:True:False:5:1000000000.0:True:False:5:1000000000.0\n"
      "both:0:True:False:5:900000000.0:True:False:6:900000000.0\n"
      "changed:0:True:False:3:900000000.0:True:False:4:900000000.0\n"
      "gone:0:True:False:7:900000000.0:True:False:4:1000000000.0\n"
      "same:0:True:False:4:1000000000.0:True:False:4:1000000000.0\n");
  Put("src/back", "12345");
  Put("src/both", "1");
  Put("src/changed", "12");
  Put("src/same", "1234");
  Put("src/zero", "");
  Put("dst/both", "12");
  Put("dst/changed", "1234", 900000000);
  Put("dst/gone", "1234");
  Put("dst/same", "1234");
  Outcome outcome = RunAsked(3);
  EXPECT_EQ(outcome.counters, "0 1 0 3 0");
  EXPECT_EQ(entries_,
            (Lines{"/back 2 1 1 | 10 5 1000000000 | 00 5 1000000000 | 10 5 1000000000 | 10 5 1000000000",
                   "/both 0 4 1 | 10 1 1000000000 | 10 2 1000000000 | 10 5 900000000 | 10 6 900000000",
                   "/changed 2 2 1 | 10 2 1000000000 | 10 4 900000000 | 10 3 900000000 | 10 4 900000000",
                   "/gone 1 1 1 | 00 7 900000000 | 10 4 1000000000 | 10 7 900000000 | 10 4 1000000000",
                   "/same 0 0 1 | 10 4 1000000000 | 10 4 1000000000 | 10 4 1000000000 | 10 4 1000000000",
                   "/zero 2 1 0 | 10 0 1000000000 | 00 0 0 | 00 0 0 | 00 0 0"}));
}

TEST_F(SynchroEntryMethodTest, IsToldOfDeletionsOnBothSides) {
  Put("src/old", "1");
  Put("dst/extra", "12");
  RunAsked(2 | 4 | 8);
  EXPECT_EQ(entries_, (Lines{"/old 3 3 0 | 10 1 1000000000 | 00 0 0 | 00 0 0 | 00 0 0",
                             "/extra 4 3 0 | 00 0 0 | 10 2 1000000000 | 00 0 0 | 00 0 0"}));
  Put("dst/more", "123");
  RunAsked(1 | 8);
  EXPECT_EQ(entries_.back(), "/more 4 3 0 | 00 0 0 | 10 3 1000000000 | 00 0 0 | 00 0 0");
}

TEST_F(SynchroEntryMethodTest, IsToldOfFolders_BeforeWhatIsInThem) {
  Put("src/sub/a", "1");
  const Lines expected = {"/sub 5 6 0", "sub/a 2 1 0"};
  RunAsked(kRecurse | 1);
  ASSERT_EQ(entries_.size(), 2u);
  for (size_t i = 0; i < 2; ++i) EXPECT_EQ(entries_[i].substr(0, entries_[i].find(" |")), expected[i]);
  RunAsked(1);
  ASSERT_EQ(entries_.size(), 1u) << "without the flag for subdirectories";
  EXPECT_EQ(entries_[0].substr(0, entries_[0].find(" |")), "/sub 0 6 1");
}

TEST_F(SynchroEntryMethodTest, IsToldOfAFileWithoutATimeOfDay) {
  WriteTable("a:0:True:False:5:100.0:True:False:6:1000000000.0\n");
  Put("dst/a", "123456");
  ScriptedServer server(
      {Join({Login(), synchro::List("/pub/", "-rw-r--r-- 1 o g 5 Jan  5 1996 a\r\n"), ftp::Quit()})});
  RunAsked(1, FTPURL(server), FileURL("dst"), false);
  server.Finish();
  EXPECT_EQ(entries_, (Lines{"/a 0 5 1 | 10 5 100 | 10 6 1000000000 | 10 5 100 | 10 6 1000000000"}));
}

// ---- what is answered --------------------------------------------------------------------------

TEST_F(SynchroEntryMethodTest, LeavesAFile_AndDecidesAgainInTheNextRun) {
  WriteTable("gone:0:True:False:7:900000000.0:True:False:1:1000000000.0\n");
  Put("dst/gone", "1");
  Put("src/a", "1");
  Put("src/b", "2");
  answers_ = {{"/a", SynchroAnswer_Leave}, {"/b", 77}, {"/gone", SynchroAnswer_Leave}};
  const Outcome left = RunAsked(1 | 8);
  EXPECT_EQ(left.state, SynchroState_Finished);
  EXPECT_EQ(left.counters, "0 0 0 0 0");
  EXPECT_EQ(FileLines(left),
            (Lines{"file = file:  a  -> None", "file = file:  b  -> None", "file = file:  gone  -> None"}));
  EXPECT_EQ(Tree("dst"), "gone=1");
  answers_.clear();
  EXPECT_EQ(RunAsked(1 | 8).counters, "0 0 0 2 1");
  EXPECT_EQ(Tree("dst"), "a=1 b=2");
}

TEST_F(SynchroEntryMethodTest, LeavesAChangedFile_AndDecidesAgainInTheNextRun) {
  Put("src/a", "1");
  RunAsked(1);
  Put("src/a", "22", 1100000000);
  answers_ = {{"/a", SynchroAnswer_Leave}};
  RunAsked(1);
  EXPECT_EQ(Tree("dst"), "a=1");
  answers_.clear();
  RunAsked(1);
  EXPECT_EQ(Tree("dst"), "a=22");
}

TEST_F(SynchroEntryMethodTest, EntersNoFolderThatIsLeft) {
  Put("src/sub/a", "1");
  Put("src/z", "1");
  answers_ = {{"/sub", SynchroAnswer_Leave}};
  const Outcome outcome = RunAsked(kRecurse | 1);
  EXPECT_EQ(Tree("dst"), "z=1");
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
  for (const std::string& line : outcome.lines) EXPECT_EQ(line.find("sub"), std::string::npos) << line;
}

TEST_F(SynchroEntryMethodTest, DoesNothingToTheEntryThatARunIsStoppedAt) {
  Put("dst/a", "1");
  stopAt_ = "/a";
  const Outcome outcome = RunAsked(1 | 8);
  EXPECT_EQ(outcome.state, SynchroState_StopRequested);
  EXPECT_EQ(outcome.counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "a=1");
}

TEST_F(SynchroEntryMethodTest, NeedsASynchroniser) {
  EXPECT_EQ(Synchro_SetEntryMethod(nullptr, 0, nullptr), nullptr);
  EXPECT_EQ(Synchro_SetPlanOnly(nullptr, 1), nullptr);
}

// ---- plans -------------------------------------------------------------------------------------

TEST_F(SynchroPlanTest, TellsWhatARunWouldDo_AndChangesNothing) {
  Put("src/both", "1");
  Put("dst/both", "1");
  RunLocal(kRecurse | 1 | 8);
  Put("src/both", "22", 1100000000);
  Put("src/new/deep/a", "1");
  Put("dst/extra", "1");
  const Cache cache = CacheFiles();
  const std::string source = Tree("src");
  const Outcome plan = Plan(kRecurse | 1 | 8);
  EXPECT_EQ(plan.state, SynchroState_Finished);
  EXPECT_EQ(plan.counters, "0 0 0 2 1");
  EXPECT_EQ(FileLines(plan), (Lines{"file > file:  both  -> None", "file > file:  extra DELETE -> None",
                                    "file > file: new/deep a  -> None"}));
  EXPECT_EQ(Tree("src"), source);
  EXPECT_EQ(Tree("dst"), "both=1 extra=1");
  EXPECT_EQ(CacheFiles(), cache);
  const Lines planned = entries_;
  EXPECT_EQ(planned.size(), 5u);
  const Outcome run = RunAsked(kRecurse | 1 | 8);
  EXPECT_EQ(run.counters, "0 0 0 2 1");
  EXPECT_EQ(entries_, planned) << "a run is told the same";
  EXPECT_EQ(Tree("dst"), "both=22 new/ new/deep/ new/deep/a=1");
}

TEST_F(SynchroPlanTest, WritesNoFileIntoTheCacheDirectory_WhileItLists) {
  Put("src/a", "1");
  onLine_ = [this](const std::string&) { EXPECT_EQ(CacheNames(), Lines{}); };
  EXPECT_EQ(Plan(1).counters, "0 0 0 1 0");
}

TEST_F(SynchroPlanTest, MakesNoRoot) {
  Put("src/a", "1");
  Remove("dst");
  EXPECT_EQ(Plan(1).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "missing");
}

TEST_F(SynchroPlanTest, MakesNoFolderOnAServer) {
  Put("src/sub/a", "1");
  ScriptedServer server(
      {Join({Login(), synchro::List("/pub/", ""), ftp::Exchange("CWD /pub/sub", "550 no"), ftp::Quit()})});
  const Outcome plan = RunAsked(kRecurse | 1, FileURL("src"), FTPURL(server), true);
  server.Finish();
  EXPECT_EQ(plan.counters, "0 0 0 1 0");
  EXPECT_EQ(FileLines(plan), (Lines{"file > ftp: sub a  -> None"}));
}

TEST_F(SynchroPlanTest, FailsAFolderThatIsShownAndRefused) {
  Put("src/sub/a", "1");
  ScriptedServer server({Join({Login(), synchro::List("/pub/", FolderLine("sub")),
                               ftp::Exchange("CWD /pub/sub", "550 no"), ftp::Quit()})});
  const Outcome plan = RunAsked(kRecurse | 1, FileURL("src"), FTPURL(server), true);
  server.Finish();
  EXPECT_EQ(plan.counters, "0 0 0 0 0");
  EXPECT_EQ(plan.lines.back(), "Exiting \"\"");
  EXPECT_EQ(std::count(plan.lines.begin(), plan.lines.end(), "* Retrieval failed: No Access"), 1);
}

TEST_F(SynchroPlanTest, ReplaysAJournalInMemoryOnly) {
  Put("src/a", "1234");
  Put("dst/a", "1234");
  WriteTable("a:2:True:False:4:1000000000.0:False:False:0:0.0\n");
  synchro::WriteAll(CachePath("syncentry1.done"),
                    "a:0:True:False:4:1000000000.0:True:False:4:1000000000.0\n");
  const Cache cache = CacheFiles();
  EXPECT_EQ(Plan(1).counters, "0 0 0 0 0") << "the copy was done";
  EXPECT_EQ(CacheFiles(), cache);
}

TEST_F(SynchroPlanTest, LeavesWhatAKilledRunLeft_AndDoesNotTakeItForAFile) {
  Put("dst/xfer7", "half");
  synchro::WriteAll(CachePath("t.xfer"), root_.Name("dst/xfer7") + "\n");
  const Cache cache = CacheFiles();
  EXPECT_EQ(Plan(2).counters, "0 0 0 0 0");
  EXPECT_EQ(entries_, Lines{});
  EXPECT_EQ(Tree("dst"), "xfer7=half");
  EXPECT_EQ(CacheFiles(), cache);
  RunAsked(2);
  EXPECT_EQ(Tree("dst"), "") << "a run removes it";
}

TEST_F(SynchroPlanTest, ForeseesThatAFolderStandsInTheWay) {
  WriteTable("a:2:True:False:4:1000000000.0:True:True:1:1000000000.0\n");
  Put("src/a", "1234");
  Put("dst/a/x", "1");
  root_.MakeDirectory("dst/b");
  const Lines expected = {"file > file:  a  -> Exists", "file > file:  b DELETE -> Invalid"};
  for (const bool isPlan : {true, false}) {
    const Outcome outcome = RunAsked(1 | 8, FileURL("src"), FileURL("dst"), isPlan);
    EXPECT_EQ(FileLines(outcome), expected) << isPlan;
    EXPECT_EQ(outcome.counters, "0 0 0 0 0") << isPlan;
  }
}

TEST_F(SynchroPlanTest, IsFollowedByARunOfTheSameSynchroniser) {
  Put("src/a", "1");
  Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
  ASSERT_NE(synchro, nullptr);
  Synchro_SetPlanOnly(synchro, 1);
  EXPECT_EQ(Go(synchro).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "");
  Synchro_SetPlanOnly(synchro, 0);
  EXPECT_EQ(Go(synchro).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=1");
  Synchro_Delete(synchro);
}

}  // namespace
