// Guarded runs of a synchroniser with real FTP servers, which tests/support/servers starts.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "qz/ftpc.h"
#include "qz/memorystream.h"
#include "tests/support/test_stream.h"
#include "tests/synchro/synchro_fixture.h"

namespace {

using synchro::kDelete;
using synchro::kMirror;
using synchro::kTwoWay;
using synchro::Outcome;

struct Server {
  const char* variable;  // names its port
  const char* user;
  const char* password;
  bool hasFacts;  // names with blanks take part
};
constexpr Server kServers[] = {{"QZ_TEST_FTP_PORT", "anonymous", "qz%40example.com", false},
                               {"QZ_TEST_FTP_PROFTPD_PORT", "anonymous", "qz%40example.com", true},
                               {"QZ_TEST_FTP_PUREFTPD_PORT", "qz", "secret", true}};

std::string PortOf(const Server& server) {
  const char* const port = getenv(server.variable);
  return port != nullptr ? port : "";
}

// A folder of the test's own below "incoming" of every server: all have one root.
class SynchroInterop : public synchro::Test, public testing::WithParamInterface<Server> {
 protected:
  void SetUp() override {
    synchro::Test::SetUp();
    // What a killed program of this number has left.
    ForgetTables();
    static int number = 0;
    // A run that is repeated with a new Wine may have the process number of the one before.
    const auto now = std::chrono::system_clock::now().time_since_epoch().count();
    folder_ = "/incoming/sync" + std::to_string(now) + "x" + std::to_string(++number);
    ASSERT_NE(PortOf(GetParam()), "")
        << GetParam().variable << " is not set: start the servers with tests/support/servers start";
    ASSERT_EQ(FTPc_Open("127.0.0.1", static_cast<uint32_t>(std::stoi(PortOf(GetParam()))),
                        FTPcFlag_Passive | FTPcFlag_NoProxy, &connection_, &reply_),
              Error_None);
    std::string password = GetParam().password;
    synchro::ReplaceAll(&password, "%40", "@");
    ASSERT_EQ(FTPc_Login(connection_, GetParam().user, password.c_str(), &reply_), Error_None);
    ASSERT_EQ(FTPc_FileType(connection_, 'I', 'N', &reply_), Error_None);
  }
  void TearDown() override {
    if (connection_ != nullptr) FTPc_Close(connection_, &reply_);
    synchro::Test::TearDown();
  }

  std::string URLOf(const Server& server, const std::string& folder) {
    return std::string("ftp://") + server.user + ":" + server.password + "@127.0.0.1:" + PortOf(server) +
           folder;
  }
  Outcome Upload(uint32_t flags) { return RunGuarded(flags, FileURL("src"), URLOf(GetParam(), folder_)); }

  std::string Remote(const std::string& name) {
    TestStream local;
    const ErrorCode status =
        FTPc_Retrieve(connection_, (folder_ + "/" + name).c_str(), local.stream(), nullptr, &reply_);
    return status == Error_None ? local.written() : "missing";
  }
  void PutRemote(const std::string& name, const std::string& text) {
    TestStream local(text);
    EXPECT_EQ(
        FTPc_Store(connection_, (folder_ + "/" + name).c_str(), local.stream(), 0xFFFFFFFF, nullptr, &reply_),
        Error_None)
        << reply_.text;
  }

