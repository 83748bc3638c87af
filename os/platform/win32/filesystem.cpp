// Names, what stands under them, and volumes. Open files and directory searches stand in files of their own.
#include "os/platform/filesystem.h"

#include <windows.h>

#include <cstdio>
#include <cstring>

#include "os/platform/win32/filesystem_win32.h"

namespace platform {
namespace {

constexpr char kSetupKey[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Setup";

bool ReadBootDirectory(char (&directory)[kNameSize]) {
  HKEY key;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kSetupKey, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS) return false;
  DWORD type = 0;
  DWORD size = kNameSize - 1;
  const LONG result =
      RegQueryValueExA(key, "BootDir", nullptr, &type, reinterpret_cast<BYTE*>(directory), &size);
  RegCloseKey(key);
  if (result != ERROR_SUCCESS || type != REG_SZ || size == 0) return false;
  directory[size] = '\0';  // a stored text need not end with a terminator
  return directory[0] != '\0';
}

// Reparse points that only say how a file or directory is kept (compressed, deduplicated, in the cloud).
bool IsOrdinary(DWORD reparseTag) {
  constexpr DWORD kOrdinaryTags[] = {
      DWORD(IO_REPARSE_TAG_HSM),      DWORD(IO_REPARSE_TAG_HSM2),         DWORD(IO_REPARSE_TAG_SIS),
      DWORD(IO_REPARSE_TAG_WIM),      DWORD(IO_REPARSE_TAG_DEDUP),        DWORD(IO_REPARSE_TAG_WOF),
      DWORD(IO_REPARSE_TAG_ONEDRIVE), DWORD(IO_REPARSE_TAG_STORAGE_SYNC), DWORD(IO_REPARSE_TAG_PROJFS),
  };
  if ((reparseTag & ~DWORD(IO_REPARSE_TAG_CLOUD_MASK)) == DWORD(IO_REPARSE_TAG_CLOUD)) return true;
  for (const DWORD tag : kOrdinaryTags) {
    if (tag == reparseTag) return true;
  }
  return false;
}

// Whether the system opens a directory link itself when asked to. Where it opens what the link leads to, as
// Wine does, it would also remove that.
bool CanOpenLinkItself(const char* name) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE link = CreateFileA(name, FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (link == INVALID_HANDLE_VALUE) return false;
  BY_HANDLE_FILE_INFORMATION opened;
  const bool isKnown = GetFileInformationByHandle(link, &opened) != 0;
  CloseHandle(link);
  return isKnown && (opened.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// The name of an open file without links in it. Systems without links do not have the function.
bool NameOfHandle(HANDLE file, char (&name)[kNameSize]) {
  using Function = DWORD(WINAPI*)(HANDLE, char*, DWORD, DWORD);
  const HMODULE kernel = GetModuleHandleA("KERNEL32.DLL");
  const auto function = reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(kernel, "GetFinalPathNameByHandleA")));
  const DWORD length = function != nullptr ? function(file, name, kNameSize, 0) : 0;
  return length != 0 && length < kNameSize;
}

// Where a link leads to, in the form that other functions take: \\?\C:\dir is C:\dir.
bool FinalName(const char* name, char (&target)[kNameSize]) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file =
      CreateFileA(name, 0, kShareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  char found[kNameSize];
  const bool isFound = NameOfHandle(file, found);
  CloseHandle(file);
  if (!isFound) return false;
  const bool isShare = strncmp(found, "\\\\?\\UNC\\", 8) == 0;
  const bool isPlain = strncmp(found, "\\\\?\\", 4) != 0;
  snprintf(target, kNameSize, "%s%s", isShare ? "\\\\" : "", found + (isShare ? 8 : isPlain ? 0 : 4));
  return true;
}

bool RemoveDirectoryLink(const char* name) {
  if (CanOpenLinkItself(name)) return RemoveEmptyDirectory(name);
  SetLastError(ERROR_ACCESS_DENIED);
  return false;
}

}  // namespace

uint64_t UnitsOf(const FILETIME& time) {
  return (static_cast<uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

FileInformation InformationFrom(const WIN32_FIND_DATAA& found) {
  const bool isDirectory = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  // A tag that is not known may lead elsewhere: who deletes a tree must not enter it.
  const bool isLink =
      (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && !IsOrdinary(found.dwReserved0);
  const uint64_t size = (static_cast<uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
  return {isDirectory, isLink, isDirectory ? 0 : size, UnitsOf(found.ftLastWriteTime)};
}

bool UsesDriveLetters() {
  return true;
}

void BootDirectory(char (&directory)[kNameSize]) {
  if (ReadBootDirectory(directory)) return;
  char windows[kNameSize];
  const UINT length = GetWindowsDirectoryA(windows, kNameSize);
  directory[0] = length >= 2 && windows[1] == ':' ? windows[0] : 'C';
  directory[1] = ':';
  directory[2] = '\0';
}

uint32_t Drives() {
  return GetLogicalDrives();
}

bool CurrentDirectory(char (&directory)[kNameSize]) {
  const DWORD length = GetCurrentDirectoryA(kNameSize, directory);
  if (length < kNameSize) return length != 0;
  SetLastError(ERROR_INVALID_NAME);
  return false;
}

bool ChangeDirectory(const char* name) {
  return SetCurrentDirectoryA(name) != 0;
}

bool AbsoluteName(const char* name, char (&absolute)[kNameSize]) {
  const DWORD length = GetFullPathNameA(name, kNameSize, absolute, nullptr);
  if (length < kNameSize) return length != 0;
  SetLastError(ERROR_INVALID_NAME);
  return false;
}

bool GetInformation(const char* name, FileInformation* information) {
  WIN32_FIND_DATAA found;
  const HANDLE search = FindFirstFileA(name, &found);
  if (search == INVALID_HANDLE_VALUE) return false;
  FindClose(search);
  *information = InformationFrom(found);
  return true;
}

bool MakeDirectory(const char* name) {
  return CreateDirectoryA(name, nullptr) != 0;
}

bool RemoveEmptyDirectory(const char* name) {
  return RemoveDirectoryA(name) != 0;
}

bool RemoveFile(const char* name) {
  return DeleteFileA(name) != 0;
}

bool RemoveLink(const char* name) {
  const DWORD attributes = GetFileAttributesA(name);
  const bool isDirectory =
      attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  return isDirectory ? RemoveDirectoryLink(name) : RemoveFile(name);
}

bool RenameWithoutReplacing(const char* from, const char* to) {
  return MoveFileA(from, to) != 0;
}

bool IdentifyDirectory(const char* name, DirectoryIdentity* identity) {
  constexpr DWORD kEverybody = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE handle =
      CreateFileA(name, 0, kEverybody, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return false;
  BY_HANDLE_FILE_INFORMATION information;
  const bool isTold = GetFileInformationByHandle(handle, &information) != 0;
  CloseHandle(handle);
  if (!isTold) return false;
  *identity = {information.dwVolumeSerialNumber,
               (uint64_t{information.nFileIndexHigh} << 32) | information.nFileIndexLow};
  return true;
}

bool RenameReplacing(const char* from, const char* to) {
  return MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING) != 0;
}

bool FollowLink(const char* name, char (&target)[kNameSize]) {
  FileInformation information;
  if (GetInformation(name, &information) && information.isLink) return FinalName(name, target);
  if (lstrlenA(name) < static_cast<int>(kNameSize)) return lstrcpynA(target, name, kNameSize) != nullptr;
  SetLastError(ERROR_INVALID_NAME);
  return false;
}

bool DuplicateFile(const char* from, const char* to) {
  if (CopyFileA(from, to, TRUE) == 0) return false;
  SetLastError(ERROR_SUCCESS);
  return true;
}

bool GetVolumeSpace(const char* name, VolumeSpace* space) {
  DWORD sectorsPerCluster = 0;
  DWORD bytesPerSector = 0;
  DWORD freeClusters = 0;
  DWORD clusters = 0;
  if (!GetDiskFreeSpaceA(name, &sectorsPerCluster, &bytesPerSector, &freeClusters, &clusters)) return false;
  const uint64_t clusterBytes = static_cast<uint64_t>(bytesPerSector) * sectorsPerCluster;
  *space = {clusterBytes * freeClusters, clusterBytes * clusters};
  return true;
}

bool GetAvailableBytes(const char* name, uint64_t* availableBytes) {
  ULARGE_INTEGER available;
  if (!GetDiskFreeSpaceExA(name, &available, nullptr, nullptr)) return false;
  *availableBytes = available.QuadPart;
  return true;
}

}  // namespace platform
