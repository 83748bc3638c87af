// Shared by the files of this folder that deal with the file system.
#pragma once

#include <windows.h>

#include "os/platform/filesystem.h"

namespace platform {

// A file time as a count of its 100-nanosecond units.
uint64_t UnitsOf(const FILETIME& time);

FileInformation InformationFrom(const WIN32_FIND_DATAA& found);

}  // namespace platform
