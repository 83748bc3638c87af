#include "tool/transfer_index.h"

#include <algorithm>

namespace tool {

void TransferIndex::Put(const SavedTransfer& transfer) {
  Erase(transfer.number);
  byNumber_[transfer.number] = {transfer.isUpload, transfer.url, transfer.localPath};
  byPath_.emplace(transfer.localPath, transfer.number);
}

void TransferIndex::Erase(unsigned number) {
  const auto entry = byNumber_.find(number);
  if (entry == byNumber_.end()) return;
  const auto [first, last] = byPath_.equal_range(entry->second.localPath);
  byPath_.erase(std::find_if(first, last, [&](const auto& other) { return other.second == number; }));
  byNumber_.erase(entry);
}

void TransferIndex::Clear() {
  byNumber_.clear();
  byPath_.clear();
}

std::vector<unsigned> TransferIndex::Find(bool isUpload, const std::string& url,
                                          const std::string& localPath) const {
  std::vector<unsigned> found;
  const auto [first, last] = byPath_.equal_range(localPath);
  for (auto place = first; place != last; ++place) {
    const Entry& entry = byNumber_.at(place->second);
    if (entry.isUpload == isUpload && entry.url == url) found.push_back(place->second);
  }
  std::sort(found.begin(), found.end());
  return found;
}

std::vector<unsigned> TransferIndex::FindTarget(const std::string& localPath) const {
  std::vector<unsigned> found;
  const auto [first, last] = byPath_.equal_range(localPath);
  for (auto place = first; place != last; ++place) {
    if (!byNumber_.at(place->second).isUpload) found.push_back(place->second);
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace tool
