// Agents: one block with the record, a pointer for each level, and the data of the levels.
#include "qz/agent.h"

#include <utility>

#include "os/core/memory_internal.h"
#include "qz/error.h"
#include "qz/memory.h"
#include "qz/string.h"
#include "transfer/agentclass_internal.h"

namespace {

constexpr uint32_t kAgentMagic = 0x61676E74u;  // "agnt"

// What data of a level begins at a multiple of, counted from the block.
constexpr uint64_t kDataAlignment = 16;

bool IsAgent(const Agent* agent) {
  return agent != nullptr && agent->magic == kAgentMagic;
}

uint64_t Aligned(uint64_t size) {
  return (size + kDataAlignment - 1) / kDataAlignment * kDataAlignment;
}

// The record and the pointers.
uint64_t HeadSize(const AgentClass& agentClass) {
  return Aligned(sizeof(Agent) + (static_cast<uint64_t>(agentClass.depth) + 1) * sizeof(void*));
}

uint64_t BlockSize(const AgentClass& agentClass) {
  uint64_t size = HeadSize(agentClass);
  for (const AgentClass* level = &agentClass; level != nullptr; level = level->parent)
    size += Aligned(level->instanceDataSize);
  return size;
}

void Free(Agent* agent) {
  iAgentClass_Drop(agent->agentClass);
  agent->magic = 0;
  Memory_Delete(agent);
}
using OwnedAgent = Owned<Agent, Free>;

// An agent whose constructors have not run, with all data zero.
OwnedAgent Allocate(HeldClass agentClass) {
  const uint64_t size = BlockSize(*agentClass.get());
  if (size > SIZE_MAX / 2) return OwnedAgent();
  auto* agent = static_cast<Agent*>(iMemory_NewCleared(static_cast<size_t>(size)));
  if (agent == nullptr) return OwnedAgent();
  agent->magic = kAgentMagic;
  char* data = reinterpret_cast<char*>(agent) + HeadSize(*agentClass.get());
  for (const AgentClass* level = agentClass.get(); level != nullptr; level = level->parent) {
    agent->Data()[level->depth] = level->instanceDataSize != 0 ? data : nullptr;
    data += Aligned(level->instanceDataSize);
  }
  agent->agentClass = agentClass.release();
  return OwnedAgent(agent);
}

// Calls a method for one level, which finds its own implementation and data.
int32_t CallLevel(Agent* agent, const AgentClass& level, const char* methodName, const AgentPairs* pairs) {
  return iAgent_Call({&level, level.OwnLevel().classData, agent, agent->Data()[level.depth], pairs},
                     methodName);
}

// Calls "delete" of a level and of all above it.
void DeleteFrom(Agent* agent, const AgentClass* level, const AgentPairs* pairs) {
  for (; level != nullptr; level = level->parent) {
    const int32_t result = CallLevel(agent, *level, "delete", pairs);
    iAgent_Note("Agent_Delete", level->name, "delete", result);
  }
}

int32_t NewLevel(Agent* agent, const AgentClass& level, const AgentPairs* pairs) {
  const int32_t result = CallLevel(agent, level, "new", pairs);
  if (result != AgentResult_NotImplemented) return result;
  return level.instanceDataSize != 0 ? Error_NotInited : Error_None;
}

int32_t NewLevels(Agent* agent, const AgentPairs* pairs) {
  for (int32_t depth = 0; depth <= agent->agentClass->depth; ++depth) {
    const AgentClass* level = iAgentClass_AtDepth(agent->agentClass, depth);
    const int32_t result = NewLevel(agent, *level, pairs);
    if (result == Error_None) continue;
    DeleteFrom(agent, level->parent, nullptr);
    return result;
  }
  return Error_None;
}

ErrorCode New(const char* className, const AgentPairs* pairs, Agent** agent) {
  if (className == nullptr) return Error_Invalid;
  HeldClass agentClass = iAgentClass_Find(className);
  if (!agentClass) return Error_NotFound;
  OwnedAgent made = Allocate(std::move(agentClass));
  if (!made) return Error_Memory;
  const int32_t result = NewLevels(made.get(), pairs);
  if (result == Error_None) *agent = made.release();
  return result;
}

// ---- records -----------------------------------------------------------------------------------

bool IsStopped(Traverse* traverse) {
  const ErrorCode error = Traverse_GetError(traverse);
  return error != Error_None && error != Error_Exceed;
}

// Calls "traverse" for every level. A level without one has nothing to store.
int32_t TraverseLevels(Agent* agent, ...) {
  AgentPairs pairs;
  va_start(pairs.list, agent);
  int32_t result = Error_None;
  for (int32_t depth = 0; depth <= agent->agentClass->depth && result == Error_None; ++depth) {
    const AgentClass* level = iAgentClass_AtDepth(agent->agentClass, depth);
    result = CallLevel(agent, *level, "traverse", &pairs);
    if (result == AgentResult_NotImplemented) result = Error_None;
  }
  va_end(pairs.list);
  return result;
}

int32_t DescribeLevels(Traverse* traverse, Agent* agent, int32_t version) {
  const int32_t result = TraverseLevels(agent, "traverse", iAgent_Word(traverse), "version",
                                        static_cast<Word>(static_cast<uint32_t>(version)), kAgentPairsEnd);
  if (result != Error_None) Traverse_SetError(traverse, result);
  return result;
}

void Write(Traverse* traverse, Agent* agent) {
  char name[kAgentNameSize] = "";
  if (agent != nullptr) String_Copy(agent->agentClass->name, name);
  Traverse_String(traverse, sizeof name, name);
  if (agent == nullptr) return;
  auto version = static_cast<int32_t>(agent->agentClass->version.load());
  Traverse_Int32(traverse, &version);
  if (!IsStopped(traverse)) DescribeLevels(traverse, agent, version);
}

// The constructors are the "traverse" methods. When all have run, and the record yet came short, the agent is
// deleted as one whose transfer is closed.
// Kept: when one of them fails no "delete" is called, unlike after a failed "new".
ErrorCode Make(Traverse* traverse, const char* className, int32_t version, Agent** agent) {
  HeldClass agentClass = iAgentClass_Find(className);
  if (!agentClass) return Error_NotFound;
  OwnedAgent made = Allocate(std::move(agentClass));
  if (!made) return Error_Memory;
  const int32_t result = DescribeLevels(traverse, made.get(), version);
  if (result != Error_None) return result;
  *agent = made.release();
  if (!IsStopped(traverse)) return Error_None;
  Agent_Delete(*agent, "forever", Word{0}, kAgentPairsEnd);
  *agent = nullptr;
  return Traverse_GetError(traverse);
}

void Read(Traverse* traverse, Agent** agent) {
  // A text that fills its room has no terminator.
  char name[kAgentNameSize + 1] = "";
  int32_t version = 0;
  Traverse_String(traverse, kAgentNameSize, name);
  name[kAgentNameSize] = '\0';
  if (IsStopped(traverse) || name[0] == '\0') return;
  Traverse_Int32(traverse, &version);
  if (IsStopped(traverse)) return;
  const ErrorCode status = Make(traverse, name, version, agent);
  if (status != Error_None) Traverse_SetError(traverse, status);
}

}  // namespace

