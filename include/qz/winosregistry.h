/* WinOSRegistry: registry values addressed by one path text, and application identifiers. */
#ifndef QZ_WINOSREGISTRY_H
#define QZ_WINOSREGISTRY_H

#include "qz/types.h"

QZ_BEGIN_C

QZ_API Word WinOSRegistry_StringToHKEY(const char* text);
QZ_API const char* WinOSRegistry_HKEYToString(Word root);
QZ_API char* WinOSRegistry_BuildPath(char* result, const char* root, ...);
QZ_API ErrorCode WinOSRegistry_SetStringEntry(const char* path, const char* valueName, const char* text);
QZ_API ErrorCode WinOSRegistry_GetStringEntry(const char* path, const char* valueName, uint32_t size,
                                              char* buffer);
QZ_API ErrorCode WinOSRegistry_GetUns32Entry(const char* path, const char* valueName, uint32_t* value);
QZ_API int32_t WinOSRegistry_EntryExists(const char* path, const char* valueName);
QZ_API ErrorCode WinOSRegistry_GetApplicationStringEntry(const char* key, const char* valueName, uint32_t size,
                                                         char* buffer);
QZ_API ErrorCode WinOSRegistry_SetSaveStringEntry(const char* path, const char* savePath, const char* valueName,
                                                  const char* text);
QZ_API ErrorCode WinOSRegistry_SetRestoreStringEntry(const char* fromPath, const char* toPath,
                                                     const char* valueName);
QZ_API ErrorCode WinOSRegistry_DeleteKey(const char* path);
QZ_API ErrorCode WinOSRegistry_DeleteEntry(const char* path);
QZ_API ErrorCode WinOSRegistry_SetID(uint32_t slot, const void* guid);
QZ_API const void* WinOSRegistry_GetID(uint32_t slot);
QZ_API char* WinOSRegistry_GetIDString(uint32_t slot, char* buffer);

QZ_END_C

#endif
