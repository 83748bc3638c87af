// The files of a transfer: the name of its data file, whose it is, and what remains at the end.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "qz/directory.h"
#include "qz/vrxclientsystem.h"
#include "tests/transfer/vrxclient_object_fixture.h"

namespace {

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

// ---- the directory of data and log files ----

TEST_F(TransferObject, MakesItsFilesWhereTheApplicationSays) {
  directory_.MakeDirectory("files");
  ASSERT_EQ(VRXClientSystem_SetFileDirectory(directory_.Name("files").c_str()), Error_None);
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  ASSERT_EQ(iVRXClient_NameDataFile(transfer.get()), Error_None);
  transfer->isDataFileNew = false;
  const std::string data = transfer->data.dataPath;
  EXPECT_EQ(data.rfind(directory_.Name("files/vrxData"), 0), 0u) << data;
  MakeFile(data);
  iVRXClient_Message(transfer.get(), 18);
  const std::string log = transfer->data.logPath;
  EXPECT_EQ(log.rfind(directory_.Name("files/info"), 0), 0u) << log;
  EXPECT_EQ(directory_.List("files").size(), 2u);
  transfer.Delete();
  EXPECT_EQ(directory_.List("files"), std::vector<std::string>());
}

TEST_F(TransferObject, OwnsWhatTheLibraryMadeBeforeTheApplicationSaidWhere) {
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  ASSERT_EQ(iVRXClient_NameDataFile(transfer.get()), Error_None);
  transfer->isDataFileNew = false;
  const std::string data = transfer->data.dataPath;
  MakeFile(data);
  ASSERT_EQ(VRXClientSystem_SetFileDirectory(directory_.Name().c_str()), Error_None);
  transfer.Delete();
  EXPECT_FALSE(Exists(data));
}

TEST_F(TransferObject, OwnsNothingElseWhereTheApplicationSays) {
  ASSERT_EQ(VRXClientSystem_SetFileDirectory(directory_.Name().c_str()), Error_None);
  for (const char* name : {"vrxData", "vrxData1x", "vrxdata1", "other"}) {
    directory_.Write(name, "precious");
    Transfer transfer;
    ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
    ASSERT_EQ(VRXClient_SetDataFilePath(transfer.get(), directory_.Name(name).c_str()), Error_None);
    transfer.Delete();
    EXPECT_EQ(directory_.Read(name), "precious");
  }
}

TEST_F(TransferObject, UsesTheCacheDirectoryAgain_WhenTheApplicationSaysNothing) {
  for (const char* nothing : {static_cast<const char*>(nullptr), ""}) {
    ASSERT_EQ(VRXClientSystem_SetFileDirectory(directory_.Name().c_str()), Error_None);
    ASSERT_EQ(VRXClientSystem_SetFileDirectory(nothing), Error_None);
    Transfer transfer;
    ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
    ASSERT_EQ(iVRXClient_NameDataFile(transfer.get()), Error_None);
    EXPECT_EQ(std::string(transfer->data.dataPath).rfind(CacheDirectory() + "/vrxData", 0), 0u);
  }
}

TEST_F(TransferObject, TakesADirectoryForItsFilesOnly) {
  directory_.Write("file", "");
  EXPECT_EQ(VRXClientSystem_SetFileDirectory(directory_.Name("file").c_str()), Error_NotFound);
  EXPECT_EQ(VRXClientSystem_SetFileDirectory(directory_.Name("missing").c_str()), Error_NotFound);
  EXPECT_EQ(VRXClientSystem_SetFileDirectory(std::string(991, 'x').c_str()), Error_Exceed);
  Transfer transfer;
  ASSERT_EQ(New("ftp://a/x", &transfer), Error_None);
  ASSERT_EQ(iVRXClient_NameDataFile(transfer.get()), Error_None);
  EXPECT_EQ(std::string(transfer->data.dataPath).rfind(CacheDirectory() + "/vrxData", 0), 0u);
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
