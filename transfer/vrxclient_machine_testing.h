// What only tests use of the state machine.
#pragma once

#include <cstdint>

#include "transfer/vrxclient_machine_internal.h"

// Replaces the clock of elapsed time and speed; null restores it.
void iVRXClient_SetClock(uint64_t (*milliseconds)());

// Replaces the look at the free bytes of a volume; null restores it.
using FreeBytesMethod = ErrorCode (*)(const char* path, uint64_t* freeBytes);
void iVRXClient_SetFreeBytes(FreeBytesMethod method);

// Makes every final move a copy, as between volumes.
void iVRXClient_SetCopiesAlways(bool copiesAlways);
