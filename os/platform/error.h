// What went wrong in the last call to the system, in one numbering for all platforms.
#pragma once

#include <cstdint>

namespace platform {

// The error of the calling thread's last failed file, process or registry call, numbered as GetLastError
// numbers it (2 not found, 5 access denied, 32 sharing violation, 112 disk full, 123 invalid name, ...).
uint32_t LastSystemError();

// The same for the last failed socket call, numbered as WSAGetLastError numbers it (10035 would block, ...).
uint32_t LastSocketError();

}  // namespace platform
