// Guarded runs between two local folders.
#include <string>

#include "os/platform/filesystem.h"
#include "tests/support/fail_allocation.h"
#include "tests/synchro/synchro_fixture.h"

namespace {

using synchro::kDelete;
using synchro::kMirror;
using synchro::kRecurse;
using synchro::kTwoWay;
using synchro::Lines;
using synchro::Outcome;

class SynchroGuardedTest : public synchro::Test {
 protected:
  Outcome Guarded(uint32_t flags) { return RunLocalGuarded(flags); }
};

// ---- what is done ------------------------------------------------------------------------------

TEST_F(SynchroGuardedTest, CopiesAndComesToRest) {
  Put("src/a", "1");
  Put("src/sub/my file.txt", "2");
  EXPECT_EQ(Guarded(kMirror).counters, "0 0 0 2 0");
  EXPECT_EQ(Tree("dst"), "a=1 sub/ sub/my file.txt=2");
  const Outcome second = Guarded(kMirror);
  EXPECT_EQ(second.counters, "0 0 0 0 0");
  EXPECT_EQ(FileLines(second), (Lines{"file = file:  a  -> None", "file = file: sub my file.txt  -> None"}));
  Put("src/a", "22", 1100000000);
  EXPECT_EQ(Guarded(kMirror).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=22 sub/ sub/my file.txt=2");
}

TEST_F(SynchroGuardedTest, DeletesOnlyWhatWasInStep) {
  Put("src/a", "1");
  Put("src/b", "1");
  Put("dst/mine", "1");
  Guarded(kDelete);
  EXPECT_EQ(Tree("dst"), "a=1 b=1 mine=1") << "it never was at the source";
  Remove("src/a");
  const Outcome outcome = Guarded(kDelete);
  EXPECT_EQ(FileLines(outcome), (Lines{"file = file:  b  -> None", "file = file:  mine  -> None",
                                       "file > file:  a DELETE -> None"}));
  EXPECT_EQ(Tree("dst"), "b=1 mine=1");
  EXPECT_EQ(Guarded(kDelete).counters, "0 0 0 0 0");
  Put("dst/a", "other");
  EXPECT_EQ(Guarded(kDelete).counters, "0 0 0 0 0") << "nothing is remembered of the file that was deleted";
  EXPECT_EQ(Tree("dst"), "a=other b=1 mine=1");
}

TEST_F(SynchroGuardedTest, KeepsAFileThatChangedSinceItWasInStep) {
  Put("src/a", "1");
  Guarded(kDelete);
  Remove("src/a");
  Put("src/b", "1");
  Put("dst/a", "edited", 1100000000);
  for (int run = 0; run < 2; ++run) {
    Guarded(kDelete);
    EXPECT_EQ(Tree("dst"), "a=edited b=1") << run;
  }
}

// ---- both sides have it ------------------------------------------------------------------------

TEST_F(SynchroGuardedTest, TakesTheSameBytesForTheSameFile) {
  Put("src/a", "same", 1000000000);
  Put("dst/a", "same", 1100000000);
  const Outcome first = Guarded(kTwoWay);
  EXPECT_EQ(first.counters, "0 0 0 0 0");
  EXPECT_EQ(FileLines(first), (Lines{"file = file:  a  -> None"}));
  Put("dst/a", "edit", 1200000000);
  EXPECT_EQ(Guarded(kTwoWay).counters, "0 1 0 0 0") << "it was in step";
  EXPECT_EQ(Tree("src"), "a=edit");
}

TEST_F(SynchroGuardedTest, LeavesAConflict_RunAfterRun) {
  Put("src/a", "one");
  Put("dst/a", "two");
  for (const uint32_t flags : {kMirror, kTwoWay, kDelete, kTwoWay}) {
    const Outcome outcome = Guarded(flags);
    EXPECT_EQ(FileLines(outcome), (Lines{"file ! file:  a  -> None"}));
    EXPECT_EQ(Tree("src") + "|" + Tree("dst"), "a=one|a=two");
  }
}

TEST_F(SynchroGuardedTest, LeavesAConflictOfTwoChanges_RunAfterRun) {
  Put("src/a", "1");
  Guarded(kTwoWay);
  Put("src/a", "one", 1100000000);
  Put("dst/a", "two", 1200000000);
  for (int run = 0; run < 3; ++run) {
    EXPECT_EQ(FileLines(Guarded(kTwoWay)), (Lines{"file ! file:  a  -> None"}));
    EXPECT_EQ(Tree("src") + "|" + Tree("dst"), "a=one|a=two");
  }
}

TEST_F(SynchroGuardedTest, OverwritesNoChangeOfTheTarget_LaterEither) {
  Put("src/a", "1");
  Guarded(kMirror);
  Put("dst/a", "edited", 1100000000);
  EXPECT_EQ(FileLines(Guarded(kMirror)), (Lines{"file = file:  a  -> None"}));
  Put("src/a", "22", 1200000000);
  EXPECT_EQ(FileLines(Guarded(kMirror)), (Lines{"file ! file:  a  -> None"}));
  EXPECT_EQ(Tree("dst"), "a=edited");
}

TEST_F(SynchroGuardedTest, ComparesBeyondTheFirstBlock) {
  const std::string block(16 * 1024, 'x');
  const std::string texts[][2] = {{block, block}, {block + "a", block + "b"}, {block + block, block + block}};
  const char* const marks[] = {"=", "!", "="};
  for (int i = 0; i < 3; ++i) {
    const std::string name = "f" + std::to_string(i);
    Put("src/" + name, texts[i][0]);
    Put("dst/" + name, texts[i][1], 1100000000);
  }
  const Lines lines = FileLines(Guarded(kMirror));
  ASSERT_EQ(lines.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    const std::string expected =
        "file " + std::string(marks[i]) + " file:  f" + std::to_string(i) + "  -> None";
    EXPECT_NE(std::find(lines.begin(), lines.end(), expected), lines.end()) << expected;
  }
}

// ---- listings that cannot be trusted -----------------------------------------------------------

TEST_F(SynchroGuardedTest, StopsAtARootThatShowsNothing) {
  Put("src/a", "1");
  Guarded(kDelete);
  for (const bool isMissing : {false, true}) {
    Remove("src");
    if (!isMissing) root_.MakeDirectory("src");
    const Outcome outcome = Guarded(kDelete);
    EXPECT_EQ(outcome.state, SynchroState_Failed);
    EXPECT_EQ(outcome.counters, "-3 0 0 0 0");
    EXPECT_EQ(outcome.lines.back(), "* Retrieval failed: Not Found");
    EXPECT_EQ(Tree("dst"), "a=1");
  }
  EXPECT_EQ(Tree("src"), "missing");
  Put("src/a", "1");
  EXPECT_EQ(Guarded(kDelete).counters, "0 0 0 0 0") << "the tables are as they were";
}

TEST_F(SynchroGuardedTest, MakesNoRootThatHasGone) {
  Put("src/a", "1");
  Guarded(kMirror);
  Remove("dst");
  EXPECT_EQ(Guarded(kMirror).state, SynchroState_Failed);
  EXPECT_EQ(Tree("dst"), "missing");
}

TEST_F(SynchroGuardedTest, DeletesNothingBesideAnEmptyFolder) {
  Put("src/sub/a", "1");
  Put("src/z", "1");
  Guarded(kDelete);
  Remove("src/sub/a");
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(FileLines(Guarded(kDelete)),
              (Lines{"file = file:  z  -> None", "file = file: sub a  -> None"}));
    EXPECT_EQ(Tree("dst"), "sub/ sub/a=1 z=1");
  }
}

// As when nothing is mounted on "sub".
TEST_F(SynchroGuardedTest, DeletesNothingBelowAnEmptyFolder) {
  Put("src/sub/a", "1");
  Put("src/sub/deep/deeper/b", "1");
  Put("src/z", "1");
  Guarded(kDelete);
  Remove("src/sub/a");
  Remove("src/sub/deep");
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(Guarded(kDelete).counters, "0 0 0 0 0");
    EXPECT_EQ(Tree("dst"), "sub/ sub/a=1 sub/deep/ sub/deep/deeper/ sub/deep/deeper/b=1 z=1");
  }
  Put("src/sub/new", "1");
  EXPECT_EQ(Guarded(kDelete).counters, "0 0 0 1 2") << "with a file in it, it counts again";
}

