// A transfer as its application sees it: creation, accessors, servers, data file, and its end.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "os/core/memory_testing.h"
#include "os/time/clock_testing.h"
#include "qz/directory.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/vrxclient_fixture.h"
#include "transfer/statistics_internal.h"

namespace {

// ---- URLs ----------------------------------------------------------------------------------------

TEST(CheckURL, TakesDownloadsWithAPathAndUploads) {
  struct {
    const char* url;
    ErrorCode status;
    int32_t upload;
  } const rows[] = {
      {"http://a/x", Error_None, 0},   {"https://a/x", Error_None, 0},     {"ftp://a/x", Error_None, 0},
      {"vrx://a/x", Error_None, 0},    {"ftpu://a/x", Error_None, 1},      {"vrxu://a/x", Error_None, 1},
      {"ftpu://a", Error_None, 1},     {"http://a", Error_Invalid, 0},     {"http://a/", Error_Invalid, 0},
      {"https://a", Error_Invalid, 0}, {"ftp://a", Error_Invalid, 0},      {"ftp://a/", Error_Invalid, 0},
      {"file:///x", Error_Invalid, 0}, {"gopher://a/x", Error_Invalid, 0}, {"a/x", Error_Invalid, 0},
      {"", Error_Invalid, 0},          {nullptr, Error_Invalid, 0},        {" FTP://a/x ", Error_None, 0},
  };
  for (const auto& row : rows) {
    int32_t upload = 77;
    EXPECT_EQ(VRXClient_CheckURL(row.url, &upload), row.status) << (row.url != nullptr ? row.url : "null");
    EXPECT_EQ(upload, row.upload) << (row.url != nullptr ? row.url : "null");
    EXPECT_EQ(VRXClient_CheckURL(row.url, nullptr), row.status);
  }
}

class TransferObject : public TransferTest {
 protected:
  ErrorCode New(const std::string& url, Transfer* transfer) {
    transfer->Close();
    return VRXClient_NewDownload(url.c_str(), directory_.Name("file").c_str(), heard_.userData(), &kHearing,
                                 transfer->out());
  }
  ErrorCode NewUpload(const std::string& name, const char* url, Transfer* transfer) {
    transfer->Close();
    return VRXClient_NewUpload(directory_.Name(name).c_str(), url, heard_.userData(), &kHearing,
                               transfer->out());
  }
  // The file that the library would make for a data file.
  void MakeFile(const std::string& path, const std::string& bytes = "data") {
    File* file = nullptr;
    ASSERT_EQ(File_Open(path.c_str(), FileMode_Write, &file), Error_None);
    File_Write(file, static_cast<uint32_t>(bytes.size()), bytes.data());
    File_Close(file);
  }
  static bool Exists(const std::string& path) { return File_Exists(path.c_str(), nullptr) != 0; }
};

std::string URLOf(size_t size) {
  const std::string beginning = "ftp://a/";
  return beginning + std::string(size - beginning.size(), 'x');
}

// ---- creation ------------------------------------------------------------------------------------

TEST_F(TransferObject, OfADownloadIsFresh) {
  const Time now = {1000000000, 500};
  iClock_SetWallClock(&now);
  Transfer transfer;
  ASSERT_EQ(New("ftp://u:p@a:2121/dir/x.zip", &transfer), Error_None);
  iClock_SetWallClock(nullptr);
  EXPECT_EQ(heard_.Take(), Lines()) << "nothing is reported";
  EXPECT_EQ(transfer->data.created.seconds, 1000000000u);
  EXPECT_EQ(transfer->data.created.milliseconds, 500u);
  EXPECT_EQ(VRXClient_IsUpload(transfer.get()), 0);
  EXPECT_EQ(VRXClient_GetEditFlags(transfer.get()), 0x3Au);
  EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u);
  EXPECT_EQ(transfer->data.size, kSizeUnknown);
  EXPECT_EQ(transfer->data.declaredSize, 0u);
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 0xFFFFFFFFu);
  EXPECT_EQ(transfer->dataFileSize, kSizeUnknown);
  EXPECT_EQ(transfer->remaining, kSizeUnknown);
  EXPECT_EQ(transfer->offset, 0u);
  EXPECT_EQ(transfer->connectionKind, -1);
  EXPECT_TRUE(transfer->isChanged);
  EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), "ftp://u:p@a:2121/dir/x.zip")
      << "the first URL is the server in use from the beginning";
  EXPECT_EQ(transfer->entry, transfer->data.servers.first);
  EXPECT_EQ(transfer->data.servers.count, 1u);
  EXPECT_EQ(TextOf(VRXClient_GetDataFilePath, transfer.get()), "");
  EXPECT_EQ(VRXClient_GetError(transfer.get()), 0u);
  EXPECT_EQ(Semaphore_Wait(transfer->semaphore, 0), Error_None);
  EXPECT_EQ(Semaphore_Wait(transfer->semaphore, 0), Error_Timeout) << "one count";
  EXPECT_EQ(Semaphore_Signal(transfer->semaphore), Error_None);
  EXPECT_EQ(Semaphore_Signal(transfer->semaphore), Error_Fail) << "and no more";
}

TEST_F(TransferObject, OfAnUploadIsFresh) {
  directory_.Write("source", "abc");
  Transfer transfer;
  for (const char* url : {"ftp://a/dir/", "ftpu://a/up", "ftpu://a"}) {
    ASSERT_EQ(NewUpload("source", url, &transfer), Error_None) << url;
    EXPECT_EQ(VRXClient_IsUpload(transfer.get()), 1);
    EXPECT_EQ(VRXClient_GetEditFlags(transfer.get()), 0x38u);
    EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u);
    EXPECT_EQ(TextOf(VRXClient_GetLocalFilePath, transfer.get()), directory_.Name("source"));
    EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), url);
    EXPECT_EQ(VRXClient_GetSize(transfer.get()), 0xFFFFFFFFu);
  }
}

