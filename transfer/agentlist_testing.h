// What the tests set of the agents' lists.
#pragma once

#include <cstdint>

// How long a call waits for the semaphore, instead of 5 seconds; 0 restores them.
void iAgentList_SetWait(uint32_t milliseconds);
