// Sockets: making, naming, setting up and closing them.
#include "qz/sock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/net/sock_fixture.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/socket_probe.h"

using loopback::Result;

namespace {

uint16_t PortIn(const uint8_t* bytes) {
  return static_cast<uint16_t>(bytes[0] * 256 + bytes[1]);
}

int lookUps = 0;
std::string lastLookUp;

bool AnswerWithThisMachine(const char* host, uint8_t* address, uint32_t* /*error*/) {
  ++lookUps;
  lastLookUp = host;
  const uint8_t loopbackAddress[4] = {127, 0, 0, 1};
  memcpy(address, loopbackAddress, 4);
  return true;
}

bool AnswerWithAllOnes(const char* /*host*/, uint8_t* address, uint32_t* /*error*/) {
  memset(address, 0xFF, 4);
  return true;
}

uint32_t lookUpError = 0;
bool AnswerWithAnError(const char* /*host*/, uint8_t* /*address*/, uint32_t* error) {
  *error = lookUpError;
  return false;
}

TEST(SockLayer, OwnsAWindowWhileItRuns) {
  ASSERT_EQ(iSock_Init(), Error_None);
  EXPECT_EQ(socket_probe::WindowExists("qzSockHandler"), socket_probe::HasWindows());
  iSock_Exit();
  EXPECT_FALSE(socket_probe::WindowExists("qzSockHandler"));
}

TEST(SockLayer, ReportsThatTheWindowClassIsTaken) {
  ASSERT_EQ(iSock_Init(), Error_None);
  ErrorCapture capture;
  if (socket_probe::HasWindows()) {
    EXPECT_EQ(iSock_Init(), Error_Fail);
    ASSERT_EQ(capture.Lines().size(), 1u);
    EXPECT_EQ(capture.Lines()[0], "#### Error: OS_Init: Socket RegisterClass(...) failed\n");
  } else {
    EXPECT_EQ(iSock_Init(), Error_None);
    EXPECT_TRUE(capture.Lines().empty());
    iSock_Exit();
  }
  iSock_Exit();
  EXPECT_FALSE(socket_probe::WindowExists("qzSockHandler"));
}

TEST(SockLayer, StartsAgainAfterItsEnd) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(iSock_Init(), Error_None);
    iSock_Exit();
  }
}

TEST(SockLayer, ForgetsSocketsThatOutliveIt) {
  ASSERT_EQ(iSock_Init(), Error_None);
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  EXPECT_EQ(iSock_CountLive(), 1u);
  iSock_Exit();
  EXPECT_EQ(iSock_CountLive(), 0u);
  ASSERT_EQ(iSock_Init(), Error_None);
  Sock_Delete(sock);
  EXPECT_EQ(iSock_CountLive(), 0u);
  iSock_Exit();
}

TEST(SockWait, Lasts61SecondsUnlessATestSaysOtherwise) {
  EXPECT_EQ(iSock_GetWaitMilliseconds(), 61000u);
  iSock_SetWaitMilliseconds(5);
  EXPECT_EQ(iSock_GetWaitMilliseconds(), 5u);
  iSock_SetWaitMilliseconds(0);
  EXPECT_EQ(iSock_GetWaitMilliseconds(), 61000u);
}

TEST_F(SockTest, IsAStreamOfItsType) {
  Open();
  auto* stream = reinterpret_cast<Stream*>(sock);
  EXPECT_EQ(stream->type, 0x736F636Bu);
  EXPECT_EQ(Stream_FindType(stream, 0x736F636Bu), stream);
  EXPECT_EQ(Stream_FindType(stream, 0x66696C65u), nullptr);
  EXPECT_EQ(Stream_Error(stream), Error_None);
  EXPECT_EQ(Stream_Delete(stream), Error_None);
  sock = nullptr;
  EXPECT_EQ(iSock_CountLive(), 0u);
}

