// The agents of a transfer, and the points at which it calls them. One semaphore of the library's guards all
// lists; a call that cannot have it within 5 seconds gives Error_Timeout and changes nothing.
#pragma once

#include <cstdint>

#include "transfer/agent_internal.h"

typedef struct VRXClient VRXClient;

// A list without an agent is all zeroes.
struct AgentList {
  uint32_t count;
  uint32_t nextIndex;  // who is told of the completion next; count: nobody
  Agent** agents;
};

// Creates the semaphore, the classes and the extension class, and loads the extensions of a directory; a
// failure leaves nothing behind. The other ends them.
ErrorCode iAgentList_StartSystem(const char* extensionDirectory);
void iAgentList_EndSystem();

// Asks the direct children of "VRXx", newest first, that have no agent in the transfer yet whether they want
// to take part, and appends an agent of each that does. An agent that sets the transfer's error reason is
// deleted again. file: the local path; url: the current server's text.
void iAgentList_Start(VRXClient* client, AgentList* list, const char* file, const char* url);

// Offers the copy of an upload to the agents in order. className, serverFileName: out, 1024 bytes each.
// Error_None: one took it. Error_Cancel: one cancels the upload, serverFileName is its reason and className
// empty. Error_NotFound: nobody took it.
ErrorCode iAgentList_StartCache(AgentList* list, const char* source, const char* cache, char* className,
                                char* serverFileName);

// Tells the next agent that the transfer is completed. Returns the result of the transfer's step: 5 when all
// were told, 0 to ask again, 1, or 4 when the agent failed. isChanged: whether the list, or its index, is
// another than before.
int32_t iAgentList_Complete(VRXClient* client, AgentList* list, bool* isChanged);

// Deletes all agents, with the pair "forever" = isForever.
void iAgentList_DeleteAll(AgentList* list, int32_t isForever);

// The list as a field of a record. hasIndex: whether this version of the record holds the index. In mode Read
// agents are the list's own; null ones are dropped.
void iAgentList_Describe(Traverse* traverse, AgentList* list, bool hasIndex);
