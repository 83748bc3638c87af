// HTTP connections against a scripted server.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <string_view>
#include <thread>

#include "net/httpc_internal.h"
#include "net/sock_testing.h"
#include "os/core/owned.h"
#include "os/core/socketlayer_internal.h"
#include "qz/error.h"
#include "qz/proxy.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/loopback.h"
#include "tests/support/numbered.h"
#include "tests/support/scripted_http.h"
#include "tests/support/socket_probe.h"
#include "tests/support/test_stream.h"

namespace {

using scripted_http::Answer;
using scripted_http::AnswerSlowly;
using scripted_http::AnswerThenReset;
using scripted_http::AnswerThenStall;
using scripted_http::Exchange;
using scripted_http::Okay;
using std::string;
using std::string_view;

constexpr const char* kHost = "127.0.0.1";

class HTTPcConnection : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(iSock_Init(), Error_None); }
  void TearDown() override {
    connection.reset();
    iSock_SetWaitMilliseconds(0);
    Proxy_SetEnabled(0);
    Proxy_SetServer(0, nullptr, 0);
    Proxy_SetBypassList(nullptr);
    iSock_Exit();
  }

  ErrorCode Open(const ScriptedServer& server) { return HTTPc_Open(kHost, server.port(), connection.out()); }
  ErrorCode Get(const string& url) { return HTTPc_Get(connection.get(), url.c_str(), &reply, &stream); }
  ErrorCode SetText(int32_t index, string_view text) {
    return HTTPc_SetAttribute(connection.get(), index, static_cast<uint32_t>(text.size()), text.data());
  }

  // Opens and gets /f.
  ErrorCode OpenAndGet(const ScriptedServer& server) {
    const ErrorCode status = Open(server);
    return status != Error_None ? status : Get("http://" + server.address() + "/f");
  }

  // Everything from here to the end of the stream.
  string ReadBody() {
    string body;
    char buffer[5000];
    while (const uint32_t count = Stream_Read(stream, sizeof buffer, buffer)) body.append(buffer, count);
    return body;
  }

  int ReceiveBufferBytes() const {
    Stream* sock = Stream_FindType(connection->stream, StreamType_Sock);
    return socket_probe::ReceiveBufferOf(Sock_GetDescriptor(reinterpret_cast<Sock*>(sock)));
  }

  Owned<HTTPc, HTTPc_Close> connection;
  Reply reply = {};
  Stream* stream = nullptr;
};

// ---- opening --------------------------------------------------------------------------------------

TEST_F(HTTPcConnection, StartsWithAnEmptyRecord) {
  ScriptedServer server({{script::ReadToEnd()}});
  ASSERT_EQ(Open(server), Error_None);
  EXPECT_EQ(connection->request.set, 0u);
  EXPECT_EQ(connection->response.set, 0u);
  EXPECT_FALSE(connection->viaProxy);
  EXPECT_EQ(HTTPc_GetError(connection.get()), Error_None);
  connection.reset();
  server.Finish();
  EXPECT_EQ(server.Received(0), "");
}

TEST_F(HTTPcConnection, GivesNoAccess_WhenNobodyListens) {
  HTTPc* opened = reinterpret_cast<HTTPc*>(this);
  EXPECT_EQ(HTTPc_Open(kHost, loopback::UnusedPort(), &opened), Error_NoAccess);
  EXPECT_EQ(opened, nullptr);
}

TEST_F(HTTPcConnection, RefusesBadArguments) {
  HTTPc* opened = reinterpret_cast<HTTPc*>(this);
  EXPECT_EQ(HTTPc_Open(kHost, 65536, &opened), Error_Invalid);
  EXPECT_EQ(opened, nullptr);
  EXPECT_EQ(HTTPc_Open(kHost, 0xFFFFFFFFu, &opened), Error_Invalid);
  EXPECT_EQ(HTTPc_Open(nullptr, 80, &opened), Error_Invalid);
  EXPECT_EQ(HTTPc_Open(kHost, 80, nullptr), Error_Invalid);
  EXPECT_EQ(HTTPc_Open(string(1024, 'h').c_str(), 80, &opened), Error_Exceed);
  EXPECT_EQ(HTTPc_Open(string(65536, 'h').c_str(), 80, &opened), Error_Exceed);
  EXPECT_EQ(opened, nullptr);
}

