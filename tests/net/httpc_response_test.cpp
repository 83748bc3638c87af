// Status lines and headers: from lines to values, without a network.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>

#include "net/httpc_testing.h"
#include "qz/error.h"
#include "tests/support/test_stream.h"

namespace {

using std::string;
using std::string_view;

constexpr uint32_t kBitServer = 2;
constexpr uint32_t kBitConnection = 4;
constexpr uint32_t kBitDate = 8;
constexpr uint32_t kBitContentType = 16;
constexpr uint32_t kBitAcceptRanges = 32;
constexpr uint32_t kBitLastModified = 64;
constexpr uint32_t kBitContentLength = 128;
constexpr uint32_t kBitContentRange = 256;
constexpr uint32_t kBitLocation = 512;

// ---- status line ----------------------------------------------------------------------------------

struct StatusResult {
  ErrorCode status;
  HTTPcResponseRecord response = {};
  Reply reply = {};
};

StatusResult ParseStatus(string_view line) {
  StatusResult result;
  result.status = iHTTPc_ParseStatusLine(line, &result.response, &result.reply);
  return result;
}

struct StatusRow {
  const char* line;
  const char* version;
  int32_t replyClass;
  int32_t code;
  const char* text;
};

constexpr StatusRow kStatusLines[] = {
    {"HTTP/1.1 206 Partial Content\r\n", "HTTP/1.1", '2', 206, "Partial"},
    {"HTTP/1.0 200 OK\r\n", "HTTP/1.0", '2', 200, "OK"},
    {"HTTP/1.0 200 OK\n", "HTTP/1.0", '2', 200, "OK"},
    {"HTTP/1.0 200 OK", "HTTP/1.0", '2', 200, "OK"},
    {" \tHTTP/1.0\t404   Not Found \r\n", "HTTP/1.0", '4', 404, "Not"},
    {"HTTP/1.1 302 Found", "HTTP/1.1", '3', 302, "Found"},
    {"HTTP/1.1 503 Service", "HTTP/1.1", '5', 503, "Service"},
    {"HTTP/1.1 100 Continue", "HTTP/1.1", '1', 100, "Continue"},
    // The version need not begin the word, and is cut to eight characters.
    {"xxHTTP/1.0 200 OK", "HTTP/1.0", '2', 200, "OK"},
    {"HTTP/1.12345 200 OK", "HTTP/1.1", '2', 200, "OK"},
    {"HTTP/ 200 OK", "HTTP/", '2', 200, "OK"},
    // The code is a number like any other.
    {"HTTP/1.0 7 x", "HTTP/1.0", '0', 7, "x"},
    {"HTTP/1.0 +200 OK", "HTTP/1.0", '2', 200, "OK"},
    {"HTTP/1.0 -1 x", "HTTP/1.0", '0', -1, "x"},
    {"HTTP/1.0 200OK", "HTTP/1.0", '2', 200, "OK"},
    {"HTTP/1.0 1000 x", "HTTP/1.0", 58, 1000, "x"},
    {"HTTP/1.0 99999999999 x", "HTTP/1.0", 21474884, 2147483647, "x"},
    {"HTTP/1.0 -99999999999 x", "HTTP/1.0", -21474788, -2147483647 - 1, "x"},
    {"HTTP/1.0 200 %n%s", "HTTP/1.0", '2', 200, "%n%s"},
};

TEST(HTTPcStatusLine, GivesVersionClassCodeAndTheFirstReasonWord) {
  for (const StatusRow& row : kStatusLines) {
    const StatusResult result = ParseStatus(row.line);
    EXPECT_EQ(result.status, Error_None) << row.line;
    EXPECT_EQ(result.response.set, 1u) << row.line;
    EXPECT_STREQ(result.response.version, row.version) << row.line;
    EXPECT_EQ(result.reply.replyClass, row.replyClass) << row.line;
    EXPECT_EQ(result.reply.code, row.code) << row.line;
    EXPECT_STREQ(result.reply.text, row.text) << row.line;
  }
}

TEST(HTTPcStatusLine, RefusesWhatIsNotThreeWords) {
  const char* lines[] = {
      "",
      "\r\n",
      " \t \r\n",
      "HTTP/1.0",
      "HTTP/1.0 200",
      "HTTP/1.0 200 \r\n",
      "HTTP/1.0 OK 200",
      "200 OK",
      "HTTP/1.0 - OK",
      "HTTP/1.0+",
      "FTP/1.0 200 OK",
      "http/1.0 200 OK",
      "<html><body>hello</body>",
  };
  for (const char* line : lines) {
    const StatusResult result = ParseStatus(line);
    EXPECT_EQ(result.status, Error_Invalid) << line;
    EXPECT_EQ(result.response.set, 0u) << line;
    EXPECT_EQ(result.reply.code, 0) << line;
    EXPECT_STREQ(result.reply.text, "") << line;
  }
}

TEST(HTTPcStatusLine, RefusesAZeroByte) {
  EXPECT_EQ(ParseStatus(string_view("HTTP/1.0 200 O\0K", 16)).status, Error_Invalid);
  EXPECT_EQ(ParseStatus(string_view("HTTP/1.0\0 200 OK", 16)).status, Error_Invalid);
}

TEST(HTTPcStatusLine, KeepsAReasonWordAsLongAsTheLine) {
  const string word(1011, 'r');
  const StatusResult result = ParseStatus("HTTP/1.0 200 " + word);
  EXPECT_EQ(result.status, Error_None);
  EXPECT_EQ(result.reply.text, word);
}

// ---- single header lines --------------------------------------------------------------------------

struct HeaderResult {
  ErrorCode status = 0;
  HTTPcHeaderState state = {};
  HTTPcResponseRecord response = {};
};

HeaderResult TakeLines(std::initializer_list<string_view> lines) {
  HeaderResult result;
  for (string_view line : lines) {
    result.status = iHTTPc_TakeHeaderLine(line, &result.state, &result.response);
    if (result.status != Error_None) break;
  }
  return result;
}

TEST(HTTPcHeaders, KeepsEveryText) {
  const HeaderResult result =
      TakeLines({"Server: nginx/1.22.1\r\n", "Connection: close\r\n", "Content-Type: text/html\r\n",
                 "Accept-Ranges: bytes\r\n", "Location: http://127.0.0.1/b?c=d\r\n"});
  EXPECT_EQ(result.status, Error_None);
  EXPECT_EQ(result.response.set,
            kBitServer | kBitConnection | kBitContentType | kBitAcceptRanges | kBitLocation);
  EXPECT_STREQ(result.response.server, "nginx/1.22.1");
  EXPECT_STREQ(result.response.connection, "close");
  EXPECT_STREQ(result.response.contentType, "text/html");
  EXPECT_STREQ(result.response.acceptRanges, "bytes");
  EXPECT_STREQ(result.response.location, "http://127.0.0.1/b?c=d");
  EXPECT_FALSE(result.state.complete);
}

TEST(HTTPcHeaders, MatchesNamesWithoutRegardToCase) {
  for (const char* line : {"server: x", "SERVER: x", "sErVeR:x", "Server:\t x \t"}) {
    const HeaderResult result = TakeLines({line});
    EXPECT_EQ(result.response.set, kBitServer) << line;
    EXPECT_STREQ(result.response.server, "x") << line;
  }
}

TEST(HTTPcHeaders, PassesOverUnknownNamesAndEmptyValues) {
  for (const char* line : {"X-Server: x", "Serve: x", "Servers: x", "Server : x", ": x",
                           "Server:", "Server: \t \r\n", "Content-Length:", "Set-Cookie: a=b", "Age:1"}) {
    const HeaderResult result = TakeLines({line});
    EXPECT_EQ(result.status, Error_None) << line;
    EXPECT_EQ(result.response.set, 0u) << line;
  }
}

TEST(HTTPcHeaders, TakesALineWithSpacesBeforeItLikeAnyOther) {
  const HeaderResult result = TakeLines({" \tServer: x\r\n"});
  EXPECT_STREQ(result.response.server, "x");
}

TEST(HTTPcHeaders, RefusesALineWithoutAColon) {
  EXPECT_EQ(TakeLines({"Server x"}).status, Error_Invalid);
  EXPECT_EQ(TakeLines({"Server: x\r\n", " continued\r\n"}).status, Error_Invalid);
}

TEST(HTTPcHeaders, SplitsAtTheFirstColon) {
  EXPECT_STREQ(TakeLines({"Location: ftp://a:21/b:c"}).response.location, "ftp://a:21/b:c");
}

TEST(HTTPcHeaders, LetsTheLastOfSeveralHold) {
  EXPECT_STREQ(TakeLines({"Server: a", "Server: b"}).response.server, "b");
  EXPECT_EQ(TakeLines({"Content-length: 5", "Content-length: 6"}).response.contentLength, 6u);
}

TEST(HTTPcHeaders, CutsATextAt255Bytes) {
  const string longText(1000, 'x');
  const HeaderResult result = TakeLines({"Location: " + longText, "Server: " + string(255, 'y')});
  EXPECT_EQ(result.response.location, string(255, 'x'));
  EXPECT_EQ(result.response.server, string(255, 'y'));
}

TEST(HTTPcHeaders, DoesNotSplitAtAZeroByte) {
  // The name is another one, the value no text; neither ends the line or hides the next.
  const HeaderResult result = TakeLines({string_view("Server: a\0Location: b\r\n", 23),
                                         string_view("Location\0: b\r\n", 14), "Content-length: 7\r\n"});
  EXPECT_EQ(result.status, Error_None);
  EXPECT_EQ(result.response.set, kBitContentLength);
  EXPECT_EQ(TakeLines({string_view("\0\r\n", 3)}).status, Error_Invalid);
}

struct LengthRow {
  const char* value;
  bool isKnown;
  uint64_t length;
};

constexpr LengthRow kLengths[] = {
    {"0", true, 0},
    {"1234", true, 1234},
    {"+5", true, 5},
    {"007", true, 7},
    {"12x", true, 12},
    {"12 34", true, 12},
    {"4294967294", true, 4294967294u},
    {"4294967295", true, 4294967295u},
    {"4294967296", true, 4294967296u},
    {"9223372036854775808", true, 9223372036854775808u},
    {"18446744073709551614", true, 18446744073709551614u},
    {"18446744073709551616", true, 18446744073709551615u},
    {"99999999999999999999999999999999999999", true, 18446744073709551615u},
    {"-1", false, 0},
    {"-0", false, 0},
    {"+-1", false, 0},
    {"x12", false, 0},
    {"+", false, 0},
    {"*", false, 0},
};

TEST(HTTPcHeaders, ReadsALengthAndNeverWraps) {
  for (const LengthRow& row : kLengths) {
    const HeaderResult result = TakeLines({"Content-Length: " + string(row.value)});
    EXPECT_EQ(result.status, Error_None) << row.value;
    EXPECT_EQ(result.response.set, row.isKnown ? kBitContentLength : 0u) << row.value;
    EXPECT_EQ(result.response.contentLength, row.length) << row.value;
  }
}

struct RangeRow {
  const char* value;
  bool isKnown;
  uint64_t first;
  uint64_t last;
};

constexpr RangeRow kRanges[] = {
    {"bytes 1000-1999/5000", true, 1000, 1999},
    {"bytes 0-0/1", true, 0, 0},
    {"bytes 1000-1999/*", true, 1000, 1999},
    {"bytes 1000-1999", true, 1000, 1999},
    {"1000-1999/5000", true, 1000, 1999},
    {"bytes  10-19/50", true, 10, 19},
    {"bytes 10- 19/50", true, 10, 19},
    {"bytes 10-19/junk", true, 10, 19},
    {"bytes 4294967296-18446744073709551616/*", true, 4294967296u, 18446744073709551615u},
    {"bytes */5000", false, 0, 0},
    {"bytes 10", false, 0, 0},
    {"bytes 10-", false, 0, 0},
    {"bytes 10-*/50", false, 0, 0},
    {"bytes -10-19/50", false, 0, 0},
    {"bytes 10--19/50", false, 0, 0},
    {"bytes 10 -19/50", false, 0, 0},
    {"bytes=10-19/50", false, 0, 0},
    {"bytes junk 10-19/50", false, 0, 0},
};

TEST(HTTPcHeaders, ReadsARangeAfterTheFirstSpace) {
  for (const RangeRow& row : kRanges) {
    const HeaderResult result = TakeLines({"Content-Range: " + string(row.value)});
    EXPECT_EQ(result.status, Error_None) << row.value;
    EXPECT_EQ(result.response.set, row.isKnown ? kBitContentRange : 0u) << row.value;
    EXPECT_EQ(result.response.rangeFirst, row.first) << row.value;
    EXPECT_EQ(result.response.rangeLast, row.last) << row.value;
  }
}

TEST(HTTPcHeaders, KeepsARangeThatCame_WhenALaterOneDoesNotParse) {
  const HeaderResult result = TakeLines({"Content-Range: bytes 5-9/10", "Content-Range: bytes 7-x"});
  EXPECT_EQ(result.response.set, kBitContentRange);
  EXPECT_EQ(result.response.rangeFirst, 5u);
  EXPECT_EQ(result.response.rangeLast, 9u);
}

TEST(HTTPcHeaders, ConvertsDates) {
  const HeaderResult result = TakeLines(
      {"Date: Sun, 06 Nov 1994 08:49:37 GMT\r\n", "Last-Modified: Thu, 01 Jan 1998 00:00:01 GMT\r\n"});
  EXPECT_EQ(result.response.set, kBitDate | kBitLastModified);
  EXPECT_EQ(result.response.dateTime.seconds, 784111777u);
  EXPECT_EQ(result.response.dateTime.milliseconds, 0u);
  EXPECT_STREQ(result.response.date, "Sun, 06 Nov 1994 08:49:37 GMT");
  EXPECT_EQ(result.response.lastModifiedTime.seconds, 883612801u);
  EXPECT_STREQ(result.response.lastModified, "Thu, 01 Jan 1998 00:00:01 GMT");
}

TEST(HTTPcHeaders, LeavesADateOut_WhenItDoesNotConvert) {
  const HeaderResult result = TakeLines({"Date: yesterday", "Last-Modified: 0"});
  EXPECT_EQ(result.status, Error_None);
  EXPECT_EQ(result.response.set, 0u);
  EXPECT_EQ(result.response.dateTime.seconds, 0u);
}

// ---- the end of the headers -----------------------------------------------------------------------

TEST(HTTPcHeaders, EndAtAnEmptyLine) {
  for (const char* line : {"\r\n", "\n", "", " \t\r\n"}) {
    EXPECT_TRUE(TakeLines({"Content-type: text/html\r\n", line}).state.complete) << line;
    EXPECT_TRUE(TakeLines({line}).state.complete) << line;
  }
}

TEST(HTTPcMultipart, ContinuesWithTheHeadersOfTheFirstPart) {
  HeaderResult result = TakeLines({"Content-Type: multipart/byteranges; boundary=XYZ\r\n", "\r\n"});
  EXPECT_FALSE(result.state.complete);
  EXPECT_STREQ(result.state.boundary, "XYZ");

  result = TakeLines({"Content-Type: multipart/byteranges; boundary=XYZ\r\n", "\r\n", "\r\n", "--XYZ\r\n",
                      "Content-Type: text/plain\r\n", "Content-Range: bytes 3-5/10\r\n", "\r\n"});
  EXPECT_EQ(result.status, Error_None);
  EXPECT_TRUE(result.state.complete);
  EXPECT_STREQ(result.response.contentType, "text/plain");
  EXPECT_EQ(result.response.rangeFirst, 3u);
  EXPECT_EQ(result.response.rangeLast, 5u);
}

TEST(HTTPcMultipart, TakesThePartsOfAPart) {
  HeaderResult result = TakeLines(
      {"Content-Type: m; boundary=AAA", "", "--AAA", "Content-Type: n; boundary=BBB", "Server: not yet BBB"});
  // The boundary counts from the empty line on.
  EXPECT_STREQ(result.response.server, "not yet BBB");
  EXPECT_STREQ(result.state.boundary, "AAA");

  result = TakeLines({"Content-Type: m; boundary=AAA", "", "--AAA", "Content-Type: n; boundary=BBB", "",
                      "--BBB", "Server: AAA", "Content-Type: text/plain"});
  EXPECT_EQ(result.status, Error_None);
  EXPECT_FALSE(result.state.complete);
  EXPECT_STREQ(result.state.boundary, "BBB");
  EXPECT_STREQ(result.response.server, "AAA");
  EXPECT_TRUE(TakeLines({"Content-Type: m; boundary=AAA", "", "Content-Type: n; boundary=BBB", "",
                         "Content-Type: text/plain", ""})
                  .state.complete);
}

TEST(HTTPcMultipart, IsNone_WhenALaterTypeNamesNoBoundary) {
  const HeaderResult result = TakeLines({"Content-Type: m; boundary=AAA", "Content-Type: text/plain", ""});
  EXPECT_TRUE(result.state.complete);
}

TEST(HTTPcMultipart, FindsTheBoundaryAmongTheTokens) {
  const struct {
    const char* type;
    const char* boundary;
  } rows[] = {
      {"multipart/mixed; BOUNDARY=\"a b\"", "a"},
      {"multipart/mixed;boundary=\"==XYZ==\"", "XYZ"},
      {"multipart/mixed; charset=x; boundary = abc ; more=y", "abc"},
      {"multipart/mixed boundary abc", "abc"},
      {"boundary=boundary", "boundary"},
      {"text/plain; boundary=q", "q"},
      {"multipart/mixed; boundary=a,b", "a,b"},
  };
  for (const auto& row : rows) {
    const HeaderResult result = TakeLines({"Content-Type: " + string(row.type), ""});
    EXPECT_FALSE(result.state.complete) << row.type;
    EXPECT_STREQ(result.state.boundary, row.boundary) << row.type;
  }
}

TEST(HTTPcMultipart, IsNone_WhenNoBoundaryIsNamed) {
  for (const char* type : {"multipart/byteranges", "multipart/byteranges; boundary",
                           "multipart/byteranges; boundary=", "multipart/byteranges; boundary=\"\"",
                           "x; xboundary=a", "x; boundaryx=a", "x; a=b,boundary=c"}) {
    const HeaderResult result = TakeLines({"Content-Type: " + string(type), ""});
    EXPECT_TRUE(result.state.complete) << type;
    EXPECT_STREQ(result.state.boundary, "") << type;
  }
}

TEST(HTTPcMultipart, SkipsEveryLineThatHoldsTheBoundary) {
  const HeaderResult result = TakeLines({"Content-Type: m; boundary=XYZ", "", "--XYZ", "no colon XYZ here",
                                         "Server: XYZ", "--xyz: another case is another text"});
  EXPECT_EQ(result.status, Error_None);
  EXPECT_EQ(result.response.set, kBitContentType);
}

TEST(HTTPcMultipart, ReadsOn_WhenThePartHasNoTypeOfItsOwn) {
  const HeaderResult result =
      TakeLines({"Content-Type: m; boundary=XYZ", "", "--XYZ", "Content-Range: bytes 0-1/2", ""});
  EXPECT_FALSE(result.state.complete);
}

// ---- whole responses ------------------------------------------------------------------------------

struct WholeResult {
  ErrorCode status;
  string rest;
  HTTPcResponseRecord response = {};
  Reply reply = {};
};

WholeResult ReadResponse(string_view bytes, ErrorCode endStatus = Error_Ended) {
  TestStream input(bytes, endStatus);
  WholeResult result;
  result.status = iHTTPc_ReadResponse(input.stream(), &result.response, &result.reply);
  result.rest = input.Rest();
  EXPECT_LE(input.LargestRead(), 1u) << "read past the line";
  return result;
}

TEST(HTTPcReadResponse, LeavesTheStreamAtTheFirstByteOfTheBody) {
  EXPECT_EQ(ReadResponse("HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\n\r\nab").rest, "\r\nab");
  EXPECT_EQ(ReadResponse("HTTP/1.0 200 OK\n\nbody").rest, "body");
  EXPECT_EQ(ReadResponse("HTTP/1.0 204 No\r\n\r\n").rest, "");
  EXPECT_EQ(
      ReadResponse("HTTP/1.1 206 Partial\r\nContent-Type: multipart/byteranges; boundary=B\r\n\r\n"
                   "--B\r\nContent-Type: text/plain\r\nContent-Range: bytes 1-2/9\r\n\r\nxy\r\n--B--\r\n")
          .rest,
      "xy\r\n--B--\r\n");
}

TEST(HTTPcReadResponse, GivesTheStatusOfTheStream_WhenItEndsEarly) {
  const string whole = "HTTP/1.0 200 OK\r\nServer: s\r\n\r\n";
  for (size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(ReadResponse(whole.substr(0, length), Error_Ended).status, Error_Ended) << length;
    EXPECT_EQ(ReadResponse(whole.substr(0, length), Error_Retry).status, Error_Retry) << length;
    EXPECT_EQ(ReadResponse(whole.substr(0, length), Error_Timeout).status, Error_Timeout) << length;
    EXPECT_EQ(ReadResponse(whole.substr(0, length), Error_None).status, Error_Ended) << length;
  }
  EXPECT_EQ(ReadResponse(whole).status, Error_None);
}

TEST(HTTPcReadResponse, TakesLinesOf1024BytesAndNoLonger) {
  const string start = "HTTP/1.0 200 OK\r\n";
  const string fits = "Server: " + string(1014, 'x') + "\r\n";
  ASSERT_EQ(fits.size(), 1024u);
  EXPECT_EQ(ReadResponse(start + fits + "\r\n").status, Error_None);
  EXPECT_EQ(ReadResponse(start + "x" + fits + "\r\n").status, Error_Exceed);
  EXPECT_EQ(ReadResponse("HTTP/1.0 200 " + string(1009, 'x') + "\r\n\r\n").status, Error_None);
  EXPECT_EQ(ReadResponse("HTTP/1.0 200 " + string(1010, 'x') + "\r\n\r\n").status, Error_Exceed);
  EXPECT_EQ(ReadResponse(string(5000, 'x')).status, Error_Exceed);
}

TEST(HTTPcReadResponse, TakesHeadersOfOneMebibyteAndNoMore) {
  const string start = "HTTP/1.0 200 OK\r\n";
  const string line = "X: " + string(1019, 'x') + "\r\n";
  ASSERT_EQ(line.size(), 1024u);
  string headers;
  for (int i = 0; i < 1023; ++i) headers += line;
  const string last = "X: " + string(1017, 'x') + "\r\n";
  ASSERT_EQ(headers.size() + last.size() + 2, 1048576u);
  EXPECT_EQ(ReadResponse(start + headers + last + "\r\nbody").status, Error_None);
  EXPECT_EQ(ReadResponse(start + headers + "x" + last + "\r\nbody").status, Error_Exceed);
}

TEST(HTTPcReadResponse, GivesUpOnAHeaderFlood) {
  string flood = "HTTP/1.0 200 OK\r\n";
  for (int i = 0; i < 200000; ++i) flood += "A: b\r\nServer: c\r\n";
  const WholeResult result = ReadResponse(flood);
  EXPECT_EQ(result.status, Error_Exceed);
  EXPECT_GT(result.rest.size(), 2000000u);
}

TEST(HTTPcReadResponse, GivesUpOnAnEndlessBoundary) {
  string flood = "HTTP/1.0 206 Partial\r\nContent-Type: m; boundary=B\r\n\r\n";
  for (int i = 0; i < 500000; ++i) flood += "--B\r\n";
  EXPECT_EQ(ReadResponse(flood).status, Error_Exceed);

  flood = "HTTP/1.0 206 Partial\r\nContent-Type: m; boundary=B\r\n\r\n";
  flood.append(2000000, '\n');
  EXPECT_EQ(ReadResponse(flood).status, Error_Exceed);
}

TEST(HTTPcReadResponse, IsNotHeldByLinesThatAreCheapToSend) {
  const string start = "HTTP/1.0 206 Partial\r\n";
  string manyTokens = start + "Content-Type: ";
  for (int i = 0; i < 118; ++i) manyTokens += "a;";
  manyTokens += "boundary=B\r\n\r\n" + string(2000000, '\n');

  string almostTheBoundary = start + "Content-Type: boundary=" + string(230, 'a') + "b\r\n\r\n";
  for (int i = 0; i < 2000; ++i) almostTheBoundary += ":" + string(1000, 'a') + "\n";

  string noDates = start;
  for (int i = 0; i < 2000; ++i) noDates += "Date: " + string(1000, '1') + "\n";

  for (const string& response : {manyTokens, almostTheBoundary, noDates}) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ReadResponse(response).status, Error_Exceed);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20)) << response.substr(0, 60);
  }
}

