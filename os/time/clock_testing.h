// The wall clock as the tests and fuzz targets set it.
#pragma once

#include "qz/time.h"

// Stops the wall clock at this time; null lets it follow the system's clock again. Waits are not affected:
// they go by platform::MonotonicMilliseconds.
void iClock_SetWallClock(const Time* time);
