// The bytes of a traverse: straight from and to its stream, or, in a file that is only written, gathered
// between the outermost Start and End, so that a record of many small fields is one call to the system.
//
//   gathered: | fields of this record ... gatheredCount | free ... kTraverseGatherSize |
#include <algorithm>

#include "qz/memory.h"
#include "traverse/traverse_internal.h"

namespace {

constexpr uint32_t kSkipPieceSize = 2048;

// A stream of an application's own may claim to have taken more than it was given.
uint32_t WriteToStream(Traverse& traverse, uint32_t count, const void* buffer) {
  return std::min(Stream_Write(traverse.stream, count, buffer), count);
}

bool WriteGathered(Traverse& traverse) {
  const uint32_t count = traverse.gatheredCount;
  traverse.gatheredCount = 0;  // what could not be written is lost, as without gathering
  return count == 0 || WriteToStream(traverse, count, traverse.gathered) == count;
}

bool MayGather(const Traverse& traverse) {
  return traverse.gathered != nullptr && traverse.depth != 0;
}

}  // namespace

uint32_t iTraverse_ReadBytes(Traverse& traverse, uint32_t count, void* buffer) {
  if (count == 0) return 0;
  // It may claim to have given more, too.
  return std::min(Stream_Read(traverse.stream, count, buffer), count);
}

uint32_t iTraverse_WriteBytes(Traverse& traverse, uint32_t count, const void* buffer) {
  if (count == 0) return 0;
  if (!MayGather(traverse)) return WriteToStream(traverse, count, buffer);
  if (count > kTraverseGatherSize - traverse.gatheredCount && !WriteGathered(traverse)) return 0;
  if (count > kTraverseGatherSize) return WriteToStream(traverse, count, buffer);
  Memory_Copy(buffer, traverse.gathered + traverse.gatheredCount, count);
  traverse.gatheredCount += count;
  return count;
}

ErrorCode iTraverse_Skip(Traverse& traverse, uint32_t count) {
  uint8_t dropped[kSkipPieceSize];
  while (count != 0) {
    const uint32_t piece = std::min(count, kSkipPieceSize);
    if (iTraverse_ReadBytes(traverse, piece, dropped) != piece) return Error_Ended;
    count -= piece;
  }
  return Error_Exceed;
}

ErrorCode iTraverse_GatherWrites(Traverse& traverse) {
  traverse.gathered = static_cast<uint8_t*>(Memory_New(kTraverseGatherSize));
  return traverse.gathered != nullptr ? Error_None : Error_Memory;
}

void iTraverse_Flush(Traverse& traverse) {
  if (!WriteGathered(traverse) && !iTraverse_IsStopped(traverse)) traverse.error = Error_Ended;
}
