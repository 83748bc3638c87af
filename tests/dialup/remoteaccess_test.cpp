// Dial-up connections over a service of the tests' own.
#include "qz/remoteaccess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "net/remoteaccess_testing.h"
#include "net/sock_internal.h"
#include "os/core/socketlayer_internal.h"
#include "qz/error.h"
#include "qz/ftpc.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/loopback.h"
#include "tests/support/rasapi32/fake_service.h"
#include "tests/support/scripted_server.h"

namespace {

constexpr uint32_t kConnected = 0x2000;
constexpr uint32_t kDialling = 2;

class RemoteAccessTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { fake = InstallFakeService(); }

  void SetUp() override {
    ASSERT_NE(fake, nullptr);
    *fake = FakeService{};
    ASSERT_EQ(RemoteAccess_IsAvailable(), 1);
  }
  void TearDown() override {
    if (fake != nullptr) {
      EXPECT_EQ(fake->badSizes, 0u);
    }
  }

  static void AddEntry(const std::string& name, bool hasPassword = false) {
    FakeEntry& entry = fake->entries[fake->entryCount++];
    strcpy(entry.name, name.c_str());
    strcpy(entry.user, "stored user");
    strcpy(entry.password, "stored password");
    entry.hasPassword = hasPassword;
  }

  static FakeConnection& AddConnection(uint32_t handle, const std::string& entry, uint32_t state) {
    FakeConnection& connection = fake->connections[fake->connectionCount++];
    connection.handle = handle;
    strcpy(connection.entry, entry.c_str());
    connection.state = state;
    return connection;
  }

  // The list in a buffer of so many bytes, separators as "|"; what lies behind the list must be zero.
  static std::string List(uint32_t size) {
    std::vector<char> buffer(size + 8, '~');
    EXPECT_EQ(RemoteAccess_ListEntries(size, buffer.data()), Error_None);
    EXPECT_EQ(std::string(buffer.data() + size, 8), "~~~~~~~~") << "written past the buffer";
    std::string list;
    size_t at = 0;
    while (at < size && buffer[at] != '\0') {
      const std::string name(buffer.data() + at);
      list += name + "|";
      at += name.size() + 1;
    }
    for (; at < size; ++at) EXPECT_EQ(buffer[at], '\0');
    return list;
  }

  static FakeService* fake;
};
FakeService* RemoteAccessTest::fake = nullptr;

TEST_F(RemoteAccessTest, ListsTheEntries) {
  AddEntry("one");
  AddEntry("two words");
  AddEntry("three");
  EXPECT_EQ(List(1024), "one|two words|three|");
}

TEST_F(RemoteAccessTest, ListsNothing_WhenThereAreNoEntries) {
  EXPECT_EQ(List(64), "");
  AddEntry("one");
  fake->entriesNeedNothing = true;
  EXPECT_EQ(List(64), "");
}

TEST_F(RemoteAccessTest, ListsAnEntryOfTheGreatestLength) {
  AddEntry(std::string(256, 'n'));
  EXPECT_EQ(List(1024), std::string(256, 'n') + "|");
}

TEST_F(RemoteAccessTest, EndsANameThatTheServiceDoesNotEnd) {
  AddEntry("x");
  memset(fake->entries[0].name, 'n', sizeof fake->entries[0].name);
  EXPECT_EQ(List(1024), std::string(256, 'n') + "|");
  memset(AddConnection(5, "x", kConnected).entry, 'n', 257);
  EXPECT_EQ(RemoteAccess_IsConnected(std::string(256, 'n').c_str()), 1);
  EXPECT_EQ(RemoteAccess_IsConnected(std::string(257, 'n').c_str()), 0);
}

TEST_F(RemoteAccessTest, BelievesNoCountBeyondTheRoom) {
  AddEntry("one");
  AddConnection(5, "one", kDialling);
  fake->countedTooMuch = 0xFFFFFF00;
  EXPECT_EQ(List(1024), "one|");
  EXPECT_EQ(RemoteAccess_IsConnected("other"), 0);
  EXPECT_EQ(RemoteAccess_KillBadConnections(), Error_None);
  EXPECT_EQ(fake->hangUps, 1u);
}

