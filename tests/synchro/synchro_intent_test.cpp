// Runs after one that ended between the replacement of a file and the note that it was done.
#include <string>

#include "synchro/synchro_copy_internal.h"
#include "synchro/synchro_table_internal.h"
#include "tests/synchro/synchro_fixture.h"
#include "tests/synchro/synchro_ftp_fixture.h"

namespace {

using ftp::Join;
using ftp::Quit;
using synchro::FileLine;
using synchro::Lines;
using synchro::List;
using synchro::Login;
using synchro::Outcome;

constexpr uint32_t kTwoWay = 3;

class SynchroIntentTest : public synchro::Test {
 protected:
  // "a" was in step at second 5 with one byte, and has got a second one at the source, at second 9.
  void Begin(const std::string& intent) {
    ForgetTables();
    Remove("dst/a");
    Put("src/a", "22", 9);
    WriteTable("a:2:True:False:2:9.0:True:False:1:5.0\n");
    synchro::WriteAll(CachePath("syncentry1.done"), intent);
  }
  // The copy was to have two bytes and second 77.
  static std::string Intent(const std::string& rest = "2:77.0:Destination:False") {
    return "a:0:True:False:2:9.0:True:False:" + rest + "\n";
  }
  Outcome Guarded(uint32_t flags) { return RunLocalGuarded(flags); }
  // A folder is in the journal's place once the table is saved.
  Outcome RunWithoutJournal(uint32_t flags) {
    Synchro* const synchro = New(flags, FileURL("src"), FileURL("dst"));
    const auto block = [](Word value, const SynchroEntryInfo*) {
      std::filesystem::create_directory(
          reinterpret_cast<SynchroIntentTest*>(value)->CachePath("syncentry1.done"));
      return static_cast<int32_t>(SynchroAnswer_Proceed);
    };
    Synchro_SetEntryMethod(synchro, reinterpret_cast<Word>(this), block);
    const Outcome outcome = Go(synchro);
    Synchro_Delete(synchro);
    return outcome;
  }
  Lines JournalLines(const std::string& table = "syncentry1") const {
    return {synchro::ReadAll(CachePath(table + ".done"))};
  }
};

// ---- what stands there as it was intended ------------------------------------------------------

TEST_F(SynchroIntentTest, TakesItsOwnWorkForDone) {
  for (const uint32_t flags : {1u, 3u, 7u, 9u, 11u, 15u}) {
    Begin(Intent());
    Put("dst/a", "22", 77);
    EXPECT_EQ(FileLines(RunLocal(flags)), Lines{"file = file:  a  -> None"}) << flags;
    EXPECT_EQ(Table("/"), "a:0:True:False:2:9.0:True:False:2:77.0\n");
    EXPECT_EQ(CacheNames(), (Lines{"syncentry1", "t.sync"}));
    EXPECT_EQ(RunLocal(flags).counters, "0 0 0 0 0");
  }
}

TEST_F(SynchroIntentTest, TakesItsOwnWorkForDone_AtTheSource) {
  WriteTable("a:1:True:False:1:5.0:True:False:2:9.0\n");
  synchro::WriteAll(CachePath("syncentry1.done"), "a:0:True:False:2:77.0:True:False:2:9.0:Source:False\n");
  Put("src/a", "22", 77);
  Put("dst/a", "22", 9);
  EXPECT_EQ(FileLines(RunLocal(kTwoWay)), Lines{"file = file:  a  -> None"});
  EXPECT_EQ(Table("/"), "a:0:True:False:2:77.0:True:False:2:9.0\n");
}

TEST_F(SynchroIntentTest, SeesWhatHasChangedAtTheSourceSince) {
  Begin(Intent());
  Put("dst/a", "22", 77);
  Put("src/a", "333", 99);
  EXPECT_EQ(FileLines(RunLocal(kTwoWay)), Lines{"file > file:  a  -> None"}) << "no conflict";
  EXPECT_EQ(Tree("dst"), "a=333");
}

// ---- what does not -----------------------------------------------------------------------------

TEST_F(SynchroIntentTest, DoesItAgain_WhenTheTargetIsAsItWas) {
  for (const uint32_t flags : {1u, 3u, 7u}) {
    Begin(Intent());
    Put("dst/a", "1", 5);
    EXPECT_EQ(FileLines(RunLocal(flags)), Lines{"file > file:  a  -> None"}) << flags;
    EXPECT_EQ(Tree("dst"), "a=22");
  }
}

TEST_F(SynchroIntentTest, DoesItAgain_WhenTheTargetIsNotThere) {
  Begin(Intent());
  EXPECT_EQ(FileLines(RunLocal(kTwoWay)), Lines{"file > file:  a  -> None"});
  EXPECT_EQ(Tree("dst"), "a=22");
}

TEST_F(SynchroIntentTest, TakesSomethingElseForAnEdit) {
  Begin(Intent());
  Put("dst/a", "edit", 88);
  EXPECT_EQ(FileLines(RunLocal(kTwoWay)), Lines{"file ! file:  a  -> None"});
  EXPECT_EQ(Tree("dst"), "a=edit");
}

TEST_F(SynchroIntentTest, PassesOverALineThatIsNoIntent) {
  for (const char* const rest : {"2:77.0:Nowhere:False", "2:77.0:Destination:maybe", "2:77.0:Destination",
                                 "x:77.0:Destination:False", "2:77.0:Destination:False:more"}) {
    Begin(Intent(rest));
    Put("dst/a", "22", 77);
    EXPECT_EQ(FileLines(RunLocal(kTwoWay)), Lines{"file ! file:  a  -> None"}) << rest;
  }
}

TEST_F(SynchroIntentTest, HasItForDone_WhenTheJournalSaysSoLater) {
  Begin(Intent() + "a:0:True:False:2:9.0:True:False:2:78.0\n");
  Put("dst/a", "22", 78);
  EXPECT_EQ(FileLines(RunLocal(kTwoWay)), Lines{"file = file:  a  -> None"});
  Begin(Intent() + "a:0:True:False:2:9.0:True:False:2:78.0\n");
  Put("dst/a", "edit", 88);
  EXPECT_EQ(FileLines(RunLocal(kTwoWay)), Lines{"file < file:  a  -> None"});
}

// ---- files that are written as their bytes come ------------------------------------------------

TEST_F(SynchroIntentTest, TakesAHalfFileForNoEdit_InPlace) {
  for (const uint32_t flags : {1u, 3u, 7u, 15u}) {
    Begin(Intent("2:4294967295.4294967295:Destination:True"));
    Put("dst/a", "h", 88);
    EXPECT_EQ(FileLines(RunLocal(flags)), Lines{"file > file:  a  -> None"}) << flags;
    EXPECT_EQ(Tree("src"), "a=22");
    EXPECT_EQ(Tree("dst"), "a=22");
    EXPECT_EQ(RunLocal(flags).counters, "0 0 0 0 0");
  }
}

TEST_F(SynchroIntentTest, TellsAWholeFileByItsSize_WhenTheTimeWasNotKnown) {
  for (const char* const inPlace : {"True", "False"}) {
    Begin(Intent("2:4294967295.4294967295:Destination:" + std::string(inPlace)));
    Put("dst/a", "22", 88);
    EXPECT_EQ(FileLines(RunLocal(7)), Lines{"file = file:  a  -> None"}) << inPlace;
    EXPECT_EQ(Table("/"), "a:0:True:False:2:9.0:True:False:2:88.0\n");
  }
}

TEST_F(SynchroIntentTest, LeavesItOpen_WhileTheListingDoesNotTellEnough) {
  Remove("src/a");
  Put("src/a", "22", 9);
  WriteTable("a:1:True:False:1:5.0:True:False:2:9.0\n");
  const std::string intent = "a:0:True:False:2:852454980.0:True:False:2:9.0:Source:False\n";
  synchro::WriteAll(CachePath("syncentry1.done"), intent);
  Put("dst/a", "22", 9);
  const std::string undated = "-rw-r--r--   1 owner group 2 Jan  5 1997 a\r\n";
  for (int run = 0; run < 2; ++run) {
    ScriptedServer server({Join({Login(), List("/pub/", undated), Quit()})});
    EXPECT_EQ(FileLines(Run(kTwoWay, FTPURL(server), FileURL("dst"))), Lines{"ftp = file:  a  -> Invalid"});
    server.Finish();
    EXPECT_EQ(JournalLines(), Lines{intent}) << run;
    EXPECT_EQ(Table("/"), "a:1:True:False:1:5.0:True:False:2:9.0\n");
  }
  ScriptedServer server({Join({Login(), List("/pub/", FileLine("a", "2")), Quit()})});
  EXPECT_EQ(FileLines(Run(kTwoWay, FTPURL(server), FileURL("dst"))), Lines{"ftp = file:  a  -> None"});
  server.Finish();
  EXPECT_EQ(CacheNames(), (Lines{"syncentry1", "t.sync"}));
}

// ---- guarded runs ------------------------------------------------------------------------------

TEST_F(SynchroIntentTest, IsInStepWithItsOwnWork_Guarded) {
  Begin(Intent());
  Put("dst/a", "22", 77);
  Remove("src/a");
  Put("src/z", "z");
  EXPECT_EQ(FileLines(Guarded(9)), (Lines{"file > file:  a DELETE -> None", "file > file:  z  -> None"}));
}

TEST_F(SynchroIntentTest, DoesItAgain_Guarded) {
  Begin(Intent());
  WriteTable("a:0:True:False:1:4.0:True:False:1:5.0\n");
  Put("dst/a", "1", 5);
  EXPECT_EQ(FileLines(Guarded(kTwoWay)), Lines{"file > file:  a  -> None"});
  EXPECT_EQ(Tree("dst"), "a=22");
}

TEST_F(SynchroIntentTest, TakesSomethingElseForAnEdit_Guarded) {
  for (const bool isKnown : {false, true}) {
    Begin(Intent());
    WriteTable(isKnown ? "a:0:True:False:1:4.0:True:False:1:5.0\n" : "");
    Put("dst/a", "edit", 88);
    EXPECT_EQ(FileLines(Guarded(kTwoWay)), Lines{"file ! file:  a  -> None"}) << isKnown;
    EXPECT_EQ(Tree("dst"), "a=edit");
  }
}

TEST_F(SynchroIntentTest, KnowsANewFileFromTheJournalAlone_Guarded) {
  Begin(Intent() + "b:0:True:False:1:9.0:True:False:1:77.0\n");
  WriteTable("");
  Put("dst/a", "22", 77);
  Put("src/b", "1", 9);
  Put("dst/b", "edit", 88);
  EXPECT_EQ(FileLines(Guarded(kTwoWay)), (Lines{"file < file:  b  -> None", "file = file:  a  -> None"}));
}

TEST_F(SynchroIntentTest, TellsAWholeFileByItsSize_Guarded) {
  Begin(Intent("2:4294967295.4294967295:Destination:False"));
  WriteTable("a:0:True:False:1:4.0:True:False:1:5.0\n");
  Put("dst/a", "xx", 88);
  EXPECT_EQ(FileLines(Guarded(kTwoWay)), Lines{"file = file:  a  -> None"});
  EXPECT_EQ(Table("/"), "a:0:True:False:2:9.0:True:False:2:88.0\n");
}

TEST_F(SynchroIntentTest, DoesAHalfFileAgain_Guarded) {
  Begin(Intent("2:4294967295.4294967295:Destination:True"));
  WriteTable("a:0:True:False:1:4.0:True:False:1:5.0\n");
  Put("dst/a", "h", 88);
  EXPECT_EQ(FileLines(Guarded(kTwoWay)), Lines{"file > file:  a  -> None"});
  EXPECT_EQ(Tree("dst"), "a=22");
}

TEST_F(SynchroIntentTest, LeavesItOpen_WhileAFolderIsNotTrusted_Guarded) {
  Begin(Intent());
  Put("src/sub/a", "22", 9);
  root_.MakeDirectory("dst/sub");
  synchro::WriteAll(CachePath("t.sync"), "sub:syncentry1\n");
  EXPECT_EQ(Guarded(SynchroFlag_Recurse | 7).counters, "0 0 0 1 0") << "the neighbour of the folder";
  EXPECT_EQ(JournalLines(), Lines{Intent()});
  EXPECT_EQ(Tree("dst"), "a=22 sub/");
}

TEST_F(SynchroIntentTest, ChangesNothing_WhenItOnlyPlans) {
  Begin(Intent());
  Put("dst/a", "22", 77);
  Synchro* const synchro = New(kTwoWay, FileURL("src"), FileURL("dst"));
  Synchro_SetPlanOnly(synchro, 1);
  EXPECT_EQ(FileLines(Go(synchro)), Lines{"file = file:  a  -> None"});
  Synchro_Delete(synchro);
  EXPECT_EQ(JournalLines(), Lines{Intent()});
  EXPECT_EQ(Table("/"), "a:2:True:False:2:9.0:True:False:1:5.0\n");
}

TEST_F(SynchroIntentTest, StaysAsItIs_WhenAListingFails) {
  Begin(Intent());
  Remove("dst");
  Put("dst", "no folder");
  EXPECT_EQ(RunLocal(kTwoWay).lines.back(), "* Retrieval failed: Exists");
  EXPECT_EQ(JournalLines(), Lines{Intent()});
  EXPECT_EQ(Table("/"), "a:2:True:False:2:9.0:True:False:1:5.0\n");
}

// ---- writing -----------------------------------------------------------------------------------

TEST_F(SynchroIntentTest, IsNotedBeforeTheFileIsReplaced) {
  Put("src/a", "12345", 852454980);
  std::string journal;
  onLine_ = [&](const std::string& line) {
    if (line.find("->") != std::string::npos) journal = synchro::ReadAll(CachePath(TableName("/") + ".done"));
  };
  RunLocal(1);
  const size_t second = journal.find('\n') + 1;
  const std::string done = journal.substr(second);
  EXPECT_TRUE(done.starts_with("a:0:True:False:5:852454980.0:True:False:5:")) << journal;
  EXPECT_EQ(journal.substr(0, second), done.substr(0, done.size() - 1) + ":Destination:False\n");
}

TEST_F(SynchroIntentTest, ReplacesNothing_WhenTheJournalCannotBeWritten) {
  Put("src/a", "new", 1200000000);
  Put("dst/a", "old");
  WriteTable("a:2:True:False:3:1.0:True:False:3:1000000000.0\n");
  const Outcome outcome = RunWithoutJournal(1);
  EXPECT_EQ(outcome.counters.substr(outcome.counters.find(' ')), " 0 0 0 0");
  ASSERT_EQ(FileLines(outcome).size(), 1u);
  EXPECT_FALSE(FileLines(outcome)[0].ends_with("None")) << FileLines(outcome)[0];
  EXPECT_EQ(Tree("dst"), "a=old");
}

TEST_F(SynchroIntentTest, TellsThatADeletionCannotBeNoted) {
  Put("dst/a", "old");
  WriteTable("a:2:False:False:3:1.0:True:False:3:1000000000.0\n");
  const Outcome outcome = RunWithoutJournal(9);
  EXPECT_EQ(outcome.counters.substr(outcome.counters.find(' ')), " 0 0 0 1");
  EXPECT_EQ(outcome.lines[outcome.lines.size() - 3].substr(0, 17), "* Update failed: ");
  EXPECT_EQ(outcome.lines.back(), "Exiting \"\"") << "the table is saved";
  EXPECT_EQ(CacheNames(), (Lines{"syncentry1", "t.sync"}));
}

TEST_F(SynchroIntentTest, BeginsANewLine_BehindOneThatWasCut) {
  const std::string table = cache_ + "/syncentry1";
  synchro::WriteAll(CachePath("syncentry1.done"), "a:0:Tr");
  SynchroJournal journal;
  ASSERT_EQ(iSynchro_OpenJournal(table.c_str(), &journal), Error_None);
  char name[] = "b";
  SynchroEntry entry = {};
  entry.name = name;
  for (int i = 0; i < 2; ++i) EXPECT_EQ(iSynchro_AppendJournal(&journal, entry, nullptr), Error_None);
  iSynchro_CloseJournal(&journal);
  const std::string line = "b:0:False:False:0:0.0:False:False:0:0.0\n";
  EXPECT_EQ(JournalLines(), Lines{"a:0:Tr\n" + line + line});
}

TEST_F(SynchroIntentTest, KeepsOnlyWhatIsOpen_WhenTheTableIsSaved) {
  const std::string table = cache_ + "/syncentry1";
  synchro::WriteAll(CachePath("syncentry1.done"), "old\n");
  char names[][4] = {"one", "two", "six"};
  SynchroIntents intents;
  for (char* const name : names) {
    SynchroEntry after = {};
    after.name = name;
    after.state = 2;
    after.sides[SynchroEnd_Source] = {1, 0, 7, {9, 0}};
    ASSERT_EQ(intents.Keep(after, nullptr, {SynchroEnd_Destination, {1, 0, 7, kSynchroUnknownTime}, true}),
              Error_None);
  }
  intents.Close("two");
  ASSERT_EQ(iSynchro_HoldSyntaxes(), Error_None);
  EXPECT_EQ(iSynchro_RenewJournal(table.c_str(), &intents), Error_None);
  iSynchro_ReleaseSyntaxes();
  const std::string rest = ":0:True:False:7:9.0:True:False:7:4294967295.4294967295:Destination:True\n";
  EXPECT_EQ(JournalLines(), Lines{"one" + rest + "six" + rest});
  EXPECT_EQ(CacheNames(), Lines{"syncentry1.done"});
}

// What a copy does with the note, the file system alone beside it.
TEST_F(SynchroIntentTest, KeepsTheOldFile_WhenTheNoteFails) {
  Put("src/a", "new");
  Put("dst/a", "old");
  std::string urls[] = {FileURL("src"), FileURL("dst")};
  SynchroConnection sides[2] = {};
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(URL_ToData(urls[i].data(), &sides[i].url), Error_None);
    ASSERT_EQ(iSynchro_OpenSide(&sides[i]), Error_None);
  }
  const std::string from = root_.Name("src/a");
  const std::string to = root_.Name("dst/a");
  SynchroTemporary temporary = {};
  iSynchro_BeginTemporaries(nullptr, "t", true, &temporary);
  SynchroSide noted = {};
  const SynchroCopyNote note = {[](void* context, const SynchroSide& expected, bool isInPlace) {
                                  *static_cast<SynchroSide*>(context) = expected;
                                  return static_cast<ErrorCode>(isInPlace ? Error_None : Error_Exceed);
                                },
                                &noted};
  SynchroSide made = {};
  EXPECT_EQ(
      iSynchro_CopyFile({&sides[0], &sides[1], from.c_str(), to.c_str(), &temporary, false, &note}, &made),
      Error_Exceed);
  EXPECT_EQ(noted.size, 3u);
  EXPECT_EQ(Tree("dst"), "a=old");
  iSynchro_EndTemporaries(&temporary);
}

}  // namespace
