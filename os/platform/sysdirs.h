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

// Writes the folder's name, in the system's form, and returns true; false when this system or this user has
// no such folder or its name does not fit. Nothing is created.
bool FindSystemFolder(SystemFolder folder, std::span<char> name);

// Whether the folder belongs to whoever puts something into it: it may be missing, and so may its name, and a
// start does not make it.
bool IsMadeOnUse(SystemFolder folder);

// Whether a program whose own folder is not found takes the current one for it.
bool TakesCurrentForApplicationFolder();

enum class ParentSearch {
  kFound,
  kTooLong,  // the name does not fit
  kFailed,   // LastSystemError tells why; access denied when a folder of that name is somebody else's
};

// Writes the folder, in the system's form, that takes a program's own folders when the system has no place
// for them: the application's folder; where the user may not write to that one, the user's cache folder; and
// where that cannot be made or written either, a folder of the temporary directory that is this user's alone.
// The last two are created.
ParentSearch FindFallbackParent(const char* applicationFolder, std::span<char> name);

}  // namespace platform
