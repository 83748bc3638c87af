// Downloads over FTP that have a part of the file already: resumed, refused, and what becomes of the part
// when the file is another one.
#include "tests/support/file_system.h"
#include "tests/transfer/ftp_trace.h"

using namespace script;

namespace transfer {
namespace {

// The data file of a transfer that was told to use OUT/f.bin.part has its name already.
const Lines kPreparedWithPart = {"Idle: 1, state 1", "Idle: 0, state 2"};

class FTPResume : public FTPTransferTest {
 protected:
  // A download that has these bytes, and is not to use them.
  std::unique_ptr<TracedTransfer> Discard(const ScriptedServer& server, const std::string& bytes) {
    auto download = Resume(server, bytes);
    EXPECT_EQ(VRXClient_DiscardData(*download), Error_None);
    return download;
  }
  static Lines Begins() {
    return Join({kPreparedWithPart, rows::kConnected, rows::kLoggedIn, rows::kNoMirrors, rows::kEntered,
                 rows::kTypeSet});
  }
  static Lines Starts() { return Join({Begins(), rows::kSized, rows::kOpened, rows::kStarted}); }
  static Script SizeThen(const Script& rest, const std::string& size = "10") {
    return ftp::Join({wire::Begins(), wire::TellsSize(size), rest});
  }
  // The server cuts the first connection behind "0123", then plays the second script.
  static std::vector<Script> CutsThen(const Script& second) {
    return {ftp::Join({wire::StartsDownload(), wire::CutsBehind("0123"), wire::IsAborted()}), second};
  }
  static Lines StartsAndIsCut() {
    return Join({rows::Starts(), {"Attempting to reconnect.", "Download stopped.", "Idle: 0, state 0"}});
  }
};

// ---- resumed -----------------------------------------------------------------------------------

TEST_F(FTPResume, AsksForTheRest) {
  ScriptedServer server({SizeThen(ftp::Join({wire::RestartsAt("4"), wire::SendsAndQuits("456789")}))});
  auto download = Resume(server, "0123");
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({Starts(), rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
  EXPECT_EQ(OutNames(), Lines{"f.bin"});
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 1);
}

TEST_F(FTPResume, AsksForTheRestBehindAThousandBytes) {
  const std::string begin(1000, 'a');
  const std::string end(500, 'b');
  ScriptedServer server({SizeThen(ftp::Join({wire::RestartsAt("1000"), wire::SendsAndQuits(end)}), "1500")});
  auto download = Resume(server, begin);
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), begin + end);
}

TEST_F(FTPResume, AsksForTheRest_WhenTheSizeIsUnknown) {
  ScriptedServer server({ftp::Join(
      {wire::Begins(), wire::KnowsNoSize(), wire::RestartsAt("4"), wire::SendsAndQuits("456789")})});
  auto download = Resume(server, "0123");
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({Begins(), rows::kSizeUnknown, rows::kOpened, rows::kStarted, rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPResume, AsksForTheRestBeyond4GiB) {
  ScriptedServer server(
      {SizeThen(ftp::Join({wire::RestartsAt("5368709120"), wire::SendsAndQuits("6789")}), "5368709124")});
  auto download = Get(server);
  MakeSparseFile(OutPath("f.bin.part"), 5368709120u);
  EXPECT_EQ(VRXClient_SetDataFilePath(*download, Out("f.bin.part").c_str()), Error_None);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {"File size is 5368709124 bytes.", "Idle: 1, state 7"},
                                    rows::kOpened,
                                    rows::kStarted,
                                    rows::Ends()}));
  EXPECT_EQ(VRXClient_GetSize(*download), 4294967295u);
  EXPECT_EQ(VRXClient_GetSize64(*download), 5368709124u);
  EXPECT_EQ(std::filesystem::file_size(OutPath("f.bin")), 5368709124u);
  std::ifstream file(OutPath("f.bin"), std::ios::binary);
  file.seekg(-5, std::ios::end);
  char end[6] = "";
  file.read(end, 5);
  EXPECT_STREQ(end, "x6789");
}