TEST_F(TransferObject, IsNotMadeFromABadURL) {
  Transfer transfer;
  for (const char* url : {"", "x", "file:///x", "ftp://a", "http://a/", "ftpu://a/x", "vrxu://a/x"}) {
    EXPECT_EQ(New(url, &transfer), Error_Invalid) << url;
    EXPECT_EQ(transfer.get(), nullptr);
  }
  VRXClient* client = reinterpret_cast<VRXClient*>(1);
  EXPECT_EQ(VRXClient_NewDownload(nullptr, nullptr, 0, nullptr, &client), Error_Invalid);
  EXPECT_EQ(client, nullptr);
  EXPECT_EQ(VRXClient_NewDownload("ftp://a/x", nullptr, 0, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(iVRXClientList_Count(), 0u);
}

TEST_F(TransferObject, OfAnUploadNeedsAFileAndAnFTPServer) {
  directory_.Write("source", "abc");
  directory_.MakeDirectory("directory");
  Transfer transfer;
  EXPECT_EQ(NewUpload("missing", "ftp://a/x", &transfer), Error_NotFound);
  EXPECT_EQ(NewUpload("directory", "ftp://a/x", &transfer), Error_Invalid);
  for (const char* url : {"http://a/x", "https://a/x", "file:///x", "ftp://a", "x"})
    EXPECT_EQ(NewUpload("source", url, &transfer), Error_Invalid) << url;
  EXPECT_EQ(NewUpload("source", nullptr, &transfer), Error_Invalid);
  EXPECT_EQ(VRXClient_NewUpload(nullptr, "ftp://a/x", 0, nullptr, transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_NewUpload("", "ftp://a/x", 0, nullptr, transfer.out()), Error_NotFound);
  EXPECT_EQ(VRXClient_NewUpload(directory_.Name("source").c_str(), "ftp://a/x", 0, nullptr, nullptr),
            Error_Invalid);
  EXPECT_EQ(transfer.get(), nullptr);
}

TEST_F(TransferObject, IsMadeOnceForAURL) {
  Transfer first;
  ASSERT_EQ(New("ftp://a/x", &first), Error_None);
  Transfer second;
  EXPECT_EQ(New("ftp://a/x", &second), Error_Exists);
  directory_.Write("source", "abc");
  EXPECT_EQ(NewUpload("source", "ftp://a/x", &second), Error_Exists);
  EXPECT_EQ(second.get(), nullptr);
  EXPECT_EQ(iVRXClientList_Count(), 1u);
  first.Close();
  EXPECT_EQ(New("ftp://a/x", &second), Error_None);
}

TEST_F(TransferObject, TakesURLsOfUpTo1021Bytes) {
  Transfer transfer;
  EXPECT_EQ(New(URLOf(1021), &transfer), Error_None);
  EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), URLOf(1021));
  EXPECT_EQ(New(URLOf(1022), &transfer), Error_Exceed);
  EXPECT_EQ(New(URLOf(100000), &transfer), Error_Exceed);
  EXPECT_EQ(transfer.get(), nullptr);
}

TEST_F(TransferObject, IsMadeOfTwoURLs_WhenTheFirstIsAFile) {
  directory_.Write("source", "abc");
  const std::string file = "file://" + directory_.Name("source");
  Transfer transfer;
  ASSERT_EQ(VRXClient_New(file.c_str(), "ftp://a/up", transfer.out()), Error_None);
  EXPECT_EQ(VRXClient_IsUpload(transfer.get()), 1);
  EXPECT_EQ(TextOf(VRXClient_GetLocalFilePath, transfer.get()), directory_.Name("source"));
  EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), "ftp://a/up");
  EXPECT_EQ(transfer->methods, nullptr);
}

TEST_F(TransferObject, LooksForTheServersURLAsAFile_WhenTheSecondIsAFile) {
  directory_.Write("source", "abc");
  const std::string file = "file://" + directory_.Name("source");
  Transfer transfer;
  EXPECT_EQ(VRXClient_New("ftp://a/up", file.c_str(), transfer.out()), Error_NotFound);
  EXPECT_EQ(transfer.get(), nullptr);
}

TEST_F(TransferObject, IsNotMadeOfOtherURLs) {
  directory_.Write("source", "abc");
  const std::string file = "file://" + directory_.Name("source");
  Transfer transfer;
  EXPECT_EQ(VRXClient_New("ftp://a/x", "ftp://b/x", transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New("ftp://a/x", nullptr, transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New(file.c_str(), nullptr, transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New(nullptr, "ftp://a/x", transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New("no URL", file.c_str(), transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New("ftp://a/x", "no URL", transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New(file.c_str(), file.c_str(), transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New("file://", "ftp://a/x", transfer.out()), Error_Invalid);
  EXPECT_EQ(VRXClient_New("ftp://a/x", "ftp://b/x", nullptr), Error_Invalid);
}

TEST_F(TransferObject, LeavesNothingBehind_WhicheverAllocationFails) {
  directory_.Write("source", "abc");
  for (const bool isUpload : {false, true}) {
    int succeeded = 0;
    FailEveryAllocation([&] {
      VRXClient* client = nullptr;
      const ErrorCode status =
          isUpload ? VRXClient_NewUpload(directory_.Name("source").c_str(), "ftp://a/x", 0, nullptr, &client)
                   : VRXClient_NewDownload("ftp://a/x", nullptr, 0, nullptr, &client);
      EXPECT_EQ(client != nullptr, status == Error_None);
      if (client != nullptr) {
        ++succeeded;
        VRXClient_Close(client);
      } else {
        EXPECT_EQ(status, Error_Memory);
      }
      EXPECT_EQ(iVRXClientList_Count(), 0u);
    });
    EXPECT_GE(succeeded, 1);
  }
}

// ---- user and password ---------------------------------------------------------------------------

TEST_F(TransferObject, TakesUserAndPassword) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_SetUser(transfer.get(), "me", "secret"), Error_None);
  EXPECT_STREQ(transfer->data.user, "me");
  EXPECT_STREQ(transfer->data.password, "secret");
  EXPECT_TRUE(transfer->isChanged);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_SetUser(transfer.get(), nullptr, nullptr), Error_None);
  EXPECT_STREQ(transfer->data.user, "");
  EXPECT_STREQ(transfer->data.password, "");
  EXPECT_TRUE(transfer->isChanged);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_SetUser(transfer.get(), nullptr, nullptr), Error_None);
  EXPECT_FALSE(transfer->isChanged) << "they were empty";
  EXPECT_EQ(VRXClient_SetUser(transfer.get(), "me", nullptr), Error_None);
  EXPECT_TRUE(transfer->isChanged);
  EXPECT_EQ(VRXClient_SetUser(nullptr, "me", "secret"), Error_Invalid);
}

TEST_F(TransferObject, GivesUserAndPassword) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  char user[1024] = "?";
  char password[1024] = "?";
  EXPECT_EQ(VRXClient_GetUser(transfer.get(), user, password), Error_None);
  EXPECT_STREQ(user, "");
  EXPECT_STREQ(password, "");
  EXPECT_EQ(VRXClient_SetUser(transfer.get(), "me", "secret"), Error_None);
  EXPECT_EQ(VRXClient_GetUser(transfer.get(), user, nullptr), Error_None);
  EXPECT_EQ(VRXClient_GetUser(transfer.get(), nullptr, password), Error_None);
  EXPECT_STREQ(user, "me");
  EXPECT_STREQ(password, "secret");
  EXPECT_EQ(VRXClient_GetUser(nullptr, user, password), Error_Invalid);
  EXPECT_STREQ(user, "");
  EXPECT_STREQ(password, "");
}

TEST_F(TransferObject, TakesUserAndPasswordOfUpTo254Bytes) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  const std::string longest(254, 'u');
  EXPECT_EQ(VRXClient_SetUser(transfer.get(), longest.c_str(), longest.c_str()), Error_None);
  EXPECT_EQ(transfer->data.user, longest);
  EXPECT_EQ(transfer->data.password, longest);
  transfer->isChanged = false;
  const std::string tooLong(255, 'v');
  EXPECT_EQ(VRXClient_SetUser(transfer.get(), tooLong.c_str(), "p"), Error_Exceed);
  EXPECT_EQ(VRXClient_SetUser(transfer.get(), "u", tooLong.c_str()), Error_Exceed);
  EXPECT_EQ(transfer->data.user, longest);
  EXPECT_EQ(transfer->data.password, longest);
  EXPECT_FALSE(transfer->isChanged);
}

TEST_F(TransferObject, RefusesAUser_WhereTheEditFlagsDo) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  VRXClient_SetEditFlags(transfer.get(), 0xFFFFFFEF);
  iVRXClient_ChangeState(transfer.get(), TransferState::Data);
  EXPECT_EQ(VRXClient_SetUser(transfer.get(), "me", "secret"), Error_NoAccess);
  EXPECT_STREQ(transfer->data.user, "");
  EXPECT_EQ(heard_.Take(), Lines());
  VRXClient_SetEditFlags(transfer.get(), 0x10);
  iVRXClient_ChangeState(transfer.get(), TransferState::SelectServer);
  EXPECT_EQ(VRXClient_SetUser(transfer.get(), "me", "secret"), Error_None);
}

