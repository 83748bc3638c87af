// The calls that fail on Windows. They are made through pointers, which the linker replaces.
#include "tests/toolunit/disk_faults.h"

#include <windows.h>

#include <set>

namespace {

std::set<HANDLE> watched;

bool FailsWith(DWORD error) {
  if (!DiskFault::Fails()) return false;
  SetLastError(error);
  return true;
}
bool FailsFor(HANDLE handle) {
  return watched.contains(handle) && FailsWith(ERROR_DISK_FULL);
}
bool FailsFor(const char* path) {
  return DiskFault::IsWatched(path) && FailsWith(ERROR_IO_DEVICE);
}

}  // namespace

extern "C" {

extern decltype(&CreateFileA) realCreateFile asm("___real__imp__CreateFileA@28");
extern decltype(&CreateFileA) wrappedCreateFile asm("___wrap__imp__CreateFileA@28");
extern decltype(&WriteFile) realWriteFile asm("___real__imp__WriteFile@20");
extern decltype(&WriteFile) wrappedWriteFile asm("___wrap__imp__WriteFile@20");
extern decltype(&CloseHandle) realCloseHandle asm("___real__imp__CloseHandle@4");
extern decltype(&CloseHandle) wrappedCloseHandle asm("___wrap__imp__CloseHandle@4");
extern decltype(&MoveFileExA) realMoveFileEx asm("___real__imp__MoveFileExA@12");
extern decltype(&MoveFileExA) wrappedMoveFileEx asm("___wrap__imp__MoveFileExA@12");
extern decltype(&DeleteFileA) realDeleteFile asm("___real__imp__DeleteFileA@4");
extern decltype(&DeleteFileA) wrappedDeleteFile asm("___wrap__imp__DeleteFileA@4");

static HANDLE WINAPI FaultyCreateFile(const char* path, DWORD access, DWORD sharing,
                                      LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
                                      HANDLE like) {
  const bool isChanged = (access & GENERIC_WRITE) != 0 && DiskFault::IsWatched(path);
  if (isChanged && FailsWith(ERROR_DISK_FULL)) return INVALID_HANDLE_VALUE;
  const HANDLE handle = realCreateFile(path, access, sharing, security, disposition, flags, like);
  if (isChanged && handle != INVALID_HANDLE_VALUE) watched.insert(handle);
  return handle;
}

static BOOL WINAPI FaultyWriteFile(HANDLE handle, const void* bytes, DWORD count, DWORD* done,
                                   OVERLAPPED* place) {
  if (!FailsFor(handle)) return realWriteFile(handle, bytes, count, done, place);
  // What a full disk leaves.
  realWriteFile(handle, bytes, count / 2, done, place);
  SetLastError(ERROR_DISK_FULL);
  return FALSE;
}

static BOOL WINAPI FaultyCloseHandle(HANDLE handle) {
  const bool fails = FailsFor(handle);
  watched.erase(handle);
  const BOOL result = realCloseHandle(handle);
  if (fails) SetLastError(ERROR_IO_DEVICE);
  return fails ? FALSE : result;
}

static BOOL WINAPI FaultyMoveFileEx(const char* from, const char* to, DWORD flags) {
  return FailsFor(from) ? FALSE : realMoveFileEx(from, to, flags);
}

static BOOL WINAPI FaultyDeleteFile(const char* path) {
  return FailsFor(path) ? FALSE : realDeleteFile(path);
}

decltype(&CreateFileA) wrappedCreateFile = FaultyCreateFile;
decltype(&WriteFile) wrappedWriteFile = FaultyWriteFile;
decltype(&CloseHandle) wrappedCloseHandle = FaultyCloseHandle;
decltype(&MoveFileExA) wrappedMoveFileEx = FaultyMoveFileEx;
decltype(&DeleteFileA) wrappedDeleteFile = FaultyDeleteFile;

}  // extern "C"
