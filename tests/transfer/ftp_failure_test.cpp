// What transfers over FTP say and do when something fails: each status, each state, each cause; a full disk;
// a stop.
#include <atomic>
#include <chrono>
#include <thread>

#include "tests/support/error_capture.h"
#include "tests/support/failing_close.h"
#include "tests/transfer/ftp_trace.h"
#include "transfer/vrxclientsystem_internal.h"

using namespace script;

namespace transfer {
namespace {

class FTPFailure : public FTPTransferTest {};

// ---- each status, told by the look-up of the server --------------------------------------------

uint32_t lookUpError;

bool FailToLookUp(const char*, uint8_t*, uint32_t* error) {
  *error = lookUpError;
  return false;
}

struct StatusRow {
  const char* status;
  uint32_t lookUpError;
  const char* message;  // "": none
  int32_t result;
  uint32_t reason;
  bool isDropped;
};

// The name of the log makes the record a changed one, so 0 is told as 1.
constexpr StatusRow kStatusRows[] = {
    {"Block", 10035, "", 1, 0, false},
    {"Memory", 10055, "Out of memory.", 1, 1, false},
    {"Cancel", 10004, "Connection cancelled.", 3, 0, false},
    {"Timeout", 10060, "Connection timed out. Download postponed.", 2, 11, true},
    {"Retry", 11002, "Attempting to reconnect.", 1, 0, false},
    {"System", 10050, "System problem. Download postponed.", 2, 0, false},
    {"NoAccess", 10061, "Connection denied by server.", 1, 9, true},
    {"Invalid", 10014, "Invalid address.", 1, 10, true},
    {"NotFound", 11001, "Invalid address.", 1, 10, true},
    {"Exists", 10048, "An error occurred: Exists", 2, 0, false},
    {"Fail", 10065, "An error occurred: Fail", 2, 0, false},
};

TEST_F(FTPFailure, SaysAndDoesWhatTheStatusAsksFor) {
  iSock_SetLookUp(FailToLookUp);
  for (const StatusRow& row : kStatusRows) {
    SCOPED_TRACE(row.status);
    lookUpError = row.lookUpError;
    auto download = NewDownload("ftp://lost.example/f.bin", Callbacks::MessagesOnly, "f.bin");
    download->Idle(3);
    Lines expected = Join({rows::kPrepared, {"Trying \"ftp://lost.example:21\"...", "Connection failed."}});
    if (row.message[0] != '\0') expected.push_back(row.message);
    expected.push_back("Idle: " + std::to_string(row.result) + ", state 0");
    EXPECT_EQ(download->Take(), expected);
    EXPECT_EQ(download->Reason(), row.reason);
    EXPECT_EQ(Servers(*download), Lines{std::string(row.isDropped ? "!" : "") + "ftp://lost.example/f.bin"});
    EXPECT_EQ(Source(*download), row.isDropped ? "" : "ftp://lost.example/f.bin");
  }
}

TEST_F(FTPFailure, TriesTheSameServerAgain_WhenItIsNotDropped) {
  iSock_SetLookUp(FailToLookUp);
  lookUpError = 10055;
  auto download = NewDownload("ftp://lost.example/f.bin", Callbacks::MessagesOnly, "f.bin");
  download->Idle(3);
  download->Take();
  EXPECT_EQ(download->Reason(), 1u);
  download->Idle(3);
  EXPECT_EQ(download->Take(),
            (Lines{"Idle: 0, state 1", "Idle: 0, state 2", "Trying \"ftp://lost.example:21\"...",
                   "Connection failed.", "Out of memory.", "Idle: 0, state 0"}));
}

TEST_F(FTPFailure, DropsTheServer_WhenItAsksElevenTimesToTryAgain) {
  iSock_SetLookUp(FailToLookUp);
  lookUpError = 11002;
  auto download = NewDownload("ftp://lost.example/f.bin", Callbacks::MessagesOnly, "f.bin");
  for (int i = 0; i < 10; ++i) {
    download->Idle(3);
    const Lines lines = download->Take();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[lines.size() - 2], "Attempting to reconnect.") << i;
  }
  download->Idle(3);
  EXPECT_EQ(download->Take(),
            (Lines{"Idle: 0, state 1", "Idle: 0, state 2", "Trying \"ftp://lost.example:21\"...",
                   "Connection failed.", "Server connection terminated.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 15u);
  EXPECT_EQ(Servers(*download), Lines{"!ftp://lost.example/f.bin"});
}

TEST_F(FTPFailure, TakesTheNextServer_WhenTheSchemeCannotBeServed) {
  ScriptedServer server({ftp::Join({wire::GreetsAndLogsIn(), ftp::Quit()})});
  Name(server);
  auto download = NewDownload("ftp://lost.example/f.bin", Callbacks::MessagesOnly, "f.bin");
  EXPECT_EQ(VRXClient_AddMirrors(*download, ("file:///tmp/f.bin;" + FTPURL(server)).c_str()), Error_None);
  iSock_SetLookUp(FailToLookUp);
  lookUpError = 11001;
  download->Idle(3);
  iSock_SetLookUp(nullptr);
  download->Take();
  download->Idle(3);
  EXPECT_EQ(download->Take(),
            (Lines{"Selecting server...", "Idle: 0, state 1", "Idle: 0, state 2", "Trying \"file://:0\"...",
                   "Unsupported protocol: \"file\"", "Idle: 1, state 0"}));
  EXPECT_EQ(Servers(*download),
            (Lines{"!ftp://lost.example/f.bin", "!file:///tmp/f.bin", "ftp://SERVER0/pub/f.bin"}));
  download->RunToState(6);
}

// ---- the greeting ------------------------------------------------------------------------------

TEST_F(FTPFailure, DropsTheServer_WhenNobodyListens) {
  auto download = NewDownload("ftp://127.0.0.1:" + std::to_string(loopback::UnusedPort()) + "/f.bin",
                              Callbacks::MessagesOnly, "f.bin");
  download->Idle(2);
  download->Take();
  download->Idle();
  const Lines lines = download->Take();
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(Lines(lines.begin() + 1, lines.end()),
            (Lines{"Connection failed.", "Connection denied by server.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 9u);
}

TEST_F(FTPFailure, DropsTheServer_WhenItIsSilentFromTheStart) {
  iSock_SetWaitMilliseconds(kShortWaitMilliseconds);
  ScriptedServer server({{ExpectEnd()}});
  auto download = Get(server);
  EXPECT_EQ(download->Run(), 2);
  EXPECT_EQ(download->Take(), Join({rows::kPrepared,
                                    {"Trying \"ftp://SERVER0\"...", "Connection failed.",
                                     "Connection timed out. Download postponed.", "Idle: 2, state 0"}}));
  EXPECT_EQ(download->Reason(), 11u);
}

TEST_F(FTPFailure, IsPostponed_WhenAReplyHasNoEnd) {
  std::string flood = "220-\r\n";
  for (int i = 0; i < 5000; ++i) flood += "220-" + std::string(1000, 'y') + "\r\n";
  ScriptedServer server({{Send(flood), ReadToEnd()}});
  auto download = Get(server);
  EXPECT_EQ(download->Run(), 2);
  EXPECT_EQ(download->Take(), Join({rows::kPrepared,
                                    {"Trying \"ftp://SERVER0\"...", "Connection failed.",
                                     "An error occurred: Exceed", "Idle: 2, state 0"}}));
  EXPECT_EQ(Servers(*download), Lines{"ftp://SERVER0/pub/f.bin"});
}

// ---- each state: the server ends, resets, or says no more --------------------------------------

struct StateRow {
  uint32_t state;
  Script before;
  const char* command;
  Lines said;  // before the failure
};

std::vector<StateRow> StateRows() {
  const Script loggedIn = wire::GreetsAndLogsIn();
  const Script entered = ftp::Join({loggedIn, wire::KnowsNoMirrors(), wire::Enters()});
  return {
      {4, ftp::Greeting(), "USER u", {"Logging in as \"u\"..."}},
      {6, loggedIn, "MIRR /pub/f.bin", {"Locating mirror sites..."}},
      {5, ftp::Join({loggedIn, wire::KnowsNoMirrors()}), "CWD /pub", {"Changing directory..."}},
      {8, entered, "TYPE I", {"Setting transfer mode..."}},
      {9, wire::Begins(), "SIZE f.bin", {"File size is 4294967295 bytes."}},
      {10, ftp::Join({wire::Begins(), wire::TellsSize()}), "REST 100", {"Initiating download..."}},
      {10,
       ftp::Join({wire::Begins(), wire::TellsSize(), wire::CanRestart()}),
       "PASV",
       {"Initiating download..."}},
  };
}

class FTPFailureInState : public FTPFailure {
 protected:
  // Fails in the row's state, with this script behind its command.
  Lines Fail(const StateRow& row, const Script& failure, uint32_t* reason, Lines* servers) {
    ForgetServers();
    ScriptedServer server({ftp::Join({row.before, {ExpectLine(row.command)}, failure})});
    auto download = Get(server);
    download->RunToState(row.state);
    download->Take();
    download->Idle();
    *reason = download->Reason();
    *servers = Servers(*download);
    return download->Take();
  }
};

TEST_F(FTPFailureInState, DropsTheServer_WhenItEnds) {
  for (const StateRow& row : StateRows()) {
    SCOPED_TRACE(row.command);
    uint32_t reason;
    Lines servers;
    EXPECT_EQ(Fail(row, {Close()}, &reason, &servers),
              Join({row.said, {"Server connection terminated.", "Idle: 1, state 0"}}));
    EXPECT_EQ(reason, 15u);
    EXPECT_EQ(servers, Lines{"!ftp://SERVER0/pub/f.bin"});
  }
}

TEST_F(FTPFailureInState, TriesTheServerAgain_WhenItResets) {
  for (const StateRow& row : StateRows()) {
    SCOPED_TRACE(row.command);
    uint32_t reason;
    Lines servers;
    // The size counts as changed whatever it is.
    EXPECT_EQ(Fail(row, {Reset()}, &reason, &servers),
              Join({row.said,
                    {"Attempting to reconnect.", row.state == 9 ? "Idle: 1, state 0" : "Idle: 0, state 0"}}));
    EXPECT_EQ(reason, 0u);
    EXPECT_EQ(servers, Lines{"ftp://SERVER0/pub/f.bin"});
  }
}

TEST_F(FTPFailureInState, DropsTheServerWithoutAWord_WhenItIsSilent) {
  iSock_SetWaitMilliseconds(kShortWaitMilliseconds);
  for (const StateRow& row : StateRows()) {
    SCOPED_TRACE(row.command);
    uint32_t reason;
    Lines servers;
    EXPECT_EQ(Fail(row, {ExpectEnd()}, &reason, &servers),
              Join({row.said, {"Connection timed out. Download postponed.", "Idle: 2, state 0"}}));
    EXPECT_EQ(reason, 11u);
    EXPECT_EQ(servers, Lines{"!ftp://SERVER0/pub/f.bin"});
  }
}

TEST_F(FTPFailure, DropsTheServer_WhenItEndsWithAWord) {
  ScriptedServer server({ftp::Join({wire::GreetsAndLogsIn(),
                                    wire::KnowsNoMirrors(),
                                    wire::Enters(),
                                    {ExpectLine("TYPE I"), SendLine("421 closing"), Close()}})});
  auto download = Get(server);
  download->RunToState(8);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(),
            (Lines{"Setting transfer mode...", "Connection denied by server.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 9u);
}

TEST_F(FTPFailure, DropsTheServer_WhenNobodyListensForTheData) {
  const uint16_t unused = loopback::UnusedPort();
  const std::string passive =
      "227 (127,0,0,1," + std::to_string(unused / 256) + "," + std::to_string(unused % 256) + ")";
  ScriptedServer server(
      {ftp::Join({wire::Begins(), wire::TellsSize(), wire::CanRestart(), ftp::Exchange("PASV", passive),
                  ftp::Exchange("RETR f.bin", "425 nobody came"), ftp::Quit()})});
  auto download = Get(server);
  download->RunToState(10);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(),
            (Lines{"Initiating download...", "Connection denied by server.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 9u);
}

// ---- the data phase ----------------------------------------------------------------------------

struct DataRow {
  const char* name;
  Script failure;
  Lines lines;  // behind the start
  uint32_t reason;
  bool isDropped;
};

TEST_F(FTPFailure, SaysTheCauseFirst_WhenTheDataStops) {
  iSock_SetWaitMilliseconds(kShortWaitMilliseconds);
  const std::vector<DataRow> table = {
      {"the data ends",
       ftp::Join({{DataSend("0123"), DataClose()}, wire::IsAborted()}),
       {"Server connection terminated.", "Download stopped.", "Idle: 1, state 0"},
       15,
       true},
      {"the data is reset",
       ftp::Join({wire::CutsBehind("0123"), wire::IsAborted()}),
       {"Attempting to reconnect.", "Download stopped.", "Idle: 0, state 0"},
       0,
       false},
      {"the server is silent: neither ABOR nor QUIT",
       {DataSend("0123"), DataStall(), ExpectEnd()},
       {"Connection timed out. Download postponed.", "Download stopped.", "Idle: 2, state 0"},
       11,
       true},
      {"the server closes all",
       {DataSend("0123"), SendLine("421 closing"), DataClose(), Close()},
       {"Server connection terminated.", "Download stopped.", "Idle: 1, state 0"},
       15,
       true},
  };
  for (const DataRow& row : table) {
    SCOPED_TRACE(row.name);
    ForgetServers();
    ScriptedServer server({ftp::Join({wire::StartsDownload(), row.failure})});
    auto download = Get(server);
    download->RunToState(11);
    download->RunToState(0);
    EXPECT_EQ(download->Take(), Join({rows::Starts(), row.lines}));
    EXPECT_EQ(download->Reason(), row.reason);
    EXPECT_EQ(Servers(*download), Lines{std::string(row.isDropped ? "!" : "") + "ftp://SERVER0/pub/f.bin"});
    EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "0123");
    EXPECT_EQ(OutNames(), Lines());
  }
}

TEST_F(FTPFailure, TellsTheConnectionCount) {
  iVRXClientSystem_ClearConnections();
  ScriptedServer server(
      {ftp::Join({wire::StartsDownload(), {DataSend("0123"), DataClose()}, wire::IsAborted()})});
  auto download = Get(server);
  EXPECT_EQ(iVRXClientSystem_Connections(), 0u);
  download->RunToState(11);
  EXPECT_EQ(iVRXClientSystem_Connections(), 1u);
  download->RunToState(0);
  EXPECT_EQ(iVRXClientSystem_Connections(), 0u);
}

// ---- the disk ----------------------------------------------------------------------------------

uint64_t freeBytesOfVolume;
ErrorCode freeBytesStatus;

ErrorCode TellFreeBytes(const char*, uint64_t* freeBytes) {
  *freeBytes = freeBytesOfVolume;
  return freeBytesStatus;
}

class FTPSpace : public FTPTransferTest {
 protected:
  void SetUp() override {
    FTPTransferTest::SetUp();
    freeBytesStatus = Error_None;
    iVRXClient_SetFreeBytes(TellFreeBytes);
  }
  static Lines NoSpace() {
    return {"Initiating download...", "Server supports pause/resume.",
            "Downloading...",         "Not enough disk space to complete download.",
            "Download stopped.",      "Idle: 4, state 0"};
  }
};

TEST_F(FTPSpace, Fails_WhenTheVolumeHasAByteTooFew) {
  freeBytesOfVolume = 9;
  ScriptedServer server({ftp::Join({wire::StartsDownload(), wire::IsAborted()})});
  auto download = Get(server);
  download->RunToState(10);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(), NoSpace());
  EXPECT_EQ(download->Reason(), 20u);
  EXPECT_EQ(Servers(*download), Lines{"ftp://SERVER0/pub/f.bin"});
}

TEST_F(FTPSpace, NeedsWhatIsMissingOnly) {
  freeBytesOfVolume = 5;
  ScriptedServer server(
      {ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("4"), wire::IsAborted()}),
       ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("4"), wire::IsAborted()})});
  auto download = Resume(server, "0123");
  download->RunToState(10);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(), NoSpace());
  freeBytesOfVolume = 6;
  download->RunToState(11);
  EXPECT_EQ(download->State(), 11u);
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  EXPECT_EQ(PartBytes(), "0123");
}

TEST_F(FTPSpace, IsEnough_WhenItIsExactlyTheSize) {
  freeBytesOfVolume = 10;
  ScriptedServer server({wire::Serves()});
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPSpace, IsComparedIn64Bits) {
  // 4 GiB and 10 bytes do not fit where 4 GiB and 9 are.
  freeBytesOfVolume = 4294967296u + 9;
  ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize("4294967306"), wire::CanRestart(),
                                    wire::StartsRetrieve(), wire::IsAborted()})});
  auto download = Get(server);
  download->RunToState(10);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(), NoSpace());
}

