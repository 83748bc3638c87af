// Whether a transfer resumes: what lies on the disk and what the server told, to what is to be done. Pure.
#pragma once

#include <cstdint>
#include <string_view>

#include "qz/time.h"
#include "qz/url.h"
#include "transfer/vrxclient_internal.h"

// The status code for a range of which the server has no byte.
constexpr int32_t kRangeNotSatisfiable = 416;

// What the response to a request for the bytes from an offset on said.
struct HTTPAnswer {
  int32_t code;
  uint64_t contentLength;  // kSizeUnknown: not told
  bool hasRange;           // first and last are told
  uint64_t first;
  uint64_t last;
  uint64_t total;     // kSizeUnknown: not told
  Time lastModified;  // zero: not told
};

// What is known of the file before.
struct KnownFile {
  uint64_t offset;    // bytes on the disk, from which on was asked
  uint64_t size;      // kSizeUnknown
  Time lastModified;  // zero: not known, or known from another server
  // The disk holds bytes that this is known of, though the offset is 0: the first new one cuts them.
  bool isDiscarded = false;
};

enum class ResumeAction : uint8_t {
  Continue,  // the data begins at the offset
  Restart,   // it begins with byte 0
  Changed,   // it is not the file that the bytes on the disk are of
  Refused    // the answer fits no request of this transfer
};

struct ResumeDecision {
  ResumeAction action;
  bool canResume;
  uint64_t size;  // kSizeUnknown
  // The file is another one than that of the bytes on the disk. They must go before it is known of.
  bool isOtherFile = false;
  // What the response holds ends before this byte of the file; what comes behind it, as the end of a response
  // in parts does, is no data. kSizeUnknown: not told.
  uint64_t end = kSizeUnknown;
};

// Judges a response of class 2, and one of code 416.
ResumeDecision iResume_JudgeHTTP(const HTTPAnswer& answer, const KnownFile& known);

// Whether a size that an FTP server told is of another file than the bytes on the disk.
bool iResume_IsOtherFile(uint64_t toldSize, uint64_t knownSize, uint64_t dataFileSize);

// Where a download begins: at the end of its data file, unless that is longer than the file.
uint64_t iResume_DownloadOffset(uint64_t dataFileSize, uint64_t size);

// Where an upload begins: behind what the server holds, when that is less than what is to be sent.
uint64_t iResume_UploadOffset(uint64_t serverSize, uint64_t dataFileSize);

// Writes the URL that a redirect leads to: the location itself when it is a URL; else the base with its path
// replaced, or with the location behind the last "/" of its path. What stands behind the first "?" or "#" of
// the base's path is no part of it. Nothing of the location is resolved. Error_Exceed.
ErrorCode iResume_RedirectTarget(const URLData& base, const char* location, char (&target)[kURLSize]);

// The same for a server with a request target of its own (VRXClient_SetRequestTarget): the URL as text,
// nothing of it escaped or resolved but what RFC 3986, section 5.2.2 says of a host, a path, or a query
// alone. "." and
// ".." stay. Error_Exceed.
ErrorCode iResume_ResolveLocation(const URLData& base, std::string_view requestTarget, const char* location,
                                  char (&url)[kURLSize]);

// The path and query of a URL's text, as they are written; "/" when there is none.
const char* iResume_RequestTargetOf(const char* url);
