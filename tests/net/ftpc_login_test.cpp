// Opening and logging in, through a proxy or not. Each test plays an exact script.
#include <gtest/gtest.h>

#include <string>

#include "net/ftpc_internal.h"
#include "net/ftpc_testing.h"
#include "qz/ftpc.h"
#include "tests/net/ftpc_fixture.h"
#include "tests/support/fail_allocation.h"

using namespace script;

namespace {

// ---- opening ---------------------------------------------------------------------------------------------

TEST_F(FTPcTest, OpensOnAGreetingOfClass2) {
  ScriptedServer server({{SendLine("220-first"), SendLine("two"), SendLine("220-three"), SendLine(" four"),
                          SendLine("220 last"), ExpectEnd()}});
  ftp::Client client(server.port(), ftp::kPassive, false);
  EXPECT_EQ(client.reply.replyClass, 50);
  EXPECT_EQ(client.reply.code, 220);
  EXPECT_STREQ(client.reply.text, "last");
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, GivesNoAccess_WhenTheGreetingIsOfAnotherClass) {
  for (const char* greeting : {"120 wait", "421 too many", "530 no", "331 what"}) {
    ScriptedServer server({{SendLine(greeting), ExpectEnd()}});
    FTPc* connection = reinterpret_cast<FTPc*>(1);
    Reply reply;
    EXPECT_EQ(FTPc_Open("127.0.0.1", server.port(), ftp::kPassive, &connection, &reply), Error_NoAccess)
        << greeting;
    EXPECT_EQ(connection, nullptr);
    EXPECT_EQ(reply.replyClass, greeting[0]);
    server.Finish();
  }
}

TEST_F(FTPcTest, PassesTheFailureOfTheGreetingOn) {
  struct Row {
    Script script;
    ErrorCode status;
  };
  for (const Row& row : {Row{{Close()}, Error_Ended}, Row{{Send("220 cut"), Close()}, Error_Ended},
                         Row{{SendLine("2"), ExpectEnd()}, Error_Invalid},
                         Row{{SendLine("hello"), ExpectEnd()}, Error_Invalid},
                         Row{{SendLine("220-a"), Close()}, Error_Ended}}) {
    ScriptedServer server({row.script});
    FTPc* connection = nullptr;
    Reply reply;
    EXPECT_EQ(FTPc_Open("127.0.0.1", server.port(), ftp::kPassive, &connection, &reply), row.status);
    EXPECT_EQ(connection, nullptr);
    ExpectEmpty(reply);
    server.Finish();
  }
}

TEST_F(FTPcTest, GivesTimeout_WhenNoGreetingComes) {
  iSock_SetWaitMilliseconds(200);
  ScriptedServer server({{Send("22"), Stall()}});
  FTPc* connection = nullptr;
  Reply reply;
  EXPECT_EQ(FTPc_Open("127.0.0.1", server.port(), ftp::kPassive, &connection, &reply), Error_Timeout);
  server.Finish();
}

TEST_F(FTPcTest, GivesRetry_WhenTheConnectionIsReset) {
  ScriptedServer server({{SendLine("220 ready"), ExpectLine("PWD"), Reset()}});
  ftp::Client client(server.port(), ftp::kPassive, false);
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_Retry);
  ExpectEmpty(client.reply);
  server.Finish();
}

TEST_F(FTPcTest, RefusesAServerThatIsNotThere) {
  FTPc* connection = nullptr;
  Reply reply;
  EXPECT_EQ(FTPc_Open("127.0.0.1", loopback::UnusedPort(), ftp::kPassive, &connection, &reply),
            Error_NoAccess);
  ExpectEmpty(reply);
}

