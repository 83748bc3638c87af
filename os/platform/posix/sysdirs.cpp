// The folders of a desktop session, by the environment variables that name them.
#include "os/platform/sysdirs.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace platform {
namespace {

constexpr size_t kPathBytes = 1024;

bool CopyName(const char* source, std::span<char> name) {
  const size_t length = strlen(source);
  if (length >= name.size()) return false;
  memmove(name.data(), source, length + 1);
  return true;
}

// rest begins with the separator; one that the folder ends with is not doubled.
bool JoinName(const char* folder, const char* rest, std::span<char> name) {
  size_t folderLength = strlen(folder);
  while (folderLength != 0 && folder[folderLength - 1] == '/') --folderLength;
  const int length =
      snprintf(name.data(), name.size(), "%.*s%s", static_cast<int>(folderLength), folder, rest);
  return length >= 0 && static_cast<size_t>(length) < name.size();
}

bool IsFolder(const char* name) {
  struct stat state = {};
  return stat(name, &state) == 0 && S_ISDIR(state.st_mode);
}

// The value of a variable that names a folder. A relative one would mean another folder after every change of
// the current directory; it counts as missing.
const char* FolderVariable(const char* variable) {
  const char* value = getenv(variable);
  return value != nullptr && value[0] == '/' ? value : nullptr;
}

bool CreateFolder(const char* name) {
  return mkdir(name, 0700) == 0 || errno == EEXIST;
}

// Creates what is missing of the folders above name.
bool CreateParents(const char* name) {
  char parent[kPathBytes];
  if (!CopyName(name, parent)) return false;
  for (char* separator = strchr(parent + 1, '/'); separator != nullptr;
       separator = strchr(separator + 1, '/')) {
    *separator = '\0';
    if (!CreateFolder(parent)) return false;
    *separator = '/';
  }
  return true;
}

bool FindHomeInPasswd(std::span<char> name) {
  passwd entry = {};
  passwd* found = nullptr;
  char texts[4096];
  if (getpwuid_r(getuid(), &entry, texts, sizeof texts, &found) != 0 || found == nullptr) return false;
  return entry.pw_dir != nullptr && entry.pw_dir[0] == '/' && CopyName(entry.pw_dir, name);
}

bool FindHome(const char* applicationFolder, std::span<char> name) {
  if (const char* home = FolderVariable("HOME"); home != nullptr) return CopyName(home, name);
  if (FindHomeInPasswd(name)) return true;
  return applicationFolder != nullptr && CopyName(applicationFolder, name);
}

// The folder that the variable names, or else the one at this place below the home folder.
bool FindUserFolder(const char* variable, const char* placeBelowHome, const char* applicationFolder,
                    std::span<char> name) {
  if (const char* folder = FolderVariable(variable); folder != nullptr) return CopyName(folder, name);
  char home[kPathBytes];
  return FindHome(applicationFolder, home) && JoinName(home, placeBelowHome, name);
}

bool FindUserSubfolder(const char* variable, const char* placeBelowHome, const char* subfolder,
                       const char* applicationFolder, std::span<char> name) {
  char parent[kPathBytes];
  return FindUserFolder(variable, placeBelowHome, applicationFolder, parent) &&
         JoinName(parent, subfolder, name) && CreateParents(name.data());
}

bool FindApplicationFolder(std::span<char> name) {
  const ssize_t length = readlink("/proc/self/exe", name.data(), name.size());
  if (length <= 0 || static_cast<size_t>(length) >= name.size()) return false;
  name[static_cast<size_t>(length)] = '\0';
  char* lastSeparator = strrchr(name.data(), '/');
  if (lastSeparator == nullptr) return false;
  // A program in the root folder keeps that separator: it is the whole name.
  lastSeparator[lastSeparator == name.data() ? 1 : 0] = '\0';
  return true;
}

bool FindTemporaryFolder(std::span<char> name) {
  const char* folder = FolderVariable("TMPDIR");
  if (!CopyName(folder != nullptr ? folder : "/tmp", name)) return false;
  size_t length = strlen(name.data());
  while (length > 1 && name[length - 1] == '/') name[--length] = '\0';
  return true;
}

bool FindDesktopFolder(const char* applicationFolder, std::span<char> name) {
  char home[kPathBytes];
  return FindHome(applicationFolder, home) && JoinName(home, "/Desktop", name) && IsFolder(name.data());
}

}  // namespace

bool FindSystemFolder(SystemFolder folder, const char* applicationFolder, std::span<char> name) {
  switch (folder) {
    case SystemFolder::kApplication:
      return FindApplicationFolder(name);
    case SystemFolder::kTemporary:
      return FindTemporaryFolder(name);
    case SystemFolder::kDesktop:
      return FindDesktopFolder(applicationFolder, name);
    case SystemFolder::kPreferences:
      return false;
    case SystemFolder::kStartup:
      return FindUserSubfolder("XDG_CONFIG_HOME", "/.config", "/autostart", applicationFolder, name);
    case SystemFolder::kSystem:
      return CopyName("/", name);
    case SystemFolder::kPrograms:
      return FindUserSubfolder("XDG_DATA_HOME", "/.local/share", "/applications", applicationFolder, name);
  }
  return false;
}

bool FindFallbackParent(const char* applicationFolder, std::span<char> name) {
  if (access(applicationFolder, W_OK) == 0) return CopyName(applicationFolder, name);
  if (FindUserFolder("XDG_CACHE_HOME", "/.cache", applicationFolder, name) && CreateParents(name.data()) &&
      CreateFolder(name.data())) {
    return true;
  }
  return CopyName(applicationFolder, name);
}

}  // namespace platform
