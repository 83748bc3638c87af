// The data file of a transfer: its name, and who may remove it. A record may be damaged, or made to harm, so
// nothing is removed but what the library can have made itself.
#include <cstdio>
#include <cstring>
#include <string_view>

#include "os/core/lock_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/filesystem.h"
#include "os/text/characterclass_internal.h"
#include "qz/os.h"
#include "transfer/vrxclient_internal.h"
#include "transfer/vrxclientsystem_internal.h"

namespace {

constexpr char kDataPrefix[] = "vrxData";
constexpr std::string_view kPartEnding = ".part";
constexpr int kNameTries = 100;

bool AreDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// With its "/"; empty for a name in the current directory.
std::string_view DirectoryOf(std::string_view path) {
  return path.substr(0, path.rfind('/') + 1);
}

bool IsPartBesideTarget(const VRXClient* client) {
  const std::string_view path = client->data.dataPath;
  const std::string_view target = client->data.localPath;
  return client->data.isUpload == 0 && !target.empty() && !iVRXClient_IsSamePath(path, target) &&
         path.ends_with(kPartEnding) && iVRXClient_IsSamePath(DirectoryOf(path), DirectoryOf(target));
}

// Takes the name unless another transfer has it.
bool Claim(VRXClient* client, const char* path) {
  const LibraryLock lock;
  if (iVRXClientList_HasPath(path, client)) return false;
  iVRXClient_SetDataPath(client, path);
  return true;
}

bool IsEmptyFile(const char* path) {
  FileState state;
  uint64_t size = 0;
  return File_GetState64(path, &state, &size) == Error_None && state.exists != 0 && state.isDirectory == 0 &&
         size == 0;
}

// The empty file that an earlier run of the program has left, if there is one.
bool TakeEmptyFile(VRXClient* client) {
  char path[kPathSize];
  snprintf(path, sizeof path, "%s", client->emptyDataPath);
  client->emptyDataPath[0] = '\0';
  return path[0] != '\0' && IsEmptyFile(path) && Claim(client, path);
}

// Two programs may draw the same random numbers, and choose one name before either makes the file.
bool IsNameTaken(const VRXClient* client) {
  return client->isDataFileNew && File_Exists(client->data.dataPath, nullptr) != 0;
}

// Whether the path is that of a file in the directory, named by the prefix and a number.
bool IsNameIn(const char* directory, const char* prefix, std::string_view path) {
  char beginning[kPathSize];
  if (iFile_Join(directory, prefix, beginning) != Error_None || !path.starts_with(beginning)) return false;
  return AreDigits(path.substr(strlen(beginning)));
}

}  // namespace

bool iVRXClient_IsSamePath(std::string_view a, std::string_view b) {
  return platform::UsesDriveLetters() ? iCharacter_EqualsWithoutCase(a, b) : a == b;
}

bool iVRXClient_IsOwnName(const char* path, const char* prefix) {
  char directory[kPathSize];
  if (iVRXClientSystem_GetFileDirectory(directory) == Error_None && IsNameIn(directory, prefix, path))
    return true;
  return File_GetSysDir(SysDir_Cache, directory) == Error_None && IsNameIn(directory, prefix, path);
}

ErrorCode iVRXClient_NameDataFile(VRXClient* client) {
  if (client->data.dataPath[0] != '\0' && !IsNameTaken(client)) return Error_None;
  if (TakeEmptyFile(client)) return Error_None;
  char directory[kPathSize];
  char path[kPathSize];
  ErrorCode status = iVRXClientSystem_GetFileDirectory(directory);
  for (int i = 0; i < kNameTries && status == Error_None; ++i) {
    status = File_UniquifyName(directory, kDataPrefix, path);
    if (status == Error_None && strlen(path) > kPathSize - 2) status = Error_Exceed;
    if (status != Error_None || !Claim(client, path)) continue;
    client->isDataFileNew = true;
    return Error_None;
  }
  return status == Error_None ? ErrorCode{Error_Fail} : status;
}

