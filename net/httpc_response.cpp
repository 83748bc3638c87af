// The response of an HTTP server, from lines to values. Nothing here reads: a line comes in, a value goes
// into the record.
//
//   HTTP/1.1 206 Partial Content          version, code, first word of the reason
//   Content-Type: multipart/byteranges; boundary=XYZ
//   Content-Range: bytes 1000-1999/5000   name ":" value
//                                         an empty line ends the headers,
//   --XYZ                                 unless a boundary was named: then the headers of the first part
//   follow, Content-Type: text/plain              whose own type names none,
//                                         and the next empty line ends them
#include <algorithm>
#include <cstring>

#include "net/httpc_internal.h"
#include "os/text/characterclass_internal.h"
#include "os/text/decimal_internal.h"
#include "os/text/textview_internal.h"
#include "qz/error.h"

namespace {

using std::string_view;

constexpr string_view kLineWhiteSpace = " \t\n\r";
constexpr string_view kScanWhiteSpace = " \t\n\v\f\r";
constexpr string_view kTypeDelimiters = " \t\r\n;=\"";
constexpr string_view kVersionStart = "HTTP/";
constexpr uint32_t kStatusLineBit = 1u << 0;

constexpr string_view kListDelimiters = " \t,";

enum class Kind { text, time, length, range };

using TextSlot = char (HTTPcResponseRecord::*)[kHTTPcTextSize];
using TimeSlot = Time HTTPcResponseRecord::*;

struct HeaderRow {
  int32_t index;
  string_view name;
  Kind kind;
  TextSlot text;
  TimeSlot time;
};

using Record = HTTPcResponseRecord;

constexpr HeaderRow kHeaders[] = {
    {HTTPcResponse_Server, "Server", Kind::text, &Record::server, nullptr},
    {HTTPcResponse_Connection, "Connection", Kind::text, &Record::connection, nullptr},
    {HTTPcResponse_Date, "Date", Kind::time, &Record::date, &Record::dateTime},
    {HTTPcResponse_ContentType, "Content-type", Kind::text, &Record::contentType, nullptr},
    {HTTPcResponse_AcceptRanges, "Accept-Ranges", Kind::text, &Record::acceptRanges, nullptr},
    {HTTPcResponse_LastModified, "Last-Modified", Kind::time, &Record::lastModified,
     &Record::lastModifiedTime},
    {HTTPcResponse_ContentLength, "Content-length", Kind::length, nullptr, nullptr},
    {HTTPcResponse_ContentRange, "Content-Range", Kind::range, nullptr, nullptr},
    {HTTPcResponse_Location, "Location", Kind::text, &Record::location, nullptr},
};

void SkipAny(string_view set, string_view* text) {
  text->remove_prefix(std::min(text->find_first_not_of(set), text->size()));
}

string_view Strip(string_view text) {
  SkipAny(kLineWhiteSpace, &text);
  return text.substr(0, text.find_last_not_of(kLineWhiteSpace) + 1);
}

// The next run of bytes outside `delimiters`; empty when none is left.
string_view TakeToken(string_view delimiters, string_view* text) {
  SkipAny(delimiters, text);
  const string_view token = text->substr(0, text->find_first_of(delimiters));
  text->remove_prefix(token.size());
  return token;
}

bool TakeChar(char c, string_view* text) {
  if (text->empty() || text->front() != c) return false;
  text->remove_prefix(1);
  return true;
}

// A status code, which may have a sign; cut to the range of the type.
bool TakeCode(string_view* text, int32_t* code) {
  const std::optional<SignedDecimal> decimal = iDecimal_TakeSigned(text);
  if (!decimal) return false;
  const int64_t number = decimal->isNegative ? -int64_t{decimal->magnitude} : int64_t{decimal->magnitude};
  *code = static_cast<int32_t>(std::clamp<int64_t>(number, INT32_MIN, INT32_MAX));
  return true;
}

// "1000-1999/5000". The total may be "*" or missing: a server that does not know it still says where the body
// begins, and a caller that resumes must not miss that.
bool ParseSatisfiedRange(string_view text, HTTPcResponseRecord* response) {
  const std::optional<uint64_t> first = iDecimal_TakeUnsigned64(&text);
  if (!first || !TakeChar('-', &text)) return false;
  const std::optional<uint64_t> last = iDecimal_TakeUnsigned64(&text);
  if (!last) return false;
  const bool hasTotal = TakeChar('/', &text);
  response->rangeFirst = *first;
  response->rangeLast = *last;
  response->rangeTotal = (hasTotal ? iDecimal_TakeUnsigned64(&text) : std::nullopt).value_or(kHTTPcUnknown);
  response->isUnsatisfied = false;
  return true;
}

// "*/5000": no byte of the range is there. A range that came before holds.
void ParseUnsatisfiedRange(string_view text, HTTPcResponseRecord* response) {
  if ((response->set & (1u << HTTPcResponse_ContentRange)) != 0) return;
  SkipAny(kScanWhiteSpace, &text);
  if (!TakeChar('*', &text) || !TakeChar('/', &text)) return;
  const std::optional<uint64_t> total = iDecimal_TakeUnsigned64(&text);
  if (!total) return;
  response->rangeTotal = *total;
  response->isUnsatisfied = true;
}

// "bytes 1000-1999/5000".
bool ParseRange(string_view value, HTTPcResponseRecord* response) {
  const size_t space = value.find(' ');
  const string_view range = space == string_view::npos ? value : iTextView_Part(value, space + 1);
  if (ParseSatisfiedRange(range, response)) return true;
  ParseUnsatisfiedRange(range, response);
  return false;
}

bool StoreValue(const HeaderRow& row, string_view value, HTTPcResponseRecord* response) {
  switch (row.kind) {
    case Kind::text:
      iHTTPc_CopyText(value, response->*row.text);
      return true;
    case Kind::time: {
      iHTTPc_CopyText(value, response->*row.text);
      Time time = {};
      if (Time_FromString(response->*row.text, &time) != Error_None) return false;
      response->*row.time = time;
      return true;
    }
    case Kind::length: {
      const std::optional<uint64_t> length = iDecimal_TakeUnsigned64(&value);
      response->contentLength = length.value_or(response->contentLength);
      return length.has_value();
    }
    case Kind::range:
      return ParseRange(value, response);
  }
  return false;
}

bool HasToken(string_view list, string_view wanted) {
  for (string_view rest = list;;) {
    const string_view token = TakeToken(kListDelimiters, &rest);
    if (token.empty()) return false;
    if (iCharacter_EqualsWithoutCase(token, wanted)) return true;
  }
}

// Other readers of the response may take "+10" or "10x" for another length.
bool IsPlainNumber(string_view value) {
  return !value.empty() && value.find_first_not_of("0123456789") == string_view::npos;
}

// What a header says of the end of the body, and of the connection behind it.
void TakeFraming(string_view name, string_view value, HTTPcResponseRecord* response) {
  if (iCharacter_EqualsWithoutCase(name, "Transfer-Encoding")) response->isCoded = true;
  if (iCharacter_EqualsWithoutCase(name, "Content-Length")) {
    ++response->lengthCount;
    response->isLengthPlain = IsPlainNumber(value);
  }
  if (!iCharacter_EqualsWithoutCase(name, "Connection")) return;
  response->staysOpen |= HasToken(value, "keep-alive");
  response->closes |= HasToken(value, "close");
}

// The token after "boundary" in a content type; empty when there is none.
string_view FindBoundary(string_view contentType) {
  for (string_view rest = contentType;;) {
    const string_view token = TakeToken(kTypeDelimiters, &rest);
    if (token.empty()) return token;
    if (iCharacter_EqualsWithoutCase(token, "boundary")) return TakeToken(kTypeDelimiters, &rest);
  }
}

// Headers of no interest, empty ones and those with a zero byte, which no text could hold whole, are passed
// over.
// Kept: what the first part of a multipart response says replaces what the response said; callers take the
// range of a part from there.
void TakeHeader(string_view name, string_view value, HTTPcHeaderState* state, HTTPcResponseRecord* response) {
  TakeFraming(name, value, response);
  if (value.empty() || value.find('\0') != string_view::npos) return;
  for (const HeaderRow& row : kHeaders) {
    if (!iCharacter_EqualsWithoutCase(name, row.name)) continue;
    if (StoreValue(row, value, response)) response->set |= 1u << row.index;
    // Looked for here and not at the empty lines, which a server can send by the million.
    if (row.index == HTTPcResponse_ContentType)
      iHTTPc_CopyText(FindBoundary(response->contentType), state->namedBoundary);
    response->isMultipart |= state->namedBoundary[0] != 0;
    return;
  }
}

// Kept: a part without a type of its own leaves the multipart type standing, and its body is read as headers;
// callers rely on a body that begins only behind a type without a boundary.
void TakeEmptyLine(HTTPcHeaderState* state) {
  if (state->namedBoundary[0] == 0) {
    state->complete = true;
  } else {
    iHTTPc_CopyText(state->namedBoundary, state->boundary);
  }
}

bool HoldsBoundary(const HTTPcHeaderState& state, string_view line) {
  return state.boundary[0] != 0 && line.find(string_view(state.boundary)) != string_view::npos;
}

}  // namespace