TEST_F(FTPSpace, IsNotCompared_WhenTheSizeIsUnknown) {
  freeBytesOfVolume = 0;
  ScriptedServer server({ftp::Join({wire::Begins(), wire::KnowsNoSize(), wire::CanRestart(),
                                    wire::StartsRetrieve(), wire::SendsAndQuits()})});
  auto download = Get(server);
  download->RunToState(12);
  EXPECT_EQ(download->State(), 12u);
}

TEST_F(FTPSpace, IsNotCompared_WhenItIsNotKnown) {
  freeBytesOfVolume = 0;
  freeBytesStatus = Error_NotFound;
  ScriptedServer server({wire::Serves()});
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPFailure, Fails_WhenTheDataFileCannotBeClosed) {
  ScriptedServer server({ftp::Join({wire::StartsDownload(), wire::SendsAndQuits()})});
  auto download = Get(server);
  download->RunToState(11);
  download->Take();
  int32_t result;
  {
    const FailingClose failing;
    result = download->Run();
  }
  EXPECT_EQ(result, 4);
  EXPECT_EQ(WithoutDataSteps(download->Take()),
            (Lines{"Can't write to file. The disk may be full.", "Idle: 4, state 0"}));
  EXPECT_EQ(download->Reason(), 20u);
  EXPECT_EQ(Servers(*download), Lines{"ftp://SERVER0/pub/f.bin"});
  EXPECT_EQ(OutNames(), Lines());
}

