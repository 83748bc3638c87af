// Mirrors that FTP servers name, the next server when one is dropped, and the list when none is left.
#include "tests/transfer/ftp_trace.h"

using namespace script;

namespace transfer {
namespace {

class FTPMirror : public FTPTransferTest {
 protected:
  // A server that answers the request for mirrors like this, and sees the client go then.
  static Script Answers(const std::string& reply) {
    return ftp::Join({wire::GreetsAndLogsIn(), ftp::Exchange("MIRR /pub/f.bin", reply), ftp::Quit()});
  }
  Lines AskForMirrors(TracedTransfer* transfer) {
    transfer->RunToState(6);
    transfer->Take();
    transfer->Idle();
    return transfer->Take();
  }
};

// ---- asking ------------------------------------------------------------------------------------

TEST_F(FTPMirror, LearnsTheMirrorsThatTheServerNames) {
  ScriptedServer server(
      {Answers("250 ftp://u:p@b.example/f.bin;ftp://c.example:2121/x/f.bin;http://d.example/f.bin")});
  auto download = Get(server);
  EXPECT_EQ(AskForMirrors(download.get()),
            (Lines{"Locating mirror sites...", "Mirror sites located. ", "Idle: 1, state 5"}));
  EXPECT_EQ(VRXClient_IsVRXServer(*download), 1);
  EXPECT_EQ(Servers(*download), (Lines{"ftp://SERVER0/pub/f.bin", "ftp://b.example/f.bin",
                                       "ftp://c.example:2121/x/f.bin", "http://d.example/f.bin"}));
}

TEST_F(FTPMirror, SkipsWhatIsNoURLOrTwiceThere) {
  ScriptedServer server(
      {Answers("250 nothing here; ftp://b.example/f.bin ;ftp://b.example/f.bin;;gopher://x/y")});
  auto download = Get(server);
  EXPECT_EQ(AskForMirrors(download.get()),
            (Lines{"Locating mirror sites...", "Mirror sites located. ", "Idle: 1, state 5"}));
  EXPECT_EQ(Servers(*download), (Lines{"ftp://SERVER0/pub/f.bin", "ftp://b.example/f.bin"}));
}

TEST_F(FTPMirror, ChangesNothing_WhenTheServerNamesNone) {
  ScriptedServer server({Answers("250 none")});
  auto download = Get(server);
  EXPECT_EQ(AskForMirrors(download.get()),
            (Lines{"Locating mirror sites...", "Mirror sites located. ", "Idle: 0, state 5"}));
  EXPECT_EQ(VRXClient_IsVRXServer(*download), 1);
  EXPECT_EQ(Servers(*download), Lines{"ftp://SERVER0/pub/f.bin"});
}

TEST_F(FTPMirror, TakesAnyRefusalForAPlainServer) {
  for (const char* reply : {"500 what?", "502 no", "350 more?", "421 busy", "2"}) {
    SCOPED_TRACE(reply);
    ScriptedServer server({Answers(reply)});
    auto download = Get(server);
    EXPECT_EQ(AskForMirrors(download.get()), rows::kNoMirrors);
    EXPECT_EQ(VRXClient_IsVRXServer(*download), 0);
  }
}

TEST_F(FTPMirror, DropsTheServer_WhenItEndsAtTheRequest) {
  ScriptedServer server({ftp::Join({wire::GreetsAndLogsIn(), {ExpectLine("MIRR /pub/f.bin"), Close()}})});
  auto download = Get(server);
  EXPECT_EQ(AskForMirrors(download.get()),
            (Lines{"Locating mirror sites...", "Server connection terminated.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 15u);
}

TEST_F(FTPMirror, AsksForUploadsToo) {
  ScriptedServer server(
      {ftp::Join({wire::GreetsAndLogsIn(), ftp::Exchange("MIRR /pub/x.bin", "250 ftp://b.example/x.bin"),
                  ftp::Quit()})});
  auto upload = Put(server);
  EXPECT_EQ(AskForMirrors(upload.get()),
            (Lines{"Locating mirror sites...", "Mirror sites located. ", "Idle: 1, state 5"}));
  EXPECT_EQ(Servers(*upload), (Lines{"ftp://SERVER0/pub/x.bin", "ftp://b.example/x.bin"}));
}

// ---- the next server ---------------------------------------------------------------------------

TEST_F(FTPMirror, DownloadsFromAMirrorThatTheFirstServerNamed) {
  ScriptedServer mirror({wire::Serves()});
  ScriptedServer server(
      {ftp::Join({wire::GreetsAndLogsIn(), ftp::Exchange("MIRR /pub/f.bin", "250 " + FTPURL(mirror)),
                  ftp::Exchange("CWD /pub", "550 gone"), ftp::Quit()})});
  auto download = Get(server);
  Name(mirror);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({rows::kPrepared,
                                    rows::kConnected,
                                    rows::kLoggedIn,
                                    {"Locating mirror sites...", "Mirror sites located. ", "Idle: 1, state 5",
                                     "Changing directory...", "Idle: 1, state 0", "Selecting server..."},
                                    rows::BeginsAgain("SERVER1"),
                                    rows::kSized,
                                    rows::kOpened,
                                    rows::kStarted,
                                    rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
  EXPECT_EQ(Servers(*download), (Lines{"!ftp://SERVER0/pub/f.bin", "ftp://SERVER1/pub/f.bin"}));
  EXPECT_EQ(Source(*download), "ftp://u:p@SERVER1/pub/f.bin");
  EXPECT_EQ(download->Reason(), 0u);
}

TEST_F(FTPMirror, ResumesFromTheSecondServer_WhenTheFirstEndsTheData) {
  ScriptedServer first(
      {ftp::Join({wire::StartsDownload(), {DataSend("0123"), DataClose()}, wire::IsAborted()})});
  ScriptedServer second(
      {ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("4"), wire::SendsAndQuits("456789")})});
  auto download = GetFromEither(first, second);
  download->RunToCompletion();
  EXPECT_EQ(
      download->Take(),
      Join({rows::Starts(),
            {"Server connection terminated.", "Download stopped.", "Idle: 1, state 0", "Selecting server..."},
            rows::BeginsAgain("SERVER1"),
            rows::kSized,
            rows::kOpened,
            rows::kStarted,
            rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

// A record that still had the first server's size would end the second one's file there.
TEST_F(FTPMirror, TellsToSaveTheRecord_WhenTheSecondServerKnowsNoSize) {
  ScriptedServer first({ftp::Join({wire::Begins(), wire::TellsSize(), wire::CanRestart(), ftp::Passive(),
                                   ftp::Exchange("RETR f.bin", "550 gone"), ftp::Quit()})});
  ScriptedServer second({ftp::Join({wire::Begins(), wire::KnowsNoSize(), wire::CanRestart(),
                                    wire::StartsRetrieve(), wire::SendsAndQuits("0123456789abc")})});
  auto download = GetFromEither(first, second);
  download->RunToState(10);
  download->RunToState(0);
  download->RunToState(9);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(), (Lines{"File size is unknown.", "Idle: 1, state 7"}));
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789abc");
}

// Each kind of drop: what the first server says, and the lines from its connection to the second server's.
TEST_F(FTPMirror, GoesToTheSecondServer_AfterEveryKindOfDrop) {
  struct Row {
    const char* name;
    Script first;
    Lines lines;
    uint32_t reason;
  };
  const Lines connected = {"Trying \"ftp://SERVER0\"...", "Connected.", "Idle: 1, state 3",
                           "Idle: 0, state 4"};
  const Lines failed = {"Trying \"ftp://SERVER0\"...", "Connection failed."};
  const std::vector<Row> table = {
      {"greeting refused", wire::Denies(),
       Join({failed, {"Connection denied by server.", "Idle: 1, state 0"}}), 9},
      {"greeting is none",
       {SendLine("hello"), ExpectEnd()},
       Join({failed, {"Invalid address.", "Idle: 1, state 0"}}),
       10},
      {"no greeting", {Close()}, Join({failed, {"Server connection terminated.", "Idle: 1, state 0"}}), 15},
      {"login refused", ftp::Join({ftp::Greeting(), ftp::Exchange("USER u", "530 no"), ftp::Quit()}),
       Join({connected, {"Logging in as \"u\"...", "Can't log in as \"u\"", "Idle: 1, state 0"}}), 5},
      {"directory refused",
       ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors(), ftp::Exchange("CWD /pub", "550 no"),
                  ftp::Quit()}),
       Join({connected, rows::kLoggedIn, rows::kNoMirrors, {"Changing directory...", "Idle: 1, state 0"}}),
       14},
      {"type refused",
       ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors(), wire::Enters(),
                  ftp::Exchange("TYPE I", "504 no"), ftp::Quit()}),
       Join({connected,
             rows::kLoggedIn,
             rows::kNoMirrors,
             rows::kEntered,
             {"Setting transfer mode...", "Connection denied by server.", "Idle: 1, state 0"}}),
       9},
      {"file refused",
       ftp::Join({wire::Begins(),
                  wire::TellsSize(),
                  wire::CanRestart(),
                  ftp::Passive(),
                  {ExpectLine("RETR f.bin"), DataAccept(), SendLine("550 no")},
                  ftp::Quit()}),
       Join({connected,
             rows::kLoggedIn,
             rows::kNoMirrors,
             rows::kEntered,
             rows::kTypeSet,
             rows::kSized,
             rows::kOpened,
             {"Initiating download...", "Invalid address.", "Idle: 1, state 0"}}),
       10},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    ForgetServers();
    ScriptedServer first({row.first});
    ScriptedServer second({ftp::Quit()});
    second.AllowUnfinished();
    auto download = GetFromEither(first, second);
    download->RunToState(2);
    download->RunToState(0);
    EXPECT_EQ(download->Take(), Join({rows::kPrepared, row.lines}));
    EXPECT_EQ(download->Reason(), row.reason);
    EXPECT_EQ(Servers(*download), (Lines{"!ftp://SERVER0/pub/f.bin", "ftp://SERVER1/pub/f.bin"}));
    EXPECT_EQ(Source(*download), "");
    // The reason of the drop does not stop the next server.
    download->Idle(2);
    EXPECT_EQ(download->Take(), (Lines{"Selecting server...", "Idle: 0, state 1", "Idle: 0, state 2"}));
    EXPECT_EQ(download->Reason(), 0u);
    EXPECT_EQ(Source(*download), "ftp://u:p@SERVER1/pub/f.bin");
  }
}

TEST_F(FTPMirror, CountsAFailure_WhenAServerIsDropped) {
  ScriptedServer server({ftp::Join({ftp::Greeting(), ftp::Exchange("USER u", "530 no"), ftp::Quit()})});
  auto download = Get(server);
  download->RunToState(4);
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), Error_None);
  EXPECT_EQ(entry.isCurrent, 1);
  EXPECT_EQ(entry.outcomeSamples, 0u);
  EXPECT_EQ(entry.successRatio, 0.5f);
  download->Idle();
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), Error_None);
  EXPECT_EQ(entry.isCurrent, 0);
  EXPECT_EQ(entry.isFailed, 1);
  EXPECT_EQ(entry.outcomeSamples, 1u);
  EXPECT_EQ(entry.successRatio, 0.0f);
}

