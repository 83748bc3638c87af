#include "tool/folder_place.h"

#include <algorithm>

#include "tool/console.h"
#include "tool/disk_file.h"
#include "tool/failure.h"

namespace tool {
namespace {

const char* Separators() {
  return console::HasDrives() ? "/\\" : "/";
}

// The folder above; a root for itself.
std::string Above(const std::string& path) {
  const std::size_t separator = path.find_last_of(Separators());
  if (separator == std::string::npos) return path;
  return separator == 0 ? path.substr(0, 1) : path.substr(0, separator);
}

std::string Joined(const std::string& folder, const std::string& rest) {
  if (rest.empty()) return folder;
  return folder.empty() || folder.back() == '/' ? folder + rest : folder + "/" + rest;
}

// Of a path whose last parts may be missing.
std::string PlaceWithoutLinks(const std::string& path) {
  std::string existing = path;
  std::string missing;
  for (;;) {
    const std::string place = PathWithoutLinks(existing);
    if (!place.empty()) return Joined(place, missing);
    const std::string above = Above(existing);
    if (above == existing) return path;
    const std::string name = existing.substr(existing.find_last_of(Separators()) + 1);
    if (!name.empty()) missing = Joined(name, missing);
    existing = above;
  }
}

}  // namespace

std::string PathWithoutParents(const std::string& path) {
  std::string plain;
  for (std::size_t begin = 0; begin < path.size();) {
    const std::size_t end = std::min(path.find_first_of(Separators(), begin), path.size());
    const std::string part = path.substr(begin, end - begin);
    begin = end + 1;
    if (part == "..") {
      const bool isLink = !plain.empty() && DiskFile::KindOf(plain) == DiskFile::Kind::Link;
      const std::string target = isLink ? PathWithoutLinks(plain) : plain;
      if (isLink && target.empty()) throw Failure{ExitCode::NotFound, "\"" + plain + "\" leads nowhere"};
      plain = target.substr(0, target.rfind('/') == std::string::npos ? 0 : target.rfind('/'));
    } else if (!part.empty() && part != ".") {
      plain += (plain.empty() && console::HasDrives() ? "" : "/") + part;
    }
  }
  return plain.empty() ? "/" : plain;
}

std::optional<std::string> PlaceInFolder(const std::string& folder, const std::string& path) {
  const auto wanted = IdentityOfFolder(folder);
  if (!wanted) return std::nullopt;
  const std::string place = PlaceWithoutLinks(path);
  for (std::string above = place;; above = Above(above)) {
    if (IdentityOfFolder(above) == wanted) {
      const std::string rest = place.substr(above.size());
      return rest.substr(std::min(rest.find_first_not_of(Separators()), rest.size()));
    }
    if (Above(above) == above) return std::nullopt;
  }
}

}  // namespace tool
