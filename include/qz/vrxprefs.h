/* VRXPrefs: the user's settings for all transfers. */
#ifndef QZ_VRXPREFS_H
#define QZ_VRXPREFS_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_END_C

#endif