TEST_F(FTPResume, ContinuesOverTheSameServer_WhenItsConnectionIsReset) {
  ScriptedServer server(CutsThen(
      ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("4"), wire::SendsAndQuits("456789")})));
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({StartsAndIsCut(), rows::BeginsAgain(), rows::kSized, rows::kOpened,
                                    rows::kStarted, rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
  EXPECT_EQ(DataFiles(), Lines());
}

TEST_F(FTPResume, TransfersNothing_WhenAllBytesAreThere) {
  ScriptedServer server({SizeThen(ftp::Join({wire::RestartsAt("10"), wire::SendsAndQuits("")}))});
  auto download = Resume(server, "0123456789");
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({Starts(), rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPResume, KeepsTheSize_WhenALaterServerDoesNotKnowIt) {
  // The end at six bytes more shows that the size is still 10.
  ScriptedServer server(CutsThen(ftp::Join(
      {wire::Begins(), wire::KnowsNoSize(), wire::RestartsAt("4"), wire::SendsAndQuits("456789TAIL")})));
  auto download = Get(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({StartsAndIsCut(), rows::BeginsAgain(), rows::kSizeUnknown, rows::kOpened,
                                    rows::kStarted, rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
  EXPECT_EQ(VRXClient_GetSize(*download), 10u);
}

TEST_F(FTPResume, CountsTheTimeOfEarlierConnections) {
  ScriptedServer server(CutsThen(
      ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("4"), wire::SendsAndQuits("456789")})));
  auto download = Get(server, "/pub/f.bin", "u:p@", Callbacks::All);
  download->RunToState(11);
  clockMilliseconds = clockMilliseconds + 700;
  download->RunToState(0);
  // Between the connections no time counts.
  clockMilliseconds = clockMilliseconds + 50000;
  download->RunToState(11);
  clockMilliseconds = clockMilliseconds + 45;
  download->RunToState(12);
  const Lines lines = download->Take();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[lines.size() - 2], "time 745");
  EXPECT_EQ(lines.back(), "Idle: 1, state 12");
}

TEST_F(FTPResume, CountsTheTimeAnew_WhenNoByteHadCome) {
  ScriptedServer server(
      {ftp::Join({wire::StartsDownload(), {Wait(200), DataReset()}, wire::IsAborted()}), wire::Serves()});
  auto download = Get(server, "/pub/f.bin", "u:p@", Callbacks::All);
  download->RunToState(11);
  clockMilliseconds = clockMilliseconds + 700;
  download->RunToState(0);
  download->RunToState(11);
  clockMilliseconds = clockMilliseconds + 45;
  download->RunToState(12);
  const Lines lines = download->Take();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[lines.size() - 2], "time 45");
}

// ---- the server cannot resume ------------------------------------------------------------------

TEST_F(FTPResume, BeginsAnew_WhenTheServerRefusesToRestart) {
  for (const char* reply : {"502 no", "501 no", "250 ok", "421 later"}) {
    SCOPED_TRACE(reply);
    ScriptedServer server({SizeThen(ftp::Join({ftp::Passive(), ftp::Exchange("REST 4", reply),
                                               ftp::Started("RETR f.bin"), wire::SendsAndQuits()}))});
    auto download = Resume(server, "abcd");
    download->RunToCompletion();
    EXPECT_EQ(download->Take(),
              Join({Begins(), rows::kSized, rows::kOpened, rows::kStartedAnew, rows::Ends()}));
    EXPECT_EQ(Bytes(), "0123456789");
    EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 0);
    std::filesystem::remove(OutPath("f.bin"));
    ForgetServers();
  }
}

TEST_F(FTPResume, LeavesNoOldTail_WhenTheServerRefusesToRestart) {
  ScriptedServer server(
      {ftp::Join({wire::Begins(), wire::KnowsNoSize(), ftp::Passive(), ftp::Exchange("REST 12", "502 no"),
                  ftp::Started("RETR f.bin"), wire::SendsAndQuits("new")})});
  auto download = Resume(server, "abcdefghijkl");
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "new");
}

