// Downloads over HTTP that resume: what the server may answer to the rest of a file, and what becomes of the
// bytes that are on the disk.
#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

// The file has ten bytes, "abcdefghij"; four are on the disk when the second request is sent.
class HTTPResume : public TransferTest {
 protected:
  static constexpr char kFirst[] = "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd";
  static constexpr char kRest[] =
      "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-9/10\r\nContent-Length: 6\r\n\r\nefghij";
  static constexpr char kWhole[] = "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n0123456789";

  // The second connection answers the request for byte 4 on.
  std::vector<Script> ThenAnswers(const std::string& response) const {
    return {AnswersAndStalls("0", kFirst), Answers("4", response)};
  }
  // The third one answers a request for the whole file.
  std::vector<Script> ThenAnswersAnew(const std::string& response) const {
    return {AnswersAndStalls("0", kFirst), Answers("4", response), Answers("0", kWhole)};
  }
  // A download without a size that has the bytes in OUT/file.part.
  std::unique_ptr<TracedTransfer> NewDownloadWith(const ScriptedServer& server, const std::string& bytes) {
    WriteFile(OutPath("file.part"), bytes);
    auto download = NewDownload(server);
    EXPECT_EQ(VRXClient_SetDataFilePath(*download, Out("file.part").c_str()), 0);
    return download;
  }
  // The changed file is cut at once, and the whole file asked for anew on another connection.
  static Lines BeginsAnew() {
    return Join({ConnectsAgain("Idle: 0, state 1"),
                 {"Attempting to reconnect.", "Idle: 1, state 0"},
                 ConnectsAgain("Idle: 0, state 1"),
                 {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep},
                 Ends()});
  }
  static Lines GoesOn() {
    return Join({ConnectsAgain("Idle: 0, state 1"), {kCanResume, "Downloading...", kDataStep}, Ends()});
  }
  void ExpectNewFile(const std::string& answer) {
    ScriptedServer server(ThenAnswersAnew(answer));
    auto download = NewDownload(server);
    MoveFirstBytes(download.get());
    download->RunToState(10);
    EXPECT_EQ(download->Idle(), 1);
    // Nothing of the old file is left to be mixed with the new one.
    EXPECT_EQ(std::filesystem::file_size(SystemPath(download->DataPath())), 0u);
    EXPECT_EQ(VRXClient_GetSize(*download), 4294967295u);
    download->RunToCompletion();
    EXPECT_EQ(download->Take(), BeginsAnew());
    EXPECT_EQ(OutBytes(), "0123456789");
  }
  void ExpectRefusal(const std::string& answer) {
    ScriptedServer server(ThenAnswers(answer));
    auto download = NewDownload(server);
    MoveFirstBytes(download.get());
    download->RunToState(10);
    EXPECT_EQ(download->Idle(), 1);
    EXPECT_EQ(download->Take(),
              Join({ConnectsAgain("Idle: 0, state 1"), {"Invalid address.", "Idle: 1, state 0"}}));
    EXPECT_EQ(download->Reason(), 10u);
    EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "abcd");
  }
};

// ---- the server sends the rest -----------------------------------------------------------------

TEST_F(HTTPResume, AsksForTheRest) {
  ScriptedServer server(ThenAnswers(kRest));
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), GoesOn());
  EXPECT_EQ(OutBytes(), "abcdefghij");
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 1);
}

TEST_F(HTTPResume, TakesTheRest_WhenTheServerTellsNoTotal) {
  ScriptedServer server(
      ThenAnswers("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-9/*\r\n\r\nefghij"));
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), GoesOn());
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPResume, ContinuesAFileThatWasThereBefore) {
  ScriptedServer server({Answers("4", kRest)});
  auto download = NewDownloadWith(server, "abcd");
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({{"Idle: 1, state 1", "Idle: 0, state 2"},
                                    Connects("SERVER0"),
                                    {kCanResume, "Downloading...", "Idle: 1, state 11", kDataStep},
                                    Ends()}));
  EXPECT_EQ(OutBytes(), "abcdefghij");
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
}

TEST_F(HTTPResume, AsksBehindTheLastByte_WhenTheConnectionIsCut) {
  ScriptedServer server({Answers("0", kFirst), Answers("4", kRest)});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Reason(), 8u);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep,
                                     "Server connection terminated.", "Idle: 1, state 0"},
                                    TriesListAgain(),
                                    ConnectsAgain("Idle: 1, state 1"),
                                    {kCanResume, "Downloading...", kDataStep},
                                    Ends()}));
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPResume, TellsTheCut_BeforeTheNextServerIsTaken) {
  ScriptedServer server({Answers("0", kFirst)});
  auto download = NewDownload(server);
  download->RunToState(11);
  download->Idle();
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Reason(), 15u);
  EXPECT_EQ(download->State(), 0u);
}

