// A read buffer in front of another stream. The buffer lies behind the record in the same allocation:
//
//   | header | fields | buffer: consumed ... | readPointer: unread ... | dataEnd: free ... |
#include "qz/readbufferstream.h"

#include <algorithm>
#include <cstddef>

#include "os/core/memory_internal.h"
#include "qz/error.h"
#include "qz/memory.h"

namespace {

struct ReadBufferStream {
  Stream header;
  int32_t deleteUnderlying;
  uint32_t bufferSize;
  uint8_t* buffer;
  uint8_t* readPointer;
  uint8_t* dataEnd;
  Stream* underlying;
};

static_assert(sizeof(void*) != 4 ||
              (offsetof(ReadBufferStream, deleteUnderlying) == 28 &&
               offsetof(ReadBufferStream, buffer) == 36 && offsetof(ReadBufferStream, dataEnd) == 44 &&
               sizeof(ReadBufferStream) == 52));

ReadBufferStream* RecordOf(Stream* stream) {
  return reinterpret_cast<ReadBufferStream*>(stream);
}

uint32_t CountBuffered(const ReadBufferStream& record) {
  return static_cast<uint32_t>(record.dataEnd - record.readPointer);
}

uint32_t TakeBuffered(ReadBufferStream& record, uint32_t count, uint8_t* destination) {
  const uint32_t taken = std::min(CountBuffered(record), count);
  Memory_Copy(record.readPointer, destination, taken);
  record.readPointer += taken;
  return taken;
}

// A stream of an application's own may claim more than it was asked for.
uint32_t ReadWrapped(const ReadBufferStream& record, uint32_t count, uint8_t* destination) {
  return std::min(Stream_Read(record.underlying, count, destination), count);
}

bool Refill(ReadBufferStream& record) {
  record.readPointer = record.buffer;
  record.dataEnd = record.buffer;
  record.dataEnd += ReadWrapped(record, record.bufferSize, record.buffer);
  return record.dataEnd != record.buffer;
}

ErrorCode DeleteRecord(Stream* stream) {
  ReadBufferStream* record = RecordOf(stream);
  if (record->deleteUnderlying != 0) Stream_Delete(record->underlying);
  Memory_Delete(record);
  return Error_None;
}

// Refills until the request is satisfied or nothing comes. When a whole buffer or more is missing, one single
// read goes past the buffer instead.
uint32_t ReadBuffered(Stream* stream, uint32_t count, void* buffer) {
  if (buffer == nullptr || count == 0) return 0;
  ReadBufferStream& record = *RecordOf(stream);
  auto* destination = static_cast<uint8_t*>(buffer);
  uint32_t delivered = 0;
  while (true) {
    if (CountBuffered(record) != 0) {
      delivered += TakeBuffered(record, count - delivered, destination + delivered);
      if (delivered == count) return count;
    }
    const uint32_t wanted = count - delivered;
    if (wanted >= record.bufferSize) {
      return delivered + ReadWrapped(record, wanted, destination + delivered);
    }
    if (!Refill(record)) return delivered;
  }
}

// Kept: a plain 32-bit sum, so an unknown count of the wrapped stream (0xFFFFFFFF) and 3 buffered bytes make
// 2, and 1 makes 0; programs with such a stream of their own expect the one that is missing.
uint32_t CountAvailable(Stream* stream) {
  const ReadBufferStream& record = *RecordOf(stream);
  return Stream_ReadAvail(record.underlying) + CountBuffered(record);
}

uint32_t WriteThrough(Stream* stream, uint32_t count, const void* buffer) {
  return Stream_Write(RecordOf(stream)->underlying, count, buffer);
}

// Kept: the wrapped stream's end is masked after a refill that filled a part of the buffer, also when those
// bytes were all read; readers of small records take the short count itself for the end.
ErrorCode MaskedError(Stream* stream) {
  const ReadBufferStream& record = *RecordOf(stream);
  const ErrorCode status = Stream_Error(record.underlying);
  if (status != Error_Ended) return status;
  const auto refilled = static_cast<uint32_t>(record.dataEnd - record.buffer);
  return refilled != 0 && refilled < record.bufferSize ? Error_None : Error_Ended;
}

Stream* FindWrapped(Stream* stream, uint32_t type) {
  return Stream_FindType(RecordOf(stream)->underlying, type);
}

constexpr StreamOperations kOperations = {DeleteRecord, ReadBuffered, CountAvailable,
                                          WriteThrough, MaskedError,  FindWrapped};

}  // namespace

Stream* ReadBufferStream_New(uint32_t bufferSize, Stream* underlying, int32_t deleteUnderlying) {
  const size_t size = sizeof(ReadBufferStream) + bufferSize;
  if (underlying == nullptr || size < bufferSize) return nullptr;
  // Cleared, because a wrapped stream may count bytes that it never stores.
  auto* record = static_cast<ReadBufferStream*>(iMemory_NewCleared(size));
  if (record == nullptr) return nullptr;
  Stream_Init(StreamType_ReadBuffer, &kOperations, &record->header);
  record->deleteUnderlying = deleteUnderlying;
  record->bufferSize = bufferSize;
  record->buffer = reinterpret_cast<uint8_t*>(record + 1);
  record->readPointer = record->buffer;
  record->dataEnd = record->buffer;
  record->underlying = underlying;
  return &record->header;
}

ErrorCode ReadBufferStream_SetDeleteStream(Stream* stream, int32_t flag) {
  Stream* found = Stream_GetType(stream, StreamType_ReadBuffer);
  if (found == nullptr) return Error_Invalid;
  RecordOf(found)->deleteUnderlying = flag;
  return Error_None;
}
