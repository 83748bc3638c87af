// A record file opened in one call. A file that is only read gets a read buffer, one that is only written
// gathers its fields; one for update gets neither, because reading and writing share its position.
//
//   read     traverse -> read buffer -> file
//   write    traverse (gathers) -> file
//   update   traverse -> file
#include "os/core/owned.h"
#include "qz/file.h"
#include "qz/readbufferstream.h"
#include "qz/traverse.h"
#include "traverse/traverse_internal.h"

namespace {

constexpr uint32_t kReadBufferSize = 4096;
constexpr uint32_t kModeNumberMask = 0x0F;

bool IsOnlyRead(uint32_t mode) {
  return (mode & kModeNumberMask) == FileMode_Read;
}

bool IsOnlyWritten(uint32_t mode) {
  const uint32_t number = mode & kModeNumberMask;
  return number == FileMode_Write || number == FileMode_Append;
}

// A context over the file, which it takes over; null leaves the file to the caller.
Traverse* NewContext(File* file, uint32_t mode) {
  Stream* const fileStream = File_GetStream(file);
  Stream* stream = fileStream;
  if (IsOnlyRead(mode)) {
    // Borrows until the context is there: what fails on the way must not close the file.
    stream = ReadBufferStream_New(kReadBufferSize, fileStream, 0);
    if (stream == nullptr) return nullptr;
  }
  Traverse* const traverse = Traverse_New(0, stream);
  if (traverse == nullptr) {
    if (stream != fileStream) Stream_Delete(stream);
    return nullptr;
  }
  if (IsOnlyWritten(mode) && iTraverse_GatherWrites(*traverse) != Error_None) {
    traverse->stream = nullptr;
    Traverse_Delete(traverse);
    return nullptr;
  }
  if (stream != fileStream) ReadBufferStream_SetDeleteStream(stream, 1);
  return traverse;
}

}  // namespace

ErrorCode File_OpenTraverse(const char* name, uint32_t mode, File** file, Traverse** traverse) {
  if (file != nullptr) *file = nullptr;
  if (traverse == nullptr) return Error_Invalid;
  *traverse = nullptr;
  Owned<File, File_Close> opened;
  if (const ErrorCode status = File_Open(name, mode, opened.out()); status != Error_None) return status;
  *traverse = NewContext(opened.get(), mode);
  if (*traverse == nullptr) return Error_Memory;
  File* const taken = opened.release();
  if (file != nullptr) *file = taken;
  return Error_None;
}
