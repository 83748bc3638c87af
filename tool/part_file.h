// The file that receives a download: FILE.part beside FILE.
#ifndef TOOL_PART_FILE_H
#define TOOL_PART_FILE_H

#include <cstdint>
#include <string>

#include "tool/disk_file.h"

namespace tool {

// Its length is always exactly the number of good bytes from the start of the file on the server. Nothing is
// created before the first data is at hand, and nothing else is ever removed or cut.
class PartFile {
 public:
  static constexpr const char* kSuffix = ".part";

  // Opens an existing part file. Throws Failure (Disk) when it is a link or a folder or is in use. target: a
  // name in the current folder.
  explicit PartFile(const std::string& target);
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  const std::string& Path() const { return path_; }
  std::uint64_t Length() const { return length_; }
  bool Exists() const { return file_.IsOpen(); }

  void Begin();    // makes the file ready for data: creates it, or cuts it after Restart
  void Restart();  // discards the data; the disk keeps it until Begin
  void Append(std::size_t count, const void* buffer);

  // Renames the complete file to its target, numbered when that exists; returns the name. synchronise: flush
  // to disk first.
  std::string Complete(bool synchronise);

 private:
  void Close();

  std::string target_;
  std::string path_;
  DiskFile file_;
  std::uint64_t length_ = 0;
  bool createdHere_ = false;
  bool cutAtBegin_ = false;
};

}  // namespace tool

#endif
