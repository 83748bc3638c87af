// Where the system keeps what belongs to a program, a user or the system itself.
#pragma once

#include <span>

namespace platform {

enum class SystemFolder {
  kApplication,  // the folder of the program's file
  kTemporary,
  kDesktop,
  kPreferences,
  kStartup,   // what is started at log-on
  kSystem,    // the operating system's own
  kPrograms,  // the menu of programs
};

// Writes the folder's name, in the system's form, and returns true; false when this system has no such folder
// or its name does not fit. Parents that the system's rules allow to be missing are created, the folder
// itself is not. applicationFolder stands in for a home folder that nobody names; may be null.
bool FindSystemFolder(SystemFolder folder, const char* applicationFolder, std::span<char> name);

// Writes the folder, in the system's form, that takes a program's own folders when the system has no place
// for them: the application's, or, where the user may not write to that one, the user's cache. False when the
// name does not fit.
bool FindFallbackParent(const char* applicationFolder, std::span<char> name);

}  // namespace platform