// A run that is killed has noted what it copied to "sub", and not yet "sub" itself.
TEST_F(SynchroGuardedTest, DeletesNothing_WhenTheRootIsEmptyBehindAKilledFirstRun) {
  Put("src/sub/a", "1");
  Guarded(kDelete);
  synchro::WriteAll(CachePath(TableName("/")), "");
  Remove("src/sub");
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(Guarded(kDelete).counters, "0 0 0 0 0");
    EXPECT_EQ(Tree("dst"), "sub/ sub/a=1");
  }
}

TEST_F(SynchroGuardedTest, PutsNothingIntoAFolderThatIsNotTrusted) {
  Put("src/sub/a", "1");
  Guarded(kTwoWay);
  Remove("dst/sub/a");
  Put("src/sub/b", "1");
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(Guarded(kTwoWay | SynchroFlag_DeleteAtSource).counters, "0 0 0 0 0");
    EXPECT_EQ(Tree("src"), "sub/ sub/a=1 sub/b=1");
    EXPECT_EQ(Tree("dst"), "sub/");
  }
  EXPECT_EQ(Guarded(kTwoWay).counters, "0 0 0 2 0") << "without deletions it is filled again";
}

// As when what is mounted there goes while a run is under way.
TEST_F(SynchroGuardedTest, DeletesNothingBesideAFolderThatGoesBehindItsParentsListing) {
  Put("src/sub/a", "1");
  Guarded(kDelete);
  onLine_ = [this](const std::string& line) {
    if (line == "Pushed \"sub\"") Remove("src/sub");
  };
  EXPECT_EQ(Guarded(kDelete).counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "sub/ sub/a=1");
}

