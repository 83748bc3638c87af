// A stream in memory.
//
// The chunk array has one slot in use, or none:
//   over a caller's block   count 1: slot 0 the block; slot 1 the newest chunk of what did not fit
//   started empty           count 0: slot 0 the newest chunk
// Kept: adding a chunk does not advance the count, so the bytes in it are counted and never handed back;
// programs were built around the sizes and cleared blocks that result.
#include "qz/memorystream.h"

#include <algorithm>
#include <cstddef>

#include "os/core/memory_internal.h"
#include "qz/error.h"
#include "qz/memory.h"

namespace {

constexpr uint32_t kChunkCapacity = 16;
constexpr uint32_t kMinimumChunkLength = 1024;

struct Chunk {
  uint8_t* data;
  uint32_t length;
};

// A chunk that the stream allocated itself. It stays on the stream's list until the end, because the read
// pointer may lie in it long after its slot has been given to a newer one.
struct OwnChunk {
  OwnChunk* older;
};

struct MemoryStream {
  Stream header;
  uint32_t size;           // bytes written so far, the initial block's among them
  uint32_t chunkCount;     // chunks in use: 0 or 1
  uint32_t chunkCapacity;  // of the layout only: two slots are the most that are ever used
  Chunk* chunks;
  uint32_t freeInChunk;   // bytes left in the chunk being written
  uint8_t* writePointer;  // null: that chunk is full
  uint32_t readChunk;     // of the layout only: no chunk but the first can be read
  uint8_t* readPointer;   // null: nothing to read yet
  // Behind the stated layout.
  uint8_t* readEnd;     // end of the chunk that the read pointer lies in
  uint32_t writeChunk;  // slot of the chunk being written, which is where freeInChunk counts
  OwnChunk* ownChunks;
};

static_assert(sizeof(void*) != 4 ||
              (offsetof(MemoryStream, size) == 28 && offsetof(MemoryStream, chunks) == 40 &&
               offsetof(MemoryStream, readPointer) == 56 && sizeof(Chunk) == 8));

MemoryStream* RecordOf(Stream* stream) {
  return reinterpret_cast<MemoryStream*>(stream);
}

ErrorCode DeleteRecord(Stream* stream) {
  MemoryStream* record = RecordOf(stream);
  if (record->chunkCount != 0) Memory_Delete(record->chunks[0].data);
  while (record->ownChunks != nullptr) {
    OwnChunk* chunk = record->ownChunks;
    record->ownChunks = chunk->older;
    Memory_Delete(chunk);
  }
  Memory_Delete(record->chunks);
  Memory_Delete(record);
  return Error_None;
}

// Bytes between the read pointer and the end of what may be read of its chunk.
// Kept: the chunk of a stream that started empty does not count as the last one, so all of it can be read,
// written or not; readers of such a stream get whole chunks.
uint32_t CountReadable(const MemoryStream& record) {
  const auto left = static_cast<uint32_t>(record.readEnd - record.readPointer);
  const bool isLast = record.chunkCount == 1;
  const bool isBeingWritten = record.writeChunk == 0;
  return isLast && isBeingWritten ? left - record.freeInChunk : left;
}

uint32_t ReadChunks(Stream* stream, uint32_t count, void* buffer) {
  MemoryStream& record = *RecordOf(stream);
  if (record.readPointer == nullptr || buffer == nullptr) return 0;
  const uint32_t taken = std::min(CountReadable(record), count);
  Memory_Copy(record.readPointer, buffer, taken);
  record.readPointer += taken;
  return taken;
}

// Kept: says 0 whatever there is to read; callers of a memory stream read until nothing comes.
uint32_t ReadAvailable(Stream* /*stream*/) {
  Error("iMemoryStream_ReadAvail: Unimplemented");
  return 0;
}

uint8_t* AddChunk(MemoryStream& record, uint32_t length) {
  const size_t size = sizeof(OwnChunk) + length;
  if (size < length) return nullptr;
  auto* chunk = static_cast<OwnChunk*>(iMemory_NewCleared(size));
  if (chunk == nullptr) return nullptr;
  chunk->older = record.ownChunks;
  record.ownChunks = chunk;

  auto* data = reinterpret_cast<uint8_t*>(chunk + 1);
  record.chunks[record.chunkCount] = {data, length};
  record.writeChunk = record.chunkCount;
  if (record.readPointer == nullptr) {
    record.readPointer = data;
    record.readEnd = data + length;
  }
  return data;
}

// Fills the rest of the chunk being written and returns how many bytes went there.
uint32_t WriteInChunk(MemoryStream& record, uint32_t count, const uint8_t* source) {
  if (record.writePointer == nullptr) return 0;
  const uint32_t written = std::min(count, record.freeInChunk);
  Memory_Copy(source, record.writePointer, written);
  record.writePointer += written;
  record.freeInChunk -= written;
  record.size += written;
  if (record.freeInChunk == 0) record.writePointer = nullptr;
  return written;
}

// Kept: when memory runs out the result is 0 even if the bytes that fitted were taken; callers discard the
// stream then.
uint32_t WriteChunks(Stream* stream, uint32_t count, const void* buffer) {
  if (buffer == nullptr) return 0;
  MemoryStream& record = *RecordOf(stream);
  const auto* source = static_cast<const uint8_t*>(buffer);
  const uint32_t written = WriteInChunk(record, count, source);
  const uint32_t remaining = count - written;
  if (remaining == 0) return count;

  const uint32_t length = std::max(kMinimumChunkLength, remaining);
  uint8_t* data = AddChunk(record, length);
  if (data == nullptr) return 0;
  record.writePointer = data;
  record.freeInChunk = length;
  WriteInChunk(record, remaining, source + written);
  return count;
}

ErrorCode NoError(Stream* /*stream*/) {
  return Error_None;
}

constexpr StreamOperations kOperations = {DeleteRecord, ReadChunks, ReadAvailable,
                                          WriteChunks,  NoError,    nullptr};

void TakeOverBlock(MemoryStream& record, uint8_t* data, uint32_t length) {
  record.chunks[0] = {data, length};
  record.chunkCount = 1;
  record.size = length;
  record.freeInChunk = length;
  record.writePointer = data;
  record.readPointer = data;
  record.readEnd = data + length;
}

// Hands the caller's block back at the stream's size. One that cannot grow goes back with the length it has,
// so that nobody reads past its end.
void GiveBackBlock(MemoryStream& record, void** dataOut, uint32_t* lengthOut) {
  const Chunk block = record.chunks[0];
  auto* resized = static_cast<uint8_t*>(Memory_Realloc(block.data, record.size));
  if (resized == nullptr) {
    *dataOut = block.data;
    *lengthOut = std::min(record.size, block.length);
  } else {
    if (record.size > block.length) Memory_Set(resized + block.length, record.size - block.length, 0);
    *dataOut = resized;
    *lengthOut = record.size;
  }
  // A stream that outlives this call, because only its wrapper is deleted, must not touch the block again.
  record.chunkCount = 0;
  record.chunks[0] = {};
  record.freeInChunk = 0;
  record.writePointer = nullptr;
  record.readPointer = nullptr;
  record.readEnd = nullptr;
}

}  // namespace

