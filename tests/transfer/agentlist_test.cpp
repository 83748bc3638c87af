// The agents of a transfer: who gets one, the calls of applications, and the end.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qz/error.h"
#include "qz/vrxclient.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/agentlist_fixture.h"

namespace {

// ---- start and end ------------------------------------------------------------------------------

TEST(AgentListSystem, GivesInited_WhenStartedTwice) {
  const TempDir folder;
  ASSERT_EQ(iAgentList_StartSystem(folder.Name().c_str()), Error_None);
  EXPECT_EQ(iAgentList_StartSystem(folder.Name().c_str()), Error_Inited);
  EXPECT_EQ(AgentClass_MethodExists("VRXx", "check"), 1);
  iAgentList_EndSystem();
  EXPECT_EQ(AgentClass_MethodExists("VRXx", "check"), 0);
  iAgentList_EndSystem();
}

TEST(AgentListSystem, StartsNothing_WhenAPartFails) {
  EXPECT_EQ(iAgentList_StartSystem(nullptr), Error_Invalid);
  EXPECT_EQ(AgentClass_MethodExists("/", "new"), 0);
  const TempDir folder;
  EXPECT_EQ(iAgentList_StartSystem(folder.Name().c_str()), Error_None);
  iAgentList_EndSystem();
}

TEST(AgentListSystem, StartsNothing_WhenTheClassesAreStartedAlready) {
  ASSERT_EQ(iAgentClass_Start(), Error_None);
  const TempDir folder;
  EXPECT_EQ(iAgentList_StartSystem(folder.Name().c_str()), Error_Inited);
  iAgentClass_End();
}

TEST(AgentListSystem, StartsNothing_WhenAnAllocationFails) {
  const TempDir folder;
  FailEveryAllocation([&folder] {
    const ErrorCode status = iAgentList_StartSystem(folder.Name().c_str());
    EXPECT_TRUE(status == Error_None || status == Error_Memory) << status;
    EXPECT_EQ(AgentClass_MethodExists("VRXx", "check"), status == Error_None ? 1 : 0);
    iAgentList_EndSystem();
  });
}

// ---- starting agents ----------------------------------------------------------------------------

class AgentListStart : public ExtensionTest {
 protected:
  void Start() { iAgentList_Start(&client_, &list_, "/files/a.bin", "ftp://host/a.bin"); }
};

TEST_F(AgentListStart, MakesAnAgentOfEachClassThatWantsOne_NewestFirst) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  RegisterExtension<'C'>();
  On("B.check") = [](AgentParam*) { return Error_Fail; };
  Start();
  EXPECT_EQ(TakeCalls(), (CallList{"C.check", "C.new", "B.check", "A.check", "A.new"}));
  EXPECT_EQ(ClassesOf(list_), "CA");
  EXPECT_TRUE(client_.isChanged);
}

TEST_F(AgentListStart, PassesFileURLAndTransfer_ToCheckAndNew) {
  RegisterExtension<'A'>();
  const auto look = [this](AgentParam* params) {
    EXPECT_EQ(TextOf(params, "file"), "/files/a.bin");
    EXPECT_EQ(TextOf(params, "url"), "ftp://host/a.bin");
    EXPECT_EQ(ObjectOf(params, "vrxc"), &client_);
    return Error_None;
  };
  On("A.check") = look;
  On("A.new") = look;
  Start();
  EXPECT_EQ(TakeCalls(), (CallList{"A.check", "A.new"}));
}

TEST_F(AgentListStart, ChangesNothing_WithoutExtensions) {
  Start();
  EXPECT_EQ(list_.count, 0u);
  EXPECT_EQ(list_.agents, nullptr);
  EXPECT_FALSE(client_.isChanged);
}

TEST_F(AgentListStart, AsksDirectChildrenOnly) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>("A");
  RegisterExtension<'C'>("/");
  Start();
  EXPECT_EQ(TakeCalls(), (CallList{"A.check", "A.new"}));
}

