// A system without a usable dial-up service: missing, or missing one of the six calls.
#include "qz/remoteaccess.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "net/sock_internal.h"
#include "os/core/socketlayer_internal.h"
#include "tests/support/loopback.h"
#include "tests/support/rasapi32/fake_service.h"

namespace {

class RemoteAccessMissing : public testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(InstallIncompleteService()); }
};

TEST_F(RemoteAccessMissing, AnswersNoToEveryQuery) {
  EXPECT_EQ(RemoteAccess_IsAvailable(), 0);
  EXPECT_EQ(RemoteAccess_ValidEntry("isp"), 0);
  EXPECT_EQ(RemoteAccess_HasPassword("isp"), 0);
  EXPECT_EQ(RemoteAccess_IsConnected("isp"), 0);
}

TEST_F(RemoteAccessMissing, GivesNotInitedFromEveryAction) {
  EXPECT_EQ(RemoteAccess_Connect("isp", nullptr, nullptr), Error_NotInited);
  EXPECT_EQ(RemoteAccess_Disconnect("isp"), Error_NotInited);
  EXPECT_EQ(RemoteAccess_KillBadConnections(), Error_NotInited);
}

TEST_F(RemoteAccessMissing, ClearsTheWholeListAllTheSame) {
  char buffer[20];
  memset(buffer, '~', sizeof buffer);
  EXPECT_EQ(RemoteAccess_ListEntries(16, buffer), Error_NotInited);
  EXPECT_EQ(std::string(buffer, 20), std::string(16, '\0') + "~~~~");
}

TEST_F(RemoteAccessMissing, SelectsNoEntryForSockets) {
  EXPECT_EQ(Sock_SetRemoteAccess("isp", 1), Error_Invalid);
  EXPECT_EQ(Sock_SetRemoteAccess("", 1), Error_None);
  EXPECT_EQ(Sock_SetRemoteAccess(nullptr, 0), Error_None);
  Sock_CloseRemoteAccess();
}

TEST_F(RemoteAccessMissing, LetsSocketsWorkWithoutDialling) {
  ASSERT_EQ(iSock_Init(), Error_None);
  EXPECT_EQ(iSock_EnsureDialUp(), Error_None);
  loopback::Listener listener;
  Sock* sock = nullptr;
  EXPECT_EQ(Sock_OpenConnectBuffer(0, "127.0.0.1", listener.port(), &sock), Error_None);
  EXPECT_EQ(Sock_Delete(sock), Error_None);
  EXPECT_EQ(Sock_OpenListen(0, &sock), Error_None);
  EXPECT_EQ(Sock_Delete(sock), Error_None);
  iSock_Exit();
}

}  // namespace
