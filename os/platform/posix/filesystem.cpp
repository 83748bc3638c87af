// Names, what stands under them, and volumes. Open files and directory searches stand in files of their own.
#include "os/platform/filesystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "os/platform/posix/descriptor_posix.h"
#include "os/platform/posix/filesystem_posix.h"
#include "os/platform/walltime.h"

namespace platform {
namespace {

constexpr int kUnnamedError = EIO;

// For file systems that cannot refuse to replace in one step: a second name fails where one exists already.
bool RenameFileByLinking(const char* from, const char* to) {
  if (link(from, to) != 0) return false;
  if (unlink(from) == 0) return true;
  const int error = errno;
  unlink(to);
  errno = error;
  return false;
}

bool RenameInTwoSteps(const char* from, const char* to) {
  struct stat status;
  if (lstat(from, &status) != 0) return false;
  if (!S_ISDIR(status.st_mode)) {
    if (RenameFileByLinking(from, to)) return true;
    // Without second names there remains a moment between looking and renaming.
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS) return false;
  }
  if (lstat(to, &status) == 0) {
    errno = EEXIST;
    return false;
  }
  return rename(from, to) == 0;
}

bool CopyBytes(int from, int to) {
  char buffer[65536];
  for (;;) {
    const int64_t count = ReadDescriptor(from, sizeof buffer, buffer);
    if (count <= 0) return count == 0;
    for (int64_t done = 0; done < count;) {
      const int64_t written = WriteDescriptor(to, static_cast<uint32_t>(count - done), buffer + done);
      if (written <= 0) return false;
      done += written;
    }
  }
}

bool CopyContents(int from, int to, const struct stat& status) {
  if (!CopyBytes(from, to)) return false;
  const struct timespec times[2] = {status.st_atim, status.st_mtim};
  return futimens(to, times) == 0 && fsync(to) == 0;
}

bool DuplicateOpenFile(int from, const char* to) {
  struct stat status;
  if (fstat(from, &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) {
    errno = EACCES;
    return false;
  }
  const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  const int descriptor = AboveStandardStreams(open(to, flags, status.st_mode & 0777));
  if (descriptor < 0) return false;
  const bool copied = CopyContents(from, descriptor, status);
  const int error = errno;
  const bool closed = close(descriptor) == 0;
  if (copied && closed) return true;
  if (!copied) errno = error;
  const int firstError = errno;
  unlink(to);
  errno = firstError;
  return false;
}

bool CopyName(const char* name, char (&copy)[kNameSize]) {
  const int length = snprintf(copy, kNameSize, "%s", name);
  if (length >= 0 && static_cast<size_t>(length) < kNameSize) return true;
  errno = ENAMETOOLONG;
  return false;
}

// Replaces the name of a link by what the link says, which counts from the link's own directory.
bool JoinLink(char (&name)[kNameSize], std::string_view link) {
  const char* const slash = strrchr(name, '/');
  const bool isAbsolute = !link.empty() && link.front() == '/';
  const size_t directoryLength = isAbsolute || slash == nullptr ? 0 : static_cast<size_t>(slash + 1 - name);
  if (directoryLength + link.size() >= kNameSize) {
    errno = ENAMETOOLONG;
    return false;
  }
  memcpy(name + directoryLength, link.data(), link.size());
  name[directoryLength + link.size()] = '\0';
  return true;
}

bool GetStatistics(const char* name, struct statvfs* statistics) {
  return statvfs(name != nullptr ? name : ".", statistics) == 0;
}

}  // namespace

FileInformation InformationFrom(const struct stat& status) {
  const int64_t seconds = static_cast<int64_t>(status.st_mtim.tv_sec) + kSecondsFrom1601To1970;
  const bool isDirectory = S_ISDIR(status.st_mode);
  FileInformation information{};
  information.isDirectory = isDirectory;
  information.isSpecial = !isDirectory && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode);
  information.sizeBytes = isDirectory || status.st_size < 0 ? 0 : static_cast<uint64_t>(status.st_size);
  if (seconds >= 0 && seconds < INT64_MAX / kFileTimeUnitsPerSecond) {
    information.modified =
        static_cast<uint64_t>(seconds * kFileTimeUnitsPerSecond + status.st_mtim.tv_nsec / 100);
  }
  return information;
}

