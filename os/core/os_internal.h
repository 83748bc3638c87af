// What the rest of the library needs of its initialisation.
#pragma once

#include "qz/types.h"

// True between a successful OS_Init and OS_Exit.
bool iOS_IsInited();

// The module instance handle given with init code 4, or 0: what window classes are registered with.
Word iOS_GetInstance();

// Random numbers come from `source` instead of the C library, for tests that must know them; null restores.
void iOS_SetRandomSource(int32_t (*source)());

// Whole milliseconds of a time in seconds, cut toward zero; 0 for what is not above 0 or not a number.
uint32_t iOS_DelayMilliseconds(float seconds);

// OS_Init starts the socket layer with `start` instead of iSock_Init, for tests of its failure; null
// restores.
void iOS_SetSocketStart(ErrorCode (*start)());
