// A stream whose every read and write a test decides, and which records what was asked of it.
//
//   TestStream source("abc");                       gives these bytes, then ends
//   TestStream source("abc", Error_Block);          the same with another status at the end
//   TestStream source({"ab", "c"});                 one read gives at most one of the pieces
//   source.Gives(Error_Block).Gives("def");         then a read of nothing with a status, then more
//   destination.Takes(2).Takes(0, Error_Exceed);    the first write takes two bytes, the second none
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "qz/error.h"
#include "qz/stream.h"

// The code of a type that the library does not know: "test".
constexpr uint32_t kTestStreamType = 0x74657374u;

class TestStream {
 public:
  explicit TestStream(std::string_view bytes = {}, ErrorCode endStatus = Error_Ended)
      : endStatus_(endStatus) {
    Stream_Init(kTestStreamType, &kOperations, &record_.stream);
    record_.owner = this;
    if (!bytes.empty()) Gives(std::string(bytes));
  }
  TestStream(std::initializer_list<std::string> pieces) : TestStream() {
    for (const std::string& piece : pieces) Gives(piece);
  }
  TestStream(const TestStream&) = delete;
  TestStream& operator=(const TestStream&) = delete;

  TestStream& Gives(std::string bytes) {
    reads_.push_back({std::move(bytes), Error_None});
    return *this;
  }
  TestStream& Gives(ErrorCode status) {
    reads_.push_back({{}, status});
    return *this;
  }
  TestStream& Takes(uint32_t most, ErrorCode status = Error_None) {
    writes_.push_back({most, status});
    return *this;
  }
  // From the write on for which nothing else is said.
  TestStream& TakesNoMore(ErrorCode status) {
    mostPerWrite_ = 0;
    shortWriteStatus_ = status;
    return *this;
  }
  // No write takes more than this many bytes at once.
  void LimitEachWrite(uint32_t count) { mostPerWrite_ = count; }
  // From now on all writes together take no more than this many bytes; a short one has the status.
  void LimitWrites(size_t count, ErrorCode status) {
    mostInAll_ = count;
    shortWriteStatus_ = status;
  }

  // Stream_Error gives this from now on, whatever was read or written.
  void SetError(ErrorCode status) { fixedError_ = status; }
  // Stream_ReadAvail gives this from now on, and not what is left.
  void SetAvailable(uint32_t count) { fixedAvailable_ = count; }
  // A read claims this many bytes, whatever it gave.
  void SetClaim(uint32_t count) { fixedClaim_ = count; }
  // A write claims this many bytes, whatever it took.
  void SetWriteClaim(uint32_t count) { fixedWriteClaim_ = count; }
  void SetDeleteStatus(ErrorCode status) { deleteStatus_ = status; }

  Stream* stream() { return &record_.stream; }
  // What nobody has read yet.
  std::string Rest() const {
    std::string rest;
    for (const Reading& reading : reads_) rest += reading.bytes;
    return rest.substr(position_);
  }
  const std::string& written() const { return written_; }
  // What each write took.
  std::vector<std::string> WrittenPieces() const {
    std::vector<std::string> pieces;
    size_t begin = 0;
    for (const uint32_t length : takenSizes_) {
      pieces.push_back(written_.substr(begin, length));
      begin += length;
    }
    return pieces;
  }
  // What each read and write was asked to move.
  const std::vector<uint32_t>& readSizes() const { return readSizes_; }
  const std::vector<uint32_t>& writeSizes() const { return writeSizes_; }
  uint32_t LargestRead() const {
    return readSizes_.empty() ? 0 : *std::max_element(readSizes_.begin(), readSizes_.end());
  }
  int deletions() const { return deletions_; }

 private:
  struct Record {
    Stream stream;
    TestStream* owner;
  };
  struct Reading {
    std::string bytes;
    ErrorCode status;
  };
  struct Writing {
    uint32_t most;
    ErrorCode status;
  };

  static TestStream& Of(Stream* stream) { return *reinterpret_cast<Record*>(stream)->owner; }

  static ErrorCode Delete(Stream* stream) {
    ++Of(stream).deletions_;
    return Of(stream).deleteStatus_;
  }

  static uint32_t Read(Stream* stream, uint32_t count, void* buffer) {
    TestStream& self = Of(stream);
    self.readSizes_.push_back(count);
    const uint32_t given = self.Give(count, buffer);
    return self.fixedClaim_.value_or(given);
  }

  uint32_t Give(uint32_t count, void* buffer) {
    status_ = Error_None;
    if (count == 0) return 0;
    if (reads_.empty()) {
      status_ = endStatus_;
      return 0;
    }
    const Reading& next = reads_.front();
    status_ = next.status;
    const size_t length = std::min<size_t>(count, next.bytes.size() - position_);
    memcpy(buffer, next.bytes.data() + position_, length);
    position_ += length;
    if (position_ == next.bytes.size()) {
      reads_.pop_front();
      position_ = 0;
    }
    return static_cast<uint32_t>(length);
  }

  static uint32_t ReadAvail(Stream* stream) {
    TestStream& self = Of(stream);
    size_t left = 0;
    for (const Reading& reading : self.reads_) left += reading.bytes.size();
    return self.fixedAvailable_.value_or(static_cast<uint32_t>(left - self.position_));
  }

  static uint32_t Write(Stream* stream, uint32_t count, const void* buffer) {
    TestStream& self = Of(stream);
    self.writeSizes_.push_back(count);
    const uint32_t length = self.Take(count);
    self.written_.append(static_cast<const char*>(buffer), length);
    self.takenSizes_.push_back(length);
    return self.fixedWriteClaim_.value_or(length);
  }

  uint32_t Take(uint32_t count) {
    if (!writes_.empty()) {
      const Writing next = writes_.front();
      writes_.pop_front();
      status_ = next.status;
      return std::min(count, next.most);
    }
    const size_t left = mostInAll_ - std::min(mostInAll_, written_.size());
    const uint32_t length = std::min(count, static_cast<uint32_t>(std::min<size_t>(left, mostPerWrite_)));
    status_ = length < count ? shortWriteStatus_ : ErrorCode{Error_None};
    return length;
  }

  static ErrorCode Status(Stream* stream) { return Of(stream).fixedError_.value_or(Of(stream).status_); }

  static constexpr StreamOperations kOperations = {Delete, Read, ReadAvail, Write, Status, nullptr};

  Record record_ = {};
  std::deque<Reading> reads_;
  std::deque<Writing> writes_;
  size_t position_ = 0;  // in the first piece
  uint32_t mostPerWrite_ = UINT32_MAX;
  size_t mostInAll_ = SIZE_MAX;
  ErrorCode endStatus_;
  ErrorCode shortWriteStatus_ = Error_None;
  ErrorCode status_ = Error_None;
  ErrorCode deleteStatus_ = Error_None;
  std::optional<ErrorCode> fixedError_;
  std::optional<uint32_t> fixedAvailable_;
  std::optional<uint32_t> fixedClaim_;
  std::optional<uint32_t> fixedWriteClaim_;
  std::string written_;
  std::vector<uint32_t> takenSizes_;
  std::vector<uint32_t> readSizes_;
  std::vector<uint32_t> writeSizes_;
  int deletions_ = 0;
};
