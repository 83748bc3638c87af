// Transfers that go on in another program: what the record keeps between them, and when a call says that it
// should be written.
#include "qz/process.h"
#include "tests/support/child_program.h"
#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

class TransferReadBack : public TransferTest {
 protected:
  static constexpr char kFirst[] = "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd";
  static constexpr char kRest[] = "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-9/10\r\n\r\nefghij";
  static constexpr char kWhole[] = "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n0123456789";
  static constexpr char kFile[] = "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd";

  // Saves the transfer, ends it, and reads it back.
  std::unique_ptr<TracedTransfer> ReadBack(std::unique_ptr<TracedTransfer> transfer) {
    EXPECT_EQ(transfer->Write(Record()), 0);
    transfer.reset();
    auto again = NewTransfer();
    EXPECT_EQ(again->Read(Record()), 0);
    return again;
  }
  std::string Record() const { return cache_ + "/transfer.record"; }
  std::string RecordBytes() const { return ReadFile(SystemPath(Record())); }
  // Ends the transfer system and starts it again, as the next run of the program does.
  static void RestartSystem() {
    VRXClientSystem_Exit();
    ASSERT_EQ(VRXClientSystem_Init(), 0);
  }
};

// ---- read back ---------------------------------------------------------------------------------

TEST_F(TransferReadBack, ResumesWhereItStood) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("4", kRest)});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  auto again = ReadBack(std::move(download));
  EXPECT_EQ(again->State(), 0u);
  EXPECT_EQ(VRXClient_GetSize(*again), 10u);
  again->RunToCompletion();
  EXPECT_EQ(again->Take(),
            Join({ConnectsAgain("Idle: 0, state 1"), {kCanResume, "Downloading...", kDataStep}, Ends()}));
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(TransferReadBack, ResumesAfterACutInTheMiddleOfTheData) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("4", kRest)});
  auto download = NewDownload(server);
  download->RunToState(11);
  download->Idle();
  // As when the program is killed after it has saved: no stop, no polite end.
  ASSERT_EQ(download->Write(Record()), 0);
  download->Close();
  RestartSystem();
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Record()), 0);
  EXPECT_EQ(again->State(), 0u);
  again->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcdefghij");
}

TEST_F(TransferReadBack, BeginsAnew_WhenTheDataFileIsGone) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("0", kWhole)});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  const std::string data = download->DataPath();
  ASSERT_EQ(download->Write(Record()), 0);
  download.reset();
  std::filesystem::remove(SystemPath(data));
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Record()), 0);
  EXPECT_EQ(again->DataPath(), "");
  again->RunToCompletion();
  EXPECT_EQ(OutBytes(), "0123456789");
}

TEST_F(TransferReadBack, BeginsAnew_WhenTheDataFileIsGoneInState12) {
  ScriptedServer server({Answers("0", kFile), Answers("0", kFile)});
  auto download = NewDownload(server);
  download->RunToState(12);
  const std::string data = download->DataPath();
  ASSERT_EQ(download->Write(Record()), 0);
  download.reset();
  std::filesystem::remove(SystemPath(data));
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Record()), 0);
  EXPECT_EQ(again->State(), 0u);
  again->RunToCompletion();
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(TransferReadBack, MovesTheFile_WhenTheDataWasComplete) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  download->RunToState(12);
  auto again = ReadBack(std::move(download));
  EXPECT_EQ(again->State(), 12u);
  again->RunToCompletion();
  EXPECT_EQ(again->Take(),
            (Lines{"Moving file to \"OUT/file.bin\"...", "Idle: 1, state 13", "Idle: 5, state 14"}));
  EXPECT_EQ(OutBytes(), "abcd");
}

TEST_F(TransferReadBack, StaysCompleted) {
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  download->RunToCompletion();
  auto again = ReadBack(std::move(download));
  EXPECT_EQ(VRXClient_IsCompleted(*again), 1);
  EXPECT_EQ(again->Idle(), 5);
  EXPECT_EQ(again->Take(), Lines{"Idle: 5, state 14"});
}

TEST_F(TransferReadBack, KeepsMarksAndRedirectTargets) {
  ScriptedServer server({Answers("0", "HTTP/1.0 302 Found\r\nLocation: /new.bin\r\n\r\n")});
  auto download = NewDownload(server);
  download->RunToState(10);
  download->Idle();
  auto again = ReadBack(std::move(download));
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*again, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 1);
  ASSERT_EQ(VRXClient_GetServer(*again, 1, &entry), 0);
  EXPECT_EQ(std::string(entry.url), URL(server, "/new.bin"));
}

TEST_F(TransferReadBack, KeepsTheTimeOfTheFile) {
  const std::string monday =
      "HTTP/1.0 200 OK\r\nLast-Modified: Mon, 06 Jan 2020 08:00:00 GMT\r\n"
      "Content-Length: 10\r\n\r\nabcd";
  ScriptedServer server({AnswersAndStalls("0", monday),
                         Answers("4",
                                 "HTTP/1.1 206 Partial Content\r\n"
                                 "Last-Modified: Tue, 07 Jan 2020 08:00:00 GMT\r\n"
                                 "Content-Range: bytes 4-9/10\r\n\r\nefghij"),
                         Answers("0", kWhole)});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  auto again = ReadBack(std::move(download));
  again->RunToCompletion();
  EXPECT_EQ(OutBytes(), "0123456789");
}