ErrorCode Agent_New(Agent** agent, const char* className, ...) {
  if (agent == nullptr) return Error_Invalid;
  *agent = nullptr;
  AgentPairs pairs;
  va_start(pairs.list, className);
  const ErrorCode status = New(className, &pairs, agent);
  va_end(pairs.list);
  return status;
}

const char* Agent_Class(const Agent* agent) {
  return IsAgent(agent) ? agent->agentClass->name : nullptr;
}

int32_t Agent_MethodExists(const Agent* agent, const char* methodName) {
  if (!IsAgent(agent)) return 0;
  return methodName == nullptr || iAgentClass_Declares(agent->agentClass, methodName) ? 1 : 0;
}

int32_t Agent_Method(Agent* agent, const char* methodName, ...) {
  if (!IsAgent(agent)) return Error_Invalid;
  const AgentClass& agentClass = *agent->agentClass;
  AgentPairs pairs;
  va_start(pairs.list, methodName);
  const int32_t result = CallLevel(agent, agentClass, methodName, &pairs);
  va_end(pairs.list);
  return result;
}

ErrorCode Agent_Delete(Agent* agent, ...) {
  if (!IsAgent(agent)) return Error_Invalid;
  AgentPairs pairs;
  va_start(pairs.list, agent);
  DeleteFrom(agent, agent->agentClass, &pairs);
  va_end(pairs.list);
  Free(agent);
  return Error_None;
}

ErrorCode iAgent_Describe(Traverse* traverse, Agent** agent) {
  if (traverse == nullptr) return Error_Invalid;
  if (agent == nullptr) return Traverse_SetError(traverse, Error_Invalid);
  const int32_t mode = Traverse_GetMode(traverse);
  if (mode == TraverseMode_Write && !IsStopped(traverse)) Write(traverse, *agent);
  if (mode == TraverseMode_Init || mode == TraverseMode_Read) *agent = nullptr;
  if (mode == TraverseMode_Read && !IsStopped(traverse)) Read(traverse, agent);
  return Traverse_GetError(traverse);
}
