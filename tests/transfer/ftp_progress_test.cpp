// What the callbacks of transfers over FTP are told while the data moves: sizes, progress, speed, time; and
// how much one step moves.
#include <algorithm>
#include <atomic>

#include "tests/transfer/ftp_trace.h"

using namespace script;

namespace transfer {
namespace {

class FTPProgress : public FTPTransferTest {
 protected:
  static Script ServesSize(const std::string& size, const Script& data) {
    return ftp::Join(
        {wire::Begins(), wire::TellsSize(size), wire::CanRestart(), wire::StartsRetrieve(), data});
  }
  // Waits for the test's sign.
  ScriptStep WaitForSign() {
    return Do([this](ScriptSession& session) {
      while (!sign_ && session.Wait(5)) {
      }
    });
  }
  static Lines Only(const Lines& lines, const std::string& begin) {
    Lines found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                 [&](const std::string& line) { return line.starts_with(begin); });
    return found;
  }

  std::atomic<bool> sign_{false};
};

Lines ProgressFrom(uint32_t first, uint32_t step, uint32_t total) {
  Lines lines;
  for (uint32_t done = first; done < total; done += step) {
    lines.push_back("progress " + std::to_string(done) + " of " + std::to_string(total));
  }
  return lines;
}

// ---- size, progress and time -------------------------------------------------------------------

TEST_F(FTPProgress, IsToldFromTheSizeToTheEnd) {
  ScriptedServer server({ServesSize("3200", wire::SendsAndQuits(std::string(3200, 'x')))});
  auto download = Get(server, "/pub/f.bin", "u:p@", Callbacks::All);
  download->RunToState(9);
  download->Take();
  download->RunToCompletion();
  EXPECT_EQ(WithoutDataSteps(download->Take()),
            Join({{"File size is 3200 bytes.", "size 3200", "time 4294967295", "Idle: 1, state 7",
                   "Idle: 0, state 10", "Initiating download...", "size 3200", "time 4294967295",
                   "Server supports pause/resume.", "Downloading..."},
                  ProgressFrom(0, 16, 3200),
                  {"Download completed on DATE.", "time 0", "Idle: 1, state 12",
                   "Moving file to \"OUT/f.bin\"...", "Idle: 1, state 13", "Idle: 5, state 14"}}));
}

TEST_F(FTPProgress, BeginsAtTheOffset) {
  ScriptedServer server({ftp::Join({wire::Begins(), wire::TellsSize("3200"), wire::RestartsAt("1600"),
                                    wire::SendsAndQuits(std::string(1600, 'x'))})});
  auto download = Resume(server, std::string(1600, 'a'), Callbacks::All);
  download->RunToState(11);
  download->Take();
  download->RunToState(12);
  EXPECT_EQ(Only(download->Take(), "progress "), ProgressFrom(1600, 16, 3200));
}

TEST_F(FTPProgress, IsToldAHundredTimes_WhenTheFileIsSmall) {
  ScriptedServer server({ServesSize("400", wire::SendsAndQuits(std::string(400, 'x')))});
  auto download = Get(server, "/pub/f.bin", "u:p@", Callbacks::All);
  download->RunToCompletion();
  EXPECT_EQ(Only(download->Take(), "progress "), ProgressFrom(0, 4, 400));
}

TEST_F(FTPProgress, IsToldInUploadsToo) {
  ScriptedServer server({ftp::Join(
      {wire::GreetsAndLogsIn(), wire::KnowsNoMirrors("/pub/x.bin"), ftp::Exchange("CWD /pub", "250 ok"),
       ftp::Exchange("TYPE I", "200 ok"), wire::TellsSize("1600"), ftp::Passive(),
       ftp::Exchange("REST 1600", "350 ok"), ftp::Started("STOR f.bin"), ftp::TakesFile(), ftp::Quit()})});
  auto upload = Put(server, std::string(3200, 'x'), "/pub/x.bin", Callbacks::All);
  upload->RunToState(9);
  upload->Take();
  upload->RunToState(11);
  // The size is that of the copy.
  EXPECT_EQ(upload->Take(),
            (Lines{"File size is 1600 bytes.", "size 3200", "time 4294967295", "Idle: 1, state 7",
                   "Idle: 0, state 10", "Initiating download...", "size 3200", "time 4294967295",
                   "Server supports pause/resume.", "Downloading...", "Idle: 0, state 11"}));
  upload->RunToState(12);
  const Lines progress = Only(upload->Take(), "progress ");
  ASSERT_FALSE(progress.empty());
  EXPECT_EQ(progress.front().substr(0, 14), "progress 1600 ");
}

TEST_F(FTPProgress, TellsTheLogOnlyWhenItWasRead) {
  ScriptedServer server({ftp::Join({wire::GreetsAndLogsIn(), ftp::Quit()})});
  auto download = Get(server, "/pub/f.bin", "u:p@", Callbacks::All);
  download->RunToState(4);
  EXPECT_EQ(Only(download->Take(), "log changed"), Lines());
  const char* text = nullptr;
  EXPECT_EQ(VRXClient_GetInfo(*download, &text), Error_None);
  download->Idle();
  EXPECT_EQ(Only(download->Take(), "log changed"), Lines{"log changed"});
}

// ---- speed -------------------------------------------------------------------------------------

TEST_F(FTPProgress, TakesASampleOfTheSpeed_WhenASecondHasPassed) {
  ScriptedServer server(
      {ServesSize("1600", ftp::Join({{DataSend(std::string(800, 'x')), WaitForSign(),
                                      DataSend(std::string(800, 'x')), DataClose(), SendLine("226 done")},
                                     ftp::Quit()}))});
  auto download = Get(server, "/pub/f.bin", "u:p@", Callbacks::All);
  uint32_t last = 0;
  download->onProgress = [&](uint32_t done, uint32_t) { last = done; };
  download->RunToState(11);
  while (last < 784) download->Idle();
  download->Take();
  clockMilliseconds = clockMilliseconds + 2000;
  sign_ = true;
  download->RunToState(12);
  // 800 bytes in two seconds; the 800 bytes that are left take as long.
  EXPECT_EQ(WithoutDataSteps(download->Take()),
            Join({{"speed 400", "time 2"},
                  ProgressFrom(800, 16, 1600),
                  {"Download completed on DATE.", "time 2000", "Idle: 1, state 12"}}));
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), Error_None);
  EXPECT_EQ(entry.speedSamples, 1u);
  EXPECT_EQ(entry.averageSpeed, 400.0f);
}

