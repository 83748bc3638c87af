// A synchroniser's life: made, started, stopped, deleted.
#include <atomic>
#include <string>

#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/synchro/synchro_fixture.h"
#include "tests/synchro/synchro_ftp_fixture.h"

namespace {

using namespace script;
using ftp::Join;
using synchro::FileLine;
using synchro::Lines;
using synchro::List;
using synchro::Login;
using synchro::Outcome;

class SynchroLifeTest : public synchro::Test {
 protected:
  // A server whose listing does not come to an end.
  Script Stalls() {
    return Join({Login(),
                 ftp::Exchange("CWD /pub/", "250 ok"),
                 ftp::Passive(),
                 ftp::Started("LIST"),
                 {Do([this](ScriptSession&) { isStalled_ = true; }), DataStall()}});
  }
  static void WaitFor(const std::atomic<bool>& isThere) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!isThere && std::chrono::steady_clock::now() < end)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(isThere);
  }

  std::atomic<bool> isStalled_{false};
};

// ---- making ------------------------------------------------------------------------------------

TEST_F(SynchroLifeTest, NeedsADirection) {
  for (const uint32_t flags : {0u, 4u, 8u, 12u, 0x80000000u, 0x8000000Cu}) {
    Synchro* synchro = reinterpret_cast<Synchro*>(1);
    EXPECT_EQ(Synchro_New("t", flags, "file:///a", "file:///b", &synchro), Error_NotFound) << flags;
    EXPECT_EQ(synchro, nullptr);
  }
}

TEST_F(SynchroLifeTest, NeedsURLs) {
  Synchro* synchro = nullptr;
  EXPECT_EQ(Synchro_New("t", 1, "no url", "file:///b", &synchro), Error_Invalid);
  EXPECT_EQ(Synchro_New("t", 1, "file:///a", "gopher://x", &synchro), Error_Invalid);
  EXPECT_EQ(Synchro_New(nullptr, 1, "file:///a", "file:///b", &synchro), Error_Invalid);
  EXPECT_EQ(Synchro_New("t", 1, nullptr, "file:///b", &synchro), Error_Invalid);
  EXPECT_EQ(Synchro_New("t", 1, "file:///a", nullptr, &synchro), Error_Invalid);
  EXPECT_EQ(Synchro_New("t", 1, "file:///a", "file:///b", nullptr), Error_Invalid);
  EXPECT_EQ(synchro, nullptr);
}

TEST_F(SynchroLifeTest, SucceedsWithoutASynchroniser_WhenTheIndexCannotBeRead) {
  std::filesystem::create_directory(CachePath("t.sync"));
  Synchro* synchro = reinterpret_cast<Synchro*>(1);
  EXPECT_EQ(Synchro_New("t", 1, "file:///a", "file:///b", &synchro), Error_None);
  EXPECT_EQ(synchro, nullptr);
  EXPECT_EQ(Synchro_New(std::string(1020, 'n').c_str(), 1, "file:///a", "file:///b", &synchro), Error_None);
  EXPECT_EQ(synchro, nullptr);
}

TEST_F(SynchroLifeTest, IsCreatedWithCountersOfZero) {
  Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
  uint32_t counters[5] = {9, 9, 9, 9, 9};
  EXPECT_EQ(Synchro_Status(synchro, counters), SynchroState_Created);
  for (const uint32_t counter : counters) EXPECT_EQ(counter, 0u);
  Synchro_Delete(synchro);
}

TEST_F(SynchroLifeTest, AllowsNull) {
  uint32_t counters[5] = {9, 9, 9, 9, 9};
  EXPECT_EQ(Synchro_Status(nullptr, counters), Error_Invalid);
  EXPECT_EQ(counters[4], 0u);
  EXPECT_EQ(Synchro_Go(nullptr), Error_Invalid);
  EXPECT_EQ(Synchro_Stop(nullptr), Error_Invalid);
  EXPECT_EQ(Synchro_SetStatusMethod(nullptr, 0, nullptr), nullptr);
  Synchro_Delete(nullptr);
}

