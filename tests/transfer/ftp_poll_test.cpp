// Probing over FTP: how far VRXClient_Poll goes, and what VRXClient_Idle leaves out behind it.
#include "tests/transfer/ftp_trace.h"

using namespace script;

namespace transfer {
namespace {

const Lines kProbedToSize = {"Poll: 0, state 1",
                             "Poll: 0, state 2",
                             "Trying \"ftp://SERVER0\"...",
                             "Connected.",
                             "Poll: 0, state 3",
                             "Poll: 0, state 4",
                             "Logging in as \"u\"...",
                             "Poll: 0, state 6",
                             "Locating mirror sites...",
                             "Not a Netcask server.",
                             "Poll: 0, state 5",
                             "Changing directory...",
                             "Poll: 0, state 8",
                             "Setting transfer mode...",
                             "Poll: 0, state 9"};

class FTPPoll : public FTPTransferTest {
 protected:
  static int32_t Probe(TracedTransfer* transfer) {
    int32_t result = 0;
    for (int i = 0; i < 100 && result == 0; ++i) result = transfer->Poll();
    return result;
  }
};

TEST_F(FTPPoll, EndsWithTheSize) {
  ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize(), ftp::Quit()})});
  auto download = Get(server);
  EXPECT_EQ(Probe(download.get()), 5);
  EXPECT_EQ(download->Take(), Join({kProbedToSize, {"File size is 10 bytes.", "Poll: 5, state 9"}}));
  EXPECT_EQ(VRXClient_GetSize(*download), 10u);
  EXPECT_EQ(download->State(), 9u);
  EXPECT_EQ(VRXClient_IsCompleted(*download), 0);
}

TEST_F(FTPPoll, EndsWithTheQuestion_WhenTheServerDoesNotKnowTheSize) {
  ScriptedServer server({ftp::Join({wire::Begins(), wire::KnowsNoSize(), ftp::Quit()})});
  auto download = Get(server);
  EXPECT_EQ(Probe(download.get()), 5);
  EXPECT_EQ(download->Take(), Join({kProbedToSize, {"File size is unknown.", "Poll: 5, state 9"}}));
  EXPECT_EQ(VRXClient_GetSize(*download), 4294967295u);
}

TEST_F(FTPPoll, ReportsSizeAndTime) {
  ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize(), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "u:p@", Callbacks::All);
  EXPECT_EQ(Probe(download.get()), 5);
  const Lines lines = download->Take();
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ(Lines(lines.end() - 4, lines.end()),
            (Lines{"File size is 10 bytes.", "size 10", "time 4294967295", "Poll: 5, state 9"}));
}

TEST_F(FTPPoll, DoesNothing_WhenTheProbeHasEnded) {
  ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize(), ftp::Quit()})});
  auto download = Get(server);
  EXPECT_EQ(Probe(download.get()), 5);
  download->Take();
  download->Poll();
  download->Poll();
  EXPECT_EQ(download->Take(), (Lines{"Poll: 5, state 9", "Poll: 5, state 9"}));
}

TEST_F(FTPPoll, LeavesTheRestToIdle) {
  // One connection; the size is asked for once. What changed in the probe is told by the first working call.
  ScriptedServer server({wire::Serves()});
  auto download = Get(server);
  EXPECT_EQ(Probe(download.get()), 5);
  download->Take();
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({{"Idle: 1, state 7"}, rows::kOpened, rows::kStarted, rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPPoll, SparesLaterConnectionsMirrorsAndSize) {
  ScriptedServer server(
      {ftp::Join({wire::Begins(), wire::TellsSize(), ftp::Quit()}),
       ftp::Join({wire::BeginsAgain(), wire::CanRestart(), wire::StartsRetrieve(), wire::SendsAndQuits()})});
  auto download = Get(server);
  EXPECT_EQ(Probe(download.get()), 5);
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  EXPECT_EQ(download->State(), 0u);
  download->Take();
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({rows::Reconnects("SERVER0", "1"),
                                    rows::kLoggedIn,
                                    {"Idle: 0, state 5"},
                                    rows::kEntered,
                                    rows::kTypeSet,
                                    {"Idle: 0, state 7"},
                                    rows::kOpened,
                                    rows::kStarted,
                                    rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

// What has bytes on the disk may have been replaced on the server since.
TEST_F(FTPPoll, AsksALaterConnectionForTheSize_WhenThereAreBytes) {
  ScriptedServer server(
      {ftp::Join(
           {wire::Begins(), wire::TellsSize(), wire::RestartsAt("4"), {DataSend("45")}, wire::IsAborted()}),
       ftp::Join({wire::BeginsAgain(), wire::TellsSize("8"), wire::CanRestart(), wire::StartsRetrieve(),
                  wire::SendsAndQuits("abcdefgh")})});
  auto download = Resume(server, "0123");
  EXPECT_EQ(Probe(download.get()), 5);
  download->RunToState(11);
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  download->Take();
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({rows::Reconnects("SERVER0", "0"),
                                    rows::kLoggedIn,
                                    {"Idle: 0, state 5"},
                                    rows::kEntered,
                                    rows::kTypeSet,
                                    {"File size is 8 bytes.", "Idle: 1, state 7"},
                                    rows::kOpened,
                                    rows::kStarted,
                                    rows::Ends()}));
  EXPECT_EQ(Bytes(), "abcdefgh");
}

TEST_F(FTPPoll, ConnectsOnly_WhenTheProbeHasEndedBefore) {
  ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize(), ftp::Quit()}),
                         ftp::Join({ftp::Greeting(), ftp::Quit()})});
  auto download = Get(server);
  EXPECT_EQ(Probe(download.get()), 5);
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  download->Take();
  EXPECT_EQ(Probe(download.get()), 5);
  EXPECT_EQ(download->Take(), (Lines{"Poll: 0, state 1", "Poll: 0, state 2", "Trying \"ftp://SERVER0\"...",
                                     "Connected.", "Poll: 0, state 3", "Poll: 5, state 3"}));
  EXPECT_EQ(VRXClient_GetSize(*download), 10u);
}

