#include "tests/support/file_system.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#ifdef _WIN32
#  include <windows.h>
#else
#  include <fcntl.h>
#  include <sys/mount.h>
#  include <sys/resource.h>
#  include <sys/stat.h>
#  include <unistd.h>

#  include <csignal>
#endif

namespace fs = std::filesystem;

#ifdef _WIN32

const bool kIsWindows = true;

int ProcessNumber() {
  return static_cast<int>(GetCurrentProcessId());
}

void SetModifiedTime(const fs::path& path, int64_t secondsSince1970) {
  const uint64_t units = static_cast<uint64_t>(secondsSince1970 + 11644473600) * 10000000;
  const FILETIME time = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
  HANDLE file = CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  SetFileTime(file, nullptr, nullptr, &time);
  CloseHandle(file);
}

#else

const bool kIsWindows = false;

int ProcessNumber() {
  return getpid();
}

void SetModifiedTime(const fs::path& path, int64_t secondsSince1970) {
  const struct timespec times[2] = {{secondsSince1970, 0}, {secondsSince1970, 0}};
  utimensat(AT_FDCWD, path.c_str(), times, 0);
}

WriteProtection::WriteProtection(const fs::path& path) : path_(path) {
  // Root writes anywhere, so the scope runs as somebody else.
  constexpr uid_t kNobody = 65534;
  const bool isProtected = chmod(path_.c_str(), 0555) == 0 && (geteuid() != 0 || seteuid(kNobody) == 0);
  EXPECT_TRUE(isProtected);
}

WriteProtection::~WriteProtection() {
  if (getuid() == 0) (void)!seteuid(0);
  chmod(path_.c_str(), 0755);
}

struct DiskLimit::State {
  struct rlimit limit;
  sighandler_t handler;
};

DiskLimit::DiskLimit(uint64_t bytes) : state_(std::make_unique<State>()) {
  getrlimit(RLIMIT_FSIZE, &state_->limit);
  state_->handler = signal(SIGXFSZ, SIG_IGN);
  const struct rlimit lowered = {bytes, state_->limit.rlim_max};
  setrlimit(RLIMIT_FSIZE, &lowered);
}

DiskLimit::~DiskLimit() {
  setrlimit(RLIMIT_FSIZE, &state_->limit);
  signal(SIGXFSZ, state_->handler);
}

SmallVolume::SmallVolume(const fs::path& directory, uint64_t sizeBytes) : directory_(directory) {
  const std::string options = "size=" + std::to_string(sizeBytes);
  isMounted_ = mount("none", directory_.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

SmallVolume::~SmallVolume() {
  if (isMounted_) umount2(directory_.c_str(), MNT_DETACH);
}

#endif

void MakeSparseFile(const fs::path& path, uint64_t sizeBytes) {
  if (FILE* file = fopen(path.string().c_str(), "wb")) fclose(file);
  fs::resize_file(path, sizeBytes - 1);
  if (FILE* file = fopen(path.string().c_str(), "ab")) {
    fputc('x', file);
    fclose(file);
  }
}
