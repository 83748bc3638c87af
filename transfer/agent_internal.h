// What the transfers need of the agents beyond the exported functions.
#pragma once

#include <cstdint>

#include "qz/agent.h"
#include "qz/agentclass.h"
#include "qz/agentparam.h"
#include "qz/traverse.h"

// Results of calls that are no statuses.
enum AgentResult : int32_t {
  AgentResult_NotDeclared = 1000,     // the class declares no such method
  AgentResult_NotImplemented = 1001,  // declared, without an implementation
  AgentResult_NoInstance = 1002,      // a method of instances, called without one
  AgentResult_MissingParameter = 1003
};

// Creates the registry with the root and the library's own classes. Error_Inited when it is there already; a
// failure leaves nothing behind.
ErrorCode iAgentClass_Start();

// Releases every class and unloads the extensions. Nothing happens before the start.
void iAgentClass_End();

// Loads the ".AXT" files of a directory in byte order of their names. loaded, failed: may be null.
// Error_NotInited before the start; what listing the directory gives.
ErrorCode iAgentClass_LoadExtensions(const char* directory, uint32_t* loaded, uint32_t* failed);

// An agent as a field of a record: its class name, the class's version, and what its "traverse" methods
// write. Null is an empty name. Mode Read makes the agent; it is the caller's, not the traverse's.
ErrorCode iAgent_Describe(Traverse* traverse, Agent** agent);
