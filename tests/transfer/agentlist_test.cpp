// The agents of a transfer: who gets one, and what they are told.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qz/error.h"
#include "qz/vrxclient.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/agentlist_fixture.h"
#include "tests/traverse/formats_page_table.h"
#include "tests/traverse/traverse_fixture.h"

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

// ---- the upload filter --------------------------------------------------------------------------

class AgentListStartCache : public ExtensionTest {
 protected:
  void SetUp() override {
    ExtensionTest::SetUp();
    RegisterExtension<'A'>();
    RegisterExtension<'B'>();
    memset(className_, 'x', sizeof className_);
    memset(serverFileName_, 'x', sizeof serverFileName_);
  }
  ErrorCode StartCache() {
    return iAgentList_StartCache(&list_, "/files/up.bin", "/cache/data", className_, serverFileName_);
  }
  static Behaviour Leaves(const char* text, int32_t result) {
    return [=](AgentParam* params) {
      char* buffer = nullptr;
      EXPECT_EQ(AgentParam_String(params, "serverfilename", &buffer), 1);
      EXPECT_STREQ(buffer, "");
      strcpy(buffer, text);
      return result;
    };
  }
  char className_[1024];
  char serverFileName_[1024];
};

TEST_F(AgentListStartCache, GivesNotFound_WhenNobodyTakesIt) {
  EXPECT_EQ(StartCache(), Error_NotFound);
  EXPECT_STREQ(className_, "");
  EXPECT_STREQ(serverFileName_, "");
}

TEST_F(AgentListStartCache, GivesTheClassAndTheTextOfTheAgentThatTakesIt) {
  Append("A");
  Append("B");
  On("A.startcache") = Leaves("name.gz", Error_None);
  EXPECT_EQ(StartCache(), Error_None);
  EXPECT_STREQ(className_, "A");
  EXPECT_STREQ(serverFileName_, "name.gz");
  EXPECT_EQ(TakeCalls(), CallList{"A.startcache"});
}

TEST_F(AgentListStartCache, PassesSourceAndCache) {
  Append("A");
  On("A.startcache") = [](AgentParam* params) {
    EXPECT_EQ(TextOf(params, "source"), "/files/up.bin");
    EXPECT_EQ(TextOf(params, "cache"), "/cache/data");
    return Error_None;
  };
  EXPECT_EQ(StartCache(), Error_None);
  EXPECT_STREQ(serverFileName_, "");
}

TEST_F(AgentListStartCache, GivesTheReasonAndNoClass_WhenAnAgentCancels) {
  Append("A");
  Append("B");
  On("A.startcache") = Leaves("not today", Error_Cancel);
  EXPECT_EQ(StartCache(), Error_Cancel);
  EXPECT_STREQ(className_, "");
  EXPECT_STREQ(serverFileName_, "not today");
  EXPECT_EQ(TakeCalls(), CallList{"A.startcache"});
}

TEST_F(AgentListStartCache, AsksTheNextAgent_WhenOneFails_AndReportsIt) {
  Append("A");
  Append("B");
  On("A.startcache") = Leaves("left over", Error_Fail);
  On("B.startcache") = Leaves("taken", Error_None);
  ErrorCapture errors;
  EXPECT_EQ(StartCache(), Error_None);
  EXPECT_STREQ(className_, "B");
  EXPECT_STREQ(serverFileName_, "taken");
  EXPECT_EQ(errors.Lines(),
            CallList{"#### Error: iAgentList_StartCache: \"startcache\" of class \"A\" gave -1, Fail\n"});
}

TEST_F(AgentListStartCache, ForgetsTheTextOfAnAgentThatFails) {
  Append("A");
  On("A.startcache") = Leaves("left over", 1003);
  EXPECT_EQ(StartCache(), Error_NotFound);
  EXPECT_STREQ(serverFileName_, "");
}

TEST_F(AgentListStartCache, PassesOverAgentsWithoutTheMethod) {
  const AgentMethod methods[] = {{"new", Records<"new">}, {}};
  ASSERT_EQ(AgentClass_Register("VRXx", "Unimplemented", "", methods, 0, 0), Error_None);
  ASSERT_EQ(AgentClass_Register("/", "Undeclared", "", methods, 0, 0), Error_None);
  Append("Undeclared");
  Append("Unimplemented");
  Append("B");
  ErrorCapture errors;
  EXPECT_EQ(StartCache(), Error_None);
  EXPECT_STREQ(className_, "B");
  EXPECT_EQ(errors.Lines(), CallList{});
}

