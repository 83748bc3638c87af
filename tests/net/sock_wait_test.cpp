// Sockets: waiting for readiness, for a caller and for a connection.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "tests/net/sock_transfer_fixture.h"

namespace {

TEST_F(SockTransfer, SelectsUntilTheTimeIsOver) {
  Open();
  Stopwatch watch;
  EXPECT_EQ(Sock_SelectRead(sock, 0, 200000), 8);
  EXPECT_GE(watch.Milliseconds(), 190);
  EXPECT_EQ(Sock_GetError(sock), 8);
  watch = Stopwatch();
  // A million microseconds and more carry over into the seconds.
  EXPECT_EQ(Sock_SelectRead(sock, 0, 1200000), 8);
  EXPECT_GE(watch.Milliseconds(), 1190);
  EXPECT_LT(watch.Milliseconds(), 5000);
}

TEST_F(SockTransfer, GivesTheEarlierFailure_WhenTheSocketIsReady) {
  Open();
  ASSERT_TRUE(peer.Send("x"));
  ASSERT_TRUE(WaitForPending(1));
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), 0);
  int32_t value = 0;
  EXPECT_EQ(Sock_SetOpt(sock, 0x7FFF, 0x7FFF, &value, 4), -1);
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), -1);
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), -1);
  EXPECT_EQ(Read(1), "x");
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), 0);
  // A time-out is a failure like any other.
  EXPECT_EQ(Sock_SelectRead(sock, 0, 1000), 8);
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), 8);
}

TEST_F(SockTransfer, SelectsThePeersEnd) {
  Open();
  peer.Close();
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), 0);
}

TEST_F(SockTransfer, SelectsUrgentDataWithoutAFailure) {
  Open();
  ASSERT_TRUE(peer.SendUrgent('!'));
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), 0);
}

TEST_F(SockTransfer, SelectsWritingOnlyWithRoom) {
  Open();
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), 0);
  iSock_SetWaitMilliseconds(200);
  const std::string block(64 << 20, 'w');
  Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data());
  Sock_Write(sock, 0, nullptr);
  EXPECT_EQ(Sock_GetError(sock), 0);
  EXPECT_EQ(Sock_SelectWrite(sock, 0, 50000), 8);
}

TEST_F(SockTransfer, TurnsAsyncOnByOneOnly) {
  ASSERT_EQ(Sock_OpenListen(0, &sock), 0);
  iSock_SetWaitMilliseconds(300);
  Sock* accepted = nullptr;
  struct Row {
    int32_t flag;
    ErrorCode status;
  };
  for (const Row& row : {Row{1, 6}, Row{0, 8}, Row{1, 6}, Row{2, 8}, Row{-1, 8}}) {
    ASSERT_EQ(Sock_SetAsync(sock, row.flag), 0);
    const Stopwatch watch;
    EXPECT_EQ(Sock_Accept(sock, &accepted), row.status) << row.flag;
    EXPECT_EQ(accepted, nullptr);
    EXPECT_EQ(Sock_GetError(sock), row.status);
    EXPECT_EQ(watch.Milliseconds() >= 290, row.status == 8);
  }
}

// A mode that was set while an accept waited holds for the next one, which would else wait without end.
TEST_F(SockTransfer, StaysAsync_WhenThatWasAskedForDuringAnAccept) {
  ASSERT_EQ(Sock_OpenListen(0, &sock), 0);
  uint8_t port[2];
  ASSERT_EQ(Sock_GetSockName(sock, nullptr, port), 0);
  const auto number = static_cast<uint16_t>(port[0] * 256 + port[1]);
  const auto accept = [this] {
    Sock* accepted = nullptr;
    const ErrorCode status = Sock_Accept(sock, &accepted);
    if (accepted != nullptr) Sock_Delete(accepted);
    return status;
  };
  auto first = std::async(std::launch::async, accept);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  ASSERT_EQ(Sock_SetAsync(sock, 1), 0);
  const loopback::Connection caller = loopback::Connect(number);
  EXPECT_EQ(first.get(), 0);

  auto second = std::async(std::launch::async, accept);
  EXPECT_EQ(second.wait_for(std::chrono::seconds(3)), std::future_status::ready);
  // Frees a call that does wait.
  const loopback::Connection other = loopback::Connect(number);
  EXPECT_EQ(second.get(), 6);
}

TEST_F(SockTransfer, ConnectsWithoutWaiting_WhenAsync) {
  ASSERT_EQ(Sock_NewCreate(&sock), 0);
  ASSERT_EQ(Sock_SetAsync(sock, 1), 0);
  const ErrorCode status = Sock_Connect(sock, "127.0.0.1", listener.port());
  EXPECT_TRUE(status == 6 || status == 0) << status;
  peer = listener.Accept();
  ASSERT_TRUE(peer.IsOpen());
  Sock_Write(sock, 0, nullptr);
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), 0);
  EXPECT_EQ(Sock_Write(sock, 2, "hi"), 2u);
}

