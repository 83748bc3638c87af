// Takes a line of text apart. Pure: no input, no output, no allocation.
#pragma once

#include <cstdint>

#include "config/config_internal.h"
#include "config/configspec_internal.h"

enum class ConfigLineKind {
  Dropped,  // nothing is kept
  Comment,  // kept as it was read, behind the reason if there is one
  Section,
  Line,
};

// What a line is made of. The fields and the comment stand one after the other in `texts`. A line of n bytes
// has at most n + 1 fields.
struct ConfigParsed {
  ConfigLineKind kind;
  const char* reason;  // "MIN" or "MAX" for a rejected line, else null
  ConfigFields content;
  uint32_t textsSize;  // bytes of texts that are used
  char* fields[kConfigLineLength + 1];
  char texts[2 * (kConfigLineLength + 1)];
};

// text: length bytes, at most kConfigLineLength, and a terminator.
void iConfig_Parse(const ConfigSpec& spec, const char* text, uint32_t length, ConfigParsed* parsed);
