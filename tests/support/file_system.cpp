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

#  include <cerrno>
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

void SetReadError() {
  SetLastError(ERROR_CRC);
}

void SetNoAccess() {
  SetLastError(ERROR_ACCESS_DENIED);
}

void SetNoError() {
  SetLastError(ERROR_SUCCESS);
}

std::string UnreadableFile() {
  return "/Z|/proc/self/mem";
}

namespace {

// The name of a file in the host's file system; empty without Wine.
std::string NameOnHost(const fs::path& path) {
  using Convert = char*(__cdecl*)(LPCWSTR);
  const auto convert = reinterpret_cast<Convert>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32"), "wine_get_unix_file_name")));
  char* name = convert != nullptr ? convert(path.c_str()) : nullptr;
  const std::string result = name != nullptr ? name : "";
  if (name != nullptr) HeapFree(GetProcessHeap(), 0, name);
  return result;
}

void RunProgram(const char* program, std::string commandLine) {
  STARTUPINFOA startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!CreateProcessA(program, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &process))
    return;
  WaitForSingleObject(process.hProcess, 10000);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
}

// Programs that are not Windows' own cannot be waited for.
template <typename Condition>
void WaitUntil(Condition condition) {
  for (int i = 0; i < 500 && !condition(); ++i) Sleep(10);
}

bool IsThere(const fs::path& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

DirectoryLink::DirectoryLink(const fs::path& target, const fs::path& link) : link_(link) {
  const std::string hostName = NameOnHost(link);
  if (hostName.empty()) {
    RunProgram(nullptr, "cmd /c mklink /J \"" + link.string() + "\" \"" + target.string() + "\"");
  } else {
    RunProgram("Z:\\bin\\ln", "ln -s " + NameOnHost(target) + " " + hostName);
  }
  WaitUntil([&] { return IsThere(link); });
}

DirectoryLink::~DirectoryLink() {
  const std::string hostName = NameOnHost(link_);
  if (hostName.empty()) {
    RemoveDirectoryW(link_.c_str());
  } else {
    RunProgram("Z:\\bin\\rm", "rm -f " + hostName);
    WaitUntil([&] { return !IsThere(link_); });
  }
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

void SetReadError() {
  errno = EIO;
}

void SetNoAccess() {
  errno = EACCES;
}

void SetNoError() {
  errno = 0;
}

std::string UnreadableFile() {
  return "/proc/self/mem";
}

DirectoryLink::DirectoryLink(const fs::path& target, const fs::path& link) : link_(link) {
  fs::create_directory_symlink(target, link);
}

DirectoryLink::~DirectoryLink() {
  unlink(link_.c_str());
}

namespace {

// Root may do anything, so a scope runs as another user.
bool RestrictTo(const fs::path& path, mode_t mode) {
  constexpr uid_t kNobody = 65534;
  return chmod(path.c_str(), mode) == 0 && (geteuid() != 0 || seteuid(kNobody) == 0);
}

void EndRestriction(const fs::path& path) {
  if (getuid() == 0) (void)!seteuid(0);
  chmod(path.c_str(), 0755);
}

}  // namespace

WriteProtection::WriteProtection(const fs::path& path) : path_(path) {
  EXPECT_TRUE(RestrictTo(path_, 0555));
}

WriteProtection::~WriteProtection() {
  EndRestriction(path_);
}

Unenterable::Unenterable(const fs::path& path) : path_(path) {
  EXPECT_TRUE(RestrictTo(path_, 0666));
}

Unenterable::~Unenterable() {
  EndRestriction(path_);
}

Unlistable::Unlistable(const fs::path& path) : path_(path) {
  EXPECT_TRUE(RestrictTo(path_, 0333));
}

Unlistable::~Unlistable() {
  EndRestriction(path_);
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