// What a read or a write of a connection still being made does: it waits for it.
TEST_F(SockTransfer, WaitsForAConnectionThatIsBeingMade) {
  loopback::Listener full(0);
  std::vector<loopback::Connection> waiting;
  for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
  iSock_SetWaitMilliseconds(300);
  ASSERT_EQ(Sock_NewCreate(&sock), 0);
  ASSERT_EQ(Sock_SetAsync(sock, 1), 0);
  ASSERT_EQ(Sock_Connect(sock, "127.0.0.1", full.port()), 6);
  Stopwatch watch;
  EXPECT_EQ(Sock_Write(sock, 2, "hi"), 0u);
  EXPECT_EQ(Sock_GetError(sock), 8);
  EXPECT_GE(watch.Milliseconds(), 290);
  watch = Stopwatch();
  EXPECT_EQ(Read(2), "");
  EXPECT_EQ(Sock_GetError(sock), 8);
  EXPECT_GE(watch.Milliseconds(), 290);
}

TEST_F(SockTransfer, TellsByWritabilityHowAnAsyncConnectionEnded) {
  ASSERT_EQ(Sock_NewCreate(&sock), 0);
  ASSERT_EQ(Sock_SetAsync(sock, 1), 0);
  const ErrorCode refused = Sock_Connect(sock, "127.0.0.1", loopback::UnusedPort());
  ASSERT_TRUE(refused == 6 || refused == -5) << refused;
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), -5);
  Sock_Delete(sock);

  ASSERT_EQ(Sock_NewCreate(&sock), 0);
  ASSERT_EQ(Sock_SetAsync(sock, 1), 0);
  const ErrorCode begun = Sock_Connect(sock, "127.0.0.1", listener.port());
  ASSERT_TRUE(begun == 6 || begun == 0) << begun;
  // The status of the attempt stays until another call sets it.
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), begun);
  EXPECT_EQ(Sock_Write(sock, 2, "hi"), 2u);
  EXPECT_EQ(Sock_GetError(sock), 0);
}

// A caller that waits in slices has other statuses between the attempt and its end.
TEST_F(SockTransfer, TellsThatAnAsyncConnectionFailed_WhateverCameBetween) {
  for (const bool isCleared : {false, true}) {
    loopback::Listener full(0);
    std::vector<loopback::Connection> waiting;
    for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
    ASSERT_EQ(Sock_NewCreate(&sock), 0);
    ASSERT_EQ(Sock_SetAsync(sock, 1), 0);
    ASSERT_EQ(Sock_Connect(sock, "127.0.0.1", full.port()), 6);
    EXPECT_EQ(Sock_SelectWrite(sock, 0, 50000), 8);
    if (isCleared) {
      EXPECT_EQ(Sock_Write(sock, 0, nullptr), 0u);
      EXPECT_EQ(Sock_GetError(sock), 0);
    }
    // The next attempt of the system to reach the port is refused.
    full.Close();
    waiting.clear();
    EXPECT_EQ(Sock_SelectWrite(sock, 20, 0), -5);
    EXPECT_EQ(Sock_GetError(sock), -5);
    Sock_Delete(sock);
    sock = nullptr;
  }
}

TEST_F(SockTransfer, TellsThatAnAsyncConnectionFailed_WhenItWasAskedForTwice) {
  loopback::Listener full(0);
  std::vector<loopback::Connection> waiting;
  for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
  ASSERT_EQ(Sock_NewCreate(&sock), 0);
  ASSERT_EQ(Sock_SetAsync(sock, 1), 0);
  ASSERT_EQ(Sock_Connect(sock, "127.0.0.1", full.port()), 6);
  // The attempt goes on.
  EXPECT_NE(Sock_Connect(sock, "127.0.0.1", full.port()), 0);
  EXPECT_EQ(Sock_SelectWrite(sock, 0, 50000), 8);
  // The next attempt of the system to reach the port is refused.
  full.Close();
  waiting.clear();
  EXPECT_EQ(Sock_SelectWrite(sock, 20, 0), -5);
}

// The error that ends a connection is the reader's: a wait for room that took it would leave the reader a
// plain end.
TEST_F(SockTransfer, LeavesAResetToTheReader_WhenTheConnectionWasMadeLongAgo) {
  ASSERT_EQ(Sock_NewCreate(&sock), 0);
  ASSERT_EQ(Sock_SetAsync(sock, 1), 0);
  ASSERT_NE(Sock_Connect(sock, "127.0.0.1", listener.port()), -1);
  peer = listener.Accept();
  ASSERT_TRUE(peer.IsOpen());
  ASSERT_EQ(Sock_Write(sock, 2, "hi"), 2u);
  std::string got;
  ASSERT_EQ(peer.ReceiveExactly(&got, 2), loopback::Result::Data);
  peer.Reset();
  EXPECT_EQ(Sock_SelectRead(sock, 5, 0), 0);
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), 0);
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), 9);
}

TEST_F(SockTransfer, GivesTimeout_WhenNoConnectionIsMade) {
  // A listener whose queue is full does not answer.
  loopback::Listener full(0);
  std::vector<loopback::Connection> waiting;
  for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
  iSock_SetWaitMilliseconds(300);
  ASSERT_EQ(Sock_NewCreate(&sock), 0);
  const Stopwatch watch;
  EXPECT_EQ(Sock_Connect(sock, "127.0.0.1", full.port()), 8);
  EXPECT_GE(watch.Milliseconds(), 290);
  EXPECT_LT(watch.Milliseconds(), 3000);
}

}  // namespace
