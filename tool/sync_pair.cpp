#include "tool/sync_pair.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "qz/synchro.h"
#include "tool/text.h"

namespace tool {
namespace {

struct ModeRow {
  const char* name;
  std::uint32_t flags;
};

// In the order of SyncMode. No other sets of flags: the others lose files.
constexpr std::array<ModeRow, 5> kModes = {{
    {"copy", SynchroFlag_ToDestination},
    {"delete", SynchroFlag_ToDestination | SynchroFlag_DeleteAtDestination},
    {"reverse", SynchroFlag_ToSource},
    {"reverse-delete", SynchroFlag_ToSource | SynchroFlag_DeleteAtSource},
    {"two-way", SynchroFlag_ToDestination | SynchroFlag_ToSource},
}};

const ModeRow& RowOf(SyncMode mode) {
  return kModes[static_cast<std::size_t>(mode)];
}

bool IsNameByte(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_' ||
         c == '.';
}

// The last part of a path or URL, with the bytes that every file name may have.
std::string ShortPart(std::string_view text) {
  constexpr std::size_t kLongest = 20;
  while (!text.empty() && (text.back() == '/' || text.back() == '\\')) text.remove_suffix(1);
  text.remove_prefix(text.find_last_of("/\\") + 1);
  std::string part;
  for (const char c : text.substr(0, kLongest)) part += IsNameByte(c) && c != '.' ? c : '_';
  return part.empty() ? "root" : part;
}

// FNV-1a, 64 bits.
std::uint64_t HashOf(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  return hash;
}

}  // namespace

SyncMode SyncModeOf(bool deletes, bool isReverse, bool isTwoWay) {
  if (isTwoWay) return SyncMode::TwoWay;
  if (isReverse) return deletes ? SyncMode::ReverseDelete : SyncMode::Reverse;
  return deletes ? SyncMode::Delete : SyncMode::Copy;
}

std::uint32_t FlagsOf(SyncMode mode, bool isRecursive) {
  return RowOf(mode).flags | (isRecursive ? SynchroFlag_Recurse : 0u);
}

const char* NameOf(SyncMode mode) {
  return RowOf(mode).name;
}

bool DeletesGone(SyncMode mode) {
  return (RowOf(mode).flags & (SynchroFlag_DeleteAtSource | SynchroFlag_DeleteAtDestination)) != 0;
}

bool CopiesFromSource(SyncMode mode) {
  return (RowOf(mode).flags & SynchroFlag_ToDestination) != 0;
}

bool CopiesFromDestination(SyncMode mode) {
  return (RowOf(mode).flags & SynchroFlag_ToSource) != 0;
}

std::string PairText(const std::string& source, const std::string& destination, SyncMode mode) {
  return source + " -> " + destination + " (" + NameOf(mode) + ")";
}

std::string DefaultSyncName(const std::string& source, const std::string& destination, SyncMode mode) {
  // The lengths keep "a b" and "c" apart from "a" and "b c".
  const std::string exact = std::to_string(source.size()) + " " + source + " " + destination;
  char hash[24];
  std::snprintf(hash, sizeof hash, "%016llx", static_cast<unsigned long long>(HashOf(exact)));
  return ShortPart(source) + "-" + ShortPart(destination) + "-" + NameOf(mode) + "-" + hash;
}

bool IsSyncName(const std::string& name) {
  constexpr std::size_t kLongest = 100;
  return !name.empty() && name.size() <= kLongest && name.front() != '.' && name.front() != '-' &&
         std::all_of(name.begin(), name.end(), IsNameByte) && SafeFileName(name) == name;
}

std::string PlainPath(std::string_view path, char separator) {
  std::vector<std::string_view> parts;
  const auto isSeparator = [separator](char c) { return c == '/' || (separator != 0 && c == separator); };
  for (std::size_t begin = 0; begin < path.size();) {
    const auto* const end = std::find_if(path.data() + begin, path.data() + path.size(), isSeparator);
    const auto length = static_cast<std::size_t>(end - path.data()) - begin;
    const std::string_view part = path.substr(begin, length);
    begin += length + 1;
    if (part == ".." && !parts.empty()) parts.pop_back();
    if (!part.empty() && part != "." && part != "..") parts.push_back(part);
  }
  std::string plain;
  for (const std::string_view part : parts) plain.append("/").append(part);
  return plain.empty() ? "/" : plain;
}

std::optional<std::string> PathBelow(const std::string& folder, const std::string& path) {
  const std::string start = folder.back() == '/' ? folder : folder + "/";
  if (path.size() <= start.size() || path.compare(0, start.size(), start) != 0) return std::nullopt;
  return path.substr(start.size());
}

bool Overlap(const std::string& one, const std::string& other) {
  return one == other || PathBelow(one, other) || PathBelow(other, one);
}

ForcedName ParseForced(const std::string& text) {
  constexpr std::string_view kSource = "source:";
  constexpr std::string_view kDestination = "destination:";
  if (text.compare(0, kSource.size(), kSource) == 0)
    return {text.substr(kSource.size()), SyncSideName::Source};
  if (text.compare(0, kDestination.size(), kDestination) == 0)
    return {text.substr(kDestination.size()), SyncSideName::Destination};
  return {text, std::nullopt};
}

std::optional<SyncSideName> WinnerOf(const ForcedName& forced, SyncMode mode) {
  const bool fromSource = CopiesFromSource(mode);
  const bool fromDestination = CopiesFromDestination(mode);
  if (!forced.side) {
    if (fromSource && fromDestination) return std::nullopt;
    return fromSource ? SyncSideName::Source : SyncSideName::Destination;
  }
  const bool isPossible = *forced.side == SyncSideName::Source ? fromSource : fromDestination;
  return isPossible ? forced.side : std::nullopt;
}

}  // namespace tool
