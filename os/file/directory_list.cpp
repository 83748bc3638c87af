// Listings: a directory as lines of text in a file, and such a file line by line.
//
//   mode 0   name
//   mode 1   directory/name      directories end with "/"
//   mode 2   drwxrwxrwx    1    nobody     nobody     1234 Sun Jan  5 09:03:07 1997 name/
//
// A name that would not come back as one line (with a line end in it, or too long) is left out.
#include <cstdio>
#include <cstring>

#include "os/core/error_internal.h"
#include "os/core/memory_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/error.h"
#include "os/platform/filesystem.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/memory.h"
#include "qz/os.h"
#include "qz/time.h"

struct DirectoryList {
  File* file;
  char* directory;  // behind the record; null: lines are given as they are
  bool isCut;       // the last piece filled the buffer before its line ended
};

namespace {

constexpr size_t kLongestLine = 1023;
constexpr size_t kPermissionCount = 9;

// Every entry of this platform's own listings has it; the formula below is what a mode word would go through.
constexpr uint32_t kModeWord = 0;

using OwnedFile = Owned<File, File_Close>;
using Search = Owned<platform::DirectorySearch, platform::EndSearch>;

// ---- lines -------------------------------------------------------------------------------------

// Kept: the owner's bits are taken from places above a 32-bit word, so they never show.
void FormPermissions(uint32_t modeWord, char (&permissions)[kPermissionCount + 1]) {
  const uint32_t bits = ((modeWord >> 26) & 0x1C0) | ((modeWord >> 5) & 0x38) | ((modeWord >> 16) & 7);
  for (size_t i = 0; i < kPermissionCount; ++i) {
    permissions[i] = ((bits >> (kPermissionCount - 1 - i)) & 1) != 0 ? "rwxrwxrwx"[i] : '-';
  }
  permissions[kPermissionCount] = '\0';
}

int FormLongLine(const platform::DirectoryEntry& entry, char (&line)[2 * kFileNameSize]) {
  const bool isDirectory = entry.information.isDirectory;
  char permissions[kPermissionCount + 1];
  FormPermissions(kModeWord, permissions);
  Time modified;
  char date[64];
  iFile_TimeFromUnits(entry.information.modified, &modified);
  Time_ToString(&modified, date);
  const auto size = static_cast<unsigned long>(static_cast<uint32_t>(entry.information.sizeBytes));
  return snprintf(line, sizeof line, "%c%s %4lu %9s %10s %8lu %s %s%s", isDirectory ? 'd' : '-', permissions,
                  1ul, "nobody", "nobody", size, date, entry.name, isDirectory ? "/" : "");
}

int FormPath(const char* directory, const platform::DirectoryEntry& entry, char (&line)[2 * kFileNameSize]) {
  char path[kFileNameSize];
  if (iFile_Join(directory, entry.name, path) != Error_None) return -1;
  return snprintf(line, sizeof line, "%s%s", path, entry.information.isDirectory ? "/" : "");
}

// False for an entry that has no line.
bool FormLine(const char* directory, int32_t listMode, const platform::DirectoryEntry& entry,
              char (&line)[2 * kFileNameSize]) {
  if (strpbrk(entry.name, "\r\n") != nullptr) return false;
  int length = 0;
  switch (listMode) {
    case DirectoryListKind_Names:
      length = snprintf(line, sizeof line, "%s", entry.name);
      break;
    case DirectoryListKind_Paths:
      length = FormPath(directory, entry, line);
      break;
    default:
      length = FormLongLine(entry, line);
      break;
  }
  return length >= 0 && static_cast<size_t>(length) <= kLongestLine;
}

ErrorCode WriteLine(File* file, const char* line) {
  return File_Print(file, "%s\n", line) >= 0 ? Error_None : Error_Ended;
}

// ---- listings ----------------------------------------------------------------------------------

ErrorCode WriteDrives(int32_t listMode, File* file) {
  if (listMode == DirectoryListKind_LongLines) return Error_System;
  const uint32_t drives = platform::Drives();
  for (int i = 0; i < 26; ++i) {
    if (((drives >> i) & 1) == 0) continue;
    if (File_Print(file, "/%c|/\n", 'A' + i) < 0) return Error_Ended;
  }
  return Error_None;
}

ErrorCode SearchStatus(const char* directory, uint32_t error) {
  const bool isShortage =
      error == platform::SystemError_OutOfMemory || error == platform::SystemError_TooManyOpenFiles;
  if (isShortage) return iError_Record(Error_Memory, "Directory_GetList", directory, error);
  return Error_FromSystem("Directory_GetList", directory, error);
}

// The status of a search that gives no further entry.
ErrorCode EndOfSearch(const char* directory) {
  return SearchStatus(directory, platform::LastSystemError());
}

// Kept: what is no directory, or may not be read, has an empty listing; callers list before they create.
// Every other failure is told, for an empty listing would say that all that was in the directory is gone.
ErrorCode StartOfSearch(const char* directory) {
  const uint32_t error = platform::LastSystemError();
  const bool isUnsearchable = iFile_IsNotFound(error) || error == platform::SystemError_NotADirectory ||
                              error == platform::SystemError_AccessDenied;
  return isUnsearchable ? Error_None : SearchStatus(directory, error);
}

ErrorCode WriteEntries(const char* directory, int32_t listMode, File* file) {
  char systemName[kFileNameSize];
  if (iFile_ToSystemName(directory, systemName) != Error_None) return Error_None;
  // No name is the current directory, as in a join; a search would take it for the root.
  Search search(platform::BeginSearch(systemName[0] != '\0' ? systemName : "."));
  if (!search) return StartOfSearch(directory);
  platform::DirectoryEntry entry;
  char line[2 * kFileNameSize];
  while (iDirectory_NextEntry(search.get(), &entry)) {
    if (!FormLine(directory, listMode, entry, line)) continue;
    const ErrorCode status = WriteLine(file, line);
    if (status != Error_None) return status;
  }
  return EndOfSearch(directory);
}

bool ListsDrives(const char* directory) {
  return platform::UsesDriveLetters() && strcmp(directory, "/") == 0;
}

ErrorCode WriteListing(const char* directory, int32_t listMode, File* file) {
  const ErrorCode status =
      ListsDrives(directory) ? WriteDrives(listMode, file) : WriteEntries(directory, listMode, file);
  if (status != Error_None) return status;
  return File_Flush(file) == 0 ? Error_None : Error_Ended;
}

ErrorCode CheckMode(int32_t listMode) {
  if (listMode >= DirectoryListKind_Names && listMode <= DirectoryListKind_LongLines) return Error_None;
  Error("%s", "inListMode not implemented in Windows");
  return Error_Fail;
}

// ---- iterations --------------------------------------------------------------------------------

void DeleteList(DirectoryList* list) {
  if (list->file != nullptr) File_Close(list->file);
  Memory_Delete(list);
}

using OwnedList = Owned<DirectoryList, DeleteList>;

DirectoryList* NewList(const char* directory) {
  const size_t directorySize = directory != nullptr ? strlen(directory) + 1 : 0;
  DirectoryList* list =
      static_cast<DirectoryList*>(iMemory_NewCleared(sizeof(DirectoryList) + directorySize));
  if (list == nullptr || directory == nullptr) return list;
  list->directory = reinterpret_cast<char*>(list + 1);
  memcpy(list->directory, directory, directorySize);
  return list;
}

ErrorCode StartList(const char* directory, int32_t listMode, DirectoryList* list) {
  // A temporary file that only this user may read, and that did not exist before.
  char name[kFileNameSize];
  ErrorCode status =
      iFile_OpenTemporary(SysDir_Temp, "dirList", "", FileMode_ReadWriteNew, true, name, &list->file);
  if (status == Error_None) status = WriteListing(directory, listMode, list->file);
  if (status != Error_None) return status;
  return File_Seek(list->file, FileSeek_Start, 0) == 0 ? Error_None : Error_Fail;
}

// The next line, or the next piece of one that is longer than the buffer. False at the end and on failure.
bool ScanPiece(DirectoryList* list, char (&text)[kFileNameSize]) {
  for (;;) {
    const bool wasCut = list->isCut;
    const int32_t length = iFile_ScanPiece(list->file, sizeof text, text, &list->isCut);
    if (length < 0) return false;
    // What remains of a line that just filled the buffer is its end, and not an empty line.
    if (length != 0 || !wasCut) return true;
  }
}

}  // namespace

