#ifndef _WIN32
#  define _GNU_SOURCE /* dladdr */
#endif
#include "start.h"

#ifdef _WIN32
#  include <windows.h>

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
  (void)module;
  (void)reserved;
  return reason != DLL_PROCESS_ATTACH || Extension_RegisterClasses() == Error_None;
}

void Extension_StayLoaded(void) {
  HMODULE module = NULL;
  const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN;
  GetModuleHandleExA(flags, (LPCSTR)(void*)Extension_StayLoaded, &module);
}

#else
#  include <dlfcn.h>
#  include <stddef.h>

__attribute__((constructor)) static void Start(void) {
  Extension_RegisterClasses();
}

void Extension_StayLoaded(void) {
  static const char ownByte = 0;
  Dl_info information;
  if (dladdr(&ownByte, &information) != 0 && information.dli_fname != NULL)
    dlopen(information.dli_fname, RTLD_NOW | RTLD_NODELETE);
}

#endif
