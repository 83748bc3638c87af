// A transfer as these tests see it: everything that it says and the result of every call, in one list of
// lines that is compared as a whole.
//
//   Idle: 1, state 3         a call, its result and the state behind it
//   Connected.               a message
//   size 10                  another callback, where the test asked for all of them
//
// In the lines SERVER0, SERVER1 ... stand for the addresses of the servers, OUT for the folder of the
// destinations and DATE for the time of completion. Data steps that come to nothing new are one line, however
// many the network made of them. The clock of the transfers stands still unless a test moves it.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "net/sock_testing.h"
#include "qz/os.h"
#include "qz/vrxclient.h"
#include "qz/vrxclientsystem.h"
#include "tests/support/os_session.h"
#include "tests/support/scripted_http.h"
#include "tests/support/scripted_server.h"
#include "tests/support/system_folders.h"
#include "tests/transfer/transfer_common.h"

namespace transfer {

inline Lines Join(std::initializer_list<Lines> parts) {
  Lines whole;
  for (const Lines& part : parts) whole.insert(whole.end(), part.begin(), part.end());
  return whole;
}

// What the results of whole conversations have in common. Working calls only.
inline Lines Connects(const std::string& server) {
  return {"Trying \"http://" + server + "\"...",
          "Connected.",
          "Idle: 1, state 3",
          "Idle: 0, state 7",
          "Idle: 0, state 10",
          "Initiating download..."};
}

// A new transfer, up to its request.
inline Lines Begins(const std::string& server = "SERVER0") {
  return Join({{"Idle: 1, state 1", "Idle: 1, state 2"}, Connects(server)});
}

// The same again; first: what the first call gives.
inline Lines ConnectsAgain(const std::string& first, const std::string& server = "SERVER0") {
  return {first,
          "Idle: 0, state 2",
          "Trying \"http://" + server + "\"...",
          "Connected.",
          "Idle: 0, state 3",
          "Idle: 0, state 7",
          "Idle: 0, state 10",
          "Initiating download..."};
}

// No server is left, and the list is tried again from its head.
inline Lines TriesListAgain() {
  return {"Selecting server...", "No server or mirror found.",
          "Idle: 4, state 0",    "Reestablishing lost connection.",
          "Idle: 0, state 0",    "Selecting server..."};
}

// The data is there; a rename brings it to its place.
inline Lines Ends(const std::string& name = "file.bin") {
  return {"Download completed on DATE.", "Idle: 1, state 12", "Moving file to \"OUT/" + name + "\"...",
          "Idle: 1, state 13", "Idle: 5, state 14"};
}

inline constexpr char kCannotResume[] = "Server does not support pause/resume.";
inline constexpr char kCanResume[] = "Server supports pause/resume.";
inline constexpr char kDataStep[] = "Idle: 0, state 11";

enum class Callbacks { MessagesOnly, All };

// A transfer that notes what it does. Closed at the end, unless a test has ended it.
class TracedTransfer {
 public:
  explicit TracedTransfer(const Names* names) : names_(names) {}
  ~TracedTransfer() { Close(); }
  TracedTransfer(const TracedTransfer&) = delete;
  TracedTransfer& operator=(const TracedTransfer&) = delete;

  ErrorCode Download(const std::string& url, const std::string& localPath,
                     Callbacks callbacks = Callbacks::MessagesOnly) {
    return VRXClient_NewDownload(url.c_str(), localPath.c_str(), Context(), Table(callbacks), &client_);
  }
  ErrorCode Upload(const std::string& localFile, const std::string& url,
                   Callbacks callbacks = Callbacks::MessagesOnly) {
    return VRXClient_NewUpload(localFile.c_str(), url.c_str(), Context(), Table(callbacks), &client_);
  }
  ErrorCode Read(const std::string& recordPath, Callbacks callbacks = Callbacks::MessagesOnly) {
    return ReadRecord(recordPath, Context(), Table(callbacks), &client_);
  }
  ErrorCode Write(const std::string& recordPath) { return WriteRecord(recordPath, client_); }

  operator VRXClient*() const { return client_; }

