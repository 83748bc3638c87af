// Repeats a scenario with its first, second, third ... allocation failing, until a run needs no more.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "os/core/memory_testing.h"

// scenario() runs the whole thing once, releases all it made, and returns nothing; it must check for itself
// that each outcome is a documented one. No run may leave a block behind.
template <typename Scenario>
void FailEveryAllocation(Scenario scenario, int64_t limit = 2000) {
  const int64_t before = iMemory_CountLive();
  for (int64_t n = 1; n <= limit; ++n) {
    iMemory_FailAllocation(n);
    scenario();
    const bool untouched = iMemory_AllocationsUntilFailure() > 0;
    iMemory_FailAllocation(0);
    ASSERT_EQ(iMemory_CountLive(), before) << "a block was left behind when allocation " << n << " failed";
    if (untouched) return;
  }
  FAIL() << "more than " << limit << " allocations";
}
