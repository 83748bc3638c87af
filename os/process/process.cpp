// Child processes: starting them with an environment, watching them, letting go of them.
#include "qz/process.h"

#include <cstddef>
#include <cstring>

#include "os/core/memory_internal.h"
#include "os/core/os_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/process.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/string.h"

struct Process : platform::Process {};

// Callers read the record's first three words.
static_assert(offsetof(platform::Process, identifier) == 0);
static_assert(offsetof(platform::Process, process) == sizeof(intptr_t));
static_assert(offsetof(platform::Process, mainThread) == 2 * sizeof(intptr_t));

namespace {

// The size of the block that holds the texts that are not empty, or 0 when there are none. An empty text
// would end the block early.
size_t EnvironmentBytes(const char* const* environment) {
  size_t bytes = 0;
  for (; *environment != nullptr; ++environment) {
    if (**environment != '\0') bytes += strlen(*environment) + 1;
  }
  return bytes != 0 ? bytes + 1 : 0;
}

// Packs the texts, each with its zero byte, and one more zero byte. *block stays null when the child is to
// inherit the environment: no list, or nothing in it.
ErrorCode PackEnvironment(const char* const* environment, Owned<char, Memory_Delete>* block) {
  if (environment == nullptr) return Error_None;
  const size_t bytes = EnvironmentBytes(environment);
  if (bytes == 0) return Error_None;
  block->reset(static_cast<char*>(Memory_New(bytes)));
  if (!*block) return Error_Memory;
  char* end = block->get();
  for (; *environment != nullptr; ++environment) {
    const size_t length = strlen(*environment);
    if (length == 0) continue;
    memcpy(end, *environment, length + 1);
    end += length + 1;
  }
  *end = '\0';
  return Error_None;
}

ErrorCode StatusOf(platform::LaunchResult result) {
  switch (result) {
    case platform::LaunchResult::kStarted:
      return Error_None;
    case platform::LaunchResult::kNoMemory:
      return Error_Memory;
    case platform::LaunchResult::kRefused:
      break;
  }
  return Error_Fail;
}

}  // namespace

ErrorCode Process_Launch(const char* pathname, const char* commandLine, const char* const* environment,
                         Process** process) {
  if (process == nullptr) return Error_Invalid;
  *process = nullptr;
  if (pathname == nullptr && commandLine == nullptr) return Error_Fail;

  char systemPathname[kFileNameSize];
  if (pathname != nullptr) {
    if (const ErrorCode status = iFile_ToSystemName(pathname, systemPathname); status != Error_None)
      return status;
  }
  Owned<char, Memory_Delete> block;
  if (const ErrorCode status = PackEnvironment(environment, &block); status != Error_None) return status;
  Owned<Process, Memory_Delete> launched(static_cast<Process*>(iMemory_NewCleared(sizeof(Process))));
  if (!launched) return Error_Memory;

  const ErrorCode status = StatusOf(platform::LaunchProcess(pathname != nullptr ? systemPathname : nullptr,
                                                            commandLine, block.get(), launched.get()));
  if (status == Error_None) *process = launched.release();
  return status;
}

int32_t Process_IsActive(Process* process) {
  if (process == nullptr) return 0;
  return platform::IsProcessActive(process) ? 1 : 0;
}

void Process_Detach(Process* process) {
  if (process != nullptr) platform::DetachProcess(process);
}

uint32_t Process_GetCurrentID() {
  return platform::CurrentProcessIdentifier();
}

ErrorCode Process_GetPathname(char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  buffer[0] = '\0';
  char name[kFileNameSize];
  if (!platform::FindModulePathname(iOS_GetInstance(), name)) return Error_Fail;
  if (const ErrorCode status = iFile_FromSystemName(name, name); status != Error_None) return status;
  String_Copy(name, buffer);
  return Error_None;
}
