// Sockets: waiting for readiness, for a caller and for a connection.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "tests/net/sock_transfer_fixture.h"

namespace {

TEST_F(SockTransfer, SelectsUntilTheTimeIsOver) {
  Open();
  Stopwatch watch;
  EXPECT_EQ(Sock_SelectRead(sock, 0, 200000), Error_Timeout);
  EXPECT_GE(watch.Milliseconds(), 190);
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  watch = Stopwatch();
  // A million microseconds and more carry over into the seconds.
  EXPECT_EQ(Sock_SelectRead(sock, 0, 1200000), Error_Timeout);
  EXPECT_GE(watch.Milliseconds(), 1190);
  EXPECT_LT(watch.Milliseconds(), 5000);
}

// A caller that polls would keep a processor busy.
TEST_F(SockTransfer, WaitsAMillisecond_WhenAMicrosecondIsAskedFor) {
  Open();
  const Stopwatch watch;
  for (int i = 0; i < 200; ++i) EXPECT_EQ(Sock_SelectRead(sock, 0, 1), Error_Timeout);
  // A wait that begins just before the clock's next millisecond ends with it.
  EXPECT_GE(watch.Milliseconds(), 100);
}

TEST_F(SockTransfer, GivesTheEarlierFailure_WhenTheSocketIsReady) {
  Open();
  ASSERT_TRUE(peer.Send("x"));
  ASSERT_TRUE(WaitForPending(1));
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_None);
  int32_t value = 0;
  EXPECT_EQ(Sock_SetOpt(sock, 0x7FFF, 0x7FFF, &value, 4), Error_Fail);
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_Fail);
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), Error_Fail);
  EXPECT_EQ(Read(1), "x");
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), Error_None);
  // A time-out is a failure like any other.
  EXPECT_EQ(Sock_SelectRead(sock, 0, 1000), Error_Timeout);
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), Error_Timeout);
}

// Threads that share a socket learn from its status that it was closed.
TEST_F(SockTransfer, KeepsTheStatusOfEverySelect) {
  Open();
  EXPECT_EQ(Sock_SelectRead(sock, 0, 1000), Error_Timeout);
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  Sock_ClearError(sock);
  EXPECT_EQ(CloseDuring([this] { return Sock_SelectRead(sock, 30, 0); }), Error_Cancel);
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
  Sock_ClearError(sock);
  EXPECT_EQ(Sock_SelectRead(sock, 0, 0), Error_Cancel);
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
  Sock_ClearError(sock);
  EXPECT_EQ(Sock_SelectWrite(sock, 0, 0), Error_Cancel);
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
}

TEST_F(SockTransfer, SelectsThePeersEnd) {
  Open();
  peer.Close();
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_None);
}

TEST_F(SockTransfer, SelectsUrgentDataWithoutAFailure) {
  Open();
  ASSERT_TRUE(peer.SendUrgent('!'));
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_None);
}

TEST_F(SockTransfer, SelectsWritingOnlyWithRoom) {
  Open();
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), Error_None);
  iSock_SetWaitMilliseconds(200);
  const std::string block(64 << 20, 'w');
  Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data());
  Sock_Write(sock, 0, nullptr);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_EQ(Sock_SelectWrite(sock, 0, 50000), Error_Timeout);
}

TEST_F(SockTransfer, TurnsAsyncOnByOneOnly) {
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  iSock_SetWaitMilliseconds(300);
  Sock* accepted = nullptr;
  struct Row {
    int32_t flag;
    ErrorCode status;
  };
  for (const Row& row : {Row{1, Error_Block}, Row{0, Error_Timeout}, Row{1, Error_Block},
                         Row{2, Error_Timeout}, Row{-1, Error_Timeout}}) {
    ASSERT_EQ(Sock_SetAsync(sock, row.flag), Error_None);
    const Stopwatch watch;
    EXPECT_EQ(Sock_Accept(sock, &accepted), row.status) << row.flag;
    EXPECT_EQ(accepted, nullptr);
    EXPECT_EQ(Sock_GetError(sock), row.status);
    EXPECT_EQ(watch.Milliseconds() >= 290, row.status == Error_Timeout);
  }
}

