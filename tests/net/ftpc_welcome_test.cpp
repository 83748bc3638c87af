// The file with the greeting and the login replies.
#include <gtest/gtest.h>

#include <string>

#include "net/ftpc_internal.h"
#include "os/core/memory_testing.h"
#include "qz/directory.h"
#include "qz/file.h"
#include "tests/net/ftpc_fixture.h"

using namespace script;

namespace {

std::string ReadFile(const char* name) {
  File* file = nullptr;
  EXPECT_EQ(File_Open(name, 1, &file), Error_None);
  if (file == nullptr) return {};
  char buffer[4096];
  const uint32_t length = File_Read(file, sizeof buffer, buffer);
  File_Close(file);
  std::string text(buffer, length);
  for (size_t at; (at = text.find('\r')) != std::string::npos;) text.erase(at, 1);
  return text;
}

Script WelcomeScript() {
  return {SendLine("220-Hello there "), SendLine("  and welcome"), SendLine("220-"),
          SendLine("220 Ready."),       ExpectLine("USER u"),      SendLine("331 Who?"),
          ExpectLine("PASS p"),         SendLine("230-%n%s"),      SendLine("230 In.")};
}

TEST_F(FTPcTest, CapturesGreetingAndLoginIntoTheWelcomeFile) {
  ScriptedServer server({ftp::Join({WelcomeScript(), ftp::Exchange("PWD", "257 \"/\""), ftp::Gone()})});
  ftp::Client client(server.port(), ftp::kPassive | FTPcFlag_Welcome, false);
  char name[1024] = "old";
  EXPECT_EQ(FTPc_InfoFile(client, name), Error_NotFound);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(FTPc_InfoFile(client, nullptr), Error_NotFound);
  ASSERT_EQ(FTPc_Login(client, "u", "p", &client.reply), Error_None);
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_None);
  EXPECT_EQ(FTPc_InfoFile(client, nullptr), Error_None);
  ASSERT_EQ(FTPc_InfoFile(client, name), Error_None);
  EXPECT_EQ(ReadFile(name), "Hello there\nand welcome\n\nReady.\nWho?\n%n%s\nIn.\n");
  const std::string text = name;
  EXPECT_NE(text.find("/welcome"), std::string::npos);
  EXPECT_EQ(text.substr(text.size() - 4), ".txt");
  // It was handed over.
  char again[1024];
  EXPECT_EQ(FTPc_InfoFile(client, again), Error_NotFound);
  FTPc_Delete(client.Release());
  EXPECT_EQ(File_Exists(name, nullptr), 1);
  EXPECT_EQ(File_Unlink(name), Error_None);
  server.Finish();
}

// A reply whose first line could not be kept is not kept from its second line on.
TEST_F(FTPcTest, KeepsRepliesInTheWelcomeFileWholeOrNotAtAll) {
  ScriptedServer server({{Send("220-One\r\n220 Two\r\n230 In.\r\n"), ReadToEnd()}});
  server.RepeatLast();
  int missing = 0;
  bool failed = true;
  for (int64_t n = 1; failed; ++n) {
    FTPc* connection = nullptr;
    Reply reply;
    iMemory_FailAllocation(n);
    FTPc_Open("127.0.0.1", server.port(), ftp::kPassive | FTPcFlag_Welcome, &connection, &reply);
    failed = iMemory_AllocationsUntilFailure() <= 0;
    iMemory_FailAllocation(0);
    if (connection == nullptr) continue;
    ASSERT_EQ(FTPc_Login(connection, "u", "p", &reply), Error_None);
    char name[1024];
    ASSERT_EQ(FTPc_InfoFile(connection, name), Error_None);
    EXPECT_EQ(ReadFile(name), failed ? "In.\n" : "One\nTwo\nIn.\n");
    EXPECT_EQ(File_Unlink(name), Error_None);
    FTPc_Delete(connection);
    if (failed) ++missing;
  }
  EXPECT_EQ(missing, 1);
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
    ASSERT_EQ(FTPc_Login(client, "u", "p", &client.reply), Error_None);
    const std::string name = WelcomeName(client);
    ASSERT_EQ(File_Exists(name.c_str(), nullptr), 1);
    if (way == 0) FTPc_Delete(client.Release());
    if (way == 1) FTPc_Close(client.Release(), nullptr);
    if (way == 2) FTPc_SetFlags(client, 0);
    EXPECT_EQ(File_Exists(name.c_str(), nullptr), 0) << way;
  }
  server.Finish();
}

size_t CountWelcomeFiles() {
  char folder[1024];
  EXPECT_EQ(File_GetSysDir(SysDir_Cache, folder), Error_None);
  DirectoryList* list = nullptr;
  EXPECT_EQ(Directory_StartList(folder, 0, &list), Error_None);
  size_t count = 0;
  char name[1024];
  while (Directory_IterateList(list, name) == 0) count += std::string(name).compare(0, 7, "welcome") == 0;
  EXPECT_EQ(Directory_EndList(list), Error_None);
  return count;
}

