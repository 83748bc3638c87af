// Transfers and real volumes: a move to another one, and disks that fill up.
#include "tests/support/file_system.h"
#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

// OUT/small is a volume of its own.
class TransferVolume : public TransferTest {
 protected:
  void SetUp() override {
    TransferTest::SetUp();
    std::filesystem::create_directory(OutPath("small"));
    volume_ = std::make_unique<SmallVolume>(OutPath("small"), 262144);
    ASSERT_TRUE(volume_->IsMounted());
  }
  void TearDown() override {
    volume_.reset();
    TransferTest::TearDown();
  }
  static std::string Okay(const std::string& bytes) {
    return "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(bytes.size()) + "\r\n\r\n" + bytes;
  }
  static Lines Messages(const Lines& lines) {
    Lines found;
    for (const std::string& line : lines) {
      if (!line.starts_with("Idle: ")) found.push_back(line);
    }
    return found;
  }

 private:
  std::unique_ptr<SmallVolume> volume_;
};

TEST_F(TransferVolume, CopiesTheFileToAnotherOne) {
  const std::string bytes(50000, 'x');
  ScriptedServer server({Answers("0", Okay(bytes))});
  auto download = NewDownload(server, "/file.bin", Callbacks::MessagesOnly, "small/file.bin");
  download->RunToState(12);
  download->Take();
  download->RunToCompletion();
  EXPECT_EQ(Messages(download->Take()),
            (Lines{"Moving file to \"OUT/small/file.bin\"...", "Completed copy to \"OUT/small/file.bin\""}));
  EXPECT_EQ(OutBytes("small/file.bin"), bytes);
  EXPECT_EQ(NamesIn(Out("small")), Lines{"file.bin"});
  EXPECT_EQ(DataFiles(), Lines{});
}

TEST_F(TransferVolume, IsTooSmallForTheFile) {
  const std::string bytes(300000, 'x');
  ScriptedServer server({Answers("0", Okay(bytes))});
  auto download = NewDownload(server, "/file.bin", Callbacks::MessagesOnly, "small/file.bin");
  download->RunToState(12);
  download->Take();
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Take(), (Lines{"Not enough disk space to complete download.", "Idle: 4, state 12"}));
  EXPECT_EQ(download->Reason(), 20u);
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), bytes);
  EXPECT_EQ(VRXClient_SetLocalFilePath(*download, Out("file.bin").c_str()), 0);
  download->RunToCompletion();
  EXPECT_EQ(OutBytes(), bytes);
}

TEST_F(TransferVolume, FillsUpWhileTheFileIsCopied) {
  const std::string bytes(100000, 'x');
  ScriptedServer server({Answers("0", Okay(bytes))});
  auto download = NewDownload(server, "/file.bin", Callbacks::MessagesOnly, "small/file.bin");
  download->RunToState(12);
  download->Take();
  download->Idle();
  WriteFile(OutPath("small/other"), std::string(240000, 'o'));
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(Messages(download->Take()), (Lines{"Moving file to \"OUT/small/file.bin\"...",
                                               "Failed while copying file \"OUT/small/file.bin\""}));
  EXPECT_EQ(download->State(), 12u);
  EXPECT_EQ(NamesIn(Out("small")), Lines{"other"});
  EXPECT_EQ(ReadFile(SystemPath(download->DataPath())), bytes);
  std::filesystem::remove(OutPath("small/other"));
  download->RunToCompletion();
  EXPECT_EQ(OutBytes("small/file.bin"), bytes);
}

// The size is unknown, so that nothing tells before that there is too little room.
TEST_F(TransferVolume, FillsUpWhileTheDataComes) {
  const std::string bytes(400000, 'x');
  ScriptedServer server({{script::Expect(Request()), script::Send("HTTP/1.0 200 OK\r\n\r\n" + bytes),
                          script::Finish(), script::ReadToEnd()}});
  server.AllowUnfinished();
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_SetDataFilePath(*download, Out("small/file.part").c_str()), 0);
  EXPECT_EQ(download->Run(), 4);
  const Lines lines = download->Take();
  EXPECT_EQ(Lines(lines.end() - 2, lines.end()),
            (Lines{"Can't write to file. The disk may be full.", "Idle: 4, state 0"}));
  EXPECT_EQ(download->Reason(), 20u);
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 0);
  // What is on the disk is the beginning of the file, and nothing else.
  const std::string written = OutBytes("small/file.part");
  EXPECT_TRUE(bytes.starts_with(written));
  server.Stop();
}

}  // namespace
}  // namespace transfer
