// Connections that are kept between requests: when they are, when they are not, and that nothing of one
// request reaches another one.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "net/httpc_testing.h"
#include "net/sock_testing.h"
#include "os/core/memory_testing.h"
#include "os/core/owned.h"
#include "os/core/socketlayer_internal.h"
#include "qz/error.h"
#include "qz/proxy.h"
#include "tests/support/loopback.h"
#include "tests/support/scripted_http.h"
#include "tests/support/test_stream.h"

namespace {

using std::string;

constexpr const char* kHost = "127.0.0.1";
constexpr const char* kEmptyLine = "\r\n\r\n";

using Connection = Owned<HTTPc, HTTPc_Close>;

// A response whose server keeps the connection.
string Keeps(const string& body) {
  return "HTTP/1.1 200 OK\r\nConnection: keep-alive\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\n\r\n" + body;
}

string Request(const string& path) {
  return "GET " + path + " HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n";
}

class HTTPcPoolTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(iSock_Init(), Error_None);
    ASSERT_EQ(HTTPcPool_New(&pool), Error_None);
  }
  void TearDown() override {
    if (pool != nullptr) HTTPcPool_Delete(pool);
    Proxy_SetEnabled(0);
    Proxy_SetServer(0, nullptr, 0);
    Proxy_SetBypassList(nullptr);
    iSock_Exit();
  }

  ErrorCode Open(const ScriptedServer& server, Connection* connection) {
    return iHTTPc_Open(pool, kHost, server.port(), interrupt, connection->out());
  }

  // The status of the request; `reply` and `stream` have what came.
  ErrorCode Get(const ScriptedServer& server, HTTPc* connection, const string& path = "/f") {
    return HTTPc_Get(connection, ("http://" + server.address() + path).c_str(), &reply, &stream);
  }

  string Read(uint32_t count) {
    string bytes(count, '\0');
    bytes.resize(Stream_Read(stream, count, bytes.data()));
    return bytes;
  }

  // A whole request: its body of so many bytes. The connection is left to the pool, and given for looks at
  // its record.
  string Fetch(const ScriptedServer& server, uint32_t count, const string& path = "/f",
               HTTPc** left = nullptr) {
    Connection connection;
    if (Open(server, &connection) != Error_None) return "not connected";
    if (Get(server, connection.get(), path) != Error_None) return "no response";
    const string body = Read(count);
    if (left != nullptr) *left = connection.get();
    iHTTPc_CloseInto(pool, connection.release());
    return body;
  }

  // Closes what the pool keeps, and waits for the end of the scripts.
  void End(ScriptedServer* server, size_t connections) {
    EXPECT_EQ(HTTPcPool_Delete(std::exchange(pool, nullptr)), Error_None);
    server->Finish();
    EXPECT_EQ(server->Connections(), connections);
  }

  HTTPcPool* pool = nullptr;
  const SockInterrupt* interrupt = nullptr;
  Reply reply = {};
  Stream* stream = nullptr;
};

