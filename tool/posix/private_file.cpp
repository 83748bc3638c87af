// Private files on POSIX systems.
#include "tool/private_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "tool/failure.h"

namespace tool {
namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;
constexpr off_t kLongestFileBytes = 64 << 20;

[[noreturn]] void FailWith(const std::string& action, const std::string& path, int error) {
  std::string text =
      "cannot " + action + " \"" + path + "\": " + std::strerror(error) + " (" + std::to_string(error) + ")";
  if (error == ENOSPC || error == EDQUOT || error == EFBIG)
    text += "; free some space, then rerun the command";
  throw Failure{ExitCode::Disk, text};
}

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Get() const { return descriptor_; }
  bool IsOpen() const { return descriptor_ >= 0; }
  // A failure of an earlier write may be told here, and only here.
  bool Close() {
    const int closing = descriptor_;
    descriptor_ = -1;
    return close(closing) == 0 || errno == EINTR;
  }

 private:
  int descriptor_;
};

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// What others may change could be anybody's transfers.
void RefuseFolderOfOthers(const std::string& path, const struct stat& state) {
  if (!S_ISDIR(state.st_mode)) throw Failure{ExitCode::Disk, "\"" + path + "\" is not a folder"};
  const bool isOwn = state.st_uid == geteuid() || geteuid() == 0;
  if (isOwn && (state.st_mode & (S_IWGRP | S_IWOTH)) == 0) return;
  throw Failure{ExitCode::Disk,
                "the folder \"" + path +
                    "\" may be changed by other users; choose another one, or make it private "
                    "(chmod 700)"};
}

void MakeFolder(const std::string& path) {
  if (mkdir(path.c_str(), kFolderMode) == 0 || errno == EEXIST) return;
  if (errno != ENOENT || FolderOf(path) == path) FailWith("create the folder", path, errno);
  MakeFolder(FolderOf(path));
  if (mkdir(path.c_str(), kFolderMode) != 0 && errno != EEXIST) FailWith("create the folder", path, errno);
}

// A new file is no link to anywhere, and was never readable by others. Its one writer finds only what a
// killed program left.
int OpenNewFile(const std::string& path) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  int descriptor = open(path.c_str(), kFlags, kFileMode);
  if (descriptor < 0 && errno == EEXIST && unlink(path.c_str()) == 0) {
    descriptor = open(path.c_str(), kFlags, kFileMode);
  }
  if (descriptor < 0) FailWith("create", path, errno);
  return descriptor;
}

void WriteAll(const Descriptor& file, const std::string& path, const std::string& bytes) {
  const char* next = bytes.data();
  std::size_t left = bytes.size();
  while (left > 0) {
    const ssize_t done = write(file.Get(), next, left);
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) FailWith("write to", path, done == 0 ? ENOSPC : errno);
    next += done;
    left -= static_cast<std::size_t>(done);
  }
}

void FlushToDisk(int descriptor, const std::string& path) {
  if (fsync(descriptor) != 0 && errno != EINVAL && errno != EROFS) FailWith("write to", path, errno);
}

void FlushFolder(const std::string& path) {
  const Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.IsOpen()) FailWith("read", path, errno);
  FlushToDisk(folder.Get(), path);
}

void WriteNewFile(const std::string& path, const std::string& bytes, bool synchronise) {
  Descriptor file(OpenNewFile(path));
  WriteAll(file, path, bytes);
  if (synchronise) FlushToDisk(file.Get(), path);
  if (!file.Close()) FailWith("write to", path, errno);
}

// Where one file replaces another, some file systems write the new one to disk at once, which takes
// milliseconds. When two change places they do not.
bool ExchangeAndRemove(const std::string& newPath, const std::string& path) {
  if (renameat2(AT_FDCWD, newPath.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE) != 0) return false;
  unlink(newPath.c_str());
  return true;
}

void Replace(const std::string& newPath, const std::string& path) {
  if (rename(newPath.c_str(), path.c_str()) != 0) FailWith("write to", path, errno);
}

