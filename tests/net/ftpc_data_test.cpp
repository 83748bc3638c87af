// Data connections in passive and in active mode: whole transfers, the caller's own, and refusals.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "net/ftpc_internal.h"
#include "tests/net/ftpc_fixture.h"
#include "tests/support/socket_probe.h"
#include "tests/support/test_stream.h"

using namespace script;

namespace {

// ---- the two modes ---------------------------------------------------------------------------------------

TEST_F(FTPcData, RetrievesInPassiveMode) {
  ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("RETR /a b"), ftp::SendsFile("hello")})});
  ftp::Client client(server.port());
  TestStream local;
  uint32_t count = 0;
  EXPECT_EQ(FTPc_Retrieve(client, "/a b", local.stream(), &count, &client.reply), Error_None);
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
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), Error_None);
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
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), Error_None);
  EXPECT_EQ(count, 3000000u);
  EXPECT_TRUE(local.written() == file);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, LeavesTheBytesToTheCaller) {
  ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("RETR /a"), ftp::SendsFile("hello")})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  ASSERT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_None);
  EXPECT_EQ(client.reply.code, 150);
  EXPECT_EQ(FTPc_GetFlags(client), 16u);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(Stream_FindType(data, StreamType_Sock), data);
  EXPECT_TRUE(reinterpret_cast<Sock*>(data)->nonBlocking.load());
  EXPECT_EQ(ReadAll(data), "hello");
  EXPECT_EQ(Stream_Delete(data), Error_None);
  ErrorCode status = Error_Block;
  while (status == Error_Block) status = FTPc_EndTransfer(client, &client.reply);
  EXPECT_EQ(status, Error_None);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

// Only the control connection asks for a small buffer: one on a data connection would hold every transfer to
// one such window a round trip, and any size at all switches off the system's own tuning.
TEST_F(FTPcData, LeavesTheReceiveBufferOfDataConnectionsToTheSystem) {
  loopback::Listener listener;
  const loopback::Connection untouched = loopback::Connect(listener.port());
  const int usual = socket_probe::ReceiveBufferOf(static_cast<uint32_t>(untouched.native()));
  for (const bool passive : {true, false}) {
    ScriptedServer server({AfterLogin({passive ? ftp::Passive() : ftp::Active(),
                                       passive ? ftp::Started("RETR /a") : ftp::StartedActive("RETR /a"),
                                       {DataStall()}})});
    ftp::Client client(server.port(), passive ? ftp::kPassive : ftp::kActive);
    FTPc* connection = client;
    EXPECT_EQ(socket_probe::ReceiveBufferOf(Sock_GetDescriptor(connection->socket)),
              socket_probe::ReceiveBufferAfterAsking(1024));
    Stream* data = nullptr;
    ASSERT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_None);
    EXPECT_EQ(socket_probe::ReceiveBufferOf(Sock_GetDescriptor(reinterpret_cast<Sock*>(data))), usual);
    Stream_Delete(data);
    FTPc_Delete(client.Release());
    server.Finish();
  }
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
    EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, &count, &client.reply), Error_None);
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
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, nullptr, &client.reply), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
  EXPECT_TRUE(server.DataReceived(0) == file);
}

TEST_F(FTPcData, EndsAnUpload_WhenTheServerRepliesBeforeItCloses) {
  ScriptedServer server({AfterLogin({ftp::Passive(),
                                     ftp::Started("STOR /a"),
                                     {DataReadToEnd(), SendLine("226 done"), Wait(4000), DataClose()}})});
  ftp::Client client(server.port());
  TestStream local("hello");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, nullptr, &client.reply), Error_None);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3500));
  FTPc_Delete(client.Release());
  server.Finish();
}