TEST_F(SynchroGuardedTest, FollowsAFolderThatHasGone) {
  Put("src/sub/a", "1");
  Put("src/z", "1");
  Guarded(kDelete);
  Remove("src/sub");
  EXPECT_EQ(Guarded(kDelete).counters, "0 0 0 0 1");
  EXPECT_EQ(Tree("dst"), "sub/ z=1") << "directories are never deleted";
  EXPECT_EQ(Tree("src"), "z=1");
}

// ---- what happens meanwhile --------------------------------------------------------------------

TEST_F(SynchroGuardedTest, AsksAgainBeforeItCopiesToAFreePlace) {
  Put("src/a", "1");
  WhenListed([this] { Put("dst/a", "new"); });
  EXPECT_EQ(FileLines(Guarded(kMirror)), (Lines{"file > file:  a  -> Exists"}));
  EXPECT_EQ(Tree("dst"), "a=new");
}

TEST_F(SynchroGuardedTest, AsksAgainBeforeItOverwrites) {
  Put("src/a", "1");
  Guarded(kMirror);
  Put("src/a", "22", 1100000000);
  WhenListed([this] { Put("dst/a", "edited", 1200000000); });
  EXPECT_EQ(FileLines(Guarded(kMirror)), (Lines{"file > file:  a  -> Retry"}));
  EXPECT_EQ(Tree("dst"), "a=edited");
  onLine_ = nullptr;
  EXPECT_EQ(FileLines(Guarded(kMirror)), (Lines{"file ! file:  a  -> None"}));
}

TEST_F(SynchroGuardedTest, AsksAgainBeforeItDeletes) {
  Put("src/a", "1");
  Put("src/z", "1");
  Guarded(kDelete);
  Remove("src/a");
  WhenListed([this] { Put("src/a", "back"); });
  EXPECT_EQ(Guarded(kDelete).counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "a=1 z=1");
  Remove("src/a");
  WhenListed([this] { Put("dst/a", "edited", 1200000000); });
  EXPECT_EQ(Guarded(kDelete).counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "a=edited z=1");
}

