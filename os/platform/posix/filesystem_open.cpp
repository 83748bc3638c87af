// Open files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "os/platform/filesystem.h"
#include "os/platform/posix/descriptor_posix.h"
#include "os/platform/posix/filesystem_posix.h"

namespace platform {
namespace {

int OpenFlags(const OpenOptions& options) {
  const bool updates = options.mode[1] == '+';
  int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  switch (options.mode[0]) {
    case 'r':
      return flags | (updates ? O_RDWR : O_RDONLY);
    case 'w':
      flags |= O_CREAT | (options.mustBeNew ? O_EXCL : 0);
      break;
    default:
      flags |= O_CREAT | O_APPEND;
      break;
  }
  return flags | (updates ? O_RDWR : O_WRONLY);
}

// A pipe or device was opened without waiting for its other end; reading and writing then block as usual.
bool MakeBlocking(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  return flags >= 0 && fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) == 0;
}

bool IsUsable(int descriptor) {
  struct stat status;
  if (fstat(descriptor, &status) != 0) return false;
  if (S_ISDIR(status.st_mode)) {
    errno = EACCES;
    return false;
  }
  return S_ISREG(status.st_mode) || MakeBlocking(descriptor);
}

// Cuts an old file only when all else has succeeded; what is no ordinary file has no length to cut.
bool CutWhenOverwriting(int descriptor, const OpenOptions& options) {
  if (options.mode[0] != 'w' || options.mustBeNew) return true;
  struct stat status;
  if (fstat(descriptor, &status) != 0) return false;
  return !S_ISREG(status.st_mode) || ftruncate(descriptor, 0) == 0;
}

// The group's bits become those of everybody, where they allow more.
mode_t ForAnotherGroup(mode_t mode) {
  const mode_t ofEverybody = (mode & S_IRWXO) << 3;
  return mode & (static_cast<mode_t>(~S_IRWXG) | ofEverybody);
}

void CloseUnused(FILE* stream, int descriptor) {
  if (stream != nullptr) fclose(stream);
  if (stream == nullptr) close(descriptor);
}

}  // namespace

FILE* OpenStream(const char* name, const OpenOptions& options) {
  const int descriptor =
      AboveStandardStreams(open(name, OpenFlags(options), options.isPrivate ? 0600 : 0666));
  if (descriptor < 0) return nullptr;
  FILE* stream = IsUsable(descriptor) ? fdopen(descriptor, options.mode) : nullptr;
  if (stream != nullptr && CutWhenOverwriting(descriptor, options)) return stream;
  const int error = errno;
  CloseUnused(stream, descriptor);
  if (options.mustBeNew) unlink(name);
  errno = error;
  return nullptr;
}

int DescriptorOf(FILE* stream) {
  return fileno(stream);
}

bool TranslatesLineEnds() {
  return false;
}

int64_t ReadDescriptor(int descriptor, uint32_t count, void* buffer) {
  ssize_t moved;
  do {
    moved = read(descriptor, buffer, count);
  } while (moved < 0 && errno == EINTR);
  return moved;
}

int64_t ReadUntranslated(int descriptor, uint32_t count, void* buffer) {
  return ReadDescriptor(descriptor, count, buffer);
}

int64_t WriteDescriptor(int descriptor, uint32_t count, const void* buffer) {
  ssize_t moved;
  do {
    moved = write(descriptor, buffer, count);
  } while (moved < 0 && errno == EINTR);
  return moved;
}

int64_t SeekDescriptor(int descriptor, int64_t offset, int whence) {
  constexpr int kOrigins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  return lseek(descriptor, offset, kOrigins[whence]);
}

bool TruncateDescriptor(int descriptor) {
  return ftruncate(descriptor, 0) == 0;
}

bool GetDescriptorInformation(int descriptor, FileInformation* information) {
  struct stat status;
  if (fstat(descriptor, &status) != 0) return false;
  *information = InformationFrom(status);
  return true;
}

bool IsOrdinaryFile(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

bool KeepPermissions(int from, int to) {
  struct stat status;
  if (fstat(from, &status) != 0) return false;
  // Only a privileged user may give a file away, others may give it to a group of theirs.
  constexpr auto kSameUser = static_cast<uid_t>(-1);
  constexpr auto kSameGroup = static_cast<gid_t>(-1);
  const bool hasGroup = fchown(to, kSameUser, status.st_gid) == 0;
  const bool hasOwner = fchown(to, status.st_uid, kSameGroup) == 0;
  mode_t mode = status.st_mode & 07777;
  if (!hasGroup) mode = ForAnotherGroup(mode);
  if (!hasGroup || !hasOwner) mode &= static_cast<mode_t>(~(S_ISUID | S_ISGID));
  return fchmod(to, mode) == 0;
}

bool FlushToDisk(int descriptor) {
  if (fsync(descriptor) == 0) return true;
  return errno == EINVAL || errno == ENOTSUP || errno == ENOSYS;  // this file system cannot tell
}

bool FlushFileSystem(const char* directory) {
  const int descriptor = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool isFlushed = syncfs(descriptor) == 0;
  close(descriptor);
  return isFlushed;
}

bool NameLeadsToDescriptor(const char* name, int descriptor) {
  struct stat named;
  struct stat opened;
  if (stat(name, &named) != 0 || fstat(descriptor, &opened) != 0) return false;
  return named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

}  // namespace platform
