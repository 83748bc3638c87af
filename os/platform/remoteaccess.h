// The dial-up service, where the system has one. Its records have the sizes of the service's first version,
// which every later one accepts.
#pragma once

#include <cstdint>

namespace platform {

struct DialEntry {
  uint32_t size;  // bytes of the record
  char name[257];
};
static_assert(sizeof(DialEntry) == 264);

struct DialConnection {
  uint32_t size;
  uint32_t handle;
  char entry[257];
  char deviceType[17];
  char deviceName[129];
};
static_assert(sizeof(DialConnection) == 412);

struct DialStatus {
  uint32_t size;
  uint32_t state;
  uint32_t error;
  char deviceType[17];
  char deviceName[129];
};
static_assert(sizeof(DialStatus) == 160);

struct DialParameters {
  uint32_t size;
  char entry[257];
  char phoneNumber[129];
  char callbackNumber[129];
  char user[257];
  char password[257];
  char domain[16];
};
static_assert(sizeof(DialParameters) == 1052);

inline constexpr uint32_t kDialStateConnected = 0x2000;
inline constexpr uint32_t kDialInvalidHandle = 6;

// The six calls. Each gives 0 on success and else an error number of the service; size fields are set before
// the call, and `sizeBytes` goes in as the room and comes back as the need. Any thread may call them; Dial
// waits until the connection is up or has failed.
struct DialCalls {
  uint32_t (*EnumerateEntries)(DialEntry* entries, uint32_t* sizeBytes, uint32_t* count);
  uint32_t (*GetParameters)(DialParameters* parameters, int32_t* hasPassword);
  uint32_t (*GetStatus)(uint32_t connection, DialStatus* status);
  uint32_t (*EnumerateConnections)(DialConnection* connections, uint32_t* sizeBytes, uint32_t* count);
  uint32_t (*Dial)(DialParameters* parameters, uint32_t* connection);
  uint32_t (*HangUp)(uint32_t connection);
};

// Loads the service; null when the system has none or one of the six is missing. It stays loaded. Every call
// looks again.
const DialCalls* LoadDialService();

}  // namespace platform