bool GetInformationAt(int directory, const char* name, FileInformation* information) {
  struct stat status;
  if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return false;
  const bool isLink = S_ISLNK(status.st_mode);
  if (isLink) {
    struct stat target;
    if (fstatat(directory, name, &target, 0) == 0) status = target;
  }
  *information = InformationFrom(status);
  information->isLink = isLink;
  return true;
}

bool RemoveFileAt(int directory, const char* name) {
  if (unlinkat(directory, name, 0) == 0) return true;
  if (errno == EISDIR) errno = EACCES;
  return false;
}

bool UsesDriveLetters() {
  return false;
}

void BootDirectory(char (&directory)[kNameSize]) {
  directory[0] = '\0';
}

uint32_t Drives() {
  return 0;
}

bool CurrentDirectory(char (&directory)[kNameSize]) {
  if (getcwd(directory, kNameSize) != nullptr) return true;
  if (errno == ERANGE) errno = ENAMETOOLONG;
  return false;
}

bool ChangeDirectory(const char* name) {
  return chdir(name) == 0;
}

bool AbsoluteName(const char* name, char (&absolute)[kNameSize]) {
  char directory[kNameSize] = "";
  if (name[0] != '/' && !CurrentDirectory(directory)) return false;
  const bool isDelimited = name[0] == '/' || strcmp(directory, "/") == 0;
  const char* separator = isDelimited ? "" : "/";
  const int length = snprintf(absolute, kNameSize, "%s%s%s", directory, separator, name);
  if (length >= 0 && static_cast<size_t>(length) < kNameSize) return true;
  errno = ENAMETOOLONG;
  return false;
}

bool GetInformation(const char* name, FileInformation* information) {
  return GetInformationAt(AT_FDCWD, name, information);
}

bool MakeDirectory(const char* name) {
  return mkdir(name, 0777) == 0;
}

bool RemoveEmptyDirectory(const char* name) {
  return rmdir(name) == 0;
}

bool RemoveFile(const char* name) {
  return RemoveFileAt(AT_FDCWD, name);
}

bool RemoveLink(const char* name) {
  return unlink(name) == 0;
}

bool RenameWithoutReplacing(const char* from, const char* to) {
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
  if (errno != ENOSYS && errno != EINVAL) return false;
  return RenameInTwoSteps(from, to);
}

bool IdentifyDirectory(const char* name, DirectoryIdentity* identity) {
  struct stat status;
  if (stat(name, &status) != 0) return false;
  *identity = {status.st_dev, status.st_ino};
  return true;
}

bool RenameReplacing(const char* from, const char* to) {
  return rename(from, to) == 0;
}

bool FollowLink(const char* name, char (&target)[kNameSize]) {
  constexpr int kMostLinks = 40;
  if (!CopyName(name, target)) return false;
  struct stat status;
  if (stat(name, &status) == 0 && !S_ISREG(status.st_mode)) return true;
  for (int i = 0; i < kMostLinks; ++i) {
    char link[kNameSize];
    const ssize_t length = readlink(target, link, sizeof link);
    if (length < 0) return errno == EINVAL || errno == ENOENT;  // no link, or nothing there
    if (!JoinLink(target, {link, static_cast<size_t>(length)})) return false;
  }
  errno = ELOOP;
  return false;
}

bool DuplicateFile(const char* from, const char* to) {
  const int descriptor = AboveStandardStreams(open(from, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (descriptor < 0) return false;
  const bool copied = DuplicateOpenFile(descriptor, to);
  const int error = errno != 0 ? errno : kUnnamedError;
  close(descriptor);
  errno = copied ? 0 : error;
  return copied;
}

bool GetVolumeSpace(const char* name, VolumeSpace* space) {
  struct statvfs statistics;
  if (!GetStatistics(name, &statistics)) return false;
  const uint64_t unit = statistics.f_frsize;
  *space = {unit * statistics.f_bavail, unit * statistics.f_blocks};
  return true;
}

bool GetAvailableBytes(const char* name, uint64_t* availableBytes) {
  VolumeSpace space;
  if (!GetVolumeSpace(name, &space)) return false;
  *availableBytes = space.freeBytes;
  return true;
}

}  // namespace platform
