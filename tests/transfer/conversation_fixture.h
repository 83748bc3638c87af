// Whole conversations of a transfer with scripted servers: what it said, reported and gave, step by step.
//
//   TEST_F(ConversationTest, ...) {
//     ScriptedServer server({talk::Download("/dir/file", "hello")});
//     Conversation transfer(this);
//     transfer.Download(URL("ftp", server, "/dir/file"));
//     EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
//     EXPECT_EQ(transfer.Messages(), Lines({"Trying \"ftp://{A}\"...", "Connected.", ...}));
//     EXPECT_EQ(transfer.Steps(), Lines({"0: 1", "1: 1", "2: 0", ...}));
//     server.Finish();
//   }
//
// In everything that is compared, names that differ from run to run stand in braces: {A} for the address of
// the first server that URL() was given, {B} for the second; {files} for the test's folder, {cache} for the
// cache folder; {data}, {info} for the names of files in it. The wall clock stands still at a Sunday in 2001,
// and the clock of elapsed times moves only when a test moves it.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "net/sock_testing.h"
#include "os/time/clock_testing.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/os.h"
#include "qz/string.h"
#include "qz/vrxclient.h"
#include "qz/vrxclientsystem.h"
#include "tests/support/os_session.h"
#include "tests/support/scripted_ftp.h"
#include "tests/support/scripted_http.h"
#include "tests/support/scripted_server.h"
#include "tests/support/system_folders.h"
#include "tests/support/temp_dir.h"
#include "tests/transfer/transfer_common.h"

// What a transfer of /.../target to {files} ends with.
constexpr const char* kDone = "Download completed on Sun Sep  9 01:46:40 2001.";
constexpr const char* kMoved = "Moving file to \"{files}/target\"...";

// ---- what servers say ----------------------------------------------------------------------------------

// Parts of an FTP conversation, to be put together with ftp::Join, and whole ones.
namespace talk {

inline constexpr const char* kPassword = "PASS user@example.invalid";

// An anonymous login, up to the request for mirrors.
inline Script LogIn(const std::string& path, const std::string& mirrors = "500 what?") {
  using namespace script;
  return {SendLine("220 ready"), ExpectLine("USER ftp"),     SendLine("331 who?"), ExpectLine(kPassword),
          SendLine("230 in"),    ExpectLine("MIRR " + path), SendLine(mirrors)};
}

// The directory is entered, and the name is no directory.
inline Script Enter(const std::string& directory, const std::string& name) {
  using namespace script;
  return {ExpectLine("CWD " + directory), SendLine("250 ok"), ExpectLine("CWD " + name),
          SendLine("550 no directory")};
}

inline Script TypeAndSize(const std::string& name, const std::string& sizeReply) {
  using namespace script;
  return {ExpectLine("TYPE I"), SendLine("200 ok"), ExpectLine("SIZE " + name), SendLine(sizeReply)};
}

// Up to the data: the file /dir/NAME of a server that tells its size.
inline Script Before(const std::string& name, size_t size) {
  return ftp::Join(
      {LogIn("/dir/" + name), Enter("/dir", name), TypeAndSize(name, "213 " + std::to_string(size))});
}

// The server says whether it can resume.
inline Script AskResume() {
  return ftp::Join({ftp::Exchange("REST 100", "350 ok"), ftp::Exchange("REST 0", "350 ok")});
}

// The data, from its begin and from an offset.
inline Script Retrieve(const std::string& name, const std::string& bytes) {
  return ftp::Join({ftp::Passive(), ftp::Started("RETR " + name), ftp::SendsFile(bytes)});
}
inline Script RetrieveFrom(const std::string& name, size_t offset, const std::string& bytes) {
  return ftp::Join({ftp::Passive(), ftp::Exchange("REST " + std::to_string(offset), "350 ok"),
                    ftp::Started("RETR " + name), ftp::SendsFile(bytes)});
}
inline Script Store(const std::string& name) {
  return ftp::Join({ftp::Passive(), ftp::Started("STOR " + name), ftp::TakesFile()});
}

// A fresh download of /dir/NAME.
inline Script Download(const std::string& name, const std::string& bytes) {
  return ftp::Join({Before(name, bytes.size()), AskResume(), Retrieve(name, bytes), ftp::Quit()});
}

// A request for a path of the server at this port, from an offset on, as this program sends it.
inline std::string Request(const std::string& path, size_t offset = 0) {
  return RequestHead(path, std::to_string(offset));
}

}  // namespace talk

// ---- the library for one test --------------------------------------------------------------------------

