// Data connections: retrieving, storing, restarting and ending, in passive and in active mode.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>

#include "net/ftpc_internal.h"
#include "qz/file.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/fault_proxy.h"
#include "tests/support/scripted_ftp.h"
#include "tests/support/test_stream.h"

using namespace script;

namespace {

constexpr uint32_t kAll = 0xFFFFFFFFu;

class FTPcData : public ftp::LibraryTest {};

Script AfterLogin(std::initializer_list<Script> parts, const Script& end = ftp::Gone()) {
  return ftp::Join({ftp::Login(), ftp::Join(parts), end});
}

// Reads a data connection to its end.
std::string ReadAll(Stream* stream) {
  std::string all;
  char buffer[4096];
  while (const uint32_t length = Stream_Read(stream, sizeof buffer, buffer)) all.append(buffer, length);
  EXPECT_EQ(Stream_Error(stream), 4);
  return all;
}

std::string Numbers(size_t count) {
  std::string text;
  for (size_t i = 0; text.size() < count; ++i) text += std::to_string(i) + "\n";
  return text.substr(0, count);
}

// ---- the two modes ---------------------------------------------------------------------------------------

TEST_F(FTPcData, RetrievesInPassiveMode) {
  ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("RETR /a b"), ftp::SendsFile("hello")})});
  ftp::Client client(server.port());
  TestStream local;
  uint32_t count = 0;
  EXPECT_EQ(FTPc_Retrieve(client, "/a b", local.stream(), &count, &client.reply), 0);
  EXPECT_EQ(local.written(), "hello");
  EXPECT_EQ(count, 5u);
  EXPECT_EQ(client.reply.code, 226);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, RetrievesInActiveMode) {
  ScriptedServer server(
      {AfterLogin({ftp::Active(), ftp::StartedActive("RETR /a"), ftp::SendsFile("hello")})});
  ftp::Client client(server.port(), ftp::kActive);
  TestStream local;
  uint32_t count = 0;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), 0);
  EXPECT_EQ(local.written(), "hello");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, RetrievesABigFileWhole) {
  const std::string file = Numbers(3000000);
  ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("RETR /a"), ftp::SendsFile(file)})});
  ftp::Client client(server.port());
  TestStream local;
  uint32_t count = 0;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), 0);
  EXPECT_EQ(count, 3000000u);
  EXPECT_TRUE(local.written() == file);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, LeavesTheBytesToTheCaller) {
  ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("RETR /a"), ftp::SendsFile("hello")})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  ASSERT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), 0);
  EXPECT_EQ(client.reply.code, 150);
  EXPECT_EQ(FTPc_GetFlags(client), 16u);
  ASSERT_NE(data, nullptr);
  EXPECT_NE(Stream_FindType(data, StreamType_Sock), nullptr);
  EXPECT_EQ(ReadAll(data), "hello");
  EXPECT_EQ(Stream_Delete(data), 0);
  ErrorCode status = Error_Block;
  while (status == Error_Block) status = FTPc_EndTransfer(client, &client.reply);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, StoresInBothModes) {
  const std::string file = Numbers(400000);
  for (const bool passive : {true, false}) {
    ScriptedServer server(
        {AfterLogin({passive ? ftp::Passive() : ftp::Active(),
                     passive ? ftp::Started("STOR /a") : ftp::StartedActive("STOR /a"), ftp::TakesFile()})});
    ftp::Client client(server.port(), passive ? ftp::kPassive : ftp::kActive);
    TestStream local(file);
    uint32_t count = 0;
    EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, &count, &client.reply), 0);
    EXPECT_EQ(count, 400000u);
    FTPc_Delete(client.Release());
    server.Finish();
    EXPECT_TRUE(server.DataReceived(0) == file);
  }
}

