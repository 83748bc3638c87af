// The number of open connections to servers: a check for upgrades is due only while there is one.
#include <atomic>

#include "transfer/vrxclientsystem_internal.h"

namespace {

std::atomic<uint32_t> connections{0};

}  // namespace

void iVRXClientSystem_RaiseConnections() {
  connections.fetch_add(1);
}

void iVRXClientSystem_LowerConnections() {
  uint32_t count = connections.load();
  while (count != 0 && !connections.compare_exchange_weak(count, count - 1)) {
  }
}

uint32_t iVRXClientSystem_Connections() {
  return connections.load();
}

void iVRXClientSystem_ClearConnections() {
  connections.store(0);
}
