/* Agent: an instance of a registered class of agents. */
#ifndef QZ_AGENT_H
#define QZ_AGENT_H

#include "qz/types.h"

QZ_BEGIN_C

/* Opaque. */
typedef struct Agent Agent;

QZ_END_C

#endif
