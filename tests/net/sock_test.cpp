// Sockets: making, connecting, moving bytes.
#include "qz/sock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "net/sock_internal.h"
#include "os/socketlayer_internal.h"
#include "qz/error.h"
#include "tests/support/loopback.h"
#include "tests/support/scripted_server.h"

using loopback::Result;

namespace {

class SockTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(iSock_Init(), 0);
    ASSERT_EQ(iSock_CountLive(), 0u);
    iSock_SetWaitMilliseconds(10000);
  }
  void TearDown() override {
    iSock_SetWaitMilliseconds(0);
    iSock_SetLookUp(nullptr);
    EXPECT_EQ(iSock_CountLive(), 0u);
    iSock_Exit();
  }

  // A socket of the library and the test's own end of the same connection.
  void Open(uint32_t bufferKind = 0) {
    ASSERT_EQ(Sock_OpenConnectBuffer(bufferKind, "127.0.0.1", listener.port(), &sock), 0);
    peer = listener.Accept();
    ASSERT_TRUE(peer.IsOpen());
  }

  loopback::Listener listener;
  loopback::Connection peer;
  Sock* sock = nullptr;
};

TEST_F(SockTest, ReadsWhatHasArrivedAndNoMore) {
  Open();
  ASSERT_TRUE(peer.Send(std::string(30, 'x')));
  ASSERT_EQ(Sock_SelectRead(sock, 5, 0), 0);
  char bytes[100];
  EXPECT_EQ(Sock_Read(sock, 100, bytes), 30u);
  EXPECT_EQ(Sock_GetError(sock), 0);
  EXPECT_EQ(std::string(bytes, 30), std::string(30, 'x'));
  EXPECT_EQ(Sock_Delete(sock), 0);
}

TEST_F(SockTest, GivesEnded_WhenThePeerHasClosed) {
  Open();
  peer.Close();
  char byte = 0;
  EXPECT_EQ(Sock_Read(sock, 1, &byte), 0u);
  EXPECT_EQ(Sock_GetError(sock), 4);
  EXPECT_EQ(Sock_Delete(sock), 0);
}

TEST_F(SockTest, WritesEverything) {
  Open();
  const std::string block(3 << 20, 'w');
  std::string got;
  std::thread reader([&] { peer.ReceiveExactly(&got, block.size()); });
  EXPECT_EQ(Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data()), block.size());
  EXPECT_EQ(Sock_GetError(sock), 0);
  reader.join();
  EXPECT_TRUE(got == block);
  EXPECT_EQ(Sock_Delete(sock), 0);
}

}  // namespace
