// Folders and their places on POSIX systems.
#include "tool/folder_place.h"

#include <sys/stat.h>

#include <cstdlib>
#include <memory>

namespace tool {

std::optional<FolderIdentity> IdentityOfFolder(const std::string& path) {
  struct stat state {};
  if (stat(path.c_str(), &state) != 0 || !S_ISDIR(state.st_mode)) return std::nullopt;
  return FolderIdentity{state.st_dev, state.st_ino};
}

std::string PathWithoutLinks(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> place(realpath(path.c_str(), nullptr), std::free);
  return place ? place.get() : "";
}

}  // namespace tool
