// Directory searches.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

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

// Where an entry is looked for: by its own name within an open directory, or by its path.
struct Place {
  int directory;
  const char* name;
};

Place PlaceOf(DirectorySearch* parent, const char* path) {
  const char* separator = strrchr(path, '/');
  if (parent == nullptr) return {AT_FDCWD, path};
  return {dirfd(HandleOf(parent)), separator != nullptr ? separator + 1 : path};
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

DirectorySearch* BeginSearchIn(DirectorySearch* parent, const char* path) {
  const Place place = PlaceOf(parent, path);
  const int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  const int descriptor = openat(place.directory, place.name, flags);
  if (descriptor < 0) return nullptr;
  DIR* directory = fdopendir(descriptor);
  if (directory != nullptr) return reinterpret_cast<DirectorySearch*>(directory);
  const int error = errno;
  close(descriptor);
  errno = error;
  return nullptr;
}

bool RemoveEmptyDirectoryIn(DirectorySearch* parent, const char* path) {
  const Place place = PlaceOf(parent, path);
  return unlinkat(place.directory, place.name, AT_REMOVEDIR) == 0;
}

bool RemoveFileIn(DirectorySearch* parent, const char* path) {
  const Place place = PlaceOf(parent, path);
  return RemoveFileAt(place.directory, place.name);
}

bool RemoveLinkIn(DirectorySearch* parent, const char* path) {
  const Place place = PlaceOf(parent, path);
  return unlinkat(place.directory, place.name, 0) == 0;
}

void EndSearch(DirectorySearch* search) {
  if (search != nullptr) closedir(HandleOf(search));
}

}  // namespace platform
