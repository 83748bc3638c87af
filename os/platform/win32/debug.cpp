#include "os/platform/debug.h"

#include <windows.h>

#include "os/platform/win32/keep_last_error.h"

namespace platform {

void DebugOutput(const char* line) {
  // Reporting a failure must not change the error number that the caller is about to translate.
  const KeepLastError keep;
  OutputDebugStringA(line);
}

}  // namespace platform
