#include "os/platform/filelock.h"

#include <windows.h>

namespace platform {

FileLockResult TryFileLock(const char* name, FileLock* lock) {
  constexpr DWORD kShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file = CreateFileA(name, GENERIC_READ | GENERIC_WRITE, kShare, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return FileLockResult::Unavailable;
  OVERLAPPED firstByte = {};
  if (LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &firstByte) != 0) {
    *lock = reinterpret_cast<FileLock>(file);
    return FileLockResult::Taken;
  }
  const DWORD error = GetLastError();
  CloseHandle(file);
  const bool isBusy = error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING;
  return isBusy ? FileLockResult::Busy : FileLockResult::Unavailable;
}

void ReleaseFileLock(FileLock lock) {
  CloseHandle(reinterpret_cast<HANDLE>(lock));
}

}  // namespace platform