TEST_F(AgentListStart, PassesOverAClassThatHasAnAgentAlready) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  Append("B");
  Append("A");
  Start();
  EXPECT_EQ(TakeCalls(), CallList{});
  EXPECT_EQ(ClassesOf(list_), "BA");
  EXPECT_FALSE(client_.isChanged);
}

TEST_F(AgentListStart, NeverTakesAClassWithoutCheck) {
  const AgentMethod methods[] = {{"new", Records<"new">}, {}};
  ASSERT_EQ(AgentClass_Register("VRXx", "Unasked", "", methods, 0, 0), Error_None);
  ErrorCapture errors;
  Start();
  EXPECT_EQ(TakeCalls(), CallList{});
  EXPECT_EQ(list_.count, 0u);
  EXPECT_EQ(errors.Lines(), CallList{});
}

TEST_F(AgentListStart, EndsWhenAnAgentCannotBeMade_AndReportsIt) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  RegisterExtension<'C'>();
  On("B.new") = [](AgentParam*) { return Error_NoAccess; };
  ErrorCapture errors;
  Start();
  EXPECT_EQ(TakeCalls(), (CallList{"C.check", "C.new", "B.check", "B.new"}));
  EXPECT_EQ(ClassesOf(list_), "C");
  EXPECT_EQ(errors.Lines(),
            CallList{"#### Error: iAgentList_Start: making an agent of class \"B\" gave -5, No Access\n"});
}

TEST_F(AgentListStart, DeletesAnAgentThatCannotBeAppended_AndReportsIt) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  On("B.new") = [](AgentParam*) {
    iMemory_FailAllocation(1);
    return Error_None;
  };
  ErrorCapture errors;
  Start();
  iMemory_FailAllocation(0);
  EXPECT_EQ(TakeCalls(), (CallList{"B.check", "B.new", "B.delete 1"}));
  EXPECT_EQ(list_.count, 0u);
  EXPECT_FALSE(client_.isChanged);
  EXPECT_EQ(errors.Lines(),
            CallList{"#### Error: iAgentList_Start: appending an agent of class \"B\" gave 1, Memory\n"});
}

TEST_F(AgentListStart, DeletesAnAgentThatSetsTheReason_AndEnds) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  On("B.new") = [this](AgentParam*) {
    client_.reason = VRXClientReason_Agent;
    return Error_None;
  };
  Start();
  EXPECT_EQ(TakeCalls(), (CallList{"B.check", "B.new", "B.delete 1"}));
  EXPECT_EQ(list_.count, 0u);
  EXPECT_FALSE(client_.isChanged);
}

TEST_F(AgentListStart, EndsWhenCheckSetsTheReason) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  On("B.check") = [this](AgentParam*) {
    client_.reason = VRXClientReason_Agent;
    return Error_None;
  };
  Start();
  EXPECT_EQ(TakeCalls(), CallList{"B.check"});
  EXPECT_EQ(list_.count, 0u);
}

TEST_F(AgentListStart, DoesNothing_WhenTheListsAreInUse) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  VRXClient other = {};
  On("B.check") = [&other](AgentParam*) {
    On("B.check") = nullptr;
    iAgentList_Start(&other, &other.data.agents, "", "");
    return Error_None;
  };
  Start();
  EXPECT_EQ(other.data.agents.count, 0u);
  EXPECT_EQ(ClassesOf(list_), "BA");
}

// ---- the calls of applications ------------------------------------------------------------------

class AgentListCalls : public ExtensionTest {
 protected:
  void SetUp() override {
    ExtensionTest::SetUp();
    RegisterExtension<'A'>();
    RegisterExtension<'B'>();
    RegisterExtension<'C'>();
  }
};

TEST_F(AgentListCalls, AppendInOrder_AndMarkTheTransferChanged) {
  std::string classes;
  for (int i = 0; i < 9; ++i) {
    Agent* agent = nullptr;
    const char className[] = {"ABC"[i % 3], '\0'};
    ASSERT_EQ(Agent_New(&agent, className, kEnd), Error_None);
    client_.isChanged = false;
    EXPECT_EQ(VRXClient_AddAgent(&client_, agent), Error_None);
    EXPECT_TRUE(client_.isChanged);
    classes += className;
  }
  EXPECT_EQ(ClassesOf(list_), classes);
  EXPECT_EQ(classes, "ABCABCABC");
}

