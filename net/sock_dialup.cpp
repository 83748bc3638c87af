// The dial-up entry that sockets use: connected before the network is needed, hung up when the last socket is
// deleted. There is one selection, without a lock: programs make it before transfers start.
#include <cstring>

#include "net/sock_internal.h"
#include "qz/remoteaccess.h"

namespace {

constexpr size_t kLongestEntryName = 256;

struct DialSelection {
  bool useDialUp;
  char entry[kLongestEntryName + 1];
  bool hangUpWhenIdle;
  bool connected;    // iSock_EnsureDialUp has seen or made the connection
  bool dialledHere;  // it made it
};

DialSelection selection{};

bool OwnsIdleHangUp() {
  return selection.connected && selection.dialledHere && selection.hangUpWhenIdle;
}

void ForgetConnection() {
  selection.connected = false;
  selection.dialledHere = false;
}

}  // namespace

ErrorCode iSock_EnsureDialUp() {
  if (!selection.useDialUp) return Error_None;
  if (RemoteAccess_IsAvailable() == 0 || RemoteAccess_ValidEntry(selection.entry) == 0) return Error_None;
  if (RemoteAccess_IsConnected(selection.entry) == 0) {
    selection.dialledHere = false;
    const ErrorCode status = RemoteAccess_Connect(selection.entry, nullptr, nullptr);
    if (status != Error_None) return status;
    selection.dialledHere = true;
  }
  selection.connected = true;
  return Error_None;
}

ErrorCode Sock_SetRemoteAccess(const char* entry, int32_t hangUpWhenIdle) {
  if (entry == nullptr || *entry == '\0') {
    // Kept: the name is cleared before the hang-up looks for it, so clearing leaves a connection up; programs
    // clear the selection at their start and would cut a connection that another part uses.
    // Nothing is written when there is nothing to clear: transfers do this while others connect.
    if (selection.useDialUp) selection.useDialUp = false;
    if (selection.entry[0] != '\0') selection.entry[0] = '\0';
    Sock_CloseRemoteAccess();
    return Error_None;
  }
  if (RemoteAccess_ValidEntry(entry) == 0) return Error_Invalid;
  if (OwnsIdleHangUp()) {
    if (iSock_CountLive() != 0) return Error_Inited;
    RemoteAccess_Disconnect(selection.entry);
    ForgetConnection();
  }
  // The other entry's connection may be the user's own, which must never be hung up here.
  if (strcmp(entry, selection.entry) != 0) ForgetConnection();
  selection.useDialUp = true;
  // A valid entry's name fits.
  memcpy(selection.entry, entry, strlen(entry) + 1);
  selection.hangUpWhenIdle = hangUpWhenIdle != 0;
  return Error_None;
}

// Kept: the flags stay set; the next use finds the entry disconnected and dials again.
void Sock_CloseRemoteAccess(void) {
  if (OwnsIdleHangUp() && iSock_CountLive() == 0) RemoteAccess_Disconnect(selection.entry);
}
