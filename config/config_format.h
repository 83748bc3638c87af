// A record to the text that stands in a file. Pure but for the output that is passed in.
#pragma once

#include <cstdint>

#include "config/config_internal.h"
#include "config/configspec_internal.h"

// Gathers text and gives it on in blocks that end with a terminator. After a failure everything else is
// dropped.
struct ConfigOutput {
  bool (*take)(void* context, const char* text, uint32_t length);
  void* context;
  bool hasFailed;
  uint32_t used;
  char bytes[4096];
};

void iConfig_StartOutput(bool (*take)(void* context, const char* text, uint32_t length), void* context,
                         ConfigOutput* output);
// Gives on what was gathered. False when that or anything before it failed.
bool iConfig_FlushOutput(ConfigOutput* output);

// The width of each column: of the longest field that stands in it.
struct ConfigWidths {
  uint32_t count;
  uint32_t* widths;
};

// Makes the columns wide enough for the fields; those behind widths->count are passed over.
void iConfig_Widen(const ConfigFields& content, ConfigWidths* widths);

// Puts one record with its line end. A section without fields puts nothing. widths: null for those of this
// record alone. False after a failure.
bool iConfig_Format(const ConfigSpec& spec, const ConfigRecord& record, const ConfigWidths* widths,
                    ConfigOutput* output);
