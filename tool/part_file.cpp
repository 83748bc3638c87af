#include "tool/part_file.h"

#include "qz/error.h"
#include "qz/file.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/library_call.h"

namespace tool {
namespace {

constexpr std::size_t kLongestLibraryName = 1024;

std::string FreeName(const std::string& target) {
  char numbered[kLongestLibraryName + 16] = "";
  Error_ClearLast();
  const ErrorCode status = File_NumberName(console::ToLibraryName(target).c_str(), numbered);
  if (status != Error_None) {
    throw Failure{ExitCode::Disk, "no free name for \"" + target + "\"; the data is kept in \"" + target +
                                      PartFile::kSuffix + "\"" + RecordedDetails(status)};
  }
  return numbered;
}

}  // namespace

PartFile::PartFile(const std::string& target) : target_(target), path_(target + kSuffix) {
  switch (DiskFile::KindOf(path_)) {
    case DiskFile::Kind::Nothing:
      return;
    case DiskFile::Kind::File:
      break;
    case DiskFile::Kind::Link:
      throw Failure{ExitCode::Disk, "\"" + path_ + "\" is a link; qz does not follow it, remove it first"};
    case DiskFile::Kind::Folder:
    case DiskFile::Kind::Other:
      throw Failure{ExitCode::Disk,
                    "\"" + path_ + "\" is in the way and is not a regular file; remove it first"};
  }
  file_.OpenForAppending(path_);
  length_ = file_.Size();
}

PartFile::~PartFile() {
  Close();
}

void PartFile::Begin() {
  if (!file_.IsOpen()) {
    file_.Create(path_);
    createdHere_ = true;
  } else if (cutAtBegin_) {
    file_.Truncate();
  }
  cutAtBegin_ = false;
}

void PartFile::Restart() {
  if (!file_.IsOpen()) return;
  cutAtBegin_ = true;
  length_ = 0;
}

void PartFile::Append(std::size_t count, const void* buffer) {
  try {
    file_.Write(count, buffer);
    length_ += count;
  } catch (const Failure&) {
    length_ = file_.Size();  // a full disk may have taken a part
    throw;
  }
}

std::string PartFile::Complete(bool synchronise) {
  if (synchronise) file_.Synchronise();
  file_.Close();
  // Another program may take the free name between the two calls; the move then refuses, and the next is
  // tried.
  constexpr int kAttempts = 10;
  ErrorCode status = Error_None;
  std::string details;
  for (int attempt = 0; attempt < kAttempts; attempt++) {
    const std::string name = FreeName(target_);
    Error_ClearLast();
    status = File_Move(console::ToLibraryName(path_).c_str(), name.c_str());
    if (status == Error_None) return console::ToSystemName(name);
    details = RecordedDetails(status);
    if (File_Exists(name.c_str(), nullptr) == 0) break;
  }
  throw Failure{ExitCode::Disk, "cannot rename \"" + path_ + "\" (" + Error_ToString(status) + ")" + details +
                                    "; the file is complete under that name"};
}

void PartFile::Close() {
  const bool leaveNothing = file_.IsOpen() && createdHere_ && length_ == 0 && !cutAtBegin_;
  file_.Close();
  if (leaveNothing) DiskFile::Remove(path_);
}

}  // namespace tool