void WaitAMoment() {
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

// ---- kept -----------------------------------------------------------------------------------------

TEST_F(HTTPcPoolTest, ServesTheNextRequestOverTheSameConnection) {
  ScriptedServer server({{script::Expect(Request("/a")), script::Send(Keeps("first")),
                          script::Expect(Request("/b")), script::Send(Keeps("second one")),
                          script::Expect(Request("/c")), script::Send(Keeps("")), script::ExpectEnd()}});
  EXPECT_EQ(Fetch(server, 5, "/a"), "first");
  EXPECT_EQ(Fetch(server, 10, "/b"), "second one");
  EXPECT_EQ(Fetch(server, 0, "/c"), "");
  End(&server, 1);
}

TEST_F(HTTPcPoolTest, LeavesEveryRequestItsOwnConnection_WithoutAPool) {
  ScriptedServer server({{script::Expect(Request("/f")), script::Send(Keeps("abc")), script::ExpectEnd()}});
  server.RepeatLast();
  HTTPcPool* const own = std::exchange(pool, nullptr);
  EXPECT_EQ(Fetch(server, 3), "abc");
  EXPECT_EQ(Fetch(server, 3), "abc");
  server.Finish();
  EXPECT_EQ(server.Connections(), 2u);
  pool = own;
}

TEST_F(HTTPcPoolTest, TakesNoHeaderOfTheRequestBefore) {
  ScriptedServer server(
      {{script::Expect("GET /a HTTP/1.0\r\nReferer: r\r\nHost: h\r\nRange: bytes=7-\r\n\r\n"),
        script::Send(Keeps("a")), script::Expect(Request("/b")), script::Send(Keeps("b")),
        script::ReadToEnd()}});
  Connection first;
  ASSERT_EQ(Open(server, &first), Error_None);
  EXPECT_EQ(HTTPc_SetAttribute(first.get(), HTTPcRequest_Referer, 1, "r"), Error_None);
  EXPECT_EQ(HTTPc_SetAttribute(first.get(), HTTPcRequest_Host, 1, "h"), Error_None);
  EXPECT_EQ(HTTPc_SetRange64(first.get(), 7, UINT64_MAX), Error_None);
  ASSERT_EQ(Get(server, first.get(), "/a"), Error_None);
  EXPECT_EQ(Read(1), "a");
  iHTTPc_CloseInto(pool, first.release());
  EXPECT_EQ(Fetch(server, 1, "/b"), "b");
  first.reset();
  End(&server, 1);
}

TEST_F(HTTPcPoolTest, ServesTwoRequestsAtOnceOverTwoConnections) {
  ScriptedServer server({{script::Expect(Request("/f")), script::Send(Keeps("abc")), script::ReadToEnd()}});
  server.RepeatLast();
  Connection first, second;
  ASSERT_EQ(Open(server, &first), Error_None);
  ASSERT_EQ(Open(server, &second), Error_None);
  ASSERT_EQ(Get(server, first.get()), Error_None);
  EXPECT_EQ(Read(3), "abc");
  ASSERT_EQ(Get(server, second.get()), Error_None);
  EXPECT_EQ(Read(3), "abc");
  first.reset();
  second.reset();
  End(&server, 2);
}

// ---- not kept -------------------------------------------------------------------------------------

TEST_F(HTTPcPoolTest, KeepsNoConnectionWhoseBodyWasNotReadToItsEnd) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")), script::ReadToEnd()}});
  server.RepeatLast();
  EXPECT_EQ(Fetch(server, 2), "ab");
  EXPECT_EQ(Fetch(server, 0), "");
  EXPECT_EQ(Fetch(server, 3), "abc");
  End(&server, 3);
}

TEST_F(HTTPcPoolTest, KeepsNoConnectionThatTheServerCloses) {
  ScriptedServer server(
      {{script::ReadUntil(kEmptyLine),
        script::Send("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 3\r\n\r\nabc"),
        script::ExpectEnd()}});
  server.RepeatLast();
  EXPECT_EQ(Fetch(server, 3), "abc");
  EXPECT_EQ(Fetch(server, 3), "abc");
  End(&server, 2);
}

// The bytes behind a body are a response that nobody asked for.
TEST_F(HTTPcPoolTest, KeepsNoConnectionWithBytesBehindTheBody) {
  ScriptedServer server(
      {{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc") + Keeps("bad")), script::ReadToEnd()},
       {script::ReadUntil(kEmptyLine), script::Send(Keeps("def")), script::ReadToEnd()}});
  EXPECT_EQ(Fetch(server, 3), "abc");
  EXPECT_EQ(Fetch(server, 3), "def");
  End(&server, 2);
}

TEST_F(HTTPcPoolTest, DropsAConnectionOnWhichBytesComeBetweenRequests) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")), script::Wait(100),
                          script::Send(Keeps("bad")), script::ReadToEnd()},
                         {script::ReadUntil(kEmptyLine), script::Send(Keeps("def")), script::ReadToEnd()}});
  EXPECT_EQ(Fetch(server, 3), "abc");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(Fetch(server, 3), "def");
  End(&server, 2);
}

