// Transfers whose memory runs out or whose files do not open, get a name or seek, at one place. The linker
// sends every call of these functions in this program through the ones below.
#include <gtest/gtest.h>

#include <string>

#include "qz/file.h"
#include "qz/memory.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

bool failsSeeks = false;
bool failsOpens = false;
bool failsNames = false;
bool failsBuffers = false;
const char* applicationName = nullptr;  // null: that of the session

// The sizes that the buffer of a transfer has in these tests.
bool IsBufferSize(size_t size) {
  return size == 4096 || size == 1024;
}

}  // namespace

extern "C" int32_t __real_File_Seek64(File* file, int32_t seekMode, int64_t offset);
extern "C" int32_t __wrap_File_Seek64(File* file, int32_t seekMode, int64_t offset) {
  return failsSeeks ? -1 : __real_File_Seek64(file, seekMode, offset);
}
extern "C" ErrorCode __real_File_Open(const char* path, uint32_t mode, File** file);
extern "C" ErrorCode __wrap_File_Open(const char* path, uint32_t mode, File** file) {
  return failsOpens ? Error_System : __real_File_Open(path, mode, file);
}
extern "C" ErrorCode __real_File_UniquifyName(const char* directory, const char* prefix, char* result);
extern "C" ErrorCode __wrap_File_UniquifyName(const char* directory, const char* prefix, char* result) {
  return failsNames ? Error_System : __real_File_UniquifyName(directory, prefix, result);
}
extern "C" const char* __real_OS_GetApplicationName();
extern "C" const char* __wrap_OS_GetApplicationName() {
  return applicationName != nullptr ? applicationName : __real_OS_GetApplicationName();
}
extern "C" void* __real_Memory_New(size_t size);
extern "C" void* __wrap_Memory_New(size_t size) {
  return failsBuffers && IsBufferSize(size) ? nullptr : __real_Memory_New(size);
}

