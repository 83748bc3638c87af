// Uploads of guarded runs that go wrong: what stands on the server then, and behind the next run.
#include <memory>
#include <string>

#include "tests/synchro/synchro_guarded_ftp_fixture.h"
#include "tests/synchro/synchro_moment.h"

namespace {

using synchro::kDelete;
using synchro::kMirror;
using synchro::kTwoWay;
using synchro::Lines;
using synchro::Outcome;

// ---- uploads that go wrong ---------------------------------------------------------------------

class SynchroUploadTest : public synchro::GuardedFTPTest {
 protected:
  // A file that is in step and has changed at the source.
  void Change(FTPTree* server) {
    Put("src/a", "old");
    ASSERT_EQ(Upload(kMirror, server).counters, "0 0 0 1 0");
    server->TakeCommands();
    Put("src/a", "new text", 1100000000);
    iSynchro_SetNextTemporaryNumber(1);
  }
  static void TakeReason(Word value, const SynchroEntryInfo* info, ErrorCode) {
    reinterpret_cast<std::vector<int32_t>*>(value)->push_back(info->reason);
  }
  std::string Remembered() { return synchro::WithoutReturns(synchro::ReadAll(CachePath("t.xfer"))); }
};

TEST_F(SynchroUploadTest, KeepsTheOldFile_WhenTheNewOneIsCut) {
  FTPTree server(Folder("dst"));
  Change(&server);
  server.settings.storesAtMost = 3;
  EXPECT_EQ(FileLines(Upload(kMirror, &server)), (Lines{"file > ftp:  a  -> Invalid"}));
  EXPECT_EQ(Tree("dst"), "a=old") << "and nothing beside it";
  server.settings.storesAtMost = UINT64_MAX;
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=new text");
}

TEST_F(SynchroUploadTest, KeepsTheOldFile_WhenTheServerHasLessThanItSays) {
  FTPTree server(Folder("dst"));
  Change(&server);
  server.settings.replies["SIZE /pub/xfer1"] = "213 3";
  EXPECT_EQ(FileLines(Upload(kMirror, &server)), (Lines{"file > ftp:  a  -> Ended"}));
  EXPECT_EQ(Tree("dst"), "a=old");
}

TEST_F(SynchroUploadTest, KeepsTheOldFile_WhenTheLocalOneShrinksMeanwhile) {
  FTPTree server(Folder("dst"));
  Change(&server);
  // A server that does not tell sizes would not notice.
  server.settings.replies["SIZE /pub/xfer1"] = "500 what?";
  server.onCommand = [this](const std::string& command) {
    if (command.starts_with("STOR")) root_.Write("src/a", "new");
  };
  EXPECT_EQ(FileLines(Upload(kMirror, &server)), (Lines{"file > ftp:  a  -> Ended"}));
  EXPECT_EQ(Tree("dst"), "a=old");
}

// The server says that it has all of it.
TEST_F(SynchroUploadTest, PutsNoCutFileInAFreePlace) {
  for (const bool knowsSize : {true, false}) {
    SCOPED_TRACE(knowsSize);
    Clear();
    iSynchro_SetNextTemporaryNumber(1);
    FTPTree server(Folder("dst"));
    if (!knowsSize) server.settings.replies["SIZE /pub/xfer1"] = "502 no";
    bool isStored = false;
    server.onCommand = [&](const std::string& command) {
      if (isStored && root_.Exists("dst/xfer1")) Put("dst/xfer1", "h");
      isStored = isStored || command.starts_with("STOR");
    };
    Put("src/a", "whole");
    EXPECT_EQ(FileLines(Upload(kTwoWay, &server)), (Lines{"file > ftp:  a  -> Ended"}));
    EXPECT_EQ(Tree("src") + "|" + Tree("dst"), "a=whole|");
    server.onCommand = nullptr;
    EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 1 0");
    EXPECT_EQ(Tree("src") + "|" + Tree("dst"), "a=whole|a=whole");
  }
}

// ---- uploads that are not listed again ---------------------------------------------------------

// A run that is stopped at the first command behind the upload of "a".
class SynchroStoppedUploadTest : public SynchroUploadTest {
 protected:
  void UploadAndStop(FTPTree* server) {
    Synchro* const synchro = New(kTwoWay, FileURL("src"), server->URL());
    Synchro_SetGuarded(synchro, 1);
    bool isRenamed = false;
    server->onCommand = [&](const std::string& command) {
      if (isRenamed) Synchro_Stop(synchro);
      isRenamed = isRenamed || command == "RNTO /pub/a";
    };
    Go(synchro);
    Synchro_Delete(synchro);
    server->AwaitEnd();
    server->onCommand = nullptr;
    AllLines();
  }
  // What a kill at a command leaves.
  void UploadAndKill(FTPTree* server, const std::string& command) {
    std::unique_ptr<synchro::Moment> moment;
    server->onCommand = [&](const std::string& sent) {
      if (moment == nullptr && sent == command)
        moment = std::make_unique<synchro::Moment>(
            Folder("moment"), std::vector<std::filesystem::path>{CachePath(), Folder("dst")});
    };
    Upload(kTwoWay, server);
    server->onCommand = nullptr;
    ASSERT_NE(moment, nullptr);
    moment->Restore();
    Remove("moment");
  }
};

TEST_F(SynchroStoppedUploadTest, SeesAnEditBehindItsUpload) {
  for (const bool hasFacts : {true, false}) {
    for (const bool isNew : {true, false}) {
      SCOPED_TRACE(testing::Message() << "MLSD " << hasFacts << ", new " << isNew);
      Clear();
      FTPTree server(Folder("dst"));
      server.settings.hasFacts = hasFacts;
      if (!isNew) Change(&server);
      Put("src/a", "edited", 1200000000);
      UploadAndStop(&server);
      ASSERT_EQ(Tree("dst"), "a=edited");
      Put("src/a", "edited again", 1300000000);
      EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 1 0");
      EXPECT_EQ(Tree("src") + "|" + Tree("dst"), "a=edited again|a=edited again");
      EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 0 0");
    }
  }
}

TEST_F(SynchroStoppedUploadTest, LeavesAnEditOfTheServer_BehindItsUpload) {
  FTPTree server(Folder("dst"));
  Change(&server);
  UploadAndStop(&server);
  Put("src/a", "edited again", 1300000000);
  Put("dst/a", "edited there", 1300000000);
  EXPECT_EQ(FileLines(Upload(kTwoWay, &server)), (Lines{"file ! ftp:  a  -> None"}));
  EXPECT_EQ(Tree("dst"), "a=edited there");
}

TEST_F(SynchroStoppedUploadTest, SeesAnEditBehindItsUpload_WhenItWasKilled) {
  FTPTree server(Folder("dst"));
  Change(&server);
  UploadAndKill(&server, "RNTO /pub/a");
  ASSERT_EQ(Tree("dst"), "a=old xfer1=new text");
  std::filesystem::rename(Folder("dst/xfer1"), Folder("dst/a"));
  Put("src/a", "edited again", 1200000000);
  EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("src") + "|" + Tree("dst"), "a=edited again|a=edited again");
}

