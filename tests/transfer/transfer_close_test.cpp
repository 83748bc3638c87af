// Downloads whose data file cannot be closed well, or whose bytes do not come to the disk: no such file is
// ever taken for complete. FlushToDisk of the seam is wrapped (tests/CMakeLists.txt).
#include <cerrno>

#include "tests/support/failing_close.h"
#include "tests/transfer/ftp_trace.h"

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

namespace transfer {
namespace {

class TransferClose : public FTPTransferTest {
 protected:
  void SetUp() override {
    FTPTransferTest::SetUp();
    flushesWell = true;
    flushes = 0;
  }
  void TearDown() override {
    flushesWell = true;
    FTPTransferTest::TearDown();
  }

  // What is said and left when the end of the data fails, over either protocol.
  void ExpectFailure(TracedTransfer* download) {
    EXPECT_EQ(download->Run(), 4);
    EXPECT_EQ(download->Reason(), 20u);
    EXPECT_EQ(VRXClient_IsCompleted(*download), 0);
    EXPECT_EQ(download->State(), 0u);
    const Lines lines = WithoutDataSteps(download->Take());
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "Can't write to file. The disk may be full.");
    EXPECT_EQ(lines.back(), "Idle: 4, state 0");
    EXPECT_EQ(OutNames(), Lines());
  }
  std::unique_ptr<TracedTransfer> GetOverHTTP(const ScriptedServer& server) {
    return NewDownload(server, "/file.bin", Callbacks::MessagesOnly, "f.bin");
  }
  static std::string Whole() { return "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n0123456789"; }
};

// ---- closing -----------------------------------------------------------------------------------

TEST_F(TransferClose, FailsOverFTP_WhenTheDataFileCannotBeClosed) {
  ScriptedServer server({wire::Serves(), ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("10"),
                                                    wire::SendsAndQuits("")})});
  auto download = Get(server);
  download->RunToState(11);
  download->Take();
  {
    const FailingClose failing;
    ExpectFailure(download.get());
  }
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(TransferClose, FailsOverHTTP_WhenTheDataFileCannotBeClosed) {
  ScriptedServer server(
      {Answers("0", Whole()),
       Answers("10", "HTTP/1.1 416 No\r\nContent-Range: bytes */10\r\nContent-Length: 0\r\n\r\n")});
  auto download = GetOverHTTP(server);
  download->RunToState(11);
  download->Take();
  {
    const FailingClose failing;
    ExpectFailure(download.get());
  }
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

// What was lost is fetched again.
TEST_F(TransferClose, ResumesBehindTheBytesThatAreThere_WhenClosingLostSome) {
  ScriptedServer server({wire::Serves(), ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("6"),
                                                    wire::SendsAndQuits("6789")})});
  auto download = Get(server);
  download->RunToState(11);
  download->Take();
  {
    const FailingClose failing;
    ExpectFailure(download.get());
  }
  std::filesystem::resize_file(SystemPath(download->DataPath()), 6);
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(TransferClose, FailsWhenTheDataFileCannotBeClosed_ThoughItIsOnTheDisk) {
  ScriptedServer server({wire::Serves()});
  auto download = Get(server);
  EXPECT_EQ(VRXClient_SetSync(*download, 1), Error_None);
  download->RunToState(11);
  download->Take();
  flushes = 0;
  const FailingClose failing;
  ExpectFailure(download.get());
  EXPECT_EQ(flushes, 1);
}

// ---- flushing ----------------------------------------------------------------------------------

TEST_F(TransferClose, FailsOverFTP_WhenTheBytesDoNotComeToTheDisk) {
  ScriptedServer server({wire::Serves(), ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("10"),
                                                    wire::SendsAndQuits("")})});
  auto download = Get(server);
  EXPECT_EQ(VRXClient_SetSync(*download, 1), Error_None);
  download->RunToState(11);
  download->Take();
  flushesWell = false;
  ExpectFailure(download.get());
  flushesWell = true;
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(TransferClose, FailsOverHTTP_WhenTheBytesDoNotComeToTheDisk) {
  ScriptedServer server({Answers("0", Whole())});
  auto download = GetOverHTTP(server);
  EXPECT_EQ(VRXClient_SetSync(*download, 1), Error_None);
  download->RunToState(11);
  download->Take();
  flushesWell = false;
  ExpectFailure(download.get());
}

TEST_F(TransferClose, FlushesOnce_WhenTheApplicationWantsIt) {
  for (const int32_t wanted : {0, 1}) {
    SCOPED_TRACE(wanted);
    ScriptedServer server({wire::Serves()});
    auto download = Get(server);
    EXPECT_EQ(VRXClient_SetSync(*download, wanted), Error_None);
    download->RunToState(11);
    flushes = 0;
    flushesWell = wanted != 0;
    download->RunToCompletion();
    flushesWell = true;
    EXPECT_EQ(flushes, wanted);
    download->Close();
    std::filesystem::remove(OutPath("f.bin"));
  }
}

// ---- a copy to another volume ------------------------------------------------------------------

TEST_F(TransferClose, FlushesTheCopyBeforeItGetsItsName) {
  ScriptedServer server({wire::Serves()});
  auto download = Get(server);
  EXPECT_EQ(VRXClient_SetSync(*download, 1), Error_None);
  iVRXClient_SetCopiesAlways(true);
  download->RunToState(12);
  flushes = 0;
  flushesWell = false;
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(flushes, 1);
  EXPECT_EQ(OutNames(), Lines());
  EXPECT_EQ(DataFiles().size(), 1u);
  flushesWell = true;
  download->RunToCompletion();
  EXPECT_EQ(flushes, 2);
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(TransferClose, DoesNotFlushACopy_UnlessTheApplicationWantsIt) {
  ScriptedServer server({wire::Serves()});
  auto download = Get(server);
  iVRXClient_SetCopiesAlways(true);
  download->RunToState(12);
  flushes = 0;
  download->RunToCompletion();
  EXPECT_EQ(flushes, 0);
}

}  // namespace
}  // namespace transfer
