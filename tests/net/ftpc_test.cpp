// The control connection: opening, logging in, single commands, closing. Each test plays an exact script.
#include "qz/ftpc.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>

#include "net/ftpc_internal.h"
#include "qz/file.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/scripted_ftp.h"

using namespace script;

namespace {

class FTPcTest : public ftp::LibraryTest {};

// A server that plays these lines after the login, and then sees the client go.
Script AfterLogin(const Script& script) {
  return ftp::Join({ftp::Login(), script, ftp::Gone()});
}

std::string ReadFile(const char* name) {
  File* file = nullptr;
  EXPECT_EQ(File_Open(name, 1, &file), 0);
  if (file == nullptr) return {};
  char buffer[4096];
  const uint32_t length = File_Read(file, sizeof buffer, buffer);
  File_Close(file);
  std::string text(buffer, length);
  for (size_t at; (at = text.find('\r')) != std::string::npos;) text.erase(at, 1);
  return text;
}

void ExpectEmpty(const Reply& reply) {
  EXPECT_EQ(reply.replyClass, 0);
  EXPECT_EQ(reply.code, 0);
  EXPECT_STREQ(reply.text, "");
}

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
    EXPECT_EQ(FTPc_Open("127.0.0.1", server.port(), ftp::kPassive, &connection, &reply), -5) << greeting;
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
  for (const Row& row :
       {Row{{Close()}, 4}, Row{{Send("220 cut"), Close()}, 4}, Row{{SendLine("2"), ExpectEnd()}, -4},
        Row{{SendLine("hello"), ExpectEnd()}, -4}, Row{{SendLine("220-a"), Close()}, 4}}) {
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
  EXPECT_EQ(FTPc_Open("127.0.0.1", server.port(), ftp::kPassive, &connection, &reply), 8);
  server.Finish();
}

TEST_F(FTPcTest, GivesRetry_WhenTheConnectionIsReset) {
  ScriptedServer server({{SendLine("220 ready"), ExpectLine("PWD"), Reset()}});
  ftp::Client client(server.port(), ftp::kPassive, false);
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), 9);
  ExpectEmpty(client.reply);
  server.Finish();
}

TEST_F(FTPcTest, RefusesAServerThatIsNotThere) {
  FTPc* connection = nullptr;
  Reply reply;
  EXPECT_EQ(FTPc_Open("127.0.0.1", loopback::UnusedPort(), ftp::kPassive, &connection, &reply), -5);
  ExpectEmpty(reply);
}

TEST_F(FTPcTest, RefusesHostsAndPortsOutOfRange) {
  FTPc* connection = nullptr;
  Reply reply;
  EXPECT_EQ(FTPc_Open("127.0.0.1", 65536, 0, &connection, &reply), -4);
  EXPECT_EQ(FTPc_Open("127.0.0.1", 4294967295u, 0, &connection, &reply), -4);
  EXPECT_EQ(FTPc_Open(std::string(1024, 'h').c_str(), 21, 0, &connection, &reply), -4);
  EXPECT_EQ(FTPc_Open(std::string(65536, 'h').c_str(), 21, 0, &connection, &reply), -4);
  EXPECT_EQ(FTPc_Open(nullptr, 21, 0, &connection, &reply), -4);
  EXPECT_EQ(FTPc_Open("127.0.0.1", 21, 0, nullptr, &reply), -4);
  EXPECT_EQ(FTPc_Open("127.0.0.1", 21, 0, &connection, nullptr), -4);
}

