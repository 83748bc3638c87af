// What the transfers need of the agents beyond the exported functions.
#pragma once

#include <cstdint>

#include "qz/agent.h"
#include "qz/agentclass.h"
#include "qz/agentparam.h"
#include "qz/traverse.h"

// The size of every buffer for the name of a class, its terminator included.
constexpr uint32_t kAgentNameSize = 1024;

// A pointer as the value of a pair.
inline Word iAgent_Word(const void* pointer) {
  return reinterpret_cast<Word>(pointer);
}

// The name that ends the pairs of a call.
constexpr const char* kAgentPairsEnd = nullptr;

// Creates the registry with the root class. Error_Inited when it is there already; a failure leaves nothing
// behind. No class may be in use, and no extension being loaded, on another thread.
ErrorCode iAgentClass_Start();

// Releases every class and unloads the extensions. Nothing happens before the start. As above.
void iAgentClass_End();

// Loads the ".AXT" files of a directory in byte order of their names. A file that cannot be loaded, or
// registers no class, is counted and passed over. loaded, failed: out; may be null.
// Error_NotInited before the start; Error_Invalid for a null directory; Error_Exceed when its name is too
// long; Error_Memory; else the status of listing it, which is Error_None for one that does not exist or may
// not be read.
ErrorCode iAgentClass_LoadExtensions(const char* directory, uint32_t* loaded, uint32_t* failed);

// An agent as a field of a record: its class name, the class's version, and what its "traverse" methods
// write. Null is an empty name. Mode Init makes it null; mode Read makes the agent, which is the caller's,
// not the traverse's, and null after a failure. New and Delete do nothing. A failure is the traverse's error:
// Error_NotFound when there is no such class, what "traverse" gave, or that of the stream.
ErrorCode iAgent_Describe(Traverse* traverse, Agent** agent);

// Reports what a call gave through Error, unless it is 0 or says that there is no such method.
// operation: the function that called.
void iAgent_Note(const char* operation, const char* className, const char* methodName, int32_t result);
