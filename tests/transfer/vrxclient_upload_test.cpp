// Uploads: the copy that they are sent from, and conversations with FTP servers.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

using Upload = ConversationTest;

// Up to the data of an upload of NAME into /in; the URL's own name is not asked for.
Script Before(const std::string& name, const std::string& sizeReply) {
  return ftp::Join(
      {talk::LogIn("/in/x"), ftp::Exchange("CWD /in", "250 ok"), talk::TypeAndSize(name, sizeReply)});
}

TEST_F(Upload, SendsACopyOfTheFile) {
  ScriptedServer server(
      {ftp::Join({Before("f", "550 none"), talk::AskResume(), talk::Store("f"), ftp::Quit()})});
  Files().Write("f", "hello");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(
      transfer.Messages(),
      Lines({"Copying upload file...", "Upload file has not been altered.", "Trying \"ftpu://{A}\"...",
             "Connected.", "Logging in as \"ftp\"...", "Locating mirror sites...", "Not a Netcask server.",
             "Changing directory...", "Setting transfer mode...", "File size is unknown.",
             "Initiating download...", "Server supports pause/resume.", "Downloading...", kDone}));
  EXPECT_EQ(transfer.Steps(), Lines({"0: 1", "1: 1", "1: 0", "0: 0", "1: 0", "2: 0", "3: 0", "4: 0", "6: 0",
                                     "5: 0", "8: 0", "9: 0", "7: 0", "10: 0", "11: 1", "12: 1", "13: 5"}));
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "hello");
  EXPECT_EQ(Files().Read("f"), "hello");
  EXPECT_EQ(DataFiles(), Lines());
}

TEST_F(Upload, MakesOneCopy_WhenItsRecordIsWrittenAfterEveryStep) {
  ScriptedServer server(
      {ftp::Join({Before("f", "550 none"), talk::AskResume(), talk::Store("f"), ftp::Quit()})});
  const std::string bytes(10000, 'x');
  Files().Write("f", bytes);
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  int32_t result = VRXClientResult_None;
  for (int i = 0; i < 1000 && result <= VRXClientResult_Changed; ++i) {
    result = transfer.Step();
    transfer.Save("record");
  }
  EXPECT_EQ(result, VRXClientResult_Completed);
  const Lines messages = transfer.Messages();
  EXPECT_EQ(std::count(messages.begin(), messages.end(), "Copying upload file..."), 1);
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), bytes);
  EXPECT_EQ(DataFiles(), Lines());
}

TEST_F(Upload, ResumesBehindWhatTheServerHolds) {
  ScriptedServer server({ftp::Join({Before("f", "213 4"), ftp::Passive(), ftp::Exchange("REST 4", "350 ok"),
                                    ftp::Started("STOR f"), ftp::TakesFile(), ftp::Quit()})});
  Files().Write("f", "1234567890");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "567890");
}

// What an earlier connection was told is no other file: the server has got more since.
TEST_F(Upload, ResumesBehindMoreThanTheServerHeldBefore) {
  ScriptedServer server({ftp::Join({Before("f", "213 6"), ftp::Passive(), ftp::Exchange("REST 6", "350 ok"),
                                    ftp::Started("STOR f"), ftp::TakesFile(), ftp::Quit()})});
  Files().Write("f", "1234567890");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  transfer.get()->data.size = 4;
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "7890");
}

TEST_F(Upload, SendsEverything_WhenTheServerCannotResume) {
  ScriptedServer server({ftp::Join({Before("f", "213 4"), ftp::Passive(), ftp::Exchange("REST 4", "502 no"),
                                    ftp::Started("STOR f"), ftp::TakesFile(), ftp::Quit()})});
  Files().Write("f", "1234567890");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "1234567890");
}

TEST_F(Upload, EndsWithoutItsSource) {
  Files().Write("f", "hello");
  Conversation transfer(this);
  transfer.Upload("f", "ftpu://a.invalid/in/x");
  std::filesystem::remove(Files().SystemName("f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines({"Can not find file to upload \"{files}/f\"."}));
  EXPECT_EQ(transfer.Reason(), 6u);
}

TEST_F(Upload, SendsTheCachedCopy_WhenItsSourceIsGone) {
  ScriptedServer server(
      {ftp::Join({Before("f", "550 none"), talk::AskResume(), talk::Store("f"), ftp::Quit()})});
  Files().Write("f", "hello");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  transfer.WorkUntil(TransferState::Connect);
  EXPECT_EQ(VRXClient_Stop(transfer.get()), Error_None);
  std::filesystem::remove(Files().SystemName("f"));
  transfer.Messages();
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages().front(), "Upload file has been moved or deleted, using cached copy.");
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "hello");
}

