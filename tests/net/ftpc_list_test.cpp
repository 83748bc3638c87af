// Directory lists into local files.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "net/ftpc_internal.h"
#include "qz/error.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/file_system.h"
#include "tests/support/scripted_ftp.h"
#include "tests/support/system_folders.h"
#include "tests/support/temp_dir.h"

using namespace script;

namespace {

// The temporary directory is a folder of the test's own, with a name in it for the list.
class FTPcListTest : public ftp::LibraryTest {
 protected:
  void SetUp() override {
    temporary_ = std::make_unique<ScopedTemporaryVariable>(folder_.SystemName().string().c_str());
    ftp::LibraryTest::SetUp();
    char folder[1024];
    ASSERT_EQ(File_GetSysDir(SysDir_Temp, folder), Error_None);
    ASSERT_EQ(File_UniquifyName(folder, "listTest", localFile_), Error_None);
  }

  bool HasFile() const { return File_Exists(localFile_, nullptr) == 1; }

  std::vector<std::string> FileLines() const {
    std::vector<std::string> lines;
    File* file = nullptr;
    EXPECT_EQ(File_Open(localFile_, 1, &file), Error_None);
    if (file == nullptr) return lines;
    char line[1024];
    while (File_ScanLine(file, sizeof line, line) >= 0) lines.emplace_back(line);
    File_Close(file);
    return lines;
  }

  TempDir folder_;
  std::unique_ptr<ScopedTemporaryVariable> temporary_;
  char localFile_[1024];
};

using Lines = std::vector<std::string>;

Script AfterLogin(std::initializer_list<Script> parts) {
  return ftp::Join({ftp::Login(), ftp::Join(parts), ftp::Gone()});
}

TEST_F(FTPcListTest, ListsWithTheCommandOfTheKind) {
  struct Row {
    int32_t kind;
    const char* command;
  };
  for (const Row& row :
       {Row{FTPcList_Names, "NLST"}, Row{FTPcList_JoinedNames, "NLST"}, Row{FTPcList_Long, "LIST"}}) {
    ScriptedServer server(
        {AfterLogin({ftp::Passive(), ftp::Started(row.command), ftp::SendsFile("a\r\nb c\r\n")})});
    ftp::Client client(server.port());
    EXPECT_EQ(FTPc_GetDirectoryList(client, nullptr, row.kind, localFile_, &client.reply), Error_None)
        << row.kind;
    EXPECT_EQ(FileLines(), (Lines{"a", "b c"}));
    EXPECT_EQ(client.reply.code, 226);
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

// The file is the system's own kind of text: programs that show it as it is rely on its line ends.
TEST_F(FTPcListTest, WritesATextFile) {
  ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("NLST"), ftp::SendsFile("a\r\nb\n")})});
  ftp::Client client(server.port());
  EXPECT_EQ(FTPc_GetDirectoryList(client, nullptr, FTPcList_Names, localFile_, &client.reply), Error_None);
  ASSERT_EQ(folder_.List().size(), 1u);
  const std::string bytes = folder_.Read(folder_.List()[0]);
  EXPECT_EQ(bytes, kIsWindows ? "a\r\r\nb\r\n" : "a\r\nb\n");
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcListTest, ListsInActiveMode) {
  ScriptedServer server({AfterLogin({ftp::Active(), ftp::StartedActive("LIST"), ftp::SendsFile("a\r\n")})});
  ftp::Client client(server.port(), ftp::kActive);
  EXPECT_EQ(FTPc_GetDirectoryList(client, nullptr, FTPcList_Long, localFile_, &client.reply), Error_None);
  EXPECT_EQ(FileLines(), (Lines{"a"}));
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcListTest, ChangesToTheDirectoryFirst) {
  ScriptedServer server({AfterLogin(
      {ftp::Exchange("CWD /d e", "250 ok"), ftp::Passive(), ftp::Started("NLST"), ftp::SendsFile("")})});
  ftp::Client client(server.port());
  EXPECT_EQ(FTPc_GetDirectoryList(client, "/d e", FTPcList_Names, localFile_, &client.reply), Error_None);
  EXPECT_TRUE(HasFile());
  EXPECT_EQ(FileLines(), Lines());
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcListTest, SendsNothing_ForAnUnknownKind) {
  ScriptedServer server({AfterLogin({})});
  ftp::Client client(server.port());
  DirectoryList* list = nullptr;
  for (int32_t kind : {3, 4, -1, INT32_MAX}) {
    EXPECT_EQ(FTPc_GetDirectoryList(client, "/d", kind, localFile_, &client.reply), Error_Fail) << kind;
    EXPECT_EQ(FTPc_StartDirectoryList(client, "/d", kind, &list, &client.reply), Error_Fail) << kind;
  }
  EXPECT_FALSE(HasFile());
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcListTest, GivesNoAccess_WhenTheDirectoryIsRefused) {
  ScriptedServer server({AfterLogin({ftp::Exchange("CWD /d", "550 no")})});
  ftp::Client client(server.port());
  EXPECT_EQ(FTPc_GetDirectoryList(client, "/d", FTPcList_Names, localFile_, &client.reply), Error_NoAccess);
  EXPECT_FALSE(HasFile());
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcListTest, GivesFail_WhenTheLocalFileCannotBeOpened) {
  ScriptedServer server({AfterLogin({ftp::Exchange("CWD /d", "250 ok")})});
  ftp::Client client(server.port());
  EXPECT_EQ(FTPc_GetDirectoryList(client, "/d", FTPcList_Names,
                                  (std::string(localFile_) + "/no/file").c_str(), &client.reply),
            -1);
  FTPc_Delete(client.Release());
  server.Finish();
}

