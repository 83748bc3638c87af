// The new files of a guarded run come to the disk folder by folder. What replaces an old file is flushed
// before that; a file in a free place costs nothing when it is lost. Until it is flushed the journal says
// that it was begun, never that it was done: behind a power cut it is known by its time and size, or does not
// count.
#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/platform/filesystem.h"
#include "qz/error.h"
#include "synchro/synchro_internal.h"

namespace {

// From so many on, flushing all that the file system holds is cheaper than each of them.
constexpr uint32_t kFewFiles = 8;

constexpr SynchroEntryFlag kUnflushed[kSynchroEnds] = {SynchroEntryFlag_UnflushedAtSource,
                                                       SynchroEntryFlag_UnflushedAtDestination};

ErrorCode FlushFile(const char* path) {
  Owned<File, File_Close> file;
  const ErrorCode status = File_Open(path, FileMode_Append, file.out());
  if (status != Error_None) return status;
  if (File_FlushToDisk(file.get()) == 0) return Error_None;
  const ErrorCode failure = Stream_Error(File_GetStream(file.get()));
  return failure != Error_None ? failure : Error_Fail;
}

bool FlushAll(const Synchro& synchro, const SynchroFrame& frame, SynchroEnd end) {
  char path[kFileNameSize];
  char systemName[kFileNameSize];
  return iSynchro_FolderPath(synchro.sides[end], frame.directory, path) == Error_None &&
         iFile_ToSystemName(path, systemName) == Error_None && platform::FlushFileSystem(systemName);
}

ErrorCode FlushEach(const Synchro& synchro, const SynchroFrame& frame, SynchroEnd end) {
  for (uint32_t i = frame.flushedEntries; i < frame.entries.Count(); ++i) {
    char path[kFileNameSize];
    const SynchroEntry& entry = frame.entries.At(i);
    if (!entry.Has(kUnflushed[end])) continue;
    ErrorCode status = iSynchro_EntryPath(synchro.sides[end], frame.directory, entry.name, path);
    if (status == Error_None) status = FlushFile(path);
    // A file that somebody has removed meanwhile needs none.
    if (status != Error_None && status != Error_NotFound) return status;
  }
  return Error_None;
}

// They stay begun.
void LeaveOpen(Synchro* synchro, SynchroFrame* frame, SynchroEnd end) {
  for (uint32_t i = frame->flushedEntries; i < frame->entries.Count(); ++i) {
    SynchroEntry& entry = frame->entries.At(i);
    if (!entry.Has(kUnflushed[end])) continue;
    iSynchro_KeepIntent(synchro, frame, entry, {end, entry.sides[end], false});
    entry.flags &= ~SynchroEntryFlag_Settled;
  }
}

void Flush(Synchro* synchro, SynchroFrame* frame, SynchroEnd end) {
  if (frame->unflushed[end] == 0) return;
  const bool isStopped = iSynchro_IsStopped(synchro);  // there may be much to write
  const bool isDone = !isStopped && frame->unflushed[end] >= kFewFiles && FlushAll(*synchro, *frame, end);
  const ErrorCode status = isDone || isStopped ? ErrorCode{Error_None} : FlushEach(*synchro, *frame, end);
  if (isStopped || status != Error_None) LeaveOpen(synchro, frame, end);
  if (status != Error_None) iSynchro_Report(synchro, "* Update failed: %s", Error_ToString(status));
  frame->unflushed[end] = 0;
}

}  // namespace

bool iSynchro_MayFlushLater(const Synchro& synchro, const SynchroEntry& entry, SynchroEnd at) {
  const bool isLocal = URL_GetProtocolType(synchro.sides[at].url.protocol) == URLProtocol_File;
  return synchro.isGuarded && isLocal && !entry.IsAt(at);
}

void iSynchro_FlushLater(SynchroFrame* frame, SynchroEnd at, SynchroEntry* entry) {
  entry->flags |= kUnflushed[at];
  ++frame->unflushed[at];
  frame->isChanged = true;
}

void iSynchro_FlushCopies(Synchro* synchro, SynchroFrame* frame) {
  for (const SynchroEnd end : {SynchroEnd_Source, SynchroEnd_Destination}) Flush(synchro, frame, end);
  for (uint32_t i = frame->flushedEntries; i < frame->entries.Count(); ++i)
    frame->entries.At(i).flags &=
        ~uint32_t{SynchroEntryFlag_UnflushedAtSource | SynchroEntryFlag_UnflushedAtDestination};
  frame->flushedEntries = frame->cursor;
}