TEST_F(SockTest, CountsSocketsThatWereMadeOrAccepted) {
  Sock* server = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &server), Error_None);
  uint8_t port[2];
  ASSERT_EQ(Sock_GetSockName(server, nullptr, port), Error_None);
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", PortIn(port), &sock), Error_None);
  Sock* accepted = nullptr;
  ASSERT_EQ(Sock_Accept(server, &accepted), Error_None);
  EXPECT_EQ(iSock_CountLive(), 3u);
  EXPECT_EQ(Sock_Close(accepted), Error_None);
  EXPECT_EQ(iSock_CountLive(), 3u);
  EXPECT_EQ(Sock_Delete(accepted), Error_None);
  EXPECT_EQ(Sock_Delete(server), Error_None);
  EXPECT_EQ(iSock_CountLive(), 1u);
}

TEST_F(SockTest, GivesNamesInNetworkOrder) {
  Open();
  uint8_t address[4];
  uint8_t port[2];
  ASSERT_EQ(Sock_GetPeerName(sock, address, port), Error_None);
  EXPECT_EQ(memcmp(address, "\x7f\0\0\1", 4), 0);
  EXPECT_EQ(PortIn(port), listener.port());
  memset(address, 0, sizeof address);
  ASSERT_EQ(Sock_GetSockName(sock, address, nullptr), Error_None);
  EXPECT_EQ(memcmp(address, "\x7f\0\0\1", 4), 0);
}

TEST_F(SockTest, GivesNoneAndZeroesForThePeerOfAnUnconnectedSocket) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  uint8_t address[4] = {9, 9, 9, 9};
  uint8_t port[2] = {9, 9};
  EXPECT_EQ(Sock_GetPeerName(sock, address, port), Error_None);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_EQ(memcmp(address, "\0\0\0\0", 4), 0);
  EXPECT_EQ(memcmp(port, "\0\0", 2), 0);
}

TEST_F(SockTest, CopiesNoNameWhenItFails) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  Sock_Close(sock);
  uint8_t address[4] = {9, 9, 9, 9};
  uint8_t port[2] = {9, 9};
  EXPECT_EQ(Sock_GetSockName(sock, address, port), Error_Cancel);
  EXPECT_EQ(memcmp(address, "\x9\x9\x9\x9", 4), 0);
  EXPECT_EQ(memcmp(port, "\x9\x9", 2), 0);
}

TEST_F(SockTest, LooksAllOnesUpByName) {
  iSock_SetLookUp(AnswerWithThisMachine);
  lookUps = 0;
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "255.255.255.255", listener.port(), &sock), Error_None);
  EXPECT_EQ(lookUps, 1);
  EXPECT_EQ(lastLookUp, "255.255.255.255");
}

TEST_F(SockTest, DoesNotLookDottedAddressesUp) {
  iSock_SetLookUp(AnswerWithThisMachine);
  lookUps = 0;
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", listener.port(), &sock), Error_None);
  EXPECT_EQ(lookUps, 0);
}

TEST_F(SockTest, GivesInvalid_WhenTheAddressIsAllOnes) {
  iSock_SetLookUp(AnswerWithAllOnes);
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  EXPECT_EQ(Sock_Connect(sock, "somewhere", 80), Error_Invalid);
  EXPECT_EQ(Sock_GetError(sock), Error_Invalid);
}

TEST_F(SockTest, TranslatesFailedLookUps) {
  iSock_SetLookUp(AnswerWithAnError);
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  struct Row {
    uint32_t error;
    ErrorCode status;
  };
  // The last one: no address, and no reason.
  for (const Row& row : {Row{11001, Error_NotFound}, Row{11002, Error_Retry}, Row{11003, Error_Fail},
                         Row{10050, Error_System}, Row{10055, Error_Memory}, Row{0, Error_Invalid}}) {
    lookUpError = row.error;
    EXPECT_EQ(Sock_Connect(sock, "somewhere", 80), row.status) << row.error;
    EXPECT_EQ(Sock_GetError(sock), row.status) << row.error;
    EXPECT_EQ(Sock_Bind(sock, "somewhere", 0), row.status) << row.error;
  }
}

