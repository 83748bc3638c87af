// A transfer's agents over its life: in its record, when it is closed, deleted, or left open at the end.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "os/core/memory_testing.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/agentlist_fixture.h"
#include "tests/transfer/vrxclient_fixture.h"
#include "tests/traverse/traverse_fixture.h"

namespace {

class LifeTest : public TransferTest {
 protected:
  void SetUp() override {
    Behaviours().clear();
    iAgentList_SetWait(10);
    TransferTest::SetUp();
    RegisterExtension<'A'>();
    RegisterExtension<'B'>();
    TakeCalls();
  }
  void TearDown() override {
    TransferTest::TearDown();
    iAgentList_SetWait(0);
    Behaviours().clear();
  }
  static void Add(const Transfer& transfer, const char* className) {
    Agent* agent = nullptr;
    ASSERT_EQ(Agent_New(&agent, className, kEnd), Error_None);
    ASSERT_EQ(VRXClient_AddAgent(transfer.get(), agent), Error_None);
    TakeCalls();
  }
};

TEST_F(LifeTest, DeletesItsAgentsForEver_WhenItIsDeleted) {
  Transfer transfer;
  Download("ftp://a/x", &transfer);
  Add(transfer, "A");
  Add(transfer, "B");
  transfer.Delete();
  EXPECT_EQ(TakeCalls(), CallList({"A.delete 1", "B.delete 1"}));
}

TEST_F(LifeTest, DeletesItsAgentsForNow_WhenItIsClosed) {
  Transfer transfer;
  Download("ftp://a/x", &transfer);
  Add(transfer, "A");
  Add(transfer, "B");
  transfer.Close();
  EXPECT_EQ(TakeCalls(), CallList({"A.delete 0", "B.delete 0"}));
}

TEST_F(LifeTest, DeletesTheAgentsOfOpenTransfers_WhenTheSystemEnds) {
  VRXClient* client = nullptr;
  ASSERT_EQ(VRXClient_NewDownload("ftp://a/x", directory_.Name("f").c_str(), 0, nullptr, &client),
            Error_None);
  Agent* agent = nullptr;
  ASSERT_EQ(Agent_New(&agent, "A", kEnd), Error_None);
  ASSERT_EQ(VRXClient_AddAgent(client, agent), Error_None);
  TakeCalls();
  VRXClientSystem_Exit();
  EXPECT_EQ(TakeCalls()[0], "A.delete 0");
  EXPECT_EQ(VRXClient_Close(client), Error_None);
  EXPECT_EQ(TakeCalls(), CallList());
  ASSERT_EQ(VRXClientSystem_Init(), Error_None);
}

TEST_F(LifeTest, SurvivesAnAgentThatClosesItInItsDelete) {
  Transfer transfer;
  Download("ftp://a/x", &transfer);
  Add(transfer, "A");
  VRXClient* client = transfer.get();
  On("A.delete 1") = [client](AgentParam*) {
    EXPECT_EQ(VRXClient_Close(client), Error_None);
    EXPECT_EQ(VRXClient_Delete(client), Error_None);
    return Error_None;
  };
  transfer.Delete();
  EXPECT_EQ(TakeCalls(), CallList({"A.delete 1"}));
  EXPECT_EQ(iVRXClientList_Count(), 0u);
}

TEST_F(LifeTest, SurvivesAnAgentThatClosesIt_WhenItIsRemoved) {
  Transfer transfer;
  Download("ftp://a/x", &transfer);
  Add(transfer, "A");
  VRXClient* client = transfer.get();
  On("A.delete 1") = [client](AgentParam*) {
    EXPECT_EQ(VRXClient_Close(client), Error_None);
    return Error_None;
  };
  EXPECT_EQ(VRXClient_RemoveAgent(client, "A"), Error_None);
  transfer.Forget();
  EXPECT_EQ(TakeCalls(), CallList({"A.delete 1"}));
  EXPECT_EQ(iVRXClientList_Count(), 0u);
}

TEST_F(LifeTest, SurvivesAnAgentThatClosesIt_WhenItIsWritten) {
  Transfer transfer;
  Download("ftp://a/x", &transfer);
  Add(transfer, "A");
  Add(transfer, "B");
  VRXClient* client = transfer.get();
  On("A.traverse") = [client](AgentParam*) {
    EXPECT_EQ(VRXClient_Close(client), Error_None);
    return Error_None;
  };
  Context context;
  EXPECT_EQ(VRXClient_Write(context.traverse(), client), Error_None);
  transfer.Forget();
  EXPECT_EQ(TakeCalls(), CallList({"A.traverse", "B.traverse", "A.delete 0", "B.delete 0"}));
  EXPECT_EQ(iVRXClientList_Count(), 0u);
}

TEST_F(LifeTest, EndsWithoutAWaitWhileTheListsAreInUse_WhenItHasNoAgents) {
  using Clock = std::chrono::steady_clock;
  Transfer transfer;
  Download("ftp://a/x", &transfer);
  Add(transfer, "A");
  Transfer another;
  Download("ftp://a/y", directory_.Name("another"), &another);
  iAgentList_SetWait(4000);
  Clock::duration elapsed = {};
  On("A.completed") = [&](AgentParam*) {
    const auto begin = Clock::now();
    another.Close();
    elapsed = Clock::now() - begin;
    return Error_None;
  };
  bool isChanged = false;
  EXPECT_EQ(iAgentList_Complete(transfer.get(), &transfer->data.agents, &isChanged), 1);
  EXPECT_EQ(TakeCalls(), CallList({"A.completed"}));
  EXPECT_LT(elapsed, std::chrono::milliseconds(3000));
}

// ---- in the record -------------------------------------------------------------------------------

const std::string kBeforeAgents =
    "76 72 78 63 08 00 00 00 00 CA 9A 3B F4 01 00 00 00 10 00 00 00 00 00 00 01 00 00 00 00 00 00 "
    "0D 00 00 00 3A 00 00 00 ";
const std::string kAgents =
    "02 00 00 00 01 00 00 00 "                     // two, the second is told next
    "02 00 00 00 41 00 01 00 00 00 "               // "A", version 1
    "02 00 00 00 42 00 01 00 00 00 2A 00 00 00 ";  // "B", and a number of its own
const std::string kBehindAgents =
    "76 72 78 73 01 00 00 00 01 00 00 00 0B 00 00 00 20 66 74 70 3A 2F 2F 61 2F 78 00 "
    "00 00 00 00 00 00 00 00 01 00 00 00 00 01 00 00 00 00 01 00 00 00 00 01 00 00 00 00 "
    "01 00 00 00 00 03 00 00 00 2F 70 00 00 00 00 00";

class AgentsInRecords : public LifeTest {
 protected:
  void SetUp() override {
    LifeTest::SetUp();
    On("B.traverse") = [](AgentParam* params) {
      uint32_t number = 42;
      auto* traverse = static_cast<Traverse*>(ObjectOf(params, "traverse"));
      Traverse_Uns32(traverse, &number);
      if (Traverse_GetMode(traverse) == TraverseMode_Read) {
        EXPECT_EQ(number, 42u);
      }
      return Error_None;
    };
  }
  ErrorCode Read(const std::string& hex, Transfer* transfer) {
    Context context(hex);
    return VRXClient_Read(context.traverse(), 0, nullptr, transfer->out());
  }
};

TEST_F(AgentsInRecords, AreReadAndWritten) {
  Transfer transfer;
  ASSERT_EQ(Read(kBeforeAgents + kAgents + kBehindAgents, &transfer), Error_None);
  EXPECT_EQ(ClassesOf(transfer->data.agents), "AB");
  EXPECT_EQ(transfer->data.agents.nextIndex, 1u);
  EXPECT_STREQ(Agent_Class(VRXClient_GetAgent(transfer.get(), "A")), "A");
  Context context;
  EXPECT_EQ(VRXClient_Write(context.traverse(), transfer.get()), Error_None);
  EXPECT_EQ(context.Written(), kBeforeAgents + kAgents + kBehindAgents);
}

TEST_F(AgentsInRecords, HaveNoIndexBeforeVersion7) {
  std::string before = kBeforeAgents;
  before.replace(12, 2, "06");
  before.replace(before.find("01 00 00 00 00 00 00 0D"), 15, "");  // the server file name
  std::string agents = kAgents;
  agents.replace(12, 12, "");
  std::string behind = kBehindAgents;
  behind.resize(behind.size() - 12);
  Transfer transfer;
  ASSERT_EQ(Read(before + agents + behind, &transfer), Error_None);
  EXPECT_EQ(ClassesOf(transfer->data.agents), "AB");
  EXPECT_EQ(transfer->data.agents.nextIndex, 0u);
}

TEST_F(AgentsInRecords, FailTheRecord_WhenAClassIsMissing) {
  std::string agents = kAgents;
  agents.replace(agents.find("42 00"), 2, "43");
  Transfer transfer;
  EXPECT_EQ(Read(kBeforeAgents + agents + kBehindAgents, &transfer), Error_NotFound);
  EXPECT_EQ(transfer.get(), nullptr);
  EXPECT_EQ(TakeCalls(), CallList({"A.traverse", "A.delete 0"})) << "the one that was read is given back";
}

TEST_F(AgentsInRecords, AreGivenBack_WhereverTheRecordIsCut) {
  const std::string whole = Bytes(kBeforeAgents + kAgents + kBehindAgents);
  const int64_t before = iMemory_CountLive();
  for (size_t length = 0; length < whole.size(); ++length) {
    Transfer transfer;
    EXPECT_EQ(Read(Hex(whole.substr(0, length)), &transfer), Error_Ended) << length;
    ASSERT_EQ(iMemory_CountLive(), before) << length;
    TakeCalls();
  }
}

TEST_F(AgentsInRecords, GiveTimeout_WhileTheListsAreInUse) {
  Transfer transfer;
  ASSERT_EQ(Read(kBeforeAgents + kAgents + kBehindAgents, &transfer), Error_None);
  ErrorCode written = Error_None;
  ErrorCode read = Error_None;
  VRXClient* client = transfer.get();
  On("A.completed") = [&](AgentParam*) {
    Context out;
    written = VRXClient_Write(out.traverse(), client);
    VRXClient* another = nullptr;
    Context in(kBeforeAgents + kAgents + kBehindAgents);
    read = VRXClient_Read(in.traverse(), 0, nullptr, &another);
    EXPECT_EQ(another, nullptr);
    return Error_None;
  };
  transfer->data.agents.nextIndex = 0;
  bool isChanged = false;
  EXPECT_EQ(iAgentList_Complete(client, &client->data.agents, &isChanged), 1);
  EXPECT_EQ(written, Error_Timeout);
  EXPECT_EQ(read, Error_Timeout);
}

TEST_F(AgentsInRecords, LeaveNothingBehind_WhicheverAllocationFails) {
  const std::string whole = Bytes(kBeforeAgents + kAgents + kBehindAgents);
  int succeeded = 0;
  FailEveryAllocation([&] {
    TestStream stream(whole);
    Traverse* traverse = Traverse_New(0, stream.stream());
    if (traverse == nullptr) return;
    VRXClient* client = nullptr;
    const ErrorCode status = VRXClient_Read(traverse, 0, nullptr, &client);
    Traverse_Delete(traverse);
    if (status == Error_None) {
      ++succeeded;
      VRXClient_Close(client);
    } else {
      EXPECT_EQ(status, Error_Memory);
    }
    TakeCalls();
  });
  EXPECT_EQ(succeeded, 1);
}

}  // namespace
