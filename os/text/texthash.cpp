#include <atomic>

#include "os/platform/clock.h"
#include "os/text/texthash_testing.h"
// The seed of the hashes of this run.
#include "os/text/texthash_internal.h"

namespace {

std::atomic<uint32_t> drawnSeed{0};  // 0: not yet

// Where the system puts the library, and when, is enough of a secret here.
uint32_t DrawSeed() {
  const auto place = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&drawnSeed) >> 4);
  const auto moment = static_cast<uint32_t>(platform::MonotonicMilliseconds());
  return (place * 0x9E3779B1u ^ moment) | 1;
}

}  // namespace

uint32_t TextHash::Seed() {
  uint32_t seed = drawnSeed.load(std::memory_order_relaxed);
  if (seed != 0) return seed;
  const uint32_t candidate = DrawSeed();
  return drawnSeed.compare_exchange_strong(seed, candidate) ? candidate : seed;
}

void iTextHash_SetSeed(uint32_t seed) {
  drawnSeed.store(seed);
}