TEST_F(SockTest, FindsTheSystemsNames) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  EXPECT_EQ(Sock_Connect(sock, "localhost", listener.port()), Error_None);
}

TEST_F(SockTest, RefusesHostsThatCanBeNoName) {
  iSock_SetLookUp(AnswerWithThisMachine);
  lookUps = 0;
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  EXPECT_EQ(Sock_Connect(sock, "", listener.port()), Error_NotFound);
  // No host at all is every address of this machine, an empty one is none.
  EXPECT_EQ(Sock_Bind(sock, "", 0), Error_NotFound);
  EXPECT_EQ(Sock_Connect(sock, std::string(65536, 'h').c_str(), listener.port()), Error_NotFound);
  EXPECT_EQ(Sock_Connect(sock, std::string(256, 'h').c_str(), listener.port()), Error_NotFound);
  // Too long for an address too; the system's parser ignores what follows a space.
  EXPECT_EQ(Sock_Connect(sock, ("127.0.0.1" + std::string(247, ' ')).c_str(), listener.port()),
            Error_NotFound);
  EXPECT_EQ(Sock_GetError(sock), Error_NotFound);
  EXPECT_EQ(lookUps, 0);
  EXPECT_EQ(Sock_Connect(sock, std::string(255, 'h').c_str(), listener.port()), Error_None);
}

TEST_F(SockTest, GivesNoAccess_WhenNobodyListens) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  EXPECT_EQ(Sock_Connect(sock, "127.0.0.1", loopback::UnusedPort()), Error_NoAccess);
  EXPECT_EQ(Sock_GetError(sock), Error_NoAccess);
}

TEST_F(SockTest, GivesExists_WhenThePortIsTaken) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  EXPECT_EQ(Sock_Bind(sock, "127.0.0.1", listener.port()), Error_Exists);
  EXPECT_EQ(Sock_GetError(sock), Error_Exists);
}

TEST_F(SockTest, BindsAndListens) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_Bind(sock, "127.0.0.1", 0), Error_None);
  ASSERT_EQ(Sock_Listen(sock, 0), Error_None);
  uint8_t port[2];
  ASSERT_EQ(Sock_GetSockName(sock, nullptr, port), Error_None);
  loopback::Connection client = loopback::Connect(PortIn(port));
  Sock* accepted = nullptr;
  ASSERT_EQ(Sock_AcceptBuffer(sock, 2, &accepted), Error_None);
  EXPECT_EQ(socket_probe::ReceiveBufferOf(Sock_GetDescriptor(accepted)),
            socket_probe::ReceiveBufferAfterAsking(4096));
  EXPECT_EQ(Sock_Write(accepted, 2, "hi"), 2u);
  std::string got;
  EXPECT_EQ(client.ReceiveExactly(&got, 2), Result::Data);
  EXPECT_EQ(Sock_Delete(accepted), Error_None);
}

TEST_F(SockTest, ListensAtOnceAtAPortThatWasJustUsed) {
  const uint16_t port = loopback::UnusedPort();
  Sock* server = nullptr;
  ASSERT_EQ(Sock_OpenListen(port, &server), Error_None);
  loopback::Connection client = loopback::Connect(port);
  Sock* accepted = nullptr;
  ASSERT_EQ(Sock_Accept(server, &accepted), Error_None);
  // The side that ends a connection first keeps its port for a minute, unless the listener shares it.
  EXPECT_EQ(Sock_Shutdown(accepted, SockShutdown_Send), Error_None);
  client.Close();
  char byte = 0;
  EXPECT_EQ(Sock_Read(accepted, 1, &byte), 0u);
  EXPECT_EQ(Sock_GetError(accepted), Error_Ended);
  Sock_Delete(accepted);
  Sock_Delete(server);
  EXPECT_EQ(Sock_OpenListen(port, &sock), Error_None);
  int32_t isShared = 0;
  int32_t length = sizeof isShared;
  EXPECT_EQ(
      Sock_GetOpt(sock, socket_probe::SocketLevel(), socket_probe::ReuseAddressOption(), &isShared, &length),
      Error_None);
  EXPECT_EQ(isShared, 1);
}

