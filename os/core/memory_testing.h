// The one place where the library allocates, as its tests see it.
#pragma once

#include <cstdint>

// From now on the n-th allocation (1 is the next one) fails, once; 0 switches this off. For tests that repeat
// a scenario with every allocation failing in turn.
void iMemory_FailAllocation(int64_t n);

// From now on the n-th allocation and all that follow fail; 0 switches this off, and so does the call above.
void iMemory_FailAllocationsFrom(int64_t n);

// What is left of that count: above 0 when the failure has not happened yet, below 0 when others followed it.
int64_t iMemory_AllocationsUntilFailure();

// Blocks allocated less blocks freed, over the whole process, since the first call: that one begins the
// count. Only the difference between two calls means something.
int64_t iMemory_CountLive();
