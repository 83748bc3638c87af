// Guarded runs with FTP servers on one side or both.
#include <string>

#include "tests/synchro/synchro_guarded_ftp_fixture.h"

namespace {

using synchro::kDelete;
using synchro::kMirror;
using synchro::kTwoWay;
using synchro::Lines;
using synchro::Outcome;

using SynchroGuardedFTPTest = synchro::GuardedFTPTest;

// ---- what is sent ------------------------------------------------------------------------------

TEST_F(SynchroGuardedFTPTest, StoresUnderAnotherName_AndListsOnceMore) {
  FTPTree server(Folder("dst"));
  Put("src/a", "1");
  const Outcome first = Upload(kMirror, &server);
  EXPECT_EQ(first.state, SynchroState_Finished);
  EXPECT_EQ(first.counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=1");
  EXPECT_EQ(server.TakeCommands(),
            (Lines{"FEAT", "MLSD /pub/", "MLST /pub/a", "MLST /pub/xfer1", "STOR /pub/xfer1",
                   "SIZE /pub/xfer1", "MLST /pub/a", "RNFR /pub/xfer1", "RNTO /pub/a", "MLSD /pub/"}));
  const Outcome second = Upload(kMirror, &server);
  EXPECT_EQ(second.counters, "0 0 0 0 0");
  EXPECT_EQ(FileLines(second), (Lines{"file = ftp:  a  -> None"}));
  EXPECT_EQ(server.TakeCommands(), (Lines{"FEAT", "MLSD /pub/"}));
  Put("src/sub/my file.txt", "22");
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=1 sub/ sub/my file.txt=22");
  EXPECT_EQ(
      server.TakeCommands(),
      (Lines{"FEAT", "MLSD /pub/", "MLSD /pub/sub", "MKD /pub/sub", "MLST /pub/sub/my file.txt",
             "MLST /pub/sub/xfer2", "STOR /pub/sub/xfer2", "SIZE /pub/sub/xfer2", "MLST /pub/sub/my file.txt",
             "RNFR /pub/sub/xfer2", "RNTO /pub/sub/my file.txt", "MLSD /pub/sub"}));
  Put("src/a", "333", 1100000000);
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=333 sub/ sub/my file.txt=22");
  EXPECT_EQ(server.TakeCommands(), (Lines{"FEAT", "MLSD /pub/", "MLST /pub/a", "MLST /pub/xfer3",
                                          "STOR /pub/xfer3", "SIZE /pub/xfer3", "MLST /pub/a",
                                          "RNFR /pub/xfer3", "RNTO /pub/a", "MLSD /pub/sub", "MLSD /pub/"}));
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 0 0");
}

TEST_F(SynchroGuardedFTPTest, DoesWithoutMLSD) {
  FTPTree server(Folder("dst"));
  server.settings.hasFacts = false;
  Put("src/a", "1");
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(server.TakeCommands(),
            (Lines{"FEAT", "CWD /pub/", "LIST", "SIZE /pub/a", "MDTM /pub/a", "SIZE /pub/xfer1",
                   "MDTM /pub/xfer1", "STOR /pub/xfer1", "SIZE /pub/xfer1", "SIZE /pub/a", "RNFR /pub/xfer1",
                   "RNTO /pub/a", "CWD /pub/", "LIST"}));
  Put("src/sub/b", "22");
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=1 sub/ sub/b=22");
  EXPECT_EQ(server.TakeCommands(),
            (Lines{"FEAT", "CWD /pub/", "LIST", "CWD /pub/sub", "MKD /pub/sub", "SIZE /pub/sub/b",
                   "MDTM /pub/sub/b", "SIZE /pub/sub/xfer2", "MDTM /pub/sub/xfer2", "STOR /pub/sub/xfer2",
                   "SIZE /pub/sub/xfer2", "SIZE /pub/sub/b", "RNFR /pub/sub/xfer2", "RNTO /pub/sub/b",
                   "CWD /pub/sub", "LIST"}));
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 0 0");
  EXPECT_EQ(server.TakeCommands(), (Lines{"FEAT", "CWD /pub/", "LIST", "CWD /pub/sub", "LIST"}));
  Put("src/a", "333", 1100000000);
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(server.TakeCommands(),
            (Lines{"FEAT", "CWD /pub/", "LIST", "SIZE /pub/a", "LIST /pub/a", "SIZE /pub/xfer3",
                   "STOR /pub/xfer3", "SIZE /pub/xfer3", "SIZE /pub/a", "LIST /pub/a", "RNFR /pub/xfer3",
                   "RNTO /pub/a", "CWD /pub/sub", "LIST", "CWD /pub/", "LIST"}));
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 0 0");
}

TEST_F(SynchroGuardedFTPTest, Downloads) {
  FTPTree server(Folder("src"));
  Put("src/a", "1");
  Put("src/sub/my file.txt", "22");
  EXPECT_EQ(Download(kMirror, &server).counters, "0 0 0 2 0");
  EXPECT_EQ(Tree("dst"), "a=1 sub/ sub/my file.txt=22");
  EXPECT_EQ(server.TakeCommands(), (Lines{"FEAT", "MLSD /pub/", "MLST /pub/a", "RETR /pub/a", "MLSD /pub/sub",
                                          "MLST /pub/sub/my file.txt", "RETR /pub/sub/my file.txt"}));
  EXPECT_EQ(Download(kMirror, &server).counters, "0 0 0 0 0");
  EXPECT_EQ(server.TakeCommands(), (Lines{"FEAT", "MLSD /pub/", "MLSD /pub/sub"}));
}

// Files of years ago have no time of day in a list.
TEST_F(SynchroGuardedFTPTest, AsksForTheTimesOfOldFilesOnly_WithoutMLSD) {
  FTPTree server(Folder("src"));
  server.settings.hasFacts = false;
  Put("src/old", "1");
  root_.Write("src/recent", "2");
  EXPECT_EQ(Download(kMirror, &server).counters, "0 0 0 2 0");
  EXPECT_EQ(server.TakeCommands(), (Lines{"FEAT", "CWD /pub/", "LIST", "MDTM /pub/old", "SIZE /pub/old",
                                          "RETR /pub/old", "SIZE /pub/recent", "RETR /pub/recent"}));
  EXPECT_EQ(Download(kMirror, &server).counters, "0 0 0 0 0");
  Put("src/old", "3", 1000000001);
  EXPECT_EQ(Download(kMirror, &server).counters, "0 0 0 1 0") << "the same size, a second later";
  EXPECT_EQ(Tree("dst"), "old=3 recent=2");
}

// A line of LIST in the server's local time, and the time stamp of the same file half a year later.
TEST_F(SynchroGuardedFTPTest, KeepsTheTimeOfAFileThatAges) {
  FTPTree server(Folder("dst"));
  server.settings.hasFacts = false;
  Put("src/a", "1");
  Put("src/b", "1");
  ASSERT_EQ(Upload(kMirror, &server).counters, "0 0 0 2 0");
  server.settings.showsDaysOnly = true;
  server.settings.clockAheadSeconds = 2 * 3600;
  const Outcome aged = Upload(kMirror, &server);
  EXPECT_EQ(FileLines(aged), (Lines{"file = ftp:  a  -> None", "file = ftp:  b  -> None"}));
  Put("src/a", "22", 1100000000);
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0") << "the old one is as it was";
  EXPECT_EQ(Tree("dst"), "a=22 b=1");
}

// Servers whose clock is far ahead show no time of day for new files either.
TEST_F(SynchroGuardedFTPTest, AsksForTheTimeOfAnUploadThatIsListedWithoutOne) {
  FTPTree server(Folder("dst"));
  server.settings.hasFacts = false;
  server.settings.showsDaysOnly = true;
  Put("src/a", "1");
  ASSERT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 1 0");
  const Lines commands = server.TakeCommands();
  ASSERT_GE(commands.size(), 3u);
  EXPECT_EQ(Lines(commands.end() - 3, commands.end()), (Lines{"CWD /pub/", "LIST", "MDTM /pub/a"}));
  EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 0 0");
  Put("src/a", "2", 1100000000);
  EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 1 0") << "it was in step";
}

// Nothing is copied back when the folder could not be listed again.
TEST_F(SynchroGuardedFTPTest, ComparesAnUploadInTheNextRun_WhenItWasNotListedAgain) {
  FTPTree server(Folder("dst"));
  Put("src/a", "1");
  ASSERT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 1 0");
  Remove("dst/a");
  root_.Write("dst/mine", "1");
  ASSERT_EQ(Upload(kTwoWay, &server).counters, "0 1 0 1 0");
  Remove("dst/a");
  server.onCommand = [&](const std::string& command) {
    if (command.starts_with("RNTO")) server.settings.listing = FTPTree::Listing::Refused;
  };
  ASSERT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 1 0");
  server.settings.listing = FTPTree::Listing::Whole;
  const Outcome outcome = Upload(kTwoWay, &server);
  EXPECT_EQ(outcome.counters, "0 0 0 0 0");
  EXPECT_EQ(FileLines(outcome), (Lines{"file = ftp:  a  -> None", "file = ftp:  mine  -> None"}));
}

TEST_F(SynchroGuardedFTPTest, CopiesBetweenServersThroughALocalFile) {
  FTPTree source(Folder("src"));
  FTPTree destination(Folder("dst"));
  Put("src/a", "text");
  EXPECT_EQ(Guarded(kMirror, &source, &destination).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=text");
  EXPECT_EQ(source.TakeCommands(), (Lines{"FEAT", "MLSD /pub/", "MLST /pub/a", "RETR /pub/a"}));
  EXPECT_EQ(destination.TakeCommands(),
            (Lines{"FEAT", "MLSD /pub/", "MLST /pub/a", "MLST /pub/xfer1", "STOR /pub/xfer1",
                   "SIZE /pub/xfer1", "MLST /pub/a", "RNFR /pub/xfer1", "RNTO /pub/a", "MLSD /pub/"}));
  EXPECT_EQ(Guarded(kMirror, &source, &destination).counters, "0 0 0 0 0");
}

TEST_F(SynchroGuardedFTPTest, CopiesChangesBothWays) {
  for (const bool hasFacts : {true, false}) {
    SCOPED_TRACE(hasFacts);
    FTPTree server(Folder("dst"));
    server.settings.hasFacts = hasFacts;
    Put("src/a", "1");
    Put("dst/b", "2");
    EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 1 0 1 0");
    EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 0 0");
    Put("src/b", "from src", 1100000000);
    Put("dst/a", "from dst", 1200000000);
    EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 1 0 1 0");
    EXPECT_EQ(Tree("src"), "a=from dst b=from src");
    EXPECT_EQ(Tree("dst"), "a=from dst b=from src");
    EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 0 0");
    EmptyTrees();
    ForgetTables();
  }
}

TEST_F(SynchroGuardedFTPTest, DeletesAtTheServer) {
  for (const bool hasFacts : {true, false}) {
    SCOPED_TRACE(hasFacts);
    FTPTree server(Folder("dst"));
    server.settings.hasFacts = hasFacts;
    Put("src/a", "1");
    Put("src/z", "1");
    Put("dst/mine", "1");
    Upload(kDelete, &server);
    EXPECT_EQ(Tree("dst"), "a=1 mine=1 z=1");
    server.TakeCommands();
    Remove("src/a");
    EXPECT_EQ(Upload(kDelete, &server).counters, "0 0 0 0 1");
    EXPECT_EQ(Tree("dst"), "mine=1 z=1");
    const Lines expected = hasFacts ? Lines{"FEAT", "MLSD /pub/", "MLST /pub/a", "DELE /pub/a"}
                                    : Lines{"FEAT",        "CWD /pub/",   "LIST",       "MDTM /pub/mine",
                                            "SIZE /pub/a", "LIST /pub/a", "DELE /pub/a"};
    EXPECT_EQ(server.TakeCommands(), expected);
    EXPECT_EQ(Upload(kDelete, &server).counters, "0 0 0 0 0");
    Remove("dst/mine");
    Remove("dst/z");
    ForgetTables();
  }
}

TEST_F(SynchroGuardedFTPTest, DeletesLocally_WhenTheServerSaysThatItIsGone) {
  for (const bool hasFacts : {true, false}) {
    SCOPED_TRACE(hasFacts);
    FTPTree server(Folder("src"));
    server.settings.hasFacts = hasFacts;
    Put("src/a", "1");
    Put("src/z", "1");
    Download(kDelete, &server);
    EXPECT_EQ(Tree("dst"), "a=1 z=1");
    Remove("src/a");
    EXPECT_EQ(Download(kDelete, &server).counters, "0 0 0 0 1");
    EXPECT_EQ(Tree("dst"), "z=1");
    Remove("dst/z");
    ForgetTables();
  }
}

// ---- listings that cannot be trusted -----------------------------------------------------------

struct Mishap {
  FTPTree::Listing listing;
  const char* counters;  // of a run with such a root
};
constexpr Mishap kMishaps[] = {
    {FTPTree::Listing::Empty, "-3 0 0 0 0"},      {FTPTree::Listing::Cut, "-4 0 0 0 0"},
    {FTPTree::Listing::CutAndTold, "-4 0 0 0 0"}, {FTPTree::Listing::Refused, "-3 0 0 0 0"},
    {FTPTree::Listing::Ended, "4 0 0 0 0"},       {FTPTree::Listing::Strange, "-4 0 0 0 0"}};

TEST_F(SynchroGuardedFTPTest, EndsTheRun_WhenARootIsNotListedWhole) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    Put("src/a", "1");
    Put("src/b", "1");
    Put("src/sub/c", "1");
    ASSERT_EQ(Guarded(kDelete, source, destination).counters, "0 0 0 3 0");
    Remove("src/a");
    Put("src/new", "1");
    const std::string trees = Tree("src") + "|" + Tree("dst");
    for (FTPTree* const server : {source, destination}) {
      if (server == nullptr) continue;
      for (const Mishap& mishap : kMishaps) {
        SCOPED_TRACE(static_cast<int>(mishap.listing));
        server->settings.listing = mishap.listing;
        const Outcome outcome = Guarded(kDelete, source, destination);
        EXPECT_EQ(outcome.state, SynchroState_Failed);
        EXPECT_EQ(outcome.counters, mishap.counters);
        EXPECT_EQ(Tree("src") + "|" + Tree("dst"), trees);
      }
      server->settings.listing = FTPTree::Listing::Whole;
    }
    EXPECT_EQ(Guarded(kDelete, source, destination).counters, "0 0 0 1 1") << "the tables are as they were";
    EXPECT_EQ(Tree("dst"), "b=1 new=1 sub/ sub/c=1");
  });
}