TEST_F(FTPPoll, TakesTheFirstServer_WhenItFailed) {
  ScriptedServer first({wire::Denies(), wire::Denies(), ftp::Join({wire::GreetsAndLogsIn(), ftp::Quit()})});
  ScriptedServer second({ftp::Quit()});
  second.AllowUnfinished();
  auto download = GetFromEither(first, second);
  for (int i = 0; i < 3; ++i) download->Poll();
  EXPECT_EQ(download->Take(),
            (Lines{"Poll: 0, state 1", "Poll: 0, state 2", "Trying \"ftp://SERVER0\"...",
                   "Connection failed.", "Connection denied by server.", "Poll: 0, state 0"}));
  EXPECT_EQ(download->Reason(), 9u);
  EXPECT_EQ(Servers(*download), (Lines{"!ftp://SERVER0/pub/f.bin", "ftp://SERVER1/pub/f.bin"}));
  for (int i = 0; i < 3; ++i) download->Poll();
  EXPECT_EQ(download->Take(), (Lines{"Locating server...", "Poll: 0, state 1", "Poll: 0, state 2",
                                     "Trying \"ftp://SERVER0\"...", "Connection failed.",
                                     "Connection denied by server.", "Poll: 0, state 0"}));
  for (int i = 0; i < 5; ++i) download->Poll();
  EXPECT_EQ(download->Take(), (Lines{"Locating server...", "Poll: 0, state 1", "Poll: 0, state 2",
                                     "Trying \"ftp://SERVER0\"...", "Connected.", "Poll: 0, state 3",
                                     "Poll: 0, state 4", "Logging in as \"u\"...", "Poll: 0, state 6"}));
}

TEST_F(FTPPoll, EndsWithTheStart_WhenTheWorkIsThatFar) {
  ScriptedServer server({wire::Serves()});
  auto download = Get(server);
  download->RunToState(10);
  download->Take();
  download->Poll();
  // The space, and the time at which the data begins, are for the first working call.
  EXPECT_EQ(download->Take(),
            (Lines{"Initiating download...", "Server supports pause/resume.", "Poll: 5, state 11"}));
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 1);
  download->Poll();
  EXPECT_EQ(download->Take(), Lines{"Poll: 5, state 11"});
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({{"Downloading...", "Idle: 0, state 11"}, rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPPoll, LeavesTheCheckOfTheSpaceToIdle) {
  iVRXClient_SetFreeBytes([](const char*, uint64_t* freeBytes) {
    *freeBytes = 9;
    return static_cast<ErrorCode>(Error_None);
  });
  ScriptedServer server({ftp::Join({wire::StartsDownload(), wire::IsAborted()})});
  auto download = Get(server);
  download->RunToState(10);
  download->Poll();
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(), (Lines{"Downloading...", "Not enough disk space to complete download.",
                                     "Download stopped.", "Idle: 4, state 0"}));
  EXPECT_EQ(download->Reason(), 20u);
}

TEST_F(FTPPoll, Fails_WhenTheURLNamesADirectory) {
  ScriptedServer server(
      {ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors(), ftp::Exchange("CWD /pub", "250 ok"),
                  ftp::Exchange("CWD f.bin", "250 ok"), ftp::Quit()})});
  auto download = Get(server);
  EXPECT_EQ(Probe(download.get()), 4);
  const Lines lines = download->Take();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(Lines(lines.end() - 2, lines.end()),
            (Lines{"This item is a directory, not a file.", "Poll: 4, state 0"}));
  EXPECT_EQ(download->Reason(), 12u);
}

TEST_F(FTPPoll, IsPostponed_WhenTheServerIsSilent) {
  iSock_SetWaitMilliseconds(kShortWaitMilliseconds);
  ScriptedServer server({ftp::Join({wire::Begins(), {ExpectLine("SIZE f.bin"), ExpectEnd()}})});
  auto download = Get(server);
  EXPECT_EQ(Probe(download.get()), 2);
  const Lines lines = download->Take();
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(Lines(lines.end() - 3, lines.end()),
            (Lines{"File size is 4294967295 bytes.", "Connection timed out. Download postponed.",
                   "Poll: 2, state 0"}));
  EXPECT_EQ(download->Reason(), 11u);
}

}  // namespace
}  // namespace transfer