// How many connections a listener's queue takes while nobody accepts.
int ConnectionsQueued(uint16_t port) {
  std::vector<loopback::Connection> queued;
  for (int count = 0; count < 20; ++count) {
    queued.push_back(loopback::Connect(port, 200));
    if (!queued.back().IsOpen()) return count;
  }
  return 20;
}

// Systems count a backlog differently, so a listener of the test's own says what 5 means here.
TEST_F(SockTest, ListensWithABacklogOfFive) {
  const int queuedByFive = ConnectionsQueued(loopback::Listener(5).port());
  ASSERT_NE(ConnectionsQueued(loopback::Listener(4).port()), queuedByFive);
  ASSERT_NE(ConnectionsQueued(loopback::Listener(6).port()), queuedByFive);
  uint8_t port[2];
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  ASSERT_EQ(Sock_GetSockName(sock, nullptr, port), Error_None);
  EXPECT_EQ(ConnectionsQueued(PortIn(port)), queuedByFive);
  Sock_Delete(sock);
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  ASSERT_EQ(Sock_Bind(sock, "127.0.0.1", 0), Error_None);
  ASSERT_EQ(Sock_Listen(sock, 0), Error_None);
  ASSERT_EQ(Sock_GetSockName(sock, nullptr, port), Error_None);
  EXPECT_EQ(ConnectionsQueued(PortIn(port)), queuedByFive);
}

TEST_F(SockTest, SetsTheReceiveBufferByKindAndSize) {
  struct Row {
    uint32_t kind;
    uint32_t size;
    int asked;  // 0: nothing is changed
  };
  for (const Row& row : {Row{0, 0, 0}, Row{0, 5000, 0}, Row{1, 0, 1024}, Row{2, 0, 4096}, Row{77, 0, 4096},
                         Row{1, 20000, 20000}, Row{2, 20000, 20000}}) {
    Sock* created = nullptr;
    Sock* out = nullptr;
    ASSERT_EQ(Sock_NewCreate(&created), Error_None);
    EXPECT_EQ(Sock_NewBuffer(created, row.kind, row.size, &out), Error_None);
    EXPECT_EQ(out, created);
    EXPECT_EQ(socket_probe::ReceiveBufferOf(Sock_GetDescriptor(created)),
              socket_probe::ReceiveBufferAfterAsking(row.asked))
        << row.kind << " " << row.size;
    Sock_Delete(created);
  }
}

TEST_F(SockTest, GivesTheSocketOut_WhenItsBufferCannotBeSet) {
  Open();
  Sock_Close(sock);
  for (const uint32_t kind : {SockBuffer_Small, SockBuffer_Large}) {
    Sock* out = nullptr;
    EXPECT_EQ(Sock_NewBuffer(sock, kind, 0, &out), Error_Cancel);
    EXPECT_EQ(out, sock);
  }
  Sock* out = nullptr;
  EXPECT_EQ(Sock_NewBuffer(sock, SockBuffer_System, 0, &out), Error_None);
  EXPECT_EQ(out, sock);
}

// The system tunes a buffer that was never set; a connection opened with the system's own keeps that.
TEST_F(SockTest, LeavesTheBufferToTheSystem_WhenItIsTheSystems) {
  Open(SockBuffer_System);
  const int untouched = socket_probe::ReceiveBufferOf(Sock_GetDescriptor(sock));
  Sock_Delete(sock);
  sock = nullptr;
  loopback::Connection plain = loopback::Connect(listener.port());
  EXPECT_EQ(untouched, socket_probe::ReceiveBufferOf(static_cast<uint32_t>(plain.native())));
}

