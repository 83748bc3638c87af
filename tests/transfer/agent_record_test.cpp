// Agents as fields of records.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qz/agent.h"
#include "qz/agentclass.h"
#include "qz/error.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/agent_fixture.h"
#include "tests/traverse/formats_page_table.h"
#include "tests/traverse/traverse_fixture.h"

namespace {

// "Counter" keeps a number; its record version must be 1.
struct CounterData {
  uint32_t number;
};

ErrorCode NewCounter(void* /*classData*/, void* instanceData, AgentParam* /*params*/) {
  static_cast<CounterData*>(instanceData)->number = 7;
  return Error_None;
}

int32_t& TraverseResult() {
  static int32_t result;
  return result;
}

ErrorCode TraverseCounter(void* /*classData*/, void* instanceData, AgentParam* params) {
  void* traverse = nullptr;
  int32_t version = 0;
  EXPECT_EQ(AgentParam_Object(params, "traverse", &traverse), 1);
  EXPECT_EQ(AgentParam_Integer(params, "version", &version), 1);
  Calls().push_back("traverse " + std::to_string(version));
  Traverse_Uns32(static_cast<Traverse*>(traverse), &static_cast<CounterData*>(instanceData)->number);
  return TraverseResult();
}

ErrorCode DeleteCounter(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  int32_t forever = -1;
  AgentParam_Bool(params, "forever", &forever);
  Calls().push_back("delete " + std::to_string(forever));
  return Error_None;
}

ErrorCode TellNumber(void* /*classData*/, void* instanceData, AgentParam* /*params*/) {
  return static_cast<int32_t>(static_cast<CounterData*>(instanceData)->number);
}

const AgentMethod kCounterMethods[] = {{"new", NewCounter},
                                       {"traverse", TraverseCounter},
                                       {"delete", DeleteCounter},
                                       {"number", TellNumber},
                                       {}};

class AgentRecordTest : public AgentSystemTest {
 protected:
  void SetUp() override {
    AgentSystemTest::SetUp();
    TraverseResult() = Error_None;
    ASSERT_EQ(AgentClass_Register(nullptr, "Counter", "number();delete(forever=bool);", kCounterMethods, 0,
                                  sizeof(CounterData)),
              Error_None);
  }
  static Agent* New(const char* className) {
    Agent* agent = nullptr;
    EXPECT_EQ(Agent_New(&agent, className, kEnd), Error_None);
    return agent;
  }
};

// The name, the version 1, and the number 7.
constexpr char kCounter[] = "08 00 00 00 43 6F 75 6E 74 65 72 00 01 00 00 00 07 00 00 00";

TEST_F(AgentRecordTest, IsWrittenAsNameVersionAndItsOwnFields) {
  Agent* agent = New("Counter");
  Context context;
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Write), &agent), Error_None);
  EXPECT_EQ(context.Written(), kCounter);
  EXPECT_EQ(TakeCalls(), CallList{"traverse 1"});
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentRecordTest, IsReadAsItWasWritten) {
  Agent* agent = nullptr;
  Context context(std::string(kCounter) + " FF");
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &agent), Error_None);
  ASSERT_NE(agent, nullptr);
  EXPECT_STREQ(Agent_Class(agent), "Counter");
  EXPECT_EQ(Agent_Method(agent, "number", kEnd), 7);
  // "new" has not run.
  EXPECT_EQ(TakeCalls(), CallList{"traverse 1"});
  EXPECT_EQ(context.Rest(), "FF");
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentRecordTest, StandsInBothByteOrders) {
  const char network[] = "00 00 00 08 43 6F 75 6E 74 65 72 00 00 00 00 01 00 00 00 07";
  Agent* agent = nullptr;
  Context context(network, Order::Network);
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &agent), Error_None);
  EXPECT_EQ(Agent_Method(agent, "number", kEnd), 7);
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Write), &agent), Error_None);
  EXPECT_EQ(context.Written(), network);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentRecordTest, IsAnEmptyNameAlone_WhenNull) {
  Agent* agent = nullptr;
  Context context("01 00 00 00 00 55");
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Write), &agent), Error_None);
  EXPECT_EQ(context.Written(), "01 00 00 00 00");
  int marker = 0;
  agent = reinterpret_cast<Agent*>(&marker);
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &agent), Error_None);
  EXPECT_EQ(agent, nullptr);
  EXPECT_EQ(context.Rest(), "55");
}

TEST_F(AgentRecordTest, TakesATextOfNoBytesForAnEmptyName) {
  Agent* agent = nullptr;
  Context context("00 00 00 00 55");
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &agent), Error_None);
  EXPECT_EQ(agent, nullptr);
  EXPECT_EQ(context.Rest(), "55");
}