TEST_F(TransferObject, RefusesAUser_FromStateFiveOn) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  ASSERT_EQ(VRXClient_SetUser(transfer.get(), "me", "secret"), Error_None);
  for (uint32_t state = 0; state <= 14; ++state) {
    iVRXClient_ChangeState(transfer.get(), static_cast<TransferState>(state));
    heard_.Take();
    transfer->isChanged = false;
    const ErrorCode status = VRXClient_SetUser(transfer.get(), "me", state < 5 ? "secret" : "other");
    EXPECT_EQ(status, state < 5 ? Error_None : Error_Inited) << state;
    EXPECT_EQ(heard_.Take(), state < 5 ? Lines() : Lines({"message Authentication already complete."}));
    EXPECT_STREQ(transfer->data.password, "secret");
  }
  transfer.Delete();
}

// ---- sizes ---------------------------------------------------------------------------------------

TEST_F(TransferObject, HasTheSizeThatTheServerTold_OrTheDeclaredOne) {
  struct {
    uint64_t size;
    uint64_t declared;
    uint32_t narrow;
    uint64_t wide;
  } const rows[] = {
      {kSizeUnknown, 0, 0xFFFFFFFF, kSizeUnknown},
      {kSizeUnknown, 77, 77, 77},
      {0, 0, 0xFFFFFFFF, kSizeUnknown},
      {0, 77, 77, 77},
      {5, 77, 5, 5},
      {0xFFFFFFFE, 77, 0xFFFFFFFE, 0xFFFFFFFE},
      {0xFFFFFFFF, 77, 0xFFFFFFFF, 0xFFFFFFFF},
      {0x100000000, 77, 0xFFFFFFFF, 0x100000000},
      {kSizeUnknown, 0x100000000, 0xFFFFFFFF, 0x100000000},
      {kSizeUnknown, kSizeUnknown, 0xFFFFFFFF, kSizeUnknown},
  };
  Transfer download;
  ASSERT_EQ(New("ftp://a/x", &download), Error_None);
  Transfer upload;
  Upload("source", "ftp://a/up", &upload);
  upload->data.size = 12345;
  download->dataFileSize = 54321;
  for (const auto& row : rows) {
    download->data.size = row.size;
    download->data.declaredSize = row.declared;
    EXPECT_EQ(VRXClient_GetSize(download.get()), row.narrow) << row.size << " " << row.declared;
    EXPECT_EQ(VRXClient_GetSize64(download.get()), row.wide) << row.size << " " << row.declared;
    upload->dataFileSize = row.size;
    upload->data.declaredSize = row.declared;
    EXPECT_EQ(VRXClient_GetSize(upload.get()), row.narrow) << "an upload: that of its copy";
    EXPECT_EQ(VRXClient_GetSize64(upload.get()), row.wide);
  }
}

TEST_F(TransferObject, TakesADeclaredSize_BeforeStateNine) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  for (uint32_t state = 0; state <= 14; ++state) {
    iVRXClient_ChangeState(transfer.get(), static_cast<TransferState>(state));
    transfer->data.declaredSize = 1;
    transfer->isChanged = false;
    EXPECT_EQ(VRXClient_SetSize(transfer.get(), 77), state < 9 ? Error_None : Error_NoAccess) << state;
    EXPECT_EQ(transfer->data.declaredSize, state < 9 ? 77u : 1u);
    EXPECT_EQ(transfer->isChanged, state < 9);
    EXPECT_EQ(VRXClient_SetSize64(transfer.get(), 0x100000000), state < 9 ? Error_None : Error_NoAccess);
    EXPECT_EQ(transfer->data.declaredSize, state < 9 ? 0x100000000u : 1u);
  }
  iVRXClient_ChangeState(transfer.get(), TransferState::SelectServer);
  EXPECT_EQ(VRXClient_SetSize(transfer.get(), 0xFFFFFFFF), Error_None);
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 0xFFFFFFFFu);
  EXPECT_EQ(VRXClient_GetSize64(transfer.get()), kSizeUnknown);
  EXPECT_EQ(VRXClient_SetSize(nullptr, 1), Error_Invalid);
  EXPECT_EQ(VRXClient_SetSize64(nullptr, 1), Error_Invalid);
}

