// The large buffers of streams, and how many are in use.
#include <atomic>

#include "os/core/largebuffer_internal.h"
#include "qz/memory.h"

namespace {

std::atomic<uint32_t> inUse{0};

bool Reserve() {
  uint32_t count = inUse.load();
  while (count < kLargeBuffer_Most) {
    if (inUse.compare_exchange_weak(count, count + 1)) return true;
  }
  return false;
}

}  // namespace

uint8_t* iLargeBuffer_Take() {
  if (!Reserve()) return nullptr;
  auto* buffer = static_cast<uint8_t*>(Memory_New(kLargeBuffer_Bytes));
  if (buffer == nullptr) inUse.fetch_sub(1);
  return buffer;
}

void iLargeBuffer_GiveBack(uint8_t* buffer) {
  if (buffer == nullptr) return;
  Memory_Delete(buffer);
  inUse.fetch_sub(1);
}
