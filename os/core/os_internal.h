// What the rest of the library needs of its initialisation.
#pragma once

#include "qz/types.h"

// True between a successful OS_Init and OS_Exit.
bool iOS_IsInited();

// The module instance handle given with init code 4, or 0: what window classes are registered with.
Word iOS_GetInstance();
