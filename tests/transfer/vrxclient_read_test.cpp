// A transfer that is made of its record: what it takes over, and what it makes of files that are gone, or not
// its own.
#include <gtest/gtest.h>

#include <string>

#include "os/core/memory_testing.h"
#include "qz/directory.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/record_bytes.h"
#include "tests/transfer/vrxclient_fixture.h"
#include "tests/traverse/traverse_fixture.h"

namespace {

using namespace transfer_record;

class TransferReadTest : public TransferTest {
 protected:
  // A record of version 8 of a download with the size 10 that is in this state.
  static std::string Record(uint32_t state, const std::string& dataPath, bool isUpload = false,
                            const std::string& logPath = "", const std::string& localPath = "/p") {
    return Bytes(kTag + "08 00 00 00 " + kCreated + "0A 00 00 00 00 00 00 00 01 00 00 00 00 " +
                 (isUpload ? kUploadFlags : kFlags)) +
           Number(state) + Bytes("3A 00 00 00 " + kAgents + kServers + kSourceTime + kLogin) +
           Text(dataPath) + Text(logPath) + Bytes("01 00 00 00 00") + Text(localPath) + Bytes(kElapsed);
  }
  // The names that the library gives to data files.
  static std::string Own(int number) { return CacheDirectory() + "/vrxData" + std::to_string(number); }
  static void MakeOwn(int number, const std::string& bytes) {
    File* file = nullptr;
    ASSERT_EQ(File_Open(Own(number).c_str(), FileMode_Write, &file), Error_None);
    EXPECT_EQ(File_Write(file, static_cast<uint32_t>(bytes.size()), bytes.data()), bytes.size());
    EXPECT_EQ(File_Close(file), Error_None);
  }
  void TearDown() override {
    for (int number = 71; number <= 74; ++number) File_Unlink(Own(number).c_str());
    Directory_Delete(Own(75).c_str());
    TransferTest::TearDown();
  }
  static std::string Number(uint32_t number) {
    std::string bytes;
    for (int i = 0; i < 4; ++i) bytes += static_cast<char>(number >> 8 * i & 0xFF);
    return bytes;
  }
  static std::string Text(const std::string& text) {
    return Number(static_cast<uint32_t>(text.size()) + 1) + text + '\0';
  }
  ErrorCode Read(const std::string& bytes, Transfer* transfer) {
    Context context(Hex(bytes));
    return VRXClient_Read(context.traverse(), heard_.userData(), &kHearing, transfer->out());
  }
  void ReadWell(const std::string& bytes, Transfer* transfer) {
    ASSERT_EQ(Read(bytes, transfer), Error_None);
    ASSERT_NE(transfer->get(), nullptr);
  }
  static std::string DataPath(const Transfer& transfer) {
    return TextOf(VRXClient_GetDataFilePath, transfer.get());
  }
};

TEST_F(TransferReadTest, GivesATransferInTheList) {
  Transfer transfer;
  ReadWell(Record(0, ""), &transfer);
  EXPECT_EQ(iVRXClientList_Count(), 1u);
  EXPECT_EQ(TextOf(VRXClient_GetSourceURL, transfer.get()), "ftp://a/x");
  EXPECT_EQ(transfer->entry, transfer->data.servers.first);
  EXPECT_EQ(TextOf(VRXClient_GetLocalFilePath, transfer.get()), "/p");
  EXPECT_EQ(transfer->dataFileSize, kSizeUnknown);
  EXPECT_EQ(transfer->remaining, kSizeUnknown);
  EXPECT_EQ(transfer->connectionKind, -1);
  EXPECT_EQ(VRXClient_GetError(transfer.get()), 0u);
  EXPECT_FALSE(transfer->isChanged);
  Transfer another;
  EXPECT_EQ(VRXClient_NewDownload("ftp://b/x", directory_.Name("f").c_str(), 0, nullptr, another.out()),
            Error_Exists)
      << "its second server counts as well";
}

TEST_F(TransferReadTest, ReportsSizeProgressAndTime) {
  MakeOwn(71, "abcde");
  Transfer transfer;
  ReadWell(Record(0, Own(71)), &transfer);
  EXPECT_EQ(heard_.Take(), Lines({"size 10", "progress 5 of 10", "time 4294967295"}));
  Transfer finished;
  ReadWell(Record(13, ""), &finished);
  EXPECT_EQ(heard_.Take(), Lines({"size 10", "progress 0 of 10", "time 1500"}));
}

TEST_F(TransferReadTest, ResumesWhereTheDataFileEnds) {
  MakeOwn(71, "abcde");
  Transfer transfer;
  ReadWell(Record(11, Own(71)), &transfer);
  EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u);
  EXPECT_EQ(DataPath(transfer), Own(71));
  EXPECT_EQ(transfer->dataFileSize, 5u);
  EXPECT_EQ(transfer->offset, 5u);
  EXPECT_FALSE(transfer->isChanged);
}

