// Gives the thread its last error back at the end of a block whose calls change it even when they succeed.
#pragma once

#include <windows.h>

class KeepLastError {
 public:
  KeepLastError() = default;
  ~KeepLastError() { SetLastError(error_); }
  KeepLastError(const KeepLastError&) = delete;
  KeepLastError& operator=(const KeepLastError&) = delete;

 private:
  const DWORD error_ = GetLastError();
};
