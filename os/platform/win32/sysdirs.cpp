#include "os/platform/sysdirs.h"

#include <windows.h>
// After windows.h, which declares what these build upon.
#include <objbase.h>
#include <shlobj.h>

#include <cstring>

namespace platform {
namespace {

constexpr char kShellFolders[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";

DWORD SizeOf(std::span<char> name) {
  return static_cast<DWORD>(name.size());
}

bool FindApplicationFolder(std::span<char> name) {
  const DWORD length = GetModuleFileNameA(nullptr, name.data(), SizeOf(name));
  if (length == 0 || length >= name.size()) return false;
  char* lastSeparator = strrchr(name.data(), '\\');
  if (lastSeparator == nullptr) return false;
  *lastSeparator = '\0';
  return true;
}

// The system ends the name with a separator, which only a drive's root (C:\) keeps.
bool FindTemporaryFolder(std::span<char> name) {
  const DWORD length = GetTempPathA(SizeOf(name), name.data());
  if (length == 0 || length >= name.size()) return false;
  const bool isDriveRoot = length == 3 && name[1] == ':';
  if (name[length - 1] == '\\' && !isDriveRoot) name[length - 1] = '\0';
  return true;
}

bool FindDesktopFolder(std::span<char> name) {
  LPITEMIDLIST item = nullptr;
  if (FAILED(SHGetSpecialFolderLocation(nullptr, CSIDL_DESKTOPDIRECTORY, &item))) return false;
  char path[MAX_PATH];
  const bool found = SHGetPathFromIDListA(item, path) != 0 && strlen(path) < name.size();
  CoTaskMemFree(item);
  if (found) strcpy(name.data(), path);
  return found;
}

bool FindWindowsFolder(std::span<char> name) {
  const UINT length = GetWindowsDirectoryA(name.data(), SizeOf(name));
  return length != 0 && length < name.size();
}

bool ReadText(HKEY key, const char* valueName, std::span<char> text) {
  DWORD type = 0;
  DWORD size = SizeOf(text) - 1;
  const LONG result =
      RegQueryValueExA(key, valueName, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &size);
  if (result != ERROR_SUCCESS || (type != REG_SZ && type != REG_EXPAND_SZ)) return false;
  text[size] = '\0';
  return true;
}

bool FindShellFolder(const char* valueName, std::span<char> name) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, kShellFolders, 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  const bool found = ReadText(key, valueName, name);
  RegCloseKey(key);
  return found;
}

}  // namespace

bool FindSystemFolder(SystemFolder folder, std::span<char> name) {
  switch (folder) {
    case SystemFolder::kApplication:
      return FindApplicationFolder(name);
    case SystemFolder::kTemporary:
      return FindTemporaryFolder(name);
    case SystemFolder::kDesktop:
      return FindDesktopFolder(name);
    case SystemFolder::kPreferences:
    case SystemFolder::kSystem:
      return FindWindowsFolder(name);
    case SystemFolder::kStartup:
      return FindShellFolder("Startup", name);
    case SystemFolder::kPrograms:
      return FindShellFolder("Programs", name);
  }
  return false;
}

bool IsMadeOnUse(SystemFolder /*folder*/) {
  return false;
}

bool TakesCurrentForApplicationFolder() {
  return true;
}

ParentSearch FindFallbackParent(const char* applicationFolder, std::span<char> name) {
  if (strlen(applicationFolder) >= name.size()) return ParentSearch::kTooLong;
  strcpy(name.data(), applicationFolder);
  return ParentSearch::kFound;
}

}  // namespace platform
