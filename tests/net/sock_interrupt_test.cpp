// Sockets under a switch with which another thread ends their calls.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "net/ftpc_internal.h"
#include "net/httpc_internal.h"
#include "tests/net/ftpc_fixture.h"
#include "tests/net/sock_transfer_fixture.h"
#include "tests/support/scripted_http.h"

using namespace script;

namespace {

// Runs `call` on another thread, sets the switch while it waits and gives what it gave. It must end within a
// second.
template <typename Call>
auto InterruptDuring(SockInterrupt* interrupt, Call call) {
  auto result = std::async(std::launch::async, call);
  EXPECT_EQ(result.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  const Stopwatch watch;
  interrupt->Set();
  auto value = result.get();
  EXPECT_LT(watch.Milliseconds(), 1000);
  return value;
}

// Nobody is accepted, and every place to wait is taken.
class FullListener {
 public:
  FullListener() {
    for (int i = 0; i < 4; ++i) waiting_.push_back(loopback::Connect(listener_.port(), 100));
  }
  uint16_t port() const { return listener_.port(); }

 private:
  loopback::Listener listener_{0};
  std::vector<loopback::Connection> waiting_;
};

// ---- one socket ------------------------------------------------------------------------------------------

class SockInterrupted : public SockTransfer {
 protected:
  void OpenInterruptible() {
    ASSERT_EQ(iSock_OpenConnect(SockBuffer_System, "127.0.0.1", listener.port(), &interrupt, &sock),
              Error_None);
    peer = listener.Accept();
    ASSERT_TRUE(peer.IsOpen());
  }

  SockInterrupt interrupt;
};

TEST_F(SockInterrupted, EndsAReadThatWaits) {
  OpenInterruptible();
  EXPECT_EQ(InterruptDuring(&interrupt, [this] { return Read(100); }), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
}

TEST_F(SockInterrupted, EndsAWriteThatWaits) {
  OpenInterruptible();
  const std::string block(64 << 20, 'w');
  const uint32_t written = InterruptDuring(
      &interrupt, [&] { return Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data()); });
  EXPECT_LT(written, block.size());
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
}

TEST_F(SockInterrupted, EndsAConnectThatWaits) {
  const FullListener full;
  EXPECT_EQ(
      InterruptDuring(
          &interrupt,
          [&] { return iSock_OpenConnect(SockBuffer_System, "127.0.0.1", full.port(), &interrupt, &sock); }),
      Error_Cancel);
  EXPECT_EQ(sock, nullptr);
}

bool LookUpTo127001(const char*, uint8_t* address, uint32_t*) {
  const uint8_t loopbackAddress[] = {127, 0, 0, 1};
  memcpy(address, loopbackAddress, 4);
  return true;
}

bool LookUpMustNotHappen(const char*, uint8_t*, uint32_t* error) {
  ADD_FAILURE() << "looked up";
  *error = 0;
  return false;
}

TEST_F(SockInterrupted, LooksNoHostUp_WhenInterruptedBefore) {
  iSock_SetLookUp(LookUpMustNotHappen);
  interrupt.Set();
  EXPECT_EQ(iSock_OpenConnect(SockBuffer_System, "a.example", 1, &interrupt, &sock), Error_Cancel);
  EXPECT_EQ(sock, nullptr);
}

TEST_F(SockInterrupted, ConnectsByName_WhenNotInterrupted) {
  iSock_SetLookUp(LookUpTo127001);
  EXPECT_EQ(iSock_OpenConnect(SockBuffer_System, "a.example", listener.port(), &interrupt, &sock),
            Error_None);
}

// As after Sock_Close.
TEST_F(SockInterrupted, CancelsEveryLaterCall) {
  OpenInterruptible();
  ASSERT_TRUE(peer.Send("abc"));
  ASSERT_TRUE(WaitForPending(3));
  EXPECT_EQ(Read(1), "a");  // the rest is read ahead
  interrupt.Set();
  uint32_t count = 7;
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
  Sock_ClearError(sock);
  EXPECT_EQ(Sock_SelectRead(sock, 0, 0), Error_Cancel);
  EXPECT_EQ(Sock_Write(sock, 1, "x"), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
  EXPECT_EQ(Sock_ReadAvail(sock, &count), Error_Cancel);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(Sock_Shutdown(sock, SockShutdown_Both), Error_Cancel);
  EXPECT_EQ(Sock_SetAsync(sock, 1), Error_Cancel);
}

TEST_F(SockInterrupted, ClosesTheConnection_WhenDeleted) {
  OpenInterruptible();
  interrupt.Set();
  EXPECT_EQ(Sock_Delete(sock), Error_None);
  sock = nullptr;
  std::string received;
  EXPECT_EQ(peer.ReceiveAll(&received), loopback::Result::Reset);
}

TEST_F(SockInterrupted, LeavesOtherSocketsAlone) {
  OpenInterruptible();
  SockInterrupt other;
  other.Set();
  interrupt.Set();
  interrupt.Clear();
  EXPECT_EQ(Sock_Write(sock, 1, "x"), 1u);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
}

// ---- the clients -----------------------------------------------------------------------------------------

class FTPcInterrupted : public FTPcData {
 protected:
  ErrorCode Open(uint16_t port, uint32_t flags = ftp::kPassive) {
    ErrorCode status = iFTPc_Open("127.0.0.1", port, flags, &interrupt, &connection, &reply);
    if (status == Error_None) status = FTPc_Login(connection, "anonymous", "me@", &reply);
    return status;
  }
  void TearDown() override {
    FTPc_Delete(connection);
    FTPcData::TearDown();
  }

  SockInterrupt interrupt;
  FTPc* connection = nullptr;
  Reply reply = {};
};

TEST_F(FTPcInterrupted, EndsAConnect) {
  const FullListener full;
  EXPECT_EQ(InterruptDuring(&interrupt, [&] { return Open(full.port()); }), Error_Cancel);
  EXPECT_EQ(connection, nullptr);
}

TEST_F(FTPcInterrupted, EndsTheWaitForTheGreeting) {
  ScriptedServer server({{Stall()}});
  EXPECT_EQ(InterruptDuring(&interrupt, [&] { return Open(server.port()); }), Error_Cancel);
  EXPECT_EQ(connection, nullptr);
  server.Finish();
}

TEST_F(FTPcInterrupted, EndsTheWaitForAReply) {
  ScriptedServer server({ftp::Join({ftp::Login(), {ExpectLine("SIZE /a"), Stall()}})});
  ASSERT_EQ(Open(server.port()), Error_None);
  uint64_t size = 7;
  EXPECT_EQ(InterruptDuring(&interrupt, [&] { return FTPc_FileSize64(connection, "/a", &size, &reply); }),
            Error_Cancel);
  EXPECT_EQ(iFTPc_ControlError(connection), Error_Cancel);
  FTPc_Delete(connection);
  connection = nullptr;
  server.Finish();
}

TEST_F(FTPcInterrupted, EndsAPassiveConnect) {
  const FullListener full;
  const std::string address =
      "127,0,0,1," + std::to_string(full.port() / 256) + "," + std::to_string(full.port() % 256);
  ScriptedServer server({ftp::Join(
      {ftp::Login(), ftp::Exchange("PASV", "227 (" + address + ")"), {ExpectLine("RETR /a"), Stall()}})});
  ASSERT_EQ(Open(server.port()), Error_None);
  Stream* data = nullptr;
  EXPECT_EQ(InterruptDuring(&interrupt, [&] { return FTPc_StartRetrieve(connection, "/a", &data, &reply); }),
            Error_Cancel);
  EXPECT_EQ(data, nullptr);
  FTPc_Delete(connection);
  connection = nullptr;
  server.Finish();
}

TEST_F(FTPcInterrupted, EndsTheWaitForTheServersConnection) {
  ScriptedServer server(
      {ftp::Join({ftp::Login(), ftp::Active(), {ExpectLine("RETR /a"), SendLine("150 soon"), Stall()}})});
  ASSERT_EQ(Open(server.port(), ftp::kActive), Error_None);
  Stream* data = nullptr;
  EXPECT_EQ(InterruptDuring(&interrupt, [&] { return FTPc_StartRetrieve(connection, "/a", &data, &reply); }),
            Error_Cancel);
  EXPECT_EQ(data, nullptr);
  FTPc_Delete(connection);
  connection = nullptr;
  server.Finish();
}

TEST_F(FTPcInterrupted, EndsAReadOfData) {
  for (const bool isPassive : {true, false}) {
    ScriptedServer server({ftp::Join({ftp::Login(),
                                      isPassive ? ftp::Passive() : ftp::Active(),
                                      isPassive ? ftp::Started("RETR /a") : ftp::StartedActive("RETR /a"),
                                      {DataSend("abc"), Stall()}})});
    ASSERT_EQ(Open(server.port(), isPassive ? ftp::kPassive : ftp::kActive), Error_None);
    Stream* data = nullptr;
    ASSERT_EQ(FTPc_StartRetrieve(connection, "/a", &data, &reply), Error_None);
    char buffer[100];
    uint32_t read = 0;
    while (read < 3) read += Stream_Read(data, sizeof buffer, buffer);
    EXPECT_EQ(InterruptDuring(&interrupt, [&] { return Stream_Read(data, sizeof buffer, buffer); }), 0u);
    EXPECT_EQ(Stream_Error(data), Error_Cancel);
    // Nothing more is sent, so the control connection does not wait either.
    EXPECT_EQ(FTPc_AbortTransfer(connection, &reply), Error_Cancel);
    EXPECT_EQ(FTPc_EndTransfer(connection, &reply), Error_Ended);
    Stream_Delete(data);
    EXPECT_EQ(FTPc_Close(connection, &reply), Error_Ended);
    connection = nullptr;
    interrupt.Clear();
    server.Finish();
    EXPECT_EQ(server.Received(0).find("ABOR"), std::string::npos);
  }
}

class HTTPcInterrupted : public SockTest {
 protected:
  ErrorCode Open(uint16_t port) { return iHTTPc_Open(nullptr, "127.0.0.1", port, &interrupt, &connection); }
  void TearDown() override {
    HTTPc_Close(connection);
    SockTest::TearDown();
  }

  SockInterrupt interrupt;
  HTTPc* connection = nullptr;
  Reply reply = {};
  Stream* stream = nullptr;
};

TEST_F(HTTPcInterrupted, EndsAConnect) {
  const FullListener full;
  EXPECT_EQ(InterruptDuring(&interrupt, [&] { return Open(full.port()); }), Error_Cancel);
  EXPECT_EQ(connection, nullptr);
}

TEST_F(HTTPcInterrupted, EndsTheWaitForTheResponse) {
  ScriptedServer server({scripted_http::AnswerThenStall("HTTP/1.0 200 OK\r\nServer")});
  ASSERT_EQ(Open(server.port()), Error_None);
  EXPECT_EQ(InterruptDuring(&interrupt, [&] { return HTTPc_Get(connection, "http://h/f", &reply, &stream); }),
            Error_Cancel);
  HTTPc_Close(connection);
  connection = nullptr;
  server.Finish();
}

TEST_F(HTTPcInterrupted, EndsAReadOfTheBody) {
  ScriptedServer server({scripted_http::AnswerThenStall("HTTP/1.0 200 OK\r\n\r\n")});
  ASSERT_EQ(Open(server.port()), Error_None);
  ASSERT_EQ(HTTPc_Get(connection, "http://h/f", &reply, &stream), Error_None);
  char buffer[100];
  EXPECT_EQ(InterruptDuring(&interrupt, [&] { return Stream_Read(stream, sizeof buffer, buffer); }), 0u);
  EXPECT_EQ(HTTPc_GetError(connection), Error_Cancel);
  HTTPc_Close(connection);
  connection = nullptr;
  server.Finish();
}

}  // namespace
