// The servers of a transfer as its application sees them.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "os/core/memory_testing.h"
#include "tests/transfer/vrxclient_object_fixture.h"
#include "transfer/statistics_internal.h"

namespace {

// ---- servers -------------------------------------------------------------------------------------

TEST_F(TransferObject, TakesMirrors) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), "ftp://a/x;ftp://b/x;no URL;;ftp://a/x"), Error_None);
  EXPECT_EQ(transfer->data.servers.count, 2u);
  EXPECT_TRUE(transfer->isChanged);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), "ftp://b/x"), Error_None);
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), ""), Error_None);
  EXPECT_FALSE(transfer->isChanged) << "nothing was added";
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_AddMirrors(nullptr, "ftp://b/x"), Error_Invalid);
  ASSERT_EQ(iVRXClient_SetServer(transfer.get(), nullptr), Error_None);
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), "ftp://c/x"), Error_NotInited);
  EXPECT_EQ(transfer->data.servers.count, 2u);
}

TEST_F(TransferObject, TakesAServerOfTheLibrarysOwn) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  transfer->isChanged = false;
  bool isAdded = true;
  EXPECT_EQ(iVRXClient_AddServer(transfer.get(), "ftp://a/x", &isAdded), Error_None);
  EXPECT_FALSE(isAdded);
  EXPECT_FALSE(transfer->isChanged);
  EXPECT_EQ(iVRXClient_AddServer(transfer.get(), "http://b/x;y", &isAdded), Error_None);
  EXPECT_TRUE(isAdded);
  EXPECT_TRUE(transfer->isChanged);
  EXPECT_EQ(transfer->data.servers.count, 2u) << "one, whatever it holds";
  EXPECT_EQ(iVRXClient_AddServer(transfer.get(), "no URL", nullptr), Error_Invalid);
  EXPECT_EQ(iVRXClient_AddServers(transfer.get(), "http://c/x;http://d/x", &isAdded), Error_None);
  EXPECT_TRUE(isAdded);
  EXPECT_EQ(transfer->data.servers.count, 4u);
}

TEST_F(TransferObject, ShowsItsServers) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://u:p@first.example/x", &transfer), Error_None);
  ASSERT_EQ(VRXClient_AddMirrors(transfer.get(), "http://second.example:8080/y"), Error_None);
  transfer->data.servers.last->isFailed = true;
  constexpr uint8_t kAddress[] = {10, 0, 0, 2};
  iStatistics_RecordAddress("second.example", 8080, kAddress);
  iStatistics_RecordSpeed("second.example", 8080, 2048);
  iStatistics_RecordFailure("second.example", 8080);
  VRXClientServer server;
  ASSERT_EQ(VRXClient_GetServer(transfer.get(), 0, &server), Error_None);
  EXPECT_STREQ(server.url, "ftp://first.example/x") << "neither user nor password";
  EXPECT_EQ(server.isFailed, 0);
  EXPECT_EQ(server.isCurrent, 1);
  EXPECT_EQ(server.speedSamples, 0u);
  EXPECT_EQ(server.averageSpeed, -1.0f);
  EXPECT_EQ(server.outcomeSamples, 0u);
  EXPECT_EQ(server.successRatio, 0.5f);
  ASSERT_EQ(VRXClient_GetServer(transfer.get(), 1, &server), Error_None);
  EXPECT_STREQ(server.url, "http://second.example:8080/y");
  EXPECT_EQ(server.isFailed, 1);
  EXPECT_EQ(server.isCurrent, 0);
  EXPECT_EQ(server.speedSamples, 1u);
  EXPECT_EQ(server.averageSpeed, 2048.0f);
  EXPECT_EQ(server.outcomeSamples, 1u);
  EXPECT_EQ(server.successRatio, 0.0f);
  for (const uint32_t index : {2u, 0xFFFFFFFFu}) {
    EXPECT_EQ(VRXClient_GetServer(transfer.get(), index, &server), Error_NotFound);
    EXPECT_STREQ(server.url, "");
    EXPECT_EQ(server.speedSamples, 0u);
  }
  EXPECT_EQ(VRXClient_GetServer(transfer.get(), 0, nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_GetServer(nullptr, 0, &server), Error_Invalid);
}

TEST_F(TransferObject, HasNoServer_WhenMemoryRunsOut) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  iMemory_FailAllocation(1);
  EXPECT_EQ(iVRXClient_SetServer(transfer.get(), transfer->data.servers.first), Error_Memory);
  iMemory_FailAllocation(0);
  EXPECT_EQ(transfer->server, nullptr);
  EXPECT_EQ(transfer->entry, nullptr);
}

TEST_F(TransferObject, GivesTheLastReply) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  VRXClientLastReply reply;
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_NotFound);
  EXPECT_EQ(reply.code, 0);
  transfer->lastReply = {'5', 550, "No such file"};
  ASSERT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  EXPECT_EQ(reply.code, 550);
  EXPECT_STREQ(reply.text, "No such file");
  EXPECT_EQ(reply.status, Error_None);
  EXPECT_EQ(reply.reason, 0u);
  transfer->lastFailure = Error_NoAccess;
  transfer->lastReason = VRXClientReason_Denied;
  ASSERT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  EXPECT_EQ(reply.status, Error_NoAccess);
  EXPECT_EQ(reply.reason, 9u);
  transfer->lastReply = {0, 550, "left over"};
  ASSERT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  EXPECT_EQ(reply.code, 0) << "a reply of class 0 is none";
  EXPECT_STREQ(reply.text, "");
  transfer->lastFailure = Error_None;
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  transfer->lastReason = 0;
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_NotFound);
  EXPECT_EQ(VRXClient_GetLastReply(nullptr, &reply), Error_Invalid);
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), nullptr), Error_Invalid);
}

}  // namespace
