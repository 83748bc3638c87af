// Runs at their edges: no thread, no memory, stops between steps, tables and indexes that are odd.
#include <atomic>
#include <string>

#include "os/core/memory_testing.h"
#include "tests/support/error_capture.h"
#include "tests/synchro/synchro_fixture.h"
#include "tests/synchro/synchro_ftp_fixture.h"

namespace {

using ftp::Exchange;
using ftp::Join;
using ftp::Quit;
using synchro::FileLine;
using synchro::kRecurse;
using synchro::Lines;
using synchro::List;
using synchro::Login;
using synchro::Outcome;

class SynchroEdgesTest : public synchro::Test {
 protected:
  void TearDown() override {
    iMemory_FailAllocation(0);
    synchro::Test::TearDown();
  }
  static bool HasLine(const Outcome& outcome, const std::string& beginning) {
    return std::any_of(outcome.lines.begin(), outcome.lines.end(),
                       [&](const std::string& line) { return line.starts_with(beginning); });
  }
  Outcome RunToStopAt(const std::string& beginning) {
    Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
    onLine_ = [&](const std::string& line) {
      if (line.starts_with(beginning)) Synchro_Stop(synchro);
    };
    Go(synchro);
    Synchro_Delete(synchro);
    onLine_ = nullptr;
    Outcome outcome;
    outcome.lines = AllLines();
    return outcome;
  }
};

// ---- starting ----------------------------------------------------------------------------------

TEST_F(SynchroEdgesTest, FailsWithoutAThread_AndMayBeStartedAgain) {
  Put("src/a", "a");
  Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
  iMemory_FailAllocation(1);
  const Outcome failed = Go(synchro);
  iMemory_FailAllocation(0);
  EXPECT_EQ(failed.go, Error_Memory);
  EXPECT_EQ(failed.state, SynchroState_Failed);
  EXPECT_EQ(failed.counters, "1 0 0 0 0");
  EXPECT_EQ(failed.lines, (Lines{"Go!", "Go failed."}));
  EXPECT_EQ(Go(synchro).counters, "0 0 0 1 0");
  Synchro_Delete(synchro);
}

TEST_F(SynchroEdgesTest, TakesNoNameThatLeadsElsewhere) {
  for (const char* const name : {"../x", "a/b", "a\\b", "", ".", ".."}) {
    Synchro* synchro = nullptr;
    EXPECT_EQ(Synchro_New(name, 1, "file:///a", "file:///b", &synchro), Error_Invalid) << name;
    EXPECT_EQ(synchro, nullptr);
  }
}

TEST_F(SynchroEdgesTest, WaitsForMemoryForADirectory) {
  std::string deep = "src";
  for (int i = 0; i < 40; ++i) deep += "/d";
  Put(deep + "/a", "a");
  Synchro* const synchro = New(kRecurse | 1, FileURL("src"), FileURL("dst"));
  const auto fail = [](Word, const SynchroEntryInfo* entry) {
    if (entry->decision == SynchroDecision_Enter) iMemory_FailAllocationsFrom(1);
    return static_cast<int32_t>(SynchroAnswer_Proceed);
  };
  Synchro_SetEntryMethod(synchro, 0, fail);
  onLine_ = [](const std::string& line) {
    if (line.starts_with("Pushed")) iMemory_FailAllocation(0);
  };
  ASSERT_EQ(Synchro_Go(synchro), Error_None);
  bool hasWaited = false;
  bool wentOn = false;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!root_.Exists("dst" + deep.substr(3) + "/a") && std::chrono::steady_clock::now() < end) {
    uint32_t counters[SynchroCounter_Count];
    const int32_t state = Synchro_Status(synchro, counters);
    if (state == SynchroState_Failed) {
      EXPECT_EQ(counters[SynchroCounter_Error], static_cast<uint32_t>(Error_Memory));
      hasWaited = true;
      iMemory_FailAllocation(0);
    }
    if (hasWaited && state == SynchroState_Running) wentOn = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(hasWaited);
  EXPECT_TRUE(wentOn);
  EXPECT_TRUE(root_.Exists("dst" + deep.substr(3) + "/a"));
  Synchro_Delete(synchro);
}

TEST_F(SynchroEdgesTest, FailsWithTheStatusOfTheDestination) {
  const std::string url = "ftp://127.0.0.1:" + std::to_string(loopback::UnusedPort()) + "/x";
  const Outcome outcome = Run(1, FileURL("src"), url);
  EXPECT_EQ(outcome.state, SynchroState_Failed);
  EXPECT_EQ(outcome.counters, "-5 0 0 0 0");
  EXPECT_EQ(outcome.lines, (Lines{"Go!", "Pushed \"\""}));
}

TEST_F(SynchroEdgesTest, SendsItsOwnPassword_ForAUserWithoutOne) {
  using namespace script;
  const Script login = {SendLine("220 ready"), ExpectLine("USER bob"), SendLine("331 who?"),
                        ExpectLine("PASS anonymous@"), SendLine("530 no")};
  ScriptedServer server({Join({login, Quit()})});
  const Outcome outcome = Run(1, "ftp://bob@" + server.address() + "/pub", FileURL("dst"));
  server.Finish();
  EXPECT_EQ(outcome.state, SynchroState_Failed);
}

// ---- stopping ----------------------------------------------------------------------------------

TEST_F(SynchroEdgesTest, ListsNoSecondSide_WhenItIsStoppedBefore) {
  Put("src/a", "a");
  const Outcome outcome = RunToStopAt("Retrieving source");
  EXPECT_TRUE(HasLine(outcome, "Retrieving source"));
  EXPECT_FALSE(HasLine(outcome, "Retrieving destination"));
  EXPECT_FALSE(HasLine(outcome, "Updating"));
}

TEST_F(SynchroEdgesTest, UpdatesNoTable_WhenItIsStoppedBefore) {
  Put("src/a", "a");
  const Outcome outcome = RunToStopAt("Retrieving destination");
  EXPECT_TRUE(HasLine(outcome, "Retrieving destination"));
  EXPECT_FALSE(HasLine(outcome, "Updating"));
  EXPECT_EQ(CacheNames(), Lines{});
}

TEST_F(SynchroEdgesTest, ActsOnNothing_WhenItIsStoppedAsItUpdates) {
  Put("src/a", "a");
  RunToStopAt("Updating");
  EXPECT_EQ(Tree("dst"), "");
  EXPECT_EQ(CacheNames(), Lines{}) << "nothing of half a listing is remembered";
}

// ---- acting ------------------------------------------------------------------------------------

TEST_F(SynchroEdgesTest, FailsAFolderThatWasMadeAndCannotBeEntered) {
  Put("src/a", "a");
  ScriptedServer server({Join({Login(), Exchange("CWD /pub/", "550 no"), Exchange("MKD /pub/", "257 made"),
                               Exchange("CWD /pub/", "550 no"), Quit()})});
  const Outcome outcome = Run(1, FileURL("src"), FTPURL(server));
  server.Finish();
  EXPECT_EQ(outcome.lines.back(), "* Retrieval failed: No Access");
  EXPECT_EQ(outcome.counters, "0 0 0 0 0");
}

TEST_F(SynchroEdgesTest, KeepsTheState_WhenTheFileToBeDeletedHasGone) {
  Put("src/keep", "k");
  Put("dst/a", "a");
  onLine_ = [&](const std::string& line) {
    if (line == "Updating tables...") Remove("dst/a");
  };
  const Outcome outcome = RunLocal(9);
  EXPECT_EQ(FileLines(outcome),
            (Lines{"file > file:  a DELETE -> Not Found", "file > file:  keep  -> None"}));
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
  EXPECT_NE(Table("/").find("a   :2:False:False:0:0.0         :True:False:1:1000000000.0"), std::string::npos)
      << Table("/");
}

// ---- tables ------------------------------------------------------------------------------------

TEST_F(SynchroEdgesTest, KeepsTheUpperBitsOfAState_AndTakesLargeNumbersForTheLargest) {
  Put("src/a", "a", 5);
  Put("src/b", "b", 5);
  WriteTable("a:4:True:False:99999999999:5.0:False:False:99999999999:99999999999.0\n");
  EXPECT_EQ(RunLocal(2).counters, "0 0 0 0 0");
  EXPECT_EQ(Table("/").substr(0, Table("/").find('\n')),
            "a:0:True:False:1:5.0:False:False:4294967295:4294967295.0")
      << "a file on one side has the state that follows";
  Put("dst/a", "a", 5);
  WriteTable("a:4:True:False:1:5.0:True:False:1:5.0\n");
  EXPECT_EQ(FileLines(RunLocal(1))[0], "file = file:  a  -> None");
  EXPECT_EQ(Table("/").substr(0, 4), "a:4:") << "the low two bits decide";
}

TEST_F(SynchroEdgesTest, LeavesADirectory_WhoseTableIsAFolder) {
  Put("src/a", "a");
  synchro::WriteAll(CachePath("t.sync"), "/:syncentry1\n");
  std::filesystem::create_directory(CachePath("syncentry1"));
  const ErrorCapture capture;
  const Outcome outcome = RunLocal(1);
  EXPECT_EQ(outcome.lines, (Lines{"Go!", "Pushed \"\""}));
  ASSERT_GE(capture.Lines().size(), 1u);
  EXPECT_TRUE(capture.Lines().back().starts_with("#### Error: Synchro: the table of \"\" cannot be read: "));
  EXPECT_EQ(Tree("dst"), "");
}

TEST_F(SynchroEdgesTest, TakesTheFirstOfTwoTables) {
  Put("src/a", "a", 5);
  Put("dst/a", "a", 5);
  WriteTable("a:2:True:False:1:5.0:True:False:1:5.0\n", "syncentry1");
  synchro::WriteAll(CachePath("syncentry2"), "a:0:True:False:1:5.0:True:False:1:5.0\n");
  synchro::WriteAll(CachePath("t.sync"), "/:syncentry1\n/:syncentry2\n");
  EXPECT_EQ(RunLocal(1).counters, "0 0 0 1 0");
}

TEST_F(SynchroEdgesTest, FailsTheRun_WhenATableCannotBeSavedAtItsEnd) {
  Put("src/a", "a");
  onLine_ = [&](const std::string& line) {
    if (line.find(" -> ") == std::string::npos) return;
    const std::string table = TableName("/");
    std::filesystem::remove(CachePath(table));
    std::filesystem::create_directories(CachePath(table) / "inside");
  };
  const Outcome outcome = RunLocal(1);
  EXPECT_EQ(outcome.lines[outcome.lines.size() - 2], "Exiting \"\"");
  EXPECT_EQ(outcome.lines.back(), "* Update failed: Fail");
  EXPECT_EQ(outcome.state, SynchroState_Failed);
  EXPECT_EQ(Tree("dst"), "a=a");
  EXPECT_TRUE(std::filesystem::exists(CachePath(TableName("/") + ".done"))) << "what was done is known";
}

TEST_F(SynchroEdgesTest, ListsBothSides_BeforeADamagedTableFails) {
  WriteTable("a:x:True:False:5:1.0:True:False:5:1.0\n");
  const Outcome outcome = RunLocal(1);
  EXPECT_EQ(outcome.lines,
            (Lines{"Go!", "Pushed \"\"", "Synchronizing...", "Retrieving source listing file://SRC/...",
                   "Retrieving destination listing file://DST/...", "Updating tables...",
                   "* Update failed: Invalid"}));
}

TEST_F(SynchroEdgesTest, TakesANameThatNoFileHasForDamage) {
  WriteTable(std::string(1024, 'n') + ":0:True:False:5:1.0:True:False:5:1.0\n");
  EXPECT_EQ(RunLocal(1).lines.back(), "* Update failed: Invalid");
}

}  // namespace
