// Downloads over HTTP that begin with the first byte: whole conversations, what the file becomes, and what
// refuses them.
#include "os/time/clock_testing.h"
#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

class HTTPDownload : public TransferTest {};

// ---- fresh -------------------------------------------------------------------------------------

TEST_F(HTTPDownload, SaysThatItCannotResume_WhenTheServerIgnoresTheRange) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcdefghij")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({Begins(), {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep}, Ends()}));
  EXPECT_EQ(OutBytes(), "abcdefghij");
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 0);
  EXPECT_EQ(VRXClient_GetSize(*download), 10u);
  EXPECT_EQ(download->Reason(), 0u);
  EXPECT_EQ(VRXClient_IsCompleted(*download), 1);
}

TEST_F(HTTPDownload, SaysThatItCanResume_WhenTheServerSendsTheRange) {
  ScriptedServer server({Answers("0",
                                 "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-9/10\r\n"
                                 "Content-Length: 10\r\n\r\nabcdefghij")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({Begins(), {kCanResume, "Downloading...", "Idle: 1, state 11", kDataStep}, Ends()}));
  EXPECT_EQ(OutBytes(), "abcdefghij");
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 1);
  EXPECT_EQ(VRXClient_GetSize(*download), 10u);
}

TEST_F(HTTPDownload, EndsWithTheConnection_WhenTheSizeIsUnknown) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\n\r\nabcdefghij")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  // No size is told, so nothing of the record changes with the response.
  EXPECT_EQ(download->Take(), Join({Begins(), {kCannotResume, "Downloading...", kDataStep}, Ends()}));
  EXPECT_EQ(OutBytes(), "abcdefghij");
  EXPECT_EQ(VRXClient_GetSize(*download), 4294967295u);
  EXPECT_EQ(VRXClient_GetSize64(*download), UINT64_MAX);
}

TEST_F(HTTPDownload, TakesTheSizeFromTheEndOfTheRange_WhenNoTotalIsTold) {
  ScriptedServer server(
      {Answers("0", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-9/*\r\n\r\nabcdefghij")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({Begins(), {kCanResume, "Downloading...", "Idle: 1, state 11", kDataStep}, Ends()}));
  EXPECT_EQ(VRXClient_GetSize(*download), 10u);
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPDownload, LeavesWhatComesBehindTheSize) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcdTAIL")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(HTTPDownload, TakesAnEmptyFile_WhenTheLengthIsZero) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\n")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({Begins(), {kCannotResume, "Downloading...", "Idle: 1, state 11"}, Ends()}));
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
  EXPECT_EQ(OutBytes(), "");
  // A size of 0 is told as an unknown one.
  EXPECT_EQ(VRXClient_GetSize(*download), 4294967295u);
}

TEST_F(HTTPDownload, TakesAnEmptyFile_WhenTheServerHasNoByteOfTheRange) {
  ScriptedServer server(
      {Answers("0", "HTTP/1.1 416 Range Not\r\nContent-Range: bytes */0\r\nContent-Length: 0\r\n\r\n")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({Begins(), {kCannotResume, "Downloading...", "Idle: 1, state 11"}, Ends()}));
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
  EXPECT_EQ(OutBytes(), "");
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 0);
}

TEST_F(HTTPDownload, MovesALargeFileWhole) {
  std::string bytes;
  for (int i = 0; i < 100000; ++i) bytes.push_back(static_cast<char>(i * 31 + i / 251));
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 100000\r\n\r\n" + bytes)});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), bytes);
}

TEST_F(HTTPDownload, LeavesNoDataFile_OnceTheFileIsInItsPlace) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd")});
  auto download = NewDownload(server);
  download->RunToState(11);
  EXPECT_EQ(DataFiles().size(), 1u);
  EXPECT_EQ(OutNames(), Lines{});
  download->RunToCompletion();
  EXPECT_EQ(DataFiles(), Lines{});
  EXPECT_EQ(download->DataPath(), "");
}

TEST_F(HTTPDownload, EscapesALineEndInThePath) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd", "/a%0D%0AX:%20y")});
  auto download = NewDownload(server, "/a%0D%0AX:%20y");
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(HTTPDownload, GivesFiveForEver_OnceItIsCompleted) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  download->Take();
  EXPECT_EQ(download->Idle(), 5);
  EXPECT_EQ(download->Poll(), 5);
  EXPECT_EQ(download->Idle(), 5);
  EXPECT_EQ(download->Take(), (Lines{"Idle: 5, state 14", "Poll: 5, state 14", "Idle: 5, state 14"}));
}

// ---- probing -----------------------------------------------------------------------------------

