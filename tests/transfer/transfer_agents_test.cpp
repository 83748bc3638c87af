// Agents in transfers: who takes part, the filter of an upload's copy, and what completion makes of their
// answers.
#include <array>
#include <deque>

#include "qz/agentclass.h"
#include "qz/agentparam.h"
#include "tests/support/error_capture.h"
#include "tests/transfer/transfer_trace.h"
#include "transfer/agentlist_testing.h"

namespace transfer {
namespace {

// What the agents of a class answer; class "Agent0" is behaviours[0] and so on.
struct Behaviour {
  ErrorCode check = Error_None;
  uint32_t reasonInNew = 0;
  std::deque<int32_t> completed;  // one answer a call; 0 when there is none
  bool wantsDeletion = false;
  ErrorCode startCache = Error_NotFound;
  uint32_t reasonInStartCache = 0;
  std::string serverFileName;  // what "startcache" leaves in the buffer
  std::string cacheBytes;      // what "startcache" writes
  std::function<void()> inCompleted;
};
std::array<Behaviour, 3> behaviours;
Lines seen;
VRXClient* seenClient;

std::string Text(AgentParam* params, const char* name) {
  char* text = nullptr;
  return AgentParam_String(params, name, &text) != 0 ? text : "(none)";
}
std::string Places(AgentParam* params) {
  AgentParam_Object(params, "vrxc", reinterpret_cast<void**>(&seenClient));
  return Text(params, "file") + " " + Text(params, "url");
}

template <int n>
struct Methods {
  static std::string Name() { return "Agent" + std::to_string(n); }

  static ErrorCode Check(void*, void*, AgentParam* params) {
    seen.push_back(Name() + " check " + Places(params));
    return behaviours[n].check;
  }
  static ErrorCode New(void*, void*, AgentParam* params) {
    seen.push_back(Name() + " new " + Places(params));
    if (behaviours[n].reasonInNew != 0) VRXClient_AgentError(seenClient, behaviours[n].reasonInNew);
    return Error_None;
  }
  static ErrorCode Delete(void*, void*, AgentParam* params) {
    int32_t forever = -1;
    AgentParam_Bool(params, "forever", &forever);
    seen.push_back(Name() + " delete " + std::to_string(forever));
    return Error_None;
  }
  static ErrorCode StartCache(void*, void*, AgentParam* params) {
    char* buffer = nullptr;
    AgentParam_String(params, "serverfilename", &buffer);
    seen.push_back(Name() + " startcache " + Text(params, "source") + " '" + buffer + "'");
    behaviours[n].serverFileName.copy(buffer, 1023);
    buffer[behaviours[n].serverFileName.size()] = '\0';
    if (!behaviours[n].cacheBytes.empty())
      WriteFile(SystemPath(Text(params, "cache")), behaviours[n].cacheBytes);
    if (behaviours[n].reasonInStartCache != 0)
      VRXClient_AgentError(seenClient, behaviours[n].reasonInStartCache);
    return behaviours[n].startCache;
  }
  static ErrorCode Completed(void*, void*, AgentParam* params) {
    int32_t* wantsDeletion = nullptr;
    void* client = nullptr;
    AgentParam_BoolPtr(params, "delete", &wantsDeletion);
    AgentParam_Object(params, "vrxc", &client);
    seen.push_back(Name() + " completed " + std::to_string(*wantsDeletion) +
                   (client == seenClient ? "" : " of another transfer"));
    if (behaviours[n].inCompleted) behaviours[n].inCompleted();
    if (behaviours[n].wantsDeletion) *wantsDeletion = 1;
    if (behaviours[n].completed.empty()) return Error_None;
    const int32_t answer = behaviours[n].completed.front();
    behaviours[n].completed.pop_front();
    return answer;
  }
};

template <int n>
ErrorCode Register() {
  static const AgentMethod methods[] = {
      {"check", Methods<n>::Check},         {"new", Methods<n>::New},
      {"delete", Methods<n>::Delete},       {"startcache", Methods<n>::StartCache},
      {"completed", Methods<n>::Completed}, {nullptr, nullptr}};
  return AgentClass_Register("VRXx", Methods<n>::Name().c_str(), "", methods, 0, 0);
}

class TransferAgents : public TransferTest {
 protected:
  void SetUp() override {
    TransferTest::SetUp();
    behaviours = {};
    seen.clear();
    seenClient = nullptr;
  }
  void TearDown() override {
    iAgentList_SetWait(0);
    TransferTest::TearDown();
  }
  static constexpr char kFile[] = "HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nabcd";

