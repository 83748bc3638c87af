// Local files where the library's own functions do not suffice: what stands at a path, links not followed,
// and a file that is read without waiting for a pipe. The bodies are in posix/disk_file.cpp and
// win32/disk_file.cpp.
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

  // Each throws Failure with exit code 7 and a text that names the path.
  void OpenForReading(const std::string& path);
  std::size_t Read(std::size_t count, void* buffer);  // 0 at the end
  void Close();

 private:
  static constexpr std::intptr_t kNoHandle = -1;
  std::intptr_t handle_ = kNoHandle;
  std::string path_;
};

}  // namespace tool

#endif