TEST_F(TransferReadTest, TakesTheDataFileSizeOfAnUploadWithoutAnOffset) {
  MakeOwn(71, "abcde");
  Transfer transfer;
  ReadWell(Record(11, Own(71), true), &transfer);
  EXPECT_EQ(transfer->dataFileSize, 5u);
  EXPECT_EQ(transfer->offset, 0u);
  EXPECT_EQ(VRXClient_GetSize(transfer.get()), 5u);
}

TEST_F(TransferReadTest, BeginsAgain_WhenTheDataFileIsGoneOrEmpty) {
  MakeOwn(74, "");
  ASSERT_EQ(Directory_New(Own(75).c_str()), Error_None);
  for (const bool isUpload : {false, true}) {
    for (const int name : {73, 74, 75}) {
      for (const uint32_t state : {0u, 11u, 12u}) {
        Transfer transfer;
        ReadWell(Record(state, Own(name), isUpload), &transfer);
        EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u) << name << " " << state;
        EXPECT_EQ(DataPath(transfer), "") << name;
        EXPECT_EQ(transfer->dataFileSize, 0u);
        EXPECT_EQ(transfer->offset, 0u);
        EXPECT_TRUE(transfer->isChanged);
      }
    }
  }
  EXPECT_EQ(File_Exists(Own(74).c_str(), nullptr), 1);
}

TEST_F(TransferReadTest, KeepsTheStatesOfCompleteData) {
  MakeOwn(71, "abcdefghij");
  for (const uint32_t state : {12u, 13u, 14u}) {
    Transfer transfer;
    ReadWell(Record(state, Own(71)), &transfer);
    EXPECT_EQ(VRXClient_GetState(transfer.get()), state);
    EXPECT_EQ(VRXClient_IsCompleted(transfer.get()), state == 14 ? 1 : 0);
  }
  for (uint32_t state = 0; state < 12; ++state) {
    Transfer transfer;
    ReadWell(Record(state, Own(71)), &transfer);
    EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u) << state;
  }
  Transfer agents;
  ReadWell(Record(13, Own(73)), &agents);
  EXPECT_EQ(VRXClient_GetState(agents.get()), 13u) << "the file is in its place by then";
}

TEST_F(TransferReadTest, ForgetsADataFileThatTheLibraryDidNotMake) {
  directory_.Write("victim", "precious");
  for (const bool isUpload : {false, true}) {
    for (const uint32_t state : {0u, 11u, 12u}) {
      Transfer transfer;
      ReadWell(Record(state, directory_.Name("victim"), isUpload), &transfer);
      EXPECT_EQ(VRXClient_GetState(transfer.get()), 0u) << isUpload << state;
      EXPECT_EQ(DataPath(transfer), "") << isUpload << state;
      EXPECT_NE(transfer->dataFileSize, 8u);
      EXPECT_EQ(transfer->offset, 0u);
      EXPECT_TRUE(transfer->isChanged);
    }
  }
  EXPECT_EQ(directory_.Read("victim"), "precious");
}

TEST_F(TransferReadTest, KeepsAPartBesideTheTargetOfADownload) {
  directory_.Write("any.part", "abcde");
  const std::string part = directory_.Name("any.part");
  const std::string target = directory_.Name("target");
  {
    Transfer download;
    ReadWell(Record(11, part, false, "", target), &download);
    EXPECT_EQ(DataPath(download), part);
    EXPECT_EQ(download->offset, 5u);
  }
  Transfer upload;
  ReadWell(Record(11, part, true, "", target), &upload);
  EXPECT_EQ(DataPath(upload), "");
  EXPECT_EQ(directory_.Read("any.part"), "abcde");
}

TEST_F(TransferReadTest, ForgetsADataFileThatAnotherTransferHas) {
  MakeOwn(72, "abcde");
  Transfer first;
  ReadWell(Record(11, Own(72)), &first);
  {
    Transfer second;
    ReadWell(Record(11, Own(72)), &second);
    EXPECT_EQ(DataPath(second), "");
    EXPECT_EQ(second->offset, 0u);
  }
  EXPECT_EQ(DataPath(first), Own(72));
  first.Close();
  Transfer third;
  ReadWell(Record(11, Own(72)), &third);
  EXPECT_EQ(DataPath(third), Own(72));
}

TEST_F(TransferReadTest, BeginsAgain_WhenADownloadHasNoDataFileToMove) {
  Transfer download;
  ReadWell(Record(12, ""), &download);
  EXPECT_EQ(VRXClient_GetState(download.get()), 0u);
  Transfer upload;
  ReadWell(Record(12, "", true), &upload);
  EXPECT_EQ(VRXClient_GetState(upload.get()), 12u) << "all of it is sent, and the copy removed";
}

TEST_F(TransferReadTest, MakesACompletedTransferThatDoesNotKeepItsURL) {
  Transfer completed;
  ReadWell(Record(14, ""), &completed);
  Transfer another;
  EXPECT_EQ(VRXClient_NewDownload("ftp://a/x", directory_.Name("f").c_str(), 0, nullptr, another.out()),
            Error_None);
}

