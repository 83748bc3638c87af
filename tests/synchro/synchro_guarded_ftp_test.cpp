// Guarded runs with FTP servers on one side or both.
#include <string>

#include "synchro/synchro_upload_testing.h"
#include "tests/support/ftp_tree.h"
#include "tests/synchro/synchro_fixture.h"

namespace {

using synchro::Lines;
using synchro::Outcome;

constexpr uint32_t kRecurse = SynchroFlag_Recurse;
constexpr uint32_t kMirror = kRecurse | SynchroFlag_ToDestination;
constexpr uint32_t kDelete = kMirror | SynchroFlag_DeleteAtDestination;
constexpr uint32_t kTwoWay = kMirror | SynchroFlag_ToSource;

// "src" and "dst" are folders of the disk; a side that is a server serves its folder.
class SynchroGuardedFTPTest : public synchro::Test {
 protected:
  SynchroGuardedFTPTest() { iSynchro_SetNextTemporaryNumber(1); }

  std::string URLOf(FTPTree* server, const std::string& folder) {
    return server != nullptr ? server->URL() : FileURL(folder);
  }
  // A server is told by its folder; null for a local side.
  Outcome Guarded(uint32_t flags, FTPTree* source, FTPTree* destination) {
    Synchro* const synchro = New(flags, URLOf(source, "src"), URLOf(destination, "dst"));
    if (synchro == nullptr) return {};
    EXPECT_EQ(Synchro_SetGuarded(synchro, 1), Error_None);
    Outcome outcome = Go(synchro);
    Synchro_Delete(synchro);
    outcome.lines = AllLines();
    for (FTPTree* const server : {source, destination}) {
      if (server != nullptr) server->AwaitEnd();
    }
    return outcome;
  }
  Outcome Upload(uint32_t flags, FTPTree* server) { return Guarded(flags, nullptr, server); }
  Outcome Download(uint32_t flags, FTPTree* server) { return Guarded(flags, server, nullptr); }

  std::filesystem::path Folder(const std::string& name) { return root_.SystemName(name); }
};

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
                   "RNFR /pub/xfer1", "RNTO /pub/a", "MLSD /pub/"}));
  const Outcome second = Upload(kMirror, &server);
  EXPECT_EQ(second.counters, "0 0 0 0 0");
  EXPECT_EQ(FileLines(second), (Lines{"file = ftp:  a  -> None"}));
  EXPECT_EQ(server.TakeCommands(), (Lines{"FEAT", "MLSD /pub/"}));
  Put("src/sub/my file.txt", "22");
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=1 sub/ sub/my file.txt=22");
  EXPECT_EQ(server.TakeCommands(),
            (Lines{"FEAT", "MLSD /pub/", "MLSD /pub/sub", "MKD /pub/sub", "MLST /pub/sub/my file.txt",
                   "MLST /pub/sub/xfer2", "STOR /pub/sub/xfer2", "RNFR /pub/sub/xfer2",
                   "RNTO /pub/sub/my file.txt", "MLSD /pub/sub"}));
  Put("src/a", "333", 1100000000);
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=333 sub/ sub/my file.txt=22");
  EXPECT_EQ(server.TakeCommands(),
            (Lines{"FEAT", "MLSD /pub/", "MLST /pub/a", "MLST /pub/xfer3", "STOR /pub/xfer3",
                   "SIZE /pub/xfer3", "RNFR /pub/xfer3", "RNTO /pub/a", "MLSD /pub/sub", "MLSD /pub/"}));
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 0 0");
}

TEST_F(SynchroGuardedFTPTest, DoesWithoutMLSD) {
  FTPTree server(Folder("dst"));
  server.settings.hasFacts = false;
  Put("src/a", "1");
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(server.TakeCommands(),
            (Lines{"FEAT", "CWD /pub/", "LIST", "SIZE /pub/a", "SIZE /pub/xfer1", "STOR /pub/xfer1",
                   "RNFR /pub/xfer1", "RNTO /pub/a", "CWD /pub/", "LIST"}));
  Put("src/sub/b", "22");
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=1 sub/ sub/b=22");
  EXPECT_EQ(server.TakeCommands(), (Lines{"FEAT", "CWD /pub/", "LIST", "CWD /pub/sub", "MKD /pub/sub",
                                          "SIZE /pub/sub/b", "SIZE /pub/sub/xfer2", "STOR /pub/sub/xfer2",
                                          "RNFR /pub/sub/xfer2", "RNTO /pub/sub/b", "CWD /pub/sub", "LIST"}));
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 0 0");
  EXPECT_EQ(server.TakeCommands(), (Lines{"FEAT", "CWD /pub/", "LIST", "CWD /pub/sub", "LIST"}));
  Put("src/a", "333", 1100000000);
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(server.TakeCommands(),
            (Lines{"FEAT", "CWD /pub/", "LIST", "SIZE /pub/a", "LIST /pub/a", "SIZE /pub/xfer3",
                   "STOR /pub/xfer3", "SIZE /pub/xfer3", "RNFR /pub/xfer3", "RNTO /pub/a", "CWD /pub/sub",
                   "LIST", "CWD /pub/", "LIST"}));
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

TEST_F(SynchroGuardedFTPTest, CopiesBetweenServersThroughALocalFile) {
  FTPTree source(Folder("src"));
  FTPTree destination(Folder("dst"));
  Put("src/a", "text");
  EXPECT_EQ(Guarded(kMirror, &source, &destination).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=text");
  EXPECT_EQ(source.TakeCommands(), (Lines{"FEAT", "MLSD /pub/", "MLST /pub/a", "RETR /pub/a"}));
  EXPECT_EQ(destination.TakeCommands(),
            (Lines{"FEAT", "MLSD /pub/", "MLST /pub/a", "MLST /pub/xfer1", "STOR /pub/xfer1",
                   "RNFR /pub/xfer1", "RNTO /pub/a", "MLSD /pub/"}));
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
    for (const char* const side : {"src", "dst"}) {
      Remove(side);
      root_.MakeDirectory(side);
    }
    for (const std::string& name : CacheNames()) std::filesystem::remove(CachePath(name));
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
    for (const std::string& name : CacheNames()) std::filesystem::remove(CachePath(name));
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
    for (const std::string& name : CacheNames()) std::filesystem::remove(CachePath(name));
  }
}

}  // namespace
