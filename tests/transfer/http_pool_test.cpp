// Transfers that leave each other their connections: what is said and done is the same as without.
#include "qz/httpc.h"
#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

std::string Keeps(const std::string& body) {
  const std::string size = std::to_string(body.size());
  return "HTTP/1.1 206 Partial Content\r\nConnection: keep-alive\r\nContent-Length: " + size +
         "\r\nContent-Range: bytes 0-" + std::to_string(body.size() - 1) + "/" + size + "\r\n\r\n" + body;
}

class HTTPPool : public TransferTest {
 protected:
  void SetUp() override {
    TransferTest::SetUp();
    ASSERT_EQ(HTTPcPool_New(&pool_), Error_None);
  }
  void TearDown() override {
    if (pool_ != nullptr) HTTPcPool_Delete(pool_);
    TransferTest::TearDown();
  }

  std::unique_ptr<TracedTransfer> NewPooled(const ScriptedServer& server, const std::string& name) {
    auto download = NewTransfer();
    EXPECT_EQ(download->Download(URL(server, "/" + name), Out(name)), Error_None);
    EXPECT_EQ(VRXClient_SetPool(*download, pool_), Error_None);
    return download;
  }
  Script AnswersTwice(const std::string& first, const std::string& second) const {
    return {script::Expect(Request("/a")), script::Send(first), script::Expect(Request("/b")),
            script::Send(second), script::ReadToEnd()};
  }
  // Closes what the pool keeps, and waits for the end of the scripts.
  void End(ScriptedServer* server, size_t connections) {
    EXPECT_EQ(HTTPcPool_Delete(std::exchange(pool_, nullptr)), Error_None);
    server->Finish();
    EXPECT_EQ(server->Connections(), connections);
  }
  // All that is said of a download that goes well.
  static Lines Conversation(const std::string& name) {
    return Join({Begins(), {kCanResume, "Downloading...", "Idle: 1, state 11", kDataStep}, Ends(name)});
  }

  HTTPcPool* pool_ = nullptr;
};

TEST_F(HTTPPool, GivesTheSameConversationsOverOneConnection) {
  ScriptedServer server({AnswersTwice(Keeps("abcdefghij"), Keeps("0123456789"))});
  Name(server);
  for (const char* name : {"a", "b"}) {
    auto download = NewPooled(server, name);
    download->RunToCompletion();
    EXPECT_EQ(download->Take(), Conversation(name));
  }
  EXPECT_EQ(OutBytes("a"), "abcdefghij");
  EXPECT_EQ(OutBytes("b"), "0123456789");
  End(&server, 1);
}

TEST_F(HTTPPool, IsNotUsedUnlessItIsGiven) {
  ScriptedServer server({{script::Expect(Request("/a")), script::Send(Keeps("abc")), script::ExpectEnd()},
                         {script::Expect(Request("/b")), script::Send(Keeps("def")), script::ExpectEnd()}});
  Name(server);
  NewDownload(URL(server, "/a"), Callbacks::MessagesOnly, "a")->RunToCompletion();
  NewDownload(URL(server, "/b"), Callbacks::MessagesOnly, "b")->RunToCompletion();
  server.Finish();
  EXPECT_EQ(OutBytes("a"), "abc");
  EXPECT_EQ(OutBytes("b"), "def");
}

// The server ends the connection that it promised to keep: nothing of that is seen.
TEST_F(HTTPPool, SaysNothingOfAConnectionThatHasEnded) {
  ScriptedServer server(
      {{script::Expect(Request("/a")), script::Send(Keeps("abcdefghij")), script::Expect(Request("/b")),
        script::Reset()},
       {script::Expect(Request("/b")), script::Send(Keeps("0123456789")), script::ReadToEnd()}});
  Name(server);
  for (const char* name : {"a", "b"}) {
    auto download = NewPooled(server, name);
    download->RunToCompletion();
    EXPECT_EQ(download->Take(), Conversation(name));
  }
  EXPECT_EQ(OutBytes("b"), "0123456789");
  End(&server, 2);
}

// The first one's bytes that are still under way are nobody's.
TEST_F(HTTPPool, TakesNothingOfATransferThatWasStopped) {
  const std::string whole = Keeps("abcdefghij");
  ScriptedServer server(
      {{script::Expect(Request("/a")), script::Send(whole.substr(0, whole.size() - 6)), script::ReadToEnd()},
       {script::Expect(Request("/b")), script::Send(Keeps("0123456789")), script::ReadToEnd()}});
  Name(server);
  auto stopped = NewPooled(server, "a");
  stopped->RunToState(11);
  stopped->Idle();
  EXPECT_EQ(VRXClient_Stop(*stopped), Error_None);
  NewPooled(server, "b")->RunToCompletion();
  EXPECT_EQ(OutBytes("b"), "0123456789");
  End(&server, 2);
}

// A page in place of a file, a redirect, a refusal: their bodies are not read.
TEST_F(HTTPPool, TakesNothingOfAResponseThatWasRefused) {
  ScriptedServer server(
      {{script::Expect(Request("/a")),
        script::Send("HTTP/1.1 404 Not Found\r\nConnection: keep-alive\r\nContent-Length: 3\r\n\r\nbad"),
        script::ReadToEnd()},
       {script::Expect(Request("/b")), script::Send(Keeps("0123456789")), script::ReadToEnd()}});
  Name(server);
  NewPooled(server, "a")->Run();
  NewPooled(server, "b")->RunToCompletion();
  EXPECT_EQ(OutBytes("b"), "0123456789");
  End(&server, 2);
}

TEST_F(HTTPPool, NeedsATransfer) {
  EXPECT_EQ(VRXClient_SetPool(nullptr, pool_), Error_Invalid);
}

}  // namespace
}  // namespace transfer