TEST_F(HTTPResume, AsksOnceMore_WhenTheBodyEndsBeforeTheTotal) {
  ScriptedServer server(
      {AnswersAndStalls("0", kFirst),
       Answers("4",
               "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-6/10\r\n"
               "Content-Length: 3\r\n\r\nefg"),
       Answers("7", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 7-9/10\r\n\r\nhij")});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  EXPECT_EQ(download->Run(), 4);
  download->RunToCompletion();
  EXPECT_EQ(
      download->Take(),
      Join({ConnectsAgain("Idle: 0, state 1"),
            {kCanResume, "Downloading...", kDataStep, "Server connection terminated.", "Idle: 1, state 0"},
            TriesListAgain(),
            ConnectsAgain("Idle: 1, state 1"),
            {kCanResume, "Downloading...", kDataStep},
            Ends()}));
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

// A response in parts ends with a line of its own, and a server may send more than it said.
TEST_F(HTTPResume, TakesNothingForDataThatFollowsTheRange) {
  ScriptedServer server(
      {AnswersAndStalls("0", kFirst),
       Answers("4",
               "HTTP/1.1 206 Partial Content\r\nContent-Type: multipart/byteranges; boundary=end\r\n\r\n"
               "--end\r\nContent-Type: text/plain\r\nContent-Range: bytes 4-6/10\r\n\r\nefg\r\n--end--\r\n"),
       Answers("7", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 7-9/10\r\n\r\nhij")});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  EXPECT_EQ(download->Run(), VRXClientResult_Failed);
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "abcdefg");
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPResume, TakesTheTotalForTheSize_WhenAFreshRangeIsShort) {
  ScriptedServer server(
      {Answers("0", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-3/10\r\n\r\nabcd"),
       Answers("4", kRest)});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(VRXClient_GetSize(*download), 10u);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

// ---- the server sends the whole file -----------------------------------------------------------

TEST_F(HTTPResume, BeginsAnew_WhenTheServerIgnoresTheRange) {
  ScriptedServer server(ThenAnswers(kWhole));
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({ConnectsAgain("Idle: 0, state 1"), {kCannotResume, "Downloading...", kDataStep}, Ends()}));
  EXPECT_EQ(OutBytes(), "0123456789");
}

TEST_F(HTTPResume, LeavesNoOldTail_WhenTheWholeFileIsShorter) {
  ScriptedServer server(ThenAnswers("HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nAB"));
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  // The size is another one: that changes the record.
  EXPECT_EQ(download->Take(), Join({ConnectsAgain("Idle: 0, state 1"),
                                    {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep},
                                    Ends()}));
  EXPECT_EQ(OutBytes(), "AB");
  EXPECT_EQ(VRXClient_GetSize(*download), 2u);
}

TEST_F(HTTPResume, KeepsTheOldBytes_UntilTheFirstNewOneIsThere) {
  iSock_SetWaitMilliseconds(200);
  ScriptedServer server({AnswersAndStalls("0", kFirst),
                         AnswersAndStalls("4", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n"),
                         Answers("4", kRest)});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  EXPECT_EQ(download->Run(), 2);
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "abcd");
  EXPECT_EQ(download->Run(), 4);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPResume, CutsTheOldBytes_OnceTheFirstNewOneIsThere) {
  ScriptedServer server({AnswersAndStalls("0", kFirst),
                         AnswersAndStalls("4", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n01")});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToState(11);
  download->Idle();
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "01");
}

TEST_F(HTTPResume, CutsTheOldBytes_WhenTheWholeFileIsEmpty) {
  ScriptedServer server(ThenAnswers("HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\n"));
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "");
}

TEST_F(HTTPResume, BeginsAnew_WhenTheRangeBeginsWithByteZero) {
  ScriptedServer server(
      ThenAnswers("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-9/10\r\n\r\n0123456789"));
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), GoesOn());
  EXPECT_EQ(OutBytes(), "0123456789");
}

// ---- the server sends a range of nothing we asked for ------------------------------------------

TEST_F(HTTPResume, DropsTheServer_WhenTheRangeBeginsElsewhere) {
  ExpectRefusal("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 2-9/10\r\n\r\ncdefghij");
}

TEST_F(HTTPResume, DropsTheServer_WhenItDoesNotTellWhichPartItSends) {
  ExpectRefusal("HTTP/1.1 206 Partial Content\r\n\r\nefghij");
}

TEST_F(HTTPResume, DropsTheServer_WhenTheRangeBeginsBehindTheOffset) {
  ExpectRefusal("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 5-9/10\r\n\r\nfghij");
}

TEST_F(HTTPResume, DropsTheServer_WhenTheLastByteDoesNotFit) {
  ExpectRefusal(
      "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-18446744073709551615/10\r\n\r\nefghij");
}

TEST_F(HTTPResume, DropsTheServer_WhenAFreshRangeBeginsElsewhere) {
  ScriptedServer server(
      {Answers("0", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 2-9/10\r\n\r\ncdefghij")});
  auto download = NewDownload(server);
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Take(), Join({Begins(), {"Invalid address.", "Idle: 1, state 0"}}));
  EXPECT_EQ(download->Reason(), 10u);
}

// ---- the file has changed ----------------------------------------------------------------------

TEST_F(HTTPResume, BeginsAnew_WhenTheTotalIsAnother) {
  ExpectNewFile("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-11/12\r\n\r\nefghijkl");
}

TEST_F(HTTPResume, BeginsAnew_WhenTheRangeEndsElsewhereAndNoTotalIsTold) {
  ExpectNewFile("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-8/*\r\n\r\nefghi");
}

TEST_F(HTTPResume, BeginsAnew_WhenTheServerHasNoByteOfTheRange) {
  ExpectNewFile("HTTP/1.1 416 Range Not\r\n\r\n");
}

TEST_F(HTTPResume, BeginsAnew_WhenTheServerHasFewerBytes) {
  ExpectNewFile("HTTP/1.1 416 Range Not\r\nContent-Range: bytes */3\r\n\r\n");
}

TEST_F(HTTPResume, BeginsAnew_WhenTheServerHasAsManyBytesAsTheDiskButTheSizeWasAnother) {
  ExpectNewFile("HTTP/1.1 416 Range Not\r\nContent-Range: bytes */4\r\n\r\n");
}

TEST_F(HTTPResume, IsCompleted_WhenTheServerHasNoByteBehindAWholeFile) {
  ScriptedServer server({AnswersAndStalls("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcdefghij"),
                         Answers("10", "HTTP/1.1 416 Range Not\r\nContent-Range: bytes */10\r\n\r\n")});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get(), 10);
  download->RunToCompletion();
  const Lines lines = download->Take();
  // Whether it can resume is not for this response to say.
  EXPECT_EQ(lines.size(), ConnectsAgain("").size() + 3 + Ends().size());
  EXPECT_EQ(Lines(lines.end() - 5, lines.end()), Ends());
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPResume, BeginsAnew_WhenTheSizeIsUnknownAndTheServerHasNoByteOfTheRange) {
  ScriptedServer server({Answers("4", "HTTP/1.1 416 Range Not\r\nContent-Range: bytes */4\r\n\r\n"),
                         Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nABCD")});
  auto download = NewDownloadWith(server, "abcd");
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "ABCD");
}

TEST_F(HTTPResume, BeginsAnew_WhenTheDataFileIsLongerThanTheFile) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("0", kWhole)});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  WriteFile(SystemPath(download->DataPath()), "abcdefghijk");
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({ConnectsAgain("Idle: 0, state 1"), {kCannotResume, "Downloading...", kDataStep}, Ends()}));
  EXPECT_EQ(OutBytes(), "0123456789");
}

TEST_F(HTTPResume, BeginsAnew_WhenTheDataFileIsGone) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("0", kWhole)});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  std::filesystem::remove(SystemPath(download->DataPath()));
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "0123456789");
}