// ---- names ---------------------------------------------------------------------------------------

TEST_F(TransferObject, HasTheFileNameOfItsServersPath) {
  const std::vector<std::pair<const char*, const char*>> rows = {
      {"ftp://a/x", "x"},        {"ftp://a/dir/x.tar.gz", "x.tar.gz"},
      {"ftp://a/dir/", ""},      {"http://a/x?q=1/2", "2"},
      {"http://a/a%20b", "a b"}, {"ftp://a/a%5Cb", "a\\b"},
      {"ftp://a/dir/..", ".."},  {"ftp://a//x", "x"},
  };
  for (const auto& [url, name] : rows) {
    Transfer transfer;
    ASSERT_EQ(New(url, &transfer), Error_None) << url;
    EXPECT_EQ(TextOf(VRXClient_GetFileName, transfer.get()), name) << url;
    EXPECT_EQ(TextOf(VRXClient_GetTransferName, transfer.get()), name) << url;
  }
}

TEST_F(TransferObject, HasTheFileNameOfTheServerInUse) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  ASSERT_EQ(VRXClient_AddMirrors(transfer.get(), "ftp://b/dir/y"), Error_None);
  ASSERT_EQ(iVRXClient_SetServer(transfer.get(), transfer->data.servers.last), Error_None);
  EXPECT_EQ(TextOf(VRXClient_GetFileName, transfer.get()), "y");
  EXPECT_EQ(TextOf(VRXClient_GetRemoteFilePath, transfer.get()), "/dir/y");
  EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), "ftp://b/dir/y");
  ASSERT_EQ(iVRXClient_SetServer(transfer.get(), nullptr), Error_None);
  EXPECT_EQ(transfer->entry, nullptr);
  EXPECT_EQ(TextOf(VRXClient_GetFileName, transfer.get()), "x") << "of the first URL";
  EXPECT_EQ(TextOf(VRXClient_GetRemoteFilePath, transfer.get()), "");
  EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), "status -5");
  EXPECT_EQ(TextOf(VRXClient_GetServerName, transfer.get()), "status -5");
}

TEST_F(TransferObject, OfAnUploadHasTheFileNameOfItsSource) {
  Transfer transfer;
  Upload("source.txt", "ftpu://a", &transfer);
  EXPECT_EQ(TextOf(VRXClient_GetFileName, transfer.get()), "source.txt");
  EXPECT_EQ(TextOf(VRXClient_GetRemoteFilePath, transfer.get()), "");
}

TEST_F(TransferObject, NamesItsServerWithoutUserAndPath) {
  const std::vector<std::pair<const char*, const char*>> rows = {
      {"ftp://u:p@a.example:2121/dir/x", "ftp://a.example:2121"},
      {"http://a.example/x", "http://a.example"},
      {"http://a.example:80/x?y", "http://a.example"},
  };
  for (const auto& [url, name] : rows) {
    Transfer transfer;
    ASSERT_EQ(New(url, &transfer), Error_None) << url;
    EXPECT_EQ(TextOf(VRXClient_GetServerName, transfer.get()), name);
    EXPECT_STREQ(transfer->server->host, "a.example") << "nothing is changed";
    EXPECT_NE(transfer->server->path, nullptr);
  }
}

TEST_F(TransferObject, TakesAName) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_SetTransferName(transfer.get(), "My file"), Error_None);
  EXPECT_TRUE(transfer->isChanged);
  EXPECT_EQ(TextOf(VRXClient_GetTransferName, transfer.get()), "My file");
  EXPECT_EQ(TextOf(VRXClient_GetFileName, transfer.get()), "x");
  const std::string longest(1022, 'n');
  EXPECT_EQ(VRXClient_SetTransferName(transfer.get(), longest.c_str()), Error_None);
  EXPECT_EQ(VRXClient_SetTransferName(transfer.get(), (longest + "n").c_str()), Error_Exceed);
  EXPECT_EQ(TextOf(VRXClient_GetTransferName, transfer.get()), longest);
  EXPECT_EQ(VRXClient_SetTransferName(transfer.get(), nullptr), Error_None);
  EXPECT_EQ(TextOf(VRXClient_GetTransferName, transfer.get()), "x");
  EXPECT_EQ(VRXClient_SetTransferName(nullptr, "n"), Error_Invalid);
}

TEST_F(TransferObject, HasAServerFileNameForUploadsOnly) {
  Transfer download;
  ASSERT_EQ(New("ftp://a/dir/x", &download), Error_None);
  char name[kPathSize];
  EXPECT_EQ(VRXClient_SetServerFileName(download.get(), "other"), Error_Invalid);
  snprintf(download->data.serverFileName, kPathSize, "ignored");
  iVRXClient_ServerFileName(download.get(), name);
  EXPECT_STREQ(name, "x");

  Transfer upload;
  Upload("source", "ftp://a/dir/up", &upload);
  iVRXClient_ServerFileName(upload.get(), name);
  EXPECT_STREQ(name, "source") << "not the URL's";
  upload->isChanged = false;
  EXPECT_EQ(VRXClient_SetServerFileName(upload.get(), "other"), Error_None);
  EXPECT_TRUE(upload->isChanged);
  iVRXClient_ServerFileName(upload.get(), name);
  EXPECT_STREQ(name, "other");
  const std::string longest(1022, 'n');
  EXPECT_EQ(VRXClient_SetServerFileName(upload.get(), longest.c_str()), Error_None);
  EXPECT_EQ(VRXClient_SetServerFileName(upload.get(), (longest + "n").c_str()), Error_Exceed);
  EXPECT_EQ(VRXClient_SetServerFileName(nullptr, "n"), Error_Invalid);
  iVRXClient_ServerFileName(upload.get(), name);
  EXPECT_EQ(name, longest);
  for (const char* none : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(VRXClient_SetServerFileName(upload.get(), "other"), Error_None);
    EXPECT_EQ(VRXClient_SetServerFileName(upload.get(), none), Error_None);
    iVRXClient_ServerFileName(upload.get(), name);
    EXPECT_STREQ(name, "source");
  }
  VRXClient_SetEditFlags(upload.get(), 0x3C);
  EXPECT_EQ(VRXClient_SetServerFileName(upload.get(), "third"), Error_NoAccess);
  VRXClient_SetEditFlags(upload.get(), 0x38);
  for (uint32_t state = 0; state <= 14; ++state) {
    iVRXClient_ChangeState(upload.get(), static_cast<TransferState>(state));
    EXPECT_EQ(VRXClient_SetServerFileName(upload.get(), "last"), state < 11 ? Error_None : Error_Inited)
        << state;
  }
}

