/* SoftObject: agents of the class "SoftObject", which an extension registers with the methods "new" with the
 * parameter name=string, "update", and "check" with a parameter vrxc that takes the address of a flag.
 *
 * A soft object is an agent (qz/agent.h) and may be used as one. One thread at a time uses it. A call blocks
 * as long as the extension's method does. */
#ifndef QZ_SOFTOBJECT_H
#define QZ_SOFTOBJECT_H

#include "qz/agent.h"

QZ_BEGIN_C

/* Makes an agent with the pair "name". name: borrowed for the call. object: out; owned (free with
 * SoftObject_Delete); null after a failure. Error_None; Error_NotInited when nobody has registered the class,
 * and for an Error_NotFound of its own; the other statuses of Agent_New. */
QZ_API ErrorCode SoftObject_New(const char* name, Agent** object);

/* Calls "update". Returns what Agent_Method gives. */
QZ_API int32_t SoftObject_Update(Agent* object);

/* Calls "check", which stores a flag. flag: out; 0 unless the method stored another value; may not be null
 * (Error_Invalid). Returns what Agent_Method gives, but 0 for Error_NotFound. */
QZ_API int32_t SoftObject_Check(Agent* object, int32_t* flag);

/* Deletes the agent. object: taken over. Error_None; Error_Invalid for null. */
QZ_API ErrorCode SoftObject_Delete(Agent* object);

QZ_END_C

#endif