class ConversationTest : public testing::Test {
 public:
  // With the names in braces.
  std::string Tidy(std::string text) const { return names_.Apply(std::move(text)); }
  std::string CacheFolder() const { return cache_; }
  const TempDir& Files() const { return files_; }

 protected:
  void SetUp() override {
    ASSERT_EQ(session_.Status(), Error_None);
    const Time sunday = {1000000000, 0};  // Sun Sep  9 01:46:40 2001
    iClock_SetWallClock(&sunday);
    NowMilliseconds() = 1000000;
    iVRXClient_SetClock([] { return NowMilliseconds().fetch_add(TickMilliseconds()) + TickMilliseconds(); });
    char cache[1024];
    ASSERT_EQ(File_GetSysDir(SysDir_Cache, cache), Error_None);
    cache_ = cache;
    names_.Add(files_.Name(), "{files}");
    names_.Add(cache_, "{cache}");
    ASSERT_EQ(VRXClientSystem_Init(), Error_None);
  }
  void TearDown() override {
    VRXClientSystem_Exit();
    RestoreTransfers();
    iClock_SetWallClock(nullptr);
    TickMilliseconds() = 0;
  }

  // "ftp://127.0.0.1:PORT/path"; from now on the address is {A}, {B}, ...
  std::string URL(const std::string& scheme, const ScriptedServer& server, const std::string& path) {
    Register(server.address());
    return scheme + "://" + server.address() + path;
  }

  // Elapsed time and speed.
  static std::atomic<uint64_t>& NowMilliseconds() {
    static std::atomic<uint64_t> now{0};
    return now;
  }
  // How far the clock moves each time it is looked at.
  static std::atomic<uint64_t>& TickMilliseconds() {
    static std::atomic<uint64_t> tick{0};
    return tick;
  }

  // A file of the cache folder, for the system.
  std::filesystem::path CacheSystemName(const std::string& name) const {
    return SystemPath(cache_ + "/" + name);
  }

  // What lies in the cache folder beside logs and statistics: the data files.
  Lines DataFiles() const { return DataFilesIn(cache_); }

 private:
  void Register(const std::string& address) {
    if (names_.Has(address)) return;
    names_.Add(address, std::string("{") + static_cast<char>('A' + servers_++) + "}");
  }

  OSSession session_;
  // On the volume of the cache folder: a move there is a rename.
  ScopedTemporaryVariable temporary_{ProgramPath().parent_path().string().c_str()};
  TempDir files_;
  std::string cache_;
  Names names_;
  int servers_ = 0;
};

// ---- one transfer --------------------------------------------------------------------------------------

class Conversation {
 public:
  explicit Conversation(ConversationTest* test) : test_(test) {}
  ~Conversation() { Close(); }
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  VRXClient* get() const { return client_; }

  // Makes the transfer. A download goes to {files}/NAME; an upload is of that file.
  void Download(const std::string& url, const std::string& name = "target") {
    const std::string path = test_->Files().Name(name);
    EXPECT_EQ(VRXClient_NewDownload(url.c_str(), path.c_str(), userData(), Methods(), &client_), Error_None);
  }
  void Upload(const std::string& name, const std::string& url) {
    const std::string path = test_->Files().Name(name);
    EXPECT_EQ(VRXClient_NewUpload(path.c_str(), url.c_str(), userData(), Methods(), &client_), Error_None);
  }
  // Bytes of an earlier attempt, and the size that a server told then.
  void Hold(const std::string& bytes, uint64_t knownSize = kSizeUnknown) {
    const std::string path = test_->CacheFolder() + "/vrxData77";
    File* file = nullptr;
    ASSERT_EQ(File_Open(path.c_str(), FileMode_Write, &file), Error_None);
    EXPECT_EQ(File_Write(file, static_cast<uint32_t>(bytes.size()), bytes.data()), bytes.size());
    EXPECT_EQ(File_Close(file), Error_None);
    iVRXClient_SetDataPath(client_, path.c_str());
    client_->data.size = knownSize;
  }
  // Saves the record in {files}/NAME, and makes the transfer of one, as another run of the program does.
  void Save(const std::string& name) {
    EXPECT_EQ(WriteRecord(test_->Files().Name(name), client_), Error_None);
  }
  void Read(const std::string& name) {
    EXPECT_EQ(ReadRecord(test_->Files().Name(name), userData(), Methods(), &client_), Error_None);
  }
  void Close() {
    if (client_ == nullptr) return;
    EXPECT_EQ(VRXClient_Close(std::exchange(client_, nullptr)), Error_None);
  }