// A mode that was set while an accept waited holds for the next one, which would else wait without end.
TEST_F(SockTransfer, StaysAsync_WhenThatWasAskedForDuringAnAccept) {
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  uint8_t port[2];
  ASSERT_EQ(Sock_GetSockName(sock, nullptr, port), Error_None);
  const auto number = static_cast<uint16_t>(port[0] * 256 + port[1]);
  const auto accept = [this] {
    Sock* accepted = nullptr;
    const ErrorCode status = Sock_Accept(sock, &accepted);
    if (accepted != nullptr) Sock_Delete(accepted);
    return status;
  };
  auto first = std::async(std::launch::async, accept);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
  const loopback::Connection caller = loopback::Connect(number);
  EXPECT_EQ(first.get(), Error_None);

  auto second = std::async(std::launch::async, accept);
  EXPECT_EQ(second.wait_for(std::chrono::seconds(3)), std::future_status::ready);
  // Frees a call that does wait.
  const loopback::Connection other = loopback::Connect(number);
  EXPECT_EQ(second.get(), Error_Block);
}

TEST_F(SockTransfer, ConnectsWithoutWaiting_WhenAsync) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
  const ErrorCode status = Sock_Connect(sock, "127.0.0.1", listener.port());
  EXPECT_TRUE(status == Error_Block || status == Error_None) << status;
  peer = listener.Accept();
  ASSERT_TRUE(peer.IsOpen());
  Sock_Write(sock, 0, nullptr);
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), Error_None);
  EXPECT_EQ(Sock_Write(sock, 2, "hi"), 2u);
}

// What a read or a write of a connection still being made does: it waits for it.
TEST_F(SockTransfer, WaitsForAConnectionThatIsBeingMade) {
  loopback::Listener full(0);
  std::vector<loopback::Connection> waiting;
  for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
  iSock_SetWaitMilliseconds(300);
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
  ASSERT_EQ(Sock_Connect(sock, "127.0.0.1", full.port()), Error_Block);
  Stopwatch watch;
  EXPECT_EQ(Sock_Write(sock, 2, "hi"), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  EXPECT_GE(watch.Milliseconds(), 290);
  watch = Stopwatch();
  EXPECT_EQ(Read(2), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  EXPECT_GE(watch.Milliseconds(), 290);
}

TEST_F(SockTransfer, TellsByWritabilityHowAnAsyncConnectionEnded) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
  const ErrorCode refused = Sock_Connect(sock, "127.0.0.1", loopback::UnusedPort());
  ASSERT_TRUE(refused == Error_Block || refused == Error_NoAccess) << refused;
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), Error_NoAccess);
  Sock_Delete(sock);

  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
  const ErrorCode begun = Sock_Connect(sock, "127.0.0.1", listener.port());
  ASSERT_TRUE(begun == Error_Block || begun == Error_None) << begun;
  // The status of the attempt stays until another call sets it.
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), begun);
  EXPECT_EQ(Sock_Write(sock, 2, "hi"), 2u);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
}

TEST_F(SockTransfer, TellsByReadabilityThatAnAsyncConnectionFailed) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
  const ErrorCode refused = Sock_Connect(sock, "127.0.0.1", loopback::UnusedPort());
  ASSERT_TRUE(refused == Error_Block || refused == Error_NoAccess) << refused;
  Sock_ClearError(sock);
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), refused == Error_Block ? Error_NoAccess : Error_None);
  Sock_ClearError(sock);
  // Asking cleared the system's error. A read must not take the failure for the end of the stream.
  iSock_SetWaitMilliseconds(300);
  char byte = 0;
  EXPECT_EQ(Sock_Read(sock, 1, &byte), 0u);
  EXPECT_NE(Sock_GetError(sock), Error_Ended);
  EXPECT_NE(Sock_GetError(sock), Error_None);
}

TEST_F(SockTransfer, NeverTakesARefusalForTheEnd_WhenAnotherCallWasTold) {
  const char byte = 'x';
  for (const bool isWritten : {true, false}) {
    ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
    ASSERT_EQ(Sock_SetAsync(sock, isWritten ? 1 : 0), Error_None);
    const ErrorCode refused = Sock_Connect(sock, "127.0.0.1", loopback::UnusedPort());
    if (isWritten) {
      EXPECT_EQ(Sock_Write(sock, 1, &byte), 0u);
    } else {
      EXPECT_EQ(refused, Error_NoAccess);
    }
    iSock_SetWaitMilliseconds(300);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(Read(1), "");
      EXPECT_NE(Sock_GetError(sock), Error_Ended);
      EXPECT_NE(Sock_GetError(sock), Error_None);
    }
    Sock_Delete(sock);
    sock = nullptr;
    iSock_SetWaitMilliseconds(10000);
  }
}

