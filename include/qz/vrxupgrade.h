/* VRXUpgrade: looks for a newer version of the application on an FTP server.
 *
 * Versions are files whose names end in a dot and a decimal number ("setup.27"); the largest number above the
 * installed version wins. Where they lie and what is installed stand in the application's registry key
 * (HKEY_CURRENT_USER\Software\<company name>\<application name>) in the text values "UpgradeURL" and
 * "UpgradeVersion"; VRXUpgrade_SetLocation and VRXUpgrade_SetInstalledVersion take their place, and are the
 * only way where there is no registry. Without a location the library's own is asked, which leads nowhere. An
 * installed version below 25, or none, counts as 25.
 *
 * Any thread, between VRXClientSystem_Init and VRXClientSystem_Exit. */
#ifndef QZ_VRXUPGRADE_H
#define QZ_VRXUPGRADE_H

#include "qz/types.h"

QZ_BEGIN_C

/* Returns 1 when a check is due, else 0: a week has passed since the Wednesday on or before the last check
 * that succeeded, no check has failed in the last four hours, and a transfer has a connection to a server
 * open, so that the machine is on line. Wednesday is meant in local time. Waits while another thread has
 * access to the preferences (VRXPrefs_BeginAccess) or writes them. */
QZ_API int32_t VRXUpgrade_IsCheckTime(void);

/* Checks, whether it is due or not. Blocks as an FTP connection does (qz/ftpc.h): login as "ftp" with the
 * preferences' anonymous password, and an active data connection for the list of names. A check that succeeds
 * is noted in the preferences, which are saved.
 * buffer (out): 1024 bytes; receives the location, "/" and the file's name; empty with the result 0. Names
 * with a "\" or "..", and those that do not fit, are passed over.
 * Returns 1 for a newer version; 0 when there is none, when the check failed, and for a null buffer. */
QZ_API int32_t VRXUpgrade_Check(char* buffer);

/* ---- additions ---- */

/* Sets the location for this run of the program, instead of the registry's. urls: FTP URLs that name
 * directories, with ";" between them, at most 1023 bytes, copied; each is tried until one can be listed, or
 * there is no network. Null: the registry's again. Error_None; Error_Exceed for a longer text, nothing
 * changes then. What is no FTP URL makes its check fail. Needs no VRXClientSystem_Init. */
QZ_API ErrorCode VRXUpgrade_SetLocation(const char* urls);

/* Sets the installed version for this run of the program, instead of the registry's; 0: the registry's again.
 * Needs no VRXClientSystem_Init. */
QZ_API void VRXUpgrade_SetInstalledVersion(uint32_t version);

QZ_END_C

#endif
