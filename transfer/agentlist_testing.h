// What the tests set of the agents' lists.
#pragma once

#include <cstdint>

// How long a call waits for the semaphore, instead of kAgentListWaitMilliseconds; 0 restores that.
void iAgentList_SetWait(uint32_t milliseconds);
