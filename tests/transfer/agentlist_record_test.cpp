// The agents of a transfer in its record.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qz/error.h"
#include "tests/support/error_capture.h"
#include "tests/support/fail_allocation.h"
#include "tests/transfer/agentlist_fixture.h"
#include "tests/traverse/formats_page_table.h"
#include "tests/traverse/traverse_fixture.h"

namespace {

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