TEST_F(HTTPcConnection, GivesTheAddressOfTheServer) {
  ScriptedServer server({{script::ReadToEnd()}});
  ASSERT_EQ(Open(server), Error_None);
  uint8_t address[4] = {};
  uint8_t port[2] = {};
  EXPECT_EQ(HTTPc_GetPeerName(connection.get(), address, port), Error_None);
  EXPECT_EQ(address[0], 127);
  EXPECT_EQ(address[1], 0);
  EXPECT_EQ(address[2], 0);
  EXPECT_EQ(address[3], 1);
  EXPECT_EQ(port[0] * 256 + port[1], server.port());
  EXPECT_EQ(HTTPc_GetPeerName(connection.get(), nullptr, nullptr), Error_None);
  connection.reset();
}

// ---- requests -------------------------------------------------------------------------------------

TEST_F(HTTPcConnection, SendsAResumeAsTheTransferEngineAsksForIt) {
  ScriptedServer server(
      {Exchange("GET /dir/file.bin HTTP/1.0\r\n"
                "Connection: Keep-Alive\r\n"
                "User-Agent: qz\r\n"
                "Host: 127.0.0.1\r\n"
                "Accept: */*\r\n"
                "Range: bytes=1000-\r\n"
                "\r\n",
                "HTTP/1.1 206 Partial Content\r\nContent-Length: 5\r\nContent-Range: bytes "
                "1000-1004/1005\r\n\r\n\r\nabc")});
  ASSERT_EQ(Open(server), Error_None);
  EXPECT_EQ(SetText(2, "qz"), Error_None);
  EXPECT_EQ(SetText(4, "*/*"), Error_None);
  EXPECT_EQ(SetText(1, "Keep-Alive"), Error_None);
  const uint32_t range[] = {1000, 0xFFFFFFFFu};
  EXPECT_EQ(HTTPc_SetAttribute(connection.get(), 6, 8, range), Error_None);
  ASSERT_EQ(Get("http://" + server.address() + "/dir/file.bin"), Error_None);
  EXPECT_EQ(reply.replyClass, '2');
  EXPECT_EQ(reply.code, 206);
  EXPECT_STREQ(reply.text, "Partial");
  EXPECT_EQ(stream, connection->stream);
  EXPECT_EQ(ReadBody(), "\r\nabc");
  EXPECT_EQ(HTTPc_GetError(connection.get()), Error_Ended);
  connection.reset();
}

TEST_F(HTTPcConnection, SendsAPostWithItsBody) {
  const string body = string(10000, 'b') + string("\0\r\n\xff", 4);
  ScriptedServer server({Exchange("POST /form HTTP/1.0\r\nHost: h\r\nContent-length: 10004\r\n\r\n" + body,
                                  "HTTP/1.0 201 Created\r\n\r\nmade")});
  ASSERT_EQ(Open(server), Error_None);
  const uint32_t length = 10004;
  EXPECT_EQ(SetText(3, "h"), Error_None);
  EXPECT_EQ(HTTPc_SetAttribute(connection.get(), 5, 4, &length), Error_None);
  TestStream input(body);
  uint32_t sent = 0;
  ASSERT_EQ(HTTPc_Post(connection.get(), "/form", 10004, input.stream(), &sent, &reply, &stream), Error_None);
  EXPECT_EQ(sent, 10004u);
  EXPECT_EQ(reply.code, 201);
  EXPECT_EQ(ReadBody(), "made");
  connection.reset();
}

TEST_F(HTTPcConnection, SendsNothing_WhenTheRequestIsRefused) {
  ScriptedServer server({{script::ReadToEnd()}});
  ASSERT_EQ(Open(server), Error_None);
  EXPECT_EQ(SetText(2, "a\r\nX: y"), Error_Invalid);
  EXPECT_EQ(Get("no url"), -6);
  EXPECT_EQ(Get("http://h%0AX/"), Error_Invalid);
  EXPECT_EQ(Get("http://h/" + string(1020, 'x')), Error_Exceed);
  connection.reset();
  server.Finish();
  EXPECT_EQ(server.Received(0), "");
}

// ---- proxies --------------------------------------------------------------------------------------

