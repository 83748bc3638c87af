// The dial-up line of transfers: the entry that the start selects, and who hangs up.
#include "qz/vrxclient.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "net/sock_internal.h"
#include "qz/remoteaccess.h"
#include "qz/sock.h"
#include "qz/vrxclientsystem.h"
#include "qz/vrxprefs.h"
#include "tests/support/error_capture.h"
#include "tests/support/os_session.h"
#include "tests/support/rasapi32/fake_service.h"
#include "transfer/vrxclient_internal.h"
#include "transfer/vrxclientsystem_internal.h"

namespace {

class TransferDialUp : public testing::Test {
 protected:
  void SetUp() override {
    fake_ = InstallFakeService();
    ASSERT_NE(fake_, nullptr);
    *fake_ = FakeService{};
    fake_->entryCount = 1;
    strcpy(fake_->entries[0].name, "isp");
    ASSERT_EQ(session_.Status(), Error_None);
  }
  void TearDown() override {
    VRXClientSystem_Exit();
    Sock_SetRemoteAccess("isp", 1);
    Sock_SetRemoteAccess(nullptr, 0);
  }

  // Stores the preferences and starts with them.
  static ErrorCode StartWith(bool isEnabled, const std::string& entry, bool hangsUp) {
    EXPECT_EQ(VRXClientSystem_Init(), Error_None);
    VRXPrefs* preferences = VRXPrefs_BeginAccess();
    preferences->isDialUpEnabled = isEnabled ? 1 : 0;
    strcpy(preferences->dialUpEntry, entry.c_str());
    preferences->hangsUpWhenDone = hangsUp ? 1 : 0;
    EXPECT_EQ(VRXPrefs_Changed(), Error_None);
    VRXPrefs_EndAccess();
    VRXClientSystem_Exit();
    return VRXClientSystem_Init();
  }
  // What a socket does before its first connection.
  static void UseLine() {
    platform::SocketAddress address;
    EXPECT_EQ(iSock_Resolve("127.0.0.1", 1, &address), Error_None);
  }
  static VRXClient* NewTransfer(const std::string& url) {
    VRXClient* client = nullptr;
    EXPECT_EQ(VRXClient_NewDownload(url.c_str(), "qz-no-such-file", 0, nullptr, &client), Error_None);
    return client;
  }

  FakeService* fake_ = nullptr;
  OSSession session_;
};

TEST_F(TransferDialUp, UsesTheEntryOfThePreferences) {
  ASSERT_EQ(StartWith(true, "isp", false), Error_None);
  UseLine();
  EXPECT_EQ(fake_->dials, 1u);
  EXPECT_STREQ(fake_->lastDialled.entry, "isp");
}

// The preferences may have changed since the program began.
TEST_F(TransferDialUp, UsesTheEntryOfThePreferences_AsTheyAreWhenATransferConnects) {
  ASSERT_EQ(StartWith(false, "", false), Error_None);
  VRXClient* client = NewTransfer("http://127.0.0.1:1/x");
  VRXPrefs* preferences = VRXPrefs_BeginAccess();
  preferences->isDialUpEnabled = 1;
  strcpy(preferences->dialUpEntry, "isp");
  VRXPrefs_EndAccess();
  EXPECT_EQ(VRXClient_Idle(client), VRXClientResult_Changed);
  EXPECT_EQ(VRXClient_Idle(client), VRXClientResult_Changed);
  EXPECT_EQ(fake_->dials, 0u);
  VRXClient_Idle(client);
  EXPECT_EQ(fake_->dials, 1u);
  EXPECT_STREQ(fake_->lastDialled.entry, "isp");
  VRXClient_Delete(client);
}

TEST_F(TransferDialUp, UsesNone_WhenItIsNotEnabled) {
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 0), Error_None);
  ASSERT_EQ(StartWith(false, "isp", true), Error_None);
  UseLine();
  EXPECT_EQ(fake_->dials, 0u);
}

// Only a program that has started can select another one.
TEST_F(TransferDialUp, StartsAndNotesIt_WhenTheEntryIsUnknown) {
  const ErrorCapture errors;
  EXPECT_EQ(StartWith(true, "gone", false), Error_None);
  EXPECT_TRUE(iVRXClientSystem_IsStarted());
  ASSERT_EQ(ErrorCapture::Lines().size(), 1u);
  EXPECT_EQ(ErrorCapture::Lines()[0],
            "#### Error: VRXClientSystem_Init: selecting the dial-up entry gave -4, Invalid\n");
  UseLine();
  EXPECT_EQ(fake_->dials, 0u);
}

// ... and a transfer that connects meanwhile keeps the line of its own.
TEST_F(TransferDialUp, KeepsTheLine_WhenATransferSelectsTheSameAgain) {
  ASSERT_EQ(StartWith(true, "isp", true), Error_None);
  ASSERT_EQ(iVRXClientSystem_ApplyDialUp(true), Error_None);
  UseLine();
  EXPECT_EQ(iVRXClientSystem_ApplyDialUp(true), Error_None);
  EXPECT_EQ(fake_->dials, 1u);
  EXPECT_EQ(fake_->hangUps, 0u);
}

