// What only the tests use of directories.
#pragma once

#include <cstdint>

#include "os/platform/filesystem.h"

// From now on listings and deletions ask this method for the entries of a search instead of
// platform::NextEntry, whose contract it keeps; null restores that.
void iDirectory_SetNextEntry(bool (*next)(platform::DirectorySearch* search,
                                          platform::DirectoryEntry* entry));

// The most entries that a deletion takes from one search; 0 restores the default.
void iDirectory_SetLongestPass(uint32_t entries);
