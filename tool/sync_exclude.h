// --exclude: shell patterns for what a synchronisation leaves alone. Pure.
//
//   *       any characters but "/"          ?       one character but "/"
//   **      any characters                  [a-z]   one of these; [!a-z] one of the others
//
// A pattern without "/" is compared with the name of a file or folder, wherever it is; one with "/" with the
// path from the roots. A "/" at the end is for folders only, one at the beginning for the roots.
#ifndef TOOL_SYNC_EXCLUDE_H
#define TOOL_SYNC_EXCLUDE_H

#include <string>
#include <string_view>
#include <vector>

namespace tool {

// Whether a pattern takes a file or folder. path: from the roots, with "/" between its parts. ignoresCase: of
// ASCII letters.
bool IsExcluded(std::string_view pattern, std::string_view path, bool isFolder, bool ignoresCase);

class Excludes {
 public:
  Excludes(std::vector<std::string> patterns, bool ignoresCase)
      : patterns_(std::move(patterns)), ignoresCase_(ignoresCase) {}
  bool Take(std::string_view path, bool isFolder) const;

 private:
  std::vector<std::string> patterns_;
  bool ignoresCase_;
};

}  // namespace tool

#endif
