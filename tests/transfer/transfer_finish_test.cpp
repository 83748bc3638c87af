// The end of a download: the final move, its destination, and what keeps it from its place.
#include "qz/error.h"
#include "qz/string.h"
#include "tests/support/failing_close.h"
#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

class TransferFinish : public TransferTest {
 protected:
  static constexpr char kFile[] = "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcdefghij";

  // A download whose data is complete. Its lines are taken.
  std::unique_ptr<TracedTransfer> Complete(const ScriptedServer& server,
                                           const std::string& path = "/file.bin",
                                           const std::string& name = "file.bin") {
    auto download = NewDownload(server, path, Callbacks::MessagesOnly, name);
    download->RunToState(12);
    download->Take();
    return download;
  }
  std::string LocalPath(VRXClient* client) const {
    char path[1024] = "";
    EXPECT_EQ(VRXClient_GetLocalFilePath(client, path), 0);
    return names_.Apply(path);
  }
  // A failed end keeps the data and the state, and no server is dropped for it.
  void ExpectKept(TracedTransfer* download, uint32_t reason) {
    EXPECT_EQ(download->State(), 12u);
    EXPECT_EQ(download->Reason(), reason);
    EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), "abcdefghij");
    VRXClientServer entry;
    ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
    EXPECT_EQ(entry.isFailed, 0);
  }
  // Without the lines of the calls.
  static Lines Messages(const Lines& lines) {
    Lines found;
    for (const std::string& line : lines) {
      if (!line.starts_with("Idle: ")) found.push_back(line);
    }
    return found;
  }
};

// ---- the destination ---------------------------------------------------------------------------

TEST_F(TransferFinish, RenamesTheDataFile) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = Complete(server);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Take(), (Lines{"Moving file to \"OUT/file.bin\"...", "Idle: 1, state 13"}));
  EXPECT_EQ(OutBytes(), "abcdefghij");
  EXPECT_EQ(DataFiles(), Lines{});
}

TEST_F(TransferFinish, NumbersTheName_WhenItIsTaken) {
  ScriptedServer server({Answers("0", kFile)});
  WriteFile(OutPath("file.bin"), "old");
  auto download = Complete(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            (Lines{"Moving file to \"OUT/file(0).bin\"...", "Idle: 1, state 13", "Idle: 5, state 14"}));
  EXPECT_EQ(OutBytes(), "old");
  EXPECT_EQ(OutBytes("file(0).bin"), "abcdefghij");
  EXPECT_EQ(LocalPath(*download), "OUT/file(0).bin");
}

TEST_F(TransferFinish, TakesTheNextNumber_WhenTheFirstIsTaken) {
  ScriptedServer server({Answers("0", kFile)});
  WriteFile(OutPath("file.bin"), "old");
  WriteFile(OutPath("file(0).bin"), "older");
  auto download = Complete(server);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes("file(0).bin"), "older");
  EXPECT_EQ(OutBytes("file(1).bin"), "abcdefghij");
}

TEST_F(TransferFinish, PutsTheFileIntoADirectory_WhenItStandsAtTheLocalPath) {
  ScriptedServer server({Answers("0", kFile, "/remote.dat")});
  auto download = Complete(server, "/remote.dat");
  std::filesystem::create_directory(OutPath("file.bin"));
  download->RunToCompletion();
  EXPECT_EQ(download->Take(), (Lines{"Moving file to \"OUT/file.bin/remote.dat\"...", "Idle: 1, state 13",
                                     "Idle: 5, state 14"}));
  EXPECT_EQ(OutBytes("file.bin/remote.dat"), "abcdefghij");
  EXPECT_EQ(LocalPath(*download), "OUT/file.bin/remote.dat");
}

TEST_F(TransferFinish, NumbersTheNameInADirectoryToo) {
  ScriptedServer server({Answers("0", kFile, "/remote.dat")});
  auto download = Complete(server, "/remote.dat");
  std::filesystem::create_directory(OutPath("file.bin"));
  WriteFile(OutPath("file.bin/remote.dat"), "old");
  download->RunToCompletion();
  EXPECT_EQ(OutBytes("file.bin/remote.dat"), "old");
  EXPECT_EQ(OutBytes("file.bin/remote(0).dat"), "abcdefghij");
}

TEST_F(TransferFinish, LeavesNoDangerousCharactersInANameOfTheServer) {
  ScriptedServer server({Answers("0", kFile, "/a:b*c.dat")});
  auto download = Complete(server, "/a:b*c.dat");
  std::filesystem::create_directory(OutPath("file.bin"));
  download->RunToCompletion();
  EXPECT_EQ(OutBytes("file.bin/a_b_c.dat"), "abcdefghij");
}

