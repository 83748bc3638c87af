// The data file of a transfer while other programs make files in the same folder.
#include <gtest/gtest.h>

#include <string>

#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

class TransferDataFile : public ConversationTest {
 protected:
  static void Make(const std::string& path, const std::string& bytes) {
    File* file = nullptr;
    ASSERT_EQ(File_Open(path.c_str(), FileMode_Write, &file), Error_None);
    EXPECT_EQ(File_Write(file, static_cast<uint32_t>(bytes.size()), bytes.data()), bytes.size());
    EXPECT_EQ(File_Close(file), Error_None);
  }
  static std::string Bytes(const std::string& path) {
    File* file = nullptr;
    if (File_Open(path.c_str(), FileMode_Read, &file) != Error_None) return "missing";
    char bytes[64];
    const uint32_t count = File_Read(file, sizeof bytes, bytes);
    EXPECT_EQ(File_Close(file), Error_None);
    return std::string(bytes, count);
  }
  // The name that the transfer has chosen; another program makes a file under it.
  static std::string Steal(const Conversation& transfer, const std::string& bytes) {
    const std::string path = transfer.get()->data.dataPath;
    EXPECT_NE(path, "");
    Make(path, bytes);
    return path;
  }
  static Script Serves() {
    return scripted_http::Exchange(talk::Request("/f"), "HTTP/1.0 200 OK\r\nContent-Length: 5\r\n\r\nhello");
  }
};

TEST_F(TransferDataFile, GetsAnotherName_WhenAnotherProgramHasTakenIt) {
  for (const char* bytes : {"theirs", ""}) {
    ScriptedServer server({Serves()});
    Conversation transfer(this);
    transfer.Download(URL("http", server, "/f"));
    transfer.WorkUntil(TransferState::OpenDataFile);
    const std::string stolen = Steal(transfer, bytes);
    EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
    EXPECT_EQ(Files().Read("target"), "hello");
    EXPECT_EQ(Bytes(stolen), bytes);
    server.Finish();
    EXPECT_EQ(File_Unlink(stolen.c_str()), Error_None);
    std::filesystem::remove(Files().SystemName("target"));
  }
}

TEST_F(TransferDataFile, GetsAnotherName_BeforeItIsMeasured) {
  Conversation transfer(this);
  transfer.Download("http://a.invalid/f");
  ASSERT_EQ(iVRXClient_NameDataFile(transfer.get()), Error_None);
  const std::string stolen = Steal(transfer, "theirs");
  transfer.WorkUntil(TransferState::Connect);
  EXPECT_NE(transfer.get()->data.dataPath, stolen);
  EXPECT_EQ(transfer.get()->dataFileSize, 0u);
  EXPECT_EQ(Bytes(stolen), "theirs");
}

TEST_F(TransferDataFile, IsKept_OnceItIsMade) {
  ScriptedServer server(
      {{Expect(talk::Request("/f")), Send("HTTP/1.0 200 OK\r\nContent-Length: 5\r\n\r\nhe"), Stall()},
       scripted_http::Exchange(talk::Request("/f", 2),
                               "HTTP/1.0 206 Partial\r\nContent-Range: bytes 2-4/5\r\n\r\nllo")});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  const std::string path = transfer.get()->data.dataPath;
  EXPECT_EQ(VRXClient_Stop(transfer.get()), Error_None);
  EXPECT_EQ(transfer.get()->buffer, nullptr) << "a stopped transfer holds no memory for data";
  transfer.WorkUntil(TransferState::OpenDataFile);
  EXPECT_EQ(transfer.get()->data.dataPath, path);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "hello");
  server.Finish();
}

TEST_F(TransferDataFile, IsLeftAlone_WhenAnotherProgramMadeIt) {
  Conversation transfer(this);
  transfer.Download("http://a.invalid/f");
  transfer.WorkUntil(TransferState::Connect);
  const std::string stolen = Steal(transfer, "theirs");
  transfer.Delete();
  EXPECT_EQ(Bytes(stolen), "theirs");
}

TEST_F(TransferDataFile, OfAnUploadGetsAnotherName_WhenAnotherProgramHasTakenIt) {
  Files().Write("f", "hello");
  Conversation transfer(this);
  transfer.Upload("f", "ftpu://a.invalid/in/x");
  ASSERT_EQ(iVRXClient_NameDataFile(transfer.get()), Error_None);
  const std::string stolen = Steal(transfer, "theirs");
  transfer.WorkUntil(TransferState::Connect);
  const std::string copy = transfer.get()->data.dataPath;
  EXPECT_NE(copy, stolen);
  EXPECT_EQ(Bytes(copy), "hello");
  EXPECT_EQ(Bytes(stolen), "theirs");
}

TEST_F(TransferDataFile, OfAnUploadIsNotAnotherProgramsFile_WhenTheSourceIsGone) {
  Files().Write("f", "hello");
  Conversation transfer(this);
  transfer.Upload("f", "ftpu://a.invalid/in/x");
  ASSERT_EQ(iVRXClient_NameDataFile(transfer.get()), Error_None);
  Steal(transfer, "theirs");
  std::filesystem::remove(Files().SystemName("f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines({"Can not find file to upload \"{files}/f\"."}));
}

TEST_F(TransferDataFile, OfAnUploadIsItsOwn_OnceItIsCopied) {
  Files().Write("f", "hello");
  Conversation transfer(this);
  transfer.Upload("f", "ftpu://a.invalid/in/x");
  transfer.WorkUntil(TransferState::Connect);
  const std::string copy = transfer.get()->data.dataPath;
  EXPECT_EQ(VRXClient_Stop(transfer.get()), Error_None);
  transfer.WorkUntil(TransferState::Connect);
  EXPECT_EQ(transfer.get()->data.dataPath, copy);
  transfer.Delete();
  EXPECT_EQ(Bytes(copy), "missing");
}

}  // namespace