TEST_F(HTTPcConnection, GoesThroughTheProxy) {
  ScriptedServer proxy({Exchange(
      "GET http://server.invalid:8080/a%41?x=1 HTTP/1.0\r\nHost: server.invalid\r\n\r\n", Okay("proxied"))});
  Proxy_SetEnabled(1);
  Proxy_SetServer(0, kHost, proxy.port());
  ASSERT_EQ(HTTPc_Open("server.invalid", 8080, connection.out()), Error_None);
  EXPECT_TRUE(connection->viaProxy);
  uint8_t port[2] = {};
  EXPECT_EQ(HTTPc_GetPeerName(connection.get(), nullptr, port), Error_None);
  EXPECT_EQ(port[0] * 256 + port[1], proxy.port());
  ASSERT_EQ(Get("http://server.invalid:8080/a%41?x=1"), Error_None);
  EXPECT_EQ(ReadBody(), "proxied");
  connection.reset();
}

TEST_F(HTTPcConnection, GoesDirect_WhenTheHostIsBypassed) {
  ScriptedServer server({Exchange("GET /f HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n", Okay("direct"))});
  Proxy_SetEnabled(1);
  Proxy_SetServer(0, kHost, loopback::UnusedPort());
  Proxy_SetBypassList("local, 127.0");
  ASSERT_EQ(OpenAndGet(server), Error_None);
  EXPECT_FALSE(connection->viaProxy);
  EXPECT_EQ(ReadBody(), "direct");
  connection.reset();
}

TEST_F(HTTPcConnection, AsksForTheProxyOfHTTPOnly) {
  ScriptedServer server({Exchange("GET /f HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n", Okay("direct"))});
  Proxy_SetEnabled(1);
  Proxy_SetServer(1, kHost, loopback::UnusedPort());
  ASSERT_EQ(OpenAndGet(server), Error_None);
  EXPECT_EQ(ReadBody(), "direct");
  connection.reset();
  Proxy_SetServer(1, nullptr, 0);
}

TEST_F(HTTPcConnection, RefusesAProxyPortOutOfRange) {
  Proxy_SetEnabled(1);
  Proxy_SetServer(0, kHost, 65536);
  EXPECT_EQ(HTTPc_Open("server.invalid", 80, connection.out()), Error_Invalid);
}

// ---- bodies ---------------------------------------------------------------------------------------

TEST_F(HTTPcConnection, LeavesTheLengthToTheCaller) {
  // Longer and shorter than it says: the stream gives what came.
  ScriptedServer server({Answer("HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\nlonger"),
                         Answer("HTTP/1.0 200 OK\r\nContent-Length: 300\r\n\r\nshorter"),
                         Answer("HTTP/1.0 200 OK\r\n\r\nunknown")});
  uint32_t length = 0;
  ASSERT_EQ(OpenAndGet(server), Error_None);
  EXPECT_EQ(HTTPc_GetAttribute(connection.get(), 7, 4, nullptr, &length), Error_None);
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(ReadBody(), "longer");
  ASSERT_EQ(OpenAndGet(server), Error_None);
  EXPECT_EQ(HTTPc_GetAttribute(connection.get(), 7, 4, nullptr, &length), Error_None);
  EXPECT_EQ(length, 300u);
  EXPECT_EQ(ReadBody(), "shorter");
  ASSERT_EQ(OpenAndGet(server), Error_None);
  EXPECT_EQ(HTTPc_GetAttribute(connection.get(), 7, 4, nullptr, &length), Error_NotFound);
  EXPECT_EQ(ReadBody(), "unknown");
  connection.reset();
}

TEST_F(HTTPcConnection, GivesALargeBodyWhole) {
  string body;
  for (uint32_t i = 0; body.size() < 3000000; ++i) body += std::to_string(i * 2654435761u);
  ScriptedServer server({Answer(Okay(body))});
  ASSERT_EQ(OpenAndGet(server), Error_None);
  EXPECT_TRUE(ReadBody() == body);
  connection.reset();
}

TEST_F(HTTPcConnection, GivesABodyOfAnySizeWhole) {
  const Numbered numbered;
  const uint64_t size = WholeBytes() + 3;
  const string head = "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n";
  const ScriptStep sends =
      script::Do([&](ScriptSession& session) { EXPECT_TRUE(numbered.Send(&session.control(), 0, size)); });
  ScriptedServer server(
      {{script::ReadUntil("\r\n\r\n"), script::Send(head), sends, script::Finish(), script::ReadToEnd()}},
      600000);
  ASSERT_EQ(OpenAndGet(server), Error_None);
  uint64_t length = 0;
  EXPECT_EQ(HTTPc_GetContentLength64(connection.get(), &length), Error_None);
  EXPECT_EQ(length, size);
  NumberedStream sink(&numbered, 0, size);
  static char buffer[12288];
  while (const uint32_t count = Stream_Read(stream, sizeof buffer, buffer)) {
    Stream_Write(sink.stream(), count, buffer);
  }
  EXPECT_EQ(HTTPc_GetError(connection.get()), Error_Ended);
  EXPECT_EQ(sink.position(), size);
  EXPECT_FALSE(sink.isWrong());
  connection.reset();
}

