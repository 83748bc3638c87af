// Conversations with HTTP servers.
#include <gtest/gtest.h>

#include <string>

#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

using TransferHTTP = ConversationTest;

Script Answer(const std::string& path, size_t offset, const std::string& response) {
  return scripted_http::Exchange(talk::Request(path, offset), response);
}

// A 206 for the bytes from an offset on.
std::string Partial(size_t offset, size_t total, const std::string& bytes, const std::string& headers = "") {
  return "HTTP/1.0 206 Partial\r\n" + headers + "Content-Range: bytes " + std::to_string(offset) + "-" +
         std::to_string(offset + bytes.size() - 1) + "/" + std::to_string(total) + "\r\n\r\n" + bytes;
}

std::string Okay(const std::string& bytes, const std::string& headers = "") {
  return "HTTP/1.0 200 OK\r\n" + headers + "Content-Length: " + std::to_string(bytes.size()) + "\r\n\r\n" +
         bytes;
}

std::string Redirect(const std::string& location) {
  return "HTTP/1.0 302 Found\r\nLocation: " + location + "\r\n\r\n";
}

TEST_F(TransferHTTP, ResumesBehindTheDataFile) {
  ScriptedServer server({Answer("/f", 4, Partial(4, 10, "567890"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 10);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                                        "Server supports pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(Files().Read("target"), "1234567890");
  server.Finish();
}

TEST_F(TransferHTTP, BeginsAnew_WhenTheServerIgnoresTheRange) {
  ScriptedServer server({Answer("/f", 4, Okay("abcdefgh"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 10);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                   "Server does not support pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(Files().Read("target"), "abcdefgh");
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 8u);
  server.Finish();
}

TEST_F(TransferHTTP, KeepsTheOldBytes_UntilTheFirstNewOneIsThere) {
  iSock_SetWaitMilliseconds(200);
  ScriptedServer server(
      {{Expect(talk::Request("/f", 4)), Send("HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n"), Stall()}});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 10);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Postponed);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                                        "Server does not support pause/resume.", "Downloading...",
                                        "Connection timed out. Download postponed."}));
  char path[1024];
  EXPECT_EQ(VRXClient_GetDataFilePath(transfer.get(), path), Error_None);
  uint64_t size = 0;
  FileState state;
  EXPECT_EQ(File_GetState64(path, &state, &size), Error_None);
  EXPECT_EQ(size, 4u);
  server.Stop();
}