const Lines kProbe = {"Poll: 0, state 1",  "Poll: 0, state 2",       "Trying \"http://SERVER0\"...",
                      "Connected.",        "Poll: 0, state 3",       "Poll: 0, state 7",
                      "Poll: 0, state 10", "Initiating download...", "Server supports pause/resume.",
                      "Poll: 5, state 11"};

TEST_F(HTTPDownload, EndsAProbeWithTheResponse) {
  ScriptedServer server(
      {Answers("0", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-9/10\r\n\r\nabcdefghij")});
  auto download = NewDownload(server);
  for (int i = 0; i < 6; ++i) download->Poll();
  EXPECT_EQ(download->Take(), kProbe);
  EXPECT_EQ(VRXClient_GetSize(*download), 10u);
  EXPECT_EQ(VRXClient_ServerSupportsResume(*download), 1);
  server.Stop();
}

TEST_F(HTTPDownload, GivesFiveAndMovesNothing_WhenItIsProbedAgain) {
  ScriptedServer server(
      {Answers("0", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-9/10\r\n\r\nabcdefghij")});
  auto download = NewDownload(server);
  for (int i = 0; i < 9; ++i) download->Poll();
  EXPECT_EQ(download->Take(),
            Join({kProbe, {"Poll: 5, state 11", "Poll: 5, state 11", "Poll: 5, state 11"}}));
  EXPECT_EQ(std::filesystem::file_size(SystemPath(download->DataPath())), 0u);
  server.Stop();
}

TEST_F(HTTPDownload, BeginsTheData_WhenWorkFollowsAProbe) {
  ScriptedServer server(
      {Answers("0", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-9/10\r\n\r\nabcdefghij")});
  auto download = NewDownload(server);
  for (int i = 0; i < 6; ++i) download->Poll();
  download->RunToCompletion();
  // What the probe changed in the record is told by the first working call.
  EXPECT_EQ(download->Take(), Join({kProbe, {"Downloading...", "Idle: 1, state 11"}, Ends()}));
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPDownload, ChecksTheSpace_WhenWorkFollowsAProbe) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 1000000000000000000\r\n\r\nabcd")});
  auto download = NewDownload(server);
  for (int i = 0; i < 6; ++i) download->Poll();
  download->Take();
  EXPECT_EQ(download->Idle(), 4);
  EXPECT_EQ(download->Take(),
            (Lines{"Downloading...", "Not enough disk space to complete download.", "Idle: 4, state 0"}));
  EXPECT_EQ(download->Reason(), 20u);
}

TEST_F(HTTPDownload, ProbesTheHeadOfTheList_ThoughItIsMarked) {
  ScriptedServer server(
      {Answers("0", "HTTP/1.0 404 Not Found\r\n\r\n"),
       Answers("0", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-3/4\r\n\r\nabcd")});
  auto download = NewDownload(server);
  for (int i = 0; i < 6; ++i) download->Poll();
  download->Take();
  for (int i = 0; i < 6; ++i) download->Poll();
  EXPECT_EQ(download->Take(), (Lines{"Locating server...", "Poll: 0, state 1", "Poll: 0, state 2",
                                     "Trying \"http://SERVER0\"...", "Connected.", "Poll: 0, state 3",
                                     "Poll: 0, state 7", "Poll: 0, state 10", "Initiating download...",
                                     "Server supports pause/resume.", "Poll: 5, state 11"}));
  server.Stop();
}

TEST_F(HTTPDownload, ClearsTheMarks_WhenItIsProbedAfterTheLastServer) {
  ScriptedServer server({Answers("0", "HTTP/1.0 404 Not Found\r\n\r\n")});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Idle(), 1);
  while (download->State() != 0) download->Idle();
  EXPECT_EQ(download->Idle(), 4);
  download->Take();
  EXPECT_EQ(download->Poll(), 0);
  EXPECT_EQ(download->Take(), (Lines{"Reestablishing lost connection.", "Poll: 0, state 0"}));
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 0);
}

// ---- what the server answers in place of the file ----------------------------------------------

// Every class but 2 and 3 is an invalid address.
class HTTPDownloadRefused : public TransferTest, public testing::WithParamInterface<const char*> {};

TEST_P(HTTPDownloadRefused, DropsTheServer) {
  ScriptedServer server({Answers("0", std::string("HTTP/1.0 ") + GetParam() + "\r\n\r\npage")});
  auto download = NewDownload(server);
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Take(), Join({Begins(), {"Invalid address.", "Idle: 1, state 0"}}));
  EXPECT_EQ(download->Reason(), 10u);
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 1);
  EXPECT_EQ(entry.isCurrent, 0);
}

INSTANTIATE_TEST_SUITE_P(Codes, HTTPDownloadRefused,
                         testing::Values("100 Continue", "400 Bad", "401 Unauthorized", "403 Forbidden",
                                         "404 Not", "410 Gone", "500 Internal", "503 Service", "600 What"));

TEST_F(HTTPDownload, DropsTheServer_WhenItsResponseIsNone) {
  ScriptedServer server({Answers("0", "what?\r\n\r\n")});
  auto download = NewDownload(server);
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Take(), Join({Begins(), {"Invalid address.", "Idle: 1, state 0"}}));
  EXPECT_EQ(download->Reason(), 10u);
}

TEST_F(HTTPDownload, DropsTheServer_WhenItEndsWithoutAResponse) {
  ScriptedServer server({Answers("0", "")});
  auto download = NewDownload(server);
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Take(), Join({Begins(), {"Server connection terminated.", "Idle: 1, state 0"}}));
  EXPECT_EQ(download->Reason(), 15u);
}

TEST_F(HTTPDownload, IsPostponed_WhenALineOfTheResponseIsTooLong) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nX: " + std::string(2000, 'x') + "\r\n\r\n")});
  auto download = NewDownload(server);
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 2);
  EXPECT_EQ(download->Take(), Join({Begins(), {"An error occurred: Exceed", "Idle: 2, state 0"}}));
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 0);
}

TEST_F(HTTPDownload, TriesTheListAgain_WhenNoServerIsLeft) {
  ScriptedServer server({Answers("0", "HTTP/1.0 404 Not Found\r\n\r\n"),
                         Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd")});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Reason(), 8u);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {"Invalid address.", "Idle: 1, state 0"},
                                    TriesListAgain(),
                                    ConnectsAgain("Idle: 1, state 1"),
                                    {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep},
                                    Ends()}));
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(HTTPDownload, FailsOverToTheSecondServer) {
  ScriptedServer first({Answers("0", "HTTP/1.0 503 Service Unavailable\r\n\r\n")});
  ScriptedServer second({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd", "/copy.bin")});
  auto download = NewDownload(first);
  Name(second);
  EXPECT_EQ(VRXClient_AddMirrors(*download, URL(second, "/copy.bin").c_str()), 0);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {"Invalid address.", "Idle: 1, state 0", "Selecting server..."},
                                    ConnectsAgain("Idle: 0, state 1", "SERVER1"),
                                    {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep},
                                    Ends()}));
  EXPECT_EQ(OutBytes(), "abcd");
  EXPECT_EQ(download->Reason(), 0u);
  // What the first one was dropped with is still told.
  VRXClientLastReply reply;
  EXPECT_EQ(VRXClient_GetLastReply(*download, &reply), 0);
  EXPECT_EQ(reply.reason, 10u);
}

// ---- connecting --------------------------------------------------------------------------------

TEST_F(HTTPDownload, DropsTheServer_WhenItRefusesTheConnection) {
  const uint16_t port = loopback::UnusedPort();
  const std::string address = "127.0.0.1:" + std::to_string(port);
  names_.Add(address, "SERVER0");
  auto download = NewDownload("http://" + address + "/file.bin");
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Take(),
            (Lines{"Idle: 1, state 1", "Idle: 1, state 2", "Trying \"http://SERVER0\"...",
                   "Connection failed.", "Connection denied by server.", "Idle: 1, state 0"}));
  EXPECT_EQ(download->Reason(), 9u);
}