TEST_F(RemoteAccessTest, ListsNoNameInThreeBytesOrLess) {
  AddEntry("a");
  for (const uint32_t size : {0u, 1u, 2u, 3u}) EXPECT_EQ(List(size), "") << size;
  EXPECT_EQ(List(4), "a|");
}

TEST_F(RemoteAccessTest, SkipsANameThatDoesNotFitAndTriesTheNext) {
  AddEntry("abcdef");
  AddEntry("xy");
  AddEntry("z");
  // 6 + 2 is not less than 8; 2 + 2 is; then 5 bytes are left for "z".
  EXPECT_EQ(List(8), "xy|z|");
  EXPECT_EQ(List(9), "abcdef|");
  // 13 - 7 = 6 left: "xy" fits, 3 left: "z" does not, as 1 + 2 is not less than 3.
  EXPECT_EQ(List(13), "abcdef|xy|");
  EXPECT_EQ(List(14), "abcdef|xy|z|");
}

TEST_F(RemoteAccessTest, ClearsTheListAndGivesFail_WhenTheServiceFails) {
  AddEntry("one");
  AddEntry("two");
  fake->enumerateEntriesError = 87;
  char buffer[8];
  memset(buffer, '~', sizeof buffer);
  EXPECT_EQ(RemoteAccess_ListEntries(sizeof buffer, buffer), Error_Fail);
  EXPECT_EQ(std::string(buffer, 8), std::string(8, '\0'));
}

TEST_F(RemoteAccessTest, KnowsValidEntriesAndTheirPasswords) {
  AddEntry("with", true);
  AddEntry("without", false);
  EXPECT_EQ(RemoteAccess_ValidEntry("with"), 1);
  EXPECT_EQ(RemoteAccess_ValidEntry("without"), 1);
  EXPECT_EQ(RemoteAccess_ValidEntry("other"), 0);
  EXPECT_EQ(RemoteAccess_HasPassword("with"), 1);
  EXPECT_EQ(RemoteAccess_HasPassword("without"), 0);
  EXPECT_EQ(RemoteAccess_HasPassword("other"), 0);
}

TEST_F(RemoteAccessTest, TakesNamesOver256BytesForInvalid) {
  AddEntry(std::string(256, 'n'));
  EXPECT_EQ(RemoteAccess_ValidEntry(std::string(256, 'n').c_str()), 1);
  EXPECT_EQ(RemoteAccess_ValidEntry(std::string(257, 'n').c_str()), 0);
  EXPECT_EQ(RemoteAccess_ValidEntry(std::string(65536, 'n').c_str()), 0);
  EXPECT_EQ(RemoteAccess_Connect(std::string(257, 'n').c_str(), nullptr, nullptr), Error_Fail);
  EXPECT_EQ(Sock_SetRemoteAccess(std::string(257, 'n').c_str(), 1), Error_Invalid);
}

TEST_F(RemoteAccessTest, IsConnectedInTheConnectedStateOnly) {
  AddConnection(5, "other", kConnected);
  FakeConnection& connection = AddConnection(7, "isp", kConnected);
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 1);
  EXPECT_EQ(RemoteAccess_IsConnected("is"), 0);
  EXPECT_EQ(RemoteAccess_IsConnected("ispx"), 0);
  connection.state = kDialling;
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 0);
  connection.state = 0x2001;
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 0);
  connection.state = kConnected;
  connection.statusError = 87;
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 0);
  connection.statusError = 0;
  fake->enumerateConnectionsError = 87;
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 0);
}

TEST_F(RemoteAccessTest, LooksAtTheFirstConnectionOfAnEntry) {
  AddConnection(5, "isp", kDialling);
  AddConnection(6, "isp", kConnected);
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 0);
}

TEST_F(RemoteAccessTest, DialsWithTheStoredNames) {
  AddEntry("isp", true);
  EXPECT_EQ(RemoteAccess_Connect("isp", nullptr, nullptr), Error_None);
  EXPECT_EQ(fake->dials, 1u);
  EXPECT_STREQ(fake->lastDialled.entry, "isp");
  EXPECT_STREQ(fake->lastDialled.user, "stored user");
  EXPECT_STREQ(fake->lastDialled.password, "stored password");
  EXPECT_STREQ(fake->lastDialled.phoneNumber, "");
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 1);
}

