// Agent: construction, calls, destruction.
#include "qz/agent.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qz/agentclass.h"
#include "qz/error.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/agent_fixture.h"

namespace {

class AgentTest : public AgentSystemTest {
 protected:
  // A, and B below it, both with what the test says.
  static void RegisterAandB(const AgentMethod* ofA, const AgentMethod* ofB, uint32_t dataOfA = 0,
                            uint32_t dataOfB = 0) {
    ASSERT_EQ(AgentClass_Register(nullptr, "A", ".ofClass();ofA(n=integer);new(n=integer);delete(n=integer);",
                                  ofA, 0, dataOfA),
              Error_None);
    ASSERT_EQ(AgentClass_Register("A", "B", "ofB();", ofB, 0, dataOfB), Error_None);
    TakeCalls();
  }
  static Agent* New(const char* className) {
    Agent* agent = nullptr;
    EXPECT_EQ(Agent_New(&agent, className, kEnd), Error_None);
    return agent;
  }
};

// ---- construction -------------------------------------------------------------------------------

TEST_F(AgentTest, RefusesAnUnknownClass) {
  int marker = 0;
  auto* agent = reinterpret_cast<Agent*>(&marker);
  EXPECT_EQ(Agent_New(&agent, "Nobody", kEnd), Error_NotFound);
  EXPECT_EQ(agent, nullptr);
  EXPECT_EQ(Agent_New(&agent, nullptr, kEnd), Error_Invalid);
  EXPECT_EQ(Agent_New(nullptr, "A", kEnd), Error_Invalid);
}

TEST_F(AgentTest, CanBeOfTheRoot) {
  Agent* agent = New("/");
  EXPECT_STREQ(Agent_Class(agent), "/");
  EXPECT_EQ(Agent_Method(agent, "traverse", kEnd), AgentResult_NotImplemented);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentTest, TellsItsClassAsItWasRegistered) {
  ASSERT_EQ(AgentClass_Register(nullptr, "MixedCase", "", nullptr, 0, 0), Error_None);
  Agent* agent = New("mixedcase");
  EXPECT_STREQ(Agent_Class(agent), "MixedCase");
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentTest, CallsNewOfEveryLevel_RootFirst_AndDeleteTheOtherWay) {
  const AgentMethod ofA[] = {{"new", Records<"A.new">}, {"delete", Records<"A.delete">}, {}};
  const AgentMethod ofB[] = {{"new", Records<"B.new">}, {"delete", Records<"B.delete">}, {}};
  RegisterAandB(ofA, ofB);
  Agent* agent = New("B");
  EXPECT_EQ(TakeCalls(), (CallList{"A.new", "B.new"}));
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
  EXPECT_EQ(TakeCalls(), (CallList{"B.delete", "A.delete"}));
}

template <Label label>
ErrorCode RecordsNumber(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  int32_t number = 0;
  const bool isPassed = AgentParam_Integer(params, "n", &number) == 1;
  Calls().push_back(label.value + (isPassed ? std::to_string(number) : std::string(" none")));
  return number == 13 ? Error_Fail : Error_None;
}

TEST_F(AgentTest, PassesThePairsToEveryNewAndDelete) {
  const AgentMethod ofA[] = {{"new", RecordsNumber<"A.new ">}, {"delete", RecordsNumber<"A.delete ">}, {}};
  const AgentMethod ofB[] = {{"new", RecordsNumber<"B.new ">}, {"delete", RecordsNumber<"B.delete ">}, {}};
  RegisterAandB(ofA, ofB);
  Agent* agent = nullptr;
  ASSERT_EQ(Agent_New(&agent, "B", "n", W(5), kEnd), Error_None);
  EXPECT_EQ(TakeCalls(), (CallList{"A.new 5", "B.new 5"}));
  EXPECT_EQ(Agent_Delete(agent, "n", W(6), kEnd), Error_None);
  EXPECT_EQ(TakeCalls(), (CallList{"B.delete 6", "A.delete 6"}));
}

TEST_F(AgentTest, PassesOverALevelWithoutNew_UnlessItHasData) {
  const AgentMethod ofB[] = {{"new", Records<"B.new">}, {}};
  RegisterAandB(nullptr, ofB, 0, 4);
  Agent* agent = New("B");
  EXPECT_EQ(TakeCalls(), CallList{"B.new"});
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);

