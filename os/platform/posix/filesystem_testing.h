// What only the tests use of directory searches.
#pragma once

#include <dirent.h>

namespace platform {

// Reads the next entry of an open directory: readdir. Tests put one in its place that tells no kinds, as some
// file systems do not.
extern dirent* (*readEntry)(DIR*);

}  // namespace platform
