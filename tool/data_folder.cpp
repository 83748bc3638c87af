#include "tool/data_folder.h"

#include <cstdlib>
#include <optional>

#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "tool/console.h"
#include "tool/failure.h"
#include "tool/private_file.h"

namespace tool {
namespace {

// Where the library keeps its own files.
std::string CacheFolder(const char* name) {
  char folder[1024];
  if (File_GetSysDir(SysDir_Cache, folder) == Error_None)
    return PathInFolder(console::ToSystemName(folder), name);
  throw Failure{ExitCode::Disk, "there is no folder for the program's data"};
}

bool Exists(const std::string& folder) {
  return File_Exists(console::ToLibraryName(folder).c_str(), nullptr) != 0;
}

std::string Made(std::string folder) {
  MakePrivateFolder(folder);
  return folder;
}

// Where the user wants it, or nothing.
std::optional<std::string> ChosenFolder(const char* variable) {
  const char* chosen = std::getenv(variable);
  if (chosen == nullptr || *chosen == '\0') return std::nullopt;
  return AbsolutePath(chosen);
}

std::string FolderInUserData(const char* name) {
  const std::string data = UserDataFolder();
  return data.empty() ? "" : PathInFolder(PathInFolder(data, "qz"), name);
}

}  // namespace

std::string MadeDataFolder(const char* variable, const char* name) {
  if (const auto chosen = ChosenFolder(variable)) return Made(*chosen);
  const std::string folder = FolderInUserData(name);
  if (folder.empty()) return Made(CacheFolder(name));
  try {
    return Made(folder);
  } catch (const Failure&) {
    return Made(CacheFolder(name));
  }
}

std::string DataFolder(const char* variable, const char* name) {
  if (const auto chosen = ChosenFolder(variable)) return *chosen;
  std::string folder = FolderInUserData(name);
  if (folder.empty() || (!Exists(folder) && Exists(CacheFolder(name)))) return CacheFolder(name);
  return folder;
}

}  // namespace tool