std::string ReadAll(const Descriptor& file, const std::string& path, off_t size) {
  std::string bytes(static_cast<std::size_t>(size), '\0');
  std::size_t count = 0;
  while (count < bytes.size()) {
    const ssize_t done = read(file.Get(), bytes.data() + count, bytes.size() - count);
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) FailWith("read", path, errno);
    if (done == 0) break;
    count += static_cast<std::size_t>(done);
  }
  bytes.resize(count);
  return bytes;
}

}  // namespace

void MakePrivateFolder(const std::string& path) {
  MakeFolder(path);
  struct stat state {};
  if (stat(path.c_str(), &state) != 0) FailWith("query", path, errno);
  RefuseFolderOfOthers(path, state);
}

std::vector<std::string> NamesInFolder(const std::string& folder) {
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir(folder.c_str()), closedir);
  if (!listing) FailWith("read the folder", folder, errno);
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(listing.get());
    if (entry == nullptr) break;
    names.emplace_back(entry->d_name);
  }
  if (errno != 0) FailWith("read the folder", folder, errno);
  return names;
}

bool IsRegularFile(const std::string& path) {
  struct stat state {};
  return lstat(path.c_str(), &state) == 0 && S_ISREG(state.st_mode);
}

std::optional<std::string> ReadPrivateFile(const std::string& path) {
  // Not waiting: a pipe without a writer would hold the program here.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.IsOpen() && errno == ENOENT) return std::nullopt;
  if (!file.IsOpen()) FailWith("read", path, errno);
  struct stat state {};
  if (fstat(file.Get(), &state) != 0) FailWith("read", path, errno);
  if (!S_ISREG(state.st_mode)) throw Failure{ExitCode::Disk, "\"" + path + "\" is not a regular file"};
  if (state.st_size > kLongestFileBytes) FailWith("read", path, EFBIG);
  return ReadAll(file, path, state.st_size);
}

void WritePrivateFile(const std::string& path, const std::string& bytes, bool synchronise) {
  const std::string newPath = path + ".new";
  try {
    WriteNewFile(newPath, bytes, synchronise);
    const bool isRegular = !synchronise && IsRegularFile(path);
    if (!isRegular || !ExchangeAndRemove(newPath, path)) Replace(newPath, path);
  } catch (...) {
    unlink(newPath.c_str());
    throw;
  }
  if (synchronise) FlushFolder(FolderOf(path));
}

void CreatePrivateFile(const std::string& path, const std::string& bytes) {
  try {
    WriteNewFile(path, bytes, false);
  } catch (...) {
    unlink(path.c_str());
    throw;
  }
}

void OverwritePrivateFile(const std::string& path, const std::string& bytes) {
  Descriptor file(open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.IsOpen()) FailWith("write to", path, errno);
  WriteAll(file, path, bytes);
  if (!file.Close()) FailWith("write to", path, errno);
}

void RenamePrivateFile(const std::string& from, const std::string& to) {
  if (rename(from.c_str(), to.c_str()) != 0 && errno != ENOENT) FailWith("rename", from, errno);
}

void RemovePrivateFile(const std::string& path) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) FailWith("remove", path, errno);
}

std::string UserDataFolder() {
  const char* data = std::getenv("XDG_DATA_HOME");
  if (data != nullptr && *data == '/') return data;
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home != '/') return "";
  return PathInFolder(home, ".local/share");
}

std::string PathInFolder(const std::string& folder, const std::string& name) {
  if (!folder.empty() && folder.back() == '/') return folder + name;
  return folder + "/" + name;
}

std::string AbsolutePath(const std::string& path) {
  if (!path.empty() && path.front() == '/') return path;
  const std::unique_ptr<char, void (*)(void*)> current(getcwd(nullptr, 0), std::free);
  if (!current) FailWith("query", ".", errno);
  return PathInFolder(current.get(), path);
}

}  // namespace tool
