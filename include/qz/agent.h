/* Agent: an object of a class that was registered at run time (qz/agentclass.h).
 *
 * Methods are called by name with pairs of a parameter's name and a value. A name is a const char *, a value
 * is one Word: a flag, a signed integer, the 32 bits of a float, a text, an object, an agent, or the address
 * of a variable that the method fills. The pairs end with a null name. Every name and value of a call must be
 * written with its type, because the calls take any number of arguments:
 *
 *   Agent_Method(agent, "resize", "width", (Word)640, "title", (Word)"a window", (const char *)0);
 *
 * Names of classes, methods and parameters are compared without regard to the case of A to Z. A pair whose
 * name the method does not declare is dropped. Of two pairs with one name the first counts. A call delivers
 * at most 16 pairs, those behind them are dropped. Texts and objects in pairs are borrowed for the call.
 *
 * An agent lives from Agent_New to Agent_Delete, which must come before the transfer system ends
 * (qz/vrxclientsystem.h). When it comes later the agent's "delete" methods are not called, and a method gives
 * AgentResult_NotDeclared. One thread uses an agent at a time; different agents, of one class too, may be
 * used by different threads. A call blocks as long as the method does; no lock of the library is held. */
#ifndef QZ_AGENT_H
#define QZ_AGENT_H

#include "qz/types.h"

QZ_BEGIN_C

/* Opaque. */
typedef struct Agent Agent;

/* What a call can give beside the statuses of enum Error. */
enum AgentResult {
  AgentResult_NotDeclared = 1000,     /* neither the class nor one above it declares the method */
  AgentResult_NotImplemented = 1001,  /* declared, but the class has no implementation */
  AgentResult_NoInstance = 1002,      /* a method of agents, called on a class */
  AgentResult_MissingParameter = 1003 /* implementations give it: the call lacks a pair */
};

/* Makes an agent and calls "new" with the pairs for every class from the root down to its own. A class
 * without a "new" of its own is passed over, unless it has instance data.
 * agent: out; the agent, owned (free with Agent_Delete); null after a failure. className: in.
 * Error_None; Error_NotFound: no such class; Error_NotInited: a class has instance data and no "new";
 * Error_Memory; Error_Invalid: agent or className is null; or what a "new" gave, which may be an AgentResult:
 * then "delete" was called, without pairs, for the classes above the one that failed, up to the root. */
QZ_API ErrorCode Agent_New(Agent** agent, const char* className, ...);

/* Returns the name of the agent's class as it was registered, valid as long as the agent; null for null. */
QZ_API const char* Agent_Class(const Agent* agent);

/* Returns 1 when the agent's class or one above it declares the method, implemented or not, else 0. 1 for a
 * null methodName, 0 for a null agent. */
QZ_API int32_t Agent_MethodExists(const Agent* agent, const char* methodName);

/* Calls a method with the pairs. Returns what the implementation gives; AgentResult_NotDeclared, also for a
 * null methodName; AgentResult_NotImplemented; Error_Invalid for a null agent. Implementations are not
 * inherited: the agent's own class must have one, whichever class declares the method. */
QZ_API int32_t Agent_Method(Agent* agent, const char* methodName, ...);

/* Calls "delete" with the pairs for every class from the agent's own up to the root, and frees the agent.
 * What a "delete" gives is reported through Error, unless it is 0, AgentResult_NotDeclared or
 * AgentResult_NotImplemented, and stops nothing.
 * agent: taken over. Error_None; Error_Invalid for null. */
QZ_API ErrorCode Agent_Delete(Agent* agent, ...);

QZ_END_C

#endif