TEST_F(SynchroLifeTest, LivesBesideOthers) {
  Put("src/a", "a");
  Synchro* first = New(1, FileURL("src"), FileURL("dst"));
  Synchro* second = nullptr;
  ASSERT_EQ(Synchro_New("other", 1, FileURL("src").c_str(), FileURL("third").c_str(), &second), Error_None);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(Synchro_Go(first), Error_None);
  EXPECT_EQ(Synchro_Go(second), Error_None);
  Wait(first);
  Wait(second);
  Synchro_Delete(first);
  Synchro_Delete(second);
  EXPECT_EQ(Tree("dst"), "a=a");
  EXPECT_EQ(Tree("third"), "a=a");
}

TEST_F(SynchroLifeTest, ReleasesAll_WhenAnyAllocationFails) {
  FailEveryAllocation([&] {
    Synchro* synchro = nullptr;
    const ErrorCode status = Synchro_New("t", 1, "file:///a", "file:///b", &synchro);
    EXPECT_TRUE(status == Error_Memory || status == Error_None) << status;
    EXPECT_TRUE(status == Error_None || synchro == nullptr);
    Synchro_Delete(synchro);
  });
}

TEST_F(SynchroLifeTest, CopiesTenFiles_WhicheverAllocationFailed) {
  for (int i = 0; i < 10; ++i)
    Put("src/sub/file" + std::to_string(i), std::string(100, static_cast<char>('a' + i)));
  FailEveryAllocation([&] {
    Synchro* synchro = nullptr;
    Synchro_New("t", SynchroFlag_Recurse | 1, FileURL("src").c_str(), FileURL("dst").c_str(), &synchro);
    if (synchro == nullptr) return;
    const ErrorCode started = Synchro_Go(synchro);
    EXPECT_TRUE(started == Error_None || started == Error_Memory);
    Wait(synchro);
    Synchro_Delete(synchro);
  });
  for (int i = 0; i < 10; ++i)
    EXPECT_EQ(root_.Read("dst/sub/file" + std::to_string(i)), std::string(100, static_cast<char>('a' + i)));
  EXPECT_EQ(RunLocal(SynchroFlag_Recurse | 1).counters, "0 0 0 0 0");
}

TEST_F(SynchroLifeTest, DeletesNothing_WhicheverAllocationFailed) {
  Put("src/sub/a", "a");
  Put("dst/sub/a", "mine");
  FailEveryAllocation([&] {
    ForgetTables();
    Synchro* synchro = nullptr;
    Synchro_New("t", SynchroFlag_Recurse | 9, FileURL("src").c_str(), FileURL("dst").c_str(), &synchro);
    if (synchro == nullptr) return;
    Synchro_Go(synchro);
    Wait(synchro);
    Synchro_Delete(synchro);
    EXPECT_EQ(Tree("dst"), "sub/ sub/a=mine");
  });
}

// ---- running -----------------------------------------------------------------------------------

TEST_F(SynchroLifeTest, RunsWithoutAStatusMethod) {
  Put("src/a", "a");
  Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
  Synchro_SetStatusMethod(synchro, 0, nullptr);
  EXPECT_EQ(Synchro_Go(synchro), Error_None);
  Wait(synchro);
  uint32_t counters[5];
  EXPECT_EQ(Synchro_Status(synchro, counters), SynchroState_Finished);
  EXPECT_EQ(counters[SynchroCounter_CopiedToDestination], 1u);
  Synchro_Delete(synchro);
}

TEST_F(SynchroLifeTest, StartsNoSecondRunBesideTheFirst) {
  ScriptedServer server({Stalls()});
  server.AllowUnfinished();
  Synchro* const synchro = New(1, FTPURL(server), FileURL("dst"));
  EXPECT_EQ(Synchro_Go(synchro), Error_None);
  WaitFor(isStalled_);
  EXPECT_EQ(Synchro_Status(synchro, nullptr), SynchroState_Running);
  bool isTold = false;
  onLine_ = [&](const std::string& line) { isTold = isTold || line == "Go: Already running!"; };
  EXPECT_EQ(Synchro_Go(synchro), Error_None);
  EXPECT_TRUE(isTold);
  onLine_ = nullptr;
  Synchro_Delete(synchro);
  EXPECT_EQ(server.Connections(), 1u);
  server.Stop();
}

