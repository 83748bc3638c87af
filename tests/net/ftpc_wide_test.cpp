// Files of 4 GiB and more.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "net/ftpc_internal.h"
#include "qz/file.h"
#include "tests/net/ftpc_fixture.h"
#include "tests/net/sock_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/file_system.h"
#include "tests/support/numbered.h"
#include "tests/support/temp_dir.h"
#include "tests/support/test_stream.h"

using namespace script;

namespace {

constexpr uint64_t kAll64 = 0xFFFFFFFFFFFFFFFFu;
constexpr uint64_t kFourGiB = 4294967296u;

// ---- sizes -----------------------------------------------------------------------------------------------

TEST_F(FTPcTest, GivesTheSizeThatTheOtherCallCannotHold) {
  const struct {
    const char* text;
    ErrorCode status;
    uint64_t wide;
    uint32_t narrow;
  } rows[] = {
      {"0", Error_None, 0, 0},
      {"4294967294", Error_None, 4294967294u, 4294967294u},
      {"4294967295", Error_None, 4294967295u, 4294967295u},
      {"4294967296", Error_None, 4294967296u, 4294967295u},
      {"5368709120", Error_None, 5368709120u, 4294967295u},
      {"9223372036854775807", Error_None, 9223372036854775807u, 4294967295u},
      {"9223372036854775808", Error_None, 9223372036854775808u, 4294967295u},
      {"18446744073709551614", Error_None, 18446744073709551614u, 4294967295u},
      {"18446744073709551616", Error_None, 18446744073709551615u, 4294967295u},
      {"99999999999999999999999999", Error_None, 18446744073709551615u, 4294967295u},
      {"-1", Error_Invalid, 0, 0},
      {"-9223372036854775808", Error_Invalid, 0, 0},
      {"unknown", Error_Invalid, 0, 0},
  };
  Script lines;
  for (const auto& row : rows) {
    for (int i = 0; i < 2; ++i)
      lines = ftp::Join({lines, ftp::Exchange("SIZE /a", "213 " + std::string(row.text))});
  }
  ScriptedServer server({AfterLogin(lines)});
  ftp::Client client(server.port());
  for (const auto& row : rows) {
    uint64_t wide = 7;
    uint32_t narrow = 7;
    EXPECT_EQ(FTPc_FileSize64(client, "/a", &wide, &client.reply), row.status) << row.text;
    EXPECT_EQ(wide, row.wide) << row.text;
    EXPECT_EQ(FTPc_FileSize(client, "/a", &narrow, &client.reply), row.status) << row.text;
    EXPECT_EQ(narrow, row.narrow) << row.text;
  }
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, GivesSizeZero_WhenTheServerRefuses) {
  ScriptedServer server(
      {AfterLogin(ftp::Join({ftp::Exchange("SIZE /a", "550 no"), ftp::Exchange("SIZE /a", "550 no")}))});
  ftp::Client client(server.port());
  uint64_t wide = 7;
  uint32_t narrow = 7;
  EXPECT_EQ(FTPc_FileSize64(client, "/a", &wide, &client.reply), Error_Invalid);
  EXPECT_EQ(wide, 0u);
  EXPECT_EQ(FTPc_FileSize(client, "/a", &narrow, &client.reply), Error_Invalid);
  EXPECT_EQ(narrow, 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, RefusesNullForASizeAndForOffsets) {
  ScriptedServer server({AfterLogin({})});
  ftp::Client client(server.port());
  uint64_t size = 7;
  client.reply.code = 7;
  EXPECT_EQ(FTPc_FileSize64(client, "/a", nullptr, &client.reply), Error_Invalid);
  EXPECT_EQ(client.reply.code, 0);
  EXPECT_EQ(FTPc_FileSize64(nullptr, "/a", &size, &client.reply), Error_Invalid);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(FTPc_FileSize64(client, nullptr, &size, &client.reply), Error_Invalid);
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieveRestart64(client, "/a", nullptr, &data, &client.reply), Error_Invalid);
  EXPECT_EQ(FTPc_StartStoreRestart64(client, "/a", nullptr, &data, &client.reply), Error_Invalid);
  TestStream local;
  uint64_t count = 7;
  EXPECT_EQ(FTPc_RetrieveRestart64(client, "/a", nullptr, local.stream(), &count, &client.reply),
            Error_Invalid);
  EXPECT_EQ(count, 0u);
  count = 7;
  EXPECT_EQ(FTPc_Retrieve64(client, "/a", nullptr, &count, &client.reply), Error_Invalid);
  EXPECT_EQ(count, 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- offsets ---------------------------------------------------------------------------------------------

TEST_F(FTPcData, SendsEveryOffset) {
  const struct {
    uint64_t offset;
    const char* command;
  } rows[] = {
      {0, "REST 0"},
      {4294967294u, "REST 4294967294"},
      {4294967295u, "REST 4294967295"},
      {4294967296u, "REST 4294967296"},
      {4294967297u, "REST 4294967297"},
      {9223372036854775808u, "REST 9223372036854775808"},
      {18446744073709551615u, "REST 18446744073709551615"},
  };
  for (const auto& row : rows) {
    ScriptedServer server({AfterLogin(
        {ftp::Passive(), ftp::Exchange(row.command, "350 ok"), ftp::Started("RETR /a"), ftp::SendsFile("lo"),
         ftp::Passive(), ftp::Exchange(row.command, "350 ok"), ftp::Started("STOR /a"), ftp::TakesFile()})});
    ftp::Client client(server.port());
    uint64_t offset = row.offset;
    Stream* data = nullptr;
    ASSERT_EQ(FTPc_StartRetrieveRestart64(client, "/a", &offset, &data, &client.reply), Error_None);
    EXPECT_EQ(offset, row.offset);
    EXPECT_EQ(ReadAll(data), "lo");
    Stream_Delete(data);
    ErrorCode status = Error_Block;
    while (status == Error_Block) status = FTPc_EndTransfer(client, &client.reply);
    EXPECT_EQ(status, Error_None);
    TestStream source("abc");
    uint64_t count = 7;
    EXPECT_EQ(FTPc_StoreRestart64(client, "/a", &offset, source.stream(), kAll64, &count, &client.reply),
              Error_None);
    EXPECT_EQ(offset, row.offset);
    EXPECT_EQ(count, 3u);
    FTPc_Delete(client.Release());
    server.Finish();
    EXPECT_EQ(server.DataReceived(0), "abc");
  }
}

TEST_F(FTPcData, SetsTheWideOffsetTo0_WhenTheServerCannotRestart) {
  ScriptedServer server(
      {AfterLogin({ftp::Passive(), ftp::Exchange("REST 4294967297", "502 no"), ftp::Started("RETR /a"),
                   ftp::SendsFile("hello"), ftp::Passive(), ftp::Exchange("REST 4294967297", "502 no"),
                   ftp::Started("STOR /a"), ftp::TakesFile()})});
  ftp::Client client(server.port());
  TestStream local;
  uint64_t offset = kFourGiB + 1;
  uint64_t count = 7;
  EXPECT_EQ(FTPc_RetrieveRestart64(client, "/a", &offset, local.stream(), &count, &client.reply), Error_None);
  EXPECT_EQ(offset, 0u);
  EXPECT_EQ(count, 5u);
  EXPECT_EQ(local.written(), "hello");
  offset = kFourGiB + 1;
  Stream* data = nullptr;
  ASSERT_EQ(FTPc_StartStoreRestart64(client, "/a", &offset, &data, &client.reply), Error_None);
  EXPECT_EQ(offset, 0u);
  Sock_Shutdown(reinterpret_cast<Sock*>(data), SockShutdown_Send);
  EXPECT_EQ(ReadAll(data), "");
  Stream_Delete(data);
  FTPc_Delete(client.Release());
  server.Finish();
}

// The sizes that a resume of a real file meets: the file on the disk has a hole of 4 GiB.
TEST_F(FTPcData, ResumesAFileBeyondFourGigabytes) {
  TempDir folder;
  MakeSparseFile(folder.SystemName("big"), kFourGiB + 1);  // ends in "x"
  ScriptedServer server(
      {AfterLogin({ftp::Passive(), ftp::Exchange("REST 4294967297", "350 ok"), ftp::Started("RETR /a"),
                   ftp::SendsFile("0123456789"), ftp::Passive(), ftp::Exchange("REST 4294967296", "350 ok"),
                   ftp::Started("STOR /a"), ftp::TakesFile()})});
  ftp::Client client(server.port());
  File* file = nullptr;
  ASSERT_EQ(File_Open(folder.Name("big").c_str(), FileMode_Update, &file), Error_None);
  ASSERT_EQ(File_Seek64(file, FileSeek_End, 0), 0);
  uint64_t offset = kFourGiB + 1;
  uint64_t count = 7;
  EXPECT_EQ(FTPc_RetrieveRestart64(client, "/a", &offset, File_GetStream(file), &count, &client.reply),
            Error_None);
  EXPECT_EQ(count, 10u);
  EXPECT_EQ(File_Tell64(file), 4294967307);
  offset = kFourGiB;
  ASSERT_EQ(File_Seek64(file, FileSeek_Start, 4294967296), 0);
  EXPECT_EQ(FTPc_StoreRestart64(client, "/a", &offset, File_GetStream(file), 11, &count, &client.reply),
            Error_None);
  EXPECT_EQ(count, 11u);
  EXPECT_EQ(File_Close(file), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "x0123456789");
}

// ---- whole transfers -------------------------------------------------------------------------------------

// Only 64 ones mean "all" here.
TEST_F(FTPcData, GivesEnded_WhenAWideLimitIsNotUsedUp) {
  for (const uint64_t limit : {uint64_t{4294967295u}, kFourGiB + 5, uint64_t{6}}) {
    // The bytes of an upload that failed may get lost at its end.
    const ScriptStep takes = Do([](ScriptSession& session) {
      std::string bytes;
      session.data().ReceiveAll(&bytes);
      session.data().Close();
    });
    ScriptedServer server(
        {AfterLogin({ftp::Passive(), ftp::Started("STOR /a"), {takes, SendLine("226 ok")}})});
    ftp::Client client(server.port());
    TestStream source("hello");
    uint64_t count = 7;
    EXPECT_EQ(FTPc_Store64(client, "/a", source.stream(), limit, &count, &client.reply), Error_Ended)
        << limit;
    EXPECT_EQ(count, 5u);
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcData, StoresNoMoreThanTheWideLimit) {
  ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("STOR /a"), ftp::TakesFile(),
                                     ftp::Passive(), ftp::Started("STOU /a"), ftp::TakesFile(),
                                     ftp::Passive(), ftp::Started("STOU /a"), ftp::TakesFile()})});
  ftp::Client client(server.port());
  TestStream first("hello");
  TestStream second("12345");
  uint64_t count = 7;
  EXPECT_EQ(FTPc_Store64(client, "/a", first.stream(), 4, &count, &client.reply), Error_None);
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(FTPc_StoreUnique64(client, "/a", second.stream(), 2, nullptr, &client.reply), Error_None);
  EXPECT_EQ(FTPc_StoreUnique64(client, "/a", second.stream(), kAll64, &count, &client.reply), Error_None);
  EXPECT_EQ(count, 3u);
  FTPc_Delete(client.Release());
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "hell12345");
}

