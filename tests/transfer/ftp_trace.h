// What the tests of transfers over FTP are put together from: the server's side as scripts (namespace
// wire), the client's side as lines of the trace (namespace rows). Unless told otherwise user "u" with
// password "p" gets /pub/f.bin, ten bytes.
#pragma once

#include "net/sock_testing.h"
#include "os/time/clock_testing.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/vrxprefs.h"
#include "tests/support/scripted_ftp.h"
#include "tests/support/temp_dir.h"
#include "tests/transfer/transfer_trace.h"

namespace transfer {

inline constexpr char kFileBytes[] = "0123456789";

// For tests of time-outs.
inline constexpr uint32_t kShortWaitMilliseconds = 1000;

// ---- the server's side -------------------------------------------------------------------------

namespace wire {

inline Script LogsIn(const std::string& user = "u", const std::string& password = "p") {
  return ftp::Join({ftp::Exchange("USER " + user, "331 who?"), ftp::Exchange("PASS " + password, "230 in")});
}
inline Script GreetsAndLogsIn() {
  return ftp::Join({ftp::Greeting(), LogsIn()});
}
inline Script KnowsNoMirrors(const std::string& path = "/pub/f.bin") {
  return ftp::Exchange("MIRR " + path, "500 what?");
}
inline Script Enters(const std::string& directory = "/pub", const std::string& name = "f.bin") {
  return ftp::Join({ftp::Exchange("CWD " + directory, "250 ok"), ftp::Exchange("CWD " + name, "550 no")});
}
// From the greeting to the transfer type.
inline Script Begins() {
  return ftp::Join({GreetsAndLogsIn(), KnowsNoMirrors(), Enters(), ftp::Exchange("TYPE I", "200 ok")});
}
// Behind a probe nobody asks for mirrors again.
inline Script BeginsAgain() {
  return ftp::Join({GreetsAndLogsIn(), Enters(), ftp::Exchange("TYPE I", "200 ok")});
}
inline Script TellsSize(const std::string& size = "10") {
  return ftp::Exchange("SIZE f.bin", "213 " + size);
}
inline Script KnowsNoSize() {
  return ftp::Exchange("SIZE f.bin", "550 what?");
}
inline Script CanRestart() {
  return ftp::Join({ftp::Exchange("REST 100", "350 ok"), ftp::Exchange("REST 0", "350 ok")});
}
inline Script StartsRetrieve() {
  return ftp::Join({ftp::Passive(), ftp::Started("RETR f.bin")});
}
inline Script RestartsAt(const std::string& offset) {
  return ftp::Join({ftp::Passive(), ftp::Exchange("REST " + offset, "350 ok"), ftp::Started("RETR f.bin")});
}
inline Script SendsAndQuits(const std::string& bytes = kFileBytes) {
  return ftp::Join({ftp::SendsFile(bytes), ftp::Quit()});
}
inline Script IsAborted() {
  return ftp::Join({ftp::Exchange("ABOR", "226 ok"), ftp::Quit()});
}
// A whole download.
inline Script StartsDownload() {
  return ftp::Join({Begins(), TellsSize(), CanRestart(), StartsRetrieve()});
}
inline Script Serves() {
  return ftp::Join({StartsDownload(), SendsAndQuits()});
}
// Resets the data connection when the client had the time to write these bytes.
inline Script CutsBehind(const std::string& bytes) {
  using namespace script;
  return {DataSend(bytes), Wait(200), DataReset()};
}
// Refuses whoever comes.
inline Script Denies() {
  return {script::SendLine("421 full"), script::ExpectEnd()};
}

}  // namespace wire

// ---- the client's side -------------------------------------------------------------------------

namespace rows {

inline const Lines kPrepared = {"Idle: 1, state 1", "Idle: 1, state 2"};
inline const Lines kConnected = {"Trying \"ftp://SERVER0\"...", "Connected.", "Idle: 1, state 3",
                                 "Idle: 0, state 4"};
inline const Lines kLoggedIn = {"Logging in as \"u\"...", "Idle: 0, state 6"};
inline const Lines kNoMirrors = {"Locating mirror sites...", "Not a Netcask server.", "Idle: 0, state 5"};
inline const Lines kEntered = {"Changing directory...", "Idle: 0, state 8"};
inline const Lines kTypeSet = {"Setting transfer mode...", "Idle: 0, state 9"};
inline const Lines kSized = {"File size is 10 bytes.", "Idle: 1, state 7"};
inline const Lines kSizeUnknown = {"File size is unknown.", "Idle: 0, state 7"};
inline const Lines kOpened = {"Idle: 0, state 10"};
inline const Lines kStarted = {"Initiating download...", "Server supports pause/resume.", "Downloading...",
                               "Idle: 0, state 11"};
inline const Lines kStartedAnew = {"Initiating download...", "Server does not support pause/resume.",
                                   "Downloading...", "Idle: 0, state 11"};
inline const Lines kReceived = {"Download completed on DATE.", "Idle: 1, state 12"};
inline const Lines kSaved = {"Moving file to \"OUT/f.bin\"...", "Idle: 1, state 13", "Idle: 5, state 14"};
inline const Lines kNoServerLeft = {"Selecting server...", "No server or mirror found.",
                                    "Idle: 4, state 0",    "Reestablishing lost connection.",
                                    "Idle: 0, state 0",    "Selecting server..."};

// Up to the transfer type.
inline Lines Begins() {
  return Join({kPrepared, kConnected, kLoggedIn, kNoMirrors, kEntered, kTypeSet});
}
// Up to the data.
inline Lines Starts() {
  return Join({Begins(), kSized, kOpened, kStarted});
}
inline Lines Ends() {
  return Join({kReceived, kSaved});
}
// A later connection; the data file and the log have their names. first: the result of its first call.
inline Lines Reconnects(const std::string& server = "SERVER0", const std::string& first = "0") {
  return {"Idle: " + first + ", state 1",
          "Idle: 0, state 2",
          "Trying \"ftp://" + server + "\"...",
          "Connected.",
          "Idle: 0, state 3",
          "Idle: 0, state 4"};
}
inline Lines BeginsAgain(const std::string& server = "SERVER0", const std::string& first = "0") {
  return Join({Reconnects(server, first), kLoggedIn, kNoMirrors, kEntered, kTypeSet});
}

}  // namespace rows

// The lines without calls that only went on with what the call before had begun: how many there are depends
// on how a file is copied.
inline Lines WithoutRepeats(const Lines& lines) {
  Lines kept;
  for (const std::string& line : lines) {
    const bool isRepeat = line.starts_with("Idle: 0, ") && !kept.empty() &&
                          kept.back().starts_with("Idle: ") && kept.back().substr(9) == line.substr(9);
    if (!isRepeat) kept.push_back(line);
  }
  return kept;
}

// The lines without data steps, of which the network makes as many as it likes.
inline Lines WithoutDataSteps(Lines lines) {
  std::erase(lines, kDataStep);
  return lines;
}

// ---- the tests ---------------------------------------------------------------------------------

class FTPTransferTest : public TransferTest {
 protected:
  void SetUp() override {
    TransferTest::SetUp();
    FTPc_SetPortRange(loopback::UnusedPorts(kActivePorts), kActivePorts);
  }
  void TearDown() override {
    iSock_SetLookUp(nullptr);
    iClock_SetWallClock(nullptr);
    TransferTest::TearDown();
  }

