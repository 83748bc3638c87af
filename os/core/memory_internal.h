// The one place where the library allocates, as its tests see it.
#pragma once

#include <cstddef>
#include <cstdint>

// From now on the n-th allocation (1 is the next one) fails, once; 0 switches this off. For tests that repeat
// a scenario with every allocation failing in turn.
void iMemory_FailAllocation(int64_t n);

// What is left of that count: above 0 when the failure has not happened yet.
int64_t iMemory_AllocationsUntilFailure();

// Blocks allocated and not yet freed, over the whole process.
int64_t iMemory_CountLive();

// Memory_New with the bytes set to 0.
void* iMemory_NewCleared(size_t size);