// ---- plain results -------------------------------------------------------------------------------

TEST_F(TransferObject, TellsWhatItIs) {
  Transfer transfer;
  ASSERT_EQ(New("https://a/x", &transfer), Error_None);
  EXPECT_EQ(VRXClient_IsVRXServer(transfer.get()), 0);
  EXPECT_EQ(VRXClient_ServerSupportsResume(transfer.get()), 0);
  EXPECT_EQ(VRXClient_IsCompleted(transfer.get()), 0);
  transfer->isMirrorServer = true;
  transfer->canResume = true;
  EXPECT_EQ(VRXClient_IsVRXServer(transfer.get()), 1);
  EXPECT_EQ(VRXClient_ServerSupportsResume(transfer.get()), 1);
  iVRXClient_ChangeState(transfer.get(), TransferState::Agents);
  EXPECT_EQ(VRXClient_IsCompleted(transfer.get()), 0);
  iVRXClient_ChangeState(transfer.get(), TransferState::Completed);
  EXPECT_EQ(VRXClient_IsCompleted(transfer.get()), 1);
  EXPECT_EQ(VRXClient_GetState(transfer.get()), 14u);
}

TEST_F(TransferObject, IsSecureOnAnOpenHTTPSConnectionOnly) {
  Transfer transfer;
  ASSERT_EQ(New("https://a/x", &transfer), Error_None);
  int32_t out = 77;
  EXPECT_EQ(VRXClient_IsSecure(transfer.get(), &out), 0) << "nothing is open";
  EXPECT_EQ(out, 0);
  for (int32_t kind = 0; kind <= 3; ++kind) {
    transfer->connectionKind = kind;
    out = 77;
    EXPECT_EQ(VRXClient_IsSecure(transfer.get(), &out), kind == 1 ? 1 : 0);
    EXPECT_EQ(out, 0);
    EXPECT_EQ(VRXClient_IsSecure(transfer.get(), nullptr), kind == 1 ? 1 : 0);
  }
  transfer->connectionKind = -1;
}

TEST_F(TransferObject, KeepsReasonAndEditFlags) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  EXPECT_EQ(VRXClient_AgentError(transfer.get(), 17), Error_None);
  EXPECT_EQ(VRXClient_GetError(transfer.get()), 17u);
  EXPECT_EQ(VRXClient_AgentError(transfer.get(), 0xFFFFFFFF), Error_None);
  EXPECT_EQ(VRXClient_GetError(transfer.get()), 0xFFFFFFFFu);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_SetEditFlags(transfer.get(), 0xA5A5A5A5), Error_None);
  EXPECT_EQ(VRXClient_GetEditFlags(transfer.get()), 0xA5A5A5A5u);
  EXPECT_TRUE(transfer->isChanged);
}

TEST_F(TransferObject, KeepsItsSettings) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  struct {
    ErrorCode (*set)(VRXClient* client, int32_t flag);
    bool VRXClient::*field;
  } const settings[] = {{VRXClient_AcceptWebPages, &VRXClient::acceptsWebPages},
                        {VRXClient_SetOverwrite, &VRXClient::replacesTarget},
                        {VRXClient_RefuseSurplus, &VRXClient::refusesSurplus},
                        {VRXClient_SetSync, &VRXClient::syncsDataFile},
                        {VRXClient_SetActiveMode, &VRXClient::usesActiveMode}};
  transfer->isChanged = false;
  for (const auto& setting : settings) {
    EXPECT_FALSE(transfer.get()->*setting.field);
    EXPECT_EQ(setting.set(transfer.get(), 7), Error_None);
    EXPECT_TRUE(transfer.get()->*setting.field);
    EXPECT_EQ(setting.set(transfer.get(), 0), Error_None);
    EXPECT_FALSE(transfer.get()->*setting.field);
    EXPECT_EQ(setting.set(nullptr, 1), Error_Invalid);
  }
  EXPECT_FALSE(transfer->isChanged) << "they are not stored";
}

TEST_F(TransferObject, NeedsATransferAndABuffer) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  for (const auto get : {VRXClient_GetSourceURL, VRXClient_GetServerName, VRXClient_GetLocalFilePath,
                         VRXClient_GetTransferName, VRXClient_GetRemoteFilePath, VRXClient_GetFileName,
                         VRXClient_GetDataFilePath}) {
    EXPECT_EQ(TextOf(get, nullptr), "status -4");
    EXPECT_EQ(get(transfer.get(), nullptr), Error_Invalid);
    EXPECT_EQ(get(nullptr, nullptr), Error_Invalid);
  }
  EXPECT_EQ(VRXClient_IsUpload(nullptr), 0);
  EXPECT_EQ(VRXClient_IsVRXServer(nullptr), 0);
  EXPECT_EQ(VRXClient_ServerSupportsResume(nullptr), 0);
  EXPECT_EQ(VRXClient_IsCompleted(nullptr), 0);
  EXPECT_EQ(VRXClient_IsSecure(nullptr, nullptr), 0);
  EXPECT_EQ(VRXClient_GetSize(nullptr), 0u);
  EXPECT_EQ(VRXClient_GetSize64(nullptr), 0u);
  EXPECT_EQ(VRXClient_GetError(nullptr), 0u);
  EXPECT_EQ(VRXClient_GetEditFlags(nullptr), 0u);
  EXPECT_EQ(VRXClient_GetState(nullptr), 0u);
  EXPECT_EQ(VRXClient_AgentError(nullptr, 1), Error_Invalid);
  EXPECT_EQ(VRXClient_SetEditFlags(nullptr, 1), Error_Invalid);
  EXPECT_EQ(VRXClient_Close(nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_Delete(nullptr), Error_Invalid);
}

// ---- servers -------------------------------------------------------------------------------------

