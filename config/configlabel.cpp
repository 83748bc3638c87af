// Tables of keywords.
//
//   references | count | pairs --> value, text; value, text; ... | dynamic: the array and its texts are owned
#include "qz/configlabel.h"

#include <cstddef>

#include "os/core/owned.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/string.h"

struct ConfigLabel {
  int32_t references;
  uint32_t count;
  const StringLookup* pairs;
  int32_t dynamic;
};

namespace {

static_assert(sizeof(void*) != 4 ||
              (offsetof(ConfigLabel, references) == 0 && offsetof(ConfigLabel, count) == 4 &&
               offsetof(ConfigLabel, pairs) == 8 && offsetof(ConfigLabel, dynamic) == 12 &&
               sizeof(ConfigLabel) == 16 && sizeof(StringLookup) == 8));

constexpr StringLookup kYesNoPairs[] = {{0, "No"}, {1, "Yes"}, {0, "N"}, {1, "Y"}};
constexpr StringLookup kTrueFalsePairs[] = {{0, "False"}, {1, "True"}, {0, "F"}, {1, "T"}};

constinit ConfigLabel yesNo = {1, 4, kYesNoPairs, 0};
constinit ConfigLabel trueFalse = {1, 4, kTrueFalsePairs, 0};

// Built-in tables are shared by all threads: their count is never touched.
bool IsBuiltIn(const ConfigLabel* label) {
  return label == &yesNo || label == &trueFalse;
}

ConfigLabel* NewLabel(uint32_t count, const StringLookup* pairs, int32_t dynamic) {
  auto* label = static_cast<ConfigLabel*>(Memory_New(sizeof(ConfigLabel)));
  if (label != nullptr) *label = {1, count, pairs, dynamic};
  return label;
}

// The array of a dynamic table: its own, unlike that of a static one.
StringLookup* OwnPairs(const ConfigLabel& label) {
  return const_cast<StringLookup*>(label.pairs);
}

ErrorCode Append(ConfigLabel& label, int32_t value, const char* text) {
  Owned<char, Memory_Delete> copy(String_Duplicate(text));
  if (!copy) return Error_Memory;
  void* grown = Memory_Realloc(OwnPairs(label), (size_t{label.count} + 1) * sizeof(StringLookup));
  if (grown == nullptr) return Error_Memory;
  auto* pairs = static_cast<StringLookup*>(grown);
  pairs[label.count] = {value, copy.release()};
  label.pairs = pairs;
  ++label.count;
  return Error_None;
}

void DeletePairs(const ConfigLabel& label) {
  for (uint32_t i = 0; i < label.count; ++i) Memory_Delete(const_cast<char*>(label.pairs[i].text));
  Memory_Delete(OwnPairs(label));
}

}  // namespace

ConfigLabel* ConfigLabel_NewDynamic() {
  return NewLabel(0, nullptr, 1);
}

ConfigLabel* ConfigLabel_NewStatic(uint32_t count, const StringLookup* pairs) {
  return NewLabel(pairs != nullptr ? count : 0, pairs, 0);
}

ConfigLabel* ConfigLabel_GetYesNo() {
  return ConfigLabel_Reference(&yesNo);
}

ConfigLabel* ConfigLabel_GetTrueFalse() {
  return ConfigLabel_Reference(&trueFalse);
}

ConfigLabel* ConfigLabel_Reference(ConfigLabel* label) {
  if (label != nullptr && !IsBuiltIn(label)) ++label->references;
  return label;
}

ErrorCode ConfigLabel_Add(ConfigLabel* label, int32_t value, const char* text) {
  if (label == nullptr || label->dynamic == 0 || text == nullptr) return Error_Invalid;
  if (StringLookup_ByIndex(label->pairs, label->count, value) != nullptr) return Error_Exists;
  return Append(*label, value, text);
}

// Kept: a value that the table does not have prints as the first pair; stored files hold those words.
const char* ConfigLabel_Print(const ConfigLabel* label, int32_t value) {
  if (label == nullptr || label->count == 0) return "";
  const char* text = StringLookup_ByIndex(label->pairs, label->count, value);
  if (text == nullptr) text = label->pairs[0].text;
  return text != nullptr ? text : "";
}

int32_t ConfigLabel_Scan(const ConfigLabel* label, const char* text) {
  if (label == nullptr) return -1;
  return StringLookup_ByStringInsensitive(label->pairs, label->count, text);
}

void ConfigLabel_Delete(ConfigLabel* label) {
  if (label == nullptr || IsBuiltIn(label)) return;
  if (--label->references != 0) return;
  if (label->dynamic != 0) DeletePairs(*label);
  Memory_Delete(label);
}
