// A hash of texts for tables in memory: never stored, for every run of a program has another.
#pragma once

#include <atomic>
#include <cstdint>

// FNV-1a from a seed that is drawn once a run, mixed once more at the end because similar texts would stand
// side by side. A file or a server cannot choose texts that all meet in one place of a table.
class TextHash {
 public:
  TextHash() : value_(seed_.load(std::memory_order_relaxed)) {
    if (value_ == 0) value_ = DrawSeed();
  }

  void Add(char c) { value_ = (value_ ^ static_cast<uint8_t>(c)) * 16777619u; }
  // With its terminator, so that "ab", "c" differs from "a", "bc".
  void AddText(const char* text) {
    for (; *text != '\0'; ++text) Add(*text);
    Add('\0');
  }
  uint32_t Value() const {
    const uint32_t mixed = (value_ ^ value_ >> 16) * 0x9E3779B1u;  // 2^32 divided by the golden ratio
    return mixed ^ mixed >> 15;
  }

 private:
  friend void iTextHash_SetSeed(uint32_t seed);

  static uint32_t DrawSeed();

  static inline std::atomic<uint32_t> seed_{0};  // 0: not drawn yet
  uint32_t value_;
};
