// Ending a transfer: Stop from the driving thread, from a callback and from another thread, and Close and
// Delete from callbacks.
#include <chrono>
#include <thread>

#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

using Clock = std::chrono::steady_clock;

class TransferStop : public TransferTest {
 protected:
  static constexpr char kFirst[] = "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd";
  static constexpr char kRest[] = "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-9/10\r\n\r\nefghij";
  static constexpr char kFile[] = "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd";
};

// ---- from the driving thread -------------------------------------------------------------------

TEST_F(TransferStop, SendsEveryStateBelow12BackToTheFirst) {
  for (const uint32_t state : {1u, 2u, 3u, 7u, 10u, 11u}) {
    ScriptedServer server({state < 11 ? Script{script::ReadToEnd()} : AnswersAndStalls("0", kFirst)});
    server.AllowUnfinished();
    auto download = NewDownload(server);
    download->RunToState(state);
    download->Take();
    EXPECT_EQ(VRXClient_Stop(*download), 0);
    EXPECT_EQ(download->State(), 0u) << "from state " << state;
    // Nothing is said of it over HTTP.
    EXPECT_EQ(download->Take(), Lines{}) << "from state " << state;
    server.Stop();
  }
}

TEST_F(TransferStop, KeepsTheServer) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("4", kRest)});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 0);
  EXPECT_EQ(entry.isCurrent, 1);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            Join({ConnectsAgain("Idle: 0, state 1"), {kCanResume, "Downloading...", kDataStep}, Ends()}));
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(TransferStop, EndsTheConnection) {
  ScriptedServer server({{script::ReadUntil("\r\n\r\n"), script::Send(kFirst), script::ReadToEnd()}});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  server.Finish();
}

TEST_F(TransferStop, KeepsTheElapsedTime) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("4", kRest)});
  auto download = NewDownload(server, "/file.bin", Callbacks::All);
  download->RunToState(11);
  clockMilliseconds += 250;
  download->Idle();
  VRXClient_Stop(*download);
  clockMilliseconds += 100000;
  download->Take();
  // The elapsed time is a field of the record.
  EXPECT_EQ(download->Idle(), 1);
  download->RunToState(11);
  clockMilliseconds += 500;
  download->RunToState(12);
  const Lines lines = download->Take();
  EXPECT_NE(std::find(lines.begin(), lines.end(), "time 750"), lines.end());
}

TEST_F(TransferStop, ChangesNothing_WhenNothingRuns) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  download->RunToCompletion();
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  EXPECT_EQ(download->State(), 14u);
  EXPECT_EQ(download->Idle(), 5);
  EXPECT_EQ(OutBytes(), "abcd");
}

// ---- from a callback ---------------------------------------------------------------------------

TEST_F(TransferStop, EndsTheStepWithThree_WhenACallbackAsks) {
  ScriptedServer server({{script::ReadToEnd()}});
  auto download = NewDownload(server);
  download->onMessage = [&](const std::string& text) {
    if (text != "Connected.") return;
    EXPECT_EQ(VRXClient_Stop(*download), 0);
  };
  EXPECT_EQ(download->Run(), 3);
  EXPECT_EQ(download->Take(), (Lines{"Idle: 1, state 1", "Idle: 1, state 2", "Trying \"http://SERVER0\"...",
                                     "Connected.", "Idle: 3, state 0"}));
  server.Stop();
}

