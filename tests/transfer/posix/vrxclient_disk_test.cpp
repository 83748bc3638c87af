// A disk that is full from the first byte on.
#include <gtest/gtest.h>

#include <string>

#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

using TransferDisk = ConversationTest;

// Where every write finds the disk full.
constexpr const char* kFull = "/dev/full";

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
