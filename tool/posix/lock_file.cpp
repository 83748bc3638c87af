// Locks on POSIX systems: they belong to the open file, so that two of them in one process keep each other
// out.
#include "tool/lock_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tool/failure.h"

namespace tool {
namespace {

int Descriptor(std::intptr_t handle) {
  return static_cast<int>(handle);
}

[[noreturn]] void FailWith(const std::string& what, int error) {
  throw Failure{ExitCode::Disk,
                "cannot lock " + what + ": " + std::strerror(error) + " (" + std::to_string(error) + ")"};
}

struct flock OneByte(std::uint32_t byte, int type) {
  struct flock range {};
  range.l_type = static_cast<decltype(range.l_type)>(type);
  range.l_whence = SEEK_SET;
  range.l_start = static_cast<off_t>(byte);
  range.l_len = 1;
  return range;
}

// Whether it went well; the error is the system's.
bool Control(std::intptr_t handle, int command, struct flock* range) {
  for (;;) {
    if (fcntl(Descriptor(handle), command, range) == 0) return true;
    if (errno != EINTR) return false;
  }
}

}  // namespace

LockFile::LockFile(const std::string& systemPath) {
  const int descriptor =
      open(systemPath.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  if (descriptor < 0) FailWith("\"" + systemPath + "\"", errno);
  handle_ = descriptor;
}

LockFile::~LockFile() {
  close(Descriptor(handle_));
}

bool LockFile::TryLock(std::uint32_t byte, Kind kind) {
  struct flock range = OneByte(byte, kind == Kind::Shared ? F_RDLCK : F_WRLCK);
  if (Control(handle_, F_OFD_SETLK, &range)) return true;
  if (errno == EAGAIN || errno == EACCES) return false;
  FailWith("the folder of the saved transfers", errno);
}

void LockFile::Unlock(std::uint32_t byte) {
  struct flock range = OneByte(byte, F_UNLCK);
  Control(handle_, F_OFD_SETLK, &range);
}

bool LockFile::IsLockedElsewhere(std::uint32_t byte) {
  struct flock range = OneByte(byte, F_WRLCK);
  if (!Control(handle_, F_OFD_GETLK, &range)) FailWith("the folder of the saved transfers", errno);
  return range.l_type != F_UNLCK;
}

}  // namespace tool