TEST_F(RemoteAccessTest, DialsWithTheNamesGiven) {
  AddEntry("isp");
  EXPECT_EQ(RemoteAccess_Connect("isp", "me", nullptr), Error_None);
  EXPECT_STREQ(fake->lastDialled.user, "me");
  EXPECT_STREQ(fake->lastDialled.password, "stored password");
  RemoteAccess_Disconnect("isp");
  EXPECT_EQ(RemoteAccess_Connect("isp", nullptr, "secret"), Error_None);
  EXPECT_STREQ(fake->lastDialled.user, "stored user");
  EXPECT_STREQ(fake->lastDialled.password, "secret");
}

TEST_F(RemoteAccessTest, RefusesNamesThatDoNotFit) {
  AddEntry("isp");
  EXPECT_EQ(RemoteAccess_Connect("isp", std::string(257, 'u').c_str(), nullptr), Error_Fail);
  EXPECT_EQ(RemoteAccess_Connect("isp", nullptr, std::string(257, 'p').c_str()), Error_Fail);
  EXPECT_EQ(fake->dials, 0u);
  EXPECT_EQ(RemoteAccess_Connect("isp", std::string(256, 'u').c_str(), nullptr), Error_None);
}

TEST_F(RemoteAccessTest, DoesNotDialAgain) {
  AddEntry("isp");
  AddConnection(5, "isp", kConnected);
  EXPECT_EQ(RemoteAccess_Connect("isp", nullptr, nullptr), Error_None);
  EXPECT_EQ(fake->dials, 0u);
}

TEST_F(RemoteAccessTest, GivesFail_WhenItCannotDial) {
  EXPECT_EQ(RemoteAccess_Connect("unknown", nullptr, nullptr), Error_Fail);
  EXPECT_EQ(fake->dials, 0u);
  AddEntry("isp");
  fake->dialError = 676;
  EXPECT_EQ(RemoteAccess_Connect("isp", nullptr, nullptr), Error_Fail);
  EXPECT_EQ(fake->dials, 1u);
}

TEST_F(RemoteAccessTest, HangsUpTheEntrysConnection) {
  AddConnection(5, "other", kConnected);
  AddConnection(6, "isp", kConnected);
  EXPECT_EQ(RemoteAccess_Disconnect("isp"), Error_None);
  EXPECT_EQ(fake->hangUps, 1u);
  EXPECT_EQ(fake->lastHungUp, 6u);
  EXPECT_EQ(RemoteAccess_Disconnect("isp"), Error_None);
  EXPECT_EQ(fake->hangUps, 1u);
}

TEST_F(RemoteAccessTest, LeavesAConnectionAloneThatIsNotUp) {
  AddConnection(6, "isp", kDialling);
  EXPECT_EQ(RemoteAccess_Disconnect("isp"), Error_None);
  EXPECT_EQ(fake->hangUps, 0u);
}

TEST_F(RemoteAccessTest, GivesFail_WhenItCannotHangUp) {
  AddConnection(6, "isp", kConnected).hangUpError = 87;
  EXPECT_EQ(RemoteAccess_Disconnect("isp"), Error_Fail);
}

TEST_F(RemoteAccessTest, KillsEveryConnectionThatIsNotUp) {
  AddConnection(1, "a", kConnected);
  AddConnection(2, "b", kDialling).statusesUntilGone = 3;
  AddConnection(3, "c", 0x2001);
  AddConnection(4, "d", kDialling).statusError = 87;
  EXPECT_EQ(RemoteAccess_KillBadConnections(), Error_None);
  EXPECT_FALSE(fake->connections[0].isGone);
  EXPECT_TRUE(fake->connections[1].isGone);
  EXPECT_TRUE(fake->connections[2].isGone);
  EXPECT_FALSE(fake->connections[3].isGone);
  EXPECT_EQ(fake->hangUps, 2u);
}

