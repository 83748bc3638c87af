// A transfer as its application sees it: creation and plain results.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "os/core/memory_testing.h"
#include "os/time/clock_testing.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/vrxclient_object_fixture.h"

namespace {

// ---- URLs ----------------------------------------------------------------------------------------

TEST(CheckURL, TakesDownloadsWithAPathAndUploads) {
  struct {
    const char* url;
    ErrorCode status;
    int32_t upload;
  } const rows[] = {
      {"http://a/x", Error_None, 0},   {"https://a/x", Error_None, 0},     {"ftp://a/x", Error_None, 0},
      {"vrx://a/x", Error_None, 0},    {"ftpu://a/x", Error_None, 1},      {"vrxu://a/x", Error_None, 1},
      {"ftpu://a", Error_None, 1},     {"http://a", Error_Invalid, 0},     {"http://a/", Error_Invalid, 0},
      {"https://a", Error_Invalid, 0}, {"ftp://a", Error_Invalid, 0},      {"ftp://a/", Error_Invalid, 0},
      {"file:///x", Error_Invalid, 0}, {"gopher://a/x", Error_Invalid, 0}, {"a/x", Error_Invalid, 0},
      {"", Error_Invalid, 0},          {nullptr, Error_Invalid, 0},        {" FTP://a/x ", Error_None, 0},
  };
  for (const auto& row : rows) {
    int32_t upload = 77;
    EXPECT_EQ(VRXClient_CheckURL(row.url, &upload), row.status) << (row.url != nullptr ? row.url : "null");
    EXPECT_EQ(upload, row.upload) << (row.url != nullptr ? row.url : "null");
    EXPECT_EQ(VRXClient_CheckURL(row.url, nullptr), row.status);
  }
}

// ---- creation ------------------------------------------------------------------------------------

TEST_F(TransferObject, OfADownloadIsFresh) {
  const Time now = {1000000000, 500};
  iClock_SetWallClock(&now);
  Transfer transfer;
  ASSERT_EQ(New("ftp://u:p@a:2121/dir/x.zip", &transfer), Error_None);
  iClock_SetWallClock(nullptr);
  EXPECT_EQ(heard_.Take(), Lines()) << "nothing is reported";
  EXPECT_EQ(transfer->data.created.seconds, 1000000000u);
  EXPECT_EQ(transfer->data.created.milliseconds, 500u);
  EXPECT_EQ(VRXClient_IsUpload(transfer.get()), 0);
  EXPECT_EQ(VRXClient_GetEditFlags(transfer.get()), 0x3Au);
  EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u);
  EXPECT_EQ(transfer->data.size, kSizeUnknown);
  EXPECT_EQ(transfer->data.declaredSize, 0u);
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 0xFFFFFFFFu);
  EXPECT_EQ(transfer->dataFileSize, kSizeUnknown);
  EXPECT_EQ(transfer->remaining, kSizeUnknown);
  EXPECT_EQ(transfer->offset, 0u);
  EXPECT_EQ(transfer->connectionKind, -1);
  EXPECT_TRUE(transfer->isChanged);
  EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), "ftp://u:p@a:2121/dir/x.zip")
      << "the first URL is the server in use from the beginning";
  EXPECT_EQ(transfer->entry, transfer->data.servers.first);
  EXPECT_EQ(transfer->data.servers.count, 1u);
  EXPECT_EQ(TextOf(VRXClient_GetDataFilePath, transfer.get()), "");
  EXPECT_EQ(VRXClient_GetError(transfer.get()), 0u);
  EXPECT_EQ(Semaphore_Wait(transfer->semaphore, 0), Error_None);
  EXPECT_EQ(Semaphore_Wait(transfer->semaphore, 0), Error_Timeout) << "one count";
  EXPECT_EQ(Semaphore_Signal(transfer->semaphore), Error_None);
  EXPECT_EQ(Semaphore_Signal(transfer->semaphore), Error_Fail) << "and no more";
}

