// The agents of a transfer. What a class derived from "VRXx" is asked, and when:
//
//   a server is selected     .check, and new when it gives 0       iAgentList_Start
//   an upload is copied      startcache                            iAgentList_StartCache
//   the data is complete     completed, one agent a step           iAgentList_Complete
//   the transfer ends        delete                                iAgentList_DeleteAll
//   it is saved, or read     traverse                              iAgentList_Describe
#include <algorithm>
#include <atomic>
#include <utility>

#include "qz/error.h"
#include "qz/memory.h"
#include "qz/semaphore.h"
#include "qz/string.h"
#include "transfer/agentlist_internal.h"
#include "transfer/agentlist_testing.h"
#include "transfer/vrxclient_internal.h"
#include "transfer/vrxextension_internal.h"

namespace {

constexpr size_t kTextSize = 1024;

Semaphore* semaphore = nullptr;
std::atomic<uint32_t> waitMilliseconds{kAgentListWaitMilliseconds};

// Holds the semaphore while it lives, unless it could not be had.
class HeldLists {
 public:
  HeldLists() : status_(semaphore != nullptr ? Semaphore_Wait(semaphore, waitMilliseconds) : Error_None) {}
  ~HeldLists() {
    if (status_ == Error_None && semaphore != nullptr) Semaphore_Signal(semaphore);
  }
  HeldLists(const HeldLists&) = delete;
  HeldLists& operator=(const HeldLists&) = delete;

  ErrorCode Status() const { return status_; }