TEST_F(TransferStop, GoesOnAfterACallbackAsked) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("0", kFile)});
  auto download = NewDownload(server);
  bool isAsked = false;
  download->onMessage = [&](const std::string& text) {
    if (text == "Downloading..." && !std::exchange(isAsked, true)) VRXClient_Stop(*download);
  };
  EXPECT_EQ(download->Run(), 3);
  EXPECT_EQ(download->State(), 0u);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(TransferStop, EndsADataStep_WhenAReportOfProgressAsks) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("4", kRest)});
  auto download = NewDownload(server, "/file.bin", Callbacks::All);
  download->onProgress = [&](uint32_t, uint32_t) { VRXClient_Stop(*download); };
  EXPECT_EQ(download->Run(), 3);
  EXPECT_EQ(download->State(), 0u);
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "abcd");
  download->onProgress = nullptr;
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(TransferStop, LeavesACompletedTransferCompleted_WhenTheLastCallbackAsks) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  download->onMessage = [&](const std::string& text) {
    if (text.starts_with("Moving file")) VRXClient_Stop(*download);
  };
  EXPECT_EQ(download->Run(), 3);
  EXPECT_GE(download->State(), 12u);
  download->onMessage = nullptr;
  download->RunToCompletion();
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
}

TEST_F(TransferStop, GivesZeroForACallWithinACall) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  std::vector<int32_t> results;
  download->onMessage = [&](const std::string&) {
    results.push_back(VRXClient_Idle(*download));
    results.push_back(VRXClient_Poll(*download));
  };
  download->RunToCompletion();
  // Trying, Connected, Initiating, does not support, Downloading, completed, Moving.
  EXPECT_EQ(results, std::vector<int32_t>(14, 0));
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(TransferStop, GivesZeroForACallWithinAReconnect) {
  ScriptedServer server({Answers("0", "HTTP/1.0 404 Not Found\r\n\r\n"), Answers("0", kFile)});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  std::vector<int32_t> results;
  int depth = 0;
  download->onMessage = [&](const std::string& text) {
    // A call that begins anew would never end.
    if (text != "Reestablishing lost connection." || ++depth > 3) return;
    results.push_back(VRXClient_Idle(*download));
  };
  EXPECT_EQ(download->Idle(), 0);
  EXPECT_EQ(results, std::vector<int32_t>{0});
  EXPECT_EQ(depth, 1);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(TransferStop, GivesZeroForACallWithinSetMethods) {
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  static VRXClient* client;
  static int32_t result;
  client = *download;
  result = -1;
  static const VRXClientMethods methods = {
      nullptr, nullptr, [](Word, uint32_t) { result = VRXClient_Idle(client); }, nullptr, nullptr, nullptr};
  VRXClient_SetMethods(client, 0, &methods);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(download->State(), 0u);
  VRXClient_SetMethods(client, 0, nullptr);
}

TEST_F(TransferStop, ClosesTheTransferBehindTheStep_WhenACallbackAsks) {
  ScriptedServer server({AnswersAndStalls("0", kFirst)});
  auto download = NewDownload(server);
  std::string data;
  download->onMessage = [&](const std::string& text) {
    if (text != "Downloading...") return;
    data = download->DataPath();
    VRXClient* client = download->Release();
    EXPECT_EQ(VRXClient_Close(client), 0);
    // It is there until the step ends.
    EXPECT_EQ(VRXClient_GetSize(client), 10u);
  };
  while (static_cast<VRXClient*>(*download) != nullptr) download->Idle();
  EXPECT_TRUE(std::filesystem::exists(SystemPath(data)));
}

TEST_F(TransferStop, DeletesTheTransferBehindTheStep_WhenACallbackAsks) {
  ScriptedServer server({AnswersAndStalls("0", kFirst)});
  auto download = NewDownload(server);
  std::string data;
  download->onMessage = [&](const std::string& text) {
    if (text != "Downloading...") return;
    data = download->DataPath();
    EXPECT_EQ(VRXClient_Delete(download->Release()), 0);
  };
  while (static_cast<VRXClient*>(*download) != nullptr) download->Idle();
  EXPECT_FALSE(std::filesystem::exists(SystemPath(data)));
  EXPECT_EQ(DataFiles(), Lines{});
}

TEST_F(TransferStop, ClosesTheTransfer_WhenItsLastMessageAsks) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  download->onMessage = [&](const std::string& text) {
    if (text.starts_with("Moving file")) VRXClient_Close(download->Release());
  };
  while (static_cast<VRXClient*>(*download) != nullptr) download->Idle();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(TransferStop, ClosesTheTransfer_WhenAReportOfSetMethodsAsks) {
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  static VRXClient* client;
  client = download->Release();
  static const VRXClientMethods methods = {nullptr, nullptr, [](Word, uint32_t) { VRXClient_Close(client); },
                                           nullptr, nullptr, nullptr};
  VRXClient_SetMethods(client, 0, &methods);
  // The name is free again.
  auto again = NewTransfer();
  EXPECT_EQ(again->Download("http://127.0.0.1:1/file.bin", Out("file.bin")), 0);
}

// ---- from another thread -----------------------------------------------------------------------

// Works on another thread until a call gives 2 to 5.
class Worker {
 public:
  explicit Worker(TracedTransfer* transfer)
      : thread_([this, transfer] {
          result_ = transfer->Run();
          end_ = Clock::now();
        }) {}
  ~Worker() { Join(); }
  int32_t Join() {
    if (thread_.joinable()) thread_.join();
    return result_;
  }
  Clock::time_point end() const { return end_; }

 private:
  int32_t result_ = -1;
  Clock::time_point end_;
  std::thread thread_;
};

class TransferStopFromOutside : public TransferStop {
 protected:
  // Stops the transfer once the server has got so far, and expects the end within a second.
  void StopWhen(TracedTransfer* transfer, const std::function<bool()>& isReached) {
    Worker worker(transfer);
    const auto limit = Clock::now() + std::chrono::seconds(10);
    while (!isReached() && Clock::now() < limit) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_TRUE(isReached());
    // Time to wait for what does not come.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const auto begin = Clock::now();
    EXPECT_EQ(VRXClient_Stop(*transfer), 0);
    EXPECT_EQ(worker.Join(), 3);
    EXPECT_LT(worker.end() - begin, std::chrono::seconds(1));
    EXPECT_EQ(transfer->State(), 0u);
  }
};

TEST_F(TransferStopFromOutside, EndsTheWaitForTheResponse) {
  ScriptedServer server({{script::Expect(Request()), script::Stall()}, Answers("0", kFile)});
  auto download = NewDownload(server);
  StopWhen(download.get(), [&] { return server.Connections() == 1 && server.Received(0) == Request(); });
  EXPECT_EQ(download->Take(), Join({Begins(), {"Connection cancelled.", "Idle: 3, state 0"}}));
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(TransferStopFromOutside, EndsTheWaitForTheRestOfTheHeaders) {
  ScriptedServer server({AnswersAndStalls("0", "HTTP/1.0 200 OK\r\nContent-Le")});
  auto download = NewDownload(server);
  StopWhen(download.get(), [&] { return server.Connections() == 1 && server.Received(0) == Request(); });
  EXPECT_EQ(download->Take(), Join({Begins(), {"Connection cancelled.", "Idle: 3, state 0"}}));
}

TEST_F(TransferStopFromOutside, EndsTheWaitForData) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("4", kRest)});
  auto download = NewDownload(server);
  std::atomic<bool> isMoving{false};
  download->onMessage = [&](const std::string& text) { isMoving = isMoving || text == "Downloading..."; };
  StopWhen(download.get(), [&] { return isMoving.load(); });
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep,
                                     "Connection cancelled.", "Idle: 3, state 0"}}));
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "abcd");
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 0);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(TransferStopFromOutside, EndsTheWaitForABodyOfUnknownSize) {
  ScriptedServer server({AnswersAndStalls("0", "HTTP/1.0 200 OK\r\n\r\nabcd")});
  auto download = NewDownload(server);
  std::atomic<bool> isMoving{false};
  download->onMessage = [&](const std::string& text) { isMoving = isMoving || text == "Downloading..."; };
  StopWhen(download.get(), [&] { return isMoving.load(); });
  // What came so far is never taken for the whole file.
  EXPECT_EQ(OutNames(), Lines{});
  EXPECT_EQ(download->All().back(), "Idle: 3, state 0");
}

