// Downloads over FTP that begin with the first byte: whole conversations, sizes, the end of the data, what
// the callbacks are told.
#include "tests/transfer/ftp_trace.h"

using namespace script;

namespace transfer {
namespace {

class FTPDownload : public FTPTransferTest {
 protected:
  // A server that serves the file with another end of the data.
  static Script ServesWithEnd(const Script& end) { return ftp::Join({wire::StartsDownload(), end}); }
  // A server that does not tell the size.
  static Script ServesUnknownSize(const Script& end) {
    return ftp::Join({wire::Begins(), wire::KnowsNoSize(), wire::CanRestart(), wire::StartsRetrieve(), end});
  }
  static Lines StartsUnknownSize() {
    return Join({rows::Begins(), rows::kSizeUnknown, rows::kOpened, rows::kStarted});
  }
};

// ---- whole conversations -----------------------------------------------------------------------

TEST_F(FTPDownload, GoesFromTheFirstStepToTheLast) {
  ScriptedServer server({{SendLine("220 ready"),
                          ExpectLine("USER u"),
                          SendLine("331 who?"),
                          ExpectLine("PASS p"),
                          SendLine("230 in"),
                          ExpectLine("MIRR /pub/f.bin"),
                          SendLine("500 what?"),
                          ExpectLine("CWD /pub"),
                          SendLine("250 ok"),
                          ExpectLine("CWD f.bin"),
                          SendLine("550 no directory"),
                          ExpectLine("TYPE I"),
                          SendLine("200 ok"),
                          ExpectLine("SIZE f.bin"),
                          SendLine("213 10"),
                          ExpectLine("REST 100"),
                          SendLine("350 ok"),
                          ExpectLine("REST 0"),
                          SendLine("350 ok"),
                          ExpectLine("PASV"),
                          OpenPassive(),
                          SendLine("227 Entering Passive Mode ({pasv})."),
                          ExpectLine("RETR f.bin"),
                          DataAccept(),
                          SendLine("150 go"),
                          DataSend("0123456789"),
                          DataClose(),
                          SendLine("226 done"),
                          ExpectLine("QUIT"),
                          SendLine("221 bye"),
                          ExpectEnd()}});
  auto download = Get(server);
  EXPECT_EQ(download->Run(), 5);
  EXPECT_EQ(download->Take(), (Lines{"Idle: 1, state 1",
                                     "Idle: 1, state 2",
                                     "Trying \"ftp://SERVER0\"...",
                                     "Connected.",
                                     "Idle: 1, state 3",
                                     "Idle: 0, state 4",
                                     "Logging in as \"u\"...",
                                     "Idle: 0, state 6",
                                     "Locating mirror sites...",
                                     "Not a Netcask server.",
                                     "Idle: 0, state 5",
                                     "Changing directory...",
                                     "Idle: 0, state 8",
                                     "Setting transfer mode...",
                                     "Idle: 0, state 9",
                                     "File size is 10 bytes.",
                                     "Idle: 1, state 7",
                                     "Idle: 0, state 10",
                                     "Initiating download...",
                                     "Server supports pause/resume.",
                                     "Downloading...",
                                     "Idle: 0, state 11",
                                     "Download completed on DATE.",
                                     "Idle: 1, state 12",
                                     "Moving file to \"OUT/f.bin\"...",
                                     "Idle: 1, state 13",
                                     "Idle: 5, state 14"}));
  EXPECT_EQ(Bytes(), "0123456789");
  EXPECT_EQ(OutNames(), Lines{"f.bin"});
  EXPECT_EQ(DataFiles(), Lines());
  EXPECT_EQ(download->Reason(), 0u);
  EXPECT_EQ(VRXClient_GetSize(*download), 10u);
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 1);
  EXPECT_EQ(VRXClient_IsVRXServer(*download), 0);
  EXPECT_EQ(VRXClient_IsSecure(*download, nullptr), 0);
  // Nothing happens any more.
  download->Idle();
  download->Poll();
  EXPECT_EQ(download->Take(), (Lines{"Idle: 5, state 14", "Poll: 5, state 14"}));
}

TEST_F(FTPDownload, TellsTheTimeOfItsCompletion) {
  const Time now = {1000000000, 0};
  iClock_SetWallClock(&now);
  ScriptedServer server({wire::Serves()});
  auto download = Get(server);
  std::string completed;
  download->onMessage = [&](const std::string& text) {
    if (text.starts_with("Download completed")) completed = text;
  };
  download->RunToCompletion();
  EXPECT_EQ(completed, "Download completed on Sun Sep  9 01:46:40 2001.");
}

TEST_F(FTPDownload, SpeaksFTP_WhenTheSchemeIsVrx) {
  ScriptedServer server({wire::Serves()});
  Name(server);
  auto download =
      NewDownload("vrx://u:p@" + server.address() + "/pub/f.bin", Callbacks::MessagesOnly, "f.bin");
  download->RunToCompletion();
  Lines expected = Join({rows::Starts(), rows::Ends()});
  expected[2] = "Trying \"vrx://SERVER0\"...";
  EXPECT_EQ(download->Take(), expected);
}

TEST_F(FTPDownload, GetsWhatTheServerHasInALongFile) {
  const std::string bytes(50000, 'x');
  ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize("50000"), wire::CanRestart(),
                                    wire::StartsRetrieve(), wire::SendsAndQuits(bytes)})});
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), bytes);
  EXPECT_EQ(VRXClient_GetSize(*download), 50000u);
}

