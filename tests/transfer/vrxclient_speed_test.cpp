// Progress, speed, time estimates and elapsed time.
#include <gtest/gtest.h>

#include <string>

#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

using TransferSpeed = ConversationTest;

// Sends the body in two parts, which two steps read.
Script InTwoParts(size_t each) {
  return {Expect(talk::Request("/f")),
          Send("HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(2 * each) + "\r\n\r\n" +
               std::string(each, 'a')),
          Wait(200),
          Send(std::string(each, 'b')),
          Finish(),
          ReadToEnd()};
}

TEST_F(TransferSpeed, ReportsEverySixteenthByteAtTheBeginOfItsStep) {
  ScriptedServer server({InTwoParts(1600)});
  Conversation transfer(this);
  transfer.wantsProgress = true;
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::Data);
  transfer.Reports();
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  Lines reports = transfer.Reports();
  ASSERT_EQ(reports.size(), 201u);
  for (size_t i = 0; i < 200; ++i) ASSERT_EQ(reports[i], "progress " + std::to_string(16 * i) + " of 3200");
  EXPECT_EQ(reports.back(), "time 0");  // elapsed
  server.Finish();
}

TEST_F(TransferSpeed, ReportsAHundredTimes_WhenThatIsMore) {
  ScriptedServer server({InTwoParts(100)});
  Conversation transfer(this);
  transfer.wantsProgress = true;
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::Data);
  transfer.Reports();
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  const Lines reports = transfer.Reports();
  ASSERT_EQ(reports.size(), 101u);
  EXPECT_EQ(reports[0], "progress 0 of 200");
  EXPECT_EQ(reports[1], "progress 2 of 200");
  EXPECT_EQ(reports[99], "progress 198 of 200");
  server.Finish();
}

TEST_F(TransferSpeed, SamplesTheSpeedAfterMoreThanASecond) {
  ScriptedServer server({InTwoParts(1600)});
  Conversation transfer(this);
  transfer.wantsProgress = true;
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  transfer.Reports();
  NowMilliseconds() += 2000;
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  const Lines reports = transfer.Reports();
  ASSERT_EQ(reports.size(), 102u);
  EXPECT_EQ(reports[0], "speed 800.000000");
  EXPECT_EQ(reports[1], "time 2");
  EXPECT_EQ(reports[2], "progress 1600 of 3200");
  // The next step has a buffer for this speed.
  EXPECT_EQ(transfer.Step(), VRXClientResult_Changed);
  server.Finish();
}

TEST_F(TransferSpeed, SamplesNoBytesOfAnEarlierAttempt) {
  ScriptedServer server(
      {{Expect(talk::Request("/f", 1600)),
        Send("HTTP/1.0 206 P\r\nContent-Range: bytes 1600-4799/4800\r\n\r\n" + std::string(1600, 'a')),
        Wait(200), Send(std::string(1600, 'b')), Finish(), ReadToEnd()}});
  Conversation transfer(this);
  transfer.wantsProgress = true;
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold(std::string(1600, 'x'), 4800);
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  transfer.Reports();
  NowMilliseconds() += 2000;
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  EXPECT_EQ(transfer.Reports().front(), "speed 800.000000");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
}

TEST_F(TransferSpeed, TakesNoSampleWithinASecond) {
  ScriptedServer server({InTwoParts(1600)});
  Conversation transfer(this);
  transfer.wantsProgress = true;
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  transfer.Reports();
  NowMilliseconds() += 1000;
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  EXPECT_EQ(transfer.Reports().front(), "progress 1600 of 3200");
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
}

TEST_F(TransferSpeed, IsNotMeasured_WhenNobodyWantsProgress) {
  ScriptedServer server({InTwoParts(1600)});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  transfer.Reports();
  NowMilliseconds() += 2000;
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  EXPECT_EQ(transfer.Reports(), Lines());
  EXPECT_EQ(transfer.get()->bufferSize, 4096u);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  server.Finish();
}

struct Progress64 {
  Lines lines;
  static void Add(Word userData, uint64_t done, uint64_t total) {
    reinterpret_cast<Progress64*>(userData)->lines.push_back(
        std::to_string(done) + (total == kSizeUnknown ? "" : " of " + std::to_string(total)));
  }
};
constexpr VRXClientMethods64 kProgress64 = {nullptr, Progress64::Add, nullptr, nullptr, nullptr, nullptr};

