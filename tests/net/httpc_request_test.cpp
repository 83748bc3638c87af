// The text of a request, and what can be set and asked: without a network.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "net/httpc_testing.h"
#include "os/core/owned.h"
#include "qz/error.h"
#include "tests/support/test_stream.h"

namespace {

using std::string;
using std::string_view;

using Connection = Owned<HTTPc, HTTPc_Close>;

// Connections over bytes that the test typed in; the stream stays the test's.
struct Fixture {
  explicit Fixture(string_view response = "HTTP/1.0 200 OK\r\n\r\n") : wire(response) {
    connection.reset(iHTTPc_New());
    connection->stream = wire.stream();
  }
  ErrorCode Set(int32_t index, string_view text) {
    return HTTPc_SetAttribute(connection.get(), index, static_cast<uint32_t>(text.size()), text.data());
  }
  ErrorCode SetRange(uint32_t first, uint32_t last) {
    const uint32_t range[] = {first, last};
    return HTTPc_SetAttribute(connection.get(), 6, 8, range);
  }
  ErrorCode Get(const string& url) { return HTTPc_Get(connection.get(), url.c_str(), &reply, &stream); }
  ErrorCode Post(const string& uri, uint32_t length, Stream* body) {
    return HTTPc_Post(connection.get(), uri.c_str(), length, body, &sent, &reply, &stream);
  }

