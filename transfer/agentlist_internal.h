// The agents of a transfer, and the points at which it calls them. One semaphore of the library's guards all
// lists, and is held while agents run. A call that cannot have it within 5 seconds gives Error_Timeout and
// changes nothing; a call from inside an agent's method is one. Before the start there is no semaphore, and
// nothing to guard.
#pragma once

#include <cstdint>

#include "transfer/agent_internal.h"

typedef struct VRXClient VRXClient;

// How long a call waits for the lists of agents.
inline constexpr uint32_t kAgentListWaitMilliseconds = 5000;

// A list without an agent is all zeroes.
struct AgentList {
  uint32_t count;
  uint32_t nextIndex;  // who is told of the completion next; count: nobody
  Agent** agents;
};

// Creates the semaphore, the classes and the extension class, and loads the extensions of a directory; a
// failure leaves nothing behind. Error_Inited when that has been done already; Error_Memory; what
// iAgentClass_LoadExtensions gives. The other ends them, and does nothing before the start.
ErrorCode iAgentList_StartSystem(const char* extensionDirectory);
void iAgentList_EndSystem();

// The stated calls (qz/vrxclient.h) on a list.
ErrorCode iAgentList_Add(AgentList* list, Agent* agent);
Agent* iAgentList_GetFirst(AgentList* list, const char* className);
ErrorCode iAgentList_RemoveFirst(AgentList* list, const char* className);
uint32_t iAgentList_Count(const AgentList* list);

// Asks the direct children of "VRXx", newest first, that have no agent in the transfer yet whether they want
// to take part, and appends an agent of each that does; the transfer is then marked as changed. A failure
// ends the walk and is reported through Error. So does an agent that sets the transfer's error reason: it is
// deleted again, with the pair "forever" = 1. file: the local path; url: the current server's text.
void iAgentList_Start(VRXClient* client, AgentList* list, const char* file, const char* url);

// Offers the copy of an upload to the agents in order. className, serverFileName: out, 1024 bytes each, empty
// when nobody took it.
// Error_None: one took it. Error_Cancel: one cancels the upload, serverFileName is its reason and className
// empty. Error_NotFound: nobody took it. Error_Timeout.
ErrorCode iAgentList_StartCache(AgentList* list, const char* source, const char* cache, char* className,
                                char* serverFileName);

// Tells the next agent that the transfer is completed. Returns the result of the transfer's step: 5 when all
// were told, 0 to ask again, also when the semaphore cannot be had, 1, or 4 when the agent failed. isChanged:
// whether the list, or its index, is another than before.
int32_t iAgentList_Complete(VRXClient* client, AgentList* list, bool* isChanged);

// Deletes all agents, with the pair "forever" = isForever; for a transfer that ends. When the semaphore
// cannot be had it does so without, as the agents would be lost.
void iAgentList_DeleteAll(AgentList* list, int32_t isForever);

// The list as a field of a record. hasIndex: whether this version of the record holds the index. In mode Read
// agents are the list's own, and whoever reads deletes them with iAgentList_DeleteAll when the record fails;
// null ones are dropped, and an index above the count becomes the count. Mode Init empties the list, New and
// Delete do nothing. A semaphore that cannot be had is an error of the traverse.
void iAgentList_Describe(Traverse* traverse, AgentList* list, bool hasIndex);