TEST_F(RemoteAccessTest, GoesOnKilling_WhenOneCannotBeHungUp) {
  AddConnection(1, "a", kDialling).hangUpError = 87;
  AddConnection(2, "b", kDialling);
  EXPECT_EQ(RemoteAccess_KillBadConnections(), Error_Fail);
  EXPECT_FALSE(fake->connections[0].isGone);
  EXPECT_TRUE(fake->connections[1].isGone);
}

// A clock that only sleeping moves on.
uint64_t fakeMilliseconds = 0;
std::vector<uint32_t> sleeps;
constexpr RemoteAccessClock kFakeClock = {[] { return fakeMilliseconds; },
                                          [](uint32_t milliseconds) {
                                            fakeMilliseconds += milliseconds;
                                            sleeps.push_back(milliseconds);
                                          }};

class RemoteAccessHangUp : public RemoteAccessTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(RemoteAccessTest::SetUp());
    fakeMilliseconds = 5000;
    sleeps.clear();
    iRemoteAccess_SetClock(&kFakeClock);
  }
  void TearDown() override {
    iRemoteAccess_SetClock(nullptr);
    RemoteAccessTest::TearDown();
  }
};

TEST_F(RemoteAccessHangUp, GivesFailAfterThreeSeconds_WhenAConnectionDoesNotGo) {
  AddConnection(1, "a", kDialling).statusesUntilGone = 1000000;
  AddConnection(2, "b", kDialling);
  EXPECT_EQ(RemoteAccess_KillBadConnections(), Error_Fail);
  EXPECT_EQ(fakeMilliseconds, 8000u);
  EXPECT_TRUE(fake->connections[1].isGone);
}

TEST_F(RemoteAccessHangUp, AsksEvery50MillisecondsWhetherTheConnectionIsGone) {
  // The first status is asked for before the hang-up; the third one after it no longer knows the connection.
  AddConnection(1, "a", kDialling).statusesUntilGone = 3;
  EXPECT_EQ(RemoteAccess_KillBadConnections(), Error_None);
  EXPECT_EQ(sleeps, (std::vector<uint32_t>{50, 50}));
}

// The system's own clock, for a moment.
TEST_F(RemoteAccessTest, WaitsUntilAConnectionIsGone) {
  AddConnection(1, "a", kDialling).statusesUntilGone = 3;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(RemoteAccess_KillBadConnections(), Error_None);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(90));
  EXPECT_TRUE(fake->connections[0].isGone);
}

TEST_F(RemoteAccessTest, KillsNone_WhenTheyCannotBeListed) {
  AddConnection(1, "a", kDialling);
  fake->enumerateConnectionsError = 87;
  EXPECT_EQ(RemoteAccess_KillBadConnections(), Error_None);
  EXPECT_EQ(fake->hangUps, 0u);
}

TEST_F(RemoteAccessTest, KillsNone_WhenThereAreMoreThan32) {
  for (uint32_t i = 0; i < 33; ++i) AddConnection(i + 1, "a", kDialling);
  EXPECT_EQ(RemoteAccess_KillBadConnections(), Error_None);
  EXPECT_EQ(fake->hangUps, 0u);
  fake->connections[0].isGone = true;
  EXPECT_EQ(RemoteAccess_KillBadConnections(), Error_None);
  EXPECT_EQ(fake->hangUps, 32u);
}

