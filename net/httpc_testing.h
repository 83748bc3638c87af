// The steps of an HTTP request that tests and fuzz targets reach one by one.
#pragma once

#include "net/httpc_internal.h"

// A request URI with every byte escaped that could take up to three.
constexpr size_t kHTTPcUriSize = 3 * kHTTPcMaximumUrl + 1;

// The request line, every header at its longest and the empty line fit.
constexpr size_t kHTTPcRequestSize = 8192;

// Writes `text` as it can stand in a request line: spaces, control bytes and bytes above 126 as "%" and two
// upper-case hexadecimal digits, everything else unchanged; "/" for an empty text. `text` has at most
// kHTTPcMaximumUrl bytes.
void iHTTPc_EncodeUri(std::string_view text, char (&uri)[kHTTPcUriSize]);

// Writes the request line, the headers that are set, and the empty line. Returns the number of bytes.
uint32_t iHTTPc_FormatRequest(const HTTPcRequestRecord& request, const char* method, const char* uri,
                              char (&buffer)[kHTTPcRequestSize]);

// Reads the status line and the headers into an empty record and leaves the stream at the first byte of the
// body. Error_Invalid for lines that do not parse, Error_Exceed for a line over 1024 bytes or headers over 1
// MiB, Error_Timeout when they have not come after ten times the limit of one wait (610 seconds), else the
// status of the stream.
ErrorCode iHTTPc_ReadResponse(Stream* stream, HTTPcResponseRecord* response, Reply* reply);

// A connection record without a stream; null when memory runs out. Freed by HTTPc_Close.
HTTPc* iHTTPc_New();

// The text of a status code, null when it has none.
const char* iHTTPc_ReplyText(int32_t code);
