// Sockets when the process may open no more descriptors, where that can be arranged.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/net/sock_fixture.h"
#include "tests/support/no_descriptors.h"
#include "tests/support/socket_probe.h"

namespace {

// Closes the standard streams while it lives.
class StandardStreamsClosed {
 public:
  StandardStreamsClosed() {
    for (int number = 0; number < kCount; ++number) {
      kept_[number] = fcntl(number, F_DUPFD_CLOEXEC, 10);
      close(number);
    }
  }
  ~StandardStreamsClosed() {
    for (int number = 0; number < kCount; ++number) {
      dup2(kept_[number], number);
      close(kept_[number]);
    }
  }
  StandardStreamsClosed(const StandardStreamsClosed&) = delete;
  StandardStreamsClosed& operator=(const StandardStreamsClosed&) = delete;

 private:
  static constexpr int kCount = 3;
  int kept_[kCount] = {};
};

// What a program without standard streams prints must not go over a connection.
TEST_F(SockTest, TakesNoNumberOfAStandardStream) {
  Sock* server = nullptr;
  Sock* accepted = nullptr;
  {
    const StandardStreamsClosed closed;
    EXPECT_EQ(Sock_OpenListen(0, &server), Error_None);
    uint8_t port[2] = {};
    EXPECT_EQ(Sock_GetSockName(server, nullptr, port), Error_None);
    const auto number = static_cast<uint16_t>(port[0] * 256 + port[1]);
    EXPECT_EQ(Sock_OpenConnectBuffer(SockBuffer_System, "127.0.0.1", number, &sock), Error_None);
    EXPECT_EQ(Sock_Accept(server, &accepted), Error_None);
  }
  for (Sock* each : {server, sock, accepted}) {
    EXPECT_GT(Sock_GetDescriptor(each), 2u);
    EXPECT_FALSE(socket_probe::IsInherited(Sock_GetDescriptor(each)));
  }
  EXPECT_EQ(Sock_Write(accepted, 2, "hi"), 2u);
  EXPECT_EQ(Read(2), "hi");
  Sock_Delete(accepted);
  Sock_Delete(server);
}

TEST_F(SockTest, GivesMemory_WhenThereIsNoDescriptorForANewSocket) {
  Sock* created = reinterpret_cast<Sock*>(&listener);
  {
    const NoDescriptorsLeft none;
    EXPECT_EQ(Sock_NewCreate(&created), Error_Memory);
  }
  EXPECT_EQ(created, nullptr);
  EXPECT_EQ(iSock_CountLive(), 0u);
}

TEST_F(SockTest, GivesMemoryAndLeavesTheCaller_WhenThereIsNoDescriptorToAccept) {
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  uint8_t port[2];
  ASSERT_EQ(Sock_GetSockName(sock, nullptr, port), Error_None);
  loopback::Connection client = loopback::Connect(static_cast<uint16_t>(port[0] * 256 + port[1]));
  Sock* accepted = reinterpret_cast<Sock*>(&listener);
  {
    const NoDescriptorsLeft none;
    EXPECT_EQ(Sock_Accept(sock, &accepted), Error_Memory);
  }
  EXPECT_EQ(accepted, nullptr);
  EXPECT_EQ(Sock_GetError(sock), Error_Memory);
  EXPECT_EQ(iSock_CountLive(), 1u);
  ASSERT_EQ(Sock_Accept(sock, &accepted), Error_None);
  EXPECT_EQ(Sock_Write(accepted, 2, "hi"), 2u);
  std::string got;
  EXPECT_EQ(client.ReceiveExactly(&got, 2), loopback::Result::Data);
  Sock_Delete(accepted);
}

}  // namespace