TEST_F(FTPcTest, GivesMemory_WhenAnAllocationFails) {
  ScriptedServer server({ftp::Patient("")});
  server.RepeatLast();
  FailEveryAllocation([&] {
    FTPc* connection = nullptr;
    Reply reply;
    const uint32_t flags = ftp::kPassive | FTPcFlag_Welcome;
    const ErrorCode status = FTPc_Open("127.0.0.1", server.port(), flags, &connection, &reply);
    ASSERT_TRUE(status == 0 || status == 1) << status;
    ASSERT_EQ(status == 0, connection != nullptr);
    if (connection == nullptr) return;
    // A welcome file that cannot be made is left out.
    ASSERT_EQ(FTPc_Login(connection, "anonymous", "me@", &reply), 0);
    char path[1024];
    EXPECT_EQ(FTPc_CurrentDirectory(connection, path, &reply), 0);
    EXPECT_EQ(FTPc_Close(connection, &reply), 0);
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
  EXPECT_EQ(FTPc_Login(client, "u", "p", &client.reply), 0);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, SendsAMissingPasswordAsAnEmptyOne) {
  ScriptedServer server({{SendLine("220 r"), ExpectLine("USER u"), SendLine("331 p"), ExpectLine("PASS "),
                          SendLine("202 in"), ExpectEnd()}});
  ftp::Client client(server.port(), ftp::kPassive, false);
  EXPECT_EQ(FTPc_Login(client, "u", nullptr, &client.reply), 0);
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
    EXPECT_EQ(FTPc_Login(client, "u", "p", &client.reply), -5) << row.user;
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
    EXPECT_EQ(FTPc_Login(client, bad, "p", &reply), -4);
    EXPECT_EQ(FTPc_Login(client, "u", bad, &reply), -4);
    EXPECT_EQ(FTPc_Magic(client, bad, &reply), -4);
    EXPECT_EQ(FTPc_Mirrors(client, bad, &reply), -4);
    EXPECT_EQ(FTPc_FileSize(client, bad, &number, &reply), -4);
    EXPECT_EQ(FTPc_ModTime(client, bad, &time, &reply), -4);
    EXPECT_EQ(FTPc_DeleteFile(client, bad, &reply), -4);
    EXPECT_EQ(FTPc_ChangeDirectory(client, bad, &reply), -4);
    EXPECT_EQ(iFTPc_MakeDirectory(client, bad, &reply), -4);
    EXPECT_EQ(FTPc_GetDirectoryList(client, bad, 0, "/nowhere/x", &reply), -4);
    EXPECT_EQ(FTPc_StartRetrieve(client, bad, &stream, &reply), -4);
    EXPECT_EQ(FTPc_StartRetrieveRestart(client, bad, &number, &stream, &reply), -4);
    EXPECT_EQ(FTPc_StartStore(client, bad, &stream, &reply), -4);
    EXPECT_EQ(FTPc_StartStoreUnique(client, bad, &stream, &reply), -4);
    EXPECT_EQ(FTPc_StartStoreRestart(client, bad, &number, &stream, &reply), -4);
    EXPECT_EQ(FTPc_StartMoveServerFile(client, client, bad, "x", &reply), -4);
    EXPECT_EQ(FTPc_StartMoveServerFile(client, client, "x", bad, &reply), -4);
    EXPECT_EQ(stream, nullptr);
    ExpectEmpty(reply);
  }
  EXPECT_EQ(FTPc_FileType(client, 'A', '\n', &reply), -4);
  EXPECT_EQ(FTPc_FileType(client, '\r', 'N', &reply), -4);
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
  EXPECT_EQ(FTPc_Login(nullptr, "u", "p", &reply), -4);
  EXPECT_EQ(FTPc_Login(client, nullptr, "p", &reply), -4);
  EXPECT_EQ(FTPc_Login(client, "u", "p", nullptr), -4);
  EXPECT_EQ(FTPc_InfoFile(nullptr, path), -4);
  EXPECT_EQ(FTPc_Magic(nullptr, "a", &reply), -4);
  EXPECT_EQ(FTPc_Magic(client, nullptr, &reply), -4);
  EXPECT_EQ(FTPc_Magic(client, "a", nullptr), -4);
  EXPECT_EQ(FTPc_FileSize(client, "a", nullptr, &reply), -4);
  EXPECT_EQ(FTPc_ModTime(client, "a", nullptr, &reply), -4);
  EXPECT_EQ(FTPc_FileSize(client, nullptr, &number, &reply), -4);
  EXPECT_EQ(FTPc_ModTime(client, nullptr, &time, &reply), -4);
  EXPECT_EQ(FTPc_CurrentDirectory(client, nullptr, &reply), -4);
  EXPECT_EQ(FTPc_CurrentDirectory(nullptr, path, &reply), -4);
  EXPECT_EQ(FTPc_RestartSupported(client, nullptr), -4);
  EXPECT_EQ(FTPc_RestartSupported(nullptr, &flag), -4);
  EXPECT_EQ(FTPc_GetDirectoryList(client, nullptr, 0, nullptr, &reply), -4);
  EXPECT_EQ(FTPc_StartDirectoryList(client, nullptr, 0, nullptr, &reply), -4);
  EXPECT_EQ(FTPc_StartDirectoryList(nullptr, nullptr, 0, &list, &reply), -4);
  EXPECT_EQ(FTPc_StartRetrieve(client, "a", nullptr, &reply), -4);
  EXPECT_EQ(FTPc_StartRetrieve(client, nullptr, &stream, &reply), -4);
  EXPECT_EQ(FTPc_StartRetrieveRestart(client, "a", nullptr, &stream, &reply), -4);
  EXPECT_EQ(FTPc_StartStore(nullptr, "a", &stream, &reply), -4);
  EXPECT_EQ(FTPc_Retrieve(client, "a", nullptr, &number, &reply), -4);
  EXPECT_EQ(FTPc_Store(client, "a", nullptr, 1, &number, &reply), -4);
  EXPECT_EQ(FTPc_EndTransfer(nullptr, &reply), -4);
  EXPECT_EQ(FTPc_EndTransfer(client, nullptr), -4);
  EXPECT_EQ(FTPc_AbortTransfer(nullptr, &reply), -4);
  EXPECT_EQ(FTPc_StartMoveServerFile(client, nullptr, "a", "b", &reply), -4);
  EXPECT_EQ(FTPc_EndMoveServerFile(nullptr, client, &reply), -4);
  EXPECT_EQ(FTPc_GetPeerName(nullptr, nullptr, nullptr), -4);
  EXPECT_EQ(FTPc_GetFlags(nullptr), 0u);
  FTPc_SetFlags(nullptr, 0);
  EXPECT_EQ(FTPc_Close(nullptr, &reply), -4);
  FTPc_Delete(nullptr);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, RefusesACommandThatIsTooLong) {
  ScriptedServer server({AfterLogin(ftp::Exchange("CWD " + std::string(4089, 'x'), "250 ok"))});
  ftp::Client client(server.port());
  EXPECT_EQ(FTPc_ChangeDirectory(client, std::string(4090, 'x').c_str(), &client.reply), 5);
  EXPECT_EQ(FTPc_ChangeDirectory(client, std::string(4089, 'x').c_str(), &client.reply), 0);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- through a proxy -------------------------------------------------------------------------------------

// Opens "far.example" through the scripted server as the FTP proxy, and logs in; what the server received.
std::string LogInThroughProxy(uint32_t port, const std::string& user, ErrorCode expected) {
  Script script = {SendLine("220 proxy")};
  if (expected == 0) script.insert(script.end(), {ReadUntil("\r\n"), SendLine("230 in")});
  script.push_back(ExpectEnd());
  ScriptedServer server({script});
  Proxy_SetServer(1, "127.0.0.1", server.port());
  Proxy_SetEnabled(1);
  FTPc* connection = nullptr;
  Reply reply;
  EXPECT_EQ(FTPc_Open("far.example", port, FTPcFlag_Passive, &connection, &reply), 0);
  EXPECT_EQ(FTPc_GetFlags(connection), 32u);
  EXPECT_EQ(FTPc_Login(connection, user.c_str(), "p", &reply), expected);
  FTPc_Delete(connection);
  server.Finish();
  return server.Received(0);
}

TEST_F(FTPcTest, NamesTheServerBehindTheUser_ThroughAProxy) {
  EXPECT_EQ(LogInThroughProxy(21, "joe", 0), "USER joe@far.example\r\n");
}

TEST_F(FTPcTest, SendsOnlyThePort_ThroughAProxyToAnotherPort) {
  EXPECT_EQ(LogInThroughProxy(2121, "joe", 0), "USER 2121\r\n");
  EXPECT_EQ(LogInThroughProxy(22, "joe", 0), "USER 22\r\n");
}

TEST_F(FTPcTest, GivesExceed_WhenUserAndHostAreTooLongForAProxy) {
  // "@far.example" takes 12 of the 255 bytes.
  const std::string longest(243, 'u');
  EXPECT_EQ(LogInThroughProxy(21, longest, 0), "USER " + longest + "@far.example\r\n");
  EXPECT_EQ(LogInThroughProxy(21, longest + "u", 5), "");
}

TEST_F(FTPcTest, SendsNothing_WhenTheHostBehindAProxyWouldBeginAnotherCommand) {
  ScriptedServer server({{SendLine("220 proxy"), ExpectEnd()}});
  Proxy_SetServer(1, "127.0.0.1", server.port());
  Proxy_SetEnabled(1);
  FTPc* connection = nullptr;
  Reply reply;
  ASSERT_EQ(FTPc_Open("far.example\r\nDELE x", 21, FTPcFlag_Passive, &connection, &reply), 0);
  EXPECT_EQ(FTPc_Login(connection, "joe", "p", &reply), -4);
  ExpectEmpty(reply);
  FTPc_Delete(connection);
  server.Finish();
  EXPECT_EQ(server.Received(0), "");
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

// ---- welcome file ----------------------------------------------------------------------------------------

Script WelcomeScript() {
  return {SendLine("220-Hello there "), SendLine("  and welcome"), SendLine("220-"),
          SendLine("220 Ready."),       ExpectLine("USER u"),      SendLine("331 Who?"),
          ExpectLine("PASS p"),         SendLine("230-%n%s"),      SendLine("230 In.")};
}

TEST_F(FTPcTest, CapturesGreetingAndLoginIntoTheWelcomeFile) {
  ScriptedServer server({ftp::Join({WelcomeScript(), ftp::Exchange("PWD", "257 \"/\""), ftp::Gone()})});
  ftp::Client client(server.port(), ftp::kPassive | FTPcFlag_Welcome, false);
  char name[1024] = "old";
  EXPECT_EQ(FTPc_InfoFile(client, name), -3);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(FTPc_InfoFile(client, nullptr), -3);
  ASSERT_EQ(FTPc_Login(client, "u", "p", &client.reply), 0);
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), 0);
  EXPECT_EQ(FTPc_InfoFile(client, nullptr), 0);
  ASSERT_EQ(FTPc_InfoFile(client, name), 0);
  EXPECT_EQ(ReadFile(name), "Hello there\nand welcome\n\nReady.\nWho?\n%n%s\nIn.\n");
  const std::string text = name;
  EXPECT_NE(text.find("/welcome"), std::string::npos);
  EXPECT_EQ(text.substr(text.size() - 4), ".txt");
  // It was handed over.
  char again[1024];
  EXPECT_EQ(FTPc_InfoFile(client, again), -3);
  FTPc_Delete(client.Release());
  EXPECT_EQ(File_Exists(name, nullptr), 1);
  EXPECT_EQ(File_Unlink(name), 0);
  server.Finish();
}

// The name of the file behind a logged-in client, which stays the client's.
std::string WelcomeName(FTPc* connection) {
  return connection->welcomeName;
}

TEST_F(FTPcTest, RemovesTheWelcomeFileThatNobodyTook) {
  ScriptedServer server({ftp::Join({WelcomeScript(), ftp::Gone()}), ftp::Join({WelcomeScript(), ftp::Quit()}),
                         ftp::Join({WelcomeScript(), ftp::Gone()})});
  for (int way = 0; way < 3; ++way) {
    ftp::Client client(server.port(), ftp::kPassive | FTPcFlag_Welcome, false);
    ASSERT_EQ(FTPc_Login(client, "u", "p", &client.reply), 0);
    const std::string name = WelcomeName(client);
    ASSERT_EQ(File_Exists(name.c_str(), nullptr), 1);
    if (way == 0) FTPc_Delete(client.Release());
    if (way == 1) FTPc_Close(client.Release(), nullptr);
    if (way == 2) FTPc_SetFlags(client, 0);
    EXPECT_EQ(File_Exists(name.c_str(), nullptr), 0) << way;
  }
  server.Finish();
}

TEST_F(FTPcTest, KeepsTheWelcomeFile_WhenTheFlagsThatAreSetSaySo) {
  ScriptedServer server({ftp::Join({WelcomeScript(), ftp::Gone()})});
  ftp::Client client(server.port(), ftp::kPassive | FTPcFlag_Welcome, false);
  ASSERT_EQ(FTPc_Login(client, "u", "p", &client.reply), 0);
  FTPc_SetFlags(client, 2);
  // The login has cleared the bit, and setting it again changes nothing.
  char name[1024];
  ASSERT_EQ(FTPc_InfoFile(client, name), 0);
  EXPECT_EQ(File_Unlink(name), 0);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, CapturesTheLoginThatSucceedsBehindTheOneThatFailed) {
  ScriptedServer server({{SendLine("220 r"), ExpectLine("USER u"), SendLine("530 no"), ExpectLine("USER v"),
                          SendLine("230 in"), ExpectEnd()}});
  ftp::Client client(server.port(), ftp::kPassive | FTPcFlag_Welcome, false);
  EXPECT_EQ(FTPc_Login(client, "u", "p", &client.reply), -5);
  EXPECT_EQ(FTPc_Login(client, "v", "p", &client.reply), 0);
  char name[1024];
  ASSERT_EQ(FTPc_InfoFile(client, name), 0);
  EXPECT_EQ(ReadFile(name), "r\nno\nin\n");
  EXPECT_EQ(File_Unlink(name), 0);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, HasNoWelcomeFile_WhenNoneWasAskedFor) {
  ScriptedServer server({AfterLogin({})});
  ftp::Client client(server.port());
  EXPECT_EQ(FTPc_InfoFile(client, nullptr), -3);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, HandsNoWelcomeFileOut_WhenTheLoginFailed) {
  ScriptedServer server({{SendLine("220 r"), ExpectLine("USER u"), SendLine("530 no"), ExpectEnd()}});
  ftp::Client client(server.port(), ftp::kPassive | FTPcFlag_Welcome, false);
  EXPECT_EQ(FTPc_Login(client, "u", "p", &client.reply), -5);
  EXPECT_EQ(FTPc_InfoFile(client, nullptr), -3);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- commands --------------------------------------------------------------------------------------------

struct CommandRow {
  const char* line;
  ErrorCode (*call)(FTPc* connection, Reply* reply);
  ErrorCode otherwise;  // what a reply of another class than '2' gives
};

constexpr CommandRow kCommandRows[] = {
    {"MAGC x y", [](FTPc* c, Reply* r) { return FTPc_Magic(c, "x y", r); }, -4},
    {"MIRR /a b", [](FTPc* c, Reply* r) { return FTPc_Mirrors(c, "/a b", r); }, -4},
    {"DELE /a", [](FTPc* c, Reply* r) { return FTPc_DeleteFile(c, "/a", r); }, -4},
    {"CWD /a%n", [](FTPc* c, Reply* r) { return FTPc_ChangeDirectory(c, "/a%n", r); }, -5},
    {"MKD /a", [](FTPc* c, Reply* r) { return iFTPc_MakeDirectory(c, "/a", r); }, -5},
    {"TYPE I", [](FTPc* c, Reply* r) { return FTPc_FileType(c, 'I', 'N', r); }, -5},
    {"TYPE A", [](FTPc* c, Reply* r) { return FTPc_FileType(c, 'A', 'N', r); }, -5},
    {"TYPE A T", [](FTPc* c, Reply* r) { return FTPc_FileType(c, 'A', 'T', r); }, -5},
    {"TYPE L 8", [](FTPc* c, Reply* r) { return FTPc_FileType(c, 'L', 'N', r); }, -5},
    {"TYPE L 36", [](FTPc* c, Reply* r) { return FTPc_FileType(c, 'L', 36, r); }, -5},
    {"ABOR", [](FTPc* c, Reply* r) { return FTPc_AbortTransfer(c, r); }, 0},
};

TEST_F(FTPcTest, SendsEachCommandAndJudgesItsReply) {
  for (const CommandRow& row : kCommandRows) {
    SCOPED_TRACE(row.line);
    Script script = ftp::Greeting();
    const char* replies[] = {"200 yes", "299 yes", "150 x", "300 x", "421 x", "550 no such"};
    for (const char* reply : replies) {
      script.push_back(ExpectLine(row.line));
      script.push_back(SendLine(reply));
    }
    script.push_back(ExpectEnd());
    ScriptedServer server({script});
    ftp::Client client(server.port(), ftp::kPassive, false);
    for (const char* reply : replies) {
      EXPECT_EQ(row.call(client, &client.reply), reply[0] == '2' ? 0 : row.otherwise) << reply;
      EXPECT_EQ(client.reply.replyClass, reply[0]);
      EXPECT_STREQ(client.reply.text, reply + 4);
    }
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcTest, GivesTheSizeOfAFile) {
  ScriptedServer server(
      {AfterLogin(ftp::Join({ftp::Exchange("SIZE /a", "213 1234"), ftp::Exchange("SIZE /a", "213 4294967296"),
                             ftp::Exchange("SIZE /a", "213 none"), ftp::Exchange("SIZE /a", "213"),
                             ftp::Exchange("SIZE /a", "550 12")}))});
  ftp::Client client(server.port());
  uint32_t size = 0;
  EXPECT_EQ(FTPc_FileSize(client, "/a", &size, &client.reply), 0);
  EXPECT_EQ(size, 1234u);
  EXPECT_EQ(FTPc_FileSize(client, "/a", &size, &client.reply), 0);
  EXPECT_EQ(size, 4294967295u);
  for (int i = 0; i < 3; ++i) {
    size = 7;
    EXPECT_EQ(FTPc_FileSize(client, "/a", &size, &client.reply), -4);
    EXPECT_EQ(size, 0u);
  }
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, GivesTheTimeOfAFile) {
  ScriptedServer server({AfterLogin(
      ftp::Join({ftp::Exchange("MDTM /a", "213 19970105090307"), ftp::Exchange("MDTM /a", "213 yesterday"),
                 ftp::Exchange("MDTM /a", "500 19970105090307")}))});
  ftp::Client client(server.port());
  Time time = {};
  EXPECT_EQ(FTPc_ModTime(client, "/a", &time, &client.reply), 0);
  EXPECT_EQ(time.seconds, 852454987u);
  for (int i = 0; i < 2; ++i) {
    time = {7, 7};
    EXPECT_EQ(FTPc_ModTime(client, "/a", &time, &client.reply), -4);
    EXPECT_EQ(time.seconds, 0u);
    EXPECT_EQ(time.milliseconds, 0u);
  }
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, GivesTheCurrentDirectory) {
  ScriptedServer server({AfterLogin(ftp::Join(
      {ftp::Exchange("PWD", "257 \"/a \"\"b\"\"\" is it"), ftp::Exchange("PWD", "257 \"/never closed"),
       ftp::Exchange("PWD", "257 \"\""), ftp::Exchange("PWD", "550 \"/a\"")}))});
  ftp::Client client(server.port());
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), 0);
  EXPECT_STREQ(path, "/a \"\"b\"\"");
  for (int i = 0; i < 3; ++i) {
    strcpy(path, "old");
    EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), -4);
    EXPECT_STREQ(path, "");
  }
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, ProbesRestart) {
  struct Row {
    const char* first;
    const char* second;  // null: not sent
    int32_t flag;
    ErrorCode status;
  };
  for (const Row& row : {Row{"350 ok", "350 ok", 1, 0}, Row{"350 ok", "501 no", 1, -4},
                         Row{"502 no", nullptr, 0, -4}, Row{"200 odd", nullptr, 0, -4}}) {
    Script script = ftp::Join({ftp::Login(), ftp::Exchange("REST 100", row.first)});
    if (row.second != nullptr) script = ftp::Join({script, ftp::Exchange("REST 0", row.second)});
    ScriptedServer server({ftp::Join({script, ftp::Gone()})});
    ftp::Client client(server.port());
    int32_t flag = 7;
    EXPECT_EQ(FTPc_RestartSupported(client, &flag), row.status) << row.first;
    EXPECT_EQ(flag, row.flag);
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcTest, GivesTheServersAddress) {
  ScriptedServer server({AfterLogin({})});
  ftp::Client client(server.port());
  uint8_t address[4] = {};
  uint8_t port[2] = {};
  EXPECT_EQ(FTPc_GetPeerName(client, address, port), 0);
  EXPECT_EQ(address[0], 127);
  EXPECT_EQ(address[3], 1);
  EXPECT_EQ(port[0] * 256 + port[1], server.port());
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, HidesAndKeepsTheFlagsOfOpen) {
  ScriptedServer server({AfterLogin(ftp::Passive())});
  // Bits that are not the caller's are not taken from it.
  ftp::Client client(server.port(), 0xFFFFFFF8u | ftp::kPassive);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  FTPc_SetFlags(client, 0xFFFFFFF8u);
  EXPECT_EQ(FTPc_GetFlags(client), 0xFFFFFFF8u);
  FTPc_SetFlags(client, 16);
  EXPECT_EQ(FTPc_GetFlags(client), 16u);
  FTPc_SetFlags(client, 0);
  EXPECT_EQ(FTPc_GetFlags(client), 0u);
  // Still passive, although the bit was not given.
  Reply reply;
  EXPECT_EQ(iFTPc_SetUpData(client, &reply), 0);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, ClosesWithQuit) {
  ScriptedServer server({ftp::Join({ftp::Login(), ftp::Quit()}),
                         ftp::Join({ftp::Login(), ftp::Exchange("QUIT", "500 no"), ftp::Gone()}),
                         ftp::Join({ftp::Login(), {ExpectLine("QUIT"), Close()}})});
  Reply reply;
  EXPECT_EQ(FTPc_Close(ftp::Client(server.port()).Release(), &reply), 0);
  EXPECT_EQ(reply.code, 221);
  EXPECT_EQ(FTPc_Close(ftp::Client(server.port()).Release(), &reply), 0);
  EXPECT_EQ(reply.code, 500);
  EXPECT_EQ(FTPc_Close(ftp::Client(server.port()).Release(), &reply), 4);
  ExpectEmpty(reply);
  server.Finish();
}

// ---- hostile replies -------------------------------------------------------------------------------------

TEST_F(FTPcTest, DropsTheRestOfALongLine) {
  const std::string tail(5000, 'z');
  ScriptedServer server({AfterLogin(ftp::Join(
      {ftp::Exchange("PWD", "257 \"/a\" " + tail + "550 hidden"), ftp::Exchange("PWD", "257 \"/b\"")}))});
  ftp::Client client(server.port());
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), 0);
  EXPECT_STREQ(path, "/a");
  // Four characters of code, 1019 of text.
  EXPECT_EQ(strlen(client.reply.text), 1019u);
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), 0);
  EXPECT_STREQ(path, "/b");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, TakesLinesAroundTheBufferSize) {
  for (size_t length : {1017u, 1018u, 1019u, 1020u, 1021u, 2040u, 2041u, 2042u, 2043u}) {
    const std::string text(length, 'x');
    ScriptedServer server({AfterLogin(
        ftp::Join({ftp::Exchange("MIRR a", "200 " + text), ftp::Exchange("MIRR a", "200 next")}))});
    ftp::Client client(server.port());
    EXPECT_EQ(FTPc_Mirrors(client, "a", &client.reply), 0);
    EXPECT_EQ(client.reply.text, text.substr(0, 1019)) << length;
    EXPECT_EQ(FTPc_Mirrors(client, "a", &client.reply), 0);
    EXPECT_STREQ(client.reply.text, "next") << length;
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcTest, GivesExceed_WhenAReplyHasNoEnd) {
  const std::string line(4100 * 1024, 'x');
  std::string lines;
  for (int i = 0; i < 70000; ++i) lines += "220-" + std::string(58, 'y') + "\r\n";
  for (const std::string& flood : {line, lines}) {
    ScriptedServer server(
        {ftp::Join({ftp::Login(), {ExpectLine("PWD"), Send("220-\r\n" + flood), ReadToEnd()}})});
    ftp::Client client(server.port());
    char path[1024];
    EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), 5);
    ExpectEmpty(client.reply);
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcTest, GivesTimeout_WhenLinesComeSlowlyWithoutEnd) {
  iSock_SetWaitMilliseconds(60);
  std::string lines = "257-\r\n";
  for (int i = 0; i < 100; ++i) lines += "x\r\n";
  // It would take three seconds and more; ten times 60 milliseconds are given.
  ScriptedServer server({ftp::Join({ftp::Login(), {ExpectLine("PWD"), SendSlowly(lines, 10), ReadToEnd()}})});
  ftp::Client client(server.port());
  char path[1024];
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), 8);
  EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(590));
  ExpectEmpty(client.reply);
  server.Stop();
}