  ASSERT_EQ(AgentClass_Register(nullptr, "WithData", "", nullptr, 0, 1), Error_None);
  EXPECT_EQ(Agent_New(&agent, "WithData", kEnd), Error_NotInited);
  EXPECT_EQ(agent, nullptr);
}

TEST_F(AgentTest, TakesANewThatGives1001ForNone) {
  const AgentMethod methods[] = {{"new", Gives<AgentResult_NotImplemented>}, {}};
  ASSERT_EQ(AgentClass_Register(nullptr, "Without", "", methods, 0, 0), Error_None);
  ASSERT_EQ(AgentClass_Register(nullptr, "With", "", methods, 0, 1), Error_None);
  Agent* agent = New("Without");
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
  EXPECT_EQ(Agent_New(&agent, "With", kEnd), Error_NotInited);
}

TEST_F(AgentTest, FailsWithWhatNewGives_AndDeletesTheLevelsAbove_WithoutPairs) {
  const AgentMethod ofA[] = {{"new", Records<"A.new">}, {"delete", RecordsNumber<"A.delete">}, {}};
  const AgentMethod ofB[] = {{"new", RecordsNumber<"B.new ">}, {"delete", Records<"B.delete">}, {}};
  RegisterAandB(ofA, ofB);
  int marker = 0;
  auto* agent = reinterpret_cast<Agent*>(&marker);
  EXPECT_EQ(Agent_New(&agent, "B", "n", W(13), kEnd), Error_Fail);
  EXPECT_EQ(agent, nullptr);
  EXPECT_EQ(TakeCalls(), (CallList{"A.new", "B.new 13", "A.delete none"}));
}

TEST_F(AgentTest, FailsWithTheOtherResultsOfCalls) {
  const AgentMethod gives1000[] = {{"new", Gives<1000>}, {}};
  const AgentMethod gives1002[] = {{"new", Gives<1002>}, {}};
  const AgentMethod gives1003[] = {{"new", Gives<1003>}, {}};
  ASSERT_EQ(AgentClass_Register(nullptr, "Gives1000", "", gives1000, 0, 0), Error_None);
  ASSERT_EQ(AgentClass_Register(nullptr, "Gives1002", "", gives1002, 0, 0), Error_None);
  ASSERT_EQ(AgentClass_Register(nullptr, "Gives1003", "", gives1003, 0, 0), Error_None);
  Agent* agent = nullptr;
  EXPECT_EQ(Agent_New(&agent, "Gives1000", kEnd), 1000);
  EXPECT_EQ(Agent_New(&agent, "Gives1002", kEnd), 1002);
  EXPECT_EQ(Agent_New(&agent, "Gives1003", kEnd), 1003);
  EXPECT_EQ(agent, nullptr);
}

// ---- data ---------------------------------------------------------------------------------------

struct Seen {
  uint8_t* data;
  Agent* agent;
};

std::vector<Seen>& AllSeen() {
  static std::vector<Seen> seen;
  return seen;
}

// Its 24 bytes must be zero; fills them.
ErrorCode FillData(void* /*classData*/, void* instanceData, AgentParam* params) {
  auto* data = static_cast<uint8_t*>(instanceData);
  for (int i = 0; i < 24; ++i) EXPECT_EQ(data[i], 0);
  memset(data, 0xFF, 24);
  AllSeen().push_back({data, AgentParam_This(params)});
  return Error_None;
}

ErrorCode SeeData(void* classData, void* instanceData, AgentParam* params) {
  EXPECT_EQ(classData, nullptr);
  AllSeen().push_back({static_cast<uint8_t*>(instanceData), AgentParam_This(params)});
  return Error_None;
}

TEST_F(AgentTest, GivesEachLevelItsOwnData) {
  const AgentMethod methods[] = {
      {"new", FillData}, {"delete", SeeData}, {"ofA", SeeData}, {"ofB", SeeData}, {}};
  AllSeen().clear();
  RegisterAandB(methods, methods, 24, 24);
  Agent* agent = New("B");
  ASSERT_EQ(AllSeen().size(), 2u);
  uint8_t* const ofA = AllSeen()[0].data;
  uint8_t* const ofB = AllSeen()[1].data;
  EXPECT_NE(ofA, ofB);
  EXPECT_EQ(reinterpret_cast<Word>(ofA) % 8, 0u);
  EXPECT_EQ(reinterpret_cast<Word>(ofB) % 8, 0u);
  EXPECT_EQ(AllSeen()[0].agent, agent);

  // Methods get the data of the agent's class, whoever declares them.
  AllSeen().clear();
  EXPECT_EQ(Agent_Method(agent, "ofA", kEnd), Error_None);
  EXPECT_EQ(Agent_Method(agent, "ofB", kEnd), Error_None);
  EXPECT_EQ(AllSeen()[0].data, ofB);
  EXPECT_EQ(AllSeen()[1].data, ofB);

  AllSeen().clear();
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
  EXPECT_EQ(AllSeen()[0].data, ofB);
  EXPECT_EQ(AllSeen()[1].data, ofA);
  EXPECT_EQ(AllSeen()[1].agent, agent);
}

