// Local files on POSIX systems.
#include "tool/disk_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tool/failure.h"

namespace tool {
namespace {

[[noreturn]] void FailWith(const std::string& action, const std::string& path, int error) {
  std::string text =
      "cannot " + action + " \"" + path + "\": " + std::strerror(error) + " (" + std::to_string(error) + ")";
  if (error == ENOSPC || error == EDQUOT || error == EFBIG) {
    text += "; free some space, then rerun the command to resume";
  }
  if (error == ENAMETOOLONG) text += "; choose a shorter name";
  throw Failure{ExitCode::Disk, text};
}

int Descriptor(std::intptr_t handle) {
  return static_cast<int>(handle);
}

// Another program may have renamed its complete file between open and lock; the open file is then no longer
// the one at the path and must not be written.
bool StandsAt(int descriptor, const std::string& path) {
  struct stat opened {
  }, standing{};
  return fstat(descriptor, &opened) == 0 && lstat(path.c_str(), &standing) == 0 &&
         opened.st_dev == standing.st_dev && opened.st_ino == standing.st_ino;
}

void Lock(int descriptor, const std::string& path) {
  const bool taken = flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  if (!taken && StandsAt(descriptor, path)) return;
  throw Failure{ExitCode::Disk, "\"" + path + "\" is in use by another program; wait until it is done"};
}

}  // namespace

DiskFile::Kind DiskFile::KindOf(const std::string& path) {
  struct stat state {};
  if (lstat(path.c_str(), &state) != 0) {
    if (errno == ENOENT) return Kind::Nothing;
    FailWith("query", path, errno);
  }
  if (S_ISREG(state.st_mode)) return Kind::File;
  if (S_ISLNK(state.st_mode)) return Kind::Link;
  return S_ISDIR(state.st_mode) ? Kind::Folder : Kind::Other;
}

void DiskFile::OpenForReading(const std::string& path) {
  // Not waiting: a pipe without a writer would hold the program here.
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) FailWith("read", path, errno);
  handle_ = descriptor;
  path_ = path;
  struct stat state {};
  if (fstat(descriptor, &state) != 0) FailWith("read", path, errno);
  if (!S_ISREG(state.st_mode)) throw Failure{ExitCode::Disk, "\"" + path + "\" is not a regular file"};
}

void DiskFile::OpenForAppending(const std::string& path) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) FailWith("write to", path, errno);
  handle_ = descriptor;
  path_ = path;
  struct stat state {};
  if (fstat(descriptor, &state) != 0) FailWith("write to", path, errno);
  if (!S_ISREG(state.st_mode)) throw Failure{ExitCode::Disk, "\"" + path + "\" is not a regular file"};
  Lock(descriptor, path);
  SeekTo(Size());
}

void DiskFile::Create(const std::string& path) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
  if (descriptor < 0) FailWith("create", path, errno);
  handle_ = descriptor;
  path_ = path;
  Lock(descriptor, path);
}

std::uint64_t DiskFile::Size() const {
  struct stat state {};
  if (fstat(Descriptor(handle_), &state) != 0) FailWith("query", path_, errno);
  return static_cast<std::uint64_t>(state.st_size);
}

void DiskFile::SeekTo(std::uint64_t position) {
  if (lseek(Descriptor(handle_), static_cast<off_t>(position), SEEK_SET) < 0) FailWith("read", path_, errno);
}

std::size_t DiskFile::Read(std::size_t count, void* buffer) {
  for (;;) {
    const ssize_t done = read(Descriptor(handle_), buffer, count);
    if (done >= 0) return static_cast<std::size_t>(done);
    if (errno != EINTR) FailWith("read", path_, errno);
  }
}

void DiskFile::Write(std::size_t count, const void* buffer) {
  const char* next = static_cast<const char*>(buffer);
  while (count > 0) {
    const ssize_t done = write(Descriptor(handle_), next, count);
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) FailWith("write to", path_, done == 0 ? ENOSPC : errno);
    next += done;
    count -= static_cast<std::size_t>(done);
  }
}

void DiskFile::Truncate() {
  if (ftruncate(Descriptor(handle_), 0) != 0) FailWith("truncate", path_, errno);
  SeekTo(0);
}

void DiskFile::Synchronise() {
  if (fsync(Descriptor(handle_)) != 0 && errno != EINVAL && errno != EROFS)
    FailWith("write to", path_, errno);
}

void DiskFile::Close() {
  if (handle_ != kNoHandle) close(Descriptor(handle_));
  handle_ = kNoHandle;
}

void DiskFile::Remove(const std::string& path) {
  unlink(path.c_str());
}

}  // namespace tool