// ---- tables ------------------------------------------------------------------------------------

TEST_F(SynchroGuardedTest, AdoptsACopyThatAKilledRunHasNotNoted) {
  Put("src/a", "1");
  Put("src/b", "1");
  Guarded(kMirror);
  Put("src/a", "22", 1100000000);
  Put("dst/a", "22", 1200000000);
  EXPECT_EQ(FileLines(Guarded(kMirror)), (Lines{"file = file:  a  -> None", "file = file:  b  -> None"}));
  Put("src/a", "333", 1300000000);
  EXPECT_EQ(Guarded(kMirror).counters, "0 0 0 1 0");
}

TEST_F(SynchroGuardedTest, OverwritesAndDeletesNothing_WhenTheTablesAreLost) {
  Put("src/a", "1");
  Put("src/b", "1");
  Guarded(kDelete);
  ForgetTables();
  Remove("src/a");
  Put("src/b", "22", 1100000000);
  EXPECT_EQ(FileLines(Guarded(kDelete)), (Lines{"file ! file:  b  -> None", "file = file:  a  -> None"}));
  EXPECT_EQ(Tree("dst"), "a=1 b=1");
}

TEST_F(SynchroGuardedTest, FailsTheDirectory_WhenALineOfItsTableIsNone) {
  WriteTable(
      "a:0:True:False:1:5.0:True:False:1:5.0\n"
      "b:0:maybe:False:1:5.0:True:False:1:5.0\n");
  Put("dst/a", "1", 5);
  Put("src/b", "1");
  const Outcome outcome = Guarded(kDelete);
  EXPECT_EQ(outcome.state, SynchroState_Failed);
  EXPECT_EQ(outcome.counters, "-4 0 0 0 0");
  EXPECT_EQ(outcome.lines.back(), "* Update failed: Invalid");
  EXPECT_EQ(Tree("dst"), "a=1");
}

TEST_F(SynchroGuardedTest, LosesNoLineOfATableThatHasAnotherNumberOfFields) {
  Put("src/a", "1");
  for (const std::string line : {"b:0:True", "b:0:True:False:1:5.0:True:False:1:5.0:0", "b"}) {
    const std::string table = "a:0:True:False:1:5.0:True:False:1:5.0\n" + line + "\n";
    WriteTable(table);
    EXPECT_EQ(Guarded(kDelete).counters, "-4 0 0 0 0") << line;
    EXPECT_EQ(Table("/"), table);
  }
  EXPECT_EQ(Tree("dst"), "");
}

TEST_F(SynchroGuardedTest, FailsOnlyTheSubdirectoryWhoseTableIsDamaged) {
  Put("src/sub/a", "1");
  Put("src/z", "1");
  Guarded(kMirror);
  synchro::WriteAll(CachePath(TableName("sub")), "a:maybe\n");
  Put("src/sub/a", "22", 1100000000);
  Put("src/z", "22", 1100000000);
  const Outcome outcome = Guarded(kMirror);
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "sub/ sub/a=1 z=22");
}

TEST_F(SynchroGuardedTest, WritesNothing_WhenItOnlyPlans) {
  Put("src/a", "1");
  Put("src/b", "same");
  Put("dst/b", "same");
  Synchro* const synchro = New(kMirror, FileURL("src"), FileURL("dst"));
  ASSERT_NE(synchro, nullptr);
  Synchro_SetGuarded(synchro, 1);
  Synchro_SetPlanOnly(synchro, 1);
  EXPECT_EQ(Go(synchro).counters, "0 0 0 1 0");
  EXPECT_EQ(CacheNames(), Lines{});
  EXPECT_EQ(Tree("dst"), "b=same");
  Synchro_Delete(synchro);
}

