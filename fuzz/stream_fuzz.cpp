// Random reads and writes on a memory stream over a block and on a read-buffer stream over a script, each
// beside a plain model.
//
// Input: byte 0 the kind of run, byte 1 a size, then two bytes per operation: what, how many.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <string>

#include "os/memory_internal.h"
#include "qz/memory.h"
#include "qz/memorystream.h"
#include "qz/readbufferstream.h"
#include "tests/support/scripted_stream.h"

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

struct Input {
  const uint8_t* data;
  size_t size;

  bool HasMore() const { return size >= 2; }
  uint8_t Next() {
    --size;
    return *data++;
  }
};

std::string ReadSome(Stream* stream, uint32_t count) {
  std::string bytes(count, '#');
  const uint32_t read = Stream_Read(stream, count, bytes.data());
  Require(read <= count);
  bytes.resize(read);
  return bytes;
}

// Over a block: the block is what is written first and what can be read, whatever else was written.
void RunOverBlock(Input input, uint32_t blockSize) {
  void* block = Memory_New(blockSize + 1);
  Memory_Set(block, blockSize, '.');
  Stream* stream = MemoryStream_New(block, blockSize);
  std::string expected(blockSize, '.');
  size_t written = 0;  // into the block
  size_t read = 0;
  uint32_t size = blockSize;
  while (input.HasMore()) {
    const uint8_t operation = input.Next();
    const uint32_t count = input.Next() * (operation & 0x80 ? 16u : 1u);
    if (operation & 1) {
      const std::string bytes(count, static_cast<char>(operation));
      Require(Stream_Write(stream, count, bytes.data()) == count);
      const size_t fitting = std::min<size_t>(count, blockSize - written);
      expected.replace(written, fitting, bytes, 0, fitting);
      written += fitting;
      size += count;
    } else {
      const std::string bytes = ReadSome(stream, count);
      Require(bytes == expected.substr(read, std::min<size_t>(count, written - read)));
      read += bytes.size();
    }
  }
  void* data = nullptr;
  uint32_t length = 0;
  Require(MemoryStream_Delete(stream, &data, &length) == Error_None && length == size);
  if (size == 0) {
    Require(data == nullptr);
    Stream_Delete(stream);
    return;
  }
  expected.resize(size, '\0');
  Require(std::string(static_cast<char*>(data), length) == expected);
  Memory_Delete(data);
}

// Started empty: the first chunk, cleared and then written, is all that can be read.
void RunFromEmpty(Input input) {
  Stream* stream = MemoryStream_New(nullptr, 0);
  std::string chunk;
  size_t written = 0;
  size_t read = 0;
  uint32_t size = 0;
  while (input.HasMore()) {
    const uint8_t operation = input.Next();
    const uint32_t count = input.Next() * (operation & 0x80 ? 16u : 1u);
    if (operation & 1) {
      const std::string bytes(count, static_cast<char>(operation));
      Require(Stream_Write(stream, count, bytes.data()) == count);
      if (chunk.empty() && count != 0) chunk.resize(std::max(1024u, count), '\0');
      const size_t fitting = std::min<size_t>(count, chunk.size() - written);
      chunk.replace(written, fitting, bytes, 0, fitting);
      written += fitting;
      size += count;
    } else {
      const std::string bytes = ReadSome(stream, count);
      Require(bytes == chunk.substr(read, count));
      read += bytes.size();
    }
  }
  void* data = nullptr;
  uint32_t length = 0;
  Require(MemoryStream_Delete(stream, &data, &length) == Error_None && length == size);
  Require(size == 0 ? data == nullptr
                    : std::string(static_cast<char*>(data), size) == std::string(size, '\0'));
  Memory_Delete(data);
  Stream_Delete(stream);
}

// A read buffer changes who asks for how much, never the bytes or their order.
void RunBuffered(Input input, uint32_t bufferSize) {
  ScriptedStream script;
  std::string expected;
  Stream* stream = ReadBufferStream_New(bufferSize, script.stream(), 0);
  size_t read = 0;
  while (input.HasMore()) {
    const uint8_t operation = input.Next();
    const uint32_t count = input.Next();
    if (operation & 1) {
      if (count == 0) continue;
      script.pieces.emplace_back(count, static_cast<char>(operation));
      expected.append(count, static_cast<char>(operation));
      continue;
    }
    const std::string bytes = ReadSome(stream, count);
    Require(bytes == expected.substr(read, bytes.size()));
    read += bytes.size();
    script.error = operation & 2 ? Error_Ended : Error_None;
    const ErrorCode status = Stream_Error(stream);
    Require(status == Error_None || (status == Error_Ended && script.error == Error_Ended));
  }
  Stream_Delete(stream);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size > 4096) return 0;
  const int64_t before = iMemory_CountLive();
  const Input input{data + 2, size - 2};
  switch (data[0] % 3) {
    case 0:
      RunOverBlock(input, data[1]);
      break;
    case 1:
      RunFromEmpty(input);
      break;
    default:
      RunBuffered(input, data[1]);
  }
  Require(iMemory_CountLive() == before);
  return 0;
}
