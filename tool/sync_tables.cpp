#include "tool/sync_tables.h"

#include <optional>

#include "tool/data_folder.h"
#include "tool/failure.h"
#include "tool/private_file.h"

namespace tool {
namespace {

constexpr const char* kVariable = "QZ_SYNC";
constexpr const char* kFolder = "sync";

}  // namespace

SyncTables::SyncTables(const std::string& name, const std::string& pair, bool mayChange)
    : name_(name),
      pair_(pair + "\n"),
      folder_(mayChange ? MadeDataFolder(kVariable, kFolder) : DataFolder(kVariable, kFolder)) {
  Lock(mayChange);
  CheckPair();
}

std::string SyncTables::IndexPath() const {
  return PathOf(".sync");
}

bool SyncTables::AreKnown() const {
  return IsRegularFile(IndexPath());
}

bool SyncTables::HasLeftovers() const {
  return IsRegularFile(PathOf(".xfer"));
}

std::string SyncTables::PathOf(const char* ending) const {
  return PathInFolder(folder_, name_ + ending);
}

// Where there is no lock yet, nobody has the name.
void SyncTables::Lock(bool mayChange) {
  const std::string path = PathOf(".lock");
  if (!mayChange && !IsRegularFile(path)) return;
  lock_ = std::make_unique<LockFile>(path);
  if (lock_->TryLock(0, mayChange ? LockFile::Kind::Exclusive : LockFile::Kind::Shared)) return;
  throw Failure{ExitCode::Other,
                "another qz sync with the name \"" + name_ + "\" is running; nothing was done"};
}

void SyncTables::Claim() const {
  const std::string path = PathOf(".pair");
  if (!IsRegularFile(path)) WritePrivateFile(path, pair_, false);
}

void SyncTables::CheckPair() const {
  const std::string path = PathOf(".pair");
  const std::optional<std::string> known = ReadPrivateFile(path);
  if (!known || *known == pair_) return;
  throw Failure{ExitCode::Usage, "the name \"" + name_ + "\" belongs to " +
                                     known->substr(0, known->find_last_not_of('\n') + 1) +
                                     "; choose another --name, or remove \"" + path +
                                     "\" when its tables are to serve these folders"};
}

}  // namespace tool
