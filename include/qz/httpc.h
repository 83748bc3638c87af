/* HTTPc: one HTTP/1.0 request per connection (RFC 1945, ranges of RFC 7233).
 *
 * HTTPc_Open connects, HTTPc_SetAttribute gives request headers, HTTPc_Get or HTTPc_Post sends the one
 * request and reads the status line and the headers; the body is then read from the connection's stream.
 * HTTPc_Close ends the connection. The status code of the server never makes a call fail: look at the reply.
 *
 * Every call may block; each wait on the network has a time-out of 61 seconds, and a status line and headers
 * that arrive byte by byte have one of 610 seconds in all. One thread uses a connection at a time; different
 * connections are independent. Needs OS_Init. */
#ifndef QZ_HTTPC_H
#define QZ_HTTPC_H

#include "qz/reply.h"
#include "qz/stream.h"

QZ_BEGIN_C

typedef struct HTTPc HTTPc;

/* Request headers, for HTTPc_SetAttribute. They are sent in this order. Texts have at most 255 bytes. */
enum HTTPcRequest {
  HTTPcRequest_Referer = 0,       /* text */
  HTTPcRequest_Connection = 1,    /* text */
  HTTPcRequest_UserAgent = 2,     /* text */
  HTTPcRequest_Host = 3,          /* text; HTTPc_Get sets it to the host of the URL when it is not set */
  HTTPcRequest_Accept = 4,        /* text */
  HTTPcRequest_ContentLength = 5, /* one uint32_t: bytes */
  HTTPcRequest_Range = 6          /* two uint32_t: first and last byte (last all ones: to the end) */
};

/* Response values, for HTTPc_GetAttribute. Texts over 255 bytes are cut there. */
enum HTTPcResponse {
  HTTPcResponse_Server = 1,        /* text */
  HTTPcResponse_Connection = 2,    /* text */
  HTTPcResponse_Date = 3,          /* one Time, 8 bytes */
  HTTPcResponse_ContentType = 4,   /* text */
  HTTPcResponse_AcceptRanges = 5,  /* text */
  HTTPcResponse_LastModified = 6,  /* one Time, 8 bytes */
  HTTPcResponse_ContentLength = 7, /* one uint32_t: bytes; all ones for a length that does not fit */
  HTTPcResponse_ContentRange = 8,  /* two uint32_t: first and last byte of the body within the whole */
  HTTPcResponse_Location = 9       /* text */
};

/* Connects to a server, or to the proxy when the proxy settings name one for HTTP and the host does not
 * bypass it. host: name or dotted address, at most 1023 bytes; copied. port: 0 to 65535. connection: receives
 * the connection, owned by the caller (free with HTTPc_Close); null after a failure. Returns None, Invalid
 * (null argument, port of the server or of the proxy out of range), Exceed (host too long), Memory, or the
 * status of connecting (see Sock_OpenConnectBuffer). */
QZ_API ErrorCode HTTPc_Open(const char* host, uint32_t port, HTTPc** connection);

/* Sets one request header; setting it again replaces it.
 * index: of enum HTTPcRequest. length: bytes at value: those of the text (a terminator is not needed; a zero
 * byte ends it), or 4 or 8. value: the text or numbers; copied. Returns None, Invalid (null argument, any
 * other index, a wrong length of numbers, CR or LF in a text), Exceed (a text over 255 bytes). After a
 * failure the header is as before. */
QZ_API ErrorCode HTTPc_SetAttribute(HTTPc* connection, int32_t index, uint32_t length, const void* value);

/* Sends "GET" and reads the status line and the headers. What is asked for is the path of the URL as
 * URL_NewData gives it ("/" when it has none), its query and all else that follows included: a fragment
 * ("#...") is the caller's to cut off. Its escapes are resolved, once; then spaces, control bytes and bytes
 * above 126 are written as "%" and two hexadecimal digits. An escape that has to arrive as it is ("%2F") is
 * therefore written with "%25" ("%252F"). A proxy is asked for the URL text, nothing resolved, without the
 * white space at its ends. The URL's host names the server in the request only (the connection is that of
 * HTTPc_Open); its user and password are never sent. Redirects are not followed: see HTTPcResponse_Location.
 * url: at most 1023 bytes. reply: receives class, code and the first word of the reason. stream: receives the
 * connection's stream at the first byte of the body; it stays the connection's, borrowed until HTTPc_Close.
 * The body is read to the end of the connection. When HTTPcResponse_ContentLength tells its length, compare:
 * Error_Ended also ends a body that was cut short.
 * After a failure reply is empty and stream null. Returns None, whatever the server's code; -6 (no named
 * status) for an invalid URL, Invalid (null argument, CR or LF in the host), Exceed (URL over 1023 or host
 * over 255 bytes): nothing was sent. Invalid for an invalid HTTP response, Exceed for a line over 1024 bytes
 * or headers over 1 MiB, Timeout when the headers do not end in time, else the status of the connection:
 * Ended, Timeout, Retry, ... */
QZ_API ErrorCode HTTPc_Get(HTTPc* connection, const char* url, Reply* reply, Stream** stream);

/* Sends "POST" with a body and reads the status line and the headers. No header is added: the caller sets
 * HTTPcRequest_ContentLength and HTTPcRequest_Host.
 * uri: the request URI, at most 1023 bytes; escaped as for HTTPc_Get. bodyLength: bytes of the body; all
 * ones: to the end of the body stream. body: read from its position, borrowed; null: no body. sentOut:
 * receives the bytes of the body that were sent, also after a failure; may be null. reply, stream: as for
 * HTTPc_Get. Returns as HTTPc_Get but never -6, and the failure of reading or sending the body: Ended when
 * the body stream is shorter than bodyLength, Exceed when the connection takes no more, Block when the body
 * stream has nothing to give yet. */