TEST_F(SynchroGuardedTest, MakesNoFolderAndTakesNoLeftover_WhenItOnlyPlans) {
  Put("src/sub/a", "1");
  Put("dst/xfer7", "half");
  const std::string record = root_.Name("dst/xfer7") + "\n" + root_.Name("dst/mine") + "\n";
  synchro::WriteAll(CachePath("t.xfer"), record);
  Synchro* const synchro = New(kTwoWay, FileURL("src"), FileURL("dst"));
  ASSERT_NE(synchro, nullptr);
  Synchro_SetGuarded(synchro, 1);
  Synchro_SetPlanOnly(synchro, 1);
  EXPECT_EQ(Go(synchro).counters, "0 0 0 1 0");
  Synchro_Delete(synchro);
  EXPECT_EQ(Tree("dst"), "xfer7=half");
  EXPECT_EQ(synchro::ReadAll(CachePath("t.xfer")), record) << "not even written anew";
}

TEST_F(SynchroGuardedTest, NotesEachActionBesideTheTable_InAFirstRunToo) {
  Put("src/a", "1");
  Lines names;
  onLine_ = [&](const std::string& line) {
    if (line.find(" -> ") != std::string::npos) names = CacheNames();
  };
  Guarded(kMirror);
  ASSERT_EQ(names.size(), 4u);
  EXPECT_EQ(names[1], names[0] + ".done");
}

TEST_F(SynchroGuardedTest, LosesNothing_WhicheverAllocationFailed) {
  Put("dst/sub/mine", "mine");
  Put("dst/sub/file1", "other");
  for (int i = 0; i < 10; ++i) Put("src/sub/file" + std::to_string(i), "text " + std::to_string(i));
  FailEveryAllocation([&] {
    Synchro* synchro = nullptr;
    Synchro_New("t", kDelete, FileURL("src").c_str(), FileURL("dst").c_str(), &synchro);
    if (synchro == nullptr) return;
    EXPECT_EQ(Synchro_SetGuarded(synchro, 1), Error_None);
    Synchro_Go(synchro);
    Wait(synchro);
    Synchro_Delete(synchro);
  });
  EXPECT_EQ(root_.Read("dst/sub/mine"), "mine");
  EXPECT_EQ(root_.Read("dst/sub/file1"), "other");
  for (const int i : {0, 2, 3, 4, 5, 6, 7, 8, 9})
    EXPECT_EQ(root_.Read("dst/sub/file" + std::to_string(i)), "text " + std::to_string(i));
  EXPECT_EQ(Guarded(kDelete).counters, "0 0 0 0 0");
}

// ---- names -------------------------------------------------------------------------------------

TEST_F(SynchroGuardedTest, TouchesNoFileUnderANameThatDiffersOnlyInCase) {
  Put("src/a", "1");
  Put("src/z", "1");
  Guarded(kDelete);
  Remove("src/a");
  Put("src/A", "2");
  const Outcome outcome = Guarded(kDelete);
  if (platform::UsesDriveLetters()) {  // there it is the same file
    EXPECT_EQ(outcome.counters, "0 0 0 0 0");
    EXPECT_EQ(Tree("dst"), "a=1 z=1");
  } else {
    EXPECT_EQ(outcome.counters, "0 0 0 1 1");
    EXPECT_EQ(Tree("dst"), "A=2 z=1");
  }
}

TEST_F(SynchroGuardedTest, HasNoHTTPSide) {
  EXPECT_EQ(Synchro_SetGuarded(nullptr, 1), Error_Invalid);
  Synchro* synchro = New(1, FileURL("src"), "http://127.0.0.1/pub");
  ASSERT_NE(synchro, nullptr);
  EXPECT_EQ(Synchro_SetGuarded(synchro, 1), Error_Fail);
  Synchro_Delete(synchro);
  synchro = New(1, "http://127.0.0.1/pub", FileURL("dst"));
  ASSERT_NE(synchro, nullptr);
  EXPECT_EQ(Synchro_SetGuarded(synchro, 1), Error_Fail);
  Synchro_Delete(synchro);
}

}  // namespace