TEST_F(SockTest, MovesMuchThroughTheSmallestBuffer) {
  Open(1);
  const std::string block(1 << 20, 'b');
  std::thread sender([&] { peer.Send(block); });
  std::string got;
  while (got.size() < block.size()) {
    const std::string piece = Read(65536);
    if (piece.empty()) break;
    got += piece;
  }
  sender.join();
  EXPECT_TRUE(got == block);
}

TEST_F(SockTest, PassesOptionsThrough) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  int32_t value = 30000;
  EXPECT_EQ(Sock_SetOpt(sock, socket_probe::SocketLevel(), socket_probe::ReceiveBufferOption(), &value, 4),
            Error_None);
  int32_t read = 0;
  int32_t length = 4;
  EXPECT_EQ(
      Sock_GetOpt(sock, socket_probe::SocketLevel(), socket_probe::ReceiveBufferOption(), &read, &length), 0);
  EXPECT_EQ(read, socket_probe::ReceiveBufferAfterAsking(30000));
  EXPECT_EQ(length, 4);
  // An option that no system knows.
  EXPECT_EQ(Sock_SetOpt(sock, socket_probe::SocketLevel(), 0x7FFF, &value, 4), Error_Fail);
  EXPECT_EQ(Sock_GetError(sock), Error_Fail);
  EXPECT_EQ(Sock_GetOpt(sock, socket_probe::SocketLevel(), 0x7FFF, &read, &length), Error_Fail);
}

TEST_F(SockTest, DoesNotSupportKeepAlive) {
  Open();
  EXPECT_EQ(Sock_SetKeepAlive(sock, 1), Error_Invalid);
  EXPECT_EQ(Sock_SetKeepAlive(sock, 0), Error_Invalid);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  // The status of the call before stays.
  EXPECT_EQ(Sock_Shutdown(sock, 3), Error_Fail);
  EXPECT_EQ(Sock_SetKeepAlive(sock, 1), Error_Invalid);
  EXPECT_EQ(Sock_GetError(sock), Error_Fail);
}

TEST_F(SockTest, ForgetsTheStatusOnRequest) {
  Open();
  EXPECT_EQ(Sock_Shutdown(sock, 3), Error_Fail);
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), Error_Fail);
  Sock_ClearError(sock);
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_EQ(Sock_SelectWrite(sock, 5, 0), Error_None);
  Sock_ClearError(nullptr);
}

TEST_F(SockTest, IsNotInheritedByChildPrograms) {
  Sock* server = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &server), Error_None);
  uint8_t port[2];
  Sock_GetSockName(server, nullptr, port);
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", PortIn(port), &sock), Error_None);
  Sock* accepted = nullptr;
  ASSERT_EQ(Sock_Accept(server, &accepted), Error_None);
  for (Sock* each : {server, sock, accepted})
    EXPECT_FALSE(socket_probe::IsInherited(Sock_GetDescriptor(each)));
  Sock_Delete(accepted);
  Sock_Delete(server);
}

