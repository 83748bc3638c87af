#include "os/platform/thread.h"

#include <process.h>
#include <windows.h>

namespace platform {
namespace {

unsigned __stdcall RunThread(void* start) {
  const ThreadStart& thread = *static_cast<const ThreadStart*>(start);
  return static_cast<unsigned>(thread.body(thread.argument));
}

}  // namespace

bool StartThread(const ThreadStart* start, uint32_t stackBytes) {
  unsigned identifier = 0;
  const uintptr_t handle =
      _beginthreadex(nullptr, stackBytes, RunThread, const_cast<ThreadStart*>(start), 0, &identifier);
  if (handle == 0) return false;
  CloseHandle(reinterpret_cast<HANDLE>(handle));
  return true;
}

uint32_t CurrentThreadIdentifier() {
  return GetCurrentThreadId();
}

}  // namespace platform
