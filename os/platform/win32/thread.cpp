#include "os/platform/thread.h"

#include <process.h>
#include <windows.h>

#include <atomic>

#include "os/platform/win32/keep_last_error.h"
#include "os/platform/win32/thread_win32.h"

namespace platform {
namespace {

// The place of the threads' word. Whoever comes first reserves it, before any code of the module has run too.
std::atomic<DWORD> wordPlace{TLS_OUT_OF_INDEXES};

DWORD ReserveWordPlace() {
  const DWORD reserved = TlsAlloc();
  DWORD expected = TLS_OUT_OF_INDEXES;
  if (wordPlace.compare_exchange_strong(expected, reserved)) return reserved;
  if (reserved != TLS_OUT_OF_INDEXES) TlsFree(reserved);
  return expected;
}

DWORD WordPlace() {
  const DWORD place = wordPlace.load();
  return place != TLS_OUT_OF_INDEXES ? place : ReserveWordPlace();
}

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

uintptr_t ThreadWord() {
  const KeepLastError keep;
  const DWORD place = WordPlace();
  return place != TLS_OUT_OF_INDEXES ? reinterpret_cast<uintptr_t>(TlsGetValue(place)) : 0;
}

void SetThreadWord(uintptr_t word) {
  const KeepLastError keep;
  const DWORD place = WordPlace();
  if (place != TLS_OUT_OF_INDEXES) TlsSetValue(place, reinterpret_cast<void*>(word));
}

void ReleaseThreadWords() {
  const DWORD place = wordPlace.exchange(TLS_OUT_OF_INDEXES);
  if (place != TLS_OUT_OF_INDEXES) TlsFree(place);
}

}  // namespace platform