TEST_F(HTTPDownload, IsPostponed_WhenNoResponseComes) {
  iSock_SetWaitMilliseconds(200);
  ScriptedServer server({AnswersAndStalls("0", "HTTP/1.0 200 OK\r\n")});
  auto download = NewDownload(server);
  download->RunToState(10);
  EXPECT_EQ(download->Idle(), 2);
  EXPECT_EQ(download->Take(),
            Join({Begins(), {"Connection timed out. Download postponed.", "Idle: 2, state 0"}}));
  EXPECT_EQ(download->Reason(), 11u);
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 1);
}

TEST_F(HTTPDownload, IsPostponed_WhenTheDataStalls) {
  iSock_SetWaitMilliseconds(200);
  ScriptedServer server({AnswersAndStalls("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd")});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 2);
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep,
                                     "Connection timed out. Download postponed.", "Idle: 2, state 0"}}));
  EXPECT_EQ(download->Reason(), 11u);
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "abcd");
}

TEST_F(HTTPDownload, IsNotCompleted_WhenABodyOfUnknownSizeStalls) {
  iSock_SetWaitMilliseconds(200);
  ScriptedServer server({AnswersAndStalls("0", "HTTP/1.0 200 OK\r\n\r\nabcd")});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 2);
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {kCannotResume, "Downloading...", kDataStep,
                                     "Connection timed out. Download postponed.", "Idle: 2, state 0"}}));
  EXPECT_EQ(OutNames(), Lines{});
}

