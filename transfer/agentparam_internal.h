// The parameters of a call.
#pragma once

#include <cstdint>

#include "qz/agentparam.h"
#include "transfer/agent_signature_internal.h"

constexpr uint32_t kAgentParamLimit = 16;

struct AgentParamEntry {
  const AgentDeclaredParameter* declared;
  Word value;
};

struct AgentParam {
  Agent* agent;  // null: the class is called
  uint32_t count;
  AgentParamEntry entries[kAgentParamLimit];
};