// More was read than the length says: a caller that reads to the end of the connection.
TEST_F(HTTPcPoolTest, KeepsNoConnectionOfWhichMoreThanTheBodyWasRead) {
  ScriptedServer server(
      {{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc") + "X"), script::ReadToEnd()}});
  server.RepeatLast();
  EXPECT_EQ(Fetch(server, 4), "abcX");
  EXPECT_EQ(Fetch(server, 4), "abcX");
  End(&server, 2);
}

TEST_F(HTTPcPoolTest, KeepsNoConnectionThatWasInterrupted) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")), script::ReadToEnd()}});
  server.RepeatLast();
  SockInterrupt stop;
  interrupt = &stop;
  Connection connection;
  ASSERT_EQ(Open(server, &connection), Error_None);
  ASSERT_EQ(Get(server, connection.get()), Error_None);
  EXPECT_EQ(Read(3), "abc");
  stop.Set();
  iHTTPc_CloseInto(pool, connection.release());
  interrupt = nullptr;
  EXPECT_EQ(Fetch(server, 3), "abc");
  connection.reset();
  End(&server, 2);
}

TEST_F(HTTPcPoolTest, CancelsOpening_WhenItsOwnTransferIsInterrupted) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")), script::ReadToEnd()}});
  EXPECT_EQ(Fetch(server, 3), "abc");
  SockInterrupt stop;
  stop.Set();
  interrupt = &stop;
  Connection connection;
  EXPECT_EQ(Open(server, &connection), Error_Cancel);
  EXPECT_FALSE(connection);
  End(&server, 1);
}

// The one that left the connection is not asked any more, the one that has it is.
TEST_F(HTTPcPoolTest, ObeysTheInterruptOfTheRequestThatHasTheConnection) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")),
                          script::ReadUntil(kEmptyLine), script::Send(Keeps("def")), script::ReadToEnd()}});
  {
    SockInterrupt gone;
    interrupt = &gone;
    EXPECT_EQ(Fetch(server, 3), "abc");
  }
  SockInterrupt stop;
  interrupt = &stop;
  Connection connection;
  ASSERT_EQ(Open(server, &connection), Error_None);
  ASSERT_EQ(Get(server, connection.get()), Error_None);
  EXPECT_EQ(Read(1), "d");
  stop.Set();
  EXPECT_EQ(Read(1), "");
  EXPECT_EQ(Stream_Error(stream), Error_Cancel);
  connection.reset();
  End(&server, 1);
}

TEST_F(HTTPcPoolTest, KeepsNoConnectionToAProxy) {
  ScriptedServer proxy({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")), script::ReadToEnd()}});
  proxy.RepeatLast();
  Proxy_SetServer(ProxyIndex_HTTP, kHost, proxy.port());
  Proxy_SetEnabled(1);
  for (size_t i = 1; i <= 2; ++i) {
    Connection connection;
    ASSERT_EQ(iHTTPc_Open(pool, "far.example", 80, nullptr, connection.out()), Error_None);
    ASSERT_EQ(HTTPc_Get(connection.get(), "http://far.example/f", &reply, &stream), Error_None);
    EXPECT_EQ(Read(3), "abc");
    iHTTPc_CloseInto(pool, connection.release());
    EXPECT_EQ(proxy.Connections(), i);
  }
}

TEST_F(HTTPcPoolTest, ServesNoOtherHostOrPort) {
  ScriptedServer first({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")), script::ReadToEnd()},
                        {script::ReadToEnd()}});
  ScriptedServer second({{script::ReadUntil(kEmptyLine), script::Send(Keeps("def")), script::ReadToEnd()}});
  EXPECT_EQ(Fetch(first, 3), "abc");
  EXPECT_EQ(Fetch(second, 3), "def");
  Connection connection;
  ASSERT_EQ(iHTTPc_Open(pool, "localhost", first.port(), nullptr, connection.out()), Error_None);
  EXPECT_FALSE(connection->isKept);
  connection.reset();
  End(&first, 2);
  second.Finish();
}

TEST_F(HTTPcPoolTest, KeepsAConnectionForFourSeconds) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")),
                          script::ReadUntil(kEmptyLine), script::Send(Keeps("def")), script::ReadToEnd()},
                         {script::ReadUntil(kEmptyLine), script::Send(Keeps("new")), script::ReadToEnd()}});
  HTTPc* kept = nullptr;
  EXPECT_EQ(Fetch(server, 3, "/f", &kept), "abc");
  kept->keptSinceMilliseconds -= 3500;
  EXPECT_EQ(Fetch(server, 3, "/f", &kept), "def");
  kept->keptSinceMilliseconds -= 4001;
  EXPECT_EQ(Fetch(server, 3), "new");
  End(&server, 2);
}

