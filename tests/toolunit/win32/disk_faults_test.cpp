// The calls that fail on Windows. They are made through pointers, which the linker replaces.
#include "tests/toolunit/disk_faults.h"

#include <windows.h>

#include <atomic>
#include <set>

namespace {

// The handles of watched files. Any thread opens and closes files, those of the C++ runtime's locks too: so
// this one is made of nothing that would.
class WatchedHandles {
 public:
  void Insert(HANDLE handle) {
    const Guard guard(&isInUse_);
    handles_.insert(handle);
  }
  void Erase(HANDLE handle) {
    const Guard guard(&isInUse_);
    handles_.erase(handle);
  }
  bool Contains(HANDLE handle) {
    const Guard guard(&isInUse_);
    return handles_.contains(handle);
  }

 private:
  class Guard {
   public:
    explicit Guard(std::atomic_flag* flag) : flag_(flag) {
      while (flag_->test_and_set()) Sleep(0);
    }
    ~Guard() { flag_->clear(); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

   private:
    std::atomic_flag* flag_;
  };

  std::atomic_flag isInUse_;
  std::set<HANDLE> handles_;
};

WatchedHandles watched;

bool FailsWith(DWORD error) {
  if (!DiskFault::Fails()) return false;
  SetLastError(error);
  return true;
}
bool FailsFor(HANDLE handle) {
  return watched.Contains(handle) && FailsWith(ERROR_DISK_FULL);
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
  if (isChanged && handle != INVALID_HANDLE_VALUE) watched.Insert(handle);
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
  // Before it is closed: another thread may get the same one next.
  watched.Erase(handle);
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
