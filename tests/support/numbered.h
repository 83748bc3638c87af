// Transfers of files that are too large to be stored: the bytes are made and compared.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/loopback.h"
#include "tests/support/test_stream.h"

// A file of any length that is stored nowhere: its bytes are 0 to 250, again and again.
class Numbered {
 public:
  static constexpr size_t kBlock = 1 << 20;

  // Bytes from `position` on that a block can give.
  const char* At(uint64_t position) const { return block_.data() + position % 251; }

  // Whether these are the file's bytes from there on.
  bool Matches(uint64_t position, const void* bytes, size_t count) const {
    return count <= kBlock && memcmp(At(position), bytes, count) == 0;
  }

  // Sends the bytes between two positions; false when the peer goes away before.
  bool Send(loopback::Connection* connection, uint64_t position, uint64_t end) const {
    while (position < end) {
      const size_t count = std::min<uint64_t>(kBlock, end - position);
      if (!connection->Send({At(position), count})) return false;
      position += count;
    }
    return true;
  }

 private:
  static std::string MakeBlock() {
    std::string block(kBlock + 251, '\0');
    for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i % 251);
    return block;
  }
  std::string block_ = MakeBlock();
};

// A stream that compares what is written with the file, or gives the file's bytes, and keeps nothing.
class NumberedStream {
 public:
  NumberedStream(const Numbered* numbered, uint64_t position, uint64_t end)
      : numbered_(numbered), position_(position), end_(end) {
    Stream_Init(kTestStreamType, &kOperations, &record_.stream);
    record_.owner = this;
  }
  Stream* stream() { return &record_.stream; }
  uint64_t position() const { return position_; }
  bool isWrong() const { return isWrong_; }

 private:
  struct Record {
    Stream stream;
    NumberedStream* owner;
  };
  static NumberedStream& Of(Stream* stream) { return *reinterpret_cast<Record*>(stream)->owner; }
  static uint32_t Read(Stream* stream, uint32_t count, void* buffer) {
    NumberedStream& self = Of(stream);
    const auto length = static_cast<uint32_t>(std::min<uint64_t>(count, self.end_ - self.position_));
    memcpy(buffer, self.numbered_->At(self.position_), length);
    self.position_ += length;
    return length;
  }
  static uint32_t Write(Stream* stream, uint32_t count, const void* buffer) {
    NumberedStream& self = Of(stream);
    if (!self.numbered_->Matches(self.position_, buffer, count)) self.isWrong_ = true;
    self.position_ += count;
    return count;
  }
  static ErrorCode Status(Stream* stream) {
    return Of(stream).position_ < Of(stream).end_ ? Error_None : Error_Ended;
  }
  static constexpr StreamOperations kOperations = {nullptr, Read, nullptr, Write, Status, nullptr};

  Record record_ = {};
  const Numbered* numbered_;
  uint64_t position_;
  uint64_t end_;
  bool isWrong_ = false;
};

// How many bytes the transfers of whole files have: 64 MiB, or what QZ_WHOLE_GIB says (5 and 20 are worth
// a run; the counters of 32 bits are passed at 4).
inline uint64_t WholeBytes() {
  const char* gibibytes = getenv("QZ_WHOLE_GIB");
  return gibibytes != nullptr ? strtoull(gibibytes, nullptr, 10) << 30 : 64u << 20;
}
