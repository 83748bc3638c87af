// What a transfer is called, its sizes, its user and password.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/transfer/vrxclient_object_fixture.h"

namespace {

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

}  // namespace