TEST_F(HTTPDownload, IsNotCompleted_WhenABodyOfUnknownSizeEndsInAReset) {
  ScriptedServer server({scripted_http::AnswerThenReset("HTTP/1.0 200 OK\r\n\r\nabcd")});
  auto download = NewDownload(server);
  download->RunToState(11);
  download->Idle();
  EXPECT_EQ(download->Idle(), 0);
  EXPECT_EQ(
      download->Take(),
      Join({Begins(),
            {kCannotResume, "Downloading...", kDataStep, "Attempting to reconnect.", "Idle: 0, state 0"}}));
  EXPECT_EQ(OutNames(), Lines{});
}

// ---- space -------------------------------------------------------------------------------------

TEST_F(HTTPDownload, FailsBeforeTheFirstByte_WhenTheDiskIsTooSmall) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 1000000000000000000\r\n\r\nabcd")});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {kCannotResume, "Downloading...",
                                     "Not enough disk space to complete download.", "Idle: 4, state 0"}}));
  EXPECT_EQ(download->Reason(), 20u);
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 0);
  EXPECT_EQ(entry.isCurrent, 1);
}

// The bytes on the disk need no space any more.
ErrorCode SixBytesFree(const char*, uint64_t* bytes) {
  *bytes = 6;
  return Error_None;
}
ErrorCode FiveBytesFree(const char*, uint64_t* bytes) {
  *bytes = 5;
  return Error_None;
}
ErrorCode UnknownBytesFree(const char*, uint64_t* bytes) {
  *bytes = 0;
  return Error_Fail;
}

TEST_F(HTTPDownload, NeedsSpaceForTheRestOnly_WhenItResumes) {
  ScriptedServer server({AnswersAndStalls("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd"),
                         Answers("4", "HTTP/1.0 206 Part OK\r\nContent-Range: bytes 4-9/10\r\n\r\nefghij"),
                         Answers("4", "HTTP/1.0 206 Part OK\r\nContent-Range: bytes 4-9/10\r\n\r\nefghij")});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  iVRXClient_SetFreeBytes(FiveBytesFree);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Reason(), 20u);
  iVRXClient_SetFreeBytes(SixBytesFree);
  download->RunToState(11);
  iVRXClient_SetFreeBytes(nullptr);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPDownload, NeedsNoSpaceForTheBytesThatItOverwrites) {
  ScriptedServer server({AnswersAndStalls("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd"),
                         Answers("4", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n0123456789")});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  iVRXClient_SetFreeBytes(SixBytesFree);
  download->RunToState(11);
  iVRXClient_SetFreeBytes(nullptr);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "0123456789");
}

TEST_F(HTTPDownload, GoesOn_WhenTheSpaceIsUnknown) {
  iVRXClient_SetFreeBytes(UnknownBytesFree);
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(HTTPDownload, GoesOn_WhenTheSizeIsUnknownAndTheDiskIsFull) {
  iVRXClient_SetFreeBytes([](const char*, uint64_t* bytes) -> ErrorCode {
    *bytes = 0;
    return Error_None;
  });
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\n\r\nabcd")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(HTTPDownload, TellsTheTimeOfItsEnd) {
  const Time sunday = {1000000000, 0};
  iClock_SetWallClock(&sunday);
  std::string last;
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd")});
  auto download = NewDownload(server);
  download->onMessage = [&](const std::string& text) { last = text; };
  download->RunToState(12);
  iClock_SetWallClock(nullptr);
  EXPECT_EQ(last, "Download completed on Sun Sep  9 01:46:40 2001.");
}

// ---- the log -----------------------------------------------------------------------------------

TEST_F(HTTPDownload, KeepsItsMessagesInTheLog) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd")});
  auto download = NewDownload(server);
  download->RunToState(12);
  const char* text = nullptr;
  ASSERT_EQ(VRXClient_GetInfo(*download, &text), 0);
  std::string log = names_.Apply(text);
  const std::string completed = "Download completed on ";
  ASSERT_NE(log.find(completed), std::string::npos);
  // "Sun Nov 22 06:21:59 2026"
  log.replace(log.find(completed) + completed.size(), 24, "DATE");
  EXPECT_EQ(log,
            "Trying \"http://SERVER0\"...\r\nConnected.\r\nInitiating download...\r\n"
            "Server does not support pause/resume.\r\nDownloading...\r\nDownload completed on DATE.\r\n");
}

}  // namespace
}  // namespace transfer