TEST_F(SynchroLifeTest, RunsAgainAfterEitherEnd) {
  Put("src/a", "a");
  Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
  EXPECT_EQ(Go(synchro).counters, "0 0 0 1 0");
  Put("src/b", "b");
  EXPECT_EQ(Go(synchro).counters, "0 0 0 1 0") << "the counters begin anew";
  EXPECT_EQ(Go(synchro).counters, "0 0 0 0 0");
  Synchro_Delete(synchro);
}

TEST_F(SynchroLifeTest, FailsWithTheStatusOfTheConnection) {
  const std::string url = "ftp://127.0.0.1:" + std::to_string(loopback::UnusedPort()) + "/x";
  const Outcome outcome = Run(1, url, FileURL("dst"));
  EXPECT_EQ(outcome.state, SynchroState_Failed);
  EXPECT_EQ(outcome.counters, "-5 0 0 0 0");
  EXPECT_EQ(outcome.lines, (Lines{"Go!", "Pushed \"\""}));
}

TEST_F(SynchroLifeTest, RefusesOtherProtocols) {
  for (const char* const url : {"https://127.0.0.1/", "ftpu://127.0.0.1/", "vrxu://127.0.0.1/"}) {
    const Outcome outcome = Run(1, url, FileURL("dst"));
    EXPECT_EQ(outcome.state, SynchroState_Failed) << url;
    EXPECT_EQ(outcome.counters, "-4 0 0 0 0");
  }
}

TEST_F(SynchroLifeTest, CannotListAnHTTPServer) {
  ScriptedServer server({{ReadToEnd()}});
  server.RepeatLast();
  Call(server.address(), "HOST");
  Put("src/a", "a");
  const Outcome source = Run(1, "http://" + server.address() + "/pub", FileURL("dst"));
  EXPECT_EQ(source.lines,
            (Lines{"Go!", "Pushed \"\"", "Synchronizing...", "Retrieving source listing http://HOST/pub/...",
                   "* Retrieval failed: Not Inited"}));
  EXPECT_EQ(source.state, SynchroState_Finished);
  const Outcome destination = Run(1, FileURL("src"), "http://" + server.address() + "/pub");
  EXPECT_EQ(destination.lines.back(), "* Retrieval failed: Not Inited");
  EXPECT_EQ(destination.state, SynchroState_Finished);
}

// ---- stopping ----------------------------------------------------------------------------------

TEST_F(SynchroLifeTest, StopsInsideAWait) {
  ScriptedServer server({Stalls()});
  server.AllowUnfinished();
  Synchro* const synchro = New(1, FTPURL(server), FileURL("dst"));
  EXPECT_EQ(Synchro_Go(synchro), Error_None);
  WaitFor(isStalled_);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Synchro_Stop(synchro), Error_None);
  EXPECT_EQ(Synchro_Status(synchro, nullptr), SynchroState_StopRequested);
  EXPECT_EQ(Synchro_Go(synchro), Error_Cancel);
  Synchro_Delete(synchro);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  server.Stop();
}