// Of the upload only the size is known.
TEST_F(SynchroStoppedUploadTest, UploadsAgain_WhenTheOldFileHasTheSameSize_AndItWasKilled) {
  for (const bool hasFacts : {true, false}) {
    for (const bool showsDaysOnly : {false, true}) {
      SCOPED_TRACE(testing::Message() << "MLSD " << hasFacts << ", days only " << showsDaysOnly);
      Clear();
      FTPTree server(Folder("dst"));
      server.settings.hasFacts = hasFacts;
      Change(&server);
      server.settings.showsDaysOnly = showsDaysOnly;
      Put("src/a", "new", 1200000000);
      UploadAndKill(&server, "RNFR /pub/xfer1");
      ASSERT_EQ(Tree("dst"), "a=old xfer1=new");
      EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 0 0 1 0");
      EXPECT_EQ(Tree("src") + "|" + Tree("dst"), "a=new|a=new");
    }
  }
}

// Asked for by the user, onto a change of one size.
TEST_F(SynchroStoppedUploadTest, KeepsAConflictOfOneSize_WhenItWasKilled) {
  FTPTree server(Folder("dst"));
  Change(&server);
  Put("src/a", "locl", 1200000000);
  Put("dst/a", "srvX", 1200000000);
  settles_ = true;
  UploadAndKill(&server, "RNFR /pub/xfer1");
  ASSERT_EQ(Tree("dst"), "a=srvX xfer1=locl");
  settles_ = false;
  EXPECT_EQ(FileLines(Upload(kTwoWay, &server)), (Lines{"file ! ftp:  a  -> None"}));
  EXPECT_EQ(Tree("dst"), "a=srvX");
}

// ---- uploads that cannot take their place ------------------------------------------------------

