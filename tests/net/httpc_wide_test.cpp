// Lengths and ranges of 4 GiB and more: without a network.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>

#include "net/httpc_testing.h"
#include "os/core/owned.h"
#include "qz/error.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/test_stream.h"

namespace {

using std::string;

using Connection = Owned<HTTPc, HTTPc_Close>;

constexpr uint64_t kUnknown = 0xFFFFFFFFFFFFFFFFu;

// A connection over bytes that the test typed in; the stream stays the test's.
struct Wire {
  explicit Wire(const string& response) : bytes(response) {
    connection.reset(iHTTPc_New());
    connection->stream = bytes.stream();
  }
  ErrorCode Get() { return HTTPc_Get(connection.get(), "http://h/f", &reply, &stream); }

  TestStream bytes;
  Connection connection;
  Reply reply = {};
  Stream* stream = nullptr;
};

// What a GET over this connection sends behind the line for the host.
string SentBehindHost(HTTPc* connection, TestStream* bytes) {
  Reply reply;
  Stream* stream = nullptr;
  connection->stream = bytes->stream();
  EXPECT_EQ(HTTPc_Get(connection, "http://h/f", &reply, &stream), Error_None);
  const string head = "GET /f HTTP/1.0\r\nHost: h\r\n";
  EXPECT_EQ(bytes->written().substr(0, head.size()), head);
  return bytes->written().substr(head.size());
}

// ---- what is sent ---------------------------------------------------------------------------------

TEST(HTTPcSetRange64, WritesEveryRange) {
  const struct {
    uint64_t first;
    uint64_t last;
    const char* line;
  } rows[] = {
      {0, 0, "Range: bytes=0-0\r\n"},
      {1000, kUnknown, "Range: bytes=1000-\r\n"},
      {4294967294u, 4294967295u, "Range: bytes=4294967294-4294967295\r\n"},
      {4294967295u, kUnknown, "Range: bytes=4294967295-\r\n"},
      {4294967296u, 4294967305u, "Range: bytes=4294967296-4294967305\r\n"},
      {9223372036854775808u, kUnknown, "Range: bytes=9223372036854775808-\r\n"},
      {18446744073709551615u, 18446744073709551614u,
       "Range: bytes=18446744073709551615-18446744073709551614\r\n"},
  };
  for (const auto& row : rows) {
    TestStream bytes("HTTP/1.0 200 OK\r\n\r\n");
    const Connection connection(iHTTPc_New());
    EXPECT_EQ(HTTPc_SetRange64(connection.get(), row.first, row.last), Error_None);
    EXPECT_EQ(SentBehindHost(connection.get(), &bytes), string(row.line) + "\r\n");
    connection->stream = nullptr;
  }
}

// The last one that was set holds, whichever call set it.
TEST(HTTPcSetRange64, SetsTheSameHeaderAsSetAttribute) {
  const uint32_t narrow[] = {5, 0xFFFFFFFFu};
  const Connection connection(iHTTPc_New());
  TestStream first("HTTP/1.0 200 OK\r\n\r\n");
  EXPECT_EQ(HTTPc_SetRange64(connection.get(), 4294967296u, 4294967297u), Error_None);
  EXPECT_EQ(HTTPc_SetAttribute(connection.get(), HTTPcRequest_Range, sizeof narrow, narrow), Error_None);
  EXPECT_EQ(SentBehindHost(connection.get(), &first), "Range: bytes=5-\r\n\r\n");
  TestStream second("HTTP/1.0 200 OK\r\n\r\n");
  EXPECT_EQ(HTTPc_SetRange64(connection.get(), 4294967296u, 4294967297u), Error_None);
  EXPECT_EQ(SentBehindHost(connection.get(), &second), "Range: bytes=4294967296-4294967297\r\n\r\n");
  connection->stream = nullptr;
}

TEST(HTTPcSetContentLength64, WritesEveryLength) {
  const struct {
    uint64_t length;
    const char* line;
  } rows[] = {
      {0, "Content-length: 0\r\n"},
      {4294967295u, "Content-length: 4294967295\r\n"},
      {4294967296u, "Content-length: 4294967296\r\n"},
      {18446744073709551615u, "Content-length: 18446744073709551615\r\n"},
  };
  for (const auto& row : rows) {
    TestStream bytes("HTTP/1.0 200 OK\r\n\r\n");
    const Connection connection(iHTTPc_New());
    EXPECT_EQ(HTTPc_SetContentLength64(connection.get(), row.length), Error_None);
    EXPECT_EQ(SentBehindHost(connection.get(), &bytes), string(row.line) + "\r\n");
    connection->stream = nullptr;
  }
}

TEST(HTTPcWide, RefusesNull) {
  uint64_t first = 7, last = 7, total = 7;
  EXPECT_EQ(HTTPc_SetRange64(nullptr, 1, 2), Error_Invalid);
  EXPECT_EQ(HTTPc_SetContentLength64(nullptr, 1), Error_Invalid);
  EXPECT_EQ(HTTPc_GetContentLength64(nullptr, &first), Error_Invalid);
  EXPECT_EQ(first, kUnknown);
  first = 7;
  EXPECT_EQ(HTTPc_GetContentRange64(nullptr, &first, &last, &total), Error_Invalid);
  EXPECT_EQ(first, kUnknown);
  EXPECT_EQ(last, kUnknown);
  EXPECT_EQ(total, kUnknown);
  Wire wire("HTTP/1.0 200 OK\r\nContent-Length: 5\r\nContent-Range: bytes 0-4/5\r\n\r\n");
  EXPECT_EQ(wire.Get(), Error_None);
  HTTPc* connection = wire.connection.get();
  EXPECT_EQ(HTTPc_GetContentLength64(connection, nullptr), Error_Invalid);
  EXPECT_EQ(HTTPc_GetContentRange64(connection, nullptr, &last, &total), Error_Invalid);
  EXPECT_EQ(HTTPc_GetContentRange64(connection, &first, nullptr, &total), Error_Invalid);
  EXPECT_EQ(HTTPc_GetContentRange64(connection, &first, &last, nullptr), Error_Invalid);
  wire.connection->stream = nullptr;
}

// ---- what is received -----------------------------------------------------------------------------

TEST(HTTPcGetContentLength64, GivesTheLengthThatTheOtherCallCannotHold) {
  const struct {
    const char* value;
    uint64_t wide;
    uint32_t narrow;
  } rows[] = {
      {"0", 0, 0},
      {"4294967294", 4294967294u, 4294967294u},
      {"4294967295", 4294967295u, 4294967295u},
      {"4294967296", 4294967296u, 4294967295u},
      {"5368709120", 5368709120u, 4294967295u},
      {"9223372036854775808", 9223372036854775808u, 4294967295u},
      {"18446744073709551614", 18446744073709551614u, 4294967295u},
      {"18446744073709551615", 18446744073709551615u, 4294967295u},
      {"18446744073709551616", 18446744073709551615u, 4294967295u},
      {"1000000000000000000000000", 18446744073709551615u, 4294967295u},
  };
  for (const auto& row : rows) {
    Wire wire("HTTP/1.0 200 OK\r\nContent-Length: " + string(row.value) + "\r\n\r\n");
    EXPECT_EQ(wire.Get(), Error_None);
    uint64_t wide = 7;
    EXPECT_EQ(HTTPc_GetContentLength64(wire.connection.get(), &wide), Error_None) << row.value;
    EXPECT_EQ(wide, row.wide) << row.value;
    uint32_t narrow = 7, length = 0;
    EXPECT_EQ(HTTPc_GetAttribute(wire.connection.get(), HTTPcResponse_ContentLength, sizeof narrow, &length,
                                 &narrow),
              Error_None);
    EXPECT_EQ(narrow, row.narrow) << row.value;
    EXPECT_EQ(length, 4u);
    wire.connection->stream = nullptr;
  }
}

TEST(HTTPcGetContentLength64, GivesNotFound_WhenNoneCame) {
  for (const char* line :
       {"", "Content-Length: -1\r\n", "Content-Length: x\r\n", "Content-Range: bytes 0-1/2\r\n"}) {
    Wire wire("HTTP/1.0 200 OK\r\n" + string(line) + "\r\n");
    EXPECT_EQ(wire.Get(), Error_None);
    uint64_t length = 7;
    EXPECT_EQ(HTTPc_GetContentLength64(wire.connection.get(), &length), Error_NotFound) << line;
    EXPECT_EQ(length, kUnknown) << line;
    wire.connection->stream = nullptr;
  }
}

struct Range {
  uint64_t first = 7;
  uint64_t last = 7;
  uint64_t total = 7;
};

ErrorCode GetRange(const string& headers, Range* range) {
  Wire wire("HTTP/1.0 206 Partial\r\n" + headers + "\r\n");
  EXPECT_EQ(wire.Get(), Error_None);
  HTTPc* connection = wire.connection.get();
  const ErrorCode status = HTTPc_GetContentRange64(connection, &range->first, &range->last, &range->total);
  // The call with 32 bits gives no total, and no range that has none.
  uint32_t narrow[2] = {7, 7}, length = 9;
  const ErrorCode narrowStatus =
      HTTPc_GetAttribute(connection, HTTPcResponse_ContentRange, sizeof narrow, &length, narrow);
  const bool hasRange = status == Error_None && range->first != kUnknown;
  EXPECT_EQ(narrowStatus, hasRange ? Error_None : Error_NotFound) << headers;
  EXPECT_EQ(length, hasRange ? 8u : 0u) << headers;
  EXPECT_EQ(narrow[0], !hasRange ? 7u : range->first > 4294967295u ? 4294967295u : range->first) << headers;
  EXPECT_EQ(narrow[1], !hasRange ? 7u : range->last > 4294967295u ? 4294967295u : range->last) << headers;
  wire.connection->stream = nullptr;
  return status;
}

TEST(HTTPcGetContentRange64, GivesTheRangeAndItsTotal) {
  const struct {
    const char* value;
    uint64_t first, last, total;
  } rows[] = {
      {"bytes 1000-1999/5000", 1000, 1999, 5000},
      {"bytes 0-0/1", 0, 0, 1},
      {"bytes 4294967294-4294967295/4294967296", 4294967294u, 4294967295u, 4294967296u},
      {"bytes 4294967297-5368709119/5368709120", 4294967297u, 5368709119u, 5368709120u},
      {"bytes 9223372036854775807-9223372036854775808/18446744073709551614", 9223372036854775807u,
       9223372036854775808u, 18446744073709551614u},
      {"1000-1999/5000", 1000, 1999, 5000},
      {"bytes  10-19/ 50", 10, 19, 50},
      // The total is not told, or does not fit.
      {"bytes 1000-1999/*", 1000, 1999, kUnknown},
      {"bytes 1000-1999", 1000, 1999, kUnknown},
      {"bytes 1000-1999/", 1000, 1999, kUnknown},
      {"bytes 1000-1999/junk", 1000, 1999, kUnknown},
      {"bytes 1000-1999/-5", 1000, 1999, kUnknown},
      {"bytes 1000-1999 5000", 1000, 1999, kUnknown},
      {"bytes 1000-1999/18446744073709551616", 1000, 1999, kUnknown},
      {"bytes 5-18446744073709551616/*", 5, kUnknown, kUnknown},
      // As the server sent them, however they fit together.
      {"bytes 1999-1000/10", 1999, 1000, 10},
  };
  for (const auto& row : rows) {
    Range range;
    EXPECT_EQ(GetRange("Content-Range: " + string(row.value) + "\r\n", &range), Error_None) << row.value;
    EXPECT_EQ(range.first, row.first) << row.value;
    EXPECT_EQ(range.last, row.last) << row.value;
    EXPECT_EQ(range.total, row.total) << row.value;
  }
}

TEST(HTTPcGetContentRange64, GivesTheTotalAlone_WhenNoByteOfTheRangeIsThere) {
  const struct {
    const char* value;
    uint64_t total;
  } rows[] = {
      {"bytes */5000", 5000}, {"bytes */0", 0},     {"bytes */5368709120", 5368709120u},
      {"*/12", 12},           {"bytes  */ 12", 12}, {"bytes */99999999999999999999999", kUnknown},
  };
  for (const auto& row : rows) {
    Range range;
    EXPECT_EQ(GetRange("Content-Range: " + string(row.value) + "\r\n", &range), Error_None) << row.value;
    EXPECT_EQ(range.first, kUnknown) << row.value;
    EXPECT_EQ(range.last, kUnknown) << row.value;
    EXPECT_EQ(range.total, row.total) << row.value;
  }
}

TEST(HTTPcGetContentRange64, GivesNotFound_WhenNoneCameThatParses) {
  for (const char* line :
       {"", "Content-Range: bytes */*\r\n", "Content-Range: bytes *\r\n", "Content-Range: bytes */-1\r\n",
        "Content-Range: bytes * /5\r\n", "Content-Range: bytes 10-*/50\r\n", "Content-Range: bytes 10\r\n",
        "Content-Range: bytes=*/50\r\n", "Content-Length: 5\r\n"}) {
    Range range;
    EXPECT_EQ(GetRange(line, &range), Error_NotFound) << line;
    EXPECT_EQ(range.first, kUnknown) << line;
    EXPECT_EQ(range.last, kUnknown) << line;
    EXPECT_EQ(range.total, kUnknown) << line;
  }
}

// A range with bytes goes before one without, whichever comes first.
TEST(HTTPcGetContentRange64, KeepsTheRange_WhenTheServerSendsBothKinds) {
  for (const char* headers : {"Content-Range: bytes 5-9/10\r\nContent-Range: bytes */20\r\n",
                              "Content-Range: bytes */20\r\nContent-Range: bytes 5-9/10\r\n"}) {
    Range range;
    EXPECT_EQ(GetRange(headers, &range), Error_None) << headers;
    EXPECT_EQ(range.first, 5u) << headers;
    EXPECT_EQ(range.last, 9u) << headers;
    EXPECT_EQ(range.total, 10u) << headers;
  }
  Range range;
  EXPECT_EQ(GetRange("Content-Range: bytes 5-9/10\r\nContent-Range: bytes 7-8/*\r\n", &range), Error_None);
  EXPECT_EQ(range.total, kUnknown);
}

TEST(HTTPcGetContentRange64, ForgetsTheResponseBefore) {
  Wire wire("HTTP/1.0 416 Range\r\nContent-Range: bytes */20\r\n\r\nHTTP/1.0 200 OK\r\n\r\n");
  Range range;
  EXPECT_EQ(wire.Get(), Error_None);
  EXPECT_EQ(HTTPc_GetContentRange64(wire.connection.get(), &range.first, &range.last, &range.total),
            Error_None);
  EXPECT_EQ(range.total, 20u);
  EXPECT_EQ(wire.Get(), Error_None);
  EXPECT_EQ(HTTPc_GetContentRange64(wire.connection.get(), &range.first, &range.last, &range.total),
            Error_NotFound);
  wire.connection->stream = nullptr;
}

// ---- bodies ---------------------------------------------------------------------------------------

ErrorCode Post(const string& body, uint64_t length, uint64_t* sent, string* written) {
  TestStream bytes("HTTP/1.0 200 OK\r\n\r\n");
  TestStream source(body);
  const Connection connection(iHTTPc_New());
  connection->stream = bytes.stream();
  Reply reply;
  Stream* stream = nullptr;
  const ErrorCode status =
      HTTPc_Post64(connection.get(), "/f", length, source.stream(), sent, &reply, &stream);
  const string head = "POST /f HTTP/1.0\r\n\r\n";
  EXPECT_EQ(bytes.written().substr(0, head.size()), head);
  *written = bytes.written().substr(head.size());
  connection->stream = nullptr;
  return status;
}

TEST(HTTPcPost64, SendsNoMoreThanTheLength_AndToTheEndWhenItIsAllOnes) {
  uint64_t sent = 7;
  string written;
  EXPECT_EQ(Post("hello", 4, &sent, &written), Error_None);
  EXPECT_EQ(sent, 4u);
  EXPECT_EQ(written, "hell");
  EXPECT_EQ(Post("hello", kUnknown, &sent, &written), Error_None);
  EXPECT_EQ(sent, 5u);
  EXPECT_EQ(written, "hello");
}

// Only 64 ones mean "to the end" here.
TEST(HTTPcPost64, GivesEnded_WhenTheBodyIsShorterThanItsLength) {
  for (const uint64_t length : {uint64_t{6}, uint64_t{4294967295u}, uint64_t{4294967301u}}) {
    uint64_t sent = 7;
    string written;
    EXPECT_EQ(Post("hello", length, &sent, &written), Error_Ended) << length;
    EXPECT_EQ(sent, 5u) << length;
    EXPECT_EQ(written, "hello") << length;
  }
}

TEST(HTTPcPost64, RefusesNull) {
  uint64_t sent = 7;
  Reply reply = {9, 9, "untouched"};
  auto* stream = reinterpret_cast<Stream*>(&sent);
  EXPECT_EQ(HTTPc_Post64(nullptr, "/f", 0, nullptr, &sent, &reply, &stream), Error_Invalid);
  EXPECT_EQ(sent, 0u);
  EXPECT_EQ(reply.code, 0);
  EXPECT_EQ(stream, nullptr);
}

}  // namespace
