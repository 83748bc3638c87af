// Starting the application hidden at log-on, by a shortcut to it in the user's startup folder.
#include "qz/startup.h"

#include <cstdio>

#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/process.h"

namespace {

constexpr size_t kPathBytes = 1024;
constexpr char kHiddenArgument[] = " /hidden";
constexpr int32_t kNoIcon = -1;

// Kept: the link's name has no space before the hyphen and its description has one; links of that name exist
// in users' startup folders and are found by it.
constexpr char kLinkSuffix[] = "- Autostart.lnk";
constexpr char kDescriptionSuffix[] = " - Autostart";

using Path = char[kPathBytes];

bool Fits(int length) {
  return length >= 0 && static_cast<size_t>(length) < kPathBytes;
}

ErrorCode BuildLinkName(Path& linkName) {
  Path folder;
  if (const ErrorCode status = File_GetSysDir(SysDir_Startup, folder); status != Error_None) return status;
  const int length = snprintf(linkName, kPathBytes, "%s/%s%s", folder, OS_GetApplicationName(), kLinkSuffix);
  return Fits(length) ? Error_None : Error_Exceed;
}

}  // namespace

ErrorCode Startup_InstallSelf() {
  Path linkName;
  if (const ErrorCode status = BuildLinkName(linkName); status != Error_None) return status;
  Path target;
  if (const ErrorCode status = Process_GetPathname(target); status != Error_None) return status;
  Path description;
  if (!Fits(snprintf(description, kPathBytes, "%s%s", OS_GetApplicationName(), kDescriptionSuffix))) {
    return Error_Exceed;
  }
  return File_Link(target, kHiddenArgument, linkName, description, nullptr, kNoIcon);
}

ErrorCode Startup_UninstallSelf() {
  Path linkName;
  if (const ErrorCode status = BuildLinkName(linkName); status != Error_None) return status;
  return File_Unlink(linkName);
}
