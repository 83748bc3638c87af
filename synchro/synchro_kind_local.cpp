// A local side of a guarded run: folders are read directly.
#include "os/core/owned.h"
#include "os/platform/error.h"
#include "os/platform/filesystem.h"
#include "qz/directory.h"
#include "qz/error.h"
#include "synchro/synchro_kind_internal.h"

namespace {

SynchroSide ValuesOf(const platform::FileInformation& information) {
  Time time;
  iFile_TimeFromUnits(information.modified, &time);
  return iSynchro_LocalValues(information.isDirectory, information.sizeBytes, time);
}

ErrorCode SystemStatus(const char* path) {
  return Error_FromSystem("Synchro", path, platform::LastSystemError());
}

ErrorCode TakeEntries(const SynchroReadRequest& request) {
  char systemName[kFileNameSize];
  const ErrorCode named = iFile_ToSystemName(request.path, systemName);
  if (named != Error_None) return named;
  const Owned<platform::DirectorySearch, platform::EndSearch> search(platform::BeginSearch(systemName));
  if (!search) return SystemStatus(request.path);
  platform::DirectoryEntry found;
  while (iDirectory_NextEntry(search.get(), &found)) {
    // Where a link leads may be outside of both trees; a pipe gives other bytes each time.
    const bool isUnclear = found.information.isLink || found.information.isSpecial;
    const ErrorCode status =
        request.take(request.context, {found.name, ValuesOf(found.information), isUnclear, false, false});
    if (status != Error_None) return status;
  }
  return platform::LastSystemError() == platform::SystemError_None ? Error_None : SystemStatus(request.path);
}

ErrorCode Read(SynchroConnection*, const SynchroReadRequest& request, SynchroFolder* folder) {
  *folder = {false, true, false};
  const ErrorCode status = Directory_Find(request.path, request.mayCreate ? 1 : 0, nullptr, nullptr);
  folder->isMissing = status == Error_NotFound;
  if (folder->isMissing) return Error_None;
  return status == Error_None ? TakeEntries(request) : status;
}

ErrorCode Ask(SynchroConnection*, const SynchroQuestion& question, SynchroSide* now) {
  return iSynchro_ReadLocal(question.path, now);
}

ErrorCode AskSize(SynchroConnection*, const char* path, uint64_t* sizeBytes) {
  FileState state;
  const ErrorCode status = File_GetState64(path, &state, sizeBytes);
  if (status != Error_None) return status;
  return state.exists != 0 ? Error_None : Error_NotFound;
}

}  // namespace

const SynchroKind kSynchroKind_Local = {Read, Ask, nullptr, AskSize};