TEST_F(Upload, CopiesAgain_WhenItsSourceIsAltered) {
  ScriptedServer server(
      {ftp::Join({Before("f", "550 none"), talk::AskResume(), talk::Store("f"), ftp::Quit()})});
  Files().Write("f", "hello");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  transfer.WorkUntil(TransferState::Connect);
  EXPECT_EQ(VRXClient_Stop(transfer.get()), Error_None);
  Files().Write("f", "goodbye");
  transfer.Messages();
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  const Lines messages = transfer.Messages();
  EXPECT_EQ(messages[0], "Copying upload file...");
  EXPECT_EQ(messages[1], "Upload file has not been altered.");
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "goodbye");
}

TEST_F(Upload, RefusesAnEmptySource) {
  ScriptedServer server({ftp::Join({Before("f", "550 none"), ftp::Quit()})});
  Files().Write("f", "");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Reason(), 7u);
  server.Finish();
}

TEST_F(Upload, StoresAnEmptyFile_WhenEmptyFilesAreAccepted) {
  // What the server had under the name is replaced.
  for (const std::string size : {"550 none", "213 7"}) {
    SCOPED_TRACE(size);
    ScriptedServer server({ftp::Join({Before("f", size), talk::AskResume(), talk::Store("f"), ftp::Quit()})});
    Files().Write("f", "");
    Conversation transfer(this);
    transfer.Upload("f", URL("ftpu", server, "/in/x"));
    EXPECT_EQ(VRXClient_AcceptEmptyFiles(transfer.get(), 1), Error_None);
    EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
    EXPECT_EQ(transfer.Reason(), 0u);
    const Lines messages = transfer.Messages();
    ASSERT_GE(messages.size(), 2u);
    EXPECT_EQ(messages[0], "Copying upload file...");
    EXPECT_EQ(messages[1], "Upload file has not been altered.");
    EXPECT_EQ(messages.back(), kDone);
    EXPECT_EQ(transfer.Steps(),
              Lines({"0: 1", "1: 1", "1: 0", "0: 0", "1: 0", "2: 0", "3: 0", "4: 0", "6: 0", "5: 0", "8: 0",
                     size == "213 7" ? "9: 1" : "9: 0", "7: 0", "10: 0", "11: 1", "12: 1", "13: 5"}));
    server.Finish();
    EXPECT_EQ(server.DataReceived(0), "");
    EXPECT_EQ(DataFiles(), Lines());
  }
}

TEST_F(Upload, SendsAnEmptyFileAgain_WhenTheConnectionIsLost) {
  // A data connection that nobody has accepted would be reset, and tell another end than this one.
  const Script lost = ftp::Join({Before("f", "550 none"),
                                 talk::AskResume(),
                                 ftp::Passive(),
                                 {ExpectLine("STOR f"), DataAccept(), Close()}});
  ScriptedServer server(
      {lost, ftp::Join({Before("f", "213 0"), talk::AskResume(), talk::Store("f"), ftp::Quit()})});
  Files().Write("f", "");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  EXPECT_EQ(VRXClient_AcceptEmptyFiles(transfer.get(), 1), Error_None);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
  EXPECT_EQ(DataFiles(), Lines());
}

// The copy is found again, not made a second time beside a first one that stays for ever.
TEST_F(Upload, StoresAnEmptyFile_AfterItsRecordWasRead) {
  ScriptedServer server(
      {ftp::Join({Before("f", "550 none"), talk::AskResume(), talk::Store("f"), ftp::Quit()})});
  Files().Write("f", "");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  EXPECT_EQ(VRXClient_AcceptEmptyFiles(transfer.get(), 1), Error_None);
  transfer.WorkUntil(TransferState::Connect);
  EXPECT_EQ(DataFiles().size(), 1u);
  transfer.Save("record");
  transfer.Close();
  transfer.Read("record");
  EXPECT_EQ(VRXClient_AcceptEmptyFiles(transfer.get(), 1), Error_None);
  transfer.Messages();
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
  EXPECT_EQ(transfer.Messages()[0], "Upload file has not been altered.");
  EXPECT_EQ(DataFiles(), Lines());
}

