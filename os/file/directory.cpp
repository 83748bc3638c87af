// Directories: making, finding, the current one.
#include "qz/directory.h"

#include <atomic>

#include "os/core/error_internal.h"
#include "os/file/directory_testing.h"
#include "os/file/file_internal.h"
#include "os/platform/filesystem.h"
#include "qz/error.h"
#include "qz/file.h"

namespace {

using NextMethod = bool (*)(platform::DirectorySearch*, platform::DirectoryEntry*);

std::atomic<NextMethod> nextMethod{nullptr};

ErrorCode Create(const char* name) {
  char systemName[kFileNameSize];
  const ErrorCode status = iFile_ToSystemName(name, systemName);
  if (status != Error_None) return status;
  if (platform::MakeDirectory(systemName)) return Error_None;
  return iError_FromLastSystem("Directory_New", name);
}

// Another thread or program may make the directory in the moment before this does.
ErrorCode CreateUnlessThere(const char* name) {
  const ErrorCode status = Create(name);
  if (status == Error_None) return Error_None;
  FileState state;
  const bool isThere = File_GetState(name, &state) == Error_None && state.isDirectory != 0;
  return isThere ? Error_None : status;
}

// The status of a name that is to be a directory.
ErrorCode FindOrCreate(const char* name, bool create, int32_t* isFile) {
  FileState state;
  const ErrorCode status = File_GetState(name, &state);
  if (status != Error_None) return status;
  if (state.exists == 0) return create ? CreateUnlessThere(name) : Error_NotFound;
  if (state.isDirectory != 0) return Error_None;
  if (isFile != nullptr) *isFile = 1;
  return Error_Exists;
}

}  // namespace

bool iDirectory_NextEntry(platform::DirectorySearch* search, platform::DirectoryEntry* entry) {
  const NextMethod method = nextMethod.load();
  return method != nullptr ? method(search, entry) : platform::NextEntry(search, entry);
}

void iDirectory_SetNextEntry(bool (*next)(platform::DirectorySearch*, platform::DirectoryEntry*)) {
  nextMethod.store(next);
}

ErrorCode Directory_New(const char* name) {
  return Create(name);
}

ErrorCode Directory_Find(const char* name, int32_t create, int32_t* isFile, char* result) {
  if (isFile != nullptr) *isFile = 0;
  const ErrorCode status = FindOrCreate(name, create != 0, isFile);
  if (status == Error_None) return iFile_CopyName(name, result);
  if (result != nullptr) result[0] = '\0';
  return status;
}

ErrorCode Directory_GetCurrent(char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  buffer[0] = '\0';
  char systemName[kFileNameSize];
  if (!platform::CurrentDirectory(systemName)) {
    return iError_FromLastSystem("Directory_GetCurrent", nullptr);
  }
  const ErrorCode status = iFile_FromSystemName(systemName, systemName);
  return status == Error_None ? iFile_CopyName(systemName, buffer) : status;
}

int32_t Directory_SetCurrent(const char* name) {
  char systemName[kFileNameSize];
  if (iFile_ToSystemName(name, systemName) != Error_None) return -1;
  if (platform::ChangeDirectory(systemName)) return 0;
  iError_FromLastSystem("Directory_SetCurrent", name);
  return -1;
}