TEST_F(TransferStopFromOutside, EndsTheWaitForAConnection) {
  // A listener that nobody serves takes no more connections at some point.
  loopback::Listener listener(1);
  std::vector<loopback::Connection> waiting;
  for (int i = 0; i < 20; ++i) {
    waiting.push_back(loopback::Connect(listener.port(), 200));
    if (!waiting.back().IsOpen()) break;
  }
  ASSERT_FALSE(waiting.back().IsOpen());
  const std::string address = "127.0.0.1:" + std::to_string(listener.port());
  names_.Add(address, "SERVER0");
  auto download = NewDownload("http://" + address + "/file.bin");
  std::atomic<bool> isTrying{false};
  download->onMessage = [&](const std::string& text) { isTrying = isTrying || text.starts_with("Trying"); };
  StopWhen(download.get(), [&] { return isTrying.load(); });
  EXPECT_EQ(download->Take(), (Lines{"Idle: 1, state 1", "Idle: 1, state 2", "Trying \"http://SERVER0\"...",
                                     "Connection failed.", "Connection cancelled.", "Idle: 3, state 0"}));
}

TEST_F(TransferStopFromOutside, EndsAnFTPLogin) {
  ScriptedServer server({{script::SendLine("220 ready"), script::ExpectLine("USER ftp"), script::Stall()}});
  Name(server);
  auto download = NewDownload("ftp://" + server.address() + "/dir/file.bin");
  StopWhen(download.get(), [&] { return server.Connections() == 1 && server.Received(0) == "USER ftp\r\n"; });
  EXPECT_EQ(download->Take(),
            (Lines{"Idle: 1, state 1", "Idle: 1, state 2", "Trying \"ftp://SERVER0\"...", "Connected.",
                   "Idle: 1, state 3", "Idle: 0, state 4", "Logging in as \"ftp\"...",
                   "Connection cancelled.", "Idle: 3, state 0"}));
}