TEST_F(AgentListCalls, FindTheFirstAgentOnly) {
  EXPECT_EQ(VRXClient_GetAgent(&client_, "A"), nullptr);
  Agent* first = Append("A");
  Append("B");
  EXPECT_EQ(VRXClient_GetAgent(&client_, "A"), first);
  EXPECT_EQ(VRXClient_GetAgent(&client_, "a"), first);
  EXPECT_EQ(VRXClient_GetAgent(&client_, "B"), nullptr);
  EXPECT_EQ(VRXClient_GetAgent(&client_, "VRXx"), nullptr);
  EXPECT_EQ(VRXClient_GetAgent(&client_, ""), nullptr);
}

TEST_F(AgentListCalls, CountTheAgents) {
  EXPECT_EQ(VRXClient_GetAgentCount(&client_), 0u);
  Append("A");
  Append("B");
  EXPECT_EQ(VRXClient_GetAgentCount(&client_), 2u);
  EXPECT_EQ(VRXClient_RemoveAgent(&client_, "A"), Error_None);
  EXPECT_EQ(VRXClient_GetAgentCount(&client_), 1u);
  EXPECT_EQ(VRXClient_GetAgentCount(nullptr), 0xFFFFFFFFu);
}

TEST_F(AgentListCalls, RemoveTheFirstAgentOnly_ForEver) {
  EXPECT_EQ(VRXClient_RemoveAgent(&client_, "A"), Error_NotFound);
  Append("A");
  Append("B");
  Append("C");
  EXPECT_EQ(VRXClient_RemoveAgent(&client_, "B"), Error_NotFound);
  EXPECT_EQ(ClassesOf(list_), "ABC");
  EXPECT_FALSE(client_.isChanged);
  EXPECT_EQ(VRXClient_RemoveAgent(&client_, "a"), Error_None);
  EXPECT_EQ(TakeCalls(), CallList{"A.delete 1"});
  EXPECT_EQ(ClassesOf(list_), "BC");
  EXPECT_TRUE(client_.isChanged);
  EXPECT_EQ(VRXClient_RemoveAgent(&client_, "B"), Error_None);
  EXPECT_EQ(VRXClient_RemoveAgent(&client_, "C"), Error_None);
  EXPECT_EQ(list_.agents, nullptr);
}

TEST_F(AgentListCalls, KeepTheNextAgentTheSame_WhenOneBeforeItIsRemoved) {
  Append("A");
  Append("B");
  Append("C");
  list_.nextIndex = 2;
  EXPECT_EQ(VRXClient_RemoveAgent(&client_, "A"), Error_None);
  EXPECT_EQ(list_.nextIndex, 1u);
  list_.nextIndex = 0;
  EXPECT_EQ(VRXClient_RemoveAgent(&client_, "B"), Error_None);
  EXPECT_EQ(list_.nextIndex, 0u);
}

TEST_F(AgentListCalls, RefuseNull) {
  Agent* agent = Append("A");
  EXPECT_EQ(VRXClient_AddAgent(nullptr, agent), Error_Invalid);
  EXPECT_EQ(VRXClient_AddAgent(&client_, nullptr), Error_Invalid);
  EXPECT_EQ(VRXClient_GetAgent(nullptr, "A"), nullptr);
  EXPECT_EQ(VRXClient_GetAgent(&client_, nullptr), nullptr);
  EXPECT_EQ(VRXClient_RemoveAgent(nullptr, "A"), Error_Invalid);
  EXPECT_EQ(VRXClient_RemoveAgent(&client_, nullptr), Error_Invalid);
}