 private:
  ErrorCode status_;
};

Word Flag(int32_t flag) {
  return static_cast<Word>(static_cast<uint32_t>(flag));
}

void Delete(Agent* agent, int32_t isForever) {
  Agent_Delete(agent, "forever", Flag(isForever), kAgentPairsEnd);
}

// ---- the list, while the semaphore is held -----------------------------------------------------

// Room is doubled, so a count that is a power of two has used up its room.
ErrorCode MakeRoom(AgentList* list) {
  const uint32_t count = list->count;
  if ((count & (count - 1)) != 0) return Error_None;
  const size_t room = count != 0 ? size_t{count} * 2 : 1;
  auto* grown = static_cast<Agent**>(Memory_Realloc(list->agents, room * sizeof(Agent*)));
  if (grown == nullptr) return Error_Memory;
  list->agents = grown;
  return Error_None;
}

ErrorCode Append(AgentList* list, Agent* agent) {
  const ErrorCode status = MakeRoom(list);
  if (status == Error_None) list->agents[list->count++] = agent;
  return status;
}

// Deletes an agent for ever and closes the gap. The next agent to be told stays the same one.
void Remove(AgentList* list, uint32_t index) {
  Agent* agent = list->agents[index];
  Agent** place = list->agents + index;
  std::copy(place + 1, list->agents + list->count, place);
  --list->count;
  if (index < list->nextIndex) --list->nextIndex;
  if (list->count == 0) Memory_Delete(std::exchange(list->agents, nullptr));
  Delete(agent, 1);
}

bool HasClass(const Agent* agent, const char* className) {
  return className != nullptr && String_CompareInsensitive(Agent_Class(agent), className) == 0;
}

bool HasAgentOf(const AgentList& list, const char* className) {
  return std::any_of(list.agents, list.agents + list.count,
                     [=](const Agent* agent) { return HasClass(agent, className); });
}

// Kept: only the first agent is looked at, however many there are; an agent behind it is never found.
bool IsFirst(const AgentList& list, const char* className) {
  return list.count != 0 && HasClass(list.agents[0], className);
}

// ---- starting ----------------------------------------------------------------------------------

// A transfer whose server was selected, as the methods are told of it.
struct Selected {
  VRXClient* client;
  AgentList* list;
  const char* file;
  const char* url;
};

void Report(const char* className, const char* what, ErrorCode status) {
  Error("iAgentList_Start: %s an agent of class \"%s\" gave %ld, %s", what, className,
        static_cast<long>(status), Error_ToString(status));
}

// Appends a new agent. False when the walk ends: the agent cannot be made or appended, or has set the
// transfer's error reason.
bool AddAgentOf(const char* className, const Selected& selected) {
  Agent* agent = nullptr;
  ErrorCode status =
      Agent_New(&agent, className, "file", iAgent_Word(selected.file), "url", iAgent_Word(selected.url),
                "vrxc", iAgent_Word(selected.client), kAgentPairsEnd);
  if (status != Error_None) {
    Report(className, "making", status);
    return false;
  }
  const bool isRefusing = selected.client->reason != VRXClientReason_None;
  if (!isRefusing) status = Append(selected.list, agent);
  if (status != Error_None) Report(className, "appending", status);
  if (!isRefusing && status == Error_None) {
    selected.client->isChanged = true;
    return true;
  }
  Delete(agent, 1);
  return false;
}

// Asks a class. False when the walk ends.
bool StartAgentOf(const char* className, const Selected& selected) {
  if (HasAgentOf(*selected.list, className)) return true;
  const int32_t result =
      AgentClass_Method(className, "check", "file", iAgent_Word(selected.file), "url",
                        iAgent_Word(selected.url), "vrxc", iAgent_Word(selected.client), kAgentPairsEnd);
  if (selected.client->reason != VRXClientReason_None) return false;
  return result != Error_None || AddAgentOf(className, selected);
}

// ---- completion --------------------------------------------------------------------------------

bool IsFailure(int32_t result) {
  return result != Error_None && result != AgentResult_NotDeclared && result != AgentResult_NotImplemented &&
         result != AgentResult_MissingParameter;
}

// ---- records -----------------------------------------------------------------------------------

bool IsStopped(Traverse* traverse) {
  const ErrorCode error = Traverse_GetError(traverse);
  return error != Error_None && error != Error_Exceed;
}

void DescribeNumbers(Traverse* traverse, uint32_t* count, uint32_t* nextIndex, bool hasIndex) {
  Traverse_Uns32(traverse, count);
  if (hasIndex) Traverse_Uns32(traverse, nextIndex);
}

void Write(Traverse* traverse, AgentList* list, bool hasIndex) {
  DescribeNumbers(traverse, &list->count, &list->nextIndex, hasIndex);
  for (uint32_t i = 0; i < list->count; ++i) iAgent_Describe(traverse, &list->agents[i]);
}

// A stored count is only believed as far as agents follow. One that is null takes its place with it: the next
// agent to be told stays the same one.
void Read(Traverse* traverse, AgentList* list, bool hasIndex) {
  uint32_t count = 0;
  uint32_t nextIndex = 0;
  DescribeNumbers(traverse, &count, &nextIndex, hasIndex);
  uint32_t dropped = 0;
  for (uint32_t i = 0; i < count && !IsStopped(traverse); ++i) {
    Agent* agent = nullptr;
    iAgent_Describe(traverse, &agent);
    if (agent == nullptr && i < nextIndex) ++dropped;
    if (agent == nullptr || Append(list, agent) == Error_None) continue;
    Delete(agent, 0);
    Traverse_SetError(traverse, Error_Memory);
  }
  list->nextIndex = std::min(nextIndex - dropped, list->count);
}

}  // namespace

void iAgentList_SetWait(uint32_t milliseconds) {
  waitMilliseconds = milliseconds != 0 ? milliseconds : kAgentListWaitMilliseconds;
}

ErrorCode iAgentList_StartSystem(const char* extensionDirectory) {
  if (semaphore != nullptr) return Error_Inited;
  semaphore = Semaphore_New(1, 1);
  if (semaphore == nullptr) return Error_Memory;
  ErrorCode status = iAgentClass_Start();
  if (status == Error_None) status = iVRXExtension_RegisterClasses();
  if (status == Error_None) status = iAgentClass_LoadExtensions(extensionDirectory, nullptr, nullptr);
  if (status != Error_None) iAgentList_EndSystem();
  return status;
}

void iAgentList_EndSystem() {
  Semaphore_Delete(std::exchange(semaphore, nullptr));
  iAgentClass_End();
}

ErrorCode iAgentList_Add(AgentList* list, Agent* agent) {
  const HeldLists held;
  return held.Status() == Error_None ? Append(list, agent) : held.Status();
}

