// A set of byte values, made from a text that lists them; the terminator is never in it.
#pragma once

#include <cstdint>

class ByteSet {
 public:
  // members: null for none.
  explicit ByteSet(const char* members) {
    if (members == nullptr) return;
    for (; *members != 0; ++members) {
      const uint8_t byte = static_cast<uint8_t>(*members);
      words_[byte / 32] |= uint32_t{1} << (byte % 32);
    }
  }
  bool Has(char c) const {
    const uint8_t byte = static_cast<uint8_t>(c);
    return (words_[byte / 32] >> (byte % 32) & 1) != 0;
  }

 private:
  uint32_t words_[8] = {};
};
