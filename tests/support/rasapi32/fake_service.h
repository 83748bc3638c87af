// A dial-up service for tests: a phone book and a list of connections that the test writes and reads.
//
// On Windows the service stands in a RASAPI32.DLL of its own, on other systems in the test program; the state
// is plain data so that it can be shared across that border.
#pragma once

#include <cstdint>

#include "os/platform/remoteaccess.h"

struct FakeEntry {
  char name[257];
  bool hasPassword;
  char user[257];
  char password[257];
};

struct FakeConnection {
  uint32_t handle;
  char entry[257];
  uint32_t state;
  bool isGone;                 // status gives "invalid handle"
  uint32_t statusesUntilGone;  // after a hang-up; so many calls still know the connection
  uint32_t hangUpError;
  uint32_t statusError;
};

struct FakeService {
  uint32_t entryCount;
  FakeEntry entries[16];
  uint32_t connectionCount;
  FakeConnection connections[40];

  // Errors that the calls give; 0: none.
  uint32_t enumerateEntriesError;  // when there is room for the answer; asking for the size works
  uint32_t enumerateConnectionsError;
  uint32_t dialError;
  uint32_t dialState;  // of a connection that was dialled
  uint32_t dialMilliseconds;
  bool entriesNeedNothing;  // asking for the size gives 0
  uint32_t countedTooMuch;  // entries and connections that are counted and not given

  // What was called.
  uint32_t dials;
  uint32_t hangUps;
  uint32_t lastHungUp;
  platform::DialParameters lastDialled;
  uint32_t badSizes;  // records whose size field was not the first version's
};

// The six calls over one state.
namespace fake_service {
FakeService* State();
uint32_t EnumerateEntries(platform::DialEntry* entries, uint32_t* sizeBytes, uint32_t* count);
uint32_t GetParameters(platform::DialParameters* parameters, int32_t* hasPassword);
uint32_t GetStatus(uint32_t connection, platform::DialStatus* status);
uint32_t EnumerateConnections(platform::DialConnection* connections, uint32_t* sizeBytes, uint32_t* count);
uint32_t Dial(platform::DialParameters* parameters, uint32_t* connection);
uint32_t HangUp(uint32_t connection);
}  // namespace fake_service

// Makes the fake service the system's, which must not have been looked up before; null when that fails. The
// state is empty.
FakeService* InstallFakeService();

// Makes a service the system's that lacks its last call, where a service can be missing in parts.
bool InstallIncompleteService();