  int32_t Idle() { return Note("Idle", VRXClient_Idle); }
  int32_t Poll() { return Note("Poll", VRXClient_Poll); }
  void Idle(int calls) {
    for (int i = 0; i < calls; ++i) Idle();
  }
  // Works until a call gives 2 to 5.
  int32_t Run(int calls = 5000) {
    int32_t result = 0;
    for (int i = 0; i < calls && result < VRXClientResult_Postponed; ++i) result = Idle();
    EXPECT_GE(result, VRXClientResult_Postponed) << "no end after " << calls << " calls";
    return result;
  }
  // Works until the state is reached, at most until a call gives 2 to 5.
  void RunToState(uint32_t state, int calls = 5000) {
    for (int i = 0; i < calls && State() != state; ++i) {
      if (Idle() >= VRXClientResult_Postponed) break;
    }
    EXPECT_EQ(State(), state);
  }
  void RunToCompletion() { EXPECT_EQ(Run(), VRXClientResult_Completed); }

  uint32_t State() const { return client_ != nullptr ? VRXClient_GetState(client_) : 99; }
  uint32_t Reason() const { return VRXClient_GetError(client_); }

  // What was noted since the last call.
  Lines Take() { return std::exchange(lines_, {}); }
  const Lines& All() const { return lines_; }
  void Note(std::string line) {
    line = names_->Apply(std::move(line));
    constexpr char kCompleted[] = "Download completed on ";
    if (line.starts_with(kCompleted) && line.ends_with(".")) line = std::string(kCompleted) + "DATE.";
    if (line == kDataStep && !lines_.empty() && lines_.back() == line) return;
    lines_.push_back(std::move(line));
  }

  // Called with every message, inside the callback.
  std::function<void(const std::string& text)> onMessage;
  // Called with every report of progress.
  std::function<void(uint32_t done, uint32_t total)> onProgress;

  void Close() {
    if (client_ != nullptr) VRXClient_Close(std::exchange(client_, nullptr));
  }
  void Delete() {
    if (client_ != nullptr) VRXClient_Delete(std::exchange(client_, nullptr));
  }
  // The transfer is ended by someone else.
  VRXClient* Release() { return std::exchange(client_, nullptr); }

  std::string DataPath() const {
    char path[1024] = "";
    VRXClient_GetDataFilePath(client_, path);
    return path;
  }

 private:
  Word Context() { return reinterpret_cast<Word>(this); }
  static TracedTransfer* Of(Word userData) { return reinterpret_cast<TracedTransfer*>(userData); }

  static void OnMessage(Word userData, const char* text) {
    Of(userData)->Note(text);
    if (Of(userData)->onMessage) Of(userData)->onMessage(text);
  }
  static void OnProgress(Word userData, uint32_t done, uint32_t total) {
    Of(userData)->Note("progress " + std::to_string(done) + " of " + std::to_string(total));
    if (Of(userData)->onProgress) Of(userData)->onProgress(done, total);
  }
  static void OnSize(Word userData, uint32_t size) { Of(userData)->Note("size " + std::to_string(size)); }
  static void OnTime(Word userData, uint32_t value) { Of(userData)->Note("time " + std::to_string(value)); }
  static void OnSpeed(Word userData, float speed) {
    Of(userData)->Note("speed " + std::to_string(static_cast<uint32_t>(speed)));
  }
  static void OnLogChanged(Word userData) { Of(userData)->Note("log changed"); }

  static const VRXClientMethods* Table(Callbacks callbacks) {
    static const VRXClientMethods messagesOnly = {OnMessage, nullptr, nullptr, nullptr, nullptr, nullptr};
    static const VRXClientMethods all = {OnMessage, OnProgress, OnSize, OnTime, OnSpeed, OnLogChanged};
    return callbacks == Callbacks::All ? &all : &messagesOnly;
  }

  int32_t Note(const char* call, int32_t (*function)(VRXClient*)) {
    const int32_t result = function(client_);
    const std::string state = client_ != nullptr ? std::to_string(State()) : "gone";
    Note(std::string(call) + ": " + std::to_string(result) + ", state " + state);
    return result;
  }