TEST_F(FTPResume, TakesTheMirrorServerForAPlainOne_WhenItRefusesToRestart) {
  ScriptedServer server(
      {ftp::Join({wire::GreetsAndLogsIn(), ftp::Exchange("MIRR /pub/f.bin", "250 none"), wire::Enters(),
                  ftp::Exchange("TYPE I", "200 ok"), wire::TellsSize(), ftp::Passive(),
                  ftp::Exchange("REST 4", "502 no"), ftp::Started("RETR f.bin"), wire::SendsAndQuits()})});
  auto download = Resume(server, "0123");
  download->RunToState(10);
  EXPECT_EQ(VRXClient_IsVRXServer(*download), 1);
  download->RunToState(11);
  EXPECT_EQ(VRXClient_IsVRXServer(*download), 0);
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPResume, DropsTheServer_WhenItEndsAtTheRestart) {
  ScriptedServer server({SizeThen(ftp::Join({ftp::Passive(), {ExpectLine("REST 4"), Close()}}))});
  auto download = Resume(server, "0123");
  download->RunToState(10);
  download->Take();
  download->Idle();
  EXPECT_EQ(download->Take(),
            (Lines{"Initiating download...", "Server connection terminated.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 15u);
  EXPECT_EQ(PartBytes(), "0123");
}

// ---- refusals of the restarted transfer --------------------------------------------------------

// A passive port, the restart and a refusal of the file.
Script Refuses(const std::string& reply) {
  return ftp::Join({ftp::Passive(),
                    ftp::Exchange("REST 4", "350 ok"),
                    {ExpectLine("RETR f.bin"), DataAccept(), SendLine(reply), DataClose()}});
}

TEST_F(FTPResume, StartsAgain_WhenTheDataConnectionIsRefused) {
  for (const char* reply : {"425 no data connection", "426 cut", "502 no"}) {
    SCOPED_TRACE(reply);
    ScriptedServer server(
        {SizeThen(ftp::Join({Refuses(reply), wire::RestartsAt("4"), wire::SendsAndQuits("456789")}))});
    auto download = Resume(server, "0123");
    download->RunToCompletion();
    EXPECT_EQ(download->Take(),
              Join({Begins(),
                    rows::kSized,
                    rows::kOpened,
                    {"Initiating download...", "Attempting reverse connection mode...",
                     "Server supports pause/resume.", "Downloading...", "Idle: 0, state 11"},
                    rows::Ends()}));
    EXPECT_EQ(Bytes(), "0123456789");
    std::filesystem::remove(OutPath("f.bin"));
    ForgetServers();
  }
}

TEST_F(FTPResume, StartsAgainTenTimes) {
  Script refusals;
  for (int i = 0; i < 10; ++i) refusals = ftp::Join({refusals, Refuses("425 no")});
  ScriptedServer server(
      {SizeThen(ftp::Join({refusals, wire::RestartsAt("4"), wire::SendsAndQuits("456789")}))});
  auto download = Resume(server, "0123");
  download->RunToState(10);
  download->Take();
  download->Idle();
  Lines expected = {"Initiating download..."};
  for (int i = 0; i < 10; ++i) expected.push_back("Attempting reverse connection mode...");
  EXPECT_EQ(download->Take(),
            Join({expected, {"Server supports pause/resume.", "Downloading...", "Idle: 0, state 11"}}));
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPResume, DropsTheServer_WhenItRefusesElevenTimes) {
  Script refusals;
  for (int i = 0; i < 11; ++i) refusals = ftp::Join({refusals, Refuses("425 no")});
  ScriptedServer server({SizeThen(ftp::Join({refusals, ftp::Quit()}))});
  auto download = Resume(server, "0123");
  download->RunToState(10);
  download->Take();
  download->Idle();
  Lines expected = {"Initiating download..."};
  for (int i = 0; i < 10; ++i) expected.push_back("Attempting reverse connection mode...");
  EXPECT_EQ(download->Take(), Join({expected, {"Invalid address.", "Idle: 1, state 0"}}));
  EXPECT_EQ(download->Reason(), 10u);
  EXPECT_EQ(PartBytes(), "0123");
}

TEST_F(FTPResume, DropsTheServerAtOnce_WhenItRefusesTheFile) {
  for (const char* reply : {"550 no such file", "450 busy", "500 what?"}) {
    SCOPED_TRACE(reply);
    ScriptedServer server({SizeThen(ftp::Join({Refuses(reply), ftp::Quit()}))});
    auto download = Resume(server, "0123");
    download->RunToState(10);
    download->Take();
    download->Idle();
    EXPECT_EQ(download->Take(), (Lines{"Initiating download...", "Invalid address.", "Idle: 1, state 0"}));
    EXPECT_EQ(download->Reason(), 10u);
  }
}

// ---- the file on the server is another one -----------------------------------------------------

TEST_F(FTPResume, BeginsAnew_WhenThePartIsLongerThanTheFile) {
  ScriptedServer server(
      {SizeThen(ftp::Join({wire::CanRestart(), wire::StartsRetrieve(), wire::SendsAndQuits()}))});
  auto download = Resume(server, "abcdefghijklmnop");
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({Starts(), rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPResume, BeginsAnew_WhenTheSizeHasChanged) {
  for (const char* size : {"7", "12"}) {
    SCOPED_TRACE(size);
    const std::string bytes = size == std::string("7") ? "ABCDEFG" : "ABCDEFGHIJKL";
    ScriptedServer server(CutsThen(ftp::Join({wire::Begins(), wire::TellsSize(size), wire::CanRestart(),
                                              wire::StartsRetrieve(), wire::SendsAndQuits(bytes)})));
    auto download = Get(server);
    download->RunToState(11);
    download->RunToState(9);
    EXPECT_EQ(download->Take(), Join({StartsAndIsCut(), rows::BeginsAgain()}));
    EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "0123");
    download->Idle();
    EXPECT_EQ(download->Take(), (Lines{std::string("File size is ") + size + " bytes.", "Idle: 1, state 7"}));
    EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "");
    download->RunToCompletion();
    EXPECT_EQ(download->Take(), Join({rows::kOpened, rows::kStarted, rows::Ends()}));
    EXPECT_EQ(Bytes(), bytes);
    std::filesystem::remove(OutPath("f.bin"));
    ForgetServers();
  }
}

TEST_F(FTPResume, BeginsAnew_WhenAProbeSeesAnotherSize) {
  ScriptedServer server(CutsThen(ftp::Join({wire::Begins(), wire::TellsSize("7"), wire::CanRestart(),
                                            wire::StartsRetrieve(), wire::SendsAndQuits("ABCDEFG")})));
  auto download = Get(server);
  download->RunToState(11);
  download->RunToState(0);
  download->Take();
  while (download->Poll() < 2) {
  }
  const Lines lines = download->Take();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[lines.size() - 2], "File size is 7 bytes.");
  EXPECT_EQ(lines.back(), "Poll: 5, state 9");
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "");
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "ABCDEFG");
}

