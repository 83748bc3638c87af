// Random reads and writes on a memory stream, on a read-buffer stream over a script, and up to a delimiter
// with progress, each beside a plain model.
//
// Input: byte 0 the kind of run, byte 1 a size, then two bytes per operation: what, how many.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <string>
#include <vector>

#include "os/core/memory_testing.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/memorystream.h"
#include "qz/readbufferstream.h"
#include "tests/support/test_stream.h"

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

// The rules of a read buffer, word for word: what it asks of the wrapped stream, and what it says of its end.
struct BufferModel {
  uint32_t bufferSize;
  std::deque<std::string> pieces;  // what the wrapped stream will give
  std::vector<uint32_t> reads;     // what was asked of it
  std::string unread;
  size_t lastRefill = 0;

  std::string ReadWrapped(uint32_t count) {
    reads.push_back(count);
    if (pieces.empty()) return "";
    const std::string given = pieces.front().substr(0, count);
    pieces.front().erase(0, count);
    if (pieces.front().empty()) pieces.pop_front();
    return given;
  }

  std::string Read(uint32_t count) {
    std::string delivered;
    if (count == 0) return delivered;
    while (true) {
      if (!unread.empty()) {
        const size_t wanted = count - delivered.size();
        delivered += unread.substr(0, wanted);
        unread.erase(0, wanted);
        if (delivered.size() == count) return delivered;
      }
      const auto wanted = static_cast<uint32_t>(count - delivered.size());
      if (wanted >= bufferSize) return delivered + ReadWrapped(wanted);
      unread = ReadWrapped(bufferSize);
      lastRefill = unread.size();
      if (unread.empty()) return delivered;
    }
  }

  ErrorCode Error(ErrorCode wrapped) const {
    const bool isMasked = lastRefill != 0 && lastRefill < bufferSize;
    return wrapped == Error_Ended && isMasked ? Error_None : wrapped;
  }
};

void RunBuffered(Input input, uint32_t bufferSize) {
  TestStream script;
  BufferModel model{bufferSize, {}, {}, {}};
  Stream* stream = ReadBufferStream_New(bufferSize, script.stream(), 0);
  while (input.HasMore()) {
    const uint8_t operation = input.Next();
    const uint32_t count = input.Next();
    if (operation & 1) {
      if (count == 0) continue;
      script.Gives(std::string(count, static_cast<char>(operation)));
      model.pieces.emplace_back(count, static_cast<char>(operation));
      continue;
    }
    Require(ReadSome(stream, count) == model.Read(count));
    Require(script.readSizes() == model.reads);
    constexpr ErrorCode kErrors[] = {Error_None, Error_Ended, Error_Timeout, Error_Fail};
    const ErrorCode error = kErrors[operation >> 1 & 3];
    script.SetError(error);
    Require(Stream_Error(stream) == model.Error(error));
    script.SetAvailable(operation);
    Require(Stream_ReadAvail(stream) == operation + model.unread.size());
  }
  Stream_Delete(stream);
}

// The reports of progress: one for every boundary that was crossed, a step late.
struct ProgressModel {
  uint32_t steps;
  uint32_t position;
  uint32_t total;
  std::vector<uint32_t> expected;
  std::vector<uint32_t> reported;

  void Count(uint32_t count) {
    if (steps == 0 || total == 0) return;
    const uint32_t after = position + count;
    total = std::max(total, after);
    const double step = static_cast<float>(static_cast<double>(total) / steps);
    for (uint64_t k = 0; (static_cast<double>(k) + 1) * step <= after; ++k) {
      if ((static_cast<double>(k) + 1) * step <= position) continue;
      expected.push_back(static_cast<uint32_t>(static_cast<double>(k) * step));
    }
    position = after;
  }

  static void Report(void* context, uint32_t position, uint32_t /*total*/) {
    static_cast<ProgressModel*>(context)->reported.push_back(position);
  }
};

// Every byte of the input is content; lines end as chosen.
void RunLines(Input input, uint8_t choice) {
  const std::string delimiters[] = {"\r\n", "\n", std::string("\0\0", 2), "abab", "\xFF"};
  const std::string& delimiter = delimiters[choice % 5];
  const uint32_t bufferSize = choice / 5;
  std::string rest(reinterpret_cast<const char*>(input.data), input.size);
  TestStream script;
  if (!rest.empty()) script.Gives(rest);
  ProgressModel progress{choice % 16u, 0, choice % 64u, {}, {}};
  Stream_SetIdleMethod(script.stream(), progress.steps, ProgressModel::Report, &progress);
  Stream_SetProgress(script.stream(), progress.total, 0);

  ErrorCode status = Error_None;
  while (status == Error_None) {
    std::string line(bufferSize + 1, '#');
    uint32_t count = 0;
    status = Stream_ReadTo(script.stream(), static_cast<uint32_t>(delimiter.size()), delimiter.data(),
                           bufferSize, line.data(), &count);
    size_t matched = 0;
    size_t length = 0;
    while (length < bufferSize && length < rest.size() && matched < delimiter.size()) {
      matched = rest[length] == delimiter[matched] ? matched + 1 : 0;
      ++length;
      progress.Count(1);
    }
    const bool isFull = length == bufferSize;
    Require(status == (matched == delimiter.size() ? Error_None : isFull ? Error_Exceed : Error_Ended));
    Require(line == rest.substr(0, length) + std::string(bufferSize + 1 - length, '#') && count == length);
    rest.erase(0, length);
  }
  Require(progress.reported == progress.expected);
  Require(script.stream()->progressPosition == progress.position);
  Require(script.stream()->progressTotal == progress.total);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size > 4096) return 0;
  const int64_t before = iMemory_CountLive();
  const Input input{data + 2, size - 2};
  switch (data[0] & 0x80 ? 3 : data[0] % 3) {
    case 0:
      RunOverBlock(input, data[1]);
      break;
    case 1:
      RunFromEmpty(input);
      break;
    case 2:
      RunBuffered(input, data[1]);
      break;
    default:
      RunLines(input, data[1]);
  }
  Require(iMemory_CountLive() == before);
  return 0;
}
