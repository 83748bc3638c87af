// Web pages in the place of a file.
#include "qz/string.h"
#include "tests/transfer/transfer_trace.h"
#include "transfer/vrxclient_internal.h"

namespace transfer {
namespace {

class HTTPPage : public TransferTest {
 protected:
  static std::string Page(const std::string& type) {
    return "HTTP/1.0 200 OK\r\nContent-Type: " + type + "\r\nContent-Length: 6\r\n\r\n<html>";
  }
};

TEST_F(HTTPPage, IsNoFile) {
  ScriptedServer server({Answers("0", Page("text/html"))});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Take(), Join({Begins(), {"Content is a web page.", "Idle: 4, state 13"}}));
  EXPECT_EQ(download->Reason(), 18u);
  EXPECT_EQ(DataFiles(), Lines{});
  EXPECT_EQ(download->DataPath(), "");
  EXPECT_EQ(VRXClient_GetSize(*download), 4294967295u);
  // The agents still see the transfer, and then it is over.
  EXPECT_EQ(download->Idle(), 5);
  EXPECT_EQ(download->Take(), Lines{"Idle: 5, state 14"});
  EXPECT_EQ(download->Reason(), 18u);
  EXPECT_EQ(OutNames(), Lines{});
}

TEST_F(HTTPPage, IsAPageWithACharacterSetToo) {
  ScriptedServer server({Answers("0", Page("text/html; charset=utf-8"))});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Reason(), 18u);
  EXPECT_EQ(download->State(), 13u);
}

TEST_F(HTTPPage, IsAnyTypeThatHoldsTheWord) {
  ScriptedServer server({Answers("0", Page("application/xhtml+xml"))});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Reason(), 18u);
}

TEST_F(HTTPPage, IsNoOtherType) {
  ScriptedServer server({Answers("0", Page("text/plain"))});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "<html>");
}

TEST_F(HTTPPage, IsNoneWithoutAType) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 6\r\n\r\n<html>")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "<html>");
}

TEST_F(HTTPPage, ChangesTheRecord) {
  ScriptedServer server({Answers("0", Page("text/html"))});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  ASSERT_EQ(download->Write(Out("record")), 0);
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Out("record")), 0);
  EXPECT_EQ(again->DataPath(), "");
  EXPECT_EQ(again->State(), 13u);
}

TEST_F(HTTPPage, IsToldToAgents_AndByTheRecordToo) {
  ScriptedServer server({Answers("0", Page("text/html"))});
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_IsWebPage(*download), 0);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(VRXClient_IsWebPage(*download), 1);
  ASSERT_EQ(download->Write(Out("record")), 0);
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Out("record")), 0);
  EXPECT_EQ(VRXClient_IsWebPage(*again), 1);
  EXPECT_EQ(again->Idle(), 5);
  EXPECT_EQ(VRXClient_IsWebPage(*again), 1);
  EXPECT_EQ(VRXClient_IsWebPage(nullptr), 0);
}

TEST_F(HTTPPage, IsNoneForAgents_WhenItIsTakenForTheFile) {
  ScriptedServer server({Answers("0", Page("text/html"))});
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_AcceptWebPages(*download, 1), 0);
  download->RunToCompletion();
  EXPECT_EQ(VRXClient_IsWebPage(*download), 0);
}

// A record from elsewhere may say so of a transfer that has not begun.
TEST_F(HTTPPage, IsNone_WhenAFileComesAfterAll) {
  ScriptedServer server({Answers("0", Page("text/plain"))});
  auto download = NewDownload(server);
  String_Copy("/web page", static_cast<VRXClient*>(*download)->data.serverFileName);
  EXPECT_EQ(VRXClient_IsWebPage(*download), 0);
  download->RunToCompletion();
  EXPECT_EQ(VRXClient_IsWebPage(*download), 0);
}

TEST_F(HTTPPage, EndsAProbe) {
  ScriptedServer server({Answers("0", Page("text/html"))});
  auto download = NewDownload(server);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(download->Poll(), 0);
  EXPECT_EQ(download->Poll(), 4);
  EXPECT_EQ(download->State(), 13u);
  EXPECT_EQ(download->Reason(), 18u);
}

// An error page of one server says nothing of the bytes that another one sent.
TEST_F(HTTPPage, KeepsTheBytesOnTheDisk_WhenItAnswersARequestForTheRest) {
  ScriptedServer server({AnswersAndStalls("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd"),
                         Answers("4", Page("text/html"))});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Take(),
            Join({ConnectsAgain("Idle: 0, state 1"), {"Content is a web page.", "Idle: 4, state 0"}}));
  EXPECT_EQ(download->Reason(), 18u);
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "abcd");
  EXPECT_EQ(VRXClient_GetSize(*download), 10u);
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 1);
  EXPECT_EQ(entry.isCurrent, 0);
}

TEST_F(HTTPPage, LeavesTheRestToTheNextServer) {
  ScriptedServer first({AnswersAndStalls("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd"),
                        Answers("4", Page("text/html"))});
  ScriptedServer second({Answers(
      "4", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-9/10\r\n\r\nefghij", "/copy.bin")});
  auto download = NewDownload(first);
  Name(second);
  EXPECT_EQ(VRXClient_AddMirrors(*download, URL(second, "/copy.bin").c_str()), 0);
  MoveFirstBytes(download.get());
  EXPECT_EQ(download->Run(), 4);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(HTTPPage, IsAFile_WhenPagesAreAccepted) {
  ScriptedServer server({Answers("0", Page("text/html"))});
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_AcceptWebPages(*download, 1), 0);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({Begins(), {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep}, Ends()}));
  EXPECT_EQ(OutBytes(), "<html>");
}

TEST_F(HTTPPage, IsNoFile_WhenPagesAreAcceptedNoMore) {
  ScriptedServer server({Answers("0", Page("text/html"))});
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_AcceptWebPages(*download, 1), 0);
  EXPECT_EQ(VRXClient_AcceptWebPages(*download, 0), 0);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Reason(), 18u);
}

TEST_F(HTTPPage, ContinuesAPage_WhenPagesAreAccepted) {
  ScriptedServer server({AnswersAndStalls("0",
                                          "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n"
                                          "Content-Length: 10\r\n\r\nabcd"),
                         Answers("4",
                                 "HTTP/1.1 206 Partial Content\r\nContent-Type: text/html\r\n"
                                 "Content-Range: bytes 4-9/10\r\n\r\nefghij")});
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_AcceptWebPages(*download, 1), 0);
  MoveFirstBytes(download.get());
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

}  // namespace
}  // namespace transfer
