// The kinds of sides that can be guarded, and what they share.
#include "os/core/owned.h"
#include "qz/error.h"
#include "synchro/synchro_kind_internal.h"

const SynchroKind* iSynchro_KindOf(const SynchroConnection& side) {
  switch (URL_GetProtocolType(side.url.protocol)) {
    case URLProtocol_File:
      return &kSynchroKind_Local;
    case URLProtocol_FTP:
      return &kSynchroKind_FTP;
    default:
      return nullptr;
  }
}

ErrorCode iSynchro_CloseLost(SynchroConnection* side, ErrorCode status) {
  if (iSynchro_IsConnectionLost(status)) iSynchro_CloseSide(side);
  return status;
}

SynchroListFile::~SynchroListFile() {
  if (path_[0] != '\0' && File_Exists(path_, nullptr) != 0) File_Unlink(path_);
}

ErrorCode SynchroListFile::Choose(int32_t systemDirectory) {
  Owned<File, File_Close> file;
  const ErrorCode status =
      iFile_OpenTemporary(systemDirectory, "synclist", "", FileMode_Write, true, path_, file.out());
  if (status == Error_None) File_SetTemporary(file.get(), 0);
  if (status != Error_None) path_[0] = '\0';
  return status;
}
