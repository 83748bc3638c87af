/* RemoteAccess: dial-up connections.
 *
 * Works through the system's dial-up service, which is optional and loaded on first use. Without it the
 * queries return 0 and the actions give Error_NotInited; systems other than Windows have none. Needs no
 * OS_Init. Dialling and hanging up block until the service is done. Any thread may call any of these; a
 * failure of the service is Error_Fail. entry: the name of an entry in the phone book, at most 256 bytes; a
 * longer one and null name no entry. */
#ifndef QZ_REMOTEACCESS_H
#define QZ_REMOTEACCESS_H

#include "qz/types.h"

QZ_BEGIN_C

/* Returns 1 when the system has the dial-up service, 0 otherwise. The first call decides. */
QZ_API int32_t RemoteAccess_IsAvailable(void);

/* Fills the buffer with the names in the phone book, each zero-terminated, and an empty one at the end. Skips
 * a name that does not fit and tries the next one. bufferSize: bytes. buffer: out, cleared in every case.
 * Error_NotInited, Error_Memory, Error_Fail; Error_Invalid for a null buffer. */
QZ_API ErrorCode RemoteAccess_ListEntries(uint32_t bufferSize, char* buffer);

/* Returns 1 when the phone book has the entry, 0 otherwise. */
QZ_API int32_t RemoteAccess_ValidEntry(const char* entry);

/* Returns 1 when the phone book has the entry with a saved password, 0 otherwise. */
QZ_API int32_t RemoteAccess_HasPassword(const char* entry);

/* Returns 1 when the entry's first connection is fully connected, 0 otherwise. */
QZ_API int32_t RemoteAccess_IsConnected(const char* entry);

/* Dials the entry and waits for the result; Error_None at once when it is connected already.
 * user, password: replace the stored ones; null keeps them. At most 256 bytes each, else Error_Fail.
 * Error_NotInited, Error_Fail; Error_Invalid for a null entry. */
QZ_API ErrorCode RemoteAccess_Connect(const char* entry, const char* user, const char* password);

/* Hangs the entry's connection up; Error_None when it is not connected.
 * Error_NotInited, Error_Fail; Error_Invalid for a null entry. */
QZ_API ErrorCode RemoteAccess_Disconnect(const char* entry);

/* Hangs up every connection that is not fully connected, and waits up to 3 seconds for each to disappear.
 * Does nothing, and gives Error_None, when the connections cannot be listed or are more than 32.
 * Error_NotInited; Error_Fail when one could not be hung up; tries the others all the same. */
QZ_API ErrorCode RemoteAccess_KillBadConnections(void);

QZ_END_C

#endif
