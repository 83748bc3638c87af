/* AgentParam: the parameters of a call, as an implementation reads them. */
#ifndef QZ_AGENTPARAM_H
#define QZ_AGENTPARAM_H

#include "qz/types.h"

QZ_BEGIN_C

/* Opaque. */
typedef struct AgentParam AgentParam;

QZ_END_C

#endif
