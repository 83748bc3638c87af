// The life of an HTTP connection, and what can be set before the request and asked after it.
#include "qz/httpc.h"

#include <cstring>

#include "net/httpc_internal.h"
#include "net/httpc_testing.h"
#include "os/core/memory_internal.h"
#include "os/core/owned.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/proxy.h"
#include "qz/sock.h"

namespace {

using std::string_view;

constexpr uint32_t kMaximumPort = 65535;
constexpr size_t kHostSize = 1024;

using OwnedConnection = Owned<HTTPc, HTTPc_Close>;

Sock* SocketOf(HTTPc* connection) {
  if (connection->stream == nullptr) return nullptr;
  return reinterpret_cast<Sock*>(Stream_FindType(connection->stream, StreamType_Sock));
}

// A receive buffer of a set size, also a large one, would switch off the system's own tuning.
ErrorCode ConnectSocket(const char* host, uint32_t port, Stream** stream) {
  Sock* sock = nullptr;
  const ErrorCode status =
      Sock_OpenConnectBuffer(SockBuffer_System, host, static_cast<uint16_t>(port), &sock);
  *stream = reinterpret_cast<Stream*>(sock);
  return status;
}

// What a response index gives: the bytes, and whether they are a text.
struct Value {
  const void* bytes;
  uint32_t length;
  bool isText;
};

Value TextValue(const char* text) {
  return {text, static_cast<uint32_t>(strlen(text)), true};
}

Value ResponseValue(const HTTPcResponseRecord& response, int32_t index) {
  static_assert(offsetof(HTTPcResponseRecord, rangeLast) == offsetof(HTTPcResponseRecord, rangeFirst) + 4);
  static_assert(sizeof(Time) == 8);
  switch (index) {
    case HTTPcResponse_Server:
      return TextValue(response.server);
    case HTTPcResponse_Connection:
      return TextValue(response.connection);
    case HTTPcResponse_Date:
      return {&response.dateTime, sizeof response.dateTime, false};
    case HTTPcResponse_ContentType:
      return TextValue(response.contentType);
    case HTTPcResponse_AcceptRanges:
      return TextValue(response.acceptRanges);
    case HTTPcResponse_LastModified:
      return {&response.lastModifiedTime, sizeof response.lastModifiedTime, false};
    case HTTPcResponse_ContentLength:
      return {&response.contentLength, sizeof response.contentLength, false};
    case HTTPcResponse_ContentRange:
      return {&response.rangeFirst, 2 * sizeof response.rangeFirst, false};
    default:
      return TextValue(response.location);
  }
}

ErrorCode CopyValue(const Value& value, uint32_t bufferSize, void* buffer) {
  const uint32_t needed = value.isText ? value.length + 1 : value.length;
  if (bufferSize < needed) return Error_Exceed;
  if (buffer != nullptr) memcpy(buffer, value.bytes, needed);
  return Error_None;
}

ErrorCode SetNumbers(HTTPcRequestRecord* request, int32_t index, uint32_t length, const void* value) {
  uint32_t numbers[2] = {};
  const uint32_t needed = index == HTTPcRequest_Range ? 2 * sizeof numbers[0] : sizeof numbers[0];
  if (length != needed) return Error_Invalid;
  memcpy(numbers, value, needed);
  if (index == HTTPcRequest_Range) {
    request->rangeFirst = numbers[0];
    request->rangeLast = numbers[1];
  } else {
    request->contentLength = numbers[0];
  }
  request->set |= 1u << index;
  return Error_None;
}

}  // namespace

HTTPc* iHTTPc_New() {
  return static_cast<HTTPc*>(iMemory_NewCleared(sizeof(HTTPc)));
}

ErrorCode HTTPc_Open(const char* host, uint32_t port, HTTPc** connectionOut) {
  if (connectionOut == nullptr) return Error_Invalid;
  *connectionOut = nullptr;
  if (host == nullptr || port > kMaximumPort) return Error_Invalid;
  if (strlen(host) >= kHostSize) return Error_Exceed;

  OwnedConnection connection(iHTTPc_New());
  if (!connection) return Error_Memory;
  char connectHost[kHostSize];
  uint32_t connectPort = 0;
  connection->viaProxy = Proxy_Resolve(ProxyIndex_HTTP, host, port, connectHost, &connectPort) != 0;
  if (connectPort > kMaximumPort) return Error_Invalid;
  const ErrorCode status = ConnectSocket(connectHost, connectPort, &connection->stream);
  if (status != Error_None) return status;
  *connectionOut = connection.release();
  return Error_None;
}

ErrorCode HTTPc_SetAttribute(HTTPc* connection, int32_t index, uint32_t length, const void* value) {
  if (connection == nullptr || value == nullptr) return Error_Invalid;
  // Kept: 7, which would be "Range-If", is refused and so never sent; servers have never seen it from here.
  if (index < HTTPcRequest_Referer || index > HTTPcRequest_Range) return Error_Invalid;
  if (index >= HTTPcRequest_ContentLength) return SetNumbers(&connection->request, index, length, value);
  return iHTTPc_SetRequestText(&connection->request, static_cast<uint32_t>(index),
                               string_view(static_cast<const char*>(value), length));
}

ErrorCode HTTPc_GetAttribute(HTTPc* connection, int32_t index, uint32_t bufferSize, uint32_t* lengthOut,
                             void* buffer) {
  if (lengthOut != nullptr) *lengthOut = 0;
  if (connection == nullptr || index < HTTPcResponse_Server || index > HTTPcResponse_Location)
    return Error_Invalid;
  if (buffer == nullptr && bufferSize != 0) return Error_Invalid;
  if ((connection->response.set & (1u << index)) == 0) return Error_NotFound;
  const Value value = ResponseValue(connection->response, index);
  if (lengthOut != nullptr) *lengthOut = value.length;
  return CopyValue(value, bufferSize, buffer);
}

ErrorCode HTTPc_GetPeerName(HTTPc* connection, uint8_t* address, uint8_t* port) {
  if (connection == nullptr) return Error_Invalid;
  Sock* sock = SocketOf(connection);
  return sock != nullptr ? Sock_GetPeerName(sock, address, port) : Error_Invalid;
}

ErrorCode HTTPc_GetError(HTTPc* connection) {
  return connection != nullptr ? Stream_Error(connection->stream) : Error_Invalid;
}

ErrorCode HTTPc_Close(HTTPc* connection) {
  if (connection == nullptr) return Error_Invalid;
  if (Sock* sock = SocketOf(connection); sock != nullptr) Sock_Shutdown(sock, SockShutdown_Both);
  if (connection->stream != nullptr) Stream_Delete(connection->stream);
  Memory_Delete(connection);
  return Error_None;
}
