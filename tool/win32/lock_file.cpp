// Locks on Windows: they belong to the handle, so that two of them in one process keep each other out.
#include "tool/lock_file.h"

#include <windows.h>

#include "tool/failure.h"

namespace tool {
namespace {

constexpr unsigned kAttempts = 4;

[[noreturn]] void FailWith(const std::string& what, DWORD error) {
  throw Failure{ExitCode::Disk, "cannot lock " + what + ": system error " + std::to_string(error)};
}

HANDLE Native(std::intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

bool LockByte(std::intptr_t handle, std::uint32_t byte, LockFile::Kind kind) {
  OVERLAPPED range = {};
  range.Offset = byte;
  DWORD flags = LOCKFILE_FAIL_IMMEDIATELY;
  if (kind == LockFile::Kind::Exclusive) flags |= LOCKFILE_EXCLUSIVE_LOCK;
  if (LockFileEx(Native(handle), flags, 0, 1, 0, &range)) return true;
  const DWORD error = GetLastError();
  if (error == ERROR_LOCK_VIOLATION || error == ERROR_IO_PENDING) return false;
  FailWith("the folder of the saved transfers", error);
}

}  // namespace

LockFile::LockFile(const std::string& systemPath) {
  constexpr DWORD kSharing = FILE_SHARE_READ | FILE_SHARE_WRITE;
  const HANDLE handle = CreateFileA(systemPath.c_str(), GENERIC_READ | GENERIC_WRITE, kSharing, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) FailWith("\"" + systemPath + "\"", GetLastError());
  handle_ = reinterpret_cast<std::intptr_t>(handle);
}

LockFile::~LockFile() {
  CloseHandle(Native(handle_));
}

// Whoever asks IsLockedElsewhere has the byte for a moment; that is no lock.
bool LockFile::TryLock(std::uint32_t byte, Kind kind) {
  for (unsigned attempt = 1; !LockByte(handle_, byte, kind); attempt++) {
    if (attempt == kAttempts) return false;
    Sleep(1);
  }
  return true;
}

void LockFile::Unlock(std::uint32_t byte) {
  OVERLAPPED range = {};
  range.Offset = byte;
  UnlockFileEx(Native(handle_), 0, 1, 0, &range);
}

bool LockFile::IsLockedElsewhere(std::uint32_t byte) {
  if (!LockByte(handle_, byte, Kind::Shared)) return true;
  Unlock(byte);
  return false;
}

}  // namespace tool
