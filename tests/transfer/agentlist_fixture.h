// Extension classes for tests: each has a letter for its name, records the calls of its methods, and does
// what the test says for each.
//
//   RegisterExtension<'A'>();
//   On("A.completed") = [](AgentParam* params) { return Error_Retry; };
#pragma once

#include <functional>
#include <map>
#include <string>

#include "tests/support/temp_dir.h"
#include "tests/transfer/agent_fixture.h"
#include "transfer/agentlist_internal.h"
#include "transfer/agentlist_testing.h"
#include "transfer/vrxclient_internal.h"

using Behaviour = std::function<int32_t(AgentParam*)>;

inline std::map<std::string, Behaviour>& Behaviours() {
  static std::map<std::string, Behaviour> behaviours;
  return behaviours;
}

inline Behaviour& On(const std::string& method) {
  return Behaviours()[method];
}

// What the methods get, as texts.
inline std::string TextOf(const AgentParam* params, const char* name) {
  char* text = nullptr;
  if (AgentParam_String(params, name, &text) == 0) return "(none)";
  return text != nullptr ? text : "(null)";
}
inline void* ObjectOf(const AgentParam* params, const char* name) {
  void* object = nullptr;
  AgentParam_Object(params, name, &object);
  return object;
}
inline int32_t FlagOf(const AgentParam* params, const char* name) {
  int32_t flag = -1;
  AgentParam_Bool(params, name, &flag);
  return flag;
}

inline int32_t Run(const std::string& method, AgentParam* params) {
  Calls().push_back(method);
  const auto behaviour = Behaviours().find(method);
  return behaviour != Behaviours().end() && behaviour->second ? behaviour->second(params) : Error_None;
}

template <char name>
struct Extension {
  template <Label method>
  static ErrorCode Call(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
    return Run(std::string(1, name) + "." + method.value, params);
  }
  static ErrorCode Delete(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
    return Run(std::string(1, name) + ".delete " + std::to_string(FlagOf(params, "forever")), params);
  }
  static constexpr AgentMethod kMethods[] = {{"createVRXc", Call<"createVRXc">},
                                             {"check", Call<"check">},
                                             {"new", Call<"new">},
                                             {"delete", Delete},
                                             {"startcache", Call<"startcache">},
                                             {"completed", Call<"completed">},
                                             {"traverse", Call<"traverse">},
                                             {}};
};

template <char name>
void RegisterExtension(const char* parent = "VRXx") {
  const char text[] = {name, '\0'};
  ASSERT_EQ(AgentClass_Register(parent, text, "", Extension<name>::kMethods, 0, 0), Error_None);
}

inline std::string ClassesOf(const AgentList& list) {
  std::string classes;
  for (uint32_t i = 0; i < list.count; ++i) classes += Agent_Class(list.agents[i]);
  return classes;
}

// The agents' part of the transfer system, with no extension but those that a test registers.
class ExtensionTest : public testing::Test {
 protected:
  void SetUp() override {
    Calls().clear();
    Behaviours().clear();
    iAgentList_SetWait(10);
    ASSERT_EQ(iAgentList_StartSystem(folder_.Name().c_str()), Error_None);
  }
  void TearDown() override {
    iAgentList_DeleteAll(&list_, 0);
    iAgentList_EndSystem();
    iAgentList_SetWait(0);
  }

  // An agent at the end of the list.
  Agent* Append(const char* className) {
    Agent* agent = nullptr;
    EXPECT_EQ(Agent_New(&agent, className, kEnd), Error_None);
    EXPECT_EQ(iAgentList_Add(&list_, agent), Error_None);
    TakeCalls();
    return agent;
  }

  TempDir folder_;
  VRXClient client_ = {};
  AgentList& list_ = client_.data.agents;
};