TEST_F(SynchroLifeTest, StopsInsideAFile_AndRemovesWhatWasWritten) {
  Put("dst/a", "old");
  WriteTable("a:0:True:False:3:1.0:True:False:3:1000000000.0\n");
  std::atomic<bool> isSending{false};
  ScriptedServer server({Join({Login(),
                               List("/pub/", FileLine("a", "9")),
                               ftp::Exchange("SIZE /pub/a", "213 9"),
                               ftp::Passive(),
                               ftp::Started("RETR /pub/a"),
                               {DataSend("half")},
                               {Do([&](ScriptSession&) { isSending = true; }), DataStall()}})});
  server.AllowUnfinished();
  Synchro* const synchro = New(1, FTPURL(server), FileURL("dst"));
  EXPECT_EQ(Synchro_Go(synchro), Error_None);
  WaitFor(isSending);
  const auto start = std::chrono::steady_clock::now();
  Synchro_Stop(synchro);
  Synchro_Delete(synchro);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(Tree("dst"), "a=old");
  EXPECT_EQ(Table("/"), "a:2:True:False:9:852454980.0:True:False:3:1000000000.0\n");
  EXPECT_EQ(CacheNames(), (Lines{"syncentry1", "t.sync"}));
  server.Stop();
}

TEST_F(SynchroLifeTest, StopsBetweenFiles_AndRemembersWhatWasDone) {
  Put("src/sub/a", "a");
  Put("src/sub/b", "b");
  Synchro* const synchro = New(SynchroFlag_Recurse | 1, FileURL("src"), FileURL("dst"));
  onLine_ = [&](const std::string& line) {
    if (line.find("->") != std::string::npos) Synchro_Stop(synchro);
  };
  const Outcome outcome = Go(synchro);
  Synchro_Delete(synchro);
  onLine_ = nullptr;
  EXPECT_EQ(outcome.state, SynchroState_StopRequested);
  EXPECT_EQ(root_.List("dst/sub").size(), 1u);
  for (const std::string& line : AllLines()) EXPECT_FALSE(line.starts_with("Exiting")) << line;
  const Outcome rest = RunLocal(SynchroFlag_Recurse | 1);
  EXPECT_EQ(rest.counters, "0 0 0 1 0");
  EXPECT_EQ(Tree("dst"), "sub/ sub/a=a sub/b=b");
}

TEST_F(SynchroLifeTest, StartsNothingAfterAStop) {
  Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
  EXPECT_EQ(Synchro_Stop(synchro), Error_None);
  const Outcome outcome = Go(synchro);
  EXPECT_EQ(outcome.go, Error_Cancel);
  EXPECT_EQ(outcome.lines, Lines{});
  EXPECT_EQ(outcome.state, SynchroState_StopRequested);
  Synchro_Delete(synchro);
}

TEST_F(SynchroLifeTest, MayBeDeletedRightAfterItsStart) {
  Put("src/a", "a");
  for (int i = 0; i < 20; ++i) {
    Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
    EXPECT_EQ(Synchro_Go(synchro), Error_None);
    Synchro_Delete(synchro);
  }
}

TEST_F(SynchroLifeTest, IsRunningAlready_WhenItsFirstLineIsSent) {
  const ErrorCapture capture;
  Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
  int32_t hasStarted = -1;
  onLine_ = [&](const std::string& line) {
    if (line != "Go!" || hasStarted != -1) return;
    hasStarted = Synchro_Go(synchro);
    Synchro_Delete(synchro);
  };
  const Outcome outcome = Go(synchro);
  EXPECT_EQ(hasStarted, Error_None);
  EXPECT_EQ(outcome.state, SynchroState_Finished);
  EXPECT_EQ(Lines(outcome.lines.begin(), outcome.lines.begin() + 3),
            (Lines{"Go!", "Go: Already running!", "Pushed \"\""}));
  EXPECT_EQ(capture.Lines(), Lines{"#### Error: Synchro_Delete: called from the status method\n"});
  Synchro_Delete(synchro);
}

TEST_F(SynchroLifeTest, RefusesToBeDeletedFromItsOwnRun) {
  const ErrorCapture capture;
  Synchro* const synchro = New(1, FileURL("src"), FileURL("dst"));
  onLine_ = [&](const std::string& line) {
    if (line == "Synchronizing...") Synchro_Delete(synchro);
  };
  EXPECT_EQ(Go(synchro).state, SynchroState_Finished);
  EXPECT_EQ(capture.Lines(), Lines{"#### Error: Synchro_Delete: called from the status method\n"});
  Synchro_Delete(synchro);
}

}  // namespace
