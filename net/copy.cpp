// Copying between streams.
#include <algorithm>

#include "net/copy_internal.h"
#include "net/sock_internal.h"
#include "os/platform/clock.h"
#include "qz/error.h"

namespace {

constexpr uint32_t kChunkSize = 4096;
constexpr uint32_t kPauseMilliseconds = 10;

// Paces the attempts that move nothing, and says when there were enough. Costs nothing while bytes move.
class Patience {
 public:
  void Reset() { waiting_ = false; }

  // False when the time is over.
  bool Wait() {
    const uint64_t now = platform::MonotonicMilliseconds();
    if (!waiting_) start_ = now;
    waiting_ = true;
    if (now - start_ >= iSock_GetWaitMilliseconds()) return false;
    platform::SleepMilliseconds(kPauseMilliseconds);
    return true;
  }

 private:
  bool waiting_ = false;
  uint64_t start_ = 0;
};

// Reads at least one byte, or says why not. A stream that would block may be asked again.
ErrorCode ReadChunk(Stream* source, uint32_t size, NetCopyStall stall, char* chunk, uint32_t* length) {
  Patience patience;
  for (;;) {
    *length = Stream_Read(source, size, chunk);
    if (*length > 0) return Error_None;
    const ErrorCode status = Stream_Error(source);
    if (status != Error_Block || stall == NetCopyStall::Failure) return status;
    if (!patience.Wait()) return Error_Timeout;
  }
}

// A connection that its peer has reset never takes anything again.
bool IsReset(Stream* stream, ErrorCode status) {
  return status == Error_Retry && Stream_FindType(stream, StreamType_Sock) != nullptr;
}

// Writes the whole chunk; *written says how far it came. A destination that takes nothing may be tried again:
// a socket may drain, a disk may be given space.
ErrorCode WriteChunk(Stream* destination, uint32_t length, NetCopyStall stall, const char* chunk,
                     uint32_t* written) {
  Patience patience;
  *written = 0;
  while (*written < length) {
    const uint32_t step = Stream_Write(destination, length - *written, chunk + *written);
    *written += step;
    if (step > 0) {
      patience.Reset();
      continue;
    }
    const ErrorCode status = Stream_Error(destination);
    if (status == Error_Ended) return Error_Exceed;
    if (stall == NetCopyStall::Failure) return status == Error_None ? Error_Ended : status;
    // A socket that gives Timeout has waited all that time itself; Cancel means that it is closed.
    const bool isOver = status == Error_Timeout || status == Error_Cancel || IsReset(destination, status);
    if (isOver || !patience.Wait()) return status == Error_None ? Error_Timeout : status;
  }
  return Error_None;
}

}  // namespace

ErrorCode iNet_CopyStream(Stream* source, Stream* destination, uint32_t limit, uint32_t* count,
                          NetCopyStall stall) {
  char chunk[kChunkSize];
  const bool limited = limit != kNet_NoLimit;
  uint32_t moved = 0;
  ErrorCode status = Error_None;
  while (!limited || moved < limit) {
    const uint32_t size = limited ? std::min(kChunkSize, limit - moved) : kChunkSize;
    uint32_t length = 0;
    status = ReadChunk(source, size, stall, chunk, &length);
    if (length == 0) {
      if (!limited && status == Error_Ended) status = Error_None;
      break;
    }
    uint32_t written = 0;
    status = WriteChunk(destination, length, stall, chunk, &written);
    moved += written;
    if (status != Error_None) break;
  }
  if (count != nullptr) *count = moved;
  return limited && status == Error_None && moved < limit ? Error_Ended : status;
}
