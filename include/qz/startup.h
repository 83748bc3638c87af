/* Startup: starting the application hidden at log-on.
 *
 * A shortcut named "<application name>- Autostart.lnk" in the user's startup folder starts the application's
 * module (Process_GetPathname) with the argument "/hidden". Both functions need OS_Init. */
#ifndef QZ_STARTUP_H
#define QZ_STARTUP_H

#include "qz/types.h"

QZ_BEGIN_C

/* Creates the shortcut, or replaces it. Needs OLE on the calling thread, as WinOSShortcut_Create does.
 * Error_NotInited: the library is down. Error_NotFound: there is no startup folder. Error_Exceed: a name does
 * not fit. Otherwise the status of Process_GetPathname or of File_Link; Error_System where there are no shell
 * links. */
QZ_API ErrorCode Startup_InstallSelf(void);

/* Deletes the shortcut. The statuses of File_Unlink (Error_NotFound: there is none), or as above for the
 * folder. */
QZ_API ErrorCode Startup_UninstallSelf(void);

QZ_END_C

#endif