TEST_F(HTTPcConnection, ResumesBeyondFourGigabytes) {
  ScriptedServer server(
      {Exchange("GET /f HTTP/1.0\r\nHost: 127.0.0.1\r\nRange: bytes=4294967297-\r\n\r\n",
                "HTTP/1.1 206 Partial Content\r\nContent-Length: 10\r\n"
                "Content-Range: bytes 4294967297-4294967306/4294967307\r\n\r\n0123456789")});
  ASSERT_EQ(Open(server), Error_None);
  EXPECT_EQ(HTTPc_SetRange64(connection.get(), 4294967297u, 0xFFFFFFFFFFFFFFFFu), Error_None);
  ASSERT_EQ(Get("http://" + server.address() + "/f"), Error_None);
  uint64_t first = 0, last = 0, total = 0;
  EXPECT_EQ(HTTPc_GetContentRange64(connection.get(), &first, &last, &total), Error_None);
  EXPECT_EQ(first, 4294967297u);
  EXPECT_EQ(last, 4294967306u);
  EXPECT_EQ(total, 4294967307u);
  EXPECT_EQ(ReadBody(), "0123456789");
  connection.reset();
  server.Finish();
}

TEST_F(HTTPcConnection, StartsTheBodyBehindTheHeadersOfTheFirstPart) {
  ScriptedServer server(
      {Answer("HTTP/1.1 206 Partial Content\r\n"
              "Content-Type: multipart/byteranges; boundary=00000000000000000001\r\n\r\n"
              "\r\n--00000000000000000001\r\n"
              "Content-Type: text/plain\r\n"
              "Content-Range: bytes 2-4/10\r\n\r\n"
              "cde\r\n--00000000000000000001--\r\n")});
  ASSERT_EQ(OpenAndGet(server), Error_None);
  uint32_t range[2] = {};
  EXPECT_EQ(HTTPc_GetAttribute(connection.get(), 8, 8, nullptr, range), Error_None);
  EXPECT_EQ(range[0], 2u);
  EXPECT_EQ(range[1], 4u);
  EXPECT_EQ(ReadBody(), "cde\r\n--00000000000000000001--\r\n");
  connection.reset();
}

TEST_F(HTTPcConnection, GivesEveryCodeToTheCaller) {
  for (int32_t code : {100, 204, 301, 304, 404, 416, 500, 503, 999}) {
    ScriptedServer server({Answer("HTTP/1.0 " + std::to_string(code) + " Reason given\r\n\r\n")});
    EXPECT_EQ(OpenAndGet(server), Error_None) << code;
    EXPECT_EQ(reply.code, code);
    EXPECT_EQ(reply.replyClass, '0' + code / 100);
    EXPECT_STREQ(reply.text, "Reason");
    connection.reset();
  }
}

// A size of its own, a large one too, would switch off the system's tuning.
TEST_F(HTTPcConnection, LeavesTheReceiveBufferToTheSystem) {
  loopback::Listener listener;
  const loopback::Connection untouched = loopback::Connect(listener.port());
  const int usual = socket_probe::ReceiveBufferOf(static_cast<uint32_t>(untouched.native()));
  ScriptedServer server({AnswerThenStall("")});
  ASSERT_EQ(Open(server), Error_None);
  EXPECT_EQ(ReceiveBufferBytes(), usual);
  iSock_SetWaitMilliseconds(100);
  EXPECT_EQ(Get("http://h/f"), Error_Timeout);
  EXPECT_EQ(ReceiveBufferBytes(), usual);
  connection.reset();
}

// ---- cuts, resets, stalls -------------------------------------------------------------------------

constexpr const char* kHead = "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\n";

TEST_F(HTTPcConnection, GivesEnded_WhenTheServerEndsWithinTheHeaders) {
  const string head = kHead;
  for (size_t sent = 0; sent < head.size(); ++sent) {
    ScriptedServer server({Answer(head.substr(0, sent))});
    EXPECT_EQ(OpenAndGet(server), Error_Ended) << sent;
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(reply.code, 0);
    EXPECT_EQ(HTTPc_GetError(connection.get()), Error_Ended);
    connection.reset();
  }
}