TEST_F(HTTPcPoolTest, KeepsEightConnectionsAndClosesTheOldest) {
  constexpr size_t kAll = 9;
  std::atomic<bool> hasOldestEnded{false};
  const Script answer = {script::ReadUntil(kEmptyLine), script::Send(Keeps("b")), script::ReadToEnd()};
  std::vector<Script> scripts(kAll, answer);
  scripts[0].push_back(script::Do([&](ScriptSession&) { hasOldestEnded = true; }));
  scripts.push_back({script::ReadToEnd()});
  ScriptedServer server(scripts);
  std::vector<Connection> all(kAll);
  for (Connection& connection : all) {
    ASSERT_EQ(Open(server, &connection), Error_None);
    ASSERT_EQ(Get(server, connection.get()), Error_None);
    ASSERT_EQ(Read(1), "b");
  }
  for (Connection& connection : all) iHTTPc_CloseInto(pool, connection.release());
  for (int i = 0; i < 100 && !hasOldestEnded; ++i) WaitAMoment();
  EXPECT_TRUE(hasOldestEnded);
  size_t kept = 0;
  for (Connection& connection : all) {
    ASSERT_EQ(Open(server, &connection), Error_None);
    kept += connection->isKept ? 1 : 0;
  }
  EXPECT_EQ(kept, 8u);
  all.clear();
  End(&server, 10);
}

// ---- ended meanwhile ------------------------------------------------------------------------------

TEST_F(HTTPcPoolTest, ConnectsAnew_WhenTheServerHasEndedTheConnection) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")), script::Close()},
                         {script::Expect(Request("/f")), script::Send(Keeps("def")), script::ReadToEnd()}});
  EXPECT_EQ(Fetch(server, 3), "abc");
  WaitAMoment();
  EXPECT_EQ(Fetch(server, 3), "def");
  End(&server, 2);
}

// What the request needs is sent again, all of it.
TEST_F(HTTPcPoolTest, AsksAgain_WhenTheConnectionEndsWithoutAByteOfTheResponse) {
  for (const ScriptStep& end : {script::Close(), script::Reset()}) {
    ScriptedServer server(
        {{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")), script::ReadUntil(kEmptyLine), end},
         {script::Expect("GET /b HTTP/1.0\r\nHost: 127.0.0.1\r\nRange: bytes=3-\r\n\r\n"),
          script::Send(Keeps("def")), script::ReadToEnd()}});
    EXPECT_EQ(Fetch(server, 3), "abc");
    Connection connection;
    ASSERT_EQ(Open(server, &connection), Error_None);
    EXPECT_TRUE(connection->isKept);
    EXPECT_EQ(HTTPc_SetRange64(connection.get(), 3, UINT64_MAX), Error_None);
    ASSERT_EQ(Get(server, connection.get(), "/b"), Error_None);
    EXPECT_EQ(reply.code, 200);
    EXPECT_EQ(Read(3), "def");
    connection.reset();
    End(&server, 2);
    ASSERT_EQ(HTTPcPool_New(&pool), Error_None);
  }
}

TEST_F(HTTPcPoolTest, AsksAgainOnce) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")),
                          script::ReadUntil(kEmptyLine), script::Close()},
                         {script::ReadUntil(kEmptyLine), script::Close()}});
  EXPECT_EQ(Fetch(server, 3), "abc");
  Connection connection;
  ASSERT_EQ(Open(server, &connection), Error_None);
  EXPECT_EQ(Get(server, connection.get()), Error_Ended);
  EXPECT_EQ(reply.code, 0);
  EXPECT_EQ(stream, nullptr);
  connection.reset();
  End(&server, 2);
}