TEST_F(TransferStopFromOutside, EndsTheWaitForFTPData) {
  using namespace script;
  ScriptedServer server({{SendLine("220 ready"),
                          ExpectLine("USER me"),
                          SendLine("331 who?"),
                          ExpectLine("PASS secret"),
                          SendLine("230 in"),
                          ExpectLine("MIRR /dir/file.bin"),
                          SendLine("500 what?"),
                          ExpectLine("CWD /dir"),
                          SendLine("250 ok"),
                          ExpectLine("CWD file.bin"),
                          SendLine("550 no"),
                          ExpectLine("TYPE I"),
                          SendLine("200 ok"),
                          ExpectLine("SIZE file.bin"),
                          SendLine("213 10"),
                          ExpectLine("REST 100"),
                          SendLine("350 ok"),
                          ExpectLine("REST 0"),
                          SendLine("350 ok"),
                          ExpectLine("PASV"),
                          OpenPassive(),
                          SendLine("227 Entering Passive Mode ({pasv})."),
                          ExpectLine("RETR file.bin"),
                          DataAccept(),
                          SendLine("150 go"),
                          DataSend("abcd"),
                          Stall()}});
  Name(server);
  auto download = NewDownload("ftp://" + server.address() + "/dir/file.bin");
  EXPECT_EQ(VRXClient_SetUser(*download, "me", "secret"), 0);
  std::atomic<bool> isMoving{false};
  download->onMessage = [&](const std::string& text) { isMoving = isMoving || text == "Downloading..."; };
  StopWhen(download.get(), [&] { return isMoving.load(); });
  const Lines lines = download->Take();
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ(Lines(lines.end() - 4, lines.end()),
            (Lines{kDataStep, "Connection cancelled.", "Download stopped.", "Idle: 3, state 0"}));
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "abcd");
}