  TestStream wire;
  Connection connection;
  Reply reply = {9, 9, "untouched"};
  Stream* stream = nullptr;
  uint32_t sent = 9;
};

// ---- escaping -------------------------------------------------------------------------------------

string Encode(string_view text) {
  char uri[kHTTPcUriSize];
  iHTTPc_EncodeUri(text, uri);
  return uri;
}

TEST(HTTPcUri, EscapesWhatWouldBreakTheRequestLine) {
  EXPECT_EQ(Encode("/a b"), "/a%20b");
  EXPECT_EQ(Encode("/a\r\nHost: b"), "/a%0D%0AHost:%20b");
  EXPECT_EQ(Encode("/\t\x01\x1f\x7f\x80\xff"), "/%09%01%1F%7F%80%FF");
  EXPECT_EQ(Encode(string_view("/a\0b", 4)), "/a%00b");
}

TEST(HTTPcUri, ChangesNoOtherByte) {
  string printable;
  for (char c = '!'; c <= '~'; ++c) printable += c;
  EXPECT_EQ(Encode(printable), printable);
  EXPECT_EQ(Encode("/aA?x=1&y=%41#z"), "/aA?x=1&y=%41#z");
}

TEST(HTTPcUri, IsASlash_WhenEmpty) {
  EXPECT_EQ(Encode(""), "/");
}

TEST(HTTPcUri, HoldsTheLongestTextFullyEscaped) {
  string expected;
  for (int i = 0; i < 1023; ++i) expected += "%FF";
  EXPECT_EQ(Encode(string(1023, '\xff')), expected);
  EXPECT_EQ(Encode(string(5000, '\xff')), expected);
}

// ---- the request text -----------------------------------------------------------------------------

string Format(const HTTPcRequestRecord& request, const char* method, const char* uri) {
  char buffer[kHTTPcRequestSize];
  const uint32_t length = iHTTPc_FormatRequest(request, method, uri, buffer);
  return string(buffer, length);
}

TEST(HTTPcRequest, IsARequestLineAndAnEmptyLine_WhenNothingIsSet) {
  EXPECT_EQ(Format({}, "GET", "/"), "GET / HTTP/1.0\r\n\r\n");
}

TEST(HTTPcRequest, WritesHeadersInTheOrderOfTheirIndex) {
  Fixture fixture;
  // Set backwards: the order of setting has no part in it.
  const uint32_t length = 4294967295u;
  EXPECT_EQ(fixture.SetRange(1000, 1999), Error_None);
  EXPECT_EQ(HTTPc_SetAttribute(fixture.connection.get(), 5, 4, &length), Error_None);
  EXPECT_EQ(fixture.Set(4, "*/*"), Error_None);
  EXPECT_EQ(fixture.Set(3, "h"), Error_None);
  EXPECT_EQ(fixture.Set(2, "agent %n%s"), Error_None);
  EXPECT_EQ(fixture.Set(1, "Keep-Alive"), Error_None);
  EXPECT_EQ(fixture.Set(0, "http://r/"), Error_None);
  EXPECT_EQ(Format(fixture.connection->request, "POST", "/p"),
            "POST /p HTTP/1.0\r\n"
            "Referer: http://r/\r\n"
            "Connection: Keep-Alive\r\n"
            "User-Agent: agent %n%s\r\n"
            "Host: h\r\n"
            "Accept: */*\r\n"
            "Content-length: 4294967295\r\n"
            "Range: bytes=1000-1999\r\n"
            "\r\n");
}

TEST(HTTPcRequest, WritesAnOpenRange_WhenTheLastByteIsAllOnes) {
  Fixture fixture;
  EXPECT_EQ(fixture.SetRange(1000, 0xFFFFFFFFu), Error_None);
  EXPECT_EQ(Format(fixture.connection->request, "GET", "/"), "GET / HTTP/1.0\r\nRange: bytes=1000-\r\n\r\n");
  EXPECT_EQ(fixture.SetRange(0, 0xFFFFFFFEu), Error_None);
  EXPECT_EQ(Format(fixture.connection->request, "GET", "/"),
            "GET / HTTP/1.0\r\nRange: bytes=0-4294967294\r\n\r\n");
  EXPECT_EQ(fixture.SetRange(0, 0xFFFFFFFFu), Error_None);
  EXPECT_EQ(Format(fixture.connection->request, "GET", "/"), "GET / HTTP/1.0\r\nRange: bytes=0-\r\n\r\n");
  EXPECT_EQ(fixture.SetRange(0xFFFFFFFFu, 0xFFFFFFFFu), Error_None);
  EXPECT_EQ(Format(fixture.connection->request, "GET", "/"),
            "GET / HTTP/1.0\r\nRange: bytes=4294967295-\r\n\r\n");
}

TEST(HTTPcRequest, HoldsEveryHeaderAtItsLongest) {
  Fixture fixture;
  const string text(255, 'x');
  for (int32_t index = 0; index < 5; ++index) EXPECT_EQ(fixture.Set(index, text), Error_None);
  const uint32_t length = 4294967295u;
  EXPECT_EQ(HTTPc_SetAttribute(fixture.connection.get(), 5, 4, &length), Error_None);
  EXPECT_EQ(fixture.SetRange(4294967295u, 4294967294u), Error_None);
  const string uri(3069, 'u');
  EXPECT_EQ(Format(fixture.connection->request, "POST", uri.c_str()),
            "POST " + uri + " HTTP/1.0\r\nReferer: " + text + "\r\nConnection: " + text +
                "\r\nUser-Agent: " + text + "\r\nHost: " + text + "\r\nAccept: " + text +
                "\r\nContent-length: 4294967295\r\nRange: bytes=4294967295-4294967294\r\n\r\n");
}

// ---- setting --------------------------------------------------------------------------------------

TEST(HTTPcSetAttribute, RefusesIndexesOutsideZeroToSix) {
  Fixture fixture;
  const uint32_t value[2] = {};
  // 7 would be "Range-If": it cannot be set, so it is never sent.
  for (int32_t index : {7, 8, -1, 31, 32, INT32_MAX, INT32_MIN}) {
    for (uint32_t length : {1u, 4u, 8u}) {
      EXPECT_EQ(HTTPc_SetAttribute(fixture.connection.get(), index, length, value), Error_Invalid) << index;
    }
  }
  EXPECT_EQ(Format(fixture.connection->request, "GET", "/"), "GET / HTTP/1.0\r\n\r\n");
}

TEST(HTTPcSetAttribute, TakesTextsOf255BytesAndNoLonger) {
  Fixture fixture;
  EXPECT_EQ(fixture.Set(2, string(255, 'a')), Error_None);
  EXPECT_EQ(fixture.Set(2, string(256, 'b')), Error_Exceed);
  EXPECT_EQ(fixture.Set(3, string(100000, 'b')), Error_Exceed);
  EXPECT_EQ(Format(fixture.connection->request, "GET", "/"),
            "GET / HTTP/1.0\r\nUser-Agent: " + string(255, 'a') + "\r\n\r\n");
}

TEST(HTTPcSetAttribute, RefusesALineEndInAText) {
  Fixture fixture;
  for (int32_t index = 0; index < 5; ++index) {
    for (const char* text : {"a\r\nX: y", "a\n", "\r", "\nX: y"})
      EXPECT_EQ(fixture.Set(index, text), Error_Invalid) << index;
  }
  EXPECT_EQ(fixture.Set(2, "first"), Error_None);
  EXPECT_EQ(fixture.Set(2, "second\n"), Error_Invalid);
  EXPECT_EQ(Format(fixture.connection->request, "GET", "/"), "GET / HTTP/1.0\r\nUser-Agent: first\r\n\r\n");
}

TEST(HTTPcSetAttribute, EndsATextAtItsLength) {
  Fixture fixture;
  EXPECT_EQ(HTTPc_SetAttribute(fixture.connection.get(), 4, 3, "text/html"), Error_None);
  EXPECT_EQ(HTTPc_SetAttribute(fixture.connection.get(), 2, 6, "agent"), Error_None)
      << "the terminator may be counted";
  EXPECT_EQ(HTTPc_SetAttribute(fixture.connection.get(), 0, 0, ""), Error_None);
  EXPECT_EQ(Format(fixture.connection->request, "GET", "/"),
            "GET / HTTP/1.0\r\nReferer: \r\nUser-Agent: agent\r\nAccept: tex\r\n\r\n");
}

TEST(HTTPcSetAttribute, RefusesAWrongLengthOfNumbers) {
  Fixture fixture;
  const uint32_t value[3] = {1, 2, 3};
  for (uint32_t length : {0u, 1u, 3u, 5u, 8u, 12u}) {
    EXPECT_EQ(HTTPc_SetAttribute(fixture.connection.get(), 5, length, value), Error_Invalid) << length;
  }
  for (uint32_t length : {0u, 4u, 7u, 9u, 12u}) {
    EXPECT_EQ(HTTPc_SetAttribute(fixture.connection.get(), 6, length, value), Error_Invalid) << length;
  }
  EXPECT_EQ(Format(fixture.connection->request, "GET", "/"), "GET / HTTP/1.0\r\n\r\n");
}

TEST(HTTPcSetAttribute, RefusesNull) {
  Fixture fixture;
  EXPECT_EQ(HTTPc_SetAttribute(nullptr, 2, 1, "a"), Error_Invalid);
  EXPECT_EQ(HTTPc_SetAttribute(fixture.connection.get(), 2, 0, nullptr), Error_Invalid);
  EXPECT_EQ(HTTPc_SetAttribute(fixture.connection.get(), 6, 8, nullptr), Error_Invalid);
}

// ---- GET ------------------------------------------------------------------------------------------

string SentFor(const string& url, bool viaProxy = false) {
  Fixture fixture;
  fixture.connection->viaProxy = viaProxy;
  EXPECT_EQ(fixture.Get(url), Error_None) << url;
  return fixture.wire.written();
}

TEST(HTTPcGet, AsksForThePathAndNamesTheHost) {
  EXPECT_EQ(SentFor("http://example.test/dir/file"), "GET /dir/file HTTP/1.0\r\nHost: example.test\r\n\r\n");
  EXPECT_EQ(SentFor("http://example.test:8080/f"), "GET /f HTTP/1.0\r\nHost: example.test\r\n\r\n");
  EXPECT_EQ(SentFor("http://user:pw@example.test/f"), "GET /f HTTP/1.0\r\nHost: example.test\r\n\r\n");
}

TEST(HTTPcGet, AsksForASlash_WhenTheUrlHasNoPath) {
  EXPECT_EQ(SentFor("http://h"), "GET / HTTP/1.0\r\nHost: h\r\n\r\n");
  EXPECT_EQ(SentFor("http://h/"), "GET / HTTP/1.0\r\nHost: h\r\n\r\n");
}

TEST(HTTPcGet, SendsTheParsedPathSafely) {
  EXPECT_EQ(SentFor("http://h/a%41?x=1"), "GET /aA?x=1 HTTP/1.0\r\nHost: h\r\n\r\n");
  EXPECT_EQ(SentFor("http://h/my%20file%0D%0A"), "GET /my%20file%0D%0A HTTP/1.0\r\nHost: h\r\n\r\n");
  EXPECT_EQ(SentFor("http://h/a b\xe9"), "GET /a%20b%E9 HTTP/1.0\r\nHost: h\r\n\r\n");
  EXPECT_EQ(SentFor("http://h/a\r\nX: y"), "GET /a%0D%0AX:%20y HTTP/1.0\r\nHost: h\r\n\r\n");
  EXPECT_EQ(SentFor("http://h/%00/b"), "GET //b HTTP/1.0\r\nHost: h\r\n\r\n");
  EXPECT_EQ(SentFor("http://h/%2f"), "GET /%20 HTTP/1.0\r\nHost: h\r\n\r\n");
}

TEST(HTTPcGet, SendsTheWholeUrlText_OverAProxy) {
  EXPECT_EQ(SentFor("http://h:81/a%41?x=1", true), "GET http://h:81/a%41?x=1 HTTP/1.0\r\nHost: h\r\n\r\n");
  EXPECT_EQ(SentFor("http://h", true), "GET http://h HTTP/1.0\r\nHost: h\r\n\r\n");
  EXPECT_EQ(SentFor("http://h/a b\r\nX: y", true),
            "GET http://h/a%20b%0D%0AX:%20y HTTP/1.0\r\nHost: h\r\n\r\n");
  EXPECT_EQ(SentFor("ftp://h/f", true), "GET ftp://h/f HTTP/1.0\r\nHost: h\r\n\r\n");
}

TEST(HTTPcGet, SendsTheUrlTextWithoutTheSpaceAroundIt_OverAProxy) {
  EXPECT_EQ(SentFor(" \r\n\thttp://h/a b\n \t\r", true), "GET http://h/a%20b HTTP/1.0\r\nHost: h\r\n\r\n");
}

// They are the server's to know, and a proxy writes its requests down.
TEST(HTTPcGet, SendsNeitherUserNorPassword) {
  for (const bool viaProxy : {true, false}) {
    const string target = viaProxy ? "http://h:81/f@x?u@y" : "/f@x?u@y";
    for (const char* user : {"u:p@", "u@", ":p@", "@", "a@b:c@d@", "u%40x:p@"}) {
      EXPECT_EQ(SentFor("http://" + string(user) + "h:81/f@x?u@y", viaProxy),
                "GET " + target + " HTTP/1.0\r\nHost: h\r\n\r\n")
          << user;
    }
  }
  EXPECT_EQ(SentFor(" http://u:p@h ", true), "GET http://h HTTP/1.0\r\nHost: h\r\n\r\n");
}

TEST(HTTPcGet, LeavesAHostThatWasSet) {
  Fixture fixture;
  EXPECT_EQ(fixture.Set(3, "other:81"), Error_None);
  EXPECT_EQ(fixture.Get("http://h/f"), Error_None);
  EXPECT_EQ(fixture.wire.written(), "GET /f HTTP/1.0\r\nHost: other:81\r\n\r\n");
}

TEST(HTTPcGet, NamesNoHost_WhenTheUrlHasNone) {
  EXPECT_EQ(SentFor("file:///etc/passwd"), "GET /etc/passwd HTTP/1.0\r\n\r\n");
}

TEST(HTTPcGet, SendsNothingForABadUrl) {
  for (const char* url : {"", "h/f", "http:/h", "://h/f", "gopher://h/f"}) {
    Fixture fixture;
    EXPECT_EQ(fixture.Get(url), -6) << url;
    EXPECT_EQ(fixture.wire.written(), "") << url;
    EXPECT_EQ(fixture.reply.code, 0) << url;
    EXPECT_STREQ(fixture.reply.text, "") << url;
    EXPECT_EQ(fixture.stream, nullptr) << url;
  }
}

TEST(HTTPcGet, SendsNothingForAHostThatWouldEndTheLine) {
  for (const char* url : {"http://h%0AX: y/f", "http://h\rX: y/f", "http://h%0D%0AX/f"}) {
    Fixture fixture;
    EXPECT_EQ(fixture.Get(url), Error_Invalid) << url;
    EXPECT_EQ(fixture.wire.written(), "") << url;
  }
}

// A request line of three words, the host, the empty line: nothing else, and no line end but those.
bool IsOneRequestForAHost(const string& request) {
  const size_t lineEnd = request.find("\r\n");
  const size_t hostEnd = request.find("\r\n", lineEnd + 2);
  return std::count(request.begin(), request.begin() + static_cast<ptrdiff_t>(lineEnd), ' ') == 2 &&
         request.compare(lineEnd, 8, "\r\nHost: ") == 0 && hostEnd + 4 == request.size() &&
         std::count(request.begin(), request.end(), '\r') == 3 &&
         std::count(request.begin(), request.end(), '\n') == 3;
}

TEST(HTTPcGet, CannotBeSplitByAnyByteOfTheUrl) {
  for (int byte = 1; byte < 256; ++byte) {
    char escape[4];
    snprintf(escape, sizeof escape, "%%%02X", byte);
    for (const string& text : {string(1, static_cast<char>(byte)), string(escape)}) {
      for (bool viaProxy : {false, true}) {
        const string urls[] = {"http://h/a" + text + text + "b", "http://h" + text + "h/a",
                               "http://h/a" + text, "http://u" + text + ":p" + text + "@h:8" + text + "/a"};
        for (const string& url : urls) {
          Fixture fixture;
          fixture.connection->viaProxy = viaProxy;
          const ErrorCode status = fixture.Get(url);
          EXPECT_TRUE(status == Error_None || status == Error_Invalid) << url;
          const string sent = fixture.wire.written();
          EXPECT_TRUE(status == Error_None ? IsOneRequestForAHost(sent) : sent.empty()) << url << sent;
        }
      }
    }
  }
}

TEST(HTTPcGet, TakesUrlsOf1023BytesAndNoLonger) {
  const string path(1023 - strlen("http://h"), '/');
  EXPECT_EQ(SentFor("http://h" + path), "GET " + path + " HTTP/1.0\r\nHost: h\r\n\r\n");
  for (const string& url : {"http://h" + path + "x", "http://h/" + string(8000000, 'x')}) {
    Fixture fixture;
    EXPECT_EQ(fixture.Get(url), Error_Exceed);
    EXPECT_EQ(fixture.wire.written(), "");
  }
}

TEST(HTTPcGet, TakesHostsOf255BytesAndNoLonger) {
  const string host(255, 'h');
  EXPECT_EQ(SentFor("http://" + host + "/f"), "GET /f HTTP/1.0\r\nHost: " + host + "\r\n\r\n");
  Fixture fixture;
  EXPECT_EQ(fixture.Get("http://" + host + "h/f"), Error_Exceed);
  EXPECT_EQ(fixture.wire.written(), "");
}

TEST(HTTPcGet, GivesTheConnectionsStreamAtTheBody) {
  Fixture fixture("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 5-8/9\r\n\r\nbody");
  EXPECT_EQ(fixture.Get("http://h/f"), Error_None);
  EXPECT_EQ(fixture.stream, fixture.wire.stream());
  EXPECT_EQ(fixture.wire.Rest(), "body");
  EXPECT_EQ(fixture.reply.replyClass, '2');
  EXPECT_EQ(fixture.reply.code, 206);
  EXPECT_STREQ(fixture.reply.text, "Partial");
}

TEST(HTTPcGet, GivesAnEmptyReplyAfterAFailure) {
  for (const char* response :
       {"HTTP/1.0 200 OK\r\njunk\r\n\r\n", "HTTP/1.0 200 OK\r\nServer: s\r\n", "junk\r\n"}) {
    Fixture fixture(response);
    EXPECT_NE(fixture.Get("http://h/f"), Error_None);
    EXPECT_EQ(fixture.reply.replyClass, 0);
    EXPECT_EQ(fixture.reply.code, 0);
    EXPECT_STREQ(fixture.reply.text, "");
    EXPECT_EQ(fixture.stream, nullptr);
  }
}

TEST(HTTPcGet, ForgetsTheResponseBefore) {
  Fixture fixture("HTTP/1.0 200 OK\r\nServer: s\r\n\r\nHTTP/1.0 204 No\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(fixture.Get("http://h/f"), Error_None);
  EXPECT_EQ(fixture.Get("http://h/f"), Error_None);
  EXPECT_EQ(fixture.reply.code, 204);
  EXPECT_EQ(fixture.connection->response.set, 1u | 4u);
}

TEST(HTTPcGet, ForgetsTheResponseBefore_WhenNoneComes) {
  const char* first = "HTTP/1.0 206 Part\r\nContent-Length: 5\r\nContent-Range: bytes 5-9/10\r\n\r\n";
  Fixture ended(first);
  Fixture notTaken(first);
  for (Fixture* fixture : {&ended, &notTaken}) {
    ASSERT_EQ(fixture->Get("http://h/f"), Error_None);
    if (fixture == &notTaken) fixture->wire.LimitWrites(fixture->wire.written().size(), Error_Timeout);
    EXPECT_EQ(fixture->Get("http://h/f"), fixture == &notTaken ? 8 : 4);
    uint32_t numbers[2] = {};
    EXPECT_EQ(HTTPc_GetAttribute(fixture->connection.get(), 7, 4, nullptr, numbers), Error_NotFound);
    EXPECT_EQ(HTTPc_GetAttribute(fixture->connection.get(), 8, 8, nullptr, numbers), Error_NotFound);
  }
}

TEST(HTTPcGet, GivesTheStatusOfTheConnection_WhenTheRequestIsNotTaken) {
  Fixture fixture;
  fixture.wire.LimitWrites(5, Error_Timeout);
  EXPECT_EQ(fixture.Get("http://h/f"), Error_Timeout);
  Fixture silent;
  silent.wire.LimitWrites(5, Error_None);
  EXPECT_EQ(silent.Get("http://h/f"), Error_Ended);
}

TEST(HTTPcGet, RefusesNull) {
  Fixture fixture;
  Reply reply = {9, 9, "x"};
  Stream* stream = fixture.wire.stream();
  EXPECT_EQ(HTTPc_Get(nullptr, "http://h/f", &reply, &stream), Error_Invalid);
  EXPECT_EQ(reply.code, 0);
  EXPECT_EQ(stream, nullptr);
  EXPECT_EQ(HTTPc_Get(fixture.connection.get(), nullptr, &reply, &stream), Error_Invalid);
  EXPECT_EQ(HTTPc_Get(fixture.connection.get(), "http://h/f", nullptr, &stream), Error_Invalid);
  EXPECT_EQ(HTTPc_Get(fixture.connection.get(), "http://h/f", &reply, nullptr), Error_Invalid);
  EXPECT_EQ(fixture.wire.written(), "");
}

// ---- POST -----------------------------------------------------------------------------------------

TEST(HTTPcPost, AddsNoHeader) {
  Fixture fixture("HTTP/1.0 201 Created\r\n\r\nmade");
  TestStream body("name=value");
  EXPECT_EQ(fixture.Post("/form", 10, body.stream()), Error_None);
  EXPECT_EQ(fixture.wire.written(), "POST /form HTTP/1.0\r\n\r\nname=value");
  EXPECT_EQ(fixture.sent, 10u);
  EXPECT_EQ(fixture.reply.code, 201);
  EXPECT_EQ(fixture.stream, fixture.wire.stream());
  EXPECT_EQ(fixture.wire.Rest(), "made");
}

TEST(HTTPcPost, SendsNoMoreThanTheLength) {
  Fixture fixture;
  TestStream body("name=value");
  EXPECT_EQ(fixture.Post("/form", 4, body.stream()), Error_None);
  EXPECT_EQ(fixture.wire.written(), "POST /form HTTP/1.0\r\n\r\nname");
  EXPECT_EQ(fixture.sent, 4u);
  EXPECT_EQ(body.Rest(), "=value");
}

TEST(HTTPcPost, SendsToTheEnd_WhenTheLengthIsAllOnes) {
  Fixture fixture;
  TestStream body(string(100000, 'b'));
  EXPECT_EQ(fixture.Post("/form", 0xFFFFFFFFu, body.stream()), Error_None);
  EXPECT_EQ(fixture.wire.written(), "POST /form HTTP/1.0\r\n\r\n" + string(100000, 'b'));
  EXPECT_EQ(fixture.sent, 100000u);
}

TEST(HTTPcPost, MovesAtMost4096BytesAtATime) {
  Fixture fixture;
  TestStream body(string(100000, 'b'));
  EXPECT_EQ(fixture.Post("/form", 100000, body.stream()), Error_None);
  EXPECT_EQ(body.LargestRead(), 4096u);
}

TEST(HTTPcPost, HasNoBody_WithoutAStreamOrALength) {
  Fixture fixture;
  TestStream body("name=value");
  EXPECT_EQ(fixture.Post("/form", 0, body.stream()), Error_None);
  EXPECT_EQ(fixture.wire.written(), "POST /form HTTP/1.0\r\n\r\n");
  EXPECT_EQ(fixture.sent, 0u);
  Fixture without;
  EXPECT_EQ(without.Post("/form", 10, nullptr), Error_None);
  EXPECT_EQ(without.wire.written(), "POST /form HTTP/1.0\r\n\r\n");
}

TEST(HTTPcPost, GivesEnded_WhenTheBodyIsShorterThanItsLength) {
  Fixture fixture;
  TestStream body("name=value");
  EXPECT_EQ(fixture.Post("/form", 11, body.stream()), Error_Ended);
  EXPECT_EQ(fixture.sent, 10u);
  EXPECT_EQ(fixture.reply.code, 0);
  EXPECT_EQ(fixture.stream, nullptr);
}

TEST(HTTPcPost, GivesTheStatusOfTheBody_WhenItCannotBeRead) {
  Fixture fixture;
  TestStream body("name=value", Error_NoAccess);
  EXPECT_EQ(fixture.Post("/form", 0xFFFFFFFFu, body.stream()), Error_NoAccess);
  EXPECT_EQ(fixture.sent, 10u);
}

TEST(HTTPcPost, GivesBlock_WhenTheBodyHasNothingToGiveYet) {
  Fixture fixture;
  TestStream body("name=value", Error_Block);
  EXPECT_EQ(fixture.Post("/form", 11, body.stream()), Error_Block);
  EXPECT_EQ(fixture.sent, 10u);
}

TEST(HTTPcPost, GivesTheStatusOfTheConnection_WhenItTakesNoMore) {
  const string head = "POST /form HTTP/1.0\r\n\r\n";
  const ErrorCode rows[][2] = {{9, 9}, {8, 8}, {7, 7}, {0, 4}};
  for (const auto& [status, expected] : rows) {
    Fixture fixture;
    fixture.wire.LimitWrites(head.size() + 4, status);
    TestStream body("name=value");
    EXPECT_EQ(fixture.Post("/form", 10, body.stream()), expected) << status;
    EXPECT_EQ(fixture.sent, 4u);
    EXPECT_EQ(fixture.stream, nullptr);
  }
}

TEST(HTTPcPost, GivesExceed_WhenTheConnectionTakesNoMore) {
  Fixture fixture;
  const string head = "POST /form HTTP/1.0\r\n\r\n";
  fixture.wire.LimitWrites(head.size() + 4, Error_Ended);
  TestStream body("name=value");
  EXPECT_EQ(fixture.Post("/form", 10, body.stream()), Error_Exceed);
  EXPECT_EQ(fixture.wire.written(), head + "name");
  EXPECT_EQ(fixture.sent, 4u);
}

TEST(HTTPcPost, EscapesTheUri) {
  Fixture fixture;
  EXPECT_EQ(fixture.Post("/a b\r\nX: y", 0, nullptr), Error_None);
  EXPECT_EQ(fixture.wire.written(), "POST /a%20b%0D%0AX:%20y HTTP/1.0\r\n\r\n");
  Fixture empty;
  EXPECT_EQ(empty.Post("", 0, nullptr), Error_None);
  EXPECT_EQ(empty.wire.written(), "POST / HTTP/1.0\r\n\r\n");
}

TEST(HTTPcPost, TakesUrisOf1023BytesAndNoLonger) {
  Fixture fixture;
  EXPECT_EQ(fixture.Post(string(1023, 'u'), 0, nullptr), Error_None);
  Fixture tooLong;
  EXPECT_EQ(tooLong.Post(string(1024, 'u'), 0, nullptr), Error_Exceed);
  EXPECT_EQ(tooLong.wire.written(), "");
  EXPECT_EQ(tooLong.reply.code, 0);
  EXPECT_STREQ(tooLong.reply.text, "");
}

TEST(HTTPcPost, RefusesNull) {
  Fixture fixture;
  EXPECT_EQ(HTTPc_Post(nullptr, "/", 0, nullptr, &fixture.sent, &fixture.reply, &fixture.stream),
            Error_Invalid);
  EXPECT_EQ(fixture.sent, 0u);
  EXPECT_EQ(
      HTTPc_Post(fixture.connection.get(), nullptr, 0, nullptr, nullptr, &fixture.reply, &fixture.stream),
      Error_Invalid);
  EXPECT_EQ(HTTPc_Post(fixture.connection.get(), "/", 0, nullptr, nullptr, nullptr, &fixture.stream),
            Error_Invalid);
  EXPECT_EQ(HTTPc_Post(fixture.connection.get(), "/", 0, nullptr, nullptr, &fixture.reply, nullptr),
            Error_Invalid);
  EXPECT_EQ(fixture.wire.written(), "");
  EXPECT_EQ(HTTPc_Post(fixture.connection.get(), "/", 0, nullptr, nullptr, &fixture.reply, &fixture.stream),
            Error_None);
}

// ---- asking ---------------------------------------------------------------------------------------

constexpr const char* kFullResponse =
    "HTTP/1.1 206 Partial Content\r\n"
    "Server: nginx/1.22.1\r\n"
    "Connection: close\r\n"
    "Date: Sun, 06 Nov 1994 08:49:37 GMT\r\n"
    "Content-Type: text/plain\r\n"
    "Accept-Ranges: bytes\r\n"
    "Last-Modified: Thu, 01 Jan 1998 00:00:01 GMT\r\n"
    "Content-Length: 1000\r\n"
    "Content-Range: bytes 1000-1999/5000\r\n"
    "Location: http://h/f\r\n"
    "\r\n";

TEST(HTTPcGetAttribute, GivesEveryValue) {
  Fixture fixture(kFullResponse);
  ASSERT_EQ(fixture.Get("http://h/f"), Error_None);
  const struct {
    int32_t index;
    const char* text;
    uint32_t length;
  } texts[] = {{1, "nginx/1.22.1", 12},
               {2, "close", 5},
               {4, "text/plain", 10},
               {5, "bytes", 5},
               {9, "http://h/f", 10}};
  for (const auto& row : texts) {
    char buffer[64] = "untouched";
    uint32_t length = 0;
    EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), row.index, sizeof buffer, &length, buffer),
              Error_None);
    EXPECT_STREQ(buffer, row.text);
    EXPECT_EQ(length, row.length);
  }
  uint32_t numbers[2] = {};
  uint32_t length = 0;
  EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), 3, 8, &length, numbers), Error_None);
  EXPECT_EQ(numbers[0], 784111777u);
  EXPECT_EQ(numbers[1], 0u);
  EXPECT_EQ(length, 8u);
  EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), 6, 8, &length, numbers), Error_None);
  EXPECT_EQ(numbers[0], 883612801u);
  EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), 7, 4, &length, numbers), Error_None);
  EXPECT_EQ(numbers[0], 1000u);
  EXPECT_EQ(length, 4u);
  EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), 8, 8, &length, numbers), Error_None);
  EXPECT_EQ(numbers[0], 1000u);
  EXPECT_EQ(numbers[1], 1999u);
  EXPECT_EQ(length, 8u);
}