TEST_F(SynchroUploadTest, MovesTheOldFileAside_WhereARenameReplacesNothing) {
  FTPTree server(Folder("dst"));
  server.settings.replacesByRename = false;
  Change(&server);
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=new text");
  EXPECT_EQ(
      server.TakeCommands(),
      (Lines{"FEAT", "MLSD /pub/", "MLST /pub/a", "MLST /pub/xfer1", "STOR /pub/xfer1", "SIZE /pub/xfer1",
             "MLST /pub/a", "RNFR /pub/xfer1", "RNTO /pub/a", "MLST /pub/xfer2", "RNFR /pub/a",
             "RNTO /pub/xfer2", "RNFR /pub/xfer1", "RNTO /pub/a", "DELE /pub/xfer2", "MLSD /pub/"}));
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 0 0");
  EXPECT_EQ(CacheNames().size(), 2u) << "nothing is left to be remembered";
}

TEST_F(SynchroUploadTest, PutsTheOldFileBack_WhenTheNewOneIsRefused) {
  FTPTree server(Folder("dst"));
  Change(&server);
  int refusals = 2;
  server.settings.replies["RNTO /pub/a"] = "553 no";
  server.onCommand = [&](const std::string& command) {
    if (command == "RNTO /pub/a" && --refusals < 0) server.settings.replies.clear();
  };
  EXPECT_EQ(FileLines(Upload(kMirror, &server)), (Lines{"file > ftp:  a  -> Invalid"}));
  EXPECT_EQ(Tree("dst"), "a=old");
  EXPECT_EQ(CacheNames().size(), 2u);
}

TEST_F(SynchroUploadTest, PutsTheOldFileBackInTheNextRun_WhenItCannotBeDoneNow) {
  FTPTree server(Folder("dst"));
  Change(&server);
  server.settings.replies["RNTO /pub/a"] = "553 no";
  EXPECT_EQ(FileLines(Upload(kMirror, &server)), (Lines{"file > ftp:  a  -> Invalid"}));
  EXPECT_EQ(Tree("dst"), "xfer2=old");
  EXPECT_EQ(Remembered(), "ftp://u@127.0.0.1:" + std::to_string(server.port()) + "/pub/xfer2\ta\n");
  server.settings.replies.clear();
  server.TakeCommands();
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=new text");
  const Lines commands = server.TakeCommands();
  ASSERT_GE(commands.size(), 5u);
  EXPECT_EQ(Lines(commands.begin(), commands.begin() + 5),
            (Lines{"FEAT", "MLST /pub/a", "RNFR /pub/xfer2", "RNTO /pub/a", "MLSD /pub/"}));
}

TEST_F(SynchroUploadTest, RemovesWhatAKilledRunHasLeft) {
  FTPTree server(Folder("dst"));
  const std::string place = "ftp://u@127.0.0.1:" + std::to_string(server.port()) + "/pub/";
  Put("src/a", "1");
  Put("dst/a", "1");
  Put("dst/xfer7", "half");
  Put("dst/xfer8", "old");
  Put("dst/xfer9", "of another synchroniser");
  synchro::WriteAll(CachePath("t.xfer"), place + "xfer7\n" + place + "xfer8\ta\n" + place + "xfer5\n");
  Synchro* const plan = New(kTwoWay, FileURL("src"), server.URL());
  Synchro_SetGuarded(plan, 1);
  Synchro_SetPlanOnly(plan, 1);
  EXPECT_EQ(Go(plan).counters, "0 1 0 0 0") << "what is remembered is no file";
  Synchro_Delete(plan);
  server.AwaitEnd();
  EXPECT_EQ(Tree("dst"), "a=1 xfer7=half xfer8=old xfer9=of another synchroniser");
  EXPECT_EQ(Upload(kTwoWay, &server).counters, "0 1 0 0 0");
  EXPECT_EQ(Tree("dst"), "a=1 xfer9=of another synchroniser");
  EXPECT_EQ(Tree("src"), "a=1 xfer9=of another synchroniser");
}