  static std::string FTPURL(const ScriptedServer& server, const std::string& path = "/pub/f.bin",
                            const std::string& user = "u:p@") {
    return "ftp://" + user + server.address() + path;
  }
  // The next server is SERVER0 again.
  void ForgetServers() {
    names_ = Names();
    servers_ = 0;
    names_.Add(out_, "OUT");
    names_.Add(cache_, "CACHE");
  }

  // A download to OUT/f.bin. The server gets the next number.
  std::unique_ptr<TracedTransfer> Get(const ScriptedServer& server, const std::string& path = "/pub/f.bin",
                                      const std::string& user = "u:p@",
                                      Callbacks callbacks = Callbacks::MessagesOnly) {
    Name(server);
    return NewDownload(FTPURL(server, path, user), callbacks, "f.bin");
  }
  // The same from two servers, the second one a mirror.
  std::unique_ptr<TracedTransfer> GetFromEither(const ScriptedServer& first, const ScriptedServer& second) {
    auto download = Get(first);
    Name(second);
    EXPECT_EQ(VRXClient_AddMirrors(*download, FTPURL(second).c_str()), Error_None);
    return download;
  }
  // A download that has these bytes already.
  std::unique_ptr<TracedTransfer> Resume(const ScriptedServer& server, const std::string& bytes,
                                         Callbacks callbacks = Callbacks::MessagesOnly) {
    auto download = Get(server, "/pub/f.bin", "u:p@", callbacks);
    WriteFile(OutPath("f.bin.part"), bytes);
    EXPECT_EQ(VRXClient_SetDataFilePath(*download, Out("f.bin.part").c_str()), Error_None);
    return download;
  }
  // An upload of SOURCE/f.bin.
  std::unique_ptr<TracedTransfer> Put(const ScriptedServer& server, const std::string& bytes = kFileBytes,
                                      const std::string& path = "/pub/x.bin",
                                      Callbacks callbacks = Callbacks::MessagesOnly) {
    Name(server);
    names_.Add(source_.Name(), "SOURCE");
    source_.Write("f.bin", bytes);
    source_.SetModified("f.bin", 900000000);
    auto upload = NewTransfer();
    EXPECT_EQ(upload->Upload(source_.Name("f.bin"), FTPURL(server, path), callbacks), Error_None);
    return upload;
  }

  std::string Bytes() const { return OutBytes("f.bin"); }
  std::string PartBytes() const { return OutBytes("f.bin.part"); }

  // The servers in order, those that failed with a "!".
  Lines Servers(const VRXClient* client) const {
    Lines servers;
    VRXClientServer server;
    for (uint32_t i = 0; VRXClient_GetServer(client, i, &server) == Error_None; ++i) {
      servers.push_back((server.isFailed != 0 ? "!" : "") + names_.Apply(server.url));
    }
    return servers;
  }
  std::string Source(const VRXClient* client) const {
    char url[1024] = "";
    VRXClient_GetSourceURL(client, url);
    return names_.Apply(url);
  }
  std::string Log(VRXClient* client) const {
    const char* text = nullptr;
    EXPECT_EQ(VRXClient_GetInfo(client, &text), Error_None);
    return text != nullptr ? names_.Apply(text) : "";
  }

  TempDir source_;

 private:
  static constexpr int kActivePorts = 32;
};

}  // namespace transfer