// ---- a stop ------------------------------------------------------------------------------------

TEST_F(FTPFailure, GivesZeroForACallWithinAStop) {
  ScriptedServer server(
      {ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("4"), wire::IsAborted()})});
  auto download = Resume(server, "0123");
  download->RunToState(11);
  download->Take();
  int32_t result = -1;
  download->onMessage = [&](const std::string& text) {
    if (text == "Download stopped.") result = VRXClient_Idle(*download);
  };
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(download->Take(), Lines{"Download stopped."});
  EXPECT_EQ(Servers(*download), Lines{"ftp://SERVER0/pub/f.bin"});
}

TEST_F(FTPFailure, EndsTheStep_WhenAMessageStopsTheTransfer) {
  ScriptedServer server({ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors(), ftp::Quit()})});
  auto download = Get(server);
  download->onMessage = [&](const std::string& text) {
    if (text != "Not a Netcask server.") return;
    EXPECT_EQ(VRXClient_Stop(*download), 0);
  };
  EXPECT_EQ(download->Run(), 3);
  EXPECT_EQ(download->Take(),
            Join({rows::kPrepared,
                  rows::kConnected,
                  rows::kLoggedIn,
                  {"Locating mirror sites...", "Not a Netcask server.", "Idle: 3, state 0"}}));
  EXPECT_EQ(Servers(*download), Lines{"ftp://SERVER0/pub/f.bin"});
}

