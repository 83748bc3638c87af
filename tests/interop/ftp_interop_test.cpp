// The FTP client against real servers, which tests/support/servers starts. Their ports come from the
// environment; a variable that is missing is a failure, never a skip.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "qz/directory.h"
#include "qz/error.h"
#include "qz/file.h"
#include "qz/ftpc.h"
#include "qz/os.h"
#include "qz/sock.h"
#include "tests/support/loopback.h"
#include "tests/support/os_session.h"
#include "tests/support/system_folders.h"
#include "tests/support/test_stream.h"

namespace {

constexpr uint32_t kAll = 0xFFFFFFFFu;

struct Server {
  const char* variable;  // names its port
  const char* user;
  const char* password;
};
constexpr Server kServers[] = {{"QZ_TEST_FTP_PORT", "anonymous", "qz@example.com"},
                               {"QZ_TEST_FTP_PROFTPD_PORT", "anonymous", "qz@example.com"},
                               {"QZ_TEST_FTP_PUREFTPD_PORT", "qz", "secret"}};

// The lines 0000000 to 0099999 that the servers have as numbers.txt.
std::string Numbers() {
  std::string text;
  char line[16];
  for (int i = 0; i < 100000; ++i) {
    snprintf(line, sizeof line, "%07d\n", i);
    text += line;
  }
  return text;
}

// Every test runs against every server, in passive and in active mode.
struct Setting {
  Server server;
  uint32_t flags;
};

class FTPInterop : public testing::TestWithParam<Setting> {
 protected:
  void SetUp() override {
    const std::string log = places_.Folder().Name("session.log");
    ASSERT_EQ(OS_Init(places_.ApplicationName().c_str(), OSInitCode_LogPath, log.c_str(), OSInitCode_End),
              Error_None);
    started_ = true;
    const char* port = getenv(GetParam().server.variable);
    ASSERT_NE(port, nullptr) << GetParam().server.variable
                             << " is not set: start the servers with tests/support/servers start";
    FTPc_SetPortRange(loopback::UnusedPorts(50), 50);
    const uint32_t flags = GetParam().flags | FTPcFlag_NoProxy;
    ASSERT_EQ(FTPc_Open("127.0.0.1", static_cast<uint32_t>(atoi(port)), flags, &connection_, &reply_),
              Error_None);
    ASSERT_EQ(FTPc_Login(connection_, GetParam().server.user, GetParam().server.password, &reply_),
              Error_None)
        << reply_.text;
    ASSERT_EQ(FTPc_FileType(connection_, 'I', 'N', &reply_), Error_None);
  }
  void TearDown() override {
    if (connection_ != nullptr) {
      EXPECT_EQ(FTPc_Close(connection_, &reply_), Error_None);
      EXPECT_EQ(reply_.code, 221);
    }
    if (started_) OS_Exit(0);
  }

  std::string Retrieve(const std::string& path) {
    TestStream local;
    EXPECT_EQ(FTPc_Retrieve(connection_, path.c_str(), local.stream(), nullptr, &reply_), Error_None)
        << path << reply_.text;
    return local.written();
  }

  std::vector<std::string> List(const char* directory, int32_t kind) {
    std::vector<std::string> lines;
    DirectoryList* list = nullptr;
    EXPECT_EQ(FTPc_StartDirectoryList(connection_, directory, kind, &list, &reply_), Error_None)
        << reply_.text;
    if (list == nullptr) return lines;
    char line[1024];
    while (Directory_IterateList(list, line) == 0) {
      // Some servers name the directory itself and the one above among its files.
      const std::string name = line;
      if (name != "." && name != ".." && !name.ends_with("/.") && !name.ends_with("/.."))
        lines.push_back(name);
    }
    EXPECT_EQ(Directory_EndList(list), Error_None);
    return lines;
  }

  OSPlaces places_{"qzinterop" + std::to_string(ProgramNumber())};
  ScopedTemporaryVariable temporary_{places_.Folder().Path().string().c_str()};
  FTPc* connection_ = nullptr;
  Reply reply_ = {};
  bool started_ = false;
};

TEST_P(FTPInterop, RetrievesWholeFiles) {
  EXPECT_EQ(Retrieve("/small.txt"), "hello\n");
  EXPECT_EQ(Retrieve("/empty.txt"), "");
  EXPECT_TRUE(Retrieve("/numbers.txt") == Numbers());
  EXPECT_EQ(Retrieve("/folder/inner.txt"), "inner\n");
}

TEST_P(FTPInterop, RetrievesFromAnOffset) {
  const std::string numbers = Numbers();
  int32_t canRestart = 0;
  EXPECT_EQ(FTPc_RestartSupported(connection_, &canRestart), Error_None);
  EXPECT_EQ(canRestart, 1);
  for (uint32_t wanted : {1u, 400000u, 799999u, 800000u}) {
    uint32_t offset = wanted;
    uint32_t count = 0;
    TestStream local;
    EXPECT_EQ(FTPc_RetrieveRestart(connection_, "/numbers.txt", &offset, local.stream(), &count, &reply_),
              Error_None);
    EXPECT_EQ(offset, wanted);
    EXPECT_EQ(count, 800000 - wanted);
    EXPECT_TRUE(local.written() == numbers.substr(wanted));
  }
}

TEST_P(FTPInterop, KnowsSizeTimeAndDirectory) {
  uint32_t size = 0;
  EXPECT_EQ(FTPc_FileSize(connection_, "/numbers.txt", &size, &reply_), Error_None);
  EXPECT_EQ(size, 800000u);
  Time time = {};
  EXPECT_EQ(FTPc_ModTime(connection_, "/numbers.txt", &time, &reply_), Error_None);
  Time now = {};
  Time_Get(&now);
  EXPECT_GT(time.seconds, 1700000000u);
  EXPECT_LE(time.seconds, now.seconds + 1);
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(connection_, path, &reply_), Error_None);
  EXPECT_STREQ(path, "/");
  EXPECT_EQ(FTPc_ChangeDirectory(connection_, "/folder", &reply_), Error_None);
  EXPECT_EQ(FTPc_CurrentDirectory(connection_, path, &reply_), Error_None);
  EXPECT_STREQ(path, "/folder");
  EXPECT_EQ(FTPc_ChangeDirectory(connection_, "/missing", &reply_), Error_NoAccess);
}

