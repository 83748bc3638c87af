// Conversations with FTP servers.
#include <gtest/gtest.h>

#include <string>

#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

using TransferFTP = ConversationTest;

// What every anonymous download says first.
Lines Begin(Lines rest) {
  Lines lines = {"Trying \"ftp://{A}\"...",  "Connected.",
                 "Logging in as \"ftp\"...", "Locating mirror sites...",
                 "Not a Netcask server.",    "Changing directory..."};
  lines.insert(lines.end(), rest.begin(), rest.end());
  return lines;
}

TEST_F(TransferFTP, ResumesBehindTheDataFile) {
  ScriptedServer server(
      {ftp::Join({talk::Before("f", 10), talk::RetrieveFrom("f", 4, "567890"), ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.Hold("1234", 10);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(),
            Begin({"Setting transfer mode...", "File size is 10 bytes.", "Initiating download...",
                   "Server supports pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(Files().Read("target"), "1234567890");
  server.Finish();
}

TEST_F(TransferFTP, BeginsAnew_WhenTheServerCannotResume) {
  ScriptedServer server({ftp::Join({talk::Before("f", 10), ftp::Passive(), ftp::Exchange("REST 4", "502 no"),
                                    ftp::Started("RETR f"), ftp::SendsFile("abcdefghij"), ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.Hold("1234", 10);
  transfer.get()->isMirrorServer = true;
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(),
            Begin({"Setting transfer mode...", "File size is 10 bytes.", "Initiating download...",
                   "Server does not support pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(Files().Read("target"), "abcdefghij");
  EXPECT_EQ(VRXClient_IsVRXServer(transfer.get()), 0);
  server.Finish();
}

TEST_F(TransferFTP, CutsADataFileThatIsOfAnotherSize) {
  ScriptedServer server(
      {ftp::Join({talk::Before("f", 5), talk::AskResume(), talk::Retrieve("f", "hello"), ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.Hold("1234", 10);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(),
            Begin({"Setting transfer mode...", "File size is 5 bytes.", "Initiating download...",
                   "Server supports pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(Files().Read("target"), "hello");
  server.Finish();
}

// The next attempt must not take the bytes for those of the file that the server has now.
TEST_F(TransferFTP, KeepsTheKnownSize_WhenADataFileOfAnotherSizeCannotBeCut) {
  ScriptedServer server({ftp::Join({talk::Before("f", 5), ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.Hold("1234", 10);
  transfer.WorkUntil(TransferState::FileSize);
  char path[1024];
  ASSERT_EQ(VRXClient_GetDataFilePath(transfer.get(), path), Error_None);
  ASSERT_EQ(File_Unlink(path), Error_None);
  ASSERT_EQ(Directory_New(path), Error_None);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages().back(), "Can't access cache file.");
  EXPECT_EQ(transfer.Reason(), 3u);
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 10u);
  server.Finish();
}

TEST_F(TransferFTP, TransfersAFileOfUnknownSize) {
  ScriptedServer server(
      {ftp::Join({talk::LogIn("/dir/f"), talk::Enter("/dir", "f"), talk::TypeAndSize("f", "500 what?"),
                  talk::AskResume(), talk::Retrieve("f", "hello"), ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(),
            Begin({"Setting transfer mode...", "File size is unknown.", "Initiating download...",
                   "Server supports pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 0xFFFFFFFFu);
  EXPECT_EQ(Files().Read("target"), "hello");
  server.Finish();
}

TEST_F(TransferFTP, RefusesADirectory) {
  ScriptedServer server({ftp::Join({talk::LogIn("/dir/f"), ftp::Exchange("CWD /dir", "250 ok"),
                                    ftp::Exchange("CWD f", "250 ok"), ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Begin({"This item is a directory, not a file."}));
  EXPECT_EQ(transfer.Steps(), Lines({"0: 1", "1: 1", "2: 1", "3: 0", "4: 0", "6: 0", "5: 4"}));
  EXPECT_EQ(transfer.Reason(), 12u);
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  char url[1024];
  EXPECT_EQ(VRXClient_GetSourceURL(transfer.get(), url), Error_None);
  EXPECT_EQ(Tidy(url), "ftp://{A}/dir/f/");
  EXPECT_EQ(transfer.Servers(), Lines({"ftp://{A}/dir/f"}));
  server.Finish();
}

TEST_F(TransferFTP, AsksAgain_WhenARestartIsRefusedWith425) {
  ScriptedServer server({ftp::Join({talk::Before("f", 10),
                                    ftp::Passive(),
                                    ftp::Exchange("REST 4", "350 ok"),
                                    {ExpectLine("RETR f"), DataAccept(), SendLine("425 no data connection")},
                                    talk::RetrieveFrom("f", 4, "567890"),
                                    ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.Hold("1234", 10);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Begin({"Setting transfer mode...", "File size is 10 bytes.",
                                        "Initiating download...", "Attempting reverse connection mode...",
                                        "Server supports pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(Files().Read("target"), "1234567890");
  server.Finish();
}

TEST_F(TransferFTP, LearnsMirrors) {
  ScriptedServer server({ftp::Join({talk::LogIn("/dir/f", "200 ftp://m.invalid/f;ftp://n.invalid/f"),
                                    talk::Enter("/dir", "f"), talk::TypeAndSize("f", "213 5"),
                                    talk::AskResume(), talk::Retrieve("f", "hello"), ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Trying \"ftp://{A}\"...", "Connected.", "Logging in as \"ftp\"...",
                   "Locating mirror sites...", "Mirror sites located. ", "Changing directory...",
                   "Setting transfer mode...", "File size is 5 bytes.", "Initiating download...",
                   "Server supports pause/resume.", "Downloading...", kDone, kMoved}));
  EXPECT_EQ(transfer.Servers(), Lines({"ftp://{A}/dir/f", "ftp://m.invalid/f", "ftp://n.invalid/f"}));
  EXPECT_EQ(VRXClient_IsVRXServer(transfer.get()), 1);
  server.Finish();
}

TEST_F(TransferFTP, TakesTheNextServer_WhenOneRefusesTheLogin) {
  ScriptedServer first(
      {{SendLine("220 ready"), ExpectLine("USER ftp"), SendLine("530 no"), ExpectLine("USER anonymous"),
        SendLine("530 no"), ExpectLine("USER public"), SendLine("530 no"), ExpectLine("USER guest"),
        SendLine("530 no"), ExpectLine("QUIT"), SendLine("221 bye"), ExpectEnd()}});
  ScriptedServer second({talk::Download("f", "hello")});
  Conversation transfer(this);
  transfer.Download(URL("ftp", first, "/dir/f"));
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), URL("ftp", second, "/dir/f").c_str()), Error_None);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"ftp://{A}\"...",
                                        "Connected.",
                                        "Logging in as \"ftp\"...",
                                        "Can't log in as \"ftp\"",
                                        "Logging in as \"anonymous\"...",
                                        "Can't log in as \"anonymous\"",
                                        "Logging in as \"public\"...",
                                        "Can't log in as \"public\"",
                                        "Logging in as \"guest\"...",
                                        "Can't log in as \"guest\"",
                                        "Selecting server...",
                                        "Trying \"ftp://{B}\"...",
                                        "Connected.",
                                        "Logging in as \"ftp\"...",
                                        "Locating mirror sites...",
                                        "Not a Netcask server.",
                                        "Changing directory...",
                                        "Setting transfer mode...",
                                        "File size is 5 bytes.",
                                        "Initiating download...",
                                        "Server supports pause/resume.",
                                        "Downloading...",
                                        kDone,
                                        kMoved}));
  EXPECT_EQ(transfer.Servers(), Lines({"!ftp://{A}/dir/f", "ftp://{B}/dir/f"}));
  first.Finish();
  second.Finish();
}

TEST_F(TransferFTP, TriesTheListAgain_WhenNoServerIsLeft) {
  ScriptedServer server({{SendLine("421 busy"), ReadToEnd()}, talk::Download("f", "hello")});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Trying \"ftp://{A}\"...", "Connection failed.", "Connection denied by server.",
                   "Selecting server...", "No server or mirror found."}));
  EXPECT_EQ(transfer.Reason(), 8u);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  EXPECT_EQ(transfer.Messages(), Lines({"Reestablishing lost connection."}));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages().front(), "Selecting server...");
  EXPECT_EQ(Files().Read("target"), "hello");
  server.Finish();
}

TEST_F(TransferFTP, StopsInTheDataPhase_AndResumes) {
  ScriptedServer server(
      {ftp::Join({talk::Before("f", 10),
                  talk::AskResume(),
                  ftp::Passive(),
                  ftp::Started("RETR f"),
                  {DataSend("1234"), ExpectLine("ABOR"), SendLine("426 aborted"), ExpectLine("QUIT"),
                   SendLine("221 bye"), ReadToEnd()}}),
       ftp::Join({talk::Before("f", 10), talk::RetrieveFrom("f", 4, "567890"), ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  transfer.Messages();
  EXPECT_EQ(VRXClient_Stop(transfer.get()), 0);
  EXPECT_EQ(transfer.Messages(), Lines({"Download stopped."}));
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "1234567890");
  server.Finish();
}

TEST_F(TransferFTP, TimesOut_WhenTheServerSaysNothing) {
  iSock_SetWaitMilliseconds(200);
  ScriptedServer server({{SendLine("220 ready"), ExpectLine("USER ftp"), Stall()}});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Postponed);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"ftp://{A}\"...", "Connected.", "Logging in as \"ftp\"...",
                                        "Connection timed out. Download postponed."}));
  EXPECT_EQ(transfer.Reason(), 11u);
  EXPECT_EQ(transfer.Servers(), Lines({"!ftp://{A}/dir/f"}));
  server.Stop();
}

TEST_F(TransferFTP, ProbesUpToTheSize) {
  ScriptedServer server(
      {ftp::Join({talk::Before("f", 5), talk::AskResume(), talk::Retrieve("f", "hello"), ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  EXPECT_EQ(transfer.Probe(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Begin({"Setting transfer mode...", "File size is 5 bytes."}));
  EXPECT_EQ(transfer.State(), TransferState::FileSize);
  EXPECT_EQ(transfer.ProbeStep(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines());
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Initiating download...", "Server supports pause/resume.",
                                        "Downloading...", kDone, kMoved}));
  server.Finish();
}

}  // namespace
