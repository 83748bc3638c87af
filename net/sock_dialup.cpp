// The dial-up entry that sockets use: connected before the network is needed, hung up when the last socket is
// deleted. There is one selection, under the library's lock, which is not held while the service works:
// dialling takes long. One thread dials, the others wait for what comes of it.
#include <cstring>

#include "net/sock_internal.h"
#include "os/core/lock_internal.h"
#include "os/platform/clock.h"
#include "qz/remoteaccess.h"

namespace {

constexpr size_t kLongestEntryName = 256;
constexpr uint32_t kDialPollMilliseconds = 20;

struct DialSelection {
  bool useDialUp;
  char entry[kLongestEntryName + 1];
  bool hangUpWhenIdle;
  bool connected;    // iSock_EnsureDialUp has seen or made the connection
  bool dialledHere;  // it made it
};

// Under the library's lock.
DialSelection selection{};
bool isDialling = false;

DialSelection Selected() {
  const LibraryLock lock;
  return selection;
}

bool IsDialUpUsed() {
  const LibraryLock lock;
  return selection.useDialUp;
}

bool OwnsIdleHangUp(const DialSelection& selected) {
  return selected.connected && selected.dialledHere && selected.hangUpWhenIdle;
}

// ---- with the lock held --------------------------------------------------------------------------------

void ForgetConnection() {
  selection.connected = false;
  selection.dialledHere = false;
}

// Kept: the name is cleared before the hang-up looks for it, so clearing leaves a connection up; programs
// clear the selection at their start and would cut a connection that another part uses.
void Clear() {
  selection.useDialUp = false;
  selection.entry[0] = '\0';
}

void Select(const char* entry, bool hangUpWhenIdle) {
  // The other entry's connection may be the user's own, which must never be hung up here.
  if (strcmp(entry, selection.entry) != 0) ForgetConnection();
  selection.useDialUp = true;
  // A valid entry's name fits.
  memcpy(selection.entry, entry, strlen(entry) + 1);
  selection.hangUpWhenIdle = hangUpWhenIdle;
}

// ---- dialling ------------------------------------------------------------------------------------------

bool TryBeginDialling() {
  const LibraryLock lock;
  if (isDialling) return false;
  isDialling = true;
  return true;
}

// The one thread that looks whether the line is up, and dials.
class Dialling {
 public:
  Dialling() {
    while (!TryBeginDialling()) platform::SleepMilliseconds(kDialPollMilliseconds);
  }
  ~Dialling() {
    const LibraryLock lock;
    isDialling = false;
  }
  Dialling(const Dialling&) = delete;
  Dialling& operator=(const Dialling&) = delete;
};

// Says of the entry what has become of its connection, unless another one was selected meanwhile.
void Note(const char* entry, bool isConnected, bool isDialledHere) {
  const LibraryLock lock;
  if (strcmp(selection.entry, entry) != 0) return;
  selection.connected = selection.connected || isConnected;
  selection.dialledHere = isDialledHere;
}

ErrorCode Dial(const char* entry) {
  Note(entry, false, false);
  const ErrorCode status = RemoteAccess_Connect(entry, nullptr, nullptr);
  if (status == Error_None) Note(entry, true, true);
  return status;
}

}  // namespace

ErrorCode iSock_EnsureDialUp() {
  if (!IsDialUpUsed()) return Error_None;
  const Dialling dialling;
  const DialSelection selected = Selected();
  const char* entry = selected.entry;
  if (!selected.useDialUp) return Error_None;
  if (RemoteAccess_IsAvailable() == 0 || RemoteAccess_ValidEntry(entry) == 0) return Error_None;
  if (RemoteAccess_IsConnected(entry) == 0) return Dial(entry);
  Note(entry, true, selected.dialledHere);
  return Error_None;
}

bool iSock_HasRemoteAccess(const char* entry, bool hangUpWhenIdle) {
  const LibraryLock lock;
  return selection.useDialUp && strcmp(selection.entry, entry) == 0 &&
         selection.hangUpWhenIdle == hangUpWhenIdle;
}

ErrorCode Sock_SetRemoteAccess(const char* entry, int32_t hangUpWhenIdle) {
  if (entry == nullptr || *entry == '\0') {
    {
      const LibraryLock lock;
      Clear();
    }
    Sock_CloseRemoteAccess();
    return Error_None;
  }
  if (RemoteAccess_ValidEntry(entry) == 0) return Error_Invalid;
  const DialSelection before = Selected();
  if (OwnsIdleHangUp(before)) {
    if (iSock_CountLive() != 0) return Error_Inited;
    RemoteAccess_Disconnect(before.entry);
  }
  const LibraryLock lock;
  if (OwnsIdleHangUp(before)) ForgetConnection();
  Select(entry, hangUpWhenIdle != 0);
  return Error_None;
}

// Kept: the flags stay set; the next use finds the entry disconnected and dials again.
void Sock_CloseRemoteAccess(void) {
  const DialSelection selected = Selected();
  if (OwnsIdleHangUp(selected) && iSock_CountLive() == 0) RemoteAccess_Disconnect(selected.entry);
}
