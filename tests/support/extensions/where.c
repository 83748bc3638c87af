/* A library that tells under which name Windows has loaded it, and registers nothing. */
#include <stdio.h>
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
  char path[MAX_PATH] = "";
  (void)reserved;
  if (reason != DLL_PROCESS_ATTACH) return TRUE;
  GetModuleFileNameA(module, path, sizeof path);
  printf("where: %s\n", path);
  return TRUE;
}
