/* RemoteAccess: dial-up connections. */
#ifndef QZ_REMOTEACCESS_H
#define QZ_REMOTEACCESS_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_API int32_t RemoteAccess_IsAvailable(void);
QZ_API ErrorCode RemoteAccess_ListEntries(uint32_t bufferSize, char* buffer);
QZ_API int32_t RemoteAccess_ValidEntry(const char* entry);
QZ_API int32_t RemoteAccess_HasPassword(const char* entry);
QZ_API int32_t RemoteAccess_IsConnected(const char* entry);
QZ_API ErrorCode RemoteAccess_Connect(const char* entry, const char* user, const char* password);
QZ_API ErrorCode RemoteAccess_Disconnect(const char* entry);
QZ_API ErrorCode RemoteAccess_KillBadConnections(void);

QZ_END_C

#endif
