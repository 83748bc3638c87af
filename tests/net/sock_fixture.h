// A running socket layer and a connection: the library's end and the test's own.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "net/sock_testing.h"
#include "os/core/socketlayer_internal.h"
#include "qz/error.h"
#include "qz/sock.h"
#include "tests/support/loopback.h"

class SockTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(iSock_Init(), Error_None);
    ASSERT_EQ(iSock_CountLive(), 0u);
    iSock_SetWaitMilliseconds(10000);
  }
  void TearDown() override {
    if (sock != nullptr) {
      EXPECT_EQ(Sock_Delete(sock), Error_None);
    }
    iSock_SetWaitMilliseconds(0);
    iSock_SetLookUp(nullptr);
    EXPECT_EQ(iSock_CountLive(), 0u);
    iSock_Exit();
  }

  void Open(uint32_t bufferKind = 0) {
    ASSERT_EQ(Sock_OpenConnectBuffer(bufferKind, "127.0.0.1", listener.port(), &sock), Error_None);
    peer = listener.Accept();
    ASSERT_TRUE(peer.IsOpen());
  }

  // One Sock_Read of up to `count` bytes.
  std::string Read(uint32_t count) {
    std::string bytes(count, '\0');
    bytes.resize(Sock_Read(sock, count, bytes.data()));
    return bytes;
  }

  // Waits until so many bytes can be read at once.
  bool WaitForPending(uint32_t count) {
    for (int i = 0; i < 2000; ++i) {
      uint32_t pending = 0;
      if (Sock_ReadAvail(sock, &pending) == 0 && pending >= count) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
  }

  loopback::Listener listener;
  loopback::Connection peer;
  Sock* sock = nullptr;
};

// Milliseconds since it was made.
class Stopwatch {
 public:
  int64_t Milliseconds() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start_)
        .count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};