TEST_F(HTTPResume, GoesOnBehindWhatTheDataFileHolds) {
  ScriptedServer server(
      {AnswersAndStalls("0", kFirst),
       Answers("2", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 2-9/10\r\n\r\ncdefghij")});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  WriteFile(SystemPath(download->DataPath()), "ab");
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

// ---- the time of the file ----------------------------------------------------------------------

class HTTPResumeByTime : public HTTPResume {
 protected:
  static std::string Told(const std::string& time) {
    return time.empty() ? "" : "Last-Modified: " + time + "\r\n";
  }
  static std::string FirstAt(const std::string& time) {
    return "HTTP/1.0 200 OK\r\n" + Told(time) + "Content-Length: 10\r\n\r\nabcd";
  }
  static std::string RestAt(const std::string& time) {
    return "HTTP/1.1 206 Partial Content\r\n" + Told(time) + "Content-Range: bytes 4-9/10\r\n\r\nefghij";
  }
  static std::string WholeAt(const std::string& time) {
    return "HTTP/1.0 200 OK\r\n" + Told(time) + "Content-Length: 10\r\n\r\n0123456789";
  }
  static constexpr char kMonday[] = "Mon, 06 Jan 2020 08:00:00 GMT";
  static constexpr char kTuesday[] = "Tue, 07 Jan 2020 08:00:00 GMT";
};

TEST_F(HTTPResumeByTime, BeginsAnew_WhenTheTimeIsAnother) {
  ScriptedServer server({AnswersAndStalls("0", FirstAt(kMonday)), Answers("4", RestAt(kTuesday)),
                         Answers("0", WholeAt(kTuesday))});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(std::filesystem::file_size(SystemPath(download->DataPath())), 0u);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), BeginsAnew());
  EXPECT_EQ(OutBytes(), "0123456789");
}

TEST_F(HTTPResumeByTime, BeginsAnew_WhenTheFileBecameOlder) {
  ScriptedServer server({AnswersAndStalls("0", FirstAt(kTuesday)), Answers("4", RestAt(kMonday)),
                         Answers("0", WholeAt(kMonday))});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "0123456789");
}

TEST_F(HTTPResumeByTime, TakesTheRest_WhenTheTimeIsTheSame) {
  ScriptedServer server({AnswersAndStalls("0", FirstAt(kMonday)), Answers("4", RestAt(kMonday))});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), GoesOn());
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPResumeByTime, TakesTheRest_WhenOnlyTheFirstResponseToldATime) {
  ScriptedServer server({AnswersAndStalls("0", FirstAt(kMonday)), Answers("4", RestAt(""))});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPResumeByTime, TakesTheRest_WhenOnlyTheSecondResponseToldATime) {
  ScriptedServer server({AnswersAndStalls("0", FirstAt("")), Answers("4", RestAt(kTuesday))});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPResumeByTime, ComparesWithTheTimeOfTheFirstByte) {
  // A second part that told no time does not make the file's time unknown.
  ScriptedServer server(
      {AnswersAndStalls("0", FirstAt(kMonday)),
       AnswersAndStalls("4", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-9/10\r\n\r\nef"),
       Answers("6",
               "HTTP/1.1 206 Partial Content\r\nLast-Modified: Tue, 07 Jan 2020 08:00:00 GMT\r\n"
               "Content-Range: bytes 6-9/10\r\n\r\nghij"),
       Answers("0", WholeAt(kTuesday))});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  MoveFirstBytes(download.get(), 6);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "0123456789");
}

