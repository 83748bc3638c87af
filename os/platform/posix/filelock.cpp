// Locks of open files (F_OFD_SETLK): those of a process would be lost as soon as any other part of it, a
// library of the host's, closes the same file.
#include "os/platform/filelock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "os/platform/posix/descriptor_posix.h"

namespace platform {

FileLockResult TryFileLock(const char* name, FileLock* lock) {
  const int descriptor = AboveStandardStreams(open(name, O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666));
  if (descriptor < 0) return FileLockResult::Unavailable;
  struct flock whole = {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  if (fcntl(descriptor, F_OFD_SETLK, &whole) == 0) {
    *lock = descriptor;
    return FileLockResult::Taken;
  }
  const bool isBusy = errno == EAGAIN || errno == EACCES;
  close(descriptor);
  return isBusy ? FileLockResult::Busy : FileLockResult::Unavailable;
}

void ReleaseFileLock(FileLock lock) {
  close(static_cast<int>(lock));
}

}  // namespace platform
