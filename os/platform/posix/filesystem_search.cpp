// Directory searches.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "os/platform/filesystem.h"
#include "os/platform/posix/descriptor_posix.h"
#include "os/platform/posix/filesystem_posix.h"
#include "os/platform/posix/filesystem_testing.h"

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

enum class Description { Complete, Gone, Unknown };

// What there is to tell of an entry. A directory that may be read but not entered still tells what is a
// directory and what is a link, on most file systems; not what a link leads to.
Description Describe(DIR* directory, const struct dirent& found, FileInformation* information) {
  if (GetInformationAt(dirfd(directory), found.d_name, information)) return Description::Complete;
  if (errno == ENOENT) return Description::Gone;
  *information = {};
  information->isDirectory = found.d_type == DT_DIR;
  information->isLink = found.d_type == DT_LNK;
  information->isSpecial = found.d_type != DT_REG && !information->isDirectory && !information->isLink;
  return found.d_type != DT_UNKNOWN ? Description::Complete : Description::Unknown;
}

DirectorySearch* Open(const Place& place, int extraFlags) {
  const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | extraFlags;
  const int descriptor = AboveStandardStreams(openat(place.directory, place.name, flags));
  if (descriptor < 0) return nullptr;
  DIR* directory = fdopendir(descriptor);
  if (directory != nullptr) return reinterpret_cast<DirectorySearch*>(directory);
  const int error = errno;
  close(descriptor);
  errno = error;
  return nullptr;
}

}  // namespace

dirent* (*readEntry)(DIR*) = readdir;

DirectorySearch* BeginSearch(const char* directory) {
  DirectorySearch* opened = Open({AT_FDCWD, directory}, 0);
  if (opened == nullptr && errno == ELOOP) errno = ENOENT;  // links that lead to each other lead nowhere
  return opened;
}

bool NextEntry(DirectorySearch* search, DirectoryEntry* entry) {
  for (;;) {
    errno = 0;
    const struct dirent* found = readEntry(HandleOf(search));
    if (found == nullptr) return false;
    if (IsOwnOrParent(found->d_name)) continue;
    const Description description = Describe(HandleOf(search), *found, &entry->information);
    if (description == Description::Gone) continue;
    if (description == Description::Unknown) return false;
    memcpy(entry->name, found->d_name, strlen(found->d_name) + 1);
    return true;
  }
}

DirectorySearch* BeginSearchIn(DirectorySearch* parent, const char* path) {
  return Open(PlaceOf(parent, path), O_NOFOLLOW);
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
