// A stream whose every read and write a test decides.
//
//   TestStream source("abc");                       gives these bytes, then ends
//   source.Gives(Error_Block).Gives("def");         then a read of nothing with a status, then more
//   destination.Takes(2).Takes(0, Error_Exceed);    the first write takes two bytes, the second none
#pragma once

#include <algorithm>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "qz/error.h"
#include "qz/stream.h"

class TestStream {
 public:
  explicit TestStream(std::string bytes = {}) {
    Stream_Init(0x74657374u, &kOperations, &record_.stream);
    record_.owner = this;
    if (!bytes.empty()) Gives(std::move(bytes));
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
    full_ = true;
    fullStatus_ = status;
    return *this;
  }

  Stream* stream() { return &record_.stream; }
  const std::string& written() const { return written_; }
  // What each read and write was asked to move.
  const std::vector<uint32_t>& readSizes() const { return readSizes_; }
  const std::vector<uint32_t>& writeSizes() const { return writeSizes_; }

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

  static uint32_t Read(Stream* stream, uint32_t count, void* buffer) {
    TestStream& self = Of(stream);
    self.readSizes_.push_back(count);
    self.status_ = Error_Ended;
    if (self.reads_.empty()) return 0;
    Reading& next = self.reads_.front();
    self.status_ = next.status;
    const size_t length = std::min<size_t>(count, next.bytes.size());
    memcpy(buffer, next.bytes.data(), length);
    next.bytes.erase(0, length);
    if (next.bytes.empty()) self.reads_.pop_front();
    return static_cast<uint32_t>(length);
  }

  static uint32_t Write(Stream* stream, uint32_t count, const void* buffer) {
    TestStream& self = Of(stream);
    self.writeSizes_.push_back(count);
    Writing next = {self.full_ ? 0 : count, self.full_ ? self.fullStatus_ : ErrorCode{Error_None}};
    if (!self.writes_.empty()) {
      next = self.writes_.front();
      self.writes_.pop_front();
    }
    const uint32_t length = std::min(count, next.most);
    self.written_.append(static_cast<const char*>(buffer), length);
    self.status_ = next.status;
    return length;
  }

  static ErrorCode Status(Stream* stream) { return Of(stream).status_; }

  static inline const StreamOperations kOperations = {nullptr, Read, nullptr, Write, Status, nullptr};

  Record record_ = {};
  std::deque<Reading> reads_;
  std::deque<Writing> writes_;
  bool full_ = false;
  ErrorCode fullStatus_ = Error_None;
  ErrorCode status_ = Error_None;
  std::string written_;
  std::vector<uint32_t> readSizes_;
  std::vector<uint32_t> writeSizes_;
};