TEST_F(SynchroGuardedFTPTest, DeletesNothingInAFolderThatIsNotListedWhole) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    Put("src/sub/a", "1");
    Put("src/sub/b", "1");
    Put("src/z", "1");
    ASSERT_EQ(Guarded(kDelete, source, destination).counters, "0 0 0 3 0");
    Remove("src/sub/a");
    Remove("src/z");
    Put("src/y", "1");
    const std::string folders = Tree("src/sub") + "|" + Tree("dst/sub");
    for (FTPTree* const server : {source, destination}) {
      if (server == nullptr) continue;
      server->settings.strangeFolder = "sub";
      for (const Mishap& mishap : kMishaps) {
        SCOPED_TRACE(static_cast<int>(mishap.listing));
        server->settings.listing = mishap.listing;
        const Outcome outcome = Guarded(kDelete, source, destination);
        EXPECT_EQ(outcome.state, SynchroState_Finished);
        EXPECT_EQ(Tree("src/sub") + "|" + Tree("dst/sub"), folders);
        EXPECT_EQ(Tree("dst"), "sub/ sub/a=1 sub/b=1 y=1") << "and the rest is done";
      }
      server->settings.listing = FTPTree::Listing::Whole;
    }
    EXPECT_EQ(Guarded(kDelete, source, destination).counters, "0 0 0 0 1");
    EXPECT_EQ(Tree("dst"), "sub/ sub/b=1 y=1");
  });
}