// Its reply is waited for once, from then on.
TEST_F(FTPcData, EndsAnUpload_WhenTheServerClosesAndDoesNotReply) {
  ScriptedServer server({ftp::Join({ftp::Login(),
                                    ftp::Passive(),
                                    ftp::Started("STOR /a"),
                                    {Wait(300), DataReadToEnd(), DataClose(), Stall()}})});
  ftp::Client client(server.port());
  iSock_SetWaitMilliseconds(3000);
  TestStream local("hello");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, nullptr, &client.reply), Error_Timeout);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5500));
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
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, &count, &client.reply), Error_Invalid);
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
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, &count, &client.reply), Error_Timeout);
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
  for (const Row& row : {Row{3, Error_None, "hel"}, Row{5, Error_None, "hello"}, Row{0, Error_None, ""}}) {
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
  EXPECT_EQ(FTPc_StoreUnique(client, "a", local.stream(), kAll, nullptr, &client.reply), Error_None);
  Stream* data = nullptr;
  ASSERT_EQ(FTPc_StartStoreUnique(client, "b", &data, &client.reply), Error_None);
  EXPECT_EQ(Stream_Write(data, 3, "abc"), 3u);
  Sock_Shutdown(reinterpret_cast<Sock*>(data), 1);
  EXPECT_EQ(ReadAll(data), "");
  Stream_Delete(data);
  ErrorCode status = Error_Block;
  while (status == Error_Block) status = FTPc_EndTransfer(client, &client.reply);
  EXPECT_EQ(status, Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "helloabc");
}

// The server is not waited for: an upload that failed is not drained, and what the server says of the
// connection that was cut is not the reason.
TEST_F(FTPcData, GivesTheFailureOfTheLocalStream_WhateverTheServerSaysThen) {
  struct Row {
    ErrorCode readStatus;
    uint32_t limit;
    ErrorCode result;
  };
  for (const Row& row : {Row{Error_Fail, kAll, Error_Fail}, Row{Error_Retry, kAll, Error_Retry},
                         Row{Error_Ended, 4, Error_Ended}}) {
    for (const char* reply : {"226 done", "426 cut"}) {
      ScriptedServer server({AfterLogin({ftp::Passive(),
                                         ftp::Started("STOR /a"),
                                         {DataStall(), SendLine(reply)},
                                         ftp::Exchange("DELE /b", "250 ok")})});
      ftp::Client client(server.port());
      TestStream local("hel");
      local.Gives(row.readStatus);
      uint32_t count = 0;
      EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), row.limit, &count, &client.reply), row.result);
      EXPECT_EQ(count, 3u);
      EXPECT_STREQ(client.reply.text, reply + 4);
      EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_None);
      FTPc_Delete(client.Release());
      server.Finish();
    }
  }
}

// Draining would first wait for the server to take what it no longer gets.
TEST_F(FTPcData, DoesNotDrainAnUploadThatFailed) {
  iSock_SetWaitMilliseconds(1000);
  ScriptedServer server(
      {ftp::Join({ftp::Login(), ftp::Passive(), ftp::Started("STOR /a"), {DataStall(), Stall()}})});
  ftp::Client client(server.port());
  TestStream local("hel");
  local.Gives(Error_Fail);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, nullptr, &client.reply), Error_Fail);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1800));
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
  FTPc_Delete(client.Release());
  server.Stop();
}

TEST_F(FTPcData, EndsAtOnceWithTheFailureOfTheLocalStream) {
  // The server replies, is silent, or goes away.
  for (const Script& end : {Script{DataStall(), SendLine("426 cut")}, Script{DataStall(), Wait(1000)},
                            Script{DataStall(), Close()}}) {
    iSock_SetWaitMilliseconds(500);
    ScriptedServer server(
        {ftp::Join({ftp::Login(), ftp::Passive(), ftp::Started("RETR /a"), {DataSend("hello")}, end})});
    ftp::Client client(server.port());
    TestStream local;
    local.Takes(2).TakesNoMore(Error_Exceed);
    uint32_t count = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), Error_Exceed);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(local.writeSizes().size(), 2u);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(FTPc_GetFlags(client), 0u);
    FTPc_Delete(client.Release());
    server.Stop();
  }
}

TEST_F(FTPcData, WaitsAtMostTwoSecondsForTheFinalReply_WhenTheLocalStreamFailed) {
  ScriptedServer server({ftp::Join(
      {ftp::Login(), ftp::Passive(), ftp::Started("RETR /a"), {DataSend("hello"), DataStall(), Stall()}})});
  ftp::Client client(server.port());
  TestStream local;
  local.Takes(2).TakesNoMore(Error_Exceed);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), Error_Exceed);
  const auto taken = std::chrono::steady_clock::now() - start;
  EXPECT_GT(taken, std::chrono::milliseconds(1900));
  EXPECT_LT(taken, std::chrono::milliseconds(5000));
  FTPc_Delete(client.Release());
  server.Stop();
}

