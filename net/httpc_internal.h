// The record of one HTTP connection, and what its files share. The steps between lines and values do no input
// or output.
//
//   httpc.cpp           opening, request headers, response values, closing
//   httpc_request.cpp   the request text, and the order of the steps
//   httpc_response.cpp  lines to values
//   httpc_texts.cpp     status codes and their texts
//   httpc_pool.cpp      connections that are kept for the next request
#pragma once

#include <cstdint>
#include <string_view>

#include "net/sock_internal.h"
#include "qz/httpc.h"
#include "qz/time.h"

// Texts of headers are kept in slots of this size, the terminator included; a longer one is cut.
constexpr size_t kHTTPcTextSize = 256;

// A URL or request URI has at most this many bytes.
constexpr size_t kHTTPcMaximumUrl = 1023;

// Kept: an invalid URL gives a number without a name in enum Error; the transfer engine tells
// it apart from every failure of the connection by that.
constexpr ErrorCode kHTTPc_BadUrl = -6;

// Status codes of the standard; their names are those of the texts.
enum HTTPReply : int32_t {
  kHTTPReply_Continue = 100,
  kHTTPReply_SwitchingProtocols = 101,
  kHTTPReply_OK = 200,
  kHTTPReply_CREATED = 201,
  kHTTPReply_Accepted = 202,
  kHTTPReply_Partial = 203,
  kHTTPReply_NoContent = 204,
  kHTTPReply_ResetContent = 205,
  kHTTPReply_PartialContent = 206,
  kHTTPReply_MulitpleChoice = 300,
  kHTTPReply_Moved = 301,
  kHTTPReply_MovedTemporarily = 302,
  kHTTPReply_SeeOther = 303,
  kHTTPReply_NotModified = 304,
  kHTTPReply_UseProxy = 305,
  kHTTPReply_BadRequest = 400,
  kHTTPReply_Unauthorized = 401,
  kHTTPReply_PaymentRequired = 402,
  kHTTPReply_Forbidden = 403,
  kHTTPReply_NotFound = 404,
  kHTTPReply_MethodNotAllowed = 405,
  kHTTPReply_NotAcceptable = 406,
  kHTTPReply_ProxyAthentication = 407,
  kHTTPReply_RequestTimeout = 408,
  kHTTPReply_RequestConflict = 409,
  kHTTPReply_Gone = 410,
  kHTTPReply_LengthRequired = 411,
  kHTTPReply_PreconditionFailed = 412,
  kHTTPReply_EntityTooLarge = 413,
  kHTTPReply_RequestURIToolLarge = 414,
  kHTTPReply_UnsupportedMediaType = 415,
  kHTTPReply_InternalError = 500,
  kHTTPReply_NotImplemented = 501,
  kHTTPReply_BadGateway = 502,
  kHTTPReply_ServiceUnavailable = 503,
  kHTTPReply_GatewayTimeout = 504,
};

constexpr uint32_t kHTTPcRequestTexts = 5;

// Response lines.
constexpr uint32_t kHTTPcMaximumLine = 1024;
constexpr uint32_t kHTTPcMaximumHeaderBytes = 1024 * 1024;

constexpr size_t kHTTPcHostSize = 1024;

// How many connections a pool keeps, and how long.
constexpr size_t kHTTPcPool_Most = 8;
constexpr uint64_t kHTTPcPool_Milliseconds = 4000;

// A number that does not fit 64 bits, was not given, or means "to the end".
constexpr uint64_t kHTTPcUnknown = UINT64_MAX;

// What a caller gave for the request. `set` has one bit for each index of enum HTTPcRequest.
struct HTTPcRequestRecord {
  uint32_t set;
  char texts[kHTTPcRequestTexts][kHTTPcTextSize];
  uint64_t contentLength;
  uint64_t rangeFirst;
  uint64_t rangeLast;  // kHTTPcUnknown: to the end
};

