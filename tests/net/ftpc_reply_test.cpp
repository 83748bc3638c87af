// From lines to replies: no server needed.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "net/ftpc_internal.h"
#include "net/ftpc_testing.h"
#include "qz/error.h"

namespace {

static_assert(offsetof(Reply, replyClass) == 0 && offsetof(Reply, code) == 4);
static_assert(offsetof(Reply, text) == 8 && sizeof(Reply) == 1032);

// Feeds lines until one ends the reply; the status of the last one fed.
ErrorCode Feed(const std::vector<std::string>& lines, Reply* reply) {
  FTPReplyReader reader;
  *reply = Reply{};
  ErrorCode status = 6;
  for (const std::string& line : lines) {
    EXPECT_EQ(status, Error_Block) << "the reply ended before " << line;
    status = reader.Take(line, static_cast<uint32_t>(line.size()));
  }
  if (status == Error_None) reader.Get(reply);
  return status;
}

TEST(FTPcReply, TakesOneLine) {
  Reply reply;
  ASSERT_EQ(Feed({"220 ready"}, &reply), Error_None);
  EXPECT_EQ(reply.replyClass, 50);
  EXPECT_EQ(reply.code, 220);
  EXPECT_STREQ(reply.text, "ready");
}

TEST(FTPcReply, TakesTheTextOfTheLastOfSeveralLines) {
  Reply reply;
  ASSERT_EQ(Feed({"220-first", "second", "220-third", " 220 fourth", "220 last"}, &reply), Error_None);
  EXPECT_EQ(reply.replyClass, '2');
  EXPECT_EQ(reply.code, 220);
  EXPECT_STREQ(reply.text, "last");
}

TEST(FTPcReply, KeepsReadingWhenTheCodeOrTheSeparatorDiffers) {
  Reply reply;
  EXPECT_EQ(Feed({"220-", "230 other"}, &reply), Error_Block);
  EXPECT_EQ(Feed({"220-", "220"}, &reply), Error_Block);
  EXPECT_EQ(Feed({"220-", "220\tx"}, &reply), Error_Block);
  EXPECT_EQ(Feed({"220-", "", "22", "2200 ", "220-x", "220_"}, &reply), Error_Block);
  EXPECT_EQ(Feed({"220-", "220 "}, &reply), Error_None);
}

TEST(FTPcReply, RefusesALineThatIsTooShortOrNoCode) {
  Reply reply;
  for (const char* line : {"", "2", "22", "abc", "   ", "abc def", "-- 220", "+-1"}) {
    EXPECT_EQ(Feed({line}, &reply), Error_Invalid) << line;
    EXPECT_EQ(reply.replyClass, 0);
    EXPECT_EQ(reply.code, 0);
    EXPECT_STREQ(reply.text, "");
  }
}

// Three characters are read as a number, as far as it goes.
TEST(FTPcReply, ReadsTheCodeAsANumber) {
  struct Row {
    const char* line;
    int32_t replyClass;
    int32_t code;
  };
  for (const Row& row :
       {Row{"2200 x", '2', 220}, Row{"2x0 x", '2', 2}, Row{" 22 x", ' ', 22}, Row{"000 x", '0', 0},
        Row{"-12 x", '-', -12}, Row{"999 x", '9', 999}, Row{"220", '2', 220}}) {
    Reply reply;
    EXPECT_EQ(Feed({row.line}, &reply), Error_None) << row.line;
    EXPECT_EQ(reply.replyClass, row.replyClass) << row.line;
    EXPECT_EQ(reply.code, row.code) << row.line;
  }
}

TEST(FTPcReply, StripsTheTextAndLeavesAShortOneEmpty) {
  struct Row {
    const char* line;
    const char* text;
  };
  for (const Row& row :
       {Row{"220", ""}, Row{"220 ", ""}, Row{"220x", ""}, Row{"220 x", "x"}, Row{"220xy", "y"},
        Row{"220  \t a b \t\r\n", "a b"}, Row{"220    ", ""}, Row{"220 \v", "\v"}}) {
    Reply reply;
    ASSERT_EQ(Feed({row.line}, &reply), Error_None) << row.line;
    EXPECT_STREQ(reply.text, row.text) << row.line;
  }
}

TEST(FTPcReply, KeepsTextsThatLookLikeFormats) {
  Reply reply;
  ASSERT_EQ(Feed({"220 %n%s%1000000d"}, &reply), Error_None);
  EXPECT_STREQ(reply.text, "%n%s%1000000d");
}

TEST(FTPcReply, TakesAZeroByteAsData) {
  FTPReplyReader reader;
  EXPECT_EQ(reader.Take(std::string_view("220-a\0b", 7), 7), Error_Block);
  EXPECT_EQ(reader.Take(std::string_view("\0"
                                         "220 no",
                                         7),
                        7),
            6);
  EXPECT_EQ(reader.Take("220 end", 7), Error_None);
}

TEST(FTPcReply, CutsALongTextAtTheRecord) {
  Reply reply;
  ASSERT_EQ(Feed({"220 " + std::string(5000, 'x')}, &reply), Error_None);
  EXPECT_EQ(std::string(reply.text), std::string(1023, 'x'));
}

TEST(FTPcReply, EndsAReplyThatNeverEnds) {
  FTPReplyReader reader;
  ASSERT_EQ(reader.Take("220-", 4), Error_Block);
  // 4 MiB in all are allowed.
  const std::string line(1024, 'x');
  for (uint32_t i = 0; i < 4095; ++i) ASSERT_EQ(reader.Take(line, 1024), Error_Block);
  ASSERT_EQ(reader.Take("y", 1020), Error_Block);
  EXPECT_EQ(reader.Take("z", 1), Error_Exceed);
  EXPECT_EQ(FTPReplyReader().Take("220 x", 4194304), Error_None);
  EXPECT_EQ(FTPReplyReader().Take("220 x", 4194305), Error_Exceed);
  EXPECT_EQ(FTPReplyReader().Take("220 x", 4294967295u), Error_Exceed);
}

TEST(FTPcWelcome, ShowsALineWithoutItsCode) {
  struct Row {
    const char* line;
    const char* text;
  };
  for (const Row& row : {Row{"220-Hello ", "Hello"}, Row{"220 Hello", "Hello"}, Row{"220", ""},
                         Row{"220x", ""}, Row{"  indented", "indented"}, Row{"22 x", "22 x"},
                         Row{"2a0 x", "2a0 x"}, Row{"", ""}, Row{"1234567", "567"}, Row{" \t\r\n", ""}}) {
    EXPECT_EQ(iFTPc_WelcomeText(row.line), row.text) << row.line;
  }
}

// ---- the texts of the codes ------------------------------------------------------------------------------

struct TextRow {
  int32_t code;
  const char* text;
};

constexpr TextRow kTexts[] = {
    {110, "kFTPReply_ReadyMarker: Restart marker reply. MARK yyyy = mmmm"},
    {120, "kFTPReply_ReadyWait: Service ready in nnn minutes."},
    {125, "kFTPReply_ReadyData: Data connection already open;transfer starting."},
    {150, "kFTPReply_ReadyFile: File status okay; about to open data connection."},
    {200, "kFTPReply_Okay: Command okay."},
    {202, "kFTPReply_OkayUnimplemented: Command not implemented, superfluous at this site."},
    {211, "kFTPReply_OkaySystem: System status, or system help reply."},
    {212, "kFTPReply_OkayDirectory: Directory status."},
    {213, "kFTPReply_OkayFile: File status."},
    {214, "kFTPReply_OkayHelp: Help message."},
    {215, "kFTPReply_OkaySystemType: NAME system type."},
    {220, "kFTPReply_OkayReady: Service ready for new user."},
    {221, "kFTPReply_OkayCloseControl: Service closing control connection. Logged out if appropriate."},
    {225, "kFTPReply_OkayOpenData: Data connection open; no transfer in progress."},
    {226, "kFTPReply_OkayCloseData: Closing data connection. Requested file action successful."},
    {227, "kFTPReply_OkayPassive: Entering Passive Mode (h1,h2,h3,h4,p1,p2)."},
    {230, "kFTPReply_OkayLogin: User logged in, proceed."},
    {250, "kFTPReply_OkayCompleted: Requested file action okay, completed."},
    {257, "kFTPReply_OkayCreated: \"PATHNAME\" created."},
    {331, "kFTPReply_MaybePassword: User name okay, need password."},
    {332, "kFTPReply_MaybeAccount: Need account for login."},
    {350, "kFTPReply_MaybeMoreInfo: Requested file action pending further information."},
    {421, "kFTPReply_DamnShutdown: Service not available, closing control connection."},
    {425, "kFTPReply_DamnData: Can't open data connection."},
    {426, "kFTPReply_DamnConnection: Connection closed; transfer aborted."},
    {450, "kFTPReply_DamnFileBusy: Requested file action not taken. File unavailable."},
    {451, "kFTPReply_DamnServer: Requested action aborted: local error in processing."},
    {452, "kFTPReply_DamnStorage: Requested action not taken. Insufficient storage space in system."},
    {500, "kFTPReply_ErrorSyntax: Syntax error, command unrecognized."},
    {501, "kFTPReply_ErrorParam: Syntax error in parameters or arguments."},
    {502, "kFTPReply_ErrorUnimplemented: Command not implemented."},
    {503, "kFTPReply_ErrorSequence: Bad sequence of commands."},
    {504, "kFTPReply_ErrorUnimplementedParam: Command not implemented for that parameter."},
    {530, "kFTPReply_ErrorNoLogin: Not logged in."},
    {532, "kFTPReply_ErrorNoAccount: Need account for storing files."},
    {550, "kFTPReply_ErrorNoAccess: Requested action not taken. File unavailable."},
    {551, "kFTPReply_ErrorPage: Requested action aborted: page type unknown."},
    {552, "kFTPReply_ErrorStorage: Requested file action aborted. Exceeded storage allocation."},
    {553, "kFTPReply_ErrorFileName: Requested action not taken. File name not allowed."},
};

TEST(FTPcReply, HasATextForEveryCodeOfTheStandard) {
  ASSERT_EQ(kFTPReply_Count, 39u);
  ASSERT_EQ(sizeof kTexts / sizeof kTexts[0], 39u);
  for (const TextRow& row : kTexts) {
    EXPECT_STREQ(StringLookup_ByIndex(kFTPReply_Texts, kFTPReply_Count, row.code), row.text) << row.code;
  }
  for (int32_t code : {0, 111, 227000, 600}) {
    EXPECT_EQ(StringLookup_ByIndex(kFTPReply_Texts, kFTPReply_Count, code), nullptr) << code;
  }
}

}  // namespace
