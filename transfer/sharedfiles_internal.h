// The files of the cache folder that all programs of a user share: the statistics, and the preferences of
// programs with one application name. Each is read again and replaced whole under one lock, so that what
// another program has stored since is kept; of what two programs changed, the later one's stands.
#pragma once

#include <cstdint>

#include "os/platform/filelock.h"
#include "qz/error.h"

// The lock, held for the block; the file "qz.lock" of the cache folder, which stays. Where there can be no
// lock the block runs without one. Do not hold it while waiting for anything but the disk.
class SharedFilesLock {
 public:
  explicit SharedFilesLock(uint32_t waitMilliseconds);
  ~SharedFilesLock();
  SharedFilesLock(const SharedFilesLock&) = delete;
  SharedFilesLock& operator=(const SharedFilesLock&) = delete;

  // Whether another program held it for the whole wait.
  bool isBusy() const { return result_ == platform::FileLockResult::Busy; }

 private:
  platform::FileLockResult result_ = platform::FileLockResult::Unavailable;
  platform::FileLock lock_ = 0;
};

// Reads one of the files: calls read(), and once more under the lock when that fails, for on Windows a file
// that another program replaces at this moment cannot be opened. Gives the status of the last call.
template <typename Read>
ErrorCode iSharedFiles_Read(Read read) {
  constexpr uint32_t kWaitMilliseconds = 2000;
  const ErrorCode status = read();
  if (status == Error_None) return status;
  const SharedFilesLock lock(kWaitMilliseconds);
  return read();
}