TEST_F(AgentTest, GivesNoData_ToAClassWithoutAny) {
  const AgentMethod ofA[] = {{"new", FillData}, {}};
  const AgentMethod ofB[] = {{"ofA", SeeData}, {}};
  RegisterAandB(ofA, ofB, 24, 0);
  Agent* agent = New("B");
  AllSeen().clear();
  EXPECT_EQ(Agent_Method(agent, "ofA", kEnd), Error_None);
  EXPECT_EQ(AllSeen()[0].data, nullptr);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

ErrorCode KeepClassData(void* classData, void* /*instanceData*/, AgentParam* /*params*/) {
  AllSeen().push_back({static_cast<uint8_t*>(classData), nullptr});
  return Error_None;
}

TEST_F(AgentTest, GetsTheDataOfTheClassOfEachLevel) {
  const AgentMethod methods[] = {
      {"register", KeepClassData}, {"new", KeepClassData}, {"m", KeepClassData}, {}};
  AllSeen().clear();
  ASSERT_EQ(AgentClass_Register(nullptr, "A", "m();", methods, 8, 0), Error_None);
  ASSERT_EQ(AgentClass_Register("A", "B", "", methods, 8, 0), Error_None);
  ASSERT_EQ(AllSeen().size(), 3u);
  uint8_t* const ofA = AllSeen()[0].data;
  uint8_t* const ofB = AllSeen()[2].data;
  AllSeen().clear();
  Agent* agent = New("B");
  EXPECT_EQ(Agent_Method(agent, "m", kEnd), Error_None);
  ASSERT_EQ(AllSeen().size(), 3u);
  EXPECT_EQ(AllSeen()[0].data, ofA);
  EXPECT_EQ(AllSeen()[1].data, ofB);
  EXPECT_EQ(AllSeen()[2].data, ofB);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

// ---- calls --------------------------------------------------------------------------------------

TEST_F(AgentTest, CallsMethodsOfAgentsAndOfClasses) {
  const AgentMethod ofB[] = {{"ofclass", Records<"ofClass">}, {"ofA", Records<"ofA", Error_Retry>}, {}};
  RegisterAandB(nullptr, ofB);
  Agent* agent = New("B");
  EXPECT_EQ(Agent_Method(agent, "ofClass", kEnd), Error_None);
  EXPECT_EQ(Agent_Method(agent, "OFA", kEnd), Error_Retry);
  EXPECT_EQ(Agent_Method(agent, "ofB", kEnd), 1001);
  EXPECT_EQ(Agent_Method(agent, "nothing", kEnd), 1000);
  EXPECT_EQ(Agent_Method(agent, nullptr, kEnd), 1000);
  EXPECT_EQ(TakeCalls(), (CallList{"ofClass", "ofA"}));
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentTest, DoesNotInheritImplementations) {
  const AgentMethod ofA[] = {{"ofA", Records<"A.ofA">}, {}};
  RegisterAandB(ofA, nullptr);
  Agent* agent = New("B");
  EXPECT_EQ(Agent_Method(agent, "ofA", kEnd), AgentResult_NotImplemented);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentTest, TellsWhetherAMethodIsDeclared) {
  RegisterAandB(nullptr, nullptr);
  Agent* agent = New("B");
  EXPECT_EQ(Agent_MethodExists(agent, "ofB"), 1);
  EXPECT_EQ(Agent_MethodExists(agent, "OFCLASS"), 1);
  EXPECT_EQ(Agent_MethodExists(agent, "traverse"), 1);
  EXPECT_EQ(Agent_MethodExists(agent, "nothing"), 0);
  EXPECT_EQ(Agent_MethodExists(agent, nullptr), 1);
  EXPECT_EQ(Agent_MethodExists(nullptr, "new"), 0);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentTest, TakesNullForNoAgent) {
  EXPECT_EQ(Agent_Class(nullptr), nullptr);
  EXPECT_EQ(Agent_Method(nullptr, "new", kEnd), Error_Invalid);
  EXPECT_EQ(Agent_Delete(nullptr, kEnd), Error_Invalid);
  const Word zeroes[8] = {};
  EXPECT_EQ(Agent_Class(reinterpret_cast<const Agent*>(zeroes)), nullptr);
}

// ---- destruction --------------------------------------------------------------------------------

TEST_F(AgentTest, ReportsWhatDeleteGives_AndGoesOn) {
  const AgentMethod ofA[] = {{"delete", Records<"A.delete", Error_NoAccess>}, {}};
  const AgentMethod ofB[] = {{"delete", Records<"B.delete", 1003>}, {}};
  RegisterAandB(ofA, ofB);
  ErrorCapture errors;
  EXPECT_EQ(Agent_Delete(New("B"), kEnd), Error_None);
  EXPECT_EQ(TakeCalls(), (CallList{"B.delete", "A.delete"}));
  EXPECT_EQ(errors.Lines(),
            (CallList{"#### Error: Agent_Delete: \"delete\" of class \"B\" gave 1003, (no error string)\n",
                      "#### Error: Agent_Delete: \"delete\" of class \"A\" gave -5, No Access\n"}));
}

TEST_F(AgentTest, ReportsNothing_WhenThereIsNoDelete) {
  const AgentMethod ofA[] = {{"delete", Gives<1000>}, {}};
  const AgentMethod ofB[] = {{"delete", Gives<1001>}, {}};
  RegisterAandB(ofA, ofB);
  ErrorCapture errors;
  EXPECT_EQ(Agent_Delete(New("B"), kEnd), Error_None);
  EXPECT_EQ(errors.Lines(), CallList{});
}

TEST_F(AgentTest, HasNoMethodsLeft_WhenItsClassIsGone) {
  const AgentMethod ofA[] = {{"delete", Records<"A.delete">}, {"ofA", Records<"A.ofA">}, {}};
  RegisterAandB(ofA, ofA);
  Agent* agent = New("B");
  TakeCalls();
  iAgentClass_End();
  EXPECT_STREQ(Agent_Class(agent), "B");
  EXPECT_EQ(Agent_Method(agent, "ofA", kEnd), AgentResult_NotDeclared);
  EXPECT_EQ(Agent_MethodExists(agent, "ofA"), 1);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
  EXPECT_EQ(TakeCalls(), CallList{});
}

TEST_F(AgentTest, MayBeDeletedByItsOwnMethod) {
  const AgentMethod ofB[] = {{"ofB",
                              [](void*, void*, AgentParam* params) -> ErrorCode {
                                return Agent_Delete(AgentParam_This(params), kEnd) == Error_None ? 42 : 0;
                              }},
                             {}};
  RegisterAandB(nullptr, ofB);
  EXPECT_EQ(Agent_Method(New("B"), "ofB", kEnd), 42);
}

// ---- memory -------------------------------------------------------------------------------------

TEST_F(AgentTest, GivesMemory_WhenAnAllocationFails) {
  const AgentMethod methods[] = {{"new", Records<"new">}, {}};
  RegisterAandB(methods, methods, 100, 200);
  FailEveryAllocation([] {
    Agent* agent = nullptr;
    const ErrorCode status = Agent_New(&agent, "B", kEnd);
    EXPECT_EQ(agent != nullptr, status == Error_None);
    if (status != Error_None) {
      EXPECT_EQ(status, Error_Memory);
      EXPECT_EQ(TakeCalls(), CallList{});
    }
    TakeCalls();
    if (agent != nullptr) {
      EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
    }
  });
}

TEST_F(AgentTest, AllocatesNothingForACall) {
  const AgentMethod ofB[] = {{"ofA", Records<"ofA">}, {}};
  RegisterAandB(nullptr, ofB);
  Agent* agent = New("B");
  iMemory_FailAllocation(1);
  EXPECT_EQ(Agent_Method(agent, "ofA", "n", W(1), kEnd), Error_None);
  EXPECT_EQ(AgentClass_Method("B", "ofClass", kEnd), AgentResult_NotImplemented);
  EXPECT_GT(iMemory_AllocationsUntilFailure(), 0);
  iMemory_FailAllocation(0);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

}  // namespace
