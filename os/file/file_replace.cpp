// A file that is written anew: beside the old one, which it replaces when it is complete.
#include <atomic>
#include <cstdio>

#include "os/core/error_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/clock.h"
#include "os/platform/error.h"
#include "os/platform/filesystem.h"
#include "os/platform/process.h"
#include "qz/error.h"

namespace {

constexpr int kNameTries = 100;

// The name that is written: where a link leads, for the link itself stays.
ErrorCode FindTarget(const char* name, char (&target)[kFileNameSize]) {
  char systemName[kFileNameSize];
  char followed[kFileNameSize];
  if (iFile_ToSystemName(name, systemName) != Error_None) return Error_Fail;
  if (!platform::FollowLink(systemName, followed)) {
    return iError_Record(Error_Fail, "File_Open", name, platform::LastSystemError());
  }
  return iFile_FromSystemName(followed, target) == Error_None ? Error_None : Error_Fail;
}

// Another number for each try, process and moment. Programs that were killed leave files under such names,
// and OS_Random begins alike in every program that does not seed it.
uint32_t NextNumber() {
  static std::atomic<uint32_t> tries{0};
  const uint32_t process = platform::CurrentProcessIdentifier() * 0x9E3779B1u;
  return process + static_cast<uint32_t>(platform::MonotonicMilliseconds()) + tries.fetch_add(1);
}

ErrorCode OpenBeside(uint32_t mode, bool isPrivate, FileReplacement* replacement) {
  char directory[kFileNameSize];
  if (File_SplitDir(replacement->target, directory, nullptr) != Error_None) return Error_Fail;
  ErrorCode status = Error_Exists;
  for (int i = 0; i < kNameTries && status == Error_Exists; ++i) {
    char name[32];
    snprintf(name, sizeof name, "qz%08lx.new", static_cast<unsigned long>(NextNumber()));
    if (iFile_Join(directory, name, replacement->beside) != Error_None) return Error_Fail;
    status = iFile_OpenNew(replacement->beside, mode, isPrivate, &replacement->file);
  }
  return status == Error_Exists ? Error_Fail : status;
}

// The old file must be one that could be written, as it would be without a new one beside it.
ErrorCode OpenForOld(File* old, uint32_t mode, FileReplacement* replacement) {
  if (!platform::IsOrdinaryFile(old->descriptor))
    return File_Open(replacement->target, mode, &replacement->file);
  const ErrorCode status = OpenBeside(mode, true, replacement);
  if (status != Error_None) return status;
  if (platform::KeepPermissions(old->descriptor, replacement->file->descriptor)) return Error_None;
  iError_Record(Error_Fail, "File_Open", replacement->beside, platform::LastSystemError());
  iFile_AbandonReplacement(replacement);
  return Error_Fail;
}

bool IsDirect(const FileReplacement& replacement) {
  return replacement.beside[0] == '\0';
}

bool MoveIntoPlace(const FileReplacement& replacement) {
  char from[kFileNameSize];
  char to[kFileNameSize];
  if (iFile_ToSystemName(replacement.beside, from) != Error_None) return false;
  if (iFile_ToSystemName(replacement.target, to) != Error_None) return false;
  if (platform::RenameReplacing(from, to)) return true;
  iError_FromLastSystem("File_Move", replacement.target);
  platform::RemoveFile(from);
  return false;
}

}  // namespace

ErrorCode iFile_BeginReplacement(const char* name, uint32_t mode, FileReplacement* replacement) {
  *replacement = {};
  const ErrorCode status = FindTarget(name, replacement->target);
  if (status != Error_None) return status;
  if (File_Exists(replacement->target, nullptr) == 0) return OpenBeside(mode, false, replacement);
  // To append changes nothing and needs no more than the right to write. A pipe that nobody reads is refused.
  Owned<File, File_Close> old;
  const ErrorCode opened = File_Open(replacement->target, FileMode_Append, old.out());
  return opened == Error_None ? OpenForOld(old.get(), mode, replacement) : opened;
}

ErrorCode iFile_CompleteReplacement(FileReplacement* replacement) {
  File* const file = replacement->file;
  const bool isDirect = IsDirect(*replacement);
  const bool isWritten = File_Flush(file) == 0 && (isDirect || platform::FlushToDisk(file->descriptor));
  if (!isWritten) {
    iFile_AbandonReplacement(replacement);
    return Error_Fail;
  }
  const ErrorCode closed = isDirect ? File_Close(file) : iFile_CloseComplete(file);
  if (closed != Error_None) return Error_Fail;
  return isDirect || MoveIntoPlace(*replacement) ? Error_None : Error_Fail;
}

void iFile_AbandonReplacement(FileReplacement* replacement) {
  if (!IsDirect(*replacement)) File_SetTemporary(replacement->file, 1);
  File_Close(replacement->file);
}
