// What the callbacks tell while the data moves: size, progress, speed and the time that is left.
#include <chrono>
#include <thread>

#include "tests/transfer/transfer_trace.h"

namespace transfer {
namespace {

class TransferProgress : public TransferTest {
 protected:
  std::string Okay(size_t size) const {
    return "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" + std::string(size, 'x');
  }
  static Lines Starting(const Lines& lines, const std::string& beginning) {
    Lines found;
    for (const std::string& line : lines) {
      if (line.starts_with(beginning)) found.push_back(line);
    }
    return found;
  }
  // Waits until a server has sent what it was to send.
  static void Settle() { std::this_thread::sleep_for(std::chrono::milliseconds(50)); }
};

TEST_F(TransferProgress, TellsSizeAndTimeOnceTheDataIsToBegin) {
  ScriptedServer server({Answers("0", Okay(10))});
  auto download = NewDownload(server, "/file.bin", Callbacks::All);
  download->RunToState(11);
  const Lines lines = download->Take();
  // No statistics tell how long it will take.
  EXPECT_EQ(
      lines,
      Join({Begins(), {"size 10", "time 4294967295", kCannotResume, "Downloading...", "Idle: 1, state 11"}}));
}

TEST_F(TransferProgress, ComesInAHundredStepsAtLeast) {
  ScriptedServer server({Answers("0", Okay(1000))});
  auto download = NewDownload(server, "/file.bin", Callbacks::All);
  download->RunToState(12);
  const Lines reports = Starting(download->Take(), "progress ");
  // Steps of ten bytes; each report carries the begin of its step.
  ASSERT_EQ(reports.size(), 100u);
  EXPECT_EQ(reports[0], "progress 0 of 1000");
  EXPECT_EQ(reports[1], "progress 10 of 1000");
  EXPECT_EQ(reports[99], "progress 990 of 1000");
}

TEST_F(TransferProgress, ComesEverySixteenBytes_WhenTheFileIsLarger) {
  ScriptedServer server({Answers("0", Okay(16000))});
  auto download = NewDownload(server, "/file.bin", Callbacks::All);
  download->RunToState(12);
  const Lines reports = Starting(download->Take(), "progress ");
  ASSERT_EQ(reports.size(), 1000u);
  EXPECT_EQ(reports[0], "progress 0 of 16000");
  EXPECT_EQ(reports[1], "progress 16 of 16000");
  EXPECT_EQ(reports[999], "progress 15984 of 16000");
}

TEST_F(TransferProgress, BeginsAtTheOffset_WhenItResumes) {
  WriteFile(OutPath("file.part"), std::string(500, 'x'));
  ScriptedServer server(
      {Answers("500", "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 500-999/1000\r\n\r\n" +
                          std::string(500, 'y'))});
  auto download = NewDownload(server, "/file.bin", Callbacks::All);
  EXPECT_EQ(VRXClient_SetDataFilePath(*download, Out("file.part").c_str()), 0);
  download->RunToState(12);
  const Lines reports = Starting(download->Take(), "progress ");
  ASSERT_EQ(reports.size(), 50u);
  EXPECT_EQ(reports[0], "progress 500 of 1000");
  EXPECT_EQ(reports[49], "progress 990 of 1000");
}

TEST_F(TransferProgress, TellsTheOffsetBeforeTheFirstByte) {
  const std::string rest =
      "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 500-999/1000\r\n\r\n" + std::string(500, 'y');
  const std::string whole = "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + std::string(1000, 'y');
  for (const bool isResumed : {true, false}) {
    WriteFile(OutPath("file.part"), std::string(500, 'x'));
    ScriptedServer server({Answers("500", isResumed ? rest : whole)});
    auto download = NewDownload(server, "/file.bin", Callbacks::All);
    EXPECT_EQ(VRXClient_SetDataFilePath(*download, Out("file.part").c_str()), Error_None);
    download->RunToState(11);
    EXPECT_EQ(VRXClient_GetOffset64(*download), isResumed ? 500u : 0u);
    download->RunToState(12);
    EXPECT_EQ(VRXClient_GetOffset64(*download), 1000u);
  }
  EXPECT_EQ(VRXClient_GetOffset64(nullptr), 0u);
}

TEST_F(TransferProgress, HasAllOnesForATotal_WhenTheSizeIsUnknown) {
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\n\r\n" + std::string(64, 'x'))});
  auto download = NewDownload(server, "/file.bin", Callbacks::All);
  download->RunToState(12);
  EXPECT_EQ(Starting(download->Take(), "progress "),
            (Lines{"progress 0 of 4294967295", "progress 16 of 4294967295", "progress 32 of 4294967295",
                   "progress 48 of 4294967295"}));
}

TEST_F(TransferProgress, TellsTheElapsedTimeAtTheEnd) {
  ScriptedServer server({Answers("0", Okay(10))});
  auto download = NewDownload(server, "/file.bin", Callbacks::All);
  download->RunToState(11);
  download->Take();
  clockMilliseconds += 1234;
  download->RunToState(12);
  EXPECT_EQ(Starting(download->Take(), "time ").back(), "time 1234");
}

// ---- speed -------------------------------------------------------------------------------------

TEST_F(TransferProgress, SamplesTheSpeed_OnceMoreThanASecondHasPassed) {
  ScriptedServer server({Answers("0", Okay(16000))});
  auto download = NewDownload(server, "/file.bin", Callbacks::All);
  download->RunToState(11);
  Settle();
  clockMilliseconds += 1000;
  // 4096 bytes a step without a speed.
  download->Idle();
  EXPECT_EQ(Starting(download->Take(), "speed "), Lines{});
  clockMilliseconds += 1;
  download->Idle();
  const Lines lines = download->Take();
  // The first report of the second step, of byte 4080 or 4096, is the sample: 1001 milliseconds after the
  // begin.
  ASSERT_EQ(Starting(lines, "speed ").size(), 1u);
  EXPECT_EQ(Starting(lines, "speed ")[0], "speed 4091");
  EXPECT_EQ(Starting(lines, "time ").size(), 1u);
}

TEST_F(TransferProgress, TellsNoSpeed_WhenNobodyWantsProgress) {
  static Lines* notes;
  Lines seen;
  notes = &seen;
  static const VRXClientMethods withoutProgress = {
      nullptr,
      nullptr,
      nullptr,
      [](Word, uint32_t value) { notes->push_back("time " + std::to_string(value)); },
      [](Word, float) { notes->push_back("speed"); },
      nullptr};
  ScriptedServer server({Answers("0", Okay(40000))});
  auto download = NewDownload(server);
  VRXClient_SetMethods(*download, 0, &withoutProgress);
  download->RunToState(11);
  seen.clear();
  while (download->State() == 11) {
    clockMilliseconds += 2000;
    download->Idle();
  }
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].substr(0, 5), "time ");
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.speedSamples, 0u);
}

