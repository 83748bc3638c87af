/* VRXClientSystem: the start and end of all that transfers need. */
#ifndef QZ_VRXCLIENTSYSTEM_H
#define QZ_VRXCLIENTSYSTEM_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_END_C

#endif
