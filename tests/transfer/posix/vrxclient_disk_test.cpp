// A disk that is full from the first byte on.
#include <gtest/gtest.h>

#include <string>

#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

using TransferDisk = ConversationTest;

// Where every write finds the disk full.
constexpr const char* kFull = "/dev/full";

TEST_F(TransferDisk, Fails_WhenItsDataFileCannotBeLookedAt) {
  for (const TransferState state : {TransferState::PrepareDataFile, TransferState::OpenDataFile}) {
    const std::filesystem::path share = Files().SystemName("share");
    const std::string part = Files().Name("share/target.part");
    Files().MakeDirectory("share");
    ScriptedServer server({{Stall()}});
    Conversation transfer(this);
    transfer.Download(URL("http", server, "/f"), "share/target");
    EXPECT_EQ(VRXClient_SetDataFilePath(transfer.get(), part.c_str()), Error_None);
    transfer.WorkUntil(state);
    transfer.Messages();
    std::filesystem::remove_all(share);
    std::filesystem::create_directory_symlink("share", share);
    EXPECT_EQ(transfer.Step(), VRXClientResult_Failed);
    EXPECT_EQ(transfer.Messages(), Lines({"Can't access cache file."}));
    EXPECT_EQ(transfer.Reason(), VRXClientReason_DataFile);
    EXPECT_EQ(transfer.Servers().front().front(), 'h') << "it is not the server's failure";
    std::filesystem::remove(share);
    server.Stop();
  }
}

// A directory that leads to itself: nobody can tell what lies in it.
TEST_F(TransferDisk, KeepsTheNameOfADataFileThatCannotBeLookedAt) {
  const std::filesystem::path share = Files().SystemName("share");
  const std::filesystem::path away = Files().SystemName("away");
  const std::string part = Files().Name("share/target.part");
  Files().MakeDirectory("share");
  Files().Write("share/target.part", "hello");
  Conversation transfer(this);
  transfer.Download("http://a.invalid/f", "share/target");
  EXPECT_EQ(VRXClient_SetDataFilePath(transfer.get(), part.c_str()), Error_None);
  transfer.get()->data.size = 5;
  transfer.get()->data.state = TransferState::Finish;
  transfer.Save("record");
  transfer.Close();
  std::filesystem::rename(share, away);
  std::filesystem::create_directory_symlink("share", share);
  transfer.Read("record");
  EXPECT_EQ(transfer.get()->data.dataPath, part);
  EXPECT_FALSE(transfer.get()->isChanged);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.State(), TransferState::Finish);
  std::filesystem::remove(share);
  std::filesystem::rename(away, share);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("share/target"), "hello");
}

TEST_F(TransferDisk, EndsADownloadOverFTP) {
  ScriptedServer server({ftp::Join({talk::Before("f", 5),
                                    talk::AskResume(),
                                    ftp::Passive(),
                                    ftp::Started("RETR f"),
                                    {DataSend("hello"), ExpectLine("ABOR"), SendLine("426 no"),
                                     ExpectLine("QUIT"), SendLine("221 bye"), ReadToEnd()}})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  iVRXClient_SetDataPath(transfer.get(), kFull);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  const Lines messages = transfer.Messages();
  EXPECT_EQ(Lines(messages.end() - 3, messages.end()),
            Lines({"Downloading...", "Can't write to file. The disk may be full.", "Download stopped."}));
  EXPECT_EQ(transfer.Reason(), 20u);
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  EXPECT_EQ(transfer.Servers(), Lines({"ftp://{A}/dir/f"}));
  server.Finish();
}

TEST_F(TransferDisk, EndsADownloadOverHTTP) {
  ScriptedServer server({scripted_http::Exchange(talk::Request("/f"), scripted_http::Okay("hello"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  iVRXClient_SetDataPath(transfer.get(), kFull);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages().back(), "Can't write to file. The disk may be full.");
  EXPECT_EQ(transfer.Reason(), 20u);
  server.Finish();
}

}  // namespace