TEST_F(FTPcData, GivesExceed_WhenTheLocalStreamIsFull) {
  ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("RETR /a"), ftp::SendsFile("hello")})});
  ftp::Client client(server.port());
  TestStream local;
  local.Takes(2).Takes(0, Error_Ended);
  uint32_t count = 0;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), Error_Exceed);
  EXPECT_EQ(count, 2u);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- refusals --------------------------------------------------------------------------------------------

TEST_F(FTPcData, GivesInvalid_WhenTheSetUpIsRefused) {
  for (const char* reply : {"502 no", "150 odd", "227 no bracket", "227 (1,2,3,4,256,1)", "227 (1,2,3,4,5)",
                            "227 (127,0,0,1,0,0)"}) {
    ScriptedServer server({AfterLogin({ftp::Exchange("PASV", reply)})});
    ftp::Client client(server.port());
    Stream* data = reinterpret_cast<Stream*>(1);
    EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_Invalid) << reply;
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(FTPc_GetFlags(client), 0u);
    FTPc_Delete(client.Release());
    server.Finish();
  }
  ScriptedServer server({AfterLogin({{ExpectPort(), SendLine("500 no")}})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_Invalid);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, CountsNoBytes_WhenATransferDoesNotStart) {
  const Script refused = ftp::Exchange("PASV", "502 no");
  ScriptedServer server({AfterLogin({refused, refused, refused, refused})});
  ftp::Client client(server.port());
  TestStream local("hello");
  uint32_t offset = 3;
  uint32_t count = 7;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), Error_Invalid);
  EXPECT_EQ(count, 0u);
  count = 7;
  EXPECT_EQ(FTPc_RetrieveRestart(client, "/a", &offset, local.stream(), &count, &client.reply),
            Error_Invalid);
  EXPECT_EQ(count, 0u);
  count = 7;
  EXPECT_EQ(FTPc_Store(client, "/a", local.stream(), kAll, &count, &client.reply), Error_Invalid);
  EXPECT_EQ(count, 0u);
  count = 7;
  EXPECT_EQ(FTPc_StoreRestart(client, "/a", &offset, local.stream(), kAll, &count, &client.reply),
            Error_Invalid);
  EXPECT_EQ(count, 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, MapsCode550ByTheMode) {
  struct Row {
    const char* reply;
    ErrorCode passive;
    ErrorCode active;
  };
  for (const Row& row : {Row{"550 no such", Error_NotFound, -5}, Row{"450 busy", Error_Invalid, -4},
                         Row{"553 name", Error_Invalid, -4}, Row{"425 no data", Error_Invalid, -4},
                         Row{"226 odd", Error_Invalid, -4}, Row{"421 closing", Error_Invalid, -4},
                         Row{"530 log in", Error_Invalid, -4}}) {
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
      EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_None);
      FTPc_Delete(client.Release());
      server.Finish();
    }
  }
}

// Many whole replies in one piece.
std::string ReplyFlood() {
  std::string flood;
  for (int i = 0; i < 1000; ++i) flood += "150 go\r\n";
  return flood;
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
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_NoAccess);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(client.reply.code, 425);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, TakesTheReplyOfAPassiveConnectionThatFailed_AlsoWhenItComesLater) {
  ScriptedServer server({AfterLogin({{ExpectLine("PASV"), SendLine(PassiveAtUnusedPort())},
                                     {ExpectLine("RETR /a"), Wait(300), SendLine("425 can't")},
                                     ftp::Exchange("DELE /b", "250 ok")})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_NoAccess);
  EXPECT_EQ(client.reply.code, 425);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_None);
  EXPECT_EQ(client.reply.code, 250);
  FTPc_Delete(client.Release());
  server.Finish();
}

