#include "os/platform/module.h"

#include <dlfcn.h>
#include <sys/stat.h>

namespace platform {
namespace {

// The loader opens what it is given, and would wait for the writer of a pipe.
bool IsOrdinaryFile(const char* name) {
  struct stat status;
  return stat(name, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

// All symbols are looked up before the start-up code runs, so that a library either loads whole or not at
// all.
Module* LoadModule(const char* name) {
  if (!IsOrdinaryFile(name)) return nullptr;
  return static_cast<Module*>(dlopen(name, RTLD_NOW | RTLD_LOCAL));
}

void UnloadModule(Module* module) {
  dlclose(module);
}

}  // namespace platform