Stream* MemoryStream_New(void* data, uint32_t length) {
  auto* record = static_cast<MemoryStream*>(iMemory_NewCleared(sizeof(MemoryStream)));
  if (record == nullptr) return nullptr;
  record->chunks = static_cast<Chunk*>(iMemory_NewCleared(kChunkCapacity * sizeof(Chunk)));
  if (record->chunks == nullptr) {
    Memory_Delete(record);
    return nullptr;
  }
  Stream_Init(StreamType_Memory, &kOperations, &record->header);
  record->chunkCapacity = kChunkCapacity;
  if (data != nullptr) TakeOverBlock(*record, static_cast<uint8_t*>(data), length);
  return &record->header;
}

ErrorCode MemoryStream_Delete(Stream* stream, void** dataOut, uint32_t* lengthOut) {
  if (dataOut != nullptr) *dataOut = nullptr;
  if (lengthOut != nullptr) *lengthOut = 0;
  MemoryStream* record = RecordOf(Stream_FindType(stream, StreamType_Memory));
  if (record == nullptr || dataOut == nullptr || lengthOut == nullptr) return Error_Invalid;

  // Kept: the stream lives on when it is empty or started empty; callers delete it themselves in these cases.
  if (record->size == 0) return Error_None;
  if (record->chunkCount == 1) {
    GiveBackBlock(*record, dataOut, lengthOut);
    Stream_Delete(stream);
    return Error_None;
  }
  *dataOut = iMemory_NewCleared(record->size);
  if (*dataOut == nullptr) {
    Stream_Delete(stream);
    return Error_Fail;
  }
  *lengthOut = record->size;
  return Error_None;
}
