// The eight system directories and the one system file, the log.
//
// A directory comes from its primary source or from its fallback, whichever can first be found or created. It
// is looked up once by OS_Init and again by File_GetSysDir when it has disappeared. Where the system says
// that a directory is made on use, only its name is looked up, and a start does without.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <optional>

#include "os/core/error_internal.h"
#include "os/core/lock_internal.h"
#include "os/file/file_internal.h"
#include "os/file/sysdir_internal.h"
#include "os/platform/sysdirs.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/string.h"

namespace {

using platform::SystemFolder;

constexpr int32_t kDirectoryCount = 8;
constexpr size_t kPathBytes = kFileNameSize;
constexpr int32_t kLogFile = 0;

enum class Fallback { kNone, kCurrentDirectory, kApplicationNamed };

struct DirectoryRow {
  int32_t id;
  std::optional<SystemFolder> primary;
  Fallback fallback;
  const char* suffix;  // behind the application name
};

// Kept: a fallback's name has no separator before its suffix ("app412Temp"); directories of that name exist.
constexpr DirectoryRow kDirectories[kDirectoryCount] = {
    {SysDir_App, SystemFolder::kApplication, Fallback::kCurrentDirectory, ""},
    {SysDir_Temp, SystemFolder::kTemporary, Fallback::kApplicationNamed, "Temp"},
    {SysDir_Cache, std::nullopt, Fallback::kApplicationNamed, "Cache"},
    {SysDir_Desk, SystemFolder::kDesktop, Fallback::kApplicationNamed, "Desk"},
    {SysDir_Prefs, SystemFolder::kPreferences, Fallback::kApplicationNamed, "Prefs"},
    {SysDir_Startup, SystemFolder::kStartup, Fallback::kNone, ""},
    {SysDir_OS, SystemFolder::kSystem, Fallback::kNone, ""},
    {SysDir_Programs, SystemFolder::kPrograms, Fallback::kNone, ""},
};

constexpr bool RowsStandAtTheirIds() {
  for (int32_t id = 0; id < kDirectoryCount; ++id) {
    if (kDirectories[id].id != id) return false;
  }
  return true;
}
static_assert(RowsStandAtTheirIds());

using Path = char[kPathBytes];

std::atomic<bool> ready{false};
// Guarded by the library-wide lock.
Path directories[kDirectoryCount];
File* logFile = nullptr;
// Written by OS_Init alone, before `ready` is set; read after that.
Path logPathname;

// directory/name and suffix, unless it would not fit: then Error_Exceed and an empty result.
ErrorCode JoinPath(const char* directory, const char* name, const char* suffix, Path& result) {
  const size_t length = strlen(directory);
  const char* separator = length != 0 && directory[length - 1] == '/' ? "" : "/";
  const int total = snprintf(result, kPathBytes, "%s%s%s%s", directory, separator, name, suffix);
  if (total >= 0 && static_cast<size_t>(total) < kPathBytes) return Error_None;
  result[0] = '\0';
  return Error_Exceed;
}

ErrorCode FindOrCreate(const char* name, Path& result) {
  int32_t isFile = 0;
  Path found = "";
  const ErrorCode status = Directory_Find(name, 1, &isFile, found);
  if (status == Error_None) String_Copy(found, result);
  return status;
}

bool ToLibraryForm(const Path& systemName, Path& name) {
  return iFile_FromSystemName(systemName, name) == Error_None && name[0] != '\0';
}

bool ApplicationSystemName(Path& systemName) {
  Path application;
  {
    LibraryLock lock;
    String_Copy(directories[SysDir_App], application);
  }
  return application[0] != '\0' && iFile_ToSystemName(application, systemName) == Error_None;
}

bool FindPrimary(const DirectoryRow& row, Path& name) {
  if (!row.primary) return false;
  Path systemName = "";
  return platform::FindSystemFolder(*row.primary, systemName) && ToLibraryForm(systemName, name);
}

// What lies in the application's own folder, or in the folder that stands in for it.
ErrorCode FindApplicationNamed(const char* suffix, Path& name) {
  Path application;
  Path systemParent = "";
  Path parent;
  if (!ApplicationSystemName(application)) return Error_NotFound;
  switch (platform::FindFallbackParent(application, systemParent)) {
    case platform::ParentSearch::kFound:
      break;
    case platform::ParentSearch::kTooLong:
      return Error_Exceed;
    case platform::ParentSearch::kFailed:
      return iError_FromLastSystem("OS_Init", systemParent);
  }
  if (!ToLibraryForm(systemParent, parent)) return Error_NotFound;
  return JoinPath(parent, OS_GetApplicationName(), suffix, name);
}

ErrorCode FindCurrent(Path& name) {
  if (!platform::TakesCurrentForApplicationFolder()) return Error_NotFound;
  return Directory_GetCurrent(name) == Error_None && name[0] != '\0' ? Error_None : Error_NotFound;
}

ErrorCode FindFallback(const DirectoryRow& row, Path& name) {
  switch (row.fallback) {
    case Fallback::kNone:
      return Error_NotFound;
    case Fallback::kCurrentDirectory:
      return FindCurrent(name);
    case Fallback::kApplicationNamed:
      return FindApplicationNamed(row.suffix, name);
  }
  return Error_NotFound;
}

bool IsMadeOnUse(const DirectoryRow& row) {
  return row.primary && platform::IsMadeOnUse(*row.primary);
}

ErrorCode BuildDirectory(const DirectoryRow& row, Path& result) {
  if (IsMadeOnUse(row)) return FindPrimary(row, result) ? Error_None : Error_NotFound;
  Path name = "";
  if (FindPrimary(row, name) && FindOrCreate(name, result) == Error_None) return Error_None;
  if (const ErrorCode status = FindFallback(row, name); status != Error_None) return status;
  return FindOrCreate(name, result);
}

ErrorCode BuildAndStore(const DirectoryRow& row) {
  Path built = "";
  const ErrorCode status = BuildDirectory(row, built);
  if (status != Error_None) return status;
  LibraryLock lock;
  String_Copy(built, directories[row.id]);
  return Error_None;
}

ErrorCode BuildAllDirectories() {
  {
    LibraryLock lock;
    for (Path& directory : directories) directory[0] = '\0';
  }
  for (const DirectoryRow& row : kDirectories) {
    const ErrorCode status = BuildAndStore(row);
    if (status == Error_None || IsMadeOnUse(row)) continue;
    Error("OS_Init: File: Can't update system directory %ld", static_cast<long>(row.id));
    Error("OS_Init: Couldn't initialize default file system directories!");
    return status;
  }
  return Error_None;
}

ErrorCode SetLogPath(const char* path) {
  if (path == nullptr) return FindApplicationNamed(".log", logPathname);
  if (strlen(path) >= kPathBytes) return Error_Exceed;
  String_Copy(path, logPathname);
  return Error_None;
}

void CopyDirectory(int32_t id, char* buffer) {
  LibraryLock lock;
  String_Copy(directories[id], buffer);
}

bool IsDirectory(const char* name) {
  int32_t isDirectory = 0;
  return name[0] != '\0' && File_Exists(name, &isDirectory) == 1 && isDirectory == 1;
}

bool IsUsable(const DirectoryRow& row, const char* name) {
  return IsMadeOnUse(row) ? name[0] != '\0' : IsDirectory(name);
}

}  // namespace

