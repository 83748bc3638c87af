// What other parts of the library need of texts beyond the exported functions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Moves `length` bytes to destination, which they may overlap, puts a terminator behind them, and returns the
// length. source may be null when length is 0; destination may be null: nothing is stored.
inline int32_t iString_Place(const char* source, size_t length, char* destination) {
  if (destination == nullptr) return static_cast<int32_t>(length);
  if (length != 0) memmove(destination, source, length);
  destination[length] = '\0';
  return static_cast<int32_t>(length);
}
