// Names in the library's form as text: joining, splitting, roots, and the way to the system's form.
#include <cstring>

#include "os/core/error_internal.h"
#include "os/file/file_internal.h"
#include "os/platform/filesystem.h"
#include "os/text/string_internal.h"
#include "qz/error.h"
#include "qz/string.h"
#include "qz/winosfile.h"

static_assert(kFileNameSize == platform::kNameSize);

namespace {

bool BeginsWithDrive(const char* name) {
  return name[0] == '/' && iFile_IsDriveLetter(name[1]) && name[2] == '|';
}

bool IsNetworkName(const char* name) {
  return name[0] == '/' && name[1] == '/';
}

// The length of "//server/share"; 0 when there is no "/" after the server.
size_t NetworkRootLength(const char* name) {
  const char* afterServer = strchr(name + 2, '/');
  if (afterServer == nullptr) {
    Error("%s", "Improperly formatted UNC name.");
    return 0;
  }
  return static_cast<size_t>(afterServer + 1 - name) + strcspn(afterServer + 1, "/");
}

void Empty(char* text) {
  if (text != nullptr) text[0] = '\0';
}

// Where the name's own part begins and where the directory's ends.
struct Split {
  size_t directoryLength;
  size_t nameStart;
};

Split SplitAtLastSlash(const char* path) {
  const char* slash = strrchr(path, '/');
  if (slash == nullptr) return {0, 0};
  const size_t position = static_cast<size_t>(slash - path);
  return {position == 0 ? 1 : position, position + 1};
}

}  // namespace

ErrorCode iFile_CopyName(const char* source, char* destination) {
  const size_t length = source != nullptr ? strlen(source) : 0;
  const bool fits = source != nullptr && length < kFileNameSize;
  if (destination != nullptr) {
    if (fits) memmove(destination, source, length + 1);
    if (!fits) destination[0] = '\0';
  }
  if (source == nullptr) return Error_Invalid;
  return fits ? Error_None : Error_Exceed;
}

ErrorCode iFile_ToSystemName(const char* name, char (&systemName)[kFileNameSize]) {
  if (platform::UsesDriveLetters()) return WinOSFile_FileNameToDOSName(name, systemName);
  if (name == nullptr || !BeginsWithDrive(name)) return iFile_CopyName(name, systemName);
  if (name[3] == '\0') return iFile_CopyName("/", systemName);
  return iFile_CopyName(name[3] == '/' ? name + 3 : name, systemName);
}

ErrorCode iFile_FromSystemName(const char* systemName, char (&name)[kFileNameSize]) {
  if (platform::UsesDriveLetters()) return WinOSFile_DOSNameToFileName(systemName, name);
  return iFile_CopyName(systemName, name);
}

ErrorCode iFile_Join(const char* directory, const char* name, char (&result)[kFileNameSize]) {
  const size_t longest =
      (directory != nullptr ? strlen(directory) : 0) + 1 + (name != nullptr ? strlen(name) : 0);
  if (longest < kFileNameSize) {
    String_DelimCat(directory, name, '/', result);
    return Error_None;
  }
  char joined[2 * kFileNameSize];
  if (longest >= sizeof joined) {
    result[0] = '\0';
    return Error_Exceed;
  }
  String_DelimCat(directory, name, '/', joined);
  return iFile_CopyName(joined, result);
}

ErrorCode iFile_AbsoluteName(const char* name, char (&absolute)[kFileNameSize]) {
  char systemName[kFileNameSize];
  char absoluteSystemName[kFileNameSize];
  absolute[0] = '\0';
  const ErrorCode status = iFile_ToSystemName(name, systemName);
  if (status != Error_None) return status;
  if (!platform::AbsoluteName(systemName, absoluteSystemName)) {
    return iError_FromLastSystem("File_Open", name);
  }
  return iFile_FromSystemName(absoluteSystemName, absolute);
}

int32_t File_CatDir(const char* directory, const char* name, char* result) {
  if (result == nullptr) return Error_Invalid;
  char joined[kFileNameSize];
  const ErrorCode status = iFile_Join(directory, name, joined);
  if (status != Error_None) {
    result[0] = '\0';
    return status;
  }
  return String_Copy(joined, result);
}

ErrorCode File_SplitDir(const char* path, char* directory, char* name) {
  char whole[kFileNameSize];
  ErrorCode status = iFile_CopyName(path, whole);
  size_t length = strlen(whole);
  if (length > 1 && whole[length - 1] == '/') whole[--length] = '\0';
  size_t rootLength = 0;
  if (status == Error_None && IsNetworkName(whole)) {
    rootLength = NetworkRootLength(whole);
    if (rootLength == 0) status = Error_Fail;
  }
  if (status != Error_None) {
    Empty(directory);
    Empty(name);
    return status;
  }
  if (rootLength != 0 && length <= rootLength) {
    // Kept: the name is left as it was; callers that walk upwards stop at an unchanged name.
    iString_Place(whole, length, directory);
    return Error_None;
  }
  const Split split = SplitAtLastSlash(whole);
  iString_Place(whole, split.directoryLength, directory);
  iString_Place(whole + split.nameStart, length - split.nameStart, name);
  return Error_None;
}

int32_t File_StripRoot(const char* path, char* root, char* rest) {
  char whole[kFileNameSize];
  const ErrorCode status = iFile_CopyName(path, whole);
  const bool isNetworkName = status == Error_None && IsNetworkName(whole);
  const size_t networkLength = isNetworkName ? NetworkRootLength(whole) : 0;
  if (status != Error_None || (isNetworkName && networkLength == 0)) {
    Empty(root);
    Empty(rest);
    return status == Error_Invalid ? Error_Invalid : Error_Fail;
  }
  size_t length = networkLength;
  if (!isNetworkName) {
    const size_t start = whole[0] == '/' ? 1 : 0;
    length = BeginsWithDrive(whole) ? 3 : start + strcspn(whole + start, "/");
  }
  iString_Place(whole, length, root);
  iString_Place(whole + length, strlen(whole + length), rest);
  return static_cast<int32_t>(length);
}