  const Names* names_;
  Lines lines_;
  VRXClient* client_ = nullptr;
};

// Takes the head of a request; false when the client ends before it is whole, which is no failure here.
inline bool ReadHead(ScriptSession* session, std::string* head) {
  while (!head->ends_with("\r\n\r\n")) {
    if (session->control().ReceiveSome(head) != loopback::Result::Data) return false;
  }
  return true;
}
inline ScriptStep ReadsHead() {
  return [](ScriptSession& session) {
    std::string head;
    return ReadHead(&session, &head);
  };
}

// The clock of all transfers, in milliseconds.
inline std::atomic<uint64_t> clockMilliseconds{1000000};
inline uint64_t ReadClock() {
  return clockMilliseconds;
}

// The library and the transfer system, with folders of the test's own.
class TransferTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string log = places_.Folder().Name("session.log");
    ASSERT_EQ(OS_Init(places_.ApplicationName().c_str(), OSInitCode_LogPath, log.c_str(), OSInitCode_End), 0);
    ASSERT_EQ(VRXClientSystem_Init(), 0);
    char cache[1024] = "";
    ASSERT_EQ(File_GetSysDir(SysDir_Cache, cache), 0);
    cache_ = cache;
    out_ = cache_ + "/out";
    std::filesystem::create_directory(SystemPath(out_));
    names_.Add(out_, "OUT");
    names_.Add(cache_, "CACHE");
    clockMilliseconds = 1000000;
    iVRXClient_SetClock(ReadClock);
  }
  void TearDown() override {
    RestoreTransfers();
    VRXClientSystem_Exit();
    OS_Exit(0);
  }

  // A download from a server; the file goes to OUT/name.
  std::unique_ptr<TracedTransfer> NewDownload(const ScriptedServer& server,
                                              const std::string& path = "/file.bin",
                                              Callbacks callbacks = Callbacks::MessagesOnly,
                                              const std::string& name = "file.bin") {
    Name(server);
    return NewDownload(URL(server, path), callbacks, name);
  }
  std::unique_ptr<TracedTransfer> NewDownload(const std::string& url,
                                              Callbacks callbacks = Callbacks::MessagesOnly,
                                              const std::string& name = "file.bin") {
    auto download = NewTransfer();
    EXPECT_EQ(download->Download(url, Out(name), callbacks), 0);
    return download;
  }
  std::unique_ptr<TracedTransfer> NewTransfer() { return std::make_unique<TracedTransfer>(&names_); }

  // The next server of the test gets the next number.
  void Name(const ScriptedServer& server) {
    names_.Add(server.address(), "SERVER" + std::to_string(servers_++));
  }
  static std::string URL(const ScriptedServer& server, const std::string& path) {
    return "http://" + server.address() + path;
  }

  // The folder of the destinations: on the volume of the data files, so that a rename leads there.
  std::string Out(const std::string& name) const { return out_ + "/" + name; }
  std::filesystem::path OutPath(const std::string& name) const { return SystemPath(Out(name)); }
  std::string OutBytes(const std::string& name = "file.bin") const { return ReadFile(OutPath(name)); }
  Lines OutNames() const { return NamesIn(out_); }
  // Data files in the cache folder.
  Lines DataFiles() const { return DataFilesIn(cache_); }

  // Request head of a download over HTTP.
  static std::string Request(const std::string& path = "/file.bin", const std::string& first = "0") {
    return RequestHead(path, first);
  }
  // The request for /file.bin from a byte on, the response, and the end of the connection.
  Script Answers(const std::string& first, const std::string& response,
                 const std::string& path = "/file.bin") const {
    return scripted_http::Exchange(Request(path, first), response);
  }
  // The same, but the server says nothing more and does not end.
  Script AnswersAndStalls(const std::string& first, const std::string& response,
                          const std::string& path = "/file.bin") const {
    return {script::Expect(Request(path, first)), script::Send(response), script::Stall()};
  }

  // Moves what the server sent with the head of its response, the given number of bytes, and stops. The lines
  // are taken.
  static void MoveFirstBytes(TracedTransfer* download, uint64_t bytes = 4) {
    download->RunToState(11);
    download->Idle();
    EXPECT_EQ(VRXClient_Stop(*download), 0);
    EXPECT_EQ(download->State(), 0u);
    EXPECT_EQ(std::filesystem::file_size(SystemPath(download->DataPath())), bytes);
    download->Take();
  }

  OSPlaces places_{"qztransfer" + std::to_string(ProgramNumber())};
  ScopedTemporaryVariable temporary_{places_.Folder().Path().string().c_str()};
  std::string cache_;
  std::string out_;
  Names names_;
  int servers_ = 0;
};

}  // namespace transfer
