/* SoftObject: an agent of the class "SoftObject". */
#ifndef QZ_SOFTOBJECT_H
#define QZ_SOFTOBJECT_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_END_C

#endif