TEST(HTTPcGetAttribute, GivesExceedAndTheNeededLength_WhenTheBufferIsTooSmall) {
  Fixture fixture(kFullResponse);
  ASSERT_EQ(fixture.Get("http://h/f"), Error_None);
  char buffer[13] = "untouched";
  uint32_t length = 0;
  // One byte shorter than the text; as long as the text, without room for its end; exactly enough.
  EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), 1, 11, &length, buffer), Error_Exceed);
  EXPECT_EQ(length, 12u);
  EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), 1, 12, &length, buffer), Error_Exceed);
  EXPECT_EQ(length, 12u);
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), 1, 13, &length, buffer), Error_None);
  EXPECT_STREQ(buffer, "nginx/1.22.1");

  for (int32_t index : {3, 6, 8}) {
    EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), index, 7, &length, buffer), Error_Exceed) << index;
    EXPECT_EQ(length, 8u) << index;
  }
  EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), 7, 3, &length, buffer), Error_Exceed);
  EXPECT_EQ(length, 4u);
  EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), 1, 0, &length, nullptr), Error_Exceed);
  EXPECT_EQ(length, 12u);
}

TEST(HTTPcGetAttribute, GivesNotFound_WhenTheServerDidNotSayIt) {
  Fixture fixture;
  char buffer[300];
  uint32_t length = 9;
  for (int32_t index = 1; index <= 9; ++index) {
    EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), index, sizeof buffer, &length, buffer),
              Error_NotFound)
        << index;
    EXPECT_EQ(length, 0u);
  }
  ASSERT_EQ(fixture.Get("http://h/f"), Error_None);
  for (int32_t index = 1; index <= 9; ++index) {
    EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), index, sizeof buffer, &length, buffer),
              Error_NotFound)
        << index;
  }
}