TEST_F(SockTest, GivesCancelFromEveryCallOnceClosed) {
  Open();
  EXPECT_EQ(Sock_Close(sock), Error_None);
  EXPECT_EQ(Sock_GetDescriptor(sock), 0xFFFFFFFFu);
  EXPECT_EQ(Sock_Close(sock), Error_None);
  char byte = 0;
  uint32_t count = 9;
  int32_t value = 1;
  int32_t length = 4;
  Sock* other = nullptr;
  EXPECT_EQ(Sock_Bind(sock, nullptr, 0), Error_Cancel);
  EXPECT_EQ(Sock_Listen(sock, 1), Error_Cancel);
  EXPECT_EQ(Sock_Accept(sock, &other), Error_Cancel);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(Sock_Connect(sock, "127.0.0.1", 1), Error_Cancel);
  EXPECT_EQ(Sock_Shutdown(sock, 2), Error_Cancel);
  EXPECT_EQ(Sock_ReadAvail(sock, &count), Error_Cancel);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(Stream_ReadAvail(reinterpret_cast<Stream*>(sock)), 0u);
  EXPECT_EQ(Sock_Read(sock, 1, &byte), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
  EXPECT_EQ(Sock_Write(sock, 1, &byte), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_Cancel);
  EXPECT_EQ(Sock_SelectRead(sock, 10, 0), Error_Cancel);
  EXPECT_EQ(Sock_SelectWrite(sock, 10, 0), Error_Cancel);
  EXPECT_EQ(Sock_SetAsync(sock, 1), Error_Cancel);
  EXPECT_EQ(Sock_SetOpt(sock, socket_probe::SocketLevel(), socket_probe::ReceiveBufferOption(), &value, 4),
            Error_Cancel);
  EXPECT_EQ(
      Sock_GetOpt(sock, socket_probe::SocketLevel(), socket_probe::ReceiveBufferOption(), &value, &length),
      Error_Cancel);
  EXPECT_EQ(Sock_GetPeerName(sock, nullptr, nullptr), Error_None);
}

TEST_F(SockTest, ClosesAbortively) {
  Open();
  const std::string block(200000, 'u');
  peer.SetReceiveBuffer(2048);
  Sock_SetAsync(sock, 1);
  iSock_SetWaitMilliseconds(1);
  Sock_Write(sock, static_cast<uint32_t>(block.size()), block.data());
  EXPECT_EQ(Sock_Close(sock), Error_None);
  std::string got;
  EXPECT_EQ(peer.ReceiveAll(&got), Result::Reset);
}

TEST_F(SockTest, ShutsOneDirectionDown) {
  Open();
  EXPECT_EQ(Sock_Shutdown(sock, 1), Error_None);
  std::string got;
  EXPECT_EQ(peer.ReceiveAll(&got), Result::Closed);
  ASSERT_TRUE(peer.Send("late"));
  peer.Close();
  std::string late;
  for (std::string piece = Read(10); !piece.empty(); piece = Read(10)) late += piece;
  EXPECT_EQ(late, "late");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
  // The end after one's own shutdown is an end, however often it is asked for.
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Sock_GetError(sock), Error_Ended);
}

TEST_F(SockTest, GivesFail_WhenThereIsNothingToShutDown) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  EXPECT_EQ(Sock_Shutdown(sock, 2), Error_Fail);
  EXPECT_EQ(Sock_GetError(sock), Error_Fail);
  Sock_Delete(sock);
  Open();
  // Only 0, 1 and 2 are directions.
  EXPECT_EQ(Sock_Shutdown(sock, 3), Error_Fail);
  EXPECT_EQ(Sock_Write(sock, 2, "hi"), 2u);
}

TEST_F(SockTest, LeavesNothingBehind_WhenOpeningFails) {
  Sock* other = reinterpret_cast<Sock*>(&listener);
  EXPECT_EQ(Sock_OpenConnectBuffer(1, "127.0.0.1", loopback::UnusedPort(), &other), Error_NoAccess);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(iSock_CountLive(), 0u);
}

