// Sockets: reading.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "os/platform/error.h"
#include "os/platform/socket.h"
#include "qz/stream.h"
#include "tests/net/sock_transfer_fixture.h"
#include "tests/support/fault_proxy.h"
#include "tests/support/scripted_server.h"
#include "tests/support/socket_probe.h"

using loopback::Result;

namespace {

TEST_F(SockTransfer, ReadsWhatHasArrivedAndNoMore) {
  for (const uint32_t asked : {100u, 5000u}) {
    Open();
    ASSERT_TRUE(peer.Send(std::string(30, 'x')));
    ASSERT_TRUE(WaitForPending(30));
    EXPECT_EQ(Read(asked), std::string(30, 'x'));
    EXPECT_EQ(Sock_GetError(sock), Error_None);
    Sock_Delete(sock);
    sock = nullptr;
  }
}

TEST_F(SockTransfer, GivesEnded_WhenThePeerHasClosed) {
  Open();
  peer.Close();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Read(1 + static_cast<uint32_t>(i) * 5000), "");
    EXPECT_EQ(Sock_GetError(sock), Error_Ended);
  }
}

TEST_F(SockTransfer, GivesTheBytesBeforeTheEnd) {
  for (const uint32_t asked : {1u, 100u, 5000u}) {
    Open();
    ASSERT_TRUE(peer.Send("0123456789"));
    peer.Close();
    ASSERT_TRUE(WaitForPending(10));
    if (asked > 10) {
      // What came with the end is a whole read; the end is the next one's.
      EXPECT_EQ(Read(asked), "0123456789");
      EXPECT_EQ(Sock_GetError(sock), Error_None);
    } else {
      for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(Read(1), std::string(1, static_cast<char>('0' + i)));
        EXPECT_EQ(Sock_GetError(sock), Error_None);
      }
    }
    EXPECT_EQ(Read(asked), "");
    EXPECT_EQ(Sock_GetError(sock), Error_Ended);
    Sock_Delete(sock);
    sock = nullptr;
  }
}

