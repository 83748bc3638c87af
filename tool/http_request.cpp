#include "tool/http_request.h"

#include <array>
#include <cstring>

#include "qz/error.h"
#include "qz/version.h"
#include "tool/console.h"
#include "tool/library_call.h"
#include "tool/outcome.h"
#include "tool/proxy.h"
#include "tool/text.h"

namespace tool {
namespace {

constexpr int kMostRedirects = 10;
constexpr std::size_t kLongestURL = 1023;
// The library keeps this much of a text and cuts the rest; a text of this length may be a cut one.
constexpr std::size_t kLongestValue = 255;

bool IsRedirect(int code) {
  return code == 301 || code == 302 || code == 303 || code == 307 || code == 308;
}

[[noreturn]] void Fail(const std::string& what, ErrorCode status) {
  switch (status) {
    case Error_Invalid:
      throw Failure{ExitCode::Protocol, what + ": invalid HTTP response"};
    case Error_Exceed:
      throw Failure{ExitCode::Protocol, what + ": the response header is too long"};
    case Error_Memory:
      throw Failure{ExitCode::Other, what + ": out of memory"};
    default:
      throw Failure{ExitCode::Network, what + ": " + NetworkErrorText(status), Retry::Yes};
  }
}

}  // namespace

HTTPResponse::HTTPResponse(const Address& address, const std::optional<ByteRange>& range, Reporter* reporter)
    : proxy_(ProxyOf(address)), reporter_(reporter) {
  Connect(address);
  try {
    SetHeaders(address, range);
    const std::string url = RequestURL(address, proxy_.has_value());
    if (url.size() > kLongestURL) throw Failure{ExitCode::Usage, "\"" + address.shown + "\" is too long"};
    reporter_->Sent("GET " + (proxy_ ? url : address.target) + " HTTP/1.0");
    const LibraryCall call;
    const ErrorCode status = HTTPc_Get(connection_, url.c_str(), &reply_, &stream_);
    if (status != Error_None) Fail("cannot get \"" + address.shown + "\"", status);
  } catch (...) {
    HTTPc_Close(connection_);
    throw;
  }
  reporter_->Received(reply_.code, HTTPReasonText(reply_.code, reply_.text));
}

HTTPResponse::~HTTPResponse() {
  HTTPc_Close(connection_);
}

void HTTPResponse::Connect(const Address& address) {
  const LibraryCall call;
  const ErrorCode status = HTTPc_Open(address.host.c_str(), address.port, &connection_);
  if (status == Error_None) return;
  Fail("cannot connect to " + (proxy_ ? "the proxy " + *proxy_ : HostAndPort(address)), status);
}

void HTTPResponse::SetHeaders(const Address& address, const std::optional<ByteRange>& range) {
  SetText(HTTPcRequest_Connection, "close");
  SetText(HTTPcRequest_UserAgent, "qz/" QZ_VERSION_STRING);
  SetText(HTTPcRequest_Host, HostAndPort(address));
  SetText(HTTPcRequest_Accept, "*/*");
  if (!range) return;
  const std::uint32_t bytes[2] = {range->first, range->last};
  HTTPc_SetAttribute(connection_, HTTPcRequest_Range, sizeof bytes, bytes);
  reporter_->Sent("Range: bytes=" + std::to_string(range->first) + "-" + std::to_string(range->last));
}

void HTTPResponse::SetText(int index, const std::string& text) {
  const auto length = static_cast<std::uint32_t>(text.size());
  const ErrorCode status = HTTPc_SetAttribute(connection_, index, length, text.data());
  if (status != Error_None)
    throw Failure{ExitCode::Usage, "\"" + Printable(text) + "\" is too long for a request"};
}

std::string HTTPResponse::GetText(int index) const {
  char buffer[kLongestValue + 1] = "";
  std::uint32_t length = 0;
  if (HTTPc_GetAttribute(connection_, index, sizeof buffer, &length, buffer) != Error_None) return "";
  return buffer;
}

std::optional<std::uint64_t> HTTPResponse::Length() const {
  std::uint64_t length = 0;
  if (HTTPc_GetContentLength64(connection_, &length) != Error_None) return std::nullopt;
  return length;
}

std::optional<ByteRange> HTTPResponse::Range() const {
  std::uint32_t bytes[2] = {0, 0};
  const ErrorCode status =
      HTTPc_GetAttribute(connection_, HTTPcResponse_ContentRange, sizeof bytes, nullptr, bytes);
  if (status != Error_None) return std::nullopt;
  return ByteRange{bytes[0], bytes[1]};
}

std::optional<Time> HTTPResponse::Modified() const {
  Time time{};
  const ErrorCode status =
      HTTPc_GetAttribute(connection_, HTTPcResponse_LastModified, sizeof time, nullptr, &time);
  if (status != Error_None) return std::nullopt;
  return time;
}

std::string HTTPResponse::Location() const {
  std::string location = GetText(HTTPcResponse_Location);
  if (location.size() < kLongestValue) return location;
  throw Failure{ExitCode::Protocol, "the server redirects to a URL that is too long"};
}

std::string HTTPResponse::ReplyText() const {
  return reply_.text;
}

std::unique_ptr<HTTPResponse> Request(Address* address, const std::optional<ByteRange>& range,
                                      Reporter* reporter) {
  for (int redirects = 0; redirects <= kMostRedirects; redirects++) {
    auto response = std::make_unique<HTTPResponse>(*address, range, reporter);
    if (!IsRedirect(response->Code())) return response;
    *address = Redirected(*address, response->Location());
    reporter->Say("redirected to " + address->shown);
  }
  throw Failure{ExitCode::Protocol,
                "redirect loop: more than " + std::to_string(kMostRedirects) + " redirects"};
}

Failure FailureOfResponse(const HTTPResponse& response, const Address& address) {
  return ExplainHTTPReply("cannot get \"" + address.shown + "\"", response.Code(), response.ReplyText());
}

}  // namespace tool