TEST_F(TransferProgress, CountsASampleInTheStatisticsOfTheServer) {
  ScriptedServer server({Answers("0", Okay(16000))});
  auto download = NewDownload(server, "/file.bin", Callbacks::All);
  download->RunToState(11);
  Settle();
  clockMilliseconds += 2000;
  download->Idle();
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  // The first report is of byte 0, where the sample began: no speed, but the sample's time is over.
  EXPECT_EQ(entry.speedSamples, 0u);
  clockMilliseconds += 2000;
  download->Idle();
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), 0);
  EXPECT_EQ(entry.speedSamples, 1u);
  EXPECT_GT(entry.averageSpeed, 1000.0f);
}

TEST_F(TransferProgress, EstimatesTheTimeFromTheAverageOfTheServer) {
  ScriptedServer server(
      {Answers("0", Okay(16000)),
       AnswersAndStalls("0", Okay(0).substr(0, 17) + "Content-Length: 40910\r\n\r\nx", "/next.bin")});
  auto first = NewDownload(server, "/file.bin", Callbacks::All);
  first->RunToState(11);
  Settle();
  first->Idle();
  clockMilliseconds += 1001;
  first->RunToCompletion();
  ASSERT_EQ(Starting(first->All(), "speed "), Lines{"speed 4091"});
  auto second = NewTransfer();
  ASSERT_EQ(second->Download(URL(server, "/next.bin"), Out("next.bin"), Callbacks::All), 0);
  second->RunToState(11);
  // 40910 bytes at 4091.9 bytes a second.
  EXPECT_EQ(Starting(second->Take(), "time "), Lines{"time 9"});
}