// Two servers rarely have one time for the same file.
TEST_F(HTTPResumeByTime, ComparesTheSizeOnly_WhenAnotherServerSendsTheRest) {
  ScriptedServer first({Answers("0", FirstAt(kMonday))});
  ScriptedServer second({Answers("4", RestAt(kTuesday))});
  auto download = NewDownload(first);
  Name(second);
  EXPECT_EQ(VRXClient_AddMirrors(*download, URL(second, "/file.bin").c_str()), 0);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPResumeByTime, BeginsAnew_WhenAnotherServerHasAnotherSize) {
  ScriptedServer first({Answers("0", FirstAt(kMonday))});
  ScriptedServer second(
      {Answers("4", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-10/11\r\n\r\nefghijk"),
       Answers("0", WholeAt(kTuesday))});
  auto download = NewDownload(first);
  Name(second);
  EXPECT_EQ(VRXClient_AddMirrors(*download, URL(second, "/file.bin").c_str()), 0);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "0123456789");
}

TEST_F(HTTPResumeByTime, ComparesWithTheTimeOfTheNewServer_OnceItSent) {
  ScriptedServer first({Answers("0", FirstAt(kMonday))});
  ScriptedServer second(
      {AnswersAndStalls("4",
                        "HTTP/1.1 206 Partial Content\r\nLast-Modified: Tue, 07 Jan 2020 08:00:00 GMT\r\n"
                        "Content-Range: bytes 4-9/10\r\n\r\nef"),
       Answers("6",
               "HTTP/1.1 206 Partial Content\r\nLast-Modified: Tue, 07 Jan 2020 08:00:00 GMT\r\n"
               "Content-Range: bytes 6-9/10\r\n\r\nghij")});
  auto download = NewDownload(first);
  Name(second);
  EXPECT_EQ(VRXClient_AddMirrors(*download, URL(second, "/file.bin").c_str()), 0);
  download->RunToState(11);
  download->RunToState(0);
  MoveFirstBytes(download.get(), 6);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

// ---- again and again ---------------------------------------------------------------------------

// A reset is answered by another connection; a server that does nothing else is dropped.
TEST_F(HTTPResume, DropsTheServer_WhenItResetsElevenConnectionsInARow) {
  ScriptedServer server({{script::ReadUntil("\r\n\r\n"), script::Reset()}});
  server.RepeatLast();
  auto download = NewDownload(server);
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 0);
  EXPECT_EQ(download->Take(), Join({Begins(), {"Attempting to reconnect.", "Idle: 0, state 0"}}));
  for (int attempt = 2; attempt <= 10; ++attempt) {
    download->RunToState(10);
    EXPECT_EQ(download->Idle(), 0);
    EXPECT_EQ(download->Take(),
              Join({ConnectsAgain("Idle: 0, state 1"), {"Attempting to reconnect.", "Idle: 0, state 0"}}))
        << attempt;
  }
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Take(),
            Join({ConnectsAgain("Idle: 0, state 1"), {"Server connection terminated.", "Idle: 1, state 0"}}));
  EXPECT_EQ(download->Reason(), 15u);
  EXPECT_EQ(server.Connections(), 11u);
}

