// Shell shortcuts by names in the library's form.
#include "os/file/file_internal.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/winosshortcut.h"

ErrorCode File_Link(const char* target, const char* arguments, const char* linkName, const char* description,
                    const char* iconFile, int32_t iconIndex) {
  char systemTarget[kFileNameSize];
  char systemLinkName[kFileNameSize];
  char systemIconFile[kFileNameSize];
  ErrorCode status = iFile_ToSystemName(target, systemTarget);
  if (status == Error_None) status = iFile_ToSystemName(linkName, systemLinkName);
  if (status == Error_None && iconFile != nullptr) status = iFile_ToSystemName(iconFile, systemIconFile);
  if (status != Error_None) return status;
  return WinOSShortcut_Create(systemTarget, arguments, systemLinkName, description,
                              iconFile != nullptr ? systemIconFile : nullptr, iconIndex);
}
