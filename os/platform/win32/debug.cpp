#include "os/platform/debug.h"

#include <windows.h>

namespace platform {

void DebugOutput(const char* line) {
  // Reporting a failure must not change the error number that the caller is about to translate.
  const DWORD savedError = GetLastError();
  OutputDebugStringA(line);
  SetLastError(savedError);
}

}  // namespace platform
