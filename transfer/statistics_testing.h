// What only tests use of the statistics.
#pragma once

#include <cstdint>

// How long calls wait for the lists; 0 means kStatisticsWaitMilliseconds.
void iStatistics_SetWaitMilliseconds(uint32_t milliseconds);

// Takes the lists, so that other calls wait, and gives them back.
void iStatistics_Hold();
void iStatistics_Release();
