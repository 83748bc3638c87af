// Locks that programs share.
#pragma once

#include <cstdint>

namespace platform {

// A lock that is held; what it is is the system's business.
using FileLock = intptr_t;

enum class FileLockResult {
  Taken,
  Busy,        // another program, or another call of this one, holds it
  Unavailable  // the file cannot be opened or made, or its file system has no locks
};

// Takes the lock of a file for this call alone, without waiting. The file is made when it is missing, stays
// empty, and stays where it is; programs started later do not inherit it. name: in the system's form. lock:
// out, valid after Taken. The system gives the lock back when the program ends, however it ends.
FileLockResult TryFileLock(const char* name, FileLock* lock);
void ReleaseFileLock(FileLock lock);

}  // namespace platform