// What the server answered. `set` has one bit for each index of enum HTTPcResponse; bit 0: a status line
// came.
struct HTTPcResponseRecord {
  uint32_t set;
  uint64_t contentLength;
  uint64_t rangeFirst;
  uint64_t rangeLast;
  uint64_t rangeTotal;  // kHTTPcUnknown: not told
  bool isUnsatisfied;   // the range that came is "*/rangeTotal"; then no bit stands for it
  char version[9];      // "HTTP/1.0"
  char contentType[kHTTPcTextSize];
  char lastModified[kHTTPcTextSize];
  Time lastModifiedTime;
  char date[kHTTPcTextSize];
  Time dateTime;
  char server[kHTTPcTextSize];
  char connection[kHTTPcTextSize];
  char acceptRanges[kHTTPcTextSize];
  char location[kHTTPcTextSize];

  // What tells whether another response can follow this one over the same connection.
  int32_t code;
  uint32_t lengthCount;  // headers with the length of the body
  bool isLengthPlain;    // the last of them was a number and nothing else
  bool isCoded;          // a transfer coding was named, so the length does not tell where the body ends
  bool isMultipart;      // headers stand within the body
  bool staysOpen;        // the server keeps the connection
  bool closes;           // it does not
};

struct HTTPc {
  Stream* stream;  // owned
  HTTPcResponseRecord response;
  HTTPcRequestRecord request;
  bool viaProxy;
  bool isKept;  // the connection had a request before; its server may have ended it meanwhile
  char host[kHTTPcHostSize];
  uint32_t port;
  const SockInterrupt* interrupt;  // borrowed; may be null
  uint64_t bodyStart;              // the first byte of the body, counted from the connection's first
  uint64_t keptSinceMilliseconds;
};

// The socket of a connection; null when its stream wraps none.
Sock* iHTTPc_Socket(const HTTPc* connection);

// HTTPc_Open, but a connection to the same server that the pool keeps is taken first. pool: may be null.
// interrupt: ends every wait of the connection; borrowed, must outlive it; may be null.
ErrorCode iHTTPc_Open(HTTPcPool* pool, const char* host, uint32_t port, const SockInterrupt* interrupt,
                      HTTPc** connection);
// Gives a new record the socket of a kept connection to the host and port that it names. False when there is
// none. pool: may be null.
bool iHTTPcPool_Take(HTTPcPool* pool, HTTPc* connection);
// HTTPc_Close, but a connection that can serve another request goes to the pool. pool: may be null.
void iHTTPc_CloseInto(HTTPcPool* pool, HTTPc* connection);
// Puts a new connection to the same server in the place of one that was kept and has ended. The request stays
// as it was set.
ErrorCode iHTTPc_Reconnect(HTTPc* connection);
// Whether the response says where its body ends, and that the connection stays open behind it.
bool iHTTPc_LeavesConnectionOpen(const HTTPcResponseRecord& response);

// Copies the text into a slot, cut to what fits, and ends it.
void iHTTPc_CopyText(std::string_view text, char (&slot)[kHTTPcTextSize]);

// Stores a request text. Error_Exceed above 255 bytes, Error_Invalid with CR or LF in it; then nothing is
// stored.
ErrorCode iHTTPc_SetRequestText(HTTPcRequestRecord* request, uint32_t index, std::string_view text);

// Takes "HTTP/1.0 200 OK" apart; white space and the line end may still stand at its ends. Error_Invalid when
// it is not a status line; then nothing is stored.
ErrorCode iHTTPc_ParseStatusLine(std::string_view line, HTTPcResponseRecord* response, Reply* reply);

// The progress of reading headers from line to line.
struct HTTPcHeaderState {
  char namedBoundary[kHTTPcTextSize];  // by the last Content-Type; empty: none
  char boundary[kHTTPcTextSize];       // the one named when an empty line came; empty while none did
  bool complete;                       // the body follows
};

// Takes one header line (white space and the line end may still stand at its ends) into the record, or ends
// the headers. Error_Invalid for a line without a colon.
ErrorCode iHTTPc_TakeHeaderLine(std::string_view line, HTTPcHeaderState* state,
                                HTTPcResponseRecord* response);
