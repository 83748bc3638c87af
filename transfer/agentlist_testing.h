// What the tests set of the agents' lists.
#pragma once

#include <cstdint>

// How long a call waits for the semaphore; a test sets another time, and 0 restores this one.
inline constexpr uint32_t kAgentListWaitMilliseconds = 5000;
void iAgentList_SetWait(uint32_t milliseconds);
