/* AgentParam: the parameters of a call, as an implementation of a method reads them (qz/agentclass.h).
 *
 * The parameters are valid during the call, for the thread that it runs on. Every accessor returns 1 and
 * stores the value when the call passed a parameter of that name, and the method declares it with exactly the
 * accessor's type: "integer" and "integer*" are different types. Otherwise it returns 0 and stores nothing; a
 * parameter of another type is reported through Error. Names are compared without regard to case. A null
 * argument gives 0. What a value points to belongs to the caller of the method, and may be null where that
 * passed null. Nothing blocks. */
#ifndef QZ_AGENTPARAM_H
#define QZ_AGENTPARAM_H

#include "qz/agent.h"

QZ_BEGIN_C

/* Opaque. */
typedef struct AgentParam AgentParam;

/* Returns the agent of the call; null when a class was called, and for null. */
QZ_API Agent* AgentParam_This(const AgentParam* params);

/* Get a value: a flag, and a signed integer, of 32 bits. */
QZ_API int32_t AgentParam_Bool(const AgentParam* params, const char* name, int32_t* flag);
QZ_API int32_t AgentParam_Integer(const AgentParam* params, const char* name, int32_t* number);

/* Gets a value that the caller passed as the 32 bits of a float. */
QZ_API int32_t AgentParam_Float(const AgentParam* params, const char* name, float* number);

/* Gets a text, or a buffer where the method is documented to fill one. */
QZ_API int32_t AgentParam_String(const AgentParam* params, const char* name, char** text);

/* Gets the address of an object: whatever the method is documented to take. */
QZ_API int32_t AgentParam_Object(const AgentParam* params, const char* name, void** object);

/* Get the address of a variable of the caller's that the implementation fills; its size is that of the type
 * pointed to. */
QZ_API int32_t AgentParam_BoolPtr(const AgentParam* params, const char* name, int32_t** flag);
QZ_API int32_t AgentParam_StringPtr(const AgentParam* params, const char* name, const char*** text);
QZ_API int32_t AgentParam_IntegerPtr(const AgentParam* params, const char* name, int32_t** number);
QZ_API int32_t AgentParam_FloatPtr(const AgentParam* params, const char* name, float** number);
QZ_API int32_t AgentParam_ObjectPtr(const AgentParam* params, const char* name, void*** object);

/* Get an agent, and the address of a variable for one. className: in; the class that the signature names for
 * the parameter. Any other name gives 0, that of a class above it too. */
QZ_API int32_t AgentParam_Agent(const AgentParam* params, const char* name, const char* className,
                                Agent** agent);
QZ_API int32_t AgentParam_AgentPtr(const AgentParam* params, const char* name, const char* className,
                                   Agent*** agent);

QZ_END_C

#endif