TEST_F(FTPProgress, TakesNoSampleOfTheSpeed_WithinASecond) {
  ScriptedServer server(
      {ServesSize("1600", ftp::Join({{DataSend(std::string(800, 'x')), WaitForSign(),
                                      DataSend(std::string(800, 'x')), DataClose(), SendLine("226 done")},
                                     ftp::Quit()}))});
  auto download = Get(server, "/pub/f.bin", "u:p@", Callbacks::All);
  uint32_t last = 0;
  download->onProgress = [&](uint32_t done, uint32_t) { last = done; };
  download->RunToState(11);
  while (last < 784) download->Idle();
  clockMilliseconds = clockMilliseconds + 1000;
  sign_ = true;
  download->RunToState(12);
  EXPECT_EQ(Only(download->Take(), "speed "), Lines());
}

TEST_F(FTPProgress, TakesNoSampleOfTheSpeed_WhenNobodyWantsProgress) {
  ScriptedServer server({ServesSize(
      "1600", ftp::Join({{WaitForSign(), DataSend(std::string(1600, 'x')), DataClose(), SendLine("226 done")},
                         ftp::Quit()}))});
  auto download = Get(server);
  download->RunToState(11);
  clockMilliseconds = clockMilliseconds + 2000;
  sign_ = true;
  download->RunToState(12);
  VRXClientServer entry;
  ASSERT_EQ(VRXClient_GetServer(*download, 0, &entry), Error_None);
  EXPECT_EQ(entry.speedSamples, 0u);
  EXPECT_EQ(entry.averageSpeed, -1.0f);
}

// ---- how much one step moves -------------------------------------------------------------------

// Sizes of the data file after each step.
struct Steps {
  static void Progress(Word steps, uint64_t done, uint64_t) {
    reinterpret_cast<Steps*>(steps)->done.push_back(done);
  }
  uint64_t Largest() const {
    uint64_t largest = 0;
    uint64_t before = 0;
    for (const uint64_t now : done) {
      largest = std::max(largest, now - before);
      before = now;
    }
    return largest;
  }
  std::vector<uint64_t> done;
};

constexpr VRXClientMethods64 kSteps = {nullptr, Steps::Progress, nullptr, nullptr, nullptr, nullptr};

TEST_F(FTPProgress, MovesAtMost4096BytesAStep_WithoutASpeed) {
  ScriptedServer server({ServesSize("100000", wire::SendsAndQuits(std::string(100000, 'x')))});
  auto download = Get(server);
  Steps steps;
  EXPECT_EQ(VRXClient_SetMethods64(*download, reinterpret_cast<Word>(&steps), &kSteps), Error_None);
  download->RunToCompletion();
  EXPECT_EQ(steps.Largest(), 4096u);
}

TEST_F(FTPProgress, MovesMoreAStep_WhenTheSpeedIsHigher) {
  struct Row {
    uint32_t firstBytes;  // moved in two seconds
    uint64_t largestStep;
  };
  // Speeds of 400, 5000, 7168, 9000, 13312 and 30000 bytes a second. Less than 1024 is one step at least; the
  // rest is rounded up to 1024, 2048 or 4096.
  for (const Row& row : {Row{800, 1024}, Row{10000, 4096}, Row{14336, 6144}, Row{18000, 8192},
                         Row{26624, 12288}, Row{60000, 12288}}) {
    SCOPED_TRACE(row.firstBytes);
    ForgetServers();
    sign_ = false;
    // Steps of 16 bytes, the last of which is not told: with the first bytes behind it, the sample is exact.
    const uint32_t total = row.firstBytes + 160000;
    ScriptedServer server(
        {ServesSize(std::to_string(total),
                    ftp::Join({{DataSend(std::string(row.firstBytes, 'x')), WaitForSign(),
                                DataSend(std::string(160000, 'x')), DataClose(), SendLine("226 done")},
                               ftp::Quit()}))});
    // The stated table brings the sample, the other one tells the steps.
    auto download = Get(server, "/pub/f.bin", "u:p@", Callbacks::All);
    Steps steps;
    EXPECT_EQ(VRXClient_SetMethods64(*download, reinterpret_cast<Word>(&steps), &kSteps), Error_None);
    download->RunToState(11);
    while (steps.done.empty() || steps.done.back() < row.firstBytes) download->Idle();
    clockMilliseconds = clockMilliseconds + 2000;
    sign_ = true;
    download->RunToState(12, 100000);
    steps.done.erase(steps.done.begin(), std::find_if(steps.done.begin(), steps.done.end(),
                                                      [&](uint64_t done) { return done > row.firstBytes; }));
    // The first step behind the pause has the old size, and brings the sample.
    ASSERT_FALSE(steps.done.empty());
    EXPECT_LE(steps.done.front(), row.firstBytes + 4096u);
    Steps later;
    for (const uint64_t done : steps.done) later.done.push_back(done - steps.done.front());
    EXPECT_EQ(later.Largest(), row.largestStep);
  }
}

}  // namespace
}  // namespace transfer
