// The library-wide critical section, for short mutual exclusion. Valid for the whole life of the process,
// whether the library is up or down; a thread that holds it may take it again.
//
//   {
//     LibraryLock lock;
//     record->flags |= kRunning;
//   }
#pragma once

#include "os/platform/lock.h"

class LibraryLock {
 public:
  LibraryLock() { platform::EnterLibraryLock(); }
  ~LibraryLock() { platform::LeaveLibraryLock(); }
  LibraryLock(const LibraryLock&) = delete;
  LibraryLock& operator=(const LibraryLock&) = delete;
};
