// Constant tables of (number, text) pairs, searched from the front.
#include "qz/stringlookup.h"

#include "qz/string.h"

namespace {

template <typename Matches>
const StringLookup* Find(const StringLookup* table, uint32_t count, Matches matches) {
  for (uint32_t i = 0; table != nullptr && i < count; ++i) {
    if (matches(table[i])) return &table[i];
  }
  return nullptr;
}

}  // namespace

const char* StringLookup_ByIndex(const StringLookup* table, uint32_t count, int32_t key) {
  const StringLookup* row = Find(table, count, [&](const StringLookup& r) { return r.key == key; });
  return row != nullptr ? row->text : nullptr;
}

int32_t StringLookup_ByString(const StringLookup* table, uint32_t count, const char* text) {
  const StringLookup* row =
      Find(table, count, [&](const StringLookup& r) { return String_Compare(r.text, text) == 0; });
  return row != nullptr ? row->key : -1;
}

int32_t StringLookup_ByStringInsensitive(const StringLookup* table, uint32_t count, const char* text) {
  const StringLookup* row =
      Find(table, count, [&](const StringLookup& r) { return String_CompareInsensitive(r.text, text) == 0; });
  return row != nullptr ? row->key : -1;
}