TEST_F(RemoteAccessTest, RefusesNullArguments) {
  EXPECT_EQ(RemoteAccess_ListEntries(8, nullptr), Error_Invalid);
  EXPECT_EQ(RemoteAccess_ValidEntry(nullptr), 0);
  EXPECT_EQ(RemoteAccess_HasPassword(nullptr), 0);
  EXPECT_EQ(RemoteAccess_IsConnected(nullptr), 0);
  EXPECT_EQ(RemoteAccess_Connect(nullptr, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(RemoteAccess_Disconnect(nullptr), Error_Invalid);
}

TEST_F(RemoteAccessTest, GivesMemory_WhenAnAllocationFails) {
  AddEntry("one");
  AddConnection(5, "one", kConnected);
  FailEveryAllocation([] {
    char buffer[64];
    const ErrorCode status = RemoteAccess_ListEntries(sizeof buffer, buffer);
    EXPECT_TRUE(status == Error_None || status == Error_Memory) << status;
    EXPECT_STREQ(buffer, status == 0 ? "one" : "");
    const int32_t isConnected = RemoteAccess_IsConnected("one");
    EXPECT_TRUE(isConnected == 0 || isConnected == 1);
  });
}

// ---- the entry that sockets use ----------------------------------------------------------------

class SockDialUp : public RemoteAccessTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(RemoteAccessTest::SetUp());
    ASSERT_EQ(iSock_Init(), Error_None);
    AddEntry("isp");
    AddEntry("second");
  }
  void TearDown() override {
    // Clears what the selection remembers of this test: an idle connection that it dialled is given up.
    Sock_SetRemoteAccess("isp", 1);
    Sock_SetRemoteAccess(nullptr, 0);
    iSock_Exit();
    RemoteAccessTest::TearDown();
  }

  // What a socket does before its first connection; fails, as nobody listens there.
  static void Resolve() {
    platform::SocketAddress address;
    EXPECT_EQ(iSock_Resolve("127.0.0.1", 1, &address), Error_None);
  }
};

TEST_F(SockDialUp, DialsBeforeAHostIsResolved) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  EXPECT_EQ(fake->dials, 0u);
  loopback::Listener listener;
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", listener.port(), &sock), Error_None);
  EXPECT_EQ(fake->dials, 1u);
  EXPECT_STREQ(fake->lastDialled.entry, "isp");
  EXPECT_STREQ(fake->lastDialled.user, "stored user");
  Resolve();
  EXPECT_EQ(fake->dials, 1u);
  Sock_Delete(sock);
}

// Each of the calls that need the network dials by itself.
TEST_F(SockDialUp, DialsBeforeBindingConnectingAndListening) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  using Call = ErrorCode (*)(Sock*);
  const Call calls[] = {
      [](Sock* sock) { return Sock_Bind(sock, nullptr, 0); },
      [](Sock* sock) { return Sock_Bind(sock, "127.0.0.1", 0); },
      [](Sock* sock) { return Sock_Connect(sock, "127.0.0.1", loopback::UnusedPort()); },
      [](Sock* sock) { return Sock_Listen(sock, 0); },
  };
  uint32_t dials = 0;
  for (const Call& call : calls) {
    Sock* sock = nullptr;
    ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
    EXPECT_EQ(fake->dials, dials);
    call(sock);
    EXPECT_EQ(fake->dials, ++dials);
    Sock_Delete(sock);
  }
}

TEST_F(SockDialUp, DialsBeforeListening) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  EXPECT_EQ(fake->dials, 1u);
  Sock_Delete(sock);
}

TEST_F(SockDialUp, GivesTheFailureOfDiallingOnlyWhenListening) {
  fake->dialError = 676;
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  loopback::Listener listener;
  Sock* sock = nullptr;
  EXPECT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", listener.port(), &sock), Error_None);
  Sock_Delete(sock);
  ASSERT_EQ(Sock_NewCreate(&sock), Error_None);
  EXPECT_EQ(Sock_Bind(sock, nullptr, 0), Error_None);
  EXPECT_EQ(Sock_Listen(sock, 5), Error_Fail);
  EXPECT_EQ(Sock_GetError(sock), Error_Fail);
  Sock_Delete(sock);
  EXPECT_EQ(Sock_OpenListen(0, &sock), Error_Fail);
  EXPECT_EQ(sock, nullptr);
}

// Not once for every port of the range.
TEST_F(SockDialUp, DialsOnceForAnActiveDataConnection_WhenDiallingFails) {
  ScriptedServer server({{script::SendLine("220 ready"), script::ExpectEnd()}});
  FTPc* connection = nullptr;
  Reply reply;
  ASSERT_EQ(FTPc_Open("127.0.0.1", server.port(), FTPcFlag_NoProxy, &connection, &reply), Error_None);
  FTPc_SetPortRange(loopback::UnusedPorts(20), 20);
  fake->dialError = 676;
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  Stream* data = nullptr;
  EXPECT_EQ(FTPc_StartRetrieve(connection, "/a", &data, &reply), Error_Fail);
  EXPECT_EQ(fake->dials, 1u);
  FTPc_Delete(connection);
  server.Finish();
}

