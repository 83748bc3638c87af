#include "tool/transfer_files.h"

#include <charconv>
#include <string_view>

#include "tool/private_file.h"

namespace tool {
namespace {

constexpr char kLeftoverSuffix[] = ".new";

struct PartSuffix {
  std::string_view suffix;
  bool StoredParts::*part;
};
constexpr PartSuffix kSuffixes[] = {
    {".vrx", &StoredParts::hasRecord},         {".conf", &StoredParts::hasConfiguration},
    {".claim", &StoredParts::hasClaim},        {".vrx.new", &StoredParts::hasLeftovers},
    {".conf.new", &StoredParts::hasLeftovers}, {".claim.new", &StoredParts::hasLeftovers},
};

// The number before the first "."; 0 when there is none, or not as it is written here.
unsigned NumberOf(std::string_view digits) {
  unsigned number = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  const bool isNumber = error == std::errc{} && stop == end && digits.front() != '0';
  return isNumber && number <= kGreatestTransferNumber ? number : 0;
}

void Note(const std::string& name, std::map<unsigned, StoredParts>* all) {
  const std::size_t dot = name.find('.');
  if (dot == std::string::npos) return;
  const std::string_view suffix = std::string_view(name).substr(dot);
  for (const PartSuffix& known : kSuffixes) {
    if (suffix != known.suffix) continue;
    const unsigned number = NumberOf(std::string_view(name).substr(0, dot));
    if (number != 0) (*all)[number].*known.part = true;
    return;
  }
}

}  // namespace

std::string TransferFiles::Path(unsigned number, const char* suffix) const {
  return PathInFolder(folder_, std::to_string(number) + suffix);
}

std::string TransferFiles::NextPath() const {
  return PathInFolder(folder_, "next");
}

std::string TransferFiles::LockPath() const {
  return PathInFolder(folder_, "lock");
}

std::string TransferFiles::FilesFolder() const {
  return PathInFolder(folder_, "files");
}

std::map<unsigned, StoredParts> TransferFiles::Scan() const {
  std::map<unsigned, StoredParts> all;
  for (const std::string& name : NamesInFolder(folder_)) Note(name, &all);
  return all;
}

StoredParts TransferFiles::PartsOf(unsigned number) const {
  // In this order: where a claim has just become a configuration, that is found.
  StoredParts parts;
  parts.hasClaim = IsRegularFile(ClaimPath(number));
  parts.hasConfiguration = IsRegularFile(ConfigurationPath(number));
  parts.hasRecord = IsRegularFile(RecordPath(number));
  return parts;
}

std::optional<SavedTransfer> TransferFiles::Read(unsigned number, const StoredParts& parts) const {
  const bool isConfigured = parts.hasConfiguration;
  return ReadSavedTransfer(isConfigured ? ConfigurationPath(number) : ClaimPath(number), number);
}

DamagedRecord TransferFiles::DamageOf(unsigned number, const StoredParts& parts) const {
  const std::string name = std::to_string(number);
  if (!parts.hasRecord) return {ConfigurationPath(number), name + ".vrx is missing"};
  if (parts.hasConfiguration) return {ConfigurationPath(number), "it is damaged"};
  if (parts.hasClaim) return {ClaimPath(number), "it is damaged"};
  return {RecordPath(number), name + ".conf is missing"};
}

void TransferFiles::RemoveLeftovers(unsigned number) const {
  for (const std::string& path : {RecordPath(number), ConfigurationPath(number), ClaimPath(number)}) {
    RemovePrivateFile(path + kLeftoverSuffix);
  }
}

void TransferFiles::RemoveLeftoverOfNext() const {
  RemovePrivateFile(NextPath() + kLeftoverSuffix);
}

}  // namespace tool