TEST_F(AgentRecordTest, IsRead_WhateverTheCaseOfItsName) {
  Agent* agent = nullptr;
  Context context("08 00 00 00 63 4F 55 4E 54 45 52 00 01 00 00 00 09 00 00 00");
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &agent), Error_None);
  EXPECT_STREQ(Agent_Class(agent), "Counter");
  EXPECT_EQ(Agent_Method(agent, "number", kEnd), 9);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentRecordTest, TellsTraverseTheVersionOfTheRecord) {
  Agent* agent = nullptr;
  Context context("08 00 00 00 43 6F 75 6E 74 65 72 00 FE FF FF FF 07 00 00 00");
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &agent), Error_None);
  EXPECT_EQ(TakeCalls(), CallList{"traverse -2"});
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentRecordTest, CallsTraverseOfEveryLevelThatHasOne) {
  const AgentMethod methods[] = {{"new", Records<"new">}, {}};
  ASSERT_EQ(AgentClass_Register("Counter", "Middle", "", methods, 0, 4), Error_None);
  ASSERT_EQ(
      AgentClass_Register("Middle", "Top", "delete(forever=bool);", kCounterMethods, 0, sizeof(CounterData)),
      Error_None);
  Agent* agent = New("Top");
  TakeCalls();
  Context context;
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Write), &agent), Error_None);
  EXPECT_EQ(context.Written(), "04 00 00 00 54 6F 70 00 01 00 00 00 07 00 00 00 07 00 00 00");
  EXPECT_EQ(TakeCalls(), (CallList{"traverse 1", "traverse 1"}));
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);

  Context reading("04 00 00 00 54 6F 70 00 01 00 00 00 08 00 00 00 09 00 00 00");
  EXPECT_EQ(iAgent_Describe(reading.In(TraverseMode_Read), &agent), Error_None);
  EXPECT_EQ(Agent_Method(agent, "number", kEnd), 9);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentRecordTest, NeedsNoTraverse_AndNoNew) {
  const AgentMethod methods[] = {{"new", Records<"new">}, {}};
  ASSERT_EQ(AgentClass_Register(nullptr, "Plain", "", methods, 0, 4), Error_None);
  Agent* agent = nullptr;
  Context context("06 00 00 00 50 6C 61 69 6E 00 01 00 00 00");
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &agent), Error_None);
  EXPECT_STREQ(Agent_Class(agent), "Plain");
  EXPECT_EQ(TakeCalls(), CallList{});
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentRecordTest, FailsTheRecord_WhenItsClassIsMissing) {
  Agent* agent = nullptr;
  Context context("07 00 00 00 4E 6F 62 6F 64 79 00 01 00 00 00 07 00 00 00");
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &agent), Error_NotFound);
  EXPECT_EQ(agent, nullptr);
  EXPECT_EQ(context.error(), Error_NotFound);
}

TEST_F(AgentRecordTest, FailsTheRecord_WithWhatTraverseGives_WithoutADelete) {
  for (const int32_t result : {-5, 1, 1000, 1002, 1003}) {
    TraverseResult() = result;
    Agent* agent = nullptr;
    Context context(kCounter);
    EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &agent), result);
    EXPECT_EQ(agent, nullptr);
    EXPECT_EQ(context.error(), result);
    EXPECT_EQ(TakeCalls(), CallList{"traverse 1"});
  }
}

TEST_F(AgentRecordTest, FailsTheRecord_WhenWritingFails) {
  Agent* agent = New("Counter");
  TraverseResult() = Error_NoAccess;
  Context context;
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Write), &agent), Error_NoAccess);
  EXPECT_EQ(context.error(), Error_NoAccess);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentRecordTest, StopsAtTheFirstLevelThatFails) {
  ASSERT_EQ(AgentClass_Register("Counter", "Top", "", kCounterMethods, 0, sizeof(CounterData)), Error_None);
  Agent* agent = New("Top");
  TraverseResult() = Error_Fail;
  Context context;
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Write), &agent), Error_Fail);
  EXPECT_EQ(TakeCalls(), CallList{"traverse 1"});
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

// A record cut at every byte: refused, and the agent that was made of its beginning is deleted.
TEST_F(AgentRecordTest, FailsTheRecord_WhenItComesShort) {
  const std::string whole = Bytes(kCounter);
  for (size_t length = 0; length < whole.size(); ++length) {
    Agent* agent = nullptr;
    Context context(Hex(whole.substr(0, length)));
    EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &agent), Error_Ended) << length;
    EXPECT_EQ(agent, nullptr);
    const bool isMade = length >= 16;
    EXPECT_EQ(TakeCalls(), isMade ? (CallList{"traverse 1", "delete 0"}) : CallList{}) << length;
  }
}