TEST_F(HTTPcPoolTest, DoesNotAskAgain_OnceAByteOfTheResponseHasCome) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")),
                          script::ReadUntil(kEmptyLine), script::Send("H"), script::Close()}});
  EXPECT_EQ(Fetch(server, 3), "abc");
  Connection connection;
  ASSERT_EQ(Open(server, &connection), Error_None);
  EXPECT_EQ(Get(server, connection.get()), Error_Ended);
  connection.reset();
  End(&server, 1);
}

TEST_F(HTTPcPoolTest, DoesNotAskAgain_OnANewConnection) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Close()}});
  Connection connection;
  ASSERT_EQ(Open(server, &connection), Error_None);
  EXPECT_EQ(Get(server, connection.get()), Error_Ended);
  connection.reset();
  End(&server, 1);
}

TEST_F(HTTPcPoolTest, DoesNotAskAgain_WhenTheServerIsSilent) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")), script::Stall()}});
  server.AllowUnfinished();
  EXPECT_EQ(Fetch(server, 3), "abc");
  Connection connection;
  ASSERT_EQ(Open(server, &connection), Error_None);
  iSock_SetWaitMilliseconds(50);
  EXPECT_EQ(Get(server, connection.get()), Error_Timeout);
  iSock_SetWaitMilliseconds(0);
  connection.reset();
  End(&server, 1);
}

// Half of it may have been taken: the server may not get it twice.
TEST_F(HTTPcPoolTest, SendsNoBodyTwice) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")),
                          script::ReadUntil(kEmptyLine), script::Close()}});
  EXPECT_EQ(Fetch(server, 3), "abc");
  Connection connection;
  ASSERT_EQ(Open(server, &connection), Error_None);
  TestStream body("xyz");
  uint64_t sent = 0;
  EXPECT_NE(HTTPc_Post64(connection.get(), "/f", 3, body.stream(), &sent, &reply, &stream), Error_None);
  connection.reset();
  End(&server, 1);
}

TEST_F(HTTPcPoolTest, GivesTheStatusOfConnecting_WhenTheServerIsGone) {
  ScriptedServer server({{script::ReadUntil(kEmptyLine), script::Send(Keeps("abc")), script::ReadToEnd()}});
  EXPECT_EQ(Fetch(server, 3), "abc");
  Connection connection;
  ASSERT_EQ(Open(server, &connection), Error_None);
  server.Stop();
  EXPECT_EQ(Get(server, connection.get()), Error_NoAccess);
  EXPECT_EQ(reply.code, 0);
  EXPECT_EQ(stream, nullptr);
  EXPECT_EQ(HTTPc_GetError(connection.get()), Error_Invalid);
  EXPECT_EQ(HTTPc_GetPeerName(connection.get(), nullptr, nullptr), Error_Invalid);
}

// ---- what a response says -------------------------------------------------------------------------

bool LeavesOpen(const string& head) {
  TestStream bytes(head + "\r\n");
  HTTPcResponseRecord response = {};
  Reply reply;
  EXPECT_EQ(iHTTPc_ReadResponse(bytes.stream(), &response, &reply), Error_None) << head;
  return iHTTPc_LeavesConnectionOpen(response);
}

