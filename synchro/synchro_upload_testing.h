// What tests set of uploads.
#pragma once

#include <cstdint>

// The number of the next temporary name on a server, "xferNUMBER"; 0: chosen by the clock again.
void iSynchro_SetNextTemporaryNumber(uint32_t number);