TEST_F(AgentRecordTest, ReadsTheLongestNameAndRefusesALongerOne) {
  const std::string longest(1023, 'x');
  ASSERT_EQ(AgentClass_Register(nullptr, longest.c_str(), "", nullptr, 0, 0), Error_None);
  Agent* agent = New(longest.c_str());
  Context context;
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Write), &agent), Error_None);
  EXPECT_EQ(context.Written().substr(0, 17), "00 04 00 00 78 78");
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);

  Context reading(context.Written());
  EXPECT_EQ(iAgent_Describe(reading.In(TraverseMode_Read), &agent), Error_None);
  EXPECT_STREQ(Agent_Class(agent), longest.c_str());
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);

  Context tooLong("01 04 00 00 " + Hex(std::string(1024, 'x')) + " 00 01 00 00 00");
  EXPECT_EQ(iAgent_Describe(tooLong.In(TraverseMode_Read), &agent), Error_Ended);
  EXPECT_EQ(agent, nullptr);
  // A length that nothing can have.
  Context endless("FF FF FF FF 43 00");
  EXPECT_EQ(iAgent_Describe(endless.In(TraverseMode_Read), &agent), Error_Ended);
}

TEST_F(AgentRecordTest, ReadsANameWithoutATerminatorAsItStands) {
  Agent* agent = nullptr;
  Context context("07 00 00 00 43 6F 75 6E 74 65 72 01 00 00 00 07 00 00 00");
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &agent), Error_None);
  EXPECT_STREQ(Agent_Class(agent), "Counter");
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
  // One that fills its room and holds no end at all is no class.
  Context filled("00 04 00 00 " + Hex(std::string(1024, 'x')) + " 01 00 00 00");
  EXPECT_EQ(iAgent_Describe(filled.In(TraverseMode_Read), &agent), Error_NotFound);
}

TEST_F(AgentRecordTest, DoesNothing_WhenTheTraverseHasStopped) {
  Agent* agent = New("Counter");
  Context context(kCounter);
  Traverse_SetError(context.traverse(), Error_Fail);
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Write), &agent), Error_Fail);
  EXPECT_EQ(context.Written(), "");
  Agent* read = agent;
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Read), &read), Error_Fail);
  EXPECT_EQ(read, nullptr);
  EXPECT_EQ(TakeCalls(), CallList{});
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentRecordTest, IsLeftAlone_InModesNewAndDelete_AndNullAfterInit) {
  Agent* agent = New("Counter");
  Agent* field = agent;
  Context context;
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_New), &field), Error_None);
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Delete), &field), Error_None);
  EXPECT_EQ(field, agent);
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Init), &field), Error_None);
  EXPECT_EQ(field, nullptr);
  EXPECT_EQ(TakeCalls(), CallList{});
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentRecordTest, RefusesNull) {
  Agent* agent = nullptr;
  Context context;
  EXPECT_EQ(iAgent_Describe(nullptr, &agent), Error_Invalid);
  EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Write), nullptr), Error_Invalid);
  EXPECT_EQ(context.error(), Error_Invalid);
}

TEST_F(AgentRecordTest, FailsTheRecord_WhenAnAllocationFails) {
  Context context;
  context.bytes().Gives(Bytes(kCounter));
  FailEveryAllocation([] {
    TestStream stream(Bytes(kCounter));
    Traverse* traverse = Traverse_New(0, stream.stream());
    if (traverse == nullptr) return;
    Agent* agent = nullptr;
    Traverse_SetMode(traverse, TraverseMode_Read);
    const ErrorCode status = iAgent_Describe(traverse, &agent);
    EXPECT_TRUE(status == Error_None || status == Error_Memory) << status;
    EXPECT_EQ(agent != nullptr, status == Error_None);
    if (agent != nullptr) {
      EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
    }
    Traverse_Delete(traverse);
  });
}

TEST_F(AgentRecordTest, IsWrittenAsThePageSays) {
  Agent* agent = New("Counter");
  Agent* none = nullptr;
  Context context;
  Context network({}, Order::Network);
  for (Agent** each : {&agent, &none}) {
    EXPECT_EQ(iAgent_Describe(context.In(TraverseMode_Write), each), Error_None);
    EXPECT_EQ(iAgent_Describe(network.In(TraverseMode_Write), each), Error_None);
  }
  EXPECT_EQ(context.Written(), ColumnBelow("#### Agent", kPlainColumn, Side::Writer));
  EXPECT_EQ(network.Written(), ColumnBelow("#### Agent", kNetworkColumn, Side::Writer));
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

}  // namespace