ErrorCode iSysDir_Init(const char* logPath) {
  if (ready.load()) return Error_Inited;
  if (const ErrorCode status = BuildAllDirectories(); status != Error_None) return status;
  {
    LibraryLock lock;
    logFile = nullptr;
  }
  if (const ErrorCode status = SetLogPath(logPath); status != Error_None) {
    Error("OS_Init: Couldn't initialize log file!");
    return status;
  }
  ready.store(true);
  return Error_None;
}

void iSysDir_CloseLog() {
  LibraryLock lock;
  logFile = nullptr;
  iFile_CloseSystemFile();
}

void iSysDir_Exit() {
  ready.store(false);
}

ErrorCode File_GetSysDir(int32_t id, char* buffer) {
  if (buffer == nullptr) return Error_Invalid;
  buffer[0] = '\0';
  if (!ready.load()) return Error_NotInited;
  if (id < 0 || id >= kDirectoryCount) return Error_NotFound;

  const DirectoryRow& row = kDirectories[id];
  CopyDirectory(id, buffer);
  if (IsUsable(row, buffer)) return Error_None;
  buffer[0] = '\0';
  if (BuildAndStore(row) != Error_None) return Error_NotFound;
  CopyDirectory(id, buffer);
  if (IsUsable(row, buffer)) return Error_None;
  buffer[0] = '\0';
  return Error_NotFound;
}

File* File_GetSysFile(int32_t id, uint32_t mode) {
  if (!ready.load() || id != kLogFile) return nullptr;
  LibraryLock lock;
  if (logFile != nullptr) return logFile;
  // A failed open leaves the slot empty, so that a later call tries again.
  if (File_Open(logPathname, mode, &logFile) != Error_None) logFile = nullptr;
  iFile_SetSystemFile(logFile);
  return logFile;
}