TEST_F(SockDialUp, HangsUpWhenTheLastSocketIsGone) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  Sock* first = nullptr;
  Sock* second = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &first), Error_None);
  ASSERT_EQ(Sock_OpenListen(0, &second), Error_None);
  Sock_Delete(first);
  EXPECT_EQ(fake->hangUps, 0u);
  Sock_Close(second);
  EXPECT_EQ(fake->hangUps, 0u);
  Sock_Delete(second);
  EXPECT_EQ(fake->hangUps, 1u);
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 0);
}

TEST_F(SockDialUp, DialsAgainAfterHangingUp) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  for (uint32_t round = 1; round <= 3; ++round) {
    Sock* sock = nullptr;
    ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
    EXPECT_EQ(fake->dials, round);
    Sock_Delete(sock);
    EXPECT_EQ(fake->hangUps, round);
  }
}

TEST_F(SockDialUp, KeepsTheConnection_WhenNotAskedToHangUp) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 0), Error_None);
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  Sock_Delete(sock);
  EXPECT_EQ(fake->dials, 1u);
  EXPECT_EQ(fake->hangUps, 0u);
}

TEST_F(SockDialUp, LeavesAConnectionThatItDidNotDial) {
  AddConnection(5, "isp", kConnected);
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  Sock_Delete(sock);
  EXPECT_EQ(fake->dials, 0u);
  EXPECT_EQ(fake->hangUps, 0u);
}

TEST_F(SockDialUp, GivesInited_WhileSocketsUseTheConnectionItDialled) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  EXPECT_EQ(Sock_SetRemoteAccess("second", 1), Error_Inited);
  // Nothing has changed: the first entry is still the one in use.
  Resolve();
  EXPECT_EQ(fake->dials, 1u);
  Sock_Delete(sock);
  EXPECT_EQ(fake->hangUps, 1u);
}

// What was asked for with the entry in use counts, not what is asked for now; the same entry is no exception.
TEST_F(SockDialUp, AsksTheOldFlag_WhenAnEntryIsSelectedOverLiveSockets) {
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  EXPECT_EQ(Sock_SetRemoteAccess("isp", 0), Error_Inited);
  Sock_Delete(sock);
  EXPECT_EQ(fake->hangUps, 1u);

  ASSERT_EQ(Sock_SetRemoteAccess("isp", 0), Error_None);
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  EXPECT_EQ(fake->dials, 2u);
  EXPECT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  EXPECT_EQ(fake->hangUps, 1u);
  Sock_Delete(sock);
  EXPECT_EQ(fake->hangUps, 2u);
}

TEST_F(SockDialUp, HangsUpTheOldEntry_WhenAnotherIsSelected) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  Resolve();
  EXPECT_EQ(fake->dials, 1u);
  EXPECT_EQ(Sock_SetRemoteAccess("second", 0), Error_None);
  EXPECT_EQ(fake->hangUps, 1u);
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 0);
  Resolve();
  EXPECT_EQ(fake->dials, 2u);
  EXPECT_STREQ(fake->lastDialled.entry, "second");
}

TEST_F(SockDialUp, RefusesAnInvalidEntryAndKeepsTheOld) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  EXPECT_EQ(Sock_SetRemoteAccess("unknown", 1), Error_Invalid);
  Resolve();
  EXPECT_STREQ(fake->lastDialled.entry, "isp");
}

TEST_F(SockDialUp, DialsNoMoreOnceCleared) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  EXPECT_EQ(Sock_SetRemoteAccess("", 1), Error_None);
  Resolve();
  EXPECT_EQ(fake->dials, 0u);
}

