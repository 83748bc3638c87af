// Transfers on eight threads at once, against servers that cut, stall, reset and redirect.
#include <array>
#include <random>
#include <thread>

#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

constexpr int kThreads = 8;

std::string FileBytes() {
  std::string bytes;
  for (int i = 0; i < 30000; ++i) bytes.push_back(static_cast<char>(i * 17 + i / 255));
  return bytes;
}

// Answers each request in another way than the one before. Whoever asks long enough gets the file.
class UnreliableServer {
 public:
  UnreliableServer() : server_({{script::Do([this](ScriptSession& session) { Serve(&session); })}}, 120000) {
    server_.RepeatLast();
    server_.AllowUnfinished();
  }
  ~UnreliableServer() { server_.Stop(); }

  std::string URL(const std::string& path) const { return "http://" + server_.address() + path; }

 private:
  void Serve(ScriptSession* session) {
    std::string head;
    if (!ReadHead(session, &head)) return;
    const size_t range = head.find("bytes=");
    const size_t first = std::stoul(head.substr(range + 6));
    const unsigned number = count_++;
    const size_t left = bytes_.size() - first;
    // Closed between the last byte and the end, a transfer asks for what is behind it.
    if (left == 0) return Refuse(session);
    switch (number % 6) {
      case 0:
        session->Send("HTTP/1.0 302 Found\r\nLocation: /other" + std::to_string(number % 5) + "\r\n\r\n");
        break;
      case 1:
        session->Send(Head(first) + bytes_.substr(first, left / 2));
        break;
      case 2:
        session->Send(Head(first) + bytes_.substr(first, left / 3));
        session->Wait(400);
        break;
      case 3:
        session->Send(Head(first) + bytes_.substr(first, left / 4));
        session->Wait(20);
        session->Reset();
        return;
      case 4:
        session->Send("HTTP/1.0 503 Service Unavailable\r\n\r\n");
        break;
      default:
        session->Send(Head(first) + bytes_.substr(first));
        break;
    }
    session->Close();
  }
  void Refuse(ScriptSession* session) const {
    session->Send("HTTP/1.1 416 Range Not Satisfiable\r\nContent-Range: bytes */" +
                  std::to_string(bytes_.size()) + "\r\n\r\n");
    session->Close();
  }
  std::string Head(size_t first) const {
    return "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + std::to_string(first) + "-" +
           std::to_string(bytes_.size() - 1) + "/" + std::to_string(bytes_.size()) + "\r\n\r\n";
  }

  const std::string bytes_ = FileBytes();
  std::atomic<unsigned> count_{0};
  ScriptedServer server_;
};

class EightThreads : public TransferTest {
 protected:
  void SetUp() override {
    TransferTest::SetUp();
    iVRXClient_SetClock(nullptr);
    iSock_SetWaitMilliseconds(200);
  }
  // Works until the transfer is completed, whatever happens in between.
  static bool Finish(TracedTransfer* transfer) {
    for (int call = 0; call < 100000; ++call) {
      if (transfer->Idle() == VRXClientResult_Completed) return true;
    }
    return false;
  }
  static void RunOnEachThread(const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
  }
};

TEST_F(EightThreads, GetWholeFilesFromUnreliableServers) {
  UnreliableServer one;
  UnreliableServer two;
  std::atomic<int> completed{0};
  RunOnEachThread([&](int thread) {
    for (int round = 0; round < 3; ++round) {
      const std::string name = std::to_string(thread) + "-" + std::to_string(round);
      TracedTransfer transfer(&names_);
      if (transfer.Download(one.URL("/" + name), Out(name), Callbacks::All) != 0) continue;
      VRXClient_AddMirrors(transfer, two.URL("/" + name).c_str());
      if (Finish(&transfer)) ++completed;
    }
  });
  EXPECT_EQ(completed, 24);
  ASSERT_EQ(OutNames().size(), 24u);
  for (const std::string& name : OutNames()) EXPECT_TRUE(OutBytes(name) == FileBytes()) << name;
  EXPECT_EQ(DataFiles(), Lines{});
}

TEST_F(EightThreads, GetWholeFilesThroughRecords) {
  UnreliableServer server;
  std::atomic<int> completed{0};
  RunOnEachThread([&](int thread) {
    const std::string name = std::to_string(thread);
    const std::string record = cache_ + "/record" + name;
    {
      TracedTransfer transfer(&names_);
      if (transfer.Download(server.URL("/" + name), Out(name)) != 0 || transfer.Write(record) != 0) return;
    }
    std::minstd_rand random(static_cast<unsigned>(thread) + 1);
    for (int run = 0; run < 200; ++run) {
      TracedTransfer transfer(&names_);
      const ErrorCode status = transfer.Read(record);
      EXPECT_EQ(status, 0) << name << " in run " << run;
      if (status != 0) return;
      // Runs of different lengths, so that no rhythm of theirs meets that of the server.
      const auto calls = static_cast<int>(12 + random() % 30);
      for (int call = 0; call < calls; ++call) transfer.Idle();
      const ErrorCode written = transfer.Write(record);
      EXPECT_EQ(written, 0) << name << " in run " << run;
      if (written != 0) return;
      if (transfer.State() != 14) continue;
      ++completed;
      return;
    }
    ADD_FAILURE() << name;
  });
  EXPECT_EQ(completed, kThreads);
  ASSERT_EQ(OutNames().size(), static_cast<size_t>(kThreads));
  for (const std::string& name : OutNames()) EXPECT_TRUE(OutBytes(name) == FileBytes()) << name;
}

TEST_F(EightThreads, StopEachOther) {
  UnreliableServer server;
  std::array<std::unique_ptr<TracedTransfer>, kThreads> transfers;
  std::atomic<int> started{0};
  std::atomic<int> completed{0};
  RunOnEachThread([&](int thread) {
    const std::string name = std::to_string(thread);
    transfers[static_cast<size_t>(thread)] = NewTransfer();
    TracedTransfer& own = *transfers[static_cast<size_t>(thread)];
    if (own.Download(server.URL("/" + name), Out(name)) == 0) own.Idle();
    ++started;
    while (started < kThreads) std::this_thread::yield();
    for (int call = 0; call < 100000; ++call) {
      if (own.Idle() == VRXClientResult_Completed) break;
      // Each stops its neighbour from time to time.
      if (call % 40 == 39 && call < 400)
        VRXClient_Stop(*transfers[static_cast<size_t>((thread + 1) % kThreads)]);
    }
    if (own.State() == 14) ++completed;
  });
  EXPECT_EQ(completed, kThreads);
  for (const std::string& name : OutNames()) EXPECT_TRUE(OutBytes(name) == FileBytes()) << name;
}

TEST_F(EightThreads, FindTheSameURLOnce) {
  // One of eight gets the transfer, the others are told that it exists.
  for (int round = 0; round < 50; ++round) {
    std::atomic<int> made{0};
    std::atomic<int> refused{0};
    std::array<std::unique_ptr<TracedTransfer>, kThreads> transfers;
    RunOnEachThread([&](int thread) {
      auto transfer = NewTransfer();
      const ErrorCode status = transfer->Download("http://127.0.0.1:1/same.bin", Out("same.bin"));
      ++(status == 0 ? made : refused);
      EXPECT_TRUE(status == Error_None || status == Error_Exists) << status;
      transfers[static_cast<size_t>(thread)] = std::move(transfer);
    });
    EXPECT_EQ(made, 1);
    EXPECT_EQ(refused, 7);
  }
}

}  // namespace
}  // namespace transfer
