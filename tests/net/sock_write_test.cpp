// Sockets: writing.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "tests/net/sock_transfer_fixture.h"

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
    EXPECT_EQ(Sock_GetError(sock), 0);
    reader.join();
    EXPECT_TRUE(got == block);
    Sock_Delete(sock);
    sock = nullptr;
  }
}

TEST_F(SockTransfer, WritesNothingWithoutAStatus) {
  Open();
  EXPECT_EQ(Sock_SetAsync(sock, 0), 0);
  EXPECT_EQ(Sock_SetOpt(sock, 0x7FFF, 0x7FFF, "xxxx", 4), -1);
  EXPECT_EQ(Sock_Write(sock, 0, nullptr), 0u);
  EXPECT_EQ(Sock_GetError(sock), 0);
}

TEST_F(SockTransfer, GivesTimeoutAndThePart_WhenThePeerTakesNoMore) {
  Open();
  iSock_SetWaitMilliseconds(300);
  const std::string block(64 << 20, 'w');
  const Stopwatch watch;
  const uint32_t written = Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data());
  EXPECT_EQ(Sock_GetError(sock), 8);
  EXPECT_GT(written, 0u);
  EXPECT_LT(written, block.size());
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
  EXPECT_EQ(Sock_GetError(sock), 9);
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
