// The files of the folder of saved transfers, one transfer at a time. No locks, no memory of what was read.
#ifndef TOOL_TRANSFER_FILES_H
#define TOOL_TRANSFER_FILES_H

#include <map>
#include <optional>
#include <string>

#include "tool/saved_transfer.h"
#include "tool/store.h"

namespace tool {

// Which files of a transfer stand there.
struct StoredParts {
  bool hasRecord = false;
  bool hasConfiguration = false;
  bool hasClaim = false;
  bool hasLeftovers = false;  // of writes that were killed

  bool IsSaved() const { return hasRecord && (hasConfiguration || hasClaim); }
  bool IsIncomplete() const { return hasRecord ? !hasConfiguration && !hasClaim : hasConfiguration; }
};

class TransferFiles {
 public:
  explicit TransferFiles(std::string folder) : folder_(std::move(folder)) {}

  std::string RecordPath(unsigned number) const { return Path(number, ".vrx"); }
  std::string ConfigurationPath(unsigned number) const { return Path(number, ".conf"); }
  std::string ClaimPath(unsigned number) const { return Path(number, ".claim"); }
  std::string NextPath() const;
  std::string LockPath() const;
  std::string FilesFolder() const;

  // All numbers of the folder. Throws Failure (Disk).
  std::map<unsigned, StoredParts> Scan() const;
  StoredParts PartsOf(unsigned number) const;

  // What the configuration file says, or the claim in its place. Nothing when it is damaged, or gone by now.
  std::optional<SavedTransfer> Read(unsigned number, const StoredParts& parts) const;
  // Which file of a transfer that is not read cannot be, and why.
  DamagedRecord DamageOf(unsigned number, const StoredParts& parts) const;

  // Removes what killed writes left. Throws Failure (Disk).
  void RemoveLeftovers(unsigned number) const;
  void RemoveLeftoverOfNext() const;

 private:
  std::string Path(unsigned number, const char* suffix) const;
  std::string folder_;
};

constexpr unsigned kGreatestTransferNumber = 4000000000u;

}  // namespace tool

#endif
