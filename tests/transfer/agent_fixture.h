// Classes of agents for tests: the system of classes for a test's length, and implementations that record
// their calls.
//
//   const AgentMethod methods[] = {{"new", Records<"A.new">}, {"delete", Records<"A.delete", Error_Fail>},
//   {}}; ASSERT_EQ(AgentClass_Register(nullptr, "A", "", methods, 0, 0), Error_None);
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "qz/agentclass.h"
#include "qz/error.h"
#include "transfer/agent_internal.h"

inline std::vector<std::string>& Calls() {
  static std::vector<std::string> calls;
  return calls;
}

using CallList = std::vector<std::string>;

// What was called since the last time.
inline CallList TakeCalls() {
  return std::exchange(Calls(), {});
}

template <size_t Size>
struct Label {
  constexpr Label(const char (&text)[Size]) { std::copy_n(text, Size, value); }  // NOLINT
  char value[Size];
};

// An implementation that records its label and gives a result.
template <Label label, int32_t result = Error_None>
ErrorCode Records(void* /*classData*/, void* /*instanceData*/, AgentParam* /*params*/) {
  Calls().push_back(label.value);
  return result;
}

// One that gives a result.
template <int32_t result>
ErrorCode Gives(void* /*classData*/, void* /*instanceData*/, AgentParam* /*params*/) {
  return result;
}

// A value of a pair.
inline Word W(const void* pointer) {
  return reinterpret_cast<Word>(pointer);
}
inline Word W(int32_t number) {
  return static_cast<Word>(static_cast<uint32_t>(number));
}
inline Word W(float number) {
  uint32_t bits;
  memcpy(&bits, &number, sizeof bits);
  return bits;
}
constexpr const char* kEnd = nullptr;

// The direct children of a class, as they are named one by one.
inline CallList Children(const char* className) {
  CallList names;
  char name[kAgentNameSize] = "";
  while (AgentClass_Iterate(className, sizeof name, name) == Error_None && name[0] != '\0')
    names.push_back(name);
  return names;
}

class AgentSystemTest : public testing::Test {
 protected:
  void SetUp() override {
    Calls().clear();
    ASSERT_EQ(iAgentClass_Start(), Error_None);
  }
  void TearDown() override { iAgentClass_End(); }
};