// ---- the size of a data step -------------------------------------------------------------------

TEST_F(TransferProgress, MovesFourKilobytesAtATime_WhenTheSpeedIsUnknown) {
  static std::vector<uint64_t> steps;
  steps.clear();
  static const VRXClientMethods64 methods = {
      nullptr, [](Word, uint64_t done, uint64_t) { steps.push_back(done); }, nullptr, nullptr, nullptr,
      nullptr};
  ScriptedServer server({Answers("0", Okay(10000))});
  auto download = NewDownload(server);
  VRXClient_SetMethods64(*download, 0, &methods);
  download->RunToState(11);
  Settle();
  download->RunToState(12);
  EXPECT_EQ(steps, (std::vector<uint64_t>{4096, 8192, 10000}));
}

TEST_F(TransferProgress, MovesMoreAtATime_OnceTheSpeedIsKnown) {
  static std::vector<uint64_t> steps;
  steps.clear();
  static const VRXClientMethods64 methods = {
      nullptr, [](Word, uint64_t done, uint64_t) { steps.push_back(done); }, nullptr, nullptr, nullptr,
      nullptr};
  ScriptedServer server({Answers("0", Okay(30000))});
  auto download = NewDownload(server);
  VRXClient_SetMethods64(*download, 0, &methods);
  download->RunToState(11);
  Settle();
  // 4096 bytes in 2000 milliseconds are 2048 bytes a second: 1024 above the first 1024.
  clockMilliseconds += 2000;
  download->Idle();
  download->Idle();
  // 1024 bytes in 1001 milliseconds are less than 1024 a second: the smallest step.
  clockMilliseconds += 1001;
  download->Idle();
  download->Idle();
  EXPECT_EQ(steps, (std::vector<uint64_t>{4096, 5120, 6144, 7168}));
}

TEST_F(TransferProgress, IsTheSameForAllSizesOfBufferThatTheSpeedAsksFor) {
  // s - 1024 rounded up to 1024, 2048 or 4096 bytes, between 1024 and 12288.
  EXPECT_EQ(iVRXClient_BufferSizeFor(0.0f), 4096u);
  EXPECT_EQ(iVRXClient_BufferSizeFor(1.0f), 1024u);
  EXPECT_EQ(iVRXClient_BufferSizeFor(1024.0f), 1024u);
  EXPECT_EQ(iVRXClient_BufferSizeFor(2048.0f), 1024u);
  EXPECT_EQ(iVRXClient_BufferSizeFor(2049.0f), 2048u);
  EXPECT_EQ(iVRXClient_BufferSizeFor(3072.0f), 2048u);
  EXPECT_EQ(iVRXClient_BufferSizeFor(7167.0f), 6144u);    // k = 10
  EXPECT_EQ(iVRXClient_BufferSizeFor(7168.0f), 6144u);    // k = 11
  EXPECT_EQ(iVRXClient_BufferSizeFor(7169.0f), 8192u);    // k = 11
  EXPECT_EQ(iVRXClient_BufferSizeFor(13311.0f), 12288u);  // k = 11
  EXPECT_EQ(iVRXClient_BufferSizeFor(13312.0f), 12288u);  // k = 12
  EXPECT_EQ(iVRXClient_BufferSizeFor(1000000.0f), 12288u);
  EXPECT_EQ(iVRXClient_BufferSizeFor(1e30f), 12288u);
}

}  // namespace
}  // namespace transfer