TEST_F(HTTPcConnection, GivesRetry_WhenTheServerResetsWithinTheHeaders) {
  for (const char* head : {"", "HTTP/1.0 2", "HTTP/1.0 200 OK\r\nContent-Le"}) {
    ScriptedServer server({AnswerThenReset(head)});
    EXPECT_EQ(OpenAndGet(server), Error_Retry) << head;
    EXPECT_EQ(stream, nullptr);
    connection.reset();
  }
}

TEST_F(HTTPcConnection, GivesTimeout_WhenTheServerStallsWithinTheHeaders) {
  for (const char* head : {"", "HTTP/1.0 2", "HTTP/1.0 200 OK\r\nContent-Le"}) {
    ScriptedServer server({AnswerThenStall(head)});
    iSock_SetWaitMilliseconds(150);
    EXPECT_EQ(OpenAndGet(server), Error_Timeout) << head;
    EXPECT_EQ(stream, nullptr);
    connection.reset();
  }
}

TEST_F(HTTPcConnection, GivesRetryAtOnce_WhenTheServerResetsWithinAPost) {
  ScriptedServer server({{script::ReadUntil("\r\n\r\n"), script::ReadCount(100), script::Reset()}});
  ASSERT_EQ(Open(server), Error_None);
  TestStream body(string(64u << 20, 'b'));
  uint32_t sent = 0;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(HTTPc_Post(connection.get(), "/form", 64u << 20, body.stream(), &sent, &reply, &stream),
            Error_Retry);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  EXPECT_GE(sent, 100u);
  EXPECT_LT(sent, 64u << 20);
  EXPECT_EQ(stream, nullptr);
  connection.reset();
}

TEST_F(HTTPcConnection, GivesCancel_WhenAnotherThreadClosesTheSocket) {
  for (const char* head : {"", "HTTP/1.0 200 OK\r\nContent-Le"}) {
    ScriptedServer server({AnswerThenStall(head)});
    ASSERT_EQ(Open(server), Error_None);
    Sock* sock = reinterpret_cast<Sock*>(Stream_FindType(connection->stream, StreamType_Sock));
    auto got = std::async(std::launch::async, [this] { return Get("http://h/f"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Sock_Close(sock), Error_None);
    EXPECT_EQ(got.get(), Error_Cancel) << head;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(HTTPc_GetPeerName(connection.get(), nullptr, nullptr), Error_None) << "no failure is told";
    EXPECT_EQ(HTTPc_Close(connection.release()), Error_None);
  }
}

TEST_F(HTTPcConnection, CanBeUsedOnAfterItsEnd) {
  ScriptedServer server({Answer(Okay("body"))});
  ASSERT_EQ(OpenAndGet(server), Error_None);
  EXPECT_EQ(ReadBody(), "body");
  const ErrorCode again = Get("http://h/f");
  EXPECT_TRUE(again == Error_Ended || again == Error_Retry) << again;
  EXPECT_EQ(stream, nullptr);
  TestStream body("name=value");
  uint32_t sent = 0;
  EXPECT_NE(HTTPc_Post(connection.get(), "/f", 10, body.stream(), &sent, &reply, &stream), Error_None);
  EXPECT_EQ(stream, nullptr);
  connection.reset();
}

TEST_F(HTTPcConnection, ShowsHowABodyEnds) {
  ScriptedServer server({Answer(string(kHead) + "ab"), AnswerThenReset(string(kHead) + "ab"),
                         AnswerThenStall(string(kHead) + "ab")});
  const ErrorCode expected[] = {4, 9, 8};
  iSock_SetWaitMilliseconds(400);
  for (ErrorCode status : expected) {
    ASSERT_EQ(OpenAndGet(server), Error_None);
    EXPECT_EQ(ReadBody(), "ab");
    EXPECT_EQ(Stream_Error(stream), status);
    EXPECT_EQ(HTTPc_GetError(connection.get()), status);
  }
  connection.reset();
}

TEST_F(HTTPcConnection, TakesAResponseByteByByte) {
  ScriptedServer server({AnswerSlowly("HTTP/1.1 302 Found\r\nLocation: http://h/x\r\n\r\nmoved", 2)});
  ASSERT_EQ(OpenAndGet(server), Error_None);
  char location[32];
  EXPECT_EQ(HTTPc_GetAttribute(connection.get(), 9, sizeof location, nullptr, location), Error_None);
  EXPECT_STREQ(location, "http://h/x");
  EXPECT_EQ(ReadBody(), "moved");
  connection.reset();
}

TEST_F(HTTPcConnection, TakesAResponseThatNeedsLongerThanOneWait) {
  ScriptedServer server({AnswerSlowly("HTTP/1.0 200 OK\r\nServer: slow\r\n\r\nbody", 30)});
  iSock_SetWaitMilliseconds(600);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(OpenAndGet(server), Error_None);
  EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900));
  EXPECT_EQ(ReadBody(), "body");
  connection.reset();
}