TEST_F(FTPDownload, GetsAnEmptyFile) {
  ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize("0"), wire::CanRestart(),
                                    wire::StartsRetrieve(), wire::SendsAndQuits("")})});
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({rows::Begins(),
                                    {"File size is 0 bytes.", "Idle: 1, state 7"},
                                    rows::kOpened,
                                    rows::kStarted,
                                    rows::Ends()}));
  EXPECT_EQ(Bytes(), "");
  EXPECT_EQ(OutNames(), Lines{"f.bin"});
  EXPECT_EQ(VRXClient_GetSize(*download), 4294967295u);
}

TEST_F(FTPDownload, EndsAtTheSize_WhenTheServerSendsMore) {
  ScriptedServer server({ServesWithEnd(wire::SendsAndQuits("0123456789TAIL"))});
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

// ---- the size ----------------------------------------------------------------------------------

TEST_F(FTPDownload, GoesOnWithoutSize_WhenTheServerDoesNotKnowIt) {
  ScriptedServer server({ServesUnknownSize(wire::SendsAndQuits())});
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({StartsUnknownSize(), rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
  EXPECT_EQ(VRXClient_GetSize(*download), 4294967295u);
  EXPECT_EQ(VRXClient_GetSize64(*download), UINT64_MAX);
}

TEST_F(FTPDownload, GetsALongFileOfUnknownSize) {
  const std::string bytes(50000, 'x');
  ScriptedServer server({ServesUnknownSize(wire::SendsAndQuits(bytes))});
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({StartsUnknownSize(), rows::Ends()}));
  EXPECT_TRUE(Bytes() == bytes);
}

TEST_F(FTPDownload, GoesOnWithoutSize_WhenTheAnswerIsNoNumber) {
  for (const char* answer : {"213 many", "213", "200 12x"}) {
    SCOPED_TRACE(answer);
    ScriptedServer server(
        {ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors(), wire::Enters(),
                    ftp::Exchange("TYPE I", "200 ok"), ftp::Exchange("SIZE f.bin", answer), ftp::Quit()})});
    auto download = Get(server);
    download->RunToState(9);
    download->Take();
    download->Idle();
    if (std::string(answer) == "200 12x") {
      // What begins with a number is one.
      EXPECT_EQ(download->Take(), (Lines{"File size is 12 bytes.", "Idle: 1, state 7"}));
    } else {
      EXPECT_EQ(download->Take(), rows::kSizeUnknown);
      EXPECT_EQ(VRXClient_GetSize(*download), 4294967295u);
    }
  }
}

TEST_F(FTPDownload, TellsSizesBeyond32Bits) {
  struct Row {
    const char* answer;
    const char* message;
    uint32_t size;
    uint64_t exactSize;
  };
  for (const Row& row : {Row{"4294967294", "File size is 4294967294 bytes.", 4294967294u, 4294967294u},
                         Row{"4294967295", "File size is 4294967295 bytes.", 4294967295u, 4294967295u},
                         Row{"4294967296", "File size is 4294967296 bytes.", 4294967295u, 4294967296u},
                         Row{"5000000000", "File size is 5000000000 bytes.", 4294967295u, 5000000000u}}) {
    SCOPED_TRACE(row.answer);
    ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize(row.answer), ftp::Quit()})});
    auto download = Get(server, "/pub/f.bin", "u:p@", Callbacks::All);
    download->RunToState(9);
    download->Take();
    download->Idle();
    EXPECT_EQ(download->Take(), (Lines{row.message, "size " + std::to_string(row.size), "time 4294967295",
                                       "Idle: 1, state 7"}));
    EXPECT_EQ(VRXClient_GetSize(*download), row.size);
    EXPECT_EQ(VRXClient_GetSize64(*download), row.exactSize);
  }
}

