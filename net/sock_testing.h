// What only tests use of the socket family.
#pragma once

#include <cstdint>

#include "net/sock_internal.h"

// Sock_SetTimeout, by its name of before.
inline void iSock_SetWaitMilliseconds(uint32_t milliseconds) {
  Sock_SetTimeout(milliseconds);
}

// Replaces the look-up by name: true and four address bytes, or false and a socket error number, 0 for none.
// Null restores the system's.
using SockLookUp = bool (*)(const char* host, uint8_t* address, uint32_t* error);
void iSock_SetLookUp(SockLookUp lookUp);