  Lines Seen() {
    for (std::string& line : seen) line = names_.Apply(line);
    return std::exchange(seen, {});
  }
  // A download whose agents are about to be told. Lines and calls are taken.
  std::unique_ptr<TracedTransfer> AboutToTell(const ScriptedServer& server) {
    auto download = NewDownload(server);
    download->RunToState(13);
    download->Take();
    seen.clear();
    return download;
  }
  static Lines Told(int32_t first, int32_t second = -1) {
    Lines lines = {"Idle: " + std::to_string(first) + ", state 13"};
    if (second >= 0) lines.push_back("Idle: " + std::to_string(second) + ", state 13");
    lines.push_back("Idle: 5, state 14");
    return lines;
  }
};

// ---- taking part -------------------------------------------------------------------------------

TEST_F(TransferAgents, TakePart_WhenTheirClassAccepts) {
  ASSERT_EQ(Register<0>(), 0);
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(Seen(), (Lines{"Agent0 check OUT/file.bin http://SERVER0/file.bin",
                           "Agent0 new OUT/file.bin http://SERVER0/file.bin"}));
  EXPECT_EQ(seenClient, static_cast<VRXClient*>(*download));
  download->RunToCompletion();
  EXPECT_EQ(Seen(), Lines{"Agent0 completed 0"});
  EXPECT_EQ(download->Take(),
            Join({Begins(),
                  {kCannotResume, "Downloading...", "Idle: 1, state 11", kDataStep,
                   "Download completed on DATE.", "Idle: 1, state 12", "Moving file to \"OUT/file.bin\"...",
                   "Idle: 1, state 13", "Idle: 1, state 13", "Idle: 5, state 14"}}));
  download->Close();
  EXPECT_EQ(Seen(), Lines{"Agent0 delete 0"});
}

TEST_F(TransferAgents, StayAway_WhenTheirClassDeclines) {
  ASSERT_EQ(Register<0>(), 0);
  behaviours[0].check = Error_NotFound;
  ScriptedServer server({Answers("0", kFile)});
  auto download = NewDownload(server);
  download->RunToCompletion();
  EXPECT_EQ(Seen(), Lines{"Agent0 check OUT/file.bin http://SERVER0/file.bin"});
}

TEST_F(TransferAgents, StayAway_WhenTheirClassHasNoCheck) {
  static const AgentMethod methods[] = {{"new", Methods<0>::New}, {nullptr, nullptr}};
  ASSERT_EQ(AgentClass_Register("VRXx", "Agent0", "", methods, 0, 0), 0);
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(Seen(), Lines{});
}

TEST_F(TransferAgents, AreAskedNewestFirst) {
  ASSERT_EQ(Register<0>(), 0);
  ASSERT_EQ(Register<1>(), 0);
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  EXPECT_EQ(download->Idle(), 1);
  const Lines lines = Seen();
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0].substr(0, 12), "Agent1 check");
  EXPECT_EQ(lines[1].substr(0, 10), "Agent1 new");
  EXPECT_EQ(lines[2].substr(0, 12), "Agent0 check");
  EXPECT_EQ(lines[3].substr(0, 10), "Agent0 new");
}

// Nobody waits for ever for the agents of another transfer.
TEST_F(TransferAgents, StayAway_WhenTheListsAreInUse_WhichIsNoted) {
  ASSERT_EQ(Register<0>(), 0);
  ScriptedServer server({Answers("0", kFile)});
  auto download = AboutToTell(server);
  auto other = NewDownload("http://127.0.0.1:1/other.bin");
  iAgentList_SetWait(10);
  const ErrorCapture errors;
  behaviours[0].inCompleted = [&other] { EXPECT_EQ(other->Idle(), 1); };
  download->RunToCompletion();
  EXPECT_EQ(Seen(), Lines{"Agent0 completed 0"});
  EXPECT_EQ(ErrorCapture::Lines(),
            Lines{"#### Error: iAgentList_Start: waiting for the agents gave 8, Timeout\n"});
  EXPECT_EQ(other->State(), 1u);
}