// The rights of "sub" were taken away: what is below it is said not to be there.
TEST_F(SynchroGuardedFTPTest, DeletesNothingBelowAFolderThatIsNotListedWhole) {
  for (const bool hasFacts : {true, false}) {
    for (const FTPTree::Listing listing : {FTPTree::Listing::Empty, FTPTree::Listing::Refused}) {
      SCOPED_TRACE(testing::Message() << "MLSD " << hasFacts << ", listing " << static_cast<int>(listing));
      Clear();
      FTPTree server(Folder("src"));
      server.settings.hasFacts = hasFacts;
      Put("src/sub/deep/c", "1");
      Put("src/z", "1");
      ASSERT_EQ(Download(kDelete, &server).counters, "0 0 0 2 0");
      server.settings.strangeFolder = "sub";
      server.settings.listing = listing;
      for (const char* const command : {"CWD /pub/sub/deep", "MLSD /pub/sub/deep", "MLST /pub/sub/deep/c",
                                        "SIZE /pub/sub/deep/c", "MDTM /pub/sub/deep/c"})
        server.settings.replies[command] = "550 no";
      Download(kDelete, &server);
      EXPECT_EQ(Tree("dst"), "sub/ sub/deep/ sub/deep/c=1 z=1");
    }
  }
}

TEST_F(SynchroGuardedFTPTest, MakesNoRootThatHasGone) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    Put("src/a", "1");
    ASSERT_EQ(Guarded(kTwoWay, source, destination).counters, "0 0 0 1 0");
    const std::string gone = source != nullptr ? "src" : "dst";
    Remove(gone);
    EXPECT_EQ(Guarded(kTwoWay, source, destination).counters, "-3 0 0 0 0");
    EXPECT_EQ(Tree(gone), "missing");
    EXPECT_EQ(Tree(gone == "src" ? "dst" : "src"), "a=1");
  });
}

