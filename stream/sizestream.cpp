// A stream that only counts: measures a serialization before anything is written.
#include "qz/sizestream.h"

#include <cstddef>

#include "os/core/memory_internal.h"
#include "qz/error.h"
#include "qz/memory.h"

namespace {

struct SizeStream {
  Stream header;
  uint32_t bytesRead;
  uint32_t bytesWritten;
};

static_assert(sizeof(void*) != 4 ||
              (offsetof(SizeStream, bytesRead) == 28 && offsetof(SizeStream, bytesWritten) == 32));

SizeStream* RecordOf(Stream* stream) {
  return reinterpret_cast<SizeStream*>(stream);
}

ErrorCode DeleteRecord(Stream* stream) {
  Memory_Delete(stream);
  return Error_None;
}

uint32_t CountRead(Stream* stream, uint32_t count, void* /*buffer*/) {
  RecordOf(stream)->bytesRead += count;
  return count;
}

uint32_t CountWritten(Stream* stream, uint32_t count, const void* /*buffer*/) {
  RecordOf(stream)->bytesWritten += count;
  return count;
}

constexpr StreamOperations kOperations = {DeleteRecord, CountRead, nullptr, CountWritten, nullptr, nullptr};

}  // namespace

Stream* SizeStream_New(void) {
  auto* record = static_cast<SizeStream*>(iMemory_NewCleared(sizeof(SizeStream)));
  if (record == nullptr) return nullptr;
  Stream_Init(StreamType_Size, &kOperations, &record->header);
  return &record->header;
}

ErrorCode SizeStream_Delete(Stream* stream, uint32_t* readOut, uint32_t* writtenOut) {
  const SizeStream* record = RecordOf(Stream_FindType(stream, StreamType_Size));
  if (readOut != nullptr) *readOut = record != nullptr ? record->bytesRead : 0;
  if (writtenOut != nullptr) *writtenOut = record != nullptr ? record->bytesWritten : 0;
  return record != nullptr ? Stream_Delete(stream) : Error_Invalid;
}