TEST_F(TransferAgents, PostponeAnUpload_WhenTheListsAreInUse) {
  ASSERT_EQ(Register<0>(), 0);
  WriteFile(OutPath("up.bin"), "abcd");
  auto upload = NewTransfer();
  ASSERT_EQ(upload->Upload(Out("up.bin"), "ftpu://127.0.0.1:1/x"), 0);
  upload->Idle();
  ScriptedServer server({Answers("0", kFile)});
  auto download = AboutToTell(server);
  upload->Take();
  iAgentList_SetWait(10);
  behaviours[0].inCompleted = [&upload] { EXPECT_EQ(upload->Idle(), VRXClientResult_Postponed); };
  download->RunToCompletion();
  EXPECT_EQ(upload->Take(), (Lines{"Copying upload file...", "Idle: 2, state 1"}));
  VRXClientServer entry;
  EXPECT_EQ(VRXClient_GetServer(*upload, 0, &entry), 0);
  EXPECT_EQ(entry.isFailed, 0) << "the server has no part in it";
  EXPECT_EQ(entry.outcomeSamples, 0u);
  EXPECT_EQ(upload->Reason(), 0u);
  // The next call asks them.
  upload->Idle();
  EXPECT_EQ(Seen().back(), "Agent0 startcache OUT/up.bin ''");
  EXPECT_EQ(upload->Take().front(), "Copying upload file...");
}

// Only direct children of the extension class take part by themselves.
TEST_F(TransferAgents, AreNotAsked_WhenTheyDeriveFromAnotherOne) {
  ASSERT_EQ(Register<0>(), 0);
  static const AgentMethod methods[] = {
      {"check", Methods<1>::Check}, {"new", Methods<1>::New}, {nullptr, nullptr}};
  ASSERT_EQ(AgentClass_Register("Agent0", "Agent1", "", methods, 0, 0), 0);
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(Seen().size(), 2u);
}

TEST_F(TransferAgents, TakePartOnce_HoweverOftenAServerIsTaken) {
  ASSERT_EQ(Register<0>(), 0);
  ASSERT_EQ(Register<1>(), 0);
  behaviours[1].check = Error_NotFound;
  ScriptedServer server(
      {Answers("0", "HTTP/1.0 302 Found\r\nLocation: /b.bin\r\n\r\n"), Answers("0", kFile, "/b.bin")});
  auto download = NewDownload(server);
  download->RunToCompletion();
  // The one that declined is asked again, with the new URL.
  EXPECT_EQ(Seen(), (Lines{"Agent1 check OUT/file.bin http://SERVER0/file.bin",
                           "Agent0 check OUT/file.bin http://SERVER0/file.bin",
                           "Agent0 new OUT/file.bin http://SERVER0/file.bin",
                           "Agent1 check OUT/file.bin http://SERVER0/b.bin", "Agent0 completed 0"}));
}

TEST_F(TransferAgents, EndTheStep_WhenTheySetAReason) {
  ASSERT_EQ(Register<0>(), 0);
  behaviours[0].reasonInNew = 42;
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  EXPECT_EQ(download->Idle(), 4);
  EXPECT_EQ(download->State(), 0u);
  EXPECT_EQ(download->Reason(), 42u);
  EXPECT_EQ(Seen(), (Lines{"Agent0 check OUT/file.bin http://127.0.0.1:1/file.bin",
                           "Agent0 new OUT/file.bin http://127.0.0.1:1/file.bin", "Agent0 delete 1"}));
  // It is asked again, and content this time.
  behaviours[0].reasonInNew = 0;
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->State(), 1u);
  EXPECT_EQ(download->Reason(), 0u);
  EXPECT_EQ(Seen(), (Lines{"Agent0 check OUT/file.bin http://127.0.0.1:1/file.bin",
                           "Agent0 new OUT/file.bin http://127.0.0.1:1/file.bin"}));
}

TEST_F(TransferAgents, AreDeletedForGood_WhenTheTransferIs) {
  ASSERT_EQ(Register<0>(), 0);
  ASSERT_EQ(Register<1>(), 0);
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  download->Idle();
  Seen();
  download->Delete();
  EXPECT_EQ(Seen(), (Lines{"Agent1 delete 1", "Agent0 delete 1"}));
}

