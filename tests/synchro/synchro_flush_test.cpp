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

}  // namespace
