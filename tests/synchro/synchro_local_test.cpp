// Whole runs between two local folders.
#include <filesystem>
#include <string>

#include "tests/synchro/synchro_fixture.h"

namespace {

using synchro::kRecurse;
using synchro::Lines;
using synchro::Outcome;

class SynchroLocalTest : public synchro::Test {};

// ---- directions --------------------------------------------------------------------------------

TEST_F(SynchroLocalTest, TellsEachStepOfARun) {
  Put("src/sub/b.txt", "new");
  const Outcome outcome = RunLocal(kRecurse | 1);
  EXPECT_EQ(outcome.go, Error_None);
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(outcome.counters, "0 0 0 1 0");
  EXPECT_EQ(outcome.lines,
            (Lines{"Go!", "Pushed \"\"", "Synchronizing...", "Retrieving source listing file://SRC/...",
                   "Retrieving destination listing file://DST/...", "Updating tables...", "Pushed \"sub\"",
                   "Synchronizing...", "Retrieving source listing file://SRC/sub...",
                   "Retrieving destination listing file://DST/sub...", "Updating tables...",
                   "file > file: sub b.txt  -> None", "Exiting \"sub\"", "Exiting \"\""}));
  EXPECT_EQ(Tree("dst"), "sub/ sub/b.txt=new");
}

TEST_F(SynchroLocalTest, CopiesAndDeletesAsTheFlagsSay) {
  const struct {
    uint32_t flags;
    const char* source;
    const char* destination;
    const char* counters;
    Lines lines;
  } rows[] = {
      {1,
       "both=s src=s",
       "both=d dst=d src=s",
       "0 0 0 1 0",
       {"file = file:  both  -> None", "file = file:  dst  -> None", "file > file:  src  -> None"}},
      {2,
       "both=s dst=d src=s",
       "both=d dst=d",
       "0 1 0 0 0",
       {"file < file:  dst  -> None", "file = file:  both  -> None", "file = file:  src  -> None"}},
      {3,
       "both=s dst=d src=s",
       "both=d dst=d src=s",
       "0 1 0 1 0",
       {"file < file:  dst  -> None", "file = file:  both  -> None", "file > file:  src  -> None"}},
      {9,
       "both=s src=s",
       "both=d src=s",
       "0 0 0 1 1",
       {"file = file:  both  -> None", "file > file:  dst DELETE -> None", "file > file:  src  -> None"}},
      {6,
       "both=s dst=d",
       "both=d dst=d",
       "0 1 1 0 0",
       {"file < file:  dst  -> None", "file < file:  src DELETE -> None", "file = file:  both  -> None"}},
      // A file that is new at the source has both bits; without flag 8 the destination wins, which has none.
      {5,
       "both=s",
       "both=d dst=d",
       "0 0 1 0 0",
       {"file < file:  src DELETE -> None", "file = file:  both  -> None", "file = file:  dst  -> None"}},
      {10,
       "both=s src=s",
       "both=d",
       "0 0 0 0 1",
       {"file = file:  both  -> None", "file = file:  src  -> None", "file > file:  dst DELETE -> None"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.flags);
    EmptyTrees();
    ForgetTables();
    Put("src/src", "s");
    Put("src/both", "s", 1000000001);
    Put("dst/both", "d", 1000000002);
    Put("dst/dst", "d");
    const Outcome outcome = RunLocal(row.flags);
    EXPECT_EQ(outcome.state, SynchroState_Finished);
    EXPECT_EQ(outcome.counters, row.counters);
    EXPECT_EQ(FileLines(outcome), row.lines);
    EXPECT_EQ(Tree("src"), row.source);
    EXPECT_EQ(Tree("dst"), row.destination);
  }
}

TEST_F(SynchroLocalTest, CopiesAChangedFileAndNothingTheNextTime) {
  Put("src/a", "one");
  EXPECT_EQ(RunLocal(1).counters, "0 0 0 1 0");
  EXPECT_EQ(RunLocal(1).counters, "0 0 0 0 0");
  Put("src/a", "two", 1000000009);
  EXPECT_EQ(RunLocal(1).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=two");
  EXPECT_EQ(RunLocal(1).counters, "0 0 0 0 0");
}

TEST_F(SynchroLocalTest, CopiesBothWaysAndComesToRest) {
  Put("src/a", "a");
  Put("dst/b", "b");
  EXPECT_EQ(RunLocal(3).counters, "0 1 0 1 0");
  EXPECT_EQ(RunLocal(3).counters, "0 0 0 0 0") << "a copy's recorded time is the one that a listing shows";
  Put("dst/a", "new", 1200000000);
  const Outcome outcome = RunLocal(3);
  EXPECT_EQ(outcome.counters, "0 1 0 0 0");
  EXPECT_EQ(Tree("src"), "a=new b=b");
  EXPECT_EQ(RunLocal(3).counters, "0 0 0 0 0");
}

TEST_F(SynchroLocalTest, LeavesWhatBothSidesHaveChanged) {
  Put("src/a", "a");
  RunLocal(3);
  Put("src/a", "source", 1200000000);
  Put("dst/a", "destination", 1200000001);
  const Outcome outcome = RunLocal(3);
  EXPECT_EQ(FileLines(outcome), Lines{"file ! file:  a  -> None"});
  EXPECT_EQ(Tree("src"), "a=source");
  EXPECT_EQ(Tree("dst"), "a=destination");
  EXPECT_EQ(FileLines(RunLocal(3)), Lines{"file ! file:  a  -> None"}) << "the state stays";
}

TEST_F(SynchroLocalTest, StoresAChangeThatNoFlagFollows_OnlyWithAnother) {
  for (const bool hasNeighbour : {false, true}) {
    ForgetTables();
    for (const char* const name : {"src/a", "dst/a", "src/b", "dst/b"}) Put(name, "old", 1000000000);
    EXPECT_EQ(RunLocal(1).counters, "0 0 0 0 0");
    Put("dst/a", "new", 1100000000);
    if (hasNeighbour) Put("src/b", "new", 1100000000);
    EXPECT_EQ(RunLocal(1).counters, hasNeighbour ? "0 0 0 1 0" : "0 0 0 0 0");
    EXPECT_EQ(RunLocal(3).counters, hasNeighbour ? "0 0 0 0 0" : "0 1 0 0 0");
    EXPECT_EQ(root_.Read("src/a"), hasNeighbour ? "old" : "new");
  }
}

TEST_F(SynchroLocalTest, DeletesWhatHasGoneFromTheOtherSide) {
  Put("src/a", "a");
  Put("src/keep", "k");
  RunLocal(9);
  Remove("src/a");
  const Outcome outcome = RunLocal(9);
  EXPECT_EQ(outcome.counters, "0 0 0 0 1");
  EXPECT_EQ(FileLines(outcome), (Lines{"file = file:  keep  -> None", "file > file:  a DELETE -> None"}));
  EXPECT_EQ(Tree("dst"), "keep=k");
}

// ---- subdirectories ----------------------------------------------------------------------------

TEST_F(SynchroLocalTest, EntersSubdirectoriesOnlyWhenAsked) {
  Put("src/sub/deep/b", "b");
  Put("src/a", "a");
  const Outcome outcome = RunLocal(1);
  EXPECT_EQ(FileLines(outcome), Lines{"file > file:  a  -> None"});
  EXPECT_EQ(Tree("dst"), "a=a");
  EXPECT_EQ(RunLocal(kRecurse | 1).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=a sub/ sub/deep/ sub/deep/b=b");
}

TEST_F(SynchroLocalTest, MakesAMissingFolderOnlyForItsDirection) {
  const struct {
    uint32_t flags;
    const char* missing;
    bool isMade;
  } rows[] = {{1, "dst", true}, {2, "dst", false}, {2, "src", true}, {1, "src", false}, {3, "src", true}};
  for (const auto& row : rows) {
    root_.MakeDirectory("src");
    root_.MakeDirectory("dst");
    Remove(row.missing);
    EXPECT_EQ(RunLocal(row.flags).state, SynchroState_Finished);
    EXPECT_EQ(root_.Exists(row.missing), row.isMade) << row.flags << " " << row.missing;
    root_.MakeDirectory(row.missing);
  }
}

TEST_F(SynchroLocalTest, DeletesTheFilesOfADirectoryThatHasGone) {
  Put("src/sub/a", "a");
  RunLocal(kRecurse | 9);
  Remove("src/sub");
  const Outcome outcome = RunLocal(kRecurse | 9);
  EXPECT_EQ(outcome.counters, "0 0 0 0 1");
  EXPECT_EQ(Tree("dst"), "sub/") << "directories stay";
}

TEST_F(SynchroLocalTest, NeverDeletesADirectory) {
  Put("dst/full/a", "a");
  root_.MakeDirectory("dst/empty");
  const Outcome outcome = RunLocal(kRecurse | 9);
  EXPECT_EQ(FileLines(outcome),
            (Lines{"file > file:  empty DELETE -> Invalid", "file > file:  full DELETE -> Invalid"}))
      << "the source, which does not have it, does not call it a directory";
  EXPECT_EQ(Tree("dst"), "empty/ full/ full/a=a");
  EXPECT_EQ(outcome.state, SynchroState_Finished);
}

TEST_F(SynchroLocalTest, ReplacesNoDirectoryByAFile) {
  Put("src/a", "file");
  Put("src/b", "file");
  RunLocal(1);
  Remove("dst/a");
  Put("dst/a/inside", "kept");
  Put("src/a", "changed", 1200000000);
  const Outcome outcome = RunLocal(1);
  EXPECT_EQ(FileLines(outcome), (Lines{"file = file:  b  -> None", "file > file:  a  -> Exists"}));
  EXPECT_EQ(Tree("dst"), "a/ a/inside=kept b=file");
}

TEST_F(SynchroLocalTest, FailsAFolderWhereTheOtherSideHasAFile) {
  Put("src/a/inside", "x");
  Put("dst/a", "file");
  const Outcome outcome = RunLocal(kRecurse | 9);
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_NE(std::find(outcome.lines.begin(), outcome.lines.end(), "* Retrieval failed: Exists"),
            outcome.lines.end());
  EXPECT_EQ(Tree("dst"), "a=file");
  EXPECT_EQ(Tree("src"), "a/ a/inside=x");
}

// ---- what cannot be listed ---------------------------------------------------------------------

TEST_F(SynchroLocalTest, TakesAMissingFolderForAnEmptyOne) {
  Put("src/a", "a");
  RunLocal(1);
  Remove("src");
  const Outcome outcome = RunLocal(1);
  EXPECT_EQ(outcome.lines[5], "Updating tables...");
  EXPECT_EQ(FileLines(outcome), Lines{"file = file:  a  -> None"});
}

TEST_F(SynchroLocalTest, SeesOnlyTheLastWordOfAName) {
  Put("src/my file.txt", "x");
  Put("src/file.txt", "y");
  const Outcome outcome = RunLocal(1);
  EXPECT_EQ(FileLines(outcome), Lines{"file > file:  file.txt  -> None"});
  EXPECT_EQ(Tree("dst"), "file.txt=y");
}

TEST_F(SynchroLocalTest, OverwritesNothingInTheFirstRun_WhenTwoNamesHaveOneLastWord) {
  for (const uint32_t flags : {1u, 3u, 5u, 7u, 9u, 15u}) {
    ForgetTables();
    Put("src/my file.txt", "x", 1000000000);
    Put("src/file.txt", "y", 1100000000);
    Put("dst/file.txt", "z", 1200000000);
    EXPECT_EQ(FileLines(RunLocal(flags)), Lines{"file = file:  file.txt  -> None"}) << flags;
    EXPECT_EQ(Tree("src"), "file.txt=y my file.txt=x") << flags;
    EXPECT_EQ(Tree("dst"), "file.txt=z") << flags;
  }
}

TEST_F(SynchroLocalTest, CopiesInEveryRun_WhatTwoNamesWithOneLastWordShow) {
  Put("src/my file.txt", "x", 1000000000);
  Put("src/file.txt", "y", 1100000000);
  for (int run = 1; run <= 3; ++run) EXPECT_EQ(RunLocal(1).counters, "0 0 0 1 0") << run;
  EXPECT_EQ(Tree("dst"), "file.txt=y");
}

TEST_F(SynchroLocalTest, TellsThatTheTableIsLaterThanTheDisk) {
  Put("src/a", "a", 1000000000);  // Sun Sep  9 01:46:40 2001
  RunLocal(1);
  Put("src/a", "older", 999999999);
  const Outcome outcome = RunLocal(1);
  EXPECT_EQ(
      outcome.lines[6],
      "Source file \"a\": table time \"Sun Sep  9 01:46:40 2001\" > disk time \"Sun Sep  9 01:46:39 2001\"");
  EXPECT_EQ(outcome.lines[7], "file > file:  a  -> None");
  EXPECT_EQ(Tree("dst"), "a=older");
}

TEST_F(SynchroLocalTest, TellsTheSameOfTheDestination) {
  Put("dst/a", "a", 1000000000);
  RunLocal(2);
  Put("dst/a", "older", 999999999);
  EXPECT_EQ(
      RunLocal(2).lines[6],
      "Dest file \"a\": table time \"Sun Sep  9 01:46:40 2001\" > disk time \"Sun Sep  9 01:46:39 2001\"");
}

TEST_F(SynchroLocalTest, FailsWithoutAPath) {
  const Outcome outcome = Run(1, "file://", FileURL("dst"));
  EXPECT_EQ(outcome.lines[4], "* Retrieval failed: Invalid");
  EXPECT_EQ(outcome.state, SynchroState_Finished) << "a directory that fails is left out";
}

// ---- files under way ---------------------------------------------------------------------------

TEST_F(SynchroLocalTest, LeavesNoTemporaryBehind) {
  Put("src/a", std::string(100000, 'a'));
  Put("src/b", "");
  EXPECT_EQ(RunLocal(1).counters, "0 0 0 2 0");
  EXPECT_EQ(Tree("dst"), "a=" + std::string(100000, 'a') + " b=");
  EXPECT_EQ(CacheNames(), (Lines{TableName("/"), "t.sync"}));
}

TEST_F(SynchroLocalTest, RemovesWhatAKilledRunHasLeft) {
  Put("dst/xfer123", "half a file");
  Put("dst/xfer-7", "half a file");
  Put("dst/xfer9", "not noted");
  Put("dst/other", "mine");
  synchro::WriteAll(CachePath("t.xfer"), root_.Name("dst/xfer123") + "\n" + root_.Name("dst/xfer-7") + "\n" +
                                             root_.Name("dst/other") + "\n" + root_.Name("dst/missing") +
                                             "\n");
  EXPECT_EQ(FileLines(RunLocal(1)), (Lines{"file = file:  other  -> None", "file = file:  xfer9  -> None"}));
  EXPECT_EQ(Tree("dst"), "other=mine xfer9=not noted");
  EXPECT_EQ(std::filesystem::exists(CachePath("t.xfer")), false);
}

TEST_F(SynchroLocalTest, NotesTheTemporaryBeforeItIsMade) {
  Put("src/a", "new", 1200000000);
  Put("dst/a", "old");
  WriteTable("a:2:True:False:3:1.0:True:False:3:1000000000.0\n");
  std::string noted;
  onLine_ = [&](const std::string& line) {
    if (line.find("->") != std::string::npos) noted = synchro::ReadAll(CachePath("t.xfer"));
  };
  EXPECT_EQ(RunLocal(1).counters, "0 0 0 1 0");
  EXPECT_TRUE(noted.starts_with(root_.Name("dst") + "/xfer")) << noted;
  EXPECT_EQ(noted.find('\n'), noted.size() - 1);
  EXPECT_EQ(Tree("dst"), "a=new");
}

}  // namespace