TEST_F(AgentListStartCache, EndsATextThatFillsItsBuffer) {
  Append("A");
  On("A.startcache") = [](AgentParam* params) {
    char* buffer = nullptr;
    AgentParam_String(params, "serverfilename", &buffer);
    memset(buffer, 'y', 1024);
    return Error_None;
  };
  EXPECT_EQ(StartCache(), Error_None);
  EXPECT_EQ(std::string(serverFileName_), std::string(1023, 'y'));
}

TEST_F(AgentListStartCache, GivesTimeout_WhenTheListsAreInUse) {
  Append("A");
  On("A.startcache") = [this](AgentParam*) {
    char className[1024];
    char serverFileName[1024];
    EXPECT_EQ(iAgentList_StartCache(&list_, "", "", className, serverFileName), Error_Timeout);
    EXPECT_STREQ(className, "");
    EXPECT_STREQ(serverFileName, "");
    return Error_None;
  };
  EXPECT_EQ(StartCache(), Error_None);
}

// ---- completion ---------------------------------------------------------------------------------

class AgentListComplete : public ExtensionTest {
 protected:
  void SetUp() override {
    ExtensionTest::SetUp();
    RegisterExtension<'A'>();
    RegisterExtension<'B'>();
    RegisterExtension<'C'>();
  }
  int32_t Complete() { return iAgentList_Complete(&client_, &list_, &isChanged_); }
  static Behaviour Deletes(int32_t result, int32_t flag = 1) {
    return [=](AgentParam* params) {
      int32_t* isToBeDeleted = nullptr;
      EXPECT_EQ(AgentParam_BoolPtr(params, "delete", &isToBeDeleted), 1);
      EXPECT_EQ(*isToBeDeleted, 0);
      *isToBeDeleted = flag;
      return result;
    };
  }
  static Behaviour Results(int32_t result) {
    return [=](AgentParam*) { return result; };
  }
  bool isChanged_ = true;
};

TEST_F(AgentListComplete, Gives5_WithoutAgents) {
  EXPECT_EQ(Complete(), 5);
  EXPECT_FALSE(isChanged_);
}

TEST_F(AgentListComplete, TellsOneAgentAStep) {
  Append("A");
  Append("B");
  EXPECT_EQ(Complete(), 1);
  EXPECT_TRUE(isChanged_);
  EXPECT_EQ(TakeCalls(), CallList{"A.completed"});
  EXPECT_EQ(list_.nextIndex, 1u);
  EXPECT_EQ(Complete(), 1);
  EXPECT_EQ(TakeCalls(), CallList{"B.completed"});
  EXPECT_EQ(Complete(), 5);
  EXPECT_FALSE(isChanged_);
  EXPECT_EQ(TakeCalls(), CallList{});
  EXPECT_EQ(ClassesOf(list_), "AB");
}

TEST_F(AgentListComplete, PassesTheTransfer) {
  Append("A");
  On("A.completed") = [this](AgentParam* params) {
    EXPECT_EQ(ObjectOf(params, "vrxc"), &client_);
    return Error_None;
  };
  EXPECT_EQ(Complete(), 1);
}

TEST_F(AgentListComplete, AsksAgain_AsLongAsAnAgentWantsMoreTime) {
  Append("A");
  On("A.completed") = Deletes(Error_Retry);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Complete(), 0);
    EXPECT_FALSE(isChanged_);
    EXPECT_EQ(list_.nextIndex, 0u);
  }
  // Its wish to be deleted counted for nothing then.
  EXPECT_EQ(ClassesOf(list_), "A");
  On("A.completed") = Results(Error_None);
  EXPECT_EQ(Complete(), 1);
  EXPECT_EQ(Complete(), 5);
}

TEST_F(AgentListComplete, Ignores1000And1001And1003) {
  for (const int32_t result : {1000, 1001, 1003}) {
    Append("A");
    On("A.completed") = Results(result);
    EXPECT_EQ(Complete(), 1) << result;
  }
  EXPECT_EQ(Complete(), 5);
}

