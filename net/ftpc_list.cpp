// Directory lists, into local files.
#include "net/ftpc_internal.h"
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "qz/error.h"
#include "qz/os.h"

namespace {

constexpr uint32_t kTextFileMode = 18;

// The command of a kind of list, or null when there is no such kind.
const char* CommandOf(int32_t kind) {
  switch (kind) {
    case FTPcList_Names:
    case FTPcList_JoinedNames:
      return "NLST";
    case FTPcList_Long:
      return "LIST";
    default:
      return nullptr;
  }
}

ErrorCode List(FTPc* connection, const char* command, const char* argument, Stream* destination,
               Reply* reply) {
  Stream* data = nullptr;
  ErrorCode status = iFTPc_SetUpData(connection, reply);
  if (status == Error_None) status = iFTPc_StartData(connection, command, argument, &data, reply);
  return status != Error_None ? status : iFTPc_Receive(connection, data, destination, nullptr, reply);
}

// Lists into the file and closes it. A list that does not come whole is removed.
ErrorCode ListIntoFile(FTPc* connection, const char* command, const char* argument, File* file,
                       Reply* reply) {
  const Owned<File, File_Close> owner(file);
  File_SetTemporary(file, 1);
  const ErrorCode status = List(connection, command, argument, File_GetStream(file), reply);
  if (status == Error_None) File_SetTemporary(file, 0);
  return status;
}

}  // namespace

ErrorCode iFTPc_ListInto(FTPc* connection, const char* command, const char* argument, const char* localFile,
                         Reply* reply) {
  ErrorCode status = iFTPc_Begin(connection, reply);
  // Set up for nothing, a data connection would wait for the next command.
  if (status == Error_None && argument != nullptr) status = iFTPc_CheckArgument(command, argument);
  File* file = nullptr;
  if (status == Error_None) status = File_Open(localFile, FileMode_Write, &file);
  return status != Error_None ? status : ListIntoFile(connection, command, argument, file, reply);
}

ErrorCode FTPc_GetDirectoryList(FTPc* connection, const char* directory, int32_t kind, const char* localFile,
                                Reply* reply) {
  ErrorCode status = iFTPc_Begin(connection, reply);
  if (status != Error_None) return status;
  const char* command = CommandOf(kind);
  if (command == nullptr) return Error_Fail;
  if (localFile == nullptr) return Error_Invalid;
  if (directory != nullptr) status = FTPc_ChangeDirectory(connection, directory, reply);
  File* file = nullptr;
  if (status == Error_None) status = File_Open(localFile, kTextFileMode, &file);
  return status != Error_None ? status : ListIntoFile(connection, command, nullptr, file, reply);
}

ErrorCode FTPc_StartDirectoryList(FTPc* connection, const char* directory, int32_t kind, DirectoryList** list,
                                  Reply* reply) {
  if (list != nullptr) *list = nullptr;
  ErrorCode status = iFTPc_Begin(connection, reply);
  if (status != Error_None) return status;
  if (list == nullptr) return Error_Invalid;
  const char* command = CommandOf(kind);
  if (command == nullptr) return Error_Fail;
  if (directory != nullptr) status = FTPc_ChangeDirectory(connection, directory, reply);

  char name[kFTPBuffer_Size];
  File* file = nullptr;
  if (status == Error_None) {
    status = iFile_OpenTemporary(SysDir_Temp, "ftpcList", "", kTextFileMode, true, name, &file);
  }
  if (status == Error_None) status = ListIntoFile(connection, command, nullptr, file, reply);
  if (status != Error_None) return status;
  status = Directory_StartFileList(directory != nullptr ? directory : "", name, 1, kind, list);
  if (status != Error_None) File_Unlink(name);
  return status;
}
