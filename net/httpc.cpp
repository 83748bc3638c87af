// The life of an HTTP connection, and what can be set before the request and asked after it.
#include "qz/httpc.h"

#include <algorithm>
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

using OwnedConnection = Owned<HTTPc, HTTPc_Close>;

// A receive buffer of a set size, also a large one, would switch off the system's own tuning.
ErrorCode ConnectSocket(HTTPc* connection) {
  Sock* sock = nullptr;
  const ErrorCode status =
      iSock_OpenConnect(SockBuffer_System, connection->host, static_cast<uint16_t>(connection->port),
                        connection->interrupt, &sock);
  connection->stream = reinterpret_cast<Stream*>(sock);
  return status;
}

// Looks up where to connect to. Statuses of HTTPc_Open.
ErrorCode NewRecord(const char* host, uint32_t port, const SockInterrupt* interrupt,
                    OwnedConnection* connectionOut) {
  if (host == nullptr || port > kMaximumPort) return Error_Invalid;
  if (strlen(host) >= kHTTPcHostSize) return Error_Exceed;
  connectionOut->reset(iHTTPc_New());
  HTTPc* connection = connectionOut->get();
  if (connection == nullptr) return Error_Memory;
  connection->viaProxy = Proxy_Resolve(ProxyIndex_HTTP, host, port, connection->host, &connection->port) != 0;
  connection->interrupt = interrupt;
  return connection->port <= kMaximumPort ? Error_None : Error_Invalid;
}

// What a response index gives: a text, or up to 8 bytes.
struct Value {
  const char* text;  // null: none
  uint8_t bytes[8];
  uint32_t length;
};

Value TextValue(const char* text) {
  return {text, {}, static_cast<uint32_t>(strlen(text))};
}

Value TimeValue(const Time& time) {
  static_assert(sizeof(Time) == 8);
  Value value = {nullptr, {}, sizeof time};
  memcpy(value.bytes, &time, sizeof time);
  return value;
}

// All ones for a number that does not fit.
uint32_t Narrow(uint64_t number) {
  return static_cast<uint32_t>(std::min<uint64_t>(number, UINT32_MAX));
}

Value LengthValue(const HTTPcResponseRecord& response) {
  const uint32_t length = Narrow(response.contentLength);
  Value value = {nullptr, {}, sizeof length};
  memcpy(value.bytes, &length, sizeof length);
  return value;
}

Value RangeValue(const HTTPcResponseRecord& response) {
  const uint32_t range[2] = {Narrow(response.rangeFirst), Narrow(response.rangeLast)};
  Value value = {nullptr, {}, sizeof range};
  memcpy(value.bytes, range, sizeof range);
  return value;
}

Value ResponseValue(const HTTPcResponseRecord& response, int32_t index) {
  switch (index) {
    case HTTPcResponse_Server:
      return TextValue(response.server);
    case HTTPcResponse_Connection:
      return TextValue(response.connection);
    case HTTPcResponse_Date:
      return TimeValue(response.dateTime);
    case HTTPcResponse_ContentType:
      return TextValue(response.contentType);
    case HTTPcResponse_AcceptRanges:
      return TextValue(response.acceptRanges);
    case HTTPcResponse_LastModified:
      return TimeValue(response.lastModifiedTime);
    case HTTPcResponse_ContentLength:
      return LengthValue(response);
    case HTTPcResponse_ContentRange:
      return RangeValue(response);
    default:
      return TextValue(response.location);
  }
}

ErrorCode CopyValue(const Value& value, uint32_t bufferSize, void* buffer) {
  const uint32_t needed = value.text != nullptr ? value.length + 1 : value.length;
  if (bufferSize < needed) return Error_Exceed;
  const void* bytes = value.text != nullptr ? static_cast<const void*>(value.text) : value.bytes;
  if (buffer != nullptr) memcpy(buffer, bytes, needed);
  return Error_None;
}

bool HasResponse(const HTTPc* connection, int32_t index) {
  return (connection->response.set & (1u << index)) != 0;
}

ErrorCode SetNumbers(HTTPc* connection, int32_t index, uint32_t length, const void* value) {
  uint32_t numbers[2] = {};
  const uint32_t needed = index == HTTPcRequest_Range ? 2 * sizeof numbers[0] : sizeof numbers[0];
  if (length != needed) return Error_Invalid;
  memcpy(numbers, value, needed);
  if (index == HTTPcRequest_ContentLength) return HTTPc_SetContentLength64(connection, numbers[0]);
  const bool isToTheEnd = numbers[1] == UINT32_MAX;
  return HTTPc_SetRange64(connection, numbers[0], isToTheEnd ? kHTTPcUnknown : numbers[1]);
}

}  // namespace

HTTPc* iHTTPc_New() {
  return static_cast<HTTPc*>(iMemory_NewCleared(sizeof(HTTPc)));
}

Sock* iHTTPc_Socket(const HTTPc* connection) {
  if (connection->stream == nullptr) return nullptr;
  return reinterpret_cast<Sock*>(Stream_FindType(connection->stream, StreamType_Sock));
}

