// The start and end of what transfers need: one row a part, started in order, ended in the reverse order.
#include "qz/vrxclientsystem.h"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "net/sock_internal.h"
#include "os/core/lock_internal.h"
#include "os/file/file_internal.h"
#include "qz/error.h"
#include "qz/os.h"
#include "qz/sock.h"
#include "transfer/agentlist_internal.h"
#include "transfer/vrxclient_internal.h"
#include "transfer/vrxclientsystem_internal.h"
#include "transfer/vrxprefs_internal.h"
#include "transfer/vrxupgrade_internal.h"

namespace {

std::atomic<bool> isStarted{false};

// Under the library's lock; empty for the cache directory. Names of files need some room behind it.
constexpr size_t kLongestFileDirectory = 990;
char fileDirectory[kLongestFileDirectory + 1];

void SetFileDirectory(const char* path) {
  const LibraryLock lock;
  snprintf(fileDirectory, sizeof fileDirectory, "%s", path);
}

// Transfers that were not closed before the end: their agents need the classes that end now.
void EmptyList() {
  while (VRXClient* client = iVRXClientList_TakeFirst()) iAgentList_DeleteAll(&client->data.agents, 0);
}

ErrorCode StartAgents() {
  char directory[kFileNameSize];
  const ErrorCode status = File_GetSysDir(SysDir_App, directory);
  return status == Error_None ? iAgentList_StartSystem(directory) : status;
}

// An entry that is gone can only be replaced by a program that has started.
ErrorCode SelectDialUp() {
  const ErrorCode status = iVRXClientSystem_ApplyDialUp(false);
  if (status != Error_None)
    Error("VRXClientSystem_Init: selecting the dial-up entry gave %ld, %s", static_cast<long>(status),
          Error_ToString(status));
  return Error_None;
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

ErrorCode iVRXClientSystem_GetFileDirectory(char (&path)[1024]) {
  {
    const LibraryLock lock;
    snprintf(path, sizeof path, "%s", fileDirectory);
  }
  return path[0] != '\0' ? ErrorCode{Error_None} : File_GetSysDir(SysDir_Cache, path);
}

ErrorCode VRXClientSystem_SetFileDirectory(const char* path) {
  if (!isStarted) return Error_NotInited;
  if (path == nullptr) path = "";
  if (strlen(path) > kLongestFileDirectory) return Error_Exceed;
  FileState state;
  if (path[0] != '\0') {
    const ErrorCode status = File_GetState(path, &state);
    if (status != Error_None || state.exists == 0 || state.isDirectory == 0) return Error_NotFound;
  }
  SetFileDirectory(path);
  return Error_None;
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
  if (!isEnabled) return Sock_SetRemoteAccess(nullptr, 0);
  // Selecting the same again could cut the line of a transfer that is just about to connect.
  if (iSock_HasRemoteAccess(entry, hangUpWhenIdle)) return Error_None;
  return Sock_SetRemoteAccess(entry, hangUpWhenIdle ? 1 : 0);
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
  SetFileDirectory("");
  EndParts(kPartCount);
}
