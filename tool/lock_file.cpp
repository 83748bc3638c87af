// What the locks of both systems share.
#include "tool/lock_file.h"

#include <algorithm>

#include "tool/console.h"
#include "tool/failure.h"

namespace tool {

// The system's own wait could not be ended from another thread.
void LockFile::Lock(std::uint32_t byte, Kind kind) {
  constexpr unsigned kLongestPauseMilliseconds = 16;
  unsigned pauseMilliseconds = 1;
  while (!TryLock(byte, kind)) {
    if (console::Interrupted()) throw Interruption{};
    console::Pause(pauseMilliseconds);
    pauseMilliseconds = std::min(pauseMilliseconds * 2, kLongestPauseMilliseconds);
  }
}

}  // namespace tool