// ---- completion --------------------------------------------------------------------------------

TEST_F(TransferAgents, AreToldOneACall) {
  ASSERT_EQ(Register<0>(), 0);
  ASSERT_EQ(Register<1>(), 0);
  ScriptedServer server({Answers("0", kFile)});
  auto download = AboutToTell(server);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(Seen(), Lines{"Agent1 completed 0"});
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(Seen(), Lines{"Agent0 completed 0"});
  EXPECT_EQ(download->Idle(), 5);
  EXPECT_EQ(Seen(), Lines{});
}

TEST_F(TransferAgents, AreToldAgain_AsLongAsTheyAskForIt) {
  ASSERT_EQ(Register<0>(), 0);
  behaviours[0].completed = {9, 9, 0};
  ScriptedServer server({Answers("0", kFile)});
  auto download = AboutToTell(server);
  download->RunToCompletion();
  EXPECT_EQ(download->Take(),
            (Lines{"Idle: 0, state 13", "Idle: 0, state 13", "Idle: 1, state 13", "Idle: 5, state 14"}));
  EXPECT_EQ(Seen(), (Lines{"Agent0 completed 0", "Agent0 completed 0", "Agent0 completed 0"}));
}

TEST_F(TransferAgents, MayNotBeDeleted_WhileTheyAskToBeToldAgain) {
  ASSERT_EQ(Register<0>(), 0);
  behaviours[0].completed = {9};
  behaviours[0].wantsDeletion = true;
  ScriptedServer server({Answers("0", kFile)});
  auto download = AboutToTell(server);
  EXPECT_EQ(download->Idle(), 0);
  EXPECT_EQ(Seen(), Lines{"Agent0 completed 0"});
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(Seen(), (Lines{"Agent0 completed 0", "Agent0 delete 1"}));
}

TEST_F(TransferAgents, FailTheStepAndNotTheTransfer) {
  ASSERT_EQ(Register<0>(), 0);
  ASSERT_EQ(Register<1>(), 0);
  behaviours[1].completed = {-1};
  ScriptedServer server({Answers("0", kFile)});
  auto download = AboutToTell(server);
  EXPECT_EQ(download->Idle(), 4);
  EXPECT_EQ(download->Reason(), 17u);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(download->Idle(), 5);
  EXPECT_EQ(download->Take(), Told(4, 1));
  EXPECT_EQ(download->Reason(), 17u);
  EXPECT_EQ(Seen(), (Lines{"Agent1 completed 0", "Agent0 completed 0"}));
  EXPECT_EQ(OutBytes(), "abcd");
}

// "Not declared", "not implemented" and "a parameter is missing" are no failures, "no instance" is one.
class TransferAgentsAnswer : public TransferAgents,
                             public testing::WithParamInterface<std::pair<int32_t, int32_t>> {};

TEST_P(TransferAgentsAnswer, DecidesTheResult) {
  ASSERT_EQ(Register<0>(), 0);
  behaviours[0].completed = {GetParam().first};
  ScriptedServer server({Answers("0", kFile)});
  auto download = AboutToTell(server);
  EXPECT_EQ(download->Idle(), GetParam().second);
  EXPECT_EQ(download->Reason(), GetParam().second == 4 ? 17u : 0u);
  EXPECT_EQ(download->Idle(), 5);
}

INSTANTIATE_TEST_SUITE_P(Answers, TransferAgentsAnswer,
                         testing::Values(std::pair(0, 1), std::pair(1000, 1), std::pair(1001, 1),
                                         std::pair(1002, 4), std::pair(1003, 1), std::pair(1, 4),
                                         std::pair(5, 4), std::pair(7, 4), std::pair(8, 4),
                                         std::pair(-3, 4)));

TEST_F(TransferAgents, LeaveTheListOnceTheySaySo) {
  ASSERT_EQ(Register<0>(), 0);
  ASSERT_EQ(Register<1>(), 0);
  behaviours[1].wantsDeletion = true;
  ScriptedServer server({Answers("0", kFile)});
  auto download = AboutToTell(server);
  ASSERT_NE(VRXClient_GetAgent(*download, "Agent1"), nullptr);
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(Seen(), (Lines{"Agent1 completed 0", "Agent1 delete 1"}));
  EXPECT_EQ(VRXClient_GetAgent(*download, "Agent1"), nullptr);
  EXPECT_NE(VRXClient_GetAgent(*download, "Agent0"), nullptr);
  // The next one moved to its place and is not passed over.
  EXPECT_EQ(download->Idle(), 1);
  EXPECT_EQ(Seen(), Lines{"Agent0 completed 0"});
  EXPECT_EQ(download->Idle(), 5);
}

