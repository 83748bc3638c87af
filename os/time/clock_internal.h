// The wall clock as tests see it.
#pragma once

#include "qz/time.h"

// From now on the wall clock stands at this time; null lets the system's clock go on. Waits are not affected:
// they go by platform::MonotonicMilliseconds.
void iClock_SetWallClock(const Time* time);