// Between the two renames of a server that replaces nothing.
TEST_F(SynchroUploadTest, PlansAFileThatWasMovedAside_UnderItsOwnName) {
  for (const bool hasFacts : {true, false}) {
    for (const bool isAlone : {true, false}) {
      SCOPED_TRACE(testing::Message() << "MLSD " << hasFacts << ", alone " << isAlone);
      Clear();
      FTPTree server(Folder("dst"));
      server.settings.hasFacts = hasFacts;
      if (!isAlone) root_.Write("src/z", "1");
      root_.Write("src/a", "old");
      ASSERT_EQ(Upload(kDelete, &server).counters, isAlone ? "0 0 0 1 0" : "0 0 0 2 0");
      Put("src/a", "new text", 1100000000);
      std::filesystem::rename(Folder("dst/a"), Folder("dst/xfer8"));
      synchro::WriteAll(CachePath("t.xfer"),
                        "ftp://u@127.0.0.1:" + std::to_string(server.port()) + "/pub/xfer8\ta\n");
      Synchro* const plan = New(kDelete, FileURL("src"), server.URL());
      Synchro_SetGuarded(plan, 1);
      Synchro_SetPlanOnly(plan, 1);
      std::vector<int32_t> reasons;
      Synchro_SetResultMethod(plan, reinterpret_cast<Word>(&reasons), TakeReason);
      const Outcome outcome = Go(plan);
      Synchro_Delete(plan);
      server.AwaitEnd();
      EXPECT_EQ(outcome.state, SynchroState_Finished);
      EXPECT_EQ(outcome.counters, "0 0 0 1 0");
      std::sort(reasons.begin(), reasons.end());
      EXPECT_EQ(reasons, isAlone ? (std::vector<int32_t>{SynchroReason_Changed})
                                 : (std::vector<int32_t>{SynchroReason_Unchanged, SynchroReason_Changed}));
      EXPECT_EQ(Upload(kDelete, &server).counters, "0 0 0 1 0");
      EXPECT_EQ(Tree("dst"), isAlone ? "a=new text" : "a=new text z=1");
    }
  }
}

// The server refuses to move it back: the folder is not empty for that.
TEST_F(SynchroUploadTest, CountsAFileThatStaysAside) {
  FTPTree server(Folder("dst"));
  Change(&server);
  std::filesystem::rename(Folder("dst/a"), Folder("dst/xfer8"));
  server.settings.replies["RNFR /pub/xfer8"] = "550 no";
  synchro::WriteAll(CachePath("t.xfer"),
                    "ftp://u@127.0.0.1:" + std::to_string(server.port()) + "/pub/xfer8\ta\n");
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "a=new text") << "the old one has gone behind the new one";
}

TEST_F(SynchroUploadTest, RemovesNothingThatARecordNamesButWhatItWrites) {
  FTPTree server(Folder("dst"));
  const std::string place = "ftp://u@127.0.0.1:" + std::to_string(server.port()) + "/pub/";
  for (const char* const name : {"a", "xfer", "xfer1x", "b", "12345"}) Put(std::string("dst/") + name, "1");
  synchro::WriteAll(CachePath("t.xfer"), place + "a\n" + place + "12345\n" + place + "xfer\n" + place +
                                             "xfer1x\n" + place + "b\txfer1\n" + place + "xfer7\t../b\n");
  Upload(kMirror, &server);
  EXPECT_EQ(Tree("dst"), "12345=1 a=1 b=1 xfer=1 xfer1x=1");
}

TEST_F(SynchroUploadTest, ConnectsAgain_AndRemovesWhatItHasStored) {
  FTPTree server(Folder("dst"));
  Put("src/a", "1");
  server.settings.replies["RNFR /pub/xfer1"] = "";
  Put("src/b", "1");
  const Outcome outcome = Upload(kMirror, &server);
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(outcome.counters, "0 0 0 1 0") << "the other file is copied";
  EXPECT_EQ(Upload(kMirror, &server).counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=1 b=1");
}

TEST_F(SynchroUploadTest, StopsInsideAnUpload_AndRemovesWhatItHasStored) {
  FTPTree server(Folder("dst"));
  Change(&server);
  Put("src/a", std::string(20000000, 'x'), 1200000000);
  server.hangs = true;
  Synchro* const synchro = New(kMirror, FileURL("src"), server.URL());
  Synchro_SetGuarded(synchro, 1);
  ASSERT_EQ(Synchro_Go(synchro), Error_None);
  while (!server.isHanging) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  const auto start = std::chrono::steady_clock::now();
  Synchro_Stop(synchro);
  server.hangs = false;
  Synchro_Delete(synchro);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  server.AwaitEnd();
  EXPECT_EQ(Tree("dst"), "a=old");
  EXPECT_EQ(FileLines({0, 0, "", AllLines()}), (Lines{"file > ftp:  a  -> Cancel"}));
}

}  // namespace
