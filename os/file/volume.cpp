// Space on volumes.
#include "qz/volume.h"

#include <cstring>

#include "os/core/error_internal.h"
#include "os/file/file_internal.h"
#include "os/platform/filesystem.h"
#include "qz/error.h"
#include "qz/file.h"

namespace {

bool IsDirectory(const char* name) {
  int32_t isDirectory = 0;
  return File_Exists(name, &isDirectory) != 0 && isDirectory != 0;
}

// Cuts a name back until it is an existing directory, but never into its root.
void CutToExistingDirectory(char* name, size_t rootLength) {
  while (strlen(name) > rootLength && !IsDirectory(name)) {
    const size_t slash = static_cast<size_t>(strrchr(name, '/') - name);
    name[slash > rootLength ? slash : rootLength] = '\0';
  }
}

// The system's name of the volume's root where there are drives, else of the nearest existing directory.
ErrorCode PlaceOf(const char* path, char (&systemName)[kFileNameSize]) {
  char place[kFileNameSize];
  if (platform::UsesDriveLetters()) {
    if (File_StripRoot(path, place, nullptr) < 0) return Error_Fail;
    const ErrorCode status = iFile_Join(place, "", place);
    return status == Error_None ? iFile_ToSystemName(place, systemName) : status;
  }
  const ErrorCode status = iFile_CopyName(path, place);
  if (status != Error_None) return status;
  CutToExistingDirectory(place, 1);
  return iFile_ToSystemName(place, systemName);
}

bool MeansCurrentDrive(const char* path) {
  return path == nullptr || path[0] != '/';
}

ErrorCode Ask(const char* path, platform::VolumeSpace* space) {
  char systemName[kFileNameSize];
  const bool isCurrent = MeansCurrentDrive(path);
  const ErrorCode status = isCurrent ? Error_None : PlaceOf(path, systemName);
  if (status != Error_None) return status;
  if (platform::GetVolumeSpace(isCurrent ? nullptr : systemName, space)) return Error_None;
  return iError_FromLastSystem("Volume_GetInformation", path);
}

// The nearest existing directory and not the root: a volume may be mounted anywhere.
ErrorCode ExistingDirectoryOf(const char* path, char (&systemName)[kFileNameSize]) {
  char directory[kFileNameSize];
  ErrorCode status = iFile_AbsoluteName(path, directory);
  if (status != Error_None) return status;
  const int32_t rootLength = platform::UsesDriveLetters() ? File_StripRoot(directory, nullptr, nullptr) : 1;
  if (rootLength < 0) return Error_Fail;
  CutToExistingDirectory(directory, static_cast<size_t>(rootLength));
  status = iFile_Join(directory, "", directory);
  return status == Error_None ? iFile_ToSystemName(directory, systemName) : status;
}

// Where there are no drives a file tells of its volume as well as its directory.
bool AskFile(const char* path, uint64_t* freeBytes) {
  char systemName[kFileNameSize];
  return !platform::UsesDriveLetters() && path != nullptr &&
         iFile_ToSystemName(path, systemName) == Error_None &&
         platform::GetAvailableBytes(systemName, freeBytes);
}

}  // namespace

ErrorCode Volume_GetInformation(const char* path, uint32_t* freeBytes, uint32_t* totalBytes) {
  platform::VolumeSpace space{};
  const ErrorCode status = Ask(path, &space);
  // Kept: both numbers wrap at 4 GiB, as callers have always seen them.
  if (freeBytes != nullptr)
    *freeBytes = status == Error_None ? static_cast<uint32_t>(space.freeBytes) : UINT32_MAX;
  if (totalBytes != nullptr) *totalBytes = static_cast<uint32_t>(space.totalBytes);
  return status;
}

ErrorCode iVolume_FreeBytes64(const char* path, uint64_t* freeBytes) {
  if (freeBytes == nullptr) return Error_Invalid;
  *freeBytes = UINT64_MAX;
  if (AskFile(path, freeBytes)) return Error_None;
  char systemName[kFileNameSize];
  if (path != nullptr) {
    const ErrorCode status = ExistingDirectoryOf(path, systemName);
    if (status != Error_None) return status;
  }
  uint64_t available = 0;
  if (!platform::GetAvailableBytes(path != nullptr ? systemName : nullptr, &available)) {
    return iError_FromLastSystem("Volume_GetInformation", path);
  }
  *freeBytes = available;
  return Error_None;
}