TEST_F(FTPFailure, EndsWithinASecond_WhenAnotherThreadStopsTheTransfer) {
  ScriptedServer server({ftp::Join({wire::StartsDownload(), {DataSend("0123"), DataStall()}})});
  server.AllowUnfinished();
  auto download = Get(server);
  download->RunToState(11);
  const ErrorCapture capture;
  std::atomic<int64_t> stopped{0};
  const auto Now = [] {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
  };
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    stopped = Now();
    VRXClient_Stop(*download);
  });
  EXPECT_EQ(download->Run(), 3);
  EXPECT_LT(Now() - stopped, 1500);
  other.join();
  EXPECT_EQ(download->Take(),
            Join({rows::Starts(), {"Connection cancelled.", "Download stopped.", "Idle: 3, state 0"}}));
  // Of all results of a data step this one is taken for a mistake.
  EXPECT_EQ(capture.Lines(), Lines{"#### Error: iVRXClient_EndTransfer returned invalid status 3\n"});
  EXPECT_EQ(Servers(*download), Lines{"ftp://SERVER0/pub/f.bin"});
}

TEST_F(FTPFailure, LeavesNestedCallsWithoutEffect) {
  ScriptedServer server({ftp::Join({wire::GreetsAndLogsIn(), ftp::Quit()})});
  auto download = Get(server);
  Lines nested;
  download->onMessage = [&](const std::string&) {
    nested.push_back(std::to_string(VRXClient_Idle(*download)) + std::to_string(VRXClient_Poll(*download)));
  };
  download->RunToState(6);
  EXPECT_EQ(download->Take(), Join({rows::kPrepared, rows::kConnected, rows::kLoggedIn}));
  EXPECT_EQ(nested, (Lines{"00", "00", "00"}));
}

}  // namespace
}  // namespace transfer
