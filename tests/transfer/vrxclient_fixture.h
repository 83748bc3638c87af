// Transfers in a library of their own: what each was told by its callbacks, the files that it made, and an
// end for those that a test leaves open.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "qz/error.h"
#include "qz/os.h"
#include "qz/vrxclient.h"
#include "qz/vrxclientsystem.h"
#include "tests/support/os_session.h"
#include "tests/support/temp_dir.h"
#include "tests/transfer/transfer_common.h"
#include "transfer/vrxclient_testing.h"

// What came through the callbacks, one line each: "message Connected.", "progress 5 of 10", "size 10",
// "time 3", "speed 1.5", "log". Those of the table with 64 bits begin with "64 ".
struct Heard {
  Lines lines;

  Word userData() { return reinterpret_cast<Word>(this); }
  void Add(const std::string& line) { lines.push_back(line); }
  static Heard* Of(Word userData) { return reinterpret_cast<Heard*>(userData); }
  // The lines so far; the next ones begin a new list.
  Lines Take() { return std::exchange(lines, {}); }
};

inline std::string Shown(float number) {
  char text[32];
  snprintf(text, sizeof text, "%g", static_cast<double>(number));
  return text;
}

constexpr VRXClientMethods kHearing = {
    [](Word userData, const char* text) { Heard::Of(userData)->Add(std::string("message ") + text); },
    [](Word userData, uint32_t done, uint32_t total) {
      Heard::Of(userData)->Add("progress " + std::to_string(done) + " of " + std::to_string(total));
    },
    [](Word userData, uint32_t size) { Heard::Of(userData)->Add("size " + std::to_string(size)); },
    [](Word userData, uint32_t value) { Heard::Of(userData)->Add("time " + std::to_string(value)); },
    [](Word userData, float speed) { Heard::Of(userData)->Add("speed " + Shown(speed)); },
    [](Word userData) { Heard::Of(userData)->Add("log"); }};

constexpr VRXClientMethods64 kHearing64 = {
    [](Word userData, const char* text) { Heard::Of(userData)->Add(std::string("64 message ") + text); },
    [](Word userData, uint64_t done, uint64_t total) {
      Heard::Of(userData)->Add("64 progress " + std::to_string(done) + " of " + std::to_string(total));
    },
    [](Word userData, uint64_t size) { Heard::Of(userData)->Add("64 size " + std::to_string(size)); },
    [](Word userData, uint32_t value) { Heard::Of(userData)->Add("64 time " + std::to_string(value)); },
    [](Word userData, float speed) { Heard::Of(userData)->Add("64 speed " + Shown(speed)); },
    [](Word userData) { Heard::Of(userData)->Add("64 log"); }};

// A transfer that is closed at the end, unless the test has ended it.
class Transfer {
 public:
  Transfer() = default;
  ~Transfer() { Close(); }
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  VRXClient* get() const { return client_; }
  VRXClient* operator->() const { return client_; }
  VRXClient** out() { return &client_; }
  explicit operator bool() const { return client_ != nullptr; }
  // Something else has ended it.
  void Forget() { client_ = nullptr; }
  void Close() {
    if (client_ == nullptr) return;
    EXPECT_EQ(VRXClient_Close(std::exchange(client_, nullptr)), Error_None);
  }
  void Delete() { EXPECT_EQ(VRXClient_Delete(std::exchange(client_, nullptr)), Error_None); }

 private:
  VRXClient* client_ = nullptr;
};

// The library and the transfer system, up for one test.
class TransferTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(session_.Status(), Error_None);
    ASSERT_EQ(VRXClientSystem_Init(), Error_None);
  }
  void TearDown() override {
    EXPECT_EQ(iVRXClientList_Count(), 0u) << "a transfer was left in the list";
    VRXClientSystem_Exit();
  }

  // A download to the test's folder; heard through heard_.
  void Download(const std::string& url, const std::string& localPath, Transfer* transfer) {
    ASSERT_EQ(
        VRXClient_NewDownload(url.c_str(), localPath.c_str(), heard_.userData(), &kHearing, transfer->out()),
        Error_None);
  }
  void Download(const std::string& url, Transfer* transfer) {
    Download(url, directory_.Name("file"), transfer);
  }
  void Upload(const std::string& name, const std::string& url, Transfer* transfer) {
    directory_.Write(name, "abc");
    ASSERT_EQ(VRXClient_NewUpload(directory_.Name(name).c_str(), url.c_str(), heard_.userData(), &kHearing,
                                  transfer->out()),
              Error_None);
  }

  static std::string CacheDirectory() {
    char path[1024];
    EXPECT_EQ(File_GetSysDir(SysDir_Cache, path), Error_None);
    return path;
  }

  OSSession session_;
  TempDir directory_;
  Heard heard_;
};

// What a function that fills a buffer gives: its text, or its status as "status -3".
template <typename Get>
std::string TextOf(Get get, const VRXClient* client) {
  char buffer[1024];
  snprintf(buffer, sizeof buffer, "untouched");
  const ErrorCode status = get(client, buffer);
  if (status == Error_None) return buffer;
  EXPECT_STREQ(buffer, "");
  return "status " + std::to_string(status);
}
