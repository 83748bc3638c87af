// Directory searches.
#include <windows.h>

#include <cstdio>
#include <cstring>

#include "os/platform/filesystem.h"
#include "os/platform/win32/filesystem_win32.h"
#include "qz/memory.h"

namespace platform {

struct DirectorySearch {
  HANDLE handle;
  WIN32_FIND_DATAA found;
  bool isUnread;  // `found` holds an entry that was not handed out
};

namespace {

bool IsOwnOrParent(const char* name) {
  return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

// No name holds one of these; a letter of another alphabet may be written so in this code page, and the
// result would be a path to another place.
bool IsPath(const char* name) {
  return strpbrk(name, "\\/:") != nullptr;
}

bool FormPattern(const char* directory, char (&pattern)[kNameSize]) {
  const size_t length = strlen(directory);
  const bool isDelimited = length != 0 && directory[length - 1] == '\\';
  const int needed = snprintf(pattern, kNameSize, "%s%s*.*", directory, isDelimited ? "" : "\\");
  if (needed >= 0 && static_cast<size_t>(needed) < kNameSize) return true;
  SetLastError(ERROR_INVALID_NAME);
  return false;
}

bool Advance(DirectorySearch* search) {
  if (search->isUnread) {
    search->isUnread = false;
    return true;
  }
  if (FindNextFileA(search->handle, &search->found)) return true;
  if (GetLastError() == ERROR_NO_MORE_FILES) SetLastError(ERROR_SUCCESS);
  return false;
}

}  // namespace

DirectorySearch* BeginSearch(const char* directory) {
  char pattern[kNameSize];
  if (!FormPattern(directory, pattern)) return nullptr;
  DirectorySearch* search = static_cast<DirectorySearch*>(Memory_New(sizeof(DirectorySearch)));
  if (search == nullptr) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  search->handle = FindFirstFileA(pattern, &search->found);
  search->isUnread = true;
  if (search->handle != INVALID_HANDLE_VALUE) return search;
  const DWORD error = GetLastError();
  Memory_Delete(search);
  SetLastError(error);
  return nullptr;
}

bool NextEntry(DirectorySearch* search, DirectoryEntry* entry) {
  do {
    if (!Advance(search)) return false;
  } while (IsOwnOrParent(search->found.cFileName) || IsPath(search->found.cFileName));
  memcpy(entry->name, search->found.cFileName, strlen(search->found.cFileName) + 1);
  entry->information = InformationFrom(search->found);
  return true;
}

DirectorySearch* BeginSearchIn(DirectorySearch*, const char* path) {
  return BeginSearch(path);
}

bool RemoveEmptyDirectoryIn(DirectorySearch*, const char* path) {
  return RemoveEmptyDirectory(path);
}

bool RemoveFileIn(DirectorySearch*, const char* path) {
  return RemoveFile(path);
}

bool RemoveLinkIn(DirectorySearch*, const char* path) {
  return RemoveLink(path);
}

void EndSearch(DirectorySearch* search) {
  if (search == nullptr) return;
  FindClose(search->handle);
  Memory_Delete(search);
}

}  // namespace platform