// Lines that begin in what one read gave and end in the next one, at every distance from its end.
TEST_F(HTTPcConnection, TakesAHeaderThatIsLongerThanARead) {
  for (size_t shift = 0; shift < 24; ++shift) {
    string header = "HTTP/1.0 200 OK\r\nX: " + string(shift, 'x') + "\r\n";
    while (header.size() < 9000) header += "X-Long: 0123456789\r\n";
    ScriptedServer server({Answer(header + "Server: last\r\n\r\nServer: body\r\n")});
    ASSERT_EQ(OpenAndGet(server), Error_None) << shift;
    char text[32];
    EXPECT_EQ(HTTPc_GetAttribute(connection.get(), HTTPcResponse_Server, sizeof text, nullptr, text),
              Error_None);
    EXPECT_STREQ(text, "last");
    EXPECT_EQ(ReadBody(), "Server: body\r\n");
    connection.reset();
  }
}

// ---- hostile servers ------------------------------------------------------------------------------

TEST_F(HTTPcConnection, GivesUpOnAHeaderFlood) {
  string flood = "HTTP/1.0 200 OK\r\n";
  while (flood.size() < 1200000) flood += "X-Flood: water water water water water water water water\r\n";
  ScriptedServer server({Answer(flood)});
  EXPECT_EQ(OpenAndGet(server), Error_Exceed);
  connection.reset();
}

TEST_F(HTTPcConnection, GivesUpOnALineWithoutEnd) {
  ScriptedServer server(
      {Answer(string(100000, 'x')), Answer("HTTP/1.0 200 OK\r\nServer: " + string(100000, 'x'))});
  EXPECT_EQ(OpenAndGet(server), Error_Exceed);
  EXPECT_EQ(OpenAndGet(server), Error_Exceed);
  connection.reset();
}

TEST_F(HTTPcConnection, GivesTimeout_WhenTheResponseTricklesWithoutEnd) {
  // Each would take ten seconds; ten times 50 milliseconds are given.
  const string status = "HTTP/1.0 200 OK\r\n";
  string lines = status;
  for (int i = 0; i < 250; ++i) lines += "a:\r\n";
  string parts = status + "Content-Type: m; boundary=B\r\n" + string(1000, '\n');
  for (const string& response : {string(1000, ' '), status + "X: " + string(1000, 'x'), lines, parts}) {
    ScriptedServer server({AnswerSlowly(response, 10)});
    iSock_SetWaitMilliseconds(50);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(OpenAndGet(server), Error_Timeout) << response.substr(0, 40);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(6));
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(reply.code, 0);
    EXPECT_STREQ(reply.text, "");
    connection.reset();
  }
}

TEST_F(HTTPcConnection, RefusesWhatIsNoResponse) {
  ScriptedServer server({Answer("<html>\r\n\r\n"), Answer("220 ready\r\n\r\n"), Answer("\r\n\r\n"),
                         Answer("HTTP/1.0 200 OK\r\nno colon\r\n\r\n")});
  for (int i = 0; i < 4; ++i) EXPECT_EQ(OpenAndGet(server), Error_Invalid) << i;
  connection.reset();
}

// ---- running out of memory ------------------------------------------------------------------------

TEST_F(HTTPcConnection, GivesMemory_WhenAllocationFails) {
  ScriptedServer server({Answer(Okay("body"))});
  server.RepeatLast();
  server.AllowUnfinished();
  FailEveryAllocation([&] {
    const ErrorCode opened = Open(server);
    EXPECT_TRUE(opened == Error_None || opened == Error_Memory) << opened;
    EXPECT_EQ(opened == Error_None, static_cast<bool>(connection));
    if (opened == Error_None) {
      EXPECT_EQ(Get("http://h/f"), Error_None);
      EXPECT_EQ(ReadBody(), "body");
    }
    connection.reset();
  });
}

}  // namespace
