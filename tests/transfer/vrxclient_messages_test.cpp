// The texts of a transfer, typed by hand, and its log file.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "os/core/memory_testing.h"
#include "qz/directory.h"
#include "qz/memory.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/file_system.h"
#include "tests/transfer/vrxclient_fixture.h"

namespace {

class MessagesTest : public TransferTest {
 protected:
  void SetUp() override {
    TransferTest::SetUp();
    Download("ftp://a/x", &transfer_);
    heard_.Take();
  }
  void TearDown() override {
    transfer_.Delete();
    TransferTest::TearDown();
  }

  // The text of a message with these arguments.
  template <typename... Arguments>
  std::string Said(uint32_t number, Arguments... arguments) {
    heard_.Take();
    iVRXClient_Message(transfer_.get(), number, arguments...);
    const Lines lines = heard_.Take();
    EXPECT_EQ(lines.size(), 1u);
    return lines.empty() ? "" : lines[0].substr(std::string("message ").size());
  }
  std::string LogPath() const { return transfer_->data.logPath; }
  std::string Log() { return ReadFile(LogPath()); }
  static std::string ReadFile(const std::string& path) {
    File* file = nullptr;
    if (File_Open(path.c_str(), FileMode_Read, &file) != Error_None) return "no file";
    char bytes[20000];
    const uint32_t count = File_Read(file, sizeof bytes, bytes);
    File_Close(file);
    return std::string(bytes, count);
  }
  std::string Info() {
    const char* text = nullptr;
    const ErrorCode status = VRXClient_GetInfo(transfer_.get(), &text);
    if (status == Error_None) return text;
    EXPECT_EQ(text, nullptr);
    return "status " + std::to_string(status);
  }

  // The bytes of the transfer's record.
  std::string WriteTransfer() {
    const std::string path = directory_.Name("record.vrx");
    EXPECT_EQ(WriteRecord(path, transfer_.get()), Error_None);
    return ReadFile(path);
  }

