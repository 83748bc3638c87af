// Where a folder really is: links are followed, and folders are told apart by what the system knows of them.
//
// Paths are the system's, from a root. The bodies are in folder_place.cpp, posix/folder_place.cpp and
// win32/folder_place.cpp.
#ifndef TOOL_FOLDER_PLACE_H
#define TOOL_FOLDER_PLACE_H

#include <cstdint>
#include <optional>
#include <string>

namespace tool {

// The same for two paths of one folder.
struct FolderIdentity {
  std::uint64_t device = 0;
  std::uint64_t number = 0;
  bool operator==(const FolderIdentity&) const = default;
};

// Nothing when there is no such folder, or it cannot be asked.
std::optional<FolderIdentity> IdentityOfFolder(const std::string& path);

// The path without links, with "/" between its parts. Empty when nothing stands there.
std::string PathWithoutLinks(const std::string& path);

// The path without "..": where a link stands before it, the folder above the one that the link leads to.
std::string PathWithoutParents(const std::string& path);

// The path of what is in a folder, from that folder, with "/" between its parts; empty for the folder itself.
// Nothing when it is not in it. path: its last parts may be missing.
std::optional<std::string> PlaceInFolder(const std::string& folder, const std::string& path);

}  // namespace tool

#endif