TEST_F(TransferAgents, LeaveTheListThoughTheyFail) {
  ASSERT_EQ(Register<0>(), 0);
  behaviours[0].wantsDeletion = true;
  behaviours[0].completed = {-1};
  ScriptedServer server({Answers("0", kFile)});
  auto download = AboutToTell(server);
  EXPECT_EQ(download->Idle(), 4);
  EXPECT_EQ(Seen(), (Lines{"Agent0 completed 0", "Agent0 delete 1"}));
  EXPECT_EQ(download->Idle(), 5);
}

TEST_F(TransferAgents, AreToldOfAWebPageToo) {
  ASSERT_EQ(Register<0>(), 0);
  ScriptedServer server({Answers("0", "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n<html>")});
  auto download = NewDownload(server);
  EXPECT_EQ(download->Run(), 4);
  Seen();
  download->Take();
  download->RunToCompletion();
  EXPECT_EQ(Seen(), Lines{"Agent0 completed 0"});
  EXPECT_EQ(download->Take(), Told(1));
  EXPECT_EQ(download->Reason(), 18u);
}

TEST_F(TransferAgents, SeeTheFileInItsPlace) {
  ASSERT_EQ(Register<0>(), 0);
  ScriptedServer server({Answers("0", kFile)});
  WriteFile(OutPath("file.bin"), "old");
  auto download = AboutToTell(server);
  char path[1024];
  ASSERT_EQ(VRXClient_GetLocalFilePath(*download, path), 0);
  EXPECT_EQ(names_.Apply(path), "OUT/file(0).bin");
  EXPECT_EQ(OutBytes("file(0).bin"), "abcd");
}

TEST_F(TransferAgents, KeepAnExistingTarget_WhenTheyFail) {
  ASSERT_EQ(Register<0>(), 0);
  behaviours[0].completed = {-1};
  ScriptedServer server({Answers("0", kFile)});
  WriteFile(OutPath("file.bin"), "old");
  auto download = NewDownload(server);
  EXPECT_EQ(VRXClient_SetOverwrite(*download, 1), 0);
  EXPECT_EQ(download->Run(), 4);
  EXPECT_EQ(download->Run(), 5);
  EXPECT_EQ(OutBytes("file.bin"), "old");
}

TEST_F(TransferAgents, AreToldAfterTheRecordIsRead) {
  ASSERT_EQ(Register<0>(), 0);
  ASSERT_EQ(Register<1>(), 0);
  ScriptedServer server({Answers("0", kFile)});
  auto download = AboutToTell(server);
  EXPECT_EQ(download->Idle(), 1);
  ASSERT_EQ(download->Write(Out("record")), 0);
  download->Close();
  Seen();
  auto again = NewTransfer();
  ASSERT_EQ(again->Read(Out("record")), 0);
  seenClient = *again;
  again->RunToCompletion();
  // The first one was told before.
  EXPECT_EQ(Seen(), Lines{"Agent0 completed 0"});
}

TEST_F(TransferAgents, ReportTextsOfTheirOwn) {
  auto download = NewDownload("http://127.0.0.1:1/file.bin");
  EXPECT_EQ(VRXClient_AgentMessage(*download, "100% %s wrong"), 0);
  EXPECT_EQ(download->Take(), Lines{"100% %s wrong"});
}

// ---- the filter of an upload's copy ------------------------------------------------------------

class UploadFilter : public TransferAgents {
 protected:
  void SetUp() override {
    TransferAgents::SetUp();
    WriteFile(OutPath("source.txt"), "source");
    ASSERT_EQ(Register<0>(), 0);
  }
  std::unique_ptr<TracedTransfer> NewUpload() {
    auto upload = NewTransfer();
    EXPECT_EQ(upload->Upload(Out("source.txt"), "ftp://127.0.0.1:1/dir/name.txt"), 0);
    return upload;
  }
};

