// Calls to the system that change a file fail in turn: those about files in a folder named "transfers". The
// linker sends the program's calls to the bodies in posix/ and win32/ (tests/CMakeLists.txt).
#pragma once

#include <cstdint>
#include <string_view>

enum class Lasting { Once, UntilTheEnd };

// While it lives, the n-th call fails; with UntilTheEnd all behind it, too.
class DiskFault {
 public:
  DiskFault(int64_t call, Lasting lasting) : callsUntilFailure_(call), lasting_(lasting) { current_ = this; }
  ~DiskFault() { current_ = nullptr; }
  DiskFault(const DiskFault&) = delete;
  DiskFault& operator=(const DiskFault&) = delete;

  bool HasFailed() const { return hasFailed_; }

  // For the calls themselves.
  static bool IsWatched(std::string_view path) { return path.find("transfers") != path.npos; }
  static bool Fails() { return current_ != nullptr && current_->CountCall(); }

 private:
  bool CountCall() {
    if (hasFailed_) return lasting_ == Lasting::UntilTheEnd;
    hasFailed_ = --callsUntilFailure_ == 0;
    return hasFailed_;
  }

  inline static DiskFault* current_ = nullptr;
  int64_t callsUntilFailure_;
  const Lasting lasting_;
  bool hasFailed_ = false;
};
