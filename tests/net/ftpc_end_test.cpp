// The end of a transfer, and connections that are cut, stalled or out of memory.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "tests/net/ftpc_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/fault_proxy.h"
#include "tests/support/test_stream.h"

using namespace script;

namespace {

// ---- the end of a transfer -------------------------------------------------------------------------------

TEST_F(FTPcData, GivesBlock_WhileTheFinalReplyIsNotThere) {
  ScriptedServer server({AfterLogin({ftp::Passive(),
                                     ftp::Started("RETR /a"),
                                     {DataSend("x"), DataClose()},
                                     ftp::Exchange("ABOR", "426 cut"),
                                     {SendLine("226 done")}})});
  ftp::Client client(server.port());
  Stream* data = nullptr;
  ASSERT_EQ(FTPc_StartRetrieve(client, "/a", &data, &client.reply), Error_None);
  EXPECT_EQ(ReadAll(data), "x");
  Stream_Delete(data);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(FTPc_EndTransfer(client, &client.reply), Error_Block);
    EXPECT_EQ(FTPc_GetFlags(client), 16u);
  }
  EXPECT_EQ(FTPc_AbortTransfer(client, &client.reply), Error_None);
  EXPECT_EQ(client.reply.code, 426);
  ErrorCode status = Error_Block;
  while (status == Error_Block) status = FTPc_EndTransfer(client, &client.reply);
  EXPECT_EQ(status, Error_None);
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
    EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), Error_Invalid) << reply;
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
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), Error_Ended);
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
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), Error_Timeout);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

// Else the next command would take it for its own.
TEST_F(FTPcData, EndsTheConnection_WhenTheFinalReplyNeverComes) {
  iSock_SetWaitMilliseconds(300);
  ScriptedServer server(
      {AfterLogin({ftp::Passive(),
                   ftp::Started("RETR /a"),
                   {DataSend("hello"), DataClose(), Wait(600), SendLine("226 too late")}})});
  ftp::Client client(server.port());
  TestStream local;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), Error_Timeout);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
  ExpectEmpty(client.reply);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, TakesAFinalReplyThatCameBeforeTheData) {
  ScriptedServer server({AfterLogin({ftp::Passive(),
                                     {ExpectLine("RETR /a"), DataAccept(), Send("150 go\r\n226 done\r\n"),
                                      Wait(100), DataSend("hello"), DataClose()}})});
  ftp::Client client(server.port());
  TestStream local;
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), Error_None);
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
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply), Error_Timeout);
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
  EXPECT_EQ(FTPc_Retrieve(client, "/a", local.stream(), nullptr, &client.reply), Error_Retry);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- faults and allocations ------------------------------------------------------------------------------

TEST_F(FTPcData, SeesEveryCutOfTheControlConnection) {
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
      // Only a server that is silent is waited for.
      iSock_SetWaitMilliseconds(kind == Fault::Kind::Stall ? 300 : 0);
      FTPc* connection = nullptr;
      Reply reply;
      TestStream local;
      ErrorCode status = FTPc_Open("127.0.0.1", proxy.port(), ftp::kPassive, &connection, &reply);
      if (status == Error_None) status = FTPc_Login(connection, "u", "p", &reply);
      if (status == Error_None) status = FTPc_Retrieve(connection, "/a", local.stream(), nullptr, &reply);
      FTPc_Delete(connection);
      if (kind == Fault::Kind::None) {
        ASSERT_EQ(status, Error_None);
        ASSERT_EQ(local.written(), file);
        whole = proxy.Passed(0, FaultProxy::ToClient);
        ASSERT_GT(whole, 60u);
      } else if (kind == Fault::Kind::Stall) {
        ASSERT_EQ(status, Error_Timeout) << after;
      } else {
        ASSERT_TRUE(status == Error_Ended || status == Error_Retry) << after << " gave " << status;
      }
      proxy.Stop();
    }
  }
  server.Stop();
}

TEST_F(FTPcData, NeverTakesACutFileForAWholeOne) {
  const std::string file = Numbers(40);
  ScriptedServer server({ftp::Patient(file)});
  server.RepeatLast();
  for (Fault::Kind kind : {Fault::Kind::CutByReset, Fault::Kind::Stall}) {
    for (uint64_t after = 0; after < file.size(); after += 3) {
      FaultProxy proxy(server.port());
      proxy.FollowPassiveReplies();
      proxy.OnDataConnection(0, FaultProxy::ToClient, {kind, after, 0, 0});
      iSock_SetWaitMilliseconds(0);
      ftp::Client client(proxy.port());
      iSock_SetWaitMilliseconds(kind == Fault::Kind::Stall ? 300 : 0);
      TestStream local;
      uint32_t count = 0;
      const ErrorCode status = FTPc_Retrieve(client, "/a", local.stream(), &count, &client.reply);
      ASSERT_NE(status, Error_None) << after;
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
    FTPc_SetPortRange(loopback::UnusedPorts(100), 100);
    FailEveryAllocation([&] {
      FTPc* connection = nullptr;
      Reply reply;
      TestStream local;
      TestStream source(file);
      ErrorCode status = FTPc_Open("127.0.0.1", server.port(), mode, &connection, &reply);
      if (status == Error_None) status = FTPc_Login(connection, "u", "p", &reply);
      if (status == Error_None) status = FTPc_Retrieve(connection, "/a", local.stream(), nullptr, &reply);
      ASSERT_TRUE(status != Error_None || local.written() == file);
      if (status == Error_None) status = FTPc_Store(connection, "/a", source.stream(), kAll, nullptr, &reply);
      ASSERT_TRUE(status == Error_None || status == Error_Memory) << status;
      FTPc_Delete(connection);
    });
  }
  server.Finish();
}

}  // namespace
