// The records of classes, agents and calls, as the files of these families share them.
//
// A class that is registered beside another one ("Filter" under "VRXx" under "/") has a method table for each
// level from the root down to itself. The one of level n has, for each method that the class of level n
// declares, what this class implements it with, and this class's data for that level:
//
//   Filter   level 0: [register] [unregister] ... [traverse]     data of "/"       (none)
//            level 1: [createVRXc] [check] ... [completed]       data of "VRXx"    (none)
//            level 2: [method that "Filter" declares] ...        data of "Filter"
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>

#include "os/core/owned.h"
#include "qz/agentclass.h"
#include "transfer/agent_internal.h"
#include "transfer/agent_signature_internal.h"

struct AgentLevel {
  AgentImplementation* methods;  // as many as the level's class declares; null: not implemented
  void* classData;               // null: none
};

struct AgentClass {
  uint32_t magic;
  AgentClass* parent;       // null: the root
  AgentClass* nextSibling;  // the list of children, and the counts, under the library-wide lock
  AgentClass* firstChild;
  int32_t depth;       // the root: 0
  int32_t references;  // 1, and 1 for each child; the class goes when there are none
  const char* name;
  std::atomic<uint32_t> version;  // 0 while it is being registered
  uint32_t moduleId;              // of the extension that registered it; 0: none
  uint32_t classDataSize;
  uint32_t instanceDataSize;
  AgentSignature signature;
  void* tables;                   // owned; what the levels point to
  std::atomic<uint32_t> holders;  // who keeps the record in memory: the registry, agents, calls
  std::atomic<bool> isReleased;   // it has gone: its methods are no longer called
  bool isForgotten;               // it leaves the registry without being released by it

  AgentLevel* Levels() { return reinterpret_cast<AgentLevel*>(this + 1); }
  const AgentLevel* Levels() const { return reinterpret_cast<const AgentLevel*>(this + 1); }
  const AgentLevel& OwnLevel() const { return Levels()[depth]; }
};

// The version that a class has once it is registered, and that is written with its agents.
constexpr uint32_t kAgentClassVersion = 1;

struct Agent {
  uint32_t magic;
  AgentClass* agentClass;  // held

  // The data of each level; null: none.
  void** Data() { return reinterpret_cast<void**>(this + 1); }
};

// Keeps the record of a class in memory; Drop frees the last holder's.
void iAgentClass_Hold(AgentClass* agentClass);
void iAgentClass_Drop(AgentClass* agentClass);
using HeldClass = Owned<AgentClass, iAgentClass_Drop>;

// The class of this name, held; nothing when there is none, and for null.
HeldClass iAgentClass_Find(const char* name);

// Releases the classes of an extension whose load has failed, without calling its code.
void iAgentClass_ReleaseModule(uint32_t moduleId);

// ---- extensions (agent_extension.cpp) -----------------------------------------------------------

ErrorCode iAgentModules_Start();
void iAgentModules_End();

// Ties a class that is being registered to the extension that this thread loads. id: out; 0 for none.
ErrorCode iAgentModule_Take(uint32_t* id);
// Gives the reference back; the last one unloads the extension.
void iAgentModule_GiveBack(uint32_t id);

// ---- calls (agent_dispatch.cpp) -----------------------------------------------------------------

// The pairs of a call, from the first one that the caller has not used.
struct AgentPairs {
  va_list list;
};

struct AgentCall {
  const AgentClass* agentClass;  // whose implementations and methods are meant
  void* classData;
  Agent* agent;  // null: the class is called
  void* agentData;
  const AgentPairs* pairs;  // null: none
};

int32_t iAgent_Call(const AgentCall& call, const char* methodName);

// Whether a class, or one above it, declares a method.
bool iAgentClass_Declares(const AgentClass* agentClass, const char* methodName);

// The class of a depth on the line from the root to a class.
AgentClass* iAgentClass_AtDepth(AgentClass* agentClass, int32_t depth);
