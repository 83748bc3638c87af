// Files that cannot be closed well: what was written last may be lost.
#pragma once

#include <cstdio>

#include "os/file/file_testing.h"
#include "tests/support/file_system.h"

// While it lives, every open file that is closed is closed for good and tells a failure all the same.
class FailingClose {
 public:
  FailingClose() { iFile_SetCloseMethod(Close); }
  ~FailingClose() { iFile_SetCloseMethod(nullptr); }
  FailingClose(const FailingClose&) = delete;
  FailingClose& operator=(const FailingClose&) = delete;

 private:
  static int Close(FILE* stream) {
    fclose(stream);
    SetReadError();
    return EOF;
  }
};
