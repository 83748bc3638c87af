// What only tests use of the dial-up family.
#pragma once

#include <cstdint>

#include "os/platform/remoteaccess.h"

// Replaces the service's calls, and the look-up that the first use makes. Null: the service is missing.
void iRemoteAccess_SetCalls(const platform::DialCalls* calls);

// The time as waiting for a hang-up sees it. Null restores the system's.
struct RemoteAccessClock {
  uint64_t (*nowMilliseconds)();
  void (*sleepMilliseconds)(uint32_t milliseconds);
};
void iRemoteAccess_SetClock(const RemoteAccessClock* clock);
