// Modules, processes and open files, as the system sees them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "qz/types.h"

// A dynamic library of the system that this program uses.
struct SystemModule {
  Word instance;
  std::filesystem::path path;
};
SystemModule FindSystemModule();

// Whether a name in the library's form leads to the file.
bool LeadsTo(const std::string& libraryName, const std::filesystem::path& file);

// What the system says of an instance that is no module's: nothing, or the program.
extern const bool kUnknownInstanceIsTheProgram;

// Whether the system still knows a process of this number, be it only as one that has ended.
bool IsProcessListed(uint32_t number);

// Handles or descriptors that this process has open.
int CountOpenHandles();

// A file held open in a way that children would inherit.
class OpenInheritableFile {
 public:
  explicit OpenInheritableFile(const std::string& file);
  ~OpenInheritableFile();
  OpenInheritableFile(const OpenInheritableFile&) = delete;
  OpenInheritableFile& operator=(const OpenInheritableFile&) = delete;

 private:
  intptr_t handle_;
};