TEST_F(TransferFinish, NeverLeavesTheDirectory_WhateverTheServerCallsTheFile) {
  ScriptedServer server({Answers("0", kFile, "/x/..")});
  auto download = Complete(server, "/x/..");
  std::filesystem::create_directory(OutPath("file.bin"));
  download->RunToCompletion();
  EXPECT_EQ(OutBytes("file.bin/_.."), "abcdefghij");
}

TEST_F(TransferFinish, FollowsALocalPathThatIsSetAtTheEnd) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = Complete(server);
  EXPECT_EQ(VRXClient_SetLocalFilePath(*download, Out("other.bin").c_str()), 0);
  download->RunToCompletion();
  EXPECT_EQ(OutNames(), Lines{"other.bin"});
}

// ---- an existing target that is to be replaced -------------------------------------------------

TEST_F(TransferFinish, ReplacesTheTarget_WhenItIsToldTo) {
  ScriptedServer server({Answers("0", kFile)});
  WriteFile(OutPath("file.bin"), "old");
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_SetOverwrite(*download, 1), 0);
  download->RunToCompletion();
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
  EXPECT_EQ(OutBytes(), "abcdefghij");
  EXPECT_EQ(LocalPath(*download), "OUT/file.bin");
}

TEST_F(TransferFinish, LeavesTheTargetAsItWas_UntilTheTransferIsCompleted) {
  ScriptedServer server({Answers("0", kFile)});
  WriteFile(OutPath("file.bin"), "old");
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_SetOverwrite(*download, 1), 0);
  download->RunToState(13);
  EXPECT_EQ(OutBytes(), "old");
  EXPECT_EQ(download->Idle(), 5);
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(TransferFinish, TellsAgentsWhatTheFileReplaces) {
  ScriptedServer server({Answers("0", kFile)});
  WriteFile(OutPath("file.bin"), "old");
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_SetOverwrite(*download, 1), 0);
  char path[1024] = "x";
  download->RunToState(12);
  EXPECT_EQ(VRXClient_GetReplacedPath(*download, path), 0);
  EXPECT_STREQ(path, "");
  download->RunToState(13);
  EXPECT_EQ(VRXClient_GetReplacedPath(*download, path), 0);
  EXPECT_EQ(path, Out("file.bin"));
  EXPECT_EQ(LocalPath(*download), "OUT/file(0).bin");
  EXPECT_EQ(download->Idle(), 5);
  EXPECT_EQ(VRXClient_GetReplacedPath(*download, path), 0);
  EXPECT_STREQ(path, "");
  String_Copy("x", path);
  EXPECT_EQ(VRXClient_GetReplacedPath(nullptr, path), Error_Invalid);
  EXPECT_STREQ(path, "");
  EXPECT_EQ(VRXClient_GetReplacedPath(*download, nullptr), Error_Invalid);
}

TEST_F(TransferFinish, NumbersTheName_WhenItIsToldNotToReplaceAgain) {
  ScriptedServer server({Answers("0", kFile)});
  WriteFile(OutPath("file.bin"), "old");
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_SetOverwrite(*download, 1), 0);
  EXPECT_EQ(VRXClient_SetOverwrite(*download, 0), 0);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "old");
  EXPECT_EQ(OutBytes("file(0).bin"), "abcdefghij");
}

TEST_F(TransferFinish, ReplacesTheTarget_WhenTheFirstMoveFailed) {
  const std::string bytes(20000, 'x');
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 20000\r\n\r\n" + bytes)});
  WriteFile(OutPath("file.bin"), "old");
  auto download = Complete(server);
  EXPECT_EQ(VRXClient_SetOverwrite(*download, 1), 0);
  iVRXClient_SetCopiesAlways(true);
  download->Idle();
  download->Idle();
  // A source that ends too early fails the copy as a full disk does.
  const std::filesystem::path data = SystemPath(download->DataPath());
  std::filesystem::resize_file(data, 5000);
  EXPECT_EQ(download->Run(), 4);
  WriteFile(data, bytes);
  download->RunToCompletion();
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
  EXPECT_EQ(OutBytes(), bytes);
  EXPECT_EQ(LocalPath(*download), "OUT/file.bin");
}

TEST_F(TransferFinish, ReplacesNothing_WhenTheLocalPathIsChangedBehindTheMove) {
  ScriptedServer server({Answers("0", kFile)});
  WriteFile(OutPath("file.bin"), "old");
  WriteFile(OutPath("other.bin"), "someone's");
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_SetOverwrite(*download, 1), 0);
  download->RunToState(13);
  EXPECT_EQ(VRXClient_SetLocalFilePath(*download, Out("other.bin").c_str()), 0);
  EXPECT_EQ(download->Idle(), 5);
  EXPECT_EQ(OutNames(), (Lines{"file(0).bin", "file.bin", "other.bin"}));
  EXPECT_EQ(OutBytes(), "old");
  EXPECT_EQ(OutBytes("other.bin"), "someone's");
}