TEST_F(FTPcData, LosesNoByteOfAnUpload_WhenTheServerReadsSlowly) {
  const std::string file = Numbers(400000);
  ScriptedServer server(
      {AfterLogin({ftp::Passive(), ftp::Started("STOR /a"), {Wait(500)}, ftp::TakesFile()})});
  ftp::Client client(server.port());
  TestStream local(file);
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, nullptr, &client.reply), 0);
  FTPc_Delete(client.Release());
  server.Finish();
  EXPECT_TRUE(server.DataReceived(0) == file);
}

TEST_F(FTPcData, EndsAnUpload_WhenTheServerRepliesBeforeItCloses) {
  ScriptedServer server({AfterLogin({ftp::Passive(),
                                     ftp::Started("STOR /a"),
                                     {DataReadToEnd(), SendLine("226 done"), Wait(300), DataClose()}})});
  ftp::Client client(server.port());
  TestStream local("hello");
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, nullptr, &client.reply), 0);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, EndsAnUploadAtOnce_WhenTheServerBreaksItOff) {
  const std::string file = Numbers(20000000);
  ScriptedServer server({AfterLogin(
      {ftp::Passive(), ftp::Started("STOR /a"), {Wait(100), DataReset(), SendLine("552 full")}})});
  ftp::Client client(server.port());
  TestStream local(file);
  uint32_t count = 0;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, &count, &client.reply), -4);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
  EXPECT_STREQ(client.reply.text, "full");
  EXPECT_LT(count, 20000000u);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, GivesTimeout_WhenAnUploadIsNeverAnswered) {
  iSock_SetWaitMilliseconds(300);
  ScriptedServer server(
      {ftp::Join({ftp::Login(), ftp::Passive(), ftp::Started("STOR /a"), {DataStall(), Stall()}})});
  ftp::Client client(server.port());
  TestStream local("hello");
  uint32_t count = 0;
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, &count, &client.reply), 8);
  EXPECT_EQ(count, 5u);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, StoresAtMostTheLimit) {
  struct Row {
    uint32_t limit;
    ErrorCode status;
    const char* sent;
  };
  for (const Row& row : {Row{3, 0, "hel"}, Row{5, 0, "hello"}, Row{6, 4, "hello"}, Row{0, 0, ""}}) {
    ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("STOR /a"), ftp::TakesFile()})});
    ftp::Client client(server.port());
    TestStream local("hello");
    uint32_t count = 0;
    EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), row.limit, &count, &client.reply), row.status);
    EXPECT_EQ(count, strlen(row.sent));
    FTPc_Delete(client.Release());
    server.Finish();
    EXPECT_EQ(server.DataReceived(0), row.sent);
  }
}

TEST_F(FTPcData, StoresUnderAUniqueName) {
  ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("STOU a"), ftp::TakesFile(), ftp::Passive(),
                                     ftp::Started("STOU b"), ftp::TakesFile()})});
  ftp::Client client(server.port());
  TestStream local("hello");
  EXPECT_EQ(FTPc_StoreUnique(client, "a", local.stream(), kAll, nullptr, &client.reply), 0);
  Stream* data = nullptr;
  ASSERT_EQ(FTPc_StartStoreUnique(client, "b", &data, &client.reply), 0);
  EXPECT_EQ(Stream_Write(data, 3, "abc"), 3u);
  Sock_Shutdown(reinterpret_cast<Sock*>(data), 1);
  EXPECT_EQ(ReadAll(data), "");
  Stream_Delete(data);
  ErrorCode status = Error_Block;
  while (status == Error_Block) status = FTPc_EndTransfer(client, &client.reply);
  EXPECT_EQ(status, 0);
  FTPc_Delete(client.Release());
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "helloabc");
}

TEST_F(FTPcData, ReadsFromAStreamThatFails) {
  ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("STOR /a"), ftp::TakesFile()})});
  ftp::Client client(server.port());
  TestStream local("hel");
  local.Gives(Error_Fail);
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, nullptr, &client.reply), -1);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, GivesExceed_WhenTheLocalStreamIsFull) {
  ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("RETR /a"), ftp::SendsFile("hello")})});
  ftp::Client client(server.port());
  TestStream local;
  local.Takes(2).Takes(0, Error_Ended);
  uint32_t count = 0;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), 5);
  EXPECT_EQ(count, 2u);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- restart ---------------------------------------------------------------------------------------------

