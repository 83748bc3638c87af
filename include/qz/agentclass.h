/* AgentClass: the classes of agents. */
#ifndef QZ_AGENTCLASS_H
#define QZ_AGENTCLASS_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_END_C

#endif
