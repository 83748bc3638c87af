// What RFC 3659 adds: FEAT, MLST, lists by a command of the caller's choice, time stamps; and the last words
// to a server whose transfer was interrupted.
#include <chrono>
#include <string>

#include "net/ftpc_internal.h"
#include "tests/support/scripted_ftp.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace script;
using ftp::Exchange;
using ftp::Gone;
using ftp::Join;
using ftp::Login;

class FTPcFactsTest : public ftp::LibraryTest {};

TEST_F(FTPcFactsTest, FindsTheFeature) {
  struct Row {
    const char* reply;
    bool hasFacts;
  };
  for (const Row& row : {
           Row{"211-Features:\r\n MLST type*;size*;modify*;\r\n SIZE\r\n211 End", true},
           Row{"211-Features:\r\n SIZE\r\n  mlst\r\n211 End", true},
           Row{"211-Features:\r\n SIZE\r\n MLSTX\r\n211 End", false},
           Row{"211-Features:\r\nMLST is not indented\r\n211 End", false},
           Row{"211-MLST\r\n SIZE\r\n211 MLST", false},
           Row{"211 none", false},
           Row{"500 what?", false},
           Row{"500-what?\r\n MLST\r\n500 no", false},
           Row{"530 log in", false},
       }) {
    ScriptedServer server({Join({Login(), Exchange("FEAT", row.reply), Gone()})});
    ftp::Client client(server.port());
    bool hasFacts = !row.hasFacts;
    EXPECT_EQ(iFTPc_HasFacts(client, &hasFacts, &client.reply), Error_None) << row.reply;
    EXPECT_EQ(hasFacts, row.hasFacts) << row.reply;
  }
}

TEST_F(FTPcFactsTest, TellsWhenTheFeaturesDoNotCome) {
  ScriptedServer server({Join({Login(), {ExpectLine("FEAT"), SendLine("211-Features:\r\n MLST"), Close()}})});
  ftp::Client client(server.port());
  bool hasFacts = true;
  EXPECT_EQ(iFTPc_HasFacts(client, &hasFacts, &client.reply), Error_Ended);
  EXPECT_FALSE(hasFacts);
}

TEST_F(FTPcFactsTest, AsksForTheFactsOfAnEntry) {
  struct Row {
    const char* reply;
    ErrorCode status;
    const char* facts;
  };
  for (const Row& row : {
           Row{"250-Facts\r\n type=file;size=5; /a\r\n250 End", Error_None, "type=file;size=5; /a"},
           Row{"250-Facts\r\ntype=file;size=5; my file\r\n250 End", Error_None, "type=file;size=5; my file"},
           Row{"250-type=dir; x\r\n type=file; a\r\n250 End", Error_None, "type=file; a"},
           Row{"250-Facts\r\n type=file; a\r\n250 type=dir; x", Error_None, "type=file; a"},
           Row{"250-Facts\r\n250 type=dir; x", Error_Invalid, ""},
           Row{"250-Facts\r\n250 End", Error_Invalid, ""},
           Row{"250 Facts", Error_Invalid, ""},
           Row{"550 not there", Error_NotFound, ""},
           Row{"550-not there\r\n type=file; a\r\n550 End", Error_NotFound, ""},
           Row{"450 busy", Error_Invalid, ""},
           Row{"500 what?", Error_Invalid, ""},
       }) {
    ScriptedServer server({Join({Login(), Exchange("MLST /my a", row.reply), Gone()})});
    ftp::Client client(server.port());
    char facts[kFTPBuffer_Size] = "old";
    EXPECT_EQ(iFTPc_AskFacts(client, "/my a", facts, &client.reply), row.status) << row.reply;
    EXPECT_STREQ(facts, row.facts) << row.reply;
  }
}

// What is cut could name another file.
TEST_F(FTPcFactsTest, LeavesALineOutThatIsTooLong) {
  const std::string prefix = "type=file;size=5; ";
  for (const size_t length : {900, 1022, 1023, 1100, 5000}) {
    const std::string line = prefix + std::string(length - prefix.size(), 'n');
    ScriptedServer server(
        {Join({Login(), Exchange("MLST a", "250-Facts\r\n" + line + "\r\n250 End"), Gone()})});
    ftp::Client client(server.port());
    char facts[kFTPBuffer_Size];
    const ErrorCode status = iFTPc_AskFacts(client, "a", facts, &client.reply);
    if (status == Error_None) {
      EXPECT_EQ(facts, line) << length;
    } else {
      EXPECT_EQ(status, Error_Invalid) << length;
      EXPECT_GT(length, 1000u);
    }
  }
}

TEST_F(FTPcFactsTest, WritesAListByteForByte) {
  const TempDir folder;
  const std::string bytes = "type=file; a\r\n\nlast\r";
  ScriptedServer server(
      {Join({Login(), ftp::Passive(), ftp::Started("MLSD /my folder"), ftp::SendsFile(bytes), ftp::Passive(),
             ftp::Started("LIST"), ftp::SendsFile(""), Gone()})});
  ftp::Client client(server.port());
  const std::string name = folder.Name("list");
  EXPECT_EQ(iFTPc_ListInto(client, "MLSD", "/my folder", name.c_str(), &client.reply), Error_None);
  EXPECT_EQ(folder.Read("list"), bytes);
  EXPECT_EQ(iFTPc_ListInto(client, "LIST", nullptr, name.c_str(), &client.reply), Error_None);
  EXPECT_EQ(folder.Read("list"), "");
}