TEST_F(TransferObject, TakesMirrors) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), "ftp://a/x;ftp://b/x;no URL;;ftp://a/x"), Error_None);
  EXPECT_EQ(transfer->data.servers.count, 2u);
  EXPECT_TRUE(transfer->isChanged);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), "ftp://b/x"), Error_None);
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), ""), Error_None);
  EXPECT_FALSE(transfer->isChanged) << "nothing was added";
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_AddMirrors(nullptr, "ftp://b/x"), Error_Invalid);
  ASSERT_EQ(iVRXClient_SetServer(transfer.get(), nullptr), Error_None);
  EXPECT_EQ(VRXClient_AddMirrors(transfer.get(), "ftp://c/x"), Error_NotInited);
  EXPECT_EQ(transfer->data.servers.count, 2u);
}

TEST_F(TransferObject, TakesAServerOfTheLibrarysOwn) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  transfer->isChanged = false;
  bool isAdded = true;
  EXPECT_EQ(iVRXClient_AddServer(transfer.get(), "ftp://a/x", &isAdded), Error_None);
  EXPECT_FALSE(isAdded);
  EXPECT_FALSE(transfer->isChanged);
  EXPECT_EQ(iVRXClient_AddServer(transfer.get(), "http://b/x;y", &isAdded), Error_None);
  EXPECT_TRUE(isAdded);
  EXPECT_TRUE(transfer->isChanged);
  EXPECT_EQ(transfer->data.servers.count, 2u) << "one, whatever it holds";
  EXPECT_EQ(iVRXClient_AddServer(transfer.get(), "no URL", nullptr), Error_Invalid);
  EXPECT_EQ(iVRXClient_AddServers(transfer.get(), "http://c/x;http://d/x", &isAdded), Error_None);
  EXPECT_TRUE(isAdded);
  EXPECT_EQ(transfer->data.servers.count, 4u);
}

TEST_F(TransferObject, ShowsItsServers) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://u:p@first.example/x", &transfer), Error_None);
  ASSERT_EQ(VRXClient_AddMirrors(transfer.get(), "http://second.example:8080/y"), Error_None);
  transfer->data.servers.last->isFailed = true;
  constexpr uint8_t kAddress[] = {10, 0, 0, 2};
  iStatistics_RecordAddress("second.example", 8080, kAddress);
  iStatistics_RecordSpeed("second.example", 8080, 2048);
  iStatistics_RecordFailure("second.example", 8080);
  VRXClientServer server;
  ASSERT_EQ(VRXClient_GetServer(transfer.get(), 0, &server), Error_None);
  EXPECT_STREQ(server.url, "ftp://first.example/x") << "neither user nor password";
  EXPECT_EQ(server.isFailed, 0);
  EXPECT_EQ(server.isCurrent, 1);
  EXPECT_EQ(server.speedSamples, 0u);
  EXPECT_EQ(server.averageSpeed, -1.0f);
  EXPECT_EQ(server.outcomeSamples, 0u);
  EXPECT_EQ(server.successRatio, 0.5f);
  ASSERT_EQ(VRXClient_GetServer(transfer.get(), 1, &server), Error_None);
  EXPECT_STREQ(server.url, "http://second.example:8080/y");
  EXPECT_EQ(server.isFailed, 1);
  EXPECT_EQ(server.isCurrent, 0);
  EXPECT_EQ(server.speedSamples, 1u);
  EXPECT_EQ(server.averageSpeed, 2048.0f);
  EXPECT_EQ(server.outcomeSamples, 1u);
  EXPECT_EQ(server.successRatio, 0.0f);
  for (const uint32_t index : {2u, 0xFFFFFFFFu}) {
    EXPECT_EQ(VRXClient_GetServer(transfer.get(), index, &server), Error_NotFound);
    EXPECT_STREQ(server.url, "");
    EXPECT_EQ(server.speedSamples, 0u);
  }
  EXPECT_EQ(VRXClient_GetServer(transfer.get(), 0, nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_GetServer(nullptr, 0, &server), Error_Invalid);
}

TEST_F(TransferObject, HasNoServer_WhenMemoryRunsOut) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  iMemory_FailAllocation(1);
  EXPECT_EQ(iVRXClient_SetServer(transfer.get(), transfer->data.servers.first), Error_Memory);
  iMemory_FailAllocation(0);
  EXPECT_EQ(transfer->server, nullptr);
  EXPECT_EQ(transfer->entry, nullptr);
}

TEST_F(TransferObject, GivesTheLastReply) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  VRXClientLastReply reply;
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_NotFound);
  EXPECT_EQ(reply.code, 0);
  transfer->lastReply = {'5', 550, "No such file"};
  ASSERT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  EXPECT_EQ(reply.code, 550);
  EXPECT_STREQ(reply.text, "No such file");
  EXPECT_EQ(reply.status, Error_None);
  EXPECT_EQ(reply.reason, 0u);
  transfer->lastFailure = Error_NoAccess;
  transfer->lastReason = VRXClientReason_Denied;
  ASSERT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  EXPECT_EQ(reply.status, Error_NoAccess);
  EXPECT_EQ(reply.reason, 9u);
  transfer->lastReply = {0, 550, "left over"};
  ASSERT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  EXPECT_EQ(reply.code, 0) << "a reply of class 0 is none";
  EXPECT_STREQ(reply.text, "");
  transfer->lastFailure = Error_None;
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  transfer->lastReason = 0;
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_NotFound);
  EXPECT_EQ(VRXClient_GetLastReply(nullptr, &reply), Error_Invalid);
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), nullptr), Error_Invalid);
}

// ---- the data file -------------------------------------------------------------------------------

TEST_F(TransferObject, NamesItsDataFile) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  transfer->isChanged = false;
  ASSERT_EQ(iVRXClient_NameDataFile(transfer.get()), Error_None);
  const std::string path = transfer->data.dataPath;
  const std::string beginning = CacheDirectory() + "/vrxData";
  ASSERT_EQ(path.substr(0, beginning.size()), beginning);
  EXPECT_EQ(path.find_first_not_of("0123456789", beginning.size()), std::string::npos);
  EXPECT_TRUE(transfer->isChanged);
  EXPECT_FALSE(Exists(path));
  transfer->isChanged = false;
  ASSERT_EQ(iVRXClient_NameDataFile(transfer.get()), Error_None);
  EXPECT_EQ(transfer->data.dataPath, path) << "once";
  EXPECT_FALSE(transfer->isChanged);
}

