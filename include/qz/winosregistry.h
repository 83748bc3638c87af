/* WinOSRegistry: registry values addressed by one path text, and application identifiers.
 *
 * A path is ROOT\key\subkey, at most 511 bytes. ROOT is one of HKEY_CLASSES_ROOT, HKEY_CURRENT_USER,
 * HKEY_LOCAL_MACHINE and HKEY_USERS in either case, or a text that holds one of the words USERS, ROOT,
 * CLASSES, USER, CURRENT, LOCAL, MACHINE; the first of this order that it holds decides. The key part must
 * not be empty or begin with a backslash. A value is named separately; a null name means the key's unnamed
 * value.
 *
 * Every function with a path gives Error_Invalid for one that is not of that form (null included),
 * Error_Exceed for one that is too long (WinOSRegistry_DeleteKey: Error_Fail), and Error_System where there
 * is no registry. Other failures of the system are translated by Error_FromSystem: Error_NotFound,
 * Error_NoAccess, Error_Fail ...
 *
 * Nothing is kept open between calls. The functions on values may be called from any thread; callers
 * serialise the use of the identifiers. Only WinOSRegistry_GetApplicationStringEntry needs OS_Init. */
#ifndef QZ_WINOSREGISTRY_H
#define QZ_WINOSREGISTRY_H

#include "qz/types.h"

QZ_BEGIN_C

/* Returns the system's root (0x80000000 to 0x80000003) that the first component of a text names; 0 when it
 * names none. text may be null. */
QZ_API Word WinOSRegistry_StringToHKEY(const char* text);

/* Returns the name of a root, constant, never freed; null when there is none. */
QZ_API const char* WinOSRegistry_HKEYToString(Word root);

/* Joins root and the components (const char*, ended by a null const char*) with backslashes, and returns
 * result. An empty component leaves two backslashes in a row. A component that would make the path longer
 * than 511 bytes is reported through Error; the result ends before it. result (out): 512 bytes, which root
 * or a component may be; null is returned for null. root: null gives an empty result, and so does one of 512
 * bytes or more, which is reported. */
QZ_API char* WinOSRegistry_BuildPath(char* result, const char* root, ...);

/* Sets a text value. text: null deletes the value. Either way the key, and those above it, are created when
 * missing. */
QZ_API ErrorCode WinOSRegistry_SetStringEntry(const char* path, const char* valueName, const char* text);

/* Reads a text value, an expandable one as it stands.
 * buffer (out): size bytes; empty after a failure, always terminated. Error_Invalid for null.
 * Error_NotFound: no such key or value. Error_Invalid: the value is no text. Error_Exceed: the text and its
 * terminator need more than size bytes. */
QZ_API ErrorCode WinOSRegistry_GetStringEntry(const char* path, const char* valueName, uint32_t size,
                                              char* buffer);

/* Reads a 32-bit number of either byte order.
 * value (out): 0 after a failure. Error_Invalid for null.
 * Error_NotFound: no such key or value. Error_Invalid: the value is no such number. */
QZ_API ErrorCode WinOSRegistry_GetUns32Entry(const char* path, const char* valueName, uint32_t* value);

/* Returns 1 when the value exists, 0 otherwise, for a bad path too. */
QZ_API int32_t WinOSRegistry_EntryExists(const char* path, const char* valueName);

/* Reads a text value of this application: HKEY_CURRENT_USER\Software\<company name>\<application name>\key.
 * Error_NotFound when it does not exist, Error_Exceed when the path does not fit, otherwise as
 * WinOSRegistry_GetStringEntry. */
QZ_API ErrorCode WinOSRegistry_GetApplicationStringEntry(const char* key, const char* valueName,
                                                         uint32_t size, char* buffer);

/* Takes a value over: copies the text (at most 511 bytes) from path to savePath, then sets text at path
 * (null: deletes the value there). When only the last step fails, the copy is deleted and the status is that
 * of the deletion, so 0 does not prove that text was set. Otherwise the status of the step that failed. */
QZ_API ErrorCode WinOSRegistry_SetSaveStringEntry(const char* path, const char* savePath,
                                                  const char* valueName, const char* text);

/* Gives a value back: moves the text from fromPath (the savePath above) to toPath. That the text cannot be
 * deleted at fromPath is no failure. */
QZ_API ErrorCode WinOSRegistry_SetRestoreStringEntry(const char* fromPath, const char* toPath,
                                                     const char* valueName);

/* Deletes a key with all its values and subkeys. Error_Fail when it does not exist, for a path that is too
 * long, or at the first subkey that cannot be deleted; what was deleted by then is gone. */
QZ_API ErrorCode WinOSRegistry_DeleteKey(const char* path);

/* Deletes the value that the last component of the path names, in the key before it; with nothing behind the
 * last backslash, deletes that key as WinOSRegistry_DeleteKey does. Error_Fail for a text without a
 * backslash, whatever its length. */
QZ_API ErrorCode WinOSRegistry_DeleteEntry(const char* path);

/* Sets one of three application identifiers. slot: 0 to 2; 0 is that of OS_Init's code 6.
 * guid: 16 bytes in the order of the Windows record, borrowed until the slot is cleared; null clears it.
 * Error_Inited: the slot is taken; nothing changes. Error_Invalid: no such slot. */
QZ_API ErrorCode WinOSRegistry_SetID(uint32_t slot, const void* guid);

/* Returns the pointer that was set; null when the slot is empty or there is none. */
QZ_API const void* WinOSRegistry_GetID(uint32_t slot);

/* Writes an identifier as "{12345678-9ABC-DEF0-0102-030405060708}" and returns buffer; null when the slot is
 * empty or buffer is null. buffer (out): 39 bytes. */
QZ_API char* WinOSRegistry_GetIDString(uint32_t slot, char* buffer);

QZ_END_C

#endif
