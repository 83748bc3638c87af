// Temporary names in synchronised folders. The record of them is a file of lines, a path in each.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "os/core/owned.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/os.h"
#include "synchro/synchro_copy_internal.h"
#include "synchro/synchro_table_internal.h"

namespace {

constexpr char kEnding[] = ".xfer";
constexpr char kNextEnding[] = ".next";
constexpr uint32_t kLargestRecord = 64 * 1024;

std::string_view LastPart(std::string_view path) {
  path.remove_prefix(path.rfind('/') + 1);
  return path;
}

constexpr std::string_view kServer = "ftp://";

// Removed when the server is connected to: synchro_upload.cpp.
bool IsOnServer(std::string_view line) {
  return line.starts_with(kServer);
}

std::string_view WithoutOwnName(std::string_view line) {
  return line.substr(0, line.find(kSynchro_OwnNameSeparator));
}

// The record comes from a file: nothing is removed but what this writes under such names.
bool IsTemporaryName(std::string_view path) {
  std::string_view name = LastPart(WithoutOwnName(path));
  if (!name.starts_with(kSynchro_TemporaryPrefix)) return false;
  name.remove_prefix(strlen(kSynchro_TemporaryPrefix));
  if (name.starts_with('-')) name.remove_prefix(1);
  return !name.empty() && name.find_first_not_of("0123456789") == std::string_view::npos;
}

// True when nothing stands there any more.
bool Remove(const char* path) {
  int32_t isDirectory = 0;
  if (File_Exists(path, &isDirectory) == 0 || isDirectory != 0) return true;
  return File_Unlink(path) == Error_None;
}

}  // namespace

bool iSynchro_AddLeftover(const char* path, SynchroTemporary* temporary) {
  const size_t used = temporary->leftovers != nullptr ? strlen(temporary->leftovers) : 0;
  const size_t size = used + strlen(path) + 2;
  if (size > kLargestRecord) return false;
  auto* const grown = static_cast<char*>(Memory_Realloc(temporary->leftovers, size));
  if (grown == nullptr) return false;
  temporary->leftovers = grown;
  snprintf(grown + used, size - used, "%s\n", path);
  return true;
}

void iSynchro_DropLeftover(const char* line, SynchroTemporary* temporary) {
  char* at = temporary->leftovers;
  const size_t length = strlen(line);
  while (at != nullptr && *at != '\0') {
    char* const end = strchr(at, '\n');
    if (static_cast<size_t>(end - at) == length && memcmp(at, line, length) == 0) {
      memmove(at, end + 1, strlen(end + 1) + 1);
      break;
    }
    at = end + 1;
  }
  if (temporary->leftovers == nullptr || temporary->leftovers[0] != '\0') return;
  Memory_Delete(temporary->leftovers);
  temporary->leftovers = nullptr;
}

namespace {

// What cannot be remembered fails, for a file that is forgotten would pass for one to be copied.
ErrorCode TakeRecorded(File* record, bool mayRemove, SynchroTemporary* temporary) {
  char path[kFileNameSize];
  while (File_ScanLine(record, sizeof path, path) >= 0) {
    if (!IsTemporaryName(path)) continue;
    const bool isGone = mayRemove && !IsOnServer(path) && Remove(path);
    if (!isGone && !iSynchro_AddLeftover(path, temporary)) return Error_Memory;
  }
  const ErrorCode status = Stream_Error(File_GetStream(record));
  return status == Error_Ended ? Error_None : status;
}

bool WriteText(File* file, const char* text) {
  const auto count = static_cast<uint32_t>(strlen(text));
  return File_Write(file, count, text) == count;
}

}  // namespace

