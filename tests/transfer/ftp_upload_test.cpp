// Uploads over FTP: the copy that is sent, the name on the server, what the server holds already, the end.
#include "tests/transfer/ftp_trace.h"

using namespace script;

namespace transfer {
namespace {

const Lines kCopied = {"Idle: 1, state 1", "Copying upload file...", "Idle: 1, state 1", "Idle: 0, state 0",
                       "Idle: 0, state 1"};
const Lines kUnaltered = {"Upload file has not been altered.", "Idle: 0, state 2"};
const Lines kConnectedWithLog = {"Trying \"ftp://SERVER0\"...", "Connected.", "Idle: 0, state 3",
                                 "Idle: 0, state 4"};
const Lines kSent = {"Download completed on DATE.", "Idle: 1, state 12", "Idle: 1, state 13",
                     "Idle: 5, state 14"};

Script StartsStore(const std::string& name = "f.bin") {
  return ftp::Join({ftp::Passive(), ftp::Started("STOR " + name)});
}
Script TakesAndQuits() {
  return ftp::Join({ftp::TakesFile(), ftp::Quit()});
}
Script Begins(const std::string& path = "/pub/x.bin") {
  return ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors(path), ftp::Exchange("CWD /pub", "250 ok"),
                    ftp::Exchange("TYPE I", "200 ok")});
}
// A whole upload of a file that the server does not have.
Script Takes() {
  return ftp::Join({Begins(), wire::KnowsNoSize(), wire::CanRestart(), StartsStore(), TakesAndQuits()});
}

Lines BeginsRows() {
  return Join({kCopied, kUnaltered, kConnectedWithLog, rows::kLoggedIn, rows::kNoMirrors, rows::kEntered,
               rows::kTypeSet});
}

class FTPUpload : public FTPTransferTest {
 protected:
  // Has a copy of the source, and lost the connection to the first server; the next call selects another.
  std::unique_ptr<TracedTransfer> PutBehindAFailure(const ScriptedServer& first,
                                                    const ScriptedServer& second) {
    auto upload = Put(first);
    Name(second);
    EXPECT_EQ(VRXClient_AddMirrors(*upload, FTPURL(second, "/pub/x.bin").c_str()), Error_None);
    upload->RunToState(2);
    upload->RunToState(0);
    EXPECT_EQ(upload->Reason(), 9u);
    upload->Take();
    return upload;
  }
  // The lines of selecting the second server and preparing the file.
  static Lines Prepare(TracedTransfer* upload) {
    upload->RunToState(2);
    return WithoutRepeats(upload->Take());
  }
};

// ---- whole conversations -----------------------------------------------------------------------

TEST_F(FTPUpload, GoesFromTheFirstStepToTheLast) {
  ScriptedServer server({{SendLine("220 ready"),
                          ExpectLine("USER u"),
                          SendLine("331 who?"),
                          ExpectLine("PASS p"),
                          SendLine("230 in"),
                          ExpectLine("MIRR /pub/x.bin"),
                          SendLine("500 what?"),
                          ExpectLine("CWD /pub"),
                          SendLine("250 ok"),
                          ExpectLine("TYPE I"),
                          SendLine("200 ok"),
                          ExpectLine("SIZE f.bin"),
                          SendLine("550 what?"),
                          ExpectLine("REST 100"),
                          SendLine("350 ok"),
                          ExpectLine("REST 0"),
                          SendLine("350 ok"),
                          ExpectLine("PASV"),
                          OpenPassive(),
                          SendLine("227 Entering Passive Mode ({pasv})."),
                          ExpectLine("STOR f.bin"),
                          DataAccept(),
                          SendLine("150 go"),
                          DataReadToEnd(),
                          DataClose(),
                          SendLine("226 done"),
                          ExpectLine("QUIT"),
                          SendLine("221 bye"),
                          ExpectEnd()}});
  auto upload = Put(server);
  EXPECT_EQ(upload->Run(), 5);
  EXPECT_EQ(WithoutRepeats(upload->Take()), (Lines{"Idle: 1, state 1",
                                                   "Copying upload file...",
                                                   "Idle: 1, state 1",
                                                   "Idle: 0, state 0",
                                                   "Idle: 0, state 1",
                                                   "Upload file has not been altered.",
                                                   "Idle: 0, state 2",
                                                   "Trying \"ftp://SERVER0\"...",
                                                   "Connected.",
                                                   "Idle: 0, state 3",
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
                                                   "File size is unknown.",
                                                   "Idle: 0, state 7",
                                                   "Idle: 0, state 10",
                                                   "Initiating download...",
                                                   "Server supports pause/resume.",
                                                   "Downloading...",
                                                   "Idle: 0, state 11",
                                                   "Download completed on DATE.",
                                                   "Idle: 1, state 12",
                                                   "Idle: 1, state 13",
                                                   "Idle: 5, state 14"}));
  EXPECT_EQ(server.DataReceived(0), "0123456789");
  EXPECT_EQ(VRXClient_IsUpload(*upload), 1);
  EXPECT_EQ(upload->Reason(), 0u);
  // The copy is gone, the source stays.
  EXPECT_EQ(DataFiles(), Lines());
  EXPECT_EQ(upload->DataPath(), "");
  EXPECT_EQ(source_.Read("f.bin"), "0123456789");
}