Agent* iAgentList_GetFirst(AgentList* list, const char* className) {
  const HeldLists held;
  return held.Status() == Error_None && IsFirst(*list, className) ? list->agents[0] : nullptr;
}

ErrorCode iAgentList_RemoveFirst(AgentList* list, const char* className) {
  const HeldLists held;
  if (held.Status() != Error_None) return held.Status();
  if (!IsFirst(*list, className)) return Error_NotFound;
  Remove(list, 0);
  return Error_None;
}

uint32_t iAgentList_Count(const AgentList* list) {
  const HeldLists held;
  return held.Status() == Error_None ? list->count : UINT32_MAX;
}

void iAgentList_Start(VRXClient* client, AgentList* list, const char* file, const char* url) {
  const HeldLists held;
  if (held.Status() != Error_None) {
    Error("iAgentList_Start: waiting for the agents gave %ld, %s", static_cast<long>(held.Status()),
          Error_ToString(held.Status()));
    return;
  }
  const Selected selected = {client, list, file, url};
  char className[kAgentNameSize] = "";
  while (AgentClass_Iterate(kExtensionClassName, sizeof className, className) == Error_None &&
         className[0] != '\0') {
    if (!StartAgentOf(className, selected)) return;
  }
}

// Kept: an agent that cancels is not named; the message shows its reason only.
ErrorCode iAgentList_StartCache(AgentList* list, const char* source, const char* cache, char* className,
                                char* serverFileName) {
  className[0] = '\0';
  serverFileName[0] = '\0';
  const HeldLists held;
  if (held.Status() != Error_None) return held.Status();
  for (uint32_t i = 0; i < list->count; ++i) {
    Agent* agent = list->agents[i];
    if (Agent_MethodExists(agent, "startcache") == 0) continue;
    const int32_t result =
        Agent_Method(agent, "startcache", "source", iAgent_Word(source), "cache", iAgent_Word(cache),
                     "serverfilename", iAgent_Word(serverFileName), kAgentPairsEnd);
    serverFileName[kTextSize - 1] = '\0';
    if (result == Error_None) String_Copy(Agent_Class(agent), className);
    if (result == Error_None || result == Error_Cancel) return result;
    iAgent_Note("iAgentList_StartCache", Agent_Class(agent), "startcache", result);
    serverFileName[0] = '\0';
  }
  return Error_NotFound;
}

int32_t iAgentList_Complete(VRXClient* client, AgentList* list, bool* isChanged) {
  *isChanged = false;
  const HeldLists held;
  if (held.Status() != Error_None) return VRXClientResult_None;
  if (list->nextIndex >= list->count) return VRXClientResult_Completed;
  int32_t isToBeDeleted = 0;
  const int32_t result = Agent_Method(list->agents[list->nextIndex], "completed", "vrxc", iAgent_Word(client),
                                      "delete", iAgent_Word(&isToBeDeleted), kAgentPairsEnd);
  if (result == Error_Retry) return VRXClientResult_None;
  *isChanged = true;
  if (isToBeDeleted == 1) {
    Remove(list, list->nextIndex);
  } else {
    ++list->nextIndex;
  }
  return IsFailure(result) ? VRXClientResult_Failed : VRXClientResult_Changed;
}

void iAgentList_DeleteAll(AgentList* list, int32_t isForever) {
  // An agent's method may end other transfers, while the lists are held for it.
  if (list->agents == nullptr) return;
  const HeldLists held;
  const AgentList deleted = std::exchange(*list, {});
  for (uint32_t i = 0; i < deleted.count; ++i) Delete(deleted.agents[i], isForever);
  Memory_Delete(deleted.agents);
}

void iAgentList_Describe(Traverse* traverse, AgentList* list, bool hasIndex) {
  const int32_t mode = Traverse_GetMode(traverse);
  if (mode == TraverseMode_Init) *list = {};
  if ((mode != TraverseMode_Read && mode != TraverseMode_Write) || IsStopped(traverse)) return;
  const HeldLists held;
  if (held.Status() != Error_None) {
    Traverse_SetError(traverse, held.Status());
  } else if (mode == TraverseMode_Read) {
    Read(traverse, list, hasIndex);
  } else {
    Write(traverse, list, hasIndex);
  }
}