TEST_F(FTPResume, KeepsThePart_WhenTheServerRefusesTheFile) {
  ScriptedServer server({SizeThen(ftp::Join({Refuses("550 gone"), ftp::Quit()})),
                         SizeThen(ftp::Join({wire::RestartsAt("4"), wire::SendsAndQuits("456789")}))});
  auto download = Resume(server, "0123");
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Reason(), 8u);
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

// ---- stopped and read back ---------------------------------------------------------------------

TEST_F(FTPResume, ResumesAfterAStop) {
  ScriptedServer server(
      {ftp::Join({wire::StartsDownload(), {DataSend("0123")}, wire::IsAborted()}),
       ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("4"), wire::SendsAndQuits("456789")})});
  auto download = Get(server);
  download->RunToState(11);
  download->Idle();
  download->Take();
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  EXPECT_EQ(download->Take(), Lines{"Download stopped."});
  EXPECT_EQ(download->State(), 0u);
  EXPECT_EQ(download->Reason(), 0u);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({rows::BeginsAgain(), rows::kSized, rows::kOpened, rows::kStarted, rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPResume, KeepsItsFiles_WhenItIsClosed) {
  ScriptedServer server({ftp::Join({wire::StartsDownload(), {DataSend("0123")}, wire::IsAborted()})});
  auto download = Get(server);
  download->RunToState(11);
  download->Idle();
  const std::string path = download->DataPath();
  download->Close();
  server.Finish();
  EXPECT_EQ(DataFiles().size(), 1u);
  EXPECT_EQ(ReadFile(SystemPath(path)), "0123");
}

TEST_F(FTPResume, RemovesItsFiles_WhenItIsDeleted) {
  ScriptedServer server({ftp::Join({wire::StartsDownload(), {DataSend("0123")}, wire::IsAborted()})});
  auto download = Get(server);
  download->RunToState(11);
  download->Idle();
  download->Delete();
  server.Finish();
  EXPECT_EQ(DataFiles(), Lines());
  for (const std::string& name : NamesIn(cache_)) EXPECT_FALSE(name.starts_with("info")) << name;
  EXPECT_EQ(OutNames(), Lines());
}

TEST_F(FTPResume, ResumesFromItsRecord) {
  ScriptedServer server(
      {ftp::Join({wire::StartsDownload(), {DataSend("0123")}, wire::IsAborted()}),
       ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("4"), wire::SendsAndQuits("456789")})});
  {
    auto download = Get(server);
    download->RunToState(11);
    download->Idle();
    EXPECT_EQ(download->Write(Out("record")), Error_None);
  }
  auto download = NewTransfer();
  ASSERT_EQ(download->Read(Out("record")), Error_None);
  EXPECT_EQ(download->State(), 0u);
  EXPECT_EQ(VRXClient_GetSize(*download), 10u);
  download->Take();
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({rows::BeginsAgain(), rows::kSized, rows::kOpened, rows::kStarted, rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
}

// ---- begun again -------------------------------------------------------------------------------

TEST_F(FTPResume, BeginsAtTheFirstByte_WhenTheDataIsDiscarded) {
  ScriptedServer server({wire::Serves()});
  auto download = Discard(server, "XXXX");
  download->RunToState(11);
  EXPECT_EQ(PartBytes(), "XXXX");
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({Starts(), {"Idle: 1, state 11"}, rows::Ends()}));
  EXPECT_EQ(Bytes(), "0123456789");
  EXPECT_EQ(OutNames(), Lines{"f.bin"});
}

