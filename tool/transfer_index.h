// Which saved transfers have a URL and a local path.
#ifndef TOOL_TRANSFER_INDEX_H
#define TOOL_TRANSFER_INDEX_H

#include <map>
#include <string>
#include <vector>

#include "tool/saved_transfer.h"

namespace tool {

class TransferIndex {
 public:
  // Adds a transfer, in the place of the one with its number.
  void Put(const SavedTransfer& transfer);
  void Erase(unsigned number);
  void Clear();

  // Numbers in ascending order.
  std::vector<unsigned> Find(bool isUpload, const std::string& url, const std::string& localPath) const;
  std::vector<unsigned> FindTarget(const std::string& localPath) const;

 private:
  struct Entry {
    bool isUpload;
    std::string url;
    std::string localPath;
  };
  std::map<unsigned, Entry> byNumber_;
  std::multimap<std::string, unsigned> byPath_;
};

}  // namespace tool

#endif
