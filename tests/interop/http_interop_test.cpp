// HTTPc against real servers: nginx, which answers ranges, and lighttpd, which ignores them.
// tests/support/servers starts both and names them in QZ_TEST_* variables; without those every test here
// fails.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "net/httpc_internal.h"
#include "os/core/owned.h"
#include "os/core/socketlayer_internal.h"
#include "qz/error.h"
#include "qz/time.h"
#include "tests/support/test_stream.h"

namespace {

using std::string;
using std::string_view;

// numbers.txt: the lines 0000000 to 0099999.
constexpr uint32_t kNumbersBytes = 800000;

string Numbers(uint32_t first, uint32_t count) {
  string text;
  for (uint32_t line = first / 8; text.size() < count + 8; ++line) {
    char digits[16];
    snprintf(digits, sizeof digits, "%07lu\n", static_cast<unsigned long>(line));
    text += digits;
  }
  return text.substr(first % 8, count);
}

class HTTPInterop : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(iSock_Init(), Error_None);
    nginxPort = Port("QZ_TEST_HTTP_PORT");
    lighttpdPort = Port("QZ_TEST_HTTP_NORANGE_PORT");
    ASSERT_TRUE(nginxPort != 0 && lighttpdPort != 0)
        << "start the servers first: tests/support/servers start DIR, then read the variables in DIR/env";
  }
  void TearDown() override {
    connection.reset();
    iSock_Exit();
  }

  static uint32_t Port(const char* variable) {
    const char* text = getenv(variable);
    EXPECT_NE(text, nullptr) << variable << " is not set";
    return text != nullptr ? static_cast<uint32_t>(strtoul(text, nullptr, 10)) : 0;
  }

  void Open(uint32_t port) {
    ASSERT_EQ(HTTPc_Open("127.0.0.1", port, connection.out()), Error_None);
    base = "http://127.0.0.1:" + std::to_string(port);
  }

  void SetRange(uint32_t first, uint32_t last) {
    const uint32_t range[] = {first, last};
    ASSERT_EQ(HTTPc_SetAttribute(connection.get(), 6, 8, range), Error_None);
  }

  void SetText(int32_t index, string_view text) {
    ASSERT_EQ(HTTPc_SetAttribute(connection.get(), index, static_cast<uint32_t>(text.size()), text.data()),
              0);
  }

  void Get(const string& path, int32_t code) {
    ASSERT_EQ(HTTPc_Get(connection.get(), (base + path).c_str(), &reply, &stream), Error_None);
    ASSERT_EQ(reply.code, code);
  }

  string ReadBody() {
    string body;
    char buffer[4096];
    while (const uint32_t count = Stream_Read(stream, sizeof buffer, buffer)) body.append(buffer, count);
    EXPECT_EQ(Stream_Error(stream), Error_Ended);
    return body;
  }

  string Text(int32_t index) {
    char buffer[256] = "";
    EXPECT_EQ(HTTPc_GetAttribute(connection.get(), index, sizeof buffer, nullptr, buffer), Error_None)
        << index;
    return buffer;
  }

  uint32_t Length() {
    uint32_t length = 0xFFFFFFFFu;
    EXPECT_EQ(HTTPc_GetAttribute(connection.get(), 7, 4, nullptr, &length), Error_None);
    return length;
  }

  uint32_t nginxPort = 0;
  uint32_t lighttpdPort = 0;
  string base;
  Owned<HTTPc, HTTPc_Close> connection;
  Reply reply = {};
  Stream* stream = nullptr;
};

TEST_F(HTTPInterop, GetsAFileWhole) {
  for (uint32_t port : {nginxPort, lighttpdPort}) {
    Open(port);
    Get("/numbers.txt", 200);
    EXPECT_STREQ(reply.text, "OK");
    EXPECT_EQ(Length(), kNumbersBytes);
    EXPECT_TRUE(ReadBody() == Numbers(0, kNumbersBytes));
  }
}

TEST_F(HTTPInterop, GetsTheHeadersOfTheServer) {
  Open(nginxPort);
  Get("/small.txt", 200);
  EXPECT_EQ(Text(1).substr(0, 6), "nginx/");
  EXPECT_EQ(Text(2), "close");
  EXPECT_EQ(Text(4), "application/octet-stream");
  EXPECT_EQ(Text(5), "bytes");
  EXPECT_EQ(Length(), 6u);
  EXPECT_EQ(ReadBody(), "hello\n");

  // The server's clock is this machine's. A date in May reads as one in March.
  Time expected = {};
  TimeData calendar = {};
  Time_Get(&expected);
  Time_TimeToData(&expected, &calendar);
  if (calendar.month == 5) calendar.month = 3;
  ASSERT_EQ(Time_DataToTime(&calendar, &expected), 0);
  Time date = {};
  Time modified = {};
  ASSERT_EQ(HTTPc_GetAttribute(connection.get(), 3, 8, nullptr, &date), Error_None);
  ASSERT_EQ(HTTPc_GetAttribute(connection.get(), 6, 8, nullptr, &modified), Error_None);
  EXPECT_NEAR(static_cast<double>(date.seconds), static_cast<double>(expected.seconds), 120.0);
  EXPECT_LE(modified.seconds, date.seconds);
  char range[8];
  EXPECT_EQ(HTTPc_GetAttribute(connection.get(), 8, 8, nullptr, range), Error_NotFound);
  EXPECT_EQ(HTTPc_GetAttribute(connection.get(), 9, 8, nullptr, range), Error_NotFound);
}

