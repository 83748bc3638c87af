// Any text as a file name: the functions that only look at the text stay within their buffers, and what they
// split can be put together again.
#include <cstdlib>
#include <cstring>
#include <string>

#include "qz/error.h"
#include "qz/file.h"
#include "qz/winosfile.h"

namespace {

void Require(bool holds) {
  if (!holds) abort();
}

void CheckRoot(const std::string& path) {
  char root[1024];
  char rest[1024];
  const int32_t length = File_StripRoot(path.c_str(), root, rest);
  Require(length < 0 || (strlen(root) == static_cast<size_t>(length) && path == std::string(root) + rest));
  Require(length >= 0 || (root[0] == '\0' && rest[0] == '\0'));
}

void CheckSplit(const std::string& path) {
  char directory[1024];
  char name[1024] = "";
  if (File_SplitDir(path.c_str(), directory, name) != Error_None) return;
  Require(strchr(name, '/') == nullptr && strlen(directory) + strlen(name) <= path.size());
  char joined[1024];
  File_CatDir(directory, name, joined);
}

void CheckForms(const std::string& path) {
  char converted[1024];
  char back[1024];
  if (WinOSFile_FileNameToDOSName(path.c_str(), converted) != Error_None) return;
  Require(strchr(converted, '/') == nullptr);
  if (WinOSFile_DOSNameToFileName(converted, back) != Error_None) return;
  Require(strchr(back, '\\') == nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Error_SetReporter([](const char*) {});
  const std::string path(reinterpret_cast<const char*>(data),
                         strnlen(reinterpret_cast<const char*>(data), size));
  CheckRoot(path);
  CheckSplit(path);
  CheckForms(path);
  return 0;
}
