// One request and its response: the text that is sent, and the order of the steps.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

#include "net/copy_internal.h"
#include "net/httpc_internal.h"
#include "net/httpc_testing.h"
#include "net/sock_internal.h"
#include "net/url_internal.h"
#include "os/platform/clock.h"
#include "os/text/textview_internal.h"
#include "qz/error.h"
#include "qz/sock.h"
#include "qz/url.h"
#include "stream/stream_internal.h"

namespace {

using std::string_view;

constexpr const char* kProtocolVersion = "HTTP/1.0";
constexpr const char* kTextHeaderNames[kHTTPcRequestTexts] = {"Referer", "Connection", "User-Agent", "Host",
                                                              "Accept"};
constexpr const char* kContentLengthName = "Content-length";
constexpr const char* kRangeName = "Range";

bool HasRequest(const HTTPcRequestRecord& request, uint32_t index) {
  return (request.set & (1u << index)) != 0;
}

bool BreaksRequestLine(uint8_t byte) {
  return byte <= ' ' || byte > '~';
}

template <typename... Arguments>
void AppendLine(char (&buffer)[kHTTPcRequestSize], uint32_t* length, const char* format,
                Arguments... arguments) {
  const int written = snprintf(buffer + *length, sizeof buffer - *length, format, arguments...);
  *length += static_cast<uint32_t>(written);
}

// What one request sends, and where its results go.
struct Exchange {
  const char* method;
  string_view uri;
  Stream* body;         // null: none
  uint64_t bodyLength;  // kNet_NoLimit: to the end of the body
  uint64_t sent;
};

ErrorCode SendRequestText(HTTPc* connection, const Exchange& exchange) {
  char uri[kHTTPcUriSize];
  iHTTPc_EncodeUri(exchange.uri, uri);
  char text[kHTTPcRequestSize];
  const uint32_t length = iHTTPc_FormatRequest(connection->request, exchange.method, uri, text);
  // All lines go out in one piece: small ones would wait for each other's acknowledgement.
  return Stream_Write(connection->stream, length, text) == length ? Error_None
                                                                  : iStream_ErrorOrEnded(connection->stream);
}

ErrorCode SendBody(HTTPc* connection, Exchange* exchange) {
  if (exchange->body == nullptr || exchange->bodyLength == 0) return Error_None;
  return iNet_CopyStream(exchange->body, connection->stream, exchange->bodyLength, &exchange->sent,
                         NetCopyStall::Failure);
}

uint64_t BytesRead(const HTTPc* connection) {
  const Sock* sock = iHTTPc_Socket(connection);
  return sock != nullptr ? sock->bytesRead : 0;
}

ErrorCode SendAndReceive(HTTPc* connection, Exchange* exchange, Reply* reply) {
  // What an earlier response said must not pass for this one's, even when none comes.
  connection->response = {};
  ErrorCode status = SendRequestText(connection, *exchange);
  if (status == Error_None) status = SendBody(connection, exchange);
  if (status == Error_None) status = iHTTPc_ReadResponse(connection->stream, &connection->response, reply);
  connection->bodyStart = BytesRead(connection);
  return status;
}

// Servers end connections that they kept, also while the next request is under way. Without a byte of a
// response it is not their answer.
bool HasEndedUnanswered(const HTTPc* connection, uint64_t bytesBefore, ErrorCode status) {
  const bool isLost = status != Error_None && status != Error_Timeout && status != Error_Cancel;
  return connection->isKept && isLost && BytesRead(connection) == bytesBefore;
}

ErrorCode RunExchange(HTTPc* connection, Exchange* exchange, Reply* reply, Stream** stream) {
  const uint64_t bytesBefore = BytesRead(connection);
  ErrorCode status = SendAndReceive(connection, exchange, reply);
  // A body cannot be sent twice.
  if (exchange->body == nullptr && HasEndedUnanswered(connection, bytesBefore, status)) {
    status = iHTTPc_Reconnect(connection);
    if (status == Error_None) status = SendAndReceive(connection, exchange, reply);
  }
  connection->isKept = false;
  if (status != Error_None) {
    *reply = {};
    return status;
  }
  *stream = connection->stream;
  return Error_None;
}

// The lines of a response up to its body. One time limit holds for all of them together: every single byte
// may take as long as a silent server is given.
class ResponseLines {
 public:
  explicit ResponseLines(Stream* stream)
      : stream_(stream), sock_(reinterpret_cast<Sock*>(Stream_FindType(stream, StreamType_Sock))) {}

