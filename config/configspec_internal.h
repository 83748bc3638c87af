// The syntax of a configuration file, as documents use it.
//
//   ended | references | line comment | not-field | delimiter | tab size | min | max | flags | section method
#pragma once

#include <cstdint>

#include "qz/configspec.h"

enum ConfigSpecFlag : uint32_t {
  ConfigSpecFlag_StripComments = 1,
  ConfigSpecFlag_UniqueLines = 2,
  ConfigSpecFlag_CaseSensitive = 8,  // 4 is not used
  ConfigSpecFlag_LastFieldGrab = 16,
};

struct ConfigSpec {
  static constexpr uint32_t kLineCommentSize = 16;  // bytes, with the terminator
  static constexpr uint32_t kNotFieldSize = 32;

  int32_t ended;
  int32_t references;
  char lineComment[kLineCommentSize];  // "" for no comments
  char notField[kNotFieldSize];        // "" for neither splitting nor padding
  char delimiter;                      // 0 for none
  uint32_t tabSize;                    // columns, at least 1
  uint32_t minFields;
  uint32_t maxFields;
  uint32_t flags;  // ConfigSpecFlag
  ConfigSectionMethod sectionMethod;

  bool HasLineComment() const { return lineComment[0] != 0; }
  bool HasNotField() const { return notField[0] != 0; }
  bool HasDelimiter() const { return delimiter != 0; }
  bool StripsComments() const { return Has(ConfigSpecFlag_StripComments); }
  bool HasUniqueLines() const { return Has(ConfigSpecFlag_UniqueLines); }
  bool IsCaseSensitive() const { return Has(ConfigSpecFlag_CaseSensitive); }
  bool GrabsLastField() const { return Has(ConfigSpecFlag_LastFieldGrab); }
  // Whether lines that are no data are kept as comments.
  bool KeepsComments() const { return HasLineComment() && !StripsComments(); }
  // Whether a line with these fields is a section header.
  bool IsSectionHeader(uint32_t fieldCount, const char* const* fields) const {
    return sectionMethod != nullptr && sectionMethod(fieldCount, fields) == 1;
  }

 private:
  bool Has(ConfigSpecFlag flag) const { return (flags & flag) != 0; }
};

// Adds a reference, for a document, and returns the syntax; drop it with ConfigSpec_Delete.
ConfigSpec* iConfigSpec_Reference(ConfigSpec* spec);