// Some servers say so of an empty folder.
TEST_F(SynchroGuardedFTPTest, TakesARefusedListForEmpty_WhereNothingIsKnown) {
  FTPTree server(Folder("dst"));
  server.settings.hasFacts = false;
  Put("src/a", "1");
  server.settings.replies["LIST"] = "550 No files";
  server.onCommand = [&](const std::string& command) {
    if (command.starts_with("STOR")) server.settings.replies.clear();
  };
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(server.TakeCommands(),
            (Lines{"FEAT", "CWD /pub/", "LIST", "SIZE /pub/a", "MDTM /pub/a", "SIZE /pub/xfer1",
                   "MDTM /pub/xfer1", "STOR /pub/xfer1", "SIZE /pub/xfer1", "SIZE /pub/a", "RNFR /pub/xfer1",
                   "RNTO /pub/a", "CWD /pub/", "LIST"}));
}

TEST_F(SynchroGuardedFTPTest, AsksForNoMoreTimes_WhenTheServerKnowsNone) {
  FTPTree server(Folder("src"));
  server.settings.hasFacts = false;
  server.settings.hasTimes = false;
  for (const char* const name : {"src/a", "src/b", "src/c"}) Put(name, "1");
  EXPECT_EQ(
      FileLines(Download(kMirror, &server)),
      (Lines{"ftp = file:  a  -> Invalid", "ftp = file:  b  -> Invalid", "ftp = file:  c  -> Invalid"}));
  EXPECT_EQ(server.TakeCommands(), (Lines{"FEAT", "CWD /pub/", "LIST", "MDTM /pub/a"}));
}