// A reply that comes later still would be taken for the next command's.
TEST_F(FTPcData, EndsTheConnection_WhenAPassiveConnectionFailsAndTheServerIsSilent) {
  iSock_SetWaitMilliseconds(300);
  ScriptedServer server({AfterLogin({{ExpectLine("PASV"), SendLine(PassiveAtUnusedPort())},
                                     {ExpectLine("RETR /a"), Wait(600), SendLine("425 too late")}})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_NoAccess);
  ExpectEmpty(client.reply);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_EQ(FTPc_EndTransfer(client, &client.reply), Error_Ended);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
  ExpectEmpty(client.reply);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
  EXPECT_EQ(FTPc_Close(client.Release(), &client.reply), Error_Ended);
  server.Finish();
}

TEST_F(FTPcData, WaitsAtMostTwoSecondsForTheReplyOfAPassiveConnectionThatFailed) {
  ScriptedServer server(
      {AfterLogin({{ExpectLine("PASV"), SendLine(PassiveAtUnusedPort())}, {ExpectLine("RETR /a")}})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_NoAccess);
  const auto taken = std::chrono::steady_clock::now() - start;
  EXPECT_GT(taken, std::chrono::milliseconds(1900));
  EXPECT_LT(taken, std::chrono::milliseconds(5000));
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
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_NoAccess);
  EXPECT_EQ(client.reply.code, 425);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, EndsTheConnection_WhenOnlyThePreliminaryReplyComes) {
  iSock_SetWaitMilliseconds(300);
  ScriptedServer server(
      {AfterLogin({{ExpectLine("PASV"), Send(PassiveAtUnusedPort() + "\r\n150 1\r\n150 2\r\n")},
                   {ExpectLine("RETR /a")}})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_NoAccess);
  EXPECT_STREQ(client.reply.text, "2");
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, EndsTheConnection_WhenPreliminaryRepliesComeWithoutEnd) {
  iSock_SetWaitMilliseconds(300);
  ScriptedServer server(
      {ftp::Join({ftp::Login(),
                  {ExpectLine("PASV"), SendLine(PassiveAtUnusedPort()), ExpectLine("RETR /a"),
                   Do([](ScriptSession& session) {
                     const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
                     const std::string flood = ReplyFlood();
                     while (std::chrono::steady_clock::now() < end && session.control().Send(flood)) {
                     }
                   })}})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_NoAccess);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
  FTPc_Delete(client.Release());
  server.Stop();
}

// Ten seconds of a reply, where one is waited for.
TEST_F(FTPcData, WaitsNoLongerForAReplyThatComesSlowly) {
  const std::string slow = "426 " + std::string(196, 'x') + "\r\n";
  const Script refused = {ExpectLine("PASV"), SendLine(PassiveAtUnusedPort()), ExpectLine("RETR /a"),
                          SendSlowly(slow, 50)};
  const Script started =
      ftp::Join({ftp::Passive(), ftp::Started("RETR /a"), {DataSend("hello"), SendSlowly(slow, 50)}});
  for (const Script& script : {refused, started}) {
    iSock_SetWaitMilliseconds(1000);
    ScriptedServer server({ftp::Join({ftp::Login(), script})});
    ftp::Client client(server.port());
    TestStream local;
    local.Takes(2).TakesNoMore(Error_Exceed);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), Error_None);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(6));
    EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
    FTPc_Delete(client.Release());
    server.Stop();
  }
}

// A line that is not a reply says nothing about the transfer, whose own reply is still to come.
TEST_F(FTPcData, EndsTheConnection_WhenTheServerThatShouldConnectSendsNoReply) {
  ScriptedServer server(
      {AfterLogin({ftp::Active(), {ExpectLine("RETR /a"), SendLine("150 go"), SendLine("?")}})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_Invalid);
  ExpectEmpty(client.reply);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, EndsAtOnce_WhenTheServerSaysThatItCannotConnect) {
  struct Row {
    const char* reply;
    ErrorCode status;
  };
  for (const Row& row : {Row{"425 can't", Error_Invalid}, Row{"550 gone", Error_NoAccess},
                         Row{"150 odd\r\n426 cut", Error_Invalid}, Row{"226 odd", Error_Invalid}}) {
    ScriptedServer server(
        {AfterLogin({ftp::Active(),
                     {ExpectLine("RETR /a"), SendLine("150 go"), Wait(100), SendLine(row.reply)},
                     ftp::Exchange("DELE /b", "250 ok")})});
    ftp::Client client(server.port(), ftp::kActive);
    Stream* data = nullptr;
    iSock_SetWaitMilliseconds(3000);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), row.status) << row.reply;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_None);
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcData, WaitsForAServerThatConnectsLate) {
  ScriptedServer server({AfterLogin({ftp::Active(),
                                     {ExpectLine("RETR /a"), SendLine("150 go"), Wait(300), DataConnect()},
                                     ftp::SendsFile("hello")})});
  ftp::Client client(server.port(), ftp::kActive);
  TestStream local;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), Error_None);
  EXPECT_EQ(local.written(), "hello");
  FTPc_Delete(client.Release());
  server.Finish();
}