TEST_F(TransferFinish, NeedsNoTargetToReplace) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_SetOverwrite(*download, 1), 0);
  download->RunToCompletion();
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
}

// ---- a copy to another volume ------------------------------------------------------------------

TEST_F(TransferFinish, CopiesTheDataFile_WhenARenameCannotDoIt) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = Complete(server);
  iVRXClient_SetCopiesAlways(true);
  download->RunToCompletion();
  EXPECT_EQ(Messages(download->Take()),
            (Lines{"Moving file to \"OUT/file.bin\"...", "Completed copy to \"OUT/file.bin\""}));
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
  EXPECT_EQ(OutBytes(), "abcdefghij");
  EXPECT_EQ(DataFiles(), Lines{});
  EXPECT_EQ(download->DataPath(), "");
}

TEST_F(TransferFinish, GivesTheCopyItsNameWhenItIsWhole) {
  const std::string bytes(20000, 'x');
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 20000\r\n\r\n" + bytes)});
  auto download = Complete(server);
  iVRXClient_SetCopiesAlways(true);
  download->Idle();
  // Five pieces of 4096 bytes at most, one a call.
  for (int i = 0; i < 4; ++i) {
    EXPECT_LE(download->Idle(), 1);
    EXPECT_EQ(download->State(), 12u);
    EXPECT_EQ(OutNames(), Lines{"file.bin.part"});
  }
  download->RunToCompletion();
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
  EXPECT_EQ(OutBytes(), bytes);
}

TEST_F(TransferFinish, LeavesAForeignFileOfTheCopysNameAlone) {
  WriteFile(OutPath("file.bin.part"), "someone's");
  ScriptedServer server({Answers("0", kFile)});
  auto download = Complete(server);
  iVRXClient_SetCopiesAlways(true);
  download->RunToCompletion();
  EXPECT_EQ(OutNames(), (Lines{"file.bin", "file.bin.part"}));
  EXPECT_EQ(OutBytes("file.bin.part"), "someone's");
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(TransferFinish, NumbersTheNameOfACopy_WhenItIsTaken) {
  WriteFile(OutPath("file.bin"), "old");
  ScriptedServer server({Answers("0", kFile)});
  auto download = Complete(server);
  iVRXClient_SetCopiesAlways(true);
  download->RunToCompletion();
  EXPECT_EQ(Messages(download->Take()),
            (Lines{"Moving file to \"OUT/file(0).bin\"...", "Completed copy to \"OUT/file(0).bin\""}));
  EXPECT_EQ(OutBytes(), "old");
  EXPECT_EQ(OutBytes("file(0).bin"), "abcdefghij");
}

TEST_F(TransferFinish, KeepsTheData_WhenACopyFails) {
  const std::string bytes(20000, 'x');
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 20000\r\n\r\n" + bytes)});
  auto download = Complete(server);
  iVRXClient_SetCopiesAlways(true);
  download->Idle();
  download->Idle();
  // A source that ends too early fails the copy as a full disk does.
  const std::filesystem::path data = SystemPath(download->DataPath());
  std::filesystem::resize_file(data, 5000);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(Messages(download->Take()),
            (Lines{"Moving file to \"OUT/file.bin\"...", "Failed while copying file \"OUT/file.bin\""}));
  EXPECT_EQ(download->State(), 12u);
  EXPECT_EQ(download->Reason(), 13u);
  EXPECT_EQ(OutNames(), Lines{});
  EXPECT_EQ(std::filesystem::file_size(data), 5000u);
  WriteFile(data, bytes);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), bytes);
  EXPECT_EQ(download->Reason(), 0u);
}

TEST_F(TransferFinish, LeavesNoCopyBehind_WhenItIsClosed) {
  const std::string bytes(20000, 'x');
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 20000\r\n\r\n" + bytes)});
  auto download = Complete(server);
  iVRXClient_SetCopiesAlways(true);
  download->Idle();
  download->Idle();
  const std::filesystem::path data = SystemPath(download->DataPath());
  download->Close();
  EXPECT_EQ(OutNames(), Lines{});
  EXPECT_EQ(ReadFile(data), bytes);
}