TEST_F(FTPcData, SendsRestBetweenTheSetUpAndTheCommand) {
  ScriptedServer server(
      {AfterLogin({ftp::Passive(), ftp::Exchange("REST 4294967295", "350 ok"), ftp::Started("RETR /a"),
                   ftp::SendsFile("lo"), ftp::Passive(), ftp::Exchange("REST 3", "350 ok"),
                   ftp::Started("STOR /a"), ftp::TakesFile()})});
  ftp::Client client(server.port());
  TestStream local;
  uint32_t offset = 4294967295u;
  uint32_t count = 0;
  EXPECT_EQ(FTPc_RetrieveRestart(client, "/a", &offset, local.stream(), &count, &client.reply), 0);
  EXPECT_EQ(offset, 4294967295u);
  EXPECT_EQ(local.written(), "lo");
  TestStream source("lo");
  offset = 3;
  EXPECT_EQ(FTPc_StoreRestart(client, "/a", &offset, source.stream(), kAll, &count, &client.reply), 0);
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
  ASSERT_EQ(FTPc_StartRetrieveRestart(client, "/a", &offset, &data, &client.reply), 0);
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
    ASSERT_EQ(FTPc_StartRetrieveRestart(client, "/a", &offset, &data, &client.reply), 0) << refusal;
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
    ASSERT_EQ(FTPc_StartStoreRestart(client, "/a", &offset, &data, &client.reply), 0) << row.reply;
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

TEST_F(FTPcData, GivesTheFailure_WhenRestIsNotAnswered) {
  ScriptedServer server({ftp::Join({ftp::Login(), ftp::Passive(), {ExpectLine("REST 3"), Close()}})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  uint32_t offset = 3;
  EXPECT_EQ(FTPc_StartRetrieveRestart(client, "/a", &offset, &data, &client.reply), 4);
  EXPECT_EQ(offset, 3u);
  EXPECT_EQ(data, nullptr);
  FTPc_Delete(client.Release());
  server.Finish();
}

// A local file with five bytes, at its end; removed when the test is over.
struct LocalFile {
  LocalFile() {
    char folder[1024];
    EXPECT_EQ(File_GetSysDir(SysDir_Temp, folder), 0);
    EXPECT_EQ(File_UniquifyName(folder, "ftpcData", name), 0);
    EXPECT_EQ(File_Open(name, 3, &file), 0);
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

// ---- refusals --------------------------------------------------------------------------------------------

TEST_F(FTPcData, GivesInvalid_WhenTheSetUpIsRefused) {
  for (const char* reply : {"502 no", "150 odd", "227 no bracket", "227 (1,2,3,4,256,1)", "227 (1,2,3,4,5)",
                            "227 (127,0,0,1,0,0)"}) {
    ScriptedServer server({AfterLogin({ftp::Exchange("PASV", reply)})});
    ftp::Client client(server.port());
    Stream* data = reinterpret_cast<Stream*>(1);
    EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), -4) << reply;
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(FTPc_GetFlags(client), 0u);
    FTPc_Delete(client.Release());
    server.Finish();
  }
  ScriptedServer server({AfterLogin({{ExpectPort(), SendLine("500 no")}})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), -4);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, MapsCode550ByTheMode) {
  struct Row {
    const char* reply;
    ErrorCode passive;
    ErrorCode active;
  };
  for (const Row& row : {Row{"550 no such", -3, -5}, Row{"450 busy", -4, -4}, Row{"553 name", -4, -4},
                         Row{"425 no data", -4, -4}, Row{"226 odd", -4, -4}, Row{"421 closing", -4, -4},
                         Row{"530 log in", -4, -4}}) {
    for (const bool passive : {true, false}) {
      const Script refused =
          passive ? Script{ExpectLine("RETR /a"), DataAccept(), SendLine(row.reply), DataStall(), DataClose()}
                  : Script{ExpectLine("RETR /a"), SendLine(row.reply)};
      ScriptedServer server({AfterLogin(
          {passive ? ftp::Passive() : ftp::Active(), refused, ftp::Exchange("DELE /b", "250 ok")})});
      ftp::Client client(server.port(), passive ? ftp::kPassive : ftp::kActive);
      Stream* data = nullptr;
      EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), passive ? row.passive : row.active)
          << row.reply;
      EXPECT_EQ(data, nullptr);
      EXPECT_STREQ(client.reply.text, row.reply + 4);
      EXPECT_EQ(FTPc_GetFlags(client), 0u);
      EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), 0);
      FTPc_Delete(client.Release());
      server.Finish();
    }
  }
}