// The server's side of a transfer of made bytes.
ScriptStep SendsNumbers(const Numbered* numbered, uint64_t position, uint64_t end) {
  return Do([=](ScriptSession& session) { EXPECT_TRUE(numbered->Send(&session.data(), position, end)); });
}

ScriptStep TakesNumbers(const Numbered* numbered, uint64_t position, uint64_t end) {
  return Do([=](ScriptSession& session) {
    std::string bytes;
    bool isRight = true;
    uint64_t at = position;
    while (session.data().ReceiveSome(&bytes, Numbered::kBlock) == loopback::Result::Data) {
      isRight = isRight && numbered->Matches(at, bytes.data(), bytes.size());
      at += bytes.size();
      bytes.clear();
    }
    EXPECT_TRUE(isRight);
    EXPECT_EQ(at, end);
  });
}

TEST_F(FTPcData, MovesWholeFilesOfAnySizeBothWays) {
  const Numbered numbered;
  const uint64_t size = WholeBytes() + 3;
  ScriptedServer server({AfterLogin({ftp::Passive(),
                                     ftp::Started("RETR /a"),
                                     {SendsNumbers(&numbered, 0, size), DataClose(), SendLine("226 done")},
                                     ftp::Passive(),
                                     ftp::Started("STOR /a"),
                                     {TakesNumbers(&numbered, 0, size), DataClose(), SendLine("226 done")}})},
                        600000);
  ftp::Client client(server.port());
  NumberedStream sink(&numbered, 0, size);
  NumberedStream source(&numbered, 0, size);
  uint64_t count = 7;
  EXPECT_EQ(FTPc_Retrieve64(client, "/a", sink.stream(), &count, &client.reply), Error_None);
  EXPECT_EQ(count, size);
  EXPECT_EQ(sink.position(), size);
  EXPECT_FALSE(sink.isWrong());
  EXPECT_EQ(FTPc_Store64(client, "/a", source.stream(), kAll64, &count, &client.reply), Error_None);
  EXPECT_EQ(count, size);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- faults ----------------------------------------------------------------------------------------------

TEST_F(FTPcData, GivesMemory_WhenAnAllocationOfAWideTransferFails) {
  const std::string file = Numbers(10000);
  ScriptedServer server({ftp::Patient(file)});
  server.RepeatLast();
  FailEveryAllocation([&] {
    FTPc* connection = nullptr;
    Reply reply;
    TestStream local;
    TestStream source(file);
    uint64_t offset = kFourGiB;
    uint64_t count = 0;
    ErrorCode status = FTPc_Open("127.0.0.1", server.port(), ftp::kPassive, &connection, &reply);
    if (status == Error_None) status = FTPc_Login(connection, "u", "p", &reply);
    if (status == Error_None)
      status = FTPc_RetrieveRestart64(connection, "/a", &offset, local.stream(), &count, &reply);
    ASSERT_TRUE(status != Error_None || local.written() == file);
    if (status == Error_None)
      status = FTPc_StoreRestart64(connection, "/a", &offset, source.stream(), kAll64, &count, &reply);
    ASSERT_TRUE(status == Error_None || status == Error_Memory) << status;
    FTPc_Delete(connection);
  });
  server.Finish();
}

// ---- the wait for the final reply ------------------------------------------------------------------------

// Starts a transfer whose data has ended.
void StartEnded(FTPc* client, Reply* reply) {
  Stream* data = nullptr;
  ASSERT_EQ(FTPc_StartRetrieve(client, "/a", &data, reply), Error_None);
  EXPECT_EQ(ReadAll(data), "x");
  Stream_Delete(data);
}

TEST_F(FTPcData, GivesTimeout_WhenEndTransferFindsNoReplyForTooLong) {
  ScriptedServer server({ftp::Join(
      {ftp::Login(), ftp::Passive(), ftp::Started("RETR /a"), {DataSend("x"), DataClose(), Stall()}})});
  ftp::Client client(server.port());
  StartEnded(client, &client.reply);
  iSock_SetWaitMilliseconds(300);
  const Stopwatch watch;
  ErrorCode status = Error_Block;
  while (status == Error_Block) {
    EXPECT_EQ(FTPc_GetFlags(client), 16u);
    EXPECT_EQ(iFTPc_ControlError(client), Error_None);
    status = FTPc_EndTransfer(client, &client.reply);
  }
  EXPECT_EQ(status, Error_Timeout);
  EXPECT_GE(watch.Milliseconds(), 299);
  EXPECT_LT(watch.Milliseconds(), 5000);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  EXPECT_EQ(iFTPc_ControlError(client), Error_Timeout);
  ExpectEmpty(client.reply);
  // The reply may still come: no command takes it for its own.
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
  FTPc_Delete(client.Release());
  server.Finish();
}

// The time begins with the first call, not with the transfer, and again with another transfer.
TEST_F(FTPcData, CountsTheWaitForEachFinalReplyAnew) {
  iSock_SetWaitMilliseconds(1000);
  ScriptedServer server(
      {AfterLogin({ftp::Passive(),
                   ftp::Started("RETR /a"),
                   {DataSend("x"), DataClose(), ExpectLine("DELE /now"), SendLine("226 done")},
                   ftp::Passive(),
                   ftp::Started("RETR /a"),
                   {DataSend("x"), DataClose(), Wait(700), SendLine("226 done")}})});
  ftp::Client client(server.port());
  StartEnded(client, &client.reply);
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  EXPECT_EQ(FTPc_EndTransfer(client, &client.reply), Error_Block);
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  EXPECT_EQ(FTPc_EndTransfer(client, &client.reply), Error_Block);
  EXPECT_EQ(FTPc_DeleteFile(client, "/now", &client.reply), Error_None);
  StartEnded(client, &client.reply);
  ErrorCode status = Error_Block;
  while (status == Error_Block) status = FTPc_EndTransfer(client, &client.reply);
  EXPECT_EQ(status, Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, NeverTimesOut_WhenNoTransferIsPending) {
  iSock_SetWaitMilliseconds(50);
  ScriptedServer server({AfterLogin({ftp::Exchange("DELE /b", "250 ok")})});
  ftp::Client client(server.port());
  EXPECT_EQ(FTPc_EndTransfer(client, &client.reply), Error_Block);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(FTPc_EndTransfer(client, &client.reply), Error_Block);
  iSock_SetWaitMilliseconds(0);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcData, GivesEndedAtOnce_WhenTheServerIsGoneBeforeTheFinalReply) {
  ScriptedServer server({ftp::Join(
      {ftp::Login(), ftp::Passive(), ftp::Started("RETR /a"), {DataSend("x"), DataClose(), Close()}})});
  ftp::Client client(server.port());
  StartEnded(client, &client.reply);
  const Stopwatch watch;
  ErrorCode status = Error_Block;
  while (status == Error_Block) status = FTPc_EndTransfer(client, &client.reply);
  EXPECT_EQ(status, Error_Ended);
  EXPECT_LT(watch.Milliseconds(), 5000);
  EXPECT_EQ(iFTPc_ControlError(client), Error_Ended);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- the status of the control connection ----------------------------------------------------------------

TEST_F(FTPcData, TellsWhatHappenedToTheControlConnection) {
  ScriptedServer server({ftp::Join({ftp::Login(), ftp::Exchange("DELE /b", "550 no"), {Wait(50), Reset()}})});
  ftp::Client client(server.port());
  EXPECT_EQ(iFTPc_ControlError(client), Error_None);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Invalid);
  EXPECT_EQ(iFTPc_ControlError(client), Error_None);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Retry);
  EXPECT_EQ(iFTPc_ControlError(client), Error_Retry);
  EXPECT_EQ(iFTPc_ControlError(nullptr), Error_Invalid);
  FTPc_Delete(client.Release());
  server.Finish();
}

}  // namespace