TEST_F(FTPcTest, RefusesHostsAndPortsOutOfRange) {
  FTPc* connection = nullptr;
  Reply reply;
  EXPECT_EQ(FTPc_Open("127.0.0.1", 65536, 0, &connection, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_Open("127.0.0.1", 4294967295u, 0, &connection, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_Open(std::string(1024, 'h').c_str(), 21, 0, &connection, &reply), Error_Exceed);
  EXPECT_EQ(FTPc_Open(std::string(65536, 'h').c_str(), 21, 0, &connection, &reply), Error_Exceed);
  EXPECT_EQ(FTPc_Open(nullptr, 21, 0, &connection, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_Open("127.0.0.1", 21, 0, nullptr, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_Open("127.0.0.1", 21, 0, &connection, nullptr), Error_Invalid);
}

TEST_F(FTPcTest, GivesMemory_WhenAnAllocationFails) {
  ScriptedServer server({ftp::Patient("")});
  server.RepeatLast();
  FailEveryAllocation([&] {
    FTPc* connection = nullptr;
    Reply reply;
    const uint32_t flags = ftp::kPassive | FTPcFlag_Welcome;
    const ErrorCode status = FTPc_Open("127.0.0.1", server.port(), flags, &connection, &reply);
    ASSERT_TRUE(status == Error_None || status == Error_Memory) << status;
    ASSERT_EQ(status == Error_None, connection != nullptr);
    if (connection == nullptr) return;
    // A welcome file that cannot be made is left out.
    ASSERT_EQ(FTPc_Login(connection, "anonymous", "me@", &reply), Error_None);
    char path[1024];
    EXPECT_EQ(FTPc_CurrentDirectory(connection, path, &reply), Error_None);
    EXPECT_EQ(FTPc_Close(connection, &reply), Error_None);
  });
  server.Finish();
}

// ---- logging in ------------------------------------------------------------------------------------------

TEST_F(FTPcTest, LogsInWithUserAndPassword) {
  ScriptedServer server({AfterLogin({})});
  ftp::Client client(server.port());
  EXPECT_EQ(client.reply.code, 230);
  FTPc_Delete(client.Release());
  server.Finish();
  EXPECT_EQ(server.Received(0), "USER anonymous\r\nPASS me@\r\n");
}

TEST_F(FTPcTest, LogsInWithoutPassword_WhenNoneIsAsked) {
  ScriptedServer server({{SendLine("220 r"), ExpectLine("USER u"), SendLine("230 in"), ExpectEnd()}});
  ftp::Client client(server.port(), ftp::kPassive, false);
  EXPECT_EQ(FTPc_Login(client, "u", "p", &client.reply), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, SendsAMissingPasswordAsAnEmptyOne) {
  ScriptedServer server({{SendLine("220 r"), ExpectLine("USER u"), SendLine("331 p"), ExpectLine("PASS "),
                          SendLine("202 in"), ExpectEnd()}});
  ftp::Client client(server.port(), ftp::kPassive, false);
  EXPECT_EQ(FTPc_Login(client, "u", nullptr, &client.reply), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, GivesNoAccess_WhenTheLoginIsRefused) {
  struct Row {
    const char* user;
    const char* password;  // null: not asked for
  };
  for (const Row& row : {Row{"530 no", nullptr}, Row{"421 closing", nullptr}, Row{"150 odd", nullptr},
                         Row{"331 p", "530 no"}, Row{"331 p", "332 account"}, Row{"332 account", "530 no"}}) {
    Script script = {SendLine("220 r"), ExpectLine("USER u"), SendLine(row.user)};
    if (row.password != nullptr) {
      script.push_back(ExpectLine("PASS p"));
      script.push_back(SendLine(row.password));
    }
    script.push_back(ExpectEnd());
    ScriptedServer server({script});
    ftp::Client client(server.port(), ftp::kPassive, false);
    EXPECT_EQ(FTPc_Login(client, "u", "p", &client.reply), Error_NoAccess) << row.user;
    EXPECT_EQ(client.reply.text, std::string(row.password != nullptr ? row.password : row.user).substr(4));
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcTest, SendsNothing_WhenAnArgumentWouldBeginAnotherCommand) {
  ScriptedServer server({{SendLine("220 r"), ExpectEnd()}});
  ftp::Client client(server.port(), ftp::kPassive, false);
  Reply& reply = client.reply;
  uint32_t number = 7;
  Time time = {7, 7};
  Stream* stream = reinterpret_cast<Stream*>(1);
  for (const char* bad : {"a\r\nDELE b", "a\nb", "a\r", "\n"}) {
    EXPECT_EQ(FTPc_Login(client, bad, "p", &reply), Error_Invalid);
    EXPECT_EQ(FTPc_Login(client, "u", bad, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_Magic(client, bad, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_Mirrors(client, bad, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_FileSize(client, bad, &number, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_ModTime(client, bad, &time, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_DeleteFile(client, bad, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_ChangeDirectory(client, bad, &reply), Error_Invalid);
    EXPECT_EQ(iFTPc_MakeDirectory(client, bad, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_GetDirectoryList(client, bad, 0, "/nowhere/x", &reply), Error_Invalid);
    EXPECT_EQ(FTPc_StartRetrieve(client, bad, &stream, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_StartRetrieveRestart(client, bad, &number, &stream, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_StartStore(client, bad, &stream, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_StartStoreUnique(client, bad, &stream, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_StartStoreRestart(client, bad, &number, &stream, &reply), Error_Invalid);
    EXPECT_EQ(FTPc_StartMoveServerFile(client, client, bad, "x", &reply), Error_Invalid);
    EXPECT_EQ(FTPc_StartMoveServerFile(client, client, "x", bad, &reply), Error_Invalid);
    EXPECT_EQ(stream, nullptr);
    ExpectEmpty(reply);
  }
  EXPECT_EQ(FTPc_FileType(client, 'A', '\n', &reply), Error_Invalid);
  EXPECT_EQ(FTPc_FileType(client, '\r', 'N', &reply), Error_Invalid);
  FTPc_Delete(client.Release());
  server.Finish();
  EXPECT_EQ(server.Received(0), "");
}

TEST_F(FTPcTest, RefusesNullArguments) {
  ScriptedServer server({{SendLine("220 r"), ExpectEnd()}});
  ftp::Client client(server.port(), ftp::kPassive, false);
  Reply reply;
  uint32_t number = 0;
  int32_t flag = 0;
  Time time;
  char path[1024];
  Stream* stream = nullptr;
  DirectoryList* list = nullptr;
  EXPECT_EQ(FTPc_Login(nullptr, "u", "p", &reply), Error_Invalid);
  EXPECT_EQ(FTPc_Login(client, nullptr, "p", &reply), Error_Invalid);
  EXPECT_EQ(FTPc_Login(client, "u", "p", nullptr), Error_Invalid);
  EXPECT_EQ(FTPc_InfoFile(nullptr, path), Error_Invalid);
  EXPECT_EQ(FTPc_Magic(nullptr, "a", &reply), Error_Invalid);
  EXPECT_EQ(FTPc_Magic(client, nullptr, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_Magic(client, "a", nullptr), Error_Invalid);
  reply = client.reply;
  EXPECT_EQ(FTPc_FileSize(client, "a", nullptr, &reply), Error_Invalid);
  ExpectEmpty(reply);
  reply = client.reply;
  EXPECT_EQ(FTPc_ModTime(client, "a", nullptr, &reply), Error_Invalid);
  ExpectEmpty(reply);
  EXPECT_EQ(FTPc_FileSize(client, nullptr, &number, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_ModTime(client, nullptr, &time, &reply), Error_Invalid);
  reply = client.reply;
  EXPECT_EQ(FTPc_CurrentDirectory(client, nullptr, &reply), Error_Invalid);
  ExpectEmpty(reply);
  EXPECT_EQ(FTPc_CurrentDirectory(client, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(FTPc_CurrentDirectory(nullptr, path, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_RestartSupported(client, nullptr), Error_Invalid);
  EXPECT_EQ(FTPc_RestartSupported(nullptr, &flag), Error_Invalid);
  EXPECT_EQ(FTPc_GetDirectoryList(client, nullptr, 0, nullptr, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_StartDirectoryList(client, nullptr, 0, nullptr, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_StartDirectoryList(nullptr, nullptr, 0, &list, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_StartRetrieve(client, "a", nullptr, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_StartRetrieve(client, nullptr, &stream, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_StartRetrieveRestart(client, "a", nullptr, &stream, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_StartStore(nullptr, "a", &stream, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_Retrieve(client, "a", nullptr, &number, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_Store(client, "a", nullptr, 1, &number, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_EndTransfer(nullptr, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_EndTransfer(client, nullptr), Error_Invalid);
  EXPECT_EQ(FTPc_AbortTransfer(nullptr, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_StartMoveServerFile(client, nullptr, "a", "b", &reply), Error_Invalid);
  EXPECT_EQ(FTPc_EndMoveServerFile(nullptr, client, &reply), Error_Invalid);
  EXPECT_EQ(FTPc_GetPeerName(nullptr, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(FTPc_GetFlags(nullptr), 0u);
  FTPc_SetFlags(nullptr, 0);
  EXPECT_EQ(FTPc_Close(nullptr, &reply), Error_Invalid);
  FTPc_Delete(nullptr);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, RefusesACommandThatIsTooLong) {
  ScriptedServer server({AfterLogin(ftp::Exchange("CWD " + std::string(4089, 'x'), "250 ok"))});
  ftp::Client client(server.port());
  EXPECT_EQ(FTPc_ChangeDirectory(client, std::string(4090, 'x').c_str(), &client.reply), Error_Exceed);
  EXPECT_EQ(FTPc_ChangeDirectory(client, std::string(4089, 'x').c_str(), &client.reply), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- through a proxy -------------------------------------------------------------------------------------

// Opens "far.example" through the scripted server as the FTP proxy, and logs in; what the server received.
std::string LogInThroughProxy(uint32_t port, const std::string& user, ErrorCode expected) {
  Script script = {SendLine("220 proxy")};
  if (expected == Error_None) script.insert(script.end(), {ReadUntil("\r\n"), SendLine("230 in")});
  script.push_back(ExpectEnd());
  ScriptedServer server({script});
  Proxy_SetServer(1, "127.0.0.1", server.port());
  Proxy_SetEnabled(1);
  FTPc* connection = nullptr;
  Reply reply;
  EXPECT_EQ(FTPc_Open("far.example", port, FTPcFlag_Passive, &connection, &reply), Error_None);
  EXPECT_EQ(FTPc_GetFlags(connection), 32u);
  EXPECT_EQ(FTPc_Login(connection, user.c_str(), "p", &reply), expected);
  FTPc_Delete(connection);
  server.Finish();
  return server.Received(0);
}

TEST_F(FTPcTest, NamesTheServerBehindTheUser_ThroughAProxy) {
  EXPECT_EQ(LogInThroughProxy(21, "joe", Error_None), "USER joe@far.example\r\n");
}

TEST_F(FTPcTest, SendsOnlyThePort_ThroughAProxyToAnotherPort) {
  EXPECT_EQ(LogInThroughProxy(2121, "joe", Error_None), "USER 2121\r\n");
  EXPECT_EQ(LogInThroughProxy(22, "joe", Error_None), "USER 22\r\n");
}

TEST_F(FTPcTest, GivesExceed_WhenUserAndHostAreTooLongForAProxy) {
  // "@far.example" takes 12 of the 255 bytes.
  const std::string longest(243, 'u');
  EXPECT_EQ(LogInThroughProxy(21, longest, Error_None), "USER " + longest + "@far.example\r\n");
  EXPECT_EQ(LogInThroughProxy(21, longest + "u", Error_Exceed), "");
}

TEST_F(FTPcTest, SendsNothing_WhenTheHostBehindAProxyWouldBeginAnotherCommand) {
  ScriptedServer server({{SendLine("220 proxy"), ExpectEnd()}});
  Proxy_SetServer(1, "127.0.0.1", server.port());
  Proxy_SetEnabled(1);
  FTPc* connection = nullptr;
  Reply reply;
  ASSERT_EQ(FTPc_Open("far.example\r\nDELE x", 21, FTPcFlag_Passive, &connection, &reply), Error_None);
  EXPECT_EQ(FTPc_Login(connection, "joe", "p", &reply), Error_Invalid);
  ExpectEmpty(reply);
  FTPc_Delete(connection);
  server.Finish();
  EXPECT_EQ(server.Received(0), "");
}

TEST_F(FTPcTest, RefusesPortsOutOfRange_ThroughAProxy) {
  Proxy_SetEnabled(1);
  FTPc* connection = nullptr;
  Reply reply;
  const struct {
    uint32_t proxyPort;
    uint32_t port;
  } kCases[] = {{65536u + loopback::UnusedPort(), 21}, {loopback::UnusedPort(), 65536}};
  for (const auto& row : kCases) {
    Proxy_SetServer(1, "127.0.0.1", row.proxyPort);
    EXPECT_EQ(FTPc_Open("far.example", row.port, 0, &connection, &reply), Error_Invalid) << row.port;
    EXPECT_EQ(connection, nullptr);
  }
}

TEST_F(FTPcTest, IgnoresTheProxy_WhenToldSoOrBypassed) {
  ScriptedServer server({AfterLogin({}), AfterLogin({})});
  Proxy_SetServer(1, "127.0.0.1", loopback::UnusedPort());
  Proxy_SetEnabled(1);
  { ftp::Client client(server.port(), FTPcFlag_NoProxy); }
  Proxy_SetBypassList("127.0");
  { ftp::Client client(server.port(), 0); }
  Proxy_SetBypassList("");
  server.Finish();
}

TEST_F(FTPcTest, DoesNotUseTheRecordedProxyServer) {
  ScriptedServer server({AfterLogin({})});
  FTPc_SetProxyServer("127.0.0.1", loopback::UnusedPort());
  { ftp::Client client(server.port(), 0); }
  server.Finish();
  EXPECT_TRUE(iFTPc_GetProxyServer().enabled);
  FTPc_SetProxyServer(std::string(300, 'h').c_str(), 7);
  EXPECT_EQ(iFTPc_GetProxyServer().host, std::string(256, 'h'));
  EXPECT_EQ(iFTPc_GetProxyServer().port, 7u);
  FTPc_SetProxyServer(nullptr, 7);
  EXPECT_FALSE(iFTPc_GetProxyServer().enabled);
}

}  // namespace
