// Sockets when the process may open no more descriptors, where that can be arranged.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/net/sock_fixture.h"

namespace {

// Lets no descriptor be opened while it lives.
class NoDescriptorsLeft {
 public:
  NoDescriptorsLeft() {
    getrlimit(RLIMIT_NOFILE, &usual_);
    const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    rlimit least = usual_;
    least.rlim_cur = static_cast<rlim_t>(next);
    setrlimit(RLIMIT_NOFILE, &least);
  }
  ~NoDescriptorsLeft() { setrlimit(RLIMIT_NOFILE, &usual_); }
  NoDescriptorsLeft(const NoDescriptorsLeft&) = delete;
  NoDescriptorsLeft& operator=(const NoDescriptorsLeft&) = delete;

 private:
  rlimit usual_{};
};

TEST_F(SockTest, GivesMemory_WhenThereIsNoDescriptorForANewSocket) {
  Sock* created = reinterpret_cast<Sock*>(&listener);
  {
    const NoDescriptorsLeft none;
    EXPECT_EQ(Sock_NewCreate(&created), 1);
  }
  EXPECT_EQ(created, nullptr);
  EXPECT_EQ(iSock_CountLive(), 0u);
}

TEST_F(SockTest, GivesMemoryAndLeavesTheCaller_WhenThereIsNoDescriptorToAccept) {
  ASSERT_EQ(Sock_OpenListen(0, &sock), 0);
  uint8_t port[2];
  ASSERT_EQ(Sock_GetSockName(sock, nullptr, port), 0);
  loopback::Connection client = loopback::Connect(static_cast<uint16_t>(port[0] * 256 + port[1]));
  Sock* accepted = reinterpret_cast<Sock*>(&listener);
  {
    const NoDescriptorsLeft none;
    EXPECT_EQ(Sock_Accept(sock, &accepted), 1);
  }
  EXPECT_EQ(accepted, nullptr);
  EXPECT_EQ(Sock_GetError(sock), 1);
  EXPECT_EQ(iSock_CountLive(), 1u);
  ASSERT_EQ(Sock_Accept(sock, &accepted), 0);
  EXPECT_EQ(Sock_Write(accepted, 2, "hi"), 2u);
  std::string got;
  EXPECT_EQ(client.ReceiveExactly(&got, 2), loopback::Result::Data);
  Sock_Delete(accepted);
}

}  // namespace
