// The end of a run: the file gets its place, the record goes; or the user is told what is kept.
#include <algorithm>

#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/vrxclient.h"
#include "tool/console.h"
#include "tool/disk_file.h"
#include "tool/library_call.h"
#include "tool/text.h"
#include "tool/transfer.h"

namespace tool {
namespace {

constexpr std::size_t kPathBytes = 1024;
constexpr unsigned kMostNumbers = 512;
constexpr std::uint64_t kUnknownSize = ~std::uint64_t{0};

bool IsFree(const std::string& path) {
  return DiskFile::KindOf(console::ToSystemName(path)) == DiskFile::Kind::Nothing;
}

// "a.txt", "a(0).txt", "a(1).txt": the first name that is free, numbered before the extension of the last
// part.
std::string FreePath(const std::string& path) {
  if (IsFree(path)) return path;
  const std::size_t name = path.rfind('/') + 1;
  const std::size_t dot = path.rfind('.');
  const std::size_t end = dot == std::string::npos || dot < name ? path.size() : dot;
  for (unsigned i = 0; i < kMostNumbers; i++) {
    std::string numbered = path.substr(0, end) + "(" + std::to_string(i) + ")" + path.substr(end);
    if (IsFree(numbered)) return numbered;
  }
  throw Failure{ExitCode::Disk, "no free name beside \"" + path + "\"; choose another one with --output"};
}

std::string RateText(std::uint64_t bytes, double seconds) {
  if (bytes == 0 || seconds < 0.001) return "";
  return ", " + SizeText(static_cast<std::uint64_t>(static_cast<double>(bytes) / seconds)) + "/s";
}

}  // namespace

// A path in the current folder without that folder.
std::string Transfer::ShownPath(const std::string& libraryPath) const {
  char current[kPathBytes] = "";
  if (Directory_GetCurrent(current) != Error_None) return console::ToSystemName(libraryPath);
  std::string folder = current;
  if (folder.empty() || folder.back() != '/') folder += '/';
  const bool isBelow = libraryPath.size() > folder.size() && libraryPath.rfind(folder, 0) == 0;
  return isBelow ? libraryPath.substr(folder.size()) : console::ToSystemName(libraryPath);
}

std::string Transfer::ServerPath() const {
  return address_.path;
}

bool Transfer::IsMoveRecorded() {
  ReadClient();
  const bool isRecorded = VRXClient_GetState(client_.get()) >= TransferState_Agents;
  const std::lock_guard lock(clientMutex_);
  client_.reset();
  return isRecorded;
}

// A crash between the move and the record of it: the file has its place, and FILE.part is gone. It goes back,
// and all that follows on the move is done.
void Transfer::TakeMovedFileBack() {
  if (isNew_ || saved_.isUpload || saved_.finalPath.empty()) return;
  const std::string part = PartPath(saved_.localPath);
  if (SizeOfFile(part)) return;
  const auto size = SizeOfFile(saved_.finalPath);
  if (!size || (saved_.sizeBytes && *size != *saved_.sizeBytes) || IsMoveRecorded()) return;
  Error_ClearLast();
  if (File_Move(saved_.finalPath.c_str(), part.c_str()) == Error_None) return;
  throw Failure{ExitCode::Disk,
                "cannot rename \"" + ShownPath(saved_.finalPath) + "\"" + RecordedFileDetails()};
}

// Without a size, a FILE.part that is longer than the file looks the same as a complete one.
void Transfer::CheckIsWhole() const {
  if (saved_.sizeBytes || attemptPosition_ == 0 || position_ > attemptPosition_) return;
  throw Failure{ExitCode::Protocol, "the server does not report the size, so \"" +
                                        ShownPath(PartPath(saved_.localPath)) +
                                        "\" cannot be checked; download it again with --restart"};
}

// With --overwrite the library moves the file there, too, before it replaces the old one.
void Transfer::ChooseFinalPath() {
  saved_.finalPath = FreePath(saved_.localPath);
  if (saved_.overwrites || saved_.finalPath == saved_.localPath) return;
  const ErrorCode status = VRXClient_SetLocalFilePath(client_.get(), saved_.finalPath.c_str());
  if (status == Error_None) return;
  throw Failure{ExitCode::Disk,
                "cannot name the file \"" + ShownPath(saved_.finalPath) + "\": " + Error_ToString(status)};
}

// Where the file is. With --overwrite the library has replaced the old one, unless that failed, or the
// program ended just before or behind it.
std::string Transfer::PlaceOfFile() const {
  char path[kPathBytes] = "";
  VRXClient_GetLocalFilePath(client_.get(), path);
  const bool isToReplace = saved_.overwrites && path == saved_.finalPath && path != saved_.localPath;
  if (!isToReplace) return path;
  Error_ClearLast();
  if (SizeOfFile(path) && File_Replace(path, saved_.localPath.c_str()) != Error_None)
    throw Failure{ExitCode::Disk, "cannot replace \"" + ShownPath(saved_.localPath) +
                                      "\"; the new file is \"" + ShownPath(path) + "\"" +
                                      RecordedFileDetails()};
  return saved_.localPath;
}

void Transfer::Finish() {
  EndLine();
  const std::string path = PlaceOfFile();
  if (isStoredAlready_) {
    Forget();
    return reporter_->Say("the server has all " + SizeText(saved_.sourceBytes) + " of \"" + ServerPath() +
                          "\" already; send them again with --restart");
  }
  if (!options_.quiet) TellWhatIsDone(path);
  Forget();
}

void Transfer::TellWhatIsDone(const std::string& path) {
  const std::uint64_t size = saved_.isUpload ? position_ : SizeOfFile(path).value_or(position_);
  const double seconds = dataBegan_ ? std::chrono::duration<double>(Clock::now() - *dataBegan_).count() : 0;
  const std::uint64_t moved = size > firstPosition_ ? size - firstPosition_ : 0;
  if (saved_.isUpload) {
    reporter_->Say("stored \"" + ServerPath() + "\" (" + SizeText(size) + RateText(moved, seconds) + ")");
  } else {
    reporter_->Say("saved \"" + ShownPath(path) + "\" (" + SizeText(size) + RateText(moved, seconds) +
                   (saved_.verifies ? ", verified)" : ")"));
  }
}

// The transfer with its log, and its record.
void Transfer::Forget() {
  VRXClient* client = nullptr;
  {
    const std::lock_guard lock(clientMutex_);
    client = client_.release();
  }
  if (client != nullptr) VRXClient_Delete(client);
  store_->Remove(saved_.number);
  isInStore_ = false;
}

// A FILE.part that was there before this transfer stays. False when it is this transfer's by now.
bool Transfer::LeavePartAlone() {
  if (saved_.isUpload || !client_) return true;
  const DiskFile::Kind kind = DiskFile::KindOf(console::ToSystemName(PartPath(saved_.localPath)));
  const bool isOwn = partBytes_ == 0 && (kind == DiskFile::Kind::File || kind == DiskFile::Kind::Nothing);
  return isOwn || VRXClient_SetDataFilePath(client_.get(), "") == Error_None;
}

void Transfer::EndLine() {
  isLineBegun_ = false;
  if (line_) line_->End();
}

void Transfer::TellFailure(const Failure& failure) {
  EndLine();
  reporter_->ReportError(failure.text);
  const bool isTold = TellWhatIsKept("");
  // The file is there, however small it is, and the next attempt asks the extensions again.
  const bool isRefused = failure.code == ExitCode::Refused && client_ &&
                         VRXClient_GetState(client_.get()) == TransferState_Agents;
  if (isRefused && !isInStore_ && !recordForAgents_.empty()) SaveRecord(recordForAgents_);
  // Nothing is left to resume of what cannot succeed.
  const bool isUseless =
      isNew_ && !isRefused && failure.retry == Retry::No && furthest_ == 0 && position_ == 0;
  const bool isBegun = client_ && !server_.empty();
  if (isUseless && (isBegun || isInStore_) && LeavePartAlone()) return Forget();
  if (!isInStore_) return;
  saved_.lastReason = failure.text;
  saved_.lastExitCode = static_cast<int>(failure.code);
  saved_.status = failure.retry == Retry::Yes ? TransferStatus::Waiting : TransferStatus::Failed;
  store_->Save(saved_);
  if (!isTold) TellHowToTryAgain();
}

void Transfer::TellHowToTryAgain() {
  const std::string number = std::to_string(saved_.number);
  reporter_->ReportError(saved_.status == TransferStatus::Failed
                             ? "transfer " + number + " stays in the list; qz retry " + number +
                                   " runs it again, qz remove " + number + " ends it"
                             : "saved as transfer " + number +
                                   "; rerun the command, or qz run, to try again");
}

void Transfer::TellInterruption() {
  EndLine();
  TellWhatIsKept("interrupted; ");
  if (client_ && (isInStore_ || position_ > 0)) Record();
}

bool Transfer::TellWhatIsKept(const std::string& before) {
  const std::string part = PartPath(saved_.localPath);
  // Only a file that this run can have made: a pipe and a link have sizes too.
  const bool isFile =
      !saved_.isUpload && DiskFile::KindOf(console::ToSystemName(part)) == DiskFile::Kind::File;
  const std::uint64_t bytes = isFile ? SizeOfFile(part).value_or(kUnknownSize) : 0;
  if (isFile && bytes == 0) File_Unlink(part.c_str());
  if (bytes > 0 && bytes != kUnknownSize) {
    reporter_->ReportError(before + SizeText(bytes) + " are kept in \"" + ShownPath(part) +
                           "\"; rerun the command to resume");
    return true;
  }
  if (!before.empty()) reporter_->ReportError(before + "rerun the command to resume");
  return !before.empty();
}

}  // namespace tool