TEST_F(TransferObject, OfAnUploadIsFresh) {
  directory_.Write("source", "abc");
  Transfer transfer;
  for (const char* url : {"ftp://a/dir/", "ftpu://a/up", "ftpu://a"}) {
    ASSERT_EQ(NewUpload("source", url, &transfer), Error_None) << url;
    EXPECT_EQ(VRXClient_IsUpload(transfer.get()), 1);
    EXPECT_EQ(VRXClient_GetEditFlags(transfer.get()), 0x38u);
    EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u);
    EXPECT_EQ(TextOf(VRXClient_GetLocalFilePath, transfer.get()), directory_.Name("source"));
    EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), url);
    EXPECT_EQ(VRXClient_GetSize(transfer.get()), 0xFFFFFFFFu);
  }
}

TEST_F(TransferObject, IsNotMadeFromABadURL) {
  Transfer transfer;
  for (const char* url : {"", "x", "file:///x", "ftp://a", "http://a/", "ftpu://a/x", "vrxu://a/x"}) {
    EXPECT_EQ(New(url, &transfer), Error_Invalid) << url;
    EXPECT_EQ(transfer.get(), nullptr);
  }
  VRXClient* client = reinterpret_cast<VRXClient*>(1);
  EXPECT_EQ(VRXClient_NewDownload(nullptr, nullptr, 0, nullptr, &client), Error_Invalid);
  EXPECT_EQ(client, nullptr);
  EXPECT_EQ(VRXClient_NewDownload("ftp://a/x", nullptr, 0, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(iVRXClientList_Count(), 0u);
}

TEST_F(TransferObject, OfAnUploadNeedsAFileAndAnFTPServer) {
  directory_.Write("source", "abc");
  directory_.MakeDirectory("directory");
  Transfer transfer;
  EXPECT_EQ(NewUpload("missing", "ftp://a/x", &transfer), Error_NotFound);
  EXPECT_EQ(NewUpload("directory", "ftp://a/x", &transfer), Error_Invalid);
  for (const char* url : {"http://a/x", "https://a/x", "file:///x", "ftp://a", "x"})
    EXPECT_EQ(NewUpload("source", url, &transfer), Error_Invalid) << url;
  EXPECT_EQ(NewUpload("source", nullptr, &transfer), Error_Invalid);
  EXPECT_EQ(VRXClient_NewUpload(nullptr, "ftp://a/x", 0, nullptr, transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_NewUpload("", "ftp://a/x", 0, nullptr, transfer.out()), Error_NotFound);
  EXPECT_EQ(VRXClient_NewUpload(directory_.Name("source").c_str(), "ftp://a/x", 0, nullptr, nullptr),
            Error_Invalid);
  EXPECT_EQ(transfer.get(), nullptr);
}

TEST_F(TransferObject, IsMadeOnceForAURL) {
  Transfer first;
  ASSERT_EQ(New("ftp://a/x", &first), Error_None);
  Transfer second;
  EXPECT_EQ(New("ftp://a/x", &second), Error_Exists);
  directory_.Write("source", "abc");
  EXPECT_EQ(NewUpload("source", "ftp://a/x", &second), Error_Exists);
  EXPECT_EQ(second.get(), nullptr);
  EXPECT_EQ(iVRXClientList_Count(), 1u);
  first.Close();
  EXPECT_EQ(New("ftp://a/x", &second), Error_None);
}

TEST_F(TransferObject, TakesURLsOfUpTo1021Bytes) {
  Transfer transfer;
  EXPECT_EQ(New(URLOf(1021), &transfer), Error_None);
  EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), URLOf(1021));
  EXPECT_EQ(New(URLOf(1022), &transfer), Error_Exceed);
  EXPECT_EQ(New(URLOf(100000), &transfer), Error_Exceed);
  EXPECT_EQ(transfer.get(), nullptr);
}

TEST_F(TransferObject, IsMadeOfTwoURLs_WhenTheFirstIsAFile) {
  directory_.Write("source", "abc");
  const std::string file = "file://" + directory_.Name("source");
  Transfer transfer;
  ASSERT_EQ(VRXClient_New(file.c_str(), "ftp://a/up", transfer.out()), Error_None);
  EXPECT_EQ(VRXClient_IsUpload(transfer.get()), 1);
  EXPECT_EQ(TextOf(VRXClient_GetLocalFilePath, transfer.get()), directory_.Name("source"));
  EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), "ftp://a/up");
  EXPECT_EQ(transfer->methods, nullptr);
}

