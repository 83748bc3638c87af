// Transfers that start at an offset.
#include <gtest/gtest.h>

#include <string>

#include "qz/file.h"
#include "tests/net/ftpc_fixture.h"
#include "tests/support/test_stream.h"

using namespace script;

namespace {

TEST_F(FTPcData, SendsRestBetweenTheSetUpAndTheCommand) {
  ScriptedServer server(
      {AfterLogin({ftp::Passive(), ftp::Exchange("REST 4294967295", "350 ok"), ftp::Started("RETR /a"),
                   ftp::SendsFile("lo"), ftp::Passive(), ftp::Exchange("REST 3", "350 ok"),
                   ftp::Started("STOR /a"), ftp::TakesFile()})});
  ftp::Client client(server.port());
  TestStream local;
  uint32_t offset = 4294967295u;
  uint32_t count = 0;
  EXPECT_EQ(FTPc_RetrieveRestart(client, "/a", &offset, local.stream(), &count, &client.reply), Error_None);
  EXPECT_EQ(offset, 4294967295u);
  EXPECT_EQ(local.written(), "lo");
  TestStream source("lo");
  offset = 3;
  EXPECT_EQ(FTPc_StoreRestart(client, "/a", &offset, source.stream(), kAll, &count, &client.reply),
            Error_None);
  EXPECT_EQ(offset, 3u);
  FTPc_Delete(client.Release());
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "lo");
}

TEST_F(FTPcData, SendsRestInActiveModeToo) {
  ScriptedServer server({AfterLogin({ftp::Active(), ftp::Exchange("REST 3", "350 ok"),
                                     ftp::StartedActive("RETR /a"), ftp::SendsFile("lo")})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  uint32_t offset = 3;
  ASSERT_EQ(FTPc_StartRetrieveRestart(client, "/a", &offset, &data, &client.reply), Error_None);
  EXPECT_EQ(ReadAll(data), "lo");
  Stream_Delete(data);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, StartsAt0_WhenTheServerCannotRestart) {
  for (const char* refusal : {"502 no", "200 odd", "421 closing"}) {
    ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Exchange("REST 3", refusal),
                                       ftp::Started("RETR /a"), ftp::SendsFile("hello")})});
    ftp::Client client(server.port());
    Stream* data = nullptr;
    uint32_t offset = 3;
    ASSERT_EQ(FTPc_StartRetrieveRestart(client, "/a", &offset, &data, &client.reply), Error_None) << refusal;
    EXPECT_EQ(offset, 0u);
    EXPECT_EQ(ReadAll(data), "hello");
    Stream_Delete(data);
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcData, StoresFromTheOffset_OrFrom0WhenTheServerCannotRestart) {
  struct Row {
    const char* reply;
    uint32_t offset;
  };
  for (const Row& row : {Row{"350 ok", 3}, Row{"502 no", 0}}) {
    ScriptedServer server({AfterLogin(
        {ftp::Passive(), ftp::Exchange("REST 3", row.reply), ftp::Started("STOR /a"), ftp::TakesFile()})});
    ftp::Client client(server.port());
    Stream* data = nullptr;
    uint32_t offset = 3;
    ASSERT_EQ(FTPc_StartStoreRestart(client, "/a", &offset, &data, &client.reply), Error_None) << row.reply;
    EXPECT_EQ(offset, row.offset);
    EXPECT_EQ(FTPc_GetFlags(client), 16u);
    EXPECT_EQ(Stream_Write(data, 3, "abc"), 3u);
    Sock_Shutdown(reinterpret_cast<Sock*>(data), 1);
    EXPECT_EQ(ReadAll(data), "");
    Stream_Delete(data);
    FTPc_Delete(client.Release());
    server.Finish();
    EXPECT_EQ(server.DataReceived(0), "abc");
  }
}

// Sent before, REST would hold for the next transfer.
TEST_F(FTPcData, SendsNothing_WhenTheCommandOfATransferIsTooLong) {
  ScriptedServer server(
      {AfterLogin({ftp::Passive(), ftp::Exchange("REST 3", "350 ok"),
                   ftp::Started("RETR " + std::string(4088, 'x')), ftp::SendsFile("abc")})});
  ftp::Client client(server.port());
  const std::string tooLong(4089, 'x');
  Stream* data = nullptr;
  uint32_t offset = 3;
  EXPECT_EQ(FTPc_StartRetrieve(client, tooLong.c_str(), &data, &client.reply), Error_Exceed);
  EXPECT_EQ(FTPc_StartRetrieveRestart(client, tooLong.c_str(), &offset, &data, &client.reply), Error_Exceed);
  EXPECT_EQ(FTPc_StartStoreRestart(client, tooLong.c_str(), &offset, &data, &client.reply), Error_Exceed);
  EXPECT_EQ(offset, 3u);
  EXPECT_EQ(data, nullptr);
  ASSERT_EQ(FTPc_StartRetrieveRestart(client, std::string(4088, 'x').c_str(), &offset, &data, &client.reply),
            0);
  EXPECT_EQ(ReadAll(data), "abc");
  Stream_Delete(data);
  FTPc_Delete(client.Release());
  server.Finish();
}

