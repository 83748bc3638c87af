// Whose a data file is: two programs with one cache folder never write to one data file, and none is left
// behind.
#include "os/core/os_testing.h"
#include "qz/process.h"
#include "tests/support/child_program.h"
#include "tests/support/environment.h"
#include "tests/support/file_server.h"
#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

std::string Letters(char letter) {
  return std::string(20000, letter);
}

class DataFile : public TransferTest {
 protected:
  void TearDown() override {
    iOS_SetRandomSource(nullptr);
    TransferTest::TearDown();
  }
  std::string Record(const std::string& name) const { return cache_ + "/record" + name; }

  // As another program: neither is in the other's list of transfers.
  void SaveAndEnd(TracedTransfer* transfer, const std::string& name) {
    ASSERT_EQ(transfer->Write(Record(name)), Error_None);
    transfer->Close();
  }
  static void UseSameRandomNumbers() {
    iOS_SetRandomSource([]() -> int32_t { return 7; });
  }
};

TEST_F(DataFile, HasANameThatNoOtherProgramDraws_BeforeItsFirstByte) {
  UseSameRandomNumbers();
  FileServer one(FileServer::Protocol::HTTP);
  FileServer two(FileServer::Protocol::HTTP);
  one.SetBytes(Letters('a'));
  two.SetBytes(Letters('b'));
  TracedTransfer first(&names_);
  ASSERT_EQ(first.Download(one.URL("a"), Out("a")), Error_None);
  first.RunToState(2);
  SaveAndEnd(&first, "a");
  TracedTransfer second(&names_);
  ASSERT_EQ(second.Download(two.URL("b"), Out("b")), Error_None);
  second.RunToState(11);
  for (int i = 0; i < 3; ++i) second.Idle();
  SaveAndEnd(&second, "b");
  ASSERT_EQ(first.Read(Record("a")), Error_None);
  first.RunToCompletion();
  ASSERT_EQ(second.Read(Record("b")), Error_None);
  second.RunToCompletion();
  EXPECT_TRUE(OutBytes("a") == Letters('a'));
  EXPECT_TRUE(OutBytes("b") == Letters('b'));
}

TEST_F(DataFile, IsNotLeftBehind_WhenItWasEmptyAtTheEndOfTheProgram) {
  FileServer server(FileServer::Protocol::HTTP);
  server.SetBytes("abc");
  TracedTransfer download(&names_);
  ASSERT_EQ(download.Download(server.URL("a"), Out("a")), Error_None);
  for (int run = 0; run < 3; ++run) {
    download.RunToState(2);
    SaveAndEnd(&download, "a");
    ASSERT_EQ(DataFiles().size(), 1u);
    ASSERT_EQ(download.Read(Record("a")), Error_None);
    EXPECT_EQ(download.DataPath(), "");
  }
  download.RunToCompletion();
  EXPECT_EQ(OutBytes("a"), "abc");
  EXPECT_EQ(DataFiles(), Lines());
}

TEST_F(DataFile, GoesWithADeletedTransfer_WhenItWasEmptyAtTheEndOfTheProgram) {
  TracedTransfer download(&names_);
  ASSERT_EQ(download.Download("http://127.0.0.1:1/a", Out("a")), Error_None);
  download.RunToState(2);
  SaveAndEnd(&download, "a");
  ASSERT_EQ(download.Read(Record("a")), Error_None);
  ASSERT_EQ(DataFiles().size(), 1u);
  download.Delete();
  EXPECT_EQ(DataFiles(), Lines());
}

TEST_F(DataFile, IsNoCopyOfASource_WhenItHasItsNameOnly) {
  WriteFile(OutPath("source"), "abc");
  TracedTransfer upload(&names_);
  ASSERT_EQ(upload.Upload(Out("source"), "ftp://127.0.0.1:1/a"), Error_None);
  std::filesystem::remove(OutPath("source"));
  upload.Run(10);
  EXPECT_EQ(upload.Reason(), 6u);
  EXPECT_EQ(upload.Take(),
            (Lines{"Idle: 1, state 1", "Can not find file to upload \"OUT/source\".", "Idle: 4, state 0"}));
}

TEST_F(DataFile, IsOneForEachOfTwoPrograms_ThatDrawTheSameNumbers) {
  const ScopedVariable same("QZ_TEST_SAME_RANDOM", "1");
  const std::string names[] = {"a", "b"};
  FileServer servers[] = {FileServer(FileServer::Protocol::HTTP), FileServer(FileServer::Protocol::HTTP)};
  Process* processes[2] = {};
  for (int i = 0; i < 2; ++i) {
    servers[i].SetBytes(Letters(names[i][0]));
    TracedTransfer download(&names_);
    ASSERT_EQ(download.Download(servers[i].URL(names[i]), Out(names[i])), Error_None);
    SaveAndEnd(&download, names[i]);
  }
  for (int i = 0; i < 2; ++i) {
    const std::string report = OutPath("report" + names[i]).string();
    const std::string command = ChildCommand("transfer \"" + report + "\" \"" + places_.ApplicationName() +
                                             "\" \"" + Record(names[i]) + "\"");
    ASSERT_EQ(Process_Launch(LibraryName(ProgramPath()).c_str(), command.c_str(), nullptr, &processes[i]), 0);
  }
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(EndsWithinTenSeconds(processes[i]));
    Process_Detach(processes[i]);
    EXPECT_TRUE(OutBytes(names[i]) == Letters(names[i][0]));
  }
  EXPECT_EQ(DataFiles(), Lines());
}

}  // namespace
}  // namespace transfer
