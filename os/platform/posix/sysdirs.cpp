// The folders of a desktop session, by the environment variables that name them.
#include "os/platform/sysdirs.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "os/platform/posix/program_posix.h"

namespace platform {
namespace {

constexpr size_t kPathBytes = 1024;

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

bool FindHomeInPasswd(std::span<char> name) {
  passwd entry = {};
  passwd* found = nullptr;
  char texts[4096];
  if (getpwuid_r(getuid(), &entry, texts, sizeof texts, &found) != 0 || found == nullptr) return false;
  return entry.pw_dir != nullptr && entry.pw_dir[0] == '/' && CopyName(entry.pw_dir, name);
}

// Services and containers may have none; a name that leads to no folder is none either.
bool FindHome(std::span<char> name) {
  const char* home = FolderVariable("HOME");
  const bool isNamed = home != nullptr ? CopyName(home, name) : FindHomeInPasswd(name);
  return isNamed && IsFolder(name.data());
}

// The folder that the variable names, or else the one at this place below the home folder.
bool FindUserFolder(const char* variable, const char* placeBelowHome, std::span<char> name) {
  if (const char* folder = FolderVariable(variable); folder != nullptr) return CopyName(folder, name);
  char home[kPathBytes];
  return FindHome(home) && JoinName(home, placeBelowHome, name);
}

bool FindUserSubfolder(const char* variable, const char* placeBelowHome, const char* subfolder,
                       std::span<char> name) {
  char parent[kPathBytes];
  return FindUserFolder(variable, placeBelowHome, parent) && JoinName(parent, subfolder, name);
}

bool FindApplicationFolder(std::span<char> name) {
  if (!FindProgramPathname(name)) return false;
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

bool FindDesktopFolder(std::span<char> name) {
  char home[kPathBytes];
  return FindHome(home) && JoinName(home, "/Desktop", name) && IsFolder(name.data());
}

// ---- places for a program's own folders ----------------------------------------------------------

bool MayWrite(const char* folder) {
  return faccessat(AT_FDCWD, folder, W_OK | X_OK, AT_EACCESS) == 0;
}

bool MakeFolder(const char* name) {
  return mkdir(name, 0700) == 0 || errno == EEXIST;
}

// Only the folder itself is made: a home or parent that is missing is not this program's to make.
bool FindCacheFolder(std::span<char> name) {
  return FindUserFolder("XDG_CACHE_HOME", "/.cache", name) && MakeFolder(name.data()) &&
         MayWrite(name.data());
}

// Anybody may have put something under a name in the temporary folder: a link, or a folder that others can
// write to.
bool BelongsToThisUserAlone(const char* folder) {
  struct stat state = {};
  if (lstat(folder, &state) != 0) return false;
  constexpr mode_t kOthers = S_IRWXG | S_IRWXO;
  if (S_ISDIR(state.st_mode) && state.st_uid == geteuid() && (state.st_mode & kOthers) == 0) return true;
  errno = EACCES;
  return false;
}

ParentSearch FindPrivateFolder(std::span<char> name) {
  char temporary[kPathBytes];
  char place[32];
  snprintf(place, sizeof place, "/qz-%lu", static_cast<unsigned long>(geteuid()));
  if (!FindTemporaryFolder(temporary) || !JoinName(temporary, place, name)) return ParentSearch::kTooLong;
  return MakeFolder(name.data()) && BelongsToThisUserAlone(name.data()) ? ParentSearch::kFound
                                                                        : ParentSearch::kFailed;
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
      return false;
    case SystemFolder::kStartup:
      return FindUserSubfolder("XDG_CONFIG_HOME", "/.config", "/autostart", name);
    case SystemFolder::kSystem:
      return CopyName("/", name);
    case SystemFolder::kPrograms:
      return FindUserSubfolder("XDG_DATA_HOME", "/.local/share", "/applications", name);
  }
  return false;
}

bool IsMadeOnUse(SystemFolder folder) {
  return folder == SystemFolder::kStartup || folder == SystemFolder::kPrograms;
}

bool TakesCurrentForApplicationFolder() {
  return false;
}

ParentSearch FindFallbackParent(const char* applicationFolder, std::span<char> name) {
  if (MayWrite(applicationFolder)) {
    return CopyName(applicationFolder, name) ? ParentSearch::kFound : ParentSearch::kTooLong;
  }
  return FindCacheFolder(name) ? ParentSearch::kFound : FindPrivateFolder(name);
}

}  // namespace platform