// What failed before is forgotten once the socket connects after all.
TEST_F(SockTransfer, ReadsThePeersEnd_WhenAnEarlierAttemptWasRefused) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_Connect(sock, "127.0.0.1", loopback::UnusedPort()), Error_NoAccess);
  // Some systems answer the next attempt with the end of the one before.
  if (Sock_Connect(sock, "127.0.0.1", listener.port()) != Error_None) {
    ASSERT_EQ(Sock_Connect(sock, "127.0.0.1", listener.port()), Error_None);
  }
  peer = listener.Accept();
  ASSERT_TRUE(peer.Send("x"));
  peer.Close();
  EXPECT_EQ(Read(1), "x");
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
}

// Bytes tell that the connection was made; the reset behind them is the reader's.
TEST_F(SockTransfer, LeavesAResetBehindBytesToTheReader_WhenTheConnectionWasJustMade) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
  ASSERT_NE(Sock_Connect(sock, "127.0.0.1", listener.port()), Error_Fail);
  peer = listener.Accept();
  ASSERT_TRUE(peer.IsOpen());
  ASSERT_TRUE(peer.Send("hi"));
  ASSERT_TRUE(WaitForPending(2));
  peer.Reset();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_None);
  EXPECT_EQ(Read(2), "hi");
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
}

TEST_F(SockTransfer, LeavesAResetToTheReader_WhenEveryByteBeforeItWasRead) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
  ASSERT_NE(Sock_Connect(sock, "127.0.0.1", listener.port()), Error_Fail);
  peer = listener.Accept();
  ASSERT_TRUE(peer.IsOpen());
  ASSERT_TRUE(peer.Send("hi"));
  ASSERT_TRUE(WaitForPending(2));
  EXPECT_EQ(Read(2), "hi");
  peer.Reset();
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_None);
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
}

TEST_F(SockTransfer, NeverTakesAResetForTheEnd_WhenASelectSawItFirst) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
  ASSERT_NE(Sock_Connect(sock, "127.0.0.1", listener.port()), Error_Fail);
  peer = listener.Accept();
  ASSERT_TRUE(peer.IsOpen());
  peer.Reset();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  Sock_ClearError(sock);
  Sock_SelectRead(sock, 5, 0);
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
}

// A caller that waits in slices has other statuses between the attempt and its end.
TEST_F(SockTransfer, TellsThatAnAsyncConnectionFailed_WhateverCameBetween) {
  for (const bool isCleared : {false, true}) {
    loopback::Listener full(0);
    std::vector<loopback::Connection> waiting;
    for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
    ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
    ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
    ASSERT_EQ(Sock_Connect(sock, "127.0.0.1", full.port()), Error_Block);
    EXPECT_EQ(Sock_SelectWrite(sock, 0, 50000), Error_Timeout);
    if (isCleared) {
      EXPECT_EQ(Sock_Write(sock, 0, nullptr), 0u);
      EXPECT_EQ(Sock_GetError(sock), Error_None);
    }
    // The next attempt of the system to reach the port is refused.
    full.Close();
    waiting.clear();
    EXPECT_EQ(Sock_SelectWrite(sock, 20, 0), Error_NoAccess);
    EXPECT_EQ(Sock_GetError(sock), Error_NoAccess);
    Sock_Delete(sock);
    sock = nullptr;
  }
}

TEST_F(SockTransfer, TellsThatAnAsyncConnectionFailed_WhenItWasAskedForTwice) {
  loopback::Listener full(0);
  std::vector<loopback::Connection> waiting;
  for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
  ASSERT_EQ(Sock_Connect(sock, "127.0.0.1", full.port()), Error_Block);
  // The attempt continues.
  EXPECT_NE(Sock_Connect(sock, "127.0.0.1", full.port()), Error_None);
  EXPECT_EQ(Sock_SelectWrite(sock, 0, 50000), Error_Timeout);
  // The next attempt of the system to reach the port is refused.
  full.Close();
  waiting.clear();
  EXPECT_EQ(Sock_SelectWrite(sock, 20, 0), Error_NoAccess);
}

// The error that ends a connection is the reader's: a wait for room that took it would leave the reader a
// plain end.
TEST_F(SockTransfer, LeavesAResetToTheReader_WhenTheConnectionWasMadeLongAgo) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_SetAsync(sock, 1), Error_None);
  ASSERT_NE(Sock_Connect(sock, "127.0.0.1", listener.port()), Error_Fail);
  peer = listener.Accept();
  ASSERT_TRUE(peer.IsOpen());
  ASSERT_EQ(Sock_Write(sock, 2, "hi"), 2u);
  std::string got;
  ASSERT_EQ(peer.ReceiveExactly(&got, 2), loopback::Result::Data);
  peer.Reset();
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), Error_None);
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), Error_None);
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
}

