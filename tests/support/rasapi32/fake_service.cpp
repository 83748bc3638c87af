// The fake service itself: compiled into the test programs, and into RASAPI32.DLL.
#include "tests/support/rasapi32/fake_service.h"

#include <chrono>
#include <cstring>
#include <thread>

namespace fake_service {
namespace {

constexpr uint32_t kBufferTooSmall = 603;
constexpr uint32_t kCannotFindEntry = 623;

FakeService state;

void CheckSize(uint32_t size, uint32_t expected) {
  if (size != expected) ++state.badSizes;
}

FakeConnection* Find(uint32_t handle) {
  for (uint32_t i = 0; i < state.connectionCount; ++i) {
    if (state.connections[i].handle == handle && !state.connections[i].isGone) return &state.connections[i];
  }
  return nullptr;
}

uint32_t CountAlive() {
  uint32_t count = 0;
  for (uint32_t i = 0; i < state.connectionCount; ++i) count += state.connections[i].isGone ? 0 : 1;
  return count;
}

}  // namespace

FakeService* State() {
  return &state;
}

uint32_t EnumerateEntries(platform::DialEntry* entries, uint32_t* sizeBytes, uint32_t* count) {
  CheckSize(entries->size, 264);
  const uint32_t needed = state.entryCount * 264;
  *count = state.entryCount + state.countedTooMuch;
  if (state.entriesNeedNothing) {
    *sizeBytes = 0;
    return 0;
  }
  if (*sizeBytes < needed) {
    *sizeBytes = needed;
    return kBufferTooSmall;
  }
  *sizeBytes = needed;
  if (state.enumerateEntriesError != 0) return state.enumerateEntriesError;
  for (uint32_t i = 0; i < state.entryCount; ++i) {
    entries[i].size = 264;
    memcpy(entries[i].name, state.entries[i].name, sizeof entries[i].name);
  }
  return 0;
}

uint32_t GetParameters(platform::DialParameters* parameters, int32_t* hasPassword) {
  CheckSize(parameters->size, 1052);
  for (uint32_t i = 0; i < state.entryCount; ++i) {
    if (strcmp(state.entries[i].name, parameters->entry) != 0) continue;
    memcpy(parameters->user, state.entries[i].user, sizeof parameters->user);
    memcpy(parameters->password, state.entries[i].password, sizeof parameters->password);
    *hasPassword = state.entries[i].hasPassword ? 1 : 0;
    return 0;
  }
  return kCannotFindEntry;
}

uint32_t GetStatus(uint32_t handle, platform::DialStatus* status) {
  CheckSize(status->size, 160);
  FakeConnection* connection = Find(handle);
  if (connection == nullptr) return platform::kDialInvalidHandle;
  if (connection->statusesUntilGone != 0 && --connection->statusesUntilGone == 0) connection->isGone = true;
  status->state = connection->state;
  return connection->statusError;
}

uint32_t EnumerateConnections(platform::DialConnection* connections, uint32_t* sizeBytes, uint32_t* count) {
  CheckSize(connections->size, 412);
  if (state.enumerateConnectionsError != 0) return state.enumerateConnectionsError;
  const uint32_t alive = CountAlive();
  const uint32_t needed = alive * 412;
  *count = alive + state.countedTooMuch;
  const bool fits = *sizeBytes >= needed;
  *sizeBytes = needed;
  if (!fits) return kBufferTooSmall;
  for (uint32_t i = 0; i < state.connectionCount; ++i) {
    if (state.connections[i].isGone) continue;
    connections->size = 412;
    connections->handle = state.connections[i].handle;
    memcpy(connections->entry, state.connections[i].entry, sizeof connections->entry);
    ++connections;
  }
  return 0;
}

uint32_t Dial(platform::DialParameters* parameters, uint32_t* handle) {
  CheckSize(parameters->size, 1052);
  ++state.dials;
  std::this_thread::sleep_for(std::chrono::milliseconds(state.dialMilliseconds));
  state.lastDialled = *parameters;
  if (state.dialError != 0) return state.dialError;
  FakeConnection& connection = state.connections[state.connectionCount++];
  connection = FakeConnection{};
  connection.handle = 1000 + state.connectionCount;
  memcpy(connection.entry, parameters->entry, sizeof connection.entry);
  connection.state = state.dialState != 0 ? state.dialState : 0x2000;
  *handle = connection.handle;
  return 0;
}

uint32_t HangUp(uint32_t handle) {
  ++state.hangUps;
  state.lastHungUp = handle;
  FakeConnection* connection = Find(handle);
  if (connection == nullptr) return platform::kDialInvalidHandle;
  if (connection->hangUpError != 0) return connection->hangUpError;
  if (connection->statusesUntilGone == 0) connection->isGone = true;
  return 0;
}

}  // namespace fake_service
