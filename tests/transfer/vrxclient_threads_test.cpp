// Eight threads, each driving transfers of its own against servers that cut, stall and lead elsewhere, while
// another thread stops them now and then.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

using TransferThreads = ConversationTest;

constexpr int kThreads = 8;
constexpr size_t kSize = 20000;

std::string Body() {
  std::string bytes;
  for (int i = 0; bytes.size() < kSize; ++i) bytes += std::to_string(i) + "\n";
  return bytes.substr(0, kSize);
}

std::string Head(size_t offset) {
  return "HTTP/1.0 206 Partial\r\nContent-Range: bytes " + std::to_string(offset) + "-" +
         std::to_string(kSize - 1) + "/" + std::to_string(kSize) + "\r\n\r\n";
}

// What the n-th connection gets, whatever it asks for: the offset stands in the request. A client that is
// stopped may go at any moment, which the script does not mind.
void Answer(ScriptSession& session, const std::string& body) {
  loopback::Connection& client = session.control();
  std::string request;
  while (request.find("\r\n\r\n") == std::string::npos) {
    if (client.ReceiveSome(&request) != loopback::Result::Data) return;
  }
  const size_t at = request.find("bytes=");
  const size_t offset = at == std::string::npos ? 0 : std::stoul(request.substr(at + 6));
  switch (session.number() % 4) {
    case 0:
      client.Send("HTTP/1.0 302 Found\r\nLocation: /elsewhere\r\n\r\n");
      break;
    case 1:
      client.Send(Head(offset) + body.substr(offset, 5000));
      break;
    case 2:
      client.Send(Head(offset) + body.substr(offset, 3000));
      std::this_thread::sleep_for(std::chrono::milliseconds(400));
      break;
    default:
      client.Send(Head(offset) + body.substr(offset));
  }
  client.Close();
}

Script Play(const std::string& body) {
  return {Do([body](ScriptSession& session) { Answer(session, body); })};
}

// A transfer that another thread may stop as long as it stands here.
struct Driven {
  std::mutex mutex;
  VRXClient* client = nullptr;

  void Set(VRXClient* now) {
    const std::lock_guard<std::mutex> lock(mutex);
    client = now;
  }
  void Stop() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (client != nullptr) {
      EXPECT_EQ(VRXClient_Stop(client), 0);
    }
  }
};

void RunOne(const std::string& url, const std::string& target, Driven* driven) {
  VRXClient* client = nullptr;
  ASSERT_EQ(VRXClient_NewDownload(url.c_str(), target.c_str(), 0, nullptr, &client), Error_None);
  driven->Set(client);
  int32_t result = 0;
  for (int i = 0; i < 100000 && result != VRXClientResult_Completed; ++i) result = VRXClient_Idle(client);
  driven->Set(nullptr);
  EXPECT_EQ(result, VRXClientResult_Completed);
  EXPECT_EQ(VRXClient_Close(client), Error_None);
}

TEST_F(TransferThreads, DriveTransfersOfTheirOwn) {
  iSock_SetWaitMilliseconds(200);
  const std::string body = Body();
  std::vector<std::unique_ptr<ScriptedServer>> servers;
  std::vector<Driven> driven(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    servers.push_back(std::make_unique<ScriptedServer>(std::vector<Script>{Play(body)}, 60000));
    servers.back()->RepeatLast();
    servers.back()->AllowUnfinished();
  }
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int n = 0; n < 3; ++n) {
        const std::string name = std::to_string(i) + "-" + std::to_string(n);
        RunOne("http://" + servers[i]->address() + "/" + name, Files().Name(name), &driven[i]);
      }
    });
  }
  std::atomic<bool> isOver{false};
  std::thread stopper([&] {
    while (!isOver) {
      std::this_thread::sleep_for(std::chrono::milliseconds(150));
      for (Driven& transfer : driven) transfer.Stop();
    }
  });
  for (std::thread& thread : threads) thread.join();
  isOver = true;
  stopper.join();
  for (int i = 0; i < kThreads; ++i) {
    for (int n = 0; n < 3; ++n)
      EXPECT_EQ(Files().Read(std::to_string(i) + "-" + std::to_string(n)), body) << i << " " << n;
  }
  for (auto& server : servers) server->Stop();
}

}  // namespace
