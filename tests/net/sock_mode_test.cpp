// Sockets: the blocking mode while several threads use one socket.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "tests/net/sock_transfer_fixture.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class SockMode : public SockTransfer {
 protected:
  // Makes `sock` a listener and gives its port.
  uint16_t Listen() {
    EXPECT_EQ(Sock_OpenListen(0, &sock), Error_None);
    uint8_t port[2] = {};
    EXPECT_EQ(Sock_GetSockName(sock, nullptr, port), Error_None);
    return static_cast<uint16_t>(port[0] * 256 + port[1]);
  }

  // One Sock_Accept; what it accepted is deleted.
  ErrorCode Accept() {
    Sock* accepted = nullptr;
    const ErrorCode status = Sock_Accept(sock, &accepted);
    if (accepted != nullptr) Sock_Delete(accepted);
    return status;
  }
};

// A mode set while another thread writes holds: the next write without room still ends with a time-out, and
// a close ends at once.
TEST_F(SockMode, KeepsTheModeSetWhileAnotherThreadWrites) {
  for (int round = 0; round < 3; ++round) {
    Open();
    iSock_SetWaitMilliseconds(300);
    std::atomic<bool> drains{true};
    std::thread drain([&] {
      std::string piece;
      while (drains && peer.ReceiveSome(&piece, 65536, 50) != loopback::Result::Reset) piece.clear();
    });
    std::atomic<bool> writes{true};
    std::thread writer([&] {
      const std::string bytes(100, 'w');
      while (writes) Sock_Write(sock, 100, bytes.data());
    });
    for (int toggle = 0; toggle < 500; ++toggle) EXPECT_EQ(Sock_SetAsync(sock, toggle % 2), Error_None);
    writes = false;
    writer.join();
    drains = false;
    drain.join();

    const std::string block(64 << 20, 'w');
    auto stalled = std::async(std::launch::async, [&] {
      Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data());
      return Sock_GetError(sock);
    });
    EXPECT_EQ(stalled.wait_for(seconds(5)), std::future_status::ready) << "the write blocks";
    peer.Reset();  // frees a write that blocks
    EXPECT_EQ(stalled.get(), Error_Timeout);
    Sock_Delete(sock);
    sock = nullptr;
  }
}

TEST_F(SockMode, ClosesAtOnce_WhileTheModeIsToggledUnderAWriter) {
  for (int round = 0; round < 10; ++round) {
    Open();
    std::thread writer([&] {
      const std::string block(1 << 20, 'w');
      while (Sock_Write(sock, 1 << 20, block.data()) == 1 << 20) {
      }
    });
    std::vector<std::thread> togglers;
    for (int i = 0; i < 3; ++i) {
      togglers.emplace_back([&] {
        for (int flag = 0; Sock_SetAsync(sock, flag) == Error_None; flag = 1 - flag) {
        }
      });
    }
    std::this_thread::sleep_for(milliseconds(20 + 5 * round));
    auto closing = std::async(std::launch::async, [&] { return Sock_Close(sock); });
    EXPECT_EQ(closing.wait_for(seconds(1)), std::future_status::ready) << "the close waits for the writer";
    peer.Reset();  // frees a write that blocks
    EXPECT_EQ(closing.get(), Error_None);
    writer.join();
    for (std::thread& toggler : togglers) toggler.join();
    EXPECT_EQ(Sock_SetAsync(sock, 1), Error_Cancel);
    Sock_Delete(sock);
    sock = nullptr;
  }
}

// The system makes an accepted socket; whatever its mode, the library's is what counts.
TEST_F(SockMode, EndsAWriteInTime_OnASocketThatWasAccepted) {
  loopback::Connection client = loopback::Connect(Listen());
  Sock* accepted = nullptr;
  ASSERT_EQ(Sock_Accept(sock, &accepted), Error_None);
  iSock_SetWaitMilliseconds(300);
  const std::string block(64 << 20, 'w');
  auto stalled = std::async(std::launch::async, [&] {
    Sock_Write(accepted, static_cast<uint32_t>(block.size()), block.data());
    return Sock_GetError(accepted);
  });
  EXPECT_EQ(stalled.wait_for(seconds(5)), std::future_status::ready) << "the write blocks";
  client.Reset();  // frees a write that blocks
  EXPECT_EQ(stalled.get(), Error_Timeout);
  Sock_Delete(accepted);
}

// All of them wake up for one connection, and one gets it. The others must not be left waiting in the system.
TEST_F(SockMode, LeavesNobodyInside_WhenManyThreadsAccept) {
  constexpr int kAcceptors = 8;
  const uint16_t port = Listen();
  iSock_SetWaitMilliseconds(1000);
  for (int round = 0; round < 8; ++round) {
    std::vector<std::future<ErrorCode>> acceptors;
    for (int i = 0; i < kAcceptors; ++i)
      acceptors.push_back(std::async(std::launch::async, [this] { return Accept(); }));
    std::this_thread::sleep_for(milliseconds(10));
    std::vector<loopback::Connection> callers;
    for (int i = 0; i < 3; ++i) callers.push_back(loopback::Connect(port));
    int accepted = 0;
    int timedOut = 0;
    for (std::future<ErrorCode>& acceptor : acceptors) {
      EXPECT_EQ(acceptor.wait_for(seconds(5)), std::future_status::ready) << "left inside accept";
      // Frees one that is left inside.
      while (acceptor.wait_for(seconds(0)) != std::future_status::ready)
        callers.push_back(loopback::Connect(port));
      const ErrorCode status = acceptor.get();
      accepted += status == Error_None ? 1 : 0;
      timedOut += status == Error_Timeout ? 1 : 0;
    }
    EXPECT_EQ(accepted, 3);
    EXPECT_EQ(timedOut, kAcceptors - 3);
    if (HasFailure()) break;
  }
}

// Connections that others always take first do not keep a thread in an accept beyond the time limit.
TEST_F(SockMode, EndsAnAcceptInTime_WhileOthersTakeEveryConnection) {
  const uint16_t port = Listen();
  iSock_SetWaitMilliseconds(500);
  std::atomic<bool> runs{true};
  std::vector<std::thread> takers;
  for (int i = 0; i < 3; ++i) {
    takers.emplace_back([&] {
      while (runs) {
        const ErrorCode status = Accept();
        EXPECT_TRUE(status == Error_None || status == Error_Timeout) << status;
      }
    });
  }
  std::thread caller([&] {
    while (runs) loopback::Connect(port, 100);
  });
  for (int i = 0; i < 3; ++i) {
    const Stopwatch watch;
    Accept();
    EXPECT_LT(watch.Milliseconds(), 3000);
  }
  runs = false;
  caller.join();
  for (std::thread& taker : takers) taker.join();
}

}  // namespace
