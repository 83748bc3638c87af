// A stream over bytes that a test typed in: it gives them, then a status; what is written is kept.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "qz/error.h"
#include "qz/stream.h"

class ByteStream {
 public:
  explicit ByteStream(std::string_view bytes = {}, ErrorCode endStatus = Error_Ended)
      : bytes_(bytes), endStatus_(endStatus) {
    Stream_Init(0x74657374, &kOperations, &record_.stream);
    record_.owner = this;
  }
  ByteStream(const ByteStream&) = delete;
  ByteStream& operator=(const ByteStream&) = delete;

  Stream* stream() { return &record_.stream; }
  // What nobody has read yet.
  std::string Rest() const { return bytes_.substr(position_); }
  const std::string& Written() const { return written_; }
  uint32_t LargestRead() const { return largestRead_; }

  // From now on no write takes more than `count` bytes in all; what is over gives `status`.
  void LimitWrites(size_t count, ErrorCode status) {
    writeLimit_ = count;
    writeStatus_ = status;
  }

 private:
  struct Record {
    Stream stream;
    ByteStream* owner;
  };

  static ByteStream& Of(Stream* stream) { return *reinterpret_cast<Record*>(stream)->owner; }

  static uint32_t Read(Stream* stream, uint32_t count, void* buffer) {
    ByteStream& self = Of(stream);
    self.largestRead_ = std::max(self.largestRead_, count);
    const size_t taken = std::min<size_t>(count, self.bytes_.size() - self.position_);
    memcpy(buffer, self.bytes_.data() + self.position_, taken);
    self.position_ += taken;
    self.status_ = taken == 0 && count != 0 ? self.endStatus_ : ErrorCode{Error_None};
    return static_cast<uint32_t>(taken);
  }

  static uint32_t ReadAvail(Stream* stream) {
    ByteStream& self = Of(stream);
    return static_cast<uint32_t>(self.bytes_.size() - self.position_);
  }

  static uint32_t Write(Stream* stream, uint32_t count, const void* buffer) {
    ByteStream& self = Of(stream);
    const size_t taken = std::min<size_t>(count, self.writeLimit_ - self.written_.size());
    self.written_.append(static_cast<const char*>(buffer), taken);
    self.status_ = taken < count ? self.writeStatus_ : ErrorCode{Error_None};
    return static_cast<uint32_t>(taken);
  }

  static ErrorCode Status(Stream* stream) { return Of(stream).status_; }

  static constexpr StreamOperations kOperations = {nullptr, Read, ReadAvail, Write, Status, nullptr};

  Record record_ = {};
  std::string bytes_;
  std::string written_;
  size_t position_ = 0;
  size_t writeLimit_ = SIZE_MAX;
  uint32_t largestRead_ = 0;
  ErrorCode endStatus_;
  ErrorCode writeStatus_ = Error_Ended;
  ErrorCode status_ = Error_None;
};