TEST_F(FTPMirror, CountsNoSuccess) {
  ScriptedServer server({wire::Serves()});
  auto download = Get(server);
  download->RunToCompletion();
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), Error_None);
  EXPECT_EQ(entry.outcomeSamples, 0u);
  EXPECT_EQ(entry.successRatio, 0.5f);
}

// ---- no server left ----------------------------------------------------------------------------

TEST_F(FTPMirror, TriesTheListAgain_WhenNoServerIsLeft) {
  ScriptedServer first({wire::Denies(), wire::Serves()});
  ScriptedServer second({wire::Denies()});
  auto download = GetFromEither(first, second);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(
      download->Take(),
      Join({rows::kPrepared,
            {"Trying \"ftp://SERVER0\"...", "Connection failed.", "Connection denied by server.",
             "Idle: 1, state 0", "Selecting server...", "Idle: 0, state 1", "Idle: 0, state 2",
             "Trying \"ftp://SERVER1\"...", "Connection failed.", "Connection denied by server.",
             "Idle: 1, state 0", "Selecting server...", "No server or mirror found.", "Idle: 4, state 0"}}));
  EXPECT_EQ(download->Reason(), 8u);
  EXPECT_EQ(Servers(*download), (Lines{"!ftp://SERVER0/pub/f.bin", "!ftp://SERVER1/pub/f.bin"}));
  download->Idle();
  EXPECT_EQ(download->Take(), (Lines{"Reestablishing lost connection.", "Idle: 0, state 0"}));
  EXPECT_EQ(Servers(*download), (Lines{"ftp://SERVER0/pub/f.bin", "ftp://SERVER1/pub/f.bin"}));
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({{"Selecting server..."},
                                    rows::BeginsAgain("SERVER0", "1"),
                                    rows::kSized,
                                    rows::kOpened,
                                    rows::kStarted,
                                    rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPMirror, TriesTheListAgainInAProbeToo) {
  ScriptedServer server({wire::Denies(), ftp::Join({wire::GreetsAndLogsIn(), ftp::Quit()})});
  auto download = Get(server);
  EXPECT_EQ(download->Run(), 4);
  download->Take();
  download->Poll();
  download->Poll();
  EXPECT_EQ(download->Take(), (Lines{"Reestablishing lost connection.", "Poll: 0, state 0",
                                     "Locating server...", "Poll: 0, state 1"}));
  EXPECT_EQ(Servers(*download), Lines{"ftp://SERVER0/pub/f.bin"});
  download->RunToState(6);
}

TEST_F(FTPMirror, ForgetsWhatTheFirstServerCould) {
  // The second server cannot resume, and is asked for the directory anew.
  ScriptedServer first({ftp::Join({wire::StartsDownload(), {DataClose()}, wire::IsAborted()})});
  ScriptedServer second({ftp::Join({wire::Begins(), wire::TellsSize(), ftp::Exchange("REST 100", "502 no"),
                                    wire::StartsRetrieve(), wire::SendsAndQuits()})});
  auto download = GetFromEither(first, second);
  download->RunToState(11);
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 1);
  download->RunToState(0);
  download->Idle();
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 0);
  download->RunToCompletion();
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 0);
  EXPECT_EQ(Bytes(), "0123456789");
}

}  // namespace
}  // namespace transfer