TEST_F(SynchroGuardedFTPTest, FollowsAFolderThatHasGone) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    Put("src/sub/a", "1");
    Put("src/z", "1");
    ASSERT_EQ(Guarded(kDelete, source, destination).counters, "0 0 0 2 0");
    Remove("src/sub");
    EXPECT_EQ(Guarded(kDelete, source, destination).counters, "0 0 0 0 1");
    EXPECT_EQ(Tree("src"), "z=1");
    EXPECT_EQ(Tree("dst"), "sub/ z=1");
  });
}

// ... but its parent's listing shows it: what is in it must not be left out without a word.
TEST_F(SynchroGuardedFTPTest, TellsAFolderThatIsShownAndMayNotBeEntered) {
  for (const bool hasFacts : {true, false}) {
    for (const char* const side : {"src", "dst"}) {
      SCOPED_TRACE(testing::Message() << "MLSD " << hasFacts << ", server " << side);
      Clear();
      FTPTree server(Folder(side));
      server.settings.hasFacts = hasFacts;
      Put("src/priv/f", "1");
      Put("dst/priv/g", "2");
      Put("src/z", "1");
      server.settings.replies["CWD /pub/priv"] = server.settings.replies["MLSD /pub/priv"] = "550 no";
      const bool isSource = std::string(side) == "src";
      const Outcome outcome =
          isSource ? Guarded(kDelete, &server, nullptr) : Guarded(kDelete, nullptr, &server);
      EXPECT_EQ(outcome.counters, "0 0 0 1 0");
      EXPECT_EQ(std::count(outcome.lines.begin(), outcome.lines.end(), "* Retrieval failed: No Access"), 1);
      EXPECT_EQ(Tree("dst"), "priv/ priv/g=2 z=1");
      const Lines commands = server.TakeCommands();
      EXPECT_EQ(std::count(commands.begin(), commands.end(), "MKD /pub/priv"), 0);
    }
  }
}

// Some servers enter such a folder and refuse its list.
TEST_F(SynchroGuardedFTPTest, TellsAFolderThatIsShownAndMayNotBeListed) {
  FTPTree server(Folder("src"));
  server.settings.hasFacts = false;
  Put("src/priv/f", "1");
  server.settings.strangeFolder = "priv";
  server.settings.listing = FTPTree::Listing::Refused;
  const Outcome outcome = Download(kDelete, &server);
  EXPECT_EQ(outcome.counters, "0 0 0 0 0");
  EXPECT_EQ(std::count(outcome.lines.begin(), outcome.lines.end(), "* Retrieval failed: No Access"), 1);
}

// ---- what a list hides -------------------------------------------------------------------------

TEST_F(SynchroGuardedFTPTest, OverwritesNothing_WhereTheSizeIsRefusedAndTheFileIsThere) {
  for (const bool hasTimes : {true, false}) {
    SCOPED_TRACE(hasTimes);
    Clear();
    FTPTree server(Folder("dst"));
    server.settings.hasFacts = false;
    server.settings.hasTimes = hasTimes;
    Put("src/a", "local");
    WhenListed([this] { Put("dst/a", "mine"); });
    server.settings.replies["SIZE /pub/a"] = "550 SIZE is not allowed";
    EXPECT_EQ(FileLines(Upload(kMirror, &server)), (Lines{"file > ftp:  a  -> Invalid"}));
    EXPECT_EQ(Tree("dst"), "a=mine");
  }
}

TEST_F(SynchroGuardedFTPTest, AsksForTheTimeOfAMissingFile_UntilTheServerHasToldASize) {
  FTPTree server(Folder("dst"));
  server.settings.hasFacts = false;
  Put("src/a", "1");
  ASSERT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  server.TakeCommands();
  Put("src/a", "22", 1100000000);
  Put("src/b", "1");
  ASSERT_EQ(Upload(kMirror, &server).counters, "0 0 0 2 0");
  const Lines commands = server.TakeCommands();
  const auto asked = static_cast<int>(std::count_if(
      commands.begin(), commands.end(), [](const std::string& line) { return line.starts_with("MDTM"); }));
  const bool isFirst = std::find(commands.begin(), commands.end(), "SIZE /pub/a") <
                       std::find(commands.begin(), commands.end(), "SIZE /pub/b");
  ASSERT_TRUE(isFirst);
  EXPECT_EQ(asked, 0);
}