TEST_F(AgentListComplete, TakesAnAgentWithoutTheMethodForDone) {
  ASSERT_EQ(AgentClass_Register("VRXx", "Unimplemented", "", nullptr, 0, 0), Error_None);
  ASSERT_EQ(AgentClass_Register("/", "Undeclared", "", nullptr, 0, 0), Error_None);
  Append("Unimplemented");
  Append("Undeclared");
  EXPECT_EQ(Complete(), 1);
  EXPECT_EQ(Complete(), 1);
  EXPECT_EQ(Complete(), 5);
}

TEST_F(AgentListComplete, Gives4_ForAnyOtherResult_AndGoesOn) {
  for (const int32_t result : {1002, -1, 1, 2, 4, 7, 8, -5, 999, 1004}) {
    Append("A");
    On("A.completed") = Results(result);
    EXPECT_EQ(Complete(), 4) << result;
    EXPECT_TRUE(isChanged_);
  }
  EXPECT_EQ(Complete(), 5);
}

TEST_F(AgentListComplete, RemovesAnAgentThatWantsIt_AndStaysAtItsPlace) {
  Append("A");
  Append("B");
  Append("C");
  On("B.completed") = Deletes(Error_None);
  EXPECT_EQ(Complete(), 1);
  EXPECT_EQ(Complete(), 1);
  EXPECT_TRUE(isChanged_);
  EXPECT_EQ(TakeCalls(), (CallList{"A.completed", "B.completed", "B.delete 1"}));
  EXPECT_EQ(ClassesOf(list_), "AC");
  EXPECT_EQ(list_.nextIndex, 1u);
  EXPECT_EQ(Complete(), 1);
  EXPECT_EQ(TakeCalls(), CallList{"C.completed"});
  EXPECT_EQ(Complete(), 5);
}

TEST_F(AgentListComplete, RemovesAnAgentThatFails_WhenItWantsIt) {
  Append("A");
  On("A.completed") = Deletes(Error_Fail);
  EXPECT_EQ(Complete(), 4);
  EXPECT_EQ(list_.count, 0u);
  EXPECT_EQ(list_.agents, nullptr);
  EXPECT_EQ(Complete(), 5);
}

TEST_F(AgentListComplete, RemovesForTheFlag1Only) {
  Append("A");
  On("A.completed") = Deletes(Error_None, 2);
  EXPECT_EQ(Complete(), 1);
  EXPECT_EQ(ClassesOf(list_), "A");
  EXPECT_EQ(list_.nextIndex, 1u);
}

TEST_F(AgentListComplete, Gives5_WhenTheIndexIsBeyondTheList) {
  Append("A");
  list_.nextIndex = 7;
  EXPECT_EQ(Complete(), 5);
  EXPECT_EQ(TakeCalls(), CallList{});
}

