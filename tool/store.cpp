// The folder of saved transfers. A transfer begins as N.claim, which its first Save replaces; it ends the
// same way back. So a program that is killed at any moment leaves a whole transfer, or none.
#include "tool/store.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/vrxclientsystem.h"
#include "tool/cache_sweep.h"
#include "tool/console.h"
#include "tool/data_folder.h"
#include "tool/failure.h"
#include "tool/private_file.h"
#include "tool/transfer_files.h"
#include "tool/transfer_index.h"

namespace tool {
namespace {

using Kind = LockFile::Kind;

constexpr std::uint32_t kFolderByte = 0;
constexpr std::uint32_t kProgramsByte = 1;
constexpr std::uint32_t kFirstTransferByte = 16;

std::uint32_t ByteOf(unsigned number) {
  return kFirstTransferByte + number;
}

// Data and log files of other folders of saved transfers lie elsewhere, so no sweep but the own one meets
// them. Without the transfer system there are none.
void UseFilesFolder(const std::string& folder) {
  MakePrivateFolder(folder);
  const ErrorCode status = VRXClientSystem_SetFileDirectory(console::ToLibraryName(folder).c_str());
  if (status == Error_None || status == Error_NotInited) return;
  throw Failure{ExitCode::Disk,
                std::string("cannot keep files in \"") + folder + "\": " + Error_ToString(status)};
}

// Holds a byte of the lock file, which waits for other programs.
class ByteLock {
 public:
  ByteLock(LockFile* file, std::uint32_t byte) : file_(file), byte_(byte) {
    file_->Lock(byte_, Kind::Exclusive);
  }
  ~ByteLock() { file_->Unlock(byte_); }
  ByteLock(const ByteLock&) = delete;
  ByteLock& operator=(const ByteLock&) = delete;

 private:
  LockFile* file_;
  std::uint32_t byte_;
};

// The right of the only program that runs, while this object lives. Other programs that start wait.
class AloneInFolder {
 public:
  explicit AloneInFolder(LockFile* file) : file_(file) {
    file_->Unlock(kProgramsByte);
    isAlone_ = file_->TryLock(kProgramsByte, Kind::Exclusive);
  }
  ~AloneInFolder() {
    if (isAlone_) file_->Unlock(kProgramsByte);
    try {
      file_->Lock(kProgramsByte, Kind::Shared);
    } catch (...) {
      // The program is about to end.
    }
  }
  AloneInFolder(const AloneInFolder&) = delete;
  AloneInFolder& operator=(const AloneInFolder&) = delete;

  bool IsAlone() const { return isAlone_; }

 private:
  LockFile* file_;
  bool isAlone_;
};

// What this object knows of a transfer that it has claimed.
struct Held {
  bool hasClaimFile = false;
  std::optional<std::string> record;         // as it was last written
  std::optional<std::string> configuration;  // the same
};

unsigned HighestNumber(const std::map<unsigned, StoredParts>& all) {
  return all.empty() ? 0 : all.rbegin()->first;
}

}  // namespace

struct Store::State {
  explicit State(const std::string& folder) : files(folder), lock(files.LockPath()) {
    lock.Lock(kProgramsByte, Kind::Shared);
  }

  bool IsTaken(unsigned number);
  bool Hold(unsigned number);
  Held& HeldOf(unsigned number);
  void Release(unsigned number);

  std::optional<unsigned> ReadNext() const;
  void WriteNext(unsigned number);
  void ReadEverything(unsigned storedNext);
  void ReadAdditions();
  void Note(unsigned number, StoredParts parts);
  std::optional<SavedTransfer> CurrentState(unsigned number);
  std::optional<SavedTransfer> FirstThatStands(const std::vector<unsigned>& numbers);
  unsigned ClaimNextNumber();

  std::optional<SavedTransfer> ReadCarefully(unsigned number, std::optional<DamagedRecord>* damage);
  void SaveRecord(const SavedTransfer& transfer, const std::string& record, Held* own);
  void SaveConfiguration(const SavedTransfer& transfer, Held* own);
  void RemoveUselessClaim(unsigned number) const;
  void RemoveLeftovers(unsigned number, const StoredParts& parts) const;
  void SweepTransfer(unsigned number, const StoredParts& parts);
  void SweepEverything();