QZ_API ErrorCode HTTPc_Post(HTTPc* connection, const char* uri, uint32_t bodyLength, Stream* body,
                            uint32_t* sentOut, Reply* reply, Stream** stream);

/* Gives one value of the response.
 * index: of enum HTTPcResponse. bufferSize: bytes at buffer. lengthOut: receives the length of the text
 * without its terminator, or the bytes of a number or time; also when the buffer is too small; 0 after other
 * failures; may be null. buffer: receives the value, a text with its terminator; may be null only when
 * bufferSize is 0, to ask for the length. Nothing is written to it after a failure. Returns None, Invalid
 * (null argument, index outside 1 to 9), NotFound (the server did not send it, or it did not parse), Exceed
 * (the buffer is too small; a text needs its length and one byte). */
QZ_API ErrorCode HTTPc_GetAttribute(HTTPc* connection, int32_t index, uint32_t bufferSize,
                                    uint32_t* lengthOut, void* buffer);

/* Gives the address of the server, or of the proxy.
 * address: receives 4 bytes, port: 2 bytes, both in network order; each may be null.
 * Returns as Sock_GetPeerName, or Invalid (null connection, its stream wraps no socket). */
QZ_API ErrorCode HTTPc_GetPeerName(HTTPc* connection, uint8_t* address, uint8_t* port);

/* Returns the status of the last operation on the connection's stream; Invalid for null. */
QZ_API ErrorCode HTTPc_GetError(HTTPc* connection);

/* Shuts the connection down both ways and frees it with its stream. Returns None; Invalid for null. */
QZ_API ErrorCode HTTPc_Close(HTTPc* connection);

/* ---- Additions ----------------------------------------------------------------------------------------
 *
 * Lengths and ranges of 4 GiB and more. In the functions above a length or range of 32 bits that is all ones
 * means "to the end" where it is sent, and "does not fit" where it came; here all 64 bits are ones. */

/* Sets HTTPcRequest_Range: the first and the last byte that are asked for, counted from 0. last: all ones for
 * "to the end". They are sent as they are given, also with last below first. Returns None; Invalid for null.
 */
QZ_API ErrorCode HTTPc_SetRange64(HTTPc* connection, uint64_t first, uint64_t last);

/* Sets HTTPcRequest_ContentLength, in bytes. Returns None; Invalid for null. */
QZ_API ErrorCode HTTPc_SetContentLength64(HTTPc* connection, uint64_t length);

/* HTTPc_Post for a body of any length. bodyLength, sentOut: bytes; a bodyLength of all ones: to the end of
 * the body stream. */
QZ_API ErrorCode HTTPc_Post64(HTTPc* connection, const char* uri, uint64_t bodyLength, Stream* body,
                              uint64_t* sentOut, Reply* reply, Stream** stream);

/* Gives HTTPcResponse_ContentLength. length: receives bytes; all ones for a length that does not fit, and
 * after a failure. Returns None, Invalid (null argument), NotFound (the server did not send it, or it did not
 * parse).
 */
QZ_API ErrorCode HTTPc_GetContentLength64(HTTPc* connection, uint64_t* length);

/* Gives the response's "Content-Range", with its total. first, last: receive the first and the last byte of
 * the body within the whole, counted from 0, as the server sent them; total: the bytes of the whole, all ones
 * when the server did not tell it ("*"). A number that does not fit is all ones.
 * Where the server has no byte of the range that was asked for (code 416, the value is "bytes" and then a "*"
 * in place of the range, "/" and the total), first and last are all ones and total is its total;
 * HTTPc_GetAttribute gives NotFound then.
 * Returns None, Invalid (null argument), NotFound (the server did not send it, or it did not parse); all
 * three are all ones after a failure. */
QZ_API ErrorCode HTTPc_GetContentRange64(HTTPc* connection, uint64_t* first, uint64_t* last, uint64_t* total);

/* Connections that are kept between the requests of transfers, for VRXClient_SetPool. Without a pool every
 * request has a connection of its own.
 *
 * A connection is kept when its response has code 200 or 206, exactly one "Content-Length", no
 * "Transfer-Encoding", not several parts, and a "Connection" of "keep-alive" (without "close"), and exactly
 * that many bytes of body were read. It serves the next request to the same host and port within 4 seconds,
 * unless the server has ended it or has sent another byte: then, and when it ends without a byte of the next
 * response, a new connection is made at once. Connections to a proxy are not kept. A pool keeps at most 8
 * connections, and closes the oldest for a newer one; each counts as an open socket. Requests are the same
 * with a pool and without one. Any thread may use a pool at any time, but HTTPcPool_Delete. */
typedef struct HTTPcPool HTTPcPool;

/* Makes an empty pool. pool: receives it, owned by the caller (free with HTTPcPool_Delete); null after a
 * failure. Returns None, Invalid (null argument), Memory. */
QZ_API ErrorCode HTTPcPool_New(HTTPcPool** pool);

/* Closes the connections that are kept, and frees the pool. No transfer may have it any more. Returns None;
 * Invalid for null. */
QZ_API ErrorCode HTTPcPool_Delete(HTTPcPool* pool);

QZ_END_C

#endif
