// Sockets: closing while other threads are inside.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "tests/net/sock_transfer_fixture.h"
#include "tests/support/socket_probe.h"

using loopback::Result;

namespace {

TEST_F(SockTransfer, CancelsARead_WhenClosed) {
  for (const uint32_t asked : {1u, 100u, 65536u}) {
    Open();
    EXPECT_EQ(CloseDuring([this, asked] { return Read(asked); }), "");
    EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
    Sock_Delete(sock);
    sock = nullptr;
  }
}

TEST_F(SockTransfer, CancelsAWrite_WhenClosed) {
  Open();
  const std::string block(64 << 20, 'w');
  const uint32_t written =
      CloseDuring([&] { return Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data()); });
  EXPECT_LT(written, block.size());
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
}

TEST_F(SockTransfer, CancelsASelect_WhenClosed) {
  Open();
  EXPECT_EQ(CloseDuring([this] { return Sock_SelectRead(sock, 30, 0); }), Error_Cancel);
  Sock_Delete(sock);
  sock = nullptr;
  // The longest wait that can be asked for.
  Open();
  EXPECT_EQ(CloseDuring([this] { return Sock_SelectRead(sock, 0xFFFFFFFF, 0xFFFFFFFF); }), Error_Cancel);
}

TEST_F(SockTransfer, CancelsAnAccept_WhenClosed) {
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  Sock* accepted = nullptr;
  EXPECT_EQ(CloseDuring([&] { return Sock_Accept(sock, &accepted); }), Error_Cancel);
  EXPECT_EQ(accepted, nullptr);
}

TEST_F(SockTransfer, CancelsAConnect_WhenClosed) {
  loopback::Listener full(0);
  std::vector<loopback::Connection> waiting;
  for (int i = 0; i < 4; ++i) waiting.push_back(loopback::Connect(full.port(), 100));
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  EXPECT_EQ(CloseDuring([&] { return Sock_Connect(sock, "127.0.0.1", full.port()); }), Error_Cancel);
}

// The descriptor must stay the socket's while an operation holds it.
TEST_F(SockTransfer, ClosesOnlyWhenNoOperationIsInside) {
  Open();
  const uint32_t descriptor = Sock_GetDescriptor(sock);
  std::future<ErrorCode> closing;
  {
    const SockUse operation(sock);
    closing = std::async(std::launch::async, [this] { return Sock_Close(sock); });
    EXPECT_EQ(closing.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    EXPECT_FALSE(operation.isOpen());
    EXPECT_EQ(operation.descriptor(), descriptor);
    EXPECT_TRUE(socket_probe::IsSocket(descriptor));
    // Those that come later do not hold it.
    const SockUse late(sock);
    EXPECT_EQ(late.descriptor(), 0xFFFFFFFFu);
  }
  EXPECT_EQ(closing.wait_for(std::chrono::seconds(1)), std::future_status::ready);
  EXPECT_EQ(closing.get(), Error_None);
  EXPECT_FALSE(socket_probe::IsSocket(descriptor));
}

// Calls on a closed socket come and go without holding a close up.
TEST_F(SockTransfer, CountsNoOperationOnAClosedSocket) {
  Open();
  Sock_Close(sock);
  const SockUse late(sock);
  EXPECT_EQ(sock->operationsInside.load(), 0u);
}

TEST_F(SockTransfer, ClearsTheStatus_WhenClosed) {
  Open();
  iSock_SetWaitMilliseconds(50);
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Timeout);
  Sock_Close(sock);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
}

// A descriptor that is closed under a reader would be given to the next socket at once, and the reader would
// take that one's bytes.
TEST_F(SockTransfer, NeverReadsFromASocketThatTookTheNumberOver) {
  for (int round = 0; round < 6; ++round) {
    Open();
    Sock* first = sock;
    loopback::Connection firstPeer = std::move(peer);
    std::atomic<uint32_t> stolen{0};
    std::thread reader([&] {
      char bytes[100];
      stolen = Sock_Read(first, sizeof bytes, bytes);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(5 + round * 7));
    Sock_Close(first);
    Open();
    peer.Send("for the second");
    EXPECT_EQ(Read(14), "for the second");
    reader.join();
    EXPECT_EQ(stolen, 0u);
    EXPECT_EQ(Sock_GetError(first), Error_Cancel);
    Sock_Delete(first);
    Sock_Delete(sock);
    sock = nullptr;
  }
}

// Every call that can be inside a socket at the time of its close ends, and none touches the number that the
// next socket takes over.
TEST_F(SockTransfer, EndsEveryCall_WhenClosedInTheMiddleOfMany) {
  for (int round = 0; round < 8; ++round) {
    Open();
    Sock* closing = sock;
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
      char bytes[2000];
      for (uint32_t i = 0; !done || Sock_GetError(closing) == 0; ++i) Sock_Read(closing, 1 + i % 2000, bytes);
    });
    threads.emplace_back([&] {
      while (Sock_GetDescriptor(closing) != 0xFFFFFFFFu)
        Sock_Write(closing, 100, std::string(100, 'w').data());
    });
    threads.emplace_back([&] {
      uint32_t count = 0;
      while (!done) {
        Sock_ReadAvail(closing, &count);
        Sock_SelectWrite(closing, 0, 1000);
      }
    });
    std::thread echo([&] {
      std::string piece;
      while (peer.ReceiveSome(&piece) == Result::Data) {
        if (!peer.Send(piece)) break;
        piece.clear();
      }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(3 + round));
    const Stopwatch watch;
    EXPECT_EQ(Sock_Close(closing), Error_None);
    // Far below the time limit of a wait, and enough for a machine that has much else to do.
    EXPECT_LT(watch.Milliseconds(), 4000);
    Sock* next = nullptr;
    EXPECT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", listener.port(), &next), Error_None);
    done = true;
    for (std::thread& thread : threads) thread.join();
    echo.join();
    loopback::Connection nextPeer = listener.Accept();
    uint32_t strays = 9;
    EXPECT_EQ(Sock_SelectRead(next, 0, 1000), Error_Timeout);
    EXPECT_EQ(Sock_ReadAvail(next, &strays), Error_None);
    EXPECT_EQ(strays, 0u);
    std::string got;
    EXPECT_EQ(nextPeer.ReceiveSome(&got, 100, 1), Result::Timeout) << got;
    Sock_Delete(closing);
    Sock_Delete(next);
    sock = nullptr;
  }
}

TEST_F(SockTransfer, ClosesOnce_WhenManyThreadsClose) {
  for (int round = 0; round < 20; ++round) {
    Open();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([this] { EXPECT_EQ(Sock_Close(sock), Error_None); });
    // A number that is closed twice would close one of these.
    Sock* other = nullptr;
    EXPECT_EQ(Sock_NewCreate(&other), Error_None);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(Sock_Bind(other, nullptr, 0), Error_None);
    Sock_Delete(other);
    Sock_Delete(sock);
    sock = nullptr;
  }
}

}  // namespace
