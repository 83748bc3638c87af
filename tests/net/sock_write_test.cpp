// Sockets: writing.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>

#include "tests/net/sock_transfer_fixture.h"
#include "tests/support/socket_probe.h"

using loopback::Result;

namespace {

TEST_F(SockTransfer, WritesEverything) {
  const std::string block = Pattern(3 << 20);
  for (const int32_t async : {0, 1}) {
    Open();
    Sock_SetAsync(sock, async);
    std::string got;
    std::thread reader([&] { peer.ReceiveExactly(&got, block.size()); });
    EXPECT_EQ(Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data()), block.size());
    EXPECT_EQ(Sock_GetError(sock), Error_None);
    reader.join();
    EXPECT_TRUE(got == block);
    Sock_Delete(sock);
    sock = nullptr;
  }
}

TEST_F(SockTransfer, WritesNothingWithoutAStatus) {
  Open();
  EXPECT_EQ(Sock_SetAsync(sock, 0), Error_None);
  EXPECT_EQ(Sock_SetOpt(sock, 0x7FFF, 0x7FFF, "xxxx", 4), Error_Fail);
  EXPECT_EQ(Sock_Write(sock, 0, nullptr), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
}

// Nothing to write is no failure, wherever it should go.
TEST_F(SockTransfer, WritesNothingAfterAClose) {
  Open();
  Sock_Close(sock);
  EXPECT_EQ(Sock_Write(sock, 1, "x"), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
  EXPECT_EQ(Sock_Write(sock, 0, "x"), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
}

TEST_F(SockTransfer, GivesTimeoutAndThePart_WhenThePeerTakesNoMore) {
  Open();
  iSock_SetWaitMilliseconds(300);
  const std::string block(64 << 20, 'w');
  const Stopwatch watch;
  const uint32_t written = Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data());
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  EXPECT_GT(written, 0u);
  EXPECT_LT(written, block.size());
  EXPECT_LT(watch.Milliseconds(), 5000);
}

// Takes about 13,000 bytes a second until `isDone`, then the rest at once.
std::string TakeSlowly(Sock* peerSock, size_t count, const std::atomic<bool>& isDone) {
  std::string got(count, '\0');
  size_t taken = 0;
  while (taken < count) {
    if (!isDone) std::this_thread::sleep_for(std::chrono::milliseconds(150));
    const size_t left = count - taken;
    const auto asked = static_cast<uint32_t>(isDone || left < 2000 ? left : 2000);
    const uint32_t read = Sock_Read(peerSock, asked, got.data() + taken);
    if (read == 0) break;
    taken += read;
  }
  got.resize(taken);
  return got;
}

// A connection to a peer that is the library's too, with buffers of known size. Systems double the send
// buffer's, and report a socket as writable only once a third of it is free.
class SockSlowPeer : public SockTransfer {
 protected:
  void OpenWithSendBuffer(int32_t sendBytes) {
    uint8_t port[2];
    const int32_t receiveBytes = 8192;
    ASSERT_EQ(Sock_OpenListen(0, &server_), Error_None);
    // Before the connection is made, so that its window is small from the start.
    ASSERT_EQ(Sock_SetOpt(server_, socket_probe::SocketLevel(), socket_probe::ReceiveBufferOption(),
                          &receiveBytes, sizeof receiveBytes),
              Error_None);
    ASSERT_EQ(Sock_GetSockName(server_, nullptr, port), Error_None);
    const auto number = static_cast<uint16_t>(port[0] * 256 + port[1]);
    ASSERT_EQ(Sock_OpenConnectBuffer(SockBuffer_System, "127.0.0.1", number, &sock), Error_None);
    ASSERT_EQ(Sock_SetOpt(sock, socket_probe::SocketLevel(), socket_probe::SendBufferOption(), &sendBytes,
                          sizeof sendBytes),
              Error_None);
    ASSERT_EQ(Sock_Accept(server_, &slow), Error_None);
  }
  void TearDown() override {
    if (slow != nullptr) Sock_Delete(slow);
    if (server_ != nullptr) Sock_Delete(server_);
    SockTransfer::TearDown();
  }

  Sock* slow = nullptr;

 private:
  Sock* server_ = nullptr;
};

// A peer that takes less than a third of the buffer, 40,000 bytes, within the time limit is alive all the
// same.
TEST_F(SockSlowPeer, TakesEverythingInTheEnd) {
  OpenWithSendBuffer(60000);
  iSock_SetWaitMilliseconds(2000);
  const std::string block = Pattern(150000);
  std::atomic<bool> isWritten{false};
  std::string got;
  std::thread reader([&] { got = TakeSlowly(slow, block.size(), isWritten); });
  const Stopwatch watch;
  EXPECT_EQ(Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data()), block.size());
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_GT(watch.Milliseconds(), 1500) << "the peer was not slow";
  isWritten = true;
  if (Sock_GetError(sock) != Error_None) Sock_Close(sock);
  reader.join();
  EXPECT_TRUE(got == block);
}

// A write uses the space of a few bytes within a slice. One that waited for the system's word would take the
// whole time limit.
TEST_F(SockSlowPeer, IsSentTheNextBytesSoon_WhenItTookAFew) {
  OpenWithSendBuffer(200000);
  iSock_SetWaitMilliseconds(300);
  const std::string block = Pattern(4 << 20);
  EXPECT_LT(Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data()), block.size());
  ASSERT_EQ(Sock_GetError(sock), Error_Timeout);
  iSock_SetWaitMilliseconds(15000);
  auto writing =
      std::async(std::launch::async, [this] { return Sock_Write(sock, 100, std::string(100, 'n').data()); });
  EXPECT_EQ(writing.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
  std::string taken(70000, '\0');
  for (size_t count = 0; count < taken.size();) {
    const uint32_t read = Sock_Read(slow, static_cast<uint32_t>(taken.size() - count), taken.data() + count);
    ASSERT_NE(read, 0u);
    count += read;
  }
  EXPECT_TRUE(taken == block.substr(0, taken.size()));
  const Stopwatch watch;
  EXPECT_EQ(writing.get(), 100u);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_LT(watch.Milliseconds(), 5000);
}

TEST_F(SockTransfer, GivesAFailure_WhenThePeerHasReset) {
  Open();
  peer.Reset();
  const std::string block(1 << 20, 'w');
  // The first write may be taken over before the reset is seen; the signal that kills others must not come.
  for (int i = 0; i < 50 && Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data()) != 0; ++i) {
  }
  EXPECT_EQ(Sock_Write(sock, 1, "x"), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
}

TEST_F(SockTransfer, LetsOneThreadReadWhileAnotherWrites) {
  Open();
  const std::string block = Pattern(4 << 20);
  std::thread echo([&] {
    std::string piece;
    size_t echoed = 0;
    while (echoed < block.size() && peer.ReceiveSome(&piece) == Result::Data) {
      echoed += piece.size();
      peer.Send(piece);
      piece.clear();
    }
  });
  std::thread writer([&] { Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data()); });
  std::string got;
  while (got.size() < block.size()) {
    const std::string piece = Read(65536);
    if (piece.empty()) break;
    got += piece;
  }
  writer.join();
  echo.join();
  EXPECT_TRUE(got == block);
}

}  // namespace
