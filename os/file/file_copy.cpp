// Copying and moving a file in steps, with progress.
//
// A move within one volume is a rename and needs no steps. Everything else is read and written chunk by
// chunk; the copy is temporary until the last byte stands in it, and a moved source goes only after that.
#include <algorithm>

#include "os/core/owned.h"
#include "os/file/file_internal.h"
#include "os/file/file_testing.h"
#include "os/platform/filesystem.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/memory.h"
#include "qz/string.h"

struct FileCopy {
  bool moves;
  uint64_t totalBytes;
  uint64_t remainingBytes;
  File* source;
  File* destination;
  uint32_t chunkBytes;
  ErrorCode failure;  // of an earlier step; nothing is moved after it
  // For files that the counters of a stream do not hold; null: the destination reports.
  StreamProgressMethod wideMethod;
  void* wideContext;
  uint8_t* buffer;  // behind the record
};

namespace {

constexpr uint32_t kSmallChunk = 4096;
constexpr uint32_t kLargeChunk = 1048576;
constexpr uint64_t kLargeChunkAbove = 2097152;
constexpr uint32_t kProgressSteps = 100;

// Ends a copy in any state: what was written is temporary and goes.
void Abandon(FileCopy* copy) {
  if (copy->source != nullptr) File_Close(copy->source);
  if (copy->destination != nullptr) File_Close(copy->destination);
  Memory_Delete(copy);
}

using OwnedCopy = Owned<FileCopy, Abandon>;

// ---- starting ----------------------------------------------------------------------------------

bool RootOf(const char* name, char (&root)[kFileNameSize]) {
  char absolute[kFileNameSize];
  const char* whole = name;
  if (name[0] != '/') {
    if (iFile_AbsoluteName(name, absolute) != Error_None) return false;
    whole = absolute;
  }
  return File_StripRoot(whole, root, nullptr) >= 0;
}

bool HaveOneRoot(const char* from, const char* to) {
  char fromRoot[kFileNameSize];
  char toRoot[kFileNameSize];
  return RootOf(from, fromRoot) && RootOf(to, toRoot) && String_CompareInsensitive(fromRoot, toRoot) == 0;
}

FileCopy* NewCopy(uint64_t sizeBytes) {
  uint32_t chunkBytes = (sizeBytes & ~uint64_t{1}) > kLargeChunkAbove ? kLargeChunk : kSmallChunk;
  for (;;) {
    FileCopy* copy = static_cast<FileCopy*>(Memory_New(sizeof(FileCopy) + chunkBytes));
    if (copy != nullptr) {
      *copy = {};
      copy->chunkBytes = chunkBytes;
      copy->buffer = reinterpret_cast<uint8_t*>(copy + 1);
      return copy;
    }
    if (chunkBytes <= kSmallChunk) return nullptr;
    chunkBytes /= 2;
  }
}

// The name to be written: within an existing directory the source's own.
ErrorCode DestinationOf(const char* from, const char* to, char (&destination)[kFileNameSize]) {
  ErrorCode status = iFile_CopyName(to, destination);
  int32_t isDirectory = 0;
  if (status != Error_None || File_Exists(destination, &isDirectory) == 0) return status;
  if (isDirectory == 0) return Error_Exists;
  char name[kFileNameSize] = "";
  status = File_SplitDir(from, nullptr, name);
  if (status == Error_None) status = iFile_Join(destination, name, destination);
  if (status != Error_None) return status;
  return File_Exists(destination, &isDirectory) != 0 && isDirectory == 0 ? Error_Exists : Error_None;
}

ErrorCode OpenBoth(const char* from, const char* destination, FileCopy* copy) {
  const ErrorCode status = File_Open(from, FileMode_Read, &copy->source);
  if (status != Error_None) return status;
  const ErrorCode opened = iFile_OpenNew(destination, FileMode_Write, false, &copy->destination);
  if (opened != Error_None) return opened;
  File_SetTemporary(copy->destination, 1);
  // The open file's size, for the name's may be that of a link, or have changed.
  const int64_t sizeBytes = iFile_Size64(copy->source);
  if (sizeBytes < 0) return Error_Fail;
  copy->totalBytes = static_cast<uint64_t>(sizeBytes);
  copy->remainingBytes = copy->totalBytes;
  return Error_None;
}

ErrorCode CheckSource(const char* from, uint64_t* sizeBytes) {
  FileState state;
  const ErrorCode status = File_GetState64(from, &state, sizeBytes);
  if (status != Error_None) return status;
  if (state.exists == 0) return Error_NotFound;
  return state.isDirectory != 0 ? Error_Invalid : Error_None;
}

ErrorCode Start(const char* from, const char* to, OwnedCopy* copy) {
  uint64_t sizeBytes = 0;
  ErrorCode status = CheckSource(from, &sizeBytes);
  if (status != Error_None) return status;
  copy->reset(NewCopy(sizeBytes));
  if (!*copy) return Error_Memory;
  char destination[kFileNameSize];
  status = DestinationOf(from, to, destination);
  return status == Error_None ? OpenBoth(from, destination, copy->get()) : status;
}

// ---- progress ----------------------------------------------------------------------------------

// What a report of 32 bits gives for a position or total that does not fit.
uint32_t Narrow(uint64_t bytes) {
  return static_cast<uint32_t>(std::min<uint64_t>(bytes, UINT32_MAX));
}

void SetProgress(FileCopy* copy, StreamProgressMethod method, void* context) {
  if (copy->totalBytes > UINT32_MAX) {
    copy->wideMethod = method;
    copy->wideContext = context;
    return;
  }
  Stream* destination = File_GetStream(copy->destination);
  Stream_SetProgress(destination, 0, static_cast<uint32_t>(copy->totalBytes));
  Stream_SetIdleMethod(destination, kProgressSteps, method, context);
}

// ---- one step ----------------------------------------------------------------------------------

ErrorCode MoveChunk(FileCopy* copy) {
  const uint32_t wanted = static_cast<uint32_t>(std::min<uint64_t>(copy->chunkBytes, copy->remainingBytes));
  if (wanted == 0) return Error_None;
  if (Stream_Read(File_GetStream(copy->source), wanted, copy->buffer) != wanted) return Error_Ended;
  if (Stream_Write(File_GetStream(copy->destination), wanted, copy->buffer) != wanted) return Error_Exceed;
  const uint64_t before = copy->totalBytes - copy->remainingBytes;
  copy->remainingBytes -= wanted;
  if (copy->wideMethod == nullptr) return Error_None;
  iFile_ReportCopied(copy->totalBytes, before, before + wanted, copy->wideMethod, copy->wideContext);
  return Error_None;
}

// A source that has grown meanwhile is not complete in the copy and must not go.
bool SourceIsWhole(FileCopy* copy) {
  return iFile_Size64(copy->source) == File_Tell64(copy->source);
}

// A target that was removed or renamed meanwhile is no copy of the source.
bool TargetStands(FileCopy* copy) {
  return platform::NameLeadsToDescriptor(copy->destination->removalName, copy->destination->descriptor);
}

// Whether a moved source may go once the copy is closed.
ErrorCode CheckMove(FileCopy* copy) {
  if (!SourceIsWhole(copy)) return Error_Ended;
  return TargetStands(copy) ? Error_None : Error_NotFound;
}

// Closes the copy for good and frees the record; the source goes last, and only after a good close.
ErrorCode Finish(FileCopy* copy) {
  File* destination = copy->destination;
  File* source = copy->source;
  const bool moves = copy->moves;
  Memory_Delete(copy);
  File_SetTemporary(destination, 0);
  const ErrorCode status = iFile_CloseComplete(destination);
  const bool removesSource = moves && status == Error_None;
  File_SetTemporary(source, removesSource);
  const ErrorCode closed = File_Close(source);
  // The copy is complete; that the old file could not be removed does not make it less so.
  if (removesSource && closed != Error_None) {
    Error("File_CopyEnd: source not removed, %s", Error_ToString(closed));
  }
  return status;
}

}  // namespace