  std::string folder_;
  FTPc* connection_ = nullptr;
  Reply reply_ = {};
};

TEST_P(SynchroInterop, CopiesThereAndComesToRest) {
  Put("src/a.txt", "one");
  Put("src/sub/b.txt", "two");
  Put("src/sub/deep/[c].txt", "three");
  const std::string name = GetParam().hasFacts ? "src/sub/my file.txt" : "src/sub/my-file.txt";
  Put(name, "four");
  const std::string big(3 * 1024 * 1024 + 1, 'b');
  Put("src/big", big);
  const Outcome first = Upload(kMirror);
  EXPECT_EQ(first.state, SynchroState_Finished);
  EXPECT_EQ(first.counters, "0 0 0 5 0") << testing::PrintToString(first.lines);
  EXPECT_EQ(Remote("a.txt"), "one");
  EXPECT_EQ(Remote("sub/deep/[c].txt"), "three");
  EXPECT_EQ(Remote(name.substr(4)), "four");
  EXPECT_TRUE(Remote("big") == big);
  const Outcome second = Upload(kMirror);
  EXPECT_EQ(second.counters, "0 0 0 0 0") << testing::PrintToString(second.lines);
  EXPECT_EQ(second.state, SynchroState_Finished);

  Remove("src");
  root_.MakeDirectory("src");
  ForgetTables();
  EXPECT_EQ(RunGuarded(kMirror, URLOf(GetParam(), folder_), FileURL("dst")).counters, "0 0 0 5 0");
  EXPECT_EQ(root_.Read("dst/" + name.substr(4)), "four");
  EXPECT_TRUE(root_.Read("dst/big") == big);
  EXPECT_EQ(RunGuarded(kMirror, URLOf(GetParam(), folder_), FileURL("dst")).counters, "0 0 0 0 0");
}

TEST_P(SynchroInterop, FollowsChangesAndDeletions) {
  Put("src/a", "one");
  Put("src/b", "two");
  Put("src/sub/c", "three");
  ASSERT_EQ(Upload(kTwoWay).counters, "0 0 0 3 0");
  Put("src/a", "changed here", 1100000000);
  PutRemote("sub/c", "changed there");
  const Outcome changed = Upload(kTwoWay);
  EXPECT_EQ(changed.counters, "0 1 0 1 0") << testing::PrintToString(changed.lines);
  EXPECT_EQ(Remote("a"), "changed here");
  EXPECT_EQ(Tree("src"), "a=changed here b=two sub/ sub/c=changed there");
  EXPECT_EQ(Upload(kTwoWay).counters, "0 0 0 0 0");

  Remove("src/b");
  const Outcome deleted = Upload(kDelete);
  EXPECT_EQ(deleted.counters, "0 0 0 0 1") << testing::PrintToString(deleted.lines);
  EXPECT_EQ(Remote("b"), "missing");
  PutRemote("b", "back again");
  EXPECT_EQ(Upload(kDelete).counters, "0 0 0 0 0") << "it never was at the source";
  EXPECT_EQ(Remote("b"), "back again");

  ASSERT_EQ(FTPc_DeleteFile(connection_, (folder_ + "/a").c_str(), &reply_), Error_None);
  EXPECT_EQ(Upload(kTwoWay | SynchroFlag_DeleteAtSource).counters, "0 1 1 0 0") << "the server's deletion";
  EXPECT_EQ(Tree("src"), "b=back again sub/ sub/c=changed there");
}

TEST_P(SynchroInterop, CopiesToEveryOtherServer) {
  Put("src/a", "one");
  Put("src/sub/b", std::string(200000, 'x'));
  ASSERT_EQ(Upload(kMirror).counters, "0 0 0 2 0");
  for (const Server& other : kServers) {
    if (other.variable == GetParam().variable) continue;
    SCOPED_TRACE(other.variable);
    ForgetTables();
    const std::string to = folder_ + "to" + PortOf(other);
    const Outcome outcome = RunGuarded(kMirror, URLOf(GetParam(), folder_), URLOf(other, to));
    EXPECT_EQ(outcome.counters, "0 0 0 2 0") << testing::PrintToString(outcome.lines);
    EXPECT_EQ(RunGuarded(kMirror, URLOf(GetParam(), folder_), URLOf(other, to)).counters, "0 0 0 0 0");
    TestStream local;
    EXPECT_EQ(FTPc_Retrieve(connection_, (to + "/sub/b").c_str(), local.stream(), nullptr, &reply_),
              Error_None);
    EXPECT_TRUE(local.written() == std::string(200000, 'x'));
  }
}

std::string NameOf(const testing::TestParamInfo<Server>& info) {
  return info.index == 0 ? "vsftpd" : info.index == 1 ? "proftpd" : "pureftpd";
}

INSTANTIATE_TEST_SUITE_P(Servers, SynchroInterop, testing::ValuesIn(kServers), NameOf);

}  // namespace