// The next connection must not continue the bytes of one file with those of the other.
TEST_F(TransferHTTP, CutsTheOldBytesAtOnce_WhenTheWholeFileHasAnotherSize) {
  iSock_SetWaitMilliseconds(200);
  ScriptedServer server(
      {{Expect(talk::Request("/f", 4)), Send("HTTP/1.0 200 OK\r\nContent-Length: 8\r\n\r\n"), Stall()},
       Answer("/f", 0, Partial(0, 8, "abcdefgh"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 10);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Postponed);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "abcdefgh");
  server.Finish();
}

TEST_F(TransferHTTP, CutsTheOldBytesAtOnce_WhenTheWholeFileHasAnotherTime) {
  iSock_SetWaitMilliseconds(200);
  const std::string tuesday = "Last-Modified: Tue, 04 Sep 2001 10:00:00 GMT\r\n";
  ScriptedServer server({{Expect(talk::Request("/f", 4)),
                          Send("HTTP/1.0 200 OK\r\n" + tuesday + "Content-Length: 8\r\n\r\n"), Stall()},
                         Answer("/f", 0, Partial(0, 8, "abcdefgh", tuesday))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 8);
  transfer.get()->data.sourceTime = {999511200, 0};  // the day before
  EXPECT_EQ(transfer.Work(), VRXClientResult_Postponed);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "abcdefgh");
  server.Finish();
}

TEST_F(TransferHTTP, KeepsWhatIsKnownOfTheOldBytes_WhenNoNewOneComes) {
  iSock_SetWaitMilliseconds(200);
  ScriptedServer server({{Expect(talk::Request("/f", 4)), Send("HTTP/1.0 200 OK\r\n\r\n"), Stall()},
                         Answer("/f", 4, Partial(4, 12, "56789012")),
                         Answer("/f", 0, Partial(0, 12, "abcdefghijkl"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 10);
  transfer.get()->data.sourceTime = {999511200, 0};
  EXPECT_EQ(transfer.Work(), VRXClientResult_Postponed);
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 10u);
  EXPECT_EQ(transfer.get()->data.sourceTime.seconds, 999511200u);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "abcdefghijkl");
  server.Finish();
}

// A program that is killed here reads the record of the old bytes: another server's rest of another file does
// not fit them.
TEST_F(TransferHTTP, RecordsWhatIsKnownOfTheOldBytes_UntilTheFirstNewOneIsThere) {
  ScriptedServer server({{Expect(talk::Request("/f", 4)), Send("HTTP/1.0 200 OK\r\n\r\n"), Stall()},
                         Answer("/f", 4, Partial(4, 12, "56789012")),
                         Answer("/f", 0, Partial(0, 12, "abcdefghijkl"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 10);
  transfer.get()->data.sourceTime = {999511200, 0};
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 0xFFFFFFFFu) << "what the server told is in use";
  transfer.Save("record");
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 0xFFFFFFFFu);
  transfer.Close();
  transfer.Read("record");
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 10u);
  EXPECT_EQ(transfer.get()->data.sourceTime.seconds, 999511200u);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "abcdefghijkl");
  server.Finish();
}

TEST_F(TransferHTTP, TellsToSaveTheRecord_WhenTheFirstNewByteReplacesOldOnes) {
  ScriptedServer server({Answer("/f", 4, Okay("abcdefghij"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234");
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_Changed);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "abcdefghij");
  server.Finish();
}

// The first server of a record that has none of its bytes: a mirror has another time for the same file.
TEST_F(TransferHTTP, ContinuesFromAnotherServerThanTheBytesOfARecord) {
  const std::string tuesday = "Last-Modified: Tue, 04 Sep 2001 10:00:00 GMT\r\n";
  ScriptedServer first({Answer("/f", 4, Partial(4, 10, "567890", tuesday))});
  Conversation transfer(this);
  transfer.Download(URL("http", first, "/f"));
  ASSERT_EQ(iVRXClient_AddServer(transfer.get(), "http://b.invalid/f", nullptr), Error_None);
  transfer.get()->data.servers.first->isFailed = true;
  transfer.Hold("1234", 10);
  transfer.get()->data.sourceTime = {999511200, 0};  // the day before
  transfer.Save("record");
  transfer.Close();
  transfer.Read("record");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "1234567890");
  first.Finish();
}

TEST_F(TransferHTTP, ConnectsAgain_WhenTheServerOfTheBytesOfARecordHasAnotherTime) {
  const std::string tuesday = "Last-Modified: Tue, 04 Sep 2001 10:00:00 GMT\r\n";
  ScriptedServer server(
      {Answer("/f", 4, Partial(4, 10, "567890", tuesday)), Answer("/f", 0, Okay("abcdefghij", tuesday))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  ASSERT_EQ(iVRXClient_AddServer(transfer.get(), "http://b.invalid/f", nullptr), Error_None);
  transfer.Hold("1234", 10);
  transfer.get()->data.sourceTime = {999511200, 0};
  transfer.Save("record");
  transfer.Close();
  transfer.Read("record");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "abcdefghij");
  server.Finish();
}

TEST_F(TransferHTTP, TransfersAFileOfUnknownSize) {
  ScriptedServer server({Answer("/f", 0, "HTTP/1.0 200 OK\r\n\r\nhello")});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                   "Server does not support pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(Files().Read("target"), "hello");
  server.Finish();
}

TEST_F(TransferHTTP, ConnectsAgain_WhenTheFileHasChanged) {
  ScriptedServer server(
      {Answer("/f", 4, Partial(4, 12, "56789012")), Answer("/f", 0, Partial(0, 12, "abcdefghijkl"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 10);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                                        "Attempting to reconnect.", "Trying \"http://{A}\"...", "Connected.",
                                        "Initiating download...", "Server supports pause/resume.",
                                        "Downloading...", kDone, kMoved}));
  EXPECT_EQ(Files().Read("target"), "abcdefghijkl");
  server.Finish();
}

TEST_F(TransferHTTP, ConnectsAgain_WhenTheFileHasAnotherTime) {
  const std::string tuesday = "Last-Modified: Tue, 04 Sep 2001 10:00:00 GMT\r\n";
  ScriptedServer server(
      {Answer("/f", 3, Partial(3, 6, "DEF", tuesday)), Answer("/f", 0, Partial(0, 6, "ABCDEF", tuesday))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("abc", 6);
  transfer.get()->data.sourceTime = {999511200, 0};  // the day before
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages()[3], "Attempting to reconnect.");
  EXPECT_EQ(Files().Read("target"), "ABCDEF");
  EXPECT_EQ(transfer.get()->data.sourceTime.seconds, 999597600u);
  server.Finish();
}

TEST_F(TransferHTTP, FollowsARedirect) {
  ScriptedServer second({Answer("/g", 0, Partial(0, 5, "hello"))});
  ScriptedServer first({Answer("/f", 0, Redirect("http://" + second.address() + "/g"))});
  Conversation transfer(this);
  transfer.Download(URL("http", first, "/f"));
  URL("http", second, "");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                                        "Attempting to reconnect.", "Selecting server...",
                                        "Trying \"http://{B}\"...", "Connected.", "Initiating download...",
                                        "Server supports pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(transfer.Steps(), Lines({"0: 1", "1: 1", "2: 1", "3: 0", "7: 0", "10: 1", "0: 0", "1: 0", "2: 0",
                                     "3: 0", "7: 0", "10: 1", "11: 0", "11: 1", "12: 1", "13: 5"}));
  EXPECT_EQ(transfer.Servers(), Lines({"!http://{A}/f", "http://{B}/g"}));
  first.Finish();
  second.Finish();
}

TEST_F(TransferHTTP, EndsAfterElevenRedirectsInARow) {
  std::vector<Script> scripts;
  for (int i = 0; i < 11; ++i)
    scripts.push_back(Answer("/" + std::to_string(i), 0, Redirect(std::to_string(i + 1))));
  ScriptedServer server(scripts);
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/0"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Reason(), 21u);
  Lines expected = {"Trying \"http://{A}\"...", "Connected.", "Initiating download..."};
  for (int i = 0; i < 10; ++i) {
    for (const char* line : {"Attempting to reconnect.", "Selecting server...", "Trying \"http://{A}\"...",
                             "Connected.", "Initiating download..."})
      expected.push_back(line);
  }
  EXPECT_EQ(transfer.Messages(), expected);
  EXPECT_EQ(transfer.Servers().size(), 11u);
  EXPECT_EQ(transfer.Servers().back(), "!http://{A}/10");
  server.Finish();
}

// It has been reconnecting before: a redirect is no further try of the same server.
TEST_F(TransferHTTP, FollowsARedirect_BehindTenReconnections) {
  ScriptedServer server({Answer("/f", 0, Redirect("g")), Answer("/g", 0, Okay("hello"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.get()->retryCount = 10;
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  const Lines messages = transfer.Messages();
  EXPECT_EQ(messages[3], "Attempting to reconnect.");
  EXPECT_EQ(transfer.Servers(), Lines({"!http://{A}/f", "http://{A}/g"}));
  EXPECT_EQ(Files().Read("target"), "hello");
  server.Finish();
}

TEST_F(TransferHTTP, RefusesARedirectWithoutALocation) {
  ScriptedServer server({Answer("/f", 0, "HTTP/1.0 302 Found\r\n\r\n")});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                   "Server redirected client, but didn't give location.", "Invalid address.",
                   "Selecting server...", "No server or mirror found."}));
  server.Finish();
}

TEST_F(TransferHTTP, RefusesALocationThatMayBeCut) {
  ScriptedServer server({Answer("/f", 0, Redirect("http://b.invalid/" + std::string(238, 'x')))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages()[3], "Server redirected client, but didn't give location.");
  EXPECT_EQ(transfer.Servers(), Lines({"!http://{A}/f"}));
  server.Finish();
}

TEST_F(TransferHTTP, RefusesAWebPage) {
  ScriptedServer server({Answer("/f", 0, Okay("<html>", "Content-Type: text/HTML; charset=x\r\n"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                                        "Content is a web page."}));
  EXPECT_EQ(transfer.Reason(), 18u);
  EXPECT_EQ(transfer.State(), TransferState::Agents);
  EXPECT_EQ(DataFiles(), Lines());
  EXPECT_EQ(transfer.Step(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Reason(), 18u);
  server.Finish();
}

TEST_F(TransferHTTP, KeepsTheBytes_WhenAWebPageAnswersAResume) {
  ScriptedServer server({Answer("/f", 4, Okay("<html>", "Content-Type: text/html\r\n"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 10);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                                        "Content is a web page."}));
  EXPECT_EQ(transfer.Reason(), 18u);
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  EXPECT_EQ(DataFiles(), Lines({"vrxData77"}));
  EXPECT_EQ(transfer.Servers(), Lines({"!http://{A}/f"}));
  server.Finish();
}

TEST_F(TransferHTTP, TakesAWebPage_WhenTheApplicationAcceptsIt) {
  ScriptedServer server({Answer("/f", 0, Okay("<html>", "Content-Type: text/html\r\n"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(VRXClient_AcceptWebPages(transfer.get(), 1), Error_None);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "<html>");
  server.Finish();
}

TEST_F(TransferHTTP, CompletesAnEmptyFile_WhenNoByteCanBeAskedFor) {
  ScriptedServer server({Answer("/f", 0, "HTTP/1.0 416 Range\r\nContent-Range: bytes */0\r\n\r\n")});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                   "Server does not support pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_TRUE(Files().Exists("target"));
  EXPECT_EQ(Files().Size("target"), 0u);
  server.Finish();
}

TEST_F(TransferHTTP, Completes_WhenEveryByteIsHeld) {
  ScriptedServer server({Answer("/f", 10, "HTTP/1.0 416 Range\r\nContent-Range: bytes */10\r\n\r\n")});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234567890", 10);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                                        "Server supports pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(Files().Read("target"), "1234567890");
  server.Finish();
}

TEST_F(TransferHTTP, ResumesAtTheNextServer_WhenABodyIsCutShort) {
  ScriptedServer first({Answer("/f", 0, "HTTP/1.0 206 Partial\r\nContent-Range: bytes 0-9/10\r\n\r\n1234")});
  ScriptedServer second({Answer("/f", 4, Partial(4, 10, "567890"))});
  Conversation transfer(this);
  transfer.Download(URL("http", first, "/f"));
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), URL("http", second, "/f").c_str()), Error_None);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                   "Server supports pause/resume.", "Downloading...", "Server connection terminated.",
                   "Selecting server...", "Trying \"http://{B}\"...", "Connected.", "Initiating download...",
                   "Server supports pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(Files().Read("target"), "1234567890");
  first.Finish();
  second.Finish();
}

TEST_F(TransferHTTP, EndsWithoutAServer_WhenThereIsNoSuchFile) {
  ScriptedServer server({Answer("/f", 0, "HTTP/1.0 404 Gone\r\n\r\n")});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...", "Invalid address.",
                   "Selecting server...", "No server or mirror found."}));
  VRXClientLastReply reply;
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  EXPECT_EQ(reply.code, 404);
  EXPECT_EQ(reply.status, Error_Invalid);
  server.Finish();
}

TEST_F(TransferHTTP, RefusesAFileURLThatARedirectNames) {
  ScriptedServer server({Answer("/f", 0, Redirect("file:///etc/passwd"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                   "Attempting to reconnect.", "Selecting server...", "Trying \"file://:0\"...",
                   "Unsupported protocol: \"file\"", "Selecting server...", "No server or mirror found."}));
  server.Finish();
}

TEST_F(TransferHTTP, ProbesUpToTheBeginOfTheData) {
  ScriptedServer server({Answer("/f", 0, Partial(0, 5, "hello"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(transfer.Probe(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                                        "Server supports pause/resume."}));
  EXPECT_EQ(transfer.State(), TransferState::Data);
  EXPECT_EQ(transfer.ProbeStep(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Downloading...", kDone, kMoved}));
  EXPECT_EQ(Files().Read("target"), "hello");
  server.Finish();
}

}  // namespace