TEST_F(SockTransfer, GivesTimeout_WhenNoConnectionIsMade) {
  // A listener whose queue is full does not answer.
  loopback::Listener full(0);
  std::vector<loopback::Connection> waiting;
  for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
  iSock_SetWaitMilliseconds(300);
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  const Stopwatch watch;
  EXPECT_EQ(Sock_Connect(sock, "127.0.0.1", full.port()), Error_Timeout);
  EXPECT_GE(watch.Milliseconds(), 290);
  EXPECT_LT(watch.Milliseconds(), 3000);
}

// The time limit ends the wait, not the attempt.
TEST_F(SockTransfer, TellsThatAConnectionFailed_WhenTheWaitForItTimedOut) {
  loopback::Listener full(0);
  std::vector<loopback::Connection> waiting;
  for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
  iSock_SetWaitMilliseconds(100);
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_Connect(sock, "127.0.0.1", full.port()), Error_Timeout);
  Sock_ClearError(sock);
  // The next attempt of the system to reach the port is refused.
  full.Close();
  waiting.clear();
  EXPECT_EQ(Sock_SelectWrite(sock, 20, 0), Error_NoAccess);
}

TEST_F(SockTransfer, EndsEveryWaitAtTheTimeoutThatIsSet) {
  Open();
  loopback::Listener full(0);
  std::vector<loopback::Connection> waiting;
  for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
  Sock* listening = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &listening), Error_None);
  Sock* connecting = nullptr;
  ASSERT_EQ(Sock_NewCreate(&connecting), Error_None);
  const std::string block(64 << 20, 'w');
  Sock_SetTimeout(250);
  const std::function<ErrorCode()> waits[] = {
      [&] { return Sock_Connect(connecting, "127.0.0.1", full.port()); },
      [&] {
        Sock* accepted = nullptr;
        return Sock_Accept(listening, &accepted);
      },
      [&] { return Read(1), Sock_GetError(sock); },
      [&] {
        Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data());
        return Sock_GetError(sock);
      }};
  for (const auto& wait : waits) {
    const Stopwatch watch;
    EXPECT_EQ(wait(), Error_Timeout);
    EXPECT_GE(watch.Milliseconds(), 240);
    EXPECT_LT(watch.Milliseconds(), 3000);
  }
  Sock_Delete(connecting);
  Sock_Delete(listening);
}

TEST_F(SockTransfer, WaitsSixtyOneSeconds_UnlessATimeoutIsSet) {
  Sock_SetTimeout(5);
  EXPECT_EQ(iSock_GetWaitMilliseconds(), 5u);
  Sock_SetTimeout(4294967295u);
  EXPECT_EQ(iSock_GetWaitMilliseconds(), 4294967295u);
  EXPECT_GE(iSock_TrickleDeadlineMilliseconds(), 42949672950u);
  Sock_SetTimeout(0);
  EXPECT_EQ(iSock_GetWaitMilliseconds(), 61000u);
}

// A wait that times out is no failure of the system, and is told with its name all the same.
TEST_F(SockTransfer, RecordsItsTimeouts) {
  iSock_SetWaitMilliseconds(50);
  loopback::Listener full(0);
  std::vector<loopback::Connection> waiting;
  for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  Error_ClearLast();
  EXPECT_EQ(Sock_Connect(sock, "127.0.0.1", full.port()), Error_Timeout);
  ErrorDetail detail;
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.status, Error_Timeout);
  EXPECT_EQ(detail.systemNumber, 0u);
  EXPECT_STREQ(detail.operation, "Sock_Connect");
  EXPECT_STREQ(detail.name, "127.0.0.1");
  Sock_Delete(sock);
  sock = nullptr;

  Open();
  Error_ClearLast();
  EXPECT_EQ(Read(1), "");
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.status, Error_Timeout);
  EXPECT_STREQ(detail.operation, "Sock_Read");
  Error_ClearLast();
  const std::string block(64 << 20, 'w');
  Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data());
  ASSERT_EQ(Error_GetLast(&detail), Error_None);
  EXPECT_EQ(detail.status, Error_Timeout);
  EXPECT_STREQ(detail.operation, "Sock_Write");
}

}  // namespace