  Transfer transfer_;
};

TEST_F(MessagesTest, HaveTheseTexts) {
  EXPECT_EQ(Said(0, "Not Found"), "An error occurred: Not Found");
  EXPECT_EQ(Said(1), "Download stopped.");
  EXPECT_EQ(Said(2), "System problem. Download postponed.");
  EXPECT_EQ(Said(3), "Connection denied by server.");
  EXPECT_EQ(Said(4), "Out of memory.");
  EXPECT_EQ(Said(5), "Invalid address.");
  EXPECT_EQ(Said(6), "Connection timed out. Download postponed.");
  EXPECT_EQ(Said(7), "Attempting to reconnect.");
  EXPECT_EQ(Said(8), "Server connection terminated.");
  EXPECT_EQ(Said(9), "Connection cancelled.");
  EXPECT_EQ(Said(10, "ftp", "a.example", 2121), "Trying \"ftp://a.example:2121\"...");
  EXPECT_EQ(Said(11, 4294967295ul), "File size is 4294967295 bytes.");
  EXPECT_EQ(Said(12), "Locating server...");
  EXPECT_EQ(Said(13), "Selecting server...");
  EXPECT_EQ(Said(14), "Memory low.");
  EXPECT_EQ(Said(15), "No server or mirror found.");
  EXPECT_EQ(Said(16, "file"), "Unsupported protocol: \"file\"");
  EXPECT_EQ(Said(17), "Connection failed.");
  EXPECT_EQ(Said(18), "Connected.");
  EXPECT_EQ(Said(19, "anonymous"), "Logging in as \"anonymous\"...");
  EXPECT_EQ(Said(20, "guest"), "Can't log in as \"guest\"");
  EXPECT_EQ(Said(21), "Setting transfer mode...");
  EXPECT_EQ(Said(22), "Can't write to file. The disk may be full.");
  EXPECT_EQ(Said(23, "Sun Jan  5 09:03:07 1997"), "Download completed on Sun Jan  5 09:03:07 1997.");
  EXPECT_EQ(Said(24), "Locating mirror sites...");
  EXPECT_EQ(Said(25), "Not a Netcask server.");
  EXPECT_EQ(Said(26), "Mirror sites located. ");
  EXPECT_EQ(Said(27), "This item is a directory, not a file.");
  EXPECT_EQ(Said(28), "Changing directory...");
  EXPECT_EQ(Said(29), "File size is unknown.");
  EXPECT_EQ(Said(30), "Can't access cache file.");
  EXPECT_EQ(Said(31), "Initiating download...");
  EXPECT_EQ(Said(32), "Server supports pause/resume.");
  EXPECT_EQ(Said(33), "Server does not support pause/resume.");
  EXPECT_EQ(Said(34), "Downloading...");
  EXPECT_EQ(Said(35), "Authentication already complete.");
  EXPECT_EQ(Said(36), "Reestablishing lost connection.");
  EXPECT_EQ(Said(37), "Content is a web page.");
  EXPECT_EQ(Said(38), "Attempting reverse connection mode...");
  EXPECT_EQ(Said(39, "/u/f"), "Can not find file to upload \"/u/f\".");
  EXPECT_EQ(Said(40), "Upload file has been moved or deleted, using cached copy.");
  EXPECT_EQ(Said(41), "Upload file has not been altered.");
  EXPECT_EQ(Said(42), "Copying upload file...");
  EXPECT_EQ(Said(43, "/d/f"), "Moving file to \"/d/f\"...");
  EXPECT_EQ(Said(44, "/d/f"), "Can't move file to \"/d/f\"...");
  EXPECT_EQ(Said(45, "/d"), "Can't move file to \"/d\" because it doesn't exist...");
  EXPECT_EQ(Said(46, "/d/f"), "Completed copy to \"/d/f\"");
  EXPECT_EQ(Said(47, "/d/f"), "Failed while copying file \"/d/f\"");
  EXPECT_EQ(Said(48), "Server does not support secure transfers. Stopping.");
  EXPECT_EQ(Said(49), "Not enough disk space to complete download.");
}

TEST_F(MessagesTest, OfOtherNumbersSayTheNumber) {
  EXPECT_EQ(Said(50), "Whoops (50)");
  EXPECT_EQ(Said(1000000), "Whoops (1000000)");
  EXPECT_EQ(Said(0xFFFFFFFF), "Whoops (-1)");
}

TEST_F(MessagesTest, OfTheSizeHaveSixtyFourBits) {
  iVRXClient_MessageSize(transfer_.get(), 0);
  iVRXClient_MessageSize(transfer_.get(), 4294967296);
  iVRXClient_MessageSize(transfer_.get(), 21474836480);
  iVRXClient_MessageSize(transfer_.get(), kSizeUnknown);
  EXPECT_EQ(heard_.Take(),
            Lines({"message File size is 0 bytes.", "message File size is 4294967296 bytes.",
                   "message File size is 21474836480 bytes.", "message File size is 4294967295 bytes."}));
}

TEST_F(MessagesTest, TakeArgumentsForData) {
  EXPECT_EQ(Said(19, "%n%s%d"), "Logging in as \"%n%s%d\"...");
  iVRXClient_MessageText(transfer_.get(), "%s", "100% %n of %s");
  EXPECT_EQ(heard_.Take(), Lines({"message 100% %n of %s"}));
  EXPECT_EQ(VRXClient_AgentMessage(transfer_.get(), "%n%s"), Error_None);
  EXPECT_EQ(heard_.Take(), Lines({"message %n%s"}));
  EXPECT_EQ(Log(), "Logging in as \"%n%s%d\"...\r\n100% %n of %s\r\n%n%s\r\n");
}

TEST_F(MessagesTest, AreCutAt4095Bytes_ButAnAgentsAreNot) {
  const std::string name(5000, 'x');
  EXPECT_EQ(Said(39, name.c_str()), "Can not find file to upload \"" + std::string(4095 - 29, 'x'));
  EXPECT_EQ(VRXClient_AgentMessage(transfer_.get(), name.c_str()), Error_None);
  EXPECT_EQ(heard_.Take(), Lines({"message " + name}));
  EXPECT_EQ(Log(), "Can not find file to upload \"" + std::string(4095 - 29, 'x') + "\r\n" + name + "\r\n");
}

TEST_F(MessagesTest, OfAgentsNeedATransferAndAText) {
  EXPECT_EQ(VRXClient_AgentMessage(nullptr, "x"), Error_Invalid);
  EXPECT_EQ(VRXClient_AgentMessage(transfer_.get(), nullptr), Error_Invalid);
  EXPECT_EQ(heard_.Take(), Lines());
}

TEST_F(MessagesTest, GoThroughBothTables) {
  Heard heard64;
  VRXClient_SetMethods64(transfer_.get(), heard64.userData(), &kHearing64);
  heard64.Take();
  iVRXClient_Message(transfer_.get(), 18);
  EXPECT_EQ(heard_.Take(), Lines({"message Connected."}));
  EXPECT_EQ(heard64.Take(), Lines({"64 message Connected."}));
}

TEST_F(MessagesTest, NeedNoCallback) {
  constexpr VRXClientMethods kNone = {};
  constexpr VRXClientMethods64 kNone64 = {};
  VRXClient_SetMethods(transfer_.get(), 0, &kNone);
  VRXClient_SetMethods64(transfer_.get(), 0, &kNone64);
  iVRXClient_Message(transfer_.get(), 18);
  EXPECT_EQ(Info(), "Connected.\r\n");
  iVRXClient_Message(transfer_.get(), 1);
  VRXClient_SetMethods(transfer_.get(), 0, nullptr);
  VRXClient_SetMethods64(transfer_.get(), 0, nullptr);
  EXPECT_EQ(Info(), "Connected.\r\nDownload stopped.\r\n");
  iVRXClient_Message(transfer_.get(), 2);
  EXPECT_EQ(Log(), "Connected.\r\nDownload stopped.\r\nSystem problem. Download postponed.\r\n");
}

// ---- the log -------------------------------------------------------------------------------------

TEST_F(MessagesTest, MakeALogFileInTheCacheDirectory) {
  EXPECT_EQ(LogPath(), "");
  transfer_->isChanged = false;
  iVRXClient_Message(transfer_.get(), 18);
  const std::string beginning = CacheDirectory() + "/info";
  ASSERT_EQ(LogPath().substr(0, beginning.size()), beginning);
  EXPECT_EQ(LogPath().find_first_not_of("0123456789", beginning.size()), std::string::npos);
  EXPECT_TRUE(transfer_->isChanged);
  EXPECT_EQ(Log(), "Connected.\r\n");
}

TEST_F(MessagesTest, AreAddedToTheLog) {
  iVRXClient_Message(transfer_.get(), 18);
  const std::string path = LogPath();
  transfer_->isChanged = false;
  iVRXClient_Message(transfer_.get(), 26);
  EXPECT_EQ(LogPath(), path);
  EXPECT_FALSE(transfer_->isChanged);
  EXPECT_EQ(Log(), "Connected.\r\nMirror sites located. \r\n");
}

TEST_F(MessagesTest, AreNoLinesOfTheLog_WhenTheyAreEmpty) {
  VRXClient_AgentMessage(transfer_.get(), "");
  EXPECT_EQ(heard_.Take(), Lines({"message "}));
  EXPECT_EQ(LogPath(), "");
  iVRXClient_Message(transfer_.get(), 18);
  EXPECT_EQ(Info(), "Connected.\r\n");
  heard_.Take();
  VRXClient_AgentMessage(transfer_.get(), "");
  EXPECT_EQ(heard_.Take(), Lines({"message "})) << "what the log gave is still true";
  EXPECT_EQ(Log(), "Connected.\r\n");
}

TEST_F(MessagesTest, MakeTheLogFileAnew_WhenItIsGone) {
  iVRXClient_Message(transfer_.get(), 18);
  const std::string path = LogPath();
  ASSERT_EQ(File_Unlink(path.c_str()), Error_None);
  iVRXClient_Message(transfer_.get(), 1);
  EXPECT_EQ(LogPath(), path);
  EXPECT_EQ(Log(), "Download stopped.\r\n");
}

TEST_F(MessagesTest, ComeThrough_WhenTheLogCannotBeWritten) {
  iVRXClient_Message(transfer_.get(), 18);
  ASSERT_EQ(File_Unlink(LogPath().c_str()), Error_None);
  ASSERT_EQ(Directory_New(LogPath().c_str()), Error_None);
  EXPECT_EQ(Said(1), "Download stopped.");
  EXPECT_EQ(Info(), "status -3");
  ASSERT_EQ(Directory_Delete(LogPath().c_str()), Error_None);
}

TEST_F(MessagesTest, HaveALogForEachTransfer) {
  Transfer other;
  Download("ftp://a/other", directory_.Name("other"), &other);
  iVRXClient_Message(transfer_.get(), 18);
  iVRXClient_Message(other.get(), 1);
  EXPECT_NE(LogPath(), other->data.logPath);
  EXPECT_EQ(Log(), "Connected.\r\n");
  EXPECT_EQ(ReadFile(other->data.logPath), "Download stopped.\r\n");
  other.Delete();
}

TEST_F(MessagesTest, NeverGoIntoAFileThatARecordNames) {
  directory_.Write("victim", "precious");
  snprintf(transfer_->data.logPath, kPathSize, "%s", directory_.Name("victim").c_str());
  EXPECT_EQ(Info(), "status -3");
  iVRXClient_Message(transfer_.get(), 18);
  EXPECT_EQ(directory_.Read("victim"), "precious");
  EXPECT_EQ(Log(), "Connected.\r\n");
}

// ---- a log that waits ----------------------------------------------------------------------------

TEST_F(MessagesTest, WaitInMemory_WhenTheLogIsDelayed) {
  EXPECT_EQ(VRXClient_DelayLog(transfer_.get(), 1), Error_None);
  transfer_->isChanged = false;
  EXPECT_EQ(Said(18), "Connected.");
  EXPECT_EQ(Info(), "Connected.\r\n");
  heard_.Take();
  iVRXClient_Message(transfer_.get(), 1);
  EXPECT_EQ(heard_.Take(), Lines({"log", "message Download stopped."}));
  iVRXClient_AppendToLog(transfer_.get(), "220-Welcome");
  EXPECT_EQ(Info(), "Connected.\r\nDownload stopped.\r\n220-Welcome\r\n");
  EXPECT_EQ(LogPath(), "");
  EXPECT_FALSE(transfer_->isChanged);
}

TEST_F(MessagesTest, AreInTheFileWithTheRecord) {
  EXPECT_EQ(VRXClient_DelayLog(transfer_.get(), 1), Error_None);
  iVRXClient_Message(transfer_.get(), 18);
  const std::string record = WriteTransfer();
  ASSERT_NE(LogPath(), "");
  EXPECT_NE(record.find(LogPath()), std::string::npos);
  EXPECT_EQ(Log(), "Connected.\r\n");
  iVRXClient_Message(transfer_.get(), 1);
  EXPECT_EQ(Log(), "Connected.\r\nDownload stopped.\r\n");
  EXPECT_EQ(Info(), "Connected.\r\nDownload stopped.\r\n");
}

TEST_F(MessagesTest, HaveNoFile_WhenNothingWasSaidBeforeTheRecord) {
  EXPECT_EQ(VRXClient_DelayLog(transfer_.get(), 1), Error_None);
  WriteTransfer();
  EXPECT_EQ(LogPath(), "");
  iVRXClient_Message(transfer_.get(), 18);
  EXPECT_EQ(Log(), "Connected.\r\n");
}

TEST_F(MessagesTest, AreWrittenDown_WhenTheDelayEnds) {
  EXPECT_EQ(VRXClient_DelayLog(transfer_.get(), 1), Error_None);
  iVRXClient_Message(transfer_.get(), 18);
  EXPECT_EQ(VRXClient_DelayLog(transfer_.get(), 0), Error_None);
  EXPECT_EQ(Log(), "Connected.\r\n");
  EXPECT_EQ(VRXClient_DelayLog(transfer_.get(), 1), Error_None);
  iVRXClient_Message(transfer_.get(), 1);
  EXPECT_EQ(Log(), "Connected.\r\nDownload stopped.\r\n") << "it has a file already";
}

TEST_F(MessagesTest, WaitUpTo16KiB) {
  EXPECT_EQ(VRXClient_DelayLog(transfer_.get(), 1), Error_None);
  const std::string line(16 * 1024 - 2, 'x');
  EXPECT_EQ(VRXClient_AgentMessage(transfer_.get(), line.c_str()), Error_None);
  EXPECT_EQ(LogPath(), "");
  iVRXClient_Message(transfer_.get(), 18);
  EXPECT_EQ(Log(), line + "\r\nConnected.\r\n");
}

TEST_F(MessagesTest, DoNotWait_WhenOneIsLongerThan16KiB) {
  EXPECT_EQ(VRXClient_DelayLog(transfer_.get(), 1), Error_None);
  const std::string line(16 * 1024 - 1, 'x');
  EXPECT_EQ(VRXClient_AgentMessage(transfer_.get(), line.c_str()), Error_None);
  EXPECT_EQ(Log(), line + "\r\n");
}

TEST_F(MessagesTest, DelayTheLogOfATransferOnly) {
  EXPECT_EQ(VRXClient_DelayLog(nullptr, 1), Error_Invalid);
}

TEST_F(MessagesTest, ThatWaitComeThrough_WhicheverAllocationFails) {
  FailEveryAllocation([&] {
    EXPECT_EQ(VRXClient_DelayLog(transfer_.get(), 1), Error_None);
    EXPECT_EQ(Said(18), "Connected.");
    EXPECT_EQ(Said(1), "Download stopped.");
    Memory_Delete(transfer_->waitingLog);
    transfer_->waitingLog = nullptr;
    transfer_->waitingLogSize = 0;
  });
}

// ---- GetInfo -------------------------------------------------------------------------------------

TEST_F(MessagesTest, AreGivenAsOneText) {
  EXPECT_EQ(Info(), "status -3");
  iVRXClient_Message(transfer_.get(), 18);
  iVRXClient_Message(transfer_.get(), 1);
  EXPECT_EQ(Info(), "Connected.\r\nDownload stopped.\r\n");
  const char* first = nullptr;
  const char* second = nullptr;
  VRXClient_GetInfo(transfer_.get(), &first);
  VRXClient_GetInfo(transfer_.get(), &second);
  EXPECT_EQ(first, second) << "kept until the next message";
}

TEST_F(MessagesTest, TellThatTheTextIsStale_OnlyWhenOneWasGiven) {
  EXPECT_EQ(Said(18), "Connected.");
  Info();
  Heard heard64;
  VRXClient_SetMethods64(transfer_.get(), heard64.userData(), &kHearing64);
  heard64.Take();
  iVRXClient_Message(transfer_.get(), 1);
  EXPECT_EQ(heard_.Take(), Lines({"log", "message Download stopped."}));
  EXPECT_EQ(heard64.Take(), Lines({"64 log", "64 message Download stopped."}));
  EXPECT_EQ(transfer_->logText, nullptr);
  iVRXClient_Message(transfer_.get(), 2);
  EXPECT_EQ(heard_.Take(), Lines({"message System problem. Download postponed."}));
  EXPECT_EQ(Info(), "Connected.\r\nDownload stopped.\r\nSystem problem. Download postponed.\r\n");
}

TEST_F(MessagesTest, HaveLinesOfTheLogAlone) {
  iVRXClient_Message(transfer_.get(), 18);
  EXPECT_EQ(Info(), "Connected.\r\n");
  heard_.Take();
  iVRXClient_AppendToLog(transfer_.get(), "220-Welcome");
  iVRXClient_AppendToLog(transfer_.get(), "");
  EXPECT_EQ(heard_.Take(), Lines());
  EXPECT_EQ(Info(), "Connected.\r\n220-Welcome\r\n\r\n");
  iVRXClient_Message(transfer_.get(), 1);
  EXPECT_EQ(heard_.Take(), Lines({"log", "message Download stopped."}));
}

TEST_F(MessagesTest, AreNotGiven_WithoutALogFile) {
  iVRXClient_Message(transfer_.get(), 18);
  ASSERT_EQ(File_Unlink(LogPath().c_str()), Error_None);
  EXPECT_EQ(Info(), "status -3");
  File* file = nullptr;
  ASSERT_EQ(File_Open(LogPath().c_str(), FileMode_Write, &file), Error_None);
  File_Close(file);
  EXPECT_EQ(Info(), "status -3") << "an empty one";
}

TEST_F(MessagesTest, AreNotGivenToNobody) {
  const char* text = "untouched";
  EXPECT_EQ(VRXClient_GetInfo(nullptr, &text), Error_Invalid);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(VRXClient_GetInfo(transfer_.get(), nullptr), Error_Invalid);
}

TEST_F(MessagesTest, AreNotGiven_WhenMemoryRunsOut) {
  iVRXClient_Message(transfer_.get(), 18);
  int succeeded = 0;
  FailEveryAllocation([&] {
    const char* text = nullptr;
    const ErrorCode status = VRXClient_GetInfo(transfer_.get(), &text);
    if (status == Error_None) {
      ++succeeded;
      EXPECT_STREQ(text, "Connected.\r\n");
      Memory_Delete(transfer_->logText);
      transfer_->logText = nullptr;
    } else {
      EXPECT_TRUE(status == Error_Memory || status == Error_NotFound) << status;
    }
  });
  EXPECT_EQ(succeeded, 1);
}

TEST_F(MessagesTest, ComeThrough_WhicheverAllocationFails) {
  FailEveryAllocation([&] { EXPECT_EQ(Said(18), "Connected."); });
}

}  // namespace
