// One HTTP request and its response, redirects followed.
#ifndef TOOL_HTTP_REQUEST_H
#define TOOL_HTTP_REQUEST_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "qz/httpc.h"
#include "qz/time.h"
#include "tool/address.h"
#include "tool/failure.h"
#include "tool/reporter.h"

namespace tool {

struct ByteRange {
  std::uint32_t first;
  std::uint32_t last;
};

// Owns the connection, and the body, which nobody reads.
class HTTPResponse {
 public:
  HTTPResponse(const Address& address, const std::optional<ByteRange>& range, Reporter* reporter);
  ~HTTPResponse();
  HTTPResponse(const HTTPResponse&) = delete;
  HTTPResponse& operator=(const HTTPResponse&) = delete;

  int Code() const { return reply_.code; }
  bool IsWholeFile() const { return Code() == 200 || Code() == 203; }
  std::optional<std::uint64_t> Length() const;
  std::optional<ByteRange> Range() const;
  std::optional<Time> Modified() const;
  std::string Location() const;  // empty when there is none
  // The first word of the reason.
  std::string ReplyText() const;

 private:
  void Connect(const Address& address);
  void SetHeaders(const Address& address, const std::optional<ByteRange>& range);
  void SetText(int index, const std::string& text);
  std::string GetText(int index) const;

  const std::optional<std::string> proxy_;
  Reporter* reporter_;
  HTTPc* connection_ = nullptr;
  Stream* stream_ = nullptr;
  Reply reply_{};
};

// Follows redirects, at most 10, from `address`; leaves the address that answered in it. Throws Failure.
std::unique_ptr<HTTPResponse> Request(Address* address, const std::optional<ByteRange>& range,
                                      Reporter* reporter);

// The failure for a response whose code is neither success nor redirect.
Failure FailureOfResponse(const HTTPResponse& response, const Address& address);

}  // namespace tool

#endif