TEST_F(FTPUpload, SendsEveryByte_WhenTheServerReadsLate) {
  std::string bytes;
  for (int i = 0; bytes.size() < 1000000; ++i) bytes += std::to_string(i) + "\n";
  ScriptedServer server({ftp::Join(
      {Begins(), wire::KnowsNoSize(), wire::CanRestart(), StartsStore(), {Wait(400)}, TakesAndQuits()})});
  auto upload = Put(server, bytes);
  upload->RunToCompletion();
  EXPECT_EQ(server.DataReceived(0).size(), bytes.size());
  EXPECT_TRUE(server.DataReceived(0) == bytes);
}

TEST_F(FTPUpload, TellsTheSizeOfItsCopy) {
  ScriptedServer server({Takes()});
  auto upload = Put(server);
  EXPECT_EQ(VRXClient_GetSize(*upload), 4294967295u);
  upload->RunToState(2);
  EXPECT_EQ(VRXClient_GetSize(*upload), 10u);
  upload->RunToCompletion();
}

TEST_F(FTPUpload, SetsTheTypeOfThePreferencesForUploads) {
  struct Row {
    uint8_t preference;
    const char* command;
  };
  for (const Row& row : {Row{0, "TYPE I"}, Row{1, "TYPE I"}, Row{2, "TYPE A"}}) {
    SCOPED_TRACE(row.command);
    ForgetServers();
    VRXPrefs* prefs = VRXPrefs_BeginAccess();
    prefs->uploadType = row.preference;
    prefs->downloadType = row.preference == 2 ? 1 : 2;
    VRXPrefs_EndAccess();
    ScriptedServer server({ftp::Join({wire::GreetsAndLogsIn(), wire::KnowsNoMirrors("/pub/x.bin"),
                                      ftp::Exchange("CWD /pub", "250 ok"),
                                      ftp::Exchange(row.command, "200 ok"), ftp::Quit()})});
    auto upload = Put(server);
    upload->RunToState(8);
    upload->Take();
    upload->Idle();
    EXPECT_EQ(upload->Take(), rows::kTypeSet);
  }
}

TEST_F(FTPUpload, UsesTheServerFileName) {
  ScriptedServer server({ftp::Join({Begins(), ftp::Exchange("SIZE other.gz", "550 no"), wire::CanRestart(),
                                    StartsStore("other.gz"), TakesAndQuits()})});
  auto upload = Put(server);
  EXPECT_EQ(VRXClient_SetServerFileName(*upload, "other.gz"), Error_None);
  upload->RunToCompletion();
  EXPECT_EQ(server.DataReceived(0), "0123456789");
}

// ---- the copy ----------------------------------------------------------------------------------

TEST_F(FTPUpload, CopiesTheSourceOnce) {
  ScriptedServer first({wire::Denies()});
  ScriptedServer second({Takes()});
  auto upload = PutBehindAFailure(first, second);
  EXPECT_EQ(Prepare(upload.get()), Join({{"Selecting server...", "Idle: 0, state 1"}, kUnaltered}));
  upload->RunToCompletion();
  EXPECT_EQ(second.DataReceived(0), "0123456789");
}

