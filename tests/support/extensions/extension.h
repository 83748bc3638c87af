/* The start-up code of the extensions in this folder: a file defines EXTENSION_NAME before it includes this,
 * and RegisterClasses behind it, which returns 0 when its classes are registered. What happens is written to
 * the standard output of the program. */
#ifndef QZ_TESTS_EXTENSION_H
#define QZ_TESTS_EXTENSION_H

#include <qz/agentclass.h>
#include <qz/agentparam.h>
#include <stdio.h>

static ErrorCode RegisterClasses(void);

#ifdef _WIN32
#  include <windows.h>

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
  (void)module;
  (void)reserved;
  if (reason == DLL_PROCESS_ATTACH) {
    printf("%s: loaded\n", EXTENSION_NAME);
    return RegisterClasses() == Error_None;
  }
  if (reason == DLL_PROCESS_DETACH) printf("%s: unloaded\n", EXTENSION_NAME);
  return TRUE;
}

#else

__attribute__((constructor)) static void Load(void) {
  printf("%s: loaded\n", EXTENSION_NAME);
  RegisterClasses();
}

__attribute__((destructor)) static void Unload(void) {
  printf("%s: unloaded\n", EXTENSION_NAME);
}

#endif

#endif