TEST_F(TransferObject, LooksForTheServersURLAsAFile_WhenTheSecondIsAFile) {
  directory_.Write("source", "abc");
  const std::string file = "file://" + directory_.Name("source");
  Transfer transfer;
  EXPECT_EQ(VRXClient_New("ftp://a/up", file.c_str(), transfer.out()), Error_NotFound);
  EXPECT_EQ(transfer.get(), nullptr);
}

TEST_F(TransferObject, IsNotMadeOfOtherURLs) {
  directory_.Write("source", "abc");
  const std::string file = "file://" + directory_.Name("source");
  Transfer transfer;
  EXPECT_EQ(VRXClient_New("ftp://a/x", "ftp://b/x", transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New("ftp://a/x", nullptr, transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New(file.c_str(), nullptr, transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New(nullptr, "ftp://a/x", transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New("no URL", file.c_str(), transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New("ftp://a/x", "no URL", transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New(file.c_str(), file.c_str(), transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New("file://", "ftp://a/x", transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New("ftp://a/x", "ftp://b/x", nullptr), Error_Invalid);
}

TEST_F(TransferObject, LeavesNothingBehind_WhicheverAllocationFails) {
  directory_.Write("source", "abc");
  for (const bool isUpload : {false, true}) {
    int succeeded = 0;
    FailEveryAllocation([&] {
      VRXClient* client = nullptr;
      const ErrorCode status =
          isUpload ? VRXClient_NewUpload(directory_.Name("source").c_str(), "ftp://a/x", 0, nullptr, &client)
                   : VRXClient_NewDownload("ftp://a/x", nullptr, 0, nullptr, &client);
      EXPECT_EQ(client != nullptr, status == Error_None);
      if (client != nullptr) {
        ++succeeded;
        VRXClient_Close(client);
      } else {
        EXPECT_EQ(status, Error_Memory);
      }
      EXPECT_EQ(iVRXClientList_Count(), 0u);
    });
    EXPECT_GE(succeeded, 1);
  }
}

// ---- plain results -------------------------------------------------------------------------------

TEST_F(TransferObject, TellsWhatItIs) {
  Transfer transfer;
  ASSERT_EQ(New("https://a/x", &transfer), Error_None);
  EXPECT_EQ(VRXClient_IsVRXServer(transfer.get()), 0);
  EXPECT_EQ(VRXClient_ServerSupportsResume(transfer.get()), 0);
  EXPECT_EQ(VRXClient_IsCompleted(transfer.get()), 0);
  transfer->isMirrorServer = true;
  transfer->canResume = true;
  EXPECT_EQ(VRXClient_IsVRXServer(transfer.get()), 1);
  EXPECT_EQ(VRXClient_ServerSupportsResume(transfer.get()), 1);
  iVRXClient_ChangeState(transfer.get(), TransferState::Agents);
  EXPECT_EQ(VRXClient_IsCompleted(transfer.get()), 0);
  iVRXClient_ChangeState(transfer.get(), TransferState::Completed);
  EXPECT_EQ(VRXClient_IsCompleted(transfer.get()), 1);
  EXPECT_EQ(VRXClient_GetState(transfer.get()), 14u);
}

TEST_F(TransferObject, IsSecureOnAnOpenHTTPSConnectionOnly) {
  Transfer transfer;
  ASSERT_EQ(New("https://a/x", &transfer), Error_None);
  int32_t out = 77;
  EXPECT_EQ(VRXClient_IsSecure(transfer.get(), &out), 0) << "nothing is open";
  EXPECT_EQ(out, 0);
  for (int32_t kind = 0; kind <= 3; ++kind) {
    transfer->connectionKind = kind;
    out = 77;
    EXPECT_EQ(VRXClient_IsSecure(transfer.get(), &out), kind == 1 ? 1 : 0);
    EXPECT_EQ(out, 0);
    EXPECT_EQ(VRXClient_IsSecure(transfer.get(), nullptr), kind == 1 ? 1 : 0);
  }
  transfer->connectionKind = -1;
}

TEST_F(TransferObject, KeepsReasonAndEditFlags) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  EXPECT_EQ(VRXClient_AgentError(transfer.get(), 17), Error_None);
  EXPECT_EQ(VRXClient_GetError(transfer.get()), 17u);
  EXPECT_EQ(VRXClient_AgentError(transfer.get(), 0xFFFFFFFF), Error_None);
  EXPECT_EQ(VRXClient_GetError(transfer.get()), 0xFFFFFFFFu);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_SetEditFlags(transfer.get(), 0xA5A5A5A5), Error_None);
  EXPECT_EQ(VRXClient_GetEditFlags(transfer.get()), 0xA5A5A5A5u);
  EXPECT_TRUE(transfer->isChanged);
}

TEST_F(TransferObject, KeepsItsSettings) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  struct {
    ErrorCode (*set)(VRXClient* client, int32_t flag);
    bool VRXClient::*field;
  } const settings[] = {{VRXClient_AcceptWebPages, &VRXClient::acceptsWebPages},
                        {VRXClient_SetOverwrite, &VRXClient::replacesTarget},
                        {VRXClient_RefuseSurplus, &VRXClient::refusesSurplus},
                        {VRXClient_SetSync, &VRXClient::syncsDataFile},
                        {VRXClient_SetActiveMode, &VRXClient::usesActiveMode}};
  transfer->isChanged = false;
  for (const auto& setting : settings) {
    EXPECT_FALSE(transfer.get()->*setting.field);
    EXPECT_EQ(setting.set(transfer.get(), 7), Error_None);
    EXPECT_TRUE(transfer.get()->*setting.field);
    EXPECT_EQ(setting.set(transfer.get(), 0), Error_None);
    EXPECT_FALSE(transfer.get()->*setting.field);
    EXPECT_EQ(setting.set(nullptr, 1), Error_Invalid);
  }
  EXPECT_FALSE(transfer->isChanged) << "they are not stored";
}

TEST_F(TransferObject, TellsItsSettingsToAgents) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  struct {
    ErrorCode (*set)(VRXClient* client, int32_t flag);
    int32_t (*get)(const VRXClient* client);
  } const settings[] = {{VRXClient_SetActiveMode, VRXClient_GetActiveMode},
                        {VRXClient_SetRelativePaths, VRXClient_GetRelativePaths}};
  for (const auto& setting : settings) {
    EXPECT_EQ(setting.get(transfer.get()), 0);
    EXPECT_EQ(setting.set(transfer.get(), 7), Error_None);
    EXPECT_EQ(setting.get(transfer.get()), 1);
    EXPECT_EQ(setting.set(transfer.get(), 0), Error_None);
    EXPECT_EQ(setting.get(transfer.get()), 0);
    EXPECT_EQ(setting.get(nullptr), 0);
  }
}

TEST_F(TransferObject, NeedsATransferAndABuffer) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  for (const auto get : {VRXClient_GetSourceURL, VRXClient_GetServerName, VRXClient_GetLocalFilePath,
                         VRXClient_GetTransferName, VRXClient_GetRemoteFilePath, VRXClient_GetFileName,
                         VRXClient_GetDataFilePath}) {
    EXPECT_EQ(TextOf(get, nullptr), "status -4");
    EXPECT_EQ(get(transfer.get(), nullptr), Error_Invalid);
    EXPECT_EQ(get(nullptr, nullptr), Error_Invalid);
  }
  EXPECT_EQ(VRXClient_IsUpload(nullptr), 0);
  EXPECT_EQ(VRXClient_IsVRXServer(nullptr), 0);
  EXPECT_EQ(VRXClient_ServerSupportsResume(nullptr), 0);
  EXPECT_EQ(VRXClient_IsCompleted(nullptr), 0);
  EXPECT_EQ(VRXClient_IsSecure(nullptr, nullptr), 0);
  EXPECT_EQ(VRXClient_GetSize(nullptr), 0u);
  EXPECT_EQ(VRXClient_GetSize64(nullptr), 0u);
  EXPECT_EQ(VRXClient_GetError(nullptr), 0u);
  EXPECT_EQ(VRXClient_GetEditFlags(nullptr), 0u);
  EXPECT_EQ(VRXClient_GetState(nullptr), 0u);
  EXPECT_EQ(VRXClient_AgentError(nullptr, 1), Error_Invalid);
  EXPECT_EQ(VRXClient_SetEditFlags(nullptr, 1), Error_Invalid);
  EXPECT_EQ(VRXClient_Close(nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_Delete(nullptr), Error_Invalid);
}

}  // namespace
