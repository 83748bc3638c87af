// What the agents of a transfer are told while it runs: the copy of an upload, and the completion.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qz/error.h"
#include "tests/support/error_capture.h"
#include "tests/transfer/agentlist_fixture.h"

namespace {

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

}  // namespace
