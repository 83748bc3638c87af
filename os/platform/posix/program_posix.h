// Names of files that the bodies share, and the file that this program was started from.
#pragma once

#include <cstring>
#include <span>

namespace platform {

// False when the name does not fit.
inline bool CopyName(const char* source, std::span<char> name) {
  const size_t length = strlen(source);
  if (length >= name.size()) return false;
  memmove(name.data(), source, length + 1);
  return true;
}

// Writes its name, without links; false when nothing tells it or it does not fit. The current folder is never
// searched for it.
bool FindProgramPathname(std::span<char> name);

// The system's link to that file; tests name one that does not exist, as where /proc is missing.
extern const char* programLink;

}  // namespace platform
