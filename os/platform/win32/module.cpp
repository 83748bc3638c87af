#include "os/platform/module.h"

#include <windows.h>

namespace platform {
namespace {

// The error boxes of the system are off while this lives. The mode is the whole process's: two threads that
// set it at a time may leave it off.
class WithoutErrorBoxes {
 public:
  WithoutErrorBoxes() : before_(SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX)) {}
  ~WithoutErrorBoxes() { SetErrorMode(before_); }
  WithoutErrorBoxes(const WithoutErrorBoxes&) = delete;
  WithoutErrorBoxes& operator=(const WithoutErrorBoxes&) = delete;

 private:
  UINT before_;
};

}  // namespace

// The short name has no character that an old system's loader does not take. A volume that keeps none, and a
// file that is missing, leave the long one.
Module* LoadModule(const char* name) {
  char shortName[MAX_PATH];
  const DWORD length = GetShortPathNameA(name, shortName, sizeof shortName);
  const char* used = length != 0 && length < sizeof shortName ? shortName : name;
  const WithoutErrorBoxes quiet;
  return reinterpret_cast<Module*>(LoadLibraryA(used));
}

void UnloadModule(Module* module) {
  FreeLibrary(reinterpret_cast<HMODULE>(module));
}

}  // namespace platform
