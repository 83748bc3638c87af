// Folders and their places on Windows.
#include "tool/folder_place.h"

#include <windows.h>

#include <algorithm>

namespace tool {
namespace {

constexpr DWORD kNameBytes = 4096;

class OpenFolder {
 public:
  // "C:" alone would be the drive, not its folder.
  explicit OpenFolder(const std::string& path)
      : handle_(CreateFileA((path.ends_with(':') ? path + "\\" : path).c_str(), 0, kShareAll, nullptr,
                            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr)) {}
  ~OpenFolder() {
    if (IsOpen()) CloseHandle(handle_);
  }
  OpenFolder(const OpenFolder&) = delete;
  OpenFolder& operator=(const OpenFolder&) = delete;

  bool IsOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE Get() const { return handle_; }

 private:
  static constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  HANDLE handle_;
};

// Systems without links do not have the function.
std::string FinalName(HANDLE file) {
  using Function = DWORD(WINAPI*)(HANDLE, char*, DWORD, DWORD);
  const auto function = reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("KERNEL32.DLL"), "GetFinalPathNameByHandleA")));
  char name[kNameBytes];
  const DWORD length = function != nullptr ? function(file, name, kNameBytes, 0) : 0;
  return length < kNameBytes ? std::string(name, length) : "";
}

// \\?\C:\dir as C:\dir, \\?\UNC\server\dir as \\server\dir.
std::string WithoutPrefix(const std::string& name) {
  constexpr const char* kShare = "\\\\?\\UNC\\";
  constexpr const char* kPrefix = "\\\\?\\";
  if (name.starts_with(kShare)) return "\\\\" + name.substr(8);
  return name.starts_with(kPrefix) ? name.substr(4) : name;
}

}  // namespace

std::optional<FolderIdentity> IdentityOfFolder(const std::string& path) {
  const OpenFolder folder(path);
  BY_HANDLE_FILE_INFORMATION information;
  if (!folder.IsOpen() || !GetFileInformationByHandle(folder.Get(), &information)) return std::nullopt;
  if ((information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return std::nullopt;
  return FolderIdentity{information.dwVolumeSerialNumber,
                        std::uint64_t{information.nFileIndexHigh} << 32 | information.nFileIndexLow};
}

std::string PathWithoutLinks(const std::string& path) {
  const OpenFolder folder(path);
  if (!folder.IsOpen()) return "";
  const std::string name = WithoutPrefix(FinalName(folder.Get()));
  std::string place = name.empty() ? path : name;
  std::replace(place.begin(), place.end(), '\\', '/');
  return place;
}

}  // namespace tool
