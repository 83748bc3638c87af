// The start and end of what transfers need.
#include <gtest/gtest.h>

#include <string>

#include "os/core/memory_testing.h"
#include "qz/agentclass.h"
#include "qz/vrxprefs.h"
#include "qz/vrxupgrade.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/vrxclient_fixture.h"
#include "tests/traverse/traverse_fixture.h"
#include "transfer/vrxclientsystem_internal.h"

namespace {

std::string PreferenceFile() {
  char cache[1024];
  EXPECT_EQ(File_GetSysDir(SysDir_Cache, cache), Error_None);
  return std::string(cache) + "/" + OS_GetApplicationName() + "VRXPrefs";
}

TEST(VRXClientSystem, NeedsTheLibrary) {
  EXPECT_EQ(VRXClientSystem_Init(), Error_NotInited);
  EXPECT_FALSE(iVRXClientSystem_IsStarted());
  VRXClientSystem_Exit();
}

TEST(VRXClientSystem, ForgetsTheDirectoryOfFilesAtTheEnd) {
  const OSSession session;
  const TempDir directory;
  EXPECT_EQ(VRXClientSystem_SetFileDirectory(directory.Name().c_str()), Error_NotInited);
  ASSERT_EQ(VRXClientSystem_Init(), Error_None);
  EXPECT_EQ(VRXClientSystem_SetFileDirectory(directory.Name().c_str()), Error_None);
  char path[1024];
  EXPECT_EQ(iVRXClientSystem_GetFileDirectory(path), Error_None);
  EXPECT_EQ(path, directory.Name());
  VRXClientSystem_Exit();
  char cache[1024];
  ASSERT_EQ(File_GetSysDir(SysDir_Cache, cache), Error_None);
  EXPECT_EQ(iVRXClientSystem_GetFileDirectory(path), Error_None);
  EXPECT_STREQ(path, cache);
}

TEST(VRXClientSystem, StartsPreferencesAndClasses) {
  const OSSession session;
  EXPECT_EQ(VRXPrefs_BeginAccess(), nullptr);
  EXPECT_EQ(AgentClass_Register(nullptr, "Mine", "new();", nullptr, 0, 0), Error_NotInited);
  ASSERT_EQ(VRXClientSystem_Init(), Error_None);
  EXPECT_TRUE(iVRXClientSystem_IsStarted());
  EXPECT_EQ(File_Exists(PreferenceFile().c_str(), nullptr), 1);
  EXPECT_NE(VRXPrefs_BeginAccess(), nullptr);
  VRXPrefs_EndAccess();
  EXPECT_EQ(AgentClass_MethodExists("VRXx", "completed"), 1);
  VRXClientSystem_Exit();
  EXPECT_FALSE(iVRXClientSystem_IsStarted());
  EXPECT_EQ(VRXPrefs_BeginAccess(), nullptr);
  EXPECT_EQ(AgentClass_MethodExists("VRXx", "completed"), 0);
}

TEST(VRXClientSystem, LeavesNoStepToATransferThatOutlivesIt) {
  const OSSession session;
  ASSERT_EQ(VRXClientSystem_Init(), Error_None);
  VRXClient* client = nullptr;
  ASSERT_EQ(VRXClient_NewDownload("ftp://127.0.0.1:1/x", "qz-no-such-file", 0, nullptr, &client), Error_None);
  VRXClientSystem_Exit();
  for (int step = 0; step < 3; ++step) {
    EXPECT_EQ(VRXClient_Idle(client), Error_NotInited);
    EXPECT_EQ(VRXClient_Poll(client), Error_NotInited);
  }
  EXPECT_EQ(iVRXClientSystem_ApplyDialUp(false), Error_NotInited);
  client->data.localPath[0] = '\0';
  EXPECT_EQ(iVRXClient_ApplyDefaultLocalPath(client), Error_NotInited);
  EXPECT_EQ(VRXClient_Close(client), Error_None);
}

TEST(VRXClientSystem, StartsOnce_AndKeepsItsTransfers) {
  const OSSession session;
  ASSERT_EQ(VRXClientSystem_Init(), Error_None);
  VRXClient* client = nullptr;
  ASSERT_EQ(VRXClient_NewDownload("ftp://a/x", "qz-no-such-file", 0, nullptr, &client), Error_None);
  iVRXClientSystem_RaiseConnections();
  EXPECT_EQ(VRXClientSystem_Init(), Error_Inited);
  EXPECT_EQ(iVRXClientList_Count(), 1u);
  EXPECT_EQ(iVRXClientSystem_Connections(), 1u);
  EXPECT_EQ(VRXClient_Close(client), Error_None);
  VRXClientSystem_Exit();
  ASSERT_EQ(VRXClientSystem_Init(), Error_None) << "again";
  EXPECT_EQ(iVRXClientSystem_Connections(), 0u);
  VRXClientSystem_Exit();
  VRXClientSystem_Exit();
}

TEST(VRXClientSystem, IsNeededForTransfers) {
  const OSSession session;
  VRXClient* client = reinterpret_cast<VRXClient*>(1);
  EXPECT_EQ(VRXClient_NewDownload("ftp://a/x", "qz-no-such-file", 0, nullptr, &client), Error_NotInited);
  EXPECT_EQ(client, nullptr);
  Context context;
  EXPECT_EQ(VRXClient_Read(context.traverse(), 0, nullptr, &client), Error_NotInited);
}

TEST(VRXClientSystem, LeavesNothing_WhenThePreferencesAreDamaged) {
  const OSSession session;
  File* file = nullptr;
  ASSERT_EQ(File_Open(PreferenceFile().c_str(), FileMode_Write, &file), Error_None);
  File_Write(file, 3, "abc");
  File_Close(file);
  EXPECT_NE(VRXClientSystem_Init(), Error_None);
  EXPECT_FALSE(iVRXClientSystem_IsStarted());
  EXPECT_EQ(VRXPrefs_BeginAccess(), nullptr);
  ASSERT_EQ(File_Unlink(PreferenceFile().c_str()), Error_None);
  ASSERT_EQ(VRXClientSystem_Init(), Error_None);
  VRXClientSystem_Exit();
}

TEST(VRXClientSystem, EndsWithTransfersThatAreOpen) {
  const OSSession session;
  ASSERT_EQ(VRXClientSystem_Init(), Error_None);
  VRXClient* clients[2] = {};
  ASSERT_EQ(VRXClient_NewDownload("ftp://a/x", "qz-no-such-file", 0, nullptr, &clients[0]), Error_None);
  ASSERT_EQ(VRXClient_NewDownload("ftp://a/y", "qz-no-such-file", 0, nullptr, &clients[1]), Error_None);
  VRXClientSystem_Exit();
  EXPECT_EQ(iVRXClientList_Count(), 0u);
  ASSERT_EQ(VRXClientSystem_Init(), Error_None);
  VRXClient* another = nullptr;
  ASSERT_EQ(VRXClient_NewDownload("ftp://a/x", "qz-no-such-file", 0, nullptr, &another), Error_None);
  EXPECT_EQ(VRXClient_Close(clients[1]), Error_None);
  EXPECT_EQ(VRXClient_Close(clients[0]), Error_None);
  EXPECT_EQ(iVRXClientList_Count(), 1u);
  EXPECT_EQ(VRXClient_Close(another), Error_None);
  VRXClientSystem_Exit();
}

TEST(VRXClientSystem, StartsOrLeavesNothing_WhicheverAllocationFails) {
  const OSSession session;
  int succeeded = 0;
  FailEveryAllocation(
      [&] {
        const ErrorCode status = VRXClientSystem_Init();
        EXPECT_EQ(iVRXClientSystem_IsStarted(), status == Error_None);
        if (status == Error_None) ++succeeded;
        VRXClientSystem_Exit();
      },
      20000);
  EXPECT_GE(succeeded, 1);
}

}  // namespace
