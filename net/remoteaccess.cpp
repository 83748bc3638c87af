// Dial-up connections through the system's service, which may be missing.
#include "qz/remoteaccess.h"

#include <atomic>
#include <cstring>

#include "net/remoteaccess_testing.h"
#include "os/core/owned.h"
#include "os/platform/clock.h"
#include "qz/error.h"
#include "qz/memory.h"

namespace {

using platform::DialCalls;
using platform::DialConnection;
using platform::DialEntry;
using platform::DialParameters;
using platform::DialStatus;

constexpr uint32_t kMostBadConnections = 32;
constexpr uint32_t kHangUpPollMilliseconds = 50;
constexpr uint32_t kHangUpLimitMilliseconds = 3000;
// A name of one byte needs its terminator and the empty text that ends the list too.
constexpr uint32_t kListEndBytes = 2;

// Two threads may look up at once; both find the same, so it does not matter which one stores last.
std::atomic<bool> lookedUp{false};
std::atomic<const DialCalls*> foundCalls{nullptr};

constexpr RemoteAccessClock kSystemClock = {platform::MonotonicMilliseconds, platform::SleepMilliseconds};
std::atomic<const RemoteAccessClock*> usedClock{&kSystemClock};

void FreeBlock(void* block) {
  Memory_Delete(block);
}
using OwnedBlock = Owned<void, FreeBlock>;

// The service's calls, or null.
const DialCalls* Calls() {
  if (!lookedUp.load()) {
    foundCalls.store(platform::LoadDialService());
    lookedUp.store(true);
  }
  return foundCalls.load();
}

// The stored parameters of an entry; false when there is no such entry.
bool ReadParameters(const DialCalls* calls, const char* entry, DialParameters* parameters,
                    int32_t* hasPassword) {
  *parameters = DialParameters{};
  *hasPassword = 0;
  if (calls == nullptr || entry == nullptr) return false;
  const size_t length = strlen(entry);
  if (length >= sizeof parameters->entry) return false;
  parameters->size = sizeof *parameters;
  memcpy(parameters->entry, entry, length + 1);
  return calls->GetParameters(parameters, hasPassword) == 0;
}

// Replaces a stored text unless the new one is null; false when it does not fit.
template <size_t size>
bool Replace(const char* text, char (&stored)[size]) {
  if (text == nullptr) return true;
  const size_t length = strlen(text);
  if (length >= size) return false;
  memcpy(stored, text, length + 1);
  return true;
}

// The records of one kind, in a block to be freed: asks for the size first, then for the records.
template <typename Record>
ErrorCode Enumerate(uint32_t (*call)(Record*, uint32_t*, uint32_t*), OwnedBlock* block, uint32_t* count) {
  *count = 0;
  Record first{};
  first.size = sizeof first;
  uint32_t sizeBytes = sizeof first;
  uint32_t needed = 0;
  call(&first, &sizeBytes, &needed);
  if (sizeBytes == 0) return Error_None;

  const uint32_t blockBytes = sizeBytes > sizeof(Record) ? sizeBytes : static_cast<uint32_t>(sizeof(Record));
  block->reset(Memory_New(blockBytes));
  if (!*block) return Error_Memory;
  Memory_Set(block->get(), blockBytes, 0);
  static_cast<Record*>(block->get())->size = sizeof(Record);
  if (call(static_cast<Record*>(block->get()), &sizeBytes, count) != 0) return Error_Fail;
  // A service may count more records than fit in the block.
  if (*count > blockBytes / sizeof(Record)) *count = blockBytes / sizeof(Record);
  return Error_None;
}

// A name in a record of the service, which need not be terminated.
template <size_t size>
size_t NameLength(const char (&name)[size]) {
  const void* end = memchr(name, 0, size);
  return end != nullptr ? static_cast<size_t>(static_cast<const char*>(end) - name) : size - 1;
}

void ListNames(const DialEntry* entries, uint32_t count, uint32_t bufferSize, char* buffer) {
  uint32_t left = bufferSize;
  for (uint32_t i = 0; i < count && left > kListEndBytes; ++i) {
    const auto length = static_cast<uint32_t>(NameLength(entries[i].name));
    // Kept: the longest name that would just fit is skipped too; every caller gets the same list.
    if (length + kListEndBytes >= left) continue;
    memcpy(buffer, entries[i].name, length);
    buffer[length] = '\0';
    buffer += length + 1;
    left -= length + 1;
  }
}

// The handle of an entry's connection; false when there is none.
bool FindConnection(const DialCalls* calls, const char* entry, uint32_t* handle) {
  OwnedBlock block;
  uint32_t count = 0;
  if (entry == nullptr || Enumerate(calls->EnumerateConnections, &block, &count) != Error_None) return false;
  const auto* connections = static_cast<const DialConnection*>(block.get());
  const size_t length = strlen(entry);
  for (uint32_t i = 0; i < count; ++i) {
    if (NameLength(connections[i].entry) != length || memcmp(connections[i].entry, entry, length) != 0)
      continue;
    *handle = connections[i].handle;
    return true;
  }
  return false;
}

uint32_t GetStatus(const DialCalls* calls, uint32_t handle, DialStatus* status) {
  *status = DialStatus{};
  status->size = sizeof *status;
  return calls->GetStatus(handle, status);
}

// Hangs up, and waits until the service no longer knows the connection; a modem is free only then.
bool HangUpAndWait(const DialCalls* calls, uint32_t handle) {
  if (calls->HangUp(handle) != 0) return false;
  const RemoteAccessClock* clock = usedClock.load();
  const uint64_t deadline = clock->nowMilliseconds() + kHangUpLimitMilliseconds;
  DialStatus status;
  while (GetStatus(calls, handle, &status) != platform::kDialInvalidHandle) {
    if (clock->nowMilliseconds() >= deadline) return false;
    clock->sleepMilliseconds(kHangUpPollMilliseconds);
  }
  return true;
}

}  // namespace