  TransferFiles files;
  LockFile lock;
  std::mutex heldMutex;           // for held, and for the bytes of transfers
  std::map<unsigned, Held> held;  // an entry is used by the thread that has the claim
  std::mutex indexMutex;          // for what follows, and for the folder's byte; taken before heldMutex
  TransferIndex index;            // the transfers with numbers below next, as they once were
  unsigned next = 0;              // 0: the folder was not read yet
  bool isNextWritten = false;     // whether the file of the next number is good
};

// ---- claims ----

bool Store::State::IsTaken(unsigned number) {
  const std::lock_guard guard(heldMutex);
  return held.contains(number) || lock.IsLockedElsewhere(ByteOf(number));
}

bool Store::State::Hold(unsigned number) {
  const std::lock_guard guard(heldMutex);
  if (held.contains(number) || !lock.TryLock(ByteOf(number), Kind::Exclusive)) return false;
  held[number] = {};
  return true;
}

Held& Store::State::HeldOf(unsigned number) {
  const std::lock_guard guard(heldMutex);
  const auto own = held.find(number);
  if (own == held.end()) throw std::logic_error("a saved transfer is changed without a claim");
  return own->second;
}

// What was never saved leaves nothing behind.
void Store::State::Release(unsigned number) {
  const Held& own = HeldOf(number);
  if (own.hasClaimFile && !own.record) RemoveUselessClaim(number);
  const std::lock_guard guard(heldMutex);
  lock.Unlock(ByteOf(number));
  held.erase(number);
}

// ---- numbers and the index; under its mutex and the folder's byte ----

std::optional<unsigned> Store::State::ReadNext() const {
  const std::optional<std::string> bytes = ReadPrivateFile(files.NextPath());
  unsigned number = 0;
  if (!bytes || bytes->empty() || bytes->back() != '\n') return std::nullopt;
  const char* end = bytes->data() + bytes->size() - 1;
  const auto [stop, error] = std::from_chars(bytes->data(), end, number);
  const bool isNumber = error == std::errc{} && stop == end && number > 0;
  return isNumber ? std::optional(number) : std::nullopt;
}

// A transfer that is saved for the first time during one listing may be missing there, but in no other one.
void Store::State::ReadEverything(unsigned storedNext) {
  std::map<unsigned, StoredParts> all = files.Scan();
  all.merge(files.Scan());
  index.Clear();
  for (const auto& [number, parts] : all) Note(number, parts);
  next = std::max({HighestNumber(all) + 1, storedNext, next});
}

// Numbers only grow: the new text covers the old one.
void Store::State::WriteNext(unsigned number) {
  const std::string text = std::to_string(number) + "\n";
  if (isNextWritten) {
    OverwritePrivateFile(files.NextPath(), text);
  } else {
    WritePrivateFile(files.NextPath(), text, false);
  }
  isNextWritten = true;
  next = number;
}

// What other programs have added has numbers from next on.
void Store::State::ReadAdditions() {
  const std::optional<unsigned> storedNext = ReadNext();
  isNextWritten = storedNext.has_value();
  if (next == 0 || !storedNext || *storedNext < next) return ReadEverything(storedNext.value_or(1));
  for (; next < *storedNext; next++) Note(next, files.PartsOf(next));
}

// The claim becomes the configuration when the transfer is saved for the first time, maybe at this moment.
void Store::State::Note(unsigned number, StoredParts parts) {
  constexpr unsigned kAttempts = 3;
  for (unsigned attempt = 1; attempt <= kAttempts; attempt++) {
    if (parts.hasConfiguration || parts.hasClaim) {
      const std::optional<SavedTransfer> transfer = files.Read(number, parts);
      if (transfer) return index.Put(*transfer);
    }
    parts = files.PartsOf(number);
  }
}

// The transfer as it is now, when it is saved or about to be. It may be saved at this moment.
std::optional<SavedTransfer> Store::State::CurrentState(unsigned number) {
  constexpr unsigned kAttempts = 3;
  for (unsigned attempt = 1; attempt <= kAttempts; attempt++) {
    const bool isTaken = IsTaken(number);
    std::optional<DamagedRecord> damage;
    std::optional<SavedTransfer> transfer = ReadCarefully(number, &damage);
    if (transfer || damage) return transfer;
    const StoredParts parts = files.PartsOf(number);
    const bool isSavedNow = parts.hasRecord || parts.hasConfiguration;
    if (!isSavedNow && !(parts.hasClaim && isTaken)) return std::nullopt;
    if (!isSavedNow) transfer = files.Read(number, parts);
    if (transfer) return transfer;
  }
  return std::nullopt;
}

// Others may have removed what the index has.
std::optional<SavedTransfer> Store::State::FirstThatStands(const std::vector<unsigned>& numbers) {
  for (const unsigned number : numbers) {
    if (std::optional<SavedTransfer> transfer = CurrentState(number)) return transfer;
    index.Erase(number);
  }
  return std::nullopt;
}

// That the number was used is written before it is.
unsigned Store::State::ClaimNextNumber() {
  for (;;) {
    const StoredParts parts = files.PartsOf(next);
    if (parts.hasRecord || parts.hasConfiguration || parts.hasClaim) ReadEverything(next);
    const unsigned number = next;
    if (number > kGreatestTransferNumber) {
      throw Failure{ExitCode::Other, "there are no numbers left for transfers"};
    }
    WriteNext(number + 1);
    if (Hold(number)) return number;
  }
}

// ---- one transfer ----

// Files of a transfer that somebody has may change at this moment, one after the other: what looks damaged is
// looked at again.
std::optional<SavedTransfer> Store::State::ReadCarefully(unsigned number,
                                                         std::optional<DamagedRecord>* damage) {
  constexpr unsigned kAttempts = 6;
  constexpr unsigned kPauseMilliseconds = 5;
  bool mayChange = true;
  for (unsigned attempt = 1;; attempt++) {
    const StoredParts parts = files.PartsOf(number);
    if (!parts.hasRecord && !parts.hasConfiguration) return std::nullopt;
    if (parts.IsSaved()) {
      if (std::optional<SavedTransfer> transfer = files.Read(number, parts)) return transfer;
    }
    if (!mayChange || attempt == kAttempts) {
      *damage = files.DamageOf(number, parts);
      return std::nullopt;
    }
    mayChange = IsTaken(number);
    if (mayChange) console::Pause(kPauseMilliseconds);
  }
}

void Store::State::SaveRecord(const SavedTransfer& transfer, const std::string& record, Held* own) {
  if (own->record == record) return;
  WritePrivateFile(files.RecordPath(transfer.number), record, transfer.isSynchronised);
  own->record = record;
  if (own->hasClaimFile) own->configuration.reset();
}

// A transfer without a record is none yet.
void Store::State::SaveConfiguration(const SavedTransfer& transfer, Held* own) {
  std::string text = FormatSavedTransfer(transfer);
  if (own->configuration == text) return;
  const bool isClaimOnly = own->hasClaimFile && !own->record;
  const unsigned number = transfer.number;
  WritePrivateFile(isClaimOnly ? files.ClaimPath(number) : files.ConfigurationPath(number), text,
                   transfer.isSynchronised);
  own->configuration = std::move(text);
  if (own->hasClaimFile && !isClaimOnly) {
    own->hasClaimFile = false;
    RemoveUselessClaim(number);
  }
}

// Beside the configuration, or without a record, a claim counts for nothing.
void Store::State::RemoveUselessClaim(unsigned number) const {
  try {
    RemovePrivateFile(files.ClaimPath(number));
  } catch (const Failure&) {
    // A later sweep removes it.
  }
}

// A claim beside a record is all that a kill has left of the configuration; any other claim is of no use.
void Store::State::RemoveLeftovers(unsigned number, const StoredParts& parts) const {
  files.RemoveLeftovers(number);
  if (!parts.hasClaim) return;
  if (parts.hasConfiguration || !parts.hasRecord) return RemovePrivateFile(files.ClaimPath(number));
  if (files.Read(number, parts)) RenamePrivateFile(files.ClaimPath(number), files.ConfigurationPath(number));
}

void Store::State::SweepTransfer(unsigned number, const StoredParts& parts) {
  if (!parts.hasLeftovers && !parts.hasClaim) return;
  if (!Hold(number)) return;
  try {
    RemoveLeftovers(number, parts);
  } catch (const Failure&) {
    // What cannot be removed stays.
  }
  Release(number);
}

// Only while no other program runs.
void Store::State::SweepEverything() {
  for (const auto& [number, parts] : files.Scan()) SweepTransfer(number, parts);
  files.RemoveLeftoverOfNext();
  std::vector<std::string> records;
  for (const auto& [number, parts] : files.Scan()) {
    if (parts.IsIncomplete()) return;
    if (parts.hasRecord) records.push_back(files.RecordPath(number));
  }
  SweepFolder(files.FilesFolder(), records);
}

// ---- the store ----

Claim::~Claim() {
  store_->Release(number_);
}

Store::Store()
    : folder_(MadeDataFolder("QZ_TRANSFERS", "transfers")), state_(std::make_unique<State>(folder_)) {
  UseFilesFolder(state_->files.FilesFolder());
}

Store::~Store() = default;

StoreListing Store::List() {
  StoreListing listing;
  for (const auto& [number, parts] : state_->files.Scan()) {
    std::optional<SavedTransfer> transfer;
    std::optional<DamagedRecord> damage;
    if (parts.hasRecord && parts.hasConfiguration) transfer = state_->files.Read(number, parts);
    if (!transfer) transfer = state_->ReadCarefully(number, &damage);
    if (transfer) listing.transfers.push_back(std::move(*transfer));
    if (damage) listing.damaged.push_back(std::move(*damage));
  }
  return listing;
}

std::optional<SavedTransfer> Store::Find(unsigned number) {
  std::optional<DamagedRecord> damage;
  std::optional<SavedTransfer> transfer = state_->ReadCarefully(number, &damage);
  if (damage) throw Failure{ExitCode::Other, "cannot read \"" + damage->path + "\": " + damage->why};
  return transfer;
}

std::optional<SavedTransfer> Store::Find(bool isUpload, const std::string& url,
                                         const std::string& localPath) {
  const std::lock_guard guard(state_->indexMutex);
  const ByteLock folderLock(&state_->lock, kFolderByte);
  state_->ReadAdditions();
  return state_->FirstThatStands(state_->index.Find(isUpload, url, localPath));
}

std::unique_ptr<Claim> Store::Take(unsigned number) {
  if (number == 0 || number > kGreatestTransferNumber || !state_->Hold(number)) return nullptr;
  return std::make_unique<Claim>(this, number);
}

bool Store::IsTaken(unsigned number) {
  return state_->IsTaken(number);
}

std::unique_ptr<Claim> Store::Create(bool isUpload, const std::string& url, const std::string& localPath,
                                     std::optional<SavedTransfer>* found) {
  const std::lock_guard guard(state_->indexMutex);
  const ByteLock folderLock(&state_->lock, kFolderByte);
  state_->ReadAdditions();
  *found = state_->FirstThatStands(state_->index.Find(isUpload, url, localPath));
  if (!*found && !isUpload) *found = state_->FirstThatStands(state_->index.FindTarget(localPath));
  if (*found) return nullptr;
  SavedTransfer transfer;
  transfer.isUpload = isUpload;
  transfer.url = url;
  transfer.localPath = localPath;
  transfer.number = state_->ClaimNextNumber();
  auto claim = std::make_unique<Claim>(this, transfer.number);
  state_->index.Put(transfer);
  CreatePrivateFile(state_->files.ClaimPath(transfer.number), FormatSavedTransfer(transfer));
  state_->HeldOf(transfer.number).hasClaimFile = true;
  return claim;
}

void Store::Save(const SavedTransfer& transfer, const std::string& record) {
  Held& own = state_->HeldOf(transfer.number);
  state_->SaveRecord(transfer, record, &own);
  state_->SaveConfiguration(transfer, &own);
}

void Store::Save(const SavedTransfer& transfer) {
  state_->SaveConfiguration(transfer, &state_->HeldOf(transfer.number));
}

std::optional<std::string> Store::ReadRecord(unsigned number) {
  return ReadPrivateFile(state_->files.RecordPath(number));
}

// In this order, a program that is killed in between leaves the whole transfer or a claim.
void Store::Remove(unsigned number) {
  Held& own = state_->HeldOf(number);
  const bool isClaimOnly = own.hasClaimFile && !own.record;
  if (!isClaimOnly) {
    RenamePrivateFile(state_->files.ConfigurationPath(number), state_->files.ClaimPath(number));
    RemovePrivateFile(state_->files.RecordPath(number));
  }
  own = {};
  state_->RemoveUselessClaim(number);
  const std::lock_guard guard(state_->indexMutex);
  state_->index.Erase(number);
}

void Store::Sweep() {
  const std::lock_guard guard(state_->indexMutex);
  const AloneInFolder alone(&state_->lock);
  if (!alone.IsAlone()) return;
  try {
    state_->SweepEverything();
  } catch (const Failure&) {
    // The next program tries again.
  }
}

void Store::Release(unsigned number) noexcept {
  try {
    state_->Release(number);
  } catch (...) {
    // The lock ends with the program.
  }
}

}  // namespace tool
