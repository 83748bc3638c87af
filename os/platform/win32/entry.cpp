// The entry point of the dynamic library. It prepares nothing: applications call OS_Init.
#include <windows.h>

#include "os/platform/win32/thread_win32.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
  if (reason == DLL_PROCESS_DETACH) platform::ReleaseThreadWords();
  return TRUE;
}
