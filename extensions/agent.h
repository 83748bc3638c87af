/* What the classes of these extensions have in common: they derive from "VRXx", and their agents work on a
 * completed download. */
#ifndef QZ_EXTENSIONS_AGENT_H
#define QZ_EXTENSIONS_AGENT_H

#include <stdbool.h>

#include "qz/agentparam.h"
#include "qz/types.h"
#include "qz/vrxclient.h"

/* The transfer of the parameter "vrxc"; null: there is none. */
VRXClient* Extension_Transfer(const AgentParam* params);

/* Adds an agent to the transfer of the parameter "vrxc", made with one pair.
 * Error_None; AgentResult_MissingParameter without a transfer; Error_Invalid for an upload; Error_Inited for
 * a completed transfer; what Agent_New and VRXClient_AddAgent give. */
ErrorCode Extension_AddAgent(const AgentParam* params, const char* className, const char* name, Word value);

/* Tells where the file of a completed transfer lies, and under which path it will stand when all agents are
 * content: another one when it replaces a file. path, finalPath: 1024 bytes each. Returns false, with the
 * paths, when no file came; what stands there then is not the transfer's. */
bool Extension_LocateFile(const VRXClient* client, char* path, char* finalPath);

/* Answers "classinfo": version 1, no URL of updates. The texts must stay. */
ErrorCode Extension_DescribeClass(const AgentParam* params, const char* description, const char* menu);

#endif