TEST_F(TransferReadBack, KeepsTheElapsedTime) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("4", kRest)});
  auto download = NewDownload(server);
  download->RunToState(11);
  clockMilliseconds += 400;
  download->Idle();
  VRXClient_Stop(*download);
  ASSERT_EQ(download->Write(Record()), 0);
  download.reset();
  clockMilliseconds = 50;
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Record(), Callbacks::All), 0);
  again->RunToState(11);
  clockMilliseconds += 100;
  again->RunToState(12);
  const Lines lines = again->Take();
  EXPECT_NE(std::find(lines.begin(), lines.end(), "time 500"), lines.end());
}

TEST_F(TransferReadBack, ReportsSizeProgressAndTime_WhenItIsRead) {
  ScriptedServer server({AnswersAndStalls("0", kFirst)});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  ASSERT_EQ(download->Write(Record()), 0);
  download.reset();
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Record(), Callbacks::All), 0);
  EXPECT_EQ(again->Take(), (Lines{"size 10", "progress 4 of 10", "time 4294967295"}));
}

// ---- in another process ------------------------------------------------------------------------

TEST_F(TransferReadBack, GoesOnInAnotherProcess) {
  ScriptedServer server({AnswersAndStalls("0", kFirst), Answers("4", kRest)});
  auto download = NewDownload(server);
  MoveFirstBytes(download.get());
  ASSERT_EQ(download->Write(Record()), 0);
  download.reset();
  const std::string report = OutPath("report").string();
  const std::string command =
      ChildCommand("transfer \"" + report + "\" \"" + places_.ApplicationName() + "\" \"" + Record() + "\"");
  Process* process = nullptr;
  ASSERT_EQ(Process_Launch(LibraryName(ProgramPath()).c_str(), command.c_str(), nullptr, &process), 0);
  EXPECT_TRUE(EndsWithinTenSeconds(process));
  Process_Detach(process);
  const ChildReport child = ReadChildReport(report);
  ASSERT_TRUE(child.isComplete);
  EXPECT_EQ(child.words, (std::vector<std::string>{"0", "5", "14"}));
  EXPECT_EQ(OutBytes(), "abcdefghij");
  // It wrote the record in its turn.
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Record()), 0);
  EXPECT_EQ(again->State(), 14u);
}

// ---- when the record should be written ---------------------------------------------------------

// Result 1 is given exactly when a field has another value: the record that follows differs from the one
// before, but for the number of the state.
TEST_F(TransferReadBack, DiffersExactlyWhenACallGivesOne) {
  ScriptedServer server(
      {Answers("0", "HTTP/1.0 302 Found\r\nLocation: /new.bin\r\n\r\n"),
       AnswersAndStalls("0", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\nabcd", "/new.bin"),
       Answers("4", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 4-9/10\r\n\r\nefghij",
               "/new.bin")});
  auto download = NewDownload(server);
  const auto record = [&] {
    EXPECT_EQ(download->Write(Record()), 0);
    std::string bytes = RecordBytes();
    // Behind tag, version, created, size, declared size, server file name (empty), two flags: the state.
    constexpr size_t kState = 4 + 4 + 8 + 4 + 4 + 5 + 1 + 1;
    bytes.replace(kState, 4, "....");
    return bytes;
  };
  EXPECT_EQ(download->Idle(), 1);
  std::string before = record();
  bool isStopped = false;
  for (int call = 0; download->State() < 12; ++call) {
    ASSERT_LT(call, 100);
    clockMilliseconds += 10;
    const int32_t result = download->Idle();
    const std::string after = record();
    EXPECT_EQ(result, after == before ? 0 : 1) << download->All().back();
    before = after;
    if (download->State() != 11 || isStopped) continue;
    download->Idle();
    VRXClient_Stop(*download);
    isStopped = true;
  }
}

TEST_F(TransferReadBack, IsChangedByACallOfTheApplication) {
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  download->Idle(2);
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  EXPECT_EQ(download->Idle(), 0);
  EXPECT_EQ(VRXClient_SetTransferName(*download, "name"), 0);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->State(), 2u);
}

TEST_F(TransferReadBack, LeavesAChangeToBeTold_WhenTheListIsTriedAgain) {
  ScriptedServer server({Answers("0", "HTTP/1.0 404 Not Found\r\n\r\n")});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Idle(), 0);
  EXPECT_EQ(download->All().back(), "Idle: 0, state 0");
  EXPECT_EQ(download->Idle(), 1);
}

TEST_F(TransferReadBack, LeavesAChangeToBeTold_WhenACallGivesTwo) {
  iSock_SetWaitMilliseconds(200);
  ScriptedServer server({AnswersAndStalls("0", "")});
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_AddMirrors(*download, "http://127.0.0.1:1/x"), 0);
  EXPECT_EQ(download->Run(), 2);
  // The mark of the dropped server.
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->State(), 1u);
}

TEST_F(TransferReadBack, LeavesAChangeToBeTold_WhenItIsProbed) {
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  EXPECT_EQ(download->Poll(), 0);
  EXPECT_EQ(download->Poll(), 0);
  EXPECT_EQ(VRXClient_Stop(*download), 0);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Idle(), 0);
}

}  // namespace
}  // namespace transfer
