// The end of a download: space on the disk, the move to its place.
#include <gtest/gtest.h>

#include <string>

#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

// A transfer whose data is complete, as a record says after a program's end.
class Finish : public ConversationTest {
 protected:
  void Complete(Conversation* transfer, const std::string& bytes, const std::string& name = "target") {
    transfer->Download("http://a.invalid/f", name);
    transfer->Hold(bytes, bytes.size());
    transfer->get()->data.state = TransferState::Finish;
  }
  // The same with the data file in the directory of the target.
  void CompleteBeside(Conversation* transfer, const std::string& name = "target") {
    Complete(transfer, "hello", name);
    Files().Write("data.part", "hello");
    iVRXClient_SetDataPath(transfer->get(), Files().Name("data.part").c_str());
  }
};

TEST_F(Finish, MovesTheDataFile) {
  Conversation transfer(this);
  Complete(&transfer, "hello");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Moving file to \"{files}/target\"..."}));
  EXPECT_EQ(transfer.Steps(), Lines({"12: 1", "13: 5"}));
  EXPECT_EQ(Files().Read("target"), "hello");
  EXPECT_EQ(DataFiles(), Lines());
}

TEST_F(Finish, NumbersTheNameOfAFileThatStandsThere) {
  Files().Write("target.txt", "old");
  Conversation transfer(this);
  Complete(&transfer, "hello", "target.txt");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Moving file to \"{files}/target(0).txt\"..."}));
  EXPECT_EQ(transfer.LocalPath(), "{files}/target(0).txt");
  EXPECT_EQ(Files().Read("target.txt"), "old");
  EXPECT_EQ(Files().Read("target(0).txt"), "hello");
}

// The dot of a directory is no beginning of an extension: there is no directory "my(0).dir".
TEST_F(Finish, NumbersTheNameAlone_WhenADirectoryHasADot) {
  for (const bool isCopied : {false, true}) {
    SCOPED_TRACE(isCopied);
    const std::string directory = isCopied ? "other.dir" : "my.dir";
    Files().MakeDirectory(directory);
    Files().Write(directory + "/target", "old");
    Conversation transfer(this);
    Complete(&transfer, "hello", directory + "/target");
    iVRXClient_SetCopiesAlways(isCopied);
    EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
    EXPECT_EQ(transfer.LocalPath(), "{files}/" + directory + "/target(0)");
    EXPECT_EQ(Files().Read(directory + "/target"), "old");
    EXPECT_EQ(Files().Read(directory + "/target(0)"), "hello");
  }
}

// While the copy runs another program takes its name.
TEST_F(Finish, NumbersTheNameOfACopyAlone_WhenItIsTakenMeanwhile) {
  Files().MakeDirectory("my.dir");
  Conversation transfer(this);
  Complete(&transfer, "hello", "my.dir/target");
  iVRXClient_SetCopiesAlways(true);
  EXPECT_LE(transfer.Step(), VRXClientResult_Changed);
  Files().Write("my.dir/target", "of another program");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("my.dir/target"), "of another program");
  EXPECT_EQ(Files().Read("my.dir/target(0)"), "hello");
}

TEST_F(Finish, ReplacesAFile_WhenTheApplicationSaysSo) {
  Files().Write("target", "old");
  Conversation transfer(this);
  Complete(&transfer, "hello");
  EXPECT_EQ(VRXClient_SetOverwrite(transfer.get(), 1), Error_None);
  EXPECT_EQ(transfer.Step(), VRXClientResult_Changed);
  EXPECT_EQ(Files().Read("target"), "old");
  EXPECT_EQ(transfer.Step(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "hello");
  EXPECT_EQ(Files().List(), Lines({"target"}));
  EXPECT_EQ(transfer.LocalPath(), "{files}/target");
}

TEST_F(Finish, PutsTheFileIntoADirectory) {
  Conversation transfer(this);
  Complete(&transfer, "hello", "folder");
  Files().MakeDirectory("folder");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Moving file to \"{files}/folder/f\"..."}));
  EXPECT_EQ(transfer.LocalPath(), "{files}/folder/f");
  EXPECT_EQ(Files().Read("folder/f"), "hello");
}

TEST_F(Finish, FailsWithoutTheDestinationsDirectory_AndSucceedsOnceItIsThere) {
  Files().MakeDirectory("folder");
  Conversation transfer(this);
  Complete(&transfer, "hello", "folder/target");
  std::filesystem::remove(Files().SystemName("folder"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Can't move file to \"{files}/folder\" because it doesn't exist..."}));
  EXPECT_EQ(transfer.Reason(), 22u);
  EXPECT_EQ(transfer.State(), TransferState::Finish);
  Files().MakeDirectory("folder");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Reason(), 0u);
  EXPECT_EQ(Files().Read("folder/target"), "hello");
}

TEST_F(Finish, FailsWithoutSpace_AndKeepsTheData) {
  Conversation transfer(this);
  Complete(&transfer, "hello");
  iVRXClient_SetFreeBytes([](const char*, uint64_t* freeBytes) {
    *freeBytes = 4;
    return ErrorCode{Error_None};
  });
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines({"Not enough disk space to complete download."}));
  EXPECT_EQ(transfer.Reason(), 20u);
  EXPECT_EQ(transfer.State(), TransferState::Finish);
  EXPECT_EQ(DataFiles(), Lines({"vrxData77"}));
  iVRXClient_SetFreeBytes(nullptr);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "hello");
}