// Takes PORT and RETR, replies as to a transfer that is over, and connects 75 milliseconds later.
Script RepliesBeforeItConnects() {
  return {Do([](ScriptSession& session) {
            std::string command;
            unsigned high = 0;
            unsigned low = 0;
            ASSERT_TRUE(session.ReadUntil("\r\n", &command));
            ASSERT_EQ(sscanf(command.c_str(), "PORT 127,0,0,1,%u,%u", &high, &low), 2);
            session.Send("200 ok\r\n");
            session.Expect("RETR /a\r\n");
            session.Send("150 go\r\n226 done\r\n");
            session.Wait(75);
            loopback::Connection data = loopback::Connect(static_cast<uint16_t>(high * 256 + low), 1000);
            if (data.IsOpen()) data.Send("hello");
          }),
          ReadToEnd()};
}

// The control connection is looked at every 50 milliseconds; what it says then counts only when no connection
// comes in the next 50. On a busy machine this one may come later, so there are several tries.
TEST_F(FTPcData, TakesAConnectionThatComesSoonAfterTheFinalReply) {
  bool isTaken = false;
  for (int attempt = 0; attempt < 10 && !isTaken; ++attempt) {
    ScriptedServer server({ftp::Join({ftp::Login(), RepliesBeforeItConnects()})});
    ftp::Client client(server.port(), ftp::kActive);
    Stream* data = nullptr;
    isTaken = FTPc_StartRetrieve(client, "/a", &data, &client.reply) == Error_None;
    if (isTaken) {
      EXPECT_EQ(client.reply.code, 150);
      EXPECT_EQ(ReadAll(data), "hello");
      Stream_Delete(data);
      EXPECT_EQ(FTPc_EndTransfer(client, &client.reply), Error_None);
      EXPECT_EQ(client.reply.code, 226);
    }
    FTPc_Delete(client.Release());
    server.Finish();
  }
  EXPECT_TRUE(isTaken);
}

TEST_F(FTPcData, EndsAtOnce_WhenTheServerGoesAwayInsteadOfConnecting) {
  ScriptedServer server({ftp::Join(
      {ftp::Login(), ftp::Active(), {ExpectLine("RETR /a"), SendLine("150 go"), Wait(100), Close()}})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_Ended);
  ExpectEmpty(client.reply);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, GivesTimeout_WhenTheServerNeverConnects) {
  iSock_SetWaitMilliseconds(300);
  ScriptedServer server({AfterLogin(
      {ftp::Active(), {ExpectLine("RETR /a"), SendLine("150 go"), Wait(1200), SendLine("425 late")}})});
  ftp::Client client(server.port(), ftp::kActive);
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_Timeout);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
  FTPc_Delete(client.Release());
  server.Stop();
}

TEST_F(FTPcData, FreesTheActivePortAfterEveryTransfer) {
  // A free port, which both ends leave at once.
  FTPc_SetPortRange(loopback::UnusedPort(), 1);
  ScriptedServer server({AfterLogin({ftp::Active(),
                                     ftp::Exchange("RETR /a", "550 no such"),
                                     ftp::Active(),
                                     {ExpectLine("RETR /b"), SendLine("150 go"), SendLine("425 can't")},
                                     ftp::Active(),
                                     ftp::StartedActive("RETR /c"),
                                     ftp::SendsFile("hello")})});
  ftp::Client client(server.port(), ftp::kActive);
  TestStream local;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), Error_NoAccess);
  EXPECT_EQ(FTPc_Retrieve(client, "/b", local.stream(), nullptr, &client.reply), Error_Invalid);
  EXPECT_EQ(FTPc_Retrieve(client, "/c", local.stream(), nullptr, &client.reply), Error_None);
  EXPECT_EQ(local.written(), "hello");
  FTPc_Delete(client.Release());
  server.Finish();
}

}  // namespace
