// Downloads from their begin to their end: what is said, reported and given, and what lies on the disk.
#include <gtest/gtest.h>

#include <string>

#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

using Download = ConversationTest;

TEST_F(Download, OverFTP) {
  ScriptedServer server({talk::Download("file.txt", "hello")});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/file.txt"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(
      transfer.Messages(),
      Lines({"Trying \"ftp://{A}\"...", "Connected.", "Logging in as \"ftp\"...", "Locating mirror sites...",
             "Not a Netcask server.", "Changing directory...", "Setting transfer mode...",
             "File size is 5 bytes.", "Initiating download...", "Server supports pause/resume.",
             "Downloading...", "Download completed on Sun Sep  9 01:46:40 2001.",
             "Moving file to \"{files}/target\"..."}));
  EXPECT_EQ(transfer.Steps(), Lines({"0: 1", "1: 1", "2: 1", "3: 0", "4: 0", "6: 0", "5: 0", "8: 0", "9: 1",
                                     "7: 0", "10: 0", "11: 0", "11: 1", "12: 1", "13: 5"}));
  EXPECT_EQ(transfer.Reason(), 0u);
  EXPECT_EQ(Files().Read("target"), "hello");
  EXPECT_EQ(DataFiles(), Lines());
  server.Finish();
}

TEST_F(Download, OverHTTP) {
  ScriptedServer server({scripted_http::Exchange(
      talk::Request("/dir/file.txt"),
      "HTTP/1.0 206 Partial\r\nContent-Range: bytes 0-4/5\r\nContent-Length: 5\r\n\r\nhello")});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/dir/file.txt"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"http://{A}\"...", "Connected.", "Initiating download...",
                                        "Server supports pause/resume.", "Downloading...",
                                        "Download completed on Sun Sep  9 01:46:40 2001.",
                                        "Moving file to \"{files}/target\"..."}));
  EXPECT_EQ(transfer.Steps(),
            Lines({"0: 1", "1: 1", "2: 1", "3: 0", "7: 0", "10: 1", "11: 0", "11: 1", "12: 1", "13: 5"}));
  EXPECT_EQ(Files().Read("target"), "hello");
  EXPECT_EQ(DataFiles(), Lines());
  server.Finish();
}

TEST_F(Download, ResumesFromItsRecord) {
  ScriptedServer server(
      {ftp::Join({talk::Before("f", 10),
                  talk::AskResume(),
                  ftp::Passive(),
                  ftp::Started("RETR f"),
                  {DataSend("1234"), ExpectLine("ABOR"), SendLine("426 aborted"), ExpectLine("QUIT"),
                   SendLine("221 bye"), ReadToEnd()}}),
       ftp::Join({talk::Before("f", 10), talk::RetrieveFrom("f", 4, "567890"), ftp::Quit()})});
  {
    Conversation transfer(this);
    transfer.Download(URL("ftp", server, "/dir/f"));
    transfer.WorkUntil(TransferState::Data);
    EXPECT_EQ(transfer.Step(), VRXClientResult_None);
    transfer.Save("record");
  }
  Conversation transfer(this);
  transfer.Read("record");
  EXPECT_EQ(transfer.Reports(), Lines({"size 10", "time 4294967295"}));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  // The server is known from the first URL: none has to be selected.
  EXPECT_EQ(transfer.Messages().front(), "Trying \"ftp://{A}\"...");
  EXPECT_EQ(Files().Read("target"), "1234567890");
  server.Finish();
}

TEST_F(Download, FinishesFromItsRecord_WhenTheDataIsComplete) {
  ScriptedServer server({talk::Download("f", "hello")});
  {
    Conversation transfer(this);
    transfer.Download(URL("ftp", server, "/dir/f"));
    transfer.WorkUntil(TransferState::Finish);
    transfer.Save("record");
  }
  server.Finish();
  Conversation transfer(this);
  transfer.Read("record");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Moving file to \"{files}/target\"..."}));
  EXPECT_EQ(transfer.Steps(), Lines({"12: 1", "13: 5"}));
  EXPECT_EQ(Files().Read("target"), "hello");
}

TEST_F(Download, TriesAnotherServer_WhenOneRefusesTheConnection) {
  uint16_t port = 0;
  {
    loopback::Listener gone;
    port = gone.port();
  }
  ScriptedServer server({talk::Download("f", "hello")});
  Conversation transfer(this);
  transfer.Download("ftp://127.0.0.1:" + std::to_string(port) + "/dir/f");
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), URL("ftp", server, "/dir/f").c_str()), Error_None);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  const Lines messages = transfer.Messages();
  EXPECT_EQ(Lines(messages.begin() + 1, messages.begin() + 5),
            Lines({"Connection failed.", "Connection denied by server.", "Selecting server...",
                   "Trying \"ftp://{A}\"..."}));
  server.Finish();
}

}  // namespace