TEST_F(FTPResume, BeginsAtTheFirstByte_WhenTheDiscardedDataIsLongerThanTheFile) {
  ScriptedServer server({wire::Serves()});
  auto download = Discard(server, "XXXXXXXXXXXX");
  download->RunToState(11);
  EXPECT_EQ(PartBytes(), "XXXXXXXXXXXX");
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPResume, KeepsDiscardedDataAndItsSize_UntilAByteComes) {
  ScriptedServer server({ftp::Join({wire::Begins(),
                                    wire::KnowsNoSize(),
                                    wire::CanRestart(),
                                    ftp::Passive(),
                                    ftp::Started("RETR f.bin"),
                                    {Wait(200), DataReset()},
                                    wire::IsAborted()}),
                         wire::Serves()});
  auto download = Discard(server, "XXXX");
  EXPECT_EQ(VRXClient_SetSize64(*download, 0), Error_None);
  static_cast<VRXClient*>(*download)->data.size = 10;
  download->RunToState(11);
  EXPECT_EQ(VRXClient_GetSize64(*download), UINT64_MAX);
  download->RunToState(0);
  EXPECT_EQ(PartBytes(), "XXXX");
  EXPECT_EQ(VRXClient_GetSize64(*download), 10u);
  // It still begins at the first byte.
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPResume, KeepsDiscardedData_WhenNoServerCanBeReached) {
  ScriptedServer server({wire::Denies()});
  auto download = Discard(server, "XXXX");
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(PartBytes(), "XXXX");
}

TEST_F(FTPResume, ResumesAsUsual_OnceAByteHasComeForDiscardedData) {
  ScriptedServer server(CutsThen(
      ftp::Join({wire::Begins(), wire::TellsSize(), wire::RestartsAt("4"), wire::SendsAndQuits("456789")})));
  for (const char* bytes : {"XXXX", "XXXXXX", ""}) {
    SCOPED_TRACE(bytes);
    ScriptedServer again(CutsThen(ftp::Join(
        {wire::Begins(), wire::TellsSize(), wire::RestartsAt("4"), wire::SendsAndQuits("456789")})));
    auto download = Discard(again, bytes);
    download->RunToCompletion();
    EXPECT_EQ(Bytes(), "0123456789");
    download->Close();
    std::filesystem::remove(OutPath("f.bin"));
  }
  auto download = Get(server);
  EXPECT_EQ(VRXClient_DiscardData(*download), Error_None);
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPResume, CutsDiscardedData_WhenTheSizeIsOfAnotherFile) {
  ScriptedServer server({wire::Serves()});
  auto download = Discard(server, "XXXX");
  static_cast<VRXClient*>(*download)->data.size = 12;
  download->RunToState(7);
  EXPECT_EQ(PartBytes(), "");
  download->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPResume, ResumesWhatWasDiscarded_AfterItsRecordWasRead) {
  ScriptedServer server({SizeThen(ftp::Join({wire::RestartsAt("4"), wire::SendsAndQuits("456789")}))});
  auto download = Discard(server, "0123");
  ASSERT_EQ(download->Write(Out("record")), Error_None);
  download->Close();
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Out("record")), Error_None);
  again->RunToCompletion();
  EXPECT_EQ(Bytes(), "0123456789");
}

TEST_F(FTPResume, DiscardsDataBeforeItBeginsOnly) {
  ScriptedServer server({ftp::Join({wire::GreetsAndLogsIn(), ftp::Quit()})});
  auto download = Resume(server, "0123");
  EXPECT_EQ(VRXClient_DiscardData(*download), Error_None);
  download->Idle();
  EXPECT_EQ(VRXClient_DiscardData(*download), Error_Inited);
  download->RunToState(6);
  EXPECT_EQ(VRXClient_DiscardData(*download), Error_Inited);
  EXPECT_EQ(VRXClient_Stop(*download), Error_None);
  EXPECT_EQ(VRXClient_DiscardData(*download), Error_None);
  EXPECT_EQ(VRXClient_DiscardData(nullptr), Error_Invalid);
  ScriptedServer other({});
  auto upload = Put(other);
  EXPECT_EQ(VRXClient_DiscardData(*upload), Error_Invalid);
}

}  // namespace
}  // namespace transfer
