// Files on the local disk with 64-bit sizes: the part file of a download and the source of an upload.
//
// The library's own files know 32-bit sizes only, and open links like files; a part file must do neither.
// Bytes are handed to the system at once, so a file never claims what is not in it. The bodies are in
// posix/disk_file.cpp and win32/disk_file.cpp.
#ifndef TOOL_DISK_FILE_H
#define TOOL_DISK_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace tool {

class DiskFile {
 public:
  // The kind of file at a path, links not followed.
  enum class Kind { Nothing, File, Link, Folder, Other };
  static Kind KindOf(const std::string& path);

  DiskFile() = default;
  ~DiskFile() { Close(); }
  DiskFile(const DiskFile&) = delete;
  DiskFile& operator=(const DiskFile&) = delete;

  // Each throws Failure with exit code 7 (NotFound for a missing upload source) and a text that names the
  // path.
  void OpenForReading(const std::string& path);
  // Opens an existing regular file for writing, never through a link, and locks out other writers.
  void OpenForAppending(const std::string& path);
  // As above for a file that must not exist yet.
  void Create(const std::string& path);

  bool IsOpen() const { return handle_ != kNoHandle; }
  std::uint64_t Size() const;
  void SeekTo(std::uint64_t position);
  std::size_t Read(std::size_t count, void* buffer);  // 0 at the end
  void Write(std::size_t count, const void* buffer);  // all of it, or Failure
  void Truncate();                                    // to nothing, positioned at the start
  void Synchronise();                                 // flushes to disk
  void Close();

  static void Remove(const std::string& path);

 private:
  static constexpr std::intptr_t kNoHandle = -1;
  std::intptr_t handle_ = kNoHandle;
  std::string path_;
};

}  // namespace tool

#endif
