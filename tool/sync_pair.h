// What a synchronisation is told by its command line: both sides, the mode, the name. Pure.
#ifndef TOOL_SYNC_PAIR_H
#define TOOL_SYNC_PAIR_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

enum class SyncMode { Copy, Delete, Reverse, ReverseDelete, TwoWay };

SyncMode SyncModeOf(bool deletes, bool isReverse, bool isTwoWay);
// The library's flags.
std::uint32_t FlagsOf(SyncMode mode, bool isRecursive);
// "copy", "delete", "reverse", "reverse-delete", "two-way".
const char* NameOf(SyncMode mode);
bool DeletesGone(SyncMode mode);
// Whether files are copied from the source, or from the destination.
bool CopiesFromSource(SyncMode mode);
bool CopiesFromDestination(SyncMode mode);

// "source -> destination (mode)": what the tables of a name belong to. The sides are without passwords.
std::string PairText(const std::string& source, const std::string& destination, SyncMode mode);

// The default name of a pair: the same for the same texts, safe as a file name on every system.
std::string DefaultSyncName(const std::string& source, const std::string& destination, SyncMode mode);
// Whether a name may be given by hand: up to 100 letters, digits, "-", "_" and ".", and no device.
bool IsSyncName(const std::string& name);

// A path without ".", ".." and "/" at its end; it begins at a root. separator: a second one beside "/", or 0.
std::string PlainPath(std::string_view path, char separator);
// Whether the paths are the same, or one is in the other.
bool Overlap(const std::string& one, const std::string& other);
// What comes behind the folder's path; nothing when the path is not in it.
std::optional<std::string> PathBelow(const std::string& folder, const std::string& path);

enum class SyncSideName { Source, Destination };

// An argument of --force: NAME, source:NAME or destination:NAME. side: whose file is kept.
struct ForcedName {
  std::string path;
  std::optional<SyncSideName> side;
};
ForcedName ParseForced(const std::string& text);
// The side whose file is kept: the one that the mode copies from. Nothing when the name does not tell it, or
// tells one that the mode does not copy from.
std::optional<SyncSideName> WinnerOf(const ForcedName& forced, SyncMode mode);

}  // namespace tool

#endif
