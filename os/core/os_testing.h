// What the tests set and look at of the library's initialisation, its random numbers and its waits.
#pragma once

#include "qz/types.h"

// OS_Init starts the socket layer with `start` instead of iSock_Init, for tests of its failure; null
// restores.
void iOS_SetSocketStart(ErrorCode (*start)());

// Random numbers come from `source` instead of the C library, for tests that must know them; null restores.
void iOS_SetRandomSource(int32_t (*source)());

// Whole milliseconds of a time in seconds, cut toward zero; 0 for what is not above 0 or not a number.
uint32_t iOS_DelayMilliseconds(float seconds);
