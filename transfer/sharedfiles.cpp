#include "os/file/file_internal.h"
#include "os/platform/clock.h"
#include "qz/error.h"
#include "qz/os.h"
#include "transfer/sharedfiles_internal.h"

namespace {

constexpr char kLockFile[] = "qz.lock";
constexpr float kPauseSeconds = 0.01f;

bool FindLockFile(char (&systemName)[kFileNameSize]) {
  char path[kFileNameSize];
  return File_GetSysDir(SysDir_Cache, path) == Error_None &&
         iFile_Join(path, kLockFile, path) == Error_None &&
         iFile_ToSystemName(path, systemName) == Error_None;
}

}  // namespace

SharedFilesLock::SharedFilesLock(uint32_t waitMilliseconds) {
  char name[kFileNameSize];
  if (!FindLockFile(name)) return;
  const uint64_t end = platform::MonotonicMilliseconds() + waitMilliseconds;
  // No system can wait for such a lock for a limited time.
  for (;;) {
    result_ = platform::TryFileLock(name, &lock_);
    if (!isBusy() || platform::MonotonicMilliseconds() >= end) return;
    OS_Delay(kPauseSeconds);
  }
}

SharedFilesLock::~SharedFilesLock() {
  if (result_ == platform::FileLockResult::Taken) platform::ReleaseFileLock(lock_);
}