TEST(HTTPcGetAttribute, GivesInvalidForAnyOtherIndex) {
  Fixture fixture(kFullResponse);
  ASSERT_EQ(fixture.Get("http://h/f"), Error_None);
  char buffer[300];
  uint32_t length = 9;
  for (int32_t index : {0, -1, 10, 32, 33, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), index, sizeof buffer, &length, buffer),
              Error_Invalid)
        << index;
    EXPECT_EQ(length, 0u);
  }
}

TEST(HTTPcGetAttribute, RefusesNull) {
  Fixture fixture(kFullResponse);
  ASSERT_EQ(fixture.Get("http://h/f"), Error_None);
  char buffer[300];
  uint32_t length = 9;
  EXPECT_EQ(HTTPc_GetAttribute(nullptr, 1, sizeof buffer, &length, buffer), Error_Invalid);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), 1, sizeof buffer, &length, nullptr), Error_Invalid);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(HTTPc_GetAttribute(fixture.connection.get(), 1, sizeof buffer, nullptr, buffer), Error_None);
  EXPECT_STREQ(buffer, "nginx/1.22.1");
}

TEST(HTTPcGetPeerName, GivesInvalid_WithoutASocket) {
  Fixture fixture;
  uint8_t address[4];
  uint8_t port[2];
  EXPECT_EQ(HTTPc_GetPeerName(fixture.connection.get(), address, port), Error_Invalid);
  EXPECT_EQ(HTTPc_GetPeerName(nullptr, address, port), Error_Invalid);
}

TEST(HTTPcGetError, IsTheStatusOfTheStream) {
  Fixture fixture("");
  EXPECT_EQ(HTTPc_GetError(fixture.connection.get()), Error_None);
  EXPECT_EQ(fixture.Get("http://h/f"), Error_Ended);
  EXPECT_EQ(HTTPc_GetError(fixture.connection.get()), Error_Ended);
  EXPECT_EQ(HTTPc_GetError(nullptr), Error_Invalid);
}

TEST(HTTPcClose, RefusesNull) {
  EXPECT_EQ(HTTPc_Close(nullptr), Error_Invalid);
}

}  // namespace