TEST_F(UploadFilter, TakesTheCopy) {
  behaviours[0].startCache = Error_None;
  behaviours[0].serverFileName = "packed.gz";
  behaviours[0].cacheBytes = "filtered!";
  auto upload = NewUpload();
  upload->Idle(2);
  EXPECT_EQ(upload->Take(),
            (Lines{"Idle: 1, state 1", "Copying upload file...",
                   "Agent \"Agent0\" invoked for upload filter. Server file name is \"packed.gz\"",
                   "Idle: 1, state 2"}));
  EXPECT_EQ(Seen().back(), "Agent0 startcache OUT/source.txt ''");
  EXPECT_EQ(ReadFile(SystemPath(upload->DataPath())), "filtered!");
  EXPECT_EQ(VRXClient_GetSize(*upload), 9u);
  char serverFileName[kPathSize] = "";
  iVRXClient_ServerFileName(*upload, serverFileName);
  EXPECT_STREQ(serverFileName, "packed.gz");
}

TEST_F(UploadFilter, CancelsTheUpload) {
  behaviours[0].startCache = Error_Cancel;
  behaviours[0].serverFileName = "not on Sundays";
  auto upload = NewUpload();
  upload->Idle(2);
  // The name of who cancelled stays empty.
  EXPECT_EQ(upload->Take(), (Lines{"Idle: 1, state 1", "Copying upload file...",
                                   "Agent \"\" cancelled the upload. Reason: not on Sundays",
                                   "Connection cancelled.", "Idle: 3, state 0"}));
}

TEST_F(UploadFilter, FailsTheStepWithAReasonOfItsOwn) {
  behaviours[0].startCache = Error_Cancel;
  behaviours[0].serverFileName = "no licence";
  behaviours[0].reasonInStartCache = 99;
  auto upload = NewUpload();
  upload->Idle(2);
  EXPECT_EQ(upload->Take(),
            (Lines{"Idle: 1, state 1", "Copying upload file...",
                   "Agent \"\" cancelled the upload. Reason: no licence", "Idle: 4, state 0"}));
  EXPECT_EQ(VRXClient_GetError(*upload), 99u);
  VRXClientLastReply reply;
  EXPECT_EQ(VRXClient_GetLastReply(*upload, &reply), Error_None);
  EXPECT_EQ(reply.reason, 99u);
}

TEST_F(UploadFilter, NeverTakesATextForAFormat) {
  behaviours[0].startCache = Error_Cancel;
  behaviours[0].serverFileName = "%n%s%s%s";
  auto upload = NewUpload();
  upload->Idle(2);
  EXPECT_EQ(upload->Take()[2], "Agent \"\" cancelled the upload. Reason: %n%s%s%s");
}

TEST_F(UploadFilter, LeavesTheCopyToTheLibrary_WhenItDeclines) {
  behaviours[0].startCache = Error_NotFound;
  auto upload = NewUpload();
  upload->RunToState(2);
  const Lines lines = upload->Take();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Copying upload file..."), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Upload file has not been altered."), 1);
  EXPECT_EQ(ReadFile(SystemPath(upload->DataPath())), "source");
}

TEST_F(UploadFilter, IsAskedInTheOrderOfTheList) {
  ASSERT_EQ(Register<1>(), 0);
  behaviours[1].startCache = Error_Fail;
  behaviours[0].startCache = Error_None;
  behaviours[0].serverFileName = "x";
  behaviours[0].cacheBytes = "y";
  auto upload = NewUpload();
  upload->Idle();
  Seen();
  upload->Idle();
  EXPECT_EQ(Seen(), (Lines{"Agent1 startcache OUT/source.txt ''", "Agent0 startcache OUT/source.txt ''"}));
  EXPECT_EQ(upload->State(), 2u);
}

TEST_F(UploadFilter, IsNotAskedBehindTheOneThatTookTheCopy) {
  ASSERT_EQ(Register<1>(), 0);
  behaviours[1].startCache = Error_None;
  behaviours[1].serverFileName = "x";
  behaviours[1].cacheBytes = "y";
  auto upload = NewUpload();
  upload->Idle();
  Seen();
  upload->Idle();
  EXPECT_EQ(Seen(), Lines{"Agent1 startcache OUT/source.txt ''"});
}

}  // namespace
}  // namespace transfer