TEST_F(FTPUpload, CopiesTheSourceAgain_WhenItIsAltered) {
  struct Row {
    const char* name;
    const char* bytes;
    int64_t modified;
  };
  for (const Row& row : {Row{"bytes and time", "ABCDEFG", 900000777}, Row{"time", "0123456789", 900000777},
                         Row{"size", "ABCDEFG", 900000000}}) {
    SCOPED_TRACE(row.name);
    ForgetServers();
    ScriptedServer first({wire::Denies()});
    ScriptedServer second({Takes()});
    auto upload = PutBehindAFailure(first, second);
    source_.Write("f.bin", row.bytes);
    source_.SetModified("f.bin", row.modified);
    EXPECT_EQ(Prepare(upload.get()),
              Join({{"Selecting server...", "Idle: 0, state 1", "Copying upload file...", "Idle: 1, state 1",
                     "Idle: 0, state 0", "Idle: 0, state 1"},
                    kUnaltered}));
    upload->RunToCompletion();
    EXPECT_EQ(second.DataReceived(0), row.bytes);
    EXPECT_EQ(DataFiles(), Lines());
  }
}

TEST_F(FTPUpload, SendsTheCopy_WhenTheSourceIsGone) {
  ScriptedServer first({wire::Denies()});
  ScriptedServer second({Takes()});
  auto upload = PutBehindAFailure(first, second);
  std::filesystem::remove(source_.SystemName("f.bin"));
  EXPECT_EQ(Prepare(upload.get()),
            (Lines{"Selecting server...", "Idle: 0, state 1",
                   "Upload file has been moved or deleted, using cached copy.", "Idle: 0, state 2"}));
  upload->RunToCompletion();
  EXPECT_EQ(second.DataReceived(0), "0123456789");
}

TEST_F(FTPUpload, Fails_WhenTheSourceIsGoneAndThereIsNoCopy) {
  ScriptedServer server({ftp::Quit()});
  server.AllowUnfinished();
  auto upload = Put(server);
  std::filesystem::remove(source_.SystemName("f.bin"));
  EXPECT_EQ(upload->Run(), 4);
  EXPECT_EQ(upload->Take(),
            (Lines{"Idle: 1, state 1", "Can not find file to upload \"SOURCE/f.bin\".", "Idle: 4, state 0"}));
  EXPECT_EQ(upload->Reason(), 6u);
  // It can be had again.
  source_.Write("f.bin", "0123456789");
  upload->RunToState(2);
  const Lines lines = WithoutRepeats(upload->Take());
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(Lines(lines.end() - 2, lines.end()), kUnaltered);
}

TEST_F(FTPUpload, Fails_WhenTheSourceIsEmpty) {
  ScriptedServer server({ftp::Join({Begins(), wire::KnowsNoSize(), ftp::Quit()})});
  auto upload = Put(server, "");
  EXPECT_EQ(upload->Run(), 4);
  EXPECT_EQ(WithoutRepeats(upload->Take()), Join({BeginsRows(), rows::kSizeUnknown, {"Idle: 4, state 0"}}));
  EXPECT_EQ(upload->Reason(), 7u);
  EXPECT_EQ(Servers(*upload), Lines{"ftp://SERVER0/pub/x.bin"});
}

TEST_F(FTPUpload, Fails_WhenTheCopyIsGone) {
  ScriptedServer server({ftp::Join({Begins(), wire::KnowsNoSize(), ftp::Quit()})});
  auto upload = Put(server);
  upload->RunToState(7);
  upload->Take();
  std::filesystem::remove(SystemPath(upload->DataPath()));
  upload->Idle();
  EXPECT_EQ(upload->Take(), Lines{"Idle: 4, state 0"});
  EXPECT_EQ(upload->Reason(), 6u);
}

TEST_F(FTPUpload, ReportsTheCopyingAsProgressAlone) {
  ScriptedServer server({ftp::Quit()});
  server.AllowUnfinished();
  auto upload = Put(server, std::string(3200, 'x'), "/pub/x.bin", Callbacks::All);
  upload->RunToState(1);
  upload->Take();
  upload->RunToState(0);
  Lines expected = {"Copying upload file...", "Idle: 1, state 1"};
  for (int done = 0; done < 3200; done += 32) {
    expected.push_back("progress " + std::to_string(done) + " of 3200");
  }
  expected.push_back("Idle: 0, state 0");
  Lines lines;
  for (const std::string& line : WithoutRepeats(upload->Take())) {
    if (line != "log changed" && line != "Idle: 0, state 1") lines.push_back(line);
  }
  EXPECT_EQ(lines, expected);
}

// ---- what the server holds ---------------------------------------------------------------------

