#include "tests/support/environment.h"

#ifdef _WIN32
#  include <windows.h>
#else
#  include <unistd.h>
#endif

#include <algorithm>
#include <atomic>
#include <cstdlib>

namespace {

#ifdef _WIN32
std::optional<std::string> GetVariable(const char* name) {
  char value[4096];
  const DWORD length = GetEnvironmentVariableA(name, value, sizeof value);
  if (length == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
  return std::string(value, length);
}

// The C library has a list of its own, which knows no empty values.
void SetVariable(const char* name, const char* value) {
  _putenv((std::string(name) + "=" + (value != nullptr ? value : "")).c_str());
  SetEnvironmentVariableA(name, value);
}
#else
std::optional<std::string> GetVariable(const char* name) {
  const char* value = getenv(name);
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

void SetVariable(const char* name, const char* value) {
  if (value != nullptr) {
    setenv(name, value, 1);
  } else {
    unsetenv(name);
  }
}
#endif

}  // namespace

ScopedVariable::ScopedVariable(const char* name, const char* value)
    : name_(name), before_(GetVariable(name)) {
  SetVariable(name, value);
}

ScopedVariable::~ScopedVariable() {
  SetVariable(name_.c_str(), before_ ? before_->c_str() : nullptr);
}

std::filesystem::path ProgramPath() {
#ifdef _WIN32
  char path[MAX_PATH] = "";
  GetModuleFileNameA(nullptr, path, sizeof path);
  return path;
#else
  return std::filesystem::read_symlink("/proc/self/exe");
#endif
}

uint32_t ProgramNumber() {
#ifdef _WIN32
  return GetCurrentProcessId();
#else
  return static_cast<uint32_t>(getpid());
#endif
}

std::string LibraryName(const std::filesystem::path& path) {
  std::string name = path.string();
#ifdef _WIN32
  std::replace(name.begin(), name.end(), '\\', '/');
  if (name.size() >= 2 && name[1] == ':') name = std::string("/") + name[0] + "|" + name.substr(2);
#endif
  return name;
}

TemporaryFolder::TemporaryFolder() {
  static std::atomic<int> count{0};
  const std::string name = "qz-test-" + std::to_string(ProgramNumber()) + "-" + std::to_string(++count);
  path_ = std::filesystem::temp_directory_path() / name;
  std::filesystem::remove_all(path_);
  std::filesystem::create_directories(path_);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}
