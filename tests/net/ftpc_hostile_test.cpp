// Replies that are long, endless, slow, or hold what no reply should.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "net/ftpc_internal.h"
#include "qz/ftpc.h"
#include "tests/net/ftpc_fixture.h"

using namespace script;

namespace {

TEST_F(FTPcTest, DropsTheRestOfALongLine) {
  const std::string tail(5000, 'z');
  ScriptedServer server({AfterLogin(ftp::Join(
      {ftp::Exchange("PWD", "257 \"/a\" " + tail + "550 hidden"), ftp::Exchange("PWD", "257 \"/b\"")}))});
  ftp::Client client(server.port());
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_None);
  EXPECT_STREQ(path, "/a");
  // Four characters of code, 1019 of text.
  EXPECT_EQ(strlen(client.reply.text), 1019u);
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_None);
  EXPECT_STREQ(path, "/b");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, DropsTheRestOfALongLine_WhenALineFeedStandsWhereItIsCut) {
  for (size_t length : {1017u, 1018u, 1019u}) {
    const std::string text = std::string(length, 'x') + "\n550 hidden";
    ScriptedServer server({AfterLogin(
        ftp::Join({ftp::Exchange("MIRR a", "200 " + text), ftp::Exchange("MIRR a", "200 next")}))});
    ftp::Client client(server.port());
    EXPECT_EQ(FTPc_Mirrors(client, "a", &client.reply), Error_None);
    EXPECT_EQ(std::string(client.reply.text).substr(0, length), std::string(length, 'x')) << length;
    EXPECT_EQ(FTPc_Mirrors(client, "a", &client.reply), Error_None);
    EXPECT_STREQ(client.reply.text, "next") << length;
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcTest, TakesLinesAroundTheBufferSize) {
  for (size_t length : {1017u, 1018u, 1019u, 1020u, 1021u, 2040u, 2041u, 2042u, 2043u}) {
    const std::string text(length, 'x');
    ScriptedServer server({AfterLogin(
        ftp::Join({ftp::Exchange("MIRR a", "200 " + text), ftp::Exchange("MIRR a", "200 next")}))});
    ftp::Client client(server.port());
    EXPECT_EQ(FTPc_Mirrors(client, "a", &client.reply), Error_None);
    EXPECT_EQ(client.reply.text, text.substr(0, 1019)) << length;
    EXPECT_EQ(FTPc_Mirrors(client, "a", &client.reply), Error_None);
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
    EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_Exceed);
    ExpectEmpty(client.reply);
    // The rest of the reply is not the next command's.
    iSock_SetWaitMilliseconds(1000);
    EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
    iSock_SetWaitMilliseconds(0);
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcTest, GivesTimeout_WhenLinesComeSlowlyWithoutEnd) {
  std::string lines = "257-\r\n";
  for (int i = 0; i < 100; ++i) lines += "x\r\n";
  // It would take three seconds and more; ten times 150 milliseconds are given.
  ScriptedServer server({ftp::Join({ftp::Login(), {ExpectLine("PWD"), SendSlowly(lines, 10), ReadToEnd()}})});
  ftp::Client client(server.port());
  iSock_SetWaitMilliseconds(150);
  char path[1024];
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_Timeout);
  EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1490));
  ExpectEmpty(client.reply);
  server.Stop();
}

TEST_F(FTPcTest, GivesTimeout_WhenOneLineComesSlowlyWithoutEnd) {
  // More than three seconds of it; ten times 150 milliseconds are given.
  Script script = ftp::Join({ftp::Login(), {ExpectLine("PWD")}});
  for (int i = 0; i < 100; ++i) {
    script.push_back(Send(std::string(2000, '2')));
    script.push_back(Wait(30));
  }
  ScriptedServer server({script});
  ftp::Client client(server.port());
  iSock_SetWaitMilliseconds(150);
  char path[1024];
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_Timeout);
  EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1490));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2900));
  ExpectEmpty(client.reply);
  server.Stop();
}

TEST_F(FTPcTest, GivesTimeout_WhenAShortLineComesByteByByte) {
  // It would take six seconds and more; ten times 150 milliseconds are given.
  const std::string line = "257 " + std::string(596, 'x') + "\r\n";
  ScriptedServer server({ftp::Join({ftp::Login(), {ExpectLine("PWD"), SendSlowly(line, 10), ReadToEnd()}})});
  ftp::Client client(server.port());
  iSock_SetWaitMilliseconds(150);
  char path[1024];
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_Timeout);
  EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1490));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4000));
  ExpectEmpty(client.reply);
  server.Stop();
}

TEST_F(FTPcTest, LeavesASecondReplyForTheNextCommand) {
  ScriptedServer server(
      {AfterLogin({ExpectLine("PWD"), Send("257 \"/a\"\r\n257 \"/b\"\r\n"), ExpectLine("PWD")})});
  ftp::Client client(server.port());
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_None);
  EXPECT_STREQ(path, "/a");
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_None);
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
  EXPECT_EQ(FTPc_Mirrors(client, "a", &client.reply), Error_None);
  EXPECT_EQ(client.reply.code, 200);
  EXPECT_STREQ(client.reply.text, "\x1b[2J\x07\n x");
  EXPECT_EQ(FTPc_Mirrors(client, "a", &client.reply), Error_None);
  EXPECT_STREQ(client.reply.text, "next");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, ReadsAReplyThatComesByteByByte) {
  ScriptedServer server({AfterLogin({ExpectLine("PWD"), SendSlowly("257-x\r\n257 \"/slow\"\r\n", 2)})});
  ftp::Client client(server.port());
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_None);
  EXPECT_STREQ(path, "/slow");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, GivesTimeoutAndNotEnded_WhenAReplyStays) {
  ScriptedServer server({ftp::Join({ftp::Login(), {ExpectLine("PWD"), Send("257 \"/a"), Stall()}})});
  ftp::Client client(server.port());
  iSock_SetWaitMilliseconds(200);
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_Timeout);
  ExpectEmpty(client.reply);
  FTPc_Delete(client.Release());
  server.Finish();
}

// Else the next command would take the late reply for its own, and every later one the reply before its own.
TEST_F(FTPcTest, EndsTheConnection_WhenAReplyComesTooLate) {
  ScriptedServer server({AfterLogin({ExpectLine("PWD"), Wait(500), SendLine("257 \"/late\"")})});
  ftp::Client client(server.port());
  iSock_SetWaitMilliseconds(200);
  char path[1024];
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_Timeout);
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
  ExpectEmpty(client.reply);
  // The server sees the end before the client gives the connection up.
  server.Finish();
  EXPECT_EQ(FTPc_Close(client.Release(), &client.reply), Error_Ended);
}

// The next command would be read as the rest of the line.
TEST_F(FTPcTest, EndsTheConnection_WhenACommandCannotBeSentWhole) {
  ScriptedServer server({ftp::Join({ftp::Login(), {Wait(4000), ReadToEnd()}})});
  ftp::Client client(server.port());
  iSock_SetWaitMilliseconds(300);
  const std::string path(4000, 'x');
  ErrorCode status = Error_None;
  for (int i = 0; i < 20000 && status == Error_None; ++i) status = iFTPc_Send(client, "DELE", path.c_str());
  EXPECT_EQ(status, Error_Timeout);
  EXPECT_EQ(FTPc_DeleteFile(client, "/b", &client.reply), Error_Ended);
  FTPc_Delete(client.Release());
  server.Stop();
}

}  // namespace