// The reply to the command, not to REST, tells what happened.
TEST_F(FTPcData, KeepsTheReply_WhenTheCommandBehindAnOffsetIsAnsweredLikeRest) {
  for (const bool passive : {true, false}) {
    const Script answered =
        passive ? Script{ExpectLine("RETR /a"), DataAccept(), SendLine("350 odd"), DataStall()}
                : Script{ExpectLine("RETR /a"), SendLine("350 odd")};
    ScriptedServer server(
        {AfterLogin({passive ? ftp::Passive() : ftp::Active(), ftp::Exchange("REST 3", "350 ok"), answered,
                     ftp::Exchange("DELE /b", "250 ok")})});
    ftp::Client client(server.port(), passive ? ftp::kPassive : ftp::kActive);
    Stream* data = nullptr;
    uint32_t offset = 3;
    EXPECT_EQ(FTPc_StartRetrieveRestart(client, "/a", &offset, &data, &client.reply), Error_Invalid);
    EXPECT_STREQ(client.reply.text, "odd");
    EXPECT_EQ(offset, 3u);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_None);
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcData, SendsNoOffset_WhenEveryActivePortIsTaken) {
  loopback::Listener other;
  FTPc_SetPortRange(other.port(), 1);
  ScriptedServer server({AfterLogin({})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  uint32_t offset = 3;
  const ErrorCode status = FTPc_StartRetrieveRestart(client, "/a", &offset, &data, &client.reply);
  // Windows reports a port that another program holds as access denied, which has no status of its own.
  EXPECT_TRUE(status == Error_Exists || status == Error_Fail) << status;
  EXPECT_EQ(offset, 3u);
  EXPECT_EQ(data, nullptr);
  FTPc_Delete(client.Release());
  server.Finish();
}

// Sent all the same, the command would ask for the file from its start while the caller counts from an
// offset.
TEST_F(FTPcData, SendsNoCommand_WhenRestIsNotAnsweredInTime) {
  iSock_SetWaitMilliseconds(200);
  for (const bool passive : {true, false}) {
    ScriptedServer server(
        {AfterLogin({passive ? ftp::Passive() : ftp::Active(), {ExpectLine("REST 3"), Wait(600)}})});
    ftp::Client client(server.port(), passive ? ftp::kPassive : ftp::kActive);
    Stream* data = nullptr;
    uint32_t offset = 3;
    EXPECT_EQ(FTPc_StartRetrieveRestart(client, "/a", &offset, &data, &client.reply), Error_Timeout);
    EXPECT_EQ(offset, 3u);
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcData, GivesTheFailure_WhenRestIsNotAnswered) {
  ScriptedServer server({ftp::Join({ftp::Login(), ftp::Passive(), {ExpectLine("REST 3"), Close()}})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  uint32_t offset = 3;
  EXPECT_EQ(FTPc_StartRetrieveRestart(client, "/a", &offset, &data, &client.reply), Error_Ended);
  EXPECT_EQ(offset, 3u);
  EXPECT_EQ(data, nullptr);
  FTPc_Delete(client.Release());
  server.Finish();
}

// A local file with five bytes, at its end; removed when the test is over.
struct LocalFile {
  LocalFile() {
    char folder[1024];
    EXPECT_EQ(File_GetSysDir(SysDir_Temp, folder), Error_None);
    EXPECT_EQ(File_UniquifyName(folder, "ftpcData", name), Error_None);
    EXPECT_EQ(File_Open(name, 3, &file), Error_None);
    EXPECT_EQ(File_Write(file, 5, "12345"), 5u);
    File_SetTemporary(file, 1);
  }
  ~LocalFile() { File_Close(file); }
  std::string Content() {
    char buffer[100];
    File_Seek(file, 0, 0);
    return std::string(buffer, File_Read(file, sizeof buffer, buffer));
  }
  char name[1024];
  File* file = nullptr;
};

TEST_F(FTPcData, GoesOnWhereTheLocalFileStands) {
  ScriptedServer server({AfterLogin(
      {ftp::Passive(), ftp::Exchange("REST 5", "350 ok"), ftp::Started("RETR /a"), ftp::SendsFile("67")})});
  ftp::Client client(server.port());
  LocalFile local;
  uint32_t offset = 5;
  EXPECT_EQ(FTPc_RetrieveRestart(client, "/a", &offset, File_GetStream(local.file), nullptr, &client.reply),
            0);
  EXPECT_EQ(local.Content(), "1234567");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, SetsTheLocalFileBack_WhenTheServerCannotRestart) {
  for (uint32_t wanted : {5u, 0u}) {
    ScriptedServer server(
        {AfterLogin({ftp::Passive(), ftp::Exchange("REST " + std::to_string(wanted), "502 no"),
                     ftp::Started("RETR /a"), ftp::SendsFile("abcdefg"), ftp::Passive(),
                     ftp::Exchange("REST 7", "502 no"), ftp::Started("STOR /a"), ftp::TakesFile()})});
    ftp::Client client(server.port());
    LocalFile local;
    uint32_t offset = wanted;
    EXPECT_EQ(FTPc_RetrieveRestart(client, "/a", &offset, File_GetStream(local.file), nullptr, &client.reply),
              0);
    EXPECT_EQ(local.Content(), "abcdefg");
    offset = 7;
    EXPECT_EQ(
        FTPc_StoreRestart(client, "/a", &offset, File_GetStream(local.file), kAll, nullptr, &client.reply),
        0);
    EXPECT_EQ(offset, 0u);
    FTPc_Delete(client.Release());
    server.Finish();
    EXPECT_EQ(server.DataReceived(0), "abcdefg");
  }
}

}  // namespace