// Beside the old one, which a kill must not cost.
ErrorCode iSynchro_WriteRecord(const SynchroTemporary& temporary) {
  char next[kFileNameSize];
  Owned<File, File_Close> file;
  const int length = snprintf(next, sizeof next, "%s%s", temporary.recordPath, kNextEnding);
  if (length < 0 || static_cast<size_t>(length) >= sizeof next) return Error_Exceed;
  const ErrorCode status = File_Open(next, FileMode_Write, file.out());
  if (status != Error_None) return status;
  const bool isWritten = (temporary.leftovers == nullptr || WriteText(file.get(), temporary.leftovers)) &&
                         WriteText(file.get(), temporary.path) &&
                         (temporary.path[0] == '\0' || WriteText(file.get(), "\n"));
  const ErrorCode closed = File_Close(file.release());
  if (!isWritten || closed != Error_None) return isWritten ? closed : Error_Exceed;
  return File_Replace(next, temporary.recordPath);
}

namespace {

void Forget(SynchroTemporary* temporary) {
  temporary->folder[0] = '\0';
  temporary->path[0] = '\0';
}

ErrorCode Choose(const char* folder, SynchroTemporary* temporary) {
  ErrorCode status = File_UniquifyName(folder, kSynchro_TemporaryPrefix, temporary->path);
  if (status == Error_None) status = iFile_CopyName(folder, temporary->folder);
  if (status == Error_None) status = iSynchro_WriteRecord(*temporary);
  if (status != Error_None) Forget(temporary);
  return status;
}

}  // namespace

ErrorCode iSynchro_BeginTemporaries(const char* directory, const char* synchroName, bool mayRemove,
                                    SynchroTemporary* temporary) {
  char name[kFileNameSize];
  Forget(temporary);
  snprintf(name, sizeof name, "%s%s", synchroName, kEnding);
  ErrorCode status = iSynchro_FindBeside(directory, name, temporary->recordPath);
  Memory_Delete(temporary->leftovers);
  temporary->leftovers = nullptr;
  if (status != Error_None || File_Exists(temporary->recordPath, nullptr) == 0) return status;
  Owned<File, File_Close> record;
  status = File_Open(temporary->recordPath, FileMode_Read, record.out());
  if (status == Error_None) status = TakeRecorded(record.get(), mayRemove, temporary);
  record.reset();
  if (status != Error_None) {
    temporary->recordPath[0] = '\0';  // it stays as it is
    return status;
  }
  if (mayRemove) iSynchro_EndTemporaries(temporary);
  return Error_None;
}

void iSynchro_EndTemporaries(SynchroTemporary* temporary) {
  Forget(temporary);
  if (temporary->recordPath[0] == '\0') return;
  if (temporary->leftovers != nullptr) {
    iSynchro_WriteRecord(*temporary);
  } else if (File_Exists(temporary->recordPath, nullptr) != 0) {
    File_Unlink(temporary->recordPath);
  }
}

bool iSynchro_IsLeftover(const SynchroTemporary& temporary, const char* path, char* ownName) {
  ownName[0] = '\0';
  if (temporary.leftovers == nullptr) return false;
  std::string_view lines = temporary.leftovers;
  while (!lines.empty()) {
    const size_t end = lines.find('\n');
    std::string_view line = lines.substr(0, end);
    const std::string_view name = WithoutOwnName(line);
    if (name == path) {
      line.remove_prefix(std::min(line.size(), name.size() + 1));
      snprintf(ownName, kFileNameSize, "%.*s", static_cast<int>(line.size()), line.data());
      return true;
    }
    lines.remove_prefix(end + 1);
  }
  return false;
}

ErrorCode iSynchro_ChooseTemporary(const char* target, SynchroTemporary* temporary) {
  char folder[kFileNameSize];
  const ErrorCode status = File_SplitDir(target, folder, nullptr);
  if (status != Error_None) return status;
  const bool isChosen = temporary->path[0] != '\0' && strcmp(folder, temporary->folder) == 0 &&
                        File_Exists(temporary->path, nullptr) == 0;
  return isChosen ? Error_None : Choose(folder, temporary);
}

void iSynchro_RemoveTemporary(SynchroTemporary* temporary) {
  if (Remove(temporary->path)) return;
  iSynchro_AddLeftover(temporary->path, temporary);
  Forget(temporary);
}
