// The seed of the hashes of this run.
#include "os/platform/clock.h"
#include "os/text/texthash_internal.h"
#include "os/text/texthash_testing.h"

// Where the system puts the library, and when, is enough of a secret here.
uint32_t TextHash::DrawSeed() {
  const auto place = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&seed_) >> 4);
  const auto moment = static_cast<uint32_t>(platform::MonotonicMilliseconds());
  const uint32_t drawn = (place * 0x9E3779B1u ^ moment) | 1;
  uint32_t seed = 0;
  return seed_.compare_exchange_strong(seed, drawn) ? drawn : seed;
}

void iTextHash_SetSeed(uint32_t seed) {
  TextHash::seed_.store(seed);
}
