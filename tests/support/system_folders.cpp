#include "tests/support/system_folders.h"

#include <string>

#ifdef _WIN32
#  include <windows.h>
// After windows.h, which declares what this builds upon.
#  include <shlobj.h>
#else
#  include <cstdlib>
#endif

namespace fs = std::filesystem;

#ifdef _WIN32

namespace {

fs::path ShellFolder(const char* valueName) {
  char text[MAX_PATH] = "";
  DWORD size = sizeof text - 1;
  HKEY key = nullptr;
  RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders", 0,
                KEY_READ, &key);
  RegQueryValueExA(key, valueName, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size);
  RegCloseKey(key);
  return text;
}

fs::path WindowsFolder() {
  char path[MAX_PATH] = "";
  GetWindowsDirectoryA(path, sizeof path);
  return path;
}

}  // namespace

fs::path ExpectedTemporaryFolder() {
  char path[MAX_PATH] = "";
  std::string name(path, GetTempPathA(sizeof path, path));
  name.assign(path);
  if (name.size() > 3 && name.back() == '\\') name.pop_back();
  return name;
}

fs::path ExpectedDesktopFolder(const fs::path&) {
  char path[MAX_PATH] = "";
  SHGetFolderPathA(nullptr, CSIDL_DESKTOPDIRECTORY, nullptr, 0, path);
  return path;
}

fs::path ExpectedPreferencesFolder(const fs::path&) {
  return WindowsFolder();
}
fs::path ExpectedStartupFolder() {
  return ShellFolder("Startup");
}
fs::path ExpectedSystemFolder() {
  return WindowsFolder();
}
fs::path ExpectedProgramsFolder() {
  return ShellFolder("Programs");
}

ScopedTemporaryVariable::ScopedTemporaryVariable(const char* folder) {
  for (const char* name : {"TMP", "TEMP"})
    variables_.push_back(std::make_unique<ScopedVariable>(name, folder));
}

#else

fs::path ExpectedTemporaryFolder() {
  const char* folder = getenv("TMPDIR");
  return folder != nullptr ? folder : "/tmp";
}

fs::path ExpectedDesktopFolder(const fs::path& fallback) {
  const fs::path desktop = fs::path(getenv("HOME")) / "Desktop";
  return fs::is_directory(desktop) ? desktop : fallback;
}

fs::path ExpectedPreferencesFolder(const fs::path& fallback) {
  return fallback;
}
fs::path ExpectedStartupFolder() {
  return fs::path(getenv("XDG_CONFIG_HOME")) / "autostart";
}
fs::path ExpectedSystemFolder() {
  return "/";
}
fs::path ExpectedProgramsFolder() {
  return fs::path(getenv("XDG_DATA_HOME")) / "applications";
}

ScopedTemporaryVariable::ScopedTemporaryVariable(const char* folder) {
  variables_.push_back(std::make_unique<ScopedVariable>("TMPDIR", folder));
}

#endif
