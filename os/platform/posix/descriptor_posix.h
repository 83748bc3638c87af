// Descriptors that the library opens for itself.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

// Moves a descriptor that was just opened away from those of the standard streams. A host may have closed
// them, and whatever stands in their place receives what the host and the library report there. Gives the
// descriptor, or -1 with errno set when there is none, also when `opened` is -1 already.
inline int AboveStandardStreams(int opened) {
  constexpr int kFirstOther = STDERR_FILENO + 1;
  if (opened < 0 || opened >= kFirstOther) return opened;
  const int moved = fcntl(opened, F_DUPFD_CLOEXEC, kFirstOther);
  const int error = errno;
  close(opened);
  errno = error;
  return moved;
}

}  // namespace platform