TEST_F(SynchroGuardedFTPTest, KeepsDotFilesInStep_ThatAListDoesNotShow) {
  for (const uint32_t flags : {kDelete, kTwoWay}) {
    SCOPED_TRACE(flags);
    Clear();
    FTPTree server(Folder("dst"));
    server.settings.hasFacts = false;
    server.settings.hidesDotFiles = true;
    Put("src/.profile", "1");
    EXPECT_EQ(Upload(flags, &server).counters, "0 0 0 1 0");
    EXPECT_EQ(Tree("dst"), ".profile=1");
    const Outcome second = Upload(flags, &server);
    EXPECT_EQ(second.counters, "0 0 0 0 0") << "the root shows nothing, and is not lost";
    EXPECT_EQ(FileLines(second), (Lines{"file = ftp:  .profile  -> None"}));
    Put("src/.profile", "22", 1100000000);
    EXPECT_EQ(Upload(flags, &server).counters, "0 0 0 1 0");
    Put("src/.profile", "333", 1100000001);
    EXPECT_EQ(Upload(flags, &server).counters, "0 0 0 1 0") << "it was in step since its upload";
    EXPECT_EQ(Tree("dst"), ".profile=333");
    Put("src/z", "1");
    ASSERT_EQ(Upload(flags, &server).counters, "0 0 0 1 0");
    Remove("src/.profile");
    EXPECT_EQ(Upload(flags, &server).counters, flags == kDelete ? "0 0 0 0 1" : "0 1 0 0 0");
  }
}

// Nothing of the upload is open any more: an edit of its size is an edit.
TEST_F(SynchroGuardedFTPTest, LeavesAnEditOfADotFileThatItHasUploaded) {
  FTPTree server(Folder("dst"));
  server.settings.hasFacts = false;
  server.settings.hidesDotFiles = true;
  Put("src/.profile", "1");
  ASSERT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 1 0");
  Put("dst/.profile", "9", 1200000000);
  Put("src/.profile", "22", 1100000000);
  EXPECT_EQ(FileLines(Upload(kTwoWay, &server)), (Lines{"file ! ftp:  .profile  -> None"}));
  EXPECT_EQ(Tree("src") + "|" + Tree("dst"), ".profile=22|.profile=9");
}

TEST_F(SynchroGuardedFTPTest, LeavesADotFileOfWhichTheTimeCannotBeAsked) {
  FTPTree server(Folder("dst"));
  server.settings.hasFacts = server.settings.hasTimes = false;
  server.settings.hidesDotFiles = true;
  Put("src/.profile", "mine");
  Put("dst/.profile", "theirs");
  const Outcome outcome = Upload(kMirror, &server);
  EXPECT_EQ(FileLines(outcome), (Lines{"file = ftp:  .profile  -> Invalid"}));
  EXPECT_EQ(Tree("dst"), ".profile=theirs");
}

TEST_F(SynchroGuardedFTPTest, OverwritesNoDotFileOfASource_ThatAListDoesNotShow) {
  FTPTree server(Folder("src"));
  server.settings.hasFacts = false;
  server.settings.hidesDotFiles = true;
  Put("src/.profile", "mine");
  Put("dst/.profile", "other one");
  EXPECT_EQ(FileLines(Download(kTwoWay, &server)), (Lines{"ftp ! file:  .profile  -> None"}));
  EXPECT_EQ(Tree("src") + "|" + Tree("dst"), ".profile=mine|.profile=other one");
}

// ---- first runs --------------------------------------------------------------------------------

TEST_F(SynchroGuardedFTPTest, TakesFilesOfOneSizeForTheSame_InTheFirstRun) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    Put("src/a", "one");
    Put("dst/a", "two", 1100000000);
    Put("src/b", "1");
    Put("dst/b", "22");
    const Outcome first = Guarded(kTwoWay, source, destination);
    EXPECT_EQ(first.counters, "0 0 0 0 0");
    const std::string sides = std::string(source != nullptr ? "ftp" : "file") + " ";
    const std::string to = destination != nullptr ? " ftp: " : " file: ";
    EXPECT_EQ(FileLines(first), (Lines{sides + "!" + to + " b  -> None", sides + "=" + to + " a  -> None"}));
    Put("dst/a", "three", 1200000000);
    EXPECT_EQ(Guarded(kTwoWay, source, destination).counters, "0 1 0 0 0") << "it was in step";
    EXPECT_EQ(Tree("src") + "|" + Tree("dst"), "a=three b=1|a=three b=22");
  });
}

TEST_F(SynchroGuardedFTPTest, OverwritesAndDeletesNothing_WhenTheTablesAreLost) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    Put("src/a", "1");
    Put("src/b", "1");
    Guarded(kDelete, source, destination);
    ForgetTables();
    Remove("src/a");
    Put("src/b", "22", 1100000000);
    EXPECT_EQ(Guarded(kDelete, source, destination).counters, "0 0 0 0 0");
    EXPECT_EQ(Tree("dst"), "a=1 b=1");
  });
}

TEST_F(SynchroGuardedFTPTest, AsksForTheSizesOfLargeFiles) {
  FTPTree server(Folder("dst"));
  for (const char* const name : {"src/same", "dst/same", "src/other", "dst/other"}) Put(name, "");
  constexpr uint64_t kLarge = (uint64_t{5} << 30) + 1;
  std::filesystem::resize_file(Folder("src/same"), kLarge);
  std::filesystem::resize_file(Folder("dst/same"), kLarge);
  std::filesystem::resize_file(Folder("src/other"), kLarge);
  std::filesystem::resize_file(Folder("dst/other"), kLarge + 1);
  EXPECT_EQ(FileLines(Upload(kMirror, &server)),
            (Lines{"file ! ftp:  other  -> None", "file = ftp:  same  -> None"}));
}

