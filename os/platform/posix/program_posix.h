// The file that this program was started from.
#pragma once

#include <span>

namespace platform {

// Writes its name, without links; false when nothing tells it or it does not fit. The current folder is never
// searched for it.
bool FindProgramPathname(std::span<char> name);

// The system's link to that file; tests name one that does not exist, as where /proc is missing.
extern const char* programLink;

}  // namespace platform