TEST_F(FTPDownload, ShowsTheLargestNumber_WhenTheAnswerToSizeNeverCame) {
  ScriptedServer server({ftp::Join({wire::Begins(), {ExpectLine("SIZE f.bin"), Close()}})});
  auto download = Get(server);
  download->RunToState(9);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(),
            (Lines{"File size is 4294967295 bytes.", "Server connection terminated.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 15u);
  EXPECT_EQ(Servers(*download), Lines{"!ftp://SERVER0/pub/f.bin"});
}

// ---- resume support ----------------------------------------------------------------------------

TEST_F(FTPDownload, SaysThatTheServerCannotResume_WhenItRefusesTheProbe) {
  ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize(), ftp::Exchange("REST 100", "502 no"),
                                    wire::StartsRetrieve(), wire::SendsAndQuits()})});
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({rows::Begins(), rows::kSized, rows::kOpened, rows::kStartedAnew, rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 0);
}

TEST_F(FTPDownload, DropsTheServer_WhenItDoesNotTakeTheProbeBack) {
  ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize(), ftp::Exchange("REST 100", "350 ok"),
                                    ftp::Exchange("REST 0", "501 no"), ftp::Quit()})});
  auto download = Get(server);
  download->RunToState(10);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(), (Lines{"Initiating download...", "Invalid address.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 10u);
}

// ---- refusals of the transfer ------------------------------------------------------------------

TEST_F(FTPDownload, DropsTheServer_WhenItRefusesTheFile) {
  // Without a restart no refusal brings another attempt.
  for (const char* reply : {"550 no such file", "425 no data connection", "426 cut", "502 no", "451 error"}) {
    SCOPED_TRACE(reply);
    ScriptedServer server({ftp::Join({wire::Begins(),
                                      wire::TellsSize(),
                                      wire::CanRestart(),
                                      ftp::Passive(),
                                      {ExpectLine("RETR f.bin"), DataAccept(), SendLine(reply)},
                                      ftp::Quit()})});
    auto download = Get(server);
    download->RunToState(10);
    download->Take();
    download->Idle();
    EXPECT_EQ(download->Take(), (Lines{"Initiating download...", "Invalid address.", "Idle: 1, state 0"}));
    EXPECT_EQ(download->Reason(), 10u);
    EXPECT_EQ(Servers(*download), Lines{"!ftp://SERVER0/pub/f.bin"});
    ForgetServers();
  }
}

TEST_F(FTPDownload, DropsTheServer_WhenItHasNoPassivePort) {
  for (const char* reply : {"227 (127,0,0,1,256,1)", "227 none", "500 what?"}) {
    SCOPED_TRACE(reply);
    ScriptedServer server({ftp::Join(
        {wire::Begins(), wire::TellsSize(), wire::CanRestart(), ftp::Exchange("PASV", reply), ftp::Quit()})});
    auto download = Get(server);
    download->RunToState(10);
    download->Take();
    download->Idle();
    EXPECT_EQ(download->Take(), (Lines{"Initiating download...", "Invalid address.", "Idle: 1, state 0"}));
    EXPECT_EQ(download->Reason(), 10u);
  }
}

TEST_F(FTPDownload, LetsTheServerConnect_WhenToldSo) {
  ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize(), wire::CanRestart(), ftp::Active(),
                                    ftp::StartedActive("RETR f.bin"), wire::SendsAndQuits()})});
  auto download = Get(server);
  EXPECT_EQ(VRXClient_SetActiveMode(*download, 1), Error_None);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({rows::Starts(), rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

// ---- the end of the data -----------------------------------------------------------------------

TEST_F(FTPDownload, WaitsForTheFinalReply) {
  ScriptedServer server({ServesWithEnd(
      ftp::Join({{DataSend("0123456789"), DataClose(), Wait(300), SendLine("226 done")}, ftp::Quit()}))});
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({rows::Starts(), rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPDownload, WaitsForTheData_WhenTheFinalReplyIsFirst) {
  ScriptedServer server({ServesWithEnd(ftp::Join(
      {{DataSend("0123"), SendLine("226 done"), Wait(200), DataSend("456789"), DataClose()}, ftp::Quit()}))});
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({rows::Starts(), rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPDownload, TimesOut_WhenTheFinalReplyNeverComes) {
  iSock_SetWaitMilliseconds(kShortWaitMilliseconds);
  ScriptedServer server({ServesWithEnd({DataSend("0123456789"), DataClose(), ExpectEnd()})});
  auto download = Get(server);
  EXPECT_EQ(download->Run(), 2);
  EXPECT_EQ(download->Take(),
            Join({rows::Starts(), {"Connection timed out. Download postponed.", "Idle: 2, state 0"}}));
  EXPECT_EQ(download->Reason(), 11u);
  EXPECT_EQ(Servers(*download), Lines{"!ftp://SERVER0/pub/f.bin"});
}

TEST_F(FTPDownload, DropsTheServer_WhenItEndsWithoutAFinalReply) {
  ScriptedServer server({ServesWithEnd({DataSend("0123456789"), DataClose(), Close()})});
  auto download = Get(server);
  download->RunToState(11);
  download->RunToState(0);
  EXPECT_EQ(download->Take(), Join({rows::Starts(), {"Server connection terminated.", "Idle: 1, state 0"}}));
  EXPECT_EQ(download->Reason(), 15u);
}

TEST_F(FTPDownload, IsPostponed_WhenTheFinalReplyIsARefusal) {
  ScriptedServer server(
      {ServesWithEnd(ftp::Join({{DataSend("0123456789"), DataClose(), SendLine("451 disk")}, ftp::Quit()}))});
  auto download = Get(server);
  EXPECT_EQ(download->Run(), 2);
  EXPECT_EQ(download->Take(), Join({rows::Starts(), {"Idle: 2, state 0"}}));
  EXPECT_EQ(Servers(*download), Lines{"ftp://SERVER0/pub/f.bin"});
  EXPECT_EQ(OutNames(), Lines());
}

TEST_F(FTPDownload, IsCompleteSoon_WhenQuitIsNotAnswered) {
  ScriptedServer server({ServesWithEnd(
      {DataSend("0123456789"), DataClose(), SendLine("226 done"), ExpectLine("QUIT"), Stall()})});
  auto download = Get(server);
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(download->Run(), VRXClientResult_Completed);
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(15));
  EXPECT_EQ(OutNames(), Lines{"f.bin"});
}

TEST_F(FTPDownload, StopsAtTheSizeThatTheServerTold) {
  ScriptedServer server({ServesWithEnd(
      ftp::Join({{DataSend("0123456789ab"), DataClose(), SendLine("226 done")}, ftp::Quit()}))});
  auto download = Get(server);
  EXPECT_EQ(download->Run(), VRXClientResult_Completed);
  EXPECT_EQ(ReadFile(OutPath("f.bin")), "0123456789");
}

TEST_F(FTPDownload, IsNotComplete_WhenSurplusIsRefusedAndTheServerSendsMoreThanItTold) {
  ScriptedServer server(
      {ServesWithEnd({DataSend("0123456789ab"), DataClose(), SendLine("226 done"), ExpectLine("ABOR"),
                      SendLine("226 ok"), ExpectLine("QUIT"), SendLine("221 bye"), ExpectEnd()})});
  auto download = Get(server);
  EXPECT_EQ(VRXClient_RefuseSurplus(*download, 1), Error_None);
  download->RunToState(11);
  download->RunToState(0);
  EXPECT_EQ(download->Take(),
            Join({rows::Starts(), {"Invalid address.", "Download stopped.", "Idle: 1, state 0"}}));
  EXPECT_EQ(Servers(*download), Lines{"!ftp://SERVER0/pub/f.bin"});
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "0123456789");
}

TEST_F(FTPDownload, IsComplete_WhenSurplusIsRefusedAndThereIsNone) {
  // With the end of the data, and without one.
  for (const bool isClosed : {true, false}) {
    ForgetServers();
    Script data = {DataSend("0123456789")};
    if (isClosed) data.push_back(DataClose());
    ScriptedServer server({ServesWithEnd(ftp::Join({data, {SendLine("226 done")}, ftp::Quit()}))});
    auto download = Get(server);
    EXPECT_EQ(VRXClient_RefuseSurplus(*download, 1), Error_None);
    EXPECT_EQ(download->Run(), VRXClientResult_Completed);
  }
  EXPECT_EQ(OutNames(), (Lines{"f(0).bin", "f.bin"}));
}

TEST_F(FTPDownload, IsNotComplete_WhenTheDataEndsEarly) {
  // The reply to the transfer is read as the one to ABOR, that one as the one to QUIT.
  ScriptedServer server(
      {ServesWithEnd({DataSend("0123"), DataClose(), SendLine("226 done"), ExpectLine("ABOR"),
                      SendLine("226 ok"), ExpectLine("QUIT"), SendLine("221 bye"), ExpectEnd()})});
  auto download = Get(server);
  download->RunToState(11);
  download->RunToState(0);
  EXPECT_EQ(
      download->Take(),
      Join({rows::Starts(), {"Server connection terminated.", "Download stopped.", "Idle: 1, state 0"}}));
  EXPECT_EQ(download->Reason(), 15u);
  EXPECT_EQ(Servers(*download), Lines{"!ftp://SERVER0/pub/f.bin"});
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "0123");
}

TEST_F(FTPDownload, IsNotComplete_WhenDataOfUnknownSizeEndsByReset) {
  ScriptedServer server({ServesUnknownSize(ftp::Join({wire::CutsBehind("0123"), wire::IsAborted()}))});
  auto download = Get(server);
  download->RunToState(11);
  download->RunToState(0);
  EXPECT_EQ(download->Take(), Join({StartsUnknownSize(),
                                    {"Attempting to reconnect.", "Download stopped.", "Idle: 0, state 0"}}));
  EXPECT_EQ(download->Reason(), 0u);
}

TEST_F(FTPDownload, IsNotComplete_WhenTheServerCallsDataOfUnknownSizeCut) {
  ScriptedServer server(
      {ServesUnknownSize(ftp::Join({{DataSend("0123"), DataClose(), SendLine("426 cut")}, ftp::Quit()}))});
  auto download = Get(server);
  EXPECT_EQ(download->Run(), 2);
  EXPECT_EQ(download->Take(), Join({StartsUnknownSize(), {"Idle: 2, state 0"}}));
  EXPECT_EQ(OutNames(), Lines());
}

// ---- transfer types ----------------------------------------------------------------------------

TEST_F(FTPDownload, SetsTheTypeOfThePreferencesForDownloads) {
  struct Row {
    uint8_t preference;
    const char* command;
  };
  for (const Row& row : {Row{0, "TYPE I"}, Row{1, "TYPE I"}, Row{2, "TYPE A"}}) {
    SCOPED_TRACE(row.command);
    VRXPrefs* prefs = VRXPrefs_BeginAccess();
    prefs->downloadType = row.preference;
    prefs->uploadType = row.preference == 2 ? 1 : 2;
    VRXPrefs_EndAccess();
    ScriptedServer server({ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors(), wire::Enters(),
                                      ftp::Exchange(row.command, "200 ok"), ftp::Quit()})});
    auto download = Get(server);
    download->RunToState(8);
    download->Take();
    download->Idle();
    EXPECT_EQ(download->Take(), rows::kTypeSet);
  }
}

TEST_F(FTPDownload, DropsTheServer_WhenItRefusesTheType) {
  ScriptedServer server({ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors(), wire::Enters(),
                                    ftp::Exchange("TYPE I", "504 no"), ftp::Quit()})});
  auto download = Get(server);
  download->RunToState(8);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(),
            (Lines{"Setting transfer mode...", "Connection denied by server.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 9u);
}

TEST_F(FTPDownload, AsksForBytesOfEightBits_WhenTheReplyToTheTypeIsNone) {
  ScriptedServer server(
      {ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors(), wire::Enters(),
                  ftp::Exchange("TYPE I", "2"), ftp::Exchange("TYPE L 8", "200 ok"), ftp::Quit()})});
  auto download = Get(server);
  download->RunToState(8);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(), rows::kTypeSet);
}

TEST_F(FTPDownload, DropsTheServer_WhenItRefusesBytesOfEightBits) {
  ScriptedServer server(
      {ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors(), wire::Enters(),
                  ftp::Exchange("TYPE I", "2"), ftp::Exchange("TYPE L 8", "504 no"), ftp::Quit()})});
  auto download = Get(server);
  download->RunToState(8);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(),
            (Lines{"Setting transfer mode...", "Connection denied by server.", "Idle: 1, state 0"}));
}

}  // namespace
}  // namespace transfer
