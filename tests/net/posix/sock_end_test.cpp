// Sockets: the end of what a peer sent, where the system tells it from a reset that comes behind it.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "tests/net/sock_transfer_fixture.h"

namespace {

// The peer has sent everything and closed. That it takes no more bytes does not make what it sent incomplete.
TEST_F(SockTransfer, KeepsThePeersEnd_WhenALaterWriteFails) {
  Open();
  ASSERT_TRUE(peer.Send("whole"));
  peer.Close();
  for (int i = 0; i < 2000 && Sock_Write(sock, 1, "x") == 1; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
  EXPECT_EQ(ReadAll(100), "whole");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
}

TEST_F(SockTransfer, KeepsThePeersEnd_WhenAWriteFailsAfterTheOwnShutdown) {
  Open();
  EXPECT_EQ(Sock_Shutdown(sock, SockShutdown_Send), Error_None);
  EXPECT_EQ(Sock_Write(sock, 1, "x"), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_Retry);
  ASSERT_TRUE(peer.Send("whole"));
  peer.Close();
  EXPECT_EQ(ReadAll(100), "whole");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
}

}  // namespace