void iRemoteAccess_SetCalls(const DialCalls* calls) {
  foundCalls.store(calls);
  lookedUp.store(true);
}

void iRemoteAccess_SetClock(const RemoteAccessClock* clock) {
  usedClock.store(clock != nullptr ? clock : &kSystemClock);
}

int32_t RemoteAccess_IsAvailable(void) {
  return Calls() != nullptr ? 1 : 0;
}

ErrorCode RemoteAccess_ListEntries(uint32_t bufferSize, char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  Memory_Set(buffer, bufferSize, 0);
  const DialCalls* calls = Calls();
  if (calls == nullptr) return Error_NotInited;
  OwnedBlock block;
  uint32_t count = 0;
  if (ErrorCode status = Enumerate(calls->EnumerateEntries, &block, &count); status != Error_None)
    return status;
  ListNames(static_cast<const DialEntry*>(block.get()), count, bufferSize, buffer);
  return Error_None;
}

int32_t RemoteAccess_ValidEntry(const char* entry) {
  DialParameters parameters;
  int32_t hasPassword = 0;
  return ReadParameters(Calls(), entry, &parameters, &hasPassword) ? 1 : 0;
}

int32_t RemoteAccess_HasPassword(const char* entry) {
  DialParameters parameters;
  int32_t hasPassword = 0;
  return ReadParameters(Calls(), entry, &parameters, &hasPassword) && hasPassword != 0 ? 1 : 0;
}

int32_t RemoteAccess_IsConnected(const char* entry) {
  const DialCalls* calls = Calls();
  uint32_t handle = 0;
  if (calls == nullptr || !FindConnection(calls, entry, &handle)) return 0;
  DialStatus status;
  return GetStatus(calls, handle, &status) == 0 && status.state == platform::kDialStateConnected ? 1 : 0;
}

ErrorCode RemoteAccess_Connect(const char* entry, const char* user, const char* password) {
  const DialCalls* calls = Calls();
  if (calls == nullptr) return Error_NotInited;
  if (entry == nullptr) return Error_Invalid;
  if (RemoteAccess_IsConnected(entry) == 1) return Error_None;

  DialParameters parameters;
  int32_t hasPassword = 0;
  if (!ReadParameters(calls, entry, &parameters, &hasPassword)) return Error_Fail;
  if (!Replace(user, parameters.user) || !Replace(password, parameters.password)) return Error_Fail;
  uint32_t handle = 0;
  return calls->Dial(&parameters, &handle) == 0 ? Error_None : Error_Fail;
}

ErrorCode RemoteAccess_Disconnect(const char* entry) {
  const DialCalls* calls = Calls();
  if (calls == nullptr) return Error_NotInited;
  if (entry == nullptr) return Error_Invalid;
  if (RemoteAccess_IsConnected(entry) == 0) return Error_None;
  uint32_t handle = 0;
  return FindConnection(calls, entry, &handle) && calls->HangUp(handle) == 0 ? Error_None : Error_Fail;
}

ErrorCode RemoteAccess_KillBadConnections(void) {
  const DialCalls* calls = Calls();
  if (calls == nullptr) return Error_NotInited;
  DialConnection connections[kMostBadConnections] = {};
  for (DialConnection& connection : connections) connection.size = sizeof connection;
  uint32_t sizeBytes = sizeof connections;
  uint32_t count = 0;
  // Kept: connections that cannot be listed, as when there are more than 32, are left alone without a
  // failure; programs clean up before they dial, and dial all the same.
  if (calls->EnumerateConnections(connections, &sizeBytes, &count) != 0) return Error_None;

  ErrorCode result = Error_None;
  for (uint32_t i = 0; i < count && i < kMostBadConnections; ++i) {
    DialStatus status;
    if (GetStatus(calls, connections[i].handle, &status) != 0) continue;
    if (status.state == platform::kDialStateConnected) continue;
    if (!HangUpAndWait(calls, connections[i].handle)) result = Error_Fail;
  }
  return result;
}
