/* WinOSShortcut: shell links.
 *
 * Names are in the system's own form; File_Link (qz/file.h) takes them in the library's. */
#ifndef QZ_WINOSSHORTCUT_H
#define QZ_WINOSSHORTCUT_H

#include "qz/types.h"

QZ_BEGIN_C

/* Writes a shell link, over one that is there. Needs OLE on the calling thread: code 5 of OS_Init, with
 * code 2. target: what the link opens. arguments, description: may be null. linkName: the link's file, at
 * most 259 characters. iconFile: the file whose icon number iconIndex is shown; null: the target's own, and
 * iconIndex is not used. Error_Fail: a step failed, or target or linkName is null. Error_System: where there
 * are no shell links. */
QZ_API ErrorCode WinOSShortcut_Create(const char* target, const char* arguments, const char* linkName,
                                      const char* description, const char* iconFile, int32_t iconIndex);

QZ_END_C

#endif