TEST_F(TransferFinish, RemovesItsOwnCopyThatAKilledProgramLeft) {
  const std::string bytes(20000, 'x');
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Length: 20000\r\n\r\n" + bytes)});
  auto download = Complete(server);
  iVRXClient_SetCopiesAlways(true);
  download->Idle();
  download->Idle();
  ASSERT_EQ(OutNames(), Lines{"file.bin.part"});
  ASSERT_EQ(download->Write(Out("../record")), 0);
  download->Close();
  WriteFile(OutPath("file.bin.part"), "half of it");
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Out("../record")), 0);
  EXPECT_EQ(again->State(), 12u);
  again->RunToCompletion();
  EXPECT_EQ(OutNames(), Lines{"file.bin"});
  EXPECT_EQ(OutBytes(), bytes);
}

// ---- what keeps the file from its place --------------------------------------------------------

TEST_F(TransferFinish, KeepsTheData_WhenTheDirectoryIsMissing) {
  std::filesystem::create_directory(OutPath("sub"));
  ScriptedServer server({Answers("0", kFile)});
  auto download = Complete(server, "/file.bin", "sub/file.bin");
  std::filesystem::remove(OutPath("sub"));
  EXPECT_EQ(download->Idle(), 4);
  EXPECT_EQ(download->Take(),
            (Lines{"Can't move file to \"OUT/sub\" because it doesn't exist...", "Idle: 4, state 12"}));
  ExpectKept(download.get(), 22);
  std::filesystem::create_directory(OutPath("sub"));
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            (Lines{"Moving file to \"OUT/sub/file.bin\"...", "Idle: 1, state 13", "Idle: 5, state 14"}));
  EXPECT_EQ(OutBytes("sub/file.bin"), "abcdefghij");
  EXPECT_EQ(download->Reason(), 0u);
}

TEST_F(TransferFinish, KeepsTheData_WhenTheDirectoryIsAFile) {
  std::filesystem::create_directory(OutPath("sub"));
  ScriptedServer server({Answers("0", kFile)});
  auto download = Complete(server, "/file.bin", "sub/file.bin");
  std::filesystem::remove(OutPath("sub"));
  WriteFile(OutPath("sub"), "a file");
  EXPECT_EQ(download->Idle(), 4);
  ExpectKept(download.get(), 22);
}

TEST_F(TransferFinish, KeepsTheData_WhenTheVolumeIsTooSmall) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = Complete(server);
  iVRXClient_SetFreeBytes([](const char*, uint64_t* bytes) -> ErrorCode {
    *bytes = 9;
    return Error_None;
  });
  EXPECT_EQ(download->Idle(), 4);
  EXPECT_EQ(download->Take(), (Lines{"Not enough disk space to complete download.", "Idle: 4, state 12"}));
  ExpectKept(download.get(), 20);
  EXPECT_EQ(download->Idle(), 4);
  iVRXClient_SetFreeBytes([](const char*, uint64_t* bytes) -> ErrorCode {
    *bytes = 10;
    return Error_None;
  });
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
  EXPECT_EQ(download->Reason(), 0u);
}

TEST_F(TransferFinish, KeepsTheData_WhenTheMoveCannotStart) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = Complete(server);
  // No system takes a name of 300 bytes.
  const std::string name(300, 'n');
  ASSERT_EQ(VRXClient_SetLocalFilePath(*download, Out(name).c_str()), 0);
  EXPECT_EQ(download->Idle(), 4);
  EXPECT_EQ(download->Take(), (Lines{"Can't move file to \"OUT/" + name + "\"...", "Idle: 4, state 12"}));
  ExpectKept(download.get(), 13);
  ASSERT_EQ(VRXClient_SetLocalFilePath(*download, Out("short").c_str()), 0);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes("short"), "abcdefghij");
}

TEST_F(TransferFinish, StaysInState12_WhenItIsStopped) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = Complete(server);
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  EXPECT_EQ(download->State(), 12u);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(TransferFinish, MovesTheFile_WhenItIsOnlyProbed) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = Complete(server);
  EXPECT_EQ(download->Poll(), 0);
  EXPECT_EQ(download->State(), 13u);
  EXPECT_EQ(download->Poll(), 5);
  EXPECT_EQ(download->State(), 14u);
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

// ---- the data file is closed badly -------------------------------------------------------------

TEST_F(TransferFinish, IsNotComplete_WhenTheDataFileCannotBeClosed) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  download->RunToState(11);
  EXPECT_EQ(download->Idle(), 0);
  download->Take();
  int32_t result;
  {
    const FailingClose failing;
    result = download->Idle();
  }
  EXPECT_EQ(result, 4);
  EXPECT_EQ(download->Take(), (Lines{"Can't write to file. The disk may be full.", "Idle: 4, state 0"}));
  EXPECT_EQ(download->Reason(), 20u);
  EXPECT_EQ(OutNames(), Lines{});
}

}  // namespace
}  // namespace transfer
