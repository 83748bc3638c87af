// The saved transfers of a user: one folder that all running programs share.
//
//   N.vrx    the library's record
//   N.conf   what the program knows beside it (saved_transfer.h)
//   N.claim  stands for N.conf while the transfer is created or removed: alone it counts for nothing once the
//            program has ended, together with N.vrx it is as good as N.conf
//   next     the next number
//   files    the folder where the library makes data and log files of these transfers
//   lock     byte 0: the folder as a whole; byte 1: shared by every running program; byte 16 + N: transfer N
//
// A file is written as NAME.new, which then replaces it.
//
// The folder is $QZ_TRANSFERS; else $XDG_DATA_HOME/qz/transfers, ~/.local/share/qz/transfers, on Windows
// %LOCALAPPDATA%\qz\transfers; where that cannot be made, "transfers" in the library's cache folder. Any
// thread may call every function of a Store.
#ifndef TOOL_STORE_H
#define TOOL_STORE_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tool/lock_file.h"
#include "tool/saved_transfer.h"

namespace tool {

class Store;

// The right to run, change or remove one transfer; it ends with this object, or with the process.
class Claim {
 public:
  Claim(Store* store, unsigned number) : store_(store), number_(number) {}
  ~Claim();
  Claim(const Claim&) = delete;
  Claim& operator=(const Claim&) = delete;
  unsigned Number() const { return number_; }

 private:
  Store* store_;
  unsigned number_;
};

// A file of the folder that cannot be read: it stays as it is.
struct DamagedRecord {
  std::string path;
  std::string why;
};

struct StoreListing {
  std::vector<SavedTransfer> transfers;  // in the order of their numbers
  std::vector<DamagedRecord> damaged;
};

class Store {
 public:
  // Opens the folder, and makes it when it is missing. Throws Failure (Disk).
  Store();
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  const std::string& Folder() const { return folder_; }

  // All that is saved. Reads the N.conf files only.
  StoreListing List();

  // The transfer with this number; nothing when there is none. Throws Failure (Other) when it is damaged.
  // What was found before Take may have changed: find it again under the claim.
  std::optional<SavedTransfer> Find(unsigned number);
  // The transfer with this direction, URL (without user and password) and local path, also one that another
  // program is creating. Damaged ones are passed over.
  std::optional<SavedTransfer> Find(bool isUpload, const std::string& url, const std::string& localPath);

  // Claims a transfer; null when another program, or another thread of this one, has it.
  std::unique_ptr<Claim> Take(unsigned number);
  // Whether another program, or a thread of this one, has it.
  bool IsTaken(unsigned number);

  // A new number, claimed. Nothing is written under it yet. Finding and creating are one step for all
  // programs. No two downloads have one path: found: receives the transfer with that URL and path, else the
  // download to that path, when there is one; then null is returned.
  std::unique_ptr<Claim> Create(bool isUpload, const std::string& url, const std::string& localPath,
                                std::optional<SavedTransfer>* found);

  // Writes what changed since the last time, the record first. The caller has the claim. Throws Failure
  // (Disk).
  void Save(const SavedTransfer& transfer, const std::string& record);
  // N.conf alone. Where there is no record yet, the transfer still counts for nothing after the claim.
  void Save(const SavedTransfer& transfer);
  // The bytes of N.vrx; nothing when it is missing.
  std::optional<std::string> ReadRecord(unsigned number);
  // Removes both files. The caller has the claim.
  void Remove(unsigned number);

  // Removes what killed programs left in this folder, and data and log files that no record names. Only while
  // no other program runs; else nothing happens. No data or log file is removed unless every record can be
  // read. What cannot be removed stays. Call it before the first claim: records are opened.
  void Sweep();

 private:
  friend class Claim;
  struct State;
  void Release(unsigned number) noexcept;

  std::string folder_;
  std::unique_ptr<State> state_;
};

}  // namespace tool

#endif