TEST(HTTPcReadResponse, StopsAtALineWithoutAColon) {
  const WholeResult result = ReadResponse("HTTP/1.0 200 OK\r\nServer: s\r\njunk\r\n\r\nbody");
  EXPECT_EQ(result.status, Error_Invalid);
  EXPECT_EQ(result.rest, "\r\nbody");
}

TEST(HTTPcReadResponse, RefusesABodyWithoutAStatusLine) {
  EXPECT_EQ(ReadResponse("<html>\r\n<body>\r\n\r\nHTTP/1.0 200 OK\r\n\r\n").status, Error_Invalid);
  EXPECT_EQ(ReadResponse("\r\nHTTP/1.0 200 OK\r\n\r\n").status, Error_Invalid);
}

// ---- texts of the codes ---------------------------------------------------------------------------

struct TextRow {
  int32_t code;
  const char* text;
};

constexpr TextRow kTexts[] = {
    {100, "kHTTPReply_Continue: Client may continue."},
    {101, "kHTTPReply_SwitchingProtocols: Server switching protocols."},
    {200, "kHTTPReply_OK: Request was fulfilled successfully."},
    {201, "kHTTPReply_CREATED: POST command completed successfully."},
    {202, "kHTTPReply_Accepted: Request accepted for processing."},
    {203, "kHTTPReply_Partial: Partial repsonse from GET command."},
    {204, "kHTTPReply_NoContent: Server has no information."},
    {205, "kHTTPReply_ResetContent: Client should reset content."},
    {206, "kHTTPReply_PartialContent: Partial content (byte ranges)."},
    {300, "kHTTPReply_MulitpleChoice: Pick a new location."},
    {301, "kHTTPReply_Moved: URI has changed."},
    {302, "kHTTPReply_MovedTemporarily: Data on different URI."},
    {303, "kHTTPReply_SeeOther: Data on different URI."},
    {304, "kHTTPReply_NotModified: Document not modified since given date."},
    {305, "kHTTPReply_UseProxy: Must access through proxy."},
    {400, "kHTTPReply_BadRequest: Bad syntax for request."},
    {401, "kHTTPReply_Unauthorized: Access denied, client not authorized."},
    {402, "kHTTPReply_PaymentRequired: Payment required for charging scheme."},
    {403, "kHTTPReply_Forbidden: Access denied, authorization not possible."},
    {404, "kHTTPReply_NotFound: Can't find URI."},
    {405, "kHTTPReply_MethodNotAllowed: Illegal method."},
    {406, "kHTTPReply_NotAcceptable: Request not acceptable."},
    {407, "kHTTPReply_ProxyAthentication: Client must authenticate with proxy."},
    {408, "kHTTPReply_RequestTimeout: Client time out."},
    {409, "kHTTPReply_RequestConflict: Resource conflict."},
    {410, "kHTTPReply_Gone: Resource Gone."},
    {411, "kHTTPReply_LengthRequired: Content-Length must be specified."},
    {412, "kHTTPReply_PreconditionFailed: Request header precondition failed."},
    {413, "kHTTPReply_EntityTooLarge: Server not willing to handle size."},
    {414, "kHTTPReply_RequestURIToolLarge: Server can't handle URI size."},
    {415, "kHTTPReply_UnsupportedMediaType: Server doesn't support media type."},
    {500, "kHTTPReply_InternalError: Unexpected error."},
    {501, "kHTTPReply_NotImplemented: Unsupported facility."},
    {502, "kHTTPReply_BadGateway: Server overloaded."},
    {503, "kHTTPReply_ServiceUnavailable: Server not available."},
    {504, "kHTTPReply_GatewayTimeout: Unexpected error."},
};

TEST(HTTPcReplyText, IsAsProgramsKnowIt) {
  for (const TextRow& row : kTexts) EXPECT_STREQ(iHTTPc_ReplyText(row.code), row.text) << row.code;
}

TEST(HTTPcReplyText, IsNullForAnyOtherCode) {
  for (int32_t code : {0, -1, 99, 102, 207, 299, 306, 307, 416, 505, 1000}) {
    EXPECT_EQ(iHTTPc_ReplyText(code), nullptr) << code;
  }
}

}  // namespace