  // Reads one line with its end, and nothing behind it: the body follows the last one.
  ErrorCode Read(char (&line)[kHTTPcMaximumLine], uint32_t* length) {
    for (*length = 0; *length < sizeof line;) {
      if (MayWait() && IsTimeOver()) return Error_Timeout;
      const uint32_t count = Stream_Read(stream_, CountAtOnce(sizeof line - *length), line + *length);
      if (count == 0) return iStream_ErrorOrEnded(stream_);
      *length += count;
      if (line[*length - 1] == '\n') return Error_None;
    }
    return Error_Exceed;
  }

 private:
  // Bytes that the socket has read ahead take no time.
  bool MayWait() const { return sock_ == nullptr || iSock_CountAhead(sock_) == 0; }
  bool IsTimeOver() const { return platform::MonotonicMilliseconds() > deadlineMilliseconds_; }

  // The bytes of the line that the socket has read ahead; one byte when it has none, or when the stream is
  // not the socket itself.
  uint32_t CountAtOnce(size_t room) const {
    if (sock_ == nullptr || stream_ != &sock_->stream) return 1;
    const size_t count = std::min<size_t>(iSock_CountAhead(sock_), room);
    if (count == 0) return 1;
    const void* end = memchr(sock_->ahead, '\n', count);
    if (end == nullptr) return static_cast<uint32_t>(count);
    return static_cast<uint32_t>(static_cast<const uint8_t*>(end) - sock_->ahead + 1);
  }

  Stream* stream_;
  const Sock* sock_;  // null: none
  uint64_t deadlineMilliseconds_ = iSock_TrickleDeadlineMilliseconds();
};

// A URL text as a proxy is asked for it: without the white space at its ends, and without the user and the
// password, which are for the server alone.
string_view FormatProxyUri(string_view url, const URLData& data, char (&uri)[kHTTPcMaximumUrl + 1]) {
  const size_t start = url.find_first_not_of(kURL_WhiteSpace);
  const string_view text = iTextView_Part(url, start, url.find_last_not_of(kURL_WhiteSpace) + 1 - start);
  const size_t authorityStart = text.find(kURL_SchemeEnd) + kURL_SchemeEnd.size();
  const string_view authority =
      iTextView_Part(text, authorityStart, text.find('/', authorityStart) - authorityStart);
  const size_t userLength = data.user != nullptr ? authority.rfind('@') + 1 : 0;
  const size_t before = text.copy(uri, authorityStart);
  const size_t after =
      iTextView_Part(text, authorityStart + userLength).copy(uri + before, string_view::npos);
  return {uri, before + after};
}

ErrorCode SetDefaultHost(HTTPcRequestRecord* request, const char* host) {
  if (host == nullptr || HasRequest(*request, HTTPcRequest_Host)) return Error_None;
  return iHTTPc_SetRequestText(request, HTTPcRequest_Host, host);
}

}  // namespace

ErrorCode iHTTPc_SetRequestText(HTTPcRequestRecord* request, uint32_t index, string_view text) {
  if (text.size() >= kHTTPcTextSize) return Error_Exceed;
  if (text.find_first_of("\r\n") != string_view::npos) return Error_Invalid;
  iHTTPc_CopyText(text, request->texts[index]);
  request->set |= 1u << index;
  return Error_None;
}

void iHTTPc_EncodeUri(string_view text, char (&uri)[kHTTPcUriSize]) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  if (text.empty()) text = "/";
  char* out = uri;
  for (const char c : text.substr(0, kHTTPcMaximumUrl)) {
    const uint8_t byte = static_cast<uint8_t>(c);
    if (BreaksRequestLine(byte)) {
      *out++ = '%';
      *out++ = kDigits[byte >> 4];
      *out++ = kDigits[byte & 15];
    } else {
      *out++ = c;
    }
  }
  *out = 0;
}