namespace {

class TransferResources : public ConversationTest {
 protected:
  void TearDown() override {
    failsSeeks = false;
    failsOpens = false;
    failsNames = false;
    failsBuffers = false;
    applicationName = nullptr;
    iMemory_FailAllocation(0);
    ConversationTest::TearDown();
  }
  static Script Answer(const std::string& path, size_t offset, const std::string& response) {
    return scripted_http::Exchange(talk::Request(path, offset), response);
  }
  static std::string Okay(const std::string& bytes) {
    return "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(bytes.size()) + "\r\n\r\n" + bytes;
  }
};

// ---- files that do not seek ------------------------------------------------------------------------------

// Where the bytes on the disk end is not known for certain: they are cut, and the whole file is asked for.
// The cut file has to be at its start, which it is not known to be either.
TEST_F(TransferResources, FailTheDownload_WhenItsDataFileDoesNotSeek) {
  ScriptedServer server({{Stall()}});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 10);
  transfer.WorkUntil(TransferState::OpenDataFile);
  failsSeeks = true;
  EXPECT_EQ(transfer.Step(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Reason(), VRXClientReason_DataFile);
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  server.Stop();
}

TEST_F(TransferResources, SendTheWholeUpload_WhenItsCopyDoesNotSeek) {
  ScriptedServer server(
      {ftp::Join({talk::LogIn("/in/x"), ftp::Exchange("CWD /in", "250 ok"), talk::TypeAndSize("f", "213 4"),
                  talk::AskResume(), talk::Store("f"), ftp::Quit()})});
  Files().Write("f", "1234567890");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  transfer.WorkUntil(TransferState::OpenDataFile);
  failsSeeks = true;
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  failsSeeks = false;
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
  EXPECT_EQ(server.DataReceived(0), "1234567890");
}

// The server cannot resume, and the copy does not go back to its first byte.
TEST_F(TransferResources, FailTheUpload_WhenItsCopyDoesNotSeekBack) {
  ScriptedServer server({ftp::Join({talk::LogIn("/in/x"),
                                    ftp::Exchange("CWD /in", "250 ok"),
                                    talk::TypeAndSize("f", "213 4"),
                                    ftp::Passive(),
                                    ftp::Exchange("REST 4", "502 no"),
                                    ftp::Started("STOR f"),
                                    {Stall()}})});
  Files().Write("f", "1234567890");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  transfer.WorkUntil(TransferState::StartTransfer);
  transfer.Messages();
  failsSeeks = true;
  EXPECT_EQ(transfer.Step(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines({"Initiating download..."}));
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  VRXClientLastReply reply;
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  EXPECT_EQ(reply.reason, VRXClientReason_DataFile);
  EXPECT_EQ(server.DataReceived(0), "");
  server.Stop();
}

// The old bytes are to go, as the file is empty now.
TEST_F(TransferResources, FailTheDownload_WhenItsOldBytesCannotBeCutAtItsEnd) {
  ScriptedServer server({Answer("/f", 4, Okay(""))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234");
  transfer.WorkUntil(TransferState::Data);
  transfer.Messages();
  failsSeeks = true;
  EXPECT_EQ(transfer.Step(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines({"Can't write to file. The disk may be full."}));
  EXPECT_EQ(transfer.Reason(), VRXClientReason_DataFile);
  server.Stop();
}

// ---- files that have no name or do not open --------------------------------------------------------------

TEST_F(TransferResources, FailTheDownload_WhenItsDataFileGetsNoName) {
  Conversation transfer(this);
  transfer.Download("http://a.invalid/f");
  EXPECT_EQ(transfer.Step(), VRXClientResult_Changed);
  transfer.Messages();
  failsNames = true;
  EXPECT_EQ(transfer.Step(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines());
  EXPECT_EQ(transfer.Reason(), VRXClientReason_DataFile);
  EXPECT_EQ(transfer.Servers(), Lines({"http://a.invalid/f"})) << "it is not the server's failure";
}

TEST_F(TransferResources, FailTheDownload_WhenTheBytesOnTheDiskDoNotOpen) {
  ScriptedServer server({{Stall()}});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 10);
  transfer.WorkUntil(TransferState::OpenDataFile);
  transfer.Messages();
  failsOpens = true;
  EXPECT_EQ(transfer.Step(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines());
  EXPECT_EQ(transfer.Reason(), VRXClientReason_OpenDataFile);
  server.Stop();
}

TEST_F(TransferResources, FailTheUpload_WhenItsCopyDoesNotOpen) {
  ScriptedServer server({ftp::Join({talk::LogIn("/in/x"), ftp::Exchange("CWD /in", "250 ok"),
                                    talk::TypeAndSize("f", "213 4"), ftp::Quit()})});
  Files().Write("f", "1234567890");
  Conversation transfer(this);
  transfer.Upload("f", URL("ftpu", server, "/in/x"));
  transfer.WorkUntil(TransferState::OpenDataFile);
  transfer.Messages();
  failsOpens = true;
  EXPECT_EQ(transfer.Step(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines());
  EXPECT_EQ(transfer.Reason(), VRXClientReason_OpenDataFile);
  server.Stop();
}

// ---- a long name -----------------------------------------------------------------------------------------

TEST_F(TransferResources, SendTheFirst255BytesOfTheApplicationsName) {
  const std::string longName(300, 'n');
  applicationName = longName.c_str();
  const std::string sent = "\r\nUser-Agent: " + std::string(255, 'n') + "\r\n";
  ASSERT_NE(talk::Request("/f").find(std::string(300, 'n')), std::string::npos);
  std::string request = talk::Request("/f");
  request.replace(request.find(std::string(300, 'n')), 300, std::string(255, 'n'));
  ASSERT_NE(request.find(sent), std::string::npos);
  ScriptedServer server({scripted_http::Exchange(request, Okay("hello"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "hello");
  server.Finish();
}

// ---- a file that is as large as a file can be ------------------------------------------------------------

TEST_F(TransferResources, FailTheDownload_WhenItsOffsetWouldPassTheLargestOne) {
  ScriptedServer server({Answer("/f", 0, "HTTP/1.0 200 OK\r\n\r\n0123456789")});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::Data);
  transfer.Messages();
  transfer.get()->offset = INT64_MAX - 2;
  EXPECT_EQ(transfer.Step(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines({"Can't write to file. The disk may be full."}));
  EXPECT_EQ(transfer.Reason(), VRXClientReason_DiskFull);
  char path[1024];
  EXPECT_EQ(VRXClient_GetDataFilePath(transfer.get(), path), Error_None);
  uint64_t size = 1;
  FileState state;
  EXPECT_EQ(File_GetState64(path, &state, &size), Error_None);
  EXPECT_EQ(size, 0u);
  server.Stop();
}

// ---- memory
// ------------------------------------------------------------------------------------------------

TEST_F(TransferResources, MoveTheDataInPiecesOf1024_WithoutMemoryForMore) {
  const std::string bytes(5000, 'x');
  ScriptedServer server({Answer("/f", 0, Okay(bytes))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::StartTransfer);
  iMemory_FailAllocation(1);
  EXPECT_LE(transfer.Step(), VRXClientResult_Changed);
  iMemory_FailAllocation(0);
  EXPECT_EQ(transfer.get()->bufferSize, 1024u);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), bytes);
  server.Finish();
}

TEST_F(TransferResources, KeepTheBuffer_WithoutMemoryForAnother) {
  const std::string bytes(5000, 'x');
  ScriptedServer server({Answer("/f", 0, Okay(bytes))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::Data);
  transfer.get()->speed = 100000;
  iMemory_FailAllocation(1);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  iMemory_FailAllocation(0);
  EXPECT_EQ(transfer.get()->bufferSize, 4096u);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), bytes);
  server.Finish();
}

TEST_F(TransferResources, SayThatMemoryIsOut_WithoutAnyBuffer) {
  ScriptedServer server({{Stall()}, Answer("/f", 0, Okay("hello"))});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::StartTransfer);
  transfer.Messages();
  failsBuffers = true;
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  failsBuffers = false;
  EXPECT_EQ(transfer.Messages(), Lines({"Out of memory."}));
  EXPECT_EQ(transfer.Reason(), VRXClientReason_Memory);
  EXPECT_EQ(transfer.Servers(), Lines({"http://{A}/f"})) << "the server has no part in it";
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
}

TEST_F(TransferResources, SayThatMemoryIsLow_WithoutAServerOfTheList) {
  Conversation transfer(this);
  transfer.Download("http://a.invalid/f");
  ASSERT_EQ(iVRXClient_SetServer(transfer.get(), nullptr), Error_None);
  // The message in front takes as many as another one.
  iVRXClient_Message(transfer.get(), 13);
  constexpr int64_t kMany = 1000000;
  iMemory_FailAllocation(kMany);
  iVRXClient_Message(transfer.get(), 13);
  const int64_t ofAMessage = kMany - iMemory_AllocationsUntilFailure();
  transfer.Messages();
  iMemory_FailAllocation(ofAMessage + 1);
  EXPECT_EQ(transfer.Step(), VRXClientResult_Postponed);
  iMemory_FailAllocation(0);
  EXPECT_EQ(transfer.Messages(), Lines({"Selecting server...", "Memory low."}));
  EXPECT_EQ(transfer.Reason(), VRXClientReason_Memory);
}

}  // namespace
