// The start and end of what transfers need: one row a part, started in order, ended in the reverse order.
#include "qz/vrxclientsystem.h"

#include <atomic>
#include <cstdio>

#include "os/file/file_internal.h"
#include "qz/os.h"
#include "qz/sock.h"
#include "transfer/agentlist_internal.h"
#include "transfer/vrxclient_internal.h"
#include "transfer/vrxclientsystem_internal.h"
#include "transfer/vrxprefs_internal.h"
#include "transfer/vrxupgrade_internal.h"

namespace {

std::atomic<bool> isStarted{false};

// Transfers that were not closed before the end: their agents need the classes that end now.
void EmptyList() {
  while (VRXClient* client = iVRXClientList_TakeFirst()) iAgentList_DeleteAll(&client->data.agents, 0);
}

ErrorCode StartAgents() {
  char directory[kFileNameSize];
  const ErrorCode status = File_GetSysDir(SysDir_App, directory);
  return status == Error_None ? iAgentList_StartSystem(directory) : status;
}

ErrorCode SelectDialUp() {
  return iVRXClientSystem_ApplyDialUp(false);
}

void EndNothing() {}

struct Part {
  ErrorCode (*start)();
  void (*end)();
};

constexpr Part kParts[] = {
    {iVRXPrefs_Start, iVRXPrefs_End},
    {iVRXUpgrade_Start, iVRXUpgrade_End},
    {StartAgents, iAgentList_EndSystem},
    {SelectDialUp, EndNothing},
};
constexpr size_t kPartCount = sizeof kParts / sizeof kParts[0];

void EndParts(size_t count) {
  while (count > 0) kParts[--count].end();
}

}  // namespace

bool iVRXClientSystem_IsStarted() {
  return isStarted;
}

ErrorCode iVRXClientSystem_ApplyDialUp(bool hangUpWhenIdle) {
  char entry[kPathSize];
  bool isEnabled = false;
  {
    const PreferencesAccess preferences;
    if (!preferences) return Error_NotInited;
    isEnabled = preferences->isDialUpEnabled != 0;
    snprintf(entry, sizeof entry, "%s", preferences->dialUpEntry);
  }
  return Sock_SetRemoteAccess(isEnabled ? entry : nullptr, hangUpWhenIdle ? 1 : 0);
}

ErrorCode VRXClientSystem_Init(void) {
  if (isStarted) return Error_Inited;
  char directory[kFileNameSize];
  ErrorCode status = File_GetSysDir(SysDir_App, directory);
  if (status != Error_None) return status;
  iVRXClientSystem_ClearConnections();
  for (size_t i = 0; i < kPartCount; ++i) {
    status = kParts[i].start();
    if (status == Error_None) continue;
    EndParts(i);
    return status;
  }
  isStarted = true;
  return Error_None;
}

void VRXClientSystem_Exit(void) {
  if (!isStarted) return;
  EmptyList();
  isStarted = false;
  EndParts(kPartCount);
}