TEST(HTTPcLeavesConnectionOpen, NeedsTheLengthAndTheServersWord) {
  const string ok = "HTTP/1.1 200 OK\r\n";
  const string keep = "Connection: keep-alive\r\n";
  const string length = "Content-Length: 10\r\n";
  EXPECT_TRUE(LeavesOpen(ok + keep + length));
  EXPECT_TRUE(LeavesOpen(ok + length + "connection: Keep-Alive\r\n"));
  EXPECT_TRUE(LeavesOpen(ok + length + "Connection: Upgrade, keep-alive\r\n"));
  EXPECT_TRUE(LeavesOpen("HTTP/1.0 200 OK\r\n" + keep + length));
  EXPECT_TRUE(LeavesOpen("HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 0-9/10\r\n" + keep + length));
  EXPECT_TRUE(LeavesOpen(ok + keep + "Content-Length: 0\r\n"));

  EXPECT_FALSE(LeavesOpen(ok + length));
  EXPECT_FALSE(LeavesOpen(ok + keep));
  EXPECT_FALSE(LeavesOpen(ok + length + "Connection: close\r\n"));
  EXPECT_FALSE(LeavesOpen(ok + length + "Connection: keep-alive, close\r\n"));
  EXPECT_FALSE(LeavesOpen(ok + length + keep + "Connection: close\r\n"));
  EXPECT_FALSE(LeavesOpen(ok + length + "Connection: close\r\n" + keep));
  EXPECT_FALSE(LeavesOpen(ok + length + "Connection: not-keep-alive\r\n"));
  EXPECT_FALSE(LeavesOpen(ok + length + "Connection:\r\n"));
}

TEST(HTTPcLeavesConnectionOpen, NeedsOneLengthThatIsPlain) {
  const string start = "HTTP/1.1 200 OK\r\nConnection: keep-alive\r\n";
  for (const char* bad :
       {"Content-Length: 10\r\nContent-Length: 10\r\n", "Content-Length: 10\r\nContent-Length: 5\r\n",
        "Content-Length: 10, 10\r\n", "Content-Length: 10x\r\n", "Content-Length: +10\r\n",
        "Content-Length: -1\r\n", "Content-Length:\r\n", "Content-Length: 0x10\r\n",
        "Content-Length: 10\r\nContent-Length:\r\n", "Content-Length: 18446744073709551616\r\n",
        "Content-Length: 18446744073709551615\r\n", "Content-Length: 10\r\nTransfer-Encoding: chunked\r\n",
        "Transfer-Encoding: identity\r\nContent-Length: 10\r\n",
        "Transfer-Encoding:\r\nContent-Length: 10\r\n"})
    EXPECT_FALSE(LeavesOpen(start + bad)) << bad;
  EXPECT_TRUE(LeavesOpen(start + "Content-Length: 18446744073709551614\r\n"));
}

// Some have no body whatever their length says, others are not the file.
TEST(HTTPcLeavesConnectionOpen, NeedsAFile) {
  const string rest = " Said\r\nConnection: keep-alive\r\nContent-Length: 10\r\n";
  for (const char* code :
       {"100", "101", "199", "201", "203", "204", "205", "207", "301", "304", "404", "416", "500", "-200"})
    EXPECT_FALSE(LeavesOpen(string("HTTP/1.1 ") + code + rest)) << code;
}

TEST(HTTPcLeavesConnectionOpen, NeedsASinglePart) {
  EXPECT_FALSE(
      LeavesOpen("HTTP/1.1 206 Partial\r\nConnection: keep-alive\r\nContent-Length: 100\r\n"
                 "Content-Type: multipart/byteranges; boundary=B\r\n\r\n"
                 "--B\r\nContent-Type: text/plain\r\nContent-Range: bytes 0-9/10\r\n"));
}

// ---- the pool -------------------------------------------------------------------------------------

TEST(HTTPcPoolObject, RefusesNull) {
  EXPECT_EQ(HTTPcPool_New(nullptr), Error_Invalid);
  EXPECT_EQ(HTTPcPool_Delete(nullptr), Error_Invalid);
}

TEST(HTTPcPoolObject, GivesMemory_WhenThereIsNone) {
  HTTPcPool* pool = reinterpret_cast<HTTPcPool*>(&pool);
  iMemory_FailAllocation(1);
  EXPECT_EQ(HTTPcPool_New(&pool), Error_Memory);
  iMemory_FailAllocation(0);
  EXPECT_EQ(pool, nullptr);
}

}  // namespace