TEST_F(TransferReadTest, GivesNothing_ForADamagedRecord) {
  Transfer transfer;
  EXPECT_EQ(Read("vrxs", &transfer), Error_NotFound);
  EXPECT_EQ(Read(Record(0, "").substr(0, 100), &transfer), Error_Ended);
  EXPECT_EQ(transfer.get(), nullptr);
  EXPECT_EQ(iVRXClientList_Count(), 0u);
  EXPECT_EQ(heard_.Take(), Lines());
}

TEST_F(TransferReadTest, NeedsATraverseAndAPlaceForTheTransfer) {
  Context context;
  VRXClient* client = reinterpret_cast<VRXClient*>(1);
  EXPECT_EQ(VRXClient_Read(nullptr, 0, nullptr, &client), Error_Invalid);
  EXPECT_EQ(client, nullptr);
  EXPECT_EQ(VRXClient_Read(context.traverse(), 0, nullptr, nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_Write(context.traverse(), nullptr), Error_Invalid);
  Transfer transfer;
  ReadWell(Record(0, ""), &transfer);
  EXPECT_EQ(VRXClient_Write(nullptr, transfer.get()), Error_Invalid);
}

TEST_F(TransferReadTest, GivesTheErrorThatWasSet) {
  Context context(Hex(Record(0, "")));
  Traverse_SetError(context.traverse(), Error_Cancel);
  Transfer transfer;
  EXPECT_EQ(VRXClient_Read(context.traverse(), 0, nullptr, transfer.out()), Error_Cancel);
  Download("ftp://a/x", &transfer);
  EXPECT_EQ(VRXClient_Write(context.traverse(), transfer.get()), Error_Cancel);
}

TEST_F(TransferReadTest, ReadsWhatIsWritten) {
  Transfer transfer;
  ReadWell(Record(0, ""), &transfer);
  Context context;
  EXPECT_EQ(VRXClient_Write(context.traverse(), transfer.get()), Error_None);
  EXPECT_EQ(context.bytes().written(), Record(0, ""));
}

TEST_F(TransferReadTest, WritesWithoutPasswords_WhenAskedTo) {
  Transfer transfer;
  ReadWell(Record(0, ""), &transfer);
  transfer->isChanged = false;
  EXPECT_EQ(VRXClient_SetSavePassword(transfer.get(), 0), Error_None);
  EXPECT_TRUE(transfer->isChanged);
  Context without;
  EXPECT_EQ(VRXClient_Write(without.traverse(), transfer.get()), Error_None);
  EXPECT_EQ(without.bytes().written().find("pw"), std::string::npos);
  EXPECT_NE(without.bytes().written().find("me"), std::string::npos);
  EXPECT_EQ(VRXClient_SetSavePassword(transfer.get(), 1), Error_None);
  Context with;
  EXPECT_EQ(VRXClient_Write(with.traverse(), transfer.get()), Error_None);
  EXPECT_EQ(with.bytes().written(), Record(0, ""));
  EXPECT_EQ(VRXClient_SetSavePassword(nullptr, 1), Error_Invalid);
}

TEST_F(TransferReadTest, WritesIntoALogOfTheLibraryAlone) {
  directory_.Write("victim", "precious");
  Transfer hostile;
  ReadWell(Record(0, "", false, directory_.Name("victim")), &hostile);
  const char* text = nullptr;
  EXPECT_EQ(VRXClient_GetInfo(hostile.get(), &text), Error_NotFound);
  iVRXClient_Message(hostile.get(), 18);
  hostile.Delete();
  EXPECT_EQ(directory_.Read("victim"), "precious");

  const std::string own = CacheDirectory() + "/info77";
  Transfer transfer;
  ReadWell(Record(0, "", false, own), &transfer);
  iVRXClient_Message(transfer.get(), 18);
  EXPECT_EQ(VRXClient_GetInfo(transfer.get(), &text), Error_None);
  EXPECT_STREQ(text, "Connected.\r\n");
  EXPECT_EQ(File_Exists(own.c_str(), nullptr), 1);
  transfer.Delete();
  EXPECT_EQ(File_Exists(own.c_str(), nullptr), 0);
}

TEST_F(TransferReadTest, LeavesNothingBehind_WhicheverAllocationFails) {
  int succeeded = 0;
  const std::string record = Record(0, "");
  FailEveryAllocation([&] {
    TestStream stream(record);
    Traverse* traverse = Traverse_New(0, stream.stream());
    if (traverse == nullptr) return;
    VRXClient* client = nullptr;
    const ErrorCode status = VRXClient_Read(traverse, 0, nullptr, &client);
    Traverse_Delete(traverse);
    if (status == Error_None) {
      ++succeeded;
      VRXClient_Close(client);
    } else {
      EXPECT_EQ(status, Error_Memory);
      EXPECT_EQ(client, nullptr);
    }
    EXPECT_EQ(iVRXClientList_Count(), 0u);
  });
  EXPECT_EQ(succeeded, 1);
}

}  // namespace
