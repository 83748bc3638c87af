// Single commands, the state bits and closing. Each test plays an exact script.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "net/ftpc_internal.h"
#include "qz/ftpc.h"
#include "tests/net/ftpc_fixture.h"

using namespace script;

namespace {

struct CommandRow {
  const char* line;
  ErrorCode (*call)(FTPc* connection, Reply* reply);
  ErrorCode otherwise;  // what a reply of another class than '2' gives
};

constexpr CommandRow kCommandRows[] = {
    {"MAGC x y", [](FTPc* c, Reply* r) { return FTPc_Magic(c, "x y", r); }, -4},
    {"MIRR /a b", [](FTPc* c, Reply* r) { return FTPc_Mirrors(c, "/a b", r); }, -4},
    {"DELE /\xe4\xff", [](FTPc* c, Reply* r) { return FTPc_DeleteFile(c, "/\xe4\xff", r); }, -4},
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

// ---- renaming --------------------------------------------------------------------------------------------

TEST_F(FTPcTest, RenamesAFile) {
  const struct {
    const char* from;
    const char* to;  // null: RNTO is not sent
    ErrorCode status;
  } rows[] = {
      {"350 go on", "250 renamed", Error_None}, {"350 go on", "299 renamed", Error_None},
      {"350 go on", "553 no", Error_Invalid},   {"350 go on", "350 again", Error_Invalid},
      {"550 no such", nullptr, Error_Invalid},  {"250 already", nullptr, Error_Invalid},
      {"421 busy", nullptr, Error_Invalid},
  };
  Script script;
  for (const auto& row : rows) {
    script = ftp::Join({script, ftp::Exchange("RNFR /a b", row.from)});
    if (row.to != nullptr) script = ftp::Join({script, ftp::Exchange("RNTO /c%n", row.to)});
  }
  ScriptedServer server({AfterLogin(script)});
  ftp::Client client(server.port());
  for (const auto& row : rows) {
    EXPECT_EQ(FTPc_RenameFile(client, "/a b", "/c%n", &client.reply), row.status) << row.from;
    EXPECT_STREQ(client.reply.text, (row.to != nullptr ? row.to : row.from) + 4);
  }
  FTPc_Delete(client.Release());
  server.Finish();
}

// A name that was announced alone would be that of the next rename.
TEST_F(FTPcTest, SendsNeitherName_WhenOneOfThemCannotBeSent) {
  const std::string longest(4093 - strlen("RNFR "), 'x');
  const std::string tooLong = longest + "x";
  ScriptedServer server({AfterLogin(ftp::Join(
      {ftp::Exchange("RNFR " + longest, "350 go on"), ftp::Exchange("RNTO " + longest, "250 ok")}))});
  ftp::Client client(server.port());
  Reply* const reply = &client.reply;
  for (const char* bad : {"a\r\nDELE b", "a\n", "\r"}) {
    EXPECT_EQ(FTPc_RenameFile(client, bad, "b", reply), Error_Invalid);
    EXPECT_EQ(FTPc_RenameFile(client, "a", bad, reply), Error_Invalid);
    ExpectEmpty(client.reply);
  }
  EXPECT_EQ(FTPc_RenameFile(client, nullptr, "b", reply), Error_Invalid);
  EXPECT_EQ(FTPc_RenameFile(client, "a", nullptr, reply), Error_Invalid);
  EXPECT_EQ(FTPc_RenameFile(client, "a", "b", nullptr), Error_Invalid);
  EXPECT_EQ(FTPc_RenameFile(nullptr, "a", "b", reply), Error_Invalid);
  EXPECT_EQ(FTPc_RenameFile(client, tooLong.c_str(), "b", reply), Error_Exceed);
  EXPECT_EQ(FTPc_RenameFile(client, "a", tooLong.c_str(), reply), Error_Exceed);
  EXPECT_EQ(FTPc_RenameFile(client, longest.c_str(), longest.c_str(), reply), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, EndsARename_WhenTheConnectionEnds) {
  ScriptedServer server({ftp::Join(
      {ftp::Login(), {ExpectLine("RNFR /a"), SendLine("350 go on"), ExpectLine("RNTO /b"), Close()}})});
  ftp::Client client(server.port());
  EXPECT_EQ(FTPc_RenameFile(client, "/a", "/b", &client.reply), Error_Ended);
  ExpectEmpty(client.reply);
  FTPc_Delete(client.Release());
  server.Finish();
}

// ---- values ----------------------------------------------------------------------------------------------

TEST_F(FTPcTest, GivesTheSizeOfAFile) {
  ScriptedServer server(
      {AfterLogin(ftp::Join({ftp::Exchange("SIZE /a", "213 1234"), ftp::Exchange("SIZE /a", "213 4294967296"),
                             ftp::Exchange("SIZE /a", "213 none"), ftp::Exchange("SIZE /a", "213"),
                             ftp::Exchange("SIZE /a", "550 12")}))});
  ftp::Client client(server.port());
  uint32_t size = 0;
  EXPECT_EQ(FTPc_FileSize(client, "/a", &size, &client.reply), Error_None);
  EXPECT_EQ(size, 1234u);
  EXPECT_EQ(FTPc_FileSize(client, "/a", &size, &client.reply), Error_None);
  EXPECT_EQ(size, 4294967295u);
  for (int i = 0; i < 3; ++i) {
    size = 7;
    EXPECT_EQ(FTPc_FileSize(client, "/a", &size, &client.reply), Error_Invalid);
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
  EXPECT_EQ(FTPc_ModTime(client, "/a", &time, &client.reply), Error_None);
  EXPECT_EQ(time.seconds, 852454987u);
  for (int i = 0; i < 2; ++i) {
    time = {7, 7};
    EXPECT_EQ(FTPc_ModTime(client, "/a", &time, &client.reply), Error_Invalid);
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
  EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_None);
  EXPECT_STREQ(path, "/a \"\"b\"\"");
  for (int i = 0; i < 3; ++i) {
    strcpy(path, "old");
    EXPECT_EQ(FTPc_CurrentDirectory(client, path, &client.reply), Error_Invalid);
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
  for (const Row& row : {Row{"350 ok", "350 ok", 1, Error_None}, Row{"350 ok", "501 no", 1, Error_Invalid},
                         // A refusal is an answer.
                         Row{"502 no", nullptr, 0, Error_None}, Row{"200 odd", nullptr, 0, Error_None},
                         Row{"421 closing", nullptr, 0, Error_None}, Row{"35", nullptr, 0, Error_Invalid}}) {
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
  EXPECT_EQ(FTPc_GetPeerName(client, address, port), Error_None);
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
  EXPECT_EQ(iFTPc_SetUpData(client, &reply), Error_None);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcTest, ClosesWithQuit) {
  ScriptedServer server({ftp::Join({ftp::Login(), ftp::Quit()}),
                         ftp::Join({ftp::Login(), ftp::Exchange("QUIT", "500 no"), ftp::Gone()}),
                         ftp::Join({ftp::Login(), {ExpectLine("QUIT"), Close()}})});
  Reply reply;
  EXPECT_EQ(FTPc_Close(ftp::Client(server.port()).Release(), &reply), Error_None);
  EXPECT_EQ(reply.code, 221);
  EXPECT_EQ(FTPc_Close(ftp::Client(server.port()).Release(), &reply), Error_None);
  EXPECT_EQ(reply.code, 500);
  EXPECT_EQ(FTPc_Close(ftp::Client(server.port()).Release(), &reply), Error_Ended);
  ExpectEmpty(reply);
  server.Finish();
}

}  // namespace