TEST_F(Upload, IsNotSentAgain_WhenAnEmptyFileWasStored) {
  ScriptedServer server(
      {ftp::Join({Before("f", "550 none"), talk::AskResume(), talk::Store("f"), ftp::Quit()})});
  Files().Write("f", "");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  EXPECT_EQ(VRXClient_AcceptEmptyFiles(transfer.get(), 1), Error_None);
  transfer.WorkUntil(TransferState::Finish);
  transfer.Save("record");
  transfer.Close();
  server.Finish();
  transfer.Read("record");
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  EXPECT_EQ(VRXClient_AcceptEmptyFiles(transfer.get(), 1), Error_None);
  EXPECT_EQ(transfer.State(), TransferState::Finish);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(DataFiles(), Lines());
}

TEST_F(Upload, RefusesAnEmptyFile_WhenEmptyFilesAreNoLongerAccepted) {
  ScriptedServer server({ftp::Join({Before("f", "550 none"), ftp::Quit()})});
  Files().Write("f", "");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  EXPECT_EQ(VRXClient_AcceptEmptyFiles(transfer.get(), 1), Error_None);
  EXPECT_EQ(VRXClient_AcceptEmptyFiles(transfer.get(), 0), Error_None);
  EXPECT_EQ(VRXClient_AcceptEmptyFiles(nullptr, 1), Error_Invalid);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Reason(), 7u);
  server.Finish();
}

TEST_F(Upload, SendsAFileLargerThanItsBuffer) {
  std::string bytes;
  for (int i = 0; bytes.size() < 300000; ++i) bytes += std::to_string(i) + "\n";
  ScriptedServer server(
      {ftp::Join({Before("f", "550 none"), talk::AskResume(), talk::Store("f"), ftp::Quit()})});
  Files().Write("f", bytes);
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), bytes);
}

TEST_F(Upload, IsPostponed_WhenTheServerRefusesTheBytesAtTheEnd) {
  ScriptedServer server({ftp::Join({Before("f", "550 none"),
                                    talk::AskResume(),
                                    ftp::Passive(),
                                    ftp::Started("STOR f"),
                                    {DataReadToEnd(), DataClose(), SendLine("552 quota")},
                                    ftp::Quit()})});
  Files().Write("f", "hello");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Postponed);
  EXPECT_EQ(transfer.Messages().back(), "Downloading...");
  VRXClientLastReply reply;
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  EXPECT_EQ(reply.code, 552);
  server.Finish();
}

TEST_F(Upload, IsRefusedOverHTTP) {
  Files().Write("f", "hello");
  Conversation transfer(this);
  transfer.Upload("f", "ftpu://a.invalid/in/x");
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), "http://b.invalid/x"), Error_None);
  transfer.get()->data.servers.first->isFailed = true;
  ASSERT_EQ(iVRXClient_SetServer(transfer.get(), nullptr), Error_None);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  const Lines messages = transfer.Messages();
  EXPECT_EQ(Lines(messages.end() - 4, messages.end()),
            Lines({"Trying \"http://b.invalid:80\"...", "Unsupported protocol: \"http\"",
                   "Selecting server...", "No server or mirror found."}));
}

TEST_F(Upload, FailsWhenItsSourceShrinksWhileItIsCopied) {
  Files().Write("f", std::string(10000, 'x'));
  Conversation transfer(this);
  transfer.Upload("f", "ftpu://a.invalid/in/x");
  transfer.WorkUntil(TransferState::PrepareDataFile);
  EXPECT_EQ(transfer.Step(), VRXClientResult_Changed);
  Files().Write("f", std::string(5000, 'x'));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines({"Copying upload file...", "Can't access cache file."}));
  EXPECT_EQ(transfer.Reason(), 3u);
  EXPECT_EQ(transfer.Servers(), Lines({"ftpu://a.invalid/in/x"}));
  EXPECT_EQ(DataFiles(), Lines());
}

TEST_F(Upload, NeverRemovesAFileThatIsNotItsCopy) {
  Files().Write("f", "hello");
  Files().Write("victim", "precious");
  for (const char* name : {"victim", "f"}) {
    const std::string path = Files().Name(name);
    Conversation transfer(this);
    transfer.Upload("f", "ftpu://a.invalid/in/x");
    iVRXClient_SetDataPath(transfer.get(), path.c_str());
    transfer.WorkUntil(TransferState::Connect);
    EXPECT_NE(transfer.get()->data.dataPath, path);
    EXPECT_EQ(transfer.get()->dataFileSize, 5u);
    EXPECT_EQ(Files().Read("victim"), "precious");
    EXPECT_EQ(Files().Read("f"), "hello");
  }
}

}  // namespace
