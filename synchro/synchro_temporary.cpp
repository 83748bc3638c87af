// Temporary names in synchronised folders. The record of them is a file of lines, a path in each.
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

constexpr char kPrefix[] = "xfer";
constexpr char kEnding[] = ".xfer";
constexpr uint32_t kLargestRecord = 64 * 1024;

std::string_view LastPart(std::string_view path) {
  path.remove_prefix(path.rfind('/') + 1);
  return path;
}

// The record comes from a file: nothing is removed but what this writes under such names.
bool IsTemporaryName(std::string_view path) {
  std::string_view name = LastPart(path);
  if (!name.starts_with(kPrefix)) return false;
  name.remove_prefix(strlen(kPrefix));
  if (name.starts_with('-')) name.remove_prefix(1);
  return !name.empty() && name.find_first_not_of("0123456789") == std::string_view::npos;
}

// True when nothing stands there any more.
bool Remove(const char* path) {
  int32_t isDirectory = 0;
  if (File_Exists(path, &isDirectory) == 0 || isDirectory != 0) return true;
  return File_Unlink(path) == Error_None;
}

bool AddLeftover(const char* path, SynchroTemporary* temporary) {
  const size_t used = temporary->leftovers != nullptr ? strlen(temporary->leftovers) : 0;
  const size_t size = used + strlen(path) + 2;
  if (size > kLargestRecord) return false;
  auto* const grown = static_cast<char*>(Memory_Realloc(temporary->leftovers, size));
  if (grown == nullptr) return false;
  temporary->leftovers = grown;
  snprintf(grown + used, size - used, "%s\n", path);
  return true;
}

void TakeRecorded(File* record, bool mayRemove, SynchroTemporary* temporary) {
  char path[kFileNameSize];
  while (File_ScanLine(record, sizeof path, path) >= 0) {
    if (!IsTemporaryName(path)) continue;
    if (!mayRemove || !Remove(path)) AddLeftover(path, temporary);
  }
}

bool WriteText(File* file, const char* text) {
  const auto count = static_cast<uint32_t>(strlen(text));
  return File_Write(file, count, text) == count;
}

ErrorCode WriteRecord(const SynchroTemporary& temporary) {
  Owned<File, File_Close> file;
  const ErrorCode status = File_Open(temporary.recordPath, FileMode_Write, file.out());
  if (status != Error_None) return status;
  const bool isWritten = (temporary.leftovers == nullptr || WriteText(file.get(), temporary.leftovers)) &&
                         WriteText(file.get(), temporary.path) &&
                         (temporary.path[0] == '\0' || WriteText(file.get(), "\n"));
  const ErrorCode closed = File_Close(file.release());
  return isWritten ? closed : Error_Exceed;
}

void Forget(SynchroTemporary* temporary) {
  temporary->folder[0] = '\0';
  temporary->path[0] = '\0';
}

ErrorCode Choose(const char* folder, SynchroTemporary* temporary) {
  ErrorCode status = File_UniquifyName(folder, kPrefix, temporary->path);
  if (status == Error_None) status = iFile_CopyName(folder, temporary->folder);
  if (status == Error_None) status = WriteRecord(*temporary);
  if (status != Error_None) Forget(temporary);
  return status;
}

}  // namespace

void iSynchro_BeginTemporaries(const char* directory, const char* synchroName, bool mayRemove,
                               SynchroTemporary* temporary) {
  char name[kFileNameSize];
  Forget(temporary);
  snprintf(name, sizeof name, "%s%s", synchroName, kEnding);
  if (iSynchro_FindBeside(directory, name, temporary->recordPath) != Error_None) return;
  Memory_Delete(temporary->leftovers);
  temporary->leftovers = nullptr;
  if (File_Exists(temporary->recordPath, nullptr) == 0) return;
  Owned<File, File_Close> record;
  if (File_Open(temporary->recordPath, FileMode_Read, record.out()) != Error_None) return;
  TakeRecorded(record.get(), mayRemove, temporary);
  record.reset();
  if (mayRemove) iSynchro_EndTemporaries(temporary);
}

void iSynchro_EndTemporaries(SynchroTemporary* temporary) {
  Forget(temporary);
  if (temporary->recordPath[0] == '\0') return;
  if (temporary->leftovers != nullptr) {
    WriteRecord(*temporary);
  } else if (File_Exists(temporary->recordPath, nullptr) != 0) {
    File_Unlink(temporary->recordPath);
  }
}

bool iSynchro_IsLeftover(const SynchroTemporary& temporary, const char* path) {
  if (temporary.leftovers == nullptr) return false;
  std::string_view lines = temporary.leftovers;
  while (!lines.empty()) {
    const size_t end = lines.find('\n');
    if (lines.substr(0, end) == path) return true;
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
  AddLeftover(temporary->path, temporary);
  Forget(temporary);
}
