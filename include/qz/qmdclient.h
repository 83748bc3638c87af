/* QMDClient: downloads that an extension's class "HBN" makes. */
#ifndef QZ_QMDCLIENT_H
#define QZ_QMDCLIENT_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_END_C

#endif