TEST_F(Finish, AsksForNoSpace_WhenTheDataLieBesideTheDestination) {
  Conversation transfer(this);
  Complete(&transfer, "hello");
  Files().Write("target.part", "hello");
  iVRXClient_SetDataPath(transfer.get(), Files().Name("target.part").c_str());
  iVRXClient_SetFreeBytes([](const char*, uint64_t* freeBytes) {
    *freeBytes = 0;
    return ErrorCode{Error_None};
  });
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().List(), Lines({"target"}));
}

TEST_F(Finish, NumbersTheName_WhenAFileStandsBesideTheData) {
  Conversation transfer(this);
  CompleteBeside(&transfer, "target.txt");
  Files().Write("target.txt", "old");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Moving file to \"{files}/target(0).txt\"..."}));
  EXPECT_EQ(transfer.LocalPath(), "{files}/target(0).txt");
  EXPECT_EQ(Files().Read("target.txt"), "old");
  EXPECT_EQ(Files().Read("target(0).txt"), "hello");
  EXPECT_EQ(Files().List(), Lines({"target(0).txt", "target.txt"}));
}

TEST_F(Finish, PutsTheFileIntoADirectory_ThatStandsBesideTheData) {
  Conversation transfer(this);
  CompleteBeside(&transfer, "folder");
  Files().MakeDirectory("folder");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(), Lines({"Moving file to \"{files}/folder/f\"..."}));
  EXPECT_EQ(transfer.LocalPath(), "{files}/folder/f");
  EXPECT_EQ(Files().Read("folder/f"), "hello");
}

TEST_F(Finish, ReplacesAFileBesideTheData_WhenTheApplicationSaysSo) {
  Conversation transfer(this);
  CompleteBeside(&transfer);
  Files().Write("target", "old");
  VRXClient_SetOverwrite(transfer.get(), 1);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.LocalPath(), "{files}/target");
  EXPECT_EQ(Files().Read("target"), "hello");
  EXPECT_EQ(Files().List(), Lines({"target"}));
}

// An earlier attempt was to replace a file, which is gone.
TEST_F(Finish, ReplacesNothingBesideTheData_WhenItIsToldNotToReplaceAgain) {
  Conversation transfer(this);
  CompleteBeside(&transfer);
  snprintf(transfer.get()->replacedPath, kPathSize, "%s", Files().Name("target").c_str());
  EXPECT_EQ(transfer.Step(), VRXClientResult_Changed);
  EXPECT_STREQ(transfer.get()->replacedPath, "");
  EXPECT_EQ(Files().Read("target"), "hello");
}

// A data file may bear the name that the file is to get.
TEST_F(Finish, NumbersTheName_WhenTheDataFileHasIt) {
  Conversation transfer(this);
  Complete(&transfer, "hello");
  Files().Write("target", "hello");
  iVRXClient_SetDataPath(transfer.get(), Files().Name("target").c_str());
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.LocalPath(), "{files}/target(0)");
  EXPECT_EQ(Files().List(), Lines({"target(0)"}));
}

TEST_F(Finish, FailsBesideTheData_WhenTheNameIsTooLong) {
  Conversation transfer(this);
  const std::string name(300, 'n');
  CompleteBeside(&transfer, name);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines({"Can't move file to \"{files}/" + name + "\"..."}));
  EXPECT_EQ(transfer.State(), TransferState::Finish);
  EXPECT_EQ(Files().List(), Lines({"data.part"}));
}

TEST_F(Finish, CopiesToAnotherVolume) {
  iVRXClient_SetCopiesAlways(true);
  Conversation transfer(this);
  Complete(&transfer, "hello");
  EXPECT_EQ(transfer.Step(), VRXClientResult_Changed);
  EXPECT_EQ(Files().List(), Lines({"target.part"}));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Moving file to \"{files}/target\"...", "Completed copy to \"{files}/target\""}));
  EXPECT_EQ(Files().List(), Lines({"target"}));
  EXPECT_EQ(Files().Read("target"), "hello");
  EXPECT_EQ(DataFiles(), Lines());
}

TEST_F(Finish, NumbersTheNameOfTheCopy_WhenItIsTaken) {
  iVRXClient_SetCopiesAlways(true);
  Files().Write("target.part", "somebody's");
  Conversation transfer(this);
  Complete(&transfer, "hello");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().List(), Lines({"target", "target.part"}));
  EXPECT_EQ(Files().Read("target.part"), "somebody's");
}

