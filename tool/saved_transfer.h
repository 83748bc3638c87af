// A saved transfer: what the program knows of it beside the library's record.
#ifndef TOOL_SAVED_TRANSFER_H
#define TOOL_SAVED_TRANSFER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

enum class TransferStatus {
  Waiting,  // it was never run, or was interrupted
  Failed    // qz run passes it over until qz retry
};

struct SavedTransfer {
  unsigned number = 0;  // 1 and up, never used again
  bool isUpload = false;
  std::string url;        // the first one, without user and password
  std::string localPath;  // absolute, in the library's form: a download's target, an upload's source
  std::string user;       // for the login; empty: the URL's, or anonymous
  std::string mirrors;    // of a download, as they were written: one URL a line, without users
  std::string digest;     // what is compared with, 64 digits; empty: FILE.sha256 of the server

  bool isActive = false;         // --active
  bool isSynchronised = false;   // --sync
  bool overwrites = false;       // --overwrite
  bool savesPassword = false;    // --save-password
  bool continuesUpload = false;  // --continue
  bool verifies = false;         // --verify, --sha256
  bool unpacks = false;          // --unpack

  TransferStatus status = TransferStatus::Waiting;
  unsigned attempts = 0;   // connections tried so far
  std::string lastReason;  // why the last attempt or run failed, as it was shown; empty: none
  int lastExitCode = 0;

  // What qz list shows without opening the record.
  std::uint64_t doneBytes = 0;
  std::optional<std::uint64_t> sizeBytes;

  // A download whose data is complete: the path that the file gets next, before it replaces another one. A
  // program that finds the file there, and FILE.part gone, asks no server again.
  std::string finalPath;

  // An upload's source as it was when its bytes began to go to the server.
  std::uint64_t sourceBytes = 0;
  std::int64_t sourceSeconds = 0;

  bool operator==(const SavedTransfer&) const = default;
};

// The text of the configuration file, one line a field: a key and its value. Bytes that would break the line
// are escaped.
std::string FormatSavedTransfer(const SavedTransfer& transfer);

// Reads it back with the library's own reader of configuration files; unknown keys are passed over. Nothing
// when the file is damaged: a key that must be there is missing, or a value is out of range.
std::optional<SavedTransfer> ReadSavedTransfer(const std::string& path, unsigned number);

// Whether extensions work on the file once it has its place.
bool HasAgents(const SavedTransfer& transfer);

// The name of a download's data file: beside the target.
std::string PartPath(const std::string& localPath);

// The size of a file, in the library's form; nothing when no file stands there.
std::optional<std::uint64_t> SizeOfFile(const std::string& path);

// Sets what is done to what FILE.part holds at this moment, when there is one: a program that was killed
// could not tell any more.
void LookAtPartFile(SavedTransfer* transfer);

}  // namespace tool

#endif