TEST_F(AgentListComplete, AsksAgain_WhenTheListsAreInUse) {
  Append("A");
  On("A.completed") = [this](AgentParam*) {
    On("A.completed") = nullptr;
    bool isChanged = true;
    EXPECT_EQ(iAgentList_Complete(&client_, &list_, &isChanged), 0);
    EXPECT_FALSE(isChanged);
    return Error_None;
  };
  EXPECT_EQ(Complete(), 1);
  EXPECT_EQ(list_.nextIndex, 1u);
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

// ---- records ------------------------------------------------------------------------------------

// Stores one byte, which it keeps in the instance data.
ErrorCode TraverseByte(void* /*classData*/, void* instanceData, AgentParam* params) {
  return Traverse_Uns8(static_cast<Traverse*>(ObjectOf(params, "traverse")),
                       static_cast<uint8_t*>(instanceData));
}

class AgentListRecord : public ExtensionTest {
 protected:
  void SetUp() override {
    ExtensionTest::SetUp();
    RegisterExtension<'A'>();
    RegisterExtension<'B'>();
    const AgentMethod methods[] = {
        {"new", Records<"new">}, {"traverse", TraverseByte}, {"delete", Extension<'N'>::Delete}, {}};
    ASSERT_EQ(AgentClass_Register("VRXx", "N", "", methods, 0, 1), Error_None);
  }
  ErrorCode Read(const std::string& hex, bool hasIndex = true) {
    Context context(hex);
    iAgentList_Describe(context.In(TraverseMode_Read), &list_, hasIndex);
    rest_ = context.Rest();
    return context.error();
  }
  std::string rest_;
};

constexpr char kA[] = " 02 00 00 00 41 00 01 00 00 00";
constexpr char kB[] = " 02 00 00 00 42 00 01 00 00 00";
constexpr char kNull[] = " 01 00 00 00 00";

TEST_F(AgentListRecord, IsWrittenAsCountIndexAndAgents) {
  Append("A");
  Append("B");
  list_.nextIndex = 1;
  Context context;
  iAgentList_Describe(context.In(TraverseMode_Write), &list_, true);
  EXPECT_EQ(context.error(), Error_None);
  EXPECT_EQ(context.Written(), std::string("02 00 00 00 01 00 00 00") + kA + kB);
}

TEST_F(AgentListRecord, IsWrittenEmpty) {
  Context context;
  iAgentList_Describe(context.In(TraverseMode_Write), &list_, true);
  EXPECT_EQ(context.Written(), "00 00 00 00 00 00 00 00");
}

TEST_F(AgentListRecord, IsReadAsItWasWritten) {
  EXPECT_EQ(Read(std::string("02 00 00 00 01 00 00 00") + kA + kB + " FF"), Error_None);
  EXPECT_EQ(ClassesOf(list_), "AB");
  EXPECT_EQ(list_.nextIndex, 1u);
  EXPECT_EQ(rest_, "FF");
  EXPECT_EQ(TakeCalls(), (CallList{"A.traverse", "B.traverse"}));
}

TEST_F(AgentListRecord, HasNoIndexInOlderRecords) {
  EXPECT_EQ(Read(std::string("02 00 00 00") + kA + kB + " FF", false), Error_None);
  EXPECT_EQ(ClassesOf(list_), "AB");
  EXPECT_EQ(list_.nextIndex, 0u);
  EXPECT_EQ(rest_, "FF");
  Context context;
  iAgentList_Describe(context.In(TraverseMode_Write), &list_, false);
  EXPECT_EQ(context.Written(), std::string("02 00 00 00") + kA + kB);
}

TEST_F(AgentListRecord, StoresWhatItsAgentsStore) {
  EXPECT_EQ(Read("02 00 00 00 00 00 00 00 02 00 00 00 4E 00 01 00 00 00 55 02 00 00 00 4E 00 01 00 00 00 66"),
            Error_None);
  Context context;
  iAgentList_Describe(context.In(TraverseMode_Write), &list_, true);
  EXPECT_EQ(context.Written(),
            "02 00 00 00 00 00 00 00 02 00 00 00 4E 00 01 00 00 00 55 02 00 00 00 4E 00 01 00 00 00 66");
}

TEST_F(AgentListRecord, DropsNullAgents_AndKeepsTheNextOneTheSame) {
  EXPECT_EQ(Read(std::string("05 00 00 00 03 00 00 00") + kNull + kA + kNull + kB + kNull), Error_None);
  EXPECT_EQ(ClassesOf(list_), "AB");
  EXPECT_EQ(list_.nextIndex, 1u);
}

TEST_F(AgentListRecord, TakesAnIndexAboveTheCountForTheCount) {
  EXPECT_EQ(Read(std::string("02 00 00 00 FF FF FF FF") + kA + kB), Error_None);
  EXPECT_EQ(list_.nextIndex, 2u);
  iAgentList_DeleteAll(&list_, 0);
  EXPECT_EQ(Read(std::string("01 00 00 00 02 00 00 00") + kNull), Error_None);
  EXPECT_EQ(list_.nextIndex, 0u);
}

TEST_F(AgentListRecord, FailsForAClassThatIsMissing_AndKeepsWhatItHasRead) {
  EXPECT_EQ(Read(std::string("02 00 00 00 00 00 00 00") + kA + " 02 00 00 00 5A 00 01 00 00 00"),
            Error_NotFound);
  EXPECT_EQ(ClassesOf(list_), "A");
}

TEST_F(AgentListRecord, BelievesNoCount) {
  EXPECT_EQ(Read(std::string("FF FF FF FF 00 00 00 00") + kA + kB), Error_Ended);
  EXPECT_EQ(ClassesOf(list_), "AB");
  iAgentList_DeleteAll(&list_, 0);
  EXPECT_EQ(Read("FF FF FF FF"), Error_Ended);
  EXPECT_EQ(Read("FF"), Error_Ended);
  EXPECT_EQ(list_.count, 0u);
}

TEST_F(AgentListRecord, StopsWriting_WhenAnAgentFails) {
  Append("A");
  Append("B");
  On("A.traverse") = [](AgentParam*) { return Error_Fail; };
  Context context;
  iAgentList_Describe(context.In(TraverseMode_Write), &list_, true);
  EXPECT_EQ(context.error(), Error_Fail);
  EXPECT_EQ(TakeCalls(), CallList{"A.traverse"});
}

TEST_F(AgentListRecord, IsEmptyAfterInit_AndUntouchedInNewAndDelete) {
  Append("A");
  const AgentList before = list_;
  Context context;
  iAgentList_Describe(context.In(TraverseMode_New), &list_, true);
  iAgentList_Describe(context.In(TraverseMode_Delete), &list_, true);
  EXPECT_EQ(list_.agents, before.agents);
  iAgentList_Describe(context.In(TraverseMode_Init), &list_, true);
  EXPECT_EQ(list_.count, 0u);
  EXPECT_EQ(list_.agents, nullptr);
  list_ = before;
}

TEST_F(AgentListRecord, FailsWithTimeout_WhenTheListsAreInUse) {
  Append("A");
  On("A.completed") = [this](AgentParam*) {
    Context context;
    iAgentList_Describe(context.In(TraverseMode_Write), &list_, true);
    EXPECT_EQ(context.error(), Error_Timeout);
    EXPECT_EQ(context.Written(), "");
    AgentList other = {};
    Context reading(std::string("01 00 00 00 00 00 00 00") + kA);
    iAgentList_Describe(reading.In(TraverseMode_Read), &other, true);
    EXPECT_EQ(reading.error(), Error_Timeout);
    EXPECT_EQ(other.count, 0u);
    return Error_None;
  };
  bool isChanged = false;
  EXPECT_EQ(iAgentList_Complete(&client_, &list_, &isChanged), 1);
}

TEST_F(AgentListRecord, DoesNotWait_WhenTheTraverseHasStopped) {
  Append("A");
  On("A.completed") = [this](AgentParam*) {
    Context context;
    Traverse_SetError(context.traverse(), Error_Fail);
    iAgentList_Describe(context.In(TraverseMode_Write), &list_, true);
    EXPECT_EQ(context.error(), Error_Fail);
    return Error_None;
  };
  bool isChanged = false;
  EXPECT_EQ(iAgentList_Complete(&client_, &list_, &isChanged), 1);
}

TEST_F(AgentListRecord, LosesNothing_WhenAnAllocationFails) {
  FailEveryAllocation([] {
    AgentList list = {};
    TestStream stream(Bytes(std::string("03 00 00 00 00 00 00 00") + kA + kB + kA));
    Traverse* traverse = Traverse_New(0, stream.stream());
    if (traverse == nullptr) return;
    Traverse_SetMode(traverse, TraverseMode_Read);
    iAgentList_Describe(traverse, &list, true);
    const ErrorCode status = Traverse_GetError(traverse);
    EXPECT_TRUE(status == Error_None || status == Error_Memory) << status;
    EXPECT_EQ(list.count == 3, status == Error_None);
    iAgentList_DeleteAll(&list, 0);
    Traverse_Delete(traverse);
  });
}

TEST_F(AgentListRecord, IsWrittenAsThePageSays) {
  EXPECT_EQ(Read("02 00 00 00 01 00 00 00 02 00 00 00 4E 00 01 00 00 00 55 02 00 00 00 4E 00 01 00 00 00 66"),
            Error_None);
  Context context;
  Context network({}, Order::Network);
  iAgentList_Describe(context.In(TraverseMode_Write), &list_, true);
  iAgentList_Describe(network.In(TraverseMode_Write), &list_, true);
  EXPECT_EQ(context.Written(), ColumnBelow("#### Agents", kPlainColumn, Side::Writer));
  EXPECT_EQ(network.Written(), ColumnBelow("#### Agents", kNetworkColumn, Side::Writer));
}

}  // namespace