ErrorCode Directory_GetList(const char* directory, int32_t listMode, const char* listFile) {
  ErrorCode status = CheckMode(listMode);
  if (status != Error_None) return status;
  if (directory == nullptr || listFile == nullptr) return Error_Invalid;
  OwnedFile file;
  status = File_Open(listFile, FileMode_Write | FileMode_Text, file.out());
  if (status != Error_None) return status;
  status = WriteListing(directory, listMode, file.get());
  if (status != Error_None) {
    File_SetTemporary(file.get(), 1);
    return status;
  }
  return iFile_CloseComplete(file.release()) == Error_None ? Error_None : Error_Ended;
}

ErrorCode Directory_StartList(const char* directory, int32_t listMode, DirectoryList** list) {
  if (list == nullptr) return Error_Invalid;
  *list = nullptr;
  ErrorCode status = CheckMode(listMode);
  if (status != Error_None) return status;
  if (directory == nullptr) return Error_Invalid;
  OwnedList started(NewList(nullptr));
  if (!started) return Error_Memory;
  status = StartList(directory, listMode, started.get());
  if (status == Error_None) *list = started.release();
  return status;
}

ErrorCode Directory_StartFileList(const char* directory, const char* listFile, int32_t temporary,
                                  int32_t joinMode, DirectoryList** list) {
  if (list == nullptr) return Error_Invalid;
  *list = nullptr;
  const bool joins = joinMode == 1;
  if (listFile == nullptr || (joins && directory == nullptr)) return Error_Invalid;
  OwnedList started(NewList(joins ? directory : nullptr));
  if (!started) return Error_Memory;
  const ErrorCode status = File_Open(listFile, FileMode_Read, &started->file);
  if (status != Error_None) return status;
  File_SetTemporary(started->file, temporary);
  *list = started.release();
  return Error_None;
}

ErrorCode Directory_IterateList(DirectoryList* list, char* line) {
  if (list == nullptr || line == nullptr) return Error_Invalid;
  line[0] = '\0';
  char text[kFileNameSize];
  if (!ScanPiece(list, text)) return Stream_Error(File_GetStream(list->file));
  if (list->directory == nullptr) return iFile_CopyName(text, line);
  char joined[kFileNameSize];
  const ErrorCode status = iFile_Join(list->directory, text, joined);
  return status == Error_None ? iFile_CopyName(joined, line) : status;
}

ErrorCode Directory_EndList(DirectoryList* list) {
  if (list == nullptr) return Error_Invalid;
  const ErrorCode status = File_Close(list->file);
  Memory_Delete(list);
  return status;
}
