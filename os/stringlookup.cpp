// Constant tables of (number, text) pairs, searched from the front.
#include "qz/stringlookup.h"

#include "qz/string.h"

const char* StringLookup_ByIndex(const StringLookup* table, uint32_t count, int32_t key) {
  for (uint32_t i = 0; i < count; ++i) {
    if (table[i].key == key) return table[i].text;
  }
  return nullptr;
}