// The name is cleared before the hang-up looks for it.
TEST_F(SockDialUp, LeavesTheConnectionUp_WhenTheSelectionIsCleared) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  Resolve();
  EXPECT_EQ(Sock_SetRemoteAccess(nullptr, 1), Error_None);
  EXPECT_EQ(fake->hangUps, 0u);
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 1);
}

// Only the name is cleared. The connection still counts as one to hang up, so its sockets keep another entry
// from being selected; without a name nothing is hung up.
TEST_F(SockDialUp, RemembersTheConnection_WhenTheSelectionIsCleared) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  EXPECT_EQ(Sock_SetRemoteAccess(nullptr, 0), Error_None);
  EXPECT_EQ(Sock_SetRemoteAccess("second", 1), Error_Inited);
  Sock_Delete(sock);
  EXPECT_EQ(Sock_SetRemoteAccess("second", 1), Error_None);
  EXPECT_EQ(fake->hangUps, 0u);
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 1);
}

// What the user dialled is never hung up here, whatever was dialled here before.
TEST_F(SockDialUp, ForgetsTheConnection_WhenAnotherEntryIsSelected) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 0), Error_None);
  Resolve();
  EXPECT_EQ(fake->dials, 1u);
  AddConnection(77, "second", kConnected);
  ASSERT_EQ(Sock_SetRemoteAccess("second", 1), Error_None);
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  Sock_Delete(sock);
  EXPECT_EQ(fake->hangUps, 0u);
  EXPECT_EQ(RemoteAccess_IsConnected("second"), 1);
}

TEST_F(SockDialUp, SkipsAnEntryThatIsNoLongerInThePhoneBook) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  fake->entryCount = 0;
  Resolve();
  EXPECT_EQ(fake->dials, 0u);
  EXPECT_EQ(iSock_EnsureDialUp(), Error_None);
}

// A connection that another program makes after dialling failed here is that program's to end.
TEST_F(SockDialUp, ForgetsThatItDialled_WhenDiallingAgainFails) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  Resolve();
  EXPECT_EQ(fake->dials, 1u);
  fake->connections[0].state = kDialling;
  fake->dialError = 676;
  EXPECT_EQ(iSock_EnsureDialUp(), Error_Fail);
  fake->dialError = 0;
  fake->connections[0].state = kConnected;
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  Sock_Delete(sock);
  EXPECT_EQ(fake->dials, 2u);
  EXPECT_EQ(fake->hangUps, 0u);
}

TEST_F(SockDialUp, DialsOnce_WhenTwoThreadsConnectAtTheSameTime) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 0), Error_None);
  fake->dialMilliseconds = 200;
  std::thread other(Resolve);
  Resolve();
  other.join();
  EXPECT_EQ(fake->dials, 1u);
}

TEST_F(SockDialUp, IsSelectedByOneThread_WhileOthersConnect) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 0), Error_None);
  std::thread first([] {
    for (int i = 0; i < 200; ++i) Resolve();
  });
  for (int i = 0; i < 200; ++i) EXPECT_EQ(Sock_SetRemoteAccess(i % 2 == 0 ? "second" : "isp", 0), Error_None);
  first.join();
  EXPECT_LE(fake->dials, 2u);
  EXPECT_EQ(fake->hangUps, 0u);
}

// A dial for an entry says nothing of the one that was selected meanwhile.
TEST_F(SockDialUp, CountsADialForItsEntryOnly) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 0), Error_None);
  AddConnection(77, "second", kConnected);
  fake->dialMilliseconds = 400;
  std::thread dialling(Resolve);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(Sock_SetRemoteAccess("second", 1), Error_None);
  dialling.join();
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  Sock_Delete(sock);
  EXPECT_EQ(fake->hangUps, 0u) << "the user has dialled it";
}

TEST_F(SockDialUp, HangsUpAtTheEnd_WhenSocketsAreLeft) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None);
  Sock* sock = nullptr;
  ASSERT_EQ(Sock_OpenListen(0, &sock), Error_None);
  iSock_Exit();
  EXPECT_EQ(fake->hangUps, 1u);
  EXPECT_EQ(iSock_CountLive(), 0u);
  ASSERT_EQ(iSock_Init(), Error_None);
  Sock_Delete(sock);
}

}  // namespace
