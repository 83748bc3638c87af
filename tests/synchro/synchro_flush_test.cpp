// Copies whose bytes do not come to the disk. FlushToDisk of the seam is wrapped (tests/CMakeLists.txt).
#include <cerrno>

#include "synchro/synchro_copy_internal.h"
#include "tests/synchro/synchro_fixture.h"
#include "tests/synchro/synchro_ftp_fixture.h"

namespace {

bool flushesWell = true;
int flushes = 0;

}  // namespace

// platform::FlushToDisk(int descriptor).
extern "C" bool __real__ZN8platform11FlushToDiskEi(int descriptor);
extern "C" bool __wrap__ZN8platform11FlushToDiskEi(int descriptor) {
  ++flushes;
  if (flushesWell) return __real__ZN8platform11FlushToDiskEi(descriptor);
  errno = EIO;
  return false;
}

namespace {

class SynchroFlushTest : public synchro::Test {
 protected:
  void SetUp() override {
    synchro::Test::SetUp();
    iSynchro_BeginTemporaries(nullptr, "t", true, &temporary_);
    Put("dst/a", "old");
  }
  void TearDown() override {
    flushesWell = true;
    iSynchro_EndTemporaries(&temporary_);
    synchro::Test::TearDown();
  }

  // The entry "a" of a root, into the local folder.
  ErrorCode Copy(std::string source, bool isWell) {
    std::string target = FileURL("dst");
    SynchroConnection from = {};
    SynchroConnection to = {};
    EXPECT_EQ(URL_ToData(source.data(), &from.url), Error_None);
    EXPECT_EQ(URL_ToData(target.data(), &to.url), Error_None);
    EXPECT_EQ(iSynchro_OpenSide(&from), Error_None);
    EXPECT_EQ(iSynchro_OpenSide(&to), Error_None);
    char fromPath[1024];
    char toPath[1024];
    EXPECT_EQ(iSynchro_EntryPath(from, "", "a", fromPath), Error_None);
    EXPECT_EQ(iSynchro_EntryPath(to, "", "a", toPath), Error_None);
    SynchroSide made = {};
    flushes = 0;
    flushesWell = isWell;
    const ErrorCode status = iSynchro_CopyFile({&from, &to, fromPath, toPath, &temporary_}, &made);
    iSynchro_CloseSide(&from);
    return status;
  }

  SynchroTemporary temporary_ = {};
};

TEST_F(SynchroFlushTest, FlushesALocalCopy_BeforeItReplacesTheOldFile) {
  Put("src/a", "new");
  EXPECT_NE(Copy(FileURL("src"), false), Error_None);
  EXPECT_EQ(flushes, 1);
  EXPECT_EQ(Tree("dst"), "a=old");
  EXPECT_EQ(Copy(FileURL("src"), true), Error_None);
  EXPECT_EQ(flushes, 1);
  EXPECT_EQ(Tree("dst"), "a=new");
}

TEST_F(SynchroFlushTest, FlushesARetrievedFile_BeforeItReplacesTheOldOne) {
  const Script script = ftp::Join({synchro::Login(), synchro::Retrieve("/pub/a", "new"), ftp::Quit()});
  ScriptedServer server({script, script});
  EXPECT_NE(Copy(FTPURL(server), false), Error_None);
  EXPECT_EQ(flushes, 1);
  EXPECT_EQ(Tree("dst"), "a=old");
  EXPECT_EQ(Copy(FTPURL(server), true), Error_None);
  EXPECT_EQ(flushes, 1);
  EXPECT_EQ(Tree("dst"), "a=new");
  server.Finish();
}

// ---- guarded runs ------------------------------------------------------------------------------

class SynchroGuardedFlushTest : public synchro::Test {
 protected:
  void TearDown() override {
    flushesWell = true;
    synchro::Test::TearDown();
  }
  synchro::Outcome Guarded(bool isWell = true) {
    Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
    EXPECT_EQ(Synchro_SetGuarded(synchro, 1), Error_None);
    if (!isWell) {
      const auto fail = [](Word, const SynchroEntryInfo*) {
        flushesWell = false;
        return static_cast<int32_t>(SynchroAnswer_Proceed);
      };
      onLine_ = [](const std::string& line) {
        if (line.starts_with("* Update failed")) flushesWell = true;
      };
      Synchro_SetEntryMethod(synchro, 0, fail);
    }
    synchro::Outcome outcome = Go(synchro);
    Synchro_Delete(synchro);
    onLine_ = nullptr;
    outcome.lines = AllLines();
    return outcome;
  }
};

TEST_F(SynchroGuardedFlushTest, FlushesNewFilesBeforeTheyAreRemembered) {
  for (const char* const name : {"src/a", "src/b", "src/c"}) Put(name, "new");
  const synchro::Outcome outcome = Guarded(false);
  EXPECT_EQ(outcome.counters, "0 0 0 3 0");
  EXPECT_EQ(std::count_if(outcome.lines.begin(), outcome.lines.end(),
                          [](const std::string& line) { return line.starts_with("* Update failed: "); }),
            1);
  EXPECT_EQ(Table("/"), "") << "nothing is in step that may be lost";
  const std::string journal = synchro::ReadAll(CachePath(TableName("/") + ".done"));
  EXPECT_EQ(std::count(journal.begin(), journal.end(), '\n'), 3);
  EXPECT_EQ(journal.find("False\n"), journal.find('\n') - 5) << "begun, not done: " << journal;
  EXPECT_EQ(Guarded().counters, "0 0 0 0 0");
  Put("src/a", "newer", 1200000000);
  EXPECT_EQ(Guarded().counters, "0 0 0 1 0") << "in step again";
}

TEST_F(SynchroGuardedFlushTest, TakesAFileThatAPowerCutHasEmptiedForNoneInStep) {
  for (const char* const name : {"src/a", "src/b", "src/c"}) Put(name, "new");
  Guarded(false);
  const auto time = std::filesystem::last_write_time(root_.SystemName("dst/a"));
  synchro::WriteAll(root_.SystemName("dst/a"), "");
  std::filesystem::last_write_time(root_.SystemName("dst/a"), time);
  EXPECT_EQ(FileLines(Guarded())[0], "file ! file:  a  -> None");
  EXPECT_EQ(root_.Read("src/a"), "new");
}

TEST_F(SynchroGuardedFlushTest, FlushesWhatReplacesAFile_BeforeThat) {
  Put("src/a", "old");
  Guarded();
  Put("src/a", "new", 1200000000);
  const synchro::Outcome outcome = Guarded(false);
  EXPECT_EQ(outcome.counters, "0 0 0 0 0");
  EXPECT_EQ(Tree("dst"), "a=old");
}

TEST_F(SynchroGuardedFlushTest, LeavesNewFilesBegun_WhenItIsStopped) {
  for (const char* const name : {"src/a", "src/b"}) Put(name, "new");
  Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
  Synchro_SetGuarded(synchro, 1);
  onLine_ = [&](const std::string& line) {
    if (line.find(" -> ") != std::string::npos) Synchro_Stop(synchro);
  };
  flushes = 0;
  Go(synchro);
  Synchro_Delete(synchro);
  onLine_ = nullptr;
  const std::string journal = synchro::ReadAll(CachePath(TableName("/") + ".done"));
  EXPECT_EQ(std::count(journal.begin(), journal.end(), '\n'), 1) << journal;
  EXPECT_EQ(Guarded().counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "a=new b=new");
}

}  // namespace
