// Shell links, from names in the system's form.
#include "qz/winosshortcut.h"

#include "os/platform/shortcut.h"
#include "qz/error.h"

ErrorCode WinOSShortcut_Create(const char* target, const char* arguments, const char* linkName,
                               const char* description, const char* iconFile, int32_t iconIndex) {
  if (target == nullptr || linkName == nullptr) return Error_Fail;
  return platform::CreateShortcut({target, arguments, linkName, description, iconFile, iconIndex});
}
