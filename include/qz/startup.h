/* Startup: starting the application hidden at log-on. */
#ifndef QZ_STARTUP_H
#define QZ_STARTUP_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_API ErrorCode Startup_InstallSelf(void);
QZ_API ErrorCode Startup_UninstallSelf(void);

QZ_END_C

#endif
