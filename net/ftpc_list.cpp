// Directory lists, into local files.
#include "net/ftpc_internal.h"
#include "os/owned.h"
#include "qz/error.h"
#include "qz/string.h"

namespace {

constexpr uint32_t kTextFileMode = 18;
constexpr int32_t kTemporaryDirectory = 1;

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

ErrorCode List(FTPc* connection, const char* command, Stream* destination, Reply* reply) {
  Stream* data = nullptr;
  ErrorCode status = iFTPc_SetUpData(connection, reply);
  if (status == Error_None) status = iFTPc_StartData(connection, command, nullptr, &data, reply);
  return status != Error_None ? status : iFTPc_Receive(connection, data, destination, nullptr, reply);
}

// A list that did not come whole is removed.
ErrorCode ListIntoFile(FTPc* connection, const char* command, const char* localFile, Reply* reply) {
  Owned<File, File_Close> file;
  ErrorCode status = File_Open(localFile, kTextFileMode, file.out());
  if (status != Error_None) return status;
  status = List(connection, command, File_GetStream(file.get()), reply);
  if (status != Error_None) File_SetTemporary(file.get(), 1);
  return status;
}

}  // namespace

ErrorCode FTPc_GetDirectoryList(FTPc* connection, const char* directory, int32_t kind, const char* localFile,
                                Reply* reply) {
  ErrorCode status = iFTPc_Begin(connection, reply);
  if (status != Error_None) return status;
  const char* command = CommandOf(kind);
  if (command == nullptr) return Error_Fail;
  if (localFile == nullptr) return Error_Invalid;
  if (directory != nullptr) status = FTPc_ChangeDirectory(connection, directory, reply);
  return status != Error_None ? status : ListIntoFile(connection, command, localFile, reply);
}

ErrorCode FTPc_StartDirectoryList(FTPc* connection, const char* directory, int32_t kind, DirectoryList** list,
                                  Reply* reply) {
  if (list != nullptr) *list = nullptr;
  ErrorCode status = iFTPc_Begin(connection, reply);
  if (status != Error_None) return status;
  if (list == nullptr) return Error_Invalid;

  char folder[kFTPBuffer_Size];
  char name[kFTPBuffer_Size];
  status = File_GetSysDir(kTemporaryDirectory, folder);
  if (status == Error_None) status = File_UniquifyName(folder, "ftpcList", name);
  if (status == Error_None) status = FTPc_GetDirectoryList(connection, directory, kind, name, reply);
  if (status != Error_None) return status;
  status = Directory_StartFileList(directory != nullptr ? directory : "", name, 1, kind, list);
  if (status != Error_None) File_Unlink(name);
  return status;
}