// Random numbers that come again.
TEST_F(TransferObject, NamesADataFileThatNoOtherTransferHas) {
  Transfer first;
  ASSERT_EQ(New("ftp://a/1", &first), Error_None);
  srand(1);
  ASSERT_EQ(iVRXClient_NameDataFile(first.get()), Error_None);
  const std::string firstPath = first->data.dataPath;
  srand(1);
  char again[1024];
  ASSERT_EQ(File_UniquifyName(CacheDirectory().c_str(), "vrxData", again), Error_None);
  ASSERT_EQ(again, firstPath) << "the file does not exist, so its name is free";
  Transfer second;
  ASSERT_EQ(New("ftp://a/2", &second), Error_None);
  srand(1);
  ASSERT_EQ(iVRXClient_NameDataFile(second.get()), Error_None);
  EXPECT_NE(second->data.dataPath, firstPath);
  EXPECT_STRNE(second->data.dataPath, "");
}

TEST_F(TransferObject, TakesADataFileOfTheApplication) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  directory_.Write("x.part", "abcde");
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_SetDataFilePath(transfer.get(), directory_.Name("x.part").c_str()), Error_None);
  EXPECT_EQ(TextOf(VRXClient_GetDataFilePath, transfer.get()), directory_.Name("x.part"));
  EXPECT_EQ(transfer->dataFileSize, 5u);
  EXPECT_EQ(transfer->offset, 5u);
  EXPECT_TRUE(transfer->isChanged);
  EXPECT_EQ(VRXClient_SetDataFilePath(transfer.get(), directory_.Name("new.part").c_str()), Error_None);
  EXPECT_EQ(TextOf(VRXClient_GetDataFilePath, transfer.get()), directory_.Name("new.part"))
      << "it need not exist";
  EXPECT_EQ(transfer->offset, 0u);
  EXPECT_EQ(directory_.Read("x.part"), "abcde");
  EXPECT_EQ(VRXClient_SetDataFilePath(transfer.get(), nullptr), Error_None);
  EXPECT_EQ(TextOf(VRXClient_GetDataFilePath, transfer.get()), "");
}

TEST_F(TransferObject, RefusesADataFile_OnceItHasBegun) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  const std::string path = directory_.Name("x.part");
  for (uint32_t state = 1; state <= 14; ++state) {
    iVRXClient_ChangeState(transfer.get(), static_cast<TransferState>(state));
    EXPECT_EQ(VRXClient_SetDataFilePath(transfer.get(), path.c_str()), Error_Inited) << state;
  }
  iVRXClient_ChangeState(transfer.get(), TransferState::SelectServer);
  transfer->connectionKind = URLProtocol_FTP;
  EXPECT_EQ(VRXClient_SetDataFilePath(transfer.get(), path.c_str()), Error_Inited);
  transfer->connectionKind = -1;
  EXPECT_EQ(VRXClient_SetDataFilePath(transfer.get(), std::string(1023, 'x').c_str()), Error_Exceed);
  EXPECT_EQ(TextOf(VRXClient_GetDataFilePath, transfer.get()), "");
  EXPECT_EQ(VRXClient_SetDataFilePath(nullptr, path.c_str()), Error_Invalid);
  Transfer upload;
  Upload("source", "ftp://a/up", &upload);
  EXPECT_EQ(VRXClient_SetDataFilePath(upload.get(), path.c_str()), Error_Invalid);
}

TEST_F(TransferObject, RefusesADataFileThatAnotherTransferHas) {
  Transfer first;
  ASSERT_EQ(New("ftp://a/1", &first), Error_None);
  Transfer second;
  ASSERT_EQ(New("ftp://a/2", &second), Error_None);
  const std::string path = directory_.Name("x.part");
  EXPECT_EQ(VRXClient_SetDataFilePath(first.get(), path.c_str()), Error_None);
  EXPECT_EQ(VRXClient_SetDataFilePath(first.get(), path.c_str()), Error_None);
  EXPECT_EQ(VRXClient_SetDataFilePath(second.get(), path.c_str()), Error_Exists);
  EXPECT_EQ(TextOf(VRXClient_GetDataFilePath, second.get()), "");
}

TEST_F(TransferObject, IsNotFreeOfAnotherOnesLog) {
  Transfer first;
  ASSERT_EQ(New("ftp://a/1", &first), Error_None);
  iVRXClient_Message(first.get(), 18);
  Transfer second;
  ASSERT_EQ(New("ftp://a/2", &second), Error_None);
  EXPECT_EQ(VRXClient_SetDataFilePath(second.get(), first->data.logPath), Error_Exists);
}

TEST_F(TransferObject, OwnsWhatTheLibraryMade) {
  const std::string cache = CacheDirectory();
  const std::vector<std::pair<std::string, bool>> rows = {
      {cache + "/vrxData1", true},
      {cache + "/vrxData32767", true},
      {cache + "/vrxData", false},
      {cache + "/vrxData1x", false},
      {cache + "/vrxData-1", false},
      {cache + "/vrxData1/x", false},
      {cache + "/vrxData1/../../x", false},
      {cache + "/info1", false},
      {cache + "/names.qzc", false},
      {cache + "vrxData1", false},
      {"/elsewhere/vrxData1", false},
      {"vrxData1", false},
      {"", false},
  };
  std::string beside = cache + "/vrxData1";
  beside[cache.size() - 1] ^= 1;
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  iVRXClient_SetDataPath(transfer.get(), beside.c_str());
  EXPECT_FALSE(iVRXClient_OwnsDataFile(transfer.get())) << "a directory with a name as long";
  for (const auto& [path, isOwn] : rows) {
    iVRXClient_SetDataPath(transfer.get(), path.c_str());
    EXPECT_EQ(iVRXClient_OwnsDataFile(transfer.get()), isOwn) << path;
  }
}