  void Delete() { EXPECT_EQ(VRXClient_Delete(std::exchange(client_, nullptr)), Error_None); }

  // One step, and steps until a result of 2 or above (or the last of so many).
  int32_t Step() { return Take(VRXClient_Idle); }
  int32_t ProbeStep() { return Take(VRXClient_Poll); }
  int32_t Work(int most = 10000) { return Repeat(VRXClient_Idle, most); }
  int32_t Probe(int most = 10000) { return Repeat(VRXClient_Poll, most); }
  // Steps until the transfer stands in this state.
  void WorkUntil(TransferState state, int most = 10000) {
    for (int i = 0; i < most && State() != state; ++i) ASSERT_LE(Step(), VRXClientResult_Changed);
    ASSERT_EQ(State(), state);
  }

  TransferState State() const { return client_->data.state; }
  uint32_t Reason() const { return VRXClient_GetError(client_); }

  // Since the last call of the same function. Messages alone; reports alone ("size 5", "progress 0 of 5",
  // "time 3", "speed 2.5"); both in their order, messages with "> " in front.
  Lines Messages() { return std::exchange(messages_, {}); }
  Lines Reports() { return std::exchange(reports_, {}); }
  Lines All() { return std::exchange(all_, {}); }
  // "state: result" of every step; repeated ones once, as the network decides how many there are.
  Lines Steps() { return std::exchange(steps_, {}); }
  // The results of every step.
  std::vector<int32_t> Results() { return std::exchange(results_, {}); }

  // What the log file holds.
  std::string Log() const {
    const char* text = nullptr;
    return VRXClient_GetInfo(client_, &text) == Error_None ? test_->Tidy(text) : "";
  }
  std::string LocalPath() const {
    char path[1024];
    EXPECT_EQ(VRXClient_GetLocalFilePath(client_, path), Error_None);
    return test_->Tidy(path);
  }
  // The URLs in their order, "!" in front of those that were dropped.
  Lines Servers() const {
    Lines servers;
    for (const ServerEntry* entry = client_->data.servers.first; entry != nullptr; entry = entry->next) {
      char url[1024];
      URL_FromData(entry->url, url);
      servers.push_back(test_->Tidy((entry->isFailed ? "!" : "") + std::string(url)));
    }
    return servers;
  }

  // Called with every message, before it is kept; for what an application does in a callback.
  std::function<void(const std::string& text)> onMessage;
  // Whether the application wants progress, which decides about speed and the size of steps.
  bool wantsProgress = false;

 private:
  Word userData() { return reinterpret_cast<Word>(this); }
  static Conversation* Of(Word userData) { return reinterpret_cast<Conversation*>(userData); }

  int32_t Take(int32_t (*call)(VRXClient*)) {
    const auto before = static_cast<uint32_t>(State());
    const int32_t result = call(client_);
    results_.push_back(result);
    const std::string line = std::to_string(before) + ": " + std::to_string(result);
    if (steps_.empty() || steps_.back() != line) steps_.push_back(line);
    return result;
  }
  int32_t Repeat(int32_t (*call)(VRXClient*), int most) {
    int32_t result = 0;
    for (int i = 0; i < most; ++i) {
      result = Take(call);
      if (result < 0 || result > VRXClientResult_Changed) return result;
    }
    return result;
  }
  void AddMessage(const std::string& text) {
    if (onMessage) onMessage(text);
    messages_.push_back(test_->Tidy(text));
    all_.push_back("> " + messages_.back());
  }
  void AddReport(const std::string& text) {
    reports_.push_back(text);
    all_.push_back(text);
  }
  const VRXClientMethods* Methods() {
    methods_ = {[](Word user, const char* text) { Of(user)->AddMessage(text); },
                nullptr,
                [](Word user, uint32_t size) { Of(user)->AddReport("size " + std::to_string(size)); },
                [](Word user, uint32_t value) { Of(user)->AddReport("time " + std::to_string(value)); },
                [](Word user, float speed) { Of(user)->AddReport("speed " + std::to_string(speed)); },
                nullptr};
    if (wantsProgress)
      methods_.progress = [](Word user, uint32_t done, uint32_t total) {
        Of(user)->AddReport("progress " + std::to_string(done) + " of " + std::to_string(total));
      };
    return &methods_;
  }

  ConversationTest* test_;
  VRXClient* client_ = nullptr;
  VRXClientMethods methods_ = {};
  Lines messages_;
  Lines reports_;
  Lines all_;
  Lines steps_;
  std::vector<int32_t> results_;
};
