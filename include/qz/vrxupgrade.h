/* VRXUpgrade: looks for a newer version on an FTP server. */
#ifndef QZ_VRXUPGRADE_H
#define QZ_VRXUPGRADE_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_END_C

#endif
