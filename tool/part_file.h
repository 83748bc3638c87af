// The file under which a download arrives: FILE.part beside FILE.
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

  // Takes up a part file that was left, if there is one. Throws Failure (Disk) when a link, a folder or
  // another program is in the way. target: a name in the current folder.
  explicit PartFile(const std::string& target);
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  const std::string& Path() const { return path_; }
  std::uint64_t Length() const { return length_; }
  bool Exists() const { return file_.IsOpen(); }

  void Begin();    // makes the file ready for data: creates it, or cuts it after Restart
  void Restart();  // forgets what is there; the disk keeps it until Begin
  void Append(std::size_t count, const void* buffer);

  // Gives the complete file its name, another one where that is taken; returns the name. synchronise: only
  // after the disk holds every byte.
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
