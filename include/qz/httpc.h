/* HTTPc: one HTTP/1.0 request per connection (RFC 1945, ranges of RFC 7233). */
#ifndef QZ_HTTPC_H
#define QZ_HTTPC_H

#include "qz/reply.h"
#include "qz/stream.h"

QZ_BEGIN_C

typedef struct HTTPc HTTPc;

/* Request headers, for HTTPc_SetAttribute. */
enum HTTPcRequest {
  HTTPcRequest_Referer = 0,
  HTTPcRequest_Connection = 1,
  HTTPcRequest_UserAgent = 2,
  HTTPcRequest_Host = 3,
  HTTPcRequest_Accept = 4,
  HTTPcRequest_ContentLength = 5, /* one uint32_t */
  HTTPcRequest_Range = 6          /* two uint32_t: first, last (all ones: to the end) */
};

/* Response values, for HTTPc_GetAttribute. */
enum HTTPcResponse {
  HTTPcResponse_Server = 1,
  HTTPcResponse_Connection = 2,
  HTTPcResponse_Date = 3, /* Time */
  HTTPcResponse_ContentType = 4,
  HTTPcResponse_AcceptRanges = 5,
  HTTPcResponse_LastModified = 6,  /* Time */
  HTTPcResponse_ContentLength = 7, /* uint32_t */
  HTTPcResponse_ContentRange = 8,  /* two uint32_t: first, last */
  HTTPcResponse_Location = 9
};

QZ_API ErrorCode HTTPc_Open(const char* host, uint32_t port, HTTPc** connection);
QZ_API ErrorCode HTTPc_SetAttribute(HTTPc* connection, int32_t index, uint32_t length, const void* value);
QZ_API ErrorCode HTTPc_Get(HTTPc* connection, const char* url, Reply* reply, Stream** stream);
QZ_API ErrorCode HTTPc_Post(HTTPc* connection, const char* uri, uint32_t bodyLength, Stream* body,
                            uint32_t* sentOut, Reply* reply, Stream** stream);
QZ_API ErrorCode HTTPc_GetAttribute(HTTPc* connection, int32_t index, uint32_t bufferSize, uint32_t* lengthOut,
                                    void* buffer);
QZ_API ErrorCode HTTPc_GetPeerName(HTTPc* connection, uint8_t* address, uint8_t* port);
QZ_API ErrorCode HTTPc_GetError(HTTPc* connection);
QZ_API ErrorCode HTTPc_Close(HTTPc* connection);

QZ_END_C

#endif