uint32_t iHTTPc_FormatRequest(const HTTPcRequestRecord& request, const char* method, const char* uri,
                              char (&buffer)[kHTTPcRequestSize]) {
  uint32_t length = 0;
  AppendLine(buffer, &length, "%s %s %s\r\n", method, uri, kProtocolVersion);
  for (uint32_t i = 0; i < kHTTPcRequestTexts; ++i) {
    if (HasRequest(request, i))
      AppendLine(buffer, &length, "%s: %s\r\n", kTextHeaderNames[i], request.texts[i]);
  }
  if (HasRequest(request, HTTPcRequest_ContentLength)) {
    AppendLine(buffer, &length, "%s: %" PRIu64 "\r\n", kContentLengthName, request.contentLength);
  }
  if (HasRequest(request, HTTPcRequest_Range)) {
    if (request.rangeLast == kHTTPcUnknown) {
      AppendLine(buffer, &length, "%s: bytes=%" PRIu64 "-\r\n", kRangeName, request.rangeFirst);
    } else {
      AppendLine(buffer, &length, "%s: bytes=%" PRIu64 "-%" PRIu64 "\r\n", kRangeName, request.rangeFirst,
                 request.rangeLast);
    }
  }
  AppendLine(buffer, &length, "%s", "\r\n");
  return length;
}

ErrorCode iHTTPc_ReadResponse(Stream* stream, HTTPcResponseRecord* response, Reply* reply) {
  ResponseLines lines(stream);
  char line[kHTTPcMaximumLine];
  uint32_t length = 0;
  ErrorCode status = lines.Read(line, &length);
  if (status == Error_None) status = iHTTPc_ParseStatusLine({line, length}, response, reply);

  HTTPcHeaderState state = {};
  for (uint32_t headerBytes = 0; status == Error_None && !state.complete;) {
    status = lines.Read(line, &length);
    if (status != Error_None) break;
    headerBytes += length;
    if (headerBytes > kHTTPcMaximumHeaderBytes) return Error_Exceed;
    status = iHTTPc_TakeHeaderLine({line, length}, &state, response);
  }
  return status;
}

ErrorCode HTTPc_Get(HTTPc* connection, const char* url, Reply* reply, Stream** stream) {
  if (stream != nullptr) *stream = nullptr;
  if (reply != nullptr) *reply = {};
  if (connection == nullptr || url == nullptr || reply == nullptr || stream == nullptr) return Error_Invalid;
  const string_view whole(url);
  if (whole.size() > kHTTPcMaximumUrl) return Error_Exceed;

  char parsed[kHTTPcMaximumUrl + 1];
  memcpy(parsed, url, whole.size() + 1);
  URLData data = {};
  if (URL_ToData(parsed, &data) != Error_None) return kHTTPc_BadUrl;
  // Kept: the host goes without its port, as servers see it from every version.
  if (const ErrorCode status = SetDefaultHost(&connection->request, data.host); status != Error_None)
    return status;

  char proxyUri[kHTTPcMaximumUrl + 1];
  Exchange exchange = {};
  exchange.method = "GET";
  if (connection->viaProxy) {
    exchange.uri = FormatProxyUri(whole, data, proxyUri);
  } else if (data.path != nullptr) {
    // Kept: the path goes as parsed, with its escapes resolved: "/a%41" is asked for as "/aA".
    exchange.uri = data.path;
  }
  return RunExchange(connection, &exchange, reply, stream);
}

ErrorCode HTTPc_Post(HTTPc* connection, const char* uri, uint32_t bodyLength, Stream* body, uint32_t* sentOut,
                     Reply* reply, Stream** stream) {
  uint64_t sent = 0;
  const ErrorCode status =
      HTTPc_Post64(connection, uri, iNet_WidenLimit(bodyLength), body, &sent, reply, stream);
  if (sentOut != nullptr) *sentOut = static_cast<uint32_t>(sent);
  return status;
}

ErrorCode HTTPc_Post64(HTTPc* connection, const char* uri, uint64_t bodyLength, Stream* body,
                       uint64_t* sentOut, Reply* reply, Stream** stream) {
  if (sentOut != nullptr) *sentOut = 0;
  if (stream != nullptr) *stream = nullptr;
  if (reply != nullptr) *reply = {};
  if (connection == nullptr || uri == nullptr || reply == nullptr || stream == nullptr) return Error_Invalid;

  // Kept: neither "Host" nor "Content-length" is added; callers set what they want sent.
  Exchange exchange = {};
  exchange.method = "POST";
  exchange.uri = uri;
  exchange.body = body;
  exchange.bodyLength = bodyLength;
  if (exchange.uri.size() > kHTTPcMaximumUrl) return Error_Exceed;
  const ErrorCode status = RunExchange(connection, &exchange, reply, stream);
  if (sentOut != nullptr) *sentOut = exchange.sent;
  return status;
}