TEST_F(SockTransfer, GivesRetry_WhenThePeerResets) {
  Open();
  peer.Reset();
  EXPECT_EQ(Read(100), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
}

TEST_F(SockTransfer, GivesRetry_WhenThePeerResetsDuringTheRead) {
  Open();
  auto read = std::async(std::launch::async, [this] { return Read(5000); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  peer.Reset();
  EXPECT_EQ(read.get(), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
}

// Some systems tell of a reset once and show a plain end from then on.
TEST_F(SockTransfer, GivesRetryAgain_WhenReadAfterAReset) {
  Open();
  peer.Reset();
  for (const uint32_t asked : {100u, 1u, 5000u}) {
    EXPECT_EQ(Read(asked), "");
    EXPECT_EQ(Sock_GetError(sock), Error_Retry) << asked;
  }
}

// What an earlier call was told of the connection is the reason of the end that every later read sees.
TEST_F(SockTransfer, GivesTheKeptFailure_WhenTheSystemShowsAPlainEnd) {
  Open();
  peer.Close();
  sock->errorTaken.store(platform::SocketError_ConnectionReset);
  for (int i = 0; i < 2; ++i) {
    Error_ClearLast();
    EXPECT_EQ(Read(1), "");
    EXPECT_EQ(Sock_GetError(sock), Error_Retry);
    ErrorDetail detail;
    ASSERT_EQ(Error_GetLast(&detail), Error_None);
    EXPECT_EQ(detail.status, Error_Retry);
    EXPECT_EQ(detail.systemNumber, 10054u);
    EXPECT_STREQ(detail.operation, "Sock_Read");
  }
  sock->errorTaken.store(platform::SocketError_ConnectionRefused);
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_NoAccess);
  sock->errorTaken.store(0);
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
}

TEST_F(SockTransfer, NeverTakesAResetForTheEnd_WhenAWriteSawItFirst) {
  Open();
  ASSERT_TRUE(peer.Send("ab"));
  ASSERT_TRUE(WaitForPending(2));
  EXPECT_EQ(Read(1), "a");
  peer.Reset();
  for (int i = 0; i < 2000 && Sock_Write(sock, 1, "x") == 1; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
  EXPECT_EQ(Read(1), "b");
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
}

// A wait that meets urgent data asks the system for the reset, which it then tells no more.
TEST_F(SockTransfer, NeverTakesAResetForTheEnd_WhenUrgentDataCameBeforeIt) {
  Open();
  ASSERT_TRUE(peer.SendUrgent('!'));
  ASSERT_EQ(Sock_SelectRead(sock, 5, 0), Error_None);
  peer.Reset();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Read(1), "");
    EXPECT_EQ(Sock_GetError(sock), Error_Retry);
  }
}

TEST_F(SockTransfer, ReadsNoBytesWithoutWaiting) {
  Open();
  char byte = 0;
  EXPECT_EQ(Sock_Read(sock, 0, &byte), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_EQ(Sock_Read(sock, 0, nullptr), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
}

TEST_F(SockTransfer, GivesTimeout_WhenNothingArrives) {
  Open();
  iSock_SetWaitMilliseconds(300);
  const Stopwatch watch;
  EXPECT_EQ(Read(100), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  EXPECT_GE(watch.Milliseconds(), 290);
  EXPECT_LT(watch.Milliseconds(), 5000);
  // The connection is not harmed.
  ASSERT_TRUE(peer.Send("late"));
  EXPECT_EQ(Read(4), "late");
  EXPECT_EQ(Sock_GetError(sock), Error_None);
}

TEST_F(SockTransfer, CountsTheBytesReadAhead) {
  Open();
  ASSERT_TRUE(peer.Send("0123456789"));
  ASSERT_TRUE(WaitForPending(10));
  EXPECT_EQ(Read(1), "0");
  // One call to the system fetched them all.
  uint32_t count = 99;
  EXPECT_TRUE(platform::SocketPending(Sock_GetDescriptor(sock), &count));
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(Sock_ReadAvail(sock, &count), Error_None);
  EXPECT_EQ(count, 9u);
  EXPECT_EQ(Stream_ReadAvail(reinterpret_cast<Stream*>(sock)), 9u);
  EXPECT_EQ(Sock_SelectRead(sock, 0, 0), Error_None);
  ASSERT_TRUE(peer.Send("ab"));
  ASSERT_TRUE(WaitForPending(11));
  // The bytes read ahead and those in the system come in one read and in order.
  EXPECT_EQ(Read(5000), "123456789ab");
  EXPECT_EQ(Sock_ReadAvail(sock, &count), Error_None);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(Sock_SelectRead(sock, 0, 0), Error_Timeout);
}

TEST_F(SockTransfer, GivesWhatWasReadAheadBeforeTheEnd) {
  Open();
  ASSERT_TRUE(peer.Send("ab"));
  ASSERT_TRUE(WaitForPending(2));
  EXPECT_EQ(Read(1), "a");
  peer.Close();
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_None);
  EXPECT_EQ(Read(100), "b");
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_EQ(Read(100), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
}

TEST_F(SockTransfer, GivesNothingReadAheadOnceClosed) {
  Open();
  ASSERT_TRUE(peer.Send("ab"));
  ASSERT_TRUE(WaitForPending(2));
  EXPECT_EQ(Read(1), "a");
  Sock_Close(sock);
  EXPECT_EQ(Sock_SelectRead(sock, 0, 0), Error_Cancel);
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
}

// The failure of an earlier call is given for bytes read ahead as for bytes in the system.
TEST_F(SockTransfer, GivesTheEarlierFailure_WhenBytesWereReadAhead) {
  Open();
  ASSERT_TRUE(peer.Send("ab"));
  ASSERT_TRUE(WaitForPending(2));
  EXPECT_EQ(Read(1), "a");
  int32_t value = 0;
  EXPECT_EQ(Sock_SetOpt(sock, 0x7FFF, 0x7FFF, &value, 4), Error_Fail);
  const Stopwatch watch;
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_Fail);
  EXPECT_LT(watch.Milliseconds(), 1000);
  EXPECT_EQ(Read(1), "b");
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_EQ(Sock_SelectRead(sock, 0, 1000), Error_Timeout);
}

TEST_F(SockTransfer, GivesWhatWasReadAheadBeforeAReset) {
  Open();
  ASSERT_TRUE(peer.Send("abc"));
  ASSERT_TRUE(WaitForPending(3));
  EXPECT_EQ(Read(1), "a");
  peer.Reset();
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_None);
  EXPECT_EQ(Read(2), "bc");
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_None);
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
}

TEST_F(SockTransfer, JoinsWhatWasReadAheadWithWhatCameWithTheEnd) {
  Open();
  ASSERT_TRUE(peer.Send("ab"));
  ASSERT_TRUE(WaitForPending(2));
  EXPECT_EQ(Read(1), "a");
  ASSERT_TRUE(peer.Send("cd"));
  peer.Finish();
  ASSERT_TRUE(WaitForPending(3));
  EXPECT_EQ(Read(100), "bcd");
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  uint32_t count = 9;
  EXPECT_EQ(Sock_ReadAvail(sock, &count), Error_None);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(Read(100), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
}

// A read that was filled to its last byte lets the next one expect more; when nothing more comes, that one
// waits, ends and fails like any other.
TEST_F(SockTransfer, WaitsEndsAndFailsLikeAnyOther_AfterAReadThatWasFilled) {
  enum class After { Silence, End, Reset };
  for (const uint32_t size : {1024u, 5000u}) {
    for (const After after : {After::Silence, After::End, After::Reset}) {
      Open();
      ASSERT_TRUE(peer.Send(std::string(size, 'f')));
      ASSERT_TRUE(WaitForPending(size));
      // The bytes of the smaller block all pass through those read ahead.
      const uint32_t piece = size == 1024 ? 512 : size;
      for (uint32_t done = 0; done < size; done += piece) ASSERT_EQ(Read(piece), std::string(piece, 'f'));
      iSock_SetWaitMilliseconds(after == After::Silence ? 300 : 10000);
      if (after == After::End) peer.Close();
      if (after == After::Reset) peer.Reset();
      const Stopwatch watch;
      EXPECT_EQ(Read(100), "");
      EXPECT_EQ(Sock_GetError(sock), after == After::Silence ? Error_Timeout
                                     : after == After::End   ? Error_Ended
                                                             : Error_Retry);
      EXPECT_EQ(watch.Milliseconds() >= 290, after == After::Silence);
      Sock_Delete(sock);
      sock = nullptr;
    }
  }
}

TEST_F(SockTransfer, GivesEnded_WhenThePeerClosesDuringTheRead) {
  Open();
  auto read = std::async(std::launch::async, [this] { return Read(1); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  peer.Close();
  EXPECT_EQ(read.get(), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
}

TEST_F(SockTransfer, KeepsEveryByteInOrder_WhateverTheSizesOfTheReads) {
  const std::string sent = Pattern(3000000);
  Open();
  std::thread sender([&] {
    peer.Send(sent);
    peer.Finish();
  });
  const uint32_t sizes[] = {1, 7, 1023, 1024, 1025, 12288, 65536, 1 << 20, 3};
  std::string got;
  for (size_t i = 0;; ++i) {
    const std::string piece = Read(sizes[i % 9]);
    if (piece.empty()) break;
    got += piece;
  }
  sender.join();
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
  EXPECT_TRUE(got == sent);
}

TEST_F(SockTransfer, ReportsProgress) {
  Open();
  static std::vector<uint32_t> positions;
  positions.clear();
  auto* stream = reinterpret_cast<Stream*>(sock);
  Stream_SetProgress(stream, 0, 100);
  Stream_SetIdleMethod(
      stream, 2, [](void*, uint32_t position, uint32_t) { positions.push_back(position); }, nullptr);
  ASSERT_TRUE(peer.Send(std::string(100, 'p')));
  ASSERT_TRUE(WaitForPending(100));
  EXPECT_EQ(Read(100).size(), 100u);
  EXPECT_EQ(positions, (std::vector<uint32_t>{0, 50}));
}

TEST_F(SockTransfer, DoesNotEndAtUrgentData) {
  Open();
  ASSERT_TRUE(peer.Send("ab"));
  ASSERT_TRUE(peer.SendUrgent('!'));
  ASSERT_TRUE(peer.Send("cd"));
  peer.Finish();
  std::string got;
  while (true) {
    const std::string piece = Read(100);
    if (piece.empty()) break;
    got += piece;
  }
  EXPECT_EQ(got, "abcd");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
}

TEST_F(SockTransfer, WaitsOn_WhenThereIsNothingButUrgentData) {
  Open();
  iSock_SetWaitMilliseconds(300);
  ASSERT_TRUE(peer.SendUrgent('!'));
  const Stopwatch watch;
  EXPECT_EQ(Read(100), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  EXPECT_GE(watch.Milliseconds(), 290);
}

TEST_F(SockTransfer, IsNotEndedByASignal) {
  Open();
  std::string got;
  std::thread reader([&] { got = Read(5); });
  for (int i = 0; i < 10; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    socket_probe::Interrupt(reader);
  }
  peer.Send("hello");
  reader.join();
  EXPECT_EQ(got, "hello");
  EXPECT_EQ(Sock_GetError(sock), Error_None);
}

TEST_F(SockTransfer, KeepsItsTimeUnderSignals) {
  Open();
  iSock_SetWaitMilliseconds(400);
  const Stopwatch watch;
  std::thread reader([&] { Read(5); });
  for (int i = 0; i < 50; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    socket_probe::Interrupt(reader);
  }
  reader.join();
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  EXPECT_GE(watch.Milliseconds(), 390);
  EXPECT_LT(watch.Milliseconds(), 3000);
}

TEST_F(SockTransfer, WorksBeyond1024Descriptors) {
  const socket_probe::LowDescriptorsTaken taken;
  Open();
  EXPECT_GE(Sock_GetDescriptor(sock), taken.leastNumber());
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), Error_None);
  EXPECT_EQ(Sock_Write(sock, 5, "hello"), 5u);
  std::string got;
  EXPECT_EQ(peer.ReceiveExactly(&got, 5), Result::Data);
  ASSERT_TRUE(peer.Send("world"));
  EXPECT_EQ(Read(5), "world");
  iSock_SetWaitMilliseconds(50);
  EXPECT_EQ(Read(5), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  EXPECT_EQ(Sock_Delete(sock), Error_None);
  sock = nullptr;
}

TEST_F(SockTransfer, GivesExactlyTheBytesBeforeACut) {
  const std::string body = Pattern(40);
  for (uint64_t cut = 0; cut <= body.size(); ++cut) {
    ScriptedServer server({{script::Send(body), script::ReadToEnd()}});
    FaultProxy proxy(server.port());
    proxy.OnEvery(FaultProxy::ToClient, Fault::CutByFin(cut));
    ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", proxy.port(), &sock), Error_None);
    EXPECT_EQ(ReadAll(100), body.substr(0, cut)) << cut;
    EXPECT_EQ(Sock_GetError(sock), Error_Ended) << cut;
    Sock_Delete(sock);
    sock = nullptr;
    server.AllowUnfinished();
  }
}

TEST_F(SockTransfer, NeverTakesAResetForTheEnd) {
  for (const uint64_t cut : {1u, 5u, 40u}) {
    ScriptedServer server({{script::Send(Pattern(40)), script::ReadToEnd()}});
    FaultProxy proxy(server.port());
    proxy.OnEvery(FaultProxy::ToClient, Fault::CutByReset(cut));
    ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", proxy.port(), &sock), Error_None);
    const std::string got = ReadAll(100);
    EXPECT_EQ(got, Pattern(40).substr(0, got.size()));
    EXPECT_LE(got.size(), cut);
    EXPECT_EQ(Sock_GetError(sock), Error_Retry) << cut;
    Sock_Delete(sock);
    sock = nullptr;
    server.AllowUnfinished();
  }
}

TEST_F(SockTransfer, ReadsOneByteAtATime) {
  ScriptedServer server({{script::Send("0123456789"), script::Close()}});
  FaultProxy proxy(server.port());
  proxy.OnEvery(FaultProxy::ToClient, Fault::Slow(1, 5));
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", proxy.port(), &sock), Error_None);
  EXPECT_EQ(ReadAll(100), "0123456789");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
}

TEST_F(SockTransfer, GivesTimeout_WhenThePeerFallsSilent) {
  ScriptedServer server({{script::Send("0123456789"), script::Stall()}});
  FaultProxy proxy(server.port());
  proxy.OnEvery(FaultProxy::ToClient, Fault::Stall(4));
  iSock_SetWaitMilliseconds(300);
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", proxy.port(), &sock), Error_None);
  EXPECT_EQ(ReadAll(100), "0123");
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  server.AllowUnfinished();
}

TEST_F(SockTransfer, ReadsAThousandLines) {
  Open();
  std::string lines;
  for (int i = 0; i < 1000; ++i) lines += "250-a line of the usual length, about fifty bytes!\r\n";
  std::thread sender([&] { peer.Send(lines); });
  char line[200];
  uint32_t count = 0;
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(Stream_ReadTo(reinterpret_cast<Stream*>(sock), 2, "\r\n", sizeof line, line, &count),
              Error_None);
    ASSERT_EQ(count, 52u);
  }
  sender.join();
}

}  // namespace
