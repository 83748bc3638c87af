// SoftObject: agents of the class "SoftObject".
#include "qz/softobject.h"

#include <gtest/gtest.h>

#include "qz/agentclass.h"
#include "qz/error.h"
#include "tests/transfer/agent_fixture.h"

namespace {

int32_t& Result() {
  static int32_t result;
  return result;
}

ErrorCode New(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  char* name = nullptr;
  AgentParam_String(params, "name", &name);
  Calls().push_back(std::string("new ") + (name != nullptr ? name : "(null)"));
  return Result();
}

ErrorCode Update(void* /*classData*/, void* /*instanceData*/, AgentParam* /*params*/) {
  Calls().push_back("update");
  return Result();
}

ErrorCode Check(void* /*classData*/, void* /*instanceData*/, AgentParam* params) {
  int32_t* flag = nullptr;
  EXPECT_EQ(AgentParam_BoolPtr(params, "vrxc", &flag), 1);
  EXPECT_EQ(*flag, 0);
  *flag = 1;
  return Result();
}

class SoftObjectTest : public AgentSystemTest {
 protected:
  static void RegisterClass() {
    const AgentMethod methods[] = {
        {"new", New}, {"update", Update}, {"check", Check}, {"delete", Records<"delete">}, {}};
    ASSERT_EQ(AgentClass_Register(nullptr, "SoftObject", "new(name=string);update();check(vrxc=bool*);",
                                  methods, 0, 0),
              Error_None);
    Result() = Error_None;
  }
  static Agent* Make() {
    Agent* object = nullptr;
    EXPECT_EQ(SoftObject_New("thing", &object), Error_None);
    return object;
  }
};

TEST_F(SoftObjectTest, IsAnAgentOfItsClass) {
  RegisterClass();
  Agent* object = Make();
  EXPECT_STREQ(Agent_Class(object), "SoftObject");
  EXPECT_EQ(SoftObject_Delete(object), Error_None);
  EXPECT_EQ(TakeCalls(), (CallList{"new thing", "delete"}));
}

TEST_F(SoftObjectTest, GivesNotInited_WithoutTheClass) {
  int marker = 0;
  auto* object = reinterpret_cast<Agent*>(&marker);
  EXPECT_EQ(SoftObject_New("thing", &object), Error_NotInited);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(SoftObject_New("thing", nullptr), Error_Invalid);
}

TEST_F(SoftObjectTest, GivesNotInited_WhenNewGivesNotFound_AndOtherStatusesAsTheyAre) {
  RegisterClass();
  Agent* object = nullptr;
  Result() = Error_NotFound;
  EXPECT_EQ(SoftObject_New("thing", &object), Error_NotInited);
  for (const int32_t result : {Error_Fail, Error_Memory, Error_NotInited}) {
    Result() = result;
    EXPECT_EQ(SoftObject_New("thing", &object), result);
  }
}

TEST_F(SoftObjectTest, Updates) {
  RegisterClass();
  Agent* object = Make();
  TakeCalls();
  Result() = Error_Retry;
  EXPECT_EQ(SoftObject_Update(object), Error_Retry);
  Result() = Error_NotFound;
  EXPECT_EQ(SoftObject_Update(object), Error_NotFound);
  EXPECT_EQ(TakeCalls(), (CallList{"update", "update"}));
  EXPECT_EQ(SoftObject_Delete(object), Error_None);
}

TEST_F(SoftObjectTest, ChecksWithAClearFlag) {
  RegisterClass();
  Agent* object = Make();
  int32_t flag = 77;
  EXPECT_EQ(SoftObject_Check(object, &flag), Error_None);
  EXPECT_EQ(flag, 1);
  for (const int32_t result : {int32_t{Error_Fail}, int32_t{Error_NotInited}, 1003}) {
    Result() = result;
    EXPECT_EQ(SoftObject_Check(object, &flag), result);
  }
  EXPECT_EQ(SoftObject_Check(object, nullptr), Error_Invalid);
  EXPECT_EQ(SoftObject_Delete(object), Error_None);
}

TEST_F(SoftObjectTest, TakesNotFoundForNoFailure_WhenItChecks) {
  RegisterClass();
  Agent* object = Make();
  Result() = Error_NotFound;
  int32_t flag = 77;
  EXPECT_EQ(SoftObject_Check(object, &flag), Error_None);
  EXPECT_EQ(SoftObject_Delete(object), Error_None);
}

TEST_F(SoftObjectTest, ClearsTheFlag_WithoutACheck) {
  ASSERT_EQ(AgentClass_Register(nullptr, "SoftObject", "check(vrxc=bool*);", nullptr, 0, 0), Error_None);
  Agent* object = Make();
  int32_t flag = 77;
  EXPECT_EQ(SoftObject_Check(object, &flag), AgentResult_NotImplemented);
  EXPECT_EQ(flag, 0);
  EXPECT_EQ(SoftObject_Update(object), AgentResult_NotDeclared);
  EXPECT_EQ(SoftObject_Delete(object), Error_None);
}

TEST_F(SoftObjectTest, TakesNullForNoObject) {
  int32_t flag = 77;
  EXPECT_EQ(SoftObject_Update(nullptr), Error_Invalid);
  EXPECT_EQ(SoftObject_Check(nullptr, &flag), Error_Invalid);
  EXPECT_EQ(flag, 0);
  EXPECT_EQ(SoftObject_Delete(nullptr), Error_Invalid);
}

}  // namespace
