// Private files on Windows: a folder in the user's profile is nobody else's, and files inherit that.
#include "tool/private_file.h"

#include <windows.h>

#include <cstdlib>

#include "tool/failure.h"
#include "tool/win32/system_text.h"

namespace tool {
namespace {

constexpr DWORD kLongestFileBytes = 64 << 20;
constexpr unsigned kReplaceAttempts = 200;
constexpr DWORD kReplacePauseMilliseconds = 10;

[[noreturn]] void FailWith(const std::string& action, const std::string& path, DWORD error) {
  std::string text = "cannot " + action + " \"" + path + "\": " + SystemText(error);
  if (error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL)
    text += "; free some space, then rerun the command";
  throw Failure{ExitCode::Disk, text};
}

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() {
    if (IsOpen()) CloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  HANDLE Get() const { return handle_; }
  bool IsOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  bool Close() {
    const HANDLE closing = handle_;
    handle_ = INVALID_HANDLE_VALUE;
    return CloseHandle(closing) != 0;
  }

 private:
  HANDLE handle_;
};

bool IsMissing(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

bool IsFolder(const std::string& path) {
  const DWORD attributes = GetFileAttributesA(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::string FolderOf(const std::string& path) {
  const std::size_t separator = path.find_last_of("\\/");
  return separator == std::string::npos ? "" : path.substr(0, separator);
}

HANDLE CreateNewFile(const std::string& path) {
  return CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Its one writer finds only what a killed program left.
HANDLE OpenNewFile(const std::string& path) {
  HANDLE handle = CreateNewFile(path);
  if (handle == INVALID_HANDLE_VALUE && GetLastError() == ERROR_FILE_EXISTS && DeleteFileA(path.c_str()))
    handle = CreateNewFile(path);
  if (handle == INVALID_HANDLE_VALUE) FailWith("create", path, GetLastError());
  return handle;
}

void WriteAll(const Handle& file, const std::string& path, const std::string& bytes) {
  DWORD done = 0;
  if (!WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr))
    FailWith("write to", path, GetLastError());
  if (done != bytes.size()) FailWith("write to", path, ERROR_DISK_FULL);
}

void WriteNewFile(const std::string& path, const std::string& bytes, bool synchronise) {
  Handle file(OpenNewFile(path));
  WriteAll(file, path, bytes);
  if (synchronise && !FlushFileBuffers(file.Get())) FailWith("write to", path, GetLastError());
  if (!file.Close()) FailWith("write to", path, GetLastError());
}

// Another program that reads the file keeps it from being replaced or removed, for that moment.
template <typename Action>
DWORD RunWhileOthersRead(Action action) {
  for (unsigned attempt = 1;; attempt++) {
    if (action()) return NO_ERROR;
    const DWORD error = GetLastError();
    const bool isInUse = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
    if (!isInUse || attempt == kReplaceAttempts) return error;
    Sleep(kReplacePauseMilliseconds);
  }
}

void Replace(const std::string& from, const std::string& to, DWORD flags) {
  if (IsFolder(to)) FailWith("write to", to, ERROR_ACCESS_DENIED);
  const DWORD error = RunWhileOthersRead(
      [&] { return MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | flags) != 0; });
  if (error != NO_ERROR) FailWith("write to", to, error);
}

}  // namespace

void MakePrivateFolder(const std::string& path) {
  if (IsFolder(path) || CreateDirectoryA(path.c_str(), nullptr)) return;
  const DWORD error = GetLastError();
  const std::string above = FolderOf(path);
  if (error != ERROR_PATH_NOT_FOUND || above.empty()) FailWith("create the folder", path, error);
  MakePrivateFolder(above);
  if (!CreateDirectoryA(path.c_str(), nullptr) && !IsFolder(path))
    FailWith("create the folder", path, GetLastError());
}

std::vector<std::string> NamesInFolder(const std::string& folder) {
  WIN32_FIND_DATAA entry;
  const HANDLE search = FindFirstFileA(PathInFolder(folder, "*").c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) FailWith("read the folder", folder, GetLastError());
  std::vector<std::string> names;
  do {
    names.emplace_back(entry.cFileName);
  } while (FindNextFileA(search, &entry));
  const DWORD error = GetLastError();
  FindClose(search);
  if (error != ERROR_NO_MORE_FILES) FailWith("read the folder", folder, error);
  return names;
}

bool IsRegularFile(const std::string& path) {
  constexpr DWORD kOthers = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  const DWORD attributes = GetFileAttributesA(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & kOthers) == 0;
}

std::optional<std::string> ReadPrivateFile(const std::string& path) {
  constexpr DWORD kSharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const Handle file(CreateFileA(path.c_str(), GENERIC_READ, kSharing, nullptr, OPEN_EXISTING, 0, nullptr));
  if (!file.IsOpen() && IsMissing(GetLastError())) return std::nullopt;
  if (!file.IsOpen()) FailWith("read", path, GetLastError());
  const DWORD size = GetFileSize(file.Get(), nullptr);
  if (size > kLongestFileBytes) FailWith("read", path, ERROR_FILE_TOO_LARGE);
  std::string bytes(size, '\0');
  DWORD done = 0;
  if (!ReadFile(file.Get(), bytes.data(), size, &done, nullptr)) FailWith("read", path, GetLastError());
  bytes.resize(done);
  return bytes;
}

void WritePrivateFile(const std::string& path, const std::string& bytes, bool synchronise) {
  const std::string newPath = path + ".new";
  try {
    WriteNewFile(newPath, bytes, synchronise);
    Replace(newPath, path, synchronise ? MOVEFILE_WRITE_THROUGH : 0);
  } catch (...) {
    DeleteFileA(newPath.c_str());
    throw;
  }
}

void CreatePrivateFile(const std::string& path, const std::string& bytes) {
  try {
    WriteNewFile(path, bytes, false);
  } catch (...) {
    DeleteFileA(path.c_str());
    throw;
  }
}

void OverwritePrivateFile(const std::string& path, const std::string& bytes) {
  constexpr DWORD kSharing = FILE_SHARE_READ | FILE_SHARE_WRITE;
  Handle file(CreateFileA(path.c_str(), GENERIC_WRITE, kSharing, nullptr, OPEN_EXISTING, 0, nullptr));
  if (!file.IsOpen()) FailWith("write to", path, GetLastError());
  WriteAll(file, path, bytes);
  if (!file.Close()) FailWith("write to", path, GetLastError());
}

void RenamePrivateFile(const std::string& from, const std::string& to) {
  if (IsRegularFile(from)) Replace(from, to, 0);
}

void RemovePrivateFile(const std::string& path) {
  const DWORD error = RunWhileOthersRead(
      [&] { return DeleteFileA(path.c_str()) != 0 || IsMissing(GetLastError()) || IsFolder(path); });
  if (error != NO_ERROR) FailWith("remove", path, error);
}

std::string UserDataFolder() {
  const char* data = std::getenv("LOCALAPPDATA");
  return data == nullptr ? "" : data;
}

std::string PathInFolder(const std::string& folder, const std::string& name) {
  if (!folder.empty() && (folder.back() == '\\' || folder.back() == '/')) return folder + name;
  return folder + "\\" + name;
}

std::string AbsolutePath(const std::string& path) {
  char absolute[MAX_PATH];
  const DWORD length = GetFullPathNameA(path.c_str(), sizeof absolute, absolute, nullptr);
  if (length == 0) FailWith("query", path, GetLastError());
  if (length >= sizeof absolute) throw Failure{ExitCode::Disk, "path too long: \"" + path + "\""};
  return std::string(absolute, length);
}

}  // namespace tool
