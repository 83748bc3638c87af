// The two written forms of a file name.
//
//   library           system
//   /C|/dir/file      C:\dir\file
//   //server/share/x  \\server\share\x
//   /dir/file         <boot directory>\dir\file
//   dir/file          dir\file
//
// Pure text rules, the same on every platform; iFile_ToSystemName decides which names go through them.
#include "qz/winosfile.h"

#include <cstdio>
#include <cstring>

#include "os/file/file_internal.h"
#include "os/platform/filesystem.h"
#include "qz/error.h"

namespace {

void ReplaceAll(char* text, char from, char to) {
  for (; *text != '\0'; ++text) {
    if (*text == from) *text = to;
  }
}

// Both arguments of a conversion may be the same buffer, so the result is formed beside it.
ErrorCode Deliver(int length, const char* formed, char* destination) {
  if (length >= 0 && static_cast<size_t>(length) < kFileNameSize) return iFile_CopyName(formed, destination);
  destination[0] = '\0';
  return Error_Exceed;
}

int FormSystemName(const char* name, char (&formed)[kFileNameSize]) {
  if (name[0] != '/' || name[1] == '/') return snprintf(formed, kFileNameSize, "%s", name);
  if (iFile_IsDriveLetter(name[1]) && name[2] == '|') {
    return snprintf(formed, kFileNameSize, "%c:%s", name[1], name + 3);
  }
  // Kept: a boot directory of "C:\" doubles the separator ("C:\\dir"); stored names have been compared so.
  char bootDirectory[platform::kNameSize];
  platform::BootDirectory(bootDirectory);
  return snprintf(formed, kFileNameSize, "%s%s", bootDirectory, name);
}

}  // namespace

ErrorCode WinOSFile_DOSNameToFileName(const char* systemName, char* name) {
  if (name == nullptr) return Error_Invalid;
  if (systemName == nullptr) {
    name[0] = '\0';
    return Error_Invalid;
  }
  char formed[kFileNameSize];
  const bool hasDrive = iFile_IsDriveLetter(systemName[0]) && systemName[1] == ':';
  const int length = hasDrive ? snprintf(formed, sizeof formed, "/%c|%s", systemName[0], systemName + 2)
                              : snprintf(formed, sizeof formed, "%s", systemName);
  ReplaceAll(formed, '\\', '/');
  return Deliver(length, formed, name);
}

ErrorCode WinOSFile_FileNameToDOSName(const char* name, char* systemName) {
  if (systemName == nullptr) return Error_Invalid;
  if (name == nullptr) {
    systemName[0] = '\0';
    return Error_Invalid;
  }
  char formed[kFileNameSize];
  const int length = FormSystemName(name, formed);
  ReplaceAll(formed, '/', '\\');
  return Deliver(length, formed, systemName);
}