TEST_F(AgentListCalls, GiveMemory_WhenTheListCannotGrow) {
  Agent* agent = nullptr;
  ASSERT_EQ(Agent_New(&agent, "A", kEnd), Error_None);
  iMemory_FailAllocation(1);
  EXPECT_EQ(VRXClient_AddAgent(&client_, agent), Error_Memory);
  iMemory_FailAllocation(0);
  EXPECT_EQ(list_.count, 0u);
  EXPECT_FALSE(client_.isChanged);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentListCalls, WaitFiveSeconds) {
  EXPECT_EQ(kAgentListWaitMilliseconds, 5000u);
}

TEST_F(AgentListCalls, GiveTimeout_FromInsideAnAgent) {
  Append("A");
  Agent* other = nullptr;
  ASSERT_EQ(Agent_New(&other, "B", kEnd), Error_None);
  On("A.completed") = [this, other](AgentParam*) {
    EXPECT_EQ(VRXClient_AddAgent(&client_, other), Error_Timeout);
    EXPECT_EQ(VRXClient_GetAgent(&client_, "A"), nullptr);
    EXPECT_EQ(VRXClient_RemoveAgent(&client_, "A"), Error_Timeout);
    return Error_None;
  };
  bool isChanged = false;
  EXPECT_EQ(iAgentList_Complete(&client_, &list_, &isChanged), 1);
  EXPECT_EQ(ClassesOf(list_), "A");
  EXPECT_EQ(Agent_Delete(other, kEnd), Error_None);
}

// ---- the end ------------------------------------------------------------------------------------

class AgentListDeleteAll : public ExtensionTest {};

TEST_F(AgentListDeleteAll, DeletesEveryAgent_AndEmptiesTheList) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  for (const int32_t isForever : {0, 1}) {
    Append("A");
    Append("B");
    list_.nextIndex = 1;
    iAgentList_DeleteAll(&list_, isForever);
    EXPECT_EQ(TakeCalls(), isForever == 1 ? (CallList{"A.delete 1", "B.delete 1"})
                                          : (CallList{"A.delete 0", "B.delete 0"}));
    EXPECT_EQ(list_.count, 0u);
    EXPECT_EQ(list_.nextIndex, 0u);
    EXPECT_EQ(list_.agents, nullptr);
  }
}

TEST_F(AgentListDeleteAll, HoldsTheLists) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  Append("A");
  VRXClient other = {};
  Agent* agent = nullptr;
  ASSERT_EQ(Agent_New(&agent, "B", kEnd), Error_None);
  ErrorCode status = Error_None;
  On("A.delete 1") = [&](AgentParam*) {
    status = VRXClient_AddAgent(&other, agent);
    return Error_None;
  };
  iAgentList_DeleteAll(&list_, 1);
  EXPECT_EQ(status, Error_Timeout);
  EXPECT_EQ(Agent_Delete(agent, kEnd), Error_None);
}

TEST_F(AgentListDeleteAll, LosesNoAgent_WhenTheListsAreInUse) {
  RegisterExtension<'A'>();
  RegisterExtension<'B'>();
  VRXClient other = {};
  Agent* agent = nullptr;
  ASSERT_EQ(Agent_New(&agent, "B", kEnd), Error_None);
  ASSERT_EQ(iAgentList_Add(&other.data.agents, agent), Error_None);
  Append("A");
  On("A.completed") = [&other](AgentParam*) {
    iAgentList_DeleteAll(&other.data.agents, 1);
    return Error_None;
  };
  bool isChanged = false;
  EXPECT_EQ(iAgentList_Complete(&client_, &list_, &isChanged), 1);
  EXPECT_EQ(TakeCalls(), (CallList{"A.completed", "B.delete 1"}));
}

TEST_F(AgentListDeleteAll, FreesAgentsWhoseClassesAreGone) {
  RegisterExtension<'A'>();
  Append("A");
  iAgentList_EndSystem();
  iAgentList_DeleteAll(&list_, 1);
  EXPECT_EQ(TakeCalls(), CallList{});
  EXPECT_EQ(list_.count, 0u);
}

}  // namespace
