// Local files on Windows.
#include "tool/disk_file.h"

#include <windows.h>

#include "tool/failure.h"
#include "tool/win32/system_text.h"

namespace tool {
namespace {

[[noreturn]] void FailWith(const std::string& action, const std::string& path, DWORD error) {
  if (error == ERROR_SHARING_VIOLATION) {
    throw Failure{ExitCode::Disk, "\"" + path + "\" is in use by another program; wait until it is done"};
  }
  std::string text = "cannot " + action + " \"" + path + "\": " + SystemText(error);
  if (error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL) {
    text += "; free some space, then rerun the command to resume";
  }
  throw Failure{ExitCode::Disk, text};
}

HANDLE Native(std::intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

}  // namespace

DiskFile::Kind DiskFile::KindOf(const std::string& path) {
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return Kind::Nothing;
    FailWith("query", path, error);
  }
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) return Kind::Link;
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? Kind::Folder : Kind::File;
}

void DiskFile::OpenForReading(const std::string& path) {
  const HANDLE handle =
      CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  if (handle == INVALID_HANDLE_VALUE) FailWith("read", path, GetLastError());
  handle_ = reinterpret_cast<std::intptr_t>(handle);
  path_ = path;
  if (GetFileType(handle) != FILE_TYPE_DISK)
    throw Failure{ExitCode::Disk, "\"" + path + "\" is not a regular file"};
}

std::size_t DiskFile::Read(std::size_t count, void* buffer) {
  DWORD done = 0;
  if (!ReadFile(Native(handle_), buffer, static_cast<DWORD>(count), &done, nullptr)) {
    FailWith("read", path_, GetLastError());
  }
  return done;
}

void DiskFile::Close() {
  if (handle_ != kNoHandle) CloseHandle(Native(handle_));
  handle_ = kNoHandle;
}

}  // namespace tool