// A file that another program has made under the name is no part of this transfer's data.
ErrorCode iVRXClient_MakeDataFile(VRXClient* client, File** file) {
  ErrorCode status = Error_Exists;
  for (int i = 0; i < kNameTries && status == Error_Exists; ++i) {
    status = iVRXClient_NameDataFile(client);
    if (status == Error_None) status = iFile_OpenNew(client->data.dataPath, FileMode_Write, false, file);
  }
  if (status == Error_None) client->isDataFileNew = false;
  return status;
}

void iVRXClient_SetDataPath(VRXClient* client, const char* path) {
  const LibraryLock lock;
  if (strcmp(client->data.dataPath, path) == 0) return;
  snprintf(client->data.dataPath, sizeof client->data.dataPath, "%s", path);
  client->isDataFileNew = false;
  client->isChanged = true;
}

bool iVRXClient_HasOwnDataPath(const VRXClient* client) {
  return client->data.dataPath[0] != '\0' &&
         (IsPartBesideTarget(client) || iVRXClient_IsOwnName(client->data.dataPath, kDataPrefix));
}

bool iVRXClient_OwnsDataFile(const VRXClient* client) {
  return iVRXClient_HasOwnDataPath(client) && !client->isDataFileNew &&
         !iVRXClientList_HasPath(client->data.dataPath, client);
}

void iVRXClient_ForgetDataFile(VRXClient* client) {
  if (iVRXClient_OwnsDataFile(client)) File_Unlink(client->data.dataPath);
  iVRXClient_SetDataPath(client, "");
  client->dataFileSize = 0;
}

ErrorCode iVRXClient_MeasureDataFile(VRXClient* client) {
  // What is not there, and what is no file, has no size.
  FileState state;
  uint64_t size = 0;
  const ErrorCode status = File_GetState64(client->data.dataPath, &state, &size);
  client->dataFileSize = status == Error_None ? size : 0;
  return status;
}

ErrorCode iVRXClient_LookAtDataFile(VRXClient* client) {
  const ErrorCode status = iVRXClient_MeasureDataFile(client);
  client->offset = client->data.isUpload == 0 ? client->dataFileSize : 0;
  return status;
}

void iVRXClient_AdoptDataFile(VRXClient* client) {
  if (client->data.dataPath[0] == '\0') return;
  const ErrorCode status = iVRXClient_LookAtDataFile(client);
  const bool isLookedAt = status == Error_None || status == Error_NotFound;
  if (!isLookedAt || client->dataFileSize > 0) return;
  const bool isOwn = iVRXClient_IsOwnName(client->data.dataPath, kDataPrefix);
  if (client->data.isUpload != 0) snprintf(client->copyPath, kPathSize, "%s", client->data.dataPath);
  if (client->data.isUpload == 0 && isOwn)
    snprintf(client->emptyDataPath, kPathSize, "%s", client->data.dataPath);
  iVRXClient_SetDataPath(client, "");
}

void iVRXClient_RemoveEmptyDataFile(VRXClient* client) {
  if (TakeEmptyFile(client)) iVRXClient_ForgetDataFile(client);
}

void iVRXClient_KeepDataFileName(VRXClient* client) {
  if (!client->isDataFileNew) return;
  // The copy of an upload, which makes the file, has not begun.
  if (client->data.isUpload != 0) return iVRXClient_SetDataPath(client, "");
  Owned<File, File_Close> file;
  iVRXClient_MakeDataFile(client, file.out());
}

bool iVRXClient_AdoptEmptyCopy(VRXClient* client) {
  if (client->data.isUpload == 0 || client->copyPath[0] == '\0' || client->data.dataPath[0] != '\0')
    return false;
  int32_t isDirectory = 0;
  const bool isFile = File_Exists(client->copyPath, &isDirectory) != 0 && isDirectory == 0;
  return isFile && Claim(client, client->copyPath);
}