// A reply to PASV that names a port at which nobody listens.
std::string PassiveAtUnusedPort() {
  const uint16_t unused = loopback::UnusedPort();
  return "227 (127,0,0,1," + std::to_string(unused / 256) + "," + std::to_string(unused % 256) + ")";
}

TEST_F(FTPcData, TakesTheReplyOfAPassiveConnectionThatFailed) {
  // The server says so before the client finds out; the next command gets its own reply.
  ScriptedServer server({AfterLogin({{ExpectLine("PASV"), Send(PassiveAtUnusedPort() + "\r\n425 can't\r\n")},
                                     {ExpectLine("RETR /a")},
                                     ftp::Exchange("DELE /b", "250 ok")})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), -5);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(client.reply.code, 425);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), 0);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, TakesBothRepliesOfAPassiveConnectionThatFailed) {
  // The server said that it starts before it saw that nobody connects.
  ScriptedServer server({AfterLogin(
      {{ExpectLine("PASV"), Send(PassiveAtUnusedPort() + "\r\n150-go\r\n150 now\r\n425 can't\r\n")},
       {ExpectLine("RETR /a")},
       ftp::Exchange("DELE /b", "250 ok")})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), -5);
  EXPECT_EQ(client.reply.code, 425);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), 0);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, TakesNoMoreThanTwoReplies_WhenAPassiveConnectionFails) {
  ScriptedServer server(
      {AfterLogin({{ExpectLine("PASV"), Send(PassiveAtUnusedPort() + "\r\n150 1\r\n150 2\r\n250 3\r\n")},
                   {ExpectLine("RETR /a"), ExpectLine("DELE /b")}})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), -5);
  EXPECT_STREQ(client.reply.text, "2");
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), 0);
  EXPECT_STREQ(client.reply.text, "3");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, GivesTimeout_WhenTheServerNeverConnects) {
  iSock_SetWaitMilliseconds(300);
  ScriptedServer server({AfterLogin({ftp::Active(),
                                     {ExpectLine("RETR /a"), SendLine("150 go"), SendLine("425 can't")},
                                     ftp::Exchange("DELE /b", "250 ok")})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), 8);
  EXPECT_EQ(client.reply.code, 425);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), 0);
  FTPc_Delete(client.Release());
  server.Finish();
}