TEST_F(FTPcListTest, RemovesAListThatDidNotComeWhole) {
  struct Row {
    Script script;
    ErrorCode status;
  };
  for (const Row& row :
       {Row{ftp::Exchange("PASV", "500 no"), Error_Invalid},
        Row{ftp::Join(
                {ftp::Passive(), {ExpectLine("NLST"), DataAccept(), SendLine("550 none"), DataStall()}}),
            Error_NotFound},
        Row{ftp::Join({ftp::Passive(),
                       ftp::Started("NLST"),
                       {DataSend("a\r\n"), DataClose(), SendLine("426 cut")}}),
            Error_Invalid},
        Row{ftp::Join({ftp::Passive(),
                       ftp::Started("NLST"),
                       {DataSend("a\r\n"), Wait(50), DataReset(), SendLine("226 done")}}),
            Error_Retry}}) {
    ScriptedServer server({AfterLogin({row.script})});
    ftp::Client client(server.port());
    EXPECT_EQ(FTPc_GetDirectoryList(client, nullptr, FTPcList_Names, localFile_, &client.reply), row.status);
    EXPECT_FALSE(HasFile());
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

Lines ReadList(DirectoryList* list) {
  Lines lines;
  char line[1024];
  while (Directory_IterateList(list, line) == 0) lines.emplace_back(line);
  EXPECT_EQ(Directory_EndList(list), Error_None);
  return lines;
}

TEST_F(FTPcListTest, StartsAListThatIsReadLineByLine) {
  struct Row {
    int32_t kind;
    const char* command;
    Lines lines;
  };
  for (const Row& row :
       {Row{FTPcList_Names, "NLST", {"a", "b c"}}, Row{FTPcList_JoinedNames, "NLST", {"/d/a", "/d/b c"}},
        Row{FTPcList_Long, "LIST", {"a", "b c"}}}) {
    ScriptedServer server({AfterLogin({ftp::Exchange("CWD /d", "250 ok"), ftp::Passive(),
                                       ftp::Started(row.command), ftp::SendsFile("a\r\nb c\r\n")})});
    ftp::Client client(server.port());
    DirectoryList* list = nullptr;
    ASSERT_EQ(FTPc_StartDirectoryList(client, "/d", row.kind, &list, &client.reply), Error_None);
    EXPECT_EQ(ReadList(list), row.lines) << row.kind;
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcListTest, StartsAListOfTheCurrentDirectory) {
  for (int32_t kind : {FTPcList_Names, FTPcList_JoinedNames}) {
    ScriptedServer server({AfterLogin({ftp::Passive(), ftp::Started("NLST"), ftp::SendsFile("a\r\n")})});
    ftp::Client client(server.port());
    DirectoryList* list = nullptr;
    ASSERT_EQ(FTPc_StartDirectoryList(client, nullptr, kind, &list, &client.reply), Error_None);
    // It stands in a temporary file.
    ASSERT_EQ(folder_.List().size(), 1u);
    EXPECT_EQ(folder_.List()[0].substr(0, 8), "ftpcList");
    EXPECT_EQ(ReadList(list), (Lines{"a"})) << kind;
    EXPECT_EQ(folder_.List(), Lines());
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcListTest, StartsNoList_WhenTheServerRefuses) {
  struct Row {
    Script script;
    ErrorCode status;
  };
  for (const Row& row : {Row{ftp::Exchange("CWD /d", "550 no"), Error_NoAccess},
                         Row{ftp::Join({ftp::Exchange("CWD /d", "250 ok"),
                                        ftp::Passive(),
                                        ftp::Started("NLST"),
                                        {DataSend("a\r\n"), DataClose(), SendLine("451 failed")}}),
                             Error_Invalid}}) {
    ScriptedServer server({AfterLogin({row.script})});
    ftp::Client client(server.port());
    DirectoryList* list = reinterpret_cast<DirectoryList*>(1);
    EXPECT_EQ(FTPc_StartDirectoryList(client, "/d", FTPcList_Names, &list, &client.reply), row.status);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(folder_.List(), Lines());
    FTPc_Delete(client.Release());
    server.Finish();
  }
}

TEST_F(FTPcListTest, GivesMemory_WhenAnAllocationFails) {
  ScriptedServer server({ftp::Patient("a\r\nb\r\n")});
  server.RepeatLast();
  FailEveryAllocation([&] {
    FTPc* connection = nullptr;
    Reply reply;
    ErrorCode status = FTPc_Open("127.0.0.1", server.port(), ftp::kPassive, &connection, &reply);
    if (status == Error_None) status = FTPc_Login(connection, "u", "p", &reply);
    DirectoryList* list = nullptr;
    if (status == Error_None)
      status = FTPc_StartDirectoryList(connection, "/d", FTPcList_Names, &list, &reply);
    ASSERT_TRUE(status == Error_None || status == Error_Memory) << status;
    ASSERT_EQ(status == Error_None, list != nullptr);
    if (list != nullptr) {
      EXPECT_EQ(ReadList(list), (Lines{"a", "b"}));
    }
    FTPc_Delete(connection);
  });
  server.Finish();
  EXPECT_EQ(folder_.List(), Lines());
}

}  // namespace