TEST_F(TransferSpeed, ReportsOnceADataStepThroughTheTableWith64Bits) {
  ScriptedServer server({InTwoParts(1600)});
  Conversation transfer(this);
  Progress64 progress;
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(VRXClient_SetMethods64(transfer.get(), reinterpret_cast<Word>(&progress), &kProgress64),
            Error_None);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(progress.lines, Lines({"1600 of 3200", "3200 of 3200"}));
  server.Finish();
}

TEST_F(TransferSpeed, ReportsOnceAStepOfACopyThroughTheTableWith64Bits) {
  // A copy of this size moves a mebibyte a step.
  Files().Write("f", std::string(3145728, 'x'));
  Conversation transfer(this);
  Progress64 progress;
  transfer.Upload("f", "ftpu://a.invalid/in/x");
  EXPECT_EQ(VRXClient_SetMethods64(transfer.get(), reinterpret_cast<Word>(&progress), &kProgress64),
            Error_None);
  transfer.WorkUntil(TransferState::Connect);
  EXPECT_EQ(progress.lines, Lines({"1048576 of 3145728", "2097152 of 3145728", "3145728 of 3145728"}));
}

TEST_F(TransferSpeed, ReportsBytesAlone_WhenTheSizeIsUnknown) {
  ScriptedServer server(
      {{Expect(talk::Request("/f")), Send("HTTP/1.0 200 OK\r\n\r\nhello"), Finish(), ReadToEnd()}});
  Conversation transfer(this);
  Progress64 progress;
  transfer.Download(URL("http", server, "/f"));
  EXPECT_EQ(VRXClient_SetMethods64(transfer.get(), reinterpret_cast<Word>(&progress), &kProgress64),
            Error_None);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(progress.lines, Lines({"5"}));
  server.Finish();
}

TEST_F(TransferSpeed, CountsFromTheOffsetOfAResume) {
  ScriptedServer server(
      {{Expect(talk::Request("/f", 4)), Send("HTTP/1.0 206 P\r\nContent-Range: bytes 4-9/10\r\n\r\n567890"),
        Finish(), ReadToEnd()}});
  Conversation transfer(this);
  Progress64 progress;
  transfer.Download(URL("http", server, "/f"));
  transfer.Hold("1234", 10);
  EXPECT_EQ(VRXClient_SetMethods64(transfer.get(), reinterpret_cast<Word>(&progress), &kProgress64),
            Error_None);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(progress.lines, Lines({"10 of 10"}));
  server.Finish();
}

TEST_F(TransferSpeed, CountsWhatAnUploadReads) {
  ScriptedServer server(
      {ftp::Join({talk::LogIn("/x"), ftp::Exchange("CWD /", "250 ok"), talk::TypeAndSize("f", "550 none"),
                  talk::AskResume(), talk::Store("f"), ftp::Quit()})});
  Files().Write("f", "hello");
  Conversation transfer(this);
  Progress64 progress;
  transfer.Upload("f", URL("ftpu", server, "/x"));
  EXPECT_EQ(VRXClient_SetMethods64(transfer.get(), reinterpret_cast<Word>(&progress), &kProgress64),
            Error_None);
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  // The copy into the cache first.
  EXPECT_EQ(progress.lines.back(), "5 of 5");
  server.Finish();
}

TEST_F(TransferSpeed, KeepsTheElapsedTimeOfAllAttempts) {
  ScriptedServer server(
      {{Expect(talk::Request("/f")), Send("HTTP/1.0 206 P\r\nContent-Range: bytes 0-9/10\r\n\r\n1234"),
        ReadToEnd()},
       {Expect(talk::Request("/f", 4)), Send("HTTP/1.0 206 P\r\nContent-Range: bytes 4-9/10\r\n\r\n567890"),
        Finish(), ReadToEnd()}});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  NowMilliseconds() += 700;
  EXPECT_EQ(VRXClient_Stop(transfer.get()), 0);
  EXPECT_EQ(transfer.get()->data.elapsedMilliseconds, 700u);
  NowMilliseconds() += 5000;
  transfer.WorkUntil(TransferState::Data);
  NowMilliseconds() += 300;
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  transfer.Reports();
  EXPECT_EQ(transfer.Step(), VRXClientResult_Changed);
  EXPECT_EQ(transfer.Reports(), Lines({"time 1000"}));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.get()->data.elapsedMilliseconds, 1000u);
  server.Finish();
}

}  // namespace