TEST_F(FTPUpload, ContinuesBehindWhatTheServerHolds) {
  ScriptedServer server(
      {ftp::Join({Begins(), wire::TellsSize("4"), ftp::Passive(), ftp::Exchange("REST 4", "350 ok"),
                  ftp::Started("STOR f.bin"), TakesAndQuits()})});
  auto upload = Put(server);
  upload->RunToCompletion();
  EXPECT_EQ(WithoutRepeats(upload->Take()), Join({BeginsRows(),
                                                  {"File size is 4 bytes.", "Idle: 1, state 7"},
                                                  rows::kOpened,
                                                  rows::kStarted,
                                                  kSent}));
  EXPECT_EQ(server.DataReceived(0), "456789");
}

TEST_F(FTPUpload, SendsAll_WhenTheServerHoldsNoPartOfIt) {
  for (const char* size : {"0", "10", "11"}) {
    SCOPED_TRACE(size);
    ForgetServers();
    ScriptedServer server(
        {ftp::Join({Begins(), wire::TellsSize(size), wire::CanRestart(), StartsStore(), TakesAndQuits()})});
    auto upload = Put(server);
    upload->RunToCompletion();
    EXPECT_EQ(server.DataReceived(0), "0123456789");
  }
}

TEST_F(FTPUpload, SendsAll_WhenTheServerRefusesToRestart) {
  ScriptedServer server(
      {ftp::Join({Begins(), wire::TellsSize("4"), ftp::Passive(), ftp::Exchange("REST 4", "502 no"),
                  ftp::Started("STOR f.bin"), TakesAndQuits()})});
  auto upload = Put(server);
  upload->RunToCompletion();
  EXPECT_EQ(WithoutRepeats(upload->Take()), Join({BeginsRows(),
                                                  {"File size is 4 bytes.", "Idle: 1, state 7"},
                                                  rows::kOpened,
                                                  rows::kStartedAnew,
                                                  kSent}));
  EXPECT_EQ(server.DataReceived(0), "0123456789");
}

TEST_F(FTPUpload, StartsAgain_WhenTheDataConnectionIsRefused) {
  ScriptedServer server({ftp::Join({Begins(),
                                    wire::TellsSize("4"),
                                    ftp::Passive(),
                                    ftp::Exchange("REST 4", "350 ok"),
                                    {ExpectLine("STOR f.bin"), DataAccept(), SendLine("425 no"), DataClose()},
                                    ftp::Passive(),
                                    ftp::Exchange("REST 4", "350 ok"),
                                    ftp::Started("STOR f.bin"),
                                    TakesAndQuits()})});
  auto upload = Put(server);
  upload->RunToState(10);
  upload->Take();
  upload->Idle();
  EXPECT_EQ(upload->Take(), (Lines{"Initiating download...", "Attempting reverse connection mode...",
                                   "Server supports pause/resume.", "Downloading...", "Idle: 0, state 11"}));
  upload->RunToCompletion();
  EXPECT_EQ(server.DataReceived(0), "456789");
}

TEST_F(FTPUpload, SaysThatTheServerCannotResume_WhenItRefusesTheProbe) {
  ScriptedServer server({ftp::Join({Begins(), wire::KnowsNoSize(), ftp::Exchange("REST 100", "500 what?"),
                                    StartsStore(), TakesAndQuits()})});
  auto upload = Put(server);
  upload->RunToCompletion();
  EXPECT_EQ(WithoutRepeats(upload->Take()),
            Join({BeginsRows(), rows::kSizeUnknown, rows::kOpened, rows::kStartedAnew, kSent}));
  EXPECT_EQ(server.DataReceived(0), "0123456789");
}

TEST_F(FTPUpload, ContinuesOverTheSameServer_WhenItsConnectionIsReset) {
  std::string bytes;
  for (int i = 0; bytes.size() < 8000000; ++i) bytes += std::to_string(i) + "\n";
  ScriptedServer server(
      {ftp::Join({Begins(),
                  wire::KnowsNoSize(),
                  wire::CanRestart(),
                  StartsStore(),
                  {Do([](ScriptSession& session) {
                     std::string taken;
                     session.data().ReceiveExactly(&taken, 1000);
                   }),
                   DataReset()},
                  wire::IsAborted()}),
       ftp::Join({Begins(), wire::TellsSize("7000000"), ftp::Passive(),
                  ftp::Exchange("REST 7000000", "350 ok"), ftp::Started("STOR f.bin"), TakesAndQuits()})});
  auto upload = Put(server, bytes);
  upload->RunToState(11);
  upload->Take();
  upload->RunToState(0, 100000);
  EXPECT_EQ(WithoutDataSteps(upload->Take()),
            (Lines{"Attempting to reconnect.", "Download stopped.", "Idle: 0, state 0"}));
  upload->RunToState(12, 100000);
  upload->RunToCompletion();
  EXPECT_TRUE(server.DataReceived(1) == bytes.substr(7000000));
}