TEST_F(FTPcTest, LeavesASecondReplyForTheNextCommand) {
  ScriptedServer server(
      {AfterLogin({ExpectLine("PWD"), Send("257 \"/a\"\r\n257 \"/b\"\r\n"), ExpectLine("PWD")})});
  ftp::Client client(server.port());
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), 0);
  EXPECT_STREQ(path, "/a");
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), 0);
  EXPECT_STREQ(path, "/b");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, TakesControlBytesAndZerosAsData) {
  ScriptedServer server(
      {AfterLogin(ftp::Join({ftp::Exchange("MIRR a", "200-\x01\n550 no\r"),
                             {SendLine(std::string("\0 ", 2)), SendLine("200 \x1b[2J\x07\n x")},
                             ftp::Exchange("MIRR a", "200 next")}))});
  ftp::Client client(server.port());
  EXPECT_EQ(FTPc_Mirrors(client, "a", &client.reply), 0);
  EXPECT_EQ(client.reply.code, 200);
  EXPECT_STREQ(client.reply.text, "\x1b[2J\x07\n x");
  EXPECT_EQ(FTPc_Mirrors(client, "a", &client.reply), 0);
  EXPECT_STREQ(client.reply.text, "next");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, ReadsAReplyThatComesByteByByte) {
  ScriptedServer server({AfterLogin({ExpectLine("PWD"), SendSlowly("257-x\r\n257 \"/slow\"\r\n", 2)})});
  ftp::Client client(server.port());
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), 0);
  EXPECT_STREQ(path, "/slow");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, GivesTimeoutAndNotEnded_WhenAReplyStays) {
  iSock_SetWaitMilliseconds(200);
  ScriptedServer server({ftp::Join({ftp::Login(), {ExpectLine("PWD"), Send("257 \"/a"), Stall()}})});
  ftp::Client client(server.port());
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), 8);
  ExpectEmpty(client.reply);
  FTPc_Delete(client.Release());
  server.Finish();
}

}  // namespace
