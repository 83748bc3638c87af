// The calls that fail on POSIX systems.
#include "tests/toolunit/disk_faults.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>

namespace {

std::array<bool, 4096> isWatched;

bool IsWatched(int descriptor) {
  return descriptor >= 0 && static_cast<std::size_t>(descriptor) < isWatched.size() &&
         isWatched[static_cast<std::size_t>(descriptor)];
}

bool FailsWith(int error) {
  if (!DiskFault::Fails()) return false;
  errno = error;
  return true;
}
bool FailsFor(int descriptor) {
  return IsWatched(descriptor) && FailsWith(ENOSPC);
}
bool FailsFor(const char* path) {
  return DiskFault::IsWatched(path) && FailsWith(EIO);
}

}  // namespace

extern "C" {

int __real_open(const char*, int, ...);
int __wrap_open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  const bool isChanged = (flags & O_ACCMODE) != O_RDONLY && DiskFault::IsWatched(path);
  if (isChanged && FailsWith(ENOSPC)) return -1;
  const int descriptor = __real_open(path, flags, mode);
  if (descriptor >= 0 && static_cast<std::size_t>(descriptor) < isWatched.size())
    isWatched[static_cast<std::size_t>(descriptor)] = isChanged;
  return descriptor;
}

ssize_t __real_write(int, const void*, std::size_t);
ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t count) {
  if (!FailsFor(descriptor)) return __real_write(descriptor, bytes, count);
  // What a full disk leaves.
  if (__real_write(descriptor, bytes, count / 2) < 0) return -1;
  errno = ENOSPC;
  return -1;
}

int __real_close(int);
int __wrap_close(int descriptor) {
  const bool fails = FailsFor(descriptor);
  if (IsWatched(descriptor)) isWatched[static_cast<std::size_t>(descriptor)] = false;
  const int result = __real_close(descriptor);
  if (fails) errno = EIO;
  return fails ? -1 : result;
}

int __real_rename(const char*, const char*);
int __wrap_rename(const char* from, const char* to) {
  return FailsFor(from) ? -1 : __real_rename(from, to);
}

int __real_renameat2(int, const char*, int, const char*, unsigned);
int __wrap_renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
  return FailsFor(from) ? -1 : __real_renameat2(fromFolder, from, toFolder, to, flags);
}

int __real_unlink(const char*);
int __wrap_unlink(const char* path) {
  return FailsFor(path) ? -1 : __real_unlink(path);
}

}  // extern "C"
