// Local files on POSIX systems.
#include "tool/disk_file.h"

#include <fcntl.h>
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

std::size_t DiskFile::Read(std::size_t count, void* buffer) {
  for (;;) {
    const ssize_t done = read(Descriptor(handle_), buffer, count);
    if (done >= 0) return static_cast<std::size_t>(done);
    if (errno != EINTR) FailWith("read", path_, errno);
  }
}

void DiskFile::Close() {
  if (handle_ != kNoHandle) close(Descriptor(handle_));
  handle_ = kNoHandle;
}

}  // namespace tool
