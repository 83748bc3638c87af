#include "os/platform/process.h"

#include <windows.h>

#include "qz/memory.h"

namespace platform {
namespace {

static_assert(STILL_ACTIVE == 259);

HANDLE HandleOf(intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

bool IsMainThreadActive(const Process* process) {
  DWORD exitCode = 0;
  return process->mainThread != 0 && GetExitCodeThread(HandleOf(process->mainThread), &exitCode) != 0 &&
         exitCode == STILL_ACTIVE;
}

void CloseIfOpen(intptr_t handle) {
  if (handle != 0) CloseHandle(HandleOf(handle));
}

}  // namespace

LaunchResult LaunchProcess(const char* pathname, const char* commandLine, const char* environment,
                           Process* process) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION information = {};
  // The call takes writable texts but does not write to these.
  const BOOL started =
      CreateProcessA(pathname, const_cast<char*>(commandLine), nullptr, nullptr, FALSE, NORMAL_PRIORITY_CLASS,
                     const_cast<char*>(environment), nullptr, &startup, &information);
  if (!started) return LaunchResult::kRefused;
  process->identifier = information.dwProcessId;
  process->process = reinterpret_cast<intptr_t>(information.hProcess);
  process->mainThread = reinterpret_cast<intptr_t>(information.hThread);
  return LaunchResult::kStarted;
}

bool IsProcessActive(Process* process) {
  if (IsMainThreadActive(process)) return true;
  DWORD exitCode = 0;
  return GetExitCodeProcess(HandleOf(process->process), &exitCode) == 0 || exitCode == STILL_ACTIVE;
}

void DetachProcess(Process* process) {
  CloseIfOpen(process->process);
  CloseIfOpen(process->mainThread);
  Memory_Delete(process);
}

uint32_t CurrentProcessIdentifier() {
  return GetCurrentProcessId();
}

bool FindModulePathname(uintptr_t instance, std::span<char> name) {
  const DWORD size = static_cast<DWORD>(name.size());
  const DWORD length = GetModuleFileNameA(reinterpret_cast<HMODULE>(instance), name.data(), size);
  return length != 0 && length < size;
}

}  // namespace platform