// Windows calls it access denied, for which there is no status of its own.
TEST_F(FTPcData, GivesExistsOrFail_WhenTheActivePortIsTaken) {
  loopback::Listener other;
  FTPc_SetPortRange(other.port(), 1);
  ScriptedServer server({AfterLogin({ftp::Active()})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  const ErrorCode status = FTPc_StartRetrieve(client, "/a", &data, &client.reply);
  EXPECT_TRUE(status == 3 || status == -1) << status;
  EXPECT_EQ(data, nullptr);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- active ports ----------------------------------------------------------------------------------------

// The ports that so many transfers announce.
std::vector<unsigned> AnnouncedPorts(size_t count) {
  Script script = ftp::Greeting();
  for (size_t i = 0; i < count; ++i) {
    script.push_back(ReadUntil("\r\n"));
    script.push_back(SendLine("500 no"));
  }
  script.push_back(ExpectEnd());
  ScriptedServer server({script});
  {
    ftp::Client client(server.port(), ftp::kActive, false);
    for (size_t i = 0; i < count; ++i) EXPECT_EQ(iFTPc_SetUpData(client, &client.reply), -4);
  }
  server.Finish();
  std::vector<unsigned> ports;
  const std::string received = server.Received(0);
  for (size_t at = 0; at < received.size(); at = received.find("\r\n", at) + 2) {
    unsigned high = 0;
    unsigned low = 0;
    EXPECT_EQ(sscanf(received.c_str() + at, "PORT 127,0,0,1,%u,%u", &high, &low), 2);
    ports.push_back(high * 256 + low);
  }
  return ports;
}

using Ports = std::vector<unsigned>;

TEST_F(FTPcData, RotatesTheActivePorts) {
  // The counter lies outside the new range at first, whatever ran before.
  FTPc_SetPortRange(60000, 1);
  EXPECT_EQ(AnnouncedPorts(2), (Ports{60000, 60000}));
  FTPc_SetPortRange(3000, 1000);
  const Ports ports = AnnouncedPorts(1001);
  ASSERT_EQ(ports.size(), 1001u);
  for (unsigned i = 0; i < 1000; ++i) ASSERT_EQ(ports[i], 3000 + i);
  EXPECT_EQ(ports[1000], 3000u);
}

TEST_F(FTPcData, KeepsActivePortsInsideThePossible) {
  FTPc_SetPortRange(65534, 10);
  EXPECT_EQ(AnnouncedPorts(4), (Ports{65534, 65535, 65534, 65535}));
  FTPc_SetPortRange(65535, 4294967295u);
  EXPECT_EQ(AnnouncedPorts(2), (Ports{65535, 65535}));
  FTPc_SetPortRange(0, 10);
  FTPc_SetPortRange(65536, 10);
  FTPc_SetPortRange(4294967295u, 10);
  EXPECT_EQ(AnnouncedPorts(1), (Ports{65535}));
  FTPc_SetPortRange(5000, 0);
  EXPECT_EQ(AnnouncedPorts(2), (Ports{5000, 5000}));
}

TEST_F(FTPcData, GoesOnFromItsCounter_WhenThatIsInsideANewRange) {
  FTPc_SetPortRange(60000, 1);
  EXPECT_EQ(AnnouncedPorts(1), (Ports{60000}));
  FTPc_SetPortRange(3000, 1000);
  EXPECT_EQ(AnnouncedPorts(5), (Ports{3000, 3001, 3002, 3003, 3004}));
  // The counter is at 3005.
  FTPc_SetPortRange(3003, 4);
  EXPECT_EQ(AnnouncedPorts(4), (Ports{3005, 3006, 3003, 3004}));
  // The first of a range, the last of it, and one behind it.
  FTPc_SetPortRange(3005, 2);
  EXPECT_EQ(AnnouncedPorts(1), (Ports{3005}));
  FTPc_SetPortRange(3000, 7);
  EXPECT_EQ(AnnouncedPorts(2), (Ports{3006, 3000}));
  FTPc_SetPortRange(2990, 11);
  EXPECT_EQ(AnnouncedPorts(1), (Ports{2990}));
  // Below a range.
  FTPc_SetPortRange(2992, 10);
  EXPECT_EQ(AnnouncedPorts(1), (Ports{2992}));
}

TEST_F(FTPcData, NamesTheServersAddressInPort_AfterPasv) {
  ScriptedServer server({AfterLogin(
      {ftp::Exchange("PASV", "227 (10,1,2,3,4,5)"), ftp::Exchange("PORT 10,1,2,3,4,5", "200 ok")})});
  ftp::Client client(server.port());
  EXPECT_EQ(iFTPc_SetPassive(client, &client.reply), 0);
  FTPc* connection = client;
  EXPECT_EQ(iFTPc_SendPort(connection, connection->localAddress, connection->dataPort, &client.reply), 0);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- the end of a transfer -------------------------------------------------------------------------------

TEST_F(FTPcData, GivesBlock_WhileTheFinalReplyIsNotThere) {
  ScriptedServer server({AfterLogin({ftp::Passive(),
                                     ftp::Started("RETR /a"),
                                     {DataSend("x"), DataClose()},
                                     ftp::Exchange("ABOR", "426 cut"),
                                     {SendLine("226 done")}})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  ASSERT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), 0);
  EXPECT_EQ(ReadAll(data), "x");
  Stream_Delete(data);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(FTPc_EndTransfer(client, &client.reply), 6);
    EXPECT_EQ(FTPc_GetFlags(client), 16u);
  }
  EXPECT_EQ(FTPc_AbortTransfer(client, &client.reply), 0);
  EXPECT_EQ(client.reply.code, 426);
  ErrorCode status = Error_Block;
  while (status == Error_Block) status = FTPc_EndTransfer(client, &client.reply);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, GivesInvalid_WhenTheFinalReplyIsOfAnotherClass) {
  for (const char* reply : {"426 cut", "451 local", "150 again", "550 gone"}) {
    ScriptedServer server({AfterLogin(
        {ftp::Passive(), ftp::Started("RETR /a"), {DataSend("hello"), DataClose(), SendLine(reply)}})});
    ftp::Client client(server.port());
    TestStream local;
    uint32_t count = 0;
    EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), -4) << reply;
    EXPECT_EQ(count, 5u);
    EXPECT_STREQ(client.reply.text, reply + 4);
    EXPECT_EQ(FTPc_GetFlags(client), 0u);
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcData, GivesEnded_WhenTheControlConnectionEndsInstead) {
  ScriptedServer server({ftp::Join({ftp::Login(),
                                    ftp::Passive(),
                                    ftp::Started("RETR /a"),
                                    {DataSend("hello"), DataClose(), Wait(50), Close()}})});
  ftp::Client client(server.port());
  TestStream local;
  uint32_t count = 0;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), 4);
  EXPECT_EQ(count, 5u);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, GivesTimeout_WhenTheFinalReplyNeverComes) {
  iSock_SetWaitMilliseconds(300);
  ScriptedServer server({ftp::Join(
      {ftp::Login(), ftp::Passive(), ftp::Started("RETR /a"), {DataSend("hello"), DataClose(), Stall()}})});
  ftp::Client client(server.port());
  TestStream local;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), 8);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, TakesAFinalReplyThatCameBeforeTheData) {
  ScriptedServer server({AfterLogin({ftp::Passive(),
                                     {ExpectLine("RETR /a"), DataAccept(), Send("150 go\r\n226 done\r\n"),
                                      Wait(100), DataSend("hello"), DataClose()}})});
  ftp::Client client(server.port());
  TestStream local;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), 0);
  EXPECT_EQ(local.written(), "hello");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, GivesTimeout_WhenTheDataStops) {
  iSock_SetWaitMilliseconds(300);
  ScriptedServer server({ftp::Join(
      {ftp::Login(), ftp::Passive(), ftp::Started("RETR /a"), {DataSend("hel"), DataStall(), Stall()}})});
  ftp::Client client(server.port());
  TestStream local;
  uint32_t count = 0;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), 8);
  EXPECT_EQ(count, 3u);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, GivesTheCopysStatus_WhenTheDataIsResetButTheServerSaysDone) {
  ScriptedServer server({AfterLogin({ftp::Passive(),
                                     ftp::Started("RETR /a"),
                                     {DataSend("hel"), Wait(100), DataReset(), SendLine("226 done")}})});
  ftp::Client client(server.port());
  TestStream local;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), 9);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- faults and allocations ------------------------------------------------------------------------------