void iHTTPc_CopyText(string_view text, char (&slot)[kHTTPcTextSize]) {
  const size_t length = std::min(text.size(), kHTTPcTextSize - 1);
  memcpy(slot, text.data(), length);
  slot[length] = 0;
}

ErrorCode iHTTPc_ParseStatusLine(string_view line, HTTPcResponseRecord* response, Reply* reply) {
  if (line.find('\0') != string_view::npos) return Error_Invalid;
  string_view rest = Strip(line);
  const string_view version = TakeToken(kScanWhiteSpace, &rest);
  int32_t code = 0;
  if (!TakeCode(&rest, &code)) return Error_Invalid;
  // Kept: a status line without a reason is invalid; callers take its first word as the reply's text.
  const string_view reason = TakeToken(kScanWhiteSpace, &rest);
  const size_t versionStart = version.find(kVersionStart);
  if (reason.empty() || versionStart == string_view::npos) return Error_Invalid;

  const size_t versionLength =
      iTextView_Part(version, versionStart).copy(response->version, sizeof response->version - 1);
  response->version[versionLength] = 0;
  response->set |= kStatusLineBit;
  response->code = code;
  reply->replyClass = code / 100 + '0';
  reply->code = code;
  reply->text[reason.copy(reply->text, sizeof reply->text - 1)] = 0;
  return Error_None;
}

ErrorCode iHTTPc_TakeHeaderLine(string_view line, HTTPcHeaderState* state, HTTPcResponseRecord* response) {
  const string_view text = Strip(line);
  if (text.empty()) {
    TakeEmptyLine(state);
    return Error_None;
  }
  if (HoldsBoundary(*state, text)) return Error_None;
  const size_t colon = text.find(':');
  // Kept: a line without ":" ends the request; callers go to another server then.
  if (colon == string_view::npos) return Error_Invalid;
  TakeHeader(text.substr(0, colon), Strip(iTextView_Part(text, colon + 1)), state, response);
  return Error_None;
}

bool iHTTPc_LeavesConnectionOpen(const HTTPcResponseRecord& response) {
  const bool hasFile = response.code == kHTTPReply_OK || response.code == kHTTPReply_PartialContent;
  const bool hasEnd = response.lengthCount == 1 && response.isLengthPlain && !response.isCoded &&
                      !response.isMultipart && response.contentLength != kHTTPcUnknown;
  return hasFile && hasEnd && response.staysOpen && !response.closes;
}
