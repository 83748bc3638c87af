/* VRXClientSystem: the start and end of all that transfers need.
 *
 * Called after OS_Init, and before OS_Exit, from the main thread, while no other thread uses transfers,
 * preferences or agents. */
#ifndef QZ_VRXCLIENTSYSTEM_H
#define QZ_VRXCLIENTSYSTEM_H

#include "qz/types.h"

QZ_BEGIN_C

/* Starts, in this order: the list of transfers, empty; the preferences, whose file is made when it is
 * missing; the upgrade check; the classes of agents, with the extensions (".AXT") of the program's directory;
 * and selects the dial-up entry of the preferences when dial-up is enabled; one that cannot be selected is
 * only noted through Error(), and the selection stays. A failure leaves nothing started.
 * Error_None; Error_Inited when it is started already, nothing changes then; Error_NotInited before OS_Init;
 * Error_Memory; what reading or writing the preferences gives; for the program's directory
 * Error_Exceed when its path is too long, and Error_NoAccess, Error_Fail or what else Error_FromSystem gives
 * when listing it fails. One that is missing, or may not be listed at all, has no extensions. */
QZ_API ErrorCode VRXClientSystem_Init(void);

/* Ends the classes of agents, the upgrade check and the preferences. Every transfer should have been closed
 * before: one that was not can only be closed, and has lost its agents. Nothing happens before the start. */
QZ_API void VRXClientSystem_Exit(void);

/* ---- Additions ---- */

/* Sets the directory in which the data and log files of transfers are made from now on, for an application
 * that keeps all of a set of transfers in one place. Without it that is the cache directory (SysDir_Cache).
 * VRXClient_Delete removes files of the library's own naming in both. path: of a directory, at most 990
 * bytes, copied; write it the same way in every run. Null or empty: the cache directory again, as after
 * VRXClientSystem_Exit. Files of transfers that are open stay where they are. Error_None; Error_NotInited
 * before the start; Error_NotFound for what is no directory; Error_Exceed. Nothing changes after a failure.
 */
QZ_API ErrorCode VRXClientSystem_SetFileDirectory(const char* path);

QZ_END_C

#endif