void iFile_ReportCopied(uint64_t totalBytes, uint64_t before, uint64_t after, StreamProgressMethod method,
                        void* context) {
  const uint64_t end = after * kProgressSteps / totalBytes;
  for (uint64_t k = before * kProgressSteps / totalBytes; k < end; ++k) {
    method(context, Narrow(k * totalBytes / kProgressSteps), Narrow(totalBytes));
  }
}

ErrorCode File_CopyStart(const char* from, const char* to, int32_t move, void* idleContext,
                         StreamProgressMethod idleMethod, FileCopy** copy) {
  if (copy == nullptr) return Error_Invalid;
  *copy = nullptr;
  if (from == nullptr || to == nullptr) return Error_Invalid;
  if (move == 1 && HaveOneRoot(from, to)) {
    // One root may still hold several volumes where there are no drives; then the file is copied.
    bool isOtherVolume = false;
    const ErrorCode moved = iFile_Rename(from, to, &isOtherVolume);
    if (!isOtherVolume) return moved;
  }
  OwnedCopy started;
  const ErrorCode status = Start(from, to, &started);
  if (status != Error_None) return status;
  started->moves = move == 1;
  SetProgress(started.get(), idleMethod, idleContext);
  *copy = started.release();
  return Error_None;
}

ErrorCode File_CopyEnd(FileCopy** copy) {
  if (copy == nullptr || *copy == nullptr) return Error_None;
  FileCopy* running = *copy;
  if (running->failure == Error_None) running->failure = MoveChunk(running);
  if (running->failure != Error_None || running->remainingBytes != 0) return running->failure;
  if (running->moves) running->failure = CheckMove(running);
  if (running->failure != Error_None) return running->failure;
  *copy = nullptr;
  return Finish(running);
}

void File_CopyAbort(FileCopy** copy) {
  if (copy == nullptr || *copy == nullptr) return;
  Abandon(*copy);
  *copy = nullptr;
}

void File_GetCopyProgress64(const FileCopy* copy, uint64_t* doneBytes, uint64_t* totalBytes) {
  if (doneBytes != nullptr) *doneBytes = copy != nullptr ? copy->totalBytes - copy->remainingBytes : 0;
  if (totalBytes != nullptr) *totalBytes = copy != nullptr ? copy->totalBytes : 0;
}