TEST_F(HTTPInterop, ResumesFromAnOffset) {
  for (uint32_t first : {0u, 1u, 1000u, kNumbersBytes - 1}) {
    Open(nginxPort);
    SetText(2, "qz");
    SetText(4, "*/*");
    SetText(1, "Keep-Alive");
    SetRange(first, 0xFFFFFFFFu);
    Get("/numbers.txt", 206);
    EXPECT_STREQ(reply.text, "Partial");
    EXPECT_EQ(Length(), kNumbersBytes - first);
    uint32_t range[2] = {};
    EXPECT_EQ(HTTPc_GetAttribute(connection.get(), 8, 8, nullptr, range), Error_None);
    EXPECT_EQ(range[0], first);
    EXPECT_EQ(range[1], kNumbersBytes - 1);
    string body(kNumbersBytes - first, 0);
    uint32_t got = 0;
    while (got < body.size()) {
      const uint32_t count = Stream_Read(stream, static_cast<uint32_t>(body.size()) - got, body.data() + got);
      ASSERT_NE(count, 0u);
      got += count;
    }
    EXPECT_TRUE(body == Numbers(first, kNumbersBytes - first)) << first;
  }
}

TEST_F(HTTPInterop, GetsAPartOfAFile) {
  Open(nginxPort);
  SetRange(1003, 2004);
  Get("/numbers.txt", 206);
  EXPECT_EQ(Length(), 1002u);
  EXPECT_EQ(ReadBody(), Numbers(1003, 1002));
}

TEST_F(HTTPInterop, IsTold_WhenTheRangeLiesBehindTheEnd) {
  Open(nginxPort);
  SetRange(kNumbersBytes, 0xFFFFFFFFu);
  Get("/numbers.txt", 416);
  // "bytes */800000" holds no range.
  uint32_t range[2] = {};
  EXPECT_EQ(HTTPc_GetAttribute(connection.get(), 8, 8, nullptr, range), Error_NotFound);
}

TEST_F(HTTPInterop, GetsTheWholeFile_WhenTheServerIgnoresRanges) {
  Open(lighttpdPort);
  SetRange(1000, 0xFFFFFFFFu);
  Get("/numbers.txt", 200);
  uint32_t range[2] = {};
  EXPECT_EQ(HTTPc_GetAttribute(connection.get(), 8, 8, nullptr, range), Error_NotFound);
  EXPECT_EQ(Length(), kNumbersBytes);
  EXPECT_TRUE(ReadBody() == Numbers(0, kNumbersBytes));
}

TEST_F(HTTPInterop, GetsANameWithABlank) {
  for (uint32_t port : {nginxPort, lighttpdPort}) {
    for (const char* path : {"/with%20blank.txt", "/with blank.txt"}) {
      Open(port);
      Get(path, 200);
      EXPECT_EQ(ReadBody(), "blank\n") << path;
    }
  }
}

TEST_F(HTTPInterop, GetsAnEmptyFile) {
  for (uint32_t port : {nginxPort, lighttpdPort}) {
    Open(port);
    Get("/empty.txt", 200);
    EXPECT_EQ(Length(), 0u);
    EXPECT_EQ(ReadBody(), "");
  }
}

TEST_F(HTTPInterop, IsToldWhereARedirectGoes) {
  for (int n = 3; n > 0; --n) {
    Open(nginxPort);
    Get(string("/redirect/").append(std::to_string(n)), 302);
    EXPECT_EQ(reply.replyClass, '3');
    EXPECT_EQ(Text(9), base + string("/redirect/").append(std::to_string(n - 1)));
  }
  Open(nginxPort);
  Get("/redirect/0", 200);
  EXPECT_EQ(ReadBody(), "redirected\n");

  const struct {
    const char* path;
    const char* location;
  } rows[] = {{"/redirect-relative", "/redirect/0"},
              {"/redirect-to/ftp/127.0.0.1:2121/a", "ftp://127.0.0.1:2121/a"},
              {"/redirect-to/file//etc/passwd", "file:///etc/passwd"}};
  for (const auto& row : rows) {
    Open(nginxPort);
    Get(row.path, 302);
    EXPECT_EQ(Text(9), row.location);
  }
  Open(nginxPort);
  Get("/loop", 302);
  EXPECT_EQ(Text(9), base + "/loop");
}

TEST_F(HTTPInterop, IsToldWhatWentWrong) {
  for (int32_t code : {400, 401, 403, 404, 416, 500, 503}) {
    Open(nginxPort);
    Get(string("/status/").append(std::to_string(code)), code);
    EXPECT_EQ(reply.replyClass, '0' + code / 100);
  }
  for (uint32_t port : {nginxPort, lighttpdPort}) {
    Open(port);
    Get("/no-such-file", 404);
    EXPECT_STREQ(reply.text, "Not");
  }
}

TEST_F(HTTPInterop, PostsABody) {
  Open(nginxPort);
  TestStream body(Numbers(0, kNumbersBytes));
  const uint32_t length = kNumbersBytes;
  ASSERT_EQ(HTTPc_SetAttribute(connection.get(), 5, 4, &length), Error_None);
  uint32_t sent = 0;
  ASSERT_EQ(HTTPc_Post(connection.get(), "/post", length, body.stream(), &sent, &reply, &stream), Error_None);
  EXPECT_EQ(sent, kNumbersBytes);
  EXPECT_EQ(reply.code, 200);
  EXPECT_EQ(ReadBody(), "800000 bytes\n");
}

TEST_F(HTTPInterop, UsesAServerAsAProxy) {
  // Both servers take a whole URL as request URI, as a proxy does.
  Open(nginxPort);
  connection->viaProxy = true;
  Get("/small.txt", 200);
  EXPECT_EQ(ReadBody(), "hello\n");
}

}  // namespace