TEST_F(HTTPResume, CountsResetsFromTheLastByteOn) {
  std::vector<Script> scripts;
  const Script resets = {script::ReadUntil("\r\n\r\n"), script::Reset()};
  for (int i = 0; i < 10; ++i) scripts.push_back(resets);
  scripts.push_back(AnswersAndStalls("0", kFirst));
  for (int i = 0; i < 10; ++i) scripts.push_back(resets);
  scripts.push_back(Answers("4", kRest));
  ScriptedServer server(scripts);
  auto download = NewDownload(server);
  while (server.Connections() < 11) download->Idle();
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

// ---- begun again -------------------------------------------------------------------------------

TEST_F(HTTPResume, AsksForEveryByte_WhenTheDataIsDiscarded) {
  for (const char* answer :
       {kWhole, "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-9/10\r\n\r\n0123456789"}) {
    SCOPED_TRACE(answer);
    ScriptedServer server({Answers("0", answer)});
    auto download = NewDownloadWith(server, "XXXX");
    EXPECT_EQ(VRXClient_DiscardData(*download), 0);
    download->RunToState(11);
    EXPECT_EQ(ReadFile(OutPath("file.part")), "XXXX");
    download->RunToCompletion();
    EXPECT_EQ(OutBytes(), "0123456789");
    download->Close();
    std::filesystem::remove(OutPath("file.bin"));
  }
}

// The record may be saved before the first byte comes: it must not tell of the new file beside old bytes.
TEST_F(HTTPResume, CutsDiscardedDataAtOnce_WhenTheAnswerIsOfAnotherFile) {
  for (const char* answer :
       {kWhole, "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-9/10\r\n\r\n0123456789"}) {
    SCOPED_TRACE(answer);
    ScriptedServer server({Answers("0", answer)});
    auto download = NewDownloadWith(server, "XXXX");
    static_cast<VRXClient*>(*download)->data.size = 12;
    EXPECT_EQ(VRXClient_DiscardData(*download), 0);
    download->RunToState(11);
    EXPECT_EQ(ReadFile(OutPath("file.part")), "");
    download->RunToCompletion();
    EXPECT_EQ(OutBytes(), "0123456789");
    download->Close();
    std::filesystem::remove(OutPath("file.bin"));
  }
}

TEST_F(HTTPResume, KeepsDiscardedData_WhenAWebPageComes) {
  ScriptedServer server(
      {Answers("0", "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\nContent-Length: 6\r\n\r\n<html>")});
  auto download = NewDownloadWith(server, "XXXX");
  EXPECT_EQ(VRXClient_DiscardData(*download), 0);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Reason(), 18u);
  EXPECT_EQ(ReadFile(OutPath("file.part")), "XXXX");
}

TEST_F(HTTPResume, EndsWithNoByte_WhenTheDataIsDiscardedAndTheFileIsEmpty) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\n")});
  auto download = NewDownloadWith(server, "XXXX");
  EXPECT_EQ(VRXClient_DiscardData(*download), 0);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "");
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
}

}  // namespace
}  // namespace transfer