// ---- what happens meanwhile --------------------------------------------------------------------

TEST_F(SynchroGuardedFTPTest, AsksAgainBeforeItCopiesToAFreePlace) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    Put("src/a", "1");
    WhenListed([this] { Put("dst/a", "new"); });
    const Outcome outcome = Guarded(kMirror, source, destination);
    ASSERT_EQ(FileLines(outcome).size(), 1u);
    EXPECT_TRUE(FileLines(outcome)[0].ends_with(" a  -> Exists")) << FileLines(outcome)[0];
    EXPECT_EQ(Tree("dst"), "a=new");
  });
}

TEST_F(SynchroGuardedFTPTest, AsksAgainBeforeItOverwrites) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    Put("src/a", "1");
    Guarded(kMirror, source, destination);
    Put("src/a", "22", 1100000000);
    // As long as the old one: the time alone tells.
    WhenListed([this] { Put("dst/a", "x", 1200000000); });
    const Outcome outcome = Guarded(kMirror, source, destination);
    ASSERT_EQ(FileLines(outcome).size(), 1u);
    EXPECT_TRUE(FileLines(outcome)[0].ends_with(" a  -> Retry")) << FileLines(outcome)[0];
    EXPECT_EQ(Tree("dst"), "a=x");
  });
}

TEST_F(SynchroGuardedFTPTest, AsksAgainBeforeItDeletes) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    Put("src/a", "1");
    Put("src/z", "1");
    Guarded(kDelete, source, destination);
    Remove("src/a");
    WhenListed([this] { Put("src/a", "back"); });
    EXPECT_EQ(Guarded(kDelete, source, destination).counters, "0 0 0 0 0");
    EXPECT_EQ(Tree("dst"), "a=1 z=1");
    Remove("src/a");
    WhenListed([this] { Put("dst/a", "x", 1200000000); });
    EXPECT_EQ(Guarded(kDelete, source, destination).counters, "0 0 0 0 0");
    EXPECT_EQ(Tree("dst"), "a=x z=1");
  });
}

// What an upload or a download takes may be hours.
TEST_F(SynchroGuardedFTPTest, LeavesWhatComesToThePlaceWhileItCopies) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    const auto whenCopied = [&](const std::string& text) {
      for (FTPTree* const server : {source, destination}) {
        if (server == nullptr) continue;
        server->onCommand = [this, text](const std::string& command) {
          if (command.starts_with("RETR") || command.starts_with("STOR")) Put("dst/a", text, 1150000000);
        };
      }
    };
    Put("src/a", "1");
    whenCopied("precious");
    const Outcome free = Guarded(kMirror, source, destination);
    EXPECT_EQ(free.counters, "0 0 0 0 0");
    ASSERT_EQ(FileLines(free).size(), 1u);
    EXPECT_TRUE(FileLines(free)[0].ends_with(" a  -> Exists")) << FileLines(free)[0];
    EXPECT_EQ(Tree("dst"), "a=precious");
    whenCopied("x");
    Put("src/a", "precious");
    Guarded(kMirror, source, destination);
    Put("src/a", "22", 1100000000);
    const Outcome taken = Guarded(kMirror, source, destination);
    ASSERT_EQ(FileLines(taken).size(), 1u);
    EXPECT_TRUE(FileLines(taken)[0].ends_with(" a  -> Retry")) << FileLines(taken)[0];
    EXPECT_EQ(Tree("dst"), "a=x") << "and nothing beside it";
  });
}

TEST_F(SynchroGuardedFTPTest, LeavesTwoChangesOfOneSize) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    Put("src/f", "text");
    ASSERT_EQ(Guarded(kTwoWay, source, destination).counters, "0 0 0 1 0");
    Put("src/f", "locl", 1100000000);
    Put("dst/f", "srvX", 1200000000);
    const Outcome outcome = Guarded(kTwoWay, source, destination);
    ASSERT_EQ(FileLines(outcome).size(), 1u);
    EXPECT_NE(FileLines(outcome)[0].find(" ! "), std::string::npos) << FileLines(outcome)[0];
    Put("src/f", "local more", 1300000000);
    EXPECT_EQ(Guarded(kTwoWay, source, destination).counters, "0 0 0 0 0");
    EXPECT_EQ(Tree("src") + "|" + Tree("dst"), "f=local more|f=srvX");
  });
}

TEST_F(SynchroGuardedFTPTest, LeavesAFileThatIsNotCalledMissing) {
  for (const bool hasFacts : {true, false}) {
    for (const char* const reply : {"450 busy", "500 what?", "530 no", "553 no"}) {
      SCOPED_TRACE(reply);
      Clear();
      FTPTree server(Folder("dst"));
      server.settings.hasFacts = hasFacts;
      Put("src/a", "1");
      server.settings.replies[hasFacts ? "MLST /pub/a" : "SIZE /pub/a"] = reply;
      EXPECT_EQ(FileLines(Upload(kMirror, &server)), (Lines{"file > ftp:  a  -> Invalid"}));
      EXPECT_EQ(Tree("dst"), "");
    }
  }
}

