// What only the tests use of the hash of texts.
#pragma once

#include <cstdint>

// From now on hashes begin with this seed, so that a test can name texts with equal hashes; 0: one is drawn.
// Tables that are there already do not find their texts again.
void iTextHash_SetSeed(uint32_t seed);