TEST_F(TransferObject, OwnsAPartBesideItsTarget) {
  struct {
    const char* path;
    const char* target;
    bool isOwn;
  } const rows[] = {
      {"/d/x.part", "/d/x", true},       {"/d/other.part", "/d/x", true}, {"/d/x.part", "/e/x", false},
      {"/d/e/x.part", "/d/x", false},    {"/d/x", "/d/x", false},         {"/d/x.partial", "/d/x", false},
      {"/d/x.part", "/d/x.part", false}, {"/d/x.part", "", false},        {"x.part", "x", true},
      {"/x.part", "x", false},           {"x.part", "/x", false},         {"/x.part", "/x", true},
      {"/d/../x.part", "/d/../x", true},
  };
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  for (const auto& row : rows) {
    iVRXClient_SetDataPath(transfer.get(), row.path);
    snprintf(transfer->data.localPath, kPathSize, "%s", row.target);
    EXPECT_EQ(iVRXClient_OwnsDataFile(transfer.get()), row.isOwn) << row.path << " for " << row.target;
  }
  Transfer upload;
  Upload("source", "ftp://a/up", &upload);
  iVRXClient_SetDataPath(upload.get(), directory_.Name("x.part").c_str());
  EXPECT_FALSE(iVRXClient_OwnsDataFile(upload.get()));
}

TEST_F(TransferObject, DoesNotOwnWhatAnotherTransferHas) {
  const std::string path = CacheDirectory() + "/vrxData1";
  Transfer first;
  ASSERT_EQ(New("ftp://a/1", &first), Error_None);
  iVRXClient_SetDataPath(first.get(), path.c_str());
  EXPECT_TRUE(iVRXClient_OwnsDataFile(first.get()));
  Transfer second;
  ASSERT_EQ(New("ftp://a/2", &second), Error_None);
  iVRXClient_SetDataPath(second.get(), path.c_str());
  EXPECT_FALSE(iVRXClient_OwnsDataFile(first.get()));
}

TEST_F(TransferObject, ForgetsItsDataFile) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  const std::string own = CacheDirectory() + "/vrxData1";
  MakeFile(own);
  iVRXClient_SetDataPath(transfer.get(), own.c_str());
  transfer->isChanged = false;
  transfer->dataFileSize = 4;
  iVRXClient_ForgetDataFile(transfer.get());
  EXPECT_FALSE(Exists(own));
  EXPECT_STREQ(transfer->data.dataPath, "");
  EXPECT_EQ(transfer->dataFileSize, 0u);
  EXPECT_TRUE(transfer->isChanged);
  directory_.Write("victim", "precious");
  iVRXClient_SetDataPath(transfer.get(), directory_.Name("victim").c_str());
  iVRXClient_ForgetDataFile(transfer.get());
  EXPECT_EQ(directory_.Read("victim"), "precious");
  EXPECT_STREQ(transfer->data.dataPath, "");
}

// ---- the end -------------------------------------------------------------------------------------

TEST_F(TransferObject, KeepsItsFiles_WhenItIsClosed) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  ASSERT_EQ(iVRXClient_NameDataFile(transfer.get()), Error_None);
  const std::string data = transfer->data.dataPath;
  MakeFile(data);
  iVRXClient_Message(transfer.get(), 18);
  const std::string log = transfer->data.logPath;
  transfer.Close();
  EXPECT_TRUE(Exists(data));
  EXPECT_TRUE(Exists(log));
  EXPECT_EQ(File_Unlink(data.c_str()), Error_None);
  EXPECT_EQ(File_Unlink(log.c_str()), Error_None);
}

TEST_F(TransferObject, LosesItsFiles_WhenItIsDeleted) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  ASSERT_EQ(iVRXClient_NameDataFile(transfer.get()), Error_None);
  transfer->isDataFileNew = false;
  const std::string data = transfer->data.dataPath;
  MakeFile(data);
  iVRXClient_Message(transfer.get(), 18);
  const std::string log = transfer->data.logPath;
  directory_.Write("file", "the target stays");
  transfer.Delete();
  EXPECT_FALSE(Exists(data));
  EXPECT_FALSE(Exists(log));
  EXPECT_EQ(directory_.Read("file"), "the target stays");
}

TEST_F(TransferObject, LosesItsPartFile_WhenItIsDeleted) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  directory_.Write("file.part", "abc");
  ASSERT_EQ(VRXClient_SetDataFilePath(transfer.get(), directory_.Name("file.part").c_str()), Error_None);
  transfer.Delete();
  EXPECT_FALSE(directory_.Exists("file.part"));
}

TEST_F(TransferObject, RemovesNothingElse_WhenItIsDeleted) {
  directory_.Write("data", "precious");
  directory_.Write("log", "precious");
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  ASSERT_EQ(VRXClient_SetDataFilePath(transfer.get(), directory_.Name("data").c_str()), Error_None);
  snprintf(transfer->data.logPath, kPathSize, "%s", directory_.Name("log").c_str());
  transfer.Delete();
  EXPECT_EQ(directory_.Read("data"), "precious");
  EXPECT_EQ(directory_.Read("log"), "precious");
}

TEST_F(TransferObject, LeavesAnotherTransfersFiles_WhenItIsDeleted) {
  Transfer first;
  ASSERT_EQ(New("ftp://a/1", &first), Error_None);
  ASSERT_EQ(iVRXClient_NameDataFile(first.get()), Error_None);
  first->isDataFileNew = false;
  const std::string data = first->data.dataPath;
  MakeFile(data);
  iVRXClient_Message(first.get(), 18);
  const std::string log = first->data.logPath;
  Transfer second;
  ASSERT_EQ(New("ftp://a/2", &second), Error_None);
  iVRXClient_SetDataPath(second.get(), data.c_str());
  snprintf(second->data.logPath, kPathSize, "%s", log.c_str());
  second->isLogPathOwn = true;
  second.Delete();
  EXPECT_TRUE(Exists(data));
  EXPECT_TRUE(Exists(log));
  first.Delete();
  EXPECT_FALSE(Exists(data));
  EXPECT_FALSE(Exists(log));
}

TEST_F(TransferObject, AbortsARunningCopy_WhenItIsClosed) {
  directory_.Write("from", std::string(100000, 'x'));
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  ASSERT_EQ(File_CopyStart(directory_.Name("from").c_str(), directory_.Name("to").c_str(), 0, nullptr,
                           nullptr, &transfer->copy),
            Error_None);
  transfer.Close();
  EXPECT_FALSE(directory_.Exists("to"));
  EXPECT_TRUE(directory_.Exists("from"));
}

TEST_F(TransferObject, TakesLittleMemory) {
  EXPECT_LE(sizeof(VRXClient), 16384u) << "beside its texts, before it connects";
}

}  // namespace