TEST_P(FTPInterop, RefusesAMissingFile) {
  TestStream local;
  const ErrorCode status = FTPc_Retrieve(connection_, "/missing", local.stream(), nullptr, &reply_);
  // A server that closes its passive port before the client has connected gives a refused connection.
  const bool passive = (GetParam().flags & FTPcFlag_Passive) != 0;
  EXPECT_TRUE(status == Error_NoAccess || (passive && status == Error_NotFound)) << status;
  EXPECT_EQ(reply_.code, 550);
  uint32_t size = 0;
  EXPECT_EQ(FTPc_FileSize(connection_, "/missing", &size, &reply_), Error_Invalid);
  // The connection is still in step.
  EXPECT_EQ(Retrieve("/small.txt"), "hello\n");
}

TEST_P(FTPInterop, StoresAppendsAndDeletes) {
  const std::string numbers = Numbers();
  // A run that was killed may have left its file, which belongs to another server's user.
  const auto now = std::chrono::system_clock::now().time_since_epoch().count();
  const std::string name = "/incoming/upload" + std::to_string(now) + ".txt";
  const char* const path = name.c_str();
  TestStream first(numbers);
  uint32_t count = 0;
  ASSERT_EQ(FTPc_Store(connection_, path, first.stream(), kAll, &count, &reply_), Error_None) << reply_.text;
  EXPECT_EQ(count, 800000u);
  EXPECT_TRUE(Retrieve(path) == numbers);

  // Over the second half, from an offset.
  TestStream rest("tail\n");
  uint32_t offset = 800000;
  ASSERT_EQ(FTPc_StoreRestart(connection_, path, &offset, rest.stream(), kAll, &count, &reply_), Error_None)
      << reply_.text;
  EXPECT_EQ(offset, 800000u);
  EXPECT_TRUE(Retrieve(path) == numbers + "tail\n");

  // Written anew, and no more than the limit.
  TestStream again("hello");
  ASSERT_EQ(FTPc_Store(connection_, path, again.stream(), 4, &count, &reply_), Error_None) << reply_.text;
  EXPECT_EQ(Retrieve(path), "hell");

  EXPECT_EQ(FTPc_DeleteFile(connection_, path, &reply_), Error_None);
  EXPECT_EQ(FTPc_DeleteFile(connection_, path, &reply_), Error_Invalid);
}

TEST_P(FTPInterop, ListsDirectories) {
  std::vector<std::string> names = List("/", FTPcList_Names);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"empty.txt", "folder", "incoming", "numbers.txt", "small.txt"}));
  EXPECT_EQ(List("/folder", FTPcList_JoinedNames), (std::vector<std::string>{"/folder/inner.txt"}));
  const std::vector<std::string> lines = List("/folder", FTPcList_Long);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0][0], '-');
  EXPECT_NE(lines[0].find(" 6 "), std::string::npos);
  EXPECT_NE(lines[0].find(" inner.txt"), std::string::npos);
}

TEST_P(FTPInterop, IsCutOffAndGoesOn) {
  const std::string numbers = Numbers();
  Stream* data = nullptr;
  ASSERT_EQ(FTPc_StartRetrieve(connection_, "/numbers.txt", &data, &reply_), Error_None);
  std::string got(100000, 0);
  size_t length = 0;
  while (length < got.size()) {
    const uint32_t step = Stream_Read(data, static_cast<uint32_t>(got.size() - length), got.data() + length);
    ASSERT_GT(step, 0u);
    length += step;
  }
  // The data connection goes away in the middle; what the server then says depends on how much it had sent.
  Stream_Delete(data);
  ErrorCode status = Error_Block;
  while (status == Error_Block) status = FTPc_EndTransfer(connection_, &reply_);
  EXPECT_TRUE(status == Error_None || status == Error_Invalid) << status;

  uint32_t offset = 100000;
  TestStream rest;
  EXPECT_EQ(FTPc_RetrieveRestart(connection_, "/numbers.txt", &offset, rest.stream(), nullptr, &reply_),
            Error_None);
  EXPECT_TRUE(got + rest.written() == numbers);
}

std::vector<Setting> Settings() {
  std::vector<Setting> settings;
  for (const Server& server : kServers) {
    settings.push_back({server, FTPcFlag_Passive});
    settings.push_back({server, 0});
  }
  return settings;
}

std::string NameOf(const testing::TestParamInfo<Setting>& info) {
  const std::string variable = info.param.server.variable;
  return variable.substr(8, variable.size() - 13) + (info.param.flags != 0 ? "_Passive" : "_Active");
}

INSTANTIATE_TEST_SUITE_P(Servers, FTPInterop, testing::ValuesIn(Settings()), NameOf);

}  // namespace
