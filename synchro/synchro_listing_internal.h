// A line of a listing to one side's values of an entry. Pure.
#pragma once

#include <cstdint>
#include <string_view>

#include "synchro/synchro_entry_internal.h"

inline constexpr uint32_t kSynchroListingFields = 6;

enum class SynchroListing {
  Skipped,  // no entry
  Unclear,  // a file whose name can be read, and whose size or date cannot
  Taken,
};

struct SynchroListed {
  const char* name;  // within the fields
  SynchroSide side;
};

// fields: the six of a line, type and permissions first; the last one, date and name, is cut where it stands.
// isWindows: as below. listed: the name also when it is unclear.
SynchroListing iSynchro_ParseListing(char* const* fields, bool isWindows, SynchroListed* listed);

// Whether a name can be that of an entry of a directory: one that a path leads out of it with, or that
// another entry would be reached by, cannot. isWindows: by the rules of that system's names too.
bool iSynchro_IsUsableName(std::string_view name, bool isWindows);
