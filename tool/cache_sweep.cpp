#include "tool/cache_sweep.h"

#include <cstdint>
#include <set>
#include <string_view>

#include "qz/error.h"
#include "qz/file.h"
#include "qz/time.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/private_file.h"
#include "tool/record.h"

namespace tool {
namespace {

constexpr std::string_view kPrefixes[] = {"vrxData", "info"};
constexpr std::string_view kDigits = "0123456789";
constexpr std::uint64_t kShortestAgeSeconds = 3600;

bool IsOfTheLibrary(std::string_view name) {
  for (const std::string_view prefix : kPrefixes) {
    const bool begins = name.substr(0, prefix.size()) == prefix && name.size() > prefix.size();
    if (begins && name.find_first_not_of(kDigits, prefix.size()) == std::string_view::npos) return true;
  }
  return false;
}

// A file that somebody has just made may not be in a record yet.
bool IsOld(const std::string& path) {
  FileState state;
  if (File_GetState(console::ToLibraryName(path).c_str(), &state) != Error_None) return false;
  Time now;
  Time_Get(&now);
  return state.exists != 0 && now.seconds > state.modificationTime.seconds + kShortestAgeSeconds;
}

std::vector<std::string> Candidates(const std::string& folder) {
  std::vector<std::string> names;
  for (const std::string& name : NamesInFolder(folder)) {
    const std::string path = PathInFolder(folder, name);
    if (IsOfTheLibrary(name) && IsRegularFile(path) && IsOld(path)) names.push_back(name);
  }
  return names;
}

void AddNames(std::string_view record, std::set<std::string>* names) {
  for (const std::string_view prefix : kPrefixes) {
    for (std::size_t at = record.find(prefix); at != record.npos; at = record.find(prefix, at + 1)) {
      const std::size_t end = record.find_first_not_of(kDigits, at + prefix.size());
      names->emplace(record.substr(at, end == record.npos ? end : end - at));
    }
  }
}

// False when the record cannot be read: its names may be other ones than its bytes have.
bool AddNamesOfRecord(const std::string& path, std::set<std::string>* names) {
  try {
    const std::optional<std::string> record = ReadPrivateFile(path);
    if (!record) return false;
    ReadRecord(*record);
    AddNames(*record, names);
    return true;
  } catch (const Failure&) {
    return false;
  }
}

// A name that is the beginning of another one counts as named, too.
bool IsNamed(const std::string& name, const std::set<std::string>& names) {
  const auto place = names.lower_bound(name);
  return place != names.end() && place->compare(0, name.size(), name) == 0;
}

}  // namespace

void SweepFolder(const std::string& folder, const std::vector<std::string>& recordPaths) {
  const std::vector<std::string> candidates = Candidates(folder);
  if (candidates.empty()) return;
  std::set<std::string> names;
  for (const std::string& path : recordPaths) {
    if (!AddNamesOfRecord(path, &names)) return;
  }
  for (const std::string& name : candidates) {
    if (!IsNamed(name, names)) RemovePrivateFile(PathInFolder(folder, name));
  }
}

}  // namespace tool