TEST_F(FTPcTest, RemovesTheWelcomeFile_WhenTheGreetingIsRefused) {
  const size_t before = CountWelcomeFiles();
  for (const Script& greeting : {Script{SendLine("421-too"), SendLine("421 many"), ExpectEnd()},
                                 Script{SendLine("220-cut"), Close()}}) {
    ScriptedServer server({greeting});
    FTPc* connection = nullptr;
    Reply reply;
    EXPECT_NE(FTPc_Open("127.0.0.1", server.port(), ftp::kPassive | FTPcFlag_Welcome, &connection, &reply),
              0);
    EXPECT_EQ(CountWelcomeFiles(), before);
    server.Finish();
  }
}

TEST_F(FTPcTest, GivesTwoConnectionsWelcomeFilesOfTheirOwn) {
  ScriptedServer server(
      {ftp::Join({WelcomeScript(), ftp::Gone()}), ftp::Join({WelcomeScript(), ftp::Gone()})});
  const uint32_t flags = ftp::kPassive | FTPcFlag_Welcome;
  const size_t before = CountWelcomeFiles();
  ftp::Client first(server.port(), flags, false);
  ftp::Client second(server.port(), flags, false);
  EXPECT_EQ(CountWelcomeFiles(), before + 2);
  for (ftp::Client* client : {&first, &second}) {
    ASSERT_EQ(FTPc_Login(*client, "u", "p", &client->reply), Error_None);
    char name[1024];
    ASSERT_EQ(FTPc_InfoFile(*client, name), Error_None);
    EXPECT_EQ(ReadFile(name), "Hello there\nand welcome\n\nReady.\nWho?\n%n%s\nIn.\n");
    EXPECT_EQ(File_Unlink(name), Error_None);
    FTPc_Delete(client->Release());
  }
  server.Finish();
}

TEST_F(FTPcTest, KeepsTheWelcomeFile_WhenTheFlagsThatAreSetSaySo) {
  ScriptedServer server({ftp::Join({WelcomeScript(), ftp::Gone()})});
  ftp::Client client(server.port(), ftp::kPassive | FTPcFlag_Welcome, false);
  ASSERT_EQ(FTPc_Login(client, "u", "p", &client.reply), Error_None);
  FTPc_SetFlags(client, 2);
  // The login has cleared the bit, and setting it again changes nothing.
  char name[1024];
  ASSERT_EQ(FTPc_InfoFile(client, name), Error_None);
  EXPECT_EQ(File_Unlink(name), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, CapturesTheLoginThatSucceedsBehindTheOneThatFailed) {
  ScriptedServer server({{SendLine("220 r"), ExpectLine("USER u"), SendLine("530 no"), ExpectLine("USER v"),
                          SendLine("230 in"), ExpectEnd()}});
  ftp::Client client(server.port(), ftp::kPassive | FTPcFlag_Welcome, false);
  EXPECT_EQ(FTPc_Login(client, "u", "p", &client.reply), Error_NoAccess);
  EXPECT_EQ(FTPc_Login(client, "v", "p", &client.reply), Error_None);
  char name[1024];
  ASSERT_EQ(FTPc_InfoFile(client, name), Error_None);
  EXPECT_EQ(ReadFile(name), "r\nno\nin\n");
  EXPECT_EQ(File_Unlink(name), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, CapturesNoLineThatIsNoReply) {
  ScriptedServer server({{SendLine("220 r"), ExpectLine("USER u"), SendLine("what?"), ExpectLine("USER u"),
                          SendLine("230 in"), ExpectEnd()}});
  ftp::Client client(server.port(), ftp::kPassive | FTPcFlag_Welcome, false);
  EXPECT_EQ(FTPc_Login(client, "u", "p", &client.reply), Error_Invalid);
  EXPECT_EQ(FTPc_Login(client, "u", "p", &client.reply), Error_None);
  char name[1024];
  ASSERT_EQ(FTPc_InfoFile(client, name), Error_None);
  EXPECT_EQ(ReadFile(name), "r\nin\n");
  EXPECT_EQ(File_Unlink(name), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, HasNoWelcomeFile_WhenNoneWasAskedFor) {
  ScriptedServer server({AfterLogin({})});
  ftp::Client client(server.port());
  EXPECT_EQ(FTPc_InfoFile(client, nullptr), Error_NotFound);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, HandsNoWelcomeFileOut_WhenTheLoginFailed) {
  ScriptedServer server({{SendLine("220 r"), ExpectLine("USER u"), SendLine("530 no"), ExpectEnd()}});
  ftp::Client client(server.port(), ftp::kPassive | FTPcFlag_Welcome, false);
  EXPECT_EQ(FTPc_Login(client, "u", "p", &client.reply), Error_NoAccess);
  EXPECT_EQ(FTPc_InfoFile(client, nullptr), Error_NotFound);
  FTPc_Delete(client.Release());
  server.Finish();
}

}  // namespace