// ---- refusals and the end ----------------------------------------------------------------------

TEST_F(FTPUpload, DropsTheServer_WhenItRefusesTheFile) {
  ScriptedServer server({ftp::Join({Begins(),
                                    wire::KnowsNoSize(),
                                    wire::CanRestart(),
                                    ftp::Passive(),
                                    {ExpectLine("STOR f.bin"), DataAccept(), SendLine("553 no")},
                                    ftp::Quit()})});
  auto upload = Put(server);
  upload->RunToState(10);
  upload->Take();
  upload->Idle();
  EXPECT_EQ(upload->Take(), (Lines{"Initiating download...", "Invalid address.", "Idle: 1, state 0"}));
  EXPECT_EQ(upload->Reason(), 10u);
}

TEST_F(FTPUpload, IsPostponed_WhenTheFinalReplyIsARefusal) {
  ScriptedServer server({ftp::Join({Begins(),
                                    wire::KnowsNoSize(),
                                    wire::CanRestart(),
                                    StartsStore(),
                                    {DataReadToEnd(), DataClose(), SendLine("552 full")},
                                    ftp::Quit()})});
  auto upload = Put(server);
  upload->RunToState(11);
  upload->Take();
  EXPECT_EQ(upload->Run(), 2);
  EXPECT_EQ(WithoutDataSteps(upload->Take()), Lines{"Idle: 2, state 0"});
  EXPECT_EQ(Servers(*upload), Lines{"ftp://SERVER0/pub/x.bin"});
  EXPECT_EQ(DataFiles().size(), 1u);
}

TEST_F(FTPUpload, TimesOut_WhenTheFinalReplyNeverComes) {
  iSock_SetWaitMilliseconds(kShortWaitMilliseconds);
  ScriptedServer server({ftp::Join({Begins(),
                                    wire::KnowsNoSize(),
                                    wire::CanRestart(),
                                    StartsStore(),
                                    {DataReadToEnd(), DataClose(), ExpectEnd()}})});
  auto upload = Put(server);
  upload->RunToState(11);
  upload->Take();
  EXPECT_EQ(upload->Run(), 2);
  EXPECT_EQ(WithoutDataSteps(upload->Take()),
            (Lines{"Connection timed out. Download postponed.", "Idle: 2, state 0"}));
  EXPECT_EQ(upload->Reason(), 11u);
}

TEST_F(FTPUpload, TimesOut_WhenTheServerNeverEndsTheData) {
  iSock_SetWaitMilliseconds(kShortWaitMilliseconds);
  iVRXClient_SetClock(nullptr);
  ScriptedServer server({ftp::Join({Begins(),
                                    wire::KnowsNoSize(),
                                    wire::CanRestart(),
                                    StartsStore(),
                                    {Do([](ScriptSession& session) {
                                       std::string taken;
                                       session.data().ReceiveExactly(&taken, 10);
                                     }),
                                     ExpectEnd()}})});
  auto upload = Put(server);
  upload->RunToState(11);
  upload->Take();
  EXPECT_EQ(upload->Run(), 2);
  EXPECT_EQ(WithoutDataSteps(upload->Take()),
            (Lines{"Connection timed out. Download postponed.", "Idle: 2, state 0"}));
  EXPECT_EQ(upload->Reason(), 11u);
}

TEST_F(FTPUpload, Fails_WhenTheCopyShrinksMeanwhile) {
  ScriptedServer server({ftp::Join(
      {Begins(), wire::KnowsNoSize(), wire::CanRestart(), StartsStore(), {DataStall()}, wire::IsAborted()})});
  auto upload = Put(server, std::string(20000, 'x'));
  upload->RunToState(11);
  upload->Take();
  std::filesystem::resize_file(SystemPath(upload->DataPath()), 0);
  EXPECT_EQ(upload->Run(), 4);
  EXPECT_EQ(WithoutDataSteps(upload->Take()),
            (Lines{"Can't write to file. The disk may be full.", "Download stopped.", "Idle: 4, state 0"}));
  EXPECT_EQ(upload->Reason(), 3u);
}

}  // namespace
}  // namespace transfer
