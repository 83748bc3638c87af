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

// Only a stream that gives no failure is worth another attempt: a full disk stays full, a lost connection
// lost.
bool MayTakeMoreLater(ErrorCode status) {
  return status == Error_None || status == Error_Block;
}

// Writes the whole chunk; *written says how far it came.
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
    if (!MayTakeMoreLater(status)) return status;
    if (stall == NetCopyStall::Failure) return status == Error_None ? Error_Ended : status;
    if (!patience.Wait()) return status == Error_None ? Error_Timeout : status;
  }
  return Error_None;
}

// Copies up to `limit` bytes; *failed is the side that a status other than None comes from.
ErrorCode CopyChunks(Stream* source, Stream* destination, uint64_t limit, NetCopyStall stall, uint64_t* moved,
                     NetCopySide* failed) {
  char chunk[kChunkSize];
  const bool isLimited = limit != kNet_NoLimit;
  while (!isLimited || *moved < limit) {
    const auto size = static_cast<uint32_t>(std::min<uint64_t>(kChunkSize, limit - *moved));
    uint32_t length = 0;
    *failed = NetCopySide::Source;
    ErrorCode status = ReadChunk(source, size, stall, chunk, &length);
    if (length == 0 && isLimited) return status == Error_None ? ErrorCode{Error_Ended} : status;
    if (length == 0) return status == Error_Ended ? ErrorCode{Error_None} : status;

    uint32_t written = 0;
    *failed = NetCopySide::Destination;
    status = WriteChunk(destination, length, stall, chunk, &written);
    *moved += written;
    if (status != Error_None) return status;
  }
  return Error_None;
}

}  // namespace

ErrorCode iNet_CopyStream(Stream* source, Stream* destination, uint64_t limit, uint64_t* count,
                          NetCopyStall stall, NetCopySide* failed) {
  uint64_t moved = 0;
  NetCopySide side = NetCopySide::None;
  const ErrorCode status = CopyChunks(source, destination, limit, stall, &moved, &side);
  if (count != nullptr) *count = moved;
  if (failed != nullptr) *failed = status == Error_None ? NetCopySide::None : side;
  return status;
}
