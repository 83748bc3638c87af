#include "os/platform/debug.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace platform {

void DebugOutput(const char* line) {
  // Reporting a failure must not change the error number that the caller is about to translate.
  const int savedError = errno;
  // One write, so that lines of two threads do not mix; a diagnostic that cannot be written has no reader.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line, strlen(line));
  errno = savedError;
}

}  // namespace platform