ErrorCode iHTTPc_Open(HTTPcPool* pool, const char* host, uint32_t port, const SockInterrupt* interrupt,
                      HTTPc** connectionOut) {
  if (connectionOut == nullptr) return Error_Invalid;
  *connectionOut = nullptr;
  OwnedConnection connection;
  ErrorCode status = NewRecord(host, port, interrupt, &connection);
  if (status == Error_None && !iHTTPcPool_Take(pool, connection.get()))
    status = ConnectSocket(connection.get());
  if (status == Error_None) *connectionOut = connection.release();
  return status;
}

ErrorCode iHTTPc_Reconnect(HTTPc* connection) {
  Stream_Delete(connection->stream);
  connection->stream = nullptr;
  connection->isKept = false;
  return ConnectSocket(connection);
}

ErrorCode HTTPc_Open(const char* host, uint32_t port, HTTPc** connection) {
  return iHTTPc_Open(nullptr, host, port, nullptr, connection);
}

ErrorCode HTTPc_SetAttribute(HTTPc* connection, int32_t index, uint32_t length, const void* value) {
  if (connection == nullptr || value == nullptr) return Error_Invalid;
  // Kept: 7, which would be "Range-If", is refused and so never sent; servers have never seen it from here.
  if (index < HTTPcRequest_Referer || index > HTTPcRequest_Range) return Error_Invalid;
  if (index >= HTTPcRequest_ContentLength) return SetNumbers(connection, index, length, value);
  return iHTTPc_SetRequestText(&connection->request, static_cast<uint32_t>(index),
                               string_view(static_cast<const char*>(value), length));
}

ErrorCode HTTPc_GetAttribute(HTTPc* connection, int32_t index, uint32_t bufferSize, uint32_t* lengthOut,
                             void* buffer) {
  if (lengthOut != nullptr) *lengthOut = 0;
  if (connection == nullptr || index < HTTPcResponse_Server || index > HTTPcResponse_Location)
    return Error_Invalid;
  if (buffer == nullptr && bufferSize != 0) return Error_Invalid;
  if (!HasResponse(connection, index)) return Error_NotFound;
  const Value value = ResponseValue(connection->response, index);
  if (lengthOut != nullptr) *lengthOut = value.length;
  return CopyValue(value, bufferSize, buffer);
}

ErrorCode HTTPc_GetPeerName(HTTPc* connection, uint8_t* address, uint8_t* port) {
  if (connection == nullptr) return Error_Invalid;
  Sock* sock = iHTTPc_Socket(connection);
  return sock != nullptr ? Sock_GetPeerName(sock, address, port) : Error_Invalid;
}

ErrorCode HTTPc_GetError(HTTPc* connection) {
  return connection != nullptr ? Stream_Error(connection->stream) : Error_Invalid;
}

ErrorCode HTTPc_Close(HTTPc* connection) {
  if (connection == nullptr) return Error_Invalid;
  if (Sock* sock = iHTTPc_Socket(connection); sock != nullptr) Sock_Shutdown(sock, SockShutdown_Both);
  if (connection->stream != nullptr) Stream_Delete(connection->stream);
  Memory_Delete(connection);
  return Error_None;
}

// ---- additions -------------------------------------------------------------------------------------------

ErrorCode HTTPc_SetContentLength64(HTTPc* connection, uint64_t length) {
  if (connection == nullptr) return Error_Invalid;
  connection->request.contentLength = length;
  connection->request.set |= 1u << HTTPcRequest_ContentLength;
  return Error_None;
}

ErrorCode HTTPc_SetRange64(HTTPc* connection, uint64_t first, uint64_t last) {
  if (connection == nullptr) return Error_Invalid;
  connection->request.rangeFirst = first;
  connection->request.rangeLast = last;
  connection->request.set |= 1u << HTTPcRequest_Range;
  return Error_None;
}

ErrorCode HTTPc_GetContentLength64(HTTPc* connection, uint64_t* length) {
  if (length == nullptr) return Error_Invalid;
  *length = kHTTPcUnknown;
  if (connection == nullptr) return Error_Invalid;
  if (!HasResponse(connection, HTTPcResponse_ContentLength)) return Error_NotFound;
  *length = connection->response.contentLength;
  return Error_None;
}

ErrorCode HTTPc_GetContentRange64(HTTPc* connection, uint64_t* first, uint64_t* last, uint64_t* total) {
  if (first == nullptr || last == nullptr || total == nullptr) return Error_Invalid;
  *first = *last = *total = kHTTPcUnknown;
  if (connection == nullptr) return Error_Invalid;
  const HTTPcResponseRecord& response = connection->response;
  if (!response.isUnsatisfied && !HasResponse(connection, HTTPcResponse_ContentRange)) return Error_NotFound;
  *total = response.rangeTotal;
  if (response.isUnsatisfied) return Error_None;
  *first = response.rangeFirst;
  *last = response.rangeLast;
  return Error_None;
}