TEST_F(Finish, RemovesWhatAnInterruptedCopyLeft) {
  iVRXClient_SetCopiesAlways(true);
  Files().Write("target(0).part", "hel");
  Files().Write("target.part", "somebody's");
  Conversation transfer(this);
  Complete(&transfer, "hello");
  // As the record of the interrupted attempt has it.
  String_Copy("target(0).part", transfer.get()->data.serverFileName);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().List(), Lines({"target", "target.part"}));
  EXPECT_STREQ(transfer.get()->data.serverFileName, "");
}

TEST_F(Finish, RemovesNothingElse_WhateverARecordSays) {
  for (const char* name : {"other.part", "target", "target.txt", "target(x).part", "target()x.part"}) {
    Files().Write(name, "somebody's");
    Conversation transfer(this);
    Complete(&transfer, "hello");
    String_Copy(name, transfer.get()->data.serverFileName);
    EXPECT_EQ(transfer.Work(), VRXClientResult_Completed) << name;
    EXPECT_EQ(Files().Read(name), "somebody's");
  }
}

TEST_F(Finish, LeavesTheDataFileOfAnotherTransfer_WhateverARecordSays) {
  Files().Write("target.part", "somebody's");
  Conversation another(this);
  another.Download("http://b.invalid/g", "other");
  EXPECT_EQ(VRXClient_SetDataFilePath(another.get(), Files().Name("target.part").c_str()), Error_None);
  Conversation transfer(this);
  Complete(&transfer, "hello");
  String_Copy("target.part", transfer.get()->data.serverFileName);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target.part"), "somebody's");
  EXPECT_EQ(Files().Read("target"), "hello");
}

TEST_F(Finish, NeverTakesItsDataFileForALeftOver) {
  Conversation transfer(this);
  Complete(&transfer, "hello");
  Files().Write("target.part", "hello");
  iVRXClient_SetDataPath(transfer.get(), Files().Name("target.part").c_str());
  String_Copy("target.part", transfer.get()->data.serverFileName);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "hello");
  EXPECT_EQ(Files().List(), Lines({"target"}));
}

TEST_F(Finish, FailsWhenTheDataFileIsGone_AndStaysWhereItIs) {
  Conversation transfer(this);
  Complete(&transfer, "hello");
  std::filesystem::remove_all(CacheSystemName("vrxData77"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(), Lines({"Can't move file to \"{files}/target\"..."}));
  EXPECT_EQ(transfer.Reason(), 13u);
  VRXClientLastReply reply;
  EXPECT_EQ(VRXClient_GetLastReply(transfer.get(), &reply), Error_None);
  EXPECT_EQ(reply.reason, 13u);
  EXPECT_EQ(transfer.State(), TransferState::Finish);
}

TEST_F(Finish, FailsWhenACopyFails_AndKeepsTheData) {
  iVRXClient_SetCopiesAlways(true);
  Conversation transfer(this);
  Complete(&transfer, std::string(10000, 'x'));
  EXPECT_EQ(transfer.Step(), VRXClientResult_Changed);
  std::filesystem::resize_file(CacheSystemName("vrxData77"), 5000);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  EXPECT_EQ(transfer.Messages(),
            Lines({"Moving file to \"{files}/target\"...", "Failed while copying file \"{files}/target\""}));
  EXPECT_EQ(transfer.Reason(), 13u);
  EXPECT_EQ(transfer.State(), TransferState::Finish);
  EXPECT_EQ(Files().List(), Lines());
  EXPECT_EQ(DataFiles(), Lines({"vrxData77"}));
}

// ---- space for the data ----------------------------------------------------------------------------------

TEST_F(Finish, EndsADownloadThatDoesNotFit) {
  iVRXClient_SetFreeBytes([](const char*, uint64_t* freeBytes) {
    *freeBytes = 4;
    return ErrorCode{Error_None};
  });
  ScriptedServer server({ftp::Join({talk::Before("f", 5), talk::AskResume(), ftp::Passive(),
                                    ftp::Started("RETR f"), ftp::Exchange("ABOR", "426 no"), ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Failed);
  const Lines messages = transfer.Messages();
  EXPECT_EQ(Lines(messages.end() - 3, messages.end()),
            Lines({"Downloading...", "Not enough disk space to complete download.", "Download stopped."}));
  EXPECT_EQ(transfer.Reason(), 20u);
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  server.Finish();
}

TEST_F(Finish, NeedsSpaceForTheRestOnly) {
  iVRXClient_SetFreeBytes([](const char* path, uint64_t* freeBytes) {
    *freeBytes = std::string(path).find("vrxData") != std::string::npos ? 6 : 10;
    return ErrorCode{Error_None};
  });
  ScriptedServer server(
      {ftp::Join({talk::Before("f", 10), talk::RetrieveFrom("f", 4, "567890"), ftp::Quit()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.Hold("1234", 10);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
}

}  // namespace