TEST_F(FTPcData, SeesEveryCutOfTheControlConnection) {
  iSock_SetWaitMilliseconds(150);
  const std::string file = "hello";
  ScriptedServer server({ftp::Patient(file)});
  server.RepeatLast();
  // Whole: the bytes that the server sends over the control connection.
  uint64_t whole = 0;
  for (Fault::Kind kind :
       {Fault::Kind::None, Fault::Kind::CutByFin, Fault::Kind::CutByReset, Fault::Kind::Stall}) {
    const uint64_t end = kind == Fault::Kind::None ? 1 : whole;
    const uint64_t step = kind == Fault::Kind::CutByFin ? 1 : kind == Fault::Kind::CutByReset ? 3 : 9;
    for (uint64_t after = 0; after < end; after += step) {
      FaultProxy proxy(server.port());
      proxy.OnConnection(0, FaultProxy::ToClient, {kind, after, 0, 0});
      FTPc* connection = nullptr;
      Reply reply;
      TestStream local;
      ErrorCode status = FTPc_Open("127.0.0.1", proxy.port(), ftp::kPassive, &connection, &reply);
      if (status == 0) status = FTPc_Login(connection, "u", "p", &reply);
      if (status == 0) status = FTPc_Retrieve(connection, "/a", local.stream(), nullptr, &reply);
      FTPc_Delete(connection);
      if (kind == Fault::Kind::None) {
        ASSERT_EQ(status, 0);
        ASSERT_EQ(local.written(), file);
        whole = proxy.Passed(0, FaultProxy::ToClient);
        ASSERT_GT(whole, 60u);
      } else if (kind == Fault::Kind::Stall) {
        ASSERT_EQ(status, 8) << after;
      } else {
        ASSERT_TRUE(status == 4 || status == 9) << after << " gave " << status;
      }
      proxy.Stop();
    }
  }
  server.Stop();
}