TEST_F(TransferStopFromOutside, EndsTheNextStep_WhenNoneRuns) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  download->Idle();
  download->Take();
  std::thread([&] { EXPECT_EQ(VRXClient_Stop(*download), 0); }).join();
  EXPECT_EQ(download->Idle(), 3);
  EXPECT_EQ(download->Take(), Lines{"Idle: 3, state 0"});
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(TransferStopFromOutside, EndsTheNextProbe_ThoughItHasNothingLeftToFindOut) {
  ScriptedServer server({AnswersAndStalls("0", kFile)});
  auto download = NewDownload(server);
  for (int i = 0; i < 20 && download->Poll() != VRXClientResult_Completed; ++i) {
  }
  download->Take();
  std::thread([&] { EXPECT_EQ(VRXClient_Stop(*download), 0); }).join();
  EXPECT_EQ(download->Poll(), 3);
  EXPECT_EQ(download->Take(), Lines{"Poll: 3, state 0"});
}

// Whatever a step fails with meanwhile: its server has no part in that.
TEST_F(TransferStopFromOutside, EndsTheStep_BeforeWhatItFailsWith) {
  ScriptedServer server({Answers("0", "HTTP/1.0 302 Found\r\n\r\n"), Answers("0", kFile)});
  auto download = NewDownload(server);
  download->onMessage = [&](const std::string& text) {
    if (text != "Server redirected client, but didn't give location.") return;
    std::thread([&] { EXPECT_EQ(VRXClient_Stop(*download), 0); }).join();
  };
  EXPECT_EQ(download->Run(), 3);
  EXPECT_EQ(download->Take(), Join({Begins(),
                                    {"Server redirected client, but didn't give location.",
                                     "Connection cancelled.", "Idle: 3, state 0"}}));
  VRXClientServer entry;
  EXPECT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 0);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

// A transfer that was never driven has nothing to end.
TEST_F(TransferStopFromOutside, ChangesNothing_WhenNoStepRanBefore) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  std::thread([&] { EXPECT_EQ(VRXClient_Stop(*download), 0); }).join();
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(TransferStopFromOutside, KeepsTheReconnectThatIsDue) {
  ScriptedServer server({Answers("0", "HTTP/1.0 404 Not Found\r\n\r\n"), Answers("0", kFile)});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  std::thread([&] { EXPECT_EQ(VRXClient_Stop(*download), 0); }).join();
  // A second one finds the first one's flag.
  std::thread([&] { EXPECT_EQ(VRXClient_Stop(*download), 0); }).join();
  download->Take();
  EXPECT_EQ(download->Idle(), 3);
  EXPECT_EQ(download->Idle(), 0);
  EXPECT_EQ(download->Take(),
            (Lines{"Idle: 3, state 0", "Reestablishing lost connection.", "Idle: 0, state 0"}));
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(TransferStopFromOutside, KeepsTheReconnectThatIsDue_WhenTheDriverStopsBehindIt) {
  ScriptedServer server({Answers("0", "HTTP/1.0 404 Not Found\r\n\r\n"), Answers("0", kFile)});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  std::thread([&] { EXPECT_EQ(VRXClient_Stop(*download), 0); }).join();
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  download->Take();
  EXPECT_EQ(download->Idle(), 0);
  EXPECT_EQ(download->Take(), (Lines{"Reestablishing lost connection.", "Idle: 0, state 0"}));
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(TransferStopFromOutside, MayComeAtAnyMoment) {
  for (int round = 0; round < 40; ++round) {
    ScriptedServer server({{ReadsHead(), script::SendSlowly(kFirst, 1), script::Stall()}});
    server.RepeatLast();
    server.AllowUnfinished();
    auto download = NewDownload(server);
    std::atomic<bool> isTrying{false};
    download->onMessage = [&](const std::string&) { isTrying = true; };
    {
      Worker worker(download.get());
      while (!isTrying) std::this_thread::yield();
      std::this_thread::sleep_for(std::chrono::milliseconds(2 * round));
      const auto begin = Clock::now();
      VRXClient_Stop(*download);
      EXPECT_EQ(worker.Join(), 3) << round;
      EXPECT_LT(worker.end() - begin, std::chrono::seconds(1)) << round;
    }
    EXPECT_EQ(download->State(), 0u);
    server.Stop();
  }
}

}  // namespace
}  // namespace transfer