TEST_F(SynchroGuardedFTPTest, FindsAFileWhoseNameIsAPattern_InTheListOfItsFolder) {
  FTPTree server(Folder("dst"));
  server.settings.hasFacts = false;
  Put("src/a[1]", "1");
  ASSERT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  server.TakeCommands();
  Put("src/a[1]", "22", 1100000000);
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  const Lines commands = server.TakeCommands();
  ASSERT_GE(commands.size(), 6u);
  EXPECT_EQ(Lines(commands.begin(), commands.begin() + 6),
            (Lines{"FEAT", "CWD /pub/", "LIST", "SIZE /pub/a[1]", "CWD /pub/", "LIST"}));
  EXPECT_EQ(Tree("dst"), "a[1]=22");
}

// ---- names -------------------------------------------------------------------------------------

TEST_F(SynchroGuardedFTPTest, LeavesNamesThatALongLineLeavesAmbiguous) {
  FTPTree server(Folder("dst"));
  Put("src/my file", "1");
  Put("src/plain", "1");
  ASSERT_EQ(Upload(kDelete, &server).counters, "0 0 0 2 0");
  server.settings.hasFacts = false;
  Remove("src/my file");
  Put("src/your file", "2");
  Put("dst/their file", "3");
  const Outcome outcome = Upload(kDelete, &server);
  EXPECT_EQ(outcome.counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "my file=1 plain=1 their file=3");
  Lines told;
  for (const std::string& line : outcome.lines) {
    if (line.starts_with("* Ambiguous: ")) told.push_back(line);
  }
  std::sort(told.begin(), told.end());
  EXPECT_EQ(told, (Lines{"* Ambiguous:  my file", "* Ambiguous:  their file", "* Ambiguous:  your file"}));
  EXPECT_EQ(FileLines(outcome),
            (Lines{"file = ftp:  my file  -> Invalid", "file = ftp:  plain  -> None",
                   "file = ftp:  their file  -> Invalid", "file = ftp:  your file  -> Invalid"}));
}

// Names that would lead out of the folder, names twice, lines of any kind: nothing is done but for "good".
TEST_F(SynchroGuardedFTPTest, TakesNothingFromAHostileListing) {
  const std::string facts = "type=file;size=5;modify=20200102030405; ";
  const std::string mode = "-rw-r--r--   1 owner group 5 Jan  2 2020 03:04 ";
  for (const bool hasFacts : {true, false}) {
    SCOPED_TRACE(hasFacts);
    Clear();
    FTPTree server(Folder("src"));
    server.settings.hasFacts = hasFacts;
    Put("src/good", "12345");
    Put("dst/twice", "mine");
    std::string text;
    for (const char* const name :
         {"../up", "..", "/abs", "a/b", "a\\b", "C:x", "good", "twice", "twice", "tab\tb"})
      text += (hasFacts ? facts : mode) + name + "\r\n";
    server.settings.listingText = text;
    EXPECT_EQ(Download(kDelete, &server).state, SynchroState_Finished);
    const Lines asked = hasFacts ? Lines{"FEAT", "MLSD /pub/", "MLST /pub/good"}
                                 : Lines{"FEAT", "CWD /pub/", "LIST", "SIZE /pub/good", "RETR /pub/good"};
    EXPECT_EQ(server.TakeCommands(), asked);
    root_.SetModified("src/good", 1577934245);  // as it is listed
    Download(kDelete, &server);
    EXPECT_EQ(Tree("dst"), "good=12345 twice=mine");
    EXPECT_EQ(root_.List(), (Lines{"dst", "src"}));
  }
}

TEST_F(SynchroGuardedFTPTest, EndsTheRun_WhenALineIsTooLongOrHasAZeroByte) {
  FTPTree server(Folder("src"));
  Put("dst/a", "1");
  const std::string facts = "type=file;size=5;modify=20200102030405; ";
  for (const std::string& line : {facts + std::string(5000, 'n') + "\r\n", facts + std::string("a\0b\r\n", 5),
                                  facts + std::string(1 << 20, 'n'), std::string("\r\n")}) {
    server.settings.listingText = facts + "good\r\n" + line;
    EXPECT_EQ(Download(kDelete, &server).counters, "-4 0 0 0 0") << line.size();
    EXPECT_EQ(Tree("dst"), "a=1");
  }
}

TEST_F(SynchroGuardedFTPTest, PutsNoFileInThePlaceOfAFolder) {
  WithEachSide([&](FTPTree* source, FTPTree* destination) {
    Put("src/a", "1");
    root_.MakeDirectory("dst/a");
    Put("dst/a/inner", "1");
    EXPECT_EQ(Guarded(kMirror, source, destination).counters, "0 0 0 0 0");
    EXPECT_EQ(Tree("dst"), "a/ a/inner=1");
  });
}

}  // namespace