TEST_F(FTPcFactsTest, RemovesAListThatDoesNotComeWhole) {
  const TempDir folder;
  ScriptedServer server({Join({Login(),
                               ftp::Passive(),
                               Exchange("MLSD /a", "550 no"),
                               ftp::Passive(),
                               ftp::Started("MLSD /a"),
                               {DataSend("type=file; a\r\n"), DataClose(), SendLine("426 cut")},
                               Gone()})});
  ftp::Client client(server.port());
  const std::string name = folder.Name("list");
  EXPECT_EQ(iFTPc_ListInto(client, "MLSD", "/a", name.c_str(), &client.reply), Error_NotFound);
  EXPECT_EQ(client.reply.code, 550);
  EXPECT_FALSE(folder.Exists("list"));
  EXPECT_EQ(iFTPc_ListInto(client, "MLSD", "/a", name.c_str(), &client.reply), Error_Invalid);
  EXPECT_FALSE(folder.Exists("list"));
  EXPECT_EQ(iFTPc_ListInto(client, "MLSD", "/a\r\nDELE b", name.c_str(), &client.reply), Error_Invalid);
}

TEST_F(FTPcFactsTest, GivesAReplyUpThatDoesNotComeSoon) {
  ScriptedServer server({Join({Login(), Exchange("DELE a", "250 gone"), {ExpectLine("DELE b"), Stall()}})});
  server.AllowUnfinished();
  ftp::Client client(server.port());
  EXPECT_EQ(iFTPc_ExchangeSoon(client, "DELE", "a", 5000, &client.reply), Error_None);
  EXPECT_EQ(client.reply.code, 250);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(iFTPc_ExchangeSoon(client, "DELE", "b", 100, &client.reply), Error_Timeout);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_EQ(iFTPc_ExchangeSoon(client, "DELE", "c", 100, &client.reply), Error_Ended) << "it is out of step";
}

TEST_F(FTPcFactsTest, HasALastWordBehindAnInterrupt) {
  ScriptedServer server({Join({{SendLine("220 ready")},
                               {ExpectLine("SIZE a"), SendLine("150 wait"), SendLine("226 done")},
                               Exchange("DELE a", "250 gone"),
                               Gone()})});
  SockInterrupt interrupt;
  FTPc* connection = nullptr;
  Reply reply;
  ASSERT_EQ(iFTPc_Open("127.0.0.1", server.port(), ftp::kPassive, &interrupt, &connection, &reply),
            Error_None);
  ASSERT_EQ(iFTPc_Send(connection, "SIZE", "a"), Error_None);
  interrupt.Set();
  EXPECT_EQ(iFTPc_ReadReply(connection, &reply), Error_Cancel);
  iFTPc_SetInterrupt(connection, nullptr);
  iFTPc_DropReplies(connection, 5000);
  EXPECT_EQ(iFTPc_ExchangeSoon(connection, "DELE", "a", 5000, &reply), Error_None);
  EXPECT_EQ(reply.code, 250);
  FTPc_Delete(connection);
}

TEST(FTPcTimeStamp, ReadsUTC) {
  struct Row {
    const char* text;
    uint32_t seconds;
  };
  for (const Row& row : {
           Row{"19700101000001", 1},
           Row{"19970105090307", 852454987},
           Row{"19970105090307.123", 852454987},
           Row{"20000229000000", 951782400},
           Row{"20001231235960", 978307200},
           Row{"21060207062815", 4294967295},
       }) {
    Time time = {7, 7};
    EXPECT_EQ(iFTPc_ParseTimeStamp(row.text, &time), Error_None) << row.text;
    EXPECT_EQ(time.seconds, row.seconds) << row.text;
    EXPECT_EQ(time.milliseconds, 0u);
  }
}

TEST(FTPcTimeStamp, RefusesEverythingElse) {
  for (const char* const text : {"",
                                 "1997010509030",
                                 "199701050903071",
                                 "19970105090307 ",
                                 "19970105090307.",
                                 "19970105090307.1x",
                                 "1997010509030x",
                                 "-9970105090307",
                                 "19691231235959",
                                 "21060207062816",
                                 "19970005090307",
                                 "19971305090307",
                                 "19970100090307",
                                 "19970132090307",
                                 "19970229090307",
                                 "19000229000000",
                                 "21000229000000",
                                 "19970105240307",
                                 "19970105096007",
                                 "19970105090361",
                                 "99990101000000"}) {
    Time time = {7, 7};
    EXPECT_EQ(iFTPc_ParseTimeStamp(text, &time), Error_Invalid) << text;
    EXPECT_EQ(time.seconds, 0u) << text;
  }
}

}  // namespace
