// Large buffers, which streams use to ask the system less often and can do without. There are only so many at
// once, however many streams there are: the first that move many bytes have them.
#pragma once

#include <cstdint>

inline constexpr uint32_t kLargeBuffer_Bytes = 128 * 1024;
inline constexpr uint32_t kLargeBuffer_Most = 16;

// Returns a buffer of kLargeBuffer_Bytes, owned (free with iLargeBuffer_GiveBack); null when all are in use
// or memory runs out. Any thread.
uint8_t* iLargeBuffer_Take();

// Null is ignored.
void iLargeBuffer_GiveBack(uint8_t* buffer);
