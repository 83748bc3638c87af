// Names that are not taken yet.
#include <cstdio>
#include <cstring>

#include "os/core/os_internal.h"
#include "os/file/file_internal.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"

namespace {

constexpr int32_t kLastNumber = 511;
constexpr int kUniqueTries = 100;
constexpr int kTemporaryTries = 100;

ErrorCode CheckDirectoryOf(const char* name) {
  char directory[kFileNameSize];
  char rest[kFileNameSize] = "";
  const ErrorCode status = File_SplitDir(name, directory, rest);
  if (status != Error_None) return status == Error_Exceed ? Error_Exceed : Error_Invalid;
  if (directory[0] == '\0') return Error_None;  // the current directory
  int32_t isDirectory = 0;
  return File_Exists(directory, &isDirectory) != 0 && isDirectory != 0 ? Error_None : Error_Invalid;
}

// Kept: the extension begins at the last "." of the whole path, though that may stand in a directory's name.
size_t BaseLength(const char* name) {
  const char* dot = strrchr(name, '.');
  return dot != nullptr ? static_cast<size_t>(dot - name) : strlen(name);
}

// The same when only the part behind the last "/" has an extension.
size_t BaseLengthOfLastPart(const char* name) {
  const char* separator = strrchr(name, '/');
  const char* part = separator != nullptr ? separator + 1 : name;
  return static_cast<size_t>(part - name) + BaseLength(part);
}

ErrorCode FormNumberedName(const char* name, size_t baseLength, int32_t number,
                           char (&result)[kFileNameSize]) {
  const int length = snprintf(result, sizeof result, "%.*s(%ld)%s", static_cast<int>(baseLength), name,
                              static_cast<long>(number), name + baseLength);
  if (length >= 0 && static_cast<size_t>(length) < sizeof result) return Error_None;
  result[0] = '\0';
  return Error_Exceed;
}

// Leaves the first free candidate in `candidate`, or the one after the last that was looked at.
ErrorCode FindNumberedName(const char* name, size_t baseLength, char (&candidate)[kFileNameSize]) {
  for (int32_t number = 0; File_Exists(candidate, nullptr) != 0; ++number) {
    const ErrorCode status = FormNumberedName(name, baseLength, number, candidate);
    if (status != Error_None) return status;
    if (number == kLastNumber) return Error_Invalid;
  }
  return Error_None;
}

ErrorCode NumberName(const char* name, size_t (*baseLength)(const char* name), char* result) {
  if (result == nullptr) return Error_Invalid;
  char original[kFileNameSize];
  char candidate[kFileNameSize] = "";
  ErrorCode status = iFile_CopyName(name, original);
  if (status == Error_None) status = CheckDirectoryOf(original);
  if (status == Error_None) {
    iFile_CopyName(original, candidate);
    status = FindNumberedName(original, baseLength(original), candidate);
  }
  iFile_CopyName(candidate, result);
  return status;
}

ErrorCode FormUniqueName(const char* directory, const char* prefix, int32_t number,
                         char (&result)[kFileNameSize]) {
  char name[kFileNameSize];
  const int length = snprintf(name, sizeof name, "%s%ld", prefix, static_cast<long>(number));
  if (length >= 0 && static_cast<size_t>(length) < sizeof name) return iFile_Join(directory, name, result);
  result[0] = '\0';
  return Error_Exceed;
}

int32_t AddWrapping(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

ErrorCode FindUniqueName(const char* directory, const char* prefix, char (&candidate)[kFileNameSize]) {
  int32_t number = OS_Random();
  for (int i = 0; i < kUniqueTries; ++i) {
    const ErrorCode status = FormUniqueName(directory, prefix, number, candidate);
    if (status != Error_None || File_Exists(candidate, nullptr) == 0) return status;
    number = AddWrapping(number, OS_Random());
  }
  candidate[0] = '\0';
  return Error_Fail;
}

ErrorCode OpenUnique(const char* directory, const char* prefix, const char* ending, uint32_t mode,
                     bool isPrivate, char* name, File** file) {
  char unique[kFileNameSize];
  const ErrorCode status = File_UniquifyName(directory, prefix, unique);
  if (status != Error_None) return status;
  const int length = snprintf(name, kFileNameSize, "%s%s", unique, ending);
  if (length < 0 || static_cast<size_t>(length) >= kFileNameSize) return Error_Exceed;
  return iFile_OpenNew(name, mode, isPrivate, file);
}

}  // namespace

ErrorCode iFile_OpenTemporary(int32_t systemDirectory, const char* prefix, const char* ending, uint32_t mode,
                              bool isPrivate, char* name, File** file) {
  char directory[kFileNameSize];
  const ErrorCode status = File_GetSysDir(systemDirectory, directory);
  if (status != Error_None) return status;
  return iFile_OpenTemporaryIn(directory, prefix, ending, mode, isPrivate, name, file);
}

ErrorCode iFile_OpenTemporaryIn(const char* directory, const char* prefix, const char* ending, uint32_t mode,
                                bool isPrivate, char* name, File** file) {
  // Another thread may take a name that was free a moment ago: it may even draw the same random numbers. When
  // its file is gone again by the time that it is looked for, the status is Error_Fail.
  ErrorCode status = Error_Exists;
  for (int i = 0; i < kTemporaryTries && (status == Error_Exists || status == Error_Fail); ++i) {
    status = OpenUnique(directory, prefix, ending, mode, isPrivate, name, file);
  }
  if (status == Error_None) File_SetTemporary(*file, 1);
  return status;
}

ErrorCode iFile_NumberLastPart(const char* name, char* result) {
  return NumberName(name, BaseLengthOfLastPart, result);
}

ErrorCode File_NumberName(const char* name, char* result) {
  return NumberName(name, BaseLength, result);
}

ErrorCode File_UniquifyName(const char* directory, const char* prefix, char* result) {
  if (result == nullptr) return Error_Invalid;
  result[0] = '\0';
  if (!iOS_IsInited()) return Error_NotInited;
  if (directory == nullptr || prefix == nullptr) return Error_Invalid;
  char candidate[kFileNameSize];
  const ErrorCode status = FindUniqueName(directory, prefix, candidate);
  iFile_CopyName(candidate, result);
  return status;
}
