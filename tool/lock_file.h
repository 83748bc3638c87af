// Locks between programs: single bytes of one file, which end with the process.
#ifndef TOOL_LOCK_FILE_H
#define TOOL_LOCK_FILE_H

#include <cstdint>
#include <string>

namespace tool {

// Bytes may lie beyond the end of the file. Between threads that use one object these locks mean nothing:
// their owner keeps them apart, and locks no byte twice. The bodies are in lock_file.cpp, posix/lock_file.cpp
// and win32/lock_file.cpp.
class LockFile {
 public:
  enum class Kind { Shared, Exclusive };

  // Creates the file when it is missing, readable by its owner only. Throws Failure (Disk).
  explicit LockFile(const std::string& systemPath);
  ~LockFile();
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;

  void Lock(std::uint32_t byte, Kind kind);     // waits; throws Failure (Disk), Interruption
  bool TryLock(std::uint32_t byte, Kind kind);  // throws Failure (Disk) where files cannot be locked
  void Unlock(std::uint32_t byte);
  // Whether another program has it exclusively. Not for a byte that this object has.
  bool IsLockedElsewhere(std::uint32_t byte);

 private:
  std::intptr_t handle_;
};

}  // namespace tool

#endif