TEST_F(FTPcData, NeverTakesACutFileForAWholeOne) {
  iSock_SetWaitMilliseconds(150);
  const std::string file = Numbers(40);
  ScriptedServer server({ftp::Patient(file)});
  server.RepeatLast();
  for (Fault::Kind kind : {Fault::Kind::CutByReset, Fault::Kind::Stall}) {
    for (uint64_t after = 0; after < file.size(); after += 3) {
      FaultProxy proxy(server.port());
      proxy.FollowPassiveReplies();
      proxy.OnDataConnection(0, FaultProxy::ToClient, {kind, after, 0, 0});
      ftp::Client client(proxy.port());
      TestStream local;
      uint32_t count = 0;
      const ErrorCode status = FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply);
      ASSERT_NE(status, 0) << after;
      ASSERT_LE(count, after);
      ASSERT_EQ(local.written(), file.substr(0, count));
      FTPc_Delete(client.Release());
      proxy.Stop();
    }
  }
  server.Stop();
}

TEST_F(FTPcData, GivesMemory_WhenAnAllocationFails) {
  const std::string file = Numbers(10000);
  ScriptedServer server({ftp::Patient(file)});
  server.RepeatLast();
  for (uint32_t mode : {ftp::kPassive, ftp::kActive}) {
    FTPc_SetPortRange(21000, 500);
    FailEveryAllocation([&] {
      FTPc* connection = nullptr;
      Reply reply;
      TestStream local;
      TestStream source(file);
      ErrorCode status = FTPc_Open("127.0.0.1", server.port(), mode, &connection, &reply);
      if (status == 0) status = FTPc_Login(connection, "u", "p", &reply);
      if (status == 0) status = FTPc_Retrieve(connection, "/a", local.stream(), nullptr, &reply);
      ASSERT_TRUE(status != 0 || local.written() == file);
      if (status == 0) status = FTPc_Store(connection, "/a", source.stream(), kAll, nullptr, &reply);
      ASSERT_TRUE(status == 0 || status == 1) << status;
      FTPc_Delete(connection);
    });
  }
  server.Finish();
}

}  // namespace
