// Stopping a transfer: between steps, from a callback inside a step, and from another thread.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "tests/transfer/conversation_fixture.h"

using namespace script;

namespace {

using Stopping = ConversationTest;

// Calls VRXClient_Stop from another thread after a while, and tells how long the step took from then on.
class StopFromAnotherThread {
 public:
  explicit StopFromAnotherThread(VRXClient* client)
      : thread_([this, client] {
          std::this_thread::sleep_for(std::chrono::milliseconds(200));
          stopped_ = std::chrono::steady_clock::now();
          EXPECT_EQ(VRXClient_Stop(client), 0);
        }) {}
  ~StopFromAnotherThread() {
    const auto ended = std::chrono::steady_clock::now();
    thread_.join();
    EXPECT_LT(ended - stopped_, std::chrono::seconds(1));
  }

 private:
  std::chrono::steady_clock::time_point stopped_;
  std::thread thread_;
};

// A server that says nothing more once the login is under way, and one that stalls in the data.
Script StallsInLogin() {
  return {SendLine("220 ready"), ExpectLine("USER ftp"), Stall()};
}
Script StallsInData(const Script& rest) {
  return ftp::Join({talk::Before("f", 10),
                    talk::AskResume(),
                    ftp::Passive(),
                    ftp::Started("RETR f"),
                    {DataSend("1234")},
                    rest});
}

TEST_F(Stopping, EndsAStepThatWaitsForAReply) {
  ScriptedServer server({StallsInLogin()});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.WorkUntil(TransferState::Login);
  transfer.Messages();
  {
    const StopFromAnotherThread stop(transfer.get());
    EXPECT_EQ(transfer.Step(), VRXClientResult_Cancelled);
  }
  EXPECT_EQ(transfer.Messages(), Lines({"Logging in as \"ftp\"...", "Connection cancelled."}));
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  EXPECT_EQ(transfer.Servers(), Lines({"ftp://{A}/dir/f"}));
  server.Stop();
}

TEST_F(Stopping, EndsAStepThatWaitsForDataOverFTP_AndTheTransferResumes) {
  ScriptedServer server(
      {StallsInData({DataStall()}),
       ftp::Join({talk::Before("f", 10), talk::RetrieveFrom("f", 4, "567890"), ftp::Quit()})});
  server.AllowUnfinished();
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  transfer.Messages();
  {
    const StopFromAnotherThread stop(transfer.get());
    EXPECT_EQ(transfer.Step(), VRXClientResult_Cancelled);
  }
  EXPECT_EQ(transfer.Messages(), Lines({"Connection cancelled.", "Download stopped."}));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  EXPECT_EQ(Files().Read("target"), "1234567890");
}

TEST_F(Stopping, EndsAStepThatWaitsForDataOverHTTP) {
  ScriptedServer server({{Expect(talk::Request("/f")),
                          Send("HTTP/1.0 206 P\r\nContent-Range: bytes 0-9/10\r\n\r\n"), Stall()}});
  Conversation transfer(this);
  transfer.Download(URL("http", server, "/f"));
  transfer.WorkUntil(TransferState::Data);
  transfer.Messages();
  {
    const StopFromAnotherThread stop(transfer.get());
    EXPECT_EQ(transfer.Step(), VRXClientResult_Cancelled);
  }
  EXPECT_EQ(transfer.Messages(), Lines({"Connection cancelled."}));
  server.Stop();
}

TEST_F(Stopping, RemovesTheFiles_WhenACallbackOfTheCloseDeletesTheTransfer) {
  ScriptedServer server({StallsInData(
      {ExpectLine("ABOR"), SendLine("426 no"), ExpectLine("QUIT"), SendLine("221 bye"), ReadToEnd()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  EXPECT_EQ(DataFiles().size(), 1u);
  VRXClient* client = transfer.get();
  const std::string log = client->data.logPath;
  EXPECT_EQ(File_Exists(log.c_str(), nullptr), 1);
  transfer.onMessage = [client](const std::string& text) {
    EXPECT_EQ(text, "Download stopped.");
    EXPECT_EQ(VRXClient_Delete(client), Error_None);
  };
  transfer.Close();
  EXPECT_EQ(DataFiles(), Lines());
  EXPECT_EQ(File_Exists(log.c_str(), nullptr), 0);
  server.Finish();
}

TEST_F(Stopping, EndsTheNextCall_WhenNoStepRuns) {
  ScriptedServer server({StallsInData(
      {ExpectLine("ABOR"), SendLine("426 no"), ExpectLine("QUIT"), SendLine("221 bye"), ReadToEnd()})});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.WorkUntil(TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_None);
  transfer.Messages();
  std::thread([&transfer] { EXPECT_EQ(VRXClient_Stop(transfer.get()), 0); }).join();
  EXPECT_EQ(transfer.State(), TransferState::Data);
  EXPECT_EQ(transfer.Step(), VRXClientResult_Cancelled);
  EXPECT_EQ(transfer.Messages(), Lines({"Download stopped."}));
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  server.Finish();
}

TEST_F(Stopping, ClosesAtOnce_FromTheDrivingThread) {
  ScriptedServer server({{SendLine("220 ready"), ExpectLine("QUIT"), SendLine("221 bye"), ExpectEnd()}});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.WorkUntil(TransferState::Login);
  transfer.Messages();
  EXPECT_EQ(VRXClient_Stop(transfer.get()), 0);
  EXPECT_EQ(transfer.Messages(), Lines());
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  server.Finish();
}

TEST_F(Stopping, EndsTheStep_FromACallbackInsideIt) {
  ScriptedServer server({{SendLine("220 ready"), ExpectLine("QUIT"), SendLine("221 bye"), ExpectEnd()}});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  transfer.onMessage = [&transfer](const std::string& text) {
    if (text != "Connected.") return;
    EXPECT_EQ(VRXClient_Stop(transfer.get()), 0);
    EXPECT_EQ(VRXClient_Idle(transfer.get()), VRXClientResult_None);
    EXPECT_EQ(VRXClient_Poll(transfer.get()), VRXClientResult_None);
  };
  EXPECT_EQ(transfer.Work(), VRXClientResult_Cancelled);
  EXPECT_EQ(transfer.Messages(), Lines({"Trying \"ftp://{A}\"...", "Connected."}));
  EXPECT_EQ(transfer.Steps().back(), "2: 3");
  EXPECT_EQ(transfer.State(), TransferState::SelectServer);
  server.Finish();
}

TEST_F(Stopping, ClosesTheTransfer_FromACallbackInsideAStep) {
  ScriptedServer server({{SendLine("220 ready"), ExpectLine("QUIT"), SendLine("221 bye"), ExpectEnd()}});
  VRXClient* client = nullptr;
  static VRXClient** closed;
  closed = &client;
  static constexpr VRXClientMethods kMethods = {[](Word, const char* text) {
                                                  if (std::string(text) == "Connected.") {
                                                    EXPECT_EQ(VRXClient_Close(*closed), Error_None);
                                                  }
                                                },
                                                nullptr,
                                                nullptr,
                                                nullptr,
                                                nullptr,
                                                nullptr};
  const std::string url = URL("ftp", server, "/dir/f");
  ASSERT_EQ(VRXClient_NewDownload(url.c_str(), Files().Name("target").c_str(), 0, &kMethods, &client),
            Error_None);
  int32_t result = 0;
  while (result <= VRXClientResult_Changed) result = VRXClient_Idle(client);
  EXPECT_EQ(result, VRXClientResult_Cancelled);
  server.Finish();
}

TEST_F(Stopping, LeavesACompletedTransferAsItIs) {
  ScriptedServer server({talk::Download("f", "hello")});
  Conversation transfer(this);
  transfer.Download(URL("ftp", server, "/dir/f"));
  EXPECT_EQ(transfer.Work(), VRXClientResult_Completed);
  std::thread([&transfer] { EXPECT_EQ(VRXClient_Stop(transfer.get()), 0); }).join();
  EXPECT_EQ(transfer.Step(), VRXClientResult_Completed);
  EXPECT_EQ(transfer.ProbeStep(), VRXClientResult_Completed);
  server.Finish();
}

TEST_F(Stopping, GivesInvalid_WithoutATransfer) {
  EXPECT_EQ(VRXClient_Stop(nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_Idle(nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_Poll(nullptr), Error_Invalid);
}

}  // namespace
