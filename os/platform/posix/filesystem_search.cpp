// Directory searches.
#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "os/platform/filesystem.h"
#include "os/platform/posix/filesystem_posix.h"

namespace platform {
namespace {

bool IsOwnOrParent(const char* name) {
  return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

DIR* HandleOf(DirectorySearch* search) {
  return reinterpret_cast<DIR*>(search);
}

// False when the entry went away meanwhile.
bool Describe(DIR* directory, const char* name, DirectoryEntry* entry) {
  entry->information = {};
  if (!GetInformationAt(dirfd(directory), name, &entry->information) && errno == ENOENT) return false;
  memcpy(entry->name, name, strlen(name) + 1);
  return true;
}

}  // namespace

DirectorySearch* BeginSearch(const char* directory) {
  return reinterpret_cast<DirectorySearch*>(opendir(directory));
}

bool NextEntry(DirectorySearch* search, DirectoryEntry* entry) {
  for (;;) {
    errno = 0;
    const struct dirent* found = readdir(HandleOf(search));
    if (found == nullptr) return false;
    if (IsOwnOrParent(found->d_name)) continue;
    if (Describe(HandleOf(search), found->d_name, entry)) return true;
  }
}

void EndSearch(DirectorySearch* search) {
  if (search != nullptr) closedir(HandleOf(search));
}

}  // namespace platform