// Whatever the preferences say, what was selected before is hung up as they say now.
TEST_F(TransferDialUp, SelectsAgain_WhenAnotherThingIsToBecomeOfTheLine) {
  ASSERT_EQ(StartWith(true, "isp", true), Error_None);
  UseLine();
  EXPECT_EQ(iVRXClientSystem_ApplyDialUp(true), Error_None);
  Sock_CloseRemoteAccess();
  EXPECT_EQ(fake_->hangUps, 1u);
}

TEST_F(TransferDialUp, IsHungUp_WhenTheLastTransferIsClosed) {
  ASSERT_EQ(StartWith(true, "isp", true), Error_None);
  VRXClient* first = NewTransfer("ftp://a/1");
  VRXClient* second = NewTransfer("ftp://a/2");
  UseLine();
  EXPECT_EQ(VRXClient_Close(first), Error_None);
  EXPECT_EQ(fake_->hangUps, 0u) << "the other one needs the line";
  EXPECT_EQ(VRXClient_Delete(second), Error_None);
  EXPECT_EQ(fake_->hangUps, 1u);
}

TEST_F(TransferDialUp, IsHungUp_WhenAllOtherTransfersAreCompletedOrHaveFailed) {
  ASSERT_EQ(StartWith(true, "isp", true), Error_None);
  VRXClient* completed = NewTransfer("ftp://a/1");
  iVRXClient_ChangeState(completed, TransferState::Completed);
  VRXClient* failed = NewTransfer("ftp://a/2");
  VRXClient_AgentError(failed, VRXClientReason_NoServer);
  VRXClient* last = NewTransfer("ftp://a/3");
  UseLine();
  EXPECT_EQ(VRXClient_Close(last), Error_None);
  EXPECT_EQ(fake_->hangUps, 1u);
  VRXClient_Close(completed);
  VRXClient_Close(failed);
}

TEST_F(TransferDialUp, IsHungUp_WhenTheLastTransferIsCompleted) {
  ASSERT_EQ(StartWith(true, "isp", true), Error_None);
  VRXClient* client = NewTransfer("ftp://a/1");
  iVRXClient_ChangeState(client, TransferState::Agents);
  UseLine();
  EXPECT_EQ(fake_->hangUps, 0u);
  EXPECT_EQ(VRXClient_Idle(client), VRXClientResult_Completed);
  EXPECT_EQ(fake_->hangUps, 1u);
  VRXClient_Close(client);
}

TEST_F(TransferDialUp, IsHungUp_WhenTheLastTransferFails) {
  ASSERT_EQ(StartWith(true, "isp", true), Error_None);
  VRXClient* client = NewTransfer("ftp://a/1");
  UseLine();
  // Nothing is left of the list of servers.
  client->data.servers.first->isFailed = true;
  ASSERT_EQ(iVRXClient_SetServer(client, nullptr), Error_None);
  EXPECT_EQ(VRXClient_Idle(client), VRXClientResult_Failed);
  EXPECT_EQ(fake_->hangUps, 1u);
  VRXClient_Close(client);
}

TEST_F(TransferDialUp, StaysUp_WhenAProbeFails) {
  ASSERT_EQ(StartWith(true, "isp", true), Error_None);
  VRXClient* client = NewTransfer("ftp://a/1");
  UseLine();
  iVRXClient_ChangeState(client, TransferState::PrepareDataFile);
  client->data.isUpload = 1;
  snprintf(client->data.localPath, kPathSize, "qz-no-such-file");
  EXPECT_EQ(VRXClient_Poll(client), VRXClientResult_Failed);
  EXPECT_EQ(fake_->hangUps, 0u);
  VRXClient_Close(client);
  EXPECT_EQ(fake_->hangUps, 1u);
}

TEST_F(TransferDialUp, StaysUp_WhenThePreferencesSaySo) {
  ASSERT_EQ(StartWith(true, "isp", false), Error_None);
  VRXClient* client = NewTransfer("ftp://a/1");
  UseLine();
  EXPECT_EQ(VRXClient_Close(client), Error_None);
  EXPECT_EQ(fake_->dials, 1u);
  EXPECT_EQ(fake_->hangUps, 0u);
}

TEST_F(TransferDialUp, StaysUp_WhenDialUpIsNotEnabled) {
  ASSERT_EQ(StartWith(false, "isp", true), Error_None);
  ASSERT_EQ(Sock_SetRemoteAccess("isp", 1), Error_None) << "the application's own line";
  VRXClient* client = NewTransfer("ftp://a/1");
  UseLine();
  EXPECT_EQ(VRXClient_Close(client), Error_None);
  EXPECT_EQ(fake_->dials, 1u);
  EXPECT_EQ(fake_->hangUps, 0u);
  fake_->connectionCount = 0;
  UseLine();
  EXPECT_EQ(fake_->dials, 2u) << "its selection stays";
}

}  // namespace
