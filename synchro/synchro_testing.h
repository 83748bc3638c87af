// What only the tests use of the synchroniser's run.
#pragma once

#include <cstdint>

// The most directories of a run; 0 restores the default.
void iSynchro_SetMostDirectories(uint32_t count);