TEST_F(SockTest, RefusesNullArguments) {
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  Sock* out = nullptr;
  uint32_t count = 0;
  EXPECT_EQ(Sock_NewCreate(nullptr), Error_Invalid);
  EXPECT_EQ(Sock_Connect(sock, nullptr, 1), Error_Invalid);
  EXPECT_EQ(Sock_Connect(nullptr, "127.0.0.1", 1), Error_Invalid);
  EXPECT_EQ(Sock_Bind(nullptr, nullptr, 1), Error_Invalid);
  EXPECT_EQ(Sock_Listen(nullptr, 1), Error_Invalid);
  EXPECT_EQ(Sock_Accept(nullptr, &out), Error_Invalid);
  EXPECT_EQ(Sock_Accept(sock, nullptr), Error_Invalid);
  EXPECT_EQ(Sock_AcceptBuffer(nullptr, 0, &out), Error_Invalid);
  EXPECT_EQ(Sock_Shutdown(nullptr, 2), Error_Invalid);
  EXPECT_EQ(Sock_GetSockName(nullptr, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(Sock_GetPeerName(nullptr, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(Sock_ReadAvail(nullptr, &count), Error_Invalid);
  EXPECT_EQ(Sock_ReadAvail(sock, nullptr), Error_Invalid);
  EXPECT_EQ(Sock_Read(nullptr, 1, &count), 0u);
  EXPECT_EQ(Sock_Write(nullptr, 1, &count), 0u);
  // Reading and writing keep the refusal, as they have no other way to tell it.
  EXPECT_EQ(Sock_GetError(sock), Error_None);
  EXPECT_EQ(Sock_Read(sock, 1, nullptr), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_Invalid);
  EXPECT_EQ(Sock_Write(sock, 1, nullptr), 0u);
  EXPECT_EQ(Sock_GetError(sock), Error_Invalid);
  EXPECT_EQ(Sock_SelectRead(nullptr, 0, 0), Error_Invalid);
  EXPECT_EQ(Sock_SelectWrite(nullptr, 0, 0), Error_Invalid);
  EXPECT_EQ(Sock_SetAsync(nullptr, 1), Error_Invalid);
  EXPECT_EQ(Sock_SetOpt(sock, 1, 1, nullptr, 4), Error_Invalid);
  EXPECT_EQ(Sock_GetOpt(sock, 1, 1, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(Sock_GetError(nullptr), Error_Invalid);
  EXPECT_EQ(Sock_GetDescriptor(nullptr), 0xFFFFFFFFu);
  EXPECT_EQ(Sock_Close(nullptr), Error_Invalid);
  EXPECT_EQ(Sock_Delete(nullptr), Error_Invalid);
  out = sock;
  EXPECT_EQ(Sock_NewBuffer(nullptr, 1, 0, &out), Error_Invalid);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(Sock_NewBuffer(sock, 1, 0, nullptr), Error_Invalid);
  EXPECT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", 1, nullptr), Error_Invalid);
  EXPECT_EQ(Sock_OpenConnectBuffer(0, nullptr, 1, &out), Error_Invalid);
  EXPECT_EQ(Sock_OpenListen(0, nullptr), Error_Invalid);
}

TEST_F(SockTest, GivesMemory_WhenAnAllocationFails) {
  FailEveryAllocation([] {
    Sock* server = nullptr;
    ErrorCode status = Sock_OpenListen(0, &server);
    if (server == nullptr) {
      EXPECT_EQ(status, Error_Memory);
      return;
    }
    uint8_t port[2];
    Sock_GetSockName(server, nullptr, port);
    Sock* client = nullptr;
    status = Sock_OpenConnectBuffer(1, "127.0.0.1", PortIn(port), &client);
    EXPECT_EQ(status, client == nullptr ? Error_Memory : Error_None);
    loopback::Connection own;
    if (client == nullptr) own = loopback::Connect(PortIn(port));
    Sock* accepted = nullptr;
    status = Sock_AcceptBuffer(server, 1, &accepted);
    EXPECT_EQ(status, accepted == nullptr ? Error_Memory : Error_None);
    if (accepted == nullptr && client != nullptr) {
      // The connection that could not be recorded is closed.
      char byte = 0;
      EXPECT_EQ(Sock_Read(client, 1, &byte), 0u);
      EXPECT_NE(Sock_GetError(client), Error_Timeout);
    }
    Sock_Delete(accepted);
    Sock_Delete(client);
    Sock_Delete(server);
    EXPECT_EQ(iSock_CountLive(), 0u);
  });
}

}  // namespace
