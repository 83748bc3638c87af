// Agents whose data no address space of 32 bits can hold.
#include "qz/agent.h"

#include <gtest/gtest.h>

#include "qz/agentclass.h"
#include "qz/error.h"
#include "tests/transfer/agent_fixture.h"

namespace {

class AgentOnWindows : public AgentSystemTest {};

TEST_F(AgentOnWindows, GivesMemory_ForMoreDataThanThereCanBe) {
  const AgentMethod methods[] = {{"new", Records<"new">}, {"register", Records<"register">}, {}};
  ASSERT_EQ(AgentClass_Register(nullptr, "A", "", methods, 0, 0xFFFFFFFF), Error_None);
  ASSERT_EQ(AgentClass_Register("A", "B", "", methods, 0, 0xFFFFFFFF), Error_None);
  TakeCalls();
  Agent* agent = nullptr;
  EXPECT_EQ(Agent_New(&agent, "A", kEnd), Error_Memory);
  EXPECT_EQ(Agent_New(&agent, "B", kEnd), Error_Memory);
  EXPECT_EQ(agent, nullptr);
  EXPECT_EQ(TakeCalls(), CallList{});
  EXPECT_EQ(AgentClass_Register(nullptr, "C", "", methods, 0xFFFFFFFF, 0), Error_Memory);
  EXPECT_EQ(TakeCalls(), CallList{});
}

}  // namespace
